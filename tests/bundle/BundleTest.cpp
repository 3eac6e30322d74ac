// The built bundle as a host sees it: found, loaded through QPluginLoader,
// queried through the public interface only.

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <QTranslator>

#include "cif/CIFPlugInLoader.h"

namespace cif {
namespace {

const QString kBundle = QStringLiteral(CIF_BINARY_DIR "/CIFEffects.plugin");

// One loaded bundle for the whole program, as a host keeps it.
CIFLoadedPlugIn& plugin() {
    static CIFLoadedPlugIn loaded = [] {
        QString error;
        CIFLoadedPlugIn p = CIFLoadedPlugIn::load(findCIFBundle(kBundle), &error);
        EXPECT_TRUE(p) << error.toStdString();
        return p;
    }();
    return loaded;
}

void collect(const QVariantList& entries, QStringList& names, QSet<QString>& icons) {
    for (const QVariant& e : entries) {
        const QVariantMap d = e.toMap();
        names << d.value("CIFFilterName").toString();
        if (d.contains("CIFFilterIcon")) icons.insert(d.value("CIFFilterIcon").toString());
        collect(d.value("DESC_LIST").toList(), names, icons);
    }
}

TEST(BundleTest, HostLoadsTheBundleAndQueriesTheCatalog) {
    ASSERT_TRUE(plugin());
    EXPECT_EQ(QDir(plugin().bundlePath()), QDir(kBundle));
    EXPECT_EQ(QDir(plugin().factory()->bundlePath()), QDir(kBundle));
    const std::unique_ptr<CIFPlugIn> main = plugin().factory()->createMain();
    EXPECT_EQ(main->CIFMajorPlugInVersion(), kCIFPlugInMajorVersion);
    EXPECT_EQ(main->CIFCategoryNameAtIndex(3), "Focus");
    EXPECT_EQ(main->CIFFilterCountForCategoryAtIndex(3), 7);
    EXPECT_THROW(main->CIFCategoryNameAtIndex(100), std::out_of_range);
    main->CIFSetEffectsSet(1);
    EXPECT_EQ(main->CIFFilterCount(), 20);
}

TEST(BundleTest, BundleIsFoundThroughTheSearchPath) {
    qputenv("CIF_PLUGIN_PATH", QByteArray("/nonexistent:") + CIF_BINARY_DIR);
    EXPECT_EQ(QDir(findCIFBundle()), QDir(kBundle));
    qunsetenv("CIF_PLUGIN_PATH");
    EXPECT_EQ(QDir(resolveCIFBundle(kBundle + "/lib/libcifeffects.so")), QDir(kBundle));
    EXPECT_TRUE(resolveCIFBundle(CIF_SOURCE_DIR).isEmpty());
}

TEST(BundleTest, MismatchedOrMissingBundlesAreRefusedWithAMessage) {
    QString error;
    EXPECT_FALSE(CIFLoadedPlugIn::load(findCIFBundle(CIF_FAKE_BUNDLE_DIR), &error));
    EXPECT_TRUE(error.contains("version 1.0")) << error.toStdString();
    EXPECT_TRUE(error.contains("2.3")) << error.toStdString();
    error.clear();
    EXPECT_FALSE(CIFLoadedPlugIn::load(QString(), &error));
    EXPECT_FALSE(error.isEmpty());
}

TEST(BundleTest, InfoJsonCarriesTheInterfaceVersion) {
    QFile file(kBundle + "/Info.json");
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QJsonObject info = QJsonDocument::fromJson(file.readAll()).object();
    EXPECT_EQ(info.value("MajorVersion").toInt(), int(kCIFPlugInMajorVersion));
    EXPECT_EQ(info.value("MinorVersion").toInt(), int(kCIFPlugInMinorVersion));
    EXPECT_EQ(info.value("NSPrincipalClass").toString(), "CIFMain");
}

// Every icon the catalogs name is a picture in the bundle, and every name and
// category has a German translation.
TEST(BundleTest, IconsAndGermanStringsCoverBothCatalogs) {
    ASSERT_TRUE(plugin());
    plugin().factory()->setLanguage("en");
    const std::unique_ptr<CIFPlugIn> main = plugin().factory()->createMain();
    QStringList names;
    QSet<QString> icons;
    for (unsigned set : {0u, 1u}) {
        main->CIFSetEffectsSet(set);
        names << main->CIFCategories();
        for (const QVariant& c : main->CIFAllFilterDescriptors())
            collect(c.toMap().value("CIFFilterList").toList(), names, icons);
    }
    EXPECT_GT(icons.size(), 100);
    for (const QString& icon : icons) {
        const QImage picture(kBundle + "/Resources/icons/" + icon + ".png");
        EXPECT_FALSE(picture.isNull()) << icon.toStdString();
    }
    QTranslator german;
    ASSERT_TRUE(german.load(kBundle + "/Resources/translations/cifeffects_de.qm"));
    for (const QString& name : names)
        EXPECT_FALSE(german.translate("CIFEffects", name.toUtf8().constData()).isEmpty())
            << name.toStdString();

    plugin().factory()->setLanguage("de");
    const std::unique_ptr<CIFPlugIn> translated = plugin().factory()->createMain();
    EXPECT_EQ(translated->localizedString("Focus"), german.translate("CIFEffects", "Focus"));
    EXPECT_EQ(translated->localizedString("Not In The Table"), "Not In The Table");
    plugin().factory()->setLanguage("en");
}

}  // namespace
}  // namespace cif
