#include "platform/builtins/blur/BlurPasses.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>

namespace cif::builtins::blur {

namespace {

// Sixteen floats (four pixels, one cache line): the unit every pass works on.
// The passes are compiled twice, for AVX2 and for the x86-64 baseline, and
// the loader picks one; GCC splits the vector into what the target has.
typedef float V16 __attribute__((vector_size(64)));

#define CIF_BLUR_CLONES __attribute__((target_clones("arch=x86-64-v3", "default")))

inline V16 load16(const float* p) {
    V16 v;
    std::memcpy(&v, p, sizeof v);
    return v;
}
inline void store16(float* p, V16 v) {
    std::memcpy(p, &v, sizeof v);
}

CIF_BLUR_CLONES
void tapsPass(const float* taps, int reach, const float* in, size_t inStride, float* out,
              size_t outStride, int outRows, int width) {
    const int n = 2 * reach + 1;
    for (int c = 0; c < width; c += kBlockAlign) {
        for (int j = 0; j < outRows; ++j) {
            const float* src = in + size_t(j) * inStride + size_t(c);
            V16 acc = load16(src) * taps[0];
            for (int k = 1; k < n; ++k)
                acc += load16(src + size_t(k) * inStride) * taps[k];
            store16(out + size_t(j) * outStride + size_t(c), acc);
        }
    }
}

// Running sums: each step adds the row entering the window and removes the
// one leaving it. A flat input stays exactly flat (the two cancel).
CIF_BLUR_CLONES
void boxPass(int reach, const float* in, size_t inStride, float* out, size_t outStride, int outRows,
             int width) {
    const int n = 2 * reach + 1;
    const float scale = 1.0f / float(n);
    for (int c = 0; c < width; c += kBlockAlign) {
        const float* col = in + size_t(c);
        V16 sum = load16(col);
        for (int k = 1; k < n; ++k)
            sum += load16(col + size_t(k) * inStride);
        store16(out + size_t(c), sum * scale);
        for (int j = 1; j < outRows; ++j) {
            sum +=
                load16(col + size_t(j + n - 1) * inStride) - load16(col + size_t(j - 1) * inStride);
            store16(out + size_t(j) * outStride + size_t(c), sum * scale);
        }
    }
}

// Two second-order sections run forwards then backwards over all rows; the
// rows of the margin only warm the recursion up and are not written.
CIF_BLUR_CLONES
void recursivePass(const Kernel1D::Section* s, int reach, const float* in, size_t inStride,
                   float* out, size_t outStride, int outRows, int width) {
    const int rows = outRows + 2 * reach;
    const Kernel1D::Section p = s[0], q = s[1];
    for (int c = 0; c < width; c += kBlockAlign) {
        const float* col = in + size_t(c);
        float* dst = out + size_t(c);
        V16 py1{}, py2{}, qy1{}, qy2{}, x1{};
        for (int n = 0; n < rows; ++n) {
            const V16 x = load16(col + size_t(n) * inStride);
            const V16 py = py1 * p.a1 + py2 * p.a2 + x * p.b0 + x1 * p.b1;
            const V16 qy = qy1 * q.a1 + qy2 * q.a2 + x * q.b0 + x1 * q.b1;
            py2 = py1;
            py1 = py;
            qy2 = qy1;
            qy1 = qy;
            x1 = x;
            const int j = n - reach;
            if (j >= 0 && j < outRows) store16(dst + size_t(j) * outStride, py + qy);
        }
        py1 = py2 = qy1 = qy2 = V16{};
        V16 xa1{}, xa2{};
        for (int n = rows - 1; n >= 0; --n) {
            const V16 py = py1 * p.a1 + py2 * p.a2 + xa1 * p.c1 + xa2 * p.c2;
            const V16 qy = qy1 * q.a1 + qy2 * q.a2 + xa1 * q.c1 + xa2 * q.c2;
            py2 = py1;
            py1 = py;
            qy2 = qy1;
            qy1 = qy;
            xa2 = xa1;
            xa1 = load16(col + size_t(n) * inStride);
            const int j = n - reach;
            if (j >= 0 && j < outRows) {
                float* o = dst + size_t(j) * outStride;
                store16(o, load16(o) + py + qy);
            }
        }
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

void transposePixels(const float* src, size_t srcStride, float* dst, size_t dstStride, int rows,
                     int cols) {
    // Blocks of 16 x 16 pixels keep both sides in the first-level cache.
    constexpr int kB = 16;
    for (int r0 = 0; r0 < rows; r0 += kB) {
        const int r1 = std::min(rows, r0 + kB);
        for (int c0 = 0; c0 < cols; c0 += kB) {
            const int c1 = std::min(cols, c0 + kB);
            for (int r = r0; r < r1; ++r) {
                const float* s = src + size_t(r) * srcStride;
                for (int c = c0; c < c1; ++c)
                    std::memcpy(dst + size_t(c) * dstStride + size_t(r) * 4, s + size_t(c) * 4,
                                4 * sizeof(float));
            }
        }
    }
}

}  // namespace cif::builtins::blur
