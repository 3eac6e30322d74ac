#include "generators/GLIF_Triangles.h"

#include <QPainter>
#include <QPainterPath>
#include <array>
#include <cstdlib>
#include <vector>

#include "generators/GLIFColorFunctions.h"

namespace cif {

namespace {

struct Triangle {
    QPainterPath path;
    std::array<int, 3> corners;
};

QPainterPath closedPath(QPointF a, QPointF b, QPointF c) {
    QPainterPath path(a);
    path.lineTo(b);
    path.lineTo(c);
    path.closeSubpath();
    path.setFillRule(Qt::WindingFill);
    return path;
}

// Points beyond this many would take minutes to place; the published maximum is 50.
constexpr int kMaxPoints = 100000;

}  // namespace

std::span<const GLIFInput<GLIF_Triangles>> GLIF_Triangles::inputTable() {
    using G = GLIF_Triangles;
    static constexpr GLIFInput<G> table[] = {
        {"GLIFCount", GLIFKind::Integer, 2, 50, 7, &G::_nTriangle, 7},
        // Absent, the outline is 3 wide, not the published 1.
        {"GLIFWidthLine", GLIFKind::Float, 0.0, 10.0, 1.0, &G::_widthLine, 3.0},
        {"GLIFColorScheme", GLIFKind::Integer, 0, 20, 5},
        {"GLIFSchemeKeyColor", GLIFKind::Float, 0.0, 1.0, 0.28},
        {"GLIFUseBackgroundColor", GLIFKind::Boolean, 0, 1, 0},
        {"GLIFBackgroundColor", GLIFKind::Colour, 0, 0, 1},
    };
    return table;
}

HostImage GLIF_Triangles::GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width,
                                                               int height,
                                                               const QVariantMap& attributes) {
    GLIFCoreObject::GLIFOutputImageWidthHeightAttributes(image, width, height, attributes);
    takeSizeFromImage(image, width, height);
    setInputDefaults();
    readInputs(attributes);
    return recordVectorImage(width, height);
}

void GLIF_Triangles::drawRect(QPainter& painter, const QRectF& rect) {
    m_triangleCount = 0;
    const int w = truncateToInt(rect.width()), h = truncateToInt(rect.height());
    if (_nTriangle < 2 || w < 1 || h < 1) return;
    const int n = std::min(_nTriangle, kMaxPoints);
    std::vector<QPointF> points(size_t(n) + 2);
    points[0] = QPointF(float(-w / 2), float(-h / 2));
    points[1] = QPointF(0.0f, float(w + h + 10.0));
    points[2] = QPointF(float(w + h + 10.0), 0.0f);
    std::vector<Triangle> triangles{{closedPath(points[0], points[1], points[2]), {0, 1, 2}}};

    for (int i = 3; i < n + 2; ++i) {
        const int q1 = std::rand();
        const int q2 = std::rand();
        const QPointF p(float(q2 % w), float(q1 % h));
        points[size_t(i)] = p;
        const auto holder = std::find_if(triangles.begin(), triangles.end(),
                                         [&](const Triangle& t) { return t.path.contains(p); });
        if (holder == triangles.end()) continue;
        const auto [a, b, c] = holder->corners;
        const size_t j = size_t(holder - triangles.begin());
        const auto at = [&](int k) { return points[size_t(k)]; };
        triangles.push_back({closedPath(p, at(a), at(b)), {i, a, b}});
        triangles.push_back({closedPath(p, at(a), at(c)), {i, a, c}});
        triangles.push_back({closedPath(p, at(b), at(c)), {i, b, c}});
        triangles.erase(triangles.begin() + std::ptrdiff_t(j));
    }

    const int m = int(triangles.size());
    m_triangleCount = m;
    const QColor outline = _useBackColor && _backColor ? *_backColor : QColor(Qt::black);
    for (int k = 0; k < m; ++k) {
        const QPainterPath& path = triangles[size_t(k)].path;
        const QColor colour =
            computeSchemeColor(float(k) / float(m), _schemeKeyColor, _iColorScheme);
        // A thin stroke in the fill colour first closes the seams between neighbours.
        QPen pen(colour, 1.0, Qt::SolidLine, Qt::FlatCap, Qt::BevelJoin);
        painter.strokePath(path, pen);
        painter.fillPath(path, colour);
        pen.setColor(outline);
        pen.setWidthF(_widthLine);
        painter.strokePath(path, pen);
    }
}

}  // namespace cif
