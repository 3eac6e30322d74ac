#include "platform/kernel/KernelFilterFile.h"

#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMutex>
#include <QRegularExpression>
#include <QSet>
#include <cmath>
#include <memory>

#include "platform/image/CIAttributes.h"
#include "platform/image/CIColor.h"
#include "platform/image/CIFilter.h"
#include "platform/image/CIVector.h"

namespace cif::kernel {

namespace {

constexpr qint64 kMaxFileBytes = 1 << 20;
constexpr qsizetype kMaxInputs = 64;
constexpr qsizetype kMaxCategories = 32;
constexpr qsizetype kMaxComponents = 16;

// The filter a file defines: its inputs are bound to the kernel's
// parameters by the file's argument list.
class KernelFileFilter final : public CIFilter {
public:
    explicit KernelFileFilter(std::shared_ptr<const KernelFilterDescription> description)
        : m_description(std::move(description)) {}

    CIImage outputImage() const override {
        const KernelFilterDescription& d = *m_description;
        QVariantList arguments;
        for (const QString& key : d.arguments) {
            const QString cls =
                d.classAttributes.value(key).toMap().value(kCIAttributeClass).toString();
            if (cls == kCIClassImage) {
                const CIImage image = imageForKey(key);
                if (image.isNull()) return {};  // an unset image: no output
                arguments << QVariant::fromValue(image);
            } else if (cls == kCIClassVector) {
                arguments << QVariant::fromValue(vectorForKey(key));
            } else if (cls == kCIClassColor) {
                arguments << QVariant::fromValue(colorForKey(key));
            } else {
                arguments << numberForKey(key);
            }
        }
        if (d.kernel.kind() == KernelKind::Warp) {
            const CIImage image = imageForKey(d.warpImage);
            if (image.isNull()) return {};
            return apply(d.kernel, arguments,
                         {{kCIApplyOptionDefinition, QVariant::fromValue(image)}});
        }
        return apply(d.kernel, arguments);
    }

private:
    std::shared_ptr<const KernelFilterDescription> m_description;
};

// Names registered from filter files; only these may be replaced by a file.
struct FileFilterNames {
    QMutex mutex;
    QSet<QString> names;
};

FileFilterNames& fileFilterNames() {
    static FileFilterNames n;
    return n;
}

bool finiteNumber(const QJsonValue& v) {
    return v.isDouble() && std::isfinite(v.toDouble());
}

// The attribute dictionary of one input; false with the reason.
bool parseInput(const QJsonObject& in, QString& key, QVariantMap& attribute, QString* error) {
    key = in.value(QLatin1String("key")).toString();
    static const QRegularExpression keyPattern(QStringLiteral("^input[A-Za-z0-9_]{0,64}$"));
    if (!keyPattern.match(key).hasMatch()) {
        *error = QCoreApplication::translate(
                     "KernelFilterFile",
                     "input key '%1' must begin with 'input' and hold only letters, digits and "
                     "'_'")
                     .arg(key.left(80));
        return false;
    }
    const QString cls = in.value(QLatin1String("class")).toString();
    if (cls != kCIClassNumber && cls != kCIClassVector && cls != kCIClassColor &&
        cls != kCIClassImage) {
        *error = QCoreApplication::translate(
                     "KernelFilterFile",
                     "input %1: class must be NSNumber, CIVector, CIColor or CIImage")
                     .arg(key);
        return false;
    }
    attribute.insert(kCIAttributeClass, cls);
    const QJsonValue type = in.value(QLatin1String("type"));
    if (type.isString()) {
        attribute.insert(kCIAttributeType, type.toString().left(64));
    } else if (cls == kCIClassImage) {
        attribute.insert(kCIAttributeType, kCIAttributeTypeImage);
    } else if (!type.isUndefined()) {
        *error = QCoreApplication::translate("KernelFilterFile", "input %1: type must be a string")
                     .arg(key);
        return false;
    }
    const QString display = in.value(QLatin1String("displayName")).toString();
    attribute.insert(kCIAttributeDisplayName, display.isEmpty() ? key : display.left(200));

    if (cls == kCIClassNumber) {
        for (const CIJsonAttributeField& f : kCIJsonAttributeFields) {
            const QJsonValue v = in.value(QLatin1String(f.json));
            if (v.isUndefined()) continue;
            if (!finiteNumber(v)) {
                *error =
                    QCoreApplication::translate("KernelFilterFile", "input %1: %2 must be a number")
                        .arg(key, QLatin1String(f.json));
                return false;
            }
            attribute.insert(f.attribute, v.toDouble());
        }
        if (attribute.contains(kCIAttributeMin) && attribute.contains(kCIAttributeMax) &&
            attribute.value(kCIAttributeMin).toDouble() >
                attribute.value(kCIAttributeMax).toDouble()) {
            *error =
                QCoreApplication::translate("KernelFilterFile", "input %1: min is greater than max")
                    .arg(key);
            return false;
        }
        if (!attribute.contains(kCIAttributeDefault)) attribute.insert(kCIAttributeDefault, 0.0);
    } else if (cls == kCIClassVector || cls == kCIClassColor) {
        const QJsonValue v = in.value(QLatin1String("default"));
        if (!v.isUndefined()) {
            const QJsonArray a = v.toArray();
            const qsizetype most = cls == kCIClassColor ? 4 : kMaxComponents;
            const qsizetype least = cls == kCIClassColor ? 3 : 1;
            bool ok = v.isArray() && a.size() >= least && a.size() <= most;
            std::vector<double> c;
            for (const QJsonValue& x : a) {
                ok = ok && finiteNumber(x);
                c.push_back(x.toDouble());
            }
            if (!ok) {
                *error = QCoreApplication::translate(
                             "KernelFilterFile",
                             "input %1: default must be an array of %2 to %3 numbers")
                             .arg(key)
                             .arg(least)
                             .arg(most);
                return false;
            }
            if (cls == kCIClassVector) {
                attribute.insert(kCIAttributeDefault, QVariant::fromValue(CIVector(std::move(c))));
            } else {
                c.resize(4, 1.0);
                attribute.insert(kCIAttributeDefault,
                                 QVariant::fromValue(CIColor(c[0], c[1], c[2], c[3])));
            }
        }
    }
    return true;
}

bool classFits(const QString& cls, ParamType type) {
    switch (type) {
        case ParamType::Float:
            return cls == kCIClassNumber;
        case ParamType::Vec2:
        case ParamType::Vec3:
        case ParamType::Vec4:
            return cls == kCIClassVector;
        case ParamType::Color:
            return cls == kCIClassColor;
        case ParamType::Sampler:
        case ParamType::Sample:
            return cls == kCIClassImage;
    }
    return false;
}

}  // namespace

bool parseKernelFilter(const QByteArray& json, KernelFilterDescription& out, QString* error) {
    QString reason;
    auto fail = [&](const QString& why) {
        if (error) *error = why;
        return false;
    };
    if (json.size() > kMaxFileBytes)
        return fail(
            QCoreApplication::translate("KernelFilterFile", "the file is larger than 1 MiB"));
    QJsonParseError parseError;
    const QJsonDocument doc = QJsonDocument::fromJson(json, &parseError);
    if (doc.isNull())
        return fail(
            QCoreApplication::translate("KernelFilterFile", "not valid JSON at offset %1: %2")
                .arg(parseError.offset)
                .arg(parseError.errorString()));
    if (!doc.isObject())
        return fail(
            QCoreApplication::translate("KernelFilterFile", "the file must hold one JSON object"));
    const QJsonObject root = doc.object();

    KernelFilterDescription d;
    d.name = root.value(QLatin1String("name")).toString();
    static const QRegularExpression namePattern(QStringLiteral("^[A-Za-z][A-Za-z0-9_]{0,127}$"));
    if (!namePattern.match(d.name).hasMatch())
        return fail(QCoreApplication::translate(
            "KernelFilterFile", "'name' must be a filter name (letters, digits and '_')"));
    const QString display = root.value(QLatin1String("displayName")).toString();
    d.classAttributes.insert(kCIAttributeFilterDisplayName,
                             display.isEmpty() ? d.name : display.left(200));
    QStringList categories;
    const QJsonValue cats = root.value(QLatin1String("categories"));
    if (!cats.isUndefined()) {
        if (!cats.isArray() || cats.toArray().size() > kMaxCategories)
            return fail(QCoreApplication::translate(
                            "KernelFilterFile", "'categories' must be an array of at most %1 names")
                            .arg(kMaxCategories));
        for (const QJsonValue& c : cats.toArray()) {
            if (!c.isString())
                return fail(QCoreApplication::translate("KernelFilterFile",
                                                        "'categories' must hold strings"));
            categories << c.toString().left(100);
        }
    }
    d.classAttributes.insert(kCIAttributeFilterCategories, categories);

    const QJsonValue inputs = root.value(QLatin1String("inputs"));
    if (!inputs.isArray())
        return fail(
            QCoreApplication::translate("KernelFilterFile", "'inputs' is missing or not an array"));
    if (inputs.toArray().size() > kMaxInputs)
        return fail(
            QCoreApplication::translate("KernelFilterFile", "more than %1 inputs").arg(kMaxInputs));
    for (const QJsonValue& v : inputs.toArray()) {
        if (!v.isObject())
            return fail(
                QCoreApplication::translate("KernelFilterFile", "each input must be an object"));
        QString key;
        QVariantMap attribute;
        if (!parseInput(v.toObject(), key, attribute, &reason)) return fail(reason);
        if (d.inputKeys.contains(key))
            return fail(QCoreApplication::translate("KernelFilterFile", "input %1 is listed twice")
                            .arg(key));
        d.inputKeys << key;
        d.classAttributes.insert(key, attribute);
    }

    const QJsonValue source = root.value(QLatin1String("kernel"));
    if (!source.isString())
        return fail(
            QCoreApplication::translate("KernelFilterFile", "'kernel' is missing or not a string"));
    if (size_t(source.toString().toUtf8().size()) > kMaxSourceBytes)
        return fail(QCoreApplication::translate("KernelFilterFile",
                                                "the kernel source is longer than %1 bytes")
                        .arg(kMaxSourceBytes));
    QStringList diagnostics;
    const QList<CIKernel> kernels = CIKernel::kernelsWithString(source.toString(), &diagnostics);
    if (kernels.isEmpty())
        return fail(
            QCoreApplication::translate("KernelFilterFile", "the kernel does not compile: %1")
                .arg(diagnostics.value(0)));
    const QJsonValue kernelName = root.value(QLatin1String("kernelName"));
    if (kernelName.isUndefined()) {
        d.kernel = kernels.first();
    } else {
        for (const CIKernel& k : kernels)
            if (k.name() == kernelName.toString()) d.kernel = k;
        if (d.kernel.isNull())
            return fail(QCoreApplication::translate("KernelFilterFile",
                                                    "the kernel source has no kernel named '%1'")
                            .arg(kernelName.toString().left(100)));
    }

    static const char* const kKinds[] = {"general", "color", "warp"};
    const QJsonValue kind = root.value(QLatin1String("kind"));
    const QString kernelKind = QLatin1String(kKinds[int(d.kernel.kind())]);
    if (!kind.isUndefined() && kind.toString() != kernelKind)
        return fail(QCoreApplication::translate("KernelFilterFile",
                                                "'kind' says %1 but kernel %2 is a %3 kernel")
                        .arg(kind.toString().left(20), d.kernel.name(), kernelKind));
    if (d.kernel.kind() == KernelKind::Warp) {
        d.warpImage = root.value(QLatin1String("image")).toString(kCIInputImageKey);
        if (d.classAttributes.value(d.warpImage).toMap().value(kCIAttributeClass).toString() !=
            kCIClassImage)
            return fail(QCoreApplication::translate("KernelFilterFile",
                                                    "the warp's 'image' %1 is not a CIImage input")
                            .arg(d.warpImage.left(100)));
    }

    const QJsonValue arguments = root.value(QLatin1String("arguments"));
    if (!arguments.isArray())
        return fail(QCoreApplication::translate("KernelFilterFile",
                                                "'arguments' is missing or not an array"));
    const std::vector<Parameter>& params = d.kernel.program().parameters;
    if (size_t(arguments.toArray().size()) != params.size())
        return fail(QCoreApplication::translate(
                        "KernelFilterFile", "kernel %1 takes %2 arguments but 'arguments' lists %3")
                        .arg(d.kernel.name())
                        .arg(params.size())
                        .arg(arguments.toArray().size()));
    for (size_t i = 0; i < params.size(); ++i) {
        const QString key = arguments.toArray().at(qsizetype(i)).toString();
        if (!d.inputKeys.contains(key))
            return fail(QCoreApplication::translate("KernelFilterFile",
                                                    "argument %1 names '%2', which is not an input")
                            .arg(i + 1)
                            .arg(key));
        const QString cls =
            d.classAttributes.value(key).toMap().value(kCIAttributeClass).toString();
        if (!classFits(cls, params[i].type))
            return fail(QCoreApplication::translate(
                            "KernelFilterFile",
                            "argument %1: input %2 (%3) does not fit kernel parameter %4")
                            .arg(i + 1)
                            .arg(key, cls, QString::fromStdString(params[i].name)));
        d.arguments << key;
    }
    out = std::move(d);
    return true;
}

KernelFilterDescription describeKernel(const CIKernel& kernel, const QString& name) {
    KernelFilterDescription d;
    d.name = name;
    d.kernel = kernel;
    d.classAttributes.insert(kCIAttributeFilterDisplayName, name);
    d.classAttributes.insert(kCIAttributeFilterCategories, QStringList{});
    bool firstSampler = true;
    for (const Parameter& p : kernel.program().parameters) {
        QString key = QString::fromStdString(p.name);
        QVariantMap a;
        a.insert(kCIAttributeDisplayName, key);
        switch (p.type) {
            case ParamType::Sampler:
            case ParamType::Sample:
                if (firstSampler) key = kCIInputImageKey;
                firstSampler = false;
                a.insert(kCIAttributeClass, kCIClassImage);
                a.insert(kCIAttributeType, kCIAttributeTypeImage);
                break;
            case ParamType::Float:
                a.insert(kCIAttributeClass, kCIClassNumber);
                a.insert(kCIAttributeType, kCIAttributeTypeScalar);
                a.insert(kCIAttributeDefault, 0.0);
                break;
            case ParamType::Vec2:
            case ParamType::Vec3:
            case ParamType::Vec4:
                a.insert(kCIAttributeClass, kCIClassVector);
                a.insert(
                    kCIAttributeDefault,
                    QVariant::fromValue(CIVector(std::vector<double>(p.registers.size(), 0.0))));
                break;
            case ParamType::Color:
                a.insert(kCIAttributeClass, kCIClassColor);
                a.insert(kCIAttributeType, kCIAttributeTypeColor);
                a.insert(kCIAttributeDefault, QVariant::fromValue(CIColor(0, 0, 0, 1)));
                break;
        }
        d.classAttributes.insert(key, a);
        d.inputKeys << key;
        d.arguments << key;
    }
    if (kernel.kind() == KernelKind::Warp) {
        // The warp's input: inputImage, or, where a sampler has that key,
        // one more image input.
        d.warpImage = firstSampler ? QString(kCIInputImageKey) : QStringLiteral("inputWarpImage");
        QVariantMap a;
        a.insert(kCIAttributeDisplayName, d.warpImage);
        a.insert(kCIAttributeClass, kCIClassImage);
        a.insert(kCIAttributeType, kCIAttributeTypeImage);
        d.classAttributes.insert(d.warpImage, a);
        d.inputKeys.prepend(d.warpImage);
    }
    return d;
}

bool registerKernelFilter(std::shared_ptr<const KernelFilterDescription> description,
                          QString* error) {
    FileFilterNames& names = fileFilterNames();
    const QMutexLocker lock(&names.mutex);
    if (CIFilter::isRegistered(description->name) && !names.names.contains(description->name)) {
        if (error)
            *error = QCoreApplication::translate("KernelFilterFile",
                                                 "filter %1 already exists and is not replaced")
                         .arg(description->name);
        return false;
    }
    names.names.insert(description->name);
    const QString name = description->name;
    const QVariantMap attributes = description->classAttributes;
    const QStringList keys = description->inputKeys;
    CIFilter::registerFilterNameConstructorClassAttributes(
        name,
        [shared = std::move(description)](const QString&) {
            return std::make_unique<KernelFileFilter>(shared);
        },
        attributes, keys);
    return true;
}

bool loadKernelFilterFile(const QString& path, QString* error, QString* name) {
    auto fail = [&](const QString& why) {
        if (error) *error = why;
        return false;
    };
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return fail(QCoreApplication::translate("KernelFilterFile", "cannot read the file"));
    if (file.size() > kMaxFileBytes)
        return fail(
            QCoreApplication::translate("KernelFilterFile", "the file is larger than 1 MiB"));
    auto description = std::make_shared<KernelFilterDescription>();
    QString reason;
    if (!parseKernelFilter(file.read(kMaxFileBytes + 1), *description, &reason))
        return fail(reason);

    if (!registerKernelFilter(description, &reason)) return fail(reason);
    if (name) *name = description->name;
    return true;
}

}  // namespace cif::kernel
