// Colour built-ins that compare two pictures, look colours up in a palette,
// or need more than the pixel itself: absolute difference, Delta E, Otsu's
// threshold, palettes, palette centroids and the highlight and shadow
// adjustment.

#include <QtGlobal>
#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "platform/builtins/BuiltinFilter.h"
#include "platform/builtins/color/ColorMath.h"
#include "platform/builtins/reduction/AreaScan.h"

namespace cif::builtins {

namespace {

using engine::IRect;
using engine::NodePtr;
using engine::PixelBuffer;
using engine::PooledBuffer;
using engine::Rect;
using engine::RenderState;
using engine::WorkingSpace;

// Straight colour of a premultiplied pixel; all zero where it is transparent.
void straight(const float* p, float* c) {
    const float a = p[3];
    const float inv = a > 0.0f ? 1.0f / a : 0.0f;
    for (int k = 0; k < 3; ++k)
        c[k] = p[k] * inv;
    c[3] = a > 0.0f ? a : 0.0f;
}

// Straight linear colour whatever the working space holds.
void linearStraight(const float* p, float* c, WorkingSpace space) {
    straight(p, c);
    if (space == WorkingSpace::None)
        for (int k = 0; k < 3; ++k)
            c[k] = color::decodeSrgb(c[k]);
}

// Two pictures combined pixel by pixel into a result over the intersection of
// their extents. Op is void operator()(const float* a, const float* b,
// float* out, WorkingSpace) on premultiplied pixels.
template <class Op>
class PairNode final : public engine::Node {
public:
    PairNode(NodePtr a, NodePtr b, Op op, const char* kind)
        : Node({a, b}, a->extent().intersected(b->extent())), m_op(op), m_kind(kind) {}
    bool readsSinglePixels() const override { return true; }
    void render(PixelBuffer& dst, const RenderState& state) const override {
        const IRect area = dst.rect().intersected(engine::coveringPixels(extent()));
        if (area.isEmpty()) {
            dst.fillTransparent();
            return;
        }
        PooledBuffer a(area), b(area);
        engine::renderNode(*inputs()[0], *a, state);
        engine::renderNode(*inputs()[1], *b, state);
        for (int y = area.y; y < area.top(); ++y) {
            const float* pa = a->row(y);
            const float* pb = b->row(y);
            float* out = dst.at(area.x, y);
            for (int i = 0; i < area.w; ++i)
                m_op(pa + 4 * i, pb + 4 * i, out + 4 * i, state.space);
        }
        dst.clearOutside(area);
    }
    const char* kind() const override { return m_kind; }

private:
    Op m_op;
    const char* m_kind;
};

template <class Op>
CIImage pair(const CIFilter& f, Op op, const char* kind) {
    const CIImage a = f.imageForKey(kCIInputImageKey), b = f.imageForKey("inputImage2");
    if (a.isNull() || b.isNull()) return {};
    return CIImage::imageWithNode(std::make_shared<PairNode<Op>>(a.node(), b.node(), op, kind));
}

// |a - b| of the straight colours, with the product of the alphas as alpha.
CIImage absoluteDifference(const CIFilter& f) {
    return pair(
        f,
        [](const float* pa, const float* pb, float* out, WorkingSpace) {
            float a[4], b[4];
            straight(pa, a);
            straight(pb, b);
            const float alpha = a[3] * b[3];
            for (int k = 0; k < 3; ++k)
                out[k] = std::abs(a[k] - b[k]) * alpha;
            out[3] = alpha;
        },
        "absolute-difference");
}

// Delta E 1994 between the two pictures' colours, as a number from 0 (the
// same) to about 100 in every colour channel, opaque; 2 is about the
// smallest difference the eye sees. The values are data, not a colour: read
// them from a context without colour management.
CIImage labDeltaE(const CIFilter& f) {
    return pair(
        f,
        [](const float* pa, const float* pb, float* out, WorkingSpace space) {
            float a[4], b[4], la[3], lb[3];
            linearStraight(pa, a, space);
            linearStraight(pb, b, space);
            color::linearToLab(a, la);
            color::linearToLab(b, lb);
            const float d = color::deltaE94(la, lb);
            out[0] = out[1] = out[2] = d;
            out[3] = 1.0f;
        },
        "lab-delta-e");
}

// ---------------------------------------------------------------- Otsu

// The pixels a whole-picture pass reads, or empty (with a warning) when the
// picture is infinite or too large for one.
IRect scanArea(const CIImage& image, const char* filter) {
    const Rect e = image.node()->extent();
    if (e.isEmpty()) return {};
    const IRect pixels = e.isUnbounded() ? IRect{} : engine::coveringPixels(e);
    if (pixels.isEmpty() || pixels.area() > reduction::kMaxScanPixels) {
        qWarning("%s: the picture is infinite or too large to analyse", filter);
        return {};
    }
    return pixels;
}

// Binarises each colour channel at the threshold Otsu's method finds for the
// picture's luminance: the split of a 256-bin histogram of straight
// luminance in [0, 1] with the largest variance between the two classes.
class OtsuNode final : public engine::PointNode {
public:
    OtsuNode(NodePtr input, const IRect& area) : PointNode(std::move(input)), m_area(area) {}

    void applySpan(float* px, int n, int, int, const RenderState& state) const override {
        std::vector<float> t;
        if (!m_threshold.get(state, t,
                             [&](std::vector<float>& out) { return compute(state, out); }))
            return;
        for (int i = 0; i < n; ++i, px += 4) {
            const float a = px[3];
            if (!(a > 0.0f)) continue;
            for (int k = 0; k < 3; ++k)
                px[k] = px[k] / a >= t[0] ? a : 0.0f;
        }
    }
    const char* kind() const override { return "otsu-threshold"; }

private:
    bool compute(const RenderState& state, std::vector<float>& out) const {
        std::vector<double> histogram(256, 0.0);
        double total = 0;
        const bool ok = reduction::scanRows(*input(), m_area, state, [&](const float* p, int) {
            for (int i = 0; i < m_area.w; ++i, p += 4) {
                if (!(p[3] > 0.0f)) continue;
                const float l = color::luma(p) / p[3];
                const int bin = l > 0.0f ? std::min(int(l * 256.0f), 255) : 0;
                histogram[size_t(bin)] += 1;
                total += 1;
            }
        });
        if (!ok) return false;
        double sumAll = 0;
        for (int i = 0; i < 256; ++i)
            sumAll += i * histogram[size_t(i)];
        double best = -1, weight0 = 0, sum0 = 0;
        int split = 127;
        for (int i = 0; i < 256; ++i) {
            weight0 += histogram[size_t(i)];
            sum0 += i * histogram[size_t(i)];
            const double weight1 = total - weight0;
            if (weight0 <= 0 || weight1 <= 0) continue;
            const double m0 = sum0 / weight0, m1 = (sumAll - sum0) / weight1;
            const double between = weight0 * weight1 * (m0 - m1) * (m0 - m1);
            if (between > best) {
                best = between;
                split = i;
            }
        }
        // Values in bins up to the split are below the threshold, the rest
        // at or above it.
        out = {float(split + 1) / 256.0f};
        return true;
    }

    IRect m_area;
    reduction::ScanResult m_threshold;
};

CIImage thresholdOtsu(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const IRect area = scanArea(in, "CIColorThresholdOtsu");
    if (area.isEmpty()) return in;
    return CIImage::imageWithNode(std::make_shared<OtsuNode>(in.node(), area));
}

// ---------------------------------------------------------------- palettes

// The most palette entries used; the palette is the palette image's bottom
// row of pixels.
constexpr int kMaxPalette = 1024;

// Colours compared in the space the filters measure distance in: straight
// working-space colour, or CIE L*a*b* when perceptual.
void measure(const float* p, float* out, bool perceptual, WorkingSpace space) {
    if (perceptual) {
        float c[4];
        linearStraight(p, c, space);
        color::linearToLab(c, out);
    } else {
        float c[4];
        straight(p, c);
        out[0] = c[0];
        out[1] = c[1];
        out[2] = c[2];
    }
}

struct Palette {
    std::vector<float> measured;  // 3 per entry
    std::vector<float> colours;   // straight RGB, 3 per entry
    int size() const { return int(colours.size() / 3); }
    // The nearest entry; the first of equally near ones.
    int nearest(const float* m) const {
        int best = 0;
        float bestD = std::numeric_limits<float>::infinity();
        for (int i = 0; i < size(); ++i) {
            const float* q = &measured[size_t(3 * i)];
            const float d0 = m[0] - q[0], d1 = m[1] - q[1], d2 = m[2] - q[2];
            const float d = d0 * d0 + d1 * d1 + d2 * d2;
            if (d < bestD) {
                bestD = d;
                best = i;
            }
        }
        return best;
    }
};

Palette readPalette(const engine::Node& node, const IRect& row, bool perceptual,
                    const RenderState& state) {
    Palette p;
    PooledBuffer px(row);
    engine::renderNode(node, *px, state);
    for (int i = 0; i < row.w; ++i) {
        const float* q = px->data() + 4 * i;
        float c[4], m[3];
        straight(q, c);
        measure(q, m, perceptual, state.space);
        p.colours.insert(p.colours.end(), c, c + 3);
        p.measured.insert(p.measured.end(), m, m + 3);
    }
    return p;
}

IRect paletteRow(const CIImage& palette) {
    if (palette.isNull() || palette.node()->extent().isUnbounded()) return {};
    const IRect pixels = engine::coveringPixels(palette.node()->extent());
    if (pixels.isEmpty()) return {};
    return {pixels.x, pixels.y, std::min(pixels.w, kMaxPalette), 1};
}

// Every pixel takes the nearest palette colour (its own alpha kept).
class PalettizeNode final : public engine::Node {
public:
    PalettizeNode(NodePtr input, NodePtr palette, const IRect& row, bool perceptual)
        : Node({input, std::move(palette)}, input->extent()),
          m_row(row),
          m_perceptual(perceptual) {}
    Rect regionOfInterest(size_t index, const Rect& output) const override {
        return index == 0 ? output : m_row.toRect();
    }
    void render(PixelBuffer& dst, const RenderState& state) const override {
        const IRect area = dst.rect().intersected(engine::coveringPixels(extent()));
        if (area.isEmpty()) {
            dst.fillTransparent();
            return;
        }
        engine::renderNode(*inputs()[0], dst, state);
        const Palette palette = readPalette(*inputs()[1], m_row, m_perceptual, state);
        for (int y = area.y; y < area.top(); ++y) {
            float* px = dst.at(area.x, y);
            for (int i = 0; i < area.w; ++i, px += 4) {
                const float a = px[3];
                if (!(a > 0.0f)) {
                    px[0] = px[1] = px[2] = px[3] = 0.0f;
                    continue;
                }
                float m[3];
                measure(px, m, m_perceptual, state.space);
                const float* c = &palette.colours[size_t(3 * palette.nearest(m))];
                for (int k = 0; k < 3; ++k)
                    px[k] = c[k] * a;
            }
        }
        dst.clearOutside(area);
    }
    const char* kind() const override { return "palettize"; }

private:
    IRect m_row;
    bool m_perceptual;
};

CIImage palettize(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const CIImage palette = f.imageForKey("inputPaletteImage");
    const IRect row = paletteRow(palette);
    if (row.isEmpty()) return in;
    return CIImage::imageWithNode(std::make_shared<PalettizeNode>(
        in.node(), palette.node(), row, f.numberForKey("inputPerceptual") != 0));
}

// Where each palette colour lies in the picture: for every palette entry the
// mean position (engine coordinates of pixel centres) of the pixels whose
// nearest palette colour it is, weighted by their coverage. The result has
// the palette's size and place; each pixel holds (mean x, mean y, the
// fraction of the picture's coverage the entry took, 1). Entries no pixel
// chose hold (0, 0, 0, 1). The values are data, not colours.
class PaletteCentroidNode final : public engine::Node {
public:
    PaletteCentroidNode(NodePtr input, NodePtr palette, const IRect& area, const IRect& row,
                        bool perceptual)
        : Node({input, std::move(palette)}, row.toRect()),
          m_area(area),
          m_row(row),
          m_perceptual(perceptual) {}
    Rect regionOfInterest(size_t index, const Rect&) const override {
        return index == 0 ? m_area.toRect() : m_row.toRect();
    }
    void render(PixelBuffer& dst, const RenderState& state) const override {
        std::vector<float> values;
        const auto compute = [&](std::vector<float>& out) {
            const Palette palette = readPalette(*inputs()[1], m_row, m_perceptual, state);
            std::vector<double> sums(size_t(palette.size()) * 3, 0.0);
            double total = 0;
            const bool ok =
                reduction::scanRows(*inputs()[0], m_area, state, [&](const float* p, int y) {
                    for (int i = 0; i < m_area.w; ++i, p += 4) {
                        const float a = p[3];
                        if (!(a > 0.0f)) continue;
                        float m[3];
                        measure(p, m, m_perceptual, state.space);
                        double* s = &sums[size_t(3 * palette.nearest(m))];
                        s[0] += a * (m_area.x + i + 0.5);
                        s[1] += a * (y + 0.5);
                        s[2] += a;
                        total += a;
                    }
                });
            if (!ok) return false;
            out.assign(size_t(m_row.w) * 4, 0.0f);
            for (int i = 0; i < palette.size(); ++i) {
                const double* s = &sums[size_t(3 * i)];
                float* o = &out[size_t(4 * i)];
                if (s[2] > 0) {
                    o[0] = float(s[0] / s[2]);
                    o[1] = float(s[1] / s[2]);
                    o[2] = float(s[2] / total);
                }
                o[3] = 1.0f;
            }
            return true;
        };
        dst.fillTransparent();
        if (!m_result.get(state, values, compute)) return;
        const IRect area = dst.rect().intersected(m_row);
        for (int x = area.x; x < area.right(); ++x)
            std::copy_n(&values[size_t(4 * (x - m_row.x))], 4, dst.at(x, m_row.y));
    }
    const char* kind() const override { return "palette-centroid"; }

private:
    IRect m_area, m_row;
    bool m_perceptual;
    reduction::ScanResult m_result;
};

CIImage paletteCentroid(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const CIImage palette = f.imageForKey("inputPaletteImage");
    const IRect row = paletteRow(palette);
    if (row.isEmpty()) return {};
    const IRect area = scanArea(in, "CIPaletteCentroid");
    if (area.isEmpty()) return {};
    return CIImage::imageWithNode(std::make_shared<PaletteCentroidNode>(
        in.node(), palette.node(), area, row, f.numberForKey("inputPerceptual") != 0));
}

// ---------------------------------------------------------------- highlights and shadows

// Tones moved on the perceptual (sRGB-encoded) luminance l of each pixel, or
// of its surroundings (a Gaussian blur of the given radius) so that local
// contrast survives: shadows become l + s l (1 - l)^2 (s from -1 to 1, 0
// leaves them), then highlights l - (1 - h) l^3 / 3 (h from 0 to 1, 1 leaves
// them). The pixel's colour is scaled by the ratio of new to old linear
// luminance, so hues are kept.
class HighlightShadowNode final : public engine::Node {
public:
    HighlightShadowNode(NodePtr input, NodePtr base, float shadow, float highlight)
        : Node({input, std::move(base)}, input->extent()),
          m_shadow(shadow),
          m_highlight(highlight) {}
    void render(PixelBuffer& dst, const RenderState& state) const override {
        const IRect area = dst.rect().intersected(engine::coveringPixels(extent()));
        if (area.isEmpty()) {
            dst.fillTransparent();
            return;
        }
        engine::renderNode(*inputs()[0], dst, state);
        const bool ownBase = inputs()[1] == inputs()[0];
        PooledBuffer base(ownBase ? IRect{0, 0, 1, 1} : area);
        if (!ownBase) engine::renderNode(*inputs()[1], *base, state);
        for (int y = area.y; y < area.top(); ++y) {
            float* px = dst.at(area.x, y);
            const float* b = ownBase ? px : base->row(y);
            for (int i = 0; i < area.w; ++i, px += 4) {
                float c[4];
                linearStraight(ownBase ? px : b + 4 * i, c, state.space);
                const float lum = color::luma(c);
                if (!(lum > 0.0f)) continue;
                const float l = std::min(color::encodeSrgb(lum), 1.0f);
                float l2 = l + m_shadow * l * (1.0f - l) * (1.0f - l);
                l2 = l2 - (1.0f - m_highlight) * l2 * l2 * l2 / 3.0f;
                float gain = color::decodeSrgb(std::max(l2, 0.0f)) / color::decodeSrgb(l);
                gain = std::clamp(gain, 0.0f, 16.0f);
                if (state.space == engine::WorkingSpace::None) {
                    // Encoded values: scale the decoded colour and encode again.
                    float s[4];
                    straight(px, s);
                    for (int k = 0; k < 3; ++k)
                        px[k] = color::encodeSrgb(color::decodeSrgb(s[k]) * gain) * px[3];
                } else {
                    for (int k = 0; k < 3; ++k)
                        px[k] *= gain;
                }
            }
        }
        dst.clearOutside(area);
    }
    Rect regionOfInterest(size_t, const Rect& output) const override { return output; }
    const char* kind() const override { return "highlight-shadow"; }

private:
    float m_shadow, m_highlight;
};

CIImage highlightShadowAdjust(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const float shadow =
        std::clamp(color::finiteOr(f.numberForKey("inputShadowAmount"), 0.0), -1.0f, 1.0f);
    const float highlight =
        std::clamp(color::finiteOr(f.numberForKey("inputHighlightAmount"), 1.0), 0.0f, 1.0f);
    const double radius =
        std::clamp(double(color::finiteOr(f.numberForKey("inputRadius"), 0.0)), 0.0, 500.0);
    if (shadow == 0.0f && highlight == 1.0f) return in;
    CIImage base = in;
    if (radius > 0) {
        auto blur = CIFilter::filterWithName(QStringLiteral("CIGaussianBlur"));
        if (blur) {
            blur->setValueForKey(QVariant::fromValue(in), kCIInputImageKey);
            blur->setValueForKey(radius, QStringLiteral("inputRadius"));
            const CIImage blurred = blur->outputImage();
            if (!blurred.isNull()) base = blurred;
        }
    }
    return CIImage::imageWithNode(
        std::make_shared<HighlightShadowNode>(in.node(), base.node(), shadow, highlight));
}

}  // namespace

std::vector<BuiltinDef> colorAnalysisBuiltins() {
    return {
        {"CIColorAbsoluteDifference", absoluteDifference},
        {"CILabDeltaE", labDeltaE},
        {"CIColorThresholdOtsu", thresholdOtsu},
        {"CIPalettize", palettize},
        {"CIPaletteCentroid", paletteCentroid},
        {"CIHighlightShadowAdjust", highlightShadowAdjust},
    };
}

}  // namespace cif::builtins
