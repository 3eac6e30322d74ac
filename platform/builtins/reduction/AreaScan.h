#pragma once
// Whole-area passes over an input, for nodes whose every output pixel
// depends on a whole region (reductions, histograms, clustering): the region
// is rendered in bands of rows, so memory stays small for any area, and the
// result is computed once per working space and kept by the node.

#include <array>
#include <functional>
#include <mutex>
#include <optional>
#include <vector>

#include "platform/image/Node.h"

namespace cif::builtins::reduction {

// The largest area (pixels) a whole-area pass reads; beyond it a filter
// gives a neutral result.
inline constexpr int64_t kMaxScanPixels = int64_t(256) << 20;

// Renders `area` of `node` band by band, bottom row first, and calls
// row(pixels, y) for every row (area.w premultiplied pixels starting at
// x = area.x). Answers false when the render was cancelled part-way.
bool scanRows(const engine::Node& node, const engine::IRect& area, const engine::RenderState& state,
              const std::function<void(const float* pixels, int y)>& row);

// A value computed from whole areas once per working space. compute() may
// run on any render thread; the first caller computes while others wait, and
// a cancelled computation is not kept.
class ScanResult {
public:
    // The stored value for state's working space, computing it first if
    // needed. Answers false when compute() answered false (cancelled).
    bool get(const engine::RenderState& state, std::vector<float>& out,
             const std::function<bool(std::vector<float>&)>& compute) const;

private:
    mutable std::mutex m_mutex;
    mutable std::array<std::optional<std::vector<float>>, 2> m_values;
};

}  // namespace cif::builtins::reduction
