#include "filters/MirrorTile.h"

#include "platform/image/CIAttributes.h"

namespace cif {

namespace {

// Each quadrant about (imageWidth/2, imageHeight/2) holds a half-size mirrored
// copy of the picture; `scale` is passed along but not used.
constexpr const char* kSource =
    "kernel vec4 mirrorTile(sampler image, float scale, float imageWidth, float "
    "imageHeight){\tvec2 coord;coord.x = abs( samplerCoord(image).x*2.-imageWidth+0.5);coord.y "
    "= abs( samplerCoord(image).y*2.-imageHeight+0.5);return sample(image, coord);}";

ClassKernel& classKernel() {
    static ClassKernel kernel(kSource);
    return kernel;
}

}  // namespace

void MirrorTile::touchClass() {
    static const bool registered = registerCustomFilterClass(
        QStringLiteral("CIFMirrorTileFilter"), QStringLiteral("Mirror Tile Filter"),
        &MirrorTile::filterWithName,
        {{QStringLiteral("inputSkew"), scalarInputAttributes(0, 0, -5, 5, -5, 5)},
         {QStringLiteral("inputStretch"), scalarInputAttributes(0, 0.2, 0.01, 10, 0.01, 10)},
         {QStringLiteral("inputAngle"), scalarInputAttributes(0, 0, -3.14, 3.14, -3.14, 3.14)},
         {QStringLiteral("inputScale"), scalarInputAttributes(0, 1.2, 0.01, 10, 0.01, 10)},
         {QStringLiteral("inputCenter"), vectorInputAttributes(10, 10)}});
    (void)registered;
}

std::unique_ptr<CIFilter> MirrorTile::filterWithName(const QString&) {
    return std::unique_ptr<CIFilter>(new MirrorTile());
}

MirrorTile::MirrorTile() {
    classKernel().kernel();
}

QList<CIFCustomFilter::Input> MirrorTile::declaredInputs() const {
    return {{QStringLiteral("inputScale"), QStringLiteral("NSNumber")},
            {QStringLiteral("inputAngle"), QStringLiteral("NSNumber")},
            {QStringLiteral("inputStretch"), QStringLiteral("NSNumber")},
            {QStringLiteral("inputSkew"), QStringLiteral("NSNumber")},
            {QStringLiteral("inputCenter"), QStringLiteral("CIVector")}};
}

CIImage MirrorTile::outputImage() const {
    const CIImage input = imageForKey(kCIInputImageKey);
    if (input.isNull()) return {};
    const CIVector centre = vectorForKey(QStringLiteral("inputCenter"));
    const float y = float(centre.Y()), x = float(centre.X());
    const float skew = float(numberForKey(QStringLiteral("inputSkew")));
    const float stretch = float(numberForKey(QStringLiteral("inputStretch")));
    const float angle = float(numberForKey(QStringLiteral("inputAngle")));
    const float scale = float(numberForKey(QStringLiteral("inputScale")));
    const QTransform transform = affineConstruction(scale, angle, stretch, skew, x, y);
    const CIImage folded = applyKernelToInput(
        classKernel().kernel(), {double(scale), input.extent().width(), input.extent().height()});
    if (folded.isNull()) return {};
    if (!m_tile) m_tile = innerFilter(QStringLiteral("CIAffineTile"));
    if (!m_tile) return {};
    m_tile->setValueForKey(QVariant::fromValue(transform), QStringLiteral("inputTransform"));
    m_tile->setValueForKey(QVariant::fromValue(folded), kCIInputImageKey);
    return m_tile->outputImage();
}

}  // namespace cif
