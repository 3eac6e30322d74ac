#pragma once
// The syntax tree of kernel source. The parser builds it; the checker fills
// in the annotations (types, resolved names and callees, swizzle indices,
// loop ranges) that lowering reads.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace cif::kernel::ast {

// Value types of the language. `__color` is a Vec4 whose declaration is
// marked isColor; `int` exists only as the type of a loop index, whose value
// reads as a Float.
enum class Type : uint8_t { Void, Bool, Float, Vec2, Vec3, Vec4, Sampler };

inline int componentCount(Type t) {
    switch (t) {
        case Type::Bool:
        case Type::Float:
            return 1;
        case Type::Vec2:
            return 2;
        case Type::Vec3:
            return 3;
        case Type::Vec4:
            return 4;
        default:
            return 0;
    }
}

inline Type vectorType(int components) {
    switch (components) {
        case 1:
            return Type::Float;
        case 2:
            return Type::Vec2;
        case 3:
            return Type::Vec3;
        case 4:
            return Type::Vec4;
        default:
            return Type::Void;
    }
}

inline bool isNumeric(Type t) {
    return t == Type::Float || (t >= Type::Vec2 && t <= Type::Vec4);
}

inline const char* typeName(Type t) {
    switch (t) {
        case Type::Void:
            return "void";
        case Type::Bool:
            return "bool";
        case Type::Float:
            return "float";
        case Type::Vec2:
            return "vec2";
        case Type::Vec3:
            return "vec3";
        case Type::Vec4:
            return "vec4";
        case Type::Sampler:
            return "sampler";
    }
    return "?";
}

enum class CallKind : uint8_t { Unresolved, Function, Builtin, Constructor };

struct Expr {
    enum class Kind : uint8_t {
        Number,   // number
        Bool,     // boolValue
        Name,     // name
        Unary,    // op ("-", "+", "!") args[0]
        Binary,   // op args[0] args[1]; arithmetic, comparison and logical
        Assign,   // op ("=", "+=", ...) args[0] (an lvalue) args[1]
        IncDec,   // op ("++", "--") prefix args[0]
        Ternary,  // args[0] ? args[1] : args[2]
        Call,     // name(args...): function, built-in or constructor
        Swizzle,  // args[0].name
    };
    Kind kind = Kind::Number;
    int line = 1;
    int column = 1;
    std::string name;
    std::string op;
    double number = 0.0;
    bool boolValue = false;
    bool prefix = false;
    std::vector<std::unique_ptr<Expr>> args;

    // Annotations from the checker.
    Type type = Type::Void;
    int symbol = -1;  // Name: index into Unit::symbols
    CallKind callKind = CallKind::Unresolved;
    int callee = -1;      // Function: index into Unit::functions; Builtin: builtin id
    int swizzle[4] = {};  // Swizzle: component indices
    int swizzleCount = 0;
    bool widen = false;  // Assign "=": a vec2 value widened to vec4 (x, y, 0, 1)
};

struct Declarator {
    std::string name;
    int line = 1;
    int column = 1;
    std::unique_ptr<Expr> init;  // may be null
    int symbol = -1;
    bool widen = false;  // vec2 initialiser widened to vec4
};

// Compile-time description of a bounded for loop, filled by the checker.
struct LoopRange {
    bool isInt = false;
    double start = 0.0;
    double bound = 0.0;
    double step = 0.0;
    std::string compare;  // "<", "<=", ">", ">=", "!="
    long iterations = 0;
    int indexSymbol = -1;
};

struct Stmt {
    enum class Kind : uint8_t { Block, Decl, Expr, If, For, Return };
    Kind kind = Kind::Block;
    int line = 1;
    int column = 1;
    std::vector<std::unique_ptr<Stmt>> body;  // Block: statements; If: then [else]; For: init, body
    std::unique_ptr<Expr> expr;               // Expr; Return value; If/For condition
    std::unique_ptr<Expr> step;               // For
    // Decl
    Type declType = Type::Void;
    bool isConst = false;
    bool isColor = false;
    bool isInt = false;  // `int` (allowed only as a loop index)
    std::vector<Declarator> declarators;
    // For
    LoopRange loop;
};

struct Param {
    Type type = Type::Float;
    bool isColor = false;
    bool isConst = false;
    std::string name;
    int line = 1;
    int column = 1;
    int symbol = -1;
};

struct CallSite {
    int callee = -1;
    int line = 1;
    int column = 1;
};

struct Function {
    bool isKernel = false;
    Type returnType = Type::Vec4;
    std::string name;
    int line = 1;
    int column = 1;
    std::vector<Param> params;
    std::unique_ptr<Stmt> body;
    size_t globalsBefore = 0;  // global declarations that precede it in the source
    // Checker
    std::vector<CallSite> calls;
    long cost = -1;
};

struct Symbol {
    std::string name;
    Type type = Type::Float;
    bool isConst = false;
    bool isGlobal = false;
    bool isLoopIndex = false;
    bool hasConstValue = false;  // a scalar whose value is known to the checker
    double constValue = 0.0;
};

struct Unit {
    std::vector<std::unique_ptr<Stmt>> globals;  // Decl statements at global scope
    std::vector<std::unique_ptr<Function>> functions;
    std::vector<Symbol> symbols;
};

}  // namespace cif::kernel::ast
