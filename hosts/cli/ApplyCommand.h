#pragma once
// cifx apply: one catalog effect applied to a picture through the plug-in,
// as its editor applies it.

#include <QStringList>

namespace cifx {

// cifx apply ID IN OUT [--set key=value ...] [--selection x,y,w,h]
//                      [--background r,g,b] [--bundle PATH]
int runApply(const QStringList& args);

}  // namespace cifx
