#pragma once
// LastValues: the last run of each procedure (identifier and JSON
// parameters, the seed included for generators), kept in the plug-in's own
// settings file so that GIMP's Repeat Last repeats it, in this GIMP session
// and the next. A run made in the editor is kept with an empty identifier:
// the editor does not tell its host what was chosen, so Repeat Last opens
// the editor again rather than repeat an older scripted run. The file is
// cif-effects/gimp-last-values.json under the XDG config folder ($XDG_CONFIG_HOME, else ~/.config).
// A missing or unreadable file reads as "no last run".

#include <QString>

class LastValues {
public:
    struct Run {
        QString identifier;  // empty: the run was made in the editor
        QString parameters;  // a JSON object as text
    };

    enum class Kind { Effect, Generator };

    explicit LastValues(QString path = defaultPath());

    static QString defaultPath();

    // False when nothing was stored for that kind.
    bool read(Kind kind, Run& out) const;
    // Replaces the stored run of that kind, keeping the other; false (with
    // the reason in *error) when the file cannot be written.
    bool write(Kind kind, const Run& run, QString* error) const;

private:
    QString m_path;
};
