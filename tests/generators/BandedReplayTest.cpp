// Recorded drawings replayed in parallel bands of rows give the pixels of one whole replay,
// for every vector generator and for the kinds of drawing a recording may hold.

#include <gtest/gtest.h>

#include <QFont>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QPicture>
#include <QRadialGradient>

#include <climits>
#include <cstdlib>
#include <functional>

#include "generators/GLIFClassRegistry.h"
#include "platform/host/BandedReplay.h"
#include "platform/host/HostImage.h"

namespace cif {
namespace {

// Band heights: single rows, an odd height that cuts shapes anywhere, and a larger one.
constexpr int kBandRows[] = {1, 7, 64};

void expectSameInBands(const HostImage& picture, QSize pixels, const QString& what) {
    const QImage whole = picture.rasterizeInBands(pixels, INT_MAX);
    ASSERT_FALSE(whole.isNull()) << qPrintable(what);
    for (const int rows : kBandRows) {
        const QImage banded = picture.rasterizeInBands(pixels, rows);
        EXPECT_TRUE(banded == whole) << qPrintable(what) << " in bands of " << rows << " rows";
    }
    EXPECT_TRUE(picture.rasterize(pixels) == whole) << qPrintable(what);
}

TEST(BandedReplayTest, EveryVectorGeneratorGivesTheSamePixelsInBands) {
    registerGeneratorClasses();
    int vectors = 0;
    for (const QString& name : registeredGLIFClasses()) {
        const auto generator = instantiateGLIFClass(name);
        ASSERT_TRUE(generator);
        QVariantMap parameters;
        const QVariantMap description = generator->GLIFQueryAttributes();
        for (auto it = description.cbegin(); it != description.cend(); ++it)
            parameters.insert(it.key(), it.value().toMap().value("GLIFDefValue"));
        std::srand(3);
        const HostImage picture =
            generator->GLIFOutputImageWidthHeightAttributes(nullptr, 301, 217, parameters);
        if (!picture.isVector()) continue;
        ++vectors;
        expectSameInBands(picture, QSize(301, 217), name);
    }
    EXPECT_GT(vectors, 3);
}

// Antialiased fills, a thin line, translucent colours, a pattern brush and upright and turned
// text, all crossing band edges at fractional positions.
void drawBandable(QPainter& painter) {
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.fillRect(QRectF(0, 0, 120, 90), QColor(20, 60, 140, 90));
    QPainterPath blob;
    blob.moveTo(3.3, 4.7);
    blob.cubicTo(90.1, -10.2, 40.6, 95.5, 117.2, 81.9);
    blob.lineTo(10.4, 70.3);
    blob.closeSubpath();
    painter.setBrush(QColor(200, 30, 70, 160));
    painter.drawPath(blob);
    for (int i = 0; i < 40; ++i) {
        painter.setBrush(QColor(i * 6, 255 - i * 5, 120, 40 + i * 5));
        painter.drawEllipse(QPointF(7.13 + i * 2.71, 3.9 + i * 2.07), 1.7 + i * 0.11,
                            0.9 + i * 0.13);
    }
    const QPointF triangle[] = {{60.5, 10.25}, {110.8, 37.1}, {71.2, 70.85}};
    painter.setBrush(QBrush(Qt::darkMagenta, Qt::DiagCrossPattern));
    painter.drawPolygon(triangle, 3);
    painter.setPen(QPen(Qt::black, 0));
    painter.drawLine(QPointF(1.6, 2.2), QPointF(118.3, 87.4));
    painter.setFont(QFont(QStringLiteral("DejaVu Sans"), 13));
    painter.drawText(QPointF(8.4, 30.6), QStringLiteral("Banded gQ"));
    painter.rotate(7);
    painter.drawText(QPointF(28.4, 60.6), QStringLiteral("Turned"));
}

TEST(BandedReplayTest, EveryKindOfDrawingGivesTheSamePixelsInBands) {
    QPicture recording;
    {
        QPainter painter(&recording);
        drawBandable(painter);
    }
    ASSERT_TRUE(BandedReplay::isSafe(recording));
    const HostImage picture = HostImage::fromDrawing(recording, QSizeF(120, 90));
    expectSameInBands(picture, QSize(120, 90), QStringLiteral("natural size"));
    expectSameInBands(picture, QSize(311, 193), QStringLiteral("scaled"));
}

// Drawings whose pixels the raster engine computes differently under another clip are found
// and replayed whole, with the pixels of one replay.
TEST(BandedReplayTest, DrawingsThatDependOnTheClipAreReplayedWhole) {
    const std::function<void(QPainter&)> kinds[] = {
        [](QPainter& p) {
            QLinearGradient linear(QPointF(0, 0), QPointF(30, 77));
            linear.setColorAt(0, QColor(255, 0, 0, 200));
            linear.setColorAt(1, QColor(0, 0, 255, 60));
            p.setPen(Qt::NoPen);
            p.setBrush(linear);
            p.drawEllipse(QRectF(10.5, 10.25, 90.3, 60.6));
        },
        [](QPainter& p) {
            QPainterPath steps(QPointF(10, 10));
            for (int i = 1; i < 8; ++i)
                steps.lineTo(10 + 12 * i, 10 + 9 * ((i + 1) / 2));
            p.strokePath(steps, QPen(Qt::red, 4.5, Qt::SolidLine, Qt::FlatCap, Qt::MiterJoin));
        },
        [](QPainter& p) {
            p.setPen(QPen(Qt::blue, 2.6));
            p.setBrush(QColor(0, 200, 0, 100));
            p.drawRect(QRectF(5.5, 7.2, 100.7, 73.3));
        },
        [](QPainter& p) {
            p.setPen(QPen(QColor(250, 200, 10, 200), 1));
            p.drawLine(QPointF(3.3, 88.1), QPointF(117.2, 1.9));
        },
        [](QPainter& p) {
            QImage image(9, 7, QImage::Format_ARGB32_Premultiplied);
            for (int y = 0; y < 7; ++y)
                for (int x = 0; x < 9; ++x)
                    image.setPixel(x, y, qRgba(x * 28, y * 36, 255 - x * 20, 255));
            p.setRenderHint(QPainter::SmoothPixmapTransform);
            p.drawImage(QRectF(70.3, 40.6, 37.9, 29.1), image);
        },
        [](QPainter& p) {
            p.setClipRect(QRectF(10.5, 5.5, 60, 40));
            drawBandable(p);
            p.setClipRect(QRectF(50, 30, 60, 50), Qt::ReplaceClip);
            p.setBrush(QColor(0, 255, 0, 128));
            p.drawEllipse(QPointF(60, 50), 40, 30);
        },
    };
    int kind = 0;
    for (const auto& draw : kinds) {
        QPicture recording;
        {
            QPainter painter(&recording);
            painter.setRenderHint(QPainter::Antialiasing);
            draw(painter);
        }
        EXPECT_FALSE(BandedReplay::isSafe(recording)) << kind;
        expectSameInBands(HostImage::fromDrawing(recording, QSizeF(120, 90)), QSize(311, 193),
                          QStringLiteral("kind %1").arg(kind));
        ++kind;
    }
}

}  // namespace
}  // namespace cif
