// The kernel runtime against native C++: a 3x3 Sobel edge filter on a
// 4096 x 4096 picture, end to end (8-bit sRGB in, CIContext::createQImage,
// 8-bit out) at 1 and 2 render threads.
//
//   SobelFromSource   the kernel-language source below, compiled by
//                     CIKernel::kernelsWithString and run through CIFilter::apply
//   SobelLowered      the same kernel as a program lowered by hand, the way
//                     the compiler lays it out (runs without the compiler)
//   SobelNative       the same operation written in C++ as an engine node
//   NetDistortion     a kernel with a cosine and a sine per pixel that samples
//                     between pixel centres (the plug-in's net distortion)
//   ColorMatrixKernel a colour kernel (__sample) applying a 4x4 colour matrix
//                     and a bias, against the built-in CIColorMatrix
//                     (ColorMatrixBuiltin) with the same matrix; goal: within
//                     1.5 times the built-in's time
//   TwirlKernel       a warp kernel twirling the whole picture, against the
//                     built-in CITwirlDistortion (TwirlBuiltin) with the same
//                     centre, radius and angle; goal: within 2 times
//
// Every benchmark reports MP/s (megapixels per second of wall time); at the
// end the program prints the ratio native / from-source for each thread
// count. Goal: from source at least 125 MP/s at 2 threads, native at most
// 2.5 times faster.

#include <benchmark/benchmark.h>

#include <QGuiApplication>
#include <QImage>
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <map>
#include <mutex>
#include <vector>

#include "platform/CIPlatform.h"
#include "platform/image/CIAttributes.h"
#include "platform/image/CIContext.h"
#include "platform/image/CIFilter.h"
#include "platform/image/CIImage.h"
#include "platform/image/CIVector.h"
#include "platform/kernel/CIKernel.h"

namespace {

using cif::CIContext;
using cif::CIImage;
using cif::CIKernel;
using namespace cif::engine;
namespace k = cif::kernel;

constexpr int kSide = 4096;
constexpr double kPixels = double(kSide) * double(kSide);
constexpr double kGain = 2.0;

const char* const kSobelSource =
    "const float kern00 = -1;const float kern01 = -2;const float kern02 = -1;const float kern10 "
    "= 0;const float kern11 = 0;const float kern12 = 0;const float kern20 = 1;const float kern21 "
    "= 2;const float kern22 = 1;float getMonoValue(sampler image, const vec2 xy, const vec2 "
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

// Deterministic noise over gradients, so the edges are everywhere.
uint32_t hash32(uint32_t v) {
    v ^= v >> 16;
    v *= 0x7feb352dU;
    v ^= v >> 15;
    v *= 0x846ca68bU;
    v ^= v >> 16;
    return v;
}

const CIImage& picture() {
    static const CIImage image = [] {
        QImage q(kSide, kSide, QImage::Format_RGBA8888_Premultiplied);
        for (int y = 0; y < kSide; ++y) {
            uint8_t* row = q.scanLine(y);
            for (int x = 0; x < kSide; ++x) {
                const uint32_t h = hash32(uint32_t(y) * kSide + uint32_t(x));
                row[4 * x + 0] = uint8_t((x / 16 + (h & 0x1f)) & 0xff);
                row[4 * x + 1] = uint8_t((y / 16 + ((h >> 8) & 0x1f)) & 0xff);
                row[4 * x + 2] = uint8_t((h >> 16) & 0xff);
                row[4 * x + 3] = 255;
            }
        }
        return CIImage::imageWithQImage(q);
    }();
    return image;
}

// ---------------------------------------------------------------- native

// 3x3 Sobel on red, grey output times the gain, alpha from the centre pixel.
class SobelNode final : public Node {
public:
    explicit SobelNode(NodePtr input) : Node({input}, input->extent()) {}
    Rect regionOfInterest(size_t, const Rect& out) const override { return out.inset(-1, -1); }
    const char* kind() const override { return "sobel"; }
    void render(PixelBuffer& dst, const RenderState& state) const override {
        const IRect area = dst.rect().intersected(coveringPixels(extent()));
        if (area.isEmpty()) {
            dst.fillTransparent();
            return;
        }
        const IRect region = inputRegion(0, area);
        PooledBuffer in(region);
        renderNode(*inputs()[0], *in, state);
        // Red of three rows, with a transparent border: planar, so the
        // arithmetic loop is contiguous and vectorises.
        const int w = area.w;
        std::vector<float> red(size_t(w + 2) * 3);
        std::vector<float> alpha(static_cast<size_t>(w));
        for (int y = area.y; y < area.top(); ++y) {
            for (int r = 0; r < 3; ++r) {
                float* row = red.data() + size_t(r) * size_t(w + 2);
                const int yy = y - 1 + r, x0 = area.x - 1;
                std::fill(row, row + (w + 2), 0.0f);
                if (yy < region.y || yy >= region.top()) continue;
                const int lo = std::max(0, region.x - x0);
                const int hi = std::min(w + 2, region.right() - x0);
                const float* src = in->at(x0 + lo, yy);
                for (int i = lo; i < hi; ++i)
                    row[i] = src[size_t(i - lo) * 4];
            }
            for (int i = 0; i < w; ++i)
                alpha[size_t(i)] = in->at(area.x + i, y)[3];
            const float* lo = red.data();
            const float* mid = lo + (w + 2);
            const float* hi = mid + (w + 2);
            float* out = dst.at(area.x, y);
            for (int i = 0; i < w; ++i) {
                const float v =
                    (hi[i] + 2.0f * hi[i + 1] + hi[i + 2]) - (lo[i] + 2.0f * lo[i + 1] + lo[i + 2]);
                const float h =
                    (lo[i + 2] + 2.0f * mid[i + 2] + hi[i + 2]) - (lo[i] + 2.0f * mid[i] + hi[i]);
                const float g = float(kGain) * std::sqrt(h * h + v * v);
                out[4 * i + 0] = g;
                out[4 * i + 1] = g;
                out[4 * i + 2] = g;
                out[4 * i + 3] = alpha[size_t(i)];
            }
        }
        dst.clearOutside(area);
    }
};

// ---------------------------------------------------------------- lowered

// The Sobel kernel as a straightforward lowering produces it: samplerCoord
// through the sampler's transform, nine samples at constant offsets, the
// accumulations with the constant weights, and the final sample for alpha.
CIKernel loweredSobel() {
    k::Program p;
    p.name = "sobelFilter";
    p.samplers.resize(1);
    p.samplers[0].parameterName = "image";
    p.samplers[0].reach = 1.0;
    for (int i = 0; i < 4; ++i)
        p.samplers[0].extent[i] = k::Reg(i);
    for (int i = 0; i < 6; ++i)
        p.samplers[0].transform[i] = k::Reg(4 + i);
    k::Parameter image;
    image.name = "image";
    image.type = k::ParamType::Sampler;
    image.sampler = 0;
    k::Parameter param;
    param.name = "param";
    param.registers = {10};
    p.parameters = {image, param};
    int next = 11;
    auto reg = [&](int n = 1) {
        const k::Reg r = k::Reg(next);
        next += n;
        return r;
    };
    auto op = [&](k::Op o, k::Reg d, k::Reg a = 0, k::Reg b = 0, float imm = 0.0f) {
        k::Instruction i;
        i.op = o;
        i.dst = d;
        i.a = a;
        i.b = b;
        i.imm = imm;
        p.code.push_back(i);
    };
    const k::Reg dx = reg(), dy = reg(), t0 = reg(), t1 = reg(), sx = reg(), sy = reg();
    op(k::Op::DestX, dx);
    op(k::Op::DestY, dy);
    op(k::Op::Mul, t0, 4, dx);
    op(k::Op::Mul, t1, 6, dy);
    op(k::Op::Add, sx, t0, t1);
    op(k::Op::Add, sx, sx, 8);
    op(k::Op::Mul, t0, 5, dx);
    op(k::Op::Mul, t1, 7, dy);
    op(k::Op::Add, sy, t0, t1);
    op(k::Op::Add, sy, sy, 9);
    const k::Reg accV = reg(), accH = reg();
    op(k::Op::Const, accV, 0, 0, 0.0f);
    op(k::Op::Const, accH, 0, 0, 0.0f);
    const float kern[3][3] = {{-1, -2, -1}, {0, 0, 0}, {1, 2, 1}};
    int n = 0;
    for (int oy = -1; oy <= 1; ++oy)
        for (int ox = -1; ox <= 1; ++ox, ++n) {
            const k::Reg cx = reg(), cy = reg(), px = reg(), py = reg(), s = reg(4);
            op(k::Op::Const, cx, 0, 0, float(ox));
            op(k::Op::Const, cy, 0, 0, float(oy));
            op(k::Op::Add, px, sx, cx);
            op(k::Op::Add, py, sy, cy);
            p.code.push_back({k::Op::Sample, s, px, py, 0, 0.0f, 0});
            // accumV uses kern[n / 3][n % 3], accumH the transposed weight.
            const k::Reg wv = reg(), wh = reg(), mv = reg(), mh = reg();
            op(k::Op::Const, wv, 0, 0, kern[n / 3][n % 3]);
            op(k::Op::Const, wh, 0, 0, kern[n % 3][n / 3]);
            op(k::Op::Mul, mv, s, wv);
            op(k::Op::Add, accV, accV, mv);
            op(k::Op::Mul, mh, s, wh);
            op(k::Op::Add, accH, accH, mh);
        }
    const k::Reg hh = reg(), vv = reg(), sum = reg(), root = reg(), intens = reg(), centre = reg(4);
    op(k::Op::Mul, hh, accH, accH);
    op(k::Op::Mul, vv, accV, accV);
    op(k::Op::Add, sum, hh, vv);
    op(k::Op::Sqrt, root, sum);
    op(k::Op::Mul, intens, 10, root);
    p.code.push_back({k::Op::Sample, centre, sx, sy, 0, 0.0f, 0});
    p.result[0] = p.result[1] = p.result[2] = intens;
    p.result[3] = k::Reg(centre + 3);
    p.registerCount = next;
    return CIKernel::kernelWithProgram(p);
}

// A filter object to call apply on.
class KernelFilter final : public cif::CIFilter {};

CIImage applySobel(const CIKernel& kernel) {
    static const KernelFilter filter;
    return filter.apply(kernel, {QVariant::fromValue(picture()), kGain});
}

// ---------------------------------------------------------------- harness

template <typename Build>
void measure(benchmark::State& state, Build&& build) {
    picture();
    CIContext context;
    const int threads = int(state.range(0));
    context.setThreads(threads);
    const CIImage image = build();
    if (image.isNull()) {
        state.SkipWithError("the recipe could not be built (see the warning above)");
        return;
    }
    const QRectF rect(0, 0, kSide, kSide);
    for (auto _ : state) {
        const QImage out = context.createQImage(image, rect);
        if (out.isNull()) {
            state.SkipWithError(qPrintable(context.lastError()));
            return;
        }
        benchmark::DoNotOptimize(out.constBits());
    }
    state.counters["MP/s"] =
        benchmark::Counter(double(state.iterations()) * kPixels / 1e6, benchmark::Counter::kIsRate);
}

void BM_SobelFromSource(benchmark::State& state) {
    measure(state, [] {
        const QList<CIKernel> kernels =
            CIKernel::kernelsWithString(QString::fromLatin1(kSobelSource));
        return kernels.isEmpty() ? CIImage() : applySobel(kernels.first());
    });
}

void BM_SobelLowered(benchmark::State& state) {
    measure(state, [] { return applySobel(loweredSobel()); });
}

void BM_SobelNative(benchmark::State& state) {
    measure(state,
            [] { return CIImage::imageWithNode(std::make_shared<SobelNode>(picture().node())); });
}

// x + 5 cos x, y + 3 sin y, kept one pixel inside the picture.
const char* const kNetSource =
    "kernel vec4 net(sampler image, float width, float height, float imageWidth, float "
    "imageHeight){vec2 coor = samplerCoord(image);return sample(image, vec2(clamp(coor.x + "
    "width*cos(coor.x), 1., imageWidth-1.), clamp(coor.y + height*sin(coor.y), 1., "
    "imageHeight-1.)));}";

void BM_NetDistortion(benchmark::State& state) {
    measure(state, [] {
        static const KernelFilter filter;
        const QList<CIKernel> kernels =
            CIKernel::kernelsWithString(QString::fromLatin1(kNetSource));
        return kernels.isEmpty()
                   ? CIImage()
                   : filter.apply(kernels.first(), {QVariant::fromValue(picture()), 5.0, 3.0,
                                                    double(kSide), double(kSide)});
    });
}

// ---------------------------------------------------------------- kinds

const char* const kColorMatrixSource =
    "kernel vec4 colorMatrix(__sample s, vec4 r, vec4 g, vec4 b, vec4 a, vec4 bias) {\n"
    "  vec4 c = unpremultiply(s);\n"
    "  c = c * mat4(r, g, b, a) + bias;\n"
    "  return premultiply(clamp(c, 0.0, 1.0));\n"
    "}\n";

const double kMatrix[4][4] = {
    {0.9, 0.1, 0.05, 0.0}, {0.05, 0.8, 0.1, 0.0}, {0.1, 0.05, 0.7, 0.0}, {0.0, 0.0, 0.0, 1.0}};
const double kBias[4] = {0.02, 0.01, 0.03, 0.0};

QVariant vector4(const double* v) {
    return QVariant::fromValue(cif::CIVector{v[0], v[1], v[2], v[3]});
}

void BM_ColorMatrixKernel(benchmark::State& state) {
    measure(state, [] {
        static const KernelFilter filter;
        const QList<CIKernel> kernels =
            CIKernel::kernelsWithString(QString::fromLatin1(kColorMatrixSource));
        if (kernels.isEmpty()) return CIImage();
        return filter.apply(kernels.first(), {QVariant::fromValue(picture()), vector4(kMatrix[0]),
                                              vector4(kMatrix[1]), vector4(kMatrix[2]),
                                              vector4(kMatrix[3]), vector4(kBias)});
    });
}

void BM_ColorMatrixBuiltin(benchmark::State& state) {
    measure(state, [] {
        const auto f = cif::CIFilter::filterWithName(QStringLiteral("CIColorMatrix"));
        if (!f) return CIImage();
        f->setValueForKey(QVariant::fromValue(picture()), QStringLiteral("inputImage"));
        const char* const keys[] = {"inputRVector", "inputGVector", "inputBVector", "inputAVector"};
        for (int i = 0; i < 4; ++i)
            f->setValueForKey(vector4(kMatrix[i]), QLatin1String(keys[i]));
        f->setValueForKey(vector4(kBias), QStringLiteral("inputBiasVector"));
        return f->outputImage();
    });
}

// The built-in's twirl: a rotation by angle * t^2, t = 1 - r / radius.
const char* const kTwirlSource =
    "kernel vec2 twirl(vec2 center, float radius, float angle) {\n"
    "  vec2 d = destCoord() - center;\n"
    "  float t = max(0.0, 1.0 - length(d) / radius);\n"
    "  vec2 cs = cossin(angle * t * t);\n"
    "  return center + vec2(cs.x * d.x - cs.y * d.y, cs.y * d.x + cs.x * d.y);\n"
    "}\n";
constexpr double kTwirlRadius = 2000.0, kTwirlAngle = 3.14159265358979;

void BM_TwirlKernel(benchmark::State& state) {
    measure(state, [] {
        static const KernelFilter filter;
        const QList<CIKernel> kernels =
            CIKernel::kernelsWithString(QString::fromLatin1(kTwirlSource));
        if (kernels.isEmpty()) return CIImage();
        return filter.apply(kernels.first(),
                            {QVariant::fromValue(cif::CIVector{kSide / 2.0, kSide / 2.0}),
                             kTwirlRadius, kTwirlAngle},
                            {{cif::kCIApplyOptionDefinition, QVariant::fromValue(picture())}});
    });
}

void BM_TwirlBuiltin(benchmark::State& state) {
    measure(state, [] {
        const auto f = cif::CIFilter::filterWithName(QStringLiteral("CITwirlDistortion"));
        if (!f) return CIImage();
        f->setValueForKey(QVariant::fromValue(picture()), QStringLiteral("inputImage"));
        f->setValueForKey(QVariant::fromValue(cif::CIVector{kSide / 2.0, kSide / 2.0}),
                          QStringLiteral("inputCenter"));
        f->setValueForKey(kTwirlRadius, QStringLiteral("inputRadius"));
        f->setValueForKey(kTwirlAngle, QStringLiteral("inputAngle"));
        return f->outputImage();
    });
}

void threadArgs(benchmark::internal::Benchmark* b) {
    b->ArgName("threads")->Arg(1)->Arg(2)->UseRealTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_SobelFromSource)->Apply(threadArgs);
BENCHMARK(BM_SobelLowered)->Apply(threadArgs);
BENCHMARK(BM_SobelNative)->Apply(threadArgs);
BENCHMARK(BM_NetDistortion)->Apply(threadArgs);
BENCHMARK(BM_ColorMatrixKernel)->Apply(threadArgs);
BENCHMARK(BM_ColorMatrixBuiltin)->Apply(threadArgs);
BENCHMARK(BM_TwirlKernel)->Apply(threadArgs);
BENCHMARK(BM_TwirlBuiltin)->Apply(threadArgs);

// Collects MP/s per benchmark as the runs are reported, for the ratios.
class RatioReporter final : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            const auto it = run.counters.find("MP/s");
            const std::string name = run.benchmark_name();
            if (run.error_occurred || it == run.counters.end() ||
                name.find("Sobel") == std::string::npos)
                continue;
            const int threads = name.find("threads:2") != std::string::npos ? 2 : 1;
            const std::string kind = name.find("Native") != std::string::npos    ? "native"
                                     : name.find("Lowered") != std::string::npos ? "lowered"
                                                                                 : "source";
            m_results[{kind, threads}] = it->second.value;
        }
        ConsoleReporter::ReportRuns(runs);
    }
    void printRatios() const {
        for (const int threads : {1, 2})
            for (const char* kind : {"source", "lowered"}) {
                const auto a = m_results.find({"native", threads});
                const auto b = m_results.find({kind, threads});
                if (a == m_results.end() || b == m_results.end() || b->second <= 0) continue;
                std::printf("threads %d: %s %.1f MP/s, native %.1f MP/s, native / %s = %.2f\n",
                            threads, kind, b->second, a->second, kind, a->second / b->second);
            }
    }

private:
    std::map<std::pair<std::string, int>, double> m_results;
};

}  // namespace

int main(int argc, char** argv) {
    // Headless by default: the engine needs a Gui application, not a display.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication app(argc, argv);
    cif::initializePlatform();
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatios();
    benchmark::Shutdown();
    return 0;
}
