#pragma once
// GLIF_FlashLines: a line segment whose two ends bounce about the picture at their own
// speeds, stroked at every step through the colour range, leaving a fan-like trail.
// A vector generator.

#include "generators/GLIFGenerator.h"

namespace cif {

class GLIF_FlashLines final : public GLIFGenerator<GLIF_FlashLines> {
public:
    static std::span<const GLIFInput<GLIF_FlashLines>> inputTable();

    QString className() const override { return QStringLiteral("GLIF_FlashLines"); }
    HostImage GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width, int height,
                                                   const QVariantMap& attributes) override;
    void drawRect(QPainter& painter, const QRectF& rect) override;

private:
    int _curveRange = 1000;  // lines drawn
    float _widthLine = 1.0f;
};

}  // namespace cif
