// Colour built-ins: per-pixel adjustments of one image.
//
// Every filter here works in the context's working space (linear light with
// sRGB primaries by default) on premultiplied pixels and keeps its input's
// extent. Adjustments that are affine in the straight colour (brightness,
// contrast, saturation, exposure, hue rotation, white point, monochrome,
// false colour, sepia) are linear in the premultiplied pixel, so they all
// become one 4 x 4 matrix applied to premultiplied values: no division by
// alpha, one multiply-add per matrix entry.

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "platform/builtins/BuiltinFilter.h"
#include "platform/builtins/color/ColorSpans.h"
#include "platform/image/ColorSpace.h"
#include "platform/image/Node.h"
#include "platform/image/Pixel4.h"
#include "platform/image/SpanOps.h"

namespace cif::builtins {

namespace {

using engine::loadPixel;
using engine::Pixel4;
using engine::PointNode;
using engine::RenderState;
using engine::storePixel;
using engine::WorkingSpace;

constexpr int kSpaces = 2;  // WorkingSpace::LinearSRGB, WorkingSpace::None

int spaceIndex(WorkingSpace space) {
    return space == WorkingSpace::None ? 1 : 0;
}
WorkingSpace spaceAt(int index) {
    return index == 1 ? WorkingSpace::None : WorkingSpace::LinearSRGB;
}

// Rec. 709 luminance weights, the luma of linear sRGB primaries.
constexpr double kLumaR = 0.2126, kLumaG = 0.7152, kLumaB = 0.0722;

double finiteOr(double v, double fallback) {
    return std::isfinite(v) ? v : fallback;
}

// A colour input as a straight (unpremultiplied) working-space colour, for
// each working space a render may use.
struct WorkingColor {
    std::array<std::array<double, 4>, kSpaces> rgba{};
};

WorkingColor workingColor(const CIColor& c) {
    double in[4];
    c.components(in);
    WorkingColor out;
    for (int s = 0; s < kSpaces; ++s) {
        float premul[4];
        engine::colorToWorking(in, premul, spaceAt(s));
        const double a = premul[3];
        for (int k = 0; k < 3; ++k)
            out.rgba[size_t(s)][size_t(k)] = a > 0 ? premul[k] / a : 0.0;
        out.rgba[size_t(s)][3] = a;
    }
    return out;
}

// A 4 x 4 matrix on premultiplied pixels, row-major: out[r] = sum_c m[r][c] * p[c].
using Matrix4 = std::array<double, 16>;

Matrix4 identityMatrix() {
    Matrix4 m{};
    for (int i = 0; i < 4; ++i)
        m[size_t(5 * i)] = 1.0;
    return m;
}

// (1 - t) * a + t * b, entry by entry.
Matrix4 mix(const Matrix4& a, const Matrix4& b, double t) {
    Matrix4 m{};
    for (size_t i = 0; i < 16; ++i)
        m[i] = a[i] + t * (b[i] - a[i]);
    return m;
}

// Rows for the colour channels of `rgb3` (a 3 x 3 matrix on straight colour)
// plus a constant `bias` added to the straight colour; alpha is kept. On
// premultiplied pixels the bias is multiplied by alpha.
Matrix4 affineColorMatrix(const double rgb3[9], const double bias[3]) {
    Matrix4 m{};
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c)
            m[size_t(4 * r + c)] = rgb3[3 * r + c];
        m[size_t(4 * r + 3)] = bias[r];
    }
    m[15] = 1.0;
    return m;
}

// Applies one matrix per working space to premultiplied pixels.
class PremulMatrixNode final : public PointNode {
public:
    PremulMatrixNode(engine::NodePtr input, const std::array<Matrix4, kSpaces>& matrices)
        : PointNode(std::move(input)) {
        for (size_t s = 0; s < size_t(kSpaces); ++s)
            for (size_t i = 0; i < 16; ++i)
                m_matrix[s][i] = float(finiteOr(matrices[s][i], 0.0));
    }
    void applySpan(float* px, int n, int, int, const RenderState& state) const override {
        premulMatrixSpan(px, n, m_matrix[size_t(spaceIndex(state.space))].data());
    }
    const char* kind() const override { return "premultiplied-matrix"; }

private:
    std::array<std::array<float, 16>, kSpaces> m_matrix{};
};

// The input itself when every matrix is the identity, so identity
// parameters cost nothing and give the picture back bit for bit.
CIImage withMatrices(const CIImage& in, const std::array<Matrix4, kSpaces>& m) {
    if (std::all_of(m.begin(), m.end(), [](const Matrix4& x) { return x == identityMatrix(); }))
        return in;
    return CIImage::imageWithNode(std::make_shared<PremulMatrixNode>(in.node(), m));
}

CIImage withMatrix(const CIImage& in, const Matrix4& m) {
    return withMatrices(in, {m, m});
}

// ---------------------------------------------------------------- existing

// Each output channel is the dot product of its row with the straight
// (unpremultiplied) input colour, plus the bias; the result is premultiplied
// again. Alpha is kept within [0, 1]; colour channels may leave [0, 1].
class ColorMatrixNode final : public PointNode {
public:
    ColorMatrixNode(engine::NodePtr input, const CIVector rows[4], const CIVector& bias)
        : PointNode(std::move(input)) {
        for (int r = 0; r < 4; ++r)
            for (int c = 0; c < 4; ++c)
                m_matrix[4 * r + c] = float(rows[r].valueAtIndex(size_t(c)));
        for (int r = 0; r < 4; ++r)
            m_bias[r] = float(bias.valueAtIndex(size_t(r)));
    }
    void applySpan(float* px, int n, int, int, const RenderState&) const override {
        engine::colorMatrixSpan(px, n, m_matrix, m_bias);
    }
    const char* kind() const override { return "color-matrix"; }

private:
    float m_matrix[16];
    float m_bias[4];
};

// 1 - colour on straight values, which is alpha - colour on premultiplied ones.
class ColorInvertNode final : public PointNode {
public:
    explicit ColorInvertNode(engine::NodePtr input) : PointNode(std::move(input)) {}
    void applySpan(float* px, int n, int, int, const RenderState&) const override {
        for (int i = 0; i < n; ++i, px += 4) {
            const engine::Pixel4 p = engine::loadPixel(px);
            engine::Pixel4 o = p[3] - p;
            o[3] = p[3];
            engine::storePixel(px, o);
        }
    }
    const char* kind() const override { return "color-invert"; }
};

CIImage colorMatrix(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const CIVector rows[4] = {f.vectorForKey("inputRVector"), f.vectorForKey("inputGVector"),
                              f.vectorForKey("inputBVector"), f.vectorForKey("inputAVector")};
    return CIImage::imageWithNode(
        std::make_shared<ColorMatrixNode>(in.node(), rows, f.vectorForKey("inputBiasVector")));
}

CIImage colorInvert(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    return CIImage::imageWithNode(std::make_shared<ColorInvertNode>(in.node()));
}

// ---------------------------------------------------------------- matrices

// Saturation mixes the colour with its luminance grey (0 grey, 1 the colour,
// above 1 more colourful), contrast scales the result about 0.5, and
// brightness adds to every channel: ((mix(L, c, s) - 0.5) * k + 0.5) + b.
CIImage colorControls(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const double b = std::clamp(finiteOr(f.numberForKey("inputBrightness"), 0.0), -1e3, 1e3);
    const double k = std::clamp(finiteOr(f.numberForKey("inputContrast"), 1.0), 0.0, 1e3);
    const double s = std::clamp(finiteOr(f.numberForKey("inputSaturation"), 1.0), 0.0, 1e3);
    const double luma[3] = {kLumaR, kLumaG, kLumaB};
    double m[9];
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c)
            m[3 * r + c] = k * ((r == c ? s : 0.0) + (1.0 - s) * luma[c]);
    const double offset = 0.5 * (1.0 - k) + b;
    const double bias[3] = {offset, offset, offset};
    return withMatrix(in, affineColorMatrix(m, bias));
}

// Multiplies the colour by 2^EV, as opening the lens by EV stops would.
CIImage exposureAdjust(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const double ev = std::clamp(finiteOr(f.numberForKey("inputEV"), 0.0), -64.0, 64.0);
    const double g = std::exp2(ev);
    const double m[9] = {g, 0, 0, 0, g, 0, 0, 0, g}, bias[3] = {0, 0, 0};
    return withMatrix(in, affineColorMatrix(m, bias));
}

// Rotates the colour cube about its neutral (grey) axis by the angle in
// radians; positive angles turn red towards yellow and green. Greys and
// luminance-free directions keep their length, so greys are unchanged.
CIImage hueAdjust(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const double angle = std::fmod(finiteOr(f.numberForKey("inputAngle"), 0.0), 2.0 * M_PI);
    const double c = std::cos(angle), s = std::sin(angle) / std::sqrt(3.0), t = (1.0 - c) / 3.0;
    // Rodrigues' rotation about k = (1, 1, 1) / sqrt(3).
    const double m[9] = {c + t, t - s, t + s,  //
                         t + s, c + t, t - s,  //
                         t - s, t + s, c + t};
    const double bias[3] = {0, 0, 0};
    return withMatrix(in, affineColorMatrix(m, bias));
}

// Maps white to the given colour: each channel is scaled by the colour's
// working-space value, so the picture is seen under a new reference white.
CIImage whitePointAdjust(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const WorkingColor white = workingColor(f.colorForKey("inputColor"));
    std::array<Matrix4, kSpaces> ms{};
    for (size_t sp = 0; sp < size_t(kSpaces); ++sp) {
        const auto& w = white.rgba[sp];
        const double m[9] = {w[0], 0, 0, 0, w[1], 0, 0, 0, w[2]}, bias[3] = {0, 0, 0};
        ms[sp] = affineColorMatrix(m, bias);
    }
    return withMatrices(in, ms);
}

// Shades of one colour: the colour scaled so its luminance is the pixel's
// (greys keep their brightness and take the colour's hue), mixed with the
// original by the intensity (0 leaves the picture as it is). Bright pixels
// may leave [0, 1] in the colour's strongest channel; output clamps them.
CIImage colorMonochrome(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const WorkingColor tint = workingColor(f.colorForKey("inputColor"));
    const double amount = std::clamp(finiteOr(f.numberForKey("inputIntensity"), 1.0), 0.0, 1.0);
    const double luma[3] = {kLumaR, kLumaG, kLumaB};
    std::array<Matrix4, kSpaces> ms{};
    for (size_t sp = 0; sp < size_t(kSpaces); ++sp) {
        const auto& t = tint.rgba[sp];
        const double tl = kLumaR * t[0] + kLumaG * t[1] + kLumaB * t[2];
        const double k = tl > 0 ? 1.0 / tl : 0.0;
        double m[9];
        for (int r = 0; r < 3; ++r)
            for (int c = 0; c < 3; ++c)
                m[3 * r + c] = t[size_t(r)] * k * luma[c];
        const double bias[3] = {0, 0, 0};
        ms[sp] = mix(identityMatrix(), affineColorMatrix(m, bias), amount);
    }
    return withMatrices(in, ms);
}

// Luminance mapped onto the ramp from colour 0 (black) to colour 1 (white):
// mix(color0, color1, L), both colours with their alpha, times the pixel's
// coverage.
CIImage falseColor(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const WorkingColor c0 = workingColor(f.colorForKey("inputColor0")),
                       c1 = workingColor(f.colorForKey("inputColor1"));
    const double luma[3] = {kLumaR, kLumaG, kLumaB};
    std::array<Matrix4, kSpaces> ms{};
    for (size_t sp = 0; sp < size_t(kSpaces); ++sp) {
        Matrix4 m{};
        for (size_t r = 0; r < 4; ++r) {
            // Premultiplied ramp ends: colour channels carry their alpha.
            const double a0 = c0.rgba[sp][3], a1 = c1.rgba[sp][3];
            const double e0 = r == 3 ? a0 : c0.rgba[sp][r] * a0;
            const double e1 = r == 3 ? a1 : c1.rgba[sp][r] * a1;
            for (size_t c = 0; c < 3; ++c)
                m[4 * r + c] = (e1 - e0) * luma[c];
            m[4 * r + 3] = e0;
        }
        ms[sp] = m;
    }
    return withMatrices(in, ms);
}

// The classic sepia toning matrix, mixed with the original by the intensity.
CIImage sepiaTone(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const double amount = std::clamp(finiteOr(f.numberForKey("inputIntensity"), 1.0), 0.0, 1.0);
    const double m[9] = {0.393, 0.769, 0.189,  //
                         0.349, 0.686, 0.168,  //
                         0.272, 0.534, 0.131};
    const double bias[3] = {0, 0, 0};
    return withMatrix(in, mix(identityMatrix(), affineColorMatrix(m, bias), amount));
}

// ---------------------------------------------------------------- per channel

// Each straight channel raised to the power (sign kept for negative
// extended values).
class GammaNode final : public PointNode {
public:
    GammaNode(engine::NodePtr input, float power) : PointNode(std::move(input)), m_power(power) {}
    void applySpan(float* px, int n, int, int, const RenderState&) const override {
        gammaSpan(px, n, m_power);
    }
    const char* kind() const override { return "gamma"; }

private:
    float m_power;
};

CIImage gammaAdjust(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const double power = std::clamp(finiteOr(f.numberForKey("inputPower"), 1.0), 0.0, 1e3);
    if (power == 1.0) return in;
    return CIImage::imageWithNode(std::make_shared<GammaNode>(in.node(), float(power)));
}

// Quantises each straight channel to `levels` evenly spaced values between 0
// and 1 of the sRGB-encoded value (so steps are even to the eye, and 300
// levels leave every 8-bit value as it was). The quantiser is a table of
// thresholds in the working space, so no transfer function runs per pixel.
class PosterizeNode final : public PointNode {
public:
    PosterizeNode(engine::NodePtr input, int levels) : PointNode(std::move(input)) {
        const int steps = levels - 1;
        for (int s = 0; s < kSpaces; ++s) {
            const bool linear = spaceAt(s) == WorkingSpace::LinearSRGB;
            auto decode = [&](double v) {
                return linear ? engine::srgbToLinear(float(v)) : float(v);
            };
            for (int k = 0; k <= steps; ++k)
                m_values[size_t(s)].push_back(decode(double(k) / steps));
            for (int k = 0; k < steps; ++k)
                m_thresholds[size_t(s)].push_back(decode((k + 0.5) / steps));
        }
    }
    void applySpan(float* px, int n, int, int, const RenderState& state) const override {
        const auto& thresholds = m_thresholds[size_t(spaceIndex(state.space))];
        const auto& values = m_values[size_t(spaceIndex(state.space))];
        for (int i = 0; i < n; ++i, px += 4) {
            const float a = px[3];
            if (!(a > 0.0f)) continue;
            const float inv = 1.0f / a;
            for (int c = 0; c < 3; ++c) {
                const float s = px[c] * inv;
                // Values at a threshold go up, as rounding half up does.
                const size_t k = size_t(std::upper_bound(thresholds.begin(), thresholds.end(), s) -
                                        thresholds.begin());
                px[c] = values[k] * a;
            }
        }
    }
    const char* kind() const override { return "posterize"; }

private:
    std::array<std::vector<float>, kSpaces> m_thresholds, m_values;
};

CIImage colorPosterize(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const double levels = std::clamp(finiteOr(f.numberForKey("inputLevels"), 6.0), 2.0, 4096.0);
    return CIImage::imageWithNode(
        std::make_shared<PosterizeNode>(in.node(), int(std::lround(levels))));
}

// White where the picture is bright, transparent where it is black: the
// luminance of the premultiplied colour becomes the coverage of white.
class MaskToAlphaNode final : public PointNode {
public:
    explicit MaskToAlphaNode(engine::NodePtr input) : PointNode(std::move(input)) {}
    void applySpan(float* px, int n, int, int, const RenderState&) const override {
        for (int i = 0; i < n; ++i, px += 4) {
            const float l = float(kLumaR) * px[0] + float(kLumaG) * px[1] + float(kLumaB) * px[2];
            // NaN becomes 0 through the comparison.
            const float a = l > 0.0f ? std::min(l, 1.0f) : 0.0f;
            storePixel(px, engine::splat(a));
        }
    }
    const char* kind() const override { return "mask-to-alpha"; }
};

CIImage maskToAlpha(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    return CIImage::imageWithNode(std::make_shared<MaskToAlphaNode>(in.node()));
}

// Grey from the largest (or smallest) colour channel; alpha is kept. Scaling
// by alpha commutes with max and min, so premultiplied values are used as
// they are.
template <bool Maximum>
class ComponentNode final : public PointNode {
public:
    explicit ComponentNode(engine::NodePtr input) : PointNode(std::move(input)) {}
    void applySpan(float* px, int n, int, int, const RenderState&) const override {
        for (int i = 0; i < n; ++i, px += 4) {
            const float v = Maximum ? std::max(std::max(px[0], px[1]), px[2])
                                    : std::min(std::min(px[0], px[1]), px[2]);
            px[0] = px[1] = px[2] = v;
        }
    }
    const char* kind() const override {
        return Maximum ? "maximum-component" : "minimum-component";
    }
};

template <bool Maximum>
CIImage component(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    return CIImage::imageWithNode(std::make_shared<ComponentNode<Maximum>>(in.node()));
}

// ---------------------------------------------------------------- spot colour

// Up to three colour ranges, each replaced by its spot colour. A pixel's
// distance to a centre colour is measured on sRGB-encoded straight values
// (so closeness means the same in any working space and to the eye); a
// pixel within closeness * contrast of the centre takes the replacement
// fully, one beyond closeness keeps its colour, and in between the weight
// falls smoothly. Contrast 1 gives a hard edge, 0 a soft ramp from the
// centre outwards. Ranges are applied in order, each to the result of the
// one before.
class SpotColorNode final : public PointNode {
public:
    struct Spot {
        double centre[3];  // sRGB-encoded straight colour
        WorkingColor replacement;
        double closeness, contrast;
    };
    SpotColorNode(engine::NodePtr input, const std::array<Spot, 3>& spots)
        : PointNode(std::move(input)) {
        for (size_t i = 0; i < 3; ++i) {
            const Spot& s = spots[i];
            Prepared& p = m_spots[i];
            for (int c = 0; c < 3; ++c)
                p.centre[c] = float(s.centre[c]);
            p.outer = float(std::max(s.closeness, 0.0));
            p.inner = float(std::max(s.closeness, 0.0) * std::clamp(s.contrast, 0.0, 1.0));
            for (size_t sp = 0; sp < size_t(kSpaces); ++sp)
                for (size_t c = 0; c < 3; ++c)
                    p.replacement[sp][c] = float(s.replacement.rgba[sp][c]);
        }
    }
    void applySpan(float* px, int n, int, int, const RenderState& state) const override {
        const size_t sp = size_t(spaceIndex(state.space));
        const bool linear = state.space == WorkingSpace::LinearSRGB;
        for (int i = 0; i < n; ++i, px += 4) {
            const float a = px[3];
            if (!(a > 0.0f)) continue;
            const float inv = 1.0f / a;
            float straight[3], encoded[3];
            for (int c = 0; c < 3; ++c) {
                straight[c] = px[c] * inv;
                const float v = std::clamp(straight[c], 0.0f, 1.0f);
                encoded[c] = linear ? engine::linearToSrgb(v) : v;
            }
            float out[3] = {straight[0], straight[1], straight[2]};
            for (const Prepared& s : m_spots) {
                const float d =
                    std::sqrt(sq(encoded[0] - s.centre[0]) + sq(encoded[1] - s.centre[1]) +
                              sq(encoded[2] - s.centre[2]));
                const float w = weight(d, s.inner, s.outer);
                for (int c = 0; c < 3; ++c)
                    out[c] += w * (s.replacement[sp][size_t(c)] - out[c]);
            }
            for (int c = 0; c < 3; ++c)
                px[c] = out[c] * a;
        }
    }
    const char* kind() const override { return "spot-color"; }

private:
    struct Prepared {
        float centre[3];
        float inner, outer;
        std::array<std::array<float, 3>, kSpaces> replacement;
    };
    static float sq(float v) { return v * v; }
    // 1 inside `inner`, 0 beyond `outer`, smoothstep between.
    static float weight(float d, float inner, float outer) {
        if (d <= inner) return outer > 0.0f ? 1.0f : 0.0f;
        if (d >= outer) return 0.0f;
        const float t = (outer - d) / (outer - inner);
        return t * t * (3.0f - 2.0f * t);
    }
    std::array<Prepared, 3> m_spots{};
};

CIImage spotColor(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    std::array<SpotColorNode::Spot, 3> spots{};
    for (int i = 0; i < 3; ++i) {
        const QString n = QString::number(i + 1);
        SpotColorNode::Spot& s = spots[size_t(i)];
        const CIColor centre = f.colorForKey("inputCenterColor" + n);
        s.centre[0] = finiteOr(centre.red(), 0.0);
        s.centre[1] = finiteOr(centre.green(), 0.0);
        s.centre[2] = finiteOr(centre.blue(), 0.0);
        s.replacement = workingColor(f.colorForKey("inputReplacementColor" + n));
        s.closeness = std::clamp(finiteOr(f.numberForKey("inputCloseness" + n), 0.0), 0.0, 2.0);
        s.contrast = std::clamp(finiteOr(f.numberForKey("inputContrast" + n), 0.0), 0.0, 1.0);
    }
    return CIImage::imageWithNode(std::make_shared<SpotColorNode>(in.node(), spots));
}

}  // namespace

CIImage colorMap(const CIFilter& f);  // ColorMapFilter.cpp

std::vector<BuiltinDef> colorBuiltins() {
    return {
        {"CIColorMatrix", colorMatrix},
        {"CIColorInvert", colorInvert},
        {"CIColorControls", colorControls},
        {"CIExposureAdjust", exposureAdjust},
        {"CIGammaAdjust", gammaAdjust},
        {"CIHueAdjust", hueAdjust},
        {"CIWhitePointAdjust", whitePointAdjust},
        {"CIColorMonochrome", colorMonochrome},
        {"CIColorPosterize", colorPosterize},
        {"CIFalseColor", falseColor},
        {"CISepiaTone", sepiaTone},
        {"CISpotColor", spotColor},
        {"CIColorMap", colorMap},
        {"CIMaskToAlpha", maskToAlpha},
        {"CIMaximumComponent", component<true>},
        {"CIMinimumComponent", component<false>},
    };
}

}  // namespace cif::builtins
