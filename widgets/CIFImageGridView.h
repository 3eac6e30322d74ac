#pragma once
// A grid of equally sized thumbnails in rows, top row first, with selection,
// hover and keyboard deletion reported to a delegate. Sizes and positions are
// points in the view's (top-down) coordinates.
//
// Layout, for width W, image size (iw, ih) and n images: columns =
// trunc(W / (1 + iw)) (at least 1); padding = round((W - columns * iw) /
// (columns + 1)), the gap both across and down; height = rows * (padding +
// ih) + padding, raised to the viewport's height inside a QScrollArea. The
// grid lays itself out on setFrame, reloadData, setImageSize and whenever its
// width changes.
//
// Keyboard (the grid takes focus): arrows move the selection, wrapping
// around the ends; Delete and Backspace ask the delegate to delete the
// selected image. Main thread only.

#include <QSizeF>
#include <QWidget>
#include <functional>

#include "platform/host/HostImage.h"
#include "widgets/CIFNotification.h"
#include "widgets/CIFScaledImageCell.h"

namespace cif {

class CIFImageGridView;

// The grid's delegate: the two counting operations are required, the rest
// optional (an empty function is an operation the delegate lacks).
struct CIFImageGridViewDelegate {
    std::function<int(CIFImageGridView*)> numberOfImagesInImageGridView;
    std::function<HostImage(CIFImageGridView*, int index)> imageGridViewImageAtIndex;

    std::function<bool(CIFImageGridView*, int index)> imageGridViewShouldSelectIndex;
    std::function<void(const CIFNotification&)> imageGridViewSelectionIsChanging;
    std::function<void(const CIFNotification&)> imageGridViewSelectionDidChange;
    std::function<void(CIFImageGridView*)> imageGridViewDeleteSelectedImage;
    // index is -1 when the pointer leaves the images.
    std::function<void(CIFImageGridView*, int index)> imageGridViewCursorIsHoveringImageAtIndex;
};

class CIFImageGridView : public QWidget {
    Q_OBJECT
public:
    static constexpr const char* kSelectionIsChangingNotification =
        "CIFImageGridViewSelectionIsChangingNotification";
    static constexpr const char* kSelectionDidChangeNotification =
        "CIFImageGridViewSelectionDidChangeNotification";

    explicit CIFImageGridView(QWidget* parent = nullptr);

    // Keeps a copy of delegate. A delegate without both required operations
    // is refused with "Invalid parameter not satisfying: <condition>" and the
    // previous delegate stays.
    void setDelegate(const CIFImageGridViewDelegate& delegate);
    void clearDelegate();
    const CIFImageGridViewDelegate& delegate() const { return m_delegate; }

    // Asks the delegate again and lays out.
    void reloadData();
    void setImageSize(QSizeF size);  // default 30 x 30
    QSizeF imageSize() const { return m_imageSize; }
    // Moves the grid to frame's origin with frame's width and the height its
    // rows need.
    void setFrame(const QRect& frame);
    int columns() const { return m_columns; }
    QSizeF padding() const { return m_padding; }
    int numberOfImages() const;

    QRectF rectForImageAtIndex(int index) const;
    // The index whose rectangle holds point, or -1.
    int imageIndexAtPoint(QPointF point) const;
    void setNeedsDisplayOfImageAtIndex(int index);

    // Wraps index into 0..n-1, asks the delegate, and when it is a new index
    // posts "...SelectionIsChanging", selects it, scrolls it into view and
    // posts "...SelectionDidChange". Nothing in an empty grid.
    void selectIndex(int index);
    int selectedIndex() const { return m_selectedIndex; }
    int hoveredIndex() const { return m_hoveredIndex; }
    void setDrawsBackground(bool on);
    bool drawsBackground() const { return m_drawsBackground; }
    // Draws the hovered image with a blue tint and a white outline (the picker's look).
    void setHighlightsHoveredImage(bool on);

    void moveLeft();
    void moveRight();
    void moveUp();
    void moveDown();
    void selectRelativeIndex(int delta);

    CIFScaledImageCell& cell() { return m_cell; }
    QSize sizeHint() const override;

signals:
    // The notifications, with the grid as their object.
    void selectionIsChanging(const CIFNotification& notification);
    void selectionDidChange(const CIFNotification& notification);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    void layOut(const QRect& frame);
    void setHoveredIndex(int index);
    void post(const char* name);

    CIFImageGridViewDelegate m_delegate;
    CIFScaledImageCell m_cell;
    QSizeF m_imageSize{30, 30};
    QSizeF m_padding;
    int m_columns = 1;
    int m_selectedIndex = -1;
    int m_hoveredIndex = -1;
    bool m_drawsBackground = false;
    bool m_highlightsHover = false;
    bool m_layingOut = false;
};

}  // namespace cif
