#include "filters/TransparentColor.h"

#include "platform/image/CIAttributes.h"
#include "platform/image/CIColor.h"

namespace cif {

void TransparentColor::touchClass() {
    static const bool registered = registerCustomFilterClass(
        QStringLiteral("CIFTransparentColorFilter"), QStringLiteral("Transparent Color"),
        &TransparentColor::filterWithName,
        {{QStringLiteral("inputColor"),
          QVariantMap{{kCIAttributeClass, QStringLiteral("CIColor")},
                      {kCIAttributeDefault, QVariant::fromValue(CIColor(1, 1, 1, 1))}}},
         {QStringLiteral("inputFactor"), scalarInputAttributes(0, 0.2, 0.01, 1, 0.01, 1)}});
    (void)registered;
}

std::unique_ptr<CIFilter> TransparentColor::filterWithName(const QString&) {
    return std::unique_ptr<CIFilter>(new TransparentColor());
}

}  // namespace cif
