#pragma once
// Helpers shared by the generator tests: running a generator from a seed, reading its
// picture as 8-bit RGBA pixels, and counting the random numbers a run draws.

#include <QImage>
#include <QVariantMap>

#include <cstdlib>

#include "generators/GLIFCoreObject.h"

namespace cif::test {

// The picture of one run seeded with seed, rasterised at its size (null when none).
inline QImage runGenerator(GLIFCoreObject& generator, int w, int h, const QVariantMap& attributes,
                           unsigned seed) {
    std::srand(seed);
    const HostImage picture =
        generator.GLIFOutputImageWidthHeightAttributes(nullptr, w, h, attributes);
    if (picture.isNull()) return {};
    const QImage pixels = picture.isVector() ? picture.rasterize(QSize(w, h)) : picture.bitmap();
    return pixels.convertToFormat(QImage::Format_RGBA8888);
}

// How many numbers of the rand() sequence started at seed a call of run used: the number
// drawn after it is found in a fresh sequence from the same seed. -1 when it is not within
// limit draws.
template <class Run>
long randomDraws(unsigned seed, Run&& run, long limit = 5'000'000) {
    std::srand(seed);
    run();
    const int next = std::rand();
    std::srand(seed);
    for (long n = 0; n <= limit; ++n)
        if (std::rand() == next) return n;
    return -1;
}

}  // namespace cif::test
