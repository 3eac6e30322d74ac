#pragma once
// CIKernel: one compiled kernel function of the platform's kernel language,
// ready to be applied to images with CIFilter::apply. Cheap to copy (the
// compiled program is shared and immutable).

#include <QList>
#include <QString>
#include <QStringList>
#include <memory>

#include "platform/kernel/KernelEvaluator.h"
#include "platform/kernel/KernelProgram.h"

namespace cif {

class CIKernel {
public:
    // The null kernel.
    CIKernel() = default;

    // Compiles source text and answers one kernel per `kernel` function, in
    // source order. On a compile error logs one line (the first diagnostic,
    // with its line and column) through qWarning and answers an empty list.
    // Successful compilations are cached by source text for the life of the
    // process, so compiling the same text again is a lookup; failures are not
    // cached. Thread-safe.
    static QList<CIKernel> kernelsWithString(const QString& source);
    // The same without logging: on failure every diagnostic's text
    // ("line:column: message") is appended to *diagnostics.
    static QList<CIKernel> kernelsWithString(const QString& source, QStringList* diagnostics);
    // Wraps a program compiled elsewhere. The null kernel when the program
    // fails kernel::validateProgram (the reason is logged).
    static CIKernel kernelWithProgram(kernel::Program program);

    bool isNull() const { return !m_data; }
    // The kernel function's name; empty for the null kernel.
    QString name() const;
    // The compiled program (the null kernel's is empty).
    const kernel::Program& program() const;
    // What the evaluator runs: program() without dead code, its constants
    // filled like uniforms (see kernel::prepareProgram).
    const kernel::PreparedProgram& prepared() const;
    const kernel::Program& runnableProgram() const { return prepared().program; }

private:
    struct Data {
        kernel::Program program;
        kernel::PreparedProgram prepared;
    };
    static std::shared_ptr<const Data> makeData(kernel::Program program);
    std::shared_ptr<const Data> m_data;
};

}  // namespace cif
