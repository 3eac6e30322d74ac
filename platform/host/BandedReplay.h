#pragma once
// Replays a recorded drawing into a raster picture in horizontal bands of whole rows, one band
// per task on the thread pool. Every band paints through its own painter on a view of the
// whole picture's pixels, clipped to the band's rows, under the very transform a single replay
// would use, and is handed only the shapes that reach its rows: the rasteriser computes each
// pixel from the same fixed-point coordinates, and the bands together hold the pixels of one
// whole replay, bit for bit.

#include <functional>

// Declared only, so that this header includes nothing of Qt's ahead of TBB's headers (Qt's
// emit macro breaks them).
class QImage;
class QPainter;
class QPicture;
class QSize;

namespace cif {

class BandedReplay {
public:
    // Whether replay band by band gives the pixels of one whole replay: false for recordings
    // that fill rectangles, stroke paths with wide pens, paint with gradients or set clips of
    // their own, whose pixels Qt's raster engine computes differently under another clip.
    static bool isSafe(const QPicture& picture);

    // The rows of a band when the caller names none: one band per thread of the current pool,
    // or the whole height when the picture is too small to be worth splitting.
    static int defaultBandRows(QSize size);

    // Calls draw(painter) once per band of bandRows rows of image (the last band may be
    // shorter), in parallel; each painter paints on image's own pixels, clipped to its band.
    // image must be a non-null raster image whose pixels are not shared with another QImage.
    static void run(QImage& image, int bandRows, const std::function<void(QPainter&)>& draw);
};

}  // namespace cif
