// Generator and transition benchmarks on 4096 x 4096: the recipe is built,
// rendered by CIContext::createQImage (8-bit sRGB out, default linear
// working space) at 1 and 2 render threads.
//
//   BM_RadialGradient     CIRadialGradient with radii spanning the picture
//   BM_DissolveTransition two 8-bit pictures decoded and mixed at time 0.4
//
// Counters as bench/support/RenderBench.h describes.

#include <QVariant>

#include "bench/support/RenderBench.h"
#include "platform/image/CIColor.h"
#include "platform/image/CIVector.h"

namespace {

using cif::CIFilter;
using cif::CIImage;
using namespace cif::bench;

const CIImage& source() {
    return opaquePicture();
}
const CIImage& target() {
    return secondPicture();
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

BENCHMARK(BM_RadialGradient)->Apply(threadArgs);
BENCHMARK(BM_DissolveTransition)->Apply(threadArgs);

}  // namespace

int main(int argc, char** argv) {
    return cif::bench::runBenchmarks(argc, argv);
}
