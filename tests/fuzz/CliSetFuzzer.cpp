// Any text given to cifx as a --set value answers a value of the input's
// class or a message; numbers keep to the input's range and stay finite.
// The first byte picks the kind of input, the rest is the text after "=".
#include <QString>
#include <QTransform>
#include <QVariantMap>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "hosts/cli/CommandLine.h"
#include "platform/image/CIAttributes.h"
#include "platform/image/CIColor.h"
#include "platform/image/CIVector.h"

namespace {

QVariantMap attributeOfKind(uint8_t kind) {
    using namespace cif;
    switch (kind % 7) {
        case 0:
            return {{kCIAttributeClass, kCIClassNumber},
                    {kCIAttributeType, kCIAttributeTypeScalar},
                    {kCIAttributeMin, 0.0},
                    {kCIAttributeMax, 100.0}};
        case 1:
            return {{kCIAttributeClass, kCIClassNumber},
                    {kCIAttributeType, kCIAttributeTypeInteger},
                    {kCIAttributeMin, 1},
                    {kCIAttributeMax, 8}};
        case 2:
            return {{kCIAttributeClass, kCIClassNumber},
                    {kCIAttributeType, kCIAttributeTypeBoolean}};
        case 3:
            return {{kCIAttributeClass, kCIClassNumber}, {kCIAttributeType, kCIAttributeTypeAngle}};
        case 4:
            return {{kCIAttributeClass, kCIClassVector},
                    {kCIAttributeType, kCIAttributeTypePosition},
                    {kCIAttributeDefault, QVariant::fromValue(CIVector{150, 150})}};
        case 5:
            return {{kCIAttributeClass, kCIClassColor}};
        default:
            return {{kCIAttributeClass, kCIClassTransform}};
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1 || size > 4096) return 0;
    const QVariantMap attribute = attributeOfKind(data[0]);
    const QString text =
        QString::fromUtf8(reinterpret_cast<const char*>(data + 1), qsizetype(size - 1));
    QString key, valueText, error, notice;
    if (!cifx::splitAssignment(QStringLiteral("inputKey=") + text, key, valueText, &error))
        __builtin_trap();
    QVariant value;
    if (!cifx::parseInputValue(attribute, valueText, value, &error, &notice)) {
        if (error.isEmpty()) __builtin_trap();  // a refusal always says why
        return 0;
    }
    if (!value.isValid()) __builtin_trap();
    const QVariant lo = attribute.value(cif::kCIAttributeMin);
    const QVariant hi = attribute.value(cif::kCIAttributeMax);
    if (value.typeId() == QMetaType::Double || value.typeId() == QMetaType::Int) {
        const double d = value.toDouble();
        if (std::isinf(d)) __builtin_trap();
        if (!std::isnan(d) &&
            ((lo.isValid() && d < lo.toDouble()) || (hi.isValid() && d > hi.toDouble())))
            __builtin_trap();
    }
    return 0;
}
