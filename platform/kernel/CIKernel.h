#pragma once
// CIKernel: one compiled kernel function of the platform's kernel language,
// ready to be applied to images with CIFilter::apply. Cheap to copy (the
// compiled program is shared and immutable).

#include <QList>
#include <QRectF>
#include <QString>
#include <QStringList>
#include <QVariantList>
#include <functional>
#include <memory>

#include "platform/image/CIImage.h"
#include "platform/kernel/KernelEvaluator.h"
#include "platform/kernel/KernelProgram.h"

namespace cif {

// For an apply operation with an explicit extent: the rectangle of image
// argument `index` (a warp's input: 0) that the kernel reads to make the
// destination rectangle `destRect`, both in working space.
using CIKernelROICallback = std::function<QRectF(int index, const QRectF& destRect)>;

class CIKernel {
public:
    // The null kernel.
    CIKernel() = default;

    // Compiles source text and answers one kernel per `kernel` function, in
    // source order; each is of its kind (see kind(), CIColorKernel and
    // CIWarpKernel). On a compile error logs one line (the first diagnostic,
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
    // General (samplers), colour (__sample pixels) or warp (returns vec2).
    kernel::KernelKind kind() const;
    // Applies the kernel over `extent` with `arguments` bound to its
    // parameters in order (images for samplers and __sample parameters,
    // numbers, CIVector, CIColor). A null `roi` lets the kernel's own bounds
    // decide what each image is read over. Logs one line and answers the
    // null image on a wrong argument or a warp kernel (see CIWarpKernel).
    CIImage applyWithExtent(const QRectF& extent, const CIKernelROICallback& roi,
                            const QVariantList& arguments) const;
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

// A colour kernel: each __sample parameter is its image's pixel at the
// output position.
class CIColorKernel : public CIKernel {
public:
    CIColorKernel() = default;
    // The kernel as a colour kernel; null unless it is one.
    explicit CIColorKernel(const CIKernel& kernel);
    // The first colour kernel of the source, or null (diagnostics logged).
    static CIColorKernel kernelWithString(const QString& source);
    CIImage applyWithExtent(const QRectF& extent, const QVariantList& arguments) const;
};

// A warp kernel: returns, for each output position, the position in its
// input image to read.
class CIWarpKernel : public CIKernel {
public:
    CIWarpKernel() = default;
    explicit CIWarpKernel(const CIKernel& kernel);
    static CIWarpKernel kernelWithString(const QString& source);
    // Reads `image` where the kernel says, over `extent`; `roi` (index 0)
    // gives the region of the image each destination rectangle reads, or,
    // null, the interval bounds of the returned positions do.
    CIImage applyWithExtent(const QRectF& extent, const CIKernelROICallback& roi,
                            const CIImage& image, const QVariantList& arguments) const;
};

}  // namespace cif
