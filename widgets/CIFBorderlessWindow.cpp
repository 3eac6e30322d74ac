#include "widgets/CIFBorderlessWindow.h"

#include <QGuiApplication>
#include <QMouseEvent>
#include <QScreen>
#include <cmath>

namespace cif {

namespace {

constexpr int kSnapDistance = 12;

bool near(int a, int b) {
    return int(std::abs(double(a) - double(b))) < kSnapDistance;
}

}  // namespace

CIFBorderlessWindow::CIFBorderlessWindow(QWidget* parent, Qt::WindowFlags extraFlags)
    : QWidget(parent, Qt::Window | Qt::FramelessWindowHint | extraFlags) {
    setAttribute(Qt::WA_TranslucentBackground);
    setMouseTracking(true);
}

bool CIFBorderlessWindow::dockWindowFrameToScreenFrame(QRect& frame, const QRect& screenFrame) {
    const QRect before = frame;
    const int sLeft = screenFrame.x(), sTop = screenFrame.y();
    const int sRight = sLeft + screenFrame.width(), sBottom = sTop + screenFrame.height();
    if (near(frame.x(), sLeft)) frame.moveLeft(sLeft);
    if (near(frame.y() + frame.height(), sBottom)) frame.moveTop(sBottom - frame.height());
    if (near(frame.x() + frame.width(), sRight)) frame.moveLeft(sRight - frame.width());
    if (near(frame.y(), sTop)) frame.moveTop(sTop);
    return frame != before;
}

void CIFBorderlessWindow::performClose() {
    const bool shouldClose = m_shouldClose ? m_shouldClose(this) : windowShouldClose();
    if (shouldClose) close();
}

void CIFBorderlessWindow::beginDrag(QPointF globalPosition) {
    originalMouseLocation = globalPosition;
    windowFrame = frameGeometry();
    inLeftMouseEvent = true;
}

void CIFBorderlessWindow::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && !event->modifiers().testFlag(Qt::ControlModifier) &&
        moveable) {
        beginDrag(event->globalPosition());
        return;
    }
    inLeftMouseEvent = false;
    QWidget::mousePressEvent(event);
}

void CIFBorderlessWindow::mouseReleaseEvent(QMouseEvent* event) {
    inLeftMouseEvent = false;
    QWidget::mouseReleaseEvent(event);
}

void CIFBorderlessWindow::mouseMoveEvent(QMouseEvent* event) {
    if (!(event->buttons() & Qt::LeftButton) || event->modifiers().testFlag(Qt::ControlModifier) ||
        !moveable) {
        QWidget::mouseMoveEvent(event);
        return;
    }
    if (!inLeftMouseEvent) beginDrag(event->globalPosition());
    const QPointF moved = event->globalPosition() - originalMouseLocation;
    QRect frame = windowFrame;
    frame.moveTopLeft(windowFrame.topLeft() + moved.toPoint());

    QScreen* screen = QGuiApplication::screenAt(event->globalPosition().toPoint());
    if (!screen) screen = this->screen();
    if (screen) {
        const QRect visible = screen->availableGeometry();
        if (screen == QGuiApplication::primaryScreen() && frame.y() < visible.y())
            frame.moveTop(visible.y());
        if (frame.y() > visible.y() + visible.height() - 10)
            frame.moveTop(visible.y() + visible.height() - 10);
        if (!event->modifiers().testFlag(Qt::ShiftModifier)) {
            dockWindowFrameToScreenFrame(frame, visible);
            dockWindowFrameToScreenFrame(frame, screen->geometry());
        }
    }
    emit windowWillMove();
    move(frame.topLeft());
    emit windowDidMove();
}

}  // namespace cif
