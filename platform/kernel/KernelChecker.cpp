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
            if (findBuiltin(fn.name) >= 0)
                fail(fn.line, fn.column, "'" + fn.name + "' is the name of a built-in function");
            if (!m_functions.emplace(fn.name, static_cast<int>(i)).second)
                fail(fn.line, fn.column, "function '" + fn.name + "' is already defined");
            if (fn.isKernel) {
                if (fn.returnType != Type::Vec4)
                    fail(fn.line, fn.column, "kernel '" + fn.name + "' must return vec4");
                for (const ast::Param& p : fn.params) {
                    if (p.type == Type::Bool)
                        fail(p.line, p.column, "kernel parameters cannot be bool");
                }
            } else if (fn.returnType == Type::Void || fn.returnType == Type::Sampler) {
                fail(fn.line, fn.column,
                     "function '" + fn.name + "' must return float, vec2, vec3, vec4 or bool");
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
        if (findBuiltin(name) >= 0 || m_functions.count(name))
            fail(line, column, "'" + name + "' is the name of a function");
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
        if (decl.isInt) fail(decl.line, decl.column, "int is only allowed as a loop index");
        if (decl.declType == Type::Sampler || decl.declType == Type::Void)
            fail(decl.line, decl.column,
                 "globals must be float, vec2, vec3, vec4, __color or bool");
        for (ast::Declarator& d : decl.declarators) {
            if (!d.init || (checkExpr(*d.init), !isConstantExpr(*d.init))) {
                fail(d.line, d.column,
                     "global '" + d.name + "' must be initialised with a constant expression");
            }
            declareVariable(decl, d, true);
        }
    }

    void declareVariable(Stmt& decl, ast::Declarator& d, bool global) {
        ast::Symbol symbol;
        symbol.type = decl.declType;
        symbol.isConst = decl.isConst;
        symbol.isGlobal = global;
        if (d.init) {
            d.widen = checkConversion(decl.declType, d.init->type, d.line, d.column);
            if (decl.isConst && decl.declType == Type::Float) {
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

    // Whether a value of type `from` may be stored in `to`; true when it is
    // the vec2 -> vec4 widening (x, y, 0, 1).
    static bool checkConversion(Type to, Type from, int line, int column) {
        if (to == from) return false;
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
            symbol.isConst = p.isConst || p.type == Type::Sampler;
            p.symbol = declare(p.name, p.line, p.column, symbol);
        }
        checkStmt(*fn.body);
        if (!alwaysReturns(*fn.body)) {
            fail(fn.line, fn.column,
                 "function '" + fn.name + "' can reach its end without returning a value");
        }
        m_scopes.pop_back();
        m_current = -1;
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
                if (s.isInt) fail(s.line, s.column, "int is only allowed as a loop index");
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
            case Stmt::Kind::Return: {
                const ast::Function& fn = *m_unit.functions[m_current];
                if (!s.expr) fail(s.line, s.column, "'return' needs a value");
                checkExpr(*s.expr);
                if (s.expr->type != fn.returnType) {
                    fail(s.expr->line, s.expr->column,
                         std::string("cannot return ") + ast::typeName(s.expr->type) + " from '" +
                             fn.name + "', which returns " + ast::typeName(fn.returnType));
                }
                break;
            }
        }
    }

    void checkFor(Stmt& s) {
        m_scopes.emplace_back();
        Stmt& init = *s.body[0];
        ast::LoopRange& r = s.loop;
        if (init.declarators.size() != 1 || !init.declarators[0].init || init.isConst ||
            init.declType != Type::Float) {
            fail(init.line, init.column,
                 "a for loop must declare one int or float index with a start value");
        }
        ast::Declarator& index = init.declarators[0];
        checkExpr(*index.init);
        const std::optional<double> start = constValue(*index.init);
        if (!start) fail(index.init->line, index.init->column, "the loop start must be a constant");
        ast::Symbol symbol;
        symbol.type = Type::Float;
        symbol.isLoopIndex = true;
        index.symbol = declare(index.name, index.line, index.column, symbol);
        r.indexSymbol = index.symbol;
        r.isInt = init.isInt;
        r.start = *start;

        // Condition: index <op> constant.
        Expr& cond = *s.expr;
        checkExpr(cond);
        if (cond.kind != Expr::Kind::Binary || !isComparison(cond.op) || cond.op == "==" ||
            cond.args[0]->kind != Expr::Kind::Name || cond.args[0]->symbol != index.symbol) {
            fail(cond.line, cond.column,
                 "the loop condition must compare the index with a constant, as in i < 10");
        }
        const std::optional<double> bound = constValue(*cond.args[1]);
        if (!bound)
            fail(cond.args[1]->line, cond.args[1]->column, "the loop bound must be a constant");
        r.compare = cond.op;
        r.bound = *bound;

        // Step: i++, ++i, i--, --i, i += C, i -= C.
        Expr& step = *s.step;
        std::optional<double> delta;
        const char* stepMessage = "the loop step must be i++, i--, i += C or i -= C";
        if (step.kind == Expr::Kind::IncDec) {
            delta = step.op == "++" ? 1.0 : -1.0;
        } else if (step.kind == Expr::Kind::Assign && (step.op == "+=" || step.op == "-=")) {
            checkExpr(*step.args[1]);
            delta = constValue(*step.args[1]);
            if (!delta)
                fail(step.args[1]->line, step.args[1]->column, "the loop step must be a constant");
            if (step.op == "-=") delta = -*delta;
        } else {
            fail(step.line, step.column, stepMessage);
        }
        if (step.args[0]->kind != Expr::Kind::Name || step.args[0]->name != index.name)
            fail(step.line, step.column, stepMessage);
        step.args[0]->symbol = index.symbol;
        step.args[0]->type = Type::Float;
        step.type = Type::Float;
        r.step = *delta;

        if (r.isInt) {
            for (double v : {r.start, r.bound, r.step}) {
                // Checked before any conversion to an integer.
                if (!std::isfinite(v) || std::floor(v) != v || std::fabs(v) > 2147483647.0)
                    fail(init.line, init.column, "an int loop needs integer start, bound and step");
            }
        } else if (!std::isfinite(r.start) || !std::isfinite(r.bound) || !std::isfinite(r.step)) {
            fail(init.line, init.column, "the loop start, bound and step must be finite");
        }
        r.iterations = runLoop(r, [](float) {});
        if (r.iterations >= kMaxLoopIterations) {
            fail(s.line, s.column,
                 "loop must run fewer than " + std::to_string(kMaxLoopIterations) + " times");
        }
        m_scopes.emplace_back();
        checkStmt(*s.body[1]);
        m_scopes.pop_back();
        m_scopes.pop_back();
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
                if (e.op == "/") return x / y;
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
            // Call arguments and assignment targets are checked by their cases.
            if (e.kind == Expr::Kind::Call) break;
            checkExpr(*a);
        }
        switch (e.kind) {
            case Expr::Kind::Number:
                e.type = Type::Float;
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
                break;
            }
            case Expr::Kind::Unary: {
                const Type t = e.args[0]->type;
                if (e.op == "!") {
                    if (t != Type::Bool)
                        typeError(e, std::string("'!' needs a bool, not ") + ast::typeName(t));
                } else if (!ast::isNumeric(t)) {
                    typeError(e, "'" + e.op + "' needs a float or vector, not " + ast::typeName(t));
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
                } else if (!ast::isNumeric(to) || (from != to && from != Type::Float)) {
                    typeError(e, std::string("cannot apply '") + e.op + "' to " +
                                     ast::typeName(to) + " and " + ast::typeName(from));
                }
                e.type = to;
                break;
            }
            case Expr::Kind::IncDec:
                checkLvalue(*e.args[0]);
                if (!ast::isNumeric(e.args[0]->type))
                    typeError(e, "'" + e.op + "' needs a float or vector, not " +
                                     ast::typeName(e.args[0]->type));
                e.type = e.args[0]->type;
                break;
            case Expr::Kind::Ternary: {
                if (e.args[0]->type != Type::Bool)
                    typeError(*e.args[0], "the condition of '?:' must be bool");
                const Type a = e.args[1]->type, b = e.args[2]->type;
                if (a != b)
                    typeError(e, std::string("the branches of '?:' have different types ") +
                                     ast::typeName(a) + " and " + ast::typeName(b));
                if (a == Type::Sampler) typeError(e, "'?:' cannot choose between samplers");
                e.type = a;
                break;
            }
            case Expr::Kind::Swizzle:
                checkSwizzle(e);
                break;
            case Expr::Kind::Call:
                checkCall(e);
                break;
        }
    }

    void checkBinary(Expr& e) {
        const Type a = e.args[0]->type, b = e.args[1]->type;
        const std::string& op = e.op;
        auto bad = [&]() {
            typeError(
                e, "'" + op + "' cannot combine " + ast::typeName(a) + " and " + ast::typeName(b));
        };
        if (op == "&&" || op == "||") {
            if (a != Type::Bool || b != Type::Bool) bad();
            e.type = Type::Bool;
        } else if (op == "==" || op == "!=") {
            if (a != b || (a != Type::Float && a != Type::Bool)) bad();
            e.type = Type::Bool;
        } else if (isComparison(op)) {
            if (a != Type::Float || b != Type::Float) bad();
            e.type = Type::Bool;
        } else {
            if (!ast::isNumeric(a) || !ast::isNumeric(b)) bad();
            if (a == b || b == Type::Float) {
                e.type = a;
            } else if (a == Type::Float) {
                e.type = b;
            } else {
                bad();
            }
        }
    }

    void checkLvalue(Expr& target) {
        if (target.kind == Expr::Kind::Name) {
            const ast::Symbol& s = m_unit.symbols[target.symbol];
            if (s.isLoopIndex)
                typeError(target, "the loop index '" + s.name + "' cannot be changed in the loop");
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
        typeError(target, "cannot assign to this expression");
    }

    void checkSwizzle(Expr& e) {
        const Type base = e.args[0]->type;
        const int n = ast::componentCount(base);
        if (!ast::isNumeric(base) || base == Type::Float)
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
        e.type = ast::vectorType(e.swizzleCount);
    }

    void checkCall(Expr& e) {
        for (auto& a : e.args)
            checkExpr(*a);
        // Constructors.
        Type ctor = Type::Void;
        if (e.name == "float") ctor = Type::Float;
        if (e.name == "vec2") ctor = Type::Vec2;
        if (e.name == "vec3") ctor = Type::Vec3;
        if (e.name == "vec4" || e.name == "__color") ctor = Type::Vec4;
        if (e.name == "bool" || e.name == "int" || e.name == "sampler" || e.name == "void")
            typeError(e, "'" + e.name + "(...)' is not supported");
        if (ctor != Type::Void) {
            e.callKind = ast::CallKind::Constructor;
            e.type = ctor;
            checkConstructor(e, ctor);
            return;
        }
        auto fit = m_functions.find(e.name);
        if (fit != m_functions.end()) {
            const ast::Function& fn = *m_unit.functions[fit->second];
            if (fn.isKernel) typeError(e, "cannot call kernel '" + fn.name + "'");
            if (e.args.size() != fn.params.size())
                typeError(e, "'" + fn.name + "' takes " + std::to_string(fn.params.size()) +
                                 " arguments, not " + std::to_string(e.args.size()));
            for (size_t i = 0; i < e.args.size(); ++i) {
                const Expr& a = *e.args[i];
                if (a.type != fn.params[i].type)
                    typeError(a, "argument " + std::to_string(i + 1) + " of '" + fn.name +
                                     "' must be " + ast::typeName(fn.params[i].type) + ", not " +
                                     ast::typeName(a.type));
            }
            e.callKind = ast::CallKind::Function;
            e.callee = fit->second;
            e.type = fn.returnType;
            if (m_current < 0) typeError(e, "functions cannot be called at global scope");
            m_unit.functions[m_current]->calls.push_back({e.callee, e.line, e.column});
            return;
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
        auto argType = [&](int i) { return e.args[i]->type; };
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
        }
        if (!ok) typeError(e, "no function " + signature(e));
    }

    void checkConstructor(Expr& e, Type ctor) {
        const int need = ast::componentCount(ctor);
        if (e.args.empty()) typeError(e, "'" + e.name + "(...)' needs arguments");
        int have = 0;
        for (size_t i = 0; i < e.args.size(); ++i) {
            const Expr& a = *e.args[i];
            if (!ast::isNumeric(a.type) && a.type != Type::Bool)
                typeError(a,
                          std::string("cannot build ") + e.name + " from " + ast::typeName(a.type));
            if (have >= need) typeError(a, "too many arguments to '" + e.name + "(...)'");
            have += ast::componentCount(a.type);
        }
        // One scalar broadcasts; one vector may be truncated (vec3(vec4)).
        if (e.args.size() == 1) return;
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
                return addCost(c, exprCost(*s.expr));
            case Stmt::Kind::If:
                c = addCost(c, exprCost(*s.expr));
                for (const auto& child : s.body)
                    c = addCost(c, stmtCost(*child));
                return c;
            case Stmt::Kind::For:
                return mulCost(s.loop.iterations, stmtCost(*s.body[1]));
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
    std::unordered_map<std::string, int> m_functions;
    std::vector<std::unordered_map<std::string, int>> m_scopes;
    int m_current = -1;
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
