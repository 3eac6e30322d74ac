// Any bytes read as a property list answer a value or a message.
#include <QByteArray>
#include <QString>
#include <cstddef>
#include <cstdint>

#include "core/PropertyList.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    QString error;
    const QVariant value = cif::PropertyList::fromXml(
        QByteArray::fromRawData(reinterpret_cast<const char*>(data), qsizetype(size)), &error);
    if (value.isValid() != error.isEmpty()) __builtin_trap();
    return 0;
}
