#pragma once
// The shading image of the ripple and page curl transitions, read along the
// horizontal line through the middle of its extent: position 0 is its left
// edge, 1 its right edge.

#include <memory>

#include "platform/image/Node.h"
#include "platform/image/Pixel4.h"

namespace cif::builtins::transitions {

class ShadingRow {
public:
    // Renders the row; answers false (and stays empty) when the image has no
    // usable finite extent.
    bool load(const engine::Node& shading, const engine::RenderState& state);
    bool empty() const { return !m_pixels; }
    // Linear interpolation along the row, position clamped to [0, 1].
    engine::Pixel4 at(float position) const;

private:
    std::unique_ptr<engine::PixelBuffer> m_pixels;
};

}  // namespace cif::builtins::transitions
