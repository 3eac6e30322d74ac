#pragma once
// Recursive-descent parser of kernel source into a syntax tree. Nesting of
// statements and expressions is limited to kMaxNesting, checked before each
// recursion, so hostile input cannot exhaust the stack.

#include <string_view>

#include "platform/kernel/KernelAst.h"

namespace cif::kernel {

// Parses `source` (already known to be at most kMaxSourceBytes). Throws
// DiagnosticError on the first syntax error or unsupported construct.
ast::Unit parseKernelSource(std::string_view source);

}  // namespace cif::kernel
