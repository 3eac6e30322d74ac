// Generator built-ins for a rounded rectangle and a gradient that eases in
// and out between its points.

#include <algorithm>
#include <cmath>
#include <memory>

#include "platform/builtins/BuiltinFilter.h"
#include "platform/builtins/generator/GeneratorSupport.h"

namespace cif::builtins {

namespace {

using engine::Pixel4;
using engine::Rect;
using engine::RenderState;
using engine::storePixel;

// The colour where a rounded rectangle covers the pixel, anti-aliased: the
// coverage is 1/2 minus the signed distance of the pixel centre from the
// outline (rounded corners of the radius), clamped to [0, 1].
class RoundedRectNode final : public GeneratorNode {
public:
    RoundedRectNode(const Rect& r, double radius, const CIColor& color)
        : m_cx(r.x + r.w / 2),
          m_cy(r.y + r.h / 2),
          m_hx(r.w / 2 - radius),
          m_hy(r.h / 2 - radius),
          m_r(radius),
          m_color(color) {}
    void fillSpan(float* px, int n, int x, int y, const RenderState& s) const override {
        const Pixel4 c = m_color.in(s.space);
        const double qy = std::abs(y + 0.5 - m_cy) - m_hy;
        for (int i = 0; i < n; ++i) {
            const double qx = std::abs(x + i + 0.5 - m_cx) - m_hx;
            const double ox = std::max(qx, 0.0), oy = std::max(qy, 0.0);
            const double d = std::sqrt(ox * ox + oy * oy) + std::min(std::max(qx, qy), 0.0) - m_r;
            const float cover = float(std::clamp(0.5 - d, 0.0, 1.0));
            storePixel(px + 4 * i, c * cover);
        }
    }
    const char* kind() const override { return "rounded-rectangle"; }

private:
    double m_cx, m_cy, m_hx, m_hy, m_r;
    WorkingColor m_color;
};

// Colour 0 at and before point 0, colour 1 at and beyond point 1, and
// between them the smoothstep t^2 (3 - 2 t) of the linear position t, so the
// gradient leaves and reaches each colour with no visible edge.
class SmoothLinearGradientNode final : public GeneratorNode {
public:
    SmoothLinearGradientNode(double x0, double y0, double x1, double y1, const CIColor& c0,
                             const CIColor& c1)
        : m_offX(float(0.5 - x0)), m_offY(float(0.5 - y0)), m_c0(c0), m_c1(c1) {
        const double dx = x1 - x0, dy = y1 - y0, len2 = dx * dx + dy * dy;
        // Coincident points give colour 0 everywhere.
        m_kx = len2 > 1e-12 ? float(dx / len2) : 0.0f;
        m_ky = len2 > 1e-12 ? float(dy / len2) : 0.0f;
    }
    void fillSpan(float* px, int n, int x, int y, const RenderState& s) const override {
        const Pixel4 c0 = m_c0.in(s.space), c1 = m_c1.in(s.space);
        const float base = (float(y) + m_offY) * m_ky;
        for (int i = 0; i < n; ++i) {
            const float t = std::min(std::max((float(x + i) + m_offX) * m_kx + base, 0.0f), 1.0f);
            const float w = (t * t) * (3.0f - 2.0f * t);
            storePixel(px + 4 * i, c0 * (1 - w) + c1 * w);
        }
    }
    const char* kind() const override { return "smooth-linear-gradient"; }

private:
    float m_offX, m_offY, m_kx = 0, m_ky = 0;
    WorkingColor m_c0, m_c1;
};

// The rectangle's extent; the radius is limited to half its shorter side.
CIImage roundedRectangle(const CIFilter& f) {
    const CIVector e = f.vectorForKey("inputExtent");
    const Rect r{coord(e.X()), coord(e.Y()), clampInput(e.Z(), 0, 1e9), clampInput(e.W(), 0, 1e9)};
    if (e.count() < 4 || r.isEmpty()) return CIImage::emptyImage();
    const double radius = clampInput(f.numberForKey("inputRadius"), 0, std::min(r.w, r.h) / 2);
    const CIImage shape = CIImage::imageWithNode(
        std::make_shared<RoundedRectNode>(r, radius, f.colorForKey("inputColor")));
    return shape.imageByCroppingToRect(QRectF(r.x, r.y, r.w, r.h));
}

CIImage smoothLinearGradient(const CIFilter& f) {
    const CIVector p0 = f.vectorForKey("inputPoint0"), p1 = f.vectorForKey("inputPoint1");
    if (!std::isfinite(p0.X()) || !std::isfinite(p0.Y()) || !std::isfinite(p1.X()) ||
        !std::isfinite(p1.Y()))
        return {};
    return CIImage::imageWithNode(std::make_shared<SmoothLinearGradientNode>(
        coord(p0.X()), coord(p0.Y()), coord(p1.X()), coord(p1.Y()), f.colorForKey("inputColor0"),
        f.colorForKey("inputColor1")));
}

}  // namespace

std::vector<BuiltinDef> shapeGeneratorBuiltins() {
    return {
        {"CIRoundedRectangleGenerator", roundedRectangle},
        {"CISmoothLinearGradient", smoothLinearGradient},
    };
}

}  // namespace cif::builtins
