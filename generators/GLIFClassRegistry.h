#pragma once
// Generator classes by name: the registry behind making a generator from the
// class name a catalog entry holds. Classes are added from an explicit list
// (registerGeneratorClasses), on the main thread.

#include <QString>
#include <QStringList>
#include <functional>
#include <memory>

#include "generators/GLIFCoreObject.h"

namespace cif {

using GLIFClassConstructor = std::function<std::unique_ptr<GLIFCoreObject>()>;

// Adds or replaces a class.
void registerGLIFClass(const QString& className, GLIFClassConstructor constructor);
// A new instance made with the class's plain initialiser, or nullptr when no
// class has that name.
std::unique_ptr<GLIFCoreObject> instantiateGLIFClass(const QString& className);
bool isGLIFClassRegistered(const QString& className);
QStringList registeredGLIFClasses();

// Registers every generator class the plug-in ships. Idempotent.
void registerGeneratorClasses();

}  // namespace cif
