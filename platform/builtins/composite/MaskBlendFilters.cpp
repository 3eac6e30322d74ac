// Blends of two pictures by a mask channel or a fixed amount.

#include <algorithm>
#include <cmath>

#include "platform/builtins/BuiltinFilter.h"
#include "platform/image/Node.h"

namespace cif::builtins {

namespace {

using engine::IRect;
using engine::NodePtr;
using engine::PixelBuffer;
using engine::PooledBuffer;
using engine::RenderState;

// image m + background (1 - m) with m one premultiplied channel of the mask
// clamped to [0, 1]: the background where the mask is 0 (or transparent), the
// image where it is 1. The extent is the image's, as for the green-mask
// blend.
class ChannelMaskBlendNode final : public engine::Node {
public:
    ChannelMaskBlendNode(NodePtr image, NodePtr background, NodePtr mask, int channel,
                         const char* kind)
        : Node({image, std::move(background), std::move(mask)}, image->extent()),
          m_channel(channel),
          m_kind(kind) {}
    bool readsSinglePixels() const override { return true; }
    void render(PixelBuffer& dst, const RenderState& state) const override {
        const IRect area = dst.rect().intersected(engine::coveringPixels(extent()));
        if (area.isEmpty()) {
            dst.fillTransparent();
            return;
        }
        PooledBuffer image(area), mask(area);
        engine::renderNode(*inputs()[1], dst, state);
        engine::renderNode(*inputs()[0], *image, state);
        engine::renderNode(*inputs()[2], *mask, state);
        for (int y = area.y; y < area.top(); ++y) {
            float* out = dst.at(area.x, y);
            const float* img = image->row(y);
            const float* m = mask->row(y) + m_channel;
            for (int i = 0; i < area.w; ++i, out += 4, img += 4, m += 4) {
                const float w = *m > 0.0f ? std::min(*m, 1.0f) : 0.0f;  // NaN gives 0
                for (int k = 0; k < 4; ++k)
                    out[k] = out[k] + w * (img[k] - out[k]);
            }
        }
        dst.clearOutside(area);
    }
    const char* kind() const override { return m_kind; }

private:
    int m_channel;
    const char* m_kind;
};

template <int Channel>
CIImage blendWithChannelMask(const CIFilter& f) {
    static constexpr const char* kKinds[] = {"blend-with-red-mask", "", "blend-with-blue-mask",
                                             "blend-with-alpha-mask"};
    const CIImage image = f.imageForKey(kCIInputImageKey);
    const CIImage background = f.imageForKey("inputBackgroundImage");
    const CIImage mask = f.imageForKey("inputMaskImage");
    if (image.isNull()) return {};
    if (mask.isNull()) return image;
    const CIImage bg = background.isNull() ? CIImage::emptyImage() : background;
    return CIImage::imageWithNode(std::make_shared<ChannelMaskBlendNode>(
        image.node(), bg.node(), mask.node(), Channel, kKinds[Channel]));
}

// background + amount (image - background) on premultiplied pixels: the
// background at 0, the image at 1, a cross-fade between. The extent is the
// union of both.
class MixNode final : public engine::BinaryPointNode {
public:
    MixNode(NodePtr image, NodePtr background, float amount)
        : BinaryPointNode(std::move(image), std::move(background)), m_amount(amount) {}
    void combineSpan(const float* fg, float* bg, int n) const override {
        for (int i = 0; i < 4 * n; ++i)
            bg[i] = bg[i] + m_amount * (fg[i] - bg[i]);
    }
    const char* kind() const override { return "mix"; }

private:
    float m_amount;
};

CIImage mix(const CIFilter& f) {
    const CIImage image = f.imageForKey(kCIInputImageKey);
    const CIImage background = f.imageForKey("inputBackgroundImage");
    if (image.isNull()) return {};
    const double amount = f.numberForKey("inputAmount");
    const CIImage bg = background.isNull() ? CIImage::emptyImage() : background;
    return CIImage::imageWithNode(
        std::make_shared<MixNode>(image.node(), bg.node(), float(std::clamp(amount, -1e3, 1e3))));
}

}  // namespace

std::vector<BuiltinDef> maskBlendBuiltins() {
    return {
        {"CIBlendWithAlphaMask", blendWithChannelMask<3>},
        {"CIBlendWithRedMask", blendWithChannelMask<0>},
        {"CIBlendWithBlueMask", blendWithChannelMask<2>},
        {"CIMix", mix},
    };
}

}  // namespace cif::builtins
