#include "filters/NetDistortion.h"

namespace cif {

void NetDistortion::touchClass() {
    static const bool registered = registerCustomFilterClass(
        QStringLiteral("CIFNetDistortion"), QStringLiteral("Net Distortion Filter"),
        &NetDistortion::filterWithName);
    (void)registered;
}

std::unique_ptr<CIFilter> NetDistortion::filterWithName(const QString&) {
    return std::unique_ptr<CIFilter>(new NetDistortion());
}

}  // namespace cif
