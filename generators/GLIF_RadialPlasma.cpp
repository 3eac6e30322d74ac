#include "generators/GLIF_RadialPlasma.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "generators/GLIFColorFunctions.h"

namespace cif {

namespace {

// The polar noise grid: angle steps around the centre (periodic) and radius steps from the
// centre to the picture's corner.
constexpr int kAngles = 512;
constexpr int kRadii = 256;
// Octaves of the noise: octave o has (8 << o) lattice cells around and (2 << o) outwards.
constexpr int kOctaves = 6;
// Rings of the undistorted gradient between the centre and the corner.
constexpr double kRings = 3.0;

// atan2(y, x) / 2pi + 0.5, the turn of (x, y) about the origin in [0, 1], within 2e-6 of
// a turn: a polynomial on the octant (error below 1e-5 radians) instead of the library's
// atan2, which dominates the field's cost; plain arithmetic, so every machine agrees.
double turnOf(double y, double x) {
    const double ax = std::abs(x), ay = std::abs(y);
    const double big = std::max(ax, ay);
    if (big == 0.0) return 0.5;
    const double z = std::min(ax, ay) / big, z2 = z * z;
    double a =
        z * (0.9998660 + z2 * (-0.3302995 + z2 * (0.1801410 + z2 * (-0.0851330 + z2 * 0.0208351))));
    if (ay > ax) a = std::numbers::pi / 2 - a;
    if (x < 0.0) a = std::numbers::pi - a;
    if (y < 0.0) a = -a;
    return a / (2.0 * std::numbers::pi) + 0.5;
}

double smooth(double t) {
    return t * t * (3.0 - 2.0 * t);
}

// Fractal value noise on the polar grid, kAngles x kRadii values in [0, 1], angle-major.
// Finer octaves weigh persistence^o; the lattice values come from the random sequence,
// octave by octave, angle-major.
std::vector<float> polarNoise(double persistence) {
    std::vector<double> sum(std::size_t(kAngles) * kRadii, 0.0);
    double weight = 1.0, total = 0.0;
    for (int o = 0; o < kOctaves; ++o) {
        const int around = 8 << o, out = (2 << o) + 1;
        std::vector<float> lattice(std::size_t(around) * out);
        for (float& v : lattice)
            v = randomFraction();
        const auto at = [&](int i, int j) {
            return double(lattice[std::size_t(i % around) * out + std::size_t(j)]);
        };
        for (int a = 0; a < kAngles; ++a) {
            const double u = double(a) * around / kAngles;
            const int i = int(u);
            const double fu = smooth(u - i);
            for (int r = 0; r < kRadii; ++r) {
                const double v = double(r) * (out - 1) / (kRadii - 1);
                const int j = std::min(int(v), out - 2), j1 = j + 1;
                const double fv = smooth(v - j);
                const double lo = at(i, j) + (at(i + 1, j) - at(i, j)) * fu;
                const double hi = at(i, j1) + (at(i + 1, j1) - at(i, j1)) * fu;
                sum[std::size_t(a) * kRadii + r] += weight * (lo + (hi - lo) * fv);
            }
        }
        total += weight;
        weight *= persistence;
    }
    std::vector<float> noise(sum.size());
    for (std::size_t k = 0; k < sum.size(); ++k)
        noise[k] = float(sum[k] / total);
    return noise;
}

}  // namespace

GLIF_RadialPlasma::GLIF_RadialPlasma() {
    _bNeedUpdateCashe = true;
}

std::span<const GLIFInput<GLIF_RadialPlasma>> GLIF_RadialPlasma::inputTable() {
    using G = GLIF_RadialPlasma;
    static constexpr GLIFInput<G> table[] = {
        {"GLIFRoughness", GLIFKind::Integer, 0, 10, 5, &G::_roughness, 5},
        {"GLIFFadeOut", GLIFKind::Float, 0.0, 1.0, 0.0, &G::_fadeOut, 0.0},
        {"GLIFColorRangeMin", GLIFKind::Float, 0.0, 1.0, 0.0},
        {"GLIFColorRangeMax", GLIFKind::Float, 0.0, 1.0, 0.75},
        {"GLIFUseBackgroundColor", GLIFKind::Boolean, 0, 1, 0},
        {"GLIFBackgroundColor", GLIFKind::Colour, 0, 0, 0},
    };
    return table;
}

HostImage GLIF_RadialPlasma::GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width,
                                                                  int height,
                                                                  const QVariantMap& attributes) {
    GLIFCoreObject::GLIFOutputImageWidthHeightAttributes(image, width, height, attributes);
    takeSizeFromImage(image, width, height);
    setInputDefaults();
    readInputs(attributes);
    GLIFUpdateCasheWidthHeight(attributes, width, height);
    if (_bNeedUpdateCashe || prefetchBufferCells() != std::int64_t(width) * height) {
        if (!allocatePrefetchBuffer(std::int64_t(width) * height, PrefetchFill::Bytes0x40)) {
            qWarning("%s", qUtf8Printable(cantGenerateMessage()));
            // The record no longer describes a kept field.
            _preAttr.clear();
            return {};
        }
        computeField(width, height);
    }
    return generateBitmapImage(width, height,
                               [&](RGBABitmap& bitmap) { colour(bitmap, width, height); });
}

double GLIF_RadialPlasma::fadeAt(double dx, double dy, double rimRadius) const {
    const double fade = std::clamp(double(_fadeOut), 0.0, 1.0);
    if (fade <= 0.0) return 1.0;
    const double r = std::sqrt(dx * dx + dy * dy) / rimRadius;
    return std::clamp((1.0 - r) / fade, 0.0, 1.0);
}

void GLIF_RadialPlasma::computeField(int width, int height) {
    const double roughness = std::clamp(_roughness, 0, 10) / 10.0;
    const std::vector<float> noise = polarNoise(0.3 + 0.45 * roughness);
    // How far the noise pushes a pixel along the gradient, in rings.
    const double strength = 0.6 + 1.4 * roughness;
    const double cx = 0.5 * width, cy = 0.5 * height;
    const double corner = std::max(std::hypot(cx, cy), 0.5);
    const double rim = std::max(0.5 * std::min(width, height), 0.5);
    const bool fades = _fadeOut > 0.0f;
    double* field = GLIFPrefetchBuffer();
    for (int y = 0; y < height; ++y) {
        const double dy = y + 0.5 - cy;
        double* row = field + std::int64_t(y) * width;
        for (int x = 0; x < width; ++x) {
            const double dx = x + 0.5 - cx;
            const double distance = std::sqrt(dx * dx + dy * dy);
            // Faded out entirely: the cell keeps its fill and is painted empty.
            if (fades && distance >= rim) continue;
            const double r = distance / corner;
            const double u = turnOf(dy, dx) * kAngles, v = r * (kRadii - 1);
            const int i = std::min(int(u), kAngles - 1), j = std::min(int(v), kRadii - 2);
            const double fu = u - i, fv = std::min(v - j, 1.0);
            const float* a0 = &noise[std::size_t(i) * kRadii + j];
            const float* a1 = &noise[std::size_t((i + 1) % kAngles) * kRadii + j];
            const double lo = a0[0] + (a1[0] - a0[0]) * fu;
            const double hi = a0[1] + (a1[1] - a0[1]) * fu;
            const double n = lo + (hi - lo) * fv;
            // The rays converge at the centre; the noise eases in over the inner rings
            // so they do not pinch there.
            const double ease = smooth(std::min(r * kRings, 1.0));
            // Out and back through the range kRings times from the centre to the corner,
            // so the hue never jumps.
            const double w = r * kRings + (n - 0.5) * strength * ease;
            const double fold = w * 0.5 - std::floor(w * 0.5);
            row[x] = 1.0 - std::abs(1.0 - 2.0 * fold);
        }
    }
}

void GLIF_RadialPlasma::colour(RGBABitmap& bitmap, int width, int height) const {
    const double* field = _prefetchBuffer.get();
    if (!field) return;
    const bool back = _useBackColor && _backColor;
    unsigned char background[4] = {0, 0, 0, 0};
    if (back) {
        const QColor c = _backColor->toRgb();
        background[0] = static_cast<unsigned char>(c.red());
        background[1] = static_cast<unsigned char>(c.green());
        background[2] = static_cast<unsigned char>(c.blue());
        background[3] = static_cast<unsigned char>(c.alpha());
    }
    const double cx = 0.5 * width, cy = 0.5 * height;
    const double rim = std::max(0.5 * std::min(width, height), 0.5);
    // Within this distance of the centre nothing fades.
    const double fade = std::clamp(double(_fadeOut), 0.0, 1.0);
    const double solid = fade > 0.0 ? rim * (1.0 - fade) : 2.0 * std::hypot(cx, cy) + 1.0;
    for (int y = 0; y < height; ++y) {
        const double dy = y + 0.5 - cy;
        const double solidReach = solid * solid - dy * dy;
        const double* in = field + std::int64_t(y) * width;
        unsigned char* out = bitmap.row(y);
        for (int x = 0; x < width; ++x, out += 4) {
            const double value = in[x];
            // Above 1: a cell the field never reached.
            if (!(value <= 1.0)) {
                std::copy_n(background, 4, out);
                continue;
            }
            computeColorToMem(out, value, _colorRangeMin, _colorRangeMax);
            const double dx = x + 0.5 - cx;
            if (dx * dx < solidReach) continue;
            const double alpha = fadeAt(dx, dy, rim);
            if (alpha >= 1.0) continue;
            if (back) {
                // Straight alpha over the background colour.
                for (int c = 0; c < 4; ++c)
                    out[c] = static_cast<unsigned char>(
                        std::lround(background[c] + (out[c] - background[c]) * alpha));
            } else {
                out[3] = static_cast<unsigned char>(std::lround(255.0 * alpha));
            }
        }
    }
}

}  // namespace cif
