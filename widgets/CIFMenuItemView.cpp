#include "widgets/CIFMenuItemView.h"

#include <QAction>
#include <QApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QPainter>

#include "core/CIFStringsTable.h"

namespace cif {

CIFMenuItemView::CIFMenuItemView(QWidget* parent) : QWidget(parent) {
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
    setAccessibleName(CIFStringsTable::localizedString(QStringLiteral("Commands")));
}

void CIFMenuItemView::setMenu(QMenu* menu) {
    m_menu = menu;
    m_hovered = -1;
    update();
    if (m_delegate.menuItemViewDidChangeMenu) m_delegate.menuItemViewDidChangeMenu(this);
}

QList<QAction*> CIFMenuItemView::items() const {
    return m_menu ? m_menu->actions() : QList<QAction*>();
}

QRect CIFMenuItemView::rectOfItemAtIndex(int index) const {
    return QRect(0, kItemPitch * index, width(), kItemHeight);
}

int CIFMenuItemView::indexOfItemAtPoint(QPointF point) const {
    const double fromTop = point.y();
    if (fromTop < 0 || point.x() < 0 || point.x() >= width()) return -1;
    int index = 0;
    while (kItemHeight + kItemPitch * index < fromTop)
        ++index;
    return index < items().size() ? index : -1;
}

void CIFMenuItemView::sizeToFit() {
    const int n = int(items().size());
    resize(width(), std::max(0, kItemPitch * n - 2));
}

QSize CIFMenuItemView::sizeHint() const {
    return QSize(200, std::max(0, kItemPitch * int(items().size()) - 2));
}

void CIFMenuItemView::showEvent(QShowEvent* event) {
    if (!m_menu && m_delegate.menuForMenuItemView) setMenu(m_delegate.menuForMenuItemView(this));
    QWidget::showEvent(event);
}

void CIFMenuItemView::setHovered(int index) {
    if (index == m_hovered) return;
    m_hovered = index;
    update();
}

void CIFMenuItemView::perform(int index) {
    const QList<QAction*> actions = items();
    if (index < 0 || index >= actions.size()) return;
    QAction* action = actions[index];
    if (!action->isSeparator() && action->isEnabled()) action->trigger();
}

void CIFMenuItemView::mouseMoveEvent(QMouseEvent* event) {
    setHovered(indexOfItemAtPoint(event->position()));
}

void CIFMenuItemView::leaveEvent(QEvent* event) {
    setHovered(-1);
    QWidget::leaveEvent(event);
}

void CIFMenuItemView::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && m_hovered >= 0) perform(m_hovered);
    QWidget::mousePressEvent(event);
}

void CIFMenuItemView::keyPressEvent(QKeyEvent* event) {
    const int n = int(items().size());
    switch (event->key()) {
        case Qt::Key_Up:
            if (n > 0) setHovered(m_hovered <= 0 ? n - 1 : m_hovered - 1);
            return;
        case Qt::Key_Down:
            if (n > 0) setHovered(m_hovered < 0 || m_hovered >= n - 1 ? 0 : m_hovered + 1);
            return;
        case Qt::Key_Return:
        case Qt::Key_Enter:
        case Qt::Key_Space:
            perform(m_hovered);
            return;
        default:
            QWidget::keyPressEvent(event);
    }
}

void CIFMenuItemView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setFont(QApplication::font("QMenu"));
    const QList<QAction*> actions = items();
    for (int i = 0; i < actions.size(); ++i) {
        const QAction* action = actions[i];
        const QRect r = rectOfItemAtIndex(i);
        if (action->isSeparator()) {
            painter.setPen(QColor(160, 160, 160));
            painter.drawLine(QPointF(r.left() + 4, r.center().y() + 0.5),
                             QPointF(r.right() - 4, r.center().y() + 0.5));
            continue;
        }
        const bool hovered = i == m_hovered && action->isEnabled();
        if (hovered) painter.fillRect(r, palette().color(QPalette::Highlight));
        painter.setPen(!action->isEnabled() ? palette().color(QPalette::Disabled, QPalette::Text)
                       : hovered            ? palette().color(QPalette::HighlightedText)
                                            : palette().color(QPalette::Text));
        const int indent = 18 + 10 * action->property("indentationLevel").toInt();
        if (action->isCheckable() && action->isChecked())
            painter.drawText(QRect(r.left() + 4, r.top(), 14, r.height()), Qt::AlignCenter,
                             QStringLiteral("\u2713"));
        QString text = action->text();
        text.remove(u'&');
        painter.drawText(r.adjusted(indent, 0, -4, 0), Qt::AlignVCenter | Qt::AlignLeft, text);
    }
    if (hasFocus() && m_hovered < 0 && !actions.isEmpty()) {
        painter.setPen(QPen(palette().color(QPalette::Highlight), 1, Qt::DotLine));
        painter.drawRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5));
    }
}

}  // namespace cif
