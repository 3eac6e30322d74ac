// Compositing built-ins: the image (foreground) over or onto the background.

#include "platform/builtins/BuiltinFilter.h"

namespace cif::builtins {

namespace {

CIImage sourceOver(const CIFilter& f) {
    const CIImage fg = f.imageForKey(kCIInputImageKey), bg = f.imageForKey("inputBackgroundImage");
    if (fg.isNull() || bg.isNull()) return fg.isNull() ? bg : fg;
    return fg.imageByCompositingOverImage(bg);
}

CIImage addition(const CIFilter& f) {
    const CIImage fg = f.imageForKey(kCIInputImageKey), bg = f.imageForKey("inputBackgroundImage");
    if (fg.isNull() || bg.isNull()) return fg.isNull() ? bg : fg;
    return fg.imageByAddingToImage(bg);
}

}  // namespace

std::vector<BuiltinDef> compositeBuiltins() {
    return {
        {"CISourceOverCompositing", sourceOver},
        {"CIAdditionCompositing", addition},
    };
}

}  // namespace cif::builtins
