#pragma once
// GLIF_RadialPlasma: rings of the hue range around the picture's centre, going out and back
// through the range three times to the corner, torn by fractal value noise laid out in
// polar coordinates (periodic around the centre), so the distortion runs in rays and
// ragged bands; roughness weighs the finer octaves and how far the noise pushes. The rings
// can fade out to transparency at the rim of the disc inscribed in the picture. A bitmap
// generator: the field (one value in [0, 1] per pixel, row by row from the bottom: pixel
// (x, y) at y * width + x) is kept in the prefetch buffer, so a change of colours alone
// re-colours it without computing it again. A new buffer is filled byte by byte with 0x40,
// so a cell the field does not reach (outside the faded disc) holds 32.5 and is painted as
// empty: transparent, or the background colour when one is used.
//
// Random numbers: the noise lattice's values, drawn only when the field is computed; a call
// that only re-colours draws none.

#include <vector>

#include "generators/GLIFGenerator.h"

namespace cif {

class GLIF_RadialPlasma final : public GLIFGenerator<GLIF_RadialPlasma> {
public:
    GLIF_RadialPlasma();
    static std::span<const GLIFInput<GLIF_RadialPlasma>> inputTable();

    QString className() const override { return QStringLiteral("GLIF_RadialPlasma"); }
    HostImage GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width, int height,
                                                   const QVariantMap& attributes) override;

private:
    // Computes the field of width x height into the prefetch buffer.
    void computeField(int width, int height);
    // Paints every pixel from the field.
    void colour(RGBABitmap& bitmap, int width, int height) const;
    // How opaque the pixel (x, y) is by its distance from the centre: 1 inside the fade,
    // falling to 0 at the rim of the disc inscribed in the picture.
    double fadeAt(double dx, double dy, double rimRadius) const;

    int _roughness = 5;  // 0 smooth, 10 rough: the weight of the noise's finer octaves
    float _fadeOut = 0;  // share of the disc's radius over which it fades out; 0 no fade
};

}  // namespace cif
