#include "platform/builtins/blur/ReducedBlur.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "platform/builtins/blur/BlurPasses.h"
#include "platform/builtins/blur/SeparableBlur.h"
#include "platform/image/Pixel4.h"

namespace cif::builtins::blur {

using engine::floorDiv;
using engine::IRect;
using engine::loadPixel;
using engine::Pixel4;
using engine::PixelBuffer;
using engine::PooledBuffer;
using engine::Rect;
using engine::storePixel;

namespace {

int ceilDiv(int a, int b) {
    return -floorDiv(-a, b);
}

// Past this factor the reduced blur is already narrow enough; the cap keeps
// the coordinates of the reduced picture far from overflow.
constexpr int kMaxReduction = 32;

// Pixel rectangles handed to a node of factor f stay within this distance of
// the origin, so that multiplying them by f cannot overflow.
IRect addressable(const IRect& r, int f) {
    const int lim = engine::kPixelLimit / f;
    return r.intersected(IRect{-lim, -lim, 2 * lim, 2 * lim});
}

Rect reducedExtent(const Rect& e, int f) {
    if (e.isInfinite() || e.isEmpty()) return e;
    const IRect c = engine::coveringPixels(e);
    const int x0 = floorDiv(c.x, f), y0 = floorDiv(c.y, f);
    return Rect{double(x0), double(y0), double(ceilDiv(c.right(), f) - x0),
                double(ceilDiv(c.top(), f) - y0)};
}

}  // namespace

int gaussianReduction(double sigma) {
    if (!(sigma >= 10.0)) return 1;
    return std::min(kMaxReduction, int(std::min(sigma, kMaxSigma) / 5.0));
}

engine::NodePtr reducedGaussian(engine::NodePtr input, double sigma) {
    const int f = gaussianReduction(sigma);
    if (f < 2) return nullptr;
    sigma = std::min(sigma, kMaxSigma);
    const double ff = double(f) * f;
    const double reducedSigma = std::sqrt((sigma * sigma - (ff - 1) / 12.0 - ff / 6.0) / ff);
    const Kernel1D k = gaussianKernel(reducedSigma);
    // The reduced picture is held in blocks of about 128 x 128 full-size
    // pixels, so that the margins of each tile's blur do not reduce the
    // input again. Small blocks keep render threads from waiting on a block
    // another thread is making (measured: 256-pixel blocks made two threads
    // barely faster than one).
    const int side = std::max(16, 128 / f);
    auto reduced = std::make_shared<BoxReduceNode>(input, f, side);
    // The blurred level is held in blocks of the recursion's grid: a tile's
    // part of it rarely starts on the grid, and without the blocks the
    // recursion would run over whole grid segments around it for every
    // tile (measured: twice the time of the whole blur).
    const int grid = anchorGrid(k);
    auto blurred =
        std::make_shared<SeparableBlurNode>(std::move(reduced), k, k, nullptr, grid > 1 ? grid : 0);
    // The direct recursive blur reaches 4 sigma; the extent is the same.
    const double reach = std::ceil(4.0 * sigma);
    const Rect extent = grownExtent(input->extent(), reach, reach);
    return std::make_shared<BilinearEnlargeNode>(std::move(blurred), f, extent);
}

// ---------------------------------------------------------------- reduction

// The input is taken in bands of about 64 full-size rows, which stay in cache.
engine::RenderRequest BoxReduceNode::renderRequest(const IRect&) const {
    return {std::max(1, 64 / m_f), m_heldBlock};
}

BoxReduceNode::BoxReduceNode(engine::NodePtr input, int factor, int heldBlock)
    : Node({input}, reducedExtent(input->extent(), factor)), m_f(factor), m_heldBlock(heldBlock) {}

Rect BoxReduceNode::regionOfInterest(size_t, const Rect& output) const {
    if (output.isInfinite() || output.isEmpty()) return output;
    const IRect o = addressable(engine::coveringPixels(output), m_f);
    return IRect{o.x * m_f, o.y * m_f, o.w * m_f, o.h * m_f}.toRect();
}

void BoxReduceNode::render(PixelBuffer& dst, const engine::RenderState& state) const {
    const IRect area = addressable(dst.rect().intersected(engine::coveringPixels(extent())), m_f);
    if (area.isEmpty()) {
        dst.fillTransparent();
        return;
    }
    const int f = m_f;
    const Pixel4 scale = engine::splat(1.0f / float(f * f));
    const size_t rowFloats = size_t(area.w) * size_t(f) * 4;
    std::vector<float> sum(rowFloats);
    PooledBuffer in(IRect{area.x * f, area.y * f, area.w * f, area.h * f});
    engine::renderNode(*inputs().front(), *in, state);
    if (state.cancelled()) return;
    for (int j = area.y; j < area.top(); ++j) {
        // The f rows added down, then each run of f pixels across.
        const float* first = in->row(j * f);
        std::copy(first, first + rowFloats, sum.begin());
        for (int k = 1; k < f; ++k)
            addRow(in->row(j * f + k), sum.data(), int(rowFloats));
        float* out = dst.at(area.x, j);
        const float* s = sum.data();
        for (int i = 0; i < area.w; ++i, s += 4 * f) {
            Pixel4 p = loadPixel(s);
            for (int k = 1; k < f; ++k)
                p += loadPixel(s + 4 * k);
            storePixel(out + 4 * i, p * scale);
        }
    }
    dst.clearOutside(area);
}

// ---------------------------------------------------------------- enlargement

namespace {

// Output pixel x reads the input at (x + 0.5) / f, between input pixels
// floor((x + 0.5) / f - 0.5) and the next. In integers: (2x + 1 - f) / 2f.
struct Tap {
    int left;
    float weight;  // of the right-hand pixel
};

Tap enlargeTap(int x, int f) {
    const int num = 2 * x + 1 - f;
    const int left = floorDiv(num, 2 * f);
    return {left, float(num - 2 * f * left) / float(2 * f)};
}

IRect enlargeSource(const IRect& out, int f) {
    const int x0 = enlargeTap(out.x, f).left, x1 = enlargeTap(out.right() - 1, f).left + 2;
    const int y0 = enlargeTap(out.y, f).left, y1 = enlargeTap(out.top() - 1, f).left + 2;
    return {x0, y0, x1 - x0, y1 - y0};
}

}  // namespace

BilinearEnlargeNode::BilinearEnlargeNode(engine::NodePtr input, int factor, const Rect& extent)
    : Node({input}, extent), m_f(factor) {}

Rect BilinearEnlargeNode::regionOfInterest(size_t, const Rect& output) const {
    if (output.isInfinite() || output.isEmpty()) return output;
    return enlargeSource(engine::coveringPixels(output), m_f).toRect();
}

void BilinearEnlargeNode::render(PixelBuffer& dst, const engine::RenderState& state) const {
    const IRect area = dst.rect().intersected(engine::coveringPixels(extent()));
    if (area.isEmpty()) {
        dst.fillTransparent();
        return;
    }
    const int f = m_f;
    const IRect src = enlargeSource(area, f);
    PooledBuffer in(src);
    engine::renderNode(*inputs().front(), *in, state);
    if (state.cancelled()) return;
    // Each input row enlarged across first (1/f of the output's work),
    // then each output row blended from two of those.
    std::vector<Tap> across(size_t(area.w));
    for (int i = 0; i < area.w; ++i) {
        across[size_t(i)] = enlargeTap(area.x + i, f);
        across[size_t(i)].left = 4 * (across[size_t(i)].left - src.x);
    }
    PooledBuffer wide(IRect{area.x, src.y, area.w, src.h});
    for (int y = src.y; y < src.top(); ++y) {
        const float* line = in->row(y);
        float* w = wide->row(y);
        for (int i = 0; i < area.w; ++i) {
            const Tap& a = across[size_t(i)];
            const Pixel4 p = loadPixel(line + a.left), q = loadPixel(line + a.left + 4);
            storePixel(w + 4 * i, p + (q - p) * a.weight);
        }
    }
    // The input is already snapped to opaque where it should be, and the
    // blends keep exact ones.
    for (int y = area.y; y < area.top(); ++y) {
        const Tap down = enlargeTap(y, f);
        blendRows(wide->row(down.left), wide->row(down.left + 1), down.weight, dst.at(area.x, y),
                  area.w * 4);
    }
    dst.clearOutside(area);
}

}  // namespace cif::builtins::blur
