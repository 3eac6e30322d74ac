#include "core/QCCompositionRepository.h"

#include <QHash>

namespace cif {

namespace {

QHash<QString, QCCompositionRepositoryClass>& classes() {
    static QHash<QString, QCCompositionRepositoryClass> table;
    return table;
}

}  // namespace

void registerCompositionRepositoryClass(const QString& className,
                                        QCCompositionRepositoryClass sharedRepository) {
    if (sharedRepository)
        classes().insert(className, std::move(sharedRepository));
    else
        classes().remove(className);
}

QCCompositionRepositoryClass compositionRepositoryClassNamed(const QString& className) {
    return classes().value(className);
}

}  // namespace cif
