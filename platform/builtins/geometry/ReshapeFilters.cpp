// Reshaping built-ins: scaling with a cubic, nearest-pixel sampling, edge
// clamping, straightening, stretching and cropping to a size, perspective
// correction and camera rotation, keystone correction, nine-part layouts,
// and the Droste, light tunnel and triangle kaleidoscope distortions.

#include <QTransform>
#include <algorithm>
#include <cmath>

#include "platform/builtins/BuiltinFilter.h"
#include "platform/builtins/geometry/ProjectiveWarp.h"
#include "platform/builtins/geometry/ReshapeWarps.h"
#include "platform/builtins/geometry/ScaleNode.h"
#include "platform/image/Nodes.h"

namespace cif::builtins {

namespace {

using engine::Rect;

// Positions and sizes beyond this are clamped; far past any picture.
constexpr double kMaxCoord = 1e7;
// The largest side a reshaped picture may have.
constexpr double kMaxSide = 30000;

double number(const CIFilter& f, const char* key, double lo, double hi, double fallback) {
    const double v = f.numberForKey(QString::fromLatin1(key));
    return std::isnan(v) ? fallback : std::clamp(v, lo, hi);
}

bool point(const CIFilter& f, const char* key, double& x, double& y) {
    const CIVector v = f.vectorForKey(QString::fromLatin1(key));
    if (v.count() < 2) return false;
    x = v.X();
    y = v.Y();
    return std::isfinite(x) && std::isfinite(y) && std::abs(x) < kMaxCoord &&
           std::abs(y) < kMaxCoord;
}

bool rectangle(const CIFilter& f, const char* key, Rect& r) {
    const CIVector v = f.vectorForKey(QString::fromLatin1(key));
    if (v.count() < 4) return false;
    r = {v.X(), v.Y(), v.Z(), v.W()};
    return std::isfinite(r.x) && std::isfinite(r.y) && std::isfinite(r.w) && std::isfinite(r.h) &&
           std::abs(r.x) < kMaxCoord && std::abs(r.y) < kMaxCoord && r.w > 0 && r.h > 0 &&
           r.w < kMaxCoord && r.h < kMaxCoord;
}

const Rect* finiteExtent(const CIImage& image) {
    const Rect& e = image.node()->extent();
    return !e.isEmpty() && !e.isInfinite() && !e.isUnbounded() ? &e : nullptr;
}

// Corners bottom-left, bottom-right, top-right, top-left as x, y pairs.
struct Corners {
    double p[8];
};

bool cornersOf(const CIFilter& f, Corners& c) {
    return point(f, "inputBottomLeft", c.p[0], c.p[1]) &&
           point(f, "inputBottomRight", c.p[2], c.p[3]) &&
           point(f, "inputTopRight", c.p[4], c.p[5]) && point(f, "inputTopLeft", c.p[6], c.p[7]);
}

Corners cornersOf(const Rect& r) {
    return {{r.x, r.y, r.right(), r.y, r.right(), r.top(), r.x, r.top()}};
}

// Convex with every turn the same way.
bool convex(const Corners& c) {
    int sign = 0;
    for (int i = 0; i < 4; ++i) {
        const double* o = c.p + 2 * i;
        const double* a = c.p + 2 * ((i + 1) % 4);
        const double* b = c.p + 2 * ((i + 2) % 4);
        const double z = (a[0] - o[0]) * (b[1] - o[1]) - (a[1] - o[1]) * (b[0] - o[0]);
        if (!(std::abs(z) > 1e-9)) return false;
        const int s = z > 0 ? 1 : -1;
        if (sign != 0 && s != sign) return false;
        sign = s;
    }
    return true;
}

// The box of a rectangle's corners under a projective map; false when a
// corner lies beyond the horizon.
bool mappedBox(const double m[9], const Rect& r, Rect& out) {
    const Corners c = cornersOf(r);
    double x0 = 1e300, x1 = -1e300, y0 = 1e300, y1 = -1e300;
    for (int i = 0; i < 4; ++i) {
        double x, y;
        if (!project(m, c.p[2 * i], c.p[2 * i + 1], x, y)) return false;
        x0 = std::min(x0, x);
        x1 = std::max(x1, x);
        y0 = std::min(y0, y);
        y1 = std::max(y1, y);
    }
    out = {x0, y0, x1 - x0, y1 - y0};
    return true;
}

CIImage homography(const CIImage& in, const Rect& extent, const double outputToSource[9]) {
    const auto node = ProjectiveWarp::fromMatrix(in.node(), extent, outputToSource);
    return node ? CIImage::imageWithNode(node) : in;
}

// ---------------------------------------------------------------- scaling and sampling

CIImage bicubicScale(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const double scale = f.numberForKey("inputScale"), aspect = f.numberForKey("inputAspectRatio");
    const double b = number(f, "inputB", 0, 1, 0), c = number(f, "inputC", 0, 1, 0.75);
    const double sx = scale * aspect, sy = scale;
    // Limits as for the Lanczos scale: one tile must read a bounded input.
    if (!(sx >= 1e-3 && sy >= 1e-3 && sx <= 1e3 && sy <= 1e3)) return in;
    if (in.isInfinite() && std::min(sx, sy) < 0.05) return in;
    // With B = 0 the cubic interpolates: scale 1 copies the picture.
    if (sx == 1 && sy == 1 && b == 0) return in;
    return CIImage::imageWithNode(std::make_shared<ScaleNode>(
        in.node(), sx, sy, ScaleKernel{ScaleKernel::Kind::Cubic, b, c}));
}

// The input's last resampling redone with the nearest pixel instead of
// bilinear interpolation; pictures that were not resampled are unchanged.
CIImage sampleNearest(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const auto* t = dynamic_cast<const engine::TransformNode*>(in.node().get());
    if (!t || t->transform().isIntegerTranslation()) return in;
    return CIImage::imageWithNode(
        std::make_shared<NearestWarp>(t->inputs().front(), t->transform()));
}

// The picture within the rectangle, its edge pixels repeated outwards.
CIImage clampToRect(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    Rect r;
    if (!rectangle(f, "inputExtent", r)) return in;
    const CIImage cropped = in.imageByCroppingToRect(QRectF(r.x, r.y, r.w, r.h));
    if (cropped.isNull() || cropped.node()->extent().isEmpty()) return in;
    return cropped.imageByClampingToExtent();
}

// Turned by the angle about the centre and enlarged just enough that the
// turned picture covers the whole extent, which it keeps.
CIImage straighten(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const double angle = std::remainder(number(f, "inputAngle", -1e6, 1e6, 0), 2 * M_PI);
    if (angle == 0) return in;
    const Rect* e = finiteExtent(in);
    if (!e) return in.imageByApplyingTransform(QTransform().rotateRadians(angle));
    const double c = std::abs(std::cos(angle)), s = std::abs(std::sin(angle));
    // The outermost pixel of the picture fades under bilinear sampling, so
    // the picture less one pixel all round must cover the extent.
    const double iw = std::max(e->w - 2, 1.0), ih = std::max(e->h - 2, 1.0);
    const double k = std::max((e->w * c + e->h * s) / iw, (e->w * s + e->h * c) / ih);
    const double cx = e->x + e->w / 2, cy = e->y + e->h / 2;
    const QTransform t = QTransform::fromTranslate(-cx, -cy) * QTransform().rotateRadians(angle) *
                         QTransform::fromScale(k, k) * QTransform::fromTranslate(cx, cy);
    return in.imageByApplyingTransform(t).imageByCroppingToRect(in.extent());
}

// To the requested size from the origin. Along the axis where the picture
// is relatively too short, the other axis is first cropped by cropAmount of
// the difference (1 crops to the size's aspect, 0 not at all), and what is
// left is stretched with centerStretchAmount of the stretch put in the
// middle rather than spread evenly.
CIImage stretchCrop(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const Rect* e = finiteExtent(in);
    double W, H;
    if (!e || !point(f, "inputSize", W, H)) return in;
    W = std::clamp(W, 1.0, kMaxSide);
    H = std::clamp(H, 1.0, kMaxSide);
    const double crop = number(f, "inputCropAmount", 0, 1, 0);
    const double stretch = number(f, "inputCenterStretchAmount", 0, 1, 0);
    AxisMap mx, my;
    mx.from = my.from = 0;
    mx.length = W;
    my.length = H;
    mx.centre = e->x + e->w / 2;
    my.centre = e->y + e->h / 2;
    double w = e->w, h = e->h;
    const bool wider = W / H >= w / h;
    if (wider) {
        h -= crop * (h - w * H / W);
        mx.s = stretch;
    } else {
        w -= crop * (w - h * W / H);
        my.s = stretch;
    }
    mx.half = w / 2;
    my.half = h / 2;
    return CIImage::imageWithNode(
        std::make_shared<AxisMapWarp>(in.node(), Rect{0, 0, W, H}, mx, my));
}

// ---------------------------------------------------------------- perspective

// The quadrilateral of the picture given by the four corners, brought to a
// rectangle as wide as its longer horizontal side and as tall as its longer
// vertical side, at the origin. Without cropping, the whole picture is
// transformed alike.
CIImage perspectiveCorrection(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    Corners q;
    if (!cornersOf(f, q) || !convex(q)) return in;
    const double* p = q.p;
    const double W =
        std::max(std::hypot(p[2] - p[0], p[3] - p[1]), std::hypot(p[4] - p[6], p[5] - p[7]));
    const double H =
        std::max(std::hypot(p[6] - p[0], p[7] - p[1]), std::hypot(p[4] - p[2], p[5] - p[3]));
    if (!(W >= 1 && H >= 1 && W <= kMaxSide && H <= kMaxSide)) return in;
    double square[9], m[9], inverse[9];
    squareToQuad(q.p, square);
    const double toUnit[9] = {1 / W, 0, 0, 0, 1 / H, 0, 0, 0, 1};
    multiply3(square, toUnit, m);
    Rect extent{0, 0, W, H};
    const bool cropToRect = f.numberForKey("inputCrop") != 0;
    if (!cropToRect && !in.isInfinite() && invert3(m, inverse)) {
        Rect whole;
        if (mappedBox(inverse, in.node()->extent(), whole) && whole.w <= kMaxSide &&
            whole.h <= kMaxSide)
            extent = whole;
    }
    return homography(in, extent, m);
}

CIImage perspectiveTransformWithExtent(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    Corners c;
    Rect reference;
    if (!cornersOf(f, c) || !rectangle(f, "inputExtent", reference)) return in;
    const Quad quad{{c.p[0], c.p[1]}, {c.p[2], c.p[3]}, {c.p[4], c.p[5]}, {c.p[6], c.p[7]}};
    const auto node = ProjectiveWarp::fromQuad(in.node(), reference, quad, false);
    return node ? CIImage::imageWithNode(node) : in;
}

// A camera turned about its centre of projection: K R K^-1 takes a picture
// point to where the turned camera sees it, K holding the focal length in
// pixels (35 mm equivalent: a 36 mm wide frame spans the picture's width)
// and the picture's centre. R turns by the pitch about x, then the yaw
// about y, then the roll about the view axis.
struct Camera {
    double f, cx, cy;
};

void cameraRotation(const Camera& cam, double pitch, double yaw, double roll, double out[9]) {
    const double cp = std::cos(pitch), sp = std::sin(pitch), cyw = std::cos(yaw),
                 syw = std::sin(yaw), cr = std::cos(roll), sr = std::sin(roll);
    const double rx[9] = {1, 0, 0, 0, cp, -sp, 0, sp, cp};
    const double ry[9] = {cyw, 0, syw, 0, 1, 0, -syw, 0, cyw};
    const double rz[9] = {cr, -sr, 0, sr, cr, 0, 0, 0, 1};
    const double k[9] = {cam.f, 0, cam.cx, 0, cam.f, cam.cy, 0, 0, 1};
    const double kInv[9] = {1 / cam.f, 0, -cam.cx / cam.f, 0, 1 / cam.f, -cam.cy / cam.f, 0, 0, 1};
    double r[9], t[9];
    multiply3(ry, rx, t);
    multiply3(rz, t, r);
    multiply3(k, r, t);
    multiply3(t, kInv, out);
}

bool cameraOf(const CIFilter& f, const Rect& e, Camera& cam) {
    const double focal = number(f, "inputFocalLength", 0, 1e4, 28);
    if (!(focal > 0.1)) return false;
    cam = {focal / 36.0 * e.w, e.x + e.w / 2, e.y + e.h / 2};
    return true;
}

// The picture as the turned camera sees it; its extent is the box of its
// turned corners (none may turn past the horizon, and the box stays
// within the largest picture side).
CIImage turned(const CIImage& in, const Camera& cam, double pitch, double yaw, double roll) {
    if (pitch == 0 && yaw == 0 && roll == 0) return in;
    double forward[9], back[9];
    cameraRotation(cam, pitch, yaw, roll, forward);
    Rect extent;
    if (!invert3(forward, back) || !mappedBox(forward, in.node()->extent(), extent) ||
        !(extent.w <= kMaxSide && extent.h <= kMaxSide))
        return in;
    return homography(in, extent, back);
}

CIImage perspectiveRotate(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const Rect* e = finiteExtent(in);
    Camera cam;
    if (!e || !cameraOf(f, *e, cam)) return in;
    const double pitch = number(f, "inputPitch", -1.5, 1.5, 0);
    const double yaw = number(f, "inputYaw", -1.5, 1.5, 0);
    const double roll = std::remainder(number(f, "inputRoll", -1e6, 1e6, 0), 2 * M_PI);
    return turned(in, cam, pitch, yaw, roll);
}

// ---------------------------------------------------------------- keystone

// How far from parallel two sides of the turned quadrilateral are: the sine
// of the angle between the directions a0 -> a1 and b0 -> b1, or NaN when a
// corner turns past the horizon.
double skew(const Camera& cam, const Corners& q, double pitch, double yaw, int a0, int a1, int b0,
            int b1) {
    double m[9];
    cameraRotation(cam, pitch, yaw, 0, m);
    double x[4], y[4];
    for (int i = 0; i < 4; ++i)
        if (!project(m, q.p[2 * i], q.p[2 * i + 1], x[i], y[i]))
            return std::numeric_limits<double>::quiet_NaN();
    const double ax = x[a1] - x[a0], ay = y[a1] - y[a0], bx = x[b1] - x[b0], by = y[b1] - y[b0];
    const double la = std::hypot(ax, ay), lb = std::hypot(bx, by);
    if (!(la > 0 && lb > 0)) return std::numeric_limits<double>::quiet_NaN();
    return (ax * by - ay * bx) / (la * lb);
}

// The angle in [-1.2, 1.2] radians (steps of 0.01, then bisection) that
// makes g zero nearest to 0; 0 when g never changes sign.
template <typename G>
double solveAngle(const G& g) {
    constexpr int kSteps = 120;
    double best = 0;
    double bestAbs = std::numeric_limits<double>::infinity();
    for (int dir : {1, -1}) {
        double prev = g(0.0);
        if (!std::isfinite(prev)) return 0;
        if (prev == 0) return 0;
        for (int k = 1; k <= kSteps; ++k) {
            const double t = dir * k * 0.01;
            const double v = g(t);
            if (!std::isfinite(v)) break;
            if ((v > 0) != (prev > 0)) {
                double lo = dir * (k - 1) * 0.01, hi = t, glo = prev;
                for (int it = 0; it < 50; ++it) {
                    const double mid = 0.5 * (lo + hi), gm = g(mid);
                    if (!std::isfinite(gm)) break;
                    if ((gm > 0) == (glo > 0)) {
                        lo = mid;
                        glo = gm;
                    } else {
                        hi = mid;
                    }
                }
                const double found = 0.5 * (lo + hi);
                if (std::abs(found) < bestAbs) {
                    bestAbs = std::abs(found);
                    best = found;
                }
                break;
            }
            prev = v;
        }
    }
    return best;
}

enum class Keystone { Horizontal, Vertical, Combined };

// The camera turned so that the quadrilateral's left and right sides
// (vertical correction: a pitch) or its top and bottom sides (horizontal:
// a yaw) become parallel, as they were in the scene; both for the combined
// correction. Without corners the picture's own are used, which need no
// turn.
CIImage keystone(const CIFilter& f, Keystone kind) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const Rect* e = finiteExtent(in);
    Camera cam;
    if (!e || !cameraOf(f, *e, cam)) return in;
    Corners q;
    if (!cornersOf(f, q)) q = cornersOf(*e);
    if (!convex(q)) return in;
    double pitch = 0, yaw = 0;
    // Corners: 0 bottom-left, 1 bottom-right, 2 top-right, 3 top-left.
    const auto vertical = [&] {
        pitch = solveAngle([&](double t) { return skew(cam, q, t, yaw, 0, 3, 1, 2); });
    };
    const auto horizontal = [&] {
        yaw = solveAngle([&](double t) { return skew(cam, q, pitch, t, 0, 1, 3, 2); });
    };
    if (kind == Keystone::Vertical) vertical();
    if (kind == Keystone::Horizontal) horizontal();
    if (kind == Keystone::Combined)
        for (int round = 0; round < 4; ++round) {
            vertical();
            horizontal();
        }
    return turned(in, cam, pitch, yaw, 0);
}

CIImage keystoneHorizontal(const CIFilter& f) {
    return keystone(f, Keystone::Horizontal);
}
CIImage keystoneVertical(const CIFilter& f) {
    return keystone(f, Keystone::Vertical);
}
CIImage keystoneCombined(const CIFilter& f) {
    return keystone(f, Keystone::Combined);
}

// ---------------------------------------------------------------- nine parts

// The breakpoints split the picture into three columns and three rows; the
// middle column and row grow by the grow amount, stretched or repeated, and
// the corners keep their size.
CIImage ninePart(const CIFilter& f, bool tiled) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const Rect* e = finiteExtent(in);
    double x0, y0, x1, y1, gx, gy;
    if (!e || !point(f, "inputBreakpoint0", x0, y0) || !point(f, "inputBreakpoint1", x1, y1) ||
        !point(f, "inputGrowAmount", gx, gy))
        return in;
    AxisMap mx, my;
    mx.kind = my.kind = tiled ? AxisMap::Kind::NineTile : AxisMap::Kind::NineStretch;
    mx.b0 = std::clamp(std::min(x0, x1), e->x, e->right());
    mx.b1 = std::clamp(std::max(x0, x1), e->x, e->right());
    my.b0 = std::clamp(std::min(y0, y1), e->y, e->top());
    my.b1 = std::clamp(std::max(y0, y1), e->y, e->top());
    if (!(mx.b1 - mx.b0 >= 1 && my.b1 - my.b0 >= 1)) return in;
    // The middle may shrink to a pixel; the whole may not pass the largest side.
    mx.grow = std::clamp(gx, 1 - (mx.b1 - mx.b0), kMaxSide - e->w);
    my.grow = std::clamp(gy, 1 - (my.b1 - my.b0), kMaxSide - e->h);
    my.flip = tiled && f.numberForKey("inputFlipYTiles") != 0;
    if (mx.grow == 0 && my.grow == 0) return in;
    const Rect extent{e->x, e->y, e->w + mx.grow, e->h + my.grow};
    return CIImage::imageWithNode(std::make_shared<AxisMapWarp>(in.node(), extent, mx, my));
}

CIImage ninePartStretched(const CIFilter& f) {
    return ninePart(f, false);
}
CIImage ninePartTiled(const CIFilter& f) {
    return ninePart(f, true);
}

// ---------------------------------------------------------------- distortions

// The inset points are opposite corners of the inner rectangle, which is
// cut to the picture and must be smaller than it.
CIImage droste(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const Rect* e = finiteExtent(in);
    double x0, y0, x1, y1;
    if (!e || !point(f, "inputInsetPoint0", x0, y0) || !point(f, "inputInsetPoint1", x1, y1))
        return in;
    // The part of the inner rectangle within the picture.
    const Rect inner =
        Rect{std::min(x0, x1), std::min(y0, y1), std::abs(x1 - x0), std::abs(y1 - y0)}.intersected(
            *e);
    const double k = 0.5 * (inner.w / e->w + inner.h / e->h);
    if (!(inner.w >= 2 && inner.h >= 2 && e->contains(inner) && k < 0.95)) return in;
    return CIImage::imageWithNode(std::make_shared<DrosteWarp>(
        in.node(), inner, number(f, "inputPeriodicity", 1, 10, 1),
        number(f, "inputStrands", -10, 10, 1),
        std::remainder(number(f, "inputRotation", -1e6, 1e6, 0), 2 * M_PI),
        number(f, "inputZoom", 0.01, 100, 1)));
}

CIImage lightTunnel(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    double cx, cy;
    const double radius = number(f, "inputRadius", 0, 1e5, 0);
    if (!point(f, "inputCenter", cx, cy) || !(radius >= 0.5)) return in;
    return CIImage::imageWithNode(std::make_shared<LightTunnelWarp>(
        in.node(), cx, cy, radius, number(f, "inputRotation", -1e3, 1e3, 0)));
}

// The triangle tiled over the plane by its mirrors, each copy darker by the
// decay per triangle side of distance from the first triangle's centre.
CIImage triangleKaleidoscope(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    double px, py;
    const double size = number(f, "inputSize", 0, 1e5, 0);
    const double decay = number(f, "inputDecay", 0, 1, 1);
    const double rotation = std::remainder(number(f, "inputRotation", -1e6, 1e6, 0), 2 * M_PI);
    if (!point(f, "inputPoint", px, py) || !(size >= 2)) return in;
    const auto warp = std::make_shared<TriangleKaleidoscopeWarp>(in.node(), px, py, size, rotation);
    if (decay >= 1) return CIImage::imageWithNode(warp);
    // The decay never reaches 0, so nothing divides by it.
    const double cx = px + size / std::sqrt(3.0) * std::cos(rotation + M_PI / 6);
    const double cy = py + size / std::sqrt(3.0) * std::sin(rotation + M_PI / 6);
    return CIImage::imageWithNode(
        std::make_shared<DistanceDecayNode>(warp, cx, cy, size, std::max(decay, 1e-3)));
}

}  // namespace

std::vector<BuiltinDef> reshapeBuiltins() {
    return {
        {"CIBicubicScaleTransform", bicubicScale},
        {"CISampleNearest", sampleNearest},
        {"CIClamp", clampToRect},
        {"CIStraightenFilter", straighten},
        {"CIStretchCrop", stretchCrop},
        {"CIPerspectiveCorrection", perspectiveCorrection},
        {"CIPerspectiveRotate", perspectiveRotate},
        {"CIPerspectiveTransformWithExtent", perspectiveTransformWithExtent},
        {"CIKeystoneCorrectionCombined", keystoneCombined},
        {"CIKeystoneCorrectionHorizontal", keystoneHorizontal},
        {"CIKeystoneCorrectionVertical", keystoneVertical},
        {"CINinePartStretched", ninePartStretched},
        {"CINinePartTiled", ninePartTiled},
        {"CIDroste", droste},
        {"CILightTunnel", lightTunnel},
        {"CITriangleKaleidoscope", triangleKaleidoscope},
    };
}

}  // namespace cif::builtins
