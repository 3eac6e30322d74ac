#pragma once
// A projective warp: each output point reads the input at the point a 3 x 3
// matrix carries it to (homogeneous, row-major: (m0 x + m1 y + m2,
// m3 x + m4 y + m5) / (m6 x + m7 y + m8)). Points where the divisor is not
// positive lie beyond the horizon and are transparent. Where the map
// minifies, each pixel averages a grid of samples so that fine detail does
// not alias.
//
// Two ways to give the map: a quadrilateral that a reference rectangle is
// carried onto (CIPerspectiveTransform, and CIPerspectiveTile, which repeats
// the reference across the plane of the quadrilateral), or the matrix from
// output to input points itself (the reshaping filters).

#include <memory>

#include "platform/builtins/distortion/WarpNode.h"

namespace cif::builtins {

struct Quad {
    double bl[2], br[2], tr[2], tl[2];
};

class ProjectiveWarp final : public WarpNode {
public:
    // The reference rectangle onto quad, or null when the quadrilateral is
    // not convex, degenerate or not finite, or the reference is empty or
    // unbounded. tile: the reference repeats; the extent is infinite.
    static std::shared_ptr<const ProjectiveWarp> fromQuad(engine::NodePtr input,
                                                          const engine::Rect& reference,
                                                          const Quad& quad, bool tile);
    // Output points to input points by matrix, over extent; null when the
    // matrix is not finite or singular.
    static std::shared_ptr<const ProjectiveWarp> fromMatrix(engine::NodePtr input,
                                                            const engine::Rect& extent,
                                                            const double matrix[9]);

    const char* kind() const override;
    void mapSpan(int x, int y, int n, float fx, float fy, float* sx, float* sy) const override;

    // The map: output points relative to (originX, originY), through matrix
    // (its divisor positive on the visible side), to unit points that the
    // reference rectangle scales into input points (repeated when tile).
    // Private construction through the factories; public for
    // std::make_shared.
    ProjectiveWarp(engine::NodePtr input, engine::Rect extent, const double matrix[9],
                   double originX, double originY, const engine::Rect& reference, bool tile,
                   bool quad);

protected:
    engine::Rect sourceBounds(const engine::Rect& output) const override;
    int supersampling(const engine::IRect& gridBlock) const override;
    engine::Rect sharedSource() const override { return m_tile ? m_reference : engine::Rect{}; }

private:
    // The input point for an output point; false beyond the horizon.
    bool sourcePoint(double x, double y, double& sx, double& sy) const;

    double m_m[9];
    float m_f[9];
    double m_ox, m_oy;
    float m_oxf, m_oyf;
    engine::Rect m_reference;  // {0, 0, 1, 1} for a matrix given directly
    bool m_tile, m_quad;
};

// 3 x 3 helpers for the projective filters (row-major).
void multiply3(const double a[9], const double b[9], double out[9]);
// False when m is singular.
bool invert3(const double m[9], double out[9]);
// Applies m to (x, y); false beyond the horizon (divisor not positive).
bool project(const double m[9], double x, double y, double& ox, double& oy);
// The matrix carrying the unit square's corners (0,0), (1,0), (1,1), (0,1)
// onto p[0..3] (x, y pairs).
void squareToQuad(const double p[8], double out[9]);

}  // namespace cif::builtins
