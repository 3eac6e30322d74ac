#pragma once
// GLIF_AbstractLines: the picture cut by straight lines into shards. Starting from the whole
// picture, each line cuts one region in two, the region chosen at random in proportion to
// its area, through a point near the region's middle and across its longer side at a
// random slant. Every shard
// is filled with a scheme colour and drawn inset by half the line width, so the lines are
// the gaps between shards: the line colour (the background colour, when used) shows
// through them, or nothing does. A vector generator; all its numbers come from the
// process-wide random sequence, four per line and one per shard.

#include <QPolygonF>

#include <vector>

#include "generators/GLIFGenerator.h"

namespace cif {

class GLIF_AbstractLines final : public GLIFGenerator<GLIF_AbstractLines> {
public:
    static std::span<const GLIFInput<GLIF_AbstractLines>> inputTable();

    QString className() const override { return QStringLiteral("GLIF_AbstractLines"); }
    HostImage GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width, int height,
                                                   const QVariantMap& attributes) override;
    void drawRect(QPainter& painter, const QRectF& rect) override;

    // The shards of rect after count cuts (fewer when a cut misses its region), in the
    // order they were made. Draws four numbers of the process-wide sequence per cut.
    static std::vector<QPolygonF> divide(const QRectF& rect, int count);

private:
    float _widthLine = 3.0f;  // gap between shards, points
    int _countLines = 40;     // cuts
};

}  // namespace cif
