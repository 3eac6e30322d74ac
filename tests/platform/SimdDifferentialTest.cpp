// The vectorised colour conversions must agree bit for bit with the scalar
// reference, for every span length (tails included) and any mix of opaque,
// transparent and partly transparent pixels.

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "platform/builtins/blur/BlurPasses.h"
#include "platform/image/ColorSpace.h"
#include "tests/support/SimdTargets.h"

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
            ASSERT_TRUE(fast.empty() ||
                        std::memcmp(fast.data(), ref.data(), fast.size() * sizeof(float)) == 0)
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

namespace {

namespace blur = cif::builtins::blur;

std::vector<float> randomFloats(std::mt19937& rng, size_t n) {
    std::vector<float> v(n);
    std::uniform_real_distribution<float> value(-0.2f, 1.3f);
    for (float& f : v)
        f = value(rng);
    return v;
}

// Kernels of every kind: sampled with a fixed and a variable reach, running
// sums narrower and wider than their grid's minimum, the recursion.
std::vector<blur::Kernel1D> blurKernels() {
    return {blur::gaussianKernel(0.8), blur::gaussianKernel(2.9), blur::gaussianKernel(3.2),
            blur::gaussianKernel(7.0), blur::boxKernel(1),        blur::boxKernel(6),
            blur::boxKernel(40)};
}

}  // namespace

TEST(SimdDifferential, BlurPassesMatchScalarOnEveryTarget) {
    // Outputs starting on both sides of the passes' grids, for heights and
    // row lengths that leave every kind of tail.
    std::mt19937 rng(5);
    const std::vector<blur::Kernel1D> kernels = blurKernels();
    cif::testing::forEachTarget([&] {
        for (const blur::Kernel1D& k : kernels) {
            SCOPED_TRACE(int(k.kind) * 1000 + k.reach);
            for (const int first : {-131, -64, 0, 61}) {
                for (const int rows : {1, 2, 3, 64, 67}) {
                    const int width = 64;
                    const blur::PassSpan span = blur::passInput(k, first, first + rows);
                    const std::vector<float> in = randomFloats(rng, size_t(span.length()) * width);
                    std::vector<float> fast(size_t(rows) * width, 7.0f), ref = fast;
                    blur::runPass(k, in.data(), width, span.begin, fast.data(), width, first, rows,
                                  width);
                    blur::runPassScalar(k, in.data(), width, span.begin, ref.data(), width, first,
                                        rows, width);
                    ASSERT_TRUE(fast.empty() || std::memcmp(fast.data(), ref.data(),
                                                            fast.size() * sizeof(float)) == 0)
                        << "first=" << first << " rows=" << rows;
                }
                if (k.kind == blur::Kernel1D::Kind::Recursive) continue;
                for (int n = 1; n <= 37; ++n) {
                    const blur::PassSpan span = blur::passInput(k, first, first + n);
                    const std::vector<float> in =
                        randomFloats(rng, size_t(span.length() + blur::kRowPassSlack) * 4);
                    std::vector<float> fast(size_t(n) * 4 + 4, 7.0f), ref = fast;
                    blur::runRowPass(k, in.data(), span.begin, fast.data(), first, n);
                    blur::runRowPassScalar(k, in.data(), span.begin, ref.data(), first, n);
                    ASSERT_TRUE(fast.empty() || std::memcmp(fast.data(), ref.data(),
                                                            fast.size() * sizeof(float)) == 0)
                        << "first=" << first << " n=" << n;
                }
            }
        }
    });
}

TEST(SimdDifferential, BlurPixelStepsMatchScalarOnEveryTarget) {
    std::mt19937 rng(9);
    cif::testing::forEachTarget([&] {
        for (int n = 0; n <= 37; ++n) {
            const size_t floats = size_t(n) * 4;
            const std::vector<float> a = randomFloats(rng, floats), b = randomFloats(rng, floats);
            std::vector<float> fast(floats + 1, 3.0f), ref = fast;
            blur::blendRows(a.data(), b.data(), 0.3f, fast.data(), int(floats));
            blur::blendRowsScalar(a.data(), b.data(), 0.3f, ref.data(), int(floats));
            ASSERT_EQ(fast, ref) << "blend " << n;
            fast = ref = b;
            blur::addRow(a.data(), fast.data(), int(floats));
            blur::addRowScalar(a.data(), ref.data(), int(floats));
            ASSERT_EQ(fast, ref) << "add " << n;
            fast = ref = b;
            blur::unsharpPixels(a.data(), fast.data(), 1.7f, n);
            blur::unsharpPixelsScalar(a.data(), ref.data(), 1.7f, n);
            ASSERT_EQ(fast, ref) << "unsharp " << n;
            // Alphas on both sides of the snapping band.
            fast = a;
            for (size_t i = 3; i < floats; i += 4)
                fast[i] = 1.0f - float(i % 5) * 3e-4f;
            ref = fast;
            blur::snapOpaque(fast.data(), n);
            blur::snapOpaqueScalar(ref.data(), n);
            ASSERT_EQ(fast, ref) << "snap " << n;
        }
    });
}
