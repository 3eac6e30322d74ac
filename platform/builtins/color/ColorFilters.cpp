// Colour built-ins: per-pixel adjustments of one image.

#include <algorithm>

#include "platform/builtins/BuiltinFilter.h"
#include "platform/image/Node.h"
#include "platform/image/Pixel4.h"
#include "platform/image/SpanOps.h"

namespace cif::builtins {

namespace {

using engine::loadPixel;
using engine::Pixel4;
using engine::PointNode;
using engine::RenderState;
using engine::storePixel;

// Each output channel is the dot product of its row with the straight
// (unpremultiplied) input colour, plus the bias; the result is premultiplied
// again. Alpha is kept within [0, 1]; colour channels may leave [0, 1].
class ColorMatrixNode final : public PointNode {
public:
    ColorMatrixNode(engine::NodePtr input, const CIVector rows[4], const CIVector& bias)
        : PointNode(std::move(input)) {
        for (int r = 0; r < 4; ++r)
            for (int c = 0; c < 4; ++c)
                m_matrix[4 * r + c] = float(rows[r].valueAtIndex(size_t(c)));
        for (int r = 0; r < 4; ++r)
            m_bias[r] = float(bias.valueAtIndex(size_t(r)));
    }
    void applySpan(float* px, int n, int, int, const RenderState&) const override {
        engine::colorMatrixSpan(px, n, m_matrix, m_bias);
    }
    const char* kind() const override { return "color-matrix"; }

private:
    float m_matrix[16];
    float m_bias[4];
};

// 1 - colour on straight values, which is alpha - colour on premultiplied ones.
class ColorInvertNode final : public PointNode {
public:
    explicit ColorInvertNode(engine::NodePtr input) : PointNode(std::move(input)) {}
    void applySpan(float* px, int n, int, int, const RenderState&) const override {
        for (int i = 0; i < n; ++i, px += 4) {
            const engine::Pixel4 p = engine::loadPixel(px);
            engine::Pixel4 o = p[3] - p;
            o[3] = p[3];
            engine::storePixel(px, o);
        }
    }
    const char* kind() const override { return "color-invert"; }
};

CIImage colorMatrix(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const CIVector rows[4] = {f.vectorForKey("inputRVector"), f.vectorForKey("inputGVector"),
                              f.vectorForKey("inputBVector"), f.vectorForKey("inputAVector")};
    return CIImage::imageWithNode(
        std::make_shared<ColorMatrixNode>(in.node(), rows, f.vectorForKey("inputBiasVector")));
}

CIImage colorInvert(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    return CIImage::imageWithNode(std::make_shared<ColorInvertNode>(in.node()));
}

}  // namespace

std::vector<BuiltinDef> colorBuiltins() {
    return {
        {"CIColorMatrix", colorMatrix},
        {"CIColorInvert", colorInvert},
    };
}

}  // namespace cif::builtins
