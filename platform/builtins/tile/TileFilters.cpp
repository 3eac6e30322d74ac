// Tile built-ins: edge clamping, periodic tiling, and the symmetric tilings,
// all infinite.
//
// A symmetric tiling works in local coordinates: the point relative to the
// centre, turned back by the angle. It folds the point into one cell of its
// lattice and then into the cell's fundamental piece by the tiling's
// rotations and reflections; the input is read at that piece, turned forward
// again about the centre. Widths are in pixels, angles in radians.

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>
#include <vector>

#include "platform/builtins/BuiltinFilter.h"
#include "platform/builtins/distortion/WarpMath.h"
#include "platform/builtins/distortion/WarpNode.h"
#include "platform/builtins/geometry/ProjectiveWarp.h"

namespace cif::builtins {

namespace {

using engine::NodePtr;
using engine::Rect;
using namespace warp;

// The edges are extended first and the result transformed, so an identity
// transform reproduces the input exactly inside its extent.
CIImage affineClamp(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    return in.imageByClampingToExtent().imageByApplyingTransform(
        f.transformForKey("inputTransform"));
}

CIImage affineTile(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    return in.imageByAffineTiling(f.transformForKey("inputTransform"));
}

// ---------------------------------------------------------------- symmetric tilings

enum class Tiling {
    Kaleidoscope,         // no lattice: `count` mirrored wedges about the centre
    Op,                   // square cells, each showing its own neighbourhood scaled
    Parallelogram,        // mirrored along the first side, repeated along the second
    FourfoldTranslated,   // one parallelogram repeated
    FourfoldReflected,    // one parallelogram mirrored across both sides
    Glide,                // square, every other row mirrored (a glide reflection)
    FourfoldRotated,      // square, quarter turns about cell centres
    EightfoldReflected,   // square, mirrored across the sides and the diagonals
    SixfoldRotated,       // hexagons, sixth turns about their centres
    SixfoldReflected,     // hexagons, three mirrors through their centres
    TwelvefoldReflected,  // hexagons, six mirrors through their centres
    Triangle,             // equilateral triangles mirrored across every edge
};

struct TileParams {
    Tiling tiling;
    double cx, cy, angle, width;
    double acute = M_PI / 2;  // between the lattice sides (parallelogram lattices)
    double scale = 1;         // op tile
    int count = 6;            // kaleidoscope
};

// Dihedral or cyclic fold of the vector (x, y) about the origin: its angle is
// reduced into one of `count` equal wedges; with mirrors, into the first half
// of the wedge by reflecting the second half (continuous across the seams).
inline void foldAngle(F4& x, F4& y, float count, bool mirrors) {
    const F4 r = vsqrt(x * x + y * y);
    const F4 t = atan2v(y, x) * (count / (2 * kPi));
    F4 f = fract(t);
    if (mirrors) f = vmin(f, 1.0f - f);
    F4 s, c;
    sincosv(f * (2 * kPi / count), s, c);
    x = r * c;
    y = r * s;
}

class TileWarp final : public WarpNode {
public:
    explicit TileWarp(NodePtr input, const TileParams& p)
        : WarpNode({std::move(input)}, Rect::infinite(), Rect::infinite()), m_p(p) {
        m_cos = float(std::cos(p.angle));
        m_sin = float(std::sin(p.angle));
        m_cx = float(p.cx);
        m_cy = float(p.cy);
        const double w = p.width;
        // Lattice sides: e1 along x, e2 at the acute angle (square by default);
        // hexagonal lattices have 60 degrees and, for the triangle tiling,
        // hexagons of side w around every other vertex of the triangles.
        double e1x = w, e1y = 0, e2x = w * std::cos(p.acute), e2y = w * std::sin(p.acute);
        if (hexagonal()) {
            const double s = p.tiling == Tiling::Triangle ? w * std::sqrt(3.0) : w;
            const double psi = p.tiling == Tiling::Triangle ? M_PI / 6 : 0;
            e1x = s * std::cos(psi);
            e1y = s * std::sin(psi);
            e2x = s * std::cos(psi + M_PI / 3);
            e2y = s * std::sin(psi + M_PI / 3);
        }
        const double det = e1x * e2y - e2x * e1y;
        m_e[0] = float(e1x);
        m_e[1] = float(e1y);
        m_e[2] = float(e2x);
        m_e[3] = float(e2y);
        m_inv[0] = float(e2y / det);
        m_inv[1] = float(-e2x / det);
        m_inv[2] = float(-e1y / det);
        m_inv[3] = float(e1x / det);
        m_region = fundamentalRegion(e1x, e1y, e2x, e2y);
        if (p.tiling == Tiling::Kaleidoscope) {
            m_cone = coneWithin(inputs().front()->extent());
            buildFoldMaps();
        }
    }

    const char* kind() const override { return "tile"; }

    void mapSpan(int x, int y, int n, float fx, float fy, float* sx, float* sy) const override {
        if (m_p.tiling == Tiling::Kaleidoscope && kaleidoscopeSpan(x, y, n, fx, fy, sx, sy)) return;
        const F4 dy = f4(float(y) + fy - m_cy);
        for (int i = 0; i < n; i += 4) {
            const F4 dx = ramp(x + i, fx) - m_cx;
            // Local coordinates: turned back by the angle.
            F4 lx = m_cos * dx + m_sin * dy;
            F4 ly = m_cos * dy - m_sin * dx;
            fold(lx, ly);
            store4(sx + i, m_cx + m_cos * lx - m_sin * ly);
            store4(sy + i, m_cy + m_sin * lx + m_cos * ly);
        }
    }

protected:
    Rect sharedSource() const override {
        if (m_p.tiling == Tiling::Op) return {};
        if (m_p.tiling == Tiling::Kaleidoscope) return m_cone;
        return m_region;
    }

    Rect sourceBounds(const Rect& output) const override {
        if (m_p.tiling == Tiling::Op) {
            const double reach = m_p.width * M_SQRT1_2 * std::abs(m_p.scale - 1) + 1;
            return output.inset(-reach, -reach);
        }
        if (m_p.tiling == Tiling::Kaleidoscope) {
            // Points keep their distance from the centre.
            if (output.isInfinite() || output.isUnbounded()) return Rect::infinite();
            const double dx =
                std::max(std::abs(output.x - m_p.cx), std::abs(output.right() - m_p.cx));
            const double dy =
                std::max(std::abs(output.y - m_p.cy), std::abs(output.top() - m_p.cy));
            const double r = std::hypot(dx, dy) + 1;
            return {m_p.cx - r, m_p.cy - r, 2 * r, 2 * r};
        }
        return m_region;
    }

private:
    // Within one half-wedge the kaleidoscope's fold is one fixed rotation or
    // reflection (precomputed per half-wedge). When a whole grid block, or
    // else the whole grid row holding a span, lies in a single half-wedge
    // (they are convex, so its corners decide), its points are mapped by
    // that linear map instead of being folded one by one. The choice is made
    // on the grid block or row, never on the span, so it does not depend on
    // how the output is split into tiles.
    static int gridStart(int v) {
        constexpr int kB = WarpNode::kBlock;
        return v >= 0 ? v / kB * kB : -((-v + kB - 1) / kB) * kB;
    }

    // The half-wedge (0 .. 2 count - 1) holding the point; -1 when undecided.
    int halfWedge(double px, double py) const {
        const double t = (std::atan2(py - m_p.cy, px - m_p.cx) - m_p.angle) / (M_PI / m_p.count);
        if (!(std::abs(t) < 1e6)) return -1;
        const long pieces = 2L * m_p.count;
        return int(((long(std::floor(t)) % pieces) + pieces) % pieces);
    }

    // The linear maps of the half-wedges: local = turn(-angle) d; the fold
    // turns by -k wedge and, in odd halves, mirrors across the wedge's
    // bisector; source = turn(angle) fold.
    void buildFoldMaps() {
        const double wedge = 2 * M_PI / m_p.count;
        const double ca = std::cos(m_p.angle), sa = std::sin(m_p.angle);
        const double cw = std::cos(wedge), sw = std::sin(wedge);
        m_fold.resize(size_t(2 * m_p.count));
        for (int piece = 0; piece < 2 * m_p.count; ++piece) {
            const int k = piece / 2;
            double m[4] = {std::cos(-k * wedge), -std::sin(-k * wedge), std::sin(-k * wedge),
                           std::cos(-k * wedge)};
            if (piece % 2 == 1) {
                // reflect(wedge) turn(-k wedge - angle), then turn(angle).
                const double b = -k * wedge - m_p.angle;
                const double cb = std::cos(b), sb = std::sin(b);
                const double r[4] = {cw * cb + sw * sb, -cw * sb + sw * cb, sw * cb - cw * sb,
                                     -sw * sb - cw * cb};
                m[0] = ca * r[0] - sa * r[2];
                m[1] = ca * r[1] - sa * r[3];
                m[2] = sa * r[0] + ca * r[2];
                m[3] = sa * r[1] + ca * r[3];
            }
            for (int i = 0; i < 4; ++i)
                m_fold[size_t(piece)][size_t(i)] = float(m[i]);
        }
    }

    void linearSpan(const std::array<float, 4>& m, int x, int y, int n, float fx, float fy,
                    float* sx, float* sy) const {
        const F4 dy = f4(float(y) + fy - m_cy);
        const F4 rowX = m_cx + m[1] * dy, rowY = m_cy + m[3] * dy;
        for (int i = 0; i < n; i += 4) {
            const F4 dx = ramp(x + i, fx) - m_cx;
            store4(sx + i, rowX + m[0] * dx);
            store4(sy + i, rowY + m[2] * dx);
        }
    }

    bool kaleidoscopeSpan(int x, int y, int n, float fx, float fy, float* sx, float* sy) const {
        const int gx = gridStart(x);
        if (x + n > gx + WarpNode::kBlock) return false;
        const double py = y + double(fy);
        const int piece = halfWedge(gx + double(fx), py);
        if (piece < 0 || piece != halfWedge(gx + WarpNode::kBlock - 1 + double(fx), py))
            return false;
        linearSpan(m_fold[size_t(piece)], x, y, n, fx, fy, sx, sy);
        return true;
    }

    void mapBlock(const engine::IRect& block, float fx, float fy, float* sx, float* sy,
                  const engine::RenderState& state) const override {
        if (m_p.tiling == Tiling::Kaleidoscope) {
            const int gx = gridStart(block.x), gy = gridStart(block.y);
            const double x0 = gx + double(fx), x1 = x0 + WarpNode::kBlock - 1;
            const double y0 = gy + double(fy), y1 = y0 + WarpNode::kBlock - 1;
            const int piece = halfWedge(x0, y0);
            if (piece >= 0 && piece == halfWedge(x1, y0) && piece == halfWedge(x0, y1) &&
                piece == halfWedge(x1, y1)) {
                const size_t stride = size_t(paddedWidth(block.w));
                for (int r = 0; r < block.h; ++r)
                    linearSpan(m_fold[size_t(piece)], block.x, block.y + r, block.w, fx, fy,
                               sx + size_t(r) * stride, sy + size_t(r) * stride);
                return;
            }
        }
        WarpNode::mapBlock(block, fx, fy, sx, sy, state);
    }

    bool hexagonal() const {
        return m_p.tiling == Tiling::SixfoldRotated || m_p.tiling == Tiling::SixfoldReflected ||
               m_p.tiling == Tiling::TwelvefoldReflected || m_p.tiling == Tiling::Triangle;
    }

    // Lattice coordinates of a local point.
    void toLattice(F4 x, F4 y, F4& a, F4& b) const {
        a = m_inv[0] * x + m_inv[1] * y;
        b = m_inv[2] * x + m_inv[3] * y;
    }
    void fromLattice(F4 a, F4 b, F4& x, F4& y) const {
        x = a * m_e[0] + b * m_e[2];
        y = a * m_e[1] + b * m_e[3];
    }

    void fold(F4& x, F4& y) const {
        const float w = float(m_p.width);
        F4 a, b;
        switch (m_p.tiling) {
            case Tiling::Kaleidoscope:
                foldAngle(x, y, float(m_p.count), true);
                return;
            case Tiling::Op: {
                // The cell's centre plus the offset from it, scaled.
                const F4 kx = vfloor(x * (1.0f / w) + 0.5f) * w,
                         ky = vfloor(y * (1.0f / w) + 0.5f) * w;
                const float s = float(m_p.scale);
                x = kx + (x - kx) * s;
                y = ky + (y - ky) * s;
                return;
            }
            case Tiling::Parallelogram:
                toLattice(x, y, a, b);
                fromLattice(mirror(a), fract(b), x, y);
                return;
            case Tiling::FourfoldTranslated:
                toLattice(x, y, a, b);
                fromLattice(fract(a), fract(b), x, y);
                return;
            case Tiling::FourfoldReflected:
                toLattice(x, y, a, b);
                fromLattice(mirror(a), mirror(b), x, y);
                return;
            case Tiling::Glide: {
                toLattice(x, y, a, b);
                const F4 row = vfloor(b);
                const I4 odd = (__builtin_convertvector(row, I4) & 1) != 0;
                fromLattice(fract(select(odd, -a, a)), b - row, x, y);
                return;
            }
            case Tiling::FourfoldRotated: {
                // Cells centred on lattice points; each quadrant turned onto the
                // first one.
                toLattice(x, y, a, b);
                F4 px, py;
                fromLattice(a - vfloor(a + 0.5f), b - vfloor(b + 0.5f), px, py);
                const I4 left = px < 0.0f, below = py < 0.0f;
                const F4 qx = select(left, select(below, -px, py), select(below, -py, px));
                const F4 qy = select(left, select(below, -py, -px), select(below, px, py));
                x = qx;
                y = qy;
                return;
            }
            case Tiling::EightfoldReflected: {
                toLattice(x, y, a, b);
                const F4 u = vabs(a - vfloor(a + 0.5f)), v = vabs(b - vfloor(b + 0.5f));
                x = vmax(u, v) * w;
                y = vmin(u, v) * w;
                return;
            }
            case Tiling::SixfoldRotated:
            case Tiling::SixfoldReflected:
            case Tiling::TwelvefoldReflected:
            case Tiling::Triangle: {
                // The nearest lattice point is a corner of the rhombus holding
                // the point (each half of it is an equilateral triangle).
                toLattice(x, y, a, b);
                const F4 a0 = vfloor(a), b0 = vfloor(b);
                F4 bestX, bestY, bestD = f4(3.4e38f);
                for (int k = 0; k < 4; ++k) {
                    F4 lx, ly;
                    fromLattice(a0 + float(k & 1), b0 + float(k >> 1), lx, ly);
                    const F4 ox = x - lx, oy = y - ly;
                    const F4 d = ox * ox + oy * oy;
                    const I4 nearer = d < bestD;
                    bestD = select(nearer, d, bestD);
                    bestX = k == 0 ? ox : select(nearer, ox, bestX);
                    bestY = k == 0 ? oy : select(nearer, oy, bestY);
                }
                x = bestX;
                y = bestY;
                const float count = m_p.tiling == Tiling::SixfoldRotated ||
                                            m_p.tiling == Tiling::TwelvefoldReflected
                                        ? 6.0f
                                        : 3.0f;
                foldAngle(x, y, count, m_p.tiling != Tiling::SixfoldRotated);
                return;
            }
        }
    }

    // The box of input the folded points fall in, in input coordinates.
    Rect fundamentalRegion(double e1x, double e1y, double e2x, double e2y) const {
        double xs[4] = {0, e1x, e2x, e1x + e2x}, ys[4] = {0, e1y, e2y, e1y + e2y};
        const double w = m_p.width;
        switch (m_p.tiling) {
            case Tiling::FourfoldRotated:
            case Tiling::EightfoldReflected: {
                const double h = w / 2 + 1;
                const double sx[4] = {0, h, 0, h}, sy[4] = {0, 0, h, h};
                std::copy(sx, sx + 4, xs);
                std::copy(sy, sy + 4, ys);
                break;
            }
            case Tiling::SixfoldRotated:
            case Tiling::SixfoldReflected:
            case Tiling::TwelvefoldReflected:
            case Tiling::Triangle: {
                // Within the circumradius of the lattice's hexagons.
                const double r = std::hypot(e1x, e1y) / std::sqrt(3.0) + 1;
                const double sx[4] = {-r, r, -r, r}, sy[4] = {-r, -r, r, r};
                std::copy(sx, sx + 4, xs);
                std::copy(sy, sy + 4, ys);
                break;
            }
            default:
                break;
        }
        const double c = std::cos(m_p.angle), s = std::sin(m_p.angle);
        double x0 = 1e300, x1 = -1e300, y0 = 1e300, y1 = -1e300;
        for (int i = 0; i < 4; ++i) {
            const double px = m_p.cx + c * xs[i] - s * ys[i];
            const double py = m_p.cy + s * xs[i] + c * ys[i];
            x0 = std::min(x0, px);
            x1 = std::max(x1, px);
            y0 = std::min(y0, py);
            y1 = std::max(y1, py);
        }
        return {x0 - 1, y0 - 1, x1 - x0 + 2, y1 - y0 + 2};
    }

    // The kaleidoscope reads the sector between the angle and the angle plus
    // pi / count: its part within the input's extent, boxed (empty when the
    // input is infinite).
    Rect coneWithin(const Rect& extent) const {
        if (extent.isEmpty() || extent.isInfinite() || extent.isUnbounded()) return {};
        std::vector<std::pair<double, double>> poly = {{extent.x, extent.y},
                                                       {extent.right(), extent.y},
                                                       {extent.right(), extent.top()},
                                                       {extent.x, extent.top()}};
        // Keeps the side where (dx, dy) x (p - c) has the given sign.
        const auto clip = [&](double dx, double dy, double sign) {
            std::vector<std::pair<double, double>> kept;
            const auto side = [&](const std::pair<double, double>& q) {
                return sign * (dx * (q.second - m_p.cy) - dy * (q.first - m_p.cx));
            };
            for (size_t i = 0; i < poly.size(); ++i) {
                const auto& a = poly[i];
                const auto& b = poly[(i + 1) % poly.size()];
                const double sa = side(a), sb = side(b);
                if (sa >= 0) kept.push_back(a);
                if ((sa >= 0) != (sb >= 0)) {
                    const double t = sa / (sa - sb);
                    kept.push_back(
                        {a.first + t * (b.first - a.first), a.second + t * (b.second - a.second)});
                }
            }
            poly = std::move(kept);
        };
        const double a0 = m_p.angle, a1 = m_p.angle + M_PI / m_p.count;
        clip(std::cos(a0), std::sin(a0), 1);
        clip(std::cos(a1), std::sin(a1), -1);
        if (poly.empty()) return {};
        double x0 = 1e300, x1 = -1e300, y0 = 1e300, y1 = -1e300;
        for (const auto& [x, y] : poly) {
            x0 = std::min(x0, x);
            x1 = std::max(x1, x);
            y0 = std::min(y0, y);
            y1 = std::max(y1, y);
        }
        // A pixel of slack for the rounding of the fold near the rays.
        return Rect{x0, y0, x1 - x0, y1 - y0}.inset(-1, -1);
    }

    TileParams m_p;
    Rect m_cone;
    std::vector<std::array<float, 4>> m_fold;  // per half-wedge of the kaleidoscope
    float m_cos = 1, m_sin = 0, m_cx = 0, m_cy = 0;
    float m_e[4] = {}, m_inv[4] = {};
    Rect m_region;
};

// Widths below this give no sensible tiling; the input is returned.
constexpr double kMinWidth = 0.5;
constexpr double kMaxWidth = 1e6;

CIImage symmetricTile(const CIFilter& f, Tiling tiling) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const CIVector c = f.vectorForKey("inputCenter");
    TileParams p{tiling, c.X(), c.Y(), f.numberForKey("inputAngle"), 100};
    if (!std::isfinite(p.cx) || !std::isfinite(p.cy) || std::abs(p.cx) > kMaxWidth ||
        std::abs(p.cy) > kMaxWidth)
        return in;
    p.angle = std::remainder(p.angle, 2 * M_PI);
    if (tiling == Tiling::Kaleidoscope) {
        p.count = int(std::clamp(std::round(f.numberForKey("inputCount")), 1.0, 256.0));
    } else {
        p.width = f.numberForKey("inputWidth");
        if (!(p.width >= kMinWidth) || p.width > kMaxWidth) return in;
    }
    if (tiling == Tiling::Parallelogram || tiling == Tiling::FourfoldTranslated ||
        tiling == Tiling::FourfoldReflected) {
        p.acute = std::remainder(f.numberForKey("inputAcuteAngle"), 2 * M_PI);
        // A flat parallelogram has no area to tile with.
        if (std::abs(std::sin(p.acute)) < 1e-3) return in;
    }
    if (tiling == Tiling::Op) p.scale = std::clamp(f.numberForKey("inputScale"), 0.0, 1e3);
    return CIImage::imageWithNode(std::make_shared<TileWarp>(in.node(), p));
}

CIImage kaleidoscope(const CIFilter& f) {
    return symmetricTile(f, Tiling::Kaleidoscope);
}
CIImage opTile(const CIFilter& f) {
    return symmetricTile(f, Tiling::Op);
}
CIImage parallelogramTile(const CIFilter& f) {
    return symmetricTile(f, Tiling::Parallelogram);
}
CIImage fourfoldTranslated(const CIFilter& f) {
    return symmetricTile(f, Tiling::FourfoldTranslated);
}
CIImage fourfoldReflected(const CIFilter& f) {
    return symmetricTile(f, Tiling::FourfoldReflected);
}
CIImage glideReflected(const CIFilter& f) {
    return symmetricTile(f, Tiling::Glide);
}
CIImage fourfoldRotated(const CIFilter& f) {
    return symmetricTile(f, Tiling::FourfoldRotated);
}
CIImage eightfoldReflected(const CIFilter& f) {
    return symmetricTile(f, Tiling::EightfoldReflected);
}
CIImage sixfoldRotated(const CIFilter& f) {
    return symmetricTile(f, Tiling::SixfoldRotated);
}
CIImage sixfoldReflected(const CIFilter& f) {
    return symmetricTile(f, Tiling::SixfoldReflected);
}
CIImage twelvefoldReflected(const CIFilter& f) {
    return symmetricTile(f, Tiling::TwelvefoldReflected);
}
CIImage triangleTile(const CIFilter& f) {
    return symmetricTile(f, Tiling::Triangle);
}

// The input's extent is carried onto the four corners and repeated across
// the plane they define.
CIImage perspectiveTile(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    if (in.isInfinite()) return in;
    const CIVector bl = f.vectorForKey("inputBottomLeft"), br = f.vectorForKey("inputBottomRight");
    const CIVector tr = f.vectorForKey("inputTopRight"), tl = f.vectorForKey("inputTopLeft");
    const Quad q{{bl.X(), bl.Y()}, {br.X(), br.Y()}, {tr.X(), tr.Y()}, {tl.X(), tl.Y()}};
    const auto node = ProjectiveWarp::fromQuad(in.node(), in.node()->extent(), q, true);
    return node ? CIImage::imageWithNode(node) : in;
}

}  // namespace

std::vector<BuiltinDef> tileBuiltins() {
    return {
        {"CIAffineClamp", affineClamp},
        {"CIAffineTile", affineTile},
        {"CIEightfoldReflectedTile", eightfoldReflected},
        {"CIFourfoldReflectedTile", fourfoldReflected},
        {"CIFourfoldRotatedTile", fourfoldRotated},
        {"CIFourfoldTranslatedTile", fourfoldTranslated},
        {"CIGlideReflectedTile", glideReflected},
        {"CIKaleidoscope", kaleidoscope},
        {"CIOpTile", opTile},
        {"CIParallelogramTile", parallelogramTile},
        {"CIPerspectiveTile", perspectiveTile},
        {"CISixfoldReflectedTile", sixfoldReflected},
        {"CISixfoldRotatedTile", sixfoldRotated},
        {"CITwelvefoldReflectedTile", twelvefoldReflected},
        {"CITriangleTile", triangleTile},
    };
}

}  // namespace cif::builtins
