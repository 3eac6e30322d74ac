// The vector twin of KernelMath.h, for code compiled once per Highway target
// (include it after hwy/highway.h, inside a HWY_TARGET_INCLUDE file, outside
// any namespace). SinCosSpan gives the same bits as kernelSin / kernelCos for
// every lane: the in-range arithmetic is trig::reduced step for step, and any
// vector with a lane out of range (or NaN) is computed lane by lane with the
// scalar functions.

// Per-target include guard (Highway's convention for -inl.h headers).
#if defined(CIF_PLATFORM_KERNEL_KERNELMATH_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef CIF_PLATFORM_KERNEL_KERNELMATH_INL_H_
#undef CIF_PLATFORM_KERNEL_KERNELMATH_INL_H_
#else
#define CIF_PLATFORM_KERNEL_KERNELMATH_INL_H_
#endif

#include <hwy/highway.h>

#include <cstddef>

#include "platform/kernel/KernelMath.h"

HWY_BEFORE_NAMESPACE();
namespace cif::kernel::HWY_NAMESPACE {

// trig::reduced on a vector whose lanes all satisfy |x| <= kTrigReducedLimit.
// Separate Mul and Add (never MulAdd) in the scalar code's order.
template <bool kCosine, class D>
HWY_INLINE hwy::HWY_NAMESPACE::Vec<D> TrigReduced(D d, hwy::HWY_NAMESPACE::Vec<D> x) {
    namespace hn = hwy::HWY_NAMESPACE;
    using V = hn::Vec<D>;
    const hn::RebindToUnsigned<D> du;
    const auto set = [d](float v) { return hn::Set(d, v); };
    const V ax = hn::Abs(x);
    const V magic = set(trig::kRoundMagic);
    const V t = hn::Add(hn::Mul(ax, set(trig::kTwoOverPi)), magic);
    const V q = hn::Sub(t, magic);
    auto j = hn::BitCast(du, t);
    if constexpr (kCosine) j = hn::Add(j, hn::Set(du, 1u));
    const V t2 = hn::Sub(hn::Sub(ax, hn::Mul(q, set(trig::kPiOver2Part1))),
                         hn::Mul(q, set(trig::kPiOver2Part2)));
    const V a3 = hn::Mul(q, set(trig::kPiOver2Part3));
    const V t3 = hn::Sub(t2, a3);
    const V b3 = hn::Sub(t3, t2);
    const V e3 = hn::Sub(hn::Sub(t2, hn::Sub(t3, b3)), hn::Add(a3, b3));
    const V w = hn::Sub(hn::Mul(q, set(trig::kPiOver2Part4)), e3);
    const V r = hn::Sub(t3, w);
    const V b4 = hn::Sub(r, t3);
    const V rl = hn::Sub(hn::Sub(t3, hn::Sub(r, b4)), hn::Add(w, b4));
    const V z = hn::Mul(r, r);
    const V ps = hn::Add(hn::Mul(hn::Add(hn::Mul(set(trig::kSin3), z), set(trig::kSin2)), z),
                         set(trig::kSin1));
    const V s = hn::Add(hn::Add(hn::Mul(hn::Mul(ps, z), r), rl), r);
    const V pc = hn::Add(hn::Mul(hn::Add(hn::Mul(set(trig::kCos3), z), set(trig::kCos2)), z),
                         set(trig::kCos1));
    const V c =
        hn::Add(hn::Sub(hn::Sub(hn::Mul(hn::Mul(pc, z), z), hn::Mul(r, rl)), hn::Mul(set(0.5f), z)),
                set(1.0f));
    const auto one = hn::Set(du, 1u);
    const auto other = hn::RebindMask(d, hn::Eq(hn::And(j, one), one));
    auto sign = hn::ShiftLeft<30>(hn::And(j, hn::Set(du, 2u)));
    if constexpr (!kCosine)
        sign = hn::Xor(sign, hn::And(hn::BitCast(du, x), hn::Set(du, trig::kSignBit)));
    return hn::BitCast(d, hn::Xor(hn::BitCast(du, hn::IfThenElse(other, c, s)), sign));
}

// out[i] = kernelSin(in[i]) (kernelCos with kCosine) for i < n; n must be a
// multiple of the vector length, in and out aligned. out may be in.
template <bool kCosine>
HWY_INLINE void SinCosSpan(const float* in, float* out, size_t n) {
    namespace hn = hwy::HWY_NAMESPACE;
    const hn::ScalableTag<float> d;
    const size_t lanes = hn::Lanes(d);
    const auto limit = hn::Set(d, kTrigReducedLimit);
    for (size_t i = 0; i < n; i += lanes) {
        const auto x = hn::Load(d, in + i);
        // NaN fails the comparison, so it goes lane by lane too.
        if (hn::AllTrue(d, hn::Le(hn::Abs(x), limit))) {
            hn::Store(TrigReduced<kCosine>(d, x), d, out + i);
        } else {
            for (size_t k = i; k < i + lanes; ++k)
                out[k] = kCosine ? kernelCos(in[k]) : kernelSin(in[k]);
        }
    }
}

}  // namespace cif::kernel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // per-target include guard
