// Per-pixel colour built-ins that map each pixel's straight colour through a
// curve, a polynomial or a small matrix: clamps, thresholds, polynomials,
// tone curves, the sRGB curve itself, white balance, vibrance, dithering,
// depth and disparity, false-colour looks and the photo looks.
//
// Unless a comment says otherwise a filter works on straight colour in the
// context's working space (linear light by default) and keeps its input's
// extent and alpha. Looks that are defined by how they appear (tone curves,
// thermal, X-ray, photo looks) work on sRGB-encoded values, so the same
// control points mean the same tones with and without colour management.

#include <QString>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

#include "platform/builtins/BuiltinFilter.h"
#include "platform/builtins/color/ColorMath.h"

namespace cif::builtins {

namespace {

using color::Encoding;
using color::finiteOr;
using color::straightNode;
using color::ToneCurve;

CIImage input(const CIFilter& f) {
    return f.imageForKey(kCIInputImageKey);
}

CIImage wrap(engine::NodePtr node) {
    return CIImage::imageWithNode(std::move(node));
}

// Components of a vector input, missing and non-finite ones taken from
// `fallback`.
template <size_t N>
std::array<float, N> components(const CIFilter& f, const char* key,
                                const std::array<float, N>& fallback) {
    const CIVector v = f.vectorForKey(QString::fromLatin1(key));
    std::array<float, N> out = fallback;
    for (size_t i = 0; i < N && i < v.count(); ++i)
        if (std::isfinite(v.valueAtIndex(i)))
            out[i] = float(std::clamp(v.valueAtIndex(i), -1e6, 1e6));
    return out;
}

// ---------------------------------------------------------------- clamps and polynomials

// Each straight component, alpha included, held within [min, max].
CIImage colorClamp(const CIFilter& f) {
    const CIImage in = input(f);
    if (in.isNull()) return {};
    const auto lo = components<4>(f, "inputMinComponents", {0, 0, 0, 0});
    const auto hi = components<4>(f, "inputMaxComponents", {1, 1, 1, 1});
    return wrap(straightNode(
        in.node(),
        [lo, hi](float* c, int, int) {
            for (size_t k = 0; k < 4; ++k)
                c[k] = std::max(lo[k], std::min(c[k], hi[k]));
        },
        Encoding::Working, "color-clamp"));
}

// Each straight component, alpha included, through its own cubic
// a0 + a1 v + a2 v^2 + a3 v^3.
CIImage colorPolynomial(const CIFilter& f) {
    const CIImage in = input(f);
    if (in.isNull()) return {};
    const std::array<float, 4> identity{0, 1, 0, 0};
    const std::array<std::array<float, 4>, 4> k = {
        components<4>(f, "inputRedCoefficients", identity),
        components<4>(f, "inputGreenCoefficients", identity),
        components<4>(f, "inputBlueCoefficients", identity),
        components<4>(f, "inputAlphaCoefficients", identity)};
    if (std::all_of(k.begin(), k.end(), [&](const auto& a) { return a == identity; })) return in;
    return wrap(straightNode(
        in.node(),
        [k](float* c, int, int) {
            for (size_t i = 0; i < 4; ++i) {
                const float v = c[i];
                c[i] = k[i][0] + v * (k[i][1] + v * (k[i][2] + v * k[i][3]));
            }
        },
        Encoding::Working, "color-polynomial"));
}

// Each colour channel a polynomial of all three:
//   c0 r + c1 g + c2 b + c3 r^2 + c4 g^2 + c5 b^2 + c6 r g + c7 g b + c8 b r + c9.
CIImage colorCrossPolynomial(const CIFilter& f) {
    const CIImage in = input(f);
    if (in.isNull()) return {};
    using Row = std::array<float, 10>;
    const Row ir{1, 0, 0, 0, 0, 0, 0, 0, 0, 0}, ig{0, 1, 0, 0, 0, 0, 0, 0, 0, 0},
        ib{0, 0, 1, 0, 0, 0, 0, 0, 0, 0};
    const std::array<Row, 3> k = {components<10>(f, "inputRedCoefficients", ir),
                                  components<10>(f, "inputGreenCoefficients", ig),
                                  components<10>(f, "inputBlueCoefficients", ib)};
    if (k[0] == ir && k[1] == ig && k[2] == ib) return in;
    return wrap(straightNode(
        in.node(),
        [k](float* c, int, int) {
            const float r = c[0], g = c[1], b = c[2];
            const float terms[10] = {r, g, b, r * r, g * g, b * b, r * g, g * b, b * r, 1.0f};
            for (size_t i = 0; i < 3; ++i) {
                float v = 0.0f;
                for (size_t t = 0; t < 10; ++t)
                    v += k[i][t] * terms[t];
                c[i] = v;
            }
        },
        Encoding::Working, "color-cross-polynomial"));
}

// Each colour channel 1 where it is above the threshold, 0 elsewhere.
CIImage colorThreshold(const CIFilter& f) {
    const CIImage in = input(f);
    if (in.isNull()) return {};
    const float t = finiteOr(f.numberForKey("inputThreshold"), 0.5);
    return wrap(straightNode(
        in.node(),
        [t](float* c, int, int) {
            for (int k = 0; k < 3; ++k)
                c[k] = c[k] > t ? 1.0f : 0.0f;
        },
        Encoding::Working, "color-threshold"));
}

// ---------------------------------------------------------------- transfer curves

CIImage linearToSrgbCurve(const CIFilter& f) {
    const CIImage in = input(f);
    if (in.isNull()) return {};
    return wrap(straightNode(
        in.node(),
        [](float* c, int, int) {
            for (int k = 0; k < 3; ++k)
                c[k] = color::encodeSrgb(c[k]);
        },
        Encoding::Working, "linear-to-srgb"));
}

CIImage srgbToLinearCurve(const CIFilter& f) {
    const CIImage in = input(f);
    if (in.isNull()) return {};
    return wrap(straightNode(
        in.node(),
        [](float* c, int, int) {
            for (int k = 0; k < 3; ++k)
                c[k] = color::decodeSrgb(c[k]);
        },
        Encoding::Working, "srgb-to-linear"));
}

// Depth and disparity are reciprocals (disparity = 1 / depth); a value of 0,
// no measurement, stays 0.
CIImage reciprocal(const CIFilter& f) {
    const CIImage in = input(f);
    if (in.isNull()) return {};
    return wrap(straightNode(
        in.node(),
        [](float* c, int, int) {
            for (int k = 0; k < 3; ++k)
                c[k] = c[k] != 0.0f && std::isfinite(c[k]) ? 1.0f / c[k] : 0.0f;
        },
        Encoding::Working, "reciprocal"));
}

// The five control points through a monotone curve, on sRGB-encoded values
// of each colour channel.
CIImage toneCurve(const CIFilter& f) {
    const CIImage in = input(f);
    if (in.isNull()) return {};
    std::vector<std::pair<float, float>> points;
    const float defaults[5] = {0, 0.25f, 0.5f, 0.75f, 1};
    for (int i = 0; i < 5; ++i) {
        const auto p = components<2>(f, ("inputPoint" + std::to_string(i)).c_str(),
                                     {defaults[i], defaults[i]});
        points.emplace_back(p[0], p[1]);
    }
    const ToneCurve curve(points);
    if (curve.isIdentity()) return in;
    return wrap(straightNode(
        in.node(),
        [curve](float* c, int, int) {
            for (int k = 0; k < 3; ++k)
                c[k] = curve(c[k]);
        },
        Encoding::Perceptual, "tone-curve"));
}

// ---------------------------------------------------------------- white balance

// CIE 1931 chromaticity of a black body at `kelvin` (Kim et al.'s cubic fit
// of the Planckian locus, 1667 K to 25000 K).
void planckianXY(double kelvin, double& x, double& y) {
    const double t = std::clamp(kelvin, 1667.0, 25000.0);
    const double t1 = 1e3 / t, t2 = t1 * t1, t3 = t2 * t1;
    x = t <= 4000 ? -0.2661239 * t3 - 0.2343589 * t2 + 0.8776956 * t1 + 0.179910
                  : -3.0258469 * t3 + 2.1070379 * t2 + 0.2226347 * t1 + 0.240390;
    const double x2 = x * x, x3 = x2 * x;
    if (t <= 2222)
        y = -1.1063814 * x3 - 1.34811020 * x2 + 2.18555832 * x - 0.20219683;
    else if (t <= 4000)
        y = -0.9549476 * x3 - 1.37418593 * x2 + 2.09137015 * x - 0.16748867;
    else
        y = 3.0817580 * x3 - 5.87338670 * x2 + 3.75112997 * x - 0.37001483;
}

// The XYZ (Y = 1) white of a (temperature, tint) pair: the black body's
// chromaticity moved off the locus in CIE 1960 uv by tint / 6000, positive
// tints towards magenta (below the locus), negative towards green.
std::array<double, 3> neutralWhite(double kelvin, double tint) {
    const auto uvAt = [](double k, double& u, double& v) {
        double x, y;
        planckianXY(k, x, y);
        const double d = -2 * x + 12 * y + 3;
        u = 4 * x / d;
        v = 6 * y / d;
    };
    double u, v, u1, v1;
    uvAt(kelvin, u, v);
    uvAt(std::clamp(kelvin, 1667.0, 24900.0) + 100, u1, v1);
    // The locus's direction towards higher temperatures; its normal (du, dv)
    // rotated clockwise points below it.
    const double du = u1 - u, dv = v1 - v, len = std::hypot(du, dv);
    if (len > 0) {
        const double shift = std::clamp(tint, -1e3, 1e3) / 6000.0;
        const double nu = -dv / len, nv = du / len;  // counter-clockwise: above the locus
        u -= shift * nu;
        v -= shift * nv;
    }
    const double d = 2 * u - 8 * v + 4;
    const double x = 3 * u / d, y = std::max(2 * v / d, 1e-6);
    return {x / y, 1.0, (1 - x - y) / y};
}

using M3 = std::array<double, 9>;

M3 multiply(const M3& a, const M3& b) {
    M3 m{};
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c)
            for (int k = 0; k < 3; ++k)
                m[size_t(3 * r + c)] += a[size_t(3 * r + k)] * b[size_t(3 * k + c)];
    return m;
}

std::array<double, 3> transform(const M3& m, const std::array<double, 3>& v) {
    return {m[0] * v[0] + m[1] * v[1] + m[2] * v[2], m[3] * v[0] + m[4] * v[1] + m[5] * v[2],
            m[6] * v[0] + m[7] * v[1] + m[8] * v[2]};
}

// White balance: the colour that is white under the neutral's light becomes
// white under the target's, by Bradford chromatic adaptation on linear
// sRGB. Raising the neutral's temperature warms the picture.
CIImage temperatureAndTint(const CIFilter& f) {
    const CIImage in = input(f);
    if (in.isNull()) return {};
    const auto from = components<2>(f, "inputNeutral", {6500, 0});
    const auto to = components<2>(f, "inputTargetNeutral", {6500, 0});
    if (from == to) return in;
    constexpr M3 kBradford = {0.8951, 0.2664, -0.1614, -0.7502, 1.7135,
                              0.0367, 0.0389, -0.0685, 1.0296};
    constexpr M3 kBradfordInv = {0.9869929, -0.1470543, 0.1599627, 0.4323053, 0.5183603,
                                 0.0492912, -0.0085287, 0.0400428, 0.9684867};
    constexpr M3 kRgbToXyz = {0.4124564, 0.3575761, 0.1804375, 0.2126729, 0.7151522,
                              0.0721750, 0.0193339, 0.1191920, 0.9503041};
    constexpr M3 kXyzToRgb = {3.2404542, -1.5371385, -0.4985314, -0.9692660, 1.8760108,
                              0.0415560, 0.0556434,  -0.2040259, 1.0572252};
    const auto src = transform(kBradford, neutralWhite(from[0], from[1]));
    const auto dst = transform(kBradford, neutralWhite(to[0], to[1]));
    const M3 scale = {dst[0] / src[0], 0, 0, 0, dst[1] / src[1], 0, 0, 0, dst[2] / src[2]};
    const M3 m = multiply(kXyzToRgb,
                          multiply(kBradfordInv, multiply(scale, multiply(kBradford, kRgbToXyz))));
    return wrap(color::linearMatrixNode(in.node(), m));
}

// ---------------------------------------------------------------- vibrance and dither

// Saturation raised (or lowered, for negative amounts) most where the colour
// is least saturated, so already vivid colours and skin stay natural:
// c' = L + (c - L)(1 + amount (1 - s)), s = max - min of the encoded colour.
CIImage vibrance(const CIFilter& f) {
    const CIImage in = input(f);
    if (in.isNull()) return {};
    const float amount = std::clamp(finiteOr(f.numberForKey("inputAmount"), 0.0), -1.0f, 1.0f);
    if (amount == 0.0f) return in;
    return wrap(straightNode(
        in.node(),
        [amount](float* c, int, int) {
            const float hi = std::max({c[0], c[1], c[2]}), lo = std::min({c[0], c[1], c[2]});
            const float s = std::clamp(hi - lo, 0.0f, 1.0f);
            const float l = color::luma(c), k = 1.0f + amount * (1.0f - s);
            for (int i = 0; i < 3; ++i)
                c[i] = l + (c[i] - l) * k;
        },
        Encoding::Perceptual, "vibrance"));
}

uint32_t hash32(uint32_t v) {
    v ^= v >> 16;
    v *= 0x7feb352dU;
    v ^= v >> 15;
    v *= 0x846ca68bU;
    v ^= v >> 16;
    return v;
}

// Triangular noise added to each encoded channel, a fixed pattern hashed from
// the pixel's position (so every tile and thread sees the same noise): at
// intensity 1 it spans +-8 levels of an 8-bit picture, at the default 0.1
// just under one level, which breaks up banding when the result is quantised.
CIImage dither(const CIFilter& f) {
    const CIImage in = input(f);
    if (in.isNull()) return {};
    const float amount = std::clamp(finiteOr(f.numberForKey("inputIntensity"), 0.1), 0.0f, 5.0f);
    if (amount == 0.0f) return in;
    const float scale = amount * 8.0f / 255.0f;
    return wrap(straightNode(
        in.node(),
        [scale](float* c, int x, int y) {
            uint32_t h = hash32(uint32_t(x) * 0x9e3779b1U ^ hash32(uint32_t(y)));
            for (int k = 0; k < 3; ++k) {
                h = hash32(h + uint32_t(k));
                const float u1 = float(h & 0xffff) / 65535.0f, u2 = float(h >> 16) / 65535.0f;
                c[k] += scale * (u1 + u2 - 1.0f);
            }
        },
        Encoding::Perceptual, "dither"));
}

// ---------------------------------------------------------------- false-colour looks

struct Stop {
    float at, r, g, b;
};

// Piecewise-linear ramp through the stops (ascending `at`), on [0, 1].
template <size_t N>
void ramp(const std::array<Stop, N>& stops, float t, float* c) {
    t = t > 0.0f ? std::min(t, 1.0f) : 0.0f;
    size_t i = 0;
    while (i + 2 < N && t > stops[i + 1].at)
        ++i;
    const Stop& a = stops[i];
    const Stop& b = stops[i + 1];
    const float w = (t - a.at) / (b.at - a.at);
    c[0] = a.r + w * (b.r - a.r);
    c[1] = a.g + w * (b.g - a.g);
    c[2] = a.b + w * (b.b - a.b);
}

// A thermal camera's palette on the encoded luminance: deep blue for the
// darkest tones through violet, magenta, red and orange to yellow and white
// for the brightest.
CIImage thermal(const CIFilter& f) {
    const CIImage in = input(f);
    if (in.isNull()) return {};
    static constexpr std::array<Stop, 7> kStops = {{{0.0f, 0.0f, 0.0f, 0.25f},
                                                    {0.2f, 0.25f, 0.0f, 0.65f},
                                                    {0.4f, 0.75f, 0.0f, 0.55f},
                                                    {0.55f, 0.95f, 0.15f, 0.1f},
                                                    {0.7f, 1.0f, 0.55f, 0.0f},
                                                    {0.85f, 1.0f, 0.9f, 0.1f},
                                                    {1.0f, 1.0f, 1.0f, 0.85f}}};
    return wrap(straightNode(
        in.node(), [](float* c, int, int) { ramp(kStops, color::luma(c), c); },
        Encoding::Perceptual, "thermal"));
}

// An X-ray film: the encoded luminance inverted (dense, bright parts come out
// dark) and tinted a cold blue-grey.
CIImage xray(const CIFilter& f) {
    const CIImage in = input(f);
    if (in.isNull()) return {};
    static constexpr std::array<Stop, 3> kStops = {
        {{0.0f, 0.92f, 0.97f, 1.0f}, {0.5f, 0.42f, 0.5f, 0.56f}, {1.0f, 0.0f, 0.02f, 0.05f}}};
    return wrap(straightNode(
        in.node(), [](float* c, int, int) { ramp(kStops, color::luma(c), c); },
        Encoding::Perceptual, "xray"));
}

// ---------------------------------------------------------------- photo looks

// A photo look on encoded colour: saturation about the luma (or grey, for
// black-and-white looks), then one tone curve per channel.
struct Look {
    float saturation;
    bool mono;
    ToneCurve r, g, b;
    void operator()(float* c, int, int) const {
        // Luma weights of encoded values (Rec. 601), as film looks are judged.
        const float l = 0.299f * c[0] + 0.587f * c[1] + 0.114f * c[2];
        for (int k = 0; k < 3; ++k)
            c[k] = mono ? l : l + saturation * (c[k] - l);
        c[0] = r(c[0]);
        c[1] = g(c[1]);
        c[2] = b(c[2]);
    }
};

using Points = std::vector<std::pair<float, float>>;

CIImage look(const CIFilter& f, float saturation, bool mono, const Points& r, const Points& g,
             const Points& b, const char* kind) {
    const CIImage in = input(f);
    if (in.isNull()) return {};
    return wrap(straightNode(in.node(),
                             Look{saturation, mono, ToneCurve(r), ToneCurve(g), ToneCurve(b)},
                             Encoding::Perceptual, kind));
}

CIImage lookOne(const CIFilter& f, float saturation, bool mono, const Points& p, const char* kind) {
    return look(f, saturation, mono, p, p, p, kind);
}

// Chrome: vivid colour (saturation 1.25) and an S-curve that deepens shadows
// and lifts highlights.
CIImage photoChrome(const CIFilter& f) {
    return lookOne(f, 1.25f, false, {{0, 0}, {0.25f, 0.19f}, {0.5f, 0.5f}, {0.75f, 0.81f}, {1, 1}},
                   "photo-chrome");
}

// Fade: muted colour (0.7) and a flattened curve with black lifted to 0.12
// and white lowered to 0.94, a washed-out print.
CIImage photoFade(const CIFilter& f) {
    return lookOne(f, 0.7f, false,
                   {{0, 0.12f}, {0.25f, 0.31f}, {0.5f, 0.52f}, {0.75f, 0.74f}, {1, 0.94f}},
                   "photo-fade");
}

// Instant: an old instant print, slightly faded colour (0.85) with lifted
// blacks, warm yellow highlights (blue held down at the top) and a touch of
// blue in the shadows.
CIImage photoInstant(const CIFilter& f) {
    return look(f, 0.85f, false, {{0, 0.07f}, {0.5f, 0.57f}, {1, 1}},
                {{0, 0.05f}, {0.5f, 0.53f}, {1, 0.97f}}, {{0, 0.11f}, {0.5f, 0.45f}, {1, 0.84f}},
                "photo-instant");
}

// Mono: black and white with low contrast: blacks lifted to 0.06, whites
// held at 0.95, midtones kept.
CIImage photoMono(const CIFilter& f) {
    return lookOne(f, 0.0f, true, {{0, 0.06f}, {0.5f, 0.5f}, {1, 0.95f}}, "photo-mono");
}

// Noir: black and white with hard contrast, a steep S-curve that crushes the
// shadows and blows the highlights.
CIImage photoNoir(const CIFilter& f) {
    return lookOne(f, 0.0f, true, {{0, 0}, {0.25f, 0.1f}, {0.5f, 0.5f}, {0.75f, 0.9f}, {1, 1}},
                   "photo-noir");
}

// Process: a cross-processed look, cool and slightly green-cyan (red pulled
// down, blue lifted in the shadows) with a little extra contrast.
CIImage photoProcess(const CIFilter& f) {
    return look(f, 0.95f, false, {{0, 0}, {0.25f, 0.2f}, {0.5f, 0.46f}, {0.75f, 0.76f}, {1, 0.96f}},
                {{0, 0.02f}, {0.25f, 0.24f}, {0.5f, 0.52f}, {0.75f, 0.8f}, {1, 1}},
                {{0, 0.08f}, {0.25f, 0.3f}, {0.5f, 0.55f}, {0.75f, 0.77f}, {1, 0.96f}},
                "photo-process");
}

// Tonal: black and white with natural contrast, only the ends of the scale
// softened a little.
CIImage photoTonal(const CIFilter& f) {
    return lookOne(f, 0.0f, true,
                   {{0, 0.02f}, {0.25f, 0.23f}, {0.5f, 0.5f}, {0.75f, 0.77f}, {1, 0.98f}},
                   "photo-tonal");
}

// Transfer: a warm vintage transfer print, reds and yellows brought forward
// (saturation 1.1, red raised, blue lowered through the midtones) and blacks
// slightly lifted.
CIImage photoTransfer(const CIFilter& f) {
    return look(f, 1.1f, false, {{0, 0.04f}, {0.5f, 0.57f}, {1, 1}},
                {{0, 0.02f}, {0.5f, 0.5f}, {1, 0.96f}}, {{0, 0.02f}, {0.5f, 0.41f}, {1, 0.86f}},
                "photo-transfer");
}

}  // namespace

std::vector<BuiltinDef> colorCurveBuiltins() {
    return {
        {"CIColorClamp", colorClamp},
        {"CIColorPolynomial", colorPolynomial},
        {"CIColorCrossPolynomial", colorCrossPolynomial},
        {"CIColorThreshold", colorThreshold},
        {"CILinearToSRGBToneCurve", linearToSrgbCurve},
        {"CISRGBToneCurveToLinear", srgbToLinearCurve},
        {"CIDepthToDisparity", reciprocal},
        {"CIDisparityToDepth", reciprocal},
        {"CIToneCurve", toneCurve},
        {"CITemperatureAndTint", temperatureAndTint},
        {"CIVibrance", vibrance},
        {"CIDither", dither},
        {"CIThermal", thermal},
        {"CIXRay", xray},
        {"CIPhotoEffectChrome", photoChrome},
        {"CIPhotoEffectFade", photoFade},
        {"CIPhotoEffectInstant", photoInstant},
        {"CIPhotoEffectMono", photoMono},
        {"CIPhotoEffectNoir", photoNoir},
        {"CIPhotoEffectProcess", photoProcess},
        {"CIPhotoEffectTonal", photoTonal},
        {"CIPhotoEffectTransfer", photoTransfer},
    };
}

}  // namespace cif::builtins
