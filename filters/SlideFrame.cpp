#include "filters/SlideFrame.h"

namespace cif {

void SlideFrame::touchClass() {
    static const bool registered = registerCustomFilterClass(QStringLiteral("CIFSlideFrameFilter"),
                                                             QStringLiteral("Slide Frame Filter"),
                                                             &SlideFrame::filterWithName);
    (void)registered;
}

std::unique_ptr<CIFilter> SlideFrame::filterWithName(const QString&) {
    return std::unique_ptr<CIFilter>(new SlideFrame());
}

}  // namespace cif
