#pragma once
// Four-lane float arithmetic for warp maps: the GCC vector extension plus the
// few operations it lacks (square root, floor, atan2, sine and cosine). Every
// lane is computed independently with the same instructions, so a pixel's
// source point never depends on where it falls in a span.

#include <immintrin.h>

#include <cstring>

namespace cif::builtins::warp {

typedef float F4 __attribute__((vector_size(16)));
typedef int I4 __attribute__((vector_size(16)));

inline F4 f4(float s) {
    return F4{s, s, s, s};
}
inline F4 load4(const float* p) {
    F4 v;
    std::memcpy(&v, p, sizeof v);
    return v;
}
inline void store4(float* p, F4 v) {
    std::memcpy(p, &v, sizeof v);
}
// Lane i holds x + i + offset: pixel positions of a span, exact for |x| < 2^24.
inline F4 ramp(int x, float offset) {
    const I4 i = I4{x, x + 1, x + 2, x + 3};
    return __builtin_convertvector(i, F4) + offset;
}
inline F4 select(I4 mask, F4 a, F4 b) {
    return mask ? a : b;
}
inline F4 vsqrt(F4 v) {
    return F4(_mm_sqrt_ps(__m128(v)));
}
inline F4 vmin(F4 a, F4 b) {
    return a < b ? a : b;
}
inline F4 vmax(F4 a, F4 b) {
    return a > b ? a : b;
}
inline F4 vabs(F4 v) {
    return v < 0.0f ? -v : v;
}
inline F4 clamp01(F4 v) {
    return vmin(vmax(v, f4(0.0f)), f4(1.0f));
}
// Floor for |v| < 2^31; larger magnitudes give garbage that callers reject
// (their inputs are bounded by the renderer's pixel limit).
inline F4 vfloor(F4 v) {
    const F4 t = __builtin_convertvector(__builtin_convertvector(v, I4), F4);
    return t > v ? t - 1.0f : t;
}
inline F4 fract(F4 v) {
    return v - vfloor(v);
}
// Period-2 triangle wave folding v into [0, 1]: a mirror at every integer.
inline F4 mirror(F4 v) {
    return vabs(v - 2.0f * vfloor((v + 1.0f) * 0.5f));
}

inline constexpr float kPi = 3.14159265358979f;

// atan2(y, x) in (-pi, pi], absolute error below 2e-7 rad; 0 at the origin.
inline F4 atan2v(F4 y, F4 x) {
    const F4 ax = vabs(x), ay = vabs(y);
    const F4 hi = vmax(ax, ay), lo = vmin(ax, ay);
    F4 a = lo / vmax(hi, f4(1e-30f));
    // Reduce [tan(pi/8), 1] to [-tan(pi/8), tan(pi/8)] about pi/4.
    const I4 big = a > 0.41421356f;
    const F4 off = select(big, f4(kPi / 4), f4(0.0f));
    a = select(big, (a - 1.0f) / (a + 1.0f), a);
    const F4 z = a * a;
    F4 r = (((8.05374449538e-2f * z - 1.38776856032e-1f) * z + 1.99777106478e-1f) * z -
            3.33329491539e-1f) *
               z * a +
           a + off;
    r = select(ay > ax, kPi / 2 - r, r);
    r = select(x < 0.0f, kPi - r, r);
    return select(y < 0.0f, -r, r);
}

// Sine and cosine, absolute error below 1e-6 for |v| < 1e4.
inline void sincosv(F4 v, F4& s, F4& c) {
    const F4 q = vfloor(v * 0.63661977236f + 0.5f);
    const F4 r =
        ((v - q * 1.5703125f) - q * 4.837512969970703125e-4f) - q * 7.54978995489188216e-8f;
    const F4 z = r * r;
    const F4 sr = ((-1.9515295891e-4f * z + 8.3321608736e-3f) * z - 1.6666654611e-1f) * z * r + r;
    const F4 cr =
        ((2.443315711809948e-5f * z - 1.388731625493765e-3f) * z + 4.166664568298827e-2f) * z * z -
        0.5f * z + 1.0f;
    const I4 qi = __builtin_convertvector(q, I4) & 3;
    const I4 swap = (qi & 1) != 0;
    const F4 s0 = select(swap, cr, sr), c0 = select(swap, sr, cr);
    s = select(qi >= 2, -s0, s0);
    c = select((qi == 1) | (qi == 2), -c0, c0);
}

}  // namespace cif::builtins::warp
