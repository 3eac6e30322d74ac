// The image grid: layout, selection with wrapping and its notifications, the
// delegate's veto, mouse, keyboard and hover, and the scroll-view height.

#include <QScrollArea>
#include <QSignalSpy>
#include <QtTest>

#include "widgets/CIFImageGridView.h"

namespace cif {

class CIFImageGridViewTest : public QObject {
    Q_OBJECT

    struct Recorder {
        int count = 10;
        int changing = 0, changed = 0, deletes = 0, hovered = -2;
        int refuse = -1;
        CIFImageGridViewDelegate delegate() {
            QImage pixels(30, 30, QImage::Format_ARGB32_Premultiplied);
            pixels.fill(Qt::darkCyan);
            const HostImage picture = HostImage::fromQImage(pixels);
            CIFImageGridViewDelegate d;
            d.numberOfImagesInImageGridView = [this](CIFImageGridView*) { return count; };
            d.imageGridViewImageAtIndex = [picture](CIFImageGridView*, int) { return picture; };
            d.imageGridViewShouldSelectIndex = [this](CIFImageGridView*, int i) {
                return i != refuse;
            };
            d.imageGridViewSelectionIsChanging = [this](const CIFNotification& n) {
                QCOMPARE(n.name, QStringLiteral("CIFImageGridViewSelectionIsChangingNotification"));
                ++changing;
            };
            d.imageGridViewSelectionDidChange = [this](const CIFNotification& n) {
                QCOMPARE(n.name, QStringLiteral("CIFImageGridViewSelectionDidChangeNotification"));
                ++changed;
            };
            d.imageGridViewDeleteSelectedImage = [this](CIFImageGridView*) { ++deletes; };
            d.imageGridViewCursorIsHoveringImageAtIndex = [this](CIFImageGridView*, int i) {
                hovered = i;
            };
            return d;
        }
    };

private slots:
    void layout() {
        Recorder recorder;
        CIFImageGridView grid;
        grid.setDelegate(recorder.delegate());
        grid.setFrame(QRect(5, 7, 200, 10));
        QCOMPARE(grid.columns(), 6);
        QCOMPARE(grid.padding(), QSizeF(3, 3));  // round(20 / 7)
        QCOMPARE(grid.geometry(), QRect(5, 7, 200, 2 * 33 + 3));
        QCOMPARE(grid.rectForImageAtIndex(7), QRectF(36, 36, 30, 30));
        QCOMPARE(grid.imageIndexAtPoint(QPointF(40, 40)), 7);
        QCOMPARE(grid.imageIndexAtPoint(QPointF(34, 40)), -1);  // in a gap

        recorder.count = 13;
        grid.reloadData();
        QCOMPARE(grid.height(), 3 * 33 + 3);
        grid.setImageSize(QSizeF(60, 40));
        QCOMPARE(grid.columns(), 3);
        QCOMPARE(grid.padding(), QSizeF(5, 5));  // round(20 / 4)
        grid.show();
        grid.resize(400, grid.height());  // a new width lays out again
        QCOMPARE(grid.columns(), 6);

        // Inside a scroll view the grid is at least as tall as the viewport.
        QScrollArea area;
        area.resize(240, 300);
        auto* inner = new CIFImageGridView;
        inner->setDelegate(recorder.delegate());
        area.setWidget(inner);
        area.show();
        inner->setFrame(QRect(0, 0, 200, 10));
        QCOMPARE(inner->height(), area.viewport()->height());

        // A delegate lacking a required operation is refused.
        CIFImageGridViewDelegate partial = recorder.delegate();
        partial.imageGridViewImageAtIndex = nullptr;
        QTest::ignoreMessage(
            QtWarningMsg, "Invalid parameter not satisfying: delegate.imageGridViewImageAtIndex");
        grid.setDelegate(partial);
        QVERIFY(grid.delegate().imageGridViewImageAtIndex);
    }

    void selectionWrapsAndNotifies() {
        Recorder recorder;
        CIFImageGridView grid;
        grid.setDelegate(recorder.delegate());
        grid.setFrame(QRect(0, 0, 200, 10));
        QSignalSpy didChange(&grid, &CIFImageGridView::selectionDidChange);

        grid.selectIndex(-1);
        QCOMPARE(grid.selectedIndex(), 9);
        grid.selectIndex(10);
        QCOMPARE(grid.selectedIndex(), 0);
        grid.selectIndex(0);  // already selected: nothing posted
        QCOMPARE(recorder.changing, 2);
        QCOMPARE(recorder.changed, 2);
        QCOMPARE(didChange.count(), 2);

        grid.moveUp();  // 0 - 6 wraps to 4
        QCOMPARE(grid.selectedIndex(), 4);
        recorder.refuse = 5;
        grid.moveRight();
        QCOMPARE(grid.selectedIndex(), 4);
        grid.selectIndex(29);  // 29 - 10 - 10 = 9
        QCOMPARE(grid.selectedIndex(), 9);
        grid.moveRight();
        QCOMPARE(grid.selectedIndex(), 0);
        grid.selectRelativeIndex(0);
        QCOMPARE(recorder.changed, 5);

        recorder.count = 0;  // an empty grid selects nothing and does not hang
        grid.selectIndex(-1);
        QCOMPARE(grid.selectedIndex(), 0);
    }

    void mouseKeyboardAndHover() {
        Recorder recorder;
        CIFImageGridView grid;
        grid.setDelegate(recorder.delegate());
        grid.setFrame(QRect(0, 0, 200, 10));
        grid.show();
        QVERIFY(QTest::qWaitForWindowExposed(&grid));

        QTest::mouseClick(&grid, Qt::LeftButton, {}, QPoint(50, 50));
        QCOMPARE(grid.selectedIndex(), 7);
        QTest::mouseClick(&grid, Qt::LeftButton, {}, QPoint(34, 50));  // a gap: no change
        QCOMPARE(grid.selectedIndex(), 7);

        grid.setFocus();
        QTest::keyClick(&grid, Qt::Key_Right);
        QCOMPARE(grid.selectedIndex(), 8);
        QTest::keyClick(&grid, Qt::Key_Down);  // 14 wraps to 4
        QCOMPARE(grid.selectedIndex(), 4);
        QTest::keyClick(&grid, Qt::Key_Left);
        QCOMPARE(grid.selectedIndex(), 3);
        QTest::keyClick(&grid, Qt::Key_Backspace);
        QTest::keyClick(&grid, Qt::Key_Delete);
        QCOMPARE(recorder.deletes, 2);

        QTest::mouseMove(&grid, QPoint(80, 10));
        QCOMPARE(grid.hoveredIndex(), 2);
        QCOMPARE(recorder.hovered, 2);
        QTest::mouseMove(&grid, QPoint(80, 60));
        QCOMPARE(grid.hoveredIndex(), 8);
        QEvent leave(QEvent::Leave);
        QApplication::sendEvent(&grid, &leave);
        QCOMPARE(grid.hoveredIndex(), -1);
        QCOMPARE(recorder.hovered, -1);
    }
};

}  // namespace cif

QTEST_MAIN(cif::CIFImageGridViewTest)
#include "CIFImageGridViewTest.moc"
