// What every registered generator promises: its keys and description agree, it renders at
// odd sizes and at the ends of its published ranges, and equal seeds give equal pictures.

#include <gtest/gtest.h>

#include <QColor>

#include "generators/GLIFClassRegistry.h"
#include "tests/generators/GeneratorTestSupport.h"

namespace cif {
namespace {

// Every described input at its published minimum (or maximum, or default).
enum class End { Minimum, Maximum, Default };
QVariantMap parametersAt(const GLIFCoreObject& generator, End end) {
    QVariantMap parameters;
    const QVariantMap description = generator.GLIFQueryAttributes();
    for (auto it = description.cbegin(); it != description.cend(); ++it) {
        const QVariantMap d = it.value().toMap();
        const char* which = end == End::Minimum   ? "GLIFMinValue"
                            : end == End::Maximum ? "GLIFMaxValue"
                                                  : "GLIFDefValue";
        parameters.insert(it.key(), d.contains(which) ? d.value(which) : d.value("GLIFDefValue"));
    }
    // Brush generators take their brush beside the published inputs; the others ignore it.
    QImage brush(24, 16, QImage::Format_RGBA8888);
    brush.fill(QColor(0, 0, 0, 160));
    parameters.insert("GLIFBrush", QVariant::fromValue(HostImage::fromQImage(brush)));
    return parameters;
}

class GeneratorContractTest : public ::testing::TestWithParam<QString> {
protected:
    static void SetUpTestSuite() { registerGeneratorClasses(); }
};

TEST_P(GeneratorContractTest, DescribesEveryKeyItPublishesWithItsKind) {
    const auto generator = instantiateGLIFClass(GetParam());
    ASSERT_TRUE(generator);
    const QStringList keys = generator->GLIFQueryInputKeys();
    const QVariantMap description = generator->GLIFQueryAttributes();
    EXPECT_EQ(QStringList(keys).removeDuplicates(), 0);
    for (auto it = description.cbegin(); it != description.cend(); ++it) {
        EXPECT_TRUE(keys.contains(it.key())) << qPrintable(it.key());
        const QVariantMap d = it.value().toMap();
        if (it.key() == "GLIFBackgroundColor") {
            EXPECT_EQ(d.value("GLIFDefValue").typeId(), QMetaType::QColor);
            continue;
        }
        const QVariant lo = d.value("GLIFMinValue"), hi = d.value("GLIFMaxValue");
        EXPECT_EQ(lo.typeId(), hi.typeId()) << qPrintable(it.key());
        EXPECT_LE(lo.toDouble(), d.value("GLIFDefValue").toDouble()) << qPrintable(it.key());
        EXPECT_GE(hi.toDouble(), d.value("GLIFDefValue").toDouble()) << qPrintable(it.key());
    }
}

TEST_P(GeneratorContractTest, RendersOddSizesAndRangeEnds) {
    const auto generator = instantiateGLIFClass(GetParam());
    ASSERT_TRUE(generator);
    const QSize sizes[] = {{1, 1}, {3, 1000}, {4097, 3}, {61, 47}};
    for (End end : {End::Minimum, End::Maximum}) {
        const QVariantMap parameters = parametersAt(*generator, end);
        for (const QSize size : sizes) {
            const QImage picture =
                test::runGenerator(*generator, size.width(), size.height(), parameters, 7);
            EXPECT_EQ(picture.size(), size)
                << int(end) << " " << size.width() << "x" << size.height();
        }
    }
}

TEST_P(GeneratorContractTest, EqualSeedsGiveEqualPictures) {
    const auto a = instantiateGLIFClass(GetParam());
    const auto b = instantiateGLIFClass(GetParam());
    ASSERT_TRUE(a && b);
    const QVariantMap parameters = parametersAt(*a, End::Default);
    const QImage first = test::runGenerator(*a, 160, 120, parameters, 11);
    ASSERT_FALSE(first.isNull());
    EXPECT_EQ(first, test::runGenerator(*b, 160, 120, parameters, 11));
    // Something is drawn: not every pixel is the same.
    bool varied = false;
    for (int y = 0; y < first.height() && !varied; ++y)
        for (int x = 0; x < first.width() && !varied; ++x)
            varied = first.pixel(x, y) != first.pixel(0, 0);
    EXPECT_TRUE(varied);
}

INSTANTIATE_TEST_SUITE_P(All, GeneratorContractTest, ::testing::ValuesIn([] {
                             registerGeneratorClasses();
                             const QStringList names = registeredGLIFClasses();
                             return std::vector<QString>(names.begin(), names.end());
                         }()),
                         [](const ::testing::TestParamInfo<QString>& param) {
                             return param.param.toStdString();
                         });

}  // namespace
}  // namespace cif
