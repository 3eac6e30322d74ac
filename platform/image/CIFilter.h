#pragma once
// CIFilter: a filter object with inputs by key, its attribute description,
// and the process-wide registry of filter names.
//
// A filter's inputs are described once, as data: the attributes dictionary
// registered with the filter's name (input key -> CIAttribute* dictionary,
// plus display name and categories). Input values are checked against that
// description when they are set: a value of the wrong class is refused, a
// value holding NaN (a number, or any component of a vector, colour or
// transform) becomes the default, one holding an infinity is refused, and
// finite values are taken as given, also outside the attribute's min and max.
// The range is enforced where a person enters a value (the editor's controls,
// the command line); every filter bounds what sizes its own loops and
// allocations, whatever finite values it is given.

#include <QStringList>
#include <QTransform>
#include <QVariant>
#include <QVariantMap>
#include <functional>
#include <memory>

#include "platform/image/CIAttributes.h"
#include "platform/image/CIColor.h"
#include "platform/image/CIImage.h"
#include "platform/image/CIVector.h"

namespace cif {

class CIKernel;

class CIFilter {
public:
    // Makes a new instance for a registered name (the name is passed so one
    // constructor can serve several names).
    using Constructor = std::function<std::unique_ptr<CIFilter>(const QString& name)>;

    virtual ~CIFilter();
    CIFilter(const CIFilter&) = delete;
    CIFilter& operator=(const CIFilter&) = delete;

    // ---- the registry (process-wide; register on the main thread)

    // Registers or replaces name. classAttributes holds
    // kCIAttributeFilterDisplayName, kCIAttributeFilterCategories and one
    // attribute dictionary per input key. inputKeys gives their order; when
    // empty, the input keys are the dictionary's keys that begin with
    // "input", with "inputImage" first.
    static void registerFilterNameConstructorClassAttributes(const QString& name,
                                                             Constructor constructor,
                                                             const QVariantMap& classAttributes,
                                                             const QStringList& inputKeys = {});
    // A new instance with its defaults set, or nullptr for an unknown name.
    static std::unique_ptr<CIFilter> filterWithName(const QString& name);
    // Registered names in the category, sorted; all names for an empty category.
    static QStringList filterNamesInCategory(const QString& category);
    // Names in every one of the categories, sorted; all names when none are given.
    static QStringList filterNamesInCategories(const QStringList& categories);
    static bool isRegistered(const QString& name);
    // The attributes registered with the name (empty map when unknown).
    static QVariantMap classAttributesForName(const QString& name);

    // ---- the instance

    QString name() const { return m_name; }
    // The registered class attributes plus kCIAttributeFilterName; subclasses
    // extend it.
    virtual QVariantMap attributes() const;
    virtual QStringList inputKeys() const;
    virtual QStringList outputKeys() const;
    // Every input with a default gets it; inputs without one are cleared.
    virtual void setDefaults();
    // Sets an input. Unknown keys, values of the wrong class and infinities are
    // logged and ignored; NaN gives the default; an invalid QVariant clears the
    // input.
    virtual void setValueForKey(const QVariant& value, const QString& key);
    // An input's value, or "outputImage" (computed on request).
    virtual QVariant valueForKey(const QString& key) const;
    // The result for the current inputs; the null image when it cannot be made.
    virtual CIImage outputImage() const;

    // Typed reads of inputs for filter computations: the value, else the
    // attribute's default, else a neutral value.
    double numberForKey(const QString& key) const;
    CIVector vectorForKey(const QString& key) const;
    CIColor colorForKey(const QString& key) const;
    CIImage imageForKey(const QString& key) const;
    QTransform transformForKey(const QString& key) const;

    // The image of a kernel applied to arguments bound to its parameters in
    // order: float takes a number, vec2/vec3/vec4 a CIVector, __color a
    // CIColor (converted into the working space of each render), sampler a
    // CISampler or a CIImage. Option kCIApplyOptionDefinition (a CISampler or
    // CIImage) gives the result's extent; without it the extent is the first
    // sampler's image's, or infinite when the kernel has no sampler. A wrong
    // argument count or type logs one line and answers the null image.
    // Defined by the kernel runtime (platform/kernel).
    CIImage apply(const CIKernel& kernel, const QVariantList& arguments,
                  const QVariantMap& options = {}) const;

protected:
    CIFilter();
    // The attribute dictionary of one input key (empty when undescribed).
    QVariantMap inputAttributes(const QString& key) const;

private:
    friend class FilterRegistry;
    enum class Conformance { Taken, Default, WrongClass, Infinite };
    // Converts a value into the canonical class of the input and replaces a
    // value holding NaN by the input's default (an invalid QVariant when it
    // has none); says which of these happened, or why the value is refused.
    Conformance conform(const QString& key, QVariant& value) const;

    QString m_name;
    QVariantMap m_values;
};

// Converts a value from a QVariant into the platform class named by
// `attributeClass` ("NSNumber", "CIVector", "CIColor", "CIImage",
// "NSAffineTransform"). Used by filters, the command line and the editor.
bool convertToAttributeClass(const QString& attributeClass, QVariant& value);

}  // namespace cif
