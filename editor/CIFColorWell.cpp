#include "editor/CIFColorWell.h"

#include <QColorDialog>
#include <QPainter>
#include <QPointer>
#include <QStyleOptionToolButton>
#include <QStylePainter>

namespace cif {

namespace {

QPointer<CIFColorWell>& lastActive() {
    static QPointer<CIFColorWell> well;
    return well;
}

}  // namespace

CIFColorWell::CIFColorWell(QWidget* parent) : QToolButton(parent) {
    setFocusPolicy(Qt::StrongFocus);
    connect(this, &QToolButton::clicked, this, &CIFColorWell::chooseColor);
}

void CIFColorWell::setColor(const QColor& color) {
    if (!color.isValid() || color == m_color) return;
    m_color = color;
    update();
}

CIFColorWell* CIFColorWell::activeWell() {
    return lastActive().data();
}

void CIFColorWell::chooseColor() {
    const QColor chosen =
        QColorDialog::getColor(m_color, this, toolTip(),
                               QColorDialog::ShowAlphaChannel | QColorDialog::DontUseNativeDialog);
    if (!chosen.isValid()) return;
    m_color = chosen;
    update();
    lastActive() = this;
    emit colorChanged(chosen);
}

void CIFColorWell::paintEvent(QPaintEvent*) {
    QStylePainter painter(this);
    QStyleOptionToolButton option;
    initStyleOption(&option);
    option.text.clear();
    option.icon = {};
    painter.drawComplexControl(QStyle::CC_ToolButton, option);
    const QRectF swatch = QRectF(rect()).adjusted(5, 5, -5, -5);
    // A checkerboard under translucent colours, so alpha shows.
    if (m_color.alpha() < 255) {
        painter.fillRect(swatch, Qt::white);
        const double half = swatch.height() / 2;
        for (double x = swatch.left(); x < swatch.right(); x += half)
            painter.fillRect(QRectF(x, swatch.top() + (int((x - swatch.left()) / half) % 2) * half,
                                    std::min(half, swatch.right() - x), half),
                             Qt::lightGray);
    }
    painter.fillRect(swatch, isEnabled() ? m_color : m_color.lighter(150));
    painter.setPen(QColor(0, 0, 0, 120));
    painter.drawRect(swatch.adjusted(0, 0, -1, -1));
}

}  // namespace cif
