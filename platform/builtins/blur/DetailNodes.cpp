#include "platform/builtins/blur/DetailNodes.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <memory>

#include "platform/builtins/blur/SeparableBlur.h"
#include "platform/builtins/blur/VignetteSpan.h"
#include "platform/image/ColorSpace.h"
#include "platform/image/Pixel4.h"

namespace cif::builtins::blur {

using engine::floorDiv;
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

float luminance(const float* p) {
    return 0.2126f * p[0] + 0.7152f * p[1] + 0.0722f * p[2];
}

float smoothstep(float t) {
    t = std::min(std::max(t, 0.0f), 1.0f);
    return (t * t) * (3.0f - 2.0f * t);
}

Rect unionOfExtents(const std::vector<NodePtr>& nodes) {
    Rect r = nodes.front()->extent();
    for (const NodePtr& n : nodes)
        r = r.united(n->extent());
    return r;
}

}  // namespace

// ---------------------------------------------------------------- bokeh

BokehNode::Layout BokehNode::layout(const std::vector<Disc>& discs) {
    // Weights per (dy, half-width) row, merged across discs.
    std::map<std::pair<int, int>, double> rows;
    Layout l;
    double total = 0;
    for (const Disc& d : discs) {
        const int reach = int(std::floor(d.radius));
        l.reach = std::max(l.reach, reach);
        for (int dy = -reach; dy <= reach; ++dy) {
            const int hw =
                int(std::floor(std::sqrt(std::max(0.0, d.radius * d.radius - double(dy) * dy))));
            rows[{dy, hw}] += d.weight;
            total += d.weight * (2 * hw + 1);
        }
    }
    for (const auto& [key, w] : rows)
        if (w != 0 && total > 0) l.rows.push_back({key.first, key.second, float(w / total)});
    return l;
}

BokehNode::BokehNode(NodePtr input, const std::vector<Disc>& discs)
    : BokehNode(std::move(input), layout(discs)) {}

BokehNode::BokehNode(NodePtr input, Layout l)
    : Node({input}, grownExtent(input->extent(), l.reach, l.reach)),
      m_rows(std::move(l.rows)),
      m_reach(l.reach) {}

Rect BokehNode::regionOfInterest(size_t, const Rect& output) const {
    const IRect o = engine::coveringPixels(output);
    if (o.isEmpty()) return {};
    const int start = floorDiv(o.x, kRun) * kRun;
    return IRect{start - m_reach, o.y - m_reach, o.right() - start + 2 * m_reach, o.h + 2 * m_reach}
        .toRect();
}

void BokehNode::render(PixelBuffer& dst, const RenderState& state) const {
    const IRect area = outputArea(*this, dst);
    if (area.isEmpty()) return;
    const int r = m_reach;
    const int start = floorDiv(area.x, kRun) * kRun;
    const IRect roi{start - r, area.y - r, area.right() - start + 2 * r, area.h + 2 * r};
    PooledBuffer in(roi);
    engine::renderNode(*inputs().front(), *in, state);
    for (int y = area.y; y < area.top(); ++y) {
        if (state.cancelled()) return;
        float* out = dst.at(area.x, y);
        std::fill_n(out, size_t(area.w) * 4, 0.0f);
        for (const Row& row : m_rows) {
            const float* src = in->row(y + row.dy);
            const int hw = row.halfWidth;
            auto px = [&](int x) { return loadPixel(src + size_t(x - roi.x) * 4); };
            for (int bx = start; bx < area.right(); bx += kRun) {
                // The window sum at the run's first pixel, directly, then
                // slid one pixel at a time.
                Pixel4 s = splat(0.0f);
                for (int i = -hw; i <= hw; ++i)
                    s += px(bx + i);
                const int end = std::min(bx + kRun, area.right());
                for (int x = bx; x < end; ++x) {
                    if (x >= area.x) {
                        float* o = out + size_t(x - area.x) * 4;
                        storePixel(o, loadPixel(o) + s * row.weight);
                    }
                    if (x + 1 < end) s = (s + px(x + hw + 1)) - px(x - hw);
                }
            }
        }
        snapOpaque(out, area.w);
    }
    dst.clearOutside(area);
}

// ---------------------------------------------------------------- level mix

namespace {

std::vector<NodePtr> prepend(NodePtr first, const std::vector<NodePtr>& rest) {
    std::vector<NodePtr> all{std::move(first)};
    all.insert(all.end(), rest.begin(), rest.end());
    return all;
}

}  // namespace

LevelMixNode::LevelMixNode(NodePtr mask, std::vector<NodePtr> levels)
    : Node(prepend(std::move(mask), levels), unionOfExtents(levels)) {}

void LevelMixNode::render(PixelBuffer& dst, const RenderState& state) const {
    const IRect area = outputArea(*this, dst);
    if (area.isEmpty()) return;
    const int levels = int(inputs().size()) - 1;
    PooledBuffer mask(area);
    engine::renderNode(*inputs()[0], *mask, state);
    std::vector<std::unique_ptr<PooledBuffer>> level;
    for (int i = 0; i < levels; ++i) {
        level.push_back(std::make_unique<PooledBuffer>(area));
        engine::renderNode(*inputs()[size_t(i) + 1], **level.back(), state);
    }
    for (int y = area.y; y < area.top(); ++y) {
        float* out = dst.at(area.x, y);
        const float* m = mask->at(area.x, y);
        for (int i = 0; i < area.w; ++i) {
            const float pos =
                std::min(std::max(luminance(m + 4 * i), 0.0f), 1.0f) * float(levels - 1);
            const int k = std::min(int(pos), levels - 2);
            const float f = pos - float(k);
            const Pixel4 a = loadPixel((*level[size_t(k)])->at(area.x + i, y));
            const Pixel4 b = loadPixel((*level[size_t(k) + 1])->at(area.x + i, y));
            storePixel(out + 4 * i, a * (1.0f - f) + b * f);
        }
    }
    dst.clearOutside(area);
}

// ---------------------------------------------------------------- line focus

LineFocusNode::LineFocusNode(NodePtr sharp, NodePtr blurred, double x0, double y0, double x1,
                             double y1, double inner, double outer)
    : Node({sharp, blurred}, sharp->extent().united(blurred->extent())),
      m_x0(x0),
      m_y0(y0),
      m_inner(inner),
      m_outer(std::max(outer, inner + 1e-3)) {
    const double len = std::hypot(x1 - x0, y1 - y0);
    // Coincident points: the line is horizontal through them.
    m_nx = len > 0 ? -(y1 - y0) / len : 0.0;
    m_ny = len > 0 ? (x1 - x0) / len : 1.0;
}

void LineFocusNode::render(PixelBuffer& dst, const RenderState& state) const {
    const IRect area = outputArea(*this, dst);
    if (area.isEmpty()) return;
    engine::renderNode(*inputs()[0], dst, state);
    PooledBuffer blurred(dst.rect());
    engine::renderNode(*inputs()[1], *blurred, state);
    const double k = 1.0 / (m_outer - m_inner);
    for (int y = area.y; y < area.top(); ++y) {
        float* out = dst.at(area.x, y);
        const float* b = blurred->at(area.x, y);
        const double ry = (y + 0.5 - m_y0) * m_ny;
        for (int i = 0; i < area.w; ++i) {
            const double d = std::abs((area.x + i + 0.5 - m_x0) * m_nx + ry);
            const float t = smoothstep(float((d - m_inner) * k));
            storePixel(out + 4 * i, loadPixel(out + 4 * i) * (1.0f - t) + loadPixel(b + 4 * i) * t);
        }
    }
    dst.clearOutside(area);
}

// ---------------------------------------------------------------- guided filter

namespace {

// Box means of radius r of a plane of values: src covers w x h, dst covers
// (w - 2r) x (h - 2r), the mean of each window summed in a fixed order
// (rows first, then the row sums down the window).
void boxMean(const std::vector<float>& src, int w, int h, int r, std::vector<float>& dst,
             std::vector<float>& scratch) {
    const int ow = w - 2 * r, oh = h - 2 * r;
    scratch.assign(size_t(ow) * size_t(h), 0.0f);
    for (int y = 0; y < h; ++y) {
        const float* s = src.data() + size_t(y) * size_t(w);
        float* o = scratch.data() + size_t(y) * size_t(ow);
        for (int x = 0; x < ow; ++x) {
            float acc = 0;
            for (int i = 0; i <= 2 * r; ++i)
                acc += s[x + i];
            o[x] = acc;
        }
    }
    dst.assign(size_t(ow) * size_t(oh), 0.0f);
    const float scale = 1.0f / float((2 * r + 1) * (2 * r + 1));
    for (int y = 0; y < oh; ++y) {
        float* o = dst.data() + size_t(y) * size_t(ow);
        for (int j = 0; j <= 2 * r; ++j) {
            const float* s = scratch.data() + size_t(y + j) * size_t(ow);
            for (int x = 0; x < ow; ++x)
                o[x] += s[x];
        }
        for (int x = 0; x < ow; ++x)
            o[x] *= scale;
    }
}

}  // namespace

GuidedFilterNode::GuidedFilterNode(NodePtr input, NodePtr guide, int radius, double epsilon)
    : Node({input, guide}, guide->extent()), m_r(radius), m_eps(float(epsilon)) {}

Rect GuidedFilterNode::regionOfInterest(size_t, const Rect& output) const {
    return output.inset(-2 * m_r, -2 * m_r);
}

void GuidedFilterNode::render(PixelBuffer& dst, const RenderState& state) const {
    const IRect area = outputArea(*this, dst);
    if (area.isEmpty()) return;
    const int r = m_r;
    const IRect outer = grow(area, 2 * r, 2 * r);  // p and I
    const IRect mid = grow(area, r, r);            // a and b
    PooledBuffer p(outer), g(outer);
    engine::renderNode(*inputs()[0], *p, state);
    engine::renderNode(*inputs()[1], *g, state);
    const size_t nOuter = size_t(outer.w) * size_t(outer.h);
    std::vector<float> vi(nOuter), vp(nOuter), vii(nOuter), vip(nOuter), scratch;
    std::vector<float> mi, mp, mii, mip, va, vb, ma, mb;
    // Colour is smoothed along the guide; alpha stays the input's, so an opaque
    // picture stays opaque up to its border.
    for (int c = 0; c < 3; ++c) {
        if (state.cancelled()) return;
        for (int y = 0; y < outer.h; ++y)
            for (int x = 0; x < outer.w; ++x) {
                const size_t k = size_t(y) * size_t(outer.w) + size_t(x);
                const float iv = g->at(outer.x + x, outer.y + y)[c];
                const float pv = p->at(outer.x + x, outer.y + y)[c];
                vi[k] = iv;
                vp[k] = pv;
                vii[k] = iv * iv;
                vip[k] = iv * pv;
            }
        boxMean(vi, outer.w, outer.h, r, mi, scratch);
        boxMean(vp, outer.w, outer.h, r, mp, scratch);
        boxMean(vii, outer.w, outer.h, r, mii, scratch);
        boxMean(vip, outer.w, outer.h, r, mip, scratch);
        const size_t nMid = size_t(mid.w) * size_t(mid.h);
        va.resize(nMid);
        vb.resize(nMid);
        for (size_t k = 0; k < nMid; ++k) {
            // Rounding can leave a flat window's variance just below zero,
            // and epsilon may be zero: a flat window keeps its mean.
            const float var = std::max(mii[k] - mi[k] * mi[k], 0.0f) + m_eps;
            const float cov = mip[k] - mi[k] * mp[k];
            va[k] = var > 0.0f ? cov / var : 0.0f;
            vb[k] = mp[k] - va[k] * mi[k];
        }
        boxMean(va, mid.w, mid.h, r, ma, scratch);
        boxMean(vb, mid.w, mid.h, r, mb, scratch);
        for (int y = 0; y < area.h; ++y)
            for (int x = 0; x < area.w; ++x) {
                const size_t k = size_t(y) * size_t(area.w) + size_t(x);
                const float iv = g->at(area.x + x, area.y + y)[c];
                dst.at(area.x + x, area.y + y)[c] = ma[k] * iv + mb[k];
            }
    }
    // Colour stays within what alpha can carry.
    for (int y = area.y; y < area.top(); ++y) {
        float* o = dst.at(area.x, y);
        const float* a = p->at(area.x, y);
        for (int i = 0; i < area.w; ++i, o += 4, a += 4) {
            o[3] = std::min(std::max(a[3], 0.0f), 1.0f);
            for (int c = 0; c < 3; ++c)
                o[c] = std::min(std::max(o[c], 0.0f), o[3]);
        }
    }
    dst.clearOutside(area);
}

// ---------------------------------------------------------------- joint upsampling

JointUpsampleNode::JointUpsampleNode(NodePtr guide, NodePtr small, double spatialSigma,
                                     double lumaSigma)
    : Node({guide, small}, guide->extent()),
      m_big(guide->extent()),
      m_smallExtent(small->extent()),
      m_smallPixels(engine::coveringPixels(small->extent())) {
    m_sx = m_big.w / m_smallExtent.w;
    m_sy = m_big.h / m_smallExtent.h;
    const double s = std::max(spatialSigma, 0.25);
    m_reach = int(std::ceil(2 * s));
    m_spatial = float(-0.5 / (s * s));
    const double l = std::max(lumaSigma, 1e-3);
    m_luma = float(-0.5 / (l * l));
}

Rect JointUpsampleNode::regionOfInterest(size_t index, const Rect& output) const {
    const double x0 = toSmallX(output.x) - m_reach - 1, x1 = toSmallX(output.right()) + m_reach + 1;
    const double y0 = toSmallY(output.y) - m_reach - 1, y1 = toSmallY(output.top()) + m_reach + 1;
    if (index == 1) return Rect{m_smallExtent.x + x0, m_smallExtent.y + y0, x1 - x0, y1 - y0};
    // The guide at the output and at the centres of those small pixels.
    return output.united(
        Rect{m_big.x + x0 * m_sx, m_big.y + y0 * m_sy, (x1 - x0) * m_sx, (y1 - y0) * m_sy});
}

void JointUpsampleNode::render(PixelBuffer& dst, const RenderState& state) const {
    const IRect area = outputArea(*this, dst);
    if (area.isEmpty()) return;
    const IRect sroi = engine::coveringPixels(regionOfInterest(1, area.toRect()));
    const IRect groi = engine::coveringPixels(regionOfInterest(0, area.toRect()));
    PooledBuffer small(sroi), guide(groi);
    engine::renderNode(*inputs()[1], *small, state);
    engine::renderNode(*inputs()[0], *guide, state);
    // The guide's luminance at each small pixel's centre (nearest pixel).
    std::vector<float> gl(size_t(sroi.w) * size_t(sroi.h));
    const int ox = int(std::floor(m_smallExtent.x)), oy = int(std::floor(m_smallExtent.y));
    for (int j = 0; j < sroi.h; ++j)
        for (int i = 0; i < sroi.w; ++i) {
            const double cx = m_big.x + (sroi.x + i - ox + 0.5) * m_sx;
            const double cy = m_big.y + (sroi.y + j - oy + 0.5) * m_sy;
            const int gx = std::clamp(int(std::floor(cx)), groi.x, groi.right() - 1);
            const int gy = std::clamp(int(std::floor(cy)), groi.y, groi.top() - 1);
            gl[size_t(j) * size_t(sroi.w) + size_t(i)] = luminance(guide->at(gx, gy));
        }
    const int n = 2 * m_reach + 2;
    std::vector<float> wx(static_cast<size_t>(n)), wy(static_cast<size_t>(n));
    for (int y = area.y; y < area.top(); ++y) {
        if (state.cancelled()) return;
        // Small pixel coordinates relative to the small picture's origin.
        const double v = toSmallY(y + 0.5) - 0.5;
        const int j0 = int(std::floor(v)) - m_reach;
        for (int t = 0; t < n; ++t)
            wy[size_t(t)] = std::exp(m_spatial * float((j0 + t - v) * (j0 + t - v)));
        for (int x = area.x; x < area.right(); ++x) {
            const double u = toSmallX(x + 0.5) - 0.5;
            const int i0 = int(std::floor(u)) - m_reach;
            for (int t = 0; t < n; ++t)
                wx[size_t(t)] = std::exp(m_spatial * float((i0 + t - u) * (i0 + t - u)));
            const float lp = luminance(guide->at(x, y));
            Pixel4 acc = splat(0.0f);
            float total = 0;
            for (int tj = 0; tj < n; ++tj) {
                const int sy = oy + j0 + tj;
                if (sy < m_smallPixels.y || sy >= m_smallPixels.top() || sy < sroi.y ||
                    sy >= sroi.top())
                    continue;
                for (int ti = 0; ti < n; ++ti) {
                    const int sx = ox + i0 + ti;
                    if (sx < m_smallPixels.x || sx >= m_smallPixels.right() || sx < sroi.x ||
                        sx >= sroi.right())
                        continue;
                    const float d =
                        gl[size_t(sy - sroi.y) * size_t(sroi.w) + size_t(sx - sroi.x)] - lp;
                    const float w = wx[size_t(ti)] * wy[size_t(tj)] * std::exp(m_luma * d * d);
                    acc += loadPixel(small->at(sx, sy)) * w;
                    total += w;
                }
            }
            storePixel(dst.at(x, y), total > 0 ? acc * (1.0f / total) : splat(0.0f));
        }
    }
    dst.clearOutside(area);
}

// ---------------------------------------------------------------- vignette

VignetteNode::VignetteNode(NodePtr input, double cx, double cy, double r0, double r1,
                           double intensity)
    : PointNode(std::move(input)),
      m_offX(float(0.5 - cx)),
      m_offY(float(0.5 - cy)),
      m_r0(float(r0)),
      m_intensity(float(intensity)) {
    // Equal radii give a hard edge.
    m_k = float(r1 - r0 > 1e-6 ? 1.0 / (r1 - r0) : 1e6);
}

void VignetteNode::applySpan(float* rgba, int n, int x, int y, const RenderState&) const {
    const float dy = float(y) + m_offY;
    vignetteSpan(rgba, n, x, m_offX, dy * dy, m_r0, m_k, m_intensity);
}

// ---------------------------------------------------------------- document

DocumentNode::DocumentNode(NodePtr paper, NodePtr page, double amount)
    : BinaryPointNode(std::move(paper), page, page->extent()),
      m_gain(float(1.0 + amount)),
      m_mix(float(std::min(amount, 1.0))) {}

namespace {
constexpr float kPaperTolerance = 0.06f;
}

void DocumentNode::combineSpan(const float* paper, float* page, int n) const {
    for (int i = 0; i < n; ++i, paper += 4, page += 4) {
        const float a = page[3];
        if (!(a > 0)) continue;
        // Straight colours, so translucent pixels flatten like opaque ones.
        const float inv = 1.0f / a, paperInv = 1.0f / std::max(paper[3], 1e-6f);
        const float v[3] = {page[0] * inv, page[1] * inv, page[2] * inv};
        const float l = std::max(luminance(v), 1e-4f);
        const float level = std::max(luminance(paper) * paperInv, l);
        // Within kPaperTolerance of the paper level is paper (uneven light
        // the blur did not follow); darker is ink, amplified. The colour is
        // scaled to the new luminance, so hues stay.
        const float ink =
            std::max(1.0f - l / level - kPaperTolerance, 0.0f) * m_gain / (1.0f - kPaperTolerance);
        const float k = std::max(1.0f - ink, 0.0f) / l;
        for (int c = 0; c < 3; ++c) {
            const float enhanced = std::min(v[c] * k, 1.0f);
            page[c] = (v[c] * (1.0f - m_mix) + enhanced * m_mix) * a;
        }
    }
}

// ---------------------------------------------------------------- saliency

namespace {

// CIELAB (D65) of a premultiplied working-space pixel.
void toLab(const float* p, engine::WorkingSpace space, float lab[3]) {
    const float a = p[3];
    float rgb[3];
    for (int c = 0; c < 3; ++c) {
        float v = a > 0 ? std::min(std::max(p[c] / a, 0.0f), 1.0f) : 0.0f;
        if (space == engine::WorkingSpace::None) v = engine::srgbToLinear(v);
        rgb[c] = v;
    }
    const float X = (0.4124f * rgb[0] + 0.3576f * rgb[1] + 0.1805f * rgb[2]) / 0.95047f;
    const float Y = 0.2126f * rgb[0] + 0.7152f * rgb[1] + 0.0722f * rgb[2];
    const float Z = (0.0193f * rgb[0] + 0.1192f * rgb[1] + 0.9505f * rgb[2]) / 1.08883f;
    auto f = [](float t) { return t > 0.008856f ? std::cbrt(t) : 7.787f * t + 16.0f / 116.0f; };
    const float fx = f(X), fy = f(Y), fz = f(Z);
    lab[0] = 116.0f * fy - 16.0f;
    lab[1] = 500.0f * (fx - fy);
    lab[2] = 200.0f * (fy - fz);
}

constexpr int kBandRows = 32;

}  // namespace

SaliencyNode::SaliencyNode(NodePtr input, NodePtr blurred)
    : Node({input, blurred}, input->extent()) {}

Rect SaliencyNode::regionOfInterest(size_t index, const Rect& output) const {
    // The statistics read the whole picture once; tiles read their own area.
    (void)index;
    return output;
}

bool SaliencyNode::stats(const RenderState& state, Stats& out) const {
    const size_t slot = state.space == engine::WorkingSpace::None ? 1 : 0;
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_stats[slot].ready) {
        out = m_stats[slot];
        return true;
    }
    const IRect all = engine::coveringPixels(extent());
    Stats s;
    double sum[3] = {0, 0, 0}, weight = 0;
    for (int y = all.y; y < all.top(); y += kBandRows) {
        if (state.cancelled()) return false;
        const IRect band{all.x, y, all.w, std::min(kBandRows, all.top() - y)};
        PooledBuffer buf(band);
        engine::renderNode(*inputs()[0], *buf, state);
        for (int j = band.y; j < band.top(); ++j)
            for (int i = 0; i < band.w; ++i) {
                const float* p = buf->at(band.x + i, j);
                float lab[3];
                toLab(p, state.space, lab);
                for (int c = 0; c < 3; ++c)
                    sum[c] += double(lab[c]) * p[3];
                weight += p[3];
            }
    }
    for (int c = 0; c < 3; ++c)
        s.mean[c] = weight > 0 ? float(sum[c] / weight) : 0.0f;
    float largest = 0;
    for (int y = all.y; y < all.top(); y += kBandRows) {
        if (state.cancelled()) return false;
        const IRect band{all.x, y, all.w, std::min(kBandRows, all.top() - y)};
        PooledBuffer buf(band);
        engine::renderNode(*inputs()[1], *buf, state);
        for (int j = band.y; j < band.top(); ++j)
            for (int i = 0; i < band.w; ++i) {
                float lab[3];
                toLab(buf->at(band.x + i, j), state.space, lab);
                const float d0 = lab[0] - s.mean[0], d1 = lab[1] - s.mean[1],
                            d2 = lab[2] - s.mean[2];
                largest = std::max(largest, std::sqrt(d0 * d0 + d1 * d1 + d2 * d2));
            }
    }
    // Below half a CIELAB unit (a quarter of what the eye tells apart) the
    // picture is flat, and scaling up its rounding noise would show it.
    s.scale = largest > 0.5f ? 1.0f / largest : 0.0f;
    s.ready = true;
    m_stats[slot] = s;
    out = s;
    return true;
}

void SaliencyNode::render(PixelBuffer& dst, const RenderState& state) const {
    const IRect area = outputArea(*this, dst);
    if (area.isEmpty()) return;
    Stats s;
    if (!stats(state, s)) {
        dst.fillTransparent();
        return;
    }
    engine::renderNode(*inputs()[1], dst, state);
    for (int y = area.y; y < area.top(); ++y) {
        float* o = dst.at(area.x, y);
        for (int i = 0; i < area.w; ++i, o += 4) {
            float lab[3];
            toLab(o, state.space, lab);
            const float d0 = lab[0] - s.mean[0], d1 = lab[1] - s.mean[1], d2 = lab[2] - s.mean[2];
            const float v = std::min(std::sqrt(d0 * d0 + d1 * d1 + d2 * d2) * s.scale, 1.0f);
            o[0] = o[1] = o[2] = v;
            o[3] = 1.0f;
        }
    }
    dst.clearOutside(area);
}

}  // namespace cif::builtins::blur
