// Highway implementations of the compositing operators in CompositeSpans.h,
// with their scalar twins. The vector code follows the scalar code operation
// for operation (no fused multiply-adds, the same association), and both
// branches of every choice are computed and selected, so both give the same
// values.

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/builtins/composite/CompositeSpansSimd.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "platform/builtins/composite/CompositeSpans.h"

// The scalar operators, compiled once: the reference, and the path of
// targets whose vectors are narrower than a pixel.
#ifndef CIF_COMPOSITE_SPANS_SCALAR
#define CIF_COMPOSITE_SPANS_SCALAR
namespace cif::builtins {
namespace {
void laneOpScalar(LaneOp op, const float* fg, float* bg, int n) {
    for (int i = 0; i < n; ++i, fg += 4, bg += 4) {
        const float sa = fg[3], ba = bg[3];
        for (int c = 0; c < 4; ++c) {
            const float s = fg[c], b = bg[c];
            float o = b;
            switch (op) {
                case LaneOp::Multiply:
                    o = (s * (1.0f - ba) + b * (1.0f - sa)) + s * b;
                    break;
                case LaneOp::Screen:
                    o = (s + b) - s * b;
                    break;
                case LaneOp::SourceIn:
                    o = s * ba;
                    break;
                case LaneOp::SourceOut:
                    o = s * (1.0f - ba);
                    break;
                case LaneOp::SourceAtop:
                    o = s * ba + b * (1.0f - sa);
                    break;
                case LaneOp::Maximum:
                    o = std::max(s, b);
                    break;
                case LaneOp::Minimum:
                    o = std::min(s, b);
                    break;
                case LaneOp::Product:
                    o = s * b;
                    break;
            }
            bg[c] = o;
        }
    }
}

// ---- blend modes, one channel: B(cb, cs) on straight values

float clamp01(float v) {
    return std::min(std::max(v, 0.0f), 1.0f);
}
float colorDodge(float cb, float cs) {
    if (cb <= 0.0f) return 0.0f;
    if (cs >= 1.0f) return 1.0f;
    return std::min(cb / (1.0f - cs), 1.0f);
}
float colorBurn(float cb, float cs) {
    if (cb >= 1.0f) return 1.0f;
    if (cs <= 0.0f) return 0.0f;
    return 1.0f - std::min((1.0f - cb) / cs, 1.0f);
}
float hardLight(float cb, float cs) {
    return cs <= 0.5f ? (2.0f * cb) * cs : 1.0f - (2.0f * (1.0f - cb)) * (1.0f - cs);
}
float softLight(float cb, float cs) {
    if (cs <= 0.5f) return cb - ((1.0f - 2.0f * cs) * cb) * (1.0f - cb);
    const float d =
        cb <= 0.25f ? ((16.0f * cb - 12.0f) * cb + 4.0f) * cb : std::sqrt(std::max(cb, 0.0f));
    return cb + (2.0f * cs - 1.0f) * (d - cb);
}

float separable(BlendOp op, float cb, float cs) {
    switch (op) {
        case BlendOp::Overlay:
            return hardLight(cs, cb);
        case BlendOp::HardLight:
            return hardLight(cb, cs);
        case BlendOp::SoftLight:
            return softLight(cb, cs);
        case BlendOp::ColorDodge:
            return colorDodge(cb, cs);
        case BlendOp::ColorBurn:
            return colorBurn(cb, cs);
        case BlendOp::LinearDodge:
            return clamp01(cb + cs);
        case BlendOp::LinearBurn:
            return clamp01((cb + cs) - 1.0f);
        case BlendOp::LinearLight:
            return clamp01((cb + 2.0f * cs) - 1.0f);
        case BlendOp::PinLight:
            return cs <= 0.5f ? std::min(cb, 2.0f * cs) : std::max(cb, 2.0f * cs - 1.0f);
        case BlendOp::VividLight:
            return cs <= 0.5f ? colorBurn(cb, 2.0f * cs) : colorDodge(cb, 2.0f * cs - 1.0f);
        case BlendOp::Subtract:
            return std::max(cb - cs, 0.0f);
        case BlendOp::Divide:
            if (cs <= 0.0f) return cb > 0.0f ? 1.0f : 0.0f;
            return std::min(cb / cs, 1.0f);
        default:
            return cb;
    }
}

// ---- blend modes, whole colour

struct Rgb {
    float r, g, b;
};

float lum(const Rgb& c) {
    return (0.3f * c.r + 0.59f * c.g) + 0.11f * c.b;
}

// Brings a colour with out-of-range channels back into [0, 1] along the line
// to its grey, keeping its luminance (both limits from the colour as given).
Rgb clipColor(Rgb c) {
    const float l = lum(c);
    const float n = std::min(std::min(c.r, c.g), c.b), x = std::max(std::max(c.r, c.g), c.b);
    auto scale = [&](float k) {
        c.r = l + (c.r - l) * k;
        c.g = l + (c.g - l) * k;
        c.b = l + (c.b - l) * k;
    };
    if (n < 0.0f && l - n > 0.0f) scale(l / (l - n));
    if (x > 1.0f && x - l > 0.0f) scale((1.0f - l) / (x - l));
    return c;
}

Rgb setLum(const Rgb& c, float l) {
    const float d = l - lum(c);
    return clipColor({c.r + d, c.g + d, c.b + d});
}

float sat(const Rgb& c) {
    return std::max(std::max(c.r, c.g), c.b) - std::min(std::min(c.r, c.g), c.b);
}

// The colour's hue with saturation s: the channels stretched from their
// minimum so the range is s (black when the colour has no range).
Rgb setSat(const Rgb& c, float s) {
    const float n = std::min(std::min(c.r, c.g), c.b), range = sat(c);
    if (!(range > 0.0f)) return {0.0f, 0.0f, 0.0f};
    const float k = s / range;
    return {(c.r - n) * k, (c.g - n) * k, (c.b - n) * k};
}

Rgb nonSeparable(BlendOp op, const Rgb& cb, const Rgb& cs) {
    switch (op) {
        case BlendOp::Hue:
            return setLum(setSat(cs, sat(cb)), lum(cb));
        case BlendOp::Saturation:
            return setLum(setSat(cb, sat(cs)), lum(cb));
        case BlendOp::Color:
            return setLum(cs, lum(cb));
        default:
            return setLum(cb, lum(cs));  // luminosity
    }
}

void blendScalar(BlendOp op, const float* fg, float* bg, int n) {
    for (int i = 0; i < n; ++i, fg += 4, bg += 4) {
        const float as = fg[3], ab = bg[3];
        const float is = as > 0.0f ? 1.0f / as : 0.0f, ib = ab > 0.0f ? 1.0f / ab : 0.0f;
        float blended[4] = {0.0f, 0.0f, 0.0f, 1.0f};
        if (op >= BlendOp::Hue) {
            const Rgb o = nonSeparable(op, {bg[0] * ib, bg[1] * ib, bg[2] * ib},
                                       {fg[0] * is, fg[1] * is, fg[2] * is});
            blended[0] = o.r;
            blended[1] = o.g;
            blended[2] = o.b;
        } else {
            for (int c = 0; c < 3; ++c)
                blended[c] = separable(op, bg[c] * ib, fg[c] * is);
        }
        const float k = as * ab;
        for (int c = 0; c < 4; ++c)
            bg[c] = (fg[c] * (1.0f - ab) + bg[c] * (1.0f - as)) + k * blended[c];
    }
}

}  // namespace
}  // namespace cif::builtins
#endif

HWY_BEFORE_NAMESPACE();
namespace cif::builtins::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// One operator on vectors holding whole pixels; sa and ba hold each pixel's
// alpha on all four of its lanes. Multiplies and adds stay separate and in
// the scalar twin's order, so both give the same bits.
template <LaneOp Op, class V>
HWY_INLINE V Combine(V s, V b, V sa, V ba, V one) {
    switch (Op) {
        case LaneOp::Multiply:
            return hn::Add(hn::Add(hn::Mul(s, hn::Sub(one, ba)), hn::Mul(b, hn::Sub(one, sa))),
                           hn::Mul(s, b));
        case LaneOp::Screen:
            return hn::Sub(hn::Add(s, b), hn::Mul(s, b));
        case LaneOp::SourceIn:
            return hn::Mul(s, ba);
        case LaneOp::SourceOut:
            return hn::Mul(s, hn::Sub(one, ba));
        case LaneOp::SourceAtop:
            return hn::Add(hn::Mul(s, ba), hn::Mul(b, hn::Sub(one, sa)));
        case LaneOp::Maximum:
            return hn::Max(s, b);
        case LaneOp::Minimum:
            return hn::Min(s, b);
        case LaneOp::Product:
            return hn::Mul(s, b);
    }
    return b;
}

template <LaneOp Op>
void Run(const float* fg, float* bg, int n) {
#if HWY_TARGET == HWY_SCALAR
    laneOpScalar(Op, fg, bg, n);  // one lane cannot hold a pixel
#else
    const hn::ScalableTag<float> d;
    const auto one = hn::Set(d, 1.0f);
    auto body = [&](const float* f, float* b) {
        const auto s = hn::LoadU(d, f), bv = hn::LoadU(d, b);
        hn::StoreU(Combine<Op>(s, bv, hn::Broadcast<3>(s), hn::Broadcast<3>(bv), one), d, b);
    };
    const int floats = 4 * n, lanes = int(hn::Lanes(d));
    int i = 0;
    for (; i + lanes <= floats; i += lanes)
        body(fg + i, bg + i);
    if (i < floats) {
        HWY_ALIGN float tf[HWY_MAX_BYTES / sizeof(float)] = {};
        HWY_ALIGN float tb[HWY_MAX_BYTES / sizeof(float)] = {};
        const size_t bytes = size_t(floats - i) * sizeof(float);
        std::memcpy(tf, fg + i, bytes);
        std::memcpy(tb, bg + i, bytes);
        body(tf, tb);
        std::memcpy(bg + i, tb, bytes);
    }
#endif
}

void LaneOpSpan(LaneOp op, const float* fg, float* bg, int n) {
    switch (op) {
        case LaneOp::Multiply:
            return Run<LaneOp::Multiply>(fg, bg, n);
        case LaneOp::Screen:
            return Run<LaneOp::Screen>(fg, bg, n);
        case LaneOp::SourceIn:
            return Run<LaneOp::SourceIn>(fg, bg, n);
        case LaneOp::SourceOut:
            return Run<LaneOp::SourceOut>(fg, bg, n);
        case LaneOp::SourceAtop:
            return Run<LaneOp::SourceAtop>(fg, bg, n);
        case LaneOp::Maximum:
            return Run<LaneOp::Maximum>(fg, bg, n);
        case LaneOp::Minimum:
            return Run<LaneOp::Minimum>(fg, bg, n);
        case LaneOp::Product:
            return Run<LaneOp::Product>(fg, bg, n);
    }
}

// ---- blend modes on channel planes

template <class D>
struct BlendKit {
    using V = hn::Vec<D>;
    D d;
    V zero, one, half, two;
    // Written out with the target's attributes; an implicit constructor
    // would be compiled without them.
    HWY_ATTR BlendKit()
        : zero(hn::Zero(D())),
          one(hn::Set(D(), 1.0f)),
          half(hn::Set(D(), 0.5f)),
          two(hn::Set(D(), 2.0f)) {}

    V Clamp01(V v) const { return hn::Min(hn::Max(v, zero), one); }
    V ColorDodge(V cb, V cs) const {
        V r = hn::Min(hn::Div(cb, hn::Sub(one, cs)), one);
        r = hn::IfThenElse(hn::Ge(cs, one), one, r);
        return hn::IfThenElse(hn::Le(cb, zero), zero, r);
    }
    V ColorBurn(V cb, V cs) const {
        V r = hn::Sub(one, hn::Min(hn::Div(hn::Sub(one, cb), cs), one));
        r = hn::IfThenElse(hn::Le(cs, zero), zero, r);
        return hn::IfThenElse(hn::Ge(cb, one), one, r);
    }
    V HardLight(V cb, V cs) const {
        const V lo = hn::Mul(hn::Mul(two, cb), cs);
        const V hi = hn::Sub(one, hn::Mul(hn::Mul(two, hn::Sub(one, cb)), hn::Sub(one, cs)));
        return hn::IfThenElse(hn::Le(cs, half), lo, hi);
    }
    V SoftLight(V cb, V cs) const {
        const V lo =
            hn::Sub(cb, hn::Mul(hn::Mul(hn::Sub(one, hn::Mul(two, cs)), cb), hn::Sub(one, cb)));
        const V poly =
            hn::Mul(hn::Add(hn::Mul(hn::Sub(hn::Mul(hn::Set(d, 16.0f), cb), hn::Set(d, 12.0f)), cb),
                            hn::Set(d, 4.0f)),
                    cb);
        const V dd =
            hn::IfThenElse(hn::Le(cb, hn::Set(d, 0.25f)), poly, hn::Sqrt(hn::Max(cb, zero)));
        const V hi = hn::Add(cb, hn::Mul(hn::Sub(hn::Mul(two, cs), one), hn::Sub(dd, cb)));
        return hn::IfThenElse(hn::Le(cs, half), lo, hi);
    }

    V Separable(BlendOp op, V cb, V cs) const {
        switch (op) {
            case BlendOp::Overlay:
                return HardLight(cs, cb);
            case BlendOp::HardLight:
                return HardLight(cb, cs);
            case BlendOp::SoftLight:
                return SoftLight(cb, cs);
            case BlendOp::ColorDodge:
                return ColorDodge(cb, cs);
            case BlendOp::ColorBurn:
                return ColorBurn(cb, cs);
            case BlendOp::LinearDodge:
                return Clamp01(hn::Add(cb, cs));
            case BlendOp::LinearBurn:
                return Clamp01(hn::Sub(hn::Add(cb, cs), one));
            case BlendOp::LinearLight:
                return Clamp01(hn::Sub(hn::Add(cb, hn::Mul(two, cs)), one));
            case BlendOp::PinLight:
                return hn::IfThenElse(hn::Le(cs, half), hn::Min(cb, hn::Mul(two, cs)),
                                      hn::Max(cb, hn::Sub(hn::Mul(two, cs), one)));
            case BlendOp::VividLight:
                return hn::IfThenElse(hn::Le(cs, half), ColorBurn(cb, hn::Mul(two, cs)),
                                      ColorDodge(cb, hn::Sub(hn::Mul(two, cs), one)));
            case BlendOp::Subtract:
                return hn::Max(hn::Sub(cb, cs), zero);
            case BlendOp::Divide: {
                const V q = hn::Min(hn::Div(cb, cs), one);
                const V black = hn::IfThenElseZero(hn::Gt(cb, zero), one);
                return hn::IfThenElse(hn::Le(cs, zero), black, q);
            }
            default:
                return cb;
        }
    }

    struct Rgb {
        V r, g, b;
    };
    V Lum(const Rgb& c) const {
        return hn::Add(hn::Add(hn::Mul(hn::Set(d, 0.3f), c.r), hn::Mul(hn::Set(d, 0.59f), c.g)),
                       hn::Mul(hn::Set(d, 0.11f), c.b));
    }
    V Min3(const Rgb& c) const { return hn::Min(hn::Min(c.r, c.g), c.b); }
    V Max3(const Rgb& c) const { return hn::Max(hn::Max(c.r, c.g), c.b); }
    Rgb Scale(const Rgb& c, V l, V k) const {
        return {hn::Add(l, hn::Mul(hn::Sub(c.r, l), k)), hn::Add(l, hn::Mul(hn::Sub(c.g, l), k)),
                hn::Add(l, hn::Mul(hn::Sub(c.b, l), k))};
    }
    Rgb Select(hn::Mask<D> m, const Rgb& a, const Rgb& b) const {
        return {hn::IfThenElse(m, a.r, b.r), hn::IfThenElse(m, a.g, b.g),
                hn::IfThenElse(m, a.b, b.b)};
    }
    Rgb ClipColor(Rgb c) const {
        const V l = Lum(c), n = Min3(c), x = Max3(c);
        const auto low = hn::And(hn::Lt(n, zero), hn::Gt(hn::Sub(l, n), zero));
        c = Select(low, Scale(c, l, hn::Div(l, hn::Sub(l, n))), c);
        const auto high = hn::And(hn::Gt(x, one), hn::Gt(hn::Sub(x, l), zero));
        return Select(high, Scale(c, l, hn::Div(hn::Sub(one, l), hn::Sub(x, l))), c);
    }
    Rgb SetLum(const Rgb& c, V l) const {
        const V dl = hn::Sub(l, Lum(c));
        return ClipColor({hn::Add(c.r, dl), hn::Add(c.g, dl), hn::Add(c.b, dl)});
    }
    V Sat(const Rgb& c) const { return hn::Sub(Max3(c), Min3(c)); }
    Rgb SetSat(const Rgb& c, V s) const {
        const V n = Min3(c), range = Sat(c);
        const V k = hn::Div(s, range);
        const auto some = hn::Gt(range, zero);
        return {hn::IfThenElseZero(some, hn::Mul(hn::Sub(c.r, n), k)),
                hn::IfThenElseZero(some, hn::Mul(hn::Sub(c.g, n), k)),
                hn::IfThenElseZero(some, hn::Mul(hn::Sub(c.b, n), k))};
    }
    Rgb NonSeparable(BlendOp op, const Rgb& cb, const Rgb& cs) const {
        switch (op) {
            case BlendOp::Hue:
                return SetLum(SetSat(cs, Sat(cb)), Lum(cb));
            case BlendOp::Saturation:
                return SetLum(SetSat(cb, Sat(cs)), Lum(cb));
            case BlendOp::Color:
                return SetLum(cs, Lum(cb));
            default:
                return SetLum(cb, Lum(cs));
        }
    }
};

template <BlendOp Op>
void RunBlend(const float* fg, float* bg, int n) {
    const hn::ScalableTag<float> d;
    using V = hn::Vec<decltype(d)>;
    const BlendKit<decltype(d)> kit;
    const V zero = kit.zero, one = kit.one;
    auto body = [&](const float* f, float* b) HWY_ATTR {
        V sr, sg, sb, sa, br, bgc, bb, ba;
        hn::LoadInterleaved4(d, f, sr, sg, sb, sa);
        hn::LoadInterleaved4(d, b, br, bgc, bb, ba);
        const V is = hn::IfThenElseZero(hn::Gt(sa, zero), hn::Div(one, sa));
        const V ib = hn::IfThenElseZero(hn::Gt(ba, zero), hn::Div(one, ba));
        V xr, xg, xb;
        if constexpr (Op >= BlendOp::Hue) {
            const auto o =
                kit.NonSeparable(Op, {hn::Mul(br, ib), hn::Mul(bgc, ib), hn::Mul(bb, ib)},
                                 {hn::Mul(sr, is), hn::Mul(sg, is), hn::Mul(sb, is)});
            xr = o.r;
            xg = o.g;
            xb = o.b;
        } else {
            xr = kit.Separable(Op, hn::Mul(br, ib), hn::Mul(sr, is));
            xg = kit.Separable(Op, hn::Mul(bgc, ib), hn::Mul(sg, is));
            xb = kit.Separable(Op, hn::Mul(bb, ib), hn::Mul(sb, is));
        }
        const V k = hn::Mul(sa, ba), ns = hn::Sub(one, sa), nb = hn::Sub(one, ba);
        auto mix = [&](V s, V bv, V x) HWY_ATTR {
            return hn::Add(hn::Add(hn::Mul(s, nb), hn::Mul(bv, ns)), hn::Mul(k, x));
        };
        hn::StoreInterleaved4(mix(sr, br, xr), mix(sg, bgc, xg), mix(sb, bb, xb), mix(sa, ba, one),
                              d, b);
    };
    const int lanes = int(hn::Lanes(d));
    int i = 0;
    for (; i + lanes <= n; i += lanes)
        body(fg + size_t(i) * 4, bg + size_t(i) * 4);
    if (i < n) {
        HWY_ALIGN float tf[4 * (HWY_MAX_BYTES / sizeof(float))] = {};
        HWY_ALIGN float tb[4 * (HWY_MAX_BYTES / sizeof(float))] = {};
        const size_t bytes = size_t(n - i) * 4 * sizeof(float);
        std::memcpy(tf, fg + size_t(i) * 4, bytes);
        std::memcpy(tb, bg + size_t(i) * 4, bytes);
        body(tf, tb);
        std::memcpy(bg + size_t(i) * 4, tb, bytes);
    }
}

void BlendSpan(BlendOp op, const float* fg, float* bg, int n) {
    switch (op) {
#define CIF_BLEND_CASE(name) \
    case BlendOp::name:      \
        return RunBlend<BlendOp::name>(fg, bg, n);
        CIF_BLEND_CASE(Overlay)
        CIF_BLEND_CASE(HardLight)
        CIF_BLEND_CASE(SoftLight)
        CIF_BLEND_CASE(ColorDodge)
        CIF_BLEND_CASE(ColorBurn)
        CIF_BLEND_CASE(LinearDodge)
        CIF_BLEND_CASE(LinearBurn)
        CIF_BLEND_CASE(LinearLight)
        CIF_BLEND_CASE(PinLight)
        CIF_BLEND_CASE(VividLight)
        CIF_BLEND_CASE(Subtract)
        CIF_BLEND_CASE(Divide)
        CIF_BLEND_CASE(Hue)
        CIF_BLEND_CASE(Saturation)
        CIF_BLEND_CASE(Color)
        CIF_BLEND_CASE(Luminosity)
#undef CIF_BLEND_CASE
    }
}

}  // namespace cif::builtins::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace cif::builtins {

HWY_EXPORT(LaneOpSpan);
HWY_EXPORT(BlendSpan);

void blendSpan(BlendOp op, const float* fg, float* bg, int n) {
    HWY_DYNAMIC_DISPATCH(BlendSpan)(op, fg, bg, n);
}

void blendSpanScalar(BlendOp op, const float* fg, float* bg, int n) {
    blendScalar(op, fg, bg, n);
}

void laneOpSpan(LaneOp op, const float* fg, float* bg, int n) {
    HWY_DYNAMIC_DISPATCH(LaneOpSpan)(op, fg, bg, n);
}

void laneOpSpanScalar(LaneOp op, const float* fg, float* bg, int n) {
    laneOpScalar(op, fg, bg, n);
}

}  // namespace cif::builtins
#endif
