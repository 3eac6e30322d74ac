#pragma once
// Registration of the built-in platform filters.

#include <QStringList>

namespace cif {

// Registers every built-in filter the engine implements with the filter
// registry, with its attributes from the embedded reference table. Safe to
// call more than once. Answers the names registered.
QStringList registerBuiltinFilters();

}  // namespace cif
