// Gradients and patterns: radial, linear and Gaussian gradients, checkerboard,
// stripes and noise. Colours are interpolated as premultiplied working-space
// values, so a gradient towards transparent never darkens its edge.

#include <algorithm>
#include <cmath>
#include <memory>

#include "platform/builtins/generator/GeneratorSimd.h"
#include "platform/builtins/generator/GeneratorSupport.h"
#include "platform/builtins/generator/Generators.h"

namespace cif::builtins::generators {

namespace {

using engine::Pixel4;
using engine::RenderState;
using engine::storePixel;

// Spans are worked on in chunks: a first loop computes each pixel's
// interpolation weight, a second writes the colours, one 4-lane operation
// per pixel. (The radial gradient, which is the hot one, has a Highway span.)
constexpr int kChunk = 256;

// Pixel centre coordinates relative to an origin, computed the same way for
// any tiling: the integer position converted exactly, then one offset added.
inline float centreOffset(double origin) {
    return float(0.5 - origin);
}

// Weights t in [0, 1] for colour c0 (1 - t) + c1 t, exact at both ends.
template <typename Weight>
void fillByWeight(float* px, int n, int x, Pixel4 c0, Pixel4 c1, Weight&& weight) {
    float t[kChunk];
    for (int i0 = 0; i0 < n; i0 += kChunk) {
        const int m = std::min(kChunk, n - i0);
        for (int i = 0; i < m; ++i)
            t[i] = weight(x + i0 + i);
        float* out = px + 4 * i0;
        for (int i = 0; i < m; ++i)
            storePixel(out + 4 * i, c0 * (1 - t[i]) + c1 * t[i]);
    }
}

// Colour 0 inside radius 0, colour 1 outside radius 1, linear in the
// distance from the centre in between (either radius may be the larger).
class RadialGradientNode final : public GeneratorNode {
public:
    RadialGradientNode(double cx, double cy, double r0, double r1, const CIColor& c0,
                       const CIColor& c1)
        : m_offX(centreOffset(cx)), m_offY(centreOffset(cy)), m_r0(float(r0)), m_c0(c0), m_c1(c1) {
        const double span = r1 - r0;
        // Equal radii give a hard edge at the radius.
        m_scale = float(std::abs(span) < 1e-6 ? (span < 0 ? -1e6 : 1e6) : 1.0 / span);
    }
    void fillSpan(float* px, int n, int x, int y, const RenderState& s) const override {
        const float dy = float(y) + m_offY;
        float c0[4], c1[4];
        engine::storePixel(c0, m_c0.in(s.space));
        engine::storePixel(c1, m_c1.in(s.space));
        radialGradientSpan(px, n, x, m_offX, dy * dy, m_r0, m_scale, c0, c1);
    }
    const char* kind() const override { return "radial-gradient"; }

private:
    float m_offX, m_offY, m_r0, m_scale;
    WorkingColor m_c0, m_c1;
};

// Colour 0 at and before point 0, colour 1 at and beyond point 1, linear
// along the line between them; constant across it.
class LinearGradientNode final : public GeneratorNode {
public:
    LinearGradientNode(double x0, double y0, double x1, double y1, const CIColor& c0,
                       const CIColor& c1)
        : m_offX(centreOffset(x0)), m_offY(centreOffset(y0)), m_c0(c0), m_c1(c1) {
        const double dx = x1 - x0, dy = y1 - y0, len2 = dx * dx + dy * dy;
        // Coincident points give colour 0 everywhere.
        m_kx = len2 > 1e-12 ? float(dx / len2) : 0.0f;
        m_ky = len2 > 1e-12 ? float(dy / len2) : 0.0f;
    }
    void fillSpan(float* px, int n, int x, int y, const RenderState& s) const override {
        const float base = (float(y) + m_offY) * m_ky;
        const float offX = m_offX, kx = m_kx;
        fillByWeight(px, n, x, m_c0.in(s.space), m_c1.in(s.space), [=](int xi) {
            const float t = (float(xi) + offX) * kx + base;
            return std::min(std::max(t, 0.0f), 1.0f);
        });
    }
    const char* kind() const override { return "linear-gradient"; }

private:
    float m_offX, m_offY, m_kx = 0, m_ky = 0;
    WorkingColor m_c0, m_c1;
};

// Colour 0 at the centre falling to colour 1 with the Gaussian
// exp(-r^2 / (2 sigma^2)), sigma = radius / 3: at the radius the weight of
// colour 0 is about 1%, so the radius is where the gradient visibly ends.
class GaussianGradientNode final : public GeneratorNode {
public:
    GaussianGradientNode(double cx, double cy, double radius, const CIColor& c0, const CIColor& c1)
        : m_offX(centreOffset(cx)), m_offY(centreOffset(cy)), m_c0(c0), m_c1(c1) {
        const double r = std::max(radius, 1e-3);
        m_k = float(-4.5 / (r * r));
    }
    void fillSpan(float* px, int n, int x, int y, const RenderState& s) const override {
        const float dy = float(y) + m_offY, dy2 = dy * dy;
        const float offX = m_offX, k = m_k;
        // Weight of colour 1 is 1 - the Gaussian.
        fillByWeight(px, n, x, m_c0.in(s.space), m_c1.in(s.space), [=](int xi) {
            const float dx = float(xi) + offX;
            return 1.0f - std::exp((dx * dx + dy2) * k);
        });
    }
    const char* kind() const override { return "gaussian-gradient"; }

private:
    float m_offX, m_offY, m_k;
    WorkingColor m_c0, m_c1;
};

// Along one axis, +1 inside even cells and -1 inside odd ones (cells of
// `width` starting at the origin), ramping linearly through 0 at each edge
// over 1 / invSoft pixels on either side. Worked in double so that pixels
// the same distance from an edge get the same value in every cell.
inline float cellSign(double u, double width, double invSoft) {
    const double fl = std::floor(u);
    const double f = u - fl;
    const double parity = (int64_t(fl) & 1) ? -1.0 : 1.0;
    const double edge = std::min(f, 1.0 - f) * width;  // pixels to the nearest edge
    return float(parity * std::min(edge * invSoft, 1.0));
}

// Squares (two axes) or stripes (x only) of `width` pixels with a corner at
// the centre; colour 0 fills the cell above and to the right of the centre.
// Sharpness 1 gives edges anti-aliased over one pixel (exact colours at
// every pixel when the edges fall on pixel boundaries); lower values blur
// each edge over (1 - sharpness) of half a cell on either side.
class CellPatternNode final : public GeneratorNode {
public:
    CellPatternNode(bool twoAxes, double cx, double cy, double width, double sharpness,
                    const CIColor& c0, const CIColor& c1)
        : m_twoAxes(twoAxes), m_cx(cx), m_cy(cy), m_c0(c0), m_c1(c1) {
        m_width = std::max(std::abs(width), 1e-3);
        const double soft = (1.0 - clampInput(sharpness, 0, 1)) * m_width * 0.5;
        m_invSoft = 1.0 / std::max(soft, 0.5);
    }
    void fillSpan(float* px, int n, int x, int y, const RenderState& s) const override {
        const double cx = m_cx, width = m_width, invSoft = m_invSoft;
        const float sy = m_twoAxes ? cellSign((y + 0.5 - m_cy) / width, width, invSoft) : 1.0f;
        // Weight of colour 1: 0 where the signs agree, 1 where they differ.
        fillByWeight(px, n, x, m_c0.in(s.space), m_c1.in(s.space), [=](int xi) {
            const float sx = cellSign((xi + 0.5 - cx) / width, width, invSoft);
            return 0.5f - 0.5f * sx * sy;
        });
    }
    const char* kind() const override { return m_twoAxes ? "checkerboard" : "stripes"; }

private:
    bool m_twoAxes;
    double m_cx, m_cy, m_width, m_invSoft;
    WorkingColor m_c0, m_c1;
};

// Four independent uniform values in [0, 1) per pixel, from a hash of the
// pixel's integer position: the same pixel has the same values in any tile
// of any render. The values are the straight colour and alpha in the working
// space; the pixel is stored premultiplied.
class RandomNode final : public GeneratorNode {
public:
    void fillSpan(float* px, int n, int x, int y, const RenderState&) const override {
        const uint32_t row = mixHash(uint32_t(y) * 0x9e3779b1U + 0x632be5abU);
        for (int i = 0; i < n; ++i) {
            const uint32_t h = uint32_t(x + i) * 0x85ebca77U ^ row;
            float v[4];
            for (uint32_t c = 0; c < 4; ++c)
                v[c] = float(mixHash(h + c * 0xc2b2ae3dU) >> 8) * (1.0f / 16777216.0f);
            float* p = px + 4 * i;
            p[0] = v[0] * v[3];
            p[1] = v[1] * v[3];
            p[2] = v[2] * v[3];
            p[3] = v[3];
        }
    }
    const char* kind() const override { return "random"; }
};

bool finite(double v) {
    return std::isfinite(v);
}

}  // namespace

CIImage radialGradient(const CIFilter& f) {
    const CIVector c = f.vectorForKey("inputCenter");
    const double r0 = f.numberForKey("inputRadius0"), r1 = f.numberForKey("inputRadius1");
    if (!finite(c.X()) || !finite(c.Y()) || !finite(r0) || !finite(r1)) return {};
    return CIImage::imageWithNode(std::make_shared<RadialGradientNode>(
        coord(c.X()), coord(c.Y()), clampInput(r0, 0, 1e7), clampInput(r1, 0, 1e7),
        f.colorForKey("inputColor0"), f.colorForKey("inputColor1")));
}

CIImage linearGradient(const CIFilter& f) {
    const CIVector p0 = f.vectorForKey("inputPoint0"), p1 = f.vectorForKey("inputPoint1");
    if (!finite(p0.X()) || !finite(p0.Y()) || !finite(p1.X()) || !finite(p1.Y())) return {};
    return CIImage::imageWithNode(std::make_shared<LinearGradientNode>(
        coord(p0.X()), coord(p0.Y()), coord(p1.X()), coord(p1.Y()), f.colorForKey("inputColor0"),
        f.colorForKey("inputColor1")));
}

CIImage gaussianGradient(const CIFilter& f) {
    const CIVector c = f.vectorForKey("inputCenter");
    const double r = f.numberForKey("inputRadius");
    if (!finite(c.X()) || !finite(c.Y()) || !finite(r)) return {};
    return CIImage::imageWithNode(std::make_shared<GaussianGradientNode>(
        coord(c.X()), coord(c.Y()), clampInput(r, 0, 1e7), f.colorForKey("inputColor0"),
        f.colorForKey("inputColor1")));
}

namespace {

CIImage cellPattern(const CIFilter& f, bool twoAxes) {
    const CIVector c = f.vectorForKey("inputCenter");
    const double w = f.numberForKey("inputWidth"), sharp = f.numberForKey("inputSharpness");
    if (!finite(c.X()) || !finite(c.Y()) || !finite(w) || !finite(sharp)) return {};
    return CIImage::imageWithNode(std::make_shared<CellPatternNode>(
        twoAxes, coord(c.X()), coord(c.Y()), w, sharp, f.colorForKey("inputColor0"),
        f.colorForKey("inputColor1")));
}

}  // namespace

CIImage checkerboard(const CIFilter& f) {
    return cellPattern(f, true);
}

CIImage stripes(const CIFilter& f) {
    return cellPattern(f, false);
}

CIImage randomNoise(const CIFilter&) {
    return CIImage::imageWithNode(std::make_shared<RandomNode>());
}

}  // namespace cif::builtins::generators
