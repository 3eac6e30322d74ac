// The scalar reference evaluator, program validation and dead-code removal.
// The vectorised evaluator is in KernelEvaluatorSimd.cpp; every operation
// here is written the way the vector code computes it (the same IEEE
// operations in the same order, comparisons chosen so NaN lands the same
// way), which is what makes the two agree bit for bit.

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <map>
#include <set>
#include <tuple>
#include <vector>

#include "platform/kernel/KernelEvaluator.h"
#include "platform/kernel/KernelMath.h"

namespace cif::kernel {

namespace {

float truth(bool v) {
    return v ? 1.0f : 0.0f;
}

// The registers an instruction reads: its arity, plus the product's second
// factor of a fused Add or Sub.
int sourceCount(const Instruction& in, bool fused) {
    if (fused && (in.op == Op::Add || in.op == Op::Sub) && in.imm == kFusedProduct) return 3;
    return opArity(in.op);
}

// The registers an instruction writes: four for Sample, one otherwise.
int writtenCount(Op op) {
    return op == Op::Sample ? 4 : 1;
}

}  // namespace

void samplePointsScalar(const engine::PixelBuffer* image, const float* xy, int n, float* outRGBA) {
    for (int i = 0; i < n; ++i) {
        float px[4];
        detail::sampleLane(image, xy[size_t(i) * 4], xy[size_t(i) * 4 + 1], px);
        std::copy_n(px, 4, outRGBA + size_t(i) * 4);
    }
}

void runProgramScalar(const Program& program, const EvalContext& context, int x0, int y, int n,
                      float* outRGBA) {
    assert(context.images.size() >= program.samplers.size());
    thread_local std::vector<float> regs;
    if (regs.size() < size_t(program.registerCount)) regs.resize(size_t(program.registerCount));
    float* r = regs.data();
    const float py = float(y) + 0.5f;
    const bool fused = context.fusedProducts;
    for (int i = 0; i < n; ++i) {
        for (const Uniform& u : context.uniforms)
            r[u.reg] = u.value;
        for (const Instruction& in : program.code) {
            const float a = r[in.a], b = r[in.b], c = r[in.c];
            float& d = r[in.dst];
            switch (in.op) {
                case Op::Const:
                    d = in.imm;
                    break;
                case Op::Move:
                    d = a;
                    break;
                case Op::Add:
                    d = fused && in.imm == kFusedProduct ? a + b * c : a + b;
                    break;
                case Op::Sub:
                    d = fused && in.imm == kFusedProduct ? a - b * c : a - b;
                    break;
                case Op::Mul:
                    d = a * b;
                    break;
                case Op::Div:
                    d = a / b;
                    break;
                case Op::Neg:
                    d = -a;
                    break;
                case Op::Min:
                    d = b < a ? b : a;
                    break;
                case Op::Max:
                    d = a < b ? b : a;
                    break;
                case Op::Abs:
                    d = std::fabs(a);
                    break;
                case Op::Sign:
                    d = a > 0.0f ? 1.0f : (a < 0.0f ? -1.0f : a);
                    break;
                case Op::Floor:
                    d = std::floor(a);
                    break;
                case Op::Ceil:
                    d = std::ceil(a);
                    break;
                case Op::Trunc:
                    d = std::trunc(a);
                    break;
                case Op::Fract:
                    d = a - std::floor(a);
                    break;
                case Op::Mod:
                    d = a - b * std::floor(a / b);
                    break;
                case Op::Sqrt:
                    d = std::sqrt(a);
                    break;
                case Op::InverseSqrt:
                    d = 1.0f / std::sqrt(a);
                    break;
                case Op::Sin:
                    d = kernelSin(a);
                    break;
                case Op::Cos:
                    d = kernelCos(a);
                    break;
#define CIF_KERNEL_SCALAR_LIBRARY(name, expr) \
    case Op::name:                            \
        d = expr;                             \
        break;
                    CIF_KERNEL_LIBRARY_OPS(CIF_KERNEL_SCALAR_LIBRARY)
#undef CIF_KERNEL_SCALAR_LIBRARY
                case Op::Step:
                    d = b < a ? 0.0f : 1.0f;
                    break;
                case Op::Less:
                    d = truth(a < b);
                    break;
                case Op::LessEqual:
                    d = truth(a <= b);
                    break;
                case Op::Greater:
                    d = truth(a > b);
                    break;
                case Op::GreaterEqual:
                    d = truth(a >= b);
                    break;
                case Op::Equal:
                    d = truth(a == b);
                    break;
                case Op::NotEqual:
                    d = truth(a != b);
                    break;
                case Op::And:
                    d = truth(a != 0.0f && b != 0.0f);
                    break;
                case Op::Or:
                    d = truth(a != 0.0f || b != 0.0f);
                    break;
                case Op::Not:
                    d = truth(a == 0.0f);
                    break;
                case Op::Select:
                    d = a != 0.0f ? b : c;
                    break;
                case Op::DestX:
                    d = float(x0 + i) + 0.5f;
                    break;
                case Op::DestY:
                    d = py;
                    break;
                case Op::Sample: {
                    float px[4];
                    detail::sampleLane(context.images[size_t(in.sampler)], a, b, px);
                    for (int k = 0; k < 4; ++k)
                        r[in.dst + k] = px[k];
                    break;
                }
            }
        }
        for (int k = 0; k < 4; ++k)
            outRGBA[size_t(i) * 4 + size_t(k)] = r[program.result[k]];
    }
}

bool validateProgram(const Program& program, std::string* error) {
    auto fail = [&](const std::string& why) {
        if (error) *error = why;
        return false;
    };
    const int count = program.registerCount;
    if (count <= 0 || count > kMaxRegisters) return fail("register count out of range");
    if (program.code.size() > kMaxInstructions) return fail("too many instructions");
    auto inRange = [&](int reg, int width) { return reg >= 0 && reg + width <= count; };
    for (size_t i = 0; i < program.code.size(); ++i) {
        const Instruction& in = program.code[i];
        const int arity = opArity(in.op);
        if (arity < 0 || int(in.op) > int(Op::Sample))
            return fail("unknown operation at " + std::to_string(i));
        if (!inRange(in.dst, writtenCount(in.op)))
            return fail("destination out of range at " + std::to_string(i));
        const Reg sources[3] = {in.a, in.b, in.c};
        for (int s = 0; s < 3; ++s)
            if (!inRange(sources[s], 1)) return fail("source out of range at " + std::to_string(i));
        if (in.op == Op::Sample &&
            (in.sampler < 0 || size_t(in.sampler) >= program.samplers.size()))
            return fail("sampler out of range at " + std::to_string(i));
    }
    for (const Reg r : program.result)
        if (!inRange(r, 1)) return fail("result register out of range");
    for (const Parameter& p : program.parameters) {
        for (const Reg r : p.registers)
            if (!inRange(r, 1)) return fail("parameter register out of range: " + p.name);
        if (isImageParam(p.type) && (p.sampler < 0 || size_t(p.sampler) >= program.samplers.size()))
            return fail("sampler parameter without a sampler slot: " + p.name);
    }
    for (const SamplerSlot& s : program.samplers) {
        for (const Reg r : s.extent)
            if (!inRange(r, 1)) return fail("sampler extent register out of range");
        for (const Reg r : s.transform)
            if (!inRange(r, 1)) return fail("sampler transform register out of range");
    }
    return true;
}

Program withoutDeadCode(const Program& program) {
    // Backwards liveness: an instruction is kept when a register it writes
    // is read later (or is part of the result) before being overwritten.
    std::vector<char> live(size_t(program.registerCount), 0);
    for (const Reg r : program.result)
        live[r] = 1;
    std::vector<char> keep(program.code.size(), 0);
    for (size_t i = program.code.size(); i-- > 0;) {
        const Instruction& in = program.code[i];
        const int written = writtenCount(in.op);
        bool needed = false;
        for (int k = 0; k < written; ++k)
            needed = needed || live[size_t(in.dst) + size_t(k)];
        if (!needed) continue;
        keep[i] = 1;
        for (int k = 0; k < written; ++k)
            live[size_t(in.dst) + size_t(k)] = 0;
        const int arity = opArity(in.op);
        const Reg sources[3] = {in.a, in.b, in.c};
        for (int s = 0; s < arity; ++s)
            live[sources[s]] = 1;
    }
    Program out = program;
    out.code.clear();
    for (size_t i = 0; i < program.code.size(); ++i)
        if (keep[i]) out.code.push_back(program.code[i]);
    return out;
}

namespace {

// Renames registers so that a register is reused once its value is dead:
// the register file shrinks to the values live at the same time, which keeps
// it in the first-level cache. Every value read before it is written
// (uniforms, constants, anything the program reads uninitialised) keeps a
// register of its own for the whole program; every write gets a fresh
// register, so after renaming no instruction overwrites one of those.
bool compactRegisters(PreparedProgram& prepared) {
    Program& p = prepared.program;
    const size_t count = size_t(p.registerCount);
    constexpr int kForever = std::numeric_limits<int>::max();
    // Value numbering: value ids per register write, entry values first.
    std::vector<int> current(count, -1);  // register -> value id holding it now
    std::vector<int> lastUse;             // value id -> last instruction reading it
    std::vector<int> entryReg;            // value id -> original register, entry values only
    std::vector<int> entryOf(count, -1);  // register -> its entry value id
    auto entryValue = [&](Reg r) {
        if (current[r] < 0) {
            current[r] = int(lastUse.size());
            entryOf[r] = current[r];
            lastUse.push_back(-1);
            entryReg.push_back(r);
        }
        return current[r];
    };
    // Uniform and constant registers are entry values even when unread.
    for (const Uniform& c : prepared.constants)
        entryValue(c.reg);
    for (const Parameter& q : p.parameters)
        for (const Reg r : q.registers)
            entryValue(r);
    for (const SamplerSlot& s : p.samplers) {
        for (const Reg r : s.extent)
            entryValue(r);
        for (const Reg r : s.transform)
            entryValue(r);
    }
    struct Uses {
        int src[3];
        int dst;  // first value written (Sample: four consecutive ids)
    };
    std::vector<Uses> uses(p.code.size());
    for (size_t i = 0; i < p.code.size(); ++i) {
        const Instruction& in = p.code[i];
        const Reg sources[3] = {in.a, in.b, in.c};
        for (int s = 0; s < 3; ++s) {
            uses[i].src[s] = -1;
            if (s >= sourceCount(in, prepared.fusedProducts)) continue;
            const int v = entryValue(sources[s]);
            lastUse[size_t(v)] = int(i);
            uses[i].src[s] = v;
        }
        uses[i].dst = int(lastUse.size());
        for (int k = 0; k < writtenCount(in.op); ++k) {
            current[size_t(in.dst) + size_t(k)] = int(lastUse.size());
            lastUse.push_back(-1);
            entryReg.push_back(-1);
        }
    }
    int resultValue[4];
    for (int k = 0; k < 4; ++k) {
        const int v = entryValue(p.result[k]);
        lastUse[size_t(v)] = kForever;
        resultValue[k] = v;
    }
    // Entry values take the first registers, in order of appearance.
    std::vector<int> physical(lastUse.size(), -1);
    int next = 0;
    for (size_t v = 0; v < lastUse.size(); ++v)
        if (entryReg[v] >= 0) physical[v] = next++;
    for (size_t v = 0; v < lastUse.size(); ++v)
        if (entryReg[v] >= 0) lastUse[v] = kForever;
    // Free registers below the top of the file, lowest first. Runs of four
    // (Sample) are looked for among the first few free registers only, so
    // preparing a huge program stays fast; otherwise the file grows.
    std::set<int> free;
    int top = next;
    auto allocate = [&](int width) {
        if (width == 1 && !free.empty()) {
            const int r = *free.begin();
            free.erase(free.begin());
            return r;
        }
        constexpr int kRunSearch = 64;
        int searched = 0;
        for (auto it = free.begin(); it != free.end() && searched < kRunSearch; ++it, ++searched) {
            bool run = true;
            for (int k = 1; k < width && run; ++k)
                run = free.count(*it + k) > 0 || *it + k >= top;
            if (!run) continue;
            const int r = *it;
            for (int k = 0; k < width; ++k)
                free.erase(r + k);
            top = std::max(top, r + width);
            return r;
        }
        const int r = top;
        top += width;
        return r;
    };
    auto release = [&](int r) { free.insert(r); };
    for (size_t i = 0; i < p.code.size(); ++i) {
        Instruction& in = p.code[i];
        // Sources dying here free their registers before the destination is
        // chosen: every operation reads a lane before writing it, so the
        // destination may reuse a source's register.
        for (int s = 0; s < 3; ++s) {
            const int v = uses[i].src[s];
            if (v >= 0 && lastUse[size_t(v)] == int(i)) release(physical[size_t(v)]);
        }
        const int width = writtenCount(in.op);
        const int first = allocate(width);
        for (int k = 0; k < width; ++k)
            physical[size_t(uses[i].dst + k)] = first + k;
        const int mapped[3] = {uses[i].src[0] >= 0 ? physical[size_t(uses[i].src[0])] : 0,
                               uses[i].src[1] >= 0 ? physical[size_t(uses[i].src[1])] : 0,
                               uses[i].src[2] >= 0 ? physical[size_t(uses[i].src[2])] : 0};
        in.a = Reg(mapped[0]);
        in.b = Reg(mapped[1]);
        in.c = Reg(mapped[2]);
        in.dst = Reg(first);
        // Values never read are dead at once.
        int live = 0;
        for (int k = 0; k < width; ++k) {
            if (lastUse[size_t(uses[i].dst + k)] < 0)
                release(first + k);
            else
                live |= 1 << k;
        }
        if (in.op == Op::Sample) in.imm = float(live);
    }
    auto entryPhysical = [&](Reg r) { return Reg(physical[size_t(entryOf[r])]); };
    for (Uniform& c : prepared.constants)
        c.reg = entryPhysical(c.reg);
    for (Parameter& q : p.parameters)
        for (Reg& r : q.registers)
            r = entryPhysical(r);
    for (SamplerSlot& s : p.samplers) {
        for (Reg& r : s.extent)
            r = entryPhysical(r);
        for (Reg& r : s.transform)
            r = entryPhysical(r);
    }
    for (int k = 0; k < 4; ++k)
        p.result[k] = Reg(physical[size_t(resultValue[k])]);
    if (top > kMaxRegisters) return false;
    p.registerCount = std::max(1, top);
    return true;
}

}  // namespace

namespace {

uint32_t floatBits(float v) {
    uint32_t bits = 0;
    std::memcpy(&bits, &v, sizeof bits);
    return bits;
}

// Rewrites the program into single assignment (every write goes to a fresh
// register numbered after the original ones, which keep the values they
// hold on entry) and simplifies it on the way, with rewrites that give the
// same bits for every input:
//   Move x          -> x itself
//   x * 1, 1 * x    -> x
//   x * -1          -> -x
//   x + (-y)        -> x - y          (IEEE defines x - y as x + (-y))
//   x + -0, x - +0  -> x
//   an instruction equal to an earlier one (same operation, operand values,
//   constant and sampler) -> the earlier result.
// Programs too large to renumber within the register index range are left
// as they are.
bool simplify(Program& p) {
    const size_t count = size_t(p.registerCount);
    size_t written = 0;
    for (const Instruction& in : p.code)
        written += size_t(writtenCount(in.op));
    if (count + written > size_t(std::numeric_limits<Reg>::max())) return false;

    std::vector<int> current(count);  // original register -> value holding it now
    for (size_t r = 0; r < count; ++r)
        current[r] = int(r);
    const size_t total = count + written;
    std::vector<char> isConst(total, 0);
    std::vector<float> constant(total, 0.0f);
    std::vector<int> negated(total, -1);  // value = -negated[value]
    std::map<std::tuple<int, int, int, int, uint32_t, int>, int> seen;
    int next = int(count);
    std::vector<Instruction> out;
    out.reserve(p.code.size());
    auto constantIs = [&](int v, float c) {
        return isConst[size_t(v)] && floatBits(constant[size_t(v)]) == floatBits(c);
    };
    for (const Instruction& original : p.code) {
        Instruction in = original;
        const int arity = opArity(in.op);
        int src[3] = {-1, -1, -1};
        const Reg regs[3] = {in.a, in.b, in.c};
        for (int s = 0; s < arity; ++s)
            src[s] = current[regs[s]];
        const int width = writtenCount(in.op);
        int alias = -1;  // an existing value this instruction computes
        switch (in.op) {
            case Op::Move:
                alias = src[0];
                break;
            case Op::Mul:
                if (constantIs(src[1], 1.0f))
                    alias = src[0];
                else if (constantIs(src[0], 1.0f))
                    alias = src[1];
                else if (constantIs(src[1], -1.0f))
                    in.op = Op::Neg;
                break;
            case Op::Add:
                if (constantIs(src[1], -0.0f)) {
                    alias = src[0];
                } else if (constantIs(src[0], -0.0f)) {
                    alias = src[1];
                } else if (negated[size_t(src[1])] >= 0) {
                    in.op = Op::Sub;
                    src[1] = negated[size_t(src[1])];
                } else if (negated[size_t(src[0])] >= 0) {
                    in.op = Op::Sub;
                    const int x = negated[size_t(src[0])];
                    src[0] = src[1];
                    src[1] = x;
                }
                break;
            case Op::Sub:
                if (constantIs(src[1], 0.0f)) alias = src[0];
                break;
            default:
                break;
        }
        if (alias >= 0) {
            current[in.dst] = alias;
            continue;
        }
        const std::tuple<int, int, int, int, uint32_t, int> key{
            int(in.op),
            src[0],
            src[1],
            src[2],
            in.op == Op::Const ? floatBits(in.imm) : 0u,
            in.op == Op::Sample ? int(in.sampler) : 0};
        const auto found = seen.find(key);
        if (found != seen.end()) {
            for (int k = 0; k < width; ++k)
                current[size_t(original.dst) + size_t(k)] = found->second + k;
            continue;
        }
        const int value = next;
        next += width;
        seen.emplace(key, value);
        if (in.op == Op::Const) {
            isConst[size_t(value)] = 1;
            constant[size_t(value)] = in.imm;
        }
        if (in.op == Op::Neg) negated[size_t(value)] = src[0];
        in.a = Reg(std::max(src[0], 0));
        in.b = Reg(std::max(src[1], 0));
        in.c = Reg(std::max(src[2], 0));
        in.dst = Reg(value);
        out.push_back(in);
        for (int k = 0; k < width; ++k)
            current[size_t(original.dst) + size_t(k)] = value + k;
    }
    for (Reg& r : p.result)
        r = Reg(current[r]);
    p.code = std::move(out);
    p.registerCount = std::max(next, 1);
    return true;
}

// Folds a product read once, as the second operand of an Add or Sub, into
// that instruction: a + (x * y) then runs as one instruction with the
// product in c (see EvalContext::fusedProducts), saving a pass over the
// chunk. The product is still rounded before the addition, so the result
// has the same bits. Needs single assignment (x and y cannot change between
// the multiply and the addition).
void fuseProducts(Program& p) {
    std::vector<int> reads(size_t(p.registerCount), 0);
    std::vector<int> definedAt(size_t(p.registerCount), -1);
    for (size_t i = 0; i < p.code.size(); ++i) {
        const Instruction& in = p.code[i];
        const Reg sources[3] = {in.a, in.b, in.c};
        for (int s = 0; s < opArity(in.op); ++s)
            ++reads[sources[s]];
        if (in.op == Op::Mul) definedAt[in.dst] = int(i);
    }
    for (const Reg r : p.result)
        ++reads[r];
    std::vector<char> removed(p.code.size(), 0);
    for (Instruction& in : p.code) {
        if ((in.op != Op::Add && in.op != Op::Sub) || reads[in.b] != 1) continue;
        const int at = definedAt[in.b];
        if (at < 0) continue;
        const Instruction& product = p.code[size_t(at)];
        removed[size_t(at)] = 1;
        in.b = product.a;
        in.c = product.b;
        in.imm = kFusedProduct;
    }
    std::vector<Instruction> kept;
    kept.reserve(p.code.size());
    for (size_t i = 0; i < p.code.size(); ++i)
        if (!removed[i]) kept.push_back(p.code[i]);
    p.code = std::move(kept);
}

}  // namespace

PreparedProgram prepareProgram(const Program& program) {
    PreparedProgram out;
    out.program = withoutDeadCode(program);
    const bool singleAssignment = simplify(out.program);
    out.program = withoutDeadCode(out.program);
    if (singleAssignment) {
        fuseProducts(out.program);
        out.fusedProducts = true;
    }
    std::vector<Instruction>& code = out.program.code;
    // How often each register is written, and whether it is read before
    // its first write (then its earlier value matters and it stays in code).
    const size_t count = size_t(out.program.registerCount);
    std::vector<int> writes(count, 0);
    std::vector<char> readBeforeWrite(count, 0);
    for (const Instruction& in : code) {
        const Reg sources[3] = {in.a, in.b, in.c};
        for (int s = 0; s < sourceCount(in, out.fusedProducts); ++s)
            if (writes[sources[s]] == 0) readBeforeWrite[sources[s]] = 1;
        for (int k = 0; k < writtenCount(in.op); ++k)
            ++writes[size_t(in.dst) + size_t(k)];
    }
    // Uniform registers are filled by the runtime, never by a constant.
    std::vector<char> uniform(count, 0);
    for (const Parameter& p : out.program.parameters)
        for (const Reg r : p.registers)
            uniform[r] = 1;
    for (const SamplerSlot& slot : out.program.samplers) {
        for (const Reg r : slot.extent)
            uniform[r] = 1;
        for (const Reg r : slot.transform)
            uniform[r] = 1;
    }
    std::vector<Instruction> kept;
    kept.reserve(code.size());
    for (const Instruction& in : code) {
        if (in.op == Op::Const && writes[in.dst] == 1 && !readBeforeWrite[in.dst] &&
            !uniform[in.dst]) {
            out.constants.push_back({in.dst, in.imm});
            continue;
        }
        kept.push_back(in);
    }
    code = std::move(kept);
    // Renaming fails only on pathological programs (more registers than the
    // limit); those run as compiled, without dead code.
    PreparedProgram compacted = out;
    if (compactRegisters(compacted)) {
        out = std::move(compacted);
        out.sampleChannelMasks = true;
    } else {
        out = PreparedProgram{};
        out.program = withoutDeadCode(program);
    }
    // After renaming every write goes to a fresh register; otherwise check
    // that no instruction writes a uniform or constant.
    std::vector<char> fixed(size_t(out.program.registerCount), 0);
    for (const Uniform& c : out.constants)
        fixed[c.reg] = 1;
    for (const Parameter& q : out.program.parameters)
        for (const Reg r : q.registers)
            fixed[r] = 1;
    for (const SamplerSlot& slot : out.program.samplers) {
        for (const Reg r : slot.extent)
            fixed[r] = 1;
        for (const Reg r : slot.transform)
            fixed[r] = 1;
    }
    out.uniformsReadOnly = true;
    for (const Instruction& in : out.program.code)
        for (int k = 0; k < writtenCount(in.op); ++k)
            out.uniformsReadOnly = out.uniformsReadOnly && !fixed[size_t(in.dst) + size_t(k)];
    return out;
}

}  // namespace cif::kernel
