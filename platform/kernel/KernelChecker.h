#pragma once
// Semantic checks of a parsed kernel unit: scopes and names, types and
// implicit conversions, overloads of the built-in functions, the forms of
// bounded loops, recursion, call depth and the static cost of each kernel.
// Fills the annotations in the tree that lowering relies on.

#include <vector>

#include "platform/kernel/KernelAst.h"

namespace cif::kernel {

// How a built-in's arguments are typed.
enum class BuiltinShape : unsigned char {
    Gen,          // genType f(genType, ...): componentwise; arguments in scalarMask may be float
    Reduce,       // float f(genType, genType...): length, distance, dot
    Cross,        // vec3 cross(vec3, vec3)
    Color,        // vec4 f(vec4): premultiply, unpremultiply
    SamplerOnly,  // f(sampler)
    SamplerVec2,  // f(sampler, vec2)
    NoArgs,       // destCoord()
    Relational,   // bvec f(vec, vec) or f(ivec, ivec); equal and notEqual also on bvec
    BoolReduce,   // bool f(bvec): any, all
    BoolVector,   // bvec f(bvec): not
    MatrixPair,   // mat f(mat, mat): matrixCompMult
    FloatToVec2,  // vec2 f(float): cossin
};

// The language's built-in functions: id, name, argument count range, shape,
// which arguments may be a scalar broadcast (bit i = argument i), result
// (for sampler built-ins) and a cost weight per result component.
#define CIF_KERNEL_BUILTINS(X)                                             \
    X(Sample, "sample", 2, 2, SamplerVec2, 0, Vec4, 2)                     \
    X(SamplerCoord, "samplerCoord", 1, 1, SamplerOnly, 0, Vec2, 3)         \
    X(SamplerTransform, "samplerTransform", 2, 2, SamplerVec2, 0, Vec2, 3) \
    X(SamplerExtent, "samplerExtent", 1, 1, SamplerOnly, 0, Vec4, 1)       \
    X(SamplerOrigin, "samplerOrigin", 1, 1, SamplerOnly, 0, Vec2, 1)       \
    X(SamplerSize, "samplerSize", 1, 1, SamplerOnly, 0, Vec2, 1)           \
    X(DestCoord, "destCoord", 0, 0, NoArgs, 0, Vec2, 1)                    \
    X(Premultiply, "premultiply", 1, 1, Color, 0, Vec4, 1)                 \
    X(Unpremultiply, "unpremultiply", 1, 1, Color, 0, Vec4, 4)             \
    X(Compare, "compare", 3, 3, Gen, 0, Void, 2)                           \
    X(Abs, "abs", 1, 1, Gen, 0, Void, 1)                                   \
    X(Sign, "sign", 1, 1, Gen, 0, Void, 1)                                 \
    X(Floor, "floor", 1, 1, Gen, 0, Void, 1)                               \
    X(Ceil, "ceil", 1, 1, Gen, 0, Void, 1)                                 \
    X(Fract, "fract", 1, 1, Gen, 0, Void, 1)                               \
    X(Mod, "mod", 2, 2, Gen, 2, Void, 1)                                   \
    X(Min, "min", 2, 2, Gen, 2, Void, 1)                                   \
    X(Max, "max", 2, 2, Gen, 2, Void, 1)                                   \
    X(Clamp, "clamp", 3, 3, Gen, 6, Void, 2)                               \
    X(Mix, "mix", 3, 3, Gen, 4, Void, 3)                                   \
    X(Step, "step", 2, 2, Gen, 1, Void, 1)                                 \
    X(Smoothstep, "smoothstep", 3, 3, Gen, 3, Void, 10)                    \
    X(Length, "length", 1, 1, Reduce, 0, Float, 8)                         \
    X(Distance, "distance", 2, 2, Reduce, 0, Float, 12)                    \
    X(Dot, "dot", 2, 2, Reduce, 0, Float, 7)                               \
    X(Cross, "cross", 2, 2, Cross, 0, Vec3, 3)                             \
    X(Normalize, "normalize", 1, 1, Gen, 0, Void, 4)                       \
    X(Sqrt, "sqrt", 1, 1, Gen, 0, Void, 1)                                 \
    X(InverseSqrt, "inversesqrt", 1, 1, Gen, 0, Void, 1)                   \
    X(Pow, "pow", 2, 2, Gen, 0, Void, 1)                                   \
    X(Exp, "exp", 1, 1, Gen, 0, Void, 1)                                   \
    X(Exp2, "exp2", 1, 1, Gen, 0, Void, 1)                                 \
    X(Log, "log", 1, 1, Gen, 0, Void, 1)                                   \
    X(Log2, "log2", 1, 1, Gen, 0, Void, 1)                                 \
    X(Sin, "sin", 1, 1, Gen, 0, Void, 1)                                   \
    X(Cos, "cos", 1, 1, Gen, 0, Void, 1)                                   \
    X(Tan, "tan", 1, 1, Gen, 0, Void, 1)                                   \
    X(Asin, "asin", 1, 1, Gen, 0, Void, 1)                                 \
    X(Acos, "acos", 1, 1, Gen, 0, Void, 1)                                 \
    X(Atan, "atan", 1, 2, Gen, 0, Void, 1)                                 \
    X(Radians, "radians", 1, 1, Gen, 0, Void, 1)                           \
    X(Degrees, "degrees", 1, 1, Gen, 0, Void, 1)                           \
    X(Reflect, "reflect", 2, 2, Gen, 0, Void, 9)                           \
    X(Refract, "refract", 3, 3, Gen, 4, Void, 16)                          \
    X(Faceforward, "faceforward", 3, 3, Gen, 0, Void, 9)                   \
    X(MatrixCompMult, "matrixCompMult", 2, 2, MatrixPair, 0, Void, 1)      \
    X(LessThan, "lessThan", 2, 2, Relational, 0, Void, 1)                  \
    X(LessThanEqual, "lessThanEqual", 2, 2, Relational, 0, Void, 1)        \
    X(GreaterThan, "greaterThan", 2, 2, Relational, 0, Void, 1)            \
    X(GreaterThanEqual, "greaterThanEqual", 2, 2, Relational, 0, Void, 1)  \
    X(Equal, "equal", 2, 2, Relational, 0, Void, 1)                        \
    X(NotEqual, "notEqual", 2, 2, Relational, 0, Void, 1)                  \
    X(Any, "any", 1, 1, BoolReduce, 0, Bool, 1)                            \
    X(All, "all", 1, 1, BoolReduce, 0, Bool, 1)                            \
    X(Not, "not", 1, 1, BoolVector, 0, Void, 1)                            \
    X(FastCos, "cos_", 1, 1, Gen, 0, Void, 1)                              \
    X(FastSin, "sin_", 1, 1, Gen, 0, Void, 1)                              \
    X(FastTan, "tan_", 1, 1, Gen, 0, Void, 1)                              \
    X(CosSin, "cossin", 1, 1, FloatToVec2, 0, Vec2, 1)                     \
    X(FastCosSin, "cossin_", 1, 1, FloatToVec2, 0, Vec2, 1)

enum class Builtin : unsigned char {
#define CIF_KERNEL_BUILTIN_ENUM(id, name, minArgs, maxArgs, shape, mask, result, weight) id,
    CIF_KERNEL_BUILTINS(CIF_KERNEL_BUILTIN_ENUM)
#undef CIF_KERNEL_BUILTIN_ENUM
};

struct BuiltinInfo {
    Builtin id;
    const char* name;
    int minArgs;
    int maxArgs;
    BuiltinShape shape;
    unsigned scalarMask;
    ast::Type result;  // Void: the genType of the arguments
    int weight;
};

// All built-ins, in the order of CIF_KERNEL_BUILTINS.
const std::vector<BuiltinInfo>& kernelBuiltins();

// Checks `unit` and annotates it. Throws DiagnosticError on the first error.
void checkKernelUnit(ast::Unit& unit);

// The successive values of a checked loop's index (fewer than
// kMaxLoopIterations), computed the same way the checker counted them.
std::vector<float> loopIndexValues(const ast::LoopRange& range);

}  // namespace cif::kernel
