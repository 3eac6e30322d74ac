#include "platform/builtins/reduction/AreaScan.h"

#include <algorithm>

namespace cif::builtins::reduction {

bool scanRows(const engine::Node& node, const engine::IRect& area, const engine::RenderState& state,
              const std::function<void(const float* pixels, int y)>& row) {
    if (area.isEmpty()) return true;
    // About a megapixel per band.
    const int band = std::clamp((1 << 20) / std::max(area.w, 1), 1, 256);
    for (int y0 = area.y; y0 < area.top(); y0 += band) {
        if (state.cancelled()) return false;
        const engine::IRect rect{area.x, y0, area.w, std::min(band, area.top() - y0)};
        engine::PooledBuffer buffer(rect);
        engine::renderNode(node, *buffer, state);
        for (int y = rect.y; y < rect.top(); ++y)
            row(buffer->row(y), y);
    }
    return !state.cancelled();
}

bool ScanResult::get(const engine::RenderState& state, std::vector<float>& out,
                     const std::function<bool(std::vector<float>&)>& compute) const {
    const size_t slot = state.space == engine::WorkingSpace::None ? 1 : 0;
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_values[slot]) {
        std::vector<float> value;
        if (!compute(value)) return false;
        m_values[slot] = std::move(value);
    }
    out = *m_values[slot];
    return true;
}

}  // namespace cif::builtins::reduction
