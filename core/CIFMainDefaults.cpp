// Default parameters from the bundle's property list, the point and vector
// helpers, and the conversion of editor values into filter inputs.

#include <QMutex>
#include <QtMath>
#include <cmath>

#include "core/CIFBundle.h"
#include "core/CIFMain.h"
#include "core/PropertyList.h"
#include "core/VNAdditional.h"
#include "platform/image/CIAttributes.h"

namespace cif {

namespace {

// The property list, read on first use and kept. A list that cannot be read
// is reported once and stays missing for the life of the process: reading
// it again on every look-up would log the same line each time.
struct DefaultsCache {
    QMutex mutex;
    bool read = false;
    std::optional<QVariantMap> parameters;
};

DefaultsCache& defaultsCache() {
    static DefaultsCache cache;
    return cache;
}

std::optional<QVariantMap> defaultParameterList() {
    DefaultsCache& cache = defaultsCache();
    QMutexLocker lock(&cache.mutex);
    if (!cache.read) {
        const QString path = CIFBundle::resourcePath(QStringLiteral("VNDefaultParameters.plist"));
        if (path.isEmpty()) return std::nullopt;
        cache.read = true;
        QString error;
        const QVariant list = PropertyList::readFile(path, &error);
        if (list.typeId() != QMetaType::QVariantMap) {
            qWarning("default parameters unreadable: %s",
                     qUtf8Printable(error.isEmpty() ? path + QStringLiteral(": not a dictionary")
                                                    : error));
            return std::nullopt;
        }
        cache.parameters = list.toMap();
    }
    return cache.parameters;
}

double number(const QVariant& v, double fallback = 0) {
    bool ok = false;
    const double d = v.toDouble(&ok);
    return ok && std::isfinite(d) ? d : fallback;
}

// A number the list gives for a component: absent or unreadable ones take
// the fallback; NaN and infinities make the whole value unusable.
bool component(const QVariant& v, double fallback, double& out) {
    bool ok = false;
    const double d = v.toDouble(&ok);
    out = ok ? d : fallback;
    return std::isfinite(out);
}

// An offset as the list writes it: [x, y], {"angle", "radius"} or {"x", "y"};
// nothing when a number in it is not finite.
std::optional<CIVector> offsetFrom(const QVariant& value) {
    double x = 0, y = 0;
    if (value.typeId() == QMetaType::QVariantList) {
        const QVariantList list = value.toList();
        if (!component(list.value(0), 0, x) || !component(list.value(1), 0, y)) return {};
        return CIVector{x, y};
    }
    if (value.typeId() == QMetaType::QVariantMap) {
        const QVariantMap m = value.toMap();
        if (m.contains(QStringLiteral("angle")) || m.contains(QStringLiteral("radius"))) {
            double a = 0, r = 0;
            if (!component(m.value(QStringLiteral("angle")), 0, a) ||
                !component(m.value(QStringLiteral("radius")), 0, r))
                return {};
            return CIVector{r * std::cos(a), r * std::sin(a)};
        }
        if (m.contains(QStringLiteral("x")) || m.contains(QStringLiteral("y"))) {
            if (!component(m.value(QStringLiteral("x")), 0, x) ||
                !component(m.value(QStringLiteral("y")), 0, y))
                return {};
            return CIVector{x, y};
        }
    }
    return CIVector{0, 0};
}

// The transform of scale s, angle a, stretch t, skew k and translation;
// nothing when a number in it is not finite.
std::optional<QTransform> transformFrom(const QVariantMap& m) {
    double s = 1, a = 0, t = 1, k = 0, tx = 0, ty = 0;
    if (!component(m.value(QStringLiteral("scale")), 1.0, s) ||
        !component(m.value(QStringLiteral("angle")), 0, a) ||
        !component(m.value(QStringLiteral("stretch")), 1.0, t) ||
        !component(m.value(QStringLiteral("skew")), 0, k) ||
        !component(m.value(QStringLiteral("tx")), 0, tx) ||
        !component(m.value(QStringLiteral("ty")), 0, ty))
        return {};
    const auto f = [](double v) { return double(float(v)); };
    return QTransform(f(s * t * (std::cos(a) - k * std::sin(a))),
                      f(s * t * (k * std::cos(a) + std::sin(a))), f(-s * std::sin(a)),
                      f(s * std::cos(a)), f(tx), f(ty));
}

CIImage imageFromPicture(const HostImage& picture) {
    return picture.isNull() ? CIImage() : CIImage::imageWithHostImage(picture);
}

}  // namespace

// ---- the property list

std::optional<QVariantMap> CIFMain::CIFDefaultParametersForFilterName(
    const QString& identifier) const {
    const auto list = defaultParameterList();
    if (!list || !list->contains(identifier)) return std::nullopt;
    return list->value(identifier).toMap();
}

void CIFMain::addDefaultParametersToDictionaryWithFilterName(QVariantMap& dictionary,
                                                             const QString& identifier) const {
    const auto parameters = CIFDefaultParametersForFilterName(identifier);
    if (!parameters) return;
    const auto filter = CIFilter::filterWithName(identifier);
    const QVariantMap attributes = filter ? filter->attributes() : QVariantMap();
    for (auto it = parameters->cbegin(); it != parameters->cend(); ++it) {
        const QString& key = it.key();
        if (!attributes.contains(key)) continue;
        const QVariantMap attribute = attributes.value(key).toMap();
        const QString cls = attribute.value(kCIAttributeClass).toString();
        const QVariant& value = it.value();
        // A vector or transform holding a number that is not finite gives
        // the input's own default.
        const auto insertOrDefault = [&](const auto& converted) {
            if (converted)
                dictionary.insert(key, QVariant::fromValue(*converted));
            else if (const QVariant def = attribute.value(kCIAttributeDefault); def.isValid())
                dictionary.insert(key, def);
        };
        if (cls == QLatin1String("NSNumber")) {
            dictionary.insert(key, value);
        } else if (cls == QLatin1String("CIVector")) {
            if (attribute.value(kCIAttributeType) == kCIAttributeTypeOffset) {
                insertOrDefault(offsetFrom(value));
            } else if (value.typeId() == QMetaType::QVariantList) {
                const QVariantList list = value.toList();
                std::optional<CIVector> vector;
                std::vector<double> components;
                bool finite = true;
                for (qsizetype i = 0; i < std::min<qsizetype>(list.size(), 4); ++i) {
                    double c = 0;
                    finite = component(list.at(i), 0, c) && finite;
                    components.push_back(c);
                }
                if (finite) vector = CIVector(std::move(components));
                insertOrDefault(vector);
            }
        } else if (cls == QLatin1String("CIColor")) {
            if (const auto color = colorFromString(value.toString()))
                dictionary.insert(
                    key, QVariant::fromValue(CIColor(color->redF(), color->greenF(), color->blueF(),
                                                     color->alphaF())));
        } else if (cls == QLatin1String("NSAffineTransform")) {
            insertOrDefault(transformFrom(value.toMap()));
        } else if (cls == QLatin1String("CIImage")) {
            const QString name = value.toString();
            HostImage picture;
            if (key == QLatin1String("inputShadingImage"))
                picture = CIFShadingMaterialWithName(name);
            else if (key == QLatin1String("inputTexture") ||
                     key == QLatin1String("inputDisplacementImage"))
                picture = CIFGlassTextureWithName(name);
            if (!picture.isNull()) {
                dictionary.insert(key, QVariant::fromValue(picture));
            } else if (key == QLatin1String("inputMaskImage")) {
                const CIImage mask = imageFromPicture(CIFMaskWithName(name));
                if (!mask.isNull()) dictionary.insert(key, QVariant::fromValue(mask));
            }
        }
    }
}

std::optional<QVariantMap> CIFMain::CIFDefaultPointsForFilterName(const QString& filterName) const {
    const auto filter = CIFilter::filterWithName(filterName);
    if (!filter) return std::nullopt;
    const QVariantMap attributes = filter->attributes();
    QVariantMap points;
    for (const QString& key : filter->inputKeys()) {
        const QVariantMap attribute = attributes.value(key).toMap();
        const QString type = attribute.value(kCIAttributeType).toString();
        if (type != kCIAttributeTypePosition && type != QLatin1String("CIAttributeTypePosition3"))
            continue;
        points.insert(key, pointValue(attribute.value(kCIAttributeDefault).value<CIVector>()));
    }
    if (points.isEmpty()) return std::nullopt;
    return points;
}

// ---- points and vectors

QPointF CIFMain::CIFValueForCIVector(const CIVector& vector) const {
    return pointValue(vector);
}

CIVector CIFMain::CIFVectorFromPointValue(const QPointF& point) const {
    return CIVector{point.x(), point.y()};
}

CIVector CIFMain::CIFMergeNewPointValueAndOldCIVector(const QPointF& point,
                                                      const CIVector& old) const {
    switch (old.count()) {
        case 2:
            return CIVector{point.x(), point.y()};
        case 3:
            return CIVector{point.x(), point.y(), old.Z()};
        default:
            return CIVector{point.x(), point.y(), old.Z(), old.W()};
    }
}

CIVector CIFMain::CIFMergeCIVectorWithComponentNumValueInOldCIVector(int component, float value,
                                                                     const CIVector& old) const {
    std::vector<double> values = old.values();
    if (component >= 0 && size_t(component) < values.size()) values[size_t(component)] = value;
    return CIVector(std::move(values));
}

// ---- editor values to filter inputs

CIFilter* CIFMain::cachedFilterInstance(const QString& identifier) {
    if (identifier != _currFilterName || !_CIFilterInstance) {
        _currFilterName = identifier;
        _CIFilterInstance = CIFilter::filterWithName(identifier);
        if (_CIFilterInstance) _CIFilterInstance->setDefaults();
    }
    return _CIFilterInstance.get();
}

QVariantMap CIFMain::prepareAttributes(const QVariantMap& parameters) const {
    QVariantMap result;
    const QVariantMap attributes = _CIFilterInstance
                                       ? _CIFilterInstance->attributes()
                                       : CIFilter::classAttributesForName(_currFilterName);
    // The main picture's extent: secondary pictures are stretched over it.
    const CIImage mainImage =
        _CIFilterInstance ? _CIFilterInstance->imageForKey(kCIInputImageKey) : CIImage();

    // Plain keys first, so the pseudo-keys below can refine what they hold.
    for (auto it = parameters.cbegin(); it != parameters.cend(); ++it) {
        const QString& key = it.key();
        const QVariant& value = it.value();
        if (key == QLatin1String("CIFVectors") || key == QLatin1String("CIFOffsets")) continue;
        const QVariantMap attribute = attributes.value(key).toMap();
        const int type = value.typeId();
        if (key == QLatin1String("GLIFRandomSeed") || key == QLatin1String("GLIFBrush") ||
            key.startsWith(QLatin1String("GLIF_")) || key == QLatin1String("inputTransform")) {
            result.insert(key, value);
        } else if (type == QMetaType::QPointF) {
            if (attribute.value(kCIAttributeType) == kCIAttributeTypePosition)
                result.insert(key, QVariant::fromValue(CIFVectorFromPointValue(value.toPointF())));
            else
                result.insert(key, value);
        } else if (type == QMetaType::QColor) {
            const QColor c = value.value<QColor>().toRgb();
            result.insert(
                key, QVariant::fromValue(CIColor(c.redF(), c.greenF(), c.blueF(), c.alphaF())));
        } else if (value.canConvert<HostImage>() && type == qMetaTypeId<HostImage>()) {
            CIImage image = imageFromPicture(value.value<HostImage>());
            const bool keepsOwnGeometry =
                key == QLatin1String("imputImage") || key == QLatin1String("inputShadingImage") ||
                key == QLatin1String("inputTexture") || key == QLatin1String("inputGradientImage");
            if (!keepsOwnGeometry && !mainImage.isNull() && !image.isNull() &&
                !mainImage.isInfinite())
                image = imageTransformedToRect(image, mainImage.extent());
            result.insert(key, QVariant::fromValue(image));
        } else {
            result.insert(key, value);
        }
    }

    // "CIFVectors": components of vector inputs, by index ("0", "1", ...).
    const QVariantMap vectors = parameters.value(QStringLiteral("CIFVectors")).toMap();
    for (auto it = vectors.cbegin(); it != vectors.cend(); ++it) {
        const CIVector current =
            _CIFilterInstance ? _CIFilterInstance->vectorForKey(it.key()) : CIVector();
        const QVariantMap components = it.value().toMap();
        std::vector<double> values = current.values();
        for (size_t i = 0; i < values.size(); ++i) {
            const QString index = QString::number(i);
            if (components.contains(index)) values[i] = number(components.value(index), values[i]);
        }
        result.insert(it.key(), QVariant::fromValue(CIVector(std::move(values))));
    }

    // "CIFOffsets": offsets as radius and angle; a missing one keeps what the
    // vector already in the result has.
    const QVariantMap offsets = parameters.value(QStringLiteral("CIFOffsets")).toMap();
    for (auto it = offsets.cbegin(); it != offsets.cend(); ++it) {
        const QVariantMap polar = it.value().toMap();
        float radius = 0, angle = 0;
        if (result.contains(it.key())) {
            const CIVector existing = result.value(it.key()).value<CIVector>();
            decart_to_polar(float(existing.X()), float(existing.Y()), &radius, &angle);
        }
        const double r = number(polar.value(QStringLiteral("radius"), double(radius)), radius);
        const double a = number(polar.value(QStringLiteral("angle"), double(angle)), angle);
        result.insert(it.key(), QVariant::fromValue(CIVector{r * std::cos(a), r * std::sin(a)}));
    }

    // Corrections some filters need.
    static const QStringList extentTransitions = {
        QStringLiteral("CICopyMachineTransition"), QStringLiteral("CIFlashTransition"),
        QStringLiteral("CIPageCurlTransition"), QStringLiteral("CIRippleTransition"),
        QStringLiteral("CISwipeTransition")};
    if (extentTransitions.contains(_currFilterName)) {
        const QVariant input = parameters.value(kCIInputImageKey);
        CIImage image = input.value<CIImage>();
        if (image.isNull() && input.typeId() == qMetaTypeId<HostImage>())
            image = imageFromPicture(input.value<HostImage>());
        if (!image.isNull() && !image.isInfinite()) {
            const QRectF e = image.extent();
            result.insert(QStringLiteral("inputExtent"),
                          QVariant::fromValue(CIVector{e.x(), e.y(), e.width(), e.height()}));
        }
    }
    if (_currFilterName == QLatin1String("CIKaleidoscope") &&
        result.contains(QStringLiteral("inputCount")) &&
        std::abs(number(result.value(QStringLiteral("inputCount")))) < 1.0)
        result.insert(QStringLiteral("inputCount"), 1.0);
    if (_currFilterName == QLatin1String("CITorusLensDistortion") &&
        result.contains(QStringLiteral("inputRefraction")) &&
        std::abs(number(result.value(QStringLiteral("inputRefraction")))) < 0.0001)
        result.insert(QStringLiteral("inputRefraction"), 0.0001);
    return result;
}

}  // namespace cif
