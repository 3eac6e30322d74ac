#include "core/CIFMain.h"

#include <QtMath>
#include <cmath>
#include <stdexcept>

#include "core/CIFEditorInterface.h"
#include "core/CIFKeys.h"
#include "core/CIFStringsTable.h"
#include "generators/GLIFClassRegistry.h"

namespace cif {

namespace {

// Bounds-checked element access: catalog indexes are the caller's to get
// right, and a wrong one is a std::out_of_range, never a stray read.
const QVariant& checkedAt(const QVariantList& list, int index) {
    if (index < 0 || index >= list.size())
        throw std::out_of_range("catalog index " + std::to_string(index) + " out of range 0.." +
                                std::to_string(list.size()));
    return list.at(index);
}

QVariantList filterList(const QVariantMap& category) {
    return category.value(CIFFilterList).toList();
}

}  // namespace

CIFMain::CIFMain() {
    _currFilterName = QStringLiteral("");
    // The generator catalog is built before the filter catalog.
    initGLIFList();
    initCIFList();
    _effectsList = {QVariant(_categoriesListDesc), QVariant(_GLIFcategoriesListDesc)};
    _currEffectsSet = 0;
    _backgroundColor = QColor();
}

CIFMain::~CIFMain() = default;

// ---- settings and identity

void CIFMain::CIFSetEffectsSet(unsigned index) {
    if (index >= unsigned(_effectsList.size())) {
        qWarning("CIF Effects Set %i Not Supported", int(index));
        return;
    }
    _currEffectsSet = index;
}

QVariantList CIFMain::currCategoriesListDesc() const {
    return _effectsList.at(int(_currEffectsSet)).toList();
}

void CIFMain::CIFSetBackgroundColor(const QColor& color) {
    _backgroundColor = QColor::fromRgbF(color.redF(), color.greenF(), color.blueF(), 1.0f);
}

QString CIFMain::CIFCopyrightString() const {
    return QStringLiteral("Core Image Filter PlugIn");
}

QString CIFMain::localizedString(const QString& key) const {
    return localizedStringForClass(key);
}

QString CIFMain::localizedStringForClass(const QString& key) {
    return CIFStringsTable::localizedString(key);
}

// ---- categories

QVariantMap CIFMain::categoryAt(int index) const {
    return checkedAt(currCategoriesListDesc(), index).toMap();
}

QVariantMap CIFMain::entryAt(int index, int categoryIndex) const {
    return checkedAt(filterList(categoryAt(categoryIndex)), index).toMap();
}

int CIFMain::CIFFilterCategoriesCount() const {
    return int(currCategoriesListDesc().size());
}

QString CIFMain::CIFCategoryNameAtIndex(int index) const {
    return categoryAt(index).value(CIFCategoryName).toString();
}

QStringList CIFMain::CIFCategories() const {
    QStringList names;
    for (const QVariant& category : currCategoriesListDesc())
        names << category.toMap().value(CIFCategoryName).toString();
    return names;
}

int CIFMain::CIFFilterCountForCategoryAtIndex(int index) const {
    return int(filterList(categoryAt(index)).size());
}

int CIFMain::CIFFilterCount() const {
    int count = 0;
    for (const QVariant& category : currCategoriesListDesc())
        count += int(filterList(category.toMap()).size());
    return count;
}

int CIFMain::CIFFilterCountBySkipCategory() const {
    const int categories = CIFFilterCategoriesCount();
    return CIFFilterCount() + (categories > 0 ? categories - 1 : 0);
}

// ---- entries

QString CIFMain::CIFFilterNameAtIndexForCategoryIndex(int index, int categoryIndex) const {
    return entryAt(index, categoryIndex).value(CIFFilterName).toString();
}

QString CIFMain::CIFFilterIdentifierAtIndexForCategoryIndex(int index, int categoryIndex) const {
    return entryAt(index, categoryIndex).value(CIFFilterIdentifier).toString();
}

QString CIFMain::CIFFilterIconAtIndexForCategoryIndex(int index, int categoryIndex) const {
    return entryAt(index, categoryIndex).value(CIFFilterIcon).toString();
}

// ---- flat list

std::optional<std::pair<int, int>> CIFMain::resolveFlatIndex(int index, bool skipCategories) const {
    const QVariantList categories = currCategoriesListDesc();
    int start = 0;
    for (int c = 0; c < categories.size(); ++c) {
        const int n = int(filterList(categories.at(c).toMap()).size());
        if (index >= start && index < start + n) return std::make_pair(c, index - start);
        start += n + (skipCategories ? 0 : 1);
    }
    return std::nullopt;
}

QString CIFMain::CIFFilterNameAtIndexSkipCategories(int index, bool skipCategories) const {
    const auto at = resolveFlatIndex(index, skipCategories);
    return at ? CIFFilterNameAtIndexForCategoryIndex(at->second, at->first) : QString();
}

QString CIFMain::CIFFilterIdentifierAtIndexSkipCategories(int index, bool skipCategories) const {
    const auto at = resolveFlatIndex(index, skipCategories);
    return at ? CIFFilterIdentifierAtIndexForCategoryIndex(at->second, at->first) : QString();
}

std::optional<QVariantMap> CIFMain::CIFFilterDescAtIndexSkipCategories(int index,
                                                                       bool skipCategories) const {
    const auto at = resolveFlatIndex(index, skipCategories);
    if (!at) return std::nullopt;
    return QVariantMap{
        {kFilterDescName, CIFFilterNameAtIndexForCategoryIndex(at->second, at->first)},
        {kFilterDescCategory, CIFCategoryNameAtIndex(at->first)}};
}

QString CIFMain::CIFCategoryNameWithinFilterNameAtIndex(int index) const {
    // The next category's name is fetched before the comparison, so an index
    // that is no separator slot runs past the last category and throws.
    const QVariantList categories = currCategoriesListDesc();
    int position = 0;
    for (int i = 0; i < categories.size(); ++i) {
        const QString next = checkedAt(categories, i + 1).toMap().value(CIFCategoryName).toString();
        position += int(filterList(categories.at(i).toMap()).size());
        if (index == position) return next;
        position += 1;
    }
    return {};
}

QStringList CIFMain::CIFAllFilterIdentifiers() const {
    QStringList identifiers;
    const QVariantList categories = currCategoriesListDesc();
    for (int c = 0; c < categories.size(); ++c) {
        if (c > 0) identifiers << NSToolbarSeparatorItemIdentifier;
        for (const QVariant& entry : filterList(categories.at(c).toMap()))
            identifiers << entry.toMap().value(CIFFilterIdentifier).toString();
    }
    return identifiers;
}

QString CIFMain::CIFFilterNameForID(const QString& identifier) const {
    const qsizetype index = CIFAllFilterIdentifiers().indexOf(identifier);
    return index < 0 ? QString() : CIFFilterNameAtIndexSkipCategories(int(index), false);
}

QVariantList CIFMain::CIFAllFilterDescriptors() const {
    return currCategoriesListDesc();
}

// ---- descriptors

std::optional<QVariantMap> CIFMain::CIFDescriptorForFilterName(const QString& identifier) const {
    for (const QVariant& category : currCategoriesListDesc())
        for (const QVariant& entry : filterList(category.toMap())) {
            const QVariantMap descriptor = entry.toMap();
            if (descriptor.value(CIFFilterIdentifier).toString() == identifier) return descriptor;
        }
    return std::nullopt;
}

std::optional<QVariantMap> CIFMain::CIFDescriptorForFilterNameWithGroups(
    const QString& identifier) const {
    for (const QVariant& category : currCategoriesListDesc())
        for (const QVariant& entry : filterList(category.toMap())) {
            const QVariantMap descriptor = entry.toMap();
            const QVariantList candidates = descriptor.contains(DESC_LIST)
                                                ? descriptor.value(DESC_LIST).toList()
                                                : QVariantList{entry};
            for (const QVariant& candidate : candidates) {
                const QVariantMap d = candidate.toMap();
                if (d.value(CIFFilterIdentifier).toString() == identifier) return d;
            }
        }
    return std::nullopt;
}

std::optional<QVariantList> CIFMain::CIFFiltersDescriptorForGroup(const QString& identifier) const {
    const auto descriptor = CIFDescriptorForFilterName(identifier);
    if (!descriptor || !descriptor->contains(DESC_LIST)) return std::nullopt;
    return descriptor->value(DESC_LIST).toList();
}

// ---- inputs

QStringList CIFMain::CIFQueryInputKeysForFilter(const QString& identifier) {
    if (identifier.startsWith(QLatin1String("GLIF_"))) {
        const GLIFCoreObject* generator = GLIFSmartInstanceFromName(identifier);
        return generator ? generator->GLIFQueryInputKeys() : QStringList();
    }
    const auto filter = CIFilter::filterWithName(identifier);
    return filter ? filter->inputKeys() : QStringList();
}

QStringList CIFMain::CIFQueryOutputKeysForFilter(const QString& identifier) {
    if (identifier.startsWith(QLatin1String("GLIF_"))) {
        const GLIFCoreObject* generator = GLIFSmartInstanceFromName(identifier);
        return generator ? generator->GLIFQueryOutputKeys() : QStringList();
    }
    const auto filter = CIFilter::filterWithName(identifier);
    return filter ? filter->outputKeys() : QStringList();
}

QVariantMap CIFMain::CIFQueryAttributesForFilter(const QString& identifier) {
    if (identifier.startsWith(QLatin1String("GLIF_"))) {
        const GLIFCoreObject* generator = GLIFSmartInstanceFromName(identifier);
        return generator ? generator->GLIFQueryAttributes() : QVariantMap();
    }
    const auto filter = CIFilter::filterWithName(identifier);
    return filter ? filter->attributes() : QVariantMap();
}

// ---- editor and result

bool CIFMain::CIFShowDialogUseSelectionWithRectSourceSize(const HostImage& image, bool useSelection,
                                                          const QRectF& rect, const QSizeF&) {
    CIFImageEditor* editor = sharedImageEditor();
    if (!editor) {
        qWarning("Can't load image editor");
        return false;
    }
    const int accepted = editor->startEditorUseSelectionWithRect(image, useSelection, rect);
    _outputImage = editor->outputImage();
    _isSelected = editor->isSelected();
    _selectionRect = editor->getSelectedRect();
    return accepted != 0;
}

bool CIFMain::CIFShowDialogUseSelectionWithRect(const HostImage& image, bool useSelection,
                                                const QRectF& rect) {
    return CIFShowDialogUseSelectionWithRectSourceSize(image, useSelection, rect, image.size());
}

bool CIFMain::GLIFShowDialogWithRect(const QVariant& object, const QRectF& rect) {
    CIFImageEditor* editor = sharedImageEditor();
    if (!editor) return false;
    const int accepted = editor->startGeneratorWithRect(object, rect);
    _outputImage = editor->outputImage();
    return accepted != 0;
}

// ---- shared helpers

int CIFMain::sortFilters(const QVariantMap& a, const QVariantMap& b, void*) {
    return QString::compare(localizedStringForClass(a.value(CIFFilterName).toString()),
                            localizedStringForClass(b.value(CIFFilterName).toString()),
                            Qt::CaseInsensitive);
}

void CIFMain::decart_to_polar(float x, float y, float* radius, float* angle) {
    if (radius) *radius = std::sqrt(x * x + y * y);
    if (angle) *angle = float(std::atan2(double(y), double(x)));
}

GLIFCoreObject* CIFMain::GLIFSmartInstanceFromName(const QString& className) {
    if (_GLIFGeneratorInstance && _GLIFGeneratorInstance->className() == className)
        return _GLIFGeneratorInstance.get();
    _GLIFGeneratorInstance = instantiateGLIFClass(className);
    if (!_GLIFGeneratorInstance)
        qWarning("can't instantiate class '%s'", qUtf8Printable(className));
    return _GLIFGeneratorInstance.get();
}

}  // namespace cif
