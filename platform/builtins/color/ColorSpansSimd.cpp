// Highway implementations of the colour span operations in ColorSpans.h,
// with their scalar twins.

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/builtins/color/ColorSpansSimd.cpp"
// clang-format off
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>
// After highway.h, which sets up each target the file is compiled for.
#include <hwy/contrib/math/math-inl.h>
// clang-format on

#include <cmath>
#include <cstring>

#include "platform/builtins/color/ColorSpans.h"

// Compiled once: the scalar reference, also the path of targets whose
// vectors are narrower than a pixel.
#ifndef CIF_COLOR_SPANS_ONCE
#define CIF_COLOR_SPANS_ONCE
namespace cif::builtins {
namespace {

// True when the matrix's alpha row is (0, 0, 0, 1).
bool keepsAlpha(const float* m) {
    return m[12] == 0.0f && m[13] == 0.0f && m[14] == 0.0f && m[15] == 1.0f;
}

void premulMatrixScalar(float* px, int n, const float* m) {
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

void gammaScalar(float* px, int n, float power) {
    for (int i = 0; i < n; ++i, px += 4) {
        const float a = px[3];
        if (!(a > 0.0f)) continue;
        const float inv = 1.0f / a;
        for (int c = 0; c < 3; ++c) {
            const float s = px[c] * inv;
            const float m = std::abs(s);
            const float p = m > 0.0f ? std::pow(m, power) : 0.0f;
            px[c] = (s < 0.0f ? -p : p) * a;
        }
    }
}

}  // namespace
}  // namespace cif::builtins
#endif

HWY_BEFORE_NAMESPACE();
namespace cif::builtins::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Each vector holds whole pixels: a pixel's channels are broadcast across its
// own four lanes and multiplied by the matrix's columns, so no channel
// planes are gathered. The tail is copied into a padded buffer, so every
// pixel goes through identical arithmetic. When the alpha row is (0, 0, 0, 1)
// alpha is copied through unchanged.
template <bool KeepAlpha>
void PremulMatrixT(float* px, int n, const float* m) {
#if HWY_TARGET == HWY_SCALAR
    premulMatrixScalar(px, n, m);  // one lane cannot hold a pixel
#else
    const hn::ScalableTag<float> d;
    using V = hn::Vec<decltype(d)>;
    // Column c of the matrix repeated in every pixel's four lanes.
    HWY_ALIGN float columns[4][HWY_MAX_BYTES / sizeof(float)];
    const int lanes = int(hn::Lanes(d));
    for (int c = 0; c < 4; ++c)
        for (int i = 0; i < lanes; ++i)
            columns[c][i] = m[4 * (i % 4) + c];
    const V c0 = hn::Load(d, columns[0]), c1 = hn::Load(d, columns[1]),
            c2 = hn::Load(d, columns[2]), c3 = hn::Load(d, columns[3]);
    HWY_ALIGN float alphaLanes[HWY_MAX_BYTES / sizeof(float)];
    for (int i = 0; i < lanes; ++i)
        alphaLanes[i] = i % 4 == 3 ? 1.0f : 0.0f;
    const auto isAlpha = hn::Gt(hn::Load(d, alphaLanes), hn::Zero(d));
    // Multiplies and adds kept separate (no fused operations) and in the
    // scalar twin's order, so both give the same bits.
    const auto body = [&](float* p) HWY_ATTR {
        const V v = hn::LoadU(d, p);
        V o = hn::Add(hn::Mul(c0, hn::Broadcast<0>(v)), hn::Mul(c1, hn::Broadcast<1>(v)));
        o = hn::Add(o, hn::Mul(c2, hn::Broadcast<2>(v)));
        o = hn::Add(o, hn::Mul(c3, hn::Broadcast<3>(v)));
        if (KeepAlpha) o = hn::IfThenElse(isAlpha, v, o);
        hn::StoreU(o, d, p);
    };
    const int floats = 4 * n;
    int i = 0;
    for (; i + lanes <= floats; i += lanes)
        body(px + i);
    if (i < floats) {
        HWY_ALIGN float tail[HWY_MAX_BYTES / sizeof(float)] = {};
        const size_t bytes = size_t(floats - i) * sizeof(float);
        std::memcpy(tail, px + i, bytes);
        body(tail);
        std::memcpy(px + i, tail, bytes);
    }
#endif
}

void PremulMatrix(float* px, int n, const float* m) {
    if (keepsAlpha(m))
        PremulMatrixT<true>(px, n, m);
    else
        PremulMatrixT<false>(px, n, m);
}

// Straight channels raised to the power as exp(power * log |s|) with
// Highway's vector exp and log (a few ulp from std::pow), sign kept;
// pixels without coverage are left as they are.
void Gamma(float* px, int n, float power) {
    const hn::ScalableTag<float> d;
    using V = hn::Vec<decltype(d)>;
    const V zero = hn::Zero(d), one = hn::Set(d, 1.0f), k = hn::Set(d, power);
    const auto body = [&](float* p) HWY_ATTR {
        V r, g, b, a;
        hn::LoadInterleaved4(d, p, r, g, b, a);
        const auto covered = hn::Gt(a, zero);
        const V inv = hn::IfThenElseZero(covered, hn::Div(one, a));
        const auto channel = [&](V c) HWY_ATTR {
            const V s = hn::Mul(c, inv), m = hn::Abs(s);
            const auto some = hn::Gt(m, zero);
            // log(0) is never taken: zero lanes read log(1).
            const V l = hn::Log(d, hn::IfThenElse(some, m, one));
            const V q = hn::IfThenElseZero(some, hn::Exp(d, hn::Mul(k, l)));
            return hn::IfThenElse(covered, hn::Mul(hn::CopySign(q, s), a), c);
        };
        hn::StoreInterleaved4(channel(r), channel(g), channel(b), a, d, p);
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
HWY_EXPORT(Gamma);

void gammaSpan(float* px, int n, float power) {
    HWY_DYNAMIC_DISPATCH(Gamma)(px, n, power);
}

void gammaSpanScalar(float* px, int n, float power) {
    gammaScalar(px, n, power);
}

void premulMatrixSpan(float* px, int n, const float m[16]) {
    HWY_DYNAMIC_DISPATCH(PremulMatrix)(px, n, m);
}

void premulMatrixSpanScalar(float* px, int n, const float m[16]) {
    premulMatrixScalar(px, n, m);
}

}  // namespace cif::builtins
#endif
