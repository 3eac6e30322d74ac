#include "platform/builtins/geometry/ScaleNode.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "platform/image/Pixel4.h"

namespace cif::builtins {

using engine::coveringPixels;
using engine::IRect;
using engine::loadPixel;
using engine::NodePtr;
using engine::Pixel4;
using engine::PixelBuffer;
using engine::PooledBuffer;
using engine::Rect;
using engine::RenderState;
using engine::splat;
using engine::storePixel;

// The taps of one axis: output pixel k reads input pixels first[k] ..
// first[k] + size[k] - 1 with weights weights[k * stride ..], which sum to 1.
struct ScaleTaps {
    std::vector<int> first, size;
    std::vector<float> weights;
    int stride = 0;
};

double ScaleKernel::weight(double t) const {
    const double x = std::abs(t);
    if (kind == Kind::Lanczos3) {
        if (t == 0) return 1;
        if (!(x < 3)) return 0;
        const double pt = M_PI * t;
        return 3 * std::sin(pt) * std::sin(pt / 3) / (pt * pt);
    }
    // Mitchell and Netravali's piecewise cubic.
    if (x < 1)
        return ((12 - 9 * b - 6 * c) * x * x * x + (-18 + 12 * b + 6 * c) * x * x + (6 - 2 * b)) /
               6;
    if (x < 2)
        return ((-b - 6 * c) * x * x * x + (6 * b + 30 * c) * x * x + (-12 * b - 48 * c) * x +
                (8 * b + 24 * c)) /
               6;
    return 0;
}

namespace {

Rect scaledExtent(const Rect& e, double sx, double sy) {
    if (e.isInfinite()) return e;
    if (e.isEmpty()) return {};
    return {e.x * sx, e.y * sy, e.w * sx, e.h * sy};
}
// An input pixel index, kept within the renderer's range: far tiles of
// infinite images under strong shrinking would otherwise overflow.
int pixelIndex(double v) {
    return int(std::clamp(v, -double(engine::kPixelLimit), double(engine::kPixelLimit)));
}

}  // namespace

ScaleNode::ScaleNode(NodePtr input, double sx, double sy, ScaleKernel kernel)
    : Node({input}, scaledExtent(input->extent(), sx, sy)), m_sx(sx), m_sy(sy), m_kernel(kernel) {}

Rect ScaleNode::regionOfInterest(size_t, const Rect& output) const {
    const IRect o = coveringPixels(output);
    if (o.isEmpty()) return {};
    int x0, x1, y0, y1;
    window(o.x, o.w, m_sx, x0, x1);
    window(o.y, o.h, m_sy, y0, y1);
    return IRect{x0, y0, x1 - x0, y1 - y0}.toRect();
}

void ScaleNode::render(PixelBuffer& dst, const RenderState& state) const {
    const IRect out = dst.rect();
    dst.fillTransparent();
    const IRect roi = inputRegion(0, out);
    if (roi.isEmpty()) return;
    // Beyond a finite input the edge pixels are repeated, so a scaled
    // picture stays opaque up to its edges.
    const Rect& ext = inputs().front()->extent();
    const IRect edges = ext.isInfinite() ? roi : coveringPixels(ext);
    const ScaleTaps cols = taps(out.x, out.w, m_sx, edges.x, edges.right());
    const ScaleTaps rows = taps(out.y, out.h, m_sy, edges.y, edges.top());
    // Bands of input rows, at most about a million pixels each.
    const int bandRows = std::clamp(int((int64_t(1) << 20) / std::max(1, roi.w)), 1, 32);
    std::vector<Pixel4> line(size_t(out.w));
    int firstRow = 0;  // first output row whose window may still hold j
    for (int by = roi.y; by < roi.top(); by += bandRows) {
        if (state.cancelled()) return;
        const IRect band{roi.x, by, roi.w, std::min(bandRows, roi.top() - by)};
        PooledBuffer src(band);
        renderNode(*inputs().front(), *src, state);
        for (int j = band.y; j < band.top(); ++j) {
            while (firstRow < out.h &&
                   rows.first[size_t(firstRow)] + rows.size[size_t(firstRow)] <= j)
                ++firstRow;
            if (firstRow >= out.h || rows.first[size_t(firstRow)] > j) continue;
            // Horizontal pass of input row j.
            const float* in = src->row(j);
            for (int k = 0; k < out.w; ++k) {
                const float* p = in + size_t(cols.first[size_t(k)] - roi.x) * 4;
                const float* w = cols.weights.data() + size_t(k) * size_t(cols.stride);
                // Four running sums hide the latency of the additions.
                const int n = cols.size[size_t(k)];
                Pixel4 a0 = splat(0.0f), a1 = a0, a2 = a0, a3 = a0;
                int t = 0;
                for (; t + 4 <= n; t += 4, p += 16) {
                    a0 += loadPixel(p) * w[t];
                    a1 += loadPixel(p + 4) * w[t + 1];
                    a2 += loadPixel(p + 8) * w[t + 2];
                    a3 += loadPixel(p + 12) * w[t + 3];
                }
                for (; t < n; ++t, p += 4)
                    a0 += loadPixel(p) * w[t];
                line[size_t(k)] = (a0 + a1) + (a2 + a3);
            }
            // Vertical pass: into every output row whose window holds j.
            for (int r = firstRow; r < out.h && rows.first[size_t(r)] <= j; ++r) {
                const float w = rows.weights[size_t(r) * size_t(rows.stride) +
                                             size_t(j - rows.first[size_t(r)])];
                if (w == 0.0f) continue;
                float* o = dst.row(out.y + r);
                for (int k = 0; k < out.w; ++k, o += 4)
                    storePixel(o, loadPixel(o) + line[size_t(k)] * w);
            }
        }
    }
    if (!extent().isInfinite()) dst.clearOutside(coveringPixels(extent()));
}

void ScaleNode::window(int start, int n, double scale, int& lo, int& hi) const {
    const double s = support(scale);
    lo = pixelIndex(std::ceil((start + 0.5) / scale - 0.5 - s));
    hi = pixelIndex(std::floor((start + n - 0.5) / scale - 0.5 + s)) + 1;
}

ScaleTaps ScaleNode::taps(int start, int n, double scale, int lo, int hi) const {
    ScaleTaps t;
    const double s = support(scale), stretch = std::max(1.0, 1.0 / scale);
    const int count = int(std::ceil(2 * s)) + 1;
    t.stride = count;
    t.first.resize(size_t(n));
    t.size.resize(size_t(n));
    t.weights.assign(size_t(n) * size_t(count), 0.0f);
    std::vector<double> raw(static_cast<size_t>(count)), w(static_cast<size_t>(count));
    for (int k = 0; k < n; ++k) {
        // Input pixel centres i + 0.5 around the mapped output centre.
        const double u = (start + k + 0.5) / scale;
        const int first = pixelIndex(std::ceil(u - 0.5 - s));
        double sum = 0;
        for (int i = 0; i < count; ++i) {
            raw[size_t(i)] = m_kernel.weight((first + i + 0.5 - u) / stretch);
            sum += raw[size_t(i)];
        }
        const int a = std::clamp(first, lo, hi - 1);
        const int b = std::clamp(first + count - 1, lo, hi - 1);
        t.first[size_t(k)] = a;
        t.size[size_t(k)] = b - a + 1;
        float* out = t.weights.data() + size_t(k) * size_t(count);
        std::fill(w.begin(), w.end(), 0.0);
        for (int i = 0; i < count; ++i)
            w[size_t(std::clamp(first + i, lo, hi - 1) - a)] += raw[size_t(i)];
        for (int i = 0; i <= b - a; ++i)
            out[i] = sum != 0 ? float(w[size_t(i)] / sum) : 0.0f;
    }
    return t;
}

}  // namespace cif::builtins
