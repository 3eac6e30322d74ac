#include "platform/image/CIContext.h"

#include <sys/mman.h>
#include <QCoreApplication>
#include <mutex>
#include <unordered_map>
#include <utility>

#include <cmath>
#include <cstdlib>

#include "platform/host/ImageLimits.h"
#include "platform/image/Renderer.h"

namespace cif {

using namespace engine;

CIContext::CIContext() = default;
CIContext::CIContext(const Options& options) : m_options(options) {}

CIContext CIContext::contextWithOptions(const QVariantMap& options) {
    Options o;
    const auto it = options.find(kCIContextWorkingColorSpace);
    if (it != options.end() &&
        (!it->isValid() || it->isNull() ||
         it->toString().compare(QLatin1String("none"), Qt::CaseInsensitive) == 0))
        o.workingSpace = WorkingSpace::None;
    return CIContext(o);
}

RenderOptions CIContext::renderOptions() const {
    RenderOptions r;
    r.space = m_options.workingSpace;
    r.tileSize = m_options.tileSize;
    r.threads = m_options.threads;
    r.cancel = &m_cancel;
    r.externalCancel = m_externalCancel;
    r.progress = m_progress;
    return r;
}

bool CIContext::prepare(const CIImage& image, const QRectF& fromRect, IRect& pixels) {
    m_lastError.clear();
    m_wasCancelled = false;
    m_cancel.store(false);
    if (image.isNull()) {
        m_lastError = QCoreApplication::translate("CIContext", "There is no image to render.");
        return false;
    }
    const Rect r = CIImage::toEngineRect(fromRect);
    if (r.isEmpty()) {
        m_lastError = QCoreApplication::translate("CIContext", "The rectangle to render is empty.");
        return false;
    }
    if (r.isUnbounded()) {
        m_lastError =
            QCoreApplication::translate("CIContext", "An infinite rectangle cannot be rendered.");
        return false;
    }
    pixels = coveringPixels(r);
    QString limitError;
    if (!checkPictureSize(pixels.w, pixels.h, &limitError)) {
        m_lastError = limitError;
        return false;
    }
    return true;
}

namespace {

// Large output memory, recycled: the memory of the last large picture the
// caller let go is kept (one block, at most kMaxSpare bytes) and handed to the
// next render that fits in it. Fresh memory costs a page fault and a zeroing
// per page when the renderer first writes it, about a fifth of a simple
// render; a preview redrawn while a slider moves reuses the same block.
class OutputMemory {
public:
    static constexpr size_t kHugePage = size_t(2) << 20;
    static constexpr size_t kMaxSpare = size_t(256) << 20;

    static OutputMemory& shared() {
        static OutputMemory memory;
        return memory;
    }

    // A block of at least `bytes` (a multiple of the huge page size), or
    // null when memory is short.
    void* take(size_t bytes) {
        const std::lock_guard lock(m_mutex);
        // Reuse only a block that is not much larger than needed.
        if (m_spare && m_spareBytes >= bytes && m_spareBytes <= 2 * bytes) {
            m_inUse.emplace(m_spare, m_spareBytes);
            return std::exchange(m_spare, nullptr);
        }
        void* memory = std::aligned_alloc(kHugePage, bytes);
        if (!memory) return nullptr;
        madvise(memory, bytes, MADV_HUGEPAGE);  // advice only; failure is harmless
        m_inUse.emplace(memory, bytes);
        return memory;
    }

    // Takes back a block from take(): it becomes the spare, and the previous
    // spare is freed.
    void give(void* memory) {
        void* old = memory;
        {
            const std::lock_guard lock(m_mutex);
            const auto it = m_inUse.find(memory);
            const size_t capacity = it == m_inUse.end() ? 0 : it->second;
            if (it != m_inUse.end()) m_inUse.erase(it);
            if (capacity > 0 && capacity <= kMaxSpare) {
                old = std::exchange(m_spare, memory);
                m_spareBytes = capacity;
            }
        }
        std::free(old);
    }

private:
    std::mutex m_mutex;
    void* m_spare = nullptr;
    size_t m_spareBytes = 0;
    std::unordered_map<void*, size_t> m_inUse;  // blocks held by pictures, with their sizes
};

// A QImage for the render's output; large ones live in recycled memory on
// huge pages.
QImage allocateOutput(int width, int height) {
    constexpr size_t kHugePage = OutputMemory::kHugePage;
    const size_t bytesPerLine = size_t(width) * 4;
    const size_t bytes = bytesPerLine * size_t(height);
    if (bytes < 2 * kHugePage) return QImage(width, height, QImage::Format_RGBA8888_Premultiplied);
    const size_t rounded = (bytes + kHugePage - 1) / kHugePage * kHugePage;
    void* memory = OutputMemory::shared().take(rounded);
    if (!memory) return {};
    return QImage(
        static_cast<uchar*>(memory), width, height, qsizetype(bytesPerLine),
        QImage::Format_RGBA8888_Premultiplied, [](void* p) { OutputMemory::shared().give(p); },
        memory);
}

}  // namespace

QImage CIContext::createQImage(const CIImage& image, const QRectF& fromRect) {
    IRect px;
    if (!prepare(image, fromRect, px)) return {};
    QImage out = allocateOutput(px.w, px.h);
    if (out.isNull()) {
        m_lastError =
            QCoreApplication::translate("CIContext", "Not enough memory to render %1 x %2 pixels.")
                .arg(px.w)
                .arg(px.h);
        return {};
    }
    const RenderResult result =
        renderRGBA8(*image.node(), px, out.bits(), size_t(out.bytesPerLine()), renderOptions());
    if (result == RenderResult::Cancelled) {
        m_wasCancelled = true;
        m_lastError = QCoreApplication::translate("CIContext", "Rendering was cancelled.");
        return {};
    }
    return out;
}

bool CIContext::renderToFloat(const CIImage& image, const QRectF& fromRect, CIFloatBitmap& out) {
    IRect px;
    if (!prepare(image, fromRect, px)) return false;
    CIFloatBitmap result;
    result.width = px.w;
    result.height = px.h;
    result.pixels.resize(size_t(px.area()) * 4);
    const RenderResult rendered =
        renderFloat(*image.node(), px, result.pixels.data(), size_t(px.w) * 4, renderOptions());
    if (rendered == RenderResult::Cancelled) {
        m_wasCancelled = true;
        m_lastError = QCoreApplication::translate("CIContext", "Rendering was cancelled.");
        return false;
    }
    out = std::move(result);
    return true;
}

bool CIContext::drawImageInRectFromRect(QPainter& painter, const CIImage& image,
                                        const QRectF& inRect, const QRectF& fromRect) {
    if (inRect.isEmpty() || !(fromRect.width() > 0 && fromRect.height() > 0)) return false;
    // Render at the target's device resolution, with fromRect mapped exactly
    // onto that pixel grid, so nothing is resampled twice and a source
    // rectangle that is not pixel-aligned lands where it belongs.
    const QRectF device = painter.transform().mapRect(inRect);
    const QSize size(std::max(1, int(std::lround(device.width()))),
                     std::max(1, int(std::lround(device.height()))));
    const QTransform place =
        QTransform::fromTranslate(-fromRect.x(), -fromRect.y()) *
        QTransform::fromScale(size.width() / fromRect.width(), size.height() / fromRect.height());
    const CIImage placed = place.isIdentity() ? image : image.imageByApplyingTransform(place);
    const QImage pixels = createQImage(placed, QRectF(QPointF(0, 0), QSizeF(size)));
    if (pixels.isNull()) return false;
    painter.save();
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(inRect, pixels);
    painter.restore();
    return true;
}

}  // namespace cif
