#pragma once
// CIContext: renders rectangles of images into QImages, float buffers or a
// QPainter. Rendering is deterministic and uses the CPU only (it is the
// platform's "software renderer"); work is split into tiles run on all cores.

#include <QImage>
#include <QPainter>
#include <QRectF>
#include <QVariantMap>
#include <atomic>
#include <functional>
#include <vector>

#include "platform/image/CIImage.h"
#include "platform/image/ColorSpace.h"
#include "platform/image/Renderer.h"

namespace cif {

// Context option keys (the platform's names).
inline const QString kCIContextWorkingColorSpace = QStringLiteral("kCIContextWorkingColorSpace");
inline const QString kCIContextUseSoftwareRenderer =
    QStringLiteral("kCIContextUseSoftwareRenderer");

// Premultiplied working-space RGBA floats; row 0 is the bottom row.
struct CIFloatBitmap {
    int width = 0, height = 0;
    std::vector<float> pixels;  // width * height * 4
    const float* at(int x, int y) const {
        return pixels.data() + (size_t(y) * size_t(width) + size_t(x)) * 4;
    }
};

class CIContext {
public:
    struct Options {
        engine::WorkingSpace workingSpace = engine::WorkingSpace::LinearSRGB;
        int tileSize = 256;
        int threads = 0;  // 0: all cores
    };

    CIContext();
    explicit CIContext(const Options& options);
    // From the platform's option dictionary: kCIContextWorkingColorSpace set to
    // an invalid QVariant or the string "none" turns colour management off;
    // kCIContextUseSoftwareRenderer is accepted (rendering is always on the CPU).
    static CIContext contextWithOptions(const QVariantMap& options);

    CIContext(const CIContext&) = delete;
    CIContext& operator=(const CIContext&) = delete;
    CIContext(CIContext&&) = delete;
    CIContext& operator=(CIContext&&) = delete;

    const Options& options() const { return m_options; }
    void setTileSize(int size) { m_options.tileSize = size; }
    void setThreads(int threads) { m_options.threads = threads; }

    // Renders the pixels covering fromRect into a new 8-bit premultiplied RGBA
    // QImage (top row first). Null on an empty, infinite or over-limit
    // rectangle (lastError() says why) or when cancelled.
    QImage createQImage(const CIImage& image, const QRectF& fromRect);
    // The same into premultiplied working-space floats.
    bool renderToFloat(const CIImage& image, const QRectF& fromRect, CIFloatBitmap& out);
    // Draws fromRect of the image into inRect of the painter (painter
    // coordinates, y down); the image is rendered at inRect's device size.
    bool drawImageInRectFromRect(QPainter& painter, const CIImage& image, const QRectF& inRect,
                                 const QRectF& fromRect);

    // Stops the render in progress, from any thread; it answers null/false.
    // Each render starts uncancelled, so a late cancel never hits the next one.
    void cancel() { m_cancel.store(true); }
    // A flag owned by the caller that cancels every render while it is set
    // (for example one raised by a signal handler before a render starts).
    void setCancellationFlag(const std::atomic<bool>* flag) { m_externalCancel = flag; }
    bool wasCancelled() const { return m_wasCancelled; }
    // Called with the finished fraction while a render runs (worker threads,
    // never concurrently).
    void setProgressHandler(std::function<void(double)> handler) {
        m_progress = std::move(handler);
    }
    QString lastError() const { return m_lastError; }

private:
    bool prepare(const CIImage& image, const QRectF& fromRect, engine::IRect& pixels);
    engine::RenderOptions renderOptions() const;

    Options m_options;
    std::atomic<bool> m_cancel{false};
    const std::atomic<bool>* m_externalCancel = nullptr;
    bool m_wasCancelled = false;
    std::function<void(double)> m_progress;
    QString m_lastError;
};

}  // namespace cif
