#pragma once
// The colour range slider: a horizontal hue ramp with two triangular marks
// under it selecting a range of hues, or in key-colour mode one mark selecting
// one hue. Values are fractions of the ramp's width, 0 (red) to 1 (red again).
// A thin shell: the marks, hit-testing, tracking and drawing live in its
// CCColorSliderCell.
//
// Mouse: a press on a mark drags it (with Shift held at the press the other
// mark follows at the same distance); a press elsewhere moves the nearer mark
// there. Keyboard (the slider takes focus): Left/Right move the current mark
// by 1/100 of the ramp (Shift: both marks), Home/End move it to 0 or 1, Space
// switches between the two marks. valueChanged() is the control's action:
// sent on every press, every drag step and every key that moves a mark.
// The model owns the values: set them with the setters, read them on
// valueChanged(). Main thread only.

#include <QWidget>

#include "widgets/CCColorSliderCell.h"

namespace cif {

class CCColorSlider : public QWidget {
    Q_OBJECT
public:
    // The slider over frame (in the parent's coordinates), range 0 to 1,
    // key-colour mode off.
    explicit CCColorSlider(const QRect& frame, QWidget* parent = nullptr);
    // The same over a default frame of 200 by 30 points (for layouts and .ui files).
    explicit CCColorSlider(QWidget* parent = nullptr);

    double getRangeMinValue() const { return m_cell.getRangeMinValue(); }
    double getRangeMaxValue() const { return m_cell.getRangeMaxValue(); }
    // Unchecked (see CCColorSliderCell); both repaint and send no action.
    void setRangeMinValue(double value);
    void setRangeMaxValue(double value);
    bool isKeyColorSelectionMode() const { return _bKeyColorSelectionMode; }
    void setKeyColorSelectionMode(bool on);

    CCColorSliderCell& cell() { return m_cell; }
    const CCColorSliderCell& cell() const { return m_cell; }

    QSize sizeHint() const override { return {200, 30}; }
    QSize minimumSizeHint() const override { return {40, 20}; }

signals:
    void valueChanged();

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void initWithFrame(const QRect& frame);
    // The mark moved by the keyboard: 1 or 2 (only 1 in key-colour mode).
    int keyboardMark() const { return _bKeyColorSelectionMode ? 1 : m_keyboardMark; }

    CCColorSliderCell m_cell;
    bool _bKeyColorSelectionMode = false;
    bool m_tracking = false;
    QPointF m_lastPoint;
    int m_keyboardMark = 1;
};

}  // namespace cif
