#pragma once
// The composition repository a host may supply: a source of image-filter
// compositions, which the plug-in looks up by class name at run time as the
// platform looks up optional classes. The plug-in has none of its own; a
// host registers one with CIFPlugIn::registerCompositionRepositoryClass.

#include <QMetaType>
#include <QString>
#include <QStringList>
#include <QVariantMap>
#include <functional>
#include <memory>
#include <vector>

namespace cif {

struct QCComposition {
    QString identifier;
    // The composition's attributes: "name", "category",
    // "QCCompositionAttributeIsTimeDependentKey" (bool) where it depends on
    // time, and one dictionary per input port keyed by the port's key,
    // holding "QCPortAttributeTypeKey" ("QCPortTypeNumber",
    // "QCPortTypeIndex", "QCPortTypeBoolean", "QCPortTypeColor",
    // "QCPortTypeImage", ...) and where given "QCPortAttributeNameKey",
    // "QCPortAttributeMinimumValueKey", "QCPortAttributeMaximumValueKey",
    // "QCPortAttributeMenuItemsKey" (a list of strings; "-" a separator).
    QVariantMap attributes;
    // The input ports in the composition's order; when empty, the keys of
    // the port dictionaries of `attributes` are used.
    QStringList inputKeys;
    // The current value of each input port, as a renderer opened on the
    // composition reports it (number, bool, QColor, ...).
    QVariantMap inputValues;
};

class QCCompositionRepository {
public:
    virtual ~QCCompositionRepository() = default;
    // The compositions conforming to every protocol and matching the
    // attributes, in the repository's order.
    virtual std::vector<QCComposition> compositionsWithProtocolsAndAttributes(
        const QStringList& protocols, const QVariantMap& attributes) const = 0;
    // The composition with that identifier; false when there is none. By
    // default searched among all compositions.
    virtual bool compositionWithIdentifier(const QString& identifier, QCComposition* out) const {
        for (const QCComposition& c : compositionsWithProtocolsAndAttributes({}, {})) {
            if (c.identifier != identifier) continue;
            if (out) *out = c;
            return true;
        }
        return false;
    }
};

// A repository class: answers its shared repository, or nullptr when there
// is none.
using QCCompositionRepositoryClass = std::function<std::shared_ptr<QCCompositionRepository>()>;

}  // namespace cif

Q_DECLARE_METATYPE(cif::QCComposition)
