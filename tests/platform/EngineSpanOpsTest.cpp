// The vectorised span operations against their scalar twins: random pixels,
// including the values kernels can produce (negative, above one, infinite,
// NaN), on every span length from empty to several vectors plus a tail.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "platform/image/SpanOps.h"

namespace {

using namespace cif::engine;

std::vector<float> randomPixels(std::mt19937& rng, int n) {
    std::uniform_real_distribution<float> unit(0.0f, 1.0f), wide(-2.0f, 3.0f);
    std::uniform_int_distribution<int> pick(0, 19);
    const float specials[] = {std::numeric_limits<float>::quiet_NaN(),
                              std::numeric_limits<float>::infinity(),
                              -std::numeric_limits<float>::infinity(),
                              0.0f,
                              -0.0f,
                              1.0f};
    std::vector<float> px(size_t(n) * 4);
    for (int i = 0; i < n; ++i) {
        float* p = &px[size_t(i) * 4];
        p[3] = unit(rng);
        for (int k = 0; k < 3; ++k)
            p[k] = unit(rng) * p[3];
        // Now and then a channel leaves the valid range.
        if (pick(rng) == 0) p[pick(rng) % 4] = wide(rng);
        if (pick(rng) == 0) p[pick(rng) % 4] = specials[pick(rng) % 6];
    }
    return px;
}

// Equal bits, or NaN on both sides (NaN payloads are not specified).
::testing::AssertionResult sameFloats(const std::vector<float>& got,
                                      const std::vector<float>& want) {
    for (size_t i = 0; i < got.size(); ++i) {
        const bool bothNaN = std::isnan(got[i]) && std::isnan(want[i]);
        if (!bothNaN && std::memcmp(&got[i], &want[i], sizeof(float)) != 0)
            return ::testing::AssertionFailure() << "pixel " << i / 4 << " channel " << i % 4
                                                 << ": " << got[i] << " vs " << want[i];
    }
    return ::testing::AssertionSuccess();
}

TEST(EngineSpanOps, ColorMatrixMatchesTheScalarReference) {
    std::mt19937 rng(12345);
    std::uniform_real_distribution<float> coefficient(-1.5f, 1.5f);
    for (int round = 0; round < 30; ++round) {
        float m[16], bias[4];
        for (float& v : m)
            v = coefficient(rng);
        for (float& v : bias)
            v = coefficient(rng) * 0.3f;
        if (round == 0) {  // the identity
            std::fill(m, m + 16, 0.0f);
            m[0] = m[5] = m[10] = m[15] = 1.0f;
            std::fill(bias, bias + 4, 0.0f);
        }
        for (int n = 0; n <= 37; ++n) {
            const std::vector<float> in = randomPixels(rng, n);
            std::vector<float> got = in, want = in;
            colorMatrixSpan(got.data(), n, m, bias);
            colorMatrixSpanScalar(want.data(), n, m, bias);
            ASSERT_TRUE(sameFloats(got, want)) << "round " << round << ", length " << n;
        }
    }
}

TEST(EngineSpanOps, SourceOverMatchesTheScalarReference) {
    std::mt19937 rng(54321);
    for (int round = 0; round < 30; ++round)
        for (int n = 0; n <= 37; ++n) {
            const std::vector<float> fg = randomPixels(rng, n), bg = randomPixels(rng, n);
            std::vector<float> got = bg, want = bg;
            sourceOverSpan(fg.data(), got.data(), n);
            sourceOverSpanScalar(fg.data(), want.data(), n);
            ASSERT_TRUE(sameFloats(got, want)) << "round " << round << ", length " << n;
        }
}

}  // namespace
