// Lens blur and vignette on a 4096 x 4096 picture: 8-bit sRGB source ->
// filter -> CIContext::createQImage (8-bit out) through the default linear
// working space, at 1 and 2 render threads.
// Counters as bench/support/RenderBench.h describes.

#include <QVariant>
#include <initializer_list>
#include <utility>

#include "bench/support/RenderBench.h"

namespace {

using cif::CIFilter;
using cif::CIImage;
using cif::CIVector;
using namespace cif::bench;

CIImage applied(const char* name, std::initializer_list<std::pair<const char*, QVariant>> values) {
    std::unique_ptr<CIFilter> f = filterNamed(name);
    f->setValueForKey(QVariant::fromValue(opaquePicture()), QStringLiteral("inputImage"));
    for (const auto& [key, v] : values)
        f->setValueForKey(v, QString::fromLatin1(key));
    return f->outputImage();
}

void BM_BokehBlur20(benchmark::State& state) {
    runRender(state, [] { return applied("CIBokehBlur", {{"inputRadius", 20.0}}); });
}

// Centred, so most of the picture is on the falloff or beyond it.
void BM_VignetteEffect(benchmark::State& state) {
    runRender(state, [] {
        return applied("CIVignetteEffect",
                       {{"inputCenter", QVariant::fromValue(CIVector{2048, 2048})},
                        {"inputRadius", 1500.0},
                        {"inputFalloff", 0.5},
                        {"inputIntensity", 0.8}});
    });
}

BENCHMARK(BM_BokehBlur20)->Apply(threadArgs);
BENCHMARK(BM_VignetteEffect)->Apply(threadArgs);

}  // namespace

int main(int argc, char** argv) {
    return cif::bench::runBenchmarks(argc, argv);
}
