#pragma once
// Vectorised conversions used by ColorSpace.cpp. Each answers how many
// leading pixels it converted (a whole number of vectors); the caller
// converts the rest with the scalar reference.

#include <cstdint>

namespace cif::engine {

// pairTable[alpha * 256 + code]: the premultiplied linear value of a colour
// byte under an alpha byte.
int decodePremultipliedSimd(const uint8_t* src, float* dst, int n, const float* pairTable);
// packedTable: per bucket of float bits ((bits - lowBits) >> shift), the
// code at the bucket's start | (offset of the next step inside it << 8).
// Stops at the first vector holding a partly transparent pixel.
int encodeOpaqueSimd(const float* src, uint8_t* dst, int n, const int32_t* packedTable,
                     uint32_t lowBits, int shift);

}  // namespace cif::engine
