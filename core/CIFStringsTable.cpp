#include "core/CIFStringsTable.h"

#include <QLocale>
#include <QMutex>
#include <QTranslator>
#include <memory>

#include "core/CIFBundle.h"

namespace cif {

namespace {

// Every string of the catalogs lives in this one context.
constexpr const char* kContext = "CIFEffects";

struct Table {
    QMutex mutex;
    bool loaded = false;
    std::unique_ptr<QTranslator> translator;
};

Table& table() {
    static Table t;
    return t;
}

void loadLocked(Table& t) {
    t.loaded = true;
    t.translator.reset();
    const QString folder = CIFBundle::resourcePath(QStringLiteral("translations"));
    if (folder.isEmpty()) return;
    for (const QString& language : CIFBundle::languages()) {
        auto translator = std::make_unique<QTranslator>();
        // QTranslator tries "de_DE", then "de" for a locale's languages.
        if (translator->load(QLocale(language), QStringLiteral("cifeffects"), QStringLiteral("_"),
                             folder)) {
            t.translator = std::move(translator);
            return;
        }
        if (language.startsWith(QLatin1String("en"))) return;  // English needs no table
    }
}

}  // namespace

QString CIFStringsTable::localizedString(const QString& key) {
    Table& t = table();
    QMutexLocker lock(&t.mutex);
    if (!t.loaded) loadLocked(t);
    if (!t.translator) return key;
    const QString translated = t.translator->translate(kContext, key.toUtf8().constData());
    return translated.isEmpty() ? key : translated;
}

QString CIFStringsTable::loadedLanguage() {
    Table& t = table();
    QMutexLocker lock(&t.mutex);
    if (!t.loaded) loadLocked(t);
    return t.translator ? t.translator->language() : QString();
}

void CIFStringsTable::reload() {
    Table& t = table();
    QMutexLocker lock(&t.mutex);
    t.loaded = false;
    t.translator.reset();
}

}  // namespace cif
