// The image well and its pop-up picker: data source caches and thumbnails,
// delivery (data preferred), the size limit on drops, paste and the open
// panel, copy/cut/delete, the promised PNG file that never overwrites, and
// the pop-up's placement, grid choice, menu geometry, fading and closing.

#include <QClipboard>
#include <QFileDialog>
#include <QMimeData>
#include <QPainter>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include "widgets/CIFImageGridView.h"
#include "widgets/CIFMenuItemView.h"
#include "widgets/CIFPopUpImageView.h"
#include "widgets/WidgetTestBundle.h"

namespace cif {

class CIFPopUpImageViewTest : public QObject {
    Q_OBJECT

    static HostImage bitmap(int w, int h, QColor color = Qt::darkGreen) {
        QImage pixels(w, h, QImage::Format_ARGB32_Premultiplied);
        pixels.fill(color);
        return HostImage::fromQImage(pixels);
    }
    static QString writePng(const QTemporaryDir& dir, const QString& name, int w, int h) {
        const QString path = dir.filePath(name);
        QFile file(path);
        file.open(QIODevice::WriteOnly);
        file.write(bitmap(w, h).PNGRepresentation());
        return path;
    }
    static QByteArray bytesOf(const QString& path) {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    static void dropFile(QWidget* target, const QString& path) {
        QMimeData mime;
        mime.setUrls({QUrl::fromLocalFile(path)});
        QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, &mime, Qt::LeftButton, {});
        QApplication::sendEvent(target, &enter);
        QVERIFY(enter.isAccepted());
        QDropEvent drop(QPointF(5, 5), Qt::CopyAction, &mime, Qt::LeftButton, {});
        QApplication::sendEvent(target, &drop);
    }

    // What a delegate was given.
    struct Received {
        QByteArray data;
        HostImage image;
        int deletes = 0;
    };
    static CIFPopUpImageViewDelegate dataDelegate(Received& r) {
        CIFPopUpImageViewDelegate d;
        d.imageViewWithImagePickerDidChangeToImageData =
            [&r](CIFPopUpImageView*, const QByteArray& data) { r.data = data; };
        d.imageViewWithImagePickerDidChangeToImage = [&r](CIFPopUpImageView*, const HostImage& i) {
            r.image = i;
        };
        d.deleteInImageViewWithImagePicker = [&r](CIFPopUpImageView*) { ++r.deletes; };
        return d;
    }

private slots:
    void dataSourceAndThumbnails() {
        CIFPopUpImageView well;
        QCOMPARE(well.imagesCount(), 0);
        int asked = 0;
        const HostImage drawing = HostImage::recordDrawing(
            QSizeF(80, 40), [](QPainter& p) { p.fillRect(QRectF(0, 0, 80, 40), Qt::blue); });
        well.setDataSourceWithNamesSelectorImageForNameSelector(
            [] {
                return QStringList{"wide", "tall", "drawing"};
            },
            [&](const QString& name) {
                ++asked;
                return name == "wide" ? bitmap(60, 30) : name == "tall" ? bitmap(10, 40) : drawing;
            });
        QCOMPARE(well.imagesCount(), 3);
        QCOMPARE(well.fullImages().size(), 3);
        well.fullImages();
        QCOMPARE(asked, 3);  // cached
        const QList<HostImage> small = well.smallImages();
        QCOMPARE(small[0].size(), QSizeF(30, 15));
        QVERIFY(small[0].pixelsWide() >= 60);  // sharp at device-pixel ratio 2
        QCOMPARE(small[1].size(), QSizeF(7.5, 30));
        QVERIFY(small[2].isVector());
        well.setType(QStringLiteral("Gradient"));
        QCOMPARE(well.smallImages()[0].size(), QSizeF(30, 30));
        QCOMPARE(asked, 3);
    }

    void dropsPasteAndDelivery() {
        QTemporaryDir dir;
        Received got;
        CIFPopUpImageView well;
        well.setDelegate(dataDelegate(got));
        well.setMaxSize(QSizeF(256, 256));

        // Too large: scaled, shown and delivered as PNG at 256 x 128.
        dropFile(&well, writePng(dir, "big.png", 1000, 500));
        QCOMPARE(well.image().size(), QSizeF(256, 128));
        QCOMPARE(QImage::fromData(got.data).size(), QSize(256, 128));
        QVERIFY(got.image.isNull());  // data is preferred

        // Within the limit: the file's own bytes.
        const QString small = writePng(dir, "small.png", 100, 50);
        dropFile(&well, small);
        QCOMPARE(got.data, bytesOf(small));
        QCOMPARE(well.image().size(), QSizeF(100, 50));

        // A delegate without the data operation gets the picture.
        Received pictureOnly;
        CIFPopUpImageViewDelegate d;
        d.imageViewWithImagePickerDidChangeToImage = [&](CIFPopUpImageView*, const HostImage& i) {
            pictureOnly.image = i;
        };
        well.setDelegate(d);
        dropFile(&well, small);
        QCOMPARE(pictureOnly.image.size(), QSizeF(100, 50));

        // Copy puts TIFF on the pasteboard; paste into another well scales to its limit.
        well.setImage(bitmap(600, 300, Qt::red));
        well.setFocus();
        QTest::keyClick(&well, Qt::Key_C, Qt::ControlModifier);
        QVERIFY(QGuiApplication::clipboard()->mimeData()->hasFormat("image/tiff"));
        Received pasted;
        CIFPopUpImageView other;
        other.setDelegate(dataDelegate(pasted));
        other.setMaxSize(QSizeF(0, 100));  // only the height is limited
        other.show();
        other.setFocus();
        QTest::keyClick(&other, Qt::Key_V, Qt::ControlModifier);
        QCOMPARE(other.image().size(), QSizeF(200, 100));
        QCOMPARE(QImage::fromData(pasted.data).size(), QSize(200, 100));
        QCOMPARE(QColor(QImage::fromData(pasted.data).pixel(100, 50)), QColor(Qt::red));

        // Cut is copy then delete; delete is the delegate's.
        other.cut();
        QTest::keyClick(&other, Qt::Key_Delete);
        QCOMPARE(pasted.deletes, 2);
        QVERIFY(!other.image().isNull());
    }

    void openPanel() {
        QTemporaryDir dir;
        const QString path = writePng(dir, "chosen.png", 40, 20);
        Received got;
        CIFPopUpImageView well;
        well.setDelegate(dataDelegate(got));
        QString title;
        QTimer::singleShot(0, [&] {
            auto* panel = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
            QVERIFY(panel);
            title = panel->windowTitle();
            panel->selectFile(path);
            QMetaObject::invokeMethod(panel, "accept");
        });
        well.showPictureTaker();
        QCOMPARE(title, QStringLiteral("Select Image"));
        QCOMPARE(well.image().size(), QSizeF(40, 20));
        QCOMPARE(got.data, bytesOf(path));
    }

    void promisedFileNeverOverwrites() {
        QTemporaryDir dir;
        const QByteArray existing("not a picture");
        QFile old(dir.filePath("Picture.png"));
        QVERIFY(old.open(QIODevice::WriteOnly));
        old.write(existing);
        old.close();

        CIFPopUpImageView well;
        QVERIFY(well.namesOfPromisedFilesDroppedAtDestination(dir.path()).isEmpty());  // no picture
        well.setImage(bitmap(12, 8));
        QCOMPARE(well.namesOfPromisedFilesDroppedAtDestination(dir.path()),
                 QStringList{"Picture-1.png"});
        QCOMPARE(bytesOf(dir.filePath("Picture.png")), existing);
        QCOMPARE(QImage(dir.filePath("Picture-1.png")).size(), QSize(12, 8));
        QCOMPARE(well.namesOfPromisedFilesDroppedAtDestination(dir.path()),
                 QStringList{"Picture-2.png"});

        CIFPopUpImageViewDelegate named;
        named.fileNameForImageInImagePicker = [](CIFPopUpImageView*) { return QString("Fish"); };
        well.setDelegate(named);
        QCOMPARE(well.namesOfPromisedFilesDroppedAtDestination(dir.path()),
                 QStringList{"Fish.png"});
        // Only the pictures are left behind, no temporary files.
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden).size(), 4);
    }

    void popUpPlacementChoiceAndFade() {
        WidgetTestBundle bundle;
        QWidget host;
        host.setGeometry(0, 100, 300, 200);
        auto* well = new CIFPopUpImageView(&host);
        well->setGeometry(5, 5, 40, 40);
        well->setTitle(QStringLiteral("Textures"));
        const QList<HostImage> pictures{bitmap(64, 64, Qt::red), bitmap(64, 64, Qt::blue),
                                        bitmap(64, 64, Qt::yellow)};
        well->setDataSourceWithNamesSelectorImageForNameSelector(
            [] {
                return QStringList{"r", "b", "y"};
            },
            [&](const QString& n) {
                return pictures[n == "r" ? 0 : n == "b" ? 1 : 2];
            });
        Received got;
        well->setDelegate(dataDelegate(got));
        QSignalSpy activated(well, &CIFPopUpImageView::activated);
        host.show();
        QVERIFY(QTest::qWaitForWindowExposed(&host));

        QTest::mouseClick(well, Qt::LeftButton);
        CIFPopUpImageController* popUp = well->popUpController();
        QVERIFY(popUp);
        CIFBorderlessWindow* window = popUp->window();
        QVERIFY(window->isVisible());
        QVERIFY(!window->isMoveable());
        QCOMPARE(well->maxSize(), QSizeF(256, 256));
        // At the screen's left edge the pop-up is moved right to x = 0; its
        // top is at the well's bottom.
        QCOMPARE(window->pos(), QPoint(0, well->mapToGlobal(QPoint(0, 40)).y()));
        const QRect screen = window->screen()->availableGeometry();
        popUp->positionFromPoint(QPoint(screen.right() + 50, screen.bottom()));
        QCOMPARE(window->x() + window->width(), screen.x() + screen.width());
        QCOMPARE(window->y() + window->height(), screen.y() + screen.height());

        // The commands: four rows (a separator among them) at a pitch of 19;
        // the gap above a row belongs to it.
        CIFMenuItemView* menu = popUp->menuItemView();
        QCOMPARE(menu->height(), 19 * 4 - 2);
        QCOMPARE(menu->indexOfItemAtPoint(QPointF(10, 17)), 0);
        QCOMPARE(menu->indexOfItemAtPoint(QPointF(10, 18)), 1);
        QCOMPARE(menu->indexOfItemAtPoint(QPointF(10, 73)), 3);
        QCOMPARE(menu->indexOfItemAtPoint(QPointF(10, 75)), -1);

        // Choosing a thumbnail hands its full picture to the well and fades out.
        CIFImageGridView* grid = popUp->imageGridView();
        QCOMPARE(grid->numberOfImages(), 3);
        QTest::mouseClick(grid, Qt::LeftButton, {},
                          grid->rectForImageAtIndex(1).center().toPoint());
        QVERIFY(well->image().isSameObject(pictures[1]));
        QVERIFY(well->activeRecentPicture().isSameObject(pictures[1]));
        QCOMPARE(QImage::fromData(got.data).pixel(3, 3), QColor(Qt::blue).rgb());
        QCOMPARE(activated.count(), 1);
        QVERIFY(popUp->isFading());
        QTRY_VERIFY(window->windowOpacity() < 1.0);
        QTRY_VERIFY(!window->isVisible());
        QTRY_VERIFY(!well->popUpController());

        // A press on a command runs it: Paste takes the pasteboard's picture
        // within the well's limit and closes the pop-up.
        QTest::keyClick(well, Qt::Key_Space);
        QVERIFY(well->popUpController());
        menu = well->popUpController()->menuItemView();
        QGuiApplication::clipboard()->setImage(bitmap(512, 512, Qt::magenta).bitmap());
        // (The offscreen platform stacks no windows, so the hover goes straight to the view.)
        QMouseEvent hover(QEvent::MouseMove, QPointF(20, 27), menu->mapToGlobal(QPointF(20, 27)),
                          Qt::NoButton, Qt::NoButton, {});
        QApplication::sendEvent(menu, &hover);
        QCOMPARE(menu->hoveredIndex(), 1);
        QTest::mouseClick(menu, Qt::LeftButton, {}, QPoint(20, 27));
        QCOMPARE(well->image().size(), QSizeF(256, 256));
        QTRY_VERIFY(!well->popUpController());

        // Escape closes; closing the well's window closes the pop-up at once.
        QTest::keyClick(well, Qt::Key_Space);
        QTest::keyClick(well->popUpController()->window(), Qt::Key_Escape);
        QTRY_VERIFY(!well->popUpController());
        QTest::keyClick(well, Qt::Key_Space);
        window = well->popUpController()->window();
        QVERIFY(window->isVisible());
        host.close();
        QVERIFY(!window->isVisible());
    }

    void missingPickerDescription() {
        WidgetTestBundle emptyBundle(false);
        CIFPopUpImageView well;
        well.show();
        QTest::ignoreMessage(QtWarningMsg, "Failed to load ImagePicker.nib");
        QTest::mouseClick(&well, Qt::LeftButton);
        QVERIFY(!well.popUpController());
    }
};

}  // namespace cif

QTEST_MAIN(cif::CIFPopUpImageViewTest)
#include "CIFPopUpImageViewTest.moc"
