// The plug-in's own filters through the registry: their descriptions and
// what each does to small pictures with hand-computed answers.

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "filters/AffineTransform1.h"
#include "filters/CIFCustomFilter.h"
#include "platform/CIPlatform.h"
#include "platform/image/CIAttributes.h"
#include "platform/image/CIContext.h"

namespace cif {
namespace {

using Rgba = std::array<int, 4>;  // straight 8-bit values

// A picture whose engine pixel (x, y) (origin bottom-left) is f(x, y).
CIImage picture(int w, int h, const std::function<Rgba(int, int)>& f) {
    QImage image(w, h, QImage::Format_RGBA8888);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const Rgba c = f(x, y);
            image.setPixelColor(x, h - 1 - y, QColor(c[0], c[1], c[2], c[3]));
        }
    return CIImage::imageWithQImage(image);
}

// Renders without colour management, so values are the 8-bit values / 255.
CIFloatBitmap render(const CIImage& image, const QRectF& rect) {
    CIContext::Options options;
    options.workingSpace = engine::WorkingSpace::None;
    CIContext context(options);
    CIFloatBitmap out;
    EXPECT_TRUE(context.renderToFloat(image, rect, out)) << context.lastError().toStdString();
    if (out.pixels.empty()) {  // keep the checks that follow failing, not crashing
        out.width = int(rect.width());
        out.height = int(rect.height());
        out.pixels.assign(size_t(out.width) * size_t(out.height) * 4, -1.0f);
    }
    return out;
}

class CustomFiltersTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        initializePlatform();
        touchAllFilterClasses();
    }
    static std::unique_ptr<CIFilter> make(const char* name, const CIImage& input,
                                          const QVariantMap& values = {}) {
        auto f = CIFilter::filterWithName(QString::fromLatin1(name));
        EXPECT_TRUE(f) << name;
        if (!f) return f;
        f->setValueForKey(QVariant::fromValue(input), kCIInputImageKey);
        for (auto it = values.cbegin(); it != values.cend(); ++it)
            f->setValueForKey(it.value(), it.key());
        return f;
    }
};

const auto kGradient = [](int x, int y) { return Rgba{x * 20, y * 20, 100, 255}; };

TEST_F(CustomFiltersTest, RegistrationAndDescriptionsMergeRegisteredValuesFirst) {
    const auto transform = CIFilter::filterWithName("CIFAffineTransform2Filter");
    ASSERT_TRUE(transform);
    EXPECT_NE(dynamic_cast<AffineTransform1*>(transform.get()), nullptr);
    EXPECT_EQ(transform->inputKeys(),
              (QStringList{"inputImage", "inputAngle", "inputSqueeze", "inputSkew"}));

    const auto key = CIFilter::filterWithName("CIFTransparentColorFilter");
    ASSERT_TRUE(key);
    const QVariantMap factor = key->attributes().value("inputFactor").toMap();
    EXPECT_DOUBLE_EQ(factor.value(kCIAttributeDefault).toDouble(), 0.2);
    EXPECT_DOUBLE_EQ(factor.value(kCIAttributeSliderMax).toDouble(), 1.0);
    EXPECT_DOUBLE_EQ(key->numberForKey("inputFactor"), 0.2);
    EXPECT_EQ(key->attributes().value(kCIAttributeFilterCategories).toList().size(), 3);

    const auto sobel = CIFilter::filterWithName("CIFSobel");
    ASSERT_TRUE(sobel);
    EXPECT_DOUBLE_EQ(sobel->numberForKey("inputIntensity"), 7);
    sobel->setValueForKey(50, "inputIntensity");  // beyond the slider: taken as given
    EXPECT_DOUBLE_EQ(sobel->numberForKey("inputIntensity"), 50);
    EXPECT_TRUE(sobel->outputImage().isNull());  // no picture yet
}

TEST_F(CustomFiltersTest, SobelMeasuresRedEdgesAndKeepsAlpha) {
    // Red steps from 0 to 255 between columns 3 and 4; alpha 128 throughout.
    const CIImage step = picture(8, 8, [](int x, int) {
        return Rgba{x >= 4 ? 255 : 0, 0, 0, 128};
    });
    const auto sobel = make("CIFSobel", step, {{"inputIntensity", 0.5}});
    const CIFloatBitmap out = render(sobel->outputImage(), QRectF(0, 0, 8, 8));
    // Premultiplied red is 128/255 on the right; the horizontal gradient at
    // column 3 is (1 + 2 + 1) times that.
    const float r = 128 / 255.0f;
    EXPECT_NEAR(out.at(3, 4)[0], 0.5f * 4 * r, 1e-4);
    EXPECT_NEAR(out.at(4, 4)[0], 0.5f * 4 * r, 1e-4);
    EXPECT_NEAR(out.at(1, 4)[0], 0, 1e-6);
    EXPECT_NEAR(out.at(1, 4)[3], r, 1e-6);

    const auto flat = make("CIFSobel", step, {{"inputIntensity", 0}});
    EXPECT_NEAR(render(flat->outputImage(), QRectF(0, 0, 8, 8)).at(3, 4)[0], 0, 1e-6);
}

TEST_F(CustomFiltersTest, BiColorSplitsAtTheLevel) {
    const CIImage grey = picture(4, 1, [](int x, int) {
        const int v = x * 85;  // 0, 85, 170, 255
        return Rgba{v, v, v, 255};
    });
    const QVariant red = QVariant::fromValue(CIColor(1, 0, 0, 1));
    const QVariant blue = QVariant::fromValue(CIColor(0, 0, 1, 1));
    auto bw = make("CIFBlackWhiteFilter", grey,
                   {{"inputLevel", 0.5}, {"inputColor0", red}, {"inputColor1", blue}});
    CIFloatBitmap out = render(bw->outputImage(), QRectF(0, 0, 4, 1));
    EXPECT_NEAR(out.at(1, 0)[2], 1, 1e-3);  // 85/255 is not brighter: colour 1
    EXPECT_NEAR(out.at(2, 0)[0], 1, 1e-3);  // 170/255 is: colour 0
    bw = make("CIFBlackWhiteFilter", grey,
              {{"inputLevel", 0.0}, {"inputColor0", red}, {"inputColor1", blue}});
    out = render(bw->outputImage(), QRectF(0, 0, 4, 1));
    EXPECT_NEAR(out.at(0, 0)[2], 1, 1e-3);  // pure black stays colour 1
    EXPECT_NEAR(out.at(1, 0)[0], 1, 1e-3);
}

TEST_F(CustomFiltersTest, TransparencyFilters) {
    const CIImage two = picture(2, 1, [](int x, int) {
        return x == 0 ? Rgba{255, 255, 255, 255} : Rgba{0, 0, 0, 255};
    });
    const auto key =
        make("CIFTransparentColorFilter", two,
             {{"inputColor", QVariant::fromValue(CIColor(1, 1, 1, 1))}, {"inputFactor", 0.5}});
    const CIFloatBitmap keyed = render(key->outputImage(), QRectF(0, 0, 2, 1));
    EXPECT_NEAR(keyed.at(0, 0)[3], 0, 1e-6);  // the key colour itself
    EXPECT_NEAR(keyed.at(1, 0)[3], 1, 1e-6);  // distance sqrt(3) > factor

    const auto fade = make("CIFTransparentFilter", two, {{"inputTransparency", 0.5}});
    const CIFloatBitmap faded = render(fade->outputImage(), QRectF(0, 0, 2, 1));
    EXPECT_NEAR(faded.at(0, 0)[0], 0.5, 1e-3);
    EXPECT_NEAR(faded.at(0, 0)[3], 0.5, 1e-3);
    // Below the slider's 0.01: none of the picture fades.
    const auto none = make("CIFTransparentFilter", two, {{"inputTransparency", 0.0}});
    EXPECT_EQ(render(none->outputImage(), QRectF(0, 0, 2, 1)).at(0, 0)[3], 1.0f);
}

TEST_F(CustomFiltersTest, SlideFrameAndNetKeepOrSmearPixels) {
    const CIImage g = picture(6, 6, kGradient);
    const CIFloatBitmap original = render(g, QRectF(0, 0, 6, 6));
    const auto frame = make("CIFSlideFrameFilter", g,
                            {{"inputFactorX", 1.0},
                             {"inputFactorY", 1.0},
                             {"inputCenter", QVariant::fromValue(CIVector{3, 3})}});
    EXPECT_EQ(render(frame->outputImage(), QRectF(0, 0, 6, 6)).pixels, original.pixels);

    const auto net = make("CIFNetDistortion", g, {{"inputWidth", 0.0}, {"inputHeight", 0.0}});
    const CIFloatBitmap netted = render(net->outputImage(), QRectF(0, 0, 6, 6));
    // Inside, unchanged; the outermost column reads from x = 1, i.e. halfway
    // between the two outer pixel centres' neighbours.
    EXPECT_NEAR(netted.at(2, 2)[0], original.at(2, 2)[0], 1e-5);
    EXPECT_NEAR(netted.at(0, 2)[0], (original.at(0, 2)[0] + original.at(1, 2)[0]) / 2, 1e-5);
}

TEST_F(CustomFiltersTest, TransformsAboutTheCentreAndTilings) {
    const CIImage g = picture(6, 4, kGradient);
    const CIFloatBitmap original = render(g, QRectF(0, 0, 6, 4));
    auto transform = make("CIFAffineTransform2Filter", g,
                          {{"inputAngle", 0.0}, {"inputSqueeze", 0.0}, {"inputSkew", 0.0}});
    EXPECT_EQ(render(transform->outputImage(), QRectF(0, 0, 6, 4)).pixels, original.pixels);
    transform = make("CIFAffineTransform2Filter", g,
                     {{"inputAngle", 0.0}, {"inputSqueeze", 0.5}, {"inputSkew", 0.0}});
    // Half as wide, about the centre (3, 2).
    EXPECT_EQ(transform->outputImage().extent(), QRectF(1.5, 0, 3, 4));

    // An infinite picture is transformed too, about the origin: squeezed to
    // half its width, pixel x shows the input between pixels 2x and 2x + 1.
    const CIImage endless = g.imageByClampingToExtent();
    transform = make("CIFAffineTransform2Filter", endless,
                     {{"inputAngle", 0.0}, {"inputSqueeze", 0.5}, {"inputSkew", 0.0}});
    ASSERT_TRUE(transform->outputImage().isInfinite());
    const CIFloatBitmap squeezed = render(transform->outputImage(), QRectF(0, 0, 3, 4));
    EXPECT_NEAR(squeezed.at(1, 1)[0], (original.at(2, 1)[0] + original.at(3, 1)[0]) / 2, 1e-5);

    // Scale 1, stretch 1: the picture repeats, moved by the centre.
    const auto tile = make("CIFAffineTile2Filter", g,
                           {{"inputScale", 1.0},
                            {"inputStretch", 1.0},
                            {"inputAngle", 0.0},
                            {"inputSkew", 0.0},
                            {"inputCenter", QVariant::fromValue(CIVector{2, 1})}});
    const CIFloatBitmap tiled = render(tile->outputImage(), QRectF(0, 0, 12, 8));
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 12; ++x)
            ASSERT_NEAR(tiled.at(x, y)[0], original.at((x + 4) % 6, (y + 3) % 4)[0], 1e-5)
                << x << "," << y;

    const auto offset = make("CIFOffset", g,
                             {{"inputScale", 1.0},
                              {"inputAngle", 0.0},
                              {"inputCenter", QVariant::fromValue(CIVector{6, 0})}});
    const CIFloatBitmap shifted = render(offset->outputImage(), QRectF(0, 0, 6, 4));
    EXPECT_EQ(shifted.pixels, original.pixels);
}

TEST_F(CustomFiltersTest, MirrorsReflectAboutTheirLines) {
    const CIImage g = picture(4, 8, kGradient);
    const CIFloatBitmap original = render(g, QRectF(0, 0, 4, 8));
    const auto mirror =
        make("CIFMirrorFilter", g, {{"inputCenter", QVariant::fromValue(CIVector{0, 4})}});
    const CIFloatBitmap mirrored = render(mirror->outputImage(), QRectF(0, 0, 4, 8));
    // Row 1 (centre y 1.5) reads y = |1.5 - 4| + 4 = 6.5, row 6, with alpha
    // min(1.5 / 4, 1) applied on top of the premultiplied sample.
    EXPECT_NEAR(mirrored.at(2, 1)[1], original.at(2, 6)[1], 1e-5);
    EXPECT_NEAR(mirrored.at(2, 1)[3], 1.5f / 4, 1e-5);
    EXPECT_NEAR(mirrored.at(2, 6)[1], original.at(2, 6)[1], 1e-5);

    // Folded: x reads |2x - width + 0.5|, so at pixel centres the columns
    // 0, 1, 2, 3 read columns 2, 0, 1, 3, and row 0 reads row 6.
    const auto tile = make("CIFMirrorTileFilter", g,
                           {{"inputScale", 1.0},
                            {"inputStretch", 1.0},
                            {"inputAngle", 0.0},
                            {"inputSkew", 0.0},
                            {"inputCenter", QVariant::fromValue(CIVector{0, 0})}});
    const CIFloatBitmap folded = render(tile->outputImage(), QRectF(0, 0, 4, 8));
    const int reads[] = {2, 0, 1, 3};
    for (int x = 0; x < 4; ++x)
        EXPECT_NEAR(folded.at(x, 0)[0], original.at(reads[x], 6)[0], 1e-5) << x;
    EXPECT_NEAR(folded.at(0, 0)[1], original.at(2, 6)[1], 1e-5);
}

TEST_F(CustomFiltersTest, ShadingTurnsTheShapeIntoAShadedRelief) {
    const CIImage disc = picture(16, 16, [](int x, int y) {
        const int a = std::hypot(x - 7.5, y - 7.5) < 6 ? 255 : 0;
        return Rgba{a, a, a, a};
    });
    const CIImage material = picture(8, 8, [](int x, int) { return Rgba{x * 30, 80, 200, 255}; });
    const auto shading = make("CIFShadingFilter", disc,
                              {{"inputShadingImage", QVariant::fromValue(material)},
                               {"inputScale", 5.0},
                               {"inputRadius", 3.0}});
    const CIImage out = shading->outputImage();
    ASSERT_FALSE(out.isNull());
    const CIFloatBitmap pixels = render(out, QRectF(0, 0, 16, 16));
    EXPECT_GT(pixels.at(8, 8)[3], 0.5f);
}

TEST_F(CustomFiltersTest, EveryFilterGivesTheSamePixelsForAnyTiling) {
    // Kernels whose reads are bounded only once their arguments are known
    // (clamps, waves, mirrors, tilings) read a region around each tile: any
    // sample outside it would show up as a difference between small and
    // large tiles.
    const CIImage noisy = picture(70, 50, [](int x, int y) {
        const int h = (x * 7919 + y * 104729) % 251;
        return Rgba{h, (h * 3) % 256, (x * 4) % 256, 255};
    });
    const QRectF rect(-6, -4, 82, 58);
    for (const char* name :
         {"CIFAffineTile2Filter", "CIFAffineTransform2Filter", "CIFBlackWhiteFilter",
          "CIFMirrorFilter", "CIFMirrorTileFilter", "CIFNetDistortion", "CIFOffset",
          "CIFShadingFilter", "CIFSlideFrameFilter", "CIFSobel", "CIFTransparentColorFilter",
          "CIFTransparentFilter"}) {
        SCOPED_TRACE(name);
        const auto f = make(name, noisy);
        ASSERT_TRUE(f);
        f->setDefaults();
        f->setValueForKey(QVariant::fromValue(noisy), kCIInputImageKey);
        if (f->inputKeys().contains(QStringLiteral("inputShadingImage")))
            f->setValueForKey(QVariant::fromValue(noisy), QStringLiteral("inputShadingImage"));
        const CIImage out = f->outputImage();
        ASSERT_FALSE(out.isNull());
        CIFloatBitmap small, large;
        CIContext smallTiles(CIContext::Options{engine::WorkingSpace::LinearSRGB, 7, 2});
        CIContext largeTiles(CIContext::Options{engine::WorkingSpace::LinearSRGB, 256, 1});
        ASSERT_TRUE(smallTiles.renderToFloat(out, rect, small));
        ASSERT_TRUE(largeTiles.renderToFloat(out, rect, large));
        EXPECT_EQ(small.pixels, large.pixels);
    }
}

}  // namespace

}  // namespace cif
