// Building the catalogs: the fixed tables of CIFCatalogTables turned into
// descriptor dictionaries, Composite Operations and the discovered categories
// from the filter registry, and the composition list.

#include <QSet>
#include <algorithm>
#include <cmath>

#include "core/CIFCatalogTables.h"
#include "core/CIFKeys.h"
#include "core/CIFMain.h"
#include "core/QCCompositionRepository.h"
#include "platform/CIPlatform.h"
#include "platform/image/CIAttributes.h"
#include "platform/image/CIPlugIn.h"

namespace cif {

namespace {

using namespace catalog;

QVariant numberOf(NumberForm form, double value) {
    return form == NumberForm::Integer ? QVariant(int(value)) : QVariant(value);
}

QVariantMap descriptorFor(const EntryRow& row, bool newer);

// Entries of a list that exist on this platform, as descriptors.
QVariantList descriptorsFor(std::span<const EntryRow> entries, bool newer) {
    QVariantList list;
    for (const EntryRow& entry : entries) {
        if ((entry.flags & kNewerOnly) && !newer) continue;
        if ((entry.flags & kOlderOnly) && newer) continue;
        if (entry.touchClass) entry.touchClass();
        list << descriptorFor(entry, newer);
    }
    return list;
}

QVariantMap descriptorFor(const EntryRow& row, bool newer) {
    const QString name = QString::fromUtf8(row.name);
    QVariantMap d;
    d.insert(CIFFilterName,
             (row.flags & kLocalised) ? CIFMain::localizedStringForClass(name) : name);
    d.insert(CIFFilterIdentifier, QString::fromUtf8(row.identifier));
    if (row.icon) d.insert(CIFFilterIcon, QString::fromUtf8(row.icon));
    d.insert(CIFFilterStyle, row.style);
    if (row.tag.form == Tag::Form::Number) d.insert(CIFTag, row.tag.value);
    if (row.tag.form == Tag::Form::String) d.insert(CIFTag, QString::number(row.tag.value));
    for (int i = 0; i < row.defaults.count; ++i)
        d.insert(CIFFilterDefValue + QString::number(i + 1),
                 numberOf(row.defaults.form, row.defaults.values[i]));
    if (row.max.form != NumberForm::None)
        d.insert(CIFFilterMaxValue, numberOf(row.max.form, row.max.value));
    if (row.flags & kMultiPoints) d.insert(CIFMultiPoints, QStringLiteral("YES"));
    if (row.group) {
        d.insert(GROUP_TAG, row.group->groupTag);
        d.insert(DESC_LIST, descriptorsFor(row.group->members, newer));
    }
    return d;
}

QVariantMap categoryDescriptor(const QString& name, const QVariantList& entries) {
    return {{CIFCategoryName, name}, {CIFFilterList, entries}};
}

void sortDescriptors(QVariantList& list) {
    std::stable_sort(list.begin(), list.end(), [](const QVariant& a, const QVariant& b) {
        return CIFMain::sortFilters(a.toMap(), b.toMap()) < 0;
    });
}

// Names of `list` not in `remove`, in the order of `list`.
QStringList withoutNames(const QStringList& list, const QSet<QString>& remove) {
    QStringList kept;
    for (const QString& name : list)
        if (!remove.contains(name)) kept << name;
    return kept;
}

// The on-picture handle bits of a discovered filter.
int computedStyle(const CIFilter& filter) {
    const QVariantMap attributes = filter.attributes();
    int points = 0;
    bool color = false;
    for (const QString& key : filter.inputKeys()) {
        const QVariantMap input = attributes.value(key).toMap();
        const QString cls = input.value(kCIAttributeClass).toString();
        const QString type = input.value(kCIAttributeType).toString();
        if (cls == QLatin1String("CIVector") &&
            (type == kCIAttributeTypePosition || type == kCIAttributeTypeOffset))
            ++points;
        if (cls == QLatin1String("NSAffineTransform")) ++points;
        if (cls == QLatin1String("CIColor")) color = true;
    }
    if (points == 1 && color) return kCIFStylePoint | kCIFStyleColor;
    if (color) return kCIFStyleColor;
    if (points == 1) return kCIFStylePoint;
    return 0;
}

}  // namespace

void CIFMain::initCIFList() {
    const bool newer = std::floor(appKitVersionNumber()) >= kNewerPlatformVersion;
    _categoriesListDesc = QVariantList();
    _categoriesListDesc.reserve(8);
    _constColorImage = CIImage();

    for (const CategoryRow& category : fixedFilterCategories()) {
        QVariantList entries = descriptorsFor(category.entries, newer);
        if (category.sorted) sortDescriptors(entries);
        _categoriesListDesc << categoryDescriptor(QString::fromUtf8(category.name), entries);
    }

    // Composite Operations: one group entry whose members are every
    // composite operation of the registry, in the registry's order.
    QVariantList composites;
    for (const QString& name : CIFilter::filterNamesInCategory(kCICategoryCompositeOperation)) {
        const auto filter = CIFilter::filterWithName(name);
        if (!filter) continue;
        composites << QVariantMap{
            {CIFFilterName, filter->attributes().value(kCIAttributeFilterDisplayName)},
            {CIFFilterIdentifier, name},
            {CIFFilterIcon, QString::fromLatin1(kOtherFilterIcon)},
            {CIFTag, kCompositeTag},
            {CIFFilterStyle, 0}};
    }
    const QVariantMap compositeGroup{
        {CIFFilterName, QString::fromLatin1(kCompositeGroupName)},
        {CIFFilterIdentifier, QString::fromLatin1(kCompositeGroupIdentifier)},
        {CIFFilterStyle, 0},
        {CIFTag, kCompositeTag},
        {GROUP_TAG, kCompositeGroupTag},
        {DESC_LIST, composites}};
    _categoriesListDesc << categoryDescriptor(QString::fromLatin1(kCompositeCategoryName),
                                              QVariantList{compositeGroup});

    _categoriesListDesc << discoveredCategories();
}

QVariantList CIFMain::discoveredCategories() const {
    // Everything the catalog already lists: group members stand for their group.
    QSet<QString> listed;
    for (const QVariant& category : _categoriesListDesc)
        for (const QVariant& entry : category.toMap().value(CIFFilterList).toList()) {
            const QVariantMap d = entry.toMap();
            if (d.contains(DESC_LIST)) {
                for (const QVariant& member : d.value(DESC_LIST).toList())
                    listed.insert(member.toMap().value(CIFFilterIdentifier).toString());
            } else {
                listed.insert(d.value(CIFFilterIdentifier).toString());
            }
        }

    const QStringList before = CIFilter::filterNamesInCategories({});
    CIPlugIn::loadAllPlugIns();
    const QStringList after = CIFilter::filterNamesInCategories({});
    const QSet<QString> beforeSet(before.begin(), before.end());

    const QStringList reductions = CIFilter::filterNamesInCategory(kCICategoryReduction);
    const QSet<QString> reductionSet(reductions.begin(), reductions.end());

    const std::pair<QStringList, const char*> candidates[] = {
        {withoutNames(before, listed), kOtherFiltersCategory},
        {withoutNames(after, beforeSet), kThirdPartyCategory},
    };
    QVariantList categories;
    for (const auto& [names, categoryName] : candidates) {
        QVariantList entries;
        for (const QString& name : withoutNames(names, reductionSet)) {
            const auto filter = CIFilter::filterWithName(name);
            if (!filter || !_isGoodFilter(*filter)) continue;
            entries << QVariantMap{
                {CIFFilterName, filter->attributes().value(kCIAttributeFilterDisplayName)},
                {CIFFilterIdentifier, name},
                {CIFFilterIcon, QString::fromLatin1(kOtherFilterIcon)},
                {CIFTag, kDiscoveredTag},
                {CIFFilterStyle, computedStyle(*filter)}};
        }
        if (entries.isEmpty()) continue;
        sortDescriptors(entries);
        categories << categoryDescriptor(QString::fromLatin1(categoryName), entries);
    }
    return categories;
}

bool CIFMain::_isGoodFilter(const CIFilter& filter) {
    const QVariantMap attributes = filter.attributes();
    const QString filterName = attributes.value(kCIAttributeFilterName).toString();
    for (const QString& key : filter.inputKeys()) {
        if (filterName == QLatin1String("CICrop") ||
            filterName == QLatin1String("CIShadedMaterial"))
            return false;
        const QString cls = attributes.value(key).toMap().value(kCIAttributeClass).toString();
        if (cls == QLatin1String("CIImage") || cls == QLatin1String("CIColor") ||
            cls == QLatin1String("NSAffineTransform") || cls == QLatin1String("NSNumber"))
            continue;
        if (cls != QLatin1String("CIVector")) return false;
        // The type is read from the filter's top-level dictionary, not the
        // input's own: so a vector input is admitted unless the filter itself
        // names a type other than the point and rectangle kinds.
        const QVariant type = attributes.value(kCIAttributeType);
        if (!type.isValid()) continue;
        const QString t = type.toString();
        if (t == kCIAttributeTypePosition || t == kCIAttributeTypeRectangle ||
            t == QLatin1String("CIAttributeTypePosition3") || t == kCIAttributeTypeOffset)
            continue;
        return false;
    }
    return true;
}

void CIFMain::initGLIFList() {
    _GLIFcategoriesListDesc = QVariantList();
    for (const GeneratorCategoryRow& category : generatorCategories()) {
        QVariantList entries;
        for (const GeneratorRow& g : category.entries)
            entries << QVariantMap{
                {CIFFilterName, localizedStringForClass(QString::fromUtf8(g.name))},
                {CIFFilterIdentifier, QString::fromLatin1(g.identifier)},
                {CIFFilterIcon, QString::fromLatin1(g.icon)},
                {CIFFilterDefValue + u'1', kGeneratorDefault},
                {CIFFilterDefValue + u'2', kGeneratorDefault},
                {CIFFilterDefValue + u'3', kGeneratorDefault},
                {CIFFilterMaxValue, kGeneratorMax},
                {CIFTag, g.tag},
                {CIFFilterStyle, kGeneratorStyle},
                {CIFBits, g.bits}};
        _GLIFcategoriesListDesc << categoryDescriptor(
            localizedStringForClass(QString::fromUtf8(category.name)), entries);
    }
}

std::optional<QVariantList> CIFMain::initQuartzList() const {
    const QCCompositionRepositoryClass repositoryClass =
        compositionRepositoryClassNamed(QStringLiteral("QCCompositionRepository"));
    if (!repositoryClass) return std::nullopt;
    QVariantList result;
    const std::shared_ptr<QCCompositionRepository> repository = repositoryClass();
    if (!repository) return result;
    const auto compositions = repository->compositionsWithProtocolsAndAttributes(
        {QStringLiteral("com.apple.QuartzComposer.protocol.image-filter")}, {});
    for (const QCComposition& composition : compositions) {
        const QVariantMap& attributes = composition.attributes;
        const QString title =
            attributes.value(QStringLiteral("name"), composition.identifier).toString();
        // Categories are read but the table they would be grouped in is never
        // made, so the answer stays one flat list.
        (void)attributes.value(QStringLiteral("category"), QStringLiteral("Other"));
        // A number port ends the scan with the colour flag cleared; colour
        // ports set it and the scan goes on.
        bool color = false;
        for (const QVariant& value : attributes) {
            if (value.typeId() != QMetaType::QVariantMap) continue;
            const QString type =
                value.toMap().value(QStringLiteral("QCPortAttributeTypeKey")).toString();
            if (type.isEmpty()) continue;
            if (type == QLatin1String("QCPortTypeNumber")) {
                color = false;
                break;
            }
            if (type == QLatin1String("QCPortTypeColor")) color = true;
        }
        result << QVariantMap{{QStringLiteral("title"), title},
                              {QStringLiteral("ID"), composition.identifier},
                              {QStringLiteral("QCComposition"), QVariant::fromValue(composition)},
                              {GROUP_TAG, color ? 3 : 0}};
    }
    return result;
}

}  // namespace cif
