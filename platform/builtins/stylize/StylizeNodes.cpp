#include "platform/builtins/stylize/StylizeNodes.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include <immintrin.h>

#include "platform/image/Pixel4.h"

// The vector helpers pass AVX-sized values between inlined functions of this
// file only; the ABI note GCC gives for them concerns nothing outside it.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace cif::builtins::stylize {

using engine::IRect;
using engine::loadPixel;
using engine::Pixel4;
using engine::PixelBuffer;
using engine::PooledBuffer;
using engine::Rect;
using engine::storePixel;

namespace {

IRect outputArea(const engine::Node& node, PixelBuffer& dst) {
    const IRect area = dst.rect().intersected(engine::coveringPixels(node.extent()));
    if (area.isEmpty()) dst.fillTransparent();
    return area;
}

IRect grow(const IRect& r, int d) {
    return {r.x - d, r.y - d, r.w + 2 * d, r.h + 2 * d};
}

uint32_t hash2(int i, int j) {
    uint32_t v = uint32_t(i) * 0x8da6b343U ^ uint32_t(j) * 0xd8163841U;
    v ^= v >> 16;
    v *= 0x7feb352dU;
    v ^= v >> 15;
    v *= 0x846ca68bU;
    v ^= v >> 16;
    return v;
}

int floorInt(double v) {
    int out = 0;
    return engine::floorToInt(v, out) ? out : (v < 0 ? -(1 << 30) : (1 << 30));
}

constexpr double kSqrt3 = 1.7320508075688772;

int floorDiv8(int v) {
    return v >= 0 ? v / 8 * 8 : -((-v + 7) / 8 * 8);
}

// Crystal sites of a tile: ni cells a row, column 0 is cell i0.
struct SiteTable {
    std::vector<float> x, y;
    int ni = 0, i0 = 0;
};

typedef float V8f __attribute__((vector_size(32)));
typedef int V8i __attribute__((vector_size(32)));

// For the eight pixels from x0 (centres x0, x0 + 1, ...) on row centre y:
// the nearest site among table rows j - 1 .. j + 1 and columns ia - 1 ..
// ib + 1, as a table index, and its squared distance.
__attribute__((target_clones("arch=x86-64-v3", "default"))) void nearestSites(
    const SiteTable& t, int j, int ia, int ib, float x0, float y, int* best, float* bestD) {
    const V8f xs = V8f{0, 1, 2, 3, 4, 5, 6, 7} + x0;
    V8f bd = V8f{} + 3.4e38f;
    V8i bi{};
    for (int r = j - 1; r <= j + 1; ++r)
        for (int c = ia - 1; c <= ib + 1; ++c) {
            const int k = r * t.ni + c;
            const float dy = y - t.y[size_t(k)];
            const V8f dx = xs - t.x[size_t(k)];
            const V8f d = dx * dx + dy * dy;
            const V8i nearer = d < bd;
            bd = nearer ? d : bd;
            bi = nearer ? V8i{} + k : bi;
        }
    std::memcpy(best, &bi, sizeof bi);
    std::memcpy(bestD, &bd, sizeof bd);
}

}  // namespace

// ---------------------------------------------------------------- cells

CellNode::CellNode(engine::NodePtr input, Kind kind, double size, double cx, double cy)
    : Node({input}, input->extent()), m_kind(kind), m_size(size), m_cx(cx), m_cy(cy) {
    switch (kind) {
        case Kind::Square:
            m_reach = int(std::ceil(size * 0.5 * std::sqrt(2.0))) + 1;
            break;
        case Kind::Hexagon:
            m_reach = int(std::ceil(size / kSqrt3)) + 1;
            break;
        case Kind::Crystal:
        case Kind::Pointillize:
            // The chosen site is no further than the pixel's own cell's site,
            // which lies within the cell's diagonal.
            m_reach = int(std::ceil(std::sqrt(2.0) * size)) + 1;
            break;
    }
}

Rect CellNode::regionOfInterest(size_t, const Rect& output) const {
    return output.inset(-m_reach, -m_reach);
}

void CellNode::crystalSite(int i, int j, double& sx, double& sy) const {
    const uint32_t h = hash2(i, j);
    sx = m_cx + (i + double(h & 0xffff) / 65536.0) * m_size;
    sy = m_cy + (j + double(h >> 16) / 65536.0) * m_size;
}

void CellNode::siteOf(double x, double y, double& sx, double& sy) const {
    const double s = m_size;
    switch (m_kind) {
        case Kind::Square:
            sx = m_cx + (floorInt((x - m_cx) / s) + 0.5) * s;
            sy = m_cy + (floorInt((y - m_cy) / s) + 0.5) * s;
            return;
        case Kind::Hexagon: {
            // Flat-topped hexagons: two rectangular lattices of centres, 3r by s,
            // the second offset by half of each; the nearer centre wins.
            const double r = s / kSqrt3, w = 3 * r;
            const double ax = m_cx + std::round((x - m_cx) / w) * w;
            const double ay = m_cy + std::round((y - m_cy) / s) * s;
            const double bx = m_cx + w / 2 + std::round((x - m_cx - w / 2) / w) * w;
            const double by = m_cy + s / 2 + std::round((y - m_cy - s / 2) / s) * s;
            const double da = (x - ax) * (x - ax) + (y - ay) * (y - ay);
            const double db = (x - bx) * (x - bx) + (y - by) * (y - by);
            sx = da <= db ? ax : bx;
            sy = da <= db ? ay : by;
            return;
        }
        case Kind::Crystal:
        case Kind::Pointillize: {
            const int i = floorInt((x - m_cx) / s), j = floorInt((y - m_cy) / s);
            double best = 1e300;
            for (int dj = -1; dj <= 1; ++dj)
                for (int di = -1; di <= 1; ++di) {
                    double px, py;
                    crystalSite(i + di, j + dj, px, py);
                    const double d = (x - px) * (x - px) + (y - py) * (y - py);
                    if (d < best) {
                        best = d;
                        sx = px;
                        sy = py;
                    }
                }
            return;
        }
    }
}

void CellNode::render(PixelBuffer& dst, const engine::RenderState& state) const {
    const IRect area = outputArea(*this, dst);
    if (area.isEmpty()) return;
    const IRect roi = grow(area, m_reach);
    PooledBuffer in(roi);
    engine::renderNode(*inputs().front(), *in, state);
    auto colourAt = [&](double sx, double sy) -> Pixel4 {
        const int px = floorInt(sx), py = floorInt(sy);
        if (px < roi.x || py < roi.y || px >= roi.right() || py >= roi.top()) return Pixel4{};
        return loadPixel(in->at(px, py));
    };
    if (m_kind == Kind::Square || m_kind == Kind::Hexagon) {
        for (int y = area.y; y < area.top(); ++y) {
            float* o = dst.at(area.x, y);
            for (int x = area.x; x < area.right(); ++x, o += 4) {
                double sx, sy;
                siteOf(x + 0.5, y + 0.5, sx, sy);
                storePixel(o, colourAt(sx, sy));
            }
        }
        dst.clearOutside(area);
        return;
    }
    // Crystals and dots: the sites and colours of every cell the area can
    // reach are computed once per tile. Pixels are searched eight at a time,
    // in groups aligned on absolute x, among the sites of the cells around
    // the group (so the answer never depends on the tiling).
    const double s = m_size;
    const int gx0 = floorDiv8(area.x), gx1 = floorDiv8(area.right() + 7);
    const int i0 = floorInt((gx0 + 0.5 - m_cx) / s) - 1, i1 = floorInt((gx1 - 0.5 - m_cx) / s) + 1;
    const int j0 = floorInt((area.y + 0.5 - m_cy) / s) - 1;
    const int j1 = floorInt((area.top() - 0.5 - m_cy) / s) + 1;
    const int ni = i1 - i0 + 1, nj = j1 - j0 + 1;
    SiteTable table;
    table.ni = ni;
    table.i0 = i0;
    table.x.resize(size_t(ni) * size_t(nj));
    table.y.resize(table.x.size());
    std::vector<Pixel4> colours(table.x.size());
    for (int j = 0; j < nj; ++j)
        for (int i = 0; i < ni; ++i) {
            double sx, sy;
            crystalSite(i0 + i, j0 + j, sx, sy);
            const size_t k = size_t(j) * size_t(ni) + size_t(i);
            table.x[k] = float(sx);
            table.y[k] = float(sy);
            colours[k] = colourAt(sx, sy);
        }
    const float dotRadius = float(0.5 * s);
    const Pixel4 white{1, 1, 1, 1};
    const int groupPixels = gx1 - gx0;
    std::vector<int> best(static_cast<size_t>(groupPixels));
    std::vector<float> bestD(static_cast<size_t>(groupPixels));
    for (int y = area.y; y < area.top(); ++y) {
        const float fy = float(y) + 0.5f;
        const int j = std::clamp(floorInt((fy - m_cy) / s) - j0, 1, nj - 2);
        // The cell columns each group spans, relative to the table.
        for (int g = gx0; g < gx1; g += 8) {
            const int ia = std::max(1, floorInt((g + 0.5 - m_cx) / s) - i0);
            const int ib = std::min(ni - 2, floorInt((g + 7.5 - m_cx) / s) - i0);
            nearestSites(table, j, ia, ib, float(g) + 0.5f, fy, best.data() + (g - gx0),
                         bestD.data() + (g - gx0));
        }
        float* o = dst.at(area.x, y);
        for (int x = area.x; x < area.right(); ++x, o += 4) {
            const size_t k = size_t(x - gx0);
            const Pixel4 c = colours[size_t(best[k])];
            if (m_kind == Kind::Crystal) {
                storePixel(o, c);
            } else {
                // A one-pixel antialiased rim between the dot and the paper.
                const float cover = std::clamp(dotRadius - std::sqrt(bestD[k]) + 0.5f, 0.0f, 1.0f);
                storePixel(o, c * cover + white * (1.0f - cover));
            }
        }
    }
    dst.clearOutside(area);
}

// ---------------------------------------------------------------- edges

namespace {

typedef float V8 __attribute__((vector_size(32)));

inline V8 load8(const float* p) {
    V8 v;
    std::memcpy(&v, p, sizeof v);
    return v;
}
inline void store8(float* p, V8 v) {
    std::memcpy(p, &v, sizeof v);
}

// Square roots of eight lanes with the SSE instruction, which the baseline
// has (std::sqrt on lanes would be eight scalar calls guarded for errno).
inline V8 sqrt8(V8 v) {
    // Halves taken and joined in registers: through memory, the wide load of
    // two narrow stores would stall on store forwarding.
    typedef float V4 __attribute__((vector_size(16)));
    const V4 lo = V4(_mm_sqrt_ps(__m128(__builtin_shufflevector(v, v, 0, 1, 2, 3))));
    const V4 hi = V4(_mm_sqrt_ps(__m128(__builtin_shufflevector(v, v, 4, 5, 6, 7))));
    return __builtin_shufflevector(lo, hi, 0, 1, 2, 3, 4, 5, 6, 7);
}

// Sobel on rows r0 (below), r1, r2 (above) of `width` floats (a multiple of
// 8) with one pixel readable on each side. Colour channels get the
// magnitude, at most the pixel's alpha; alpha is copied from r1.
__attribute__((target_clones("arch=x86-64-v3", "default"))) void sobelRow(
    const float* r0, const float* r1, const float* r2, float* out, int width, float scale) {
    const V8i alphaLane{0, 0, 0, -1, 0, 0, 0, -1};
    for (int i = 0; i < width; i += 8) {
        const V8 a0 = load8(r0 + i - 4), a1 = load8(r0 + i), a2 = load8(r0 + i + 4);
        const V8 b0 = load8(r1 + i - 4), b1 = load8(r1 + i), b2 = load8(r1 + i + 4);
        const V8 c0 = load8(r2 + i - 4), c1 = load8(r2 + i), c2 = load8(r2 + i + 4);
        const V8 gx = (a2 + c2 - a0 - c0) + 2.0f * (b2 - b0);
        const V8 gy = (c0 + c2 - a0 - a2) + 2.0f * (c1 - a1);
        const V8 m = sqrt8(gx * gx + gy * gy) * scale;
        const V8 alpha = __builtin_shufflevector(b1, b1, 3, 3, 3, 3, 7, 7, 7, 7);
        const V8 colour = m < alpha ? m : alpha;
        store8(out + i, alphaLane ? alpha : colour);
    }
}

}  // namespace

EdgesNode::EdgesNode(engine::NodePtr input, double intensity)
    : Node({input}, input->extent()), m_scale(float(intensity / 4.0)) {}

Rect EdgesNode::regionOfInterest(size_t, const Rect& output) const {
    return output.inset(-1, -1);
}

void EdgesNode::render(PixelBuffer& dst, const engine::RenderState& state) const {
    const IRect area = outputArea(*this, dst);
    if (area.isEmpty()) return;
    const int padW = (area.w + 1) / 2 * 2;
    const IRect roi{area.x - 1, area.y - 1, padW + 2, area.h + 2};
    PooledBuffer in(roi);
    engine::renderNode(*inputs().front(), *in, state);
    std::vector<float> out(size_t(padW) * 4);
    for (int y = area.y; y < area.top(); ++y) {
        const float* mid = in->at(area.x, y);
        sobelRow(in->at(area.x, y - 1), mid, in->at(area.x, y + 1), out.data(), padW * 4, m_scale);
        std::memcpy(dst.at(area.x, y), out.data(), size_t(area.w) * 4 * sizeof(float));
    }
    dst.clearOutside(area);
}

// ---------------------------------------------------------------- shaded material

ShadedMaterialNode::ShadedMaterialNode(engine::NodePtr height, engine::NodePtr shading,
                                       double scale)
    : Node({height, shading}, height->extent()),
      m_shadingPixels(engine::coveringPixels(shading->extent())),
      m_scale(float(scale)) {}

Rect ShadedMaterialNode::regionOfInterest(size_t index, const Rect& output) const {
    return index == 0 ? output.inset(-1, -1) : m_shadingPixels.toRect();
}

void ShadedMaterialNode::render(PixelBuffer& dst, const engine::RenderState& state) const {
    const IRect area = outputArea(*this, dst);
    if (area.isEmpty()) return;
    const IRect roi = grow(area, 1);
    PooledBuffer h(roi);
    engine::renderNode(*inputs()[0], *h, state);
    // The sphere picture is read whole by every tile: shared through the
    // render's cache when there is one.
    const IRect& sp = m_shadingPixels;
    std::shared_ptr<const PixelBuffer> shading;
    if (state.cache) {
        shading = state.cache->materialise(*inputs()[1], sp, state);
    } else {
        auto own = std::make_shared<PixelBuffer>(sp);
        engine::renderNode(*inputs()[1], *own, state);
        shading = std::move(own);
    }
    const float radius = 0.5f * float(std::min(sp.w, sp.h));
    const float ccx = float(sp.x) + 0.5f * float(sp.w), ccy = float(sp.y) + 0.5f * float(sp.h);
    auto luma = [](const float* p) { return 0.2126f * p[0] + 0.7152f * p[1] + 0.0722f * p[2]; };
    auto shade = [&](float u, float v) -> Pixel4 {
        // Bilinear in the sphere picture at (u, v), engine coordinates.
        const float fu = u - 0.5f - float(sp.x), fv = v - 0.5f - float(sp.y);
        const int i = std::clamp(int(std::floor(fu)), 0, sp.w - 1);
        const int j = std::clamp(int(std::floor(fv)), 0, sp.h - 1);
        const int i1 = std::min(i + 1, sp.w - 1), j1 = std::min(j + 1, sp.h - 1);
        const float a = std::clamp(fu - float(i), 0.0f, 1.0f),
                    b = std::clamp(fv - float(j), 0.0f, 1.0f);
        auto px = [&](int ii, int jj) { return loadPixel(shading->at(sp.x + ii, sp.y + jj)); };
        return (px(i, j) * (1 - a) + px(i1, j) * a) * (1 - b) +
               (px(i, j1) * (1 - a) + px(i1, j1) * a) * b;
    };
    for (int y = area.y; y < area.top(); ++y) {
        float* o = dst.at(area.x, y);
        for (int x = area.x; x < area.right(); ++x, o += 4) {
            const float gx = 0.5f * (luma(h->at(x + 1, y)) - luma(h->at(x - 1, y))) * m_scale;
            const float gy = 0.5f * (luma(h->at(x, y + 1)) - luma(h->at(x, y - 1))) * m_scale;
            // Normal (-gx, -gy, 1), normalised; its x and y place it on the sphere.
            const float inv = 1.0f / std::sqrt(gx * gx + gy * gy + 1.0f);
            const float a = h->at(x, y)[3];
            storePixel(
                o, shade(ccx - gx * inv * radius * 0.999f, ccy - gy * inv * radius * 0.999f) * a);
        }
    }
    dst.clearOutside(area);
}

}  // namespace cif::builtins::stylize
