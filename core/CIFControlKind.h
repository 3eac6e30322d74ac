#pragma once
// The kinds of ready-made control rows an effect input gets, how an input's
// attribute dictionary decides its kind, and how tall each row is. The
// principal object sums the heights for a host; the editor builds the rows.

#include <QString>
#include <QStringList>
#include <QVariantMap>

namespace cif {

enum class CIFControlKind {
    None,     // no control can edit it (logged by the control builder)
    Picture,  // the picture itself feeds it: no control
    Color,
    Boolean,
    Menu,  // compositions only
    Number,
    Image,
    Offset,
    Vector,
    Transform,
};

// Process-wide row heights of the two multi-row kinds, in points.
inline constexpr float kCIFOffsetRowsHeight = 54;
inline constexpr float kCIFTransformRowsHeight = 128;
// Added below the rows when there are any.
inline constexpr float kCIFControlsMargin = 11;

// The kind of one input from its attribute dictionary: the platform's
// CIAttributeClass / CIAttributeType, or a composition port's
// QCPortAttributeTypeKey. Kinds are tested in declaration order.
CIFControlKind controlKindForInput(const QString& key, const QVariantMap& attribute);

// The height of the row (or rows) of a kind; 0 for None and Picture.
float controlRowHeight(CIFControlKind kind);

// Whether `key` of `filterName` is the extent of one of the five transitions
// whose offset-typed extent is edited as a rectangle and counts no height.
bool isTransitionExtent(const QString& filterName, const QString& key);

// The height a panel needs for the controls of these inputs: the sum of the
// rows, plus the margin when the sum is above 0. A composition's time row is
// not counted.
float heightForControlsOfInputs(const QString& filterName, const QStringList& inputKeys,
                                const QVariantMap& attributes);

}  // namespace cif
