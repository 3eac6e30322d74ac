#include "platform/builtins/transition/ShadingRow.h"

#include <algorithm>
#include <cmath>

namespace cif::builtins::transitions {

bool ShadingRow::load(const engine::Node& shading, const engine::RenderState& state) {
    const engine::Rect& e = shading.extent();
    if (e.isEmpty() || e.isUnbounded()) return false;
    const engine::IRect px = engine::coveringPixels(e);
    int midY = 0;
    if (!engine::floorToInt(e.y + e.h / 2, midY)) return false;
    // A long row is read at most 4096 pixels wide: the shading is a smooth
    // ramp, and the cap bounds the work per tile.
    const engine::IRect row{px.x, midY, std::min(px.w, 4096), 1};
    m_pixels = std::make_unique<engine::PixelBuffer>(row);
    engine::renderNode(shading, *m_pixels, state);
    return true;
}

engine::Pixel4 ShadingRow::at(float position) const {
    const engine::IRect& r = m_pixels->rect();
    const float f = std::clamp(position, 0.0f, 1.0f) * float(r.w - 1);
    const int i0 = std::min(int(f), r.w - 1), i1 = std::min(i0 + 1, r.w - 1);
    const float a = f - float(i0);
    const int y = r.y;
    return engine::loadPixel(m_pixels->at(r.x + i0, y)) * (1 - a) +
           engine::loadPixel(m_pixels->at(r.x + i1, y)) * a;
}

}  // namespace cif::builtins::transitions
