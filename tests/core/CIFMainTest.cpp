// The principal object and its catalogs, built in-process against the bundle
// the build assembles (for its strings table).

#include <gtest/gtest.h>

#include <QCollator>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <cmath>
#include <stdexcept>

#include "core/CIFBundle.h"
#include "core/CIFEditorInterface.h"
#include "core/CIFKeys.h"
#include "core/CIFMain.h"
#include "core/QCCompositionRepository.h"
#include "generators/GLIFClassRegistry.h"
#include "platform/CIPlatform.h"
#include "platform/image/CIAttributes.h"

namespace cif {
namespace {

// Captures the warnings logged while it lives.
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

class CIFMainTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        initializePlatform();
        CIFBundle::setPath(QStringLiteral(CIF_BINARY_DIR "/CIFEffects.plugin"));
        CIFBundle::setLanguage(QStringLiteral("en"));
    }
    void TearDown() override {
        setAppKitVersionNumber(kAppKitVersionNumber);
        CIFBundle::setLanguage(QStringLiteral("en"));
    }

    static QVariantList entries(const CIFMain& main, int category) {
        return main.CIFAllFilterDescriptors().at(category).toMap().value(CIFFilterList).toList();
    }
    static QStringList identifiers(const QVariantList& list) {
        QStringList ids;
        for (const QVariant& e : list)
            ids << e.toMap().value(CIFFilterIdentifier).toString();
        return ids;
    }
};

const QStringList kFixedCategories = {
    "Crop",     "Transform", "Color",  "Focus",   "Distortion",          "Style",
    "Halftone", "Tile",      "Lumine", "Overlap", "Composite Operations"};

TEST_F(CIFMainTest, NewerAndOlderCatalogsDifferOnlyWhereTheTablesSay) {
    const CIFMain newer;
    EXPECT_EQ(newer.CIFCategories().mid(0, 11), kFixedCategories);
    EXPECT_EQ(newer.CIFFilterCountForCategoryAtIndex(3), 7);   // Focus
    EXPECT_EQ(newer.CIFFilterCountForCategoryAtIndex(7), 10);  // Tile
    EXPECT_TRUE(identifiers(entries(newer, 3)).contains("BlurFilters"));
    EXPECT_EQ(identifiers(*newer.CIFFiltersDescriptorForGroup("BlurFilters")),
              (QStringList{"CIGaussianBlur", "CIBoxBlur", "CIDiscBlur"}));

    setAppKitVersionNumber(948.9);
    const CIFMain older;
    EXPECT_EQ(older.CIFCategories().mid(0, 11), kFixedCategories);
    EXPECT_EQ(older.CIFFilterCountForCategoryAtIndex(3), 7);
    EXPECT_EQ(older.CIFFilterCountForCategoryAtIndex(7), 7);
    const auto gaussian = older.CIFDescriptorForFilterName("CIGaussianBlur");
    ASSERT_TRUE(gaussian);
    EXPECT_EQ(gaussian->value(CIFTag).typeId(), QMetaType::Int);
    EXPECT_EQ(gaussian->value(CIFTag).toInt(), 0);
    EXPECT_EQ(gaussian->value(CIFFilterMaxValue).typeId(), QMetaType::Int);
    EXPECT_FALSE(identifiers(entries(older, 2)).contains("CIComicEffect"));
    EXPECT_FALSE(identifiers(entries(older, 7)).contains("TiledTextures"));
}

TEST_F(CIFMainTest, DescriptorsKeepTheKindOfEveryValue) {
    const CIFMain main;
    const auto crop = main.CIFDescriptorForFilterName("Crop");
    ASSERT_TRUE(crop);
    EXPECT_EQ(crop->value(CIFFilterStyle).toInt(), 255);
    EXPECT_EQ(crop->value("CIFFilterDefValue1").typeId(), QMetaType::Int);
    EXPECT_FALSE(crop->contains("CIFFilterDefValue4"));

    const auto zoom = main.CIFDescriptorForFilterName("CIZoomBlur");
    ASSERT_TRUE(zoom);
    EXPECT_EQ(zoom->value(CIFTag).typeId(), QMetaType::QString);
    EXPECT_EQ(zoom->value(CIFTag).toString(), "50");
    EXPECT_FALSE(zoom->contains("CIFFilterDefValue1"));

    const auto mod = main.CIFDescriptorForFilterName("CIModTransition");
    ASSERT_TRUE(mod);
    EXPECT_EQ(mod->value("CIFFilterDefValue4").typeId(), QMetaType::Double);
    EXPECT_DOUBLE_EQ(mod->value("CIFFilterDefValue4").toDouble(), 0.2);

    const auto twelve = main.CIFDescriptorForFilterNameWithGroups("CITwelvefoldReflectedTile");
    ASSERT_TRUE(twelve);
    EXPECT_EQ(twelve->value(CIFTag), QVariant(QStringLiteral("32")));
    EXPECT_FALSE(twelve->contains("CIFFilterDefValue1"));
    const auto sixfold = main.CIFDescriptorForFilterNameWithGroups("CISixfoldRotatedTile");
    ASSERT_TRUE(sixfold);
    EXPECT_EQ(sixfold->value(CIFTag), QVariant(32));

    const auto perspective = main.CIFDescriptorForFilterName("CIPerspectiveTransform");
    ASSERT_TRUE(perspective);
    EXPECT_EQ(perspective->value(CIFMultiPoints).toString(), "YES");
    const auto group = main.CIFDescriptorForFilterName("TiledTextures");
    ASSERT_TRUE(group);
    EXPECT_FALSE(group->contains(CIFFilterIcon));
    EXPECT_EQ(group->value(GROUP_TAG).toInt(), 1);
}

TEST_F(CIFMainTest, CategoriesAreSortedByLocalisedNameButGroupsKeepTheirOrder) {
    for (const QString& language : {QStringLiteral("en"), QStringLiteral("de")}) {
        CIFBundle::setLanguage(language);
        const CIFMain main;
        for (int c = 1; c < 10; ++c) {
            const QVariantList list = entries(main, c);
            for (int i = 1; i < list.size(); ++i) {
                const QString a =
                    main.localizedString(list[i - 1].toMap()[CIFFilterName].toString());
                const QString b = main.localizedString(list[i].toMap()[CIFFilterName].toString());
                EXPECT_LE(QString::compare(a, b, Qt::CaseInsensitive), 0)
                    << language.toStdString() << ": " << a.toStdString() << " before "
                    << b.toStdString();
            }
        }
        EXPECT_EQ(identifiers(*main.CIFFiltersDescriptorForGroup("ReflectedTextures")),
                  (QStringList{"CIEightfoldReflectedTile", "CITwelvefoldReflectedTile",
                               "CISixfoldReflectedTile", "CISixfoldRotatedTile"}));
    }
    // Names marked to be localised when built are stored translated.
    CIFBundle::setLanguage(QStringLiteral("de"));
    const CIFMain german;
    const auto lanczos = german.CIFDescriptorForFilterName("CILanczosScaleTransform");
    ASSERT_TRUE(lanczos);
    EXPECT_NE(lanczos->value(CIFFilterName).toString(), "Lanczos Scale");
    EXPECT_EQ(german.CIFDescriptorForFilterName("CIZoomBlur")->value(CIFFilterName), "Zoom Blur");
}

TEST_F(CIFMainTest, FlatListSeparatorsAndIdentifiers) {
    const CIFMain main;
    const int categories = main.CIFFilterCategoriesCount();
    const int first = main.CIFFilterCountForCategoryAtIndex(0);
    EXPECT_EQ(main.CIFFilterCountBySkipCategory(), main.CIFFilterCount() + categories - 1);
    const QStringList all = main.CIFAllFilterIdentifiers();
    EXPECT_EQ(all.size(), main.CIFFilterCountBySkipCategory());
    EXPECT_EQ(all.at(first), NSToolbarSeparatorItemIdentifier);
    EXPECT_EQ(all.count(NSToolbarSeparatorItemIdentifier), categories - 1);

    EXPECT_TRUE(main.CIFFilterNameAtIndexSkipCategories(first, false).isNull());
    EXPECT_FALSE(main.CIFFilterDescAtIndexSkipCategories(first, false));
    EXPECT_EQ(main.CIFFilterNameAtIndexSkipCategories(first, true),
              main.CIFFilterNameAtIndexForCategoryIndex(0, 1));
    EXPECT_EQ(main.CIFFilterIdentifierAtIndexSkipCategories(first + 1, false),
              main.CIFFilterIdentifierAtIndexForCategoryIndex(0, 1));
    const auto desc = main.CIFFilterDescAtIndexSkipCategories(first + 1, false);
    ASSERT_TRUE(desc);
    EXPECT_EQ(desc->value("filterCategory").toString(), "Transform");
    EXPECT_TRUE(main.CIFFilterNameAtIndexSkipCategories(main.CIFFilterCount(), true).isNull());
    EXPECT_TRUE(main.CIFFilterNameAtIndexSkipCategories(-1, true).isNull());

    // Every flat index with separators agrees with the identifier list.
    for (int i = 0; i < all.size(); ++i) {
        const QString id = main.CIFFilterIdentifierAtIndexSkipCategories(i, false);
        EXPECT_EQ(id.isNull() ? NSToolbarSeparatorItemIdentifier : id, all.at(i));
    }

    EXPECT_EQ(main.CIFCategoryNameWithinFilterNameAtIndex(first), main.CIFCategoryNameAtIndex(1));
    EXPECT_THROW(main.CIFCategoryNameWithinFilterNameAtIndex(0), std::out_of_range);
    EXPECT_THROW(main.CIFCategoryNameAtIndex(categories), std::out_of_range);
    EXPECT_THROW(main.CIFFilterNameAtIndexForCategoryIndex(first, 0), std::out_of_range);
    EXPECT_THROW(main.CIFFilterCountForCategoryAtIndex(-1), std::out_of_range);
}

TEST_F(CIFMainTest, LookupsWithAndWithoutGroups) {
    const CIFMain main;
    EXPECT_TRUE(main.CIFFilterNameForID("CIBoxBlur").isNull());
    EXPECT_EQ(main.CIFFilterNameForID("BlurFilters"), "Blur");
    EXPECT_EQ(main.CIFFilterNameForID("CIFSobel"), "Sobel");
    EXPECT_FALSE(main.CIFDescriptorForFilterName("CIBoxBlur"));
    const auto box = main.CIFDescriptorForFilterNameWithGroups("CIBoxBlur");
    ASSERT_TRUE(box);
    EXPECT_EQ(box->value(CIFTag).toInt(), 33);
    // With groups, a group entry is replaced by its members.
    EXPECT_FALSE(main.CIFDescriptorForFilterNameWithGroups("BlurFilters"));
    EXPECT_FALSE(main.CIFFiltersDescriptorForGroup("CIBloom"));
    EXPECT_FALSE(main.CIFFiltersDescriptorForGroup("NoSuchGroup"));
    const auto composites = main.CIFFiltersDescriptorForGroup("CompositeFilters");
    ASSERT_TRUE(composites);
    EXPECT_TRUE(identifiers(*composites).contains("CISourceOverCompositing"));
}

TEST_F(CIFMainTest, EffectsSetsAndGeneratorCatalog) {
    CIFMain main;
    {
        LogCapture log;
        main.CIFSetEffectsSet(2);
        ASSERT_EQ(log.lines().size(), 1);
        EXPECT_EQ(log.lines().first(), "CIF Effects Set 2 Not Supported");
    }
    EXPECT_EQ(main.CIFCategoryNameAtIndex(0), "Crop");
    main.CIFSetEffectsSet(1);
    EXPECT_EQ(main.CIFCategories(),
              (QStringList{"Other", "Science", "Lines & Fields", "Gradient", "Laying"}));
    EXPECT_EQ(main.CIFFilterCount(), 20);
    EXPECT_EQ(main.CIFFilterCountBySkipCategory(), 24);
    EXPECT_EQ(identifiers(entries(main, 1)),
              (QStringList{"GLIF_Foam", "GLIF_Plasma", "GLIF_Biomorph", "GLIF_CircleRipples",
                           "GLIF_Texture"}));
    const auto plasma = main.CIFDescriptorForFilterName("GLIF_Plasma");
    ASSERT_TRUE(plasma);
    EXPECT_EQ(plasma->value(CIFBits), QVariant(2));
    EXPECT_EQ(plasma->value(CIFFilterMaxValue), QVariant(500.0));
    EXPECT_EQ(plasma->value("CIFFilterDefValue3"), QVariant(0));
}

TEST_F(CIFMainTest, SettingsVersionsAndSmallHelpers) {
    CIFMain main;
    main.CIFSetBackgroundColor(QColor::fromRgbF(0.2f, 0.4f, 0.6f, 0.5f));
    EXPECT_FLOAT_EQ(main.backgroundColor().alphaF(), 1.0f);
    EXPECT_NEAR(main.backgroundColor().greenF(), 0.4, 1e-4);
    EXPECT_EQ(main.CIFMajorPlugInVersion(), 2u);
    EXPECT_EQ(main.CIFMinorPlugInVersion(), 3u);
    EXPECT_EQ(main.CIFCopyrightString(), "Core Image Filter PlugIn");
    EXPECT_EQ(main.localizedString("No Such Key"), "No Such Key");

    float radius = 0, angle = 0;
    CIFMain::decart_to_polar(0, -2, &radius, &angle);
    EXPECT_FLOAT_EQ(radius, 2);
    EXPECT_FLOAT_EQ(angle, float(-M_PI / 2));
    CIFMain::decart_to_polar(-1, 0, &radius, &angle);
    EXPECT_FLOAT_EQ(angle, float(M_PI));
}

class TestGenerator final : public GLIFCoreObject {
public:
    explicit TestGenerator(QString name) : m_name(std::move(name)) {}
    QString className() const override { return m_name; }
    QStringList GLIFQueryInputKeys() const override { return {"GLIFCount"}; }

private:
    QString m_name;
};

TEST_F(CIFMainTest, GeneratorInstancesAreCachedByClassName) {
    registerGLIFClass("GLIF_TestA", [] { return std::make_unique<TestGenerator>("GLIF_TestA"); });
    registerGLIFClass("GLIF_TestB", [] { return std::make_unique<TestGenerator>("GLIF_TestB"); });
    CIFMain main;
    GLIFCoreObject* a = main.GLIFSmartInstanceFromName("GLIF_TestA");
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(main.GLIFSmartInstanceFromName("GLIF_TestA"), a);
    GLIFCoreObject* b = main.GLIFSmartInstanceFromName("GLIF_TestB");
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(b->className(), "GLIF_TestB");
    EXPECT_EQ(main.CIFQueryInputKeysForFilter("GLIF_TestB"), QStringList{"GLIFCount"});
    LogCapture log;
    EXPECT_EQ(main.GLIFSmartInstanceFromName("GLIF_Nothing"), nullptr);
    EXPECT_EQ(log.lines(), QStringList{"can't instantiate class 'GLIF_Nothing'"});
}

TEST_F(CIFMainTest, FilterQueriesGoThroughTheRegistry) {
    CIFMain main;
    EXPECT_EQ(main.CIFQueryInputKeysForFilter("CISourceOverCompositing"),
              (QStringList{"inputImage", "inputBackgroundImage"}));
    EXPECT_EQ(main.CIFQueryOutputKeysForFilter("CICrop"), QStringList{"outputImage"});
    EXPECT_EQ(main.CIFQueryAttributesForFilter("CIFSobel").value(kCIAttributeFilterDisplayName),
              "Sobel Filter");
    EXPECT_TRUE(main.CIFQueryInputKeysForFilter("CINoSuchFilter").isEmpty());
}

class FakeEditor final : public CIFImageEditor {
public:
    int startEditorUseSelectionWithRect(const HostImage& image, bool useSelection,
                                        const QRectF& rect) override {
        m_output = image;
        m_selected = useSelection;
        m_rect = rect;
        return 1;
    }
    int startGeneratorWithRect(const QVariant&, const QRectF&) override { return 0; }
    HostImage outputImage() const override { return m_output; }
    bool isSelected() const override { return m_selected; }
    QRectF getSelectedRect() const override { return m_rect; }

private:
    HostImage m_output;
    bool m_selected = false;
    QRectF m_rect;
};

TEST_F(CIFMainTest, DialogsAnswerFromTheEditorOrSayThereIsNone) {
    CIFMain main;
    QImage picture(8, 6, QImage::Format_ARGB32_Premultiplied);
    picture.fill(Qt::red);
    const HostImage image = HostImage::fromQImage(picture);
    {
        LogCapture log;
        EXPECT_FALSE(main.CIFShowDialogUseSelectionWithRect(image, true, QRectF(1, 1, 2, 2)));
        EXPECT_EQ(log.lines(), QStringList{"Can't load image editor"});
        EXPECT_FALSE(main.GLIFShowDialogWithRect({}, QRectF(0, 0, 10, 10)));
        EXPECT_EQ(log.lines().size(), 1);  // the generator dialog fails silently
    }
    EXPECT_TRUE(main.CIFOutputImage().isNull());
    EXPECT_FALSE(main.CIFIsSelected());

    FakeEditor editor;
    setSharedImageEditorProvider([&editor] { return &editor; });
    EXPECT_TRUE(main.CIFShowDialogUseSelectionWithRect(image, true, QRectF(1, 1, 2, 2)));
    EXPECT_FALSE(main.CIFOutputImage().isNull());
    EXPECT_TRUE(main.CIFIsSelected());
    EXPECT_EQ(main.CIFSelectionRect(), QRectF(1, 1, 2, 2));
    // The generator dialog replaces the picture but not the selection fields.
    EXPECT_FALSE(main.GLIFShowDialogWithRect({}, QRectF(0, 0, 10, 10)));
    EXPECT_TRUE(main.CIFIsSelected());
    setSharedImageEditorProvider({});
}

class FakeRepository final : public QCCompositionRepository {
public:
    std::vector<QCComposition> compositionsWithProtocolsAndAttributes(
        const QStringList& protocols, const QVariantMap&) const override {
        if (protocols != QStringList{"com.apple.QuartzComposer.protocol.image-filter"}) return {};
        const QVariantMap colorPort{{"QCPortAttributeTypeKey", "QCPortTypeColor"}};
        const QVariantMap numberPort{{"QCPortAttributeTypeKey", "QCPortTypeNumber"}};
        return {{"id.colour-then-number", {{"a", colorPort}, {"b", numberPort}, {"name", "Both"}}},
                {"id.colour-only", {{"a", colorPort}, {"c", "not a port"}}}};
    }
};

TEST_F(CIFMainTest, CompositionListNeedsARepositoryClass) {
    const CIFMain main;
    EXPECT_FALSE(main.initQuartzList());
    registerCompositionRepositoryClass("QCCompositionRepository", [] { return nullptr; });
    ASSERT_TRUE(main.initQuartzList());
    EXPECT_TRUE(main.initQuartzList()->isEmpty());
    registerCompositionRepositoryClass("QCCompositionRepository",
                                       [] { return std::make_shared<FakeRepository>(); });
    const auto list = main.initQuartzList();
    registerCompositionRepositoryClass("QCCompositionRepository", {});
    ASSERT_TRUE(list);
    ASSERT_EQ(list->size(), 2);
    const QVariantMap both = list->at(0).toMap(), colour = list->at(1).toMap();
    EXPECT_EQ(both.value("title").toString(), "Both");
    EXPECT_EQ(both.value(GROUP_TAG).toInt(), 0);
    EXPECT_EQ(colour.value("title").toString(), "id.colour-only");
    EXPECT_EQ(colour.value(GROUP_TAG).toInt(), 3);
    EXPECT_EQ(colour.value("QCComposition").value<QCComposition>().identifier, "id.colour-only");
}

// A registered filter with one input of the given class, and optionally a
// top-level attribute type.
void registerProbe(const QString& name, const QString& inputClass, const QString& topType = {},
                   const QString& category = QStringLiteral("CICategoryStylize")) {
    QVariantMap attributes{
        {kCIAttributeFilterDisplayName, name},
        {kCIAttributeFilterCategories, QVariantList{category}},
        {"inputImage", QVariantMap{{kCIAttributeClass, "CIImage"}}},
        {"inputProbe", QVariantMap{{kCIAttributeClass, inputClass},
                                   {kCIAttributeType, kCIAttributeTypePosition}}}};
    if (!topType.isEmpty()) attributes.insert(kCIAttributeType, topType);
    CIFilter::registerFilterNameConstructorClassAttributes(
        name, [](const QString&) { return CIFilter::filterWithName("CIColorInvert"); }, attributes,
        {"inputImage", "inputProbe"});
}

TEST_F(CIFMainTest, OtherFiltersHoldEveryRegisteredFilterTheFixedCatalogLacks) {
    const CIFMain main;
    ASSERT_EQ(main.CIFCategories().value(11), QStringLiteral("Other Filters"));
    QStringList held;
    for (int c = 0; c < 11; ++c)
        for (const QVariant& e : entries(main, c)) {
            const QVariantMap d = e.toMap();
            held << (d.contains(DESC_LIST) ? identifiers(d.value(DESC_LIST).toList())
                                           : QStringList{d.value(CIFFilterIdentifier).toString()});
        }
    const QStringList other = identifiers(entries(main, 11));
    int reductions = 0;
    for (const QString& name : CIFilter::filterNamesInCategory(QString())) {
        SCOPED_TRACE(name.toStdString());
        const QVariantMap attributes = CIFilter::classAttributesForName(name);
        if (attributes.value(kCIAttributeFilterCategories)
                .toStringList()
                .contains(kCICategoryReduction)) {
            // Reductions make tiny pictures: never offered as effects.
            EXPECT_FALSE(other.contains(name));
            EXPECT_FALSE(held.contains(name));
            ++reductions;
            continue;
        }
        if (held.contains(name)) {
            EXPECT_FALSE(other.contains(name));
            continue;
        }
        // Inputs of the kinds the editor has controls for (a vector input
        // only without a filter-wide type), and not one of the two filters
        // kept out by name.
        bool editable =
            name != QLatin1String("CICrop") && name != QLatin1String("CIShadedMaterial");
        const auto filter = CIFilter::filterWithName(name);
        ASSERT_TRUE(filter);
        for (const QString& key : filter->inputKeys()) {
            const QString cls = attributes.value(key).toMap().value(kCIAttributeClass).toString();
            editable = editable && (cls == "CIImage" || cls == "CIColor" || cls == "NSNumber" ||
                                    cls == "NSAffineTransform" ||
                                    (cls == "CIVector" && !attributes.contains(kCIAttributeType)));
        }
        if (editable) {
            EXPECT_TRUE(other.contains(name));
        }
    }
    EXPECT_GE(reductions, 12);
}

TEST_F(CIFMainTest, AdmissionRuleAndDiscoveredCategories) {
    struct Case {
        const char* name;
        const char* inputClass;
        const char* topType;
        bool admitted;
    };
    const Case cases[] = {
        {"CIProbeNumber", "NSNumber", "", true},
        {"CIProbeColor", "CIColor", "", true},
        {"CIProbeTransform", "NSAffineTransform", "", true},
        {"CIProbeVector", "CIVector", "", true},
        {"CIProbeVectorRect", "CIVector", "CIAttributeTypeRectangle", true},
        {"CIProbeVectorGradient", "CIVector", "CIAttributeTypeGradient", false},
        {"CIProbeString", "NSString", "", false},
    };
    for (const Case& c : cases)
        registerProbe(c.name, c.inputClass, c.topType);
    registerProbe("CIProbeReduction", "NSNumber", "", kCICategoryReduction);
    // A filter file in the plug-in folder: it belongs in "3rd Party".
    QTemporaryDir plugins;
    ASSERT_TRUE(QFile::copy(CIF_SOURCE_DIR "/resources/filters/examples/Vignette.json",
                            plugins.filePath("Vignette.json")));
    qputenv("CIF_FILTER_PATH", plugins.path().toUtf8());

    const CIFMain main;
    qunsetenv("CIF_FILTER_PATH");
    const QStringList categories = main.CIFCategories();
    ASSERT_EQ(categories.mid(11), (QStringList{"Other Filters", "3rd Party"}));
    const QStringList other = identifiers(entries(main, 11));
    for (const Case& c : cases) {
        const auto filter = CIFilter::filterWithName(c.name);
        ASSERT_TRUE(filter);
        // The probes borrow another filter's constructor; judge by attributes.
        EXPECT_EQ(other.contains(c.name), c.admitted) << c.name;
    }
    EXPECT_FALSE(other.contains("CIProbeReduction"));
    EXPECT_EQ(identifiers(entries(main, 12)), QStringList{"CIFExampleVignette"});

    // Nothing discovered repeats the fixed catalog, a group member or a
    // composite operation.
    QStringList fixed;
    for (int c = 0; c < 11; ++c)
        for (const QVariant& e : entries(main, c)) {
            const QVariantMap d = e.toMap();
            fixed << (d.contains(DESC_LIST) ? identifiers(d.value(DESC_LIST).toList())
                                            : QStringList{d.value(CIFFilterIdentifier).toString()});
        }
    for (const QString& id : other)
        EXPECT_FALSE(fixed.contains(id)) << id.toStdString();
    EXPECT_FALSE(other.contains("CICrop"));
    const auto color = main.CIFDescriptorForFilterName("CIProbeColor");
    ASSERT_TRUE(color);
    EXPECT_EQ(color->value(CIFFilterStyle).toInt(), 2);
    EXPECT_EQ(color->value(CIFTag), QVariant(50));
    EXPECT_EQ(main.CIFDescriptorForFilterName("CIProbeTransform")->value(CIFFilterStyle).toInt(),
              1);
}

}  // namespace
}  // namespace cif
