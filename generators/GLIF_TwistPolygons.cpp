#include "generators/GLIF_TwistPolygons.h"

#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>
#include <numbers>

#include "generators/GLIFColorFunctions.h"

namespace cif {

namespace {

constexpr int kVertexSlots = 41;

}  // namespace

std::span<const GLIFInput<GLIF_TwistPolygons>> GLIF_TwistPolygons::inputTable() {
    using G = GLIF_TwistPolygons;
    static constexpr GLIFInput<G> table[] = {
        {"GLIFCountAngle", GLIFKind::Integer, 3, 20, 7, &G::_countAngle, 8},
        {"GLIFCountCircle", GLIFKind::Integer, 1, 100, 28, &G::_countCircle, 150},
        {"GLIFDeltaPercent", GLIFKind::Integer, 1, 99, 25, &G::_deltaPercent, 10},
        // Absent, the radius is half the shorter side (set per call).
        {"GLIFRadius", GLIFKind::Float, 5.0, 1000.0, 175.0, &G::_radius},
        {"GLIFColorRangeMin", GLIFKind::Float, 0.0, 1.0, 0.0},
        {"GLIFColorRangeMax", GLIFKind::Float, 0.0, 1.0, 0.38},
        {"GLIFUseBackgroundColor", GLIFKind::Boolean, 0, 1, 0},
        {"GLIFBackgroundColor", GLIFKind::Colour, 0, 0, 1},
    };
    return table;
}

QString GLIF_TwistPolygons::cantGenerateMessage() const {
    return QStringLiteral("GLIF_PolygonSquares: can't generate");
}

HostImage GLIF_TwistPolygons::GLIFOutputImageWidthHeightAttributes(const HostImage* image,
                                                                   int width, int height,
                                                                   const QVariantMap& attributes) {
    GLIFCoreObject::GLIFOutputImageWidthHeightAttributes(image, width, height, attributes);
    takeSizeFromImage(image, width, height);
    setInputDefaults();
    _radius = float(std::min(width, height) * 0.5);
    readInputs(attributes);
    return recordVectorImage(width, height);
}

void GLIF_TwistPolygons::drawRect(QPainter& painter, const QRectF& rect) {
    GLIFCoreObject::drawRect(painter, rect);
    const QRectF b = bounds();
    // Vertices beyond the table's slots cannot be held; fewer than one draws nothing.
    const int n = std::min(_countAngle, kVertexSlots);
    if (n < 1) return;
    const double radius = std::min(b.width(), b.height()) * double(_radius) / 100.0 * 0.5;
    const double cx = 0.5 * b.width(), cy = 0.5 * b.height();
    const double p = _deltaPercent;
    float X[kVertexSlots] = {}, Y[kVertexSlots] = {};

    painter.setPen(Qt::NoPen);
    X[0] = float(cx + radius);
    Y[0] = float(cy + radius * 0.0);
    QPainterPath first(QPointF(X[0], Y[0]));
    first.setFillRule(Qt::WindingFill);
    for (int k = 1; k < n; ++k) {
        const double angle = 2.0 * std::numbers::pi * k / n;
        X[k] = float(std::cos(angle) * radius + cx);
        Y[k] = float(std::sin(angle) * radius + cy);
        first.lineTo(X[k], Y[k]);
    }
    painter.fillPath(first, computeColor(0.0, _colorRangeMin, _colorRangeMax));

    for (int i = 1; i < _countCircle; ++i) {
        const float x0 = X[0], y0 = Y[0];
        for (int k = 0; k + 1 < n; ++k) {
            X[k] = float(X[k] + (X[k + 1] - X[k]) * p / 100.0);
            Y[k] = float(Y[k] + (Y[k + 1] - Y[k]) * p / 100.0);
        }
        X[n - 1] = float(X[n - 1] + (x0 - X[n - 1]) * p / 100.0);
        Y[n - 1] = float(Y[n - 1] + (y0 - Y[n - 1]) * p / 100.0);
        QPainterPath path(QPointF(X[0], Y[0]));
        path.setFillRule(Qt::WindingFill);
        for (int k = 1; k < n; ++k)
            path.lineTo(X[k], Y[k]);
        path.lineTo(X[0], Y[0]);
        painter.fillPath(path,
                         computeColor(double(i) / _countCircle, _colorRangeMin, _colorRangeMax));
    }
}

}  // namespace cif
