// Transition built-ins: blends and time-driven transitions between two images.
// Every transition shows its source at time 0 and its target at time 1, over
// the source's extent.

#include "platform/builtins/BuiltinFilter.h"
#include "platform/builtins/transition/Transitions.h"

namespace cif::builtins {

std::vector<BuiltinDef> transitionBuiltins() {
    using namespace transitions;
    return {
        {"CIDissolveTransition", dissolve},
        {"CIBlendWithMask", blendWithMask},
        {"CISwipeTransition", swipe},
        {"CICopyMachineTransition", copyMachine},
        {"CIBarsSwipeTransition", barsSwipe},
        {"CIModTransition", modTransition},
        {"CIFlashTransition", flash},
        {"CIDisintegrateWithMaskTransition", disintegrateWithMask},
        {"CIRippleTransition", ripple},
        {"CIPageCurlTransition", pageCurl},
    };
}

}  // namespace cif::builtins
