#pragma once
// The reference table of the platform's built-in filters (input keys,
// classes, types, defaults, ranges, display names, categories), embedded as a
// resource and turned into registry class attributes.

#include <QString>
#include <QStringList>
#include <QVariantMap>

namespace cif::builtins {

struct TableEntry {
    QVariantMap classAttributes;  // display name, categories, one dictionary per input
    QStringList inputKeys;        // in the table's order
};

// Looks a filter up in the embedded table; false when it is not there.
bool lookUpBuiltin(const QString& name, TableEntry& out);
// Every name in the table.
QStringList builtinTableNames();

}  // namespace cif::builtins
