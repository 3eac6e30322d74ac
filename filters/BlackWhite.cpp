#include "filters/BlackWhite.h"

#include "platform/image/CIAttributes.h"

namespace cif {

namespace {

// Luminance of the premultiplied sample: strictly above the level gives
// black, anything else white (the false-colour step then maps black to
// inputColor0 and white to inputColor1); alpha kept.
constexpr const char* kSource =
    "__color white  = __color(1., 1., 1., 1.);\t__color black = __color(0., 0., 0., "
    "1.);\t\t\t\t\tkernel vec4 blackAndWhite(sampler image, float factor)\t\t{\tvec4 v = "
    "sample(image, samplerCoord(image));\t\t\tfloat f = (0.2125*v.r+ "
    "0.7154*v.g+0.0721*v.b);\t\t\t\t__color retColor = (f>factor) ? black : "
    "white;\t\t\t\tretColor.a = v.a;\t\t\t\t\t\t\t\t\t\t\treturn "
    "retColor;}\t\t\t\t\t\t\t\t\t\t\t";

ClassKernel& classKernel() {
    static ClassKernel kernel(kSource);
    return kernel;
}

}  // namespace

void BlackWhite::touchClass() {
    static const bool registered =
        registerCustomFilterClass(QStringLiteral("CIFBlackWhiteFilter"),
                                  QStringLiteral("Bi-Color Filter"), &BlackWhite::filterWithName);
    (void)registered;
}

std::unique_ptr<CIFilter> BlackWhite::filterWithName(const QString&) {
    return std::unique_ptr<CIFilter>(new BlackWhite());
}

BlackWhite::BlackWhite() : m_falseColor(innerFilter(QStringLiteral("CIFalseColor"))) {
    classKernel().kernel();
}

QList<CIFCustomFilter::Input> BlackWhite::declaredInputs() const {
    return {{QStringLiteral("inputLevel"), QStringLiteral("NSNumber")},
            {QStringLiteral("inputColor0"), QStringLiteral("CIColor")},
            {QStringLiteral("inputColor1"), QStringLiteral("CIColor")}};
}

QVariantMap BlackWhite::ownAttributes() const {
    return {{QStringLiteral("inputLevel"), scalarInputAttributes(0, 0.5, 0, 1, 0, 1)},
            {QStringLiteral("inputColor0"), colorInputAttributes(1, 1, 1, 1)},
            {QStringLiteral("inputColor1"), colorInputAttributes(0, 0, 0, 1)}};
}

CIImage BlackWhite::outputImage() const {
    const CIImage split =
        applyKernelToInput(classKernel().kernel(), {numberForKey(QStringLiteral("inputLevel"))});
    if (split.isNull() || !m_falseColor) return {};
    m_falseColor->setValueForKey(QVariant::fromValue(colorForKey(QStringLiteral("inputColor0"))),
                                 QStringLiteral("inputColor0"));
    m_falseColor->setValueForKey(QVariant::fromValue(colorForKey(QStringLiteral("inputColor1"))),
                                 QStringLiteral("inputColor1"));
    m_falseColor->setValueForKey(QVariant::fromValue(split), kCIInputImageKey);
    return m_falseColor->outputImage();
}

}  // namespace cif
