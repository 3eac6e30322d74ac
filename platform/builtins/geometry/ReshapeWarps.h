#pragma once
// Warps behind the reshaping built-ins: nearest-pixel resampling under an
// affine map, separable stretches and nine-part layouts, the Droste spiral,
// the light tunnel and the triangle kaleidoscope, plus the brightness decay
// that goes with the kaleidoscope.

#include "platform/builtins/distortion/WarpNode.h"
#include "platform/image/Geometry.h"

namespace cif::builtins {

// The input read at the pixel nearest to the inverse of an affine map (no
// interpolation: every output pixel is a copy of one input pixel).
class NearestWarp final : public WarpNode {
public:
    NearestWarp(engine::NodePtr input, const engine::Affine& transform);
    const char* kind() const override { return "nearest"; }
    void mapSpan(int x, int y, int n, float fx, float fy, float* sx, float* sy) const override;

protected:
    engine::Rect sourceBounds(const engine::Rect& output) const override;

private:
    engine::Affine m_inverse;
};

// One axis of a separable map: where an output coordinate reads.
struct AxisMap {
    enum class Kind {
        // u = 2 (x - from) / length - 1 in [-1, 1] reads centre + half g(u),
        // g(u) = (1 - s) u + s u |u|: s stretches the middle more than the
        // ends (s = 0 is uniform).
        Stretch,
        // Before b0 and beyond b1 + grow the input moved by 0 and grow;
        // between, [b0, b1] stretched over [b0, b1 + grow].
        NineStretch,
        // As NineStretch, but [b0, b1] repeated (mirrored every other time
        // when flip is set) instead of stretched.
        NineTile,
    };
    Kind kind = Kind::Stretch;
    double from = 0, length = 1, centre = 0, half = 0.5, s = 0;  // Stretch
    double b0 = 0, b1 = 1, grow = 0;                             // nine-part
    bool flip = false;
    double at(double x) const;
    // The range of at() over [x0, x1].
    void range(double x0, double x1, double& lo, double& hi) const;
};

class AxisMapWarp final : public WarpNode {
public:
    AxisMapWarp(engine::NodePtr input, const engine::Rect& extent, const AxisMap& x,
                const AxisMap& y);
    const char* kind() const override { return "axis-map"; }
    void mapSpan(int x, int y, int n, float fx, float fy, float* sx, float* sy) const override;

protected:
    engine::Rect sourceBounds(const engine::Rect& output) const override;

private:
    AxisMap m_x, m_y;
};

// The Droste effect: a picture holding a smaller copy of itself in the inner
// rectangle, recursed forever and bent into a spiral. Output points are
// taken to log-polar coordinates about the fixed point of the similarity
// that carries the outer rectangle onto the inner one, multiplied by the
// complex factor periodicity - i strands ln(1/k) / (2 pi) (k: the inner
// scale), so one turn of the output crosses `strands` copies and
// `periodicity` turns of the picture; shifted by the zoom and rotation;
// wrapped into one copy; and taken back, then scaled by powers of k until
// the point lies in the picture and outside the inner rectangle.
class DrosteWarp final : public WarpNode {
public:
    DrosteWarp(engine::NodePtr input, const engine::Rect& inner, double periodicity, double strands,
               double rotation, double zoom);
    const char* kind() const override { return "droste"; }
    void mapSpan(int x, int y, int n, float fx, float fy, float* sx, float* sy) const override;

protected:
    engine::Rect sourceBounds(const engine::Rect& output) const override;

private:
    engine::Rect m_outer, m_inner;
    double m_cx, m_cy, m_k, m_logK;
    double m_gRe, m_gIm, m_shiftRe, m_shiftIm;
};

// The light tunnel: outside the radius the picture is kept; a point inside
// at distance d reads the point at distance radius^2 / d (the picture
// turned inside out, so the rim's surroundings run down the tunnel towards
// its centre), turned by rotation * ln(radius / d) so the walls spiral.
// Points that would read beyond 64 radii are transparent.
class LightTunnelWarp final : public WarpNode {
public:
    LightTunnelWarp(engine::NodePtr input, double cx, double cy, double radius, double rotation);
    const char* kind() const override { return "light-tunnel"; }
    void mapSpan(int x, int y, int n, float fx, float fy, float* sx, float* sy) const override;

protected:
    engine::Rect sourceBounds(const engine::Rect& output) const override;
    int supersampling(const engine::IRect& block) const override {
        return stretchSupersampling(block);
    }

private:
    double m_cx, m_cy, m_r, m_rotation;
    engine::Rect m_disc, m_region;
};

// The equilateral triangle with a corner at the point, sides `size` long,
// its first side at the rotation, mirrored across its edges over the whole
// plane: the six triangles about every other corner are the triangle's
// images under the three mirrors through that corner, and those corners
// repeat on a hexagonal lattice of spacing size sqrt(3).
class TriangleKaleidoscopeWarp final : public WarpNode {
public:
    TriangleKaleidoscopeWarp(engine::NodePtr input, double px, double py, double size,
                             double rotation);
    const char* kind() const override { return "triangle-kaleidoscope"; }
    void mapSpan(int x, int y, int n, float fx, float fy, float* sx, float* sy) const override;

protected:
    engine::Rect sourceBounds(const engine::Rect& output) const override;

private:
    double m_px, m_py, m_size, m_rotation;
    double m_e[4], m_inv[4];  // lattice basis (columns) and its inverse
    engine::Rect m_triangle;
};

// Fades its input with distance from a point: every channel times
// decay^(distance / scale).
class DistanceDecayNode final : public engine::PointNode {
public:
    DistanceDecayNode(engine::NodePtr input, double cx, double cy, double scale, double decay);
    void applySpan(float* rgba, int n, int x, int y,
                   const engine::RenderState& state) const override;
    const char* kind() const override { return "distance-decay"; }

private:
    double m_cx, m_cy, m_k;  // m_k: ln(decay) / scale
};

}  // namespace cif::builtins
