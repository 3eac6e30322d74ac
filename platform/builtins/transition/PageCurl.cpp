// Page curl: the source is a sheet of paper rolled up around a cylinder that
// travels across it, showing the sheet's back on the roll and on the flap
// folded over the sheet, and casting a shadow onto the target beneath.
//
// Geometry, along the unit direction n of the angle: d = p.n - L is a point's
// distance past the fold line L. The sheet's part with d < 0 lies flat. Its
// part beyond the line is wound onto a cylinder of `radius` R lying on the
// sheet at the line: sheet material x pixels past the line sits at angle
// phi = x / R around the cylinder, seen from above at d = R sin(phi); beyond
// half a turn (x > pi R) it lies flat again on top, folded back over the
// sheet, at d = pi R - x. Seen from above at a point with distance d:
//   d <= 0:     the folded flap (back side, material x = pi R - d) over the
//               flat sheet (front side, material at the point itself),
//               shadowed by the flap near the flap's edge;
//   0 <= d <= R: the roll's upper half (back side, phi = pi - asin(d / R))
//               over its lower half (front side seen from inside, phi =
//               asin(d / R)) over the target;
//   d > R:      the target, shadowed within R of the roll.
// Material x past the line is the source pixel at p + (x - d) n. Where the
// material lies outside the source it is transparent and the layers below
// show. The line travels from beyond the motion rectangle's far side (time 0:
// all flat) to beyond its near side with room for the roll and its shadow
// (time 1: all target).

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

constexpr double kPi = std::numbers::pi;
// How dark the flap's shadow on the sheet is under a fully opaque flap.
constexpr float kFlapShadow = 0.35f;

// The shadow the roll casts onto the target: `strength` at most (under an
// opaque sheet), fading quadratically from the roll's silhouette to
// `length` pixels beyond it, and only inside `clip`.
struct RollShadow {
    float strength = 0.6f;
    double length = 0;  // 0: one radius
    Rect clip = Rect::infinite();
    bool covers(double x, double y) const {
        return clip.isInfinite() ||
               (x >= clip.x && x < clip.right() && y >= clip.y && y < clip.top());
    }
};

class PageCurlNode final : public engine::Node {
public:
    // inputs: source, target, backside (may be null), shading (may be null).
    PageCurlNode(NodePtr source, NodePtr target, NodePtr backside, NodePtr shading, double angle,
                 double line, double radius, const RollShadow& shadow = {})
        : Node(inputList(source, target, backside, shading), source->extent()),
          m_backside(backside ? 2 : 0),
          m_shading(shading ? (backside ? 3 : 2) : 0),
          m_nx(std::cos(angle)),
          m_ny(std::sin(angle)),
          m_line(line),
          m_r(radius),
          m_shadow(shadow) {
        if (!(m_shadow.length > 0)) m_shadow.length = radius;
    }

    Rect regionOfInterest(size_t index, const Rect& output) const override {
        if (index == 1) return output;
        if (m_shading && index == m_shading) return inputs()[index]->extent();
        return output.united(curlRegion(output));
    }

    void render(PixelBuffer& dst, const RenderState& state) const override {
        const IRect area = dst.rect().intersected(engine::coveringPixels(extent()));
        if (area.isEmpty()) {
            dst.fillTransparent();
            return;
        }
        // The flat sheet straight into dst, the target beside it.
        engine::renderNode(*inputs()[0], dst, state);
        PooledBuffer target(dst.rect());
        engine::renderNode(*inputs()[1], *target, state);

        // The material of the roll and flap seen over this area, one pixel
        // wider for bilinear samples, limited to the source's pixels.
        IRect curl = engine::coveringPixels(curlRegion(area.toRect()));
        curl = IRect{curl.x - 1, curl.y - 1, curl.w + 2, curl.h + 2};
        const Rect& srcExt = inputs()[0]->extent();
        if (!srcExt.isInfinite()) curl = curl.intersected(engine::coveringPixels(srcExt));
        if (curl.isEmpty()) curl = IRect{area.x, area.y, 1, 1};
        PooledBuffer front(curl), back(curl);
        engine::renderNode(*inputs()[0], *front, state);
        if (m_backside) engine::renderNode(*inputs()[m_backside], *back, state);
        ShadingRow shading;
        if (m_shading) shading.load(*inputs()[m_shading], state);

        for (int y = area.y; y < area.top(); ++y) {
            float* out = dst.at(area.x, y);
            const float* tgt = target->at(area.x, y);
            for (int i = 0; i < area.w; ++i) {
                const double px = area.x + i + 0.5, py = y + 0.5;
                const double d = px * m_nx + py * m_ny - m_line;
                auto material = [&](double x, const PixelBuffer& b) {
                    const double o = x - d;
                    return sampleBilinear(b, float(px + o * m_nx), float(py + o * m_ny));
                };
                auto backAt = [&](double x) {
                    if (m_backside) return material(x, *back);
                    // The back of the sheet: its picture showing through paper.
                    const Pixel4 p = material(x, *front);
                    return p * 0.35f + Pixel4{0.65f, 0.65f, 0.65f, 1} * p[3];
                };
                Pixel4 result;
                if (d <= 0) {
                    // The flap over the flat sheet, which it shadows just
                    // beyond its edge: the flap's coverage a quarter, half and
                    // three quarters of a radius towards the fold, averaged.
                    float cover = 0;
                    for (int k = 1; k <= 3; ++k) {
                        const double s = m_r * k / 4;
                        if (d + s <= 0) cover += material(kPi * m_r - d - s, *front)[3];
                    }
                    const float dark = 1 - kFlapShadow / 3 * cover;
                    const Pixel4 sheet = loadPixel(out + 4 * i) * Pixel4{dark, dark, dark, 1};
                    result = over(backAt(kPi * m_r - d), sheet);
                } else {
                    Pixel4 t = loadPixel(tgt + 4 * i);
                    // The shadow of the roll, as strong as the sheet at its top is opaque.
                    if (d < m_r + m_shadow.length && m_shadow.covers(px, py)) {
                        const double fade = d <= m_r ? 1.0 : 1 - (d - m_r) / m_shadow.length;
                        const float s = m_shadow.strength * float(fade * fade) *
                                        material(kPi / 2 * m_r, *front)[3];
                        t = t * Pixel4{1 - s, 1 - s, 1 - s, 1};
                    }
                    result = t;
                    // The roll, its silhouette anti-aliased over half a pixel each side.
                    const double cover = std::clamp(m_r - d + 0.5, 0.0, 1.0);
                    if (cover > 0) {
                        const double a = std::asin(std::min(d / m_r, 1.0));
                        const double lowPhi = a, highPhi = kPi - a;
                        const float lowShade = float(0.4 + 0.3 * std::cos(lowPhi));
                        const float highShade = float(0.55 - 0.45 * std::cos(highPhi));
                        const Pixel4 low = material(lowPhi * m_r, *front) *
                                           Pixel4{lowShade, lowShade, lowShade, 1};
                        Pixel4 high =
                            backAt(highPhi * m_r) * Pixel4{highShade, highShade, highShade, 1};
                        if (!shading.empty())
                            high = over(shading.at(float((highPhi - kPi / 2) / (kPi / 2))) *
                                            (0.5f * high[3]),
                                        high);
                        const Pixel4 roll = over(high, low);
                        result = over(roll * float(cover), result);
                    }
                }
                storePixel(out + 4 * i, result);
            }
        }
        dst.clearOutside(area);
    }
    const char* kind() const override { return "page-curl"; }

private:
    // Bounding box of the material seen over `output` on the roll, on the
    // flap (and near it, for its shadow) and at the roll's top (for the
    // roll's shadow). Every such point lies on the line through an output
    // point along n, at distance [0, pi R] (roll) or pi R - d - [0, R]
    // (flap, d <= 0) past the fold line.
    Rect curlRegion(const Rect& output) const {
        const double xs[2] = {output.x, output.right()}, ys[2] = {output.y, output.top()};
        double dlo = 1e300, dhi = -1e300;
        for (double x : xs)
            for (double y : ys) {
                const double d = x * m_nx + y * m_ny - m_line;
                dlo = std::min(dlo, d);
                dhi = std::max(dhi, d);
            }
        double targets[4];
        int count = 0;
        if (dlo <= 0) {
            // The flap, and the flap's shadow up to a radius towards the fold.
            targets[count++] = kPi * m_r - std::min(dhi, 0.0) - m_r;
            targets[count++] = kPi * m_r - dlo;
        }
        if (dhi >= 0 && dlo <= m_r + m_shadow.length + 1) {
            targets[count++] = 0;
            targets[count++] = kPi * m_r;
        }
        if (count == 0) return Rect::empty();
        double minX = 1e300, minY = 1e300, maxX = -1e300, maxY = -1e300;
        for (double x : xs)
            for (double y : ys) {
                const double d = x * m_nx + y * m_ny - m_line;
                for (int k = 0; k < count; ++k) {
                    const double o = targets[k] - d;
                    minX = std::min(minX, x + o * m_nx);
                    maxX = std::max(maxX, x + o * m_nx);
                    minY = std::min(minY, y + o * m_ny);
                    maxY = std::max(maxY, y + o * m_ny);
                }
            }
        return {minX, minY, maxX - minX, maxY - minY};
    }

    static std::vector<NodePtr> inputList(const NodePtr& source, const NodePtr& target,
                                          const NodePtr& backside, const NodePtr& shading) {
        std::vector<NodePtr> list{source, target};
        if (backside) list.push_back(backside);
        if (shading) list.push_back(shading);
        return list;
    }

    // Indexes of the optional inputs, 0 when absent.
    size_t m_backside, m_shading;
    double m_nx, m_ny, m_line, m_r;
    RollShadow m_shadow;
};

CIImage pageCurl(const CIFilter& f, bool withShadow) {
    CIImage s, t;
    if (!sourceAndTarget(f, s, t)) return s;
    const CIImage back = f.imageForKey("inputBacksideImage");
    const CIImage shading = f.imageForKey("inputShadingImage");
    const double angle = f.numberForKey("inputAngle"), radius = f.numberForKey("inputRadius"),
                 time = f.numberForKey("inputTime");
    if (!allFinite(angle, radius, time)) return s;
    // Each tile reads the material within pi radii of it; at most 400 (the
    // largest radius the controls offer) keeps that a few megabytes.
    const double r = clampInput(radius, 0.01, 400);
    RollShadow shadow;
    shadow.length = r;
    if (withShadow) {
        // The amount is the shadow's darkness, the size its reach beyond
        // the roll in diameters; a non-empty shadow extent bounds it.
        shadow.strength = float(clampInput(f.numberForKey("inputShadowAmount"), 0, 1));
        shadow.length = std::max(2 * r * clampInput(f.numberForKey("inputShadowSize"), 0, 1), 0.5);
        const CIVector e = f.vectorForKey("inputShadowExtent");
        const Rect clip{e.X(), e.Y(), e.Z(), e.W()};
        if (e.count() >= 4 && allFinite(clip.x, clip.y, clip.w, clip.h) && !clip.isEmpty())
            shadow.clip = clip;
    }
    const Sweep sweep(angle, motionRect(f, s, t));
    const double start = sweep.uMax + 1, end = sweep.uMin - r - shadow.length - 1;
    const double line = start + clampInput(time, 0, 1) * (end - start);
    return CIImage::imageWithNode(std::make_shared<PageCurlNode>(
        s.node(), t.node(), back.isNull() ? nullptr : back.node(),
        shading.isNull() ? nullptr : shading.node(), angle, line, r, shadow));
}

}  // namespace

CIImage pageCurl(const CIFilter& f) {
    return pageCurl(f, false);
}

CIImage pageCurlWithShadow(const CIFilter& f) {
    return pageCurl(f, true);
}

}  // namespace cif::builtins::transitions
