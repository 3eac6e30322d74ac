#pragma once
// Wide Gaussian blurs computed at a reduced resolution. A blur of standard
// deviation sigma keeps no detail finer than sigma, so it can be computed on
// the picture averaged over f x f blocks (f about sigma / 5), with a
// correspondingly smaller blur, and enlarged back by bilinear interpolation:
// f * f times less blur work, and the tiles of the full-size result no longer
// pay for margins of the full reach.
//
//   input -> BoxReduceNode (f) -> held in blocks -> Gaussian (sigma')
//         -> held in blocks -> BilinearEnlargeNode (f)
//
// sigma' is chosen so that the variances add up to sigma^2: the block
// average contributes (f^2 - 1) / 12, the interpolation f^2 / 6 on average
// (in full-size pixels). Against the exact convolution the result differs by
// well under an 8-bit level.

#include "platform/image/Node.h"

namespace cif::builtins::blur {

// The reduction factor used for a Gaussian of standard deviation sigma; 1
// (no reduction) for narrow blurs.
int gaussianReduction(double sigma);

// The Gaussian blur of input at standard deviation sigma through a reduced
// resolution, or null when gaussianReduction(sigma) is 1. The extent grows
// by 3.5 sigma, as the direct blur's.
engine::NodePtr reducedGaussian(engine::NodePtr input, double sigma);

// The mean of each f x f block of the input: pixel (i, j) of this node is
// the average of input pixels [f i, f i + f) x [f j, f j + f), transparent
// pixels outside the input counting as zero.
// Held by the renderer in blocks of heldBlock pixels (0: not held).
class BoxReduceNode final : public engine::Node {
public:
    BoxReduceNode(engine::NodePtr input, int factor, int heldBlock = 0);
    engine::Rect regionOfInterest(size_t index, const engine::Rect& output) const override;
    void render(engine::PixelBuffer& dst, const engine::RenderState& state) const override;
    engine::RenderRequest renderRequest(const engine::IRect& output) const override;
    const char* kind() const override { return "box-reduce"; }

private:
    int m_f, m_heldBlock;
};

// The input enlarged f times by bilinear interpolation: output pixel x reads
// the input at (x + 0.5) / f, input pixel i being centred at i + 0.5. Cut to
// the given extent.
class BilinearEnlargeNode final : public engine::Node {
public:
    BilinearEnlargeNode(engine::NodePtr input, int factor, const engine::Rect& extent);
    engine::Rect regionOfInterest(size_t index, const engine::Rect& output) const override;
    void render(engine::PixelBuffer& dst, const engine::RenderState& state) const override;
    const char* kind() const override { return "bilinear-enlarge"; }

private:
    int m_f;
};

}  // namespace cif::builtins::blur
