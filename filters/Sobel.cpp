#include "filters/Sobel.h"

namespace cif {

void Sobel::touchClass() {
    static const bool registered = registerCustomFilterClass(
        QStringLiteral("CIFSobel"), QStringLiteral("Sobel Filter"), &Sobel::filterWithName);
    (void)registered;
}

std::unique_ptr<CIFilter> Sobel::filterWithName(const QString&) {
    return std::unique_ptr<CIFilter>(new Sobel());
}

}  // namespace cif
