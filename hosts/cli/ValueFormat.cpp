#include "hosts/cli/ValueFormat.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QLocale>
#include <QStringList>
#include <QTransform>
#include <QVariantMap>
#include <cmath>

#include "platform/image/CIColor.h"
#include "platform/image/CIImage.h"
#include "platform/image/CIVector.h"

namespace cifx {

namespace {

QJsonValue jsonNumber(double v) {
    return std::isfinite(v) ? QJsonValue(v) : QJsonValue();
}

QStringList numbersText(std::initializer_list<double> values) {
    QStringList parts;
    for (double v : values)
        parts << formatNumber(v);
    return parts;
}

}  // namespace

QString formatNumber(double value) {
    return QString::number(value, 'g', QLocale::FloatingPointShortest);
}

QJsonValue toJson(const QVariant& value) {
    const QMetaType type = value.metaType();
    if (!value.isValid()) return {};
    if (type == QMetaType::fromType<cif::CIVector>()) {
        const cif::CIVector vector = value.value<cif::CIVector>();
        QJsonArray a;
        for (double v : vector.values())
            a.append(jsonNumber(v));
        return a;
    }
    if (type == QMetaType::fromType<cif::CIColor>()) {
        const cif::CIColor c = value.value<cif::CIColor>();
        return QJsonArray{jsonNumber(c.red()), jsonNumber(c.green()), jsonNumber(c.blue()),
                          jsonNumber(c.alpha())};
    }
    if (type == QMetaType::fromType<cif::CIImage>()) return {};
    switch (type.id()) {
        case QMetaType::Bool:
            return value.toBool();
        case QMetaType::Int:
        case QMetaType::UInt:
        case QMetaType::Long:
        case QMetaType::LongLong:
        case QMetaType::ULongLong:
            return QJsonValue(value.toLongLong());
        case QMetaType::Float:
        case QMetaType::Double:
            return jsonNumber(value.toDouble());
        case QMetaType::QTransform: {
            const QTransform t = value.value<QTransform>();
            return QJsonObject{{QStringLiteral("m11"), jsonNumber(t.m11())},
                               {QStringLiteral("m12"), jsonNumber(t.m12())},
                               {QStringLiteral("m21"), jsonNumber(t.m21())},
                               {QStringLiteral("m22"), jsonNumber(t.m22())},
                               {QStringLiteral("tX"), jsonNumber(t.dx())},
                               {QStringLiteral("tY"), jsonNumber(t.dy())}};
        }
        case QMetaType::QString:
            return value.toString();
        case QMetaType::QStringList:
        case QMetaType::QVariantList: {
            QJsonArray a;
            for (const QVariant& v : value.toList())
                a.append(toJson(v));
            return a;
        }
        case QMetaType::QVariantMap: {
            QJsonObject o;
            const QVariantMap m = value.toMap();
            for (auto it = m.constBegin(); it != m.constEnd(); ++it)
                o.insert(it.key(), toJson(it.value()));
            return o;
        }
        default:
            break;
    }
    return value.canConvert<QString>() ? QJsonValue(value.toString()) : QJsonValue();
}

QString toText(const QVariant& value) {
    const QMetaType type = value.metaType();
    if (!value.isValid()) return {};
    if (type == QMetaType::fromType<cif::CIVector>()) {
        const cif::CIVector vector = value.value<cif::CIVector>();
        QStringList parts;
        for (double v : vector.values())
            parts << formatNumber(v);
        return u'[' + parts.join(u' ') + u']';
    }
    if (type == QMetaType::fromType<cif::CIColor>()) {
        const cif::CIColor c = value.value<cif::CIColor>();
        return u'[' + numbersText({c.red(), c.green(), c.blue(), c.alpha()}).join(u' ') + u']';
    }
    if (type == QMetaType::fromType<cif::CIImage>()) return {};
    switch (type.id()) {
        case QMetaType::Bool:
            return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
        case QMetaType::Float:
        case QMetaType::Double:
            return formatNumber(value.toDouble());
        case QMetaType::QTransform: {
            const QTransform t = value.value<QTransform>();
            return u'[' +
                   numbersText({t.m11(), t.m12(), t.m21(), t.m22(), t.dx(), t.dy()}).join(u' ') +
                   u']';
        }
        case QMetaType::QStringList:
            return value.toStringList().join(QStringLiteral(", "));
        default:
            break;
    }
    return value.canConvert<QString>() ? value.toString() : QString();
}

}  // namespace cifx
