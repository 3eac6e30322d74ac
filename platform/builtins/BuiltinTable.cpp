#include "platform/builtins/BuiltinTable.h"

#include <QFile>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTransform>
#include <QtGlobal>

#include "platform/image/CIAttributes.h"
#include "platform/image/CIColor.h"
#include "platform/image/CIVector.h"

namespace cif::builtins {

namespace {

// Converts a table value into the attribute's class.
QVariant tableValue(const QJsonValue& v, const QString& cls, const QString& type) {
    if (v.isUndefined() || v.isNull()) return {};
    if (cls == kCIClassNumber) {
        if (type == kCIAttributeTypeBoolean) return v.toDouble() != 0.0;
        if (type == kCIAttributeTypeInteger || type == kCIAttributeTypeCount) return v.toInt();
        return v.toDouble();
    }
    if (cls == kCIClassVector || cls == kCIClassColor) {
        std::vector<double> c;
        for (const QJsonValue& x : v.toArray())
            c.push_back(x.toDouble());
        if (cls == kCIClassVector) return QVariant::fromValue(CIVector(std::move(c)));
        c.resize(4, 1.0);
        return QVariant::fromValue(CIColor(c[0], c[1], c[2], c[3]));
    }
    if (cls == kCIClassTransform) {
        const QJsonObject o = v.toObject();
        return QTransform(o.value("m11").toDouble(1), o.value("m12").toDouble(),
                          o.value("m21").toDouble(), o.value("m22").toDouble(1),
                          o.value("tX").toDouble(), o.value("tY").toDouble());
    }
    return v.toVariant();
}

TableEntry entryFromJson(const QJsonObject& f) {
    TableEntry e;
    e.classAttributes.insert(kCIAttributeFilterDisplayName, f.value("displayName").toString());
    QStringList cats;
    for (const QJsonValue& c : f.value("categories").toArray())
        cats << c.toString();
    e.classAttributes.insert(kCIAttributeFilterCategories, cats);
    for (const QJsonValue& iv : f.value("inputs").toArray()) {
        const QJsonObject in = iv.toObject();
        const QString key = in.value("key").toString();
        const QString cls = in.value("class").toString();
        const QString type = in.value("type").toString();
        QVariantMap a;
        a.insert(kCIAttributeClass, cls);
        if (!type.isEmpty()) a.insert(kCIAttributeType, type);
        a.insert(kCIAttributeDisplayName, in.value("displayName").toString());
        for (const CIJsonAttributeField& fld : kCIJsonAttributeFields) {
            const QVariant v = tableValue(in.value(QLatin1String(fld.json)), cls, type);
            if (v.isValid()) a.insert(fld.attribute, v);
        }
        e.classAttributes.insert(key, a);
        e.inputKeys << key;
    }
    return e;
}

const QHash<QString, TableEntry>& table() {
    static const QHash<QString, TableEntry> t = [] {
        QHash<QString, TableEntry> out;
        QFile file(QStringLiteral(":/cif/builtins/platform-filters.json"));
        if (!file.open(QIODevice::ReadOnly)) {
            qWarning("built-in filter table is missing from the build");
            return out;
        }
        const QJsonArray filters =
            QJsonDocument::fromJson(file.readAll()).object().value("filters").toArray();
        for (const QJsonValue& f : filters) {
            const QJsonObject o = f.toObject();
            out.insert(o.value("name").toString(), entryFromJson(o));
        }
        return out;
    }();
    return t;
}

}  // namespace

bool lookUpBuiltin(const QString& name, TableEntry& out) {
    const auto it = table().constFind(name);
    if (it == table().constEnd()) return false;
    out = *it;
    return true;
}

QStringList builtinTableNames() {
    return table().keys();
}

}  // namespace cif::builtins
