#include "widgets/CIFScaledImageCell.h"

#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <QWidget>
#include <algorithm>

namespace cif {

QRectF CIFScaledImageCell::imageRectForFrame(const QRectF& frame) const {
    const QSizeF source = m_image.size();
    if (source.isEmpty() || frame.isEmpty()) return {};
    QSizeF bounds = frame.size();
    if (m_maxSize.width() > 0) bounds.setWidth(std::min(bounds.width(), m_maxSize.width()));
    if (m_maxSize.height() > 0) bounds.setHeight(std::min(bounds.height(), m_maxSize.height()));
    const double scale =
        std::min(bounds.width() / source.width(), bounds.height() / source.height());
    const QSizeF size = source * scale;
    return QRectF(frame.center().x() - size.width() / 2, frame.center().y() - size.height() / 2,
                  size.width(), size.height());
}

void CIFScaledImageCell::drawWithFrameInView(QPainter& painter, const QRectF& frame,
                                             const QWidget* view) const {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    if (m_highlighted) {
        const QColor highlight =
            view ? view->palette().color(QPalette::Highlight) : QColor(56, 117, 215);
        QPainterPath path;
        path.addRoundedRect(frame.adjusted(-2, -2, 2, 2), 3, 3);
        painter.fillPath(path, highlight);
    }
    if (!m_enabled) painter.setOpacity(0.5);
    m_image.drawInRect(painter, imageRectForFrame(frame));
    painter.restore();
}

}  // namespace cif
