#pragma once
// CIFMain: the principal object. It owns the two catalogs (effects set 0:
// image filters, effects set 1: generators), answers every catalog query
// from the current one, opens the editor and keeps its result for the host.
// One thread: the host's main thread.

#include <QColor>
#include <QRectF>
#include <QString>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>
#include <memory>
#include <optional>

#include "cif/CIFPlugIn.h"
#include "generators/GLIFCoreObject.h"
#include "platform/host/HostImage.h"
#include "platform/image/CIFilter.h"
#include "platform/image/CIImage.h"

namespace cif {

class CIFMain final : public CIFPlugIn {
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

    // ---- catalogs
    // The composition list: nil (nullopt) when the platform has no
    // composition repository class, else one entry per image-filter
    // composition ("title", "ID", "QCComposition", GROUP_TAG).
    std::optional<QVariantList> initQuartzList() const;

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
};

}  // namespace cif
