#pragma once
// One-dimensional blur passes over blocks of premultiplied RGBA float rows.
// The vertical passes run down the rows of a block, independently for each
// float of a row, so the inner loops run across whole rows and vectorise.
// Horizontally, sampled and box kernels run along each row; the recursive
// kernel runs down a transposed block.
//
// Blocks are row-major with `stride` floats between rows; `width` floats of
// each row are processed and must be a multiple of kBlockAlign.

#include <cstddef>
#include <vector>

namespace cif::builtins::blur {

// Row widths handed to the passes are padded to this many floats.
inline constexpr int kBlockAlign = 32;

// The largest standard deviation and box radius the blurs honour; larger
// requests are clamped, so a tile's working set stays bounded (about 16 MB
// per worker at the limit). A blur this wide is already flat on any picture
// the engine can hold at interactive sizes.
inline constexpr double kMaxSigma = 500.0;
inline constexpr int kMaxBoxRadius = 1500;

// A separable one-dimensional kernel: how far it reaches on each side and how
// it is evaluated.
struct Kernel1D {
    enum class Kind { Copy, Taps, Box, Recursive };
    Kind kind = Kind::Copy;
    int reach = 0;  // pixels read on each side of the output pixel

    // Taps: 2 * reach + 1 weights, first for the pixel `reach` before.
    std::vector<float> taps;

    // Box: mean over 2 * reach + 1 pixels.

    // Recursive: two second-order sections, each run forwards (causal part,
    // including the centre) and backwards (anticausal part). Section s has
    // feedback y[n] = a1 * y[n-1] + a2 * y[n-2] and feed-forward
    // b0 * x[n] + b1 * x[n-1] forwards, c1 * x[n+1] + c2 * x[n+2] backwards.
    struct Section {
        float a1, a2, b0, b1, c1, c2;
    };
    Section sections[2]{};
};

// The Gaussian of standard deviation sigma (pixels): sampled taps for small
// sigma, Deriche's fourth-order recursive approximation beyond. Reach is
// 3.5 sigma, where the mass left out on each side is below 2.5e-4. sigma <= 0
// or NaN gives Copy. The recursive form reaches 4 sigma (its warm-up).
Kernel1D gaussianKernel(double sigma);
// The mean over 2 * radius + 1 pixels (running sums).
Kernel1D boxKernel(int radius);

// Positions are absolute picture coordinates along the pass's direction
// (rows for the vertical passes, pixels for the row passes). Running sums
// and recursions restart at every multiple of anchorGrid(k) and run forwards
// from there, so every output depends only on its own position, never on
// where a tile or band begins: any split of the output gives the same bits.
// Sampled kernels need no grid (1).
int anchorGrid(const Kernel1D& k);

// The input positions [begin, end) a pass reads to make outputs
// first <= p < last: the reach on each side, widened to the grid.
struct PassSpan {
    int begin = 0, end = 0;
    int length() const { return end - begin; }
};
PassSpan passInput(const Kernel1D& k, int first, int last);

// Vertical pass: out row j = output position first + j, for outRows rows;
// in row i holds input position inFirst + i, and in covers
// passInput(k, first, first + outRows). Rows hold `width` floats, a multiple
// of kBlockAlign, each float filtered independently.
void runPass(const Kernel1D& k, const float* in, size_t inStride, int inFirst, float* out,
             size_t outStride, int first, int outRows, int width);
void runPassScalar(const Kernel1D& k, const float* in, size_t inStride, int inFirst, float* out,
                   size_t outStride, int first, int outRows, int width);

// True when the kernel can run along rows directly (no transpose needed).
inline bool runsAlongRows(const Kernel1D& k) {
    return k.kind != Kernel1D::Kind::Recursive;
}

// Pixels a row pass may read past passInput(...).end (whole vectors); they
// must be readable and are ignored.
inline constexpr int kRowPassSlack = 4;

// Along one row of pixels: out pixel i = output position first + i, for n
// pixels; in pixel i holds position inFirst + i and in covers
// passInput(k, first, first + n) plus kRowPassSlack pixels. Exactly n pixels
// are written.
void runRowPass(const Kernel1D& k, const float* in, int inFirst, float* out, int first, int n);
void runRowPassScalar(const Kernel1D& k, const float* in, int inFirst, float* out, int first,
                      int n);

// dst[x][y] = src[y][x] for whole pixels (4 floats): src has `rows` rows of
// `cols` pixels, dst has `cols` rows of `rows` pixels.
void transposePixels(const float* src, size_t srcStride, float* dst, size_t dstStride, int rows,
                     int cols);

// out = a + (b - a) * t over n floats (a flat input stays exactly flat).
void blendRows(const float* a, const float* b, float t, float* out, int n);
void blendRowsScalar(const float* a, const float* b, float t, float* out, int n);
// Unsharp masking of n pixels in place: colour channels become
// original + k * (original - blurred), alpha the original's.
void unsharpPixels(const float* original, float* blurred, float k, int n);
void unsharpPixelsScalar(const float* original, float* blurred, float k, int n);
// acc += in over n floats.
void addRow(const float* in, float* acc, int n);
void addRowScalar(const float* in, float* acc, int n);

// Sums of weights that should be exactly 1 come out a few ulps (or, for the
// recursive Gaussian, up to 2e-4) short; alpha that close to 1 is 1, so
// opaque pictures stay opaque (and encode on the fast path).
inline constexpr float kNearlyOne = 1.0f - 1.0f / 2048;

// Sets alpha within 1/2048 below 1 to exactly 1 in n pixels: the rounding
// (and, for the recursive Gaussian, the ripple) of weights that sum to 1.
void snapOpaque(float* px, int n);
void snapOpaqueScalar(float* px, int n);

// The scalar twins above are the definition: the vector versions (Highway,
// chosen at run time) give the same bits on every target, because both
// round every product and sum separately, in the same order.

}  // namespace cif::builtins::blur
