#include "HostCanvas.h"

#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <cmath>

namespace {

// The rectangle between two corner points (pixel edges, not pixels).
QRect spanning(QPoint a, QPoint b) {
    return QRect(QPoint(std::min(a.x(), b.x()), std::min(a.y(), b.y())),
                 QSize(std::abs(a.x() - b.x()), std::abs(a.y() - b.y())));
}

}  // namespace

HostCanvas::HostCanvas(QWidget* parent) : QWidget(parent) {
    setMouseTracking(false);
    setCursor(Qt::CrossCursor);
}

void HostCanvas::setPicture(const cif::HostImage& picture) {
    m_picture = picture;
    m_selection = {};
    resize(sizeHint());
    update();
    emit selectionChanged(m_selection);
}

void HostCanvas::setSelection(const QRect& rect) {
    const QRect bounds(0, 0, m_picture.pixelsWide(), m_picture.pixelsHigh());
    m_selection = rect.normalized().intersected(bounds);
    update();
    emit selectionChanged(m_selection);
}

void HostCanvas::setZoom(double zoom) {
    m_zoom = std::clamp(zoom, 0.05, 16.0);
    resize(sizeHint());
    update();
}

QSize HostCanvas::sizeHint() const {
    return QSize(std::max(1, int(std::ceil(m_picture.pixelsWide() * m_zoom))),
                 std::max(1, int(std::ceil(m_picture.pixelsHigh() * m_zoom))));
}

QPoint HostCanvas::pictureFromWidget(const QPointF& position) const {
    return QPoint(std::clamp(int(std::lround(position.x() / m_zoom)), 0, m_picture.pixelsWide()),
                  std::clamp(int(std::lround(position.y() / m_zoom)), 0, m_picture.pixelsHigh()));
}

QRectF HostCanvas::widgetFromPicture(const QRect& rect) const {
    return QRectF(rect.x() * m_zoom, rect.y() * m_zoom, rect.width() * m_zoom,
                  rect.height() * m_zoom);
}

void HostCanvas::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), palette().dark());
    // A checkerboard shows where the picture is transparent.
    const QRectF area(QPointF(0, 0), QSizeF(sizeHint()));
    for (int y = 0; y < area.height(); y += 8)
        for (int x = 0; x < area.width(); x += 8)
            painter.fillRect(QRect(x, y, 8, 8),
                             ((x + y) / 8) % 2 ? QColor(200, 200, 200) : Qt::white);
    m_picture.drawInRect(painter, area);
    if (m_selection.isEmpty()) return;
    const QRectF sel = widgetFromPicture(m_selection);
    QPainterPath outside;
    outside.addRect(area);
    outside.addRect(sel);
    painter.fillPath(outside, QColor(0, 0, 0, 90));
    QPen pen(Qt::white, 1, Qt::DashLine);
    painter.setPen(pen);
    painter.drawRect(sel.adjusted(0.5, 0.5, -0.5, -0.5));
}

void HostCanvas::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || m_picture.isNull()) return;
    m_anchor = pictureFromWidget(event->position());
    m_dragging = true;
    setSelection({});
}

void HostCanvas::mouseMoveEvent(QMouseEvent* event) {
    if (!m_dragging) return;
    setSelection(spanning(m_anchor, pictureFromWidget(event->position())));
}

void HostCanvas::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || !m_dragging) return;
    m_dragging = false;
    const QRect rect = spanning(m_anchor, pictureFromWidget(event->position()));
    // A click without a drag clears the selection.
    setSelection(rect.width() > 1 && rect.height() > 1 ? rect : QRect());
}
