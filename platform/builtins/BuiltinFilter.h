#pragma once
// A built-in platform filter: its description comes from the embedded table,
// its computation from one function.

#include <vector>

#include "platform/image/CIFilter.h"

namespace cif::builtins {

// Computes a built-in's output from its current inputs; the null image when
// a required input is missing.
using Compute = CIImage (*)(const CIFilter& filter);

struct BuiltinDef {
    const char* name;
    Compute compute;
};

class BuiltinFilter final : public CIFilter {
public:
    explicit BuiltinFilter(Compute compute) : m_compute(compute) {}
    CIImage outputImage() const override { return m_compute ? m_compute(*this) : CIImage(); }

private:
    Compute m_compute;
};

// The built-ins of each category folder.
std::vector<BuiltinDef> colorBuiltins();
std::vector<BuiltinDef> compositeBuiltins();
std::vector<BuiltinDef> generatorBuiltins();
std::vector<BuiltinDef> transitionBuiltins();
std::vector<BuiltinDef> blurBuiltins();
std::vector<BuiltinDef> stylizeBuiltins();
std::vector<BuiltinDef> halftoneBuiltins();
std::vector<BuiltinDef> distortionBuiltins();
std::vector<BuiltinDef> geometryBuiltins();
std::vector<BuiltinDef> tileBuiltins();
// Colour curves and looks, colour analysis, mask blends, convolution and
// morphology, and area reductions.
std::vector<BuiltinDef> colorCurveBuiltins();
std::vector<BuiltinDef> colorAnalysisBuiltins();
std::vector<BuiltinDef> maskBlendBuiltins();
std::vector<BuiltinDef> convolutionBuiltins();
std::vector<BuiltinDef> morphologyBuiltins();
std::vector<BuiltinDef> reductionBuiltins();

// Blur and detail, geometry and distortion, generators and transitions
// beyond the first built-ins.
std::vector<BuiltinDef> detailBuiltins();
std::vector<BuiltinDef> reshapeBuiltins();
std::vector<BuiltinDef> shapeGeneratorBuiltins();
std::vector<BuiltinDef> foldTransitionBuiltins();

}  // namespace cif::builtins
