#pragma once
// What the render benchmarks share: 4096 x 4096 test pictures, the timing
// and memory harness around CIContext::createQImage, the thread arguments
// and the program's main. Header only: each bench_<name> program includes it.
//
// Every benchmark run through runRender reports:
//   MP/s        megapixels of the picture rendered per second of wall time
//   cpu_ms      CPU time of the whole process (all render threads) per
//               render; steadier than wall time on a busy machine
//   peak_MiB    the largest rise of the process's resident set during one
//               render (VmHWM after the render minus VmRSS before it; the
//               high-water mark is reset through /proc/self/clear_refs)
//   output_MiB  the size of the 8-bit output picture
//   limit_MiB   the memory budget of a render, 2 x output + 256 MiB

#include <benchmark/benchmark.h>

#include <QGuiApplication>
#include <QImage>
#include <QRectF>
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>

#include "platform/CIPlatform.h"
#include "platform/image/CIContext.h"
#include "platform/image/CIFilter.h"
#include "platform/image/CIImage.h"

namespace cif::bench {

inline constexpr int kSide = 4096;
inline constexpr double kPixels = double(kSide) * double(kSide);
inline constexpr double kMiB = 1024.0 * 1024.0;
inline constexpr double kOutputMiB = kPixels * 4.0 / kMiB;
inline constexpr double kLimitMiB = 2.0 * kOutputMiB + 256.0;

// ---------------------------------------------------------------- pictures

// A small deterministic hash, so the noise is the same on every run.
inline uint32_t hash32(uint32_t v) {
    v ^= v >> 16;
    v *= 0x7feb352dU;
    v ^= v >> 15;
    v *= 0x846ca68bU;
    v ^= v >> 16;
    return v;
}

inline uint8_t clampByte(int v) {
    return uint8_t(std::clamp(v, 0, 255));
}

// Diagonal colour gradients plus +-24 of per-channel noise, so neither the
// decode tables nor the encoder see long runs of one value. `alpha` is the
// coverage of every pixel; colour channels are premultiplied by it.
inline QImage makePicture(int alpha, uint32_t seed) {
    QImage image(kSide, kSide, QImage::Format_RGBA8888_Premultiplied);
    for (int y = 0; y < kSide; ++y) {
        uint8_t* row = image.scanLine(y);
        for (int x = 0; x < kSide; ++x) {
            const uint32_t h = hash32(uint32_t(y) * uint32_t(kSide) + uint32_t(x) + seed);
            const int noise[3] = {int(h & 0x3f) - 24, int((h >> 8) & 0x3f) - 24,
                                  int((h >> 16) & 0x3f) - 24};
            const int base[3] = {x * 255 / (kSide - 1), y * 255 / (kSide - 1),
                                 255 - (x + y) * 255 / (2 * (kSide - 1))};
            for (int c = 0; c < 3; ++c)
                row[4 * x + c] = clampByte((clampByte(base[c] + noise[c]) * alpha + 127) / 255);
            row[4 * x + 3] = uint8_t(alpha);
        }
    }
    return image;
}

// The opaque picture most benchmarks start from.
inline const CIImage& opaquePicture() {
    static const CIImage image = CIImage::imageWithQImage(makePicture(255, 0));
    return image;
}

// A second, different opaque picture: the other side of two-picture recipes.
inline const CIImage& secondPicture() {
    static const CIImage image = CIImage::imageWithQImage(makePicture(255, 0x9e3779b9U));
    return image;
}

// A different picture at 50% coverage: the foreground of compositing.
inline const CIImage& translucentPicture() {
    static const CIImage image = CIImage::imageWithQImage(makePicture(128, 0x9e3779b9U));
    return image;
}

inline QRectF pictureRect() {
    return QRectF(0, 0, kSide, kSide);
}

// ---------------------------------------------------------------- memory

// A field of /proc/self/status in KiB, or -1 when it cannot be read.
inline long statusKiB(const char* field) {
    FILE* f = std::fopen("/proc/self/status", "r");
    if (!f) return -1;
    char line[256];
    long value = -1;
    const size_t len = std::strlen(field);
    while (std::fgets(line, sizeof line, f)) {
        if (std::strncmp(line, field, len) == 0 && line[len] == ':') {
            value = std::strtol(line + len + 1, nullptr, 10);
            break;
        }
    }
    std::fclose(f);
    return value;
}

// Sets the peak resident set size (VmHWM) back to the current one. Writing 5
// to clear_refs does only that; it touches no page tables.
inline bool resetPeakRss() {
    FILE* f = std::fopen("/proc/self/clear_refs", "w");
    if (!f) return false;
    const bool ok = std::fputs("5", f) >= 0;
    return std::fclose(f) == 0 && ok;
}

// ---------------------------------------------------------------- harness

// CPU seconds used so far by every thread of the process.
inline double processCpuSeconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

// Measures one recipe: `build` makes the image to render (the filter work
// that happens before rendering, so it is timed), the context renders
// `area`. The recipe is built once before timing, so the source pictures it
// uses are made outside the timed loop.
template <typename Build>
void runRender(benchmark::State& state, Build&& build, const QRectF& area = pictureRect()) {
    build();
    CIContext context;
    context.setThreads(int(state.range(0)));
    const bool canMeasureMemory = resetPeakRss() && statusKiB("VmHWM") >= 0;
    double peakMiB = 0.0;
    const double cpuStart = processCpuSeconds();
    for (auto _ : state) {
        const long before = canMeasureMemory && resetPeakRss() ? statusKiB("VmRSS") : -1;
        const CIImage image = build();
        if (image.isNull()) {
            state.SkipWithError("the recipe could not be built: a filter refused an input");
            break;
        }
        const QImage out = context.createQImage(image, area);
        const long peak = before >= 0 ? statusKiB("VmHWM") : -1;
        if (out.isNull()) {
            state.SkipWithError(context.lastError().isEmpty() ? "the render gave no picture"
                                                              : qPrintable(context.lastError()));
            break;
        }
        benchmark::DoNotOptimize(out.constBits());
        if (peak >= 0) peakMiB = std::max(peakMiB, double(peak - before) / 1024.0);
    }
    const double cpuSeconds = processCpuSeconds() - cpuStart;
    state.counters["MP/s"] =
        benchmark::Counter(double(state.iterations()) * kPixels / 1e6, benchmark::Counter::kIsRate);
    state.counters["cpu_ms"] =
        benchmark::Counter(cpuSeconds * 1e3, benchmark::Counter::kAvgIterations);
    state.counters["peak_MiB"] = canMeasureMemory ? peakMiB : -1.0;
    state.counters["output_MiB"] = kOutputMiB;
    state.counters["limit_MiB"] = kLimitMiB;
}

// The filter of that name; stops the program when it is not registered.
inline std::unique_ptr<CIFilter> filterNamed(const char* name) {
    std::unique_ptr<CIFilter> f = CIFilter::filterWithName(QString::fromLatin1(name));
    if (!f) {
        std::fprintf(stderr, "the filter %s is not registered\n", name);
        std::abort();
    }
    return f;
}

// 1 and 2 render threads, wall time, milliseconds.
inline void threadArgs(benchmark::internal::Benchmark* b) {
    b->ArgName("threads")->Arg(1)->Arg(2)->UseRealTime()->Unit(benchmark::kMillisecond);
}

// The body of every benchmark program's main: headless by default (the
// engine needs a Gui application, not a display), platform ready, run.
inline int runBenchmarks(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    benchmark::Initialize(&argc, argv);
    QGuiApplication app(argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    initializePlatform();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

}  // namespace cif::bench
