#pragma once
// Neighbourhood nodes of the stylize built-ins: cell mosaics (square,
// hexagonal, Voronoi crystals, dots), Sobel edges and shading by surface
// normal.

#include "platform/image/Node.h"

namespace cif::builtins::stylize {

// Every output pixel takes the colour of the input pixel under its cell's
// site. Keeps the input's extent.
class CellNode final : public engine::Node {
public:
    enum class Kind {
        Square,      // squares of side `size` aligned on the centre; site at the square's centre
        Hexagon,     // hexagons `size` across the flats, one centred on the centre
        Crystal,     // Voronoi cells of one jittered site per square of side `size`
        Pointillize  // discs of radius `size` around the sites of crystals 2 * size apart, on white
    };
    CellNode(engine::NodePtr input, Kind kind, double size, double cx, double cy);
    engine::Rect regionOfInterest(size_t index, const engine::Rect& output) const override;
    void render(engine::PixelBuffer& dst, const engine::RenderState& state) const override;
    const char* kind() const override { return "cells"; }

    // The site (engine coordinates) of the cell of the point (x, y).
    void siteOf(double x, double y, double& sx, double& sy) const;

private:
    // The jittered site of crystal cell (i, j).
    void crystalSite(int i, int j, double& sx, double& sy) const;
    Kind m_kind;
    double m_size, m_cx, m_cy;
    int m_reach;  // how far (pixels) a site may lie from the pixels of its cell
};

// Sobel gradient magnitude of each colour channel, times intensity / 4 (a
// hard step from 0 to 1 gives 1), on black; the input's alpha is kept.
class EdgesNode final : public engine::Node {
public:
    EdgesNode(engine::NodePtr input, double intensity);
    engine::Rect regionOfInterest(size_t index, const engine::Rect& output) const override;
    void render(engine::PixelBuffer& dst, const engine::RenderState& state) const override;
    const char* kind() const override { return "edges"; }

private:
    float m_scale;
};

// Input 0 is a height field (its luminance); input 1 a picture of a lit
// sphere filling its extent's inscribed circle. Each pixel's surface normal
// (from the height gradient times scale) picks the sphere's colour where the
// sphere has that normal. Keeps the height field's extent and alpha.
class ShadedMaterialNode final : public engine::Node {
public:
    ShadedMaterialNode(engine::NodePtr height, engine::NodePtr shading, double scale);
    engine::Rect regionOfInterest(size_t index, const engine::Rect& output) const override;
    void render(engine::PixelBuffer& dst, const engine::RenderState& state) const override;
    const char* kind() const override { return "shaded-material"; }

private:
    engine::IRect m_shadingPixels;
    float m_scale;
};

}  // namespace cif::builtins::stylize
