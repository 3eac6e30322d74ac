#include "platform/builtins/geometry/ProjectiveWarp.h"

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

void adjugate3(const double m[9], double r[9]) {
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

// m with its translation column taken relative to (ox, oy): the same map of
// points given relative to that origin.
void relativeTo(const double m[9], double ox, double oy, double rel[9]) {
    for (int r = 0; r < 3; ++r) {
        rel[3 * r] = m[3 * r];
        rel[3 * r + 1] = m[3 * r + 1];
        rel[3 * r + 2] = m[3 * r] * ox + m[3 * r + 1] * oy + m[3 * r + 2];
    }
}

}  // namespace

void multiply3(const double a[9], const double b[9], double out[9]) {
    double r[9];
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            r[3 * i + j] = a[3 * i] * b[j] + a[3 * i + 1] * b[3 + j] + a[3 * i + 2] * b[6 + j];
    std::copy(r, r + 9, out);
}

bool invert3(const double m[9], double out[9]) {
    double r[9];
    adjugate3(m, r);
    const double det = m[0] * r[0] + m[1] * r[3] + m[2] * r[6];
    if (!(std::abs(det) > 1e-300) || !std::isfinite(det)) return false;
    for (int i = 0; i < 9; ++i)
        out[i] = r[i] / det;
    return true;
}

bool project(const double m[9], double x, double y, double& ox, double& oy) {
    const double w = m[6] * x + m[7] * y + m[8];
    if (!(w > 0)) return false;
    ox = (m[0] * x + m[1] * y + m[2]) / w;
    oy = (m[3] * x + m[4] * y + m[5]) / w;
    return std::isfinite(ox) && std::isfinite(oy);
}

void squareToQuad(const double p[8], double m[9]) {
    const double x0 = p[0], y0 = p[1], x1 = p[2], y1 = p[3];
    const double x2 = p[4], y2 = p[5], x3 = p[6], y3 = p[7];
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

std::shared_ptr<const ProjectiveWarp> ProjectiveWarp::fromQuad(NodePtr input, const Rect& reference,
                                                               const Quad& quad, bool tile) {
    if (reference.isEmpty() || reference.isUnbounded() || !convexQuad(quad)) return nullptr;
    const double corners[8] = {quad.bl[0], quad.bl[1], quad.br[0], quad.br[1],
                               quad.tr[0], quad.tr[1], quad.tl[0], quad.tl[1]};
    double fwd[9], inv[9];
    squareToQuad(corners, fwd);
    adjugate3(fwd, inv);
    // Points relative to the quadrilateral's centre keep float arithmetic
    // accurate near it.
    const double ox = (quad.bl[0] + quad.br[0] + quad.tr[0] + quad.tl[0]) / 4;
    const double oy = (quad.bl[1] + quad.br[1] + quad.tr[1] + quad.tl[1]) / 4;
    double rel[9];
    relativeTo(inv, ox, oy, rel);
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
    return std::make_shared<ProjectiveWarp>(std::move(input), extent, rel, ox, oy, reference, tile,
                                            true);
}

std::shared_ptr<const ProjectiveWarp> ProjectiveWarp::fromMatrix(NodePtr input, const Rect& extent,
                                                                 const double matrix[9]) {
    double scale = 0;
    for (int i = 0; i < 9; ++i) {
        if (!std::isfinite(matrix[i])) return nullptr;
        scale = std::max(scale, std::abs(matrix[i]));
    }
    double inv[9];
    if (!(scale > 0) || !invert3(matrix, inv)) return nullptr;
    // Points relative to the extent's centre keep float arithmetic accurate
    // near it.
    const bool bounded = !extent.isInfinite() && !extent.isUnbounded() && !extent.isEmpty();
    const double ox = bounded ? extent.x + extent.w / 2 : 0,
                 oy = bounded ? extent.y + extent.h / 2 : 0;
    double rel[9];
    relativeTo(matrix, ox, oy, rel);
    // Scaled so the divisor is near 1 at the origin, where float keeps its
    // precision; by a positive factor, which keeps the visible side.
    const double norm = std::abs(rel[8]) > 1e-12 ? 1.0 / std::abs(rel[8]) : 1.0;
    for (double& v : rel)
        v *= norm;
    return std::make_shared<ProjectiveWarp>(std::move(input), extent, rel, ox, oy, Rect{0, 0, 1, 1},
                                            false, false);
}

ProjectiveWarp::ProjectiveWarp(NodePtr input, Rect extent, const double matrix[9], double originX,
                               double originY, const Rect& reference, bool tile, bool quad)
    : WarpNode({std::move(input)}, extent, Rect::infinite()),
      m_ox(originX),
      m_oy(originY),
      m_oxf(float(originX)),
      m_oyf(float(originY)),
      m_reference(reference),
      m_tile(tile),
      m_quad(quad) {
    for (int i = 0; i < 9; ++i) {
        m_m[i] = matrix[i];
        m_f[i] = float(matrix[i]);
    }
}

const char* ProjectiveWarp::kind() const {
    return !m_quad ? "homography" : m_tile ? "perspective-tile" : "perspective";
}

bool ProjectiveWarp::sourcePoint(double x, double y, double& sx, double& sy) const {
    return project(m_m, x - m_ox, y - m_oy, sx, sy);
}

void ProjectiveWarp::mapSpan(int x, int y, int n, float fx, float fy, float* sx, float* sy) const {
    const float* m = m_f;
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
        if (m_quad) {
            u = rx + u * rw;
            v = ry + v * rh;
        }
        const I4 behind = w <= 0.0f;
        store4(sx + i, select(behind, nan, u));
        store4(sy + i, select(behind, nan, v));
    }
}

Rect ProjectiveWarp::sourceBounds(const Rect& output) const {
    if (m_tile) return m_reference;
    if (output.isInfinite() || output.isUnbounded()) return Rect::infinite();
    // Lines map to lines: a rectangle wholly on the visible side maps into
    // the box of its mapped corners.
    const double cx[4] = {output.x, output.right(), output.right(), output.x};
    const double cy[4] = {output.y, output.y, output.top(), output.top()};
    double u0 = std::numeric_limits<double>::infinity(), u1 = -u0, v0 = u0, v1 = -u0;
    for (int i = 0; i < 4; ++i) {
        double u, v;
        if (!sourcePoint(cx[i], cy[i], u, v)) return Rect::infinite();
        u0 = std::min(u0, u);
        u1 = std::max(u1, u);
        v0 = std::min(v0, v);
        v1 = std::max(v1, v);
    }
    return {m_reference.x + u0 * m_reference.w, m_reference.y + v0 * m_reference.h,
            (u1 - u0) * m_reference.w, (v1 - v0) * m_reference.h};
}

int ProjectiveWarp::supersampling(const IRect& block) const {
    // Input distance covered per output pixel along the block's edges.
    const double xs[4] = {double(block.x), double(block.right()), double(block.right()),
                          double(block.x)};
    const double ys[4] = {double(block.y), double(block.y), double(block.top()),
                          double(block.top())};
    double pu[4], pv[4];
    for (int i = 0; i < 4; ++i) {
        if (!sourcePoint(xs[i], ys[i], pu[i], pv[i])) return 4;
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
