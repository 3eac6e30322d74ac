#include "generators/GLIFPaths.h"

#include <algorithm>
#include <cstdlib>
#include <numbers>

#include "generators/GLIFColorFunctions.h"

namespace cif {

namespace {

// More points than this cannot be told apart on any picture.
constexpr int kMaxPoints = 100000;

struct Box {
    double cx, cy, stretch;
    QPointF drawn(double px, double py) const { return {cx + (px - cx) * stretch, py}; }
};

Box boxOf(double x, double y, double width, double height) {
    return {x + width * 0.5, y + height * 0.5, width / height};
}

template <class Turn>
QPainterPath polygon(double x, double y, double width, double height, int count, Turn turn) {
    const int n = std::clamp(count, 3, kMaxPoints);
    const Box box = boxOf(x, y, width, height);
    double px = box.cx, py = y;
    QPainterPath path(box.drawn(px, py));
    for (int i = 1; i < n; ++i) {
        rotatePoint(&px, &py, turn(n), box.cx, box.cy);
        path.lineTo(box.drawn(px, py));
    }
    path.closeSubpath();
    return path;
}

}  // namespace

QPainterPath PathStar(double x, double y, double width, double height, double ratio, int count) {
    const int n = std::clamp(count, 2, kMaxPoints);
    const double k = ratio == 0.0 ? 0.005 : ratio;
    const Box box = boxOf(x, y, width, height);
    const double step = 2.0 * std::numbers::pi / n;
    double ox = box.cx, oy = y;
    double ix = box.cx, iy = box.cy - k * height / 2.0;
    rotatePoint(&ix, &iy, std::numbers::pi / n, box.cx, box.cy);
    QPainterPath path(box.drawn(ox, oy));
    path.lineTo(box.drawn(ix, iy));
    for (int i = 1; i < n; ++i) {
        rotatePoint(&ox, &oy, step, box.cx, box.cy);
        rotatePoint(&ix, &iy, step, box.cx, box.cy);
        path.lineTo(box.drawn(ox, oy));
        path.lineTo(box.drawn(ix, iy));
    }
    path.closeSubpath();
    return path;
}

QPainterPath PathPolygon(double x, double y, double width, double height, double, int count) {
    return polygon(x, y, width, height, count, [](int n) { return 2.0 * std::numbers::pi / n; });
}

QPainterPath PathHaosPolygon(double x, double y, double width, double height, double, int count) {
    return polygon(x, y, width, height, count, [](int n) {
        return std::min(2.0 * std::numbers::pi / n + double(std::rand() % 3) / n,
                        2.0 * std::numbers::pi);
    });
}

}  // namespace cif
