// Compositing built-ins: the image (foreground, "source") over or onto the
// background ("backdrop").
//
// Pixels are premultiplied. The Porter-Duff operators and the per-channel
// minimum, maximum and product work on premultiplied values as they are.
// Blend modes follow the separable and non-separable formulas of the W3C
// compositing model, composited source-over:
//   co = cs (1 - ab) + cb (1 - as) + as ab B(Cb, Cs),   ao = as + ab - as ab
// where cs, cb are premultiplied and Cs, Cb the straight colours. Where the
// product as ab B has a closed premultiplied form (multiply, screen, darken,
// lighten, difference, exclusion) no division happens.

#include <algorithm>
#include <cmath>

#include "platform/builtins/BuiltinFilter.h"
#include "platform/builtins/composite/CompositeSpans.h"
#include "platform/image/Node.h"
#include "platform/image/Pixel4.h"

namespace cif::builtins {

namespace {

using engine::loadPixel;
using engine::Pixel4;
using engine::Rect;
using engine::splat;
using engine::storePixel;

// Which region a result can be non-transparent in.
enum class Extent { Union, Intersection, Foreground, Background };

// Applies Op::combine(foreground, background) to every pixel pair.
template <class Op>
class CompositeNode final : public engine::BinaryPointNode {
public:
    CompositeNode(engine::NodePtr fg, engine::NodePtr bg, const Rect& extent, const char* name)
        : BinaryPointNode(std::move(fg), std::move(bg), extent), m_name(name) {}
    void combineSpan(const float* fg, float* bg, int n) const override {
        for (int i = 0; i < n; ++i, fg += 4, bg += 4)
            storePixel(bg, Op::combine(loadPixel(fg), loadPixel(bg)));
    }
    const char* kind() const override { return m_name; }

private:
    const char* m_name;
};

// The operators that are the same on every lane of a pixel (CompositeSpans.h):
// Porter-Duff in, out and atop, the per-channel maximum, minimum and product,
// and the multiply and screen blend modes, whose as ab B has the closed forms
// cs cb and cs ab + cb as - cs cb.
class LaneCompositeNode final : public engine::BinaryPointNode {
public:
    LaneCompositeNode(engine::NodePtr fg, engine::NodePtr bg, const Rect& extent, LaneOp op,
                      const char* name)
        : BinaryPointNode(std::move(fg), std::move(bg), extent), m_op(op), m_name(name) {}
    void combineSpan(const float* fg, float* bg, int n) const override {
        laneOpSpan(m_op, fg, bg, n);
    }
    const char* kind() const override { return m_name; }

private:
    LaneOp m_op;
    const char* m_name;
};

Rect resultExtent(Extent e, const Rect& fe, const Rect& be) {
    switch (e) {
        case Extent::Union:
            return fe.united(be);
        case Extent::Intersection:
            return fe.intersected(be);
        case Extent::Foreground:
            return fe;
        case Extent::Background:
            return be;
    }
    return fe.united(be);
}

template <LaneOp Op, Extent E>
CIImage laneComposite(const CIFilter& f) {
    static constexpr const char* kNames[] = {
        "multiply",    "screen",  "source-in", "source-out",
        "source-atop", "maximum", "minimum",   "multiply-compositing"};
    const CIImage fg = f.imageForKey(kCIInputImageKey), bg = f.imageForKey("inputBackgroundImage");
    if (fg.isNull() || bg.isNull()) return fg.isNull() ? bg : fg;
    return CIImage::imageWithNode(std::make_shared<LaneCompositeNode>(
        fg.node(), bg.node(), resultExtent(E, fg.node()->extent(), bg.node()->extent()), Op,
        kNames[int(Op)]));
}

template <class Op, Extent E>
CIImage composite(const CIFilter& f) {
    const CIImage fg = f.imageForKey(kCIInputImageKey), bg = f.imageForKey("inputBackgroundImage");
    if (fg.isNull() || bg.isNull()) return fg.isNull() ? bg : fg;
    const Rect extent = resultExtent(E, fg.node()->extent(), bg.node()->extent());
    return CIImage::imageWithNode(
        std::make_shared<CompositeNode<Op>>(fg.node(), bg.node(), extent, Op::kName));
}

Pixel4 alphaOf(Pixel4 p) {
    return splat(p[3]);
}

// The colour channels of c with alpha a.
Pixel4 withAlpha(Pixel4 c, float a) {
    c[3] = a;
    return c;
}

Pixel4 vmin(Pixel4 a, Pixel4 b) {
    return a < b ? a : b;
}
Pixel4 vmax(Pixel4 a, Pixel4 b) {
    return a > b ? a : b;
}

// ---------------------------------------------------------------- Porter-Duff

// Source-over and addition are the engine's own operators.
CIImage sourceOver(const CIFilter& f) {
    const CIImage fg = f.imageForKey(kCIInputImageKey), bg = f.imageForKey("inputBackgroundImage");
    if (fg.isNull() || bg.isNull()) return fg.isNull() ? bg : fg;
    return fg.imageByCompositingOverImage(bg);
}

CIImage addition(const CIFilter& f) {
    const CIImage fg = f.imageForKey(kCIInputImageKey), bg = f.imageForKey("inputBackgroundImage");
    if (fg.isNull() || bg.isNull()) return fg.isNull() ? bg : fg;
    return fg.imageByAddingToImage(bg);
}

// ---------------------------------------------------------------- separable

// The source-over part shared by every blend mode: cs (1 - ab) + cb (1 - as).
// On the alpha lane it gives as + ab - 2 as ab, so adding as ab B with B = 1
// there completes ao = as + ab - as ab.
Pixel4 uncovered(Pixel4 s, Pixel4 b) {
    return s * (1.0f - alphaOf(b)) + b * (1.0f - alphaOf(s));
}

// as ab min(Cs, Cb) = min(cs ab, cb as); on alpha both are as ab.
struct Darken {
    static constexpr const char* kName = "darken";
    static Pixel4 combine(Pixel4 s, Pixel4 b) {
        return uncovered(s, b) + vmin(s * alphaOf(b), b * alphaOf(s));
    }
};
struct Lighten {
    static constexpr const char* kName = "lighten";
    static Pixel4 combine(Pixel4 s, Pixel4 b) {
        return uncovered(s, b) + vmax(s * alphaOf(b), b * alphaOf(s));
    }
};
// as ab |Cs - Cb| = |cs ab - cb as|; alpha is set apart.
struct Difference {
    static constexpr const char* kName = "difference";
    static Pixel4 combine(Pixel4 s, Pixel4 b) {
        const Pixel4 d = s * alphaOf(b) - b * alphaOf(s);
        const Pixel4 o = uncovered(s, b) + vmax(d, -d);
        return withAlpha(o, s[3] + b[3] - s[3] * b[3]);
    }
};
// B = Cs + Cb - 2 Cs Cb gives co = cs + cb - 2 cs cb.
struct Exclusion {
    static constexpr const char* kName = "exclusion";
    static Pixel4 combine(Pixel4 s, Pixel4 b) {
        return withAlpha(s + b - 2.0f * s * b, s[3] + b[3] - s[3] * b[3]);
    }
};

// Blend modes whose B needs straight colours: F::blend(cb, cs) on one channel.
template <class F>
struct Separable {
    static constexpr const char* kName = F::kName;
    static Pixel4 combine(Pixel4 s, Pixel4 b) {
        const float as = s[3], ab = b[3];
        const float is = as > 0.0f ? 1.0f / as : 0.0f, ib = ab > 0.0f ? 1.0f / ab : 0.0f;
        Pixel4 blended = splat(1.0f);
        for (int c = 0; c < 3; ++c)
            blended[c] = F::blend(b[c] * ib, s[c] * is);
        return uncovered(s, b) + (as * ab) * blended;
    }
};

float clamp01(float v) {
    return std::clamp(v, 0.0f, 1.0f);
}
float colorDodge(float cb, float cs) {
    if (cb <= 0.0f) return 0.0f;
    if (cs >= 1.0f) return 1.0f;
    return std::min(1.0f, cb / (1.0f - cs));
}
float colorBurn(float cb, float cs) {
    if (cb >= 1.0f) return 1.0f;
    if (cs <= 0.0f) return 0.0f;
    return 1.0f - std::min(1.0f, (1.0f - cb) / cs);
}
float hardLight(float cb, float cs) {
    return cs <= 0.5f ? 2.0f * cb * cs : 1.0f - 2.0f * (1.0f - cb) * (1.0f - cs);
}

struct OverlayF {
    static constexpr const char* kName = "overlay";
    static float blend(float cb, float cs) { return hardLight(cs, cb); }
};
struct HardLightF {
    static constexpr const char* kName = "hard-light";
    static float blend(float cb, float cs) { return hardLight(cb, cs); }
};
struct SoftLightF {
    static constexpr const char* kName = "soft-light";
    static float blend(float cb, float cs) {
        if (cs <= 0.5f) return cb - (1.0f - 2.0f * cs) * cb * (1.0f - cb);
        const float d =
            cb <= 0.25f ? ((16.0f * cb - 12.0f) * cb + 4.0f) * cb : std::sqrt(std::max(cb, 0.0f));
        return cb + (2.0f * cs - 1.0f) * (d - cb);
    }
};
struct ColorDodgeF {
    static constexpr const char* kName = "color-dodge";
    static float blend(float cb, float cs) { return colorDodge(cb, cs); }
};
struct ColorBurnF {
    static constexpr const char* kName = "color-burn";
    static float blend(float cb, float cs) { return colorBurn(cb, cs); }
};
struct LinearDodgeF {
    static constexpr const char* kName = "linear-dodge";
    static float blend(float cb, float cs) { return clamp01(cb + cs); }
};
struct LinearBurnF {
    static constexpr const char* kName = "linear-burn";
    static float blend(float cb, float cs) { return clamp01(cb + cs - 1.0f); }
};
struct LinearLightF {
    static constexpr const char* kName = "linear-light";
    static float blend(float cb, float cs) { return clamp01(cb + 2.0f * cs - 1.0f); }
};
struct PinLightF {
    static constexpr const char* kName = "pin-light";
    static float blend(float cb, float cs) {
        return cs <= 0.5f ? std::min(cb, 2.0f * cs) : std::max(cb, 2.0f * cs - 1.0f);
    }
};
struct VividLightF {
    static constexpr const char* kName = "vivid-light";
    static float blend(float cb, float cs) {
        return cs <= 0.5f ? colorBurn(cb, 2.0f * cs) : colorDodge(cb, 2.0f * cs - 1.0f);
    }
};
// The foreground taken from the background (Cb - Cs), floored at black.
struct SubtractF {
    static constexpr const char* kName = "subtract";
    static float blend(float cb, float cs) { return std::max(cb - cs, 0.0f); }
};
// The background divided by the foreground (Cb / Cs), at most white; a black
// foreground gives white wherever the background is not black.
struct DivideF {
    static constexpr const char* kName = "divide";
    static float blend(float cb, float cs) {
        if (cs <= 0.0f) return cb > 0.0f ? 1.0f : 0.0f;
        return std::min(cb / cs, 1.0f);
    }
};

// ---------------------------------------------------------------- non-separable

struct Rgb {
    float r, g, b;
};

float lum(const Rgb& c) {
    return 0.3f * c.r + 0.59f * c.g + 0.11f * c.b;
}

// Brings a colour with out-of-range channels back into [0, 1] along the line
// to its grey, keeping its luminance.
Rgb clipColor(Rgb c) {
    const float l = lum(c);
    const float n = std::min({c.r, c.g, c.b}), x = std::max({c.r, c.g, c.b});
    auto scale = [&](float k) {
        c.r = l + (c.r - l) * k;
        c.g = l + (c.g - l) * k;
        c.b = l + (c.b - l) * k;
    };
    if (n < 0.0f && l - n > 0.0f) scale(l / (l - n));
    if (x > 1.0f && x - l > 0.0f) scale((1.0f - l) / (x - l));
    return c;
}

Rgb setLum(Rgb c, float l) {
    const float d = l - lum(c);
    return clipColor({c.r + d, c.g + d, c.b + d});
}

float sat(const Rgb& c) {
    return std::max({c.r, c.g, c.b}) - std::min({c.r, c.g, c.b});
}

// The colour's hue with saturation s: the channels stretched from their
// minimum so the range is s (grey when the colour has no range).
Rgb setSat(const Rgb& c, float s) {
    const float n = std::min({c.r, c.g, c.b}), range = sat(c);
    if (!(range > 0.0f)) return {0.0f, 0.0f, 0.0f};
    const float k = s / range;
    return {(c.r - n) * k, (c.g - n) * k, (c.b - n) * k};
}

template <class F>
struct NonSeparable {
    static constexpr const char* kName = F::kName;
    static Pixel4 combine(Pixel4 s, Pixel4 b) {
        const float as = s[3], ab = b[3];
        const float is = as > 0.0f ? 1.0f / as : 0.0f, ib = ab > 0.0f ? 1.0f / ab : 0.0f;
        const Rgb cs{s[0] * is, s[1] * is, s[2] * is}, cb{b[0] * ib, b[1] * ib, b[2] * ib};
        const Rgb o = F::blend(cb, cs);
        return uncovered(s, b) + (as * ab) * Pixel4{o.r, o.g, o.b, 1.0f};
    }
};

struct HueF {
    static constexpr const char* kName = "hue";
    static Rgb blend(const Rgb& cb, const Rgb& cs) { return setLum(setSat(cs, sat(cb)), lum(cb)); }
};
struct SaturationF {
    static constexpr const char* kName = "saturation";
    static Rgb blend(const Rgb& cb, const Rgb& cs) { return setLum(setSat(cb, sat(cs)), lum(cb)); }
};
struct ColorF {
    static constexpr const char* kName = "color";
    static Rgb blend(const Rgb& cb, const Rgb& cs) { return setLum(cs, lum(cb)); }
};
struct LuminosityF {
    static constexpr const char* kName = "luminosity";
    static Rgb blend(const Rgb& cb, const Rgb& cs) { return setLum(cb, lum(cs)); }
};

}  // namespace

std::vector<BuiltinDef> compositeBuiltins() {
    using E = Extent;
    return {
        {"CISourceOverCompositing", sourceOver},
        {"CIAdditionCompositing", addition},
        {"CISourceInCompositing", laneComposite<LaneOp::SourceIn, E::Intersection>},
        {"CISourceOutCompositing", laneComposite<LaneOp::SourceOut, E::Foreground>},
        {"CISourceAtopCompositing", laneComposite<LaneOp::SourceAtop, E::Background>},
        {"CIMaximumCompositing", laneComposite<LaneOp::Maximum, E::Union>},
        {"CIMinimumCompositing", laneComposite<LaneOp::Minimum, E::Intersection>},
        {"CIMultiplyCompositing", laneComposite<LaneOp::Product, E::Intersection>},
        {"CIMultiplyBlendMode", laneComposite<LaneOp::Multiply, E::Union>},
        {"CIScreenBlendMode", laneComposite<LaneOp::Screen, E::Union>},
        {"CIDarkenBlendMode", composite<Darken, E::Union>},
        {"CILightenBlendMode", composite<Lighten, E::Union>},
        {"CIDifferenceBlendMode", composite<Difference, E::Union>},
        {"CIExclusionBlendMode", composite<Exclusion, E::Union>},
        {"CIOverlayBlendMode", composite<Separable<OverlayF>, E::Union>},
        {"CIHardLightBlendMode", composite<Separable<HardLightF>, E::Union>},
        {"CISoftLightBlendMode", composite<Separable<SoftLightF>, E::Union>},
        {"CIColorDodgeBlendMode", composite<Separable<ColorDodgeF>, E::Union>},
        {"CIColorBurnBlendMode", composite<Separable<ColorBurnF>, E::Union>},
        {"CILinearDodgeBlendMode", composite<Separable<LinearDodgeF>, E::Union>},
        {"CILinearBurnBlendMode", composite<Separable<LinearBurnF>, E::Union>},
        {"CILinearLightBlendMode", composite<Separable<LinearLightF>, E::Union>},
        {"CIPinLightBlendMode", composite<Separable<PinLightF>, E::Union>},
        {"CIVividLightBlendMode", composite<Separable<VividLightF>, E::Union>},
        {"CISubtractBlendMode", composite<Separable<SubtractF>, E::Union>},
        {"CIDivideBlendMode", composite<Separable<DivideF>, E::Union>},
        {"CIHueBlendMode", composite<NonSeparable<HueF>, E::Union>},
        {"CISaturationBlendMode", composite<NonSeparable<SaturationF>, E::Union>},
        {"CIColorBlendMode", composite<NonSeparable<ColorF>, E::Union>},
        {"CILuminosityBlendMode", composite<NonSeparable<LuminosityF>, E::Union>},
    };
}

}  // namespace cif::builtins
