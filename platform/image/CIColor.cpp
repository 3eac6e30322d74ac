#include "platform/image/CIColor.h"

#include <QRegularExpression>
#include <QStringList>
#include <algorithm>
#include <cmath>

namespace cif {

CIColor CIColor::colorWithQColor(const QColor& c) {
    const QColor rgb = c.toRgb();
    return {rgb.redF(), rgb.greenF(), rgb.blueF(), rgb.alphaF()};
}

bool CIColor::colorWithString(const QString& text, CIColor& out) {
    static const QRegularExpression separators(QStringLiteral("[\\s,]+"));
    QString t = text.trimmed();
    if (t.startsWith(u'[') && t.endsWith(u']')) t = t.mid(1, t.size() - 2);
    const QStringList parts = t.split(separators, Qt::SkipEmptyParts);
    if (parts.size() < 3 || parts.size() > 4) return false;
    double v[4] = {0, 0, 0, 1};
    for (qsizetype i = 0; i < parts.size(); ++i) {
        bool ok = false;
        v[i] = parts[i].toDouble(&ok);
        if (!ok || !std::isfinite(v[i])) return false;
    }
    out = CIColor(v[0], v[1], v[2], v[3]);
    return true;
}

QString CIColor::stringRepresentation() const {
    return QStringLiteral("%1 %2 %3 %4").arg(m_r).arg(m_g).arg(m_b).arg(m_a);
}

QColor CIColor::toQColor() const {
    auto c = [](double v) { return std::clamp(std::isfinite(v) ? v : 0.0, 0.0, 1.0); };
    return QColor::fromRgbF(float(c(m_r)), float(c(m_g)), float(c(m_b)), float(c(m_a)));
}

}  // namespace cif
