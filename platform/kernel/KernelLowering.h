#pragma once
// Lowers one checked kernel function to a straight-line register program
// (KernelProgram.h): vectors become scalar registers, helper calls are
// inlined, loops unrolled, and if/else, ?: and early returns become selects.
// Constant subexpressions are folded and unused code removed.

#include "platform/kernel/KernelAst.h"
#include "platform/kernel/KernelProgram.h"

namespace cif::kernel {

// `unit` must have passed checkKernelUnit; `kernel` is one of its kernel
// functions. Throws DiagnosticError when the program exceeds
// kMaxInstructions or kMaxRegisters.
Program lowerKernel(const ast::Unit& unit, const ast::Function& kernel);

}  // namespace cif::kernel
