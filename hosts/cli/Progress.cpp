#include "hosts/cli/Progress.h"

#include <signal.h>
#include <QCoreApplication>
#include <algorithm>
#include <cmath>
#include <condition_variable>
#include <csignal>
#include <mutex>

#include "hosts/cli/Output.h"
#include "platform/image/CIContext.h"

namespace cifx {

namespace {

std::atomic<bool> g_interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free,
              "the SIGINT flag must be lock-free to be signal-safe");

extern "C" void onInterrupt(int) {
    g_interrupted.store(true);
    std::signal(SIGINT, SIG_DFL);
}

constexpr auto kPollInterval = std::chrono::milliseconds(20);
constexpr auto kProgressDelay = std::chrono::seconds(1);
constexpr auto kRedrawInterval = std::chrono::milliseconds(100);
constexpr int kBarWidth = 30;

}  // namespace

void installInterruptHandler() {
    struct sigaction action = {};
    action.sa_handler = onInterrupt;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
}

bool interrupted() {
    return g_interrupted.load();
}

const std::atomic<bool>* interruptFlag() {
    return &g_interrupted;
}

RenderMonitor::RenderMonitor(cif::CIContext& context, QString label, bool showProgress)
    : m_context(context),
      m_label(std::move(label)),
      m_showProgress(showProgress),
      m_start(std::chrono::steady_clock::now()) {
    // The context watches the Ctrl-C flag itself, so an interrupt that lands
    // before or between renders stops the next one too.
    m_context.setCancellationFlag(interruptFlag());
    if (m_showProgress) m_context.setProgressHandler([this](double f) { m_fraction.store(f); });
    m_thread = std::jthread([this](const std::stop_token& stop) { watch(stop); });
}

RenderMonitor::~RenderMonitor() {
    m_thread.request_stop();
    m_thread.join();
    m_context.setProgressHandler({});
    m_context.setCancellationFlag(nullptr);
    if (m_drawn) {
        drawBar();
        printErr(QStringLiteral("\n"));
    }
}

void RenderMonitor::watch(const std::stop_token& stop) {
    std::mutex mutex;
    std::condition_variable_any wake;
    auto lastDraw = m_start;
    std::unique_lock lock(mutex);
    while (!stop.stop_requested()) {
        const auto now = std::chrono::steady_clock::now();
        if (m_showProgress && now - m_start >= kProgressDelay &&
            now - lastDraw >= kRedrawInterval) {
            drawBar();
            m_drawn = true;
            lastDraw = now;
        }
        wake.wait_for(lock, stop, kPollInterval, [] { return false; });
    }
}

void RenderMonitor::drawBar() {
    const double fraction = std::clamp(m_fraction.load(), 0.0, 1.0);
    const int filled = int(std::lround(fraction * kBarWidth));
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count();
    const QString bar = QString(filled, u'#') + QString(kBarWidth - filled, u'-');
    //: Progress line: what is rendered, the bar, percent done, seconds so far.
    printErr(u'\r' + QCoreApplication::translate("cifx", "%1 [%2] %3% %4 s")
                         .arg(m_label, bar)
                         .arg(int(fraction * 100.0), 3)
                         .arg(seconds, 0, 'f', 1));
}

}  // namespace cifx
