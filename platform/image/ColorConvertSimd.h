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

// pairTable[alpha * 256 + code]: the premultiplied linear value of a colour
// byte under an alpha byte; row 255 holds the polynomial above. Vectors of
// opaque pixels evaluate the polynomial instead of reading the table.
int decodePremultipliedSimd(const uint8_t* src, float* dst, int n, const float* pairTable);
// packedTable: per bucket of float bits ((bits - lowBits) >> shift), the
// code at the bucket's start | (offset of the next step inside it << 8).
// Stops at the first vector holding a partly transparent pixel.
int encodeOpaqueSimd(const float* src, uint8_t* dst, int n, const int32_t* packedTable,
                     uint32_t lowBits, int shift);

}  // namespace cif::engine
