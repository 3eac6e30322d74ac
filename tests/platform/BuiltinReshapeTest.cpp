// Reshaping built-ins: identity settings give the picture back, resampling
// keeps flats flat and nearest sampling copies pixels, the nine-part layouts
// keep their corners, the perspective filters undo one another, the
// distortions keep what lies outside their reach and their symmetries, and
// no tiling changes a pixel.

#include <gtest/gtest.h>

#include <QTransform>
#include <QVariant>
#include <cmath>
#include <functional>
#include <memory>
#include <set>
#include <vector>

#include "platform/CIPlatform.h"
#include "platform/image/CIContext.h"
#include "platform/image/CIFilter.h"
#include "platform/image/CIImage.h"
#include "platform/image/Nodes.h"

namespace {

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

// Every pixel different: a colour code of its position.
CIImage coded(int w, int h) {
    return picture(w, h, [w, h](int x, int y, float* p) {
        p[0] = float(x + 1) / float(w + 1);
        p[1] = float(y + 1) / float(h + 1);
        p[2] = float((x * 7 + y * 3) % 11) / 11.0f;
        p[3] = 1;
    });
}

CIImage apply(const char* name, const CIImage& in, const QVariantMap& values = {}) {
    auto f = cif::CIFilter::filterWithName(QString::fromLatin1(name));
    if (!f) return {};
    f->setValueForKey(QVariant::fromValue(in), "inputImage");
    for (auto it = values.begin(); it != values.end(); ++it)
        f->setValueForKey(*it, it.key());
    return f->outputImage();
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

float maxDifference(const CIFloatBitmap& a, const CIFloatBitmap& b) {
    EXPECT_EQ(a.pixels.size(), b.pixels.size());
    float d = 0;
    for (size_t i = 0; i < std::min(a.pixels.size(), b.pixels.size()); ++i)
        d = std::max(d, std::abs(a.pixels[i] - b.pixels[i]));
    return d;
}

class BuiltinReshape : public ::testing::Test {
protected:
    static void SetUpTestSuite() { cif::initializePlatform(); }
};

TEST_F(BuiltinReshape, IdentitySettingsGiveThePictureBack) {
    const CIImage in = coded(40, 30);
    // The same node: nothing to do.
    for (const auto& [name, values] : std::vector<std::pair<const char*, QVariantMap>>{
             {"CIBicubicScaleTransform", {}},
             {"CISampleNearest", {}},
             {"CIStraightenFilter", {}},
             {"CIPerspectiveRotate", {}},
             {"CIKeystoneCorrectionVertical", {}},
             {"CIKeystoneCorrectionHorizontal", {}},
             {"CIKeystoneCorrectionCombined", {}},
             {"CINinePartStretched", {{"inputGrowAmount", vec({0, 0})}}},
             {"CILightTunnel", {{"inputRadius", 0.0}}},
         }) {
        SCOPED_TRACE(name);
        EXPECT_EQ(apply(name, in, values).node(), in.node());
    }
    // The same pixels: the corners of the picture itself.
    const QVariantMap corners{{"inputBottomLeft", vec({0, 0})},
                              {"inputBottomRight", vec({40, 0})},
                              {"inputTopRight", vec({40, 30})},
                              {"inputTopLeft", vec({0, 30})}};
    QVariantMap withExtent = corners;
    withExtent.insert("inputExtent", vec({0, 0, 40, 30}));
    const CIFloatBitmap want = render(in, QRectF(0, 0, 40, 30));
    for (const auto& [name, values] : std::vector<std::pair<const char*, QVariantMap>>{
             {"CIPerspectiveCorrection", corners},
             {"CIPerspectiveTransformWithExtent", withExtent},
             {"CIDroste",
              {{"inputInsetPoint0", vec({10, 10})},
               {"inputInsetPoint1", vec({30, 25})},
               {"inputStrands", 0.0}}},
         }) {
        SCOPED_TRACE(name);
        const CIImage out = apply(name, in, values);
        EXPECT_EQ(out.extent().intersected(QRectF(0, 0, 40, 30)), QRectF(0, 0, 40, 30));
        const CIFloatBitmap got = render(out, QRectF(0, 0, 40, 30));
        if (std::string(name) != "CIDroste") {
            EXPECT_LT(maxDifference(got, want), 1e-4);
            continue;
        }
        // Outside the inner rectangle the picture is its own; inside it, the
        // whole picture shrunk about the similarity's fixed point.
        for (int y = 0; y < 30; ++y)
            for (int x = 0; x < 40; ++x)
                if (x < 9 || x > 30 || y < 9 || y > 25) {
                    for (int c = 0; c < 3; ++c)
                        ASSERT_NEAR(got.at(x, y)[c], want.at(x, y)[c], 2e-3) << x << "," << y;
                }
    }
}

TEST_F(BuiltinReshape, ScalingKeepsFlatsFlatAndNearestSamplingCopiesPixels) {
    const CIImage flatPic = picture(30, 20, [](int, int, float* p) {
        p[0] = 0.25f;
        p[1] = 0.5f;
        p[2] = 0.75f;
        p[3] = 1;
    });
    for (const double scale : {0.37, 1.0, 2.6}) {
        SCOPED_TRACE(scale);
        const CIImage out =
            apply("CIBicubicScaleTransform", flatPic,
                  {{"inputScale", scale}, {"inputB", 1.0 / 3}, {"inputC", 1.0 / 3}});
        EXPECT_NEAR(out.extent().width(), 30 * scale, 1e-9);
        const QRectF inner = out.extent().adjusted(1, 1, -1, -1).toAlignedRect();
        const CIFloatBitmap b = render(out, inner);
        for (size_t i = 0; i < b.pixels.size(); i += 4)
            ASSERT_NEAR(b.pixels[i + 2], 0.75f, 1e-5);
    }
    // Nearest: every output pixel of a scaled, turned picture is exactly the
    // input pixel holding the inverse-mapped centre.
    const CIImage in = coded(24, 18);
    const QTransform t = QTransform().rotate(20).scale(2.3, 1.7);
    const CIImage moved = in.imageByApplyingTransform(t);
    const CIImage nearest = apply("CISampleNearest", moved);
    ASSERT_NE(nearest.node(), moved.node());
    const QRectF rect = moved.extent().toAlignedRect();
    const CIFloatBitmap b = render(nearest, rect, 32);
    const CIFloatBitmap src = render(in, QRectF(0, 0, 24, 18));
    const QTransform inv = t.inverted();
    int inside = 0;
    for (int y = 0; y < b.height; ++y)
        for (int x = 0; x < b.width; ++x) {
            const QPointF s = inv.map(QPointF(rect.x() + x + 0.5, rect.y() + y + 0.5));
            const int sx = int(std::floor(s.x())), sy = int(std::floor(s.y()));
            if (sx < 0 || sy < 0 || sx >= 24 || sy >= 18) continue;
            ++inside;
            for (int c = 0; c < 4; ++c)
                ASSERT_EQ(b.at(x, y)[c], src.at(sx, sy)[c]) << x << "," << y;
        }
    EXPECT_GT(inside, 500);
}

TEST_F(BuiltinReshape, ClampStraightenAndStretchCropFillTheirExtents) {
    const CIImage in = coded(40, 30);
    // Clamp: beyond the rectangle the nearest pixel inside it repeats.
    const CIImage clamped = apply("CIClamp", in, {{"inputExtent", vec({10, 5, 20, 15})}});
    EXPECT_TRUE(clamped.isInfinite());
    const CIFloatBitmap c = render(clamped, QRectF(0, 0, 40, 30));
    const CIFloatBitmap src = render(in, QRectF(0, 0, 40, 30));
    for (int y = 0; y < 30; ++y)
        for (int x = 0; x < 40; ++x)
            ASSERT_EQ(c.at(x, y)[0], src.at(std::clamp(x, 10, 29), std::clamp(y, 5, 19))[0]);
    // Straighten: the extent stays and the turned picture covers all of it.
    const CIImage turned = apply("CIStraightenFilter", in, {{"inputAngle", 0.4}});
    EXPECT_EQ(turned.extent(), QRectF(0, 0, 40, 30));
    const CIFloatBitmap s = render(turned, QRectF(0, 0, 40, 30));
    for (size_t i = 3; i < s.pixels.size(); i += 4)
        ASSERT_GT(s.pixels[i], 0.99f);
    // Stretch crop: the requested size; cropping fully to the aspect and no
    // centre stretch is a uniform scale about the centre.
    const CIImage stretched = apply("CIStretchCrop", in,
                                    {{"inputSize", vec({80, 30})},
                                     {"inputCropAmount", 1.0},
                                     {"inputCenterStretchAmount", 0.0}});
    EXPECT_EQ(stretched.extent(), QRectF(0, 0, 80, 30));
    const CIFloatBitmap sc = render(stretched, QRectF(0, 0, 80, 30));
    // Output (x, y) reads input (x / 2, 7.5 + y / 2): rows 7.5 .. 22.5.
    EXPECT_NEAR(sc.at(41, 15)[0],
                (src.at(20, 15)[0] + src.at(20, 14)[0] + src.at(20, 15)[0] + src.at(20, 14)[0]) / 4,
                0.02);
    const CIImage centred = apply("CIStretchCrop", in,
                                  {{"inputSize", vec({120, 30})},
                                   {"inputCropAmount", 0.0},
                                   {"inputCenterStretchAmount", 1.0}});
    const CIFloatBitmap cs = render(centred, QRectF(0, 0, 120, 30));
    // All the stretch in the middle: the middle pixels hardly change, the
    // ends change faster than a uniform stretch would.
    EXPECT_LT(std::abs(cs.at(60, 10)[0] - cs.at(59, 10)[0]), 0.002f);
    EXPECT_GT(std::abs(cs.at(1, 10)[0] - cs.at(0, 10)[0]), 0.01f);
}

TEST_F(BuiltinReshape, NinePartsKeepTheirCornersAndStretchOrRepeatTheMiddle) {
    const CIImage in = coded(40, 30);
    const CIFloatBitmap src = render(in, QRectF(0, 0, 40, 30));
    for (const bool tiled : {false, true}) {
        SCOPED_TRACE(tiled);
        QVariantMap values{{"inputBreakpoint0", vec({10, 8})},
                           {"inputBreakpoint1", vec({20, 18})},
                           {"inputGrowAmount", vec({25, 12})}};
        if (tiled) values.insert("inputFlipYTiles", 0);
        const CIImage out = apply(tiled ? "CINinePartTiled" : "CINinePartStretched", in, values);
        EXPECT_EQ(out.extent(), QRectF(0, 0, 65, 42));
        const CIFloatBitmap b = render(out, QRectF(0, 0, 65, 42), 16);
        for (int y = 0; y < 8; ++y)
            for (int x = 0; x < 10; ++x) {
                ASSERT_EQ(b.at(x, y)[0], src.at(x, y)[0]);
                ASSERT_EQ(b.at(x + 55, y + 34)[1], src.at(x + 30, y + 22)[1]);
            }
        if (tiled) {  // the middle repeats with the breakpoints' spacing
            for (int x = 10; x < 25; ++x)
                ASSERT_EQ(b.at(x, 3)[0], b.at(x + 10, 3)[0]) << x;
        }
    }
}

TEST_F(BuiltinReshape, KeystoneCorrectionUndoesACameraTilt) {
    // Vertical lines every 10 pixels, tilted back by a camera pitch: the
    // picture's sides converge. Given the tilted picture's corners, the
    // vertical correction makes the lines vertical again.
    const CIImage lines = picture(200, 150, [](int x, int, float* p) {
        p[0] = p[1] = p[2] = x % 20 == 10 ? 1.0f : 0.0f;
        p[3] = 1;
    });
    const double pitch = 0.25, f = 28.0 / 36.0 * 200;
    const CIImage tilted = apply("CIPerspectiveRotate", lines, {{"inputPitch", pitch}});
    ASSERT_NE(tilted.node(), lines.node());
    // Where the camera sees the picture's corners: K R K^-1 about its centre.
    auto seen = [&](double x, double y) {
        const double u = (x - 100) / f, v = (y - 75) / f;
        const double cp = std::cos(pitch), sp = std::sin(pitch);
        const double ry = cp * v - sp, rz = sp * v + cp;
        return QPointF(100 + f * u / rz, 75 + f * ry / rz);
    };
    QVariantMap corners;
    const QPointF bl = seen(0, 0), br = seen(200, 0), tr = seen(200, 150), tl = seen(0, 150);
    ASSERT_GT(std::abs((tr.x() - tl.x()) - (br.x() - bl.x())), 10);  // converging sides
    corners.insert("inputBottomLeft", vec({bl.x(), bl.y()}));
    corners.insert("inputBottomRight", vec({br.x(), br.y()}));
    corners.insert("inputTopRight", vec({tr.x(), tr.y()}));
    corners.insert("inputTopLeft", vec({tl.x(), tl.y()}));
    const CIImage fixed = apply("CIKeystoneCorrectionVertical", tilted, corners);
    ASSERT_NE(fixed.node(), tilted.node());
    const QRectF e = fixed.extent().toAlignedRect();
    const CIFloatBitmap b = render(fixed, e);
    // The brightest column in a row low and a row high in the picture.
    auto lineNear = [&](int row, double x) {
        double best = -1, at = 0;
        for (int i = int(x) - 6; i <= int(x) + 6; ++i) {
            const int col = i - int(e.x());
            if (col < 0 || col >= b.width) continue;
            if (b.at(col, row)[0] > best) {
                best = b.at(col, row)[0];
                at = i;
            }
        }
        return at;
    };
    const int low = int(b.height * 0.3), high = int(b.height * 0.7);
    const double mid = e.x() + e.width() / 2;
    for (double start : {mid - 40.0, mid + 40.0}) {
        const double a = lineNear(low, start);
        EXPECT_NEAR(lineNear(high, a), a, 1.0) << start;
    }
}

TEST_F(BuiltinReshape, DistortionsKeepTheirSymmetriesAndWhatLiesBeyondThem) {
    const CIImage in = coded(120, 100);
    const CIFloatBitmap src = render(in, QRectF(0, 0, 120, 100));
    // Light tunnel: outside the radius the picture is untouched.
    const CIFloatBitmap t = render(
        apply("CILightTunnel", in,
              {{"inputCenter", vec({60, 50})}, {"inputRadius", 30.0}, {"inputRotation", 0.7}}),
        QRectF(0, 0, 120, 100));
    for (int y = 0; y < 100; ++y)
        for (int x = 0; x < 120; ++x)
            if (std::hypot(x + 0.5 - 60, y + 0.5 - 50) > 31) {
                for (int c = 0; c < 4; ++c)
                    ASSERT_EQ(t.at(x, y)[c], src.at(x, y)[c]);
            }
    // Triangle kaleidoscope: mirror images across the first side's line.
    const double angle = 0.3, px = 40, py = 30;
    const CIImage k = apply("CITriangleKaleidoscope", in,
                            {{"inputPoint", vec({px, py})},
                             {"inputSize", 40.0},
                             {"inputRotation", angle},
                             {"inputDecay", 1.0}});
    EXPECT_TRUE(k.isInfinite());
    const CIFloatBitmap kb = render(k, QRectF(-100, -100, 300, 300));
    const double c = std::cos(angle), s = std::sin(angle);
    for (double u = -90; u <= 90; u += 13)
        for (double v = 3; v <= 90; v += 11) {
            // Pixel centres at (u, +-v) along and across the side.
            const double ax = px + c * u - s * v, ay = py + s * u + c * v;
            const double bx = px + c * u + s * v, by = py + s * u - c * v;
            const int ix = int(std::floor(ax)) + 100, iy = int(std::floor(ay)) + 100;
            const int jx = int(std::floor(bx)) + 100, jy = int(std::floor(by)) + 100;
            if (std::min({ix, iy, jx, jy}) < 0 || std::max({ix, iy, jx, jy}) >= 300) continue;
            // Different pixels under the mirror: compare smooth channels.
            EXPECT_NEAR(kb.at(ix, iy)[1], kb.at(jx, jy)[1], 0.03) << u << "," << v;
        }
}

TEST_F(BuiltinReshape, OutputDoesNotDependOnTilesOrThreads) {
    const CIImage in = coded(160, 120);
    const QVariantMap quad{{"inputBottomLeft", vec({20, 15})},
                           {"inputBottomRight", vec({140, 5})},
                           {"inputTopRight", vec({150, 110})},
                           {"inputTopLeft", vec({10, 100})}};
    QVariantMap withExtent = quad;
    withExtent.insert("inputExtent", vec({0, 0, 160, 120}));
    struct Case {
        const char* name;
        QVariantMap values;
    };
    const Case cases[] = {
        {"CIBicubicScaleTransform", {{"inputScale", 0.7}}},
        {"CIStraightenFilter", {{"inputAngle", 0.2}}},
        {"CIStretchCrop", {{"inputSize", vec({200, 90})}}},
        {"CIPerspectiveCorrection", quad},
        {"CIPerspectiveRotate", {{"inputYaw", 0.2}, {"inputRoll", 0.1}}},
        {"CIPerspectiveTransformWithExtent", withExtent},
        {"CIKeystoneCorrectionCombined", quad},
        {"CIKeystoneCorrectionHorizontal", quad},
        {"CIKeystoneCorrectionVertical", quad},
        {"CINinePartStretched", {}},
        {"CINinePartTiled", {}},
        {"CIDroste", {{"inputInsetPoint0", vec({50, 40})}, {"inputInsetPoint1", vec({110, 85})}}},
        {"CILightTunnel", {{"inputCenter", vec({80, 60})}, {"inputRadius", 40.0}}},
        {"CITriangleKaleidoscope", {{"inputPoint", vec({80, 60})}, {"inputSize", 50.0}}},
        {"CIClamp", {{"inputExtent", vec({10, 10, 100, 80})}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const CIImage out = apply(c.name, in, c.values);
        ASSERT_FALSE(out.isNull());
        ASSERT_NE(out.node(), in.node());
        const QRectF e = out.extent();
        const QRectF rect = e.width() < 1e5 ? e.toAlignedRect() : QRectF(-50, -50, 260, 220);
        const CIFloatBitmap a = render(out, rect, 16, 2), b = render(out, rect, 256, 1);
        ASSERT_EQ(a.pixels, b.pixels);
    }
}

}  // namespace
