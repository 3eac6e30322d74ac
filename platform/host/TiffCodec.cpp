#include "platform/host/TiffCodec.h"

#include "platform/host/ImageLimits.h"

#include <QCoreApplication>

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

namespace cif {

namespace {

// Tags this codec reads or writes.
enum Tag : quint16 {
    kImageWidth = 256,
    kImageLength = 257,
    kBitsPerSample = 258,
    kCompression = 259,
    kPhotometric = 262,
    kStripOffsets = 273,
    kSamplesPerPixel = 277,
    kRowsPerStrip = 278,
    kStripByteCounts = 279,
    kXResolution = 282,
    kYResolution = 283,
    kPlanarConfig = 284,
    kResolutionUnit = 296,
    kPredictor = 317,
    kColorMap = 320,
    kTileWidth = 322,
    kExtraSamples = 338,
};

enum Compression : quint32 { kNone = 1, kLzw = 5, kPackBits = 32773 };
enum Photometric : quint32 { kWhiteIsZero = 0, kBlackIsZero = 1, kRgb = 2, kPalette = 3 };

// No array this codec reads is longer than a 16-bit palette (3 x 65536 entries); strips are
// far fewer because a picture has at most kMaxPictureSide rows.
constexpr quint32 kMaxArrayLength = 3 * 65536;

QString damaged() {
    return QCoreApplication::translate("HostImage", "The TIFF data is damaged or truncated");
}

QString unsupported(const QString& what) {
    return QCoreApplication::translate("HostImage",
                                       "This kind of TIFF can only be read with Qt's TIFF "
                                       "image plug-in installed (%1)")
        .arg(what);
}

// Reads the integers of a TIFF file in its byte order, with every offset bounds-checked.
class ByteReader {
public:
    ByteReader(const QByteArray& data, bool bigEndian) : m_data(data), m_big(bigEndian) {}

    qint64 size() const { return m_data.size(); }

    bool u8(qint64 offset, quint32* value) const {
        if (offset < 0 || offset + 1 > size()) return false;
        *value = quint8(m_data.at(offset));
        return true;
    }

    bool u16(qint64 offset, quint32* value) const {
        if (offset < 0 || offset + 2 > size()) return false;
        const auto* p = reinterpret_cast<const uchar*>(m_data.constData()) + offset;
        *value = m_big ? (quint32(p[0]) << 8 | p[1]) : (quint32(p[1]) << 8 | p[0]);
        return true;
    }

    bool u32(qint64 offset, quint32* value) const {
        if (offset < 0 || offset + 4 > size()) return false;
        const auto* p = reinterpret_cast<const uchar*>(m_data.constData()) + offset;
        *value = m_big ? (quint32(p[0]) << 24 | quint32(p[1]) << 16 | quint32(p[2]) << 8 | p[3])
                       : (quint32(p[3]) << 24 | quint32(p[2]) << 16 | quint32(p[1]) << 8 | p[0]);
        return true;
    }

private:
    const QByteArray& m_data;
    bool m_big;
};

// The fields of the first image file directory that decoding needs.
struct Directory {
    quint32 width = 0;
    quint32 height = 0;
    std::vector<quint32> bitsPerSample{1};
    quint32 compression = kNone;
    quint32 photometric = ~0u;
    quint32 samplesPerPixel = 1;
    quint32 rowsPerStrip = ~0u;
    std::vector<quint32> stripOffsets;
    std::vector<quint32> stripByteCounts;
    quint32 planarConfig = 1;
    quint32 predictor = 1;
    std::vector<quint32> extraSamples;
    std::vector<quint32> colorMap;
    bool tiled = false;
};

// Reads the unsigned integer values of one 12-byte directory entry at entryOffset.
bool readValues(const ByteReader& in, qint64 entryOffset, std::vector<quint32>* values) {
    quint32 type = 0, count = 0;
    if (!in.u16(entryOffset + 2, &type) || !in.u32(entryOffset + 4, &count)) return false;
    int width = 0;
    switch (type) {
        case 1:  // BYTE
        case 7:  // UNDEFINED
            width = 1;
            break;
        case 3:  // SHORT
            width = 2;
            break;
        case 4:  // LONG
            width = 4;
            break;
        default:
            return false;
    }
    if (count == 0 || count > kMaxArrayLength) return false;
    qint64 at = entryOffset + 8;
    if (qint64(count) * width > 4) {
        quint32 offset = 0;
        if (!in.u32(at, &offset)) return false;
        at = offset;
    }
    if (at + qint64(count) * width > in.size()) return false;
    values->resize(count);
    for (quint32 i = 0; i < count; ++i) {
        quint32 v = 0;
        if (width == 1 && !in.u8(at + i, &v)) return false;
        if (width == 2 && !in.u16(at + 2 * qint64(i), &v)) return false;
        if (width == 4 && !in.u32(at + 4 * qint64(i), &v)) return false;
        (*values)[i] = v;
    }
    return true;
}

bool readDirectory(const QByteArray& data, Directory* dir, bool* bigEndian, QString* error,
                   bool* unsupportedVariant) {
    if (!TiffCodec::hasTiffSignature(data)) {
        if (error) *error = damaged();
        return false;
    }
    *bigEndian = data.at(0) == 'M';
    const ByteReader in(data, *bigEndian);
    quint32 magic = 0, ifdOffset = 0, entryCount = 0;
    in.u16(2, &magic);
    if (magic == 43) {
        if (error) *error = unsupported(QStringLiteral("BigTIFF"));
        if (unsupportedVariant) *unsupportedVariant = true;
        return false;
    }
    if (!in.u32(4, &ifdOffset) || !in.u16(ifdOffset, &entryCount) || entryCount == 0 ||
        qint64(ifdOffset) + 2 + 12 * qint64(entryCount) > in.size()) {
        if (error) *error = damaged();
        return false;
    }
    for (quint32 i = 0; i < entryCount; ++i) {
        const qint64 entry = qint64(ifdOffset) + 2 + 12 * qint64(i);
        quint32 tag = 0;
        in.u16(entry, &tag);
        std::vector<quint32> values;
        const bool known = tag == kImageWidth || tag == kImageLength || tag == kBitsPerSample ||
                           tag == kCompression || tag == kPhotometric || tag == kStripOffsets ||
                           tag == kSamplesPerPixel || tag == kRowsPerStrip ||
                           tag == kStripByteCounts || tag == kPlanarConfig || tag == kPredictor ||
                           tag == kColorMap || tag == kExtraSamples;
        if (tag == kTileWidth) dir->tiled = true;
        if (!known) continue;
        if (!readValues(in, entry, &values)) {
            if (error) *error = damaged();
            return false;
        }
        switch (tag) {
            case kImageWidth:
                dir->width = values[0];
                break;
            case kImageLength:
                dir->height = values[0];
                break;
            case kBitsPerSample:
                dir->bitsPerSample = values;
                break;
            case kCompression:
                dir->compression = values[0];
                break;
            case kPhotometric:
                dir->photometric = values[0];
                break;
            case kStripOffsets:
                dir->stripOffsets = values;
                break;
            case kSamplesPerPixel:
                dir->samplesPerPixel = values[0];
                break;
            case kRowsPerStrip:
                dir->rowsPerStrip = values[0];
                break;
            case kStripByteCounts:
                dir->stripByteCounts = values;
                break;
            case kPlanarConfig:
                dir->planarConfig = values[0];
                break;
            case kPredictor:
                dir->predictor = values[0];
                break;
            case kColorMap:
                dir->colorMap = values;
                break;
            case kExtraSamples:
                dir->extraSamples = values;
                break;
            default:
                break;
        }
    }
    return true;
}

// Decompressors write at most out.size() bytes and answer how many they wrote.

qint64 copyStrip(const uchar* src, qint64 n, std::vector<uchar>& out) {
    const qint64 count = std::min<qint64>(n, qint64(out.size()));
    if (count > 0) std::memcpy(out.data(), src, size_t(count));
    return count;
}

qint64 unpackBits(const uchar* src, qint64 n, std::vector<uchar>& out) {
    const qint64 cap = qint64(out.size());
    qint64 in = 0, written = 0;
    while (in < n && written < cap) {
        const int header = qint8(src[in++]);
        if (header >= 0) {
            const qint64 run = std::min<qint64>({header + 1, n - in, cap - written});
            std::memcpy(out.data() + written, src + in, size_t(run));
            in += header + 1;
            written += run;
        } else if (header != -128 && in < n) {
            const qint64 run = std::min<qint64>(1 - header, cap - written);
            std::memset(out.data() + written, src[in++], size_t(run));
            written += run;
        }
    }
    return written;
}

// TIFF's LZW: codes of 9 to 12 bits, most significant bit first, code 256 clears the table,
// 257 ends the strip, and the code width grows one code early.
qint64 unpackLzw(const uchar* src, qint64 n, std::vector<uchar>& out) {
    constexpr int kClear = 256, kEnd = 257, kFirstFree = 258, kTableSize = 4096;
    struct Entry {
        qint16 prefix;
        uchar last;
        uchar first;
        quint16 length;
    };
    std::array<Entry, kTableSize> table{};
    for (int i = 0; i < 256; ++i)
        table[size_t(i)] = {-1, uchar(i), uchar(i), 1};

    const qint64 cap = qint64(out.size());
    qint64 written = 0;
    qint64 bitPos = 0;
    int next = kFirstFree, width = 9, previous = -1;

    // Writes the string of code at written, back to front, clipped to the output.
    const auto writeString = [&](int code) {
        const int length = table[size_t(code)].length;
        for (int c = code, i = length - 1; c >= 0; c = table[size_t(c)].prefix, --i) {
            if (written + i < cap) out[size_t(written + i)] = table[size_t(c)].last;
        }
        written = std::min(cap, written + length);
    };

    while (written < cap && bitPos + width <= n * 8) {
        int code = 0;
        for (int b = 0; b < width; ++b, ++bitPos) {
            code = (code << 1) | ((src[bitPos >> 3] >> (7 - (bitPos & 7))) & 1);
        }
        if (code == kEnd) break;
        if (code == kClear) {
            next = kFirstFree;
            width = 9;
            previous = -1;
            continue;
        }
        if (previous < 0) {
            if (code > 255) break;
            writeString(code);
            previous = code;
            continue;
        }
        if (code > next || (code == next && next >= kTableSize)) break;  // damaged stream
        if (next < kTableSize) {
            const uchar first =
                code < next ? table[size_t(code)].first : table[size_t(previous)].first;
            table[size_t(next)] = {qint16(previous), first, table[size_t(previous)].first,
                                   quint16(table[size_t(previous)].length + 1)};
            ++next;
            if (next >= (1 << width) - 1 && width < 12) ++width;
        }
        writeString(code);
        previous = code;
    }
    return written;
}

}  // namespace

bool TiffCodec::hasTiffSignature(const QByteArray& head) {
    return head.startsWith(QByteArrayLiteral("II*\0")) ||
           head.startsWith(QByteArrayLiteral("MM\0*")) ||
           head.startsWith(QByteArrayLiteral("II+\0")) ||
           head.startsWith(QByteArrayLiteral("MM\0+"));
}

QImage TiffCodec::decode(const QByteArray& data, QString* error, bool* unsupportedVariant) {
    if (unsupportedVariant) *unsupportedVariant = false;
    Directory dir;
    bool bigEndian = false;
    if (!readDirectory(data, &dir, &bigEndian, error, unsupportedVariant)) return {};
    const auto refuse = [&](const QString& what) {
        if (error) *error = unsupported(what);
        if (unsupportedVariant) *unsupportedVariant = true;
        return QImage();
    };
    if (!checkPictureSize(dir.width, dir.height, error)) return {};

    const quint32 samples = dir.samplesPerPixel;
    const quint32 bits = dir.bitsPerSample[0];
    const bool sameBits = std::all_of(dir.bitsPerSample.begin(), dir.bitsPerSample.end(),
                                      [bits](quint32 b) { return b == bits; });
    quint32 colorSamples = 0;
    switch (dir.photometric) {
        case kWhiteIsZero:
        case kBlackIsZero:
        case kPalette:
            colorSamples = 1;
            break;
        case kRgb:
            colorSamples = 3;
            break;
        default:
            return refuse(QStringLiteral("photometric %1").arg(dir.photometric));
    }
    if (dir.tiled) {
        return refuse(QStringLiteral("tiles"));
    }
    if (samples < colorSamples || samples > 8 || (samples > 1 && dir.planarConfig != 1)) {
        return refuse(QStringLiteral("%1 planar samples").arg(samples));
    }
    if (!sameBits || (bits != 8 && bits != 16) || (dir.photometric == kPalette && bits != 8)) {
        return refuse(QStringLiteral("%1 bits a sample").arg(bits));
    }
    if (dir.compression != kNone && dir.compression != kLzw && dir.compression != kPackBits) {
        return refuse(QStringLiteral("compression %1").arg(dir.compression));
    }
    if (dir.predictor != 1 && dir.predictor != 2) {
        return refuse(QStringLiteral("predictor %1").arg(dir.predictor));
    }
    if (dir.photometric == kPalette && dir.colorMap.size() < 3 * 256) {
        if (error) *error = damaged();
        return {};
    }

    // Only the first extra sample can be alpha; 1 is associated (premultiplied) alpha, 2 is
    // unassociated, anything else is data we do not show.
    const quint32 alphaKind =
        samples > colorSamples && !dir.extraSamples.empty() ? dir.extraSamples[0] : 0;
    const bool hasAlpha = alphaKind == 1 || alphaKind == 2;

    const qint64 width = dir.width, height = dir.height;
    const qint64 rowsPerStrip = std::clamp<qint64>(dir.rowsPerStrip, 1, height);
    const qint64 stripCount = (height + rowsPerStrip - 1) / rowsPerStrip;
    if (qint64(dir.stripOffsets.size()) < stripCount ||
        qint64(dir.stripByteCounts.size()) < stripCount) {
        if (error) *error = damaged();
        return {};
    }

    // A strip cannot decode to more than its bytes times the format's largest
    // expansion (a PackBits run of two bytes gives 128; an LZW code of at
    // least 9 bits gives at most 4096). A header claiming more than the data
    // can hold is refused before the picture is allocated.
    const qint64 expansion = dir.compression == kLzw        ? 4096 * 8 / 9 + 1
                             : dir.compression == kPackBits ? 64
                                                            : 1;
    const qint64 bytesPerRow = width * samples * (bits / 8);
    for (qint64 s = 0; s < stripCount; ++s) {
        const qint64 rows = std::min(rowsPerStrip, height - s * rowsPerStrip);
        if (qint64(dir.stripByteCounts[size_t(s)]) * expansion < rows * bytesPerRow) {
            if (error) *error = damaged();
            return {};
        }
    }

    QImage image(int(width), int(height),
                 !hasAlpha        ? QImage::Format_RGBX8888
                 : alphaKind == 1 ? QImage::Format_RGBA8888_Premultiplied
                                  : QImage::Format_RGBA8888);
    if (image.isNull()) {
        if (error) {
            *error = QCoreApplication::translate("HostImage",
                                                 "Not enough memory for a picture "
                                                 "of %1 x %2 pixels")
                         .arg(width)
                         .arg(height);
        }
        return {};
    }

    const qint64 bytesPerSample = bits / 8;
    const qint64 rowBytes = width * samples * bytesPerSample;
    const auto* bytes = reinterpret_cast<const uchar*>(data.constData());
    std::vector<uchar> strip;
    std::vector<quint32> row(size_t(width * samples));
    const quint32 sampleMask = bits == 8 ? 0xff : 0xffff;

    for (qint64 s = 0; s < stripCount; ++s) {
        const qint64 firstRow = s * rowsPerStrip;
        const qint64 rows = std::min(rowsPerStrip, height - firstRow);
        const qint64 offset = dir.stripOffsets[size_t(s)];
        const qint64 count = dir.stripByteCounts[size_t(s)];
        if (offset >= data.size() || count > data.size() - offset) {
            if (error) *error = damaged();
            return {};
        }
        strip.assign(size_t(rows * rowBytes), 0);
        qint64 written = 0;
        switch (dir.compression) {
            case kLzw:
                written = unpackLzw(bytes + offset, count, strip);
                break;
            case kPackBits:
                written = unpackBits(bytes + offset, count, strip);
                break;
            default:
                written = copyStrip(bytes + offset, count, strip);
                break;
        }
        if (written < qint64(strip.size())) {
            if (error) *error = damaged();
            return {};
        }

        for (qint64 r = 0; r < rows; ++r) {
            const uchar* p = strip.data() + r * rowBytes;
            for (size_t i = 0; i < row.size(); ++i) {
                if (bits == 8) {
                    row[i] = p[i];
                } else {
                    const uchar* q = p + 2 * i;
                    row[i] = bigEndian ? (quint32(q[0]) << 8 | q[1]) : (quint32(q[1]) << 8 | q[0]);
                }
            }
            if (dir.predictor == 2) {
                for (size_t i = samples; i < row.size(); ++i) {
                    row[i] = (row[i] + row[i - samples]) & sampleMask;
                }
            }
            uchar* dst = image.scanLine(int(firstRow + r));
            for (qint64 x = 0; x < width; ++x, dst += 4) {
                const quint32* px = row.data() + x * samples;
                const auto to8 = [bits](quint32 v) { return uchar(bits == 8 ? v : v >> 8); };
                uchar rgb[3];
                if (dir.photometric == kRgb) {
                    for (int c = 0; c < 3; ++c)
                        rgb[c] = to8(px[c]);
                } else if (dir.photometric == kPalette) {
                    // Palette entries are 16-bit: all reds, then all greens, then all blues.
                    const size_t index = px[0];
                    for (int c = 0; c < 3; ++c)
                        rgb[c] = uchar(dir.colorMap[c * 256 + index] >> 8);
                } else {
                    const uchar grey = to8(px[0]);
                    rgb[0] = rgb[1] = rgb[2] = dir.photometric == kWhiteIsZero ? 255 - grey : grey;
                }
                const uchar alpha = hasAlpha ? to8(px[colorSamples]) : 255;
                for (int c = 0; c < 3; ++c) {
                    // Associated colour above its alpha is invalid; clamp rather than carry it.
                    dst[c] = alphaKind == 1 ? std::min(rgb[c], alpha) : rgb[c];
                }
                dst[3] = alpha;
            }
        }
    }
    return image;
}

QByteArray TiffCodec::encode(const QImage& image) {
    if (image.isNull()) return {};
    const bool alpha = image.hasAlphaChannel();
    const QImage pixels =
        image.convertToFormat(alpha ? QImage::Format_RGBA8888 : QImage::Format_RGB888);
    if (pixels.isNull()) return {};

    const quint32 width = quint32(pixels.width()), height = quint32(pixels.height());
    const quint32 samples = alpha ? 4 : 3;
    const quint32 rowBytes = width * samples;
    // Strips of about 64 KiB, as the TIFF baseline recommends.
    const quint32 rowsPerStrip = std::clamp<quint32>(65536 / rowBytes, 1, height);
    const quint32 stripCount = (height + rowsPerStrip - 1) / rowsPerStrip;

    struct Entry {
        quint16 tag;
        quint16 type;
        quint32 count;
        std::vector<quint32> values;
    };
    std::vector<Entry> entries = {
        {kImageWidth, 4, 1, {width}},
        {kImageLength, 4, 1, {height}},
        {kBitsPerSample, 3, samples, std::vector<quint32>(samples, 8)},
        {kCompression, 3, 1, {kNone}},
        {kPhotometric, 3, 1, {kRgb}},
        {kStripOffsets, 4, stripCount, std::vector<quint32>(stripCount)},
        {kSamplesPerPixel, 3, 1, {samples}},
        {kRowsPerStrip, 4, 1, {rowsPerStrip}},
        {kStripByteCounts, 4, stripCount, std::vector<quint32>(stripCount)},
        {kXResolution, 5, 1, {72, 1}},
        {kYResolution, 5, 1, {72, 1}},
        {kPlanarConfig, 3, 1, {1}},
        {kResolutionUnit, 3, 1, {2}},  // inches
    };
    if (alpha) entries.push_back({kExtraSamples, 3, 1, {2}});  // unassociated alpha

    // SHORT is 2 bytes, LONG 4, RATIONAL 8 (two LONGs).
    const auto valueBytes = [](const Entry& e) {
        return e.count * (e.type == 3 ? 2u : e.type == 5 ? 8u : 4u);
    };

    // Layout: header, directory, out-of-line values, then the strips.
    const quint32 directoryOffset = 8;
    quint32 cursor = directoryOffset + 2 + 12 * quint32(entries.size()) + 4;
    std::vector<quint32> valueOffsets(entries.size(), 0);
    for (size_t i = 0; i < entries.size(); ++i) {
        if (valueBytes(entries[i]) > 4) {
            valueOffsets[i] = cursor;
            cursor += (valueBytes(entries[i]) + 1) & ~1u;  // values start on word boundaries
        }
    }
    for (quint32 s = 0; s < stripCount; ++s) {
        const quint32 rows = std::min(rowsPerStrip, height - s * rowsPerStrip);
        entries[5].values[s] = cursor;
        entries[8].values[s] = rows * rowBytes;
        cursor += rows * rowBytes;
    }

    QByteArray out(qsizetype(cursor), '\0');
    auto* o = reinterpret_cast<uchar*>(out.data());
    const auto put16 = [o](quint32 at, quint32 v) {
        o[at] = uchar(v);
        o[at + 1] = uchar(v >> 8);
    };
    const auto put32 = [o](quint32 at, quint32 v) {
        for (int b = 0; b < 4; ++b)
            o[at + quint32(b)] = uchar(v >> (8 * b));
    };
    std::memcpy(o, "II*\0", 4);
    put32(4, directoryOffset);
    put16(directoryOffset, quint32(entries.size()));
    for (size_t i = 0; i < entries.size(); ++i) {
        const Entry& e = entries[i];
        const quint32 at = directoryOffset + 2 + 12 * quint32(i);
        put16(at, e.tag);
        put16(at + 2, e.type);
        put32(at + 4, e.count);
        quint32 valueAt = at + 8;
        if (valueOffsets[i] != 0) {
            put32(at + 8, valueOffsets[i]);
            valueAt = valueOffsets[i];
        }
        for (size_t v = 0; v < e.values.size(); ++v) {
            if (e.type == 3) {
                put16(valueAt + 2 * quint32(v), e.values[v]);
            } else {
                put32(valueAt + 4 * quint32(v), e.values[v]);
            }
        }
    }
    // The next-directory offset after the entries stays 0: there is one image.
    for (quint32 y = 0; y < height; ++y) {
        const quint32 strip = y / rowsPerStrip;
        const quint32 at = entries[5].values[strip] + (y % rowsPerStrip) * rowBytes;
        std::memcpy(o + at, pixels.constScanLine(int(y)), rowBytes);
    }
    return out;
}

}  // namespace cif
