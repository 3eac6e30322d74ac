// The picture libraries, the default-parameter property list and the
// conversion of editor values into filter inputs.

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <cmath>

#include "core/CIFBundle.h"
#include "core/CIFMain.h"
#include "core/PropertyList.h"
#include "platform/CIPlatform.h"
#include "platform/image/CIAttributes.h"

namespace cif {
namespace {

class LibrariesTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        initializePlatform();
        CIFBundle::setPath(QStringLiteral(CIF_BINARY_DIR "/CIFEffects.plugin"));
        CIFBundle::setLanguage(QStringLiteral("en"));
    }
    void TearDown() override { qunsetenv("CIF_SHARED_CONTENT"); }

    // A shared content folder of our own, with small pictures at `paths`.
    void makeLibrary(const QStringList& paths) {
        for (const QString& path : paths) {
            const QString full = m_dir.filePath(path);
            QDir().mkpath(QFileInfo(full).path());
            if (path.endsWith('/')) continue;
            QImage image(4, 3, QImage::Format_ARGB32);
            image.fill(Qt::green);
            const QString suffix = QFileInfo(full).suffix().toLower();
            ASSERT_TRUE(image.save(full, suffix == "jpg" ? "JPEG" : "PNG")) << full.toStdString();
        }
        qputenv("CIF_SHARED_CONTENT", m_dir.path().toUtf8());
    }

    QTemporaryDir m_dir;
};

TEST_F(LibrariesTest, TopLevelLibrariesListFileNamesAndCacheTheirPictures) {
    // Frost.ppm is in a format the picture loader does not read.
    makeLibrary({"Textures/Glass Textures/Ice.jpg", "Textures/Glass Textures/ice.PNG",
                 "Textures/Glass Textures/Frost.ppm", "Textures/Glass Textures/Old/Inner.png",
                 "Textures/Shading Materials/Chrome.png", "Textures/Shading Materials/Amber.png",
                 "Textures/Shading Materials/Sand.png", "Textures/Shading Materials/zinc.png"});
    const CIFMain main;
    QStringList glass = main.CIFGlassTextureNames();
    glass.sort();
    EXPECT_EQ(glass, (QStringList{"Ice", "ice"}));
    const HostImage a = main.CIFGlassTextureWithName("Ice");
    ASSERT_FALSE(a.isNull());
    EXPECT_EQ(main.CIFGlassTextureWithName("Ice").bitmap().cacheKey(), a.bitmap().cacheKey());
    EXPECT_FALSE(main.CIFGlassTextureWithName("ice").isNull());  // the upper-case extension
    EXPECT_TRUE(main.CIFGlassTextureWithName("Old").isNull());
    EXPECT_EQ(main.CIFShadingMaterialNames().first(), "Sand");
    EXPECT_EQ(main.CIFShadingMaterialNames().mid(1), (QStringList{"Amber", "Chrome", "zinc"}));
}

TEST_F(LibrariesTest, PathLibrariesListRelativePathsAndMasksOnlyUnderImages) {
    makeLibrary({"Masks/Images/Disc.png", "Masks/images/deep/Ring.png", "Masks/Other/Star.png",
                 "Gradients/Warm/Sunset.png", "Gradients/Cold.png", "Backgrounds/Sky.jpg"});
    const CIFMain main;
    EXPECT_EQ(main.CIFMaskNames(), (QStringList{"Images/Disc.png", "images/deep/Ring.png"}));
    EXPECT_FALSE(main.CIFMaskWithName("Images/Disc.png").isNull());
    EXPECT_EQ(main.CIFGradientNames(), (QStringList{"Cold.png", "Warm/Sunset.png"}));
    EXPECT_EQ(main.CIFBackgroundNames(), QStringList{"Sky.jpg"});
    const QVariantMap storage = main.CIFImageStorage();
    EXPECT_TRUE(storage.contains("inputGradientImage"));
    EXPECT_TRUE(storage.contains("inputTargetImage"));
    EXPECT_TRUE(storage.contains("inputMaskImage"));
    EXPECT_FALSE(storage.contains("inputTexture"));  // no glass textures here
}

TEST_F(LibrariesTest, PropertyListReaderRefusesMalformedAndDeepInput) {
    QString error;
    const QVariant ok = PropertyList::fromXml(
        "<plist><dict><key>a</key><array><integer>3</integer><real>0.5</real><true/>"
        "<string>x</string></array></dict></plist>",
        &error);
    ASSERT_TRUE(ok.isValid()) << error.toStdString();
    const QVariantList list = ok.toMap().value("a").toList();
    EXPECT_EQ(list.at(0).typeId(), QMetaType::Int);
    EXPECT_EQ(list.at(1).typeId(), QMetaType::Double);
    EXPECT_EQ(list.at(2), QVariant(true));

    EXPECT_FALSE(
        PropertyList::fromXml("<plist><dict><string>x</string></dict></plist>", &error).isValid());
    EXPECT_FALSE(PropertyList::fromXml("<plist><dict><key>a</key>", &error).isValid());
    EXPECT_FALSE(PropertyList::fromXml("<plist><integer>x</integer></plist>", &error).isValid());
    QByteArray deep = "<plist>";
    for (int i = 0; i < 200; ++i)
        deep += "<array>";
    EXPECT_FALSE(PropertyList::fromXml(deep, &error).isValid());
    EXPECT_TRUE(error.contains("deeper")) << error.toStdString();
}

TEST_F(LibrariesTest, BundledDefaultsConvertByInputClass) {
    CIFMain main;
    const auto zoom = main.CIFDefaultParametersForFilterName("CIZoomBlur");
    ASSERT_TRUE(zoom);
    EXPECT_DOUBLE_EQ(zoom->value("inputAmount").toDouble(), 15);
    EXPECT_FALSE(main.CIFDefaultParametersForFilterName("NoSuchFilter"));

    QVariantMap values;
    main.addDefaultParametersToDictionaryWithFilterName(values, "CIAffineTransform");
    const QTransform t = values.value("inputTransform").value<QTransform>();
    // scale 0.8, angle 0.2: m11 = 0.8 cos 0.2, m21 = -0.8 sin 0.2.
    EXPECT_NEAR(t.m11(), 0.8 * std::cos(0.2), 1e-6);
    EXPECT_NEAR(t.m21(), -0.8 * std::sin(0.2), 1e-6);
    EXPECT_NEAR(t.m12(), 0.8 * std::sin(0.2), 1e-6);

    values.clear();
    main.addDefaultParametersToDictionaryWithFilterName(values, "CIConstantColorGenerator");
    const CIColor tangerine = values.value("inputColor").value<CIColor>();
    EXPECT_DOUBLE_EQ(tangerine.red(), 1.0);
    EXPECT_NEAR(tangerine.green(), 128 / 255.0, 1e-6);
}

TEST_F(LibrariesTest, PointAndVectorHelpers) {
    const CIFMain main;
    EXPECT_EQ(main.CIFMergeNewPointValueAndOldCIVector(QPointF(1, 2), CIVector{5, 6, 7}),
              (CIVector{1, 2, 7}));
    EXPECT_EQ(main.CIFMergeNewPointValueAndOldCIVector(QPointF(1, 2), CIVector{5, 6}),
              (CIVector{1, 2}));
    EXPECT_EQ(main.CIFMergeNewPointValueAndOldCIVector(QPointF(1, 2), CIVector{5}),
              (CIVector{1, 2, 0, 0}));
    EXPECT_EQ(main.CIFMergeCIVectorWithComponentNumValueInOldCIVector(2, 9, CIVector{1, 2, 3}),
              (CIVector{1, 2, 9}));
    EXPECT_EQ(main.CIFMergeCIVectorWithComponentNumValueInOldCIVector(5, 9, CIVector{1, 2}),
              (CIVector{1, 2}));
    const auto points = main.CIFDefaultPointsForFilterName("CIConstantColorGenerator");
    EXPECT_FALSE(points);
}

TEST_F(LibrariesTest, PrepareAttributesConvertsEditorValuesAndCorrectsFilters) {
    CIFMain main;
    ASSERT_TRUE(main.cachedFilterInstance("CIAffineTransform"));
    QImage pixels(40, 20, QImage::Format_ARGB32_Premultiplied);
    pixels.fill(Qt::red);
    const CIImage picture = CIImage::imageWithQImage(pixels);
    const QVariantMap prepared = main.prepareAttributes(
        {{"inputColor", QColor(255, 0, 0, 128)},
         {"GLIFRandomSeed", 42},
         {"inputImage", QVariant::fromValue(picture)},
         {"CIFOffsets", QVariantMap{{"inputOffset", QVariantMap{{"radius", 10}}}}},
         {"CIFVectors", QVariantMap{{"inputTransform", QVariantMap{}}}}});
    EXPECT_NEAR(prepared.value("inputColor").value<CIColor>().alpha(), 128 / 255.0, 1e-6);
    EXPECT_EQ(prepared.value("GLIFRandomSeed"), QVariant(42));
    EXPECT_EQ(prepared.value("inputOffset").value<CIVector>(), (CIVector{10, 0}));

    // An offset keeps the angle of the vector already given when only the
    // radius changes.
    const QVariantMap kept = main.prepareAttributes(
        {{"inputOffset", QVariant::fromValue(CIVector{0, 3})},
         {"CIFOffsets", QVariantMap{{"inputOffset", QVariantMap{{"radius", 2}}}}}});
    const CIVector offset = kept.value("inputOffset").value<CIVector>();
    EXPECT_NEAR(offset.X(), 0, 1e-6);
    EXPECT_NEAR(offset.Y(), 2, 1e-6);

    main.cachedFilterInstance("CIKaleidoscope");
    EXPECT_DOUBLE_EQ(main.prepareAttributes({{"inputCount", 0.4}}).value("inputCount").toDouble(),
                     1.0);
    EXPECT_DOUBLE_EQ(main.prepareAttributes({{"inputCount", -3}}).value("inputCount").toDouble(),
                     -3);
    main.cachedFilterInstance("CITorusLensDistortion");
    EXPECT_DOUBLE_EQ(
        main.prepareAttributes({{"inputRefraction", 0}}).value("inputRefraction").toDouble(),
        0.0001);
    main.cachedFilterInstance("CISwipeTransition");
    EXPECT_EQ(main.prepareAttributes({{"inputImage", QVariant::fromValue(picture)}})
                  .value("inputExtent")
                  .value<CIVector>(),
              (CIVector{0, 0, 40, 20}));
}

TEST_F(LibrariesTest, SecondaryPicturesAreStretchedOverTheMainPicture) {
    CIFMain main;
    CIFilter* filter = main.cachedFilterInstance("CISourceOverCompositing");
    ASSERT_TRUE(filter);
    QImage big(80, 40, QImage::Format_ARGB32_Premultiplied), small(8, 8, big.format());
    big.fill(Qt::red);
    small.fill(Qt::blue);
    filter->setValueForKey(QVariant::fromValue(CIImage::imageWithQImage(big)), kCIInputImageKey);
    const QVariantMap prepared = main.prepareAttributes(
        {{"inputBackgroundImage", QVariant::fromValue(HostImage::fromQImage(small))},
         {"inputTexture", QVariant::fromValue(HostImage::fromQImage(small))}});
    // Scaled to 80 x 40, then moved by the main extent's origin minus itself.
    EXPECT_EQ(prepared.value("inputBackgroundImage").value<CIImage>().extent(),
              QRectF(0, 0, 80, 40));
    EXPECT_EQ(prepared.value("inputTexture").value<CIImage>().extent(), QRectF(0, 0, 8, 8));
}

}  // namespace
}  // namespace cif
