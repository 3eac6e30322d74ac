// The editor window driven as a person drives it: clicks in the catalog
// lists, slider drags, pop-up choices, the generator buttons, the size sheet
// and the closing buttons, on the real window description from the bundle.

#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDir>
#include <QDoubleSpinBox>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <QScrollArea>
#include <QSlider>
#include <QSpinBox>
#include <QStackedWidget>
#include <QStandardPaths>
#include <QTableView>
#include <QTemporaryDir>
#include <QTimer>
#include <QToolBar>
#include <QtTest>

#include "core/CIFBundle.h"
#include "core/CIFMain.h"
#include "editor/CIFCatalogListModel.h"
#include "editor/CIFFilterControls.h"
#include "editor/CIFImageEditorController.h"
#include "editor/CIFImageEditorView.h"
#include "editor/CIFPreviewRenderer.h"
#include "generators/GLIFClassRegistry.h"
#include "platform/CIPlatform.h"
#include "platform/image/CIVector.h"
#include "widgets/CIFImageInfoController.h"

using namespace cif;

namespace {

HostImage testPicture(int width = 320, int height = 240) {
    QImage image(width, height, QImage::Format_RGBA8888_Premultiplied);
    QPainter painter(&image);
    QLinearGradient ramp(0, 0, width, height);
    ramp.setColorAt(0, QColor(30, 90, 200));
    ramp.setColorAt(1, QColor(240, 200, 40));
    painter.fillRect(image.rect(), ramp);
    painter.setBrush(Qt::white);
    painter.drawEllipse(QPointF(width / 3.0, height / 2.0), width / 8.0, width / 8.0);
    painter.end();
    return HostImage::fromQImage(image);
}

QImage pixels(const HostImage& picture) {
    return picture.rasterize(QSize(picture.pixelsWide(), picture.pixelsHigh()));
}

}  // namespace

class CIFImageEditorControllerTest : public QObject {
    Q_OBJECT

private:
    CIFImageEditorController* m_editor = nullptr;
    HostImage m_picture;

    template <class T>
    T* child(const char* name) {
        T* found = m_editor->window()->findChild<T*>(QString::fromLatin1(name));
        if (!found) qFatal("no %s in the window", name);
        return found;
    }
    // Clicks the row of an identifier in a catalog list.
    void clickRow(QTableView* table, const QString& identifier) {
        auto* model = static_cast<CIFCatalogListModel*>(table->model());
        const int row = model->rowOfIdentifier(identifier);
        QVERIFY2(row >= 0, qPrintable(identifier));
        clickRowNumber(table, row);
    }
    void clickRowNumber(QTableView* table, int row) {
        const QModelIndex index = table->model()->index(row, 0);
        table->scrollTo(index);
        QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, table->visualRect(index).center());
    }
    void startOnFilters(bool useSelection = false, QRectF rect = {}) {
        QVERIFY(m_editor->prepareEditorUseSelectionWithRect(m_picture, useSelection, rect));
        QVERIFY(QTest::qWaitForWindowExposed(m_editor->window()));
        QVERIFY(m_editor->waitForPreview());
    }

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);  // settings go to a test folder
        initializePlatform();
        registerGeneratorClasses();
        CIFBundle::setPath(QStringLiteral(CIF_BINARY_DIR "/CIFEffects.plugin"));
        m_editor = new CIFImageEditorController();
        m_picture = testPicture();
    }
    void cleanupTestCase() { delete m_editor; }
    void cleanup() {
        if (m_editor->window() && m_editor->window()->isVisible()) m_editor->window()->reject();
    }

    void catalogListSelectsEntriesAndRefusesCategoryRows() {
        startOnFilters();
        auto* table = child<QTableView>("_tableView");
        clickRow(table, QStringLiteral("CIColorInvert"));
        QCOMPARE(m_editor->filterName(), QStringLiteral("CIColorInvert"));
        QCOMPARE(m_editor->editMode(), 1);
        // A category header row cannot be chosen: the entry stays.
        auto* model = static_cast<CIFCatalogListModel*>(table->model());
        int header = -1;
        for (int row = 1; row < model->rowCount() && header < 0; ++row)
            if (!model->isSelectableRow(row)) header = row;
        QVERIFY(header > 0);
        clickRowNumber(table, header);
        QCOMPARE(m_editor->filterName(), QStringLiteral("CIColorInvert"));
        QCOMPARE(table->selectionModel()->selectedRows().first().row(),
                 model->rowOfIdentifier(QStringLiteral("CIColorInvert")));
        // The first entry is the selection-mode crop: nothing is rendered.
        clickRowNumber(table, 0);
        QCOMPARE(m_editor->editMode(), 0);
    }

    void sliderDragWritesTheValueAndRenders() {
        startOnFilters();
        clickRow(child<QTableView>("_tableView"), QStringLiteral("CISepiaTone"));
        QVERIFY(m_editor->waitForPreview());
        QCOMPARE(CIFImageEditorController::currentPageName(
                     child<QStackedWidget>("_filterControlsTabView")),
                 QStringLiteral("0"));
        auto* slider = child<QSlider>("_controlsDecimalSlider0_0");
        QVERIFY(slider->isVisible());
        QCOMPARE(slider->property("representedObject").toString(),
                 QStringLiteral("inputIntensity"));
        QVERIFY(!child<QSlider>("_controlsDecimalSlider0_1")->isVisible());
        // Drag the knob to the left end: intensity 0 is the picture itself.
        const int knob = slider->style()->pixelMetric(QStyle::PM_SliderLength, nullptr, slider);
        const QPoint from(knob / 2 + (slider->width() - knob) * slider->value() / slider->maximum(),
                          slider->height() / 2);
        QTest::mousePress(slider, Qt::LeftButton, {}, from);
        for (int x = from.x(); x >= -10; x -= 12)
            QTest::mouseMove(slider, QPoint(x, from.y()));
        QTest::mouseRelease(slider, Qt::LeftButton, {}, QPoint(-10, from.y()));
        QCOMPARE(m_editor->attributes().value(QStringLiteral("inputIntensity")).toDouble(), 0.0);
        QCOMPARE(child<QDoubleSpinBox>("_controlsDecimalTextField0_0")->value(), 0.0);
        QVERIFY(m_editor->waitForPreview());
        const QImage zero = pixels(m_editor->pictureView()->picture());
        // Typing into the field stays within the input's range and renders again.
        auto* field = child<QDoubleSpinBox>("_controlsDecimalTextField0_0");
        field->selectAll();
        QTest::keyClicks(field, QStringLiteral("7"));
        QTest::keyClick(field, Qt::Key_Return);
        QCOMPARE(m_editor->attributes().value(QStringLiteral("inputIntensity")).toDouble(), 0.0);
        field->selectAll();
        QTest::keyClicks(field, QStringLiteral("0.6"));
        QTest::keyClick(field, Qt::Key_Return);
        QCOMPARE(float(m_editor->attributes().value(QStringLiteral("inputIntensity")).toDouble()),
                 0.6f);
        QCOMPARE(slider->value(), 600);
        QVERIFY(m_editor->waitForPreview());
        QVERIFY(pixels(m_editor->pictureView()->picture()) != zero);
    }

    // Vector inputs get one field per component, transforms their centre,
    // skew, stretch, angle and scale; typing writes the whole value back.
    void vectorAndTransformRowsEditTheirComponents() {
        startOnFilters();
        const auto type = [](QDoubleSpinBox* field, const QString& text) {
            field->selectAll();
            QTest::keyClicks(field, text);
            QTest::keyClick(field, Qt::Key_Return);
        };
        clickRow(child<QTableView>("_tableView"), QStringLiteral("CIPerspectiveTransform"));
        QVERIFY(m_editor->waitForPreview());
        QVERIFY(child<QWidget>("_filterVectorControlsView")->isVisible());
        const QStringList corners = {"inputBottomLeft", "inputBottomRight", "inputTopLeft",
                                     "inputTopRight"};
        auto* x = child<QDoubleSpinBox>("_controlsVectorField_1_0");
        auto* y = child<QDoubleSpinBox>("_controlsVectorField_1_1");
        QVERIFY(x->isVisible() && y->isVisible());
        QVERIFY(!child<QDoubleSpinBox>("_controlsVectorField_1_2")->isVisible());
        QVERIFY(!child<QLabel>("_controlsVectorLabel_4")->isVisible());
        const QString key = x->property("representedObject").toList().value(0).toString();
        QVERIFY(corners.contains(key));
        const QImage before = pixels(m_editor->pictureView()->picture());
        type(x, QStringLiteral("250"));
        type(y, QStringLiteral("17"));
        QCOMPARE(m_editor->attributes().value(key).value<CIVector>().values(),
                 (std::vector<double>{250, 17}));
        QVERIFY(m_editor->waitForPreview());
        QVERIFY(pixels(m_editor->pictureView()->picture()) != before);

        clickRow(child<QTableView>("_tableView"), QStringLiteral("CIAffineTransform"));
        QVERIFY(m_editor->waitForPreview());
        QVERIFY(!child<QWidget>("_controlsVector_0")->isVisible());
        QCOMPARE(child<QLabel>("_controlsTransformLabel_3")->text(), QStringLiteral("Scale:"));
        type(child<QDoubleSpinBox>("_controlsTransformTextField_3"), QStringLiteral("2"));
        type(child<QDoubleSpinBox>("_controlsTransformTX"), QStringLiteral("30"));
        const QTransform t =
            m_editor->attributes().value(QStringLiteral("inputTransform")).value<QTransform>();
        const CIFFilterControls::TransformParts parts = CIFFilterControls::decompose(t);
        QCOMPARE(parts.scale, 2.0);
        QCOMPARE(parts.tX, 30.0);
        QCOMPARE(child<QSlider>("_controlsTransformSlider_3")->value(),
                 int(std::lround((2.0 - 0.1) / (4 - 0.1) * 1000)));
        // The slider moves the same component.
        child<QSlider>("_controlsTransformSlider_3")->setValue(0);
        QCOMPARE(
            CIFFilterControls::decompose(
                m_editor->attributes().value(QStringLiteral("inputTransform")).value<QTransform>())
                .scale,
            0.1);
        // A filter without such inputs hides the rows.
        clickRow(child<QTableView>("_tableView"), QStringLiteral("CIColorInvert"));
        QVERIFY(!child<QWidget>("_filterVectorControlsView")->isVisible());
    }

    void groupSelectsItsFirstMemberAndFillsTheSiblingPopUp() {
        startOnFilters();
        clickRow(child<QTableView>("_tableView"), QStringLiteral("BlurFilters"));
        QCOMPARE(m_editor->groupName(), QStringLiteral("BlurFilters"));
        QCOMPARE(m_editor->filterName(), QStringLiteral("CIGaussianBlur"));
        QCOMPARE(CIFImageEditorController::currentPageName(
                     child<QStackedWidget>("_filterControlsTabView")),
                 QStringLiteral("30"));
        auto* siblings = child<QComboBox>("_filtersGroupPopUpButton30");
        QCOMPARE(siblings->count(), 3);
        QCOMPARE(siblings->currentData().toString(), QStringLiteral("CIGaussianBlur"));
        // Choosing a sibling switches the effect and keeps the group.
        siblings->setCurrentIndex(2);
        emit siblings->activated(2);
        QCOMPARE(m_editor->filterName(), siblings->itemData(2).toString());
        QCOMPARE(m_editor->groupName(), QStringLiteral("BlurFilters"));
        QCOMPARE(siblings->currentIndex(), 2);
    }

    void rememberedParametersComeBackOnReselection() {
        startOnFilters();
        auto* table = child<QTableView>("_tableView");
        clickRow(table, QStringLiteral("CISepiaTone"));
        auto* field = child<QDoubleSpinBox>("_controlsDecimalTextField0_0");
        field->setValue(0.25);
        QCOMPARE(m_editor->attributes().value(QStringLiteral("inputIntensity")).toDouble(), 0.25);
        clickRow(table, QStringLiteral("CIColorInvert"));
        clickRow(table, QStringLiteral("CISepiaTone"));
        QCOMPARE(m_editor->attributes().value(QStringLiteral("inputIntensity")).toDouble(), 0.25);
        QCOMPARE(field->value(), 0.25);
        // ... and across runs of the editor within the process.
        m_editor->window()->reject();
        startOnFilters();
        clickRow(table, QStringLiteral("CISepiaTone"));
        QCOMPARE(field->value(), 0.25);
    }

    void toolbarItemsChooseTheirEffect() {
        startOnFilters();
        QToolBar* toolbar = m_editor->toolbar();
        QVERIFY(toolbar);
        QCOMPARE(toolbar->objectName(), QStringLiteral("Properties toolbar"));
        QCOMPARE(toolbar->iconSize(), QSize(16, 16));
        // One item per catalog entry, separators between categories.
        QStringList items;
        for (QAction* a : toolbar->actions())
            items << (a->isSeparator() ? QStringLiteral("NSToolbarSeparatorItem")
                                       : a->data().toString());
        CIFMain catalog;
        QCOMPARE(items, catalog.CIFAllFilterIdentifiers());
        // Clicking an item makes its effect current, on its page.
        auto* table = child<QTableView>("_tableView");
        clickRow(table, QStringLiteral("CIColorInvert"));
        QAction* second = nullptr;
        for (QAction* a : toolbar->actions())
            if (!a->isSeparator() && a->data().toString() != m_editor->filterName() &&
                toolbar->widgetForAction(a) && toolbar->widgetForAction(a)->isVisible() &&
                !catalog.CIFFiltersDescriptorForGroup(a->data().toString())) {
                second = a;
                break;
            }
        QVERIFY(second);
        QTest::mouseClick(toolbar->widgetForAction(second), Qt::LeftButton);
        QCOMPARE(m_editor->filterName(), second->data().toString());
        QCOMPARE(second->text(), catalog.CIFFilterNameForID(second->data().toString()));
        auto* model = static_cast<CIFCatalogListModel*>(table->model());
        QCOMPARE(table->selectionModel()->selectedRows().first().row(),
                 model->rowOfIdentifier(second->data().toString()));
    }

    // "Other..." opens a sheet on the editor window (the editor stays
    // responsive); the chosen picture becomes the texture.
    void otherTextureOpensASheet() {
        startOnFilters();
        clickRow(child<QTableView>("_tableView"), QStringLiteral("CIGlassDistortion"));
        QVERIFY(m_editor->waitForPreview());
        QComboBox* popUp = nullptr;
        for (const char* name :
             {"_glassTextureMenu", "_texturePopUpButton20", "_texturePopUpButton0"})
            if (child<QComboBox>(name)->isVisible()) popUp = child<QComboBox>(name);
        QVERIFY(popUp);
        QTemporaryDir dir;
        QImage texture(48, 32, QImage::Format_RGB32);
        texture.fill(Qt::darkCyan);
        const QString file = dir.filePath(QStringLiteral("mine.png"));
        QVERIFY(texture.save(file));
        popUp->setFocus();
        QTest::keyClick(popUp, Qt::Key_End);
        auto* panel = m_editor->window()->findChild<QFileDialog*>(QStringLiteral("CIFOpenPanel"));
        QVERIFY(panel);
        QVERIFY(panel->isVisible());
        QCOMPARE(panel->windowModality(), Qt::WindowModal);
        QCOMPARE(panel->parentWidget(), m_editor->window());
        panel->selectFile(file);
        static_cast<QDialog*>(panel)->accept();
        QCOMPARE(m_editor->textureImage().size(), QSizeF(48, 32));
        QVERIFY(m_editor->waitForPreview());
    }

    // Without its window description the editor says so and answers 0.
    void missingWindowDescriptionAnswersZero() {
        QTemporaryDir bundle;
        QVERIFY(QDir(bundle.path()).mkpath(QStringLiteral("Resources/ui")));
        CIFBundle::setPath(bundle.path());
        CIFImageEditorController editor;
        QTest::ignoreMessage(QtWarningMsg, "Failed to load ImageEditor.nib");
        QCOMPARE(editor.startEditorUseSelectionWithRect(m_picture, false, {}), 0);
        QTest::ignoreMessage(QtWarningMsg, "Failed to load ImageEditor.nib");
        QCOMPARE(editor.startGeneratorWithRect(QVariant(), QRectF(0, 0, 64, 64)), 0);
        QVERIFY(!editor.window());
        QVERIFY(editor.outputImage().isNull());
        CIFBundle::setPath(QStringLiteral(CIF_BINARY_DIR "/CIFEffects.plugin"));
    }

    // The window opens with the frame it was last closed with.
    void windowFrameIsRemembered() {
        startOnFilters();
        m_editor->window()->resize(1111, 655);
        m_editor->window()->reject();
        CIFImageEditorController another;
        QVERIFY(another.prepareEditorUseSelectionWithRect(m_picture, false, {}));
        QCOMPARE(another.window()->size(), QSize(1111, 655));
        another.window()->reject();
    }

    void zoomSliderMapping() {
        QCOMPARE(CIFImageEditorController::scaleForSliderValue(-8), 0.5);
        QCOMPARE(CIFImageEditorController::sliderValueForScale(0.5), -8.0);
        QCOMPARE(CIFImageEditorController::sliderValueForScale(2.0), 8.0);
        QCOMPARE(CIFImageEditorController::scaleForSliderValue(8), 2.0);
        startOnFilters();
        child<QSlider>("_scaleSlider")->setValue(-8);
        QCOMPARE(m_editor->pictureView()->getScaleFactor(), 0.5);
        // The wheel moves the slider back.
        m_editor->scrollWheelDidChange(2.0);
        QCOMPARE(child<QSlider>("_scaleSlider")->value(), 8);
    }

    void generatorPagesAndRunsWithUndoAndRedo() {
        QVERIFY(m_editor->prepareGeneratorWithRect(QVariant(), QRectF(0, 0, 200, 150)));
        QCOMPARE(m_editor->pictureView()->picture().size(), QSizeF(200, 150));
        auto* table = child<QTableView>("_GLIFTableView");
        auto* pages = child<QStackedWidget>("_GLIFControlsTabView");
        clickRow(table, QStringLiteral("GLIF_Shapes"));
        QCOMPARE(CIFImageEditorController::currentPageName(pages), QStringLiteral("dump"));
        clickRow(table, QStringLiteral("GLIF_Plasma"));
        QCOMPARE(CIFImageEditorController::currentPageName(pages), QStringLiteral("GLIF_Plasma"));
        QCOMPARE(CIFImageEditorController::currentPageName(
                     child<QStackedWidget>("_GLIFColorControlsTabView")),
                 QStringLiteral("color gradient"));
        QCOMPARE(
            child<QSlider>("_plasmaSmoothnessSlider")->property("representedObject").toString(),
            QStringLiteral("GLIFSmoothness"));

        auto* generate = child<QPushButton>("_generateButton");
        auto* undo = child<QPushButton>("_undoButton");
        auto* redo = child<QPushButton>("_redoButton");
        QTest::mouseClick(generate, Qt::LeftButton);
        QVERIFY(m_editor->waitForPreview());
        const quint32 seed1 = m_editor->randomSeed();
        const QImage first = pixels(m_editor->pictureView()->picture());
        QTest::qWait(2);
        QTest::mouseClick(generate, Qt::LeftButton);
        QVERIFY(m_editor->waitForPreview());
        QVERIFY(m_editor->randomSeed() != seed1);
        const QImage second = pixels(m_editor->pictureView()->picture());
        QVERIFY(first != second);
        QVERIFY(undo->isEnabled());
        QTest::mouseClick(undo, Qt::LeftButton);
        QVERIFY(m_editor->waitForPreview());
        QCOMPARE(pixels(m_editor->pictureView()->picture()), first);
        QVERIFY(redo->isEnabled());
        QTest::mouseClick(redo, Qt::LeftButton);
        QVERIFY(m_editor->waitForPreview());
        QCOMPARE(pixels(m_editor->pictureView()->picture()), second);
        // A parameter change re-renders with the same seed: same picture again.
        auto* smooth = child<QDoubleSpinBox>("_plasmaSmoothnessTextField");
        const double old = smooth->value();
        smooth->setValue(old + 1);
        smooth->setValue(old);
        QVERIFY(m_editor->waitForPreview());
        QCOMPARE(pixels(m_editor->pictureView()->picture()), second);
    }

    void sizeSheetsChangeThePicture() {
        for (const bool generator : {false, true}) {
            if (generator)
                QVERIFY(m_editor->prepareGeneratorWithRect(QVariant(), QRectF(0, 0, 200, 150)));
            else
                startOnFilters();
            QTest::mouseClick(child<QPushButton>("_sizeButton"), Qt::LeftButton);
            QDialog* sheet = CIFImageInfoController::sharedImageInfoTool()->window();
            QVERIFY(sheet && sheet->isVisible());
            auto* width = sheet->findChild<QLineEdit*>(QStringLiteral("widthTextField"));
            auto* height = sheet->findChild<QLineEdit*>(QStringLiteral("heightTextField"));
            QVERIFY(width && height);
            // A picture keeps its proportions: only the width is typed.
            width->selectAll();
            QTest::keyClicks(width, QStringLiteral("160"));
            if (generator) {
                height->selectAll();
                QTest::keyClicks(height, QStringLiteral("60"));
            }
            QPushButton* ok = nullptr;
            for (QPushButton* b : sheet->findChildren<QPushButton*>())
                if (b->property("tag").toInt() != 0) ok = b;
            QVERIFY(ok);
            QTest::mouseClick(ok, Qt::LeftButton);
            QVERIFY(m_editor->waitForPreview());
            QCOMPARE(m_editor->pictureView()->picture().size(),
                     generator ? QSizeF(160, 60) : QSizeF(160, 120));
            m_editor->window()->reject();
        }
    }

    void setReturnsThePreviewCancelAndCloseKeepThePicture() {
        const QImage before = pixels(m_picture);
        // Set: result 1, the preview's pixels, the selection.
        startOnFilters(true, QRectF(20, 30, 100, 80));
        QVERIFY(m_editor->isSelected());
        clickRow(child<QTableView>("_tableView"), QStringLiteral("CIColorInvert"));
        QVERIFY(m_editor->isSelected());
        QVERIFY(m_editor->waitForPreview());
        QVERIFY(m_editor->isSelected());
        const QImage preview = pixels(m_editor->pictureView()->picture());
        QTest::mouseClick(child<QPushButton>("_buttonSet"), Qt::LeftButton);
        QCOMPARE(m_editor->modalResult(), 1);
        QVERIFY(!m_editor->window()->isVisible());
        QCOMPARE(pixels(m_editor->outputImage()), preview);
        QVERIFY(pixels(m_editor->outputImage()) != before);
        QVERIFY(m_editor->isSelected());
        QCOMPARE(m_editor->getSelectedRect(), QRectF(20, 30, 100, 80));

        // Cancel and the close box: 0, no output, the picture untouched.
        for (const bool closeBox : {false, true}) {
            startOnFilters();
            clickRow(child<QTableView>("_tableView"), QStringLiteral("CIColorInvert"));
            if (closeBox)
                m_editor->window()->close();
            else
                QTest::mouseClick(child<QPushButton>("_buttonCancel"), Qt::LeftButton);
            QCOMPARE(m_editor->modalResult(), 0);
            QVERIFY(m_editor->outputImage().isNull());
            QCOMPARE(pixels(m_picture), before);
        }
    }

    // A large picture shows a quick preview at the view's resolution first;
    // once the changes pause the full-size render replaces it, and Set
    // hands back exactly those pixels: the effect of the same parameters
    // rendered by a principal object of its own.
    void largePicturesPreviewQuicklyThenAcceptTheFullRender() {
        const HostImage large = testPicture(1200, 900);
        QVERIFY(m_editor->prepareEditorUseSelectionWithRect(large, false, {}));
        QVERIFY(QTest::qWaitForWindowExposed(m_editor->window()));
        clickRow(child<QTableView>("_tableView"), QStringLiteral("CITwirlDistortion"));
        QVERIFY(m_editor->waitForPreview());
        auto* field = child<QDoubleSpinBox>("_controlsDecimalTextField0_0");
        const QString key = field->property("representedObject").toString();
        field->selectAll();
        QTest::keyClicks(field, QString::number(field->value() * 0.5 + field->minimum() * 0.5));
        QTest::keyClick(field, Qt::Key_Return);
        QVERIFY(m_editor->waitForFirstPreview());
        const HostImage quick = m_editor->pictureView()->picture();
        QCOMPARE(quick.size(), large.size());
        QVERIFY(quick.pixelsWide() < 1200);
        QVERIFY(m_editor->waitForPreview());
        const HostImage full = m_editor->pictureView()->picture();
        QCOMPARE(full.pixelsWide(), 1200);

        CIFMain reference;
        const QImage expected = pixels(reference.CIFApplyFilterAttributesForImage(
            QStringLiteral("CITwirlDistortion"), m_editor->attributes(), large));
        QCOMPARE(pixels(full), expected);
        // The quick picture is the same effect, only smaller: its centre
        // and radius were scaled with the picture.
        const QImage reduced = expected.scaled(quick.pixelsWide(), quick.pixelsHigh(),
                                               Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        const QImage small = pixels(quick).convertToFormat(reduced.format());
        double difference = 0;
        for (int y = 0; y < small.height(); ++y)
            for (int x = 0; x < small.width(); ++x) {
                const QRgb a = small.pixel(x, y), b = reduced.pixel(x, y);
                difference += std::abs(qRed(a) - qRed(b)) + std::abs(qGreen(a) - qGreen(b)) +
                              std::abs(qBlue(a) - qBlue(b));
            }
        QVERIFY2(difference / (3.0 * small.width() * small.height()) < 6.0,
                 qPrintable(QString::number(difference / (3.0 * small.width() * small.height()))));
        QTest::mouseClick(child<QPushButton>("_buttonSet"), Qt::LeftButton);
        QCOMPARE(m_editor->modalResult(), 1);
        QCOMPARE(pixels(m_editor->outputImage()), expected);
        QVERIFY(!key.isEmpty());
    }

    void quickPreviewsScaleLengthsOnly() {
        const QVariantMap description{
            {QStringLiteral("inputRadius"),
             QVariantMap{
                 {QStringLiteral("CIAttributeType"), QStringLiteral("CIAttributeTypeDistance")}}},
            {QStringLiteral("inputAngle"), QVariantMap{{QStringLiteral("CIAttributeType"),
                                                        QStringLiteral("CIAttributeTypeAngle")}}},
            {QStringLiteral("inputPoint0"),
             QVariantMap{
                 {QStringLiteral("CIAttributeType"), QStringLiteral("CIAttributeTypePosition")}}},
            {QStringLiteral("inputOffset"),
             QVariantMap{
                 {QStringLiteral("CIAttributeType"), QStringLiteral("CIAttributeTypeOffset")}}}};
        const QVariantMap given{
            {QStringLiteral("inputRadius"), 40.0},
            {QStringLiteral("inputAngle"), 2.0},
            {QStringLiteral("inputCenter"), QPointF(100, 60)},
            {QStringLiteral("inputPoint0"), QVariant::fromValue(CIVector{10, 20})},
            {QStringLiteral("CIFVectors"), QVariantMap{{QStringLiteral("inputPoint0"),
                                                        QVariantMap{{QStringLiteral("1"), 30.0}}}}},
            {QStringLiteral("CIFOffsets"),
             QVariantMap{
                 {QStringLiteral("inputOffset"),
                  QVariantMap{{QStringLiteral("radius"), 8.0}, {QStringLiteral("angle"), 1.0}}}}},
            {QStringLiteral("GLIFRandomSeed"), 77u}};
        const QVariantMap s = CIFPreviewRenderer::scaledAttributes(given, description, 0.25);
        QCOMPARE(s.value(QStringLiteral("inputRadius")).toDouble(), 10.0);
        QCOMPARE(s.value(QStringLiteral("inputAngle")).toDouble(), 2.0);
        QCOMPARE(s.value(QStringLiteral("inputCenter")).toPointF(), QPointF(25, 15));
        QCOMPARE(s.value(QStringLiteral("inputPoint0")).value<CIVector>().values(),
                 (std::vector<double>{2.5, 5}));
        QCOMPARE(s.value(QStringLiteral("CIFVectors"))
                     .toMap()
                     .value(QStringLiteral("inputPoint0"))
                     .toMap()
                     .value(QStringLiteral("1"))
                     .toDouble(),
                 7.5);
        const QVariantMap polar = s.value(QStringLiteral("CIFOffsets"))
                                      .toMap()
                                      .value(QStringLiteral("inputOffset"))
                                      .toMap();
        QCOMPARE(polar.value(QStringLiteral("radius")).toDouble(), 2.0);
        QCOMPARE(polar.value(QStringLiteral("angle")).toDouble(), 1.0);
        QCOMPARE(s.value(QStringLiteral("GLIFRandomSeed")),
                 given.value(QStringLiteral("GLIFRandomSeed")));
    }

    // The window fits a 1280 x 720 screen (1920 x 1080 at 150 %) with room
    // for a panel, and its parameter area scrolls. Screenshots of three
    // states go to build/screenshots for people to look at.
    void windowFitsSmallScreens() {
        QString error;
        const HostImage photo = HostImage::load(
            QStringLiteral(
                CIF_BINARY_DIR
                "/CIFEffects.plugin/Resources/SharedContent/Backgrounds/Scenes/Hills.png"),
            &error);
        QVERIFY2(!photo.isNull(), qPrintable(error));
        QVERIFY(m_editor->prepareEditorUseSelectionWithRect(photo, false, {}));
        QDialog* window = m_editor->window();
        const QSize least = window->minimumSizeHint().expandedTo(window->minimumSize());
        QVERIFY2(least.width() <= 1280 && least.height() <= 680,
                 qPrintable(QStringLiteral("%1 x %2").arg(least.width()).arg(least.height())));
        QVERIFY(window->findChild<QScrollArea*>(QStringLiteral("_filterControlsScrollView")));
        QVERIFY(window->findChild<QScrollArea*>(QStringLiteral("_GLIFControlsScrollView")));
        window->resize(1280, 680);
        const QString dir = QStringLiteral(CIF_BINARY_DIR "/screenshots");
        QDir().mkpath(dir);
        const auto shoot = [&](const char* name) {
            QVERIFY(m_editor->waitForPreview());
            QTest::qWait(50);
            for (const qreal ratio : {1.0, 2.0}) {
                QPixmap shot(window->size() * ratio);
                shot.setDevicePixelRatio(ratio);
                window->render(&shot);
                shot.save(QStringLiteral("%1/editor-%2@%3x.png")
                              .arg(dir, QLatin1String(name))
                              .arg(int(ratio)));
            }
        };
        clickRow(child<QTableView>("_tableView"), QStringLiteral("CITwirlDistortion"));
        shoot("filter");
        clickRow(child<QTableView>("_tableView"), QStringLiteral("BlurFilters"));
        shoot("group");
        clickRow(child<QTableView>("_tableView"), QStringLiteral("CIAffineTransform"));
        shoot("transform");
        clickRow(child<QTableView>("_tableView"), QStringLiteral("CIPerspectiveTransform"));
        shoot("vectors");
        window->reject();
        QVERIFY(m_editor->prepareGeneratorWithRect(QVariant(), QRectF(0, 0, 640, 480)));
        window->resize(1280, 680);
        clickRow(child<QTableView>("_GLIFTableView"), QStringLiteral("GLIF_Plasma"));
        QTest::mouseClick(child<QPushButton>("_generateButton"), Qt::LeftButton);
        shoot("generator");
    }

    void modalRunThroughThePrincipalObjectsInterface() {
        QTimer::singleShot(0, this, [this] {
            QVERIFY(QTest::qWaitForWindowExposed(m_editor->window()));
            clickRow(child<QTableView>("_tableView"), QStringLiteral("CIColorInvert"));
            QTest::mouseClick(child<QPushButton>("_buttonSet"), Qt::LeftButton);
        });
        CIFImageEditor* editor = m_editor;
        QCOMPARE(editor->startEditorUseSelectionWithRect(m_picture, false, {}), 1);
        QCOMPARE(editor->outputImage().size(), m_picture.size());
        QVERIFY(!editor->isSelected());
    }
};

QTEST_MAIN(CIFImageEditorControllerTest)
#include "CIFImageEditorControllerTest.moc"
