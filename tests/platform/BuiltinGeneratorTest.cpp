// The generator built-ins and the spot light: documented colours at the
// documented points (gradient centres and ends, checkerboard cells), periods
// and symmetry of the patterns, noise that does not depend on how the render
// is tiled, and infinite extents.

#include <gtest/gtest.h>

#include <QVariant>
#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "platform/CIPlatform.h"
#include "platform/builtins/generator/GeneratorSimd.h"
#include "platform/image/CIContext.h"
#include "platform/image/CIFilter.h"

namespace {

using namespace cif;

class Generators : public ::testing::Test {
protected:
    static void SetUpTestSuite() { initializePlatform(); }
};

// Makes the named filter with its defaults and the given inputs.
CIImage make(const char* name, const QVariantMap& values = {}) {
    auto f = CIFilter::filterWithName(QString::fromLatin1(name));
    if (!f) return {};
    for (auto it = values.begin(); it != values.end(); ++it)
        f->setValueForKey(*it, it.key());
    return f->outputImage();
}

QVariant vec(std::initializer_list<double> v) {
    return QVariant::fromValue(CIVector(v));
}
QVariant color(double r, double g, double b, double a = 1) {
    return QVariant::fromValue(CIColor(r, g, b, a));
}

// Renders rect without colour management, so values are the inputs' own.
CIFloatBitmap render(const CIImage& image, const QRectF& rect, int tile = 256, int threads = 0) {
    CIContext::Options o;
    o.workingSpace = engine::WorkingSpace::None;
    o.tileSize = tile;
    o.threads = threads;
    CIContext context(o);
    CIFloatBitmap out;
    EXPECT_TRUE(context.renderToFloat(image, rect, out));
    return out;
}

// The pixel whose centre is at (x + 0.5, y + 0.5) of a bitmap of rect.
struct Px {
    float v[4];
};
Px pixel(const CIFloatBitmap& b, const QRectF& rect, int x, int y) {
    const float* p = b.at(x - int(rect.x()), y - int(rect.y()));
    return {{p[0], p[1], p[2], p[3]}};
}

void expectPixel(const Px& p, float r, float g, float b, float a, float tol = 1e-5f) {
    EXPECT_NEAR(p.v[0], r, tol);
    EXPECT_NEAR(p.v[1], g, tol);
    EXPECT_NEAR(p.v[2], b, tol);
    EXPECT_NEAR(p.v[3], a, tol);
}

TEST_F(Generators, GeneratorsAreInfiniteAndSpotLightKeepsItsInput) {
    for (const char* name :
         {"CIRadialGradient", "CILinearGradient", "CIGaussianGradient", "CICheckerboardGenerator",
          "CIStripesGenerator", "CIRandomGenerator", "CILenticularHaloGenerator",
          "CIStarShineGenerator", "CISunbeamsGenerator"}) {
        const CIImage img = make(name);
        ASSERT_FALSE(img.isNull()) << name;
        EXPECT_TRUE(img.isInfinite()) << name;
    }
    const CIImage in =
        CIImage::imageWithColor(CIColor(0.5, 0.5, 0.5)).imageByCroppingToRect(QRectF(3, 4, 20, 10));
    EXPECT_EQ(make("CISpotLight", {{"inputImage", QVariant::fromValue(in)}}).extent(),
              QRectF(3, 4, 20, 10));
    EXPECT_TRUE(make("CISpotLight").isNull());  // no image
}

TEST_F(Generators, RadialGradientRunsFromColour0AtRadius0ToColour1AtRadius1) {
    // Centre at a pixel centre's corner so pixel (x, 0) lies at distance x + 0.5 - 0.5 = x.
    const QVariantMap in{{"inputCenter", vec({0.5, 0.5})},
                         {"inputRadius0", 2.0},
                         {"inputRadius1", 12.0},
                         {"inputColor0", color(1, 0.5, 0, 1)},
                         {"inputColor1", color(0, 0, 1, 1)}};
    const QRectF rect(-20, -20, 40, 40);
    const CIFloatBitmap b = render(make("CIRadialGradient", in), rect);
    expectPixel(pixel(b, rect, 0, 0), 1, 0.5f, 0, 1);
    expectPixel(pixel(b, rect, 2, 0), 1, 0.5f, 0, 1);
    expectPixel(pixel(b, rect, 7, 0), 0.5f, 0.25f, 0.5f, 1);   // halfway
    expectPixel(pixel(b, rect, 0, -7), 0.5f, 0.25f, 0.5f, 1);  // any direction
    expectPixel(pixel(b, rect, 12, 0), 0, 0, 1, 1);
    expectPixel(pixel(b, rect, 19, 19), 0, 0, 1, 1);
    // Radius 0 larger than radius 1 turns the gradient inside out.
    QVariantMap swapped = in;
    swapped["inputRadius0"] = 12.0;
    swapped["inputRadius1"] = 2.0;
    const CIFloatBitmap s = render(make("CIRadialGradient", swapped), rect);
    expectPixel(pixel(s, rect, 0, 0), 0, 0, 1, 1);
    expectPixel(pixel(s, rect, 15, 0), 1, 0.5f, 0, 1);
}

TEST_F(Generators, LinearGradientRunsAlongTheLineAndIsConstantAcrossIt) {
    const QRectF rect(0, 0, 30, 30);
    const CIFloatBitmap b = render(make("CILinearGradient", {{"inputPoint0", vec({5.5, 5.5})},
                                                             {"inputPoint1", vec({25.5, 5.5})},
                                                             {"inputColor0", color(0, 0, 0, 0)},
                                                             {"inputColor1", color(1, 1, 1, 1)}}),
                                   rect);
    expectPixel(pixel(b, rect, 0, 3), 0, 0, 0, 0);
    expectPixel(pixel(b, rect, 5, 29), 0, 0, 0, 0);
    expectPixel(pixel(b, rect, 15, 0), 0.5f, 0.5f, 0.5f, 0.5f);
    expectPixel(pixel(b, rect, 15, 22), 0.5f, 0.5f, 0.5f, 0.5f);
    expectPixel(pixel(b, rect, 25, 7), 1, 1, 1, 1);
    expectPixel(pixel(b, rect, 29, 7), 1, 1, 1, 1);
}

TEST_F(Generators, GaussianGradientFallsFromColour0AtTheCentreSymmetrically) {
    const QRectF rect(0, 0, 41, 41);
    const CIFloatBitmap b = render(
        make("CIGaussianGradient", {{"inputCenter", vec({20.5, 20.5})}, {"inputRadius", 15.0}}),
        rect);
    // Defaults: opaque white to transparent black.
    expectPixel(pixel(b, rect, 20, 20), 1, 1, 1, 1);
    float previous = 2;
    for (int x = 20; x <= 40; ++x) {
        const float a = pixel(b, rect, x, 20).v[3];
        EXPECT_LT(a, previous) << x;
        previous = a;
        EXPECT_FLOAT_EQ(a, pixel(b, rect, 40 - x, 20).v[3]);
        EXPECT_FLOAT_EQ(a, pixel(b, rect, 20, x).v[3]);
    }
    EXPECT_LT(pixel(b, rect, 35, 20).v[3], 0.02f);  // faded at the radius
}

TEST_F(Generators, CheckerboardHasItsPeriodColoursAndCentre) {
    const double w = 6;
    const QRectF rect(-30, -30, 60, 60);
    const CIFloatBitmap b =
        render(make("CICheckerboardGenerator", {{"inputCenter", vec({0, 0})},
                                                {"inputWidth", w},
                                                {"inputColor0", color(1, 0, 0)},
                                                {"inputColor1", color(0, 0, 1, 0.5)}}),
               rect);
    // Colour 0 fills the cell above and right of the centre; neighbours swap.
    expectPixel(pixel(b, rect, 2, 2), 1, 0, 0, 1);
    expectPixel(pixel(b, rect, -3, 2), 0, 0, 0.5f, 0.5f);
    expectPixel(pixel(b, rect, 2, -3), 0, 0, 0.5f, 0.5f);
    expectPixel(pixel(b, rect, -3, -3), 1, 0, 0, 1);
    // Period 2w in both directions, every pixel.
    for (int y = -30; y < 18; ++y)
        for (int x = -30; x < 18; ++x) {
            const Px p = pixel(b, rect, x, y), q = pixel(b, rect, x + 12, y),
                     r = pixel(b, rect, x, y + 12), s = pixel(b, rect, x + 6, y + 6),
                     t = pixel(b, rect, x + 6, y);
            for (int k = 0; k < 4; ++k) {
                ASSERT_EQ(p.v[k], q.v[k]) << x << "," << y;
                ASSERT_EQ(p.v[k], r.v[k]) << x << "," << y;
                ASSERT_EQ(p.v[k], s.v[k]) << x << "," << y;
            }
            ASSERT_NE(p.v[3], t.v[3]) << x << "," << y;
        }
    // Sharpness 0 blends across a whole half cell: the middle of an edge is
    // the average of the two colours.
    const CIFloatBitmap soft =
        render(make("CICheckerboardGenerator", {{"inputCenter", vec({0.5, 0})},
                                                {"inputWidth", w},
                                                {"inputSharpness", 0.0},
                                                {"inputColor0", color(1, 1, 1)},
                                                {"inputColor1", color(0, 0, 0)}}),
               rect);
    expectPixel(pixel(soft, rect, 0, 3), 0.5f, 0.5f, 0.5f, 1);
    // One pixel (of 3) from the vertical edge, 2.5 from the horizontal one:
    // 0.5 + 0.5 (1 / 3) (2.5 / 3).
    const float v = 0.5f + 0.5f * (1.0f / 3) * (2.5f / 3);
    expectPixel(pixel(soft, rect, 1, 3), v, v, v, 1);
    // Sharp edges through pixel centres are anti-aliased: half of each colour.
    const CIFloatBitmap sharp =
        render(make("CICheckerboardGenerator", {{"inputCenter", vec({0.5, 0})},
                                                {"inputWidth", w},
                                                {"inputColor0", color(1, 1, 1)},
                                                {"inputColor1", color(0, 0, 0)}}),
               rect);
    expectPixel(pixel(sharp, rect, 0, 3), 0.5f, 0.5f, 0.5f, 1);
    expectPixel(pixel(sharp, rect, 1, 3), 1, 1, 1, 1);
}

TEST_F(Generators, StripesAreVerticalWithPeriodTwiceTheWidth) {
    const QRectF rect(0, 0, 40, 5);
    const CIFloatBitmap b = render(
        make("CIStripesGenerator", {{"inputCenter", vec({10, 0})}, {"inputWidth", 5.0}}), rect);
    expectPixel(pixel(b, rect, 12, 0), 1, 1, 1, 1);  // colour 0 right of the centre
    expectPixel(pixel(b, rect, 17, 0), 0, 0, 0, 1);
    expectPixel(pixel(b, rect, 7, 0), 0, 0, 0, 1);
    for (int x = 0; x < 30; ++x)
        for (int y = 0; y < 5; ++y) {
            EXPECT_EQ(pixel(b, rect, x, y).v[0], pixel(b, rect, x, 0).v[0]);
            EXPECT_EQ(pixel(b, rect, x, y).v[0], pixel(b, rect, x + 10, y).v[0]);
        }
}

TEST_F(Generators, RandomNoiseIsTheSameForAnyTilingAndRenderAndUniform) {
    const CIImage noise = make("CIRandomGenerator");
    const QRectF rect(-37, 11, 90, 70);
    const CIFloatBitmap ref = render(noise, rect, 256, 1);
    for (const auto& [tile, threads] : {std::pair{7, 2}, {64, 1}, {33, 2}}) {
        const CIFloatBitmap b = render(noise, rect, tile, threads);
        ASSERT_EQ(b.pixels, ref.pixels) << tile;
    }
    // A shifted window shows the same values at the same positions.
    const QRectF shifted(-10, 40, 30, 30);
    const CIFloatBitmap s = render(noise, shifted);
    for (int y = 40; y < 70; ++y)
        for (int x = -10; x < 20; ++x)
            for (int k = 0; k < 4; ++k)
                ASSERT_EQ(pixel(s, shifted, x, y).v[k], pixel(ref, rect, x, y).v[k]);
    // Valid premultiplied values, alpha uniform in [0, 1), neighbours differ.
    double sum = 0, sumSq = 0;
    int equalNeighbours = 0;
    const int n = int(ref.pixels.size() / 4);
    for (int i = 0; i < n; ++i) {
        const float* p = &ref.pixels[size_t(i) * 4];
        ASSERT_GE(p[3], 0.0f);
        ASSERT_LT(p[3], 1.0f);
        for (int k = 0; k < 3; ++k)
            ASSERT_TRUE(p[k] >= 0 && p[k] <= p[3]);
        sum += p[3];
        sumSq += double(p[3]) * p[3];
        if (i > 0 && p[3] == p[-1]) ++equalNeighbours;
    }
    EXPECT_NEAR(sum / n, 0.5, 0.02);
    EXPECT_NEAR(sumSq / n - (sum / n) * (sum / n), 1.0 / 12, 0.01);
    EXPECT_LT(equalNeighbours, 3);
}

TEST_F(Generators, EveryGeneratorIsTheSameForAnyTiling) {
    const CIImage grey =
        CIImage::imageWithColor(CIColor(0.4, 0.5, 0.6)).imageByCroppingToRect(QRectF(0, 0, 90, 70));
    const QRectF rect(3, -5, 80, 60);
    for (const char* name :
         {"CIRadialGradient", "CILinearGradient", "CIGaussianGradient", "CICheckerboardGenerator",
          "CIStripesGenerator", "CILenticularHaloGenerator", "CIStarShineGenerator",
          "CISunbeamsGenerator", "CISpotLight"}) {
        // Centres and sizes that put the interesting part inside the rect.
        QVariantMap in{{"inputImage", QVariant::fromValue(grey)}};
        const QVariantMap attrs = CIFilter::classAttributesForName(name);
        if (attrs.contains("inputCenter")) in["inputCenter"] = vec({40.3, 20.7});
        for (const char* key : {"inputRadius", "inputRadius1", "inputHaloRadius", "inputWidth"})
            if (attrs.contains(key)) in[key] = 17.5;
        if (attrs.contains("inputSunRadius")) in["inputSunRadius"] = 9.0;
        const CIImage img = make(name, in);
        const CIFloatBitmap ref = render(img, rect, 256, 1);
        EXPECT_EQ(render(img, rect, 7, 2).pixels, ref.pixels) << name;
        EXPECT_EQ(render(img, rect, 32, 2).pixels, ref.pixels) << name;
    }
}

TEST_F(Generators, LightsAreTheirColourWhereFullAndClearFarAway) {
    const QRectF rect(0, 0, 300, 300);
    const QVariantMap centre{{"inputCenter", vec({150.5, 150.5})}};
    // The sun is its colour at the centre, the star's hot centre whiter;
    // nothing far outside either.
    for (const char* name : {"CISunbeamsGenerator", "CIStarShineGenerator"}) {
        QVariantMap in = centre;
        in["inputColor"] = color(1, 0.5, 0.25, 1);
        const CIFloatBitmap b = render(make(name, in), rect);
        const Px c = pixel(b, rect, 150, 150);
        if (QLatin1String(name) == QLatin1String("CISunbeamsGenerator"))
            expectPixel(c, 1, 0.5f, 0.25f, 1);
        else
            EXPECT_TRUE(c.v[0] == 1 && c.v[1] > 0.5f && c.v[2] > 0.25f && c.v[3] == 1);
        EXPECT_LT(pixel(b, rect, 299, 290).v[3], 0.02f) << name;
        for (float v : b.pixels)
            ASSERT_TRUE(v >= 0 && v <= 1) << name;
    }
    // The halo is a ring: clear at the centre and far out, lit at its radius.
    const CIFloatBitmap h =
        render(make("CILenticularHaloGenerator", {{"inputCenter", vec({150.5, 150.5})},
                                                  {"inputHaloRadius", 70.0},
                                                  {"inputHaloWidth", 30.0},
                                                  {"inputHaloOverlap", 1.0},
                                                  {"inputStriationStrength", 0.0}}),
               rect);
    EXPECT_EQ(pixel(h, rect, 150, 150).v[3], 0.0f);
    EXPECT_EQ(pixel(h, rect, 299, 150).v[3], 0.0f);
    EXPECT_GT(pixel(h, rect, 220, 150).v[3], 0.5f);
    EXPECT_NEAR(pixel(h, rect, 220, 150).v[3], pixel(h, rect, 150, 80).v[3], 1e-5f);
}

TEST_F(Generators, SpotLightStraightDownLightsTheSpotBelowByItsBrightness) {
    const QRectF rect(0, 0, 41, 41);
    const CIImage grey =
        CIImage::imageWithColor(CIColor(0.4, 0.4, 0.4, 0.5)).imageByCroppingToRect(rect);
    const CIFloatBitmap b =
        render(make("CISpotLight", {{"inputImage", QVariant::fromValue(grey)},
                                    {"inputLightPosition", vec({20.5, 20.5, 100})},
                                    {"inputLightPointsAt", vec({20.5, 20.5, 0})},
                                    {"inputBrightness", 2.0},
                                    {"inputConcentration", 50.0},
                                    {"inputColor", color(1, 0.5, 1)}}),
               rect);
    // Under the light: incidence and spot factors are both 1.
    expectPixel(pixel(b, rect, 20, 20), 0.4f * 0.5f * 2, 0.2f * 0.5f * 2, 0.4f * 0.5f * 2, 0.5f);
    // Off the axis the spot falls off symmetrically; alpha is never changed.
    const float edge = pixel(b, rect, 40, 20).v[0];
    // 20 pixels off the axis, 100 below: both factors are cos = 100 / sqrt(100^2 + 20^2),
    // the spot's to the concentration's power.
    const double c = 100 / std::sqrt(10400.0);
    EXPECT_NEAR(edge, 0.4 * std::pow(c, 51), 1e-5);
    EXPECT_FLOAT_EQ(edge, pixel(b, rect, 0, 20).v[0]);
    EXPECT_FLOAT_EQ(edge, pixel(b, rect, 20, 40).v[0]);
    for (size_t i = 3; i < b.pixels.size(); i += 4)
        ASSERT_EQ(b.pixels[i], 0.5f);
}

// The vectorised spans against their scalar twins, bit for bit, for every
// tail length and starting column.
TEST(GeneratorSpans, VectorAndScalarPathsAgreeBitForBit) {
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> u(-2, 2);
    const float c0[4] = {0.9f, 0.2f, 0.1f, 1}, c1[4] = {0.05f, 0.3f, 0.25f, 0.5f};
    for (int n = 0; n <= 40; ++n) {
        const int x = int(u(rng) * 1000);
        const float off = u(rng) * 100, dy2 = u(rng) * u(rng) * 900, r0 = u(rng) * 5 + 5;
        for (float k : {0.05f, -0.2f, 1e6f}) {
            std::vector<float> a(size_t(n) * 4, -1), b(size_t(n) * 4, -1);
            builtins::radialGradientSpan(a.data(), n, x, off, dy2, r0, k, c0, c1);
            builtins::radialGradientSpanScalar(b.data(), n, x, off, dy2, r0, k, c0, c1);
            ASSERT_EQ(a, b) << n;
        }
        std::vector<float> target(size_t(n) * 4), src(size_t(n) * 4);
        for (float& v : target)
            v = u(rng);
        for (float& v : src)
            v = u(rng);
        std::vector<float> a = src, b = src;
        builtins::dissolveSpan(target.data(), a.data(), n, 0.37f);
        builtins::dissolveSpanScalar(target.data(), b.data(), n, 0.37f);
        ASSERT_EQ(a, b) << n;
    }
}

}  // namespace
