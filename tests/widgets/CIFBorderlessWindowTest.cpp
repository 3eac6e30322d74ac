// The borderless window: edge snapping at 11 and 12 points, dragging by the
// body with the screen's rules, Shift and Control, and performClose.

#include <QScreen>
#include <QtTest>

#include "widgets/CIFBorderlessWindow.h"

namespace cif {

class CIFBorderlessWindowTest : public QObject {
    Q_OBJECT

    // A drag step with modifiers, which QTest::mouseMove cannot carry.
    static void dragTo(QWidget& w, QPoint global, Qt::KeyboardModifiers modifiers = {}) {
        const QPointF local = w.mapFromGlobal(QPointF(global));
        QMouseEvent move(QEvent::MouseMove, local, QPointF(global), Qt::NoButton, Qt::LeftButton,
                         modifiers);
        QApplication::sendEvent(&w, &move);
    }

private slots:
    void snapping() {
        const QRect screen(0, 0, 800, 600);
        QRect frame(11, 200, 100, 80);
        QVERIFY(CIFBorderlessWindow::dockWindowFrameToScreenFrame(frame, screen));
        QCOMPARE(frame.topLeft(), QPoint(0, 200));
        frame = QRect(12, 200, 100, 80);
        QVERIFY(!CIFBorderlessWindow::dockWindowFrameToScreenFrame(frame, screen));
        QCOMPARE(frame.x(), 12);
        // Right and bottom edges; the top after the bottom.
        frame = QRect(800 - 100 - 11, 600 - 80 - 11, 100, 80);
        QVERIFY(CIFBorderlessWindow::dockWindowFrameToScreenFrame(frame, screen));
        QCOMPARE(frame.topLeft(), QPoint(700, 520));
        frame = QRect(300, 5, 100, 590);  // bottom 5 from the edge, then top 5
        CIFBorderlessWindow::dockWindowFrameToScreenFrame(frame, screen);
        QCOMPARE(frame.y(), 0);
    }

    void dragging() {
        CIFBorderlessWindow window;
        window.setGeometry(200, 200, 100, 80);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        const QRect screen = window.screen()->availableGeometry();
        QCOMPARE(screen.topLeft(), QPoint(0, 0));
        const QPoint press(210, 210);

        QTest::mousePress(&window, Qt::LeftButton, {}, window.mapFromGlobal(press));
        QVERIFY(window.isDragging());
        dragTo(window, press + QPoint(-189 + 1, 0));  // left edge 12 from the screen's
        QCOMPARE(window.x(), 12);
        dragTo(window, press + QPoint(-189, 0));  // 11: snaps
        QCOMPARE(window.x(), 0);
        dragTo(window, press + QPoint(-189, 0), Qt::ShiftModifier);  // Shift: no snapping
        QCOMPARE(window.x(), 11);
        dragTo(window, press + QPoint(0, -500));  // the top stays on the screen
        QCOMPARE(window.y(), screen.y());
        dragTo(window, press + QPoint(0, 2000), Qt::ShiftModifier);  // 10 points stay visible
        QCOMPARE(window.y(), screen.y() + screen.height() - 10);
        QTest::mouseRelease(&window, Qt::LeftButton, {}, window.mapFromGlobal(press));
        QVERIFY(!window.isDragging());

        // Control-press does not drag, nor does an unmoveable window.
        window.move(200, 200);
        QTest::mousePress(&window, Qt::LeftButton, Qt::ControlModifier, QPoint(10, 10));
        QVERIFY(!window.isDragging());
        QTest::mouseRelease(&window, Qt::LeftButton, Qt::ControlModifier, QPoint(10, 10));
        window.setMoveable(false);
        QTest::mousePress(&window, Qt::LeftButton, {}, QPoint(10, 10));
        dragTo(window, press + QPoint(50, 50));
        QCOMPARE(window.pos(), QPoint(200, 200));
        QTest::mouseRelease(&window, Qt::LeftButton, {}, QPoint(10, 10));
    }

    void performClose() {
        CIFBorderlessWindow window;
        window.show();
        bool answer = false;
        window.setWindowShouldCloseHandler([&](CIFBorderlessWindow*) { return answer; });
        window.performClose();
        QVERIFY(window.isVisible());
        answer = true;
        window.performClose();
        QVERIFY(!window.isVisible());
    }
};

}  // namespace cif

QTEST_MAIN(cif::CIFBorderlessWindowTest)
#include "CIFBorderlessWindowTest.moc"
