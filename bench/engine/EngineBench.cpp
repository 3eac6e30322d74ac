// End-to-end engine benchmarks on a 4096 x 4096 picture: 8-bit sRGB source ->
// recipe -> CIContext::createQImage (8-bit out) through the default linear
// working space, at 1 and 2 render threads.
// Counters as bench/support/RenderBench.h describes.
//
// The source pictures are made once, outside the timed loops; the recipe is
// built inside the loop because building it is part of applying a filter.

#include <QTransform>
#include <QVariant>
#include <initializer_list>

#include "bench/support/RenderBench.h"
#include "platform/image/CIVector.h"

namespace {

using cif::CIFilter;
using cif::CIImage;
using cif::CIVector;
using namespace cif::bench;

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

BENCHMARK(BM_Identity)->Apply(threadArgs);
BENCHMARK(BM_ColorMatrix)->Apply(threadArgs);
BENCHMARK(BM_SourceOver)->Apply(threadArgs);
BENCHMARK(BM_Rotate30)->Apply(threadArgs);
BENCHMARK(BM_Chain5)->Apply(threadArgs);

}  // namespace

int main(int argc, char** argv) {
    return cif::bench::runBenchmarks(argc, argv);
}
