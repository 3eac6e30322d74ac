#pragma once
// Filter plug-ins: files in the plug-in folders that define filters (for
// example in the kernel language). Each file kind has a loader, registered by
// the layer that understands it; loadAllPlugIns() hands every file whose
// suffix has a loader to it.

#include <QString>
#include <QStringList>
#include <functional>

namespace cif {

class CIPlugIn {
public:
    // Registers the filters a file defines; false with a message on failure.
    using FileLoader = std::function<bool(const QString& path, QString* error)>;

    // Registers the loader for files ending in ".suffix".
    static void registerFileLoader(const QString& suffix, FileLoader loader);

    // The folders scanned, in order: the entries of $CIF_FILTER_PLUGIN_PATH
    // and then of $CIF_FILTER_PATH (both colon-separated), then
    // "cif-effects/Filters" in $XDG_DATA_HOME and in each XDG data folder.
    static QStringList plugInDirectories();

    // Scans the folders (not recursively) and loads every file with a known
    // suffix; a file that fails is logged and skipped. Answers how many files
    // loaded. Files over 1 MiB and more than 1000 files per folder are skipped.
    static int loadAllPlugIns();
};

}  // namespace cif
