#include "filters/Shading.h"

#include "platform/image/CIAttributes.h"

namespace cif {

void Shading::touchClass() {
    static const bool registered =
        registerCustomFilterClass(QStringLiteral("CIFShadingFilter"),
                                  QStringLiteral("Shading Filter"), &Shading::filterWithName);
    (void)registered;
}

std::unique_ptr<CIFilter> Shading::filterWithName(const QString&) {
    return std::unique_ptr<CIFilter>(new Shading());
}

Shading::Shading()
    : m_heightField(innerFilter(QStringLiteral("CIHeightFieldFromMask"))),
      m_shadedMaterial(innerFilter(QStringLiteral("CIShadedMaterial"))) {}

QList<CIFCustomFilter::Input> Shading::declaredInputs() const {
    return {{QStringLiteral("inputShadingImage"), QStringLiteral("CIImage")},
            {QStringLiteral("inputScale"), QStringLiteral("NSNumber")},
            {QStringLiteral("inputRadius"), QStringLiteral("NSNumber")}};
}

QVariantMap Shading::ownAttributes() const {
    return {{QStringLiteral("inputScale"), scalarInputAttributes(0, 5.5, 0.01, 15, 0.01, 15)},
            {QStringLiteral("inputRadius"), scalarInputAttributes(0, 3, 0, 100, 0, 100)}};
}

CIImage Shading::outputImage() const {
    const CIImage input = imageForKey(kCIInputImageKey);
    if (input.isNull() || !m_heightField || !m_shadedMaterial) return {};
    m_heightField->setValueForKey(numberForKey(QStringLiteral("inputRadius")),
                                  QStringLiteral("inputRadius"));
    m_heightField->setValueForKey(QVariant::fromValue(input), kCIInputImageKey);
    const CIImage heights = m_heightField->outputImage();
    if (heights.isNull()) return {};
    m_shadedMaterial->setValueForKey(QVariant::fromValue(heights), kCIInputImageKey);
    m_shadedMaterial->setValueForKey(
        QVariant::fromValue(imageForKey(QStringLiteral("inputShadingImage"))),
        QStringLiteral("inputShadingImage"));
    m_shadedMaterial->setValueForKey(numberForKey(QStringLiteral("inputScale")),
                                     QStringLiteral("inputScale"));
    return m_shadedMaterial->outputImage();
}

}  // namespace cif
