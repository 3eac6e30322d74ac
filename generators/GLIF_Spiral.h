#pragma once
// GLIF_Spiral: a whirl of concentric rings of single pixels around the picture's centre,
// each ring turned a little further than the one inside it (by the factor, a random jitter
// and a curvature that grows with the radius), coloured along the hue range by the position
// on the ring. The positions stay in the prefetch buffer (pixel (x, y) at y + x * height);
// cells off the rings keep the fill 32.50196... (every byte 0x40) and stay transparent, so a
// change of colours alone re-colours the same rings.

#include "generators/GLIFGenerator.h"

namespace cif {

class RGBABitmap;

class GLIF_Spiral final : public GLIFGenerator<GLIF_Spiral> {
public:
    GLIF_Spiral();
    static std::span<const GLIFInput<GLIF_Spiral>> inputTable();

    QString className() const override { return QStringLiteral("GLIF_Spiral"); }
    HostImage GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width, int height,
                                                   const QVariantMap& attributes) override;

private:
    HostImage spiralGenerator(int width, int height);
    // Paints the rings into the bitmap and the field (one random number per ring).
    void drawRings(RGBABitmap& bitmap, int width, int height);
    void recolour(RGBABitmap& bitmap, int width, int height) const;

    float _fFactor = 1.0f;      // mean turn per ring, hundredths of a radian
    float _fRandomWind = 1.5f;  // strength of the random jitter of the turn
    int _iCurvature = 0;        // extra turn growing with the radius
};

}  // namespace cif
