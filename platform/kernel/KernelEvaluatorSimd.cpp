// The vectorised span evaluator (Highway, dynamic dispatch). Each register
// is kSpan floats; an instruction runs over all of them before the next
// starts. Every lane of a chunk is computed, including lanes past the end of
// the row (their values are discarded), so the arithmetic never depends on
// where a pixel falls in a chunk.

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/kernel/KernelEvaluatorSimd.cpp"
#include <hwy/aligned_allocator.h>
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <algorithm>
#include <bit>
#include <cassert>
#include <cmath>
#include <cstdint>

#include "platform/kernel/KernelEvaluator.h"
#include "platform/kernel/KernelMath-inl.h"

HWY_BEFORE_NAMESPACE();
namespace cif::kernel::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

static_assert(kSpan * sizeof(float) % HWY_MAX_BYTES == 0, "a chunk is whole vectors");

using DF = hn::ScalableTag<float>;
using VF = hn::Vec<DF>;

// floor and ceil keep the sign of their argument (floor(-0) = -0, ceil(-0.5)
// = -0); some targets emulate rounding and lose it, so the sign is put back.
HWY_INLINE VF FloorExact(VF v) {
    return hn::CopySign(hn::Floor(v), v);
}
HWY_INLINE VF CeilExact(VF v) {
    return hn::CopySign(hn::Ceil(v), v);
}

// a != b with C++'s meaning (true when either is NaN). Highway's Ne may be
// an ordered comparison on some targets, so it is spelled as not-equal.
HWY_INLINE auto NotEqual(VF a, VF b) {
    return hn::Not(hn::Eq(a, b));
}

template <class F>
HWY_INLINE void Unary(float* d, const float* a, const F& f) {
    const DF df;
    const size_t lanes = hn::Lanes(df);
    for (size_t i = 0; i < size_t(kSpan); i += lanes)
        hn::Store(f(hn::Load(df, a + i)), df, d + i);
}

template <class F>
HWY_INLINE void Binary(float* d, const float* a, const float* b, const F& f) {
    const DF df;
    const size_t lanes = hn::Lanes(df);
    for (size_t i = 0; i < size_t(kSpan); i += lanes)
        hn::Store(f(hn::Load(df, a + i), hn::Load(df, b + i)), df, d + i);
}

#if HWY_TARGET != HWY_SCALAR
// Copies channel kChannel of the interleaved pixels src[0 .. hi-lo) into
// d[lo .. hi): two rounds of taking even or odd lanes (channels 0 and 2 sit
// in even lanes, 1 and 3 in odd ones), a fraction of a full de-interleave.
template <int kChannel>
HWY_INLINE void ExtractChannel(const float* src, float* d, int lo, int hi) {
    const DF df;
    const size_t lanes = hn::Lanes(df);
    auto pick = [&](VF upper, VF lower, bool odd) {
        return odd ? hn::ConcatOdd(df, upper, lower) : hn::ConcatEven(df, upper, lower);
    };
    int i = lo;
    for (; i + int(lanes) <= hi; i += int(lanes)) {
        const float* p = src + size_t(i - lo) * 4;
        const VF v0 = hn::LoadU(df, p), v1 = hn::LoadU(df, p + lanes),
                 v2 = hn::LoadU(df, p + 2 * lanes), v3 = hn::LoadU(df, p + 3 * lanes);
        constexpr bool kOdd = (kChannel & 1) != 0, kHigh = (kChannel & 2) != 0;
        hn::StoreU(pick(pick(v3, v2, kOdd), pick(v1, v0, kOdd), kHigh), df, d + i);
    }
    for (; i < hi; ++i)
        d[i] = src[size_t(i - lo) * 4 + size_t(kChannel)];
}
#endif

template <class F>
HWY_INLINE void Ternary(float* d, const float* a, const float* b, const float* c, const F& f) {
    const DF df;
    const size_t lanes = hn::Lanes(df);
    for (size_t i = 0; i < size_t(kSpan); i += lanes)
        hn::Store(f(hn::Load(df, a + i), hn::Load(df, b + i), hn::Load(df, c + i)), df, d + i);
}

#if HWY_TARGET != HWY_SCALAR
// The bilinear blend of one vector of positions whose four taps are all
// inside the buffer, a pixel at a time: the two taps of a row are eight
// consecutive floats, so each pixel is four 4-float loads instead of a
// gather per tap and channel. Per channel it is the same arithmetic as the
// gathering form (and sampleLane), so the bits are the same. The pixels are
// blended into an interleaved block, then split into the channel registers
// out[c] + i; channels not in mask are set to zero.
template <class VI>
HWY_INLINE void BlendPixels(const float* base, int stride, VI offset, VF tx, VF wx0, VF ty, VF wy0,
                            float* const out[4], int i, int mask) {
    const DF df;
    const hn::RebindToSigned<DF> di;
    const hn::FixedTag<float, 4> d4;
    constexpr size_t kMaxLanes = HWY_MAX_BYTES / sizeof(float);
    const size_t lanes = hn::Lanes(df);
    HWY_ALIGN int32_t offsets[kMaxLanes];
    HWY_ALIGN float weights[4][kMaxLanes];
    HWY_ALIGN float pixels[4 * kMaxLanes];
    hn::Store(offset, di, offsets);
    hn::Store(tx, df, weights[0]);
    hn::Store(wx0, df, weights[1]);
    hn::Store(ty, df, weights[2]);
    hn::Store(wy0, df, weights[3]);
    const auto one = hn::Set(d4, 1.0f);
    for (size_t k = 0; k < lanes; ++k) {
        const float* p0 = base + offsets[k];
        const float* p1 = p0 + stride;
        const float fx = weights[0][k], fy = weights[2][k];
        hn::Vec<decltype(d4)> row0, row1;
        if (fx == 0.0f) {
            row0 = hn::Mul(hn::LoadU(d4, p0), one);
            row1 = hn::Mul(hn::LoadU(d4, p1), one);
        } else {
            const auto w0 = hn::Set(d4, weights[1][k]), w1 = hn::Set(d4, fx);
            row0 = hn::Add(hn::Mul(hn::LoadU(d4, p0), w0), hn::Mul(hn::LoadU(d4, p0 + 4), w1));
            row1 = hn::Add(hn::Mul(hn::LoadU(d4, p1), w0), hn::Mul(hn::LoadU(d4, p1 + 4), w1));
        }
        const auto blended = fy == 0.0f ? row0
                                        : hn::Add(hn::Mul(row0, hn::Set(d4, weights[3][k])),
                                                  hn::Mul(row1, hn::Set(d4, fy)));
        hn::Store(blended, d4, pixels + 4 * k);
    }
    VF channels[4];
    hn::LoadInterleaved4(df, pixels, channels[0], channels[1], channels[2], channels[3]);
    for (int c = 0; c < 4; ++c)
        hn::Store((mask & (1 << c)) ? channels[c] : hn::Zero(df), df, out[c] + i);
}
#endif

// Bilinear samples at arbitrary positions. Vectors whose four taps all lie
// inside the buffer read them (BlendPixels, or gathers where a vector is one
// float) and blend with the same operations, in the same order, as sampleLane
// (so the bits are the same); any other vector is sampled lane by lane. Channels the program does
// not read are left zero.
HWY_INLINE void SampleBilinear(const engine::PixelBuffer* image, const float* xs, const float* ys,
                               float* d0, float* d1, float* d2, float* d3, int mask,
                               size_t count = size_t(kSpan)) {
    const DF df;
    const hn::RebindToSigned<DF> di;
    const size_t lanes = hn::Lanes(df);
    float* out[4] = {d0, d1, d2, d3};
    const engine::IRect r = image ? image->rect() : engine::IRect();
    const bool vectorOk = image && r.w >= 2 && r.h >= 2;
    const float* base = vectorOk ? image->at(r.x, r.y) : nullptr;
    const int stride = vectorOk ? int(image->at(r.x, r.y + 1) - base) : 0;
    const VF half = hn::Set(df, 0.5f), one = hn::Set(df, 1.0f), zero = hn::Zero(df);
    const VF minX = hn::Set(df, float(r.x)), maxX = hn::Set(df, float(r.right() - 2));
    const VF minY = hn::Set(df, float(r.y)), maxY = hn::Set(df, float(r.top() - 2));
    for (size_t i = 0; i < count; i += lanes) {
        const VF sx = hn::Sub(hn::Load(df, xs + i), half);
        const VF sy = hn::Sub(hn::Load(df, ys + i), half);
        const VF fx = hn::Floor(sx), fy = hn::Floor(sy);
        // NaN fails every comparison, so it takes the lane-by-lane path.
        const bool inside =
            vectorOk && hn::AllTrue(df, hn::And(hn::And(hn::Ge(fx, minX), hn::Le(fx, maxX)),
                                                hn::And(hn::Ge(fy, minY), hn::Le(fy, maxY))));
        if (!inside) {
            for (size_t k = i; k < i + lanes; ++k) {
                float px[4];
                detail::sampleLane(image, xs[k], ys[k], px);
                d0[k] = px[0];
                d1[k] = px[1];
                d2[k] = px[2];
                d3[k] = px[3];
            }
            continue;
        }
        const VF tx = hn::Sub(sx, fx), ty = hn::Sub(sy, fy);
        const auto txZero = hn::Eq(tx, zero), tyZero = hn::Eq(ty, zero);
        const VF wx0 = hn::Sub(one, tx), wy0 = hn::Sub(one, ty);
        const auto offset =
            hn::Add(hn::Mul(hn::ConvertTo(di, hn::Sub(fy, minY)), hn::Set(di, stride)),
                    hn::ShiftLeft<2>(hn::ConvertTo(di, hn::Sub(fx, minX))));
#if HWY_TARGET != HWY_SCALAR
        if (lanes >= 4) {
            BlendPixels(base, stride, offset, tx, wx0, ty, wy0, out, int(i), mask);
            continue;
        }
#endif
        const auto below = hn::Add(offset, hn::Set(di, stride));
        const auto four = hn::Set(di, 4);
        for (int c = 0; c < 4; ++c) {
            if (!(mask & (1 << c))) {
                hn::Store(zero, df, out[c] + i);
                continue;
            }
            const float* channel = base + c;
            const VF p00 = hn::GatherIndex(df, channel, offset);
            const VF p10 = hn::GatherIndex(df, channel, hn::Add(offset, four));
            const VF p01 = hn::GatherIndex(df, channel, below);
            const VF p11 = hn::GatherIndex(df, channel, hn::Add(below, four));
            const VF row0 = hn::IfThenElse(txZero, hn::Mul(p00, one),
                                           hn::Add(hn::Mul(p00, wx0), hn::Mul(p10, tx)));
            const VF row1 = hn::IfThenElse(txZero, hn::Mul(p01, one),
                                           hn::Add(hn::Mul(p01, wx0), hn::Mul(p11, tx)));
            hn::Store(hn::IfThenElse(tyZero, row0, hn::Add(hn::Mul(row0, wy0), hn::Mul(row1, ty))),
                      df, out[c] + i);
        }
    }
}

// Sample for a whole chunk. When the positions are consecutive pixel centres
// of one row (the common case: samplerCoord plus a whole-pixel offset under
// an identity transform), the result is a de-interleaved copy of a run of the
// buffer, which is exactly what sampleLane gives for each lane (a position on
// a pixel centre reads that pixel alone). Otherwise each lane is sampled on
// its own.
HWY_INLINE void SampleChunk(const engine::PixelBuffer* image, const float* xs, const float* ys,
                            float* d0, float* d1, float* d2, float* d3, [[maybe_unused]] int mask,
                            VF iota) {
    const DF df;
    const size_t lanes = hn::Lanes(df);
    const float x0 = xs[0], y0 = ys[0];
    bool run = image != nullptr;
    if (run) {
        // One mask over the whole chunk and a single test at the end: a
        // branch per vector costs more than the comparisons.
        const VF vx = hn::Set(df, x0), vy = hn::Set(df, y0);
        auto same = hn::Eq(hn::Load(df, ys), vy);
        for (size_t i = 0; i < size_t(kSpan); i += lanes) {
            const VF expected = hn::Add(vx, hn::Add(iota, hn::Set(df, float(i))));
            same = hn::And(same, hn::And(hn::Eq(hn::Load(df, xs + i), expected),
                                         hn::Eq(hn::Load(df, ys + i), vy)));
        }
        run = hn::AllTrue(df, same);
    }
    int ix = 0, iy = 0;
    if (run) {
        const float sx = x0 - 0.5f, sy = y0 - 0.5f;
        run = engine::floorToInt(double(sx), ix) && engine::floorToInt(double(sy), iy) &&
              float(ix) == sx && float(iy) == sy && ix <= engine::kPixelLimit &&
              ix >= -engine::kPixelLimit;
    }
    if (!run) {
        SampleBilinear(image, xs, ys, d0, d1, d2, d3, mask);
        return;
    }
    // Positions are no longer read from here on, so the destination may
    // overlap the position registers.
    const engine::IRect& r = image->rect();
    int lo = 0, hi = 0;
    if (iy >= r.y && iy < r.top()) {
        lo = std::clamp(r.x - ix, 0, kSpan);
        hi = std::clamp(r.right() - ix, lo, kSpan);
    }
    const VF zero = hn::Zero(df);
    for (size_t i = 0; i < size_t(kSpan); i += lanes)
        if (int(i) < lo || int(i + lanes) > hi) {
            hn::Store(zero, df, d0 + i);
            hn::Store(zero, df, d1 + i);
            hn::Store(zero, df, d2 + i);
            hn::Store(zero, df, d3 + i);
        }
    if (hi <= lo) return;
    const float* src = image->at(ix + lo, iy);
    int i = lo;
#if HWY_TARGET != HWY_SCALAR
    // One channel read: de-interleave just that one (two rounds of taking
    // even or odd lanes), which is a fraction of the work of all four.
    const int single = mask == 1 ? 0 : mask == 2 ? 1 : mask == 4 ? 2 : mask == 8 ? 3 : -1;
    if (single >= 0 && lanes >= 4) {
        float* d = single == 0 ? d0 : single == 1 ? d1 : single == 2 ? d2 : d3;
        switch (single) {
            case 0:
                ExtractChannel<0>(src, d, lo, hi);
                break;
            case 1:
                ExtractChannel<1>(src, d, lo, hi);
                break;
            case 2:
                ExtractChannel<2>(src, d, lo, hi);
                break;
            default:
                ExtractChannel<3>(src, d, lo, hi);
                break;
        }
        return;
    }
#endif
    for (; i + int(lanes) <= hi; i += int(lanes)) {
        VF cr, cg, cb, ca;
        hn::LoadInterleaved4(df, src + size_t(i - lo) * 4, cr, cg, cb, ca);
        hn::StoreU(cr, df, d0 + i);
        hn::StoreU(cg, df, d1 + i);
        hn::StoreU(cb, df, d2 + i);
        hn::StoreU(ca, df, d3 + i);
    }
    for (; i < hi; ++i) {
        const float* p = src + size_t(i - lo) * 4;
        d0[i] = p[0];
        d1[i] = p[1];
        d2[i] = p[2];
        d3[i] = p[3];
    }
}

// The channels a prepared Sample marks as read (see EvalContext); all four
// for anything that is not such a mark.
HWY_INLINE int ChannelMask(float imm) {
    int mask = 0;
    return engine::floorToInt(double(imm), mask) && mask >= 1 && mask <= 15 ? mask : 15;
}

// The C library functions, one lane at a time (the same calls the scalar
// evaluator makes).
#define CIF_KERNEL_LIBRARY_FUNCTION(name, expr)                         \
    HWY_INLINE float Library##name(float a, [[maybe_unused]] float b) { \
        return expr;                                                    \
    }
CIF_KERNEL_LIBRARY_OPS(CIF_KERNEL_LIBRARY_FUNCTION)
#undef CIF_KERNEL_LIBRARY_FUNCTION

void RunProgram(const Program& program, const EvalContext& context, float* regs, int x0, int y,
                int n, float* outRGBA, bool uniformsFilled) {
    const DF df;
    const VF zero = hn::Zero(df), one = hn::Set(df, 1.0f), minusOne = hn::Set(df, -1.0f);
    // Made once: Iota goes through memory on some targets.
    const VF iota = hn::Iota(df, 0.0f);
    auto reg = [regs](Reg r) { return regs + size_t(r) * size_t(kSpan); };
    const float py = float(y) + 0.5f;
    const bool fused = context.fusedProducts;
    auto fillUniforms = [&] {
        for (const Uniform& u : context.uniforms)
            std::fill_n(reg(u.reg), kSpan, u.value);
    };
    if (context.uniformsReadOnly && !uniformsFilled) fillUniforms();
    for (int start = 0; start < n; start += kSpan) {
        const int count = std::min(kSpan, n - start);
        if (!context.uniformsReadOnly) fillUniforms();
        for (const Instruction& in : program.code) {
            float* d = reg(in.dst);
            const float* a = reg(in.a);
            const float* b = reg(in.b);
            const float* c = reg(in.c);
            switch (in.op) {
                case Op::Const:
                    std::fill_n(d, kSpan, in.imm);
                    break;
                case Op::Move:
                    if (d != a) std::copy_n(a, kSpan, d);
                    break;
                case Op::Add:
                    if (fused && in.imm == kFusedProduct)
                        Ternary(d, a, b, c,
                                [](VF u, VF v, VF w) { return hn::Add(u, hn::Mul(v, w)); });
                    else
                        Binary(d, a, b, [](VF v, VF w) { return hn::Add(v, w); });
                    break;
                case Op::Sub:
                    if (fused && in.imm == kFusedProduct)
                        Ternary(d, a, b, c,
                                [](VF u, VF v, VF w) { return hn::Sub(u, hn::Mul(v, w)); });
                    else
                        Binary(d, a, b, [](VF v, VF w) { return hn::Sub(v, w); });
                    break;
                case Op::Mul:
                    Binary(d, a, b, [](VF v, VF w) { return hn::Mul(v, w); });
                    break;
                case Op::Div:
                    Binary(d, a, b, [](VF v, VF w) { return hn::Div(v, w); });
                    break;
                case Op::Neg:
                    Unary(d, a, [](VF v) { return hn::Neg(v); });
                    break;
                case Op::Min:
                    Binary(d, a, b, [](VF v, VF w) { return hn::IfThenElse(hn::Lt(w, v), w, v); });
                    break;
                case Op::Max:
                    Binary(d, a, b, [](VF v, VF w) { return hn::IfThenElse(hn::Lt(v, w), w, v); });
                    break;
                case Op::Abs:
                    Unary(d, a, [](VF v) { return hn::Abs(v); });
                    break;
                case Op::Sign:
                    Unary(d, a, [&](VF v) {
                        return hn::IfThenElse(hn::Gt(v, zero), one,
                                              hn::IfThenElse(hn::Lt(v, zero), minusOne, v));
                    });
                    break;
                case Op::Floor:
                    Unary(d, a, [](VF v) { return FloorExact(v); });
                    break;
                case Op::Ceil:
                    Unary(d, a, [](VF v) { return CeilExact(v); });
                    break;
                case Op::Trunc:
                    Unary(d, a, [](VF v) { return hn::CopySign(hn::Trunc(v), v); });
                    break;
                case Op::Fract:
                    Unary(d, a, [](VF v) { return hn::Sub(v, FloorExact(v)); });
                    break;
                case Op::Mod:
                    Binary(d, a, b, [](VF v, VF w) {
                        return hn::Sub(v, hn::Mul(w, FloorExact(hn::Div(v, w))));
                    });
                    break;
                case Op::Sqrt:
                    Unary(d, a, [](VF v) { return hn::Sqrt(v); });
                    break;
                case Op::InverseSqrt:
                    Unary(d, a, [&](VF v) { return hn::Div(one, hn::Sqrt(v)); });
                    break;
                case Op::Sin:
                    SinCosSpan<false>(a, d, size_t(kSpan));
                    break;
                case Op::Cos:
                    SinCosSpan<true>(a, d, size_t(kSpan));
                    break;
#define CIF_KERNEL_SIMD_LIBRARY(name, expr)        \
    case Op::name:                                 \
        for (size_t i = 0; i < size_t(kSpan); ++i) \
            d[i] = Library##name(a[i], b[i]);      \
        break;
                    CIF_KERNEL_LIBRARY_OPS(CIF_KERNEL_SIMD_LIBRARY)
#undef CIF_KERNEL_SIMD_LIBRARY
                case Op::Step:
                    Binary(d, a, b,
                           [&](VF v, VF w) { return hn::IfThenElse(hn::Lt(w, v), zero, one); });
                    break;
                case Op::Less:
                    Binary(d, a, b,
                           [&](VF v, VF w) { return hn::IfThenElseZero(hn::Lt(v, w), one); });
                    break;
                case Op::LessEqual:
                    Binary(d, a, b,
                           [&](VF v, VF w) { return hn::IfThenElseZero(hn::Le(v, w), one); });
                    break;
                case Op::Greater:
                    Binary(d, a, b,
                           [&](VF v, VF w) { return hn::IfThenElseZero(hn::Gt(v, w), one); });
                    break;
                case Op::GreaterEqual:
                    Binary(d, a, b,
                           [&](VF v, VF w) { return hn::IfThenElseZero(hn::Ge(v, w), one); });
                    break;
                case Op::Equal:
                    Binary(d, a, b,
                           [&](VF v, VF w) { return hn::IfThenElseZero(hn::Eq(v, w), one); });
                    break;
                case Op::NotEqual:
                    Binary(d, a, b,
                           [&](VF v, VF w) { return hn::IfThenElseZero(NotEqual(v, w), one); });
                    break;
                case Op::And:
                    Binary(d, a, b, [&](VF v, VF w) {
                        return hn::IfThenElseZero(hn::And(NotEqual(v, zero), NotEqual(w, zero)),
                                                  one);
                    });
                    break;
                case Op::Or:
                    Binary(d, a, b, [&](VF v, VF w) {
                        return hn::IfThenElseZero(hn::Or(NotEqual(v, zero), NotEqual(w, zero)),
                                                  one);
                    });
                    break;
                case Op::Not:
                    Unary(d, a, [&](VF v) { return hn::IfThenElseZero(hn::Eq(v, zero), one); });
                    break;
                case Op::Select: {
                    const size_t lanes = hn::Lanes(df);
                    for (size_t i = 0; i < size_t(kSpan); i += lanes)
                        hn::Store(hn::IfThenElse(NotEqual(hn::Load(df, a + i), zero),
                                                 hn::Load(df, b + i), hn::Load(df, c + i)),
                                  df, d + i);
                    break;
                }
                case Op::DestX:
                    for (int i = 0; i < kSpan; ++i)
                        d[i] = float(x0 + start + i) + 0.5f;
                    break;
                case Op::DestY:
                    std::fill_n(d, kSpan, py);
                    break;
                case Op::Sample:
                    SampleChunk(context.images[size_t(in.sampler)], a, b, d, d + kSpan,
                                d + 2 * kSpan, d + 3 * kSpan,
                                context.sampleChannelMasks ? ChannelMask(in.imm) : 15, iota);
                    break;
            }
        }
        const float* r0 = reg(program.result[0]);
        const float* r1 = reg(program.result[1]);
        const float* r2 = reg(program.result[2]);
        const float* r3 = reg(program.result[3]);
        float* out = outRGBA + size_t(start) * 4;
        const size_t lanes = hn::Lanes(df);
        int i = 0;
        for (; i + int(lanes) <= count; i += int(lanes))
            hn::StoreInterleaved4(hn::Load(df, r0 + i), hn::Load(df, r1 + i), hn::Load(df, r2 + i),
                                  hn::Load(df, r3 + i), df, out + size_t(i) * 4);
        for (; i < count; ++i) {
            out[size_t(i) * 4 + 0] = r0[i];
            out[size_t(i) * 4 + 1] = r1[i];
            out[size_t(i) * 4 + 2] = r2[i];
            out[size_t(i) * 4 + 3] = r3[i];
        }
    }
}

void SamplePoints(const engine::PixelBuffer* image, const float* xy, int n, float* outRGBA) {
    const DF df;
    const size_t lanes = hn::Lanes(df);
    const VF iota = hn::Iota(df, 0.0f);
    HWY_ALIGN float xs[kSpan], ys[kSpan], channels[4][kSpan];
    for (int start = 0; start < n; start += kSpan) {
        const int count = std::min(kSpan, n - start);
        const float* p = xy + size_t(start) * 4;
        for (int i = 0; i < count; ++i) {
            xs[i] = p[size_t(i) * 4];
            ys[i] = p[size_t(i) * 4 + 1];
        }
        // Whole vectors; lanes past the end repeat the last position: every
        // lane is sampled on its own, so they cannot change the others.
        const size_t used = (size_t(count) + lanes - 1) / lanes * lanes;
        std::fill(xs + count, xs + used, xs[count - 1]);
        std::fill(ys + count, ys + used, ys[count - 1]);
        if (used == size_t(kSpan))
            SampleChunk(image, xs, ys, channels[0], channels[1], channels[2], channels[3], 15,
                        iota);
        else
            SampleBilinear(image, xs, ys, channels[0], channels[1], channels[2], channels[3], 15,
                           used);
        float* out = outRGBA + size_t(start) * 4;
        int i = 0;
        for (; i + int(lanes) <= count; i += int(lanes))
            hn::StoreInterleaved4(hn::Load(df, channels[0] + i), hn::Load(df, channels[1] + i),
                                  hn::Load(df, channels[2] + i), hn::Load(df, channels[3] + i), df,
                                  out + size_t(i) * 4);
        for (; i < count; ++i)
            for (int c = 0; c < 4; ++c)
                out[size_t(i) * 4 + size_t(c)] = channels[c][i];
    }
}

}  // namespace cif::kernel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace cif::kernel {

HWY_EXPORT(RunProgram);
HWY_EXPORT(SamplePoints);

void samplePoints(const engine::PixelBuffer* image, const float* xy, int n, float* outRGBA) {
    if (n > 0) HWY_DYNAMIC_DISPATCH(SamplePoints)(image, xy, n, outRGBA);
}

void runProgram(const Program& program, const EvalContext& context, int x0, int y, int n,
                float* outRGBA) {
    assert(context.images.size() >= program.samplers.size());
    if (n <= 0) return;
    // The register file of this thread: registerCount x kSpan floats,
    // aligned for the widest vectors. It grows to the largest program seen
    // and is reused, so running a span allocates nothing after the first.
    struct RegisterFile {
        hwy::AlignedFreeUniquePtr<float[]> data;
        size_t capacity = 0;
        // The uniforms the registers hold since the last call, whose program
        // never writes its uniforms (empty otherwise). A call with the same
        // uniforms and such a program, typically the next row of a tile,
        // need not fill them again.
        std::vector<Uniform> filled;
    };
    thread_local RegisterFile file;
    const size_t need = size_t(program.registerCount) * size_t(kSpan);
    if (file.capacity < need) {
        file.data = hwy::AllocateAligned<float>(need);
        file.capacity = need;
        file.filled.clear();
    }
    bool filled = false;
    if (context.uniformsReadOnly && !context.uniforms.empty()) {
        filled = file.filled.size() == context.uniforms.size() &&
                 std::equal(file.filled.begin(), file.filled.end(), context.uniforms.begin(),
                            [](const Uniform& u, const Uniform& v) {
                                return u.reg == v.reg && std::bit_cast<uint32_t>(u.value) ==
                                                             std::bit_cast<uint32_t>(v.value);
                            });
        if (!filled) file.filled = context.uniforms;
    } else {
        file.filled.clear();
    }
    HWY_DYNAMIC_DISPATCH(RunProgram)
    (program, context, file.data.get(), x0, y, n, outRGBA, filled);
}

}  // namespace cif::kernel
#endif
