#pragma once
// The colour and geometry functions shared by the generators: range colours (a hue taken
// from a sub-range of the colour wheel), the seven colour schemes that turn an element's
// position into a colour around a key hue, and point rotation. All colours are opaque.
//
// Hue, saturation and brightness are fractions 0..1 and are turned into RGB by the usual
// HSB rule after being narrowed to 32-bit floats; components outside 0..1 are clamped, so
// a hue above 1 gives red (hue 1 = hue 0). Nothing here reads or writes shared state except
// randomFraction, which advances the process-wide rand() sequence.

#include <QColor>

namespace cif {

// The colour of hue, saturation and brightness (each clamped to 0..1, NaN read as 0) with
// the given alpha, by the usual HSB to RGB rule.
QColor colorFromHSB(float hue, float saturation, float brightness, float alpha = 1.0f);

// v truncated toward zero to an integer; NaN gives 0 and values beyond +-2^30 are clamped
// there, so the result can take part in integer arithmetic without overflow.
inline int truncateToInt(double v) {
    constexpr double limit = double(1 << 30);
    if (!(v == v)) return 0;
    if (v >= limit) return 1 << 30;
    if (v <= -limit) return -(1 << 30);
    return static_cast<int>(v);
}

// The next fraction of the process-wide rand() sequence, rand() x 4.656613e-10 in 32-bit
// float (rand() / 2^31, so in [0, 1)). The sequence is never seeded here.
float randomFraction();

// Hue min + (max - min) x t at full saturation and brightness.
QColor computeColor(double t, double min, double max);

// Writes the pure hue min + (max - min) x t as four bytes R, G, B, A (A = 255) at
// destination, with the fast sector table: hue x 1530 gives the position within the six
// sectors of 255 steps each. Nothing is written when destination is null.
// Inline: bitmap generators call it once per pixel.
inline void computeColorToMem(unsigned char* destination, double t, double min, double max) {
    if (!destination) return;
    const double hue = min + (max - min) * t;
    const int sector = truncateToInt(hue * 6.0);
    const int steps = truncateToInt(hue * 1530.0);
    // The low byte of the step count, taken as two's complement for negative hues. The
    // offsets below turn it into the position within the sector: each sector starts where
    // the previous one ended, 255 steps of 6 making 1530.
    const unsigned low = unsigned(steps) & 0xFFu;
    const auto byte = [](unsigned v) { return static_cast<unsigned char>(v & 0xFFu); };
    unsigned char r = 255, g = 0, b = byte(250u - low);
    switch (sector) {
        case 0:
            r = 255, g = byte(low), b = 0;
            break;
        case 1:
            r = byte(254u - low), g = 255, b = 0;
            break;
        case 2:
            r = 0, g = 255, b = byte(low + 2u);
            break;
        case 3:
            r = 0, g = byte(252u - low), b = 255;
            break;
        case 4:
            r = byte(low + 4u), g = 0, b = 255;
            break;
        default:
            break;
    }
    destination[0] = r;
    destination[1] = g;
    destination[2] = b;
    destination[3] = 255;
}

// The colour of the element at position value (0..1) under colour scheme scheme around the
// key hue key: 0 key against its complement, 1 three hues, 2 four hues, 3 one hue in four
// shades, 4 one hue by brightness, 5 one hue by saturation, 6 one hue light; any other
// number gives the rainbow hue value.
QColor computeSchemeColor(double value, double key, int scheme);

// Within the open band a < x < b, sets saturation and brightness by the quarter of the band
// x lies in: (0.5, 0.5), (0.5, 1), (1, 0.5), (1, 1). Outside the band, or for a null
// output, the outputs are left as they are.
void computeColorQuadSplit(double a, double b, double x, double* saturation, double* brightness);

// Sets saturation and brightness by step (fraction x 12 truncated) remainder 4, in the order
// of computeColorQuadSplit; a negative remainder leaves them. The key hue is not used.
void computeColorSBSplit(double fraction, double key, double* saturation, double* brightness);

// The colour of hue at full saturation and the given brightness.
QColor computeBWColor(double brightness, double hue);

// Rotates the point (*x, *y) by angle radians (counter-clockwise with y up) about
// (cx, cy). Nothing happens when x or y is null.
void rotatePoint(double* x, double* y, double angle, double cx, double cy);

}  // namespace cif
