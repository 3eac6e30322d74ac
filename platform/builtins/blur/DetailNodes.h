#pragma once
// Nodes behind the blur-and-detail built-ins that are not plain separable
// blurs: the bokeh lens blur, the per-pixel mixes of blur levels, the guided
// filter, the joint bilateral upsampler, the vignettes, the document
// flattening and the saliency map.

#include <array>
#include <mutex>
#include <vector>

#include "platform/image/Node.h"

namespace cif::builtins::blur {

// A lens blur: a weighted sum of discs (pixels whose centres lie within a
// radius of the output pixel's centre), normalised so that the weights of
// all pixels sum to 1. Positive and negative terms of different radii give
// rings and soft rims. Each disc row is a running sum along the row that
// restarts at every multiple of kRun absolute pixels, so a pixel's value
// never depends on where a tile starts; the region of interest reaches
// back to the start of that run. The extent grows by the largest radius.
class BokehNode final : public engine::Node {
public:
    struct Disc {
        double radius;  // pixels, at least 0
        double weight;  // per pixel of the disc, before normalising
    };
    static constexpr int kRun = 32;
    BokehNode(engine::NodePtr input, const std::vector<Disc>& discs);
    engine::Rect regionOfInterest(size_t index, const engine::Rect& output) const override;
    void render(engine::PixelBuffer& dst, const engine::RenderState& state) const override;
    const char* kind() const override { return "bokeh-blur"; }

private:
    struct Row {
        int dy, halfWidth;
        float weight;
    };
    struct Layout {
        std::vector<Row> rows;
        int reach = 0;
    };
    static Layout layout(const std::vector<Disc>& discs);
    BokehNode(engine::NodePtr input, Layout layout);
    std::vector<Row> m_rows;
    int m_reach;
};

// Mixes blur levels per pixel: input 0 is a mask whose luminance m (clamped
// to [0, 1]) picks the point m * (levels - 1) among inputs 1 .. levels,
// interpolating linearly between the two nearest. Extent: the union of the
// levels'.
class LevelMixNode final : public engine::Node {
public:
    LevelMixNode(engine::NodePtr mask, std::vector<engine::NodePtr> levels);
    void render(engine::PixelBuffer& dst, const engine::RenderState& state) const override;
    const char* kind() const override { return "level-mix"; }
};

// Mixes a sharp picture (input 0) into a blurred one (input 1) by distance
// from the line through two points: sharp within `inner` pixels of it,
// blurred beyond `outer`, smoothstep between. Extent: the union of both.
class LineFocusNode final : public engine::Node {
public:
    LineFocusNode(engine::NodePtr sharp, engine::NodePtr blurred, double x0, double y0, double x1,
                  double y1, double inner, double outer);
    void render(engine::PixelBuffer& dst, const engine::RenderState& state) const override;
    const char* kind() const override { return "line-focus"; }

private:
    double m_x0, m_y0, m_nx, m_ny, m_inner, m_outer;
};

// The guided filter (He, Sun and Tang): each channel of the output is a
// locally linear function a I + b of the same channel of the guide I (input
// 1), with a and b fitted to the input p (input 0) by least squares over
// every (2r+1)^2 window, eps damping a, and averaged over the windows that
// hold the pixel. Window sums run in a fixed order, so tiles never change a
// pixel. Extent: the guide's.
class GuidedFilterNode final : public engine::Node {
public:
    GuidedFilterNode(engine::NodePtr input, engine::NodePtr guide, int radius, double epsilon);
    engine::Rect regionOfInterest(size_t index, const engine::Rect& output) const override;
    void render(engine::PixelBuffer& dst, const engine::RenderState& state) const override;
    const char* kind() const override { return "guided-filter"; }

private:
    int m_r;
    float m_eps;
};

// Joint bilateral upsampling (Kopf, Cohen, Lischinski and Uyttendaele): a
// small picture (input 1) brought to the size of a large one (input 0, the
// guide) as a weighted mean of the small pixels near each output pixel, the
// weights a Gaussian of the distance in small pixels (spatialSigma) times a
// Gaussian of the difference between the guide's luminance at the output
// pixel and at the small pixel's centre (lumaSigma). Edges of the guide stay
// sharp where the small picture has none. Extent: the guide's.
class JointUpsampleNode final : public engine::Node {
public:
    JointUpsampleNode(engine::NodePtr guide, engine::NodePtr small, double spatialSigma,
                      double lumaSigma);
    engine::Rect regionOfInterest(size_t index, const engine::Rect& output) const override;
    void render(engine::PixelBuffer& dst, const engine::RenderState& state) const override;
    const char* kind() const override { return "joint-upsample"; }

private:
    // Small-picture position (pixel units, origin at its first pixel's
    // corner) of a guide position.
    double toSmallX(double x) const { return (x - m_big.x) / m_sx; }
    double toSmallY(double y) const { return (y - m_big.y) / m_sy; }
    engine::Rect m_big, m_smallExtent;
    engine::IRect m_smallPixels;
    double m_sx, m_sy;
    int m_reach;
    float m_spatial, m_luma;
};

// Darkens (positive intensity) or brightens (negative) the colour of its
// input by distance from a centre: untouched within r0, the full intensity
// from r1 on, smoothstep between. Alpha is kept.
class VignetteNode final : public engine::PointNode {
public:
    VignetteNode(engine::NodePtr input, double cx, double cy, double r0, double r1,
                 double intensity);
    void applySpan(float* rgba, int n, int x, int y,
                   const engine::RenderState& state) const override;
    const char* kind() const override { return "vignette"; }

private:
    float m_offX, m_offY, m_r0, m_k, m_intensity;
};

// Flattens a photographed page: the luminance divided by the local paper
// level (foreground: a wide blur of the page, never below the pixel
// itself), so paper becomes white whatever the lighting; ratios within 6% of
// 1 count as paper, and the ink's darkness beyond that is multiplied by
// 1 + amount for contrast. Colours are scaled to the new luminance. Mixed
// with the original by min(amount, 1), so amount 0 is the identity.
class DocumentNode final : public engine::BinaryPointNode {
public:
    DocumentNode(engine::NodePtr paper, engine::NodePtr page, double amount);
    void combineSpan(const float* paper, float* page, int n) const override;
    const char* kind() const override { return "document"; }

private:
    float m_gain, m_mix;
};

// Frequency-tuned saliency (Achanta, Hemami, Estrada and Suesstrunk): a
// pixel's saliency is the CIELAB distance between the picture's mean colour
// and the pixel's colour in a slightly blurred copy (input 1), divided by
// the largest such distance in the picture. The mean and the largest
// distance are found once per working space, over the whole finite extent,
// in a fixed order. Output: that value as opaque grey over the extent.
class SaliencyNode final : public engine::Node {
public:
    SaliencyNode(engine::NodePtr input, engine::NodePtr blurred);
    engine::Rect regionOfInterest(size_t index, const engine::Rect& output) const override;
    void render(engine::PixelBuffer& dst, const engine::RenderState& state) const override;
    const char* kind() const override { return "saliency"; }

private:
    struct Stats {
        bool ready = false;
        float mean[3] = {0, 0, 0};
        float scale = 0;  // 1 / largest distance, 0 for a flat picture
    };
    bool stats(const engine::RenderState& state, Stats& out) const;
    mutable std::mutex m_mutex;
    mutable std::array<Stats, 2> m_stats;  // per working space
};

}  // namespace cif::builtins::blur
