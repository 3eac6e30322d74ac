#pragma once
// GLIF_SandGlass: a four-fold mirrored pattern. One quarter of the picture is computed from
// a closed formula of the pixel coordinates (one of five), coloured along the hue range, and
// the picture is assembled from four copies of it turned and mirrored about the centre. The
// quarter's values (0 to 255) stay in the prefetch buffer (column x, row y at
// x * quarter height + y), so a change of colours alone re-colours the same pattern.

#include <QVariantList>

#include "generators/GLIFGenerator.h"

namespace cif {

class GLIF_SandGlass final : public GLIFGenerator<GLIF_SandGlass> {
public:
    GLIF_SandGlass();
    static std::span<const GLIFInput<GLIF_SandGlass>> inputTable();

    QString className() const override { return QStringLiteral("GLIF_SandGlass"); }
    HostImage GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width, int height,
                                                   const QVariantMap& attributes) override;

private:
    HostImage sandGlassGenerator(int width, int height);
    // The value 0..255 of quarter pixel (x, y) by the formula _shapesType; the last one draws
    // one random number.
    double formulaValue(int x, int y, int& random) const;

    float _iFactor = 1.0f;      // the formula's factor, a float despite its prefix
    int _shapesType = 0;        // formula 0..4
    QVariantList _arrOfColors;  // kept with the object; no drawing uses it
};

}  // namespace cif
