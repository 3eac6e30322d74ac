// The colour built-ins: identity parameters give the picture back through
// the default (colour-managed, 8-bit) path, known colours map to values
// computed by hand without colour management, extents are the input's, bad
// parameters stay harmless, and the vectorised matrix span agrees with its
// scalar twin.

#include <gtest/gtest.h>

#include <QImage>
#include <QRectF>
#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "platform/CIPlatform.h"
#include "platform/builtins/color/ColorSpans.h"
#include "platform/image/CIContext.h"
#include "platform/image/CIFilter.h"
#include "platform/image/CIImage.h"
#include "platform/image/Nodes.h"

namespace {

using namespace cif;
using engine::SourceNode;
using engine::WorkingSpace;

class BuiltinColor : public ::testing::Test {
protected:
    static void SetUpTestSuite() { initializePlatform(); }
};

// ---------------------------------------------------------------- helpers

CIImage floatImage(int w, int h, std::vector<float> pixels, int x = 0, int y = 0) {
    auto owner = std::make_shared<std::vector<float>>(std::move(pixels));
    return CIImage::imageWithNode(
        std::make_shared<SourceNode>(owner, owner->data(), w, h, size_t(w) * 4 * sizeof(float),
                                     SourceNode::Format::FloatPremulBottomUp, x, y));
}

// One row of premultiplied pixels.
CIImage row(const std::vector<std::array<float, 4>>& pixels) {
    std::vector<float> px;
    for (const auto& p : pixels)
        px.insert(px.end(), p.begin(), p.end());
    return floatImage(int(pixels.size()), 1, px);
}

CIFloatBitmap renderExact(const CIImage& image, const QRectF& rect) {
    CIContext::Options options;
    options.workingSpace = WorkingSpace::None;
    CIContext context(options);
    CIFloatBitmap out;
    EXPECT_TRUE(context.renderToFloat(image, rect, out));
    return out;
}

CIImage apply(const char* name, const CIImage& input, const QVariantMap& values = {}) {
    auto f = CIFilter::filterWithName(QString::fromLatin1(name));
    if (!f) return {};
    if (!input.isNull()) f->setValueForKey(QVariant::fromValue(input), "inputImage");
    for (auto it = values.begin(); it != values.end(); ++it)
        f->setValueForKey(*it, it.key());
    return f->outputImage();
}

QVariant color(double r, double g, double b, double a = 1) {
    return QVariant::fromValue(CIColor(r, g, b, a));
}

// Colours in every corner of the cube, some translucent and transparent.
QImage picture8(int w, int h) {
    QImage img(w, h, QImage::Format_RGBA8888_Premultiplied);
    for (int y = 0; y < h; ++y) {
        uchar* line = img.scanLine(y);
        for (int x = 0; x < w; ++x) {
            const int a = (x + y) % 5 == 0 ? 0 : (x * 3 + y) % 4 == 0 ? 128 : 255;
            const int c[3] = {(x * 255) / (w - 1), (y * 255) / (h - 1), (x * 53 + y * 29) & 255};
            for (int k = 0; k < 3; ++k)
                line[4 * x + k] = uchar(c[k] * a / 255);
            line[4 * x + 3] = uchar(a);
        }
    }
    return img;
}

void expectPixel(const float* got, std::array<double, 4> want, const char* what,
                 double tolerance = 1e-5) {
    for (int c = 0; c < 4; ++c)
        EXPECT_NEAR(got[c], want[size_t(c)], tolerance) << what << ", channel " << c;
}

// ---------------------------------------------------------------- identities

TEST_F(BuiltinColor, IdentityParametersGiveThePictureBack) {
    const QImage pic = picture8(37, 23);
    const CIImage in = CIImage::imageWithQImage(pic);
    const struct {
        const char* name;
        QVariantMap values;
        int tolerance;  // in 8-bit levels
    } cases[] = {
        {"CIColorControls", {}, 0},
        {"CIExposureAdjust", {}, 0},
        {"CIGammaAdjust", {}, 0},
        {"CIHueAdjust", {}, 0},
        {"CIWhitePointAdjust", {}, 0},
        {"CIColorMonochrome", {{"inputIntensity", 0}}, 0},
        {"CISepiaTone", {{"inputIntensity", 0}}, 0},
        // A full turn of hue is the identity up to rounding.
        {"CIHueAdjust", {{"inputAngle", 2 * M_PI}}, 0},
        // Finer than 8-bit steps: every level comes back, translucent pixels
        // within one level of their premultiplied value.
        {"CIColorPosterize", {{"inputLevels", 300}}, 1},
        {"CIGammaAdjust", {{"inputPower", 1.0000001}}, 1},
    };
    CIContext context;
    for (const auto& c : cases) {
        const CIImage out = apply(c.name, in, c.values);
        ASSERT_FALSE(out.isNull()) << c.name;
        EXPECT_EQ(out.extent(), in.extent()) << c.name;
        const QImage got = context.createQImage(out, in.extent())
                               .convertToFormat(QImage::Format_RGBA8888_Premultiplied);
        ASSERT_EQ(got.size(), pic.size()) << c.name;
        int worst = 0;
        for (int y = 0; y < pic.height(); ++y)
            for (int x = 0; x < 4 * pic.width(); ++x)
                worst = std::max(
                    worst, std::abs(int(got.constScanLine(y)[x]) - int(pic.constScanLine(y)[x])));
        EXPECT_LE(worst, c.tolerance) << c.name;
    }
}

// ---------------------------------------------------------------- known colours

TEST_F(BuiltinColor, AdjustmentsGiveHandComputedColours) {
    // Straight (0.2, 0.4, 0.6): luminance 0.2126*0.2 + 0.7152*0.4 + 0.0722*0.6 = 0.37192.
    const CIImage in = row({{0.2f, 0.4f, 0.6f, 1}, {0.1f, 0.2f, 0.3f, 0.5f}});
    const QRectF r(0, 0, 2, 1);
    {
        // Grey 0.37192, contrast about 0.5 doubles its distance: 0.24384, plus 0.1.
        const CIFloatBitmap px = renderExact(
            apply("CIColorControls", in,
                  {{"inputSaturation", 0}, {"inputContrast", 2}, {"inputBrightness", 0.1}}),
            r);
        expectPixel(px.at(0, 0), {0.34384, 0.34384, 0.34384, 1}, "colour controls");
        expectPixel(px.at(1, 0), {0.17192, 0.17192, 0.17192, 0.5}, "colour controls, half alpha");
    }
    {
        const CIFloatBitmap px = renderExact(apply("CIExposureAdjust", in, {{"inputEV", -1}}), r);
        expectPixel(px.at(0, 0), {0.1, 0.2, 0.3, 1}, "exposure -1");
    }
    {
        // Straight 0.2 squared is 0.04; at half alpha premultiplied again.
        const CIFloatBitmap px = renderExact(apply("CIGammaAdjust", in, {{"inputPower", 2}}), r);
        expectPixel(px.at(0, 0), {0.04, 0.16, 0.36, 1}, "gamma 2");
        expectPixel(px.at(1, 0), {0.02, 0.08, 0.18, 0.5}, "gamma 2, half alpha");
    }
    {
        // A third of a turn about the grey axis takes red to green to blue.
        const CIImage primaries = row({{1, 0, 0, 1}, {0, 0.5f, 0, 0.5f}, {0.3f, 0.3f, 0.3f, 1}});
        const CIFloatBitmap px = renderExact(
            apply("CIHueAdjust", primaries, {{"inputAngle", 2 * M_PI / 3}}), QRectF(0, 0, 3, 1));
        expectPixel(px.at(0, 0), {0, 1, 0, 1}, "hue: red");
        expectPixel(px.at(1, 0), {0, 0, 0.5, 0.5}, "hue: green");
        expectPixel(px.at(2, 0), {0.3, 0.3, 0.3, 1}, "hue: grey");
    }
    {
        const CIFloatBitmap px =
            renderExact(apply("CIWhitePointAdjust", in, {{"inputColor", color(0.5, 1, 0.25)}}), r);
        expectPixel(px.at(0, 0), {0.1, 0.4, 0.15, 1}, "white point");
    }
    {
        // Row sums of the sepia matrix on white; half of it at intensity 0.5.
        const CIImage white = row({{1, 1, 1, 1}});
        const CIFloatBitmap px =
            renderExact(apply("CISepiaTone", white, {{"inputIntensity", 0.5}}), QRectF(0, 0, 1, 1));
        expectPixel(px.at(0, 0), {(1 + 1.351) / 2, (1 + 1.203) / 2, (1 + 0.937) / 2, 1}, "sepia");
    }
}

TEST_F(BuiltinColor, EffectsGiveHandComputedColours) {
    const CIImage ramp = row({{0, 0, 0, 1},
                              {1, 1, 1, 1},
                              {0.25f, 0.25f, 0.25f, 0.5f},
                              {0.2f, 0.7f, 0.4f, 1},
                              {0, 0, 0, 0}});
    const QRectF r(0, 0, 5, 1);
    {
        // Black takes colour 0, white colour 1 (with its alpha), grey in between.
        const CIFloatBitmap px = renderExact(
            apply("CIFalseColor", ramp,
                  {{"inputColor0", color(0.3, 0, 0)}, {"inputColor1", color(0, 1, 0.5, 0.5)}}),
            r);
        expectPixel(px.at(0, 0), {0.3, 0, 0, 1}, "false colour: black");
        expectPixel(px.at(1, 0), {0, 0.5, 0.25, 0.5}, "false colour: white");
        // Straight grey 0.5 at alpha 0.5: half-way colour (0.15, 0.25, 0.125, 0.75), times 0.5.
        expectPixel(px.at(2, 0), {0.075, 0.125, 0.0625, 0.375}, "false colour: grey");
        expectPixel(px.at(4, 0), {0, 0, 0, 0}, "false colour: transparent");
    }
    {
        // Monochrome keeps each pixel's luminance and takes the colour's hue.
        const CIFloatBitmap px = renderExact(
            apply("CIColorMonochrome", ramp, {{"inputColor", color(0.8, 0.4, 0.2)}}), r);
        const float* p = px.at(3, 0);
        EXPECT_NEAR(0.2126 * p[0] + 0.7152 * p[1] + 0.0722 * p[2],
                    0.2126 * 0.2 + 0.7152 * 0.7 + 0.0722 * 0.4, 1e-5);
        EXPECT_NEAR(p[0], 2 * p[1], 1e-5);
        EXPECT_NEAR(p[1], 2 * p[2], 1e-5);
        expectPixel(px.at(0, 0), {0, 0, 0, 1}, "monochrome: black");
    }
    {
        // Three levels are 0, 0.5 and 1.
        const CIImage levels = row({{0.2f, 0.3f, 0.8f, 1}, {0.1f, 0.2f, 0.4f, 0.5f}});
        const CIFloatBitmap px = renderExact(
            apply("CIColorPosterize", levels, {{"inputLevels", 3}}), QRectF(0, 0, 2, 1));
        expectPixel(px.at(0, 0), {0, 0.5, 1, 1}, "posterize");
        expectPixel(px.at(1, 0), {0, 0.25, 0.5, 0.5}, "posterize, half alpha");
    }
    {
        const CIFloatBitmap px = renderExact(apply("CIMaskToAlpha", ramp), r);
        expectPixel(px.at(0, 0), {0, 0, 0, 0}, "mask: black");
        expectPixel(px.at(1, 0), {1, 1, 1, 1}, "mask: white");
        expectPixel(px.at(2, 0), {0.25, 0.25, 0.25, 0.25}, "mask: grey");
    }
    {
        const CIFloatBitmap hi = renderExact(apply("CIMaximumComponent", ramp), r);
        const CIFloatBitmap lo = renderExact(apply("CIMinimumComponent", ramp), r);
        expectPixel(hi.at(3, 0), {0.7, 0.7, 0.7, 1}, "maximum component");
        expectPixel(lo.at(3, 0), {0.2, 0.2, 0.2, 1}, "minimum component");
        expectPixel(lo.at(2, 0), {0.25, 0.25, 0.25, 0.5}, "minimum component, grey");
    }
}

TEST_F(BuiltinColor, ColourInputsKeepTheirSRGBValuesInTheLinearWorkingSpace) {
    // Black maps to colour 0 exactly; through the colour-managed 8-bit path
    // the colour's sRGB components come back as bytes.
    QImage black(2, 2, QImage::Format_RGBA8888_Premultiplied);
    black.fill(Qt::black);
    const CIImage out = apply("CIFalseColor", CIImage::imageWithQImage(black),
                              {{"inputColor0", color(0.5, 0.25, 1)}});
    CIContext context;
    const QImage got = context.createQImage(out, QRectF(0, 0, 2, 2))
                           .convertToFormat(QImage::Format_RGBA8888_Premultiplied);
    ASSERT_FALSE(got.isNull());
    const uchar* p = got.constScanLine(1) + 4;
    EXPECT_NEAR(p[0], 128, 1);
    EXPECT_NEAR(p[1], 64, 1);
    EXPECT_EQ(p[2], 255);
    EXPECT_EQ(p[3], 255);
}

TEST_F(BuiltinColor, SpotColorReplacesOnlyColoursNearItsCentre) {
    const CIImage in = row({{0.5f, 0.25f, 0.25f, 1}, {0.55f, 0.25f, 0.25f, 1}, {0, 0, 1, 1}});
    QVariantMap values{{"inputCenterColor1", color(0.5, 0.25, 0.25)},
                       {"inputReplacementColor1", color(0, 1, 0)},
                       {"inputCloseness1", 0.2},
                       {"inputContrast1", 1},
                       {"inputCloseness2", 0},
                       {"inputCloseness3", 0}};
    CIFloatBitmap px = renderExact(apply("CISpotColor", in, values), QRectF(0, 0, 3, 1));
    expectPixel(px.at(0, 0), {0, 1, 0, 1}, "spot: the centre");
    expectPixel(px.at(1, 0), {0, 1, 0, 1}, "spot: near the centre, hard edge");
    expectPixel(px.at(2, 0), {0, 0, 1, 1}, "spot: far away");
    // A soft edge keeps part of a pixel away from the centre.
    values["inputContrast1"] = 0;
    px = renderExact(apply("CISpotColor", in, values), QRectF(0, 0, 3, 1));
    expectPixel(px.at(0, 0), {0, 1, 0, 1}, "spot: the centre, soft edge");
    EXPECT_GT(px.at(1, 0)[0], 0.01f);
    EXPECT_LT(px.at(1, 0)[0], 0.55f);
}

TEST_F(BuiltinColor, ColorMapLooksUpLuminanceAlongTheGradient) {
    // Red, green, blue from left to right, three rows high (the middle row is read).
    std::vector<float> gradient;
    for (int y = 0; y < 3; ++y) {
        const float v = y == 1 ? 1.0f : 0.5f;
        const float px[12] = {v, 0, 0, 1, 0, v, 0, 1, 0, 0, v, 1};
        gradient.insert(gradient.end(), px, px + 12);
    }
    const CIImage in =
        row({{0, 0, 0, 1}, {1, 1, 1, 1}, {0.5f, 0.5f, 0.5f, 1}, {0.25f, 0.25f, 0.25f, 0.5f}});
    const CIImage out =
        apply("CIColorMap", in,
              {{"inputGradientImage", QVariant::fromValue(floatImage(3, 3, gradient, 7, -4))}});
    EXPECT_EQ(out.extent(), in.extent());
    const CIFloatBitmap px = renderExact(out, QRectF(0, 0, 4, 1));
    expectPixel(px.at(0, 0), {1, 0, 0, 1}, "colour map: black");
    expectPixel(px.at(1, 0), {0, 0, 1, 1}, "colour map: white");
    expectPixel(px.at(2, 0), {0, 1, 0, 1}, "colour map: grey");
    expectPixel(px.at(3, 0), {0, 0.5, 0, 0.5}, "colour map: translucent grey");
    // Without a usable gradient the picture comes back.
    EXPECT_EQ(apply("CIColorMap", in).node(), in.node());
    EXPECT_EQ(apply("CIColorMap", in,
                    {{"inputGradientImage",
                      QVariant::fromValue(CIImage::imageWithColor(CIColor(1, 0, 0)))}})
                  .node(),
              in.node());
}

// ---------------------------------------------------------------- robustness

TEST_F(BuiltinColor, ExtentsAreTheInputsAndBadParametersAreHarmless) {
    const CIImage in = floatImage(3, 2, std::vector<float>(24, 0.5f), -5, 9);
    const double nan = std::numeric_limits<double>::quiet_NaN(),
                 inf = std::numeric_limits<double>::infinity();
    const char* names[] = {"CIColorControls",    "CIExposureAdjust",   "CIGammaAdjust",
                           "CIHueAdjust",        "CIWhitePointAdjust", "CIColorMonochrome",
                           "CIColorPosterize",   "CIFalseColor",       "CISepiaTone",
                           "CISpotColor",        "CIColorMap",         "CIMaskToAlpha",
                           "CIMaximumComponent", "CIMinimumComponent"};
    for (const char* name : names) {
        EXPECT_TRUE(apply(name, {}).isNull()) << name;
        const CIImage out = apply(name, in);
        ASSERT_FALSE(out.isNull()) << name;
        EXPECT_EQ(out.extent(), in.extent()) << name;
        // Every number input set to NaN, then to +-infinity and absurd sizes.
        auto f = CIFilter::filterWithName(name);
        for (double bad : {nan, inf, -inf, 1e300, -1e300}) {
            f->setValueForKey(QVariant::fromValue(in), "inputImage");
            for (const QString& key : f->inputKeys())
                if (f->attributes().value(key).toMap().value("CIAttributeClass") == "NSNumber")
                    f->setValueForKey(bad, key);
            const CIImage img = f->outputImage();
            ASSERT_FALSE(img.isNull()) << name;
            EXPECT_EQ(img.extent(), in.extent()) << name;
            const CIFloatBitmap px = renderExact(img, in.extent());
            EXPECT_EQ(px.width, 3) << name;
        }
    }
}

TEST_F(BuiltinColor, OutputDoesNotDependOnTilesOrThreads) {
    // The colour map renders its gradient for every tile; a blend mode reads
    // two inputs. Both must give the same bits for any split of the output.
    const CIImage pic = CIImage::imageWithQImage(picture8(53, 41));
    const CIImage backdrop = CIImage::imageWithQImage(picture8(29, 61).mirrored(true, false));
    const CIImage recipes[] = {
        apply("CIColorMap", pic, {{"inputGradientImage", QVariant::fromValue(backdrop)}}),
        apply("CIColorControls", pic, {{"inputContrast", 1.5}, {"inputSaturation", 0.3}}),
        apply("CISpotColor", pic),
    };
    for (const CIImage& image : recipes) {
        ASSERT_FALSE(image.isNull());
        CIFloatBitmap reference;
        for (int tile : {256, 16, 7})
            for (int threads : {1, 2}) {
                CIContext context;
                context.setTileSize(tile);
                context.setThreads(threads);
                CIFloatBitmap out;
                ASSERT_TRUE(context.renderToFloat(image, QRectF(-3, -2, 60, 45), out));
                if (reference.pixels.empty()) {
                    reference = std::move(out);
                    continue;
                }
                ASSERT_EQ(out.pixels.size(), reference.pixels.size());
                EXPECT_EQ(std::memcmp(out.pixels.data(), reference.pixels.data(),
                                      out.pixels.size() * sizeof(float)),
                          0)
                    << "tile " << tile << ", threads " << threads;
            }
    }
}

TEST(BuiltinColorSpans, MatrixSpanAgreesWithItsScalarTwinAtEveryLength) {
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> value(-0.5f, 1.5f);
    // A general matrix, and one whose alpha row keeps alpha (a path of its own).
    float general[16], keep[16];
    for (int i = 0; i < 16; ++i)
        general[i] = keep[i] = value(rng);
    keep[12] = keep[13] = keep[14] = 0.0f;
    keep[15] = 1.0f;
    for (const float* m : {general, keep})
        for (int n = 0; n <= 19; ++n) {
            std::vector<float> a(size_t(n) * 4);
            for (float& v : a)
                v = value(rng);
            std::vector<float> b = a;
            builtins::premulMatrixSpan(a.data(), n, m);
            builtins::premulMatrixSpanScalar(b.data(), n, m);
            EXPECT_TRUE(a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0)
                << "length " << n;
        }
}

TEST(BuiltinColorSpans, GammaSpanStaysWithinAFewUlpOfPow) {
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> value(-0.2f, 1.2f), alpha(0.0f, 1.0f);
    for (float power : {0.25f, 0.8f, 2.2f, 4.0f})
        for (int n = 0; n <= 19; ++n) {
            std::vector<float> a(size_t(n) * 4);
            for (size_t i = 0; i < a.size(); i += 4) {
                const float cover = rng() % 4 == 0 ? 0.0f : alpha(rng);
                for (size_t c = 0; c < 3; ++c)
                    a[i + c] = value(rng) * cover;
                a[i + 3] = cover;
            }
            std::vector<float> b = a;
            builtins::gammaSpan(a.data(), n, power);
            builtins::gammaSpanScalar(b.data(), n, power);
            for (size_t i = 0; i < a.size(); ++i)
                ASSERT_NEAR(a[i], b[i], 1e-6 + 4e-6 * std::abs(b[i]))
                    << "power " << power << ", length " << n << ", value " << i;
        }
}

}  // namespace
