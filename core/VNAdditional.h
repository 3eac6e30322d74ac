#pragma once
// Small additions to the platform's types: image scaling and encoding, boxed
// rectangle arithmetic, colours by name, unique file names, rounded-rectangle
// paths, and an image fitted to a rectangle. Free functions without state.
//
// Pictures (HostImage) are top-down in points; engine images (CIImage) and
// paths use the platform's coordinates (origin bottom-left, y up).

#include <QByteArray>
#include <QColor>
#include <QImage>
#include <QList>
#include <QPainterPath>
#include <QPointF>
#include <QRectF>
#include <QSizeF>
#include <QString>
#include <QStringList>
#include <optional>

#include "platform/host/HostImage.h"
#include "platform/image/CIImage.h"
#include "platform/image/CIVector.h"

namespace cif {

// ---- engine images

// The image scaled by (R.width / E.width, R.height / E.height), E being its
// extent, then moved by (E.x - R.x, E.y - R.y): the translation is the
// extent's origin minus the target's, computed from the unscaled extent, so
// an image at the origin ends up moved by -R.origin. Callers rely on exactly
// this placement. A null image, or an empty or infinite extent, gives the
// image back.
CIImage imageTransformedToRect(const CIImage& image, const QRectF& rect);

// ---- pictures

// The picture's bitmap: the bitmap it holds, or a vector picture rendered at
// its natural pixel size through its TIFF data. Null for the null picture.
QImage largestBitmapImageRep(const HostImage& image);
// largestBitmapImageRep encoded as PNG; empty for the null picture.
QByteArray PNGRepresentation(const HostImage& image);

// The picture drawn into a new picture of `size` points with opacity
// `fraction`, mirrored top to bottom when `flip` is set. With `proportional`
// a wide picture keeps its width and gets the matching height, a tall one
// keeps its height; a square one is stretched to the target. The same
// picture comes back when the size matches, the fraction is 1 and nothing
// flips. Vector pictures stay vector (a recorded drawing); a bitmap picture
// gives a new bitmap picture at the source's pixel density (pixels per point),
// so a 1000 x 500 bitmap scaled to 256 x 256 is a 256 x 128 bitmap. A target
// over the picture limits gives the null picture and a message. (`allowAnimation` keeps the frames
// of an animated bitmap; our pictures hold one frame, so it changes nothing.)
HostImage imageByScalingToSizeFractionFlipImageProportionallyAllowAnimation(
    const HostImage& image, QSizeF size, float fraction, bool flip, bool proportional,
    bool allowAnimation);
HostImage imageByScalingToSize(const HostImage& image, QSizeF size);
HostImage imageByScalingToSizeFraction(const HostImage& image, QSizeF size, float fraction);
HostImage imageByFadingToFraction(const HostImage& image, float fraction);
// 16 by 16, proportionally.
HostImage imageByScalingForMenuItem(const HostImage& image);

// ---- arrays and boxed rectangles

// A copy of array without every element equal to one of remove; order kept.
template <class T>
QList<T> arrayWithoutObjectsInArray(const QList<T>& array, const QList<T>& remove) {
    QList<T> kept;
    for (const T& element : array)
        if (!remove.contains(element)) kept.append(element);
    return kept;
}

float minX(const QRectF& r);
float minY(const QRectF& r);
float maxX(const QRectF& r);
float maxY(const QRectF& r);
// The smallest rectangle holding all; the zero rectangle for none.
QRectF unionBounds(const QList<QRectF>& rects);

// ---- colours and files

// The colour of that name in the first colour list that has it: "Apple"
// (Black, Blue, Brown, Clear, Cyan, Green, Magenta, Orange, Purple, Red,
// Yellow, White), "Crayons" (Licorice ... Snow), then the SVG/X11 names
// (any case). Numeric forms ("#ff0000") are not names: nullopt.
std::optional<QColor> colorFromString(const QString& name);

// path itself when nothing exists there, else the first of "name-1.ext",
// "name-2.ext", ... (no trailing point without an extension) that is free.
QString uniquePathForPath(const QString& path);

// ---- paths (platform coordinates)

// Appends a rounded rectangle: nothing for an empty rectangle, a plain one
// for a radius of 0 or less, else the radius clamped to half the smaller side
// and four corner arcs starting from the middle of the top edge, closed.
void appendBezierPathWithRoundedRectCornerRadius(QPainterPath& path, const QRectF& rect,
                                                 float radius);
QPainterPath bezierPathWithRoundedRectCornerRadius(const QRectF& rect, float radius);
// A rounded rectangle whose corners are cubic curves with both control
// points on the corner itself, radius not clamped, and the path left open.
QPainterPath bezierPathWithRectCornerRadius(const QRectF& rect, double radius);

// The vector's x and y as a point.
QPointF pointValue(const CIVector& vector);

}  // namespace cif
