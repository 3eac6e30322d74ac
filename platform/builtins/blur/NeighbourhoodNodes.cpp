#include "platform/builtins/blur/NeighbourhoodNodes.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <memory>

#include "platform/builtins/blur/BlurPasses.h"
#include "platform/builtins/blur/SeparableBlur.h"
#include "platform/image/Pixel4.h"

// The vector helpers below pass AVX-sized values between inlined functions
// of this file only; GCC's note that their ABI differs without AVX does not
// concern anything outside it.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace cif::builtins::blur {

using engine::IRect;
using engine::loadPixel;
using engine::Pixel4;
using engine::PixelBuffer;
using engine::PooledBuffer;
using engine::Rect;
using engine::storePixel;

namespace {

// Pixels of the output that the node computes, or empty (dst then cleared).
IRect outputArea(const engine::Node& node, PixelBuffer& dst) {
    const IRect area = dst.rect().intersected(engine::coveringPixels(node.extent()));
    if (area.isEmpty()) dst.fillTransparent();
    return area;
}

IRect grow(const IRect& r, int dx, int dy) {
    return {r.x - dx, r.y - dy, r.w + 2 * dx, r.h + 2 * dy};
}

// The zoom blur's region of interest grows with the distance to the centre;
// past this many pixels it is cut to the tile plus a margin, and samples
// beyond read transparent, so memory stays bounded.
constexpr int64_t kMaxRegionPixels = int64_t(1) << 22;

}  // namespace

// ---------------------------------------------------------------- disc

DiscBlurNode::DiscBlurNode(engine::NodePtr input, double radius)
    : Node({input}, grownExtent(input->extent(), std::floor(radius), std::floor(radius))),
      m_reach(int(std::floor(radius))) {
    for (int dy = -m_reach; dy <= m_reach; ++dy)
        m_halfWidth.push_back(int(std::floor(std::sqrt(std::max(0.0, radius * radius - dy * dy)))));
    // Segments at least as long as a disc row, so a row crosses at most one
    // segment boundary.
    m_gridShift = 6;
    while ((1 << m_gridShift) < 2 * m_reach + 2)
        ++m_gridShift;
}

// Input pixels for the output pixels `area`: the reach around them, and
// leftwards to the start of the prefix segment the leftmost disc row begins in.
IRect DiscBlurNode::inputPixels(const IRect& area) const {
    const int r = m_reach;
    const int x0 = ((area.x - r) >> m_gridShift) << m_gridShift;
    return {x0, area.y - r, area.right() + r - x0, area.h + 2 * r};
}

Rect DiscBlurNode::regionOfInterest(size_t, const Rect& output) const {
    if (output.isEmpty() || output.isInfinite()) return output.inset(-m_reach, -m_reach);
    return inputPixels(engine::coveringPixels(output)).toRect();
}

// Each input row gets running (prefix) sums that restart at every multiple
// of the segment length in picture coordinates, so they do not depend on
// where the tile starts; one disc row is the difference of two prefix values
// (the end of a segment's total where the row crosses into the next), so a
// pixel costs 2 * reach + 1 of them.
void DiscBlurNode::render(PixelBuffer& dst, const engine::RenderState& state) const {
    const IRect area = outputArea(*this, dst);
    if (area.isEmpty()) return;
    const int r = m_reach, shift = m_gridShift, grid = 1 << shift;
    const IRect roi = inputPixels(area);
    PooledBuffer in(roi);
    engine::renderNode(*inputs().front(), *in, state);
    if (state.cancelled()) return;
    // prefix row: roi.w + 1 pixels, prefix[i] = sum of the pixels from the
    // start of position roi.x + i's segment up to it; totals[k]: the whole
    // of segment k (from roi.x, which starts one).
    const int segments = (roi.w + grid) >> shift;
    PooledBuffer prefix(IRect{0, 0, roi.w + 1, roi.h});
    PooledBuffer totals(IRect{0, 0, segments + 1, roi.h});
    for (int j = 0; j < roi.h; ++j) {
        const float* s = in->row(roi.y + j);
        float* p = prefix->row(j);
        float* t = totals->row(j);
        Pixel4 acc{};
        for (int i = 0; i <= roi.w; ++i) {
            if (i > 0 && (i & (grid - 1)) == 0) {
                storePixel(t + 4 * ((i >> shift) - 1), acc);
                acc = Pixel4{};
            }
            storePixel(p + 4 * i, acc);
            if (i < roi.w) acc += loadPixel(s + 4 * i);
        }
    }
    int count = 0;
    for (int hw : m_halfWidth)
        count += 2 * hw + 1;
    const float scale = 1.0f / float(count);
    for (int y = area.y; y < area.top(); ++y) {
        float* o = dst.at(area.x, y);
        std::fill_n(o, size_t(area.w) * 4, 0.0f);
        for (int dy = -r; dy <= r; ++dy) {
            const int hw = m_halfWidth[size_t(dy + r)];
            const float* p = prefix->row(y + dy - roi.y);
            const float* t = totals->row(y + dy - roi.y);
            // Output x sums input [x - hw, x + hw]: prefix indexes lo and hi.
            for (int i = 0; i < area.w; ++i) {
                const int lo = area.x + i - hw - roi.x, hi = area.x + i + hw + 1 - roi.x;
                const Pixel4 plo = loadPixel(p + 4 * lo), phi = loadPixel(p + 4 * hi);
                const Pixel4 sum = (lo >> shift) == (hi >> shift)
                                       ? phi - plo
                                       : (loadPixel(t + 4 * (lo >> shift)) - plo) + phi;
                storePixel(o + 4 * i, loadPixel(o + 4 * i) + sum);
            }
        }
        for (int i = 0; i < 4 * area.w; ++i)
            o[i] *= scale;
        snapOpaque(o, area.w);
    }
    dst.clearOutside(area);
}

// ---------------------------------------------------------------- motion

// The sparse kernel of a motion blur: (dx, dy) offsets and weights.
struct MotionTaps {
    std::vector<std::pair<std::pair<int, int>, float>> taps;
    int reachX = 0, reachY = 0;
};

namespace {

MotionTaps motionTaps(double radius, double angle) {
    MotionTaps m;
    const int n = 2 * int(std::ceil(radius)) + 1;
    const double c = std::cos(angle), s = std::sin(angle);
    std::map<std::pair<int, int>, double> weights;
    for (int i = 0; i < n; ++i) {
        const double t = n == 1 ? 0.0 : -radius + 2.0 * radius * i / (n - 1);
        const double ox = t * c, oy = t * s;
        const double fx = std::floor(ox), fy = std::floor(oy);
        const double ax = ox - fx, ay = oy - fy;
        const int ix = int(fx), iy = int(fy);
        const double w = 1.0 / n;
        weights[{ix, iy}] += w * (1 - ax) * (1 - ay);
        weights[{ix + 1, iy}] += w * ax * (1 - ay);
        weights[{ix, iy + 1}] += w * (1 - ax) * ay;
        weights[{ix + 1, iy + 1}] += w * ax * ay;
    }
    for (const auto& [d, w] : weights) {
        if (w <= 1e-9) continue;
        m.taps.push_back({d, float(w)});
        m.reachX = std::max(m.reachX, std::abs(d.first));
        m.reachY = std::max(m.reachY, std::abs(d.second));
    }
    return m;
}

}  // namespace

MotionBlurNode::MotionBlurNode(engine::NodePtr input, double radius, double angle)
    : MotionBlurNode(std::move(input), motionTaps(radius, angle)) {}

MotionBlurNode::MotionBlurNode(engine::NodePtr input, const MotionTaps& m)
    : Node({input}, grownExtent(input->extent(), m.reachX, m.reachY)),
      m_reachX(m.reachX),
      m_reachY(m.reachY) {
    for (const auto& [d, w] : m.taps)
        m_taps.push_back({d.first, d.second, w});
}

Rect MotionBlurNode::regionOfInterest(size_t, const Rect& output) const {
    return output.inset(-m_reachX, -m_reachY);
}

void MotionBlurNode::render(PixelBuffer& dst, const engine::RenderState& state) const {
    const IRect area = outputArea(*this, dst);
    if (area.isEmpty()) return;
    const IRect roi = grow(area, m_reachX, m_reachY);
    PooledBuffer in(roi);
    engine::renderNode(*inputs().front(), *in, state);
    for (int y = area.y; y < area.top(); ++y)
        std::fill_n(dst.at(area.x, y), size_t(area.w) * 4, 0.0f);
    // Output (x, y) = sum of w * input(x + dx, y + dy).
    for (const Tap& t : m_taps)
        for (int y = area.y; y < area.top(); ++y) {
            const float* s = in->at(area.x + t.dx, y + t.dy);
            float* o = dst.at(area.x, y);
            for (int i = 0; i < 4 * area.w; ++i)
                o[i] += t.w * s[i];
        }
    for (int y = area.y; y < area.top(); ++y)
        snapOpaque(dst.at(area.x, y), area.w);
    dst.clearOutside(area);
}

// ---------------------------------------------------------------- zoom

namespace {

// The rectangle scaled about (cx, cy) by f.
Rect scaledAbout(const Rect& r, double cx, double cy, double f) {
    return engine::Affine{f, 0, 0, f, cx * (1 - f), cy * (1 - f)}.mapRect(r);
}

double zoomFraction(double amount) {
    return std::clamp(amount / 100.0, -2.0, 0.9);
}

// An output pixel p reads the segment from p to c + (p - c)(1 - s); it sees
// the input where the input scaled by 1 / (1 - t), t between 0 and s, lies.
Rect zoomExtent(const Rect& e, double cx, double cy, double s) {
    if (e.isInfinite() || e.isEmpty()) return e;
    return e.united(scaledAbout(e, cx, cy, 1.0 / (1.0 - s))).inset(-1, -1);
}

}  // namespace

ZoomBlurNode::ZoomBlurNode(engine::NodePtr input, double cx, double cy, double amount)
    : Node({input}, zoomExtent(input->extent(), cx, cy, zoomFraction(amount))),
      m_cx(cx),
      m_cy(cy),
      m_s(zoomFraction(amount)) {}

Rect ZoomBlurNode::regionOfInterest(size_t, const Rect& output) const {
    return output.united(scaledAbout(output, m_cx, m_cy, 1.0 - m_s)).inset(-1, -1);
}

void ZoomBlurNode::render(PixelBuffer& dst, const engine::RenderState& state) const {
    const IRect area = outputArea(*this, dst);
    if (area.isEmpty()) return;
    IRect roi = engine::coveringPixels(regionOfInterest(0, area.toRect()));
    if (!inputs().front()->extent().isInfinite())
        roi = roi.intersected(engine::coveringPixels(inputs().front()->extent()));
    if (roi.area() > kMaxRegionPixels) roi = roi.intersected(grow(area, 768, 768));
    if (roi.isEmpty()) {
        dst.fillTransparent();
        return;
    }
    PooledBuffer in(roi);
    engine::renderNode(*inputs().front(), *in, state);
    auto sample = [&](double x, double y) -> Pixel4 {
        // Bilinear between the four pixel centres around (x, y).
        const double u = x - 0.5 - roi.x, v = y - 0.5 - roi.y;
        const double fu = std::floor(u), fv = std::floor(v);
        if (!(fu >= -1 && fv >= -1 && fu < roi.w && fv < roi.h)) return Pixel4{};
        const int i = int(fu), j = int(fv);
        const float a = float(u - fu), b = float(v - fv);
        auto px = [&](int ii, int jj) -> Pixel4 {
            if (ii < 0 || jj < 0 || ii >= roi.w || jj >= roi.h) return Pixel4{};
            return loadPixel(in->at(roi.x + ii, roi.y + jj));
        };
        return (px(i, j) * (1 - a) + px(i + 1, j) * a) * (1 - b) +
               (px(i, j + 1) * (1 - a) + px(i + 1, j + 1) * a) * b;
    };
    for (int y = area.y; y < area.top(); ++y) {
        float* o = dst.at(area.x, y);
        for (int x = area.x; x < area.right(); ++x, o += 4) {
            const double px = x + 0.5, py = y + 0.5;
            const double dx = (m_cx - px) * m_s, dy = (m_cy - py) * m_s;
            // One sample per pixel of streak, at most 128.
            const int n = int(std::min(128.0, std::ceil(std::hypot(dx, dy)))) + 1;
            Pixel4 acc{};
            for (int k = 0; k < n; ++k) {
                const double t = n == 1 ? 0.0 : double(k) / (n - 1);
                acc += sample(px + dx * t, py + dy * t);
            }
            storePixel(o, acc * (1.0f / float(n)));
        }
    }
    dst.clearOutside(area);
}

// ---------------------------------------------------------------- median

namespace {

typedef float V16 __attribute__((vector_size(32)));

inline V16 load16(const float* p) {
    V16 v;
    std::memcpy(&v, p, sizeof v);
    return v;
}
inline void store16(float* p, V16 v) {
    std::memcpy(p, &v, sizeof v);
}
inline V16 vmin(V16 a, V16 b) {
    return a < b ? a : b;
}
inline V16 vmax(V16 a, V16 b) {
    return a < b ? b : a;
}
inline V16 med3(V16 a, V16 b, V16 c) {
    return vmax(vmin(a, b), vmin(vmax(a, b), c));
}

// Rows of width floats (a multiple of 16) plus 4 floats either side: sorts
// each column of three rows, then takes the median of nine as the median of
// (largest low, median middle, smallest high) of three neighbouring columns.
__attribute__((target_clones("arch=x86-64-v3", "default"))) void medianRow(
    const float* r0, const float* r1, const float* r2, float* lo, float* mi, float* hi, float* out,
    int width) {
    for (int i = -4; i < width + 4; i += 8) {
        const V16 a = load16(r0 + i), b = load16(r1 + i), c = load16(r2 + i);
        const V16 l = vmin(a, b), h = vmax(a, b);
        store16(lo + i, vmin(l, c));
        const V16 h2 = vmax(h, c);
        store16(hi + i, h2);
        store16(mi + i, vmax(l, vmin(h, c)));
    }
    for (int i = 0; i < width; i += 8) {
        const V16 l = vmax(vmax(load16(lo + i - 4), load16(lo + i)), load16(lo + i + 4));
        const V16 m = med3(load16(mi + i - 4), load16(mi + i), load16(mi + i + 4));
        const V16 h = vmin(vmin(load16(hi + i - 4), load16(hi + i)), load16(hi + i + 4));
        store16(out + i, med3(l, m, h));
    }
}

}  // namespace

MedianNode::MedianNode(engine::NodePtr input) : Node({input}, input->extent()) {}

Rect MedianNode::regionOfInterest(size_t, const Rect& output) const {
    return output.inset(-1, -1);
}

void MedianNode::render(PixelBuffer& dst, const engine::RenderState& state) const {
    const IRect area = outputArea(*this, dst);
    if (area.isEmpty()) return;
    // The region of interest is padded on the right so that whole vectors of
    // four pixels can be read past the last output pixel.
    const int padW = (area.w + 3) / 4 * 4;
    const IRect roi{area.x - 1, area.y - 1, padW + 6, area.h + 2};
    PooledBuffer in(roi);
    engine::renderNode(*inputs().front(), *in, state);
    const size_t scratch = size_t(padW) * 4 + 32;
    std::unique_ptr<float[]> buf(new float[scratch * 4]);
    float *lo = buf.get() + 4, *mi = lo + scratch, *hi = mi + scratch, *out = hi + scratch;
    for (int y = area.y; y < area.top(); ++y) {
        // Column 0 of the sorted rows is the pixel at area.x.
        medianRow(in->at(area.x, y - 1), in->at(area.x, y), in->at(area.x, y + 1), lo, mi, hi, out,
                  padW * 4);
        std::memcpy(dst.at(area.x, y), out, size_t(area.w) * 4 * sizeof(float));
    }
    dst.clearOutside(area);
}

// ---------------------------------------------------------------- noise reduction

NoiseReductionNode::NoiseReductionNode(engine::NodePtr input, double noiseLevel, double sharpness)
    : Node({input}, input->extent()), m_level(float(noiseLevel)), m_sharpness(float(sharpness)) {}

Rect NoiseReductionNode::regionOfInterest(size_t, const Rect& output) const {
    return output.inset(-1, -1);
}

void NoiseReductionNode::render(PixelBuffer& dst, const engine::RenderState& state) const {
    const IRect area = outputArea(*this, dst);
    if (area.isEmpty()) return;
    const IRect roi = grow(area, 1, 1);
    PooledBuffer in(roi);
    engine::renderNode(*inputs().front(), *in, state);
    // The luminance of every pixel of the region once, then per pixel a
    // branch-free masked sum over the nine neighbours.
    std::vector<float> luma(size_t(roi.area()));
    for (int j = 0; j < roi.h; ++j) {
        const float* p = in->row(roi.y + j);
        float* l = luma.data() + size_t(j) * size_t(roi.w);
        for (int i = 0; i < roi.w; ++i, p += 4)
            l[i] = 0.2126f * p[0] + 0.7152f * p[1] + 0.0722f * p[2];
    }
    const float ninth = 1.0f / 9.0f;
    for (int y = area.y; y < area.top(); ++y) {
        float* o = dst.at(area.x, y);
        const float* lrow[3];
        const float* prow[3];
        for (int d = 0; d < 3; ++d) {
            lrow[d] = luma.data() + size_t(y - 1 + d - roi.y) * size_t(roi.w);
            prow[d] = in->row(y - 1 + d);
        }
        for (int i = 1; i <= area.w; ++i, o += 4) {
            const float lc = lrow[1][i];
            Pixel4 all{}, kept{};
            float n = 0;
            for (int d = 0; d < 3; ++d)
                for (int k = i - 1; k <= i + 1; ++k) {
                    const Pixel4 q = loadPixel(prow[d] + 4 * k);
                    const float w = std::fabs(lrow[d][k] - lc) <= m_level ? 1.0f : 0.0f;
                    all += q;
                    kept += q * w;
                    n += w;
                }
            // The centre always counts, so n >= 1.
            const Pixel4 smooth = kept / n;
            Pixel4 r = smooth + m_sharpness * (smooth - all * ninth);
            // Coverage is smoothed, never sharpened past full or below none.
            r[3] = std::clamp(smooth[3], 0.0f, 1.0f);
            storePixel(o, r);
        }
    }
    dst.clearOutside(area);
}

}  // namespace cif::builtins::blur
