// Stylize built-ins: glows, mosaics, edges and line art, height fields and
// shading.

#include <algorithm>
#include <cmath>

#include "platform/builtins/BuiltinFilter.h"
#include "platform/builtins/blur/NeighbourhoodNodes.h"
#include "platform/builtins/blur/SeparableBlur.h"
#include "platform/builtins/stylize/StylizeNodes.h"
#include "platform/image/Pixel4.h"

namespace cif::builtins {

namespace {

using engine::loadPixel;
using engine::Pixel4;
using engine::storePixel;

double finiteOr(double v, double fallback) {
    return std::isfinite(v) ? v : fallback;
}

double nonNegative(double v, double maxValue) {
    return v > 0 && std::isfinite(v) ? std::min(v, maxValue) : 0.0;
}

inline float luma(Pixel4 p) {
    return 0.2126f * p[0] + 0.7152f * p[1] + 0.0722f * p[2];
}

// The input blurred (Gaussian, standard deviation sigma) and combined with
// itself by finish; the input's extent is kept.
CIImage withBlur(const CIImage& in, double sigma, std::shared_ptr<const blur::BlurFinish> finish) {
    const blur::Kernel1D k = blur::gaussianKernel(sigma);
    return CIImage::imageWithNode(
        std::make_shared<blur::SeparableBlurNode>(in.node(), k, k, std::move(finish)));
}

// ---------------------------------------------------------------- glows

// Bloom: the blur screened onto the picture, scaled by intensity:
// in + k * blur * (1 - in) on each colour channel; alpha is kept.
class BloomFinish final : public blur::BlurFinish {
public:
    explicit BloomFinish(float k) : m_k(k) {}
    void apply(const float* original, float* blurred, int n) const override {
        for (int i = 0; i < n; ++i, original += 4, blurred += 4) {
            const Pixel4 o = loadPixel(original), b = loadPixel(blurred);
            Pixel4 r = o + m_k * b * (o[3] - o);
            r[3] = o[3];
            storePixel(blurred, r);
        }
    }

private:
    float m_k;
};

// Gloom: highlights pulled down to the blur: in + k * (min(in, blur) - in).
class GloomFinish final : public blur::BlurFinish {
public:
    explicit GloomFinish(float k) : m_k(k) {}
    void apply(const float* original, float* blurred, int n) const override {
        for (int i = 0; i < n; ++i, original += 4, blurred += 4) {
            const Pixel4 o = loadPixel(original), b = loadPixel(blurred);
            const Pixel4 lo = b < o ? b : o;
            Pixel4 r = o + m_k * (lo - o);
            r[3] = o[3];
            storePixel(blurred, r);
        }
    }

private:
    float m_k;
};

template <typename Finish>
CIImage glow(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const double k = nonNegative(f.numberForKey("inputIntensity"), 1e3);
    const double r = nonNegative(f.numberForKey("inputRadius"), blur::kMaxSigma);
    if (k == 0 || r == 0) return in;
    return withBlur(in, r, std::make_shared<Finish>(float(k)));
}

// ---------------------------------------------------------------- mosaics

// Cells wider than this would make each tile render millions of input
// pixels for a handful of sites.
constexpr double kMaxCell = 500.0;

template <stylize::CellNode::Kind K>
CIImage cells(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const bool square =
        K == stylize::CellNode::Kind::Square || K == stylize::CellNode::Kind::Hexagon;
    const double size = finiteOr(f.numberForKey(square ? "inputScale" : "inputRadius"), 1);
    const CIVector c = f.vectorForKey("inputCenter");
    const double cx = std::clamp(finiteOr(c.X(), 0), -1e7, 1e7);
    const double cy = std::clamp(finiteOr(c.Y(), 0), -1e7, 1e7);
    // A one-pixel square cell is the picture itself.
    if (size <= 1 && K == stylize::CellNode::Kind::Square && cx == std::floor(cx) &&
        cy == std::floor(cy))
        return in;
    // Dots of the given radius sit on a grid twice as wide, so paper shows
    // between them.
    const double grid = K == stylize::CellNode::Kind::Pointillize ? 2 * size : size;
    return CIImage::imageWithNode(
        std::make_shared<stylize::CellNode>(in.node(), K, std::clamp(grid, 1.0, kMaxCell), cx, cy));
}

// ---------------------------------------------------------------- edges and lines

CIImage edges(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const double k = nonNegative(f.numberForKey("inputIntensity"), 1e6);
    return CIImage::imageWithNode(std::make_shared<stylize::EdgesNode>(in.node(), k));
}

// A woodcut: black where a pixel is darker than its surroundings (the blur
// of radius), white elsewhere, with a short ramp; the input's alpha is kept.
class EdgeWorkFinish final : public blur::BlurFinish {
public:
    void apply(const float* original, float* blurred, int n) const override {
        for (int i = 0; i < n; ++i, original += 4, blurred += 4) {
            const Pixel4 o = loadPixel(original), b = loadPixel(blurred);
            const float d = luma(o) - luma(b);
            const float v = std::clamp(1.0f + 25.0f * d, 0.0f, 1.0f) * o[3];
            storePixel(blurred, Pixel4{v, v, v, o[3]});
        }
    }
};

CIImage edgeWork(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const double r = std::max(0.5, nonNegative(f.numberForKey("inputRadius"), 200));
    return withBlur(in, r, std::make_shared<EdgeWorkFinish>());
}

// Black lines whose opacity is (edge luminance - threshold) * contrast,
// transparent elsewhere.
class LineOverlayNode final : public engine::PointNode {
public:
    LineOverlayNode(engine::NodePtr edges, float threshold, float contrast)
        : PointNode(std::move(edges)), m_threshold(threshold), m_contrast(contrast) {}
    void applySpan(float* px, int n, int, int, const engine::RenderState&) const override {
        for (int i = 0; i < n; ++i, px += 4) {
            const float a =
                std::clamp((luma(loadPixel(px)) - m_threshold) * m_contrast, 0.0f, 1.0f);
            storePixel(px, Pixel4{0, 0, 0, a});
        }
    }
    const char* kind() const override { return "line-overlay"; }

private:
    float m_threshold, m_contrast;
};

CIImage lineOverlayOf(const CIImage& in, double level, double sharpness, double edgeIntensity,
                      double threshold, double contrast) {
    const auto smooth = std::make_shared<blur::NoiseReductionNode>(in.node(), level, sharpness);
    const auto e = std::make_shared<stylize::EdgesNode>(smooth, edgeIntensity);
    return CIImage::imageWithNode(
        std::make_shared<LineOverlayNode>(e, float(threshold), float(contrast)));
}

CIImage lineOverlay(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    return lineOverlayOf(in, nonNegative(f.numberForKey("inputNRNoiseLevel"), 1e3),
                         nonNegative(f.numberForKey("inputNRSharpness"), 1e3),
                         nonNegative(f.numberForKey("inputEdgeIntensity"), 1e6),
                         std::clamp(finiteOr(f.numberForKey("inputThreshold"), 0.1), -1e3, 1e3),
                         nonNegative(f.numberForKey("inputContrast"), 1e6));
}

// Line art (the line overlay at its defaults) over a CMYK halftone of the
// picture.
CIImage comicEffect(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    CIImage base = in;
    if (auto halftone = CIFilter::filterWithName(QStringLiteral("CICMYKHalftone"))) {
        halftone->setValueForKey(QVariant::fromValue(in), kCIInputImageKey);
        halftone->setValueForKey(QVariant::fromValue(CIVector{0, 0}),
                                 QStringLiteral("inputCenter"));
        halftone->setValueForKey(4.0, QStringLiteral("inputWidth"));
        const CIImage h = halftone->outputImage();
        if (!h.isNull()) base = h;
    }
    return lineOverlayOf(in, 0.07, 0.71, 1.0, 0.1, 50.0).imageByCompositingOverImage(base);
}

// ---------------------------------------------------------------- height and shading

// A loft: 0 at the mask's edge (where the blurred mask is one half), rising
// like a quarter circle to 1 about radius inside it. Opaque grey.
class HeightFinish final : public blur::BlurFinish {
public:
    void apply(const float*, float* blurred, int n) const override {
        for (int i = 0; i < n; ++i, blurred += 4) {
            const float t = std::clamp(2.0f * luma(loadPixel(blurred)) - 1.0f, 0.0f, 1.0f);
            const float h = std::sqrt(t * (2.0f - t));
            storePixel(blurred, Pixel4{h, h, h, 1});
        }
    }
};

CIImage heightFieldFromMask(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const double r = std::max(1.0, nonNegative(f.numberForKey("inputRadius"), 2 * blur::kMaxSigma));
    return withBlur(in, r / 2, std::make_shared<HeightFinish>());
}

CIImage shadedMaterial(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    const CIImage shading = f.imageForKey("inputShadingImage");
    if (in.isNull() || shading.isNull()) return {};
    const engine::Rect se = shading.node()->extent();
    if (se.isInfinite() || engine::coveringPixels(se).area() > (int64_t(1) << 24) ||
        engine::coveringPixels(se).isEmpty())
        return in;
    const double scale = std::clamp(finiteOr(f.numberForKey("inputScale"), 10), -1e6, 1e6);
    return CIImage::imageWithNode(
        std::make_shared<stylize::ShadedMaterialNode>(in.node(), shading.node(), scale));
}

}  // namespace

std::vector<BuiltinDef> stylizeBuiltins() {
    using K = stylize::CellNode::Kind;
    return {
        {"CIBloom", glow<BloomFinish>},
        {"CIGloom", glow<GloomFinish>},
        {"CIPixellate", cells<K::Square>},
        {"CIHexagonalPixellate", cells<K::Hexagon>},
        {"CICrystallize", cells<K::Crystal>},
        {"CIPointillize", cells<K::Pointillize>},
        {"CIEdges", edges},
        {"CIEdgeWork", edgeWork},
        {"CILineOverlay", lineOverlay},
        {"CIComicEffect", comicEffect},
        {"CIHeightFieldFromMask", heightFieldFromMask},
        {"CIShadedMaterial", shadedMaterial},
    };
}

}  // namespace cif::builtins
