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

// The horizontal pass over rows of `src` (area.h rows of roiW pixels from
// roiX, `stride` floats apart): transposed, run down the transposed rows,
// and transposed back into dst over area.
void SeparableBlurNode::horizontalByTranspose(const float* src, size_t stride, int roiX, int roiW,
                                              const IRect& area, int padH, size_t strideC,
                                              PixelBuffer& dst) const {
    PooledBuffer trans(IRect{0, 0, padH + 4, roiW});
    transposePixels(src, stride, trans->data(), strideC, area.h, roiW);
    if (padH > area.h)
        for (int r = 0; r < roiW; ++r)
            std::fill_n(trans->data() + size_t(r) * strideC + size_t(area.h) * 4,
                        size_t(padH - area.h) * 4, 0.0f);
    PooledBuffer horiz(IRect{0, 0, padH + 4, area.w});
    runPass(m_x, trans->data(), strideC, roiX, horiz->data(), strideC, area.x, area.w, padH * 4);
    transposePixels(horiz->data(), strideC, dst.at(area.x, area.y), size_t(dst.width()) * 4, area.w,
                    area.h);
}

// One output row of a kernel that runs along rows: the row pass over v (its
// vertical-pass row of roiW pixels from roiX, vFloats floats, zeroed past
// roiW pixels so the pass reads zeros there), then the finish (original:
// the input's row under the output) or the opaque snap, into row.
void SeparableBlurNode::finishRow(float* v, size_t vFloats, int roiX, int roiW,
                                  const float* original, float* row, int x, int w) const {
    std::fill(v + size_t(roiW) * 4, v + vFloats, 0.0f);
    runRowPass(m_x, v, roiX, row, x, w);
    if (m_finish)
        m_finish->apply(original, row, w);
    else
        snapOpaque(row, w);
}

engine::IRect SeparableBlurNode::inputPixels(const IRect& area) const {
    const PassSpan xs = passInput(m_x, area.x, area.right());
    const PassSpan ys = passInput(m_y, area.y, area.top());
    return {xs.begin, ys.begin, xs.length(), ys.length()};
}

Rect SeparableBlurNode::regionOfInterest(size_t, const Rect& output) const {
    if (output.isEmpty() || output.isInfinite()) return output.inset(-m_x.reach, -m_y.reach);
    return inputPixels(engine::coveringPixels(output)).toRect();
}

// Kernels that run along rows, with a reach small enough for a band of rows
// to fit in cache, make the output in bands: the vertical pass of a band's
// rows, then the row pass and the finish of each row, and the band's rows
// handed on while they are still in cache. Bands start at multiples of the
// band height in picture coordinates, a multiple of the vertical pass's
// grid, so every band but the first starts a segment of running sums. An
// input that reads single pixels (a picture, colour filters) is rendered
// band by band too, into a window that keeps the rows the next band shares
// with this one; other inputs, whose regions would grow with every split,
// are rendered once, whole. Answers false, rendering nothing, where bands
// do not fit.
bool SeparableBlurNode::renderInBands(PixelBuffer& dst, const IRect& area,
                                      const engine::RenderState& state) const {
    const int ry = m_y.reach, grid = anchorGrid(m_y);
    const IRect roi = inputPixels(area);
    const int passW = padPixels(roi.w), padW = passW + 12;
    // A row length of a multiple of 256 pixels (4 KiB) is widened so the
    // rows a pass reads together do not share cache sets.
    const int inW = passW % 256 == 0 ? passW + 4 : passW;
    const size_t inStride = size_t(inW) * 4, strideB = size_t(padW) * 4 + 16;
    const size_t rowBytes = (inStride + strideB) * sizeof(float);
    const size_t marginBytes = size_t(2 * ry) * inStride * sizeof(float);
    if (marginBytes + size_t(std::max(32, grid)) * rowBytes > kBandBytes) return false;
    const int fit = int((kBandBytes - marginBytes) / rowBytes);
    const int band = std::max(grid, fit / grid * grid);

    const engine::Node& input = *inputs().front();
    const bool stream = engine::graphReadsSinglePixels(input);
    // stream: one band's input at a time (at most band + 2 ry rows), rows
    // shared with the band before carried over. Otherwise the whole region,
    // rendered once.
    PooledBuffer in(IRect{roi.x, roi.y, inW, stream ? band + 2 * ry : roi.h});
    if (!stream) {
        engine::renderNode(input, *in, state);
        if (state.cancelled()) return true;
    }
    int have0 = roi.y, have1 = stream ? roi.y : roi.top();  // input rows held
    PooledBuffer vert(IRect{0, 0, padW + 4, band});
    for (int b0 = area.y; b0 < area.top();) {
        const int b1 = std::min(area.top(), engine::floorDiv(b0, band) * band + band);
        const PassSpan need = passInput(m_y, b0, b1);
        if (stream) {
            const int carried = std::max(0, have1 - need.begin);
            if (carried > 0)
                std::memmove(in->data(), in->data() + size_t(need.begin - have0) * inStride,
                             size_t(carried) * inStride * sizeof(float));
            have0 = need.begin;
            PixelBuffer fresh =
                PixelBuffer::view(in->data() + size_t(carried) * inStride,
                                  IRect{roi.x, need.begin + carried, inW, need.length() - carried});
            engine::renderNode(input, fresh, state);
            if (state.cancelled()) return true;
            have1 = need.end;
        }
        const float* rows = in->data() + size_t(need.begin - have0) * inStride;
        runPass(m_y, rows, inStride, need.begin, vert->data(), strideB, b0, b1 - b0, passW * 4);
        for (int y = b0; y < b1; ++y)
            finishRow(vert->data() + size_t(y - b0) * strideB, strideB, roi.x, roi.w,
                      m_finish
                          ? rows + size_t(y - need.begin) * inStride + size_t(area.x - roi.x) * 4
                          : nullptr,
                      dst.at(area.x, y), area.x, area.w);
        if (area.x == dst.rect().x && area.w == dst.width()) state.rowsFinished(*this, dst, b0, b1);
        b0 = b1;
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
    const IRect roi = inputPixels(area);
    const bool rows = runsAlongRows(m_x);
    // The vertical pass covers the region of interest in whole vectors;
    // along rows, the horizontal pass reads a few pixels past it, which the
    // buffer holds as zeros.
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
        runPass(m_y, (*in)->data(), size_t(inW) * 4, roi.y, vert->data() + size_t(sx) * 4, strideB,
                area.y, area.h, sw * 4);
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
        // finished while it is in cache.
        for (int j = 0; j < area.h; ++j)
            finishRow(vert->data() + size_t(j) * strideB, strideB, roi.x, roi.w,
                      m_finish ? originalRow(area.y + j) : nullptr, dst.at(area.x, area.y + j),
                      area.x, area.w);
    } else {
        horizontalByTranspose(vert->data(), strideB, roi.x, roi.w, area, padH, strideC, dst);
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
