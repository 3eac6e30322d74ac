// Geometry built-ins: affine transform and crop.

#include "platform/builtins/BuiltinFilter.h"

namespace cif::builtins {

namespace {

CIImage affineTransform(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    return in.imageByApplyingTransform(f.transformForKey("inputTransform"));
}

CIImage crop(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    return in.imageByCroppingToRect(f.vectorForKey("inputRectangle").CGRectValue());
}

}  // namespace

std::vector<BuiltinDef> geometryBuiltins() {
    return {
        {"CIAffineTransform", affineTransform},
        {"CICrop", crop},
    };
}

}  // namespace cif::builtins
