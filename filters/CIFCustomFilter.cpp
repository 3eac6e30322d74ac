#include "filters/CIFCustomFilter.h"

#include <QVariantList>
#include <cmath>

#include "filters/AffineTile2.h"
#include "filters/AffineTransform1.h"
#include "filters/BlackWhite.h"
#include "filters/Mirror.h"
#include "filters/MirrorTile.h"
#include "filters/NetDistortion.h"
#include "filters/Offset.h"
#include "filters/Shading.h"
#include "filters/SlideFrame.h"
#include "filters/Sobel.h"
#include "filters/TransparentColor.h"
#include "filters/TransparentFilter.h"
#include "platform/image/CIAttributes.h"
#include "platform/kernel/CISampler.h"

namespace cif {

QStringList CIFCustomFilter::inputKeys() const {
    QStringList keys{kCIInputImageKey};
    for (const Input& input : declaredInputs())
        keys << input.key;
    return keys;
}

QVariantMap CIFCustomFilter::attributes() const {
    QVariantMap described = CIFilter::attributes();
    const auto withClass = [&](const QString& key, const QString& cls) {
        QVariantMap entry = described.value(key).toMap();
        if (!entry.contains(kCIAttributeClass)) entry.insert(kCIAttributeClass, cls);
        described.insert(key, entry);
    };
    withClass(kCIInputImageKey, QStringLiteral("CIImage"));
    for (const Input& input : declaredInputs())
        withClass(input.key, input.attributeClass);

    const QVariantMap own = ownAttributes();
    for (auto it = own.cbegin(); it != own.cend(); ++it) {
        QVariantMap merged = it.value().toMap();
        const QVariantMap known = described.value(it.key()).toMap();
        for (auto k = known.cbegin(); k != known.cend(); ++k)
            merged.insert(k.key(), k.value());
        described.insert(it.key(), merged);
    }
    return described;
}

CIImage CIFCustomFilter::applyKernelToInput(const CIKernel& kernel,
                                            const QVariantList& arguments) const {
    const CIImage input = imageForKey(kCIInputImageKey);
    if (input.isNull() || kernel.isNull()) return {};
    const CISampler sampler = CISampler::samplerWithImage(input);
    QVariantList all{QVariant::fromValue(sampler)};
    all += arguments;
    return apply(kernel, all, {{kCIApplyOptionDefinition, QVariant::fromValue(sampler)}});
}

std::unique_ptr<CIFilter> CIFCustomFilter::innerFilter(const QString& name) {
    auto filter = CIFilter::filterWithName(name);
    if (!filter)
        qWarning("%s is not available", qUtf8Printable(name));
    else
        filter->setDefaults();
    return filter;
}

CIKernel ClassKernel::kernel() {
    QMutexLocker lock(&m_mutex);
    if (m_kernel.isNull()) {
        const QList<CIKernel> kernels = CIKernel::kernelsWithString(QString::fromUtf8(m_source));
        if (!kernels.isEmpty()) m_kernel = kernels.first();
    }
    return m_kernel;
}

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

QVariantMap vectorInputAttributes(double x, double y) {
    return {{kCIAttributeClass, QStringLiteral("CIVector")},
            {kCIAttributeDefault, QVariant::fromValue(CIVector{x, y})}};
}

QVariantMap colorInputAttributes(double r, double g, double b, double a) {
    return {{kCIAttributeClass, QStringLiteral("CIColor")},
            {kCIAttributeDefault, QVariant::fromValue(CIColor(r, g, b, a))}};
}

QTransform affineConstruction(float s, float a, float t, float k, float x, float y) {
    const float c = std::cos(a), n = std::sin(a);
    return QTransform(double((c - n * k) * t * s), double(t * (k * c + n) * s), double(-n * s),
                      double(s * c), double(x), double(y));
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

void touchAllFilterClasses() {
    touchCatalogFilterClasses();
    Mirror::touchClass();
    MirrorTile::touchClass();
    AffineTile2::touchClass();
}

}  // namespace cif
