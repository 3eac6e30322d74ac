// Colour and blend built-ins on a 4096 x 4096 picture: 8-bit sRGB source ->
// filter -> CIContext::createQImage (8-bit out) through the default linear
// working space, at 1 and 2 render threads. The render includes decoding the
// source(s) and encoding the output; BM_Identity is that fixed cost alone,
// and BM_Identity2 the same with two sources decoded (as every blend has).
//
// Counters as in bench_engine: MP/s (megapixels per second of wall time),
// cpu_ms (CPU time of all threads per render), peak_MiB, output_MiB,
// limit_MiB.

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
#include <memory>

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

// A second, different picture at 50% coverage: the foreground of the
// compositing benchmark.
const CIImage& translucentPicture() {
    static const CIImage image = CIImage::imageWithQImage(makePicture(128, 0x9e3779b9U));
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
    translucentPicture();
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

std::unique_ptr<CIFilter> filterNamed(const char* name) {
    std::unique_ptr<CIFilter> f = CIFilter::filterWithName(QString::fromLatin1(name));
    if (!f) {
        std::fprintf(stderr, "bench_color: the filter %s is not registered\n", name);
        std::abort();
    }
    return f;
}

CIImage filtered(const char* name, const CIImage& in, const QVariantMap& values) {
    auto f = filterNamed(name);
    f->setValueForKey(QVariant::fromValue(in), QStringLiteral("inputImage"));
    for (auto it = values.begin(); it != values.end(); ++it)
        f->setValueForKey(*it, it.key());
    return f->outputImage();
}

// ---------------------------------------------------------------- benchmarks

void BM_Identity(benchmark::State& state) {
    runRender(state, [] { return opaquePicture(); });
}

// Two sources decoded and source-over composited: the floor for any blend.
void BM_Identity2(benchmark::State& state) {
    runRender(state, [] {
        auto f = filterNamed("CISourceOverCompositing");
        f->setValueForKey(QVariant::fromValue(translucentPicture()), QStringLiteral("inputImage"));
        f->setValueForKey(QVariant::fromValue(opaquePicture()),
                          QStringLiteral("inputBackgroundImage"));
        return f->outputImage();
    });
}

// Brightness, contrast and saturation all away from their identity.
void BM_ColorControls(benchmark::State& state) {
    runRender(state, [] {
        return filtered(
            "CIColorControls", opaquePicture(),
            {{"inputBrightness", 0.05}, {"inputContrast", 1.2}, {"inputSaturation", 1.3}});
    });
}

void BM_HueAdjust(benchmark::State& state) {
    runRender(state, [] {
        return filtered("CIHueAdjust", opaquePicture(), {{"inputAngle", 1.0}});
    });
}

// The translucent picture blended onto the opaque one.
CIImage blended(const char* name) {
    auto f = filterNamed(name);
    f->setValueForKey(QVariant::fromValue(translucentPicture()), QStringLiteral("inputImage"));
    f->setValueForKey(QVariant::fromValue(opaquePicture()), QStringLiteral("inputBackgroundImage"));
    return f->outputImage();
}

void BM_MultiplyBlendMode(benchmark::State& state) {
    runRender(state, [] { return blended("CIMultiplyBlendMode"); });
}

// For comparison: a separable mode on straight colours and a non-separable one.
void BM_SoftLightBlendMode(benchmark::State& state) {
    runRender(state, [] { return blended("CISoftLightBlendMode"); });
}

void BM_HueBlendMode(benchmark::State& state) {
    runRender(state, [] { return blended("CIHueBlendMode"); });
}

void threadArgs(benchmark::internal::Benchmark* b) {
    b->ArgName("threads")->Arg(1)->Arg(2)->UseRealTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_Identity)->Apply(threadArgs);
BENCHMARK(BM_Identity2)->Apply(threadArgs);
BENCHMARK(BM_ColorControls)->Apply(threadArgs);
BENCHMARK(BM_HueAdjust)->Apply(threadArgs);
BENCHMARK(BM_MultiplyBlendMode)->Apply(threadArgs);
BENCHMARK(BM_SoftLightBlendMode)
    ->Arg(2)
    ->ArgName("threads")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_HueBlendMode)
    ->Arg(2)
    ->ArgName("threads")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

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
