#include "generators/GLIF_Cafel.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "generators/GLIFColorFunctions.h"

namespace cif {

namespace {

constexpr int kTableEntries = 5001;

// A shape's coverage of the pixel whose centre lies dx, dy from the shape's centre, for a
// shape of radius r: the covered share of a pixel-wide band across the edge.
float discCoverage(float distance, float r) {
    return std::clamp(r - distance + 0.5f, 0.0f, 1.0f);
}
float squareCoverage(float dx, float dy, float r) {
    return discCoverage(std::abs(dx), r) * discCoverage(std::abs(dy), r);
}

struct Paint {
    int level;  // painting step, 0 for the largest radius
    int cell;   // painting order within a step
    float alpha;
};

}  // namespace

std::span<const GLIFInput<GLIF_Cafel>> GLIF_Cafel::inputTable() {
    using G = GLIF_Cafel;
    static constexpr GLIFInput<G> table[] = {
        {"GLIFQuantity", GLIFKind::Integer, 20, 100, 20, &G::_quantity, 10},
        {"GLIFQuality", GLIFKind::Integer, 1, 10, 1, &G::_quality, 1},
        {"GLIFIdFigure", GLIFKind::Integer, 0, 1, 1, &G::_idFigure, 0},
        {"GLIFColorScheme", GLIFKind::Integer, 0, 20, 2},
        {"GLIFSchemeKeyColor", GLIFKind::Float, 0.0, 1.0, 0.35},
        // Listed for the editor, but neither described nor painted.
        {"GLIFUseBackgroundColor", GLIFKind::Boolean, 0, 1, 0, {}, kKeep, kNotDescribed},
        {"GLIFBackgroundColor", GLIFKind::Colour, 0, 0, 0, {}, kKeep, kNotDescribed},
    };
    return table;
}

HostImage GLIF_Cafel::GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width,
                                                           int height,
                                                           const QVariantMap& attributes) {
    GLIFCoreObject::GLIFOutputImageWidthHeightAttributes(image, width, height, attributes);
    takeSizeFromImage(image, width, height);
    setInputDefaults();
    _size = 200;  // no key sets it
    readInputs(attributes);
    return cafelGenerator(width, height, _quantity, _size, _quality, _idFigure, _schemeKeyColor,
                          _colorRangeMax);
}

HostImage GLIF_Cafel::cafelGenerator(int w, int h, int, int, int quality, int figure, double,
                                     double) {
    return generateBitmapImage(w, h, [&](RGBABitmap& bitmap) {
        _size = int(std::sqrt(double(w) * h)) / 2;
        if (_quantity > kTableEntries - 1) {
            qWarning("GLIF_Cafel: Error! Too many of spheres!");
            _quantity = kTableEntries;
        }
        m_cells.clear();
        if (quality < 1) return;  // the radii would never shrink
        const long long m = (long long)(quality + 3) * (quality + 3);
        for (int i = 0; i < _quantity; ++i) {
            const int x = std::rand() % w, y = std::rand() % h;
            bool valid = true;
            // The cell just before is not compared.
            for (int j = 0; j + 1 < i; ++j) {
                const Cell& c = m_cells[size_t(j)];
                if (c[0] < 0) continue;
                const long long dx = x - c[0], dy = y - c[1];
                if (dx * dx + dy * dy <= m) {
                    valid = false;
                    break;
                }
            }
            m_cells.push_back(valid ? Cell{x, y, std::rand()} : Cell{-1, -1, -1});
        }

        std::vector<Cell> live;
        std::vector<QColor> colours;
        for (const Cell& c : m_cells)
            if (c[0] >= 0) {
                live.push_back(c);
                colours.push_back(computeSchemeColor(float(c[2]) * 4.656613e-10f, _schemeKeyColor,
                                                     _iColorScheme));
            }

        // The first radius reaches every pixel from its nearest cell.
        // Row by row, each cell lowering the row's nearest distances in one straight pass.
        long long farthest = 0;
        std::vector<long long> rowNearest(static_cast<size_t>(w));
        for (int y = 0; y < h; ++y) {
            std::fill(rowNearest.begin(), rowNearest.end(), (long long)w * h);
            for (const Cell& c : live) {
                const long long dy = y - c[1];
                const long long dy2 = dy * dy;
                long long* nearest = rowNearest.data();
                for (int x = 0; x < w; ++x) {
                    const long long dx = x - c[0];
                    nearest[x] = std::min(nearest[x], dx * dx + dy2);
                }
            }
            for (const long long n : rowNearest)
                farthest = std::max(farthest, n);
        }
        const int r0 = int(std::sqrt(double(farthest))) + 1;
        const int steps = (r0 - 1) / quality;  // radii r0 - k q for k = 0 .. steps stay >= 1
        const auto radius = [&](int level) { return float(r0 - level * quality); };

        std::vector<Paint> edges;
        // Distances of a row of pixel centres from every cell, cell by cell.
        const size_t n = live.size();
        std::vector<float> rowSquared(n * size_t(w));
        std::vector<float> rowNearest2(static_cast<size_t>(w));
        for (int y = 0; y < h; ++y) {
            const float py = y + 0.5f;
            std::fill(rowNearest2.begin(), rowNearest2.end(),
                      std::numeric_limits<float>::infinity());
            for (size_t i = 0; i < n; ++i) {
                const float dy = py - float(live[i][1]), dy2 = dy * dy;
                const float cx = float(live[i][0]);
                float* squared = rowSquared.data() + i * size_t(w);
                float* nearest = rowNearest2.data();
                for (int x = 0; x < w; ++x) {
                    const float dx = float(x) + 0.5f - cx;
                    const float d2 = figure == 1 ? std::max(dx * dx, dy2) : dx * dx + dy2;
                    squared[x] = d2;
                    nearest[x] = std::min(nearest[x], d2);
                }
            }
            unsigned char* out = bitmap.row(y);
            for (int x = 0; x < w; ++x, out += 4) {
                const float px = x + 0.5f;
                // Only cells about as near as the nearest can be painted last here: the
                // painting step falls with the distance, by one per q.
                const float reach = std::sqrt(rowNearest2[size_t(x)]) + float(quality) + 1.5f;
                const float reach2 = reach * reach;
                // The last wholly covering paint, and the partly covering ones of each cell.
                Paint base{-1, -1, 0.0f};
                edges.clear();
                for (int i = 0; i < int(live.size()); ++i) {
                    const float d2 = rowSquared[size_t(i) * size_t(w) + size_t(x)];
                    if (d2 > reach2) continue;
                    const float dx = px - float(live[size_t(i)][0]);
                    const float dy = py - float(live[size_t(i)][1]);
                    const float d = std::sqrt(d2);
                    if (d > radius(0) + 0.5f) continue;
                    // The deepest step whose shape covers the pixel wholly: r >= d + 0.5.
                    const int full = int(std::floor((float(r0) - d - 0.5f) / float(quality)));
                    const int fullLevel = std::min(full, steps);
                    if (full >= 0 &&
                        (fullLevel > base.level || (fullLevel == base.level && i > base.cell)))
                        base = {fullLevel, i, 1.0f};
                    const int part = fullLevel + 1;
                    if (part >= 0 && part <= steps) {
                        const float r = radius(part);
                        const float a =
                            figure == 1 ? squareCoverage(dx, dy, r) : discCoverage(d, r);
                        if (a > 0.0f) edges.push_back({part, i, a});
                    }
                }
                float rgba[4] = {0, 0, 0, 0};  // premultiplied
                const auto paint = [&](const Paint& p) {
                    const QColor& c = colours[size_t(p.cell)];
                    const float s[3] = {float(c.red()), float(c.green()), float(c.blue())};
                    for (int k = 0; k < 3; ++k)
                        rgba[k] = s[k] * p.alpha + rgba[k] * (1.0f - p.alpha);
                    rgba[3] = 255.0f * p.alpha + rgba[3] * (1.0f - p.alpha);
                };
                if (base.level >= 0) paint(base);
                std::sort(edges.begin(), edges.end(), [](const Paint& a, const Paint& b) {
                    return a.level != b.level ? a.level < b.level : a.cell < b.cell;
                });
                for (const Paint& p : edges)
                    if (p.level > base.level || (p.level == base.level && p.cell > base.cell))
                        paint(p);
                const float alpha = rgba[3];
                for (int k = 0; k < 3; ++k)
                    out[k] =
                        alpha > 0.0f
                            ? (unsigned char)std::lround(std::min(255.0f, rgba[k] * 255.0f / alpha))
                            : 0;
                out[3] = (unsigned char)std::lround(alpha);
            }
        }
    });
}

}  // namespace cif
