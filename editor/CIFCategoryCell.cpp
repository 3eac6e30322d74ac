#include "editor/CIFCategoryCell.h"

#include <QPainter>

namespace cif {

void CIFCategoryCell::drawRule(QPainter* painter, const QRectF& rect) {
    painter->save();
    // Antialiased so that half a point is one device pixel at ratio 2 and a
    // faint full pixel at ratio 1.
    painter->setRenderHint(QPainter::Antialiasing);
    painter->fillRect(rect, QColor::fromRgbF(0.4f, 0.4f, 0.4f, 1.0f));
    painter->restore();
}

void CIFCategoryCell::paint(QPainter* painter, const QStyleOptionViewItem& option,
                            const QModelIndex& index) const {
    const QRectF cell = option.rect;
    const QRectF rule(cell.x() + 2, cell.y() + 0.5 * cell.height(), cell.width() + 1, 0.5);
    const QString title = index.data(Qt::DisplayRole).toString();
    if (index.data(KXSeparatorCell).toBool()) {
        drawRule(painter, rule);
        if (title.isEmpty()) return;
        // The title as the data source styled it: its font, its colour and
        // its background behind the glyphs only, so the rule shows on
        // either side.
        painter->save();
        const QVariant font = index.data(Qt::FontRole);
        if (font.isValid()) painter->setFont(font.value<QFont>());
        const QRectF area(cell.x() + 2, cell.y() + 1, cell.width() - 2, cell.height() - 1);
        const QRectF text = painter->boundingRect(area, Qt::AlignLeft | Qt::AlignTop, title);
        const QVariant background = index.data(Qt::BackgroundRole);
        if (background.isValid()) painter->fillRect(text, background.value<QBrush>());
        const QVariant foreground = index.data(Qt::ForegroundRole);
        painter->setPen(foreground.isValid() ? foreground.value<QBrush>().color()
                                             : option.palette.color(QPalette::Text));
        painter->drawText(area, Qt::AlignLeft | Qt::AlignTop, title);
        painter->restore();
        return;
    }
    if (!title.isEmpty()) {
        QStyledItemDelegate::paint(painter, option, index);
        return;
    }
    drawRule(painter, rule);
}

}  // namespace cif
