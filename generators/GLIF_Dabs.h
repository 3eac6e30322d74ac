#pragma once
// GLIF_Dabs: copies of a brush stamped all over the picture at random places, each tinted
// with a scheme colour and turned a little about a base angle. The brush comes in the
// attributes under "GLIFBrush" (a HostImage or QImage, not kept after the call). Drawn
// straight into a bitmap picture.

#include "generators/GLIFGenerator.h"

namespace cif {

class GLIF_Dabs final : public GLIFGenerator<GLIF_Dabs> {
public:
    static std::span<const GLIFInput<GLIF_Dabs>> inputTable();

    QString className() const override { return QStringLiteral("GLIF_Dabs"); }
    // The null picture and "Can't loaded resource" when no brush is given.
    HostImage GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width, int height,
                                                   const QVariantMap& attributes) override;

private:
    HostImage dabsGeneratorWidthHeight(int width, int height);

    int _countDabs = 10;       // the number of stamps is this squared, halved
    int _scale = 20;           // brush scale, per cent
    int _angle = 0;            // base turn, degrees
    int _dabsType = 1;         // kept from "GLIFType"; the drawing does not use it
    int _angleAmplitude = 20;  // width of the random turn about _angle, degrees
    HostImage _brush;
};

}  // namespace cif
