// The plasma generator: its field, its blocks, and re-colouring from the
// cached field when only colours change.

#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

#include "generators/GLIFClassRegistry.h"
#include "generators/GLIFColorFunctions.h"
#include "generators/GLIF_Plasma.h"
#include "tests/generators/GeneratorTestSupport.h"

namespace cif {
namespace {

QImage generate(GLIF_Plasma& plasma, int w, int h, const QVariantMap& attributes, unsigned seed) {
    std::srand(seed);
    const HostImage picture =
        plasma.GLIFOutputImageWidthHeightAttributes(nullptr, w, h, attributes);
    return picture.bitmap().convertToFormat(QImage::Format_RGBA8888);
}

std::vector<double> field(GLIF_Plasma& plasma, int w, int h) {
    const double* buffer = plasma.GLIFPrefetchBuffer();
    return buffer ? std::vector<double>(buffer, buffer + w * h) : std::vector<double>();
}

TEST(PlasmaTest, ColoursAloneReuseTheFieldAndShapeKeysMakeANewOne) {
    GLIF_Plasma plasma;
    const QVariantMap attributes{{"GLIFResolution", 1}, {"GLIFSmoothness", 5}};
    const QImage first = generate(plasma, 64, 48, attributes, 1);
    ASSERT_EQ(first.size(), QSize(64, 48));
    const std::vector<double> cloud = field(plasma, 64, 48);
    ASSERT_EQ(cloud.size(), size_t(64 * 48));

    // Another seed and another colour range: the same cloud, re-coloured.
    QVariantMap recoloured = attributes;
    recoloured.insert("GLIFColorRangeMin", 0.5);
    recoloured.insert("GLIFColorRangeMax", 0.9);
    const QImage second = generate(plasma, 64, 48, recoloured, 99);
    EXPECT_EQ(field(plasma, 64, 48), cloud);
    // Every pixel is the field's value mapped through the new range; the
    // bitmap's memory rows run top-down and the field is column by column.
    for (int x = 0; x < 64; x += 7)
        for (int y = 0; y < 48; y += 5) {
            unsigned char expected[4];
            computeColorToMem(expected, cloud[size_t(x * 48 + y)], 0.5, 0.9);
            const QColor got = second.pixelColor(x, y);
            EXPECT_EQ(got, QColor(expected[0], expected[1], expected[2], 255)) << x << "," << y;
        }

    QVariantMap rougher = attributes;
    rougher.insert("GLIFSmoothness", 9);
    generate(plasma, 64, 48, rougher, 1);
    EXPECT_NE(field(plasma, 64, 48), cloud);
}

TEST(PlasmaTest, WithoutDisplacementTheFieldIsSmooth) {
    GLIF_Plasma plasma;
    generate(plasma, 64, 64, {{"GLIFResolution", 1}, {"GLIFSmoothness", 0}}, 5);
    const std::vector<double> f = field(plasma, 64, 64);
    ASSERT_FALSE(f.empty());
    double worst = 0;
    for (int x = 0; x + 1 < 64; ++x)
        for (int y = 0; y + 1 < 64; ++y) {
            worst = std::max(worst, std::abs(f[size_t(x * 64 + y)] - f[size_t((x + 1) * 64 + y)]));
            worst = std::max(worst, std::abs(f[size_t(x * 64 + y)] - f[size_t(x * 64 + y + 1)]));
        }
    // A blend of four corner values in [0, 1] over 64 pixels changes by at
    // most about 1/32 per pixel.
    EXPECT_LT(worst, 0.04);
}

TEST(PlasmaTest, ResolutionPaintsBlocksAndSineTypesAgree) {
    GLIF_Plasma plasma;
    const QImage blocks = generate(plasma, 40, 40, {{"GLIFResolution", 5}}, 3);
    for (int by = 0; by < 40; by += 5)
        for (int bx = 0; bx < 40; bx += 5)
            for (int y = by; y < by + 5; ++y)
                for (int x = bx; x < bx + 5; ++x)
                    ASSERT_EQ(blocks.pixel(x, y), blocks.pixel(bx, by)) << x << "," << y;

    GLIF_Plasma a, b;
    const QImage two = generate(a, 50, 30, {{"GLIFShapesType", 2}, {"GLIFResolution", 1}}, 8);
    const QImage three = generate(b, 50, 30, {{"GLIFShapesType", 3}, {"GLIFResolution", 1}}, 8);
    EXPECT_EQ(two, three);
    EXPECT_NE(two.pixel(0, 0), two.pixel(25, 15));  // a field, not a flat fill
}

// The subdivision of a 64 x 64 field at resolution 1 splits every cell wider than one
// pixel: 1 + 4 + ... + 4^5 = 1365 inner cells, each displacing its centre once (type 0)
// or with two numbers (type 1), after the four corners. The sine method draws three
// numbers when it computes and none when it only re-colours.
TEST(PlasmaTest, DrawsTheRandomNumbersOfItsMethod) {
    const QVariantMap type0{{"GLIFResolution", 1}, {"GLIFShapesType", 0}};
    const QVariantMap type1{{"GLIFResolution", 1}, {"GLIFShapesType", 1}};
    const QVariantMap sine{{"GLIFResolution", 1}, {"GLIFShapesType", 2}};
    GLIF_Plasma plasma;
    const auto run = [&](const QVariantMap& a) {
        return [&plasma, a] { plasma.GLIFOutputImageWidthHeightAttributes(nullptr, 64, 64, a); };
    };
    EXPECT_EQ(test::randomDraws(3, run(type0)), 4 + 1365);
    EXPECT_EQ(test::randomDraws(3, run(type0)), 4);  // re-colouring: the corners only
    EXPECT_EQ(test::randomDraws(3, run(type1)), 4 + 2 * 1365);
    EXPECT_EQ(test::randomDraws(3, run(sine)), 3);
    EXPECT_EQ(test::randomDraws(3, run(sine)), 0);
}

// Keys left out of a call take the generator's own defaults again, whatever an earlier
// call set: the principal object keeps one instance between calls.
TEST(PlasmaTest, AbsentKeysTakeTheDefaultsOnEveryCall) {
    GLIF_Plasma reused, fresh;
    test::runGenerator(reused, 40, 30,
                       {{"GLIFSmoothness", 9}, {"GLIFResolution", 1}, {"GLIFShapesType", 2}}, 4);
    EXPECT_EQ(test::runGenerator(reused, 40, 30, {}, 6), test::runGenerator(fresh, 40, 30, {}, 6));
}

TEST(PlasmaTest, PublishedDescriptionAndRegistry) {
    registerGeneratorClasses();
    const auto made = instantiateGLIFClass("GLIF_Plasma");
    ASSERT_TRUE(made);
    EXPECT_EQ(made->className(), "GLIF_Plasma");
    const QVariantMap description = made->GLIFQueryAttributes();
    EXPECT_EQ(made->GLIFQueryInputKeys(),
              QStringList({"GLIFSmoothness", "GLIFResolution", "GLIFShapesType",
                           "GLIFColorRangeMin", "GLIFColorRangeMax"}));
    const QVariantMap resolution = description.value("GLIFResolution").toMap();
    EXPECT_EQ(resolution.value("GLIFMinValue"), QVariant(1));
    EXPECT_EQ(resolution.value("GLIFMaxValue"), QVariant(20));
    EXPECT_EQ(description.value("GLIFSmoothness").toMap().value("GLIFDefValue"), QVariant(5));
    EXPECT_EQ(description.value("GLIFColorRangeMax").toMap().value("GLIFDefValue").typeId(),
              QMetaType::Double);
}

}  // namespace
}  // namespace cif
