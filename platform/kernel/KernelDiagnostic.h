#pragma once
// Diagnostics of the kernel compiler: one message per problem, located by
// line and column (both 1-based; a tab counts as one column).

#include <string>

namespace cif::kernel {

struct Diagnostic {
    int line = 1;
    int column = 1;
    std::string message;

    // "kernel:3:17: expected ';' after expression"
    std::string text() const {
        return "kernel:" + std::to_string(line) + ":" + std::to_string(column) + ": " + message;
    }
};

// Thrown by the compiler stages at the first error and caught by
// compileKernelSource; it never leaves the compiler.
struct DiagnosticError {
    Diagnostic diagnostic;
};

[[noreturn]] inline void fail(int line, int column, std::string message) {
    throw DiagnosticError{Diagnostic{line, column, std::move(message)}};
}

}  // namespace cif::kernel
