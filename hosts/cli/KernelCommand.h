#pragma once
// cifx kernel: applies a kernel-language filter file or a bare kernel, or
// checks that one compiles.

#include <QStringList>

namespace cifx {

// cifx kernel FILE [IN] OUT [--set key=value ...] [--rect x,y,w,h] [render options]
// cifx kernel --check FILE
// FILE is a filter file (.json) or kernel source text (any other suffix).
int runKernel(const QStringList& args);

// The usage lines of the command, for cifx --help.
QString kernelUsageText();

}  // namespace cifx
