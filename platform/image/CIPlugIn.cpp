#include "platform/image/CIPlugIn.h"

#include <QDebug>
#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QMutex>
#include <QStandardPaths>

namespace cif {

namespace {

struct Loaders {
    QMutex mutex;
    QHash<QString, CIPlugIn::FileLoader> bySuffix;
};

Loaders& loaders() {
    static Loaders l;
    return l;
}

}  // namespace

void CIPlugIn::registerFileLoader(const QString& suffix, FileLoader loader) {
    Loaders& l = loaders();
    const QMutexLocker lock(&l.mutex);
    l.bySuffix.insert(suffix.toLower(), std::move(loader));
}

QStringList CIPlugIn::plugInDirectories() {
    QStringList dirs;
    const QString env = qEnvironmentVariable("CIF_FILTER_PLUGIN_PATH");
    for (const QString& d : env.split(u':', Qt::SkipEmptyParts))
        dirs << d;
    for (const QString& d : qEnvironmentVariable("CIF_FILTER_PATH").split(u':', Qt::SkipEmptyParts))
        dirs << d;
    const QString dataHome = qEnvironmentVariable("XDG_DATA_HOME");
    if (!dataHome.isEmpty()) dirs << QDir(dataHome).filePath(QStringLiteral("cif-effects/Filters"));
    for (const QString& d : QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation))
        dirs << QDir(d).filePath(QStringLiteral("cif-effects/Filters"));
    // A folder named twice (XDG_DATA_HOME is also a standard location) is
    // scanned once.
    dirs.removeDuplicates();
    return dirs;
}

int CIPlugIn::loadAllPlugIns() {
    constexpr qint64 kMaxFileSize = 1 << 20;
    constexpr int kMaxFilesPerFolder = 1000;
    QHash<QString, FileLoader> known;
    {
        Loaders& l = loaders();
        const QMutexLocker lock(&l.mutex);
        known = l.bySuffix;
    }
    int loaded = 0;
    for (const QString& dirPath : plugInDirectories()) {
        const QDir dir(dirPath);
        if (!dir.exists()) continue;
        const QFileInfoList files = dir.entryInfoList(QDir::Files | QDir::Readable, QDir::Name);
        int seen = 0;
        for (const QFileInfo& fi : files) {
            if (++seen > kMaxFilesPerFolder) {
                qWarning().noquote()
                    << QStringLiteral(
                           "filter plug-ins: more than %1 files in %2; the rest are skipped")
                           .arg(kMaxFilesPerFolder)
                           .arg(dirPath);
                break;
            }
            const auto it = known.constFind(fi.suffix().toLower());
            if (it == known.constEnd()) continue;
            if (fi.size() > kMaxFileSize) {
                qWarning().noquote()
                    << QStringLiteral("filter plug-in %1 is larger than 1 MiB; skipped")
                           .arg(fi.filePath());
                continue;
            }
            QString error;
            if ((*it)(fi.filePath(), &error))
                ++loaded;
            else
                qWarning().noquote()
                    << QStringLiteral("filter plug-in %1: %2").arg(fi.filePath(), error);
        }
    }
    return loaded;
}

}  // namespace cif
