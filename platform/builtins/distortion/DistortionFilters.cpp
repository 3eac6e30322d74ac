// Distortion built-ins: warps that read their input at a computed point.
//
// Every map is written as source = p + delta(p), with delta exactly zero
// where the map is the identity (outside the radius, at zero strength), so
// those pixels are exact copies. Distances are in pixels, angles in radians,
// positions in the image's coordinates.

#include <algorithm>
#include <cmath>
#include <limits>

#include "platform/builtins/BuiltinFilter.h"
#include "platform/builtins/distortion/WarpMath.h"
#include "platform/builtins/distortion/WarpNode.h"

namespace cif::builtins {

namespace {

using engine::IRect;
using engine::NodePtr;
using engine::PooledBuffer;
using engine::Rect;
using engine::RenderState;
using namespace warp;

// Limits that keep float arithmetic meaningful; larger values are clamped.
constexpr double kMaxDistance = 1e6;
constexpr double kMaxFactor = 1e4;

double clampDistance(double v) {
    return std::clamp(v, 0.0, kMaxDistance);
}
double clampFactor(double v) {
    return std::clamp(v, -kMaxFactor, kMaxFactor);
}

bool finitePoint(const CIVector& v) {
    return std::isfinite(v.X()) && std::isfinite(v.Y()) && std::abs(v.X()) < kMaxDistance &&
           std::abs(v.Y()) < kMaxDistance;
}

Rect boxAround(double cx, double cy, double radius) {
    return {cx - radius, cy - radius, 2 * radius, 2 * radius};
}

// Smallest and largest distance from (cx, cy) to the points of r.
void distanceRange(const Rect& r, double cx, double cy, double& lo, double& hi) {
    const double nx = std::max({r.x - cx, 0.0, cx - r.right()});
    const double ny = std::max({r.y - cy, 0.0, cy - r.top()});
    lo = std::hypot(nx, ny);
    hi = std::hypot(std::max(std::abs(cx - r.x), std::abs(r.right() - cx)),
                    std::max(std::abs(cy - r.y), std::abs(r.top() - cy)));
}

// ---------------------------------------------------------------- radial maps

// Maps whose displacement is along the ray from the centre, or a rotation
// about it, and that are the identity beyond `reach` of the centre.
class RadialWarp : public WarpNode {
public:
    enum class Kind { Twirl, Vortex, Bump, Pinch, Torus };
    // a and b are the kind's parameters (see profile()); region is the
    // radius that holds every source point of the warped disc.
    RadialWarp(NodePtr input, Kind kind, double cx, double cy, double reach, double region,
               double a, double b, double c)
        : WarpNode(
              {input},
              warpedExtent(input->extent(), boxAround(cx, cy, reach), boxAround(cx, cy, region)),
              boxAround(cx, cy, reach)),
          m_kind(kind),
          m_cx(float(cx)),
          m_cy(float(cy)),
          m_a(float(a)),
          m_b(float(b)),
          m_c(float(c)),
          m_warped(boxAround(cx, cy, reach)),
          m_region(boxAround(cx, cy, region)) {}

    const char* kind() const override { return "radial-warp"; }

    void mapSpan(int x, int y, int n, float fx, float fy, float* sx, float* sy) const override {
        const F4 dy = f4(float(y) + fy - m_cy);
        for (int i = 0; i < n; i += 4) {
            const F4 px = ramp(x + i, fx);
            const F4 dx = px - m_cx;
            F4 ox = f4(0.0f), oy = f4(0.0f);
            delta(dx, dy, ox, oy);
            store4(sx + i, px + ox);
            store4(sy + i, (float(y) + fy) + oy);
        }
    }

protected:
    Rect sourceBounds(const Rect& output) const override {
        return boundsWithFixedRegion(output, m_warped, m_region);
    }
    int supersampling(const IRect& block) const override { return stretchSupersampling(block); }

private:
    void delta(F4 dx, F4 dy, F4& ox, F4& oy) const {
        const F4 r2 = dx * dx + dy * dy;
        switch (m_kind) {
            case Kind::Twirl:
            case Kind::Vortex: {
                // a: angle, b: 1 / radius. Rotation by angle * t^2 (twirl) or
                // angle * t^3 (vortex), t = 1 - r / radius: zero at the rim with
                // a smooth start, strongest at the centre.
                const F4 t = vmax(f4(0.0f), 1.0f - vsqrt(r2) * m_b);
                F4 phi = m_a * t * t;
                if (m_kind == Kind::Vortex) phi = phi * t;
                F4 s, c;
                sincosv(phi, s, c);
                ox = (c - 1.0f) * dx - s * dy;
                oy = s * dx + (c - 1.0f) * dy;
                return;
            }
            case Kind::Bump: {
                // a: scale, b: 1 / radius^2. The point reads (1 - scale f^2) of
                // its distance, f = 1 - (r / radius)^2: a lens that magnifies
                // for positive scale and shrinks for negative.
                const F4 f = vmax(f4(0.0f), 1.0f - r2 * m_b);
                const F4 k = -m_a * f * f;
                ox = dx * k;
                oy = dy * k;
                return;
            }
            case Kind::Pinch: {
                // a: scale, b: 1 / radius. The point reads (1 + scale (1 - u)^2)
                // of its distance, u = r / radius: content is drawn in towards
                // the centre, most strongly near it.
                const F4 u = vmin(f4(1.0f), vsqrt(r2) * m_b);
                const F4 k = m_a * (1.0f - u) * (1.0f - u);
                ox = dx * k;
                oy = dy * k;
                return;
            }
            case Kind::Torus: {
                // a: ring radius, b: 2 / ring width, c: 1 - 1 / refraction. A
                // lens of round cross-section along the ring: at distance t
                // (-1..1) across it the point reads the ring line plus m times
                // its offset, m = 1 - c sqrt(1 - t^2), which magnifies by the
                // refraction at the ring line and is the identity at its edges.
                const F4 r = vsqrt(r2);
                const F4 t = (r - m_a) * m_b;
                const F4 inside = f4(1.0f) - t * t;
                const F4 m = 1.0f - m_c * vsqrt(vmax(inside, f4(0.0f)));
                const F4 rho = m_a + (r - m_a) * m;
                const F4 k = select(inside > 0.0f, rho / vmax(r, f4(1e-20f)) - 1.0f, f4(0.0f));
                ox = dx * k;
                oy = dy * k;
                return;
            }
        }
    }

    Kind m_kind;
    float m_cx, m_cy, m_a, m_b, m_c;
    Rect m_warped, m_region;
};

// ---------------------------------------------------------------- maps everywhere

// The hole: nothing within the radius; beyond it a point at distance r reads
// sqrt(r^2 - radius^2), pushing the picture outwards most strongly at the rim
// and less and less far away.
class HoleWarp final : public WarpNode {
public:
    HoleWarp(NodePtr input, double cx, double cy, double radius)
        : WarpNode({input}, input->extent().inset(-radius, -radius), Rect::infinite()),
          m_cx(float(cx)),
          m_cy(float(cy)),
          m_r2(float(radius * radius)),
          m_center{cx, cy, 0, 0} {}
    const char* kind() const override { return "hole"; }
    void mapSpan(int x, int y, int n, float fx, float fy, float* sx, float* sy) const override {
        const float py = float(y) + fy;
        const F4 dy = f4(py - m_cy);
        const F4 nan = f4(std::numeric_limits<float>::quiet_NaN());
        for (int i = 0; i < n; i += 4) {
            const F4 px = ramp(x + i, fx);
            const F4 dx = px - m_cx;
            const F4 r2 = dx * dx + dy * dy;
            const F4 k = vsqrt(vmax(r2 - m_r2, f4(0.0f)) / vmax(r2, f4(1e-20f))) - 1.0f;
            const I4 inside = r2 <= m_r2;
            store4(sx + i, select(inside, nan, px + dx * k));
            store4(sy + i, select(inside, nan, py + dy * k));
        }
    }

protected:
    // Every source point lies between its output point and the centre.
    Rect sourceBounds(const Rect& output) const override {
        const Rect c{m_center.x, m_center.y, 1e-9, 1e-9};
        return output.united(c);
    }
    int supersampling(const IRect& block) const override { return stretchSupersampling(block); }

private:
    float m_cx, m_cy, m_r2;
    Rect m_center;
};

// The circle splash: the picture inside the circle is kept and every point
// outside reads the rim point on its ray, streaking the rim outwards.
class CircleSplashWarp final : public WarpNode {
public:
    CircleSplashWarp(NodePtr input, double cx, double cy, double radius)
        : WarpNode({input},
                   boxAround(cx, cy, radius).intersected(input->extent()).isEmpty()
                       ? input->extent()
                       : Rect::infinite(),
                   Rect::infinite()),
          m_cx(float(cx)),
          m_cy(float(cy)),
          m_radius(float(radius)),
          m_disc(boxAround(cx, cy, radius)),
          m_inner(boxAround(cx, cy, radius * 0.7)) {}
    const char* kind() const override { return "circle-splash"; }
    void mapSpan(int x, int y, int n, float fx, float fy, float* sx, float* sy) const override {
        const float py = float(y) + fy;
        const F4 dy = f4(py - m_cy);
        for (int i = 0; i < n; i += 4) {
            const F4 px = ramp(x + i, fx);
            const F4 dx = px - m_cx;
            const F4 r = vsqrt(dx * dx + dy * dy);
            const F4 k = select(r > m_radius, m_radius / vmax(r, f4(1e-20f)) - 1.0f, f4(0.0f));
            store4(sx + i, px + dx * k);
            store4(sy + i, py + dy * k);
        }
    }

protected:
    Rect sourceBounds(const Rect& output) const override {
        // Inside the inscribed square every point reads itself.
        return m_inner.contains(output) ? output : output.intersected(m_disc).united(m_disc);
    }

private:
    float m_cx, m_cy, m_radius;
    Rect m_disc, m_inner;
};

// The circular wrap: the picture's row through the centre is bent onto the
// circle and the rows above it onto larger circles, so a point at distance r
// and angle theta reads x = centre.x - radius * (theta - angle - pi/2)
// (arc length along the circle, the top of the circle reading the centre
// column) and y = centre.y + r - radius. Inside the circle is transparent.
class CircularWrapWarp final : public WarpNode {
public:
    CircularWrapWarp(NodePtr input, double cx, double cy, double radius, double angle)
        : WarpNode({input}, wrapExtent(input->extent(), cx, cy, radius), Rect::infinite()),
          m_cx(float(cx)),
          m_cy(float(cy)),
          m_radius(float(radius)),
          m_angle(float(std::remainder(angle, 2 * M_PI))),
          m_dcx(cx),
          m_dcy(cy),
          m_dradius(radius) {}
    const char* kind() const override { return "circular-wrap"; }
    void mapSpan(int x, int y, int n, float fx, float fy, float* sx, float* sy) const override {
        const F4 dy = f4(float(y) + fy - m_cy);
        const F4 nan = f4(std::numeric_limits<float>::quiet_NaN());
        constexpr float kTwoPi = 2 * kPi;
        for (int i = 0; i < n; i += 4) {
            const F4 dx = ramp(x + i, fx) - m_cx;
            const F4 r = vsqrt(dx * dx + dy * dy);
            const F4 theta = atan2v(dy, dx) - m_angle - kPi / 2;
            // Into [-pi, pi) so the seam falls at the bottom of the circle.
            const F4 a = theta - kTwoPi * vfloor((theta + kPi) * (1.0f / kTwoPi));
            const I4 inside = r < m_radius;
            store4(sx + i, select(inside, nan, m_cx - m_radius * a));
            store4(sy + i, select(inside, nan, m_cy + (r - m_radius)));
        }
    }

protected:
    Rect sourceBounds(const Rect& output) const override {
        const double halfArc = M_PI * m_dradius + 1;
        if (output.isInfinite() || output.isUnbounded())
            return {m_dcx - halfArc, Rect::kInfOrigin / 2, 2 * halfArc, Rect::kInfSize / 2};
        double lo, hi;
        distanceRange(output, m_dcx, m_dcy, lo, hi);
        const double y0 = m_dcy + std::max(lo, m_dradius) - m_dradius - 1;
        return {m_dcx - halfArc, y0, 2 * halfArc, hi - lo + 2};
    }
    int supersampling(const IRect& block) const override { return stretchSupersampling(block); }

private:
    static Rect wrapExtent(const Rect& input, double cx, double cy, double radius) {
        if (input.isInfinite()) return Rect::infinite();
        if (input.isEmpty() || input.top() <= cy) return {};
        return boxAround(cx, cy, radius + (input.top() - cy) + 1);
    }
    float m_cx, m_cy, m_radius, m_angle;
    double m_dcx, m_dcy, m_dradius;
};

// ---------------------------------------------------------------- line maps

// The linear bump: the bump's profile across a line through the centre at
// the angle. A point at signed distance v from the line reads the distance
// v (1 - (1 - scale) f^2), f = 1 - (v / radius)^2, so scale 1 is the
// identity, smaller values magnify the band along the line.
class LinearBumpWarp final : public WarpNode {
public:
    LinearBumpWarp(NodePtr input, double cx, double cy, double radius, double angle, double scale)
        : WarpNode({input}, input->extent().inset(-reach(radius, scale), -reach(radius, scale)),
                   Rect::infinite()),
          m_cx(float(cx)),
          m_cy(float(cy)),
          m_nx(float(-std::sin(angle))),
          m_ny(float(std::cos(angle))),
          m_inv2(float(1.0 / (radius * radius))),
          m_k(float(1.0 - scale)),
          m_reach(reach(radius, scale)) {}
    const char* kind() const override { return "linear-bump"; }
    void mapSpan(int x, int y, int n, float fx, float fy, float* sx, float* sy) const override {
        const float py = float(y) + fy;
        const F4 dy = f4(py - m_cy);
        for (int i = 0; i < n; i += 4) {
            const F4 px = ramp(x + i, fx);
            const F4 v = (px - m_cx) * m_nx + dy * m_ny;
            const F4 f = vmax(f4(0.0f), 1.0f - v * v * m_inv2);
            const F4 d = -m_k * f * f * v;
            store4(sx + i, px + d * m_nx);
            store4(sy + i, py + d * m_ny);
        }
    }

protected:
    Rect sourceBounds(const Rect& output) const override {
        return output.inset(-m_reach, -m_reach);
    }

private:
    // Farthest a point moves: |v| |1 - scale| f^2 <= radius |1 - scale|.
    static double reach(double radius, double scale) { return radius * std::abs(1.0 - scale) + 1; }
    float m_cx, m_cy, m_nx, m_ny, m_inv2, m_k;
    double m_reach;
};

// The glass lozenge: a lens shaped as the set of points within the radius of
// the segment point0-point1 (a capsule), of round cross-section. A point at
// distance d from its nearest segment point q reads q + m (p - q), with
// m = 1 - (1 - 1 / refraction) sqrt(1 - (d / radius)^2) as for the torus.
class LozengeWarp final : public WarpNode {
public:
    LozengeWarp(NodePtr input, double x0, double y0, double x1, double y1, double radius,
                double lens, double region)
        : WarpNode({input},
                   warpedExtent(input->extent(), capsule(x0, y0, x1, y1, radius),
                                capsule(x0, y0, x1, y1, region)),
                   capsule(x0, y0, x1, y1, radius)),
          m_x0(float(x0)),
          m_y0(float(y0)),
          m_len(float(std::hypot(x1 - x0, y1 - y0))),
          m_inv2(float(1.0 / (radius * radius))),
          m_lens(float(lens)),
          m_warped(capsule(x0, y0, x1, y1, radius)),
          m_region(capsule(x0, y0, x1, y1, region)) {
        const double len = std::hypot(x1 - x0, y1 - y0);
        m_ex = len > 0 ? float((x1 - x0) / len) : 1.0f;
        m_ey = len > 0 ? float((y1 - y0) / len) : 0.0f;
    }
    const char* kind() const override { return "glass-lozenge"; }
    void mapSpan(int x, int y, int n, float fx, float fy, float* sx, float* sy) const override {
        const float py = float(y) + fy;
        const F4 ry = f4(py - m_y0);
        for (int i = 0; i < n; i += 4) {
            const F4 px = ramp(x + i, fx);
            const F4 rx = px - m_x0;
            const F4 t = vmin(vmax(rx * m_ex + ry * m_ey, f4(0.0f)), f4(m_len));
            const F4 vx = rx - t * m_ex, vy = ry - t * m_ey;
            const F4 inside = 1.0f - (vx * vx + vy * vy) * m_inv2;
            const F4 k = select(inside > 0.0f, -m_lens * vsqrt(vmax(inside, f4(0.0f))), f4(0.0f));
            store4(sx + i, px + vx * k);
            store4(sy + i, py + vy * k);
        }
    }

protected:
    Rect sourceBounds(const Rect& output) const override {
        return boundsWithFixedRegion(output, m_warped, m_region);
    }

private:
    static Rect capsule(double x0, double y0, double x1, double y1, double r) {
        const double lx = std::min(x0, x1) - r, ly = std::min(y0, y1) - r;
        return {lx, ly, std::max(x0, x1) + r - lx, std::max(y0, y1) + r - ly};
    }
    float m_x0, m_y0, m_len, m_inv2, m_lens, m_ex = 1, m_ey = 0;
    Rect m_warped, m_region;
};

// ---------------------------------------------------------------- image-driven maps

// Displacement read from a second image at the same point. Displacement: the
// red and green channels, clamped to [0, 1], move the point by
// scale * (value - 0.5) along x and y (mid grey keeps it in place). Glass:
// the texture's luminance is a height field and the point moves by scale
// times its gradient (central differences, within [-0.5, 0.5] per axis), as
// light bends through a surface of that shape.
class ImageDrivenWarp final : public WarpNode {
public:
    enum class Kind { Displacement, Glass };
    ImageDrivenWarp(NodePtr input, NodePtr map, Kind kind, double scale)
        : WarpNode({input, map}, input->extent().inset(-reach(scale), -reach(scale)),
                   Rect::infinite()),
          m_kind(kind),
          m_scale(float(scale)),
          m_reach(reach(scale)) {}
    const char* kind() const override { return "image-driven-warp"; }

    // Without the map image the points stay in place; mapBlock supplies it.
    void mapSpan(int x, int y, int n, float fx, float fy, float* sx, float* sy) const override {
        for (int i = 0; i < n; i += 4) {
            store4(sx + i, ramp(x + i, fx));
            store4(sy + i, f4(float(y) + fy));
        }
    }

protected:
    Rect sourceBounds(const Rect& output) const override {
        return output.inset(-m_reach, -m_reach);
    }
    Rect auxiliaryRegion(size_t, const Rect& output) const override {
        return m_kind == Kind::Glass ? output.inset(-1, -1) : output;
    }
    void mapBlock(const IRect& block, float fx, float fy, float* sx, float* sy,
                  const RenderState& state) const override {
        // The map is read at the pixel, whatever the sub-pixel offset.
        const int margin = m_kind == Kind::Glass ? 1 : 0;
        PooledBuffer mapBuf(
            IRect{block.x - margin, block.y - margin, block.w + 2 * margin, block.h + 2 * margin});
        renderNode(*inputs()[1], *mapBuf, state);
        const size_t stride = size_t(paddedWidth(block.w));
        for (int r = 0; r < block.h; ++r) {
            const int y = block.y + r;
            float* ox = sx + size_t(r) * stride;
            float* oy = sy + size_t(r) * stride;
            for (int i = 0; i < block.w; ++i) {
                const int x = block.x + i;
                float dx, dy;
                if (m_kind == Kind::Displacement) {
                    const float* m = mapBuf->at(x, y);
                    dx = std::clamp(m[0], 0.0f, 1.0f) - 0.5f;
                    dy = std::clamp(m[1], 0.0f, 1.0f) - 0.5f;
                } else {
                    dx = 0.5f * (luminance(mapBuf->at(x + 1, y)) - luminance(mapBuf->at(x - 1, y)));
                    dy = 0.5f * (luminance(mapBuf->at(x, y + 1)) - luminance(mapBuf->at(x, y - 1)));
                }
                ox[i] = float(x) + fx + m_scale * dx;
                oy[i] = float(y) + fy + m_scale * dy;
            }
        }
    }

private:
    static float luminance(const float* p) {
        const float l = 0.2126f * p[0] + 0.7152f * p[1] + 0.0722f * p[2];
        return std::clamp(l, 0.0f, 1.0f);
    }
    static double reach(double scale) { return std::abs(scale) * 0.5 + 1; }
    Kind m_kind;
    float m_scale;
    double m_reach;
};

// ---------------------------------------------------------------- filters

struct Centre {
    double x, y;
};

bool readCentre(const CIFilter& f, const char* key, Centre& c) {
    const CIVector v = f.vectorForKey(QString::fromLatin1(key));
    if (!finitePoint(v)) return false;
    c = {v.X(), v.Y()};
    return true;
}

CIImage radial(const CIFilter& f, RadialWarp::Kind kind) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    Centre c;
    if (!readCentre(f, "inputCenter", c)) return in;
    const double radius = clampDistance(f.numberForKey("inputRadius"));
    if (!(radius > 0)) return in;
    double region = radius, a = 0, b = 0, k = 0;
    switch (kind) {
        case RadialWarp::Kind::Twirl:
        case RadialWarp::Kind::Vortex:
            a = clampFactor(f.numberForKey("inputAngle"));
            b = 1.0 / radius;
            if (a == 0) return in;
            break;
        case RadialWarp::Kind::Bump:
            a = clampFactor(f.numberForKey("inputScale"));
            b = 1.0 / (radius * radius);
            if (a == 0) return in;
            region = radius * std::max(1.0, std::abs(1.0 - a));
            break;
        case RadialWarp::Kind::Pinch:
            a = std::clamp(f.numberForKey("inputScale"), 0.0, kMaxFactor);
            b = 1.0 / radius;
            if (a == 0) return in;
            region = radius * (1.0 + a);
            break;
        case RadialWarp::Kind::Torus: {
            const double width = clampDistance(f.numberForKey("inputWidth"));
            const double refraction = std::clamp(f.numberForKey("inputRefraction"), 0.1, 100.0);
            if (!(width > 0) || refraction == 1.0) return in;
            const double half = width / 2;
            a = radius;
            b = 1.0 / half;
            k = 1.0 - 1.0 / refraction;
            // |m| <= max(1, 1 / refraction) across the ring.
            region = radius + half * std::max(1.0, 1.0 / refraction);
            return CIImage::imageWithNode(std::make_shared<RadialWarp>(
                in.node(), kind, c.x, c.y, radius + half, region, a, b, k));
        }
    }
    return CIImage::imageWithNode(
        std::make_shared<RadialWarp>(in.node(), kind, c.x, c.y, radius, region, a, b, k));
}

CIImage twirl(const CIFilter& f) {
    return radial(f, RadialWarp::Kind::Twirl);
}
CIImage vortex(const CIFilter& f) {
    return radial(f, RadialWarp::Kind::Vortex);
}
CIImage bump(const CIFilter& f) {
    return radial(f, RadialWarp::Kind::Bump);
}
CIImage pinch(const CIFilter& f) {
    return radial(f, RadialWarp::Kind::Pinch);
}
CIImage torusLens(const CIFilter& f) {
    return radial(f, RadialWarp::Kind::Torus);
}

CIImage hole(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    Centre c;
    const double radius = clampDistance(f.numberForKey("inputRadius"));
    if (!readCentre(f, "inputCenter", c) || !(radius > 0)) return in;
    return CIImage::imageWithNode(std::make_shared<HoleWarp>(in.node(), c.x, c.y, radius));
}

CIImage circleSplash(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    Centre c;
    const double radius = clampDistance(f.numberForKey("inputRadius"));
    if (!readCentre(f, "inputCenter", c)) return in;
    return CIImage::imageWithNode(std::make_shared<CircleSplashWarp>(in.node(), c.x, c.y, radius));
}

CIImage circularWrap(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    Centre c;
    const double radius = clampDistance(f.numberForKey("inputRadius"));
    if (!readCentre(f, "inputCenter", c)) return in;
    return CIImage::imageWithNode(std::make_shared<CircularWrapWarp>(
        in.node(), c.x, c.y, radius, clampFactor(f.numberForKey("inputAngle"))));
}

CIImage bumpLinear(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    Centre c;
    const double radius = clampDistance(f.numberForKey("inputRadius"));
    const double scale = clampFactor(f.numberForKey("inputScale"));
    if (!readCentre(f, "inputCenter", c) || !(radius > 0) || scale == 1.0) return in;
    return CIImage::imageWithNode(std::make_shared<LinearBumpWarp>(
        in.node(), c.x, c.y, radius, clampFactor(f.numberForKey("inputAngle")), scale));
}

CIImage glassLozenge(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    Centre p0, p1;
    const double radius = clampDistance(f.numberForKey("inputRadius"));
    const double refraction = std::clamp(f.numberForKey("inputRefraction"), 0.1, 100.0);
    if (!readCentre(f, "inputPoint0", p0) || !readCentre(f, "inputPoint1", p1) || !(radius > 0) ||
        refraction == 1.0)
        return in;
    const double region = radius * std::max(1.0, 1.0 / refraction);
    return CIImage::imageWithNode(std::make_shared<LozengeWarp>(
        in.node(), p0.x, p0.y, p1.x, p1.y, radius, 1.0 - 1.0 / refraction, region));
}

CIImage displacement(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const CIImage map = f.imageForKey("inputDisplacementImage");
    const double scale = clampFactor(f.numberForKey("inputScale"));
    if (map.isNull() || scale == 0) return in;
    return CIImage::imageWithNode(std::make_shared<ImageDrivenWarp>(
        in.node(), map.node(), ImageDrivenWarp::Kind::Displacement, scale));
}

// The texture is centred on inputCenter and repeated, so the glass covers
// the whole picture.
CIImage glass(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const CIImage texture = f.imageForKey("inputTexture");
    const double scale = clampFactor(f.numberForKey("inputScale"));
    Centre c;
    if (texture.isNull() || scale == 0 || !readCentre(f, "inputCenter", c)) return in;
    CIImage placed = texture;
    const QRectF ext = texture.extent();
    if (!texture.isInfinite()) {
        if (ext.isEmpty()) return in;
        const double dx = std::round(c.x - ext.center().x()),
                     dy = std::round(c.y - ext.center().y());
        placed = texture.imageByAffineTiling(QTransform::fromTranslate(dx, dy));
    }
    if (placed.isNull()) return in;
    return CIImage::imageWithNode(std::make_shared<ImageDrivenWarp>(
        in.node(), placed.node(), ImageDrivenWarp::Kind::Glass, scale));
}

}  // namespace

std::vector<BuiltinDef> distortionBuiltins() {
    return {
        {"CIBumpDistortion", bump},
        {"CIBumpDistortionLinear", bumpLinear},
        {"CICircleSplashDistortion", circleSplash},
        {"CICircularWrap", circularWrap},
        {"CIDisplacementDistortion", displacement},
        {"CIGlassDistortion", glass},
        {"CIGlassLozenge", glassLozenge},
        {"CIHoleDistortion", hole},
        {"CIPinchDistortion", pinch},
        {"CITorusLensDistortion", torusLens},
        {"CITwirlDistortion", twirl},
        {"CIVortexDistortion", vortex},
    };
}

}  // namespace cif::builtins
