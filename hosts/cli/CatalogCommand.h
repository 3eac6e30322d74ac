#pragma once
// cifx list: the plug-in's catalog as a host sees it, read through the bundle.

#include <QStringList>

#include "cif/CIFPlugInLoader.h"

namespace cifx {

// Loads the bundle named (a path; empty: $CIF_PLUGIN_PATH, the XDG data
// folders, then the bundle beside this program). Empty with *error on
// failure.
cif::CIFLoadedPlugIn loadPlugIn(const QString& bundle, QString* error);

// cifx list [--generators] [--json] [--lang L] [--bundle PATH]
int runList(const QStringList& args);

}  // namespace cifx
