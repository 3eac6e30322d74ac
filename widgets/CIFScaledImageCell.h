#pragma once
// Draws one thumbnail: the picture centred in its frame, scaled to fit it
// (and no larger than maxSize when that is non-zero) with its proportions
// kept, dimmed when disabled, on a highlight when highlighted. The picture is
// drawn at the painter's resolution (vector pictures replay crisply at any
// device-pixel ratio). One cell is reused for many frames; it owns nothing
// but its settings.

#include <QRectF>
#include <QSizeF>

#include "platform/host/HostImage.h"

class QPainter;
class QWidget;

namespace cif {

class CIFScaledImageCell {
public:
    void setImage(const HostImage& image) { m_image = image; }
    const HostImage& image() const { return m_image; }
    bool isHighlighted() const { return m_highlighted; }
    void setHighlighted(bool on) { m_highlighted = on; }
    QSizeF maxSize() const { return m_maxSize; }
    void setMaxSize(QSizeF size) { m_maxSize = size; }
    bool isEnabled() const { return m_enabled; }
    void setEnabled(bool on) { m_enabled = on; }

    // Where the picture lands in frame (points, the view's coordinates).
    QRectF imageRectForFrame(const QRectF& frame) const;
    // view (may be null) gives the palette of the highlight.
    void drawWithFrameInView(QPainter& painter, const QRectF& frame, const QWidget* view) const;

private:
    HostImage m_image;
    bool m_highlighted = false;
    QSizeF m_maxSize;
    bool m_enabled = true;
};

}  // namespace cif
