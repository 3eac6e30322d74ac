#include "platform/builtins/generator/GeneratorSupport.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace cif::builtins {

WorkingColor::WorkingColor(const CIColor& color) {
    double rgba[4];
    color.components(rgba);
    float lin[4], plain[4];
    engine::colorToWorking(rgba, lin, engine::WorkingSpace::LinearSRGB);
    engine::colorToWorking(rgba, plain, engine::WorkingSpace::None);
    m_linear = engine::loadPixel(lin);
    m_plain = engine::loadPixel(plain);
}

void GeneratorNode::render(engine::PixelBuffer& dst, const engine::RenderState& state) const {
    const engine::IRect r = dst.rect();
    for (int y = r.y; y < r.top(); ++y) {
        if (state.cancelled()) return;
        fillSpan(dst.at(r.x, y), r.w, r.x, y, state);
    }
}

namespace {

// Value noise on a circle of `cells` cells, one period per turn; `layer`
// selects an independent set of cell values.
float circleNoise(float turns, int cells, uint32_t layer) {
    const float u = turns * float(cells);
    const float fl = std::floor(u);
    const float f = u - fl;
    // turns is in [0, 1), so the cell index is small and wraps at `cells`.
    const int i0 = int(fl) % cells, i1 = (i0 + 1) % cells;
    auto value = [&](int i) {
        return float(mixHash(uint32_t(i) * 0x9e3779b9U ^ (layer * 0x85ebca6bU + 0x68e31da4U)) >>
                     8) *
               (1.0f / 16777216.0f);
    };
    const float s = f * f * (3 - 2 * f);
    return value(i0) + (value(i1) - value(i0)) * s;
}

}  // namespace

float striation(float angle, float time, float contrast) {
    float turns = angle * float(0.5 / std::numbers::pi);
    turns -= std::floor(turns);
    if (!(turns >= 0 && turns < 1)) turns = 0;
    // Time blends between consecutive independent noise layers.
    const float tl = std::clamp(time, 0.0f, 1.0f) * 4.0f;
    const int l0 = std::min(int(tl), 3);
    const float ft = tl - float(l0);
    auto at = [&](uint32_t layer) {
        return 0.65f * circleNoise(turns, 37, layer) + 0.35f * circleNoise(turns, 113, layer + 17);
    };
    const float n = at(uint32_t(l0)) + (at(uint32_t(l0 + 1)) - at(uint32_t(l0))) * ft;
    return std::clamp(0.5f + (n - 0.5f) * 2.0f * contrast, 0.0f, 1.0f);
}

float SunShape::at(float r, float angle) const {
    if (!(radius > 0)) return 0;
    const float core = std::clamp(radius - r + 0.5f, 0.0f, 1.0f);
    if (core >= 1) return 1;
    const float q = r / radius;
    const float glow = 0.35f / (1 + 4 * (q - 1) * (q - 1));
    const float reach = std::max(radius * maxStriationRadius - radius, 1e-3f);
    const float fall = std::max(0.0f, 1 - std::max(r - radius, 0.0f) / reach);
    const float rays = fall > 0 ? strength * striation(angle, time, contrast) * fall * fall : 0;
    return core + (1 - core) * std::min(glow + rays, 1.0f);
}

}  // namespace cif::builtins
