// Vectorised 8-bit <-> working-space conversion, compiled for every
// instruction set Highway targets and picked at run time. Pixels are
// de-interleaved into channel planes so every lane does useful work. The
// scalar code in ColorSpace.cpp is the reference; these functions produce the
// same bits and hand back the pixels they do not handle.

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/image/ColorConvertSimd.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "platform/image/ColorConvertSimd.h"

HWY_BEFORE_NAMESPACE();
namespace cif::engine::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Decodes every whole vector of pixels: each colour byte indexes, together
// with its alpha byte, a table of premultiplied linear values, so opaque,
// transparent and partial pixels all take the same path. Answers the number
// of pixels done.
int DecodePremultiplied(const uint8_t* src, float* dst, int n, const float* pairTable) {
#if !HWY_NATIVE_FMA
    (void)src, (void)dst, (void)n, (void)pairTable;
    return 0;
#else
    const hn::ScalableTag<float> df;
    const hn::RebindToSigned<decltype(df)> di;
    const hn::Rebind<uint8_t, decltype(di)> du8;
    const int lanes = int(hn::Lanes(df));
    const auto k255 = hn::Set(df, 255.0f), one = hn::Set(df, 1.0f);
    const auto kInv255 = hn::Set(df, kInv255f), kInvLinear = hn::Set(df, kInvLinearScale);
    const auto linearMax = hn::Set(di, kOpaqueDecodeLinearMax + 1);
    const auto opaqueByte = hn::Set(di, 255);
    // Opaque codes: the curve computed, not looked up (gathers are slow).
    auto curve = [&](auto code) {
        const auto c = hn::ConvertTo(df, code);
        const auto t = hn::Mul(c, kInv255);
        auto p = hn::Set(df, kOpaqueDecodePoly[0]);
        for (int k = 1; k < 8; ++k)
            p = hn::MulAdd(p, t, hn::Set(df, kOpaqueDecodePoly[k]));
        p = hn::IfThenElse(hn::RebindMask(df, hn::Eq(code, opaqueByte)), one,
                           p);  // white stays exactly 1
        return hn::IfThenElse(hn::RebindMask(df, hn::Lt(code, linearMax)), hn::Mul(c, kInvLinear),
                              p);
    };
    int done = 0;
    for (; done + lanes <= n; done += lanes) {
        hn::Vec<decltype(du8)> r8, g8, b8, a8;
        hn::LoadInterleaved4(du8, src + size_t(done) * 4, r8, g8, b8, a8);
        const auto a = hn::PromoteTo(di, a8);
        const auto ri = hn::PromoteTo(di, r8), gi = hn::PromoteTo(di, g8),
                   bi = hn::PromoteTo(di, b8);
        if (hn::AllTrue(di, hn::Eq(a, opaqueByte))) {
            hn::StoreInterleaved4(curve(ri), curve(gi), curve(bi), one, df, dst + size_t(done) * 4);
            continue;
        }
        const auto row = hn::ShiftLeft<8>(a);
        const auto r = hn::GatherIndex(df, pairTable, hn::Add(row, ri));
        const auto g = hn::GatherIndex(df, pairTable, hn::Add(row, gi));
        const auto b = hn::GatherIndex(df, pairTable, hn::Add(row, bi));
        const auto af = hn::Div(hn::ConvertTo(df, a), k255);
        hn::StoreInterleaved4(r, g, b, af, df, dst + size_t(done) * 4);
    }
    return done;
#endif
}

// The codes of one channel plane of opaque values, computed (see
// kEncodePoly): the octave's factor comes from a table held in registers.
template <class DF, class DI, class V>
HWY_INLINE hn::Vec<DI> EncodeChannel(DF df, DI di, V raw) {
    const auto zero = hn::Zero(df), one = hn::Set(df, 1.0f);
    // NaN compares false everywhere, so it is sent to 0 first.
    const auto v = hn::Min(hn::Max(hn::IfThenElseZero(hn::Eq(raw, raw), raw), zero), one);
    const auto bits = hn::BitCast(di, v);
    const auto octave = hn::And(hn::ShiftRight<23>(bits), hn::Set(di, 15));
    const auto m =
        hn::BitCast(df, hn::Or(hn::And(bits, hn::Set(di, 0x007FFFFF)), hn::Set(di, 0x3F800000)));
    auto p = hn::Set(df, kEncodePoly[0]);
    for (int k = 1; k < 7; ++k)
        p = hn::MulAdd(p, m, hn::Set(df, kEncodePoly[k]));
    hn::Vec<DF> factor;
    if constexpr (hn::MaxLanes(df) >= 16) {
        factor = hn::TableLookupLanes(hn::LoadU(df, kEncodeOctave), hn::IndicesFromVec(df, octave));
    } else if constexpr (hn::MaxLanes(df) == 8) {
        const auto within = hn::IndicesFromVec(df, hn::And(octave, hn::Set(di, 7)));
        factor = hn::IfThenElse(hn::RebindMask(df, hn::Gt(octave, hn::Set(di, 7))),
                                hn::TableLookupLanes(hn::LoadU(df, kEncodeOctave + 8), within),
                                hn::TableLookupLanes(hn::LoadU(df, kEncodeOctave), within));
    } else {
        factor = hn::GatherIndex(df, kEncodeOctave, octave);
    }
    const auto curve = hn::MulSub(factor, p, hn::Set(df, kEncodeOffset));
    const auto linear = hn::Mul(v, hn::Set(df, kEncodeLinearScale));
    return hn::NearestInt(hn::IfThenElse(hn::Le(v, hn::Set(df, kSrgbLinearMax)), linear, curve));
}

// Rounds non-negative values to the nearest integer, halves up, exactly as
// the scalar encoder does: the truncation and the fraction are exact.
template <class DF, class DI, class V>
HWY_INLINE hn::Vec<DI> RoundHalfUp(DF df, DI di, V v) {
    const auto t = hn::Trunc(v);
    const auto up = hn::Ge(hn::Sub(v, t), hn::Set(df, 0.5f));
    return hn::Add(hn::ConvertTo(di, t),
                   hn::IfThenElseZero(hn::RebindMask(di, up), hn::Set(di, 1)));
}

// One colour channel of partly transparent pixels: unpremultiplied,
// clamped to [0, 1] (NaN to 0), through the sRGB curve (its linear segment,
// or the interpolated table), scaled by the alpha code and rounded, at most
// the alpha code.
template <class DF, class DI, class V>
HWY_INLINE hn::Vec<DI> EncodePartialChannel(DF df, DI di, V c, V a, V af, hn::Vec<DI> a8,
                                            const float* curveTable) {
    const auto zero = hn::Zero(df), one = hn::Set(df, 1.0f);
    const auto q = hn::Div(c, a);
    const auto lin = hn::IfThenElseZero(hn::Eq(q, q), hn::Min(hn::Max(q, zero), one));
    const auto rel = hn::Sub(hn::BitCast(di, hn::Max(lin, hn::Set(df, kSrgbCurveMin))),
                             hn::Set(di, int32_t(kSrgbCurveLowBits)));
    const auto index = hn::ShiftRight<kSrgbCurveShift>(rel);
    const auto frac =
        hn::Mul(hn::ConvertTo(df, hn::And(rel, hn::Set(di, (1 << kSrgbCurveShift) - 1))),
                hn::Set(df, kSrgbCurveFracScale));
    const auto t0 = hn::GatherIndex(df, curveTable, index);
    const auto t1 = hn::GatherIndex(df, curveTable + 1, index);
    const auto curve = hn::Add(t0, hn::Mul(hn::Sub(t1, t0), frac));
    const auto s = hn::IfThenElse(hn::Le(lin, hn::Set(df, kSrgbLinearMax)),
                                  hn::Mul(lin, hn::Set(df, 12.92f)), curve);
    return hn::Min(RoundHalfUp(df, di, hn::Mul(s, af)), a8);
}

// Encodes every whole vector of pixels; answers the number of pixels done.
// Vectors of opaque and fully transparent pixels only (transparent ones
// encode to zero) take the table path alone.
int EncodePremultiplied(const float* src, uint8_t* dst, int n, const float* curveTable) {
#if !HWY_NATIVE_FMA
    (void)src, (void)dst, (void)n, (void)curveTable;
    return 0;
#else
    const hn::ScalableTag<float> df;
    const hn::RebindToSigned<decltype(df)> di;
    const hn::Rebind<uint8_t, decltype(di)> du8;
    const int lanes = int(hn::Lanes(df));
    const auto zero = hn::Zero(df), one = hn::Set(df, 1.0f);
    int done = 0;
    for (; done + lanes <= n; done += lanes) {
        hn::Vec<decltype(df)> r, g, b, a;
        hn::LoadInterleaved4(df, src + size_t(done) * 4, r, g, b, a);
        const auto isOpaque = hn::Ge(a, one);
        const auto isClear = hn::Not(hn::Gt(a, zero));  // also NaN alpha
        const auto clear = hn::RebindMask(di, isClear);
        auto rc = hn::IfThenZeroElse(clear, EncodeChannel(df, di, r));
        auto gc = hn::IfThenZeroElse(clear, EncodeChannel(df, di, g));
        auto bc = hn::IfThenZeroElse(clear, EncodeChannel(df, di, b));
        auto ac = hn::IfThenZeroElse(clear, hn::Set(di, 255));
        const auto partialF = hn::Not(hn::Or(isOpaque, isClear));
        if (!hn::AllFalse(df, partialF)) {
            const auto partial = hn::RebindMask(di, partialF);
            const auto a8 = RoundHalfUp(df, di, hn::Mul(a, hn::Set(df, 255.0f)));
            const auto af = hn::ConvertTo(df, a8);
            rc =
                hn::IfThenElse(partial, EncodePartialChannel(df, di, r, a, af, a8, curveTable), rc);
            gc =
                hn::IfThenElse(partial, EncodePartialChannel(df, di, g, a, af, a8, curveTable), gc);
            bc =
                hn::IfThenElse(partial, EncodePartialChannel(df, di, b, a, af, a8, curveTable), bc);
            ac = hn::IfThenElse(partial, a8, ac);
        }
        hn::StoreInterleaved4(hn::DemoteTo(du8, rc), hn::DemoteTo(du8, gc), hn::DemoteTo(du8, bc),
                              hn::DemoteTo(du8, ac), du8, dst + size_t(done) * 4);
    }
    return done;
#endif
}

}  // namespace cif::engine::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace cif::engine {

HWY_EXPORT(DecodePremultiplied);
HWY_EXPORT(EncodePremultiplied);

int decodePremultipliedSimd(const uint8_t* src, float* dst, int n, const float* pairTable) {
    return HWY_DYNAMIC_DISPATCH(DecodePremultiplied)(src, dst, n, pairTable);
}

int encodePremultipliedSimd(const float* src, uint8_t* dst, int n, const float* curveTable) {
    return HWY_DYNAMIC_DISPATCH(EncodePremultiplied)(src, dst, n, curveTable);
}

}  // namespace cif::engine
#endif
