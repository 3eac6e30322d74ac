// Generator and transition benchmarks on 4096 x 4096: the recipe is built,
// rendered by CIContext::createQImage (8-bit sRGB out, default linear
// working space) at 1 and 2 render threads.
//
//   BM_RadialGradient     CIRadialGradient with radii spanning the picture
//   BM_DissolveTransition two 8-bit pictures decoded and mixed at time 0.4
//
// Every benchmark reports MP/s (megapixels rendered per second of wall time)
// and cpu_ms (CPU time of all threads per render).

#include <benchmark/benchmark.h>

#include <QGuiApplication>
#include <QImage>
#include <QVariant>
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

// Opaque noisy diagonal gradients, different for each seed.
QImage makePicture(uint32_t seed) {
    QImage image(kSide, kSide, QImage::Format_RGBA8888_Premultiplied);
    for (int y = 0; y < kSide; ++y) {
        uint8_t* row = image.scanLine(y);
        for (int x = 0; x < kSide; ++x) {
            const uint32_t h = hash32(uint32_t(y) * uint32_t(kSide) + uint32_t(x) + seed);
            row[4 * x + 0] = uint8_t((x * 255 / (kSide - 1) + (h & 31)) & 255);
            row[4 * x + 1] = uint8_t((y * 255 / (kSide - 1) + ((h >> 8) & 31)) & 255);
            row[4 * x + 2] = uint8_t(((x + y) * 127 / (kSide - 1) + ((h >> 16) & 31)) & 255);
            row[4 * x + 3] = 255;
        }
    }
    return image;
}

const CIImage& source() {
    static const CIImage image = CIImage::imageWithQImage(makePicture(0));
    return image;
}
const CIImage& target() {
    static const CIImage image = CIImage::imageWithQImage(makePicture(0x9e3779b9U));
    return image;
}

double processCpuSeconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

std::unique_ptr<CIFilter> filterNamed(const char* name) {
    std::unique_ptr<CIFilter> f = CIFilter::filterWithName(QString::fromLatin1(name));
    if (!f) {
        std::fprintf(stderr, "bench_generator: the filter %s is not registered\n", name);
        std::abort();
    }
    return f;
}

template <typename Build>
void runRender(benchmark::State& state, Build&& build) {
    source();
    target();
    CIContext context;
    context.setThreads(int(state.range(0)));
    const double cpuStart = processCpuSeconds();
    for (auto _ : state) {
        const CIImage image = build();
        if (image.isNull()) {
            state.SkipWithError("the recipe could not be built");
            break;
        }
        const QImage out = context.createQImage(image, QRectF(0, 0, kSide, kSide));
        if (out.isNull()) {
            state.SkipWithError(qPrintable(context.lastError()));
            break;
        }
        benchmark::DoNotOptimize(out.constBits());
    }
    const double cpuSeconds = processCpuSeconds() - cpuStart;
    state.counters["MP/s"] =
        benchmark::Counter(double(state.iterations()) * kPixels / 1e6, benchmark::Counter::kIsRate);
    state.counters["cpu_ms"] =
        benchmark::Counter(cpuSeconds * 1e3, benchmark::Counter::kAvgIterations);
}

void BM_RadialGradient(benchmark::State& state) {
    runRender(state, [] {
        auto f = filterNamed("CIRadialGradient");
        f->setValueForKey(QVariant::fromValue(cif::CIVector{2048, 2048}),
                          QStringLiteral("inputCenter"));
        f->setValueForKey(100.0, QStringLiteral("inputRadius0"));
        f->setValueForKey(2800.0, QStringLiteral("inputRadius1"));
        f->setValueForKey(QVariant::fromValue(cif::CIColor(1, 0.8, 0.2, 1)),
                          QStringLiteral("inputColor0"));
        f->setValueForKey(QVariant::fromValue(cif::CIColor(0.1, 0.2, 0.6, 1)),
                          QStringLiteral("inputColor1"));
        return f->outputImage();
    });
}

void BM_DissolveTransition(benchmark::State& state) {
    runRender(state, [] {
        auto f = filterNamed("CIDissolveTransition");
        f->setValueForKey(QVariant::fromValue(source()), QStringLiteral("inputImage"));
        f->setValueForKey(QVariant::fromValue(target()), QStringLiteral("inputTargetImage"));
        f->setValueForKey(0.4, QStringLiteral("inputTime"));
        return f->outputImage();
    });
}

void threadArgs(benchmark::internal::Benchmark* b) {
    b->ArgName("threads")->Arg(1)->Arg(2)->UseRealTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_RadialGradient)->Apply(threadArgs);
BENCHMARK(BM_DissolveTransition)->Apply(threadArgs);

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
