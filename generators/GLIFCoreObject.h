#pragma once
// GLIFCoreObject: the base of the procedural generators. Each generator class
// is registered by its class name (GLIFClassRegistry.h) so the catalog and
// the principal object make instances from the names they hold.

#include <QString>
#include <QStringList>
#include <QVariantMap>

namespace cif {

class GLIFCoreObject {
public:
    virtual ~GLIFCoreObject() = default;
    GLIFCoreObject(const GLIFCoreObject&) = delete;
    GLIFCoreObject& operator=(const GLIFCoreObject&) = delete;

    // The name the class is registered under ("GLIF_Plasma").
    virtual QString className() const = 0;

    // The generator's parameter keys, its output keys and the description of
    // each parameter ("GLIFMinValue", "GLIFMaxValue", "GLIFDefValue").
    virtual QStringList GLIFQueryInputKeys() const { return {}; }
    virtual QStringList GLIFQueryOutputKeys() const { return {}; }
    virtual QVariantMap GLIFQueryAttributes() const { return {}; }

protected:
    GLIFCoreObject() = default;
};

}  // namespace cif
