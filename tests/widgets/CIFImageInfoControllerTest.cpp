// The image size dialog, typed into and clicked while its modal run or sheet
// is open: constrained pixels and percent, units, OK and Cancel with their
// codes and sizes, the thumbnail box, and a missing window description.

#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QLineEdit>
#include <QPushButton>
#include <QtTest>
#include <functional>

#include "widgets/CIFImageInfoController.h"
#include "widgets/WidgetTestBundle.h"

namespace cif {

class CIFImageInfoControllerTest : public QObject {
    Q_OBJECT

    // Runs the modal dialog; `drive` works the open window, then must close it.
    static int runModal(CIFImageInfoController& tool, QSizeF size, bool constrain,
                        const std::function<void(QDialog&)>& drive, bool thumbnail = false,
                        bool disableFit = false) {
        QTimer::singleShot(0, [&] {
            QDialog* window = tool.window();
            QVERIFY(window && window->isVisible());
            drive(*window);
            if (window->isVisible()) window->reject();
        });
        return tool.changeSizeConstrainProportionsMakeThumbnailDisableFitToSize(
            size, constrain, thumbnail, disableFit);
    }
    template <class T>
    static T* child(QDialog& window, const char* name) {
        return window.findChild<T*>(QLatin1String(name));
    }
    static void type(QLineEdit* field, const QString& text) {
        field->clear();
        QTest::keyClicks(field, text);
    }

private slots:
    void constrainedPixelsAndCancel() {
        WidgetTestBundle bundle;
        CIFImageInfoController tool;
        const int code = runModal(tool, QSizeF(400, 300), true, [](QDialog& w) {
            auto* width = child<QLineEdit>(w, "widthTextField");
            auto* height = child<QLineEdit>(w, "heightTextField");
            QCOMPARE(width->text(), QStringLiteral("400"));
            type(width, QStringLiteral("200"));
            QCOMPARE(height->text(), QStringLiteral("150"));
            type(width, QStringLiteral("201"));
            QCOMPARE(height->text(), QStringLiteral("151"));  // ceil(201 / (4/3))
            type(height, QStringLiteral("30"));
            QCOMPARE(width->text(), QStringLiteral("40"));
            QTest::mouseClick(child<QPushButton>(w, "cancelButton"), Qt::LeftButton);
        });
        QCOMPARE(code, 0);
        QCOMPARE(tool.imageSize(), QSizeF(40, 30));  // Cancel still reads the fields
        QVERIFY(tool.isMakeThumbnail());             // it reads the constrain box
    }

    void percentUnitsAndOK() {
        WidgetTestBundle bundle;
        CIFImageInfoController tool;
        const int code = runModal(tool, QSizeF(400, 300), true, [](QDialog& w) {
            auto* width = child<QLineEdit>(w, "widthTextField");
            auto* height = child<QLineEdit>(w, "heightTextField");
            auto* units2 = child<QComboBox>(w, "percentPopUpButton2");
            units2->setFocus();
            QTest::keyClick(units2, Qt::Key_Down);  // percent, in both pop-ups
            QCOMPARE(child<QComboBox>(w, "percentPopUpButton")->currentIndex(), 1);
            QCOMPARE(width->text(), QStringLiteral("100"));
            type(height, QStringLiteral("25"));
            QCOMPARE(width->text(), QStringLiteral("25"));
            type(width, QStringLiteral("50"));
            QCOMPARE(height->text(), QStringLiteral("50"));
            // Back in pixels the fields show the percentages of the real size.
            QTest::keyClick(units2, Qt::Key_Up);
            QCOMPARE(width->text(), QStringLiteral("200"));
            QCOMPARE(height->text(), QStringLiteral("150"));
            QTest::keyClick(units2, Qt::Key_Down);
            QCOMPARE(width->text(), QStringLiteral("50"));
            QTest::mouseClick(child<QPushButton>(w, "okButton"), Qt::LeftButton);
        });
        QCOMPARE(code, 1);
        QCOMPARE(tool.imageSize(), QSizeF(200, 150));
    }

    void unconstrainedAndThumbnailBoxes() {
        WidgetTestBundle bundle;
        CIFImageInfoController tool;
        const int code = runModal(tool, QSizeF(400, 300), false, [](QDialog& w) {
            auto* width = child<QLineEdit>(w, "widthTextField");
            auto* height = child<QLineEdit>(w, "heightTextField");
            auto* constrain = child<QCheckBox>(w, "constrainProportionsButton");
            auto* thumbnail = child<QCheckBox>(w, "makeThumbnailButton");
            QVERIFY(thumbnail->isEnabled());
            type(width, QStringLiteral("123"));
            QCOMPARE(height->text(), QStringLiteral("300"));
            const QPoint box(6, thumbnail->height() / 2);
            QTest::mouseClick(thumbnail, Qt::LeftButton, {}, box);
            QVERIFY(!constrain->isEnabled());
            QTest::mouseClick(thumbnail, Qt::LeftButton, {}, box);
            QVERIFY(constrain->isEnabled());
            QTest::keyClick(&w, Qt::Key_Return);  // the default button is OK
        });
        QCOMPARE(code, 1);
        QCOMPARE(tool.imageSize(), QSizeF(123, 300));
        QVERIFY(!tool.isMakeThumbnail());

        // A thumbnail request disables the constrain box; disableFit the thumbnail box.
        runModal(
            tool, QSizeF(10, 10), true,
            [](QDialog& w) {
                QVERIFY(!child<QCheckBox>(w, "constrainProportionsButton")->isEnabled());
                QVERIFY(!child<QCheckBox>(w, "makeThumbnailButton")->isEnabled());
                QVERIFY(child<QCheckBox>(w, "makeThumbnailButton")->isChecked());
                // Typing changes nothing else while the thumbnail box is on.
                type(child<QLineEdit>(w, "widthTextField"), QStringLiteral("5"));
                QCOMPARE(child<QLineEdit>(w, "heightTextField")->text(), QStringLiteral("10"));
                w.close();  // closing is code 0
            },
            true, true);
    }

    void sheetEndsWithItsCode() {
        WidgetTestBundle bundle;
        CIFImageInfoController tool;
        QWidget host;
        host.show();
        int ended = -1, calls = 0;
        QVERIFY(
            tool.sheetChangeSizeConstrainProportionsMakeThumbnailDisableFitToSizeModalDelegateDidEndSelector(
                QSizeF(640, 480), true, false, false, &host, [&](int code) {
                    ended = code;
                    ++calls;
                }));
        QDialog* window = tool.window();
        QVERIFY(window->isVisible());
        QCOMPARE(window->windowModality(), Qt::WindowModal);
        QCOMPARE(window->parentWidget(), &host);
        type(child<QLineEdit>(*window, "widthTextField"), QStringLiteral("320"));
        QTest::keyClick(window, Qt::Key_Escape);  // Escape is Cancel
        QCOMPARE(ended, 0);
        QCOMPARE(calls, 1);
        QVERIFY(!window->isVisible());
        QCOMPARE(tool.imageSize(), QSizeF(320, 240));

        // Opening again while a sheet is open ends the open one as closed.
        int first = -1, second = -1;
        tool.sheetChangeSizeConstrainProportionsMakeThumbnailDisableFitToSizeModalDelegateDidEndSelector(
            QSizeF(10, 10), false, false, false, &host, [&](int code) { first = code; });
        tool.sheetChangeSizeConstrainProportionsMakeThumbnailDisableFitToSizeModalDelegateDidEndSelector(
            QSizeF(10, 10), false, false, false, &host, [&](int code) { second = code; });
        QCOMPARE(first, 0);
        QCOMPARE(second, -1);
        QTest::mouseClick(child<QPushButton>(*tool.window(), "okButton"), Qt::LeftButton);
        QCOMPARE(second, 1);
        QCOMPARE(first, 0);
    }

    void missingDescription() {
        WidgetTestBundle emptyBundle(false);
        CIFImageInfoController tool;
        QTest::ignoreMessage(QtWarningMsg, "Failed to load ImageInfoTool.nib");
        QCOMPARE(tool.changeSizeConstrainProportionsMakeThumbnailDisableFitToSize(
                     QSizeF(400, 300), true, false, false),
                 0);
        QTest::ignoreMessage(QtWarningMsg, "Failed to load ImageInfoTool.nib");
        QVERIFY(
            !tool.sheetChangeSizeConstrainProportionsMakeThumbnailDisableFitToSizeModalDelegateDidEndSelector(
                QSizeF(400, 300), true, false, false, nullptr, [](int) {}));
        QVERIFY(!tool.window());
        QCOMPARE(tool.imageSize(), QSizeF(0, 0));
        QCOMPARE(CIFImageInfoController::sharedImageInfoTool(),
                 CIFImageInfoController::sharedImageInfoTool());
    }
};

}  // namespace cif

QTEST_MAIN(cif::CIFImageInfoControllerTest)
#include "CIFImageInfoControllerTest.moc"
