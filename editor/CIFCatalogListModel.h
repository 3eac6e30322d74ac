#pragma once
// CIFCatalogListModel: the data source of one of the editor's catalog lists
// (effects or generators). Rows follow the catalog's flat list with one
// separator slot after each category: an entry row shows the entry's
// localised name and the mark of its style; a separator row shows the name
// of the category that follows as a grey header and cannot be selected.
// Column 0 is "title", column 1 "mark". The rows are read once, when the
// model is made, from the principal object's catalog for `effectsSet`.

#include <QAbstractTableModel>
#include <QImage>
#include <QString>
#include <QVector>
#include <functional>

namespace cif {

class CIFMain;

class CIFCatalogListModel final : public QAbstractTableModel {
    Q_OBJECT

public:
    // markForStyle answers the list mark of a CIFFilterStyle (a null image
    // for none).
    CIFCatalogListModel(CIFMain& main, unsigned effectsSet, std::function<QImage(int)> markForStyle,
                        QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

    // The identifier of an entry row; null for a separator row or a row
    // out of range.
    QString identifierAtRow(int row) const;
    // The row of an identifier, -1 when the list has none.
    int rowOfIdentifier(const QString& identifier) const;
    // Whether the row may be selected (it holds an entry).
    bool isSelectableRow(int row) const { return !identifierAtRow(row).isNull(); }

private:
    struct Row {
        QString identifier;  // null for a separator
        QString title;       // localised entry or category name
        QImage mark;
    };
    QVector<Row> m_rows;
};

}  // namespace cif
