#include "platform/builtins/blur/BlurPasses.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>
#include <type_traits>
#include <utility>

// The vector helpers below pass AVX-sized values between inlined functions
// of this file only; GCC's note that their ABI differs without AVX does not
// concern anything outside it.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace cif::builtins::blur {

namespace {

// Eight floats (two pixels): one AVX register. The passes are compiled
// twice, for AVX2 and for the x86-64 baseline (where GCC splits each vector
// in two), and the loader picks one. Each pass works on several vectors at a
// time so that the additions along a column form independent chains.
typedef float V8 __attribute__((vector_size(32)));

#define CIF_BLUR_CLONES                                                          \
    __attribute__((target_clones("arch=x86-64-v4", "arch=x86-64-v3", "default"), \
                   optimize("fp-contract=fast")))

inline V8 load8(const float* p) {
    V8 v;
    std::memcpy(&v, p, sizeof v);
    return v;
}
inline void store8(float* p, V8 v) {
    std::memcpy(p, &v, sizeof v);
}

typedef int V8i __attribute__((vector_size(32)));

inline V8 splat8(float v) {
    return __builtin_shufflevector(V8{v}, V8{v}, 0, 0, 0, 0, 0, 0, 0, 0);
}

// Multiply-add, contracted into one fused instruction in the AVX2 clones
// (the passes below allow contraction; elsewhere the project keeps it off).
inline V8 fma8(V8 a, V8 b, V8 c) {
    return a * b + c;
}

// The centre tap's product, as the start of a sum of fused steps. Added to
// zero so that the first step has only one way to fuse (a product added to
// a product could fuse either), and every pass sums in the same order.
inline V8 centre8(const float* p, V8 t) {
    return fma8(load8(p), t, V8{});
}

// Calls body(reach) with the reach as a compile-time constant for every
// sampled Gaussian (reach 1 to 11), so that the tap loops of an inlined body
// unroll; other reaches are passed as they are.
template <typename Body>
__attribute__((always_inline)) inline void withFixedReach(int reach, Body&& body) {
    [&]<int... R>(std::integer_sequence<int, R...>) __attribute__((always_inline)) {
        if (!((reach == R + 1 && (body(std::integral_constant<int, R + 1>{}), true)) || ...))
            body(reach);
    }
    (std::make_integer_sequence<int, 11>{});
}

// Symmetric taps: the two rows at the same distance are added first.
// Output rows are made in pairs, which share all but one of their input
// rows: walking the pairs of taps outwards, each step loads two new rows
// (per vector) and reuses the two loaded by the step before, so the pass
// needs half the loads of one row at a time. Two vectors per row, so the
// running values stay in registers. The rows are walked in columns narrow
// enough that the rows one output row reads stay in the first-level cache
// while the next rows reuse them.
__attribute__((always_inline)) inline void tapsColumnBody(const float* taps, const int reach,
                                                          const float* in, size_t inStride,
                                                          float* out, size_t outStride, int outRows,
                                                          int width) {
    const V8 tm = splat8(taps[reach]);
    int j = 0;
    for (; j + 1 < outRows; j += 2) {
        for (int c = 0; c < width; c += 16) {
            // T(m) is input row j + m; row j is centred on T(reach), row
            // j + 1 on T(reach + 1).
            const float* base = in + size_t(j) * inStride + size_t(c);
            auto row = [&](int m) __attribute__((always_inline)) {
                return base + size_t(m) * inStride;
            };
            const float* mid = row(reach);
            const float* mid1 = row(reach + 1);
            V8 a0 = centre8(mid, tm), a1 = centre8(mid + 8, tm);
            V8 b0 = centre8(mid1, tm), b1 = centre8(mid1 + 8, tm);
            // Odd steps add into a second set, so each sum's chain of
            // dependent multiply-adds is half as long.
            V8 e0{}, e1{}, g0{}, g1{};
            // lo = T(k), hi = T(2 reach + 1 - k), carried between steps.
            V8 lo0 = load8(row(0)), lo1 = load8(row(0) + 8);
            V8 hi0 = load8(row(2 * reach + 1)), hi1 = load8(row(2 * reach + 1) + 8);
            auto step = [&](int k, V8& s0, V8& s1, V8& t0, V8& t1) __attribute__((always_inline)) {
                const V8 t = splat8(taps[k]);
                const float* up = row(k + 1);
                const float* down = row(2 * reach - k);
                const V8 u0 = load8(up), u1 = load8(up + 8);
                const V8 d0 = load8(down), d1 = load8(down + 8);
                s0 = fma8(lo0 + d0, t, s0);  // T(k) + T(2 reach - k)
                s1 = fma8(lo1 + d1, t, s1);
                t0 = fma8(u0 + hi0, t, t0);  // T(k + 1) + T(2 reach + 1 - k)
                t1 = fma8(u1 + hi1, t, t1);
                lo0 = u0, lo1 = u1, hi0 = d0, hi1 = d1;
            };
            int k = 0;
            for (; k + 1 < reach; k += 2) {
                step(k, a0, a1, b0, b1);
                step(k + 1, e0, e1, g0, g1);
            }
            if (k < reach) step(k, a0, a1, b0, b1);
            a0 += e0, a1 += e1, b0 += g0, b1 += g1;
            float* o = out + size_t(j) * outStride + size_t(c);
            store8(o, a0);
            store8(o + 8, a1);
            store8(o + outStride, b0);
            store8(o + outStride + 8, b1);
        }
    }
    for (; j < outRows; ++j) {
        for (int c = 0; c < width; c += 16) {
            const float* top = in + size_t(j) * inStride + size_t(c);
            const float* mid = top + size_t(reach) * inStride;
            V8 a0 = centre8(mid, tm), a1 = centre8(mid + 8, tm);
            // The same two sets as above, so the last row sums in the same
            // order as the pairs (a tile's height never changes a pixel).
            V8 e0{}, e1{};
            auto step = [&](int k, V8& s0, V8& s1) __attribute__((always_inline)) {
                const float* a = top + size_t(k) * inStride;
                const float* b = top + size_t(2 * reach - k) * inStride;
                const V8 t = splat8(taps[k]);
                s0 = fma8(load8(a) + load8(b), t, s0);
                s1 = fma8(load8(a + 8) + load8(b + 8), t, s1);
            };
            int k = 0;
            for (; k + 1 < reach; k += 2) {
                step(k, a0, a1);
                step(k + 1, e0, e1);
            }
            if (k < reach) step(k, a0, a1);
            a0 += e0, a1 += e1;
            float* o = out + size_t(j) * outStride + size_t(c);
            store8(o, a0);
            store8(o + 8, a1);
        }
    }
}

// The body above, with the reach a constant where it is small.
CIF_BLUR_CLONES
void tapsColumn(const float* taps, int reach, const float* in, size_t inStride, float* out,
                size_t outStride, int outRows, int width) {
    withFixedReach(
        reach, [&](auto r) __attribute__((always_inline)) {
            tapsColumnBody(taps, r, in, inStride, out, outStride, outRows, width);
        });
}

void tapsPass(const float* taps, int reach, const float* in, size_t inStride, float* out,
              size_t outStride, int outRows, int width) {
    constexpr int kColumn = 256;  // floats: 64 pixels, 1 KiB per row
    for (int c0 = 0; c0 < width; c0 += kColumn)
        tapsColumn(taps, reach, in + c0, inStride, out + c0, outStride, outRows,
                   std::min(kColumn, width - c0));
}

// Running sums: each step adds the row entering the window and removes the
// one leaving it. A flat input stays exactly flat (the two cancel).
CIF_BLUR_CLONES
void boxPass(int reach, const float* in, size_t inStride, float* out, size_t outStride, int outRows,
             int width) {
    const int n = 2 * reach + 1;
    const V8 scale = splat8(1.0f / float(n));
    for (int c = 0; c < width; c += 32) {
        const float* col = in + size_t(c);
        V8 s0 = load8(col), s1 = load8(col + 8), s2 = load8(col + 16), s3 = load8(col + 24);
        for (int k = 1; k < n; ++k) {
            const float* r = col + size_t(k) * inStride;
            s0 += load8(r);
            s1 += load8(r + 8);
            s2 += load8(r + 16);
            s3 += load8(r + 24);
        }
        for (int j = 0;; ++j) {
            float* o = out + size_t(j) * outStride + size_t(c);
            store8(o, s0 * scale);
            store8(o + 8, s1 * scale);
            store8(o + 16, s2 * scale);
            store8(o + 24, s3 * scale);
            if (j + 1 >= outRows) break;
            const float* enter = col + size_t(j + n) * inStride;
            const float* leave = col + size_t(j) * inStride;
            s0 += load8(enter) - load8(leave);
            s1 += load8(enter + 8) - load8(leave + 8);
            s2 += load8(enter + 16) - load8(leave + 16);
            s3 += load8(enter + 24) - load8(leave + 24);
        }
    }
}

// Two second-order sections run forwards then backwards over all rows; the
// rows of the margin only warm the recursion up and are not written. The
// feedback term is added last so each step's dependency is one multiply-add.
CIF_BLUR_CLONES
void recursivePass(const Kernel1D::Section* s, int reach, const float* in, size_t inStride,
                   float* out, size_t outStride, int outRows, int width) {
    const int rows = outRows + 2 * reach;
    const Kernel1D::Section p = s[0], q = s[1];
    const V8 pa1 = splat8(p.a1), pa2 = splat8(p.a2), qa1 = splat8(q.a1), qa2 = splat8(q.a2);
    const V8 pb0 = splat8(p.b0), pb1 = splat8(p.b1), qb0 = splat8(q.b0), qb1 = splat8(q.b1);
    const V8 pc1 = splat8(p.c1), pc2 = splat8(p.c2), qc1 = splat8(q.c1), qc2 = splat8(q.c2);
    // Two vectors (sixteen floats) per column block: u and w.
    for (int c = 0; c < width; c += 16) {
        const float* col = in + size_t(c);
        float* dst = out + size_t(c);
        V8 up1{}, up2{}, uq1{}, uq2{}, ux1{};
        V8 wp1{}, wp2{}, wq1{}, wq2{}, wx1{};
        for (int n = 0; n < rows; ++n) {
            const float* src = col + size_t(n) * inStride;
            const V8 ux = load8(src), wx = load8(src + 8);
            const V8 up = fma8(up1, pa1, fma8(up2, pa2, fma8(ux1, pb1, ux * pb0)));
            const V8 uq = fma8(uq1, qa1, fma8(uq2, qa2, fma8(ux1, qb1, ux * qb0)));
            const V8 wp = fma8(wp1, pa1, fma8(wp2, pa2, fma8(wx1, pb1, wx * pb0)));
            const V8 wq = fma8(wq1, qa1, fma8(wq2, qa2, fma8(wx1, qb1, wx * qb0)));
            up2 = up1, up1 = up, uq2 = uq1, uq1 = uq, ux1 = ux;
            wp2 = wp1, wp1 = wp, wq2 = wq1, wq1 = wq, wx1 = wx;
            const int j = n - reach;
            if (j >= 0 && j < outRows) {
                float* o = dst + size_t(j) * outStride;
                store8(o, up + uq);
                store8(o + 8, wp + wq);
            }
        }
        up1 = up2 = uq1 = uq2 = wp1 = wp2 = wq1 = wq2 = V8{};
        V8 ux1b{}, ux2b{}, wx1b{}, wx2b{};
        for (int n = rows - 1; n >= 0; --n) {
            const V8 up = fma8(up1, pa1, fma8(up2, pa2, fma8(ux2b, pc2, ux1b * pc1)));
            const V8 uq = fma8(uq1, qa1, fma8(uq2, qa2, fma8(ux2b, qc2, ux1b * qc1)));
            const V8 wp = fma8(wp1, pa1, fma8(wp2, pa2, fma8(wx2b, pc2, wx1b * pc1)));
            const V8 wq = fma8(wq1, qa1, fma8(wq2, qa2, fma8(wx2b, qc2, wx1b * qc1)));
            up2 = up1, up1 = up, uq2 = uq1, uq1 = uq;
            wp2 = wp1, wp1 = wp, wq2 = wq1, wq1 = wq;
            const float* src = col + size_t(n) * inStride;
            ux2b = ux1b, ux1b = load8(src);
            wx2b = wx1b, wx1b = load8(src + 8);
            const int j = n - reach;
            if (j >= 0 && j < outRows) {
                float* o = dst + size_t(j) * outStride;
                store8(o, load8(o) + (up + uq));
                store8(o + 8, load8(o + 8) + (wp + wq));
            }
        }
    }
}

// Along one row: output pixel x reads input pixels x .. x + 2 * reach.
// Vectors of two pixels, offsets in whole pixels (4 floats).
__attribute__((always_inline)) inline void rowTapsBody(const float* taps, const int reach,
                                                       const float* in, float* out, int outFloats) {
    for (int f = 0; f < outFloats; f += 32) {
        const float* mid = in + f + 4 * reach;
        const V8 tm = splat8(taps[reach]);
        V8 a0 = centre8(mid, tm), a1 = centre8(mid + 8, tm), a2 = centre8(mid + 16, tm),
           a3 = centre8(mid + 24, tm);
        // Odd steps add into a second set (shorter dependency chains).
        V8 e0{}, e1{}, e2{}, e3{};
        auto step = [&](int k, V8& s0, V8& s1, V8& s2, V8& s3) __attribute__((always_inline)) {
            const float* a = in + f + 4 * k;
            const float* b = in + f + 4 * (2 * reach - k);
            const V8 t = splat8(taps[k]);
            s0 = fma8(load8(a) + load8(b), t, s0);
            s1 = fma8(load8(a + 8) + load8(b + 8), t, s1);
            s2 = fma8(load8(a + 16) + load8(b + 16), t, s2);
            s3 = fma8(load8(a + 24) + load8(b + 24), t, s3);
        };
        int k = 0;
#pragma GCC unroll 6
        for (; k + 1 < reach; k += 2) {
            step(k, a0, a1, a2, a3);
            step(k + 1, e0, e1, e2, e3);
        }
        if (k < reach) step(k, a0, a1, a2, a3);
        a0 += e0, a1 += e1, a2 += e2, a3 += e3;
        store8(out + f, a0);
        store8(out + f + 8, a1);
        store8(out + f + 16, a2);
        store8(out + f + 24, a3);
    }
}

// The body above, with the reach a constant where it is small.
CIF_BLUR_CLONES
void rowTaps(const float* taps, int reach, const float* in, float* out, int outFloats) {
    withFixedReach(
        reach, [&](auto r)
                   __attribute__((always_inline)) { rowTapsBody(taps, r, in, out, outFloats); });
}

// Running sums along a row, two pixels per vector: the pair's sums move on
// by two pixels per step.
CIF_BLUR_CLONES
void rowBox(int reach, const float* in, float* out, int outFloats) {
    const int n = 2 * reach + 1;
    const V8 scale = splat8(1.0f / float(n));
    // Sums of the windows of pixels 0 and 1.
    V8 sum{};
    for (int k = 0; k < n; ++k)
        sum += load8(in + 4 * k);
    // (each load covers pixels k and k + 1, so the lanes hold both windows).
    for (int f = 0; f < outFloats; f += 8) {
        store8(out + f, sum * scale);
        sum += (load8(in + f + 4 * n) + load8(in + f + 4 * n + 4)) -
               (load8(in + f) + load8(in + f + 4));
    }
}

}  // namespace

Kernel1D gaussianKernel(double sigma) {
    Kernel1D k;
    if (!(sigma > 0.05)) return k;
    sigma = std::min(sigma, kMaxSigma);
    k.reach = int(std::ceil(3.5 * sigma));
    if (sigma <= 3.0) {
        // Sampled and normalised: exact, and cheap at this size.
        k.kind = Kernel1D::Kind::Taps;
        k.taps.resize(size_t(2 * k.reach + 1));
        double total = 0;
        for (int i = -k.reach; i <= k.reach; ++i)
            total += std::exp(-0.5 * double(i) * double(i) / (sigma * sigma));
        for (int i = -k.reach; i <= k.reach; ++i)
            k.taps[size_t(i + k.reach)] =
                float(std::exp(-0.5 * double(i) * double(i) / (sigma * sigma)) / total);
        return k;
    }
    // Deriche (1993): for x >= 0 the Gaussian is fitted by
    //   sum over two terms of (a cos(w x / sigma) + c sin(w x / sigma)) exp(-b x / sigma).
    // Each term is Re(r p^n) with r = a - i c and p = exp((-b + i w) / sigma):
    // one pair of complex-conjugate poles, run as a real second-order section.
    // Kept as two parallel sections rather than one fourth-order recursion,
    // which loses precision in float when sigma is large (poles near 1).
    k.kind = Kernel1D::Kind::Recursive;
    // The recursion is warmed up over the reach only, so the tail it leaves
    // out differs from pixel to pixel: at 4 sigma it is below 4e-5.
    k.reach = int(std::ceil(4.0 * sigma));
    const double fit[2][4] = {{1.680, 3.735, 1.783, 0.6318}, {-0.6803, -0.2598, 1.723, 1.997}};
    double total = 0;
    for (int t = 0; t < 2; ++t) {
        const std::complex<double> r(fit[t][0], -fit[t][1]);
        const std::complex<double> p =
            std::exp(std::complex<double>(-fit[t][2], fit[t][3]) / sigma);
        const double u0 = (r).real(), u1 = (r * p).real(), u2 = (r * p * p).real();
        const double re2 = 2 * p.real();
        Kernel1D::Section& s = k.sections[t];
        s.a1 = float(re2);
        s.a2 = float(-std::norm(p));
        s.b0 = float(u0);
        s.b1 = float(u1 - re2 * u0);
        s.c1 = float(u1);
        s.c2 = float(u2 - re2 * u1);
        // Sum of the two-sided response: 2 * sum_{n>=0} r p^n minus the centre.
        total += (2.0 * r / (1.0 - p) - r).real();
    }
    for (Kernel1D::Section& s : k.sections) {
        s.b0 = float(s.b0 / total);
        s.b1 = float(s.b1 / total);
        s.c1 = float(s.c1 / total);
        s.c2 = float(s.c2 / total);
    }
    return k;
}

Kernel1D boxKernel(int radius) {
    Kernel1D k;
    if (radius <= 0) return k;
    k.kind = Kernel1D::Kind::Box;
    k.reach = std::min(radius, kMaxBoxRadius);
    return k;
}

void runPass(const Kernel1D& k, const float* in, size_t inStride, float* out, size_t outStride,
             int outRows, int width) {
    switch (k.kind) {
        case Kernel1D::Kind::Copy:
            for (int j = 0; j < outRows; ++j)
                std::memcpy(out + size_t(j) * outStride, in + size_t(j) * inStride,
                            size_t(width) * sizeof(float));
            return;
        case Kernel1D::Kind::Taps:
            tapsPass(k.taps.data(), k.reach, in, inStride, out, outStride, outRows, width);
            return;
        case Kernel1D::Kind::Box:
            boxPass(k.reach, in, inStride, out, outStride, outRows, width);
            return;
        case Kernel1D::Kind::Recursive:
            recursivePass(k.sections, k.reach, in, inStride, out, outStride, outRows, width);
            return;
    }
}

void runRowPass(const Kernel1D& k, const float* in, float* out, int outPixels) {
    const int outFloats = (outPixels + 7) / 8 * 32;
    switch (k.kind) {
        case Kernel1D::Kind::Taps:
            rowTaps(k.taps.data(), k.reach, in, out, outFloats);
            return;
        case Kernel1D::Kind::Box:
            rowBox(k.reach, in, out, outFloats);
            return;
        default:
            std::memcpy(out, in + 4 * k.reach, size_t(outPixels) * 4 * sizeof(float));
            return;
    }
}

namespace {

typedef int V8i __attribute__((vector_size(32)));

// Two rows by two columns of pixels at a time: each vector holds a pixel
// pair of one source row, and two shuffles make the destination pairs.
CIF_BLUR_CLONES
void transposeBlock(const float* src, size_t srcStride, float* dst, size_t dstStride, int r0,
                    int r1, int c0, int c1) {
    int r = r0;
    for (; r + 1 < r1; r += 2) {
        const float* s0 = src + size_t(r) * srcStride;
        const float* s1 = s0 + srcStride;
        int c = c0;
        for (; c + 1 < c1; c += 2) {
            const V8 a = load8(s0 + size_t(c) * 4), b = load8(s1 + size_t(c) * 4);
            store8(dst + size_t(c) * dstStride + size_t(r) * 4,
                   __builtin_shufflevector(a, b, 0, 1, 2, 3, 8, 9, 10, 11));
            store8(dst + size_t(c + 1) * dstStride + size_t(r) * 4,
                   __builtin_shufflevector(a, b, 4, 5, 6, 7, 12, 13, 14, 15));
        }
        for (; c < c1; ++c) {
            std::memcpy(dst + size_t(c) * dstStride + size_t(r) * 4, s0 + size_t(c) * 4, 16);
            std::memcpy(dst + size_t(c) * dstStride + size_t(r + 1) * 4, s1 + size_t(c) * 4, 16);
        }
    }
    for (; r < r1; ++r)
        for (int c = c0; c < c1; ++c)
            std::memcpy(dst + size_t(c) * dstStride + size_t(r) * 4,
                        src + size_t(r) * srcStride + size_t(c) * 4, 16);
}

}  // namespace

void transposePixels(const float* src, size_t srcStride, float* dst, size_t dstStride, int rows,
                     int cols) {
    // Blocks of 8 x 8 pixels: the eight destination rows stay in the
    // first-level cache even when their stride is a multiple of 4 KiB.
    constexpr int kB = 8;
    for (int r0 = 0; r0 < rows; r0 += kB)
        for (int c0 = 0; c0 < cols; c0 += kB)
            transposeBlock(src, srcStride, dst, dstStride, r0, std::min(rows, r0 + kB), c0,
                           std::min(cols, c0 + kB));
}

CIF_BLUR_CLONES
void blendRows(const float* a, const float* b, float t, float* out, int n) {
    const V8 tv = splat8(t);
    int i = 0;
    for (; i + 8 <= n; i += 8) {
        const V8 va = load8(a + i);
        store8(out + i, va + (load8(b + i) - va) * tv);
    }
    for (; i < n; ++i)
        out[i] = a[i] + (b[i] - a[i]) * t;
}

CIF_BLUR_CLONES
void addRow(const float* in, float* acc, int n) {
    int i = 0;
    for (; i + 8 <= n; i += 8)
        store8(acc + i, load8(acc + i) + load8(in + i));
    for (; i < n; ++i)
        acc[i] += in[i];
}

CIF_BLUR_CLONES
void unsharpPixels(const float* original, float* blurred, float k, int n) {
    const V8 kv = splat8(k);
    const V8i alpha = {0, 0, 0, -1, 0, 0, 0, -1};
    int i = 0;
    for (; i + 2 <= n; i += 2) {
        const V8 o = load8(original + 4 * i);
        const V8 r = o + kv * (o - load8(blurred + 4 * i));
        store8(blurred + 4 * i, alpha ? o : r);
    }
    for (; i < n; ++i) {
        for (int c = 0; c < 3; ++c)
            blurred[4 * i + c] =
                original[4 * i + c] + k * (original[4 * i + c] - blurred[4 * i + c]);
        blurred[4 * i + 3] = original[4 * i + 3];
    }
}

// Sums of weights that should be exactly 1 come out a few ulps (or, for the
// recursive Gaussian, up to 2e-4) short; alpha that close to 1 is 1, so
// opaque pictures stay opaque (and encode on the fast path).
constexpr float kNearlyOne = 1.0f - 1.0f / 2048;

CIF_BLUR_CLONES
void snapOpaque(float* px, int n) {
    const V8 nearly = splat8(kNearlyOne), one = splat8(1.0f);
    const V8i alpha = {0, 0, 0, -1, 0, 0, 0, -1};
    int i = 0;
    for (; i + 2 <= n; i += 2) {
        const V8 v = load8(px + 4 * i);
        store8(px + 4 * i, ((v > nearly) & (v < one) & alpha) ? one : v);
    }
    for (; i < n; ++i) {
        float& a = px[4 * i + 3];
        a = (a > kNearlyOne && a < 1.0f) ? 1.0f : a;
    }
}

}  // namespace cif::builtins::blur
