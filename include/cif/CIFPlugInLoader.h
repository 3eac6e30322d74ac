#pragma once
// Finding and loading the CIF Effects bundle from a host.
//
// A bundle is a folder named CIFEffects.plugin holding lib/libcifeffects.so
// and Info.json. It is looked for, in order: at the path the host gives (the
// bundle folder itself, its library, or a folder that contains the bundle);
// in each entry of $CIF_PLUGIN_PATH (colon-separated, same three forms); in
// "cif-effects/" of each XDG data folder ($XDG_DATA_HOME first).

#include <QDir>
#include <QFileInfo>
#include <QJsonObject>
#include <QPluginLoader>
#include <QStandardPaths>
#include <QString>
#include <QStringList>
#include <memory>

#include "cif/CIFPlugIn.h"

namespace cif {

inline constexpr const char* kCIFBundleName = "CIFEffects.plugin";
inline constexpr const char* kCIFBundleLibrary = "lib/libcifeffects.so";

// The bundle folder that `path` names, or an empty string.
inline QString resolveCIFBundle(const QString& path) {
    if (path.isEmpty()) return {};
    const QFileInfo info(path);
    if (info.isFile() && info.fileName() == QLatin1String("libcifeffects.so"))
        return QDir::cleanPath(info.absolutePath() + QStringLiteral("/.."));
    for (const QString& candidate :
         {info.absoluteFilePath(), info.absoluteFilePath() + u'/' + QLatin1String(kCIFBundleName)})
        if (QFileInfo::exists(candidate + u'/' + QLatin1String(kCIFBundleLibrary)))
            return QDir::cleanPath(candidate);
    return {};
}

// Where bundles are looked for when the host names none.
inline QStringList cifBundleSearchPaths() {
    QStringList paths = qEnvironmentVariable("CIF_PLUGIN_PATH").split(u':', Qt::SkipEmptyParts);
    for (const QString& dir :
         QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation))
        paths << dir + QStringLiteral("/cif-effects");
    return paths;
}

// The first bundle found: at `path` when given, else along the search paths.
inline QString findCIFBundle(const QString& path = {}) {
    if (!path.isEmpty()) return resolveCIFBundle(path);
    for (const QString& candidate : cifBundleSearchPaths())
        if (const QString bundle = resolveCIFBundle(candidate); !bundle.isEmpty()) return bundle;
    return {};
}

// A loaded bundle. The factory lives as long as this object; principal
// objects it made must be destroyed first.
class CIFLoadedPlugIn {
public:
    CIFPlugInFactory* factory() const { return m_factory; }
    const QString& bundlePath() const { return m_bundle; }
    explicit operator bool() const { return m_factory != nullptr; }

    // Loads the bundle at `bundle` (a folder from findCIFBundle). On failure
    // the result is empty and *error says why: no library, not a CIF Effects
    // plug-in, or a version other than this host's.
    static CIFLoadedPlugIn load(const QString& bundle, QString* error) {
        CIFLoadedPlugIn result;
        const auto fail = [&](const QString& message) {
            if (error) *error = message;
            return CIFLoadedPlugIn();
        };
        if (bundle.isEmpty())
            return fail(QStringLiteral("no CIF Effects bundle found (set CIF_PLUGIN_PATH)"));
        const QString library = bundle + u'/' + QLatin1String(kCIFBundleLibrary);
        if (!QFileInfo::exists(library))
            return fail(
                QStringLiteral("%1 has no %2").arg(bundle, QLatin1String(kCIFBundleLibrary)));
        auto loader = std::make_unique<QPluginLoader>(library);
        const QJsonObject meta = loader->metaData();
        const QString iid = meta.value(QLatin1String("IID")).toString();
        if (!iid.startsWith(QLatin1String("org.cif-effects.CIFPlugIn/")))
            return fail(QStringLiteral("%1 is not a CIF Effects plug-in").arg(library));
        const QJsonObject info = meta.value(QLatin1String("MetaData")).toObject();
        const int major = info.value(QLatin1String("MajorVersion")).toInt(-1);
        const int minor = info.value(QLatin1String("MinorVersion")).toInt(-1);
        if (iid != QLatin1String(CIFPlugInFactory_iid) || major != int(kCIFPlugInMajorVersion) ||
            minor != int(kCIFPlugInMinorVersion))
            return fail(QStringLiteral("the CIF Effects bundle at %1 has version %2.%3; this host "
                                       "needs version %4.%5")
                            .arg(bundle)
                            .arg(major)
                            .arg(minor)
                            .arg(kCIFPlugInMajorVersion)
                            .arg(kCIFPlugInMinorVersion));
        QObject* root = loader->instance();
        auto* factory = qobject_cast<CIFPlugInFactory*>(root);
        if (!factory)
            return fail(QStringLiteral("cannot load %1: %2").arg(library, loader->errorString()));
        result.m_loader = std::move(loader);
        result.m_factory = factory;
        result.m_bundle = bundle;
        return result;
    }

private:
    std::unique_ptr<QPluginLoader> m_loader;
    CIFPlugInFactory* m_factory = nullptr;
    QString m_bundle;
};

}  // namespace cif
