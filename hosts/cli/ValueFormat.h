#pragma once
// How filter attribute values appear in cifx's output: JSON values for
// --json (numbers, vectors as arrays, colours as [r, g, b, a], transforms as
// {m11, m12, m21, m22, tX, tY}) and short text for tables.

#include <QJsonValue>
#include <QString>
#include <QVariant>

namespace cifx {

// Non-finite numbers have no JSON form and become null; images become null.
QJsonValue toJson(const QVariant& value);
// "1.5", "[1 0 0 0]" (vectors and colours r g b a), "[m11 m12 m21 m22 tx ty]",
// "true"; each reads back through --set. Empty for values with no short form.
QString toText(const QVariant& value);
// Shortest text that reads back as the same double.
QString formatNumber(double value);

}  // namespace cifx
