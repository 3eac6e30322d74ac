#pragma once
// GLIFTopDownRows: pixel addresses of an RGBABitmap counted from the top row, the order in
// which a platform bitmap keeps its rows in memory. The bitmap generators address their
// fields this way: row 0 of a field is the top row of the picture.

#include <cstddef>

#include "generators/GLIFCoreObject.h"

namespace cif {

struct GLIFTopDownRows {
    explicit GLIFTopDownRows(RGBABitmap& bitmap)
        : first(bitmap.height() > 0 ? bitmap.row(bitmap.height() - 1) : nullptr),
          stride(bitmap.height() > 1 ? bitmap.row(bitmap.height() - 2) - first : 0) {}
    // The 4 bytes of column x in row y counted from the top; both within the bitmap.
    unsigned char* pixel(int x, int y) const { return first + std::ptrdiff_t(y) * stride + 4 * x; }
    unsigned char* row(int y) const { return first + std::ptrdiff_t(y) * stride; }

    unsigned char* first;
    std::ptrdiff_t stride;
};

}  // namespace cif
