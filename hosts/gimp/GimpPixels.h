#pragma once
// GimpPixels: pixels crossing between GIMP drawables and Qt images as
// 32-bit float non-premultiplied RGBA ("R'G'B'A float" in babl,
// QImage::Format_RGBA32FPx4), so 16-bit and float images keep their
// precision on the way in. Both sides keep rows top-down, so no flip is
// needed here. Greyscale drawables are read as RGBA and written back through
// GEGL's conversion to grey.

#include <glib.h>
#include <QImage>
#include <QRect>

namespace GimpPixels {

// The largest picture the plug-in takes: sides and area as the plug-in
// itself limits them.
inline constexpr int kMaxSide = 30000;
inline constexpr qint64 kMaxPixels = 256LL * 1024 * 1024;
bool fitsLimits(int width, int height);

// The whole drawable; a null image when it is too large or cannot be read.
QImage readDrawable(gint32 drawable);

// Writes `area` of `pixels` (any format; the same size as the drawable) into
// the drawable through its shadow buffer and merges it as one undo step,
// masked by the image's selection as GIMP's own filters are.
void writeDrawableArea(gint32 drawable, const QImage& pixels, const QRect& area);

// A new layer of the image holding `pixels`, above the active layer; its id,
// or -1 when GIMP refused it.
gint32 addLayer(gint32 image, const QImage& pixels, const char* name);

// True when some pixel of `area` is not fully opaque.
bool hasTransparency(const QImage& pixels, const QRect& area);

}  // namespace GimpPixels
