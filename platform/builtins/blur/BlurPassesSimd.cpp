// Highway implementation of the passes in BlurPasses.h. Every float is
// filtered on its own, so the vectors may be of any width: each lane makes
// the same products and sums, in the same order, as the scalar twins in
// BlurPasses.cpp, and the targets agree bit for bit.

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/builtins/blur/BlurPassesSimd.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <algorithm>
#include <cstring>
#include <type_traits>
#include <utility>

#include "platform/builtins/blur/BlurPasses.h"
#include "platform/image/Geometry.h"

HWY_BEFORE_NAMESPACE();
namespace cif::builtins::blur::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

using D = hn::ScalableTag<float>;
using V = hn::Vec<D>;
constexpr int kLanes = int(hn::MaxLanes(D()));

using engine::floorDiv;

// Calls body(reach) with the reach as a compile-time constant for every
// sampled Gaussian (reach 1 to 11), so that the tap loops unroll; other
// reaches are passed as they are.
template <typename Body>
HWY_INLINE void WithFixedReach(int reach, Body&& body) {
    [&]<int... R>(std::integer_sequence<int, R...>) {
        if (!((reach == R + 1 && (body(std::integral_constant<int, R + 1>{}), true)) || ...))
            body(reach);
    }
    (std::make_integer_sequence<int, 11>{});
}

// ------------------------------------------------------------------- down columns

// Sampled taps down columns. in points at the first input row of output row
// 0. Output rows are made in pairs, which share all but one of their input
// rows: walking the pairs of taps outwards, each step loads two new rows
// and reuses the two the step before loaded. Two vectors per row keep the
// running sums in registers.
template <typename Reach>
HWY_INLINE void TapsColumns(const float* taps, Reach reachArg, const float* in, size_t inStride,
                            float* out, size_t outStride, int outRows, int width) {
    const D d;
    const int reach = reachArg;
    const V tm = hn::Set(d, taps[reach]);
    int j = 0;
    for (; j + 1 < outRows; j += 2) {
        for (int c = 0; c < width; c += 2 * kLanes) {
            // T(m) is input row j + m; row j is centred on T(reach), row
            // j + 1 on T(reach + 1).
            const float* base = in + size_t(j) * inStride + size_t(c);
            auto row = [&](int m) { return base + size_t(m) * inStride; };
            V a0 = hn::Mul(hn::LoadU(d, row(reach)), tm);
            V a1 = hn::Mul(hn::LoadU(d, row(reach) + kLanes), tm);
            V b0 = hn::Mul(hn::LoadU(d, row(reach + 1)), tm);
            V b1 = hn::Mul(hn::LoadU(d, row(reach + 1) + kLanes), tm);
            V e0 = hn::Zero(d), e1 = e0, g0 = e0, g1 = e0;
            // lo = T(k), hi = T(2 reach + 1 - k), carried between steps.
            V lo0 = hn::LoadU(d, row(0)), lo1 = hn::LoadU(d, row(0) + kLanes);
            V hi0 = hn::LoadU(d, row(2 * reach + 1)),
              hi1 = hn::LoadU(d, row(2 * reach + 1) + kLanes);
            auto step = [&](int k, V& s0, V& s1, V& t0, V& t1) {
                const V t = hn::Set(d, taps[k]);
                const float* up = row(k + 1);
                const float* down = row(2 * reach - k);
                const V u0 = hn::LoadU(d, up), u1 = hn::LoadU(d, up + kLanes);
                const V d0 = hn::LoadU(d, down), d1 = hn::LoadU(d, down + kLanes);
                s0 = hn::Add(s0, hn::Mul(hn::Add(lo0, d0), t));
                s1 = hn::Add(s1, hn::Mul(hn::Add(lo1, d1), t));
                t0 = hn::Add(t0, hn::Mul(hn::Add(u0, hi0), t));
                t1 = hn::Add(t1, hn::Mul(hn::Add(u1, hi1), t));
                lo0 = u0, lo1 = u1, hi0 = d0, hi1 = d1;
            };
            int k = 0;
            for (; k + 1 < reach; k += 2) {
                step(k, a0, a1, b0, b1);
                step(k + 1, e0, e1, g0, g1);
            }
            if (k < reach) step(k, a0, a1, b0, b1);
            float* o = out + size_t(j) * outStride + size_t(c);
            hn::StoreU(hn::Add(a0, e0), d, o);
            hn::StoreU(hn::Add(a1, e1), d, o + kLanes);
            hn::StoreU(hn::Add(b0, g0), d, o + outStride);
            hn::StoreU(hn::Add(b1, g1), d, o + outStride + kLanes);
        }
    }
    for (; j < outRows; ++j) {
        for (int c = 0; c < width; c += kLanes) {
            const float* top = in + size_t(j) * inStride + size_t(c);
            V a = hn::Mul(hn::LoadU(d, top + size_t(reach) * inStride), tm), e = hn::Zero(d);
            for (int k = 0; k < reach; ++k) {
                const V v = hn::Mul(hn::Add(hn::LoadU(d, top + size_t(k) * inStride),
                                            hn::LoadU(d, top + size_t(2 * reach - k) * inStride)),
                                    hn::Set(d, taps[k]));
                if (k % 2 == 0)
                    a = hn::Add(a, v);
                else
                    e = hn::Add(e, v);
            }
            hn::StoreU(hn::Add(a, e), d, out + size_t(j) * outStride + size_t(c));
        }
    }
}

void TapsPass(const float* taps, int reach, const float* in, size_t inStride, float* out,
              size_t outStride, int outRows, int width) {
    // Columns of 64 pixels (1 KiB per row), so the rows one output row
    // reads stay in the first-level cache while the next rows reuse them.
    constexpr int kColumn = 256;
    for (int c0 = 0; c0 < width; c0 += kColumn)
        WithFixedReach(reach, [&](auto r) {
            TapsColumns(taps, r, in + c0, inStride, out + c0, outStride, outRows,
                        std::min(kColumn, width - c0));
        });
}

// Running sums down columns, restarted at every grid row. in row 0 is
// position inFirst.
void BoxPass(int reach, int grid, const float* in, size_t inStride, int inFirst, float* out,
             size_t outStride, int first, int outRows, int width) {
    const D d;
    const V scale = hn::Set(d, 1.0f / float(2 * reach + 1));
    const int last = first + outRows;
    auto inRow = [&](int pos) { return in + size_t(pos - inFirst) * inStride; };
    for (int a = floorDiv(first, grid) * grid; a < last; a += grid) {
        const int end = std::min(a + grid, last);
        for (int c = 0; c < width; c += 2 * kLanes) {
            V s0 = hn::LoadU(d, inRow(a - reach) + c),
              s1 = hn::LoadU(d, inRow(a - reach) + c + kLanes);
            for (int m = 1; m <= 2 * reach; ++m) {
                const float* r = inRow(a - reach + m) + c;
                s0 = hn::Add(s0, hn::LoadU(d, r));
                s1 = hn::Add(s1, hn::LoadU(d, r + kLanes));
            }
            for (int y = a; y < end; ++y) {
                if (y > a) {
                    const float* enter = inRow(y + reach) + c;
                    const float* leave = inRow(y - reach - 1) + c;
                    s0 = hn::Add(s0, hn::Sub(hn::LoadU(d, enter), hn::LoadU(d, leave)));
                    s1 = hn::Add(
                        s1, hn::Sub(hn::LoadU(d, enter + kLanes), hn::LoadU(d, leave + kLanes)));
                }
                if (y >= first) {
                    float* o = out + size_t(y - first) * outStride + size_t(c);
                    hn::StoreU(hn::Mul(s0, scale), d, o);
                    hn::StoreU(hn::Mul(s1, scale), d, o + kLanes);
                }
            }
        }
    }
}

// Two second-order sections run forwards then backwards over each grid
// segment, each warmed up over the reach before it.
void RecursivePass(const Kernel1D::Section* s, int reach, int grid, const float* in,
                   size_t inStride, int inFirst, float* out, size_t outStride, int first,
                   int outRows, int width) {
    const D d;
    const Kernel1D::Section p = s[0], q = s[1];
    const V pa1 = hn::Set(d, p.a1), pa2 = hn::Set(d, p.a2), qa1 = hn::Set(d, q.a1),
            qa2 = hn::Set(d, q.a2);
    const V pb0 = hn::Set(d, p.b0), pb1 = hn::Set(d, p.b1), qb0 = hn::Set(d, q.b0),
            qb1 = hn::Set(d, q.b1);
    const V pc1 = hn::Set(d, p.c1), pc2 = hn::Set(d, p.c2), qc1 = hn::Set(d, q.c1),
            qc2 = hn::Set(d, q.c2);
    const int last = first + outRows;
    auto inRow = [&](int pos) { return in + size_t(pos - inFirst) * inStride; };
    auto outRow = [&](int pos) { return out + size_t(pos - first) * outStride; };
    // One section step: ((x * f0 + x1 * f1) + y2 * a2) + y1 * a1.
    auto section = [](V x, V f0, V x1, V f1, V y2, V a2, V y1, V a1) {
        return hn::Add(hn::Add(hn::Add(hn::Mul(x, f0), hn::Mul(x1, f1)), hn::Mul(y2, a2)),
                       hn::Mul(y1, a1));
    };
    // Each step's feedback is a multiply and an add after the step before,
    // so several vectors (32 floats where registers allow) run side by side
    // to keep the adders busy.
    constexpr int kVectors = kLanes >= 16 ? 2 : 4;
    for (int a = floorDiv(first, grid) * grid; a < last; a += grid) {
        const int end = std::min(a + grid, last), from = std::max(a, first);
        for (int c = 0; c < width; c += kVectors * kLanes) {
            const V z = hn::Zero(d);
            V p1[kVectors], p2[kVectors], q1[kVectors], q2[kVectors], x1[kVectors];
            for (int v = 0; v < kVectors; ++v)
                p1[v] = p2[v] = q1[v] = q2[v] = x1[v] = z;
            for (int n = a - reach; n < end; ++n) {
                const float* src = inRow(n) + c;
                float* o = n >= from ? outRow(n) + c : nullptr;
                for (int v = 0; v < kVectors; ++v) {
                    const V x = hn::LoadU(d, src + v * kLanes);
                    const V up = section(x, pb0, x1[v], pb1, p2[v], pa2, p1[v], pa1);
                    const V uq = section(x, qb0, x1[v], qb1, q2[v], qa2, q1[v], qa1);
                    p2[v] = p1[v], p1[v] = up, q2[v] = q1[v], q1[v] = uq, x1[v] = x;
                    if (o) hn::StoreU(hn::Add(up, uq), d, o + v * kLanes);
                }
            }
            V b1[kVectors], b2[kVectors];
            for (int v = 0; v < kVectors; ++v)
                p1[v] = p2[v] = q1[v] = q2[v] = b1[v] = b2[v] = z;
            for (int n = a + grid - 1 + reach; n >= from; --n) {
                const float* src = inRow(n) + c;
                float* o = n < end ? outRow(n) + c : nullptr;
                for (int v = 0; v < kVectors; ++v) {
                    const V up = section(b1[v], pc1, b2[v], pc2, p2[v], pa2, p1[v], pa1);
                    const V uq = section(b1[v], qc1, b2[v], qc2, q2[v], qa2, q1[v], qa1);
                    p2[v] = p1[v], p1[v] = up, q2[v] = q1[v], q1[v] = uq;
                    b2[v] = b1[v], b1[v] = hn::LoadU(d, src + v * kLanes);
                    if (o)
                        hn::StoreU(hn::Add(hn::LoadU(d, o + v * kLanes), hn::Add(up, uq)), d,
                                   o + v * kLanes);
                }
            }
        }
    }
}

void RunPass(const Kernel1D& k, const float* in, size_t inStride, int inFirst, float* out,
             size_t outStride, int first, int outRows, int width) {
    switch (k.kind) {
        case Kernel1D::Kind::Copy:
            for (int j = 0; j < outRows; ++j)
                std::memcpy(out + size_t(j) * outStride,
                            in + size_t(first + j - inFirst) * inStride,
                            size_t(width) * sizeof(float));
            return;
        case Kernel1D::Kind::Taps:
            TapsPass(k.taps.data(), k.reach, in + size_t(first - k.reach - inFirst) * inStride,
                     inStride, out, outStride, outRows, width);
            return;
        case Kernel1D::Kind::Box:
            BoxPass(k.reach, anchorGrid(k), in, inStride, inFirst, out, outStride, first, outRows,
                    width);
            return;
        case Kernel1D::Kind::Recursive:
            RecursivePass(k.sections, k.reach, anchorGrid(k), in, inStride, inFirst, out, outStride,
                          first, outRows, width);
            return;
    }
}

// ------------------------------------------------------------------- along rows

// Sampled taps along a row: output float f reads floats f + 4 m. in points
// at the first pixel output pixel 0 reads. The last vector, when partial,
// is made in a scratch vector (its extra lanes read the slack).
template <typename Reach>
HWY_INLINE void TapsAlongRow(const float* taps, Reach reachArg, const float* in, float* out,
                             int floats) {
    const D d;
    const int reach = reachArg;
    const V tm = hn::Set(d, taps[reach]);
    auto one = [&](int f) {
        const float* mid = in + f + 4 * reach;
        V a = hn::Mul(hn::LoadU(d, mid), tm), e = hn::Zero(d);
        int k = 0;
        for (; k + 1 < reach; k += 2) {
            a = hn::Add(a, hn::Mul(hn::Add(hn::LoadU(d, in + f + 4 * k),
                                           hn::LoadU(d, in + f + 4 * (2 * reach - k))),
                                   hn::Set(d, taps[k])));
            e = hn::Add(e, hn::Mul(hn::Add(hn::LoadU(d, in + f + 4 * (k + 1)),
                                           hn::LoadU(d, in + f + 4 * (2 * reach - k - 1))),
                                   hn::Set(d, taps[k + 1])));
        }
        if (k < reach)
            a = hn::Add(a, hn::Mul(hn::Add(hn::LoadU(d, in + f + 4 * k),
                                           hn::LoadU(d, in + f + 4 * (2 * reach - k))),
                                   hn::Set(d, taps[k])));
        return hn::Add(a, e);
    };
    int f = 0;
    // Four vectors at a time: independent sums in flight.
    for (; f + 4 * kLanes <= floats; f += 4 * kLanes) {
        const V v0 = one(f), v1 = one(f + kLanes), v2 = one(f + 2 * kLanes),
                v3 = one(f + 3 * kLanes);
        hn::StoreU(v0, d, out + f);
        hn::StoreU(v1, d, out + f + kLanes);
        hn::StoreU(v2, d, out + f + 2 * kLanes);
        hn::StoreU(v3, d, out + f + 3 * kLanes);
    }
    for (; f + kLanes <= floats; f += kLanes)
        hn::StoreU(one(f), d, out + f);
    if (f < floats) {
        HWY_ALIGN float tail[kLanes];
        hn::Store(one(f), d, tail);
        std::memcpy(out + f, tail, size_t(floats - f) * sizeof(float));
    }
}

// Running sums along a row in pairs of pixels, restarted at every grid
// pixel: each pair's two sums move on by two pixels, adding the two pixels
// entering (summed first) and removing the two leaving. A pair is eight
// floats: one vector where vectors hold eight, else several.
void BoxAlongRow(int reach, int grid, const float* in, int inFirst, float* out, int first, int n) {
    const hn::CappedTag<float, 8> d;
    using VP = hn::Vec<decltype(d)>;
    constexpr int kPairLanes = int(hn::MaxLanes(decltype(d)()));
    constexpr int kPairVectors = 8 / kPairLanes;
    const VP scale = hn::Set(d, 1.0f / float(2 * reach + 1));
    const int last = first + n;
    auto px = [&](int pos) { return in + size_t(pos - inFirst) * 4; };
    VP s[kPairVectors];
    for (int a = floorDiv(first, grid) * grid; a < last; a += grid) {
        const int end = std::min(a + grid, last);
        // The sums of the segment's first pair.
        for (int v = 0; v < kPairVectors; ++v) {
            const float* p = px(a - reach) + v * kPairLanes;
            s[v] = hn::LoadU(d, p);
            for (int m = 1; m <= 2 * reach; ++m)
                s[v] = hn::Add(s[v], hn::LoadU(d, p + 4 * m));
        }
        for (int x = a; x < end; x += 2) {
            if (x > a) {
                for (int v = 0; v < kPairVectors; ++v) {
                    const float* e = px(x + reach - 1) + v * kPairLanes;
                    const float* l = px(x - reach - 2) + v * kPairLanes;
                    const VP enter = hn::Add(hn::LoadU(d, e), hn::LoadU(d, e + 4));
                    const VP leave = hn::Add(hn::LoadU(d, l), hn::LoadU(d, l + 4));
                    s[v] = hn::Add(s[v], hn::Sub(enter, leave));
                }
            }
            const int x0 = std::max(x, first), x1 = std::min(x + 2, end);
            if (x0 >= x1) continue;
            if (x0 == x && x1 == x + 2) {
                for (int v = 0; v < kPairVectors; ++v)
                    hn::StoreU(hn::Mul(s[v], scale), d,
                               out + size_t(x - first) * 4 + v * kPairLanes);
            } else {
                HWY_ALIGN float pair[8];
                for (int v = 0; v < kPairVectors; ++v)
                    hn::Store(hn::Mul(s[v], scale), d, pair + v * kPairLanes);
                std::memcpy(out + size_t(x0 - first) * 4, pair + (x0 - x) * 4,
                            size_t(x1 - x0) * 4 * sizeof(float));
            }
        }
    }
}

void RunRowPass(const Kernel1D& k, const float* in, int inFirst, float* out, int first, int n) {
    switch (k.kind) {
        case Kernel1D::Kind::Taps: {
            const float* start = in + size_t(first - k.reach - inFirst) * 4;
            WithFixedReach(k.reach,
                           [&](auto r) { TapsAlongRow(k.taps.data(), r, start, out, 4 * n); });
            return;
        }
        case Kernel1D::Kind::Box:
            BoxAlongRow(k.reach, anchorGrid(k), in, inFirst, out, first, n);
            return;
        default:
            std::memcpy(out, in + size_t(first - inFirst) * 4, size_t(n) * 4 * sizeof(float));
            return;
    }
}

// ------------------------------------------------------------------- per pixel

void BlendRows(const float* a, const float* b, float t, float* out, int n) {
    const D d;
    const V tv = hn::Set(d, t);
    int i = 0;
    for (; i + kLanes <= n; i += kLanes) {
        const V va = hn::LoadU(d, a + i);
        hn::StoreU(hn::Add(va, hn::Mul(hn::Sub(hn::LoadU(d, b + i), va), tv)), d, out + i);
    }
    for (; i < n; ++i)
        out[i] = a[i] + (b[i] - a[i]) * t;
}

void AddRow(const float* in, float* acc, int n) {
    const D d;
    int i = 0;
    for (; i + kLanes <= n; i += kLanes)
        hn::StoreU(hn::Add(hn::LoadU(d, acc + i), hn::LoadU(d, in + i)), d, acc + i);
    for (; i < n; ++i)
        acc[i] = acc[i] + in[i];
}

// Lanes holding alpha: float i of a row is alpha when i % 4 == 3.
HWY_INLINE hn::Mask<D> AlphaLanes(int i) {
    const hn::RebindToSigned<D> di;
    const auto three = hn::Set(di, 3);
    return hn::RebindMask(D(), hn::Eq(hn::And(hn::Iota(di, i), three), three));
}

void UnsharpPixels(const float* original, float* blurred, float k, int n) {
    const D d;
    const V kv = hn::Set(d, k);
    const int floats = 4 * n;
    int i = 0;
    for (; i + kLanes <= floats; i += kLanes) {
        const V o = hn::LoadU(d, original + i);
        const V r = hn::Add(o, hn::Mul(kv, hn::Sub(o, hn::LoadU(d, blurred + i))));
        hn::StoreU(hn::IfThenElse(AlphaLanes(i), o, r), d, blurred + i);
    }
    for (; i < floats; ++i)
        blurred[i] = i % 4 == 3 ? original[i] : original[i] + k * (original[i] - blurred[i]);
}

void SnapOpaque(float* px, int n) {
    const D d;
    const V nearly = hn::Set(d, kNearlyOne), one = hn::Set(d, 1.0f);
    const int floats = 4 * n;
    int i = 0;
    for (; i + kLanes <= floats; i += kLanes) {
        const V v = hn::LoadU(d, px + i);
        const auto snap = hn::And(AlphaLanes(i), hn::And(hn::Gt(v, nearly), hn::Lt(v, one)));
        hn::StoreU(hn::IfThenElse(snap, one, v), d, px + i);
    }
    for (; i < floats; ++i)
        if (i % 4 == 3 && px[i] > kNearlyOne && px[i] < 1.0f) px[i] = 1.0f;
}

}  // namespace cif::builtins::blur::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace cif::builtins::blur {

HWY_EXPORT(RunPass);
HWY_EXPORT(RunRowPass);
HWY_EXPORT(BlendRows);
HWY_EXPORT(AddRow);
HWY_EXPORT(UnsharpPixels);
HWY_EXPORT(SnapOpaque);

void runPass(const Kernel1D& k, const float* in, size_t inStride, int inFirst, float* out,
             size_t outStride, int first, int outRows, int width) {
    HWY_DYNAMIC_DISPATCH(RunPass)(k, in, inStride, inFirst, out, outStride, first, outRows, width);
}

void runRowPass(const Kernel1D& k, const float* in, int inFirst, float* out, int first, int n) {
    HWY_DYNAMIC_DISPATCH(RunRowPass)(k, in, inFirst, out, first, n);
}

void blendRows(const float* a, const float* b, float t, float* out, int n) {
    HWY_DYNAMIC_DISPATCH(BlendRows)(a, b, t, out, n);
}

void addRow(const float* in, float* acc, int n) {
    HWY_DYNAMIC_DISPATCH(AddRow)(in, acc, n);
}

void unsharpPixels(const float* original, float* blurred, float k, int n) {
    HWY_DYNAMIC_DISPATCH(UnsharpPixels)(original, blurred, k, n);
}

void snapOpaque(float* px, int n) {
    HWY_DYNAMIC_DISPATCH(SnapOpaque)(px, n);
}

}  // namespace cif::builtins::blur
#endif
