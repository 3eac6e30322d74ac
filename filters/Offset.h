#pragma once
// Offset: tiles the picture in squares. Registered as "CIFOffset".

#include <QString>
#include <memory>

#include "filters/CIFCustomFilter.h"

namespace cif {

class Offset final : public CIFCustomFilter {
public:
    // Registers the class with the filter registry on the first call.
    static void touchClass();
    // A new instance; the name is ignored.
    static std::unique_ptr<CIFilter> filterWithName(const QString& name);

private:
    Offset() = default;
};

}  // namespace cif
