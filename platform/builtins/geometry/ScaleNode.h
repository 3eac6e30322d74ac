#pragma once
// Separable resampling by a scale factor per axis with a windowed kernel:
// Lanczos-3, or the Mitchell-Netravali family of cubics with parameters B
// and C. Output pixel centre X maps to input position X / scale; when
// shrinking, the kernel is widened by 1 / scale, so it averages every input
// pixel it covers (no aliasing); when enlarging it interpolates. Rows are
// filtered horizontally, then accumulated into the output rows they reach,
// in bands of input rows so the memory used stays near the size of an
// output tile. Beyond a finite input the edge pixels are repeated, so a
// scaled picture stays opaque up to its edges. The extent is the input's
// scaled about the origin.

#include <algorithm>

#include "platform/image/Node.h"

namespace cif::builtins {

struct ScaleKernel {
    enum class Kind { Lanczos3, Cubic };
    Kind kind = Kind::Lanczos3;
    double b = 0, c = 0;  // the cubic's B and C
    // Half-width in input pixels at scale 1.
    double lobes() const { return kind == Kind::Lanczos3 ? 3.0 : 2.0; }
    double weight(double t) const;
};

struct ScaleTaps;

class ScaleNode final : public engine::Node {
public:
    ScaleNode(engine::NodePtr input, double sx, double sy, ScaleKernel kernel);
    engine::Rect regionOfInterest(size_t index, const engine::Rect& output) const override;
    void render(engine::PixelBuffer& dst, const engine::RenderState& state) const override;
    const char* kind() const override {
        return m_kernel.kind == ScaleKernel::Kind::Lanczos3 ? "lanczos-scale" : "cubic-scale";
    }

private:
    // Kernel half-width in input pixels.
    double support(double scale) const { return m_kernel.lobes() * std::max(1.0, 1.0 / scale); }
    // Input pixel window [lo, hi) read by output pixels start .. start+n-1.
    void window(int start, int n, double scale, int& lo, int& hi) const;
    // Taps of output pixels start .. start+n-1, reading only input pixels
    // lo .. hi-1: the weight of a tap beyond them goes to the nearest one.
    ScaleTaps taps(int start, int n, double scale, int lo, int hi) const;

    double m_sx, m_sy;
    ScaleKernel m_kernel;
};

}  // namespace cif::builtins
