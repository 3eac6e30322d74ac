#pragma once
// GLIF_Biomorph: an organism-like fractal. Every pixel, taken as a point of the complex
// plane (a hundredth per pixel around the picture's centre), is iterated under z <- z^4 + c;
// pixels whose orbit ends with a large real or imaginary part are coloured along the hue
// range by how fast they left, the others stay transparent over the background. The values
// stay in the prefetch buffer (pixel (x, y) at x * height + y); a cell never given a value
// keeps the fill 32.50196... (every byte 0x40), which the re-colouring pass skips, so a
// change of colours alone re-colours the same shape without iterating again.

#include "generators/GLIFGenerator.h"

namespace cif {

class RGBABitmap;

class GLIF_Biomorph final : public GLIFGenerator<GLIF_Biomorph> {
public:
    GLIF_Biomorph();
    static std::span<const GLIFInput<GLIF_Biomorph>> inputTable();

    QString className() const override { return QStringLiteral("GLIF_Biomorph"); }
    HostImage GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width, int height,
                                                   const QVariantMap& attributes) override;
    // The description of the inputs; the background's default is a dark red.
    QVariantMap GLIFQueryAttributes() const override;

private:
    HostImage drawBiomorph(int width, int height, float cReal, float cImag, int resolution);
    void iterate(RGBABitmap& bitmap, int width, int height, float cReal, float cImag, int step);
    void recolour(RGBABitmap& bitmap, int width, int height) const;
    // Lays the background under the coloured points.
    void fillBackground(RGBABitmap& bitmap) const;

    int _iResolution = 2;  // block size in pixels
    double _dCReal = 1.00003;
    double _dCImag = 1.01828;
};

}  // namespace cif
