#include "platform/host/BandedReplay.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <QImage>
#include <QPaintDevice>
#include <QPaintEngine>
#include <QPainter>
#include <QPicture>
#include <QSize>

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

}  // namespace

bool BandedReplay::isSafe(const QPicture& picture) {
    BandProbeDevice device;
    QPainter painter(&device);
    painter.drawPicture(QPointF(0, 0), picture);
    painter.end();
    return !device.unsafe();
}

int BandedReplay::defaultBandRows(QSize size) {
    // One band: Qt's replay parses and prepares every recorded path for every band, and a
    // path outside a band's clip costs about as much as one inside it, so a band of half the
    // picture costs more than the whole replay (GLIF_Parquet at 2048 x 2048: 1.3 s whole, 2.0 s
    // in two parallel bands, 3.8 s in four, on two cores). Banding pays only once the replay
    // skips what misses a band before Qt sees it.
    return std::max(1, size.height());
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
        QImage view(pixels, width, height, stride, format);
        QPainter painter(&view);
        painter.setClipRect(QRect(0, band * rows, width, std::min(rows, height - band * rows)));
        draw(painter);
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
