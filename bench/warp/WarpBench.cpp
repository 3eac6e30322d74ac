// Warp benchmarks on a 4096 x 4096 picture: 8-bit sRGB source -> filter ->
// CIContext::createQImage (8-bit out) through the default linear working
// space, at 1 and 2 render threads.
//
// MP/s counts the input picture's pixels per second of wall time (for the
// Lanczos downscale too, whose output is a quarter of them). Filters run with
// their default inputs; the _Whole variants centre the distortion with a
// radius that covers most of the picture, so nearly every pixel is warped.

#include <benchmark/benchmark.h>

#include <QGuiApplication>
#include <QImage>
#include <QVariant>
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>

#include "platform/CIPlatform.h"
#include "platform/image/CIContext.h"
#include "platform/image/CIFilter.h"
#include "platform/image/CIImage.h"
#include "platform/image/CIVector.h"

namespace {

using cif::CIContext;
using cif::CIFilter;
using cif::CIImage;
using cif::CIVector;

constexpr int kSide = 4096;
constexpr double kPixels = double(kSide) * double(kSide);

uint32_t hash32(uint32_t v) {
    v ^= v >> 16;
    v *= 0x7feb352dU;
    v ^= v >> 15;
    v *= 0x846ca68bU;
    v ^= v >> 16;
    return v;
}

// Diagonal colour gradients plus per-channel noise, opaque.
const CIImage& picture() {
    static const CIImage image = [] {
        QImage img(kSide, kSide, QImage::Format_RGBA8888_Premultiplied);
        for (int y = 0; y < kSide; ++y) {
            uint8_t* row = img.scanLine(y);
            for (int x = 0; x < kSide; ++x) {
                const uint32_t h = hash32(uint32_t(y) * uint32_t(kSide) + uint32_t(x));
                const int base[3] = {x * 255 / (kSide - 1), y * 255 / (kSide - 1),
                                     255 - (x + y) * 255 / (2 * (kSide - 1))};
                for (int c = 0; c < 3; ++c)
                    row[4 * x + c] =
                        uint8_t(std::clamp(base[c] + int((h >> (8 * c)) & 0x3f) - 24, 0, 255));
                row[4 * x + 3] = 255;
            }
        }
        return CIImage::imageWithQImage(img);
    }();
    return image;
}

CIImage filtered(const char* name, const QVariantMap& values) {
    std::unique_ptr<CIFilter> f = CIFilter::filterWithName(QString::fromLatin1(name));
    if (!f) {
        std::fprintf(stderr, "bench_warp: the filter %s is not registered\n", name);
        std::abort();
    }
    f->setValueForKey(QVariant::fromValue(picture()), QStringLiteral("inputImage"));
    for (auto it = values.begin(); it != values.end(); ++it)
        f->setValueForKey(*it, it.key());
    return f->outputImage();
}

QVariant vec(double x, double y) {
    return QVariant::fromValue(CIVector{x, y});
}

// CPU seconds used so far by every thread of the process: steadier than
// wall time when the machine is shared.
double processCpuSeconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

// Renders the filter's output over `rect` (the picture's rect when empty).
// Reports MP/s of wall time and cpu_ms, the CPU time of all render threads
// per render.
void runRender(benchmark::State& state, const char* name, const QVariantMap& values,
               QRectF rect = {}) {
    picture();
    CIContext context;
    context.setThreads(int(state.range(0)));
    const double cpuStart = processCpuSeconds();
    for (auto _ : state) {
        const CIImage image = filtered(name, values);
        const QRectF area = rect.isEmpty() ? QRectF(0, 0, kSide, kSide) : rect;
        const QImage out = context.createQImage(image, area);
        if (out.isNull()) {
            state.SkipWithError("the render gave no picture");
            break;
        }
        benchmark::DoNotOptimize(out.constBits());
    }
    state.counters["MP/s"] =
        benchmark::Counter(double(state.iterations()) * kPixels / 1e6, benchmark::Counter::kIsRate);
    state.counters["cpu_ms"] = benchmark::Counter((processCpuSeconds() - cpuStart) * 1e3,
                                                  benchmark::Counter::kAvgIterations);
}

const double kCentre = kSide / 2.0;

// The fixed cost every warp pays: the picture decoded and encoded, with no
// filter; the warps' figures are best read as ratios to this one.
void BM_Picture(benchmark::State& state) {
    runRender(state, "CIAffineTransform", {});
}

// With the filters' default inputs (a 300-pixel radius about (150, 150)):
// most of the picture lies outside the effect and is copied.
void BM_Twirl(benchmark::State& state) {
    runRender(state, "CITwirlDistortion", {});
}
// Centred, with a radius that covers most of the picture: nearly every pixel
// is warped.
void BM_Twirl_Whole(benchmark::State& state) {
    runRender(state, "CITwirlDistortion",
              {{"inputCenter", vec(kCentre, kCentre)}, {"inputRadius", 2000.0}});
}
void BM_Bump(benchmark::State& state) {
    runRender(state, "CIBumpDistortion", {});
}
void BM_Bump_Whole(benchmark::State& state) {
    runRender(state, "CIBumpDistortion",
              {{"inputCenter", vec(kCentre, kCentre)}, {"inputRadius", 2000.0}});
}
// Infinite, so every pixel is warped whatever the inputs.
void BM_Kaleidoscope(benchmark::State& state) {
    runRender(state, "CIKaleidoscope", {});
}
// A trapezoid inside the frame: a mild, mostly shrinking perspective.
void BM_Perspective(benchmark::State& state) {
    runRender(state, "CIPerspectiveTransform",
              {{"inputBottomLeft", vec(300, 200)},
               {"inputBottomRight", vec(3800, 500)},
               {"inputTopRight", vec(3500, 3900)},
               {"inputTopLeft", vec(600, 3600)}});
}
void BM_LanczosHalf(benchmark::State& state) {
    runRender(state, "CILanczosScaleTransform", {{"inputScale", 0.5}},
              QRectF(0, 0, kSide / 2, kSide / 2));
}

void threadArgs(benchmark::internal::Benchmark* b) {
    b->ArgName("threads")->Arg(1)->Arg(2)->UseRealTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_Picture)->Apply(threadArgs);
BENCHMARK(BM_Twirl)->Apply(threadArgs);
BENCHMARK(BM_Twirl_Whole)->Apply(threadArgs);
BENCHMARK(BM_Bump)->Apply(threadArgs);
BENCHMARK(BM_Bump_Whole)->Apply(threadArgs);
BENCHMARK(BM_Kaleidoscope)->Apply(threadArgs);
BENCHMARK(BM_Perspective)->Apply(threadArgs);
BENCHMARK(BM_LanczosHalf)->Apply(threadArgs);

}  // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    benchmark::Initialize(&argc, argv);
    QGuiApplication app(argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    cif::initializePlatform();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
