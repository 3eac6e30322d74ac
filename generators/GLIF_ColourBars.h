#pragma once
// GLIF_ColourBars: parallel bars of random widths in scheme colours, turned by an angle
// about the picture's centre and outlined. The bars span a square of the picture's
// diagonal, so they cover it at any angle. A vector generator.

#include "generators/GLIFGenerator.h"

namespace cif {

class GLIF_ColourBars final : public GLIFGenerator<GLIF_ColourBars> {
public:
    static std::span<const GLIFInput<GLIF_ColourBars>> inputTable();

    QString className() const override { return QStringLiteral("GLIF_ColourBars"); }
    HostImage GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width, int height,
                                                   const QVariantMap& attributes) override;
    // Paints no background: the background colour outlines the bars instead.
    void drawRect(QPainter& painter, const QRectF& rect) override;

private:
    void drawColourBars(QPainter& painter, int width, int height, int size, int scheme, float angle,
                        float difference, float widthLine, double key);

    int _nSize = 5;            // mean bar width
    float _fAngle = 17.0f;     // degrees
    float _difference = 1.0f;  // spread of the widths relative to the mean
    float _widthLine = 1.0f;   // outline width
};

}  // namespace cif
