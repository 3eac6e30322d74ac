#pragma once
// CIFImageCategoryCell: the item delegate of the catalog lists' picture
// column. A row with a picture (Qt::DecorationRole) is drawn as usual; a row
// without one continues the grey header rule across the column.

#include <QStyledItemDelegate>

namespace cif {

class CIFImageCategoryCell final : public QStyledItemDelegate {
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;
    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
};

}  // namespace cif
