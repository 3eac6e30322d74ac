// Small drawn pictures: the fish, the hue ramp, the editor's cursors and list
// marks. Cursors are black with a white outline so they read on any picture.

#include <QColor>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>
#include <cmath>
#include <functional>

#include "tools/resgen/Pictures.h"

namespace cif::resgen {

namespace {

constexpr int kSmall = 16;

QImage smallPicture(const std::function<void(QPainter&)>& draw) {
    QImage image(kSmall, kSmall, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    draw(p);
    p.end();
    return image;
}

// A cursor shape: filled black inside a white outline.
QImage cursorPicture(const QPainterPath& shape) {
    return smallPicture([&](QPainter& p) {
        p.setPen(QPen(Qt::white, 2.2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        p.setBrush(Qt::white);
        p.drawPath(shape);
        p.setPen(Qt::NoPen);
        p.setBrush(Qt::black);
        p.drawPath(shape);
    });
}

// A double-headed arrow through the cursor's centre pixel (7.5, 7.5), turned
// by angle degrees from horizontal.
QPainterPath doubleArrow(double angle) {
    QPainterPath path;
    path.moveTo(-6.5, 0);
    path.lineTo(-3, -3.5);
    path.lineTo(-3, -1);
    path.lineTo(3, -1);
    path.lineTo(3, -3.5);
    path.lineTo(6.5, 0);
    path.lineTo(3, 3.5);
    path.lineTo(3, 1);
    path.lineTo(-3, 1);
    path.lineTo(-3, 3.5);
    path.closeSubpath();
    QTransform t;
    t.translate(7.5, 7.5);
    t.rotate(angle);
    return t.map(path);
}

// A hand in the classic cursor style: white with a black outline, four
// fingers up (open, with the thumb out) or curled into a fist.
QImage handPicture(bool open) {
    return smallPicture([open](QPainter& p) {
        QPainterPath path;
        path.addRoundedRect(QRectF(3.5, 7.5, 9, 7), 2.5, 2.5);
        for (int i = 0; i < 4; ++i) {
            const double x = 3.5 + i * 2.25;
            const double top = open ? (i == 0 || i == 3 ? 3.5 : 1.5) : 5.5;
            path.addRoundedRect(QRectF(x, top, 2.25, 9 - top), 1.1, 1.1);
        }
        if (open) path.addRoundedRect(QRectF(0.5, 8, 4, 2.5), 1.2, 1.2);
        path = path.simplified();
        p.setPen(QPen(Qt::black, 1));
        p.setBrush(Qt::white);
        p.drawPath(path);
        // Lines between the fingers.
        p.setPen(QPen(Qt::black, 0.8));
        for (int i = 1; i < 4; ++i) {
            const double x = 3.5 + i * 2.25;
            p.drawLine(QPointF(x, open ? 4 : 6), QPointF(x, open ? 8 : 8));
        }
    });
}

QPainterPath crosshair(double cx, double cy, double r) {
    QPainterPath path;
    path.addRect(QRectF(cx - 0.6, cy - r, 1.2, r - 1.8));
    path.addRect(QRectF(cx - 0.6, cy + 1.8, 1.2, r - 1.8));
    path.addRect(QRectF(cx - r, cy - 0.6, r - 1.8, 1.2));
    path.addRect(QRectF(cx + 1.8, cy - 0.6, r - 1.8, 1.2));
    return path;
}

}  // namespace

QImage hueRamp() {
    constexpr int kWidth = 256, kHeight = 16;
    QImage image(kWidth, kHeight, QImage::Format_RGB32);
    for (int x = 0; x < kWidth; ++x) {
        const QRgb c = QColor::fromHsvF(float(x) / float(kWidth), 1, 1).rgb();
        for (int y = 0; y < kHeight; ++y)
            image.setPixel(x, y, c);
    }
    return image;
}

QImage fishPicture() {
    QImage image(256, 176, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    const QColor outline(120, 40, 0);

    // Tail, then body over it.
    QPainterPath tail(QPointF(70, 88));
    tail.cubicTo(40, 60, 22, 30, 10, 26);
    tail.cubicTo(22, 70, 22, 106, 10, 150);
    tail.cubicTo(22, 146, 40, 116, 70, 88);
    QLinearGradient tailFill(10, 0, 70, 0);
    tailFill.setColorAt(0, QColor(255, 200, 60));
    tailFill.setColorAt(1, QColor(250, 120, 20));
    p.setPen(QPen(outline, 3, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(tailFill);
    p.drawPath(tail);

    QPainterPath fin(QPointF(110, 44));
    fin.cubicTo(120, 12, 160, 10, 180, 40);
    p.setBrush(QColor(250, 150, 40));
    p.drawPath(fin);

    QPainterPath body(QPointF(56, 88));
    body.cubicTo(90, 20, 190, 20, 244, 88);
    body.cubicTo(190, 156, 90, 156, 56, 88);
    QLinearGradient bodyFill(0, 30, 0, 146);
    bodyFill.setColorAt(0, QColor(255, 170, 40));
    bodyFill.setColorAt(0.6, QColor(245, 110, 20));
    bodyFill.setColorAt(1, QColor(255, 210, 120));
    p.setBrush(bodyFill);
    p.drawPath(body);

    // White bands, clipped to the body.
    p.save();
    p.setClipPath(body);
    p.setPen(QPen(QColor(30, 20, 10), 2));
    p.setBrush(QColor(255, 255, 250));
    for (const double x : {118.0, 180.0}) {
        QPainterPath band(QPointF(x - 10, 20));
        band.cubicTo(x + 8, 60, x + 8, 116, x - 10, 156);
        band.lineTo(x + 8, 156);
        band.cubicTo(x + 26, 116, x + 26, 60, x + 8, 20);
        band.closeSubpath();
        p.drawPath(band);
    }
    p.restore();

    // Eye with a highlight, a smile and a side fin.
    p.setPen(QPen(outline, 2));
    p.setBrush(Qt::white);
    p.drawEllipse(QPointF(212, 74), 11, 11);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(20, 20, 30));
    p.drawEllipse(QPointF(215, 75), 6, 6);
    p.setBrush(Qt::white);
    p.drawEllipse(QPointF(217, 72), 2, 2);
    p.setPen(QPen(outline, 2.5, Qt::SolidLine, Qt::RoundCap));
    p.setBrush(Qt::NoBrush);
    p.drawArc(QRectF(222, 88, 14, 10), 200 * 16, 100 * 16);
    QPainterPath sideFin(QPointF(150, 100));
    sideFin.cubicTo(140, 118, 150, 130, 166, 124);
    sideFin.cubicTo(164, 112, 160, 104, 150, 100);
    p.setPen(QPen(outline, 2));
    p.setBrush(QColor(255, 190, 80));
    p.drawPath(sideFin);

    // A few bubbles.
    p.setPen(QPen(QColor(90, 160, 230), 2));
    p.setBrush(QColor(200, 230, 255, 90));
    p.drawEllipse(QPointF(244, 44), 6, 6);
    p.drawEllipse(QPointF(236, 22), 4, 4);
    p.drawEllipse(QPointF(248, 8), 3, 3);
    p.end();
    return image;
}

NamedImages cursors() {
    NamedImages out;
    out.emplace_back(QStringLiteral("resizeHCursor"), cursorPicture(doubleArrow(0)));
    out.emplace_back(QStringLiteral("resizeVCursor"), cursorPicture(doubleArrow(90)));
    out.emplace_back(QStringLiteral("resizeD1Cursor"), cursorPicture(doubleArrow(45)));
    out.emplace_back(QStringLiteral("resizeD2Cursor"), cursorPicture(doubleArrow(-45)));
    {
        // A small selection box with a cross at the hot spot (5, 6).
        QPainterPath box = crosshair(5.5, 6.5, 5);
        QPainterPath frame;
        frame.addRect(QRectF(7, 8, 8, 7));
        QPainterPath inner;
        inner.addRect(QRectF(8.3, 9.3, 5.4, 4.4));
        box.addPath(frame.subtracted(inner));
        out.emplace_back(QStringLiteral("boxCursor"), cursorPicture(box));
    }
    out.emplace_back(QStringLiteral("closedhandCursor"), handPicture(false));
    out.emplace_back(QStringLiteral("openhandCursor"), handPicture(true));
    {
        // A splitter: two bars with arrows pointing apart.
        QPainterPath sep;
        sep.addRect(QRectF(5.5, 1, 1.2, 13));
        sep.addRect(QRectF(8.3, 1, 1.2, 13));
        QPainterPath left(QPointF(4.5, 7.5));
        left.lineTo(1, 4.5);
        left.lineTo(1, 10.5);
        left.closeSubpath();
        QPainterPath right(QPointF(10.5, 7.5));
        right.lineTo(14, 4.5);
        right.lineTo(14, 10.5);
        right.closeSubpath();
        sep.addPath(left);
        sep.addPath(right);
        out.emplace_back(QStringLiteral("sepCursor"), cursorPicture(sep));
    }
    out.emplace_back(QStringLiteral("targetCursor"), smallPicture([](QPainter& p) {
                         for (const auto& [colour, width] : {std::pair{QColor(Qt::white), 3.0},
                                                             std::pair{QColor(Qt::black), 1.2}}) {
                             p.setPen(QPen(colour, width));
                             p.setBrush(Qt::NoBrush);
                             p.drawEllipse(QPointF(5.5, 6.5), 4, 4);
                             p.drawLine(QPointF(5.5, 0.5), QPointF(5.5, 12.5));
                             p.drawLine(QPointF(-0.5, 6.5), QPointF(11.5, 6.5));
                         }
                     }));
    {
        // A text beam with a small plus: go on typing here. Hot spot top left.
        QPainterPath beam;
        beam.addRect(QRectF(1, 1, 5, 1.2));
        beam.addRect(QRectF(2.9, 1, 1.2, 11));
        beam.addRect(QRectF(1, 10.8, 5, 1.2));
        beam.addRect(QRectF(8.5, 10.4, 6, 1.4));
        beam.addRect(QRectF(10.8, 8.1, 1.4, 6));
        out.emplace_back(QStringLiteral("textContinueCursor"), cursorPicture(beam));
    }
    return out;
}

NamedImages marks() {
    NamedImages out;
    const QColor ink(40, 60, 90);
    out.emplace_back(
        QStringLiteral("select"), smallPicture([&](QPainter& p) {
            // A tick in a green disc.
            p.setPen(Qt::NoPen);
            p.setBrush(QColor(50, 160, 80));
            p.drawEllipse(QRectF(1, 1, 14, 14));
            p.setPen(QPen(Qt::white, 2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
            p.drawPolyline(QPolygonF{QPointF(4.5, 8.5), QPointF(7, 11), QPointF(11.5, 5)});
        }));
    out.emplace_back(QStringLiteral("small_color_pricel"), smallPicture([&](QPainter& p) {
                         // A sight over a colour dot: picks a colour at a point.
                         QConicalGradient wheel(QPointF(7.5, 7.5), 0);
                         for (int i = 0; i <= 6; ++i)
                             wheel.setColorAt(i / 6.0, QColor::fromHsv((i * 60) % 360, 220, 240));
                         p.setPen(Qt::NoPen);
                         p.setBrush(wheel);
                         p.drawEllipse(QPointF(7.5, 7.5), 5, 5);
                         p.setBrush(ink);
                         p.drawPath(crosshair(7.5, 7.5, 7.5));
                     }));
    out.emplace_back(QStringLiteral("small_crop"), smallPicture([&](QPainter& p) {
                         // Two crop corners.
                         p.setPen(QPen(ink, 2, Qt::SolidLine, Qt::SquareCap, Qt::MiterJoin));
                         p.drawPolyline(QPolygonF{QPointF(4, 1), QPointF(4, 12), QPointF(15, 12)});
                         p.drawPolyline(QPolygonF{QPointF(1, 4), QPointF(12, 4), QPointF(12, 15)});
                     }));
    out.emplace_back(QStringLiteral("small_koleso"), smallPicture([&](QPainter& p) {
                         // A colour wheel.
                         QConicalGradient wheel(QPointF(7.5, 7.5), 90);
                         for (int i = 0; i <= 12; ++i)
                             wheel.setColorAt(i / 12.0, QColor::fromHsv((i * 30) % 360, 255, 255));
                         p.setPen(QPen(ink, 1));
                         p.setBrush(wheel);
                         p.drawEllipse(QPointF(7.5, 7.5), 7, 7);
                         p.setBrush(Qt::white);
                         p.drawEllipse(QPointF(7.5, 7.5), 2.2, 2.2);
                     }));
    out.emplace_back(QStringLiteral("small_pricel"), smallPicture([&](QPainter& p) {
                         // A sight: ring and cross hairs.
                         p.setPen(QPen(ink, 1.3));
                         p.setBrush(Qt::NoBrush);
                         p.drawEllipse(QPointF(7.5, 7.5), 5, 5);
                         p.setPen(Qt::NoPen);
                         p.setBrush(ink);
                         p.drawPath(crosshair(7.5, 7.5, 7.5));
                         p.setBrush(QColor(220, 40, 40));
                         p.drawEllipse(QPointF(7.5, 7.5), 1.2, 1.2);
                     }));
    // The toolbar's pictures: an effect (overlapping shapes) and the wrap item.
    out.emplace_back(QStringLiteral("shapes"), smallPicture([&](QPainter& p) {
                         p.setPen(QPen(ink, 1));
                         p.setBrush(QColor(90, 150, 230));
                         p.drawRect(QRectF(1.5, 5.5, 8, 8));
                         p.setBrush(QColor(240, 170, 60, 220));
                         p.drawEllipse(QPointF(10, 6), 4.5, 4.5);
                     }));
    out.emplace_back(QStringLiteral("inspector_wrap"), smallPicture([&](QPainter& p) {
                         // Lines of text wrapping round at the right edge.
                         p.setPen(QPen(ink, 1.4, Qt::SolidLine, Qt::RoundCap));
                         p.drawLine(QPointF(2, 3.5), QPointF(14, 3.5));
                         p.drawLine(QPointF(2, 12.5), QPointF(7, 12.5));
                         QPainterPath wrap(QPointF(2, 8));
                         wrap.lineTo(11.5, 8);
                         wrap.cubicTo(15, 8, 15, 12.5, 11.5, 12.5);
                         wrap.lineTo(10, 12.5);
                         p.setBrush(Qt::NoBrush);
                         p.drawPath(wrap);
                         p.drawLine(QPointF(10, 12.5), QPointF(11.5, 11));
                         p.drawLine(QPointF(10, 12.5), QPointF(11.5, 14));
                     }));
    return out;
}

}  // namespace cif::resgen
