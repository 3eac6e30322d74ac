#include "platform/image/PixelBuffer.h"

#include <algorithm>
#include <cstring>

namespace cif::engine {

PixelBuffer::PixelBuffer(const IRect& rect)
    : m_rect(rect.isEmpty() ? IRect{rect.x, rect.y, 0, 0} : rect),
      m_data(m_rect.isEmpty() ? nullptr : new float[size_t(m_rect.area()) * 4]),
      m_capacity(size_t(m_rect.area()) * 4) {}

PixelBuffer::~PixelBuffer() = default;

PixelBuffer PixelBuffer::view(float* data, const IRect& rect) {
    PixelBuffer b;
    b.m_rect = rect.isEmpty() ? IRect{rect.x, rect.y, 0, 0} : rect;
    b.m_data =
        std::unique_ptr<float[], Release>(b.m_rect.isEmpty() ? nullptr : data, Release{false});
    return b;
}

void PixelBuffer::fillTransparent() {
    if (m_data) std::memset(m_data.get(), 0, size_t(m_rect.area()) * 4 * sizeof(float));
}

void PixelBuffer::clearOutside(const IRect& keep) {
    const IRect k = keep.intersected(m_rect);
    if (k == m_rect) return;
    if (k.isEmpty()) {
        fillTransparent();
        return;
    }
    for (int y = m_rect.y; y < m_rect.top(); ++y) {
        float* r = row(y);
        if (y < k.y || y >= k.top()) {
            std::memset(r, 0, size_t(m_rect.w) * 4 * sizeof(float));
            continue;
        }
        std::memset(r, 0, size_t(k.x - m_rect.x) * 4 * sizeof(float));
        std::memset(r + size_t(k.right() - m_rect.x) * 4, 0,
                    size_t(m_rect.right() - k.right()) * 4 * sizeof(float));
    }
}

BufferPool& BufferPool::forThisThread() {
    thread_local BufferPool pool;
    return pool;
}

PixelBuffer BufferPool::acquire(const IRect& rect) {
    const size_t need = size_t(std::max<int64_t>(rect.area(), 0)) * 4;
    // Best fit among the free buffers that are large enough.
    auto best = m_free.end();
    for (auto it = m_free.begin(); it != m_free.end(); ++it)
        if (it->m_capacity >= need && (best == m_free.end() || it->m_capacity < best->m_capacity))
            best = it;
    if (best == m_free.end() || need == 0) return PixelBuffer(rect);
    PixelBuffer b = std::move(*best);
    m_free.erase(best);
    b.m_rect = rect;
    return b;
}

void BufferPool::release(PixelBuffer&& buffer) {
    if (!buffer.m_data || !buffer.m_data.get_deleter().owned) return;
    constexpr size_t kKeep = 6;
    // Never hold on to very large buffers (region-of-interest buffers of big
    // neighbourhoods): they would pin memory for the thread's lifetime.
    constexpr size_t kMaxKeptFloats = size_t(1024) * 1024 * 4;
    if (buffer.m_capacity > kMaxKeptFloats) return;
    m_free.push_back(std::move(buffer));
    if (m_free.size() > kKeep) {
        auto smallest = std::min_element(
            m_free.begin(), m_free.end(),
            [](const auto& l, const auto& r) { return l.m_capacity < r.m_capacity; });
        m_free.erase(smallest);
    }
}

void BufferPool::trim() {
    m_free.clear();
}

}  // namespace cif::engine
