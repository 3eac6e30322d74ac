#pragma once
// Entry point of the kernel compiler: source text in the platform's kernel
// language to one register program per `kernel` function.

#include <string_view>
#include <vector>

#include "platform/kernel/KernelDiagnostic.h"
#include "platform/kernel/KernelProgram.h"

namespace cif::kernel {

// Compiles source into one Program per `kernel` function, in source order.
// On any error: returns false, `programs` empty, diagnostics hold one or more
// entries (the first is the one to show). Never throws; any input, however
// large or malformed, gets a diagnostic rather than a crash.
bool compileKernelSource(std::string_view source, std::vector<Program>& programs,
                         std::vector<Diagnostic>& diagnostics);

}  // namespace cif::kernel
