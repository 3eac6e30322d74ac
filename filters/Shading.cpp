#include "filters/Shading.h"

namespace cif {

void Shading::touchClass() {
    static const bool registered =
        registerCustomFilterClass(QStringLiteral("CIFShadingFilter"),
                                  QStringLiteral("Shading Filter"), &Shading::filterWithName);
    (void)registered;
}

std::unique_ptr<CIFilter> Shading::filterWithName(const QString&) {
    return std::unique_ptr<CIFilter>(new Shading());
}

}  // namespace cif
