#pragma once
// GLIF_StarField: a field of randomly placed, sized and turned shapes in scheme colours:
// nested rings or squares (alternately filled, by the even-odd rule) or stars.
// A vector generator.
//
// Unlike the other generators its fields take their defaults once, when it is made: a
// key left out of a call keeps the value of the call before.

#include "generators/GLIFGenerator.h"

namespace cif {

class GLIF_StarField final : public GLIFGenerator<GLIF_StarField> {
public:
    GLIF_StarField();
    static std::span<const GLIFInput<GLIF_StarField>> inputTable();

    QString className() const override { return QStringLiteral("GLIF_StarField"); }
    HostImage GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width, int height,
                                                   const QVariantMap& attributes) override;
    void drawRect(QPainter& painter, const QRectF& rect) override;

private:
    int _density = 350;  // shapes (its absolute value)
    int _nSize = 50;     // largest shape
    int _shapesType = 0;
    int _iCount = 1;  // rings, squares or star points per shape
};

// Draws |density| shapes over width x height (see GLIF_StarField), five numbers of the
// process-wide sequence per shape, one more per vertex for uneven polygons (type 4).
void drawStarField(QPainter& painter, int width, int height, int density, int size, int type,
                   double key, int scheme, int count);

}  // namespace cif
