#pragma once
// BlackWhite: splits the picture into two colours at a luminance level. Registered as
// "CIFBlackWhiteFilter".

#include <QString>
#include <memory>

#include "filters/CIFCustomFilter.h"

namespace cif {

class BlackWhite final : public CIFCustomFilter {
public:
    // Registers the class with the filter registry on the first call.
    static void touchClass();
    // A new instance; the name is ignored.
    static std::unique_ptr<CIFilter> filterWithName(const QString& name);

private:
    BlackWhite() = default;
};

}  // namespace cif
