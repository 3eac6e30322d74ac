#include "generators/GLIF_Plasma.h"

#include <QPainter>
#include <algorithm>
#include <cmath>
#include <numbers>

#include "generators/GLIFColorFunctions.h"

namespace cif {

namespace {

// Resolutions above this paint rectangles instead of pixels; it lies outside
// the published range.
constexpr int kRectangleResolution = 999;
// Blocks of the re-colouring pass, so the column-major field and the
// row-major bitmap are both walked within the cache.
constexpr int kRecolourBlock = 64;

// The bitmap's rows run top-down in memory, as the platform's bitmaps do:
// row y of the field is memory row y.
struct TopDownRows {
    TopDownRows(unsigned char* firstRow, std::ptrdiff_t rowStride)
        : first(firstRow), stride(rowStride) {}
    explicit TopDownRows(RGBABitmap& bitmap)
        : first(bitmap.row(bitmap.height() - 1)),
          stride(bitmap.height() > 1 ? bitmap.row(bitmap.height() - 2) - first : 0) {}
    unsigned char* pixel(int x, int y) const { return first + std::ptrdiff_t(y) * stride + 4 * x; }
    unsigned char* first;
    std::ptrdiff_t stride;
};

}  // namespace

GLIF_Plasma::GLIF_Plasma() {
    _bNeedUpdateCashe = true;
}

std::span<const GLIFInput<GLIF_Plasma>> GLIF_Plasma::inputTable() {
    // No background keys: the field covers every pixel. The defaults when absent differ
    // from the published ones and are set on every call.
    static constexpr GLIFInput<GLIF_Plasma> table[] = {
        {"GLIFSmoothness", GLIFKind::Integer, 0, 10, 5, &GLIF_Plasma::_iSmoothness, 3},
        {"GLIFResolution", GLIFKind::Integer, 1, 20, 1, &GLIF_Plasma::_dResolution, 5},
        {"GLIFShapesType", GLIFKind::Integer, 0, 3, 0, &GLIF_Plasma::_shapesType, 0},
        {"GLIFColorRangeMin", GLIFKind::Float, 0.0, 1.0, 0.0},
        {"GLIFColorRangeMax", GLIFKind::Float, 0.0, 1.0, 0.28},
    };
    return table;
}

HostImage GLIF_Plasma::GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width,
                                                            int height,
                                                            const QVariantMap& attributes) {
    GLIFCoreObject::GLIFOutputImageWidthHeightAttributes(image, width, height, attributes);
    takeSizeFromImage(image, width, height);
    setInputDefaults();
    readInputs(attributes);
    GLIFUpdateCasheWidthHeight(attributes, width, height);
    m_rowsBitmap = nullptr;
    return _shapesType < 2 ? plasmaGenerator(image, width, height)
                           : plasmaSineGenerator(image, width, height);
}

// ---- random midpoint displacement

HostImage GLIF_Plasma::plasmaGenerator(const HostImage*, int width, int height) {
    if (_dResolution < 1) _dResolution = 1;
    if (_bNeedUpdateCashe &&
        !allocatePrefetchBuffer(std::int64_t(width) * height, PrefetchFill::None)) {
        qWarning("%s", qUtf8Printable(cantGenerateMessage()));
        return {};
    }
    // The corners are drawn on every call, so a re-colouring call still
    // advances the random sequence by four.
    const float c1 = randomFraction(), c2 = randomFraction();
    const float c3 = randomFraction(), c4 = randomFraction();
    const float w = float(width), h = float(height);
    if (_dResolution > kRectangleResolution)
        return drawDirectImage(width, height, [&](QPainter& painter, const QRectF&) {
            m_painter = &painter;
            divideGrid(0, 0, w, h, c1, c2, c3, c4, width, height, nullptr);
            m_painter = nullptr;
        });
    return generateBitmapImage(width, height, [&](RGBABitmap& bitmap) {
        if (_bNeedUpdateCashe)
            divideGrid(0, 0, w, h, c1, c2, c3, c4, width, height, &bitmap);
        else
            recolour(bitmap, width, height);
    });
}

void GLIF_Plasma::divideGrid(float x, float y, float w, float h, float c1, float c2, float c3,
                             float c4, int fullWidth, int fullHeight, RGBABitmap* bitmap) {
    const float hw = w * 0.5f, hh = h * 0.5f;
    const float a = (c1 + c2 + c3 + c4) * 0.25f;
    const int r = _dResolution;
    if (!(w > float(r)) && !(h > float(r))) {
        if (r > kRectangleResolution) {
            if (m_painter)
                m_painter->fillRect(QRectF(int(x), int(y), r + 0.5, r + 0.5),
                                    computeColor(a, _colorRangeMin, _colorRangeMax));
            return;
        }
        if (!bitmap) return;
        if (r < 2) {
            writeBlock(*bitmap, int(x), int(x) + 1, int(y), int(y) + 1, fullHeight, a);
            return;
        }
        writeBlock(*bitmap, int(x), int(std::min(x + float(r) + 0.5f, float(fullWidth))), int(y),
                   int(std::min(float(r) + y + 0.5f, float(fullHeight))), fullHeight, a);
        return;
    }
    const float e = std::clamp(a + displace(hw + hh, fullWidth, fullHeight), 0.0f, 1.0f);
    const float top = (c1 + c2) / 2, right = (c2 + c3) / 2, bottom = (c3 + c4) / 2,
                left = (c1 + c4) / 2;
    divideGrid(x, y, hw, hh, c1, top, e, left, fullWidth, fullHeight, bitmap);
    divideGrid(x + hw, y, hw, hh, top, c2, right, e, fullWidth, fullHeight, bitmap);
    divideGrid(x + hw, y + hh, hw, hh, e, right, c3, bottom, fullWidth, fullHeight, bitmap);
    divideGrid(x, y + hh, hw, hh, left, e, bottom, c4, fullWidth, fullHeight, bitmap);
}

float GLIF_Plasma::displace(float amount, int fullWidth, int fullHeight) const {
    const float s = float(_iSmoothness);
    const float size = float(fullWidth + fullHeight);
    switch (_shapesType) {
        case 0:
            return (randomFraction() - 0.5f) * s * amount / size;
        case 1: {
            const float f1 = randomFraction();
            const float f2 = randomFraction();
            return (f1 - 0.5f) *
                   std::sin((f2 - 0.5f) + amount / size * s * 2.0f * std::numbers::pi_v<float>);
        }
        default:
            return 0.0f;
    }
}

// ---- sine tables

HostImage GLIF_Plasma::plasmaSineGenerator(const HostImage*, int width, int height) {
    if (_dResolution < 1) _dResolution = 1;
    if (_bNeedUpdateCashe &&
        !allocatePrefetchBuffer(std::int64_t(width) * height, PrefetchFill::None)) {
        qWarning("%s", qUtf8Printable(cantGenerateMessage()));
        return {};
    }
    // Out of range: no bitmap, so the picture comes back empty.
    if (_dResolution > kRectangleResolution)
        return drawDirectImage(width, height, [](QPainter&, const QRectF&) {});
    return generateBitmapImage(width, height, [&](RGBABitmap& bitmap) {
        if (!_bNeedUpdateCashe) {
            recolour(bitmap, width, height);
            return;
        }
        const int r1 = std::rand(), r2 = std::rand(), r3 = std::rand();
        const double s = _iSmoothness;
        for (int i = 0; i < 512; ++i) {
            const double a = i * 0.01227184630308513;
            SIN[size_t(i)] = int((std::sin(a * s) + std::sin(2 * a)) * 64.0 + 128.0);
            COS[size_t(i)] = int((std::sin(a * s) + std::sin(-2 * a)) * 64.0 + 128.0);
        }
        divideSinePlasma(1, r1 % 255 + 1, r2 % 255 - 1, r3 % 255 - 1, width, height, bitmap);
    });
}

void GLIF_Plasma::divideSinePlasma(int a1, int a2, int a3, int a4, int width, int height,
                                   RGBABitmap& bitmap) {
    const int r = _dResolution;
    // Indices keep their low 9 bits, as two's complement wraps them.
    const auto at = [](const std::array<int, 512>& table, int i) { return table[size_t(i & 511)]; };
    int p = a2, q = a1;
    for (int j = 0; j < height; ++j) {
        p &= 511;
        q &= 511;
        int u = p + a3, v = a4 - p;
        const int base = at(COS, q) + at(COS, p) - at(SIN, q + p);
        for (int i = 0; i < width; i += r) {
            v -= r;
            u += 2 * r;
            const int value = at(SIN, u) + base - at(COS, v);
            const double f = std::clamp((value + 200) / 760.0, 0.0, 1.0);
            if (r < 2)
                writeBlock(bitmap, i, i + 1, j, j + 1, height, f);
            else
                writeBlock(bitmap, i, int(std::min(i + r + 0.5, double(width))), j,
                           int(std::min(j + r + 0.5, double(height))), height, f);
        }
        q = (q & 511) + 3;
        p = (p & 511) - 2;
    }
}

// ---- pixels

void GLIF_Plasma::writeBlock(RGBABitmap& bitmap, int x0, int x1, int y0, int y1, int height,
                             double value) {
    unsigned char colour[4];
    computeColorToMem(colour, value, _colorRangeMin, _colorRangeMax);
    double* field = GLIFPrefetchBuffer();
    // Called once per pixel: the row addresses are looked up once per bitmap.
    if (m_rowsBitmap != &bitmap) {
        const TopDownRows lookup(bitmap);
        m_rowsFirst = lookup.first;
        m_rowsStride = lookup.stride;
        m_rowsBitmap = &bitmap;
    }
    const TopDownRows rows{m_rowsFirst, m_rowsStride};
    x1 = std::min(x1, bitmap.width());
    y1 = std::min(y1, bitmap.height());
    for (int x = std::max(x0, 0); x < x1; ++x)
        for (int y = std::max(y0, 0); y < y1; ++y) {
            std::copy(colour, colour + 4, rows.pixel(x, y));
            if (field) field[std::int64_t(x) * height + y] = value;
        }
}

void GLIF_Plasma::recolour(RGBABitmap& bitmap, int width, int height) {
    const double* field = GLIFPrefetchBuffer();
    if (!field || prefetchBufferCells() < std::int64_t(width) * height) return;
    const TopDownRows rows(bitmap);
    for (int y0 = 0; y0 < height; y0 += kRecolourBlock)
        for (int x0 = 0; x0 < width; x0 += kRecolourBlock) {
            const int y1 = std::min(y0 + kRecolourBlock, height);
            const int x1 = std::min(x0 + kRecolourBlock, width);
            for (int y = y0; y < y1; ++y) {
                unsigned char* out = rows.pixel(x0, y);
                const double* in = field + std::int64_t(x0) * height + y;
                for (int x = x0; x < x1; ++x, out += 4, in += height)
                    computeColorToMem(out, *in, _colorRangeMin, _colorRangeMax);
            }
        }
}

}  // namespace cif
