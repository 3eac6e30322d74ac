#pragma once
// Small colour helpers shared by the per-pixel colour built-ins: the sRGB
// curve over the whole float range, CIE L*a*b*, a monotone tone curve, and a
// point node that hands an operation straight (unpremultiplied) colours.

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>
#include <vector>

#include "platform/image/ColorSpace.h"
#include "platform/image/Node.h"

namespace cif::builtins::color {

// Rec. 709 luminance weights, the luma of linear sRGB primaries.
inline constexpr float kLumaR = 0.2126f, kLumaG = 0.7152f, kLumaB = 0.0722f;

inline float luma(const float* c) {
    return kLumaR * c[0] + kLumaG * c[1] + kLumaB * c[2];
}

inline float finiteOr(double v, double fallback) {
    return float(std::isfinite(v) ? v : fallback);
}

// The sRGB curves extended beyond [0, 1]: mirrored for negative values and
// continued by the same power above 1, so extended-range colours survive a
// round trip.
float encodeSrgb(float v);
float decodeSrgb(float v);

// CIE L*a*b* (D65 white) of a linear sRGB colour, and the colour difference
// Delta E 1994 (graphic arts weights) between two such colours.
void linearToLab(const float rgb[3], float lab[3]);
float deltaE94(const float lab1[3], const float lab2[3]);

// A curve through control points (x increasing), monotone between them
// (Fritsch-Carlson cubic Hermite), flat beyond the first and last point. At
// a control point it gives that point's y exactly.
class ToneCurve {
public:
    ToneCurve() = default;
    // Points are sorted by x; points with the same x as an earlier one are
    // dropped. Fewer than two points give the identity.
    explicit ToneCurve(std::vector<std::pair<float, float>> points);
    float operator()(float x) const;
    bool isIdentity() const { return m_identity; }

private:
    std::vector<float> m_x, m_y, m_slope;
    bool m_identity = true;
};

// Where an operation wants its straight colours: as the working space holds
// them, or sRGB-encoded (perceptual), whatever the working space.
enum class Encoding { Working, Perceptual };

// Hands Op straight RGBA (colour divided by alpha; a transparent pixel is all
// zero) and the pixel's position, then premultiplies what Op leaves. Op is
//   void operator()(float rgba[4], int x, int y) const
// and may change alpha. In the perceptual encoding the colour is encoded
// before and decoded after (a context without colour management already
// holds encoded values).
template <class Op>
class StraightNode final : public engine::PointNode {
public:
    StraightNode(engine::NodePtr input, Op op, Encoding encoding, const char* kind)
        : PointNode(std::move(input)), m_op(std::move(op)), m_encoding(encoding), m_kind(kind) {}
    void applySpan(float* px, int n, int x, int y,
                   const engine::RenderState& state) const override {
        const bool encode =
            m_encoding == Encoding::Perceptual && state.space == engine::WorkingSpace::LinearSRGB;
        for (int i = 0; i < n; ++i, px += 4) {
            const float a = px[3];
            float c[4] = {0, 0, 0, 0};
            if (a > 0.0f) {
                const float inv = 1.0f / a;
                for (int k = 0; k < 3; ++k)
                    c[k] = encode ? encodeSrgb(px[k] * inv) : px[k] * inv;
                c[3] = a;
            }
            m_op(c, x + i, y);
            const float outA = c[3] > 0.0f ? c[3] : 0.0f;  // NaN becomes 0
            for (int k = 0; k < 3; ++k)
                px[k] = (encode ? decodeSrgb(c[k]) : c[k]) * outA;
            px[3] = outA;
        }
    }
    const char* kind() const override { return m_kind; }

private:
    Op m_op;
    Encoding m_encoding;
    const char* m_kind;
};

template <class Op>
engine::NodePtr straightNode(engine::NodePtr input, Op op, Encoding encoding, const char* kind) {
    return std::make_shared<StraightNode<Op>>(std::move(input), std::move(op), encoding, kind);
}

// A 3 x 3 matrix on linear colour (row-major), applied to premultiplied
// pixels (it commutes with premultiplication); alpha is kept.
engine::NodePtr linearMatrixNode(engine::NodePtr input, const std::array<double, 9>& m);

}  // namespace cif::builtins::color
