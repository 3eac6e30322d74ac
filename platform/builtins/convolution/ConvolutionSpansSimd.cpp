// Highway implementations of the spans in ConvolutionSpans.h, with their
// scalar twins. Every lane goes through the same operations in the same
// order as the scalar code (separate multiplies and adds, no fused
// operations), so both give the same bits.

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/builtins/convolution/ConvolutionSpansSimd.cpp"
// clang-format off
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>
// clang-format on

#include "platform/builtins/convolution/ConvolutionSpans.h"

#ifndef CIF_CONVOLUTION_SPANS_ONCE
#define CIF_CONVOLUTION_SPANS_ONCE
namespace cif::builtins {
namespace {

inline float maxOf(float a, float b) {
    return a > b ? a : b;
}
inline float minOf(float a, float b) {
    return a < b ? a : b;
}

void convolveScalarFrom(const float* const* src, const float* w, int taps, float* out, int from,
                        int n) {
    for (int i = from; i < n; ++i) {
        float acc = 0.0f;
        for (int t = 0; t < taps; ++t)
            acc = acc + w[t] * src[t][i];
        out[i] = acc;
    }
}

template <bool Max>
void shiftScalarFrom(float* p, int from, int n, int shift) {
    for (int i = from; i < n; ++i)
        p[i] = Max ? maxOf(p[i], p[i + shift]) : minOf(p[i], p[i + shift]);
}

template <bool Max>
void twoScalarFrom(float* out, const float* a, const float* b, int from, int n) {
    for (int i = from; i < n; ++i) {
        const float m = Max ? maxOf(a[i], b[i]) : minOf(a[i], b[i]);
        out[i] = Max ? maxOf(out[i], m) : minOf(out[i], m);
    }
}

}  // namespace
}  // namespace cif::builtins
#endif

HWY_BEFORE_NAMESPACE();
namespace cif::builtins::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Four vectors of output per step, so each broadcast weight serves four
// loads; the remainder one vector at a time, then the scalar tail.
void Convolve(const float* const* src, const float* w, int taps, float* out, int n) {
    const hn::ScalableTag<float> d;
    using V = hn::Vec<decltype(d)>;
    const int lanes = int(hn::Lanes(d));
    int i = 0;
    for (; i + 4 * lanes <= n; i += 4 * lanes) {
        V a0 = hn::Zero(d), a1 = hn::Zero(d), a2 = hn::Zero(d), a3 = hn::Zero(d);
        for (int t = 0; t < taps; ++t) {
            const V k = hn::Set(d, w[t]);
            const float* s = src[t] + i;
            a0 = hn::Add(a0, hn::Mul(k, hn::LoadU(d, s)));
            a1 = hn::Add(a1, hn::Mul(k, hn::LoadU(d, s + lanes)));
            a2 = hn::Add(a2, hn::Mul(k, hn::LoadU(d, s + 2 * lanes)));
            a3 = hn::Add(a3, hn::Mul(k, hn::LoadU(d, s + 3 * lanes)));
        }
        hn::StoreU(a0, d, out + i);
        hn::StoreU(a1, d, out + i + lanes);
        hn::StoreU(a2, d, out + i + 2 * lanes);
        hn::StoreU(a3, d, out + i + 3 * lanes);
    }
    for (; i + lanes <= n; i += lanes) {
        V a = hn::Zero(d);
        for (int t = 0; t < taps; ++t)
            a = hn::Add(a, hn::Mul(hn::Set(d, w[t]), hn::LoadU(d, src[t] + i)));
        hn::StoreU(a, d, out + i);
    }
    convolveScalarFrom(src, w, taps, out, i, n);
}

// x86's max and min instructions answer the second operand unless the first
// is strictly greater (smaller): a > b ? a : b, as the scalar twin. Other
// targets, emulated ones included, go through the comparison explicitly.
template <bool Max, class D, class V>
HWY_INLINE V Pick(D, V a, V b) {
#if HWY_ARCH_X86 && HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
    return Max ? hn::Max(a, b) : hn::Min(a, b);
#else
    return Max ? hn::IfThenElse(hn::Gt(a, b), a, b) : hn::IfThenElse(hn::Lt(a, b), a, b);
#endif
}

template <bool Max>
void ShiftT(float* p, int n, int shift) {
    const hn::ScalableTag<float> d;
    const int lanes = int(hn::Lanes(d));
    int i = 0;
    // Each step reads its own lanes and those `shift` further on before
    // writing its own, and later steps read only further on: in place is safe.
    for (; i + lanes <= n; i += lanes)
        hn::StoreU(Pick<Max>(d, hn::LoadU(d, p + i), hn::LoadU(d, p + i + shift)), d, p + i);
    shiftScalarFrom<Max>(p, i, n, shift);
}

template <bool Max>
void TwoT(float* out, const float* a, const float* b, int n) {
    const hn::ScalableTag<float> d;
    const int lanes = int(hn::Lanes(d));
    int i = 0;
    for (; i + lanes <= n; i += lanes) {
        const auto m = Pick<Max>(d, hn::LoadU(d, a + i), hn::LoadU(d, b + i));
        hn::StoreU(Pick<Max>(d, hn::LoadU(d, out + i), m), d, out + i);
    }
    twoScalarFrom<Max>(out, a, b, i, n);
}

void MaxShift(float* p, int n, int shift) {
    ShiftT<true>(p, n, shift);
}
void MinShift(float* p, int n, int shift) {
    ShiftT<false>(p, n, shift);
}
void MaxOfTwo(float* out, const float* a, const float* b, int n) {
    TwoT<true>(out, a, b, n);
}
void MinOfTwo(float* out, const float* a, const float* b, int n) {
    TwoT<false>(out, a, b, n);
}

}  // namespace cif::builtins::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace cif::builtins {

HWY_EXPORT(Convolve);
HWY_EXPORT(MaxShift);
HWY_EXPORT(MinShift);
HWY_EXPORT(MaxOfTwo);
HWY_EXPORT(MinOfTwo);

void convolveSpan(const float* const* src, const float* w, int taps, float* out, int n) {
    HWY_DYNAMIC_DISPATCH(Convolve)(src, w, taps, out, n);
}
void convolveSpanScalar(const float* const* src, const float* w, int taps, float* out, int n) {
    convolveScalarFrom(src, w, taps, out, 0, n);
}
void maxShiftSpan(float* p, int n, int shift) {
    HWY_DYNAMIC_DISPATCH(MaxShift)(p, n, shift);
}
void maxShiftSpanScalar(float* p, int n, int shift) {
    shiftScalarFrom<true>(p, 0, n, shift);
}
void minShiftSpan(float* p, int n, int shift) {
    HWY_DYNAMIC_DISPATCH(MinShift)(p, n, shift);
}
void minShiftSpanScalar(float* p, int n, int shift) {
    shiftScalarFrom<false>(p, 0, n, shift);
}
void maxOfTwoSpan(float* out, const float* a, const float* b, int n) {
    HWY_DYNAMIC_DISPATCH(MaxOfTwo)(out, a, b, n);
}
void maxOfTwoSpanScalar(float* out, const float* a, const float* b, int n) {
    twoScalarFrom<true>(out, a, b, 0, n);
}
void minOfTwoSpan(float* out, const float* a, const float* b, int n) {
    HWY_DYNAMIC_DISPATCH(MinOfTwo)(out, a, b, n);
}
void minOfTwoSpanScalar(float* out, const float* a, const float* b, int n) {
    twoScalarFrom<false>(out, a, b, 0, n);
}

}  // namespace cif::builtins
#endif
