// Generator and transition benchmarks on 4096 x 4096: the recipe is built,
// rendered by CIContext::createQImage (8-bit sRGB out, default linear
// working space) at 1 and 2 render threads.
//
//   BM_RadialGradient     CIRadialGradient with radii spanning the picture
//   BM_DissolveTransition two 8-bit pictures decoded and mixed at time 0.4
//
// Counters as bench/support/RenderBench.h describes.
//
// The plug-in's own generators on 2048 x 2048 with their published defaults, seed 1, each
// run on a new instance (so cached fields are computed), to the finished bitmap: vector
// generators' recordings are rasterised at that size. Generators run on the calling thread
// only, so there is no thread argument.
//
//   BM_GLIF/<class>           one generation
//   BM_GLIFRecolour/<class>   a second call that changes only the colour range, for the
//                             generators that keep their field
// GLIF_Dabs stamps a synthetic 128 x 128 round soft brush.

#include <QPainter>
#include <QRadialGradient>
#include <QVariant>

#include <cstdlib>

#include "generators/GLIFClassRegistry.h"

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

constexpr int kGeneratorSide = 2048;

QVariantMap publishedDefaults(const cif::GLIFCoreObject& generator) {
    QVariantMap parameters;
    const QVariantMap description = generator.GLIFQueryAttributes();
    for (auto it = description.cbegin(); it != description.cend(); ++it)
        parameters.insert(it.key(), it.value().toMap().value(QStringLiteral("GLIFDefValue")));
    static const cif::HostImage brush = [] {
        QImage image(128, 128, QImage::Format_RGBA8888_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        QRadialGradient soft(64, 64, 64);
        soft.setColorAt(0.0, Qt::black);
        soft.setColorAt(1.0, Qt::transparent);
        painter.fillRect(image.rect(), soft);
        painter.end();
        return cif::HostImage::fromQImage(image);
    }();
    if (generator.className() == QLatin1String("GLIF_Dabs"))
        parameters.insert(QStringLiteral("GLIFBrush"), QVariant::fromValue(brush));
    return parameters;
}

// One generation to the finished bitmap.
QImage generate(cif::GLIFCoreObject& generator, const QVariantMap& parameters) {
    std::srand(1);
    const cif::HostImage picture = generator.GLIFOutputImageWidthHeightAttributes(
        nullptr, kGeneratorSide, kGeneratorSide, parameters);
    if (picture.isVector()) return picture.rasterize(QSize(kGeneratorSide, kGeneratorSide));
    return picture.bitmap();
}

void BM_GLIF(benchmark::State& state, const QString& name) {
    for (auto _ : state) {
        const auto generator = cif::instantiateGLIFClass(name);
        const QImage out = generate(*generator, publishedDefaults(*generator));
        if (out.isNull()) {
            state.SkipWithError("the generator gave no picture");
            break;
        }
        benchmark::DoNotOptimize(out.constBits());
    }
}

void BM_GLIFRecolour(benchmark::State& state, const QString& name) {
    const auto generator = cif::instantiateGLIFClass(name);
    QVariantMap parameters = publishedDefaults(*generator);
    generate(*generator, parameters);
    bool flip = false;
    for (auto _ : state) {
        flip = !flip;
        parameters.insert(QStringLiteral("GLIFColorRangeMin"), flip ? 0.3 : 0.0);
        const QImage out = generate(*generator, parameters);
        benchmark::DoNotOptimize(out.constBits());
    }
}

// Generators whose field survives a change of colours.
const QStringList kCachedGenerators{
    QStringLiteral("GLIF_Plasma"),    QStringLiteral("GLIF_RadialPlasma"),
    QStringLiteral("GLIF_Texture"),   QStringLiteral("GLIF_Biomorph"),
    QStringLiteral("GLIF_SandGlass"), QStringLiteral("GLIF_Spiral"),
};

}  // namespace

int main(int argc, char** argv) {
    cif::registerGeneratorClasses();
    for (const QString& name : cif::registeredGLIFClasses()) {
        benchmark::RegisterBenchmark(("BM_GLIF/" + name).toStdString().c_str(), BM_GLIF, name)
            ->UseRealTime()
            ->Unit(benchmark::kMillisecond);
        if (kCachedGenerators.contains(name))
            benchmark::RegisterBenchmark(("BM_GLIFRecolour/" + name).toStdString().c_str(),
                                         BM_GLIFRecolour, name)
                ->UseRealTime()
                ->Unit(benchmark::kMillisecond);
    }
    return cif::bench::runBenchmarks(argc, argv);
}
