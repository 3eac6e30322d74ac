#pragma once
// The composition repository a host may supply: a source of image-filter
// compositions, looked up by class name at run time as the platform looks up
// optional classes. Our platform has none, so the look-up answers nothing
// unless a host registers a class under "QCCompositionRepository".

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
    // The composition's attributes: "name", "category", and one dictionary
    // per port holding "QCPortAttributeTypeKey".
    QVariantMap attributes;
};

class QCCompositionRepository {
public:
    virtual ~QCCompositionRepository() = default;
    // The compositions conforming to every protocol and matching the
    // attributes, in the repository's order.
    virtual std::vector<QCComposition> compositionsWithProtocolsAndAttributes(
        const QStringList& protocols, const QVariantMap& attributes) const = 0;
};

// A repository class: answers its shared repository, or nullptr when there
// is none.
using QCCompositionRepositoryClass = std::function<std::shared_ptr<QCCompositionRepository>()>;

// Registers (or, with an empty function, removes) a class by name.
void registerCompositionRepositoryClass(const QString& className,
                                        QCCompositionRepositoryClass sharedRepository);
// The class of that name; an empty function when there is none.
QCCompositionRepositoryClass compositionRepositoryClassNamed(const QString& className);

}  // namespace cif

Q_DECLARE_METATYPE(cif::QCComposition)
