#include "filters/TransparentFilter.h"

#include "platform/image/CIAttributes.h"
#include "platform/image/CIColor.h"

namespace cif {

void TransparentFilter::touchClass() {
    static const bool registered = registerCustomFilterClass(
        QStringLiteral("CIFTransparentFilter"), QStringLiteral("Transparent"),
        &TransparentFilter::filterWithName,
        {{QStringLiteral("inputTransparency"), scalarInputAttributes(0, 0.2, 0.01, 1, 0.01, 1)}});
    (void)registered;
}

std::unique_ptr<CIFilter> TransparentFilter::filterWithName(const QString&) {
    return std::unique_ptr<CIFilter>(new TransparentFilter());
}

}  // namespace cif
