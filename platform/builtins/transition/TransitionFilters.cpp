// Transition built-ins: blends and time-driven transitions between two images.

#include "platform/builtins/BuiltinFilter.h"

namespace cif::builtins {

std::vector<BuiltinDef> transitionBuiltins() {
    return {};
}

}  // namespace cif::builtins
