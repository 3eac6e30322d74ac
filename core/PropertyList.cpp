#include "core/PropertyList.h"

#include <QDateTime>
#include <QFile>
#include <QVariantList>
#include <QVariantMap>
#include <QXmlStreamReader>
#include <limits>

namespace cif {

namespace {

class Reader {
public:
    explicit Reader(const QByteArray& xml) : m_xml(xml) {}

    QVariant document(QString* error) {
        QVariant result;
        if (nextElement() && m_xml.name() == QLatin1String("plist")) {
            if (nextElement()) result = value(1);
            // An empty <plist/> holds nothing to answer.
            if (!result.isValid() && !m_xml.hasError())
                fail(QStringLiteral("the <plist> element holds no value"));
        } else if (!m_xml.hasError()) {
            fail(QStringLiteral("no <plist> element"));
        }
        if (!m_error.isEmpty() || m_xml.hasError()) {
            if (error)
                *error = QStringLiteral("line %1: %2")
                             .arg(m_xml.lineNumber())
                             .arg(m_error.isEmpty() ? m_xml.errorString() : m_error);
            return {};
        }
        return result;
    }

private:
    // Advances to the next start element; false at an end element or the end.
    bool nextElement() {
        while (!m_xml.atEnd()) {
            const auto token = m_xml.readNext();
            if (token == QXmlStreamReader::StartElement) return true;
            if (token == QXmlStreamReader::EndElement) return false;
        }
        return false;
    }

    void fail(const QString& message) {
        if (m_error.isEmpty()) m_error = message;
        m_xml.raiseError(message);
    }

    // The value of the current start element.
    QVariant value(int depth) {
        if (depth > PropertyList::kMaxDepth) {
            fail(QStringLiteral("nested deeper than %1 levels").arg(PropertyList::kMaxDepth));
            return {};
        }
        const QString name = m_xml.name().toString();
        if (name == QLatin1String("dict")) return dictionary(depth);
        if (name == QLatin1String("array")) {
            QVariantList list;
            while (nextElement() && !m_xml.hasError())
                list << value(depth + 1);
            return list;
        }
        if (name == QLatin1String("true") || name == QLatin1String("false")) {
            const bool b = name == QLatin1String("true");
            m_xml.skipCurrentElement();
            return b;
        }
        const QString text = m_xml.readElementText();
        if (name == QLatin1String("string")) return text;
        if (name == QLatin1String("real")) {
            bool ok = false;
            const double d = text.trimmed().toDouble(&ok);
            if (!ok) fail(QStringLiteral("'%1' is not a real number").arg(text));
            return d;
        }
        if (name == QLatin1String("integer")) {
            bool ok = false;
            const qlonglong n = text.trimmed().toLongLong(&ok);
            if (!ok) fail(QStringLiteral("'%1' is not an integer").arg(text));
            if (n >= std::numeric_limits<int>::min() && n <= std::numeric_limits<int>::max())
                return int(n);
            return n;
        }
        if (name == QLatin1String("date"))
            return QDateTime::fromString(text.trimmed(), Qt::ISODate);
        if (name == QLatin1String("data")) return QByteArray::fromBase64(text.toLatin1());
        fail(QStringLiteral("unknown element <%1>").arg(name));
        return {};
    }

    QVariant dictionary(int depth) {
        QVariantMap map;
        while (nextElement() && !m_xml.hasError()) {
            if (m_xml.name() != QLatin1String("key")) {
                fail(QStringLiteral("<dict> holds <%1> where a <key> belongs").arg(m_xml.name()));
                return {};
            }
            const QString key = m_xml.readElementText();
            if (!nextElement()) {
                fail(QStringLiteral("key '%1' has no value").arg(key));
                return {};
            }
            map.insert(key, value(depth + 1));
        }
        return map;
    }

    QXmlStreamReader m_xml;
    QString m_error;
};

}  // namespace

QVariant PropertyList::fromXml(const QByteArray& xml, QString* error) {
    if (xml.size() > kMaxBytes) {
        if (error) *error = QStringLiteral("larger than %1 bytes").arg(kMaxBytes);
        return {};
    }
    return Reader(xml).document(error);
}

QVariant PropertyList::readFile(const QString& path, QString* error) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (error) *error = QStringLiteral("%1: %2").arg(path, file.errorString());
        return {};
    }
    if (file.size() > kMaxBytes) {
        if (error) *error = QStringLiteral("%1: larger than %2 bytes").arg(path).arg(kMaxBytes);
        return {};
    }
    QString why;
    QVariant result = fromXml(file.readAll(), &why);
    if (!result.isValid() && error) *error = path + QStringLiteral(": ") + why;
    return result;
}

}  // namespace cif
