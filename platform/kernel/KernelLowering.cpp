#include "platform/kernel/KernelLowering.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <unordered_map>

#include "platform/kernel/KernelChecker.h"
#include "platform/kernel/KernelDiagnostic.h"
#include "platform/kernel/KernelMath.h"

namespace cif::kernel {
namespace {

using ast::Expr;
using ast::scalarOf;
using ast::Stmt;
using ast::Type;
using VReg = uint32_t;

// One scalar component during lowering: a compile-time constant or a
// virtual register. `tag` records that the value is samplerCoord(s).x or .y
// plus a constant, which bounds how far samples of s reach.
struct Comp {
    bool isConst = true;
    float value = 0.0f;
    VReg reg = 0;
    int tagSampler = -1;
    int tagAxis = 0;
    float tagOffset = 0.0f;

    static Comp constant(float v) {
        Comp c;
        c.value = v;
        return c;
    }
    static Comp ofReg(VReg r) {
        Comp c;
        c.isConst = false;
        c.reg = r;
        return c;
    }
    bool isConstValue(float v) const {
        return isConst && std::bit_cast<uint32_t>(value) == std::bit_cast<uint32_t>(v);
    }
    bool same(const Comp& o) const {
        if (isConst != o.isConst) return false;
        return isConst ? std::bit_cast<uint32_t>(value) == std::bit_cast<uint32_t>(o.value)
                       : reg == o.reg;
    }
};

struct Value {
    int n = 0;
    Comp c[16];        // a matrix's columns one after another
    int sampler = -1;  // for sampler values: index into Program::samplers

    static Value zeros(int count) {
        Value v;
        v.n = count;
        return v;
    }
};

struct VInst {
    Op op;
    VReg dst, a, b, c;
    float imm;
    int16_t sampler;
};

// The compile-time twin of the evaluator's scalar operations.
float fold(Op op, float a, float b, float c) {
    switch (op) {
        case Op::Move:
            return a;
        case Op::Add:
            return a + b;
        case Op::Sub:
            return a - b;
        case Op::Mul:
            return a * b;
        case Op::Div:
            return a / b;
        case Op::Neg:
            return -a;
        case Op::Min:
            return b < a ? b : a;
        case Op::Max:
            return a < b ? b : a;
        case Op::Abs:
            return std::fabs(a);
        case Op::Sign:
            return a > 0.0f ? 1.0f : (a < 0.0f ? -1.0f : 0.0f);
        case Op::Floor:
            return std::floor(a);
        case Op::Ceil:
            return std::ceil(a);
        case Op::Trunc:
            return std::trunc(a);
        case Op::Fract:
            return a - std::floor(a);
        case Op::Mod:
            return a - b * std::floor(a / b);
        case Op::Sqrt:
            return std::sqrt(a);
        case Op::InverseSqrt:
            return 1.0f / std::sqrt(a);
        case Op::Pow:
            return std::pow(a, b);
        case Op::Exp:
            return std::exp(a);
        case Op::Exp2:
            return std::exp2(a);
        case Op::Log:
            return std::log(a);
        case Op::Log2:
            return std::log2(a);
        case Op::Sin:
            return kernelSin(a);
        case Op::Cos:
            return kernelCos(a);
        case Op::Tan:
            return std::tan(a);
        case Op::Asin:
            return std::asin(a);
        case Op::Acos:
            return std::acos(a);
        case Op::Atan:
            return std::atan(a);
        case Op::Atan2:
            return std::atan2(a, b);
        case Op::Step:
            return b < a ? 0.0f : 1.0f;
        case Op::Less:
            return a < b ? 1.0f : 0.0f;
        case Op::LessEqual:
            return a <= b ? 1.0f : 0.0f;
        case Op::Greater:
            return a > b ? 1.0f : 0.0f;
        case Op::GreaterEqual:
            return a >= b ? 1.0f : 0.0f;
        case Op::Equal:
            return a == b ? 1.0f : 0.0f;
        case Op::NotEqual:
            return a != b ? 1.0f : 0.0f;
        case Op::And:
            return (a != 0.0f && b != 0.0f) ? 1.0f : 0.0f;
        case Op::Or:
            return (a != 0.0f || b != 0.0f) ? 1.0f : 0.0f;
        case Op::Not:
            return a == 0.0f ? 1.0f : 0.0f;
        case Op::Select:
            return a != 0.0f ? b : c;
        default:
            return 0.0f;  // Const, DestX, DestY, Sample never fold
    }
}

Op arithmeticOp(const std::string& op) {
    if (op == "+" || op == "+=") return Op::Add;
    if (op == "-" || op == "-=") return Op::Sub;
    if (op == "*" || op == "*=") return Op::Mul;
    if (op == "/" || op == "/=") return Op::Div;
    if (op == "<") return Op::Less;
    if (op == "<=") return Op::LessEqual;
    if (op == ">") return Op::Greater;
    if (op == ">=") return Op::GreaterEqual;
    if (op == "==") return Op::Equal;
    if (op == "!=") return Op::NotEqual;
    if (op == "&&") return Op::And;
    return Op::Or;
}

class Lowering {
public:
    Lowering(const ast::Unit& unit, const ast::Function& kernel)
        : m_unit(unit),
          m_kernel(kernel),
          m_vars(unit.symbols.size()),
          m_varSet(unit.symbols.size(), false) {}

    Program run() {
        m_program.name = m_kernel.name;
        const bool warp = m_kernel.returnType == Type::Vec2;
        bool colour = false;
        for (const ast::Param& p : m_kernel.params)
            colour = colour || p.isSample;
        m_program.kind = warp ? KernelKind::Warp : colour ? KernelKind::Color : KernelKind::General;
        declareParameters();
        int warpSlot = -1;
        if (warp) warpSlot = addSamplerSlot("");
        m_pinned = m_nextReg;
        if (m_pinned > static_cast<VReg>(kMaxRegisters)) {
            fail(m_kernel.line, m_kernel.column,
                 "kernel needs more than " + std::to_string(kMaxRegisters) + " registers");
        }
        for (const auto& g : m_unit.globals)
            lowerDecl(*g);
        // A __sample parameter is its image's pixel at the output position.
        for (const ast::Param& p : m_kernel.params) {
            if (!p.isSample) continue;
            const int slot = m_vars[p.symbol].sampler;
            setVar(p.symbol, sample(slot, samplerCoord(slot)));
        }
        m_frames.push_back(Frame{Comp::constant(1.0f), Value::zeros(warp ? 2 : 4), false});
        lowerStmt(*m_kernel.body);
        Value returned = m_frames.back().result;
        // A warp reads its input where it says.
        if (warp) returned = sample(warpSlot, returned);
        // Pixels whose loop ran out of its budget are transparent, with an
        // alpha of -0 that tells the runtime so.
        Value stopped = Value::zeros(4);
        stopped.c[3] = Comp::constant(-0.0f);
        const Value result = selectValue(m_overflow, stopped, returned);
        m_program.loopBudget = !m_overflow.isConstValue(0.0f);
        VReg resultRegs[4];
        for (int i = 0; i < 4; ++i)
            resultRegs[i] = reg(result.c[i]);
        for (size_t s = 0; s < m_program.samplers.size(); ++s)
            m_program.samplers[s].reach = m_reach[s];
        allocate(resultRegs);
        return std::move(m_program);
    }

private:
    struct Frame {
        Comp active;   // 1 where the function has not returned yet
        Value result;  // what it returns where it has
        bool returned;
    };
    struct JournalEntry {
        int symbol;
        Value old;
        bool oldSet;
    };
    // A loop being unrolled: its flag variables.
    struct Loop {
        int alive;      // 1 where the loop has not ended
        int iteration;  // 1 where the current iteration has not been left by continue
    };

    // ---- emission ----

    [[noreturn]] void tooMuchWork() const {
        fail(m_kernel.line, m_kernel.column,
             "kernel does more than " + std::to_string(kMaxInstructions) + " operations per pixel");
    }

    VReg newRegs(int count) {
        const VReg r = m_nextReg;
        m_nextReg += static_cast<VReg>(count);
        return r;
    }

    VReg emit(Op op, VReg a = 0, VReg b = 0, VReg c = 0, float imm = 0.0f, int sampler = 0) {
        if (m_code.size() >= kMaxInstructions) tooMuchWork();
        const VReg dst = newRegs(op == Op::Sample ? 4 : 1);
        m_code.push_back(VInst{op, dst, a, b, c, imm, static_cast<int16_t>(sampler)});
        return dst;
    }

    VReg reg(const Comp& c) {
        if (!c.isConst) return c.reg;
        const uint32_t bits = std::bit_cast<uint32_t>(c.value);
        auto it = m_constRegs.find(bits);
        if (it != m_constRegs.end()) return it->second;
        const VReg r = emit(Op::Const, 0, 0, 0, c.value);
        m_constRegs.emplace(bits, r);
        return r;
    }

    Comp op1(Op op, const Comp& a) {
        if (a.isConst) return Comp::constant(fold(op, a.value, 0.0f, 0.0f));
        return Comp::ofReg(emit(op, a.reg));
    }

    Comp op2(Op op, const Comp& a, const Comp& b) {
        if (a.isConst && b.isConst) return Comp::constant(fold(op, a.value, b.value, 0.0f));
        // Identities that keep programs small and keep coordinate tags.
        if ((op == Op::Add || op == Op::Sub) && b.isConstValue(0.0f)) return a;
        if (op == Op::Add && a.isConstValue(0.0f)) return b;
        if ((op == Op::Mul || op == Op::Div) && b.isConstValue(1.0f)) return a;
        if (op == Op::Mul && a.isConstValue(1.0f)) return b;
        if (op == Op::And) {
            if (a.isConst) return a.value != 0.0f ? b : Comp::constant(0.0f);
            if (b.isConst) return b.value != 0.0f ? a : Comp::constant(0.0f);
        }
        Comp r = Comp::ofReg(emit(op, reg(a), reg(b)));
        if (op == Op::Add || op == Op::Sub) {
            if (a.tagSampler >= 0 && b.isConst) {
                r.tagSampler = a.tagSampler;
                r.tagAxis = a.tagAxis;
                r.tagOffset = op == Op::Add ? a.tagOffset + b.value : a.tagOffset - b.value;
            } else if (op == Op::Add && b.tagSampler >= 0 && a.isConst) {
                r.tagSampler = b.tagSampler;
                r.tagAxis = b.tagAxis;
                r.tagOffset = b.tagOffset + a.value;
            }
        }
        return r;
    }

    Comp select(const Comp& cond, const Comp& a, const Comp& b) {
        if (cond.isConst) return cond.value != 0.0f ? a : b;
        if (a.same(b)) return a;
        if (a.isConst && b.isConst) {
            // select(c, 1, 0) is c itself when c is a 0/1 value (all conditions are).
            if (a.value == 1.0f && b.isConstValue(0.0f)) return cond;
        }
        return Comp::ofReg(emit(Op::Select, reg(cond), reg(a), reg(b)));
    }

    Value map1(Op op, const Value& a) {
        Value r = Value::zeros(a.n);
        for (int i = 0; i < a.n; ++i)
            r.c[i] = op1(op, a.c[i]);
        return r;
    }

    // Componentwise with scalar broadcast.
    Value map2(Op op, const Value& a, const Value& b) {
        Value r = Value::zeros(std::max(a.n, b.n));
        for (int i = 0; i < r.n; ++i)
            r.c[i] = op2(op, a.c[a.n == 1 ? 0 : i], b.c[b.n == 1 ? 0 : i]);
        return r;
    }

    Value selectValue(const Comp& cond, const Value& a, const Value& b) {
        Value r = a;
        for (int i = 0; i < a.n; ++i)
            r.c[i] = select(cond, a.c[i], b.c[i]);
        return r;
    }

    static Value broadcast(const Value& v, int n) {
        if (v.n == n) return v;
        Value r = Value::zeros(n);
        for (int i = 0; i < n; ++i)
            r.c[i] = v.c[0];
        return r;
    }

    static Value widen(const Value& v) {
        Value r = Value::zeros(4);
        r.c[0] = v.c[0];
        r.c[1] = v.c[1];
        r.c[2] = Comp::constant(0.0f);
        r.c[3] = Comp::constant(1.0f);
        return r;
    }

    Comp destX() {
        if (!m_destX) m_destX = emit(Op::DestX);
        return Comp::ofReg(*m_destX);
    }
    Comp destY() {
        if (!m_destY) m_destY = emit(Op::DestY);
        return Comp::ofReg(*m_destY);
    }

    // ---- parameters and variables ----

    void declareParameters() {
        for (const ast::Param& p : m_kernel.params) {
            Parameter param;
            param.name = p.name;
            Value v;
            if (p.type == Type::Sampler || p.isSample) {
                param.type = p.isSample ? ParamType::Sample : ParamType::Sampler;
                param.sampler = addSamplerSlot(p.name);
                v.sampler = param.sampler;
                if (p.isTable) m_tables[static_cast<size_t>(param.sampler)] = true;
            } else {
                const int n = ast::componentCount(p.type);
                param.type =
                    p.isColor ? ParamType::Color
                              : static_cast<ParamType>(static_cast<int>(ParamType::Float) + n - 1);
                v.n = n;
                for (int i = 0; i < n; ++i) {
                    const VReg r = newRegs(1);
                    param.registers.push_back(static_cast<Reg>(r));
                    v.c[i] = Comp::ofReg(r);
                }
            }
            setVar(p.symbol, v);
            m_program.parameters.push_back(std::move(param));
        }
    }

    // Inside a branch, the first write of each variable is journalled so the
    // branch can be undone and merged; outside any branch nothing is.
    int addSamplerSlot(const std::string& parameterName) {
        SamplerSlot slot;
        slot.parameterName = parameterName;
        for (Reg& r : slot.extent)
            r = static_cast<Reg>(newRegs(1));
        for (Reg& r : slot.transform)
            r = static_cast<Reg>(newRegs(1));
        m_program.samplers.push_back(slot);
        m_reach.push_back(0.0);
        m_coordCache.emplace_back();
        m_tables.push_back(false);
        return static_cast<int>(m_program.samplers.size()) - 1;
    }

    void setVar(int symbol, const Value& v) {
        if (!m_branches.empty()) {
            const size_t index = static_cast<size_t>(symbol);
            if (m_journalled.size() <= index) m_journalled.resize(index + 1, 0);
            if (m_journalled[index] != m_branches.back()) {
                m_journal.push_back(JournalEntry{symbol, m_vars[symbol], m_varSet[symbol]});
                m_journalled[index] = m_branches.back();
            }
        }
        m_vars[symbol] = v;
        m_varSet[symbol] = true;
    }

    struct Written {
        int symbol;
        bool wasSet;
        Value value;  // the value at the end of the branch
    };

    // The variables written since `mark`, with their final values; restores
    // the values they had at `mark`.
    std::vector<Written> takeWrites(size_t mark) {
        std::vector<Written> writes;
        std::unordered_map<int, size_t> seen;
        for (size_t i = mark; i < m_journal.size(); ++i) {
            const JournalEntry& e = m_journal[i];
            if (seen.emplace(e.symbol, writes.size()).second)
                writes.push_back(Written{e.symbol, e.oldSet, m_vars[e.symbol]});
        }
        for (size_t i = m_journal.size(); i-- > mark;) {
            m_vars[m_journal[i].symbol] = m_journal[i].old;
            m_varSet[m_journal[i].symbol] = m_journal[i].oldSet;
        }
        m_journal.resize(mark);
        return writes;
    }

    // ---- statements ----

    bool returnedEverywhere() const { return m_frames.back().active.isConstValue(0.0f); }

    void setDeclDepth(int symbol) {
        if (m_declDepth.size() <= static_cast<size_t>(symbol))
            m_declDepth.resize(static_cast<size_t>(symbol) + 1, 0);
        m_declDepth[static_cast<size_t>(symbol)] = m_loops.size();
    }

    // An array's elements are variables of their own (so branches, loops
    // and masks treat them like any other); a new set for each declaration.
    std::vector<int> newArray(int symbol) {
        const int size = m_unit.symbols[static_cast<size_t>(symbol)].arraySize;
        std::vector<int> elements;
        for (int k = 0; k < size; ++k) {
            elements.push_back(pseudoVariable());
            setDeclDepth(elements.back());
        }
        m_arrays[symbol] = elements;
        return elements;
    }

    void lowerDecl(const Stmt& s) {
        for (const ast::Declarator& d : s.declarators) {
            setDeclDepth(d.symbol);
            if (d.size) {
                const std::vector<int> elements = newArray(d.symbol);
                const int n = ast::componentCount(s.declType);
                for (size_t k = 0; k < elements.size(); ++k)
                    setVar(elements[k], d.init ? lowerExpr(*d.init->args[k]) : Value::zeros(n));
                continue;
            }
            Value v = Value::zeros(ast::componentCount(s.declType));
            if (d.init) {
                v = lowerExpr(*d.init);
                if (d.widen) v = widen(v);
            }
            setVar(d.symbol, v);
        }
    }

    // False once no pixel runs the statements that follow: all returned,
    // or the innermost loop's iteration ended everywhere.
    bool running() const {
        if (returnedEverywhere()) return false;
        if (m_loops.empty()) return true;
        const Loop& l = m_loops.back();
        return !m_vars[l.alive].c[0].isConstValue(0.0f) &&
               !m_vars[l.iteration].c[0].isConstValue(0.0f);
    }

    void lowerStmt(const Stmt& s) {
        if (!running()) return;
        switch (s.kind) {
            case Stmt::Kind::Block:
                for (const auto& child : s.body) {
                    if (!running()) break;
                    lowerStmt(*child);
                }
                break;
            case Stmt::Kind::Decl:
                lowerDecl(s);
                break;
            case Stmt::Kind::Expr:
                lowerExpr(*s.expr);
                break;
            case Stmt::Kind::Return: {
                Frame& before = m_frames.back();
                if (s.expr) {
                    const Value v = lowerExpr(*s.expr);  // may inline calls, growing m_frames
                    Frame& f = m_frames.back();
                    f.result = selectValue(f.active, v, f.result);
                }
                Frame& f = m_frames.back();
                (void)before;
                f.active = Comp::constant(0.0f);
                f.returned = true;
                break;
            }
            case Stmt::Kind::If:
                lowerIf(s);
                break;
            case Stmt::Kind::For:
                lowerLoop(s, s.body[0].get(), s.expr.get(), s.step.get(), *s.body[1], true);
                break;
            case Stmt::Kind::While:
                lowerLoop(s, nullptr, s.expr.get(), nullptr, *s.body[0], true);
                break;
            case Stmt::Kind::DoWhile:
                lowerLoop(s, nullptr, s.expr.get(), nullptr, *s.body[0], false);
                break;
            case Stmt::Kind::Break:
                setVar(m_loops.back().alive, constant(0.0f));
                break;
            case Stmt::Kind::Continue:
                setVar(m_loops.back().iteration, constant(0.0f));
                break;
        }
    }

    // A new variable of the lowering's own (a loop's flags).
    int pseudoVariable() {
        m_vars.emplace_back();
        m_varSet.push_back(false);
        return static_cast<int>(m_vars.size()) - 1;
    }

    // Where a store to `symbol` takes effect: every loop entered since the
    // variable was declared still running and in its current iteration
    // (break and continue clear those flags). Loops it was declared in do
    // not matter: where they ended, the variable is never read again.
    Comp storeMask(int symbol) {
        Comp m = Comp::constant(1.0f);
        const size_t depth = symbol < static_cast<int>(m_declDepth.size())
                                 ? m_declDepth[static_cast<size_t>(symbol)]
                                 : 0;
        for (size_t k = depth; k < m_loops.size(); ++k) {
            m = op2(Op::And, m, m_vars[m_loops[k].alive].c[0]);
            m = op2(Op::And, m, m_vars[m_loops[k].iteration].c[0]);
        }
        return m;
    }

    // Loops are unrolled. Each iteration runs where the loop is alive: its
    // condition held on every iteration so far and no break or return
    // stopped it. A loop whose count the checker knows ends with it; any
    // other stops after kMaxDynamicLoopIterations, and the pixels where it
    // would go on are transparent.
    void lowerLoop(const Stmt& s, const Stmt* init, const Expr* cond, const Expr* step,
                   const Stmt& body, bool testFirst) {
        // The loop is entered before its initialisation: its own flags never
        // mask its index, which keeps a counted loop's index a constant.
        Loop loop{pseudoVariable(), pseudoVariable()};
        setVar(loop.alive, constant(1.0f));
        setVar(loop.iteration, constant(1.0f));
        m_loops.push_back(loop);
        if (init) lowerStmt(*init);
        for (long count = 0;; ++count) {
            if (returnedEverywhere()) break;
            setVar(loop.iteration, constant(1.0f));
            if (cond && (testFirst || count > 0)) {
                const Comp c = lowerExpr(*cond).c[0];
                setVar(loop.alive, scalar(op2(Op::And, m_vars[loop.alive].c[0], c)));
            }
            const Comp alive = op2(Op::And, m_vars[loop.alive].c[0], m_frames.back().active);
            if (alive.isConstValue(0.0f)) break;
            if (!s.loop.known && count >= s.loop.budget && !alive.isConst) {
                m_overflow = op2(Op::Or, m_overflow, alive);
                break;
            }
            if (count >= kMaxLoopIterations)
                fail(s.line, s.column,
                     "loop does not end: it runs more than " + std::to_string(kMaxLoopIterations) +
                         " times");
            lowerStmt(body);
            setVar(loop.iteration, constant(1.0f));
            if (step && running()) lowerExpr(*step);
        }
        m_loops.pop_back();
    }

    // Both branches are lowered; variables they change, and the frame's
    // return state, are merged with a select on the condition.
    void lowerIf(const Stmt& s) {
        const Comp cond = lowerExpr(*s.expr).c[0];
        if (cond.isConst) {
            if (cond.value != 0.0f) {
                lowerStmt(*s.body[0]);
            } else if (s.body.size() > 1) {
                lowerStmt(*s.body[1]);
            }
            return;
        }
        const Frame saved = m_frames.back();
        const size_t mark = m_journal.size();
        auto runBranch = [&](const Stmt* branch, const Comp& taken, Frame& out) {
            m_frames.back() = saved;
            m_frames.back().returned = false;
            m_frames.back().active = op2(Op::And, saved.active, taken);
            m_branches.push_back(++m_branchCount);
            if (branch) lowerStmt(*branch);
            m_branches.pop_back();
            out = m_frames.back();
            return takeWrites(mark);
        };
        Frame thenFrame, elseFrame;
        const std::vector<Written> thenWrites = runBranch(s.body[0].get(), cond, thenFrame);
        const Comp notCond = op1(Op::Not, cond);
        const std::vector<Written> elseWrites =
            runBranch(s.body.size() > 1 ? s.body[1].get() : nullptr, notCond, elseFrame);

        std::unordered_map<int, std::pair<const Value*, const Value*>> merged;
        std::vector<int> order;
        for (const Written& w : thenWrites) {
            if (!w.wasSet) continue;  // declared inside the branch
            merged[w.symbol].first = &w.value;
            order.push_back(w.symbol);
        }
        for (const Written& w : elseWrites) {
            if (!w.wasSet) continue;
            auto [it, inserted] = merged.try_emplace(w.symbol);
            it->second.second = &w.value;
            if (inserted) order.push_back(w.symbol);
        }
        for (int symbol : order) {
            const auto& [t, e] = merged[symbol];
            const Value& current = m_vars[symbol];
            if (current.sampler >= 0) continue;
            setVar(symbol, selectValue(cond, t ? *t : current, e ? *e : current));
        }
        Frame& f = m_frames.back();
        f = saved;
        const Comp thenActive = thenFrame.returned ? thenFrame.active : saved.active;
        const Comp elseActive = elseFrame.returned ? elseFrame.active : saved.active;
        f.active = select(cond, thenActive, elseActive);
        f.result = selectValue(cond, thenFrame.result, elseFrame.result);
        f.returned = saved.returned || thenFrame.returned || elseFrame.returned;
    }

    // ---- expressions ----

    void store(const Expr& target, const Value& v) {
        if (target.kind == Expr::Kind::Name) {
            const Comp mask = storeMask(target.symbol);
            setVar(target.symbol,
                   mask.isConstValue(1.0f) ? v : selectValue(mask, v, m_vars[target.symbol]));
            return;
        }
        if (target.kind == Expr::Kind::Index && target.args[0]->arraySize > 0) {
            const std::vector<int> elements = m_arrays[target.args[0]->symbol];
            const Comp index = lowerExpr(*target.args[1]).c[0];
            for (size_t k = 0; k < elements.size(); ++k) {
                const Comp here = op2(Op::Equal, index, Comp::constant(static_cast<float>(k)));
                if (here.isConstValue(0.0f)) continue;
                const int element = elements[k];
                const Comp mask = op2(Op::And, storeMask(element), here);
                setVar(element,
                       mask.isConstValue(1.0f) ? v : selectValue(mask, v, m_vars[element]));
            }
            return;
        }
        if (target.kind == Expr::Kind::Index) {
            // Each component (or column) that the index may name takes the
            // value where it does.
            Value base = lowerExpr(*target.args[0]);
            const Comp index = lowerExpr(*target.args[1]).c[0];
            const int width = v.n, count = base.n / width;
            for (int k = 0; k < count; ++k) {
                const Comp here = op2(Op::Equal, index, Comp::constant(static_cast<float>(k)));
                if (here.isConstValue(0.0f)) continue;
                for (int i = 0; i < width; ++i)
                    base.c[k * width + i] = select(here, v.c[i], base.c[k * width + i]);
            }
            store(*target.args[0], base);
            return;
        }
        // A swizzle: write the selected components of the base.
        Value base = lowerExpr(*target.args[0]);
        for (int i = 0; i < target.swizzleCount; ++i)
            base.c[target.swizzle[i]] = v.c[v.n == 1 ? 0 : i];
        store(*target.args[0], base);
    }

    // Lowers `e` as if it ran only where `where` holds: the variables it
    // writes (assignments, ++ and --, out arguments) keep their old values
    // elsewhere. Its value is meaningful only where `where` holds.
    Value lowerWhere(const Comp& where, const Expr& e) {
        if (where.isConstValue(0.0f)) return Value::zeros(std::max(1, ast::componentCount(e.type)));
        if (where.isConst) return lowerExpr(e);
        const size_t mark = m_journal.size();
        m_branches.push_back(++m_branchCount);
        const Value v = lowerExpr(e);
        m_branches.pop_back();
        for (const Written& w : takeWrites(mark)) {
            const Value& current = m_vars[w.symbol];
            if (current.sampler >= 0) continue;
            setVar(w.symbol, w.wasSet ? selectValue(where, w.value, current) : w.value);
        }
        return v;
    }

    Value lowerExpr(const Expr& e) {
        switch (e.kind) {
            case Expr::Kind::Number:
                return Value{1, {Comp::constant(static_cast<float>(e.number))}, -1};
            case Expr::Kind::Bool:
                return Value{1, {Comp::constant(e.boolValue ? 1.0f : 0.0f)}, -1};
            case Expr::Kind::Name:
                return m_vars[e.symbol];
            case Expr::Kind::Unary: {
                const Value a = lowerExpr(*e.args[0]);
                if (e.op == "+") return a;
                return map1(e.op == "-" ? Op::Neg : Op::Not, a);
            }
            case Expr::Kind::Binary: {
                const Value a = lowerExpr(*e.args[0]);
                if (e.op == ",") return lowerExpr(*e.args[1]);
                // The right side of && and || runs only where it decides.
                const Value b = e.op == "&&"   ? lowerWhere(a.c[0], *e.args[1])
                                : e.op == "||" ? lowerWhere(op1(Op::Not, a.c[0]), *e.args[1])
                                               : lowerExpr(*e.args[1]);
                return binary(e.op, e.args[0]->type, e.args[1]->type, e.type, a, b);
            }
            case Expr::Kind::Assign: {
                Value v = lowerExpr(*e.args[1]);
                if (e.op != "=") {
                    const Type to = e.args[0]->type;
                    v = binary(e.op.substr(0, 1), to, e.args[1]->type, to, lowerExpr(*e.args[0]),
                               v);
                } else if (e.widen) {
                    v = widen(v);
                }
                store(*e.args[0], v);
                return v;
            }
            case Expr::Kind::IncDec: {
                const Value old = lowerExpr(*e.args[0]);
                const Value updated = map2(e.op == "++" ? Op::Add : Op::Sub, old,
                                           Value{1, {Comp::constant(1.0f)}, -1});
                store(*e.args[0], updated);
                return e.prefix ? updated : old;
            }
            case Expr::Kind::Ternary: {
                const Comp cond = lowerExpr(*e.args[0]).c[0];
                const Value a = lowerWhere(cond, *e.args[1]);
                const Value b = lowerWhere(op1(Op::Not, cond), *e.args[2]);
                return selectValue(cond, a, b);
            }
            case Expr::Kind::Swizzle: {
                const Value base = lowerExpr(*e.args[0]);
                Value r = Value::zeros(e.swizzleCount);
                for (int i = 0; i < e.swizzleCount; ++i)
                    r.c[i] = base.c[e.swizzle[i]];
                return r;
            }
            case Expr::Kind::Index: {
                if (e.args[0]->arraySize > 0) {
                    const std::vector<int> elements = m_arrays[e.args[0]->symbol];
                    const Comp index = lowerExpr(*e.args[1]).c[0];
                    if (index.isConst) {
                        const float k = index.value;
                        return k >= 0 && k < static_cast<float>(elements.size())
                                   ? m_vars[elements[static_cast<size_t>(k)]]
                                   : m_vars[elements[0]];
                    }
                    Value r = m_vars[elements[0]];
                    for (size_t k = 1; k < elements.size(); ++k)
                        r = selectValue(
                            op2(Op::Equal, index, Comp::constant(static_cast<float>(k))),
                            m_vars[elements[k]], r);
                    return r;
                }
                const Value base = lowerExpr(*e.args[0]);
                const Comp index = lowerExpr(*e.args[1]).c[0];
                const int width = ast::componentCount(e.type), count = base.n / width;
                Value r = Value::zeros(width);
                // A select for each element the index may name; out of range
                // reads the first.
                for (int k = 0; k < count; ++k) {
                    const Comp here = op2(Op::Equal, index, Comp::constant(static_cast<float>(k)));
                    for (int i = 0; i < width; ++i)
                        r.c[i] = k == 0 ? base.c[i] : select(here, base.c[k * width + i], r.c[i]);
                }
                return r;
            }
            case Expr::Kind::Call:
                break;
        }
        std::vector<Value> args;
        args.reserve(e.args.size());
        for (const auto& a : e.args)
            args.push_back(lowerExpr(*a));
        if (e.callKind == ast::CallKind::Constructor) return construct(e, args);
        if (e.callKind == ast::CallKind::Function)
            return inlineCall(*m_unit.functions[e.callee], e, args);
        return lowerBuiltin(static_cast<Builtin>(e.callee), e, args);
    }

    // a op b for the arithmetic, comparison and logical operators, with the
    // checker's types of both sides and of the result.
    Value binary(const std::string& op, Type ta, Type tb, Type result, const Value& a,
                 const Value& b) {
        if (op == "^^") return map2(Op::NotEqual, a, b);
        if ((op == "==" || op == "!=") && a.n > 1) {
            // All components equal, or any different.
            const Value each = map2(op == "==" ? Op::Equal : Op::NotEqual, a, b);
            Comp r = each.c[0];
            for (int i = 1; i < each.n; ++i)
                r = op2(op == "==" ? Op::And : Op::Or, r, each.c[i]);
            return scalar(r);
        }
        if (op == "*" && ast::isMatrix(ta) && ast::componentCount(tb) > 1)
            return ast::isMatrix(tb) ? matrixTimesMatrix(a, b, ast::matrixSize(ta))
                                     : matrixTimesVector(a, b, ast::matrixSize(ta));
        if (op == "*" && ast::isMatrix(tb) && ast::componentCount(ta) > 1)
            return vectorTimesMatrix(a, b, ast::matrixSize(tb));
        const Value r = map2(arithmeticOp(op), a, b);
        // Integer division rounds towards zero.
        if (op == "/" && scalarOf(result) == ast::Scalar::Int) return map1(Op::Trunc, r);
        return r;
    }

    // Matrices are column after column: m.c[col * size + row].
    Value matrixTimesVector(const Value& m, const Value& v, int size) {
        Value r = Value::zeros(size);
        for (int row = 0; row < size; ++row) {
            Comp sum = op2(Op::Mul, m.c[row], v.c[0]);
            for (int col = 1; col < size; ++col)
                sum = op2(Op::Add, sum, op2(Op::Mul, m.c[col * size + row], v.c[col]));
            r.c[row] = sum;
        }
        return r;
    }
    Value vectorTimesMatrix(const Value& v, const Value& m, int size) {
        Value r = Value::zeros(size);
        for (int col = 0; col < size; ++col) {
            Comp sum = op2(Op::Mul, v.c[0], m.c[col * size]);
            for (int row = 1; row < size; ++row)
                sum = op2(Op::Add, sum, op2(Op::Mul, v.c[row], m.c[col * size + row]));
            r.c[col] = sum;
        }
        return r;
    }
    Value matrixTimesMatrix(const Value& a, const Value& b, int size) {
        Value r = Value::zeros(size * size);
        for (int col = 0; col < size; ++col) {
            Value column = Value::zeros(size);
            for (int k = 0; k < size; ++k)
                column.c[k] = b.c[col * size + k];
            const Value product = matrixTimesVector(a, column, size);
            for (int row = 0; row < size; ++row)
                r.c[col * size + row] = product.c[row];
        }
        return r;
    }

    Value construct(const Expr& e, const std::vector<Value>& args) {
        const Type type = e.type;
        const int need = ast::componentCount(type);
        const int size = ast::matrixSize(type);
        if (size > 0 && args.size() == 1 && ast::isMatrix(e.ctorFrom)) {
            // The other matrix's upper-left part, the identity elsewhere.
            const int from = ast::matrixSize(e.ctorFrom);
            Value r = Value::zeros(need);
            for (int col = 0; col < size; ++col)
                for (int row = 0; row < size; ++row)
                    r.c[col * size + row] = col < from && row < from
                                                ? args[0].c[col * from + row]
                                                : Comp::constant(col == row ? 1.0f : 0.0f);
            return r;
        }
        Value r = Value::zeros(need);
        if (size > 0 && args.size() == 1 && args[0].n == 1) {
            for (int i = 0; i < size; ++i)
                r.c[i * size + i] = args[0].c[0];
        } else if (args.size() == 1 && args[0].n == 1) {
            r = broadcast(args[0], need);
        } else {
            int k = 0;
            for (const Value& a : args) {
                for (int i = 0; i < a.n && k < need; ++i)
                    r.c[k++] = a.c[i];
            }
        }
        // Conversions: to int rounds towards zero, to bool tests for nonzero.
        const ast::Scalar kind = scalarOf(type);
        bool fromFloat = false, fromNonBool = false;
        for (const auto& a : e.args) {
            fromFloat = fromFloat || scalarOf(a->type) == ast::Scalar::Float;
            fromNonBool = fromNonBool || scalarOf(a->type) != ast::Scalar::Bool;
        }
        if (kind == ast::Scalar::Int && fromFloat) return map1(Op::Trunc, r);
        if (kind == ast::Scalar::Bool && fromNonBool) return map2(Op::NotEqual, r, constant(0.0f));
        return r;
    }

    Value inlineCall(const ast::Function& fn, const Expr& call, const std::vector<Value>& args) {
        for (size_t i = 0; i < args.size(); ++i) {
            const ast::Param& p = fn.params[i];
            if (p.arraySize > 0) {
                // A copy of the caller's array.
                const std::vector<int> from = m_arrays[call.args[i]->symbol];
                const std::vector<int> to = newArray(p.symbol);
                for (size_t k = 0; k < to.size() && k < from.size(); ++k)
                    setVar(to[k], p.qualifier == ast::ParamQualifier::Out
                                      ? Value::zeros(m_vars[from[k]].n)
                                      : m_vars[from[k]]);
                continue;
            }
            setVar(p.symbol, p.qualifier == ast::ParamQualifier::Out
                                 ? Value::zeros(ast::componentCount(p.type))
                                 : args[i]);
        }
        // The callee's statements run wherever the caller's do; its own
        // loops start afresh.
        std::vector<Loop> callerLoops = std::move(m_loops);
        m_loops.clear();
        m_frames.push_back(
            Frame{Comp::constant(1.0f), Value::zeros(ast::componentCount(fn.returnType)), false});
        lowerStmt(*fn.body);
        const Value result = m_frames.back().result;
        m_frames.pop_back();
        m_loops = std::move(callerLoops);
        // out and inout parameters are copied back to the arguments.
        for (size_t i = 0; i < args.size(); ++i) {
            const ast::Param& p = fn.params[i];
            if (p.qualifier == ast::ParamQualifier::In) continue;
            if (p.arraySize == 0) {
                store(*call.args[i], m_vars[p.symbol]);
                continue;
            }
            // Each element of an array goes back where the caller's stores
            // would reach (its loops' masks).
            const std::vector<int> from = m_arrays[call.args[i]->symbol];
            const std::vector<int> to = m_arrays[p.symbol];
            for (size_t k = 0; k < to.size() && k < from.size(); ++k) {
                const Comp mask = storeMask(from[k]);
                setVar(from[k], mask.isConstValue(1.0f)
                                    ? m_vars[to[k]]
                                    : selectValue(mask, m_vars[to[k]], m_vars[from[k]]));
            }
        }
        return result;
    }

    Value samplerCoord(int s) {
        if (m_coordCache[s]) return *m_coordCache[s];
        Value p = Value::zeros(2);
        p.c[0] = destX();
        p.c[1] = destY();
        Value r = transform(s, p);
        for (int axis = 0; axis < 2; ++axis) {
            r.c[axis].tagSampler = s;
            r.c[axis].tagAxis = axis;
            r.c[axis].tagOffset = 0.0f;
        }
        m_coordCache[s] = r;
        return r;
    }

    // (a*x + c*y + tx, b*x + d*y + ty)
    Value transform(int s, const Value& p) {
        const SamplerSlot& slot = m_program.samplers[s];
        auto t = [&](int i) { return Comp::ofReg(slot.transform[i]); };
        Value r = Value::zeros(2);
        r.c[0] = op2(Op::Add, op2(Op::Add, op2(Op::Mul, t(0), p.c[0]), op2(Op::Mul, t(2), p.c[1])),
                     t(4));
        r.c[1] = op2(Op::Add, op2(Op::Add, op2(Op::Mul, t(1), p.c[0]), op2(Op::Mul, t(3), p.c[1])),
                     t(5));
        return r;
    }

    Value sample(int s, const Value& at) {
        Value p = at;
        // A table is read at the centre of the entry the position falls in.
        if (m_tables[static_cast<size_t>(s)])
            for (int i = 0; i < 2; ++i)
                p.c[i] = op2(Op::Add, op1(Op::Floor, p.c[i]), Comp::constant(0.5f));
        const Comp& x = p.c[0];
        const Comp& y = p.c[1];
        if (x.tagSampler == s && x.tagAxis == 0 && y.tagSampler == s && y.tagAxis == 1) {
            m_reach[s] = std::max({m_reach[s], std::fabs(static_cast<double>(x.tagOffset)),
                                   std::fabs(static_cast<double>(y.tagOffset))});
        } else {
            m_reach[s] = std::numeric_limits<double>::infinity();
        }
        const VReg dst = emit(Op::Sample, reg(x), reg(y), 0, 0.0f, s);
        Value r = Value::zeros(4);
        for (int i = 0; i < 4; ++i)
            r.c[i] = Comp::ofReg(dst + static_cast<VReg>(i));
        return r;
    }

    Comp dot(const Value& a, const Value& b) {
        Comp sum = op2(Op::Mul, a.c[0], b.c[0]);
        for (int i = 1; i < a.n; ++i)
            sum = op2(Op::Add, sum, op2(Op::Mul, a.c[i], b.c[i]));
        return sum;
    }

    static Value scalar(const Comp& c) { return Value{1, {c}, -1}; }
    static Value constant(float v) { return scalar(Comp::constant(v)); }

    Value lowerBuiltin(Builtin b, const Expr& e, const std::vector<Value>& args) {
        const int n = ast::componentCount(e.type);
        auto arg = [&](size_t i) { return broadcast(args[i], std::max(args[i].n, n)); };
        switch (b) {
            case Builtin::Sample:
                return sample(args[0].sampler, args[1]);
            case Builtin::SamplerCoord:
                return samplerCoord(args[0].sampler);
            case Builtin::SamplerTransform:
                return transform(args[0].sampler, args[1]);
            case Builtin::SamplerExtent:
            case Builtin::SamplerOrigin:
            case Builtin::SamplerSize: {
                const SamplerSlot& slot = m_program.samplers[args[0].sampler];
                Value r = Value::zeros(n);
                const int first = b == Builtin::SamplerSize ? 2 : 0;
                for (int i = 0; i < n; ++i)
                    r.c[i] = Comp::ofReg(slot.extent[first + i]);
                return r;
            }
            case Builtin::DestCoord: {
                Value r = Value::zeros(2);
                r.c[0] = destX();
                r.c[1] = destY();
                return r;
            }
            case Builtin::Premultiply: {
                Value r = args[0];
                for (int i = 0; i < 3; ++i)
                    r.c[i] = op2(Op::Mul, r.c[i], r.c[3]);
                return r;
            }
            case Builtin::Unpremultiply: {
                // Select keeps a zero alpha from producing NaN.
                Value r = args[0];
                const Comp positive = op2(Op::Greater, r.c[3], Comp::constant(0.0f));
                for (int i = 0; i < 3; ++i)
                    r.c[i] = select(positive, op2(Op::Div, r.c[i], r.c[3]), Comp::constant(0.0f));
                return r;
            }
            case Builtin::Compare: {
                const Value x = arg(0), a = arg(1), c = arg(2);
                Value r = Value::zeros(n);
                for (int i = 0; i < n; ++i)
                    r.c[i] = select(op2(Op::Less, x.c[i], Comp::constant(0.0f)), a.c[i], c.c[i]);
                return r;
            }
            case Builtin::Abs:
                return map1(Op::Abs, args[0]);
            case Builtin::Sign:
                return map1(Op::Sign, args[0]);
            case Builtin::Floor:
                return map1(Op::Floor, args[0]);
            case Builtin::Ceil:
                return map1(Op::Ceil, args[0]);
            case Builtin::Fract:
                return map1(Op::Fract, args[0]);
            case Builtin::Sqrt:
                return map1(Op::Sqrt, args[0]);
            case Builtin::InverseSqrt:
                return map1(Op::InverseSqrt, args[0]);
            case Builtin::Exp:
                return map1(Op::Exp, args[0]);
            case Builtin::Exp2:
                return map1(Op::Exp2, args[0]);
            case Builtin::Log:
                return map1(Op::Log, args[0]);
            case Builtin::Log2:
                return map1(Op::Log2, args[0]);
            case Builtin::Sin:
                return map1(Op::Sin, args[0]);
            case Builtin::Cos:
                return map1(Op::Cos, args[0]);
            case Builtin::Tan:
                return map1(Op::Tan, args[0]);
            case Builtin::Asin:
                return map1(Op::Asin, args[0]);
            case Builtin::Acos:
                return map1(Op::Acos, args[0]);
            case Builtin::Atan:
                return args.size() == 1 ? map1(Op::Atan, args[0])
                                        : map2(Op::Atan2, args[0], args[1]);
            case Builtin::Radians:
                return map2(Op::Mul, args[0], constant(static_cast<float>(M_PI / 180.0)));
            case Builtin::Degrees:
                return map2(Op::Mul, args[0], constant(static_cast<float>(180.0 / M_PI)));
            case Builtin::Mod:
                return map2(Op::Mod, args[0], args[1]);
            case Builtin::Min:
                return map2(Op::Min, args[0], args[1]);
            case Builtin::Max:
                return map2(Op::Max, args[0], args[1]);
            case Builtin::Pow:
                return map2(Op::Pow, args[0], args[1]);
            case Builtin::Step:
                return map2(Op::Step, args[0], args[1]);
            case Builtin::Clamp:
                return map2(Op::Min, map2(Op::Max, args[0], args[1]), args[2]);
            case Builtin::Mix:
                return map2(Op::Add, args[0],
                            map2(Op::Mul, map2(Op::Sub, args[1], args[0]), args[2]));
            case Builtin::Smoothstep: {
                const Value x = arg(2);
                Value t = map2(Op::Div, map2(Op::Sub, x, args[0]), map2(Op::Sub, args[1], args[0]));
                t = map2(Op::Min, map2(Op::Max, t, constant(0.0f)), constant(1.0f));
                const Value poly = map2(Op::Sub, constant(3.0f), map2(Op::Mul, constant(2.0f), t));
                return map2(Op::Mul, map2(Op::Mul, t, t), poly);
            }
            case Builtin::Length:
                return scalar(op1(Op::Sqrt, dot(args[0], args[0])));
            case Builtin::Distance: {
                const Value d = map2(Op::Sub, args[0], args[1]);
                return scalar(op1(Op::Sqrt, dot(d, d)));
            }
            case Builtin::Dot:
                return scalar(dot(args[0], args[1]));
            case Builtin::Cross: {
                const Value& a = args[0];
                const Value& c = args[1];
                Value r = Value::zeros(3);
                for (int i = 0; i < 3; ++i) {
                    const int j = (i + 1) % 3, k = (i + 2) % 3;
                    r.c[i] =
                        op2(Op::Sub, op2(Op::Mul, a.c[j], c.c[k]), op2(Op::Mul, a.c[k], c.c[j]));
                }
                return r;
            }
            case Builtin::Reflect: {
                // I - 2 dot(N, I) N
                const Value& i = args[0];
                const Value& nn = args[1];
                const Comp twoDot = op2(Op::Mul, Comp::constant(2.0f), dot(nn, i));
                return map2(Op::Sub, i, map2(Op::Mul, scalar(twoDot), nn));
            }
            case Builtin::Refract: {
                // k = 1 - eta^2 (1 - dot(N, I)^2); 0 if k < 0, else
                // eta I - (eta dot(N, I) + sqrt(k)) N
                const Value& i = args[0];
                const Value& nn = args[1];
                const Comp eta = args[2].c[0];
                const Comp d = dot(nn, i);
                const Comp k = op2(Op::Sub, Comp::constant(1.0f),
                                   op2(Op::Mul, op2(Op::Mul, eta, eta),
                                       op2(Op::Sub, Comp::constant(1.0f), op2(Op::Mul, d, d))));
                const Comp f = op2(Op::Add, op2(Op::Mul, eta, d), op1(Op::Sqrt, k));
                const Value r =
                    map2(Op::Sub, map2(Op::Mul, scalar(eta), i), map2(Op::Mul, scalar(f), nn));
                return selectValue(op2(Op::Less, k, Comp::constant(0.0f)), Value::zeros(r.n), r);
            }
            case Builtin::Faceforward: {
                // N if dot(Nref, I) < 0, else -N
                const Comp front = op2(Op::Less, dot(args[2], args[1]), Comp::constant(0.0f));
                return selectValue(front, args[0], map1(Op::Neg, args[0]));
            }
            case Builtin::MatrixCompMult:
                return map2(Op::Mul, args[0], args[1]);
            case Builtin::LessThan:
                return map2(Op::Less, args[0], args[1]);
            case Builtin::LessThanEqual:
                return map2(Op::LessEqual, args[0], args[1]);
            case Builtin::GreaterThan:
                return map2(Op::Greater, args[0], args[1]);
            case Builtin::GreaterThanEqual:
                return map2(Op::GreaterEqual, args[0], args[1]);
            case Builtin::Equal:
                return map2(Op::Equal, args[0], args[1]);
            case Builtin::NotEqual:
                return map2(Op::NotEqual, args[0], args[1]);
            case Builtin::Any:
            case Builtin::All: {
                Comp r = args[0].c[0];
                for (int i = 1; i < args[0].n; ++i)
                    r = op2(b == Builtin::Any ? Op::Or : Op::And, r, args[0].c[i]);
                return scalar(r);
            }
            case Builtin::Not:
                return map1(Op::Not, args[0]);
            case Builtin::FastCos:
                return map1(Op::Cos, args[0]);
            case Builtin::FastSin:
                return map1(Op::Sin, args[0]);
            case Builtin::FastTan:
                return map1(Op::Tan, args[0]);
            case Builtin::CosSin:
            case Builtin::FastCosSin: {
                Value r = Value::zeros(2);
                r.c[0] = op1(Op::Cos, args[0].c[0]);
                r.c[1] = op1(Op::Sin, args[0].c[0]);
                return r;
            }
            case Builtin::Normalize:
                return map2(Op::Mul, args[0], scalar(op1(Op::InverseSqrt, dot(args[0], args[0]))));
        }
        return Value::zeros(n);
    }

    // ---- dead code removal and register allocation ----

    // Removes instructions whose results are never used, then maps virtual
    // registers onto as few physical ones as possible: a register is reused
    // once its last reader has run. A destination never shares a register
    // with its own sources, and the four registers of a Sample come from a
    // pool of four-register blocks so they stay consecutive.
    void allocate(const VReg (&resultRegs)[4]) {
        constexpr int kNever = std::numeric_limits<int>::max();
        std::vector<char> live(m_nextReg, 0);
        for (VReg r : resultRegs)
            live[r] = 1;
        std::vector<char> keep(m_code.size(), 0);
        for (size_t i = m_code.size(); i-- > 0;) {
            const VInst& in = m_code[i];
            const int width = in.op == Op::Sample ? 4 : 1;
            bool used = false;
            for (int k = 0; k < width; ++k)
                used = used || live[in.dst + k];
            if (!used) continue;
            keep[i] = 1;
            const int arity = opArity(in.op);
            const VReg srcs[3] = {in.a, in.b, in.c};
            for (int k = 0; k < arity; ++k)
                live[srcs[k]] = 1;
        }
        std::vector<int> lastUse(m_nextReg, -1);
        for (size_t i = 0; i < m_code.size(); ++i) {
            if (!keep[i]) continue;
            const VInst& in = m_code[i];
            const VReg srcs[3] = {in.a, in.b, in.c};
            for (int k = 0; k < opArity(in.op); ++k)
                lastUse[srcs[k]] = static_cast<int>(i);
        }
        for (VReg r : resultRegs)
            lastUse[r] = kNever;

        std::vector<int> phys(m_nextReg, -1);
        for (VReg r = 0; r < m_pinned; ++r)
            phys[r] = static_cast<int>(r);
        int count = static_cast<int>(m_pinned);
        std::vector<int> freeSingles, freeQuads;
        std::vector<int> quadBase;       // per physical register: its block, or -1
        std::vector<int> quadRemaining;  // per block base: members still live
        auto grow = [&](int n) {
            const int base = count;
            count += n;
            if (count > kMaxRegisters) {
                fail(m_kernel.line, m_kernel.column,
                     "kernel needs more than " + std::to_string(kMaxRegisters) + " registers");
            }
            quadBase.resize(count, -1);
            quadRemaining.resize(count, 0);
            return base;
        };
        quadBase.resize(count, -1);
        quadRemaining.resize(count, 0);
        auto release = [&](VReg v) {
            if (v < m_pinned || lastUse[v] == kNever) return;
            const int p = phys[v];
            const int base = quadBase[p];
            if (base < 0) {
                freeSingles.push_back(p);
            } else if (--quadRemaining[base] == 0) {
                freeQuads.push_back(base);
            }
        };

        std::vector<Instruction> out;
        for (size_t i = 0; i < m_code.size(); ++i) {
            if (!keep[i]) continue;
            const VInst& in = m_code[i];
            const int width = in.op == Op::Sample ? 4 : 1;
            if (width == 4) {
                int base;
                if (!freeQuads.empty()) {
                    base = freeQuads.back();
                    freeQuads.pop_back();
                } else {
                    base = grow(4);
                    for (int k = 0; k < 4; ++k)
                        quadBase[base + k] = base;
                }
                quadRemaining[base] = 4;
                for (int k = 0; k < 4; ++k)
                    phys[in.dst + k] = base + k;
            } else if (!freeSingles.empty()) {
                phys[in.dst] = freeSingles.back();
                freeSingles.pop_back();
            } else {
                phys[in.dst] = grow(1);
            }
            Instruction inst;
            inst.op = in.op;
            inst.dst = static_cast<Reg>(phys[in.dst]);
            const VReg srcs[3] = {in.a, in.b, in.c};
            Reg* outSrcs[3] = {&inst.a, &inst.b, &inst.c};
            const int arity = opArity(in.op);
            for (int k = 0; k < arity; ++k)
                *outSrcs[k] = static_cast<Reg>(phys[srcs[k]]);
            inst.imm = in.imm;
            inst.sampler = in.sampler;
            out.push_back(inst);
            for (int k = 0; k < arity; ++k) {
                bool repeated = false;
                for (int j = 0; j < k; ++j)
                    repeated = repeated || srcs[j] == srcs[k];
                if (!repeated && lastUse[srcs[k]] == static_cast<int>(i)) release(srcs[k]);
            }
            for (int k = 0; k < width; ++k) {
                if (lastUse[in.dst + k] < 0) release(in.dst + k);
            }
        }
        if (out.size() > kMaxInstructions) tooMuchWork();
        m_program.code = std::move(out);
        m_program.registerCount = count;
        for (int k = 0; k < 4; ++k)
            m_program.result[k] = static_cast<Reg>(phys[resultRegs[k]]);
    }

    const ast::Unit& m_unit;
    const ast::Function& m_kernel;
    Program m_program;
    std::vector<VInst> m_code;
    VReg m_nextReg = 0;
    VReg m_pinned = 0;
    std::unordered_map<uint32_t, VReg> m_constRegs;
    std::optional<VReg> m_destX, m_destY;
    std::vector<std::optional<Value>> m_coordCache;
    std::vector<double> m_reach;
    std::vector<bool> m_tables;  // per sampler slot: a __table
    std::vector<Value> m_vars;
    std::vector<bool> m_varSet;
    std::vector<JournalEntry> m_journal;
    std::vector<int> m_branches;  // the branches being lowered, innermost last
    int m_branchCount = 0;
    std::vector<int> m_journalled;  // per variable: the branch that journalled it last
    std::vector<Frame> m_frames;
    std::vector<Loop> m_loops;
    std::vector<size_t> m_declDepth;  // per variable: loops entered where it was declared
    std::unordered_map<int, std::vector<int>> m_arrays;  // array symbol -> element variables
    Comp m_overflow = Comp::constant(0.0f);              // 1 where a loop ran out of its budget
};

}  // namespace

Program lowerKernel(const ast::Unit& unit, const ast::Function& kernel) {
    return Lowering(unit, kernel).run();
}

}  // namespace cif::kernel
