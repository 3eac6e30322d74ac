#include "generators/GLIF_Biomorph.h"

#include <algorithm>
#include <cmath>

#include "generators/GLIFColorFunctions.h"
#include "generators/GLIFTopDownRows.h"
#include "generators/complex.h"

namespace cif {

namespace {

const QString kCReal = QStringLiteral("GLIFCReal");
const QString kCImag = QStringLiteral("GLIFCImag");
constexpr int kMaxIterations = 50;

// The default background published for "GLIFBackgroundColor": a dark red.
const QColor kDefaultBackground = QColor::fromRgbF(161 / 255.0f, 20 / 255.0f, 32 / 255.0f);

}  // namespace

GLIF_Biomorph::GLIF_Biomorph() {
    _bNeedUpdateCashe = true;
}

std::span<const GLIFInput<GLIF_Biomorph>> GLIF_Biomorph::inputTable() {
    using G = GLIF_Biomorph;
    // c is read as 64-bit numbers and only when "GLIFCReal" is given (see below), so its two
    // rows name no field.
    static constexpr GLIFInput<G> table[] = {
        {"GLIFResolution", GLIFKind::Integer, 1, 5, 1, &G::_iResolution, 2},
        {"GLIFCReal", GLIFKind::Float, -10.0, 10.0, -1.65},
        {"GLIFCImag", GLIFKind::Float, -10.0, 10.0, 0.47},
        {"GLIFColorRangeMin", GLIFKind::Float, 0.0, 1.0, 0.0},
        {"GLIFColorRangeMax", GLIFKind::Float, 0.0, 1.0, 0.28},
        {"GLIFUseBackgroundColor", GLIFKind::Boolean, 0, 1, 1},
        {"GLIFBackgroundColor", GLIFKind::Colour, 0, 0, 0},
    };
    return table;
}

QVariantMap GLIF_Biomorph::GLIFQueryAttributes() const {
    QVariantMap description = GLIFGenerator::GLIFQueryAttributes();
    description.insert(
        QStringLiteral("GLIFBackgroundColor"),
        QVariantMap{{QStringLiteral("GLIFDefValue"), QVariant::fromValue(kDefaultBackground)}});
    return description;
}

HostImage GLIF_Biomorph::GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width,
                                                              int height,
                                                              const QVariantMap& attributes) {
    GLIFCoreObject::GLIFOutputImageWidthHeightAttributes(image, width, height, attributes);
    takeSizeFromImage(image, width, height);
    setInputDefaults();
    _dCReal = 1.00003;
    _dCImag = 1.01828;
    readInputs(attributes);
    // Both parts of c are read only when the real part is given.
    if (attributes.contains(kCReal)) {
        const auto row = [](const QString& key) {
            const auto table = inputTable();
            return *std::find_if(table.begin(), table.end(), [&](const auto& input) {
                return key == QLatin1String(input.key);
            });
        };
        readDouble(attributes, kCReal, _dCReal);
        readDouble(attributes, kCImag, _dCImag);
        _dCReal = boundedValue(row(kCReal), _dCReal);
        _dCImag = boundedValue(row(kCImag), _dCImag);
    }
    _iResolution = std::max(_iResolution, 1);
    GLIFUpdateCasheWidthHeight(attributes, width, height);
    return drawBiomorph(width, height, float(_dCReal), float(_dCImag), _iResolution);
}

HostImage GLIF_Biomorph::drawBiomorph(int width, int height, float cReal, float cImag,
                                      int resolution) {
    const std::int64_t cells = std::int64_t(width) * height;
    if (!_bNeedUpdateCashe && prefetchBufferCells() != cells) _bNeedUpdateCashe = true;
    if (_bNeedUpdateCashe && !allocatePrefetchBuffer(cells, PrefetchFill::Bytes0x40)) {
        qWarning("%s", qUtf8Printable(cantGenerateMessage()));
        return {};
    }
    return generateBitmapImage(width, height, [&](RGBABitmap& bitmap) {
        fillBackground(bitmap);
        if (_bNeedUpdateCashe)
            iterate(bitmap, width, height, cReal, cImag, resolution);
        else
            recolour(bitmap, width, height);
    });
}

void GLIF_Biomorph::iterate(RGBABitmap& bitmap, int width, int height, float cReal, float cImag,
                            int step) {
    const GLIFTopDownRows rows(bitmap);
    double* field = GLIFPrefetchBuffer();
    const int halfWidth = width / 2, halfHeight = height / 2;
    complex z;
    const complex c(cReal, cImag);
    for (int b = -halfHeight; b < halfHeight; b += step) {
        const int row = b + halfHeight;
        for (int a = -halfWidth; a < halfWidth; a += step) {
            const int column = a + halfWidth;
            z.setdata(float(a) * 0.01f, float(b) * 0.01f);
            int n = 0;
            while (true) {
                const float r = z.getreal(), i = z.getimaginary();
                if (r * r >= 70.0 || i * i >= 70.0 || n == kMaxIterations) break;
                ++n;
                // z^4 + c written out by components.
                z.setdata(r * r * r * r + i * i * i * i - 6.0f * r * r * i * i + c.getreal(),
                          4.0f * r * r * r * i - 4.0f * r * i * i * i + c.getimaginary());
            }
            if (!(std::fabs(z.getreal()) > 10.0 || std::fabs(z.getimaginary()) > 1000.0)) continue;
            // A start point already outside (n = 0, only beyond 1000 pixels from the centre)
            // takes the range's upper end.
            const double v = n == 0 ? 1.0 : double(1.0f / float(n));
            unsigned char colour[4];
            computeColorToMem(colour, v, _colorRangeMin, _colorRangeMax);
            const int x1 = step == 1 ? column + 1 : std::min(column + step, width);
            const int y1 = step == 1 ? row + 1 : std::min(row + step, height);
            for (int x = column; x < x1; ++x)
                for (int y = row; y < y1; ++y) {
                    std::copy(colour, colour + 4, rows.pixel(x, y));
                    field[std::int64_t(x) * height + y] = v;
                }
        }
    }
}

void GLIF_Biomorph::recolour(RGBABitmap& bitmap, int width, int height) const {
    const GLIFTopDownRows rows(bitmap);
    const double* field = _prefetchBuffer.get();
    for (int y = 0; y < height; ++y) {
        unsigned char* out = rows.row(y);
        for (int x = 0; x < width; ++x, out += 4) {
            const double v = field[std::int64_t(x) * height + y];
            // Cells above 1 (the 0x40 fill) were never reached.
            if (v <= 1.0) computeColorToMem(out, v, _colorRangeMin, _colorRangeMax);
        }
    }
}

void GLIF_Biomorph::fillBackground(RGBABitmap& bitmap) const {
    if (!_useBackColor || !_backColor) return;
    const QColor c = _backColor->toRgb();
    const unsigned char bytes[4] = {
        static_cast<unsigned char>(c.red()), static_cast<unsigned char>(c.green()),
        static_cast<unsigned char>(c.blue()), static_cast<unsigned char>(c.alpha())};
    for (int y = 0; y < bitmap.height(); ++y) {
        unsigned char* out = bitmap.row(y);
        for (int x = 0; x < bitmap.width(); ++x)
            std::copy(bytes, bytes + 4, out + 4 * x);
    }
}

}  // namespace cif
