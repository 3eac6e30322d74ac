#include "platform/builtins/geometry/HomographyWarp.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "platform/builtins/distortion/WarpMath.h"

namespace cif::builtins {

using engine::IRect;
using engine::NodePtr;
using engine::Rect;
using namespace warp;

void multiply3(const double a[9], const double b[9], double out[9]) {
    double r[9];
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            r[3 * i + j] = a[3 * i] * b[j] + a[3 * i + 1] * b[3 + j] + a[3 * i + 2] * b[6 + j];
    std::copy(r, r + 9, out);
}

bool invert3(const double m[9], double out[9]) {
    double r[9];
    r[0] = m[4] * m[8] - m[5] * m[7];
    r[1] = m[2] * m[7] - m[1] * m[8];
    r[2] = m[1] * m[5] - m[2] * m[4];
    r[3] = m[5] * m[6] - m[3] * m[8];
    r[4] = m[0] * m[8] - m[2] * m[6];
    r[5] = m[2] * m[3] - m[0] * m[5];
    r[6] = m[3] * m[7] - m[4] * m[6];
    r[7] = m[1] * m[6] - m[0] * m[7];
    r[8] = m[0] * m[4] - m[1] * m[3];
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

std::shared_ptr<const HomographyWarp> HomographyWarp::make(NodePtr input, const Rect& extent,
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
    for (int r = 0; r < 3; ++r) {
        rel[3 * r] = matrix[3 * r];
        rel[3 * r + 1] = matrix[3 * r + 1];
        rel[3 * r + 2] = matrix[3 * r] * ox + matrix[3 * r + 1] * oy + matrix[3 * r + 2];
    }
    return std::make_shared<HomographyWarp>(std::move(input), extent, rel, ox, oy);
}

HomographyWarp::HomographyWarp(NodePtr input, const Rect& extent, const double matrix[9],
                               double originX, double originY)
    : WarpNode({std::move(input)}, extent, Rect::infinite()),
      m_ox(originX),
      m_oy(originY),
      m_oxf(float(originX)),
      m_oyf(float(originY)) {
    // Scaled so the divisor is near 1 at the origin: float keeps its
    // precision there.
    const double norm = std::abs(matrix[8]) > 1e-12 ? 1.0 / std::abs(matrix[8]) : 1.0;
    for (int i = 0; i < 9; ++i) {
        m_m[i] = matrix[i] * norm;
        m_f[i] = float(m_m[i]);
    }
}

bool HomographyWarp::sourcePoint(double x, double y, double& sx, double& sy) const {
    return project(m_m, x - m_ox, y - m_oy, sx, sy);
}

void HomographyWarp::mapSpan(int x, int y, int n, float fx, float fy, float* sx, float* sy) const {
    const float* m = m_f;
    const float py = float(y) + fy - m_oyf;
    const F4 rowU = f4(m[1] * py + m[2]), rowV = f4(m[4] * py + m[5]), rowW = f4(m[7] * py + m[8]);
    const F4 nan = f4(std::numeric_limits<float>::quiet_NaN());
    for (int i = 0; i < n; i += 4) {
        const F4 px = ramp(x + i, fx) - m_oxf;
        const F4 w = m[6] * px + rowW;
        const F4 inv = 1.0f / w;
        const F4 u = (m[0] * px + rowU) * inv, v = (m[3] * px + rowV) * inv;
        const I4 behind = w <= 0.0f;
        store4(sx + i, select(behind, nan, u));
        store4(sy + i, select(behind, nan, v));
    }
}

Rect HomographyWarp::sourceBounds(const Rect& output) const {
    if (output.isInfinite() || output.isUnbounded()) return Rect::infinite();
    // Lines map to lines: a rectangle wholly on the visible side maps into
    // the box of its mapped corners.
    const double cx[4] = {output.x, output.right(), output.right(), output.x};
    const double cy[4] = {output.y, output.y, output.top(), output.top()};
    double x0 = std::numeric_limits<double>::infinity(), x1 = -x0, y0 = x0, y1 = -x0;
    for (int i = 0; i < 4; ++i) {
        double sx, sy;
        if (!sourcePoint(cx[i], cy[i], sx, sy)) return Rect::infinite();
        x0 = std::min(x0, sx);
        x1 = std::max(x1, sx);
        y0 = std::min(y0, sy);
        y1 = std::max(y1, sy);
    }
    return {x0, y0, x1 - x0, y1 - y0};
}

int HomographyWarp::supersampling(const IRect& block) const {
    const double xs[4] = {double(block.x), double(block.right()), double(block.right()),
                          double(block.x)};
    const double ys[4] = {double(block.y), double(block.y), double(block.top()),
                          double(block.top())};
    double px[4], py[4];
    for (int i = 0; i < 4; ++i)
        if (!sourcePoint(xs[i], ys[i], px[i], py[i])) return 4;
    double stretch = 0;
    for (int i = 0; i < 4; ++i) {
        const int j = (i + 1) % 4;
        const double side = (i % 2 == 0) ? block.w : block.h;
        stretch = std::max(stretch, std::hypot(px[j] - px[i], py[j] - py[i]) / side);
    }
    if (!(stretch <= 1.5)) return stretch <= 3 ? 2 : 4;
    return 1;
}

}  // namespace cif::builtins
