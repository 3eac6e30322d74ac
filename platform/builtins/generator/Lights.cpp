// Light generators (lens halo, star shine, sunbeams) and the spot light
// filter. Generated light is premultiplied colour scaled by an intensity in
// [0, 1]: transparent where there is no light, the input colour where the
// light is full.

#include <algorithm>
#include <cmath>
#include <memory>
#include <numbers>

#include "platform/builtins/generator/GeneratorSupport.h"
#include "platform/builtins/generator/Generators.h"

namespace cif::builtins::generators {

namespace {

using engine::loadPixel;
using engine::Pixel4;
using engine::RenderState;
using engine::splat;
using engine::storePixel;

bool finite(double v) {
    return std::isfinite(v);
}

// A lens halo: a ring of `radius` and `width` whose red, green and blue parts
// sit at slightly different radii (red outermost) as a lens disperses light;
// `overlap` 1 puts them on top of each other (white for a white colour), 0
// sets them a whole ring width apart so they no longer overlap. Streaks
// (striation) modulate the ring's brightness.
class LenticularHaloNode final : public GeneratorNode {
public:
    LenticularHaloNode(double cx, double cy, const CIColor& color, double overlap, double radius,
                       double width, double contrast, double strength, double time)
        : m_cx(cx),
          m_cy(cy),
          m_color(color),
          m_radius(float(radius)),
          m_halfWidth(float(std::max(width * 0.5, 0.5))),
          m_spread(float((1 - clampInput(overlap, 0, 1)) * std::max(width, 0.0))),
          m_contrast(float(contrast)),
          m_strength(float(strength)),
          m_time(float(time)) {}

    void fillSpan(float* px, int n, int x, int y, const RenderState& s) const override {
        const Pixel4 c = m_color.in(s.space);
        const float dy = float(y + 0.5 - m_cy);
        for (int i = 0; i < n; ++i) {
            const float dx = float(x + i + 0.5 - m_cx);
            const float r = std::sqrt(dx * dx + dy * dy);
            float ring[3];
            float any = 0;
            for (int k = 0; k < 3; ++k) {
                const float u = (r - (m_radius + float(1 - k) * m_spread)) / m_halfWidth;
                const float b = std::abs(u) < 1 ? (1 - u * u) * (1 - u * u) : 0.0f;
                ring[k] = b;
                any = std::max(any, b);
            }
            Pixel4 out{0, 0, 0, 0};
            if (any > 0) {
                const float streak = striation(std::atan2(dy, dx), m_time, m_contrast);
                const float mod = std::max(0.0f, 1 + m_strength * (2 * streak - 1));
                float alpha = 0;
                for (int k = 0; k < 3; ++k) {
                    const float v = std::min(0.6f * ring[k] * mod, 1.0f);
                    out[k] = c[k] * v;
                    alpha = std::max(alpha, v);
                }
                out[3] = c[3] * alpha;
            }
            storePixel(px + 4 * i, out);
        }
    }
    const char* kind() const override { return "lenticular-halo"; }

private:
    double m_cx, m_cy;
    WorkingColor m_color;
    float m_radius, m_halfWidth, m_spread, m_contrast, m_strength, m_time;
};

// A star: a round central flare of `radius` and a cross of two
// perpendicular spikes at `crossAngle`. The flare's intensity is
// 2 / (1 + 8 (r / radius)^2). Each spike is `crossWidth` wide (a Gaussian
// across it), its length L = crossScale * radius, and along it the
// intensity falls as e / (e + (d / L)^2) with e = 10^epsilon, so epsilon
// sets how far the spikes reach (half intensity at L * 10^(epsilon / 2));
// the spikes' opacity is 2^(crossOpacity / 2). Intensity up to 1 scales the
// colour; beyond 1 the light turns towards white, as a hot centre does.
class StarShineNode final : public GeneratorNode {
public:
    StarShineNode(double cx, double cy, const CIColor& color, double radius, double angle,
                  double opacity, double scale, double width, double epsilon)
        : m_cx(cx), m_cy(cy), m_color(color) {
        const double r = std::max(radius, 1e-3);
        m_invR2 = float(1 / (r * r));
        m_e = float(std::pow(10.0, clampInput(epsilon, -8, 8)));
        m_cos = float(std::cos(angle));
        m_sin = float(std::sin(angle));
        m_rayAmp = float(std::pow(2.0, clampInput(opacity, -16, 16) / 2));
        const double w = std::max(width, 1e-3);
        m_invW2 = float(1 / (w * w));
        const double len = std::max(scale * r, 1e-3);
        m_invL2 = float(1 / (len * len));
    }

    void fillSpan(float* px, int n, int x, int y, const RenderState& s) const override {
        const Pixel4 c = m_color.in(s.space);
        const Pixel4 white = splat(c[3]);
        const float dy = float(y + 0.5 - m_cy);
        for (int i = 0; i < n; ++i) {
            const float dx = float(x + i + 0.5 - m_cx);
            const float q2 = (dx * dx + dy * dy) * m_invR2;
            const float a = dx * m_cos + dy * m_sin, b = dy * m_cos - dx * m_sin;
            // The spike along the cross angle, then the perpendicular one.
            const float spikes = std::exp(-b * b * m_invW2) * m_e / (m_e + a * a * m_invL2) +
                                 std::exp(-a * a * m_invW2) * m_e / (m_e + b * b * m_invL2);
            const float v = 2 / (1 + 8 * q2) + m_rayAmp * spikes;
            const float lit = std::min(v, 1.0f), hot = std::clamp((v - 1) * 0.5f, 0.0f, 1.0f);
            storePixel(px + 4 * i, (c * (1 - hot) + white * hot) * lit);
        }
    }
    const char* kind() const override { return "star-shine"; }

private:
    double m_cx, m_cy;
    WorkingColor m_color;
    float m_invR2, m_e, m_cos, m_sin, m_rayAmp, m_invW2, m_invL2;
};

// A sun (SunShape) in the input colour.
class SunbeamsNode final : public GeneratorNode {
public:
    SunbeamsNode(double cx, double cy, const CIColor& color, const SunShape& shape)
        : m_cx(cx), m_cy(cy), m_color(color), m_shape(shape) {}
    void fillSpan(float* px, int n, int x, int y, const RenderState& s) const override {
        const Pixel4 c = m_color.in(s.space);
        const float dy = float(y + 0.5 - m_cy);
        for (int i = 0; i < n; ++i) {
            const float dx = float(x + i + 0.5 - m_cx);
            const float v = m_shape.at(std::sqrt(dx * dx + dy * dy), std::atan2(dy, dx));
            storePixel(px + 4 * i, c * v);
        }
    }
    const char* kind() const override { return "sunbeams"; }

private:
    double m_cx, m_cy;
    WorkingColor m_color;
    SunShape m_shape;
};

// A spot light above the image plane lighting a matte surface facing up:
// intensity = brightness * (cos of the angle off the spot's axis)^concentration
// * (cos of the light's incidence), the colour channels multiplied by the
// light's colour and the intensity; alpha is kept.
class SpotLightNode final : public engine::PointNode {
public:
    SpotLightNode(engine::NodePtr input, const double pos[3], const double at[3], double brightness,
                  double concentration, const CIColor& color)
        : PointNode(std::move(input)),
          m_brightness(float(brightness)),
          m_concentration(float(concentration)),
          m_color(color) {
        double axis[3] = {at[0] - pos[0], at[1] - pos[1], at[2] - pos[2]};
        const double len = std::sqrt(axis[0] * axis[0] + axis[1] * axis[1] + axis[2] * axis[2]);
        for (int k = 0; k < 3; ++k) {
            m_pos[k] = pos[k];
            // A light pointing at itself points straight down.
            m_axis[k] = len > 1e-9 ? float(axis[k] / len) : (k == 2 ? -1.0f : 0.0f);
        }
    }
    void applySpan(float* px, int n, int x, int y, const RenderState& s) const override {
        const Pixel4 c = m_color.in(s.space);
        const float alpha = c[3] > 0 ? c[3] : 1.0f;
        Pixel4 tint = c / alpha;
        tint[3] = 1;
        const float ly = float(y + 0.5 - m_pos[1]), lz = float(-m_pos[2]);
        for (int i = 0; i < n; ++i) {
            // From the light to the surface point.
            const float lx = float(x + i + 0.5 - m_pos[0]);
            const float dist = std::sqrt(lx * lx + ly * ly + lz * lz);
            float v = 0;
            if (dist > 0) {
                const float cosAxis = (lx * m_axis[0] + ly * m_axis[1] + lz * m_axis[2]) / dist;
                const float incidence = -lz / dist;
                if (cosAxis > 0 && incidence > 0)
                    v = m_brightness * std::pow(cosAxis, m_concentration) * incidence;
            }
            Pixel4 scale = tint * v;
            scale[3] = 1;
            storePixel(px + 4 * i, loadPixel(px + 4 * i) * scale);
        }
    }
    const char* kind() const override { return "spot-light"; }

private:
    double m_pos[3];
    float m_axis[3];
    float m_brightness, m_concentration;
    WorkingColor m_color;
};

bool finiteCenter(const CIVector& c) {
    return finite(c.X()) && finite(c.Y());
}

}  // namespace

CIImage lenticularHalo(const CIFilter& f) {
    const CIVector c = f.vectorForKey("inputCenter");
    const double v[] = {
        f.numberForKey("inputHaloOverlap"),       f.numberForKey("inputHaloRadius"),
        f.numberForKey("inputHaloWidth"),         f.numberForKey("inputStriationContrast"),
        f.numberForKey("inputStriationStrength"), f.numberForKey("inputTime")};
    if (!finiteCenter(c) || !std::all_of(std::begin(v), std::end(v), finite)) return {};
    return CIImage::imageWithNode(std::make_shared<LenticularHaloNode>(
        coord(c.X()), coord(c.Y()), f.colorForKey("inputColor"), v[0], v[1], v[2], v[3], v[4],
        v[5]));
}

CIImage starShine(const CIFilter& f) {
    const CIVector c = f.vectorForKey("inputCenter");
    const double v[] = {f.numberForKey("inputRadius"),       f.numberForKey("inputCrossAngle"),
                        f.numberForKey("inputCrossOpacity"), f.numberForKey("inputCrossScale"),
                        f.numberForKey("inputCrossWidth"),   f.numberForKey("inputEpsilon")};
    if (!finiteCenter(c) || !std::all_of(std::begin(v), std::end(v), finite)) return {};
    return CIImage::imageWithNode(std::make_shared<StarShineNode>(coord(c.X()), coord(c.Y()),
                                                                  f.colorForKey("inputColor"), v[0],
                                                                  v[1], v[2], v[3], v[4], v[5]));
}

CIImage sunbeams(const CIFilter& f) {
    const CIVector c = f.vectorForKey("inputCenter");
    const double v[] = {f.numberForKey("inputSunRadius"), f.numberForKey("inputMaxStriationRadius"),
                        f.numberForKey("inputStriationStrength"),
                        f.numberForKey("inputStriationContrast"), f.numberForKey("inputTime")};
    if (!finiteCenter(c) || !std::all_of(std::begin(v), std::end(v), finite)) return {};
    SunShape shape;
    shape.radius = float(std::max(v[0], 0.0));
    shape.maxStriationRadius = float(std::max(v[1], 1.0));
    shape.strength = float(std::max(v[2], 0.0));
    shape.contrast = float(std::max(v[3], 0.0));
    shape.time = float(clampInput(v[4], 0, 1));
    return CIImage::imageWithNode(std::make_shared<SunbeamsNode>(
        coord(c.X()), coord(c.Y()), f.colorForKey("inputColor"), shape));
}

CIImage spotLight(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const CIVector p = f.vectorForKey("inputLightPosition"),
                   a = f.vectorForKey("inputLightPointsAt");
    const double pos[3] = {p.X(), p.Y(), p.Z()}, at[3] = {a.X(), a.Y(), a.Z()};
    const double brightness = f.numberForKey("inputBrightness"),
                 concentration = f.numberForKey("inputConcentration");
    if (!std::all_of(std::begin(pos), std::end(pos), finite) ||
        !std::all_of(std::begin(at), std::end(at), finite) || !finite(brightness) ||
        !finite(concentration))
        return in;
    return CIImage::imageWithNode(std::make_shared<SpotLightNode>(
        in.node(), pos, at, clampInput(brightness, 0, 1e6), clampInput(concentration, 0, 1e4),
        f.colorForKey("inputColor")));
}

}  // namespace cif::builtins::generators
