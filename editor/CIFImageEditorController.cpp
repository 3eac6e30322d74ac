#include "editor/CIFImageEditorController.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFile>
#include <QFileDialog>
#include <QFormLayout>
#include <QHeaderView>
#include <QIcon>
#include <QImageReader>
#include <QItemSelectionModel>
#include <QLabel>
#include <QLayout>
#include <QMenu>
#include <QPainter>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollArea>
#include <QSettings>
#include <QSlider>
#include <QSpinBox>
#include <QSplitter>
#include <QStackedWidget>
#include <QTabBar>
#include <QTabWidget>
#include <QTableView>
#include <QToolBar>
#include <QUndoStack>
#include <chrono>
#include <cmath>
#include <cstdlib>

#include "core/CIFBundle.h"
#include "core/CIFKeys.h"
#include "core/CIFMain.h"
#include "editor/CIFCatalogListModel.h"
#include "editor/CIFCategoryCell.h"
#include "editor/CIFColorWell.h"
#include "editor/CIFFilterControls.h"
#include "editor/CIFImageCategoryCell.h"
#include "editor/CIFImageEditorView.h"
#include "editor/CIFPreviewRenderer.h"
#include "widgets/CCColorSlider.h"
#include "widgets/CIFImageInfoController.h"
#include "widgets/UiResource.h"

namespace cif {

namespace {

const QString kCrop = QStringLiteral("Crop");
const QString kSeedKey = QStringLiteral("GLIFRandomSeed");
const QString kFiltersPage = QStringLiteral("filters");
const QString kGeneratorsPage = QStringLiteral("generators");
constexpr int kOtherTag = 100;
constexpr int kTagRole = Qt::UserRole + 1;
// Pictures of at least this many pixels get a quick preview first.
constexpr qint64 kQuickPreviewArea = 800 * 600;

// The window's frame is remembered under the editor's autosave name.
const QString kFrameKey = QStringLiteral("CIFImageEditor/frame");

QSettings frameSettings() {
    return QSettings(QSettings::UserScope, QStringLiteral("CIF Effects"),
                     QStringLiteral("CIFEffects"));
}

QImage loadResourcePicture(const QString& relative) {
    QImageReader reader(CIFBundle::resourcePath(relative));
    return reader.read();
}

QSize wholePixels(QSizeF size) {
    return QSize(std::max(1, int(std::lround(size.width()))),
                 std::max(1, int(std::lround(size.height()))));
}

HostImage blankPicture(QSizeF size, const QColor& fill = Qt::transparent) {
    QImage image(wholePixels(size), QImage::Format_RGBA8888_Premultiplied);
    if (image.isNull()) return {};
    image.fill(fill);
    return HostImage::fromQImage(image);
}

// The descriptor's tag: a number or its decimal string; 0 without one.
int tagOf(const QVariantMap& descriptor) {
    return descriptor.value(CIFTag).toString().toInt();
}

}  // namespace

// ---- the shared instance

namespace {

CIFImageEditorController*& sharedInstance() {
    static CIFImageEditorController* shared = nullptr;
    return shared;
}

// Runs first thing in the application object's destructor, while widgets
// can still be deleted.
void deleteSharedEditor() {
    delete sharedInstance();
    sharedInstance() = nullptr;
}

}  // namespace

CIFImageEditorController* CIFImageEditorController::sharedImageEditor() {
    CIFImageEditorController*& shared = sharedInstance();
    if (!shared && qobject_cast<QApplication*>(QCoreApplication::instance())) {
        shared = new CIFImageEditorController();  // deleted by deleteSharedEditor
        qAddPostRoutine(deleteSharedEditor);
    }
    return shared;
}

CIFImageEditorController::CIFImageEditorController() {
    // The frame the window opens with is remembered under this name.
    setObjectName(QStringLiteral("CIFImageEditor"));
    isNamedImage = true;
}

CIFImageEditorController::~CIFImageEditorController() {
    m_renderer.reset();
    delete m_window;  // a top-level window: nothing else owns it
}

void CIFImageEditorController::filtersMenuWithGroupDesc(const QVariantList& descriptors,
                                                        QComboBox* popUp) {
    if (!popUp) return;
    const QSignalBlocker block(popUp);
    popUp->clear();
    for (const QVariant& v : descriptors) {
        const QVariantMap d = v.toMap();
        popUp->addItem(CIFMain::localizedStringForClass(d.value(CIFFilterName).toString()),
                       d.value(CIFFilterIdentifier).toString());
    }
}

template <class T>
T* CIFImageEditorController::outlet(const QString& name) const {
    T* found = m_window->findChild<T*>(name);
    if (!found) qWarning("ImageEditor has no outlet %s", qUtf8Printable(name));
    return found;
}

// ---- loading

bool CIFImageEditorController::loadWindow() {
    if (m_window) return true;
    // The editor's own classes, wherever a description names them.
    static const bool registered = [] {
        UiResource::registerWidgetClass(
            QStringLiteral("cif::CIFImageEditorView"),
            [](QWidget* parent) { return new CIFImageEditorView(parent); });
        UiResource::registerWidgetClass(QStringLiteral("cif::CIFColorWell"),
                                        [](QWidget* parent) { return new CIFColorWell(parent); });
        return true;
    }();
    Q_UNUSED(registered);
    QString error;
    QWidget* root = UiResource::load(QStringLiteral("ImageEditor"), nullptr, &error);
    m_window = qobject_cast<QDialog*>(root);
    if (!m_window) {
        delete root;  // not a dialog: unusable
        return false;
    }
    awakeFromNib();
    // The window opens where the user last left it.
    const QByteArray frame = frameSettings().value(kFrameKey).toByteArray();
    if (!frame.isEmpty()) m_window->restoreGeometry(frame);
    connect(m_window, &QDialog::finished, this,
            [this] { frameSettings().setValue(kFrameKey, m_window->saveGeometry()); });
    return true;
}

void CIFImageEditorController::awakeFromNib() {
    _CIFPlugInInstance = std::make_unique<CIFMain>();
    m_renderer = std::make_unique<CIFPreviewRenderer>();
    connect(m_renderer.get(), &CIFPreviewRenderer::finished, this,
            &CIFImageEditorController::showPreview);
    m_window->setWindowModality(Qt::ApplicationModal);

    _pictureView = outlet<CIFImageEditorView>(QStringLiteral("_pictureView"));
    _filtersTabView = outlet<QTabWidget>(QStringLiteral("_filtersTabView"));
    _scrollView = outlet<QScrollArea>(QStringLiteral("_scrollView"));
    _scaleSlider = outlet<QSlider>(QStringLiteral("_scaleSlider"));
    _buttonSet = outlet<QPushButton>(QStringLiteral("_buttonSet"));
    _buttonCancel = outlet<QPushButton>(QStringLiteral("_buttonCancel"));
    _applyButton = outlet<QPushButton>(QStringLiteral("_applyButton"));
    _generateButton = outlet<QPushButton>(QStringLiteral("_generateButton"));
    _undoButton = outlet<QPushButton>(QStringLiteral("_undoButton"));
    _redoButton = outlet<QPushButton>(QStringLiteral("_redoButton"));
    _sizeButton = outlet<QPushButton>(QStringLiteral("_sizeButton"));
    _tableView = outlet<QTableView>(QStringLiteral("_tableView"));
    _GLIFTableView = outlet<QTableView>(QStringLiteral("_GLIFTableView"));
    _filterControlsView = outlet<QWidget>(QStringLiteral("_filterControlsView"));
    _filterControlsTabView = outlet<QStackedWidget>(QStringLiteral("_filterControlsTabView"));
    _GLIFControlsView = outlet<QWidget>(QStringLiteral("_GLIFControlsView"));
    _GLIFControlsTabView = outlet<QStackedWidget>(QStringLiteral("_GLIFControlsTabView"));
    _GLIFColorControlsTabView = outlet<QStackedWidget>(QStringLiteral("_GLIFColorControlsTabView"));
    _helpTabView = outlet<QStackedWidget>(QStringLiteral("_helpTabView"));
    _windowTabSegmentButton = outlet<QWidget>(QStringLiteral("_windowTabSegmentButton"));
    m_segments = {outlet<QPushButton>(QStringLiteral("_segmentFilters")),
                  outlet<QPushButton>(QStringLiteral("_segmentGenerators"))};
    _colorGradientSlider = outlet<CCColorSlider>(QStringLiteral("_colorGradientSlider"));
    _colorSchemeSlider = outlet<CCColorSlider>(QStringLiteral("_colorSchemeSlider"));
    _colorSchemePopUpButton = outlet<QComboBox>(QStringLiteral("_colorSchemePopUpButton"));
    _useBackColorButton1 = outlet<QCheckBox>(QStringLiteral("_useBackColorButton1"));
    _useBackColorButton2 = outlet<QCheckBox>(QStringLiteral("_useBackColorButton2"));
    _backColorWell1 = outlet<CIFColorWell>(QStringLiteral("_backColorWell1"));
    _backColorWell2 = outlet<CIFColorWell>(QStringLiteral("_backColorWell2"));
    _glassTextureMenu = outlet<QComboBox>(QStringLiteral("_glassTextureMenu"));
    m_texturePopUps = {_glassTextureMenu,
                       outlet<QComboBox>(QStringLiteral("_texturePopUpButton20")),
                       outlet<QComboBox>(QStringLiteral("_texturePopUpButton0"))};
    m_texturePopUps.removeAll(nullptr);
    _brushesMenu = outlet<QComboBox>(QStringLiteral("_brushesMenu"));
    _shadedMaterialsMenu = outlet<QComboBox>(QStringLiteral("_shadedMaterialsMenu"));
    _filtersGroupPopUpButton30 = outlet<QComboBox>(QStringLiteral("_filtersGroupPopUpButton30"));

    // The fixed rows of each effect page.
    for (const auto& [page, rows] : {std::pair{QStringLiteral("0"), 4},
                                     {QStringLiteral("10"), 1},
                                     {QStringLiteral("20"), 2},
                                     {QStringLiteral("30"), 3}}) {
        QList<ControlRow>& list = m_pageRows[page];
        for (int i = 0; i < rows; ++i) {
            const QString suffix = page + u'_' + QString::number(i);
            list.push_back(
                {outlet<QLabel>(QStringLiteral("_controlsLabelTextField") + suffix),
                 outlet<QSlider>(QStringLiteral("_controlsDecimalSlider") + suffix),
                 outlet<QDoubleSpinBox>(QStringLiteral("_controlsDecimalTextField") + suffix),
                 outlet<QDoubleSpinBox>(QStringLiteral("_controlsDecimalStepper") + suffix)});
        }
    }
    for (int i = 0;; ++i) {
        auto* well =
            m_window->findChild<CIFColorWell*>(QStringLiteral("_controlsColorWell_%1").arg(i));
        if (!well) break;
        _controlsColorWell << well;
        m_colorLabels << m_window->findChild<QLabel*>(
            QStringLiteral("_controlsColorLabel_%1").arg(i));
    }
    for (int i = 0;; ++i) {
        auto* box =
            m_window->findChild<QCheckBox*>(QStringLiteral("_controlsBooleanCheckBox_%1").arg(i));
        if (!box) break;
        _controlsBooleanCheckBox << box;
    }
    _colorsRepObjects = QStringList(_controlsColorWell.size(), QString(""));
    m_componentView = outlet<QWidget>(QStringLiteral("_filterVectorControlsView"));
    for (int i = 0;; ++i) {
        auto* label =
            m_window->findChild<QLabel*>(QStringLiteral("_controlsVectorLabel_%1").arg(i));
        if (!label) break;
        m_vectorLabels << label;
        QList<QDoubleSpinBox*> fields;
        for (int j = 0;; ++j) {
            auto* f = m_window->findChild<QDoubleSpinBox*>(
                QStringLiteral("_controlsVectorField_%1_%2").arg(i).arg(j));
            if (!f) break;
            fields << f;
        }
        m_vectorFields << fields;
    }
    const auto numberRow = [this](const QString& stem, int k) {
        return ControlRow{
            m_window->findChild<QLabel*>(QStringLiteral("_controls%1Label_%2").arg(stem).arg(k)),
            m_window->findChild<QSlider*>(QStringLiteral("_controls%1Slider_%2").arg(stem).arg(k)),
            m_window->findChild<QDoubleSpinBox*>(
                QStringLiteral("_controls%1TextField_%2").arg(stem).arg(k)),
            m_window->findChild<QDoubleSpinBox*>(
                QStringLiteral("_controls%1Stepper_%2").arg(stem).arg(k))};
    };
    for (int k = 0; k < 2; ++k)
        m_offsetRows << numberRow(QStringLiteral("Offset"), k);
    for (int k = 0; k < 4; ++k)
        m_transformRows << numberRow(QStringLiteral("Transform"), k);
    m_transformCenter = {
        m_window->findChild<QDoubleSpinBox*>(QStringLiteral("_controlsTransformTX")),
        m_window->findChild<QDoubleSpinBox*>(QStringLiteral("_controlsTransformTY"))};

    buildResourceMenus();
    createToolbar();

    // The picture view reports to this controller.
    if (_pictureView) {
        _pictureView->setEditorController(this);
        connect(_pictureView->undoManager(), &QUndoStack::canUndoChanged, this,
                &CIFImageEditorController::refreshUndoButtons);
        connect(_pictureView->undoManager(), &QUndoStack::canRedoChanged, this,
                &CIFImageEditorController::refreshUndoButtons);
    }

    // The catalog lists.
    const auto marks = [this](int style) { return imageFromType(style); };
    m_generatorList = std::make_unique<CIFCatalogListModel>(*_CIFPlugInInstance, 1, marks);
    m_filterList = std::make_unique<CIFCatalogListModel>(*_CIFPlugInInstance, 0, marks);
    for (auto [table, model] : {std::pair{_tableView, m_filterList.get()},
                                std::pair{_GLIFTableView, m_generatorList.get()}}) {
        if (!table) continue;
        table->setModel(model);
        table->setItemDelegateForColumn(0, new CIFCategoryCell(table));
        table->setItemDelegateForColumn(1, new CIFImageCategoryCell(table));
        table->horizontalHeader()->hide();
        table->verticalHeader()->hide();
        table->verticalHeader()->setDefaultSectionSize(20);
        table->horizontalHeader()->setSectionResizeMode(0, QHeaderView::Stretch);
        table->horizontalHeader()->setSectionResizeMode(1, QHeaderView::Fixed);
        table->horizontalHeader()->resizeSection(1, 24);
        table->setEditTriggers(QAbstractItemView::NoEditTriggers);
        table->setWordWrap(false);
        table->setTextElideMode(Qt::ElideRight);
        connect(table->selectionModel(), &QItemSelectionModel::selectionChanged, this,
                [this, table = table] { tableViewSelectionDidChange(table); });
    }

    // Empty pages first; then the colour page of schemes is current.
    updateFilterControlsWithKeysAttrDesc({}, {});
    updateGLIFControlsWithKeysAttrDesc({}, {});
    selectColorPage(QStringLiteral("color scheme"));
    if (_colorSchemeSlider) _colorSchemeSlider->setKeyColorSelectionMode(true);

    // The main tab view is driven by the segmented control above it.
    if (QTabBar* bar = _filtersTabView ? _filtersTabView->findChild<QTabBar*>() : nullptr)
        bar->hide();
    for (int i = 0; i < m_segments.size(); ++i)
        if (m_segments[i])
            connect(m_segments[i], &QPushButton::clicked, this, [this, i] {
                if (_filtersTabView && _filtersTabView->currentIndex() != i) {
                    mainTabWillSelect(i);
                    _filtersTabView->setCurrentIndex(i);
                }
            });
    if (_filtersTabView)
        connect(_filtersTabView, &QTabWidget::currentChanged, this,
                &CIFImageEditorController::mainTabDidSelect);

    // Long renders show their progress beside the zoom slider.
    if (_scaleSlider && _scaleSlider->parentWidget()) {
        m_progressBar = new QProgressBar(_scaleSlider->parentWidget());
        m_progressBar->setRange(0, 100);
        m_progressBar->setMaximumWidth(120);
        m_progressBar->setTextVisible(false);
        m_progressBar->hide();
        if (auto* box = qobject_cast<QBoxLayout*>(_scrollView->parentWidget()->layout()))
            Q_UNUSED(box);
        for (QBoxLayout* layout : m_window->findChildren<QBoxLayout*>())
            if (layout->indexOf(_scaleSlider) >= 0) {
                layout->insertWidget(layout->indexOf(_scaleSlider) + 1, m_progressBar);
                break;
            }
        connect(m_renderer.get(), &CIFPreviewRenderer::progress, m_progressBar,
                [bar = m_progressBar](double f) {
                    bar->setValue(int(f * 100));
                    bar->setVisible(f < 1.0);
                });
    }
    // Accepting takes the preview through Set; the separate Apply button of
    // the description stays out of sight.
    if (_applyButton) _applyButton->hide();
    // The lists get the larger share of the side panel.
    for (const char* name : {"_filtersSplitter", "_generatorsSplitter"})
        if (auto* splitter = m_window->findChild<QSplitter*>(QLatin1String(name))) {
            splitter->setStretchFactor(0, 3);
            splitter->setStretchFactor(1, 2);
        }
    // Steppers show their arrows only; the field beside each shows the value.
    for (QDoubleSpinBox* box : m_window->findChildren<QDoubleSpinBox*>())
        if (box->objectName().contains(QLatin1String("Stepper")))
            CIFFilterControls::makeStepper(box);
    connectControls();
}

void CIFImageEditorController::createToolbar() {
    QWidget* area = m_window->findChild<QWidget*>(QStringLiteral("_toolbarView"));
    if (!area || !area->layout() || m_toolbar) return;
    m_toolbar = new QToolBar(area);
    m_toolbar->setObjectName(QStringLiteral("Properties toolbar"));
    m_toolbar->setIconSize(QSize(16, 16));
    m_toolbar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    m_toolbar->setMovable(false);
    m_toolbar->setFloatable(false);
    area->layout()->addWidget(m_toolbar);
    for (const QString& identifier : _CIFPlugInInstance->CIFAllFilterIdentifiers()) {
        if (identifier == NSToolbarSeparatorItemIdentifier)
            m_toolbar->addSeparator();
        else if (QAction* item = toolbarItemForItemIdentifier(identifier))
            m_toolbar->addAction(item);
    }
    connect(m_toolbar, &QToolBar::actionTriggered, this,
            &CIFImageEditorController::propertiesTabChange);
    // Customising: the context menu shows or hides each item. The choice
    // lasts while the process does; it is not saved.
    m_toolbar->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(m_toolbar, &QWidget::customContextMenuRequested, this, [this](const QPoint& at) {
        QMenu menu(m_toolbar);
        for (QAction* item : m_toolbar->actions()) {
            if (item->isSeparator()) continue;
            QAction* shown = menu.addAction(item->text());
            shown->setCheckable(true);
            shown->setChecked(item->isVisible());
            connect(shown, &QAction::toggled, item, &QAction::setVisible);
        }
        menu.exec(m_toolbar->mapToGlobal(at));
    });
}

QAction* CIFImageEditorController::toolbarItemForItemIdentifier(const QString& identifier) {
    QAction* item = nullptr;
    if (identifier == QLatin1String("id")) {
        item = new QAction(_CIFPlugInInstance->localizedString(QStringLiteral("Wrap")), m_toolbar);
        item->setIcon(QIcon(
            QPixmap::fromImage(loadResourcePicture(QStringLiteral("marks/inspector_wrap.tif")))));
    } else {
        const QString name = _CIFPlugInInstance->CIFFilterNameForID(identifier);
        if (name.isEmpty()) return nullptr;
        const QString title = CIFMain::localizedStringForClass(name);
        item = new QAction(title, m_toolbar);
        item->setToolTip(title);
        if (m_toolbarIcon.isNull())
            m_toolbarIcon =
                QIcon(QPixmap::fromImage(loadResourcePicture(QStringLiteral("marks/shapes.tif"))));
        item->setIcon(m_toolbarIcon);
    }
    item->setData(identifier);
    item->setObjectName(identifier);
    return item;
}

void CIFImageEditorController::propertiesTabChange(QAction* sender) {
    if (!sender || !_tableView) return;
    const int row = m_filterList->rowOfIdentifier(sender->data().toString());
    if (row < 0) return;
    if (currentMainPage() != kFiltersPage) {
        mainTabWillSelect(0);
        _filtersTabView->setCurrentIndex(0);
    }
    // Choosing the row makes the effect current and fills its page.
    _tableView->selectRow(row);
    _tableView->scrollTo(m_filterList->index(row, 0));
}

void CIFImageEditorController::buildResourceMenus() {
    const auto fill = [&](QComboBox* popUp, const QStringList& names, bool other) {
        if (!popUp) return;
        const QSignalBlocker block(popUp);
        popUp->clear();
        for (const QString& name : names) {
            popUp->addItem(_CIFPlugInInstance->localizedString(name), name);
            popUp->setItemData(popUp->count() - 1, 0, kTagRole);
        }
        if (other) {
            popUp->insertSeparator(popUp->count());
            popUp->addItem(_CIFPlugInInstance->localizedString(QStringLiteral("Other...")));
            popUp->setItemData(popUp->count() - 1, kOtherTag, kTagRole);
        }
    };
    const QStringList textures = _CIFPlugInInstance->CIFGlassTextureNames();
    for (QComboBox* popUp : m_texturePopUps)
        fill(popUp, textures, true);
    fill(_brushesMenu, _CIFPlugInInstance->CIFBrushNames(), true);
    fill(_shadedMaterialsMenu, _CIFPlugInInstance->CIFShadingMaterialNames(), false);
}

void CIFImageEditorController::connectControls() {
    const auto decimal = [this](QObject* control) { changeFilterDecimalControl(control); };
    for (QSlider* s : m_window->findChildren<QSlider*>())
        if (s != _scaleSlider)
            connect(s, &QSlider::valueChanged, this, [decimal, s] { decimal(s); });
    for (QDoubleSpinBox* box : m_window->findChildren<QDoubleSpinBox*>())
        connect(box, &QDoubleSpinBox::valueChanged, this, [decimal, box] { decimal(box); });
    for (QCheckBox* box : _controlsBooleanCheckBox)
        connect(box, &QCheckBox::toggled, this, [decimal, box] { decimal(box); });
    for (CIFColorWell* well : _controlsColorWell)
        connect(well, &CIFColorWell::colorChanged, this, [this, well] { changeColor(well); });
    for (CIFColorWell* well : {_backColorWell1, _backColorWell2})
        if (well)
            connect(well, &CIFColorWell::colorChanged, this, [this, well] { changeColor(well); });
    for (CCColorSlider* slider : {_colorGradientSlider, _colorSchemeSlider})
        if (slider)
            connect(slider, &CCColorSlider::valueChanged, this,
                    [this, slider] { changeFilterColorSliderControl(slider); });
    if (_colorSchemePopUpButton)
        connect(_colorSchemePopUpButton, &QComboBox::activated, this,
                &CIFImageEditorController::changeFilterColorSchemeControl);
    for (QCheckBox* box : {_useBackColorButton1, _useBackColorButton2})
        if (box) connect(box, &QCheckBox::clicked, this, [this, box] { useBackColorButton(box); });
    if (_filtersGroupPopUpButton30)
        connect(_filtersGroupPopUpButton30, &QComboBox::activated, this,
                [this] { changeFilterFromPopUpControl(_filtersGroupPopUpButton30); });
    for (QComboBox* popUp : m_texturePopUps)
        connect(popUp, &QComboBox::activated, this, [this, popUp] { texturePopUpButton(popUp); });
    if (_brushesMenu)
        connect(_brushesMenu, &QComboBox::activated, this, &CIFImageEditorController::brushPopup);
    if (_shadedMaterialsMenu)
        connect(_shadedMaterialsMenu, &QComboBox::activated, this,
                &CIFImageEditorController::shadedMaterialsPopUpButton);

    if (_scaleSlider)
        connect(_scaleSlider, &QSlider::valueChanged, this,
                &CIFImageEditorController::onScaleSlider);
    const auto button = [this](QPushButton* b, auto slot) {
        if (b) connect(b, &QPushButton::clicked, this, slot);
    };
    button(_applyButton, &CIFImageEditorController::applyButton);
    button(_generateButton, &CIFImageEditorController::generateButton);
    button(_undoButton, &CIFImageEditorController::undoButton);
    button(_redoButton, &CIFImageEditorController::redoButton);
    button(_sizeButton, &CIFImageEditorController::changeGeneratorImageSize);
    if (_buttonSet) {
        _buttonSet->setDefault(false);
        connect(_buttonSet, &QPushButton::clicked, this, [this] {
            applyButton();
            onCloseEditor(_buttonSet);
        });
    }
    if (_buttonCancel)
        connect(_buttonCancel, &QPushButton::clicked, this,
                [this] { onCloseEditor(_buttonCancel); });
    // The close box (and Escape) end the run with 0; the picture is kept.
    connect(m_window, &QDialog::rejected, this, [this] { m_renderer->cancelAll(); });
}

// ---- starting and ending

void CIFImageEditorController::startCommon(const HostImage& picture) {
    _CIFFilterName.clear();
    _CIFGroupName.clear();
    _picture = picture;
    _outputImage = {};
    m_renderer->cancelAll();
    m_shownPictureSize = picture.size();
    if (_pictureView) {
        _pictureView->setPicture(picture);
        _pictureView->updateSize();
        _pictureView->setTouched(false);
        _pictureView->undoManager()->clear();
    }
    _filtersAttrData.remove(kCrop);
    _CIFOldFilterName.clear();
    _CIFOldAttributes.clear();
}

bool CIFImageEditorController::prepareEditorUseSelectionWithRect(const HostImage& image,
                                                                 bool useSelection,
                                                                 const QRectF& rect) {
    if (!prepareRun(image, 0)) return false;
    if (useSelection && _pictureView) _pictureView->setSelection(rect);
    updateFilterControlsWithKeysAttrDesc({}, {});
    updateControls();
    return true;
}

bool CIFImageEditorController::prepareGeneratorWithRect(const QVariant& object,
                                                        const QRectF& rect) {
    HostImage picture = object.value<HostImage>();
    if (picture.isNull()) picture = blankPicture(rect.size());
    if (!prepareRun(picture, 1)) return false;
    updateControls();
    return true;
}

bool CIFImageEditorController::prepareRun(const HostImage& picture, int effectsSet) {
    if (!loadWindow()) {
        qWarning("Failed to load ImageEditor.nib");
        QApplication::beep();
        return false;
    }
    m_window->setResult(0);
    startCommon(picture);
    // Effects set 0 is the "filters" page, 1 the "generators" page, each
    // with its catalog list and help page.
    for (QPushButton* b : {_generateButton, _undoButton, _redoButton})
        if (b) b->setVisible(effectsSet == 1);
    _CIFPlugInInstance->CIFSetEffectsSet(effectsSet);
    _point1 = QPointF(picture.size().width() / 2, picture.size().height() / 2);
    m_window->show();
    zoomToFit();
    if (_filtersTabView->currentIndex() != effectsSet) {
        mainTabWillSelect(effectsSet);
        _filtersTabView->setCurrentIndex(effectsSet);
    } else {
        mainTabDidSelect(effectsSet);
    }
    QTableView* list = effectsSet == 1 ? _GLIFTableView : _tableView;
    list->clearSelection();
    list->selectRow(0);
    if (_helpTabView) _helpTabView->setCurrentIndex(effectsSet);
    zoomToFit();
    return true;
}

int CIFImageEditorController::runModal() {
    const int result = m_window->exec();
    m_endSelected = _pictureView && _pictureView->isSelected();
    m_endSelection = _pictureView ? _pictureView->getSelection() : QRectF();
    m_renderer->cancelAll();
    if (_pictureView) _pictureView->setPicture({});
    _picture = {};
    return result;
}

int CIFImageEditorController::modalResult() const {
    return m_window ? m_window->result() : 0;
}

int CIFImageEditorController::startEditorUseSelectionWithRect(const HostImage& image,
                                                              bool useSelection,
                                                              const QRectF& rect) {
    if (!prepareEditorUseSelectionWithRect(image, useSelection, rect)) return 0;
    return runModal();
}

int CIFImageEditorController::startGeneratorWithRect(const QVariant& object, const QRectF& rect) {
    if (!prepareGeneratorWithRect(object, rect)) return 0;
    return runModal();
}

bool CIFImageEditorController::isSelected() const {
    if (_pictureView && !_pictureView->picture().isNull()) return _pictureView->isSelected();
    return m_endSelected;
}

QRectF CIFImageEditorController::getSelectedRect() const {
    if (_pictureView && !_pictureView->picture().isNull()) return _pictureView->getSelection();
    return m_endSelection;
}

void CIFImageEditorController::setSelectedRect(const QRectF& rect) {
    if (_pictureView) _pictureView->setSelection(rect);
}

void CIFImageEditorController::applyButton() {
    // The accepted picture is the newest preview: wait for it if it is
    // still being made.
    waitForPreview();
    const HostImage picture = _pictureView ? _pictureView->picture() : HostImage();
    if (picture.isNull()) {
        qWarning("no image to apply");
        return;
    }
    _outputImage = picture;
}

void CIFImageEditorController::onCloseEditor(QAbstractButton* sender) {
    const int tag = sender ? sender->property("tag").toInt() : 0;
    m_renderer->cancelAll();
    m_window->done(tag != 0 ? 1 : 0);
}

// ---- zoom

double CIFImageEditorController::scaleForSliderValue(double s) {
    return s > 0 ? 1.0 + 0.125 * s : 1.0 / (1.0 + 0.125 * std::abs(s));
}

double CIFImageEditorController::sliderValueForScale(double scale) {
    return scale >= 1.0 ? 8.0 * (scale - 1.0) : -8.0 * (1.0 / scale - 1.0);
}

void CIFImageEditorController::onScaleSlider(int value) {
    if (_pictureView) _pictureView->setScaleFactor(scaleForSliderValue(value));
}

void CIFImageEditorController::scrollWheelDidChange(double scale) {
    if (!_scaleSlider) return;
    const QSignalBlocker block(_scaleSlider);
    _scaleSlider->setValue(int(std::lround(sliderValueForScale(scale))));
}

void CIFImageEditorController::zoomToFit() {
    if (!_pictureView || _picture.isNull()) return;
    const QSizeF content = _pictureView->contentSize();
    const QSizeF size = _picture.size();
    if (size.isEmpty() || content.isEmpty()) return;
    const double scale =
        std::min(0.8 * content.width() / size.width(), 0.8 * content.height() / size.height());
    _pictureView->setScaleFactor(scale);
    if (_scaleSlider) {
        // The start-up mapping: (scale - 1) * 8 on both sides of 1.
        const QSignalBlocker block(_scaleSlider);
        _scaleSlider->setValue(int(std::lround((scale - 1.0) * 8.0)));
    }
}

// ---- tabs and lists

QString CIFImageEditorController::currentPageName(QStackedWidget* pages) {
    return pages && pages->currentWidget() ? pages->currentWidget()->objectName() : QString();
}

QString CIFImageEditorController::currentMainPage() const {
    return _filtersTabView && _filtersTabView->currentWidget()
               ? _filtersTabView->currentWidget()->objectName()
               : QString();
}

void CIFImageEditorController::mainTabWillSelect(int index) {
    const QWidget* page = _filtersTabView->widget(index);
    _CIFPlugInInstance->CIFSetEffectsSet(page && page->objectName() == kGeneratorsPage ? 1 : 0);
    updateControls();
}

void CIFImageEditorController::mainTabDidSelect(int index) {
    const QString page = currentMainPage();
    QTableView* table = nullptr;
    CIFCatalogListModel* model = nullptr;
    if (page == kFiltersPage || page == kGeneratorsPage) {
        _editMode = 1;
        table = page == kFiltersPage ? _tableView : _GLIFTableView;
        model = page == kFiltersPage ? m_filterList.get() : m_generatorList.get();
        if (page == kGeneratorsPage) {
            const QModelIndexList rows = table->selectionModel()->selectedRows();
            if (rows.isEmpty() || rows.first().row() < 1) table->selectRow(0);
        }
    }
    for (int i = 0; i < m_segments.size(); ++i)
        if (m_segments[i]) m_segments[i]->setChecked(i == index);
    const bool generators = page == kGeneratorsPage;
    for (QPushButton* b : {_generateButton, _undoButton, _redoButton})
        if (b) b->setVisible(generators);
    if (_helpTabView) _helpTabView->setCurrentIndex(generators ? 1 : 0);
    if (table && model) {
        const QModelIndexList rows = table->selectionModel()->selectedRows();
        const QString identifier =
            rows.isEmpty() ? QString() : model->identifierAtRow(rows.first().row());
        if (!identifier.isEmpty() && identifier != _CIFFilterName) {
            selectFilterWithIdentifierGroupIdentifier(identifier, _CIFGroupName);
            return;
        }
    }
    initRandomSeedWithValue(_randomSeed);
    applyCurrentFilter();
    if (_pictureView) _pictureView->adobtPositionToCenter();
}

void CIFImageEditorController::tableViewSelectionDidChange(QTableView* table) {
    if (!table->isVisibleTo(m_window) && table->window() == m_window &&
        currentMainPage() != (table == _tableView ? kFiltersPage : kGeneratorsPage))
        return;
    auto* model = static_cast<CIFCatalogListModel*>(table->model());
    const QModelIndexList rows = table->selectionModel()->selectedRows();
    if (rows.isEmpty()) return;
    const QString identifier = model->identifierAtRow(rows.first().row());
    if (identifier.isNull()) return;
    const auto group = _CIFPlugInInstance->CIFFiltersDescriptorForGroup(identifier);
    if (group && !group->isEmpty()) {
        _CIFGroupName = identifier;
        selectFilterWithIdentifierGroupIdentifier(
            group->first().toMap().value(CIFFilterIdentifier).toString(), identifier);
    } else {
        _CIFGroupName.clear();
        selectFilterWithIdentifierGroupIdentifier(identifier, {});
    }
}

// ---- selecting an effect

void CIFImageEditorController::selectFilterWithIdentifier(const QString& identifier) {
    selectFilterWithIdentifierGroupIdentifier(identifier, {});
}

void CIFImageEditorController::selectFilterWithIdentifierGroupIdentifier(const QString& identifier,
                                                                         const QString& group) {
    if (!group.isEmpty()) _CIFGroupName = group;
    if (identifier.isEmpty()) {
        updateFilterControlsWithKeysAttrDesc({}, {});
        updateGLIFControlsWithKeysAttrDesc({}, {});
        return;
    }
    const QStringList keys = _CIFPlugInInstance->CIFQueryInputKeysForFilter(identifier);
    const QVariantMap attributes = _CIFPlugInInstance->CIFQueryAttributesForFilter(identifier);
    _CIFFilterName = identifier;
    const QString page = currentMainPage();
    if (page == kFiltersPage) {
        // Remembered parameters win over the defaults.
        if (_filtersAttrData.contains(identifier)) {
            _CIFAttributes = _filtersAttrData.value(identifier).toMap();
        } else {
            _CIFAttributes.clear();
            const auto descriptor =
                _CIFPlugInInstance->CIFDescriptorForFilterNameWithGroups(identifier);
            int row = 0;
            for (const QString& key : keys) {
                const QVariantMap a = attributes.value(key).toMap();
                if (a.value(QStringLiteral("CIAttributeClass")).toString() == u"NSNumber") {
                    QVariant value = a.value(QStringLiteral("CIAttributeDefault"));
                    const QString defKey = CIFFilterDefValue + QString::number(++row);
                    if (descriptor && descriptor->contains(defKey) &&
                        a.value(QStringLiteral("CIAttributeType")).toString() !=
                            u"CIAttributeTypeBoolean")
                        value = descriptor->value(defKey);
                    if (value.isValid()) _CIFAttributes.insert(key, value.toDouble());
                } else if (a.contains(QStringLiteral("CIAttributeDefault")) &&
                           key != QLatin1String("inputImage")) {
                    _CIFAttributes.insert(key, a.value(QStringLiteral("CIAttributeDefault")));
                }
            }
            _CIFPlugInInstance->addDefaultParametersToDictionaryWithFilterName(_CIFAttributes,
                                                                               identifier);
        }
        updateFilterControlsWithKeysAttrDesc(keys, attributes);
    } else if (page == kGeneratorsPage) {
        if (_pictureView) _pictureView->undoManager()->clear();
        _CIFOldFilterName.clear();
        _CIFOldAttributes.clear();
        refreshUndoButtons();
        const auto descriptor =
            _CIFPlugInInstance->CIFDescriptorForFilterNameWithGroups(identifier);
        QWidget* own =
            _GLIFControlsTabView->findChild<QWidget*>(identifier, Qt::FindDirectChildrenOnly);
        _GLIFControlsTabView->setCurrentWidget(
            own ? own : _GLIFControlsTabView->findChild<QWidget*>(QStringLiteral("dump")));
        selectColorPage(descriptor && tagOf(*descriptor) == 1 ? QStringLiteral("color gradient")
                                                              : QStringLiteral("color scheme"));
        _CIFAttributes = _filtersAttrData.value(identifier).toMap();
        if (_CIFAttributes.contains(kSeedKey))
            initRandomSeedWithValue(_CIFAttributes.value(kSeedKey).toUInt());
        updateGLIFControlsWithKeysAttrDesc(keys, attributes);
    } else {
        updateFilterControlsWithKeysAttrDesc({}, {});
        updateGLIFControlsWithKeysAttrDesc({}, {});
    }
    applyCurrentFilter();
    if (_buttonSet) _buttonSet->setDefault(_editMode == 0);
    m_window->activateWindow();
}

// ---- rendering

void CIFImageEditorController::applyCurrentFilter() {
    applyFilterWithAttributes(_CIFFilterName, _CIFAttributes);
}

void CIFImageEditorController::applyFilterWithAttributes(const QString& name,
                                                         const QVariantMap& given) {
    if (!m_window || name.isEmpty()) {
        if (m_window && _pictureView) _pictureView->update();
        return;
    }
    QVariantMap attributes = given;
    const QVariantMap description = _CIFPlugInInstance->CIFQueryAttributesForFilter(name);
    if (description.contains(QStringLiteral("inputCenter")))
        attributes.insert(QStringLiteral("inputCenter"), _point1);
    if (description.contains(QStringLiteral("inputTexture"))) {
        const HostImage texture = textureImage();
        if (texture.isNull()) {
            qWarning("can't locate glass texture");
            return;
        }
        attributes.insert(QStringLiteral("inputTexture"), QVariant::fromValue(texture));
    }
    if (description.contains(QStringLiteral("inputShadingImage"))) {
        const HostImage material = shadedMaterialImage();
        if (material.isNull()) {
            qWarning("can't locate shading material");
            return;
        }
        attributes.insert(QStringLiteral("inputShadingImage"), QVariant::fromValue(material));
    }
    attributes.insert(kSeedKey, _randomSeed);
    if (name == QLatin1String("GLIF_Dabs"))
        attributes.insert(QStringLiteral("GLIFBrush"), QVariant::fromValue(brushImage()));
    // "Crop" in the remembered data is the selection, not the crop tool's
    // parameters (it has none worth keeping).
    if (name != kCrop) _filtersAttrData.insert(name, attributes);
    if (name == _CIFFilterName) _CIFAttributes = attributes;

    if (!_picture.isNull() && _editMode == 1) {
        CIFPreviewRenderer::Request request{name, attributes, _picture, _randomSeed, {}, {}};
        // Large pictures show a quick picture at the view's resolution
        // first; the full-size one follows once the changes pause.
        if (_pictureView &&
            qint64(_picture.pixelsWide()) * _picture.pixelsHigh() >= kQuickPreviewArea) {
            const QSizeF shown = _picture.size() * _pictureView->getScaleFactor() *
                                 _pictureView->devicePixelRatioF();
            request.previewPixels =
                QSize(std::max(1, qRound(shown.width())), std::max(1, qRound(shown.height())));
            request.previewAttributes = CIFPreviewRenderer::scaledAttributes(
                attributes, description,
                double(request.previewPixels.width()) / std::max(1, _picture.pixelsWide()));
        }
        m_renderer->request(std::move(request));
    } else {
        m_renderer->cancelAll();
        if (_pictureView && !_picture.isNull() && !_pictureView->picture().isSameObject(_picture))
            showPreview(0, _picture);
        else if (_pictureView)
            _pictureView->update();
    }
}

void CIFImageEditorController::showPreview(quint64, const HostImage& rendered) {
    if (!_pictureView) return;
    // A render that yields nothing shows the picture itself.
    const HostImage picture = rendered.isNull() ? _picture : rendered;
    _pictureView->setPicture(picture);
    _pictureView->updateSize();
    if (picture.size() != m_shownPictureSize) {
        m_shownPictureSize = picture.size();
        zoomToFit();
    }
    updateControls();
    _pictureView->update();
}

bool CIFImageEditorController::waitForPreview(int timeoutMs) {
    return !m_renderer || m_renderer->waitUntilIdle(timeoutMs);
}

bool CIFImageEditorController::waitForFirstPreview(int timeoutMs) {
    return !m_renderer || m_renderer->waitUntilShown(timeoutMs);
}

void CIFImageEditorController::applyPicture(CIFImageEditorView*) {
    applyCurrentFilter();
}

void CIFImageEditorController::setCenterPoint(const QPointF& point) {
    _point1 = point;
}

void CIFImageEditorController::initRandomSeedWithValue(quint32 seed) {
    _randomSeed = seed;
    std::srand(seed);
}

void CIFImageEditorController::selectionDidChange(CIFImageEditorView* view) {
    updateControls();
    if (view->isSelected())
        _filtersAttrData.insert(kCrop, view->getSelection());
    else if (_CIFFilterName == kCrop)
        _filtersAttrData.remove(kCrop);
    _point1 = view->pickPoint();
}

// ---- generator runs and undo

void CIFImageEditorController::generateButton() {
    if (!_CIFFilterName.startsWith(QLatin1String("GLIF_")) || !_pictureView) return;
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto seed =
        quint32(std::chrono::duration_cast<std::chrono::microseconds>(now).count() % 1000000);
    if (_CIFOldFilterName.isEmpty()) {
        _CIFOldFilterName = _CIFFilterName;
        _CIFOldAttributes = _CIFAttributes;
        _CIFOldAttributes.insert(kSeedKey, _randomSeed);
    }
    QVariantMap attributes = _CIFAttributes;
    attributes.insert(kSeedKey, seed);
    _CIFAttributes = attributes;
    _pictureView->setGeneratorWithAttrOldGeneratorWithAttr(_CIFFilterName, attributes,
                                                           _CIFOldFilterName, _CIFOldAttributes);
    _CIFOldFilterName = _CIFFilterName;
    _CIFOldAttributes = attributes;
    refreshUndoButtons();
}

void CIFImageEditorController::undoButton() {
    if (_pictureView) _pictureView->undoManager()->undo();
    refreshUndoButtons();
}

void CIFImageEditorController::redoButton() {
    if (_pictureView) _pictureView->undoManager()->redo();
    refreshUndoButtons();
}

void CIFImageEditorController::refreshUndoButtons() {
    if (!_pictureView) return;
    if (_undoButton) _undoButton->setEnabled(_pictureView->undoManager()->canUndo());
    if (_redoButton) _redoButton->setEnabled(_pictureView->undoManager()->canRedo());
}

// ---- picture size

void CIFImageEditorController::changeGeneratorImageSize() {
    const bool generator = currentMainPage() == kGeneratorsPage;
    // Generators size the picture in points, free; a picture keeps its
    // proportions unless the user says otherwise.
    const QSizeF current =
        generator ? _picture.size() : QSizeF(_picture.pixelsWide(), _picture.pixelsHigh());
    CIFImageInfoController* tool = CIFImageInfoController::sharedImageInfoTool();
    tool->sheetChangeSizeConstrainProportionsMakeThumbnailDisableFitToSizeModalDelegateDidEndSelector(
        current, !generator, false, true, m_window, [this, tool, generator](int returnCode) {
            // The generator sheet's end does not look at how it ended.
            if (!generator && returnCode == 0) return;
            const QSizeF chosen = tool->imageSize();
            pictureSizeSheetDidEnd(QSize(int(chosen.width()), int(chosen.height())), generator);
        });
}

void CIFImageEditorController::pictureSizeSheetDidEnd(QSize size, bool generator) {
    if (size.isEmpty()) return;
    if (generator) {
        _picture = blankPicture(size);
        _filtersAttrData.remove(kCrop);
        initRandomSeedWithValue(_randomSeed);
        applyCurrentFilter();
        return;
    }
    // A new picture of the size: white ground, the old picture drawn into it.
    QImage image(size, QImage::Format_RGBA8888_Premultiplied);
    if (image.isNull()) return;
    image.fill(Qt::white);
    {
        QPainter painter(&image);
        _picture.drawInRect(painter, QRectF(QPointF(0, 0), QSizeF(size)));
    }
    _picture = HostImage::fromQImage(image);
    if (_pictureView) {
        _pictureView->setPicture(_picture);
        _pictureView->updateSize();
        _pictureView->adobtPositionToCenter();
    }
    _filtersAttrData.remove(kCrop);
    if (_pictureView) _pictureView->setTouched(true);
    applyCurrentFilter();
}

// ---- resources

HostImage CIFImageEditorController::textureImage() const {
    const QComboBox* popUp = m_texturePopUps.isEmpty() ? nullptr : m_texturePopUps.first();
    if (!popUp || popUp->currentIndex() < 0) return {};
    if (popUp->currentData(kTagRole).toInt() == kOtherTag) return _customTextureImage;
    return _CIFPlugInInstance->CIFGlassTextureWithName(popUp->currentData().toString());
}

HostImage CIFImageEditorController::brushImage() const {
    if (!_brushesMenu || _brushesMenu->currentIndex() < 0) return {};
    if (_brushesMenu->currentData(kTagRole).toInt() == kOtherTag) return _customBrushImage;
    return convertMaskImage(
        _CIFPlugInInstance->CIFBrushWithName(_brushesMenu->currentData().toString()));
}

HostImage CIFImageEditorController::shadedMaterialImage() const {
    if (!_shadedMaterialsMenu || _shadedMaterialsMenu->currentIndex() < 0) return {};
    return _CIFPlugInInstance->CIFShadingMaterialWithName(
        _shadedMaterialsMenu->currentData().toString());
}

HostImage CIFImageEditorController::convertMaskImage(const HostImage& image) {
    const QImage bitmap = image.bitmap();
    if (bitmap.format() != QImage::Format_Grayscale8) return image;
    // Grey becomes coverage: black whose alpha is the grey value.
    QImage alpha(bitmap.size(), QImage::Format_ARGB32);
    if (alpha.isNull()) return image;
    for (int y = 0; y < bitmap.height(); ++y) {
        const uchar* in = bitmap.constScanLine(y);
        auto* out = reinterpret_cast<QRgb*>(alpha.scanLine(y));
        for (int x = 0; x < bitmap.width(); ++x)
            out[x] = qRgba(0, 0, 0, in[x]);
    }
    return HostImage::fromQImage(alpha, image.size());
}

void CIFImageEditorController::texturePopUpButton(QComboBox* sender) {
    // All texture pop-ups show the same choice.
    for (QComboBox* popUp : m_texturePopUps)
        if (popUp != sender) {
            const QSignalBlocker block(popUp);
            popUp->setCurrentIndex(sender->currentIndex());
        }
    if (sender->currentData(kTagRole).toInt() == kOtherTag) {
        openImageSheet([this](const QString& path) {
            if (!path.isEmpty()) {
                QString error;
                const HostImage loaded = HostImage::load(path, &error);
                if (loaded.isNull())
                    qWarning("%s", qUtf8Printable(error));
                else
                    _customTextureImage = loaded;
            }
            rerender();
        });
        return;
    }
    rerender();
}

QFileDialog* CIFImageEditorController::openImageSheet(
    const std::function<void(const QString&)>& done) {
    // A sheet: modal to the editor window only, answering when it closes.
    auto* panel = new QFileDialog(
        m_window, _CIFPlugInInstance->localizedString(QStringLiteral("Other...")), {},
        QStringLiteral("Images (*.%1)").arg(CIFMain::imageFileTypes().join(QStringLiteral(" *."))));
    panel->setObjectName(QStringLiteral("CIFOpenPanel"));
    panel->setWindowModality(Qt::WindowModal);
    panel->setFileMode(QFileDialog::ExistingFile);
    panel->setAttribute(Qt::WA_DeleteOnClose);
    connect(panel, &QFileDialog::finished, this, [panel, done](int result) {
        const QStringList chosen = panel->selectedFiles();
        done(result == QDialog::Accepted && !chosen.isEmpty() ? chosen.first() : QString());
    });
    panel->open();
    return panel;
}

void CIFImageEditorController::brushPopup() {
    if (_brushesMenu->currentData(kTagRole).toInt() == kOtherTag) {
        openImageSheet([this](const QString& path) {
            QString error;
            const HostImage loaded = path.isEmpty() ? HostImage() : HostImage::load(path, &error);
            if (loaded.isNull()) {
                // No brush came: the first one is used again.
                if (!error.isEmpty()) qWarning("%s", qUtf8Printable(error));
                _brushesMenu->setCurrentIndex(0);
            } else {
                _customBrushImage = convertMaskImage(loaded);
            }
            rerender();
        });
        return;
    }
    rerender();
}

void CIFImageEditorController::shadedMaterialsPopUpButton() {
    rerender();
}

// ---- cursors and marks

QCursor CIFImageEditorController::cursorFromType(int type) {
    if (const auto it = m_cursors.constFind(type); it != m_cursors.cend()) return *it;
    struct Shape {
        int type;
        const char* picture;
        int x, y;
    };
    static constexpr Shape kShapes[] = {
        {0, "resizeHCursor", 7, 7},       {1, "resizeVCursor", 7, 7},
        {2, "resizeD1Cursor", 7, 7},      {3, "resizeD2Cursor", 7, 7},
        {4, "boxCursor", 5, 6},           {5, "sepCursor", 6, 6},
        {8, "openhandCursor", 5, 6},      {9, "closedhandCursor", 5, 6},
        {10, "textContinueCursor", 0, 0}, {11, "targetCursor", 5, 6},
    };
    QCursor cursor(type == 6 ? Qt::IBeamCursor : Qt::ArrowCursor);
    for (const Shape& s : kShapes)
        if (s.type == type) {
            const QImage picture =
                loadResourcePicture(QStringLiteral("cursors/%1.png").arg(QLatin1String(s.picture)));
            if (!picture.isNull()) cursor = QCursor(QPixmap::fromImage(picture), s.x, s.y);
        }
    m_cursors.insert(type, cursor);
    return cursor;
}

QImage CIFImageEditorController::imageFromType(int type) {
    const char* name = nullptr;
    switch (type) {
        case 7:
            name = "select";
            break;
        case 11:
            name = "small_pricel";
            break;
        case 12:
            name = "small_koleso";
            break;
        case 13:
            name = "small_crop";
            break;
        case 14:
            name = "small_color_pricel";
            break;
        default:
            return {};
    }
    if (const auto it = m_marks.constFind(type); it != m_marks.cend()) return *it;
    const QImage mark =
        loadResourcePicture(QStringLiteral("marks/%1.tif").arg(QLatin1String(name)));
    m_marks.insert(type, mark);
    return mark;
}

}  // namespace cif
