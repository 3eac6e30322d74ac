// Highway implementations of the colour span operations in ColorSpans.h,
// with their scalar twins.

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/builtins/color/ColorSpansSimd.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <cstring>

#include "platform/builtins/color/ColorSpans.h"

// True when the matrix's alpha row is (0, 0, 0, 1).
#ifndef CIF_COLOR_SPANS_ONCE
#define CIF_COLOR_SPANS_ONCE
namespace cif::builtins {
namespace {
bool keepsAlpha(const float* m) {
    return m[12] == 0.0f && m[13] == 0.0f && m[14] == 0.0f && m[15] == 1.0f;
}
}  // namespace
}  // namespace cif::builtins
#endif

HWY_BEFORE_NAMESPACE();
namespace cif::builtins::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Channel planes of whole vectors of pixels, then the tail copied into a
// padded buffer, so every pixel goes through identical arithmetic. When the
// alpha row is (0, 0, 0, 1) alpha is kept as it is and its row skipped.
template <bool KeepAlpha>
void PremulMatrixT(float* px, int n, const float* m) {
    const hn::ScalableTag<float> d;
    using V = hn::Vec<decltype(d)>;
    const V k0 = hn::Set(d, m[0]), k1 = hn::Set(d, m[1]), k2 = hn::Set(d, m[2]),
            k3 = hn::Set(d, m[3]), k4 = hn::Set(d, m[4]), k5 = hn::Set(d, m[5]),
            k6 = hn::Set(d, m[6]), k7 = hn::Set(d, m[7]), k8 = hn::Set(d, m[8]),
            k9 = hn::Set(d, m[9]), k10 = hn::Set(d, m[10]), k11 = hn::Set(d, m[11]),
            k12 = hn::Set(d, m[12]), k13 = hn::Set(d, m[13]), k14 = hn::Set(d, m[14]),
            k15 = hn::Set(d, m[15]);
    // Multiplies and adds kept separate (no fused operations) and in the
    // scalar twin's order, so both give the same bits.
    const auto row = [](V r, V g, V b, V a, V c0, V c1, V c2, V c3) HWY_ATTR {
        V o = hn::Add(hn::Mul(c0, r), hn::Mul(c1, g));
        o = hn::Add(o, hn::Mul(c2, b));
        return hn::Add(o, hn::Mul(c3, a));
    };
    const auto body = [&](float* p) HWY_ATTR {
        V r, g, b, a;
        hn::LoadInterleaved4(d, p, r, g, b, a);
        const V oa = KeepAlpha ? a : row(r, g, b, a, k12, k13, k14, k15);
        hn::StoreInterleaved4(row(r, g, b, a, k0, k1, k2, k3), row(r, g, b, a, k4, k5, k6, k7),
                              row(r, g, b, a, k8, k9, k10, k11), oa, d, p);
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

void PremulMatrix(float* px, int n, const float* m) {
    if (keepsAlpha(m))
        PremulMatrixT<true>(px, n, m);
    else
        PremulMatrixT<false>(px, n, m);
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
    const int rows = keepsAlpha(m) ? 3 : 4;
    for (int i = 0; i < n; ++i, px += 4) {
        float o[4] = {0, 0, 0, px[3]};
        for (int r = 0; r < rows; ++r) {
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
