#pragma once
// Small files whose headers claim pictures of any size, in every format the
// picture loader reads: what a hostile or damaged file looks like to it. The
// pixel data is a token few bytes; only the headers are honest about nothing.

#include <QByteArray>
#include <QString>
#include <QtEndian>

#include <vector>

namespace cif::testing {

inline QByteArray bigEndian(quint32 v, int bytes) {
    QByteArray out;
    for (int i = bytes - 1; i >= 0; --i)
        out += char((v >> (8 * i)) & 0xff);
    return out;
}

inline QByteArray littleEndian(quint32 v, int bytes) {
    QByteArray out;
    for (int i = 0; i < bytes; ++i)
        out += char((v >> (8 * i)) & 0xff);
    return out;
}

inline quint32 pngCrc(const QByteArray& bytes) {
    quint32 crc = 0xffffffffu;
    for (const char c : bytes) {
        crc ^= uchar(c);
        for (int k = 0; k < 8; ++k)
            crc = (crc >> 1) ^ (0xedb88320u & (0u - (crc & 1u)));
    }
    return ~crc;
}

inline QByteArray pngChunk(const char* type, const QByteArray& payload) {
    const QByteArray typed = QByteArray(type) + payload;
    return bigEndian(quint32(payload.size()), 4) + typed + bigEndian(pngCrc(typed), 4);
}

// RGBA, 8 bits a sample, one tiny zlib stream of image data.
inline QByteArray oversizedPng(quint32 width, quint32 height) {
    const QByteArray ihdr =
        bigEndian(width, 4) + bigEndian(height, 4) + QByteArray("\x08\x06\x00\x00\x00", 5);
    return QByteArray("\x89PNG\r\n\x1a\n", 8) + pngChunk("IHDR", ihdr) +
           pngChunk("IDAT", QByteArray::fromHex("789c636000000002000163")) + pngChunk("IEND", {});
}

// Baseline JPEG header (three components) and a scan of a few bytes; at most
// 65535 a side.
inline QByteArray oversizedJpeg(quint32 width, quint32 height) {
    QByteArray sof = QByteArray::fromHex("ffc0001108") + bigEndian(height, 2) +
                     bigEndian(width, 2) + QByteArray::fromHex("03011100021100031100");
    QByteArray dqt = QByteArray::fromHex("ffdb004300") + QByteArray(64, char(1));
    return QByteArray::fromHex("ffd8") + dqt + sof +
           QByteArray::fromHex("ffda000c03010002110311003f00") +
           QByteArray::fromHex("00112233445566778899ffd9");
}

// Little-endian RGB TIFF in one strip of a few bytes; compression 1 (none),
// 5 (LZW), 8 (deflate) or 32773 (PackBits).
inline QByteArray oversizedTiff(quint32 width, quint32 height, quint32 compression) {
    struct Entry {
        quint16 tag, type;
        quint32 count, value;
    };
    const QByteArray strip = QByteArray::fromHex("800100aabbccddeeff");
    const std::vector<Entry> entries = {
        {256, 4, 1, width},       {257, 4, 1, height}, {258, 3, 1, 8},
        {259, 3, 1, compression}, {262, 3, 1, 2},      {273, 4, 1, 8},
        {277, 3, 1, 3},           {278, 4, 1, height}, {279, 4, 1, quint32(strip.size())},
    };
    QByteArray out = QByteArray("II*\0", 4) + littleEndian(quint32(8 + strip.size()), 4) + strip;
    out += littleEndian(quint32(entries.size()), 2);
    for (const Entry& e : entries)
        out += littleEndian(e.tag, 2) + littleEndian(e.type, 2) + littleEndian(e.count, 4) +
               littleEndian(e.value, 4);
    return out + littleEndian(0, 4);
}

// At most 65535 a side.
inline QByteArray oversizedGif(quint32 width, quint32 height) {
    return QByteArray("GIF89a") + littleEndian(width, 2) + littleEndian(height, 2) +
           QByteArray::fromHex("000000") + QByteArray::fromHex("2c00000000") +
           littleEndian(width, 2) + littleEndian(height, 2) + QByteArray::fromHex("0002024c01003b");
}

inline QByteArray oversizedBmp(quint32 width, quint32 height) {
    QByteArray info = littleEndian(40, 4) + littleEndian(width, 4) + littleEndian(height, 4) +
                      littleEndian(1, 2) + littleEndian(24, 2) + littleEndian(0, 4) +
                      littleEndian(0, 4) + littleEndian(2835, 4) + littleEndian(2835, 4) +
                      littleEndian(0, 4) + littleEndian(0, 4);
    const QByteArray pixels(16, char(0x7f));
    return QByteArray("BM") + littleEndian(quint32(14 + info.size() + pixels.size()), 4) +
           littleEndian(0, 4) + littleEndian(quint32(14 + info.size()), 4) + info + pixels;
}

// One empty page of width x height points.
inline QByteArray oversizedPdf(quint32 width, quint32 height) {
    const QByteArray objects[] = {
        "<< /Type /Catalog /Pages 2 0 R >>",
        "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
        "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 " + QByteArray::number(width) + ' ' +
            QByteArray::number(height) + "] >>",
    };
    QByteArray out = "%PDF-1.4\n";
    std::vector<qsizetype> offsets;
    for (int i = 0; i < 3; ++i) {
        offsets.push_back(out.size());
        out += QByteArray::number(i + 1) + " 0 obj\n" + objects[i] + "\nendobj\n";
    }
    const qsizetype xref = out.size();
    out += "xref\n0 4\n0000000000 65535 f \n";
    for (const qsizetype offset : offsets)
        out += QByteArray::number(offset).rightJustified(10, '0') + " 00000 n \n";
    out +=
        "trailer\n<< /Size 4 /Root 1 0 R >>\nstartxref\n" + QByteArray::number(xref) + "\n%%EOF\n";
    return out;
}

struct OversizedPicture {
    const char* name;
    QByteArray bytes;
};

// Every format, each claiming more than the picture limits allow: a side over
// 30000 pixels, or 256 megapixels with both sides within bounds.
inline std::vector<OversizedPicture> oversizedPictures() {
    return {
        {"wide.png", oversizedPng(40000, 10)},
        {"area.png", oversizedPng(20000, 20000)},
        {"huge.png", oversizedPng(0x7fffffff, 0x7fffffff)},
        {"wide.jpg", oversizedJpeg(40000, 8)},
        {"area.jpg", oversizedJpeg(20000, 20000)},
        {"wide.tif", oversizedTiff(40000, 8, 1)},
        {"area-lzw.tif", oversizedTiff(20000, 20000, 5)},
        {"area-packbits.tif", oversizedTiff(16001, 16001, 32773)},
        {"tall-deflate.tif", oversizedTiff(8, 4000000, 8)},
        {"wide.gif", oversizedGif(65535, 4)},
        {"area.gif", oversizedGif(20000, 20000)},
        {"wide.bmp", oversizedBmp(40000, 8)},
        {"area.bmp", oversizedBmp(20000, 20000)},
        {"wide.pdf", oversizedPdf(40000, 100)},
        {"area.pdf", oversizedPdf(20000, 20000)},
    };
}

}  // namespace cif::testing
