#pragma once
// A warp: each output pixel reads its input (input 0) bilinearly at a computed
// source point. Distortions, kaleidoscopic tiles and the perspective
// transforms subclass it and say only where a pixel reads from.
//
// Rendering goes in 64 x 64 blocks on an absolute grid. A block outside the
// warped area is a plain copy of the input. Otherwise the block's source
// points are computed first, the input is rendered over exactly their
// bounding box (split into smaller blocks when the map tears the block apart),
// and the points are sampled. Outside the input's extent a sample reads
// transparent black, so edges fade over one pixel as under an affine
// transform. A source point that is not finite gives a transparent pixel.

#include <cstdint>
#include <vector>

#include "platform/image/Node.h"

namespace cif::builtins {

class WarpNode : public engine::Node {
public:
    // Pixels of the output grid per side of a block; blocks start at
    // multiples of this in absolute coordinates.
    static constexpr int kBlock = 64;

    // Input 0: the sound bound of sourceBounds() plus the bilinear margin.
    // Other inputs: auxiliaryRegion().
    engine::Rect regionOfInterest(size_t index, const engine::Rect& output) const override;
    void render(engine::PixelBuffer& dst, const engine::RenderState& state) const override;

    // Source points (input coordinates) of the n output points
    // (x + i + fx, y + fy), i = 0 .. n-1, written to sx and sy, which have
    // room for n rounded up to a multiple of 4 (lanes beyond n are scratch).
    // Public so that tests can check the map against regionOfInterest.
    virtual void mapSpan(int x, int y, int n, float fx, float fy, float* sx, float* sy) const = 0;
    // Source points over a whole block, rows of block.w (each row padded to
    // a multiple of 4), for the same offsets in every pixel. Nodes with
    // auxiliary inputs override this to render them first; others may map
    // whole blocks at once. The default calls mapSpan row by row.
    virtual void mapBlock(const engine::IRect& block, float fx, float fy, float* sx, float* sy,
                          const engine::RenderState& state) const;

protected:
    // `warped`: outside it the map is the identity (Rect::infinite() when
    // every point moves).
    WarpNode(std::vector<engine::NodePtr> inputs, engine::Rect extent, engine::Rect warped);

    // A rectangle holding the source point of every point of `output`
    // (continuous, not only pixel centres).
    virtual engine::Rect sourceBounds(const engine::Rect& output) const = 0;
    // Region of auxiliary input `index` (>= 1) that the map reads for output.
    virtual engine::Rect auxiliaryRegion(size_t index, const engine::Rect& output) const;
    // Samples per pixel side (1, 2 or 4) over a grid block: above 1 where
    // the map minifies, so the average of the samples filters the input.
    virtual int supersampling(const engine::IRect& gridBlock) const;

    // A region holding every source point of the whole output (the
    // fundamental region of a tiling); when it is small enough to stay in
    // cache, the input is rendered there once per render and shared by all
    // tiles. Larger shared regions would be read from memory, which costs
    // more than rendering each block's own region. Empty (the default): each
    // block renders its own region.
    virtual engine::Rect sharedSource() const;
    static constexpr int64_t kMaxSharedPixels = int64_t(1) << 15;

    static int paddedWidth(int w) { return (w + 3) & ~3; }

    // Samples per pixel side from the map's stretch over a grid block,
    // measured between neighbours of a 5 x 5 lattice of points on it: 1 up to
    // 2.5 input pixels per output pixel (the shear of a twirl stays below),
    // 2 up to 5, else 4. For smooth maps that may shrink strongly in places
    // (vortex centres, the hole's rim).
    int stretchSupersampling(const engine::IRect& gridBlock) const;

private:
    void warpBlock(const engine::IRect& block, int samples, const engine::PixelBuffer* shared,
                   engine::PixelBuffer& dst, const engine::RenderState& state) const;

    engine::Rect m_warped;
};

// The same map for every output point of a rectangle, for the bounds of maps
// whose source points lie within a fixed region: `region` when output touches
// `warped`, united with the part of output outside it (where the map is the
// identity).
engine::Rect boundsWithFixedRegion(const engine::Rect& output, const engine::Rect& warped,
                                   const engine::Rect& region);

// The extent of a warp of an input whose map is the identity outside
// `warped` and reads only `region` inside it: the input's extent, plus
// `warped` when `region` touches the input.
engine::Rect warpedExtent(const engine::Rect& input, const engine::Rect& warped,
                          const engine::Rect& region);

}  // namespace cif::builtins
