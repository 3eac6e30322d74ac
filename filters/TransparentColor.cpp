#include "filters/TransparentColor.h"

#include "platform/image/CIAttributes.h"

namespace cif {

namespace {

// Alpha becomes the pixel's alpha times smoothstep(0, factor, distance to
// the key colour), the distance taken over all four unpremultiplied
// components. The colour channels come back unpremultiplied under the new
// alpha: the premultiplied copy the kernel makes is never used.
constexpr const char* kSource =
    "kernel vec4 multiplyEffect(sampler image, __color color, float factor){vec4 samp = "
    "sample(image, samplerCoord(image));samp = unpremultiply(samp);vec4 retColor = "
    "samp;retColor.a = clamp(samp.a*smoothstep(0., factor, length(color-samp)), 0., 1.);samp = "
    "premultiply(samp);return retColor;}";

ClassKernel& classKernel() {
    static ClassKernel kernel(kSource);
    return kernel;
}

}  // namespace

void TransparentColor::touchClass() {
    static const bool registered = registerCustomFilterClass(
        QStringLiteral("CIFTransparentColorFilter"), QStringLiteral("Transparent Color"),
        &TransparentColor::filterWithName,
        {{QStringLiteral("inputColor"), colorInputAttributes(1, 1, 1, 1)},
         {QStringLiteral("inputFactor"), scalarInputAttributes(0, 0.2, 0.01, 1, 0.01, 1)}});
    (void)registered;
}

std::unique_ptr<CIFilter> TransparentColor::filterWithName(const QString&) {
    return std::unique_ptr<CIFilter>(new TransparentColor());
}

TransparentColor::TransparentColor() {
    classKernel().kernel();
}

QList<CIFCustomFilter::Input> TransparentColor::declaredInputs() const {
    return {{QStringLiteral("inputColor"), QStringLiteral("CIColor")},
            {QStringLiteral("inputFactor"), QStringLiteral("NSNumber")}};
}

QVariantMap TransparentColor::ownAttributes() const {
    return {{QStringLiteral("inputColor"), colorInputAttributes(1, 1, 1, 1)},
            {QStringLiteral("inputFactor"), scalarInputAttributes(0, 5, 0, 20, 0, 20)}};
}

CIImage TransparentColor::outputImage() const {
    return applyKernelToInput(classKernel().kernel(),
                              {QVariant::fromValue(colorForKey(QStringLiteral("inputColor"))),
                               numberForKey(QStringLiteral("inputFactor"))});
}

}  // namespace cif
