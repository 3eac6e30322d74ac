// The circle interference generator: the quarter's colouring by x^2 + y^2 (or x^2 - y^2)
// folded into the hue range, the quarter turned into a tile with fourfold symmetry, the
// tile repeated from the bottom-left corner, and the values taken for absent keys.

#include <gtest/gtest.h>

#include "generators/GLIFColorFunctions.h"
#include "generators/GLIF_CircleRipples.h"
#include "tests/generators/GeneratorTestSupport.h"

namespace cif {
namespace {

// The pixel whose bottom-left corner is (x, y) in the platform's y-up coordinates.
QRgb at(const QImage& picture, int x, int y) {
    return picture.pixel(x, picture.height() - 1 - y);
}

QRgb hue(double t, double min, double max) {
    return computeColor(t, min, max).rgba();
}

const QVariantMap kPublished{
    {"GLIFResolution", 1}, {"GLIFSize", 101},          {"GLIFKoef", 7},
    {"GLIFShapesType", 0}, {"GLIFColorRangeMin", 0.0}, {"GLIFColorRangeMax", 1.0}};

TEST(CircleRipplesTest, RingsFoldIntoTheRangeAndRepeatWithFourfoldSymmetry) {
    GLIF_CircleRipples ripples;
    const QImage picture = test::runGenerator(ripples, 404, 303, kPublished, 1);
    ASSERT_EQ(picture.size(), QSize(404, 303));
    // At the quarter's corner t = 0: the range minimum, red.
    EXPECT_EQ(at(picture, 0, 0), hue(0.0, 0.0, 1.0));
    // (30, 40): 900 + 1600 = 2500, / 7 = 357, mod 101 = 54.
    const QRgb expected = hue(54.0 / 101.0, 0.0, 1.0);
    EXPECT_EQ(at(picture, 30, 40), expected);
    // The same point in the three turned copies (ring centres at the tile's corners) and in
    // the next tiles to the right and above.
    EXPECT_EQ(at(picture, 201 - 40, 30), expected);
    EXPECT_EQ(at(picture, 201 - 30, 201 - 40), expected);
    EXPECT_EQ(at(picture, 40, 201 - 30), expected);
    EXPECT_EQ(at(picture, 202 + 30, 40), expected);
    EXPECT_EQ(at(picture, 30, 202 + 40), expected);
    for (const auto& [x, y] : {std::pair{201, 0}, {201, 201}, {0, 201}, {202, 202}})
        EXPECT_EQ(at(picture, x, y), hue(0.0, 0.0, 1.0)) << x << "," << y;

    // Colours alone: the same rings through another range, and no random numbers.
    QVariantMap recoloured = kPublished;
    recoloured.insert("GLIFColorRangeMin", 0.4);
    recoloured.insert("GLIFColorRangeMax", 0.7);
    const QImage second = test::runGenerator(ripples, 404, 303, recoloured, 9);
    EXPECT_EQ(at(second, 30, 40), hue(54.0 / 101.0, 0.4, 0.7));
    EXPECT_EQ(test::randomDraws(
                  3, [&] { ripples.GLIFOutputImageWidthHeightAttributes(nullptr, 64, 64, {}); }),
              0);
}

TEST(CircleRipplesTest, HyperbolasBlocksAndSmallPictures) {
    GLIF_CircleRipples ripples;
    QVariantMap hyperbolas = kPublished;
    hyperbolas.insert("GLIFShapesType", 1);
    hyperbolas.insert("GLIFColorRangeMin", 0.5);
    const QImage h = test::runGenerator(ripples, 202, 202, hyperbolas, 1);
    // On the diagonal x^2 - y^2 = 0: the range minimum all along it.
    for (int k = 0; k < 101; k += 5)
        EXPECT_EQ(at(h, k, k), hue(0.0, 0.5, 1.0)) << k;
    // |30^2 - 40^2| = 700, / 7 = 100.
    EXPECT_EQ(at(h, 30, 40), hue(100.0 / 101.0, 0.5, 1.0));

    // Blocks of 4 take the colour of their lower-left corner: (28, 40) for (30, 41);
    // 784 + 1600 = 2384, / 7 = 340, mod 101 = 37. A block edge that does not divide the
    // quarter is clipped by it: (100, 100) lies in the block at (100, 100).
    QVariantMap blocks = kPublished;
    blocks.insert("GLIFResolution", 4);
    const QImage b = test::runGenerator(ripples, 202, 202, blocks, 1);
    EXPECT_EQ(at(b, 30, 41), hue(37.0 / 101.0, 0.0, 1.0));
    EXPECT_EQ(at(b, 100, 100), hue((20000 / 7 % 101) / 101.0, 0.0, 1.0));
    EXPECT_EQ(at(b, 100, 100), at(b, 101, 101));  // the turned copies' edge blocks meet

    // A picture smaller than one tile shows the tile's lower-left part.
    const QImage whole = test::runGenerator(ripples, 202, 202, kPublished, 1);
    const QImage small = test::runGenerator(ripples, 50, 30, kPublished, 1);
    EXPECT_EQ(small, whole.copy(0, 202 - 30, 50, 30));
}

TEST(CircleRipplesTest, AbsentKeysTakeTheirOwnValuesOnEveryCall) {
    // Absent, the quarter is one block of t = 0 (size 1): the whole picture is the range
    // minimum, whatever an earlier call set.
    GLIF_CircleRipples ripples;
    test::runGenerator(ripples, 40, 30, kPublished, 1);
    const QImage plain = test::runGenerator(ripples, 40, 30, {{"GLIFColorRangeMin", 0.3}}, 1);
    for (int y = 0; y < 30; y += 7)
        for (int x = 0; x < 40; x += 7)
            EXPECT_EQ(at(plain, x, y), hue(0.0, 0.3, 1.0)) << x << "," << y;
    EXPECT_EQ(ripples.GLIFQueryInputKeys(),
              QStringList({"GLIFResolution", "GLIFSize", "GLIFKoef", "GLIFShapesType",
                           "GLIFColorRangeMin", "GLIFColorRangeMax"}));
}

}  // namespace
}  // namespace cif
