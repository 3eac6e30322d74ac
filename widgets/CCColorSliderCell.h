#pragma once
// The logic of the colour range slider: two marks under a horizontal hue
// ramp, their hit-testing, tracking and drawing. CCColorSlider is the widget
// shell around one cell.
//
// Units: marks are distances in points from the ramp's left edge; values are
// fractions of the ramp's width, 0 to 1. The ramp (the bundle's picture
// "gradient_hue") fills the widget above its bottom 10 points; the marks are
// triangles in those bottom 10 points, apex up, a mark at m spanning x = m to
// m + 10 with its apex at m + 5 (over the ramp's point m).

#include <QPointF>
#include <QRectF>
#include <Qt>

class QPainter;
class QWidget;

namespace cif {

class CCColorSliderCell {
public:
    CCColorSliderCell() = default;

    // frame (x, y, w, h): the ramp becomes (x + 5, y + 10, w - 10, h - 10);
    // mark 1 = 0, mark 2 = the ramp's width (the range 0 to 1).
    void setInitialFrame(const QRectF& frame);
    // The ramp follows a new frame and the marks keep their fractions.
    void resizeToFrame(const QRectF& frame);
    QRectF gradientRect() const { return _gradientRect; }

    // min(mark 1, mark 2) / width and max(...) / width; 0 for a ramp of no width.
    double getRangeMinValue() const;
    double getRangeMaxValue() const;
    // Set mark 1 (min) or mark 2 (max) to width * value, unchecked: a minimum
    // above the maximum is allowed, and nothing is clamped until validateValues.
    void setRangeMinValue(double value);
    void setRangeMaxValue(double value);
    double mark1Pos() const { return _dMark1Pos; }
    double mark2Pos() const { return _dMark2Pos; }
    // 1 or 2 while a mark is dragged, -1 otherwise.
    int trackingMarkNumber() const { return _trackingMarkNumber; }

    bool isKeyColorSelectionMode() const { return _bKeyColorSelectionMode; }
    // Stores the flag and validates (key-colour mode puts mark 2 on mark 1).
    void setKeyColorSelectionMode(bool on);
    // In key-colour mode mark 2 = mark 1; then both are clamped to 0..width.
    void validateValues();

    // Modifiers held when the mouse went down; Shift makes the other mark
    // follow a dragged one.
    void setMouseDownFlags(Qt::KeyboardModifiers flags) { m_mouseDownFlags = flags; }

    // Tracking, x in the view's coordinates. A press on a mark (m < x < m + 10)
    // starts dragging it and answers true; elsewhere the nearer mark jumps to
    // the press and the answer is false (no drag follows).
    bool startTrackingAtInView(QPointF point, QWidget* view);
    // Moves the tracked mark to x (and the other one at the saved distance
    // with Shift), validates and repaints the view; answers true.
    bool continueTrackingAtInView(QPointF lastPoint, QPointF currentPoint, QWidget* view);
    void stopTrackingAtInViewMouseIsUp(QPointF lastPoint, QPointF stopPoint, QWidget* view,
                                       bool mouseIsUp);
    // The keyboard's move: mark `number` (1 or 2) to position, the other one
    // following at the present distance when `together`; then validates.
    void moveMark(int number, double position, bool together);
    static bool prefersTrackingUntilMouseUp() { return true; }
    QRectF drawingRectForBounds(const QRectF& bounds) const { return bounds; }

    // Draws the ramp, the marks (one in key-colour mode) and the ramp's frame
    // into frame, top-down widget coordinates, at the painter's resolution.
    // keyboardMark (1 or 2, 0 for none) gets a focus outline.
    void drawInteriorWithFrameInView(QPainter& painter, const QRectF& frame, const QWidget* view,
                                     int keyboardMark = 0) const;

private:
    double _dMark1Pos = 0;
    double _dMark2Pos = 0;
    double _positionDelta = 0;
    int _trackingMarkNumber = -1;
    QRectF _gradientRect;
    bool _bKeyColorSelectionMode = false;
    Qt::KeyboardModifiers m_mouseDownFlags;
};

}  // namespace cif
