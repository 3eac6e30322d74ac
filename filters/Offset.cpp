#include "filters/Offset.h"

namespace cif {

void Offset::touchClass() {
    static const bool registered = registerCustomFilterClass(
        QStringLiteral("CIFOffset"), QStringLiteral("Offset Filter"), &Offset::filterWithName);
    (void)registered;
}

std::unique_ptr<CIFilter> Offset::filterWithName(const QString&) {
    return std::unique_ptr<CIFilter>(new Offset());
}

}  // namespace cif
