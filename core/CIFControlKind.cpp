#include "core/CIFControlKind.h"

#include "platform/image/CIAttributes.h"

namespace cif {

namespace {

const QString kPortType = QStringLiteral("QCPortAttributeTypeKey");

struct KindHeight {
    CIFControlKind kind;
    float height;
};

constexpr KindHeight kRowHeights[] = {
    {CIFControlKind::Color, 22},  {CIFControlKind::Boolean, 20},
    {CIFControlKind::Menu, 27},   {CIFControlKind::Number, 27},
    {CIFControlKind::Image, 55},  {CIFControlKind::Offset, kCIFOffsetRowsHeight},
    {CIFControlKind::Vector, 20}, {CIFControlKind::Transform, kCIFTransformRowsHeight},
};

constexpr const char* kTransitions[] = {"CICopyMachineTransition", "CIFlashTransition",
                                        "CIPageCurlTransition", "CIRippleTransition",
                                        "CISwipeTransition"};

}  // namespace

CIFControlKind controlKindForInput(const QString& key, const QVariantMap& attribute) {
    const QString cls = attribute.value(kCIAttributeClass).toString();
    const QString type = attribute.value(kCIAttributeType).toString();
    const QString port = attribute.value(kPortType).toString();
    if (cls == QLatin1String("CIColor") || port == QLatin1String("QCPortTypeColor"))
        return CIFControlKind::Color;
    if ((cls == QLatin1String("NSNumber") && type == kCIAttributeTypeBoolean) ||
        port == QLatin1String("QCPortTypeBoolean"))
        return CIFControlKind::Boolean;
    if (port == QLatin1String("QCPortTypeIndex") &&
        attribute.contains(QStringLiteral("QCPortAttributeMenuItemsKey")))
        return CIFControlKind::Menu;
    if (cls == QLatin1String("NSNumber") || port == QLatin1String("QCPortTypeIndex") ||
        port == QLatin1String("QCPortTypeNumber"))
        return CIFControlKind::Number;
    if (cls == QLatin1String("CIImage") || port == QLatin1String("QCPortTypeImage"))
        return key == QLatin1String("inputImage") || key == QLatin1String("_protocolInput_Image")
                   ? CIFControlKind::Picture
                   : CIFControlKind::Image;
    if (cls == QLatin1String("CIVector"))
        return type == kCIAttributeTypeOffset ? CIFControlKind::Offset : CIFControlKind::Vector;
    if (cls == QLatin1String("NSAffineTransform")) return CIFControlKind::Transform;
    return CIFControlKind::None;
}

float controlRowHeight(CIFControlKind kind) {
    for (const KindHeight& row : kRowHeights)
        if (row.kind == kind) return row.height;
    return 0;
}

bool isTransitionExtent(const QString& filterName, const QString& key) {
    if (key != QLatin1String("inputExtent")) return false;
    for (const char* name : kTransitions)
        if (filterName == QLatin1String(name)) return true;
    return false;
}

float heightForControlsOfInputs(const QString& filterName, const QStringList& inputKeys,
                                const QVariantMap& attributes) {
    float sum = 0;
    for (const QString& key : inputKeys) {
        const CIFControlKind kind = controlKindForInput(key, attributes.value(key).toMap());
        if (kind == CIFControlKind::Offset && isTransitionExtent(filterName, key)) continue;
        sum += controlRowHeight(kind);
    }
    return sum > 0 ? sum + kCIFControlsMargin : 0;
}

}  // namespace cif
