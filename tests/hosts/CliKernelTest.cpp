// cifx kernel: checking and running filter files and bare kernel sources
// through the built binary.

#include <gtest/gtest.h>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QTemporaryDir>

namespace {

const QString kCifx = QStringLiteral(CIF_BINARY_DIR "/hosts/cli/cifx");
const QString kExamples = QStringLiteral(CIF_SOURCE_DIR "/resources/filters/examples");

struct Result {
    int exitCode = -1;
    QString out, err;
};

Result runCifx(const QStringList& args) {
    QProcess p;
    p.start(kCifx, args);
    Result r;
    if (!p.waitForFinished(60000)) {
        p.kill();
        p.waitForFinished();
        return r;
    }
    if (p.exitStatus() != QProcess::NormalExit) return r;
    r.exitCode = p.exitCode();
    r.out = QString::fromUtf8(p.readAllStandardOutput());
    r.err = QString::fromUtf8(p.readAllStandardError());
    return r;
}

class CliKernelTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_dir.isValid());
        QImage image(6, 4, QImage::Format_ARGB32);
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 6; ++x)
                image.setPixelColor(x, y, QColor(40 * x, 60 * y, 200, 255));
        ASSERT_TRUE(image.save(path("in.png")));
    }
    QString path(const QString& name) const { return m_dir.filePath(name); }
    void write(const QString& name, const QByteArray& text) const {
        QFile f(path(name));
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(text);
    }
    QTemporaryDir m_dir;
};

TEST_F(CliKernelTest, CheckReportsDiagnosticsAndFailuresWriteNothing) {
    write(QStringLiteral("bad.cikernel"), "kernel vec4 k(sampler s) {\n  return s +;\n}\n");
    Result r = runCifx({QStringLiteral("kernel"), QStringLiteral("--check"), path("bad.cikernel")});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(r.out.startsWith(path("bad.cikernel") + u':')) << r.out.toStdString();

    write(QStringLiteral("bad.json"), R"({"name": "KF", "inputs": []})");
    r = runCifx({QStringLiteral("kernel"), QStringLiteral("--check"), path("bad.json")});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(r.out.contains(QLatin1String("kernel"))) << r.out.toStdString();

    // A broken file, a missing file and bad usage: one line on stderr, no output.
    r = runCifx({QStringLiteral("kernel"), path("bad.json"), path("in.png"), path("out.png")});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err.count(u'\n'), 1) << r.err.toStdString();
    r = runCifx({QStringLiteral("kernel"), path("none.json"), path("in.png"), path("out.png")});
    EXPECT_EQ(r.exitCode, 3);
    r = runCifx({QStringLiteral("kernel"), path("bad.json")});
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_FALSE(QFile::exists(path("out.png")));
}

TEST_F(CliKernelTest, RunsFilterFilesAndBareKernels) {
    const QString swap = kExamples + QStringLiteral("/ChannelSwap.json");
    Result r = runCifx({QStringLiteral("kernel"), QStringLiteral("--check"), swap});
    EXPECT_EQ(r.exitCode, 0) << r.out.toStdString();
    r = runCifx({QStringLiteral("kernel"), swap, path("in.png"), path("swap.png"),
                 QStringLiteral("--no-color-management")});
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    const QImage swapped(path("swap.png"));
    ASSERT_EQ(swapped.size(), QSize(6, 4));
    EXPECT_EQ(swapped.pixelColor(5, 3), QColor(200, 180, 200));
    EXPECT_EQ(swapped.pixelColor(1, 0), QColor(200, 0, 40));

    // A bare kernel: IN is its sampler, --set binds the float by name.
    write(QStringLiteral("scale.cikernel"),
          "kernel vec4 scaleRed(sampler image, float gain)\n"
          "{\n    vec4 p = sample(image, samplerCoord(image));\n"
          "    return vec4(p.r * gain, p.g, p.b, p.a);\n}\n");
    r = runCifx({QStringLiteral("kernel"), path("scale.cikernel"), path("in.png"),
                 path("scaled.png"), QStringLiteral("--set"), QStringLiteral("gain=0.5"),
                 QStringLiteral("--no-color-management")});
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    const QImage scaled(path("scaled.png"));
    EXPECT_EQ(scaled.pixelColor(4, 0), QColor(80, 0, 200));
    r = runCifx({QStringLiteral("kernel"), path("scale.cikernel"), path("in.png"), path("x.png"),
                 QStringLiteral("--set"), QStringLiteral("nothing=1")});
    EXPECT_EQ(r.exitCode, 2);
}

TEST_F(CliKernelTest, RunsColourWarpAndGeneratorKernels) {
    // A colour kernel: IN is its __sample.
    write(QStringLiteral("swap.cikernel"), "kernel vec4 swap(__sample s) { return s.bgra; }\n");
    Result r =
        runCifx({QStringLiteral("kernel"), QStringLiteral("--check"), path("swap.cikernel")});
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_TRUE(r.out.contains(QLatin1String("color kernel swap(__sample s)")))
        << r.out.toStdString();
    r = runCifx({QStringLiteral("kernel"), path("swap.cikernel"), path("in.png"), path("c.png"),
                 QStringLiteral("--no-color-management")});
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_EQ(QImage(path("c.png")).pixelColor(5, 3), QColor(200, 180, 200));

    // A warp reads IN where it says: one pixel to the right.
    write(QStringLiteral("shift.cikernel"),
          "kernel vec2 shift(float dx) { return destCoord() + vec2(dx, 0.); }\n");
    r = runCifx({QStringLiteral("kernel"), path("shift.cikernel"), path("in.png"), path("w.png"),
                 QStringLiteral("--set"), QStringLiteral("dx=1"),
                 QStringLiteral("--no-color-management")});
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    const QImage warped(path("w.png"));
    ASSERT_EQ(warped.size(), QSize(6, 4));
    EXPECT_EQ(warped.pixelColor(0, 0), QColor(40, 0, 200));
    EXPECT_EQ(warped.pixelColor(5, 0).alpha(), 0);

    // A generator needs a rectangle.
    write(QStringLiteral("red.cikernel"),
          "kernel vec4 red(float v) { return vec4(v, 0., 0., 1.); }\n");
    r = runCifx({QStringLiteral("kernel"), path("red.cikernel"), path("g.png"),
                 QStringLiteral("--set"), QStringLiteral("v=1"), QStringLiteral("--rect"),
                 QStringLiteral("0,0,3,2"), QStringLiteral("--no-color-management")});
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    const QImage generated(path("g.png"));
    EXPECT_EQ(generated.size(), QSize(3, 2));
    EXPECT_EQ(generated.pixelColor(2, 1), QColor(255, 0, 0));
}

}  // namespace
