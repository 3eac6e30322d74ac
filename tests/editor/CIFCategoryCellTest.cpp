// The catalog list cells: header rows recognised by their marker, drawn as
// a grey rule with the title over it; entry rows drawn as usual.

#include <QPainter>
#include <QStandardItemModel>
#include <QtTest>

#include "editor/CIFCategoryCell.h"
#include "editor/CIFImageCategoryCell.h"

using namespace cif;

namespace {

constexpr int kRowHeight = 20;
const QColor kGround(255, 255, 255);

QStandardItem* header(const QString& title) {
    auto* item = new QStandardItem(title);
    item->setData(true, KXSeparatorCell);
    item->setData(QColor(Qt::white), Qt::ForegroundRole);
    item->setData(QColor::fromRgbF(0.4f, 0.4f, 0.4f), Qt::BackgroundRole);
    item->setEnabled(false);
    return item;
}

// One cell drawn by a delegate on white at the given ratio, as the list
// would draw it.
QImage drawCell(QStyledItemDelegate& delegate, const QModelIndex& index, int width, double dpr) {
    QImage image(QSize(width, kRowHeight) * dpr, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(dpr);
    image.fill(kGround);
    QPainter painter(&image);
    QStyleOptionViewItem option;
    option.rect = QRect(0, 0, width, kRowHeight);
    option.state = QStyle::State_Enabled;
    option.palette = QApplication::palette();
    option.font = QApplication::font();
    option.fontMetrics = QFontMetrics(option.font);
    delegate.paint(&painter, option, index);
    return image;
}

// The darkest value in a device row between two device columns.
int darkest(const QImage& image, int row, int from, int to) {
    int value = 255;
    for (int x = from; x < to; ++x)
        value = std::min(value, qGray(image.pixel(x, row)));
    return value;
}

}  // namespace

class CIFCategoryCellTest : public QObject {
    Q_OBJECT

    QStandardItemModel model;

private slots:
    void init() {
        model.clear();
        model.setColumnCount(2);
        QPixmap mark(12, 12);
        mark.fill(Qt::blue);
        auto* entryMark = new QStandardItem;
        entryMark->setData(mark, Qt::DecorationRole);
        model.appendRow({header("Blur"), new QStandardItem});
        model.appendRow({new QStandardItem("Gaussian Blur"), entryMark});
        model.appendRow({header(""), new QStandardItem});
        model.appendRow({new QStandardItem(""), new QStandardItem});
    }

    void headerRowsDrawTheRuleAndTheirTitle() {
        CIFCategoryCell cell;
        for (const double dpr : {1.0, 2.0}) {
            const QImage headerRow = drawCell(cell, model.index(0, 0), 200, dpr);
            const int middle = int(kRowHeight / 2 * dpr);
            const int right = int(200 * dpr);
            // The rule runs to the cell's right end, past the title.
            QVERIFY(darkest(headerRow, middle, right - int(20 * dpr), right) < 220);
            QCOMPARE(darkest(headerRow, 0, 0, right), 255);
            // The title: white glyphs on grey near the start.
            QVERIFY(darkest(headerRow, int(6 * dpr), int(2 * dpr), int(30 * dpr)) < 120);

            // A header without a title, and an empty row: the rule alone.
            for (const int row : {2, 3}) {
                const QImage rule = drawCell(cell, model.index(row, 0), 200, dpr);
                QVERIFY(darkest(rule, middle, int(2 * dpr), right) < 220);
                QCOMPARE(darkest(rule, middle - int(2 * dpr), 0, right), 255);
                QCOMPARE(darkest(rule, int(6 * dpr), 0, right), 255);
                QCOMPARE(darkest(rule, middle, 0, int(2 * dpr)), 255);  // starts at x + 2
            }
        }
        // An entry row is ordinary text: no rule through its middle right end.
        const QImage entry = drawCell(cell, model.index(1, 0), 200, 1);
        QCOMPARE(darkest(entry, kRowHeight / 2, 150, 200), 255);
        QVERIFY(darkest(entry, kRowHeight / 2, 0, 100) < 128);
    }

    void pictureColumnContinuesTheRuleWithoutAMark() {
        CIFImageCategoryCell cell;
        const QImage noMark = drawCell(cell, model.index(0, 1), 40, 1);
        QVERIFY(darkest(noMark, kRowHeight / 2, 0, 38) < 220);
        QCOMPARE(darkest(noMark, kRowHeight / 2, 38, 40), 255);  // ends 2 before the edge
        const QImage marked = drawCell(cell, model.index(1, 1), 40, 1);
        bool blue = false;
        for (int x = 0; x < 40; ++x)
            blue |= marked.pixelColor(x, kRowHeight / 2) == Qt::blue;
        QVERIFY(blue);
    }
};

QTEST_MAIN(CIFCategoryCellTest)
#include "CIFCategoryCellTest.moc"
