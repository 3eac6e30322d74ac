// Any byte string given to the kernel compiler must give either programs or
// a diagnostic, never a crash, hang or sanitizer report.
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/kernel/KernelCompiler.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<cif::kernel::Program> programs;
    std::vector<cif::kernel::Diagnostic> diagnostics;
    const bool ok = cif::kernel::compileKernelSource(
        std::string_view(reinterpret_cast<const char*>(data), size), programs, diagnostics);
    if (ok == diagnostics.empty() && ok == !programs.empty()) return 0;
    __builtin_trap();  // the entry point's contract was broken
}
