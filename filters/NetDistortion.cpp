#include "filters/NetDistortion.h"

#include "platform/image/CIAttributes.h"

namespace cif {

namespace {

// Each point reads x + width cos x, y + height sin y (a period of 2 pi
// pixels), kept one pixel inside the picture.
constexpr const char* kSource =
    "kernel vec4 multiplyEffect(sampler image, float width, float height, float imageWidth, "
    "float imageHeight){vec2 coor = samplerCoord(image);vec4 res = sample(image, "
    "vec2(clamp(coor.x + width*cos(coor.x), 1., imageWidth-1.), clamp(coor.y + "
    "height*sin(coor.y), 1., imageHeight-1.)));return res;}";

ClassKernel& classKernel() {
    static ClassKernel kernel(kSource);
    return kernel;
}

}  // namespace

void NetDistortion::touchClass() {
    static const bool registered = registerCustomFilterClass(
        QStringLiteral("CIFNetDistortion"), QStringLiteral("Net Distortion Filter"),
        &NetDistortion::filterWithName);
    (void)registered;
}

std::unique_ptr<CIFilter> NetDistortion::filterWithName(const QString&) {
    return std::unique_ptr<CIFilter>(new NetDistortion());
}

NetDistortion::NetDistortion() {
    classKernel().kernel();
}

QList<CIFCustomFilter::Input> NetDistortion::declaredInputs() const {
    return {{QStringLiteral("inputWidth"), QStringLiteral("NSNumber")},
            {QStringLiteral("inputHeight"), QStringLiteral("NSNumber")}};
}

QVariantMap NetDistortion::ownAttributes() const {
    return {{QStringLiteral("inputWidth"), scalarInputAttributes(0, 7, 0, 20, 0, 20)},
            {QStringLiteral("inputHeight"), scalarInputAttributes(0, 5, 0, 20, 0, 20)}};
}

CIImage NetDistortion::outputImage() const {
    const CIImage input = imageForKey(kCIInputImageKey);
    if (input.isNull()) return {};
    return applyKernelToInput(
        classKernel().kernel(),
        {numberForKey(QStringLiteral("inputWidth")), numberForKey(QStringLiteral("inputHeight")),
         input.extent().width(), input.extent().height()});
}

}  // namespace cif
