#pragma once
// The interface a host uses to talk to the CIF Effects plug-in.
//
// The bundle CIFEffects.plugin holds a Qt plug-in (lib/libcifeffects.so)
// whose root object implements CIFPlugInFactory; the factory hands out
// principal objects (CIFPlugIn), one per host document or window. Find and
// load the bundle with the helpers of CIFPlugInLoader.h, which refuse a
// bundle of another interface version with a message.
//
// Conventions of every operation below:
// - All calls are made on the host's main thread.
// - Catalog data travel as Qt dictionaries and arrays: a category descriptor
//   is a QVariantMap with "CIFCategoryName" (QString) and "CIFFilterList"
//   (QVariantList of filter descriptors); a filter descriptor is a
//   QVariantMap keyed by "CIFFilterName", "CIFFilterIdentifier",
//   "CIFFilterIcon", "CIFFilterStyle", "CIFTag" and, where present,
//   "CIFFilterDefValue1".."CIFFilterDefValue4", "CIFFilterMaxValue",
//   "CIFMultiPoints", "CIFBits", "GROUP_TAG" and "DESC_LIST". Numbers keep
//   their kind (int or double); a tag may be an int or its decimal string.
// - "No answer" is a null QString, an empty std::optional or an empty list,
//   as each operation says. Category and entry indexes out of range throw
//   std::out_of_range; nothing else throws.
// - Display names and category names are English keys; pass them through
//   localizedString() before showing them.

#include <QColor>
#include <QList>
#include <QObject>
#include <QPointF>
#include <QRectF>
#include <QSizeF>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVariantList>
#include <QVariantMap>
#include <QtPlugin>
#include <functional>
#include <memory>
#include <optional>

#include "cif/QCCompositionRepository.h"
#include "platform/host/HostImage.h"
#include "platform/image/CIImage.h"
#include "platform/image/CIVector.h"

class QWidget;

namespace cif {

// The interface version: a host accepts only a bundle with equal numbers.
inline constexpr unsigned kCIFPlugInMajorVersion = 2;
inline constexpr unsigned kCIFPlugInMinorVersion = 3;

// The principal object.
class CIFPlugIn {
public:
    virtual ~CIFPlugIn() = default;

    // ---- settings and identity

    // Chooses the catalog every later query answers from: 0 filters,
    // 1 generators. Any other index is logged and changes nothing.
    virtual void CIFSetEffectsSet(unsigned index) = 0;
    // The backdrop colour of previews; stored opaque whatever its alpha.
    virtual void CIFSetBackgroundColor(const QColor& color) = 0;
    virtual unsigned CIFMajorPlugInVersion() const = 0;
    virtual unsigned CIFMinorPlugInVersion() const = 0;
    virtual QString CIFCopyrightString() const = 0;
    // The key translated into the plug-in's language; the key itself when the
    // strings table has no translation.
    virtual QString localizedString(const QString& key) const = 0;

    // ---- categories of the current catalog

    virtual int CIFFilterCategoriesCount() const = 0;
    virtual QString CIFCategoryNameAtIndex(int index) const = 0;
    virtual QStringList CIFCategories() const = 0;
    // Entries of one category; a group counts as one entry.
    virtual int CIFFilterCountForCategoryAtIndex(int index) const = 0;
    virtual int CIFFilterCount() const = 0;
    // Length of the flat list with one separator slot between categories.
    virtual int CIFFilterCountBySkipCategory() const = 0;

    // ---- one entry by category index and index within it (entry first)

    virtual QString CIFFilterNameAtIndexForCategoryIndex(int index, int categoryIndex) const = 0;
    virtual QString CIFFilterIdentifierAtIndexForCategoryIndex(int index,
                                                               int categoryIndex) const = 0;
    // The icon's resource name (a file name without suffix under the bundle's
    // Resources/icons), not a picture.
    virtual QString CIFFilterIconAtIndexForCategoryIndex(int index, int categoryIndex) const = 0;

    // ---- the flat list. With skipCategories false one separator slot follows
    // each category; separator slots and indexes past the end answer null.

    virtual QString CIFFilterNameAtIndexSkipCategories(int index, bool skipCategories) const = 0;
    virtual QString CIFFilterIdentifierAtIndexSkipCategories(int index,
                                                             bool skipCategories) const = 0;
    // {"filterName", "filterCategory"} of the entry.
    virtual std::optional<QVariantMap> CIFFilterDescAtIndexSkipCategories(
        int index, bool skipCategories) const = 0;
    // For the separator slot after category i, the name of category i + 1.
    // Any other index reaches past the categories and throws
    // std::out_of_range: callers pass separator slots only.
    virtual QString CIFCategoryNameWithinFilterNameAtIndex(int index) const = 0;
    // Every identifier in flat order with the toolbar separator identifier
    // between categories: usable as a toolbar's item list.
    virtual QStringList CIFAllFilterIdentifiers() const = 0;
    virtual QString CIFFilterNameForID(const QString& identifier) const = 0;
    // The current catalog: a QVariantList of category descriptors.
    virtual QVariantList CIFAllFilterDescriptors() const = 0;

    // ---- descriptors by identifier

    // Group members are not searched; a group's own identifier finds it.
    virtual std::optional<QVariantMap> CIFDescriptorForFilterName(
        const QString& identifier) const = 0;
    // Groups are replaced by their members.
    virtual std::optional<QVariantMap> CIFDescriptorForFilterNameWithGroups(
        const QString& identifier) const = 0;
    // The members of the group entry with that identifier.
    virtual std::optional<QVariantList> CIFFiltersDescriptorForGroup(
        const QString& identifier) const = 0;

    // ---- a filter's or generator's inputs (empty when the identifier names
    // nothing that can be made)

    virtual QStringList CIFQueryInputKeysForFilter(const QString& identifier) = 0;
    virtual QStringList CIFQueryOutputKeysForFilter(const QString& identifier) = 0;
    virtual QVariantMap CIFQueryAttributesForFilter(const QString& identifier) = 0;

    // ---- default parameters from the bundle's property list

    // Input key -> value as the list holds it; nullopt when it has none.
    virtual std::optional<QVariantMap> CIFDefaultParametersForFilterName(
        const QString& identifier) const = 0;
    // The identifier's default parameters converted into input values and
    // stored into dictionary, replacing what it held under those keys.
    virtual void addDefaultParametersToDictionaryWithFilterName(
        QVariantMap& dictionary, const QString& identifier) const = 0;
    // Input key -> default position (QPointF) of a filter's position inputs;
    // nullopt when it has none.
    virtual std::optional<QVariantMap> CIFDefaultPointsForFilterName(
        const QString& filterName) const = 0;

    // ---- the picture libraries of the shared content folder. Glass
    // textures, brushes and shading materials are named by file name without
    // suffix; masks, gradients and backgrounds by their path below the
    // library folder. Unknown names answer the null picture.

    virtual QStringList CIFGlassTextureNames() const = 0;
    virtual HostImage CIFGlassTextureWithName(const QString& name) const = 0;
    virtual QStringList CIFBrushNames() const = 0;
    virtual HostImage CIFBrushWithName(const QString& name) const = 0;
    virtual QStringList CIFShadingMaterialNames() const = 0;
    virtual HostImage CIFShadingMaterialWithName(const QString& name) const = 0;
    virtual QStringList CIFMaskNames() const = 0;
    virtual HostImage CIFMaskWithName(const QString& name) const = 0;
    virtual QStringList CIFGradientNames() const = 0;
    virtual HostImage CIFGradientWithName(const QString& name) const = 0;
    virtual QStringList CIFBackgroundNames() const = 0;
    virtual HostImage CIFBackgroundWithName(const QString& name) const = 0;
    // Input key -> HostImage: the first picture of each library for the
    // secondary picture inputs.
    virtual QVariantMap CIFImageStorage() const = 0;

    // ---- applying an effect. A picture stays converted while only the
    // parameters change, so a slider can be dragged cheaply.

    // The picture with the effect applied, at its working size (vector
    // pictures at four times their size); null when no filter of that
    // identifier can be made. parameters maps input keys to editor values.
    virtual HostImage CIFApplyFilterAttributesForImage(const QString& identifier,
                                                       const QVariantMap& parameters,
                                                       const HostImage& image) = 0;
    // The live preview over a backdrop of the background colour.
    virtual CIImage CIFOutputImageForFilterAttributesForImage(const QString& identifier,
                                                              const QVariantMap& parameters,
                                                              const HostImage& image) = 0;

    // ---- generators. Parameters are the generator's "GLIF..." keys; the
    // process-wide random sequence is used, so seed it (srand) first for a
    // repeatable picture. Null when the class is unknown or it fails.

    // A picture of the host picture's size.
    virtual HostImage CIFGenerateLayerAttributesForImage(const QString& className,
                                                         const QVariantMap& attributes,
                                                         const HostImage& image) = 0;
    // A picture of `size` points (truncated to whole numbers).
    virtual HostImage CIFGenerateLayerAttributesSize(const QString& className,
                                                     const QVariantMap& attributes,
                                                     const QSizeF& size) = 0;
    // Seeds the process-wide random sequence the generators draw from.
    virtual void seedRandom(unsigned seed) = 0;

    // ---- the editor. Each call runs the modal editor and answers true when
    // the user accepted; without an editor it logs and answers false.

    // rect is the selection in picture coordinates (origin bottom-left);
    // sourceSize is accepted for the host's convenience and not used.
    virtual bool CIFShowDialogUseSelectionWithRectSourceSize(const HostImage& image,
                                                             bool useSelection, const QRectF& rect,
                                                             const QSizeF& sourceSize) = 0;
    virtual bool CIFShowDialogUseSelectionWithRect(const HostImage& image, bool useSelection,
                                                   const QRectF& rect) = 0;
    // Opens the editor on a new picture of rect's size for the generators.
    virtual bool GLIFShowDialogWithRect(const QVariant& object, const QRectF& rect) = 0;

    // The last editor result: the picture, whether it was made for a
    // selection, and that selection.
    virtual HostImage CIFOutputImage() const = 0;
    virtual bool CIFIsSelected() const = 0;
    virtual QRectF CIFSelectionRect() const = 0;

    // ---- ready-made controls for the host's own parameter panel. `name` is
    // a platform filter (the plug-in's own filters included) or, when no
    // filter has that name, a composition of the registered repository.

    // The height in points of a panel holding the controls below: the sum
    // of their rows plus an 11-point margin, 0 when the effect has no input
    // with a control (or is unknown).
    virtual float CIFHeightForControlsOfFilterName(const QString& name) = 0;
    // A control (slider, text field, stepper, check box, colour well, image
    // picker, pop-up button, label, push button) for every input of the
    // effect, laid out in rows from the top of `frame` (the panel's
    // coordinates, y downwards), sized, showing the defaults, and chained so
    // that Tab walks through the text fields in order. Inputs no control
    // can edit are logged ("bad inputKey <key> in filter ") and skipped.
    // Empty for an unknown effect or one without such inputs.
    //
    // Ownership: the widgets come unparented and belong to the caller;
    // setParent() them into the panel, which then owns them (widgets never
    // parented must be deleted by the caller). They may outlive this object;
    // they then report nothing.
    //
    // Reading a control: its "representedObject" property says what it
    // edits (see CIFControlAction); numbers are the property "floatValue"
    // (double) of sliders, value fields and steppers, check boxes are
    // QAbstractButton::isChecked, colour wells the property "color"
    // (QColor) with the colour input's index as property "tag", pop-up
    // buttons QComboBox (items carry their entry as item data), image
    // pickers the property "image" (HostImage).
    virtual QList<QWidget*> CIFControlsForFilterNameViewFrame(const QString& name,
                                                              const QRectF& frame) = 0;
    // Every user action on a generated control is announced by one signal
    // of the principal object, declared in its implementation as
    //     void CIFControlAction(const QString& action, QObject* control);
    // `action` names what to do, `control` is the control that sent it, and
    // its "representedObject" property what it edits:
    //   "changeFilterDecimalControl:"   number slider, field, stepper; check
    //                                   box: the key; a composition's time
    //                                   slider and field: "time"
    //   "changeColor:"                  colour well: the key (and "tag")
    //   "changeFilterVectorControl:"    vector component field:
    //                                   [key, component index]
    //   "changeFilterOffsetControl:"    offset slider, field, stepper:
    //                                   [key, "angle" or "radius"]
    //   "changeFilterTransformControl:" transform slider, field, stepper:
    //                                   [key, "tX", "tY", "skew", "stretch",
    //                                   "angle" or "scale"]
    //   "changeQuartzPopUpControl:"     composition menu: the key
    //   "shadedMaterialsPopUpButton:", "maskPopUpButton:",
    //   "texturePopUpButton:", "gradientPopUpButton:",
    //   "backgroundPopUpButton:"        image picker: the key
    //   "additionalImageButton:"        "Open..." button: the key
    // A control without a represented object sends nothing. Connect with
    // CIFConnectControlActions, or by name through CIFActionTarget:
    //     QObject::connect(main->CIFActionTarget(),
    //                      SIGNAL(CIFControlAction(QString,QObject*)), ...);
    virtual QObject* CIFActionTarget() = 0;
    // Calls handler for every control action until `context` is destroyed
    // (or the answer is disconnected).
    virtual QMetaObject::Connection CIFConnectControlActions(
        QObject* context, std::function<void(const QString& action, QObject* control)> handler) = 0;

    // ---- compositions

    // Registers (or, with an empty function, removes) a composition
    // repository class under its name; the plug-in asks for the class
    // "QCCompositionRepository". Process-wide; the host keeps its
    // repository alive while it is registered.
    virtual void registerCompositionRepositoryClass(
        const QString& className, QCCompositionRepositoryClass sharedRepository) = 0;
    // The image-filter compositions of the registered repository, one flat
    // list of {"title", "ID", "QCComposition" (QCComposition), "GROUP_TAG"}
    // in the repository's order; nullopt when no repository class is
    // registered, empty when the class has no shared repository.
    virtual std::optional<QVariantList> initQuartzList() const = 0;

    // ---- vector values of effect inputs

    // The (x, y) of a vector.
    virtual QPointF CIFValueForCIVector(const CIVector& vector) const = 0;
    // The vector [x y] of a point.
    virtual CIVector CIFVectorFromPointValue(const QPointF& point) const = 0;
    // `old` with its x and y replaced by the point's: a vector of two or
    // three components keeps its length, any other gets four.
    virtual CIVector CIFMergeNewPointValueAndOldCIVector(const QPointF& point,
                                                         const CIVector& old) const = 0;
    // `old` with component `component` replaced by value; `old` unchanged
    // when the component is outside it.
    virtual CIVector CIFMergeCIVectorWithComponentNumValueInOldCIVector(
        int component, float value, const CIVector& old) const = 0;
};

// The bundle's root object.
class CIFPlugInFactory {
public:
    virtual ~CIFPlugInFactory() = default;
    // A new principal object, owned by the caller.
    virtual std::unique_ptr<CIFPlugIn> createMain() = 0;
    // Chooses the language of localizedString() ("de", "de_DE"; empty for
    // the system's languages). Takes effect for catalogs built afterwards.
    virtual void setLanguage(const QString& language) = 0;
    // The bundle folder the plug-in was loaded from.
    virtual QString bundlePath() const = 0;
};

}  // namespace cif

#define CIFPlugInFactory_iid "org.cif-effects.CIFPlugIn/2.3"
Q_DECLARE_INTERFACE(cif::CIFPlugInFactory, CIFPlugInFactory_iid)
