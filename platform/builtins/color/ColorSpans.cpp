#include "platform/builtins/color/ColorSpans.h"

#include "platform/image/Pixel4.h"

namespace cif::builtins {

using engine::Pixel4;

void premulMatrixSpan(float* px, int n, const float m[16]) {
    // The matrix's columns as 4-lane vectors: each pixel is four broadcasts,
    // four multiplies and three adds.
    const Pixel4 c0{m[0], m[4], m[8], m[12]}, c1{m[1], m[5], m[9], m[13]},
        c2{m[2], m[6], m[10], m[14]}, c3{m[3], m[7], m[11], m[15]};
    for (int i = 0; i < n; ++i, px += 4) {
        const Pixel4 p = engine::loadPixel(px);
        const Pixel4 o = ((c0 * p[0] + c1 * p[1]) + c2 * p[2]) + c3 * p[3];
        engine::storePixel(px, o);
    }
}

void premulMatrixSpanScalar(float* px, int n, const float m[16]) {
    for (int i = 0; i < n; ++i, px += 4) {
        float o[4];
        for (int r = 0; r < 4; ++r)
            o[r] = ((m[4 * r] * px[0] + m[4 * r + 1] * px[1]) + m[4 * r + 2] * px[2]) +
                   m[4 * r + 3] * px[3];
        for (int r = 0; r < 4; ++r)
            px[r] = o[r];
    }
}

}  // namespace cif::builtins
