// The vectorised colour conversions must agree bit for bit with the scalar
// reference, for every span length (tails included) and any mix of opaque,
// transparent and partly transparent pixels.

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "platform/image/ColorSpace.h"

using namespace cif::engine;

namespace {

// Pixels that are mostly opaque, with runs of transparent and partial ones,
// so the vector path both runs and hands over to the scalar one.
std::vector<uint8_t> randomPremultipliedBytes(std::mt19937& rng, int n) {
    std::vector<uint8_t> px(size_t(n) * 4);
    std::uniform_int_distribution<int> byte(0, 255), kind(0, 9);
    for (int i = 0; i < n; ++i) {
        const int k = kind(rng);
        const int a = k < 7 ? 255 : (k == 7 ? 0 : byte(rng));
        for (int c = 0; c < 3; ++c)
            px[size_t(i) * 4 + c] = uint8_t(a == 0 ? 0 : byte(rng) * a / 255);
        px[size_t(i) * 4 + 3] = uint8_t(a);
    }
    return px;
}

std::vector<float> randomWorkingPixels(std::mt19937& rng, int n) {
    std::vector<float> px(size_t(n) * 4);
    std::uniform_real_distribution<float> v(-0.1f, 1.2f), tiny(0.0f, 2e-4f);
    std::uniform_int_distribution<int> kind(0, 9);
    for (int i = 0; i < n; ++i) {
        const int k = kind(rng);
        const float a =
            k < 6 ? 1.0f : (k == 6 ? 0.0f : (k == 7 ? 1.5f : std::clamp(v(rng), 0.0f, 1.0f)));
        for (int c = 0; c < 3; ++c)
            px[size_t(i) * 4 + c] = (k == 8 ? tiny(rng) : v(rng)) * (a > 1 ? 1 : a);
        px[size_t(i) * 4 + 3] = a;
    }
    return px;
}

}  // namespace

TEST(SimdDifferential, DecodeMatchesScalarForEveryTailLength) {
    std::mt19937 rng(7);
    for (int n = 0; n <= 67; ++n) {
        for (int round = 0; round < 20; ++round) {
            const std::vector<uint8_t> in = randomPremultipliedBytes(rng, n);
            std::vector<float> fast(size_t(n) * 4, -1.0f), ref(size_t(n) * 4, -2.0f);
            decodeRGBA8(in.data(), fast.data(), n, WorkingSpace::LinearSRGB);
            decodeRGBA8Scalar(in.data(), ref.data(), n, WorkingSpace::LinearSRGB);
            ASSERT_EQ(0, std::memcmp(fast.data(), ref.data(), fast.size() * sizeof(float)))
                << "n=" << n;
        }
    }
}

TEST(SimdDifferential, EncodeMatchesScalarForEveryTailLength) {
    std::mt19937 rng(11);
    for (int n = 0; n <= 67; ++n) {
        for (int round = 0; round < 20; ++round) {
            const std::vector<float> in = randomWorkingPixels(rng, n);
            std::vector<uint8_t> fast(size_t(n) * 4, 1), ref(size_t(n) * 4, 2);
            encodeRGBA8(in.data(), fast.data(), n, WorkingSpace::LinearSRGB);
            encodeRGBA8Scalar(in.data(), ref.data(), n, WorkingSpace::LinearSRGB);
            ASSERT_EQ(fast, ref) << "n=" << n;
        }
    }
}

TEST(SimdDifferential, EncodeAgreesOnEveryFloatNearCodeBoundaries) {
    // Values straddling each rounding threshold, in opaque pixels.
    std::vector<float> in;
    for (int c = 0; c < 256; ++c) {
        const float t = srgbToLinear((float(c) - 0.5f) / 255.0f);
        for (float d : {-1e-6f, -1e-7f, 0.0f, 1e-7f, 1e-6f})
            in.insert(in.end(), {t + d, t, std::max(0.0f, t - d), 1.0f});
    }
    const int n = int(in.size() / 4);
    std::vector<uint8_t> fast(in.size()), ref(in.size());
    encodeRGBA8(in.data(), fast.data(), n, WorkingSpace::LinearSRGB);
    encodeRGBA8Scalar(in.data(), ref.data(), n, WorkingSpace::LinearSRGB);
    EXPECT_EQ(fast, ref);
}
