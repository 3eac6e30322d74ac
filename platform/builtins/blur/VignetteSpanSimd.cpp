// Highway implementation of the span in VignetteSpan.h.

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/builtins/blur/VignetteSpanSimd.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "platform/builtins/blur/VignetteSpan.h"

HWY_BEFORE_NAMESPACE();
namespace cif::builtins::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Separate multiplies and adds in the scalar twin's order (the build never
// fuses them), so both paths agree bit for bit.
void Vignette(float* px, int n, int x, float offX, float dy2, float r0, float k, float intensity) {
    const hn::ScalableTag<float> d;
    const hn::RebindToSigned<decltype(d)> di;
    const int lanes = int(hn::Lanes(d));
    const auto vOff = hn::Set(d, offX), vDy2 = hn::Set(d, dy2), vR0 = hn::Set(d, r0),
               vK = hn::Set(d, k), vI = hn::Set(d, intensity), zero = hn::Zero(d),
               one = hn::Set(d, 1.0f), two = hn::Set(d, 2.0f), three = hn::Set(d, 3.0f);
    auto body = [&](int xi, float* p) {
        const auto dx = hn::Add(hn::ConvertTo(d, hn::Iota(di, xi)), vOff);
        const auto r = hn::Sqrt(hn::Add(hn::Mul(dx, dx), vDy2));
        const auto t = hn::Min(hn::Max(hn::Mul(hn::Sub(r, vR0), vK), zero), one);
        const auto s = hn::Mul(hn::Mul(t, t), hn::Sub(three, hn::Mul(two, t)));
        const auto f = hn::Sub(one, hn::Mul(vI, s));
        hn::Vec<decltype(d)> c0, c1, c2, a;
        hn::LoadInterleaved4(d, p, c0, c1, c2, a);
        hn::StoreInterleaved4(hn::Mul(c0, f), hn::Mul(c1, f), hn::Mul(c2, f), a, d, p);
    };
    int i = 0;
    for (; i + lanes <= n; i += lanes)
        body(x + i, px + size_t(i) * 4);
    if (i < n) {
        HWY_ALIGN float tail[4 * (HWY_MAX_BYTES / sizeof(float))] = {};
        std::memcpy(tail, px + size_t(i) * 4, size_t(n - i) * 4 * sizeof(float));
        body(x + i, tail);
        std::memcpy(px + size_t(i) * 4, tail, size_t(n - i) * 4 * sizeof(float));
    }
}

}  // namespace cif::builtins::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace cif::builtins {

HWY_EXPORT(Vignette);

void vignetteSpan(float* px, int n, int x, float offX, float dy2, float r0, float k,
                  float intensity) {
    HWY_DYNAMIC_DISPATCH(Vignette)(px, n, x, offX, dy2, r0, k, intensity);
}

void vignetteSpanScalar(float* px, int n, int x, float offX, float dy2, float r0, float k,
                        float intensity) {
    for (int i = 0; i < n; ++i, px += 4) {
        const float dx = float(x + i) + offX;
        const float r = std::sqrt(dx * dx + dy2);
        const float t = std::min(std::max((r - r0) * k, 0.0f), 1.0f);
        const float s = (t * t) * (3.0f - 2.0f * t);
        const float f = 1.0f - intensity * s;
        px[0] *= f;
        px[1] *= f;
        px[2] *= f;
    }
}

}  // namespace cif::builtins
#endif
