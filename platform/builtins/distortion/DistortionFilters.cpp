// Distortion built-ins: warps that read their input at a computed point.

#include "platform/builtins/BuiltinFilter.h"

namespace cif::builtins {

std::vector<BuiltinDef> distortionBuiltins() {
    return {};
}

}  // namespace cif::builtins
