#include "platform/builtins/blur/BlurPasses.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>

#include "platform/image/Geometry.h"

namespace cif::builtins::blur {

using engine::floorDiv;

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

namespace {

// The recursion's segments: long against its warm-up of 4 sigma (at most 40
// pixels for a direct blur; wider Gaussians are reduced first), and a
// divisor of the renderer's default tile, so aligned tiles start segments.
constexpr int kRecursiveGrid = 128;

int ceilTo(int v, int g) {
    return floorDiv(v + g - 1, g) * g;
}
int floorTo(int v, int g) {
    return floorDiv(v, g) * g;
}

// Box sums restart every grid positions; a restart adds the whole window,
// so the grid is at least twice the window (a restart costs at most half an
// addition per output) and a power of two (it divides aligned tiles).
int boxGrid(int reach) {
    int g = 64;
    while (g < 2 * (2 * reach + 1))
        g *= 2;
    return g;
}

}  // namespace

int anchorGrid(const Kernel1D& k) {
    switch (k.kind) {
        case Kernel1D::Kind::Box:
            return boxGrid(k.reach);
        case Kernel1D::Kind::Recursive:
            return kRecursiveGrid;
        default:
            return 1;
    }
}

PassSpan passInput(const Kernel1D& k, int first, int last) {
    const int g = anchorGrid(k);
    switch (k.kind) {
        case Kernel1D::Kind::Box:
            return {floorTo(first, g) - k.reach, last + k.reach};
        case Kernel1D::Kind::Recursive:
            return {floorTo(first, g) - k.reach, ceilTo(last, g) + k.reach};
        default:
            return {first - k.reach, last + k.reach};
    }
}

// ---------------------------------------------------------------- scalar twins
//
// The definition of every pass, one float at a time. The vector passes
// compute exactly these sums in exactly this order.

namespace {

// Sampled taps around the centre: the centre's product, then the pairs of
// taps at equal distance (the two pixels added first), even pairs into one
// sum and odd pairs into a second, which is added last.
inline float tapsAt(const float* taps, int reach, const float* t0, size_t step) {
    float a = t0[size_t(reach) * step] * taps[reach], e = 0.0f;
    for (int k = 0; k < reach; ++k) {
        const float v = (t0[size_t(k) * step] + t0[size_t(2 * reach - k) * step]) * taps[k];
        if (k % 2 == 0)
            a = a + v;
        else
            e = e + v;
    }
    return a + e;
}

}  // namespace

void runPassScalar(const Kernel1D& k, const float* in, size_t inStride, int inFirst, float* out,
                   size_t outStride, int first, int outRows, int width) {
    const int last = first + outRows, r = k.reach, g = anchorGrid(k);
    auto inRow = [&](int pos) { return in + size_t(pos - inFirst) * inStride; };
    auto outRow = [&](int pos) { return out + size_t(pos - first) * outStride; };
    switch (k.kind) {
        case Kernel1D::Kind::Copy:
            for (int y = first; y < last; ++y)
                std::memcpy(outRow(y), inRow(y), size_t(width) * sizeof(float));
            return;
        case Kernel1D::Kind::Taps:
            for (int y = first; y < last; ++y)
                for (int i = 0; i < width; ++i)
                    outRow(y)[i] = tapsAt(k.taps.data(), r, inRow(y - r) + i, inStride);
            return;
        case Kernel1D::Kind::Box: {
            const float scale = 1.0f / float(2 * r + 1);
            for (int i = 0; i < width; ++i)
                for (int a = floorTo(first, g); a < last; a += g) {
                    float s = inRow(a - r)[i];
                    for (int m = 1; m <= 2 * r; ++m)
                        s = s + inRow(a - r + m)[i];
                    for (int y = a; y < std::min(a + g, last); ++y) {
                        if (y > a) s = s + (inRow(y + r)[i] - inRow(y - r - 1)[i]);
                        if (y >= first) outRow(y)[i] = s * scale;
                    }
                }
            return;
        }
        case Kernel1D::Kind::Recursive: {
            const Kernel1D::Section p = k.sections[0], q = k.sections[1];
            for (int i = 0; i < width; ++i)
                for (int a = floorTo(first, g); a < last; a += g) {
                    const int end = std::min(a + g, last), from = std::max(a, first);
                    float p1 = 0, p2 = 0, q1 = 0, q2 = 0, x1 = 0;
                    for (int n = a - r; n < end; ++n) {
                        const float x = inRow(n)[i];
                        const float up = ((x * p.b0 + x1 * p.b1) + p2 * p.a2) + p1 * p.a1;
                        const float uq = ((x * q.b0 + x1 * q.b1) + q2 * q.a2) + q1 * q.a1;
                        p2 = p1, p1 = up, q2 = q1, q1 = uq, x1 = x;
                        if (n >= from) outRow(n)[i] = up + uq;
                    }
                    p1 = p2 = q1 = q2 = 0;
                    float b1 = 0, b2 = 0;
                    for (int n = a + g - 1 + r; n >= from; --n) {
                        const float up = ((b1 * p.c1 + b2 * p.c2) + p2 * p.a2) + p1 * p.a1;
                        const float uq = ((b1 * q.c1 + b2 * q.c2) + q2 * q.a2) + q1 * q.a1;
                        p2 = p1, p1 = up, q2 = q1, q1 = uq;
                        b2 = b1, b1 = inRow(n)[i];
                        if (n < end) outRow(n)[i] = outRow(n)[i] + (up + uq);
                    }
                }
            return;
        }
    }
}

void runRowPassScalar(const Kernel1D& k, const float* in, int inFirst, float* out, int first,
                      int n) {
    const int last = first + n, r = k.reach;
    auto px = [&](int pos) { return in + size_t(pos - inFirst) * 4; };
    switch (k.kind) {
        case Kernel1D::Kind::Taps:
            for (int x = first; x < last; ++x)
                for (int c = 0; c < 4; ++c)
                    out[size_t(x - first) * 4 + size_t(c)] =
                        tapsAt(k.taps.data(), r, px(x - r) + c, 4);
            return;
        case Kernel1D::Kind::Box: {
            // Two running sums, one per pixel of a pair: each moves on by
            // two pixels, adding the two entering and removing the two
            // leaving (each two summed first).
            const int g = anchorGrid(k);
            const float scale = 1.0f / float(2 * r + 1);
            for (int a = floorTo(first, g); a < last; a += g)
                for (int f = 0; f < 8; ++f) {
                    const int p = f / 4, c = f % 4;
                    auto v = [&](int pos) { return px(pos)[c]; };
                    float s = v(a + p - r);
                    for (int m = 1; m <= 2 * r; ++m)
                        s = s + v(a + p - r + m);
                    for (int x = a + p; x < std::min(a + g, last); x += 2) {
                        if (x > a + p)
                            s = s + ((v(x + r - 1) + v(x + r)) - (v(x - r - 2) + v(x - r - 1)));
                        if (x >= first) out[size_t(x - first) * 4 + size_t(c)] = s * scale;
                    }
                }
            return;
        }
        default:
            std::memcpy(out, px(first), size_t(n) * 4 * sizeof(float));
            return;
    }
}

void blendRowsScalar(const float* a, const float* b, float t, float* out, int n) {
    for (int i = 0; i < n; ++i)
        out[i] = a[i] + (b[i] - a[i]) * t;
}

void addRowScalar(const float* in, float* acc, int n) {
    for (int i = 0; i < n; ++i)
        acc[i] = acc[i] + in[i];
}

void unsharpPixelsScalar(const float* original, float* blurred, float k, int n) {
    for (int i = 0; i < 4 * n; ++i)
        blurred[i] = i % 4 == 3 ? original[i] : original[i] + k * (original[i] - blurred[i]);
}

void snapOpaqueScalar(float* px, int n) {
    for (int i = 0; i < n; ++i) {
        float& a = px[4 * i + 3];
        a = (a > kNearlyOne && a < 1.0f) ? 1.0f : a;
    }
}

void transposePixels(const float* src, size_t srcStride, float* dst, size_t dstStride, int rows,
                     int cols) {
    // Blocks of 8 x 8 pixels: the eight destination rows stay in the
    // first-level cache even when their stride is a multiple of 4 KiB.
    constexpr int kB = 8;
    for (int r0 = 0; r0 < rows; r0 += kB)
        for (int c0 = 0; c0 < cols; c0 += kB) {
            const int r1 = std::min(rows, r0 + kB), c1 = std::min(cols, c0 + kB);
            // Each destination row's part is written in one run, so its
            // cache lines fill whole; the reads gather down the columns.
            for (int c = c0; c < c1; ++c) {
                float* d = dst + size_t(c) * dstStride;
                for (int r = r0; r < r1; ++r)
                    std::memcpy(d + size_t(r) * 4, src + size_t(r) * srcStride + size_t(c) * 4,
                                4 * sizeof(float));
            }
        }
}

}  // namespace cif::builtins::blur
