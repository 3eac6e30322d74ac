#pragma once
// A projective warp given by the 3 x 3 matrix that carries output points to
// input points (homogeneous, row-major: source = (m0 x + m1 y + m2,
// m3 x + m4 y + m5) / (m6 x + m7 y + m8)). Points where the divisor is not
// positive lie beyond the horizon and are transparent. Where the map
// minifies, each pixel averages a grid of samples.

#include <memory>

#include "platform/builtins/distortion/WarpNode.h"

namespace cif::builtins {

class HomographyWarp final : public WarpNode {
public:
    // The node, or null when the matrix is not finite or singular.
    static std::shared_ptr<const HomographyWarp> make(engine::NodePtr input,
                                                      const engine::Rect& extent,
                                                      const double matrix[9]);

    const char* kind() const override { return "homography"; }
    void mapSpan(int x, int y, int n, float fx, float fy, float* sx, float* sy) const override;

    // Private construction through make(); public for std::make_shared.
    HomographyWarp(engine::NodePtr input, const engine::Rect& extent, const double matrix[9],
                   double originX, double originY);

protected:
    engine::Rect sourceBounds(const engine::Rect& output) const override;
    int supersampling(const engine::IRect& gridBlock) const override;

private:
    bool sourcePoint(double x, double y, double& sx, double& sy) const;
    double m_m[9];  // relative to the origin
    float m_f[9];
    double m_ox, m_oy;
    float m_oxf, m_oyf;
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
