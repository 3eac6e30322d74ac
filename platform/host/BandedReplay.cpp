#include "platform/host/BandedReplay.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

#include <QImage>
#include <QPaintDevice>
#include <QPaintEngine>
#include <QPainter>
#include <QPainterPath>
#include <QPicture>
#include <QPolygonF>
#include <QSize>
#include <QTransform>

#include <algorithm>

namespace cif {

namespace {

// A paint engine that draws nothing and notes whether the drawing replayed into it uses any of
// the raster engine's paths whose pixels depend on the clip, found by comparing banded with
// whole replays: wide strokes and rectangles (whose rasteriser steps its edges from where the
// clip starts), scaled images (whose source position is stepped from the clipped start),
// gradients, and clips of the drawing's own (which may replace the band's). Fills of paths,
// polygons and ellipses, thin (cosmetic) lines and text come out the same.
class BandProbeEngine final : public QPaintEngine {
public:
    BandProbeEngine() : QPaintEngine(QPaintEngine::AllFeatures) {}
    bool begin(QPaintDevice*) override { return true; }
    bool end() override { return true; }
    void updateState(const QPaintEngineState& changed) override {
        const QPaintEngine::DirtyFlags clipFlags = QPaintEngine::DirtyClipPath |
                                                   QPaintEngine::DirtyClipRegion |
                                                   QPaintEngine::DirtyClipEnabled;
        if ((changed.state() & clipFlags) && changed.painter()->hasClipping()) m_unsafe = true;
    }
    Type type() const override { return QPaintEngine::User; }
    bool unsafe() const { return m_unsafe; }

    // Every drawing call is overridden: the base class's fallbacks call one another.
    void drawPixmap(const QRectF&, const QPixmap&, const QRectF&) override { m_unsafe = true; }
    void drawImage(const QRectF&, const QImage&, const QRectF&, Qt::ImageConversionFlags) override {
        m_unsafe = true;
    }
    void drawTiledPixmap(const QRectF&, const QPixmap&, const QPointF&) override {
        m_unsafe = true;
    }
    void drawPath(const QPainterPath&) override { noteShape(); }
    void drawPolygon(const QPointF*, int, PolygonDrawMode) override { noteShape(); }
    void drawPolygon(const QPoint*, int, PolygonDrawMode) override { noteShape(); }
    void drawLines(const QLineF*, int) override { noteShape(); }
    void drawLines(const QLine*, int) override { noteShape(); }
    void drawRects(const QRectF*, int) override { m_unsafe = true; }
    void drawRects(const QRect*, int) override { m_unsafe = true; }
    void drawEllipse(const QRectF&) override { noteShape(); }
    void drawEllipse(const QRect&) override { noteShape(); }
    void drawPoints(const QPointF*, int) override { noteShape(); }
    void drawPoints(const QPoint*, int) override { noteShape(); }
    // Glyphs are drawn from the glyph cache, not stroked, whatever the pen's width.
    void drawTextItem(const QPointF&, const QTextItem&) override {
        if (painter()->pen().brush().gradient()) m_unsafe = true;
    }

private:
    // A shape is filled with the brush and outlined with the pen; a pen wider than a
    // cosmetic one is stroked as a wide outline.
    void noteShape() {
        const QPen pen = painter()->pen();
        if (pen.style() != Qt::NoPen && !pen.isCosmetic()) m_unsafe = true;
        if (painter()->brush().gradient() || pen.brush().gradient()) m_unsafe = true;
    }

    bool m_unsafe = false;
};

class BandProbeDevice final : public QPaintDevice {
public:
    QPaintEngine* paintEngine() const override { return &m_engine; }
    bool unsafe() const { return m_engine.unsafe(); }

protected:
    int metric(PaintDeviceMetric metric) const override {
        switch (metric) {
            case PdmDepth:
                return 32;
            case PdmDpiX:
            case PdmDpiY:
            case PdmPhysicalDpiX:
            case PdmPhysicalDpiY:
                return 72;
            case PdmDevicePixelRatio:
                return 1;
            case PdmDevicePixelRatioScaled:
                return int(devicePixelRatioFScale());
            default:
                return 1 << 16;
        }
    }

private:
    mutable BandProbeEngine m_engine;
};

// A paint engine that passes what a replay draws on to a painter on one band of the picture,
// with the replay's state, skipping shapes whose device bounds lie wholly above or below the
// band: Qt's raster engine prepares every path it is given in full even when the clip hides
// all of it. Only drawings isSafe() accepts come here (no clips of their own, no wide pens),
// so a shape's bounds plus a pixel of antialiasing hold every pixel it touches.
class BandCullingEngine final : public QPaintEngine {
public:
    BandCullingEngine(QPainter& band, int top, int bottom)
        : QPaintEngine(QPaintEngine::AllFeatures), m_band(band), m_top(top), m_bottom(bottom) {}
    bool begin(QPaintDevice*) override { return true; }
    bool end() override { return true; }
    Type type() const override { return QPaintEngine::User; }
    void updateState(const QPaintEngineState& changed) override {
        const DirtyFlags flags = changed.state();
        if (flags & DirtyPen) m_band.setPen(changed.pen());
        if (flags & DirtyBrush) m_band.setBrush(changed.brush());
        if (flags & DirtyBrushOrigin) m_band.setBrushOrigin(changed.brushOrigin());
        if (flags & DirtyFont) m_band.setFont(changed.font());
        if (flags & DirtyBackground) m_band.setBackground(changed.backgroundBrush());
        if (flags & DirtyBackgroundMode) m_band.setBackgroundMode(changed.backgroundMode());
        if (flags & DirtyTransform) {
            m_transform = changed.transform();
            m_band.setTransform(m_transform);
        }
        if (flags & DirtyHints) {
            m_band.setRenderHints(m_band.renderHints(), false);
            m_band.setRenderHints(changed.renderHints(), true);
        }
        if (flags & DirtyCompositionMode) m_band.setCompositionMode(changed.compositionMode());
        if (flags & DirtyOpacity) m_band.setOpacity(changed.opacity());
        // Clips: the replay's only clip is the whole picture, which the band's clip lies in.
    }
    void drawPath(const QPainterPath& path) override {
        if (reaches(path.controlPointRect())) m_band.drawPath(path);
    }
    void drawPolygon(const QPointF* points, int count, PolygonDrawMode mode) override {
        if (!reaches(QPolygonF(QList<QPointF>(points, points + count)).boundingRect())) return;
        switch (mode) {
            case PolylineMode:
                m_band.drawPolyline(points, count);
                break;
            case ConvexMode:
                m_band.drawConvexPolygon(points, count);
                break;
            case WindingMode:
                m_band.drawPolygon(points, count, Qt::WindingFill);
                break;
            case OddEvenMode:
                m_band.drawPolygon(points, count, Qt::OddEvenFill);
                break;
        }
    }
    void drawPolygon(const QPoint* points, int count, PolygonDrawMode mode) override {
        QList<QPointF> real;
        real.reserve(count);
        for (int i = 0; i < count; ++i)
            real.append(points[i]);
        drawPolygon(real.constData(), count, mode);
    }
    void drawEllipse(const QRectF& rect) override {
        if (reaches(rect)) m_band.drawEllipse(rect);
    }
    void drawEllipse(const QRect& rect) override {
        if (reaches(rect)) m_band.drawEllipse(rect);
    }
    void drawLines(const QLineF* lines, int count) override { m_band.drawLines(lines, count); }
    void drawLines(const QLine* lines, int count) override { m_band.drawLines(lines, count); }
    void drawRects(const QRectF* rects, int count) override { m_band.drawRects(rects, count); }
    void drawRects(const QRect* rects, int count) override { m_band.drawRects(rects, count); }
    void drawPoints(const QPointF* points, int count) override { m_band.drawPoints(points, count); }
    void drawPoints(const QPoint* points, int count) override { m_band.drawPoints(points, count); }
    void drawTextItem(const QPointF& at, const QTextItem& text) override {
        m_band.drawTextItem(at, text);
    }
    void drawPixmap(const QRectF& target, const QPixmap& pixmap, const QRectF& source) override {
        m_band.drawPixmap(target, pixmap, source);
    }
    void drawImage(const QRectF& target, const QImage& image, const QRectF& source,
                   Qt::ImageConversionFlags flags) override {
        m_band.drawImage(target, image, source, flags);
    }
    void drawTiledPixmap(const QRectF& target, const QPixmap& pixmap, const QPointF& at) override {
        m_band.drawTiledPixmap(target, pixmap, at);
    }

private:
    // Whether a shape within bounds (in the replay's coordinates) may touch the band's rows.
    bool reaches(const QRectF& bounds) const {
        const QRectF device = m_transform.mapRect(bounds);
        return device.bottom() + 2.0 >= m_top && device.top() - 2.0 <= m_bottom;
    }

    QPainter& m_band;
    const int m_top;
    const int m_bottom;
    QTransform m_transform;
};

// The device a replay paints on to reach one band of a picture: it measures as the picture.
class BandCullingDevice final : public QPaintDevice {
public:
    BandCullingDevice(const QImage& picture, QPainter& band, int top, int bottom)
        : m_picture(picture), m_engine(band, top, bottom) {}
    QPaintEngine* paintEngine() const override { return &m_engine; }

protected:
    int metric(PaintDeviceMetric metric) const override {
        switch (metric) {
            case PdmWidth:
                return m_picture.width();
            case PdmHeight:
                return m_picture.height();
            case PdmWidthMM:
                return m_picture.widthMM();
            case PdmHeightMM:
                return m_picture.heightMM();
            case PdmNumColors:
                return m_picture.colorCount();
            case PdmDepth:
                return m_picture.depth();
            case PdmDpiX:
                return m_picture.logicalDpiX();
            case PdmDpiY:
                return m_picture.logicalDpiY();
            case PdmPhysicalDpiX:
                return m_picture.physicalDpiX();
            case PdmPhysicalDpiY:
                return m_picture.physicalDpiY();
            case PdmDevicePixelRatio:
                return 1;
            case PdmDevicePixelRatioScaled:
                return int(devicePixelRatioFScale());
        }
        return 0;
    }

private:
    const QImage& m_picture;
    mutable BandCullingEngine m_engine;
};

// Below this many pixels a picture is replayed whole.
constexpr qint64 kMinBandedPixels = 256 * 256;
constexpr int kMinBandRows = 32;

}  // namespace

bool BandedReplay::isSafe(const QPicture& picture) {
    BandProbeDevice device;
    QPainter painter(&device);
    painter.drawPicture(QPointF(0, 0), picture);
    painter.end();
    return !device.unsafe();
}

int BandedReplay::defaultBandRows(QSize size) {
    // One band per thread: every band parses the whole recording and prepares every shape
    // that reaches it, so more bands cost more in all (GLIF_Parquet at 2048 x 2048, CPU time:
    // 1.0 s whole, 1.0 s in two bands, 1.3 s in four). Small pictures are not worth splitting.
    const int height = std::max(1, size.height());
    const int threads = tbb::this_task_arena::max_concurrency();
    if (threads <= 1 || qint64(size.width()) * height < kMinBandedPixels) return height;
    return std::max(kMinBandRows, (height + threads - 1) / threads);
}

void BandedReplay::run(QImage& image, int bandRows, const std::function<void(QPainter&)>& draw) {
    if (image.isNull()) return;
    const int height = image.height();
    const int rows = std::clamp(bandRows, 1, height);
    const int bands = (height + rows - 1) / rows;
    // Detached once here; the views below share these pixels without owning them.
    uchar* const pixels = image.bits();
    const qsizetype stride = image.bytesPerLine();
    const QImage::Format format = image.format();
    const int width = image.width();
    const auto paintBand = [&](int band) {
        const int top = band * rows;
        const int bottom = std::min(height, top + rows);
        QImage view(pixels, width, height, stride, format);
        QPainter painter(&view);
        painter.setClipRect(QRect(0, top, width, bottom - top));
        BandCullingDevice device(view, painter, top, bottom);
        QPainter replay(&device);
        draw(replay);
    };
    if (bands == 1) {
        paintBand(0);
        return;
    }
    tbb::parallel_for(
        tbb::blocked_range<int>(0, bands, 1),
        [&](const tbb::blocked_range<int>& range) {
            for (int band = range.begin(); band != range.end(); ++band)
                paintBand(band);
        },
        tbb::simple_partitioner());
}

}  // namespace cif
