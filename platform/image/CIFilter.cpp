#include "platform/image/CIFilter.h"

#include <QDebug>
#include <QMap>
#include <QMutex>
#include <QPointF>
#include <QRectF>
#include <cmath>
#include <limits>
#include <vector>

#include "platform/host/HostImage.h"

namespace cif {

// ---------------------------------------------------------------- registry

class FilterRegistry {
public:
    struct Entry {
        CIFilter::Constructor constructor;
        QVariantMap classAttributes;
        QStringList inputKeys;
    };

    static FilterRegistry& shared() {
        static FilterRegistry registry;
        return registry;
    }

    void add(const QString& name, Entry entry) {
        const QMutexLocker lock(&m_mutex);
        m_entries.insert(name, std::move(entry));
    }
    bool find(const QString& name, Entry& out) const {
        const QMutexLocker lock(&m_mutex);
        const auto it = m_entries.constFind(name);
        if (it == m_entries.constEnd()) return false;
        out = *it;
        return true;
    }
    QStringList names(const QStringList& categories) const {
        const QMutexLocker lock(&m_mutex);
        QStringList out;
        for (auto it = m_entries.constBegin(); it != m_entries.constEnd(); ++it) {
            const QStringList cats =
                it->classAttributes.value(kCIAttributeFilterCategories).toStringList();
            bool all = true;
            for (const QString& c : categories)
                all = all && cats.contains(c);
            if (all) out << it.key();
        }
        return out;  // QMap keeps them sorted
    }

private:
    mutable QMutex m_mutex;
    QMap<QString, Entry> m_entries;
};

namespace {

QStringList orderedInputKeys(const QVariantMap& classAttributes) {
    QStringList keys;
    for (auto it = classAttributes.constBegin(); it != classAttributes.constEnd(); ++it)
        if (it.key().startsWith(QLatin1String("input")) && it->canConvert<QVariantMap>())
            keys << it.key();
    if (keys.removeOne(kCIInputImageKey)) keys.prepend(kCIInputImageKey);
    return keys;
}

}  // namespace

void CIFilter::registerFilterNameConstructorClassAttributes(const QString& name,
                                                            Constructor constructor,
                                                            const QVariantMap& classAttributes,
                                                            const QStringList& inputKeys) {
    FilterRegistry::Entry e{std::move(constructor), classAttributes,
                            inputKeys.isEmpty() ? orderedInputKeys(classAttributes) : inputKeys};
    FilterRegistry::shared().add(name, std::move(e));
}

std::unique_ptr<CIFilter> CIFilter::filterWithName(const QString& name) {
    FilterRegistry::Entry e;
    if (!FilterRegistry::shared().find(name, e) || !e.constructor) return nullptr;
    std::unique_ptr<CIFilter> f = e.constructor(name);
    if (!f) return nullptr;
    f->m_name = name;
    f->setDefaults();
    return f;
}

QStringList CIFilter::filterNamesInCategory(const QString& category) {
    return FilterRegistry::shared().names(category.isEmpty() ? QStringList{}
                                                             : QStringList{category});
}

QStringList CIFilter::filterNamesInCategories(const QStringList& categories) {
    return FilterRegistry::shared().names(categories);
}

bool CIFilter::isRegistered(const QString& name) {
    FilterRegistry::Entry e;
    return FilterRegistry::shared().find(name, e);
}

QVariantMap CIFilter::classAttributesForName(const QString& name) {
    FilterRegistry::Entry e;
    return FilterRegistry::shared().find(name, e) ? e.classAttributes : QVariantMap{};
}

// ---------------------------------------------------------------- values

bool convertToAttributeClass(const QString& cls, QVariant& value) {
    const QMetaType type = value.metaType();
    if (cls == kCIClassNumber) {
        const int id = type.id();
        if (id == QMetaType::Double || id == QMetaType::Int || id == QMetaType::Bool ||
            id == QMetaType::Float || id == QMetaType::LongLong || id == QMetaType::UInt ||
            id == QMetaType::ULongLong || id == QMetaType::Long)
            return true;
        if (id == QMetaType::QString) {
            bool ok = false;
            const double d = value.toString().trimmed().toDouble(&ok);
            if (!ok) return false;
            value = d;
            return true;
        }
        return false;
    }
    if (cls == kCIClassVector) {
        if (type == QMetaType::fromType<CIVector>()) return true;
        if (type.id() == QMetaType::QPointF) {
            value = QVariant::fromValue(CIVector::vectorWithCGPoint(value.toPointF()));
            return true;
        }
        if (type.id() == QMetaType::QRectF) {
            value = QVariant::fromValue(CIVector::vectorWithCGRect(value.toRectF()));
            return true;
        }
        if (type.id() == QMetaType::QString) {
            CIVector v;
            if (!CIVector::vectorWithString(value.toString(), v)) return false;
            value = QVariant::fromValue(v);
            return true;
        }
        if (type.id() == QMetaType::QVariantList) {
            std::vector<double> comps;
            for (const QVariant& c : value.toList()) {
                bool ok = false;
                comps.push_back(c.toDouble(&ok));
                if (!ok) return false;
            }
            value = QVariant::fromValue(CIVector(std::move(comps)));
            return true;
        }
        return false;
    }
    if (cls == kCIClassColor) {
        if (type == QMetaType::fromType<CIColor>()) return true;
        if (type.id() == QMetaType::QColor) {
            value = QVariant::fromValue(CIColor::colorWithQColor(value.value<QColor>()));
            return true;
        }
        if (type.id() == QMetaType::QString) {
            CIColor c;
            if (!CIColor::colorWithString(value.toString(), c)) return false;
            value = QVariant::fromValue(c);
            return true;
        }
        if (type == QMetaType::fromType<CIVector>()) {
            const CIVector v = value.value<CIVector>();
            value = QVariant::fromValue(CIColor(v.X(), v.Y(), v.Z(), v.count() > 3 ? v.W() : 1.0));
            return true;
        }
        return false;
    }
    if (cls == kCIClassImage) {
        if (type == QMetaType::fromType<CIImage>()) return true;
        if (type == QMetaType::fromType<HostImage>()) {
            value = QVariant::fromValue(CIImage::imageWithHostImage(value.value<HostImage>()));
            return true;
        }
        if (type.id() == QMetaType::QImage) {
            value = QVariant::fromValue(CIImage::imageWithQImage(value.value<QImage>()));
            return true;
        }
        return false;
    }
    if (cls == kCIClassTransform) {
        if (type.id() == QMetaType::QTransform) return true;
        if (type.id() == QMetaType::QString || type.id() == QMetaType::QVariantList ||
            type == QMetaType::fromType<CIVector>()) {
            QVariant v = value;
            if (!convertToAttributeClass(kCIClassVector, v)) return false;
            const CIVector c = v.value<CIVector>();
            if (c.count() != 6) return false;
            value = QTransform(c.valueAtIndex(0), c.valueAtIndex(1), c.valueAtIndex(2),
                               c.valueAtIndex(3), c.valueAtIndex(4), c.valueAtIndex(5));
            return true;
        }
        return false;
    }
    return true;  // classes we do not check (strings, data) pass through
}

// ---------------------------------------------------------------- instance

CIFilter::CIFilter() = default;
CIFilter::~CIFilter() = default;

QVariantMap CIFilter::attributes() const {
    QVariantMap a = classAttributesForName(m_name);
    a.insert(kCIAttributeFilterName, m_name);
    if (!a.contains(kCIAttributeFilterDisplayName)) a.insert(kCIAttributeFilterDisplayName, m_name);
    if (!a.contains(kCIAttributeFilterCategories))
        a.insert(kCIAttributeFilterCategories, QStringList{});
    return a;
}

QStringList CIFilter::inputKeys() const {
    FilterRegistry::Entry e;
    return FilterRegistry::shared().find(m_name, e) ? e.inputKeys : QStringList{};
}

QStringList CIFilter::outputKeys() const {
    return {kCIOutputImageKey};
}

QVariantMap CIFilter::inputAttributes(const QString& key) const {
    return attributes().value(key).toMap();
}

void CIFilter::setDefaults() {
    const QVariantMap attrs = attributes();
    for (const QString& key : inputKeys()) {
        const QVariant def = attrs.value(key).toMap().value(kCIAttributeDefault);
        if (def.isValid())
            m_values.insert(key, def);
        else
            m_values.remove(key);
    }
}

namespace {

// The numbers a value of an input class carries, for the checks on NaN and
// infinities; empty for classes without numbers (and for booleans).
std::vector<double> numbersOf(const QVariant& value) {
    const QMetaType type = value.metaType();
    if (type == QMetaType::fromType<CIVector>()) return value.value<CIVector>().values();
    if (type == QMetaType::fromType<CIColor>()) {
        const CIColor c = value.value<CIColor>();
        return {c.red(), c.green(), c.blue(), c.alpha()};
    }
    if (type.id() == QMetaType::QTransform) {
        const QTransform t = value.value<QTransform>();
        return {t.m11(), t.m12(), t.m21(), t.m22(), t.dx(), t.dy()};
    }
    const int id = type.id();
    if (id == QMetaType::Double || id == QMetaType::Float) return {value.toDouble()};
    return {};
}

}  // namespace

CIFilter::Conformance CIFilter::conform(const QString& key, QVariant& value) const {
    const QVariantMap a = inputAttributes(key);
    const QString cls = a.value(kCIAttributeClass).toString();
    if (!cls.isEmpty() && !convertToAttributeClass(cls, value)) return Conformance::WrongClass;
    // Finite numbers are taken as given: a filter's documented behaviour may
    // lie outside its slider range, and each filter bounds what sizes its own
    // loops and allocations. Ranges are enforced where a person types a value
    // (the editor's controls, the command line), not here.
    bool anyNaN = false, anyInfinite = false;
    for (double v : numbersOf(value)) {
        anyNaN = anyNaN || std::isnan(v);
        anyInfinite = anyInfinite || std::isinf(v);
    }
    if (anyNaN) {
        const QVariant def = a.value(kCIAttributeDefault);
        value = def.isValid() ? def : (cls == kCIClassNumber ? QVariant(0.0) : QVariant());
        return Conformance::Default;
    }
    return anyInfinite ? Conformance::Infinite : Conformance::Taken;
}

void CIFilter::setValueForKey(const QVariant& value, const QString& key) {
    if (!inputKeys().contains(key)) {
        qWarning().noquote()
            << QStringLiteral("%1: unknown input key '%2' ignored").arg(m_name, key);
        return;
    }
    if (!value.isValid()) {
        m_values.remove(key);
        return;
    }
    QVariant v = value;
    switch (conform(key, v)) {
        case Conformance::WrongClass:
            qWarning().noquote() << QStringLiteral(
                                        "%1: value of type %2 is not valid for '%3'; ignored")
                                        .arg(m_name, QString::fromLatin1(value.typeName()), key);
            return;
        case Conformance::Infinite:
            qWarning().noquote()
                << QStringLiteral("%1: infinite value for '%2' ignored").arg(m_name, key);
            return;
        case Conformance::Default:
        case Conformance::Taken:
            break;
    }
    if (v.isValid())
        m_values.insert(key, v);
    else
        m_values.remove(key);
}

QVariant CIFilter::valueForKey(const QString& key) const {
    if (key == kCIOutputImageKey) {
        const CIImage out = outputImage();
        return out.isNull() ? QVariant() : QVariant::fromValue(out);
    }
    return m_values.value(key);
}

CIImage CIFilter::outputImage() const {
    return {};
}

double CIFilter::numberForKey(const QString& key) const {
    QVariant v = m_values.value(key);
    if (!v.isValid()) v = inputAttributes(key).value(kCIAttributeDefault);
    const double d = v.toDouble();
    return std::isfinite(d) ? d : 0.0;
}

CIVector CIFilter::vectorForKey(const QString& key) const {
    QVariant v = m_values.value(key);
    if (!v.isValid()) v = inputAttributes(key).value(kCIAttributeDefault);
    return v.value<CIVector>();
}

CIColor CIFilter::colorForKey(const QString& key) const {
    QVariant v = m_values.value(key);
    if (!v.isValid()) v = inputAttributes(key).value(kCIAttributeDefault);
    return v.canConvert<CIColor>() ? v.value<CIColor>() : CIColor(0, 0, 0, 0);
}

CIImage CIFilter::imageForKey(const QString& key) const {
    return m_values.value(key).value<CIImage>();
}

QTransform CIFilter::transformForKey(const QString& key) const {
    QVariant v = m_values.value(key);
    if (!v.isValid()) v = inputAttributes(key).value(kCIAttributeDefault);
    return v.value<QTransform>();
}

}  // namespace cif
