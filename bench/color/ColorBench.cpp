// Colour and blend built-ins on a 4096 x 4096 picture: 8-bit sRGB source ->
// filter -> CIContext::createQImage (8-bit out) through the default linear
// working space, at 1 and 2 render threads. The render includes decoding the
// source(s) and encoding the output; BM_Identity is that fixed cost alone,
// and BM_Identity2 the same with two sources decoded (as every blend has).
//
// Counters as bench/support/RenderBench.h describes.

#include <QVariant>

#include "bench/support/RenderBench.h"

namespace {

using cif::CIFilter;
using cif::CIImage;
using namespace cif::bench;

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
    return cif::bench::runBenchmarks(argc, argv);
}
