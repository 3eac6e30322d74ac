#pragma once
// Conversions between 8-bit sRGB-encoded pixels and the engine's working space
// (32-bit float, premultiplied alpha, linear light with sRGB primaries).

#include <cstdint>

namespace cif::engine {

// The two working spaces a context can use.
enum class WorkingSpace : uint8_t {
    LinearSRGB,  // linear light, sRGB primaries (the default)
    None,        // no colour management: values are the encoded ones divided by 255
};

// sRGB transfer functions on one channel value in [0, 1].
float srgbToLinear(float v);
float linearToSrgb(float v);

// Decodes n premultiplied 8-bit RGBA pixels into premultiplied working-space floats.
void decodeRGBA8(const uint8_t* src, float* dst, int n, WorkingSpace space);
// Encodes n premultiplied working-space pixels into premultiplied 8-bit RGBA.
// Values are clamped to [0, 1] and colour channels to alpha. Rounding is to
// nearest, so decode followed by encode reproduces every 8-bit pixel exactly.
void encodeRGBA8(const float* src, uint8_t* dst, int n, WorkingSpace space);

// The scalar reference implementations of the two conversions above; the
// vectorised paths must agree with them bit for bit.
void decodeRGBA8Scalar(const uint8_t* src, float* dst, int n, WorkingSpace space);
void encodeRGBA8Scalar(const float* src, uint8_t* dst, int n, WorkingSpace space);

// Converts a straight (unpremultiplied) sRGB colour into a premultiplied
// working-space value, as colour inputs are before they are used.
void colorToWorking(const double rgba[4], float out[4], WorkingSpace space);

}  // namespace cif::engine
