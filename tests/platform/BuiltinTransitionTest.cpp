// The transition built-ins and blend with mask: every transition shows its
// source at time 0 and its target at time 1 over the source's extent, the
// dissolve and mask blend mix by hand-computed amounts, the moving edges run
// the documented way, and the neighbourhood-reading transitions do not depend
// on how the render is tiled.

#include <gtest/gtest.h>

#include <QImage>
#include <QVariant>
#include <cmath>
#include <memory>

#include "platform/CIPlatform.h"
#include "platform/image/CIContext.h"
#include "platform/image/CIFilter.h"

namespace {

using namespace cif;

class Transitions : public ::testing::Test {
protected:
    static void SetUpTestSuite() { initializePlatform(); }
};

constexpr int kW = 48, kH = 36;
const QRectF kRect(0, 0, kW, kH);

// An opaque picture whose every pixel differs from its neighbours'.
CIImage picture(int seed) {
    QImage img(kW, kH, QImage::Format_RGBA8888_Premultiplied);
    for (int y = 0; y < kH; ++y) {
        uchar* line = img.scanLine(y);
        for (int x = 0; x < kW; ++x) {
            line[4 * x + 0] = uchar((x * 5 + seed * 40) & 255);
            line[4 * x + 1] = uchar((y * 7 + seed * 90) & 255);
            line[4 * x + 2] = uchar((x * y + seed * 13) & 255);
            line[4 * x + 3] = 255;
        }
    }
    return CIImage::imageWithQImage(img);
}

// A grey ramp from black at the left to white at the right.
CIImage rampMask() {
    QImage img(kW, kH, QImage::Format_RGBA8888_Premultiplied);
    for (int y = 0; y < kH; ++y)
        for (int x = 0; x < kW; ++x) {
            const uchar v = uchar(x * 255 / (kW - 1));
            uchar* p = img.scanLine(y) + 4 * x;
            p[0] = p[1] = p[2] = v;
            p[3] = 255;
        }
    return CIImage::imageWithQImage(img);
}

QVariant img(const CIImage& i) {
    return QVariant::fromValue(i);
}
QVariant vec(std::initializer_list<double> v) {
    return QVariant::fromValue(CIVector(v));
}

CIImage make(const char* name, const QVariantMap& values) {
    auto f = CIFilter::filterWithName(QString::fromLatin1(name));
    if (!f) return {};
    for (auto it = values.begin(); it != values.end(); ++it)
        f->setValueForKey(*it, it.key());
    return f->outputImage();
}

CIFloatBitmap render(const CIImage& image, const QRectF& rect = kRect, int tile = 256,
                     int threads = 0) {
    CIContext::Options o;
    o.workingSpace = engine::WorkingSpace::None;
    o.tileSize = tile;
    o.threads = threads;
    CIContext context(o);
    CIFloatBitmap out;
    EXPECT_TRUE(context.renderToFloat(image, rect, out));
    return out;
}

const float* at(const CIFloatBitmap& b, int x, int y) {
    return b.at(x, y);
}

// The transitions with their inputs besides source, target and time.
struct Case {
    const char* name;
    QVariantMap extra;
};
std::vector<Case> cases() {
    const QVariant extent = vec({0, 0, kW, kH});
    return {
        {"CIDissolveTransition", {}},
        {"CISwipeTransition",
         {{"inputExtent", extent}, {"inputWidth", 20.0}, {"inputOpacity", 0.7}}},
        {"CICopyMachineTransition", {{"inputExtent", extent}, {"inputWidth", 15.0}}},
        {"CIBarsSwipeTransition", {{"inputWidth", 8.0}, {"inputAngle", 0.7}}},
        {"CIModTransition",
         {{"inputCenter", vec({20, 15})}, {"inputRadius", 6.0}, {"inputCompression", 10.0}}},
        {"CIFlashTransition", {{"inputExtent", extent}, {"inputCenter", vec({20, 15})}}},
        {"CIDisintegrateWithMaskTransition",
         {{"inputMaskImage", img(rampMask())},
          {"inputShadowRadius", 4.0},
          {"inputShadowOffset", vec({3, -2})}}},
        {"CIRippleTransition",
         {{"inputExtent", extent},
          {"inputCenter", vec({20, 15})},
          {"inputWidth", 12.0},
          {"inputScale", 6.0},
          {"inputShadingImage", img(rampMask())}}},
        {"CIPageCurlTransition",
         {{"inputExtent", extent},
          {"inputRadius", 6.0},
          {"inputAngle", 0.4},
          {"inputShadingImage", img(rampMask())}}},
        {"CIPageCurlTransition",
         {{"inputExtent", extent},
          {"inputRadius", 5.0},
          {"inputAngle", -2.5},
          {"inputBacksideImage", img(rampMask())}}},
    };
}

CIImage transition(const Case& c, const CIImage& source, const CIImage& target, double time) {
    QVariantMap in = c.extra;
    in["inputImage"] = img(source);
    in["inputTargetImage"] = img(target);
    in["inputTime"] = time;
    return make(c.name, in);
}

TEST_F(Transitions, TimeZeroIsTheSourceAndTimeOneTheTargetOverTheSourcesExtent) {
    const CIImage source = picture(1), target = picture(2);
    const CIFloatBitmap s = render(source), t = render(target);
    for (const Case& c : cases()) {
        const CIImage start = transition(c, source, target, 0),
                      end = transition(c, source, target, 1);
        ASSERT_FALSE(start.isNull()) << c.name;
        EXPECT_EQ(start.extent(), kRect) << c.name;
        EXPECT_EQ(end.extent(), kRect) << c.name;
        EXPECT_EQ(render(start).pixels, s.pixels) << c.name;
        EXPECT_EQ(render(end).pixels, t.pixels) << c.name;
        // A larger target is cut to the source's extent.
        const CIImage big = CIImage::imageWithColor(CIColor(0.2, 0.3, 0.4));
        EXPECT_EQ(transition(c, source, big, 0.5).extent(), kRect) << c.name;
    }
}

TEST_F(Transitions, MidwayMixesBothAndDoesNotDependOnTiling) {
    const CIImage source = picture(1), target = picture(2);
    const CIFloatBitmap s = render(source), t = render(target);
    const QRectF wider(-5, -4, kW + 10, kH + 8);
    for (const Case& c : cases()) {
        const CIImage mid = transition(c, source, target, 0.45);
        const CIFloatBitmap ref = render(mid, wider, 256, 1);
        for (const auto& [tile, threads] : {std::pair{5, 2}, {16, 1}})
            ASSERT_EQ(render(mid, wider, tile, threads).pixels, ref.pixels)
                << c.name << " " << tile;
        // Something of each picture has changed, and nothing outside the extent.
        const CIFloatBitmap m = render(mid);
        EXPECT_NE(m.pixels, s.pixels) << c.name;
        EXPECT_NE(m.pixels, t.pixels) << c.name;
        EXPECT_EQ(at(ref, 0, 0)[3], 0.0f) << c.name;
    }
}

TEST_F(Transitions, DissolveAndMaskBlendMixByHand) {
    const CIImage a =
        CIImage::imageWithColor(CIColor(0.8, 0.2, 0.4, 1)).imageByCroppingToRect(kRect);
    const CIImage b =
        CIImage::imageWithColor(CIColor(0.2, 0.6, 0.0, 0.5)).imageByCroppingToRect(kRect);
    // Premultiplied: a = (0.8, 0.2, 0.4, 1), b = (0.1, 0.3, 0, 0.5).
    const float pa[4] = {0.8f, 0.2f, 0.4f, 1}, pb[4] = {0.1f, 0.3f, 0, 0.5f};
    for (const double t : {0.25, 0.5}) {
        const CIFloatBitmap d =
            render(make("CIDissolveTransition",
                        {{"inputImage", img(a)}, {"inputTargetImage", img(b)}, {"inputTime", t}}));
        for (int k = 0; k < 4; ++k)
            EXPECT_NEAR(at(d, 7, 9)[k], (1 - t) * pa[k] + t * pb[k], 1e-6) << t;
    }

    // Mask green 0.25 (red and blue ignored): a quarter of the image.
    const CIImage mask =
        CIImage::imageWithColor(CIColor(1, 0.25, 0, 1)).imageByCroppingToRect(QRectF(0, 0, 10, kH));
    const CIImage blend = make(
        "CIBlendWithMask",
        {{"inputImage", img(a)}, {"inputBackgroundImage", img(b)}, {"inputMaskImage", img(mask)}});
    EXPECT_EQ(blend.extent(), kRect);
    const CIFloatBitmap m = render(blend);
    const float quarter[4] = {0.25f * 0.8f + 0.75f * 0.1f, 0.25f * 0.2f + 0.75f * 0.3f,
                              0.25f * 0.4f, 0.25f + 0.75f * 0.5f};
    for (int k = 0; k < 4; ++k) {
        EXPECT_NEAR(at(m, 3, 3)[k], quarter[k], 1e-6f);
        EXPECT_EQ(at(m, 20, 3)[k], at(render(b), 20, 3)[k]);  // no mask: the background
    }
    // A white mask gives the image.
    const CIImage white = CIImage::imageWithColor(CIColor(1, 1, 1, 1));
    EXPECT_EQ(render(make("CIBlendWithMask", {{"inputImage", img(a)},
                                              {"inputBackgroundImage", img(b)},
                                              {"inputMaskImage", img(white)}}))
                  .pixels,
              render(a).pixels);
}

TEST_F(Transitions, EdgesMoveTheDocumentedWay) {
    const CIImage source = picture(1), target = picture(2);
    const CIFloatBitmap s = render(source), t = render(target);
    auto isTarget = [&](const CIFloatBitmap& b, int x, int y) {
        return std::equal(at(b, x, y), at(b, x, y) + 4, at(t, x, y));
    };
    auto isSource = [&](const CIFloatBitmap& b, int x, int y) {
        return std::equal(at(b, x, y), at(b, x, y) + 4, at(s, x, y));
    };
    // Swipe at angle 0: the target behind the edge (left), the source ahead.
    const CIFloatBitmap sw = render(make("CISwipeTransition", {{"inputImage", img(source)},
                                                               {"inputTargetImage", img(target)},
                                                               {"inputExtent", vec({0, 0, kW, kH})},
                                                               {"inputWidth", 4.0},
                                                               {"inputTime", 0.5}}));
    EXPECT_TRUE(isTarget(sw, 5, 10));
    EXPECT_TRUE(isSource(sw, 42, 10));
    // Disintegrate: dark mask values go first; without shadow the rest is untouched.
    const CIFloatBitmap dis =
        render(make("CIDisintegrateWithMaskTransition", {{"inputImage", img(source)},
                                                         {"inputTargetImage", img(target)},
                                                         {"inputMaskImage", img(rampMask())},
                                                         {"inputShadowDensity", 0.0},
                                                         {"inputTime", 0.5}}));
    EXPECT_TRUE(isTarget(dis, 8, 20));
    EXPECT_TRUE(isSource(dis, 40, 20));
    // Page curl at angle 0: the right edge lifts first; far from the roll the
    // flat sheet (left) and the uncovered target (right) are untouched.
    const CIFloatBitmap pc =
        render(make("CIPageCurlTransition", {{"inputImage", img(source)},
                                             {"inputTargetImage", img(target)},
                                             {"inputExtent", vec({0, 0, kW, kH})},
                                             {"inputRadius", 3.0},
                                             {"inputTime", 0.5}}));
    // Fold line at 49 - 0.5 * (49 + 7) = 21; roll to 24, shadow to 27; flap over 2..21.
    EXPECT_TRUE(isSource(pc, 0, 18));
    EXPECT_TRUE(isTarget(pc, 30, 18));
    EXPECT_FALSE(isSource(pc, 15, 18));  // the flap's back covers the sheet near the fold
    EXPECT_FALSE(isTarget(pc, 25, 18));  // the roll's shadow
}

TEST_F(Transitions, MissingImagesGiveANeutralResult) {
    const CIImage source = picture(1);
    for (const Case& c : cases()) {
        QVariantMap in = c.extra;
        in["inputImage"] = img(source);
        EXPECT_EQ(render(make(c.name, in)).pixels, render(source).pixels) << c.name;
        EXPECT_TRUE(make(c.name, c.extra).isNull()) << c.name;
    }
}

// Absurd numbers and positions in every input of every filter of the two
// families give finite pixels, never a crash.
TEST_F(Transitions, AbsurdParametersGiveFinitePixels) {
    const char* names[] = {"CIRadialGradient",      "CILinearGradient",
                           "CIGaussianGradient",    "CICheckerboardGenerator",
                           "CIStripesGenerator",    "CILenticularHaloGenerator",
                           "CIStarShineGenerator",  "CISunbeamsGenerator",
                           "CISpotLight",           "CIDissolveTransition",
                           "CISwipeTransition",     "CICopyMachineTransition",
                           "CIBarsSwipeTransition", "CIModTransition",
                           "CIFlashTransition",     "CIDisintegrateWithMaskTransition",
                           "CIRippleTransition",    "CIPageCurlTransition",
                           "CIBlendWithMask"};
    const double numbers[] = {std::nan(""), 1e300, -1e300, 0, 1e-300};
    const CIImage source = picture(1), target = picture(2), mask = rampMask();
    for (const char* name : names) {
        const QVariantMap attrs = CIFilter::classAttributesForName(name);
        for (auto it = attrs.begin(); it != attrs.end(); ++it) {
            const QString cls = it.value().toMap().value(kCIAttributeClass).toString();
            QVariantList values;
            if (cls == "NSNumber")
                for (double v : numbers)
                    values.append(v);
            else if (cls == "CIVector")
                values = {vec({1e300, -1e300, 1e300, 1e300}), vec({0, 0, 0, 0}), vec({-1e12, 5})};
            for (const QVariant& v : values) {
                auto f = CIFilter::filterWithName(name);
                const QString key = it.key();
                for (const QString& k : f->inputKeys())
                    if (f->attributes().value(k).toMap().value(kCIAttributeClass) == "CIImage")
                        f->setValueForKey(img(k == "inputImage"    ? source
                                              : k.contains("Mask") ? mask
                                                                   : target),
                                          k);
                if (f->inputKeys().contains("inputTime")) f->setValueForKey(0.5, "inputTime");
                f->setValueForKey(v, key);
                const CIImage out = f->outputImage();
                if (out.isNull()) continue;
                const CIFloatBitmap b = render(out, QRectF(-3, -2, 30, 20));
                for (float p : b.pixels)
                    ASSERT_TRUE(std::isfinite(p)) << name << " " << qPrintable(key);
            }
        }
    }
}

}  // namespace
