// Transition built-ins that fold or curl the source away with a shadow.

#include "platform/builtins/BuiltinFilter.h"
#include "platform/builtins/transition/Transitions.h"

namespace cif::builtins {

std::vector<BuiltinDef> foldTransitionBuiltins() {
    using namespace transitions;
    return {
        {"CIAccordionFoldTransition", accordionFold},
        {"CIPageCurlWithShadowTransition", pageCurlWithShadow},
    };
}

}  // namespace cif::builtins
