#include "platform/image/Geometry.h"

namespace cif::engine {

Rect Rect::intersected(const Rect& o) const {
    if (isEmpty() || o.isEmpty()) return {};
    const double x0 = std::max(x, o.x), y0 = std::max(y, o.y);
    const double x1 = std::min(right(), o.right()), y1 = std::min(top(), o.top());
    if (!(x1 > x0) || !(y1 > y0)) return {};
    if (isInfinite() && o.isInfinite()) return infinite();
    return {x0, y0, x1 - x0, y1 - y0};
}

Rect Rect::united(const Rect& o) const {
    if (isEmpty()) return o;
    if (o.isEmpty()) return *this;
    if (isInfinite() || o.isInfinite()) return infinite();
    const double x0 = std::min(x, o.x), y0 = std::min(y, o.y);
    const double x1 = std::max(right(), o.right()), y1 = std::max(top(), o.top());
    return {x0, y0, x1 - x0, y1 - y0};
}

Rect Rect::inset(double dx, double dy) const {
    if (isEmpty()) return {};
    if (isInfinite()) return *this;
    Rect r{x + dx, y + dy, w - 2 * dx, h - 2 * dy};
    return r.isEmpty() ? Rect{} : r;
}

IRect IRect::intersected(const IRect& o) const {
    const int x0 = std::max(x, o.x), y0 = std::max(y, o.y);
    const int x1 = std::min(right(), o.right()), y1 = std::min(top(), o.top());
    if (x1 <= x0 || y1 <= y0) return {};
    return {x0, y0, x1 - x0, y1 - y0};
}

namespace {
int clampToPixelLimit(double v) {
    if (!(v > -kPixelLimit)) return -kPixelLimit;  // also catches NaN
    if (v > kPixelLimit) return kPixelLimit;
    return static_cast<int>(v);
}
}  // namespace

IRect coveringPixels(const Rect& r) {
    if (r.isEmpty()) return {};
    // A hair of tolerance so that rectangles produced by exact transforms of
    // integral ones do not grow by a pixel through rounding noise.
    constexpr double eps = 1e-7;
    const int x0 = clampToPixelLimit(std::floor(r.x + eps));
    const int y0 = clampToPixelLimit(std::floor(r.y + eps));
    const int x1 = clampToPixelLimit(std::ceil(r.right() - eps));
    const int y1 = clampToPixelLimit(std::ceil(r.top() - eps));
    if (x1 <= x0 || y1 <= y0) return {};
    return {x0, y0, x1 - x0, y1 - y0};
}

IRect pixelsCentredIn(const Rect& r) {
    if (r.isEmpty()) return {};
    const int x0 = clampToPixelLimit(std::ceil(r.x - 0.5));
    const int y0 = clampToPixelLimit(std::ceil(r.y - 0.5));
    const int x1 = clampToPixelLimit(std::ceil(r.right() - 0.5));
    const int y1 = clampToPixelLimit(std::ceil(r.top() - 0.5));
    if (x1 <= x0 || y1 <= y0) return {};
    return {x0, y0, x1 - x0, y1 - y0};
}

Affine Affine::rotation(double radians) {
    const double cs = std::cos(radians), sn = std::sin(radians);
    return {cs, sn, -sn, cs, 0, 0};
}

bool Affine::isInvertible() const {
    const double det = determinant();
    return std::isfinite(det) && std::abs(det) > 1e-12 && std::isfinite(tx) && std::isfinite(ty);
}

bool Affine::isIntegerTranslation() const {
    return a == 1 && b == 0 && c == 0 && d == 1 && tx == std::round(tx) && ty == std::round(ty) &&
           std::abs(tx) < kPixelLimit && std::abs(ty) < kPixelLimit;
}

Affine Affine::inverted() const {
    if (!isInvertible()) return {};
    const double det = determinant();
    const double ia = d / det, ib = -b / det, ic = -c / det, id = a / det;
    return {ia, ib, ic, id, -(ia * tx + ic * ty), -(ib * tx + id * ty)};
}

Affine Affine::then(const Affine& n) const {
    return {n.a * a + n.c * b, n.b * a + n.d * b,          n.a * c + n.c * d,
            n.b * c + n.d * d, n.a * tx + n.c * ty + n.tx, n.b * tx + n.d * ty + n.ty};
}

Rect Affine::mapRect(const Rect& r) const {
    if (r.isEmpty()) return {};
    if (r.isInfinite() || r.isUnbounded()) return Rect::infinite();
    double xs[4], ys[4];
    map(r.x, r.y, xs[0], ys[0]);
    map(r.right(), r.y, xs[1], ys[1]);
    map(r.x, r.top(), xs[2], ys[2]);
    map(r.right(), r.top(), xs[3], ys[3]);
    const double x0 = std::min({xs[0], xs[1], xs[2], xs[3]});
    const double x1 = std::max({xs[0], xs[1], xs[2], xs[3]});
    const double y0 = std::min({ys[0], ys[1], ys[2], ys[3]});
    const double y1 = std::max({ys[0], ys[1], ys[2], ys[3]});
    if (!std::isfinite(x0) || !std::isfinite(x1) || !std::isfinite(y0) || !std::isfinite(y1))
        return Rect::infinite();
    return {x0, y0, x1 - x0, y1 - y0};
}

}  // namespace cif::engine
