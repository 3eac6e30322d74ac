#pragma once
// One RGBA float pixel as a 4-lane vector (GCC vector extension), so that
// per-pixel arithmetic compiles to one SIMD instruction per operation on any
// x86-64 baseline.

#include <cstring>

namespace cif::engine {

typedef float Pixel4 __attribute__((vector_size(16)));

inline Pixel4 loadPixel(const float* p) {
    Pixel4 v;
    std::memcpy(&v, p, sizeof v);
    return v;
}
inline void storePixel(float* p, Pixel4 v) {
    std::memcpy(p, &v, sizeof v);
}
inline Pixel4 splat(float s) {
    return Pixel4{s, s, s, s};
}

}  // namespace cif::engine
