#include "generators/GLIF_Texture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <vector>

#include "generators/GLIFColorFunctions.h"
#include "generators/GLIFRandomSequence.h"
#include "generators/GLIFTopDownRows.h"

namespace cif {

namespace {

constexpr int kMaxTiles = 9;
// Weights up to this are coloured through a table, one colour function call per weight.
constexpr int kColourTableLimit = 1 << 20;

// v + 1 - 1 .. v + 1 + 1 wrapped into 0 .. n - 1, for v already in 0 .. 2n.
inline int wrapOnce(int v, int n) {
    if (v >= n) v -= n;
    if (v >= n) v -= n;
    return v;
}

// v modulo n in 0 .. n - 1, also for negative v.
inline int wrap(long long v, int n) {
    const long long r = v % n;
    return int(r < 0 ? r + n : r);
}

// Calls visit(x, y) for every cell of a tw x th grid, in squares of 64 x 64 cells so that
// both the column-major field and the row-major pixels stay within the cache.
template <class Visit>
void forEachCell(int tw, int th, Visit&& visit) {
    constexpr int kSquare = 64;
    for (int y0 = 0; y0 < th; y0 += kSquare)
        for (int x0 = 0; x0 < tw; x0 += kSquare) {
            const int y1 = std::min(y0 + kSquare, th), x1 = std::min(x0 + kSquare, tw);
            for (int y = y0; y < y1; ++y)
                for (int x = x0; x < x1; ++x)
                    visit(x, y);
        }
}

void storeColour(unsigned char* out, const std::array<unsigned char, 4>& c) {
    std::memcpy(out, c.data(), 4);
}

// The first colouring sets each pixel to the scheme colour as the platform converts a colour
// to 8-bit samples (rounded).
std::array<unsigned char, 4> roundedBytes(const QColor& c) {
    return {static_cast<unsigned char>(c.red()), static_cast<unsigned char>(c.green()),
            static_cast<unsigned char>(c.blue()), 255};
}

// A re-colouring pass writes each component as the integer part of component x 255, low 8
// bits (so a component can end one step below the first colouring's).
std::array<unsigned char, 4> truncatedBytes(const QColor& c) {
    const auto byte = [](float f) { return static_cast<unsigned char>(truncateToInt(f * 255.0f)); };
    return {byte(c.redF()), byte(c.greenF()), byte(c.blueF()), 255};
}

}  // namespace

std::span<const GLIFInput<GLIF_Texture>> GLIF_Texture::inputTable() {
    using G = GLIF_Texture;
    static constexpr GLIFInput<G> table[] = {
        {"GLIFIter", GLIFKind::Integer, 1, 100, 73, &G::_nIter},
        {"GLIFTile", GLIFKind::Integer, 1, 10, 1, &G::_iTile},
        {"GLIFShapesType", GLIFKind::Integer, 0, 2, 0, &G::_shapesType},
        {"GLIFColorScheme", GLIFKind::Integer, 0, 20, 4},
        {"GLIFSchemeKeyColor", GLIFKind::Float, 0.0, 1.0, 0.52},
    };
    return table;
}

int GLIF_Texture::tilesPerSide(int tile) {
    return tile == 0 ? 1 : std::min(std::abs(std::max(tile, -kMaxTiles)), kMaxTiles);
}

HostImage GLIF_Texture::GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width,
                                                             int height,
                                                             const QVariantMap& attributes) {
    GLIFCoreObject::GLIFOutputImageWidthHeightAttributes(image, width, height, attributes);
    takeSizeFromImage(image, width, height);
    readInputs(attributes);
    GLIFUpdateCasheWidthHeight(attributes, width, height);
    return textureGenerator(width, height);
}

HostImage GLIF_Texture::textureGenerator(int width, int height) {
    const int tiles = tilesPerSide(_iTile);
    const int tw = width / tiles, th = height / tiles;
    const std::int64_t cells = std::int64_t(tw) * th;
    if (cells <= 0) return generateBitmapImage(width, height, {});
    if (!_bNeedUpdateCashe && prefetchBufferCells() != cells) _bNeedUpdateCashe = true;
    if (_bNeedUpdateCashe && !allocatePrefetchBuffer(cells, PrefetchFill::Zero)) {
        qWarning("%s", qUtf8Printable(cantGenerateMessage()));
        return {};
    }
    return generateBitmapImage(width, height, [&](RGBABitmap& bitmap) {
        const GLIFTopDownRows rows(bitmap);
        // The tile repeats from the bottom-left corner up and to the right, the tiles at the
        // top and right edges cut; it is made in place at the bottom-left corner.
        const Tile tile{rows.row(height - th), rows.stride};
        {
            GLIFRandomSequence random;
            // The start is drawn on every call, also when only re-colouring.
            const int x = random.next() % tw;
            const int y = random.next() % th;
            if (_bNeedUpdateCashe)
                walk(random, x, y, tw, th, tile);
            else
                recolour(tw, th, tile);
        }
        for (int y = 0; y < height; ++y) {
            const int fromBottom = height - 1 - y;
            const unsigned char* source = tile.pixel(0, th - 1 - fromBottom % th);
            unsigned char* out = rows.row(y);
            for (int x = out == source ? tw : 0; x < width; x += tw)
                std::memcpy(out + size_t(x) * 4, source, size_t(std::min(tw, width - x)) * 4);
        }
    });
}

void GLIF_Texture::walk(GLIFRandomSequence& random, int x, int y, int tw, int th,
                        const Tile& tile) {
    // The weights are kept in blocks of 8 x 8 cells, so the cells around the walker share a
    // few cache lines whichever way it moves.
    const int blockRows = (th + 7) / 8;
    const auto at = [blockRows](int cx, int cy) {
        return (size_t((cx >> 3) * blockRows + (cy >> 3)) << 6) | size_t((cx & 7) << 3 | (cy & 7));
    };
    std::vector<int> weights(size_t((tw + 7) / 8) * size_t(blockRows) * 64, 0);
    const double length = std::floor(double(tw) * double(th) * double(_nIter) / 5.0);
    const std::int64_t steps = length > 0 ? std::int64_t(std::min(length, 9.0e18)) : 0;
    // The wave rule's sideways swing depends on the row only.
    std::vector<double> swing;
    if (_shapesType == 2 || _shapesType < 0 || _shapesType > 3) {
        swing.resize(size_t(th));
        const int rowsPerRadian = th / 20;
        for (int row = 0; row < th; ++row) {
            // Tiles under 20 rows high would divide by zero: no swing there.
            const float s = rowsPerRadian == 0 ? 0.0f : float(row) / float(rowsPerRadian);
            swing[size_t(row)] = std::sin(double(s)) * 3.0;
        }
    }
    // Each rule in its own loop, so the step has no branch on the rule. A step draws its
    // numbers (the weight's, then the move's) from a run of the sequence taken at once.
    int* const table = weights.data();
    const auto run = [&](std::size_t perStep, auto move) {
        const std::int64_t chunk = std::int64_t(GLIFRandomSequence::kBlock / perStep);
        for (std::int64_t done = 0; done < steps; done += chunk) {
            const int count = int(std::min(chunk, steps - done));
            const std::uint32_t* r = random.nextWords(size_t(count) * perStep);
            for (int i = 0; i < count; ++i, r += perStep) {
                table[at(x, y)] += int((r[0] >> 1) % 5u);
                move(r);
            }
        }
    };
    // The step -1, 0 or +1 of a number.
    const auto delta = [](std::uint32_t word) { return int((word >> 1) % 3u); };
    switch (_shapesType) {
        case 0:
            run(3, [&](const std::uint32_t* r) {
                x = wrapOnce(tw + delta(r[1]) + x - 1, tw);
                y = wrapOnce(th + delta(r[2]) + y - 1, th);
            });
            break;
        case 1:
            run(2, [&](const std::uint32_t* r) {
                x = wrapOnce(tw + delta(r[1]) + x - 1, tw);
                y = wrapOnce(y + th + 1, th);
            });
            break;
        case 3:
            // The new column comes from the old row, and the new row from the new column.
            run(3, [&](const std::uint32_t* r) {
                x = wrap(tw + delta(r[1]) + y - 1, tw);
                y = wrap(th + delta(r[2]) + x - 1, th);
            });
            break;
        default:
            run(3, [&](const std::uint32_t* r) {
                const double moved = x + swing[size_t(y)] + delta(r[1]) - 1.0 + tw;
                // A swing past the left edge of a tile under 4 columns wraps round as well.
                x = wrap(truncateToInt(moved), tw);
                y = wrapOnce(th + delta(r[2]) + y - 1, th);
            });
            break;
    }
    // Weights only grow, so the largest seen during the walk is the largest at its end.
    const int largest = *std::max_element(weights.begin(), weights.end());

    double* field = GLIFPrefetchBuffer();
    std::vector<std::array<unsigned char, 4>> colours;
    std::vector<bool> known;
    if (largest < kColourTableLimit) {
        colours.resize(size_t(largest) + 1);
        known.resize(size_t(largest) + 1, false);
    }
    const auto colourOf = [&](int weight, float v) {
        if (colours.empty())
            return roundedBytes(computeSchemeColor(v, _schemeKeyColor, _iColorScheme));
        if (!known[size_t(weight)]) {
            colours[size_t(weight)] =
                roundedBytes(computeSchemeColor(v, _schemeKeyColor, _iColorScheme));
            known[size_t(weight)] = true;
        }
        return colours[size_t(weight)];
    };
    forEachCell(tw, th, [&](int cx, int cy) {
        const int weight = weights[at(cx, cy)];
        // With no step taken every weight is 0: the field is 0 throughout.
        const float v = largest == 0 ? 0.0f : float(weight) / float(largest);
        field[std::int64_t(cx) * th + cy] = v;
        storeColour(tile.pixel(cx, cy), colourOf(weight, v));
    });
}

void GLIF_Texture::recolour(int tw, int th, const Tile& tile) const {
    // The field holds few distinct values (one per weight), so their colours are remembered
    // in a small open-addressed table keyed by the value's bits.
    struct Entry {
        std::uint64_t bits = 0;
        std::array<unsigned char, 4> colour{};
        bool used = false;
    };
    constexpr size_t kSlots = 8192, kProbes = 16;
    std::vector<Entry> table(kSlots);
    const auto colourOf = [&](double v) {
        std::uint64_t bits = 0;
        std::memcpy(&bits, &v, sizeof bits);
        size_t slot = size_t((bits * 0x9E3779B97F4A7C15ull) >> 51);
        for (size_t probe = 0; probe < kProbes; ++probe, slot = (slot + 1) % kSlots) {
            Entry& e = table[slot];
            if (e.used && e.bits == bits) return e.colour;
            if (!e.used) {
                e = {bits, truncatedBytes(computeSchemeColor(v, _schemeKeyColor, _iColorScheme)),
                     true};
                return e.colour;
            }
        }
        return truncatedBytes(computeSchemeColor(v, _schemeKeyColor, _iColorScheme));
    };
    const double* field = _prefetchBuffer.get();
    forEachCell(tw, th, [&](int cx, int cy) {
        storeColour(tile.pixel(cx, cy), colourOf(field[std::int64_t(cx) * th + cy]));
    });
}

}  // namespace cif
