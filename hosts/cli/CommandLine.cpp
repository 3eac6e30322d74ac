#include "hosts/cli/CommandLine.h"

#include <QColor>
#include <QCoreApplication>
#include <QRegularExpression>
#include <QTransform>
#include <cmath>

#include "hosts/cli/ValueFormat.h"
#include "platform/image/CIAttributes.h"
#include "platform/image/CIColor.h"
#include "platform/image/CIFilter.h"
#include "platform/image/CIVector.h"

namespace cifx {

namespace {

const OptionDef* findLong(std::span<const OptionDef> optionDefs, const QString& name) {
    for (const OptionDef& def : optionDefs)
        if (name == QLatin1String(def.name)) return &def;
    return nullptr;
}

const OptionDef* findShort(std::span<const OptionDef> optionDefs, QChar c) {
    for (const OptionDef& def : optionDefs)
        if (def.shortName != 0 && c == QLatin1Char(def.shortName)) return &def;
    return nullptr;
}

// Numbers separated by white space or commas, optionally in brackets; the
// same grammar as the platform's vector strings.
bool parseNumbers(const QString& text, std::vector<double>& out) {
    cif::CIVector v;
    if (!cif::CIVector::vectorWithString(text, v)) return false;
    out = v.values();
    return true;
}

bool allFinite(const std::vector<double>& values) {
    for (double v : values)
        if (!std::isfinite(v)) return false;
    return true;
}

// How many components a vector input takes: its default's count, else the
// count its type implies, else any (0).
size_t expectedComponents(const QVariantMap& attribute) {
    const QVariant def = attribute.value(cif::kCIAttributeDefault);
    if (def.metaType() == QMetaType::fromType<cif::CIVector>()) {
        const size_t n = def.value<cif::CIVector>().count();
        if (n > 0) return n;
    }
    const QString type = attribute.value(cif::kCIAttributeType).toString();
    if (type == cif::kCIAttributeTypePosition || type == cif::kCIAttributeTypeOffset) return 2;
    if (type == cif::kCIAttributeTypePosition3) return 3;
    if (type == cif::kCIAttributeTypeRectangle) return 4;
    return 0;
}

bool parseNumberValue(const QVariantMap& attribute, const QString& text, QVariant& out,
                      QString* error, QString* notice) {
    const QString type = attribute.value(cif::kCIAttributeType).toString();
    const QString t = text.trimmed().toLower();
    if (type == cif::kCIAttributeTypeBoolean) {
        static const QStringList yes{QStringLiteral("true"), QStringLiteral("yes"),
                                     QStringLiteral("on")};
        static const QStringList no{QStringLiteral("false"), QStringLiteral("no"),
                                    QStringLiteral("off")};
        if (yes.contains(t)) {
            out = true;
            return true;
        }
        if (no.contains(t)) {
            out = false;
            return true;
        }
    }
    bool ok = false;
    double d = t.toDouble(&ok);
    if (!ok) {
        if (error) *error = QCoreApplication::translate("cifx", "'%1' is not a number").arg(text);
        return false;
    }
    if (type == cif::kCIAttributeTypeBoolean) {
        out = d != 0.0;
        return true;
    }
    const bool whole = type == cif::kCIAttributeTypeInteger || type == cif::kCIAttributeTypeCount;
    if (whole && std::isfinite(d) && d != std::trunc(d)) {
        if (error)
            *error = QCoreApplication::translate("cifx", "'%1' is not a whole number").arg(text);
        return false;
    }
    // NaN passes through: the filter replaces it by the input's default.
    if (!std::isnan(d)) {
        d = clampTypedNumber(d, attribute.value(cif::kCIAttributeMin),
                             attribute.value(cif::kCIAttributeMax), notice);
        if (!std::isfinite(d)) {
            if (error)
                *error =
                    QCoreApplication::translate("cifx", "'%1' is not a finite number").arg(text);
            return false;
        }
    }
    // Whole numbers within int range keep the integer kind.
    if (whole && d == std::trunc(d) && std::abs(d) < 2147483647.0) {
        out = int(d);
        return true;
    }
    out = d;
    return true;
}

bool parseVectorValue(const QVariantMap& attribute, const QString& text, QVariant& out,
                      QString* error) {
    std::vector<double> values;
    if (!parseNumbers(text, values) || values.empty() || !allFinite(values)) {
        if (error)
            *error = QCoreApplication::translate(
                         "cifx", "'%1' is not a vector; write \"[x y ...]\" or \"x,y\"")
                         .arg(text);
        return false;
    }
    const size_t expected = expectedComponents(attribute);
    if (expected != 0 && values.size() != expected) {
        if (error)
            *error =
                QCoreApplication::translate("cifx", "'%1' has %2 components; this input takes %3")
                    .arg(text)
                    .arg(values.size())
                    .arg(expected);
        return false;
    }
    out = QVariant::fromValue(cif::CIVector(std::move(values)));
    return true;
}

bool parseColorValue(const QString& text, QVariant& out, QString* error) {
    const QString t = text.trimmed();
    if (t.startsWith(u'#')) {
        // QColor reads #rgb, #rrggbb and #aarrggbb; people write alpha last,
        // so #rrggbbaa is reordered first.
        QString name = t;
        if (name.size() == 9) name = u'#' + name.mid(7, 2) + name.mid(1, 6);
        const QColor c = QColor::fromString(name);
        if (c.isValid()) {
            out = QVariant::fromValue(cif::CIColor::colorWithQColor(c));
            return true;
        }
    } else {
        cif::CIColor c;
        if (cif::CIColor::colorWithString(t, c)) {
            out = QVariant::fromValue(c);
            return true;
        }
    }
    if (error)
        *error = QCoreApplication::translate(
                     "cifx", "'%1' is not a colour; write \"r g b a\" (0 to 1) or \"#rrggbb\"")
                     .arg(text);
    return false;
}

bool parseTransformValue(const QString& text, QVariant& out, QString* error) {
    std::vector<double> v;
    if (!parseNumbers(text, v) || v.size() != 6 || !allFinite(v)) {
        if (error)
            *error = QCoreApplication::translate(
                         "cifx", "'%1' is not a transform; write \"m11 m12 m21 m22 tx ty\"")
                         .arg(text);
        return false;
    }
    out = QTransform(v[0], v[1], v[2], v[3], v[4], v[5]);
    return true;
}

}  // namespace

bool parseArguments(const QStringList& args, std::span<const OptionDef> optionDefs,
                    ParsedArguments& out, QString* error) {
    ParsedArguments parsed;
    bool optionsEnded = false;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString& arg = args[i];
        if (optionsEnded || arg == QLatin1String("-") || !arg.startsWith(u'-')) {
            parsed.positionals << arg;
            continue;
        }
        if (arg == QLatin1String("--")) {
            optionsEnded = true;
            continue;
        }
        const OptionDef* def = nullptr;
        QString inlineValue;
        bool hasInlineValue = false;
        if (arg.startsWith(QLatin1String("--"))) {
            const qsizetype eq = arg.indexOf(u'=');
            const QString name = arg.mid(2, eq < 0 ? -1 : eq - 2);
            if (eq >= 0) {
                inlineValue = arg.mid(eq + 1);
                hasInlineValue = true;
            }
            def = findLong(optionDefs, name);
        } else if (arg.size() == 2) {
            def = findShort(optionDefs, arg[1]);
        }
        if (!def) {
            if (error) *error = QCoreApplication::translate("cifx", "unknown option '%1'").arg(arg);
            return false;
        }
        const QString name = QLatin1String(def->name);
        if (parsed.values.contains(name) && !def->repeatable) {
            if (error)
                *error =
                    QCoreApplication::translate("cifx", "option '--%1' is given more than once")
                        .arg(name);
            return false;
        }
        QString value;
        if (def->takesValue) {
            if (hasInlineValue) {
                value = inlineValue;
            } else if (i + 1 < args.size()) {
                value = args[++i];
            } else {
                if (error)
                    *error = QCoreApplication::translate("cifx", "option '--%1' needs a value")
                                 .arg(name);
                return false;
            }
        } else if (hasInlineValue) {
            if (error)
                *error =
                    QCoreApplication::translate("cifx", "option '--%1' takes no value").arg(name);
            return false;
        }
        parsed.values[name] << value;
    }
    out = std::move(parsed);
    return true;
}

bool parseInteger(const QString& text, int minimum, int maximum, int& out, QString* error) {
    bool ok = false;
    const long long v = text.trimmed().toLongLong(&ok);
    if (!ok || v < minimum || v > maximum) {
        if (error)
            *error = QCoreApplication::translate("cifx", "'%1' is not a whole number from %2 to %3")
                         .arg(text)
                         .arg(minimum)
                         .arg(maximum);
        return false;
    }
    out = int(v);
    return true;
}

bool parseRect(const QString& text, QRectF& out, QString* error) {
    std::vector<double> v;
    if (!parseNumbers(text, v) || v.size() != 4 || !allFinite(v) || v[2] <= 0 || v[3] <= 0) {
        if (error)
            *error = QCoreApplication::translate(
                         "cifx",
                         "'%1' is not a rectangle; write \"x,y,width,height\" with a positive size")
                         .arg(text);
        return false;
    }
    out = QRectF(v[0], v[1], v[2], v[3]);
    return true;
}

bool splitAssignment(const QString& text, QString& key, QString& value, QString* error) {
    const qsizetype eq = text.indexOf(u'=');
    if (eq <= 0) {
        if (error)
            *error =
                QCoreApplication::translate("cifx", "'%1' is not of the form key=value").arg(text);
        return false;
    }
    key = text.left(eq).trimmed();
    value = text.mid(eq + 1);
    return true;
}

double clampTypedNumber(double value, const QVariant& minimum, const QVariant& maximum,
                        QString* notice) {
    double bounded = value;
    if (minimum.isValid() && bounded < minimum.toDouble()) bounded = minimum.toDouble();
    if (maximum.isValid() && bounded > maximum.toDouble()) bounded = maximum.toDouble();
    if (bounded != value && notice) {
        const auto bound = [](const QVariant& b, const char* open) {
            return b.isValid() ? formatNumber(b.toDouble())
                               : QCoreApplication::translate("cifx", open);
        };
        *notice =
            QCoreApplication::translate("cifx", "%1 is outside the range %2 to %3; %4 is used")
                .arg(formatNumber(value), bound(minimum, "-infinity"), bound(maximum, "infinity"),
                     formatNumber(bounded));
    }
    return bounded;
}

bool parseInputValue(const QVariantMap& attribute, const QString& text, QVariant& out,
                     QString* error, QString* notice) {
    const QString cls = attribute.value(cif::kCIAttributeClass).toString();
    if (cls == cif::kCIClassNumber) return parseNumberValue(attribute, text, out, error, notice);
    if (cls == cif::kCIClassVector) return parseVectorValue(attribute, text, out, error);
    if (cls == cif::kCIClassColor) return parseColorValue(text, out, error);
    if (cls == cif::kCIClassTransform) return parseTransformValue(text, out, error);
    // Other classes (strings and the like) take the text as it is, converted
    // by the engine's own rules.
    QVariant v = text;
    if (!cif::convertToAttributeClass(cls, v)) {
        if (error)
            *error = QCoreApplication::translate("cifx", "'%1' is not a valid %2").arg(text, cls);
        return false;
    }
    out = v;
    return true;
}

}  // namespace cifx
