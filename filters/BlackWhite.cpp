#include "filters/BlackWhite.h"

namespace cif {

void BlackWhite::touchClass() {
    static const bool registered =
        registerCustomFilterClass(QStringLiteral("CIFBlackWhiteFilter"),
                                  QStringLiteral("Bi-Color Filter"), &BlackWhite::filterWithName);
    (void)registered;
}

std::unique_ptr<CIFilter> BlackWhite::filterWithName(const QString&) {
    return std::unique_ptr<CIFilter>(new BlackWhite());
}

}  // namespace cif
