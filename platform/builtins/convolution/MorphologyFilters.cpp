// Morphology built-ins: the largest or smallest value of each channel over a
// rectangle or a disc around every pixel (dilation and erosion of
// premultiplied pixels), and their difference.
//
// Window maxima use the doubling scheme of sparse tables: after k passes
// m_k[i] = max of the 2^k values from i on, and any window of width W holds
// max(m_k[i], m_k[i + W - 2^k]) for the largest 2^k <= W. A rectangle takes
// log2(W) + log2(H) + 2 passes, in place; a disc keeps every level of each
// input row and costs two lookups per disc row.

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "platform/builtins/BuiltinFilter.h"
#include "platform/builtins/convolution/ConvolutionSpans.h"
#include "platform/image/Node.h"

namespace cif::builtins {

namespace {

using engine::IRect;
using engine::NodePtr;
using engine::PixelBuffer;
using engine::PooledBuffer;
using engine::Rect;
using engine::RenderState;

// Widest rectangle side and largest disc radius; larger values are clamped.
constexpr int kMaxSide = 1001;
constexpr int kMaxRadius = 100;

int largestPowerOfTwoAtMost(int w) {
    int s = 1;
    while (2 * s <= w)
        s *= 2;
    return s;
}

void shiftSpan(bool max, float* p, int n, int shift) {
    if (n <= 0) return;
    max ? maxShiftSpan(p, n, shift) : minShiftSpan(p, n, shift);
}

// Window extremes of width `w` over `count` units of `unit` floats laid out
// one after another: afterwards unit i holds the extreme of units i to
// i + w - 1, for i < count - w + 1.
void windowInPlace(bool max, float* p, int count, int w, int unit) {
    const int top = largestPowerOfTwoAtMost(w);
    for (int s = 1; 2 * s <= w; s *= 2)
        shiftSpan(max, p, (count - 2 * s + 1) * unit, s * unit);
    if (w > top) shiftSpan(max, p, (count - w + 1) * unit, (w - top) * unit);
}

Rect grown(const Rect& r, int left, int right, int down, int up) {
    if (r.isInfinite() || r.isEmpty()) return r;
    return {r.x - left, r.y - down, r.w + left + right, r.h + down + up};
}

// The extreme of each channel over a w x h rectangle; even sides reach one
// pixel further right (up) than left (down).
class RectangleMorphologyNode final : public engine::Node {
public:
    RectangleMorphologyNode(NodePtr input, int w, int h, bool max)
        : Node({input}, max ? grown(input->extent(), w - 1 - (w - 1) / 2, (w - 1) / 2,
                                    h - 1 - (h - 1) / 2, (h - 1) / 2)
                            : input->extent()),
          m_w(w),
          m_h(h),
          m_left((w - 1) / 2),
          m_down((h - 1) / 2),
          m_max(max) {}
    Rect regionOfInterest(size_t, const Rect& output) const override {
        return {output.x - m_left, output.y - m_down, output.w + m_w - 1, output.h + m_h - 1};
    }
    void render(PixelBuffer& dst, const RenderState& state) const override {
        const IRect area = dst.rect().intersected(engine::coveringPixels(extent()));
        if (area.isEmpty()) {
            dst.fillTransparent();
            return;
        }
        // Blocks of at most kBlock x kBlock output pixels keep the input
        // buffer bounded for any buffer the caller hands in.
        for (int y = area.y; y < area.top(); y += kBlock)
            for (int x = area.x; x < area.right(); x += kBlock)
                renderBlock(dst,
                            IRect{x, y, std::min(kBlock, area.right() - x),
                                  std::min(kBlock, area.top() - y)},
                            state);
        dst.clearOutside(area);
    }
    const char* kind() const override { return m_max ? "rectangle-maximum" : "rectangle-minimum"; }

private:
    static constexpr int kBlock = 256;

    void renderBlock(PixelBuffer& dst, const IRect& area, const RenderState& state) const {
        const IRect roi{area.x - m_left, area.y - m_down, area.w + m_w - 1, area.h + m_h - 1};
        PooledBuffer in(roi);
        engine::renderNode(*inputs().front(), *in, state);
        // Along rows, then down columns (each row a unit), all in place.
        for (int y = roi.y; y < roi.top(); ++y)
            windowInPlace(m_max, in->row(y), roi.w, m_w, 4);
        windowInPlace(m_max, in->data(), roi.h, m_h, 4 * roi.w);
        for (int y = area.y; y < area.top(); ++y)
            std::copy_n(in->row(y - area.y + roi.y), size_t(area.w) * 4, dst.at(area.x, y));
    }

    int m_w, m_h, m_left, m_down;
    bool m_max;
};

// The extreme of each channel over the pixels whose centres lie within
// radius of the pixel's centre; for the gradient, maximum minus minimum of
// the colour channels with the maximum's alpha, so edges light up on black
// where the picture is.
class DiscMorphologyNode final : public engine::Node {
public:
    enum class Mode { Maximum, Minimum, Gradient };
    DiscMorphologyNode(NodePtr input, double radius, Mode mode)
        : Node({input}, mode == Mode::Minimum ? input->extent()
                                              : grown(input->extent(), int(radius), int(radius),
                                                      int(radius), int(radius))),
          m_reach(int(radius)),
          m_mode(mode) {
        for (int dy = -m_reach; dy <= m_reach; ++dy)
            m_halfWidth.push_back(
                int(std::floor(std::sqrt(std::max(0.0, radius * radius - double(dy) * dy)))));
        m_levels = 1;
        while ((1 << m_levels) <= 2 * m_reach + 1)
            ++m_levels;
    }
    Rect regionOfInterest(size_t, const Rect& output) const override {
        return output.inset(-m_reach, -m_reach);
    }
    void render(PixelBuffer& dst, const RenderState& state) const override {
        const IRect area = dst.rect().intersected(engine::coveringPixels(extent()));
        if (area.isEmpty()) {
            dst.fillTransparent();
            return;
        }
        // Blocks of at most kBlock x kBlock output pixels, so the table of
        // levels stays bounded whatever size of buffer the caller hands in.
        for (int y = area.y; y < area.top(); y += kBlock)
            for (int x = area.x; x < area.right(); x += kBlock)
                renderBlock(dst,
                            IRect{x, y, std::min(kBlock, area.right() - x),
                                  std::min(kBlock, area.top() - y)},
                            state);
        dst.clearOutside(area);
    }
    const char* kind() const override {
        return m_mode == Mode::Maximum   ? "disc-maximum"
               : m_mode == Mode::Minimum ? "disc-minimum"
                                         : "morphology-gradient";
    }

private:
    static constexpr int kBlock = 256;

    void renderBlock(PixelBuffer& dst, const IRect& area, const RenderState& state) const {
        const int r = m_reach;
        const IRect roi{area.x - r, area.y - r, area.w + 2 * r, area.h + 2 * r};
        PooledBuffer in(roi);
        engine::renderNode(*inputs().front(), *in, state);
        if (m_mode == Mode::Gradient) {
            PooledBuffer low(area);
            extreme(false, *in, area, *low);
            extreme(true, *in, area, dst);
            for (int y = area.y; y < area.top(); ++y) {
                float* hi = dst.at(area.x, y);
                const float* lo = low->row(y);
                for (int i = 0; i < area.w; ++i, hi += 4, lo += 4)
                    for (int k = 0; k < 3; ++k)
                        hi[k] = hi[k] - lo[k];
            }
        } else {
            extreme(m_mode == Mode::Maximum, *in, area, dst);
        }
    }

    // Fills `area` of out with the disc extremes of in (which covers area
    // grown by the reach).
    void extreme(bool max, const PixelBuffer& in, const IRect& area, PixelBuffer& out) const {
        const IRect roi = in.rect();
        const int rowFloats = 4 * roi.w;
        // Level k of roi row j at table row j * levels + k.
        PooledBuffer table(IRect{0, 0, roi.w, roi.h * m_levels});
        for (int j = 0; j < roi.h; ++j) {
            float* level = table->row(j * m_levels);
            std::copy_n(in.row(roi.y + j), size_t(rowFloats), level);
            for (int k = 1; k < m_levels; ++k) {
                float* next = level + rowFloats;
                std::copy_n(level, size_t(rowFloats), next);
                const int s = 1 << (k - 1);
                shiftSpan(max, next, 4 * (roi.w - 2 * s + 1), 4 * s);
                level = next;
            }
        }
        const float start =
            max ? -std::numeric_limits<float>::infinity() : std::numeric_limits<float>::infinity();
        const int r = m_reach;
        for (int y = area.y; y < area.top(); ++y) {
            float* o = out.at(area.x, y);
            std::fill_n(o, size_t(area.w) * 4, start);
            for (int dy = -r; dy <= r; ++dy) {
                const int hw = m_halfWidth[size_t(dy + r)];
                const int w = 2 * hw + 1, top = largestPowerOfTwoAtMost(w);
                int k = 0;
                while ((2 << k) <= w)
                    ++k;
                const float* level = table->row((y + dy - roi.y) * m_levels + k);
                const float* a = level + 4 * (r - hw);
                const float* b = a + 4 * (w - top);
                max ? maxOfTwoSpan(o, a, b, 4 * area.w) : minOfTwoSpan(o, a, b, 4 * area.w);
            }
        }
    }

    int m_reach, m_levels;
    Mode m_mode;
    std::vector<int> m_halfWidth;
};

int sideOf(const CIFilter& f, const char* key) {
    const double v = f.numberForKey(QString::fromLatin1(key));
    return int(std::clamp(std::isfinite(v) ? std::round(v) : 1.0, 1.0, double(kMaxSide)));
}

template <bool Max>
CIImage rectangle(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const int w = sideOf(f, "inputWidth"), h = sideOf(f, "inputHeight");
    if (w == 1 && h == 1) return in;
    return CIImage::imageWithNode(std::make_shared<RectangleMorphologyNode>(in.node(), w, h, Max));
}

template <DiscMorphologyNode::Mode Mode>
CIImage disc(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const double v = f.numberForKey(QStringLiteral("inputRadius"));
    const double radius = std::clamp(std::isfinite(v) ? v : 0.0, 0.0, double(kMaxRadius));
    if (radius < 1 && Mode != DiscMorphologyNode::Mode::Gradient) return in;
    return CIImage::imageWithNode(std::make_shared<DiscMorphologyNode>(in.node(), radius, Mode));
}

}  // namespace

std::vector<BuiltinDef> morphologyBuiltins() {
    using Mode = DiscMorphologyNode::Mode;
    return {
        {"CIMorphologyMaximum", disc<Mode::Maximum>},
        {"CIMorphologyMinimum", disc<Mode::Minimum>},
        {"CIMorphologyGradient", disc<Mode::Gradient>},
        {"CIMorphologyRectangleMaximum", rectangle<true>},
        {"CIMorphologyRectangleMinimum", rectangle<false>},
    };
}

}  // namespace cif::builtins
