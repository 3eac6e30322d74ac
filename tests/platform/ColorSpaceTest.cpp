// Conversions between 8-bit premultiplied sRGB pixels and the engine's
// working space: lossless round trips for every valid pixel value, the
// encoder's rounding, and out-of-range values on the vectorised and the
// scalar path alike.

#include <gtest/gtest.h>

#include <QImage>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "platform/image/CIContext.h"
#include "platform/image/CIImage.h"
#include "platform/image/ColorSpace.h"

namespace {

using namespace cif::engine;

// Every valid premultiplied pixel family: for each alpha a, every colour value
// c <= a appears in each channel (red rising, green falling, blue at half).
std::vector<uint8_t> allPremultipliedPixels() {
    std::vector<uint8_t> px;
    for (int a = 0; a < 256; ++a)
        for (int c = 0; c <= a; ++c)
            px.insert(px.end(), {uint8_t(c), uint8_t(a - c), uint8_t(c / 2), uint8_t(a)});
    return px;
}

TEST(ColorSpace, DecodeThenEncodeIsLosslessForEveryPremultipliedPixel) {
    const std::vector<uint8_t> in = allPremultipliedPixels();
    const int n = int(in.size() / 4);
    for (WorkingSpace space : {WorkingSpace::LinearSRGB, WorkingSpace::None}) {
        std::vector<float> work(in.size());
        std::vector<uint8_t> out(in.size()), outScalar(in.size());
        decodeRGBA8(in.data(), work.data(), n, space);
        encodeRGBA8(work.data(), out.data(), n, space);
        decodeRGBA8Scalar(in.data(), work.data(), n, space);
        encodeRGBA8Scalar(work.data(), outScalar.data(), n, space);
        int wrong = 0, first = -1;
        for (int i = 0; i < n; ++i) {
            const bool bad = std::memcmp(&in[4 * i], &out[4 * i], 4) != 0 ||
                             std::memcmp(&in[4 * i], &outScalar[4 * i], 4) != 0;
            wrong += bad;
            if (bad && first < 0) first = i;
        }
        EXPECT_EQ(wrong, 0) << "space " << int(space) << ", first bad pixel "
                            << (first < 0 ? 0 : int(in[4 * first])) << " "
                            << (first < 0 ? 0 : int(in[4 * first + 1])) << " "
                            << (first < 0 ? 0 : int(in[4 * first + 3]));
    }
}

TEST(ColorSpace, PicturesSurviveARenderUnchanged) {
    // Row a holds alpha a; column c colour c where valid, white at alpha a beyond.
    QImage picture(256, 256, QImage::Format_RGBA8888_Premultiplied);
    for (int a = 0; a < 256; ++a) {
        uchar* line = picture.scanLine(a);
        for (int c = 0; c < 256; ++c) {
            const int r = c <= a ? c : a, g = c <= a ? a - c : a, b = c <= a ? c / 2 : a;
            line[4 * c] = uchar(r);
            line[4 * c + 1] = uchar(g);
            line[4 * c + 2] = uchar(b);
            line[4 * c + 3] = uchar(a);
        }
    }
    const cif::CIImage image = cif::CIImage::imageWithQImage(picture);
    for (WorkingSpace space : {WorkingSpace::LinearSRGB, WorkingSpace::None}) {
        cif::CIContext context(cif::CIContext::Options{space, 100});
        const QImage back = context.createQImage(image, image.extent());
        ASSERT_EQ(back.format(), QImage::Format_RGBA8888_Premultiplied);
        EXPECT_TRUE(back == picture) << "space " << int(space);
    }
}

// sRGB encoding of a linear value in double precision.
double referenceSrgb(double v) {
    return v <= 0.0031308 ? v * 12.92 : 1.055 * std::pow(v, 1.0 / 2.4) - 0.055;
}

// The pixels encoded by the vector encoder and by the scalar reference.
std::array<std::vector<uint8_t>, 2> encodeBothWays(const std::vector<float>& px) {
    const int n = int(px.size() / 4);
    std::array<std::vector<uint8_t>, 2> out{std::vector<uint8_t>(px.size()),
                                            std::vector<uint8_t>(px.size())};
    encodeRGBA8(px.data(), out[0].data(), n, WorkingSpace::LinearSRGB);
    encodeRGBA8Scalar(px.data(), out[1].data(), n, WorkingSpace::LinearSRGB);
    return out;
}

TEST(ColorSpace, EncoderPicksTheNearestSrgbCode) {
    // A dense sweep of opaque linear values; values within a hair of a
    // rounding boundary are left out, since float and double may differ there.
    std::mt19937 rng(7);
    std::uniform_real_distribution<double> jitter(0.0, 1.0);
    constexpr int kSteps = 1 << 18;
    std::vector<float> px;
    std::vector<int> want;
    for (int i = 0; i <= kSteps; ++i) {
        const double v = std::pow((i + jitter(rng)) / (kSteps + 1.0), 3.0);  // dense near black
        const double s = referenceSrgb(double(float(v))) * 255.0;
        if (std::abs(s - std::floor(s) - 0.5) < 1e-3) continue;
        px.insert(px.end(), {float(v), float(v), float(v), 1.0f});
        want.push_back(int(std::floor(s + 0.5)));
    }
    const int n = int(want.size());
    int wrong = 0;
    for (const std::vector<uint8_t>& out : encodeBothWays(px))
        for (int i = 0; i < n; ++i)
            wrong += out[4 * size_t(i)] != want[size_t(i)];
    EXPECT_EQ(wrong, 0) << "of " << n << " values";
}

TEST(ColorSpace, EncoderPicksTheNearestCodeUnderPartialAlpha) {
    // Partly transparent pixels: the unpremultiplied value's sRGB code
    // scaled by the alpha code, rounded; same sweep and boundary rule.
    std::mt19937 rng(5);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::vector<float> px;
    std::vector<std::array<int, 2>> want;  // colour, alpha
    for (int i = 0; i < (1 << 17); ++i) {
        const float a = float(0.002 + 0.996 * unit(rng));
        const float c = float(std::pow(unit(rng), 3.0)) * a;
        const int a8 = int(std::floor(double(a) * 255.0 + 0.5));
        const double s = referenceSrgb(double(c / a)) * a8;
        if (std::abs(s - std::floor(s) - 0.5) < 1e-3 || std::abs(a * 255.0 - a8) > 0.499) continue;
        px.insert(px.end(), {c, c, c, a});
        want.push_back({std::min(int(std::floor(s + 0.5)), a8), a8});
    }
    const int n = int(want.size());
    int wrong = 0;
    for (const std::vector<uint8_t>& out : encodeBothWays(px))
        for (int i = 0; i < n; ++i)
            wrong += out[4 * size_t(i)] != want[size_t(i)][0] ||
                     out[4 * size_t(i) + 3] != want[size_t(i)][1];
    EXPECT_EQ(wrong, 0) << "of " << n << " values";
}

TEST(ColorSpace, EncoderClampsOutOfRangeValues) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    // Four copies of each case so the vectorised path sees them too.
    const std::vector<std::pair<std::array<float, 4>, std::array<uint8_t, 4>>> cases = {
        {{2.0f, -1.0f, nan, 1.0f}, {255, 0, 0, 255}},   {{inf, -inf, 0.0f, 1.5f}, {255, 0, 0, 255}},
        {{0.9f, 0.5f, 0.0f, 0.5f}, {128, 128, 0, 128}},  // colour above alpha
        {{0.3f, 0.2f, 0.1f, nan}, {0, 0, 0, 0}},        {{0.3f, 0.2f, 0.1f, -0.5f}, {0, 0, 0, 0}},
        {{0.3f, 0.2f, 0.1f, 0.0f}, {0, 0, 0, 0}},
    };
    for (WorkingSpace space : {WorkingSpace::LinearSRGB, WorkingSpace::None}) {
        for (const auto& [in, want] : cases) {
            std::vector<float> src;
            for (int k = 0; k < 4; ++k)
                src.insert(src.end(), in.begin(), in.end());
            std::vector<uint8_t> out(16), outScalar(16);
            encodeRGBA8(src.data(), out.data(), 4, space);
            encodeRGBA8Scalar(src.data(), outScalar.data(), 4, space);
            for (int i = 0; i < 4; ++i)
                for (int k = 0; k < 4; ++k) {
                    EXPECT_EQ(out[4 * i + k], want[k])
                        << "space " << int(space) << " case " << in[0];
                    EXPECT_EQ(outScalar[4 * i + k], want[k])
                        << "space " << int(space) << " case " << in[0];
                }
        }
    }
}

TEST(ColorSpace, ColoursEnterTheWorkingSpacePremultiplied) {
    const double grey[4] = {0.5, 0.5, 0.5, 0.5};
    float out[4];
    colorToWorking(grey, out, WorkingSpace::None);
    EXPECT_FLOAT_EQ(out[0], 0.25f);
    EXPECT_FLOAT_EQ(out[3], 0.5f);
    colorToWorking(grey, out, WorkingSpace::LinearSRGB);
    EXPECT_NEAR(out[0], 0.2140411 * 0.5, 1e-6);  // sRGB 0.5 is linear 0.214
    EXPECT_FLOAT_EQ(out[3], 0.5f);

    // Extended range keeps its sign; alpha is clamped; non-finite parts are 0.
    const double wild[4] = {-0.5, 1.5, NAN, 2.0};
    colorToWorking(wild, out, WorkingSpace::LinearSRGB);
    EXPECT_NEAR(out[0], -0.2140411, 1e-6);
    EXPECT_GT(out[1], 1.0f);
    EXPECT_EQ(out[2], 0.0f);
    EXPECT_EQ(out[3], 1.0f);
}

}  // namespace
