#include "editor/CIFCatalogListModel.h"

#include <QApplication>
#include <QColor>
#include <QFont>
#include <QFontDatabase>
#include <stdexcept>

#include "core/CIFKeys.h"
#include "core/CIFMain.h"
#include "editor/CIFCategoryCell.h"

namespace cif {

CIFCatalogListModel::CIFCatalogListModel(CIFMain& main, unsigned effectsSet,
                                         std::function<QImage(int)> markForStyle, QObject* parent)
    : QAbstractTableModel(parent) {
    // Leaves `main` on effectsSet; its owner chooses the set it needs next.
    main.CIFSetEffectsSet(effectsSet);
    const int count = main.CIFFilterCountBySkipCategory();
    m_rows.reserve(count);
    for (int row = 0; row < count; ++row) {
        Row r;
        r.identifier = main.CIFFilterIdentifierAtIndexSkipCategories(row, false);
        if (r.identifier.isNull()) {
            // The slot after the last category names no following category.
            try {
                r.title = main.localizedString(main.CIFCategoryNameWithinFilterNameAtIndex(row));
            } catch (const std::out_of_range&) {
                r.title.clear();
            }
        } else {
            r.title = main.localizedString(main.CIFFilterNameAtIndexSkipCategories(row, false));
            const auto descriptor = main.CIFDescriptorForFilterName(r.identifier);
            if (descriptor && markForStyle)
                r.mark = markForStyle(descriptor->value(CIFFilterStyle).toInt());
        }
        m_rows.push_back(std::move(r));
    }
}

int CIFCatalogListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(m_rows.size());
}

int CIFCatalogListModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : 2;
}

QVariant CIFCatalogListModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= m_rows.size()) return {};
    const Row& r = m_rows[index.row()];
    const bool header = r.identifier.isNull();
    if (index.column() == 0) {
        switch (role) {
            case Qt::DisplayRole:
            case Qt::ToolTipRole:
                return r.title;
            case KXSeparatorCell:
                return header;
            case Qt::ForegroundRole:
                if (header) return QColor(Qt::white);
                break;
            case Qt::BackgroundRole:
                if (header) return QColor::fromRgbF(0.4, 0.4, 0.4);
                break;
            case Qt::FontRole:
                if (header) return QFontDatabase::systemFont(QFontDatabase::GeneralFont);
                break;
            default:
                break;
        }
        return {};
    }
    if (role == Qt::DecorationRole && !r.mark.isNull()) return r.mark;
    if (role == KXSeparatorCell) return header;
    if (role == Qt::BackgroundRole && header) return QColor::fromRgbF(0.4, 0.4, 0.4);
    return {};
}

Qt::ItemFlags CIFCatalogListModel::flags(const QModelIndex& index) const {
    if (!index.isValid() || index.row() >= m_rows.size()) return Qt::NoItemFlags;
    // Category rows are disabled and can never be selected.
    if (m_rows[index.row()].identifier.isNull()) return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable;
}

QVariant CIFCatalogListModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
    return section == 0 ? QStringLiteral("title") : QStringLiteral("mark");
}

QString CIFCatalogListModel::identifierAtRow(int row) const {
    if (row < 0 || row >= m_rows.size()) return {};
    return m_rows[row].identifier;
}

int CIFCatalogListModel::rowOfIdentifier(const QString& identifier) const {
    for (int row = 0; row < m_rows.size(); ++row)
        if (m_rows[row].identifier == identifier) return row;
    return -1;
}

}  // namespace cif
