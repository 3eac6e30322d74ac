#pragma once
// Where a kernel's samples can land, found by running its program on
// intervals instead of numbers: every register holds the range of values it
// can take for any destination pixel of a rectangle, given the uniforms'
// actual values. Kernels whose sample positions the compiler cannot bound
// (a position moved by sin, clamped, scaled by a parameter) still read a
// small, known neighbourhood of each tile once their arguments are known.

#include <vector>

#include "platform/image/Geometry.h"
#include "platform/kernel/KernelEvaluator.h"
#include "platform/kernel/KernelProgram.h"

namespace cif::kernel {

// For each sampler slot of the program, a rectangle in sampler space holding
// every position any Sample of that slot takes for destination pixel
// centres inside `output` (working space), or an infinite rectangle where a
// position depends on sampled pixels or on an operation whose range is not
// tracked. `uniforms` are the values the program runs with (parameters,
// sampler extents and transforms, the prepared program's constants);
// `unboundedRegisters` hold values not known in advance (colours, whose
// working-space values depend on the render). Slots never sampled get an
// empty rectangle. Rounding of the float arithmetic is covered by a
// relative margin, and the bilinear filter's extra pixel on each side is
// included, so positions at one fixed x or y still give a region.
std::vector<engine::Rect> sampleBounds(const Program& program, bool fusedProducts,
                                       const std::vector<Uniform>& uniforms,
                                       const std::vector<Reg>& unboundedRegisters,
                                       const engine::Rect& output);

}  // namespace cif::kernel
