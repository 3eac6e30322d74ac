// Exact pixels of the engine's operations on a small picture whose pixels all
// differ, rendered without colour management so that the arithmetic can be
// checked value by value, and the orientation of pictures going into and
// coming out of the engine.

#include <gtest/gtest.h>

#include <QImage>
#include <QTransform>
#include <algorithm>
#include <array>
#include <cmath>
#include <memory>

#include "platform/CIPlatform.h"
#include "platform/image/CIContext.h"
#include "platform/image/CIFilter.h"
#include "platform/image/CIImage.h"
#include "platform/image/Nodes.h"

namespace {

using cif::CIColor;
using cif::CIContext;
using cif::CIImage;
using cif::CIVector;
using namespace cif::engine;

using Px = std::array<float, 4>;
constexpr Px kClear{0, 0, 0, 0};

// Engine pixel (x, y) of the 4 x 3 test picture as 8-bit premultiplied codes.
// Two pixels are not opaque: (1, 1) is half transparent, (3, 0) fully.
std::array<int, 4> codes(int x, int y) {
    if (x == 1 && y == 1) return {40, 20, 10, 128};
    if (x == 3 && y == 0) return {0, 0, 0, 0};
    return {10 + 60 * x, 20 + 70 * y, 200 - 30 * x - 20 * y, 255};
}

CIImage testPicture() {
    QImage img(4, 3, QImage::Format_RGBA8888_Premultiplied);
    for (int row = 0; row < 3; ++row) {
        uchar* line = img.scanLine(row);
        for (int x = 0; x < 4; ++x) {
            const auto c = codes(x, 2 - row);  // QImage rows run top-down
            for (int k = 0; k < 4; ++k)
                line[4 * x + k] = uchar(c[k]);
        }
    }
    return CIImage::imageWithQImage(img);
}

// The working-space value of a picture pixel without colour management;
// transparent outside the picture.
Px source(int x, int y) {
    if (x < 0 || y < 0 || x >= 4 || y >= 3) return kClear;
    const auto c = codes(x, y);
    return {float(c[0]) / 255.0f, float(c[1]) / 255.0f, float(c[2]) / 255.0f, float(c[3]) / 255.0f};
}

int mod(int v, int m) {
    return ((v % m) + m) % m;
}

// Floats of an integral rectangle, addressed by absolute engine coordinates.
struct Rendered {
    IRect rect;
    cif::CIFloatBitmap bitmap;
    Px at(int x, int y) const {
        const float* p = bitmap.at(x - rect.x, y - rect.y);
        return {p[0], p[1], p[2], p[3]};
    }
};

Rendered render(const CIImage& image, const IRect& r, int tileSize = 256,
                WorkingSpace space = WorkingSpace::None) {
    CIContext context(CIContext::Options{space, tileSize});
    Rendered out{r, {}};
    EXPECT_TRUE(context.renderToFloat(image, QRectF(r.x, r.y, r.w, r.h), out.bitmap))
        << context.lastError().toStdString();
    return out;
}

void expectNear(const Px& got, const Px& want, int x, int y) {
    for (int k = 0; k < 4; ++k)
        EXPECT_NEAR(got[k], want[k], 1e-6) << "pixel (" << x << ", " << y << ") channel " << k;
}

// ---------------------------------------------------------------- geometry

TEST(EnginePixels, IntegerTranslationIsAnExactCopy) {
    const Rendered out = render(
        testPicture().imageByApplyingTransform(QTransform::fromTranslate(5, -7)), {2, -9, 10, 7});
    for (int y = -9; y < -2; ++y)
        for (int x = 2; x < 12; ++x)
            EXPECT_EQ(out.at(x, y), source(x - 5, y + 7)) << x << "," << y;
}

TEST(EnginePixels, QuarterTurnAboutAPixelCornerMapsPixelsExactly) {
    // Rotation by 90 degrees about the corner (2, 1): (x, y) -> (3 - y, x - 1).
    const CIImage turned = testPicture().imageByApplyingTransform(QTransform(0, 1, -1, 0, 3, -1));
    EXPECT_EQ(turned.extent(), QRectF(0, -1, 3, 4));
    const Rendered out = render(turned, {-1, -2, 5, 6});
    for (int y = -2; y < 4; ++y)
        for (int x = -1; x < 4; ++x) {
            const bool inside = x >= 0 && x < 3 && y >= -1 && y < 3;
            EXPECT_EQ(out.at(x, y), inside ? source(y + 1, 2 - x) : kClear) << x << "," << y;
        }
}

TEST(EnginePixels, HalfPixelTranslationAveragesNeighbours) {
    const CIImage moved =
        testPicture().imageByApplyingTransform(QTransform::fromTranslate(0.5, 0.5));
    const Rendered out = render(moved, {-1, -1, 7, 6});
    for (int y = -1; y < 5; ++y)
        for (int x = -1; x < 6; ++x) {
            Px want;
            for (int k = 0; k < 4; ++k)
                want[k] = 0.25f * (source(x - 1, y - 1)[k] + source(x, y - 1)[k] +
                                   source(x - 1, y)[k] + source(x, y)[k]);
            expectNear(out.at(x, y), want, x, y);
        }
    // The far column and row are half covered and hold half of the edge.
    EXPECT_NEAR(out.at(4, 2)[3], 0.5f, 1e-6);
    EXPECT_NEAR(out.at(4, 3)[3], 0.25f, 1e-6);
}

TEST(EnginePixels, CropKeepsExactlyThePixelsWhoseCentresAreInside) {
    // Centres 1.5 and 2.5 lie in [0.6, 2.6); 0.5 and 1.5 lie in [0.4, 1.6).
    const QRectF rect(0.6, 0.4, 2.0, 1.2);
    const CIImage constant = CIImage::imageWithColor(CIColor(0.2, 0.4, 0.6, 1));
    const Rendered pic = render(testPicture().imageByCroppingToRect(rect), {-1, -1, 6, 5});
    const Rendered flat = render(constant.imageByCroppingToRect(rect), {-1, -1, 6, 5});
    const Rendered whole = render(constant, {0, 0, 1, 1});
    for (int y = -1; y < 4; ++y)
        for (int x = -1; x < 5; ++x) {
            const bool kept = (x == 1 || x == 2) && (y == 0 || y == 1);
            EXPECT_EQ(pic.at(x, y), kept ? source(x, y) : kClear) << x << "," << y;
            EXPECT_EQ(flat.at(x, y), kept ? whole.at(0, 0) : kClear) << x << "," << y;
        }
}

TEST(EnginePixels, ClampExtendsEdgePixelsForever) {
    const CIImage clamped = testPicture().imageByClampingToExtent();
    struct Probe {
        int x, y, sx, sy;
    };
    for (const Probe& p : {Probe{-100000, -100000, 0, 0}, Probe{100000, -100000, 3, 0},
                           Probe{-100000, 100000, 0, 2}, Probe{100000, 100000, 3, 2},
                           Probe{2, -5000, 2, 0}, Probe{-5000, 1, 0, 1}, Probe{1, 1, 1, 1}}) {
        EXPECT_EQ(render(clamped, {p.x, p.y, 1, 1}).at(p.x, p.y), source(p.sx, p.sy))
            << p.x << "," << p.y;
    }
    // Small tiles put whole tiles beside, above and below the picture.
    const Rendered out = render(clamped, {-20, -20, 44, 43}, 7);
    for (int y = -20; y < 23; ++y)
        for (int x = -20; x < 24; ++x)
            ASSERT_EQ(out.at(x, y), source(std::clamp(x, 0, 3), std::clamp(y, 0, 2)))
                << x << "," << y;
}

TEST(EnginePixels, ClampWritesNoPixelOutsideItsBuffer) {
    // A pooled buffer can be larger than its rectangle. Fill a large one with
    // a marker, take it back for a row of 3 pixels far left of the picture
    // and check that rendering the clamp leaves everything past them alone.
    BufferPool& pool = BufferPool::forThisThread();
    pool.trim();
    constexpr int kFloats = 64 * 4;
    PixelBuffer big = pool.acquire(IRect{0, 0, 64, 1});
    std::fill(big.data(), big.data() + kFloats, 7.0f);
    const float* storage = big.data();
    pool.release(std::move(big));
    PixelBuffer dst = pool.acquire(IRect{-12, 1, 3, 1});
    if (dst.data() != storage) GTEST_SKIP() << "the pool did not hand the same storage back";

    const ClampNode clamp(testPicture().node());
    clamp.render(dst, RenderState{WorkingSpace::None, nullptr});
    for (int x = -12; x < -9; ++x) {
        const float* p = dst.at(x, 1);
        EXPECT_EQ((Px{p[0], p[1], p[2], p[3]}), source(0, 1));
    }
    int overwritten = 0;
    for (int i = 12; i < kFloats; ++i)
        overwritten += dst.data()[i] != 7.0f;
    EXPECT_EQ(overwritten, 0) << "floats written past the end of the buffer's rectangle";
    pool.release(std::move(dst));
    pool.trim();
}

TEST(EnginePixels, AffineTileRepeatsWithTheRightPeriodAndPhase) {
    // The picture moved to (10, 20) and tiled: the period starts there.
    const CIImage moved = testPicture().imageByApplyingTransform(QTransform::fromTranslate(10, 20));
    const Rendered out = render(moved.imageByAffineTiling(QTransform()), {-9, -7, 17, 13}, 5);
    for (int y = -7; y < 6; ++y)
        for (int x = -9; x < 8; ++x)
            ASSERT_EQ(out.at(x, y), source(mod(x - 10, 4), mod(y - 20, 3))) << x << "," << y;

    // CIAffineTile with a translation by (1, -1) shifts the phase.
    cif::initializePlatform();
    auto tile = cif::CIFilter::filterWithName("CIAffineTile");
    ASSERT_TRUE(tile);
    tile->setValueForKey(QVariant::fromValue(testPicture()), "inputImage");
    tile->setValueForKey(QTransform::fromTranslate(1, -1), "inputTransform");
    const Rendered shifted = render(tile->outputImage(), {-6, -5, 13, 11}, 4);
    for (int y = -5; y < 6; ++y)
        for (int x = -6; x < 7; ++x)
            ASSERT_EQ(shifted.at(x, y), source(mod(x - 1, 4), mod(y + 1, 3))) << x << "," << y;
}

// ---------------------------------------------------------------- per-pixel arithmetic

TEST(EnginePixels, CompositingFormulasOnPremultipliedValues) {
    const CIImage fg = testPicture();
    const CIImage bg = CIImage::imageWithColor(CIColor(0.8, 0.4, 0.6, 0.5));
    // The straight colour, premultiplied, as the constant is without colour management.
    const Px b{0.8f * 0.5f, 0.4f * 0.5f, 0.6f * 0.5f, 0.5f};
    const Rendered over = render(fg.imageByCompositingOverImage(bg), {-1, -1, 6, 5});
    const Rendered sum = render(fg.imageByAddingToImage(bg), {-1, -1, 6, 5});
    for (int y = -1; y < 4; ++y)
        for (int x = -1; x < 5; ++x) {
            const Px f = source(x, y);
            Px wantOver, wantSum;
            for (int k = 0; k < 4; ++k) {
                wantOver[k] = f[k] + b[k] * (1.0f - f[3]);
                wantSum[k] = f[k] + b[k];
            }
            wantSum[3] = std::min(wantSum[3], 1.0f);
            expectNear(over.at(x, y), wantOver, x, y);
            expectNear(sum.at(x, y), wantSum, x, y);
        }
    // Colours add without a ceiling in the working space; coverage stops at 1.
    EXPECT_GT(sum.at(0, 0)[0] + sum.at(0, 0)[1] + sum.at(0, 0)[2], 0.0f);
    EXPECT_LE(sum.at(0, 0)[3], 1.0f);
}

TEST(EnginePixels, ColorMatrixAndInvertOnSemiTransparentPixels) {
    cif::initializePlatform();
    auto matrix = cif::CIFilter::filterWithName("CIColorMatrix");
    auto invert = cif::CIFilter::filterWithName("CIColorInvert");
    ASSERT_TRUE(matrix && invert);
    // Channels rotated (r <- g, g <- b, b <- r), alpha halved, biases on red and alpha.
    matrix->setValueForKey(QVariant::fromValue(testPicture()), "inputImage");
    matrix->setValueForKey(QVariant::fromValue(CIVector{0, 1, 0, 0}), "inputRVector");
    matrix->setValueForKey(QVariant::fromValue(CIVector{0, 0, 1, 0}), "inputGVector");
    matrix->setValueForKey(QVariant::fromValue(CIVector{1, 0, 0, 0}), "inputBVector");
    matrix->setValueForKey(QVariant::fromValue(CIVector{0, 0, 0, 0.5}), "inputAVector");
    matrix->setValueForKey(QVariant::fromValue(CIVector{0.1, 0, 0, 0.25}), "inputBiasVector");
    invert->setValueForKey(QVariant::fromValue(testPicture()), "inputImage");

    const Rendered m = render(matrix->outputImage(), {-1, 0, 6, 3});
    const Rendered inv = render(invert->outputImage(), {-1, 0, 6, 3});
    for (int y = 0; y < 3; ++y)
        for (int x = -1; x < 5; ++x) {
            const Px p = source(x, y);
            const bool inside = x >= 0 && x < 4;
            const float a = p[3], s = a > 0 ? 1.0f / a : 0.0f;
            const float oa = 0.5f * a + 0.25f;
            const Px wantM =
                inside ? Px{(p[1] * s + 0.1f) * oa, p[2] * s * oa, p[0] * s * oa, oa} : kClear;
            expectNear(m.at(x, y), wantM, x, y);
            expectNear(inv.at(x, y), {a - p[0], a - p[1], a - p[2], a}, x, y);
        }
    // The fully transparent picture pixel gets the bias; the half one keeps its hue.
    EXPECT_NEAR(m.at(3, 0)[3], 0.25f, 1e-6);
    EXPECT_NEAR(m.at(1, 1)[3], 0.5f * 128 / 255 + 0.25f, 1e-6);
}

// ---------------------------------------------------------------- orientation

TEST(EnginePixels, PicturesKeepTheirOrientationThroughTheEngine) {
    // A red top row and a blue bottom row, each with three different shades.
    QImage picture(3, 2, QImage::Format_ARGB32);
    const QRgb top[3] = {qRgb(255, 0, 0), qRgb(200, 10, 0), qRgba(150, 20, 30, 200)};
    const QRgb bottom[3] = {qRgb(0, 0, 255), qRgb(10, 0, 200), qRgba(30, 20, 150, 90)};
    for (int x = 0; x < 3; ++x) {
        picture.setPixel(x, 0, top[x]);
        picture.setPixel(x, 1, bottom[x]);
    }
    const CIImage image = CIImage::imageWithQImage(picture);
    ASSERT_EQ(image.extent(), QRectF(0, 0, 3, 2));

    // In the engine, row 0 is the bottom row (blue) and x still runs left to right.
    CIContext context;
    cif::CIFloatBitmap floats;
    ASSERT_TRUE(context.renderToFloat(image, image.extent(), floats));
    EXPECT_NEAR(floats.at(0, 0)[2], 1.0f, 1e-6);
    EXPECT_NEAR(floats.at(0, 0)[0], 0.0f, 1e-6);
    EXPECT_NEAR(floats.at(0, 1)[0], 1.0f, 1e-6);
    EXPECT_NEAR(floats.at(0, 1)[2], 0.0f, 1e-6);
    EXPECT_GT(floats.at(1, 0)[2], floats.at(2, 0)[2]);
    EXPECT_GT(floats.at(1, 1)[0], floats.at(2, 1)[0]);

    // And out again, pixel for pixel, in linear light and without colour management.
    const QImage expected = picture.convertToFormat(QImage::Format_RGBA8888_Premultiplied);
    EXPECT_EQ(context.createQImage(image, image.extent()), expected);
    CIContext plain(CIContext::Options{WorkingSpace::None});
    EXPECT_EQ(plain.createQImage(image, image.extent()), expected);
    // The top row's right two pixels are engine rectangle (1, 1, 2, 1).
    EXPECT_EQ(context.createQImage(image, QRectF(1, 1, 2, 1)), expected.copy(1, 0, 2, 1));
}

}  // namespace
