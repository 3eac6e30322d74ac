// Ripple: a circular wave spreading from the centre; the source lies ahead
// of the wave, the target behind it, and inside the wave both are displaced
// radially by the wave's height and mixed.

#include <algorithm>
#include <cmath>
#include <memory>
#include <numbers>

#include "platform/builtins/generator/GeneratorSupport.h"
#include "platform/builtins/transition/ShadingRow.h"
#include "platform/builtins/transition/TransitionSupport.h"
#include "platform/builtins/transition/Transitions.h"

namespace cif::builtins::transitions {

namespace {

using engine::IRect;
using engine::loadPixel;
using engine::NodePtr;
using engine::Pixel4;
using engine::PixelBuffer;
using engine::PooledBuffer;
using engine::Rect;
using engine::RenderState;
using engine::storePixel;

// The wave's front is at radius time * (reach + width), reach the distance
// from the centre to the motion rectangle's farthest corner, so the wave
// starts at the centre and has left the rectangle at time 1. A pixel q =
// (front - r) / width into the wave sees the wave height h = sin(pi q):
// it samples both images scale * h pixels towards the centre and mixes
// them by q. The wave's slope cos(pi q) picks the shading: a shading image is
// read along its middle row (left end for the falling side, right end for the
// rising one) and laid over the wave with strength h / 2; without one, the
// slope lightens or darkens the colour by up to a quarter.
class RippleNode final : public engine::Node {
public:
    RippleNode(NodePtr source, NodePtr target, NodePtr shading, double cx, double cy, double front,
               double width, double scale)
        : Node(shading ? std::vector<NodePtr>{source, std::move(target), std::move(shading)}
                       : std::vector<NodePtr>{source, std::move(target)},
               source->extent()),
          m_cx(cx),
          m_cy(cy),
          m_front(front),
          m_width(width),
          m_scale(scale) {}

    Rect regionOfInterest(size_t index, const Rect& output) const override {
        if (index == 2) return inputs()[2]->extent();
        const double g = std::abs(m_scale) + 1;
        return output.inset(-g, -g);
    }

    void render(PixelBuffer& dst, const RenderState& state) const override {
        const IRect area = dst.rect().intersected(engine::coveringPixels(extent()));
        if (area.isEmpty()) {
            dst.fillTransparent();
            return;
        }
        const int g = int(std::ceil(std::abs(m_scale))) + 2;
        const IRect grown{area.x - g, area.y - g, area.w + 2 * g, area.h + 2 * g};
        PooledBuffer src(grown), tgt(grown);
        engine::renderNode(*inputs()[0], *src, state);
        engine::renderNode(*inputs()[1], *tgt, state);
        ShadingRow shading;
        if (inputs().size() > 2) shading.load(*inputs()[2], state);

        for (int y = area.y; y < area.top(); ++y) {
            float* out = dst.at(area.x, y);
            const double dy = y + 0.5 - m_cy;
            for (int i = 0; i < area.w; ++i) {
                const int xi = area.x + i;
                const double dx = xi + 0.5 - m_cx;
                const double r = std::sqrt(dx * dx + dy * dy);
                const double q = (m_front - r) / m_width;
                if (q <= 0) {
                    storePixel(out + 4 * i, loadPixel(src->at(xi, y)));
                    continue;
                }
                if (q >= 1) {
                    storePixel(out + 4 * i, loadPixel(tgt->at(xi, y)));
                    continue;
                }
                const double h = std::sin(std::numbers::pi * q),
                             slope = std::cos(std::numbers::pi * q);
                const double k = r > 0 ? m_scale * h / r : 0.0;
                const float sx = float(xi + 0.5 - dx * k), sy = float(y + 0.5 - dy * k);
                Pixel4 p =
                    mix(sampleBilinear(*src, sx, sy), sampleBilinear(*tgt, sx, sy), float(q));
                if (!shading.empty()) {
                    p = over(shading.at(float(0.5 + 0.5 * slope)) * float(0.5 * h), p);
                } else {
                    const float lit = float(1 + 0.25 * h * slope * (m_scale < 0 ? -1 : 1));
                    p = p * Pixel4{lit, lit, lit, 1};
                }
                storePixel(out + 4 * i, p);
            }
        }
        dst.clearOutside(area);
    }
    const char* kind() const override { return "ripple"; }

private:
    double m_cx, m_cy, m_front, m_width, m_scale;
};

}  // namespace

// Each tile reads its images this far around it; four times what the
// controls offer.
constexpr double kMaxScale = 200;

CIImage ripple(const CIFilter& f) {
    CIImage s, t;
    if (!sourceAndTarget(f, s, t)) return s;
    const CIImage shading = f.imageForKey("inputShadingImage");
    const CIVector c = f.vectorForKey("inputCenter");
    const double scale = f.numberForKey("inputScale"), width = f.numberForKey("inputWidth"),
                 time = f.numberForKey("inputTime");
    if (!allFinite(c.X(), c.Y(), scale, width, time)) return s;
    const Rect m = motionRect(f, s, t);
    double reach = 0;
    for (double px : {m.x, m.right()})
        for (double py : {m.y, m.top()})
            reach = std::max(reach, std::hypot(px - c.X(), py - c.Y()));
    const double w = clampInput(width, 1, 1e5);
    return CIImage::imageWithNode(std::make_shared<RippleNode>(
        s.node(), t.node(), shading.isNull() ? nullptr : shading.node(), coord(c.X()), coord(c.Y()),
        clampInput(time, 0, 1) * (reach + w + 1), w, clampInput(scale, -kMaxScale, kMaxScale)));
}

}  // namespace cif::builtins::transitions
