#pragma once
// CIFCategoryCell: the item delegate of the catalog lists' title column. A
// category header row, marked by a true KXSeparatorCell value on its title,
// is drawn as a thin grey rule through the middle of the row with the
// category name over it; an empty row shows the rule alone; every other row
// is drawn as ordinary text.

#include <QStyledItemDelegate>

namespace cif {

// The item data role that marks a category header row: true on the row's
// title. The lists' data source sets it together with white text
// (Qt::ForegroundRole), a grey background (Qt::BackgroundRole) and the
// system font, and leaves the row disabled.
inline constexpr int KXSeparatorCell = Qt::UserRole + 0x5853;

class CIFCategoryCell final : public QStyledItemDelegate {
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;
    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;

    // The grey rule of header and empty rows: white level 0.4, half a point
    // high through the middle of the cell.
    static void drawRule(QPainter* painter, const QRectF& rect);
};

}  // namespace cif
