#pragma once
// CIFImageEditorController: the editor window's controller. One shared
// instance serves the process. The principal object hands it a picture and
// runs the window modally, either as an effect editor (pick an effect in the
// catalog list, tune it on a live preview, accept) or as a generator (pick a
// generator, set the picture size, regenerate with new random seeds).
//
// The controller owns the parameter dictionary of the current effect
// (_CIFAttributes), remembers the parameters of every effect used in this
// process (_filtersAttrData), and renders each preview through a private
// principal object on a render thread of its own (CIFPreviewRenderer): a
// burst of changes becomes one render and a render made stale by a newer
// change is cancelled. The accepted picture is the preview itself, so it has
// exactly the previewed pixels.
//
// The window is the description "ImageEditor" (Resources/ui/ImageEditor.ui
// of the bundle), loaded on first use; every control is found there by its
// object name. Points and rectangles are picture coordinates (points, origin
// bottom-left). Main thread only.

#include <QColor>
#include <QCursor>
#include <QHash>
#include <QIcon>
#include <QImage>
#include <QList>
#include <QObject>
#include <QPointF>
#include <QPointer>
#include <QRectF>
#include <QString>
#include <QStringList>
#include <QVariantMap>
#include <functional>
#include <memory>

#include "core/CIFEditorInterface.h"
#include "editor/CIFImageEditorViewDelegate.h"
#include "platform/host/HostImage.h"

class QAbstractButton;
class QAction;
class QToolBar;
class QCheckBox;
class QComboBox;
class QDialog;
class QFileDialog;
class QDoubleSpinBox;
class QLabel;
class QProgressBar;
class QPushButton;
class QScrollArea;
class QSlider;
class QStackedWidget;
class QTabWidget;
class QTableView;
class QWidget;

namespace cif {

class CCColorSlider;
class CIFCatalogListModel;
class CIFColorWell;
class CIFImageEditorView;
class CIFMain;
class CIFPreviewRenderer;

class CIFImageEditorController final : public QObject,
                                       public CIFImageEditor,
                                       public CIFImageEditorViewDelegate {
    Q_OBJECT

public:
    // One row of number controls: label, slider, value field and stepper.
    struct ControlRow {
        QLabel* label = nullptr;
        QSlider* slider = nullptr;
        QDoubleSpinBox* field = nullptr;
        QDoubleSpinBox* stepper = nullptr;
    };

    // The shared instance, made on first use; it lives until the
    // application object goes away. Needs a QApplication.
    static CIFImageEditorController* sharedImageEditor();
    // Fills popUp with one item per filter descriptor: its localised
    // CIFFilterName as title, its CIFFilterIdentifier as item data.
    static void filtersMenuWithGroupDesc(const QVariantList& descriptors, QComboBox* popUp);

    CIFImageEditorController();
    ~CIFImageEditorController() override;

    // ---- called by the principal object (CIFImageEditor)

    // Runs the editor on a picture; 1 when the user accepted, 0 otherwise
    // (also when the window description cannot be loaded).
    int startEditorUseSelectionWithRect(const HostImage& image, bool useSelection,
                                        const QRectF& rect) override;
    // Runs the generators on `object` (a HostImage) or, when it holds none,
    // on a blank picture of rect's size.
    int startGeneratorWithRect(const QVariant& object, const QRectF& rect) override;
    HostImage outputImage() const override { return _outputImage; }
    bool isSelected() const override;
    QRectF getSelectedRect() const override;
    void setSelectedRect(const QRectF& rect);

    // The start steps without the modal run: the window is shown and can be
    // driven by events; it ends through Set, Cancel or the close box, whose
    // result modalResult() reads. startEditor... is prepare + runModal.
    bool prepareEditorUseSelectionWithRect(const HostImage& image, bool useSelection,
                                           const QRectF& rect);
    bool prepareGeneratorWithRect(const QVariant& object, const QRectF& rect);
    int runModal();
    int modalResult() const;

    // ---- the picture view's editor (CIFImageEditorViewDelegate)

    void selectionDidChange(CIFImageEditorView* view) override;
    void scrollWheelDidChange(double scale) override;
    void setCenterPoint(const QPointF& point) override;
    void applyPicture(CIFImageEditorView* view) override;
    QCursor cursorFromType(int type) override;
    int editMode() const override { return _editMode; }
    int pointingMode() const override { return _pointingMode; }
    QString filterName() const override { return _CIFFilterName; }
    void initRandomSeedWithValue(quint32 seed) override;
    void applyFilterWithAttributes(const QString& name, const QVariantMap& attributes) override;

    // ---- selecting and rendering

    void selectFilterWithIdentifierGroupIdentifier(const QString& identifier, const QString& group);
    void selectFilterWithIdentifier(const QString& identifier);
    void applyCurrentFilter();
    // Runs the event loop until the newest preview is on screen at full
    // size (the picture Set accepts); false after timeoutMs.
    bool waitForPreview(int timeoutMs = 60000);
    // The same until the newest preview's first picture is on screen: on a
    // large picture, the quick one at the view's resolution.
    bool waitForFirstPreview(int timeoutMs = 60000);

    // ---- control pages

    void selectFilterControlsWithTag(int tag);
    void updateFilterControlsWithKeysAttrDesc(const QStringList& keys,
                                              const QVariantMap& attributes);
    void updateGLIFControlsWithKeysAttrDesc(const QStringList& keys, const QVariantMap& attributes);
    void setFilterDefaultsAttrForKeysWithAttr(const QString& filterName, const QStringList& keys,
                                              const QVariantMap& attributes);
    void updateControls();

    // ---- toolbar

    // The toolbar "Properties toolbar" above the window's panes: one item
    // per effect of the catalog (separators between categories), each
    // titled with the effect's name and sending propertiesTabChange; its
    // context menu shows and hides items for this run of the process.
    void createToolbar();
    QToolBar* toolbar() const { return m_toolbar; }
    // The item of an effect identifier, or "id" for the wrap item; null for
    // an identifier the catalog does not hold.
    QAction* toolbarItemForItemIdentifier(const QString& identifier);

    // ---- zoom: slider value s <-> scale

    static double scaleForSliderValue(double s);
    static double sliderValueForScale(double scale);

    // ---- resources

    // The list mark of a CIFFilterStyle (7, 11..14), null for any other.
    QImage imageFromType(int type);
    // A grey 8-bit picture becomes a picture whose alpha is the grey and
    // whose colour is black; any other picture is returned as it is.
    static HostImage convertMaskImage(const HostImage& image);
    HostImage textureImage() const;
    HostImage brushImage() const;
    HostImage shadedMaterialImage() const;

    // ---- state, for the principal object and for tests

    QDialog* window() const { return m_window; }
    CIFImageEditorView* pictureView() const { return _pictureView; }
    const QVariantMap& attributes() const { return _CIFAttributes; }
    const QVariantMap& filtersAttrData() const { return _filtersAttrData; }
    QString groupName() const { return _CIFGroupName; }
    quint32 randomSeed() const { return _randomSeed; }
    QPointF point1() const { return _point1; }
    // The page name shown in a tab view ("filters", "0", "dump", ...).
    static QString currentPageName(QStackedWidget* pages);
    QString currentMainPage() const;

public slots:
    // ---- actions of the window
    void applyButton();
    void onCloseEditor(QAbstractButton* sender);
    void onScaleSlider(int value);
    void generateButton();
    void undoButton();
    void redoButton();
    void changeGeneratorImageSize();
    void texturePopUpButton(QComboBox* sender);
    void brushPopup();
    void shadedMaterialsPopUpButton();
    void propertiesTabChange(QAction* sender);

    // ---- change handlers
    void changeFilterDecimalControl(QObject* sender);
    void changeFilterPopUpControl(QComboBox* sender);
    void changeFilterFromPopUpControl(QComboBox* sender);
    void changeColor(CIFColorWell* sender);
    void changeFilterColorSliderControl(CCColorSlider* sender);
    void changeFilterColorSchemeControl();
    void useBackColorButton(QCheckBox* sender);

private:
    bool loadWindow();
    // Opens an open panel for pictures as a sheet on the window; done gets
    // the chosen file, or an empty path when the panel was cancelled.
    QFileDialog* openImageSheet(const std::function<void(const QString&)>& done);
    void awakeFromNib();
    void connectControls();
    void buildResourceMenus();
    void zoomToFit();
    void startCommon(const HostImage& picture);
    // The start steps both runs share, on effects set 0 or 1.
    bool prepareRun(const HostImage& picture, int effectsSet);
    void mainTabWillSelect(int index);
    void mainTabDidSelect(int index);
    void tableViewSelectionDidChange(QTableView* table);
    void showPreview(quint64 number, const HostImage& picture);
    void refreshUndoButtons();
    void setEditorPicture(const HostImage& picture);
    void pictureSizeSheetDidEnd(QSize size, bool generator);
    void selectColorPage(const QString& name);
    void configureColorPage();
    void fillRow(const ControlRow& row, const QVariant& representedObject, double minimum,
                 double maximum, double value, bool integer);
    void fillComponentRows(const QStringList& keys, const QVariantMap& attributes);
    void updateComponentControls();
    // A control of a vector, offset or transform row (represented object:
    // the input key and the component) writes that component back.
    void changeFilterComponentControl(QObject* sender);
    void setRowValue(const ControlRow& row, double value);
    void writeBack(const QString& key, const QVariant& value);
    void rerender();
    QList<ControlRow> generatorRows(const QString& identifier) const;
    QStringList generatorPageKeys(const QString& identifier) const;
    template <class T>
    T* outlet(const QString& name) const;

    // The window and its outlets.
    QDialog* m_window = nullptr;  // owned; deleted with the controller
    CIFImageEditorView* _pictureView = nullptr;
    QTabWidget* _filtersTabView = nullptr;
    QScrollArea* _scrollView = nullptr;
    QSlider* _scaleSlider = nullptr;
    QPushButton* _buttonSet = nullptr;
    QPushButton* _buttonCancel = nullptr;
    QPushButton* _applyButton = nullptr;
    QPushButton* _generateButton = nullptr;
    QPushButton* _undoButton = nullptr;
    QPushButton* _redoButton = nullptr;
    QPushButton* _sizeButton = nullptr;
    QTableView* _tableView = nullptr;
    QTableView* _GLIFTableView = nullptr;
    QWidget* _filterControlsView = nullptr;
    QStackedWidget* _filterControlsTabView = nullptr;
    QWidget* _GLIFControlsView = nullptr;
    QStackedWidget* _GLIFControlsTabView = nullptr;
    QStackedWidget* _GLIFColorControlsTabView = nullptr;
    QStackedWidget* _helpTabView = nullptr;
    QWidget* _windowTabSegmentButton = nullptr;
    QList<QPushButton*> m_segments;
    CCColorSlider* _colorGradientSlider = nullptr;
    CCColorSlider* _colorSchemeSlider = nullptr;
    QComboBox* _colorSchemePopUpButton = nullptr;
    QCheckBox* _useBackColorButton1 = nullptr;
    QCheckBox* _useBackColorButton2 = nullptr;
    CIFColorWell* _backColorWell1 = nullptr;
    CIFColorWell* _backColorWell2 = nullptr;
    QCheckBox* _useBackColorButton = nullptr;
    CIFColorWell* _backColorWell = nullptr;
    QComboBox* _glassTextureMenu = nullptr;
    QList<QComboBox*> m_texturePopUps;  // every glass texture pop-up
    QComboBox* _brushesMenu = nullptr;
    QComboBox* _shadedMaterialsMenu = nullptr;
    QComboBox* _filtersGroupPopUpButton30 = nullptr;
    QProgressBar* m_progressBar = nullptr;
    QToolBar* m_toolbar = nullptr;
    QIcon m_toolbarIcon;  // the picture of every effect's item

    // Control pages: the rows of pages "0", "10", "20", "30", and the
    // current page's rows.
    QHash<QString, QList<ControlRow>> m_pageRows;
    QList<ControlRow> _controlsRows;
    QList<QCheckBox*> _controlsBooleanCheckBox;
    QList<CIFColorWell*> _controlsColorWell;
    QList<QLabel*> m_colorLabels;
    QStringList _colorsRepObjects;
    // Rows of the vector, offset and transform inputs, below every page.
    QWidget* m_componentView = nullptr;
    QList<QLabel*> m_vectorLabels;
    QList<QList<QDoubleSpinBox*>> m_vectorFields;
    QList<ControlRow> m_offsetRows;            // angle, radius
    QList<QDoubleSpinBox*> m_transformCenter;  // tX, tY
    QList<ControlRow> m_transformRows;         // skew, stretch, angle, scale

    // State.
    HostImage _picture;
    bool isNamedImage = true;
    HostImage _outputImage;
    HostImage _customTextureImage;
    HostImage _customBrushImage;
    int _editMode = 0;
    int _pointingMode = 0;
    QPointF _point1;
    QPointF _point2;
    std::unique_ptr<CIFMain> _CIFPlugInInstance;  // catalog queries (main thread)
    std::unique_ptr<CIFPreviewRenderer> m_renderer;
    std::unique_ptr<CIFCatalogListModel> m_filterList;
    std::unique_ptr<CIFCatalogListModel> m_generatorList;
    QVariantMap _CIFAttributes;
    QVariantMap _CIFOldAttributes;
    QString _CIFOldFilterName;
    QString _CIFFilterName;
    QString _CIFGroupName;
    QVariantMap _filtersAttrData;
    quint32 _randomSeed = 0;
    QSizeF m_shownPictureSize;
    // The selection as the run ended, kept for the caller after the picture
    // view lets go of the picture.
    bool m_endSelected = false;
    QRectF m_endSelection;
    bool m_filling = false;  // controls are being filled: their signals are not edits
    QHash<int, QCursor> m_cursors;
    QHash<int, QImage> m_marks;
};

}  // namespace cif
