#include "filters/TransparentFilter.h"

#include <mutex>

#include "platform/image/CIAttributes.h"

namespace cif {

namespace {

// The fully transparent image every instance dissolves towards; made by the
// first instance and kept for the life of the process.
CIImage transparentImage() {
    static CIImage image;
    static std::once_flag once;
    std::call_once(once, [] {
        const auto generator = CIFilter::filterWithName(QStringLiteral("CIConstantColorGenerator"));
        if (!generator) return;
        generator->setValueForKey(QVariant::fromValue(CIColor(0, 0, 0, 0)),
                                  QStringLiteral("inputColor"));
        image = generator->outputImage();
    });
    return image;
}

}  // namespace

void TransparentFilter::touchClass() {
    static const bool registered = registerCustomFilterClass(
        QStringLiteral("CIFTransparentFilter"), QStringLiteral("Transparent"),
        &TransparentFilter::filterWithName,
        {{QStringLiteral("inputTransparency"), scalarInputAttributes(0, 0.2, 0.01, 1, 0.01, 1)}});
    (void)registered;
}

std::unique_ptr<CIFilter> TransparentFilter::filterWithName(const QString&) {
    return std::unique_ptr<CIFilter>(new TransparentFilter());
}

TransparentFilter::TransparentFilter()
    : m_dissolve(innerFilter(QStringLiteral("CIDissolveTransition"))) {
    if (m_dissolve)
        m_dissolve->setValueForKey(QVariant::fromValue(transparentImage()),
                                   QStringLiteral("inputTargetImage"));
}

QList<CIFCustomFilter::Input> TransparentFilter::declaredInputs() const {
    return {{QStringLiteral("inputTransparency"), QStringLiteral("NSNumber")}};
}

QVariantMap TransparentFilter::ownAttributes() const {
    return {{QStringLiteral("inputTransparency"), scalarInputAttributes(0, 0.25, 0, 1, 0, 1)}};
}

CIImage TransparentFilter::outputImage() const {
    const CIImage input = imageForKey(kCIInputImageKey);
    if (input.isNull() || !m_dissolve) return {};
    m_dissolve->setValueForKey(QVariant::fromValue(input), kCIInputImageKey);
    m_dissolve->setValueForKey(numberForKey(QStringLiteral("inputTransparency")),
                               QStringLiteral("inputTime"));
    return m_dissolve->outputImage();
}

}  // namespace cif
