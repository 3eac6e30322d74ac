// The colour range slider driven by real mouse and key events: range values,
// key-colour mode, the three kinds of press, Shift-dragging and clamping.

#include <QSignalSpy>
#include <QtTest>

#include "widgets/CCColorSlider.h"

namespace cif {

class CCColorSliderTest : public QObject {
    Q_OBJECT

    // A slider whose ramp is 200 points wide: value v sits at x = 200 v.
    static std::unique_ptr<CCColorSlider> makeSlider() {
        auto slider = std::make_unique<CCColorSlider>(QRect(0, 0, 210, 30));
        slider->show();
        return slider;
    }

private slots:
    void rangeAndKeyColourMode() {
        auto slider = makeSlider();
        QCOMPARE(slider->getRangeMinValue(), 0.0);
        QCOMPARE(slider->getRangeMaxValue(), 1.0);

        // A minimum above the maximum is allowed; the getters still sort.
        slider->setRangeMinValue(0.8);
        slider->setRangeMaxValue(0.3);
        QCOMPARE(slider->getRangeMinValue(), 0.3);
        QCOMPARE(slider->getRangeMaxValue(), 0.8);

        // Key-colour mode puts mark 2 on mark 1 and draws only one mark.
        slider->setRangeMinValue(0.0);
        slider->setRangeMaxValue(1.0);
        const QImage both = slider->grab().toImage();
        slider->setKeyColorSelectionMode(true);
        QVERIFY(slider->isKeyColorSelectionMode());
        QCOMPARE(slider->getRangeMinValue(), 0.0);
        QCOMPARE(slider->getRangeMaxValue(), 0.0);
        const QImage one = slider->grab().toImage();
        const QPoint mark2(205, 28);  // inside mark 2's triangle at x = 200
        QCOMPARE(QColor(both.pixel(mark2)).red(), 255);
        QVERIFY(QColor(one.pixel(mark2)) != QColor(both.pixel(mark2)));
        const QPoint mark1(5, 28);
        QCOMPARE(QColor(one.pixel(mark1)), QColor(both.pixel(mark1)));
    }

    void pressesAndDrags() {
        auto slider = makeSlider();
        QSignalSpy action(slider.get(), &CCColorSlider::valueChanged);
        slider->setRangeMinValue(0.25);  // mark 1 at 50
        slider->setRangeMaxValue(0.75);  // mark 2 at 150

        // Off the marks the nearer one jumps: mark 1 to the press itself
        // (no - 5), mark 2 to the press - 5, and on a tie mark 1 to the press - 5.
        QTest::mouseClick(slider.get(), Qt::LeftButton, {}, QPoint(40, 25));
        QCOMPARE(slider->getRangeMinValue(), 40 / 200.0);
        QTest::mouseClick(slider.get(), Qt::LeftButton, {}, QPoint(120, 25));
        QCOMPARE(slider->getRangeMaxValue(), 115 / 200.0);
        slider->setRangeMinValue(0.25);
        slider->setRangeMaxValue(0.75);
        QTest::mouseClick(slider.get(), Qt::LeftButton, {}, QPoint(100, 25));
        QCOMPARE(slider->getRangeMinValue(), 95 / 200.0);
        QCOMPARE(action.count(), 3);

        // A press inside a mark drags it; drags past the ends clamp.
        slider->setRangeMinValue(0.25);
        QTest::mousePress(slider.get(), Qt::LeftButton, {}, QPoint(155, 25));
        QTest::mouseMove(slider.get(), QPoint(100, 25));
        QCOMPARE(slider->getRangeMaxValue(), 0.5);
        QTest::mouseMove(slider.get(), QPoint(400, 25));
        QCOMPARE(slider->getRangeMaxValue(), 1.0);
        QTest::mouseMove(slider.get(), QPoint(-50, 25));
        QCOMPARE(slider->getRangeMinValue(), 0.0);
        QCOMPARE(slider->getRangeMaxValue(), 0.25);
        QTest::mouseRelease(slider.get(), Qt::LeftButton, {}, QPoint(-50, 25));
        QCOMPARE(slider->cell().trackingMarkNumber(), -1);
        // After the release, moving does nothing.
        QTest::mouseMove(slider.get(), QPoint(150, 25));
        QCOMPARE(slider->getRangeMinValue(), 0.0);

        // With Shift at the press the other mark follows at the same distance.
        slider->setRangeMinValue(0.25);
        slider->setRangeMaxValue(0.75);
        QTest::mousePress(slider.get(), Qt::LeftButton, Qt::ShiftModifier, QPoint(55, 25));
        QTest::mouseMove(slider.get(), QPoint(75, 25));
        QCOMPARE(slider->getRangeMinValue(), 75 / 200.0);
        QCOMPARE(slider->getRangeMaxValue(), 175 / 200.0);
        QTest::mouseMove(slider.get(), QPoint(150, 25));  // mark 2 clamps at the end
        QCOMPARE(slider->getRangeMaxValue(), 1.0);
        QTest::mouseRelease(slider.get(), Qt::LeftButton, {}, QPoint(150, 25));
    }

    void keyboard() {
        auto slider = makeSlider();
        slider->setFocus();
        QTest::keyClick(slider.get(), Qt::Key_Right);
        QCOMPARE(slider->getRangeMinValue(), 0.01);
        QTest::keyClick(slider.get(), Qt::Key_Space);  // now mark 2
        QTest::keyClick(slider.get(), Qt::Key_Home);
        QCOMPARE(slider->getRangeMinValue(), 0.0);
        QCOMPARE(slider->getRangeMaxValue(), 0.01);
        QTest::keyClick(slider.get(), Qt::Key_End);
        QTest::keyClick(slider.get(), Qt::Key_Left, Qt::ShiftModifier);
        QCOMPARE(slider->getRangeMaxValue(), 0.99);
        QVERIFY(!slider->accessibleName().isEmpty());
    }

    void resizingKeepsTheRange() {
        auto slider = makeSlider();
        slider->setRangeMinValue(0.2);
        slider->setRangeMaxValue(0.6);
        slider->resize(410, 30);
        QCOMPARE(slider->cell().gradientRect().width(), 400.0);
        QCOMPARE(slider->getRangeMinValue(), 0.2);
        QCOMPARE(slider->getRangeMaxValue(), 0.6);
    }
};

}  // namespace cif

QTEST_MAIN(cif::CCColorSliderTest)
#include "CCColorSliderTest.moc"
