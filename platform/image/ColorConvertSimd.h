#pragma once
// Vectorised conversions used by ColorSpace.cpp for runs of opaque pixels.
// Each answers how many leading pixels it converted (a whole number of
// vectors, stopping at the first vector holding a non-opaque pixel).

#include <cstdint>

namespace cif::engine {

int decodeOpaqueSimd(const uint8_t* src, float* dst, int n, const float* linearTable);
int encodeOpaqueSimd(const float* src, uint8_t* dst, int n, const int32_t* startTable, const float* thresholds,
                     uint32_t lowBits, int shift);

}  // namespace cif::engine
