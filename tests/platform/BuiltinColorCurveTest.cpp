// Curve, look, palette and mask-blend built-ins: identity parameters give the
// picture back, curves pass through their control points, polynomials and
// blends give hand-computed values, whole-picture analyses (Otsu, palette
// centroids) find what the test planted, and every output is the same for
// any tile size and thread count.

#include <gtest/gtest.h>

#include <QImage>
#include <QRectF>
#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "platform/CIPlatform.h"
#include "platform/image/CIContext.h"
#include "platform/image/CIFilter.h"
#include "platform/image/CIImage.h"
#include "platform/image/Nodes.h"

namespace {

using namespace cif;
using engine::SourceNode;
using engine::WorkingSpace;
using Px = std::array<float, 4>;

class BuiltinColorCurve : public ::testing::Test {
protected:
    static void SetUpTestSuite() { initializePlatform(); }
};

CIImage floatImage(int w, int h, std::vector<float> pixels, int x = 0, int y = 0) {
    auto owner = std::make_shared<std::vector<float>>(std::move(pixels));
    return CIImage::imageWithNode(
        std::make_shared<SourceNode>(owner, owner->data(), w, h, size_t(w) * 4 * sizeof(float),
                                     SourceNode::Format::FloatPremulBottomUp, x, y));
}

CIImage row(const std::vector<Px>& pixels) {
    std::vector<float> px;
    for (const Px& p : pixels)
        px.insert(px.end(), p.begin(), p.end());
    return floatImage(int(pixels.size()), 1, px);
}

CIFloatBitmap renderExact(const CIImage& image, const QRectF& rect, int tile = 0, int threads = 0) {
    CIContext::Options options;
    options.workingSpace = WorkingSpace::None;
    CIContext context(options);
    if (tile) context.setTileSize(tile);
    if (threads) context.setThreads(threads);
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

QVariant image(const CIImage& i) {
    return QVariant::fromValue(i);
}
QVariant vec(std::initializer_list<double> v) {
    return QVariant::fromValue(CIVector(v));
}

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

void expectPixel(const float* got, Px want, const char* what, double tolerance = 1e-5) {
    for (int c = 0; c < 4; ++c)
        EXPECT_NEAR(got[c], want[size_t(c)], tolerance) << what << ", channel " << c;
}

int worstByteDifference(const QImage& a, const QImage& b) {
    int worst = 0;
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < 4 * a.width(); ++x)
            worst =
                std::max(worst, std::abs(int(a.constScanLine(y)[x]) - int(b.constScanLine(y)[x])));
    return worst;
}

TEST_F(BuiltinColorCurve, IdentityParametersGiveThePictureBack) {
    const QImage pic = picture8(37, 23);
    const CIImage in = CIImage::imageWithQImage(pic);
    const CIImage other = CIImage::imageWithQImage(pic.mirrored(true, true));
    const struct {
        const char* name;
        CIImage input;
        QVariantMap values;
        int tolerance;
    } cases[] = {
        {"CIColorPolynomial", in, {}, 0},
        {"CIColorCrossPolynomial", in, {}, 0},
        {"CIToneCurve", in, {}, 0},
        {"CITemperatureAndTint", in, {}, 0},
        {"CIVibrance", in, {}, 0},
        {"CIDither", in, {{"inputIntensity", 0}}, 0},
        {"CIHighlightShadowAdjust", in, {}, 0},
        {"CIColorClamp", in, {}, 0},
        {"CIMix", in, {{"inputBackgroundImage", image(other)}}, 0},
        {"CIBlendWithAlphaMask",
         in,
         {{"inputBackgroundImage", image(other)},
          {"inputMaskImage", image(CIImage::imageWithColor(CIColor(0, 0, 0, 1)))}},
         0},
        // Round trips through a curve and its inverse, within rounding.
        {"CISRGBToneCurveToLinear", apply("CILinearToSRGBToneCurve", in), {}, 1},
        {"CIDisparityToDepth", apply("CIDepthToDisparity", in), {}, 1},
        // Warmer there and back again.
        {"CITemperatureAndTint",
         apply("CITemperatureAndTint", in, {{"inputNeutral", vec({8000, 20})}}),
         {{"inputTargetNeutral", vec({8000, 20})}},
         1},
    };
    CIContext context;
    for (const auto& c : cases) {
        ASSERT_FALSE(c.input.isNull()) << c.name;
        const CIImage out = apply(c.name, c.input, c.values);
        ASSERT_FALSE(out.isNull()) << c.name;
        const QImage got = context.createQImage(out, in.extent())
                               .convertToFormat(QImage::Format_RGBA8888_Premultiplied);
        ASSERT_EQ(got.size(), pic.size()) << c.name;
        EXPECT_LE(worstByteDifference(got, pic), c.tolerance) << c.name;
    }
}

TEST_F(BuiltinColorCurve, ToneCurvesPassThroughTheirControlPoints) {
    // Without colour management the curve works on the values themselves.
    const float xs[5] = {0.0f, 0.2f, 0.45f, 0.7f, 1.0f}, ys[5] = {0.1f, 0.15f, 0.6f, 0.65f, 0.9f};
    QVariantMap points;
    std::vector<Px> pixels;
    for (int i = 0; i < 5; ++i) {
        points["inputPoint" + QString::number(i)] = vec({xs[i], ys[i]});
        pixels.push_back({xs[i], xs[i], xs[i], 1});
    }
    // Between points and beyond them: monotone and flat outside.
    for (float x : {0.1f, 0.3f, 0.5f, 0.6f, 0.9f, 1.5f})
        pixels.push_back({x, x, x, 1});
    const CIFloatBitmap px = renderExact(apply("CIToneCurve", row(pixels), points),
                                         QRectF(0, 0, double(pixels.size()), 1));
    for (int i = 0; i < 5; ++i)
        expectPixel(px.at(i, 0), {ys[i], ys[i], ys[i], 1}, "control point");
    const auto at = [&](int i) { return px.at(i, 0)[0]; };
    EXPECT_GT(at(5), ys[0]);
    EXPECT_LT(at(5), ys[1]);
    EXPECT_GE(at(8), ys[2]);  // between two close ys: no overshoot beyond them
    EXPECT_LE(at(8), ys[3]);
    EXPECT_FLOAT_EQ(at(10), ys[4]);
}

TEST_F(BuiltinColorCurve, PolynomialsClampsAndThresholdsGiveHandComputedValues) {
    const CIImage in = row({{0.2f, 0.4f, 0.6f, 1}, {0.1f, 0.2f, 0.3f, 0.5f}});
    const QRectF r(0, 0, 2, 1);
    {
        // Red 0.1 + 2 v^2; alpha squared.
        const CIFloatBitmap px = renderExact(apply("CIColorPolynomial", in,
                                                   {{"inputRedCoefficients", vec({0.1, 0, 2, 0})},
                                                    {"inputAlphaCoefficients", vec({0, 0, 1, 0})}}),
                                             r);
        expectPixel(px.at(0, 0), {0.18f, 0.4f, 0.6f, 1}, "polynomial");
        // Straight (0.2, 0.4, 0.6) at alpha 0.25.
        expectPixel(px.at(1, 0), {0.18f * 0.25f, 0.1f, 0.15f, 0.25f}, "polynomial, half alpha");
    }
    {
        // Red from g * b, green from the constant, blue from r^2.
        const CIFloatBitmap px =
            renderExact(apply("CIColorCrossPolynomial", in,
                              {{"inputRedCoefficients", vec({0, 0, 0, 0, 0, 0, 0, 1, 0, 0})},
                               {"inputGreenCoefficients", vec({0, 0, 0, 0, 0, 0, 0, 0, 0, 0.5})},
                               {"inputBlueCoefficients", vec({0, 0, 0, 1, 0, 0, 0, 0, 0, 0})}}),
                        r);
        expectPixel(px.at(0, 0), {0.24f, 0.5f, 0.04f, 1}, "cross polynomial");
        expectPixel(px.at(1, 0), {0.12f, 0.25f, 0.02f, 0.5f}, "cross polynomial, half alpha");
    }
    {
        const CIFloatBitmap px =
            renderExact(apply("CIColorClamp", in,
                              {{"inputMinComponents", vec({0.3, 0, 0, 0})},
                               {"inputMaxComponents", vec({1, 0.35, 1, 0.8})}}),
                        r);
        expectPixel(px.at(0, 0), {0.24f, 0.28f, 0.48f, 0.8f}, "clamp");
    }
    {
        const CIFloatBitmap px =
            renderExact(apply("CIColorThreshold", in, {{"inputThreshold", 0.5}}), r);
        expectPixel(px.at(0, 0), {0, 0, 1, 1}, "threshold");
        expectPixel(px.at(1, 0), {0, 0, 0.5f, 0.5f}, "threshold, half alpha");
    }
}

TEST_F(BuiltinColorCurve, LooksAndWhiteBalanceMoveColoursTheDocumentedWay) {
    const CIImage in =
        row({{0.5f, 0.5f, 0.5f, 1}, {0.8f, 0.3f, 0.1f, 1}, {0.05f, 0.05f, 0.05f, 1}});
    const QRectF r(0, 0, 3, 1);
    // A light warmer than the target is corrected towards yellow: grey gains red, loses blue.
    CIFloatBitmap px =
        renderExact(apply("CITemperatureAndTint", in, {{"inputNeutral", vec({9000, 0})}}), r);
    EXPECT_GT(px.at(0, 0)[0], px.at(0, 0)[2] + 0.05f);
    px = renderExact(apply("CITemperatureAndTint", in, {{"inputNeutral", vec({4000, 0})}}), r);
    EXPECT_LT(px.at(0, 0)[0], px.at(0, 0)[2] - 0.05f);
    // Black-and-white looks give greys; colour looks keep a colour a colour.
    for (const char* name : {"CIPhotoEffectMono", "CIPhotoEffectNoir", "CIPhotoEffectTonal"}) {
        px = renderExact(apply(name, in), r);
        EXPECT_NEAR(px.at(1, 0)[0], px.at(1, 0)[2], 1e-6) << name;
        EXPECT_NEAR(px.at(1, 0)[0], px.at(1, 0)[1], 1e-6) << name;
    }
    // Noir deepens the shadows more than mono.
    EXPECT_LT(renderExact(apply("CIPhotoEffectNoir", in), r).at(2, 0)[0],
              renderExact(apply("CIPhotoEffectMono", in), r).at(2, 0)[0]);
    // Fade lifts black; chrome saturates, vibrance too (negative amounts less).
    EXPECT_GT(renderExact(apply("CIPhotoEffectFade", in), r).at(2, 0)[0], 0.1f);
    const auto spread = [](const float* p) { return p[0] - p[2]; };
    EXPECT_GT(spread(renderExact(apply("CIPhotoEffectChrome", in), r).at(1, 0)), 0.7f);
    EXPECT_GT(spread(renderExact(apply("CIVibrance", in, {{"inputAmount", 1}}), r).at(1, 0)), 0.7f);
    EXPECT_LT(spread(renderExact(apply("CIVibrance", in, {{"inputAmount", -1}}), r).at(1, 0)),
              0.7f);
    // Thermal: bright is warm (red over blue), dark is cold; X-ray inverts.
    px = renderExact(apply("CIThermal", row({{0.02f, 0.02f, 0.02f, 1}, {0.9f, 0.9f, 0.9f, 1}})),
                     QRectF(0, 0, 2, 1));
    EXPECT_GT(px.at(0, 0)[2], px.at(0, 0)[0]);
    EXPECT_GT(px.at(1, 0)[0], px.at(1, 0)[2]);
    px = renderExact(apply("CIXRay", row({{0, 0, 0, 1}, {1, 1, 1, 1}})), QRectF(0, 0, 2, 1));
    EXPECT_GT(px.at(0, 0)[1], 0.9f);
    EXPECT_LT(px.at(1, 0)[1], 0.05f);
    // Shadows lifted, highlights pulled down.
    px = renderExact(apply("CIHighlightShadowAdjust", in,
                           {{"inputShadowAmount", 1}, {"inputHighlightAmount", 0.3}}),
                     r);
    EXPECT_GT(px.at(2, 0)[0], 0.05f);
    px = renderExact(apply("CIHighlightShadowAdjust", row({{0.95f, 0.95f, 0.95f, 1}}),
                           {{"inputHighlightAmount", 0.3}}),
                     QRectF(0, 0, 1, 1));
    EXPECT_LT(px.at(0, 0)[0], 0.85f);
}

TEST_F(BuiltinColorCurve, DifferencesPalettesAndOtsuFindWhatWasPlanted) {
    {
        const CIImage a = row({{0.5f, 0.5f, 0.5f, 1}, {1, 1, 1, 1}, {0.6f, 0.2f, 0.2f, 0.5f}});
        const CIImage b = row({{0.5f, 0.5f, 0.5f, 1}, {0, 0, 0, 1}, {0.1f, 0.1f, 0.4f, 1}});
        const QRectF r(0, 0, 3, 1);
        CIFloatBitmap px =
            renderExact(apply("CIColorAbsoluteDifference", a, {{"inputImage2", image(b)}}), r);
        expectPixel(px.at(1, 0), {1, 1, 1, 1}, "difference: white and black");
        // Straight (1.2, 0.4, 0.4) against (0.1, 0.1, 0.4), alpha 0.5 times 1.
        expectPixel(px.at(2, 0), {0.55f, 0.15f, 0, 0.5f}, "difference: translucent");
        px = renderExact(apply("CILabDeltaE", a, {{"inputImage2", image(b)}}), r);
        expectPixel(px.at(0, 0), {0, 0, 0, 1}, "delta E: the same colour", 1e-4);
        expectPixel(px.at(1, 0), {100, 100, 100, 1}, "delta E: white and black", 1e-2);
    }
    // Two populations of grey, 0.2 and 0.7, with a little spread.
    std::vector<float> grey;
    for (int i = 0; i < 64; ++i) {
        const float v = (i % 3 ? 0.2f : 0.7f) + 0.01f * float(i % 5);
        grey.insert(grey.end(), {v, v, v, 1});
    }
    const CIImage twoPeaks = floatImage(8, 8, grey);
    const CIFloatBitmap otsu =
        renderExact(apply("CIColorThresholdOtsu", twoPeaks), QRectF(0, 0, 8, 8));
    for (int i = 0; i < 64; ++i)
        EXPECT_EQ(otsu.pixels[size_t(4 * i)], grey[size_t(4 * i)] > 0.5f ? 1.0f : 0.0f) << i;
    // Palettes: red, green and blue; the left half of the picture is nearly
    // red, the right half nearly blue.
    const CIImage palette = row({{1, 0, 0, 1}, {0, 1, 0, 1}, {0, 0, 1, 1}});
    std::vector<float> halves;
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 8; ++x)
            halves.insert(halves.end(), x < 4 ? std::initializer_list<float>{0.8f, 0.2f, 0.1f, 1}
                                              : std::initializer_list<float>{0.1f, 0.3f, 0.7f, 1});
    const CIImage picture = floatImage(8, 4, halves, 10, 20);
    for (bool perceptual : {false, true}) {
        const QVariantMap values{{"inputPaletteImage", image(palette)},
                                 {"inputPerceptual", perceptual}};
        const CIFloatBitmap pal =
            renderExact(apply("CIPalettize", picture, values), QRectF(10, 20, 8, 4));
        expectPixel(pal.at(1, 2), {1, 0, 0, 1}, "palettize: red half");
        expectPixel(pal.at(6, 1), {0, 0, 1, 1}, "palettize: blue half");
        const CIImage centroids = apply("CIPaletteCentroid", picture, values);
        EXPECT_EQ(centroids.extent(), QRectF(0, 0, 3, 1));
        const CIFloatBitmap c = renderExact(centroids, QRectF(0, 0, 3, 1));
        expectPixel(c.at(0, 0), {12, 22, 0.5f, 1}, "centroid of red");
        expectPixel(c.at(1, 0), {0, 0, 0, 1}, "centroid of green: no pixels");
        expectPixel(c.at(2, 0), {16, 22, 0.5f, 1}, "centroid of blue");
    }
}

TEST_F(BuiltinColorCurve, MaskBlendsTakeTheirChannelAndMixCrossFades) {
    const CIImage fg = row({{1, 0, 0, 1}, {1, 0, 0, 1}});
    const CIImage bg = row({{0, 0, 1, 1}, {0, 0, 1, 1}});
    // The mask's red is 1 and its blue 0 in the first pixel, the other way round in the second.
    const CIImage mask = row({{1, 0, 0, 0.25f}, {0, 0, 0.5f, 0.5f}});
    const QRectF r(0, 0, 2, 1);
    const QVariantMap values{{"inputBackgroundImage", image(bg)}, {"inputMaskImage", image(mask)}};
    CIFloatBitmap px = renderExact(apply("CIBlendWithRedMask", fg, values), r);
    expectPixel(px.at(0, 0), {1, 0, 0, 1}, "red mask: 1");
    expectPixel(px.at(1, 0), {0, 0, 1, 1}, "red mask: 0");
    px = renderExact(apply("CIBlendWithBlueMask", fg, values), r);
    expectPixel(px.at(0, 0), {0, 0, 1, 1}, "blue mask: 0");
    expectPixel(px.at(1, 0), {0.5f, 0, 0.5f, 1}, "blue mask: 0.5");
    px = renderExact(apply("CIBlendWithAlphaMask", fg, values), r);
    expectPixel(px.at(0, 0), {0.25f, 0, 0.75f, 1}, "alpha mask: 0.25");
    px = renderExact(
        apply("CIMix", fg, {{"inputBackgroundImage", image(bg)}, {"inputAmount", 0.25}}), r);
    expectPixel(px.at(0, 0), {0.25f, 0, 0.75f, 1}, "mix");
}

TEST_F(BuiltinColorCurve, ExtentsBadParametersAndTilesAreHarmless) {
    const CIImage pic = CIImage::imageWithQImage(picture8(53, 41));
    const CIImage other = CIImage::imageWithQImage(picture8(53, 41).mirrored(true, false));
    const char* names[] = {"CIColorClamp",
                           "CIColorPolynomial",
                           "CIColorCrossPolynomial",
                           "CIColorThreshold",
                           "CIColorThresholdOtsu",
                           "CIDither",
                           "CILinearToSRGBToneCurve",
                           "CISRGBToneCurveToLinear",
                           "CITemperatureAndTint",
                           "CIToneCurve",
                           "CIVibrance",
                           "CIHighlightShadowAdjust",
                           "CIPalettize",
                           "CIDepthToDisparity",
                           "CIDisparityToDepth",
                           "CIThermal",
                           "CIXRay",
                           "CIPhotoEffectChrome",
                           "CIPhotoEffectFade",
                           "CIPhotoEffectInstant",
                           "CIPhotoEffectMono",
                           "CIPhotoEffectNoir",
                           "CIPhotoEffectProcess",
                           "CIPhotoEffectTonal",
                           "CIPhotoEffectTransfer",
                           "CIColorAbsoluteDifference",
                           "CILabDeltaE",
                           "CIBlendWithAlphaMask",
                           "CIBlendWithRedMask",
                           "CIBlendWithBlueMask",
                           "CIMix"};
    const double nan = std::numeric_limits<double>::quiet_NaN(),
                 inf = std::numeric_limits<double>::infinity();
    for (const char* name : names) {
        EXPECT_TRUE(apply(name, {}).isNull()) << name;
        auto f = CIFilter::filterWithName(name);
        ASSERT_TRUE(f) << name;
        for (const QString& key : f->inputKeys())
            if (key != "inputImage" &&
                f->attributes().value(key).toMap().value("CIAttributeClass") == "CIImage")
                f->setValueForKey(
                    image(key == "inputPaletteImage"
                              ? apply("CICrop", other, {{"inputRectangle", vec({0, 0, 16, 1})}})
                              : other),
                    key);
        f->setValueForKey(image(pic), "inputImage");
        if (f->inputKeys().contains("inputRadius")) {
            f->setValueForKey(0.3, "inputRadius");
            f->setValueForKey(0.5, "inputShadowAmount");
        }
        const CIImage out = f->outputImage();
        ASSERT_FALSE(out.isNull()) << name;
        EXPECT_EQ(out.extent(), pic.extent()) << name;
        CIFloatBitmap reference;
        for (int tile : {256, 16, 7})
            for (int threads : {1, 2}) {
                const CIFloatBitmap px = renderExact(out, QRectF(-3, -2, 60, 45), tile, threads);
                if (reference.pixels.empty()) {
                    reference = px;
                    continue;
                }
                ASSERT_EQ(px.pixels.size(), reference.pixels.size());
                EXPECT_EQ(std::memcmp(px.pixels.data(), reference.pixels.data(),
                                      px.pixels.size() * sizeof(float)),
                          0)
                    << name << ", tile " << tile << ", threads " << threads;
            }
        for (double bad : {nan, inf, -inf, 1e300}) {
            for (const QString& key : f->inputKeys()) {
                const QVariantMap a = f->attributes().value(key).toMap();
                if (a.value("CIAttributeClass") == "NSNumber") f->setValueForKey(bad, key);
                if (a.value("CIAttributeClass") == "CIVector")
                    f->setValueForKey(vec({bad, bad, bad, bad, bad, bad, bad, bad, bad, bad}), key);
            }
            const CIImage img = f->outputImage();
            ASSERT_FALSE(img.isNull()) << name;
            EXPECT_EQ(img.extent(), pic.extent()) << name;
            EXPECT_EQ(renderExact(img, pic.extent()).width, 53) << name;
        }
    }
}

}  // namespace
