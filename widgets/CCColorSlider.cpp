#include "widgets/CCColorSlider.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>

#include "core/CIFStringsTable.h"

namespace cif {

CCColorSlider::CCColorSlider(const QRect& frame, QWidget* parent) : QWidget(parent) {
    initWithFrame(frame);
}

CCColorSlider::CCColorSlider(QWidget* parent) : QWidget(parent) {
    initWithFrame(QRect(0, 0, 200, 30));
}

void CCColorSlider::initWithFrame(const QRect& frame) {
    setGeometry(frame);
    m_cell.setInitialFrame(QRectF(frame));
    setKeyColorSelectionMode(false);
    setFocusPolicy(Qt::StrongFocus);
    setAccessibleName(CIFStringsTable::localizedString(QStringLiteral("Color Range")));
}

void CCColorSlider::setRangeMinValue(double value) {
    m_cell.setRangeMinValue(value);
    update();
}

void CCColorSlider::setRangeMaxValue(double value) {
    m_cell.setRangeMaxValue(value);
    update();
}

void CCColorSlider::setKeyColorSelectionMode(bool on) {
    _bKeyColorSelectionMode = on;
    m_cell.setKeyColorSelectionMode(on);
    update();
}

void CCColorSlider::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    m_cell.drawInteriorWithFrameInView(painter, m_cell.drawingRectForBounds(QRectF(rect())), this,
                                       hasFocus() ? keyboardMark() : 0);
}

void CCColorSlider::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    // Only a real change of width rescales: the marks keep their values.
    if (std::abs(m_cell.gradientRect().width() - (width() - 10)) > 1e-9 ||
        std::abs(m_cell.gradientRect().height() - (height() - 10)) > 1e-9)
        m_cell.resizeToFrame(QRectF(geometry()));
}

void CCColorSlider::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || !isEnabled()) {
        QWidget::mousePressEvent(event);
        return;
    }
    m_cell.setMouseDownFlags(event->modifiers());
    m_lastPoint = event->position();
    m_tracking = m_cell.startTrackingAtInView(m_lastPoint, this);
    if (m_tracking) m_keyboardMark = m_cell.trackingMarkNumber();
    update();
    emit valueChanged();
}

void CCColorSlider::mouseMoveEvent(QMouseEvent* event) {
    if (!m_tracking || !(event->buttons() & Qt::LeftButton)) return;
    m_cell.continueTrackingAtInView(m_lastPoint, event->position(), this);
    m_lastPoint = event->position();
    emit valueChanged();
}

void CCColorSlider::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    m_cell.stopTrackingAtInViewMouseIsUp(m_lastPoint, event->position(), this, true);
    m_tracking = false;
    update();
}

void CCColorSlider::keyPressEvent(QKeyEvent* event) {
    const double width = m_cell.gradientRect().width();
    const int mark = keyboardMark();
    const double current = mark == 1 ? m_cell.mark1Pos() : m_cell.mark2Pos();
    double target = current;
    switch (event->key()) {
        case Qt::Key_Left:
            target = current - width / 100;
            break;
        case Qt::Key_Right:
            target = current + width / 100;
            break;
        case Qt::Key_Home:
            target = 0;
            break;
        case Qt::Key_End:
            target = width;
            break;
        case Qt::Key_Space:
            m_keyboardMark = m_keyboardMark == 1 ? 2 : 1;
            update();
            return;
        default:
            QWidget::keyPressEvent(event);
            return;
    }
    m_cell.moveMark(mark, target, event->modifiers().testFlag(Qt::ShiftModifier));
    update();
    emit valueChanged();
}

}  // namespace cif
