#include "generators/GLIF_FlashLines.h"

#include <QPainter>
#include <QPainterPath>
#include <cstdlib>

#include "generators/GLIFColorFunctions.h"

namespace cif {

std::span<const GLIFInput<GLIF_FlashLines>> GLIF_FlashLines::inputTable() {
    using G = GLIF_FlashLines;
    static constexpr GLIFInput<G> table[] = {
        {"GLIFCurveRange", GLIFKind::Integer, 1, 2000, 832, &G::_curveRange, 1000,
         kPublishDefaultAsFloat},
        {"GLIFWidthLine", GLIFKind::Float, 0.0, 10.0, 1.0, &G::_widthLine, 1.0},
        {"GLIFColorRangeMin", GLIFKind::Float, 0.0, 1.0, 0.18},
        {"GLIFColorRangeMax", GLIFKind::Float, 0.0, 1.0, 0.61},
        {"GLIFUseBackgroundColor", GLIFKind::Boolean, 0, 1, 0},
        {"GLIFBackgroundColor", GLIFKind::Colour, 0, 0, 1},
    };
    return table;
}

HostImage GLIF_FlashLines::GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width,
                                                                int height,
                                                                const QVariantMap& attributes) {
    GLIFCoreObject::GLIFOutputImageWidthHeightAttributes(image, width, height, attributes);
    takeSizeFromImage(image, width, height);
    setInputDefaults();
    readInputs(attributes);
    if (_curveRange < 1) _curveRange = 1;
    return recordVectorImage(width, height);
}

void GLIF_FlashLines::drawRect(QPainter& painter, const QRectF& rect) {
    GLIFCoreObject::drawRect(painter, rect);
    const int w = truncateToInt(rect.width()), h = truncateToInt(rect.height());
    if (w < 1 || h < 1) return;  // the starting points would divide by zero
    double x1 = std::rand() % w, y1 = std::rand() % h;
    double x2 = std::rand() % w, y2 = std::rand() % h;
    const double dx1 = 5 - std::rand() % 10;
    const double dy1 = 5 - std::rand() % 10;
    const double dx2 = dx1 + 1 + std::rand() % 4;
    const double dy2 = dy1 + 1 + std::rand() % 4;
    double v[4] = {dx1, dy1, dx2, dy2};

    const float step = 1.0f / float(_curveRange);
    float t = 0.0f;
    QPen pen;
    pen.setWidthF(_widthLine);
    pen.setCapStyle(Qt::FlatCap);
    pen.setJoinStyle(Qt::MiterJoin);
    const auto bounce = [](double& c, double& velocity, int limit) {
        c += velocity;
        if (c > limit || c < 0) velocity = -velocity;
    };
    for (int i = 0; i < _curveRange; ++i) {
        // The path holds the ends before they move; the stroke comes after the move.
        QPainterPath path(QPointF(x1, y1));
        path.lineTo(x2, y2);
        bounce(x1, v[0], w);
        bounce(y1, v[1], h);
        bounce(x2, v[2], w);
        bounce(y2, v[3], h);
        pen.setColor(computeColor(t, _colorRangeMin, _colorRangeMax));
        t += step;
        painter.strokePath(path, pen);
    }
}

}  // namespace cif
