// Disintegrate with mask: the source crumbles away in the order the mask
// gives (dark mask values first), casting a soft shadow onto the target.

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include "platform/builtins/generator/GeneratorSupport.h"
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

// Box sums of half-width b along rows of a w x h grid, in place; values
// beyond the grid count as 0.
void boxRows(std::vector<float>& g, int w, int h, int b, std::vector<float>& tmp) {
    tmp.resize(size_t(w));
    const float norm = 1.0f / float(2 * b + 1);
    for (int y = 0; y < h; ++y) {
        float* row = g.data() + size_t(y) * size_t(w);
        std::copy(row, row + w, tmp.begin());
        double sum = 0;
        for (int i = 0; i < std::min(b, w); ++i)
            sum += tmp[size_t(i)];
        for (int x = 0; x < w; ++x) {
            if (x + b < w) sum += tmp[size_t(x + b)];
            row[x] = float(sum) * norm;
            if (x - b >= 0) sum -= tmp[size_t(x - b)];
        }
    }
}

void transpose(const std::vector<float>& in, int w, int h, std::vector<float>& out) {
    out.resize(in.size());
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            out[size_t(x) * size_t(h) + size_t(y)] = in[size_t(y) * size_t(w) + size_t(x)];
}

// coverage c = clamp((m - threshold) / soft + 1, 0, 1) of the source, m the
// mask's green value and threshold = time (1 + soft): every pixel is source
// at time 0 and target at time 1. The shadow is the coverage blurred (two box
// passes of half-width b, a tent of radius 2b), moved by the offset, and
// darkens the target's colour by density * shadow.
class DisintegrateNode final : public engine::Node {
public:
    DisintegrateNode(NodePtr source, NodePtr target, NodePtr mask, double time, double density,
                     int offX, int offY, int halfWidth)
        : Node({source, std::move(target), std::move(mask)}, source->extent()),
          m_threshold(thresholdAt(time)),
          m_density(float(density)),
          m_offX(offX),
          m_offY(offY),
          m_b(halfWidth) {}

    Rect regionOfInterest(size_t index, const Rect& output) const override {
        if (index != 2 || !(m_density > 0)) return output;
        return output.united(shadowSource(output));
    }

    void render(PixelBuffer& dst, const RenderState& state) const override {
        const IRect area = dst.rect().intersected(engine::coveringPixels(extent()));
        if (area.isEmpty()) {
            dst.fillTransparent();
            return;
        }
        engine::renderNode(*inputs()[0], dst, state);
        PooledBuffer target(dst.rect()), mask(dst.rect());
        engine::renderNode(*inputs()[1], *target, state);
        engine::renderNode(*inputs()[2], *mask, state);

        // The blurred coverage over the area moved back by the offset.
        std::vector<float> shadow;
        const IRect sr = engine::coveringPixels(shadowSource(area.toRect()));
        if (m_density > 0 && !state.cancelled()) shadowGrid(sr, state, shadow);

        for (int y = area.y; y < area.top(); ++y) {
            float* out = dst.at(area.x, y);
            const float* tgt = target->at(area.x, y);
            const float* m = mask->at(area.x, y);
            for (int i = 0; i < area.w; ++i) {
                const float c = coverage(m[4 * i + 1]);
                Pixel4 t = loadPixel(tgt + 4 * i);
                if (!shadow.empty()) {
                    const size_t sx = size_t(area.x + i - m_offX - sr.x);
                    const size_t sy = size_t(y - m_offY - sr.y);
                    const float dark = 1 - m_density * shadow[sy * size_t(sr.w) + sx];
                    t = t * Pixel4{dark, dark, dark, 1};
                }
                storePixel(out + 4 * i, mix(t, loadPixel(out + 4 * i), c));
            }
        }
        dst.clearOutside(area);
    }
    const char* kind() const override { return "disintegrate-with-mask"; }

private:
    static constexpr float kSoft = 0.04f;

    // The ends are set apart from the formula so that rounding cannot leave a
    // trace of the other picture there.
    static float thresholdAt(double time) {
        if (time <= 0) return -1;
        if (time >= 1) return 2;
        return float(time * (1 + kSoft));
    }

    float coverage(float m) const { return clamp01((clamp01(m) - m_threshold) * (1 / kSoft) + 1); }

    // The mask region whose coverage, blurred, shadows `output`.
    Rect shadowSource(const Rect& output) const {
        const int g = 2 * m_b;
        return {output.x - m_offX - g, output.y - m_offY - g, output.w + 2 * g, output.h + 2 * g};
    }

    // Coverage over sr, blurred; afterwards indexed by (y - sr.y) * sr.w + x - sr.x
    // and exact over sr shrunk by 2b.
    void shadowGrid(const IRect& sr, const RenderState& state, std::vector<float>& out) const {
        PooledBuffer m(sr);
        engine::renderNode(*inputs()[2], *m, state);
        out.resize(size_t(sr.area()));
        for (int y = 0; y < sr.h; ++y) {
            const float* row = m->at(sr.x, sr.y + y);
            for (int x = 0; x < sr.w; ++x)
                out[size_t(y) * size_t(sr.w) + size_t(x)] = coverage(row[4 * x + 1]);
        }
        if (m_b <= 0) return;
        std::vector<float> tmp, t;
        boxRows(out, sr.w, sr.h, m_b, tmp);
        boxRows(out, sr.w, sr.h, m_b, tmp);
        transpose(out, sr.w, sr.h, t);
        boxRows(t, sr.h, sr.w, m_b, tmp);
        boxRows(t, sr.h, sr.w, m_b, tmp);
        transpose(t, sr.h, sr.w, out);
    }

    float m_threshold, m_density;
    int m_offX, m_offY, m_b;
};

}  // namespace

CIImage disintegrateWithMask(const CIFilter& f) {
    CIImage s, t;
    if (!sourceAndTarget(f, s, t)) return s;
    const CIImage mask = f.imageForKey("inputMaskImage");
    const CIVector off = f.vectorForKey("inputShadowOffset");
    const double density = f.numberForKey("inputShadowDensity"),
                 radius = f.numberForKey("inputShadowRadius"), time = f.numberForKey("inputTime");
    if (!allFinite(off.X(), off.Y(), density, radius, time)) return s;
    // Without a mask every pixel changes at once, as with a black mask.
    const CIImage m = mask.isNull() ? CIImage::emptyImage() : mask;
    // Shadows are whole-pixel offsets and stop mattering beyond a few
    // thousand pixels; the blur's reach is capped with the radius.
    const int ox = int(std::lround(clampInput(off.X(), -4096, 4096)));
    const int oy = int(std::lround(clampInput(off.Y(), -4096, 4096)));
    const int b = int(std::lround(clampInput(radius, 0, 200) / 2));
    return CIImage::imageWithNode(
        std::make_shared<DisintegrateNode>(s.node(), t.node(), m.node(), clampInput(time, 0, 1),
                                           clampInput(density, 0, 1), ox, oy, b));
}

}  // namespace cif::builtins::transitions
