#include "platform/image/Nodes.h"

#include <algorithm>
#include <cassert>
#include <cstring>

#include "platform/image/Pixel4.h"
#include "platform/image/SpanOps.h"

namespace cif::engine {

// ---------------------------------------------------------------- source

SourceNode::SourceNode(std::shared_ptr<const void> owner, const void* pixels, int width, int height,
                       size_t bytesPerRow, Format format, int originX, int originY)
    : Node({}, Rect{double(originX), double(originY), double(width), double(height)}),
      m_owner(std::move(owner)),
      m_pixels(static_cast<const uint8_t*>(pixels)),
      m_width(width),
      m_height(height),
      m_bytesPerRow(bytesPerRow),
      m_format(format),
      m_originX(originX),
      m_originY(originY) {}

void SourceNode::render(PixelBuffer& dst, const RenderState& state) const {
    const IRect mine{m_originX, m_originY, m_width, m_height};
    const IRect area = dst.rect().intersected(mine);
    if (area.isEmpty()) {
        dst.fillTransparent();
        return;
    }
    // Rows of a tile lie a whole picture row apart in memory, too far for
    // the hardware to guess the next one: the row a few ahead is fetched
    // while this one decodes.
    constexpr int kAhead = 4;
    for (int y = area.y; y < area.top(); ++y) {
        const int local = y - m_originY;
        const size_t col = size_t(area.x - m_originX);
        float* out = dst.at(area.x, y);
        if (m_format == Format::RGBA8PremulTopDown) {
            const uint8_t* in = m_pixels + size_t(m_height - 1 - local) * m_bytesPerRow + col * 4;
            if (y + kAhead < area.top()) {
                const uint8_t* next = in - kAhead * m_bytesPerRow;
                for (size_t b = 0; b < size_t(area.w) * 4; b += 64)
                    __builtin_prefetch(next + b);
            }
            decodeRGBA8(in, out, area.w, state.space);
        } else {
            const uint8_t* in = m_pixels + size_t(local) * m_bytesPerRow + col * 4 * sizeof(float);
            std::memcpy(out, in, size_t(area.w) * 4 * sizeof(float));
        }
    }
    dst.clearOutside(area);
}

// ---------------------------------------------------------------- constant

ConstantNode::ConstantNode(const double rgba[4]) : Node({}, Rect::infinite()) {
    std::copy(rgba, rgba + 4, m_rgba);
}

void ConstantNode::render(PixelBuffer& dst, const RenderState& state) const {
    float c[4];
    colorToWorking(m_rgba, c, state.space);
    float* p = dst.data();
    const size_t n = size_t(dst.rect().area());
    for (size_t i = 0; i < n; ++i, p += 4)
        std::copy(c, c + 4, p);
}

// ---------------------------------------------------------------- transform

TransformNode::TransformNode(NodePtr input, const Affine& transform)
    : Node({input}, transform.mapRect(input->extent())),
      m_transform(transform),
      m_inverse(transform.inverted()) {
    assert(transform.isInvertible());
}

Rect TransformNode::regionOfInterest(size_t, const Rect& output) const {
    if (m_transform.isIntegerTranslation()) return m_inverse.mapRect(output);
    // One pixel more on every side for the bilinear neighbours.
    return m_inverse.mapRect(output).inset(-1, -1);
}

void TransformNode::render(PixelBuffer& dst, const RenderState& state) const {
    const Node& in = *inputs().front();
    const IRect out = dst.rect();
    if (m_transform.isIntegerTranslation()) {
        // Exact: the input renders straight into dst at the shifted position.
        dst.relabel({out.x - int(m_transform.tx), out.y - int(m_transform.ty), out.w, out.h});
        renderNode(in, dst, state);
        dst.relabel(out);
        return;
    }
    // Resample in blocks small enough that a block's source region stays in
    // the core's cache while the block walks diagonally across it.
    constexpr int kBlock = 128;
    for (int by = out.y; by < out.top(); by += kBlock)
        for (int bx = out.x; bx < out.right(); bx += kBlock)
            resampleBlock(
                IRect{bx, by, std::min(kBlock, out.right() - bx), std::min(kBlock, out.top() - by)},
                dst, state);
}

void TransformNode::resampleBlock(const IRect& out, PixelBuffer& dst,
                                  const RenderState& state) const {
    const IRect roi = inputRegion(0, out);
    if (roi.isEmpty()) {
        for (int y = out.y; y < out.top(); ++y)
            std::memset(dst.at(out.x, y), 0, size_t(out.w) * 4 * sizeof(float));
        return;
    }
    PooledBuffer srcBuf(roi);
    renderNode(*inputs().front(), *srcBuf, state);
    const float* src = srcBuf->data();
    const int sw = roi.w, sh = roi.h;
    const size_t stride = size_t(sw) * 4;
    const Affine& m = m_inverse;

    // Source positions are computed from absolute coordinates, so every
    // pixel's value is independent of how the output is split into tiles.
    for (int y = out.y; y < out.top(); ++y) {
        const double py = y + 0.5;
        // Source positions relative to pixel centres (hence the -0.5).
        const double rowU = m.c * py + m.tx - 0.5, rowV = m.d * py + m.ty - 0.5;
        float* o = dst.at(out.x, y);
        for (int x = out.x; x < out.right(); ++x, o += 4) {
            const double px = x + 0.5;
            const double u = m.a * px + rowU, v = m.b * px + rowV;
            int i0, j0;
            if (!floorToInt(u, i0) || !floorToInt(v, j0)) {
                o[0] = o[1] = o[2] = o[3] = 0.0f;
                continue;
            }
            const float fx = float(u - i0), fy = float(v - j0);
            i0 -= roi.x;
            j0 -= roi.y;
            if (i0 >= 0 && j0 >= 0 && i0 + 1 < sw && j0 + 1 < sh) {
                // Two-step interpolation: exact on flat areas (an opaque
                // interior stays exactly opaque), and fewer operations.
                const float* p00 = src + size_t(j0) * stride + size_t(i0) * 4;
                const float* p01 = p00 + stride;
                const Pixel4 a00 = loadPixel(p00), a01 = loadPixel(p01);
                const Pixel4 lo = a00 + (loadPixel(p00 + 4) - a00) * fx;
                const Pixel4 hi = a01 + (loadPixel(p01 + 4) - a01) * fx;
                storePixel(o, lo + (hi - lo) * fy);
            } else if (i0 < -1 || j0 < -1 || i0 >= sw || j0 >= sh) {
                storePixel(o, splat(0.0f));
            } else {
                Pixel4 t[4];
                for (int k = 0; k < 4; ++k) {
                    const int ti = i0 + (k & 1), tj = j0 + (k >> 1);
                    t[k] = (ti < 0 || tj < 0 || ti >= sw || tj >= sh)
                               ? splat(0.0f)
                               : loadPixel(src + size_t(tj) * stride + size_t(ti) * 4);
                }
                const Pixel4 lo = t[0] + (t[1] - t[0]) * fx, hi = t[2] + (t[3] - t[2]) * fx;
                storePixel(o, lo + (hi - lo) * fy);
            }
        }
    }
}

// ---------------------------------------------------------------- crop

CropNode::CropNode(NodePtr input, const Rect& rect)
    : PointNode(input, input->extent().intersected(rect)), m_rect(rect) {}

Rect CropNode::regionOfInterest(size_t, const Rect& output) const {
    return output.intersected(m_rect);
}

IRect CropNode::pixelArea() const {
    const IRect inner = pixelsCentredIn(m_rect);
    const Rect& ext = input()->extent();
    return ext.isInfinite() ? inner : inner.intersected(coveringPixels(ext));
}

// ---------------------------------------------------------------- clamp

namespace {
IRect repeatedPixels(const Rect& extent) {
    return extent.isInfinite() ? IRect{} : pixelsCentredIn(extent);
}
int clampInt(int v, int lo, int hi) {
    return v < lo ? lo : (v > hi ? hi : v);
}
int64_t positiveMod(int64_t v, int64_t m) {
    return ((v % m) + m) % m;
}
}  // namespace

ClampNode::ClampNode(NodePtr input)
    : Node({input}, repeatedPixels(input->extent()).isEmpty() ? Rect{} : Rect::infinite()),
      m_pixels(repeatedPixels(input->extent())) {}

Rect ClampNode::regionOfInterest(size_t, const Rect& output) const {
    const IRect o = coveringPixels(output);
    if (o.isEmpty() || m_pixels.isEmpty()) return {};
    const int x0 = clampInt(o.x, m_pixels.x, m_pixels.right() - 1);
    const int x1 = clampInt(o.right() - 1, m_pixels.x, m_pixels.right() - 1);
    const int y0 = clampInt(o.y, m_pixels.y, m_pixels.top() - 1);
    const int y1 = clampInt(o.top() - 1, m_pixels.y, m_pixels.top() - 1);
    return IRect{x0, y0, x1 - x0 + 1, y1 - y0 + 1}.toRect();
}

void ClampNode::render(PixelBuffer& dst, const RenderState& state) const {
    const IRect out = dst.rect();
    const IRect roi = coveringPixels(regionOfInterest(0, out.toRect()));
    if (roi.isEmpty()) {
        dst.fillTransparent();
        return;
    }
    PooledBuffer src(roi);
    renderNode(*inputs().front(), *src, state);
    const int midX0 = std::max(out.x, roi.x), midX1 = std::min(out.right(), roi.right());
    for (int y = out.y; y < out.top(); ++y) {
        const int sy = clampInt(y, roi.y, roi.top() - 1);
        float* o = dst.row(y);
        const float* first = src->at(roi.x, sy);
        const float* last = src->at(roi.right() - 1, sy);
        int x = out.x;
        // Left of the input's pixels, but never past the row when the whole
        // row lies to their left.
        const int leftEnd = std::min(midX0, out.right());
        for (; x < leftEnd; ++x, o += 4)
            std::memcpy(o, first, 4 * sizeof(float));
        if (midX1 > midX0) {
            std::memcpy(o, src->at(midX0, sy), size_t(midX1 - midX0) * 4 * sizeof(float));
            o += size_t(midX1 - midX0) * 4;
            x = midX1;
        }
        for (; x < out.right(); ++x, o += 4)
            std::memcpy(o, last, 4 * sizeof(float));
    }
}

// ---------------------------------------------------------------- wrap

WrapNode::WrapNode(NodePtr input)
    : Node({input}, repeatedPixels(input->extent()).isEmpty() ? Rect{} : Rect::infinite()),
      m_pixels(repeatedPixels(input->extent())) {}

namespace {
// The input interval [start, start + len) of one period that an output
// interval reads, or the whole period when it wraps or is longer.
void wrapInterval(int outStart, int outLen, int periodStart, int period, int& start, int& len) {
    if (outLen >= period) {
        start = periodStart;
        len = period;
        return;
    }
    const int s = int(positiveMod(int64_t(outStart) - periodStart, period));
    if (s + outLen <= period) {
        start = periodStart + s;
        len = outLen;
    } else {
        start = periodStart;
        len = period;
    }
}
}  // namespace

Rect WrapNode::regionOfInterest(size_t, const Rect& output) const {
    const IRect o = coveringPixels(output);
    if (o.isEmpty() || m_pixels.isEmpty()) return {};
    IRect r;
    wrapInterval(o.x, o.w, m_pixels.x, m_pixels.w, r.x, r.w);
    wrapInterval(o.y, o.h, m_pixels.y, m_pixels.h, r.y, r.h);
    return r.toRect();
}

void WrapNode::render(PixelBuffer& dst, const RenderState& state) const {
    const IRect out = dst.rect();
    const IRect roi = coveringPixels(regionOfInterest(0, out.toRect()));
    if (roi.isEmpty()) {
        dst.fillTransparent();
        return;
    }
    PooledBuffer src(roi);
    renderNode(*inputs().front(), *src, state);
    const int pw = m_pixels.w, ph = m_pixels.h;
    for (int y = out.y; y < out.top(); ++y) {
        const int sy = m_pixels.y + int(positiveMod(int64_t(y) - m_pixels.y, ph));
        float* o = dst.row(y);
        int sx = m_pixels.x + int(positiveMod(int64_t(out.x) - m_pixels.x, pw));
        for (int x = 0; x < out.w;) {
            // Copy the longest run before the period wraps.
            const int run = std::min(out.w - x, m_pixels.right() - sx);
            std::memcpy(o, src->at(sx, sy), size_t(run) * 4 * sizeof(float));
            o += size_t(run) * 4;
            x += run;
            sx = m_pixels.x;
        }
    }
}

// ---------------------------------------------------------------- compositing

void SourceOverNode::combineSpan(const float* fg, float* bg, int n) const {
    sourceOverSpan(fg, bg, n);
}

// Colours add without a ceiling (the working space is extended range); the
// coverage of two opaque pixels is still full, not double, so the sum stays
// a valid picture that can be composited further.
void AdditionNode::combineSpan(const float* fg, float* bg, int n) const {
    for (int i = 0; i < 4 * n; ++i)
        bg[i] += fg[i];
    for (int i = 3; i < 4 * n; i += 4)
        bg[i] = std::min(bg[i], 1.0f);
}

}  // namespace cif::engine
