#include "filters/CIFCustomFilter.h"

#include <QVariantList>

#include "filters/AffineTransform1.h"
#include "filters/BlackWhite.h"
#include "filters/NetDistortion.h"
#include "filters/Offset.h"
#include "filters/Shading.h"
#include "filters/SlideFrame.h"
#include "filters/Sobel.h"
#include "filters/TransparentColor.h"
#include "filters/TransparentFilter.h"
#include "platform/image/CIAttributes.h"

namespace cif {

bool registerCustomFilterClass(const QString& filterName, const QString& displayName,
                               CIFilter::Constructor constructor, const QVariantMap& inputs) {
    QVariantMap attributes = inputs;
    attributes.insert(kCIAttributeFilterDisplayName, displayName);
    attributes.insert(
        kCIAttributeFilterCategories,
        QVariantList{kCICategoryStillImage, kCICategoryInterlaced, kCICategoryNonSquarePixels});
    CIFilter::registerFilterNameConstructorClassAttributes(filterName, std::move(constructor),
                                                           attributes);
    return true;
}

QVariantMap scalarInputAttributes(double identity, double defaultValue, double sliderMin,
                                  double sliderMax, double min, double max) {
    return {{kCIAttributeClass, QStringLiteral("NSNumber")},
            {kCIAttributeType, kCIAttributeTypeScalar},
            {kCIAttributeIdentity, identity},
            {kCIAttributeDefault, defaultValue},
            {kCIAttributeSliderMin, sliderMin},
            {kCIAttributeSliderMax, sliderMax},
            {kCIAttributeMin, min},
            {kCIAttributeMax, max}};
}

void touchCatalogFilterClasses() {
    AffineTransform1::touchClass();
    TransparentFilter::touchClass();
    TransparentColor::touchClass();
    BlackWhite::touchClass();
    SlideFrame::touchClass();
    NetDistortion::touchClass();
    Sobel::touchClass();
    Shading::touchClass();
    Offset::touchClass();
}

}  // namespace cif
