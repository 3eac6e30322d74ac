#pragma once
// GLIF_CircleRipples: a moire of concentric rings (or hyperbolas). A square quarter-tile of
// edge S is coloured in blocks by x^2 + y^2 (or |x^2 - y^2|) divided by a divisor and folded
// into S steps of the hue range; four copies of the quarter, each turned a quarter turn
// about the tile's centre, make a 2S x 2S tile with fourfold symmetry, and the tile repeats
// over the picture from its bottom-left corner, so ring centres lie on a lattice 2S apart.
// It draws straight into a new picture, keeps no field and draws no random numbers.

#include "generators/GLIFGenerator.h"

namespace cif {

class GLIF_CircleRipples final : public GLIFGenerator<GLIF_CircleRipples> {
public:
    static std::span<const GLIFInput<GLIF_CircleRipples>> inputTable();

    QString className() const override { return QStringLiteral("GLIF_CircleRipples"); }
    HostImage GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width, int height,
                                                   const QVariantMap& attributes) override;

    // The picture of width x height: quarter edge size, block edge block, hue range
    // [min, max], divisor koef, type 0 rings and any other type hyperbolas. A size or divisor
    // below 1 is taken as 1, which keeps the arithmetic defined. Null when the size lies
    // outside the picture limits (logged).
    HostImage drawCircleRipples(int width, int height, double size, int block, double min,
                                double max, int koef, int type);

private:
    int _nResolution = 1;  // edge of the blocks the quarter is coloured in
    int _dSize = 1;        // edge of the quarter-tile
    int _GLIFType = 0;     // 0 rings, otherwise hyperbolas
    int _koef = 2;         // divisor setting the spacing of the rings
};

}  // namespace cif
