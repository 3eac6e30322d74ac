#pragma once
// The registry of composition repository classes by name. Our platform has
// none, so a look-up answers nothing unless a host registers a class under
// "QCCompositionRepository" (the repository types are part of the host
// interface).

#include <QString>

#include "cif/QCCompositionRepository.h"

namespace cif {

// Registers (or, with an empty function, removes) a class by name.
void registerCompositionRepositoryClass(const QString& className,
                                        QCCompositionRepositoryClass sharedRepository);
// The class of that name; an empty function when there is none.
QCCompositionRepositoryClass compositionRepositoryClassNamed(const QString& className);

}  // namespace cif
