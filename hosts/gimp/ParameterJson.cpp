#include "ParameterJson.h"

#include <QColor>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QTransform>
#include <cmath>

#include "cif/CIFPlugIn.h"
#include "platform/image/CIAttributes.h"
#include "platform/image/CIFilter.h"

namespace {

const QString kVectorsKey = QStringLiteral("CIFVectors");
const QString kOffsetsKey = QStringLiteral("CIFOffsets");
const QString kSeedKey = QStringLiteral("GLIFRandomSeed");
const QString kBrushKey = QStringLiteral("GLIFBrush");

// Reads the text as one JSON object; an empty text is an empty object.
bool parseObject(const cif::CIFPlugIn& main, const QString& json, QJsonObject& out,
                 QString* error) {
    if (json.trimmed().isEmpty()) {
        out = {};
        return true;
    }
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json.toUtf8(), &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        *error = main.localizedString(QStringLiteral("The parameters are not valid JSON: %1"))
                     .arg(parseError.errorString());
        return false;
    }
    if (!document.isObject()) {
        *error = main.localizedString(QStringLiteral("The parameters must be a JSON object."));
        return false;
    }
    out = document.object();
    return true;
}

QString badValue(const cif::CIFPlugIn& main, const QString& key, const char* expected) {
    return main.localizedString(QStringLiteral("The parameter '%1' needs %2."))
        .arg(key, main.localizedString(QString::fromLatin1(expected)));
}

// Up to `count` finite numbers of a JSON array.
bool numbers(const QJsonValue& value, qsizetype minCount, qsizetype maxCount, QList<double>& out) {
    if (!value.isArray()) return false;
    const QJsonArray array = value.toArray();
    if (array.size() < minCount || array.size() > maxCount) return false;
    out.clear();
    for (const QJsonValue& v : array) {
        if (!v.isDouble() || !std::isfinite(v.toDouble())) return false;
        out.push_back(v.toDouble());
    }
    return true;
}

// [r, g, b] or [r, g, b, a] from 0 to 1, or a colour name such as "#ff8000".
bool colour(const QJsonValue& value, QColor& out) {
    if (value.isString()) {
        if (!QColor::isValidColorName(value.toString())) return false;
        out = QColor::fromString(value.toString());
        return true;
    }
    QList<double> c;
    if (!numbers(value, 3, 4, c)) return false;
    for (const double v : c)
        if (v < 0 || v > 1) return false;
    out = QColor::fromRgbF(float(c[0]), float(c[1]), float(c[2]), float(c.value(3, 1.0)));
    return true;
}

bool picture(const cif::CIFPlugIn& main, const QString& key, const QJsonValue& value,
             cif::HostImage& out, QString* error) {
    if (!value.isString()) {
        *error = badValue(main, key, "the path of a picture file");
        return false;
    }
    QString why;
    out = cif::HostImage::load(value.toString(), &why);
    if (out.isNull()) {
        *error = main.localizedString(QStringLiteral("The parameter '%1': %2")).arg(key, why);
        return false;
    }
    return true;
}

// One effect input read by its attribute class into the editor's kind of
// value; vectors go under "CIFVectors" as the editor keeps them.
bool effectValue(const cif::CIFPlugIn& main, const QString& key, const QVariantMap& attribute,
                 const QJsonValue& value, QVariantMap& parameters, QString* error) {
    const QString cls = attribute.value(cif::kCIAttributeClass).toString();
    const QString type = attribute.value(cif::kCIAttributeType).toString();
    if (cls == cif::kCIClassNumber) {
        if (type == cif::kCIAttributeTypeBoolean && value.isBool()) {
            parameters.insert(key, value.toBool());
            return true;
        }
        if (!value.isDouble() || !std::isfinite(value.toDouble())) {
            *error = badValue(main, key, "a number");
            return false;
        }
        const double d = value.toDouble();
        if (type == cif::kCIAttributeTypeBoolean)
            parameters.insert(key, d != 0.0);
        else
            parameters.insert(key, d);
        return true;
    }
    if (cls == cif::kCIClassColor) {
        QColor c;
        if (!colour(value, c)) {
            *error = badValue(main, key, "a colour: [r, g, b, a] from 0 to 1 or \"#rrggbb\"");
            return false;
        }
        parameters.insert(key, c);
        return true;
    }
    if (cls == cif::kCIClassVector) {
        QList<double> v;
        if (!numbers(value, 1, 16, v)) {
            *error = badValue(main, key, "an array of numbers");
            return false;
        }
        QVariantMap components;
        for (qsizetype i = 0; i < v.size(); ++i)
            components.insert(QString::number(i), v[i]);
        QVariantMap vectors = parameters.value(kVectorsKey).toMap();
        vectors.insert(key, components);
        parameters.insert(kVectorsKey, vectors);
        parameters.remove(key);
        return true;
    }
    if (cls == cif::kCIClassTransform) {
        QList<double> m;
        if (!numbers(value, 6, 6, m)) {
            *error = badValue(main, key, "six numbers [m11, m12, m21, m22, dx, dy]");
            return false;
        }
        parameters.insert(key, QTransform(m[0], m[1], m[2], m[3], m[4], m[5]));
        return true;
    }
    if (cls == cif::kCIClassImage) {
        cif::HostImage image;
        if (!picture(main, key, value, image, error)) return false;
        parameters.insert(key, QVariant::fromValue(image));
        return true;
    }
    // Strings and the like, converted by the engine's own rules.
    QVariant v = value.toVariant();
    if (value.isArray() || value.isObject() || !cif::convertToAttributeClass(cls, v)) {
        *error = badValue(main, key, "a value of the input's kind");
        return false;
    }
    parameters.insert(key, v);
    return true;
}

// One generator parameter read by the kind of its published default.
bool generatorValue(const cif::CIFPlugIn& main, const QString& key, const QVariant& def,
                    const QJsonValue& value, QVariantMap& parameters, QString* error) {
    if (def.typeId() == QMetaType::QColor) {
        QColor c;
        if (!colour(value, c)) {
            *error = badValue(main, key, "a colour: [r, g, b, a] from 0 to 1 or \"#rrggbb\"");
            return false;
        }
        parameters.insert(key, c);
        return true;
    }
    if (def.typeId() == QMetaType::Bool) {
        if (!value.isBool() && !value.isDouble()) {
            *error = badValue(main, key, "true or false");
            return false;
        }
        parameters.insert(key, value.isBool() ? value.toBool() : value.toDouble() != 0.0);
        return true;
    }
    if (!value.isDouble() || !std::isfinite(value.toDouble())) {
        *error = badValue(main, key, "a number");
        return false;
    }
    const double d = value.toDouble();
    if (def.typeId() == QMetaType::Int) {
        if (d != std::trunc(d) || std::abs(d) > 2147483647.0) {
            *error = badValue(main, key, "a whole number");
            return false;
        }
        parameters.insert(key, int(d));
    } else {
        parameters.insert(key, d);
    }
    return true;
}

}  // namespace

bool ParameterJson::effectParameters(cif::CIFPlugIn& main, const QString& identifier,
                                     const QString& json, QVariantMap& out, QString* error) {
    QJsonObject object;
    if (!parseObject(main, json, object, error)) return false;
    const QVariantMap attributes = main.CIFQueryAttributesForFilter(identifier);
    QVariantMap parameters;
    main.addDefaultParametersToDictionaryWithFilterName(parameters, identifier);
    for (auto it = object.constBegin(); it != object.constEnd(); ++it) {
        const QString key = it.key();
        if (key == kVectorsKey || key == kOffsetsKey) {
            if (!it.value().isObject()) {
                *error = badValue(main, key, "an object");
                return false;
            }
            QVariantMap merged = parameters.value(key).toMap();
            const QVariantMap given = it.value().toObject().toVariantMap();
            for (auto g = given.cbegin(); g != given.cend(); ++g)
                merged.insert(g.key(), g.value());
            parameters.insert(key, merged);
            continue;
        }
        if (!attributes.contains(key)) {
            *error = main.localizedString(QStringLiteral("'%1' has no parameter '%2'."))
                         .arg(identifier, key);
            return false;
        }
        if (!effectValue(main, key, attributes.value(key).toMap(), it.value(), parameters, error))
            return false;
    }
    out = parameters;
    return true;
}

bool ParameterJson::generatorParameters(cif::CIFPlugIn& main, const QString& identifier,
                                        const QString& json, GeneratorRun& out, QString* error) {
    QJsonObject object;
    if (!parseObject(main, json, object, error)) return false;
    const QVariantMap descriptions = main.CIFQueryAttributesForFilter(identifier);
    GeneratorRun run;
    // The editor starts a generator from its published defaults.
    for (auto it = descriptions.cbegin(); it != descriptions.cend(); ++it) {
        const QVariant def = it.value().toMap().value(QStringLiteral("GLIFDefValue"));
        if (def.isValid()) run.parameters.insert(it.key(), def);
    }
    for (auto it = object.constBegin(); it != object.constEnd(); ++it) {
        const QString key = it.key();
        const QJsonValue value = it.value();
        if (key == kSeedKey) {
            const double d = value.toDouble(-1);
            if (!value.isDouble() || d < 0 || d > 2147483647.0 || d != std::trunc(d)) {
                *error = badValue(main, key, "a whole number from 0 to 2147483647");
                return false;
            }
            run.seed = unsigned(d);
            continue;
        }
        if (key == kBrushKey) {
            cif::HostImage brush =
                value.isString() ? main.CIFBrushWithName(value.toString()) : cif::HostImage();
            if (brush.isNull() && !picture(main, key, value, brush, error)) return false;
            run.parameters.insert(key, QVariant::fromValue(brush));
            continue;
        }
        if (!descriptions.contains(key)) {
            *error = main.localizedString(QStringLiteral("'%1' has no parameter '%2'."))
                         .arg(identifier, key);
            return false;
        }
        const QVariant def = descriptions.value(key).toMap().value(QStringLiteral("GLIFDefValue"));
        if (!generatorValue(main, key, def, value, run.parameters, error)) return false;
    }
    // Brush generators stamp the library's first brush unless told otherwise.
    if (identifier == QLatin1String("GLIF_Dabs") && !run.parameters.contains(kBrushKey)) {
        const QStringList brushes = main.CIFBrushNames();
        if (!brushes.isEmpty())
            run.parameters.insert(kBrushKey,
                                  QVariant::fromValue(main.CIFBrushWithName(brushes.first())));
    }
    out = run;
    return true;
}
