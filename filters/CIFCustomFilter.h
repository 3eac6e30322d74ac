#pragma once
// The common ground of the plug-in's own filters. Each filter class registers
// itself with the platform's filter registry the first time it is touched
// (its touchClass()), under a "CIF" name, with its display name, the three
// categories all of them share, and the input descriptions some classes give
// at registration.

#include <QString>
#include <QVariantMap>
#include <memory>

#include "platform/image/CIFilter.h"

namespace cif {

class CIFCustomFilter : public CIFilter {
protected:
    CIFCustomFilter() = default;
};

// Registers a custom filter class: display name, the categories still image,
// interlaced and non-square pixels, and one attribute dictionary per entry of
// `inputs`. Answers true so a class can keep the call in a function-local
// static and register exactly once.
bool registerCustomFilterClass(const QString& filterName, const QString& displayName,
                               CIFilter::Constructor constructor, const QVariantMap& inputs = {});

// Scalar input description: type scalar, identity, default, slider and range.
QVariantMap scalarInputAttributes(double identity, double defaultValue, double sliderMin,
                                  double sliderMax, double min, double max);

// Forces the registration of the nine filter classes the catalog lists.
void touchCatalogFilterClasses();

}  // namespace cif
