// Any bytes given to the TIFF decoder answer a picture within the limits or
// a message; a decoded picture encodes again.
#include <QByteArray>
#include <QImage>
#include <QString>
#include <cstddef>
#include <cstdint>

#include "platform/host/ImageLimits.h"
#include "platform/host/TiffCodec.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    QString error;
    bool unsupported = false;
    const QImage image = cif::TiffCodec::decode(
        QByteArray::fromRawData(reinterpret_cast<const char*>(data), qsizetype(size)), &error,
        &unsupported);
    if (image.isNull() == error.isEmpty()) __builtin_trap();
    if (!image.isNull()) {
        if (!cif::checkPictureSize(image.width(), image.height(), nullptr)) __builtin_trap();
        if (cif::TiffCodec::encode(image).isEmpty()) __builtin_trap();
    }
    return 0;
}
