// The plug-in's own filters applied through the principal object, as
// `cifx apply` and the editor's Apply button do: a 4096 x 4096 picture, the
// filter's parameters changing between runs (so the cached picture and filter
// are reused, as while a slider moves), the result rendered into a new
// picture. The first-apply case also converts the picture.
//
// Reports MP/s (megapixels of result per second of wall time).

#include <benchmark/benchmark.h>

#include <QGuiApplication>
#include <QImage>

#include "core/CIFMain.h"
#include "filters/CIFCustomFilter.h"
#include "generators/GLIF_Plasma.h"
#include "platform/CIPlatform.h"

namespace {

constexpr int kSide = 4096;

const cif::HostImage& picture() {
    static const cif::HostImage image = [] {
        QImage pixels(kSide, kSide, QImage::Format_RGBA8888);
        for (int y = 0; y < kSide; ++y) {
            uchar* row = pixels.scanLine(y);
            for (int x = 0; x < kSide; ++x) {
                row[4 * x + 0] = uchar((x * 7 + y) & 255);
                row[4 * x + 1] = uchar((y * 3) & 255);
                row[4 * x + 2] = uchar((x ^ y) & 255);
                row[4 * x + 3] = 255;
            }
        }
        return cif::HostImage::fromQImage(pixels);
    }();
    return image;
}

// Applies `identifier` with the number input `key` moving between runs.
void applyThroughPipeline(benchmark::State& state, const char* identifier, const char* key,
                          double from, double to) {
    cif::CIFMain main;
    const QString id = QString::fromLatin1(identifier);
    int run = 0;
    for (auto _ : state) {
        const double t = (run++ % 8) / 7.0;
        const cif::HostImage out = main.CIFApplyFilterAttributesForImage(
            id, {{QString::fromLatin1(key), from + (to - from) * t}}, picture());
        if (out.isNull()) state.SkipWithError("no result");
        benchmark::DoNotOptimize(out);
    }
    state.counters["MP/s"] = benchmark::Counter(
        double(kSide) * kSide * double(state.iterations()) / 1e6, benchmark::Counter::kIsRate);
}

void BM_Sobel(benchmark::State& s) {
    applyThroughPipeline(s, "CIFSobel", "inputIntensity", 1, 3);
}
void BM_BiColor(benchmark::State& s) {
    applyThroughPipeline(s, "CIFBlackWhiteFilter", "inputLevel", 0.3, 0.7);
}
void BM_TransparentColor(benchmark::State& s) {
    applyThroughPipeline(s, "CIFTransparentColorFilter", "inputFactor", 0.1, 0.6);
}
void BM_NetDistortion(benchmark::State& s) {
    applyThroughPipeline(s, "CIFNetDistortion", "inputWidth", 3, 9);
}

// A new picture each run: the conversion of the picture is included.
void BM_SobelFirstApply(benchmark::State& state) {
    for (auto _ : state) {
        cif::CIFMain main;
        const cif::HostImage fresh = cif::HostImage::fromQImage(picture().bitmap().copy());
        const cif::HostImage out =
            main.CIFApplyFilterAttributesForImage(QStringLiteral("CIFSobel"), {}, fresh);
        benchmark::DoNotOptimize(out);
    }
    state.counters["MP/s"] = benchmark::Counter(
        double(kSide) * kSide * double(state.iterations()) / 1e6, benchmark::Counter::kIsRate);
}

// Plasma at 2048 x 2048: a new field every run (the smoothness changes),
// and re-colouring the cached field (only the colour range changes).
constexpr int kPlasmaSide = 2048;

void BM_PlasmaFirstRun(benchmark::State& state) {
    cif::GLIF_Plasma plasma;
    int run = 0;
    for (auto _ : state) {
        const cif::HostImage out = plasma.GLIFOutputImageWidthHeightAttributes(
            nullptr, kPlasmaSide, kPlasmaSide,
            {{QStringLiteral("GLIFResolution"), 1},
             {QStringLiteral("GLIFSmoothness"), 3 + (run++ % 2)}});
        benchmark::DoNotOptimize(out);
    }
}

void BM_PlasmaRecolour(benchmark::State& state) {
    cif::GLIF_Plasma plasma;
    plasma.GLIFOutputImageWidthHeightAttributes(nullptr, kPlasmaSide, kPlasmaSide,
                                                {{QStringLiteral("GLIFResolution"), 1}});
    int run = 0;
    for (auto _ : state) {
        const cif::HostImage out = plasma.GLIFOutputImageWidthHeightAttributes(
            nullptr, kPlasmaSide, kPlasmaSide,
            {{QStringLiteral("GLIFResolution"), 1},
             {QStringLiteral("GLIFColorRangeMax"), 0.2 + 0.1 * (run++ % 8)}});
        benchmark::DoNotOptimize(out);
    }
}

BENCHMARK(BM_PlasmaFirstRun)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlasmaRecolour)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Sobel)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BiColor)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TransparentColor)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_NetDistortion)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SobelFirstApply)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    benchmark::Initialize(&argc, argv);
    QGuiApplication app(argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    cif::initializePlatform();
    cif::touchAllFilterClasses();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
