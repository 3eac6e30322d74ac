#include "generators/GLIF_HilbertCurve.h"

#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cstdlib>

#include "generators/GLIFColorFunctions.h"

namespace cif {

namespace {

// The drawing state the four recursive functions share while one curve is drawn: the
// current point, the step, the overhang of each stroke, the colour cycle and the
// painter's current colour. One drawing owns one state, made fresh each time.
struct HilbertState {
    QPainter* painter = nullptr;
    int currX = 0, currY = 0;
    int u = 0;
    int stDelta = 0;
    int iPointer = 0;
    QColor arColor[4];
    QColor current = Qt::black;
    double stWidthLine = 1.0;
    Qt::PenCapStyle stTypeCaps = Qt::FlatCap;

    // Adds one step of (dx, dy) units of u, extended by stDelta at both ends, and moves.
    void segment(QPainterPath& path, int dx, int dy) {
        const int ex = dx * stDelta, ey = dy * stDelta;
        path.moveTo(currX - ex, currY - ey);
        currX += dx * u;
        currY += dy * u;
        path.lineTo(currX + ex, currY + ey);
    }

    using Func = void (HilbertState::*)(int);
    // One level: four sub-calls with three segments between them; the path is stroked
    // after the third segment with whatever colour is current then.
    void step(int m, Func first, Func second, Func third, Func fourth, const int (&moves)[3][2]) {
        if (m < 1) return;
        (this->*first)(m - 1);
        QPainterPath path;
        segment(path, moves[0][0], moves[0][1]);
        current = arColor[iPointer];
        iPointer = (iPointer + 1) % 4;
        (this->*second)(m - 1);
        segment(path, moves[1][0], moves[1][1]);
        (this->*third)(m - 1);
        segment(path, moves[2][0], moves[2][1]);
        QPen pen(current);
        pen.setWidthF(stWidthLine);
        pen.setCapStyle(stTypeCaps);
        pen.setJoinStyle(Qt::MiterJoin);
        painter->strokePath(path, pen);
        (this->*fourth)(m - 1);
    }

    void a_func(int m) {
        static constexpr int moves[3][2] = {{1, 0}, {0, 1}, {-1, 0}};
        step(m, &HilbertState::d_func, &HilbertState::a_func, &HilbertState::a_func,
             &HilbertState::c_func, moves);
    }
    void b_func(int m) {
        static constexpr int moves[3][2] = {{-1, 0}, {0, -1}, {1, 0}};
        step(m, &HilbertState::c_func, &HilbertState::b_func, &HilbertState::b_func,
             &HilbertState::d_func, moves);
    }
    void c_func(int m) {
        static constexpr int moves[3][2] = {{0, -1}, {-1, 0}, {0, 1}};
        step(m, &HilbertState::b_func, &HilbertState::c_func, &HilbertState::c_func,
             &HilbertState::a_func, moves);
    }
    void d_func(int m) {
        static constexpr int moves[3][2] = {{0, 1}, {1, 0}, {0, -1}};
        step(m, &HilbertState::a_func, &HilbertState::d_func, &HilbertState::d_func,
             &HilbertState::b_func, moves);
    }
};

// Levels deeper than this would draw billions of strokes; the published maximum is 9.
constexpr int kMaxLevel = 10;

}  // namespace

std::span<const GLIFInput<GLIF_HilbertCurve>> GLIF_HilbertCurve::inputTable() {
    using G = GLIF_HilbertCurve;
    static constexpr GLIFInput<G> table[] = {
        {"GLIFCurveRange", GLIFKind::Integer, 3, 9, 6, &G::_curveRange, 7},
        {"GLIFSize", GLIFKind::Float, 1.0, 10.0, 6.0, &G::_cupSize, 5.0},
        {"GLIFTypeCaps", GLIFKind::Integer, 0, 2, 0, &G::_typeCaps, 0},
        {"GLIFColorScheme", GLIFKind::Integer, 0, 20, 1},
        {"GLIFSchemeKeyColor", GLIFKind::Float, 0.0, 1.0, 0.5},
        {"GLIFUseBackgroundColor", GLIFKind::Boolean, 0, 1, 0},
        {"GLIFBackgroundColor", GLIFKind::Colour, 0, 0, 1},
    };
    return table;
}

int GLIF_HilbertCurve::stepLength(int width, int height, int level) {
    if (level < 1 || level > 30) return 0;
    return std::max(width, height) / ((1 << level) - 1) + 1;
}

HostImage GLIF_HilbertCurve::GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width,
                                                                  int height,
                                                                  const QVariantMap& attributes) {
    GLIFCoreObject::GLIFOutputImageWidthHeightAttributes(image, width, height, attributes);
    takeSizeFromImage(image, width, height);
    setInputDefaults();
    readInputs(attributes);
    return recordVectorImage(width, height);
}

void GLIF_HilbertCurve::drawRect(QPainter& painter, const QRectF& rect) {
    GLIFCoreObject::drawRect(painter, rect);
    HilbertState state;
    state.painter = &painter;
    state.stWidthLine = _cupSize;
    state.stTypeCaps = _typeCaps == 1 ? Qt::RoundCap : _typeCaps == 2 ? Qt::SquareCap : Qt::FlatCap;
    state.stDelta = truncateToInt(0.5 * double(_cupSize));
    QPainterPath statPath(QPointF(0, 0));
    const int level = std::min(_curveRange, kMaxLevel);
    state.u = stepLength(truncateToInt(rect.width()), truncateToInt(rect.height()), level);

    // The colours are the fifth to eighth numbers of the sequence.
    for (int i = 0; i < 4; ++i)
        std::rand();
    for (QColor& colour : state.arColor)
        colour = computeSchemeColor(randomFraction(), _schemeKeyColor, _iColorScheme);
    if (state.u > 0) state.a_func(level);

    // A closing fill of the empty path at (0, 0): it paints nothing.
    statPath.lineTo(0, 0);
    painter.fillPath(statPath, computeSchemeColor(1.0, _schemeKeyColor, _iColorScheme));
}

}  // namespace cif
