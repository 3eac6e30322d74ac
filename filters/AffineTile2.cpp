#include "filters/AffineTile2.h"

#include "platform/image/CIAttributes.h"

namespace cif {

void AffineTile2::touchClass() {
    static const bool registered = registerCustomFilterClass(
        QStringLiteral("CIFAffineTile2Filter"), QStringLiteral("Affine Tile2 Filter"),
        &AffineTile2::filterWithName,
        {{QStringLiteral("inputCenter"), vectorInputAttributes(10, 10)},
         {QStringLiteral("inputScale"), scalarInputAttributes(0, 1.2, 0.01, 10, 0.01, 10)},
         {QStringLiteral("inputAngle"), scalarInputAttributes(0, 0, -3.14, 3.14, -3.14, 3.14)},
         {QStringLiteral("inputStretch"), scalarInputAttributes(0, 0.2, 0.01, 10, 0.01, 10)},
         {QStringLiteral("inputSkew"), scalarInputAttributes(0, 0, -5, 5, -5, 5)}});
    (void)registered;
}

std::unique_ptr<CIFilter> AffineTile2::filterWithName(const QString&) {
    return std::unique_ptr<CIFilter>(new AffineTile2());
}

AffineTile2::AffineTile2() = default;

QList<CIFCustomFilter::Input> AffineTile2::declaredInputs() const {
    return {{QStringLiteral("inputScale"), QStringLiteral("NSNumber")},
            {QStringLiteral("inputAngle"), QStringLiteral("NSNumber")},
            {QStringLiteral("inputStretch"), QStringLiteral("NSNumber")},
            {QStringLiteral("inputSkew"), QStringLiteral("NSNumber")},
            {QStringLiteral("inputCenter"), QStringLiteral("CIVector")}};
}

QVariantMap AffineTile2::ownAttributes() const {
    return {
        {QStringLiteral("inputCenter"), vectorInputAttributes(-100, -100)},
        {QStringLiteral("inputScale"), scalarInputAttributes(0, 1, 0.01, 10, 0.01, 10)},
        {QStringLiteral("inputAngle"), scalarInputAttributes(0, 0.05, -3.14, 3.14, -3.14, 3.14)},
        {QStringLiteral("inputStretch"), scalarInputAttributes(0, 0.2, 0.01, 10, 0.01, 10)},
        {QStringLiteral("inputSkew"), scalarInputAttributes(0, 0, -5, 5, -5, 5)}};
}

CIImage AffineTile2::outputImage() const {
    const CIImage input = imageForKey(kCIInputImageKey);
    if (input.isNull()) return {};
    const CIVector centre = vectorForKey(QStringLiteral("inputCenter"));
    const float y = float(centre.Y()), x = float(centre.X());
    const QTransform transform =
        affineConstruction(float(numberForKey(QStringLiteral("inputScale"))),
                           float(numberForKey(QStringLiteral("inputAngle"))),
                           float(numberForKey(QStringLiteral("inputStretch"))),
                           float(numberForKey(QStringLiteral("inputSkew"))), x, y);
    const auto tile = innerFilter(QStringLiteral("CIAffineTile"));
    if (!tile) return {};
    tile->setValueForKey(QVariant::fromValue(transform), QStringLiteral("inputTransform"));
    tile->setValueForKey(QVariant::fromValue(input), kCIInputImageKey);
    return tile->outputImage();
}

}  // namespace cif
