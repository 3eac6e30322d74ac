#pragma once
// Sobel: edge magnitude of the red channel by the Sobel operator. Registered as "CIFSobel".

#include <QString>
#include <memory>

#include "filters/CIFCustomFilter.h"

namespace cif {

class Sobel final : public CIFCustomFilter {
public:
    // Registers the class with the filter registry on the first call.
    static void touchClass();
    // A new instance; the name is ignored.
    static std::unique_ptr<CIFilter> filterWithName(const QString& name);

private:
    Sobel() = default;
};

}  // namespace cif
