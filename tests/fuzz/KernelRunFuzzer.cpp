// Kernel source that compiles is run: every kernel of it becomes a filter
// (as a bare kernel file does), gets the small picture in each sampler and a
// few arguments, and is rendered around the picture's edges.
#include <QString>
#include <QVariant>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/image/CIAttributes.h"
#include "platform/image/CIFilter.h"
#include "platform/kernel/CIKernel.h"
#include "platform/kernel/KernelFilterFile.h"
#include "tests/fuzz/FuzzSupport.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    cif::fuzz::setUpOnce();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 8192) return 0;
    const QString source = QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size));
    QStringList diagnostics;
    const QList<cif::CIKernel> kernels = cif::CIKernel::kernelsWithString(source, &diagnostics);
    for (const cif::CIKernel& kernel : kernels) {
        auto description = std::make_shared<cif::kernel::KernelFilterDescription>(
            cif::kernel::describeKernel(kernel, QStringLiteral("CIFuzzKernel")));
        QString error;
        if (!cif::kernel::registerKernelFilter(description, &error)) continue;
        const auto filter = cif::CIFilter::filterWithName(QStringLiteral("CIFuzzKernel"));
        if (!filter) continue;
        const QVariantMap attributes = filter->attributes();
        double value = 0.75;
        for (const QString& key : filter->inputKeys()) {
            const QString cls =
                attributes.value(key).toMap().value(cif::kCIAttributeClass).toString();
            if (cls == cif::kCIClassImage)
                filter->setValueForKey(QVariant::fromValue(cif::fuzz::smallPicture()), key);
            else if (cls == cif::kCIClassNumber)
                filter->setValueForKey(value, key);
            else if (cls == cif::kCIClassVector)
                filter->setValueForKey(QVariant::fromValue(cif::CIVector{value, 2.5, -1, 0.5}),
                                       key);
            value = -value * 3;
        }
        cif::fuzz::renderSmall(filter->outputImage());
    }
    return 0;
}
