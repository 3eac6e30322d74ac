// Generator built-ins: images made from parameters alone (infinite extents),
// and the spot light that lights an image.

#include "platform/builtins/BuiltinFilter.h"
#include "platform/builtins/generator/Generators.h"

namespace cif::builtins {

namespace {

CIImage constantColor(const CIFilter& f) {
    return CIImage::imageWithColor(f.colorForKey("inputColor"));
}

}  // namespace

std::vector<BuiltinDef> generatorBuiltins() {
    using namespace generators;
    return {
        {"CIConstantColorGenerator", constantColor},
        {"CIRadialGradient", radialGradient},
        {"CILinearGradient", linearGradient},
        {"CIGaussianGradient", gaussianGradient},
        {"CICheckerboardGenerator", checkerboard},
        {"CIStripesGenerator", stripes},
        {"CIRandomGenerator", randomNoise},
        {"CILenticularHaloGenerator", lenticularHalo},
        {"CIStarShineGenerator", starShine},
        {"CISunbeamsGenerator", sunbeams},
        {"CISpotLight", spotLight},
    };
}

}  // namespace cif::builtins
