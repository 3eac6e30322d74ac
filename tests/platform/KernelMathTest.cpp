// The kernel language's sin and cos: accuracy against a double-precision
// reference, and the same bits from the scalar evaluator, the vector one on
// every Highway target, and compile-time folding.

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdio>
#include <limits>
#include <numbers>
#include <string>
#include <vector>

#include "platform/kernel/KernelCompiler.h"
#include "platform/kernel/KernelEvaluator.h"
#include "platform/kernel/KernelMath.h"
#include "tests/support/SimdTargets.h"

namespace {

using namespace cif::kernel;

constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

uint32_t bitsOf(float v) {
    return std::bit_cast<uint32_t>(v);
}

// |got - exact| in units of the last place of the float nearest exact.
double ulpError(float got, double exact) {
    int e = 0;
    std::frexp(double(float(exact)), &e);
    const double ulp = std::max(std::ldexp(1.0, e - 24), std::ldexp(1.0, -149));
    return std::fabs(double(got) - exact) / ulp;
}

// Arguments in [-8192, 8192]: a dense stride through every binade, the
// floats on either side of each multiple of pi/4 (where the reduction
// cancels most), and the edges of the reduced range.
std::vector<float> sweep() {
    std::vector<float> xs;
    for (uint32_t b = 0; b <= bitsOf(kTrigReducedLimit); b += 509) {
        xs.push_back(std::bit_cast<float>(b));
        xs.push_back(-std::bit_cast<float>(b));
    }
    for (int k = 1; k <= 10430; ++k) {
        const float m = float(k * (std::numbers::pi / 4));
        for (float x : {std::nextafter(m, 0.0f), m, std::nextafter(m, kInf)})
            xs.push_back(x);
    }
    for (float x : {kTrigReducedLimit, std::nextafter(kTrigReducedLimit, 0.0f)})
        xs.insert(xs.end(), {x, -x});
    return xs;
}

TEST(KernelMath, SinCosAreWithinAnUlpOddEvenAndExactAtSpecialValues) {
    double worstSin = 0, worstCos = 0;
    for (const float x : sweep()) {
        worstSin = std::max(worstSin, ulpError(kernelSin(x), std::sin(double(x))));
        worstCos = std::max(worstCos, ulpError(kernelCos(x), std::cos(double(x))));
        ASSERT_EQ(bitsOf(kernelSin(-x)), bitsOf(-kernelSin(x))) << x;
        ASSERT_EQ(bitsOf(kernelCos(-x)), bitsOf(kernelCos(x))) << x;
    }
    // Over every float in range the worst is 1.018 ulps.
    EXPECT_LE(worstSin, 1.02);
    EXPECT_LE(worstCos, 1.02);
    // Zeros keep their sign; tiny arguments give x and 1.
    EXPECT_EQ(bitsOf(kernelSin(-0.0f)), bitsOf(-0.0f));
    EXPECT_EQ(bitsOf(kernelSin(0.0f)), bitsOf(0.0f));
    EXPECT_EQ(kernelCos(-0.0f), 1.0f);
    for (float x : {1e-45f, 1e-38f, 1e-20f, 1e-5f}) {
        EXPECT_EQ(kernelSin(x), x);
        EXPECT_EQ(kernelSin(-x), -x);
        EXPECT_EQ(kernelCos(x), 1.0f);
    }
    // Past the reduced range, infinities and NaN: the C library's answer.
    for (float x : {std::nextafter(kTrigReducedLimit, kInf), -1e5f, 3e38f, kInf, -kInf, kNaN}) {
        const float s = std::sin(x), c = std::cos(x);
        EXPECT_TRUE(bitsOf(kernelSin(x)) == bitsOf(s) ||
                    (std::isnan(s) && std::isnan(kernelSin(x))))
            << x;
        EXPECT_TRUE(bitsOf(kernelCos(x)) == bitsOf(c) ||
                    (std::isnan(c) && std::isnan(kernelCos(x))))
            << x;
    }
}

using cif::testing::forEachTarget;

Instruction ins(Op op, Reg dst, Reg a = 0) {
    Instruction i;
    i.op = op;
    i.dst = dst;
    i.a = a;
    return i;
}

TEST(KernelMath, VectorEvaluatorMatchesScalarBitForBitOnEveryTarget) {
    // The sweep in the four channels of a picture (channel k holds value
    // i + k, so each value meets both functions), with an out-of-range value
    // or NaN in some vectors so they take the lane-by-lane path.
    std::vector<float> xs = sweep();
    const float odd[] = {1e5f, kNaN, -kInf, 8192.5f};
    for (size_t i = 37; i < xs.size(); i += 173)
        xs[i] = odd[(i / 173) % std::size(odd)];
    constexpr int kWidth = 1000;
    const int height = int((xs.size() + kWidth - 1) / kWidth);
    cif::engine::PixelBuffer image(cif::engine::IRect{0, 0, kWidth, height});
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < kWidth; ++x)
            for (int k = 0; k < 4; ++k)
                image.at(x, y)[k] = xs[(size_t(y) * kWidth + size_t(x) + size_t(k)) % xs.size()];
    // sin r, cos g, sin b, cos a of the pixel under each position.
    Program p;
    p.samplers.resize(1);
    p.registerCount = 10;
    p.code = {ins(Op::DestX, 0),  ins(Op::DestY, 1),  ins(Op::Sample, 2), ins(Op::Sin, 6, 2),
              ins(Op::Cos, 7, 3), ins(Op::Sin, 8, 4), ins(Op::Cos, 9, 5)};
    p.code[2].b = 1;
    for (int k = 0; k < 4; ++k)
        p.result[k] = Reg(6 + k);
    EvalContext context;
    context.images = {&image};
    std::vector<float> ref(size_t(kWidth) * 4 * size_t(height));
    for (int y = 0; y < height; ++y)
        runProgramScalar(p, context, 0, y, kWidth, ref.data() + size_t(y) * kWidth * 4);
    for (size_t i = 0; i < ref.size(); ++i) {
        const float x = image.data()[i];
        const float expected = i % 2 == 0 ? kernelSin(x) : kernelCos(x);
        ASSERT_TRUE(bitsOf(ref[i]) == bitsOf(expected) || std::isnan(expected)) << x;
    }
    forEachTarget([&] {
        std::vector<float> vec(ref.size());
        for (int y = 0; y < height; ++y)
            runProgram(p, context, 0, y, kWidth, vec.data() + size_t(y) * kWidth * 4);
        for (size_t i = 0; i < ref.size(); ++i)
            ASSERT_TRUE(bitsOf(vec[i]) == bitsOf(ref[i]) ||
                        (std::isnan(vec[i]) && std::isnan(ref[i])))
                << "value " << i << " of " << image.data()[i] << ": " << vec[i] << " vs " << ref[i];
    });
}

TEST(KernelMath, FoldedConstantsEqualValuesComputedAtRunTime) {
    // An argument where the C library and kernelSin / kernelCos differ, so
    // folding with the wrong function shows.
    float x = 1.0f;
    while (std::sin(x) == kernelSin(x) || std::cos(x) == kernelCos(x))
        x = std::nextafter(x, 2.0f);
    char literal[32];
    std::snprintf(literal, sizeof literal, "%.9g", double(x));
    std::vector<Program> programs;
    std::vector<Diagnostic> diagnostics;
    ASSERT_TRUE(compileKernelSource(std::string("kernel vec4 k(float p) { return vec4(sin(p), "
                                                "cos(p), sin(") +
                                        literal + "), cos(" + literal + ")); }",
                                    programs, diagnostics));
    ASSERT_EQ(programs.size(), 1u);
    const Program& p = programs[0];
    EvalContext context;
    context.uniforms = {{p.parameters[0].registers[0], x}};
    float out[4];
    for (auto run : {&runProgram, &runProgramScalar}) {
        run(p, context, 0, 0, 1, out);
        EXPECT_EQ(bitsOf(out[0]), bitsOf(kernelSin(x)));
        EXPECT_EQ(bitsOf(out[1]), bitsOf(kernelCos(x)));
        EXPECT_EQ(bitsOf(out[2]), bitsOf(out[0]));
        EXPECT_EQ(bitsOf(out[3]), bitsOf(out[1]));
    }
}

}  // namespace
