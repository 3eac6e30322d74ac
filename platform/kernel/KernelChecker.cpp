#include "platform/kernel/KernelChecker.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>
#include <string>
#include <unordered_map>

#include "platform/kernel/KernelDiagnostic.h"
#include "platform/kernel/KernelProgram.h"

namespace cif::kernel {

using ast::Expr;
using ast::Stmt;
using ast::Type;

const std::vector<BuiltinInfo>& kernelBuiltins() {
    static const std::vector<BuiltinInfo> table = {
#define CIF_KERNEL_BUILTIN_INFO(id, name, minArgs, maxArgs, shape, mask, result, weight) \
    {Builtin::id, name, minArgs, maxArgs, BuiltinShape::shape, mask, Type::result, weight},
        CIF_KERNEL_BUILTINS(CIF_KERNEL_BUILTIN_INFO)
#undef CIF_KERNEL_BUILTIN_INFO
    };
    return table;
}

namespace {

// Costs saturate here so that nested loops cannot overflow.
constexpr long kCostCap = 1L << 40;
long addCost(long a, long b) {
    return std::min(kCostCap, a + b);
}
long mulCost(long a, long b) {
    if (a == 0 || b == 0) return 0;
    return a > kCostCap / b ? kCostCap : a * b;
}

bool isComparison(const std::string& op) {
    return op == "<" || op == "<=" || op == ">" || op == ">=" || op == "==" || op == "!=";
}

bool loopContinues(const std::string& compare, double v, double bound) {
    if (compare == "<") return v < bound;
    if (compare == "<=") return v <= bound;
    if (compare == ">") return v > bound;
    if (compare == ">=") return v >= bound;
    return v != bound;
}

// Runs the loop's index sequence, calling `visit` with each value, and
// returns the number of iterations, or kMaxLoopIterations when it would run
// that often or more. Float loops step in float, as the program would.
template <typename Visit>
long runLoop(const ast::LoopRange& r, Visit&& visit) {
    long count = 0;
    if (r.isInt) {
        long v = static_cast<long>(r.start);
        const long step = static_cast<long>(r.step);
        while (loopContinues(r.compare, static_cast<double>(v), r.bound)) {
            if (count >= kMaxLoopIterations - 1) return kMaxLoopIterations;
            visit(static_cast<float>(v));
            ++count;
            v += step;  // bounded: |v| < 2^31 + 100000 * 2^31
        }
    } else {
        float v = static_cast<float>(r.start);
        const float bound = static_cast<float>(r.bound);
        const float step = static_cast<float>(r.step);
        while (loopContinues(r.compare, v, bound)) {
            if (count >= kMaxLoopIterations - 1) return kMaxLoopIterations;
            visit(v);
            ++count;
            v = v + step;
        }
    }
    return count;
}

class Checker {
public:
    explicit Checker(ast::Unit& unit) : m_unit(unit) {}

    void run() {
        registerFunctions();
        m_scopes.emplace_back();
        size_t globalIndex = 0;
        for (size_t fi = 0; fi < m_unit.functions.size(); ++fi) {
            ast::Function& fn = *m_unit.functions[fi];
            while (globalIndex < fn.globalsBefore)
                checkGlobal(*m_unit.globals[globalIndex++]);
            checkFunction(fn, static_cast<int>(fi));
        }
        while (globalIndex < m_unit.globals.size())
            checkGlobal(*m_unit.globals[globalIndex++]);
        checkCallGraph();
        // Each kernel is bounded, and so is their sum: every kernel of a
        // source is lowered when it compiles, so a source packed with many
        // kernels at the limit would otherwise cost seconds and gigabytes.
        long total = 0;
        for (auto& fn : m_unit.functions) {
            if (!fn->isKernel) continue;
            const long cost = functionCost(*fn);
            if (cost > static_cast<long>(kMaxInstructions)) {
                fail(fn->line, fn->column,
                     "kernel does more than " + std::to_string(kMaxInstructions) +
                         " operations per pixel");
            }
            total += cost;
            if (total > static_cast<long>(kMaxSourceInstructions)) {
                fail(fn->line, fn->column,
                     "the kernels of this source do more than " +
                         std::to_string(kMaxSourceInstructions) + " operations in all");
            }
        }
    }

private:
    // ---- names ----

    void registerFunctions() {
        for (size_t i = 0; i < m_unit.functions.size(); ++i) {
            ast::Function& fn = *m_unit.functions[i];
            // Sizes written as numbers are known before any call is checked.
            for (ast::Param& p : fn.params)
                if (p.size && p.size->kind == Expr::Kind::Number)
                    p.arraySize = static_cast<int>(std::min(p.size->number, 1e6));
            std::vector<int>& overloads = m_functions[fn.name];
            for (const int other : overloads) {
                const ast::Function& o = *m_unit.functions[other];
                bool same = o.params.size() == fn.params.size();
                for (size_t k = 0; same && k < fn.params.size(); ++k)
                    same = o.params[k].type == fn.params[k].type;
                if (same) fail(fn.line, fn.column, "function '" + fn.name + "' is already defined");
            }
            overloads.push_back(static_cast<int>(i));
            if (fn.isKernel) {
                if (fn.returnType != Type::Vec4 && fn.returnType != Type::Vec2)
                    fail(fn.line, fn.column,
                         "kernel '" + fn.name + "' must return vec4 (or vec2 for a warp)");
                bool hasSample = false, hasSampler = false;
                for (const ast::Param& p : fn.params) {
                    if (scalarOf(p.type) == ast::Scalar::Bool)
                        fail(p.line, p.column, "kernel parameters cannot be bool");
                    if (ast::isMatrix(p.type))
                        fail(p.line, p.column, "kernel parameters cannot be matrices");
                    if (p.qualifier != ast::ParamQualifier::In)
                        fail(p.line, p.column, "kernel parameters cannot be out or inout");
                    hasSample = hasSample || p.isSample;
                    hasSampler = hasSampler || p.type == Type::Sampler;
                }
                if (hasSample && hasSampler)
                    fail(fn.line, fn.column,
                         "kernel '" + fn.name + "' mixes __sample and sampler parameters");
                if (fn.returnType == Type::Vec2 && hasSample)
                    fail(fn.line, fn.column, "a warp kernel cannot take __sample parameters");
            } else {
                for (const ast::Param& p : fn.params)
                    if (p.isSample) fail(p.line, p.column, "only kernels take __sample parameters");
                if (fn.returnType == Type::Sampler)
                    fail(fn.line, fn.column, "function '" + fn.name + "' cannot return a sampler");
            }
        }
    }

    static int findBuiltin(const std::string& name) {
        const auto& table = kernelBuiltins();
        for (size_t i = 0; i < table.size(); ++i) {
            if (name == table[i].name) return static_cast<int>(i);
        }
        return -1;
    }

    int declare(const std::string& name, int line, int column, ast::Symbol symbol) {
        auto& scope = m_scopes.back();
        if (scope.count(name))
            fail(line, column, "'" + name + "' is already declared in this scope");
        symbol.name = name;
        m_unit.symbols.push_back(symbol);
        const int id = static_cast<int>(m_unit.symbols.size()) - 1;
        scope.emplace(name, id);
        return id;
    }

    int lookup(const std::string& name) const {
        for (auto it = m_scopes.rbegin(); it != m_scopes.rend(); ++it) {
            auto found = it->find(name);
            if (found != it->end()) return found->second;
        }
        return -1;
    }

    // ---- declarations ----

    void checkGlobal(Stmt& decl) {
        if (decl.declType == Type::Sampler || decl.declType == Type::Void)
            fail(decl.line, decl.column, "globals cannot be samplers or void");
        for (ast::Declarator& d : decl.declarators) {
            if (!d.init || (checkExpr(*d.init), !isConstantExpr(*d.init))) {
                fail(d.line, d.column,
                     "global '" + d.name + "' must be initialised with a constant expression");
            }
            declareVariable(decl, d, true);
        }
    }

    // The size of an array: a constant int from 1 to kMaxArraySize.
    int arraySize(Expr& size) {
        checkExpr(size);
        const std::optional<double> v = constValue(size);
        if (!v || *v != std::floor(*v) || *v < 1 || *v > kMaxArraySize)
            fail(size.line, size.column,
                 "an array size must be a constant from 1 to " + std::to_string(kMaxArraySize));
        return static_cast<int>(*v);
    }

    void declareVariable(Stmt& decl, ast::Declarator& d, bool global) {
        ast::Symbol symbol;
        symbol.type = decl.declType;
        symbol.isConst = decl.isConst;
        symbol.isGlobal = global;
        if (d.size) {
            symbol.arraySize = arraySize(*d.size);
            if (d.init) {
                const Expr& init = *d.init;
                if (!init.arrayCtor)
                    fail(init.line, init.column, "an array is initialised with its elements");
                if (init.arraySize != symbol.arraySize)
                    fail(init.line, init.column,
                         "'" + d.name + "' has " + std::to_string(symbol.arraySize) +
                             " elements, the initialiser " + std::to_string(init.arraySize));
                for (const auto& element : init.args)
                    if (!converts(decl.declType, element->type))
                        fail(element->line, element->column,
                             std::string("cannot make a ") + ast::typeName(decl.declType) +
                                 " element of " + ast::typeName(element->type));
            } else if (decl.isConst) {
                fail(d.line, d.column, "const '" + d.name + "' must be initialised");
            }
            d.symbol = declare(d.name, d.line, d.column, symbol);
            return;
        }
        if (d.init) {
            if (d.init->arrayCtor || d.init->arraySize > 0)
                fail(d.init->line, d.init->column, "'" + d.name + "' is not an array");
            d.widen = checkConversion(decl.declType, d.init->type, d.line, d.column);
            if (decl.isConst && ast::componentCount(decl.declType) == 1) {
                if (auto v = constValue(*d.init)) {
                    symbol.hasConstValue = true;
                    symbol.constValue = *v;
                }
            }
        } else if (decl.isConst) {
            fail(d.line, d.column, "const '" + d.name + "' must be initialised");
        }
        d.symbol = declare(d.name, d.line, d.column, symbol);
    }

    // The float type of the same shape as an int type; other types as they are.
    static Type floatOf(Type t) {
        if (scalarOf(t) != ast::Scalar::Int) return t;
        return ast::vectorOf(ast::Scalar::Float, ast::componentCount(t));
    }

    // Whether `from` converts to `to` without a constructor: the same type,
    // or ints to floats of the same shape (held alike at run time).
    static bool converts(Type to, Type from) {
        return to == from || (scalarOf(from) == ast::Scalar::Int && floatOf(from) == to);
    }

    // Whether a value of type `from` may be stored in `to`; true when it is
    // the vec2 -> vec4 widening (x, y, 0, 1).
    static bool checkConversion(Type to, Type from, int line, int column) {
        if (converts(to, from)) return false;
        if (to == Type::Vec4 && from == Type::Vec2) return true;
        fail(line, column,
             std::string("cannot assign ") + ast::typeName(from) + " to " + ast::typeName(to));
    }

    // ---- functions and statements ----

    void checkFunction(ast::Function& fn, int index) {
        m_current = index;
        m_scopes.emplace_back();
        for (ast::Param& p : fn.params) {
            ast::Symbol symbol;
            symbol.type = p.type;
            if (p.size) {
                if (fn.isKernel) fail(p.line, p.column, "kernel parameters cannot be arrays");
                p.arraySize = arraySize(*p.size);
                symbol.arraySize = p.arraySize;
            }
            symbol.isConst = p.isConst || p.type == Type::Sampler;
            p.symbol = declare(p.name, p.line, p.column, symbol);
        }
        checkStmt(*fn.body);
        assignLoopBudgets(*fn.body, 0);
        if (fn.returnType != Type::Void && !alwaysReturns(*fn.body)) {
            fail(fn.line, fn.column,
                 "function '" + fn.name + "' can reach its end without returning a value");
        }
        m_scopes.pop_back();
        m_current = -1;
    }

    static bool isLoop(const Stmt& s) {
        return s.kind == Stmt::Kind::For || s.kind == Stmt::Kind::While ||
               s.kind == Stmt::Kind::DoWhile;
    }

    // How deep loops of unknown count nest inside s, s included.
    static int dynamicLoopDepth(const Stmt& s) {
        int inner = 0;
        for (const auto& child : s.body)
            if (child) inner = std::max(inner, dynamicLoopDepth(*child));
        return inner + (isLoop(s) && !s.loop.known ? 1 : 0);
    }

    // A loop of unknown count may run kMaxDynamicLoopIterations times, a
    // quarter of that for each such loop around it or inside it, so that
    // nested loops (a blur over a radius given as an argument) stay within
    // the work limit together.
    static void assignLoopBudgets(Stmt& s, int dynamicDepth) {
        if (isLoop(s) && !s.loop.known) {
            const int nested = dynamicDepth + dynamicLoopDepth(s) - 1;
            s.loop.budget = std::max(1L, kMaxDynamicLoopIterations >> (2 * std::min(nested, 3)));
            ++dynamicDepth;
        }
        for (auto& child : s.body)
            if (child) assignLoopBudgets(*child, dynamicDepth);
    }

    static bool alwaysReturns(const Stmt& s) {
        switch (s.kind) {
            case Stmt::Kind::Return:
                return true;
            case Stmt::Kind::Block:
                for (const auto& child : s.body) {
                    if (alwaysReturns(*child)) return true;
                }
                return false;
            case Stmt::Kind::If:
                return s.body.size() == 2 && alwaysReturns(*s.body[0]) && alwaysReturns(*s.body[1]);
            default:
                return false;
        }
    }

    void checkStmt(Stmt& s) {
        switch (s.kind) {
            case Stmt::Kind::Block:
                m_scopes.emplace_back();
                for (auto& child : s.body)
                    checkStmt(*child);
                m_scopes.pop_back();
                break;
            case Stmt::Kind::Decl:
                if (s.declType == Type::Sampler)
                    fail(s.line, s.column, "sampler variables are not supported");
                for (ast::Declarator& d : s.declarators) {
                    if (d.init) checkExpr(*d.init);
                    declareVariable(s, d, false);
                }
                break;
            case Stmt::Kind::Expr:
                checkExpr(*s.expr);
                break;
            case Stmt::Kind::If:
                checkExpr(*s.expr);
                if (s.expr->type != Type::Bool)
                    fail(s.expr->line, s.expr->column, "the condition of 'if' must be bool");
                for (auto& branch : s.body) {
                    m_scopes.emplace_back();
                    checkStmt(*branch);
                    m_scopes.pop_back();
                }
                break;
            case Stmt::Kind::For:
                checkFor(s);
                break;
            case Stmt::Kind::While:
            case Stmt::Kind::DoWhile:
                m_scopes.emplace_back();
                checkExpr(*s.expr);
                if (s.expr->type != Type::Bool)
                    fail(s.expr->line, s.expr->column, "the loop condition must be bool");
                ++m_loopDepth;
                checkStmt(*s.body[0]);
                --m_loopDepth;
                m_scopes.pop_back();
                break;
            case Stmt::Kind::Break:
            case Stmt::Kind::Continue:
                if (m_loopDepth == 0)
                    fail(s.line, s.column,
                         std::string("'") + (s.kind == Stmt::Kind::Break ? "break" : "continue") +
                             "' outside a loop");
                break;
            case Stmt::Kind::Return: {
                const ast::Function& fn = *m_unit.functions[m_current];
                if (fn.returnType == Type::Void) {
                    if (s.expr)
                        fail(s.line, s.column, "void function '" + fn.name + "' returns a value");
                    break;
                }
                if (!s.expr) fail(s.line, s.column, "'return' needs a value");
                checkExpr(*s.expr);
                if (!converts(fn.returnType, s.expr->type)) {
                    fail(s.expr->line, s.expr->column,
                         std::string("cannot return ") + ast::typeName(s.expr->type) + " from '" +
                             fn.name + "', which returns " + ast::typeName(fn.returnType));
                }
                break;
            }
        }
    }

    // Whether `s` assigns to `symbol` anywhere (then a loop on it has no
    // count known in advance).
    bool assigns(const Expr& e, int symbol) const {
        if ((e.kind == Expr::Kind::Assign || e.kind == Expr::Kind::IncDec)) {
            const Expr* target = e.args[0].get();
            while (target->kind == Expr::Kind::Swizzle || target->kind == Expr::Kind::Index)
                target = target->args[0].get();
            if (target->kind == Expr::Kind::Name && target->symbol == symbol) return true;
        }
        if (e.kind == Expr::Kind::Call && e.callKind == ast::CallKind::Function) {
            const ast::Function& fn = *m_unit.functions[e.callee];
            for (size_t i = 0; i < e.args.size(); ++i) {
                const Expr* arg = e.args[i].get();
                while (arg->kind == Expr::Kind::Swizzle || arg->kind == Expr::Kind::Index)
                    arg = arg->args[0].get();
                if (fn.params[i].qualifier != ast::ParamQualifier::In &&
                    arg->kind == Expr::Kind::Name && arg->symbol == symbol)
                    return true;
            }
        }
        for (const auto& a : e.args)
            if (assigns(*a, symbol)) return true;
        return false;
    }
    bool assigns(const Stmt& s, int symbol) const {
        if (s.expr && assigns(*s.expr, symbol)) return true;
        if (s.step && assigns(*s.step, symbol)) return true;
        for (const auto& d : s.declarators)
            if (d.init && assigns(*d.init, symbol)) return true;
        for (const auto& b : s.body)
            if (b && assigns(*b, symbol)) return true;
        return false;
    }

    void checkFor(Stmt& s) {
        m_scopes.emplace_back();
        if (s.body[0]) checkStmt(*s.body[0]);
        if (s.expr) {
            checkExpr(*s.expr);
            if (s.expr->type != Type::Bool)
                fail(s.expr->line, s.expr->column, "the loop condition must be bool");
        }
        if (s.step) checkExpr(*s.step);
        m_scopes.emplace_back();
        ++m_loopDepth;
        checkStmt(*s.body[1]);
        --m_loopDepth;
        m_scopes.pop_back();
        m_scopes.pop_back();
        findLoopRange(s);
    }

    // Recognises for (T i = A; i < B; i++) and its kin, with A, B and the
    // step constants and i left alone by the body: its count is known, and
    // a loop of kMaxLoopIterations or more is refused here.
    void findLoopRange(Stmt& s) {
        ast::LoopRange& r = s.loop;
        const Stmt* init = s.body[0].get();
        if (!init || init->kind != Stmt::Kind::Decl || init->declarators.size() != 1 || !s.expr ||
            !s.step)
            return;
        const ast::Declarator& index = init->declarators[0];
        if (!index.init || (init->declType != Type::Float && init->declType != Type::Int)) return;
        const std::optional<double> start = constValue(*index.init);
        const Expr& cond = *s.expr;
        if (!start || cond.kind != Expr::Kind::Binary || !isComparison(cond.op) ||
            cond.op == "==" || cond.args[0]->kind != Expr::Kind::Name ||
            cond.args[0]->symbol != index.symbol)
            return;
        const std::optional<double> bound = constValue(*cond.args[1]);
        const Expr& step = *s.step;
        std::optional<double> delta;
        if (step.kind == Expr::Kind::IncDec) {
            delta = step.op == "++" ? 1.0 : -1.0;
        } else if (step.kind == Expr::Kind::Assign && (step.op == "+=" || step.op == "-=")) {
            delta = constValue(*step.args[1]);
            if (delta && step.op == "-=") delta = -*delta;
        }
        if (!bound || !delta || step.args[0]->kind != Expr::Kind::Name ||
            step.args[0]->symbol != index.symbol || assigns(*s.body[1], index.symbol))
            return;
        r.isInt = init->declType == Type::Int;
        r.start = *start;
        r.bound = *bound;
        r.step = *delta;
        r.compare = cond.op;
        r.indexSymbol = index.symbol;
        for (double v : {r.start, r.bound, r.step}) {
            if (!std::isfinite(v) ||
                (r.isInt && (std::floor(v) != v || std::fabs(v) > 2147483647.0)))
                return;
        }
        r.known = true;
        r.iterations = runLoop(r, [](float) {});
        if (r.iterations >= kMaxLoopIterations) {
            fail(s.line, s.column,
                 "loop must run fewer than " + std::to_string(kMaxLoopIterations) + " times");
        }
    }

    // ---- expressions ----

    // A scalar whose value the checker can compute: used for loop ranges.
    std::optional<double> constValue(const Expr& e) const {
        switch (e.kind) {
            case Expr::Kind::Number:
                return e.number;
            case Expr::Kind::Name: {
                const ast::Symbol& s = m_unit.symbols[e.symbol];
                if (s.hasConstValue) return s.constValue;
                return std::nullopt;
            }
            case Expr::Kind::Unary: {
                auto v = constValue(*e.args[0]);
                if (!v || e.op == "!") return std::nullopt;
                return e.op == "-" ? -*v : *v;
            }
            case Expr::Kind::Binary: {
                auto a = constValue(*e.args[0]);
                auto b = constValue(*e.args[1]);
                if (!a || !b) return std::nullopt;
                const float x = static_cast<float>(*a), y = static_cast<float>(*b);
                if (e.op == "+") return x + y;
                if (e.op == "-") return x - y;
                if (e.op == "*") return x * y;
                if (e.op == "/") return e.type == Type::Int ? std::trunc(x / y) : x / y;
                return std::nullopt;
            }
            default:
                return std::nullopt;
        }
    }

    // Whether an expression can be computed at compile time (global initialisers).
    bool isConstantExpr(const Expr& e) const {
        switch (e.kind) {
            case Expr::Kind::Number:
            case Expr::Kind::Bool:
                return true;
            case Expr::Kind::Name:
                return m_unit.symbols[e.symbol].isGlobal;
            case Expr::Kind::Assign:
            case Expr::Kind::IncDec:
                return false;
            case Expr::Kind::Call:
                if (e.callKind == ast::CallKind::Function) return false;
                if (e.callKind == ast::CallKind::Builtin) {
                    const BuiltinShape shape = kernelBuiltins()[e.callee].shape;
                    if (shape == BuiltinShape::SamplerOnly || shape == BuiltinShape::SamplerVec2 ||
                        shape == BuiltinShape::NoArgs)
                        return false;
                }
                break;
            default:
                break;
        }
        for (const auto& a : e.args) {
            if (!isConstantExpr(*a)) return false;
        }
        return true;
    }

    [[noreturn]] static void typeError(const Expr& e, const std::string& message) {
        fail(e.line, e.column, message);
    }

    void checkExpr(Expr& e) {
        for (auto& a : e.args) {
            // Call arguments are checked by their case.
            if (e.kind == Expr::Kind::Call) break;
            checkExpr(*a);
        }
        // A whole array is only indexed or passed to a helper.
        for (size_t i = 0; i < e.args.size() && e.kind != Expr::Kind::Call; ++i) {
            if (e.args[i]->arraySize > 0 && !(e.kind == Expr::Kind::Index && i == 0))
                typeError(*e.args[i], "array '" + e.args[i]->name + "' must be indexed");
        }
        if (e.kind == Expr::Kind::Call && e.arrayCtor) {
            for (auto& a : e.args) {
                checkExpr(*a);
                if (a->arraySize > 0) typeError(*a, "arrays cannot hold arrays");
            }
            e.type = constructorType(e.name);
            e.arraySize = static_cast<int>(e.args.size());
            if (e.arraySizeExpr && arraySize(*e.arraySizeExpr) != e.arraySize)
                typeError(e, "the array constructor's size and element count differ");
            if (e.args.empty()) typeError(e, "an array needs elements");
            return;
        }
        switch (e.kind) {
            case Expr::Kind::Number:
                e.type = e.integer ? Type::Int : Type::Float;
                break;
            case Expr::Kind::Bool:
                e.type = Type::Bool;
                break;
            case Expr::Kind::Name: {
                e.symbol = lookup(e.name);
                if (e.symbol < 0) {
                    if (m_functions.count(e.name) || findBuiltin(e.name) >= 0)
                        typeError(e, "function '" + e.name + "' used without a call");
                    typeError(e, "unknown identifier '" + e.name + "'");
                }
                e.type = m_unit.symbols[e.symbol].type;
                e.arraySize = m_unit.symbols[e.symbol].arraySize;
                break;
            }
            case Expr::Kind::Unary: {
                const Type t = e.args[0]->type;
                if (e.op == "!") {
                    if (t != Type::Bool)
                        typeError(e, std::string("'!' needs a bool, not ") + ast::typeName(t));
                } else if (!ast::isNumeric(t) && !ast::isMatrix(t)) {
                    typeError(e, "'" + e.op + "' needs a number, vector or matrix, not " +
                                     ast::typeName(t));
                }
                e.type = t;
                break;
            }
            case Expr::Kind::Binary:
                checkBinary(e);
                break;
            case Expr::Kind::Assign: {
                checkLvalue(*e.args[0]);
                const Type to = e.args[0]->type, from = e.args[1]->type;
                if (e.op == "=") {
                    e.widen = checkConversion(to, from, e.line, e.column);
                } else {
                    // a op= b means a = a op b, which must give a's type back.
                    const Type result = arithmeticType(e.op.substr(0, 1), to, from);
                    if (result == Type::Void || !converts(to, result))
                        typeError(e, std::string("cannot apply '") + e.op + "' to " +
                                         ast::typeName(to) + " and " + ast::typeName(from));
                }
                e.type = to;
                break;
            }
            case Expr::Kind::IncDec:
                checkLvalue(*e.args[0]);
                if (!ast::isNumeric(e.args[0]->type) && !ast::isMatrix(e.args[0]->type))
                    typeError(e, "'" + e.op + "' needs a number, vector or matrix, not " +
                                     ast::typeName(e.args[0]->type));
                e.type = e.args[0]->type;
                break;
            case Expr::Kind::Ternary: {
                if (e.args[0]->type != Type::Bool)
                    typeError(*e.args[0], "the condition of '?:' must be bool");
                const Type a = e.args[1]->type, b = e.args[2]->type;
                if (!converts(a, b) && !converts(b, a))
                    typeError(e, std::string("the branches of '?:' have different types ") +
                                     ast::typeName(a) + " and " + ast::typeName(b));
                if (a == Type::Sampler) typeError(e, "'?:' cannot choose between samplers");
                e.type = converts(a, b) ? a : b;
                break;
            }
            case Expr::Kind::Swizzle:
                checkSwizzle(e);
                break;
            case Expr::Kind::Index: {
                const Type base = e.args[0]->type;
                const Expr& index = *e.args[1];
                if (!ast::isNumeric(index.type) || ast::componentCount(index.type) != 1)
                    typeError(index, std::string("an index must be an int, not ") +
                                         ast::typeName(index.type));
                if (e.args[0]->arraySize > 0) {
                    const int size = e.args[0]->arraySize;
                    if (auto v = constValue(index); v && (*v < 0 || *v >= size))
                        typeError(index, "index " + std::to_string(static_cast<long>(*v)) +
                                             " is out of range for an array of " +
                                             std::to_string(size));
                    e.type = base;
                    break;
                }
                const int n =
                    ast::isMatrix(base) ? ast::matrixSize(base) : ast::componentCount(base);
                if (scalarOf(base) == ast::Scalar::None || n < 2)
                    typeError(e, std::string("cannot index ") + ast::typeName(base));
                if (auto v = constValue(index); v && (*v < 0 || *v >= n))
                    typeError(index, "index " + std::to_string(static_cast<long>(*v)) +
                                         " is out of range for " + ast::typeName(base));
                e.type = ast::isMatrix(base) ? ast::vectorOf(ast::Scalar::Float, n)
                                             : ast::vectorOf(scalarOf(base), 1);
                break;
            }
            case Expr::Kind::Call:
                checkCall(e);
                break;
        }
    }

    // The type of a op b for + - * /, or Void when they do not combine.
    // Ints mix with floats (as floats); a scalar combines with a vector or
    // matrix componentwise; matrix * vector and matrix * matrix are
    // products.
    static Type arithmeticType(const std::string& op, Type a, Type b) {
        const ast::Scalar ka = scalarOf(a), kb = scalarOf(b);
        if (ka == ast::Scalar::Bool || kb == ast::Scalar::Bool || ka == ast::Scalar::None ||
            kb == ast::Scalar::None)
            return Type::Void;
        const ast::Scalar k = (ka == ast::Scalar::Float || kb == ast::Scalar::Float)
                                  ? ast::Scalar::Float
                                  : ast::Scalar::Int;
        const int na = ast::componentCount(a), nb = ast::componentCount(b);
        const bool ma = ast::isMatrix(a), mb = ast::isMatrix(b);
        if (ma || mb) {
            if (k != ast::Scalar::Float) return Type::Void;
            if (na == 1) return b;
            if (nb == 1) return a;
            if (ma && mb) return a == b ? a : Type::Void;
            if (op != "*") return Type::Void;
            const int size = ast::matrixSize(ma ? a : b);
            const Type v = ma ? b : a;
            return ast::componentCount(v) == size ? floatOf(v) : Type::Void;
        }
        if (na == nb) return ast::vectorOf(k, na);
        if (na == 1) return ast::vectorOf(k, nb);
        if (nb == 1) return ast::vectorOf(k, na);
        return Type::Void;
    }

    void checkBinary(Expr& e) {
        const Type a = e.args[0]->type, b = e.args[1]->type;
        const std::string& op = e.op;
        auto bad = [&]() {
            typeError(
                e, "'" + op + "' cannot combine " + ast::typeName(a) + " and " + ast::typeName(b));
        };
        if (op == ",") {
            e.type = b;
            return;
        }
        if (op == "&&" || op == "||" || op == "^^") {
            if (a != Type::Bool || b != Type::Bool) bad();
            e.type = Type::Bool;
        } else if (op == "==" || op == "!=") {
            if ((!converts(a, b) && !converts(b, a)) || a == Type::Sampler) bad();
            e.type = Type::Bool;
        } else if (isComparison(op)) {
            if (!ast::isNumeric(a) || !ast::isNumeric(b) || ast::componentCount(a) != 1 ||
                ast::componentCount(b) != 1)
                bad();
            e.type = Type::Bool;
        } else {
            e.type = arithmeticType(op, a, b);
            if (e.type == Type::Void) bad();
        }
    }

    void checkLvalue(Expr& target) {
        if (target.kind == Expr::Kind::Name) {
            const ast::Symbol& s = m_unit.symbols[target.symbol];
            if (s.type == Type::Sampler)
                typeError(target, "cannot assign to sampler '" + s.name + "'");
            if (s.isConst) typeError(target, "cannot assign to const '" + s.name + "'");
            return;
        }
        if (target.kind == Expr::Kind::Swizzle) {
            for (int i = 0; i < target.swizzleCount; ++i) {
                for (int j = 0; j < i; ++j) {
                    if (target.swizzle[i] == target.swizzle[j])
                        typeError(target, "cannot assign to swizzle '" + target.name +
                                              "', which repeats a component");
                }
            }
            checkLvalue(*target.args[0]);
            return;
        }
        if (target.kind == Expr::Kind::Index) {
            checkLvalue(*target.args[0]);
            return;
        }
        typeError(target, "cannot assign to this expression");
    }

    void checkSwizzle(Expr& e) {
        const Type base = e.args[0]->type;
        const int n = ast::componentCount(base);
        if (!ast::isScalarOrVector(base) || n < 2)
            typeError(e, std::string("cannot take components of ") + ast::typeName(base));
        static const char* const sets[] = {"xyzw", "rgba", "stpq"};
        if (e.name.size() > 4) typeError(e, "swizzle '" + e.name + "' has more than 4 components");
        int set = -1;
        for (size_t i = 0; i < e.name.size(); ++i) {
            int found = -1, foundSet = -1;
            for (int s = 0; s < 3 && found < 0; ++s) {
                const char* p = std::strchr(sets[s], e.name[i]);
                if (p && e.name[i] != '\0') {
                    found = static_cast<int>(p - sets[s]);
                    foundSet = s;
                }
            }
            if (found < 0) typeError(e, "'" + e.name + "' is not a swizzle");
            if (set >= 0 && foundSet != set)
                typeError(e, "swizzle '" + e.name + "' mixes component sets");
            set = foundSet;
            if (found >= n)
                typeError(e,
                          "swizzle '" + e.name + "' reads past the end of " + ast::typeName(base));
            e.swizzle[i] = found;
        }
        e.swizzleCount = static_cast<int>(e.name.size());
        e.type = ast::vectorOf(scalarOf(base), e.swizzleCount);
    }

    static Type constructorType(const std::string& name) {
        static const std::pair<const char*, Type> kCtors[] = {
            {"float", Type::Float}, {"vec2", Type::Vec2},    {"vec3", Type::Vec3},
            {"vec4", Type::Vec4},   {"__color", Type::Vec4}, {"int", Type::Int},
            {"ivec2", Type::IVec2}, {"ivec3", Type::IVec3},  {"ivec4", Type::IVec4},
            {"bool", Type::Bool},   {"bvec2", Type::BVec2},  {"bvec3", Type::BVec3},
            {"bvec4", Type::BVec4}, {"mat2", Type::Mat2},    {"mat3", Type::Mat3},
            {"mat4", Type::Mat4}};
        for (const auto& [word, type] : kCtors)
            if (name == word) return type;
        return Type::Void;
    }

    // How well a call's arguments fit a function's parameters: 2 exactly, 1
    // with int-to-float conversions, 0 not at all.
    int fit(const Expr& call, const ast::Function& fn) const {
        if (call.args.size() != fn.params.size()) return 0;
        int score = 2;
        for (size_t i = 0; i < call.args.size(); ++i) {
            const Type have = call.args[i]->type, want = fn.params[i].type;
            if (call.args[i]->arraySize != fn.params[i].arraySize) return 0;
            if (have == want) continue;
            // out and inout arguments are written back: no conversion.
            if (fn.params[i].qualifier != ast::ParamQualifier::In || !converts(want, have))
                return 0;
            score = 1;
        }
        return score;
    }

    void checkCall(Expr& e) {
        for (auto& a : e.args)
            checkExpr(*a);
        const Type ctor = constructorType(e.name);
        for (const auto& a : e.args)
            if (a->arraySize > 0 && !m_functions.count(e.name))
                typeError(*a, "array '" + a->name + "' must be indexed");
        if (e.name == "sampler" || e.name == "void" || e.name == "__sample" || e.name == "__table")
            typeError(e, "'" + e.name + "(...)' is not supported");
        if (ctor != Type::Void) {
            e.callKind = ast::CallKind::Constructor;
            e.type = ctor;
            checkConstructor(e, ctor);
            return;
        }
        // The kernel's own functions first (they may overload or take the
        // name of a built-in), then the built-ins.
        auto fit_ = m_functions.find(e.name);
        if (fit_ != m_functions.end()) {
            int best = -1, bestScore = 0, tied = 0;
            for (const int f : fit_->second) {
                const int score = fit(e, *m_unit.functions[f]);
                if (score > bestScore) {
                    best = f;
                    bestScore = score;
                    tied = 0;
                } else if (score == bestScore && score > 0) {
                    ++tied;
                }
            }
            if (best >= 0 && tied > 0) typeError(e, "the call " + signature(e) + " is ambiguous");
            if (best >= 0) {
                const ast::Function& fn = *m_unit.functions[best];
                if (fn.isKernel) typeError(e, "cannot call kernel '" + fn.name + "'");
                for (size_t i = 0; i < e.args.size(); ++i)
                    if (fn.params[i].qualifier != ast::ParamQualifier::In) checkLvalue(*e.args[i]);
                e.callKind = ast::CallKind::Function;
                e.callee = best;
                e.type = fn.returnType;
                if (m_current < 0) typeError(e, "functions cannot be called at global scope");
                m_unit.functions[m_current]->calls.push_back({e.callee, e.line, e.column});
                return;
            }
            if (findBuiltin(e.name) < 0) {
                const ast::Function& fn = *m_unit.functions[fit_->second.front()];
                if (fit_->second.size() == 1 && e.args.size() != fn.params.size())
                    typeError(e, "'" + fn.name + "' takes " + std::to_string(fn.params.size()) +
                                     " arguments, not " + std::to_string(e.args.size()));
                typeError(e, "no function " + signature(e));
            }
        }
        const int b = findBuiltin(e.name);
        if (b < 0) typeError(e, "unknown function '" + e.name + "'");
        e.callKind = ast::CallKind::Builtin;
        e.callee = b;
        checkBuiltin(e, kernelBuiltins()[b]);
    }

    std::string signature(const Expr& e) const {
        std::string s = e.name + "(";
        for (size_t i = 0; i < e.args.size(); ++i) {
            if (i) s += ", ";
            s += ast::typeName(e.args[i]->type);
        }
        return s + ")";
    }

    void checkBuiltin(Expr& e, const BuiltinInfo& info) {
        const int n = static_cast<int>(e.args.size());
        if (n < info.minArgs || n > info.maxArgs) typeError(e, "no function " + signature(e));
        auto argType = [&](int i) { return floatOf(e.args[i]->type); };
        bool ok = true;
        switch (info.shape) {
            case BuiltinShape::Gen: {
                Type gen = Type::Void;
                for (int i = 0; i < n; ++i) {
                    const Type t = argType(i);
                    if (!ast::isNumeric(t)) ok = false;
                    if (t == Type::Float && (info.scalarMask >> i & 1u)) continue;
                    if (gen == Type::Void) gen = t;
                    if (t != gen) ok = false;
                }
                if (gen == Type::Void) gen = Type::Float;
                // A broadcast scalar argument needs a vector genType elsewhere or a float one.
                e.type = gen;
                break;
            }
            case BuiltinShape::Reduce:
                for (int i = 0; i < n; ++i) {
                    if (!ast::isNumeric(argType(i)) || argType(i) != argType(0)) ok = false;
                }
                e.type = Type::Float;
                break;
            case BuiltinShape::Cross:
                ok = argType(0) == Type::Vec3 && argType(1) == Type::Vec3;
                e.type = Type::Vec3;
                break;
            case BuiltinShape::Color:
                ok = argType(0) == Type::Vec4;
                e.type = Type::Vec4;
                break;
            case BuiltinShape::SamplerOnly:
                ok = argType(0) == Type::Sampler;
                e.type = info.result;
                break;
            case BuiltinShape::SamplerVec2:
                ok = argType(0) == Type::Sampler && argType(1) == Type::Vec2;
                e.type = info.result;
                break;
            case BuiltinShape::NoArgs:
                e.type = info.result;
                break;
            case BuiltinShape::Relational: {
                const Type a = e.args[0]->type, b = e.args[1]->type;
                const bool boolsToo = info.id == Builtin::Equal || info.id == Builtin::NotEqual;
                ok = a == b && ast::isScalarOrVector(a) && ast::componentCount(a) > 1 &&
                     (scalarOf(a) != ast::Scalar::Bool || boolsToo);
                e.type = ast::vectorOf(ast::Scalar::Bool, ast::componentCount(a));
                break;
            }
            case BuiltinShape::BoolReduce:
            case BuiltinShape::BoolVector: {
                const Type a = e.args[0]->type;
                ok = scalarOf(a) == ast::Scalar::Bool && ast::componentCount(a) > 1;
                e.type = info.shape == BuiltinShape::BoolReduce ? Type::Bool : a;
                break;
            }
            case BuiltinShape::MatrixPair:
                ok = ast::isMatrix(e.args[0]->type) && e.args[0]->type == e.args[1]->type;
                e.type = e.args[0]->type;
                break;
            case BuiltinShape::FloatToVec2:
                ok = argType(0) == Type::Float;
                e.type = Type::Vec2;
                break;
        }
        if (!ok) typeError(e, "no function " + signature(e));
    }

    void checkConstructor(Expr& e, Type ctor) {
        const int need = ast::componentCount(ctor);
        if (e.args.empty()) typeError(e, "'" + e.name + "(...)' needs arguments");
        e.ctorFrom = e.args.size() == 1 ? e.args[0]->type : Type::Void;
        // A matrix from one scalar (a diagonal) or one matrix (resized).
        if (ast::isMatrix(ctor) && e.args.size() == 1 &&
            (ast::isMatrix(e.args[0]->type) || ast::componentCount(e.args[0]->type) == 1) &&
            scalarOf(e.args[0]->type) != ast::Scalar::Bool)
            return;
        int have = 0;
        for (size_t i = 0; i < e.args.size(); ++i) {
            const Expr& a = *e.args[i];
            if (scalarOf(a.type) == ast::Scalar::None ||
                (ast::isMatrix(a.type) && !ast::isMatrix(ctor)))
                typeError(a,
                          std::string("cannot build ") + e.name + " from " + ast::typeName(a.type));
            if (have >= need) typeError(a, "too many arguments to '" + e.name + "(...)'");
            have += ast::componentCount(a.type);
        }
        // One scalar broadcasts; one vector may be truncated (vec3(vec4)).
        if (e.args.size() == 1 && !ast::isMatrix(ctor)) return;
        if (have < need) typeError(e, "not enough components for '" + e.name + "(...)'");
    }

    // ---- call graph and cost ----

    void checkCallGraph() {
        const size_t n = m_unit.functions.size();
        std::vector<int> state(n, 0);  // 0 unvisited, 1 on the stack, 2 done
        std::vector<int> depth(n, 0);
        std::vector<int> stack;
        // Iterative DFS would be longer; recursion here is bounded by the
        // number of functions on the current path, which the depth limit
        // stops at kMaxCallDepth + 1.
        auto visit = [&](auto&& self, int f) -> void {
            state[f] = 1;
            stack.push_back(f);
            for (const ast::CallSite& c : m_unit.functions[f]->calls) {
                if (state[c.callee] == 1) {
                    const std::string& callee = m_unit.functions[c.callee]->name;
                    if (c.callee == f)
                        fail(c.line, c.column, "function '" + callee + "' calls itself");
                    fail(c.line, c.column,
                         "function '" + callee + "' calls itself through '" +
                             m_unit.functions[f]->name + "'");
                }
                if (state[c.callee] == 0) {
                    if (static_cast<int>(stack.size()) > kMaxCallDepth)
                        fail(c.line, c.column,
                             "function calls nested more than " + std::to_string(kMaxCallDepth) +
                                 " deep");
                    self(self, c.callee);
                }
                depth[f] = std::max(depth[f], depth[c.callee] + 1);
                if (depth[f] > kMaxCallDepth)
                    fail(c.line, c.column,
                         "function calls nested more than " + std::to_string(kMaxCallDepth) +
                             " deep");
            }
            stack.pop_back();
            state[f] = 2;
        };
        for (size_t f = 0; f < n; ++f) {
            if (state[f] == 0) visit(visit, static_cast<int>(f));
        }
    }

    long functionCost(ast::Function& fn) {
        if (fn.cost < 0) fn.cost = stmtCost(*fn.body);
        return fn.cost;
    }

    // The static work of a statement: one per statement plus its
    // expressions; a block costs its statements (at least one); a loop
    // costs its body once per iteration.
    long stmtCost(const Stmt& s) {
        long c = 1;
        switch (s.kind) {
            case Stmt::Kind::Block:
                c = 0;
                for (const auto& child : s.body)
                    c = addCost(c, stmtCost(*child));
                return std::max(c, 1L);
            case Stmt::Kind::Decl:
                for (const auto& d : s.declarators) {
                    if (d.init) c = addCost(c, exprCost(*d.init));
                }
                return c;
            case Stmt::Kind::Expr:
            case Stmt::Kind::Return:
                return s.expr ? addCost(c, exprCost(*s.expr)) : c;
            case Stmt::Kind::If:
                c = addCost(c, exprCost(*s.expr));
                for (const auto& child : s.body)
                    c = addCost(c, stmtCost(*child));
                return c;
            case Stmt::Kind::For: {
                // A loop of unknown count is unrolled up to its budget.
                const long n = s.loop.known ? s.loop.iterations : s.loop.budget;
                long body = stmtCost(*s.body[1]);
                // A known count's index is a constant in each iteration.
                if (!s.loop.known) {
                    if (s.expr) body = addCost(body, exprCost(*s.expr));
                    if (s.step) body = addCost(body, exprCost(*s.step));
                    body = addCost(body, s.body[0] ? stmtCost(*s.body[0]) : 0);
                }
                return mulCost(n, body);
            }
            case Stmt::Kind::While:
            case Stmt::Kind::DoWhile:
                return mulCost(s.loop.budget, addCost(exprCost(*s.expr), stmtCost(*s.body[0])));
            case Stmt::Kind::Break:
            case Stmt::Kind::Continue:
                return c;
        }
        return c;
    }

    // Operators cost one per component; names, literals, constructors,
    // swizzles and plain assignments only move values and cost nothing.
    long exprCost(const Expr& e) {
        long c = 0;
        for (const auto& a : e.args)
            c = addCost(c, exprCost(*a));
        const long components = std::max(1, ast::componentCount(e.type));
        switch (e.kind) {
            case Expr::Kind::Unary:
            case Expr::Kind::Binary:
            case Expr::Kind::IncDec:
            case Expr::Kind::Ternary:
                return addCost(c, components);
            case Expr::Kind::Assign:
                return addCost(c, e.op == "=" ? 0 : components);
            case Expr::Kind::Call:
                if (e.callKind == ast::CallKind::Function)
                    return addCost(addCost(c, 1), functionCost(*m_unit.functions[e.callee]));
                if (e.callKind == ast::CallKind::Builtin)
                    return addCost(c, components * kernelBuiltins()[e.callee].weight);
                return c;
            default:
                return c;
        }
    }

    ast::Unit& m_unit;
    std::unordered_map<std::string, std::vector<int>> m_functions;
    std::vector<std::unordered_map<std::string, int>> m_scopes;
    int m_current = -1;
    int m_loopDepth = 0;
};

}  // namespace

void checkKernelUnit(ast::Unit& unit) {
    Checker(unit).run();
}

std::vector<float> loopIndexValues(const ast::LoopRange& range) {
    std::vector<float> values;
    runLoop(range, [&](float v) { values.push_back(v); });
    return values;
}

}  // namespace cif::kernel
