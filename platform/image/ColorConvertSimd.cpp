// Vectorised 8-bit <-> working-space conversion for runs of opaque pixels,
// compiled for every instruction set Highway targets and picked at run time.
// The scalar code in ColorSpace.cpp is the reference; these functions produce
// the same values and hand back the pixels they do not handle.

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/image/ColorConvertSimd.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "platform/image/ColorConvertSimd.h"

HWY_BEFORE_NAMESPACE();
namespace cif::engine::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR
// One lane cannot hold a pixel: everything goes through the scalar code.
int DecodeOpaque(const uint8_t*, float*, int, const float*) { return 0; }
int EncodeOpaque(const float*, uint8_t*, int, const int32_t*, const float*, uint32_t, int) { return 0; }
#else

// Decodes whole vectors of pixels that are opaque or fully transparent with
// one table gather per channel (alpha 255 decodes to 1.0 through the same
// table; transparent pixels become zero whatever their colour bytes say).
// Answers the number of pixels done; the caller converts the rest.
int DecodeOpaque(const uint8_t* src, float* dst, int n, const float* linearTable) {
    const hn::ScalableTag<float> df;
    const hn::RebindToSigned<decltype(df)> di;
    const hn::Rebind<uint8_t, decltype(di)> du8;
    const int lanes = int(hn::Lanes(df));
    const int pixelsPerVector = lanes / 4;
    if (pixelsPerVector == 0) return 0;
    const auto opaque = hn::Set(di, 255), clear = hn::Zero(di);
    int done = 0;
    for (; done + pixelsPerVector <= n; done += pixelsPerVector) {
        const auto bytes = hn::PromoteTo(di, hn::LoadU(du8, src + size_t(done) * 4));
        const auto alpha = hn::Broadcast<3>(bytes);
        if (!hn::AllTrue(di, hn::Or(hn::Eq(alpha, opaque), hn::Eq(alpha, clear)))) break;
        const auto values = hn::GatherIndex(df, linearTable, bytes);
        hn::StoreU(hn::IfThenZeroElse(hn::RebindMask(df, hn::Eq(alpha, clear)), values), df,
                   dst + size_t(done) * 4);
    }
    return done;
}

// Encodes whole vectors of pixels that are opaque or fully transparent: the
// exponent and top mantissa bits of each value index a table of starting
// codes, and one threshold comparison finishes the rounding exactly as the
// scalar encoder does. Transparent pixels encode to zero.
int EncodeOpaque(const float* src, uint8_t* dst, int n, const int32_t* startTable, const float* thresholds,
                 uint32_t lowBits, int shift) {
    const hn::ScalableTag<float> df;
    const hn::RebindToSigned<decltype(df)> di;
    const hn::Rebind<uint8_t, decltype(di)> du8;
    const int lanes = int(hn::Lanes(df));
    const int pixelsPerVector = lanes / 4;
    if (pixelsPerVector == 0) return 0;
    const auto alphaLane = hn::Eq(hn::And(hn::Iota(di, 0), hn::Set(di, 3)), hn::Set(di, 3));
    const auto zero = hn::Zero(df), one = hn::Set(df, 1.0f);
    const auto low = hn::Set(di, int32_t(lowBits));
    const auto full = hn::Set(di, 255), step = hn::Set(di, 1);
    int done = 0;
    for (; done + pixelsPerVector <= n; done += pixelsPerVector) {
        const auto raw = hn::LoadU(df, src + size_t(done) * 4);
        const auto alpha = hn::Broadcast<3>(raw);
        const auto isOpaque = hn::Ge(alpha, one);
        const auto isClear = hn::Not(hn::Gt(alpha, zero));  // also NaN alpha
        if (!hn::AllTrue(df, hn::Or(isOpaque, isClear))) break;
        // NaN compares false everywhere, so it is sent to 0 first.
        const auto v = hn::Min(hn::Max(hn::IfThenElseZero(hn::Eq(raw, raw), raw), zero), one);
        const auto idx = hn::Max(hn::ShiftRightSame(hn::Sub(hn::BitCast(di, v), low), shift), hn::Zero(di));
        auto code = hn::GatherIndex(di, startTable, idx);
        const auto next = hn::GatherIndex(df, thresholds, hn::Add(code, step));
        code = hn::Add(code, hn::IfThenElseZero(hn::RebindMask(di, hn::Ge(v, next)), step));
        code = hn::IfThenElse(alphaLane, full, code);
        code = hn::IfThenZeroElse(hn::RebindMask(di, isClear), code);
        hn::StoreU(hn::DemoteTo(du8, code), du8, dst + size_t(done) * 4);
    }
    return done;
}

#endif  // HWY_TARGET == HWY_SCALAR

}  // namespace cif::engine::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace cif::engine {

HWY_EXPORT(DecodeOpaque);
HWY_EXPORT(EncodeOpaque);

int decodeOpaqueSimd(const uint8_t* src, float* dst, int n, const float* linearTable) {
    return HWY_DYNAMIC_DISPATCH(DecodeOpaque)(src, dst, n, linearTable);
}

int encodeOpaqueSimd(const float* src, uint8_t* dst, int n, const int32_t* startTable, const float* thresholds,
                     uint32_t lowBits, int shift) {
    return HWY_DYNAMIC_DISPATCH(EncodeOpaque)(src, dst, n, startTable, thresholds, lowBits, shift);
}

}  // namespace cif::engine
#endif
