#pragma once
// Pieces shared by the transition built-ins: a per-pixel node over a source
// and a target, the rectangle a transition's motion runs over, bilinear
// samples from rendered buffers, and the mix helpers.

#include <QRectF>
#include <algorithm>
#include <cmath>

#include "platform/image/CIFilter.h"
#include "platform/image/Node.h"
#include "platform/image/Pixel4.h"

namespace cif::builtins::transitions {

// Per-pixel combination of a source and a target, both rendered over the
// output tile; the extent is the source's. combineRow receives the source
// row (to overwrite with the result) and the target row.
class PairNode : public engine::Node {
public:
    void render(engine::PixelBuffer& dst, const engine::RenderState& state) const final;
    bool readsSinglePixels() const final { return true; }

protected:
    PairNode(engine::NodePtr source, engine::NodePtr target)
        : Node({source, std::move(target)}, source->extent()) {}
    virtual void combineRow(float* source, const float* target, int n, int x, int y,
                            const engine::RenderState& state) const = 0;
};

// The rectangle a transition's motion crosses: the inputExtent rectangle
// united with the source's extent (when finite), so that time 1 has passed
// over every pixel of the output. Falls back to the target's extent, then
// to a 300 x 300 square at the origin.
engine::Rect motionRect(const CIFilter& f, const CIImage& source, const CIImage& target);

// The range of u = x cos(angle) + y sin(angle) over a rectangle's corners.
struct Sweep {
    double cosA = 1, sinA = 0, uMin = 0, uMax = 0;
    Sweep(double angle, const engine::Rect& r);
    double u(double x, double y) const { return x * cosA + y * sinA; }
};

// Bilinear sample at (x, y) (pixel centres at +0.5) from a buffer;
// transparent outside it.
engine::Pixel4 sampleBilinear(const engine::PixelBuffer& buf, float x, float y);

// a (1 - t) + b t, exact at t = 0 and t = 1.
inline engine::Pixel4 mix(engine::Pixel4 a, engine::Pixel4 b, float t) {
    return a * (1 - t) + b * t;
}

// Premultiplied top over bottom.
inline engine::Pixel4 over(engine::Pixel4 top, engine::Pixel4 bottom) {
    return top + bottom * (1 - top[3]);
}

inline float clamp01(float v) {
    return std::min(std::max(v, 0.0f), 1.0f);
}

// True when every value is finite.
template <typename... T>
bool allFinite(T... v) {
    return (std::isfinite(double(v)) && ...);
}

// The source and target inputs; false when either is missing.
bool sourceAndTarget(const CIFilter& f, CIImage& source, CIImage& target);

}  // namespace cif::builtins::transitions
