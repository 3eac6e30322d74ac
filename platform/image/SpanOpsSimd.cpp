// Highway implementations of the span operations in SpanOps.h.

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/image/SpanOpsSimd.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <algorithm>
#include <cstring>

#include "platform/image/SpanOps.h"

HWY_BEFORE_NAMESPACE();
namespace cif::engine::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Runs body(pointer) over whole vectors of pixels, then over the tail copied
// into a padded buffer, so every pixel goes through identical arithmetic.
template <class D, class Body>
HWY_INLINE void ForEachVector(D d, float* px, int n, const Body& body) {
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

void ColorMatrix(float* px, int n, const float* m, const float* bias) {
    const hn::ScalableTag<float> d;
    const auto zero = hn::Zero(d), one = hn::Set(d, 1.0f);
    ForEachVector(d, px, n, [&](float* p) {
        hn::Vec<decltype(d)> r, g, b, a;
        hn::LoadInterleaved4(d, p, r, g, b, a);
        const auto inv = hn::IfThenElseZero(hn::Gt(a, zero), hn::Div(one, a));
        const auto sr = hn::Mul(r, inv), sg = hn::Mul(g, inv), sb = hn::Mul(b, inv);
        // Separate multiplies and adds (no fused operations) in the same order
        // as the scalar reference, so both give the same bits.
        auto row = [&](int k) {
            auto o = hn::Add(hn::Mul(hn::Set(d, m[4 * k + 0]), sr),
                             hn::Mul(hn::Set(d, m[4 * k + 1]), sg));
            o = hn::Add(o, hn::Mul(hn::Set(d, m[4 * k + 2]), sb));
            o = hn::Add(o, hn::Mul(hn::Set(d, m[4 * k + 3]), a));
            return hn::Add(o, hn::Set(d, bias[k]));
        };
        // Alpha clamped to [0, 1] with NaN sent to 0: Max and Min leave NaN
        // to the target, so the comparison decides.
        const auto ra = row(3);
        const auto oa = hn::IfThenElseZero(hn::Gt(ra, zero), hn::Min(ra, one));
        hn::StoreInterleaved4(hn::Mul(row(0), oa), hn::Mul(row(1), oa), hn::Mul(row(2), oa), oa, d,
                              p);
    });
}

void SourceOver(const float* fg, float* bg, int n) {
    const hn::ScalableTag<float> d;
    const int lanes = int(hn::Lanes(d));
    const auto one = hn::Set(d, 1.0f);
    auto body = [&](const float* f, float* b) {
        hn::Vec<decltype(d)> fr, fgg, fb, fa, br, bgg, bb, ba;
        hn::LoadInterleaved4(d, f, fr, fgg, fb, fa);
        hn::LoadInterleaved4(d, b, br, bgg, bb, ba);
        const auto k = hn::Sub(one, fa);
        hn::StoreInterleaved4(hn::Add(fr, hn::Mul(br, k)), hn::Add(fgg, hn::Mul(bgg, k)),
                              hn::Add(fb, hn::Mul(bb, k)), hn::Add(fa, hn::Mul(ba, k)), d, b);
    };
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

}  // namespace cif::engine::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace cif::engine {

HWY_EXPORT(ColorMatrix);
HWY_EXPORT(SourceOver);

void colorMatrixSpan(float* px, int n, const float m[16], const float bias[4]) {
    HWY_DYNAMIC_DISPATCH(ColorMatrix)(px, n, m, bias);
}

void sourceOverSpan(const float* fg, float* bg, int n) {
    HWY_DYNAMIC_DISPATCH(SourceOver)(fg, bg, n);
}

void colorMatrixSpanScalar(float* px, int n, const float m[16], const float bias[4]) {
    for (int i = 0; i < n; ++i, px += 4) {
        const float a = px[3];
        const float inv = a > 0.0f ? 1.0f / a : 0.0f;
        const float s[4] = {px[0] * inv, px[1] * inv, px[2] * inv, a};
        float o[4];
        for (int k = 0; k < 4; ++k) {
            float v = m[4 * k + 0] * s[0] + m[4 * k + 1] * s[1];
            v = v + m[4 * k + 2] * s[2];
            v = v + m[4 * k + 3] * s[3];
            o[k] = v + bias[k];
        }
        const float oa = o[3] > 0.0f ? std::min(o[3], 1.0f) : 0.0f;  // NaN becomes 0
        px[0] = o[0] * oa;
        px[1] = o[1] * oa;
        px[2] = o[2] * oa;
        px[3] = oa;
    }
}

void sourceOverSpanScalar(const float* fg, float* bg, int n) {
    for (int i = 0; i < n; ++i, fg += 4, bg += 4) {
        const float k = 1.0f - fg[3];
        for (int c = 0; c < 4; ++c)
            bg[c] = fg[c] + bg[c] * k;
    }
}

}  // namespace cif::engine
#endif
