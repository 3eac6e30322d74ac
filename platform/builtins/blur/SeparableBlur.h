#pragma once
// A blur that is the product of a horizontal and a vertical kernel (box,
// Gaussian), optionally followed by a per-pixel step that combines the blur
// with the input (unsharp masking, luminance sharpening).

#include <memory>

#include "platform/builtins/blur/BlurPasses.h"
#include "platform/image/Node.h"

namespace cif::builtins::blur {

// Combines the input (original) with its blur, n pixels in place in blurred.
// The finish sets alpha itself (from the original, or opaque): the blurred
// alpha it is handed is not snapped to 1 where it rounds just below.
class BlurFinish {
public:
    virtual ~BlurFinish() = default;
    virtual void apply(const float* original, float* blurred, int n) const = 0;
};

// The extent grows by the kernels' reach unless a finish is given, in which
// case it is the input's (sharpening changes pixels, not coverage).
class SeparableBlurNode final : public engine::Node {
public:
    // heldBlock: the side of the blocks in which the renderer holds the
    // blur's pixels for the whole render (0: not held).
    SeparableBlurNode(engine::NodePtr input, Kernel1D horizontal, Kernel1D vertical,
                      std::shared_ptr<const BlurFinish> finish = nullptr, int heldBlock = 0);

    engine::Rect regionOfInterest(size_t index, const engine::Rect& output) const override;
    void render(engine::PixelBuffer& dst, const engine::RenderState& state) const override;
    engine::RenderRequest renderRequest(const engine::IRect& output) const override;
    const char* kind() const override { return "separable-blur"; }

private:
    // The input pixels the two passes read to make area.
    engine::IRect inputPixels(const engine::IRect& area) const;
    void finishRow(float* v, size_t vFloats, int roiX, int roiW, const float* original, float* row,
                   int x, int w) const;
    void horizontalByTranspose(const float* src, size_t stride, int roiX, int roiW,
                               const engine::IRect& area, int padH, size_t strideC,
                               engine::PixelBuffer& dst) const;

    Kernel1D m_x, m_y;
    std::shared_ptr<const BlurFinish> m_finish;
    int m_heldBlock;
};

// The extent of input grown by rx, ry on each side (infinite stays infinite).
engine::Rect grownExtent(const engine::Rect& extent, double rx, double ry);

}  // namespace cif::builtins::blur
