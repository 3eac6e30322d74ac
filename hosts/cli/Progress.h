#pragma once
// Ctrl-C and the progress bar. The SIGINT handler only sets a flag (all a
// signal handler may safely do); a watcher thread turns that flag into
// CIContext::cancel() and draws the progress bar, so the render's worker
// threads never wait on the terminal.

#include <QString>
#include <atomic>
#include <chrono>
#include <thread>

namespace cif {
class CIContext;
}

namespace cifx {

// Installs the SIGINT handler. The first Ctrl-C sets the interrupted flag and
// restores the default action, so a second one ends the process at once.
void installInterruptHandler();
// True once Ctrl-C has been pressed.
bool interrupted();
// The flag the interrupt handler raises, for CIContext::setCancellationFlag.
const std::atomic<bool>* interruptFlag();

// Watches renders on one context for its lifetime: cancels the render in
// progress within about 20 ms of Ctrl-C and, when showProgress is set, draws a
// progress bar on stderr once a render has run for more than a second. The
// destructor stops the watcher and ends the bar's line.
class RenderMonitor {
public:
    RenderMonitor(cif::CIContext& context, QString label, bool showProgress);
    ~RenderMonitor();
    RenderMonitor(const RenderMonitor&) = delete;
    RenderMonitor& operator=(const RenderMonitor&) = delete;

private:
    void watch(const std::stop_token& stop);
    void drawBar();

    cif::CIContext& m_context;
    const QString m_label;
    const bool m_showProgress;
    const std::chrono::steady_clock::time_point m_start;
    std::atomic<double> m_fraction{0.0};
    bool m_drawn = false;  // touched by the watcher thread, then by the destructor after join
    std::jthread m_thread;
};

}  // namespace cifx
