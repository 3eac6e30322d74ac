// Warp benchmarks on a 4096 x 4096 picture: 8-bit sRGB source -> filter ->
// CIContext::createQImage (8-bit out) through the default linear working
// space, at 1 and 2 render threads.
//
// MP/s counts the input picture's pixels per second of wall time (for the
// Lanczos downscale too, whose output is a quarter of them). Filters run with
// their default inputs; the _Whole variants centre the distortion with a
// radius that covers most of the picture, so nearly every pixel is warped.

#include <QVariant>

#include "bench/support/RenderBench.h"
#include "platform/image/CIVector.h"

namespace {

using cif::CIFilter;
using cif::CIImage;
using cif::CIVector;

using namespace cif::bench;

const CIImage& picture() {
    return opaquePicture();
}

CIImage filtered(const char* name, const QVariantMap& values) {
    std::unique_ptr<CIFilter> f = filterNamed(name);
    f->setValueForKey(QVariant::fromValue(picture()), QStringLiteral("inputImage"));
    for (auto it = values.begin(); it != values.end(); ++it)
        f->setValueForKey(*it, it.key());
    return f->outputImage();
}

QVariant vec(double x, double y) {
    return QVariant::fromValue(CIVector{x, y});
}

// Renders the filter's output over `rect` (the picture's rect when empty).
void runWarp(benchmark::State& state, const char* name, const QVariantMap& values,
             QRectF rect = {}) {
    cif::bench::runRender(
        state, [&] { return filtered(name, values); }, rect.isEmpty() ? pictureRect() : rect);
}

const double kCentre = kSide / 2.0;

// The fixed cost every warp pays: the picture decoded and encoded, with no
// filter; the warps' figures are best read as ratios to this one.
void BM_Picture(benchmark::State& state) {
    runWarp(state, "CIAffineTransform", {});
}

// With the filters' default inputs (a 300-pixel radius about (150, 150)):
// most of the picture lies outside the effect and is copied.
void BM_Twirl(benchmark::State& state) {
    runWarp(state, "CITwirlDistortion", {});
}
// Centred, with a radius that covers most of the picture: nearly every pixel
// is warped.
void BM_Twirl_Whole(benchmark::State& state) {
    runWarp(state, "CITwirlDistortion",
            {{"inputCenter", vec(kCentre, kCentre)}, {"inputRadius", 2000.0}});
}
void BM_Bump(benchmark::State& state) {
    runWarp(state, "CIBumpDistortion", {});
}
void BM_Bump_Whole(benchmark::State& state) {
    runWarp(state, "CIBumpDistortion",
            {{"inputCenter", vec(kCentre, kCentre)}, {"inputRadius", 2000.0}});
}
// Infinite, so every pixel is warped whatever the inputs.
void BM_Kaleidoscope(benchmark::State& state) {
    runWarp(state, "CIKaleidoscope", {});
}
// A trapezoid inside the frame: a mild, mostly shrinking perspective.
void BM_Perspective(benchmark::State& state) {
    runWarp(state, "CIPerspectiveTransform",
            {{"inputBottomLeft", vec(300, 200)},
             {"inputBottomRight", vec(3800, 500)},
             {"inputTopRight", vec(3500, 3900)},
             {"inputTopLeft", vec(600, 3600)}});
}
void BM_LanczosHalf(benchmark::State& state) {
    runWarp(state, "CILanczosScaleTransform", {{"inputScale", 0.5}},
            QRectF(0, 0, kSide / 2, kSide / 2));
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
    return cif::bench::runBenchmarks(argc, argv);
}
