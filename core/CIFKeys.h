#pragma once
// The keys of catalog descriptors and the words the catalogs share with
// hosts, as the strings they are.

#include <QString>

namespace cif {

// Category descriptor.
inline const QString CIFCategoryName = QStringLiteral("CIFCategoryName");
inline const QString CIFFilterList = QStringLiteral("CIFFilterList");

// Filter descriptor.
inline const QString CIFFilterName = QStringLiteral("CIFFilterName");
inline const QString CIFFilterIdentifier = QStringLiteral("CIFFilterIdentifier");
inline const QString CIFFilterIcon = QStringLiteral("CIFFilterIcon");
inline const QString CIFFilterStyle = QStringLiteral("CIFFilterStyle");
inline const QString CIFTag = QStringLiteral("CIFTag");
inline const QString CIFFilterDefValue = QStringLiteral("CIFFilterDefValue");  // + "1".."4"
inline const QString CIFFilterMaxValue = QStringLiteral("CIFFilterMaxValue");
inline const QString CIFMultiPoints = QStringLiteral("CIFMultiPoints");
inline const QString CIFBits = QStringLiteral("CIFBits");
inline const QString GROUP_TAG = QStringLiteral("GROUP_TAG");
inline const QString DESC_LIST = QStringLiteral("DESC_LIST");

// The flat-list description of one entry.
inline const QString kFilterDescName = QStringLiteral("filterName");
inline const QString kFilterDescCategory = QStringLiteral("filterCategory");

// The toolbar's separator item, as hosts' toolbars name it.
inline const QString NSToolbarSeparatorItemIdentifier = QStringLiteral("NSToolbarSeparatorItem");

// Filter style bits: the on-picture handles of an entry.
inline constexpr int kCIFStylePoint = 1;   // exactly one point-like input
inline constexpr int kCIFStyleColor = 2;   // a colour input
inline constexpr int kCIFStyleCrop = 255;  // the crop tool

}  // namespace cif
