// The foam, tile and brush-dab generators: their tables, the random numbers they draw and
// the rules that decide which cells and stamps are painted.

#include <gtest/gtest.h>

#include <QPainter>

#include "generators/GLIFColorFunctions.h"
#include "generators/GLIF_Cafel.h"
#include "generators/GLIF_Dabs.h"
#include "generators/GLIF_Foam.h"
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

TEST(FoamTest, ThreeNumbersPerBubbleAndTheTableLimit) {
    GLIF_Foam foam;
    EXPECT_EQ(drawsOf(foam, 50, 40, {{"GLIFQuantity", 20}}), 60);
    LogCapture log;
    EXPECT_EQ(drawsOf(foam, 50, 40, {{"GLIFQuantity", 6000}}), 3 * 5001);
    EXPECT_EQ(log.lines(), QStringList{"GLIF_Foam: Error! Too many of spheres!"});
}

TEST(FoamTest, SquaresReachTheCornersDiscsLeave) {
    // Figure 1 fills whole squares, 0 the inscribed discs: one bubble covers more as a
    // square.
    GLIF_Foam foam;
    const auto covered = [&](int figure) {
        const QImage p = test::runGenerator(foam, 400, 400,
                                            {{"GLIFQuantity", 1},
                                             {"GLIFSize", 100},
                                             {"GLIFQuality", 10},
                                             {"GLIFIdFigure", figure},
                                             {"GLIFUseBackgroundColor", false}},
                                            21);
        long n = 0;
        for (int y = 0; y < 400; ++y)
            for (int x = 0; x < 400; ++x)
                n += p.pixelColor(x, y).alpha() > 128;
        return n;
    };
    EXPECT_GT(covered(1), covered(0));
}

TEST(CafelTest, TheCellJustBeforeIsNotCompared) {
    // On one pixel every cell lies at (0, 0): cells 0 and 1 are kept (1 is not compared with
    // 0), every later one is refused. Kept cells draw a colour seed, refused ones do not.
    GLIF_Cafel tiles;
    EXPECT_EQ(drawsOf(tiles, 1, 1, {{"GLIFQuantity", 5}}), 3 + 3 + 2 + 2 + 2);
    const std::vector<GLIF_Cafel::Cell>& cells = tiles.cells();
    ASSERT_EQ(cells.size(), 5u);
    EXPECT_GE(cells[0][0], 0);
    EXPECT_GE(cells[1][0], 0);
    for (size_t i = 2; i < 5; ++i)
        EXPECT_EQ(cells[i], (GLIF_Cafel::Cell{-1, -1, -1}));
}

TEST(CafelTest, CellsPaintTheirOwnColourAroundThemAndNoBackground) {
    GLIF_Cafel tiles;
    const QVariantMap p{{"GLIFQuantity", 30}, {"GLIFIdFigure", 0}, {"GLIFColorScheme", 7}};
    const QImage picture = test::runGenerator(tiles, 160, 120, p, 4);
    const std::vector<GLIF_Cafel::Cell> cells = tiles.cells();
    int checked = 0;
    for (const auto& c : cells) {
        if (c[0] < 0) continue;
        bool alone = true;
        for (const auto& o : cells)
            if (o[0] >= 0 && &o != &c && std::hypot(o[0] - c[0], o[1] - c[1]) < 6) alone = false;
        if (!alone) continue;
        const QColor own = computeSchemeColor(float(c[2]) * 4.656613e-10f, 0.0, 7);
        EXPECT_EQ(picture.pixelColor(c[0], 119 - c[1]).rgb(), own.rgb()) << c[0] << "," << c[1];
        ++checked;
    }
    EXPECT_GT(checked, 10);

    QVariantMap withBackground = p;
    withBackground.insert("GLIFUseBackgroundColor", true);
    withBackground.insert("GLIFBackgroundColor", QColor(Qt::red));
    EXPECT_EQ(test::runGenerator(tiles, 160, 120, withBackground, 4), picture);
    EXPECT_EQ(tiles.GLIFQueryInputKeys().size(), 7);
    EXPECT_EQ(tiles.GLIFQueryAttributes().size(), 5);
}

QImage roundBrush() {
    QImage brush(40, 30, QImage::Format_RGBA8888_Premultiplied);
    brush.fill(Qt::transparent);
    QPainter painter(&brush);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(Qt::black);
    painter.setPen(Qt::NoPen);
    painter.drawEllipse(QRectF(2, 2, 36, 26));
    return brush;
}

TEST(DabsTest, StampsDrawFourNumbersAndNeedABrush) {
    GLIF_Dabs dabs;
    const QVariant brush = QVariant::fromValue(HostImage::fromQImage(roundBrush()));
    EXPECT_EQ(drawsOf(dabs, 80, 60, {{"GLIFBrush", brush}, {"GLIFCountDabs", 40}}), 4 * 800);
    EXPECT_EQ(drawsOf(dabs, 80, 60, {{"GLIFBrush", brush}, {"GLIFCountDabs", 1}}), 0);

    const QVariantMap a{{"GLIFBrush", brush}, {"GLIFLength", 100}, {"GLIFType", 0}};
    const QVariantMap b{{"GLIFBrush", brush}, {"GLIFLength", 100}, {"GLIFType", 200}};
    const QImage first = test::runGenerator(dabs, 80, 60, a, 2);
    EXPECT_EQ(first, test::runGenerator(dabs, 80, 60, b, 2));
    // The stamps take scheme colours, not the brush's black.
    bool tinted = false;
    for (int y = 0; y < 60 && !tinted; ++y)
        for (int x = 0; x < 80 && !tinted; ++x) {
            const QColor c = first.pixelColor(x, y);
            tinted = c.alpha() == 255 && c.value() > 100;
        }
    EXPECT_TRUE(tinted);

    LogCapture log;
    std::srand(1);
    EXPECT_TRUE(dabs.GLIFOutputImageWidthHeightAttributes(nullptr, 80, 60, {}).isNull());
    EXPECT_EQ(log.lines(), QStringList{"Can't loaded resource"});
}

}  // namespace
}  // namespace cif
