#include "platform/image/ColorSpace.h"

#include "platform/image/ColorConvertSimd.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <vector>

namespace cif::engine {

float srgbToLinear(float v) {
    if (v <= 0.04045f) return v / 12.92f;
    return std::pow((v + 0.055f) / 1.055f, 2.4f);
}

float linearToSrgb(float v) {
    if (v <= 0.0031308f) return v * 12.92f;
    return 1.055f * std::pow(v, 1.0f / 2.4f) - 0.055f;
}

namespace {

// The curve for opaque codes, evaluated exactly as the vector decoder does.
float opaqueCurve(int code) {
    const float t = float(code) * kInv255f;
    if (code <= kOpaqueDecodeLinearMax) return float(code) * kInvLinearScale;
    if (code == 255) return 1.0f;  // white stays exactly 1
    float p = kOpaqueDecodePoly[0];
    for (int k = 1; k < 8; ++k)
        p = std::fma(p, t, kOpaqueDecodePoly[k]);
    return p;
}

// Decoding tables: each code divided by 255, and the premultiplied linear
// value of every (alpha, colour code) pair of premultiplied sRGB bytes:
// unpremultiply, linearise, premultiply again. Row 255 (opaque) is the
// polynomial form of the sRGB curve that the vector decoder computes; row 0
// is all zero.
struct DecodeTables {
    std::array<float, 256> plain{};
    std::vector<float> pair;  // 256 x 256
    DecodeTables() : pair(size_t(256) * 256, 0.0f) {
        for (int i = 0; i < 256; ++i)
            plain[i] = float(i) / 255.0f;
        for (int a = 1; a < 255; ++a)
            for (int c = 0; c < 256; ++c)
                pair[size_t(a) * 256 + c] =
                    srgbToLinear(std::min(float(c) / float(a), 1.0f)) * plain[a];
        for (int c = 0; c < 256; ++c)
            pair[size_t(255) * 256 + c] = opaqueCurve(c);
    }
};

// Rounds to the nearest integer, ties to even, as the vector converters'
// conversion does: adding and taking away 1.5 x 2^23 leaves no fraction bits.
// Exact for |v| < 2^22.
inline int roundNearestEven(float v) {
    constexpr float kShifter = 12582912.0f;
    return int((v + kShifter) - kShifter);
}

// The 8-bit sRGB code of an opaque linear value, computed exactly as the
// vector encoder does (see kEncodePoly).
uint8_t encodeOpaque(float v) {
    v = std::clamp(v, 0.0f, 1.0f);
    if (!(v == v)) return 0;  // NaN
    if (v <= kSrgbLinearMax) return uint8_t(roundNearestEven(v * kEncodeLinearScale));
    const uint32_t bits = std::bit_cast<uint32_t>(v);
    const float m = std::bit_cast<float>((bits & 0x007FFFFFu) | 0x3F800000u);
    float p = kEncodePoly[0];
    for (int k = 1; k < 7; ++k)
        p = std::fma(p, m, kEncodePoly[k]);
    return uint8_t(roundNearestEven(std::fma(kEncodeOctave[(bits >> 23) & 15], p, -kEncodeOffset)));
}

// The sRGB curve at the start of each bucket of float bits from 2^-9 up,
// computed in double (see kSrgbCurveLowBits).
struct SrgbCurveTable {
    std::array<float, kSrgbCurveEntries> value{};
    SrgbCurveTable() {
        for (int i = 0; i < kSrgbCurveEntries; ++i) {
            const double v =
                std::bit_cast<float>(kSrgbCurveLowBits + (uint32_t(i) << kSrgbCurveShift));
            value[size_t(i)] = float(1.055 * std::pow(v, 1.0 / 2.4) - 0.055);
        }
    }
    // v in [2^-9, 1].
    float curve(float v) const {
        const uint32_t rel = std::bit_cast<uint32_t>(v) - kSrgbCurveLowBits;
        const float* t = value.data() + (rel >> kSrgbCurveShift);
        const float frac = float(rel & ((1u << kSrgbCurveShift) - 1)) * kSrgbCurveFracScale;
        return t[0] + (t[1] - t[0]) * frac;
    }
};

const SrgbCurveTable& srgbCurveTable() {
    static const SrgbCurveTable t;
    return t;
}

const DecodeTables& decodeTables() {
    static const DecodeTables t;
    return t;
}

// Rounds a non-negative float to the nearest integer, halves up (as
// lround does, and as the vector encoder does with a truncation).
inline int roundHalfUp(float v) {
    const float t = std::trunc(v);
    return int(t) + (v - t >= 0.5f ? 1 : 0);
}

inline uint8_t encodePlain(float v) {
    v = std::clamp(v, 0.0f, 1.0f);  // NaN stays NaN and ...
    return v == v ? uint8_t(roundHalfUp(v * 255.0f)) : 0;
}

}  // namespace

void decodeRGBA8Scalar(const uint8_t* src, float* dst, int n, WorkingSpace space) {
    const DecodeTables& t = decodeTables();
    if (space == WorkingSpace::None) {
        for (int i = 0; i < 4 * n; ++i)
            dst[i] = t.plain[src[i]];
        return;
    }
    for (int i = 0; i < n; ++i, src += 4, dst += 4) {
        const float* row = t.pair.data() + size_t(src[3]) * 256;
        dst[0] = row[src[0]];
        dst[1] = row[src[1]];
        dst[2] = row[src[2]];
        dst[3] = t.plain[src[3]];
    }
}

void encodeRGBA8Scalar(const float* src, uint8_t* dst, int n, WorkingSpace space) {
    if (space == WorkingSpace::None) {
        for (int i = 0; i < n; ++i, src += 4, dst += 4) {
            const uint8_t a = encodePlain(src[3]);
            for (int k = 0; k < 3; ++k)
                dst[k] = std::min(encodePlain(src[k]), a);
            dst[3] = a;
        }
        return;
    }
    const SrgbCurveTable& curve = srgbCurveTable();
    for (int i = 0; i < n; ++i, src += 4, dst += 4) {
        const float a = src[3];
        if (a >= 1.0f) {
            dst[0] = encodeOpaque(src[0]);
            dst[1] = encodeOpaque(src[1]);
            dst[2] = encodeOpaque(src[2]);
            dst[3] = 255;
        } else if (!(a > 0.0f)) {
            dst[0] = dst[1] = dst[2] = dst[3] = 0;
        } else {
            const uint8_t a8 = encodePlain(a);
            const float af = float(a8);
            for (int k = 0; k < 3; ++k) {
                float lin = std::clamp(src[k] / a, 0.0f, 1.0f);
                lin = lin == lin ? lin : 0.0f;
                const float s = lin <= kSrgbLinearMax ? lin * 12.92f : curve.curve(lin);
                dst[k] = uint8_t(std::min(roundHalfUp(s * af), int(a8)));
            }
            dst[3] = a8;
        }
    }
}

// The vectorised converters handle whole vectors; tails go through the
// scalar reference.
void decodeRGBA8(const uint8_t* src, float* dst, int n, WorkingSpace space) {
    if (space == WorkingSpace::None) {
        decodeRGBA8Scalar(src, dst, n, space);
        return;
    }
    const int done = decodePremultipliedSimd(src, dst, n, decodeTables().pair.data());
    decodeRGBA8Scalar(src + size_t(done) * 4, dst + size_t(done) * 4, n - done, space);
}

void encodeRGBA8(const float* src, uint8_t* dst, int n, WorkingSpace space) {
    if (space == WorkingSpace::None) {
        encodeRGBA8Scalar(src, dst, n, space);
        return;
    }
    const float* curve = srgbCurveTable().value.data();
    const int done = encodePremultipliedSimd(src, dst, n, curve);
    const int rest = n - done;
    if (rest == 0) return;
    // The tail goes through the vector code too, padded with transparent
    // pixels: the scalar code needs a call for each fused multiply-add where
    // the baseline instruction set has none.
    constexpr int kPad = 16;
    if (rest < kPad) {
        float in[kPad * 4] = {};
        uint8_t out[kPad * 4];
        std::copy_n(src + size_t(done) * 4, size_t(rest) * 4, in);
        if (encodePremultipliedSimd(in, out, kPad, curve) == kPad) {
            std::copy_n(out, size_t(rest) * 4, dst + size_t(done) * 4);
            return;
        }
    }
    encodeRGBA8Scalar(src + size_t(done) * 4, dst + size_t(done) * 4, rest, space);
}

void colorToWorking(const double rgba[4], float out[4], WorkingSpace space) {
    // Extended-range components are kept up to the largest half-float value,
    // far beyond any real colour; larger ones would reach infinity on the way
    // into linear light and poison every pixel they are mixed into.
    static constexpr double kExtendedLimit = 65504.0;
    auto clean = [](double v) {
        return std::isfinite(v) ? float(std::clamp(v, -kExtendedLimit, kExtendedLimit)) : 0.0f;
    };
    const float a = std::clamp(clean(rgba[3]), 0.0f, 1.0f);
    for (int k = 0; k < 3; ++k) {
        const float c = clean(rgba[k]);
        // Values outside [0, 1] are kept (extended range), mirrored for negatives.
        float lin = c;
        if (space == WorkingSpace::LinearSRGB)
            lin = c < 0 ? -srgbToLinear(-c) : (c > 1 ? std::pow(c, 2.2f) : srgbToLinear(c));
        out[k] = lin * a;
    }
    out[3] = a;
}

}  // namespace cif::engine
