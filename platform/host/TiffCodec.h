#pragma once
// Baseline TIFF without an image-format plug-in. Qt reads and writes TIFF only through an
// optional plug-in (Debian's qt6-image-formats-plugins); HostImage uses that plug-in to read
// when it is installed and this codec otherwise, and always writes with this codec so that
// the bytes do not depend on what is installed.
//
// Reading covers the first image of a classic (not Big) TIFF in either byte order, in strips,
// chunky, 8 or 16 bits a sample: grey (white or black is zero) and RGB with optional alpha,
// and 8-bit palette, uncompressed, PackBits or LZW, with or without horizontal differencing.
// Other variants are refused with a message. Writing makes an uncompressed little-endian RGB
// or RGBA file (unassociated alpha) at 72 pixels per inch.

#include <QByteArray>
#include <QImage>
#include <QSize>
#include <QString>

namespace cif {

class TiffCodec {
public:
    // True when head (the first bytes of a file, at least 4) starts with a TIFF signature.
    static bool hasTiffSignature(const QByteArray& head);

    // Decodes the first image of data. The size is read from the header and checked with
    // checkPictureSize before any pixel memory is allocated. The result is Format_RGBA8888
    // (Format_RGBA8888_Premultiplied for associated alpha, Format_RGBX8888 without alpha).
    // A null image and a translated message when the data is refused, damaged or truncated;
    // *unsupportedVariant (when not null) then tells whether the refusal is only because the
    // file is a kind of TIFF this codec does not read.
    static QImage decode(const QByteArray& data, QString* error,
                         bool* unsupportedVariant = nullptr);

    // Encodes image (any format) as described above; empty for a null image.
    static QByteArray encode(const QImage& image);
};

}  // namespace cif
