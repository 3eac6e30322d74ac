// Tile built-ins: edge clamping and periodic tiling, both infinite.

#include "platform/builtins/BuiltinFilter.h"

namespace cif::builtins {

namespace {

// The edges are extended first and the result transformed, so an identity
// transform reproduces the input exactly inside its extent.
CIImage affineClamp(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    return in.imageByClampingToExtent().imageByApplyingTransform(
        f.transformForKey("inputTransform"));
}

CIImage affineTile(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    return in.imageByAffineTiling(f.transformForKey("inputTransform"));
}

}  // namespace

std::vector<BuiltinDef> tileBuiltins() {
    return {
        {"CIAffineClamp", affineClamp},
        {"CIAffineTile", affineTile},
    };
}

}  // namespace cif::builtins
