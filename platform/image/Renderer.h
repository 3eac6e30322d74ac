#pragma once
// The tiled renderer: splits an output rectangle into tiles, pulls each tile
// through the recipe graph on the worker threads and writes the result into
// the caller's memory. Output is bit-identical for any tile size, output
// rectangle and thread count because every node computes each pixel from
// absolute coordinates (work that runs along a row or column, such as
// running sums, restarts on a grid of its own in picture coordinates).

#include <atomic>
#include <cstdint>
#include <functional>

#include "platform/image/Node.h"

namespace cif::engine {

inline constexpr int kMaxTileSize = 1 << 16;

struct RenderOptions {
    WorkingSpace space = WorkingSpace::LinearSRGB;
    // Tiles are tileSize x tileSize pixels (1 to kMaxTileSize), on a grid of
    // multiples of tileSize in picture coordinates; tiles at the rectangle's
    // edges are cut to it.
    int tileSize = 256;
    int threads = 0;  // 0: all cores
    // Set from any thread to stop the render; tiles not yet started are skipped.
    const std::atomic<bool>* cancel = nullptr;
    const std::atomic<bool>* externalCancel = nullptr;  // a second flag, owned by the caller
    // Called with the finished fraction (0..1] after each tile, from the
    // worker that finished it, never concurrently.
    std::function<void(double)> progress;
};

enum class RenderResult { Done, Cancelled };

// Renders rect of node as 8-bit premultiplied RGBA into dst, whose first row
// is the rectangle's top row (the QImage order), bytesPerRow apart.
RenderResult renderRGBA8(const Node& node, const IRect& rect, uint8_t* dst, size_t bytesPerRow,
                         const RenderOptions& options);

// Renders rect of node as premultiplied working-space floats into dst, whose
// first row is the rectangle's bottom row (engine order), floatsPerRow apart.
RenderResult renderFloat(const Node& node, const IRect& rect, float* dst, size_t floatsPerRow,
                         const RenderOptions& options);

}  // namespace cif::engine
