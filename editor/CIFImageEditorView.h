#pragma once
// CIFImageEditorView: the editor's picture inside a QScrollArea, zoomed by a
// scale factor, on which the user draws and adjusts a rectangular selection
// (selection mode) or picks the centre of an effect (point mode). It reports
// every change to its editor through CIFImageEditorViewDelegate and keeps the
// undo steps of generator runs.
//
// Coordinates: every point and rectangle of this interface is in picture
// coordinates, points of the picture with the origin at its bottom-left
// corner and y upwards (the host's and the engine's convention). Handle and
// line sizes are screen points, converted through the current scale.
//
// Put the view into a QScrollArea with widgetResizable off; the view sizes
// itself (its size is the scaled picture, at least the area's content size).
// Main thread only.

#include <QRectF>
#include <QUndoStack>
#include <QWidget>
#include <vector>

#include "editor/CIFImageEditorViewDelegate.h"
#include "platform/host/HostImage.h"

class QScrollArea;

namespace cif {

class CIFImageEditorView final : public QWidget {
    Q_OBJECT

public:
    static constexpr double kMinScale = 0.02;
    static constexpr double kMaxScale = 80.0;
    // Hit-test width of the selection's edges, in screen points.
    static constexpr double kHandleSize = 6.0;

    explicit CIFImageEditorView(QWidget* parent = nullptr);
    ~CIFImageEditorView() override;

    // The editor; borrowed, may be null (then nothing is reported and the
    // view behaves as in selection mode with no current effect).
    void setEditorController(CIFImageEditorViewDelegate* controller);
    CIFImageEditorViewDelegate* editorController() const { return _editorController; }

    // The picture shown (shared, not copied). Call updateSize afterwards when
    // the size changed.
    void setPicture(const HostImage& picture);
    const HostImage& picture() const { return _picture; }
    // Lays the view out again for the current picture and scale, then redraws.
    void updateSize();

    // The zoom, clamped to kMinScale..kMaxScale; resizes the view and centres
    // the picture or the selection.
    void setScaleFactor(double factor);
    double getScaleFactor() const { return _scaleFactor; }

    // Sets the selection as given (a flipped rectangle stays flipped); a
    // non-empty rectangle marks the view touched and selected, an empty one
    // clears both. The editor is not told.
    void setSelection(const QRectF& rect);
    // The selection normalised to positive size and kept inside the picture:
    // a negative origin becomes 0, a selection past the right or top edge is
    // shifted back to end there (its size is kept).
    QRectF getSelection() const;
    // The selection as stored; width or height below 0 while flipped.
    QRectF selectionRect() const { return _selectionRect; }
    bool isSelected() const { return bSelected; }
    bool isTouched() const { return bTouched; }
    bool isSelectionHFlipped() const { return _selectionRect.width() < 0; }
    bool isSelectionVFlipped() const { return _selectionRect.height() < 0; }
    // The last point pressed or picked.
    QPointF pickPoint() const { return _pickPoint; }
    // The selection and scale last made while bFixSelection is on.
    QRectF fixSelectionRect() const { return _fixSelectionRect; }
    double fixSelectionRectScale() const { return _fixSelectionRectScale; }

    // Marks the picture touched (true also marks it selected) or untouched
    // (false drops the selection and the zoom-to-selection state), then tells
    // the editor (selectionDidChange).
    void setTouched(bool touched);

    // Centres the picture when it is smaller than the visible area, else
    // scrolls the centre of the selection (or of the picture) into the middle.
    void adobtPositionToCenter();

    // Runs generator `name` with `attributes` through the editor, seeding the
    // random sequence with attributes' "GLIFRandomSeed" first. When all four
    // arguments are given, the run becomes one undo step whose undo runs the
    // old generator with its old attributes (and seed) again, and whose redo
    // runs the new one again.
    void setGeneratorWithAttrOldGeneratorWithAttr(const QString& name,
                                                  const QVariantMap& attributes,
                                                  const QString& oldName,
                                                  const QVariantMap& oldAttributes);
    // The undo history of generator runs; the editor connects its undo and
    // redo buttons to canUndoChanged and canRedoChanged.
    QUndoStack* undoManager() { return &m_undoStack; }

    // ---- geometry, for the editor and for tests

    // The cursor type shown over a picture point in the current mode.
    int cursorTypeAtPoint(const QPointF& point) const;
    // Widget position <-> picture coordinates.
    QPointF pictureFromWidget(const QPointF& position) const;
    QPointF widgetFromPicture(const QPointF& point) const;
    // The visible area the zoom works with: the enclosing scroll area's frame
    // less a line border and both scroll bars; the view's own size without one.
    QSizeF contentSize() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QScrollArea* scrollArea() const;
    QSizeF pictureSize() const;
    QPointF clampToPicture(const QPointF& point) const;
    // Side bits (1 left, 2 right, 4 top, 8 bottom) of the selection's handles
    // under a point, -1 when the point is outside the selection and its
    // handles, 0 inside away from the edges. Flipped sides are swapped.
    int hitTestSelection(const QPointF& point) const;
    void leftMouseDown(const QPointF& point);
    void rightMouseDown();
    void resetCursorRects(const QPointF& point);
    void runGenerator(const QString& name, const QVariantMap& attributes);
    const QImage& scaledBitmap(const QSize& deviceSize);

    CIFImageEditorViewDelegate* _editorController = nullptr;
    HostImage _picture;
    bool bTouched = false;
    bool bSelected = false;
    bool bFilterProcess = false;
    bool bFitSelectionScale = false;
    bool bMoved = false;
    QRectF _moveRect;
    int currSideResizing = 0;
    QRectF _selectionRect;
    bool bFixSelection = true;
    QRectF _fixSelectionRect;
    double _fixSelectionRectScale = 1.0;
    QPointF _pickPoint;
    double _scaleFactor = 1.0;
    double _origScaleFactor = 1.0;
    int _picOffsetX = 0;
    int _picOffsetY = 0;
    bool _bMouseDown = false;

    QUndoStack m_undoStack;
    // The picture's bitmap, its successive halvings (made as zooming out
    // needs them), and a smoothly reduced copy for drawing at the current
    // device size.
    QImage m_bitmap;
    std::vector<QImage> m_halves;
    QImage m_reduced;
};

}  // namespace cif
