// Lens blur, mask- and line-steered blurs, the guided filter, joint
// upsampling, vignettes, document flattening and saliency: each against a
// value worked out independently here, plus the invariants they share
// (identity settings, flat pictures, extents, the same pixels for any
// tiling).

#include <gtest/gtest.h>

#include <QImage>
#include <QVariant>
#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <random>
#include <vector>

#include "platform/CIPlatform.h"
#include "platform/builtins/blur/VignetteSpan.h"
#include "platform/image/CIContext.h"
#include "platform/image/CIFilter.h"
#include "platform/image/CIImage.h"
#include "platform/image/Nodes.h"
#include "tests/support/SimdTargets.h"

namespace {

using cif::CIColor;
using cif::CIContext;
using cif::CIFloatBitmap;
using cif::CIImage;
using cif::CIVector;
using namespace cif::engine;

struct Picture {
    int w = 0, h = 0;
    std::shared_ptr<std::vector<float>> px;
    const float* at(int x, int y) const {
        return px->data() + (size_t(y) * size_t(w) + size_t(x)) * 4;
    }
    CIImage image() const {
        return CIImage::imageWithNode(
            std::make_shared<SourceNode>(px, px->data(), w, h, size_t(w) * 4 * sizeof(float),
                                         SourceNode::Format::FloatPremulBottomUp));
    }
};

Picture picture(int w, int h, const std::function<void(int, int, float*)>& fill) {
    Picture p{w, h, std::make_shared<std::vector<float>>(size_t(w) * size_t(h) * 4)};
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            fill(x, y, p.px->data() + (size_t(y) * size_t(w) + size_t(x)) * 4);
    return p;
}

// Opaque noise over a dark square on a light ground, a translucent stripe.
Picture busy(int w, int h) {
    return picture(w, h, [w, h](int x, int y, float* p) {
        const uint32_t hash = uint32_t(x) * 73856093u ^ uint32_t(y) * 19349663u;
        const bool square = x > w / 3 && x < 2 * w / 3 && y > h / 3 && y < 2 * h / 3;
        const float a = (x + 2 * y) % 31 < 4 ? 0.5f : 1.0f;
        for (int c = 0; c < 3; ++c)
            p[c] = a * ((square ? 0.1f : 0.7f) + 0.2f * float((hash >> (8 * c)) & 255) / 255.0f);
        p[3] = a;
    });
}

Picture flat(int w, int h, float v) {
    return picture(w, h, [v](int, int, float* p) {
        p[0] = p[1] = p[2] = v;
        p[3] = 1;
    });
}

CIImage apply(const char* name, const QVariantMap& values) {
    auto f = cif::CIFilter::filterWithName(QString::fromLatin1(name));
    if (!f) return {};
    for (auto it = values.begin(); it != values.end(); ++it)
        f->setValueForKey(*it, it.key());
    return f->outputImage();
}

QVariant image(const CIImage& i) {
    return QVariant::fromValue(i);
}
QVariant vec(std::initializer_list<double> v) {
    return QVariant::fromValue(CIVector(v));
}

CIFloatBitmap render(const CIImage& img, const QRectF& rect, int tile = 256, int threads = 1) {
    CIContext context(CIContext::Options{WorkingSpace::None, tile, threads});
    CIFloatBitmap out;
    EXPECT_TRUE(context.renderToFloat(img, rect, out));
    return out;
}

class BuiltinDetail : public ::testing::Test {
protected:
    static void SetUpTestSuite() { cif::initializePlatform(); }
};

TEST_F(BuiltinDetail, IdentitySettingsGiveTheInputNodeBack) {
    const CIImage in = busy(40, 30).image();
    const CIImage mask = flat(40, 30, 1).image();
    struct Case {
        const char* name;
        QVariantMap values;
    };
    const Case cases[] = {
        {"CIBokehBlur", {{"inputRadius", 0.0}}},
        {"CIMaskedVariableBlur", {{"inputMask", image(mask)}, {"inputRadius", 0.0}}},
        {"CIGuidedFilter", {{"inputRadius", 0.0}}},
        {"CIVignette", {{"inputIntensity", 0.0}}},
        {"CIVignetteEffect", {{"inputIntensity", 0.0}}},
        {"CIDocumentEnhancer", {{"inputAmount", 0.0}}},
        {"CIEdgePreserveUpsampleFilter", {}},  // no small picture
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        QVariantMap v = c.values;
        v.insert("inputImage", image(in));
        EXPECT_EQ(apply(c.name, v).node(), in.node());
    }
    EXPECT_TRUE(apply("CIBokehBlur", {}).isNull());
}

TEST_F(BuiltinDetail, BokehIsTheMeanOverADiscAndRingsKeepTheTotal) {
    // One bright pixel spreads into the kernel itself.
    const Picture dot = picture(61, 61, [](int x, int y, float* p) {
        const float v = x == 30 && y == 30 ? 1.0f : 0.0f;
        p[0] = p[1] = p[2] = p[3] = v;
    });
    const double r = 9.5;
    int count = 0;
    for (int dy = -9; dy <= 9; ++dy)
        for (int dx = -9; dx <= 9; ++dx)
            count += dx * dx + dy * dy <= r * r;
    const CIImage disc = apply("CIBokehBlur", {{"inputImage", image(dot.image())},
                                               {"inputRadius", r},
                                               {"inputSoftness", 0.0},
                                               {"inputRingAmount", 0.0}});
    EXPECT_EQ(disc.extent(), QRectF(-9, -9, 79, 79));
    const CIFloatBitmap b = render(disc, QRectF(0, 0, 61, 61), 16);
    for (int y = 0; y < 61; ++y)
        for (int x = 0; x < 61; ++x) {
            const int dx = x - 30, dy = y - 30;
            const float want = dx * dx + dy * dy <= r * r ? 1.0f / float(count) : 0.0f;
            ASSERT_NEAR(b.at(x, y)[0], want, 1e-6) << x << "," << y;
        }
    // A ring brightens the rim over the middle; the total stays 1.
    const CIFloatBitmap ring = render(apply("CIBokehBlur", {{"inputImage", image(dot.image())},
                                                            {"inputRadius", 12.0},
                                                            {"inputRingAmount", 0.8},
                                                            {"inputRingSize", 0.2}}),
                                      QRectF(0, 0, 61, 61));
    double total = 0;
    for (size_t i = 0; i < ring.pixels.size(); i += 4)
        total += ring.pixels[i];
    EXPECT_NEAR(total, 1.0, 1e-4);
    EXPECT_GT(ring.at(30 + 11, 30)[0], 2 * ring.at(30 + 3, 30)[0]);
}

TEST_F(BuiltinDetail, MaskPicksTheBlurPerPixel) {
    const Picture pic = busy(50, 40);
    // Left half black (sharp), right half white (full radius).
    const Picture mask = picture(50, 40, [](int x, int, float* p) {
        p[0] = p[1] = p[2] = x < 25 ? 0.0f : 1.0f;
        p[3] = 1;
    });
    const CIImage out = apply("CIMaskedVariableBlur", {{"inputImage", image(pic.image())},
                                                       {"inputMask", image(mask.image())},
                                                       {"inputRadius", 4.0}});
    const CIImage blur =
        apply("CIBokehBlur",
              {{"inputImage", image(pic.image())}, {"inputRadius", 4.0}, {"inputSoftness", 0.0}});
    const CIFloatBitmap o = render(out, QRectF(0, 0, 50, 40)),
                        g = render(blur, QRectF(0, 0, 50, 40));
    for (int y = 0; y < 40; ++y)
        for (int x = 0; x < 50; ++x)
            for (int c = 0; c < 4; ++c)
                ASSERT_EQ(o.at(x, y)[c], x < 25 ? pic.at(x, y)[c] : g.at(x, y)[c]) << x << "," << y;
}

TEST_F(BuiltinDetail, DepthOfFieldIsSharpOnTheLineAndBlurredFarFromIt) {
    const Picture pic = busy(60, 200);
    const CIImage out = apply("CIDepthOfField", {{"inputImage", image(pic.image())},
                                                 {"inputPoint0", vec({0, 100})},
                                                 {"inputPoint1", vec({60, 100})},
                                                 {"inputRadius", 5.0}});
    const CIImage sharp =
        apply("CIUnsharpMask",
              {{"inputImage", image(apply("CIColorControls", {{"inputImage", image(pic.image())},
                                                              {"inputSaturation", 1.5}}))},
               {"inputRadius", 2.5},
               {"inputIntensity", 0.5}});
    const CIImage blur =
        apply("CIBokehBlur",
              {{"inputImage", image(pic.image())}, {"inputRadius", 5.0}, {"inputSoftness", 0.0}});
    EXPECT_EQ(out.extent(), QRectF(0, 0, 60, 200));
    const QRectF all(0, 0, 60, 200);
    const CIFloatBitmap o = render(out, all), s = render(sharp, all), b = render(blur, all);
    for (int x = 0; x < 60; ++x)
        for (int c = 0; c < 4; ++c) {
            EXPECT_EQ(o.at(x, 100)[c], s.at(x, 100)[c]);  // within 15 of the line
            EXPECT_EQ(o.at(x, 10)[c], b.at(x, 10)[c]);    // beyond 30
        }
}

TEST_F(BuiltinDetail, GuidedFilterKeepsEdgesAndAveragesWhereEpsilonDominates) {
    // A step with noise: with a tiny epsilon the filter guided by the picture
    // itself keeps it (a = 1 where the window has any variance); with a huge
    // epsilon a = 0 and the result is the mean of the window means.
    const Picture pic = busy(30, 24);
    const int r = 2;
    const CIFloatBitmap keep = render(apply("CIGuidedFilter", {{"inputImage", image(pic.image())},
                                                               {"inputRadius", double(r)},
                                                               {"inputEpsilon", 1e-9}}),
                                      QRectF(0, 0, 30, 24), 7);
    const CIFloatBitmap mean = render(apply("CIGuidedFilter", {{"inputImage", image(pic.image())},
                                                               {"inputRadius", double(r)},
                                                               {"inputEpsilon", 1e6}}),
                                      QRectF(0, 0, 30, 24), 7);
    auto src = [&](int x, int y, int c) -> double {
        return x < 0 || y < 0 || x >= 30 || y >= 24 ? 0.0 : pic.at(x, y)[c];
    };
    auto boxMean = [&](const std::function<double(int, int)>& v, int x, int y) {
        double s = 0;
        for (int dy = -r; dy <= r; ++dy)
            for (int dx = -r; dx <= r; ++dx)
                s += v(x + dx, y + dy);
        return s / ((2 * r + 1) * (2 * r + 1));
    };
    for (int y = 3; y < 21; y += 4)
        for (int x = 3; x < 27; x += 3)
            for (int c = 0; c < 3; ++c) {
                EXPECT_NEAR(keep.at(x, y)[c], pic.at(x, y)[c], 2e-3) << x << "," << y;
                const double want = boxMean(
                    [&](int i, int j) {
                        return boxMean([&](int u, int v) { return src(u, v, c); }, i, j);
                    },
                    x, y);
                // Alpha stays the input's, and colour never exceeds it.
                EXPECT_NEAR(mean.at(x, y)[c], std::min(want, double(pic.at(x, y)[3])), 1e-4)
                    << x << "," << y;
                EXPECT_EQ(mean.at(x, y)[3], pic.at(x, y)[3]);
            }
}

TEST_F(BuiltinDetail, UpsamplingFollowsTheGuidesEdges) {
    // The guide has a vertical edge at x = 30; the small picture is the
    // same scene at a quarter of the size, its edge pixel a blend.
    const Picture guide = picture(64, 32, [](int x, int, float* p) {
        p[0] = p[1] = p[2] = x < 30 ? 0.1f : 0.9f;
        p[3] = 1;
    });
    const Picture small = picture(16, 8, [](int x, int, float* p) {
        p[0] = p[1] = p[2] = x < 7 ? 0.1f : (x == 7 ? 0.5f : 0.9f);
        p[3] = 1;
    });
    const CIImage out =
        apply("CIEdgePreserveUpsampleFilter", {{"inputImage", image(guide.image())},
                                               {"inputSmallImage", image(small.image())},
                                               {"inputLumaSigma", 0.05}});
    EXPECT_EQ(out.extent(), QRectF(0, 0, 64, 32));
    const CIFloatBitmap b = render(out, QRectF(0, 0, 64, 32));
    // Beside the edge each side keeps its own level; plain interpolation
    // would give 0.5 there.
    EXPECT_LT(b.at(29, 16)[0], 0.2f);
    EXPECT_GT(b.at(30, 16)[0], 0.8f);
    EXPECT_NEAR(b.at(5, 16)[0], 0.1f, 1e-6);
    EXPECT_NEAR(b.at(60, 16)[0], 0.9f, 1e-6);
}

TEST_F(BuiltinDetail, VignettesDarkenByDistanceAndKeepAlpha) {
    const Picture pic = flat(200, 100, 0.8f);
    // Effect: untouched within 40 of (100, 50), times 1 - 0.6 from 60 on.
    const CIFloatBitmap e = render(apply("CIVignetteEffect", {{"inputImage", image(pic.image())},
                                                              {"inputCenter", vec({100, 50})},
                                                              {"inputRadius", 50.0},
                                                              {"inputFalloff", 0.2},
                                                              {"inputIntensity", 0.6}}),
                                   QRectF(0, 0, 200, 100));
    EXPECT_EQ(e.at(100 + 39, 50)[0], 0.8f);
    EXPECT_FLOAT_EQ(e.at(100 + 61, 50)[0], 0.8f * 0.4f);
    EXPECT_FLOAT_EQ(e.at(0, 0)[1], 0.8f * 0.4f);
    const float mid = e.at(100 + 50, 50)[0];
    EXPECT_GT(mid, 0.8f * 0.4f);
    EXPECT_LT(mid, 0.8f);
    EXPECT_EQ(e.at(0, 0)[3], 1.0f);
    // Negative intensity brightens.
    const CIFloatBitmap n = render(
        apply("CIVignette",
              {{"inputImage", image(pic.image())}, {"inputIntensity", -0.5}, {"inputRadius", 1.0}}),
        QRectF(0, 0, 200, 100));
    EXPECT_EQ(n.at(100, 50)[0], 0.8f);
    EXPECT_GT(n.at(0, 0)[0], 0.8f * 1.45f);
    EXPECT_EQ(n.at(0, 0)[3], 1.0f);
}

TEST(BuiltinDetailSpans, VignetteSpanAgreesWithItsScalarTwinAtEveryTarget) {
    std::mt19937 rng(3);
    std::uniform_real_distribution<float> u(0, 1);
    cif::testing::forEachTarget([&] {
        for (int n = 0; n <= 40; ++n) {
            std::vector<float> a(size_t(n) * 4);
            for (float& v : a)
                v = u(rng);
            std::vector<float> b = a;
            const int x = int(u(rng) * 400) - 200;
            const float off = u(rng) * 50, dy2 = u(rng) * 900, r0 = u(rng) * 30;
            for (const float k : {0.05f, 1e6f}) {
                cif::builtins::vignetteSpan(a.data(), n, x, off, dy2, r0, k, 0.7f);
                cif::builtins::vignetteSpanScalar(b.data(), n, x, off, dy2, r0, k, 0.7f);
                ASSERT_EQ(a, b) << n;
            }
        }
    });
}

TEST_F(BuiltinDetail, DocumentPaperTurnsWhiteAndInkStaysDark) {
    // Paper lit unevenly (0.5 to 0.8) with a dark stroke.
    const Picture page = picture(120, 80, [](int x, int y, float* p) {
        const float paper = 0.5f + 0.3f * float(x) / 119.0f;
        const bool ink = std::abs(y - 40) < 2 && x > 20 && x < 100;
        p[0] = p[1] = p[2] = ink ? 0.1f * paper : paper;
        p[3] = 1;
    });
    const CIFloatBitmap b = render(
        apply("CIDocumentEnhancer", {{"inputImage", image(page.image())}, {"inputAmount", 1.0}}),
        QRectF(0, 0, 120, 80));
    EXPECT_GT(b.at(10, 10)[0], 0.97f);
    EXPECT_GT(b.at(110, 70)[0], 0.97f);
    EXPECT_LT(b.at(60, 40)[0], 0.05f);
}

TEST_F(BuiltinDetail, SaliencyPeaksOnTheOddPatchAndIsZeroOnFlats) {
    const Picture scene = picture(80, 60, [](int x, int y, float* p) {
        const bool patch = x >= 50 && x < 60 && y >= 20 && y < 30;
        p[0] = patch ? 0.9f : 0.3f;
        p[1] = patch ? 0.1f : 0.3f;
        p[2] = 0.3f;
        p[3] = 1;
    });
    const CIImage out = apply("CISaliencyMapFilter", {{"inputImage", image(scene.image())}});
    EXPECT_EQ(out.extent(), QRectF(0, 0, 80, 60));
    const CIFloatBitmap s = render(out, QRectF(0, 0, 80, 60), 16, 2);
    EXPECT_FLOAT_EQ(s.at(55, 25)[0], 1.0f);
    EXPECT_LT(s.at(10, 10)[0], 0.05f);
    EXPECT_EQ(s.at(10, 10)[3], 1.0f);
    const CIFloatBitmap f =
        render(apply("CISaliencyMapFilter", {{"inputImage", image(flat(20, 20, 0.4f).image())}}),
               QRectF(0, 0, 20, 20));
    for (size_t i = 0; i < f.pixels.size(); i += 4)
        ASSERT_EQ(f.pixels[i], 0.0f);
}

TEST_F(BuiltinDetail, OutputDoesNotDependOnTilesOrThreads) {
    const Picture pic = busy(150, 110);
    const Picture small = busy(50, 37);
    const CIImage in = pic.image();
    struct Case {
        const char* name;
        QVariantMap values;
    };
    const Case cases[] = {
        {"CIBokehBlur", {{"inputRadius", 7.0}, {"inputRingAmount", 0.5}}},
        {"CIMaskedVariableBlur", {{"inputMask", image(small.image())}, {"inputRadius", 6.0}}},
        {"CIDepthOfField", {{"inputPoint0", vec({0, 50})}, {"inputPoint1", vec({150, 70})}}},
        {"CIGuidedFilter", {{"inputGuideImage", image(in)}, {"inputRadius", 3.0}}},
        {"CIEdgePreserveUpsampleFilter", {{"inputSmallImage", image(small.image())}}},
        {"CIVignette", {{"inputIntensity", 0.8}}},
        {"CIVignetteEffect", {{"inputCenter", vec({70, 50})}, {"inputRadius", 40.0}}},
        {"CIDocumentEnhancer", {}},
        {"CISaliencyMapFilter", {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        QVariantMap v = c.values;
        v.insert("inputImage", image(in));
        const CIImage out = apply(c.name, v);
        ASSERT_FALSE(out.isNull());
        const QRectF rect = out.extent();
        const CIFloatBitmap a = render(out, rect, 16, 2), b = render(out, rect, 256, 1);
        ASSERT_EQ(a.pixels, b.pixels);
    }
}

}  // namespace
