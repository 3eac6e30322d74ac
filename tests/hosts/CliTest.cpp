// Drives the built cifx binary: exit codes, the files it leaves behind,
// pixels of real renders, JSON output, the gallery and Ctrl-C.

#include <gtest/gtest.h>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>
#include <csignal>

#include "platform/CIPlatform.h"
#include "platform/host/HostImage.h"
#include "platform/image/CIFilter.h"

namespace {

const QString kCifx = QStringLiteral(CIF_BINARY_DIR "/hosts/cli/cifx");

struct Result {
    int exitCode = -1;
    QProcess::ExitStatus status = QProcess::CrashExit;
    QString out, err;
};

Result runCifx(const QStringList& args, int timeoutMs = 30000) {
    QProcess p;
    p.start(kCifx, args);
    Result r;
    if (!p.waitForFinished(timeoutMs)) {
        p.kill();
        p.waitForFinished();
        return r;
    }
    r.exitCode = p.exitCode();
    r.status = p.exitStatus();
    r.out = QString::fromUtf8(p.readAllStandardOutput());
    r.err = QString::fromUtf8(p.readAllStandardError());
    return r;
}

// A failure is exactly one line "cifx: <message>".
void expectOneFailureLine(const QString& err) {
    EXPECT_TRUE(err.startsWith(QLatin1String("cifx: "))) << err.toStdString();
    EXPECT_EQ(err.count(u'\n'), 1) << err.toStdString();
}

class CliTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_dir.isValid());
        // 4 x 4: the top two rows red, the bottom two a mid blue-grey, so a
        // flipped render shows.
        QImage image(4, 4, QImage::Format_ARGB32);
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 4; ++x)
                image.setPixelColor(x, y, y < 2 ? QColor(255, 0, 0) : QColor(51, 102, 153));
        ASSERT_TRUE(image.save(path("in.png")));
    }
    QString path(const QString& name) const { return m_dir.filePath(name); }
    QStringList entries() const {
        return QDir(m_dir.path()).entryList(QDir::Files | QDir::Hidden | QDir::System);
    }
    QImage outputImage(const QString& name) const {
        return QImage(path(name)).convertToFormat(QImage::Format_RGBA8888);
    }

    QTemporaryDir m_dir;
};

TEST_F(CliTest, UsageErrorsExitTwoAndWriteNothing) {
    const QString in = path("in.png"), out = path("out.png");
    const QList<QStringList> cases = {
        {QStringLiteral("render"), QStringLiteral("CIColorInvert"), in, out,
         QStringLiteral("--bogus")},
        {QStringLiteral("render"), QStringLiteral("CIColorMatrix"), in, out,
         QStringLiteral("--set"), QStringLiteral("inputRVector=1,x,0,0")},
        {QStringLiteral("render"), QStringLiteral("CIColorMatrix"), in, out,
         QStringLiteral("--set"),
         QStringLiteral("inputRVector=1,0")},  // a vector of the wrong length
        {QStringLiteral("render"), QStringLiteral("CIAffineTransform"), in, out,
         QStringLiteral("--set"), QStringLiteral("inputTransform=1 0 0 1")},
        {QStringLiteral("render"), QStringLiteral("CIColorInvert"), in, out,
         QStringLiteral("--set"), QStringLiteral("inputNothing=1")},
        {QStringLiteral("render"), QStringLiteral("CIColorInvert"), in, out,
         QStringLiteral("--set"), QStringLiteral("inputImage")},
        {QStringLiteral("render"), QStringLiteral("CINoSuchFilter"), in, out},
        {QStringLiteral("render"), QStringLiteral("CIColorInvert"), in, out,
         QStringLiteral("--rect"), QStringLiteral("0,0,-4,4")},
        {QStringLiteral("render"), QStringLiteral("CIColorInvert"), in, out,
         QStringLiteral("--threads"), QStringLiteral("two")},
        // A generator's output is infinite: the rectangle must be given.
        {QStringLiteral("render"), QStringLiteral("CIConstantColorGenerator"), out},
        {QStringLiteral("render"), QStringLiteral("CIConstantColorGenerator"), in, out,
         QStringLiteral("--rect"), QStringLiteral("0,0,4,4")},
        {QStringLiteral("attributes"), QStringLiteral("CINoSuchFilter")},
        {QStringLiteral("filters"), QStringLiteral("--category"), QStringLiteral("NoSuchCategory")},
        {QStringLiteral("frobnicate")},
        {},
    };
    for (const QStringList& args : cases) {
        SCOPED_TRACE(args.join(u' ').toStdString());
        const Result r = runCifx(args);
        EXPECT_EQ(r.status, QProcess::NormalExit);
        EXPECT_EQ(r.exitCode, 2);
        expectOneFailureLine(r.err);
        EXPECT_FALSE(QFile::exists(out));
    }
}

TEST_F(CliTest, UnreadableInputExitsThree) {
    QFile text(path("notes.png"));
    ASSERT_TRUE(text.open(QIODevice::WriteOnly));
    text.write("not a picture\n");
    text.close();
    for (const QStringList& args :
         {QStringList{QStringLiteral("render"), QStringLiteral("CIColorInvert"),
                      path("missing.png"), path("out.png")},
          QStringList{QStringLiteral("render"), QStringLiteral("CIColorInvert"), path("notes.png"),
                      path("out.png")},
          QStringList{QStringLiteral("render"), QStringLiteral("CISourceOverCompositing"),
                      path("in.png"), path("out.png"), QStringLiteral("--set"),
                      QStringLiteral("inputBackgroundImage=") + path("missing.png")}}) {
        SCOPED_TRACE(args.join(u' ').toStdString());
        const Result r = runCifx(args);
        EXPECT_EQ(r.exitCode, 3);
        expectOneFailureLine(r.err);
        EXPECT_FALSE(QFile::exists(path("out.png")));
    }
}

TEST_F(CliTest, UnwritableOutputExitsFourAndLeavesNoFile) {
    // A path through a regular file cannot be written, even by root.
    const QStringList before = entries();
    for (const QString& out : {path("in.png/out.png"), m_dir.path()}) {
        SCOPED_TRACE(out.toStdString());
        const Result r = runCifx(
            {QStringLiteral("render"), QStringLiteral("CIColorInvert"), path("in.png"), out});
        EXPECT_EQ(r.exitCode, 4);
        expectOneFailureLine(r.err);
        EXPECT_EQ(entries(), before);
    }
    const Result gallery = runCifx({QStringLiteral("gallery"), path("in.png/gallery")});
    EXPECT_EQ(gallery.exitCode, 4);
    expectOneFailureLine(gallery.err);
}

TEST_F(CliTest, RenderWritesTheFilteredPictureTopRowFirst) {
    Result r = runCifx({QStringLiteral("render"), QStringLiteral("CIColorInvert"), path("in.png"),
                        path("out.png")});
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_TRUE(r.err.isEmpty()) << r.err.toStdString();
    QImage out = outputImage(QStringLiteral("out.png"));
    ASSERT_EQ(out.size(), QSize(4, 4));
    // Red inverts to cyan exactly, with or without colour management.
    EXPECT_EQ(out.pixelColor(0, 0), QColor(0, 255, 255));

    // Without colour management the arithmetic is on the stored values;
    // --rect is in engine coordinates, so y = 0 is the bottom row.
    r = runCifx({QStringLiteral("render"), QStringLiteral("CIColorInvert"), path("in.png"),
                 path("bottom.png"), QStringLiteral("--no-color-management"),
                 QStringLiteral("--rect"), QStringLiteral("1,0,2,1"), QStringLiteral("--threads"),
                 QStringLiteral("1"), QStringLiteral("--tile"), QStringLiteral("16")});
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    out = outputImage(QStringLiteral("bottom.png"));
    ASSERT_EQ(out.size(), QSize(2, 1));
    EXPECT_EQ(out.pixelColor(0, 0), QColor(204, 153, 102));
}

TEST_F(CliTest, SetValuesOfEachClassReachTheFilter) {
    // Vectors: red taken from blue, green from red, blue from green.
    Result r = runCifx({QStringLiteral("render"), QStringLiteral("CIColorMatrix"), path("in.png"),
                        path("m.png"), QStringLiteral("--no-color-management"),
                        QStringLiteral("--set"), QStringLiteral("inputRVector=[0 0 1 0]"),
                        QStringLiteral("--set"), QStringLiteral("inputGVector=1,0,0,0"),
                        QStringLiteral("--set=inputBVector=0 1 0 0")});
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_EQ(outputImage(QStringLiteral("m.png")).pixelColor(0, 3), QColor(153, 51, 102));

    // Colours, and a generator rendered over --rect.
    r = runCifx({QStringLiteral("render"), QStringLiteral("CIConstantColorGenerator"),
                 path("c.png"), QStringLiteral("--set"), QStringLiteral("inputColor=0 1 0 1"),
                 QStringLiteral("--rect"), QStringLiteral("-5,-5,3,2")});
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    const QImage c = outputImage(QStringLiteral("c.png"));
    EXPECT_EQ(c.size(), QSize(3, 2));
    EXPECT_EQ(c.pixelColor(2, 1), QColor(0, 255, 0));

    // Transforms: doubling the size doubles the output extent.
    r = runCifx({QStringLiteral("render"), QStringLiteral("CIAffineTransform"), path("in.png"),
                 path("t.png"), QStringLiteral("--set"),
                 QStringLiteral("inputTransform=2 0 0 2 0 0")});
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_EQ(QImage(path("t.png")).size(), QSize(8, 8));

    // Numbers are kept to the input's range, as the editor's controls keep
    // them, and cifx says so; an infinity with no bound is refused.
    r = runCifx({QStringLiteral("render"), QStringLiteral("CIGaussianBlur"), path("in.png"),
                 path("g.png"), QStringLiteral("--set"), QStringLiteral("inputRadius=-5")});
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_TRUE(r.err.contains(QLatin1String("-5 is outside the range 0 to")) &&
                r.err.contains(QLatin1String("0 is used")))
        << r.err.toStdString();
    EXPECT_EQ(outputImage(QStringLiteral("g.png")), outputImage(QStringLiteral("in.png")));
    r = runCifx({QStringLiteral("render"), QStringLiteral("CIGaussianBlur"), path("in.png"),
                 path("h.png"), QStringLiteral("--set"), QStringLiteral("inputRadius=inf")});
    EXPECT_EQ(r.exitCode, 2);
    expectOneFailureLine(r.err);

    // Image inputs are files; an infinite output takes the input's extent.
    r = runCifx(
        {QStringLiteral("render"), QStringLiteral("CIAffineClamp"), path("in.png"), path("k.png")});
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_EQ(QImage(path("k.png")).size(), QSize(4, 4));
}

TEST_F(CliTest, JsonOutputsCarrySchemaVersion) {
    Result r = runCifx({QStringLiteral("filters"), QStringLiteral("--json")});
    ASSERT_EQ(r.exitCode, 0);
    QJsonObject doc = QJsonDocument::fromJson(r.out.toUtf8()).object();
    EXPECT_EQ(doc.value(QStringLiteral("schema_version")).toInt(), 1);
    bool found = false;
    for (const QJsonValue& f : doc.value(QStringLiteral("filters")).toArray()) {
        const QJsonObject o = f.toObject();
        if (o.value(QStringLiteral("name")).toString() != QLatin1String("CIColorInvert")) continue;
        found = true;
        EXPECT_EQ(o.value(QStringLiteral("displayName")).toString(),
                  QStringLiteral("Color Invert"));
        EXPECT_TRUE(o.value(QStringLiteral("categories"))
                        .toArray()
                        .contains(QStringLiteral("CICategoryColorEffect")));
    }
    EXPECT_TRUE(found);

    r = runCifx(
        {QStringLiteral("attributes"), QStringLiteral("CIAffineTile"), QStringLiteral("--json")});
    ASSERT_EQ(r.exitCode, 0);
    doc = QJsonDocument::fromJson(r.out.toUtf8()).object();
    EXPECT_EQ(doc.value(QStringLiteral("schema_version")).toInt(), 1);
    const QJsonArray inputs = doc.value(QStringLiteral("inputs")).toArray();
    ASSERT_EQ(inputs.size(), 2);
    EXPECT_EQ(inputs[0].toObject().value(QStringLiteral("key")).toString(),
              QStringLiteral("inputImage"));
    const QJsonObject transform =
        inputs[1].toObject().value(QStringLiteral("CIAttributeDefault")).toObject();
    EXPECT_EQ(transform.value(QStringLiteral("m11")).toDouble(), 1.0);
    EXPECT_EQ(transform.value(QStringLiteral("tY")).toDouble(), 0.0);

    r = runCifx({QStringLiteral("attributes"), QStringLiteral("CIConstantColorGenerator"),
                 QStringLiteral("--json")});
    const QJsonArray color = QJsonDocument::fromJson(r.out.toUtf8())
                                 .object()
                                 .value(QStringLiteral("inputs"))
                                 .toArray()[0]
                                 .toObject()
                                 .value(QStringLiteral("CIAttributeDefault"))
                                 .toArray();
    EXPECT_EQ(color, (QJsonArray{1, 0, 0, 1}));

    r = runCifx({QStringLiteral("--version")});
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.out, QStringLiteral("cifx 2.3.0\n"));
    r = runCifx({QStringLiteral("render"), QStringLiteral("--help")});
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_TRUE(r.out.contains(QLatin1String("130"))) << r.out.toStdString();
}

TEST_F(CliTest, GalleryRendersEveryRegisteredFilter) {
    const QString outDir = path("gallery");
    // Close to two hundred filters and their variants: minutes on a busy machine.
    const Result r = runCifx({QStringLiteral("gallery"), outDir}, 180000);
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    const QString index = QDir(outDir).absoluteFilePath(QStringLiteral("index.html"));
    EXPECT_EQ(r.out, index + u'\n');
    QFile file(index);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QString html = QString::fromUtf8(file.readAll());
    EXPECT_FALSE(html.contains(QLatin1String("class=\"failed\""))) << html.toStdString();
    EXPECT_TRUE(QImage(QDir(outDir).filePath(QStringLiteral("sample.png"))).size() ==
                QSize(480, 320));
    const qsizetype samplePos = html.indexOf(QLatin1String("sample.png"));
    cif::initializePlatform();
    for (const QString& name : cif::CIFilter::filterNamesInCategory(QString())) {
        SCOPED_TRACE(name.toStdString());
        EXPECT_GT(html.indexOf(QStringLiteral("id=\"%1\"").arg(name)), samplePos);
        EXPECT_FALSE(QImage(QDir(outDir).filePath(name + QStringLiteral(".png"))).isNull());
    }
    EXPECT_FALSE(
        QImage(QDir(outDir).filePath(QStringLiteral("CIAffineTransform-rotate30.png"))).isNull());
}

// One worker thread keeps the 240-megapixel tiling slow enough to interrupt
// on any machine.
QStringList longRender(const QString& in, const QString& out) {
    return {QStringLiteral("render"),
            QStringLiteral("CIAffineTile"),
            in,
            out,
            QStringLiteral("--rect"),
            QStringLiteral("0,0,20000,12000"),
            QStringLiteral("--threads"),
            QStringLiteral("1")};
}

TEST_F(CliTest, InterruptCancelsAndWritesNothing) {
    const QStringList before = entries();
    QProcess p;
    p.start(kCifx, longRender(path("in.png"), path("big.png")));
    ASSERT_TRUE(p.waitForStarted());
    QThread::msleep(300);
    ASSERT_EQ(::kill(pid_t(p.processId()), SIGINT), 0);
    ASSERT_TRUE(p.waitForFinished(5000));
    EXPECT_EQ(p.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(p.exitCode(), 130);
    expectOneFailureLine(QString::fromUtf8(p.readAllStandardError()));
    EXPECT_EQ(entries(), before);
}

TEST_F(CliTest, ProgressAppearsAfterOneSecond) {
    QProcess p;
    QStringList args = longRender(path("in.png"), path("big.png"));
    args << QStringLiteral("--progress");
    QElapsedTimer timer;
    timer.start();
    p.setReadChannel(QProcess::StandardError);
    p.start(kCifx, args);
    QByteArray err;
    while (!err.contains('%') && p.waitForReadyRead(10000))
        err += p.readAllStandardError();
    ASSERT_TRUE(err.contains('%')) << err.toStdString();
    EXPECT_GE(timer.elapsed(), 1000);
    ::kill(pid_t(p.processId()), SIGINT);
    ASSERT_TRUE(p.waitForFinished(5000));
    EXPECT_EQ(p.exitCode(), 130);
    EXPECT_FALSE(QFile::exists(path("big.png")));
}

TEST_F(CliTest, ListPrintsTheCatalogThroughTheBundle) {
    Result r = runCifx({QStringLiteral("list"), QStringLiteral("--json")});
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    const QJsonArray categories =
        QJsonDocument::fromJson(r.out.toUtf8()).object().value("categories").toArray();
    ASSERT_GE(categories.size(), 11);
    const QJsonObject focus = categories.at(3).toObject();
    EXPECT_EQ(focus.value("CIFCategoryName").toString(), "Focus");
    EXPECT_EQ(focus.value("CIFFilterList").toArray().size(), 7);

    r = runCifx({QStringLiteral("list"), QStringLiteral("--generators"), QStringLiteral("--lang"),
                 QStringLiteral("de")});
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_TRUE(r.out.startsWith("Sonstiges\n")) << r.out.left(40).toStdString();
    EXPECT_TRUE(r.out.contains("GLIF_Plasma"));

    r = runCifx({QStringLiteral("list"), QStringLiteral("--bundle"), path("nowhere")});
    EXPECT_EQ(r.exitCode, 3);
    EXPECT_TRUE(r.out.isEmpty());
}

TEST_F(CliTest, ApplyRunsCatalogEffectsAndReplacesOnlyTheSelection) {
    Result r = runCifx({QStringLiteral("apply"), QStringLiteral("CIColorInvert"), path("in.png"),
                        path("all.png")});
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    const QImage all = outputImage("all.png");
    const QImage in = QImage(path("in.png")).convertToFormat(QImage::Format_RGBA8888);
    EXPECT_EQ(all.pixelColor(0, 0),
              QColor(255 - in.pixelColor(0, 0).red(), 255 - in.pixelColor(0, 0).green(),
                     255 - in.pixelColor(0, 0).blue()));
    // The bottom-left 2 x 2 pixels (rows 2 and 3 of a 4-pixel-high picture).
    r = runCifx({QStringLiteral("apply"), QStringLiteral("CIColorInvert"), path("in.png"),
                 path("part.png"), QStringLiteral("--selection"), QStringLiteral("0,0,2,2")});
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    const QImage part = outputImage("part.png");
    EXPECT_EQ(part.pixelColor(0, 3), all.pixelColor(0, 3));
    EXPECT_EQ(part.pixelColor(3, 3), in.pixelColor(3, 3));
    EXPECT_EQ(part.pixelColor(0, 0), in.pixelColor(0, 0));

    EXPECT_EQ(runCifx({QStringLiteral("apply"), QStringLiteral("CINoSuchEffect"), path("in.png"),
                       path("x.png")})
                  .exitCode,
              2);
    EXPECT_EQ(runCifx({QStringLiteral("apply"), QStringLiteral("CIColorInvert"),
                       path("missing.png"), path("x.png")})
                  .exitCode,
              3);
    EXPECT_EQ(runCifx({QStringLiteral("apply"), QStringLiteral("CIFSobel"), path("in.png"),
                       path("x.png"), QStringLiteral("--set"), QStringLiteral("inputIntensity=x")})
                  .exitCode,
              2);
    EXPECT_FALSE(QFile::exists(path("x.png")));
}

TEST_F(CliTest, GenerateIsRepeatableForASeed) {
    const QStringList plasma{QStringLiteral("generate"), QStringLiteral("GLIF_Plasma"),
                             QStringLiteral("64x40")};
    ASSERT_EQ(runCifx(plasma + QStringList{path("a.png"), "--seed", "4"}).exitCode, 0);
    ASSERT_EQ(runCifx(plasma + QStringList{path("b.png"), "--seed", "4"}).exitCode, 0);
    ASSERT_EQ(runCifx(plasma + QStringList{path("c.png"), "--seed", "5"}).exitCode, 0);
    EXPECT_EQ(outputImage("a.png"), outputImage("b.png"));
    EXPECT_NE(outputImage("a.png"), outputImage("c.png"));
    EXPECT_EQ(outputImage("a.png").size(), QSize(64, 40));
    EXPECT_EQ(runCifx({QStringLiteral("generate"), QStringLiteral("GLIF_Nothing"),
                       QStringLiteral("8x8"), path("d.png")})
                  .exitCode,
              2);
    EXPECT_EQ(runCifx(plasma.mid(0, 2) + QStringList{"0x8", path("d.png")}).exitCode, 2);
    EXPECT_EQ(runCifx(plasma + QStringList{path("d.png"), "--set", "GLIFResolution=2.5"}).exitCode,
              2);
}

// Vector generators export their drawing as documents that a reader draws again as
// vectors and that match the PNG; bitmap generators refuse documents.
TEST_F(CliTest, GenerateWritesVectorDocuments) {
    const QStringList squares{QStringLiteral("generate"), QStringLiteral("GLIF_TwistedSquares"),
                              QStringLiteral("64x40")};
    ASSERT_EQ(runCifx(squares + QStringList{path("s.png")}).exitCode, 0);
    ASSERT_EQ(runCifx(squares + QStringList{path("s.pdf")}).exitCode, 0);
    ASSERT_EQ(runCifx(squares + QStringList{path("s.svg")}).exitCode, 0);
    const cif::HostImage pdf = cif::HostImage::load(path("s.pdf"), nullptr);
    ASSERT_TRUE(pdf.isVector());
    EXPECT_EQ(pdf.size(), QSizeF(64, 40));
    const QImage png = outputImage("s.png");
    const QImage fromPdf = pdf.rasterize(QSize(64, 40)).convertToFormat(QImage::Format_RGBA8888);
    // Compared over white, as a PDF page is shown.
    const auto overWhite = [](const QImage& image, int x, int y) {
        const QColor c = image.pixelColor(x, y);
        const double a = c.alphaF();
        return QColor::fromRgbF(float(c.redF() * a + 1 - a), float(c.greenF() * a + 1 - a),
                                float(c.blueF() * a + 1 - a));
    };
    // The same strokes up to edge rounding: 8 x 8 blocks agree on average.
    double worst = 0;
    for (int by = 0; by < 40; by += 8)
        for (int bx = 0; bx < 64; bx += 8) {
            double sum[2][3] = {};
            for (int y = by; y < by + 8; ++y)
                for (int x = bx; x < bx + 8; ++x)
                    for (int k = 0; k < 2; ++k) {
                        const QColor c = overWhite(k ? fromPdf : png, x, y);
                        sum[k][0] += c.redF(), sum[k][1] += c.greenF(), sum[k][2] += c.blueF();
                    }
            for (int i = 0; i < 3; ++i)
                worst = std::max(worst, std::abs(sum[0][i] - sum[1][i]) / 64);
        }
    EXPECT_LT(worst, 0.1);
    QFile svg(path("s.svg"));
    ASSERT_TRUE(svg.open(QIODevice::ReadOnly));
    const QByteArray text = svg.readAll();
    EXPECT_TRUE(text.contains("<path") || text.contains("<polyline"));
    EXPECT_FALSE(text.contains("<image"));

    EXPECT_EQ(runCifx({QStringLiteral("generate"), QStringLiteral("GLIF_Foam"),
                       QStringLiteral("32x32"), path("f.svg")})
                  .exitCode,
              2);
    EXPECT_FALSE(QFile::exists(path("f.svg")));
    EXPECT_EQ(runCifx({QStringLiteral("generate"), QStringLiteral("GLIF_Dabs"),
                       QStringLiteral("32x32"), path("d.png")})
                  .exitCode,
              0);
    EXPECT_EQ(runCifx({QStringLiteral("generate"), QStringLiteral("GLIF_Dabs"),
                       QStringLiteral("32x32"), path("e.png"), "--set", "GLIFBrush=no such brush"})
                  .exitCode,
              2);
}

}  // namespace
