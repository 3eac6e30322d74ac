#pragma once
// Float RGBA tile buffers used by the renderer, and the per-thread pool that
// recycles them.

#include <cstddef>
#include <memory>
#include <vector>

#include "platform/image/Geometry.h"

namespace cif::engine {

// Premultiplied working-space RGBA floats covering a pixel rectangle. Rows run
// bottom-up: row 0 is the rectangle's lowest row (y = rect.y).
class PixelBuffer {
public:
    PixelBuffer() = default;
    explicit PixelBuffer(const IRect& rect);
    PixelBuffer(PixelBuffer&&) noexcept = default;
    PixelBuffer& operator=(PixelBuffer&&) noexcept = default;
    PixelBuffer(const PixelBuffer&) = delete;
    PixelBuffer& operator=(const PixelBuffer&) = delete;
    ~PixelBuffer();

    // A buffer over rect.area() * 4 floats of someone else's storage (rows of
    // a larger buffer, say), so an input can render straight into them. The
    // storage must outlive the view; the view never frees it.
    static PixelBuffer view(float* data, const IRect& rect);

    const IRect& rect() const { return m_rect; }
    int width() const { return m_rect.w; }
    int height() const { return m_rect.h; }
    float* data() { return m_data.get(); }
    const float* data() const { return m_data.get(); }
    // Row of absolute y (rect.y <= y < rect.top()).
    float* row(int y) { return m_data.get() + size_t(y - m_rect.y) * size_t(m_rect.w) * 4; }
    const float* row(int y) const {
        return m_data.get() + size_t(y - m_rect.y) * size_t(m_rect.w) * 4;
    }
    // Pixel at absolute (x, y).
    const float* at(int x, int y) const { return row(y) + size_t(x - m_rect.x) * 4; }
    float* at(int x, int y) { return row(y) + size_t(x - m_rect.x) * 4; }

    // Gives the same storage another position of the same size, so that an
    // input can render straight into it under a translation.
    void relabel(const IRect& rect) {
        if (rect.w == m_rect.w && rect.h == m_rect.h) m_rect = rect;
    }
    void fillTransparent();
    // Transparent everywhere outside keep (absolute coordinates).
    void clearOutside(const IRect& keep);

private:
    struct Release {
        Release() noexcept : owned(true) {}
        explicit Release(bool own) noexcept : owned(own) {}
        void operator()(float* p) const {
            if (owned) delete[] p;
        }
        bool owned;
    };
    IRect m_rect;
    std::unique_ptr<float[], Release> m_data;
    size_t m_capacity = 0;  // floats
    friend class BufferPool;
};

// Hands out buffers and takes them back for reuse, so rendering a tile after
// the first allocates nothing. One pool per worker thread; a small number of
// buffers is kept, the rest freed.
class BufferPool {
public:
    static BufferPool& forThisThread();
    PixelBuffer acquire(const IRect& rect);
    void release(PixelBuffer&& buffer);
    void trim();

private:
    std::vector<PixelBuffer> m_free;
};

// Returns its buffer to the pool when it goes out of scope.
class PooledBuffer {
public:
    explicit PooledBuffer(const IRect& rect)
        : m_buffer(BufferPool::forThisThread().acquire(rect)) {}
    ~PooledBuffer() { BufferPool::forThisThread().release(std::move(m_buffer)); }
    PooledBuffer(const PooledBuffer&) = delete;
    PooledBuffer& operator=(const PooledBuffer&) = delete;
    PixelBuffer& operator*() { return m_buffer; }
    PixelBuffer* operator->() { return &m_buffer; }

private:
    PixelBuffer m_buffer;
};

}  // namespace cif::engine
