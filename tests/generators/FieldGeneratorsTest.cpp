// The bitmap generators that keep a per-pixel field: the random-walk texture, the biomorph,
// the sand-glass and the spiral. Their fields, their pixels against the fields, the random
// numbers they draw, and re-colouring without recomputation; also the bulk reader of the
// rand() sequence the walk uses and the biomorph's complex numbers.

#include <gtest/gtest.h>

#include <QColor>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <vector>

#include "generators/GLIFColorFunctions.h"
#include "generators/GLIFRandomSequence.h"
#include "generators/GLIF_Biomorph.h"
#include "generators/GLIF_SandGlass.h"
#include "generators/GLIF_Spiral.h"
#include "generators/GLIF_Texture.h"
#include "generators/complex.h"
#include "tests/generators/GeneratorTestSupport.h"

namespace cif {
namespace {

// The value a fresh 0x40-filled cell holds.
constexpr double kUnset = 32.501960784313724;

std::vector<double> field(GLIFCoreObject& generator, long cells) {
    const double* buffer = generator.GLIFPrefetchBuffer();
    return buffer ? std::vector<double>(buffer, buffer + cells) : std::vector<double>();
}

long drawsOf(GLIFCoreObject& generator, int w, int h, const QVariantMap& attributes) {
    return test::randomDraws(
        5, [&] { generator.GLIFOutputImageWidthHeightAttributes(nullptr, w, h, attributes); });
}

QColor rangeColour(double v, double min, double max) {
    unsigned char c[4];
    computeColorToMem(c, v, min, max);
    return QColor(c[0], c[1], c[2], c[3]);
}

QVariantMap with(QVariantMap attributes, const QString& key, const QVariant& value) {
    attributes.insert(key, value);
    return attributes;
}

// ---- the rand() sequence read in bulk

TEST(RandomSequenceTest, GivesRandsNumbersAndLeavesTheSequenceAfterThem) {
    std::srand(77);
    std::vector<int> expected(5000);
    for (int& e : expected)
        e = std::rand();

    std::srand(77);
    std::rand();  // the sequence is taken over mid-way
    std::vector<int> got{expected[0]};
    {
        GLIFRandomSequence sequence;
        for (int i = 1; i < 4000; ++i)
            got.push_back(sequence.next());
    }
    for (int i = 4000; i < 5000; ++i)
        got.push_back(std::rand());
    EXPECT_EQ(got, expected);
#if defined(__GLIBC__)
    EXPECT_TRUE(GLIFRandomSequence().isTakenOver());
#endif
}

// ---- complex numbers

TEST(ComplexTest, Arithmetic) {
    const complex a(3.0f, 4.0f), b(1.0f, -2.0f);
    EXPECT_EQ(a + b, complex(4.0f, 2.0f));
    EXPECT_EQ(a - b, complex(2.0f, 6.0f));
    EXPECT_EQ(a * b, complex(11.0f, -2.0f));
    EXPECT_EQ((a * b) / b, a);
    EXPECT_FLOAT_EQ(a.getmodulus(), 5.0f);
    EXPECT_EQ(a.getconjugate(), complex(3.0f, -4.0f));
    const complex r = a.getreciprocal();
    EXPECT_FLOAT_EQ(r.getreal(), 0.12f);
    EXPECT_FLOAT_EQ(r.getimaginary(), -0.16f);
    complex c = b;
    c.setdata(-1.5f, 2.5f);
    EXPECT_EQ(c.getreal(), -1.5f);
    EXPECT_EQ(c.getimaginary(), 2.5f);
    EXPECT_EQ(b, complex(1.0f, -2.0f));  // a copy, not a view
}

// ---- texture

TEST(TextureTest, WalkDrawsThreeNumbersPerStepAndRecolouringOnlyTheStart) {
    // 40 x 20 cells, walk length 5: 40 x 20 x 5 / 5 = 800 steps after the two start numbers;
    // each step adds one number and moves with two (free walk) or one (drift).
    const QVariantMap free{{"GLIFIter", 5}, {"GLIFTile", 1}, {"GLIFShapesType", 0}};
    GLIF_Texture texture;
    EXPECT_EQ(drawsOf(texture, 40, 20, free), 2 + 800 * 3);
    EXPECT_EQ(drawsOf(texture, 40, 20, with(free, "GLIFColorScheme", 3)), 2);
    EXPECT_EQ(drawsOf(texture, 40, 20, with(free, "GLIFShapesType", 1)), 2 + 800 * 2);
    EXPECT_EQ(drawsOf(texture, 40, 20, with(free, "GLIFShapesType", 2)), 2 + 800 * 3);
    EXPECT_EQ(drawsOf(texture, 40, 20, with(free, "GLIFShapesType", 3)), 2 + 800 * 3);
}

// The walk written plainly with rand(), cell (x, y) at x * th + y, against the generator's
// blocked weights and bulk random numbers.
std::vector<double> plainWalk(int rule, int tw, int th, int iter, unsigned seed) {
    std::srand(seed);
    std::vector<int> weights(size_t(tw * th), 0);
    int x = std::rand() % tw, y = std::rand() % th, largest = 0;
    const int steps = int(tw * th * iter / 5.0);
    for (int step = 0; step < steps; ++step) {
        int& w = weights[size_t(x * th + y)];
        w += std::rand() % 5;
        largest = std::max(largest, w);
        if (rule == 0) {
            x = (tw + std::rand() % 3 + x - 1) % tw;
            y = (th + std::rand() % 3 + y - 1) % th;
        } else if (rule == 3) {
            x = (tw + std::rand() % 3 + y - 1) % tw;
            y = (th + std::rand() % 3 + x - 1) % th;
        } else {
            const float s = float(y) / float(th / 20);
            x = int(x + std::sin(double(s)) * 3.0 + std::rand() % 3 - 1.0 + tw) % tw;
            y = (th + std::rand() % 3 + y - 1) % th;
        }
    }
    std::vector<double> field;
    for (const int w : weights)
        field.push_back(float(w) / float(largest));
    return field;
}

TEST(TextureTest, WalksAsThePlainWalkDoes) {
    for (const int rule : {0, 2, 3}) {
        GLIF_Texture texture;
        test::runGenerator(texture, 45, 61, {{"GLIFShapesType", rule}, {"GLIFIter", 30}}, 9);
        EXPECT_EQ(field(texture, 45 * 61), plainWalk(rule, 45, 61, 30, 9)) << rule;
    }
}

TEST(TextureTest, RecolouringKeepsTheWeightsAndPaintsThemInTheNewScheme) {
    const QVariantMap attributes{
        {"GLIFIter", 40}, {"GLIFTile", 1}, {"GLIFColorScheme", 4}, {"GLIFSchemeKeyColor", 0.52}};
    GLIF_Texture texture;
    const QImage first = test::runGenerator(texture, 60, 30, attributes, 3);
    const std::vector<double> weights = field(texture, 60 * 30);
    ASSERT_EQ(weights.size(), size_t(60 * 30));
    // Normalised by the largest weight.
    EXPECT_EQ(*std::max_element(weights.begin(), weights.end()), 1.0);
    EXPECT_GE(*std::min_element(weights.begin(), weights.end()), 0.0);
    for (int x = 0; x < 60; x += 7)
        for (int y = 0; y < 30; y += 3) {
            const QColor c = computeSchemeColor(weights[size_t(x * 30 + y)], 0.52, 4);
            EXPECT_EQ(first.pixelColor(x, y), QColor(c.red(), c.green(), c.blue()));
        }

    const QVariantMap other =
        with(with(attributes, "GLIFColorScheme", 0), "GLIFSchemeKeyColor", 0.2);
    const QImage second = test::runGenerator(texture, 60, 30, other, 99);
    EXPECT_EQ(field(texture, 60 * 30), weights);
    // A re-colouring pass cuts each component to whole steps.
    const auto cut = [](float f) { return int(f * 255.0f); };
    for (int x = 0; x < 60; x += 5)
        for (int y = 0; y < 30; y += 2) {
            const QColor c = computeSchemeColor(weights[size_t(x * 30 + y)], 0.2, 0);
            EXPECT_EQ(second.pixelColor(x, y),
                      QColor(cut(c.redF()), cut(c.greenF()), cut(c.blueF())));
        }
}

TEST(TextureTest, TilesRepeatWithoutSeamsAndTenDrawsAsNine) {
    GLIF_Texture texture;
    const QImage tiled =
        test::runGenerator(texture, 300, 300, {{"GLIFTile", 3}, {"GLIFIter", 20}}, 4);
    EXPECT_EQ(field(texture, 100 * 100).size(), size_t(100 * 100));
    for (int y = 0; y < 100; y += 3)
        for (int x = 0; x < 100; x += 3) {
            ASSERT_EQ(tiled.pixel(x + 100, y), tiled.pixel(x, y));
            ASSERT_EQ(tiled.pixel(x + 200, y + 200), tiled.pixel(x, y));
        }
    GLIF_Texture nine, ten;
    EXPECT_EQ(test::runGenerator(ten, 200, 100, {{"GLIFTile", 10}, {"GLIFIter", 30}}, 6),
              test::runGenerator(nine, 200, 100, {{"GLIFTile", 9}, {"GLIFIter", 30}}, 6));
    // 200 / 9 = 22 columns per tile: the tiles start at the left, the cut one at the right.
    const QImage p = test::runGenerator(nine, 200, 100, {{"GLIFTile", 9}, {"GLIFIter", 30}}, 6);
    EXPECT_EQ(p.pixel(198, 50), p.pixel(198 - 22 * 9, 50));
    // Rows repeat from the bottom: the bottom row is the tile's last, 11 rows per tile.
    EXPECT_EQ(p.pixel(10, 99), p.pixel(10, 99 - 11 * 8));
    EXPECT_EQ(p.pixel(10, 0), p.pixel(10, 0 + 11));
}

TEST(TextureTest, DriftVisitsEveryRow) {
    GLIF_Texture texture;
    test::runGenerator(texture, 50, 40, {{"GLIFShapesType", 1}, {"GLIFIter", 2}}, 8);
    const std::vector<double> weights = field(texture, 50 * 40);
    ASSERT_EQ(weights.size(), size_t(50 * 40));
    // 800 steps, one row down each: every row is visited 20 times.
    for (int y = 0; y < 40; ++y) {
        double row = 0;
        for (int x = 0; x < 50; ++x)
            row += weights[size_t(x * 40 + y)];
        EXPECT_GT(row, 0.0) << y;
    }
}

// ---- biomorph

TEST(BiomorphTest, RecolouringKeepsTheShapeAndSkipsUnsetCells) {
    const QVariantMap attributes{{"GLIFResolution", 1},
                                 {"GLIFCReal", -1.65},
                                 {"GLIFCImag", 0.47},
                                 {"GLIFColorRangeMax", 0.28},
                                 {"GLIFUseBackgroundColor", true},
                                 {"GLIFBackgroundColor", QColor(10, 20, 30)}};
    GLIF_Biomorph biomorph;
    test::runGenerator(biomorph, 160, 120, attributes, 1);
    const std::vector<double> shape = field(biomorph, 160 * 120);
    ASSERT_EQ(shape.size(), size_t(160 * 120));
    long unset = 0, set = 0;
    for (const double v : shape) {
        if (v == kUnset)
            ++unset;
        else if (v > 0.0 && v <= 1.0)
            ++set;
    }
    EXPECT_GT(unset, 0);
    EXPECT_GT(set, 0);
    EXPECT_EQ(unset + set, long(shape.size()));

    const QVariantMap recoloured =
        with(with(attributes, "GLIFColorRangeMin", 0.5), "GLIFColorRangeMax", 0.9);
    EXPECT_EQ(drawsOf(biomorph, 160, 120, recoloured), 0);
    const QImage second = test::runGenerator(biomorph, 160, 120, recoloured, 1);
    EXPECT_EQ(field(biomorph, 160 * 120), shape);
    for (int x = 0; x < 160; x += 3)
        for (int y = 0; y < 120; y += 3) {
            const double v = shape[size_t(x * 120 + y)];
            EXPECT_EQ(second.pixelColor(x, y),
                      v == kUnset ? QColor(10, 20, 30) : rangeColour(v, 0.5, double(0.9f)));
        }
}

TEST(BiomorphTest, BlocksRepeatTheirCornerPointAndAreCutAtTheEdge) {
    const QVariantMap fine{{"GLIFResolution", 1}, {"GLIFCReal", 0.5}, {"GLIFCImag", 0.2}};
    GLIF_Biomorph a, b;
    const QImage pixels = test::runGenerator(a, 301, 203, fine, 1);
    const QImage blocks = test::runGenerator(b, 301, 203, with(fine, "GLIFResolution", 3), 1);
    // Offsets start at -150 and -101, so the blocks start at columns 0, 3, ... 297 and rows
    // 0, 3, ... 201. Column 300 lies past the last column block; the last row block is cut
    // to rows 201 and 202.
    for (int y = 0; y < 203; ++y)
        for (int x = 0; x < 301; ++x) {
            const QRgb expected = x == 300 ? 0 : pixels.pixel(x - x % 3, y - y % 3);
            ASSERT_EQ(blocks.pixel(x, y), expected) << x << "," << y;
        }
}

TEST(BiomorphTest, TheImaginaryPartIsReadOnlyWithTheRealPart) {
    GLIF_Biomorph a, b, c;
    const QImage defaults = test::runGenerator(a, 90, 70, {}, 1);
    EXPECT_EQ(test::runGenerator(b, 90, 70, {{"GLIFCImag", 0.3}}, 1), defaults);
    EXPECT_NE(test::runGenerator(c, 90, 70, {{"GLIFCReal", 1.00003}, {"GLIFCImag", 0.3}}, 1),
              defaults);
}

// ---- sand-glass

TEST(SandGlassTest, FourMirroredQuartersOfTheKeptField) {
    const QVariantMap attributes{{"GLIFFactor", 1.83}, {"GLIFShapesType", 1}};
    GLIF_SandGlass glass;
    const QImage p = test::runGenerator(glass, 101, 80, attributes, 1);
    const std::vector<double> quarter = field(glass, 50 * 40);
    ASSERT_EQ(quarter.size(), size_t(50 * 40));
    for (int y = 0; y < 40; ++y)
        for (int x = 0; x < 50; ++x) {
            // The quarter's column x lies x to either side of the vertical centre line, its
            // row y y rows from the top and from the bottom.
            const QColor c = rangeColour(quarter[size_t(40 * x + y)] / 255.0, 0.0, 1.0);
            ASSERT_EQ(p.pixelColor(50 + x, y), c) << x << "," << y;
            ASSERT_EQ(p.pixelColor(49 - x, y), c);
            ASSERT_EQ(p.pixelColor(50 + x, 79 - y), c);
            ASSERT_EQ(p.pixelColor(49 - x, 79 - y), c);
        }
    for (int y = 0; y < 80; ++y)
        EXPECT_EQ(p.pixel(100, y), 0u) << y;  // odd width: unpainted
}

TEST(SandGlassTest, FormulasAndTheirRandomNumbers) {
    GLIF_SandGlass glass;
    // Formula 0 keeps the quarter's top row at 0; 2 and 3 divide by tan(0) at the corner.
    for (int formula : {0, 2, 3}) {
        test::runGenerator(glass, 64, 48, {{"GLIFShapesType", formula}, {"GLIFFactor", 3.0}}, 1);
        const std::vector<double> quarter = field(glass, 32 * 24);
        // Not a number fails both comparisons.
        for (const double v : quarter)
            ASSERT_TRUE(v >= -255.0 && v <= 255.0) << formula;
        if (formula == 0) {
            for (int x = 0; x < 32; ++x)
                EXPECT_EQ(quarter[size_t(24 * x)], 0.0);
        }
    }
    // The last formula draws one number per quarter pixel, and none when re-colouring.
    const QVariantMap noisy{{"GLIFShapesType", 4}, {"GLIFFactor", 2.0}};
    EXPECT_EQ(drawsOf(glass, 64, 48, noisy), 32 * 24);
    EXPECT_EQ(drawsOf(glass, 64, 48, with(noisy, "GLIFColorRangeMax", 0.5)), 0);
    EXPECT_EQ(drawsOf(glass, 64, 48, with(noisy, "GLIFFactor", 2.5)), 32 * 24);
    EXPECT_EQ(drawsOf(glass, 64, 48, with(noisy, "GLIFShapesType", 1)), 0);
}

// ---- spiral

TEST(SpiralTest, OneRandomNumberPerRingAndNoneWhenRecolouring) {
    GLIF_Spiral spiral;
    const QVariantMap attributes{{"GLIFFactor", 1.41}, {"GLIFRandomWind", 11.76}};
    // The smaller half side is 24: rings 1 to 23.
    EXPECT_EQ(drawsOf(spiral, 64, 48, attributes), 23);
    const std::vector<double> rings = field(spiral, 64 * 48);
    const QVariantMap recoloured = with(attributes, "GLIFColorRangeMin", 0.4);
    EXPECT_EQ(drawsOf(spiral, 64, 48, recoloured), 0);
    EXPECT_EQ(field(spiral, 64 * 48), rings);
    const QImage p = test::runGenerator(spiral, 64, 48, recoloured, 1);
    for (int x = 0; x < 64; ++x)
        for (int y = 0; y < 48; ++y) {
            const double v = rings[size_t(y + x * 48)];
            ASSERT_EQ(p.pixelColor(x, y),
                      v == kUnset ? QColor(0, 0, 0, 0) : rangeColour(v, double(0.4f), 1.0));
        }
    // A picture under 4 pixels on a side has no rings.
    GLIF_Spiral small;
    EXPECT_EQ(drawsOf(small, 3, 40, attributes), 0);
    for (const double v : field(small, 3 * 40))
        EXPECT_EQ(v, kUnset);
}

TEST(SpiralTest, EachRingStartsTheFactorFurtherRound) {
    // Without jitter or curvature ring r starts at (r - 1) x factor / 100 radians, where its
    // value is near 0 (the start and the end of the ring meet there).
    for (const double factor : {0.0, 100 * std::numbers::pi / 2, -100 * std::numbers::pi / 2}) {
        GLIF_Spiral spiral;
        test::runGenerator(spiral, 101, 101,
                           {{"GLIFFactor", factor}, {"GLIFRandomWind", 0.0}, {"GLIFCurvature", 0}},
                           1);
        const std::vector<double> rings = field(spiral, 101 * 101);
        for (int r = 2; r < 50; r += 7) {
            const double a = (r - 1) * float(factor) / 100.0;
            const int x = int(50 + std::cos(a) * r + 0.5), y = int(50 + std::sin(a) * r + 0.5);
            EXPECT_LT(rings[size_t(y + x * 101)], 0.1) << factor << " ring " << r;
        }
    }
}

TEST(SpiralTest, BackgroundShowsBetweenTheRings) {
    GLIF_Spiral spiral;
    const QImage p = test::runGenerator(
        spiral, 40, 40,
        {{"GLIFUseBackgroundColor", true}, {"GLIFBackgroundColor", QColor(Qt::white)}}, 1);
    const std::vector<double> rings = field(spiral, 40 * 40);
    EXPECT_EQ(p.pixelColor(0, 0), QColor(Qt::white));
    EXPECT_EQ(p.pixelColor(20, 20).alpha(), 255);
    EXPECT_NE(rings[size_t(20 + 21 * 40)], kUnset);
}

}  // namespace
}  // namespace cif
