#include "tools/resgen/IconPainter.h"

#include <QCryptographicHash>
#include <QFont>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>
#include <QRegularExpression>
#include <cmath>
#include <exception>
#include <memory>

#include "platform/image/CIAttributes.h"
#include "platform/image/CIFilter.h"
#include "tools/resgen/Pictures.h"

namespace cif::resgen {

QString iconInitials(const QString& iconName) {
    QString core = iconName;
    core.remove(QRegularExpression(QStringLiteral("Icon$")));
    core.remove(QRegularExpression(QStringLiteral("^(GLIF_|CIF|CI)")));
    QString initials;
    for (const QChar c : core)
        if (c.isUpper() || c.isDigit()) initials += c;
    if (initials.isEmpty() && !core.isEmpty()) initials = core.left(1).toUpper();
    return initials.left(3);
}

QImage paintIcon(const QString& iconName) {
    // A stable digest of the name picks hue, pattern and its angle.
    const QByteArray digest = QCryptographicHash::hash(iconName.toUtf8(), QCryptographicHash::Sha1);
    const auto byte = [&](int i) { return int(quint8(digest.at(i))); };
    const int hue = (byte(0) << 8 | byte(1)) % 360;
    const int pattern = byte(2) % 4;
    const int stripes = 2 + byte(3) % 5;

    QImage image(kIconSize, kIconSize, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    const QRectF frame(2, 2, kIconSize - 4, kIconSize - 4);
    QPainterPath shape;
    shape.addRoundedRect(frame, 10, 10);
    p.fillPath(shape, QColor::fromHsv(hue, 150, 210));
    p.setClipPath(shape);

    const QColor ink = QColor::fromHsv((hue + 30) % 360, 200, 150, 160);
    p.setPen(QPen(ink, 3));
    const double step = double(kIconSize) / stripes;
    for (int i = 0; i <= stripes; ++i) {
        const double t = i * step;
        switch (pattern) {
            case 0:
                p.drawLine(QPointF(t, 0), QPointF(t, kIconSize));
                break;
            case 1:
                p.drawLine(QPointF(0, t), QPointF(kIconSize, t));
                break;
            case 2:
                p.drawLine(QPointF(t - kIconSize, kIconSize), QPointF(t, 0));
                break;
            default:
                p.drawEllipse(QPointF(kIconSize / 2.0, kIconSize / 2.0), t / 2, t / 2);
                break;
        }
    }
    p.setClipping(false);
    p.setPen(QPen(QColor::fromHsv(hue, 200, 90), 2));
    p.drawPath(shape);

    QFont font;
    font.setPixelSize(20);
    font.setBold(true);
    p.setFont(font);
    p.setPen(Qt::white);
    p.drawText(frame, Qt::AlignCenter, iconInitials(iconName));
    return image;
}

namespace {

constexpr int kSampleSize = 300;

QImage findImage(const NamedImages& images, const QString& name) {
    for (const auto& [n, image] : images)
        if (n == name) return image;
    return images.empty() ? QImage() : images.front().second;
}

bool isBounded(const QRectF& r) {
    constexpr double kLimit = 1e9;
    return std::isfinite(r.x()) && std::isfinite(r.y()) && std::isfinite(r.width()) &&
           std::isfinite(r.height()) && r.left() > -kLimit && r.top() > -kLimit &&
           r.right() < kLimit && r.bottom() < kLimit;
}

bool hasInk(const QImage& image) {
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (qAlpha(image.pixel(x, y)) != 0) return true;
    return false;
}

}  // namespace

QImage iconSamplePicture() {
    QImage image(kSampleSize, kSampleSize, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    const QRectF r(0, 0, kSampleSize, kSampleSize);

    // Evening sky in a rounded card, a sun, hills, a star and colour bars:
    // edges, gradients, saturated colours and transparency for every kind of
    // filter to act on.
    QLinearGradient sky(r.topLeft(), r.bottomLeft());
    sky.setColorAt(0.0, QColor(30, 70, 170));
    sky.setColorAt(0.6, QColor(230, 100, 120));
    sky.setColorAt(1.0, QColor(250, 200, 90));
    p.setPen(Qt::NoPen);
    p.setBrush(sky);
    p.drawRoundedRect(r.adjusted(6, 6, -6, -6), 30, 30);

    QRadialGradient sun(QPointF(200, 110), 60);
    sun.setColorAt(0.0, QColor(255, 250, 210));
    sun.setColorAt(0.55, QColor(255, 210, 70));
    sun.setColorAt(1.0, QColor(255, 170, 0, 0));
    p.setBrush(sun);
    p.drawEllipse(QPointF(200, 110), 60, 60);

    QPainterPath hills(QPointF(6, 210));
    hills.cubicTo(80, 160, 150, 250, 220, 200);
    hills.cubicTo(260, 170, 280, 190, 294, 180);
    hills.lineTo(294, 264);
    hills.quadTo(294, 294, 264, 294);
    hills.lineTo(36, 294);
    hills.quadTo(6, 294, 6, 264);
    hills.closeSubpath();
    p.setBrush(QColor(25, 110, 60));
    p.drawPath(hills);

    QPolygonF star;
    for (int i = 0; i < 10; ++i) {
        const double angle = M_PI / 2 + i * M_PI / 5;
        const double radius = i % 2 == 0 ? 44 : 18;
        star << QPointF(85 + radius * std::cos(angle), 95 - radius * std::sin(angle));
    }
    p.setBrush(QColor(255, 230, 40));
    p.setPen(QPen(QColor(110, 50, 0), 3));
    p.drawPolygon(star);

    p.setPen(Qt::NoPen);
    for (int i = 0; i < 6; ++i)
        p.fillRect(QRectF(60 + i * 30, 236, 28, 36), QColor::fromHsv(i * 60, 230, 255));
    p.end();
    return image;
}

FilterIconPainter::FilterIconPainter() {
    m_context.setTileSize(128);
    m_sample = CIImage::imageWithQImage(iconSamplePicture());
    // Other image inputs get pictures from our own libraries, so textures,
    // materials, masks and gradients show as they would in the editor.
    const auto scaled = [](const QImage& image) {
        return CIImage::imageWithQImage(image.scaled(
            kSampleSize, kSampleSize, Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
    };
    const CIImage texture = scaled(findImage(glassTextures(), QStringLiteral("Ripples")));
    m_inputs.insert(QStringLiteral("inputTexture"), texture);
    m_inputs.insert(QStringLiteral("inputDisplacementImage"), texture);
    m_inputs.insert(QStringLiteral("inputShadingImage"),
                    scaled(findImage(shadingMaterials(), QStringLiteral("Gold"))));
    m_inputs.insert(QStringLiteral("inputMaskImage"),
                    scaled(findImage(masks(), QStringLiteral("Images/Gradients/Radial.png"))));
    m_inputs.insert(QStringLiteral("inputGradientImage"),
                    CIImage::imageWithQImage(
                        findImage(gradients(), QStringLiteral("Rainbow.png")).scaled(256, 1)));
    m_backdrop = scaled(findImage(backgrounds(), QStringLiteral("Wood.png")));
}

QImage FilterIconPainter::filterIcon(const QString& filterName) {
    if (!CIFilter::isRegistered(filterName)) return {};
    QImage pixels;
    try {
        const std::unique_ptr<CIFilter> filter = CIFilter::filterWithName(filterName);
        if (!filter) return {};
        const QVariantMap attrs = filter->attributes();
        for (const QString& key : filter->inputKeys()) {
            if (attrs.value(key).toMap().value(kCIAttributeClass).toString() != kCIClassImage ||
                filter->valueForKey(key).isValid())
                continue;
            const CIImage image =
                key == kCIInputImageKey ? m_sample : m_inputs.value(key, m_backdrop);
            filter->setValueForKey(QVariant::fromValue(image), key);
        }
        // A transition at its default time 0 only shows its first picture;
        // half way it shows both and how it passes from one to the other.
        if (filter->inputKeys().contains(QStringLiteral("inputTime")))
            filter->setValueForKey(0.5, QStringLiteral("inputTime"));
        const CIImage output = filter->outputImage();
        if (output.isNull()) return {};
        // Show the sample's square, or a little more when the filter moves
        // the picture beyond it (rotations, tiles' edges, shadows).
        const QRectF sampleRect(0, 0, kSampleSize, kSampleSize);
        const QRectF window = sampleRect.adjusted(-40, -40, 40, 40);
        const QRectF extent = output.extent();
        const QRectF rect = isBounded(extent) ? extent.intersected(window) : sampleRect;
        if (rect.width() < 1 || rect.height() < 1) return {};
        pixels = m_context.createQImage(output, rect);
    } catch (const std::exception&) {
        return {};
    }
    if (pixels.isNull() || !hasInk(pixels)) return {};

    QImage icon(kIconSize, kIconSize, QImage::Format_ARGB32_Premultiplied);
    icon.fill(Qt::transparent);
    QPainter p(&icon);
    p.setRenderHint(QPainter::Antialiasing);
    p.setRenderHint(QPainter::SmoothPixmapTransform);
    const QRectF frame(1.5, 1.5, kIconSize - 3, kIconSize - 3);
    QPainterPath shape;
    shape.addRoundedRect(frame, 9, 9);
    p.fillPath(shape, QColor(236, 236, 236));
    p.save();
    p.setClipPath(shape);
    for (int y = 0; y < kIconSize; y += 8)
        for (int x = (y / 8) % 2 * 8; x < kIconSize; x += 16)
            p.fillRect(x, y, 8, 8, QColor(206, 206, 206));
    QSizeF size = pixels.size();
    size.scale(frame.size(), Qt::KeepAspectRatio);
    const QRectF target(frame.center().x() - size.width() / 2,
                        frame.center().y() - size.height() / 2, size.width(), size.height());
    p.drawImage(target, pixels.scaled(target.size().toSize(), Qt::IgnoreAspectRatio,
                                      Qt::SmoothTransformation));
    p.restore();
    p.setPen(QPen(QColor(60, 60, 70), 1.5));
    p.setBrush(Qt::NoBrush);
    p.drawPath(shape);
    p.end();
    return icon;
}

QImage FilterIconPainter::icon(const QString& iconName, const QString& filterName) {
    QImage image = filterIcon(filterName);
    return image.isNull() ? paintIcon(iconName) : image;
}

}  // namespace cif::resgen
