#pragma once
// Vectorised conversions used by ColorSpace.cpp. Each answers how many
// leading pixels it converted (a whole number of vectors); the caller
// converts the rest with the scalar reference.

#include <cstdint>

namespace cif::engine {

// The sRGB curve for opaque 8-bit codes above 10 as a polynomial in
// t = code x (1 / 255) (highest power first, Horner order), fitted for relative
// error under 1e-4: about 0.01 of an 8-bit step, so decoding then encoding
// stays lossless. Codes 0..10 use the curve's linear segment.
// Scalar and vector code evaluate it with the same operations in the same
// order, so both give the same bits.
inline constexpr float kOpaqueDecodePoly[8] = {
    1.248840996e-01f, -4.832463780e-01f, 8.091779804e-01f, -8.333801262e-01f,
    8.618253401e-01f, 4.845308781e-01f,  3.540028044e-02f, 8.517444810e-04f};
inline constexpr int kOpaqueDecodeLinearMax = 10;
// t is code x (1 / 255) and the linear segment code x (1 / (255 x 12.92)):
// multiplications, which vector units do several times faster than
// divisions, and exact enough that decoding then encoding stays lossless.
inline constexpr float kInv255f = 1.0f / 255.0f;
inline constexpr float kInvLinearScale = float(1.0 / (255.0 * 12.92));

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
inline constexpr float kSrgbLinearMax = 0.0031308f;

// pairTable[alpha * 256 + code]: the premultiplied linear value of a colour
// byte under an alpha byte; row 255 holds the polynomial above. Vectors of
// opaque pixels evaluate the polynomial instead of reading the table.
int decodePremultipliedSimd(const uint8_t* src, float* dst, int n, const float* pairTable);
// packedTable: per bucket of float bits ((bits - lowBits) >> shift), the
// code at the bucket's start | (offset of the next step inside it << 8), for
// opaque pixels; curveTable (kSrgbCurveEntries values, see above) for partly
// transparent ones.
int encodePremultipliedSimd(const float* src, uint8_t* dst, int n, const int32_t* packedTable,
                            uint32_t lowBits, int shift, const float* curveTable);

}  // namespace cif::engine
