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

namespace cif::builtins {

// Blend modes whose B(Cb, Cs) needs straight colours, composited source-over:
//   co = cs (1 - ab) + cb (1 - as) + as ab B(Cb, Cs),   ao = as + ab - as ab.
enum class BlendOp {
    // Separable: B works on each channel alone.
    Overlay,
    HardLight,
    SoftLight,
    ColorDodge,
    ColorBurn,
    LinearDodge,  // min(Cb + Cs, 1)
    LinearBurn,   // max(Cb + Cs - 1, 0)
    LinearLight,  // clamp(Cb + 2 Cs - 1)
    PinLight,
    VividLight,
    Subtract,  // max(Cb - Cs, 0)
    Divide,    // min(Cb / Cs, 1); a black foreground gives white unless Cb is black
    // Non-separable: B works on the colour as a whole (luminance 0.3, 0.59, 0.11).
    Hue,
    Saturation,
    Color,
    Luminosity,
};

// Blends n foreground pixels into n background pixels in place.
void blendSpan(BlendOp op, const float* fg, float* bg, int n);
// The plain scalar twin, the reference for tests.
void blendSpanScalar(BlendOp op, const float* fg, float* bg, int n);

}  // namespace cif::builtins
