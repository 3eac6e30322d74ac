#include "generators/GLIF_CircleRipples.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "generators/GLIFColorFunctions.h"

namespace cif {

std::span<const GLIFInput<GLIF_CircleRipples>> GLIF_CircleRipples::inputTable() {
    using G = GLIF_CircleRipples;
    // No background keys: the tiles cover every pixel. The values used when a key is absent
    // differ from the published defaults and are set on every call.
    static constexpr GLIFInput<G> table[] = {
        {"GLIFResolution", GLIFKind::Integer, 1, 25, 1, &G::_nResolution, 1},
        {"GLIFSize", GLIFKind::Integer, 5, 600, 101, &G::_dSize, 1},
        {"GLIFKoef", GLIFKind::Integer, 1, 40, 7, &G::_koef, 2},
        {"GLIFShapesType", GLIFKind::Integer, 0, 1, 0, &G::_GLIFType, 0},
        {"GLIFColorRangeMin", GLIFKind::Float, 0.0, 1.0, 0.0},
        {"GLIFColorRangeMax", GLIFKind::Float, 0.0, 1.0, 1.0},
    };
    return table;
}

HostImage GLIF_CircleRipples::GLIFOutputImageWidthHeightAttributes(const HostImage* image,
                                                                   int width, int height,
                                                                   const QVariantMap& attributes) {
    GLIFCoreObject::GLIFOutputImageWidthHeightAttributes(image, width, height, attributes);
    takeSizeFromImage(image, width, height);
    setInputDefaults();
    readInputs(attributes);
    if (_nResolution < 1) _nResolution = 1;
    return drawCircleRipples(width, height, _dSize, _nResolution, _colorRangeMin, _colorRangeMax,
                             _koef, _GLIFType);
}

HostImage GLIF_CircleRipples::drawCircleRipples(int width, int height, double size, int block,
                                                double min, double max, int koef, int type) {
    const int side = std::max(truncateToInt(size), 1);
    const int b = std::max(block, 1);
    const int k = std::max(koef, 1);
    const double s = std::max(size, 1.0);

    return generateBitmapImage(width, height, [&](RGBABitmap& bitmap) {
        // A block's value folds into one of `side` steps, so its colour is one of `side`
        // pixels, each made once.
        std::vector<std::uint32_t> palette(std::size_t(side), 0);
        for (int m = 0; m < side; ++m) {
            const QColor c = computeColor(double(m) / s, min, max);
            const unsigned char rgba[4] = {static_cast<unsigned char>(c.red()),
                                           static_cast<unsigned char>(c.green()),
                                           static_cast<unsigned char>(c.blue()), 255};
            std::memcpy(&palette[std::size_t(m)], rgba, 4);
        }

        // The quarter, row by row from the bottom. Only the part some visible copy reaches
        // is coloured: a picture narrower and lower than the quarter shows only its corner.
        const int n = std::min(side, std::max(width, height));
        std::vector<std::uint32_t> quarter(std::size_t(n) * std::size_t(n));
        for (int qy = 0; qy < n; ++qy) {
            std::uint32_t* row = &quarter[std::size_t(qy) * std::size_t(n)];
            if (qy % b != 0) {
                std::copy_n(row - n, n, row);
                continue;
            }
            const int y = qy;
            for (int x = 0; x < n; x += b) {
                // Both squares stay below 2^31 for any size the inputs allow.
                const int v = type == 0 ? x * x + y * y : x * x - y * y;
                const int a = std::abs(v);
                const std::uint32_t colour = palette[std::size_t((a / k) % side)];
                std::fill_n(row + x, std::min(b, n - x), colour);
            }
        }
        const auto q = [&](int qx, int qy) { return quarter[std::size_t(qy) * n + qx]; };

        // The tile's visible part: the quarter as it is in the lower-left quadrant, then
        // turned by a quarter, a half and three quarters about the tile's centre. The copies
        // meet at the centre with their far corners.
        const int tileSide = 2 * side;
        const int tw = std::min(tileSide, width), th = std::min(tileSide, height);
        std::vector<std::uint32_t> tile(std::size_t(tw) * std::size_t(th));
        for (int ty = 0; ty < th; ++ty) {
            std::uint32_t* row = &tile[std::size_t(ty) * std::size_t(tw)];
            for (int tx = 0; tx < tw; ++tx) {
                const bool right = tx >= side, top = ty >= side;
                const int rx = tileSide - 1 - tx, ry = tileSide - 1 - ty;
                row[tx] = !right && !top  ? q(tx, ty)
                          : right && !top ? q(ty, rx)
                          : right && top  ? q(rx, ry)
                                          : q(ry, tx);
            }
        }

        // The tile repeated edge to edge from the picture's bottom-left corner.
        for (int y = 0; y < height; ++y) {
            const std::uint32_t* source = &tile[std::size_t(y % tileSide) * std::size_t(tw)];
            unsigned char* out = bitmap.row(y);
            for (int x = 0; x < width; x += tw)
                std::memcpy(out + 4 * std::size_t(x), source,
                            4 * std::size_t(std::min(tw, width - x)));
        }
    });
}

}  // namespace cif
