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

// Blend modes whose B needs straight colours (CompositeSpans.h).
class BlendNode final : public engine::BinaryPointNode {
public:
    BlendNode(engine::NodePtr fg, engine::NodePtr bg, BlendOp op, const char* name)
        : BinaryPointNode(std::move(fg), std::move(bg)), m_op(op), m_name(name) {}
    void combineSpan(const float* fg, float* bg, int n) const override {
        blendSpan(m_op, fg, bg, n);
    }
    const char* kind() const override { return m_name; }

private:
    BlendOp m_op;
    const char* m_name;
};

template <BlendOp Op>
CIImage blend(const CIFilter& f) {
    static constexpr const char* kNames[] = {
        "overlay",     "hard-light",   "soft-light", "color-dodge", "color-burn", "linear-dodge",
        "linear-burn", "linear-light", "pin-light",  "vivid-light", "subtract",   "divide",
        "hue",         "saturation",   "color",      "luminosity"};
    const CIImage fg = f.imageForKey(kCIInputImageKey), bg = f.imageForKey("inputBackgroundImage");
    if (fg.isNull() || bg.isNull()) return fg.isNull() ? bg : fg;
    return CIImage::imageWithNode(
        std::make_shared<BlendNode>(fg.node(), bg.node(), Op, kNames[int(Op)]));
}

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
        {"CIOverlayBlendMode", blend<BlendOp::Overlay>},
        {"CIHardLightBlendMode", blend<BlendOp::HardLight>},
        {"CISoftLightBlendMode", blend<BlendOp::SoftLight>},
        {"CIColorDodgeBlendMode", blend<BlendOp::ColorDodge>},
        {"CIColorBurnBlendMode", blend<BlendOp::ColorBurn>},
        {"CILinearDodgeBlendMode", blend<BlendOp::LinearDodge>},
        {"CILinearBurnBlendMode", blend<BlendOp::LinearBurn>},
        {"CILinearLightBlendMode", blend<BlendOp::LinearLight>},
        {"CIPinLightBlendMode", blend<BlendOp::PinLight>},
        {"CIVividLightBlendMode", blend<BlendOp::VividLight>},
        {"CISubtractBlendMode", blend<BlendOp::Subtract>},
        {"CIDivideBlendMode", blend<BlendOp::Divide>},
        {"CIHueBlendMode", blend<BlendOp::Hue>},
        {"CISaturationBlendMode", blend<BlendOp::Saturation>},
        {"CIColorBlendMode", blend<BlendOp::Color>},
        {"CILuminosityBlendMode", blend<BlendOp::Luminosity>},
    };
}

}  // namespace cif::builtins
