// How quickly the plug-in says no: refusing a picture file whose header
// claims more than the picture limits (one benchmark per file, every format
// the loader reads), and returning from a render that is cancelled while it
// runs. Counters:
//   peak_MiB    the largest rise of the resident set during one refusal
//   latency_ms  from the cancel to the render's return

#include <benchmark/benchmark.h>

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QTemporaryDir>
#include <QTransform>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "platform/CIPlatform.h"
#include "platform/host/HostImage.h"
#include "platform/image/CIContext.h"
#include "platform/image/CIImage.h"
#include "tests/support/OversizedPictures.h"

namespace {

double residentMiB(const char* field) {
    FILE* status = std::fopen("/proc/self/status", "r");
    if (!status) return 0;
    char line[256];
    double kib = 0;
    const size_t n = std::strlen(field);
    while (std::fgets(line, sizeof line, status))
        if (std::strncmp(line, field, n) == 0) kib = std::atof(line + n + 1);
    std::fclose(status);
    return kib / 1024.0;
}

void resetPeak() {
    if (FILE* f = std::fopen("/proc/self/clear_refs", "w")) {
        std::fputs("5", f);
        std::fclose(f);
    }
}

QTemporaryDir& pictureFolder() {
    static QTemporaryDir dir;
    return dir;
}

void BM_RefuseOversized(benchmark::State& state, const char* name, QByteArray bytes) {
    const QString path = QDir(pictureFolder().path()).filePath(QString::fromLatin1(name));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()) {
        state.SkipWithError("cannot write the picture file");
        return;
    }
    file.close();
    double peak = 0;
    for (auto _ : state) {
        resetPeak();
        const double before = residentMiB("VmRSS");
        QString error;
        const cif::HostImage picture = cif::HostImage::load(path, &error);
        peak = std::max(peak, residentMiB("VmHWM") - before);
        if (!picture.isNull()) state.SkipWithError("the picture was not refused");
        benchmark::DoNotOptimize(error);
    }
    state.counters["peak_MiB"] = peak;
}

// A 512 x 512 picture tiled under a rotation and resampled again, rendered at
// 4096 x 4096 and cancelled 50 ms in.
void BM_CancelLatency(benchmark::State& state) {
    QImage source(512, 512, QImage::Format_RGBA8888);
    for (int y = 0; y < 512; ++y)
        for (int x = 0; x < 512; ++x)
            source.setPixel(x, y, qRgba(x / 2, y / 2, (x ^ y) & 255, 255));
    const cif::CIImage recipe =
        cif::CIImage::imageWithQImage(source)
            .imageByAffineTiling(QTransform().rotate(30).scale(1.1, 0.9))
            .imageByApplyingTransform(QTransform().rotate(-7).translate(0.25, 0.5));
    using Clock = std::chrono::steady_clock;
    double worst = 0;
    for (auto _ : state) {
        cif::CIContext context;
        std::atomic<bool> started{false};
        Clock::time_point cancelledAt;
        std::thread canceller([&] {
            while (!started.load())
                std::this_thread::yield();
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            cancelledAt = Clock::now();
            context.cancel();
        });
        started.store(true);
        const QImage out = context.createQImage(recipe, QRectF(0, 0, 4096, 4096));
        const Clock::time_point returnedAt = Clock::now();
        canceller.join();
        if (!out.isNull()) state.SkipWithError("the render finished before the cancel");
        worst = std::max(
            worst, std::chrono::duration<double, std::milli>(returnedAt - cancelledAt).count());
    }
    state.counters["latency_ms"] = worst;
}

}  // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    cif::initializePlatform();
    for (const auto& picture : cif::testing::oversizedPictures())
        benchmark::RegisterBenchmark(
            (std::string("BM_RefuseOversized/") + picture.name).c_str(),
            [name = picture.name, bytes = picture.bytes](benchmark::State& state) {
                BM_RefuseOversized(state, name, bytes);
            })
            ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("BM_CancelLatency", BM_CancelLatency)
        ->Unit(benchmark::kMillisecond)
        ->Iterations(5);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
