#pragma once
// GLIF_Plasma: a cloud-like colour field over the whole picture, by random
// midpoint displacement (types 0 and 1) or by a sum of sine tables (types 2
// and 3). The field is kept per pixel in the prefetch buffer (column by
// column: pixel (x, y) at x * height + y), so a change of colours alone
// re-colours the same cloud instead of computing a new one.

#include <array>
#include <cstddef>

#include "generators/GLIFGenerator.h"

namespace cif {

class GLIF_Plasma final : public GLIFGenerator<GLIF_Plasma> {
public:
    GLIF_Plasma();
    static std::span<const GLIFInput<GLIF_Plasma>> inputTable();

    QString className() const override { return QStringLiteral("GLIF_Plasma"); }
    HostImage GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width, int height,
                                                   const QVariantMap& attributes) override;

private:
    HostImage plasmaGenerator(const HostImage* image, int width, int height);
    HostImage plasmaSineGenerator(const HostImage* image, int width, int height);
    void divideGrid(float x, float y, float w, float h, float c1, float c2, float c3, float c4,
                    int fullWidth, int fullHeight, RGBABitmap* bitmap);
    float displace(float amount, int fullWidth, int fullHeight) const;
    void divideSinePlasma(int a1, int a2, int a3, int a4, int width, int height,
                          RGBABitmap& bitmap);
    // Paints every pixel from the field in the buffer.
    void recolour(RGBABitmap& bitmap, int width, int height);
    // Writes value (and its colour) over columns [x0, x1) and rows [y0, y1).
    void writeBlock(RGBABitmap& bitmap, int x0, int x1, int y0, int y1, int height, double value);

    int _dResolution = 5;
    int _iSmoothness = 3;
    int _shapesType = 0;
    std::array<int, 512> SIN{};
    std::array<int, 512> COS{};
    // Rectangle fills of the out-of-range resolution mode (above 999).
    QPainter* m_painter = nullptr;
    // The row addresses of the bitmap being written (see writeBlock).
    const RGBABitmap* m_rowsBitmap = nullptr;
    unsigned char* m_rowsFirst = nullptr;
    std::ptrdiff_t m_rowsStride = 0;
};

}  // namespace cif
