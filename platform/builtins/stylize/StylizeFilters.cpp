// Stylize built-ins.

#include "platform/builtins/BuiltinFilter.h"

namespace cif::builtins {

std::vector<BuiltinDef> stylizeBuiltins() {
    return {};
}

}  // namespace cif::builtins
