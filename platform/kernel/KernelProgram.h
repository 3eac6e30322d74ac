#pragma once
// The compiled form of one kernel function: a straight-line program over
// scalar registers, run by the evaluator one instruction at a time for a
// whole span of pixels (each register holds one float per pixel of the span).
//
// The compiler scalarises vectors (a vec4 is four registers), inlines helper
// functions, unrolls bounded loops and turns control flow into selects, so
// the program has no jumps. The evaluator needs only the operations listed
// in CIF_KERNEL_OPS; the enum, the names and the dispatch all come from it.

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace cif::kernel {

// name, number of source registers. Sources are a, b, c in that order.
#define CIF_KERNEL_OPS(X)                                                                \
    X(Const, 0) /* dst = imm */                                                          \
    X(Move, 1)  /* dst = a */                                                            \
    X(Add, 2)   /* dst = a + b */                                                        \
    X(Sub, 2)   /* dst = a - b */                                                        \
    X(Mul, 2)   /* dst = a * b */                                                        \
    X(Div, 2)   /* dst = a / b (IEEE) */                                                 \
    X(Neg, 1)   /* dst = -a */                                                           \
    X(Min, 2)   /* GLSL min */                                                           \
    X(Max, 2)   /* GLSL max */                                                           \
    X(Abs, 1)                                                                            \
    X(Sign, 1)                                                                           \
    X(Floor, 1)                                                                          \
    X(Ceil, 1)                                                                           \
    X(Trunc, 1) /* towards zero: int conversion and division */                          \
    X(Fract, 1) /* a - floor(a) */                                                       \
    X(Mod, 2)   /* GLSL mod: a - b * floor(a / b) */                                     \
    X(Sqrt, 1)                                                                           \
    X(InverseSqrt, 1)                                                                    \
    X(Pow, 2)                                                                            \
    X(Exp, 1)                                                                            \
    X(Exp2, 1)                                                                           \
    X(Log, 1)                                                                            \
    X(Log2, 1)                                                                           \
    X(Sin, 1)                                                                            \
    X(Cos, 1)                                                                            \
    X(Tan, 1)                                                                            \
    X(Asin, 1)                                                                           \
    X(Acos, 1)                                                                           \
    X(Atan, 1)                                                                           \
    X(Atan2, 2) /* GLSL atan(y = a, x = b) */                                            \
    X(Step, 2)  /* GLSL step(edge = a, x = b) */                                         \
    X(Less, 2)  /* comparisons give 1.0 or 0.0 */                                        \
    X(LessEqual, 2)                                                                      \
    X(Greater, 2)                                                                        \
    X(GreaterEqual, 2)                                                                   \
    X(Equal, 2)                                                                          \
    X(NotEqual, 2)                                                                       \
    X(And, 2) /* logical, on 0/1 values */                                               \
    X(Or, 2)                                                                             \
    X(Not, 1)                                                                            \
    X(Select, 3) /* dst = a != 0 ? b : c */                                              \
    X(DestX, 0)  /* dst = x of the pixel centre being computed (working space) */        \
    X(DestY, 0)  /* dst = y of the pixel centre */                                       \
    X(Sample, 2) /* dst..dst+3 = bilinear sample of sampler `sampler` at (a, b), sampler \
                    space; transparent outside the sampler's image unless it is clamped */

enum class Op : uint8_t {
#define CIF_KERNEL_OP_ENUM(name, arity) name,
    CIF_KERNEL_OPS(CIF_KERNEL_OP_ENUM)
#undef CIF_KERNEL_OP_ENUM
};

const char* opName(Op op);
int opArity(Op op);

using Reg = uint16_t;

struct Instruction {
    Op op = Op::Const;
    Reg dst = 0;
    Reg a = 0, b = 0, c = 0;
    float imm = 0.0f;     // Const
    int16_t sampler = 0;  // Sample: index into Program::samplers
};

// The declared type of a kernel parameter. Sample is a colour kernel's
// `__sample`: an image, read at each output position by a sampler slot.
enum class ParamType : uint8_t { Float, Vec2, Vec3, Vec4, Color, Sampler, Sample };

inline bool isImageParam(ParamType t) {
    return t == ParamType::Sampler || t == ParamType::Sample;
}

// General kernels read samplers anywhere; colour kernels take `__sample`
// pixels at the output position; warp kernels return the position in their
// input image to read, which the program then samples (the input is the
// last sampler slot, without a parameter).
enum class KernelKind : uint8_t { General, Color, Warp };

// One kernel parameter, in declaration order. Numeric parameters are
// uniforms: at run time their registers hold the argument's components for
// every pixel (Color arguments converted into the working space first).
struct Parameter {
    std::string name;
    ParamType type = ParamType::Float;
    std::vector<Reg> registers;  // 1 to 4 components; empty for images
    int sampler = -1;            // index into Program::samplers for image parameters
};

// What the program needs of one sampler at run time. The registers are
// uniforms the runtime fills before a span is run: the sampler's image
// extent (x, y, width, height) and the affine map from working space to the
// sampler's space (a, b, c, d, tx, ty; identity for a default sampler), used
// by samplerCoord, samplerTransform, samplerExtent, samplerOrigin, samplerSize.
struct SamplerSlot {
    std::string parameterName;
    Reg extent[4] = {};
    Reg transform[6] = {};
    // How far from samplerCoord(dest) any sample of this sampler reads, in
    // sampler-space pixels, when the compiler could prove a bound (every
    // sample position is samplerCoord plus a constant offset); infinity when
    // it reads anywhere. The runtime grows the region of interest by it.
    double reach = std::numeric_limits<double>::infinity();
};

struct Program {
    std::string name;  // the kernel function's name
    KernelKind kind = KernelKind::General;
    std::vector<Parameter> parameters;  // kernel parameters in order
    std::vector<SamplerSlot> samplers;  // one per sampler parameter, in order
    std::vector<Instruction> code;      // straight-line, in execution order
    int registerCount = 0;              // registers 0 .. registerCount-1
    Reg result[4] = {};                 // the returned vec4 (premultiplied RGBA)
    // Set when a loop of the kernel may run out of its budget: such pixels
    // come out as (0, 0, 0, -0), transparent, marked by the sign of alpha.
    bool loopBudget = false;
};

// Limits that keep third-party kernels safe to run inside a host.
inline constexpr size_t kMaxSourceBytes = 64 * 1024;
inline constexpr int kMaxNesting = 64;  // expressions and statements
inline constexpr int kMaxCallDepth = 50;
inline constexpr long kMaxLoopIterations = 100000;  // per loop, strictly fewer
// How often a loop whose end depends on the pixel or on arguments may run
// (a quarter of that for each such loop around it or inside it, down to a
// sixty-fourth); pixels whose loop would run longer are transparent.
inline constexpr long kMaxDynamicLoopIterations = 256;
inline constexpr size_t kMaxInstructions = 200000;         // static bound on work per pixel
inline constexpr size_t kMaxSourceInstructions = 1000000;  // all kernels of one source together
inline constexpr int kMaxRegisters = 60000;
inline constexpr int kMaxArraySize = 1024;  // elements of one array

}  // namespace cif::kernel
