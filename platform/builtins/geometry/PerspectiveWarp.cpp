#include "platform/builtins/geometry/PerspectiveWarp.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "platform/builtins/distortion/WarpMath.h"

namespace cif::builtins {

using engine::IRect;
using engine::NodePtr;
using engine::Rect;
using namespace warp;

namespace {

double cross(const double* o, const double* a, const double* b) {
    return (a[0] - o[0]) * (b[1] - o[1]) - (a[1] - o[1]) * (b[0] - o[0]);
}

// Convex, with every turn the same way and no corner on a line.
bool convexQuad(const Quad& q) {
    const double* p[4] = {q.bl, q.br, q.tr, q.tl};
    for (const double* c : p)
        if (!std::isfinite(c[0]) || !std::isfinite(c[1]) || std::abs(c[0]) > 1e7 ||
            std::abs(c[1]) > 1e7)
            return false;
    int sign = 0;
    for (int i = 0; i < 4; ++i) {
        const double z = cross(p[i], p[(i + 1) % 4], p[(i + 2) % 4]);
        if (!(std::abs(z) > 1e-9)) return false;
        const int s = z > 0 ? 1 : -1;
        if (sign != 0 && s != sign) return false;
        sign = s;
    }
    return true;
}

// The matrix carrying (u, v, 1) of the unit square to homogeneous points of
// the quadrilateral: bl at (0, 0), br at (1, 0), tr at (1, 1), tl at (0, 1).
void squareToQuad(const Quad& q, double m[9]) {
    const double x0 = q.bl[0], y0 = q.bl[1], x1 = q.br[0], y1 = q.br[1];
    const double x2 = q.tr[0], y2 = q.tr[1], x3 = q.tl[0], y3 = q.tl[1];
    const double sx = x0 - x1 + x2 - x3, sy = y0 - y1 + y2 - y3;
    double g = 0, h = 0;
    if (sx != 0 || sy != 0) {
        const double dx1 = x1 - x2, dx2 = x3 - x2, dy1 = y1 - y2, dy2 = y3 - y2;
        const double den = dx1 * dy2 - dx2 * dy1;
        g = (sx * dy2 - dx2 * sy) / den;
        h = (dx1 * sy - sx * dy1) / den;
    }
    m[0] = x1 - x0 + g * x1;
    m[1] = x3 - x0 + h * x3;
    m[2] = x0;
    m[3] = y1 - y0 + g * y1;
    m[4] = y3 - y0 + h * y3;
    m[5] = y0;
    m[6] = g;
    m[7] = h;
    m[8] = 1;
}

void adjugate(const double m[9], double r[9]) {
    r[0] = m[4] * m[8] - m[5] * m[7];
    r[1] = m[2] * m[7] - m[1] * m[8];
    r[2] = m[1] * m[5] - m[2] * m[4];
    r[3] = m[5] * m[6] - m[3] * m[8];
    r[4] = m[0] * m[8] - m[2] * m[6];
    r[5] = m[2] * m[3] - m[0] * m[5];
    r[6] = m[3] * m[7] - m[4] * m[6];
    r[7] = m[1] * m[6] - m[0] * m[7];
    r[8] = m[0] * m[4] - m[1] * m[3];
}

}  // namespace

std::shared_ptr<const PerspectiveWarp> PerspectiveWarp::make(NodePtr input, const Rect& reference,
                                                             const Quad& quad, bool tile) {
    if (reference.isEmpty() || reference.isUnbounded() || !convexQuad(quad)) return nullptr;
    double fwd[9], inv[9];
    squareToQuad(quad, fwd);
    adjugate(fwd, inv);
    // Points relative to the quadrilateral's centre keep float arithmetic
    // accurate near it.
    const double ox = (quad.bl[0] + quad.br[0] + quad.tr[0] + quad.tl[0]) / 4;
    const double oy = (quad.bl[1] + quad.br[1] + quad.tr[1] + quad.tl[1]) / 4;
    double rel[9];
    for (int r = 0; r < 3; ++r) {
        rel[3 * r] = inv[3 * r];
        rel[3 * r + 1] = inv[3 * r + 1];
        rel[3 * r + 2] = inv[3 * r] * ox + inv[3 * r + 1] * oy + inv[3 * r + 2];
    }
    // The centre lies inside the quadrilateral: w is positive there once the
    // sign is fixed, and positive w marks the visible side of the horizon.
    double scale = 0;
    for (double v : rel)
        scale = std::max(scale, std::abs(v));
    if (!(scale > 0) || !std::isfinite(scale) || rel[8] == 0) return nullptr;
    const double norm = (rel[8] > 0 ? 1.0 : -1.0) / scale;
    for (double& v : rel)
        v *= norm;
    Rect extent = Rect::infinite();
    if (!tile) {
        const double xs[4] = {quad.bl[0], quad.br[0], quad.tr[0], quad.tl[0]};
        const double ys[4] = {quad.bl[1], quad.br[1], quad.tr[1], quad.tl[1]};
        const double x0 = *std::min_element(xs, xs + 4), x1 = *std::max_element(xs, xs + 4);
        const double y0 = *std::min_element(ys, ys + 4), y1 = *std::max_element(ys, ys + 4);
        extent = Rect{x0, y0, x1 - x0, y1 - y0};
        // An infinite input keeps reading beyond the reference rectangle.
        if (input->extent().isInfinite()) extent = Rect::infinite();
    }
    return std::make_shared<PerspectiveWarp>(std::move(input), extent, reference, rel, ox, oy,
                                             tile);
}

PerspectiveWarp::PerspectiveWarp(NodePtr input, Rect extent, const Rect& reference,
                                 const double inverse[9], double originX, double originY, bool tile)
    : WarpNode({std::move(input)}, extent, Rect::infinite()),
      m_reference(reference),
      m_ox(originX),
      m_oy(originY),
      m_oxf(float(originX)),
      m_oyf(float(originY)),
      m_tile(tile) {
    for (int i = 0; i < 9; ++i) {
        m_inv[i] = inverse[i];
        m_invf[i] = float(inverse[i]);
    }
}

bool PerspectiveWarp::unitPoint(double x, double y, double& u, double& v) const {
    const double px = x - m_ox, py = y - m_oy;
    const double w = m_inv[6] * px + m_inv[7] * py + m_inv[8];
    if (!(w > 0)) return false;
    u = (m_inv[0] * px + m_inv[1] * py + m_inv[2]) / w;
    v = (m_inv[3] * px + m_inv[4] * py + m_inv[5]) / w;
    return std::isfinite(u) && std::isfinite(v);
}

void PerspectiveWarp::mapSpan(int x, int y, int n, float fx, float fy, float* sx, float* sy) const {
    const float* m = m_invf;
    // Relative to the origin: (x - ox) exactly as float(x) - ox per pixel.
    const float py = float(y) + fy - m_oyf;
    const F4 rowU = f4(m[1] * py + m[2]), rowV = f4(m[4] * py + m[5]), rowW = f4(m[7] * py + m[8]);
    const float rx = float(m_reference.x), ry = float(m_reference.y);
    const float rw = float(m_reference.w), rh = float(m_reference.h);
    const F4 nan = f4(std::numeric_limits<float>::quiet_NaN());
    for (int i = 0; i < n; i += 4) {
        const F4 px = ramp(x + i, fx) - m_oxf;
        const F4 w = m[6] * px + rowW;
        const F4 inv = 1.0f / w;
        F4 u = (m[0] * px + rowU) * inv, v = (m[3] * px + rowV) * inv;
        if (m_tile) {
            // Bounded before the floor so far points stay within int range.
            u = fract(vmax(vmin(u, f4(1e6f)), f4(-1e6f)));
            v = fract(vmax(vmin(v, f4(1e6f)), f4(-1e6f)));
        }
        const I4 behind = w <= 0.0f;
        store4(sx + i, select(behind, nan, rx + u * rw));
        store4(sy + i, select(behind, nan, ry + v * rh));
    }
}

Rect PerspectiveWarp::sourceBounds(const Rect& output) const {
    if (m_tile) return m_reference;
    if (output.isInfinite() || output.isUnbounded()) return Rect::infinite();
    // Lines map to lines: the source of a rectangle on the visible side is
    // the quadrilateral of its mapped corners.
    const double cx[4] = {output.x, output.right(), output.right(), output.x};
    const double cy[4] = {output.y, output.y, output.top(), output.top()};
    double u0 = std::numeric_limits<double>::infinity(), u1 = -u0, v0 = u0, v1 = -u0;
    for (int i = 0; i < 4; ++i) {
        double u, v;
        if (!unitPoint(cx[i], cy[i], u, v)) return Rect::infinite();
        u0 = std::min(u0, u);
        u1 = std::max(u1, u);
        v0 = std::min(v0, v);
        v1 = std::max(v1, v);
    }
    return {m_reference.x + u0 * m_reference.w, m_reference.y + v0 * m_reference.h,
            (u1 - u0) * m_reference.w, (v1 - v0) * m_reference.h};
}

int PerspectiveWarp::supersampling(const IRect& block) const {
    // Source distance covered per output pixel along the block's edges.
    const double xs[4] = {double(block.x), double(block.right()), double(block.right()),
                          double(block.x)};
    const double ys[4] = {double(block.y), double(block.y), double(block.top()),
                          double(block.top())};
    double pu[4], pv[4];
    for (int i = 0; i < 4; ++i) {
        if (!unitPoint(xs[i], ys[i], pu[i], pv[i])) return 4;
        pu[i] *= m_reference.w;
        pv[i] *= m_reference.h;
    }
    double stretch = 0;
    for (int i = 0; i < 4; ++i) {
        const int j = (i + 1) % 4;
        const double side = (i % 2 == 0) ? block.w : block.h;
        stretch = std::max(stretch, std::hypot(pu[j] - pu[i], pv[j] - pv[i]) / side);
    }
    // Bilinear reads alias visibly only past about 1.5 input pixels per
    // output pixel.
    if (!(stretch <= 1.5)) return stretch <= 3 ? 2 : 4;
    return 1;
}

}  // namespace cif::builtins
