// The rounded rectangle and the smooth gradient against their definitions,
// and the fold transitions: source at time 0, target at time 1, the shadow
// only where the roll casts it, the same pixels for any tiling, and no
// crash or non-finite pixel for absurd numbers.

#include <gtest/gtest.h>

#include <QVariant>
#include <cmath>
#include <functional>
#include <memory>
#include <vector>

#include "platform/CIPlatform.h"
#include "platform/image/CIAttributes.h"
#include "platform/image/CIContext.h"
#include "platform/image/CIFilter.h"
#include "platform/image/CIImage.h"
#include "platform/image/Nodes.h"

namespace {

using cif::CIColor;
using cif::CIContext;
using cif::CIFloatBitmap;
using cif::CIImage;
using cif::CIVector;
using namespace cif::engine;

CIImage picture(int w, int h, const std::function<void(int, int, float*)>& fill) {
    auto pixels = std::make_shared<std::vector<float>>(size_t(w) * size_t(h) * 4);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            fill(x, y, pixels->data() + (size_t(y) * size_t(w) + size_t(x)) * 4);
    return CIImage::imageWithNode(
        std::make_shared<SourceNode>(pixels, pixels->data(), w, h, size_t(w) * 4 * sizeof(float),
                                     SourceNode::Format::FloatPremulBottomUp));
}

CIImage make(const char* name, const QVariantMap& values) {
    auto f = cif::CIFilter::filterWithName(QString::fromLatin1(name));
    if (!f) return {};
    for (auto it = values.begin(); it != values.end(); ++it)
        f->setValueForKey(*it, it.key());
    return f->outputImage();
}

QVariant vec(std::initializer_list<double> v) {
    return QVariant::fromValue(CIVector(v));
}
QVariant img(const CIImage& i) {
    return QVariant::fromValue(i);
}

CIFloatBitmap render(const CIImage& image, const QRectF& rect, int tile = 256, int threads = 1) {
    CIContext context(CIContext::Options{WorkingSpace::None, tile, threads});
    CIFloatBitmap out;
    EXPECT_TRUE(context.renderToFloat(image, rect, out));
    return out;
}

class ShapesAndFolds : public ::testing::Test {
protected:
    static void SetUpTestSuite() { cif::initializePlatform(); }
};

TEST_F(ShapesAndFolds, RoundedRectangleCoversItsExtentButTheCorners) {
    const CIImage r = make("CIRoundedRectangleGenerator",
                           {{"inputExtent", vec({10, 20, 60, 40})},
                            {"inputRadius", 12.0},
                            {"inputColor", QVariant::fromValue(CIColor(1, 0.5, 0, 1))}});
    EXPECT_EQ(r.extent(), QRectF(10, 20, 60, 40));
    const CIFloatBitmap b = render(r, QRectF(0, 0, 80, 80));
    for (int y = 0; y < 80; ++y)
        for (int x = 0; x < 80; ++x) {
            // Distance of the pixel centre outside the rounded outline.
            const double qx = std::abs(x + 0.5 - 40) - 18, qy = std::abs(y + 0.5 - 40) - 8;
            const double d = std::hypot(std::max(qx, 0.0), std::max(qy, 0.0)) +
                             std::min(std::max(qx, qy), 0.0) - 12;
            const bool inside = x >= 10 && x < 70 && y >= 20 && y < 60;
            const float want = inside ? float(std::clamp(0.5 - d, 0.0, 1.0)) : 0.0f;
            ASSERT_NEAR(b.at(x, y)[3], want, 1e-5) << x << "," << y;
            ASSERT_NEAR(b.at(x, y)[1], 0.5f * want, 1e-5);
        }
    EXPECT_EQ(b.at(10, 20)[3], 0.0f);  // the corner is cut
    EXPECT_EQ(b.at(40, 20)[3], 1.0f);  // the middle of the edge is not
}

TEST_F(ShapesAndFolds, SmoothGradientEasesBetweenItsPoints) {
    const CIImage g =
        make("CISmoothLinearGradient", {{"inputPoint0", vec({10, 0})},
                                        {"inputPoint1", vec({90, 0})},
                                        {"inputColor0", QVariant::fromValue(CIColor(1, 1, 1, 1))},
                                        {"inputColor1", QVariant::fromValue(CIColor(0, 0, 0, 1))}});
    EXPECT_TRUE(g.isInfinite());
    const CIFloatBitmap b = render(g, QRectF(0, 0, 100, 3));
    EXPECT_EQ(b.at(5, 1)[0], 1.0f);
    EXPECT_EQ(b.at(95, 1)[0], 0.0f);
    for (int x = 10; x < 90; ++x) {
        const double t = (x + 0.5 - 10) / 80;
        EXPECT_NEAR(b.at(x, 1)[0], 1 - t * t * (3 - 2 * t), 1e-5) << x;
        EXPECT_EQ(b.at(x, 0)[0], b.at(x, 2)[0]);  // constant across the line
    }
    // Flat at both ends: the first step is far smaller than the middle one.
    EXPECT_LT(b.at(10, 1)[0] - b.at(11, 1)[0], 0.1 * (b.at(49, 1)[0] - b.at(50, 1)[0]));
}

TEST_F(ShapesAndFolds, FoldsShowTheSourceAtTimeZeroAndTheTargetAtTimeOne) {
    const CIImage source = picture(90, 70, [](int x, int y, float* p) {
        p[0] = float(x) / 90;
        p[1] = float(y) / 70;
        p[2] = 0.2f;
        p[3] = 1;
    });
    const CIImage target = picture(120, 90, [](int x, int y, float* p) {
        p[0] = 0.9f;
        p[1] = float((x + y) % 9) / 9;
        p[2] = float(y) / 90;
        p[3] = 1;
    });
    const QRectF rect(0, 0, 90, 70);
    const CIFloatBitmap s = render(source, rect), t = render(target, rect);
    for (const char* name : {"CIAccordionFoldTransition", "CIPageCurlWithShadowTransition"}) {
        SCOPED_TRACE(name);
        const QVariantMap base{{"inputImage", img(source)}, {"inputTargetImage", img(target)}};
        QVariantMap v = base;
        v.insert("inputTime", 0.0);
        EXPECT_EQ(render(make(name, v), rect).pixels, s.pixels);
        v.insert("inputTime", 1.0);
        const CIImage end = make(name, v);
        EXPECT_EQ(end.extent(), rect);
        EXPECT_EQ(render(end, rect).pixels, t.pixels);
        // Midway: different from both, finite, and the same for any tiling.
        v.insert("inputTime", 0.3);
        const CIImage mid = make(name, v);
        const CIFloatBitmap a = render(mid, rect, 16, 2), b = render(mid, rect, 256, 1);
        ASSERT_EQ(a.pixels, b.pixels);
        EXPECT_NE(a.pixels, s.pixels);
        EXPECT_NE(a.pixels, t.pixels);
        for (float p : a.pixels)
            ASSERT_TRUE(std::isfinite(p));
    }
    // The accordion's bottom strip stays flat and its folds darken
    // alternate panels: at time 1/4 the fan is half its height.
    const CIFloatBitmap acc =
        render(make("CIAccordionFoldTransition", {{"inputImage", img(source)},
                                                  {"inputTargetImage", img(target)},
                                                  {"inputTime", 0.25},
                                                  {"inputBottomHeight", 10.0},
                                                  {"inputNumberOfFolds", 2.0},
                                                  {"inputFoldShadowAmount", 0.0}}),
               rect);
    for (int x = 0; x < 90; x += 7)
        EXPECT_FLOAT_EQ(acc.at(x, 5)[0], s.at(x, 5)[0] * 0.75f + t.at(x, 5)[0] * 0.25f);
    EXPECT_EQ(acc.at(40, 10 + 31)[3], 0.0f);  // above the folded fan (height 30)
    EXPECT_GT(acc.at(40, 10 + 29)[3], 0.99f);
}

TEST_F(ShapesAndFolds, PageCurlShadowFallsOnlyWithinItsAmountAndExtent) {
    const CIImage source = picture(100, 60, [](int, int, float* p) {
        p[0] = p[1] = p[2] = 0.5f;
        p[3] = 1;
    });
    const CIImage target = picture(100, 60, [](int, int, float* p) {
        p[0] = p[1] = p[2] = 0.8f;
        p[3] = 1;
    });
    const QRectF rect(0, 0, 100, 60);
    auto curl = [&](double amount, const QVariant& shadowExtent) {
        return render(make("CIPageCurlWithShadowTransition", {{"inputImage", img(source)},
                                                              {"inputTargetImage", img(target)},
                                                              {"inputTime", 0.5},
                                                              {"inputRadius", 10.0},
                                                              {"inputShadowAmount", amount},
                                                              {"inputShadowSize", 1.0},
                                                              {"inputShadowExtent", shadowExtent}}),
                      rect);
    };
    const CIFloatBitmap none = curl(0.0, vec({0, 0, 0, 0}));
    const CIFloatBitmap dark = curl(1.0, vec({0, 0, 0, 0}));
    const CIFloatBitmap upper = curl(1.0, vec({0, 30, 100, 30}));
    int shadowed = 0;
    for (int y = 0; y < 60; ++y)
        for (int x = 0; x < 100; ++x) {
            if (none.at(x, y)[0] != 0.8f) continue;  // not bare target
            if (dark.at(x, y)[0] < 0.8f) {
                ++shadowed;
                // The extent limits the shadow to its rows.
                EXPECT_EQ(upper.at(x, y)[0], y >= 30 ? dark.at(x, y)[0] : 0.8f) << x << "," << y;
            }
        }
    EXPECT_GT(shadowed, 50);
}

TEST_F(ShapesAndFolds, AbsurdNumbersGiveFinitePicturesNotCrashes) {
    // Every number and position of the newer built-ins at once huge, tiny
    // or not a number, over a picture and a second picture.
    const CIImage pic = picture(64, 48, [](int x, int y, float* p) {
        p[0] = float(x) / 64;
        p[1] = float(y) / 48;
        p[2] = 0.5f;
        p[3] = 1;
    });
    const char* names[] = {"CIBokehBlur",
                           "CIMaskedVariableBlur",
                           "CIDepthOfField",
                           "CIGuidedFilter",
                           "CIEdgePreserveUpsampleFilter",
                           "CIVignette",
                           "CIVignetteEffect",
                           "CIDocumentEnhancer",
                           "CISaliencyMapFilter",
                           "CIBicubicScaleTransform",
                           "CISampleNearest",
                           "CIClamp",
                           "CIStraightenFilter",
                           "CIStretchCrop",
                           "CIPerspectiveCorrection",
                           "CIPerspectiveRotate",
                           "CIPerspectiveTransformWithExtent",
                           "CIKeystoneCorrectionCombined",
                           "CIKeystoneCorrectionHorizontal",
                           "CIKeystoneCorrectionVertical",
                           "CINinePartStretched",
                           "CINinePartTiled",
                           "CIDroste",
                           "CILightTunnel",
                           "CITriangleKaleidoscope",
                           "CIRoundedRectangleGenerator",
                           "CISmoothLinearGradient",
                           "CIAccordionFoldTransition",
                           "CIPageCurlWithShadowTransition"};
    for (const double v : {1e30, -1e30, std::nan(""), 1e-30}) {
        for (const char* name : names) {
            SCOPED_TRACE(name);
            auto f = cif::CIFilter::filterWithName(QString::fromLatin1(name));
            ASSERT_TRUE(f) << v;
            const QVariantMap attrs = f->attributes();
            for (const QString& key : f->inputKeys()) {
                const QString cls =
                    attrs.value(key).toMap().value(cif::kCIAttributeClass).toString();
                if (cls == cif::kCIClassImage) f->setValueForKey(img(pic), key);
                if (cls == cif::kCIClassNumber) f->setValueForKey(v, key);
                if (cls == cif::kCIClassVector) f->setValueForKey(vec({v, v, v, v}), key);
            }
            const CIImage out = f->outputImage();
            if (out.isNull()) continue;
            const CIFloatBitmap b = render(out, QRectF(-8, -8, 80, 64));
            for (const float p : b.pixels)
                ASSERT_TRUE(std::isfinite(p)) << v;
        }
    }
}

}  // namespace
