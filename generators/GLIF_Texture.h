#pragma once
// GLIF_Texture: a seamless texture tile made by a random walk. A walker wanders over a small
// grid whose edges wrap round, adding a random amount to every cell it visits; the grid is
// coloured by its normalised weights through the colour scheme and repeated over the
// picture. The weights stay in the prefetch buffer (cell (x, y) at x * tile height + y), so
// a change of colours alone re-colours the same texture without walking again.

#include <cstddef>
#include <cstdint>

#include "generators/GLIFGenerator.h"

namespace cif {

class GLIFRandomSequence;

class GLIF_Texture final : public GLIFGenerator<GLIF_Texture> {
public:
    static std::span<const GLIFInput<GLIF_Texture>> inputTable();

    QString className() const override { return QStringLiteral("GLIF_Texture"); }
    HostImage GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width, int height,
                                                   const QVariantMap& attributes) override;

    // Tiles per side for a "GLIFTile" value: 1 for 0, otherwise its size capped at 9.
    static int tilesPerSide(int tile);

private:
    // Where the tile's pixels go: 4 bytes each, rows top-down stride bytes apart.
    struct Tile {
        unsigned char* origin;
        std::ptrdiff_t stride;
        unsigned char* pixel(int x, int y) const { return origin + y * stride + 4 * x; }
    };

    HostImage textureGenerator(int width, int height);
    // Walks from (x, y) and leaves the normalised weights in the prefetch buffer and their
    // colours in the tile.
    void walk(GLIFRandomSequence& random, int x, int y, int tw, int th, const Tile& tile);
    // Colours the tile from the weights kept in the prefetch buffer.
    void recolour(int tw, int th, const Tile& tile) const;

    // No defaults of its own: each field keeps the value of the last call that had its key.
    int _shapesType = 0;  // walk rule 0..3
    int _nIter = 0;       // walk length: tile cells x _nIter / 5 steps
    int _iTile = 0;       // tiles per side
};

}  // namespace cif
