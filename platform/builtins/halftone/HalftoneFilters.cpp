// Halftone built-ins.

#include "platform/builtins/BuiltinFilter.h"

namespace cif::builtins {

std::vector<BuiltinDef> halftoneBuiltins() {
    return {};
}

}  // namespace cif::builtins
