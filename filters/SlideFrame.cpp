#include "filters/SlideFrame.h"

#include "platform/image/CIAttributes.h"

namespace cif {

namespace {

// The box centred on (centerX, centerY) with half-sides factor x size / 2
// keeps its pixels; every point outside reads the nearest point of the box.
constexpr const char* kSource =
    "kernel vec4 slideFrame(sampler image,float imageWidth, float imageHeight, float centerX, "
    "float centerY, float factorX, float factorY){\tvec2 coor = samplerCoord(image);float "
    "xBorder = factorX*imageWidth*0.5;float yBorder = factorY*imageHeight*0.5;vec4 res = "
    "sample(image,vec2(clamp(coor.x, centerX-xBorder, centerX + xBorder), clamp(coor.y, "
    "centerY-yBorder, centerY + yBorder)));return res;}";

ClassKernel& classKernel() {
    static ClassKernel kernel(kSource);
    return kernel;
}

}  // namespace

void SlideFrame::touchClass() {
    static const bool registered = registerCustomFilterClass(QStringLiteral("CIFSlideFrameFilter"),
                                                             QStringLiteral("Slide Frame Filter"),
                                                             &SlideFrame::filterWithName);
    (void)registered;
}

std::unique_ptr<CIFilter> SlideFrame::filterWithName(const QString&) {
    return std::unique_ptr<CIFilter>(new SlideFrame());
}

SlideFrame::SlideFrame() {
    classKernel().kernel();
}

QList<CIFCustomFilter::Input> SlideFrame::declaredInputs() const {
    return {{QStringLiteral("inputFactorX"), QStringLiteral("NSNumber")},
            {QStringLiteral("inputFactorY"), QStringLiteral("NSNumber")},
            {QStringLiteral("inputCenter"), QStringLiteral("CIVector")}};
}

QVariantMap SlideFrame::ownAttributes() const {
    return {{QStringLiteral("inputFactorX"), scalarInputAttributes(0, 0.8, 0.01, 1, 0.01, 1)},
            {QStringLiteral("inputFactorY"), scalarInputAttributes(0, 0.8, 0.01, 1, 0.01, 1)},
            {QStringLiteral("inputCenter"), vectorInputAttributes(10, 10)}};
}

CIImage SlideFrame::outputImage() const {
    const CIImage input = imageForKey(kCIInputImageKey);
    if (input.isNull()) return {};
    const CIVector centre = vectorForKey(QStringLiteral("inputCenter"));
    const double y = centre.Y(), x = centre.X();
    return applyKernelToInput(classKernel().kernel(),
                              {input.extent().width(), input.extent().height(), x, y,
                               numberForKey(QStringLiteral("inputFactorX")),
                               numberForKey(QStringLiteral("inputFactorY"))});
}

}  // namespace cif
