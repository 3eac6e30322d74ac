#pragma once
// GLIF_Cafel: tiles. Random cell centres kept a little apart each paint their own scheme
// colour in discs (or squares) shrinking step by step from a radius that reaches every
// pixel; since smaller shapes are painted last, each pixel ends in the colour of the cell
// that reaches it at the smallest step, which gives a mosaic. Drawn straight into a bitmap
// picture, without background.
//
// The shapes are not painted one over another: each pixel's colour is found from the
// painting order directly (the last shape covering it wholly, and the edges of any painted
// after it), which gives the same picture in one pass over the pixels.

#include <array>
#include <vector>

#include "generators/GLIFGenerator.h"

namespace cif {

class GLIF_Cafel final : public GLIFGenerator<GLIF_Cafel> {
public:
    static std::span<const GLIFInput<GLIF_Cafel>> inputTable();

    QString className() const override { return QStringLiteral("GLIF_Cafel"); }
    HostImage GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width, int height,
                                                   const QVariantMap& attributes) override;

    // A cell: its centre and colour seed, or (-1, -1, -1) when it was refused for lying
    // too near an earlier one.
    using Cell = std::array<int, 3>;
    // The cells of the last picture, in the order they were drawn.
    const std::vector<Cell>& cells() const { return m_cells; }

private:
    HostImage cafelGenerator(int width, int height, int quantity, int size, int quality, int figure,
                             double key, double rangeMax);

    int _quantity = 10;  // cells, at most 5001
    int _size = 200;     // half the square root of the picture's area after a run; unused
    int _quality = 1;    // radius step
    int _idFigure = 0;   // 1 squares, otherwise discs

    std::vector<Cell> m_cells;
};

}  // namespace cif
