#pragma once
// Span operations of the compositing built-ins whose formula is the same on
// every lane of a premultiplied pixel once each pixel's alphas are
// broadcast, so they run on whole vectors of pixels with no shuffling.

namespace cif::builtins {

enum class LaneOp {
    Multiply,    // s (1 - ab) + b (1 - as) + s b   (multiply blend mode)
    Screen,      // s + b - s b
    SourceIn,    // s ab
    SourceOut,   // s (1 - ab)
    SourceAtop,  // s ab + b (1 - as)
    Maximum,     // max(s, b)
    Minimum,     // min(s, b)
    Product,     // s b                             (multiply compositing)
};

// Combines n foreground pixels into n background pixels in place.
void laneOpSpan(LaneOp op, const float* fg, float* bg, int n);
// The plain scalar twin, the reference for tests.
void laneOpSpanScalar(LaneOp op, const float* fg, float* bg, int n);

}  // namespace cif::builtins
