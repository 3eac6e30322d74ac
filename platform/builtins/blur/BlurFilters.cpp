// Blur and sharpen built-ins.

#include <algorithm>
#include <cmath>

#include "platform/builtins/BuiltinFilter.h"
#include "platform/builtins/blur/BlurPasses.h"
#include "platform/builtins/blur/NeighbourhoodNodes.h"
#include "platform/builtins/blur/ReducedBlur.h"
#include "platform/builtins/blur/SeparableBlur.h"
#include "platform/image/Pixel4.h"

namespace cif::builtins {

namespace {

using engine::loadPixel;
using engine::Pixel4;
using engine::storePixel;

// A finite, non-negative number; anything else is 0 (the neutral value of
// every radius, amount and intensity here).
double nonNegative(double v) {
    return v > 0 && std::isfinite(v) ? v : 0.0;
}

CIImage gaussianBlur(const CIImage& in, double sigma) {
    // Wide blurs run at a reduced resolution (see ReducedBlur.h); narrow
    // ones directly.
    if (engine::NodePtr reduced = blur::reducedGaussian(in.node(), sigma))
        return CIImage::imageWithNode(std::move(reduced));
    const blur::Kernel1D k = blur::gaussianKernel(sigma);
    if (k.kind == blur::Kernel1D::Kind::Copy) return in;
    return CIImage::imageWithNode(std::make_shared<blur::SeparableBlurNode>(in.node(), k, k));
}

CIImage gaussianBlurFilter(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    return gaussianBlur(in, nonNegative(f.numberForKey("inputRadius")));
}

CIImage boxBlurFilter(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const double r =
        std::min(nonNegative(f.numberForKey("inputRadius")), double(blur::kMaxBoxRadius));
    const blur::Kernel1D k = blur::boxKernel(int(std::lround(r)));
    if (k.kind == blur::Kernel1D::Kind::Copy) return in;
    return CIImage::imageWithNode(std::make_shared<blur::SeparableBlurNode>(in.node(), k, k));
}

// original + intensity * (original - blur) on the colour channels. Alpha is
// the original's: sharpening coverage would push it past 1 along a picture's
// edge, and such a pixel composites wrongly over anything.
class UnsharpFinish final : public blur::BlurFinish {
public:
    explicit UnsharpFinish(float intensity) : m_k(intensity) {}
    void apply(const float* original, float* blurred, int n) const override {
        blur::unsharpPixels(original, blurred, m_k, n);
    }

private:
    float m_k;
};

// The luminance of (original - blur), times sharpness, added to each colour
// channel: detail is boosted without shifting hues. Alpha is kept.
class LuminanceFinish final : public blur::BlurFinish {
public:
    explicit LuminanceFinish(float sharpness) : m_k(sharpness) {}
    void apply(const float* original, float* blurred, int n) const override {
        for (int i = 0; i < n; ++i, original += 4, blurred += 4) {
            const Pixel4 o = loadPixel(original), d = o - loadPixel(blurred);
            const float l = m_k * (0.2126f * d[0] + 0.7152f * d[1] + 0.0722f * d[2]);
            Pixel4 r = o + l;
            r[3] = o[3];
            storePixel(blurred, r);
        }
    }

private:
    float m_k;
};

CIImage unsharpMask(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const double intensity = nonNegative(f.numberForKey("inputIntensity"));
    const blur::Kernel1D k = blur::gaussianKernel(nonNegative(f.numberForKey("inputRadius")));
    if (intensity == 0 || k.kind == blur::Kernel1D::Kind::Copy) return in;
    return CIImage::imageWithNode(std::make_shared<blur::SeparableBlurNode>(
        in.node(), k, k, std::make_shared<UnsharpFinish>(float(std::min(intensity, 1e6)))));
}

CIImage sharpenLuminance(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const double sharpness = f.numberForKey("inputSharpness");
    const blur::Kernel1D k = blur::gaussianKernel(nonNegative(f.numberForKey("inputRadius")));
    if (!(std::isfinite(sharpness) && sharpness != 0) || k.kind == blur::Kernel1D::Kind::Copy)
        return in;
    return CIImage::imageWithNode(std::make_shared<blur::SeparableBlurNode>(
        in.node(), k, k,
        std::make_shared<LuminanceFinish>(float(std::clamp(sharpness, -1e6, 1e6)))));
}

CIImage discBlur(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    // Past 500 pixels the disc's tile buffers would pass 100 MB.
    const double r = std::min(nonNegative(f.numberForKey("inputRadius")), 500.0);
    if (r < 1) return in;
    return CIImage::imageWithNode(std::make_shared<blur::DiscBlurNode>(in.node(), r));
}

CIImage motionBlur(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    // Past 500 pixels a diagonal streak's tile buffers would pass 100 MB.
    const double r = std::min(nonNegative(f.numberForKey("inputRadius")), 500.0);
    const double angle = f.numberForKey("inputAngle");
    if (r == 0 || !std::isfinite(angle)) return in;
    return CIImage::imageWithNode(std::make_shared<blur::MotionBlurNode>(in.node(), r, angle));
}

CIImage zoomBlur(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const double amount = f.numberForKey("inputAmount");
    const CIVector c = f.vectorForKey("inputCenter");
    const double cx = c.valueAtIndex(0), cy = c.valueAtIndex(1);
    if (!(std::isfinite(amount) && amount != 0 && std::fabs(cx) < 1e7 && std::fabs(cy) < 1e7))
        return in;
    return CIImage::imageWithNode(std::make_shared<blur::ZoomBlurNode>(in.node(), cx, cy, amount));
}

CIImage medianFilter(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    return CIImage::imageWithNode(std::make_shared<blur::MedianNode>(in.node()));
}

CIImage noiseReduction(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const double level = std::min(nonNegative(f.numberForKey("inputNoiseLevel")), 1e6);
    const double sharpness = std::min(nonNegative(f.numberForKey("inputSharpness")), 1e6);
    return CIImage::imageWithNode(
        std::make_shared<blur::NoiseReductionNode>(in.node(), level, sharpness));
}

}  // namespace

std::vector<BuiltinDef> blurBuiltins() {
    return {
        {"CIGaussianBlur", gaussianBlurFilter},
        {"CIBoxBlur", boxBlurFilter},
        {"CIUnsharpMask", unsharpMask},
        {"CISharpenLuminance", sharpenLuminance},
        {"CIDiscBlur", discBlur},
        {"CIMotionBlur", motionBlur},
        {"CIZoomBlur", zoomBlur},
        {"CIMedianFilter", medianFilter},
        {"CINoiseReduction", noiseReduction},
    };
}

}  // namespace cif::builtins
