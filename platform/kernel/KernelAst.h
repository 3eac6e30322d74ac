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
// marked isColor. Integers and booleans are held as floats at run time (an
// int is exact up to 2^24; a bool is 0 or 1), so they convert for free.
enum class Type : uint8_t {
    Void,
    Bool,
    Float,
    Vec2,
    Vec3,
    Vec4,
    Sampler,
    Int,
    IVec2,
    IVec3,
    IVec4,
    BVec2,
    BVec3,
    BVec4,
    Mat2,
    Mat3,
    Mat4,
};

// The component kind of a type.
enum class Scalar : uint8_t { None, Float, Int, Bool };

inline Scalar scalarOf(Type t) {
    switch (t) {
        case Type::Float:
        case Type::Vec2:
        case Type::Vec3:
        case Type::Vec4:
        case Type::Mat2:
        case Type::Mat3:
        case Type::Mat4:
            return Scalar::Float;
        case Type::Int:
        case Type::IVec2:
        case Type::IVec3:
        case Type::IVec4:
            return Scalar::Int;
        case Type::Bool:
        case Type::BVec2:
        case Type::BVec3:
        case Type::BVec4:
            return Scalar::Bool;
        default:
            return Scalar::None;
    }
}

inline bool isMatrix(Type t) {
    return t == Type::Mat2 || t == Type::Mat3 || t == Type::Mat4;
}

// Columns (and rows) of a matrix type; 0 for other types.
inline int matrixSize(Type t) {
    return t == Type::Mat2 ? 2 : t == Type::Mat3 ? 3 : t == Type::Mat4 ? 4 : 0;
}

inline int componentCount(Type t) {
    switch (t) {
        case Type::Bool:
        case Type::Float:
        case Type::Int:
            return 1;
        case Type::Vec2:
        case Type::IVec2:
        case Type::BVec2:
            return 2;
        case Type::Vec3:
        case Type::IVec3:
        case Type::BVec3:
            return 3;
        case Type::Vec4:
        case Type::IVec4:
        case Type::BVec4:
        case Type::Mat2:
            return 4;
        case Type::Mat3:
            return 9;
        case Type::Mat4:
            return 16;
        default:
            return 0;
    }
}

// The scalar or vector of `kind` with `components` components (1 to 4).
inline Type vectorOf(Scalar kind, int components) {
    static constexpr Type kTypes[3][4] = {{Type::Float, Type::Vec2, Type::Vec3, Type::Vec4},
                                          {Type::Int, Type::IVec2, Type::IVec3, Type::IVec4},
                                          {Type::Bool, Type::BVec2, Type::BVec3, Type::BVec4}};
    if (components < 1 || components > 4 || kind == Scalar::None) return Type::Void;
    return kTypes[static_cast<int>(kind) - 1][components - 1];
}

inline Type vectorType(int components) {
    return vectorOf(Scalar::Float, components);
}

// Scalars and vectors (not matrices).
inline bool isScalarOrVector(Type t) {
    return scalarOf(t) != Scalar::None && !isMatrix(t);
}

// Float or int scalars and vectors: what arithmetic takes (matrices aside).
inline bool isNumeric(Type t) {
    const Scalar k = scalarOf(t);
    return (k == Scalar::Float || k == Scalar::Int) && !isMatrix(t);
}

inline const char* typeName(Type t) {
    static constexpr const char* kNames[] = {"void",    "bool",  "float", "vec2",  "vec3",  "vec4",
                                             "sampler", "int",   "ivec2", "ivec3", "ivec4", "bvec2",
                                             "bvec3",   "bvec4", "mat2",  "mat3",  "mat4"};
    const auto i = static_cast<size_t>(t);
    return i < sizeof kNames / sizeof kNames[0] ? kNames[i] : "?";
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
        Index,    // args[0][args[1]]: a vector's component, a matrix's column
    };
    Kind kind = Kind::Number;
    int line = 1;
    int column = 1;
    std::string name;
    std::string op;
    double number = 0.0;
    bool integer = false;  // Number: written as an integer
    bool boolValue = false;
    bool prefix = false;
    std::vector<std::unique_ptr<Expr>> args;

    // Annotations from the checker.
    Type type = Type::Void;
    int symbol = -1;  // Name: index into Unit::symbols
    CallKind callKind = CallKind::Unresolved;
    int callee = -1;             // Function: index into Unit::functions; Builtin: builtin id
    Type ctorFrom = Type::Void;  // Constructor of one argument: that argument's type
    // Call of an array constructor (`float[3](...)`, `float[](...)`, or an
    // initialiser list `{...}` with an empty name): its size expression.
    bool arrayCtor = false;
    std::unique_ptr<Expr> arraySizeExpr;
    int arraySize = 0;    // the checker: elements of an array-valued expression
    int swizzle[4] = {};  // Swizzle: component indices
    int swizzleCount = 0;
    bool widen = false;  // Assign "=": a vec2 value widened to vec4 (x, y, 0, 1)
};

struct Declarator {
    std::string name;
    int line = 1;
    int column = 1;
    std::unique_ptr<Expr> init;  // may be null
    std::unique_ptr<Expr> size;  // an array's size, or null
    int symbol = -1;
    bool widen = false;  // vec2 initialiser widened to vec4
};

// Compile-time description of a for loop whose index runs from a constant
// start to a constant bound by a constant step, filled by the checker.
struct LoopRange {
    bool known = false;  // the loop has that form; otherwise its count is unknown
    bool isInt = false;
    double start = 0.0;
    double bound = 0.0;
    double step = 0.0;
    std::string compare;  // "<", "<=", ">", ">=", "!="
    long iterations = 0;
    int indexSymbol = -1;
    // Otherwise: how often the loop may run (fewer inside other such loops).
    long budget = 0;
};

struct Stmt {
    enum class Kind : uint8_t {
        Block,
        Decl,
        Expr,
        If,
        For,      // body[0] init (may be null), expr condition (may be null), step (may be null),
                  // body[1]
        While,    // expr condition, body[0]
        DoWhile,  // body[0], expr condition
        Break,
        Continue,
        Return
    };
    Kind kind = Kind::Block;
    int line = 1;
    int column = 1;
    std::vector<std::unique_ptr<Stmt>> body;  // Block: statements; If: then [else]; loops: see Kind
    std::unique_ptr<Expr> expr;               // Expr; Return value; If/loop condition
    std::unique_ptr<Expr> step;               // For
    // Decl
    Type declType = Type::Void;
    bool isConst = false;
    bool isColor = false;
    std::vector<Declarator> declarators;
    // For
    LoopRange loop;
};

enum class ParamQualifier : uint8_t { In, Out, InOut };

struct Param {
    Type type = Type::Float;
    bool isColor = false;
    bool isConst = false;
    bool isSample = false;  // `__sample`: a colour kernel's input pixel (a vec4)
    bool isTable = false;   // `__table`: a sampler read without interpolation
    int arraySize = 0;      // an array parameter's size
    std::unique_ptr<Expr> size;
    ParamQualifier qualifier = ParamQualifier::In;
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
    int arraySize = 0;  // elements of an array of `type`; 0 for a single value
};

struct Unit {
    std::vector<std::unique_ptr<Stmt>> globals;  // Decl statements at global scope
    std::vector<std::unique_ptr<Function>> functions;
    std::vector<Symbol> symbols;
};

}  // namespace cif::kernel::ast
