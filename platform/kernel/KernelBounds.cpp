#include "platform/kernel/KernelBounds.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace cif::kernel {

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

// The values a register can take. Anything beyond kLimit (or NaN) counts as
// unknown: float arithmetic there overflows or loses whole pixels.
struct Range {
    double lo = -kInf, hi = kInf;
};

constexpr double kLimit = 1e30;
constexpr Range kAll{};

bool known(const Range& r) {
    return r.lo >= -kLimit && r.hi <= kLimit && r.lo <= r.hi;
}

Range exactly(double v) {
    return {v, v};
}

// The smallest range holding every value, grown by a relative 2^-20 (eight
// float ulps) for the rounding of the float operation that made them.
Range rounded(std::initializer_list<double> values) {
    double lo = kInf, hi = -kInf;
    for (const double v : values) {
        if (std::isnan(v)) return kAll;
        lo = std::min(lo, v);
        hi = std::max(hi, v);
    }
    const double m = std::max(std::fabs(lo), std::fabs(hi)) * 0x1p-20;
    const Range r{lo - m, hi + m};
    return known(r) ? r : kAll;
}

Range add(const Range& a, const Range& b) {
    if (!known(a) || !known(b)) return kAll;
    return rounded({a.lo + b.lo, a.hi + b.hi});
}

Range sub(const Range& a, const Range& b) {
    if (!known(a) || !known(b)) return kAll;
    return rounded({a.lo - b.hi, a.hi - b.lo});
}

Range mul(const Range& a, const Range& b) {
    if (!known(a) || !known(b)) return kAll;
    return rounded({a.lo * b.lo, a.lo * b.hi, a.hi * b.lo, a.hi * b.hi});
}

Range div(const Range& a, const Range& b) {
    if (!known(a) || !known(b) || (b.lo <= 0 && b.hi >= 0)) return kAll;
    return rounded({a.lo / b.lo, a.lo / b.hi, a.hi / b.lo, a.hi / b.hi});
}

// f non-decreasing over the range's domain.
template <class F>
Range increasing(const Range& a, F f) {
    if (!known(a)) return kAll;
    return rounded({f(a.lo), f(a.hi)});
}

Range hull(const Range& a, const Range& b) {
    if (!known(a) || !known(b)) return kAll;
    return {std::min(a.lo, b.lo), std::max(a.hi, b.hi)};
}

Range between(double lo, double hi) {
    return {lo, hi};
}

}  // namespace

std::vector<engine::Rect> sampleBounds(const Program& program, bool fusedProducts,
                                       const std::vector<Uniform>& uniforms,
                                       const std::vector<Reg>& unboundedRegisters,
                                       const engine::Rect& output) {
    std::vector<Range> reg(size_t(std::max(program.registerCount, 0)), kAll);
    for (const Uniform& u : uniforms)
        if (u.reg < reg.size()) reg[u.reg] = exactly(double(u.value));
    for (const Reg r : unboundedRegisters)
        if (r < reg.size()) reg[r] = kAll;

    // Per sampler slot: the hull of the sample positions so far.
    struct Hull {
        bool any = false, unbounded = false;
        Range x{kInf, -kInf}, y{kInf, -kInf};
    };
    std::vector<Hull> hulls(program.samplers.size());

    const Range destX = between(output.x, output.right());
    const Range destY = between(output.y, output.top());
    constexpr double pi = std::numbers::pi;
    for (const Instruction& in : program.code) {
        auto src = [&](Reg r) -> const Range& { return r < reg.size() ? reg[r] : kAll; };
        const Range& a = src(in.a);
        const Range& b = src(in.b);
        const Range& c = src(in.c);
        const bool fused = fusedProducts && in.imm == kFusedProduct;
        Range r = kAll;
        switch (in.op) {
            case Op::Const:
                r = exactly(double(in.imm));
                break;
            case Op::Move:
                r = a;
                break;
            case Op::Add:
                r = add(a, fused ? mul(b, c) : b);
                break;
            case Op::Sub:
                r = sub(a, fused ? mul(b, c) : b);
                break;
            case Op::Mul:
                r = mul(a, b);
                break;
            case Op::Div:
                r = div(a, b);
                break;
            case Op::Neg:
                if (known(a)) r = {-a.hi, -a.lo};
                break;
            case Op::Min:
                if (known(a) && known(b)) r = {std::min(a.lo, b.lo), std::min(a.hi, b.hi)};
                break;
            case Op::Max:
                if (known(a) && known(b)) r = {std::max(a.lo, b.lo), std::max(a.hi, b.hi)};
                break;
            case Op::Abs:
                if (known(a))
                    r = a.lo >= 0   ? a
                        : a.hi <= 0 ? Range{-a.hi, -a.lo}
                                    : Range{0, std::max(-a.lo, a.hi)};
                break;
            case Op::Sign:
                r = between(-1, 1);
                break;
            case Op::Floor:
                r = increasing(a, [](double v) { return std::floor(v); });
                break;
            case Op::Ceil:
                r = increasing(a, [](double v) { return std::ceil(v); });
                break;
            case Op::Trunc:
                r = increasing(a, [](double v) { return std::trunc(v); });
                break;
            case Op::Fract:
                r = between(0, 1);
                break;
            case Op::Mod:
                if (known(b) && b.lo > 0) r = between(0, b.hi);
                if (known(b) && b.hi < 0) r = between(b.lo, 0);
                break;
            case Op::Sqrt:
                r = increasing(a, [](double v) { return std::sqrt(std::max(v, 0.0)); });
                break;
            case Op::Exp:
                r = increasing(a, [](double v) { return std::exp(std::min(v, 100.0)); });
                break;
            case Op::Exp2:
                r = increasing(a, [](double v) { return std::exp2(std::min(v, 100.0)); });
                break;
            case Op::Log:
                if (known(a) && a.lo > 0) r = increasing(a, [](double v) { return std::log(v); });
                break;
            case Op::Log2:
                if (known(a) && a.lo > 0) r = increasing(a, [](double v) { return std::log2(v); });
                break;
            case Op::Sin:
            case Op::Cos:
            case Op::Step:
                r = in.op == Op::Step ? between(0, 1) : between(-1, 1);
                break;
            case Op::Asin:
            case Op::Atan:
                r = between(-pi / 2 - 1e-6, pi / 2 + 1e-6);
                break;
            case Op::Acos:
                r = between(0, pi + 1e-6);
                break;
            case Op::Atan2:
                r = between(-pi - 1e-6, pi + 1e-6);
                break;
            case Op::Less:
            case Op::LessEqual:
            case Op::Greater:
            case Op::GreaterEqual:
            case Op::Equal:
            case Op::NotEqual:
            case Op::And:
            case Op::Or:
            case Op::Not:
                r = between(0, 1);
                break;
            case Op::Select:
                r = hull(b, c);
                break;
            case Op::DestX:
                r = destX;
                break;
            case Op::DestY:
                r = destY;
                break;
            case Op::Sample: {
                if (in.sampler >= 0 && size_t(in.sampler) < hulls.size()) {
                    Hull& h = hulls[size_t(in.sampler)];
                    h.any = true;
                    if (!known(a) || !known(b)) {
                        h.unbounded = true;
                    } else {
                        h.x = {std::min(h.x.lo, a.lo), std::max(h.x.hi, a.hi)};
                        h.y = {std::min(h.y.lo, b.lo), std::max(h.y.hi, b.hi)};
                    }
                }
                // Pixel values: anything.
                for (int k = 0; k < 4; ++k)
                    if (size_t(in.dst) + size_t(k) < reg.size()) reg[in.dst + size_t(k)] = kAll;
                continue;
            }
            default:  // Pow, InverseSqrt, Tan: not tracked
                break;
        }
        if (in.dst < reg.size()) reg[in.dst] = r;
    }

    std::vector<engine::Rect> out;
    out.reserve(hulls.size());
    for (const Hull& h : hulls) {
        if (!h.any)
            out.push_back(engine::Rect::empty());
        else if (h.unbounded)
            out.push_back(engine::Rect::infinite());
        else  // grown by the bilinear neighbour, so a fixed row or column stays a region
            out.push_back(
                {h.x.lo - 1.0, h.y.lo - 1.0, h.x.hi - h.x.lo + 2.0, h.y.hi - h.y.lo + 2.0});
    }
    return out;
}

}  // namespace cif::kernel
