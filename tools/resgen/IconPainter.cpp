#include "tools/resgen/IconPainter.h"

#include <QCryptographicHash>
#include <QFont>
#include <QPainter>
#include <QPainterPath>
#include <QRegularExpression>

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

}  // namespace cif::resgen
