#pragma once
// Span operations of the convolution and morphology built-ins, on runs of
// floats (pixel channels side by side). Each has a plain scalar twin that
// gives the same bits, the reference for tests.

namespace cif::builtins {

// out[i] = w[0] src[0][i] + w[1] src[1][i] + ... + w[taps-1] src[taps-1][i],
// summed in that order from 0, for 0 <= i < n.
void convolveSpan(const float* const* src, const float* w, int taps, float* out, int n);
void convolveSpanScalar(const float* const* src, const float* w, int taps, float* out, int n);

// p[i] = max(p[i], p[i + shift]) (or min), in place for 0 <= i < n, reading
// p up to n + shift. Taken as a > b ? a : b (a < b ? a : b for min).
void maxShiftSpan(float* p, int n, int shift);
void maxShiftSpanScalar(float* p, int n, int shift);
void minShiftSpan(float* p, int n, int shift);
void minShiftSpanScalar(float* p, int n, int shift);

// out[i] = max(out[i], max(a[i], b[i])) (or min), for 0 <= i < n.
void maxOfTwoSpan(float* out, const float* a, const float* b, int n);
void maxOfTwoSpanScalar(float* out, const float* a, const float* b, int n);
void minOfTwoSpan(float* out, const float* a, const float* b, int n);
void minOfTwoSpanScalar(float* out, const float* a, const float* b, int n);

}  // namespace cif::builtins
