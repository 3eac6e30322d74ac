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
// A request may ask for a quick first picture at the resolution the view
// shows (previewPixels): the effect is rendered on the picture reduced to
// that size, with the lengths among its parameters reduced alike, and shown
// at once. When no newer request comes within refineDelayMs, the full-size
// render follows and replaces it, so the picture left on screen, and the
// one a caller accepts, is the full-size render of the same parameters and
// seed.
//
// The renderer owns a private principal object for its renders; the caller
// keeps its own for catalog queries, so the two never share state across
// threads. Results are delivered on the main thread through `finished`.

#include <QObject>
#include <QSize>
#include <QString>
#include <QTimer>
#include <QVariantMap>
#include <atomic>
#include <condition_variable>
#include <functional>
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
        // The quick first picture: its pixel size (empty: full size only)
        // and the parameters for it (lengths scaled to previewPixels).
        QSize previewPixels;
        QVariantMap previewAttributes;
    };

    // How long the changes must pause before the full-size render starts.
    static constexpr int refineDelayMs = 200;

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
    // Starts the full-size render of the newest request without waiting for
    // the changes to pause.
    void finishNow();
    // Runs the event loop until no request is queued or running and the
    // newest full-size result has been delivered (starting it at once);
    // false after timeoutMs.
    bool waitUntilIdle(int timeoutMs = 60000);
    // Runs the event loop until the newest request's first picture (quick
    // or full size) has been delivered; false after timeoutMs.
    bool waitUntilShown(int timeoutMs = 60000);

    // `attributes` for a picture reduced by `scale` (0 < scale <= 1): the
    // shifts of transforms, the values typed as distances, positions,
    // offsets and rectangles in the
    // effect's attribute `description`, and the radii and position
    // components held under "CIFOffsets" and "CIFVectors", multiplied by it.
    static QVariantMap scaledAttributes(const QVariantMap& attributes,
                                        const QVariantMap& description, double scale);

signals:
    // A result of request `number` (the null picture when the effect could
    // not be made): its quick picture (final false) or its full-size one
    // (final true). Only the newest request's results are delivered.
    void finished(quint64 number, const cif::HostImage& picture, bool final);
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
    bool waitUntil(const std::function<bool()>& done, int timeoutMs, bool hurry);
    HostImage render(const Request& request, const std::atomic<bool>* cancel, bool quick);
    void deliver(quint64 number, const HostImage& picture, bool cancelled, bool final);

    QTimer m_coalesce;
    std::optional<Job> m_queued;  // main thread: waits for the timer
    quint64 m_nextNumber = 1;
    quint64 m_latestNumber = 0;     // main thread: the newest request
    quint64 m_deliveredNumber = 0;  // main thread: the last one answered in full
    quint64 m_shownNumber = 0;      // main thread: the last one with a picture shown

    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    std::optional<Job> m_pending;  // handed to the worker
    std::shared_ptr<std::atomic<bool>> m_runningCancel;
    bool m_running = false;
    bool m_stop = false;
    bool m_hurry = false;  // start the waiting full-size render now
    // Used on the worker thread only: one principal object per size, so each
    // keeps its prepared input picture between renders.
    std::unique_ptr<CIFMain> m_main;
    std::unique_ptr<CIFMain> m_quickMain;
    HostImage m_reducedSource;  // the picture m_reduced was made from
    HostImage m_reduced;
    std::thread m_worker;
};

}  // namespace cif
