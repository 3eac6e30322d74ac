#include "generators/GLIFColorFunctions.h"

#include <cmath>
#include <cstdlib>

namespace cif {

namespace {

// NaN fails both comparisons and becomes 0.
double clampUnit(float v) {
    return v > 0.0f ? (v < 1.0f ? double(v) : 1.0) : 0.0;
}

// Integer percent of a fraction, remainder 100 with the sign of the dividend.
int percent(double fraction) {
    return truncateToInt(fraction * 100.0) % 100;
}

}  // namespace

QColor colorFromHSB(float hue, float saturation, float brightness, float alpha) {
    const double h = clampUnit(hue);
    const double s = clampUnit(saturation);
    const double v = clampUnit(brightness);
    // Hue 1 is the same angle as hue 0.
    const double sector = h >= 1.0 ? 0.0 : h * 6.0;
    const int i = int(sector);
    const double f = sector - i;
    const double p = v * (1.0 - s);
    const double q = v * (1.0 - s * f);
    const double t = v * (1.0 - s * (1.0 - f));
    double r = v, g = t, b = p;
    switch (i) {
        case 1:
            r = q, g = v, b = p;
            break;
        case 2:
            r = p, g = v, b = t;
            break;
        case 3:
            r = p, g = q, b = v;
            break;
        case 4:
            r = t, g = p, b = v;
            break;
        case 5:
            r = v, g = p, b = q;
            break;
        default:
            break;
    }
    return QColor::fromRgbF(float(r), float(g), float(b), float(clampUnit(alpha)));
}

float randomFraction() {
    return float(std::rand()) * 4.656613e-10f;
}

QColor computeColor(double t, double min, double max) {
    const double hue = min + (max - min) * t;
    return colorFromHSB(float(hue), 1.0f, 1.0f);
}

QColor computeSchemeColor(double value, double key, int scheme) {
    double hue = 0.0;
    double saturation = 1.0;
    double brightness = 1.0;
    switch (scheme) {
        case 0: {
            // The key hue over one half of the positions, its complement over the other;
            // each half is split into four shades.
            const int v = percent(value);
            const int k = percent(key);
            const int lo = (k + 25) % 100;
            const int hi = (k + 75) % 100;
            const double complement = ((k + 50) % 100) / 100.0;
            if (lo < hi) {
                if (lo <= v && v <= hi) {
                    hue = complement;
                    computeColorQuadSplit(lo / 100.0, hi / 100.0, v / 100.0, &saturation,
                                          &brightness);
                } else {
                    hue = k / 100.0;
                    const int shifted = v < lo ? v + 25 : v - 25;
                    computeColorQuadSplit(lo / 100.0, hi / 100.0, shifted / 100.0, &saturation,
                                          &brightness);
                }
            } else {
                const int m = (k - 25) % 100;
                hue = (m <= v && v <= lo) ? k / 100.0 : complement;
                computeColorQuadSplit(m / 100.0, lo / 100.0, (v + 25) / 100.0, &saturation,
                                      &brightness);
            }
            break;
        }
        case 1:
        case 2: {
            // Three or four hues spaced evenly from the key. Only a negative distance wraps
            // the hue back into 0..1.
            const int sectors = scheme == 1 ? 3 : 4;
            const int k = percent(key);
            const int d = (percent(value) - k) % 100;
            double fraction = 0.0;
            if (d < 0) {
                const int wrapped = (d + 100) % 100;
                const double q = std::floor(wrapped / 100.0 * sectors);
                const double unwrapped = q / sectors + k / 100.0;
                hue = percent(unwrapped) / 100.0;
                fraction = wrapped / 100.0;
            } else {
                const double q = std::floor(d / 100.0 * sectors);
                hue = q / sectors + k / 100.0;
                fraction = d / 100.0;
            }
            computeColorSBSplit(fraction, key, &saturation, &brightness);
            break;
        }
        case 3:
            hue = key;
            switch (truncateToInt(value * 4.0)) {
                case 1:
                    saturation = 0.5, brightness = 1.0;
                    break;
                case 2:
                    saturation = 1.0, brightness = 0.5;
                    break;
                case 3:
                    saturation = 0.5, brightness = 0.5;
                    break;
                default:
                    break;
            }
            break;
        case 4:
            hue = key;
            brightness = value;
            break;
        case 5:
            hue = key;
            saturation = value;
            break;
        case 6:
            hue = key;
            saturation = brightness = value / 5.0 + 0.8;
            break;
        default:
            hue = value;
            break;
    }
    return colorFromHSB(float(hue), float(saturation), float(brightness));
}

void computeColorQuadSplit(double a, double b, double x, double* saturation, double* brightness) {
    if (!saturation || !brightness || !(a < x && x < b)) return;
    const double d = x - a;
    const double w = b - a;
    if (d < w * 0.25) {
        *saturation = 0.5, *brightness = 0.5;
    } else if (d < 2.0 * w * 0.25) {
        *saturation = 0.5, *brightness = 1.0;
    } else if (d < 3.0 * w * 0.25) {
        *saturation = 1.0, *brightness = 0.5;
    } else {
        *saturation = 1.0, *brightness = 1.0;
    }
}

void computeColorSBSplit(double fraction, double /*key*/, double* saturation, double* brightness) {
    if (!saturation || !brightness) return;
    // Twelve steps per unit: they drift against the three or four hue sectors of the
    // schemes that use this, which varies the shades from sector to sector.
    switch (truncateToInt(fraction * 3.0 * 4.0) % 4) {
        case 0:
            *saturation = 0.5, *brightness = 0.5;
            break;
        case 1:
            *saturation = 0.5, *brightness = 1.0;
            break;
        case 2:
            *saturation = 1.0, *brightness = 0.5;
            break;
        case 3:
            *saturation = 1.0, *brightness = 1.0;
            break;
        default:
            break;
    }
}

QColor computeBWColor(double brightness, double hue) {
    return colorFromHSB(float(hue), 1.0f, float(brightness));
}

void rotatePoint(double* x, double* y, double angle, double cx, double cy) {
    if (!x || !y) return;
    const double dx = *x - cx;
    const double dy = *y - cy;
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    *x = c * dx - s * dy + cx;
    *y = s * dx + c * dy + cy;
}

}  // namespace cif
