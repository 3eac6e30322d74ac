// Highway implementations of the lane-uniform compositing operators in
// CompositeSpans.h, with their scalar twins.

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/builtins/composite/CompositeSpansSimd.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <algorithm>
#include <cstring>

#include "platform/builtins/composite/CompositeSpans.h"

// The scalar operators, compiled once: the reference, and the path of
// targets whose vectors are narrower than a pixel.
#ifndef CIF_COMPOSITE_SPANS_SCALAR
#define CIF_COMPOSITE_SPANS_SCALAR
namespace cif::builtins {
namespace {
void laneOpScalar(LaneOp op, const float* fg, float* bg, int n) {
    for (int i = 0; i < n; ++i, fg += 4, bg += 4) {
        const float sa = fg[3], ba = bg[3];
        for (int c = 0; c < 4; ++c) {
            const float s = fg[c], b = bg[c];
            float o = b;
            switch (op) {
                case LaneOp::Multiply:
                    o = (s * (1.0f - ba) + b * (1.0f - sa)) + s * b;
                    break;
                case LaneOp::Screen:
                    o = (s + b) - s * b;
                    break;
                case LaneOp::SourceIn:
                    o = s * ba;
                    break;
                case LaneOp::SourceOut:
                    o = s * (1.0f - ba);
                    break;
                case LaneOp::SourceAtop:
                    o = s * ba + b * (1.0f - sa);
                    break;
                case LaneOp::Maximum:
                    o = std::max(s, b);
                    break;
                case LaneOp::Minimum:
                    o = std::min(s, b);
                    break;
                case LaneOp::Product:
                    o = s * b;
                    break;
            }
            bg[c] = o;
        }
    }
}

}  // namespace
}  // namespace cif::builtins
#endif

HWY_BEFORE_NAMESPACE();
namespace cif::builtins::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// One operator on vectors holding whole pixels; sa and ba hold each pixel's
// alpha on all four of its lanes. Multiplies and adds stay separate and in
// the scalar twin's order, so both give the same bits.
template <LaneOp Op, class V>
HWY_INLINE V Combine(V s, V b, V sa, V ba, V one) {
    switch (Op) {
        case LaneOp::Multiply:
            return hn::Add(hn::Add(hn::Mul(s, hn::Sub(one, ba)), hn::Mul(b, hn::Sub(one, sa))),
                           hn::Mul(s, b));
        case LaneOp::Screen:
            return hn::Sub(hn::Add(s, b), hn::Mul(s, b));
        case LaneOp::SourceIn:
            return hn::Mul(s, ba);
        case LaneOp::SourceOut:
            return hn::Mul(s, hn::Sub(one, ba));
        case LaneOp::SourceAtop:
            return hn::Add(hn::Mul(s, ba), hn::Mul(b, hn::Sub(one, sa)));
        case LaneOp::Maximum:
            return hn::Max(s, b);
        case LaneOp::Minimum:
            return hn::Min(s, b);
        case LaneOp::Product:
            return hn::Mul(s, b);
    }
    return b;
}

template <LaneOp Op>
void Run(const float* fg, float* bg, int n) {
#if HWY_TARGET == HWY_SCALAR
    laneOpScalar(Op, fg, bg, n);  // one lane cannot hold a pixel
#else
    const hn::ScalableTag<float> d;
    const auto one = hn::Set(d, 1.0f);
    auto body = [&](const float* f, float* b) {
        const auto s = hn::LoadU(d, f), bv = hn::LoadU(d, b);
        hn::StoreU(Combine<Op>(s, bv, hn::Broadcast<3>(s), hn::Broadcast<3>(bv), one), d, b);
    };
    const int floats = 4 * n, lanes = int(hn::Lanes(d));
    int i = 0;
    for (; i + lanes <= floats; i += lanes)
        body(fg + i, bg + i);
    if (i < floats) {
        HWY_ALIGN float tf[HWY_MAX_BYTES / sizeof(float)] = {};
        HWY_ALIGN float tb[HWY_MAX_BYTES / sizeof(float)] = {};
        const size_t bytes = size_t(floats - i) * sizeof(float);
        std::memcpy(tf, fg + i, bytes);
        std::memcpy(tb, bg + i, bytes);
        body(tf, tb);
        std::memcpy(bg + i, tb, bytes);
    }
#endif
}

void LaneOpSpan(LaneOp op, const float* fg, float* bg, int n) {
    switch (op) {
        case LaneOp::Multiply:
            return Run<LaneOp::Multiply>(fg, bg, n);
        case LaneOp::Screen:
            return Run<LaneOp::Screen>(fg, bg, n);
        case LaneOp::SourceIn:
            return Run<LaneOp::SourceIn>(fg, bg, n);
        case LaneOp::SourceOut:
            return Run<LaneOp::SourceOut>(fg, bg, n);
        case LaneOp::SourceAtop:
            return Run<LaneOp::SourceAtop>(fg, bg, n);
        case LaneOp::Maximum:
            return Run<LaneOp::Maximum>(fg, bg, n);
        case LaneOp::Minimum:
            return Run<LaneOp::Minimum>(fg, bg, n);
        case LaneOp::Product:
            return Run<LaneOp::Product>(fg, bg, n);
    }
}

}  // namespace cif::builtins::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace cif::builtins {

HWY_EXPORT(LaneOpSpan);

void laneOpSpan(LaneOp op, const float* fg, float* bg, int n) {
    HWY_DYNAMIC_DISPATCH(LaneOpSpan)(op, fg, bg, n);
}

void laneOpSpanScalar(LaneOp op, const float* fg, float* bg, int n) {
    laneOpScalar(op, fg, bg, n);
}

}  // namespace cif::builtins
#endif
