#include "platform/builtins/blur/SeparableBlur.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace cif::builtins::blur {

using engine::IRect;
using engine::PixelBuffer;
using engine::PooledBuffer;
using engine::Rect;

namespace {

constexpr int kPixelAlign = kBlockAlign / 4;

int padPixels(int w) {
    return (w + kPixelAlign - 1) / kPixelAlign * kPixelAlign;
}

// Input columns are rendered in strips of at most this many pixels, so the
// first pass's buffer stays bounded whatever the reach.
constexpr int64_t kStripPixels = int64_t(1) << 20;

// Banded rendering keeps a band's input rows and its vertical pass within
// about this many bytes, so both stay in the core's cache.
constexpr size_t kBandBytes = size_t(768) << 10;

}  // namespace

Rect grownExtent(const Rect& extent, double rx, double ry) {
    if (extent.isInfinite() || extent.isEmpty()) return extent;
    return extent.inset(-rx, -ry);
}

SeparableBlurNode::SeparableBlurNode(engine::NodePtr input, Kernel1D horizontal, Kernel1D vertical,
                                     std::shared_ptr<const BlurFinish> finish)
    : Node({input}, finish ? input->extent()
                           : grownExtent(input->extent(), horizontal.reach, vertical.reach)),
      m_x(std::move(horizontal)),
      m_y(std::move(vertical)),
      m_finish(std::move(finish)) {}

// The horizontal pass over rows of `src` (area.h rows of roiW pixels,
// `stride` floats apart): transposed, run down the transposed rows, and
// transposed back into dst over area.
void SeparableBlurNode::horizontalByTranspose(const float* src, size_t stride, int roiW,
                                              const IRect& area, int padH, size_t strideC,
                                              PixelBuffer& dst) const {
    PooledBuffer trans(IRect{0, 0, padH + 4, roiW});
    transposePixels(src, stride, trans->data(), strideC, area.h, roiW);
    if (padH > area.h)
        for (int r = 0; r < roiW; ++r)
            std::fill_n(trans->data() + size_t(r) * strideC + size_t(area.h) * 4,
                        size_t(padH - area.h) * 4, 0.0f);
    PooledBuffer horiz(IRect{0, 0, padH + 4, area.w});
    runPass(m_x, trans->data(), strideC, horiz->data(), strideC, area.w, padH * 4);
    transposePixels(horiz->data(), strideC, dst.at(area.x, area.y), size_t(dst.width()) * 4, area.w,
                    area.h);
}

// One output row of a kernel that runs along rows: the row pass over v (its
// vertical-pass row, vFloats floats, zeroed past roiW pixels so the pass
// reads zeros there), then the finish (original: the input's row under the
// output) or the opaque snap, into row. The pass writes whole vectors of two
// pixels: straight into row when line is null, else into line and copied.
void SeparableBlurNode::finishRow(float* v, size_t vFloats, int roiW, const float* original,
                                  float* row, float* line, int w) const {
    float* out = line ? line : row;
    if (m_x.kind == Kernel1D::Kind::Copy) {
        out = v;
    } else {
        std::fill(v + size_t(roiW) * 4, v + vFloats, 0.0f);
        runRowPass(m_x, v, out, w);
    }
    if (m_finish)
        m_finish->apply(original, out, w);
    else
        snapOpaque(out, w);
    if (out != row) std::memcpy(row, out, size_t(w) * 4 * sizeof(float));
}

Rect SeparableBlurNode::regionOfInterest(size_t, const Rect& output) const {
    return output.inset(-m_x.reach, -m_y.reach);
}

// Kernels that run along rows, with a reach small enough for a band of rows
// to fit in cache, make the output in bands: the vertical pass of a band's
// rows, then the row pass and the finish of each row, and the band's rows
// handed on while they are still in cache. An input that reads single pixels
// (a picture, colour filters) is rendered band by band too, into a window
// that keeps the rows the next band shares with this one; other inputs,
// whose regions would grow with every split, are rendered once, whole.
// Answers false, rendering nothing, where bands do not fit.
bool SeparableBlurNode::renderInBands(PixelBuffer& dst, const IRect& area,
                                      const engine::RenderState& state) const {
    const int rx = m_x.reach, ry = m_y.reach;
    const IRect roi{area.x - rx, area.y - ry, area.w + 2 * rx, area.h + 2 * ry};
    const int passW = padPixels(roi.w), padW = passW + 12;
    // A row length of a multiple of 256 pixels (4 KiB) is widened so the
    // rows a pass reads together do not share cache sets.
    const int inW = passW % 256 == 0 ? passW + 4 : passW;
    const size_t inStride = size_t(inW) * 4, strideB = size_t(padW) * 4 + 16;
    const size_t rowBytes = (inStride + strideB) * sizeof(float);
    const size_t marginBytes = size_t(2 * ry) * inStride * sizeof(float);
    if (marginBytes + 32 * rowBytes > kBandBytes) return false;
    const int band = std::min(area.h, int((kBandBytes - marginBytes) / rowBytes));

    const engine::Node& input = *inputs().front();
    const bool stream = engine::graphReadsSinglePixels(input);
    // stream: band + 2 ry rows, the first 2 ry carried over from the band
    // before. Otherwise the whole region, rendered once.
    PooledBuffer in(IRect{roi.x, roi.y, inW, stream ? band + 2 * ry : roi.h});
    if (!stream) {
        engine::renderNode(input, *in, state);
        if (state.cancelled()) return true;
    }
    PooledBuffer vert(IRect{0, 0, padW + 4, band});
    const bool direct = area.w % 8 == 0;
    std::vector<float> line(direct ? 0 : size_t(padPixels(area.w)) * 4);
    for (int j0 = 0; j0 < area.h; j0 += band) {
        const int bh = std::min(band, area.h - j0);
        const float* rows = in->data();  // row 0 is region row j0
        if (stream) {
            int carried = 0;
            if (j0 > 0) {
                carried = 2 * ry;
                std::memmove(in->data(), in->data() + size_t(band) * inStride,
                             size_t(carried) * inStride * sizeof(float));
            }
            PixelBuffer fresh =
                PixelBuffer::view(in->data() + size_t(carried) * inStride,
                                  IRect{roi.x, roi.y + j0 + carried, inW, bh + 2 * ry - carried});
            engine::renderNode(input, fresh, state);
            if (state.cancelled()) return true;
        } else {
            rows += size_t(j0) * inStride;
        }
        runPass(m_y, rows, inStride, vert->data(), strideB, bh, passW * 4);
        for (int j = 0; j < bh; ++j)
            finishRow(vert->data() + size_t(j) * strideB, strideB, roi.w,
                      rows + size_t(j + ry) * inStride + size_t(rx) * 4,
                      dst.at(area.x, area.y + j0 + j), direct ? nullptr : line.data(), area.w);
        if (area.x == dst.rect().x && area.w == dst.width())
            state.rowsFinished(*this, dst, area.y + j0, area.y + j0 + bh);
    }
    dst.clearOutside(area);
    return true;
}

// Vertical pass over the input's region of interest (in column strips), then
// the horizontal pass: along rows, or down the rows of a transpose and
// transposed back into the destination.
void SeparableBlurNode::render(PixelBuffer& dst, const engine::RenderState& state) const {
    const IRect area = dst.rect().intersected(engine::coveringPixels(extent()));
    if (area.isEmpty()) {
        dst.fillTransparent();
        return;
    }
    if (runsAlongRows(m_x) && renderInBands(dst, area, state)) return;
    const int rx = m_x.reach, ry = m_y.reach;
    const IRect roi{area.x - rx, area.y - ry, area.w + 2 * rx, area.h + 2 * ry};
    const bool rows = runsAlongRows(m_x);
    // The vertical pass covers the region of interest in whole vectors;
    // along rows, the horizontal pass reads up to ten pixels past it, which
    // the buffer holds as zeros.
    const int passW = padPixels(roi.w), padW = rows ? passW + 12 : passW;
    const int padH = padPixels(area.h);
    // Row strides avoid multiples of 4 KiB, which would put the rows a
    // transpose touches together into the same cache sets.
    const size_t strideB = size_t(padW) * 4 + 16, strideC = size_t(padH) * 4 + 16;

    PooledBuffer vert(IRect{0, 0, padW + 4, area.h});
    const int strip =
        std::clamp(padPixels(int(kStripPixels / std::max(1, roi.h))), kPixelAlign, passW);
    // The finish reads the input's own pixels under the output area: from
    // the input buffer itself when it is rendered in one strip (kept until
    // the end), else from a copy gathered strip by strip.
    std::unique_ptr<PooledBuffer> kept, original;
    if (m_finish && strip < passW) original = std::make_unique<PooledBuffer>(area);
    for (int sx = 0; sx < passW; sx += strip) {
        const int sw = std::min(strip, passW - sx);
        // A row length of a multiple of 256 pixels (4 KiB) is widened for
        // the same reason as the strides above.
        const int inW = sw % 256 == 0 ? sw + 4 : sw;
        auto in = std::make_unique<PooledBuffer>(IRect{roi.x + sx, roi.y, inW, roi.h});
        engine::renderNode(*inputs().front(), **in, state);
        if (state.cancelled()) return;
        runPass(m_y, (*in)->data(), size_t(inW) * 4, vert->data() + size_t(sx) * 4, strideB, area.h,
                sw * 4);
        if (original) {
            const int x0 = std::max(area.x, roi.x + sx),
                      x1 = std::min(area.right(), roi.x + sx + sw);
            for (int y = area.y; y < area.top() && x0 < x1; ++y)
                std::memcpy((*original)->at(x0, y), (*in)->at(x0, y),
                            size_t(x1 - x0) * 4 * sizeof(float));
        } else if (m_finish) {
            kept = std::move(in);
        }
    }
    auto originalRow = [&](int y) -> const float* {
        return original ? (*original)->at(area.x, y) : (*kept)->at(area.x, y);
    };

    if (rows) {
        // Box and sampled kernels run straight along the rows; each row is
        // finished while it is in cache. The row pass writes whole vectors
        // of two pixels, straight into the destination when its rows hold
        // them.
        const bool direct = area.w % 8 == 0;
        std::vector<float> line(direct ? 0 : size_t(padPixels(area.w)) * 4);
        for (int j = 0; j < area.h; ++j)
            finishRow(vert->data() + size_t(j) * strideB, strideB, roi.w,
                      m_finish ? originalRow(area.y + j) : nullptr, dst.at(area.x, area.y + j),
                      direct ? nullptr : line.data(), area.w);
    } else {
        horizontalByTranspose(vert->data(), strideB, roi.w, area, padH, strideC, dst);
        for (int y = area.y; y < area.top(); ++y) {
            if (m_finish)
                m_finish->apply(originalRow(y), dst.at(area.x, y), area.w);
            else
                snapOpaque(dst.at(area.x, y), area.w);
        }
    }
    dst.clearOutside(area);
}

}  // namespace cif::builtins::blur
