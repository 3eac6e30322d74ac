#pragma once
// Span operations shared by the colour built-ins.

namespace cif::builtins {

// out = M * p for n premultiplied RGBA pixels in place; m is a row-major
// 4 x 4 matrix (out[r] = sum over c of m[4 r + c] * p[c]).
void premulMatrixSpan(float* px, int n, const float m[16]);
// The plain scalar twin of premulMatrixSpan, the reference for tests.
void premulMatrixSpanScalar(float* px, int n, const float m[16]);

}  // namespace cif::builtins
