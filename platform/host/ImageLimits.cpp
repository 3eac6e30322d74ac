#include "platform/host/ImageLimits.h"

#include <QCoreApplication>

namespace cif {

bool checkPictureSize(qint64 width, qint64 height, QString* error) {
    // Sides are checked before the area so the product cannot overflow.
    const bool empty = width <= 0 || height <= 0;
    const bool tooLarge = !empty && (width > kMaxPictureSide || height > kMaxPictureSide ||
                                     width * height > kMaxPictureArea);
    if (!empty && !tooLarge) return true;
    if (error) {
        *error = empty ? QCoreApplication::translate("HostImage",
                                                     "Picture of %1 x %2 pixels has no area")
                             .arg(width)
                             .arg(height)
                       : QCoreApplication::translate("HostImage",
                                                     "Picture of %1 x %2 pixels is larger than the "
                                                     "limit of 30000 pixels a side and 256 "
                                                     "megapixels")
                             .arg(width)
                             .arg(height);
    }
    return false;
}

}  // namespace cif
