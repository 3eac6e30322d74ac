#include "editor/CIFPreviewRenderer.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QMetaObject>
#include <QPointer>
#include <algorithm>
#include <chrono>
#include <cstdlib>

#include "core/CIFMain.h"
#include "platform/image/CIAttributes.h"
#include "platform/image/CIVector.h"

namespace cif {

CIFPreviewRenderer::CIFPreviewRenderer(QObject* parent)
    : QObject(parent),
      m_main(std::make_unique<CIFMain>()),
      m_quickMain(std::make_unique<CIFMain>()) {
    m_coalesce.setSingleShot(true);
    m_coalesce.setInterval(0);
    connect(&m_coalesce, &QTimer::timeout, this, &CIFPreviewRenderer::startQueued);
    m_worker = std::thread([this] { workerLoop(); });
}

CIFPreviewRenderer::~CIFPreviewRenderer() {
    {
        const std::lock_guard lock(m_mutex);
        m_stop = true;
        m_pending.reset();
        if (m_runningCancel) m_runningCancel->store(true);
    }
    m_wake.notify_all();
    m_worker.join();
}

quint64 CIFPreviewRenderer::request(Request request) {
    // Pictures too small to gain from a quick one are rendered at full size.
    if (!request.previewPixels.isEmpty() &&
        (request.picture.isVector() ||
         request.previewPixels.width() >= request.picture.pixelsWide() ||
         request.previewPixels.height() >= request.picture.pixelsHigh()))
        request.previewPixels = QSize();
    const quint64 number = m_nextNumber++;
    m_latestNumber = number;
    m_queued = Job{number, std::move(request), std::make_shared<std::atomic<bool>>(false)};
    m_coalesce.start();
    return number;
}

void CIFPreviewRenderer::cancelAll() {
    m_queued.reset();
    m_coalesce.stop();
    m_latestNumber = m_nextNumber++;
    m_deliveredNumber = m_latestNumber;
    m_shownNumber = m_latestNumber;
    {
        const std::lock_guard lock(m_mutex);
        m_pending.reset();
        if (m_runningCancel) m_runningCancel->store(true);
    }
    // A worker waiting to refine a cancelled job stops waiting.
    m_wake.notify_all();
}

bool CIFPreviewRenderer::isBusy() const {
    if (m_queued || m_deliveredNumber < m_latestNumber) return true;
    const std::lock_guard lock(m_mutex);
    return m_running || m_pending.has_value();
}

void CIFPreviewRenderer::finishNow() {
    if (m_queued) startQueued();
    {
        const std::lock_guard lock(m_mutex);
        m_hurry = true;
    }
    m_wake.notify_all();
}

bool CIFPreviewRenderer::waitUntilShown(int timeoutMs) {
    return waitUntil([this] { return !m_queued && m_shownNumber >= m_latestNumber; }, timeoutMs,
                     false);
}

bool CIFPreviewRenderer::waitUntilIdle(int timeoutMs) {
    return waitUntil([this] { return !isBusy(); }, timeoutMs, true);
}

bool CIFPreviewRenderer::waitUntil(const std::function<bool()>& done, int timeoutMs, bool hurry) {
    const QDeadlineTimer deadline(timeoutMs);
    while (!done()) {
        if (deadline.hasExpired()) return false;
        if (hurry) finishNow();
        // Sleeps until a result arrives, looking again every few
        // milliseconds for renders that end without one (cancelled).
        QEventLoop loop;
        connect(this, &CIFPreviewRenderer::finished, &loop, &QEventLoop::quit);
        QTimer::singleShot(int(std::clamp<qint64>(deadline.remainingTime(), 0, 10)), &loop,
                           &QEventLoop::quit);
        loop.exec();
    }
    return true;
}

void CIFPreviewRenderer::startQueued() {
    if (!m_queued) return;
    {
        const std::lock_guard lock(m_mutex);
        // The running render is stale now: stop it, its result is dropped.
        if (m_runningCancel) m_runningCancel->store(true);
        m_pending = std::move(m_queued);
    }
    m_queued.reset();
    m_wake.notify_all();
}

void CIFPreviewRenderer::workerLoop() {
    for (;;) {
        Job job;
        {
            std::unique_lock lock(m_mutex);
            m_wake.wait(lock, [this] { return m_stop || m_pending.has_value(); });
            if (m_stop) return;
            job = std::move(*m_pending);
            m_pending.reset();
            m_hurry = false;
            m_running = true;
            m_runningCancel = job.cancel;
        }
        const Request& r = job.request;
        if (!r.previewPixels.isEmpty()) {
            const HostImage quick = render(r, job.cancel.get(), true);
            deliver(job.number, quick, job.cancel->load(), false);
            // The full-size render waits until the changes pause; a newer
            // request replaces it.
            std::unique_lock lock(m_mutex);
            m_wake.wait_for(lock, std::chrono::milliseconds(refineDelayMs), [this, &job] {
                return m_stop || m_pending.has_value() || m_hurry || job.cancel->load();
            });
            if (m_stop || m_pending.has_value() || job.cancel->load()) {
                m_running = false;
                m_runningCancel.reset();
                continue;
            }
        }
        const HostImage full = render(r, job.cancel.get(), false);
        const bool cancelled = job.cancel->load();
        {
            const std::lock_guard lock(m_mutex);
            m_running = false;
            m_runningCancel.reset();
        }
        deliver(job.number, full, cancelled, true);
    }
}

HostImage CIFPreviewRenderer::render(const Request& r, const std::atomic<bool>* cancel,
                                     bool quick) {
    CIFMain& main = quick ? *m_quickMain : *m_main;
    HostImage picture = r.picture;
    if (quick) {
        // Reduced once per picture and size: the principal object keeps its
        // input prepared while the same picture object comes back.
        if (!m_reducedSource.isSameObject(r.picture) ||
            m_reduced.pixelsWide() != r.previewPixels.width() ||
            m_reduced.pixelsHigh() != r.previewPixels.height()) {
            m_reducedSource = r.picture;
            m_reduced = HostImage::fromQImage(r.picture.rasterize(r.previewPixels));
        }
        picture = m_reduced;
        if (picture.isNull()) return {};
    }
    QPointer<CIFPreviewRenderer> self(this);
    std::function<void(double)> progress;
    if (!quick)
        progress = [self](double fraction) {
            QMetaObject::invokeMethod(
                self,
                [self, fraction] {
                    if (self) emit self->progress(fraction);
                },
                Qt::QueuedConnection);
        };
    main.setRenderControl(cancel, progress);
    HostImage result;
    if (!cancel || !cancel->load()) {
        // Generators draw from the process-wide sequence: seeded here, on
        // the thread that runs them, right before they run.
        const QVariantMap& attributes = quick ? r.previewAttributes : r.attributes;
        main.seedRandom(r.seed);
        result = r.identifier.startsWith(QLatin1String("GLIF_"))
                     ? main.CIFGenerateLayerAttributesForImage(r.identifier, attributes, picture)
                     : main.CIFApplyFilterAttributesForImage(r.identifier, attributes, picture);
    }
    main.setRenderControl(nullptr, {});
    if (!quick || result.isNull()) return result;
    // The quick picture covers the picture's size, so the view shows it in
    // place of the full one.
    QImage pixels = result.bitmap();
    if (pixels.isNull()) pixels = result.rasterize(r.previewPixels);
    return HostImage::fromQImage(pixels, r.picture.size());
}

void CIFPreviewRenderer::deliver(quint64 number, const HostImage& picture, bool cancelled,
                                 bool final) {
    QMetaObject::invokeMethod(
        this,
        [this, number, picture, cancelled, final] {
            if (cancelled || number != m_latestNumber) return;
            m_shownNumber = number;
            if (final) {
                m_deliveredNumber = number;
                emit progress(1.0);
            }
            emit finished(number, picture, final);
        },
        Qt::QueuedConnection);
}

QVariantMap CIFPreviewRenderer::scaledAttributes(const QVariantMap& attributes,
                                                 const QVariantMap& description, double scale) {
    const auto typeOf = [&description](const QString& key) {
        return description.value(key).toMap().value(kCIAttributeType).toString();
    };
    const auto isLength = [](const QString& type) {
        return type == kCIAttributeTypeDistance || type == kCIAttributeTypePosition ||
               type == kCIAttributeTypePosition3 || type == kCIAttributeTypeOffset ||
               type == kCIAttributeTypeRectangle;
    };
    QVariantMap scaled = attributes;
    for (auto it = scaled.begin(); it != scaled.end(); ++it) {
        const QString& key = it.key();
        QVariant& value = it.value();
        if (key == QLatin1String("CIFVectors")) {
            QVariantMap vectors = value.toMap();
            for (auto v = vectors.begin(); v != vectors.end(); ++v) {
                if (!isLength(typeOf(v.key()))) continue;
                QVariantMap components = v.value().toMap();
                for (auto c = components.begin(); c != components.end(); ++c)
                    c.value() = c.value().toDouble() * scale;
                v.value() = components;
            }
            value = vectors;
        } else if (key == QLatin1String("CIFOffsets")) {
            QVariantMap offsets = value.toMap();
            for (auto o = offsets.begin(); o != offsets.end(); ++o) {
                QVariantMap polar = o.value().toMap();
                if (polar.contains(QStringLiteral("radius")))
                    polar.insert(QStringLiteral("radius"),
                                 polar.value(QStringLiteral("radius")).toDouble() * scale);
                o.value() = polar;
            }
            value = offsets;
        } else if (value.typeId() == QMetaType::QTransform) {
            // The same mapping on the reduced picture: only its shift shrinks.
            const QTransform t = value.value<QTransform>();
            value = QVariant::fromValue(
                QTransform(t.m11(), t.m12(), t.m21(), t.m22(), t.dx() * scale, t.dy() * scale));
        } else if (key == QLatin1String("inputCenter") || isLength(typeOf(key))) {
            if (value.typeId() == QMetaType::QPointF)
                value = value.toPointF() * scale;
            else if (value.typeId() == QMetaType::QRectF)
                value = QRectF(value.toRectF().topLeft() * scale, value.toRectF().size() * scale);
            else if (value.canConvert<CIVector>() && value.typeId() == qMetaTypeId<CIVector>()) {
                std::vector<double> v = value.value<CIVector>().values();
                for (double& d : v)
                    d *= scale;
                value = QVariant::fromValue(CIVector(std::move(v)));
            } else if (value.canConvert<double>()) {
                value = value.toDouble() * scale;
            }
        }
    }
    return scaled;
}

}  // namespace cif
