#include "generators/GLIFClassRegistry.h"

#include <QHash>
#include <mutex>

#include "generators/GLIF_AbstractLines.h"
#include "generators/GLIF_Biomorph.h"
#include "generators/GLIF_Cafel.h"
#include "generators/GLIF_CircleRipples.h"
#include "generators/GLIF_ColourBars.h"
#include "generators/GLIF_Dabs.h"
#include "generators/GLIF_FlashLines.h"
#include "generators/GLIF_Foam.h"
#include "generators/GLIF_HilbertCurve.h"
#include "generators/GLIF_Parquet.h"
#include "generators/GLIF_Plasma.h"
#include "generators/GLIF_RadialPlasma.h"
#include "generators/GLIF_SandGlass.h"
#include "generators/GLIF_Shapes.h"
#include "generators/GLIF_Spiral.h"
#include "generators/GLIF_StarField.h"
#include "generators/GLIF_Texture.h"
#include "generators/GLIF_Triangles.h"
#include "generators/GLIF_TwistPolygons.h"
#include "generators/GLIF_TwistedSquares.h"

namespace cif {

namespace {

QHash<QString, GLIFClassConstructor>& classes() {
    static QHash<QString, GLIFClassConstructor> table;
    return table;
}

// Registers G under the name its instances give.
template <class G>
void registerClass() {
    registerGLIFClass(G().className(), [] { return std::make_unique<G>(); });
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
        registerClass<GLIF_Plasma>();
        registerClass<GLIF_TwistedSquares>();
        registerClass<GLIF_TwistPolygons>();
        registerClass<GLIF_FlashLines>();
        registerClass<GLIF_HilbertCurve>();
        registerClass<GLIF_ColourBars>();
        registerClass<GLIF_StarField>();
        registerClass<GLIF_Foam>();
        registerClass<GLIF_Cafel>();
        registerClass<GLIF_Dabs>();
        registerClass<GLIF_Triangles>();
        registerClass<GLIF_Parquet>();
        registerClass<GLIF_Texture>();
        registerClass<GLIF_Biomorph>();
        registerClass<GLIF_SandGlass>();
        registerClass<GLIF_Spiral>();
        registerClass<GLIF_CircleRipples>();
        registerClass<GLIF_AbstractLines>();
        registerClass<GLIF_RadialPlasma>();
        registerClass<GLIF_Shapes>();
    });
}

}  // namespace cif
