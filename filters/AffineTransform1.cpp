#include "filters/AffineTransform1.h"

#include <cmath>

#include "platform/image/CIAttributes.h"

namespace cif {

void AffineTransform1::touchClass() {
    static const bool registered =
        registerCustomFilterClass(QStringLiteral("CIFAffineTransform2Filter"),
                                  QStringLiteral("Transform"), &AffineTransform1::filterWithName);
    (void)registered;
}

std::unique_ptr<CIFilter> AffineTransform1::filterWithName(const QString&) {
    return std::unique_ptr<CIFilter>(new AffineTransform1());
}

AffineTransform1::AffineTransform1() = default;

QList<CIFCustomFilter::Input> AffineTransform1::declaredInputs() const {
    return {{QStringLiteral("inputAngle"), QStringLiteral("NSNumber")},
            {QStringLiteral("inputSqueeze"), QStringLiteral("NSNumber")},
            {QStringLiteral("inputSkew"), QStringLiteral("NSNumber")}};
}

QVariantMap AffineTransform1::ownAttributes() const {
    return {
        {QStringLiteral("inputAngle"), scalarInputAttributes(0, 0.05, -3.14, 3.14, -3.14, 3.14)},
        {QStringLiteral("inputSqueeze"), scalarInputAttributes(0, 0.2, -1, 1, -1, 1)},
        {QStringLiteral("inputSkew"), scalarInputAttributes(0, 0, -5, 5, -5, 5)}};
}

CIImage AffineTransform1::outputImage() const {
    const CIImage input = imageForKey(kCIInputImageKey);
    if (input.isNull()) return input;
    // An infinite picture has no centre to turn about; it turns about the
    // origin (its size would only make the pivot's arithmetic lose every digit).
    const double w = input.isInfinite() ? 0 : input.extent().width();
    const double h = input.isInfinite() ? 0 : input.extent().height();
    // A positive squeeze narrows the picture, a negative one flattens it.
    const double q = numberForKey(QStringLiteral("inputSqueeze"));
    const double x = q >= 0 ? 1 - q : 1, y = q >= 0 ? 1 : 1 + q;
    const double a = numberForKey(QStringLiteral("inputAngle"));
    const double k = numberForKey(QStringLiteral("inputSkew"));
    const double c = std::cos(a), n = std::sin(a);
    const QTransform m((c - n * k) * x, x * (k * c + n), -n * y, y * c, 0, 0);
    // About (w/2, h/2) of the image's own coordinates: the pivot uses the
    // extent's size, not its origin.
    const QTransform t = QTransform::fromTranslate(-0.5 * w, -0.5 * h) * m *
                         QTransform::fromTranslate(0.5 * w, 0.5 * h);
    const auto transform = innerFilter(QStringLiteral("CIAffineTransform"));
    if (!transform) return {};
    transform->setValueForKey(QVariant::fromValue(t), QStringLiteral("inputTransform"));
    transform->setValueForKey(QVariant::fromValue(input), kCIInputImageKey);
    return transform->outputImage();
}

}  // namespace cif
