// CIColorMap: each pixel's luminance looks up a colour in a gradient image.

#include <algorithm>
#include <cmath>

#include "platform/builtins/BuiltinFilter.h"
#include "platform/image/Node.h"

namespace cif::builtins {

namespace {

using engine::IRect;
using engine::PixelBuffer;
using engine::PooledBuffer;
using engine::Rect;
using engine::RenderState;

// The widest gradient row used; wider gradients give the input unchanged.
constexpr int kMaxGradientWidth = 1 << 16;

// The gradient is read along its middle row: luminance 0 takes the first
// pixel, 1 the last, values between interpolate linearly between the
// neighbouring pixels. The looked-up (premultiplied) colour is scaled by the
// input's coverage, so the extent is the input's.
class ColorMapNode final : public engine::Node {
public:
    ColorMapNode(engine::NodePtr input, engine::NodePtr gradient, const IRect& row)
        : Node({input, std::move(gradient)}, input->extent()), m_row(row) {}

    Rect regionOfInterest(size_t index, const Rect& output) const override {
        return index == 0 ? output : m_row.toRect();
    }

    void render(PixelBuffer& dst, const RenderState& state) const override {
        const IRect area = dst.rect().intersected(engine::coveringPixels(extent()));
        if (area.isEmpty()) {
            dst.fillTransparent();
            return;
        }
        engine::renderNode(*inputs()[0], dst, state);
        PooledBuffer ramp(m_row);
        engine::renderNode(*inputs()[1], *ramp, state);
        const float* g = ramp->data();
        const float last = float(m_row.w - 1);
        for (int y = area.y; y < area.top(); ++y) {
            float* px = dst.at(area.x, y);
            for (int i = 0; i < area.w; ++i, px += 4) {
                const float a = px[3];
                if (!(a > 0.0f)) {
                    px[0] = px[1] = px[2] = px[3] = 0.0f;
                    continue;
                }
                const float l = (0.2126f * px[0] + 0.7152f * px[1] + 0.0722f * px[2]) / a;
                // NaN goes to the first pixel through the comparison.
                const float t = l > 0.0f ? std::min(l, 1.0f) * last : 0.0f;
                const int k = std::min(int(t), m_row.w - 1);
                const int k1 = std::min(k + 1, m_row.w - 1);
                const float f = t - float(k);
                for (int c = 0; c < 4; ++c) {
                    const float v0 = g[4 * k + c], v1 = g[4 * k1 + c];
                    px[c] = (v0 + f * (v1 - v0)) * a;
                }
            }
        }
        dst.clearOutside(area);
    }
    const char* kind() const override { return "color-map"; }

private:
    IRect m_row;  // the gradient pixels that are read
};

}  // namespace

CIImage colorMap(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const CIImage gradient = f.imageForKey("inputGradientImage");
    if (gradient.isNull() || gradient.isInfinite()) return in;
    const IRect pixels = engine::coveringPixels(gradient.node()->extent());
    if (pixels.isEmpty() || pixels.w > kMaxGradientWidth) return in;
    const IRect row{pixels.x, pixels.y + pixels.h / 2, pixels.w, 1};
    return CIImage::imageWithNode(std::make_shared<ColorMapNode>(in.node(), gradient.node(), row));
}

}  // namespace cif::builtins
