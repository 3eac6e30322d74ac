#include "generators/GLIF_SandGlass.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "generators/GLIFColorFunctions.h"
#include "generators/GLIFRandomSequence.h"
#include "generators/GLIFTopDownRows.h"

namespace cif {

namespace {

// The fractional part of t times 255; formulas 2 and 3 divide by tan(0) at the quarter's
// corner, and that value (not a number) counts as 0.
double fractionTimes255(float t) {
    if (std::isnan(t)) return 0.0;
    return double((t - float(truncateToInt(t))) * 255.0f);
}

}  // namespace

GLIF_SandGlass::GLIF_SandGlass() {
    _bNeedUpdateCashe = true;
}

std::span<const GLIFInput<GLIF_SandGlass>> GLIF_SandGlass::inputTable() {
    using G = GLIF_SandGlass;
    static constexpr GLIFInput<G> table[] = {
        {"GLIFFactor", GLIFKind::Float, 0.01, 10.0, 1.83, &G::_iFactor, 1.0},
        {"GLIFShapesType", GLIFKind::Integer, 0, 4, 2, &G::_shapesType, 0},
        {"GLIFColorRangeMin", GLIFKind::Float, 0.0, 1.0, 0.0},
        {"GLIFColorRangeMax", GLIFKind::Float, 0.0, 1.0, 1.0},
    };
    return table;
}

HostImage GLIF_SandGlass::GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width,
                                                               int height,
                                                               const QVariantMap& attributes) {
    GLIFCoreObject::GLIFOutputImageWidthHeightAttributes(image, width, height, attributes);
    takeSizeFromImage(image, width, height);
    setInputDefaults();
    readInputs(attributes);
    GLIFUpdateCasheWidthHeight(attributes, width, height);
    return sandGlassGenerator(width, height);
}

double GLIF_SandGlass::formulaValue(int x, int y, int& random) const {
    const int u = x + y, d = x - y;
    const std::int64_t p = std::int64_t(x) * y;
    const float f = _iFactor;
    switch (_shapesType) {
        case 0: {
            if (y == 0) return 0.0;
            const int t = truncateToInt(float(std::int64_t(x) * x / y) * f);
            return t % 256;
        }
        case 1:
            return (std::sin(double(p) / 10000.0 * f) + 1.0) * 127.5;
        case 2: {
            float t = float(std::fabs(std::tan(d / 100.0 * f) / std::tan(u / 100.0)));
            if (t > 2.0f) t = 0.0f;
            return fractionTimes255(t);
        }
        case 3: {
            float t =
                float(std::fabs(std::tan(double(p) / 100.0 * f / 200.0) / std::tan(u / 100.0)));
            if (t > 3.5f) t = 0.0f;
            return fractionTimes255(t);
        }
        default: {
            const int t = truncateToInt(float(u % 256) + float(random % 20 - 10) * f);
            return t % 256;
        }
    }
}

HostImage GLIF_SandGlass::sandGlassGenerator(int width, int height) {
    const int qw = width / 2, qh = height / 2;
    const std::int64_t cells = std::int64_t(qw) * qh;
    if (cells <= 0) return generateBitmapImage(width, height, {});
    if (!_bNeedUpdateCashe && prefetchBufferCells() != cells) _bNeedUpdateCashe = true;
    if (_bNeedUpdateCashe) {
        if (!allocatePrefetchBuffer(cells, PrefetchFill::None)) {
            qWarning("%s", qUtf8Printable(cantGenerateMessage()));
            return {};
        }
        double* field = GLIFPrefetchBuffer();
        const bool drawsRandom = _shapesType < 0 || _shapesType > 3;
        GLIFRandomSequence random;
        // Row by row, as the random numbers of the last formula are drawn.
        for (int y = 0; y < qh; ++y)
            for (int x = 0; x < qw; ++x) {
                int r = drawsRandom ? random.next() : 0;
                field[std::int64_t(qh) * x + y] = formulaValue(x, y, r);
            }
    }

    // The quarter, opaque, rows top-down.
    std::vector<unsigned char> quarter(size_t(cells) * 4);
    const double* field = GLIFPrefetchBuffer();
    for (int y = 0; y < qh; ++y)
        for (int x = 0; x < qw; ++x)
            computeColorToMem(quarter.data() + (size_t(y) * qw + x) * 4,
                              field[std::int64_t(qh) * x + y] / 255.0, _colorRangeMin,
                              _colorRangeMax);

    // The four copies about the centre (qw, qh), counted from the bottom-left corner: the
    // quarter itself above and right of it (its top row at the top), turned half round below
    // and left, and mirrored left-right above-left and top-bottom below-right. So the quarter's
    // first column lies along the vertical centre line and its first row along the top and
    // bottom edges. With an odd width or height the last column, or the top row, is left
    // transparent.
    return generateBitmapImage(width, height, [&](RGBABitmap& bitmap) {
        for (int fromBottom = 0; fromBottom < 2 * qh; ++fromBottom) {
            const int y = fromBottom >= qh ? 2 * qh - 1 - fromBottom : fromBottom;
            const unsigned char* source = quarter.data() + size_t(y) * qw * 4;
            unsigned char* out = bitmap.row(fromBottom);
            for (int x = 0; x < qw; ++x) {
                std::memcpy(out + size_t(qw + x) * 4, source + size_t(x) * 4, 4);
                std::memcpy(out + size_t(qw - 1 - x) * 4, source + size_t(x) * 4, 4);
            }
        }
    });
}

}  // namespace cif
