// The small additions: image placement and scaling, rectangles, colour names,
// unique paths and rounded-rectangle paths.

#include <gtest/gtest.h>

#include <QFile>
#include <QPainter>
#include <QTemporaryDir>

#include "core/VNAdditional.h"
#include "platform/CIPlatform.h"

namespace cif {
namespace {

class VNAdditionalTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { initializePlatform(); }
};

TEST_F(VNAdditionalTest, ImageTransformedToRectScalesThenMovesByExtentMinusTarget) {
    QImage pixels(40, 20, QImage::Format_ARGB32_Premultiplied);
    pixels.fill(Qt::red);
    const CIImage image =
        CIImage::imageWithQImage(pixels).imageByApplyingTransform(QTransform::fromTranslate(5, 7));
    const CIImage placed = imageTransformedToRect(image, QRectF(100, 50, 80, 10));
    // Scaled by (2, 0.5) about the origin: extent (10, 3.5, 80, 10); then
    // moved by (5 - 100, 7 - 50).
    EXPECT_EQ(placed.extent(), QRectF(10 - 95, 3.5 - 43, 80, 10));
}

TEST_F(VNAdditionalTest, ProportionalScalingAndFading) {
    const auto picture = [](int w, int h) {
        QImage image(w, h, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::blue);
        return HostImage::fromQImage(image);
    };
    EXPECT_EQ(imageByScalingToSize(picture(200, 100), QSizeF(50, 50)).size(), QSizeF(50, 25));
    EXPECT_EQ(imageByScalingToSize(picture(100, 200), QSizeF(50, 50)).size(), QSizeF(25, 50));
    EXPECT_EQ(imageByScalingToSize(picture(100, 100), QSizeF(50, 20)).size(), QSizeF(50, 20));
    EXPECT_EQ(imageByScalingForMenuItem(picture(64, 32)).size(), QSizeF(16, 8));

    // Bitmaps scale to bitmaps of the target's pixels, drawings stay drawings.
    const HostImage scaled = imageByScalingToSize(picture(1000, 500), QSizeF(256, 256));
    EXPECT_EQ(scaled.bestRepresentation(), HostImage::Representation::Bitmap);
    EXPECT_EQ(scaled.bitmap().size(), QSize(256, 128));
    EXPECT_EQ(QColor(scaled.bitmap().pixel(128, 64)), QColor(Qt::blue));
    const HostImage drawing = HostImage::recordDrawing(
        QSizeF(40, 20), [](QPainter& p) { p.fillRect(QRectF(0, 0, 40, 20), Qt::red); });
    EXPECT_TRUE(imageByScalingToSize(drawing, QSizeF(10, 10)).isVector());
    EXPECT_EQ(imageByScalingToSize(drawing, QSizeF(10, 10)).size(), QSizeF(10, 5));

    const HostImage original = picture(10, 10);
    const HostImage same = imageByFadingToFraction(original, 1.0f);
    EXPECT_EQ(same.bitmap().cacheKey(), original.bitmap().cacheKey());
    const QImage half = largestBitmapImageRep(imageByFadingToFraction(original, 0.5f))
                            .convertToFormat(QImage::Format_ARGB32);
    ASSERT_FALSE(half.isNull());
    EXPECT_NEAR(qAlpha(half.pixel(5, 5)), 128, 2);
    EXPECT_NEAR(qBlue(half.pixel(5, 5)), 255, 2);
    EXPECT_FALSE(PNGRepresentation(original).isEmpty());
}

TEST_F(VNAdditionalTest, FlipMirrorsTopToBottom) {
    QImage image(4, 4, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::white);
    for (int x = 0; x < 4; ++x)
        image.setPixel(x, 0, qRgb(255, 0, 0));
    const HostImage flipped = imageByScalingToSizeFractionFlipImageProportionallyAllowAnimation(
        HostImage::fromQImage(image), QSizeF(4, 4), 1.0f, true, false, false);
    const QImage out = largestBitmapImageRep(flipped).convertToFormat(QImage::Format_ARGB32);
    EXPECT_EQ(qGreen(out.pixel(1, 3)), 0);
    EXPECT_EQ(qGreen(out.pixel(1, 0)), 255);
}

TEST_F(VNAdditionalTest, ArraysRectanglesAndColourNames) {
    EXPECT_EQ(arrayWithoutObjectsInArray(QStringList{"a", "b", "c", "b"}, QStringList{"b"}),
              (QStringList{"a", "c"}));
    EXPECT_EQ(unionBounds({}), QRectF());
    EXPECT_EQ(unionBounds({QRectF(0, 0, 10, 10), QRectF(-5, 5, 10, 20)}), QRectF(-5, 0, 15, 25));
    EXPECT_FLOAT_EQ(maxY(QRectF(1, 2, 3, 4)), 6.0f);

    EXPECT_EQ(colorFromString("Red"), QColor(255, 0, 0));
    EXPECT_EQ(colorFromString("Clear")->alpha(), 0);
    EXPECT_EQ(colorFromString("Blueberry"), QColor(0, 0, 255));
    EXPECT_EQ(colorFromString("teal"), QColor(0, 128, 128));  // SVG names, any case
    EXPECT_FALSE(colorFromString("#ff0000"));
    EXPECT_FALSE(colorFromString("NoSuchColour"));
}

TEST_F(VNAdditionalTest, UniquePathsCountUpAndKeepTheExtension) {
    QTemporaryDir dir;
    const auto touch = [](const QString& path) {
        QFile f(path);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    };
    const QString png = dir.filePath("picture.png");
    EXPECT_EQ(uniquePathForPath(png), png);
    touch(png);
    EXPECT_EQ(uniquePathForPath(png), dir.filePath("picture-1.png"));
    touch(dir.filePath("picture-1.png"));
    EXPECT_EQ(uniquePathForPath(png), dir.filePath("picture-2.png"));
    touch(dir.filePath("notes"));
    EXPECT_EQ(uniquePathForPath(dir.filePath("notes")), dir.filePath("notes-1"));
}

TEST_F(VNAdditionalTest, RoundedRectanglesClampTheirRadius) {
    EXPECT_TRUE(bezierPathWithRoundedRectCornerRadius(QRectF(0, 0, 0, 10), 3).isEmpty());
    const QPainterPath plain = bezierPathWithRoundedRectCornerRadius(QRectF(0, 0, 10, 10), 0);
    EXPECT_TRUE(plain.contains(QPointF(0.2, 0.2)));
    // A radius over half the height is cut to 5: the corner region outside
    // a circle of radius 5 is not inside, the middle of each side is.
    const QPainterPath round = bezierPathWithRoundedRectCornerRadius(QRectF(0, 0, 40, 10), 30);
    EXPECT_EQ(round.boundingRect(), QRectF(0, 0, 40, 10));
    EXPECT_FALSE(round.contains(QPointF(0.6, 0.6)));
    EXPECT_TRUE(round.contains(QPointF(5, 0.3)));
    EXPECT_TRUE(round.contains(QPointF(0.3, 5)));

    // Corners as curves with both control points on the corner; left open.
    const QPainterPath square = bezierPathWithRectCornerRadius(QRectF(0, 0, 10, 10), 2);
    EXPECT_EQ(square.elementAt(0).x, 2);
    EXPECT_EQ(square.elementAt(0).y, 10);
    const QPainterPath::Element last = square.elementAt(square.elementCount() - 1);
    EXPECT_EQ(QPointF(last.x, last.y), QPointF(2, 10));
    EXPECT_EQ(square.elementCount(), 1 + 4 + 4 * 3);  // move, 4 lines, 4 cubics
}

}  // namespace
}  // namespace cif
