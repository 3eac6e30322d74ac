// The resource generator: runs cif-resgen twice into temporary folders and
// checks the library layout and naming rules, that the pictures decode with
// sensible sizes and content, and that both runs wrote the same bytes.

#include <gtest/gtest.h>

#include <QColor>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <cmath>
#include <memory>
#include <ostream>

#include "platform/CIPlatform.h"
#include "platform/image/CIFilter.h"
#include "tools/resgen/IconPainter.h"
#include "tools/resgen/Library.h"
#include "tools/resgen/Noise.h"

// Lets test messages name files.
std::ostream& operator<<(std::ostream& os, const QString& s) {
    return os << s.toStdString();
}

namespace {

using cif::resgen::decodePicture;

const QString kResgen = QStringLiteral(CIF_BINARY_DIR "/tools/resgen/cif-resgen");

bool runResgen(const QStringList& args) {
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(kResgen, args);
    return process.waitForFinished(120000) && process.exitStatus() == QProcess::NormalExit &&
           process.exitCode() == 0;
}

// Relative paths of the files below dir, sorted; stamps and hidden files left out.
QStringList filesBelow(const QString& dir) {
    QStringList out;
    QDirIterator it(dir, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext())
        out << QDir(dir).relativeFilePath(it.next());
    out.sort();
    return out;
}

QByteArray bytesOf(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

struct Range {
    int lo = 255, hi = 0;
};

// Spread of grey level and alpha over a picture.
void spread(const QImage& image, Range& grey, Range& alpha) {
    const QImage argb = image.convertToFormat(QImage::Format_ARGB32);
    for (int y = 0; y < argb.height(); ++y)
        for (int x = 0; x < argb.width(); ++x) {
            const QRgb p = argb.pixel(x, y);
            const int g = qGray(p), a = qAlpha(p);
            grey.lo = std::min(grey.lo, g);
            grey.hi = std::max(grey.hi, g);
            alpha.lo = std::min(alpha.lo, a);
            alpha.hi = std::max(alpha.hi, a);
        }
}

class ResgenTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        for (auto& dir : dirs)
            dir = std::make_unique<QTemporaryDir>();
        for (const auto& dir : dirs) {
            ASSERT_TRUE(runResgen({QStringLiteral("resources"), dir->path()}));
            ASSERT_TRUE(runResgen({QStringLiteral("icons"), dir->filePath("icons")}));
        }
    }
    static void TearDownTestSuite() {
        for (auto& dir : dirs)
            dir.reset();
    }
    static QString shared(const QString& library) {
        return dirs[0]->filePath(QStringLiteral("SharedContent/") + library);
    }
    static inline std::unique_ptr<QTemporaryDir> dirs[2];
};

TEST_F(ResgenTest, TwoRunsWriteTheSameFiles) {
    const QStringList first = filesBelow(dirs[0]->path());
    ASSERT_EQ(first, filesBelow(dirs[1]->path()));
    ASSERT_GT(first.size(), 100);
    for (const QString& file : first)
        EXPECT_EQ(bytesOf(dirs[0]->filePath(file)), bytesOf(dirs[1]->filePath(file))) << file;
}

TEST_F(ResgenTest, LibrariesFollowTheirNamingRules) {
    // Named by file name: pictures at the top level only, no folders.
    for (const QString& library :
         {QStringLiteral("Textures/Glass Textures"), QStringLiteral("Brushes"),
          QStringLiteral("Textures/Shading Materials")}) {
        const QDir dir(shared(library));
        EXPECT_TRUE(dir.entryList(QDir::Dirs | QDir::NoDotAndDotDot).isEmpty()) << library;
        const QStringList files = dir.entryList(QDir::Files);
        EXPECT_GE(files.size(), 4) << library;
        for (const QString& file : files)
            EXPECT_TRUE(file.endsWith(QLatin1String(".png"))) << library << '/' << file;
    }
    EXPECT_TRUE(QFile::exists(shared(QStringLiteral("Textures/Shading Materials/Sand.png"))));
    // Listed masks are those whose path begins with "Images".
    const QStringList masks = filesBelow(shared(QStringLiteral("Masks")));
    EXPECT_GE(masks.size(), 4);
    for (const QString& mask : masks)
        EXPECT_TRUE(mask.startsWith(QLatin1String("Images/"))) << mask;
    EXPECT_GE(filesBelow(shared(QStringLiteral("Gradients"))).size(), 4);
    EXPECT_GE(filesBelow(shared(QStringLiteral("Backgrounds"))).size(), 3);
}

TEST_F(ResgenTest, LibraryPicturesDecodeWithContent) {
    struct Expect {
        QString library;
        int minSide, maxSide;
        bool transparentGround;
    };
    for (const Expect& e : {Expect{QStringLiteral("Textures/Glass Textures"), 256, 512, false},
                            Expect{QStringLiteral("Brushes"), 32, 512, true},
                            Expect{QStringLiteral("Textures/Shading Materials"), 256, 512, false},
                            Expect{QStringLiteral("Masks"), 256, 512, false},
                            Expect{QStringLiteral("Gradients"), 16, 1024, false},
                            Expect{QStringLiteral("Backgrounds"), 256, 1024, false}}) {
        for (const QString& file : filesBelow(shared(e.library))) {
            const QString what = e.library + u'/' + file;
            const QImage image = decodePicture(QDir(shared(e.library)).filePath(file));
            ASSERT_FALSE(image.isNull()) << what;
            EXPECT_GE(std::max(image.width(), image.height()), e.minSide) << what;
            EXPECT_LE(std::max(image.width(), image.height()), e.maxSide) << what;
            Range grey, alpha;
            spread(image, grey, alpha);
            if (e.transparentGround) {
                // Dabs: clear at the corner, solid somewhere.
                EXPECT_EQ(qAlpha(image.pixel(0, 0)), 0) << what;
                EXPECT_GE(alpha.hi, 200) << what;
            } else {
                EXPECT_EQ(alpha.lo, 255) << what;
                EXPECT_GE(grey.hi - grey.lo, 12) << what;
            }
        }
    }
    // Masks and glass textures are greyscale pictures.
    for (const QString& library :
         {QStringLiteral("Masks"), QStringLiteral("Textures/Glass Textures")})
        for (const QString& file : filesBelow(shared(library)))
            EXPECT_TRUE(decodePicture(QDir(shared(library)).filePath(file)).isGrayscale()) << file;
}

// Mean absolute grey difference between columns a and b (or rows when rows is set).
double lineDifference(const QImage& image, int a, int b, bool rows) {
    double sum = 0;
    const int n = rows ? image.width() : image.height();
    for (int i = 0; i < n; ++i) {
        const QRgb p = rows ? image.pixel(i, a) : image.pixel(a, i);
        const QRgb q = rows ? image.pixel(i, b) : image.pixel(b, i);
        sum += std::abs(qGray(p) - qGray(q));
    }
    return sum / n;
}

TEST_F(ResgenTest, GlassTexturesTileWithoutSeams) {
    const QDir dir(shared(QStringLiteral("Textures/Glass Textures")));
    for (const QString& file : dir.entryList(QDir::Files)) {
        const QImage image = decodePicture(dir.filePath(file));
        ASSERT_FALSE(image.isNull());
        for (const bool rows : {false, true}) {
            const int last = (rows ? image.height() : image.width()) - 1;
            // Across the wrap the step is like any step inside the picture.
            double inside = 0;
            for (int i = 0; i < last; ++i)
                inside = std::max(inside, lineDifference(image, i, i + 1, rows));
            EXPECT_LE(lineDifference(image, last, 0, rows), inside * 1.1 + 1)
                << file << (rows ? " rows" : " columns");
        }
    }
}

TEST_F(ResgenTest, BrushesAreCentredAndGradientsRunLeftToRight) {
    // Dabs are stamped about their centre, so their ink must balance there.
    const QDir brushes(shared(QStringLiteral("Brushes")));
    for (const QString& file : brushes.entryList(QDir::Files)) {
        const QImage image =
            decodePicture(brushes.filePath(file)).convertToFormat(QImage::Format_ARGB32);
        double total = 0, sx = 0, sy = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x) {
                const double a = qAlpha(image.pixel(x, y));
                total += a;
                sx += a * (x + 0.5);
                sy += a * (y + 0.5);
            }
        ASSERT_GT(total, 0) << file;
        EXPECT_NEAR(sx / total, image.width() / 2.0, image.width() * 0.06) << file;
        EXPECT_NEAR(sy / total, image.height() / 2.0, image.height() * 0.06) << file;
    }
    // A gradient is read along a row: every row is the same ramp.
    for (const QString& file : filesBelow(shared(QStringLiteral("Gradients")))) {
        const QImage image =
            decodePicture(QDir(shared(QStringLiteral("Gradients"))).filePath(file));
        EXPECT_GE(image.width(), 4 * image.height()) << file;
        for (int y = 1; y < image.height(); ++y)
            for (int x = 0; x < image.width(); x += 5)
                ASSERT_EQ(image.pixel(x, y), image.pixel(x, 0)) << file << " at " << x << ", " << y;
        EXPECT_NE(image.pixel(0, 0), image.pixel(image.width() - 1, 0)) << file;
    }
}

TEST_F(ResgenTest, ShadingMaterialsAreSpheresOnBlack) {
    const QDir dir(shared(QStringLiteral("Textures/Shading Materials")));
    for (const QString& file : dir.entryList(QDir::Files)) {
        const QImage image = decodePicture(dir.filePath(file));
        ASSERT_FALSE(image.isNull());
        EXPECT_EQ(image.width(), image.height());
        const int n = image.width();
        EXPECT_EQ(qGray(image.pixel(1, 1)), 0) << file;
        EXPECT_EQ(qGray(image.pixel(n - 2, n - 2)), 0) << file;
        // Lit from the upper left: that side of the ball is brighter than the lower right.
        const int a = n * 3 / 10, b = n * 7 / 10;
        EXPECT_GT(qGray(image.pixel(a, a)), qGray(image.pixel(b, b))) << file;
        EXPECT_GT(qGray(image.pixel(n / 2, n / 2)), 40) << file;
    }
}

TEST_F(ResgenTest, NamedPicturesCursorsAndMarks) {
    const QDir root(dirs[0]->path());
    const QImage fish = decodePicture(root.filePath(QStringLiteral("fish.png")));
    ASSERT_FALSE(fish.isNull());
    Range grey, alpha;
    spread(fish, grey, alpha);
    EXPECT_EQ(alpha.lo, 0);
    EXPECT_EQ(alpha.hi, 255);

    // The hue ramp: red at the left, cyan in the middle, hue rising to the right.
    const QByteArray hueBytes = bytesOf(root.filePath(QStringLiteral("gradient_hue.tif")));
    ASSERT_TRUE(hueBytes.startsWith("II*"));
    const QImage hue = decodePicture(root.filePath(QStringLiteral("gradient_hue.tif")));
    ASSERT_FALSE(hue.isNull());
    const int w = hue.width();
    EXPECT_EQ(QColor(hue.pixel(0, 0)), QColor(255, 0, 0));
    EXPECT_NEAR(QColor(hue.pixel(w / 2, hue.height() / 2)).hueF(), 0.5, 0.01);
    double previous = -1;
    for (int x = 0; x < w; x += 8) {
        const QColor c(hue.pixel(x, 0));
        EXPECT_GT(c.hueF(), previous) << x;
        EXPECT_EQ(c.saturation(), 255);
        EXPECT_EQ(c.value(), 255);
        previous = c.hueF();
    }
    EXPECT_GT(QColor(hue.pixel(w - 1, 0)).hueF(), 0.98);

    // Cursors with their hot spots: ink lies within two pixels of each.
    struct HotSpot {
        const char* name;
        int x, y;
    };
    for (const HotSpot& h : {HotSpot{"resizeHCursor", 7, 7}, HotSpot{"resizeVCursor", 7, 7},
                             HotSpot{"resizeD1Cursor", 7, 7}, HotSpot{"resizeD2Cursor", 7, 7},
                             HotSpot{"boxCursor", 5, 6}, HotSpot{"sepCursor", 6, 6},
                             HotSpot{"openhandCursor", 5, 6}, HotSpot{"closedhandCursor", 5, 6},
                             HotSpot{"textContinueCursor", 0, 0}, HotSpot{"targetCursor", 5, 6}}) {
        const QImage cursor = decodePicture(
            root.filePath(QStringLiteral("cursors/%1.png").arg(QLatin1String(h.name))));
        ASSERT_EQ(cursor.size(), QSize(16, 16)) << h.name;
        int near = 0;
        for (int y = std::max(0, h.y - 2); y <= h.y + 2; ++y)
            for (int x = std::max(0, h.x - 2); x <= h.x + 2; ++x)
                near = std::max(near, qAlpha(cursor.pixel(x, y)));
        EXPECT_GT(near, 128) << h.name;
        EXPECT_EQ(qAlpha(cursor.pixel(15, 15)) == 0 || qAlpha(cursor.pixel(0, 15)) == 0, true)
            << h.name;
    }
    for (const char* name : {"select", "small_pricel", "small_koleso", "small_crop",
                             "small_color_pricel", "shapes", "inspector_wrap"}) {
        const QString path = root.filePath(QStringLiteral("marks/%1.tif").arg(QLatin1String(name)));
        ASSERT_TRUE(bytesOf(path).startsWith("II*")) << name;
        const QImage mark = decodePicture(path);
        ASSERT_EQ(mark.size(), QSize(16, 16)) << name;
        Range markGrey, markAlpha;
        spread(mark, markGrey, markAlpha);
        EXPECT_EQ(markAlpha.lo, 0) << name;
        EXPECT_EQ(markAlpha.hi, 255) << name;
    }
}

TEST_F(ResgenTest, EveryCatalogIconIsWritten) {
    const QStringList icons = QDir(dirs[0]->filePath("icons")).entryList(QDir::Files);
    EXPECT_GT(icons.size(), 80);
    for (const char* name : {"GaussianBlurIcon", "GLIF_Plasma", "CropIcon", "ShadedMaterialIcon"})
        EXPECT_TRUE(icons.contains(QLatin1String(name) + QStringLiteral(".png"))) << name;
    for (const QString& icon : icons)
        EXPECT_EQ(decodePicture(dirs[0]->filePath("icons/" + icon)).size(),
                  QSize(cif::resgen::kIconSize, cif::resgen::kIconSize))
            << icon;
}

TEST(Resgen, StrayFilesLeaveOnlyTheOwnedFolder) {
    const QTemporaryDir dir;
    const QImage dot(2, 2, QImage::Format_RGB32);
    const std::vector<cif::resgen::GeneratedPicture> pictures{
        {QStringLiteral("lib/keep.png"), dot}};
    ASSERT_TRUE(cif::resgen::writePictures(dir.path(), pictures, nullptr));
    for (const char* name : {"lib/old.png", "lib/deep/old.png", "lib/.stamp", "other/mine.png"}) {
        ASSERT_TRUE(QDir().mkpath(QFileInfo(dir.filePath(name)).path()));
        QFile file(dir.filePath(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    }
    ASSERT_TRUE(
        cif::resgen::removeStrayFiles(dir.path(), QStringLiteral("lib"), pictures, nullptr));
    EXPECT_TRUE(QFile::exists(dir.filePath("lib/keep.png")));
    EXPECT_FALSE(QFile::exists(dir.filePath("lib/old.png")));
    EXPECT_FALSE(QFile::exists(dir.filePath("lib/deep/old.png")));
    EXPECT_TRUE(QFile::exists(dir.filePath("lib/.stamp")));
    EXPECT_TRUE(QFile::exists(dir.filePath("other/mine.png")));
}

TEST(Resgen, NoiseRepeatsAtItsPeriod) {
    using namespace cif::resgen;
    for (const double x : {0.25, 3.7, 6.01})
        for (const double y : {0.5, 2.2}) {
            EXPECT_NEAR(valueNoise(x, y, 7, 3), valueNoise(x + 7, y, 7, 3), 1e-9);
            EXPECT_NEAR(valueNoise(x, y, 7, 3), valueNoise(x, y - 7, 7, 3), 1e-9);
            EXPECT_NEAR(cellDistance(x, y, 5, 9), cellDistance(x + 5, y + 5, 5, 9), 1e-9);
            const double f = fbm(x / 8, y / 8, 4, 4, 1);
            EXPECT_NEAR(f, fbm(x / 8 + 1, y / 8, 4, 4, 1), 1e-9);
            EXPECT_GE(f, 0);
            EXPECT_LE(f, 1);
        }
    // Different seeds give different fields.
    EXPECT_NE(valueNoise(1.5, 1.5, 7, 3), valueNoise(1.5, 1.5, 7, 4));
}

TEST(FilterIcon, ShowsTheFilterOrFallsBackToTheSymbol) {
    cif::initializePlatform();
    cif::resgen::FilterIconPainter painter;
    // No such filter: the symbol.
    EXPECT_TRUE(painter.filterIcon(QStringLiteral("CINoSuchFilter")).isNull());
    EXPECT_EQ(painter.icon(QStringLiteral("NoSuchIcon"), QStringLiteral("CINoSuchFilter")),
              cif::resgen::paintIcon(QStringLiteral("NoSuchIcon")));
    if (!cif::CIFilter::isRegistered(QStringLiteral("CIColorInvert")))
        GTEST_SKIP() << "CIColorInvert is not registered";
    // The star of the sample sits in its upper left (85, 95 of 300, y down);
    // inverted, its yellow turns blue at the same place in the icon.
    const QImage icon = painter.filterIcon(QStringLiteral("CIColorInvert"));
    ASSERT_EQ(icon.size(), QSize(cif::resgen::kIconSize, cif::resgen::kIconSize));
    const QImage sample = cif::resgen::iconSamplePicture();
    const QColor before(sample.pixel(85, 95));
    EXPECT_GT(before.red(), 200);
    EXPECT_LT(before.blue(), 80);
    const double scale = (cif::resgen::kIconSize - 3) / 300.0;
    const QColor after(icon.pixel(int(1.5 + 85 * scale), int(1.5 + 95 * scale)));
    EXPECT_LT(after.red(), 60);
    EXPECT_GT(after.blue(), 180);
}

}  // namespace
