#pragma once
// The generator built-ins' computations, one function per filter; the
// registration list is in GeneratorFilters.cpp.

#include "platform/image/CIFilter.h"

namespace cif::builtins::generators {

CIImage radialGradient(const CIFilter& f);
CIImage linearGradient(const CIFilter& f);
CIImage gaussianGradient(const CIFilter& f);
CIImage checkerboard(const CIFilter& f);
CIImage stripes(const CIFilter& f);
CIImage randomNoise(const CIFilter& f);
CIImage lenticularHalo(const CIFilter& f);
CIImage starShine(const CIFilter& f);
CIImage sunbeams(const CIFilter& f);
CIImage spotLight(const CIFilter& f);

}  // namespace cif::builtins::generators
