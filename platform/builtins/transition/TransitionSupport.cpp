#include "platform/builtins/transition/TransitionSupport.h"

namespace cif::builtins::transitions {

using engine::IRect;
using engine::Pixel4;
using engine::PixelBuffer;
using engine::Rect;

void PairNode::render(PixelBuffer& dst, const engine::RenderState& state) const {
    const IRect area = dst.rect().intersected(engine::coveringPixels(extent()));
    if (area.isEmpty()) {
        dst.fillTransparent();
        return;
    }
    engine::renderNode(*inputs()[0], dst, state);
    engine::PooledBuffer target(dst.rect());
    engine::renderNode(*inputs()[1], *target, state);
    for (int y = area.y; y < area.top(); ++y)
        combineRow(dst.at(area.x, y), target->at(area.x, y), area.w, area.x, y, state);
    dst.clearOutside(area);
}

namespace {

bool usable(const Rect& r) {
    return !r.isEmpty() && !r.isUnbounded();
}

}  // namespace

Rect motionRect(const CIFilter& f, const CIImage& source, const CIImage& target) {
    const CIVector e = f.vectorForKey("inputExtent");
    Rect r{e.X(), e.Y(), e.Z(), e.W()};
    const bool haveExtent = e.count() >= 4 && allFinite(e.X(), e.Y(), e.Z(), e.W()) && usable(r);
    const Rect src = source.node()->extent(), tgt = target.node()->extent();
    if (usable(src)) return haveExtent ? r.united(src) : src;
    if (haveExtent) return r;
    if (usable(tgt)) return tgt;
    return {0, 0, 300, 300};
}

Sweep::Sweep(double angle, const Rect& r) {
    if (std::isfinite(angle)) {
        cosA = std::cos(angle);
        sinA = std::sin(angle);
    }
    const double xs[2] = {r.x, r.right()}, ys[2] = {r.y, r.top()};
    uMin = uMax = u(xs[0], ys[0]);
    for (double x : xs)
        for (double y : ys) {
            uMin = std::min(uMin, u(x, y));
            uMax = std::max(uMax, u(x, y));
        }
}

Pixel4 sampleBilinear(const PixelBuffer& buf, float x, float y) {
    const IRect& r = buf.rect();
    const float fx = x - 0.5f, fy = y - 0.5f;
    if (!(fx > float(r.x) - 1 && fx < float(r.right()) && fy > float(r.y) - 1 &&
          fy < float(r.top())))
        return Pixel4{0, 0, 0, 0};
    const float flx = std::floor(fx), fly = std::floor(fy);
    const int x0 = int(flx), y0 = int(fly);
    const float ax = fx - flx, ay = fy - fly;
    auto px = [&](int xi, int yi) {
        if (xi < r.x || xi >= r.right() || yi < r.y || yi >= r.top()) return Pixel4{0, 0, 0, 0};
        return engine::loadPixel(buf.at(xi, yi));
    };
    const Pixel4 bottom = px(x0, y0) * (1 - ax) + px(x0 + 1, y0) * ax;
    const Pixel4 top = px(x0, y0 + 1) * (1 - ax) + px(x0 + 1, y0 + 1) * ax;
    return bottom * (1 - ay) + top * ay;
}

bool sourceAndTarget(const CIFilter& f, CIImage& source, CIImage& target) {
    source = f.imageForKey(kCIInputImageKey);
    target = f.imageForKey("inputTargetImage");
    return !source.isNull() && !target.isNull();
}

}  // namespace cif::builtins::transitions
