#include "GimpPixels.h"

#include <libgimp/gimp.h>

namespace GimpPixels {

namespace {

const Babl* floatFormat() {
    return babl_format("R'G'B'A float");
}

QImage asFloat(const QImage& pixels) {
    return pixels.format() == QImage::Format_RGBA32FPx4
               ? pixels
               : pixels.convertToFormat(QImage::Format_RGBA32FPx4);
}

// Copies `area` of the float image into `buffer` at the same place.
void setArea(GeglBuffer* buffer, const QImage& floats, const QRect& area) {
    const GeglRectangle rect{area.x(), area.y(), area.width(), area.height()};
    gegl_buffer_set(buffer, &rect, 0, floatFormat(),
                    floats.constScanLine(area.y()) + qsizetype(area.x()) * 16,
                    int(floats.bytesPerLine()));
}

}  // namespace

bool fitsLimits(int width, int height) {
    return width > 0 && height > 0 && width <= kMaxSide && height <= kMaxSide &&
           qint64(width) * height <= kMaxPixels;
}

QImage readDrawable(gint32 drawable) {
    const int width = gimp_drawable_width(drawable);
    const int height = gimp_drawable_height(drawable);
    if (!fitsLimits(width, height)) return {};
    QImage image(width, height, QImage::Format_RGBA32FPx4);
    if (image.isNull()) return {};
    GeglBuffer* buffer = gimp_drawable_get_buffer(drawable);
    if (!buffer) return {};
    const GeglRectangle rect{0, 0, width, height};
    gegl_buffer_get(buffer, &rect, 1.0, floatFormat(), image.bits(), int(image.bytesPerLine()),
                    GEGL_ABYSS_NONE);
    g_object_unref(buffer);
    return image;
}

void writeDrawableArea(gint32 drawable, const QImage& pixels, const QRect& area) {
    const QRect clipped = area.intersected(pixels.rect());
    if (clipped.isEmpty()) return;
    GeglBuffer* shadow = gimp_drawable_get_shadow_buffer(drawable);
    if (!shadow) return;
    setArea(shadow, asFloat(pixels), clipped);
    gegl_buffer_flush(shadow);
    g_object_unref(shadow);
    gimp_drawable_merge_shadow(drawable, TRUE);
    gimp_drawable_update(drawable, clipped.x(), clipped.y(), clipped.width(), clipped.height());
}

gint32 addLayer(gint32 image, const QImage& pixels, const char* name) {
    const gint32 layer = gimp_layer_new(image, name, pixels.width(), pixels.height(),
                                        GIMP_RGBA_IMAGE, 100.0, GIMP_LAYER_MODE_NORMAL);
    if (layer < 0) return -1;
    if (!gimp_image_insert_layer(image, layer, 0, -1)) {
        gimp_item_delete(layer);
        return -1;
    }
    GeglBuffer* buffer = gimp_drawable_get_buffer(layer);
    if (buffer) {
        setArea(buffer, asFloat(pixels), pixels.rect());
        gegl_buffer_flush(buffer);
        g_object_unref(buffer);
    }
    gimp_drawable_update(layer, 0, 0, pixels.width(), pixels.height());
    return layer;
}

bool hasTransparency(const QImage& pixels, const QRect& area) {
    const QImage floats = asFloat(pixels);
    const QRect clipped = area.intersected(floats.rect());
    for (int y = clipped.top(); y <= clipped.bottom(); ++y) {
        const auto* row = reinterpret_cast<const float*>(floats.constScanLine(y));
        for (int x = clipped.left(); x <= clipped.right(); ++x)
            if (row[x * 4 + 3] < 1.0f) return true;
    }
    return false;
}

}  // namespace GimpPixels
