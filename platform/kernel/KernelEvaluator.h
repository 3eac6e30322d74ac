#pragma once
// The span evaluator: runs a compiled kernel Program over a row of pixels.
//
// runProgram works through the row in chunks of kSpan pixels. Each register
// of the program is kSpan floats (one per pixel of the chunk), and each
// instruction runs over the whole chunk before the next one starts, on SIMD
// lanes (Highway, chosen for the CPU at run time). runProgramScalar is the
// reference: one pixel at a time, one float per register. Both give the same
// bits for every pixel, whatever its position in a chunk, so results never
// depend on how a picture is split into tiles.
//
// Arithmetic is IEEE single precision without fused operations: division by
// zero gives an infinity or NaN, nothing traps. sin and cos are KernelMath.h's
// (vectorised, the same bits in both evaluators); the other transcendental
// functions are the C library's, lane by lane.

#include <cmath>
#include <string>
#include <vector>

#include "platform/image/Geometry.h"
#include "platform/image/PixelBuffer.h"
#include "platform/kernel/KernelProgram.h"

namespace cif::kernel {

// Pixels per chunk: the width of every register in runProgram.
inline constexpr int kSpan = 256;

// A register the runtime fills with one value for every pixel before the
// program runs (a numeric parameter's component, a sampler's extent or
// transform component).
struct Uniform {
    Reg reg = 0;
    float value = 0.0f;
};

// What a program reads besides the pixel position: its uniform values and,
// for each entry of Program::samplers, the rendered input pixels. A Sample
// instruction reads the buffer bilinearly at a position in sampler space
// (pixel centres at +0.5) and sees transparent black outside the buffer's
// rectangle; a null buffer reads transparent everywhere. The buffers are not
// owned and must outlive the calls that use them.
struct EvalContext {
    std::vector<Uniform> uniforms;
    std::vector<const engine::PixelBuffer*> images;
    // Set when the program never writes a uniform register: runProgram then
    // fills them once per call instead of once per chunk.
    bool uniformsReadOnly = false;
    // Set for programs from prepareProgram: a Sample instruction's imm then
    // holds the channels later read (bit k for channel k; 0 for all), and
    // runProgram may leave the other channels' registers unwritten.
    bool sampleChannelMasks = false;
    // Set for programs from prepareProgram: an Add or Sub whose imm is
    // kFusedProduct computes a + (b * c), resp. a - (b * c), the product
    // rounded first (the same bits as a Mul followed by the Add).
    bool fusedProducts = false;
};

// The imm of a fused Add or Sub (see EvalContext::fusedProducts).
inline constexpr float kFusedProduct = 1.0f;

// Evaluates n pixels of row y starting at column x0 (pixel centres at
// x + 0.5, y + 0.5) and writes n premultiplied RGBA pixels to outRGBA. The
// program must pass validateProgram and the context must have one image per
// sampler slot. Uses a per-thread register file that only ever grows.
void runProgram(const Program& program, const EvalContext& context, int x0, int y, int n,
                float* outRGBA);
// The scalar reference evaluator: same contract, same results.
void runProgramScalar(const Program& program, const EvalContext& context, int x0, int y, int n,
                      float* outRGBA);

// Bilinear samples of `image` at n positions, read from channels 0 and 1 of
// the interleaved RGBA pixels `xy` (what a warp's position program writes),
// written as n premultiplied RGBA pixels to outRGBA, which may be xy itself.
// Each pixel gets the same bits as a Sample instruction at that position.
void samplePoints(const engine::PixelBuffer* image, const float* xy, int n, float* outRGBA);
// The scalar reference: sampleLane at each position.
void samplePointsScalar(const engine::PixelBuffer* image, const float* xy, int n, float* outRGBA);

// True when every register index, sampler index and operation of the
// program is within range, so running it cannot read or write out of
// bounds; otherwise false with the reason in *error.
bool validateProgram(const Program& program, std::string* error);

// The same program without instructions whose results are never read (by a
// later instruction or the result). Registers and results are unchanged.
Program withoutDeadCode(const Program& program);

// A program made ready to run many times, computing the same bits for every
// pixel: dead code removed; repeated computations and rewrites that IEEE
// arithmetic allows without rounding differently (x * 1, x + (-y) as x - y,
// ...) folded; products read once merged into the Add or Sub that reads
// them; constants set once taken out of the code (filled like uniforms, once
// per call); registers renamed so the register file holds only values live
// at the same time (the parameters' and sampler slots' registers move with
// them); each Sample marked with the channels that are read. Run it with the
// constants added to the uniforms and the EvalContext flags copied.
struct PreparedProgram {
    Program program;
    std::vector<Uniform> constants;   // add to EvalContext::uniforms
    bool uniformsReadOnly = false;    // for EvalContext::uniformsReadOnly
    bool sampleChannelMasks = false;  // for EvalContext::sampleChannelMasks
    bool fusedProducts = false;       // for EvalContext::fusedProducts
};
PreparedProgram prepareProgram(const Program& program);

namespace detail {

// The operations both evaluators hand to the C library lane by lane, with
// the expression each computes from the sources a and b.
#define CIF_KERNEL_LIBRARY_OPS(X) \
    X(Pow, std::pow(a, b))        \
    X(Exp, std::exp(a))           \
    X(Exp2, std::exp2(a))         \
    X(Log, std::log(a))           \
    X(Log2, std::log2(a))         \
    X(Tan, std::tan(a))           \
    X(Asin, std::asin(a))         \
    X(Acos, std::acos(a))         \
    X(Atan, std::atan(a))         \
    X(Atan2, std::atan2(a, b))

// One lane of the bilinear sampler. (x, y) is in the buffer's coordinates;
// a tap whose weight is exactly zero is not read, so a position on a pixel
// centre gives that pixel's value exactly (even next to infinities), which
// lets the vector path copy whole runs of pixels with the same result.
inline void sampleLane(const engine::PixelBuffer* image, float x, float y, float out[4]) {
    out[0] = out[1] = out[2] = out[3] = 0.0f;
    if (!image) return;
    const engine::IRect& r = image->rect();
    const float sx = x - 0.5f, sy = y - 0.5f;
    int ix = 0, iy = 0;
    // NaN and far-away positions read transparent, like any position
    // outside the buffer.
    if (!engine::floorToInt(double(sx), ix) || !engine::floorToInt(double(sy), iy)) return;
    if (ix < r.x - 1 || ix >= r.right() || iy < r.y - 1 || iy >= r.top()) return;
    const float tx = sx - float(ix), ty = sy - float(iy);
    // All four taps inside the buffer (the common case): the same arithmetic
    // as below, in the same order, without the per-tap bounds checks.
    if (ix >= r.x && ix + 1 < r.right() && iy >= r.y && iy + 1 < r.top()) {
        const float* p0 = image->at(ix, iy);
        const float* p1 = image->at(ix, iy + 1);
        float row0[4], row1[4];
        for (int c = 0; c < 4; ++c)
            row0[c] = tx == 0.0f ? p0[c] * 1.0f : p0[c] * (1.0f - tx) + p0[c + 4] * tx;
        if (ty == 0.0f) {
            for (int c = 0; c < 4; ++c)
                out[c] = row0[c];
            return;
        }
        for (int c = 0; c < 4; ++c)
            row1[c] = tx == 0.0f ? p1[c] * 1.0f : p1[c] * (1.0f - tx) + p1[c + 4] * tx;
        for (int c = 0; c < 4; ++c)
            out[c] = row0[c] * (1.0f - ty) + row1[c] * ty;
        return;
    }
    auto tap = [&](int px, int py, float* acc, float w, bool first) {
        const bool inside = px >= r.x && px < r.right() && py >= r.y && py < r.top();
        const float* p = inside ? image->at(px, py) : nullptr;
        for (int c = 0; c < 4; ++c) {
            const float v = p ? p[c] : 0.0f;
            acc[c] = first ? v * w : acc[c] + v * w;
        }
    };
    // Rows first (horizontal blend), then the vertical blend of the rows.
    float row0[4], row1[4];
    auto blendRow = [&](int py, float* acc) {
        if (tx == 0.0f) {
            tap(ix, py, acc, 1.0f, true);
        } else {
            tap(ix, py, acc, 1.0f - tx, true);
            tap(ix + 1, py, acc, tx, false);
        }
    };
    blendRow(iy, row0);
    if (ty == 0.0f) {
        for (int c = 0; c < 4; ++c)
            out[c] = row0[c];
        return;
    }
    blendRow(iy + 1, row1);
    for (int c = 0; c < 4; ++c)
        out[c] = row0[c] * (1.0f - ty) + row1[c] * ty;
}

}  // namespace detail

}  // namespace cif::kernel
