#include "tools/resgen/Library.h"

#include <QBuffer>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QImageWriter>
#include <QSaveFile>
#include <QSet>

#include "platform/host/TiffCodec.h"
#include "tools/resgen/Pictures.h"

namespace cif::resgen {

namespace {

void addAll(std::vector<GeneratedPicture>& out, const QString& folder, const NamedImages& images,
            const QString& extension) {
    for (const auto& [name, image] : images)
        out.push_back({folder + u'/' + name + extension, image});
}

bool isTiffPath(const QString& path) {
    return path.endsWith(QLatin1String(".tif"), Qt::CaseInsensitive) ||
           path.endsWith(QLatin1String(".tiff"), Qt::CaseInsensitive);
}

}  // namespace

std::vector<GeneratedPicture> libraryPictures() {
    const QString root = kSharedContentFolder + u'/';
    std::vector<GeneratedPicture> out;
    // Textures, brushes and materials are named by file name; the other three
    // libraries by their path, which already carries the extension.
    addAll(out, root + kGlassTexturesFolder, glassTextures(), QStringLiteral(".png"));
    addAll(out, root + kBrushesFolder, brushes(), QStringLiteral(".png"));
    addAll(out, root + kShadingMaterialsFolder, shadingMaterials(), QStringLiteral(".png"));
    addAll(out, root + kMasksFolder, masks(), QString());
    addAll(out, root + kGradientsFolder, gradients(), QString());
    addAll(out, root + kBackgroundsFolder, backgrounds(), QString());
    return out;
}

std::vector<GeneratedPicture> namedPictures() {
    std::vector<GeneratedPicture> out;
    out.push_back({QStringLiteral("fish.png"), fishPicture()});
    out.push_back({QStringLiteral("gradient_hue.tif"), hueRamp()});
    addAll(out, QStringLiteral("cursors"), cursors(), QStringLiteral(".png"));
    addAll(out, QStringLiteral("marks"), marks(), QStringLiteral(".tif"));
    return out;
}

QByteArray encodePicture(const GeneratedPicture& picture) {
    if (isTiffPath(picture.path)) return TiffCodec::encode(picture.image);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "png");
    if (!writer.write(picture.image)) return {};
    return bytes;
}

QImage decodePicture(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return {};
    const QByteArray data = file.readAll();
    if (TiffCodec::hasTiffSignature(data.left(4))) return TiffCodec::decode(data, nullptr);
    return QImage::fromData(data, "png");
}

bool writePictures(const QString& resourcesDir, const std::vector<GeneratedPicture>& pictures,
                   QString* error) {
    const QDir root(resourcesDir);
    for (const GeneratedPicture& picture : pictures) {
        const QString path = root.filePath(picture.path);
        const QByteArray bytes = encodePicture(picture);
        if (bytes.isEmpty()) {
            if (error) *error = QStringLiteral("cannot encode %1").arg(path);
            return false;
        }
        QFile existing(path);
        if (existing.open(QIODevice::ReadOnly) && existing.readAll() == bytes) continue;
        existing.close();
        if (!QDir().mkpath(QFileInfo(path).absolutePath())) {
            if (error) *error = QStringLiteral("cannot create the folder of %1").arg(path);
            return false;
        }
        QSaveFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() ||
            !file.commit()) {
            if (error) *error = QStringLiteral("cannot write %1: %2").arg(path, file.errorString());
            return false;
        }
    }
    return true;
}

bool removeStrayFiles(const QString& resourcesDir, const QString& folder,
                      const std::vector<GeneratedPicture>& pictures, QString* error) {
    const QDir root(resourcesDir);
    QSet<QString> keep;
    for (const GeneratedPicture& picture : pictures)
        keep.insert(QDir::cleanPath(root.filePath(picture.path)));
    const QString start = folder.isEmpty() ? root.path() : root.filePath(folder);
    QDirIterator it(start, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = QDir::cleanPath(it.next());
        if (keep.contains(path)) continue;
        if (!QFile::remove(path)) {
            if (error) *error = QStringLiteral("cannot remove %1").arg(path);
            return false;
        }
    }
    return true;
}

}  // namespace cif::resgen
