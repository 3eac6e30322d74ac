#include "editor/CIFImageEditorView.h"

#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QScrollArea>
#include <QScrollBar>
#include <QStyle>
#include <QUndoCommand>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>
#include <functional>

namespace cif {

namespace {

// Cursor types of the editor's cursor table.
constexpr int kCursorResizeH = 0;
constexpr int kCursorResizeV = 1;
constexpr int kCursorResizeD1 = 2;
constexpr int kCursorResizeD2 = 3;
constexpr int kCursorArrow = 7;
constexpr int kCursorOpenHand = 8;
constexpr int kCursorClosedHand = 9;

constexpr int kSideLeft = 1;
constexpr int kSideRight = 2;
constexpr int kSideTop = 4;
constexpr int kSideBottom = 8;

// Wheel steps: fine below and at 1, coarse above.
constexpr double kFineWheelStep = 0.025;
constexpr double kCoarseWheelStep = 0.2;
// The right-click zoom leaves this much room around the selection.
constexpr double kFitSelectionMargin = 1.2;
// Past this many device pixels per picture pixel the pixels stay visible.
constexpr double kSmoothUpTo = 2.0;

constexpr double kOutlineWidth = 1.5;
constexpr double kFrameWidth = 1.0;

QRectF normalized(const QRectF& r) {
    QRectF n = r;
    if (n.width() < 0) {
        n.setX(r.x() + r.width());
        n.setWidth(-r.width());
    }
    if (n.height() < 0) {
        n.setY(r.y() + r.height());
        n.setHeight(-r.height());
    }
    return n;
}

// One generator run: redo runs the new generator, undo the old one, each
// with the seed it was run with.
class GeneratorRunCommand final : public QUndoCommand {
public:
    using Run = std::function<void(const QString&, const QVariantMap&)>;
    GeneratorRunCommand(Run run, QString name, QVariantMap attributes, QString oldName,
                        QVariantMap oldAttributes)
        : m_run(std::move(run)),
          m_name(std::move(name)),
          m_attributes(std::move(attributes)),
          m_oldName(std::move(oldName)),
          m_oldAttributes(std::move(oldAttributes)) {}
    void redo() override { m_run(m_name, m_attributes); }
    void undo() override { m_run(m_oldName, m_oldAttributes); }

private:
    Run m_run;
    QString m_name;
    QVariantMap m_attributes;
    QString m_oldName;
    QVariantMap m_oldAttributes;
};

}  // namespace

CIFImageEditorView::CIFImageEditorView(QWidget* parent) : QWidget(parent) {
    setFocusPolicy(Qt::StrongFocus);
    setMouseTracking(true);
    setAttribute(Qt::WA_OpaquePaintEvent);
}

CIFImageEditorView::~CIFImageEditorView() {
    // Undo commands call back into the editor; none may run while we go.
    m_undoStack.clear();
}

void CIFImageEditorView::setEditorController(CIFImageEditorViewDelegate* controller) {
    _editorController = controller;
}

void CIFImageEditorView::setPicture(const HostImage& picture) {
    _picture = picture;
    m_bitmap = picture.isVector() ? QImage() : picture.bitmap();
    m_halves.clear();
    m_reduced = QImage();
    update();
}

QSizeF CIFImageEditorView::pictureSize() const {
    return _picture.isNull() ? QSizeF() : _picture.size();
}

void CIFImageEditorView::updateSize() {
    setScaleFactor(_scaleFactor);
    update();
}

QScrollArea* CIFImageEditorView::scrollArea() const {
    QWidget* viewport = parentWidget();
    return viewport ? qobject_cast<QScrollArea*>(viewport->parentWidget()) : nullptr;
}

QSizeF CIFImageEditorView::contentSize() const {
    const QScrollArea* area = scrollArea();
    if (!area) return size();
    // As if both scroll bars were shown, so the layout does not depend on
    // whether they are.
    const int bar = area->style()->pixelMetric(QStyle::PM_ScrollBarExtent, nullptr, area);
    const int border = 2 * area->frameWidth();
    return QSizeF(std::max(0, area->width() - border - bar),
                  std::max(0, area->height() - border - bar));
}

void CIFImageEditorView::setScaleFactor(double factor) {
    if (!std::isfinite(factor)) factor = 1.0;
    _scaleFactor = std::clamp(factor, kMinScale, kMaxScale);
    if (QScrollArea* area = scrollArea()) {
        // Follow the area's size from now on.
        area->viewport()->removeEventFilter(this);
        area->viewport()->installEventFilter(this);
    }
    const QSizeF picture = pictureSize();
    const QSizeF content = contentSize();
    const int width = std::max(static_cast<int>(std::ceil(picture.width() * _scaleFactor)),
                               static_cast<int>(content.width()));
    const int height = std::max(static_cast<int>(std::ceil(picture.height() * _scaleFactor)),
                                static_cast<int>(content.height()));
    if (scrollArea()) resize(std::max(width, 1), std::max(height, 1));
    m_reduced = QImage();
    adobtPositionToCenter();
}

void CIFImageEditorView::adobtPositionToCenter() {
    const QSizeF picture = pictureSize();
    const QSizeF content = contentSize();
    const double boundsWidth = width() / _scaleFactor;
    const double boundsHeight = height() / _scaleFactor;
    const bool narrow = picture.width() * _scaleFactor < content.width();
    const bool low = picture.height() * _scaleFactor < content.height();
    _picOffsetX = narrow ? static_cast<int>((boundsWidth - picture.width()) / 2) : 0;
    _picOffsetY = low ? static_cast<int>((boundsHeight - picture.height()) / 2) : 0;
    if (QScrollArea* area = scrollArea(); area && (!narrow || !low)) {
        const QPointF center = bSelected ? normalized(_selectionRect).center()
                                         : QPointF(picture.width() / 2, picture.height() / 2);
        const QPointF at = widgetFromPicture(center);
        const QSize visible = area->viewport()->size();
        if (!narrow)
            area->horizontalScrollBar()->setValue(static_cast<int>(at.x() - visible.width() / 2));
        if (!low)
            area->verticalScrollBar()->setValue(static_cast<int>(at.y() - visible.height() / 2));
    }
    update();
}

bool CIFImageEditorView::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Resize && scrollArea() && watched == scrollArea()->viewport()) {
        // Re-lay out for the new area; the content size counts both scroll
        // bars, so their coming and going does not feed back.
        const QSize before = size();
        setScaleFactor(_scaleFactor);
        if (before == size()) adobtPositionToCenter();
    }
    return QWidget::eventFilter(watched, event);
}

QPointF CIFImageEditorView::pictureFromWidget(const QPointF& position) const {
    return QPointF(position.x() / _scaleFactor - _picOffsetX,
                   (height() - position.y()) / _scaleFactor - _picOffsetY);
}

QPointF CIFImageEditorView::widgetFromPicture(const QPointF& point) const {
    return QPointF((point.x() + _picOffsetX) * _scaleFactor,
                   height() - (point.y() + _picOffsetY) * _scaleFactor);
}

QPointF CIFImageEditorView::clampToPicture(const QPointF& point) const {
    const QSizeF picture = pictureSize();
    return QPointF(std::clamp(point.x(), 0.0, picture.width()),
                   std::clamp(point.y(), 0.0, picture.height()));
}

void CIFImageEditorView::setSelection(const QRectF& rect) {
    _selectionRect = rect;
    const bool any = rect.width() != 0 && rect.height() != 0;
    bTouched = any;
    bSelected = any;
    update();
}

QRectF CIFImageEditorView::getSelection() const {
    QRectF r = normalized(_selectionRect);
    const QSizeF picture = pictureSize();
    // A selection larger than the picture cannot be shifted inside it.
    r.setSize(r.size().boundedTo(picture));
    if (r.x() < 0) r.moveLeft(0);
    if (r.y() < 0) r.moveTop(0);
    if (r.x() + r.width() > picture.width()) r.moveLeft(picture.width() - r.width());
    if (r.y() + r.height() > picture.height()) r.moveTop(picture.height() - r.height());
    return r;
}

void CIFImageEditorView::setTouched(bool touched) {
    bTouched = touched;
    if (touched) {
        bSelected = true;
    } else {
        bSelected = false;
        bFitSelectionScale = false;
        _origScaleFactor = _scaleFactor;
        _selectionRect = QRectF();
    }
    if (_editorController) _editorController->selectionDidChange(this);
}

int CIFImageEditorView::hitTestSelection(const QPointF& point) const {
    if (!bSelected) return -1;
    const QRectF r = normalized(_selectionRect);
    const double handle = kHandleSize / _scaleFactor;
    if (point.x() < r.left() - handle || point.x() > r.right() + handle ||
        point.y() < r.top() - handle || point.y() > r.bottom() + handle)
        return -1;
    // In picture coordinates r.top() is the lower edge (y grows upwards).
    int sides = 0;
    if (std::abs(point.x() - r.left()) <= handle)
        sides |= kSideLeft;
    else if (std::abs(point.x() - r.right()) <= handle)
        sides |= kSideRight;
    if (std::abs(point.y() - r.bottom()) <= handle)
        sides |= kSideTop;
    else if (std::abs(point.y() - r.top()) <= handle)
        sides |= kSideBottom;
    if (sides == 0 && !r.contains(point)) return -1;
    // The drag formulas work on the stored rectangle, whose sides are
    // swapped while it is flipped.
    if (isSelectionHFlipped() && (sides & (kSideLeft | kSideRight)))
        sides ^= kSideLeft | kSideRight;
    if (isSelectionVFlipped() && (sides & (kSideTop | kSideBottom)))
        sides ^= kSideTop | kSideBottom;
    return sides;
}

int CIFImageEditorView::cursorTypeAtPoint(const QPointF& point) const {
    if (_editorController && _editorController->editMode() != 0)
        return _editorController->pointingMode();
    if (!bSelected) return kCursorArrow;
    if (bMoved && _bMouseDown && currSideResizing == 0) return kCursorClosedHand;
    int sides = hitTestSelection(point);
    if (sides < 0) return kCursorArrow;
    if (sides == 0) return kCursorOpenHand;
    // Cursors follow the sides as seen, not as stored.
    if (isSelectionHFlipped() && (sides & (kSideLeft | kSideRight)))
        sides ^= kSideLeft | kSideRight;
    if (isSelectionVFlipped() && (sides & (kSideTop | kSideBottom)))
        sides ^= kSideTop | kSideBottom;
    const bool horizontal = sides & (kSideLeft | kSideRight);
    const bool vertical = sides & (kSideTop | kSideBottom);
    if (horizontal && vertical)
        return ((sides & kSideLeft) != 0) == ((sides & kSideTop) != 0) ? kCursorResizeD1
                                                                       : kCursorResizeD2;
    return horizontal ? kCursorResizeH : kCursorResizeV;
}

void CIFImageEditorView::resetCursorRects(const QPointF& point) {
    if (_editorController) setCursor(_editorController->cursorFromType(cursorTypeAtPoint(point)));
}

void CIFImageEditorView::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::RightButton) {
        rightMouseDown();
        return;
    }
    if (event->button() != Qt::LeftButton) return;
    // A generator paints the whole picture: there is nothing to point at.
    if (_editorController && _editorController->filterName().startsWith(QLatin1String("GLIF_")))
        return;
    leftMouseDown(pictureFromWidget(event->position()));
}

void CIFImageEditorView::leftMouseDown(const QPointF& point) {
    _bMouseDown = true;
    currSideResizing = 0;
    _pickPoint = clampToPicture(point);
    const int sides = hitTestSelection(point);
    if (sides >= 0) {
        bMoved = true;
        _moveRect = _selectionRect;
        currSideResizing = sides;
    } else {
        setTouched(false);
    }
    if (!bTouched && !bSelected) _selectionRect = QRectF(_pickPoint, QSizeF(0, 0));
    if (_editorController && !_editorController->filterName().isEmpty()) {
        _editorController->applyPicture(this);
        bFilterProcess = true;
    }
    resetCursorRects(point);
    update();
}

void CIFImageEditorView::rightMouseDown() {
    if (!bSelected) return;
    if (!bFitSelectionScale) {
        _origScaleFactor = _scaleFactor;
        const QRectF selection = normalized(_selectionRect);
        const QSizeF content = contentSize();
        const double wide = selection.width() * kFitSelectionMargin;
        const double high = selection.height() * kFitSelectionMargin;
        if (wide <= 0 || high <= 0) return;
        setScaleFactor(std::min(content.width() / wide, content.height() / high));
        bFitSelectionScale = true;
    } else {
        setScaleFactor(_origScaleFactor);
        bFitSelectionScale = false;
    }
    if (_editorController) _editorController->scrollWheelDidChange(_scaleFactor);
}

void CIFImageEditorView::mouseMoveEvent(QMouseEvent* event) {
    const QPointF raw = pictureFromWidget(event->position());
    if (!_bMouseDown) {
        resetCursorRects(raw);
        return;
    }
    if (_editorController && _editorController->editMode() != 0) {
        if (bFilterProcess) {
            _pickPoint = raw;
            _editorController->setCenterPoint(raw);
            _editorController->applyPicture(this);
        }
        return;
    }
    const QPointF point = clampToPicture(raw);
    if (bMoved) {
        const double dx = point.x() - _pickPoint.x();
        const double dy = point.y() - _pickPoint.y();
        QRectF r = _moveRect;
        if (currSideResizing == 0) {
            r.translate(dx, dy);
        } else {
            if (currSideResizing & kSideLeft) {
                r.setX(_moveRect.x() + dx);
                r.setWidth(_moveRect.width() - dx);
            }
            if (currSideResizing & kSideRight) r.setWidth(_moveRect.width() + dx);
            if (currSideResizing & kSideTop) r.setHeight(_moveRect.height() + dy);
            if (currSideResizing & kSideBottom) {
                r.setY(_moveRect.y() + dy);
                r.setHeight(_moveRect.height() - dy);
            }
        }
        _selectionRect = r;
    }
    bFitSelectionScale = false;
    bTouched = true;
    bSelected = true;
    if (!bMoved)
        _selectionRect.setSize(
            QSizeF(point.x() - _selectionRect.x(), point.y() - _selectionRect.y()));
    if (bFixSelection) {
        _fixSelectionRect = _selectionRect;
        _fixSelectionRectScale = _scaleFactor;
    }
    update();
}

void CIFImageEditorView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || !_bMouseDown) return;
    if (bMoved) _selectionRect = getSelection();
    bMoved = false;
    setTouched(bSelected);
    bFilterProcess = false;
    _bMouseDown = false;
    resetCursorRects(pictureFromWidget(event->position()));
    update();
}

void CIFImageEditorView::wheelEvent(QWheelEvent* event) {
    const double step = _scaleFactor <= 1.0 ? kFineWheelStep : kCoarseWheelStep;
    setScaleFactor(_scaleFactor + (event->angleDelta().y() > 0 ? step : -step));
    if (_editorController) _editorController->scrollWheelDidChange(_scaleFactor);
    event->accept();
}

void CIFImageEditorView::setGeneratorWithAttrOldGeneratorWithAttr(
    const QString& name, const QVariantMap& attributes, const QString& oldName,
    const QVariantMap& oldAttributes) {
    if (name.isEmpty() || attributes.isEmpty() || oldName.isEmpty() || oldAttributes.isEmpty()) {
        runGenerator(name, attributes);
        return;
    }
    // push() runs the new generator once; undo and redo replay the runs with
    // their own seeds.
    m_undoStack.push(new GeneratorRunCommand(
        [this](const QString& n, const QVariantMap& a) { runGenerator(n, a); }, name, attributes,
        oldName, oldAttributes));
}

void CIFImageEditorView::runGenerator(const QString& name, const QVariantMap& attributes) {
    if (_editorController) {
        _editorController->initRandomSeedWithValue(
            attributes.value(QStringLiteral("GLIFRandomSeed")).toUInt());
        _editorController->applyFilterWithAttributes(name, attributes);
    }
    update();
}

const QImage& CIFImageEditorView::scaledBitmap(const QSize& deviceSize) {
    if (m_reduced.size() == deviceSize) return m_reduced;
    // Reduce from the smallest halving still at least as large as the
    // target, so that each zoom step reads a fraction of a large picture.
    const QImage* source = &m_bitmap;
    for (int level = 0;; ++level) {
        const QSize half(source->width() / 2, source->height() / 2);
        if (half.width() < deviceSize.width() || half.height() < deviceSize.height()) break;
        if (level == int(m_halves.size()))
            m_halves.push_back(
                source->scaled(half, Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
        source = &m_halves[size_t(level)];
    }
    m_reduced = source->scaled(deviceSize, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    return m_reduced;
}

void CIFImageEditorView::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    painter.fillRect(event->rect(), palette().color(QPalette::Dark));
    const QSizeF picture = pictureSize();
    if (picture.isEmpty()) return;

    const QPointF topLeft = widgetFromPicture(QPointF(0, picture.height()));
    const QRectF target(topLeft, picture * _scaleFactor);
    const double dpr = painter.device()->devicePixelRatioF();
    const double line = 1.0 / _scaleFactor;  // one screen point in picture units

    painter.save();
    painter.setClipRect(target.adjusted(-0.5, -0.5, 0.5, 0.5));
    if (_picture.isVector()) {
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        _picture.drawInRect(painter, target);
    } else if (!m_bitmap.isNull()) {
        const double devicePerPixel = target.width() * dpr / m_bitmap.width();
        if (devicePerPixel < 1.0) {
            // Reduced once per zoom with area averaging, then drawn 1:1.
            const QSize deviceSize(std::max(1, qRound(target.width() * dpr)),
                                   std::max(1, qRound(target.height() * dpr)));
            painter.drawImage(target, scaledBitmap(deviceSize));
        } else {
            painter.setRenderHint(QPainter::SmoothPixmapTransform, devicePerPixel <= kSmoothUpTo);
            painter.drawImage(target, m_bitmap);
        }
    }
    painter.restore();

    // From here on draw in picture coordinates.
    painter.setTransform(QTransform(_scaleFactor, 0, 0, -_scaleFactor, _picOffsetX * _scaleFactor,
                                    height() - _picOffsetY * _scaleFactor));
    painter.setRenderHint(QPainter::Antialiasing);
    if (bTouched) {
        const QRectF selection = normalized(_selectionRect);
        QPainterPath outside;
        outside.setFillRule(Qt::OddEvenFill);
        outside.addRect(QRectF(pictureFromWidget(QPointF(0, height())),
                               pictureFromWidget(QPointF(width(), 0))));
        outside.addRect(selection);
        painter.fillPath(outside, QColor::fromRgbF(0.3f, 0.3f, 0.3f, 0.5f));
        QPen outline(QColor::fromRgbF(1, 1, 1, 0.9f), kOutlineWidth);
        outline.setCosmetic(true);
        painter.setPen(outline);
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(selection);
    }
    QPen frame(Qt::black, kFrameWidth);
    frame.setCosmetic(true);
    painter.setPen(frame);
    painter.setBrush(Qt::NoBrush);
    const double half = kFrameWidth * line / 2;
    painter.drawRect(QRectF(QPointF(0, 0), picture).adjusted(-half, -half, half, half));
}

}  // namespace cif
