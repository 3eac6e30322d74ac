#pragma once
// AffineTransform1: an affine transform built from scale, angle, stretch and skew. Registered as
// "CIFAffineTransform2Filter".

#include <QString>
#include <memory>

#include "filters/CIFCustomFilter.h"

namespace cif {

class AffineTransform1 final : public CIFCustomFilter {
public:
    // Registers the class with the filter registry on the first call.
    static void touchClass();
    // A new instance; the name is ignored.
    static std::unique_ptr<CIFilter> filterWithName(const QString& name);

private:
    AffineTransform1() = default;
};

}  // namespace cif
