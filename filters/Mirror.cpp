#include "filters/Mirror.h"

#include "platform/image/CIAttributes.h"

namespace cif {

namespace {

// Points below the line y = |factorY| read their reflection above it; alpha
// is min(y / |factorY|, the coordinate's fourth component), cut to 0 below
// y = 2 factorY - imageHeight.
constexpr const char* kSource =
    "kernel vec4 multiplyEffect(sampler image, float factorY, float imageHeight){\tvec4 point = "
    "samplerCoord(image);vec2 coor = samplerCoord(image);vec4 res = sample(image, vec2(coor.x, "
    "abs(coor.y - abs(factorY)) + abs(factorY)));res.a = (min(coor.y/abs(factorY), "
    "point.a))*step(0., (coor.y)-(2.*factorY-imageHeight));return res;\t}";

ClassKernel& classKernel() {
    static ClassKernel kernel(kSource);
    return kernel;
}

}  // namespace

void Mirror::touchClass() {
    static const bool registered = registerCustomFilterClass(
        QStringLiteral("CIFMirrorFilter"), QStringLiteral("Mirror Filter"), &Mirror::filterWithName,
        {{QStringLiteral("inputCenter"), vectorInputAttributes(10, 10)}});
    (void)registered;
}

std::unique_ptr<CIFilter> Mirror::filterWithName(const QString&) {
    return std::unique_ptr<CIFilter>(new Mirror());
}

Mirror::Mirror() {
    classKernel().kernel();
}

QList<CIFCustomFilter::Input> Mirror::declaredInputs() const {
    return {{QStringLiteral("inputCenter"), QStringLiteral("CIVector")}};
}

CIImage Mirror::outputImage() const {
    const CIImage input = imageForKey(kCIInputImageKey);
    if (input.isNull()) return {};
    return applyKernelToInput(
        classKernel().kernel(),
        {vectorForKey(QStringLiteral("inputCenter")).Y(), input.extent().height()});
}

}  // namespace cif
