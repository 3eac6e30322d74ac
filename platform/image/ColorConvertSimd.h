#pragma once
// Vectorised conversions used by ColorSpace.cpp. Each answers how many
// leading pixels it converted (a whole number of vectors); the caller
// converts the rest with the scalar reference.

#include <cstdint>

namespace cif::engine {

// The sRGB curve for opaque 8-bit codes above 10 as a polynomial in
// t = code x (1 / 255) (highest power first, Horner order with fused
// multiply-adds), fitted for relative error under 1e-4: about 0.01 of an
// 8-bit step, so decoding then encoding stays lossless. Codes 0..10 use the
// curve's linear segment. Scalar and vector code evaluate it with the same
// operations in the same order, so both give the same bits.
//
// The vector converters run only where the instruction set fuses
// multiply-adds (elsewhere they convert nothing and the scalar code does it
// all), so that their results match the scalar code's std::fma.
inline constexpr float kOpaqueDecodePoly[8] = {
    1.248840996e-01f, -4.832463780e-01f, 8.091779804e-01f, -8.333801262e-01f,
    8.618253401e-01f, 4.845308781e-01f,  3.540028044e-02f, 8.517444810e-04f};
inline constexpr int kOpaqueDecodeLinearMax = 10;
// t is code x (1 / 255) and the linear segment code x (1 / (255 x 12.92)):
// multiplications, which vector units do several times faster than
// divisions, and exact enough that decoding then encoding stays lossless.
inline constexpr float kInv255f = 1.0f / 255.0f;
inline constexpr float kInvLinearScale = float(1.0 / (255.0 * 12.92));

inline constexpr float kSrgbLinearMax = 0.0031308f;

// Opaque encoding computes the code instead of reading a table (vector
// units gather table entries one at a time). For v = 2^e m with m in [1, 2),
// 255 (1.055 v^(5/12) - 0.055) is kEncodeOctave[e & 15] x p(m) -
// kEncodeOffset, where p is a polynomial for m^(5/12) (a Chebyshev fit,
// highest power first, relative error under 4.5e-7: about 1e-4 of a code);
// at and below kSrgbLinearMax the code is v x kEncodeLinearScale. Rounded to
// the nearest code, ties to even. Scalar and vector code evaluate it with the
// same fused multiply-adds in the same order, so both give the same bits.
inline constexpr float kEncodePoly[7] = {-2.691525733e-03f, 2.945917100e-02f,  -1.397501379e-01f,
                                         3.797715604e-01f,  -6.761592627e-01f, 1.057500362e+00f,
                                         3.518701494e-01f};
// Indexed by the low four bits of the biased exponent: 255 x 1.055 x
// 2^(5e / 12) for e = -9 (biased 118, index 6) to 0 (127, index 15). Values
// below 2^-9 are all on the linear segment, so indices 0 to 5 are unused.
// clang-format off
inline constexpr float kEncodeOctave[16] = {
    0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f,
    1.999540329e+01f, 2.669066048e+01f, 3.562775803e+01f, 4.755735016e+01f, 6.348144531e+01f,
    8.473756409e+01f, 1.131110764e+02f, 1.509851837e+02f, 2.015410309e+02f, 2.690249939e+02f};
// clang-format on
inline constexpr float kEncodeOffset = 1.402499962e+01f;       // 255 x 0.055
inline constexpr float kEncodeLinearScale = 3.294600098e+03f;  // 255 x 12.92

// The sRGB curve above its linear segment for partly transparent pixels: a
// table of the curve at the start of each bucket of float bits (exponent and
// top 8 mantissa bits, from 2^-9 up to 1), interpolated linearly inside the
// bucket, within 6e-7 of the exact curve: a few ten-thousandths of an 8-bit
// step at any alpha. Scalar and vector code read it with the same
// operations, so both give the same bits.
inline constexpr uint32_t kSrgbCurveLowBits = 0x3B000000u;  // bit pattern of 2^-9
inline constexpr int kSrgbCurveShift = 15;                  // 23 - 8 mantissa bits
inline constexpr int kSrgbCurveEntries = (9 << 8) + 2;      // up to 1.0, plus its right end
inline constexpr float kSrgbCurveFracScale = 1.0f / 32768.0f;
inline constexpr float kSrgbCurveMin = 1.0f / 512.0f;

// pairTable[alpha * 256 + code]: the premultiplied linear value of a colour
// byte under an alpha byte; row 255 holds the polynomial above. Vectors of
// opaque pixels evaluate the polynomial instead of reading the table.
int decodePremultipliedSimd(const uint8_t* src, float* dst, int n, const float* pairTable);
// curveTable (kSrgbCurveEntries values, see above) serves partly
// transparent pixels.
int encodePremultipliedSimd(const float* src, uint8_t* dst, int n, const float* curveTable);

}  // namespace cif::engine
