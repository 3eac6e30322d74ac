#pragma once
// Pieces shared by the generator and transition built-ins: colour inputs
// converted once into both working spaces, nodes without inputs that fill
// each row from a formula, and the angular noise behind the light streaks.

#include <cstdint>

#include "platform/image/CIColor.h"
#include "platform/image/ColorSpace.h"
#include "platform/image/Node.h"
#include "platform/image/Pixel4.h"

namespace cif::builtins {

// A straight sRGB colour input as premultiplied working-space values, for
// both working spaces, so spans pick theirs without converting per render.
class WorkingColor {
public:
    WorkingColor() = default;
    explicit WorkingColor(const CIColor& color);
    engine::Pixel4 in(engine::WorkingSpace space) const {
        return space == engine::WorkingSpace::None ? m_plain : m_linear;
    }

private:
    engine::Pixel4 m_linear{0, 0, 0, 0}, m_plain{0, 0, 0, 0};
};

// An image with no inputs and an infinite extent, computed pixel by pixel.
class GeneratorNode : public engine::Node {
public:
    void render(engine::PixelBuffer& dst, const engine::RenderState& state) const final;
    bool readsSinglePixels() const final { return true; }

protected:
    GeneratorNode() : Node({}, engine::Rect::infinite()) {}
    // Fills n pixels of row y starting at column x (pixel centres at +0.5).
    virtual void fillSpan(float* rgba, int n, int x, int y,
                          const engine::RenderState& state) const = 0;
};

// A well-mixed 32-bit hash (integer finaliser), the source of every
// pseudo-random value here: the same input gives the same value everywhere.
inline uint32_t mixHash(uint32_t v) {
    v ^= v >> 16;
    v *= 0x7feb352dU;
    v ^= v >> 15;
    v *= 0x846ca68bU;
    v ^= v >> 16;
    return v;
}

// Streaks radiating from a centre, as lens flares and sunbeams show them:
// periodic value noise over the angle (two octaves, smoothly interpolated),
// in [0, 1]. `time` in [0, 1] moves the streaks smoothly; `contrast` sharpens
// them (0 gives a flat 0.5).
float striation(float angle, float time, float contrast);

// A sun: a disc of `radius` with an anti-aliased rim, a soft glow around it,
// and streaks (striation) reaching out to `maxStriationRadius` times the
// radius, fading quadratically to nothing there. at() is the light's
// intensity in [0, 1] at distance r and angle (radians) from the centre.
struct SunShape {
    float radius = 40, maxStriationRadius = 2.58f, strength = 0.5f, contrast = 1.375f, time = 0;
    float at(float r, float angle) const;
};

// Clamps a number input to [lo, hi]; NaN gives lo.
inline double clampInput(double v, double lo, double hi) {
    return v >= lo ? (v <= hi ? v : hi) : lo;
}

// A position input limited to a billion pixels either way, far beyond any
// picture, so that arithmetic in float stays finite.
inline double coord(double v) {
    return clampInput(v, -1e9, 1e9);
}

}  // namespace cif::builtins
