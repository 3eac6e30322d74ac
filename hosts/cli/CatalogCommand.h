#pragma once
// cifx list: the plug-in's catalog as a host sees it, read through the bundle.

#include <QStringList>

namespace cifx {

// cifx list [--generators] [--json] [--lang L] [--bundle PATH]
int runList(const QStringList& args);

}  // namespace cifx
