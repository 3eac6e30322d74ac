// Any bytes read as a filter file are refused with a reason, or give a
// filter that registers and renders on the small picture with its defaults.
#include <QByteArray>
#include <QString>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/image/CIAttributes.h"
#include "platform/image/CIFilter.h"
#include "platform/kernel/KernelFilterFile.h"
#include "tests/fuzz/FuzzSupport.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    cif::fuzz::setUpOnce();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 16384) return 0;
    auto description = std::make_shared<cif::kernel::KernelFilterDescription>();
    QString error;
    const QByteArray json =
        QByteArray::fromRawData(reinterpret_cast<const char*>(data), qsizetype(size));
    if (!cif::kernel::parseKernelFilter(json, *description, &error)) {
        if (error.isEmpty()) __builtin_trap();  // a refusal always says why
        return 0;
    }
    // Registered under one name, so runs do not fill the registry.
    description->name = QStringLiteral("CIFuzzFilterFile");
    if (!cif::kernel::registerKernelFilter(description, &error)) return 0;
    const auto filter = cif::CIFilter::filterWithName(description->name);
    if (!filter) __builtin_trap();
    const QVariantMap attributes = filter->attributes();
    for (const QString& key : filter->inputKeys())
        if (attributes.value(key).toMap().value(cif::kCIAttributeClass) == cif::kCIClassImage)
            filter->setValueForKey(QVariant::fromValue(cif::fuzz::smallPicture()), key);
    cif::fuzz::renderSmall(filter->outputImage());
    return 0;
}
