// Runs GIMP 2.10 itself headless with the plug-in installed in a temporary
// home, calls its procedures from Script-Fu in batch mode and compares the
// saved pixels with what cifx gives for the same input and parameters.
// GIMP is started once for all cases; each case is one batch command, so a
// failing case leaves the others running. Skipped only where GIMP cannot
// start at all.

#include <gtest/gtest.h>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <cstdlib>

namespace {

const QString kPlugIn = QStringLiteral(CIF_BINARY_DIR "/hosts/gimp/cif-effects-gimp");
const QString kBundle = QStringLiteral(CIF_BINARY_DIR "/CIFEffects.plugin");
const QString kCifx = QStringLiteral(CIF_BINARY_DIR "/hosts/cli/cifx");
const QString kStarted = QStringLiteral("cif-gimp-test-started");

// An opaque picture with detail in both directions, so a flip, a shift or a
// wrong channel order shows.
QImage testPicture() {
    QImage image(64, 48, QImage::Format_RGB32);
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            image.setPixel(x, y, qRgb(x * 4, y * 5, ((x / 8 + y / 8) % 2) * 200 + 20));
    return image;
}

// Script-Fu: load the input, run `call` on its drawable (bound to d), save.
QString effectCase(const QString& in, const QString& out, const QString& call) {
    return QStringLiteral(
               "(let* ((image (car (gimp-file-load RUN-NONINTERACTIVE \"%1\" \"%1\")))"
               " (d (car (gimp-image-get-active-drawable image)))) %3"
               " (gimp-file-save RUN-NONINTERACTIVE image (car (gimp-image-merge-visible-layers "
               "image CLIP-TO-IMAGE)) \"%2\" \"%2\"))")
        .arg(in, out, call);
}

QString scheme(const QString& text) {
    return QString(text).replace(u'\\', QLatin1String("\\\\")).replace(u'"', QLatin1String("\\\""));
}

// The largest difference of any channel, non-premultiplied 8-bit, over
// pixels that are not fully transparent in both pictures; 256 when the
// sizes differ.
int maxDifference(const QImage& a, const QImage& b) {
    if (a.isNull() || a.size() != b.size()) return 256;
    const QImage x = a.convertToFormat(QImage::Format_ARGB32);
    const QImage y = b.convertToFormat(QImage::Format_ARGB32);
    int worst = 0;
    for (int row = 0; row < x.height(); ++row)
        for (int col = 0; col < x.width(); ++col) {
            const QRgb p = x.pixel(col, row), q = y.pixel(col, row);
            worst = std::max(worst, std::abs(qAlpha(p) - qAlpha(q)));
            if (qAlpha(p) == 0 && qAlpha(q) == 0) continue;
            worst = std::max({worst, std::abs(qRed(p) - qRed(q)), std::abs(qGreen(p) - qGreen(q)),
                              std::abs(qBlue(p) - qBlue(q))});
        }
    return worst;
}

class GimpBridgeTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        s_dir = new QTemporaryDir;
        ASSERT_TRUE(s_dir->isValid());
        const QString gimp = QStandardPaths::findExecutable(QStringLiteral("gimp-console-2.10"));
        if (gimp.isEmpty()) return;
        s_gimpFound = true;
        const QDir dir(s_dir->path());
        const QString plugIns =
            dir.filePath(QStringLiteral("home/.config/GIMP/2.10/plug-ins/"
                                        "cif-effects-gimp"));
        ASSERT_TRUE(QDir().mkpath(plugIns));
        ASSERT_TRUE(QFile::copy(kPlugIn, plugIns + QStringLiteral("/cif-effects-gimp")));
        QFile bundlePath(plugIns + QStringLiteral("/bundle-path"));
        ASSERT_TRUE(bundlePath.open(QIODevice::WriteOnly));
        bundlePath.write(kBundle.toUtf8() + '\n');
        bundlePath.close();
        ASSERT_TRUE(testPicture().save(path("in.png")));
        ASSERT_TRUE(
            testPicture().convertToFormat(QImage::Format_Grayscale8).save(path("grey-in.png")));

        const QString in = path("in.png");
        const auto effect = [&](const QString& id, const QString& json) {
            return QStringLiteral("(plug-in-cif-effects RUN-NONINTERACTIVE image d \"%1\" \"%2\")")
                .arg(id, scheme(json));
        };
        const auto failing = [&](const QString& call) {
            return QStringLiteral("(catch (gimp-message \"cif-gimp-test-caught\") %1)").arg(call);
        };
        const QStringList batch = {
            QStringLiteral("(gimp-message \"%1\")").arg(kStarted),
            effectCase(in, path("invert.png"), effect("CIColorInvert", "{}")),
            effectCase(in, path("blur.png"),
                       effect("CIGaussianBlur", QStringLiteral("{\"inputRadius\": 3}"))),
            // The last scripted run (the blur) is repeated from the settings
            // file, inside a selection.
            effectCase(in, path("repeat.png"),
                       QStringLiteral("(gimp-image-select-rectangle image CHANNEL-OP-REPLACE 8 4 "
                                      "20 16) (plug-in-cif-effects RUN-WITH-LAST-VALS image d "
                                      "\"\" \"\")")),
            effectCase(in, path("unknown.png"), failing(effect("CINoSuchEffect", "{}"))),
            // A greyscale image is read as RGBA and written back as grey.
            effectCase(path("grey-in.png"), path("grey.png"),
                       effect("CIGaussianBlur", QStringLiteral("{\"inputRadius\": 3}"))),
            QStringLiteral("(let* ((r (plug-in-cif-generator RUN-NONINTERACTIVE -1 -1 "
                           "\"GLIF_Plasma\" \"%1\" 80 60))) (gimp-file-save RUN-NONINTERACTIVE "
                           "(car r) (cadr r) \"%2\" \"%2\"))")
                .arg(scheme(QStringLiteral("{\"GLIFRandomSeed\": 7, \"GLIFSmoothness\": 7}")),
                     path("plasma.png")),
            QStringLiteral("(gimp-quit 0)")};
        QStringList args = {QStringLiteral("-i"), QStringLiteral("-d"), QStringLiteral("-f")};
        for (const QString& command : batch)
            args << QStringLiteral("-b") << command;

        QProcess process;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("HOME"), dir.filePath(QStringLiteral("home")));
        env.remove(QStringLiteral("XDG_CONFIG_HOME"));
        // babl's and GEGL's caches outlive the run, which makes later runs faster.
        env.insert(QStringLiteral("XDG_CACHE_HOME"), QStringLiteral(CIF_BINARY_DIR "/gimp-cache"));
        process.setProcessEnvironment(env);
        process.setWorkingDirectory(s_dir->path());
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(gimp, args);
        if (!process.waitForFinished(240000)) process.kill();
        process.waitForFinished();
        s_output = new QString(QString::fromUtf8(process.readAll()));
    }

    static void TearDownTestSuite() {
        delete s_dir;
        s_dir = nullptr;
        delete s_output;
        s_output = nullptr;
    }

    void SetUp() override {
        if (!s_gimpFound) GTEST_SKIP() << "gimp-console-2.10 is not installed";
        ASSERT_TRUE(s_output);
        if (!s_output->contains(kStarted))
            GTEST_SKIP() << "GIMP cannot start here:\n" << s_output->toStdString();
    }

    static QString path(const char* name) {
        return QDir(s_dir->path()).filePath(QString::fromLatin1(name));
    }
    static QImage picture(const char* name) { return QImage(path(name)); }

    // cifx's picture for the same input and arguments.
    static QImage reference(const QStringList& args, const char* name) {
        QProcess cifx;
        cifx.start(kCifx, args + QStringList{path(name)});
        cifx.waitForFinished(60000);
        EXPECT_EQ(cifx.exitCode(), 0) << cifx.readAllStandardError().toStdString();
        return picture(name);
    }

    std::string log() const { return s_output->toStdString(); }

    static inline QTemporaryDir* s_dir = nullptr;
    static inline QString* s_output = nullptr;
    static inline bool s_gimpFound = false;
};

TEST_F(GimpBridgeTest, EffectsMatchTheCommandLineHost) {
    const QImage invert = picture("invert.png");
    ASSERT_FALSE(invert.isNull()) << log();
    EXPECT_LE(maxDifference(invert, reference({QStringLiteral("apply"),
                                               QStringLiteral("CIColorInvert"), path("in.png")},
                                              "invert-ref.png")),
              1);
    const QImage blurRef =
        reference({QStringLiteral("apply"), QStringLiteral("CIGaussianBlur"),
                   QStringLiteral("--set"), QStringLiteral("inputRadius=3"), path("in.png")},
                  "blur-ref.png");
    EXPECT_LE(maxDifference(picture("blur.png"), blurRef), 1) << log();
    // The blur really changed the picture.
    EXPECT_GT(maxDifference(blurRef, testPicture()), 8);
}

TEST_F(GimpBridgeTest, GreyscaleImagesStayGreyWithTheEffectApplied) {
    const QImage grey = picture("grey.png");
    ASSERT_FALSE(grey.isNull()) << log();
    EXPECT_TRUE(grey.isGrayscale());
    EXPECT_LE(
        maxDifference(grey, reference({QStringLiteral("apply"), QStringLiteral("CIGaussianBlur"),
                                       QStringLiteral("--set"), QStringLiteral("inputRadius=3"),
                                       path("grey-in.png")},
                                      "grey-ref.png")),
        1);
}

TEST_F(GimpBridgeTest, RepeatLastRunsTheLastEffectWithinTheSelection) {
    const QImage result = picture("repeat.png");
    ASSERT_FALSE(result.isNull()) << log();
    // Blurred inside the selection (with the blur's own alpha at no edge),
    // untouched outside.
    QImage expected = testPicture().convertToFormat(QImage::Format_ARGB32);
    const QImage blurRef =
        reference({QStringLiteral("apply"), QStringLiteral("CIGaussianBlur"),
                   QStringLiteral("--set"), QStringLiteral("inputRadius=3"), path("in.png")},
                  "blur-ref.png")
            .convertToFormat(QImage::Format_ARGB32);
    const QRect selected(8, 4, 20, 16);
    for (int y = selected.top(); y <= selected.bottom(); ++y)
        for (int x = selected.left(); x <= selected.right(); ++x)
            expected.setPixel(x, y, blurRef.pixel(x, y));
    EXPECT_LE(maxDifference(result, expected), 1);
}

TEST_F(GimpBridgeTest, GeneratorWithSeedMatchesTheCommandLineHost) {
    const QImage plasma = picture("plasma.png");
    ASSERT_EQ(plasma.size(), QSize(80, 60)) << log();
    EXPECT_LE(maxDifference(
                  plasma,
                  reference({QStringLiteral("generate"), QStringLiteral("GLIF_Plasma"),
                             QStringLiteral("80x60"), QStringLiteral("--seed"), QStringLiteral("7"),
                             QStringLiteral("--set"), QStringLiteral("GLIFSmoothness=7")},
                            "plasma-ref.png")),
              1);
}

TEST_F(GimpBridgeTest, UnknownEffectFailsAndLeavesTheImageUnchanged) {
    EXPECT_EQ(maxDifference(picture("unknown.png"), testPicture()), 0) << log();
    EXPECT_TRUE(s_output->contains(QStringLiteral("Unknown effect 'CINoSuchEffect'."))) << log();
    EXPECT_EQ(s_output->count(QStringLiteral("cif-gimp-test-caught")), 1) << log();
}

}  // namespace
