// Generator built-ins: images made from parameters alone (infinite extents).

#include "platform/builtins/BuiltinFilter.h"

namespace cif::builtins {

namespace {

CIImage constantColor(const CIFilter& f) {
    return CIImage::imageWithColor(f.colorForKey("inputColor"));
}

}  // namespace

std::vector<BuiltinDef> generatorBuiltins() {
    return {
        {"CIConstantColorGenerator", constantColor},
    };
}

}  // namespace cif::builtins
