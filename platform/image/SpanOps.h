#pragma once
// Vectorised per-pixel operations on spans of premultiplied RGBA floats,
// shared by the engine's nodes and the built-in filters. Each result is the
// same for a pixel wherever it lies in a span (tails are padded and run
// through the same vector code), so output never depends on tiling. The
// *Scalar twins are the reference the tests compare against.

namespace cif::engine {

// Colour matrix on straight colour: out = M * (r/a, g/a, b/a, a) + bias,
// alpha clamped to [0, 1], then premultiplied. m is row-major 4 x 4.
void colorMatrixSpan(float* px, int n, const float m[16], const float bias[4]);
void colorMatrixSpanScalar(float* px, int n, const float m[16], const float bias[4]);

// Porter-Duff source-over: bg = fg + bg * (1 - fg.alpha).
void sourceOverSpan(const float* fg, float* bg, int n);
void sourceOverSpanScalar(const float* fg, float* bg, int n);

}  // namespace cif::engine
