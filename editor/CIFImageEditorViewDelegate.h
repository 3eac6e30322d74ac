#pragma once
// What the picture view needs from the editor that owns it. The view calls
// nothing else of its editor, so the editor controller implements this and a
// test can drive the view with a small fake.
//
// Every call is made on the main thread from inside the view's event
// handlers. Points and rectangles are picture coordinates: points of the
// picture, origin at its bottom-left corner, y upwards.

#include <QCursor>
#include <QPointF>
#include <QString>
#include <QVariantMap>
#include <QtGlobal>

namespace cif {

class CIFImageEditorView;

class CIFImageEditorViewDelegate {
public:
    virtual ~CIFImageEditorViewDelegate() = default;

    // The selection or the pick point of the view changed (the view was
    // marked touched or untouched); read them from the view (getSelection,
    // isSelected, pickPoint).
    virtual void selectionDidChange(CIFImageEditorView* view) = 0;
    // The wheel (or a right-click zoom) set the view's scale factor to
    // `scale`; the editor moves its zoom slider to match.
    virtual void scrollWheelDidChange(double scale) = 0;
    // A point drag in point mode moved the current effect's centre.
    virtual void setCenterPoint(const QPointF& point) = 0;
    // Renders the current effect again and shows the result in the view
    // (the view calls it after a press and during a point drag).
    virtual void applyPicture(CIFImageEditorView* view) = 0;
    // The cursor of the given type (0..3 resize cursors, 4 box, 8 open
    // hand, 9 closed hand, ...; see the editor's cursor table).
    virtual QCursor cursorFromType(int type) = 0;
    // 0: selection mode, the pointer draws and adjusts a selection;
    // anything else: point mode, the pointer picks the effect's centre.
    virtual int editMode() const = 0;
    // The cursor type the view shows in point mode.
    virtual int pointingMode() const = 0;
    // The identifier of the current effect; presses are ignored while it
    // begins with "GLIF_" (a generator is current). Empty for none.
    virtual QString filterName() const = 0;
    // Stores the seed and seeds the process-wide random sequence with it.
    virtual void initRandomSeedWithValue(quint32 seed) = 0;
    // Renders the effect or generator `name` with `attributes` and shows the
    // result in the view (generator undo and redo replay runs through it).
    virtual void applyFilterWithAttributes(const QString& name, const QVariantMap& attributes) = 0;
};

}  // namespace cif
