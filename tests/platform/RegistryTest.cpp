// The filter registry and the CIFilter facade: the built-ins' descriptions as
// the reference table gives them, category queries, registering filters of
// our own, how input values are checked against their description, and
// loading filter plug-in files.

#include <gtest/gtest.h>

#include <QColor>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QTemporaryDir>
#include <QTransform>
#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

#include "platform/CIPlatform.h"
#include "platform/image/CIContext.h"
#include "platform/image/CIFilter.h"
#include "platform/image/CIPlugIn.h"

namespace {

using namespace cif;

class Registry : public ::testing::Test {
protected:
    static void SetUpTestSuite() { initializePlatform(); }
};

QStringList categoriesOf(const QString& name) {
    return CIFilter::classAttributesForName(name)
        .value(kCIAttributeFilterCategories)
        .toStringList();
}

// ---------------------------------------------------------------- built-ins

TEST_F(Registry, UnknownNamesGiveNoFilter) {
    EXPECT_EQ(CIFilter::filterWithName("CINoSuchFilter"), nullptr);
    EXPECT_EQ(CIFilter::filterWithName(""), nullptr);
    EXPECT_EQ(CIFilter::filterWithName("ciaffinetransform"), nullptr);  // names are case-sensitive
    EXPECT_FALSE(CIFilter::isRegistered("CINoSuchFilter"));
    EXPECT_TRUE(CIFilter::classAttributesForName("CINoSuchFilter").isEmpty());
}

TEST_F(Registry, BuiltinsAreDescribedAsTheReferenceTableSays) {
    const QString video = "CICategoryVideo", still = "CICategoryStillImage",
                  builtIn = "CICategoryBuiltIn", interlaced = "CICategoryInterlaced",
                  nonSquare = "CICategoryNonSquarePixels", hdr = "CICategoryHighDynamicRange";
    const QStringList geometry{"CICategoryGeometryAdjustment", video, still, builtIn},
        tile{"CICategoryTileEffect", video, still, builtIn},
        composite{
            "CICategoryCompositeOperation", video, still, interlaced, nonSquare, hdr, builtIn},
        transformKeys{"inputImage", "inputTransform"},
        compositeKeys{"inputImage", "inputBackgroundImage"};
    const struct {
        const char* name;
        const char* displayName;
        QStringList categories;
        QStringList inputKeys;
    } table[] = {
        {"CIAffineTransform", "Affine Transform", geometry, transformKeys},
        {"CICrop", "Crop", geometry, {"inputImage", "inputRectangle"}},
        {"CIAffineClamp", "Affine Clamp", tile, transformKeys},
        {"CIAffineTile", "Affine Tile", tile, transformKeys},
        {"CIConstantColorGenerator",
         "Constant Color",
         {"CICategoryGenerator", video, still, builtIn},
         {"inputColor"}},
        {"CISourceOverCompositing", "Source Over", composite, compositeKeys},
        {"CIAdditionCompositing", "Addition", composite, compositeKeys},
        {"CIColorMatrix",
         "Color Matrix",
         {"CICategoryColorAdjustment", video, still, interlaced, nonSquare, builtIn},
         {"inputImage", "inputAVector", "inputBVector", "inputBiasVector", "inputGVector",
          "inputRVector"}},
        {"CIColorInvert",
         "Color Invert",
         {"CICategoryColorEffect", video, interlaced, nonSquare, still, builtIn},
         {"inputImage"}},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.name);
        const auto filter = CIFilter::filterWithName(row.name);
        ASSERT_NE(filter, nullptr);
        EXPECT_EQ(filter->name(), row.name);
        const QVariantMap attrs = filter->attributes();
        EXPECT_EQ(attrs.value(kCIAttributeFilterName).toString(), row.name);
        EXPECT_EQ(attrs.value(kCIAttributeFilterDisplayName).toString(), row.displayName);
        EXPECT_EQ(attrs.value(kCIAttributeFilterCategories).toStringList(), row.categories);
        EXPECT_EQ(filter->inputKeys(), row.inputKeys);
        EXPECT_EQ(filter->outputKeys(), QStringList{"outputImage"});
    }

    // Defaults come in the attribute's own class, and setDefaults puts them in place.
    const auto tiler = CIFilter::filterWithName("CIAffineTile");
    const QVariant identity = tiler->valueForKey("inputTransform");
    ASSERT_EQ(identity.metaType().id(), QMetaType::QTransform);
    EXPECT_TRUE(identity.value<QTransform>().isIdentity());

    const QVariant red =
        CIFilter::filterWithName("CIConstantColorGenerator")->valueForKey("inputColor");
    ASSERT_EQ(red.metaType(), QMetaType::fromType<CIColor>());
    EXPECT_EQ(red.value<CIColor>(), CIColor(1, 0, 0, 1));

    const auto matrix = CIFilter::filterWithName("CIColorMatrix");
    const QVariant g = matrix->valueForKey("inputGVector");
    ASSERT_EQ(g.metaType(), QMetaType::fromType<CIVector>());
    EXPECT_EQ(g.value<CIVector>(), (CIVector{0, 1, 0, 0}));
    EXPECT_EQ(matrix->attributes().value("inputAVector").toMap().value(kCIAttributeDisplayName),
              "Alpha Vector");
    EXPECT_FALSE(matrix->valueForKey("inputImage").isValid());

    // The crop's default rectangle is the infinite one: cropping changes nothing.
    const auto crop = CIFilter::filterWithName("CICrop");
    EXPECT_TRUE(CIImage::isInfiniteRect(
        crop->valueForKey("inputRectangle").value<CIVector>().CGRectValue()));
    QImage picture(5, 4, QImage::Format_RGBA8888_Premultiplied);
    picture.fill(Qt::green);
    crop->setValueForKey(picture, "inputImage");
    EXPECT_EQ(crop->outputImage().extent(), QRectF(0, 0, 5, 4));
}

TEST_F(Registry, BuiltinOutputsFollowTheirInputs) {
    // Without an image there is no output.
    const auto invert = CIFilter::filterWithName("CIColorInvert");
    EXPECT_FALSE(invert->valueForKey("outputImage").isValid());

    // The generator's default is opaque red everywhere.
    const QVariant out =
        CIFilter::filterWithName("CIConstantColorGenerator")->valueForKey("outputImage");
    ASSERT_EQ(out.metaType(), QMetaType::fromType<CIImage>());
    EXPECT_TRUE(out.value<CIImage>().isInfinite());
    CIContext context;
    const QImage pixel = context.createQImage(out.value<CIImage>(), QRectF(-1e6, 1e6, 1, 1));
    ASSERT_FALSE(pixel.isNull());
    EXPECT_EQ(pixel.pixel(0, 0), qRgb(255, 0, 0));

    // An affine transform given as a 6-number vector moves the image.
    const auto move = CIFilter::filterWithName("CIAffineTransform");
    QImage picture(5, 4, QImage::Format_RGBA8888_Premultiplied);
    picture.fill(Qt::green);
    move->setValueForKey(picture, "inputImage");
    move->setValueForKey(QVariant::fromValue(CIVector{1, 0, 0, 1, 10, -3}), "inputTransform");
    EXPECT_EQ(move->outputImage().extent(), QRectF(10, -3, 5, 4));
}

// ---------------------------------------------------------------- categories

TEST_F(Registry, CategoryQueriesNeedEveryCategory) {
    const QStringList all = CIFilter::filterNamesInCategories({});
    EXPECT_EQ(CIFilter::filterNamesInCategory(QString()), all);
    EXPECT_TRUE(std::is_sorted(all.begin(), all.end()));
    for (const char* name : {"CIAffineTransform", "CICrop", "CIAffineClamp", "CIAffineTile",
                             "CIConstantColorGenerator", "CISourceOverCompositing",
                             "CIAdditionCompositing", "CIColorMatrix", "CIColorInvert"})
        EXPECT_TRUE(all.contains(name)) << name;

    const QStringList tiles = CIFilter::filterNamesInCategory("CICategoryTileEffect");
    EXPECT_TRUE(tiles.contains("CIAffineClamp") && tiles.contains("CIAffineTile"));
    EXPECT_FALSE(tiles.contains("CIAffineTransform"));
    for (const QString& name : tiles)
        EXPECT_TRUE(categoriesOf(name).contains("CICategoryTileEffect"));

    // Interlaced and HDR together: only the compositing operators have both.
    const QStringList both =
        CIFilter::filterNamesInCategories({"CICategoryInterlaced", "CICategoryHighDynamicRange"});
    EXPECT_TRUE(both.contains("CISourceOverCompositing") && both.contains("CIAdditionCompositing"));
    EXPECT_FALSE(both.contains("CIColorMatrix"));  // interlaced only
    EXPECT_TRUE(std::is_sorted(both.begin(), both.end()));
    for (const QString& name : both) {
        EXPECT_TRUE(categoriesOf(name).contains("CICategoryInterlaced")) << name.toStdString();
        EXPECT_TRUE(categoriesOf(name).contains("CICategoryHighDynamicRange"))
            << name.toStdString();
    }
    EXPECT_TRUE(CIFilter::filterNamesInCategory("CICategoryNoSuchThing").isEmpty());
    EXPECT_TRUE(CIFilter::filterNamesInCategories({"CICategoryTileEffect", "CICategoryNoSuchThing"})
                    .isEmpty());
}

// ---------------------------------------------------------------- filters of our own

// Moves its image right by inputShift pixels.
class ShiftFilter final : public CIFilter {
public:
    CIImage outputImage() const override {
        const CIImage in = imageForKey(kCIInputImageKey);
        if (in.isNull()) return {};
        return in.imageByApplyingTransform(
            QTransform::fromTranslate(numberForKey("inputShift"), 0));
    }
};

QVariantMap numberAttribute(const QVariant& def, const QVariant& min, const QVariant& max) {
    QVariantMap a{{kCIAttributeClass, kCIClassNumber}, {kCIAttributeType, kCIAttributeTypeScalar}};
    if (def.isValid()) a.insert(kCIAttributeDefault, def);
    if (min.isValid()) a.insert(kCIAttributeMin, min);
    if (max.isValid()) a.insert(kCIAttributeMax, max);
    return a;
}

void registerShiftFilter(const QString& name, const QString& displayName) {
    QVariantMap attrs;
    attrs.insert(kCIAttributeFilterDisplayName, displayName);
    attrs.insert(kCIAttributeFilterCategories,
                 QStringList{"CICategoryTestOnly", kCICategoryDistortionEffect});
    attrs.insert("inputShift", numberAttribute(2.5, 0.0, 10.0));
    attrs.insert("inputCount", numberAttribute(3, 1, 8));
    attrs.insert("inputFlag", numberAttribute(false, QVariant(), QVariant()));
    attrs.insert("inputOffset",
                 QVariantMap{{kCIAttributeClass, kCIClassVector},
                             {kCIAttributeDefault, QVariant::fromValue(CIVector{1, 2})}});
    attrs.insert("inputTint", QVariantMap{{kCIAttributeClass, kCIClassColor}});
    attrs.insert("inputImage", QVariantMap{{kCIAttributeClass, kCIClassImage}});
    attrs.insert("inputTransform", QVariantMap{{kCIAttributeClass, kCIClassTransform}});
    attrs.insert("outputNote", QVariantMap{});   // not an input
    attrs.insert("inputVersion", QString("1"));  // not a description
    CIFilter::registerFilterNameConstructorClassAttributes(
        name, [](const QString&) { return std::make_unique<ShiftFilter>(); }, attrs);
}

TEST_F(Registry, FiltersOfOurOwnCanBeRegistered) {
    registerShiftFilter("CIFTestShift", "Shift");
    ASSERT_TRUE(CIFilter::isRegistered("CIFTestShift"));
    const auto filter = CIFilter::filterWithName("CIFTestShift");
    ASSERT_NE(filter, nullptr);
    EXPECT_EQ(filter->name(), "CIFTestShift");
    EXPECT_EQ(filter->inputKeys(),
              (QStringList{"inputImage", "inputCount", "inputFlag", "inputOffset", "inputShift",
                           "inputTint", "inputTransform"}));
    EXPECT_EQ(filter->attributes().value(kCIAttributeFilterDisplayName), "Shift");
    EXPECT_EQ(CIFilter::filterNamesInCategory("CICategoryTestOnly"), QStringList{"CIFTestShift"});
    EXPECT_EQ(filter->valueForKey("inputShift"), QVariant(2.5));
    EXPECT_EQ(filter->valueForKey("inputOffset").value<CIVector>(), (CIVector{1, 2}));

    QImage picture(3, 3, QImage::Format_RGBA8888_Premultiplied);
    picture.fill(Qt::blue);
    filter->setValueForKey(QVariant::fromValue(CIImage::imageWithQImage(picture)), "inputImage");
    filter->setValueForKey(4, "inputShift");
    EXPECT_EQ(filter->valueForKey("outputImage").value<CIImage>().extent(), QRectF(4, 0, 3, 3));

    // Registering the name again replaces the description.
    registerShiftFilter("CIFTestShift", "Shift Again");
    EXPECT_EQ(
        CIFilter::filterWithName("CIFTestShift")->attributes().value(kCIAttributeFilterDisplayName),
        "Shift Again");
}

TEST_F(Registry, InputValuesAreCheckedAgainstTheirDescription) {
    registerShiftFilter("CIFTestValues", "Values");
    const auto f = CIFilter::filterWithName("CIFTestValues");
    ASSERT_NE(f, nullptr);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();

    // Unknown keys and values of the wrong class are ignored.
    f->setValueForKey(1.0, "inputNoSuchKey");
    EXPECT_FALSE(f->valueForKey("inputNoSuchKey").isValid());
    f->setValueForKey(QColor(Qt::red), "inputShift");
    EXPECT_EQ(f->valueForKey("inputShift"), QVariant(2.5));
    f->setValueForKey("three", "inputShift");
    EXPECT_EQ(f->valueForKey("inputShift"), QVariant(2.5));
    f->setValueForKey(7.0, "inputImage");
    EXPECT_FALSE(f->valueForKey("inputImage").isValid());
    f->setValueForKey(QVariant::fromValue(CIVector{1, 2, 3, 4, 5}), "inputTransform");
    EXPECT_FALSE(f->valueForKey("inputTransform").isValid());
    f->setValueForKey("[1 2", "inputOffset");
    EXPECT_EQ(f->valueForKey("inputOffset").value<CIVector>(), (CIVector{1, 2}));

    // NaN becomes the default, infinities are refused, and finite values
    // outside the range are taken as given, keeping their kind.
    f->setValueForKey(25.0, "inputShift");
    EXPECT_EQ(f->valueForKey("inputShift"), QVariant(25.0));
    f->setValueForKey(nan, "inputShift");
    EXPECT_EQ(f->valueForKey("inputShift").toDouble(), 2.5);
    f->setValueForKey(-inf, "inputShift");
    f->setValueForKey("inf", "inputShift");
    EXPECT_EQ(f->valueForKey("inputShift").toDouble(), 2.5);
    f->setValueForKey(" 4.25 ", "inputShift");
    EXPECT_EQ(f->valueForKey("inputShift"), QVariant(4.25));
    f->setValueForKey(50, "inputCount");
    EXPECT_EQ(f->valueForKey("inputCount"), QVariant(50));
    EXPECT_EQ(f->valueForKey("inputCount").metaType().id(), QMetaType::Int);

    // A vector, colour or transform holding NaN becomes the default; one
    // holding an infinity is refused.
    f->setValueForKey(QVariant::fromValue(CIVector{7, 8}), "inputOffset");
    f->setValueForKey(QVariant::fromValue(CIVector{1, inf}), "inputOffset");
    EXPECT_EQ(f->valueForKey("inputOffset").value<CIVector>(), (CIVector{7, 8}));
    f->setValueForKey(QVariant::fromValue(CIVector{nan, 1}), "inputOffset");
    EXPECT_EQ(f->valueForKey("inputOffset"),
              f->attributes().value("inputOffset").toMap().value(kCIAttributeDefault));
    f->setValueForKey(QVariant::fromValue(CIColor(nan, 0, 0, 1)), "inputTint");
    EXPECT_EQ(f->valueForKey("inputTint"),
              f->attributes().value("inputTint").toMap().value(kCIAttributeDefault));
    f->setValueForKey(QTransform(1, 0, 0, 1, 2, 3), "inputTransform");
    f->setValueForKey(QTransform(1, 0, 0, 1, inf, 3), "inputTransform");
    EXPECT_EQ(f->valueForKey("inputTransform").value<QTransform>(), QTransform(1, 0, 0, 1, 2, 3));
    f->setValueForKey(true, "inputFlag");
    EXPECT_EQ(f->valueForKey("inputFlag").metaType().id(), QMetaType::Bool);

    // Other forms are converted into the input's class.
    f->setValueForKey(QPointF(3, 4), "inputOffset");
    EXPECT_EQ(f->valueForKey("inputOffset").value<CIVector>(), (CIVector{3, 4}));
    f->setValueForKey(QVariantList{1, 2.5, 3}, "inputOffset");
    EXPECT_EQ(f->valueForKey("inputOffset").value<CIVector>(), (CIVector{1, 2.5, 3}));
    f->setValueForKey(QVariant::fromValue(CIVector{0.1, 0.2, 0.3}), "inputTint");
    EXPECT_EQ(f->valueForKey("inputTint").value<CIColor>(), CIColor(0.1, 0.2, 0.3, 1));
    f->setValueForKey("0 0.5 1 0.25", "inputTint");
    EXPECT_EQ(f->valueForKey("inputTint").value<CIColor>(), CIColor(0, 0.5, 1, 0.25));
    f->setValueForKey("[1 0 0 1 7 8]", "inputTransform");
    EXPECT_EQ(f->valueForKey("inputTransform").value<QTransform>(), QTransform(1, 0, 0, 1, 7, 8));

    // An invalid value clears the input; setDefaults restores every default
    // and clears inputs that have none.
    f->setValueForKey(QVariant(), "inputShift");
    EXPECT_FALSE(f->valueForKey("inputShift").isValid());
    f->setDefaults();
    EXPECT_EQ(f->valueForKey("inputShift"), QVariant(2.5));
    EXPECT_EQ(f->valueForKey("inputCount"), QVariant(3));
    EXPECT_EQ(f->valueForKey("inputOffset").value<CIVector>(), (CIVector{1, 2}));
    EXPECT_FALSE(f->valueForKey("inputTint").isValid());
    EXPECT_FALSE(f->valueForKey("inputTransform").isValid());
}

// ---------------------------------------------------------------- plug-in files

TEST_F(Registry, PlugInFilesAreHandedToTheLoaderOfTheirSuffix) {
    QTemporaryDir first, second;
    ASSERT_TRUE(first.isValid() && second.isValid());
    auto write = [](const QString& path, const QByteArray& data) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(data);
    };
    write(QDir(first.path()).filePath("good.ciftest"), "CIFTestPlugInA");
    write(QDir(first.path()).filePath("broken.ciftest"), "");
    write(QDir(first.path()).filePath("notes.txt"), "CIFTestPlugInIgnored");
    write(QDir(first.path()).filePath("huge.ciftest"), QByteArray((1 << 20) + 1, 'x'));
    write(QDir(second.path()).filePath("UPPER.CIFTEST"), "CIFTestPlugInB");

    // The loader registers the filter named by the file; an empty file fails.
    auto seen = std::make_shared<QStringList>();
    CIPlugIn::registerFileLoader("ciftest", [seen](const QString& path, QString* error) {
        *seen << QFileInfo(path).fileName();
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) return false;
        const QString name = QString::fromUtf8(file.readAll());
        if (name.isEmpty()) {
            if (error) *error = "no filter name";
            return false;
        }
        CIFilter::registerFilterNameConstructorClassAttributes(
            name, [](const QString&) { return std::make_unique<ShiftFilter>(); },
            {{kCIAttributeFilterDisplayName, name}});
        return true;
    });
    const QByteArray saved = qgetenv("CIF_FILTER_PLUGIN_PATH");
    qputenv("CIF_FILTER_PLUGIN_PATH", (first.path() + ":" + second.path()).toUtf8());
    const QStringList dirs = CIPlugIn::plugInDirectories();
    const int loaded = CIPlugIn::loadAllPlugIns();
    qputenv("CIF_FILTER_PLUGIN_PATH", saved);

    ASSERT_GE(dirs.size(), 2);
    EXPECT_EQ(dirs[0], first.path());
    EXPECT_EQ(dirs[1], second.path());
    EXPECT_EQ(loaded, 2);
    seen->sort();
    EXPECT_EQ(*seen, (QStringList{"UPPER.CIFTEST", "broken.ciftest", "good.ciftest"}));
    EXPECT_TRUE(CIFilter::isRegistered("CIFTestPlugInA"));
    EXPECT_TRUE(CIFilter::isRegistered("CIFTestPlugInB"));
    EXPECT_FALSE(CIFilter::isRegistered("CIFTestPlugInIgnored"));
}

}  // namespace
