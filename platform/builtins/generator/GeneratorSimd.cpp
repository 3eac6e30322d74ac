// Highway implementations of the spans in GeneratorSimd.h.

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/builtins/generator/GeneratorSimd.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "platform/builtins/generator/GeneratorSimd.h"

HWY_BEFORE_NAMESPACE();
namespace cif::builtins::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Separate multiplies and adds in the scalar twins' order (the build never
// fuses them), so both paths agree bit for bit.
void RadialGradient(float* px, int n, int x, float offX, float dy2, float r0, float k,
                    const float* c0, const float* c1) {
    const hn::ScalableTag<float> d;
    const hn::RebindToSigned<decltype(d)> di;
    const int lanes = int(hn::Lanes(d));
    const auto vOff = hn::Set(d, offX), vDy2 = hn::Set(d, dy2), vR0 = hn::Set(d, r0),
               vK = hn::Set(d, k), zero = hn::Zero(d), one = hn::Set(d, 1.0f);
    const auto a0 = hn::Set(d, c0[0]), a1 = hn::Set(d, c0[1]), a2 = hn::Set(d, c0[2]),
               a3 = hn::Set(d, c0[3]), b0 = hn::Set(d, c1[0]), b1 = hn::Set(d, c1[1]),
               b2 = hn::Set(d, c1[2]), b3 = hn::Set(d, c1[3]);
    auto body = [&](int xi, float* p) {
        const auto dx = hn::Add(hn::ConvertTo(d, hn::Iota(di, xi)), vOff);
        const auto r = hn::Sqrt(hn::Add(hn::Mul(dx, dx), vDy2));
        const auto t = hn::Min(hn::Max(hn::Mul(hn::Sub(r, vR0), vK), zero), one);
        const auto s = hn::Sub(one, t);
        hn::StoreInterleaved4(
            hn::Add(hn::Mul(a0, s), hn::Mul(b0, t)), hn::Add(hn::Mul(a1, s), hn::Mul(b1, t)),
            hn::Add(hn::Mul(a2, s), hn::Mul(b2, t)), hn::Add(hn::Mul(a3, s), hn::Mul(b3, t)), d, p);
    };
    int i = 0;
    for (; i + lanes <= n; i += lanes)
        body(x + i, px + size_t(i) * 4);
    if (i < n) {
        HWY_ALIGN float tail[4 * (HWY_MAX_BYTES / sizeof(float))];
        body(x + i, tail);
        std::memcpy(px + size_t(i) * 4, tail, size_t(n - i) * 4 * sizeof(float));
    }
}

void Dissolve(const float* target, float* source, int n, float t) {
    const hn::ScalableTag<float> d;
    const int lanes = int(hn::Lanes(d));
    const auto vt = hn::Set(d, t), vs = hn::Set(d, 1.0f - t);
    const int total = 4 * n;
    int i = 0;
    for (; i + lanes <= total; i += lanes) {
        const auto mixed =
            hn::Add(hn::Mul(hn::LoadU(d, source + i), vs), hn::Mul(hn::LoadU(d, target + i), vt));
        hn::StoreU(mixed, d, source + i);
    }
    const float s = 1.0f - t;
    for (; i < total; ++i)
        source[i] = source[i] * s + target[i] * t;
}

}  // namespace cif::builtins::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace cif::builtins {

HWY_EXPORT(RadialGradient);
HWY_EXPORT(Dissolve);

void radialGradientSpan(float* px, int n, int x, float offX, float dy2, float r0, float k,
                        const float c0[4], const float c1[4]) {
    HWY_DYNAMIC_DISPATCH(RadialGradient)(px, n, x, offX, dy2, r0, k, c0, c1);
}

void radialGradientSpanScalar(float* px, int n, int x, float offX, float dy2, float r0, float k,
                              const float c0[4], const float c1[4]) {
    for (int i = 0; i < n; ++i, px += 4) {
        const float dx = float(x + i) + offX;
        const float r = std::sqrt(dx * dx + dy2);
        const float t = std::min(std::max((r - r0) * k, 0.0f), 1.0f);
        const float s = 1.0f - t;
        for (int c = 0; c < 4; ++c)
            px[c] = c0[c] * s + c1[c] * t;
    }
}

void dissolveSpan(const float* target, float* source, int n, float t) {
    HWY_DYNAMIC_DISPATCH(Dissolve)(target, source, n, t);
}

void dissolveSpanScalar(const float* target, float* source, int n, float t) {
    const float s = 1.0f - t;
    for (int i = 0; i < 4 * n; ++i)
        source[i] = source[i] * s + target[i] * t;
}

}  // namespace cif::builtins
#endif
