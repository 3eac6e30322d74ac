#include "platform/kernel/CIKernel.h"

#include <QCoreApplication>
#include <QDebug>
#include <QHash>
#include <QMutex>
#include <cassert>
#include <string>
#include <vector>

#include "platform/kernel/KernelEvaluator.h"
#include "platform/kernel/KernelNode.h"

// The compiler front end is a separate unit; until it is part of the build,
// every source fails with a diagnostic that says so.
#include "platform/kernel/KernelCompiler.h"

namespace cif {

namespace {

// Compiled sources by text. Entries live as long as the process; the count
// is capped so that a host feeding endless distinct sources cannot grow it
// without bound (beyond the cap, results are simply not remembered).
struct KernelCache {
    static constexpr qsizetype kMaxEntries = 4096;
    QMutex mutex;
    QHash<QString, QList<CIKernel>> bySource;
};

KernelCache& kernelCache() {
    static KernelCache cache;
    return cache;
}

const kernel::Program& emptyProgram() {
    static const kernel::Program p;
    return p;
}

// Compiles source into programs; false with the diagnostics' texts on failure.
bool compile(const QString& source, std::vector<kernel::Program>& programs,
             QStringList& diagnostics) {
    const QByteArray utf8 = source.toUtf8();
    std::vector<kernel::Diagnostic> found;
    const bool ok = kernel::compileKernelSource(
        std::string_view(utf8.constData(), size_t(utf8.size())), programs, found);
    for (const kernel::Diagnostic& d : found)
        diagnostics << QString::fromStdString(d.text());
    if (ok && programs.empty())
        diagnostics << QCoreApplication::translate("CIKernel", "the source defines no kernel");
    return ok && !programs.empty();
}

}  // namespace

std::shared_ptr<const CIKernel::Data> CIKernel::makeData(kernel::Program program) {
    auto data = std::make_shared<Data>();
    data->prepared = kernel::prepareProgram(program);
    // Preparing never makes a valid program invalid; should it, the program
    // runs as compiled rather than not at all.
    if (!kernel::validateProgram(data->prepared.program, nullptr)) {
        assert(false && "prepareProgram produced an invalid program");
        data->prepared = kernel::PreparedProgram{program, {}, false, false};
    }
    data->program = std::move(program);
    return data;
}

QList<CIKernel> CIKernel::kernelsWithString(const QString& source) {
    QStringList diagnostics;
    const QList<CIKernel> kernels = kernelsWithString(source, &diagnostics);
    if (kernels.isEmpty())
        qWarning().noquote() << QCoreApplication::translate("CIKernel",
                                                            "kernel source does not compile: %1")
                                    .arg(diagnostics.value(0));
    return kernels;
}

QList<CIKernel> CIKernel::kernelsWithString(const QString& source, QStringList* diagnostics) {
    KernelCache& cache = kernelCache();
    {
        const QMutexLocker lock(&cache.mutex);
        const auto it = cache.bySource.constFind(source);
        if (it != cache.bySource.constEnd()) return *it;
    }
    // Compiled outside the lock: two threads compiling the same new text do
    // the work twice and keep one result, which is harmless.
    std::vector<kernel::Program> programs;
    QStringList found;
    QList<CIKernel> kernels;
    if (compile(source, programs, found)) {
        for (kernel::Program& p : programs) {
            std::string why;
            if (!kernel::validateProgram(p, &why)) {
                // A compiler fault, not a user mistake; refused rather than run.
                found << QCoreApplication::translate("CIKernel",
                                                     "internal error in compiled kernel %1: %2")
                             .arg(QString::fromStdString(p.name), QString::fromStdString(why));
                kernels.clear();
                break;
            }
            CIKernel k;
            k.m_data = makeData(std::move(p));
            kernels << k;
        }
    }
    if (kernels.isEmpty()) {
        if (diagnostics) *diagnostics << found;
        return {};
    }
    const QMutexLocker lock(&cache.mutex);
    if (cache.bySource.size() < KernelCache::kMaxEntries) cache.bySource.insert(source, kernels);
    return kernels;
}

CIKernel CIKernel::kernelWithProgram(kernel::Program program) {
    std::string why;
    if (!kernel::validateProgram(program, &why)) {
        qWarning().noquote() << QCoreApplication::translate("CIKernel",
                                                            "kernel program %1 is invalid: %2")
                                    .arg(QString::fromStdString(program.name),
                                         QString::fromStdString(why));
        return {};
    }
    CIKernel k;
    k.m_data = makeData(std::move(program));
    return k;
}

QString CIKernel::name() const {
    return m_data ? QString::fromStdString(m_data->program.name) : QString();
}

const kernel::Program& CIKernel::program() const {
    return m_data ? m_data->program : emptyProgram();
}

kernel::KernelKind CIKernel::kind() const {
    return program().kind;
}

namespace {

kernel::KernelApplication application(const QRectF& extent, const CIKernelROICallback& roi) {
    kernel::KernelApplication how;
    how.extent = engine::Rect{extent.x(), extent.y(), extent.width(), extent.height()};
    if (roi)
        how.roi = [roi](size_t index, const engine::Rect& r) {
            const QRectF q = roi(int(index), QRectF(r.x, r.y, r.w, r.h));
            return engine::Rect{q.x(), q.y(), q.width(), q.height()};
        };
    return how;
}

QList<CIKernel> kernelsOfKind(const QString& source, kernel::KernelKind kind) {
    QList<CIKernel> found;
    for (const CIKernel& k : CIKernel::kernelsWithString(source))
        if (k.kind() == kind) found << k;
    return found;
}

}  // namespace

CIImage CIKernel::applyWithExtent(const QRectF& extent, const CIKernelROICallback& roi,
                                  const QVariantList& arguments) const {
    if (!isNull() && kind() == kernel::KernelKind::Warp) {
        qWarning().noquote() << QCoreApplication::translate(
                                    "CIKernel", "apply: %1 is a warp kernel and needs an image")
                                    .arg(name());
        return {};
    }
    return kernel::applyKernel(*this, arguments, application(extent, roi));
}

CIColorKernel::CIColorKernel(const CIKernel& kernel)
    : CIKernel(kernel.kind() == kernel::KernelKind::Color ? kernel : CIKernel()) {}

CIColorKernel CIColorKernel::kernelWithString(const QString& source) {
    const QList<CIKernel> found = kernelsOfKind(source, kernel::KernelKind::Color);
    return found.isEmpty() ? CIColorKernel() : CIColorKernel(found.first());
}

CIImage CIColorKernel::applyWithExtent(const QRectF& extent, const QVariantList& arguments) const {
    return kernel::applyKernel(*this, arguments, application(extent, {}));
}

CIWarpKernel::CIWarpKernel(const CIKernel& kernel)
    : CIKernel(kernel.kind() == kernel::KernelKind::Warp ? kernel : CIKernel()) {}

CIWarpKernel CIWarpKernel::kernelWithString(const QString& source) {
    const QList<CIKernel> found = kernelsOfKind(source, kernel::KernelKind::Warp);
    return found.isEmpty() ? CIWarpKernel() : CIWarpKernel(found.first());
}

CIImage CIWarpKernel::applyWithExtent(const QRectF& extent, const CIKernelROICallback& roi,
                                      const CIImage& image, const QVariantList& arguments) const {
    kernel::KernelApplication how = application(extent, roi);
    how.warpInput = image;
    return kernel::applyKernel(*this, arguments, how);
}

const kernel::PreparedProgram& CIKernel::prepared() const {
    static const kernel::PreparedProgram empty;
    return m_data ? m_data->prepared : empty;
}

}  // namespace cif
