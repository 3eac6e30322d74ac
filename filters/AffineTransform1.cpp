#include "filters/AffineTransform1.h"

namespace cif {

void AffineTransform1::touchClass() {
    static const bool registered =
        registerCustomFilterClass(QStringLiteral("CIFAffineTransform2Filter"),
                                  QStringLiteral("Transform"), &AffineTransform1::filterWithName);
    (void)registered;
}

std::unique_ptr<CIFilter> AffineTransform1::filterWithName(const QString&) {
    return std::unique_ptr<CIFilter>(new AffineTransform1());
}

}  // namespace cif
