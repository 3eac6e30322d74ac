// Halftone built-ins: the picture's darkness printed as black ink (or, for
// CMYK, four inks) through a periodic screen.
//
// Darkness is taken from the gamma-encoded brightness (approximated by the
// square root of linear light), as printers' screens are, so mid-tones get
// about half coverage.
//
// Each screen is a spot function s(x, y) in [0, 1] over one period, chosen
// so that the area where s < d is close to d: a pixel of darkness d is inked
// where s < d. Sharpness sets the width of the transition, from a soft ramp
// (0) to pure ink or paper (1).

#include <algorithm>
#include <cmath>
#include <cstring>

#include <immintrin.h>

#include "platform/builtins/BuiltinFilter.h"
#include "platform/image/Node.h"

// The vector helpers pass AVX-sized values between inlined functions of this
// file only; the ABI note GCC gives for them concerns nothing outside it.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace cif::builtins {

namespace {

enum class Screen { Dot, Line, Circular, Hatched };

constexpr float kPi = 3.14159265358979f;

// x - floor(x); NaN and values beyond 2^30, where a float has no fraction
// left, give 0. Branch-free, so the span loops vectorise.
inline float fract(float x) {
    x = (x > -1073741824.0f && x < 1073741824.0f) ? x : 0.0f;
    const float t = float(int(x));
    return x - (t > x ? t - 1.0f : t);
}

struct ScreenGeometry {
    float cx = 0, cy = 0;      // centre (engine coordinates)
    float cosA = 1, sinA = 0;  // screen angle
    float invWidth = 1.0f / 6;
    float halfRamp = 0.15f;  // half the width of the ink transition, in darkness
};

ScreenGeometry geometry(const CIFilter& f, double angleOffset) {
    ScreenGeometry g;
    const CIVector c = f.vectorForKey("inputCenter");
    const double cx = c.X(), cy = c.Y();
    g.cx = std::isfinite(cx) ? float(std::clamp(cx, -1e7, 1e7)) : 0.0f;
    g.cy = std::isfinite(cy) ? float(std::clamp(cy, -1e7, 1e7)) : 0.0f;
    double a = f.numberForKey("inputAngle");
    if (!std::isfinite(a)) a = 0;
    a = std::fmod(a, 2 * M_PI) + angleOffset;
    g.cosA = float(std::cos(a));
    g.sinA = float(std::sin(a));
    double w = std::fabs(f.numberForKey("inputWidth"));
    if (!(w >= 1)) w = 1;
    g.invWidth = float(1.0 / std::min(w, 1e6));
    double s = f.numberForKey("inputSharpness");
    if (!std::isfinite(s)) s = 0.7;
    g.halfRamp = float(std::clamp(1.0 - s, 0.0, 1.0) * 0.5);
    return g;
}

// Ink coverage in [0, 1] for darkness d against spot value s.
inline float ink(float d, float s, float halfRamp) {
    const float soft = std::min(std::max((d - s) / (2 * halfRamp) + 0.5f, 0.0f), 1.0f);
    return halfRamp <= 1e-6f ? (d > s ? 1.0f : 0.0f) : soft;
}

// The spot value at (x, y) (pixel centre, engine coordinates).
template <Screen screen>
inline float spot(const ScreenGeometry& g, float x, float y, float darkness) {
    const float dx = x - g.cx, dy = y - g.cy;
    const float u = (dx * g.cosA + dy * g.sinA) * g.invWidth;
    const float v = (dy * g.cosA - dx * g.sinA) * g.invWidth;
    if constexpr (screen == Screen::Dot) {
        // Round dots at the cell centres: the disc of area d has radius^2 =
        // d / pi, exact until the dots touch (d = pi / 4); beyond, the
        // corners are ranked linearly by radius^2 up to 1 at the corner.
        const float fu = fract(u) - 0.5f, fv = fract(v) - 0.5f;
        const float r2 = fu * fu + fv * fv;
        return r2 <= 0.25f ? kPi * r2 : kPi / 4 + (r2 - 0.25f) * 4.0f * (1.0f - kPi / 4);
    } else if constexpr (screen == Screen::Line) {
        return std::fabs(2.0f * fract(u) - 1.0f);
    } else if constexpr (screen == Screen::Circular) {
        return std::fabs(2.0f * fract(__builtin_sqrtf(dx * dx + dy * dy) * g.invWidth) - 1.0f);
    } else {
        // Lines along the angle; the crossing lines join in the darker half.
        const float a = std::fabs(2.0f * fract(u) - 1.0f);
        const float b = std::fabs(2.0f * fract(v) - 1.0f);
        return darkness > 0.5f ? std::min(a, 0.5f + 0.5f * b) : a;
    }
}

// Eight pixels at a time for the black-and-white screens: the spot
// function is evaluated on vectors (compiled for AVX2 and for the baseline);
// colour is read and written per pixel.
typedef float V8 __attribute__((vector_size(32)));
typedef int V8i __attribute__((vector_size(32)));

inline V8 splat8(float v) {
    return V8{} + v;
}

inline V8 fract8(V8 x) {
    const V8 lim = splat8(1073741824.0f);
    x = ((x > -lim) & (x < lim)) ? x : V8{};
    const V8 t = __builtin_convertvector(__builtin_convertvector(x, V8i), V8);
    return x - (t > x ? t - 1.0f : t);
}

inline V8 abs8(V8 x) {
    return x < 0 ? -x : x;
}

// Square roots of eight lanes with the SSE instruction (the baseline has it).
inline V8 sqrt8(V8 v) {
    // Halves taken and joined in registers: through memory, the wide load of
    // two narrow stores would stall on store forwarding.
    typedef float V4 __attribute__((vector_size(16)));
    const V4 lo = V4(_mm_sqrt_ps(__m128(__builtin_shufflevector(v, v, 0, 1, 2, 3))));
    const V4 hi = V4(_mm_sqrt_ps(__m128(__builtin_shufflevector(v, v, 4, 5, 6, 7))));
    return __builtin_shufflevector(lo, hi, 0, 1, 2, 3, 4, 5, 6, 7);
}

template <Screen S>
__attribute__((always_inline)) inline V8 spot8(const ScreenGeometry& g, V8 x, float y, V8 d) {
    const V8 dx = x - g.cx, dy = splat8(y - g.cy);
    const V8 u = (dx * g.cosA + dy * g.sinA) * g.invWidth;
    const V8 v = (dy * g.cosA - dx * g.sinA) * g.invWidth;
    if constexpr (S == Screen::Dot) {
        const V8 fu = fract8(u) - 0.5f, fv = fract8(v) - 0.5f;
        const V8 r2 = fu * fu + fv * fv;
        return r2 <= 0.25f ? kPi * r2 : kPi / 4 + (r2 - 0.25f) * (4.0f * (1.0f - kPi / 4));
    } else if constexpr (S == Screen::Line) {
        return abs8(2.0f * fract8(u) - 1.0f);
    } else if constexpr (S == Screen::Circular) {
        const V8 r2 = dx * dx + dy * dy;
        return abs8(2.0f * fract8(sqrt8(r2) * g.invWidth) - 1.0f);
    } else {
        const V8 a = abs8(2.0f * fract8(u) - 1.0f);
        const V8 b = abs8(2.0f * fract8(v) - 1.0f);
        const V8 both = a < 0.5f + 0.5f * b ? a : 0.5f + 0.5f * b;
        return d > 0.5f ? both : a;
    }
}

inline V8 load8(const float* p) {
    V8 v;
    std::memcpy(&v, p, sizeof v);
    return v;
}
inline void store8(float* p, V8 v) {
    std::memcpy(p, &v, sizeof v);
}

// Eight interleaved RGBA pixels (four vectors) into planes, and back.
inline void deinterleave(const float* p, V8& r, V8& g, V8& b, V8& a) {
    const V8 v0 = load8(p), v1 = load8(p + 8), v2 = load8(p + 16), v3 = load8(p + 24);
    const V8 rg0 = __builtin_shufflevector(v0, v1, 0, 4, 8, 12, 1, 5, 9, 13);
    const V8 rg1 = __builtin_shufflevector(v2, v3, 0, 4, 8, 12, 1, 5, 9, 13);
    const V8 ba0 = __builtin_shufflevector(v0, v1, 2, 6, 10, 14, 3, 7, 11, 15);
    const V8 ba1 = __builtin_shufflevector(v2, v3, 2, 6, 10, 14, 3, 7, 11, 15);
    r = __builtin_shufflevector(rg0, rg1, 0, 1, 2, 3, 8, 9, 10, 11);
    g = __builtin_shufflevector(rg0, rg1, 4, 5, 6, 7, 12, 13, 14, 15);
    b = __builtin_shufflevector(ba0, ba1, 0, 1, 2, 3, 8, 9, 10, 11);
    a = __builtin_shufflevector(ba0, ba1, 4, 5, 6, 7, 12, 13, 14, 15);
}

// Grey g with alpha a for eight pixels, interleaved into p.
inline void storeGrey(float* p, V8 g, V8 a) {
    store8(p, __builtin_shufflevector(g, a, 0, 0, 0, 8, 1, 1, 1, 9));
    store8(p + 8, __builtin_shufflevector(g, a, 2, 2, 2, 10, 3, 3, 3, 11));
    store8(p + 16, __builtin_shufflevector(g, a, 4, 4, 4, 12, 5, 5, 5, 13));
    store8(p + 24, __builtin_shufflevector(g, a, 6, 6, 6, 14, 7, 7, 7, 15));
}

template <Screen S>
__attribute__((always_inline)) inline void monoBody(const ScreenGeometry& g, float* px, int n,
                                                    int x, float fy, bool linear) {
    const V8 lane{0.5f, 1.5f, 2.5f, 3.5f, 4.5f, 5.5f, 6.5f, 7.5f};
    const bool sharp = g.halfRamp <= 1e-6f;
    const float rampScale = sharp ? 0.0f : 1.0f / (2 * g.halfRamp);
    float tail[32];
    for (int i0 = 0; i0 < n; i0 += 8) {
        const int m = std::min(8, n - i0);
        // The last partial group works on a padded copy.
        float* p = px + 4 * i0;
        if (m < 8) {
            std::fill_n(tail, 32, 0.0f);
            std::memcpy(tail, p, size_t(m) * 4 * sizeof(float));
            p = tail;
        }
        V8 r, gr, b, a;
        deinterleave(p, r, gr, b, a);
        a = a > 0 ? a : V8{};
        const V8 luma = (0.2126f * r + 0.7152f * gr + 0.0722f * b) / (a > 0 ? a : splat8(1.0f));
        const V8 l = luma > 0 ? luma : V8{};
        V8 d = 1.0f - (linear ? sqrt8(l) : l);
        d = d < 0 ? V8{} : (d > 1 ? splat8(1.0f) : d);
        const V8 s = spot8<S>(g, splat8(float(x + i0)) + lane, fy, d);
        V8 inked;
        if (sharp) {
            inked = d > s ? splat8(1.0f) : V8{};
        } else {
            const V8 t = (d - s) * rampScale + 0.5f;
            inked = t < 0 ? V8{} : (t > 1 ? splat8(1.0f) : t);
        }
        storeGrey(p, (1.0f - inked) * a, a);
        if (m < 8) std::memcpy(px + 4 * i0, tail, size_t(m) * 4 * sizeof(float));
    }
}

__attribute__((target_clones("arch=x86-64-v3", "default"))) void monoScreenSpan(
    Screen screen, const ScreenGeometry& g, float* px, int n, int x, float fy, bool linear) {
    switch (screen) {
        case Screen::Dot:
            return monoBody<Screen::Dot>(g, px, n, x, fy, linear);
        case Screen::Line:
            return monoBody<Screen::Line>(g, px, n, x, fy, linear);
        case Screen::Circular:
            return monoBody<Screen::Circular>(g, px, n, x, fy, linear);
        case Screen::Hatched:
            return monoBody<Screen::Hatched>(g, px, n, x, fy, linear);
    }
}

template <Screen S>
class MonoScreenNode final : public engine::PointNode {
public:
    MonoScreenNode(engine::NodePtr input, const ScreenGeometry& g)
        : PointNode(std::move(input)), m_g(g) {}
    void applySpan(float* px, int n, int x, int y,
                   const engine::RenderState& state) const override {
        monoScreenSpan(S, m_g, px, n, x, float(y) + 0.5f,
                       state.space == engine::WorkingSpace::LinearSRGB);
    }
    const char* kind() const override { return "halftone"; }

private:
    ScreenGeometry m_g;
};

// Cyan, magenta, yellow and black separations, each through a dot screen at
// its own angle (15, 75, 0 and 45 degrees from the input angle). Black is
// the grey component times gcr; undercolour removal takes ucr times black
// out of the three colours.
class CmykScreenNode final : public engine::PointNode {
public:
    CmykScreenNode(engine::NodePtr input, const ScreenGeometry g[4], float gcr, float ucr)
        : PointNode(std::move(input)), m_gcr(gcr), m_ucr(ucr) {
        std::copy(g, g + 4, m_g);
    }
    void applySpan(float* px, int n, int x, int y,
                   const engine::RenderState& state) const override {
        const float fy = float(y) + 0.5f;
        const bool linear = state.space == engine::WorkingSpace::LinearSRGB;
        for (int i = 0; i < n; ++i, px += 4) {
            const float a = px[3];
            if (!(a > 0)) {
                px[0] = px[1] = px[2] = px[3] = 0;
                continue;
            }
            float c[3];
            for (int k = 0; k < 3; ++k) {
                const float v = std::max(0.0f, px[k] / a);
                c[k] = std::clamp(1.0f - (linear ? std::sqrt(v) : v), 0.0f, 1.0f);
            }
            const float k = std::min({c[0], c[1], c[2]}) * m_gcr;
            const float fx = float(x + i) + 0.5f;
            const float kInk = ink(k, spot<Screen::Dot>(m_g[3], fx, fy, k), m_g[3].halfRamp);
            for (int j = 0; j < 3; ++j) {
                const float d = std::clamp(c[j] - m_ucr * k, 0.0f, 1.0f);
                const float cInk = ink(d, spot<Screen::Dot>(m_g[j], fx, fy, d), m_g[j].halfRamp);
                px[j] = (1.0f - cInk) * (1.0f - kInk) * a;
            }
        }
    }
    const char* kind() const override { return "cmyk-halftone"; }

private:
    ScreenGeometry m_g[4];
    float m_gcr, m_ucr;
};

template <Screen S>
CIImage monoScreen(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    return CIImage::imageWithNode(std::make_shared<MonoScreenNode<S>>(in.node(), geometry(f, 0)));
}

CIImage cmykHalftone(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const double deg = M_PI / 180;
    const ScreenGeometry g[4] = {geometry(f, 15 * deg), geometry(f, 75 * deg), geometry(f, 0),
                                 geometry(f, 45 * deg)};
    auto unit = [](double v, double fallback) {
        return float(std::isfinite(v) ? std::clamp(v, 0.0, 1.0) : fallback);
    };
    return CIImage::imageWithNode(std::make_shared<CmykScreenNode>(
        in.node(), g, unit(f.numberForKey("inputGCR"), 1), unit(f.numberForKey("inputUCR"), 0.5)));
}

}  // namespace

std::vector<BuiltinDef> halftoneBuiltins() {
    return {
        {"CIDotScreen", monoScreen<Screen::Dot>},
        {"CILineScreen", monoScreen<Screen::Line>},
        {"CICircularScreen", monoScreen<Screen::Circular>},
        {"CIHatchedScreen", monoScreen<Screen::Hatched>},
        {"CICMYKHalftone", cmykHalftone},
    };
}

}  // namespace cif::builtins
