// The resource libraries: secondary pictures (glass textures, brushes,
// shading materials, masks, gradients, backgrounds) in the shared content
// folder, and named pictures in the bundle's own resource folders.

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QStandardPaths>
#include <algorithm>

#include "core/CIFBundle.h"
#include "core/CIFMain.h"
#include "platform/host/NamedImages.h"

namespace cif {

namespace {

QString joined(const QString& dir, const QString& name) {
    return dir + u'/' + name;
}

// Relative paths of every picture file below dir, at any depth, sorted so
// the order does not depend on the file system.
QStringList picturePathsBelow(const QString& dir) {
    const QStringList types = CIFMain::imageFileTypes();
    QStringList paths;
    QDirIterator it(dir, QDir::Files, QDirIterator::Subdirectories);
    const QDir base(dir);
    while (it.hasNext()) {
        const QString path = it.next();
        if (types.contains(QFileInfo(path).suffix().toLower()))
            paths << base.relativeFilePath(path);
    }
    paths.sort();
    return paths;
}

// The file dir/name.extension, the extension compared without regard to
// case ("ice.PNG" for "ice" and "png"), as the platform's file system does;
// empty when there is none.
QString fileWithExtension(const QString& dir, const QString& name, const char* extension) {
    const QString exact = joined(dir, name) + u'.' + QLatin1String(extension);
    const QFileInfo info(exact);
    if (info.isFile()) return exact;
    const QString base = info.completeBaseName();
    const QFileInfoList entries = info.dir().entryInfoList(QDir::Files, QDir::Name);
    for (const QFileInfo& entry : entries)
        if (entry.completeBaseName() == base &&
            entry.suffix().compare(QLatin1String(extension), Qt::CaseInsensitive) == 0)
            return entry.filePath();
    return {};
}

HostImage loadPicture(const QString& path) {
    QString error;
    HostImage picture = HostImage::load(path, &error);
    return picture;
}

// Orders names with sortShadingMaterialNames. That rule is not a strict weak
// ordering ("Sand" wins whichever side it is on), which the standard sorts do
// not allow; its effect is "Sand" first and the rest in case-insensitive
// order, which is what this gives.
void sortShadingMaterials(QStringList& names) {
    QStringList sand, rest;
    for (const QString& name : names)
        (name == QLatin1String("Sand") ? sand : rest) << name;
    std::stable_sort(rest.begin(), rest.end(), &CIFMain::sortShadingMaterialNames);
    names = sand + rest;
}

}  // namespace

// ---- folders

QString CIFMain::sharedContentLibraryPath() {
    const QString fromEnvironment = qEnvironmentVariable("CIF_SHARED_CONTENT");
    if (!fromEnvironment.isEmpty()) return fromEnvironment;
    for (const QString& dir :
         QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation)) {
        const QString candidate = dir + QStringLiteral("/cif-effects/SharedContent");
        if (QFileInfo(candidate).isDir()) return candidate;
    }
    return CIFBundle::resourcePath(QStringLiteral("SharedContent"));
}

QString CIFMain::sharedGlassTexturesPath() {
    return sharedContentLibraryPath() + QStringLiteral("/Textures/Glass Textures");
}
QString CIFMain::sharedBrushTexturesPath() {
    return sharedContentLibraryPath() + QStringLiteral("/Brushes");
}
QString CIFMain::sharedShadingMaterialsPath() {
    return sharedContentLibraryPath() + QStringLiteral("/Textures/Shading Materials");
}
QString CIFMain::sharedMaskPath() {
    return sharedContentLibraryPath() + QStringLiteral("/Masks");
}
QString CIFMain::sharedGradientsPath() {
    return sharedContentLibraryPath() + QStringLiteral("/Gradients");
}
QString CIFMain::sharedBackgroundsPath() {
    return sharedContentLibraryPath() + QStringLiteral("/Backgrounds");
}

// Only what the picture loader reads: a library entry it cannot load would
// be offered and then fail.
QStringList CIFMain::imageFileTypes() {
    return HostImage::readableFileTypes();
}

// ---- listing and loading

QStringList CIFMain::resourceContentDirectoryAtPath(const QString& dir) {
    const QStringList types = imageFileTypes();
    QStringList names;
    const QFileInfoList entries =
        QDir(dir).entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot, QDir::Name);
    for (const QFileInfo& entry : entries)
        if (entry.exists() && !entry.isDir() && types.contains(entry.suffix().toLower()))
            names << entry.completeBaseName();
    return names;
}

HostImage CIFMain::resourceImageWithNamePath(const QString& name, const QString& dir) {
    const QString registryName = QStringLiteral("CIF_RES_") + joined(dir, name);
    if (HostImage registered = NamedImages::imageNamed(registryName); !registered.isNull())
        return registered;
    const QString base = joined(dir, name);
    for (const QString& candidate :
         {base, fileWithExtension(dir, name, "jpg"), fileWithExtension(dir, name, "jpeg"),
          fileWithExtension(dir, name, "tif"), fileWithExtension(dir, name, "tiff"),
          fileWithExtension(dir, name, "png")}) {
        if (candidate.isEmpty() || !QFileInfo(candidate).isFile()) continue;
        HostImage picture = loadPicture(candidate);
        if (picture.isNull()) continue;
        NamedImages::setName(registryName, picture);
        return picture;
    }
    return {};
}

bool CIFMain::sortShadingMaterialNames(const QString& a, const QString& b) {
    if (a == QLatin1String("Sand") || b == QLatin1String("Sand")) return true;
    return QString::compare(a, b, Qt::CaseInsensitive) < 0;
}

// ---- the six libraries

QStringList CIFMain::CIFGlassTextureNames() const {
    return resourceContentDirectoryAtPath(sharedGlassTexturesPath());
}
HostImage CIFMain::CIFGlassTextureWithName(const QString& name) const {
    return resourceImageWithNamePath(name, sharedGlassTexturesPath());
}

QStringList CIFMain::CIFBrushNames() const {
    return resourceContentDirectoryAtPath(sharedBrushTexturesPath());
}
HostImage CIFMain::CIFBrushWithName(const QString& name) const {
    return resourceImageWithNamePath(name, sharedBrushTexturesPath());
}

QStringList CIFMain::CIFShadingMaterialNames() const {
    QStringList names = resourceContentDirectoryAtPath(sharedShadingMaterialsPath());
    sortShadingMaterials(names);
    return names;
}
HostImage CIFMain::CIFShadingMaterialWithName(const QString& name) const {
    return resourceImageWithNamePath(name, sharedShadingMaterialsPath());
}

QStringList CIFMain::CIFMaskNames() const {
    static const QStringList masks = [] {
        QStringList kept;
        for (const QString& path : picturePathsBelow(sharedMaskPath()))
            if (path.startsWith(QLatin1String("Images"), Qt::CaseInsensitive)) kept << path;
        return kept;
    }();
    return masks;
}
HostImage CIFMain::CIFMaskWithName(const QString& name) const {
    return loadPicture(joined(sharedMaskPath(), name));
}

QStringList CIFMain::CIFGradientNames() const {
    return picturePathsBelow(sharedGradientsPath());
}
HostImage CIFMain::CIFGradientWithName(const QString& name) const {
    return loadPicture(joined(sharedGradientsPath(), name));
}

QStringList CIFMain::CIFBackgroundNames() const {
    return picturePathsBelow(sharedBackgroundsPath());
}
HostImage CIFMain::CIFBackgroundWithName(const QString& name) const {
    return loadPicture(joined(sharedBackgroundsPath(), name));
}

// ---- the bundle's own folders

std::optional<QStringList> CIFMain::resourceNamesOfKind(const QString& folder) {
    const QString resources = CIFBundle::resourcePath(QString());
    if (resources.isEmpty() || !QFileInfo(resources).isDir()) return std::nullopt;
    QStringList names;
    const QFileInfoList entries =
        QDir(joined(resources, folder))
            .entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot, QDir::Name);
    for (const QFileInfo& entry : entries)
        names << entry.completeBaseName();
    if (names.isEmpty()) return std::nullopt;
    return names;
}

HostImage CIFMain::resourceImageWithNameOfKind(const QString& name, const QString& folder) {
    if (HostImage registered = NamedImages::imageNamed(name); !registered.isNull())
        return registered;
    const QString dir = CIFBundle::resourcePath(folder);
    if (dir.isEmpty()) return {};
    for (const char* extension : {"jpg", "jpeg", "tif", "tiff"}) {
        const QString path = fileWithExtension(dir, name, extension);
        if (path.isEmpty()) continue;
        HostImage picture = loadPicture(path);
        if (picture.isNull()) continue;
        NamedImages::setName(name, picture);
        return picture;
    }
    return {};
}

QVariantMap CIFMain::CIFImageStorage() const {
    QVariantMap storage;
    const auto first = [](const QStringList& names) { return names.value(0); };
    const auto put = [&](const char* key, const HostImage& picture) {
        if (!picture.isNull())
            storage.insert(QString::fromLatin1(key), QVariant::fromValue(picture));
    };
    const QString gradient = first(CIFGradientNames());
    const QString glass = first(CIFGlassTextureNames());
    const QString background = first(CIFBackgroundNames());
    const QString mask = first(CIFMaskNames());
    if (!gradient.isEmpty()) put("inputGradientImage", CIFGradientWithName(gradient));
    if (!glass.isEmpty()) {
        put("inputDisplacementImage", CIFGlassTextureWithName(glass));
        put("inputTexture", CIFGlassTextureWithName(glass));
    }
    if (!background.isEmpty()) {
        put("inputBackgroundImage", CIFBackgroundWithName(background));
        put("inputTargetImage", CIFBackgroundWithName(background));
    }
    if (!mask.isEmpty()) put("inputMaskImage", CIFMaskWithName(mask));
    return storage;
}

}  // namespace cif
