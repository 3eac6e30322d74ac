#include "platform/kernel/KernelCompiler.h"

#include <new>

#include "platform/kernel/KernelChecker.h"
#include "platform/kernel/KernelLowering.h"
#include "platform/kernel/KernelParser.h"

namespace cif::kernel {

bool compileKernelSource(std::string_view source, std::vector<Program>& programs,
                         std::vector<Diagnostic>& diagnostics) {
    programs.clear();
    diagnostics.clear();
    try {
        if (source.size() > kMaxSourceBytes) fail(1, 1, "kernel source is larger than 64 KiB");
        ast::Unit unit = parseKernelSource(source);
        checkKernelUnit(unit);
        std::vector<Program> compiled;
        for (const auto& fn : unit.functions) {
            if (fn->isKernel) compiled.push_back(lowerKernel(unit, *fn));
        }
        if (compiled.empty()) fail(1, 1, "the source defines no kernel function");
        programs = std::move(compiled);
        return true;
    } catch (const DiagnosticError& e) {
        diagnostics.push_back(e.diagnostic);
    } catch (const std::bad_alloc&) {
        diagnostics.push_back(Diagnostic{1, 1, "out of memory while compiling the kernel"});
    }
    programs.clear();
    return false;
}

}  // namespace cif::kernel
