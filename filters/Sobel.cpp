#include "filters/Sobel.h"

#include "platform/image/CIAttributes.h"

namespace cif {

namespace {

// The 3 x 3 Sobel operator on the red channel; vertical gradient with the
// rows as written (by y offset), horizontal with the transposed kernel.
constexpr const char* kSource =
    "const float kern00 = -1;const float kern01 = -2;const float kern02 = -1;const float kern10 = "
    "0;const float kern11 = 0;const float kern12 = 0;const float kern20 = 1;const float kern21 = "
    "2;const float kern22 = 1;float getMonoValue(sampler image, const vec2 xy, const vec2 "
    "off){\treturn sample(image, xy+off).r;}kernel vec4 sobelFilter(sampler image, float "
    "param){\tfloat accumV = 0.0;\tfloat accumH = 0.0;\tconst vec2 xy = "
    "samplerCoord(image);\tfloat pixel;\tpixel = getMonoValue(image, xy, vec2(-1.0, "
    "-1.0));\taccumV += pixel*kern00;\taccumH += pixel*kern00;\tpixel = getMonoValue(image, xy, "
    "vec2( 0.0, -1.0));\taccumV += pixel*kern01;\taccumH += pixel*kern10;\tpixel = "
    "getMonoValue(image, xy, vec2( 1.0, -1.0));\taccumV += pixel*kern02;\taccumH += "
    "pixel*kern20;\tpixel = getMonoValue(image, xy, vec2(-1.0,  0.0));\taccumV += "
    "pixel*kern10;\taccumH += pixel*kern01;\tpixel = getMonoValue(image, xy, vec2( 0.0,  "
    "0.0));\taccumV += pixel*kern11;\taccumH += pixel*kern11;\tpixel = getMonoValue(image, xy, "
    "vec2( 1.0,  0.0));\taccumV += pixel*kern12;\taccumH += pixel*kern21;\tpixel = "
    "getMonoValue(image, xy, vec2(-1.0,  1.0));\taccumV += pixel*kern20;\taccumH += "
    "pixel*kern02;\tpixel = getMonoValue(image, xy, vec2( 0.0,  1.0));\taccumV += "
    "pixel*kern21;\taccumH += pixel*kern12;\tpixel = getMonoValue(image, xy, vec2( 1.0,  "
    "1.0));\taccumV += pixel*kern22;\taccumH += pixel*kern22;\tfloat intens = "
    "param*sqrt(accumH * accumH + accumV * accumV);\treturn vec4(intens, intens, intens, "
    "sample(image, samplerCoord(image)).a );}";

ClassKernel& classKernel() {
    static ClassKernel kernel(kSource);
    return kernel;
}

}  // namespace

void Sobel::touchClass() {
    static const bool registered = registerCustomFilterClass(
        QStringLiteral("CIFSobel"), QStringLiteral("Sobel Filter"), &Sobel::filterWithName);
    (void)registered;
}

std::unique_ptr<CIFilter> Sobel::filterWithName(const QString&) {
    return std::unique_ptr<CIFilter>(new Sobel());
}

Sobel::Sobel() {
    classKernel().kernel();
}

QList<CIFCustomFilter::Input> Sobel::declaredInputs() const {
    return {{QStringLiteral("inputIntensity"), QStringLiteral("NSNumber")}};
}

QVariantMap Sobel::ownAttributes() const {
    return {{QStringLiteral("inputIntensity"), scalarInputAttributes(0, 7, 0, 20, 0, 20)}};
}

CIImage Sobel::outputImage() const {
    return applyKernelToInput(classKernel().kernel(),
                              {numberForKey(QStringLiteral("inputIntensity"))});
}

}  // namespace cif
