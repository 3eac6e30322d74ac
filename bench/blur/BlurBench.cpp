// Neighbourhood built-ins (blurs, sharpening, stylize, halftone) on a
// 4096 x 4096 picture: 8-bit sRGB source -> filter -> CIContext::createQImage
// (8-bit out) through the default linear working space, at 1 and 2 render
// threads.
//
// Every benchmark reports:
//   MP/s        megapixels rendered per second of wall time
//   cpu_ms      CPU time of the whole process (all render threads) per
//               render; steadier than wall time on a busy machine
//   peak_MiB    the largest rise of the process's resident set during one
//               render (VmHWM after the render minus VmRSS before it; the
//               high-water mark is reset through /proc/self/clear_refs)
//   output_MiB  the size of the 8-bit output picture
//   limit_MiB   the memory budget of a render, 2 x output + 256 MiB
//
// The source pictures are made once, outside the timed loops; the recipe is
// built inside the loop because building it is part of applying a filter.

#include <benchmark/benchmark.h>

#include <QGuiApplication>
#include <QImage>
#include <QVariant>
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <initializer_list>
#include <memory>
#include <utility>

#include "platform/CIPlatform.h"
#include "platform/image/CIContext.h"
#include "platform/image/CIFilter.h"
#include "platform/image/CIImage.h"

namespace {

using cif::CIContext;
using cif::CIFilter;
using cif::CIImage;

constexpr int kSide = 4096;
constexpr double kPixels = double(kSide) * double(kSide);
constexpr double kMiB = 1024.0 * 1024.0;
constexpr double kOutputMiB = kPixels * 4.0 / kMiB;
constexpr double kLimitMiB = 2.0 * kOutputMiB + 256.0;

// ---------------------------------------------------------------- pictures

// A small deterministic hash, so the noise is the same on every run.
uint32_t hash32(uint32_t v) {
    v ^= v >> 16;
    v *= 0x7feb352dU;
    v ^= v >> 15;
    v *= 0x846ca68bU;
    v ^= v >> 16;
    return v;
}

uint8_t clampByte(int v) {
    return uint8_t(std::clamp(v, 0, 255));
}

// Diagonal colour gradients plus +-24 of per-channel noise, so neither the
// decode tables nor the encoder see long runs of one value. `alpha` is the
// coverage of every pixel; colour channels are premultiplied by it.
QImage makePicture(int alpha, uint32_t seed) {
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

// The opaque picture every benchmark starts from.
const CIImage& opaquePicture() {
    static const CIImage image = CIImage::imageWithQImage(makePicture(255, 0));
    return image;
}

QRectF pictureRect() {
    return QRectF(0, 0, kSide, kSide);
}

// ---------------------------------------------------------------- memory

// A field of /proc/self/status in KiB, or -1 when it cannot be read.
long statusKiB(const char* field) {
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
bool resetPeakRss() {
    FILE* f = std::fopen("/proc/self/clear_refs", "w");
    if (!f) return false;
    const bool ok = std::fputs("5", f) >= 0;
    return std::fclose(f) == 0 && ok;
}

// ---------------------------------------------------------------- harness

// CPU seconds used so far by every thread of the process.
double processCpuSeconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

// Measures one recipe: `build` makes the image to render (the filter work
// that happens before rendering), the context renders the picture's rect.
template <typename Build>
void runRender(benchmark::State& state, Build&& build) {
    // The source pictures are made before timing starts.
    opaquePicture();
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
        const QImage out = context.createQImage(image, pictureRect());
        const long peak = before >= 0 ? statusKiB("VmHWM") : -1;
        if (out.isNull() || out.width() != kSide || out.height() != kSide) {
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

// The filter applied to the picture with the given numeric inputs; the null
// image when it is not registered or refused an input.
CIImage applied(const char* name, std::initializer_list<std::pair<const char*, double>> values) {
    std::unique_ptr<CIFilter> f = CIFilter::filterWithName(QString::fromLatin1(name));
    if (!f) return {};
    f->setValueForKey(QVariant::fromValue(opaquePicture()), QStringLiteral("inputImage"));
    for (const auto& [key, v] : values) {
        const QString k = QString::fromLatin1(key);
        f->setValueForKey(v, k);
        if (f->valueForKey(k).toDouble() != v) return {};
    }
    return f->outputImage();
}

void BM_GaussianBlur10(benchmark::State& state) {
    runRender(state, [] { return applied("CIGaussianBlur", {{"inputRadius", 10}}); });
}
void BM_GaussianBlur50(benchmark::State& state) {
    runRender(state, [] { return applied("CIGaussianBlur", {{"inputRadius", 50}}); });
}
void BM_BoxBlur10(benchmark::State& state) {
    runRender(state, [] { return applied("CIBoxBlur", {{"inputRadius", 10}}); });
}
void BM_MedianFilter(benchmark::State& state) {
    runRender(state, [] { return applied("CIMedianFilter", {}); });
}
void BM_UnsharpMask(benchmark::State& state) {
    runRender(state, [] { return applied("CIUnsharpMask", {}); });
}
void BM_Edges(benchmark::State& state) {
    runRender(state, [] { return applied("CIEdges", {}); });
}
void BM_Crystallize(benchmark::State& state) {
    runRender(state, [] { return applied("CICrystallize", {}); });
}
void BM_DotScreen(benchmark::State& state) {
    runRender(state, [] { return applied("CIDotScreen", {}); });
}

void threadArgs(benchmark::internal::Benchmark* b) {
    b->ArgName("threads")->Arg(1)->Arg(2)->UseRealTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_GaussianBlur10)->Apply(threadArgs);
BENCHMARK(BM_GaussianBlur50)->Apply(threadArgs);
BENCHMARK(BM_BoxBlur10)->Apply(threadArgs);
BENCHMARK(BM_MedianFilter)->Apply(threadArgs);
BENCHMARK(BM_UnsharpMask)->Apply(threadArgs);
BENCHMARK(BM_Edges)->Apply(threadArgs);
BENCHMARK(BM_Crystallize)->Apply(threadArgs);
BENCHMARK(BM_DotScreen)->Apply(threadArgs);

}  // namespace

int main(int argc, char** argv) {
    // Headless by default: the engine needs a Gui application, not a display.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    benchmark::Initialize(&argc, argv);
    QGuiApplication app(argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    cif::initializePlatform();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
