// End-to-end engine benchmarks on a 4096 x 4096 picture: 8-bit sRGB source ->
// recipe -> CIContext::createQImage (8-bit out) through the default linear
// working space, at 1 and 2 render threads.
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
#include <QTransform>
#include <QVariant>
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <initializer_list>
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
        std::fprintf(stderr, "bench_engine: the filter %s is not registered\n", name);
        std::abort();
    }
    return f;
}

// Sets a vector input from its list form and checks that the filter kept it.
bool setVector(CIFilter& f, const char* key, std::initializer_list<double> values) {
    QVariantList list;
    for (double v : values)
        list.append(v);
    const QString k = QString::fromLatin1(key);
    f.setValueForKey(list, k);
    return f.valueForKey(k).value<CIVector>() == CIVector(values);
}

// A colour matrix that mixes the channels and adds a bias; alpha is kept.
// The null image when the filter refused an input, so the benchmark never
// measures the identity matrix by mistake.
CIImage colorMatrix(const CIImage& in, double mix) {
    auto f = filterNamed("CIColorMatrix");
    f->setValueForKey(QVariant::fromValue(in), QStringLiteral("inputImage"));
    const bool ok = setVector(*f, "inputRVector", {0.8 - mix, mix, 0.1, 0}) &&
                    setVector(*f, "inputGVector", {0.15, 0.7, mix, 0}) &&
                    setVector(*f, "inputBVector", {mix, 0.2, 0.75, 0}) &&
                    setVector(*f, "inputAVector", {0, 0, 0, 1}) &&
                    setVector(*f, "inputBiasVector", {0.02, -0.01, 0.03, 0});
    return ok ? f->outputImage() : CIImage();
}

CIImage colorInvert(const CIImage& in) {
    auto f = filterNamed("CIColorInvert");
    f->setValueForKey(QVariant::fromValue(in), QStringLiteral("inputImage"));
    return f->outputImage();
}

// ---------------------------------------------------------------- benchmarks

// The fixed cost of every render: 8-bit sRGB decode into linear floats and
// encode back, with no filter in between.
void BM_Identity(benchmark::State& state) {
    runRender(state, [] { return opaquePicture(); });
}

void BM_ColorMatrix(benchmark::State& state) {
    runRender(state, [] { return colorMatrix(opaquePicture(), 0.2); });
}

// The translucent picture over the opaque one: both sources are decoded, the
// operator itself is one multiply-add per channel.
void BM_SourceOver(benchmark::State& state) {
    runRender(state, [] {
        auto f = filterNamed("CISourceOverCompositing");
        f->setValueForKey(QVariant::fromValue(translucentPicture()), QStringLiteral("inputImage"));
        f->setValueForKey(QVariant::fromValue(opaquePicture()),
                          QStringLiteral("inputBackgroundImage"));
        return f->outputImage();
    });
}

// Rotation by 30 degrees about the picture's centre, bilinear, rendered over
// the picture's own rect (the corners outside the rotated picture are
// transparent).
void BM_Rotate30(benchmark::State& state) {
    runRender(state, [] {
        const double c = kSide / 2.0;
        // QTransform products apply left to right: move the centre to the
        // origin, rotate, move back.
        const QTransform t = QTransform::fromTranslate(-c, -c) * QTransform().rotate(30) *
                             QTransform::fromTranslate(c, c);
        auto f = filterNamed("CIAffineTransform");
        f->setValueForKey(QVariant::fromValue(opaquePicture()), QStringLiteral("inputImage"));
        f->setValueForKey(QVariant::fromValue(t), QStringLiteral("inputTransform"));
        return f->outputImage();
    });
}

// Five per-pixel filters in a row; the renderer is meant to run them over one
// tile buffer without materialising the intermediate images.
void BM_Chain5(benchmark::State& state) {
    runRender(state, [] {
        CIImage img = colorMatrix(opaquePicture(), 0.2);
        img = colorInvert(img);
        img = colorMatrix(img, 0.1);
        img = colorInvert(img);
        return colorMatrix(img, 0.05);
    });
}

void threadArgs(benchmark::internal::Benchmark* b) {
    b->ArgName("threads")->Arg(1)->Arg(2)->UseRealTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_Identity)->Apply(threadArgs);
BENCHMARK(BM_ColorMatrix)->Apply(threadArgs);
BENCHMARK(BM_SourceOver)->Apply(threadArgs);
BENCHMARK(BM_Rotate30)->Apply(threadArgs);
BENCHMARK(BM_Chain5)->Apply(threadArgs);

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
