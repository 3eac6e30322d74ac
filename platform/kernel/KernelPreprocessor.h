#pragma once
// The preprocessor of the kernel language, run on tokens: `#define` (object-
// and function-like, lines continued with a backslash), `#undef`, `#if`,
// `#ifdef`, `#ifndef`, `#elif`, `#else`, `#endif`, `#error`; `#pragma`,
// `#extension`, `#version` and `#line` are accepted and ignored. Directives
// may appear anywhere a line starts, inside function bodies too. `GL_ES` and
// `__VERSION__` are predefined, `__LINE__` is the line it appears on.

#include <vector>

#include "platform/kernel/KernelLexer.h"

namespace cif::kernel {

// Runs the directives of `tokens` (from tokenizeKernel) and expands macros.
// The answer ends with the End token; tokens produced by a macro carry the
// line and column where the macro was used. Throws DiagnosticError on a
// malformed directive, an unbalanced conditional, `#error`, or an expansion
// that grows beyond the source limits.
std::vector<Token> preprocessKernel(const std::vector<Token>& tokens);

}  // namespace cif::kernel
