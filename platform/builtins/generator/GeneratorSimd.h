#pragma once
// Vectorised spans for the generators and transitions whose speed matters
// (Highway, picked at run time), with the scalar twins the tests compare
// them against. Both give the same bits for every pixel at any span length.

namespace cif::builtins {

// Radial gradient over n pixels of a row starting at column x:
// dx = float(x + i) + offX, t = clamp((sqrt(dx^2 + dy2) - r0) * k, 0, 1),
// pixel = c0 (1 - t) + c1 t (premultiplied working-space colours).
void radialGradientSpan(float* px, int n, int x, float offX, float dy2, float r0, float k,
                        const float c0[4], const float c1[4]);
void radialGradientSpanScalar(float* px, int n, int x, float offX, float dy2, float r0, float k,
                              const float c0[4], const float c1[4]);

// source = source (1 - t) + target t over n pixels.
void dissolveSpan(const float* target, float* source, int n, float t);
void dissolveSpanScalar(const float* target, float* source, int n, float t);

}  // namespace cif::builtins
