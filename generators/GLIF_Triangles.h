#pragma once
// GLIF_Triangles: a random triangulation of the picture. Points dropped one by one into a
// triangle enclosing the picture split the triangle holding them into three; every
// triangle is then filled with a scheme colour and outlined. A vector generator that
// paints no background: the background colour only outlines the triangles.

#include "generators/GLIFGenerator.h"

namespace cif {

class GLIF_Triangles final : public GLIFGenerator<GLIF_Triangles> {
public:
    static std::span<const GLIFInput<GLIF_Triangles>> inputTable();

    QString className() const override { return QStringLiteral("GLIF_Triangles"); }
    HostImage GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width, int height,
                                                   const QVariantMap& attributes) override;
    void drawRect(QPainter& painter, const QRectF& rect) override;

    // The number of triangles the last drawing painted.
    int triangleCount() const { return m_triangleCount; }

private:
    int _nTriangle = 7;       // points of the triangulation, the enclosing corners not counted
    float _widthLine = 3.0f;  // outline width

    int m_triangleCount = 0;
};

}  // namespace cif
