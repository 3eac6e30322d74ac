#pragma once
// GLIF_TwistedSquares: a spiral of ever smaller stroked squares about the picture's centre,
// each turned a step further so that its corners lie on the sides of the one before. A
// vector generator: its drawing is recorded and renders crisply at any size.

#include "generators/GLIFGenerator.h"

namespace cif {

class GLIF_TwistedSquares final : public GLIFGenerator<GLIF_TwistedSquares> {
public:
    static std::span<const GLIFInput<GLIF_TwistedSquares>> inputTable();

    QString className() const override { return QStringLiteral("GLIF_TwistedSquares"); }
    HostImage GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width, int height,
                                                   const QVariantMap& attributes) override;
    void drawRect(QPainter& painter, const QRectF& rect) override;

private:
    float _angleStep = 20.0f;  // the turn per square is pi / _angleStep
    float _squareSize = 1.0f;  // squares smaller than 1 + this end the spiral
};

}  // namespace cif
