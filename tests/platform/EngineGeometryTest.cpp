// Extent and region-of-interest algebra of the engine: rectangles (finite,
// empty and infinite), affine transforms, the two ways a rectangle becomes
// pixels, the extents of the recipe operations and the rectangle each node
// asks of its input for a requested output.

#include <gtest/gtest.h>

#include <QImage>
#include <QTransform>
#include <cmath>
#include <numbers>

#include "platform/image/CIImage.h"
#include "platform/image/Geometry.h"
#include "platform/image/Nodes.h"

namespace {

using cif::CIImage;
using namespace cif::engine;

constexpr double kTol = 1e-9;

void expectRectNear(const Rect& r, double x, double y, double w, double h) {
    EXPECT_NEAR(r.x, x, kTol);
    EXPECT_NEAR(r.y, y, kTol);
    EXPECT_NEAR(r.w, w, kTol);
    EXPECT_NEAR(r.h, h, kTol);
}

CIImage picture(int w, int h) {
    QImage img(w, h, QImage::Format_RGBA8888_Premultiplied);
    img.fill(Qt::red);
    return CIImage::imageWithQImage(img);
}

// ---------------------------------------------------------------- rectangles

TEST(EngineGeometry, IntersectionAndUnionWithInfiniteAndEmpty) {
    const Rect inf = Rect::infinite();
    const Rect a{1.5, -2, 10, 4};
    const Rect b{5, 0, 20, 20};

    EXPECT_TRUE(inf.isInfinite());
    EXPECT_FALSE(inf.isEmpty());
    EXPECT_EQ(a.intersected(inf), a);
    EXPECT_EQ(inf.intersected(a), a);
    EXPECT_TRUE(inf.intersected(inf).isInfinite());
    EXPECT_TRUE(a.united(inf).isInfinite());
    EXPECT_TRUE(inf.united(a).isInfinite());

    expectRectNear(a.intersected(b), 5, 0, 6.5, 2);
    expectRectNear(a.united(b), 1.5, -2, 23.5, 22);

    // Touching rectangles share no area; the empty rectangle is neutral for
    // union and absorbing for intersection, wherever its origin is.
    EXPECT_TRUE(a.intersected(Rect{11.5, -2, 3, 3}).isEmpty());
    const Rect emptyFarAway{1000, 1000, 0, 5};
    EXPECT_EQ(a.united(emptyFarAway), a);
    EXPECT_EQ(emptyFarAway.united(a), a);
    EXPECT_TRUE(a.intersected(emptyFarAway).isEmpty());
    EXPECT_TRUE(inf.intersected(Rect{}).isEmpty());

    EXPECT_TRUE(inf.inset(3, 3).isInfinite());
    expectRectNear(a.inset(-1, -1), 0.5, -3, 12, 6);
    EXPECT_TRUE(a.inset(5, 0).isEmpty());
}

TEST(EngineGeometry, AffineComposeInvertAndMapRect) {
    const Affine t = Affine::translation(1, 0);
    const Affine s = Affine::scale(2, 3);
    double x, y;
    t.then(s).map(0, 0, x, y);  // translate first, then scale
    EXPECT_DOUBLE_EQ(x, 2);
    EXPECT_DOUBLE_EQ(y, 0);
    s.then(t).map(1, 1, x, y);
    EXPECT_DOUBLE_EQ(x, 3);
    EXPECT_DOUBLE_EQ(y, 3);

    const Affine m{1.5, 0.25, -0.75, 2.0, 10, -4};
    const Affine inv = m.inverted();
    ASSERT_TRUE(m.isInvertible());
    for (const Affine& id : {m.then(inv), inv.then(m)}) {
        EXPECT_NEAR(id.a, 1, kTol);
        EXPECT_NEAR(id.b, 0, kTol);
        EXPECT_NEAR(id.c, 0, kTol);
        EXPECT_NEAR(id.d, 1, kTol);
        EXPECT_NEAR(id.tx, 0, kTol);
        EXPECT_NEAR(id.ty, 0, kTol);
    }
    EXPECT_FALSE(Affine::scale(0, 1).isInvertible());
    EXPECT_FALSE((Affine{1, 2, 2, 4, 0, 0}).isInvertible());
    EXPECT_FALSE((Affine{1, 0, 0, 1, NAN, 0}).isInvertible());

    EXPECT_TRUE(Affine::translation(3, -7).isIntegerTranslation());
    EXPECT_FALSE(Affine::translation(3, 0.5).isIntegerTranslation());
    EXPECT_FALSE(Affine::translation(double(1 << 30), 0).isIntegerTranslation());

    // Bounding box of a 4 x 3 rectangle rotated by 30 degrees about the origin.
    const double c = std::cos(std::numbers::pi / 6), sn = std::sin(std::numbers::pi / 6);
    expectRectNear(Affine::rotation(std::numbers::pi / 6).mapRect(Rect{0, 0, 4, 3}), -3 * sn, 0,
                   4 * c + 3 * sn, 4 * sn + 3 * c);
    expectRectNear(s.mapRect(Rect{-1, -1, 2, 1}), -2, -3, 4, 3);
    EXPECT_TRUE(m.mapRect(Rect::infinite()).isInfinite());
    EXPECT_TRUE(m.mapRect(Rect{}).isEmpty());
    // A half-plane is unbounded; transforming it must not overflow into NaN.
    const Rect halfPlane{0, Rect::kInfOrigin, 1e300, Rect::kInfSize};
    const Rect mapped = Affine::rotation(1.0).mapRect(halfPlane);
    EXPECT_TRUE(mapped.isInfinite());
}

TEST(EngineGeometry, CoveringPixelsAndPixelsCentredIn) {
    // Integral rectangles give exactly their pixels either way.
    EXPECT_EQ(coveringPixels(Rect{-2, 3, 4, 5}), (IRect{-2, 3, 4, 5}));
    EXPECT_EQ(pixelsCentredIn(Rect{-2, 3, 4, 5}), (IRect{-2, 3, 4, 5}));

    // [0.2, 1.8): touches pixels 0 and 1, and both centres lie inside.
    EXPECT_EQ(coveringPixels(Rect{0.2, 0.2, 1.6, 1.6}), (IRect{0, 0, 2, 2}));
    EXPECT_EQ(pixelsCentredIn(Rect{0.2, 0.2, 1.6, 1.6}), (IRect{0, 0, 2, 2}));
    // [0.6, 1.4): touches pixels 0 and 1 but holds neither centre.
    EXPECT_EQ(coveringPixels(Rect{0.6, 0, 0.8, 1}), (IRect{0, 0, 2, 1}));
    EXPECT_TRUE(pixelsCentredIn(Rect{0.6, 0, 0.8, 1}).isEmpty());
    // Half-open on the far edge: [0.5, 1.5) holds centre 0.5, not 1.5.
    EXPECT_EQ(pixelsCentredIn(Rect{0.5, -0.5, 1, 1}), (IRect{0, -1, 1, 1}));
    // Negative coordinates round the same way as positive ones.
    EXPECT_EQ(coveringPixels(Rect{-1.5, -0.25, 1, 0.5}), (IRect{-2, -1, 2, 2}));
    EXPECT_EQ(pixelsCentredIn(Rect{-2.6, -0.9, 2, 1}), (IRect{-3, -1, 2, 1}));

    // Rounding noise from transforms of integral rectangles adds no pixel.
    EXPECT_EQ(coveringPixels(Rect{1e-12, -1e-12, 3 - 1e-12, 2 + 2e-12}), (IRect{0, 0, 3, 2}));

    // Infinite and unbounded rectangles are cut to the addressable box.
    EXPECT_EQ(coveringPixels(Rect::infinite()),
              (IRect{-kPixelLimit, -kPixelLimit, 2 * kPixelLimit, 2 * kPixelLimit}));
    EXPECT_TRUE(coveringPixels(Rect{}).isEmpty());
    EXPECT_TRUE(coveringPixels(Rect{NAN, 0, 1, 1}).isEmpty());
}

// ---------------------------------------------------------------- extents

TEST(EngineGeometry, ExtentsOfRecipes) {
    const CIImage pic = picture(4, 3);
    EXPECT_EQ(pic.extent(), QRectF(0, 0, 4, 3));

    const QRectF rotated = pic.imageByApplyingTransform(QTransform().rotate(30)).extent();
    const double c = std::cos(std::numbers::pi / 6), sn = std::sin(std::numbers::pi / 6);
    EXPECT_NEAR(rotated.x(), -3 * sn, kTol);
    EXPECT_NEAR(rotated.y(), 0, kTol);
    EXPECT_NEAR(rotated.width(), 4 * c + 3 * sn, kTol);
    EXPECT_NEAR(rotated.height(), 4 * sn + 3 * c, kTol);

    EXPECT_EQ(pic.imageByCroppingToRect(QRectF(1.5, -1, 10, 2.25)).extent(),
              QRectF(1.5, 0, 2.5, 1.25));
    EXPECT_TRUE(pic.imageByCroppingToRect(QRectF(10, 10, 2, 2)).extent().isEmpty());

    const CIImage constant = CIImage::imageWithColor(cif::CIColor(0.2, 0.4, 0.6));
    for (const CIImage& inf :
         {constant, pic.imageByClampingToExtent(), pic.imageByAffineTiling(QTransform().rotate(10)),
          pic.imageByCompositingOverImage(constant), constant.imageByAddingToImage(pic)}) {
        EXPECT_TRUE(inf.isInfinite());
        EXPECT_TRUE(CIImage::isInfiniteRect(inf.extent()));
    }
    EXPECT_EQ(constant.imageByCroppingToRect(QRectF(-3, 2, 5, 6)).extent(), QRectF(-3, 2, 5, 6));

    const CIImage moved = pic.imageByApplyingTransform(QTransform::fromTranslate(10, -5));
    EXPECT_EQ(moved.extent(), QRectF(10, -5, 4, 3));
    EXPECT_EQ(pic.imageByCompositingOverImage(moved).extent(), QRectF(0, -5, 14, 8));
    EXPECT_EQ(moved.imageByAddingToImage(pic).extent(), QRectF(0, -5, 14, 8));

    // Nothing to repeat gives nothing, not an infinite transparent image.
    const CIImage empty = CIImage::emptyImage();
    EXPECT_TRUE(empty.imageByClampingToExtent().extent().isEmpty());
    EXPECT_TRUE(empty.imageByAffineTiling(QTransform()).extent().isEmpty());
    EXPECT_TRUE(pic.imageByApplyingTransform(QTransform::fromScale(0, 1)).extent().isEmpty());
    EXPECT_EQ(pic.imageByCompositingOverImage(empty).extent(), pic.extent());
}

// ---------------------------------------------------------------- regions of interest

TEST(EngineGeometry, TransformRegionOfInterest) {
    const NodePtr src = picture(4, 3).node();
    // Resampling needs one more pixel on every side of the inverse image.
    const TransformNode scaled(src, Affine::scale(2, 2));
    expectRectNear(scaled.regionOfInterest(0, Rect{0, 0, 10, 10}), -1, -1, 7, 7);
    const TransformNode rotated(src, Affine::rotation(std::numbers::pi / 2));
    expectRectNear(rotated.regionOfInterest(0, Rect{-3, 0, 3, 4}), -1, -1, 6, 5);
    // An integer translation is a copy and needs exactly the shifted rectangle.
    const TransformNode shifted(src, Affine::translation(3, -2));
    EXPECT_EQ(shifted.regionOfInterest(0, Rect{0, 0, 10, 10}), (Rect{-3, 2, 10, 10}));
}

TEST(EngineGeometry, CropRegionOfInterest) {
    const CropNode crop(picture(4, 3).node(), Rect{1, 0.5, 2, 2});
    EXPECT_EQ(crop.regionOfInterest(0, Rect{0, 0, 2, 2}), (Rect{1, 0.5, 1, 1.5}));
    EXPECT_TRUE(crop.regionOfInterest(0, Rect{10, 10, 2, 2}).isEmpty());
    EXPECT_EQ(crop.pixelArea(), (IRect{1, 0, 2, 2}));
}

TEST(EngineGeometry, ClampRegionOfInterestStaysInEdgePixels) {
    const ClampNode clamp(picture(4, 3).node());
    // Far away in every direction: the nearest edge or corner pixel only.
    EXPECT_EQ(clamp.regionOfInterest(0, Rect{-100, -100, 10, 10}), (Rect{0, 0, 1, 1}));
    EXPECT_EQ(clamp.regionOfInterest(0, Rect{100, 100, 10, 10}), (Rect{3, 2, 1, 1}));
    EXPECT_EQ(clamp.regionOfInterest(0, Rect{1, -50, 2, 100}), (Rect{1, 0, 2, 3}));
    EXPECT_EQ(clamp.regionOfInterest(0, Rect{10, 1, 5, 1}), (Rect{3, 1, 1, 1}));
    // Inside, the request itself; overlapping, the part inside.
    EXPECT_EQ(clamp.regionOfInterest(0, Rect{1, 1, 2, 1}), (Rect{1, 1, 2, 1}));
    EXPECT_EQ(clamp.regionOfInterest(0, Rect{-5, 2, 7, 9}), (Rect{0, 2, 2, 1}));
    // Fractional requests are widened to whole pixels first.
    EXPECT_EQ(clamp.regionOfInterest(0, Rect{0.5, 0.5, 1, 0.25}), (Rect{0, 0, 2, 1}));
}

TEST(EngineGeometry, WrapRegionOfInterestIsOnePeriodOrTheExactPart) {
    const WrapNode wrap(picture(4, 3).node());
    // Inside one period without crossing its edge: the exact sub-rectangle.
    EXPECT_EQ(wrap.regionOfInterest(0, Rect{1, 0, 2, 2}), (Rect{1, 0, 2, 2}));
    EXPECT_EQ(wrap.regionOfInterest(0, Rect{-7, 5, 2, 1}), (Rect{1, 2, 2, 1}));
    EXPECT_EQ(wrap.regionOfInterest(0, Rect{400, -300, 1, 1}), (Rect{0, 0, 1, 1}));
    // Crossing a period edge or longer than a period: the whole period on that axis.
    EXPECT_EQ(wrap.regionOfInterest(0, Rect{3, 0, 2, 1}), (Rect{0, 0, 4, 1}));
    EXPECT_EQ(wrap.regionOfInterest(0, Rect{-1, 1, 1, 2}), (Rect{3, 1, 1, 2}));
    EXPECT_EQ(wrap.regionOfInterest(0, Rect{1, 2, 2, 2}), (Rect{1, 0, 2, 3}));
    EXPECT_EQ(wrap.regionOfInterest(0, Rect{0, 0, 50, 50}), (Rect{0, 0, 4, 3}));
}

}  // namespace
