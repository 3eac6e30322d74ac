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

// Bands keep their input rows and their vertical pass within about this
// many bytes, so both stay in the core's cache.
constexpr size_t kBandBytes = size_t(768) << 10;

}  // namespace

Rect grownExtent(const Rect& extent, double rx, double ry) {
    if (extent.isInfinite() || extent.isEmpty()) return extent;
    return extent.inset(-rx, -ry);
}

SeparableBlurNode::SeparableBlurNode(engine::NodePtr input, Kernel1D horizontal, Kernel1D vertical,
                                     std::shared_ptr<const BlurFinish> finish, int heldBlock)
    : Node({input}, finish ? input->extent()
                           : grownExtent(input->extent(), horizontal.reach, vertical.reach)),
      m_x(std::move(horizontal)),
      m_y(std::move(vertical)),
      m_finish(std::move(finish)),
      m_heldBlock(heldBlock) {}

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
// and its margins to fit in cache, ask for their output in bands: the
// vertical pass of a band's rows, then the row pass and the finish of each
// row, and the band's rows written on while they are still in cache. The
// band is a multiple of the vertical pass's grid, so every band but a
// tile's first starts a segment of running sums. Only over inputs that read
// single pixels (a picture, colour filters): other inputs' regions would
// grow with every split. A node that holds its pixels renders whole blocks.
engine::RenderRequest SeparableBlurNode::renderRequest(const IRect& output) const {
    engine::RenderRequest request;
    request.heldBlock = m_heldBlock;
    if (m_heldBlock > 0 || !runsAlongRows(m_x) ||
        !engine::graphReadsSinglePixels(*inputs().front()))
        return request;
    const int ry = m_y.reach, grid = anchorGrid(m_y);
    const IRect roi = inputPixels(output);
    const int passW = padPixels(roi.w);
    const size_t rowBytes = size_t(2 * passW + 16) * 4 * sizeof(float);
    const size_t marginBytes = size_t(2 * ry) * size_t(passW) * 4 * sizeof(float);
    if (marginBytes + size_t(std::max(32, grid)) * rowBytes > kBandBytes) return request;
    const int fit = int((kBandBytes - marginBytes) / rowBytes);
    request.bandRows = std::max(grid, fit / grid * grid);
    return request;
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
