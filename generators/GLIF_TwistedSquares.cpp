#include "generators/GLIF_TwistedSquares.h"

#include <QPainter>
#include <QPainterPath>
#include <cmath>
#include <numbers>

#include "generators/GLIFColorFunctions.h"

namespace cif {

namespace {

// A spiral whose squares stop shrinking would never end; no published step comes near it.
constexpr int kMaxSquares = 100000;

}  // namespace

std::span<const GLIFInput<GLIF_TwistedSquares>> GLIF_TwistedSquares::inputTable() {
    using G = GLIF_TwistedSquares;
    static constexpr GLIFInput<G> table[] = {
        {"GLIFStep", GLIFKind::Float, 3.0, 180.0, 60.264, &G::_angleStep, 20.0},
        {"GLIFSize", GLIFKind::Float, 1.0, 200.0, 13.876, &G::_squareSize, 1.0},
        {"GLIFColorRangeMin", GLIFKind::Float, 0.0, 1.0, 0.28},
        {"GLIFColorRangeMax", GLIFKind::Float, 0.0, 1.0, 0.91},
        {"GLIFUseBackgroundColor", GLIFKind::Boolean, 0, 1, 0},
        {"GLIFBackgroundColor", GLIFKind::Colour, 0, 0, 0},
    };
    return table;
}

HostImage GLIF_TwistedSquares::GLIFOutputImageWidthHeightAttributes(const HostImage* image,
                                                                    int width, int height,
                                                                    const QVariantMap& attributes) {
    GLIFCoreObject::GLIFOutputImageWidthHeightAttributes(image, width, height, attributes);
    takeSizeFromImage(image, width, height);
    setInputDefaults();
    readInputs(attributes);
    return recordVectorImage(width, height);
}

void GLIF_TwistedSquares::drawRect(QPainter& painter, const QRectF& rect) {
    GLIFCoreObject::drawRect(painter, rect);
    constexpr double pi = std::numbers::pi;
    const double w = rect.width(), h = rect.height();
    const int minSize = truncateToInt(1.0 + double(_squareSize));
    const double dA = pi / double(_angleStep);
    const int cx = truncateToInt(w * 0.5), cy = truncateToInt(h * 0.5);
    double a = 0.0;
    float r = float(truncateToInt((w + h) * 0.5));
    // Each square's half-diagonal is the previous one's times this; at 1 or more (steps
    // below 2, outside the published range) the spiral would not end, so only the first
    // square is drawn.
    const double shrink = std::sin(pi / 4) / std::sin(3 * pi / 4 - dA);
    const bool shrinks = std::isfinite(shrink) && shrink < 1.0;

    QPen pen;
    pen.setWidthF(2.0);
    pen.setCapStyle(Qt::FlatCap);
    pen.setJoinStyle(Qt::MiterJoin);
    for (int n = 0; n < kMaxSquares; ++n) {
        QPointF corner[4];
        for (int k = 0; k < 4; ++k) {
            const double theta = a + (2 * k + 1) * pi / 4;
            corner[k] = QPointF(truncateToInt(std::cos(theta) * r + cx),
                                truncateToInt(std::sin(theta) * r + cy));
        }
        QPainterPath path(corner[0]);
        path.lineTo(corner[1]);
        path.lineTo(corner[2]);
        path.lineTo(corner[3]);
        path.lineTo(corner[0]);
        // t runs from 0 to 2 across the picture: the range is walked twice.
        pen.setColor(computeColor(corner[1].x() / cx, _colorRangeMin, _colorRangeMax));
        painter.strokePath(path, pen);
        a += dA;
        r = float(r * shrink);
        if (!shrinks || !(r >= float(minSize))) break;
    }
}

}  // namespace cif
