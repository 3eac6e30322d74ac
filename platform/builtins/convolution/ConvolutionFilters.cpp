// Convolution built-ins: square kernels of 3, 5 and 7 and 9-tap rows and
// columns, over all four channels or over colour only, and the Gabor
// gradient pair.
//
// Weights are given row by row with the first row at the top (the highest
// y of the engine's upward y axis), left to right: the weight in row r and
// column c of an n-wide kernel multiplies the input at (x + c - n/2,
// y + n/2 - r) (a correlation, as the kernel reads on the screen). The
// all-channel filters add the bias to every channel; the RGB filters
// convolve the colour channels, add the bias times the pixel's coverage and
// keep the input's alpha.

#include <QtGlobal>
#include <algorithm>
#include <cmath>
#include <vector>

#include "platform/builtins/BuiltinFilter.h"
#include "platform/builtins/convolution/ConvolutionSpans.h"
#include "platform/image/Node.h"

namespace cif::builtins {

namespace {

using engine::IRect;
using engine::NodePtr;
using engine::PixelBuffer;
using engine::PooledBuffer;
using engine::Rect;
using engine::RenderState;

Rect grown(const Rect& r, int dx, int dy) {
    return r.isInfinite() || r.isEmpty() ? r : r.inset(-dx, -dy);
}

struct Tap {
    int dx, dy;
    float w;
};

class ConvolutionNode final : public engine::Node {
public:
    ConvolutionNode(NodePtr input, std::vector<Tap> taps, int rx, int ry, float bias, bool rgbOnly)
        : Node({input}, extentFor(input->extent(), rx, ry, bias, rgbOnly)),
          m_rx(rx),
          m_ry(ry),
          m_bias(bias),
          m_rgbOnly(rgbOnly) {
        for (const Tap& t : taps) {
            m_dx.push_back(t.dx);
            m_dy.push_back(t.dy);
            m_w.push_back(t.w);
        }
    }
    Rect regionOfInterest(size_t, const Rect& output) const override {
        return output.inset(-m_rx, -m_ry);
    }
    void render(PixelBuffer& dst, const RenderState& state) const override {
        const IRect area = dst.rect().intersected(engine::coveringPixels(extent()));
        if (area.isEmpty()) {
            dst.fillTransparent();
            return;
        }
        const IRect roi{area.x - m_rx, area.y - m_ry, area.w + 2 * m_rx, area.h + 2 * m_ry};
        PooledBuffer in(roi);
        engine::renderNode(*inputs().front(), *in, state);
        const int taps = int(m_w.size());
        std::vector<const float*> src(size_t(std::max(taps, 1)));
        for (int y = area.y; y < area.top(); ++y) {
            float* out = dst.at(area.x, y);
            for (int t = 0; t < taps; ++t)
                src[size_t(t)] = in->at(area.x + m_dx[size_t(t)], y + m_dy[size_t(t)]);
            convolveSpan(src.data(), m_w.data(), taps, out, 4 * area.w);
            if (m_rgbOnly) {
                const float* centre = in->at(area.x, y);
                for (int i = 0; i < area.w; ++i, out += 4, centre += 4) {
                    const float a = centre[3];
                    for (int k = 0; k < 3; ++k)
                        out[k] = out[k] + m_bias * a;
                    out[3] = a;
                }
            } else if (m_bias != 0.0f) {
                for (int i = 0; i < 4 * area.w; ++i)
                    out[i] = out[i] + m_bias;
            }
        }
        dst.clearOutside(area);
    }
    const char* kind() const override { return m_rgbOnly ? "convolution-rgb" : "convolution"; }

private:
    // Colour-only results keep the input's coverage; all-channel results
    // reach as far as the kernel, or everywhere when a bias lifts the
    // transparent surroundings.
    static Rect extentFor(const Rect& in, int rx, int ry, float bias, bool rgbOnly) {
        if (rgbOnly) return in;
        if (bias != 0.0f) return Rect::infinite();
        return grown(in, rx, ry);
    }
    int m_rx, m_ry;
    float m_bias;
    bool m_rgbOnly;
    std::vector<int> m_dx, m_dy;
    std::vector<float> m_w;
};

// A kernel `cols` wide and `rows` high from the weights input; missing or
// non-finite weights count as 0, and zero weights are left out of the sum.
template <int Cols, int Rows, bool RgbOnly>
CIImage convolution(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const CIVector weights = f.vectorForKey(QStringLiteral("inputWeights"));
    const double biasValue = f.numberForKey(QStringLiteral("inputBias"));
    const float bias = float(std::clamp(std::isfinite(biasValue) ? biasValue : 0.0, -1e6, 1e6));
    constexpr int rx = Cols / 2, ry = Rows / 2;
    std::vector<Tap> taps;
    bool identity = bias == 0.0f;
    for (int r = 0; r < Rows; ++r)
        for (int c = 0; c < Cols; ++c) {
            const double v = weights.valueAtIndex(size_t(r * Cols + c));
            const float w = std::isfinite(v) ? float(std::clamp(v, -1e6, 1e6)) : 0.0f;
            const bool centre = r == ry && c == rx;
            identity = identity && w == (centre ? 1.0f : 0.0f);
            if (w != 0.0f) taps.push_back({c - rx, ry - r, w});
        }
    if (identity) return in;
    return CIImage::imageWithNode(
        std::make_shared<ConvolutionNode>(in.node(), std::move(taps), rx, ry, bias, RgbOnly));
}

// ---------------------------------------------------------------- Gabor

// Odd Gabor filters 5 x 5, sigma 1.2 and wavelength 6 pixels: the sine
// across the gradient's direction under a Gaussian, scaled so that a ramp
// rising by 1 per pixel answers 1. Applied to the luminance; the result
// holds the horizontal gradient (towards +x) in red and the vertical one
// (towards +y, up) in green, with blue 0 and alpha 1 over the input's
// extent.
class GaborNode final : public engine::Node {
public:
    explicit GaborNode(NodePtr input) : Node({input}, input->extent()) {
        double sum = 0;
        for (int y = -2; y <= 2; ++y)
            for (int x = -2; x <= 2; ++x) {
                const double g =
                    std::exp(-(x * x + y * y) / (2 * 1.2 * 1.2)) * std::sin(2 * M_PI * x / 6.0);
                m_kernel[size_t((y + 2) * 5 + x + 2)] = float(g);
                sum += g * x;
            }
        for (float& k : m_kernel)
            k = float(k / sum);
    }
    Rect regionOfInterest(size_t, const Rect& output) const override {
        return output.inset(-2, -2);
    }
    void render(PixelBuffer& dst, const RenderState& state) const override {
        const IRect area = dst.rect().intersected(engine::coveringPixels(extent()));
        if (area.isEmpty()) {
            dst.fillTransparent();
            return;
        }
        const IRect roi{area.x - 2, area.y - 2, area.w + 4, area.h + 4};
        PooledBuffer in(roi);
        engine::renderNode(*inputs().front(), *in, state);
        std::vector<float> lum(size_t(roi.area()));
        const float* p = in->data();
        for (size_t i = 0; i < lum.size(); ++i, p += 4)
            lum[i] = 0.2126f * p[0] + 0.7152f * p[1] + 0.0722f * p[2];
        for (int y = area.y; y < area.top(); ++y) {
            float* out = dst.at(area.x, y);
            for (int i = 0; i < area.w; ++i, out += 4) {
                float gx = 0.0f, gy = 0.0f;
                for (int dy = -2; dy <= 2; ++dy) {
                    const float* l = &lum[size_t(y + dy - roi.y) * size_t(roi.w) + size_t(i + 2)];
                    for (int dx = -2; dx <= 2; ++dx) {
                        // The horizontal kernel at (dx, dy); the vertical one is its transpose.
                        gx = gx + m_kernel[size_t((dy + 2) * 5 + dx + 2)] * l[dx];
                        gy = gy + m_kernel[size_t((dx + 2) * 5 + dy + 2)] * l[dx];
                    }
                }
                out[0] = gx;
                out[1] = gy;
                out[2] = 0.0f;
                out[3] = 1.0f;
            }
        }
        dst.clearOutside(area);
    }
    const char* kind() const override { return "gabor-gradients"; }

private:
    std::array<float, 25> m_kernel{};
};

CIImage gaborGradients(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    return CIImage::imageWithNode(std::make_shared<GaborNode>(in.node()));
}

}  // namespace

std::vector<BuiltinDef> convolutionBuiltins() {
    return {
        {"CIConvolution3X3", convolution<3, 3, false>},
        {"CIConvolution5X5", convolution<5, 5, false>},
        {"CIConvolution7X7", convolution<7, 7, false>},
        {"CIConvolution9Horizontal", convolution<9, 1, false>},
        {"CIConvolution9Vertical", convolution<1, 9, false>},
        {"CIConvolutionRGB3X3", convolution<3, 3, true>},
        {"CIConvolutionRGB5X5", convolution<5, 5, true>},
        {"CIConvolutionRGB7X7", convolution<7, 7, true>},
        {"CIConvolutionRGB9Horizontal", convolution<9, 1, true>},
        {"CIConvolutionRGB9Vertical", convolution<1, 9, true>},
        {"CIGaborGradients", gaborGradients},
    };
}

}  // namespace cif::builtins
