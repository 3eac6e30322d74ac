// The line, polygon and pattern generators: their worked geometry, the random numbers they
// draw, and the quirks they keep.

#include <gtest/gtest.h>

#include <QPainter>

#include "generators/GLIFColorFunctions.h"
#include "generators/GLIF_ColourBars.h"
#include "generators/GLIF_FlashLines.h"
#include "generators/GLIF_HilbertCurve.h"
#include "generators/GLIF_Parquet.h"
#include "generators/GLIF_StarField.h"
#include "generators/GLIF_Triangles.h"
#include "generators/GLIF_TwistPolygons.h"
#include "generators/GLIF_TwistedSquares.h"
#include "tests/generators/GeneratorTestSupport.h"

namespace cif {
namespace {

// The pixel whose bottom-left corner is (x, y) in the platform's y-up coordinates.
QColor at(const QImage& picture, int x, int y) {
    return picture.pixelColor(x, picture.height() - 1 - y);
}

bool near(const QColor& a, const QColor& b) {
    return std::abs(a.red() - b.red()) <= 1 && std::abs(a.green() - b.green()) <= 1 &&
           std::abs(a.blue() - b.blue()) <= 1 && std::abs(a.alpha() - b.alpha()) <= 1;
}

TEST(TwistedSquaresTest, SecondSquareIsTurnedAndSmaller) {
    // On 100 x 100 at step 4 the first square (r = 100) lies outside the picture; the second (r
    // = 70.7, turned 45 degrees) is a diamond through (50, 120) and
    // (-20, 50), crossing the top-left corner along y = x + 70. A size of 60 stops after it,
    // a size of 80 before it.
    GLIF_TwistedSquares squares;
    const QImage two =
        test::runGenerator(squares, 100, 100, {{"GLIFStep", 4.0}, {"GLIFSize", 60.0}}, 1);
    const QImage one =
        test::runGenerator(squares, 100, 100, {{"GLIFStep", 4.0}, {"GLIFSize", 80.0}}, 1);
    for (const int x : {10, 20, 25}) {
        EXPECT_EQ(at(two, x, x + 70).alpha(), 255) << x;
        EXPECT_EQ(at(one, x, x + 70).alpha(), 0) << x;
    }
    EXPECT_EQ(at(two, 50, 50).alpha(), 0);
}

TEST(TwistPolygonsTest, OneCircleIsTheOuterPolygonAndMoreNestInwards) {
    // Four vertices at radius 50 around (50, 50): a diamond. One polygon is coloured t = 0
    // (hue 0, red); with two, the inner one (P = 50: the edge midpoints) takes t = 1/2.
    const QVariantMap base{{"GLIFCountAngle", 4},
                           {"GLIFRadius", 100.0},
                           {"GLIFDeltaPercent", 50},
                           {"GLIFColorRangeMin", 0.0},
                           {"GLIFColorRangeMax", 0.38}};
    GLIF_TwistPolygons polygons;
    QVariantMap single = base;
    single.insert("GLIFCountCircle", 1);
    const QImage one = test::runGenerator(polygons, 100, 100, single, 1);
    EXPECT_TRUE(near(at(one, 50, 50), Qt::red));
    EXPECT_EQ(at(one, 3, 3).alpha(), 0);
    QVariantMap pair = base;
    pair.insert("GLIFCountCircle", 2);
    const QImage two = test::runGenerator(polygons, 100, 100, pair, 1);
    EXPECT_TRUE(near(at(two, 50, 50), computeColor(0.5, 0.0, 0.38)));
    EXPECT_TRUE(near(at(two, 50, 10), Qt::red));  // between the diamonds
}

TEST(FlashLinesTest, DrawsEightNumbersAndDependsOnTheSeed) {
    GLIF_FlashLines lines;
    const QVariantMap p{{"GLIFCurveRange", 50}};
    EXPECT_EQ(test::randomDraws(
                  5, [&] { lines.GLIFOutputImageWidthHeightAttributes(nullptr, 80, 60, p); }),
              8);
    EXPECT_NE(test::runGenerator(lines, 80, 60, p, 1), test::runGenerator(lines, 80, 60, p, 2));
    // A line count of 0 is raised to one line, not none.
    const QImage single = test::runGenerator(lines, 80, 60, {{"GLIFCurveRange", 0}}, 1);
    bool drawn = false;
    for (int y = 0; y < 60 && !drawn; ++y)
        for (int x = 0; x < 80 && !drawn; ++x)
            drawn = single.pixelColor(x, y).alpha() > 0;
    EXPECT_TRUE(drawn);
}

TEST(HilbertCurveTest, StepAndColoursFromTheFifthNumberOn) {
    EXPECT_EQ(GLIF_HilbertCurve::stepLength(512, 256, 3), 74);
    GLIF_HilbertCurve curve;
    const QVariantMap p{{"GLIFCurveRange", 3}, {"GLIFSize", 6.0}, {"GLIFColorScheme", 7}};
    EXPECT_EQ(test::randomDraws(
                  2, [&] { curve.GLIFOutputImageWidthHeightAttributes(nullptr, 512, 256, p); }),
              8);

    // The first stroke runs (0, 0) -> (74, 0) -> (74, 74) -> (0, 74) in the first colour,
    // which scheme 7 makes the rainbow hue of the fifth number.
    std::srand(9);
    for (int i = 0; i < 4; ++i)
        std::rand();
    const QColor first = computeSchemeColor(randomFraction(), 0.0, 7);
    const QImage picture = test::runGenerator(curve, 512, 256, p, 9);
    EXPECT_TRUE(near(at(picture, 37, 73), first));
    EXPECT_TRUE(near(at(picture, 73, 37), first));
    // The curve spans 7 steps of 74: it reaches the right edge of the 512-wide picture.
    EXPECT_EQ(at(picture, 510, 1).alpha(), 255);
}

TEST(ColourBarsTest, WidthsDrawsAndWholeDegrees) {
    GLIF_ColourBars bars;
    // Spread 0: bars exactly 10 wide; the diagonal of 100 x 50 (111.8) takes 12 of them,
    // a width and a colour number each.
    const QVariantMap even{{"GLIFSize", 10}, {"GLIFDiff", 0.0}, {"GLIFAngle", 0.0}};
    EXPECT_EQ(test::randomDraws(
                  4, [&] { bars.GLIFOutputImageWidthHeightAttributes(nullptr, 100, 50, even); }),
              24);
    // Fractions of a degree are cut off.
    const QVariantMap a{{"GLIFAngle", 17.0}}, b{{"GLIFAngle", 17.9}}, c{{"GLIFAngle", 18.0}};
    const QImage cut = test::runGenerator(bars, 90, 70, a, 3);
    EXPECT_EQ(cut, test::runGenerator(bars, 90, 70, b, 3));
    EXPECT_NE(cut, test::runGenerator(bars, 90, 70, c, 3));
}

TEST(StarFieldTest, FiveNumbersPerShapeAndKeysKeptBetweenCalls) {
    GLIF_StarField stars;
    const auto draws = [&](const QVariantMap& p) {
        return test::randomDraws(
            6, [&] { stars.GLIFOutputImageWidthHeightAttributes(nullptr, 64, 64, p); });
    };
    EXPECT_EQ(draws({{"GLIFDensity", -7}}), 35);
    EXPECT_EQ(draws({}), 35);  // the density of the call before
    // Uneven polygons turn by one more number per vertex after the first.
    EXPECT_EQ(draws({{"GLIFDensity", 2}, {"GLIFShapesType", 4}, {"GLIFCount", 5}}), 2 * (5 + 4));
}

TEST(TrianglesTest, EachPointSplitsATriangleInThree) {
    GLIF_Triangles triangles;
    // Two numbers per point after the enclosing triangle's corners: n - 1 points.
    EXPECT_EQ(
        test::randomDraws(
            3,
            [&] {
                triangles.GLIFOutputImageWidthHeightAttributes(nullptr, 90, 70, {{"GLIFCount", 7}});
            }),
        12);
    test::runGenerator(triangles, 90, 70, {{"GLIFCount", 7}}, 3);
    EXPECT_EQ(triangles.triangleCount(), 13);
    test::runGenerator(triangles, 90, 70, {{"GLIFCount", 2}}, 3);
    EXPECT_EQ(triangles.triangleCount(), 3);
    // The outlines take the background colour when it is on; the picture has no other
    // background.
    const QImage red = test::runGenerator(triangles, 90, 70,
                                          {{"GLIFCount", 2},
                                           {"GLIFWidthLine", 10.0},
                                           {"GLIFUseBackgroundColor", true},
                                           {"GLIFBackgroundColor", QColor(Qt::red)},
                                           {"GLIFColorScheme", 4},
                                           {"GLIFSchemeKeyColor", 0.6}},
                                          3);
    bool outlined = false;
    for (int y = 0; y < 70 && !outlined; ++y)
        for (int x = 0; x < 90 && !outlined; ++x)
            outlined = near(red.pixelColor(x, y), Qt::red);
    EXPECT_TRUE(outlined);
    EXPECT_EQ(red.pixelColor(45, 35).alpha(), 255);
}

TEST(ParquetTest, BandsNestInwardsAndLaterCellsPaintOverTheRim) {
    EXPECT_EQ(GLIF_Parquet::bandCount(121, 100, 89), 53);
    // 50-point squares nested to the full depth: 25 bands, the last one point wide at the
    // centre in the scheme's end colour; the next column's outer band (k = -1, black under
    // scheme 4) reaches one point back into the first.
    GLIF_Parquet parquet;
    const QVariantMap p{{"GLIFCellWidth", 50}, {"GLIFCellHeight", 50}, {"GLIFDencity", 100},
                        {"GLIFIdFigure", 0},   {"GLIFColorScheme", 4}, {"GLIFSchemeKeyColor", 0.3}};
    const QImage picture = test::runGenerator(parquet, 100, 60, p, 1);
    EXPECT_TRUE(near(at(picture, 25, 25), computeSchemeColor(1.0, 0.3, 4)));
    EXPECT_TRUE(near(at(picture, 49, 25), Qt::black));
    EXPECT_FALSE(near(at(picture, 47, 25), Qt::black));
    EXPECT_TRUE(parquet.GLIFQueryAttributes().value("GLIFBackgroundColor").toMap().isEmpty());
}

// A recording comes out of the rasteriser with the pixels it gets when replayed straight
// into an RGBA picture: lozenge bands (whose two triangles share an antialiased diagonal)
// over a translucent background, at a size that cuts cells at the edges.
TEST(ParquetTest, RasterisedRecordingMatchesAPlainReplay) {
    GLIF_Parquet parquet;
    const HostImage recording = parquet.GLIFOutputImageWidthHeightAttributes(
        nullptr, 213, 157,
        {{"GLIFCellWidth", 37},
         {"GLIFCellHeight", 29},
         {"GLIFIdFigure", 1},
         {"GLIFColorScheme", 0},
         {"GLIFUseBackgroundColor", true},
         {"GLIFBackgroundColor", QColor(40, 90, 200, 120)}});
    ASSERT_TRUE(recording.isVector());
    QImage plain(213, 157, QImage::Format_RGBA8888_Premultiplied);
    plain.fill(Qt::transparent);
    QPainter painter(&plain);
    recording.drawInRect(painter, QRectF(0, 0, 213, 157));
    painter.end();
    EXPECT_EQ(recording.rasterize(QSize(213, 157)), plain);
}

}  // namespace
}  // namespace cif
