#include "editor/CIFPreviewRenderer.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QMetaObject>
#include <QPointer>
#include <cstdlib>

#include "core/CIFMain.h"

namespace cif {

CIFPreviewRenderer::CIFPreviewRenderer(QObject* parent)
    : QObject(parent), m_main(std::make_unique<CIFMain>()) {
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
    const std::lock_guard lock(m_mutex);
    m_pending.reset();
    if (m_runningCancel) m_runningCancel->store(true);
}

bool CIFPreviewRenderer::isBusy() const {
    if (m_queued || m_deliveredNumber < m_latestNumber) return true;
    const std::lock_guard lock(m_mutex);
    return m_running || m_pending.has_value();
}

bool CIFPreviewRenderer::waitUntilIdle(int timeoutMs) {
    const QDeadlineTimer deadline(timeoutMs);
    while (isBusy()) {
        if (deadline.hasExpired()) return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
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
            m_running = true;
            m_runningCancel = job.cancel;
        }
        QPointer<CIFPreviewRenderer> self(this);
        m_main->setRenderControl(job.cancel.get(), [self](double fraction) {
            QMetaObject::invokeMethod(
                self,
                [self, fraction] {
                    if (self) emit self->progress(fraction);
                },
                Qt::QueuedConnection);
        });
        const Request& r = job.request;
        HostImage result;
        if (!job.cancel->load()) {
            // Generators draw from the process-wide sequence: seeded here,
            // on the thread that runs them, right before they run.
            m_main->seedRandom(r.seed);
            result = r.identifier.startsWith(QLatin1String("GLIF_"))
                         ? m_main->CIFGenerateLayerAttributesForImage(r.identifier, r.attributes,
                                                                      r.picture)
                         : m_main->CIFApplyFilterAttributesForImage(r.identifier, r.attributes,
                                                                    r.picture);
        }
        m_main->setRenderControl(nullptr, {});
        const bool cancelled = job.cancel->load();
        const quint64 number = job.number;
        {
            const std::lock_guard lock(m_mutex);
            m_running = false;
            m_runningCancel.reset();
        }
        QMetaObject::invokeMethod(
            this, [this, number, result, cancelled] { deliver(number, result, cancelled); },
            Qt::QueuedConnection);
    }
}

void CIFPreviewRenderer::deliver(quint64 number, const HostImage& picture, bool cancelled) {
    if (cancelled || number != m_latestNumber) return;
    m_deliveredNumber = number;
    emit progress(1.0);
    emit finished(number, picture);
}

}  // namespace cif
