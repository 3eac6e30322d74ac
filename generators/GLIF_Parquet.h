#pragma once
// GLIF_Parquet: the picture tiled with equal cells, each filled with nested figures shrinking
// towards its centre in bands along the colour scheme: concentric rectangles, or lozenges
// laid along the cell's rising diagonal. A vector generator.

#include "generators/GLIFGenerator.h"

namespace cif {

class GLIF_Parquet final : public GLIFGenerator<GLIF_Parquet> {
public:
    static std::span<const GLIFInput<GLIF_Parquet>> inputTable();

    QString className() const override { return QStringLiteral("GLIF_Parquet"); }
    HostImage GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width, int height,
                                                   const QVariantMap& attributes) override;
    void drawRect(QPainter& painter, const QRectF& rect) override;

    // The number of bands after the first of a cell of cw x ch points whose nesting reaches
    // density per cent into it: half the longer side times the density.
    static int bandCount(int cw, int ch, int density);

private:
    int _cellWidth = 50;
    int _cellHeight = 30;
    int _dencity = 90;  // how far the nesting reaches into the cell, per cent
    int _idFigure = 0;  // 0 rectangles, otherwise lozenges
};

}  // namespace cif
