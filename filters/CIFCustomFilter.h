#pragma once
// The common ground of the plug-in's own filters. Each filter class registers
// itself with the platform's filter registry the first time it is touched
// (its touchClass()), under a "CIF" name, with its display name, the three
// categories all of them share, and the input descriptions some classes give
// at registration. Instances describe their inputs as the registry does,
// extended by the class's own descriptions, where registered values win.

#include <QList>
#include <QMutex>
#include <QString>
#include <QTransform>
#include <QVariantMap>
#include <memory>
#include <utility>

#include "platform/image/CIFilter.h"
#include "platform/kernel/CIKernel.h"

namespace cif {

class CIFCustomFilter : public CIFilter {
public:
    // "inputImage", then the class's inputs in declaration order.
    QStringList inputKeys() const override;
    // The registered description, each input's class, and the class's own
    // entries for keys the registered description lacks.
    QVariantMap attributes() const override;

protected:
    CIFCustomFilter() = default;

    struct Input {
        QString key;
        QString attributeClass;  // "NSNumber", "CIVector", "CIColor", "CIImage"
    };
    // The inputs after "inputImage", in declaration order.
    virtual QList<Input> declaredInputs() const = 0;
    // The class's own description per input key.
    virtual QVariantMap ownAttributes() const { return {}; }

    // The kernel applied to a sampler of "inputImage" followed by arguments,
    // over the sampler's definition; the null image without an input image
    // or a kernel.
    CIImage applyKernelToInput(const CIKernel& kernel, const QVariantList& arguments) const;

    // A filter of the registry with its defaults set; null (logged) when the
    // name is unknown.
    static std::unique_ptr<CIFilter> innerFilter(const QString& name);
};

// A kernel shared by all instances of one class: compiled from its source on
// first use; a failed compile leaves it empty and the next use tries again.
class ClassKernel {
public:
    explicit ClassKernel(const char* source) : m_source(source) {}
    CIKernel kernel();

private:
    const char* m_source;
    QMutex m_mutex;
    CIKernel m_kernel;
};

// Registers a custom filter class: display name, the categories still image,
// interlaced and non-square pixels, and one attribute dictionary per entry of
// `inputs`. Answers true so a class can keep the call in a function-local
// static and register exactly once.
bool registerCustomFilterClass(const QString& filterName, const QString& displayName,
                               CIFilter::Constructor constructor, const QVariantMap& inputs = {});

// Scalar input description: type scalar, identity, default, slider and range.
QVariantMap scalarInputAttributes(double identity, double defaultValue, double sliderMin,
                                  double sliderMax, double min, double max);
// A point or colour input described by its default only.
QVariantMap vectorInputAttributes(double x, double y);
QVariantMap colorInputAttributes(double r, double g, double b, double a);

// The transform of scale s, angle a (radians), stretch t and skew k, moved by
// (x, y); each entry computed in single precision.
QTransform affineConstruction(float s, float a, float t, float k, float x, float y);

// Forces the registration of the nine filter classes the catalog lists.
void touchCatalogFilterClasses();
// Registers every class, including the three nothing forces.
void touchAllFilterClasses();

}  // namespace cif
