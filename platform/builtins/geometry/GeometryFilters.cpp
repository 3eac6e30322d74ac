// Geometry built-ins: affine transform, crop, Lanczos scaling and the
// perspective transform.

#include <algorithm>
#include <memory>

#include "platform/builtins/BuiltinFilter.h"
#include "platform/builtins/geometry/ProjectiveWarp.h"
#include "platform/builtins/geometry/ScaleNode.h"

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

// Scales below this would make one output tile read an unbounded amount of
// input; the platform's slider stops far above it.
constexpr double kMinScale = 1e-3;
constexpr double kMaxScale = 1e3;
constexpr double kMinInfiniteScale = 0.05;

CIImage lanczosScale(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const double scale = f.numberForKey("inputScale");
    const double aspect = f.numberForKey("inputAspectRatio");
    const double sx = scale * aspect, sy = scale;
    if (!(sx >= kMinScale && sy >= kMinScale && sx <= kMaxScale && sy <= kMaxScale)) return in;
    // An infinite input has no size to bound the work of strong shrinking:
    // each output tile would read (tile / scale)^2 input pixels.
    if (in.isInfinite() && std::min(sx, sy) < kMinInfiniteScale) return in;
    return CIImage::imageWithNode(std::make_shared<ScaleNode>(in.node(), sx, sy, ScaleKernel{}));
}

// ---------------------------------------------------------------- perspective

CIImage perspectiveTransform(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    if (in.isInfinite() || in.node()->extent().isEmpty()) return in;
    const CIVector bl = f.vectorForKey("inputBottomLeft"), br = f.vectorForKey("inputBottomRight");
    const CIVector tr = f.vectorForKey("inputTopRight"), tl = f.vectorForKey("inputTopLeft");
    const Quad q{{bl.X(), bl.Y()}, {br.X(), br.Y()}, {tr.X(), tr.Y()}, {tl.X(), tl.Y()}};
    const auto node = ProjectiveWarp::fromQuad(in.node(), in.node()->extent(), q, false);
    return node ? CIImage::imageWithNode(node) : in;
}

}  // namespace

std::vector<BuiltinDef> geometryBuiltins() {
    return {
        {"CIAffineTransform", affineTransform},
        {"CICrop", crop},
        {"CILanczosScaleTransform", lanczosScale},
        {"CIPerspectiveTransform", perspectiveTransform},
    };
}

}  // namespace cif::builtins
