#include "filters/Offset.h"

#include "platform/image/CIAttributes.h"

namespace cif {

void Offset::touchClass() {
    static const bool registered = registerCustomFilterClass(
        QStringLiteral("CIFOffset"), QStringLiteral("Offset Filter"), &Offset::filterWithName);
    (void)registered;
}

std::unique_ptr<CIFilter> Offset::filterWithName(const QString&) {
    return std::unique_ptr<CIFilter>(new Offset());
}

Offset::Offset() : m_tile(CIFilter::filterWithName(QStringLiteral("CIAffineTile"))) {}

QList<CIFCustomFilter::Input> Offset::declaredInputs() const {
    return {{QStringLiteral("inputCenter"), QStringLiteral("CIVector")},
            {QStringLiteral("inputAngle"), QStringLiteral("NSNumber")},
            {QStringLiteral("inputScale"), QStringLiteral("NSNumber")}};
}

QVariantMap Offset::ownAttributes() const {
    return {{QStringLiteral("inputCenter"), vectorInputAttributes(10, 10)},
            {QStringLiteral("inputScale"), scalarInputAttributes(0, 1, 0.01, 10, 0.01, 10)}};
}

CIImage Offset::outputImage() const {
    const CIImage input = imageForKey(kCIInputImageKey);
    if (input.isNull() || !m_tile) return {};
    m_tile->setValueForKey(QVariant::fromValue(input), kCIInputImageKey);
    // Points are scaled, then rotated, then moved to the centre. A scale of 0
    // gives the degenerate transform rather than a division by zero.
    const CIVector centre = vectorForKey(QStringLiteral("inputCenter"));
    const double scale = numberForKey(QStringLiteral("inputScale"));
    const double factor = scale == 0 ? 0 : 1 / scale;
    QTransform transform;
    transform.translate(centre.X(), centre.Y());
    transform.rotateRadians(valueForKey(QStringLiteral("inputAngle")).toDouble());
    transform.scale(factor, factor);
    m_tile->setValueForKey(QVariant::fromValue(transform), QStringLiteral("inputTransform"));
    return m_tile->outputImage();
}

}  // namespace cif
