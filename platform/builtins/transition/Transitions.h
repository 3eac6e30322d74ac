#pragma once
// The transition built-ins' computations, one function per filter; the
// registration list is in TransitionFilters.cpp.

#include "platform/image/CIFilter.h"

namespace cif::builtins::transitions {

CIImage dissolve(const CIFilter& f);
CIImage blendWithMask(const CIFilter& f);
CIImage swipe(const CIFilter& f);
CIImage copyMachine(const CIFilter& f);
CIImage barsSwipe(const CIFilter& f);
CIImage modTransition(const CIFilter& f);
CIImage flash(const CIFilter& f);
CIImage disintegrateWithMask(const CIFilter& f);
CIImage ripple(const CIFilter& f);
CIImage pageCurl(const CIFilter& f);
CIImage pageCurlWithShadow(const CIFilter& f);
CIImage accordionFold(const CIFilter& f);

}  // namespace cif::builtins::transitions
