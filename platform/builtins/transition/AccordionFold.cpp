// Accordion fold: the picture is folded up like a paper fan of
// 2 x numberOfFolds equal panels towards the bottom of the motion
// rectangle, keeping its lowest bottomHeight pixels flat, while it
// crossfades from the source to the target; then it unfolds again.
//
// At time t the fan's height is |1 - 2 t| of its flat height: flat at 0 and
// 1, folded away at 1/2. Seen from the front each panel is foreshortened
// uniformly, so a row of the fan reads the flat picture's row at the same
// fraction of its height; panels facing down are darkened by
// foldShadowAmount times the sine of their tilt. The crossfade weight of the
// target is t.

#include <algorithm>
#include <cmath>
#include <memory>

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

class AccordionNode final : public engine::Node {
public:
    AccordionNode(NodePtr source, NodePtr target, const Rect& motion, double bottom, double fold,
                  int folds, double shadow, double mix)
        : Node({source, target}, source->extent()),
          m_base(motion.y + std::clamp(bottom, 0.0, motion.h)),
          m_flat(motion.top() - m_base),
          m_fold(fold),
          m_panels(2 * folds),
          m_dark(float(shadow * std::sqrt(std::max(0.0, 1 - fold * fold)))),
          m_mix(float(mix)) {}

    Rect regionOfInterest(size_t, const Rect& output) const override {
        double lo, hi;
        if (!sourceRows(output.y, output.top(), lo, hi)) return {};
        return {output.x, lo - 1, output.w, hi - lo + 2};
    }

    void render(PixelBuffer& dst, const RenderState& state) const override {
        const IRect area = dst.rect().intersected(engine::coveringPixels(extent()));
        if (area.isEmpty()) {
            dst.fillTransparent();
            return;
        }
        dst.fillTransparent();
        const IRect roi = engine::coveringPixels(regionOfInterest(0, area.toRect()));
        if (roi.isEmpty()) return;
        PooledBuffer src(roi), tgt(roi);
        engine::renderNode(*inputs()[0], *src, state);
        engine::renderNode(*inputs()[1], *tgt, state);
        for (int y = area.y; y < area.top(); ++y) {
            double sy;
            float shade;
            if (!sourceRow(y + 0.5, sy, shade)) continue;
            // Between the two rows whose centres surround the point.
            const double v = sy - 0.5;
            const int j = std::clamp(int(std::floor(v)), roi.y, roi.top() - 1);
            const int j1 = std::min(j + 1, roi.top() - 1);
            const float f = float(std::clamp(v - j, 0.0, 1.0));
            float* out = dst.at(area.x, y);
            const Pixel4 tint{shade, shade, shade, 1};
            for (int i = 0; i < area.w; ++i) {
                const int x = area.x + i;
                const Pixel4 a = mix(loadPixel(src->at(x, j)), loadPixel(src->at(x, j1)), f);
                const Pixel4 b = mix(loadPixel(tgt->at(x, j)), loadPixel(tgt->at(x, j1)), f);
                storePixel(out + 4 * i, mix(a, b, m_mix) * tint);
            }
        }
        dst.clearOutside(area);
    }

    const char* kind() const override { return "accordion-fold"; }

private:
    // The flat picture's row seen at height y and its shade; false above
    // the folded fan.
    bool sourceRow(double y, double& sy, float& shade) const {
        shade = 1;
        if (y < m_base) {
            sy = y;
            return true;
        }
        const double h = m_flat * m_fold;
        if (!(y < m_base + h)) return false;
        const double u = (y - m_base) / h;
        sy = m_base + u * m_flat;
        if (int(std::floor(u * m_panels)) % 2 == 1) shade = 1 - m_dark;
        return true;
    }
    // The range of rows read over heights [y0, y1]; false when none are.
    bool sourceRows(double y0, double y1, double& lo, double& hi) const {
        const double top = m_base + m_flat * m_fold;
        if (y0 >= top) return false;
        const auto row = [&](double y) {
            return y < m_base ? y : m_base + (std::min(y, top) - m_base) / m_fold;
        };
        lo = row(y0);
        hi = row(y1);
        return true;
    }

    double m_base, m_flat, m_fold;
    int m_panels;
    float m_dark, m_mix;
};

}  // namespace

CIImage accordionFold(const CIFilter& f) {
    CIImage s, t;
    if (!sourceAndTarget(f, s, t)) return s;
    const double time = clampInput(f.numberForKey("inputTime"), 0, 1);
    if (time == 0) return s;
    const Rect& extent = s.node()->extent();
    if (time == 1) return extent.isInfinite() ? t : t.imageByCroppingToRect(s.extent());
    const Rect motion = motionRect(f, s, t);
    const double fold = std::abs(1 - 2 * time);
    const int folds = int(std::lround(clampInput(f.numberForKey("inputNumberOfFolds"), 1, 50)));
    return CIImage::imageWithNode(std::make_shared<AccordionNode>(
        s.node(), t.node(), motion, clampInput(f.numberForKey("inputBottomHeight"), 0, 1e7), fold,
        folds, clampInput(f.numberForKey("inputFoldShadowAmount"), 0, 1), time));
}

}  // namespace cif::builtins::transitions
