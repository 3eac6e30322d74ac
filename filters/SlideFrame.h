#pragma once
// SlideFrame: stretches the picture's border outwards from a frame. Registered as
// "CIFSlideFrameFilter".

#include <QString>
#include <memory>

#include "filters/CIFCustomFilter.h"

namespace cif {

class SlideFrame final : public CIFCustomFilter {
public:
    // Registers the class with the filter registry on the first call.
    static void touchClass();
    // A new instance; the name is ignored.
    static std::unique_ptr<CIFilter> filterWithName(const QString& name);

private:
    SlideFrame() = default;
};

}  // namespace cif
