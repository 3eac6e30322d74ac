// Any file given to the picture loader (PNG, JPEG, TIFF, GIF, BMP, PDF, or
// none of them) answers a picture within the limits or a message; a picture
// draws into a small bitmap, so PDF pages are rendered too.
#include <sys/mman.h>
#include <unistd.h>

#include <QImage>
#include <QString>
#include <cstddef>
#include <cstdint>

#include "platform/host/HostImage.h"
#include "platform/host/ImageLimits.h"
#include "tests/fuzz/FuzzSupport.h"

namespace {

// The input as a file without touching the disk.
int memoryFile() {
    static const int fd = memfd_create("fuzz-picture", 0);
    return fd;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    cif::fuzz::setUpOnce();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const int fd = memoryFile();
    if (fd < 0 || ftruncate(fd, 0) != 0 || pwrite(fd, data, size, 0) != ssize_t(size)) return 0;
    QString error;
    const cif::HostImage picture =
        cif::HostImage::load(QStringLiteral("/proc/self/fd/%1").arg(fd), &error);
    if (picture.isNull() == error.isEmpty()) __builtin_trap();
    if (picture.isNull()) return 0;
    if (!cif::checkPictureSize(picture.pixelsWide(), picture.pixelsHigh(), nullptr))
        __builtin_trap();
    const QImage small = picture.rasterize(QSize(16, 12), &error);
    if (small.isNull()) __builtin_trap();
    return 0;
}
