#include "editor/CIFImageCategoryCell.h"

#include <QIcon>
#include <QImage>
#include <QPixmap>

#include "editor/CIFCategoryCell.h"

namespace cif {

namespace {

bool hasPicture(const QVariant& decoration) {
    switch (decoration.typeId()) {
        case QMetaType::QIcon:
            return !decoration.value<QIcon>().isNull();
        case QMetaType::QPixmap:
            return !decoration.value<QPixmap>().isNull();
        case QMetaType::QImage:
            return !decoration.value<QImage>().isNull();
        default:
            return false;
    }
}

}  // namespace

void CIFImageCategoryCell::paint(QPainter* painter, const QStyleOptionViewItem& option,
                                 const QModelIndex& index) const {
    if (hasPicture(index.data(Qt::DecorationRole))) {
        QStyledItemDelegate::paint(painter, option, index);
        return;
    }
    const QRectF cell = option.rect;
    CIFCategoryCell::drawRule(
        painter, QRectF(cell.x(), cell.y() + 0.5 * cell.height(), cell.width() - 2, 0.5));
}

}  // namespace cif
