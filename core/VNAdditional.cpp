#include "core/VNAdditional.h"

#include <QFileInfo>
#include <QPainter>
#include <QTransform>
#include <QtMath>
#include <algorithm>
#include <cmath>

#include "platform/host/ImageLimits.h"
#include "platform/image/CIAttributes.h"
#include "platform/image/CIFilter.h"

namespace cif {

// ---- engine images

CIImage imageTransformedToRect(const CIImage& image, const QRectF& rect) {
    if (image.isNull() || image.isInfinite()) return image;
    const QRectF e = image.extent();
    if (e.width() <= 0 || e.height() <= 0) return image;
    const auto transformed = [](const CIImage& in, const QTransform& t) {
        const auto filter = CIFilter::filterWithName(QStringLiteral("CIAffineTransform"));
        if (!filter) return in.imageByApplyingTransform(t);
        filter->setValueForKey(QVariant::fromValue(in), kCIInputImageKey);
        filter->setValueForKey(QVariant::fromValue(t), QStringLiteral("inputTransform"));
        return filter->outputImage();
    };
    const CIImage scaled = transformed(
        image, QTransform::fromScale(rect.width() / e.width(), rect.height() / e.height()));
    return transformed(scaled, QTransform::fromTranslate(e.x() - rect.x(), e.y() - rect.y()));
}

// ---- pictures

QImage largestBitmapImageRep(const HostImage& image) {
    if (image.isNull()) return {};
    const QImage bitmap = image.bitmap();
    if (!bitmap.isNull()) return bitmap;
    return QImage::fromData(image.TIFFRepresentation(), "TIFF");
}

QByteArray PNGRepresentation(const HostImage& image) {
    return image.isNull() ? QByteArray() : image.PNGRepresentation();
}

HostImage imageByScalingToSizeFractionFlipImageProportionallyAllowAnimation(
    const HostImage& image, QSizeF size, float fraction, bool flip, bool proportional, bool) {
    if (image.isNull()) return image;
    const QSizeF source = image.size();
    if (source == size && fraction == 1.0f && !flip) return image;
    if (proportional) {
        if (source.width() > source.height())
            size.setHeight(size.width() / source.width() * source.height());
        else if (source.width() < source.height())
            size.setWidth(size.height() / source.height() * source.width());
    }
    if (!(size.width() > 0 && size.height() > 0)) return HostImage();
    const auto draw = [&](QPainter& painter) {
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.setOpacity(std::clamp(double(fraction), 0.0, 1.0));
        if (flip) {
            painter.translate(0, size.height());
            painter.scale(1, -1);
        }
        image.drawInRect(painter, QRectF(QPointF(0, 0), size), QRectF(QPointF(0, 0), source));
    };
    // A vector picture stays a drawing; a bitmap becomes a new bitmap at the
    // source's pixel density, so scaled pictures are ordinary pictures that
    // cost nothing to draw or encode again.
    if (image.isVector()) return HostImage::recordDrawing(size, draw);
    const double density = source.width() > 0 ? image.pixelsWide() / source.width() : 1.0;
    const qint64 w = std::max<qint64>(1, qRound64(size.width() * density));
    const qint64 h = std::max<qint64>(1, qRound64(size.height() * density));
    QString error;
    if (!checkPictureSize(w, h, &error)) {
        qWarning("%s", qUtf8Printable(error));
        return HostImage();
    }
    QImage pixels(int(w), int(h), QImage::Format_ARGB32_Premultiplied);
    if (pixels.isNull()) return HostImage();
    pixels.fill(Qt::transparent);
    {
        QPainter painter(&pixels);
        painter.setCompositionMode(QPainter::CompositionMode_Source);
        painter.scale(double(w) / size.width(), double(h) / size.height());
        draw(painter);
    }
    return HostImage::fromQImage(pixels, size);
}

HostImage imageByScalingToSize(const HostImage& image, QSizeF size) {
    return imageByScalingToSizeFractionFlipImageProportionallyAllowAnimation(image, size, 1.0f,
                                                                             false, true, true);
}

HostImage imageByScalingToSizeFraction(const HostImage& image, QSizeF size, float fraction) {
    return imageByScalingToSizeFractionFlipImageProportionallyAllowAnimation(image, size, fraction,
                                                                             false, true, true);
}

HostImage imageByFadingToFraction(const HostImage& image, float fraction) {
    return imageByScalingToSizeFractionFlipImageProportionallyAllowAnimation(
        image, image.size(), fraction, false, false, true);
}

HostImage imageByScalingForMenuItem(const HostImage& image) {
    return imageByScalingToSizeFractionFlipImageProportionallyAllowAnimation(
        image, QSizeF(16, 16), 1.0f, false, true, false);
}

// ---- arrays and boxed rectangles

float minX(const QRectF& r) {
    return float(r.x());
}
float minY(const QRectF& r) {
    return float(r.y());
}
float maxX(const QRectF& r) {
    return float(r.x() + r.width());
}
float maxY(const QRectF& r) {
    return float(r.y() + r.height());
}

QRectF unionBounds(const QList<QRectF>& rects) {
    if (rects.isEmpty()) return {};
    float x0 = minX(rects.first()), y0 = minY(rects.first());
    float x1 = maxX(rects.first()), y1 = maxY(rects.first());
    for (const QRectF& r : rects) {
        x0 = std::min(x0, minX(r));
        y0 = std::min(y0, minY(r));
        x1 = std::max(x1, maxX(r));
        y1 = std::max(y1, maxY(r));
    }
    return QRectF(x0, y0, x1 - x0, y1 - y0);
}

// ---- colours and files

namespace {

struct NamedColor {
    const char* name;
    QRgb rgba;
};

constexpr NamedColor kAppleColors[] = {
    {"Black", 0xff000000},  {"Blue", 0xff0000ff},  {"Brown", 0xff996633},   {"Clear", 0x00000000},
    {"Cyan", 0xff00ffff},   {"Green", 0xff00ff00}, {"Magenta", 0xffff00ff}, {"Orange", 0xffff8000},
    {"Purple", 0xff800080}, {"Red", 0xffff0000},   {"Yellow", 0xffffff00},  {"White", 0xffffffff},
};

constexpr NamedColor kCrayons[] = {
    {"Licorice", 0xff000000},   {"Lead", 0xff191919},       {"Tungsten", 0xff333333},
    {"Iron", 0xff4c4c4c},       {"Steel", 0xff666666},      {"Tin", 0xff7f7f7f},
    {"Nickel", 0xff808080},     {"Aluminum", 0xff999999},   {"Magnesium", 0xffb3b3b3},
    {"Silver", 0xffcccccc},     {"Mercury", 0xffe6e6e6},    {"Snow", 0xffffffff},
    {"Cayenne", 0xff800000},    {"Mocha", 0xff804000},      {"Asparagus", 0xff808000},
    {"Fern", 0xff408000},       {"Clover", 0xff008000},     {"Moss", 0xff008040},
    {"Teal", 0xff008080},       {"Ocean", 0xff004080},      {"Midnight", 0xff000080},
    {"Eggplant", 0xff400080},   {"Plum", 0xff800080},       {"Maroon", 0xff800040},
    {"Maraschino", 0xffff0000}, {"Tangerine", 0xffff8000},  {"Lemon", 0xffffff00},
    {"Lime", 0xff80ff00},       {"Spring", 0xff00ff00},     {"Sea Foam", 0xff00ff80},
    {"Turquoise", 0xff00ffff},  {"Aqua", 0xff0080ff},       {"Blueberry", 0xff0000ff},
    {"Grape", 0xff8000ff},      {"Magenta", 0xffff00ff},    {"Strawberry", 0xffff0080},
    {"Salmon", 0xffff6666},     {"Cantaloupe", 0xffffcc66}, {"Banana", 0xffffff66},
    {"Honeydew", 0xffccff66},   {"Flora", 0xff66ff66},      {"Spindrift", 0xff66ffcc},
    {"Ice", 0xff66ffff},        {"Sky", 0xff66ccff},        {"Orchid", 0xff6666ff},
    {"Lavender", 0xffcc66ff},   {"Bubblegum", 0xffff66ff},  {"Carnation", 0xffff6fcf},
};

template <size_t N>
std::optional<QColor> lookUp(const NamedColor (&list)[N], const QString& name) {
    for (const NamedColor& c : list)
        if (name == QLatin1String(c.name)) return QColor::fromRgba(c.rgba);
    return std::nullopt;
}

}  // namespace

std::optional<QColor> colorFromString(const QString& name) {
    if (name.isEmpty() || name.startsWith(u'#')) return std::nullopt;
    if (auto c = lookUp(kAppleColors, name)) return c;
    if (auto c = lookUp(kCrayons, name)) return c;
    if (QColor::isValidColorName(name)) return QColor::fromString(name);
    return std::nullopt;
}

QString uniquePathForPath(const QString& path) {
    if (!QFileInfo::exists(path)) return path;
    const QFileInfo info(path);
    const QString directory = info.path();
    const QString base = info.completeBaseName();
    const QString extension = info.suffix();
    for (int n = 1;; ++n) {
        QString candidate = directory + u'/' + QStringLiteral("%1-%2").arg(base).arg(n);
        if (!extension.isEmpty()) candidate += u'.' + extension;
        if (!QFileInfo::exists(candidate)) return candidate;
    }
}

// ---- paths

namespace {

// Appends a line from the current point towards `corner` and an arc of
// radius r turning towards `next`, tangent to both edges (the corners here
// are right angles of an axis-aligned rectangle).
void appendArcFromPointToPoint(QPainterPath& path, QPointF corner, QPointF next, double r) {
    const QPointF from = path.currentPosition();
    const auto unit = [](QPointF v) {
        const double len = std::hypot(v.x(), v.y());
        return len > 0 ? v / len : QPointF();
    };
    const QPointF in = unit(from - corner), out = unit(next - corner);
    const QPointF t1 = corner + in * r, t2 = corner + out * r;
    const QPointF centre = t1 + (t2 - corner);
    path.lineTo(t1);
    // QPainterPath angles: 0 at +x, positive towards -y.
    const double a1 = qRadiansToDegrees(std::atan2(-(t1.y() - centre.y()), t1.x() - centre.x()));
    const double a2 = qRadiansToDegrees(std::atan2(-(t2.y() - centre.y()), t2.x() - centre.x()));
    double sweep = a2 - a1;
    while (sweep > 180)
        sweep -= 360;
    while (sweep < -180)
        sweep += 360;
    path.arcTo(QRectF(centre.x() - r, centre.y() - r, 2 * r, 2 * r), a1, sweep);
}

}  // namespace

void appendBezierPathWithRoundedRectCornerRadius(QPainterPath& path, const QRectF& rect,
                                                 float radius) {
    if (rect.isEmpty()) return;
    if (!(radius > 0)) {
        path.addRect(rect);
        return;
    }
    const double x = rect.x(), y = rect.y(), w = rect.width(), h = rect.height();
    const double r = std::min(double(radius), std::min(w, h) / 2);
    path.moveTo(x + w / 2, y + h);
    appendArcFromPointToPoint(path, QPointF(x, y + h), QPointF(x, y), r);
    appendArcFromPointToPoint(path, QPointF(x, y), QPointF(x + w, y), r);
    appendArcFromPointToPoint(path, QPointF(x + w, y), QPointF(x + w, y + h), r);
    appendArcFromPointToPoint(path, QPointF(x + w, y + h), QPointF(x, y + h), r);
    path.closeSubpath();
}

QPainterPath bezierPathWithRoundedRectCornerRadius(const QRectF& rect, float radius) {
    QPainterPath path;
    appendBezierPathWithRoundedRectCornerRadius(path, rect, radius);
    return path;
}

QPainterPath bezierPathWithRectCornerRadius(const QRectF& rect, double r) {
    const double x = rect.x(), y = rect.y(), w = rect.width(), h = rect.height();
    QPainterPath path;
    path.moveTo(x + r, y + h);
    path.lineTo(x + w - r, y + h);
    path.cubicTo(QPointF(x + w, y + h), QPointF(x + w, y + h), QPointF(x + w, y + h - r));
    path.lineTo(x + w, y + r);
    path.cubicTo(QPointF(x + w, y), QPointF(x + w, y), QPointF(x + w - r, y));
    path.lineTo(x + r, y);
    path.cubicTo(QPointF(x, y), QPointF(x, y), QPointF(x, y + r));
    path.lineTo(x, y + h - r);
    path.cubicTo(QPointF(x, y + h), QPointF(x, y + h), QPointF(x + r, y + h));
    return path;
}

QPointF pointValue(const CIVector& vector) {
    return QPointF(vector.X(), vector.Y());
}

}  // namespace cif
