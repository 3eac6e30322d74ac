#include "platform/image/CIVector.h"

#include <QRegularExpression>
#include <QStringList>

namespace cif {

CIVector CIVector::vectorWithValuesCount(const double* values, size_t count) {
    return CIVector(std::vector<double>(values, values + count));
}

bool CIVector::vectorWithString(const QString& text, CIVector& out) {
    QString t = text.trimmed();
    if (t.startsWith(u'[')) {
        if (!t.endsWith(u']')) return false;
        t = t.mid(1, t.size() - 2);
    }
    static const QRegularExpression separators(QStringLiteral("[\\s,]+"));
    const QStringList parts = t.split(separators, Qt::SkipEmptyParts);
    constexpr qsizetype kMaxComponents = 4096;
    if (parts.size() > kMaxComponents) return false;
    std::vector<double> values;
    values.reserve(size_t(parts.size()));
    for (const QString& p : parts) {
        bool ok = false;
        const double v = p.toDouble(&ok);
        if (!ok) return false;
        values.push_back(v);
    }
    out = CIVector(std::move(values));
    return true;
}

QString CIVector::stringRepresentation() const {
    QStringList parts;
    for (double v : m_values)
        parts << QString::number(v, 'g', 17).replace(QLatin1String("e+"), QLatin1String("e"));
    return u'[' + parts.join(u' ') + u']';
}

}  // namespace cif
