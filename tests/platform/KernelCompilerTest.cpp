// The kernel compiler: the platform's kernels compile, mistakes get exact
// diagnostics, every limit holds at and just past its value, and lowered
// programs compute what the source says (checked with a small scalar
// interpreter, independent of the evaluator).
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <string>

#include "platform/kernel/KernelCompiler.h"

namespace cif::kernel {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

const char* const kSobel =
    "const float kern00 = -1;const float kern01 = -2;const float kern02 = -1;const float kern10 = "
    "0;const float kern11 = 0;const float kern12 = 0;const float kern20 = 1;const float kern21 = "
    "2;const float kern22 = 1;float getMonoValue(sampler image, const vec2 xy, const vec2 "
    "off){\treturn sample(image, xy+off).r;}kernel vec4 sobelFilter(sampler image, float "
    "param){\tfloat accumV = 0.0;\tfloat accumH = 0.0;\tconst vec2 xy = "
    "samplerCoord(image);\tfloat pixel;\tpixel = getMonoValue(image, xy, vec2(-1.0, "
    "-1.0));\taccumV += pixel*kern00;\taccumH += pixel*kern00;\tpixel = getMonoValue(image, xy, "
    "vec2( 0.0, -1.0));\taccumV += pixel*kern01;\taccumH += pixel*kern10;\tpixel = "
    "getMonoValue(image, xy, vec2( 1.0, -1.0));\taccumV += pixel*kern02;\taccumH += "
    "pixel*kern20;\tpixel = getMonoValue(image, xy, vec2(-1.0,  0.0));\taccumV += "
    "pixel*kern10;\taccumH += pixel*kern01;\tpixel = getMonoValue(image, xy, vec2( 0.0,  "
    "0.0));\taccumV += pixel*kern11;\taccumH += pixel*kern11;\tpixel = getMonoValue(image, xy, "
    "vec2( 1.0,  0.0));\taccumV += pixel*kern12;\taccumH += pixel*kern21;\tpixel = "
    "getMonoValue(image, xy, vec2(-1.0,  1.0));\taccumV += pixel*kern20;\taccumH += "
    "pixel*kern02;\tpixel = getMonoValue(image, xy, vec2( 0.0,  1.0));\taccumV += "
    "pixel*kern21;\taccumH += pixel*kern12;\tpixel = getMonoValue(image, xy, vec2( 1.0,  "
    "1.0));\taccumV += pixel*kern22;\taccumH += pixel*kern22;\tfloat intens = "
    "param*sqrt(accumH * accumH + accumV * accumV);\treturn vec4(intens, intens, intens, "
    "sample(image, samplerCoord(image)).a );}";
const char* const kBlackWhite =
    "__color white  = __color(1., 1., 1., 1.);\t__color black = __color(0., 0., 0., "
    "1.);\t\t\t\t\tkernel vec4 blackAndWhite(sampler image, float factor)\t\t{\tvec4 v = "
    "sample(image, samplerCoord(image));\t\t\tfloat f = (0.2125*v.r+ "
    "0.7154*v.g+0.0721*v.b);\t\t\t\t__color retColor = (f>factor) ? black : "
    "white;\t\t\t\tretColor.a = v.a;\t\t\t\t\t\t\t\t\t\t\treturn "
    "retColor;}\t\t\t\t\t\t\t\t\t\t\t";
const char* const kTransparentColor =
    "kernel vec4 multiplyEffect(sampler image, __color color, float factor){vec4 samp = "
    "sample(image, samplerCoord(image));samp = unpremultiply(samp);vec4 retColor = "
    "samp;retColor.a = clamp(samp.a*smoothstep(0., factor, length(color-samp)), 0., 1.);samp = "
    "premultiply(samp);return retColor;}";
const char* const kMirror =
    "kernel vec4 multiplyEffect(sampler image, float factorY, float imageHeight){\tvec4 point = "
    "samplerCoord(image);vec2 coor = samplerCoord(image);vec4 res = sample(image, vec2(coor.x, "
    "abs(coor.y - abs(factorY)) + abs(factorY)));res.a = (min(coor.y/abs(factorY), "
    "point.a))*step(0., (coor.y)-(2.*factorY-imageHeight));return res;\t}";
const char* const kMirrorTile =
    "kernel vec4 mirrorTile(sampler image, float scale, float imageWidth, float "
    "imageHeight){\tvec2 coord;coord.x = abs( samplerCoord(image).x*2.-imageWidth+0.5);coord.y "
    "= abs( samplerCoord(image).y*2.-imageHeight+0.5);return sample(image, coord);}";
const char* const kSlideFrame =
    "kernel vec4 slideFrame(sampler image,float imageWidth, float imageHeight, float centerX, "
    "float centerY, float factorX, float factorY){\tvec2 coor = samplerCoord(image);float "
    "xBorder = factorX*imageWidth*0.5;float yBorder = factorY*imageHeight*0.5;vec4 res = "
    "sample(image,vec2(clamp(coor.x, centerX-xBorder, centerX + xBorder), clamp(coor.y, "
    "centerY-yBorder, centerY + yBorder)));return res;}";
const char* const kNet =
    "kernel vec4 multiplyEffect(sampler image, float width, float height, float imageWidth, "
    "float imageHeight){vec2 coor = samplerCoord(image);vec4 res = sample(image, "
    "vec2(clamp(coor.x + width*cos(coor.x), 1., imageWidth-1.), clamp(coor.y + "
    "height*sin(coor.y), 1., imageHeight-1.)));return res;}";

// ---- a reference interpreter for one pixel ----

struct Pixel {
    float r, g, b, a;
};

// The fake image of every sampler: a function of the sample position.
Pixel fakeImage(float x, float y) {
    return {x * 0.01f, y * 0.02f, x + 2 * y, 0.5f};
}

// Runs `p` at (x, y) with identity sampler transforms, extent (0, 0, 100, 50)
// and the given parameter values (by name).
Pixel runPixel(const Program& p, float x, float y,
               const std::map<std::string, std::vector<float>>& args = {}) {
    std::vector<float> r(static_cast<size_t>(p.registerCount), NAN);
    for (const Parameter& param : p.parameters) {
        if (param.type == ParamType::Sampler) continue;
        const std::vector<float>& v = args.at(param.name);
        for (size_t i = 0; i < param.registers.size(); ++i)
            r.at(param.registers[i]) = v.at(i);
    }
    for (const SamplerSlot& s : p.samplers) {
        const float extent[4] = {0, 0, 100, 50}, identity[6] = {1, 0, 0, 1, 0, 0};
        for (int i = 0; i < 4; ++i)
            r.at(s.extent[i]) = extent[i];
        for (int i = 0; i < 6; ++i)
            r.at(s.transform[i]) = identity[i];
    }
    for (const Instruction& in : p.code) {
        const float a = r.at(in.a), b = r.at(in.b), c = r.at(in.c);
        float& d = r.at(in.dst);
        switch (in.op) {
            // clang-format off
            case Op::Const: d = in.imm; break;
            case Op::Move: d = a; break;
            case Op::Add: d = a + b; break;
            case Op::Sub: d = a - b; break;
            case Op::Mul: d = a * b; break;
            case Op::Div: d = a / b; break;
            case Op::Neg: d = -a; break;
            case Op::Min: d = b < a ? b : a; break;
            case Op::Max: d = a < b ? b : a; break;
            case Op::Abs: d = std::fabs(a); break;
            case Op::Sign: d = a > 0 ? 1.f : a < 0 ? -1.f : 0.f; break;
            case Op::Floor: d = std::floor(a); break;
            case Op::Ceil: d = std::ceil(a); break;
            case Op::Trunc: d = std::trunc(a); break;
            case Op::Fract: d = a - std::floor(a); break;
            case Op::Mod: d = a - b * std::floor(a / b); break;
            case Op::Sqrt: d = std::sqrt(a); break;
            case Op::InverseSqrt: d = 1 / std::sqrt(a); break;
            case Op::Pow: d = std::pow(a, b); break;
            case Op::Exp: d = std::exp(a); break;
            case Op::Exp2: d = std::exp2(a); break;
            case Op::Log: d = std::log(a); break;
            case Op::Log2: d = std::log2(a); break;
            case Op::Sin: d = std::sin(a); break;
            case Op::Cos: d = std::cos(a); break;
            case Op::Tan: d = std::tan(a); break;
            case Op::Asin: d = std::asin(a); break;
            case Op::Acos: d = std::acos(a); break;
            case Op::Atan: d = std::atan(a); break;
            case Op::Atan2: d = std::atan2(a, b); break;
            case Op::Step: d = b < a ? 0.f : 1.f; break;
            case Op::Less: d = a < b; break;
            case Op::LessEqual: d = a <= b; break;
            case Op::Greater: d = a > b; break;
            case Op::GreaterEqual: d = a >= b; break;
            case Op::Equal: d = a == b; break;
            case Op::NotEqual: d = a != b; break;
            case Op::And: d = a != 0 && b != 0; break;
            case Op::Or: d = a != 0 || b != 0; break;
            case Op::Not: d = a == 0; break;
            case Op::Select: d = a != 0 ? b : c; break;
            case Op::DestX: d = x; break;
            case Op::DestY: d = y; break;
            // clang-format on
            case Op::Sample: {
                EXPECT_TRUE(in.dst != in.a && in.dst != in.b);
                const Pixel s = fakeImage(a, b);
                r.at(in.dst) = s.r;
                r.at(in.dst + 1) = s.g;
                r.at(in.dst + 2) = s.b;
                r.at(in.dst + 3) = s.a;
                break;
            }
        }
    }
    return {r.at(p.result[0]), r.at(p.result[1]), r.at(p.result[2]), r.at(p.result[3])};
}

std::vector<Program> compileOk(const std::string& source) {
    std::vector<Program> programs;
    std::vector<Diagnostic> diagnostics;
    const bool ok = compileKernelSource(source, programs, diagnostics);
    EXPECT_TRUE(ok) << (diagnostics.empty() ? "" : diagnostics[0].text()) << "\n" << source;
    if (ok) {
        EXPECT_TRUE(diagnostics.empty());
    }
    return programs;
}

std::string errorOf(const std::string& source) {
    std::vector<Program> programs;
    std::vector<Diagnostic> diagnostics;
    if (compileKernelSource(source, programs, diagnostics)) return "compiled";
    EXPECT_TRUE(programs.empty());
    return diagnostics.empty() ? "no diagnostic" : diagnostics[0].text();
}

// Evaluates `body` as the body of a kernel with one float parameter p = 2
// and a sampler, at pixel (3, 4).
Pixel eval(const std::string& prelude, const std::string& body, float p = 2.0f) {
    const auto programs =
        compileOk(prelude + "kernel vec4 k(sampler image, float p) {" + body + "}");
    if (programs.size() != 1) return {NAN, NAN, NAN, NAN};
    return runPixel(programs[0], 3.0f, 4.0f, {{"p", {p}}});
}

#define EXPECT_PIXEL(px, er, eg, eb, ea) \
    do {                                 \
        const Pixel q_ = (px);           \
        EXPECT_NEAR(q_.r, er, 1e-5);     \
        EXPECT_NEAR(q_.g, eg, 1e-5);     \
        EXPECT_NEAR(q_.b, eb, 1e-5);     \
        EXPECT_NEAR(q_.a, ea, 1e-5);     \
    } while (0)

// ---- the platform's kernels ----

TEST(KernelCompilerTest, PlatformKernelsCompileWithTheirParametersAndReach) {
    struct Case {
        const char* source;
        const char* name;
        std::vector<ParamType> params;
        double reach;
    };
    using P = ParamType;
    const Case cases[] = {
        {kSobel, "sobelFilter", {P::Sampler, P::Float}, 1.0},
        {kBlackWhite, "blackAndWhite", {P::Sampler, P::Float}, 0.0},
        {kTransparentColor, "multiplyEffect", {P::Sampler, P::Color, P::Float}, 0.0},
        {kMirror, "multiplyEffect", {P::Sampler, P::Float, P::Float}, kInf},
        {kMirrorTile, "mirrorTile", {P::Sampler, P::Float, P::Float, P::Float}, kInf},
        {kSlideFrame,
         "slideFrame",
         {P::Sampler, P::Float, P::Float, P::Float, P::Float, P::Float, P::Float},
         kInf},
        {kNet, "multiplyEffect", {P::Sampler, P::Float, P::Float, P::Float, P::Float}, kInf},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const auto programs = compileOk(c.source);
        ASSERT_EQ(programs.size(), 1u);
        const Program& p = programs[0];
        EXPECT_EQ(p.name, c.name);
        ASSERT_EQ(p.parameters.size(), c.params.size());
        for (size_t i = 0; i < c.params.size(); ++i)
            EXPECT_EQ(p.parameters[i].type, c.params[i]);
        ASSERT_EQ(p.samplers.size(), 1u);
        EXPECT_EQ(p.samplers[0].parameterName, "image");
        EXPECT_EQ(p.samplers[0].reach, c.reach);
        EXPECT_LE(p.registerCount, 200);
        for (const Instruction& in : p.code) {
            EXPECT_LT(in.dst + (in.op == Op::Sample ? 3 : 0), p.registerCount);
        }
    }
}

TEST(KernelCompilerTest, PlatformKernelsComputeTheirMeaning) {
    // Sobel at (3, 4): the fake image's red is x / 100, so the horizontal
    // gradient is (1 + 2 + 1) * 2 / 100 and the vertical one 0.
    const Program sobel = compileOk(kSobel)[0];
    const float g = 0.08f;
    EXPECT_PIXEL(runPixel(sobel, 3, 4, {{"param", {2.0f}}}), 2 * g, 2 * g, 2 * g, 0.5f);

    // Black and white: luminance of (0.03, 0.08, 11) is above 0.5 -> black.
    const Program bw = compileOk(kBlackWhite)[0];
    EXPECT_PIXEL(runPixel(bw, 3, 4, {{"factor", {0.5f}}}), 0, 0, 0, 0.5f);
    EXPECT_PIXEL(runPixel(bw, 3, 4, {{"factor", {100.0f}}}), 1, 1, 1, 0.5f);

    // Mirror: the vec2 -> vec4 widening makes point.a 1.
    const Program mirror = compileOk(kMirror)[0];
    const Pixel m = runPixel(mirror, 3, 40, {{"factorY", {10.0f}}, {"imageHeight", {50.0f}}});
    EXPECT_NEAR(m.g, (std::fabs(40.0f - 10.0f) + 10.0f) * 0.02f, 1e-5);
    EXPECT_NEAR(m.a, 1.0f, 1e-6);  // min(40 / 10, 1) * step(0, 40 - (20 - 50))
}

// ---- diagnostics ----

TEST(KernelCompilerTest, MistakesGetOneClearLocatedDiagnostic) {
    const std::pair<const char*, const char*> cases[] = {
        {"kernel vec4 k() {\n  vec4 c = vec4(1.0)\n  return c; }",
         "kernel:3:3: expected ';' after declaration"},
        {"kernel vec4 k() {\n  float a = 1.0;\n  a + 1.0 return vec4(a); }",
         "kernel:3:11: expected ';' after expression"},
        {"kernel vec4 k() {\n    return vec4(foo); }", "kernel:2:17: unknown identifier 'foo'"},
        {"kernel vec4 k() {\n  float f;\n  f = vec3(1.0);\n  return vec4(f); }",
         "kernel:3:5: cannot assign vec3 to float"},
        {"kernel vec4 k() { vec3 v = vec2(1.0); return vec4(v, 1.); }",
         "kernel:1:24: cannot assign vec2 to vec3"},
        {"kernel vec4 k() { vec4 v = vec4(1.); v.xx = vec2(0.); return v; }",
         "kernel:1:40: cannot assign to swizzle 'xx', which repeats a component"},
        {"kernel vec4 k() { vec2 v = vec2(1.); return v.xyz.xxxx; }",
         "kernel:1:47: swizzle 'xyz' reads past the end of vec2"},
        {"kernel vec4 k() { int i = 0; i = 1.5; return vec4(1.); }",
         "kernel:1:32: cannot assign float to int"},
        {"kernel vec4 k() { float s = 0.; while (s) s += 1.; return vec4(s); }",
         "kernel:1:40: the loop condition must be bool"},
        {"kernel vec4 k() { break; return vec4(1.); }", "kernel:1:19: 'break' outside a loop"},
        {"kernel vec4 k() { return vec4(1) * mat3(1.); }",
         "kernel:1:34: '*' cannot combine vec4 and mat3"},
        {"kernel vec4 k() { for (int i = 1; i > 0; i *= 2) {} return vec4(1.); }",
         "kernel:1:19: loop does not end: it runs more than 100000 times"},
        {"float f(float x) { return x; } float f(float y) { return y; }",
         "kernel:1:38: function 'f' is already defined"},
        {"float f(float x) { return x; } float f(vec2 y) { return y.x; }"
         " kernel vec4 k() { return vec4(f(vec3(1.))); }",
         "kernel:1:94: no function f(vec3)"},
        {"void f(out float x) { x = 1.; } kernel vec4 k() { f(2.); return vec4(1.); }",
         "kernel:1:53: cannot assign to this expression"},
        {"kernel vec4 k() { float a[2]; return vec4(a); }",
         "kernel:1:43: array 'a' must be indexed"},
        {"kernel vec4 k() { float a[2] = {1., 2., 3.}; return vec4(a[0]); }",
         "kernel:1:32: 'a' has 2 elements, the initialiser 3"},
        {"kernel vec4 k() { float a[2]; return vec4(a[2]); }",
         "kernel:1:45: index 2 is out of range for an array of 2"},
        {"kernel vec4 k() { const float c = 1.; c = 2.; return vec4(c); }",
         "kernel:1:39: cannot assign to const 'c'"},
        {"kernel vec4 k() { return vec4(1.) + vec3(1.); }",
         "kernel:1:35: '+' cannot combine vec4 and vec3"},
        {"kernel vec4 k() { return mix(vec2(1.), vec3(1.), 0.5).xyzz; }",
         "kernel:1:26: no function mix(vec2, vec3, float)"},
        {"kernel vec4 k() { return vec4(1., 2., 3.); }",
         "kernel:1:26: not enough components for 'vec4(...)'"},
        {"kernel vec4 k() { return vec4(vec2(1.), vec2(2.), 3.); }",
         "kernel:1:51: too many arguments to 'vec4(...)'"},
        {"kernel vec4 k() { if (1.0) return vec4(1.); return vec4(0.); }",
         "kernel:1:23: the condition of 'if' must be bool"},
        {"kernel vec4 k() { float x = 1.; if (x > 0.) return vec4(1.); }",
         "kernel:1:13: function 'k' can reach its end without returning a value"},
        {"kernel vec3 k() { return vec3(1.); }",
         "kernel:1:13: kernel 'k' must return vec4 (or vec2 for a warp)"},
        {"float g = destCoord().x; kernel vec4 k() { return vec4(g); }",
         "kernel:1:7: global 'g' must be initialised with a constant expression"},
        {"kernel vec4 k() { return vec4(1.) @ 2; }", "kernel:1:35: unexpected character '@'"},
        {"kernel vec4 k() { /* open", "kernel:1:19: unterminated comment"},
        {"float f(float x) { return x; }", "kernel:1:1: the source defines no kernel function"},
        {"kernel vec4 k() { return vec4(1. % 2.); }",
         "kernel:1:34: operator '%' is reserved in this language; use mod(x, y)"},
        {"kernel vec4 k() { int i = 7;\n  i %= 2; return vec4(i); }",
         "kernel:2:5: operator '%=' is reserved in this language; use x = mod(x, y)"},
        {"kernel vec4 k() {\n  switch (1) { default: break; } return vec4(1.); }",
         "kernel:2:3: 'switch' is reserved in this language; use if and else"},
        {"kernel vec4 k() { float[2] a[3]; return vec4(1.); }",
         "kernel:1:29: arrays cannot hold arrays"},
        {"float[2] f() { return float[2](1., 2.); } kernel vec4 k() { return vec4(1.); }",
         "kernel:1:1: a function cannot return an array"},
    };
    for (const auto& [source, expected] : cases)
        EXPECT_EQ(errorOf(source), expected) << source;
}

// ---- limits, each at and just past its value ----

TEST(KernelCompilerTest, SourceSizeLimit) {
    const std::string kernel = "kernel vec4 k() { return vec4(1.); }";
    std::string source = kernel + std::string(kMaxSourceBytes - kernel.size(), ' ');
    EXPECT_EQ(errorOf(source), "compiled");
    EXPECT_EQ(errorOf(source + " "), "kernel:1:1: kernel source is larger than 64 KiB");
}

TEST(KernelCompilerTest, NestingLimitAndHostileNesting) {
    // The body block is one level; each parenthesis one more.
    auto parens = [](int n) {
        return "kernel vec4 k() { return vec4(" + std::string(n, '(') + "1." + std::string(n, ')') +
               "); }";
    };
    const std::string nested = "expressions and statements nested more than 64 deep";
    // The body and the constructor's argument list are two levels.
    EXPECT_EQ(errorOf(parens(62)), "compiled");
    EXPECT_NE(errorOf(parens(63)).find(nested), std::string::npos);
    auto blocks = [](int n) {
        return "kernel vec4 k() " + std::string(n, '{') + "return vec4(1.);" + std::string(n, '}');
    };
    EXPECT_EQ(errorOf(blocks(63)), "compiled");  // plus the body: 64
    EXPECT_NE(errorOf(blocks(64)).find(nested), std::string::npos);
    auto chain = [](int n) {
        std::string s = "kernel vec4 k() { float a = 1.";
        for (int i = 0; i < n; ++i)
            s += "+1.";
        return s + "; return vec4(a); }";
    };
    EXPECT_EQ(errorOf(chain(63)), "compiled");
    EXPECT_NE(errorOf(chain(64)).find(nested), std::string::npos);
    // Hostile input of the whole allowed size: a diagnostic, not a crash.
    EXPECT_NE(errorOf("kernel vec4 k() { return " + std::string(60000, '(')).find(nested),
              std::string::npos);
    EXPECT_NE(errorOf("kernel vec4 k() { return " + std::string(60000, '-') + "x; }").find(nested),
              std::string::npos);
    EXPECT_NE(
        errorOf("kernel vec4 k() { return vec4(1.)" + std::string(60000, '+')).find("kernel:"),
        std::string::npos);
}

TEST(KernelCompilerTest, CallDepthLimitAndRecursion) {
    // f0 calls nothing; fi calls f(i-1); the kernel calls f(n-1): n nested calls.
    auto chain = [](int n) {
        std::string s = "float f0(float x) { return x + 1.; }";
        for (int i = 1; i < n; ++i)
            s += "float f" + std::to_string(i) + "(float x) { return f" + std::to_string(i - 1) +
                 "(x); }";
        return s + "kernel vec4 k() { return vec4(f" + std::to_string(n - 1) + "(1.)); }";
    };
    const auto programs = compileOk(chain(50));
    ASSERT_EQ(programs.size(), 1u);
    EXPECT_PIXEL(runPixel(programs[0], 0, 0), 2, 2, 2, 2);
    EXPECT_NE(errorOf(chain(51)).find("function calls nested more than 50 deep"),
              std::string::npos);

    EXPECT_EQ(errorOf("float f(float x) { return f(x); } kernel vec4 k() { return vec4(f(1.)); }"),
              "kernel:1:27: function 'f' calls itself");
    // A prototype alone defines nothing.
    EXPECT_EQ(errorOf("float g(float x); kernel vec4 k() { return vec4(g(1.)); }"),
              "kernel:1:49: unknown function 'g'");
    EXPECT_EQ(errorOf("float f(float x) { return g(x); } float g(float x) { return f(x); }"
                      " kernel vec4 k() { return vec4(f(1.)); }"),
              "kernel:1:61: function 'f' calls itself through 'g'");
}

TEST(KernelCompilerTest, LoopAndWorkLimits) {
    auto loop = [](const std::string& header) {
        return "kernel vec4 k() { float s = 0.; for (" + header +
               ") { s += 1.; } return vec4(s); }";
    };
    const auto programs = compileOk(loop("int i = 0; i < 99999; i++"));
    ASSERT_EQ(programs.size(), 1u);
    EXPECT_PIXEL(runPixel(programs[0], 0, 0), 99999, 99999, 99999, 99999);
    EXPECT_EQ(errorOf(loop("int i = 0; i < 100000; i++")),
              "kernel:1:33: loop must run fewer than 100000 times");
    EXPECT_EQ(errorOf(loop("float i = 0.; i < 1.; i -= 1.")),
              "kernel:1:33: loop must run fewer than 100000 times");

    // Work is counted before anything is unrolled: one per statement, one
    // per operator and component, the body of a loop once per iteration.
    // Here 1 + 2 * iterations + (1 + extra) + 1.
    auto work = [](int iterations, int extra) {
        std::string s = "kernel vec4 k(float p) { float s = p; for (int i = 0; i < " +
                        std::to_string(iterations) + "; i++) s += p; s = s";
        for (int i = 0; i < extra; ++i)
            s += "+p";
        return s + "; return vec4(s); }";
    };
    const std::string tooMuch = "kernel does more than 200000 operations per pixel";
    const auto atLimit = compileOk(work(99990, 17));
    ASSERT_EQ(atLimit.size(), 1u);
    EXPECT_PIXEL(runPixel(atLimit[0], 0, 0, {{"p", {1.0f}}}), 100008, 100008, 100008, 100008);
    EXPECT_EQ(errorOf(work(99990, 18)), "kernel:1:13: " + tooMuch);
    // A helper's work counts at every call.
    EXPECT_EQ(errorOf("float f(float x) { float s = x; for (int i = 0; i < 99999; i++) s += x;"
                      " return s; } kernel vec4 k(float p) { return vec4(f(p) + f(p)); }"),
              "kernel:1:97: " + tooMuch);
    // All kernels of one source share a larger budget: five kernels of about
    // 180000 operations each fit, a sixth does not.
    auto many = [](int count) {
        std::string s;
        for (int k = 0; k < count; ++k)
            s += "kernel vec4 k" + std::to_string(k) +
                 "(float p) { float s = p; for (int i = 0; i < 90000; i++) s += p; return "
                 "vec4(s); }";
        return s;
    };
    EXPECT_EQ(compileOk(many(5)).size(), 5u);
    EXPECT_NE(errorOf(many(6)).find("operations in all"), std::string::npos);
}

// Values that are all alive at once need their own registers: n vec4 locals
// summed only after the last one is made need n registers at least (a
// splat shares one register for its four components). The source size
// limit keeps real kernels far under the register limit; the evaluator's
// own bound is checked in the runtime test.
TEST(KernelCompilerTest, LiveValuesGetTheirOwnRegisters) {
    auto liveLocals = [](int n) {
        std::string s = "kernel vec4 k(float p) {";
        for (int i = 0; i < n; ++i)
            s += "vec4 a" + std::to_string(i) + " = vec4(p * " + std::to_string(i) + ".);";
        s += "vec4 s = a0;";
        for (int i = 1; i < n; ++i)
            s += "s += a" + std::to_string(i) + ";";
        return s + "return s; }";
    };
    const auto programs = compileOk(liveLocals(1000));
    ASSERT_EQ(programs.size(), 1u);
    EXPECT_GE(programs[0].registerCount, 1000);
    // Sum of p * i for i < 1000 with p = 1.
    EXPECT_PIXEL(runPixel(programs[0], 0, 0, {{"p", {1.0f}}}), 499500, 499500, 499500, 499500);
}

// ---- meaning of the language, through the reference interpreter ----

TEST(KernelCompilerTest, ExpressionsConstructorsAndSwizzles) {
    EXPECT_PIXEL(eval("", "vec4 v = vec4(1., 2., 3., 4.); return v.wzyx;"), 4, 3, 2, 1);
    EXPECT_PIXEL(eval("", "vec4 v = vec4(1.); v.rb = vec2(5., 6.); return v;"), 5, 1, 6, 1);
    EXPECT_PIXEL(eval("", "vec3 v = vec3(vec4(1., 2., 3., 4.)); return vec4(v.zy, v.x, p);"), 3, 2,
                 1, 2);
    EXPECT_PIXEL(eval("", "vec2 s = vec2(.5, 1e-1); return vec4(s.st, s.ts);"), .5, .1, .1, .5);
    EXPECT_PIXEL(eval("const float kk = -1; ",
                      "float a = p, b = 1.; a += 3.; a *= 2.; a -= b; "
                      "a /= 9.; b = a++; float c = --a; return vec4(a, b, c, kk);"),
                 1, 1, 1, -1);
    EXPECT_PIXEL(eval("", "vec4 v = vec4(1.) * p + vec4(0., 1., 2., 3.) / 2.; return -v;"), -2,
                 -2.5, -3, -3.5);
    EXPECT_PIXEL(eval("",
                      "bool b = p > 1. && !(p >= 3.) || p == 0.; "
                      "return b ? vec4(p != 3., p == 3., p < p, p > -p) : vec4(0.5);"),
                 1, 0, 0, 1);
    // A vec2 assigned to a vec4 widens to (x, y, 0, 1).
    EXPECT_PIXEL(eval("", "vec4 v = destCoord(); return v;"), 3, 4, 0, 1);
    EXPECT_PIXEL(eval("", "vec4 v; v = vec2(7., 8.); return v;"), 7, 8, 0, 1);
    EXPECT_PIXEL(eval("__color white = __color(1., 1., 1., 1.); const vec2 h = vec2(.5);",
                      "return white * h.x;"),
                 .5, .5, .5, .5);
}

TEST(KernelCompilerTest, LiteralsBeyondDoubleRange) {
    // Too small for a double is zero, too large is infinity.
    EXPECT_PIXEL(eval("", "return vec4(1e-400, 0.001e-320, 100e-402, float(1e400 > 1e38));"), 0, 0,
                 0, 1);
}

TEST(KernelCompilerTest, ControlFlowAndHelpers) {
    const char* helper =
        "float pick(float x) { if (x > 1.) { if (x > 5.) return 50.; return 10.; } return 1.; }";
    EXPECT_PIXEL(eval(helper, "return vec4(pick(p), pick(0.), pick(p * 4.), pick(-p));"), 10, 1, 50,
                 1);
    // The first return executed wins, including inside loops.
    EXPECT_PIXEL(eval("",
                      "for (int i = 0; i < 10; i++) { if (float(i) > p) return vec4(i); } "
                      "return vec4(-1.);"),
                 3, 3, 3, 3);
    EXPECT_PIXEL(eval("",
                      "float s = 0.; for (float i = 10.; i > 0.; i -= 2.5) { s += i; } "
                      "if (s < 0.) { s = 1.; } else s = s * 2.; return vec4(s);"),
                 50, 50, 50, 50);
    // Both sides of an if run as selects: a division by zero in the branch
    // not taken must not leak.
    EXPECT_PIXEL(eval("",
                      "float d = p - 2.; float r = 5.; if (d != 0.) r = 1. / d; "
                      "return vec4(r);"),
                 5, 5, 5, 5);
    // Parameters are copies; helpers may take samplers.
    EXPECT_PIXEL(
        eval("float twice(float x) { x *= 2.; return x; } "
             "vec4 at(sampler s, vec2 o) { return sample(s, samplerCoord(s) + o); }",
             "float q = p; float t = twice(q); return vec4(q, t, at(image, vec2(1., 0.)).rg);"),
        2, 4, 0.04f, 0.08f);
}

TEST(KernelCompilerTest, IntegersBooleansAndVectorsOfThem) {
    // Integer division rounds towards zero; int() truncates; ints mix with
    // floats; bool() tests for nonzero; vector equality is all components.
    EXPECT_PIXEL(eval("",
                      "int a = 7, b = -7; ivec2 v = ivec2(a / 2, b / 2); a /= 3;"
                      "return vec4(v, a, int(-p * 1.75));"),
                 3, -3, 2, -3);
    EXPECT_PIXEL(
        eval("",
             "bvec3 b = bvec3(p, 0., true); bool x = b.x ^^ b.z;"
             "return vec4(b.x, b.y, x, ivec2(1, 2) == ivec2(1, 2) && vec2(p) != vec2(p, 2.));"),
        1, 0, 0, 0);
    EXPECT_PIXEL(eval("",
                      "int i = 5; i++; ++i; i -= 2 * 2; float f = float(i) + 0.5 * float(i);"
                      "vec3 c = p > 1. ? vec3(1., 2., 3.) : vec3(0.); c.zy += vec2(10.);"
                      "return vec4(i, f, c.yz);"),
                 3, 4.5, 12, 13);
}

TEST(KernelCompilerTest, LoopsOfEveryForm) {
    // break and continue; the loop index is a constant in each iteration.
    EXPECT_PIXEL(eval("",
                      "float s = 0.; for (int i = 0; i < 10; i++) {"
                      "  if (i == 2) continue; if (float(i) > p * 2.) break; s += float(i); }"
                      "float w = 0.; int n = 0; while (w < 10.) { w += p; n++; }"
                      "float d = 0.; do { d += 1.; } while (d < 0.);"
                      "return vec4(s, w, n, d);"),
                 8, 10, 5, 1);
    // Bounds from a parameter, float counters, nested loops, a break that
    // depends on the pixel.
    EXPECT_PIXEL(eval("",
                      "float s = 0.; for (int i = 0; i < int(p) + 1; i++)"
                      "  for (float j = 0.; j < p; j += 0.5) s += 1.;"
                      "float t = 0.; for (int i = 0; ; i++) { if (float(i) >= destCoord().x) break;"
                      "  t += 10.; }"
                      "return vec4(s, t, 0, 0);",
                      2.0f),
                 12, 30, 0, 0);
    // The comma operator runs both sides in order, as in a step of two
    // counters.
    EXPECT_PIXEL(eval("",
                      "float a = 0.; int j = 0; for (int i = 0; i < 3; i++, j += 2) a += float(j);"
                      "float x = 2.; x = (x += 1., x * p); return vec4(a, float(j), x, 0.);"),
                 6, 6, 6, 0);
    // Nested loops over a radius given as an argument (a box blur) share
    // the budget: each may run 64 times.
    EXPECT_PIXEL(eval("",
                      "float s = 0.; for (float x = -p; x <= p; x += 1.)"
                      "  for (float y = -p; y <= p; y += 1.) s += sample(image, samplerCoord(image)"
                      "    + vec2(x, y)).a;"
                      "return vec4(s);"),
                 12.5, 12.5, 12.5, 12.5);
    const std::string nested =
        "float t = 0.; for (float x = 0.; x < p; x += 1.)"
        "  for (float y = 0.; y < p * 32. + extra; y += 1.) t += 1.;"
        "return vec4(t);";
    EXPECT_PIXEL(eval("const float extra = 0.;", nested), 128, 128, 128, 128);
    EXPECT_PIXEL(eval("const float extra = 1.;", nested), 0, 0, 0, 0);
    // A loop that does not end within its budget leaves the pixel
    // transparent; one that ends just in time does not.
    EXPECT_PIXEL(eval("", "float s = 0.; while (s < p) s += 1.; return vec4(s);", 256.0f), 256, 256,
                 256, 256);
    EXPECT_PIXEL(eval("", "float s = 0.; while (s < p) s += 1.; return vec4(s);", 257.0f), 0, 0, 0,
                 0);
}

TEST(KernelCompilerTest, FunctionsOverloadsAndScopes) {
    // out and inout parameters, void functions, overloads by type (ints
    // converting to floats when nothing fits exactly), a helper named after
    // a built-in, a local named after a function, shadowing in blocks.
    EXPECT_PIXEL(eval("void split(float v, out float a, inout float b) { a = v * 2.; b += v; }"
                      "float f(float x) { return 1.; } float f(vec2 x) { return 2.; }"
                      "float f(int x) { return 3.; }"
                      "float length(vec2 v) { return v.x + v.y; }",
                      "float a = 0., b = 1.; split(p, a, b); float distance = f(1.) + f(vec2(1.))"
                      " + f(4) * 10.; float x = 1.; { float x = 5.; a += x; }"
                      "return vec4(a + x, b, distance, length(vec2(2., 3.)));"),
                 10, 3, 33, 5);
    // Arrays: initialisers, indexes from loops and from pixels, array
    // parameters (copied), writes through an index.
    EXPECT_PIXEL(eval("float sum3(float w[3]) { w[0] += 100.; return w[0] + w[1] + w[2]; }",
                      "const float k[3] = float[3](1., 2., 4.); float w[3] = {p, 0., 0.};"
                      "for (int i = 1; i < 3; i++) w[i] = w[i - 1] * k[i];"
                      "vec2 v[2]; v[int(destCoord().x) - 2].y = 7.;"
                      "return vec4(sum3(w), w[0], w[2], v[1].y + v[0].y);"),
                 122, 2, 16, 7);
    // A prototype (parameters named or not) lets a helper call one defined
    // after it.
    EXPECT_PIXEL(eval("float later(float); float twice(float x) { return later(x) * 2.; }"
                      "float later(float x) { return x + 1.; }",
                      "return vec4(twice(p));"),
                 6, 6, 6, 6);
    // Matrices: columns first, products with vectors both ways and with
    // matrices, a diagonal from a scalar.
    EXPECT_PIXEL(eval("",
                      "mat2 m = mat2(1., 2., 3., 4.); vec2 v = vec2(1., 1.);"
                      "vec2 a = m * v; vec2 b = v * m; mat2 sq = m * mat2(p);"
                      "return vec4(a, b.y, sq[1][1]);"),
                 4, 6, 7, 8);
}

TEST(KernelCompilerTest, SkippedOperandsLeaveVariablesAlone) {
    // The side of &&, || and ?: that does not run has no effect:
    // assignments, ++ and --, and out arguments of helpers alike.
    const char* bump = "bool bump(inout float n) { n += 1.; return true; }";
    EXPECT_PIXEL(eval(bump,
                      "float a = 0., b = 0., c = 0., d = 0., e = 0.;"
                      "bool x = p > 5. && (a = 1.) > 0.;"
                      "bool y = p > 1. || (b += 1.) > 0.;"
                      "bool z = p > 1. && bump(c);"
                      "float t = p > 1. ? d++ : (e = 7.);"
                      "float u = p < 1. ? (d = 10.) : e--;"
                      "return vec4(a + 10. * b + 100. * float(x) + 1000. * float(y),"
                      "  c + 10. * float(z), t + 10. * d, e + 10. * u);"),
                 1000, 11, 10, -1);
    // Inside a loop, only the iterations where the left side holds count.
    EXPECT_PIXEL(eval(bump,
                      "float n = 0., m = 0.;"
                      "for (int i = 0; i < 6; i++) { if (float(i) < p || bump(n)) m += 1.; }"
                      "return vec4(n, m, 0., 0.);"),
                 4, 6, 0, 0);
}

TEST(KernelCompilerTest, ArraysSizedAfterTheTypeAndWrittenByHelpers) {
    // `float[3] a` declares like `float a[3]`, for every name of the list;
    // out and inout array parameters come back to the caller's array, also
    // under an if (taken or not).
    EXPECT_PIXEL(eval("void fill(out float[3] w, float v) {"
                      "  for (int i = 0; i < 3; i++) w[i] = v * float(i); }"
                      "void twice(inout vec2 w[2]) { w[0] *= 2.; w[1].y += 1.; }",
                      "float[3] a; fill(a, p);"
                      "vec2[2] v = vec2[2](vec2(1., 2.), vec2(3., 4.));"
                      "float[2] q, r = float[2](5., 6.);"
                      "if (p > 1.) twice(v); if (p > 5.) twice(v);"
                      "return vec4(a[1] + a[2], v[0].x, v[1].y, r[1]);"),
                 6, 2, 5, 6);
}

TEST(KernelCompilerTest, PreprocessorMacrosAndConditions) {
    // Object- and function-like macros, nested uses, a continued line, a
    // macro that names a built-in, directives inside a body.
    EXPECT_PIXEL(eval("#define TWO 2.0\n"
                      "#define SQ(x) ((x) * (x))\n"
                      "#define ADD3(a, b, c) (a + \\\n   b + c)\n"
                      "#define LEN length\n",
                      "float a = SQ(TWO + 1.);\n"
                      "#ifdef SQ\n"
                      "a += ADD3(1., SQ(p), TWO);\n"
                      "#else\n"
                      "a = -1.;\n"
                      "#endif\n"
                      "return vec4(a, LEN(vec2(3., 4.)), __LINE__, GL_ES);"),
                 16, 5, 12, 1);
    // #if arithmetic, defined(), #elif chains, #undef, nesting, and
    // skipped text that would not compile.
    EXPECT_PIXEL(eval("#define LEVEL 3\n"
                      "#if LEVEL * 2 > 5 && defined(LEVEL) && !defined NOPE\n"
                      "#define R 1.\n"
                      "#elif LEVEL == 3\n"
                      "#define R 2.\n"
                      "#else\n"
                      "#define R 3.\n"
                      "#endif\n"
                      "#undef LEVEL\n"
                      "#ifndef LEVEL\n"
                      "#  if 0\n"
                      "this is not kernel code @\n"
                      "#  elif (0x10 >> 2) == 4 && 010 == 8\n"
                      "#    define G 4.\n"
                      "#  endif\n"
                      "#endif\n",
                      "return vec4(R, G, 0, 0);"),
                 1, 4, 0, 0);
    // A function-like macro's name alone is not a call; a macro is not
    // expanded inside its own expansion.
    EXPECT_PIXEL(eval("#define f(x) (x + 1.)\nfloat g(float f) { return f; }\n",
                      "float y = p;\n#define y (y * 2.)\nreturn vec4(g(f(1.)), y, 0, 0);"),
                 2, 4, 0, 0);

    const std::pair<const char*, const char*> errors[] = {
        {"#if 1\nkernel vec4 k() { return vec4(1.); }",
         "kernel:1:2: '#if' without a matching '#endif'"},
        {"#endif\n", "kernel:1:2: '#endif' without '#if'"},
        {"#define F(a, b) a\nkernel vec4 k() { return vec4(F(1.)); }",
         "kernel:2:31: macro 'F' takes 2 arguments, not 1"},
        {"#error too old\n", "kernel:1:1: #error too old"},
        {"#if 1 / 0\n#endif\n", "kernel:1:7: division by zero in '#if'"},
        {"#foo\n", "kernel:1:2: unknown directive '#foo'"},
        {"#define A A B\n#define B A\nkernel vec4 k() { return vec4(A); }",
         "kernel:3:31: expected ')' after arguments"},
    };
    for (const auto& [source, expected] : errors)
        EXPECT_EQ(errorOf(source), expected) << source;
}

TEST(KernelCompilerTest, BuiltinFunctions) {
    EXPECT_PIXEL(eval("", "return vec4(abs(-p), sign(-p), floor(1.5), ceil(1.5));"), 2, -1, 1, 2);
    EXPECT_PIXEL(eval("", "return vec4(fract(1.25), mod(7., 3.), min(vec2(1., 5.), p));"), .25, 1,
                 1, 2);
    EXPECT_PIXEL(eval("",
                      "return vec4(clamp(vec2(-1., 3.), 0., p), mix(0., 10., .25), "
                      "step(1., p));"),
                 0, 2, 2.5, 1);
    EXPECT_PIXEL(eval("",
                      "return vec4(smoothstep(0., 4., p), length(vec2(3., 4.)), "
                      "distance(vec3(1.), vec3(1., 1., 3.)), dot(vec2(1., 2.), vec2(3., 4.)));"),
                 .5, 5, 2, 11);
    EXPECT_PIXEL(eval("",
                      "return vec4(cross(vec3(1., 0., 0.), vec3(0., 1., 0.)), "
                      "normalize(vec2(3., 4.)).y);"),
                 0, 0, 1, .8);
    EXPECT_PIXEL(eval("",
                      "return vec4(sqrt(4.) + inversesqrt(4.), pow(2., 3.), exp2(3.), "
                      "log2(8.));"),
                 2.5, 8, 8, 3);
    EXPECT_PIXEL(eval("",
                      "return vec4(atan(1., 1.) * 4., degrees(radians(90.)), "
                      "compare(vec2(-1., 1.), vec2(5.), vec2(6.)));"),
                 static_cast<float>(M_PI), 90, 5, 6);
    EXPECT_PIXEL(eval("", "return premultiply(vec4(1., .5, .25, .5));"), .5, .25, .125, .5);
    EXPECT_PIXEL(eval("",
                      "return unpremultiply(vec4(.5, .25, .125, .5)) + "
                      "unpremultiply(vec4(p, p, p, 0.));"),
                 1, .5, .25, .5);
    EXPECT_PIXEL(
        eval("",
             "return vec4(samplerExtent(image).zw, samplerOrigin(image).x, "
             "samplerSize(image).y) + vec4(samplerTransform(image, vec2(1., 2.)), 0., 0.);"),
        101, 52, 0, 50);
    EXPECT_PIXEL(eval("", "return sample(image, destCoord() * 2.);"), .06f, .16f, 22, .5);
    // Geometric functions of GLSL.
    EXPECT_PIXEL(eval("",
                      "return vec4(reflect(vec2(1., -1.), vec2(0., 1.)), "
                      "refract(vec2(0., -1.), vec2(0., 1.), 1.));"),
                 1, 1, 0, -1);
    EXPECT_PIXEL(eval("",
                      "return vec4(faceforward(vec2(0., 1.), vec2(0., -1.), vec2(0., 1.)), "
                      "refract(vec2(1., 0.), vec2(0., 1.), 2.));"),
                 0, 1, 0, 0);
    // Vector relations and the boolean reductions.
    EXPECT_PIXEL(
        eval("",
             "bvec2 l = lessThan(vec2(1., 2.), vec2(2., 2.)); "
             "return vec4(any(l), all(l), not(l).y, "
             "all(equal(ivec3(1, 2, 3), ivec3(1, 2, 3))) && any(notEqual(l, l)) == "
             "false && all(greaterThanEqual(vec2(p), vec2(2.))) && "
             "!any(greaterThan(vec2(p), lessThanEqual(vec2(1.), vec2(0.)) == bvec2(false) ? "
             "vec2(5.) : vec2(0.))));"),
        1, 0, 1, 1);
    EXPECT_PIXEL(eval("",
                      "mat2 m = matrixCompMult(mat2(1., 2., 3., 4.), mat2(2.)); "
                      "return vec4(m[0], cossin(0.).x + sin_(0.) + cos_(0.), cossin_(0.).y);"),
                 2, 0, 2, 0);
    // A table is read at the centre of the entry a position falls in.
    // `__table sampler t` is the same as `__table t`.
    const auto table = compileOk(
        "kernel vec4 k(__table t) { return sample(t, vec2(3.7, 4.2)); }\n"
        "kernel vec4 q(__table sampler t) { return sample(t, vec2(3.7, 4.2)); }");
    ASSERT_EQ(table.size(), 2u);
    for (const Program& p : table)
        EXPECT_PIXEL(runPixel(p, 0, 0), .035f, .09f, 3.5f + 9.f, .5f);
}

}  // namespace
}  // namespace cif::kernel
