#pragma once
// GLIF_Shapes: a heap of flat shapes (discs, squares, triangles, stars, hexagons or rings,
// or all of them mixed) in scheme colours, dropped at random places and turns from the
// largest to the smallest, so small shapes lie on top of large ones. Each shape has a
// darker rim of its own colour. A vector generator; five numbers of the process-wide random
// sequence per shape: place x and y, turn, colour, and the kind when mixed.

#include "generators/GLIFGenerator.h"

namespace cif {

class GLIF_Shapes final : public GLIFGenerator<GLIF_Shapes> {
public:
    // The kinds of shape, the values of "GLIFShapesType".
    enum ShapeKind { Disc, Square, Triangle, Star, Hexagon, Ring, Mixed };

    static std::span<const GLIFInput<GLIF_Shapes>> inputTable();

    QString className() const override { return QStringLiteral("GLIF_Shapes"); }
    HostImage GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width, int height,
                                                   const QVariantMap& attributes) override;
    void drawRect(QPainter& painter, const QRectF& rect) override;

private:
    int _shapesType = Mixed;
    int _count = 90;  // shapes
    int _size = 30;   // largest shape's size, per cent of the picture's shorter side
};

}  // namespace cif
