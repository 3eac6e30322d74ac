// The kernel runtime: the vector evaluator against its scalar twin on random
// programs, sampler semantics, and kernels applied through the engine.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include <QDir>
#include <QFile>
#include <QImage>
#include <QTemporaryDir>
#include <QtGlobal>
#include <atomic>

#include "platform/CIPlatform.h"
#include "platform/image/CIPlugIn.h"
#include "platform/kernel/KernelFilterFile.h"

#include "platform/image/CIContext.h"
#include "platform/image/CIFilter.h"
#include "platform/image/ColorSpace.h"
#include "platform/kernel/CIKernel.h"
#include "platform/kernel/CISampler.h"
#include "platform/kernel/KernelEvaluator.h"
#include "tests/support/SimdTargets.h"

namespace {

using namespace cif::kernel;
using cif::engine::IRect;
using cif::engine::PixelBuffer;

constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

// Same bits, or both NaN (payloads may differ between library calls).
bool sameValue(float a, float b) {
    if (std::isnan(a) && std::isnan(b)) return true;
    return std::memcmp(&a, &b, sizeof a) == 0;
}

Instruction ins(Op op, Reg dst, Reg a = 0, Reg b = 0, Reg c = 0, float imm = 0.0f) {
    Instruction i;
    i.op = op;
    i.dst = dst;
    i.a = a;
    i.b = b;
    i.c = c;
    i.imm = imm;
    return i;
}

// A program with one sampler whose result is registers 0..3 after `code`.
Program oneSamplerProgram(int registerCount, std::vector<Instruction> code, Reg result0) {
    Program p;
    p.name = "test";
    p.samplers.resize(1);
    p.registerCount = registerCount;
    p.code = std::move(code);
    for (int k = 0; k < 4; ++k)
        p.result[k] = Reg(result0 + k);
    return p;
}

// A random program: positions, uniforms and constants first, then random
// operations over the registers defined so far, with samples both on pixel
// centres (the copy path) and between them (the bilinear path).
Program randomProgram(std::mt19937& rng, int length) {
    static const float kSpecial[] = {0.0f,   -0.0f, 1.0f, -1.0f, 0.5f, 2.0f, 0.25f,
                                     -3.75f, 1e30f, kInf, -kInf, kNaN, 7.0f, 1e-40f};
    std::vector<Op> ops;
#define CIF_TEST_OP(name, arity) ops.push_back(Op::name);
    CIF_KERNEL_OPS(CIF_TEST_OP)
#undef CIF_TEST_OP
    Program p;
    p.samplers.resize(1);
    Parameter uniforms;
    uniforms.name = "u";
    uniforms.type = ParamType::Vec2;
    uniforms.registers = {2, 3};
    p.parameters.push_back(uniforms);
    std::vector<Instruction>& code = p.code;
    code.push_back(ins(Op::DestX, 0));
    code.push_back(ins(Op::DestY, 1));
    // Registers 2 and 3 are uniforms.
    int next = 4;
    auto pick = [&] { return Reg(std::uniform_int_distribution<int>(0, next - 1)(rng)); };
    for (int i = 0; i < length; ++i) {
        const int kind = std::uniform_int_distribution<int>(0, 9)(rng);
        if (kind == 0) {
            code.push_back(ins(
                Op::Const, Reg(next++), 0, 0, 0,
                kSpecial[std::uniform_int_distribution<size_t>(0, std::size(kSpecial) - 1)(rng)]));
        } else if (kind <= 2) {
            // A sample near the pixel: whole or fractional offsets.
            static const float kOffsets[] = {-1.0f, 0.0f, 2.0f, 0.5f, -0.25f, 40.0f};
            const auto off = [&] {
                return kOffsets[std::uniform_int_distribution<size_t>(0, 5)(rng)];
            };
            const Reg ox = Reg(next++), oy = Reg(next++), sx = Reg(next++), sy = Reg(next++);
            code.push_back(ins(Op::Const, ox, 0, 0, 0, off()));
            code.push_back(ins(Op::Const, oy, 0, 0, 0, kind == 1 ? 0.0f : off()));
            code.push_back(ins(Op::Add, sx, 0, ox));
            code.push_back(ins(Op::Add, sy, 1, oy));
            Instruction s = ins(Op::Sample, Reg(next), sx, sy);
            next += 4;
            code.push_back(s);
        } else {
            const Op op = ops[std::uniform_int_distribution<size_t>(0, ops.size() - 1)(rng)];
            if (op == Op::Sample || op == Op::Const) continue;
            // Sometimes overwrite a register, as a lowering that reuses them does.
            const bool reuse = std::uniform_int_distribution<int>(0, 4)(rng) == 0;
            const Reg a = pick(), b = pick(), c = pick();
            const Reg dst = reuse ? pick() : Reg(next++);
            code.push_back(ins(op, dst, a, b, c));
        }
    }
    p.registerCount = next;
    for (int k = 0; k < 4; ++k)
        p.result[k] = Reg(std::uniform_int_distribution<int>(0, next - 1)(rng));
    return p;
}

// An input buffer of random values, some of them special.
PixelBuffer randomBuffer(std::mt19937& rng, const IRect& rect) {
    PixelBuffer buffer(rect);
    std::uniform_real_distribution<float> value(-2.0f, 2.0f);
    std::uniform_int_distribution<int> rare(0, 200);
    const size_t count = size_t(rect.w) * size_t(rect.h) * 4;
    for (size_t i = 0; i < count; ++i) {
        const int r = rare(rng);
        buffer.data()[i] = r == 0 ? kInf : r == 1 ? kNaN : r == 2 ? -0.0f : value(rng);
    }
    return buffer;
}

void checkRandomPrograms();

using cif::testing::forEachTarget;

TEST(KernelEvaluator, VectorMatchesScalarOnRandomProgramsForEveryTailLength) {
    forEachTarget([] { checkRandomPrograms(); });
}

void checkRandomPrograms() {
    std::mt19937 rng(1234);
    const PixelBuffer image = randomBuffer(rng, IRect{-7, 3, 150, 9});
    for (int trial = 0; trial < 60; ++trial) {
        const Program program = randomProgram(rng, 60);
        std::string why;
        ASSERT_TRUE(validateProgram(program, &why)) << why;
        const PreparedProgram prepared = prepareProgram(program);
        EXPECT_LE(prepared.program.code.size(), program.code.size());
        ASSERT_TRUE(validateProgram(prepared.program, &why)) << why;
        EvalContext context;
        context.uniforms = {{2, 0.75f}, {3, float(trial) - 20.5f}};
        context.images = {&image};
        // The prepared program runs with its constants as uniforms.
        // The prepared program renames registers: its uniforms are where its
        // parameter says, and its constants come as uniforms too.
        EvalContext preparedContext = context;
        const std::vector<Reg>& moved = prepared.program.parameters[0].registers;
        preparedContext.uniforms = {{moved[0], 0.75f}, {moved[1], float(trial) - 20.5f}};
        preparedContext.uniforms.insert(preparedContext.uniforms.end(), prepared.constants.begin(),
                                        prepared.constants.end());
        preparedContext.uniformsReadOnly = prepared.uniformsReadOnly;
        preparedContext.sampleChannelMasks = prepared.sampleChannelMasks;
        preparedContext.fusedProducts = prepared.fusedProducts;
        EXPECT_TRUE(prepared.uniformsReadOnly && prepared.sampleChannelMasks &&
                    prepared.fusedProducts);
        const int y = 2 + trial % 10;
        for (int n = 1; n <= 2 * kSpan + 1; ++n) {
            const int x0 = -10 + (n * 7) % 23;
            std::vector<float> vec(size_t(n) * 4), ref(size_t(n) * 4), dce(size_t(n) * 4);
            runProgram(program, context, x0, y, n, vec.data());
            runProgramScalar(program, context, x0, y, n, ref.data());
            runProgram(prepared.program, preparedContext, x0, y, n, dce.data());
            for (size_t i = 0; i < vec.size(); ++i) {
                ASSERT_TRUE(sameValue(vec[i], ref[i]))
                    << "trial " << trial << " n " << n << " value " << i << ": " << vec[i] << " vs "
                    << ref[i];
                ASSERT_TRUE(sameValue(dce[i], ref[i])) << "preparing the program changed a value";
            }
        }
    }
}

// A random kernel in the language's integer, boolean, vector and matrix
// types, with loops bounded by arguments and by pixels, breaks, continues,
// helpers with out parameters (arrays too) and operands of || and ?: that
// write variables; every statement is well typed.
std::string randomKernelSource(std::mt19937& rng) {
    auto pick = [&](int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng); };
    std::vector<std::string> floats = {"p", "q.x", "q.y", "destCoord().x", "destCoord().y"};
    std::vector<std::string> ints = {"int(p)", "n"};
    std::string body = "int n = int(destCoord().x) - 3;\n";
    auto f = [&] { return floats[size_t(pick(int(floats.size())))]; };
    auto i = [&] { return ints[size_t(pick(int(ints.size())))]; };
    static const char* const kUnary[] = {"sin", "floor", "fract", "abs", "sqrt", "cos_", "sign"};
    static const char* const kOps[] = {"+", "-", "*", "/"};
    for (int k = 0; k < 10; ++k) {
        const std::string v = "v" + std::to_string(k);
        switch (pick(10)) {
            case 0:
                body += "float " + v + " = " + kUnary[pick(7)] + "(" + f() + ") " + kOps[pick(4)] +
                        " " + f() + ";\n";
                floats.push_back(v);
                break;
            case 1:
                body += "int " + v + " = " + i() + " " + kOps[pick(4)] + " (" + i() + " + 7);\n";
                ints.push_back(v);
                break;
            case 2:
                body += "ivec2 " + v + " = ivec2(" + i() + ", " + f() + ") / 3; float " + v +
                        "f = float(" + v + ".x * " + v + ".y);\n";
                floats.push_back(v + "f");
                break;
            case 3:
                body += "mat2 " + v + "m = mat2(" + f() + ", " + f() + ", 1., " + f() + "); vec2 " +
                        v + " = " + v + "m * q + q * " + v + "m; float " + v + "f = " + v +
                        ".x - " + v + ".y;\n";
                floats.push_back(v + "f");
                break;
            case 4:
                body += "float " + v + " = 0.; for (int j = 0; j < " + i() + "; j++) { if (" + f() +
                        " > float(j) * 0.7) continue; " + v + " += " + f() + "; if (" + v +
                        " > 9.) break; }\n";
                floats.push_back(v);
                break;
            case 5:
                body += "bvec2 " + v + "b = lessThan(q, vec2(" + f() + ")); float " + v + " = " +
                        f() + "; if (any(" + v + "b) ^^ " + v + "b.y) " + v + " = -" + f() +
                        "; else " + v + " *= 2.;\n";
                floats.push_back(v);
                break;
            case 6:
                body += "float " + v + " = " + f() + "; int " + v + "c = 0; while (" + v +
                        " < 20.) { " + v + " += 1. + abs(" + f() + "); " + v + "c++; }\n";
                floats.push_back(v);
                ints.push_back(v + "c");
                break;
            case 7:
                body += "float " + v + "a, " + v + "; split(" + f() + ", " + v + "a, " + v + "); " +
                        v + " += sample(s, q + vec2(" + v + "a, 0.)).g;\n";
                floats.push_back(v);
                break;
            case 8:
                body += "float " + v + " = " + f() + "; bool " + v + "b = " + f() + " > " + v +
                        " || (" + v + " += " + f() + ") > 1.; float " + v + "t = " + v + "b ? " +
                        v + "++ : (" + v + " = " + f() + ");\n";
                floats.push_back(v);
                floats.push_back(v + "t");
                break;
            case 9:
                body += "float[3] " + v + "a; fill3(" + v + "a, " + f() + "); float " + v + " = " +
                        v + "a[1] - " + v + "a[2];\n";
                floats.push_back(v);
                break;
        }
    }
    return "void split(float x, out float whole, out float part) { whole = floor(x); part = x - "
           "whole; }\n"
           "void fill3(out float[3] w, float x) { for (int j = 0; j < 3; j++) w[j] = x / "
           "float(j + 1); }\n"
           "kernel vec4 k(sampler s, float p, vec2 q) {\n" +
           body + "return vec4(" + f() + ", float(" + i() + "), " + f() + ", " + f() + ");\n}\n";
}

void checkRandomKernels();

TEST(KernelEvaluator, VectorMatchesScalarOnRandomKernelsOfEveryType) {
    forEachTarget([] { checkRandomKernels(); });
}

void checkRandomKernels() {
    std::mt19937 rng(99);
    const PixelBuffer image = randomBuffer(rng, IRect{-7, 3, 150, 9});
    for (int trial = 0; trial < 30; ++trial) {
        const std::string source = randomKernelSource(rng);
        const QList<cif::CIKernel> kernels =
            cif::CIKernel::kernelsWithString(QString::fromStdString(source));
        ASSERT_EQ(kernels.size(), 1) << source;
        const PreparedProgram& prepared = kernels.first().prepared();
        const Program& program = prepared.program;
        EvalContext context;
        context.uniforms = prepared.constants;
        const float values[3] = {float(trial % 7) - 1.5f, 0.75f, float(trial) - 10.25f};
        int v = 0;
        for (const Parameter& param : program.parameters)
            for (const Reg r : param.registers)
                context.uniforms.push_back({r, values[v++ % 3]});
        const float extent[4] = {-7, 3, 150, 9}, identity[6] = {1, 0, 0, 1, 0, 0};
        for (int k = 0; k < 4; ++k)
            context.uniforms.push_back({program.samplers[0].extent[k], extent[k]});
        for (int k = 0; k < 6; ++k)
            context.uniforms.push_back({program.samplers[0].transform[k], identity[k]});
        context.images = {&image};
        context.uniformsReadOnly = prepared.uniformsReadOnly;
        context.sampleChannelMasks = prepared.sampleChannelMasks;
        context.fusedProducts = prepared.fusedProducts;
        for (const int n : {1, 7, kSpan, kSpan + 3, 2 * kSpan + 1}) {
            std::vector<float> vec(size_t(n) * 4), ref(size_t(n) * 4);
            runProgram(program, context, -5, 4 + trial % 7, n, vec.data());
            runProgramScalar(program, context, -5, 4 + trial % 7, n, ref.data());
            for (size_t k = 0; k < vec.size(); ++k)
                ASSERT_TRUE(sameValue(vec[k], ref[k]))
                    << "n " << n << " value " << k << ": " << vec[k] << " vs " << ref[k] << "\n"
                    << source;
        }
    }
}

TEST(KernelEvaluator, ArithmeticIsIeeeAndSamplingIsBilinear) {
    PixelBuffer image(IRect{0, 0, 2, 2});
    const float pixels[16] = {0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, kInf, 4, 4, 4};
    std::memcpy(image.data(), pixels, sizeof pixels);
    // r0 = 1 / 0, r1 = 0 / 0; r2..r5 = sample at the uniform position (6, 7).
    Program p =
        oneSamplerProgram(8,
                          {ins(Op::Const, 0, 0, 0, 0, 1.0f), ins(Op::Const, 1),
                           ins(Op::Div, 0, 0, 1), ins(Op::Div, 1, 1, 1), ins(Op::Sample, 2, 6, 7)},
                          0);
    p.result[2] = 2;
    p.result[3] = 5;
    EvalContext context{{{6, 1.0f}, {7, 0.5f}}, {&image}};
    float out[4];
    for (auto run : {&runProgram, &runProgramScalar}) {
        context.uniforms = {{6, 1.0f}, {7, 0.5f}};  // between pixels (0,0) and (1,0)
        run(p, context, 0, 0, 1, out);
        EXPECT_EQ(out[0], kInf);
        EXPECT_TRUE(std::isnan(out[1]));
        EXPECT_FLOAT_EQ(out[2], 0.5f);
        context.uniforms = {{6, 0.5f}, {7, 1.5f}};  // on pixel (0,1), beside an infinity
        run(p, context, 0, 0, 1, out);
        EXPECT_EQ(out[2], 2.0f);
        context.uniforms = {{6, 0.0f}, {7, 0.5f}};  // half outside: half transparent
        run(p, context, 0, 0, 1, out);
        EXPECT_FLOAT_EQ(out[2], 0.0f);
        EXPECT_FLOAT_EQ(out[3], 0.0f);
        context.uniforms = {{6, 1.5f}, {7, 0.0f}};
        run(p, context, 0, 0, 1, out);
        EXPECT_FLOAT_EQ(out[3], 0.5f);
        context.uniforms = {{6, kNaN}, {7, 1e30f}};  // nowhere: transparent
        run(p, context, 0, 0, 1, out);
        EXPECT_EQ(out[2], 0.0f);
    }
}

TEST(KernelEvaluator, ValidationRefusesOutOfRangeRegisters) {
    std::string why;
    Program p = oneSamplerProgram(4, {ins(Op::Sample, 1, 0, 0)}, 0);
    EXPECT_FALSE(validateProgram(p, &why));  // writes registers 1..4 of 4
    p.code = {ins(Op::Add, 0, 1, 9)};
    EXPECT_FALSE(validateProgram(p, &why));
    p.code = {ins(Op::Sample, 0, 1, 2)};
    p.code[0].sampler = 1;
    EXPECT_FALSE(validateProgram(p, &why));
    p.code[0].sampler = 0;
    EXPECT_TRUE(validateProgram(p, &why)) << why;

    // The register file is bounded: at the limit a program runs and uses
    // its last register; one more is refused before anything is allocated.
    Program wide = oneSamplerProgram(kMaxRegisters, {ins(Op::Add, kMaxRegisters - 1, 0, 0)}, 0);
    for (auto& r : wide.result)
        r = kMaxRegisters - 1;
    EXPECT_TRUE(validateProgram(wide, &why)) << why;
    wide.registerCount = kMaxRegisters + 1;
    EXPECT_FALSE(validateProgram(wide, &why));
    EXPECT_EQ(why, "register count out of range");
}

// ---------------------------------------------------------------- applied kernels

using cif::CIColor;
using cif::CIColorKernel;
using cif::CIContext;
using cif::CIFilter;
using cif::CIFloatBitmap;
using cif::CIImage;
using cif::CIKernel;
using cif::CISampler;
using cif::CIVector;
using cif::CIWarpKernel;

// Collects the warnings logged while it lives.
class WarningCatcher {
public:
    WarningCatcher() {
        s_lines.clear();
        m_previous = qInstallMessageHandler(&WarningCatcher::handle);
    }
    ~WarningCatcher() { qInstallMessageHandler(m_previous); }
    static QStringList& lines() { return s_lines; }

private:
    static void handle(QtMsgType, const QMessageLogContext&, const QString& text) {
        s_lines << text;
    }
    static inline QStringList s_lines;
    QtMessageHandler m_previous = nullptr;
};

// Builds programs the way the lowering lays them out: one sampler slot with
// extent registers 0..3 and transform registers 4..9, then parameters.
struct ProgramBuilder {
    Program p;
    int next = 10;
    Reg x = 0, y = 0;  // samplerCoord

    explicit ProgramBuilder(double reach) {
        p.name = "k";
        p.samplers.resize(1);
        p.samplers[0].parameterName = "image";
        p.samplers[0].reach = reach;
        for (int k = 0; k < 4; ++k)
            p.samplers[0].extent[k] = Reg(k);
        for (int k = 0; k < 6; ++k)
            p.samplers[0].transform[k] = Reg(4 + k);
        Parameter image;
        image.name = "image";
        image.type = ParamType::Sampler;
        image.sampler = 0;
        p.parameters.push_back(image);
        const Reg dx = reg(), dy = reg(), t0 = reg(), t1 = reg();
        x = reg();
        y = reg();
        push(ins(Op::DestX, dx));
        push(ins(Op::DestY, dy));
        // samplerCoord = (a x + c y + tx, b x + d y + ty)
        push(ins(Op::Mul, t0, 4, dx));
        push(ins(Op::Mul, t1, 6, dy));
        push(ins(Op::Add, x, t0, t1));
        push(ins(Op::Add, x, x, 8));
        push(ins(Op::Mul, t0, 5, dx));
        push(ins(Op::Mul, t1, 7, dy));
        push(ins(Op::Add, y, t0, t1));
        push(ins(Op::Add, y, y, 9));
    }
    Reg reg(int count = 1) {
        const Reg r = Reg(next);
        next += count;
        return r;
    }
    void push(const Instruction& i) { p.code.push_back(i); }
    Reg constant(float v) {
        const Reg r = reg();
        push(ins(Op::Const, r, 0, 0, 0, v));
        return r;
    }
    Reg parameter(const std::string& name, ParamType type, int components) {
        Parameter q;
        q.name = name;
        q.type = type;
        const Reg first = reg(components);
        for (int k = 0; k < components; ++k)
            q.registers.push_back(Reg(first + k));
        p.parameters.push_back(q);
        return first;
    }
    Reg sample(Reg sx, Reg sy) {
        const Reg r = reg(4);
        push(ins(Op::Sample, r, sx, sy));
        return r;
    }
    CIKernel finish(Reg result) {
        for (int k = 0; k < 4; ++k)
            p.result[k] = Reg(result + k);
        p.registerCount = next;
        return CIKernel::kernelWithProgram(p);
    }
};

// (left + right neighbour) * gain + colour: reach 1.
CIKernel neighbourKernel() {
    ProgramBuilder b(1.0);
    const Reg gain = b.parameter("gain", ParamType::Float, 1);
    const Reg color = b.parameter("tint", ParamType::Color, 4);
    const Reg lx = b.reg(), rx = b.reg();
    b.push(ins(Op::Add, lx, b.x, b.constant(-1.0f)));
    b.push(ins(Op::Add, rx, b.x, b.constant(1.0f)));
    const Reg left = b.sample(lx, b.y), right = b.sample(rx, b.y), out = b.reg(4);
    for (int k = 0; k < 4; ++k) {
        b.push(ins(Op::Add, Reg(out + k), Reg(left + k), Reg(right + k)));
        b.push(ins(Op::Mul, Reg(out + k), Reg(out + k), gain));
        b.push(ins(Op::Add, Reg(out + k), Reg(out + k), Reg(color + k)));
    }
    return b.finish(out);
}

// The image mirrored left to right inside its extent: reads anywhere.
CIKernel mirrorKernel() {
    ProgramBuilder b(std::numeric_limits<double>::infinity());
    // x' = 2 extent.x + extent.w - x
    const Reg mx = b.reg();
    b.push(ins(Op::Add, mx, 0, 0));
    b.push(ins(Op::Add, mx, mx, 2));
    b.push(ins(Op::Sub, mx, mx, b.x));
    return b.finish(b.sample(mx, b.y));
}

QImage testPicture(int w, int h) {
    QImage image(w, h, QImage::Format_RGBA8888_Premultiplied);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            uchar* p = image.scanLine(y) + 4 * x;
            const int a = 128 + (x * 37 + y * 11) % 128;
            p[0] = uchar((x * 29 + y * 7) % 256 * a / 255);
            p[1] = uchar((x * 3 + y * 53) % 256 * a / 255);
            p[2] = uchar((x * y) % 256 * a / 255);
            p[3] = uchar(a);
        }
    return image;
}

CIFloatBitmap renderFloat(const CIImage& image, const QRectF& rect, int tile, int threads) {
    CIContext::Options o;
    o.workingSpace = cif::engine::WorkingSpace::None;
    o.tileSize = tile;
    o.threads = threads;
    CIContext context(o);
    CIFloatBitmap out;
    EXPECT_TRUE(context.renderToFloat(image, rect, out)) << context.lastError().toStdString();
    return out;
}

// A filter to call apply on (CIFilter's constructor is protected).
class ApplyingFilter final : public CIFilter {};

TEST(KernelApply, ComputesPixelsAndBindsArgumentsInOrder) {
    const CIImage input = CIImage::imageWithQImage(testPicture(40, 30));
    const ApplyingFilter filter;
    const CIColor tint(0.25, 0.5, 0.75, 1.0);
    const CIImage out = filter.apply(neighbourKernel(),
                                     {QVariant::fromValue(input), 0.5, QVariant::fromValue(tint)});
    ASSERT_FALSE(out.isNull());
    EXPECT_EQ(out.extent(), input.extent());
    const QRectF rect(0, 0, 40, 30);
    const CIFloatBitmap in = renderFloat(input, rect, 256, 1);
    const CIFloatBitmap got = renderFloat(out, rect, 256, 1);
    const double rgba[4] = {tint.red(), tint.green(), tint.blue(), tint.alpha()};
    float working[4];
    cif::engine::colorToWorking(rgba, working, cif::engine::WorkingSpace::None);
    for (int y = 0; y < 30; ++y)
        for (int x = 0; x < 40; ++x)
            for (int k = 0; k < 4; ++k) {
                const float l = x > 0 ? in.at(x - 1, y)[k] : 0.0f;
                const float r = x < 39 ? in.at(x + 1, y)[k] : 0.0f;
                ASSERT_EQ(got.at(x, y)[k], (l + r) * 0.5f + working[k]) << x << "," << y;
            }

    // The definition option sets the extent.
    const CIImage small = CIImage::imageWithQImage(testPicture(5, 6));
    const CIImage defined = filter.apply(
        neighbourKernel(), {QVariant::fromValue(input), 1.0, QVariant::fromValue(tint)},
        {{cif::kCIApplyOptionDefinition, QVariant::fromValue(CISampler::samplerWithImage(small))}});
    EXPECT_EQ(defined.extent(), QRectF(0, 0, 5, 6));
}

TEST(KernelApply, WrongArgumentsLogOneLineAndGiveNull) {
    const CIImage input = CIImage::imageWithQImage(testPicture(4, 4));
    const ApplyingFilter filter;
    const CIKernel kernel = neighbourKernel();
    const QList<QVariantList> bad = {
        {QVariant::fromValue(input), 0.5},  // count
        {QVariant::fromValue(input), QStringLiteral("0.5"), QVariant::fromValue(CIColor())},
        {0.5, 0.5, QVariant::fromValue(CIColor())},                                 // sampler
        {QVariant::fromValue(input), 0.5, QVariant::fromValue(CIVector{1, 2, 3})},  // colour
        {QVariant::fromValue(CIImage()), 0.5, QVariant::fromValue(CIColor())},      // null image
    };
    for (const QVariantList& args : bad) {
        const WarningCatcher catcher;
        EXPECT_TRUE(filter.apply(kernel, args).isNull());
        EXPECT_EQ(WarningCatcher::lines().size(), 1);
    }
    const WarningCatcher catcher;
    EXPECT_TRUE(filter
                    .apply(kernel,
                           {QVariant::fromValue(input), 0.5, QVariant::fromValue(CIColor())},
                           {{cif::kCIApplyOptionDefinition, 3}})
                    .isNull());
    EXPECT_TRUE(CIKernel::kernelsWithString(QStringLiteral("kernel vec4 k( {")).isEmpty());
    EXPECT_EQ(WarningCatcher::lines().size(), 2);
}

// Reads where its own pixels point: x' = 40 red, y' = 40 green. No bound on
// the positions can be known before the pixels are.
CIKernel displaceKernel() {
    ProgramBuilder b(std::numeric_limits<double>::infinity());
    const Reg at = b.sample(b.x, b.y), scale = b.constant(40.0f), px = b.reg(), py = b.reg();
    b.push(ins(Op::Mul, px, at, scale));
    b.push(ins(Op::Mul, py, Reg(at + 1), scale));
    return b.finish(b.sample(px, py));
}

// Passes its input through, counting how often and how many pixels it is
// rendered.
class CountingNode final : public cif::engine::Node {
public:
    explicit CountingNode(cif::engine::NodePtr input) : Node({input}, input->extent()) {}
    void render(PixelBuffer& dst, const cif::engine::RenderState& state) const override {
        ++renders;
        pixels += dst.rect().area();
        cif::engine::renderNode(*inputs()[0], dst, state);
    }
    const char* kind() const override { return "counting"; }
    mutable std::atomic<int> renders{0};
    mutable std::atomic<int64_t> pixels{0};
};

TEST(KernelApply, OutputIsTheSameForAnyTileSizeAndThreadCount) {
    const CIImage input = CIImage::imageWithQImage(testPicture(70, 45));
    const ApplyingFilter filter;
    const CIImage neighbours = filter.apply(
        neighbourKernel(), {QVariant::fromValue(input), 0.75, QVariant::fromValue(CIColor())});
    const auto counting = std::make_shared<CountingNode>(input.node());
    const CIImage mirrored =
        filter.apply(mirrorKernel(), {QVariant::fromValue(CIImage::imageWithNode(counting))});
    const auto countingToo = std::make_shared<CountingNode>(input.node());
    const CIImage displaced =
        filter.apply(displaceKernel(), {QVariant::fromValue(CIImage::imageWithNode(countingToo))});
    // Rendered over a rectangle larger than the picture, so tiles also fall
    // outside the extent.
    const QRectF rect(-5, -3, 80, 50);
    for (const CIImage& image : {neighbours, mirrored, displaced}) {
        const CIFloatBitmap reference = renderFloat(image, rect, 256, 1);
        for (const int tile : {1, 7, 64}) {
            for (const int threads : {1, 3}) {
                counting->renders = countingToo->renders = 0;
                counting->pixels = 0;
                const CIFloatBitmap got = renderFloat(image, rect, tile, threads);
                ASSERT_EQ(std::memcmp(got.pixels.data(), reference.pixels.data(),
                                      reference.pixels.size() * sizeof(float)),
                          0)
                    << "tile " << tile << " threads " << threads;
                // The mirror's positions are bounded once its arguments are
                // known: each tile renders the mirrored tile (and a pixel
                // around it), not the whole input.
                if (image.node() == mirrored.node() && tile == 64) {
                    EXPECT_LT(counting->pixels.load(), 2 * 70 * 45);
                }
            }
        }
        // An input read anywhere is rendered once per render, not per tile.
        if (image.node() == displaced.node()) {
            EXPECT_EQ(countingToo->renders.load(), 1);
        }
    }
    const CIFloatBitmap in = renderFloat(input, QRectF(0, 0, 70, 45), 256, 1);
    const CIFloatBitmap out = renderFloat(mirrored, QRectF(0, 0, 70, 45), 16, 2);
    for (int k = 0; k < 4; ++k) {
        EXPECT_EQ(out.at(0, 3)[k], in.at(69, 3)[k]);
        EXPECT_EQ(out.at(10, 44)[k], in.at(59, 44)[k]);
    }
}

TEST(KernelApply, PositionsBoundedByTheirArgumentsReadOnlyAroundEachTile) {
    // A wave displacement, clamped inside the picture: the compiler sees no
    // bound, the arguments give one (7 across, 5 up and down).
    const QList<CIKernel> kernels = CIKernel::kernelsWithString(
        QStringLiteral("kernel vec4 wave(sampler image, float w, float h, float iw, float ih) {"
                       "vec2 c = samplerCoord(image);"
                       "return sample(image, vec2(clamp(c.x + w * cos(c.x), 1., iw - 1.),"
                       "clamp(c.y + h * sin(c.y), 1., ih - 1.)));}"));
    ASSERT_EQ(kernels.size(), 1);
    const CIImage input = CIImage::imageWithQImage(testPicture(100, 80));
    const ApplyingFilter filter;
    const CIImage out =
        filter.apply(kernels.first(), {QVariant::fromValue(input), 7.0, 5.0, 100.0, 80.0});
    ASSERT_FALSE(out.isNull());
    struct Case {
        cif::engine::Rect tile, within, covers;
    };
    const Case cases[] = {
        // Inside: the tile grown by the wave and the bilinear pixel.
        {{40, 30, 10, 10}, {32, 24, 26, 22}, {33, 25, 24, 20}},
        // At the corner: the clamp keeps reads inside the picture.
        {{0, 0, 10, 10}, {0, 0, 18, 16}, {1, 1, 16, 14}},
    };
    for (const Case& c : cases) {
        const cif::engine::Rect roi = out.node()->regionOfInterest(0, c.tile);
        EXPECT_TRUE(c.within.inset(-0.01, -0.01).contains(roi)) << roi.x << " " << roi.w;
        EXPECT_TRUE(roi.contains(c.covers)) << roi.x << " " << roi.w;
    }
}

// On a default sampler the node computes samplerCoord as the destination
// position itself; the pixels keep the bits of the compiled program.
TEST(KernelApply, DefaultSamplersGiveTheBitsOfTheCompiledProgram) {
    const QList<CIKernel> kernels = CIKernel::kernelsWithString(
        QStringLiteral("kernel vec4 edge(sampler s, float k) { vec2 c = samplerCoord(s);"
                       "  vec4 d = sample(s, c + vec2(1., 0.)) - sample(s, c - vec2(0.5, 1.));"
                       "  return sample(s, c) + k * d * destCoord().y; }\n"
                       "kernel vec4 tint(__sample s, vec4 m) { return s * m + s.gbra; }"));
    ASSERT_EQ(kernels.size(), 2);
    const CIImage input = CIImage::imageWithQImage(testPicture(40, 30));
    const CIFloatBitmap in = renderFloat(input, QRectF(-2, -2, 44, 34), 256, 1);
    PixelBuffer image(IRect{-2, -2, 44, 34});
    for (int y = 0; y < 34; ++y)
        std::memcpy(image.at(-2, y - 2), in.at(0, y), 44 * 4 * sizeof(float));
    const ApplyingFilter filter;
    const std::vector<float> values[2] = {{0.75f}, {0.5f, 2.0f, -1.0f, 1.5f}};
    const QVariantList args[2] = {
        {QVariant::fromValue(input), 0.75},
        {QVariant::fromValue(input), QVariant::fromValue(CIVector{0.5, 2.0, -1.0, 1.5})}};
    for (int k = 0; k < 2; ++k) {
        const CIFloatBitmap got =
            renderFloat(filter.apply(kernels[k], args[k]), QRectF(0, 0, 40, 30), 16, 2);
        const PreparedProgram& prepared = kernels[k].prepared();
        EvalContext context;
        context.uniforms = prepared.constants;
        size_t v = 0;
        for (const Parameter& param : prepared.program.parameters)
            for (const Reg r : param.registers)
                context.uniforms.push_back({r, values[k][v++]});
        const float extent[4] = {0, 0, 40, 30}, identity[6] = {1, 0, 0, 1, 0, 0};
        for (int i = 0; i < 4; ++i)
            context.uniforms.push_back({prepared.program.samplers[0].extent[i], extent[i]});
        for (int i = 0; i < 6; ++i)
            context.uniforms.push_back({prepared.program.samplers[0].transform[i], identity[i]});
        context.images = {&image};
        context.sampleChannelMasks = prepared.sampleChannelMasks;
        context.fusedProducts = prepared.fusedProducts;
        std::vector<float> row(40 * 4);
        for (int y = 0; y < 30; ++y) {
            runProgramScalar(prepared.program, context, 0, y, 40, row.data());
            ASSERT_EQ(std::memcmp(row.data(), got.at(0, y), row.size() * sizeof(float)), 0)
                << "kernel " << k << " row " << y;
        }
    }
}

// Reads at one fixed column and one fixed row: the bound of each is zero
// wide, and still every tile reads the pixels there.
TEST(KernelApply, ReadsAtAFixedRowOrColumnWorkForAnyTile) {
    const QList<CIKernel> kernels = CIKernel::kernelsWithString(
        QStringLiteral("kernel vec4 column(sampler s) {"
                       "  return sample(s, vec2(5.5, samplerCoord(s).y)); }\n"
                       "kernel vec4 row(sampler s, float y) {"
                       "  return sample(s, vec2(samplerCoord(s).x, y)); }"));
    ASSERT_EQ(kernels.size(), 2);
    const CIImage input = CIImage::imageWithQImage(testPicture(50, 40));
    const ApplyingFilter filter;
    const CIImage column = filter.apply(kernels[0], {QVariant::fromValue(input)});
    const CIImage row = filter.apply(kernels[1], {QVariant::fromValue(input), 30.5});
    const QRectF rect(0, 0, 50, 40);
    const CIFloatBitmap in = renderFloat(input, rect, 256, 1);
    for (const int tile : {1, 3, 16, 64}) {
        const CIFloatBitmap c = renderFloat(column, rect, tile, 2);
        const CIFloatBitmap r = renderFloat(row, rect, tile, 2);
        for (int y = 0; y < 40; ++y)
            for (int x = 0; x < 50; ++x)
                for (int k = 0; k < 4; ++k) {
                    ASSERT_EQ(c.at(x, y)[k], in.at(5, y)[k]) << tile << ": " << x << "," << y;
                    ASSERT_EQ(r.at(x, y)[k], in.at(x, 30)[k]) << tile << ": " << x << "," << y;
                }
    }
}

// ---------------------------------------------------------------- kinds of kernel

QString kernelFile(const char* name) {
    QFile f(QStringLiteral(CIF_TEST_DATA "/kernels/") + QLatin1String(name));
    return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()) : QString();
}

TEST(KernelKinds, EachKindCompilesToItsClassAndApplies) {
    const QList<CIKernel> kernels = CIKernel::kernelsWithString(
        QStringLiteral("kernel vec4 g(sampler s) { return sample(s, samplerCoord(s)); }\n"
                       "kernel vec4 c(__sample s) { return s.bgra; }\n"
                       "kernel vec2 w(float dx) { return destCoord() + vec2(dx, 0.); }\n"));
    ASSERT_EQ(kernels.size(), 3);
    EXPECT_EQ(kernels[0].kind(), KernelKind::General);
    EXPECT_EQ(kernels[1].kind(), KernelKind::Color);
    EXPECT_EQ(kernels[2].kind(), KernelKind::Warp);
    EXPECT_TRUE(CIColorKernel(kernels[0]).isNull());
    EXPECT_FALSE(CIWarpKernel(kernels[2]).isNull());

    const CIImage input = CIImage::imageWithQImage(testPicture(30, 20));
    const QRectF rect(0, 0, 30, 20);
    const CIFloatBitmap in = renderFloat(input, rect, 256, 1);

    // A colour kernel reads its __sample at the output position.
    const CIImage swapped =
        CIColorKernel(kernels[1]).applyWithExtent(rect, {QVariant::fromValue(input)});
    ASSERT_FALSE(swapped.isNull());
    const CIFloatBitmap s = renderFloat(swapped, rect, 8, 2);
    EXPECT_EQ(s.at(3, 4)[0], in.at(3, 4)[2]);
    EXPECT_EQ(s.at(3, 4)[2], in.at(3, 4)[0]);

    // A warp reads its input where it says, with or without a region
    // callback, the same for every tile size.
    const CIWarpKernel warp(kernels[2]);
    const CIImage bounded = warp.applyWithExtent(
        rect, [](int index, const QRectF& r) { return index == 0 ? r.translated(2, 0) : r; }, input,
        {2.0});
    const CIImage unbounded = warp.applyWithExtent(rect, nullptr, input, {2.0});
    for (const CIImage& image : {bounded, unbounded}) {
        ASSERT_FALSE(image.isNull());
        for (const int tile : {1, 5, 64}) {
            const CIFloatBitmap w = renderFloat(image, rect, tile, 2);
            for (int y = 0; y < 20; ++y)
                for (int x = 0; x < 28; ++x)
                    ASSERT_EQ(w.at(x, y)[1], in.at(x + 2, y)[1]) << tile << ": " << x << "," << y;
            EXPECT_EQ(w.at(29, 5)[3], 0.0f);  // beyond the input
        }
    }
    // Through CIFilter::apply, a warp reads the definition option's image;
    // without one it has nothing to read.
    const ApplyingFilter filter;
    const CIImage viaApply = filter.apply(
        kernels[2], {2.0}, {{cif::kCIApplyOptionDefinition, QVariant::fromValue(input)}});
    EXPECT_EQ(renderFloat(viaApply, rect, 16, 1).at(4, 4)[0], in.at(6, 4)[0]);
    const WarningCatcher catcher;
    EXPECT_TRUE(filter.apply(kernels[2], {2.0}).isNull());
    EXPECT_TRUE(kernels[2].applyWithExtent(rect, nullptr, {2.0}).isNull());
    EXPECT_EQ(WarningCatcher::lines().size(), 2);
}

// A warp whose positions have no bound renders, for each block of output,
// only the input pixels that block reaches; the pixels are the same bits as
// reading the whole input (a region callback that names all of it), for any
// tile and thread count, including positions far outside and NaN.
TEST(KernelKinds, UnboundedWarpsReadWhatEachBlockReachesWithTheSameBits) {
    const QList<CIKernel> kernels = CIKernel::kernelsWithString(QStringLiteral(
        "kernel vec2 swirl(vec2 c, float r, float a) {"
        "  vec2 d = destCoord() - c;"
        "  float t = max(0., 1. - length(d) / r);"
        "  vec2 cs = cossin(a * t * t);"
        "  vec2 p = c + 1.3 * vec2(cs.x * d.x - cs.y * d.y, cs.y * d.x + cs.x * d.y);"
        "  if (d.y > 30.) p.x += 1e6;"
        "  if (d.x > 40.) p = vec2(sqrt(-1.));"
        "  return p; }"));
    ASSERT_EQ(kernels.size(), 1);
    const CIWarpKernel warp(kernels.first());
    const CIImage input = CIImage::imageWithQImage(testPicture(90, 70));
    const QRectF rect(-5, -4, 100, 80);
    const QVariantList args = {QVariant::fromValue(cif::CIVector{40.5, 30.5}), 45.0, 2.5};
    const CIImage whole = warp.applyWithExtent(
        rect, [](int, const QRectF&) { return QRectF(0, 0, 90, 70); }, input, args);
    const CIImage blocks = warp.applyWithExtent(rect, nullptr, input, args);
    ASSERT_FALSE(whole.isNull());
    ASSERT_FALSE(blocks.isNull());
    const CIFloatBitmap reference = renderFloat(whole, rect, 256, 1);
    for (const int tile : {1, 7, 64, 256}) {
        for (const int threads : {1, 3}) {
            const CIFloatBitmap got = renderFloat(blocks, rect, tile, threads);
            ASSERT_EQ(std::memcmp(got.pixels.data(), reference.pixels.data(),
                                  reference.pixels.size() * sizeof(float)),
                      0)
                << "tile " << tile << " threads " << threads;
        }
    }
    // NaN (x > 80) and moved far away (y > 60): transparent; the centre
    // reads itself.
    EXPECT_EQ(reference.at(5 + 85, 4 + 30)[3], 0.0f);
    EXPECT_EQ(reference.at(5 + 30, 4 + 65)[3], 0.0f);
    const CIFloatBitmap in = renderFloat(input, QRectF(0, 0, 90, 70), 256, 1);
    for (int k = 0; k < 4; ++k)
        EXPECT_EQ(reference.at(5 + 40, 4 + 30)[k], in.at(40, 30)[k]);
}

// Sampling at a list of positions gives, at every SIMD target, the scalar
// sampler's bits: runs of pixel centres, blends inside, edges, outside, NaN.
TEST(KernelEvaluator, SampledPointsMatchScalarForEveryTarget) {
    const CIImage input = CIImage::imageWithQImage(testPicture(37, 23));
    const CIFloatBitmap pixels = renderFloat(input, QRectF(0, 0, 37, 23), 256, 1);
    PixelBuffer image(IRect{0, 0, 37, 23});
    for (int y = 0; y < 23; ++y)
        std::memcpy(image.at(0, y), pixels.at(0, y), 37 * 4 * sizeof(float));
    std::vector<float> xy;
    std::mt19937 random(7);
    std::uniform_real_distribution<float> within(-2.0f, 40.0f);
    for (int i = 0; i < 3 * kSpan + 5; ++i) {
        const int kind = i / kSpan;
        // A run of centres along a row, then random points, then mixed ones.
        const float x = kind == 0 ? float(i) + 0.5f - 10.0f : within(random);
        const float y = kind == 0 ? 7.5f : within(random) * 0.6f;
        xy.insert(xy.end(), {x, kind == 2 && i % 9 == 0 ? NAN : y, 0.0f, 0.0f});
    }
    for (const int n : {1, kSpan - 1, kSpan, int(xy.size() / 4)}) {
        std::vector<float> expected(size_t(n) * 4);
        samplePointsScalar(&image, xy.data(), n, expected.data());
        forEachTarget([&] {
            std::vector<float> got(xy.begin(), xy.begin() + ptrdiff_t(n) * 4);
            samplePoints(&image, got.data(), n, got.data());  // in place
            ASSERT_EQ(std::memcmp(got.data(), expected.data(), expected.size() * sizeof(float)), 0)
                << n;
        });
    }
}

// A loop whose end depends on an argument stops at its budget: those pixels
// are transparent, the others computed, and the render says so once.
TEST(KernelKinds, RunawayLoopsStopWithOneMessage) {
    const QList<CIKernel> kernels = CIKernel::kernelsWithString(
        QStringLiteral("kernel vec4 k(float limit) { float s = 0.;"
                       "  while (s < limit * destCoord().x) s += 1.; return vec4(s / 1000.); }"));
    ASSERT_EQ(kernels.size(), 1);
    const CIImage out = kernels.first().applyWithExtent(QRectF(0, 0, 20, 4), nullptr, {100.0});
    const WarningCatcher catcher;
    const CIFloatBitmap b = renderFloat(out, QRectF(0, 0, 20, 4), 3, 2);
    // 100 * 2.5 = 250 steps fit the budget of 256; 100 * 3.5 do not.
    EXPECT_FLOAT_EQ(b.at(2, 1)[3], 0.25f);
    for (int k = 0; k < 4; ++k) {
        EXPECT_EQ(b.at(3, 1)[k], 0.0f);
        EXPECT_FALSE(std::signbit(b.at(19, 3)[k]));
    }
    ASSERT_EQ(WarningCatcher::lines().size(), 1);
    EXPECT_TRUE(WarningCatcher::lines().first().contains(QLatin1String("budget")));
}

TEST(KernelKinds, WrittenKernelsComputeWhatTheySay) {
    const CIImage input = CIImage::imageWithQImage(testPicture(24, 16));
    const QRectF rect(0, 0, 24, 16);
    const CIFloatBitmap in = renderFloat(input, rect, 256, 1);

    // Sepia: a matrix times the straight colour, premultiplied again.
    const CIColorKernel sepia = CIColorKernel::kernelWithString(kernelFile("sepia.cikernel"));
    ASSERT_FALSE(sepia.isNull());
    const CIFloatBitmap toned =
        renderFloat(sepia.applyWithExtent(rect, {QVariant::fromValue(input), 1.0}), rect, 16, 2);
    const float m[3][3] = {
        {0.393f, 0.769f, 0.189f}, {0.349f, 0.686f, 0.168f}, {0.272f, 0.534f, 0.131f}};
    for (const auto& [x, y] : {std::pair{0, 0}, std::pair{7, 3}, std::pair{23, 15}}) {
        const float* p = in.at(x, y);
        for (int k = 0; k < 3; ++k) {
            float v = 0.0f;
            for (int j = 0; j < 3; ++j)
                v += m[k][j] * (p[j] / p[3]);
            EXPECT_NEAR(toned.at(x, y)[k], std::clamp(v, 0.0f, 1.0f) * p[3], 1e-5) << x << "," << y;
        }
    }

    // The box blur's radius is an argument: the loop runs 2r + 1 times.
    const QList<CIKernel> blur = CIKernel::kernelsWithString(kernelFile("boxblur.cikernel"));
    ASSERT_EQ(blur.size(), 1);
    const ApplyingFilter filter;
    const CIFloatBitmap blurred =
        renderFloat(filter.apply(blur.first(), {QVariant::fromValue(input), 2.0}), rect, 7, 2);
    float sum = 0.0f;
    for (int i = -2; i <= 2; ++i)
        sum += in.at(10 + i, 5)[1];
    EXPECT_NEAR(blurred.at(10, 5)[1], sum / 5.0f, 1e-6);

    // A generator over the extent it is given.
    const QList<CIKernel> checker = CIKernel::kernelsWithString(kernelFile("checker.cikernel"));
    ASSERT_EQ(checker.size(), 1);
    const CIImage board = checker.first().applyWithExtent(
        QRectF(0, 0, 8, 8), nullptr,
        {QVariant::fromValue(CIColor(1, 0, 0, 1)), QVariant::fromValue(CIColor(0, 0, 1, 1)), 2.0});
    ASSERT_FALSE(board.isNull());
    EXPECT_EQ(board.extent(), QRectF(0, 0, 8, 8));
    const CIFloatBitmap b = renderFloat(board, QRectF(0, 0, 8, 8), 3, 1);
    EXPECT_EQ(b.at(1, 1)[0], 1.0f);
    EXPECT_EQ(b.at(2, 1)[2], 1.0f);
    EXPECT_EQ(b.at(3, 3)[0], 1.0f);

    // The twirl and the ripples compile as what they are.
    EXPECT_FALSE(CIWarpKernel::kernelWithString(kernelFile("twirl.cikernel")).isNull());
    const QList<CIKernel> ripples = CIKernel::kernelsWithString(kernelFile("ripples.cikernel"));
    ASSERT_EQ(ripples.size(), 1);
    EXPECT_TRUE(ripples.first().program().samplers.empty());
}

// ---------------------------------------------------------------- filter files

const QString kExamples = QStringLiteral(CIF_SOURCE_DIR "/resources/filters/examples");

void writeFile(const QString& path, const QByteArray& text) {
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(text);
}

TEST(KernelFilterFiles, BrokenFilesAreRefusedWithAReason) {
    cif::initializePlatform();
    const QList<QByteArray> broken = {
        "{ not json",
        "[1, 2]",
        R"({"name": "Bad Name", "inputs": [], "kernel": "", "arguments": []})",
        R"({"name": "KFNoInputs", "kernel": "", "arguments": []})",
        R"({"name": "KFBadKey", "inputs": [{"key": "radius", "class": "NSNumber"}],
            "kernel": "", "arguments": []})",
        R"({"name": "KFBadClass", "inputs": [{"key": "inputX", "class": "QFont"}],
            "kernel": "", "arguments": []})",
        R"({"name": "KFBadRange", "inputs": [{"key": "inputX", "class": "NSNumber",
            "min": 2, "max": 1}], "kernel": "", "arguments": []})",
        R"({"name": "KFNoKernel", "inputs": [], "arguments": []})",
        R"({"name": "KFBadKernel", "inputs": [], "kernel": "kernel vec4 k( {", "arguments": []})",
        R"({"name": "CIColorInvert", "inputs": [], "kernel": "kernel vec4 k() { return vec4(1.0); }",
            "arguments": []})",
        R"({"name": "KFArgCount", "inputs": [{"key": "inputImage", "class": "CIImage"}],
            "kernel": "kernel vec4 k(sampler s, float f) { return sample(s, samplerCoord(s)) * f; }",
            "arguments": ["inputImage"]})",
        R"({"name": "KFKind", "inputs": [{"key": "inputImage", "class": "CIImage"}],
            "kernel": "kernel vec4 k(__sample s) { return s; }", "kind": "warp",
            "arguments": ["inputImage"]})",
        R"({"name": "KFWarpImage", "inputs": [{"key": "inputX", "class": "NSNumber"}],
            "kernel": "kernel vec2 k(float x) { return destCoord() + x; }", "image": "inputX",
            "arguments": ["inputX"]})",
        R"({"name": "KFArgType", "inputs": [{"key": "inputImage", "class": "CIImage"},
            {"key": "inputF", "class": "CIVector"}],
            "kernel": "kernel vec4 k(sampler s, float f) { return sample(s, samplerCoord(s)) * f; }",
            "arguments": ["inputImage", "inputF"]})",
    };
    const QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    int index = 0;
    for (const QByteArray& text : broken) {
        const QString path = dir.filePath(QStringLiteral("f%1.json").arg(index++));
        writeFile(path, text);
        QString error;
        EXPECT_FALSE(cif::kernel::loadKernelFilterFile(path, &error)) << text.toStdString();
        EXPECT_FALSE(error.isEmpty());
        EXPECT_FALSE(error.contains(u'\n')) << error.toStdString();
    }
    EXPECT_FALSE(CIFilter::isRegistered(QStringLiteral("KFArgCount")));
    // The built-in keeps its own definition.
    EXPECT_TRUE(CIFilter::filterWithName(QStringLiteral("CIColorInvert"))->outputKeys().size() > 0);

    // The plug-in scan reports each broken file with its path and goes on.
    qputenv("CIF_FILTER_PATH", dir.path().toUtf8());
    const WarningCatcher catcher;
    const int loaded = cif::CIPlugIn::loadAllPlugIns();
    qunsetenv("CIF_FILTER_PATH");
    EXPECT_EQ(loaded, 0);
    EXPECT_EQ(WarningCatcher::lines().size(), broken.size());
    for (const QString& line : WarningCatcher::lines())
        EXPECT_TRUE(line.contains(dir.path())) << line.toStdString();
}

// A 3x3 neighbourhood kernel compiled from source, against the same sums
// written out in C++ (the operations in the source's order).
TEST(KernelApply, CompiledSobelMatchesDirectComputationAndIsCached) {
    const QString source = QStringLiteral(
        "float mono(sampler image, vec2 xy, vec2 off) { return sample(image, xy + off).r; }\n"
        "kernel vec4 sobel(sampler image, float param) {\n"
        "  float v = 0.0; float h = 0.0; vec2 xy = samplerCoord(image);\n"
        "  for (int j = 0; j < 3; j++) for (int i = 0; i < 3; i++) {\n"
        "    float p = mono(image, xy, vec2(float(i) - 1.0, float(j) - 1.0));\n"
        "    float wi = float(i) - 1.0; float wj = float(j) - 1.0;\n"
        "    v += p * wj * (2.0 - abs(wi)); h += p * wi * (2.0 - abs(wj)); }\n"
        "  float g = param * sqrt(h * h + v * v);\n"
        "  return vec4(g, g, g, sample(image, samplerCoord(image)).a); }\n");
    const QList<CIKernel> kernels = CIKernel::kernelsWithString(source);
    ASSERT_EQ(kernels.size(), 1);
    // The second compilation is the cached result.
    EXPECT_EQ(&CIKernel::kernelsWithString(source).first().program(), &kernels.first().program());
    EXPECT_EQ(kernels.first().program().samplers[0].reach, 1.0);

    const CIImage input = CIImage::imageWithQImage(testPicture(33, 21));
    const ApplyingFilter filter;
    const CIImage out = filter.apply(kernels.first(), {QVariant::fromValue(input), 1.5});
    ASSERT_FALSE(out.isNull());
    const QRectF rect(0, 0, 33, 21);
    const CIFloatBitmap in = renderFloat(input, rect, 256, 1);
    const CIFloatBitmap got = renderFloat(out, rect, 16, 2);
    auto red = [&](int x, int y) {
        return x < 0 || y < 0 || x >= 33 || y >= 21 ? 0.0f : in.at(x, y)[0];
    };
    for (int y = 0; y < 21; ++y)
        for (int x = 0; x < 33; ++x) {
            float v = 0.0f, h = 0.0f;
            for (int j = 0; j < 3; ++j)
                for (int i = 0; i < 3; ++i) {
                    const float p = red(x + i - 1, y + j - 1);
                    const float wi = float(i) - 1.0f, wj = float(j) - 1.0f;
                    v = v + p * wj * (2.0f - std::fabs(wi));
                    h = h + p * wi * (2.0f - std::fabs(wj));
                }
            const float g = 1.5f * std::sqrt(h * h + v * v);
            ASSERT_FLOAT_EQ(got.at(x, y)[0], g) << x << "," << y;
            ASSERT_EQ(got.at(x, y)[3], in.at(x, y)[3]);
        }
}

TEST(KernelFilterFiles, ExamplesLoadAndRun) {
    cif::initializePlatform();
    qputenv("CIF_FILTER_PATH", kExamples.toUtf8());
    const int loaded = cif::CIPlugIn::loadAllPlugIns();
    qunsetenv("CIF_FILTER_PATH");
    ASSERT_GE(loaded, 4);
    const CIImage input = CIImage::imageWithQImage(testPicture(20, 10));
    const QRectF rect(0, 0, 20, 10);
    const CIFloatBitmap in = renderFloat(input, rect, 256, 1);

    auto swap = CIFilter::filterWithName(QStringLiteral("CIFExampleChannelSwap"));
    ASSERT_TRUE(swap);
    EXPECT_TRUE(swap->outputImage().isNull());  // no image yet
    swap->setValueForKey(QVariant::fromValue(input), cif::kCIInputImageKey);
    const CIFloatBitmap swapped = renderFloat(swap->outputImage(), rect, 256, 1);
    for (int y = 0; y < 10; ++y)
        for (int x = 0; x < 20; ++x) {
            EXPECT_EQ(swapped.at(x, y)[0], in.at(x, y)[2]);
            EXPECT_EQ(swapped.at(x, y)[2], in.at(x, y)[0]);
            EXPECT_EQ(swapped.at(x, y)[3], in.at(x, y)[3]);
        }

    auto vignette = CIFilter::filterWithName(QStringLiteral("CIFExampleVignette"));
    ASSERT_TRUE(vignette);
    EXPECT_EQ(vignette->inputKeys().size(), 4);
    vignette->setValueForKey(QVariant::fromValue(input), cif::kCIInputImageKey);
    vignette->setValueForKey(QVariant::fromValue(CIVector{10.5, 5.5}),
                             QStringLiteral("inputCenter"));
    vignette->setValueForKey(10.0, QStringLiteral("inputRadius"));
    const CIFloatBitmap dark = renderFloat(vignette->outputImage(), rect, 256, 1);
    EXPECT_EQ(dark.at(10, 5)[1], in.at(10, 5)[1]);  // the centre is untouched
    EXPECT_EQ(dark.at(0, 5)[0], 0.0f);              // a radius away: black
    EXPECT_EQ(dark.at(0, 5)[3], in.at(0, 5)[3]);

    // A warp file reads its image: a twirl by no angle leaves it as it is,
    // by some angle moves pixels near the centre only.
    auto twirl = CIFilter::filterWithName(QStringLiteral("CIFExampleTwirl"));
    ASSERT_TRUE(twirl);
    twirl->setValueForKey(QVariant::fromValue(input), cif::kCIInputImageKey);
    twirl->setValueForKey(QVariant::fromValue(CIVector{10.0, 5.0}), QStringLiteral("inputCenter"));
    twirl->setValueForKey(4.0, QStringLiteral("inputRadius"));
    twirl->setValueForKey(0.0, QStringLiteral("inputAngle"));
    const CIFloatBitmap same = renderFloat(twirl->outputImage(), rect, 256, 1);
    EXPECT_EQ(same.at(3, 7)[0], in.at(3, 7)[0]);
    twirl->setValueForKey(3.0, QStringLiteral("inputAngle"));
    const CIFloatBitmap turned = renderFloat(twirl->outputImage(), rect, 256, 1);
    EXPECT_EQ(turned.at(17, 2)[1], in.at(17, 2)[1]);
    EXPECT_NE(turned.at(10, 6)[1], in.at(10, 6)[1]);
    // A colour file: sepia by no amount keeps the colours.
    auto sepia = CIFilter::filterWithName(QStringLiteral("CIFExampleSepia"));
    ASSERT_TRUE(sepia);
    sepia->setValueForKey(QVariant::fromValue(input), cif::kCIInputImageKey);
    sepia->setValueForKey(0.0, QStringLiteral("inputAmount"));
    EXPECT_NEAR(renderFloat(sepia->outputImage(), rect, 256, 1).at(4, 4)[2], in.at(4, 4)[2], 1e-6);
}

}  // namespace
