#pragma once
// The projective map that carries a reference rectangle onto a quadrilateral,
// as a warp: CIPerspectiveTransform (the input's extent onto the four corners)
// and CIPerspectiveTile (the same, repeated across the plane of the
// quadrilateral). Where the map minifies, each pixel averages a grid of
// samples so that fine detail does not alias.

#include <memory>

#include "platform/builtins/distortion/WarpNode.h"

namespace cif::builtins {

struct Quad {
    double bl[2], br[2], tr[2], tl[2];
};

class PerspectiveWarp final : public WarpNode {
public:
    // The node, or null when the quadrilateral is not convex, degenerate or
    // not finite, or the reference rectangle is empty or unbounded.
    static std::shared_ptr<const PerspectiveWarp> make(engine::NodePtr input,
                                                       const engine::Rect& reference,
                                                       const Quad& quad, bool tile);

    const char* kind() const override { return m_tile ? "perspective-tile" : "perspective"; }
    void mapSpan(int x, int y, int n, float fx, float fy, float* sx, float* sy) const override;

    // Private construction through make(); public for std::make_shared.
    PerspectiveWarp(engine::NodePtr input, engine::Rect extent, const engine::Rect& reference,
                    const double inverse[9], double originX, double originY, bool tile);

protected:
    engine::Rect sourceBounds(const engine::Rect& output) const override;
    int supersampling(const engine::IRect& gridBlock) const override;
    engine::Rect sharedSource() const override { return m_tile ? m_reference : engine::Rect{}; }

private:
    // (u, v) in the unit square of the reference rectangle for a point;
    // false beyond the horizon.
    bool unitPoint(double x, double y, double& u, double& v) const;

    engine::Rect m_reference;
    double m_inv[9];  // output point (relative to the origin) -> homogeneous (u, v, w), w > 0
    float m_invf[9];
    double m_ox, m_oy;
    float m_oxf, m_oyf;
    bool m_tile;
};

}  // namespace cif::builtins
