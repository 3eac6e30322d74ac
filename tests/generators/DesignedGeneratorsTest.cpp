// The shard, radial and shape generators: the inputs the editor's pages expect, the kept
// field of the radial generator, the random numbers each draws and their failure line.

#include <gtest/gtest.h>

#include <QColor>
#include <QtGlobal>

#include <vector>

#include "generators/GLIFColorFunctions.h"
#include "generators/GLIF_AbstractLines.h"
#include "generators/GLIF_RadialPlasma.h"
#include "generators/GLIF_Shapes.h"
#include "tests/generators/GeneratorTestSupport.h"

namespace cif {
namespace {

class LogCapture {
public:
    LogCapture() {
        s_lines.clear();
        m_previous = qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext&, const QString& text) { s_lines << text; });
    }
    ~LogCapture() { qInstallMessageHandler(m_previous); }
    const QStringList& lines() const { return s_lines; }

private:
    static inline QStringList s_lines;
    QtMessageHandler m_previous;
};

template <class G>
long drawsOf(G& generator, int w, int h, const QVariantMap& attributes) {
    return test::randomDraws(
        12, [&] { generator.GLIFOutputImageWidthHeightAttributes(nullptr, w, h, attributes); });
}

std::vector<double> fieldOf(GLIFCoreObject& generator, int cells) {
    const double* f = generator.GLIFPrefetchBuffer();
    return f ? std::vector<double>(f, f + cells) : std::vector<double>();
}

TEST(DesignedGeneratorsTest, PublishTheKeysTheirEditorPagesRefresh) {
    const auto check = [](const GLIFCoreObject& g, const QStringList& keys) {
        const QVariantMap description = g.GLIFQueryAttributes();
        for (const QString& key : keys) {
            const QVariant def = description.value(key).toMap().value("GLIFDefValue");
            EXPECT_TRUE(def.typeId() == QMetaType::Int || def.typeId() == QMetaType::Double)
                << qPrintable(g.className()) << " " << qPrintable(key);
        }
    };
    check(GLIF_AbstractLines(), {"GLIFWidthLine", "GLIFCountLines"});
    check(GLIF_RadialPlasma(), {"GLIFRoughness", "GLIFFadeOut"});
    check(GLIF_Shapes(), {"GLIFShapesType", "GLIFCount"});
}

TEST(RadialPlasmaTest, ColoursAloneRecolourTheKeptFieldWithoutDrawing) {
    GLIF_RadialPlasma radial;
    const QVariantMap attributes{{"GLIFRoughness", 6}, {"GLIFFadeOut", 0.0}};
    EXPECT_GT(drawsOf(radial, 64, 48, attributes), 0);
    const std::vector<double> field = fieldOf(radial, 64 * 48);
    ASSERT_EQ(field.size(), size_t(64 * 48));

    QVariantMap recoloured = attributes;
    recoloured.insert("GLIFColorRangeMin", 0.2);
    recoloured.insert("GLIFColorRangeMax", 0.9);
    EXPECT_EQ(drawsOf(radial, 64, 48, recoloured), 0);
    EXPECT_EQ(fieldOf(radial, 64 * 48), field);
    const QImage picture = test::runGenerator(radial, 64, 48, recoloured, 5);
    // Row by row from the bottom; without a fade every pixel is opaque.
    for (int y = 0; y < 48; y += 5)
        for (int x = 0; x < 64; x += 7) {
            unsigned char c[4];
            computeColorToMem(c, field[size_t(y * 64 + x)], 0.2, 0.9);
            EXPECT_EQ(picture.pixelColor(x, 47 - y), QColor(c[0], c[1], c[2], 255))
                << x << "," << y;
        }

    QVariantMap rougher = attributes;
    rougher.insert("GLIFRoughness", 2);
    EXPECT_GT(drawsOf(radial, 64, 48, rougher), 0);
    EXPECT_NE(fieldOf(radial, 64 * 48), field);
}

TEST(RadialPlasmaTest, FadedOutCellsKeepTheirByteFillAndShowTheBackground) {
    GLIF_RadialPlasma radial;
    const QVariantMap faded{{"GLIFFadeOut", 1.0}};
    const QImage picture = test::runGenerator(radial, 60, 40, faded, 3);
    const std::vector<double> field = fieldOf(radial, 60 * 40);
    ASSERT_EQ(field.size(), size_t(60 * 40));
    // The corners lie outside the disc of radius 20 about (30, 20).
    EXPECT_EQ(field[0], 32.501960784313724);
    EXPECT_EQ(field[60 * 40 - 1], 32.501960784313724);
    EXPECT_EQ(picture.pixelColor(0, 0).alpha(), 0);
    EXPECT_LE(field[20 * 60 + 30], 1.0);
    EXPECT_GT(picture.pixelColor(30, 20).alpha(), 200);
    // Halfway out, half opaque.
    EXPECT_NEAR(picture.pixelColor(40, 19).alpha(), 128, 8);

    QVariantMap backed = faded;
    backed.insert("GLIFUseBackgroundColor", true);
    backed.insert("GLIFBackgroundColor", QColor(Qt::blue));
    EXPECT_EQ(drawsOf(radial, 60, 40, backed), 0);  // a colour key only
    const QImage onBlue = test::runGenerator(radial, 60, 40, backed, 3);
    EXPECT_EQ(onBlue.pixelColor(0, 0), QColor(Qt::blue));
    EXPECT_EQ(onBlue.pixelColor(40, 19).alpha(), 255);
}

TEST(AbstractLinesTest, CutsPartitionThePictureAndGapsShowTheLineColour) {
    std::srand(4);
    const std::vector<QPolygonF> shards = GLIF_AbstractLines::divide(QRectF(0, 0, 300, 200), 30);
    EXPECT_GE(shards.size(), 25u);
    EXPECT_LE(shards.size(), 31u);
    double area = 0;
    for (const QPolygonF& s : shards) {
        double a = 0;
        for (qsizetype i = 0; i < s.size(); ++i)
            a += s[i].x() * s[(i + 1) % s.size()].y() - s[(i + 1) % s.size()].x() * s[i].y();
        area += std::abs(a) / 2;
    }
    EXPECT_NEAR(area, 300.0 * 200.0, 1e-6);

    // Four numbers per cut and one per shard.
    GLIF_AbstractLines lines;
    const QVariantMap p{{"GLIFCountLines", 30},
                        {"GLIFWidthLine", 8.0},
                        {"GLIFUseBackgroundColor", true},
                        {"GLIFBackgroundColor", QColor(Qt::red)}};
    std::srand(12);
    const size_t made = GLIF_AbstractLines::divide(QRectF(0, 0, 300, 200), 30).size();
    EXPECT_EQ(drawsOf(lines, 300, 200, p), long(4 * 30 + made));

    // Shards stand back half the width from every edge, the picture's too.
    const QImage picture = test::runGenerator(lines, 300, 200, p, 4);
    for (const auto& [x, y] : {std::pair{1, 100}, {298, 50}, {150, 1}, {150, 198}})
        EXPECT_EQ(picture.pixelColor(x, y), QColor(Qt::red)) << x << "," << y;
    QVariantMap open = p;
    open.insert("GLIFUseBackgroundColor", false);
    EXPECT_EQ(test::runGenerator(lines, 300, 200, open, 4).pixelColor(1, 100).alpha(), 0);
}

TEST(ShapesTest, NumbersPerShapeAndTheFailureLine) {
    GLIF_Shapes shapes;
    EXPECT_EQ(drawsOf(shapes, 80, 60, {{"GLIFCount", 12}, {"GLIFShapesType", 6}}), 5 * 12);
    EXPECT_EQ(drawsOf(shapes, 80, 60, {{"GLIFCount", 12}, {"GLIFShapesType", 3}}), 4 * 12);
    LogCapture log;
    EXPECT_TRUE(shapes.GLIFOutputImageWidthHeightAttributes(nullptr, 40000, 10, {}).isNull());
    EXPECT_EQ(log.lines(), QStringList{"GLIF_Shapes: can't generate"});
}

}  // namespace
}  // namespace cif
