#include "platform/builtins/distortion/WarpNode.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>

#include "platform/builtins/distortion/WarpMath.h"
#include "platform/image/Pixel4.h"

namespace cif::builtins {

using engine::coveringPixels;
using engine::IRect;
using engine::Node;
using engine::NodePtr;
using engine::PixelBuffer;
using engine::PooledBuffer;
using engine::Rect;
using engine::RenderState;

namespace {

// Source points beyond this are treated as unreadable: float coordinates
// lose their fractional part long before it.
constexpr float kFarthest = float(1 << 28);

// Pixels that the source region may read from the input: its extent's
// pixels, or the renderer's whole addressable box for infinite inputs.
IRect readablePixels(const Node& input) {
    const Rect& ext = input.extent();
    if (ext.isInfinite())
        return {-engine::kPixelLimit, -engine::kPixelLimit, 2 * engine::kPixelLimit,
                2 * engine::kPixelLimit};
    return coveringPixels(ext);
}

// Largest input region one block may render before it is split: a few
// times the block, so torn maps (seams of tiles, wraps) stay cheap.
bool worthSplitting(const IRect& block, const IRect& roi) {
    if (block.w <= 1 && block.h <= 1) return false;
    if (roi.area() > (int64_t(1) << 22)) return true;
    return (block.w > 8 || block.h > 8) && roi.area() > 4 * block.area() + 4096;
}

// Bilinear sample at the source point (px, py) from a region of pixels
// where some of the four pixels may lie outside it (they read transparent
// black); NaN reads transparent. The weights come from the point alone, as
// in the short path, so a pixel's value never depends on the region.
engine::Pixel4 edgeSample(const float* src, const IRect& roi, float px, float py) {
    using engine::loadPixel;
    using engine::Pixel4;
    using engine::splat;
    const float wx = px - 0.5f, wy = py - 0.5f;
    if (!(std::abs(wx) < kFarthest && std::abs(wy) < kFarthest)) return splat(0.0f);
    const float fx = std::floor(wx), fy = std::floor(wy);
    const float fu = wx - fx, fv = wy - fy;
    const int i0 = int(fx) - roi.x, j0 = int(fy) - roi.y;
    const size_t stride = size_t(roi.w) * 4;
    Pixel4 t[4];
    for (int k = 0; k < 4; ++k) {
        const int ti = i0 + (k & 1), tj = j0 + (k >> 1);
        t[k] = (ti < 0 || tj < 0 || ti >= roi.w || tj >= roi.h)
                   ? splat(0.0f)
                   : loadPixel(src + size_t(tj) * stride + size_t(ti) * 4);
    }
    const Pixel4 lo = t[0] + (t[1] - t[0]) * fu, hi = t[2] + (t[3] - t[2]) * fu;
    return lo + (hi - lo) * fv;
}

}  // namespace

Rect WarpNode::sharedSource() const {
    return {};
}

WarpNode::WarpNode(std::vector<NodePtr> inputs, Rect extent, Rect warped)
    : Node(std::move(inputs), extent), m_warped(warped) {}

Rect WarpNode::regionOfInterest(size_t index, const Rect& output) const {
    if (index == 0) return sourceBounds(output).inset(-1, -1);
    return auxiliaryRegion(index, output);
}

Rect WarpNode::auxiliaryRegion(size_t, const Rect& output) const {
    return output;
}

int WarpNode::supersampling(const IRect&) const {
    return 1;
}

int WarpNode::stretchSupersampling(const IRect& block) const {
    constexpr int kSide = 5;
    const int step = std::max(1, block.w / (kSide - 1));
    float px[kSide][kSide], py[kSide][kSide];
    for (int j = 0; j < kSide; ++j) {
        const int y = std::min(block.y + j * step, block.top());
        float sx[4], sy[4];
        for (int i = 0; i < kSide; ++i) {
            mapSpan(std::min(block.x + i * step, block.right()), y, 1, 0.5f, 0.5f, sx, sy);
            px[j][i] = sx[0];
            py[j][i] = sy[0];
        }
    }
    float stretch = 0;
    for (int j = 0; j < kSide; ++j)
        for (int i = 0; i < kSide; ++i) {
            if (i + 1 < kSide)
                stretch =
                    std::max(stretch, std::hypot(px[j][i + 1] - px[j][i], py[j][i + 1] - py[j][i]));
            if (j + 1 < kSide)
                stretch =
                    std::max(stretch, std::hypot(px[j + 1][i] - px[j][i], py[j + 1][i] - py[j][i]));
        }
    // NaN (unreadable points) leaves the stretch as it is.
    stretch /= float(step);
    return stretch <= 2.5f ? 1 : stretch <= 5.0f ? 2 : 4;
}

void WarpNode::mapBlock(const IRect& block, float fx, float fy, float* sx, float* sy,
                        const RenderState&) const {
    const size_t stride = size_t(paddedWidth(block.w));
    for (int r = 0; r < block.h; ++r)
        mapSpan(block.x, block.y + r, block.w, fx, fy, sx + size_t(r) * stride,
                sy + size_t(r) * stride);
}

void WarpNode::render(PixelBuffer& dst, const RenderState& state) const {
    const IRect out = dst.rect();
    const Node& in = *inputs().front();
    const IRect warped = m_warped.isInfinite() ? out : coveringPixels(m_warped);
    if (out.intersected(warped).isEmpty()) {
        renderNode(in, dst, state);
        return;
    }
    // Blocks outside the extent are transparent without any mapping.
    const IRect live = extent().isInfinite() ? out : out.intersected(coveringPixels(extent()));
    // Inputs read only within a small fixed region (tilings) are rendered
    // once per render and shared by all tiles.
    std::shared_ptr<const PixelBuffer> shared;
    const Rect common = sharedSource();
    if (state.cache && !common.isEmpty() && !common.isUnbounded()) {
        const IRect region = coveringPixels(common.inset(-1, -1)).intersected(readablePixels(in));
        if (!region.isEmpty() && region.area() <= kMaxSharedPixels)
            shared = state.cache->materialise(in, region, state);
    }
    const int gx0 = engine::floorDiv(out.x, kBlock) * kBlock,
              gy0 = engine::floorDiv(out.y, kBlock) * kBlock;
    for (int gy = gy0; gy < out.top(); gy += kBlock) {
        for (int gx = gx0; gx < out.right(); gx += kBlock) {
            if (state.cancelled()) return;
            const IRect grid{gx, gy, kBlock, kBlock};
            const IRect block = grid.intersected(out);
            if (block.intersected(live).isEmpty()) {
                for (int y = block.y; y < block.top(); ++y)
                    std::memset(dst.at(block.x, y), 0, size_t(block.w) * 4 * sizeof(float));
                continue;
            }
            if (block.intersected(warped).isEmpty()) {
                // The identity part of the map: a straight copy.
                PooledBuffer copy(block);
                renderNode(in, *copy, state);
                for (int y = block.y; y < block.top(); ++y)
                    std::memcpy(dst.at(block.x, y), copy->row(y),
                                size_t(block.w) * 4 * sizeof(float));
                continue;
            }
            warpBlock(block, std::clamp(supersampling(grid), 1, 4), shared.get(), dst, state);
        }
    }
    // Bilinear reads may reach a little past the extent; what lies outside
    // it is transparent whichever tile computes it.
    if (!extent().isInfinite()) dst.clearOutside(live);
}

void WarpNode::warpBlock(const IRect& block, int samples, const PixelBuffer* shared,
                         PixelBuffer& dst, const RenderState& state) const {
    // Source points of every sample of the block: one plane of rows per
    // sample (a regular grid inside each pixel; its centre without
    // supersampling).
    const int pw = paddedWidth(block.w);
    const size_t plane = size_t(pw) * size_t(block.h);
    const int count = samples * samples;
    // The point arrays come from the thread's buffer pool (two floats per
    // point: four per pool pixel), so blocks after the first allocate nothing.
    // With supersampling, plane 0 holds the pixel centres: pixels that the
    // map leaves in place keep their exact value instead of a blend of their
    // neighbourhood.
    const int planes = count == 1 ? 1 : count + 1;
    const size_t points = plane * size_t(planes);
    PooledBuffer store(IRect{0, 0, int((points + 1) / 2), 1});
    float* const xs = store->data();
    float* const ys = xs + points;
    if (planes > count) mapBlock(block, 0.5f, 0.5f, xs, ys, state);
    for (int s = 0; s < count; ++s) {
        const size_t at = size_t(s + planes - count) * plane;
        mapBlock(block, (float(s % samples) + 0.5f) / float(samples),
                 (float(s / samples) + 0.5f) / float(samples), xs + at, ys + at, state);
    }

    // The bounding box of the finite source points; the others become NaN
    // (transparent), as do the padding lanes.
    using namespace warp;
    const F4 far = f4(kFarthest), nan = f4(std::numeric_limits<float>::quiet_NaN());
    F4 lo0 = f4(std::numeric_limits<float>::infinity()), lo1 = lo0, hi0 = -lo0, hi1 = -lo0;
    for (int r = 0; r < block.h * planes; ++r) {
        float* px = xs + size_t(r) * size_t(pw);
        float* py = ys + size_t(r) * size_t(pw);
        for (int i = block.w; i < pw; ++i)
            px[i] = py[i] = std::numeric_limits<float>::quiet_NaN();
        for (int i = 0; i < pw; i += 4) {
            const F4 x = load4(px + i), y = load4(py + i);
            const I4 ok = (vabs(x) < far) & (vabs(y) < far);
            const F4 cx = select(ok, x, nan), cy = select(ok, y, nan);
            store4(px + i, cx);
            store4(py + i, cy);
            // Comparisons with NaN are false, so NaN lanes keep the bounds.
            lo0 = cx < lo0 ? cx : lo0;
            hi0 = cx > hi0 ? cx : hi0;
            lo1 = cy < lo1 ? cy : lo1;
            hi1 = cy > hi1 ? cy : hi1;
        }
    }
    float x0 = lo0[0], y0 = lo1[0], x1 = hi0[0], y1 = hi1[0];
    for (int k = 1; k < 4; ++k) {
        x0 = std::min(x0, lo0[k]);
        y0 = std::min(y0, lo1[k]);
        x1 = std::max(x1, hi0[k]);
        y1 = std::max(y1, hi1[k]);
    }
    IRect roi;
    if (x0 <= x1 && y0 <= y1) {
        // Bilinear reads pixels floor(p - 0.5) and the next one.
        const int ix0 = int(std::floor(x0 - 0.5f)), iy0 = int(std::floor(y0 - 0.5f));
        const int ix1 = int(std::floor(x1 - 0.5f)) + 1, iy1 = int(std::floor(y1 - 0.5f)) + 1;
        roi = IRect{ix0, iy0, ix1 - ix0 + 1, iy1 - iy0 + 1}.intersected(
            readablePixels(*inputs().front()));
    }
    if (shared) roi = roi.intersected(shared->rect());
    if (!shared && !roi.isEmpty() && worthSplitting(block, roi)) {
        const int hw = (block.w + 1) / 2, hh = (block.h + 1) / 2;
        const IRect parts[4] = {{block.x, block.y, hw, hh},
                                {block.x + hw, block.y, block.w - hw, hh},
                                {block.x, block.y + hh, hw, block.h - hh},
                                {block.x + hw, block.y + hh, block.w - hw, block.h - hh}};
        for (const IRect& part : parts)
            if (!part.isEmpty()) warpBlock(part, samples, shared, dst, state);
        return;
    }
    if (roi.isEmpty()) {
        for (int y = block.y; y < block.top(); ++y)
            std::memset(dst.at(block.x, y), 0, size_t(block.w) * 4 * sizeof(float));
        return;
    }

    // The shared pixels, or the block's own region rendered now.
    std::optional<PooledBuffer> own;
    if (shared) {
        roi = shared->rect();
    } else {
        own.emplace(roi);
        renderNode(*inputs().front(), **own, state);
    }
    const float* src = shared ? shared->data() : (**own).data();
    const int sw = roi.w, sh = roi.h;
    const size_t stride = size_t(sw) * 4;
    using engine::loadPixel;
    using engine::Pixel4;
    using engine::splat;
    // Per row, a vector pass finds each point's top-left pixel and weights;
    // points whose four pixels all lie in the region (nearly all) take the
    // short path, the rest (edges, outside) the careful one.
    int offset[kBlock + 4];
    float wu[kBlock + 4], wv[kBlock + 4];
    const F4 roiX = f4(float(roi.x)), roiY = f4(float(roi.y));
    const F4 lastX = f4(float(sw - 1)), lastY = f4(float(sh - 1));
    const float weight = 1.0f / float(count);
    for (int r = 0; r < block.h * planes; ++r) {
        const int s = r / block.h - (planes - count);  // -1: the centre plane
        const int row = r % block.h;
        const float* px = xs + size_t(r) * size_t(pw);
        const float* py = ys + size_t(r) * size_t(pw);
        for (int i = 0; i < pw; i += 4) {
            // Pixel centres are at +0.5; NaN lanes (unreadable) become 0 for
            // the conversions and are marked outside.
            const F4 wx = load4(px + i) - 0.5f, wy = load4(py + i) - 0.5f;
            const I4 finite = (wx == wx) & (wy == wy);
            const F4 cx = select(finite, wx, f4(0.0f)), cy = select(finite, wy, f4(0.0f));
            const F4 flx = vfloor(cx), fly = vfloor(cy);
            store4(wu + i, cx - flx);
            store4(wv + i, cy - fly);
            // Whole numbers below 2^24 (regions hold at most 2^22 pixels), so
            // the index arithmetic is exact in float.
            const F4 iu = flx - roiX, iv = fly - roiY;
            const I4 inner = finite & (iu >= 0.0f) & (iv >= 0.0f) & (iu < lastX) & (iv < lastY);
            const I4 off =
                inner ? __builtin_convertvector(iv * float(sw) + iu, I4) : I4{-1, -1, -1, -1};
            std::memcpy(offset + i, &off, sizeof off);
        }
        const float* cx0 = xs + size_t(row) * size_t(pw);
        const float* cy0 = ys + size_t(row) * size_t(pw);
        const float centreY = float(block.y + row) + 0.5f;
        float* o = dst.at(block.x, block.y + row);
        for (int i = 0; i < block.w; ++i, o += 4) {
            // Supersamples skip the pixels whose centre stays in place.
            if (s >= 0 && planes > count && cx0[i] == float(block.x + i) + 0.5f &&
                cy0[i] == centreY)
                continue;
            Pixel4 value;
            if (offset[i] >= 0) {
                // Two-step interpolation, exact on flat areas.
                const float* p00 = src + size_t(offset[i]) * 4;
                const float* p01 = p00 + stride;
                const float fu = wu[i], fv = wv[i];
                const Pixel4 a00 = loadPixel(p00), a01 = loadPixel(p01);
                const Pixel4 lo = a00 + (loadPixel(p00 + 4) - a00) * fu;
                const Pixel4 hi = a01 + (loadPixel(p01 + 4) - a01) * fu;
                value = lo + (hi - lo) * fv;
            } else {
                value = edgeSample(src, roi, px[i], py[i]);
            }
            if (s < 0 || count == 1)
                engine::storePixel(o, value);
            else if (s == 0)
                engine::storePixel(o, value * weight);
            else
                engine::storePixel(o, loadPixel(o) + value * weight);
        }
    }
}

Rect boundsWithFixedRegion(const Rect& output, const Rect& warped, const Rect& region) {
    if (output.intersected(warped).isEmpty()) return output;
    if (warped.contains(output)) return region;
    return output.united(region);
}

Rect warpedExtent(const Rect& input, const Rect& warped, const Rect& region) {
    if (region.intersected(input).isEmpty()) return input;
    return input.united(warped);
}

}  // namespace cif::builtins
