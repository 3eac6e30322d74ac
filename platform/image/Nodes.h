#pragma once
// The engine's basic recipe nodes: sources, constant colour, affine transform,
// crop, edge clamp, periodic wrap, and the two compositing operators.

#include <cstdint>
#include <memory>

#include "platform/image/Node.h"

namespace cif::engine {

// A bitmap held in memory. Its pixels cover [0, width) x [0, height) in
// engine coordinates, moved by `origin`.
class SourceNode final : public Node {
public:
    enum class Format : uint8_t {
        RGBA8PremulTopDown,   // 8-bit sRGB-encoded premultiplied RGBA, first row at the top
        FloatPremulBottomUp,  // working-space premultiplied floats, first row at the bottom
    };
    // `owner` keeps the pixel memory alive for as long as the node exists.
    SourceNode(std::shared_ptr<const void> owner, const void* pixels, int width, int height,
               size_t bytesPerRow, Format format, int originX = 0, int originY = 0);

    void render(PixelBuffer& dst, const RenderState& state) const override;
    const char* kind() const override { return "source"; }
    bool readsSinglePixels() const override { return true; }
    int width() const { return m_width; }
    int height() const { return m_height; }

private:
    std::shared_ptr<const void> m_owner;
    const uint8_t* m_pixels;
    int m_width, m_height;
    size_t m_bytesPerRow;
    Format m_format;
    int m_originX, m_originY;
};

// One colour everywhere (infinite extent). The colour is straight sRGB and is
// converted into the working space of each render.
class ConstantNode final : public Node {
public:
    explicit ConstantNode(const double rgba[4]);
    void render(PixelBuffer& dst, const RenderState& state) const override;
    const char* kind() const override { return "constant"; }
    bool readsSinglePixels() const override { return true; }
    const double* color() const { return m_rgba; }

private:
    double m_rgba[4];
};

// Resamples its input under an affine transform (bilinear). The extent is the
// bounding box of the transformed input extent. Integer translations are exact
// copies. The transform must be invertible (the CIImage facade checks).
class TransformNode final : public Node {
public:
    TransformNode(NodePtr input, const Affine& transform);
    Rect regionOfInterest(size_t index, const Rect& output) const override;
    void render(PixelBuffer& dst, const RenderState& state) const override;
    const char* kind() const override { return "transform"; }
    bool readsSinglePixels() const override { return m_transform.isIntegerTranslation(); }
    const Affine& transform() const { return m_transform; }

private:
    void resampleBlock(const IRect& block, PixelBuffer& dst, const RenderState& state) const;
    Affine m_transform, m_inverse;
};

// Keeps the pixels whose centres lie inside a rectangle; transparent elsewhere.
class CropNode final : public PointNode {
public:
    CropNode(NodePtr input, const Rect& rect);
    void applySpan(float*, int, int, int, const RenderState&) const override {}
    Rect regionOfInterest(size_t index, const Rect& output) const override;
    IRect pixelArea() const override;
    const char* kind() const override { return "crop"; }
    const Rect& cropRect() const { return m_rect; }

private:
    Rect m_rect;
};

// Extends the edge pixels of its input outwards forever (infinite extent).
class ClampNode final : public Node {
public:
    explicit ClampNode(NodePtr input);
    Rect regionOfInterest(size_t index, const Rect& output) const override;
    void render(PixelBuffer& dst, const RenderState& state) const override;
    const char* kind() const override { return "clamp"; }

private:
    IRect m_pixels;  // the input pixels that are repeated outwards
};

// Repeats its input's pixels periodically in both directions (infinite extent).
class WrapNode final : public Node {
public:
    explicit WrapNode(NodePtr input);
    Rect regionOfInterest(size_t index, const Rect& output) const override;
    void render(PixelBuffer& dst, const RenderState& state) const override;
    const char* kind() const override { return "wrap"; }

private:
    IRect m_pixels;  // one period
};

// Porter-Duff source-over: foreground + background * (1 - foreground alpha).
class SourceOverNode final : public BinaryPointNode {
public:
    SourceOverNode(NodePtr foreground, NodePtr background)
        : BinaryPointNode(std::move(foreground), std::move(background)) {}
    void combineSpan(const float* fg, float* bg, int n) const override;
    const char* kind() const override { return "source-over"; }
};

// Additive compositing: foreground + background, channel by channel.
class AdditionNode final : public BinaryPointNode {
public:
    AdditionNode(NodePtr foreground, NodePtr background)
        : BinaryPointNode(std::move(foreground), std::move(background)) {}
    void combineSpan(const float* fg, float* bg, int n) const override;
    const char* kind() const override { return "addition"; }
};

}  // namespace cif::engine
