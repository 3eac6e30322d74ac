#pragma once
// Argument parsing for cifx: options and positionals of one command, and the
// conversion of command-line text into filter input values. Nothing here
// prints; every function answers false with a translated message on bad text.

#include <QHash>
#include <QRectF>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVariantMap>
#include <span>

namespace cifx {

// One option a command accepts: "--name", optionally "-c", with or without a
// value ("--name value" or "--name=value"). Only repeatable options may be
// given more than once.
struct OptionDef {
    const char* name;
    char shortName;
    bool takesValue;
    bool repeatable;
};

struct ParsedArguments {
    QStringList positionals;
    QHash<QString, QStringList> values;  // option name -> values in order ("" for flags)

    bool has(const QString& name) const { return values.contains(name); }
    QString value(const QString& name) const { return values.value(name).value(0); }
    QStringList all(const QString& name) const { return values.value(name); }
};

// Parses args (without the program and command names) against optionDefs.
// "--" ends the options; "-" alone is a positional.
bool parseArguments(const QStringList& args, std::span<const OptionDef> optionDefs,
                    ParsedArguments& out, QString* error);

// A whole number in [minimum, maximum].
bool parseInteger(const QString& text, int minimum, int maximum, int& out, QString* error);

// "x,y,w,h" or "x y w h" (brackets allowed): finite, with positive width and
// height. Engine coordinates: origin bottom-left.
bool parseRect(const QString& text, QRectF& out, QString* error);

// Splits "key=value" at the first '='; the key must not be empty.
bool splitAssignment(const QString& text, QString& key, QString& value, QString* error);

// Converts text into a value of the input described by attribute (a
// CIAttribute* dictionary), by its class: NSNumber (a number; booleans also
// take true/false/yes/no/on/off; integers and counts must be whole), CIVector
// ("[x y ...]" or "x,y"; as many components as the default has), CIColor
// ("r g b a" with alpha optional, or "#rrggbb[aa]"), NSAffineTransform
// ("m11 m12 m21 m22 tx ty"). Image inputs are not handled here (they are
// files, read by the caller). NaN numbers pass through: the filter replaces
// them by the default. Numbers outside the input's CIAttributeMin and
// CIAttributeMax are brought into that range, as a person typing into the
// editor's controls would be, and *notice (when not null) says so; an
// infinity with no bound on its side is refused.
bool parseInputValue(const QVariantMap& attribute, const QString& text, QVariant& out,
                     QString* error, QString* notice = nullptr);

// value bounded to [minimum, maximum]; an invalid bound leaves that side
// open. When the value changes, *notice (when not null) receives a sentence
// that names the value, the range and the value used.
double clampTypedNumber(double value, const QVariant& minimum, const QVariant& maximum,
                        QString* notice);

}  // namespace cifx
