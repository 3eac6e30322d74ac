// Tests of the host picture: files in and out, limits, PDF and recorded drawings, scaling.

#include "platform/host/HostImage.h"
#include "platform/host/ImageLimits.h"
#include "platform/host/TiffCodec.h"
#include "tests/support/OversizedPictures.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QImageWriter>
#include <QPageSize>
#include <QPainter>
#include <QPdfWriter>
#include <QTemporaryDir>
#include <QVariant>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include <algorithm>
#include <thread>
#include <vector>

namespace {

using cif::HostImage;

// A TIFF written by libtiff's tiffcp (big-endian, LZW with horizontal differencing, one
// strip, RGBA with unassociated alpha): 32 x 24 pixels of noisePixel(x, y).
const char kLzwTiff[] =
    "TU0AKgAABcaAACBP8floGjeCg0bQUHJOEtkfluFQx4wk9wmFlsHE+Eh2MQxWxEGr+PloHAuEmGRQuTGmEgOGQiJM"
    "aEqaGSwGiSREibwlBQl1REHThwQlGElVtYKT2DLWRLeYwkJQktUKcHCEvymA1nSJPVsWQkgVaEoqGOKPxJ0QxCSU"
    "GkahCe3KOGMmVwkAww1xhJFZWimEtahJa3DSGDi7wZJQxt2kGu+GH23E2hB+3KuGMHEg4EwkxyUHGeRAXQMWEqjN"
    "iKEkq0g5ANsAoSCRI66AqwkL5tZwlc60IwkuaA3SJ/aBmQlQWSDCqEkKexJEQlyVtzSJDVsiQkUVGJKGEssSK0tF"
    "OtnaEvblA1qQlMc8GjKEjqtpCRNyowZ2wk/+klwwQscVKGGGtwDqEMq3QOk0CoknEBpNAKDBsNosBiNCEkuhhqsS"
    "Bp6oYO7HPIkwMrcWKhF2twHoYLsNjahgANaZSElE0Dtok7MIoY66DOrBiGOmgzoxwjQhFsAYEIIgxaM2CyEis1o6"
    "ISfDQGkkRNNAGCEh4zZHISbz3HYhJAq2JKRBGrZToS0yNJw0iDNEkyMgaz6DASf5XG8SL0sQgwavcSqEmurZ5pEP"
    "KtiihINvSV6El69wGoYL63L2jS8oMhCDGQhhSQ2EyGLhIQGraky1wiJAtFqmyDCyhgJw2qCTKdSyRKWkwsLcOSGH"
    "1DZoIYTjHBchgfNARiRKLHCTKCgyfx6kyeIMErWlKhJjtAAZIgKRkkAaeTNmwhJKNanFxIZcCJIhY4HIqgyL2Yja"
    "Oq2kKJJJOCEpQgyVTWhKXIMmF6IlaiDVSoaEp0iQkG0WAxV5fKDHyhI5vcK6EgqranIlV+BoNVqDKrhgGqwgytX8"
    "riGK/Y4GrCjSx5OsyTLRZgG1IB1RImgy4I1TtLBGLgcnKhINIYKTHDwhh6LcwSNMJk7DJMxGYMWkxtISmQHMggzJ"
    "XQyiJMtdDMIMzV2s6g05omjU3gbNuagcYo2AOCFtBi1pMoSabQHukTa3Q26DNzdrdoM3shAc36DC2rY3uIrbjoM5"
    "OPOYgznZHIIGx/jIGx4BpDFqWRzAc90ToMWStgwkQqPK870vWgz25G+CDPleiDPojT7ZOdyGD8kVLga/qTP/UEIA"
    "dB2agbBYHQShR/C6XszIl2oHPpk75I0Ga3Qwk0NZhDqTQ/UEQgdEd0RKiXQbVFKDRXdsWoNbSMgcZcZRokUb7UQw"
    "jgSSltcRwXDINwjajekSb+2o3JBknOCSgQZKS6EqESSs7EBqWCDJaY8lwgyXmRpgIMIArZrCJJmggmggwxRIC0DU"
    "ZRkYfCEjwK21IiTUHLJ7AaYZjzSgGqBZGoMgyhYIKHJMolmCiyTKNVAo8kykWTqTAcpV4hdiTF0IkDcbIXwghiJE"
    "J0hgzy3D7KEHEtyqyTKtZgxhWLZQGsUJMxJWRJlcESV0uhXhBlfLtWAQZYTgliEGWM2pZIDVltqCQCIBYGFtCuNA"
    "BwkQUDQB6IStxdq3iDLgcEuNdC5QGyQcstxdZ6SOEGI8yMkJBl5uWJQRIlUEF9gNAGGsWw7hFlbWERIF5WxNkJGi"
    "elhxBmIMjjVGdipQlXvEY2A5VbMIvEmZFGYrpJmTPEZSA5lbxGWgOZeQoWgYRinJIMpEjURniREAcLBDbQCTNCVA"
    "0QkzRmTtIAdDYlgDmmANac2pqADWpOChYQaFUawHNaAa1xtTXgGtgbUAkfoDBOGzAbBptUGAGpcXalog0EiDlCbm"
    "QZuq6G7m0Nsbg9MA3AsDIk/9/rlnEESH6VsZpyD0uPAaEIIwuA5IxghQp9blkVkGfPSIBr5USwQRGRJ00EDzEmPQ"
    "zB1QDnWRmdcA52DxHZgOdq8R25JncswCYf4jAjwxhJG+QkEBQqssndySZ27MHnvRjM7ABzrniHtI0hpdD2wGvdbK"
    "A5EIDXwtqfHT00D5wGvpbU+sBr7ShDLICAAAEAEAAAMAAAABACAAAAEBAAMAAAABABgAAAECAAMAAAAEAAAGnAED"
    "AAMAAAABAAUAAAEGAAMAAAABAAIAAAERAAQAAAABAAAACAESAAMAAAABAAEAAAEVAAMAAAABAAQAAAEWAAMAAAAB"
    "ABgAAAEXAAQAAAABAAAFvQEaAAUAAAABAAAGjAEbAAUAAAABAAAGlAEcAAMAAAABAAEAAAEoAAMAAAABAAIAAAE9"
    "AAMAAAABAAIAAAFSAAMAAAABAAIAAAAAAAAAAABIAAAAAQAAAEgAAAABAAgACAAIAAg=";

// A TIFF written by tiffcp (little-endian, PackBits, strips of 4 rows, RGB): 40 x 10 pixels,
// grey 200 left of x = 20 and (x * 37 + y) & 255 from there.
const char kPackBitsTiff[] =
    "SUkqAKwBAADFyP7k/gn+Lv5T/nj+nf7C/uf+DP4x/lb+e/6g/sX+6v4P/jT+Wf5+/qPFyP7l/gr+L/5U/nn+nv7D"
    "/uj+Df4y/lf+fP6h/sb+6/4Q/jX+Wv5//qTFyP7m/gv+MP5V/nr+n/7E/un+Dv4z/lj+ff6i/sf+7P4R/jb+W/6A"
    "/qXFyP7n/gz+Mf5W/nv+oP7F/ur+D/40/ln+fv6j/sj+7f4S/jf+XP6B/qbFyP7o/g3+Mv5X/nz+of7G/uv+EP41"
    "/lr+f/6k/sn+7v4T/jj+Xf6C/qfFyP7p/g7+M/5Y/n3+ov7H/uz+Ef42/lv+gP6l/sr+7/4U/jn+Xv6D/qjFyP7q"
    "/g/+NP5Z/n7+o/7I/u3+Ev43/lz+gf6m/sv+8P4V/jr+X/6E/qnFyP7r/hD+Nf5a/n/+pP7J/u7+E/44/l3+gv6n"
    "/sz+8f4W/jv+YP6F/qrFyP7s/hH+Nv5b/oD+pf7K/u/+FP45/l7+g/6o/s3+8v4X/jz+Yf6G/qvFyP7t/hL+N/5c"
    "/oH+pv7L/vD+Ff46/l/+hP6p/s7+8/4Y/j3+Yv6H/qwOAAABAwABAAAAKAAAAAEBAwABAAAACgAAAAIBAwADAAAA"
    "agIAAAMBAwABAAAABYAAAAYBAwABAAAAAgAAABEBBAADAAAAfAIAABIBAwABAAAAAQAAABUBAwABAAAAAwAAABYB"
    "AwABAAAABAAAABcBBAADAAAAcAIAABoBBQABAAAAWgIAABsBBQABAAAAYgIAABwBAwABAAAAAQAAACgBAwABAAAA"
    "AgAAAAAAAABIAAAAAQAAAEgAAAABAAAACAAIAAgAqAAAAKgAAABUAAAACAAAALAAAABYAQAA";

QRgb noisePixel(int x, int y) {
    const unsigned h = unsigned(x * 7919 + y * 104729) * 2654435761u;
    const int alpha = (x + y) % 3 == 0 ? 255 : int((h >> 24) & 0xff);
    return qRgba(int(h & 0xff), int((h >> 8) & 0xff), int((h >> 16) & 0xff), alpha);
}

QImage noiseImage(int width, int height) {
    QImage image(width, height, QImage::Format_ARGB32);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x)
            image.setPixel(x, y, noisePixel(x, y));
    }
    return image;
}

QByteArray readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeAll(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    ASSERT_EQ(file.write(bytes), bytes.size());
}

// Pixels compared as straight ARGB, whatever the formats.
void expectSamePixels(const QImage& actual, const QImage& expected) {
    ASSERT_EQ(actual.size(), expected.size());
    const QImage a = actual.convertToFormat(QImage::Format_ARGB32);
    const QImage e = expected.convertToFormat(QImage::Format_ARGB32);
    for (int y = 0; y < e.height(); ++y) {
        for (int x = 0; x < e.width(); ++x) {
            ASSERT_EQ(a.pixel(x, y), e.pixel(x, y)) << "at " << x << ", " << y;
        }
    }
}

// A one-page PDF of widthPoints x 100 points, red on its left half, nothing elsewhere.
QByteArray makePdf(double widthPoints) {
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    {
        QPdfWriter writer(&buffer);
        writer.setPageSize(QPageSize(QSizeF(widthPoints, 100), QPageSize::Point, QString(),
                                     QPageSize::ExactMatch));
        writer.setPageMargins(QMarginsF(0, 0, 0, 0));
        writer.setResolution(72);
        QPainter painter(&writer);
        painter.fillRect(QRectF(0, 0, widthPoints / 2, 100), Qt::red);
    }
    return bytes;
}

bool isRed(QRgb c) {
    return qRed(c) > 240 && qGreen(c) < 15 && qBlue(c) < 15 && qAlpha(c) == 255;
}

TEST(ImageLimits, AcceptsUpToTheLimitsAndExplainsRefusals) {
    QString error;
    EXPECT_TRUE(cif::checkPictureSize(1, 1, &error));
    EXPECT_TRUE(cif::checkPictureSize(30000, 8533, &error));  // 255.99 megapixels
    EXPECT_TRUE(error.isEmpty());
    EXPECT_TRUE(cif::checkPictureSize(16000, 16000, nullptr));

    EXPECT_FALSE(cif::checkPictureSize(30001, 1, &error));
    EXPECT_TRUE(error.contains("30001")) << error.toStdString();
    EXPECT_FALSE(cif::checkPictureSize(16001, 16000, &error));                      // too much area
    EXPECT_FALSE(cif::checkPictureSize(qint64(1) << 40, qint64(1) << 40, &error));  // no overflow
    EXPECT_FALSE(cif::checkPictureSize(0, 10, &error));
    EXPECT_FALSE(cif::checkPictureSize(10, -1, nullptr));
}

TEST(HostImageFiles, PngRoundTripIsPixelExactAndOverwritesAtomically) {
    QTemporaryDir dir;
    const QString path = dir.filePath("picture.png");
    const QImage original = noiseImage(37, 21);
    QString error;
    ASSERT_TRUE(HostImage::fromQImage(original).savePNG(path, &error)) << error.toStdString();

    const HostImage loaded = HostImage::load(path, &error);
    ASSERT_FALSE(loaded.isNull()) << error.toStdString();
    EXPECT_EQ(loaded.bestRepresentation(), HostImage::Representation::Bitmap);
    EXPECT_FALSE(loaded.isVector());
    EXPECT_EQ(loaded.size(), QSizeF(37, 21));
    EXPECT_EQ(loaded.pixelsWide(), 37);
    EXPECT_EQ(loaded.pixelsHigh(), 21);
    expectSamePixels(loaded.bitmap(), original);

    // Saving again replaces the file whole and leaves no temporary behind.
    QImage blue(5, 4, QImage::Format_RGB32);
    blue.fill(Qt::blue);
    ASSERT_TRUE(HostImage::fromQImage(blue).savePNG(path, &error));
    expectSamePixels(HostImage::load(path, &error).bitmap(), blue);
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList{"picture.png"});
}

TEST(HostImageFiles, FailedSaveLeavesEverythingAsItWas) {
    QTemporaryDir dir;
    const HostImage picture = HostImage::fromQImage(noiseImage(8, 8));
    QString error;

    // A folder that cannot be written to (permissions do not stop root, so there the parent
    // is a plain file, which stops everyone).
    const QString locked = dir.filePath("locked");
    ASSERT_TRUE(QDir(dir.path()).mkdir("locked"));
    if (geteuid() != 0) {
        ASSERT_TRUE(QFile::setPermissions(locked, QFile::ReadOwner | QFile::ExeOwner));
        EXPECT_FALSE(picture.savePNG(locked + "/out.png", &error));
        EXPECT_TRUE(error.contains("out.png")) << error.toStdString();
        QFile::setPermissions(locked, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        EXPECT_TRUE(QDir(locked).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
    }
    writeAll(dir.filePath("plain"), "not a folder");
    error.clear();
    EXPECT_FALSE(picture.savePNG(dir.filePath("plain/out.png"), &error));
    EXPECT_FALSE(error.isEmpty());
    EXPECT_EQ(readAll(dir.filePath("plain")), "not a folder");

    // A path naming a folder: the folder stays a folder, and no temporary is left beside it.
    EXPECT_FALSE(picture.savePNG(locked, &error));
    EXPECT_TRUE(QFileInfo(locked).isDir());

    // Nothing to save: the old file keeps its bytes.
    writeAll(dir.filePath("old.png"), "old bytes");
    EXPECT_FALSE(HostImage().savePNG(dir.filePath("old.png"), &error));
    EXPECT_EQ(readAll(dir.filePath("old.png")), "old bytes");
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
              (QStringList{"locked", "old.png", "plain"}));
}

TEST(HostImageFiles, DamagedFilesGiveNullAndAMessageNamingTheFile) {
    QTemporaryDir dir;
    const QByteArray png = HostImage::fromQImage(noiseImage(64, 64)).PNGRepresentation();
    ASSERT_GT(png.size(), 1000);

    QByteArray corrupt = png;
    for (qsizetype i = 40; i < corrupt.size(); i += 7)
        corrupt[i] = char(corrupt[i] ^ 0x5a);
    const struct {
        const char* name;
        QByteArray bytes;
    } cases[] = {
        {"corrupt.png", corrupt},          {"truncated.png", png.left(png.size() * 6 / 10)},
        {"header-only.png", png.left(40)}, {"fake.pdf", "%PDF-1.4\nthis is no document\n"},
        {"text.png", "just some words"},   {"empty.png", ""},
    };
    for (const auto& c : cases) {
        const QString path = dir.filePath(c.name);
        writeAll(path, c.bytes);
        QString error;
        EXPECT_TRUE(HostImage::load(path, &error).isNull()) << c.name;
        EXPECT_TRUE(error.contains(c.name)) << c.name << ": " << error.toStdString();
    }
    QString error;
    EXPECT_TRUE(HostImage::load(dir.filePath("missing.png"), &error).isNull());
    EXPECT_TRUE(error.contains("missing.png"));
}

// Loads every oversized file in dir; true when each is refused for its size.
bool refusesEveryOversizedPicture(const QDir& dir, std::string* failures) {
    for (const auto& picture : cif::testing::oversizedPictures()) {
        QString error;
        const bool refused = HostImage::load(dir.filePath(picture.name), &error).isNull() &&
                             error.contains(picture.name) &&
                             error.contains(QLatin1String("larger than the limit"));
        if (!refused) *failures += std::string(picture.name) + ": " + error.toStdString() + "\n";
    }
    return failures->empty();
}

// In a process that may map at most 32 MiB more than it has: exits 0 when
// every oversized file is still refused for its size.
[[noreturn]] void refuseUnderMemoryCap(const QString& dir) {
    long pages = 0;
    if (FILE* statm = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(statm, "%ld", &pages) != 1) pages = 0;
        std::fclose(statm);
    }
    const rlim_t cap = rlim_t(pages) * rlim_t(sysconf(_SC_PAGESIZE)) + (rlim_t(32) << 20);
    const rlimit limit{cap, cap};
    setrlimit(RLIMIT_AS, &limit);
    std::string failures;
    const bool ok = refusesEveryOversizedPicture(QDir(dir), &failures);
    std::fputs(failures.c_str(), stderr);
    std::exit(ok ? 0 : 1);
}

TEST(HostImageFiles, OversizedPicturesAreRefusedBeforeDecodingInEveryFormat) {
    QTemporaryDir dir;
    for (const auto& picture : cif::testing::oversizedPictures())
        writeAll(dir.filePath(picture.name), picture.bytes);
    std::string failures;
    EXPECT_TRUE(refusesEveryOversizedPicture(QDir(dir.path()), &failures)) << failures;

#if !defined(__SANITIZE_ADDRESS__) && !defined(CIF_SANITIZED)
    // The refusals happen before any allocation the size would need: in a
    // process that may map at most 32 MiB more, every file is still refused
    // for its size rather than for want of memory.
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(refuseUnderMemoryCap(dir.path()), ::testing::ExitedWithCode(0), "");
#endif

    // Files over 1 GiB are not read at all (the file is sparse, so this costs no disk).
    QFile huge(dir.filePath("huge-file.png"));
    ASSERT_TRUE(huge.open(QIODevice::WriteOnly));
    ASSERT_TRUE(huge.resize(cif::kMaxPictureFileBytes + 1));
    huge.close();
    QString error;
    EXPECT_TRUE(HostImage::load(huge.fileName(), &error).isNull());
    EXPECT_TRUE(error.contains("huge-file.png") && error.contains("1 GiB")) << error.toStdString();
}

TEST(HostImageFiles, ReadsJpegAndTiff) {
    QTemporaryDir dir;
    QImage gradient(64, 48, QImage::Format_RGB32);
    for (int y = 0; y < 48; ++y) {
        for (int x = 0; x < 64; ++x)
            gradient.setPixel(x, y, qRgb(x * 4, y * 5, 128));
    }
    QImageWriter jpeg(dir.filePath("photo.jpg"), "jpeg");
    jpeg.setQuality(95);
    ASSERT_TRUE(jpeg.write(gradient));
    QString error;
    const QImage photo = HostImage::load(dir.filePath("photo.jpg"), &error).bitmap();
    ASSERT_EQ(photo.size(), gradient.size()) << error.toStdString();
    for (const QPoint p : {QPoint(3, 3), QPoint(40, 30), QPoint(60, 44)}) {
        EXPECT_NEAR(qRed(photo.pixel(p)), qRed(gradient.pixel(p)), 10);
        EXPECT_NEAR(qGreen(photo.pixel(p)), qGreen(gradient.pixel(p)), 10);
    }

    // 8000 x 4400 pixels decode to more than Qt's default reader limit of 128 MB, within
    // ours: the picture is read in bands, which must join without seams or shifts.
    QImage stripes(8000, 4400, QImage::Format_RGB32);
    const auto stripeColour = [](int stripe) {
        return qRgb((stripe * 37) & 0xff, (stripe * 91) & 0xff, (stripe * 53) & 0xff);
    };
    for (int y = 0; y < stripes.height(); ++y) {
        auto* line = reinterpret_cast<QRgb*>(stripes.scanLine(y));
        std::fill(line, line + stripes.width(), stripeColour(y / 64));
    }
    ASSERT_TRUE(QImageWriter(dir.filePath("large.jpg"), "jpeg").write(stripes));
    stripes = QImage();
    const QImage large = HostImage::load(dir.filePath("large.jpg"), &error).bitmap();
    ASSERT_EQ(large.size(), QSize(8000, 4400)) << error.toStdString();
    for (int stripe = 0; stripe < 4400 / 64; ++stripe) {
        for (int x = 0; x < 8000; x += 999) {
            const QRgb got = large.pixel(x, stripe * 64 + 32), want = stripeColour(stripe);
            ASSERT_NEAR(qRed(got), qRed(want), 12) << x << ", stripe " << stripe;
            ASSERT_NEAR(qGreen(got), qGreen(want), 12) << x << ", stripe " << stripe;
        }
    }

    // TIFFRepresentation keeps every pixel, alpha included, through a file.
    const QImage noise = noiseImage(19, 23);
    writeAll(dir.filePath("noise.tif"), HostImage::fromQImage(noise).TIFFRepresentation());
    const HostImage tiff = HostImage::load(dir.filePath("noise.tif"), &error);
    ASSERT_FALSE(tiff.isNull()) << error.toStdString();
    expectSamePixels(tiff.bitmap(), noise);
}

TEST(TiffCodec, ReadsOtherWritersFilesAndRefusesDamagedOnes) {
    QString error;
    const QImage lzw = cif::TiffCodec::decode(QByteArray::fromBase64(kLzwTiff), &error);
    ASSERT_FALSE(lzw.isNull()) << error.toStdString();
    expectSamePixels(lzw, noiseImage(32, 24));

    const QImage packBits = cif::TiffCodec::decode(QByteArray::fromBase64(kPackBitsTiff), &error);
    ASSERT_EQ(packBits.size(), QSize(40, 10)) << error.toStdString();
    for (int y = 0; y < 10; ++y) {
        for (int x = 0; x < 40; ++x) {
            const int grey = x < 20 ? 200 : (x * 37 + y) & 0xff;
            ASSERT_EQ(packBits.pixel(x, y), qRgb(grey, grey, grey)) << x << ", " << y;
        }
    }

    // Cut short: the pixel data or the directory is missing.
    const QByteArray ours = cif::TiffCodec::encode(noiseImage(30, 30));
    for (const QByteArray& cut :
         {ours.left(ours.size() - 100), QByteArray::fromBase64(kLzwTiff).left(900)}) {
        error.clear();
        EXPECT_TRUE(cif::TiffCodec::decode(cut, &error).isNull());
        EXPECT_FALSE(error.isEmpty());
    }
    // A header claiming a picture over the limits is refused before anything is allocated.
    QByteArray wide = ours;
    wide[18] = char(0xff);  // ImageWidth, the first entry of our directory, becomes 65535
    wide[19] = char(0xff);
    EXPECT_TRUE(cif::TiffCodec::decode(wide, &error).isNull());
    EXPECT_TRUE(error.contains("65535")) << error.toStdString();
}

TEST(HostImagePdf, LoadsAsVectorAndRendersAtTheResolutionAsked) {
    QTemporaryDir dir;
    const QByteArray pdf = makePdf(200);
    // Recognised from its content, whatever the name says.
    writeAll(dir.filePath("document.dat"), pdf);
    QString error;
    const HostImage picture = HostImage::load(dir.filePath("document.dat"), &error);
    ASSERT_FALSE(picture.isNull()) << error.toStdString();
    EXPECT_EQ(picture.bestRepresentation(), HostImage::Representation::Pdf);
    EXPECT_TRUE(picture.isVector());
    EXPECT_NEAR(picture.size().width(), 200, 0.01);
    EXPECT_NEAR(picture.size().height(), 100, 0.01);
    EXPECT_EQ(picture.pixelsWide(), 200);
    EXPECT_EQ(picture.pixelsHigh(), 100);
    EXPECT_EQ(picture.pdfData(), pdf);
    EXPECT_TRUE(picture.bitmap().isNull());

    const QImage big = picture.rasterize(QSize(800, 400), &error);
    ASSERT_EQ(big.size(), QSize(800, 400)) << error.toStdString();
    EXPECT_EQ(big.format(), QImage::Format_RGBA8888_Premultiplied);
    EXPECT_TRUE(isRed(big.pixel(10, 10)) && isRed(big.pixel(390, 390)));
    EXPECT_EQ(qAlpha(big.pixel(410, 200)), 0);  // no paper colour where the page is empty
    EXPECT_EQ(qAlpha(big.pixel(799, 399)), 0);

    // Zoomed 8x and shifted so the device shows page points 93.75 to 106.25 across: only that
    // part is rendered, and it lands in the right place.
    QImage zoomed(100, 100, QImage::Format_ARGB32_Premultiplied);
    zoomed.fill(Qt::transparent);
    {
        QPainter painter(&zoomed);
        picture.drawInRect(painter, QRectF(-750, 0, 1600, 800));
    }
    EXPECT_TRUE(isRed(zoomed.pixel(45, 50)));
    EXPECT_EQ(qAlpha(zoomed.pixel(55, 50)), 0);

    const QImage natural = QImage::fromData(picture.PNGRepresentation(), "png");
    EXPECT_EQ(natural.size(), QSize(200, 100));

    EXPECT_TRUE(HostImage::fromPdfData("%PDF-1.7 broken", &error).isNull());
    EXPECT_FALSE(error.isEmpty());
}

TEST(HostImageDrawing, RasterizesAtAnyResolutionInsideItsTarget) {
    const HostImage picture = HostImage::recordDrawing(QSizeF(10, 10), [](QPainter& p) {
        p.fillRect(QRectF(0, 0, 5, 10), Qt::blue);
        p.fillRect(QRectF(-5, -5, 3, 3), Qt::green);  // outside the picture: never shown
    });
    ASSERT_EQ(picture.bestRepresentation(), HostImage::Representation::Drawing);
    EXPECT_EQ(picture.pixelsWide(), 10);

    const QImage small = picture.rasterize(QSize(10, 10));
    EXPECT_EQ(small.pixel(4, 5), qRgb(0, 0, 255));
    EXPECT_EQ(qAlpha(small.pixel(5, 5)), 0);
    const QImage large = picture.rasterize(QSize(40, 40));
    EXPECT_EQ(large.pixel(19, 39), qRgb(0, 0, 255));
    EXPECT_EQ(qAlpha(large.pixel(20, 0)), 0);

    // A source rectangle picks part of the picture; nothing spills outside the target.
    QImage canvas(30, 30, QImage::Format_ARGB32_Premultiplied);
    canvas.fill(Qt::transparent);
    {
        QPainter painter(&canvas);
        picture.drawInRect(painter, QRectF(10, 10, 10, 10), QRectF(0, 0, 5, 10));
    }
    EXPECT_EQ(canvas.pixel(10, 10), qRgb(0, 0, 255));
    EXPECT_EQ(canvas.pixel(19, 19), qRgb(0, 0, 255));
    EXPECT_EQ(qAlpha(canvas.pixel(3, 6)), 0);
    EXPECT_EQ(qAlpha(canvas.pixel(20, 15)), 0);

    QString error;
    EXPECT_TRUE(picture.rasterize(QSize(40000, 10), &error).isNull());
    EXPECT_TRUE(error.contains("40000")) << error.toStdString();
}

TEST(HostImageBitmap, ScalesThroughPointsAndAveragesWhenShrinking) {
    // 20 x 10 pixels shown as 10 x 5 points: red left, blue right.
    QImage halves(20, 10, QImage::Format_RGB32);
    halves.fill(Qt::red);
    QPainter(&halves).fillRect(10, 0, 10, 10, Qt::blue);
    const HostImage picture = HostImage::fromQImage(halves, QSizeF(10, 5));
    EXPECT_EQ(picture.size(), QSizeF(10, 5));
    EXPECT_EQ(picture.pixelsWide(), 20);
    QImage right(8, 8, QImage::Format_ARGB32_Premultiplied);
    right.fill(Qt::transparent);
    {
        QPainter painter(&right);
        picture.drawInRect(painter, QRectF(0, 0, 8, 8), QRectF(5, 0, 5, 5));
    }
    EXPECT_EQ(right.pixel(0, 0), qRgb(0, 0, 255));
    EXPECT_EQ(right.pixel(7, 7), qRgb(0, 0, 255));

    // A one-pixel checkerboard shrunk 30-odd times is an even grey, not a moire.
    QImage checks(400, 400, QImage::Format_RGB32);
    for (int y = 0; y < 400; ++y) {
        for (int x = 0; x < 400; ++x)
            checks.setPixel(x, y, (x + y) % 2 ? 0xffffffff : 0xff000000);
    }
    const QImage grey = HostImage::fromQImage(checks).rasterize(QSize(13, 13));
    for (int y = 0; y < 13; ++y) {
        for (int x = 0; x < 13; ++x) {
            EXPECT_NEAR(qGray(grey.pixel(x, y)), 128, 10) << x << ", " << y;
        }
    }
}

TEST(HostImage, IsASharedValueThatDrawsFromManyThreads) {
    const HostImage null;
    QString error;
    EXPECT_TRUE(null.isNull());
    EXPECT_EQ(null.bestRepresentation(), HostImage::Representation::None);
    EXPECT_EQ(null.size(), QSizeF(0, 0));
    EXPECT_TRUE(null.rasterize(QSize(4, 4), &error).isNull());
    EXPECT_FALSE(error.isEmpty());
    EXPECT_TRUE(null.PNGRepresentation().isEmpty());

    const HostImage bitmap = HostImage::fromQImage(noiseImage(4, 4));
    const QVariant boxed = QVariant::fromValue(bitmap);
    ASSERT_TRUE(boxed.canConvert<HostImage>());
    EXPECT_EQ(boxed.value<HostImage>().bitmap().cacheKey(), bitmap.bitmap().cacheKey());

    // Copies share one PDF document and one recording; drawing them at once is safe.
    const HostImage pdf = HostImage::fromPdfData(makePdf(120), &error);
    ASSERT_FALSE(pdf.isNull()) << error.toStdString();
    // Many commands, so that replays overlap in time.
    const HostImage drawing = HostImage::recordDrawing(QSizeF(30, 30), [](QPainter& p) {
        for (int i = 0; i < 3000; ++i)
            p.fillRect(QRectF(i % 29, (i / 29) % 29, 1, 1), QColor::fromHsv(i % 360, 255, 255));
    });
    for (const HostImage& picture : {pdf, drawing}) {
        const QImage expected = picture.rasterize(QSize(150, 130));
        std::vector<QImage> results(6);
        std::vector<std::thread> threads;
        for (size_t t = 0; t < results.size(); ++t) {
            threads.emplace_back([copy = picture, &results, t] {
                for (int i = 0; i < 5; ++i)
                    results[t] = copy.rasterize(QSize(150, 130));
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        for (const QImage& result : results)
            EXPECT_EQ(result, expected);
    }
}

}  // namespace
