#pragma once
// The vignettes' per-pixel darkening over spans (Highway, picked at run
// time), with the scalar twin the tests compare it against. Both give the
// same bits for every pixel at any span length.

namespace cif::builtins {

// Darkens the colour channels of n premultiplied pixels of a row by their
// distance from a centre; alpha is kept. For pixel i:
//   dx = float(x + i) + offX, r = sqrt(dx^2 + dy2),
//   t = clamp((r - r0) * k, 0, 1), s = t^2 (3 - 2 t),
//   colour *= 1 - intensity * s.
void vignetteSpan(float* px, int n, int x, float offX, float dy2, float r0, float k,
                  float intensity);
void vignetteSpanScalar(float* px, int n, int x, float offX, float dy2, float r0, float k,
                        float intensity);

}  // namespace cif::builtins
