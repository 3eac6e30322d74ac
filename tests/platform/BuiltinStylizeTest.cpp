// Stylize and halftone built-ins: mosaics are constant per cell and take the
// colour under their site, edges vanish on flats and measure steps, screens
// print only ink or paper at full sharpness with the coverage the darkness
// asks for, and shading by normal reads the sphere where the normal points.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <set>
#include <vector>

#include "platform/CIPlatform.h"
#include "platform/image/CIContext.h"
#include "platform/image/CIFilter.h"
#include "platform/image/CIImage.h"
#include "platform/image/Nodes.h"

namespace {

using cif::CIColor;
using cif::CIContext;
using cif::CIFloatBitmap;
using cif::CIImage;
using cif::CIVector;

struct FloatPicture {
    int w = 0, h = 0;
    std::shared_ptr<std::vector<float>> px;
    FloatPicture(int width, int height)
        : w(width), h(height), px(std::make_shared<std::vector<float>>(size_t(w * h) * 4)) {}
    float* at(int x, int y) { return px->data() + (size_t(y) * size_t(w) + size_t(x)) * 4; }
    CIImage image() const {
        return CIImage::imageWithNode(std::make_shared<cif::engine::SourceNode>(
            px, px->data(), w, h, size_t(w) * 4 * sizeof(float),
            cif::engine::SourceNode::Format::FloatPremulBottomUp));
    }
};

// Every pixel a different opaque colour.
FloatPicture ramp(int w, int h) {
    FloatPicture p(w, h);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            float* o = p.at(x, y);
            o[0] = float(x) / float(w);
            o[1] = float(y) / float(h);
            o[2] = float((x * 7 + y * 13) % 17) / 17.0f;
            o[3] = 1;
        }
    return p;
}

CIImage applyFilter(const QString& name, const CIImage& input, const QVariantMap& values = {}) {
    auto filter = cif::CIFilter::filterWithName(name);
    if (!filter) return {};
    filter->setValueForKey(QVariant::fromValue(input), "inputImage");
    for (auto it = values.begin(); it != values.end(); ++it)
        filter->setValueForKey(*it, it.key());
    return filter->outputImage();
}

// Rendered without colour management, so values are exactly the arithmetic.
CIFloatBitmap render(const CIImage& image, const QRectF& rect, int tileSize = 32) {
    CIContext::Options options;
    options.workingSpace = cif::engine::WorkingSpace::None;
    options.tileSize = tileSize;
    CIContext context(options);
    CIFloatBitmap out;
    EXPECT_TRUE(context.renderToFloat(image, rect, out));
    return out;
}

QVariant vec(double x, double y) {
    return QVariant::fromValue(CIVector{x, y});
}

class BuiltinStylize : public ::testing::Test {
protected:
    static void SetUpTestSuite() { cif::initializePlatform(); }
};

// ---------------------------------------------------------------- mosaics

TEST_F(BuiltinStylize, PixellateCellsAreConstantAndTakeTheCentrePixel) {
    FloatPicture pic = ramp(40, 24);
    const CIImage out =
        applyFilter("CIPixellate", pic.image(), {{"inputScale", 8.0}, {"inputCenter", vec(0, 0)}});
    EXPECT_EQ(out.extent(), pic.image().extent());
    const CIFloatBitmap b = render(out, QRectF(0, 0, 40, 24), 13);
    for (int y = 0; y < 24; ++y)
        for (int x = 0; x < 40; ++x)
            for (int c = 0; c < 4; ++c)
                ASSERT_EQ(b.at(x, y)[c], pic.at(x / 8 * 8 + 4, y / 8 * 8 + 4)[c]) << x << "," << y;
}

TEST_F(BuiltinStylize, HexagonAndCrystalCellsCopyInputColours) {
    FloatPicture pic = ramp(48, 40);
    std::set<std::vector<float>> palette;
    for (int i = 0; i < 48 * 40; ++i)
        palette.insert(
            {(*pic.px)[size_t(i) * 4], (*pic.px)[size_t(i) * 4 + 1], (*pic.px)[size_t(i) * 4 + 2]});
    // The hexagon centred on (20.5, 20.5) is the colour of pixel (20, 20) all
    // the way out to its inscribed circle.
    const CIFloatBitmap hex =
        render(applyFilter("CIHexagonalPixellate", pic.image(),
                           {{"inputScale", 12.0}, {"inputCenter", vec(20.5, 20.5)}}),
               QRectF(0, 0, 48, 40));
    for (int y = 15; y <= 26; ++y)
        for (int x = 15; x <= 26; ++x)
            for (int c = 0; c < 3 && std::hypot(x - 20.0, y - 20.0) < 5.5; ++c)
                ASSERT_EQ(hex.at(x, y)[c], pic.at(20, 20)[c]) << x << "," << y;
    // Crystals: every output colour is one of the input's, and there are
    // about as many different ones as cells.
    const CIFloatBitmap cr = render(applyFilter("CICrystallize", pic.image(),
                                                {{"inputRadius", 8.0}, {"inputCenter", vec(0, 0)}}),
                                    QRectF(0, 0, 48, 40));
    std::set<std::vector<float>> seen;
    for (int y = 4; y < 36; ++y)
        for (int x = 4; x < 44; ++x) {
            const std::vector<float> v{cr.at(x, y)[0], cr.at(x, y)[1], cr.at(x, y)[2]};
            ASSERT_TRUE(palette.count(v)) << x << "," << y;
            seen.insert(v);
        }
    EXPECT_GT(seen.size(), 10u);
    EXPECT_LT(seen.size(), 60u);
    // The same pixels whatever the tiling.
    const CIFloatBitmap cr2 =
        render(applyFilter("CICrystallize", pic.image(),
                           {{"inputRadius", 8.0}, {"inputCenter", vec(0, 0)}}),
               QRectF(0, 0, 48, 40), 7);
    EXPECT_EQ(cr.pixels, cr2.pixels);
}

// ---------------------------------------------------------------- edges and lines

TEST_F(BuiltinStylize, EdgesVanishOnFlatsAndMeasureSteps) {
    FloatPicture step(20, 10);
    for (int y = 0; y < 10; ++y)
        for (int x = 0; x < 20; ++x) {
            float* o = step.at(x, y);
            o[0] = o[1] = o[2] = x < 10 ? 0.0f : 0.5f;
            o[3] = 1;
        }
    const CIFloatBitmap e = render(applyFilter("CIEdges", step.image(), {{"inputIntensity", 1.0}}),
                                   QRectF(0, 0, 20, 10));
    // Sobel across a step of 0.5 is 2; a quarter of it on both sides of the step.
    EXPECT_FLOAT_EQ(e.at(9, 5)[0], 0.5f);
    EXPECT_FLOAT_EQ(e.at(10, 5)[1], 0.5f);
    EXPECT_EQ(e.at(4, 5)[0], 0.0f);
    EXPECT_EQ(e.at(15, 5)[2], 0.0f);
    EXPECT_EQ(e.at(4, 5)[3], 1.0f);

    const CIImage flat = CIImage::imageWithColor(CIColor(0.4, 0.6, 0.2, 1));
    const CIFloatBitmap lines = render(applyFilter("CILineOverlay", flat), QRectF(0, 0, 16, 16));
    for (float v : lines.pixels)
        ASSERT_EQ(v, 0.0f);
}

TEST_F(BuiltinStylize, GlowsKeepIdentityAndGloomKeepsFlats) {
    const CIImage pic = ramp(20, 20).image();
    EXPECT_EQ(applyFilter("CIBloom", pic, {{"inputIntensity", 0.0}}).node(), pic.node());
    EXPECT_EQ(applyFilter("CIGloom", pic, {{"inputRadius", 0.0}}).node(), pic.node());
    const CIImage flat = CIImage::imageWithColor(CIColor(0.4, 0.6, 0.2, 1));
    const CIFloatBitmap g =
        render(applyFilter("CIGloom", flat, {{"inputIntensity", 1.0}}), QRectF(0, 0, 8, 8));
    for (int i = 0; i < 64; ++i)
        ASSERT_NEAR(g.pixels[size_t(i) * 4 + 1], 0.6f, 1e-4);
}

// ---------------------------------------------------------------- height and shading

TEST_F(BuiltinStylize, HeightFieldRisesFromTheMaskEdgeAndShadingFollowsTheNormal) {
    FloatPicture disc(80, 80);
    for (int y = 0; y < 80; ++y)
        for (int x = 0; x < 80; ++x) {
            const float v = std::hypot(x + 0.5 - 40, y + 0.5 - 40) < 30 ? 1.0f : 0.0f;
            float* o = disc.at(x, y);
            o[0] = o[1] = o[2] = v;
            o[3] = 1;
        }
    const CIImage hf = applyFilter("CIHeightFieldFromMask", disc.image(), {{"inputRadius", 10.0}});
    const CIFloatBitmap h = render(hf, QRectF(0, 0, 80, 80));
    EXPECT_EQ(h.at(3, 40)[0], 0.0f);
    EXPECT_NEAR(h.at(40, 40)[0], 1.0f, 1e-3);
    for (int x = 11; x < 40; ++x)
        ASSERT_GE(h.at(x, 40)[0], h.at(x - 1, 40)[0]) << x;

    // A sphere picture whose centre pixel is the only red one: a flat height
    // field faces the viewer everywhere and reads exactly that pixel.
    FloatPicture sphere(9, 9);
    for (int i = 0; i < 81; ++i)
        (*sphere.px)[size_t(i) * 4 + 3] = 1;
    sphere.at(4, 4)[0] = 1;
    const CIImage flat = CIImage::imageWithColor(CIColor(0.5, 0.5, 0.5, 1))
                             .imageByCroppingToRect(QRectF(0, 0, 10, 10));
    auto f = cif::CIFilter::filterWithName("CIShadedMaterial");
    ASSERT_TRUE(f);
    f->setValueForKey(QVariant::fromValue(flat), "inputImage");
    EXPECT_TRUE(f->outputImage().isNull());  // no shading picture
    f->setValueForKey(QVariant::fromValue(sphere.image()), "inputShadingImage");
    const CIFloatBitmap s = render(f->outputImage(), QRectF(0, 0, 10, 10));
    EXPECT_NEAR(s.at(5, 5)[0], 1.0f, 1e-5);
    EXPECT_NEAR(s.at(5, 5)[1], 0.0f, 1e-5);
}

// ---------------------------------------------------------------- halftone

TEST_F(BuiltinStylize, ScreensPrintOnlyInkOrPaperWithTheRequestedCoverage) {
    const char* screens[] = {"CIDotScreen", "CILineScreen", "CICircularScreen", "CIHatchedScreen",
                             "CICMYKHalftone"};
    for (const double grey : {0.0, 0.3, 0.7, 1.0}) {
        const CIImage flat = CIImage::imageWithColor(CIColor(grey, grey, grey, 1));
        for (const char* name : screens) {
            SCOPED_TRACE(std::string(name) + " grey " + std::to_string(grey));
            QVariantMap values{
                {"inputSharpness", 1.0}, {"inputWidth", 10.0}, {"inputCenter", vec(3, 7)}};
            if (std::string(name) != "CICircularScreen") values["inputAngle"] = 0.3;
            // All grey in black ink, so paper shows where grey asks for it.
            if (std::string(name) == "CICMYKHalftone") values["inputUCR"] = 1.0;
            const CIFloatBitmap b = render(applyFilter(name, flat, values), QRectF(0, 0, 100, 100));
            double paper = 0;
            for (size_t i = 0; i < b.pixels.size(); i += 4) {
                for (int c = 0; c < 3; ++c)
                    ASSERT_TRUE(b.pixels[i + size_t(c)] == 0.0f || b.pixels[i + size_t(c)] == 1.0f);
                ASSERT_EQ(b.pixels[i + 3], 1.0f);
                paper += b.pixels[i];
            }
            paper /= 100.0 * 100.0;
            // Lines and dots give the coverage the darkness asks for; circles
            // and crossing hatches only approximately.
            const bool exact = std::string(name) == "CILineScreen" ||
                               std::string(name) == "CIDotScreen" ||
                               std::string(name) == "CICMYKHalftone";
            EXPECT_NEAR(paper, grey, exact ? 0.06 : 0.15);
        }
    }
}

// ---------------------------------------------------------------- robustness

TEST_F(BuiltinStylize, AbsurdNumbersGiveAPictureNotACrash) {
    // Every neighbourhood built-in of these families, each number input set
    // to NaN, to huge values of both signs and to zero, rendered over a small
    // rectangle: clamped or neutral, never a crash or an unbounded buffer.
    const char* names[] = {"CIGaussianBlur",
                           "CIBoxBlur",
                           "CIDiscBlur",
                           "CIMotionBlur",
                           "CIZoomBlur",
                           "CIMedianFilter",
                           "CINoiseReduction",
                           "CIUnsharpMask",
                           "CISharpenLuminance",
                           "CIBloom",
                           "CIGloom",
                           "CICrystallize",
                           "CIPointillize",
                           "CIPixellate",
                           "CIHexagonalPixellate",
                           "CIEdges",
                           "CIEdgeWork",
                           "CILineOverlay",
                           "CIComicEffect",
                           "CIHeightFieldFromMask",
                           "CIShadedMaterial",
                           "CICircularScreen",
                           "CIDotScreen",
                           "CIHatchedScreen",
                           "CILineScreen",
                           "CICMYKHalftone"};
    const CIImage pic = ramp(24, 24).image();
    for (const char* name : names) {
        for (const double v : {std::nan(""), 1e12, -1e12, 0.0}) {
            SCOPED_TRACE(std::string(name) + " " + std::to_string(v));
            auto f = cif::CIFilter::filterWithName(name);
            ASSERT_TRUE(f);
            f->setValueForKey(QVariant::fromValue(pic), "inputImage");
            if (std::string(name) == "CIShadedMaterial")
                f->setValueForKey(QVariant::fromValue(pic), "inputShadingImage");
            int set = 0;
            for (const QString& key : f->inputKeys()) {
                const QVariantMap attrs = f->attributes().value(key).toMap();
                const QString cls = attrs.value(cif::kCIAttributeClass).toString();
                if (cls == "NSNumber") f->setValueForKey(v, key);
                if (cls == "CIVector") f->setValueForKey(vec(v, v), key);
                set += cls == "NSNumber" || cls == "CIVector";
            }
            // Only the median, edges of no number and the comic effect take none.
            EXPECT_TRUE(set > 0 || std::string(name) == "CIMedianFilter" ||
                        std::string(name) == "CIComicEffect");
            const CIImage out = f->outputImage();
            ASSERT_FALSE(out.isNull());
            const CIFloatBitmap b = render(out, QRectF(0, 0, 8, 8));
            for (float p : b.pixels)
                ASSERT_FALSE(std::isnan(p));
        }
    }
}

}  // namespace
