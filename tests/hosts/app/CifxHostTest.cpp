// cifx-host end to end: the host loads the bundle through its public
// interface, runs the effect editor on a selection, takes the accepted
// result into the selection only, undoes it and saves a PNG.

#include <QApplication>
#include <QDialog>
#include <QMouseEvent>
#include <QPainter>
#include <QPushButton>
#include <QTableView>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include "HostCanvas.h"
#include "HostWindow.h"

namespace {

QDialog* editorWindow() {
    for (QWidget* w : QApplication::topLevelWidgets())
        if (w->objectName() == QLatin1String("ImageEditor") && w->isVisible())
            return qobject_cast<QDialog*>(w);
    return nullptr;
}

// Picks the entry of the list whose title is `title` and presses Set.
void acceptEffect(const QString& title) {
    QDialog* editor = editorWindow();
    QVERIFY(editor);
    auto* table = editor->findChild<QTableView*>(QStringLiteral("_tableView"));
    QVERIFY(table);
    const QModelIndexList found = table->model()->match(
        table->model()->index(0, 0), Qt::DisplayRole, title, 1, Qt::MatchExactly);
    QVERIFY(!found.isEmpty());
    table->scrollTo(found.first());
    QTest::mouseClick(table->viewport(), Qt::LeftButton, {},
                      table->visualRect(found.first()).center());
    QTest::mouseClick(editor->findChild<QPushButton*>(QStringLiteral("_buttonSet")),
                      Qt::LeftButton);
}

}  // namespace

class CifxHostTest : public QObject {
    Q_OBJECT

private slots:
    void effectOnASelectionThenUndoAndSave() {
        HostWindow window(QStringLiteral(CIF_BINARY_DIR "/CIFEffects.plugin"));
        QVERIFY2(window.plugIn(), qPrintable(window.loadError()));
        QImage image(240, 160, QImage::Format_RGBA8888_Premultiplied);
        image.fill(QColor(40, 120, 200));
        window.setPicture(cif::HostImage::fromQImage(image), QStringLiteral("blue"));
        window.resize(800, 600);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));

        // Drag a selection on the picture.
        HostCanvas* canvas = window.canvas();
        canvas->setZoom(1.0);
        QTest::mousePress(canvas, Qt::LeftButton, {}, QPoint(20, 30));
        QTest::mouseMove(canvas, QPoint(80, 70));
        QTest::mouseMove(canvas, QPoint(120, 90));
        QTest::mouseRelease(canvas, Qt::LeftButton, {}, QPoint(120, 90));
        QCOMPARE(canvas->selection(), QRect(20, 30, 100, 60));

        QTimer::singleShot(0, this, [] { acceptEffect(QStringLiteral("Color Invert")); });
        QVERIFY(window.runEffects());
        const QImage after =
            canvas->picture().rasterize(QSize(240, 160)).convertToFormat(QImage::Format_ARGB32);
        QCOMPARE(after.pixelColor(10, 10), QColor(40, 120, 200));   // outside: kept
        QVERIFY(after.pixelColor(60, 60) != QColor(40, 120, 200));  // inside: inverted
        // Inverted (in linear light): red goes up, blue down.
        QVERIFY(after.pixelColor(60, 60).red() > 200 && after.pixelColor(60, 60).blue() < 200);

        const QString dir = QStringLiteral(CIF_BINARY_DIR "/screenshots");
        QDir().mkpath(dir);
        for (const qreal ratio : {1.0, 2.0}) {
            QPixmap shot(window.size() * ratio);
            shot.setDevicePixelRatio(ratio);
            window.render(&shot);
            shot.save(dir + QStringLiteral("/cifx-host-after-effect@%1x.png").arg(int(ratio)));
        }

        // Cancel changes nothing.
        QTimer::singleShot(0, this, [] {
            QDialog* editor = editorWindow();
            QVERIFY(editor);
            QTest::mouseClick(editor->findChild<QPushButton*>(QStringLiteral("_buttonCancel")),
                              Qt::LeftButton);
        });
        QVERIFY(!window.runEffects());
        QCOMPARE(window.undoDepth(), 1);

        QVERIFY(window.undo());
        QCOMPARE(canvas->picture()
                     .rasterize(QSize(240, 160))
                     .convertToFormat(QImage::Format_ARGB32)
                     .pixelColor(60, 60),
                 QColor(40, 120, 200));
        QVERIFY(!window.undo());

        QTemporaryDir temp;
        const QString path = temp.filePath(QStringLiteral("out.png"));
        QVERIFY(window.savePng(path));
        QCOMPARE(QImage(path).size(), QSize(240, 160));
    }
};

QTEST_MAIN(CifxHostTest)
#include "CifxHostTest.moc"
