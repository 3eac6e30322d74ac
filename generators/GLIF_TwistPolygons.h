#pragma once
// GLIF_TwistPolygons: nested filled polygons about the picture's centre, each one's vertices
// a fixed share of the way along the edges of the one before, so the stack twists inwards
// through the colour range. A vector generator.

#include "generators/GLIFGenerator.h"

namespace cif {

class GLIF_TwistPolygons final : public GLIFGenerator<GLIF_TwistPolygons> {
public:
    static std::span<const GLIFInput<GLIF_TwistPolygons>> inputTable();

    QString className() const override { return QStringLiteral("GLIF_TwistPolygons"); }
    HostImage GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width, int height,
                                                   const QVariantMap& attributes) override;
    void drawRect(QPainter& painter, const QRectF& rect) override;

protected:
    // The class's failure line names it "GLIF_PolygonSquares", as it always has.
    QString cantGenerateMessage() const override;

private:
    int _countAngle = 8;     // vertices per polygon
    int _countCircle = 150;  // polygons
    int _deltaPercent = 10;  // how far along each edge the next vertex lies, per cent
    float _radius = 0.0f;    // outer polygon's size, per cent of the picture's shorter side
};

}  // namespace cif
