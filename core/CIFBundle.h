#pragma once
// Where the plug-in's bundle is, and its language. The bundle folder
// (CIFEffects.plugin) holds the resources: translations, icons, property
// lists. The entry point of the loaded library sets it from the library's own
// location; tests and tools that link the plug-in's code directly set it
// themselves.

#include <QString>
#include <QStringList>

namespace cif {

class CIFBundle {
public:
    // The bundle folder; empty when unknown.
    static QString path();
    static void setPath(const QString& bundleFolder);
    // "<bundle>/Resources/<name>".
    static QString resourcePath(const QString& name);

    // The languages the strings table is read for, best first: the one set
    // with setLanguage, else the system's user-interface languages.
    static QStringList languages();
    static void setLanguage(const QString& language);
};

}  // namespace cif
