#pragma once
// Engine geometry: rectangles in the platform's coordinates (origin bottom-left,
// y upwards, pixel (i, j) covers [i, i+1) x [j, j+1) and is sampled at its centre)
// and the affine transforms that move them.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace cif::engine {

// A rectangle with double coordinates. Extents may be infinite: the infinite
// rectangle is the platform's (origin -8.98847e307, size 1.79769e308), and any
// rectangle reaching that far is treated as infinite.
struct Rect {
    double x = 0, y = 0, w = 0, h = 0;

    static constexpr double kInfSize = std::numeric_limits<double>::max();
    static constexpr double kInfOrigin = -kInfSize / 2;

    static constexpr Rect infinite() { return {kInfOrigin, kInfOrigin, kInfSize, kInfSize}; }
    static constexpr Rect empty() { return {}; }

    bool isEmpty() const { return !(w > 0) || !(h > 0); }
    bool isInfinite() const {
        return x <= kInfOrigin * 0.5 && y <= kInfOrigin * 0.5 && w >= kInfSize * 0.5 &&
               h >= kInfSize * 0.5;
    }
    // True when any edge reaches beyond what a picture can address.
    bool isUnbounded() const { return x < -1e15 || y < -1e15 || right() > 1e15 || top() > 1e15; }
    double right() const { return x + w; }
    double top() const { return y + h; }
    bool operator==(const Rect& o) const = default;

    Rect intersected(const Rect& o) const;
    Rect united(const Rect& o) const;
    Rect inset(double dx, double dy) const;  // negative values grow the rectangle
    bool contains(const Rect& o) const {
        return o.isEmpty() ||
               (!isEmpty() && o.x >= x && o.y >= y && o.right() <= right() && o.top() <= top());
    }
};

// An integer pixel rectangle: pixels x .. x+w-1, y .. y+h-1.
struct IRect {
    int x = 0, y = 0, w = 0, h = 0;
    bool isEmpty() const { return w <= 0 || h <= 0; }
    int right() const { return x + w; }
    int top() const { return y + h; }
    int64_t area() const { return isEmpty() ? 0 : int64_t(w) * h; }
    bool operator==(const IRect& o) const = default;
    IRect intersected(const IRect& o) const;
    bool contains(const IRect& o) const {
        return o.isEmpty() || (o.x >= x && o.y >= y && o.right() <= right() && o.top() <= top());
    }
    Rect toRect() const { return {double(x), double(y), double(w), double(h)}; }
};

// Largest coordinate the renderer ever addresses; infinite rectangles are cut
// to this box before they become pixel rectangles.
inline constexpr int kPixelLimit = 1 << 29;

// The one checked float-to-integer conversion: floor(v) into out, false when v
// is NaN or outside the range the renderer addresses.
inline bool floorToInt(double v, int& out) {
    if (!(v > -double(1 << 30) && v < double(1 << 30))) return false;
    // Truncation plus a correction for negative non-integers: std::floor is
    // a library call on the x86-64 baseline and this is a hot path.
    const int t = static_cast<int>(v);
    out = t - (v < double(t) ? 1 : 0);
    return true;
}

// a / b rounded towards minus infinity, for b > 0: the index of the block of
// b pixels holding pixel a, on either side of the origin.
inline int floorDiv(int a, int b) {
    return a >= 0 ? a / b : -((-a + b - 1) / b);
}

// Smallest pixel rectangle covering r (pixels touched by the rectangle's area).
IRect coveringPixels(const Rect& r);
// Pixels whose centres lie inside r (half-open on the far edges). Used for crop
// and clamp so that integral rectangles select exactly their pixels.
IRect pixelsCentredIn(const Rect& r);

// Affine transform with the platform's layout: (x, y) -> (a x + c y + tx, b x + d y + ty).
struct Affine {
    double a = 1, b = 0, c = 0, d = 1, tx = 0, ty = 0;

    static Affine translation(double dx, double dy) { return {1, 0, 0, 1, dx, dy}; }
    static Affine scale(double sx, double sy) { return {sx, 0, 0, sy, 0, 0}; }
    static Affine rotation(double radians);

    double determinant() const { return a * d - b * c; }
    bool isInvertible() const;
    bool isIdentity() const { return a == 1 && b == 0 && c == 0 && d == 1 && tx == 0 && ty == 0; }
    bool isIntegerTranslation() const;
    Affine inverted() const;  // identity when not invertible; check isInvertible first
    // this followed by next.
    Affine then(const Affine& next) const;
    void map(double x, double y, double& ox, double& oy) const {
        ox = a * x + c * y + tx;
        oy = b * x + d * y + ty;
    }
    // Bounding box of the mapped rectangle; infinite stays infinite.
    Rect mapRect(const Rect& r) const;
    bool operator==(const Affine& o) const = default;
};

}  // namespace cif::engine
