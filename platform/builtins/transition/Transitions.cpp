// The per-pixel transitions: dissolve, blend with mask, swipe, copy machine,
// bars swipe, mod and flash. Each is a formula of the source pixel, the
// target pixel and the pixel's position.

#include <algorithm>
#include <cmath>
#include <memory>
#include <numbers>

#include "platform/builtins/generator/GeneratorSimd.h"
#include "platform/builtins/generator/GeneratorSupport.h"
#include "platform/builtins/transition/TransitionSupport.h"
#include "platform/builtins/transition/Transitions.h"

namespace cif::builtins::transitions {

namespace {

using engine::loadPixel;
using engine::NodePtr;
using engine::Pixel4;
using engine::RenderState;
using engine::storePixel;

double timeOf(const CIFilter& f) {
    return clampInput(f.numberForKey("inputTime"), 0, 1);
}

// source (1 - t) + target t on premultiplied pixels, over the source's extent.
class DissolveNode final : public engine::BinaryPointNode {
public:
    DissolveNode(NodePtr target, NodePtr source, float t)
        : BinaryPointNode(target, source, source->extent()), m_t(t) {}
    void combineSpan(const float* target, float* source, int n) const override {
        dissolveSpan(target, source, n, m_t);
    }
    const char* kind() const override { return "dissolve"; }

private:
    float m_t;
};

// image m + background (1 - m), m the mask's green value clamped to [0, 1]:
// the background where the mask is black or transparent, the image where it
// is white. The extent is the image's.
class MaskBlendNode final : public engine::Node {
public:
    MaskBlendNode(NodePtr image, NodePtr background, NodePtr mask)
        : Node({image, std::move(background), std::move(mask)}, image->extent()) {}
    bool readsSinglePixels() const override { return true; }
    void render(engine::PixelBuffer& dst, const RenderState& state) const override {
        const engine::IRect area = dst.rect().intersected(engine::coveringPixels(extent()));
        if (area.isEmpty()) {
            dst.fillTransparent();
            return;
        }
        engine::renderNode(*inputs()[1], dst, state);
        engine::PooledBuffer image(dst.rect()), mask(dst.rect());
        engine::renderNode(*inputs()[0], *image, state);
        engine::renderNode(*inputs()[2], *mask, state);
        for (int y = area.y; y < area.top(); ++y) {
            float* out = dst.at(area.x, y);
            const float* img = image->at(area.x, y);
            const float* m = mask->at(area.x, y);
            for (int i = 0; i < area.w; ++i) {
                const float w = clamp01(m[4 * i + 1]);
                storePixel(out + 4 * i, mix(loadPixel(out + 4 * i), loadPixel(img + 4 * i), w));
            }
        }
        dst.clearOutside(area);
    }
    const char* kind() const override { return "blend-with-mask"; }
};

// Pixel-centre coordinates in float for the row formulas below.
inline float centre(int v) {
    return float(v) + 0.5f;
}

// A soft edge `width` wide moving along the angle: target behind it, source
// ahead, their mix inside it, and the colour laid over the middle of the
// edge with `opacity`.
class SwipeNode final : public PairNode {
public:
    SwipeNode(NodePtr s, NodePtr t, const Sweep& sweep, double time, double width, double opacity,
              const CIColor& color)
        : PairNode(std::move(s), std::move(t)),
          m_cos(float(sweep.cosA)),
          m_sin(float(sweep.sinA)),
          m_invW(float(1 / width)),
          m_opacity(float(opacity)),
          m_color(color) {
        m_front = float(sweep.uMin - width - 1 + time * (sweep.uMax - sweep.uMin + 2 * width + 2));
    }
    void combineRow(float* src, const float* tgt, int n, int x, int y,
                    const RenderState& st) const override {
        const Pixel4 c = m_color.in(st.space);
        const float uy = centre(y) * m_sin;
        for (int i = 0; i < n; ++i) {
            const float u = centre(x + i) * m_cos + uy;
            const float s = clamp01((m_front - u) * m_invW + 0.5f);
            const Pixel4 base = mix(loadPixel(src + 4 * i), loadPixel(tgt + 4 * i), s);
            const float k = clamp01(m_opacity * 4 * s * (1 - s));
            storePixel(src + 4 * i, mix(base, c, k));
        }
    }
    const char* kind() const override { return "swipe"; }

private:
    float m_cos, m_sin, m_invW, m_opacity, m_front;
    WorkingColor m_color;
};

// A bar of light `width` wide crossing the picture along the angle, as a
// copier's lamp does: target behind the bar's centre line, source ahead, and
// the light's colour over both with strength opacity (1 - e^2), e the
// distance from the centre line in half widths.
class CopyMachineNode final : public PairNode {
public:
    CopyMachineNode(NodePtr s, NodePtr t, const Sweep& sweep, double time, double width,
                    double opacity, const CIColor& color)
        : PairNode(std::move(s), std::move(t)),
          m_cos(float(sweep.cosA)),
          m_sin(float(sweep.sinA)),
          m_invHalfW(float(2 / width)),
          m_opacity(float(opacity)),
          m_color(color) {
        m_front = float(sweep.uMin - width - 1 + time * (sweep.uMax - sweep.uMin + 2 * width + 2));
    }
    void combineRow(float* src, const float* tgt, int n, int x, int y,
                    const RenderState& st) const override {
        const Pixel4 c = m_color.in(st.space);
        const float uy = centre(y) * m_sin;
        for (int i = 0; i < n; ++i) {
            const float u = centre(x + i) * m_cos + uy;
            const Pixel4 base =
                mix(loadPixel(src + 4 * i), loadPixel(tgt + 4 * i), clamp01(m_front - u + 0.5f));
            const float e = (u - m_front) * m_invHalfW;
            const float k = clamp01(m_opacity * (1 - e * e));
            storePixel(src + 4 * i, mix(base, c, k));
        }
    }
    const char* kind() const override { return "copy-machine"; }

private:
    float m_cos, m_sin, m_invHalfW, m_opacity, m_front;
    WorkingColor m_color;
};

// Bars `width` wide across the direction of motion, each wiping from source
// to target along the angle; bar k starts barOffset * (k mod 4) pixels
// behind the first, so the bars arrive staggered.
class BarsSwipeNode final : public PairNode {
public:
    BarsSwipeNode(NodePtr s, NodePtr t, const Sweep& sweep, double time, double width,
                  double offset)
        : PairNode(std::move(s), std::move(t)),
          m_cos(sweep.cosA),
          m_sin(sweep.sinA),
          m_width(width),
          m_offset(offset) {
        m_start = sweep.uMin - 1 + time * (sweep.uMax - sweep.uMin + 2 + 3 * offset);
    }
    void combineRow(float* src, const float* tgt, int n, int x, int y,
                    const RenderState&) const override {
        const double cy = y + 0.5;
        for (int i = 0; i < n; ++i) {
            const double cx = x + i + 0.5;
            const double u = cx * m_cos + cy * m_sin, v = cy * m_cos - cx * m_sin;
            const double bar = std::floor(v / m_width);
            // bar is finite and within the renderer's coordinates; mod 4 by
            // subtraction keeps it exact for negative bars too.
            const double k = bar - 4 * std::floor(bar / 4);
            const float w = clamp01(float(m_start - k * m_offset - u + 0.5));
            storePixel(src + 4 * i, mix(loadPixel(src + 4 * i), loadPixel(tgt + 4 * i), w));
        }
    }
    const char* kind() const override { return "bars-swipe"; }

private:
    double m_cos, m_sin, m_width, m_offset, m_start;
};

// Holes opening in a pattern turned by the angle about the centre. The
// pattern is a lattice of holes `radius` in size (rows offset by half a
// cell, cells 2.5 radii wide), seen through a lens that shrinks the plane by
// 1 / (1 + rho / compression) at distance rho from the centre, so holes near
// the centre keep their shape and those further out grow and stretch
// outwards. Each hole opens at a time that varies from hole to hole and
// grows until it fills its cell; the target shows through the holes.
class ModNode final : public PairNode {
public:
    ModNode(NodePtr s, NodePtr t, double cx, double cy, double angle, double radius,
            double compression, double time)
        : PairNode(std::move(s), std::move(t)),
          m_cx(cx),
          m_cy(cy),
          m_cos(std::cos(angle)),
          m_sin(std::sin(angle)),
          m_invC(1 / compression),
          m_cellW(2.5 * radius),
          m_cellH(2.5 * radius * 0.8660254),
          m_time(time) {
        m_maxD = 0.5 * std::hypot(m_cellW, m_cellH);
    }
    void combineRow(float* src, const float* tgt, int n, int x, int y,
                    const RenderState&) const override {
        if (m_time <= 0) return;
        const double dy = y + 0.5 - m_cy;
        for (int i = 0; i < n; ++i) {
            float w = 1;
            if (m_time < 1) {
                const double dx = x + i + 0.5 - m_cx;
                const double u = dx * m_cos + dy * m_sin, v = dy * m_cos - dx * m_sin;
                const double lens = 1 / (1 + std::hypot(u, v) * m_invC);
                const double pu = u * lens, pv = v * lens;
                const double row = std::floor(pv / m_cellH);
                const double shift = 0.5 * (row - 2 * std::floor(row / 2));
                const double col = std::floor(pu / m_cellW + shift);
                const double fu = pu - (col + 0.5 - shift) * m_cellW;
                const double fv = pv - (row + 0.5) * m_cellH;
                // Distance from the hole's centre, 1 at the cell's corners.
                const double d = std::hypot(fu, fv) / m_maxD;
                const uint32_t h = mixHash(uint32_t(int64_t(col)) * 0x9e3779b1U ^
                                           mixHash(uint32_t(int64_t(row)) + 0x51ed27U));
                const double delay = double(h >> 8) * (kJitter / 16777216.0);
                // A one-and-a-half-pixel edge, measured in the lens's units.
                const double soft = 1.5 * lens / m_maxD;
                const double open = m_time * (1 + kJitter + soft) - delay;
                w = clamp01(float((open - d) / soft));
            }
            storePixel(src + 4 * i, mix(loadPixel(src + 4 * i), loadPixel(tgt + 4 * i), w));
        }
    }
    const char* kind() const override { return "mod"; }

private:
    static constexpr double kJitter = 0.35;  // the latest a hole starts opening
    double m_cx, m_cy, m_cos, m_sin, m_invC, m_cellW, m_cellH, m_maxD, m_time;
};

// A flash of light: a sun (SunShape) in the colour grows from the centre
// (radius sin^3(pi t) times the distance to the farthest corner) until at time 0.5 it covers the
// whole picture, then shrinks; the source is shown before time 0.5 and the target after, the switch
// hidden under the flash. The flash's strength is sin(pi t) / (1 - fadeThreshold), at most 1, so a
// higher threshold keeps the flash at full strength for longer.
class FlashNode final : public PairNode {
public:
    FlashNode(NodePtr s, NodePtr t, double cx, double cy, const engine::Rect& motion,
              const CIColor& color, double time, double fade, const SunShape& shape)
        : PairNode(std::move(s), std::move(t)),
          m_cx(cx),
          m_cy(cy),
          m_color(color),
          m_shape(shape),
          m_targetSide(time >= 0.5) {
        const double a = time > 0 && time < 1 ? std::sin(std::numbers::pi * time) : 0.0;
        m_strength = float(fade >= 1 ? (a > 0 ? 1.0 : 0.0) : std::min(1.0, a / (1 - fade)));
        double reach = 0;
        for (double px : {motion.x, motion.right()})
            for (double py : {motion.y, motion.top()})
                reach = std::max(reach, std::hypot(px - cx, py - cy));
        m_shape.radius = float(a * a * a * (reach + 1));
        m_shape.time = float(time);
    }
    void combineRow(float* src, const float* tgt, int n, int x, int y,
                    const RenderState& st) const override {
        const Pixel4 c = m_color.in(st.space);
        const float dy = float(y + 0.5 - m_cy);
        for (int i = 0; i < n; ++i) {
            const Pixel4 base = loadPixel((m_targetSide ? tgt : src) + 4 * i);
            float k = 0;
            if (m_strength > 0) {
                const float dx = float(x + i + 0.5 - m_cx);
                k = m_strength * m_shape.at(std::sqrt(dx * dx + dy * dy), std::atan2(dy, dx));
            }
            storePixel(src + 4 * i, mix(base, c, k));
        }
    }
    const char* kind() const override { return "flash"; }

private:
    double m_cx, m_cy;
    WorkingColor m_color;
    SunShape m_shape;
    bool m_targetSide;
    float m_strength;
};

}  // namespace

CIImage dissolve(const CIFilter& f) {
    CIImage s, t;
    if (!sourceAndTarget(f, s, t)) return s;
    const double time = timeOf(f);
    if (time <= 0) return s;
    return CIImage::imageWithNode(std::make_shared<DissolveNode>(t.node(), s.node(), float(time)));
}

CIImage blendWithMask(const CIFilter& f) {
    const CIImage image = f.imageForKey(kCIInputImageKey);
    const CIImage background = f.imageForKey("inputBackgroundImage");
    const CIImage mask = f.imageForKey("inputMaskImage");
    if (image.isNull()) return {};
    // Without a background the image blends with transparency; without a
    // mask there is nothing to blend by.
    if (mask.isNull()) return image;
    const CIImage bg = background.isNull() ? CIImage::emptyImage() : background;
    return CIImage::imageWithNode(
        std::make_shared<MaskBlendNode>(image.node(), bg.node(), mask.node()));
}

CIImage swipe(const CIFilter& f) {
    CIImage s, t;
    if (!sourceAndTarget(f, s, t)) return s;
    const double angle = f.numberForKey("inputAngle"), width = f.numberForKey("inputWidth"),
                 opacity = f.numberForKey("inputOpacity");
    if (!allFinite(angle, width, opacity)) return s;
    const Sweep sweep(angle, motionRect(f, s, t));
    return CIImage::imageWithNode(std::make_shared<SwipeNode>(
        s.node(), t.node(), sweep, timeOf(f), clampInput(width, 0.1, 1e5),
        clampInput(opacity, 0, 1e3), f.colorForKey("inputColor")));
}

CIImage copyMachine(const CIFilter& f) {
    CIImage s, t;
    if (!sourceAndTarget(f, s, t)) return s;
    const double angle = f.numberForKey("inputAngle"), width = f.numberForKey("inputWidth"),
                 opacity = f.numberForKey("inputOpacity");
    if (!allFinite(angle, width, opacity)) return s;
    const Sweep sweep(angle, motionRect(f, s, t));
    return CIImage::imageWithNode(std::make_shared<CopyMachineNode>(
        s.node(), t.node(), sweep, timeOf(f), clampInput(width, 0.1, 1e5),
        clampInput(opacity, 0, 1e3), f.colorForKey("inputColor")));
}

CIImage barsSwipe(const CIFilter& f) {
    CIImage s, t;
    if (!sourceAndTarget(f, s, t)) return s;
    const double angle = f.numberForKey("inputAngle"), width = f.numberForKey("inputWidth"),
                 offset = f.numberForKey("inputBarOffset");
    if (!allFinite(angle, width, offset)) return s;
    const Sweep sweep(angle, motionRect(f, s, t));
    return CIImage::imageWithNode(
        std::make_shared<BarsSwipeNode>(s.node(), t.node(), sweep, timeOf(f),
                                        clampInput(width, 2, 1e5), clampInput(offset, 0, 1e5)));
}

CIImage modTransition(const CIFilter& f) {
    CIImage s, t;
    if (!sourceAndTarget(f, s, t)) return s;
    const CIVector c = f.vectorForKey("inputCenter");
    const double angle = f.numberForKey("inputAngle"), radius = f.numberForKey("inputRadius"),
                 compression = f.numberForKey("inputCompression");
    if (!allFinite(c.X(), c.Y(), angle, radius, compression)) return s;
    return CIImage::imageWithNode(std::make_shared<ModNode>(
        s.node(), t.node(), coord(c.X()), coord(c.Y()), angle, clampInput(radius, 1, 1e6),
        clampInput(compression, 1, 1e6), timeOf(f)));
}

CIImage flash(const CIFilter& f) {
    CIImage s, t;
    if (!sourceAndTarget(f, s, t)) return s;
    const CIVector c = f.vectorForKey("inputCenter");
    const double fade = f.numberForKey("inputFadeThreshold"),
                 maxR = f.numberForKey("inputMaxStriationRadius"),
                 contrast = f.numberForKey("inputStriationContrast"),
                 strength = f.numberForKey("inputStriationStrength");
    if (!allFinite(c.X(), c.Y(), fade, maxR, contrast, strength)) return s;
    SunShape shape;
    shape.maxStriationRadius = float(clampInput(maxR, 1, 100));
    shape.contrast = float(clampInput(contrast, 0, 100));
    shape.strength = float(clampInput(strength, 0, 100));
    return CIImage::imageWithNode(std::make_shared<FlashNode>(
        s.node(), t.node(), coord(c.X()), coord(c.Y()), motionRect(f, s, t),
        f.colorForKey("inputColor"), timeOf(f), clampInput(fade, 0, 1), shape));
}

}  // namespace cif::builtins::transitions
