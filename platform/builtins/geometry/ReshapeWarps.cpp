#include "platform/builtins/geometry/ReshapeWarps.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace cif::builtins {

using engine::IRect;
using engine::NodePtr;
using engine::Rect;

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

Rect boxAround(double cx, double cy, double r) {
    return {cx - r, cy - r, 2 * r, 2 * r};
}

}  // namespace

// ---------------------------------------------------------------- nearest

NearestWarp::NearestWarp(NodePtr input, const engine::Affine& transform)
    : WarpNode({input}, transform.mapRect(input->extent()), Rect::infinite()),
      m_inverse(transform.inverted()) {}

void NearestWarp::mapSpan(int x, int y, int n, float fx, float fy, float* sx, float* sy) const {
    const double py = y + double(fy);
    for (int i = 0; i < n; ++i) {
        double u, v;
        m_inverse.map(x + i + double(fx), py, u, v);
        // The centre of the pixel holding the point: bilinear there reads
        // that pixel alone.
        sx[i] = float(std::floor(u) + 0.5);
        sy[i] = float(std::floor(v) + 0.5);
    }
}

Rect NearestWarp::sourceBounds(const Rect& output) const {
    if (output.isInfinite() || output.isUnbounded()) return Rect::infinite();
    return m_inverse.mapRect(output).inset(-1, -1);
}

// ---------------------------------------------------------------- axis maps

double AxisMap::at(double x) const {
    switch (kind) {
        case Kind::Stretch: {
            const double u = 2 * (x - from) / length - 1;
            return centre + ((1 - s) * u + s * u * std::abs(u)) * half;
        }
        case Kind::NineStretch:
            if (x < b0) return x;
            if (x >= b1 + grow) return x - grow;
            return b0 + (x - b0) * (b1 - b0) / (b1 - b0 + grow);
        case Kind::NineTile: {
            if (x < b0) return x;
            if (x >= b1 + grow) return x - grow;
            const double period = b1 - b0, t = x - b0;
            const double k = std::floor(t / period), f = t - k * period;
            const bool odd = std::fmod(k, 2.0) != 0;
            return flip && odd ? b1 - f : b0 + f;
        }
    }
    return x;
}

void AxisMap::range(double x0, double x1, double& lo, double& hi) const {
    // Every kind is non-decreasing, except the repeated middle of NineTile,
    // which stays within [b0, b1].
    lo = std::min(at(x0), at(x1));
    hi = std::max(at(x0), at(x1));
    if (kind == Kind::NineTile && x1 >= b0 && x0 < b1 + grow) {
        lo = std::min(lo, b0);
        hi = std::max(hi, b1);
    }
}

AxisMapWarp::AxisMapWarp(NodePtr input, const Rect& extent, const AxisMap& x, const AxisMap& y)
    : WarpNode({input}, extent, Rect::infinite()), m_x(x), m_y(y) {}

void AxisMapWarp::mapSpan(int x, int y, int n, float fx, float fy, float* sx, float* sy) const {
    const float v = float(m_y.at(y + double(fy)));
    for (int i = 0; i < n; ++i) {
        sx[i] = float(m_x.at(x + i + double(fx)));
        sy[i] = v;
    }
}

Rect AxisMapWarp::sourceBounds(const Rect& output) const {
    if (output.isInfinite() || output.isUnbounded()) return Rect::infinite();
    double x0, x1, y0, y1;
    m_x.range(output.x, output.right(), x0, x1);
    m_y.range(output.y, output.top(), y0, y1);
    return Rect{x0, y0, x1 - x0, y1 - y0}.inset(-1, -1);
}

// ---------------------------------------------------------------- Droste

DrosteWarp::DrosteWarp(NodePtr input, const Rect& inner, double periodicity, double strands,
                       double rotation, double zoom)
    : WarpNode({input}, Rect::infinite(), Rect::infinite()),
      m_outer(input->extent()),
      m_inner(inner) {
    m_k = 0.5 * (inner.w / m_outer.w + inner.h / m_outer.h);
    m_logK = std::log(m_k);
    // The fixed point c of x -> c + k (x - c) taking the outer centre to the
    // inner one.
    const double ox = m_outer.x + m_outer.w / 2, oy = m_outer.y + m_outer.h / 2;
    const double ix = inner.x + inner.w / 2, iy = inner.y + inner.h / 2;
    m_cx = (ix - m_k * ox) / (1 - m_k);
    m_cy = (iy - m_k * oy) / (1 - m_k);
    m_gRe = periodicity;
    m_gIm = strands * -m_logK / (2 * M_PI);
    m_shiftRe = -std::log(zoom);
    m_shiftIm = rotation;
}

void DrosteWarp::mapSpan(int x, int y, int n, float fx, float fy, float* sx, float* sy) const {
    const double dy = y + double(fy) - m_cy;
    const double period = -m_logK;
    // The wrap puts the log-radius within one copy below the outer
    // rectangle's farthest corner; the steps below find the copy in the
    // picture from there.
    double far = 0;
    for (const double ox : {m_outer.x, m_outer.right()})
        for (const double oy : {m_outer.y, m_outer.top()})
            far = std::max(far, std::hypot(ox - m_cx, oy - m_cy));
    const double base = std::log(std::max(far, 1e-9)) - period;
    for (int i = 0; i < n; ++i) {
        const double dx = x + i + double(fx) - m_cx;
        const double r2 = dx * dx + dy * dy;
        if (!(r2 > 1e-18)) {
            sx[i] = sy[i] = kNaN;
            continue;
        }
        const double lr = 0.5 * std::log(r2), th = std::atan2(dy, dx);
        double re = lr * m_gRe - th * m_gIm + m_shiftRe;
        const double im = lr * m_gIm + th * m_gRe + m_shiftIm;
        re = base + (re - base - period * std::floor((re - base) / period));
        const double rho = std::exp(re);
        double px = m_cx + rho * std::cos(im), py = m_cy + rho * std::sin(im);
        // Into the picture and out of its inner rectangle, one copy at a time.
        bool found = false;
        for (int step = 0; step < 12; ++step) {
            const bool inOuter =
                px >= m_outer.x && px < m_outer.right() && py >= m_outer.y && py < m_outer.top();
            const bool inInner =
                px >= m_inner.x && px < m_inner.right() && py >= m_inner.y && py < m_inner.top();
            if (inOuter && !inInner) {
                found = true;
                break;
            }
            const double f = inInner ? 1 / m_k : m_k;
            px = m_cx + (px - m_cx) * f;
            py = m_cy + (py - m_cy) * f;
        }
        sx[i] = found ? float(px) : kNaN;
        sy[i] = found ? float(py) : kNaN;
    }
}

Rect DrosteWarp::sourceBounds(const Rect&) const {
    return m_outer.inset(-1, -1);
}

// ---------------------------------------------------------------- light tunnel

namespace {
constexpr double kTunnelDepth = 64;
}

LightTunnelWarp::LightTunnelWarp(NodePtr input, double cx, double cy, double radius,
                                 double rotation)
    : WarpNode({input},
               warpedExtent(input->extent(), boxAround(cx, cy, radius),
                            boxAround(cx, cy, radius * kTunnelDepth)),
               boxAround(cx, cy, radius)),
      m_cx(cx),
      m_cy(cy),
      m_r(radius),
      m_rotation(rotation),
      m_disc(boxAround(cx, cy, radius)),
      m_region(boxAround(cx, cy, radius * kTunnelDepth + 1)) {}

void LightTunnelWarp::mapSpan(int x, int y, int n, float fx, float fy, float* sx, float* sy) const {
    const double py = y + double(fy), dy = py - m_cy;
    const double r2 = m_r * m_r;
    for (int i = 0; i < n; ++i) {
        const double px = x + i + double(fx), dx = px - m_cx;
        const double d2 = dx * dx + dy * dy;
        if (d2 >= r2) {
            sx[i] = float(px);
            sy[i] = float(py);
            continue;
        }
        const double d = std::sqrt(d2);
        if (!(d * kTunnelDepth > m_r)) {
            sx[i] = sy[i] = kNaN;
            continue;
        }
        const double rho = r2 / d;
        const double phi = std::atan2(dy, dx) + m_rotation * std::log(m_r / d);
        sx[i] = float(m_cx + rho * std::cos(phi));
        sy[i] = float(m_cy + rho * std::sin(phi));
    }
}

Rect LightTunnelWarp::sourceBounds(const Rect& output) const {
    return boundsWithFixedRegion(output, m_disc, m_region);
}

// ---------------------------------------------------------------- triangle kaleidoscope

TriangleKaleidoscopeWarp::TriangleKaleidoscopeWarp(NodePtr input, double px, double py, double size,
                                                   double rotation)
    : WarpNode({input}, Rect::infinite(), Rect::infinite()),
      m_px(px),
      m_py(py),
      m_size(size),
      m_rotation(rotation) {
    const double s = size * std::sqrt(3.0);
    m_e[0] = s * std::cos(rotation + M_PI / 6);
    m_e[1] = s * std::sin(rotation + M_PI / 6);
    m_e[2] = s * std::cos(rotation + M_PI / 2);
    m_e[3] = s * std::sin(rotation + M_PI / 2);
    const double det = m_e[0] * m_e[3] - m_e[2] * m_e[1];
    m_inv[0] = m_e[3] / det;
    m_inv[1] = -m_e[2] / det;
    m_inv[2] = -m_e[1] / det;
    m_inv[3] = m_e[0] / det;
    const double xs[3] = {px, px + size * std::cos(rotation),
                          px + size * std::cos(rotation + M_PI / 3)};
    const double ys[3] = {py, py + size * std::sin(rotation),
                          py + size * std::sin(rotation + M_PI / 3)};
    const double x0 = *std::min_element(xs, xs + 3), x1 = *std::max_element(xs, xs + 3);
    const double y0 = *std::min_element(ys, ys + 3), y1 = *std::max_element(ys, ys + 3);
    m_triangle = Rect{x0, y0, x1 - x0, y1 - y0}.inset(-1, -1);
}

void TriangleKaleidoscopeWarp::mapSpan(int x, int y, int n, float fx, float fy, float* sx,
                                       float* sy) const {
    const double qy = y + double(fy) - m_py;
    const double third = 2 * M_PI / 3;
    for (int i = 0; i < n; ++i) {
        const double qx = x + i + double(fx) - m_px;
        // The nearest lattice corner: one of the four of the rhombus cell.
        const double a = m_inv[0] * qx + m_inv[1] * qy, b = m_inv[2] * qx + m_inv[3] * qy;
        const double a0 = std::floor(a), b0 = std::floor(b);
        double ox = 0, oy = 0, best = std::numeric_limits<double>::infinity();
        for (int k = 0; k < 4; ++k) {
            const double la = a0 + (k & 1), lb = b0 + (k >> 1);
            const double cx = qx - (la * m_e[0] + lb * m_e[2]);
            const double cy = qy - (la * m_e[1] + lb * m_e[3]);
            const double d = cx * cx + cy * cy;
            if (d < best) {
                best = d;
                ox = cx;
                oy = cy;
            }
        }
        // The angle from the first side, folded into [0, pi/3] by the three
        // mirrors through the corner.
        const double r = std::sqrt(best);
        double t = std::atan2(oy, ox) - m_rotation;
        t -= third * std::floor(t / third);
        t = std::min(t, third - t);
        sx[i] = float(m_px + r * std::cos(t + m_rotation));
        sy[i] = float(m_py + r * std::sin(t + m_rotation));
    }
}

Rect TriangleKaleidoscopeWarp::sourceBounds(const Rect&) const {
    return m_triangle;
}

// ---------------------------------------------------------------- decay

DistanceDecayNode::DistanceDecayNode(NodePtr input, double cx, double cy, double scale,
                                     double decay)
    : PointNode(std::move(input)), m_cx(cx), m_cy(cy), m_k(std::log(decay) / scale) {}

void DistanceDecayNode::applySpan(float* rgba, int n, int x, int y,
                                  const engine::RenderState&) const {
    const double dy = y + 0.5 - m_cy;
    for (int i = 0; i < n; ++i, rgba += 4) {
        const double dx = x + i + 0.5 - m_cx;
        const float f = float(std::exp(m_k * std::sqrt(dx * dx + dy * dy)));
        for (int c = 0; c < 4; ++c)
            rgba[c] *= f;
    }
}

}  // namespace cif::builtins
