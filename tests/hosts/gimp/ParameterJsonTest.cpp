// The JSON parameters of the GIMP plug-in's scripted runs, read against the
// real bundle: values reach the effect as the editor's own would, and every
// bad value is refused with a message naming it.

#include <gtest/gtest.h>
#include <QImage>

#include "ParameterJson.h"
#include "cif/CIFPlugInLoader.h"

namespace {

class ParameterJsonTest : public ::testing::Test {
protected:
    void SetUp() override {
        QString error;
        m_plugIn =
            cif::CIFLoadedPlugIn::load(QStringLiteral(CIF_BINARY_DIR "/CIFEffects.plugin"), &error);
        ASSERT_TRUE(m_plugIn) << error.toStdString();
        m_main = m_plugIn.factory()->createMain();
    }
    void TearDown() override { m_main.reset(); }

    QImage apply(const QString& identifier, const QString& json, const QImage& input) {
        QVariantMap parameters;
        QString error;
        EXPECT_TRUE(ParameterJson::effectParameters(*m_main, identifier, json, parameters, &error))
            << error.toStdString();
        return m_main
            ->CIFApplyFilterAttributesForImage(identifier, parameters,
                                               cif::HostImage::fromQImage(input))
            .bitmap()
            .convertToFormat(QImage::Format_RGB32);
    }

    cif::CIFLoadedPlugIn m_plugIn;
    std::unique_ptr<cif::CIFPlugIn> m_main;
};

TEST_F(ParameterJsonTest, ColoursAndVectorsReachTheEffect) {
    QImage blackWhite(2, 1, QImage::Format_RGB32);
    blackWhite.setPixel(0, 0, qRgb(0, 0, 0));
    blackWhite.setPixel(1, 0, qRgb(255, 255, 255));
    const QImage mapped = apply(QStringLiteral("CIFalseColor"),
                                QStringLiteral("{\"inputColor0\": [0, 0, 1], "
                                               "\"inputColor1\": \"#ff0000\"}"),
                                blackWhite);
    EXPECT_EQ(mapped.pixel(0, 0), qRgb(0, 0, 255));
    EXPECT_EQ(mapped.pixel(1, 0), qRgb(255, 0, 0));

    // A vignette centred near the bottom-left corner (origin bottom-left)
    // keeps that corner bright and darkens the top-right one.
    QImage white(32, 32, QImage::Format_RGB32);
    white.fill(Qt::white);
    const QImage vignette = apply(QStringLiteral("CIVignetteEffect"),
                                  QStringLiteral("{\"inputCenter\": [2, 2], \"inputRadius\": 12, "
                                                 "\"inputIntensity\": 1}"),
                                  white);
    EXPECT_GT(qGray(vignette.pixel(2, 29)), 200);
    EXPECT_LT(qGray(vignette.pixel(29, 2)), qGray(vignette.pixel(2, 29)) - 50);
}

TEST_F(ParameterJsonTest, GeneratorParametersKeepTheirKindAndSeed) {
    m_main->CIFSetEffectsSet(1);
    ParameterJson::GeneratorRun run;
    QString error;
    ASSERT_TRUE(ParameterJson::generatorParameters(
        *m_main, QStringLiteral("GLIF_Plasma"),
        QStringLiteral("{\"GLIFRandomSeed\": 2147483647, \"GLIFSmoothness\": 2}"), run, &error))
        << error.toStdString();
    EXPECT_EQ(run.seed, 2147483647u);
    EXPECT_EQ(run.parameters.value(QStringLiteral("GLIFSmoothness")).typeId(), QMetaType::Int);
    EXPECT_EQ(run.parameters.value(QStringLiteral("GLIFSmoothness")).toInt(), 2);
    // Parameters not given keep the published defaults.
    EXPECT_TRUE(run.parameters.contains(QStringLiteral("GLIFResolution")));
}

TEST_F(ParameterJsonTest, BadValuesAreRefusedWithAMessageNamingThem) {
    struct Case {
        const char* identifier;
        const char* json;
        const char* named;  // what the message must name
    };
    const Case cases[] = {
        {"CIGaussianBlur", "{\"inputRadius\": ", "JSON"},
        {"CIGaussianBlur", "[1, 2]", "object"},
        {"CIGaussianBlur", "{\"inputRadios\": 3}", "inputRadios"},
        {"CIGaussianBlur", "{\"inputRadius\": \"3\"}", "inputRadius"},
        {"CIFalseColor", "{\"inputColor0\": [2, 0, 0]}", "inputColor0"},
        {"CIFalseColor", "{\"inputColor0\": \"not a colour\"}", "inputColor0"},
        {"CIVignetteEffect", "{\"inputCenter\": [1, \"x\"]}", "inputCenter"},
        {"GLIF_Plasma", "{\"GLIFSmoothness\": 2.5}", "GLIFSmoothness"},
        {"GLIF_Plasma", "{\"GLIFRandomSeed\": -1}", "GLIFRandomSeed"},
        {"GLIF_Plasma", "{\"GLIFRandomSeed\": 1.5}", "GLIFRandomSeed"},
        {"GLIF_Plasma", "{\"GLIFNoSuchThing\": 1}", "GLIFNoSuchThing"},
        {"GLIF_Plasma", "{\"GLIFBrush\": \"/no/such/brush.png\"}", "GLIFBrush"},
    };
    for (const Case& c : cases) {
        const QString identifier = QString::fromLatin1(c.identifier);
        const bool generator = identifier.startsWith(QLatin1String("GLIF_"));
        m_main->CIFSetEffectsSet(generator ? 1 : 0);
        QString error;
        bool ok = false;
        if (generator) {
            ParameterJson::GeneratorRun run;
            ok = ParameterJson::generatorParameters(*m_main, identifier,
                                                    QString::fromLatin1(c.json), run, &error);
        } else {
            QVariantMap parameters;
            ok = ParameterJson::effectParameters(*m_main, identifier, QString::fromLatin1(c.json),
                                                 parameters, &error);
        }
        EXPECT_FALSE(ok) << c.json;
        EXPECT_TRUE(error.contains(QString::fromLatin1(c.named))) << error.toStdString();
    }
}

}  // namespace
