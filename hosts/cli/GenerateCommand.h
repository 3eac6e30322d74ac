#pragma once
// cifx generate: a new picture from one of the plug-in's generators.

#include <QStringList>

namespace cifx {

// cifx generate ID WIDTHxHEIGHT OUT [--seed N] [--set key=value ...] [--bundle PATH]
int runGenerate(const QStringList& args);

}  // namespace cifx
