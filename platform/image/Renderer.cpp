#include "platform/image/Renderer.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <vector>

namespace cif::engine {

namespace {

// Writes the rows a node hands over before it returns, and then the rest.
template <typename WriteRows>
class EarlyRows final : public RowSink {
public:
    EarlyRows(const Node& node, const PixelBuffer& buffer, WriteRows& write)
        : m_write(write), m_written(size_t(buffer.height()), 0) {
        root = &node;
        target = &buffer;
    }

    void rowsFinished(const PixelBuffer& buffer, int y0, int y1) const override {
        y0 = std::max(y0, buffer.rect().y);
        y1 = std::min(y1, buffer.rect().top());
        if (y0 >= y1) return;
        m_write(buffer, y0, y1);
        std::fill(m_written.begin() + (y0 - buffer.rect().y),
                  m_written.begin() + (y1 - buffer.rect().y), 1);
    }

    // Writes every row not handed over yet, in runs.
    void writeRest(const PixelBuffer& buffer) const {
        const int h = buffer.height(), y = buffer.rect().y;
        for (int i = 0; i < h;) {
            if (m_written[size_t(i)]) {
                ++i;
                continue;
            }
            int end = i + 1;
            while (end < h && !m_written[size_t(end)])
                ++end;
            m_write(buffer, y + i, y + end);
            i = end;
        }
    }

private:
    WriteRows& m_write;
    mutable std::vector<uint8_t> m_written;
};

// Calls write(buffer, y0, y1) for every row of every tile of rect, in
// parallel, each row once.
template <typename WriteRows>
RenderResult renderTiles(const Node& node, const IRect& rect, const RenderOptions& options,
                         WriteRows&& write) {
    if (rect.isEmpty()) return RenderResult::Done;
    // Tiles lie on a grid of multiples of the tile size in picture
    // coordinates, whatever the rectangle: nodes that anchor work to a grid
    // of their own (running sums, recursions, held blocks) then see the same
    // tile boundaries in every render.
    const int ts = std::clamp(options.tileSize, 1, kMaxTileSize);
    const int tx0 = floorDiv(rect.x, ts), ty0 = floorDiv(rect.y, ts);
    const int cols = floorDiv(rect.right() - 1, ts) - tx0 + 1,
              rows = floorDiv(rect.top() - 1, ts) - ty0 + 1;
    const int64_t count = int64_t(cols) * rows;
    RenderCache cache;
    const RenderState state{options.space, options.cancel, options.externalCancel, &cache};

    // Graphs that read single pixels render each tile in strips of a few
    // rows, so a strip stays in cache from decoding to encoding. Others
    // render whole tiles, since their inputs' regions grow with every split.
    constexpr int kStripRows = 16;
    const int stripRows = graphReadsSinglePixels(node) ? kStripRows : ts;

    std::atomic<int64_t> done{0};
    std::mutex progressMutex;
    auto renderOne = [&](int64_t index) {
        if (state.cancelled()) return;
        const int tx = int(index % cols), ty = int(index / cols);
        const IRect tile = IRect{(tx0 + tx) * ts, (ty0 + ty) * ts, ts, ts}.intersected(rect);
        for (int y = tile.y; y < tile.top(); y += stripRows) {
            const IRect strip{tile.x, y, tile.w, std::min(stripRows, tile.top() - y)};
            PooledBuffer buffer(strip);
            const EarlyRows early(node, *buffer, write);
            RenderState stripState = state;
            stripState.sink = &early;
            renderNode(node, *buffer, stripState);
            if (state.cancelled()) return;
            early.writeRest(*buffer);
        }
        if (options.progress) {
            // Counted under the lock, so the fractions arrive in increasing
            // order and the last one is exactly 1.
            const std::lock_guard lock(progressMutex);
            const int64_t finished = ++done;
            options.progress(double(finished) / double(count));
        }
    };

    const int threads =
        options.threads > 0 ? options.threads : tbb::this_task_arena::max_concurrency();
    if (threads == 1 || count == 1) {
        for (int64_t i = 0; i < count && !state.cancelled(); ++i)
            renderOne(i);
    } else {
        tbb::task_arena arena(threads);
        arena.execute([&] {
            tbb::parallel_for(
                tbb::blocked_range<int64_t>(0, count, 1),
                [&](const tbb::blocked_range<int64_t>& r) {
                    for (int64_t i = r.begin(); i != r.end(); ++i)
                        renderOne(i);
                },
                tbb::simple_partitioner());
        });
    }
    return state.cancelled() ? RenderResult::Cancelled : RenderResult::Done;
}

}  // namespace

std::shared_ptr<const PixelBuffer> RenderCache::materialise(const Node& node, const IRect& rect,
                                                            const RenderState& state) {
    std::shared_ptr<Entry> entry;
    {
        const std::lock_guard lock(m_mutex);
        std::shared_ptr<Entry>& slot = m_entries[{&node, {{rect.x, rect.y}, {rect.w, rect.h}}}];
        if (!slot) slot = std::make_shared<Entry>();
        entry = slot;
    }
    // Rendered outside the map's lock, so other keys (nested kernels) can be
    // materialised meanwhile.
    std::call_once(entry->once, [&] {
        auto pixels = std::make_shared<PixelBuffer>(rect);
        renderUnheld(node, *pixels, state);
        entry->pixels = std::move(pixels);
    });
    return entry->pixels;
}

RenderResult renderRGBA8(const Node& node, const IRect& rect, uint8_t* dst, size_t bytesPerRow,
                         const RenderOptions& options) {
    auto write = [&](const PixelBuffer& tile, int y0, int y1) {
        const IRect& t = tile.rect();
        for (int y = y0; y < y1; ++y) {
            const size_t outRow = size_t(rect.top() - 1 - y);
            uint8_t* o = dst + outRow * bytesPerRow + size_t(t.x - rect.x) * 4;
            encodeRGBA8(tile.row(y), o, t.w, options.space);
        }
    };
    return renderTiles(node, rect, options, write);
}

RenderResult renderFloat(const Node& node, const IRect& rect, float* dst, size_t floatsPerRow,
                         const RenderOptions& options) {
    auto write = [&](const PixelBuffer& tile, int y0, int y1) {
        const IRect& t = tile.rect();
        for (int y = y0; y < y1; ++y) {
            float* o = dst + size_t(y - rect.y) * floatsPerRow + size_t(t.x - rect.x) * 4;
            std::memcpy(o, tile.row(y), size_t(t.w) * 4 * sizeof(float));
        }
    };
    return renderTiles(node, rect, options, write);
}

}  // namespace cif::engine
