#include "platform/image/CIFilter.h"

#include <QDebug>
#include <QMap>
#include <QMutex>
#include <QPointF>
#include <QRectF>
#include <cmath>
#include <limits>

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

bool CIFilter::conform(const QString& key, QVariant& value) const {
    const QVariantMap a = inputAttributes(key);
    const QString cls = a.value(kCIAttributeClass).toString();
    if (!cls.isEmpty() && !convertToAttributeClass(cls, value)) return false;
    if (cls == kCIClassNumber && value.metaType().id() != QMetaType::Bool) {
        const double v = value.toDouble();
        if (std::isnan(v)) {
            value = a.value(kCIAttributeDefault, 0.0);
            return true;
        }
        const QVariant lo = a.value(kCIAttributeMin), hi = a.value(kCIAttributeMax);
        double c = v;
        if (lo.isValid() && c < lo.toDouble()) c = lo.toDouble();
        if (hi.isValid() && c > hi.toDouble()) c = hi.toDouble();
        // Infinities with no bound become the largest finite value.
        if (std::isinf(c)) c = c > 0 ? 1e300 : -1e300;
        if (c != v) {
            // A whole number keeps its kind (int and double are different
            // things to the editor) unless the bound it was clamped to is not whole.
            const int id = value.metaType().id();
            const bool whole = c == std::trunc(c);
            if (id == QMetaType::Int && whole && std::abs(c) <= std::numeric_limits<int>::max())
                value = int(c);
            else if (id == QMetaType::LongLong && whole && std::abs(c) < 9.2e18)
                value = qlonglong(c);
            else
                value = c;
        }
    }
    return true;
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
    if (!conform(key, v)) {
        qWarning().noquote() << QStringLiteral(
                                    "%1: value of type %2 is not valid for '%3'; ignored")
                                    .arg(m_name, QString::fromLatin1(value.typeName()), key);
        return;
    }
    m_values.insert(key, v);
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
