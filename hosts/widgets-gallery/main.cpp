// cifx-widgets: a gallery of the plug-in's widgets with sample data.
//   cifx-widgets                      a window showing every widget
//   cifx-widgets --screenshots DIR    writes DIR/<widget>@1x.png and @2x.png
// The bundle is the one the build assembles, or $CIF_BUNDLE when set.

#include <QApplication>
#include <QCommandLineParser>
#include <QDialog>
#include <QDir>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollArea>
#include <QTimer>
#include <QVBoxLayout>
#include <cstdio>

#include "core/CIFBundle.h"
#include "widgets/CCColorSlider.h"
#include "widgets/CIFImageGridView.h"
#include "widgets/CIFImageInfoController.h"
#include "widgets/CIFMenuItemView.h"
#include "widgets/CIFPopUpImageView.h"

using namespace cif;

namespace {

QString sharedContent(const QString& folder) {
    return CIFBundle::resourcePath(QStringLiteral("SharedContent/") + folder);
}

// A data source over the pictures of one folder.
void offerFolder(CIFPopUpImageView* well, const QString& folder) {
    const QString dir = sharedContent(folder);
    well->setDataSourceWithNamesSelectorImageForNameSelector(
        [dir] {
            QStringList names;
            for (const QFileInfo& f :
                 QDir(dir).entryInfoList({QStringLiteral("*.png")}, QDir::Files, QDir::Name))
                names << f.completeBaseName();
            return names;
        },
        [dir](const QString& name) {
            return HostImage::load(dir + u'/' + name + QStringLiteral(".png"), nullptr);
        });
}

HostImage bundlePicture(const QString& name) {
    return HostImage::load(CIFBundle::resourcePath(name), nullptr);
}

// The widget drawn at ratio into a PNG, on its window colour.
bool writeShot(QWidget* widget, const QString& dir, const QString& name, int ratio) {
    QImage image(widget->size() * ratio, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    image.fill(widget->palette().color(QPalette::Window));
    widget->render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
    const QString path = QStringLiteral("%1/%2@%3x.png").arg(dir, name).arg(ratio);
    if (!image.save(path)) {
        std::fprintf(stderr, "cifx-widgets: cannot write %s\n", qPrintable(path));
        return false;
    }
    std::printf("%s\n", qPrintable(path));
    return true;
}

struct Gallery {
    QWidget window;
    CCColorSlider* range = nullptr;
    CCColorSlider* keyColour = nullptr;
    CCColorSlider* disabled = nullptr;
    CIFImageGridView* grid = nullptr;
    QList<HostImage> gridPictures;
    QList<CIFPopUpImageView*> wells;
    QWidget* sliders = nullptr;
    QWidget* wellRow = nullptr;
    QScrollArea* gridArea = nullptr;

    Gallery() {
        window.setWindowTitle(QStringLiteral("CIF Effects widgets"));
        auto* layout = new QVBoxLayout(&window);

        sliders = new QWidget;
        auto* form = new QFormLayout(sliders);
        range = new CCColorSlider;
        range->setRangeMinValue(0.15);
        range->setRangeMaxValue(0.65);
        keyColour = new CCColorSlider;
        keyColour->setKeyColorSelectionMode(true);
        keyColour->setRangeMinValue(0.55);
        keyColour->setKeyColorSelectionMode(true);
        disabled = new CCColorSlider;
        disabled->setRangeMinValue(0.3);
        disabled->setEnabled(false);
        form->addRow(QStringLiteral("Hue range"), range);
        form->addRow(QStringLiteral("Key colour"), keyColour);
        form->addRow(QStringLiteral("Disabled"), disabled);
        layout->addWidget(sliders);

        wellRow = new QWidget;
        auto* row = new QHBoxLayout(wellRow);
        const auto addWell = [&](const QString& title, const QString& type, const QString& folder,
                                 const HostImage& picture) {
            auto* well = new CIFPopUpImageView;
            well->setTitle(title);
            well->setType(type);
            well->setMaxSize(QSizeF(256, 256));
            offerFolder(well, folder);
            well->setImage(picture);
            well->setFixedSize(56, 56);
            row->addWidget(well);
            wells << well;
        };
        addWell(QStringLiteral("Glass Textures"), QString(),
                QStringLiteral("Textures/Glass Textures"), bundlePicture("fish.png"));
        addWell(QStringLiteral("Gradients"), QStringLiteral("Gradient"),
                QStringLiteral("Gradients"), bundlePicture("SharedContent/Gradients/Rainbow.png"));
        addWell(QStringLiteral("Shading Materials"), QStringLiteral("Shading"),
                QStringLiteral("Textures/Shading Materials"), HostImage());
        addWell(QStringLiteral("Backgrounds"), QString(), QStringLiteral("Backgrounds"),
                HostImage());
        row->addStretch();
        layout->addWidget(wellRow);

        gridPictures = wells[3]->smallImages() + wells[1]->smallImages();
        gridArea = new QScrollArea;
        gridArea->setFixedSize(220, 110);
        gridArea->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        grid = new CIFImageGridView;
        CIFImageGridViewDelegate delegate;
        delegate.numberOfImagesInImageGridView = [this](CIFImageGridView*) {
            return int(gridPictures.size());
        };
        delegate.imageGridViewImageAtIndex = [this](CIFImageGridView*, int i) {
            return gridPictures.value(i);
        };
        grid->setDelegate(delegate);
        grid->setDrawsBackground(true);
        gridArea->setWidget(grid);
        grid->setFrame(QRect(0, 0, 200, 0));
        grid->selectIndex(2);
        layout->addWidget(gridArea);
        layout->addStretch();
        window.resize(420, 360);
    }
};

int writeScreenshots(Gallery& gallery, const QString& dir) {
    QDir().mkpath(dir);
    gallery.window.show();
    QApplication::processEvents();
    gallery.grid->reloadData();  // now that the scroll view has its size
    QApplication::processEvents();
    bool ok = true;
    for (int ratio : {1, 2}) {
        ok &= writeShot(gallery.sliders, dir, QStringLiteral("color-range-slider"), ratio);
        gallery.wells[1]->setFocus();
        ok &= writeShot(gallery.wellRow, dir, QStringLiteral("image-wells"), ratio);
        ok &= writeShot(gallery.gridArea, dir, QStringLiteral("image-grid"), ratio);
        ok &= writeShot(&gallery.window, dir, QStringLiteral("gallery"), ratio);
    }

    // The pop-up picker of the first well, with a hovered thumbnail.
    CIFPopUpImageView* well = gallery.wells[3];
    well->showPopUp();
    if (CIFPopUpImageController* popUp = well->popUpController()) {
        popUp->imageGridView()->setFocus();
        QMouseEvent move(QEvent::MouseMove, popUp->imageGridView()->rectForImageAtIndex(1).center(),
                         QPointF(), Qt::NoButton, Qt::NoButton, {});
        QApplication::sendEvent(popUp->imageGridView(), &move);
        QMouseEvent hoverMenu(QEvent::MouseMove, QPointF(20, 5), QPointF(), Qt::NoButton,
                              Qt::NoButton, {});
        QApplication::sendEvent(popUp->menuItemView(), &hoverMenu);
        for (int ratio : {1, 2})
            ok &= writeShot(popUp->window(), dir, QStringLiteral("image-picker-popup"), ratio);
        popUp->window()->close();
    } else {
        ok = false;
    }

    // The image size dialog as a sheet on the gallery.
    CIFImageInfoController* tool = CIFImageInfoController::sharedImageInfoTool();
    if (tool->sheetChangeSizeConstrainProportionsMakeThumbnailDisableFitToSizeModalDelegateDidEndSelector(
            QSizeF(400, 300), true, false, false, &gallery.window, [](int) {})) {
        QDialog* dialog = tool->window();
        dialog->adjustSize();
        for (int ratio : {1, 2})
            ok &= writeShot(dialog, dir, QStringLiteral("image-size-dialog"), ratio);
        dialog->reject();
    } else {
        ok = false;
    }
    return ok ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("The plug-in's widgets with sample data."));
    parser.addHelpOption();
    const QCommandLineOption screenshots(QStringLiteral("screenshots"),
                                         QStringLiteral("Write PNG screenshots into <dir>."),
                                         QStringLiteral("dir"));
    parser.addOption(screenshots);
    parser.process(app);

    const QString bundle = qEnvironmentVariableIsSet("CIF_BUNDLE")
                               ? qEnvironmentVariable("CIF_BUNDLE")
                               : QStringLiteral(CIF_BUNDLE_DIR);
    CIFBundle::setPath(bundle);

    Gallery gallery;
    if (parser.isSet(screenshots)) return writeScreenshots(gallery, parser.value(screenshots));
    gallery.window.show();
    return app.exec();
}
