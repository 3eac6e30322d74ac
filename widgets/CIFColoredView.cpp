#include "widgets/CIFColoredView.h"

#include <QPainter>

namespace cif {

void CIFColoredView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), color());
    if (m_border.isValid()) {
        painter.setPen(QPen(m_border, 1));
        painter.drawRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5));
    }
}

}  // namespace cif
