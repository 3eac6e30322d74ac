#pragma once
// Shading: shades the picture's relief with a material picture. Registered as "CIFShadingFilter".

#include <QString>
#include <memory>

#include "filters/CIFCustomFilter.h"

namespace cif {

class Shading final : public CIFCustomFilter {
public:
    // Registers the class with the filter registry on the first call.
    static void touchClass();
    // A new instance; the name is ignored.
    static std::unique_ptr<CIFilter> filterWithName(const QString& name);

private:
    Shading() = default;
};

}  // namespace cif
