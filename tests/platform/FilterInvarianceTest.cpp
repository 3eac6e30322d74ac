// Every registered filter gives the same bits whatever the renderer's tile
// size, the part of the output asked for and the number of threads: a
// preview of part of a picture always matches the accepted whole.

#include <gtest/gtest.h>

#include <QRectF>
#include <QVariantMap>
#include <cstring>
#include <memory>
#include <vector>

#include "platform/CIPlatform.h"
#include "platform/image/CIAttributes.h"
#include "platform/image/CIContext.h"
#include "platform/image/CIFilter.h"
#include "platform/image/CIImage.h"
#include "platform/image/CIVector.h"
#include "platform/image/Nodes.h"

namespace {

using namespace cif;

constexpr int kW = 83, kH = 61;

uint32_t hash32(uint32_t v) {
    v ^= v >> 16;
    v *= 0x7feb352dU;
    v ^= v >> 15;
    v *= 0x846ca68bU;
    v ^= v >> 16;
    return v;
}

// Noise over hard edges and a translucent band, so every kind of filter has
// something to change; each seed gives another picture.
CIImage picture(uint32_t seed) {
    auto px = std::make_shared<std::vector<float>>(size_t(kW) * kH * 4);
    for (int y = 0; y < kH; ++y)
        for (int x = 0; x < kW; ++x) {
            float* o = px->data() + (size_t(y) * kW + size_t(x)) * 4;
            const bool square = x > kW / 4 && x < kW / 2 && y > kH / 3 && y < 2 * kH / 3;
            const float a = (x + 2 * y) % 23 < 5 ? 0.5f : 1.0f;
            for (int c = 0; c < 3; ++c) {
                const float noise =
                    float(hash32(uint32_t((y * kW + x) * 3 + c) + seed) & 255) / 255.0f;
                o[c] = (square ? 0.9f : 0.2f + 0.6f * noise) * a;
            }
            o[3] = a;
        }
    return CIImage::imageWithNode(
        std::make_shared<engine::SourceNode>(px, px->data(), kW, kH, size_t(kW) * 4 * sizeof(float),
                                             engine::SourceNode::Format::FloatPremulBottomUp));
}

bool isImageInput(const QVariantMap& attributes, const QString& key) {
    return attributes.value(key).toMap().value(kCIAttributeClass).toString() == "CIImage";
}

// The picture's edges carried on for ever.
CIImage clamped(const CIImage& image) {
    std::unique_ptr<CIFilter> f = CIFilter::filterWithName("CIAffineClamp");
    f->setValueForKey(QVariant::fromValue(image), "inputImage");
    return f->outputImage();
}

// The filter with its defaults, every image input given a picture (clamped:
// of infinite extent), then the values given.
CIImage output(const QString& name, const QVariantMap& values, bool clamp = false) {
    std::unique_ptr<CIFilter> f = CIFilter::filterWithName(name);
    if (!f) return {};
    const QVariantMap attributes = f->attributes();
    uint32_t seed = 1;
    for (const QString& key : f->inputKeys())
        if (isImageInput(attributes, key)) {
            const CIImage p = picture(seed++);
            f->setValueForKey(QVariant::fromValue(clamp ? clamped(p) : p), key);
        }
    for (auto it = values.begin(); it != values.end(); ++it)
        f->setValueForKey(*it, it.key());
    return f->outputImage();
}

CIFloatBitmap render(const CIImage& image, const QRectF& rect, int tile, int threads) {
    CIContext context(CIContext::Options{engine::WorkingSpace::LinearSRGB, tile, threads});
    CIFloatBitmap out;
    EXPECT_TRUE(context.renderToFloat(image, rect, out));
    return out;
}

// Compares part (whose bottom-left pixel is (dx, dy) of whole) bit for bit;
// says where they first differ and by how much.
::testing::AssertionResult samePixels(const CIFloatBitmap& whole, const CIFloatBitmap& part, int dx,
                                      int dy) {
    for (int y = 0; y < part.height; ++y)
        for (int x = 0; x < part.width; ++x)
            if (std::memcmp(part.at(x, y), whole.at(x + dx, y + dy), 4 * sizeof(float)) != 0) {
                const float* a = whole.at(x + dx, y + dy);
                const float* b = part.at(x, y);
                return ::testing::AssertionFailure()
                       << "pixel (" << x + dx << ", " << y + dy << ") of the reference: (" << a[0]
                       << ", " << a[1] << ", " << a[2] << ", " << a[3] << ") against (" << b[0]
                       << ", " << b[1] << ", " << b[2] << ", " << b[3] << ")";
            }
    return ::testing::AssertionSuccess();
}

// Renders the image over a window around the pictures in one tile on one
// thread, then in tiles of 64 and smallTile on two threads, and parts of the window
// in tiles of 16 and 5, and requires the same bits everywhere.
void checkInvariance(const CIImage& image, const QRectF& around = QRectF(-13, -9, kW + 26, kH + 18),
                     int smallTile = 7) {
    QRectF window = around;
    const QRectF extent = image.extent();
    if (!extent.isNull() && extent.width() < 1e6) window = window.intersected(extent);
    const QRectF pixels = window.toAlignedRect();
    if (pixels.isEmpty()) return;
    const CIFloatBitmap reference = render(image, pixels, 256, 1);
    for (const int tile : {64, smallTile}) {
        SCOPED_TRACE(tile);
        const CIFloatBitmap tiled = render(image, pixels, tile, 2);
        ASSERT_TRUE(samePixels(reference, tiled, 0, 0));
    }
    // Parts starting off every grid: an inner part and a corner.
    const QRectF parts[] = {pixels.adjusted(5, 3, -11, -9),
                            QRectF(pixels.x() + 1, pixels.y() + pixels.height() / 2,
                                   pixels.width() / 2, pixels.height() / 2)};
    for (const QRectF& part : parts) {
        const QRectF p = QRectF(part.toAlignedRect()).intersected(pixels);
        if (p.isEmpty()) continue;
        SCOPED_TRACE(QString("part %1,%2 %3x%4")
                         .arg(p.x())
                         .arg(p.y())
                         .arg(p.width())
                         .arg(p.height())
                         .toStdString());
        for (const int tile : {16, 5}) {
            const CIFloatBitmap got = render(image, p, tile, tile == 5 ? 2 : 1);
            ASSERT_TRUE(
                samePixels(reference, got, int(p.x() - pixels.x()), int(p.y() - pixels.y())));
        }
    }
}

class FilterInvariance : public ::testing::Test {
protected:
    static void SetUpTestSuite() { initializePlatform(); }
};

TEST_F(FilterInvariance, EveryFilterGivesTheSamePixelsForAnyTilesPartsAndThreads) {
    const QStringList names = CIFilter::filterNamesInCategories({});
    ASSERT_GT(names.size(), 100);
    for (const QString& name : names) {
        SCOPED_TRACE(name.toStdString());
        const CIImage image = output(name, {});
        if (image.isNull()) continue;
        checkInvariance(image);
    }
}

TEST_F(FilterInvariance, WideBlursAndWarpsOverThePicture) {
    // Parameters that reach the recursive and reduced blurs, running sums
    // wider than a tile, and warps centred on the picture.
    const QVariant centre = QVariant::fromValue(CIVector{kW / 2.0, kH / 2.0});
    const struct {
        const char* name;
        QVariantMap values;
    } cases[] = {
        {"CIGaussianBlur", {{"inputRadius", 5.0}}},
        {"CIGaussianBlur", {{"inputRadius", 9.0}}},
        {"CIGaussianBlur", {{"inputRadius", 24.0}}},
        {"CIGaussianBlur", {{"inputRadius", 80.0}}},
        {"CIBoxBlur", {{"inputRadius", 7.0}}},
        {"CIBoxBlur", {{"inputRadius", 60.0}}},
        {"CIDiscBlur", {{"inputRadius", 12.0}}},
        {"CIUnsharpMask", {{"inputRadius", 12.0}, {"inputIntensity", 1.5}}},
        {"CISharpenLuminance", {{"inputRadius", 6.0}}},
        {"CIBloom", {{"inputRadius", 15.0}}},
        {"CIGloom", {{"inputRadius", 15.0}}},
        {"CIMotionBlur", {{"inputRadius", 12.0}, {"inputAngle", 0.7}}},
        {"CIZoomBlur", {{"inputCenter", centre}, {"inputAmount", 15.0}}},
        {"CITwirlDistortion", {{"inputCenter", centre}, {"inputRadius", 35.0}}},
        {"CIBumpDistortion", {{"inputCenter", centre}, {"inputRadius", 30.0}}},
        {"CIHoleDistortion", {{"inputCenter", centre}, {"inputRadius", 12.0}}},
        {"CIVortexDistortion", {{"inputCenter", centre}, {"inputRadius", 40.0}}},
        {"CICircleSplashDistortion", {{"inputCenter", centre}, {"inputRadius", 20.0}}},
        {"CIPinchDistortion", {{"inputCenter", centre}, {"inputRadius", 40.0}}},
        {"CIPerspectiveTransform",
         {{"inputTopLeft", QVariant::fromValue(CIVector{5, 70})},
          {"inputTopRight", QVariant::fromValue(CIVector{90, 55})},
          {"inputBottomRight", QVariant::fromValue(CIVector{70, -4})},
          {"inputBottomLeft", QVariant::fromValue(CIVector{-6, 8})}}},
        {"CIKaleidoscope", {{"inputCenter", centre}}},
        {"CIGlassDistortion", {{"inputCenter", centre}, {"inputScale", 30.0}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const CIImage image = output(c.name, c.values);
        ASSERT_FALSE(image.isNull());
        checkInvariance(image);
        // Over clamped pictures and a window taller than the bands and
        // segments the blurs work in.
        checkInvariance(output(c.name, c.values, true), QRectF(-40, -150, 170, 420), 19);
    }
}

}  // namespace
