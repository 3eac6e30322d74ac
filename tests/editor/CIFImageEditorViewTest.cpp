// The picture view driven by real mouse and wheel events inside a scroll
// area, with a fake editor that records what the view tells it.

#include <QDir>
#include <QPainter>
#include <QScrollArea>
#include <QScrollBar>
#include <QWheelEvent>
#include <QtTest>
#include <cstdlib>

#include "editor/CIFImageEditorView.h"

using namespace cif;

namespace {

class FakeEditor final : public CIFImageEditorViewDelegate {
public:
    void selectionDidChange(CIFImageEditorView*) override { ++selectionChanges; }
    void scrollWheelDidChange(double scale) override { wheelScales << scale; }
    void setCenterPoint(const QPointF& point) override { centers << point; }
    void applyPicture(CIFImageEditorView*) override { ++renders; }
    QCursor cursorFromType(int type) override {
        cursorTypes << type;
        return QCursor(Qt::ArrowCursor);
    }
    int editMode() const override { return mode; }
    int pointingMode() const override { return 11; }
    QString filterName() const override { return name; }
    void initRandomSeedWithValue(quint32 seed) override {
        seeds << seed;
        std::srand(seed);
    }
    void applyFilterWithAttributes(const QString& n, const QVariantMap& attributes) override {
        // What a generator would draw from: the first number of the sequence.
        runs << QStringLiteral("%1 %2 %3")
                    .arg(n)
                    .arg(attributes.value(QStringLiteral("GLIFRandomSeed")).toUInt())
                    .arg(std::rand());
    }

    int mode = 0;
    QString name;
    int selectionChanges = 0;
    int renders = 0;
    QList<double> wheelScales;
    QList<QPointF> centers;
    QList<int> cursorTypes;
    QList<quint32> seeds;
    QStringList runs;
};

QImage testPicture(int width, int height) {
    QImage image(width, height, QImage::Format_ARGB32_Premultiplied);
    QPainter p(&image);
    // A checkerboard of 1-pixel cells in the bottom-left corner and two
    // flat halves elsewhere, so zoom and position show in the pixels.
    p.fillRect(0, 0, width / 2, height, QColor(40, 120, 200));
    p.fillRect(width / 2, 0, width - width / 2, height, QColor(230, 180, 40));
    for (int y = height - 8; y < height; ++y)
        for (int x = 0; x < 8; ++x)
            image.setPixelColor(x, y, (x + y) % 2 ? Qt::white : Qt::red);
    return image;
}

void sendWheel(QWidget* widget, int deltaY) {
    const QPointF at(widget->width() / 2.0, widget->height() / 2.0);
    QWheelEvent wheel(at, widget->mapToGlobal(at), QPoint(), QPoint(0, deltaY), Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(widget, &wheel);
}

}  // namespace

class CIFImageEditorViewTest : public QObject {
    Q_OBJECT

    FakeEditor* editor = nullptr;
    QScrollArea* area = nullptr;
    CIFImageEditorView* view = nullptr;

    QPoint at(double x, double y) const { return view->widgetFromPicture({x, y}).toPoint(); }
    void drag(QPointF from, QPointF to) {
        QTest::mousePress(view, Qt::LeftButton, {}, at(from.x(), from.y()));
        const QPointF middle = (from + to) / 2;
        QTest::mouseMove(view, at(middle.x(), middle.y()));
        QTest::mouseMove(view, at(to.x(), to.y()));
        QTest::mouseRelease(view, Qt::LeftButton, {}, at(to.x(), to.y()));
    }
    static bool near(const QRectF& a, const QRectF& b, double slack = 1.0) {
        return std::abs(a.x() - b.x()) <= slack && std::abs(a.y() - b.y()) <= slack &&
               std::abs(a.width() - b.width()) <= slack &&
               std::abs(a.height() - b.height()) <= slack;
    }

private slots:
    void init() {
        editor = new FakeEditor;
        area = new QScrollArea;
        area->setWidgetResizable(false);
        area->resize(420, 320);
        view = new CIFImageEditorView;
        view->setEditorController(editor);
        area->setWidget(view);
        view->setPicture(HostImage::fromQImage(testPicture(200, 100)));
        area->show();
        QVERIFY(QTest::qWaitForWindowExposed(area));
        view->setScaleFactor(1.0);
    }
    void cleanup() {
        delete area;
        delete editor;
    }

    void drawnSelectionsAreNormalisedAndClamped() {
        // Up and to the left of the start: stored flipped, answered positive.
        drag({150, 30}, {50, 80});
        QVERIFY(view->isSelected());
        QVERIFY(view->isSelectionHFlipped());
        QVERIFY(!view->isSelectionVFlipped());
        QVERIFY(near(view->getSelection(), QRectF(50, 30, 100, 50)));
        // Towards the picture's origin: flipped both ways.
        drag({180, 90}, {60, 20});
        QVERIFY(view->isSelectionHFlipped() && view->isSelectionVFlipped());
        QVERIFY(near(view->getSelection(), QRectF(60, 20, 120, 70)));
        QVERIFY(editor->selectionChanges >= 2);

        // Past the right and top edges: the point stops at the picture.
        drag({10, 10}, {600, 400});
        QVERIFY(near(view->getSelection(), QRectF(10, 10, 190, 90)));

        // A stored selection beyond the picture is shifted back, size kept;
        // a negative origin becomes 0.
        view->setSelection(QRectF(180, 90, 40, 30));
        QCOMPARE(view->getSelection(), QRectF(160, 70, 40, 30));
        view->setSelection(QRectF(-5, 20, -10, 10));
        QCOMPARE(view->getSelection(), QRectF(0, 20, 10, 10));

        // A click outside the selection drops it.
        QTest::mouseClick(view, Qt::LeftButton, {}, at(195, 95));
        QVERIFY(!view->isSelected());
        QCOMPARE(view->getSelection().size(), QSizeF(0, 0));
    }

    void selectionsMoveAndResizeByTheirHandles() {
        drag({40, 20}, {120, 70});
        QVERIFY(near(view->getSelection(), QRectF(40, 20, 80, 50)));
        // Inside: moved whole; past the edge it is kept inside on release.
        drag({80, 45}, {200, 45});
        QVERIFY(near(view->getSelection(), QRectF(120, 20, 80, 50)));
        // The right edge.
        drag({200, 45}, {180, 45});
        QVERIFY(near(view->getSelection(), QRectF(120, 20, 60, 50)));
        // The top-right corner (top is the larger y).
        drag({180, 70}, {190, 90});
        QVERIFY(near(view->getSelection(), QRectF(120, 20, 70, 70)));

        // A flipped selection: its visual left edge is its stored right side.
        QTest::mouseClick(view, Qt::LeftButton, {}, at(10, 95));
        QVERIFY(!view->isSelected());
        drag({150, 30}, {50, 70});
        QVERIFY(view->isSelectionHFlipped());
        drag({50, 50}, {30, 50});
        QVERIFY(near(view->getSelection(), QRectF(30, 30, 120, 40)));
        QVERIFY(!view->isSelectionHFlipped());
    }

    void zoomIsClampedAndSteppedByTheWheel() {
        view->setScaleFactor(0.001);
        QCOMPARE(view->getScaleFactor(), 0.02);
        view->setScaleFactor(500);
        QCOMPARE(view->getScaleFactor(), 80.0);

        view->setScaleFactor(1.0);
        sendWheel(view, 120);
        QCOMPARE(view->getScaleFactor(), 1.025);
        view->setScaleFactor(1.2);
        sendWheel(view, 120);
        QCOMPARE(view->getScaleFactor(), 1.4);
        sendWheel(view, -120);
        sendWheel(view, -120);
        QVERIFY(qFuzzyCompare(view->getScaleFactor(), 1.0));
        QCOMPARE(editor->wheelScales.size(), 4);
        QCOMPARE(editor->wheelScales.last(), view->getScaleFactor());

        // The frame is the scaled picture, at least the content area.
        view->setScaleFactor(4);
        QCOMPARE(view->size(), QSize(800, 400));
        view->setScaleFactor(0.5);
        QCOMPARE(view->size(), view->contentSize().toSize());
    }

    void rightClickZoomsToTheSelectionAndBack() {
        QTest::mouseClick(view, Qt::RightButton, {}, at(100, 50));
        QCOMPARE(view->getScaleFactor(), 1.0);  // nothing selected: nothing happens
        drag({20, 10}, {70, 50});
        view->setScaleFactor(1.5);
        const QSizeF content = view->contentSize();
        const double expected =
            std::min(content.width() / (50 * 1.2), content.height() / (40 * 1.2));
        QTest::mouseClick(view, Qt::RightButton, {}, at(40, 30));
        QCOMPARE(view->getScaleFactor(), expected);
        // The selection's centre is in the middle of the visible area.
        const QPoint centre = at(45, 30) - QPoint(area->horizontalScrollBar()->value(),
                                                  area->verticalScrollBar()->value());
        QVERIFY((centre - area->viewport()->rect().center()).manhattanLength() <= 4);
        QTest::mouseClick(view, Qt::RightButton, {}, at(45, 30));
        QCOMPARE(view->getScaleFactor(), 1.5);
        QCOMPARE(editor->wheelScales, (QList<double>{expected, 1.5}));
    }

    void pressesFollowTheEditorsMode() {
        // A generator is current: the picture is not a place to point at.
        editor->name = QStringLiteral("GLIF_Plasma");
        drag({20, 20}, {80, 80});
        QVERIFY(!view->isSelected());
        QCOMPARE(editor->selectionChanges, 0);
        QCOMPARE(editor->renders, 0);

        // Point mode: a press renders, a drag moves the effect's centre.
        editor->name = QStringLiteral("CIFSobel");
        editor->mode = 1;
        QTest::mousePress(view, Qt::LeftButton, {}, at(30, 40));
        QCOMPARE(editor->renders, 1);
        QVERIFY((view->pickPoint() - QPointF(30, 40)).manhattanLength() <= 1);
        QTest::mouseMove(view, at(60, 70));
        QCOMPARE(editor->centers.size(), 1);
        QVERIFY((editor->centers.first() - QPointF(60, 70)).manhattanLength() <= 1);
        QCOMPARE(editor->renders, 2);
        QTest::mouseRelease(view, Qt::LeftButton, {}, at(60, 70));
        QVERIFY(!view->isSelected());
        // Moves without a button only change the cursor: the pointing mode's.
        QTest::mouseMove(view, at(10, 10));
        QCOMPARE(editor->cursorTypes.last(), 11);
        QCOMPARE(editor->renders, 2);
    }

    void cursorsFollowTheSelectionsRegions() {
        drag({40, 20}, {120, 70});
        QCOMPARE(view->cursorTypeAtPoint({80, 45}), 8);   // inside: hand
        QCOMPARE(view->cursorTypeAtPoint({40, 45}), 0);   // left edge
        QCOMPARE(view->cursorTypeAtPoint({80, 70}), 1);   // top edge
        QCOMPARE(view->cursorTypeAtPoint({40, 70}), 2);   // top-left
        QCOMPARE(view->cursorTypeAtPoint({120, 70}), 3);  // top-right
        QCOMPARE(view->cursorTypeAtPoint({180, 90}), 7);  // outside
    }

    void generatorRunsUndoAndRedoWithTheirSeeds() {
        const auto attributes = [](quint32 seed) {
            return QVariantMap{{QStringLiteral("GLIFRandomSeed"), seed},
                               {QStringLiteral("GLIFSize"), 12}};
        };
        // Without an earlier run there is nothing to undo.
        view->setGeneratorWithAttrOldGeneratorWithAttr("GLIF_Foam", attributes(7), {}, {});
        QVERIFY(!view->undoManager()->canUndo());
        view->setGeneratorWithAttrOldGeneratorWithAttr("GLIF_Foam", attributes(11), "GLIF_Foam",
                                                       attributes(7));
        view->setGeneratorWithAttrOldGeneratorWithAttr("GLIF_Plasma", attributes(12), "GLIF_Foam",
                                                       attributes(11));
        const QStringList forward = editor->runs;
        QCOMPARE(forward.size(), 3);
        QCOMPARE(view->undoManager()->count(), 2);

        view->undoManager()->undo();
        view->undoManager()->undo();
        QVERIFY(!view->undoManager()->canUndo());
        view->undoManager()->redo();
        view->undoManager()->redo();
        QVERIFY(!view->undoManager()->canRedo());
        // Each replay draws exactly what the run it replays drew.
        QCOMPARE(editor->runs.mid(3),
                 (QStringList{forward[1], forward[0], forward[1], forward[2]}));
        QCOMPARE(editor->seeds, (QList<quint32>{7, 11, 12, 11, 7, 11, 12}));
    }

    void drawsThePictureTheSelectionAndTheFrame() {
        drag({20, 10}, {100, 60});
        QDir().mkpath(CIF_BINARY_DIR "/screenshots");
        for (const double dpr : {1.0, 2.0}) {
            for (const double scale : {1.0, 4.0}) {
                view->setScaleFactor(scale);
                QImage shot(view->size() * dpr, QImage::Format_ARGB32_Premultiplied);
                shot.setDevicePixelRatio(dpr);
                view->render(&shot);
                QVERIFY(shot.save(
                    QStringLiteral(CIF_BINARY_DIR "/screenshots/picture-view-x%1-dpr%2.png")
                        .arg(scale)
                        .arg(dpr)));
            }
        }
        // Pixels are checked at the plain ratio below.
        view->setScaleFactor(1.0);
        const QImage shot = view->grab().toImage();
        const auto pixel = [&](double x, double y) {
            const QPoint p = at(x, y);
            return shot.pixelColor(p);
        };
        // Inside the selection the picture as it is; outside it dimmed.
        QCOMPARE(pixel(50, 30), QColor(40, 120, 200));
        const QColor dimmed = pixel(50, 80);
        QVERIFY(dimmed.blue() < 200 && dimmed.blue() > 60);
        QVERIFY(pixel(150, 80).red() < 230);
        // The black frame just outside the picture's left edge.
        const QPoint edge = at(0, 50) - QPoint(1, 0);
        QCOMPARE(shot.pixelColor(edge), QColor(Qt::black));
    }

    void zoomedInPixelsStayVisibleAndZoomedOutColoursHold() {
        // Reduced through successive halvings: flat areas keep their colour.
        for (const double scale : {0.5, 0.25, 0.1}) {
            view->setScaleFactor(scale);
            const QImage shot = view->grab().toImage();
            const QColor left = shot.pixelColor(at(50, 50)), right = shot.pixelColor(at(150, 50));
            QVERIFY(std::abs(left.blue() - 200) <= 2 && std::abs(left.red() - 40) <= 2);
            QVERIFY(std::abs(right.red() - 230) <= 2 && std::abs(right.blue() - 40) <= 2);
        }

        view->setScaleFactor(8);
        const QImage shot = view->grab(QRect(at(0, 8), QSize(64, 64))).toImage();
        // Each picture pixel is an 8 x 8 block of one colour.
        QCOMPARE(shot.pixelColor(1, 1), shot.pixelColor(6, 6));
        QVERIFY(shot.pixelColor(1, 1) != shot.pixelColor(9, 1));
        QCOMPARE(shot.pixelColor(1, 1), shot.pixelColor(17, 1));
    }
};

QTEST_MAIN(CIFImageEditorViewTest)
#include "CIFImageEditorViewTest.moc"
