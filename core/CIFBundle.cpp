#include "core/CIFBundle.h"

#include <QLocale>
#include <QMutex>

#include "core/CIFStringsTable.h"

namespace cif {

namespace {

struct BundleState {
    QMutex mutex;
    QString path;
    QString language;
};

BundleState& state() {
    static BundleState s;
    return s;
}

}  // namespace

QString CIFBundle::path() {
    QMutexLocker lock(&state().mutex);
    return state().path;
}

void CIFBundle::setPath(const QString& bundleFolder) {
    {
        QMutexLocker lock(&state().mutex);
        state().path = bundleFolder;
    }
    CIFStringsTable::reload();
}

QString CIFBundle::resourcePath(const QString& name) {
    const QString bundle = path();
    return bundle.isEmpty() ? QString() : bundle + QStringLiteral("/Resources/") + name;
}

QStringList CIFBundle::languages() {
    {
        QMutexLocker lock(&state().mutex);
        if (!state().language.isEmpty()) return {state().language};
    }
    return QLocale::system().uiLanguages();
}

void CIFBundle::setLanguage(const QString& language) {
    {
        QMutexLocker lock(&state().mutex);
        state().language = language;
    }
    CIFStringsTable::reload();
}

}  // namespace cif
