// Convolution and morphology built-ins on a 4096 x 4096 picture: 8-bit sRGB
// source -> filter -> CIContext::createQImage (8-bit out) through the default
// linear working space, at 1 and 2 render threads. A dense 5 x 5 kernel (no
// zero weights, so every tap is summed), a 21 x 5 rectangle maximum and a
// disc maximum of radius 5.
// Counters as bench/support/RenderBench.h describes.

#include <QVariant>
#include <vector>

#include "bench/support/RenderBench.h"

namespace {

using cif::CIImage;
using cif::CIVector;
using namespace cif::bench;

// A sharpening kernel with a soft falloff: every weight differs from zero.
CIVector denseKernel5() {
    std::vector<double> w;
    for (int r = -2; r <= 2; ++r)
        for (int c = -2; c <= 2; ++c) {
            const int d = r * r + c * c;
            w.push_back(d == 0 ? 2.2 : -0.05 / double(d));
        }
    return CIVector(w);
}

void BM_Convolution5X5(benchmark::State& state) {
    const CIVector weights = denseKernel5();
    runRender(state, [&] {
        auto f = filterNamed("CIConvolution5X5");
        f->setValueForKey(QVariant::fromValue(opaquePicture()), QStringLiteral("inputImage"));
        f->setValueForKey(QVariant::fromValue(weights), QStringLiteral("inputWeights"));
        return f->outputImage();
    });
}

void BM_MorphologyRectangleMaximum21(benchmark::State& state) {
    runRender(state, [] {
        auto f = filterNamed("CIMorphologyRectangleMaximum");
        f->setValueForKey(QVariant::fromValue(opaquePicture()), QStringLiteral("inputImage"));
        f->setValueForKey(21, QStringLiteral("inputWidth"));
        return f->outputImage();
    });
}

void BM_MorphologyMaximumRadius5(benchmark::State& state) {
    runRender(state, [] {
        auto f = filterNamed("CIMorphologyMaximum");
        f->setValueForKey(QVariant::fromValue(opaquePicture()), QStringLiteral("inputImage"));
        f->setValueForKey(5, QStringLiteral("inputRadius"));
        return f->outputImage();
    });
}

BENCHMARK(BM_Convolution5X5)->Apply(threadArgs);
BENCHMARK(BM_MorphologyRectangleMaximum21)->Apply(threadArgs);
BENCHMARK(BM_MorphologyMaximumRadius5)->Apply(threadArgs);

}  // namespace

int main(int argc, char** argv) {
    return cif::bench::runBenchmarks(argc, argv);
}
