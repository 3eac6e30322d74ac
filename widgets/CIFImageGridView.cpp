#include "widgets/CIFImageGridView.h"

#include <QKeyEvent>
#include <QPainter>
#include <QScrollArea>
#include <cmath>

#include "core/CIFStringsTable.h"

namespace cif {

CIFImageGridView::CIFImageGridView(QWidget* parent) : QWidget(parent) {
    setFocusPolicy(Qt::StrongFocus);
    setMouseTracking(true);
    setAccessibleName(CIFStringsTable::localizedString(QStringLiteral("Pictures")));
}

void CIFImageGridView::setDelegate(const CIFImageGridViewDelegate& delegate) {
    if (!delegate.numberOfImagesInImageGridView) {
        qWarning("Invalid parameter not satisfying: %s", "delegate.numberOfImagesInImageGridView");
        return;
    }
    if (!delegate.imageGridViewImageAtIndex) {
        qWarning("Invalid parameter not satisfying: %s", "delegate.imageGridViewImageAtIndex");
        return;
    }
    m_delegate = delegate;
}

void CIFImageGridView::clearDelegate() {
    m_delegate = {};
}

int CIFImageGridView::numberOfImages() const {
    if (!m_delegate.numberOfImagesInImageGridView) return 0;
    return std::max(0,
                    m_delegate.numberOfImagesInImageGridView(const_cast<CIFImageGridView*>(this)));
}

void CIFImageGridView::reloadData() {
    layOut(geometry());
}

void CIFImageGridView::setImageSize(QSizeF size) {
    m_imageSize = size;
    layOut(geometry());
}

void CIFImageGridView::setFrame(const QRect& frame) {
    layOut(frame);
}

void CIFImageGridView::layOut(const QRect& frame) {
    const double w = frame.width();
    const double iw = m_imageSize.width(), ih = m_imageSize.height();
    // At least one column, so a grid narrower than one image still has rows.
    m_columns = std::max(1, int(std::trunc(w / (1 + iw))));
    const double pad = std::round((w - m_columns * iw) / (m_columns + 1));
    m_padding = QSizeF(pad, pad);
    const int n = numberOfImages();
    const int rows = (n + m_columns - 1) / m_columns;
    double height = rows * (pad + ih) + pad;
    if (QWidget* viewport = parentWidget()) {
        auto* area = qobject_cast<QAbstractScrollArea*>(viewport->parentWidget());
        if (area && area->viewport() == viewport)
            height = std::max(height, double(viewport->height()));
    }
    m_layingOut = true;
    setGeometry(frame.x(), frame.y(), frame.width(), int(std::ceil(std::max(0.0, height))));
    m_layingOut = false;
    update();
}

void CIFImageGridView::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    // A width set from outside (a layout, a scroll area) lays the grid out again.
    if (!m_layingOut && event->size().width() != event->oldSize().width()) layOut(geometry());
}

QSize CIFImageGridView::sizeHint() const {
    return QSize(200, height() > 0 ? height() : 100);
}

QRectF CIFImageGridView::rectForImageAtIndex(int index) const {
    const double iw = m_imageSize.width(), ih = m_imageSize.height();
    const double pad = m_padding.width();
    return QRectF(pad + (index % m_columns) * (iw + pad), pad + (index / m_columns) * (ih + pad),
                  iw, ih);
}

int CIFImageGridView::imageIndexAtPoint(QPointF point) const {
    const int n = numberOfImages();
    for (int i = 0; i < n; ++i)
        if (rectForImageAtIndex(i).contains(point)) return i;
    return -1;
}

void CIFImageGridView::setNeedsDisplayOfImageAtIndex(int index) {
    if (index < 0) return;
    update(rectForImageAtIndex(index).adjusted(-3, -3, 3, 3).toAlignedRect());
}

void CIFImageGridView::post(const char* name) {
    const CIFNotification notification{QString::fromLatin1(name), this};
    if (name == kSelectionIsChangingNotification) {
        emit selectionIsChanging(notification);
        if (m_delegate.imageGridViewSelectionIsChanging)
            m_delegate.imageGridViewSelectionIsChanging(notification);
    } else {
        emit selectionDidChange(notification);
        if (m_delegate.imageGridViewSelectionDidChange)
            m_delegate.imageGridViewSelectionDidChange(notification);
    }
}

void CIFImageGridView::selectIndex(int index) {
    const int n = numberOfImages();
    // An empty grid has nothing to wrap into: nothing happens.
    if (n <= 0) return;
    index = ((index % n) + n) % n;
    if (m_delegate.imageGridViewShouldSelectIndex &&
        !m_delegate.imageGridViewShouldSelectIndex(this, index))
        return;
    if (index == m_selectedIndex) return;
    post(kSelectionIsChangingNotification);
    setNeedsDisplayOfImageAtIndex(m_selectedIndex);
    m_selectedIndex = index;
    setNeedsDisplayOfImageAtIndex(index);
    if (QWidget* viewport = parentWidget()) {
        if (auto* area = qobject_cast<QScrollArea*>(viewport->parentWidget())) {
            const QRectF r = rectForImageAtIndex(index).translated(pos());
            area->ensureVisible(int(r.center().x()), int(r.center().y()),
                                int(r.width() / 2 + m_padding.width()),
                                int(r.height() / 2 + m_padding.height()));
        }
    }
    post(kSelectionDidChangeNotification);
}

void CIFImageGridView::selectRelativeIndex(int delta) {
    if (delta == 0) return;
    selectIndex(m_selectedIndex + delta);
}

void CIFImageGridView::moveLeft() {
    selectRelativeIndex(-1);
}
void CIFImageGridView::moveRight() {
    selectRelativeIndex(1);
}
void CIFImageGridView::moveUp() {
    selectRelativeIndex(-m_columns);
}
void CIFImageGridView::moveDown() {
    selectRelativeIndex(m_columns);
}

void CIFImageGridView::setDrawsBackground(bool on) {
    m_drawsBackground = on;
    update();
}

void CIFImageGridView::setHighlightsHoveredImage(bool on) {
    m_highlightsHover = on;
    update();
}

void CIFImageGridView::setHoveredIndex(int index) {
    if (index == m_hoveredIndex) return;
    setNeedsDisplayOfImageAtIndex(m_hoveredIndex);
    m_hoveredIndex = index;
    setNeedsDisplayOfImageAtIndex(index);
    if (m_delegate.imageGridViewCursorIsHoveringImageAtIndex)
        m_delegate.imageGridViewCursorIsHoveringImageAtIndex(this, index);
}

void CIFImageGridView::mousePressEvent(QMouseEvent* event) {
    const int index = imageIndexAtPoint(event->position());
    if (event->button() == Qt::LeftButton && index >= 0) selectIndex(index);
}

void CIFImageGridView::mouseMoveEvent(QMouseEvent* event) {
    setHoveredIndex(imageIndexAtPoint(event->position()));
}

void CIFImageGridView::enterEvent(QEnterEvent* event) {
    setFocus(Qt::MouseFocusReason);
    if (QWidget* w = window()) w->setMouseTracking(true);
    QWidget::enterEvent(event);
}

void CIFImageGridView::leaveEvent(QEvent* event) {
    setHoveredIndex(-1);
    QWidget::leaveEvent(event);
}

void CIFImageGridView::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
        case Qt::Key_Left:
            moveLeft();
            return;
        case Qt::Key_Right:
            moveRight();
            return;
        case Qt::Key_Up:
            moveUp();
            return;
        case Qt::Key_Down:
            moveDown();
            return;
        case Qt::Key_Delete:
        case Qt::Key_Backspace:
            if (m_delegate.imageGridViewDeleteSelectedImage) {
                m_delegate.imageGridViewDeleteSelectedImage(this);
                return;
            }
            break;
        default:
            break;
    }
    QWidget::keyPressEvent(event);
}

void CIFImageGridView::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    if (m_drawsBackground) painter.fillRect(rect(), palette().color(QPalette::Base));
    const int n = numberOfImages();
    m_cell.setEnabled(isEnabled());
    for (int i = 0; i < n; ++i) {
        const QRectF r = rectForImageAtIndex(i);
        if (!event->rect().intersects(r.adjusted(-3, -3, 3, 3).toAlignedRect())) continue;
        m_cell.setImage(m_delegate.imageGridViewImageAtIndex(this, i));
        m_cell.setHighlighted(i == m_selectedIndex);
        m_cell.drawWithFrameInView(painter, r, this);
        if (m_highlightsHover && i == m_hoveredIndex) {
            painter.fillRect(r, QColor(40, 90, 255, 90));
            painter.setPen(QPen(Qt::white, 1));
            painter.drawRect(r.adjusted(0.5, 0.5, -0.5, -0.5));
        }
        if (hasFocus() && i == m_selectedIndex) {
            painter.setPen(QPen(palette().color(QPalette::Highlight), 1, Qt::DotLine));
            painter.drawRect(r.adjusted(-2.5, -2.5, 2.5, 2.5));
        }
    }
}

}  // namespace cif
