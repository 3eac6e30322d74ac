#include "generators/GLIFClassRegistry.h"

#include <QHash>
#include <mutex>

#include "generators/GLIF_Plasma.h"

namespace cif {

namespace {

QHash<QString, GLIFClassConstructor>& classes() {
    static QHash<QString, GLIFClassConstructor> table;
    return table;
}

}  // namespace

void registerGLIFClass(const QString& className, GLIFClassConstructor constructor) {
    classes().insert(className, std::move(constructor));
}

std::unique_ptr<GLIFCoreObject> instantiateGLIFClass(const QString& className) {
    const auto it = classes().constFind(className);
    if (it == classes().constEnd() || !*it) return nullptr;
    return (*it)();
}

bool isGLIFClassRegistered(const QString& className) {
    return classes().contains(className);
}

QStringList registeredGLIFClasses() {
    QStringList names = classes().keys();
    names.sort();
    return names;
}

void registerGeneratorClasses() {
    static std::once_flag once;
    std::call_once(once, [] {
        registerGLIFClass(QStringLiteral("GLIF_Plasma"),
                          [] { return std::make_unique<GLIF_Plasma>(); });
    });
}

}  // namespace cif
