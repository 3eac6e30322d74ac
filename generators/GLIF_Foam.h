#pragma once
// GLIF_Foam: random bubbles, each a stack of discs (or squares) shrinking step by step. The
// colour follows the step, so every bubble shows the same rings of colour. Drawn straight
// into a bitmap picture.

#include "generators/GLIFGenerator.h"

namespace cif {

class GLIF_Foam final : public GLIFGenerator<GLIF_Foam> {
public:
    static std::span<const GLIFInput<GLIF_Foam>> inputTable();

    QString className() const override { return QStringLiteral("GLIF_Foam"); }
    HostImage GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width, int height,
                                                   const QVariantMap& attributes) override;

private:
    HostImage foamGenerator(int width, int height, int quantity, int size, int quality, int figure,
                            double key, double rangeMax);

    int _quantity = 300;  // bubbles, at most 5001
    int _size = 62;       // largest bubble radius
    int _quality = 2;     // radius step
    int _idFigure = 0;    // 1 squares, otherwise discs
};

}  // namespace cif
