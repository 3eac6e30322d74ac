#pragma once
// The plug-in's strings table: Qt translation files with the English display
// names as keys, one per language, in the bundle's Resources/translations
// (cifeffects_<language>.qm). The table is the plug-in's own: it is never
// installed into the host application, so the host's translations and ours
// stay apart.

#include <QString>

namespace cif {

class CIFStringsTable {
public:
    // The translation of key, or key itself when the table has none.
    static QString localizedString(const QString& key);
    // The language of the loaded table ("de"), or empty for English.
    static QString loadedLanguage();
    // Drops the loaded table; the next look-up reads it again from the
    // bundle for the current language.
    static void reload();
};

}  // namespace cif
