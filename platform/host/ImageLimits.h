#pragma once
// The plug-in's own limits on picture sizes. They are checked before any picture is
// decoded, generated, rendered from a PDF or allocated as an output, so that a hostile or
// damaged input cannot make the host process allocate gigabytes. They are ours alone: the
// process-wide settings of the host (Qt's image allocation limit) are never changed.

#include <QString>
#include <QtGlobal>

namespace cif {

// Longest side of any picture, in pixels.
inline constexpr int kMaxPictureSide = 30000;
// Largest area of any picture, in pixels (256 megapixels).
inline constexpr qint64 kMaxPictureArea = 256LL * 1000 * 1000;
// Largest picture file that is read at all, in bytes (1 GiB).
inline constexpr qint64 kMaxPictureFileBytes = 1LL << 30;

// True when a picture of width x height pixels may be allocated: both sides positive, no side
// longer than kMaxPictureSide and the area at most kMaxPictureArea. Otherwise false, and
// *error (when error is not null) receives a translated message that names the size.
bool checkPictureSize(qint64 width, qint64 height, QString* error);

}  // namespace cif
