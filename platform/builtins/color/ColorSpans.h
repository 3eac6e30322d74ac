#pragma once
// Span operations shared by the colour built-ins.

namespace cif::builtins {

// out = M * p for n premultiplied RGBA pixels in place; m is a row-major
// 4 x 4 matrix (out[r] = sum over c of m[4 r + c] * p[c]).
void premulMatrixSpan(float* px, int n, const float m[16]);
// The plain scalar twin of premulMatrixSpan, the reference for tests.
void premulMatrixSpanScalar(float* px, int n, const float m[16]);

// Each straight colour channel raised to `power` (sign kept for negative
// values), premultiplied again; pixels without coverage are left alone. The
// vector path uses approximate exp and log: within a few ulp of std::pow.
void gammaSpan(float* px, int n, float power);
// The scalar twin, on std::pow.
void gammaSpanScalar(float* px, int n, float power);

}  // namespace cif::builtins
