#include "generators/GLIF_Shapes.h"

#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>
#include <numbers>

#include "generators/GLIFColorFunctions.h"

namespace cif {

namespace {

// Past this many shapes every picture is covered many times over; each large shape costs
// a fill of most of the picture.
constexpr int kMaxShapes = 1000;

// A regular outline of n vertices on the unit circle, or a star of n points when inner
// is below 1 (its notches at that radius).
QPainterPath outline(int n, double inner = 1.0) {
    QPainterPath path;
    const int steps = inner < 1.0 ? 2 * n : n;
    for (int i = 0; i < steps; ++i) {
        const double r = (inner < 1.0 && i % 2 == 1) ? inner : 1.0;
        const double a = std::numbers::pi / 2 + 2.0 * std::numbers::pi * i / steps;
        const QPointF p(r * std::cos(a), r * std::sin(a));
        if (i == 0)
            path.moveTo(p);
        else
            path.lineTo(p);
    }
    path.closeSubpath();
    return path;
}

// The shape of the given kind within the unit circle about the origin.
QPainterPath unitShape(int kind) {
    QPainterPath path;
    switch (kind) {
        case GLIF_Shapes::Square:
            return outline(4);
        case GLIF_Shapes::Triangle:
            return outline(3);
        case GLIF_Shapes::Star:
            return outline(5, 0.45);
        case GLIF_Shapes::Hexagon:
            return outline(6);
        case GLIF_Shapes::Ring:
            path.addEllipse(QPointF(), 1.0, 1.0);
            path.addEllipse(QPointF(), 0.55, 0.55);
            path.setFillRule(Qt::OddEvenFill);
            return path;
        default:
            path.addEllipse(QPointF(), 1.0, 1.0);
            return path;
    }
}

}  // namespace

std::span<const GLIFInput<GLIF_Shapes>> GLIF_Shapes::inputTable() {
    using G = GLIF_Shapes;
    static constexpr GLIFInput<G> table[] = {
        {"GLIFShapesType", GLIFKind::Integer, 0, 6, 6, &G::_shapesType, 6},
        {"GLIFCount", GLIFKind::Integer, 1, 500, 90, &G::_count, 90},
        {"GLIFSize", GLIFKind::Integer, 2, 100, 30, &G::_size, 30},
        {"GLIFColorScheme", GLIFKind::Integer, 0, 20, 2},
        {"GLIFSchemeKeyColor", GLIFKind::Float, 0.0, 1.0, 0.12},
        {"GLIFUseBackgroundColor", GLIFKind::Boolean, 0, 1, 0},
        {"GLIFBackgroundColor", GLIFKind::Colour, 0, 0, 1},
    };
    return table;
}

HostImage GLIF_Shapes::GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width,
                                                            int height,
                                                            const QVariantMap& attributes) {
    GLIFCoreObject::GLIFOutputImageWidthHeightAttributes(image, width, height, attributes);
    takeSizeFromImage(image, width, height);
    setInputDefaults();
    readInputs(attributes);
    return recordVectorImage(width, height);
}

void GLIF_Shapes::drawRect(QPainter& painter, const QRectF& rect) {
    GLIFCoreObject::drawRect(painter, rect);
    const QRectF b = bounds();
    const int count = std::clamp(_count, 0, kMaxShapes);
    // Beyond the whole shorter side a shape only covers more of what lies outside.
    const double largest =
        std::min(b.width(), b.height()) * std::clamp(_size, 1, 100) / 100.0 * 0.5;
    for (int i = 0; i < count; ++i) {
        const double x = randomFraction() * b.width();
        const double y = randomFraction() * b.height();
        const double turn = randomFraction() * 360.0;
        const QColor colour = computeSchemeColor(randomFraction(), _schemeKeyColor, _iColorScheme);
        const int kind = _shapesType == Mixed
                             ? std::min(int(randomFraction() * int(Mixed)), Mixed - 1)
                             : std::clamp(_shapesType, 0, Mixed - 1);
        // From the largest down to a fifth of it, shrinking fastest at first.
        const double f = count > 1 ? double(i) / (count - 1) : 0.0;
        const double radius = largest * (0.2 + 0.8 * (1.0 - f) * (1.0 - f));

        painter.save();
        painter.translate(x, y);
        painter.rotate(turn);
        painter.scale(radius, radius);
        QPen rim(colour.darker(150));
        rim.setCosmetic(false);
        rim.setWidthF(0.06);
        painter.setPen(rim);
        painter.setBrush(colour);
        painter.drawPath(unitShape(kind));
        painter.restore();
    }
}

}  // namespace cif
