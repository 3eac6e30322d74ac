// Highway implementations of the colour span operations in ColorSpans.h,
// with their scalar twins.

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/builtins/color/ColorSpansSimd.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <cstring>

#include "platform/builtins/color/ColorSpans.h"

HWY_BEFORE_NAMESPACE();
namespace cif::builtins::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Channel planes of whole vectors of pixels, then the tail copied into a
// padded buffer, so every pixel goes through identical arithmetic.
void PremulMatrix(float* px, int n, const float* m) {
    const hn::ScalableTag<float> d;
    using V = hn::Vec<decltype(d)>;
    V k[16];
    for (int i = 0; i < 16; ++i)
        k[i] = hn::Set(d, m[i]);
    // Multiplies and adds kept separate (no fused operations) and in the
    // scalar twin's order, so both give the same bits.
    auto body = [&](float* p) {
        V r, g, b, a;
        hn::LoadInterleaved4(d, p, r, g, b, a);
        auto row = [&](int j) {
            V o = hn::Add(hn::Mul(k[4 * j], r), hn::Mul(k[4 * j + 1], g));
            o = hn::Add(o, hn::Mul(k[4 * j + 2], b));
            return hn::Add(o, hn::Mul(k[4 * j + 3], a));
        };
        hn::StoreInterleaved4(row(0), row(1), row(2), row(3), d, p);
    };
    const int lanes = int(hn::Lanes(d));
    int i = 0;
    for (; i + lanes <= n; i += lanes)
        body(px + size_t(i) * 4);
    if (i < n) {
        HWY_ALIGN float tail[4 * (HWY_MAX_BYTES / sizeof(float))] = {};
        std::memcpy(tail, px + size_t(i) * 4, size_t(n - i) * 4 * sizeof(float));
        body(tail);
        std::memcpy(px + size_t(i) * 4, tail, size_t(n - i) * 4 * sizeof(float));
    }
}

}  // namespace cif::builtins::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace cif::builtins {

HWY_EXPORT(PremulMatrix);

void premulMatrixSpan(float* px, int n, const float m[16]) {
    HWY_DYNAMIC_DISPATCH(PremulMatrix)(px, n, m);
}

void premulMatrixSpanScalar(float* px, int n, const float m[16]) {
    for (int i = 0; i < n; ++i, px += 4) {
        float o[4];
        for (int r = 0; r < 4; ++r) {
            float v = m[4 * r] * px[0] + m[4 * r + 1] * px[1];
            v = v + m[4 * r + 2] * px[2];
            o[r] = v + m[4 * r + 3] * px[3];
        }
        for (int r = 0; r < 4; ++r)
            px[r] = o[r];
    }
}

}  // namespace cif::builtins
#endif
