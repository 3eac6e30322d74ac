#pragma once
// GLIF_HilbertCurve: a Hilbert space-filling curve from the bottom-left corner, drawn in
// short overlapping strokes that cycle through four scheme colours. A vector generator.

#include "generators/GLIFGenerator.h"

namespace cif {

class GLIF_HilbertCurve final : public GLIFGenerator<GLIF_HilbertCurve> {
public:
    static std::span<const GLIFInput<GLIF_HilbertCurve>> inputTable();

    QString className() const override { return QStringLiteral("GLIF_HilbertCurve"); }
    HostImage GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width, int height,
                                                   const QVariantMap& attributes) override;
    void drawRect(QPainter& painter, const QRectF& rect) override;

    // The length of one step of the curve of level n over a picture of width x height:
    // the larger side divided by 2^n - 1, plus 1. Level below 1 (or above 30) gives 0.
    static int stepLength(int width, int height, int level);

private:
    int _curveRange = 7;    // the curve's level
    float _cupSize = 5.0f;  // line width
    int _typeCaps = 0;      // 0 butt, 1 round, 2 square caps
};

}  // namespace cif
