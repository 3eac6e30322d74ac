// Blur and sharpen built-ins.

#include "platform/builtins/BuiltinFilter.h"

namespace cif::builtins {

std::vector<BuiltinDef> blurBuiltins() {
    return {};
}

}  // namespace cif::builtins
