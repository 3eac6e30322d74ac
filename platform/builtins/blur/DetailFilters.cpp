// Blur-and-detail built-ins beyond the plain blurs: lens (bokeh) blur, blur
// steered by a mask or by distance from a line, the guided filter and the
// joint bilateral upsampler, the vignettes, document flattening and the
// saliency map.

#include <QVariant>
#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <utility>

#include "platform/builtins/BuiltinFilter.h"
#include "platform/builtins/blur/DetailNodes.h"

namespace cif::builtins {

namespace {

using blur::BokehNode;

// A number input clamped to [lo, hi]; NaN gives fallback.
double number(const CIFilter& f, const char* key, double lo, double hi, double fallback) {
    const double v = f.numberForKey(QString::fromLatin1(key));
    return std::isnan(v) ? fallback : std::clamp(v, lo, hi);
}

// A point input, false when it is not a finite position a picture can have.
bool point(const CIFilter& f, const char* key, double& x, double& y) {
    const CIVector v = f.vectorForKey(QString::fromLatin1(key));
    x = v.X();
    y = v.Y();
    return std::isfinite(x) && std::isfinite(y) && std::abs(x) < 1e7 && std::abs(y) < 1e7;
}

// Another built-in applied to an image; the input itself when that filter
// gives nothing.
CIImage applyNamed(const char* name, const CIImage& in,
                   std::initializer_list<std::pair<const char*, double>> values) {
    const std::unique_ptr<CIFilter> f = CIFilter::filterWithName(QString::fromLatin1(name));
    if (!f) return in;
    f->setValueForKey(QVariant::fromValue(in), kCIInputImageKey);
    for (const auto& [key, v] : values)
        f->setValueForKey(v, QString::fromLatin1(key));
    const CIImage out = f->outputImage();
    return out.isNull() ? in : out;
}

bool finiteExtent(const CIImage& image) {
    const engine::Rect& e = image.node()->extent();
    return !e.isEmpty() && !e.isInfinite() && !e.isUnbounded();
}

// The mean over a disc: a lens's blur, and the same for any tiling.
CIImage discMean(const CIImage& in, double radius) {
    if (radius < 1) return in;
    return CIImage::imageWithNode(
        std::make_shared<BokehNode>(in.node(), std::vector<BokehNode::Disc>{{radius, 1.0}}));
}

// ---------------------------------------------------------------- blurs

// A disc of the radius, its rim softened over `softness` pixels (two discs
// of half weight), plus a ring: ringAmount adds up to three times the
// disc's weight between (1 - ringSize) of the radius and the rim, as the
// bright-edged highlights of a real lens.
CIImage bokehBlur(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const double radius = number(f, "inputRadius", 0, 500, 0);
    const double ringAmount = number(f, "inputRingAmount", 0, 1, 0);
    const double ringSize = number(f, "inputRingSize", 0, 0.2, 0);
    const double softness = number(f, "inputSoftness", 0, 10, 0);
    if (radius < 1) return in;
    std::vector<BokehNode::Disc> discs;
    if (softness >= 0.5 && softness < radius) {
        discs.push_back({radius, 0.5});
        discs.push_back({radius - softness, 0.5});
    } else {
        discs.push_back({radius, 1.0});
    }
    if (ringAmount > 0 && ringSize > 0) {
        discs.push_back({radius, 3 * ringAmount});
        discs.push_back({radius * (1 - ringSize), -3 * ringAmount});
    }
    return CIImage::imageWithNode(std::make_shared<BokehNode>(in.node(), discs));
}

// Disc blurs of 0, 1/4, 1/2, 3/4 and all of the radius, mixed per pixel by
// the mask's luminance: black keeps the picture, white blurs it fully.
CIImage maskedVariableBlur(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const CIImage mask = f.imageForKey("inputMask");
    const double radius = number(f, "inputRadius", 0, 100, 0);
    if (mask.isNull() || radius == 0) return in;
    std::vector<engine::NodePtr> levels{in.node()};
    for (int k = 1; k <= 4; ++k)
        levels.push_back(discMean(in, radius * k / 4).node());
    return CIImage::imageWithNode(std::make_shared<blur::LevelMixNode>(mask.node(), levels));
}

// A miniature look: the band along the line through the two points stays
// sharp, with more saturation and an unsharp mask, and the picture blurs
// away from it as a lens does (a disc of the radius): sharp within a quarter of the points'
// distance of the line, fully blurred from half of it on.
CIImage depthOfField(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    double x0, y0, x1, y1;
    if (!point(f, "inputPoint0", x0, y0) || !point(f, "inputPoint1", x1, y1)) return in;
    const double radius = number(f, "inputRadius", 0, 100, 0);
    const double saturation = number(f, "inputSaturation", 0, 100, 1);
    const double usmIntensity = number(f, "inputUnsharpMaskIntensity", 0, 100, 0);
    const double usmRadius = number(f, "inputUnsharpMaskRadius", 0, 100, 0);
    const CIImage sharp = applyNamed(
        "CIUnsharpMask", applyNamed("CIColorControls", in, {{"inputSaturation", saturation}}),
        {{"inputRadius", usmRadius}, {"inputIntensity", usmIntensity}});
    const CIImage blurred = discMean(in, radius);
    const double len = std::hypot(x1 - x0, y1 - y0);
    const CIImage out = CIImage::imageWithNode(std::make_shared<blur::LineFocusNode>(
        sharp.node(), blurred.node(), x0, y0, x1, y1, 0.25 * len, std::max(0.5 * len, 1.0)));
    return in.isInfinite() ? out : out.imageByCroppingToRect(in.extent());
}

// ---------------------------------------------------------------- edge-aware

// The input brought onto the guide's extent (scaled when their sizes
// differ), then the guided filter; without a guide the input guides itself.
CIImage guidedFilter(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    CIImage guide = f.imageForKey("inputGuideImage");
    const int radius = int(std::lround(number(f, "inputRadius", 0, 50, 1)));
    const double eps = number(f, "inputEpsilon", 0, 1e6, 1e-4);
    if (radius == 0) return in;
    CIImage source = in;
    if (guide.isNull()) {
        guide = in;
    } else if (!(guide.extent() == in.extent())) {
        if (!finiteExtent(in) || !finiteExtent(guide)) return in;
        const QRectF g = guide.extent(), p = in.extent();
        const double sx = g.width() / p.width(), sy = g.height() / p.height();
        source = in.imageByApplyingTransform(
            QTransform(sx, 0, 0, sy, g.x() - p.x() * sx, g.y() - p.y() * sy));
        if (source.isNull()) return in;
    }
    return CIImage::imageWithNode(
        std::make_shared<blur::GuidedFilterNode>(source.node(), guide.node(), radius, eps));
}

CIImage edgePreserveUpsample(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const CIImage small = f.imageForKey("inputSmallImage");
    if (small.isNull() || !finiteExtent(in) || !finiteExtent(small)) return in;
    // More than 64 guide pixels per small pixel would make a tile read a
    // huge part of the guide; so would a small picture far larger than it.
    const double sx = in.extent().width() / small.extent().width();
    const double sy = in.extent().height() / small.extent().height();
    if (!(sx <= 64 && sy <= 64 && sx >= 1.0 / 64 && sy >= 1.0 / 64)) return in;
    return CIImage::imageWithNode(std::make_shared<blur::JointUpsampleNode>(
        in.node(), small.node(), number(f, "inputSpatialSigma", 0, 5, 3),
        number(f, "inputLumaSigma", 0, 1, 0.15)));
}

// ---------------------------------------------------------------- vignettes

// About the extent's centre, in units of its half diagonal h: untouched
// within radius h / 2, the full intensity from (radius + 1) h / 2 on, so
// radius 1 darkens exactly the corners fully and radius 2 leaves the whole
// picture untouched.
CIImage vignette(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const double intensity = number(f, "inputIntensity", -1, 1, 0);
    const double radius = number(f, "inputRadius", 0, 2, 1);
    if (intensity == 0 || !finiteExtent(in)) return in;
    const engine::Rect& e = in.node()->extent();
    const double h = 0.5 * std::hypot(e.w, e.h);
    return CIImage::imageWithNode(
        std::make_shared<blur::VignetteNode>(in.node(), e.x + e.w / 2, e.y + e.h / 2,
                                             0.5 * radius * h, 0.5 * (radius + 1) * h, intensity));
}

// Untouched within radius (1 - falloff) of the centre, the full intensity
// from radius (1 + falloff) on: falloff 0 is a hard-edged circle.
CIImage vignetteEffect(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    double cx, cy;
    const double intensity = number(f, "inputIntensity", -1, 1, 0);
    const double radius = number(f, "inputRadius", 0, 1e7, 0);
    const double falloff = number(f, "inputFalloff", 0, 1, 0);
    if (intensity == 0 || !point(f, "inputCenter", cx, cy)) return in;
    return CIImage::imageWithNode(std::make_shared<blur::VignetteNode>(
        in.node(), cx, cy, radius * (1 - falloff), radius * (1 + falloff), intensity));
}

// ---------------------------------------------------------------- analysis

CIImage documentEnhancer(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const double amount = number(f, "inputAmount", 0, 10, 0);
    if (amount == 0) return in;
    // A disc wider than letters and lines of text sees mostly paper.
    const CIImage paper = discMean(in, 24);
    return CIImage::imageWithNode(
        std::make_shared<blur::DocumentNode>(paper.node(), in.node(), amount));
}

// The map needs the whole picture's mean colour, so infinite pictures and
// pictures past the engine's area limit are given back unchanged.
CIImage saliencyMap(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    if (!finiteExtent(in)) return in;
    const engine::IRect px = engine::coveringPixels(in.node()->extent());
    if (px.area() > (int64_t(256) << 20)) return in;
    // About the 5 x 5 binomial blur of the method.
    // Edge pixels repeat under the blur, so the picture's border does not
    // darken into the transparency beyond it and stand out.
    const CIImage blurred =
        applyNamed("CIGaussianBlur", in.imageByClampingToExtent(), {{"inputRadius", 1.0}});
    return CIImage::imageWithNode(std::make_shared<blur::SaliencyNode>(in.node(), blurred.node()));
}

}  // namespace

std::vector<BuiltinDef> detailBuiltins() {
    return {
        {"CIBokehBlur", bokehBlur},
        {"CIMaskedVariableBlur", maskedVariableBlur},
        {"CIDepthOfField", depthOfField},
        {"CIGuidedFilter", guidedFilter},
        {"CIEdgePreserveUpsampleFilter", edgePreserveUpsample},
        {"CIVignette", vignette},
        {"CIVignetteEffect", vignetteEffect},
        {"CIDocumentEnhancer", documentEnhancer},
        {"CISaliencyMapFilter", saliencyMap},
    };
}

}  // namespace cif::builtins
