// The generator base: its parameters, change detection, prefetch buffer and the three ways
// a generator produces its picture, each checked for the platform's bottom-left origin.
#include <gtest/gtest.h>

#include "generators/GLIFCoreObject.h"
#include "platform/image/CIColor.h"

#include <QPainter>
#include <cmath>
#include <cstring>

using namespace cif;

namespace {

class LogCapture {
public:
    LogCapture() {
        s_lines.clear();
        m_previous = qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext&, const QString& text) { s_lines << text; });
    }
    ~LogCapture() { qInstallMessageHandler(m_previous); }
    const QStringList& lines() const { return s_lines; }

private:
    static inline QStringList s_lines;
    QtMessageHandler m_previous;
};

// A generator that marks the bottom-left 4 x 4 points of its picture red, by whichever
// form it is told to use.
class Probe final : public GLIFCoreObject {
public:
    enum class Form { Vector, Bitmap, Direct };
    Form form = Form::Vector;

    QString className() const override { return QStringLiteral("GLIF_Probe"); }

    HostImage GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width, int height,
                                                   const QVariantMap& attributes) override {
        GLIFCoreObject::GLIFOutputImageWidthHeightAttributes(image, width, height, attributes);
        takeSizeFromImage(image, width, height);
        switch (form) {
            case Form::Vector:
                return recordVectorImage(width, height);
            case Form::Bitmap:
                return generateBitmapImage(width, height, [](RGBABitmap& bitmap) {
                    for (int y = 0; y < 4; ++y)
                        for (int x = 0; x < 4; ++x)
                            std::memcpy(bitmap.pixel(x, y), kRed, 4);
                });
            case Form::Direct:
                return drawDirectImage(width, height, [this](QPainter& painter, const QRectF& r) {
                    drawBackgroundInRect(painter, r);
                    painter.fillRect(QRectF(0, 0, 4, 4), Qt::red);
                });
        }
        return {};
    }

    void drawRect(QPainter& painter, const QRectF& rect) override {
        GLIFCoreObject::drawRect(painter, rect);
        painter.fillRect(QRectF(0, 0, 4, 4), Qt::red);
    }

    using GLIFCoreObject::_backColor;
    using GLIFCoreObject::_bNeedUpdateCashe;
    using GLIFCoreObject::_colorRangeMax;
    using GLIFCoreObject::_colorRangeMin;
    using GLIFCoreObject::_iColorScheme;
    using GLIFCoreObject::_preAttr;
    using GLIFCoreObject::_prefetchBuffer;
    using GLIFCoreObject::_schemeKeyColor;
    using GLIFCoreObject::_useBackColor;
    using GLIFCoreObject::allocatePrefetchBuffer;
    using GLIFCoreObject::drawDirectImage;
    using GLIFCoreObject::drawImageUpright;
    using GLIFCoreObject::prefetchBufferCells;

private:
    static constexpr unsigned char kRed[4] = {255, 0, 0, 255};
};

QRgb pixelAt(const HostImage& picture, int x, int yFromTop) {
    const QImage image = picture.rasterize(QSize(picture.pixelsWide(), picture.pixelsHigh()))
                             .convertToFormat(QImage::Format_ARGB32);
    return image.pixel(x, yFromTop);
}

const QVariantMap kShape{{"GLIFCount", 5}, {"GLIFSize", 2.5}, {"GLIFColorScheme", 1}};

}  // namespace

TEST(GLIFCoreObject, StartsEmptyAndReadsTheSharedKeys) {
    Probe probe;
    EXPECT_EQ(probe._iColorScheme, 0);
    EXPECT_EQ(probe._colorRangeMax, 0.0);
    EXPECT_FALSE(probe._backColor);
    EXPECT_EQ(probe.GLIFPrefetchBuffer(), nullptr);

    const HostImage none = probe.GLIFCoreObject::GLIFOutputImageWidthHeightAttributes(
        nullptr, 10, 10,
        {{"GLIFColorScheme", 3},
         {"GLIFSchemeKeyColor", 0.25},
         {"GLIFColorRangeMin", 0.1},
         {"GLIFColorRangeMax", 0.7},
         {"GLIFUseBackgroundColor", true},
         {"GLIFBackgroundColor", QColor(Qt::blue)}});
    EXPECT_TRUE(none.isNull());
    EXPECT_EQ(probe._iColorScheme, 3);
    EXPECT_EQ(probe._schemeKeyColor, 0.25);
    EXPECT_EQ(probe._colorRangeMin, double(0.1f));  // read as a 32-bit float
    EXPECT_EQ(probe._colorRangeMax, double(0.7f));
    EXPECT_TRUE(probe._useBackColor);
    EXPECT_EQ(probe._backColor, QColor(Qt::blue));

    // Absent keys keep their fields, except the range, which returns to 0..1.
    probe.GLIFCoreObject::GLIFOutputImageWidthHeightAttributes(nullptr, 10, 10, {});
    EXPECT_EQ(probe._iColorScheme, 3);
    EXPECT_EQ(probe._colorRangeMin, 0.0);
    EXPECT_EQ(probe._colorRangeMax, 1.0);
    EXPECT_EQ(probe._backColor, QColor(Qt::blue));

    // Integers truncate from floating numbers; colours come as CIColor too.
    probe.GLIFCoreObject::GLIFOutputImageWidthHeightAttributes(
        nullptr, 10, 10,
        {{"GLIFColorScheme", 2.7},
         {"GLIFBackgroundColor", QVariant::fromValue(CIColor(0.0, 1.0, 0.0))}});
    EXPECT_EQ(probe._iColorScheme, 2);
    EXPECT_EQ(probe._backColor, QColor(Qt::green));
}

TEST(GLIFCoreObject, PrefetchSizeSaturatesAndBufferFills) {
    const Probe probe;
    EXPECT_EQ(probe.GLIFQueryPrefetchBufferSizeForSize({0, 0}), 0u);
    EXPECT_EQ(probe.GLIFQueryPrefetchBufferSizeForSize({-3, 4}), 0u);
    EXPECT_EQ(probe.GLIFQueryPrefetchBufferSizeForSize({32767, 16384}), 4294836224u);
    EXPECT_EQ(probe.GLIFQueryPrefetchBufferSizeForSize({32768, 16384}), 4294967295u);

    Probe buffers;
    ASSERT_TRUE(buffers.allocatePrefetchBuffer(37, GLIFCoreObject::PrefetchFill::Bytes0x40));
    ASSERT_NE(buffers.GLIFPrefetchBuffer(), nullptr);
    EXPECT_EQ(buffers.prefetchBufferCells(), 37);
    for (int i = 0; i < 37; ++i)
        EXPECT_EQ(buffers.GLIFPrefetchBuffer()[i], 32.501960784313724);
    ASSERT_TRUE(buffers.allocatePrefetchBuffer(5, GLIFCoreObject::PrefetchFill::Zero));
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(buffers.GLIFPrefetchBuffer()[i], 0.0);
    // Absurd sizes are refused before any allocation and leave no buffer.
    EXPECT_FALSE(
        buffers.allocatePrefetchBuffer(std::int64_t(1) << 40, GLIFCoreObject::PrefetchFill::None));
    EXPECT_EQ(buffers.GLIFPrefetchBuffer(), nullptr);
}

TEST(GLIFCoreObject, OnlyShapeKeysAndSizeForceAnUpdate) {
    Probe probe;
    EXPECT_TRUE(probe.GLIFIsChangeAttributesNewWidthNewHeight(kShape, 10, 8));  // first time
    probe.GLIFUpdateCasheWidthHeight(kShape, 10, 8);
    EXPECT_EQ(probe._preAttr.value("GLIFWidth"), QVariant(10));
    EXPECT_EQ(probe._preAttr.value("GLIFCount"), QVariant(5));
    EXPECT_FALSE(probe.GLIFIsChangeAttributesNewWidthNewHeight(kShape, 10, 8));
    EXPECT_FALSE(probe._bNeedUpdateCashe);

    QVariantMap colours = kShape;
    colours.insert("GLIFColorScheme", 4);
    colours.insert("GLIFSchemeKeyColor", 0.5);
    colours.insert("GLIFColorRangeMin", 0.2);
    colours.insert("GLIFColorRangeMax", 0.8);
    colours.insert("GLIFUseBackgroundColor", true);
    colours.insert("GLIFBackgroundColor", QColor(Qt::red));
    EXPECT_FALSE(probe.GLIFIsChangeAttributesNewWidthNewHeight(colours, 10, 8));
    EXPECT_FALSE(probe._bNeedUpdateCashe);
    // Without a change the record is not rewritten.
    probe.GLIFUpdateCasheWidthHeight(colours, 10, 8);
    EXPECT_EQ(probe._preAttr.value("GLIFColorScheme"), QVariant(1));
    // Numbers compare by value, whatever their kind.
    QVariantMap sameValue = kShape;
    sameValue.insert("GLIFCount", 5.0);
    EXPECT_FALSE(probe.GLIFIsChangeAttributesNewWidthNewHeight(sameValue, 10, 8));

    QVariantMap changed = kShape;
    changed.insert("GLIFCount", 6);
    EXPECT_TRUE(probe.GLIFIsChangeAttributesNewWidthNewHeight(changed, 10, 8));
    EXPECT_TRUE(probe._bNeedUpdateCashe);
    EXPECT_TRUE(probe.GLIFIsChangeAttributesNewWidthNewHeight(kShape, 11, 8));
    probe.GLIFUpdateCasheWidthHeight(changed, 10, 9);
    EXPECT_EQ(probe._preAttr.value("GLIFCount"), QVariant(6));
}

TEST(GLIFCoreObject, EveryFormDrawsWithTheOriginAtTheBottomLeft) {
    for (const Probe::Form form : {Probe::Form::Vector, Probe::Form::Bitmap, Probe::Form::Direct}) {
        SCOPED_TRACE(int(form));
        Probe probe;
        probe.form = form;
        const HostImage picture = probe.GLIFOutputImageWidthHeightAttributes(nullptr, 16, 12, {});
        ASSERT_FALSE(picture.isNull());
        EXPECT_EQ(picture.size(), QSizeF(16, 12));
        EXPECT_EQ(picture.isVector(), form == Probe::Form::Vector);
        EXPECT_EQ(pixelAt(picture, 1, 10), qRgb(255, 0, 0));  // bottom-left: red
        EXPECT_EQ(qAlpha(pixelAt(picture, 1, 1)), 0);         // top-left: empty
        EXPECT_EQ(qAlpha(pixelAt(picture, 14, 10)), 0);       // bottom-right: empty
        // Drawn twice as large, the mark stays in the same corner.
        const QImage large = picture.rasterize(QSize(32, 24));
        EXPECT_EQ(large.pixelColor(6, 20), QColor(Qt::red));
        EXPECT_EQ(large.pixelColor(6, 3).alpha(), 0);
    }
    // The PDF recording keeps the orientation too and can be exported as it is.
    Probe probe;
    probe.setVectorOutput(GLIFCoreObject::VectorOutput::Pdf);
    const HostImage pdf = probe.GLIFOutputImageWidthHeightAttributes(nullptr, 16, 12, {});
    ASSERT_EQ(pdf.bestRepresentation(), HostImage::Representation::Pdf);
    EXPECT_TRUE(pdf.pdfData().startsWith("%PDF"));
    EXPECT_EQ(pdf.size(), QSizeF(16, 12));
    EXPECT_EQ(pixelAt(pdf, 1, 10), qRgb(255, 0, 0));
    EXPECT_EQ(qAlpha(pixelAt(pdf, 1, 1)), 0);
    // A given picture sets the size.
    const HostImage source = HostImage::fromQImage(QImage(9, 3, QImage::Format_RGBA8888));
    EXPECT_EQ(probe.GLIFOutputImageWidthHeightAttributes(&source, 7, 5, {}).size(), QSizeF(9, 3));
}

TEST(GLIFCoreObject, BackgroundIsFilledOnlyWhenAskedWithAColour) {
    Probe probe;
    const QVariantMap blue{{"GLIFUseBackgroundColor", true},
                           {"GLIFBackgroundColor", QColor(Qt::blue)}};
    HostImage picture = probe.GLIFOutputImageWidthHeightAttributes(nullptr, 8, 8, blue);
    EXPECT_EQ(pixelAt(picture, 6, 1), qRgb(0, 0, 255));
    EXPECT_EQ(pixelAt(picture, 1, 6), qRgb(255, 0, 0));  // drawn over the background
    picture = probe.GLIFOutputImageWidthHeightAttributes(nullptr, 8, 8,
                                                         {{"GLIFUseBackgroundColor", false}});
    EXPECT_EQ(qAlpha(pixelAt(picture, 6, 1)), 0);
    Probe noColour;
    picture = noColour.GLIFOutputImageWidthHeightAttributes(nullptr, 8, 8,
                                                            {{"GLIFUseBackgroundColor", true}});
    EXPECT_EQ(qAlpha(pixelAt(picture, 6, 1)), 0);
}

TEST(GLIFCoreObject, RefusedSizesLogTheClassMessage) {
    for (const Probe::Form form : {Probe::Form::Vector, Probe::Form::Bitmap, Probe::Form::Direct}) {
        Probe probe;
        probe.form = form;
        LogCapture log;
        EXPECT_TRUE(probe.GLIFOutputImageWidthHeightAttributes(nullptr, 0, 10, {}).isNull());
        EXPECT_TRUE(probe.GLIFOutputImageWidthHeightAttributes(nullptr, 40000, 2, {}).isNull());
        EXPECT_EQ(log.lines(), QStringList(2, QStringLiteral("GLIF_Probe: can't generate")));
    }
}

TEST(GLIFCoreObject, ImagesAreStampedUpright) {
    // A picture whose top row is red and bottom row blue keeps that order when stamped.
    QImage stamp(2, 2, QImage::Format_RGBA8888);
    stamp.setPixelColor(0, 0, Qt::red);
    stamp.setPixelColor(1, 0, Qt::red);
    stamp.setPixelColor(0, 1, Qt::blue);
    stamp.setPixelColor(1, 1, Qt::blue);
    Probe probe;
    const HostImage picture = probe.drawDirectImage(8, 8, [&](QPainter& painter, const QRectF&) {
        painter.setRenderHint(QPainter::SmoothPixmapTransform, false);
        Probe::drawImageUpright(painter, QRectF(0, 0, 4, 8), stamp);
        Probe::drawImageUpright(painter, QRectF(4, 0, 4, 8), HostImage::fromQImage(stamp));
    });
    EXPECT_EQ(pixelAt(picture, 1, 0), qRgb(255, 0, 0));
    EXPECT_EQ(pixelAt(picture, 1, 7), qRgb(0, 0, 255));
    EXPECT_EQ(pixelAt(picture, 6, 0), qRgb(255, 0, 0));
    EXPECT_EQ(pixelAt(picture, 6, 7), qRgb(0, 0, 255));
}
