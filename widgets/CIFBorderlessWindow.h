#pragma once
// A window without title bar or frame, with a clear background, that the
// user drags by its body. While dragging (left button, Control not held,
// the window moveable) the window keeps its top edge below the top of the
// primary screen's available area and at least 10 points above the bottom
// of its screen's available area, and unless Shift is held it snaps to the
// available area's edges and then to the screen's edges within 12 points.
// Frames and screen rectangles are global, top-down, in points.
// Main thread only.

#include <QRect>
#include <QWidget>
#include <functional>

namespace cif {

class CIFBorderlessWindow : public QWidget {
    Q_OBJECT
public:
    explicit CIFBorderlessWindow(QWidget* parent = nullptr, Qt::WindowFlags extraFlags = {});

    void setMoveable(bool on) { moveable = on; }
    bool isMoveable() const { return moveable; }
    bool isDragging() const { return inLeftMouseEvent; }

    // Moves each edge of frame lying within 12 points (whole points,
    // truncated) of the same edge of screenFrame onto it: left, bottom,
    // right, top, in that order. True when the frame moved.
    static bool dockWindowFrameToScreenFrame(QRect& frame, const QRect& screenFrame);

    // Asks the delegate's windowShouldClose handler, else windowShouldClose();
    // closes on true.
    void performClose();
    void setWindowShouldCloseHandler(std::function<bool(CIFBorderlessWindow*)> handler) {
        m_shouldClose = std::move(handler);
    }

signals:
    // Sent around every move made by dragging.
    void windowWillMove();
    void windowDidMove();

protected:
    // The window's own answer when no handler is set: yes.
    virtual bool windowShouldClose() { return true; }
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    void beginDrag(QPointF globalPosition);

    QPointF originalMouseLocation;
    QRect windowFrame;
    bool inLeftMouseEvent = false;
    bool moveable = true;
    std::function<bool(CIFBorderlessWindow*)> m_shouldClose;
};

}  // namespace cif
