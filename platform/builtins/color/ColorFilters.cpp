// Colour built-ins: per-pixel adjustments of one image.

#include <algorithm>

#include "platform/builtins/BuiltinFilter.h"
#include "platform/image/Node.h"

namespace cif::builtins {

namespace {

using engine::PointNode;
using engine::RenderState;

// Each output channel is the dot product of its row with the straight
// (unpremultiplied) input colour, plus the bias; the result is premultiplied
// again. Alpha is kept within [0, 1]; colour channels may leave [0, 1].
class ColorMatrixNode final : public PointNode {
public:
    ColorMatrixNode(engine::NodePtr input, const CIVector rows[4], const CIVector& bias)
        : PointNode(std::move(input)) {
        for (int r = 0; r < 4; ++r)
            for (int c = 0; c < 4; ++c) m_m[r][c] = float(rows[r].valueAtIndex(size_t(c)));
        for (int r = 0; r < 4; ++r) m_bias[r] = float(bias.valueAtIndex(size_t(r)));
    }
    void applySpan(float* px, int n, int, int, const RenderState&) const override {
        for (int i = 0; i < n; ++i, px += 4) {
            const float a = px[3];
            const float inv = a > 0.0f ? 1.0f / a : 0.0f;
            const float s[4] = {px[0] * inv, px[1] * inv, px[2] * inv, a};
            float o[4];
            for (int r = 0; r < 4; ++r)
                o[r] = m_m[r][0] * s[0] + m_m[r][1] * s[1] + m_m[r][2] * s[2] + m_m[r][3] * s[3] + m_bias[r];
            const float oa = std::clamp(o[3], 0.0f, 1.0f);
            px[0] = o[0] * oa;
            px[1] = o[1] * oa;
            px[2] = o[2] * oa;
            px[3] = oa;
        }
    }
    const char* kind() const override { return "color-matrix"; }

private:
    float m_m[4][4];
    float m_bias[4];
};

// 1 - colour on straight values, which is alpha - colour on premultiplied ones.
class ColorInvertNode final : public PointNode {
public:
    explicit ColorInvertNode(engine::NodePtr input) : PointNode(std::move(input)) {}
    void applySpan(float* px, int n, int, int, const RenderState&) const override {
        for (int i = 0; i < n; ++i, px += 4) {
            px[0] = px[3] - px[0];
            px[1] = px[3] - px[1];
            px[2] = px[3] - px[2];
        }
    }
    const char* kind() const override { return "color-invert"; }
};

CIImage colorMatrix(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const CIVector rows[4] = {f.vectorForKey("inputRVector"), f.vectorForKey("inputGVector"),
                              f.vectorForKey("inputBVector"), f.vectorForKey("inputAVector")};
    return CIImage::imageWithNode(std::make_shared<ColorMatrixNode>(in.node(), rows, f.vectorForKey("inputBiasVector")));
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
