#pragma once
// CIFPreviewRenderer: renders the editor's previews on a thread of its own,
// so the window never freezes while an effect or a generator works.
//
// Requests are coalesced: a burst of requests made within one turn of the
// event loop becomes one render (the last), and a newer request cancels the
// render still running for an older one, whose result is dropped. Renders
// run one at a time in request order, each after seeding the process-wide
// random sequence with its own seed, so generator runs are serialised and
// replay identical pictures for equal parameters and seeds.
//
// The renderer owns a private principal object for its renders; the caller
// keeps its own for catalog queries, so the two never share state across
// threads. Results are delivered on the main thread through `finished`.

#include <QObject>
#include <QString>
#include <QTimer>
#include <QVariantMap>
#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "platform/host/HostImage.h"

namespace cif {

class CIFMain;

class CIFPreviewRenderer final : public QObject {
    Q_OBJECT

public:
    struct Request {
        QString identifier;      // an effect, or a generator ("GLIF_...")
        QVariantMap attributes;  // the editor parameter dictionary
        HostImage picture;       // the source picture (its size for a generator)
        quint32 seed = 0;        // seeded immediately before the render
    };

    explicit CIFPreviewRenderer(QObject* parent = nullptr);
    ~CIFPreviewRenderer() override;
    CIFPreviewRenderer(const CIFPreviewRenderer&) = delete;
    CIFPreviewRenderer& operator=(const CIFPreviewRenderer&) = delete;

    // Queues a render; it starts when control returns to the event loop.
    // Returns the request's number (increasing).
    quint64 request(Request request);
    // Drops the queued request and cancels the running one; no result of
    // either is delivered.
    void cancelAll();
    // True while a request is queued or a render runs.
    bool isBusy() const;
    // Runs the event loop until no request is queued or running and the
    // last result has been delivered; false after timeoutMs.
    bool waitUntilIdle(int timeoutMs = 60000);

signals:
    // The result of request `number` (the null picture when the effect could
    // not be made); only the newest request's result is delivered.
    void finished(quint64 number, const cif::HostImage& picture);
    // The finished fraction of a long render (0..1); 1 when it ends.
    void progress(double fraction);

private:
    struct Job {
        quint64 number = 0;
        Request request;
        std::shared_ptr<std::atomic<bool>> cancel;
    };

    void startQueued();
    void workerLoop();
    void deliver(quint64 number, const HostImage& picture, bool cancelled);

    QTimer m_coalesce;
    std::optional<Job> m_queued;  // main thread: waits for the timer
    quint64 m_nextNumber = 1;
    quint64 m_latestNumber = 0;     // main thread: the newest request
    quint64 m_deliveredNumber = 0;  // main thread: the last one answered

    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    std::optional<Job> m_pending;  // handed to the worker
    std::shared_ptr<std::atomic<bool>> m_runningCancel;
    bool m_running = false;
    bool m_stop = false;
    std::unique_ptr<CIFMain> m_main;  // used on the worker thread only
    std::thread m_worker;
};

}  // namespace cif
