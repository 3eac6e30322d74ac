// The colour functions against colours worked out by hand from the HSB rule and the
// sector table.
#include <gtest/gtest.h>

#include "generators/GLIFColorFunctions.h"

#include <array>
#include <cmath>
#include <cstdlib>
#include <utility>

using namespace cif;

namespace {

// QColor keeps 16 bits a channel.
constexpr double kTolerance = 1.0 / 65535.0 + 1e-7;

void expectRgb(const QColor& color, double r, double g, double b) {
    EXPECT_NEAR(color.redF(), r, kTolerance);
    EXPECT_NEAR(color.greenF(), g, kTolerance);
    EXPECT_NEAR(color.blueF(), b, kTolerance);
    EXPECT_DOUBLE_EQ(color.alphaF(), 1.0);
}

std::array<int, 4> toMem(double t, double min = 0.0, double max = 1.0) {
    unsigned char bytes[4] = {1, 2, 3, 4};
    computeColorToMem(bytes, t, min, max);
    return {bytes[0], bytes[1], bytes[2], bytes[3]};
}

}  // namespace

TEST(GLIFColorFunctions, SchemeZeroSplitsKeyAndComplementIntoShades) {
    // Key 0: the band 25..75 holds the complement (cyan), hue 0.5 at S = B = 0.5.
    expectRgb(computeSchemeColor(0.30, 0.0, 0), 0.25, 0.5, 0.5);
    // Below the band the key hue (red), shifted up by 25: position 0.35, first quarter.
    expectRgb(computeSchemeColor(0.10, 0.0, 0), 0.5, 0.25, 0.25);
    // Above the band: 0.80 shifts down to 0.55, third quarter (S = 1, B = 0.5).
    expectRgb(computeSchemeColor(0.80, 0.0, 0), 0.5, 0.0, 0.0);
    // Key 0.40 (lo = 65 > hi = 15, m = 15): 0.80 lies outside 15..65, so the complement
    // 0.90; position 1.05 is outside the band 0.15..0.65, so S and B stay 1.
    expectRgb(computeSchemeColor(0.80, 0.40, 0), 1.0, 0.0, 0.6);
    // Hues are clamped like the platform's HSB colours: above 1 is red.
    expectRgb(colorFromHSB(1.3f, 1.0f, 1.0f), 1, 0, 0);
}

TEST(GLIFColorFunctions, SchemesOneAndTwoSpreadHuesFromTheKey) {
    // Scheme 1, key 0.9, value 0.2: d = -70 wraps to 30, q = 0, hue 0.9; step 3 gives S=B=1.
    expectRgb(computeSchemeColor(0.2, 0.9, 1), 1.0, 0.0, 0.6);
    // Scheme 1, key 0, value 0.5: q = 1, hue 1/3 (green); fraction 0.5 gives step 6 % 4 = 2,
    // so S = 1, B = 0.5.
    expectRgb(computeSchemeColor(0.5, 0.0, 1), 0.0, 0.5, 0.0);
    // Scheme 2, key 0.1, value 0.6: d = 50, q = 2, hue 0.6; fraction 0.5: S = 1, B = 0.5.
    const QColor expected = colorFromHSB(0.6f, 1.0f, 0.5f);
    expectRgb(computeSchemeColor(0.6, 0.1, 2), expected.redF(), expected.greenF(),
              expected.blueF());
    // Scheme 2, key 0.8, value 0.1: d = -70 wraps to 30, q = 1, hue 1.05 wraps to 0.05;
    // fraction 0.3 gives step 3: S = B = 1.
    const QColor wrapped = colorFromHSB(0.05f, 1.0f, 1.0f);
    expectRgb(computeSchemeColor(0.1, 0.8, 2), wrapped.redF(), wrapped.greenF(), wrapped.blueF());
}

TEST(GLIFColorFunctions, SingleHueSchemesAndTheRainbow) {
    // Scheme 3: four shades of the key hue by quarter of the value.
    expectRgb(computeSchemeColor(0.1, 0.25, 3), 0.5, 1.0, 0.0);
    expectRgb(computeSchemeColor(0.3, 0.25, 3), 0.75, 1.0, 0.5);
    expectRgb(computeSchemeColor(0.6, 0.25, 3), 0.25, 0.5, 0.0);
    expectRgb(computeSchemeColor(0.8, 0.25, 3), 0.375, 0.5, 0.25);
    // Schemes 4 and 5: value is the brightness, the saturation.
    expectRgb(computeSchemeColor(0.4, 0.0, 4), 0.4, 0.0, 0.0);
    expectRgb(computeSchemeColor(0.4, 0.0, 5), 1.0, 0.6, 0.6);
    // Scheme 6: S = B = value / 5 + 0.8.
    expectRgb(computeSchemeColor(0.5, 0.0, 6), 0.9, 0.9 * 0.1, 0.9 * 0.1);
    // Any other number: the value is the hue.
    expectRgb(computeSchemeColor(0.5, 0.9, 7), 0.0, 1.0, 1.0);
    // Absurd inputs give a colour, not a crash.
    EXPECT_TRUE(computeSchemeColor(std::nan(""), 1e300, 0).isValid());
    EXPECT_TRUE(computeSchemeColor(-1e300, std::nan(""), 1).isValid());
}

TEST(GLIFColorFunctions, SplitsSetShadesOrLeaveThem) {
    double s = 7, b = 7;
    computeColorQuadSplit(0.25, 0.75, 0.25, &s, &b);  // on the edge: outside the open band
    computeColorSBSplit(-0.1, 0.0, &s, &b);           // negative step: left as well
    EXPECT_EQ(std::make_pair(s, b), std::make_pair(7.0, 7.0));
    computeColorQuadSplit(0.25, 0.75, 0.60, &s, &b);
    EXPECT_EQ(std::make_pair(s, b), std::make_pair(1.0, 0.5));
    computeColorQuadSplit(0.25, 0.75, 0.74, &s, &b);
    EXPECT_EQ(std::make_pair(s, b), std::make_pair(1.0, 1.0));
    computeColorSBSplit(0.45, 0.0, &s, &b);  // 5.4 -> 5 % 4 = 1
    EXPECT_EQ(std::make_pair(s, b), std::make_pair(0.5, 1.0));
}

TEST(GLIFColorFunctions, ColorToMemFollowsTheSectorTable) {
    EXPECT_EQ(toMem(0.0), (std::array<int, 4>{255, 0, 0, 255}));
    EXPECT_EQ(toMem(0.5), (std::array<int, 4>{0, 255, 255, 255}));
    EXPECT_EQ(toMem(0.25), (std::array<int, 4>{128, 255, 0, 255}));  // c = 382, L = 126
    EXPECT_EQ(toMem(0.4), (std::array<int, 4>{0, 255, 102, 255}));   // c = 612, L = 100
    EXPECT_EQ(toMem(0.7), (std::array<int, 4>{51, 0, 255, 255}));    // c = 1071, L = 47
    EXPECT_EQ(toMem(0.9), (std::array<int, 4>{255, 0, 153, 255}));   // c = 1377, L = 97
    EXPECT_EQ(toMem(1.0), (std::array<int, 4>{255, 0, 0, 255}));     // sector 6, L = 250
    // The range maps t onto min..max: t = 0.5 over 0.2..0.6 is hue 0.4.
    EXPECT_EQ(toMem(0.5, 0.2, 0.6), toMem(0.4));
    // Sectors truncate toward zero: hue -0.1 is still sector 0 (L = -153 & 255 = 103), hue
    // -0.2 falls into the last row (L = -306 & 255 = 206).
    EXPECT_EQ(toMem(-0.1), (std::array<int, 4>{255, 103, 0, 255}));
    EXPECT_EQ(toMem(-0.2), (std::array<int, 4>{255, 0, 44, 255}));
    computeColorToMem(nullptr, 0.5, 0, 1);
}

TEST(GLIFColorFunctions, ColorToMemAgreesWithTheRangeColour) {
    // The fast table must track the exact HSB colour round the whole wheel; a wrong offset
    // or sector shows up as a jump of many steps.
    for (int i = 0; i < 1000; ++i) {
        const double t = i / 1000.0;
        const auto bytes = toMem(t, 0.1, 0.9);
        const QColor exact = computeColor(t, 0.1, 0.9);
        EXPECT_NEAR(bytes[0], exact.redF() * 255.0, 3.0) << t;
        EXPECT_NEAR(bytes[1], exact.greenF() * 255.0, 3.0) << t;
        EXPECT_NEAR(bytes[2], exact.blueF() * 255.0, 3.0) << t;
    }
    expectRgb(computeBWColor(0.5, 2.0 / 3.0), 0.0, 0.0, 0.5);
}

TEST(GLIFColorFunctions, RotationAndRandomFractions) {
    double x = 2, y = 1;
    rotatePoint(&x, &y, M_PI / 2, 1, 1);
    EXPECT_NEAR(x, 1.0, 1e-12);
    EXPECT_NEAR(y, 2.0, 1e-12);

    std::srand(7);
    float first[16];
    for (float& f : first) {
        f = randomFraction();
        EXPECT_GE(f, 0.0f);
        EXPECT_LE(f, 1.0f);
    }
    std::srand(7);
    const int raw = std::rand();
    EXPECT_NEAR(first[0], raw / 2147483648.0, 1e-7);
    std::srand(7);
    for (const float f : first)
        EXPECT_EQ(randomFraction(), f);
}
