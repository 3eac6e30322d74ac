#pragma once
// Single-precision sine and cosine for the kernel language, computed the same
// way everywhere a kernel's sin or cos is evaluated: the scalar evaluator,
// compile-time folding, and (as a vector twin in KernelMath-inl.h) the SIMD
// evaluator. All of them give the same bits for every input.
//
// For |x| <= kTrigReducedLimit the result comes from a range reduction and a
// polynomial, within 1.02 ulps of the exact value (checked
// for every float in range); sin(-x) is exactly -sin(x)
// and cos(-x) exactly cos(x). Larger arguments, infinities and NaN are
// handed to the C library, so their results are the C library's.

#include <bit>
#include <cmath>
#include <cstdint>

namespace cif::kernel {

// Arguments up to this magnitude are reduced accurately enough for the stated
// accuracy (see trig::reduced).
inline constexpr float kTrigReducedLimit = 8192.0f;

namespace trig {

// x * (2 / pi), rounded to an integer q by adding and removing 1.5 * 2^23:
// the sum has a unit step, so it rounds to nearest (ties to even), and its
// low mantissa bits are q itself (1.5 * 2^23 is a multiple of 4).
inline constexpr float kTwoOverPi = 0x1.45f306p-1f;
inline constexpr float kRoundMagic = 0x1.8p23f;

// pi / 2 as a sum of four floats. The first three have at most 11
// significant bits, so q * part is exact for every q below 2^13 (all q with
// |x| <= kTrigReducedLimit); the fourth is the rest rounded to a float. The
// sum is pi / 2 to within 1e-19.
inline constexpr float kPiOver2Part1 = 0x1.92p0f;
inline constexpr float kPiOver2Part2 = 0x1.fb4p-12f;
inline constexpr float kPiOver2Part3 = 0x1.444p-24f;
inline constexpr float kPiOver2Part4 = 0x1.68c234p-39f;

// Minimax polynomials on [-pi/4, pi/4] (the Cephes single-precision ones):
// sin r = r + r^3 (S1 + S2 r^2 + S3 r^4), cos r = 1 - r^2 / 2 + r^4 (C1 +
// C2 r^2 + C3 r^4).
inline constexpr float kSin1 = -1.6666654611e-1f;
inline constexpr float kSin2 = 8.3321608736e-3f;
inline constexpr float kSin3 = -1.9515295891e-4f;
inline constexpr float kCos1 = 4.166664568298827e-2f;
inline constexpr float kCos2 = -1.388731625493765e-3f;
inline constexpr float kCos3 = 2.443315711809948e-5f;

inline constexpr uint32_t kSignBit = 0x80000000u;

// sin x (cosine false) or cos x (cosine true) for |x| <= kTrigReducedLimit.
// Works on |x| and puts the sign back at the end, so the result is odd resp.
// even in x and sin(-0) is -0. The vector twin performs exactly these
// operations in this order (no fused multiply-adds: the build forbids
// contraction), which is what makes the two agree bit for bit.
inline float reduced(float x, bool cosine) {
    const float ax = std::fabs(x);
    const float t = ax * kTwoOverPi + kRoundMagic;
    const float q = t - kRoundMagic;
    // The quadrant; cos x = sin(x + pi/2) is one quadrant on.
    const uint32_t j = std::bit_cast<uint32_t>(t) + (cosine ? 1u : 0u);
    // Cody-Waite: ax - q * pi/2 as r + rl. The first two steps are exact;
    // the rounding errors of the last two are recovered (two-sum), so the
    // reduced argument is good to far more than a float's precision.
    const float t2 = (ax - q * kPiOver2Part1) - q * kPiOver2Part2;
    const float a3 = q * kPiOver2Part3;
    const float t3 = t2 - a3;
    const float b3 = t3 - t2;
    const float e3 = (t2 - (t3 - b3)) - (a3 + b3);  // t2 - a3 == t3 + e3 exactly
    const float w = q * kPiOver2Part4 - e3;
    const float r = t3 - w;
    const float b4 = r - t3;
    const float rl = (t3 - (r - b4)) - (w + b4);  // t3 - w == r + rl exactly
    const float z = r * r;
    // sin(r + rl) ~ sin r + rl and cos(r + rl) ~ cos r - r rl: rl is below
    // an ulp of r, so what these leave out is far below an ulp of the result.
    const float s = ((kSin3 * z + kSin2) * z + kSin1) * z * r + rl + r;
    const float c = ((kCos3 * z + kCos2) * z + kCos1) * z * z - r * rl - 0.5f * z + 1.0f;
    // Quadrants 1 and 3 take the other polynomial, 2 and 3 flip the sign;
    // sine is odd.
    uint32_t sign = (j & 2u) << 30;
    if (!cosine) sign ^= std::bit_cast<uint32_t>(x) & kSignBit;
    return std::bit_cast<float>(std::bit_cast<uint32_t>((j & 1u) ? c : s) ^ sign);
}

}  // namespace trig

// The kernel language's sin and cos (see the top of this file).
inline float kernelSin(float x) {
    return std::fabs(x) <= kTrigReducedLimit ? trig::reduced(x, false) : std::sin(x);
}
inline float kernelCos(float x) {
    return std::fabs(x) <= kTrigReducedLimit ? trig::reduced(x, true) : std::cos(x);
}

}  // namespace cif::kernel
