#include "platform/image/ColorSpace.h"

#include "platform/image/ColorConvertSimd.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

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

// Linear value of each 8-bit sRGB code, and each code divided by 255.
struct DecodeTables {
    std::array<float, 256> linear{};
    std::array<float, 256> plain{};
    DecodeTables() {
        for (int i = 0; i < 256; ++i) {
            plain[i] = float(i) / 255.0f;
            linear[i] = srgbToLinear(plain[i]);
        }
    }
};

// Exact linear-to-8-bit encoding without pow: the code for v is the largest c
// with v >= threshold[c], where threshold[c] is the linear value at which the
// rounded sRGB code steps from c-1 to c. A table indexed by the float's
// exponent and top mantissa bits gives a starting code that is at most one
// below the answer, so one comparison finishes the job.
struct EncodeTables {
    static constexpr int kMantissaBits = 7;
    static constexpr int kOctaves = 16;  // values in [2^-16, 1); smaller ones encode to 0
    static constexpr uint32_t kLowBits = 0x37800000u;  // bit pattern of 2^-16
    static constexpr int kShift = 23 - kMantissaBits;
    std::array<float, 257> threshold{};
    // One entry per bucket, plus one for exactly 1.0.
    std::array<int32_t, (kOctaves << kMantissaBits) + 1> start{};

    EncodeTables() {
        threshold[0] = -1.0f;
        for (int c = 1; c < 256; ++c) threshold[c] = srgbToLinear((float(c) - 0.5f) / 255.0f);
        threshold[256] = 2.0f;  // sentinel: never reached for clamped inputs
        for (size_t i = 0; i < start.size(); ++i) {
            const float lo = std::bit_cast<float>(kLowBits + (uint32_t(i) << (23 - kMantissaBits)));
            int c = 0;
            while (c < 255 && lo >= threshold[c + 1]) ++c;
            start[i] = c;
        }
        start.back() = 255;
    }

    uint8_t encode(float v) const {
        if (!(v > 1.52587890625e-05f)) return 0;  // 2^-16, also NaN
        if (v >= 1.0f) return 255;
        const uint32_t idx = (std::bit_cast<uint32_t>(v) - kLowBits) >> kShift;
        int c = start[idx];
        c += v >= threshold[c + 1];
        return uint8_t(c);
    }
};

const DecodeTables& decodeTables() {
    static const DecodeTables t;
    return t;
}
const EncodeTables& encodeTables() {
    static const EncodeTables t;
    return t;
}

inline uint8_t encodePlain(float v) {
    v = std::clamp(v, 0.0f, 1.0f);  // NaN stays NaN and ...
    return v == v ? uint8_t(std::lround(v * 255.0f)) : 0;
}

}  // namespace

void decodeRGBA8Scalar(const uint8_t* src, float* dst, int n, WorkingSpace space) {
    const DecodeTables& t = decodeTables();
    if (space == WorkingSpace::None) {
        for (int i = 0; i < 4 * n; ++i) dst[i] = t.plain[src[i]];
        return;
    }
    for (int i = 0; i < n; ++i, src += 4, dst += 4) {
        const uint8_t a8 = src[3];
        if (a8 == 255) {
            dst[0] = t.linear[src[0]];
            dst[1] = t.linear[src[1]];
            dst[2] = t.linear[src[2]];
            dst[3] = 1.0f;
        } else if (a8 == 0) {
            dst[0] = dst[1] = dst[2] = dst[3] = 0.0f;
        } else {
            // Premultiplied sRGB: unpremultiply, linearise, premultiply again.
            const float a = t.plain[a8];
            for (int k = 0; k < 3; ++k) {
                const float s = std::min(float(src[k]) / float(a8), 1.0f);
                dst[k] = srgbToLinear(s) * a;
            }
            dst[3] = a;
        }
    }
}

void encodeRGBA8Scalar(const float* src, uint8_t* dst, int n, WorkingSpace space) {
    if (space == WorkingSpace::None) {
        for (int i = 0; i < n; ++i, src += 4, dst += 4) {
            const uint8_t a = encodePlain(src[3]);
            for (int k = 0; k < 3; ++k) dst[k] = std::min(encodePlain(src[k]), a);
            dst[3] = a;
        }
        return;
    }
    const EncodeTables& t = encodeTables();
    for (int i = 0; i < n; ++i, src += 4, dst += 4) {
        const float a = src[3];
        if (a >= 1.0f) {
            dst[0] = t.encode(src[0]);
            dst[1] = t.encode(src[1]);
            dst[2] = t.encode(src[2]);
            dst[3] = 255;
        } else if (!(a > 0.0f)) {
            dst[0] = dst[1] = dst[2] = dst[3] = 0;
        } else {
            const uint8_t a8 = encodePlain(a);
            const float af = float(a8);
            for (int k = 0; k < 3; ++k) {
                const float lin = std::clamp(src[k] / a, 0.0f, 1.0f);
                const float s = lin == lin ? linearToSrgb(lin) : 0.0f;
                dst[k] = uint8_t(std::min<long>(std::lround(s * af), a8));
            }
            dst[3] = a8;
        }
    }
}

// The vectorised converters handle runs of opaque pixels; anything else
// (transparency, no colour management, short tails) goes through the scalar
// reference a few pixels at a time.
void decodeRGBA8(const uint8_t* src, float* dst, int n, WorkingSpace space) {
    if (space == WorkingSpace::None) {
        decodeRGBA8Scalar(src, dst, n, space);
        return;
    }
    const float* table = decodeTables().linear.data();
    int i = 0;
    while (i < n) {
        i += decodeOpaqueSimd(src + size_t(i) * 4, dst + size_t(i) * 4, n - i, table);
        const int step = std::min(4, n - i);
        decodeRGBA8Scalar(src + size_t(i) * 4, dst + size_t(i) * 4, step, space);
        i += step;
    }
}

void encodeRGBA8(const float* src, uint8_t* dst, int n, WorkingSpace space) {
    if (space == WorkingSpace::None) {
        encodeRGBA8Scalar(src, dst, n, space);
        return;
    }
    const EncodeTables& t = encodeTables();
    int i = 0;
    while (i < n) {
        i += encodeOpaqueSimd(src + size_t(i) * 4, dst + size_t(i) * 4, n - i, t.start.data(), t.threshold.data(),
                              EncodeTables::kLowBits, EncodeTables::kShift);
        const int step = std::min(4, n - i);
        encodeRGBA8Scalar(src + size_t(i) * 4, dst + size_t(i) * 4, step, space);
        i += step;
    }
}

void colorToWorking(const double rgba[4], float out[4], WorkingSpace space) {
    auto clean = [](double v) { return std::isfinite(v) ? float(v) : 0.0f; };
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
