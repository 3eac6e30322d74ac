#pragma once
// CIFMain: the principal object. It owns the two catalogs (effects set 0:
// image filters, effects set 1: generators), answers every catalog query
// from the current one, opens the editor and keeps its result for the host.
// One thread: the host's main thread.

#include <QColor>
#include <QObject>
#include <QPointF>
#include <QRectF>
#include <QString>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>

#include "cif/CIFPlugIn.h"
#include "generators/GLIFCoreObject.h"
#include "platform/host/HostImage.h"
#include "platform/image/CIFilter.h"
#include "platform/image/CIImage.h"
#include "platform/image/CIVector.h"

namespace cif {

class CIFMain final : public QObject, public CIFPlugIn {
    Q_OBJECT

public:
    // Builds the generator catalog, then the filter catalog; effects set 0.
    CIFMain();
    ~CIFMain() override;
    CIFMain(const CIFMain&) = delete;
    CIFMain& operator=(const CIFMain&) = delete;

    // ---- settings and identity
    void CIFSetEffectsSet(unsigned index) override;
    // The category array of the current effects set.
    QVariantList currCategoriesListDesc() const;
    void CIFSetBackgroundColor(const QColor& color) override;
    // The stored backdrop colour; invalid when the host has set none.
    QColor backgroundColor() const { return _backgroundColor; }
    unsigned CIFMajorPlugInVersion() const override { return kCIFPlugInMajorVersion; }
    unsigned CIFMinorPlugInVersion() const override { return kCIFPlugInMinorVersion; }
    QString CIFCopyrightString() const override;
    QString localizedString(const QString& key) const override;
    // The same look-up without an instance.
    static QString localizedStringForClass(const QString& key);

    // ---- categories
    int CIFFilterCategoriesCount() const override;
    QString CIFCategoryNameAtIndex(int index) const override;
    QStringList CIFCategories() const override;
    int CIFFilterCountForCategoryAtIndex(int index) const override;
    int CIFFilterCount() const override;
    int CIFFilterCountBySkipCategory() const override;

    // ---- entries
    QString CIFFilterNameAtIndexForCategoryIndex(int index, int categoryIndex) const override;
    QString CIFFilterIdentifierAtIndexForCategoryIndex(int index, int categoryIndex) const override;
    QString CIFFilterIconAtIndexForCategoryIndex(int index, int categoryIndex) const override;

    // ---- flat list
    QString CIFFilterNameAtIndexSkipCategories(int index, bool skipCategories) const override;
    QString CIFFilterIdentifierAtIndexSkipCategories(int index, bool skipCategories) const override;
    std::optional<QVariantMap> CIFFilterDescAtIndexSkipCategories(
        int index, bool skipCategories) const override;
    QString CIFCategoryNameWithinFilterNameAtIndex(int index) const override;
    QStringList CIFAllFilterIdentifiers() const override;
    QString CIFFilterNameForID(const QString& identifier) const override;
    QVariantList CIFAllFilterDescriptors() const override;

    // ---- descriptors
    std::optional<QVariantMap> CIFDescriptorForFilterName(const QString& identifier) const override;
    std::optional<QVariantMap> CIFDescriptorForFilterNameWithGroups(
        const QString& identifier) const override;
    std::optional<QVariantList> CIFFiltersDescriptorForGroup(
        const QString& identifier) const override;

    // ---- inputs of a filter or generator
    QStringList CIFQueryInputKeysForFilter(const QString& identifier) override;
    QStringList CIFQueryOutputKeysForFilter(const QString& identifier) override;
    QVariantMap CIFQueryAttributesForFilter(const QString& identifier) override;

    // ---- editor and result
    bool CIFShowDialogUseSelectionWithRectSourceSize(const HostImage& image, bool useSelection,
                                                     const QRectF& rect,
                                                     const QSizeF& sourceSize) override;
    bool CIFShowDialogUseSelectionWithRect(const HostImage& image, bool useSelection,
                                           const QRectF& rect) override;
    bool GLIFShowDialogWithRect(const QVariant& object, const QRectF& rect) override;
    HostImage CIFOutputImage() const override { return _outputImage; }
    bool CIFIsSelected() const override { return _isSelected; }
    QRectF CIFSelectionRect() const override { return _selectionRect; }

    // ---- default parameters and point helpers
    // The bundle's default parameters for an identifier (input key -> value
    // as the property list holds it); nullopt when it has none or the list
    // cannot be read.
    std::optional<QVariantMap> CIFDefaultParametersForFilterName(
        const QString& identifier) const override;
    // Converts the identifier's default parameters into filter input values
    // and stores them in dictionary, replacing what was there.
    void addDefaultParametersToDictionaryWithFilterName(QVariantMap& dictionary,
                                                        const QString& identifier) const override;
    // Input key -> default position (QPointF) of a platform filter's position
    // inputs; nullopt when it has none.
    std::optional<QVariantMap> CIFDefaultPointsForFilterName(
        const QString& filterName) const override;
    QPointF CIFValueForCIVector(const CIVector& vector) const override;
    CIVector CIFVectorFromPointValue(const QPointF& point) const override;
    CIVector CIFMergeNewPointValueAndOldCIVector(const QPointF& point,
                                                 const CIVector& old) const override;
    CIVector CIFMergeCIVectorWithComponentNumValueInOldCIVector(int component, float value,
                                                                const CIVector& old) const override;
    // Renders of this instance's apply operations stop early, answering the
    // null picture, while *cancel is set, and report their finished fraction
    // (0..1) to progress from the render's worker threads. Both are borrowed
    // and may be null; an editor previewing on a thread of its own uses them
    // to drop renders made stale by newer parameters.
    void setRenderControl(const std::atomic<bool>* cancel, std::function<void(double)> progress);

    // Turns the editor's parameter dictionary into input values for the
    // filter named by _currFilterName (see cachedFilterInstance).
    QVariantMap prepareAttributes(const QVariantMap& parameters) const;

    // The configured instance of the filter named identifier: the cached one
    // when the identifier is the current one, else a new one with its
    // defaults set (nullptr for an unknown name), which becomes current.
    CIFilter* cachedFilterInstance(const QString& identifier);

    // ---- resource libraries
    // The folder holding the six picture libraries: $CIF_SHARED_CONTENT, the
    // first XDG data folder with cif-effects/SharedContent, or the bundle's
    // Resources/SharedContent.
    static QString sharedContentLibraryPath();
    static QString sharedGlassTexturesPath();
    static QString sharedBrushTexturesPath();
    static QString sharedShadingMaterialsPath();
    static QString sharedMaskPath();
    static QString sharedGradientsPath();
    static QString sharedBackgroundsPath();
    // Lower-case suffixes of the picture files we can read.
    static QStringList imageFileTypes();
    // Names (file names without suffix) of the picture files at the top
    // level of dir, in listing order.
    static QStringList resourceContentDirectoryAtPath(const QString& dir);
    // The picture of that name in dir, registered under "CIF_RES_<dir>/<name>"
    // so that later requests answer the same picture.
    static HostImage resourceImageWithNamePath(const QString& name, const QString& dir);
    // True when a comes before b: "Sand" first, else case-insensitive order.
    static bool sortShadingMaterialNames(const QString& a, const QString& b);

    QStringList CIFGlassTextureNames() const override;
    HostImage CIFGlassTextureWithName(const QString& name) const override;
    QStringList CIFBrushNames() const override;
    HostImage CIFBrushWithName(const QString& name) const override;
    QStringList CIFShadingMaterialNames() const override;
    HostImage CIFShadingMaterialWithName(const QString& name) const override;
    // Paths below the mask folder that begin with "Images" (any case); read
    // once per process.
    QStringList CIFMaskNames() const override;
    HostImage CIFMaskWithName(const QString& name) const override;
    QStringList CIFGradientNames() const override;
    HostImage CIFGradientWithName(const QString& name) const override;
    QStringList CIFBackgroundNames() const override;
    HostImage CIFBackgroundWithName(const QString& name) const override;
    // Names without suffix of the files in the bundle's Resources/<folder>;
    // nullopt when the folder is missing or empty.
    static std::optional<QStringList> resourceNamesOfKind(const QString& folder);
    // The registered picture of that name, else the first of name.jpg,
    // .jpeg, .tif, .tiff in the bundle's Resources/<folder>, registered.
    static HostImage resourceImageWithNameOfKind(const QString& name, const QString& folder);
    // Default secondary pictures: the first of each library.
    QVariantMap CIFImageStorage() const override;

    // ---- applying an effect
    // The picture with the effect applied, at the working size (vector
    // pictures four times their size); null when no filter of that name can
    // be made.
    HostImage CIFApplyFilterAttributesForImage(const QString& identifier,
                                               const QVariantMap& parameters,
                                               const HostImage& image) override;
    // The preview: the effect over a backdrop of the background colour
    // (opaque white when none is set); null when no filter can be made.
    CIImage CIFOutputImageForFilterAttributesForImage(const QString& identifier,
                                                      const QVariantMap& parameters,
                                                      const HostImage& image) override;
    // The generator's picture for the host picture's size (its output for
    // the picture, width and height 0); null when the class is unknown or
    // the generator fails.
    HostImage CIFGenerateLayerAttributesForImage(const QString& className,
                                                 const QVariantMap& attributes,
                                                 const HostImage& image) override;
    // The same for a size without a picture (width and height truncated).
    HostImage CIFGenerateLayerAttributesSize(const QString& className,
                                             const QVariantMap& attributes,
                                             const QSizeF& size) override;
    // image added onto background, drawn at the background's extent size.
    HostImage performAdditionalCompositingWithBackground(const CIImage& image,
                                                         const CIImage& background) const;
    // image added onto background, cropped to (0, 0, background size).
    CIImage outputAdditionalCompositingWithBackground(const CIImage& image,
                                                      const CIImage& background) const;
    void seedRandom(unsigned seed) override;
    // The fully transparent constant image, made once.
    CIImage constantColorImage();

    // ---- catalogs
    // The composition list: nil (nullopt) when the platform has no
    // composition repository class, else one entry per image-filter
    // composition ("title", "ID", "QCComposition", GROUP_TAG).
    std::optional<QVariantList> initQuartzList() const override;
    void registerCompositionRepositoryClass(const QString& className,
                                            QCCompositionRepositoryClass sharedRepository) override;
    // The composition of the registered repository with that identifier;
    // false when there is none.
    static bool compositionWithIdentifier(const QString& identifier, QCComposition* out);

    // ---- ready-made controls (built by the editor layer, see
    // CIFEditorInterface.h)
    float CIFHeightForControlsOfFilterName(const QString& name) override;
    QList<QWidget*> CIFControlsForFilterNameViewFrame(const QString& name,
                                                      const QRectF& frame) override;
    QObject* CIFActionTarget() override { return this; }
    QMetaObject::Connection CIFConnectControlActions(
        QObject* context,
        std::function<void(const QString& action, QObject* control)> handler) override;
    // Announces a control's action to the host; nothing for a control
    // without a "representedObject" property.
    void sendControlAction(const QString& action, QObject* control);
    // The input keys and attribute dictionary of a filter, or else of a
    // composition (its port dictionaries); false when neither has the name.
    bool inputsForControls(const QString& name, QStringList* inputKeys,
                           QVariantMap* attributes) const;

signals:
    void CIFControlAction(const QString& action, QObject* control);

public:
    // ---- shared helpers
    // Orders two descriptors by their localised names, ignoring case:
    // negative, zero or positive like a comparison.
    static int sortFilters(const QVariantMap& a, const QVariantMap& b, void* context = nullptr);
    // Whether a discovered platform filter belongs in the catalog.
    static bool _isGoodFilter(const CIFilter& filter);
    // Radius and angle (radians, -pi to pi) of the vector (x, y).
    static void decart_to_polar(float x, float y, float* radius, float* angle);

    // The cached generator instance for the class name, made anew when the
    // name changes; nullptr (logged) when no class has that name.
    GLIFCoreObject* GLIFSmartInstanceFromName(const QString& className);

private:
    void initGLIFList();
    void initCIFList();
    QVariantList discoveredCategories() const;
    // Steps shared by both apply operations: the cached or new filter
    // configured for the picture and parameters, and its output. For a
    // generating filter *background receives the picture as an image.
    CIImage prepareFilterOutput(const QString& identifier, const QVariantMap& parameters,
                                const HostImage& image, CIImage* background);
    // The entry at a flat index, or nullopt on a separator or past the end.
    std::optional<std::pair<int, int>> resolveFlatIndex(int index, bool skipCategories) const;
    QVariantMap categoryAt(int index) const;
    QVariantMap entryAt(int index, int categoryIndex) const;

    QVariantList _effectsList;
    quint32 _currEffectsSet = 0;
    QVariantList _categoriesListDesc;
    QVariantList _GLIFcategoriesListDesc;
    HostImage _currImage;
    QString _currFilterName;
    std::unique_ptr<CIFilter> _CIFilterInstance;
    std::unique_ptr<GLIFCoreObject> _GLIFGeneratorInstance;
    HostImage _outputImage;
    bool _isSelected = false;
    QRectF _selectionRect;
    CIImage _constColorImage;
    QColor _backgroundColor;
    // The picture at its working size, made when the picture or the filter
    // changes and reused while only parameters change.
    CIImage m_workingImage;
    const std::atomic<bool>* m_renderCancel = nullptr;
    std::function<void(double)> m_renderProgress;
};

}  // namespace cif
