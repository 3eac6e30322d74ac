#pragma once
// Blurs and denoisers that are not separable: disc, motion (a line at an
// angle), zoom (lines towards a centre), the 3 x 3 median and the
// edge-preserving noise reduction.

#include <vector>

#include "platform/image/Node.h"

namespace cif::builtins::blur {

// Mean over the pixels whose centres lie within radius of the output pixel's
// centre. Cost grows with the radius, not its square (per-row running sums).
// The extent grows by the radius.
class DiscBlurNode final : public engine::Node {
public:
    DiscBlurNode(engine::NodePtr input, double radius);
    engine::Rect regionOfInterest(size_t index, const engine::Rect& output) const override;
    void render(engine::PixelBuffer& dst, const engine::RenderState& state) const override;
    const char* kind() const override { return "disc-blur"; }

private:
    engine::IRect inputPixels(const engine::IRect& area) const;

    int m_reach;
    std::vector<int> m_halfWidth;  // per row offset -reach .. reach
    int m_gridShift;               // prefix sums restart every 2^m_gridShift pixels
};

// Mean of the input along a segment of length 2 * radius centred on the
// pixel, at angle (radians, counter-clockwise from +x): bilinear samples one
// pixel apart, folded into one sparse kernel. The extent grows by the
// segment's reach.
struct MotionTaps;

class MotionBlurNode final : public engine::Node {
public:
    MotionBlurNode(engine::NodePtr input, double radius, double angle);
    engine::Rect regionOfInterest(size_t index, const engine::Rect& output) const override;
    void render(engine::PixelBuffer& dst, const engine::RenderState& state) const override;
    const char* kind() const override { return "motion-blur"; }

private:
    MotionBlurNode(engine::NodePtr input, const MotionTaps& taps);
    struct Tap {
        int dx, dy;
        float w;
    };
    std::vector<Tap> m_taps;
    int m_reachX, m_reachY;
};

// Mean of bilinear samples from the pixel towards the centre: sample
// p + (centre - p) * s for s evenly in [0, amount / 100], so the streak is
// amount percent of the distance to the centre (negative amounts streak
// outwards). The extent is the input's grown by the largest scaling.
class ZoomBlurNode final : public engine::Node {
public:
    ZoomBlurNode(engine::NodePtr input, double cx, double cy, double amount);
    engine::Rect regionOfInterest(size_t index, const engine::Rect& output) const override;
    void render(engine::PixelBuffer& dst, const engine::RenderState& state) const override;
    const char* kind() const override { return "zoom-blur"; }

private:
    double m_cx, m_cy, m_s;  // m_s: the largest fraction of the way to the centre
};

// Median of the 3 x 3 neighbourhood, each channel on its own. Keeps the
// input's extent.
class MedianNode final : public engine::Node {
public:
    explicit MedianNode(engine::NodePtr input);
    engine::Rect regionOfInterest(size_t index, const engine::Rect& output) const override;
    void render(engine::PixelBuffer& dst, const engine::RenderState& state) const override;
    const char* kind() const override { return "median"; }
};

// Edge-preserving smoothing: the mean of the 3 x 3 neighbours whose
// luminance is within noiseLevel of the centre's (the centre always counts),
// then sharpened by sharpness * (smoothed - 3 x 3 mean). Keeps the input's
// extent.
class NoiseReductionNode final : public engine::Node {
public:
    NoiseReductionNode(engine::NodePtr input, double noiseLevel, double sharpness);
    engine::Rect regionOfInterest(size_t index, const engine::Rect& output) const override;
    void render(engine::PixelBuffer& dst, const engine::RenderState& state) const override;
    const char* kind() const override { return "noise-reduction"; }

private:
    float m_level, m_sharpness;
};

}  // namespace cif::builtins::blur
