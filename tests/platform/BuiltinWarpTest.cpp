// Warps, tilings and resampling built-ins: identity settings give the picture
// back, distortions leave the centre and everything beyond their reach alone,
// tilings repeat with their period and symmetry, Lanczos keeps flat pictures
// flat and filters fine detail away, perspective with the input's own corners
// is the identity, and regions of interest hold everything that is read.

#include <gtest/gtest.h>

#include <QTransform>
#include <QVariant>
#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <vector>

#include "platform/CIPlatform.h"
#include "platform/builtins/distortion/WarpNode.h"
#include "platform/image/CIContext.h"
#include "platform/image/CIFilter.h"
#include "platform/image/CIImage.h"
#include "platform/image/Nodes.h"

namespace {

using cif::CIContext;
using cif::CIFloatBitmap;
using cif::CIImage;
using cif::CIVector;
using cif::builtins::WarpNode;
using namespace cif::engine;

// A float picture from a function of the pixel position, bottom row first.
CIImage picture(int w, int h, const std::function<void(int, int, float*)>& fill, int ox = 0,
                int oy = 0) {
    auto pixels = std::make_shared<std::vector<float>>(size_t(w) * size_t(h) * 4);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            fill(x, y, pixels->data() + (size_t(y) * size_t(w) + size_t(x)) * 4);
    return CIImage::imageWithNode(
        std::make_shared<SourceNode>(pixels, pixels->data(), w, h, size_t(w) * 4 * sizeof(float),
                                     SourceNode::Format::FloatPremulBottomUp, ox, oy));
}

// Smooth opaque colours, so bilinear reads between pixels stay close to them.
CIImage smooth(int w, int h) {
    return picture(w, h, [](int x, int y, float* p) {
        p[0] = 0.5f + 0.4f * std::sin(x * 0.21f);
        p[1] = 0.5f + 0.4f * std::cos(y * 0.17f);
        p[2] = float((x + y) % 23) / 23.0f;
        p[3] = 1.0f;
    });
}

CIImage checkerboard(int w, int h) {
    return picture(w, h, [](int x, int y, float* p) {
        const float v = float((x + y) & 1);
        p[0] = p[1] = p[2] = v;
        p[3] = 1.0f;
    });
}

CIImage apply(const char* name, const CIImage& input, const QVariantMap& values = {}) {
    auto f = cif::CIFilter::filterWithName(QString::fromLatin1(name));
    if (!f) return {};
    f->setValueForKey(QVariant::fromValue(input), "inputImage");
    for (auto it = values.begin(); it != values.end(); ++it)
        f->setValueForKey(*it, it.key());
    return f->outputImage();
}

QVariant vec(double x, double y) {
    return QVariant::fromValue(CIVector{x, y});
}

CIFloatBitmap render(const CIImage& image, const QRectF& rect, int tile = 256, int threads = 1) {
    CIContext::Options options;
    options.workingSpace = WorkingSpace::None;
    options.tileSize = tile;
    options.threads = threads;
    CIContext context(options);
    CIFloatBitmap out;
    EXPECT_TRUE(context.renderToFloat(image, rect, out));
    return out;
}

float maxDifference(const CIFloatBitmap& a, const CIFloatBitmap& b) {
    EXPECT_EQ(a.pixels.size(), b.pixels.size());
    float d = 0;
    for (size_t i = 0; i < std::min(a.pixels.size(), b.pixels.size()); ++i)
        d = std::max(d, std::abs(a.pixels[i] - b.pixels[i]));
    return d;
}

const WarpNode* warpOf(const CIImage& image) {
    return dynamic_cast<const WarpNode*>(image.node().get());
}

// Where the warp reads for the output point (px, py).
void sourceOf(const WarpNode& warp, double px, double py, float& sx, float& sy) {
    const int x = int(std::floor(px)), y = int(std::floor(py));
    float bx[4], by[4];
    warp.mapSpan(x, y, 1, float(px - x), float(py - y), bx, by);
    sx = bx[0];
    sy = by[0];
}

class BuiltinWarp : public ::testing::Test {
protected:
    static void SetUpTestSuite() { cif::initializePlatform(); }
};

// ---------------------------------------------------------------- identity

TEST_F(BuiltinWarp, IdentitySettingsGiveThePictureBack) {
    const CIImage pic = smooth(48, 40);
    const QRectF rect(0, 0, 48, 40);
    const CIFloatBitmap reference = render(pic, rect);
    const struct {
        const char* name;
        QVariantMap values;
    } cases[] = {
        {"CITwirlDistortion", {{"inputAngle", 0.0}, {"inputCenter", vec(20, 20)}}},
        {"CIVortexDistortion", {{"inputAngle", 0.0}}},
        {"CIBumpDistortion", {{"inputScale", 0.0}}},
        {"CIBumpDistortionLinear", {{"inputScale", 1.0}}},
        {"CIPinchDistortion", {{"inputScale", 0.0}}},
        {"CITorusLensDistortion", {{"inputRefraction", 1.0}, {"inputCenter", vec(24, 20)}}},
        {"CIGlassLozenge", {{"inputRefraction", 1.0}}},
        {"CILanczosScaleTransform", {}},
        // Strength, but a centre so far away that nothing is in reach.
        {"CITwirlDistortion", {{"inputCenter", vec(900, 900)}, {"inputRadius", 100.0}}},
        {"CIBumpDistortion", {{"inputCenter", vec(-500, 20)}, {"inputRadius", 100.0}}},
        // Op tile at scale 1 puts every cell back where it came from.
        {"CIOpTile", {{"inputScale", 1.0}, {"inputAngle", 0.3}}},
    };
    for (const auto& c : cases) {
        const CIImage out = apply(c.name, pic, c.values);
        ASSERT_FALSE(out.isNull()) << c.name;
        EXPECT_LT(maxDifference(render(out, rect), reference), 2e-3f) << c.name;
    }
    // A mid-grey displacement map moves nothing, through the warp itself.
    const CIImage grey =
        picture(48, 40, [](int, int, float* p) { p[0] = p[1] = p[2] = 0.5f, p[3] = 1; });
    const CIImage displaced =
        apply("CIDisplacementDistortion", pic,
              {{"inputDisplacementImage", QVariant::fromValue(grey)}, {"inputScale", 80.0}});
    ASSERT_NE(warpOf(displaced), nullptr);
    EXPECT_EQ(maxDifference(render(displaced, rect), reference), 0.0f);
}

TEST_F(BuiltinWarp, PerspectiveWithTheInputsOwnCornersIsTheIdentity) {
    const CIImage pic = smooth(40, 30);
    const CIImage out = apply("CIPerspectiveTransform", pic,
                              {{"inputBottomLeft", vec(0, 0)},
                               {"inputBottomRight", vec(40, 0)},
                               {"inputTopRight", vec(40, 30)},
                               {"inputTopLeft", vec(0, 30)}});
    ASSERT_NE(warpOf(out), nullptr);
    EXPECT_EQ(out.extent(), QRectF(0, 0, 40, 30));
    EXPECT_LT(maxDifference(render(out, QRectF(0, 0, 40, 30)), render(pic, QRectF(0, 0, 40, 30))),
              1e-3f);
}

// ---------------------------------------------------------------- distortions

// Pixels beyond the reach of the effect and the pixel at its centre keep
// their values exactly; some pixel within reach changes.
TEST_F(BuiltinWarp, DistortionsKeepTheCentreAndEverythingBeyondTheirReach) {
    const CIImage pic = smooth(64, 64);
    const QRectF rect(0, 0, 64, 64);
    const CIFloatBitmap reference = render(pic, rect);
    const double cx = 30.5, cy = 33.5;  // the centre of pixel (30, 33)
    const struct {
        const char* name;
        QVariantMap values;
        double reach;
        bool centreKept;
    } cases[] = {
        {"CITwirlDistortion", {{"inputRadius", 20.0}, {"inputAngle", 2.5}}, 20, true},
        {"CIVortexDistortion", {{"inputRadius", 22.0}}, 22, true},
        {"CIBumpDistortion", {{"inputRadius", 18.0}, {"inputScale", 0.7}}, 18, true},
        {"CIPinchDistortion", {{"inputRadius", 18.0}, {"inputScale", 1.5}}, 18, true},
        {"CITorusLensDistortion", {{"inputRadius", 12.0}, {"inputWidth", 10.0}}, 17, true},
        {"CICircleSplashDistortion", {{"inputRadius", 15.0}}, -15, true},
    };
    for (const auto& c : cases) {
        QVariantMap values = c.values;
        values["inputCenter"] = vec(cx, cy);
        const CIImage out = apply(c.name, pic, values);
        ASSERT_NE(warpOf(out), nullptr) << c.name;
        const CIFloatBitmap got = render(out, rect);
        int changed = 0;
        for (int y = 0; y < 64; ++y)
            for (int x = 0; x < 64; ++x) {
                const double r = std::hypot(x + 0.5 - cx, y + 0.5 - cy);
                const bool same = std::memcmp(got.at(x, y), reference.at(x, y), 16) == 0;
                // Negative reach: the inside is kept instead (circle splash).
                const bool outside = c.reach > 0 ? r >= c.reach : r <= -c.reach;
                if (outside || (c.centreKept && r == 0))
                    EXPECT_TRUE(same) << c.name << " pixel " << x << "," << y;
                else if (!same)
                    ++changed;
            }
        EXPECT_GT(changed, 50) << c.name;
    }
}

TEST_F(BuiltinWarp, DistortionExtentsHoldWhatTheyDraw) {
    const CIImage pic = smooth(50, 40);
    const auto extentOf = [&](const char* name, const QVariantMap& v) {
        return apply(name, pic, v).extent();
    };
    // Within the picture, a twirl keeps the picture's extent; reaching out
    // of it, the extent grows by the disc.
    EXPECT_EQ(extentOf("CITwirlDistortion", {{"inputCenter", vec(25, 20)}, {"inputRadius", 10.0}}),
              QRectF(0, 0, 50, 40));
    EXPECT_EQ(extentOf("CITwirlDistortion", {{"inputCenter", vec(25, 20)}, {"inputRadius", 30.0}}),
              QRectF(-5, -10, 60, 60));
    // The hole pushes the picture out by at most its radius.
    EXPECT_EQ(extentOf("CIHoleDistortion", {{"inputCenter", vec(25, 20)}, {"inputRadius", 5.0}}),
              QRectF(-5, -5, 60, 50));
    // The hole itself is transparent.
    const CIImage hole =
        apply("CIHoleDistortion", pic, {{"inputCenter", vec(25, 20)}, {"inputRadius", 6.0}});
    EXPECT_EQ(render(hole, QRectF(24, 19, 2, 2)).at(0, 0)[3], 0.0f);
    EXPECT_TRUE(CIImage::isInfiniteRect(extentOf("CIKaleidoscope", {})));
    EXPECT_TRUE(CIImage::isInfiniteRect(extentOf("CITriangleTile", {})));
    EXPECT_TRUE(CIImage::isInfiniteRect(extentOf("CIPerspectiveTile", {})));
    EXPECT_EQ(extentOf("CILanczosScaleTransform", {{"inputScale", 0.5}, {"inputAspectRatio", 2.0}}),
              QRectF(0, 0, 50, 20));
}

// ---------------------------------------------------------------- tilings

// Checks that the tiling's map agrees at p and at each image of p.
void expectSameSource(const WarpNode& warp, double px, double py,
                      const std::vector<std::pair<double, double>>& images, const char* what) {
    float sx, sy;
    sourceOf(warp, px, py, sx, sy);
    for (const auto& [qx, qy] : images) {
        float tx, ty;
        sourceOf(warp, qx, qy, tx, ty);
        EXPECT_NEAR(tx, sx, 2e-3) << what << " at (" << px << ", " << py << ") vs (" << qx << ", "
                                  << qy << ")";
        EXPECT_NEAR(ty, sy, 2e-3) << what << " at (" << px << ", " << py << ") vs (" << qx << ", "
                                  << qy << ")";
    }
}

TEST_F(BuiltinWarp, TilingsRepeatWithTheirPeriodAndSymmetry) {
    const CIImage pic = smooth(64, 64);
    const double cx = 31.25, cy = 29.5, w = 12;
    const double s3 = std::sqrt(3.0);
    using Images = std::function<std::vector<std::pair<double, double>>(double, double)>;
    const auto rot = [&](double x, double y, double a) {
        return std::pair{cx + (x - cx) * std::cos(a) - (y - cy) * std::sin(a),
                         cy + (x - cx) * std::sin(a) + (y - cy) * std::cos(a)};
    };
    const struct {
        const char* name;
        Images images;
    } cases[] = {
        {"CIFourfoldTranslatedTile",
         [&](double x, double y) {
             return std::vector{std::pair{x + w, y}, std::pair{x, y - 2 * w}};
         }},
        {"CIFourfoldReflectedTile",
         [&](double x, double y) {
             return std::vector{std::pair{2 * cx - x, y}, std::pair{x, 2 * cy - y},
                                std::pair{x + 2 * w, y - 2 * w}};
         }},
        {"CIParallelogramTile",
         [&](double x, double y) {
             return std::vector{std::pair{2 * cx - x, y}, std::pair{x + 2 * w, y + w}};
         }},
        {"CIGlideReflectedTile",
         [&](double x, double y) {
             return std::vector{std::pair{2 * cx - x, y + w}, std::pair{x + w, y + 2 * w}};
         }},
        {"CIFourfoldRotatedTile",
         [&](double x, double y) {
             return std::vector{rot(x, y, M_PI / 2), rot(x, y, M_PI), std::pair{x + w, y - w}};
         }},
        {"CIEightfoldReflectedTile",
         [&](double x, double y) {
             return std::vector{std::pair{cx + (y - cy), cy + (x - cx)}, std::pair{2 * cx - x, y},
                                std::pair{x + w, y + 3 * w}};
         }},
        {"CISixfoldRotatedTile",
         [&](double x, double y) {
             return std::vector{rot(x, y, M_PI / 3), rot(x, y, -2 * M_PI / 3), std::pair{x + w, y},
                                std::pair{x + w / 2, y + w * s3 / 2}};
         }},
        {"CISixfoldReflectedTile",
         [&](double x, double y) {
             return std::vector{rot(x, y, 2 * M_PI / 3), std::pair{x, 2 * cy - y},
                                std::pair{x - w / 2, y + w * s3 / 2}};
         }},
        {"CITwelvefoldReflectedTile",
         [&](double x, double y) {
             return std::vector{rot(x, y, M_PI / 3), std::pair{x, 2 * cy - y},
                                std::pair{2 * cx - x, y}, std::pair{x + 2 * w, y}};
         }},
        // Mirrors across the triangles' edges through the centre, and the
        // translations of the whole pattern.
        {"CITriangleTile",
         [&](double x, double y) {
             return std::vector{std::pair{x, 2 * cy - y}, rot(x, y, 2 * M_PI / 3),
                                std::pair{x, y + w * s3}, std::pair{x + 1.5 * w, y + w * s3 / 2}};
         }},
        {"CIKaleidoscope",
         [&](double x, double y) {
             return std::vector{rot(x, y, 2 * M_PI / 6), rot(x, y, -4 * M_PI / 6),
                                std::pair{x, 2 * cy - y}};
         }},
    };
    const double points[][2] = {{33.7, 31.1}, {20.2, 45.9}, {47.3, 12.6}, {28.9, 25.3}, {5.4, 7.7}};
    for (const auto& c : cases) {
        QVariantMap values{{"inputCenter", vec(cx, cy)}, {"inputAngle", 0.0}};
        if (std::strcmp(c.name, "CIKaleidoscope") != 0) values["inputWidth"] = w;
        const CIImage out = apply(c.name, pic, values);
        const WarpNode* warp = warpOf(out);
        ASSERT_NE(warp, nullptr) << c.name;
        for (const auto& p : points)
            expectSameSource(*warp, p[0], p[1], c.images(p[0], p[1]), c.name);
    }
    // A rotated lattice repeats along the rotated sides.
    const double a = 0.4;
    const CIImage turned =
        apply("CIFourfoldTranslatedTile", pic,
              {{"inputCenter", vec(cx, cy)}, {"inputWidth", w}, {"inputAngle", a}});
    expectSameSource(*warpOf(turned), 40.3, 22.1,
                     {{40.3 + w * std::cos(a), 22.1 + w * std::sin(a)},
                      {40.3 - 2 * w * std::sin(a), 22.1 + 2 * w * std::cos(a)}},
                     "rotated translated tile");
    // The perspective tile repeats along the sides of a parallelogram.
    const CIImage persp = apply("CIPerspectiveTile", pic,
                                {{"inputBottomLeft", vec(10, 10)},
                                 {"inputBottomRight", vec(30, 14)},
                                 {"inputTopRight", vec(26, 40)},
                                 {"inputTopLeft", vec(6, 36)}});
    expectSameSource(*warpOf(persp), 17.3, 21.8, {{37.3, 25.8}, {13.3, 47.8}}, "perspective tile");
}

// The kaleidoscope against its definition: a point reads the point at the
// same distance whose angle from the wedge's start is folded into the first
// half of its wedge, over whole rows (where whole runs share one fold).
TEST_F(BuiltinWarp, KaleidoscopeFoldsEveryPointIntoTheFirstHalfWedge) {
    const double cx = 70.3, cy = 41.7, angle = 0.6;
    const int count = 5;
    const CIImage out =
        apply("CIKaleidoscope", smooth(8, 8),
              {{"inputCenter", vec(cx, cy)}, {"inputAngle", angle}, {"inputCount", count}});
    const WarpNode* warp = warpOf(out);
    ASSERT_NE(warp, nullptr);
    const double wedge = 2 * M_PI / count;
    const auto expectFolded = [&](double px, double py, float sx, float sy) {
        const double dx = px - cx, dy = py - cy;
        const double r = std::hypot(dx, dy);
        double f = (std::atan2(dy, dx) - angle) / wedge;
        f -= std::floor(f);
        const double phi = std::min(f, 1 - f) * wedge + angle;
        ASSERT_NEAR(sx, cx + r * std::cos(phi), 2e-3) << px << "," << py;
        ASSERT_NEAR(sy, cy + r * std::sin(phi), 2e-3) << px << "," << py;
    };
    constexpr int kB = WarpNode::kBlock;
    std::vector<float> sx(kB * kB), sy(kB * kB);
    for (int gy = -128; gy < 256; gy += kB)
        for (int gx = -128; gx < 256; gx += kB) {
            // Whole blocks, and rows one at a time.
            warp->mapBlock(IRect{gx, gy, kB, kB}, 0.25f, 0.75f, sx.data(), sy.data(), {});
            for (int j = 0; j < kB; ++j)
                for (int i = 0; i < kB; ++i)
                    expectFolded(gx + i + 0.25, gy + j + 0.75, sx[size_t(j * kB + i)],
                                 sy[size_t(j * kB + i)]);
            for (int j = 0; j < kB; j += 9) {
                warp->mapSpan(gx, gy + j, kB, 0.5f, 0.5f, sx.data(), sy.data());
                for (int i = 0; i < kB; ++i)
                    expectFolded(gx + i + 0.5, gy + j + 0.5, sx[size_t(i)], sy[size_t(i)]);
            }
            if (HasFailure()) return;
        }
}

// ---------------------------------------------------------------- resampling

TEST_F(BuiltinWarp, LanczosKeepsFlatPicturesFlatAndDoesNotAlias) {
    const CIImage flat = picture(
        64, 64, [](int, int, float* p) { p[0] = 0.25f, p[1] = 0.5f, p[2] = 0.75f, p[3] = 1.0f; });
    for (const auto& [scale, aspect] : {std::pair{0.5, 1.0}, {1.7, 1.3}, {0.3, 0.8}}) {
        const CIImage out = apply("CILanczosScaleTransform", flat,
                                  {{"inputScale", scale}, {"inputAspectRatio", aspect}});
        const QRectF e = out.extent();
        const CIFloatBitmap px = render(out, e);
        // Up to the edges: beyond them the edge pixels are repeated.
        for (int y = 0; y < px.height; ++y)
            for (int x = 0; x < px.width; ++x)
                for (int c = 0; c < 4; ++c)
                    ASSERT_NEAR(px.at(x, y)[c], (c + 1) * 0.25f, 1e-5f)
                        << scale << " " << x << "," << y;
    }
    // A one-pixel checkerboard has no frequency a smaller picture can hold:
    // it must become mid grey, not a pattern.
    const CIImage board = checkerboard(96, 96);
    for (double scale : {0.5, 0.37, 0.25}) {
        const CIImage out = apply("CILanczosScaleTransform", board, {{"inputScale", scale}});
        const CIFloatBitmap px = render(out, out.extent());
        for (int y = 4; y < px.height - 4; ++y)
            for (int x = 4; x < px.width - 4; ++x)
                ASSERT_NEAR(px.at(x, y)[0], 0.5f, 0.03f) << scale << " " << x << "," << y;
    }
}

TEST_F(BuiltinWarp, PerspectiveFiltersWhereItMinifies) {
    const CIImage board = checkerboard(128, 128);
    const CIImage out = apply("CIPerspectiveTransform", board,
                              {{"inputBottomLeft", vec(0, 0)},
                               {"inputBottomRight", vec(40, 2)},
                               {"inputTopRight", vec(36, 38)},
                               {"inputTopLeft", vec(2, 32)}});
    const CIFloatBitmap px = render(out, QRectF(10, 10, 16, 16));
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 16; ++x)
            ASSERT_NEAR(px.at(x, y)[0], 0.5f, 0.1f) << x << "," << y;
}

// ---------------------------------------------------------------- regions and tiling

// Rendering from only the region of interest gives the same pixels as from
// the whole picture.
TEST_F(BuiltinWarp, RegionsOfInterestHoldEverythingRead) {
    const CIImage pic = smooth(96, 96);
    const struct {
        const char* name;
        QVariantMap values;
    } cases[] = {
        {"CITwirlDistortion", {{"inputCenter", vec(50, 40)}, {"inputRadius", 35.0}}},
        {"CIVortexDistortion", {{"inputCenter", vec(50, 40)}, {"inputRadius", 35.0}}},
        {"CIHoleDistortion", {{"inputCenter", vec(50, 40)}, {"inputRadius", 12.0}}},
        {"CICircularWrap", {{"inputCenter", vec(48, 30)}, {"inputRadius", 10.0}}},
        {"CIBumpDistortionLinear", {{"inputCenter", vec(48, 30)}, {"inputAngle", 0.5}}},
        {"CIGlassLozenge",
         {{"inputPoint0", vec(30, 40)}, {"inputPoint1", vec(60, 50)}, {"inputRadius", 15.0}}},
        {"CIKaleidoscope", {{"inputCenter", vec(48, 48)}, {"inputCount", 5}}},
        {"CIGlideReflectedTile", {{"inputCenter", vec(40, 40)}, {"inputWidth", 20.0}}},
        {"CIOpTile", {{"inputCenter", vec(40, 40)}, {"inputWidth", 20.0}}},
        {"CILanczosScaleTransform", {{"inputScale", 0.6}}},
        {"CILanczosScaleTransform", {{"inputScale", 1.4}, {"inputAspectRatio", 0.7}}},
    };
    const QRectF area(20, 15, 27, 31);
    for (const auto& c : cases) {
        const CIImage out = apply(c.name, pic, c.values);
        ASSERT_FALSE(out.isNull()) << c.name;
        const Rect roi = out.node()->regionOfInterest(0, CIImage::toEngineRect(area));
        const CIImage cut =
            apply(c.name, pic.imageByCroppingToRect(CIImage::fromEngineRect(roi)), c.values);
        // Rounding aside (Lanczos sums a cut window in another grouping).
        EXPECT_LT(maxDifference(render(cut, area), render(out, area)), 1e-5f) << c.name;
    }
}

TEST_F(BuiltinWarp, OutputIsBitIdenticalForAnyTileSizeAndThreadCount) {
    const CIImage pic = smooth(80, 70);
    const CIImage recipes[] = {
        apply("CITwirlDistortion", pic, {{"inputCenter", vec(40, 35)}, {"inputRadius", 30.0}}),
        apply("CIKaleidoscope", pic, {{"inputCenter", vec(40, 35)}}),
        apply("CITwelvefoldReflectedTile", pic,
              {{"inputCenter", vec(40, 35)}, {"inputWidth", 30.0}}),
        apply("CIPerspectiveTransform", pic,
              {{"inputBottomLeft", vec(3, 5)},
               {"inputBottomRight", vec(60, 9)},
               {"inputTopRight", vec(35, 30)},
               {"inputTopLeft", vec(8, 40)}}),
        apply("CILanczosScaleTransform", pic, {{"inputScale", 0.45}, {"inputAspectRatio", 1.2}}),
        apply("CIKaleidoscope", pic, {{"inputCenter", vec(30, 30)}, {"inputCount", 3}}),
        apply("CIVortexDistortion", pic, {{"inputCenter", vec(45, 40)}, {"inputRadius", 40.0}}),
        // Warps of warps: each level renders its own input regions.
        apply("CIVortexDistortion",
              apply("CIKaleidoscope", pic, {{"inputCenter", vec(30, 30)}, {"inputCount", 3}}),
              {{"inputCenter", vec(45, 40)}, {"inputRadius", 40.0}}),
    };
    const QRectF area(-10, -5, 100, 90);
    for (const CIImage& image : recipes) {
        ASSERT_FALSE(image.isNull());
        const CIFloatBitmap reference = render(image, area, 256, 1);
        for (const auto& [tile, threads] : {std::pair{37, 2}, {64, 1}, {9, 2}}) {
            const CIFloatBitmap out = render(image, area, tile, threads);
            ASSERT_EQ(out.pixels.size(), reference.pixels.size());
            for (size_t i = 0; i < out.pixels.size(); ++i)
                if (out.pixels[i] != reference.pixels[i]) {
                    ADD_FAILURE() << "first diff " << (i / 4) % size_t(out.width) << ","
                                  << (i / 4) / size_t(out.width) << " " << out.pixels[i] << " vs "
                                  << reference.pixels[i];
                    break;
                }
            EXPECT_EQ(std::memcmp(out.pixels.data(), reference.pixels.data(),
                                  out.pixels.size() * sizeof(float)),
                      0)
                << image.node()->kind() << " tile " << tile;
        }
    }
}

TEST_F(BuiltinWarp, AbsurdParametersGiveANeutralResult) {
    const CIImage pic = smooth(32, 32);
    const double nan = std::nan("");
    const struct {
        const char* name;
        QVariantMap values;
    } cases[] = {
        {"CITwirlDistortion", {{"inputCenter", vec(nan, 3)}}},
        {"CITwirlDistortion", {{"inputRadius", 1e300}, {"inputAngle", 1e300}}},
        {"CIPinchDistortion", {{"inputScale", 1e12}}},
        {"CIKaleidoscope", {{"inputCount", 1e9}}},
        {"CIFourfoldTranslatedTile", {{"inputWidth", 0.0}}},
        {"CIParallelogramTile", {{"inputAcuteAngle", 0.0}}},
        {"CIPerspectiveTransform", {{"inputTopLeft", vec(548, 140)}}},
        {"CIPerspectiveTile", {{"inputTopRight", vec(1e300, 1)}}},
        {"CILanczosScaleTransform", {{"inputScale", 0.0}}},
        {"CILanczosScaleTransform", {{"inputScale", 1e-12}}},
        {"CIGlassDistortion", {}},
    };
    for (const auto& c : cases) {
        const CIImage out = apply(c.name, pic, c.values);
        ASSERT_FALSE(out.isNull()) << c.name;
        const QRectF e = out.extent();
        const QRectF area = CIImage::isInfiniteRect(e) ? QRectF(0, 0, 32, 32) : e;
        if (!area.isEmpty() && area.width() < 5000 && area.height() < 5000) render(out, area);
    }
}

}  // namespace
