// The renderer as a whole: output that does not depend on tile size or thread
// count, cancellation from another thread, requests beyond the picture-size
// limits, and the bounded memory of the tile-buffer pool.

#include <gtest/gtest.h>
#include <malloc.h>

#include <QImage>
#include <QTransform>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "platform/CIPlatform.h"
#include "platform/image/CIContext.h"
#include "platform/image/CIFilter.h"
#include "platform/image/CIImage.h"
#include "platform/image/PixelBuffer.h"

namespace {

using cif::CIColor;
using cif::CIContext;
using cif::CIImage;
using cif::CIVector;
using namespace cif::engine;
using namespace std::chrono_literals;

// A picture with smoothly varying colours and some semi-transparent pixels.
QImage gradientPicture(int w, int h) {
    QImage img(w, h, QImage::Format_RGBA8888_Premultiplied);
    for (int row = 0; row < h; ++row) {
        uchar* line = img.scanLine(row);
        for (int x = 0; x < w; ++x) {
            const int a = (x + row) % 7 == 0 ? 90 : 255;
            const int c[3] = {(x * 255) / w, (row * 255) / h, (x * 37 + row * 11) & 255};
            for (int k = 0; k < 3; ++k)
                line[4 * x + k] = uchar(c[k] * a / 255);
            line[4 * x + 3] = uchar(a);
        }
    }
    return img;
}

CIImage applyFilter(const QString& name, const CIImage& input, const QVariantMap& values = {}) {
    auto filter = cif::CIFilter::filterWithName(name);
    if (!filter) return {};
    filter->setValueForKey(QVariant::fromValue(input), "inputImage");
    for (auto it = values.begin(); it != values.end(); ++it)
        filter->setValueForKey(*it, it.key());
    return filter->outputImage();
}

// ---------------------------------------------------------------- invariance

TEST(EngineRender, OutputIsBitIdenticalForAnyTileSizeAndThreadCount) {
    cif::initializePlatform();
    const CIImage pic = CIImage::imageWithQImage(gradientPicture(61, 47));
    const CIImage constant = CIImage::imageWithColor(CIColor(0.3, 0.6, 0.9, 0.7));
    const CIImage rotated =
        pic.imageByApplyingTransform(QTransform().translate(20, -10).rotate(30));
    const QVariantMap matrix{{"inputRVector", QVariant::fromValue(CIVector{0.2, 0.7, 0.1, 0})},
                             {"inputAVector", QVariant::fromValue(CIVector{0, 0, 0, 0.8})},
                             {"inputBiasVector", QVariant::fromValue(CIVector{0.05, 0, 0, 0.1})}};
    const CIImage chain = applyFilter(
        "CIColorInvert",
        applyFilter("CIColorMatrix", rotated.imageByCroppingToRect(QRectF(-3.3, 2.6, 40.5, 33.2)),
                    matrix));
    const struct {
        const char* name;
        CIImage image;
    } recipes[] = {
        {"picture", pic},
        {"rotated", rotated},
        {"cropped", pic.imageByCroppingToRect(QRectF(5.3, 7.7, 40.2, 30.1))},
        {"clamped", pic.imageByClampingToExtent()},
        {"affine clamp",
         applyFilter("CIAffineClamp", pic,
                     {{"inputTransform", QTransform().rotate(-20).scale(1.3, 0.9)}})},
        {"affine tile", pic.imageByAffineTiling(QTransform().rotate(30).scale(0.7, 1.2))},
        {"over constant", rotated.imageByCompositingOverImage(constant)},
        {"addition",
         rotated.imageByAddingToImage(pic.imageByAffineTiling(QTransform::fromTranslate(3, 5)))},
        {"colour matrix", applyFilter("CIColorMatrix", rotated, matrix)},
        {"constant", constant},
        {"point chain", chain},
        {"half pixel", chain.imageByApplyingTransform(QTransform::fromTranslate(0.5, -0.5))},
    };
    const QRectF area(-40, -30, 150, 110);
    const int tileSizes[] = {256, 64, 7};
    const int threadCounts[] = {1, 2};
    for (const auto& recipe : recipes) {
        ASSERT_FALSE(recipe.image.isNull()) << recipe.name;
        cif::CIFloatBitmap reference;
        bool haveReference = false;
        for (int tile : tileSizes)
            for (int threads : threadCounts) {
                CIContext context;
                context.setTileSize(tile);
                context.setThreads(threads);
                cif::CIFloatBitmap out;
                ASSERT_TRUE(context.renderToFloat(recipe.image, area, out)) << recipe.name;
                if (!haveReference) {
                    // An empty result would make the comparison meaningless.
                    float alpha = 0;
                    for (size_t i = 3; i < out.pixels.size(); i += 4)
                        alpha += out.pixels[i];
                    EXPECT_GT(alpha, 100.0f) << recipe.name << " renders almost nothing";
                    reference = std::move(out);
                    haveReference = true;
                    continue;
                }
                ASSERT_EQ(out.pixels.size(), reference.pixels.size());
                size_t firstDiff = 0;
                while (firstDiff < out.pixels.size() &&
                       std::memcmp(&out.pixels[firstDiff], &reference.pixels[firstDiff],
                                   sizeof(float)) == 0)
                    ++firstDiff;
                EXPECT_EQ(firstDiff, out.pixels.size())
                    << recipe.name << " differs at tile size " << tile << ", " << threads
                    << " threads, pixel (" << (firstDiff / 4) % size_t(out.width) << ", "
                    << (firstDiff / 4) / size_t(out.width) << ")";
            }
    }
}

TEST(EngineRender, RowsHandedOverBeforeTheTileEndsAreFinal) {
    // Blurs hand finished rows to the renderer band by band. Each recipe is
    // rendered by the tiled renderer and, as the reference, by one direct
    // render of the whole area, where nothing is handed over early. Only the
    // blur at the top of the graph may hand rows over: under a colour filter
    // or a translation its rows are not yet final. Tiles of 256 pixels hold
    // several bands; the picture's own rows feed the bands directly, while a
    // blurred input is rendered whole first.
    cif::initializePlatform();
    const CIImage pic = CIImage::imageWithQImage(gradientPicture(300, 280));
    const CIImage blur = applyFilter("CIGaussianBlur", pic, {{"inputRadius", 2.0}});
    const struct {
        const char* name;
        CIImage image;
    } recipes[] = {
        {"blur", blur},
        {"unsharp mask", applyFilter("CIUnsharpMask", pic)},
        {"inverted blur", applyFilter("CIColorInvert", blur)},
        {"moved blur", blur.imageByApplyingTransform(QTransform::fromTranslate(3, -2))},
        {"blur of a blur", applyFilter("CIGaussianBlur", blur, {{"inputRadius", 1.5}})},
    };
    const QRectF area(-10, -5, 320, 290);
    const IRect pixels{-10, -5, 320, 290};
    for (const auto& recipe : recipes) {
        ASSERT_FALSE(recipe.image.isNull()) << recipe.name;
        PixelBuffer reference(pixels);
        renderNode(*recipe.image.node(), reference, RenderState{});
        for (int tile : {256, 64, 7})
            for (int threads : {1, 2}) {
                CIContext context;
                context.setTileSize(tile);
                context.setThreads(threads);
                cif::CIFloatBitmap out;
                ASSERT_TRUE(context.renderToFloat(recipe.image, area, out)) << recipe.name;
                ASSERT_EQ(out.pixels.size(), size_t(pixels.area()) * 4);
                EXPECT_EQ(std::memcmp(out.pixels.data(), reference.data(),
                                      out.pixels.size() * sizeof(float)),
                          0)
                    << recipe.name << " at tile size " << tile << ", " << threads << " threads";
            }
    }
}

// ---------------------------------------------------------------- cancellation

TEST(EngineRender, CancelledRenderReturnsWithNothing) {
    // A 512 x 512 picture tiled under a rotation and resampled again: every
    // output pixel costs two bilinear lookups, so 4096 x 4096 takes a while.
    // (How promptly a cancel is answered is measured by bench_response.)
    const CIImage recipe =
        CIImage::imageWithQImage(gradientPicture(512, 512))
            .imageByAffineTiling(QTransform().rotate(30).scale(1.1, 0.9))
            .imageByApplyingTransform(QTransform().rotate(-7).translate(0.25, 0.5));
    for (int round = 0; round < 3; ++round) {
        CIContext context;
        std::atomic<bool> started{false};
        std::thread canceller([&] {
            while (!started.load())
                std::this_thread::yield();
            std::this_thread::sleep_for(50ms);
            context.cancel();
        });
        started.store(true);
        const QImage out = context.createQImage(recipe, QRectF(0, 0, 4096, 4096));
        canceller.join();
        EXPECT_TRUE(out.isNull()) << "round " << round << ": the render finished before the cancel";
        EXPECT_TRUE(context.wasCancelled());
        EXPECT_FALSE(context.lastError().isEmpty());
    }
    // A cancel between renders does not reach the next one; a flag owned by
    // the caller cancels every render while it is raised.
    CIContext context;
    context.cancel();
    EXPECT_FALSE(context.createQImage(recipe, QRectF(0, 0, 8, 8)).isNull());
    EXPECT_FALSE(context.wasCancelled());
    std::atomic<bool> stop{true};
    context.setCancellationFlag(&stop);
    EXPECT_TRUE(context.createQImage(recipe, QRectF(0, 0, 8, 8)).isNull());
    EXPECT_TRUE(context.wasCancelled());
    stop.store(false);
    EXPECT_FALSE(context.createQImage(recipe, QRectF(0, 0, 8, 8)).isNull());
}

TEST(EngineRender, ProgressRisesToOneOncePerTile) {
    const CIImage image = CIImage::imageWithQImage(gradientPicture(64, 48))
                              .imageByApplyingTransform(QTransform().rotate(10));
    CIContext context;
    context.setTileSize(8);
    context.setThreads(2);
    std::vector<double> reports;  // the handler is never called concurrently
    context.setProgressHandler([&](double f) { reports.push_back(f); });
    ASSERT_FALSE(context.createQImage(image, QRectF(0, 0, 80, 40)).isNull());
    ASSERT_EQ(reports.size(), 50u);  // 10 x 5 tiles
    EXPECT_TRUE(std::is_sorted(reports.begin(), reports.end()));
    EXPECT_EQ(reports.back(), 1.0);
}

// ---------------------------------------------------------------- limits

TEST(EngineRender, RequestsBeyondThePictureLimitsAnswerNullWithAReason) {
    const CIImage constant = CIImage::imageWithColor(CIColor(1, 0, 0));
    CIContext context;
    const QRectF refused[] = {QRectF(0, 0, 40000, 10),    QRectF(0, 0, 10, 30001),
                              QRectF(0, 0, 20000, 20000),  // 400 megapixels
                              CIImage::infiniteRect(),    QRectF(-1e300, 0, 1e300, 5),
                              QRectF(0, 0, 0, 10),        QRectF(NAN, 0, 10, 10)};
    for (const QRectF& r : refused) {
        EXPECT_TRUE(context.createQImage(constant, r).isNull()) << r.width() << " x " << r.height();
        EXPECT_FALSE(context.lastError().isEmpty());
        EXPECT_FALSE(context.wasCancelled());
        cif::CIFloatBitmap floats;
        EXPECT_FALSE(context.renderToFloat(constant, r, floats));
        EXPECT_FALSE(context.lastError().isEmpty());
        EXPECT_TRUE(floats.pixels.empty());
    }
    EXPECT_TRUE(context.createQImage(CIImage(), QRectF(0, 0, 4, 4)).isNull());
    EXPECT_FALSE(context.lastError().isEmpty());

    // At the limit itself rendering works, and the error is cleared.
    const QImage edge = context.createQImage(constant, QRectF(0, 0, 30000, 1));
    EXPECT_EQ(edge.size(), QSize(30000, 1));
    EXPECT_TRUE(context.lastError().isEmpty());
}

// ---------------------------------------------------------------- buffer pool

size_t bytesInUse() {
    const struct mallinfo2 m = mallinfo2();
    return m.uordblks + m.hblkhd;
}

TEST(EngineRender, BufferPoolKeepsOnlyAFewBuffers) {
    BufferPool& pool = BufferPool::forThisThread();
    pool.trim();
    const size_t before = bytesInUse();
    {
        // 200 buffers of different sizes around 1 to 2 MB, all handed back.
        std::vector<PixelBuffer> held;
        for (int i = 0; i < 200; ++i)
            held.push_back(pool.acquire(IRect{0, 0, 256 + 2 * i, 256}));
        for (PixelBuffer& b : held)
            pool.release(std::move(b));
    }
    const size_t afterMany = bytesInUse();
    EXPECT_LT(afterMany, before + (32u << 20))
        << "the pool holds " << (afterMany - before) << " bytes";

    // Very large buffers are freed at once rather than pinned.
    pool.release(pool.acquire(IRect{0, 0, 2048, 2048}));
    EXPECT_LT(bytesInUse(), afterMany + (1u << 20));

    // Acquired buffers are usable for any rectangle up to their capacity.
    PixelBuffer b = pool.acquire(IRect{-5, 7, 300, 2});
    EXPECT_EQ(b.rect(), (IRect{-5, 7, 300, 2}));
    b.fillTransparent();
    EXPECT_EQ(b.at(294, 8)[3], 0.0f);
    pool.release(std::move(b));
    pool.trim();
    EXPECT_LT(bytesInUse(), before + (1u << 20));
}

}  // namespace
