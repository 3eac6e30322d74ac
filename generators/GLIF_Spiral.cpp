#include "generators/GLIF_Spiral.h"

#include <QPainter>
#include <cmath>
#include <cstdlib>
#include <numbers>

#include "generators/GLIFColorFunctions.h"
#include "generators/GLIFTopDownRows.h"

namespace cif {

GLIF_Spiral::GLIF_Spiral() {
    _bNeedUpdateCashe = true;
}

std::span<const GLIFInput<GLIF_Spiral>> GLIF_Spiral::inputTable() {
    using G = GLIF_Spiral;
    // Absent keys take 1.0, 1.5 and 0, not the published defaults.
    static constexpr GLIFInput<G> table[] = {
        {"GLIFFactor", GLIFKind::Float, -20.0, 20.0, 1.41, &G::_fFactor, 1.0},
        {"GLIFRandomWind", GLIFKind::Float, -50.0, 50.0, 11.76, &G::_fRandomWind, 1.5},
        {"GLIFCurvature", GLIFKind::Integer, 0, 10, 0, &G::_iCurvature, 0},
        {"GLIFColorRangeMin", GLIFKind::Float, 0.0, 1.0, 0.02},
        {"GLIFColorRangeMax", GLIFKind::Float, 0.0, 1.0, 0.59},
        {"GLIFUseBackgroundColor", GLIFKind::Boolean, 0, 1, 0},
        {"GLIFBackgroundColor", GLIFKind::Colour, 0, 0, 1},
    };
    return table;
}

HostImage GLIF_Spiral::GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width,
                                                            int height,
                                                            const QVariantMap& attributes) {
    GLIFCoreObject::GLIFOutputImageWidthHeightAttributes(image, width, height, attributes);
    takeSizeFromImage(image, width, height);
    setInputDefaults();
    readInputs(attributes);
    GLIFUpdateCasheWidthHeight(attributes, width, height);
    return spiralGenerator(width, height);
}

HostImage GLIF_Spiral::spiralGenerator(int width, int height) {
    const std::int64_t cells = std::int64_t(width) * height;
    if (!_bNeedUpdateCashe && prefetchBufferCells() != cells) _bNeedUpdateCashe = true;
    if (_bNeedUpdateCashe && !allocatePrefetchBuffer(cells, PrefetchFill::Bytes0x40)) {
        qWarning("%s", qUtf8Printable(cantGenerateMessage()));
        return {};
    }
    HostImage rings = generateBitmapImage(width, height, [&](RGBABitmap& bitmap) {
        if (_bNeedUpdateCashe)
            drawRings(bitmap, width, height);
        else
            recolour(bitmap, width, height);
    });
    if (rings.isNull() || !_useBackColor || !_backColor) return rings;
    // The rings over the background.
    return drawDirectImage(width, height, [&](QPainter& painter, const QRectF& rect) {
        drawBackgroundInRect(painter, rect);
        drawImageUpright(painter, rect, rings);
    });
}

void GLIF_Spiral::drawRings(RGBABitmap& bitmap, int width, int height) {
    const GLIFTopDownRows rows(bitmap);
    double* field = GLIFPrefetchBuffer();
    const int cx = width / 2, cy = height / 2;
    const int outer = std::min(cx, cy);
    const double curvature = _fFactor > 0 ? -0.01 * _iCurvature : 0.01 * _iCurvature;
    constexpr double pi = std::numbers::pi;
    double start = 0.0;  // the ring's start angle
    for (unsigned r = 1; outer > int(r); ++r) {
        // About 2 pi^2 r / 1.3 points, 1.3 / pi pixels apart along the ring.
        const double step = 1.3 / (r * pi);
        for (double t = 0.0; t < 2 * pi; t += step) {
            const double angle = start + t;
            const int x = truncateToInt(cx + std::cos(angle) * r + 0.5);
            const int y = truncateToInt(cy + std::sin(angle) * r + 0.5);
            // 0 at the start of the ring, 1 half way round, back towards 0 at the end.
            const double v = 1.0 - std::fabs(2 * t / (2 * pi) - 1.0);
            if (x < 0 || x >= width || y < 0 || y >= height) continue;
            computeColorToMem(rows.pixel(x, y), v, _colorRangeMin, _colorRangeMax);
            field[y + std::int64_t(x) * height] = v;
        }
        // The next ring turns by the factor, a jitter of one random number and the
        // curvature at its radius.
        const double turn = _fFactor / 100.0;
        const double jitter = _fRandomWind * turn;
        const int q = std::rand();
        start = start + turn + jitter * ((q % 100) - 50) / -100.0 + ((r + 1) * curvature) / outer;
    }
}

void GLIF_Spiral::recolour(RGBABitmap& bitmap, int width, int height) const {
    const GLIFTopDownRows rows(bitmap);
    const double* field = _prefetchBuffer.get();
    for (int y = 0; y < height; ++y) {
        unsigned char* out = rows.row(y);
        for (int x = 0; x < width; ++x, out += 4) {
            const double v = field[y + std::int64_t(height) * x];
            // Cells off the rings keep the fill (above 1) and stay transparent.
            if (v <= 1.0) computeColorToMem(out, v, _colorRangeMin, _colorRangeMax);
        }
    }
}

}  // namespace cif
