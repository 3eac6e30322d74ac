// Neighbourhood built-ins (blurs, sharpening, stylize, halftone) on a
// 4096 x 4096 picture: 8-bit sRGB source -> filter -> CIContext::createQImage
// (8-bit out) through the default linear working space, at 1 and 2 render
// threads.
// Counters as bench/support/RenderBench.h describes.
//
// The source pictures are made once, outside the timed loops; the recipe is
// built inside the loop because building it is part of applying a filter.

#include <QVariant>
#include <initializer_list>
#include <utility>

#include "bench/support/RenderBench.h"

namespace {

using cif::CIFilter;
using cif::CIImage;
using namespace cif::bench;

// The filter applied to the picture with the given numeric inputs; the null
// image when it is not registered or refused an input.
CIImage applied(const char* name, std::initializer_list<std::pair<const char*, double>> values) {
    std::unique_ptr<CIFilter> f = CIFilter::filterWithName(QString::fromLatin1(name));
    if (!f) return {};
    f->setValueForKey(QVariant::fromValue(opaquePicture()), QStringLiteral("inputImage"));
    for (const auto& [key, v] : values) {
        const QString k = QString::fromLatin1(key);
        f->setValueForKey(v, k);
        if (f->valueForKey(k).toDouble() != v) return {};
    }
    return f->outputImage();
}

void BM_GaussianBlur10(benchmark::State& state) {
    runRender(state, [] { return applied("CIGaussianBlur", {{"inputRadius", 10}}); });
}
void BM_GaussianBlur50(benchmark::State& state) {
    runRender(state, [] { return applied("CIGaussianBlur", {{"inputRadius", 50}}); });
}
void BM_BoxBlur10(benchmark::State& state) {
    runRender(state, [] { return applied("CIBoxBlur", {{"inputRadius", 10}}); });
}
void BM_MedianFilter(benchmark::State& state) {
    runRender(state, [] { return applied("CIMedianFilter", {}); });
}
void BM_UnsharpMask(benchmark::State& state) {
    runRender(state, [] { return applied("CIUnsharpMask", {}); });
}
void BM_Edges(benchmark::State& state) {
    runRender(state, [] { return applied("CIEdges", {}); });
}
void BM_Crystallize(benchmark::State& state) {
    runRender(state, [] { return applied("CICrystallize", {}); });
}
void BM_DotScreen(benchmark::State& state) {
    runRender(state, [] { return applied("CIDotScreen", {}); });
}

BENCHMARK(BM_GaussianBlur10)->Apply(threadArgs);
BENCHMARK(BM_GaussianBlur50)->Apply(threadArgs);
BENCHMARK(BM_BoxBlur10)->Apply(threadArgs);
BENCHMARK(BM_MedianFilter)->Apply(threadArgs);
BENCHMARK(BM_UnsharpMask)->Apply(threadArgs);
BENCHMARK(BM_Edges)->Apply(threadArgs);
BENCHMARK(BM_Crystallize)->Apply(threadArgs);
BENCHMARK(BM_DotScreen)->Apply(threadArgs);

}  // namespace

int main(int argc, char** argv) {
    return cif::bench::runBenchmarks(argc, argv);
}
