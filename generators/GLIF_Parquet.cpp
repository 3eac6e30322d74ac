#include "generators/GLIF_Parquet.h"

#include <QPainter>
#include <QPainterPath>
#include <algorithm>

#include "generators/GLIFColorFunctions.h"

namespace cif {

namespace {

// Bands beyond this many are thinner than any picture can show.
constexpr int kMaxBands = 100000;

}  // namespace

std::span<const GLIFInput<GLIF_Parquet>> GLIF_Parquet::inputTable() {
    using G = GLIF_Parquet;
    static constexpr GLIFInput<G> table[] = {
        {"GLIFCellWidth", GLIFKind::Integer, 20, 200, 121, &G::_cellWidth, 50},
        {"GLIFCellHeight", GLIFKind::Integer, 20, 200, 100, &G::_cellHeight, 30},
        {"GLIFDencity", GLIFKind::Integer, 10, 100, 89, &G::_dencity, 90},
        {"GLIFIdFigure", GLIFKind::Integer, 0, 1, 1, &G::_idFigure, 0},
        {"GLIFColorScheme", GLIFKind::Integer, 0, 20, 4},
        {"GLIFSchemeKeyColor", GLIFKind::Float, 0.0, 1.0, 0.06},
        // Published with empty descriptions: the editor shows them without values.
        {"GLIFUseBackgroundColor", GLIFKind::Boolean, 0, 1, 0, {}, kKeep, kEmptyDescription},
        {"GLIFBackgroundColor", GLIFKind::Colour, 0, 0, 0, {}, kKeep, kEmptyDescription},
    };
    return table;
}

int GLIF_Parquet::bandCount(int cw, int ch, int density) {
    const float longer = float(std::max(cw, ch));
    return truncateToInt(longer * 0.5f * float(density) / 100.0f);
}

HostImage GLIF_Parquet::GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width,
                                                             int height,
                                                             const QVariantMap& attributes) {
    GLIFCoreObject::GLIFOutputImageWidthHeightAttributes(image, width, height, attributes);
    takeSizeFromImage(image, width, height);
    setInputDefaults();
    _colorRangeMin = 0.0;
    _colorRangeMax = 1.0;
    readInputs(attributes);
    _cellWidth = std::max(_cellWidth, 1);
    _cellHeight = std::max(_cellHeight, 1);
    return recordVectorImage(width, height);
}

void GLIF_Parquet::drawRect(QPainter& painter, const QRectF& rect) {
    drawBackgroundInRect(painter, QRectF(0, 0, rect.width(), rect.height()));
    const float w = float(rect.width()), h = float(rect.height());
    const int cw = _cellWidth, ch = _cellHeight;
    const int n = std::min(bandCount(cw, ch, _dencity), kMaxBands);
    const float sx = ch >= cw ? float(cw) / float(ch) : 1.0f;
    const float sy = ch >= cw ? 1.0f : float(ch) / float(cw);
    painter.setPen(Qt::NoPen);
    // One path, cleared for every band, so its storage is allocated once.
    QPainterPath path;
    for (float x = 0; x <= w; x += float(cw))
        for (float y = 0; y <= h; y += float(ch))
            for (int k = -1; k <= n; ++k) {
                path.clear();
                path.setFillRule(Qt::WindingFill);
                if (_idFigure == 0) {
                    path.addRect(QRectF(x + sx * k, y + sy * k, cw - 2 * k * sx + 1.0f,
                                        ch - 2 * k * sy + 1.0f));
                } else {
                    const QPointF a(x + sx * k, y + float(ch) - sy * k);
                    const QPointF b(x + float(cw) - sx * k, y + sy * k);
                    path.moveTo(a);
                    path.lineTo(b);
                    path.lineTo(x, y);
                    path.closeSubpath();
                    path.moveTo(a);
                    path.lineTo(b);
                    path.lineTo(x + float(cw), y + float(ch));
                    path.closeSubpath();
                }
                // k / 0 (no bands) gives the colour function an infinite value, which it
                // clamps.
                QColor colour =
                    computeSchemeColor(float(k) / float(n), _schemeKeyColor, _iColorScheme);
                colour.setAlphaF(1.0f);
                painter.fillPath(path, colour);
            }
}

}  // namespace cif
