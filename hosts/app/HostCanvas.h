#pragma once
// HostCanvas: the demo host's picture, drawn at a zoom, on which the user
// drags a rectangular selection. Selections are kept in picture pixels with
// the origin at the top-left, as the host's picture is.

#include <QRect>
#include <QWidget>

#include "platform/host/HostImage.h"

class HostCanvas final : public QWidget {
    Q_OBJECT

public:
    explicit HostCanvas(QWidget* parent = nullptr);

    void setPicture(const cif::HostImage& picture);
    const cif::HostImage& picture() const { return m_picture; }
    // The selection in picture pixels (top-left origin); empty for none.
    QRect selection() const { return m_selection; }
    void setSelection(const QRect& rect);
    void setZoom(double zoom);
    double zoom() const { return m_zoom; }

    QSize sizeHint() const override;

signals:
    void selectionChanged(const QRect& selection);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    QPoint pictureFromWidget(const QPointF& position) const;
    QRectF widgetFromPicture(const QRect& rect) const;

    cif::HostImage m_picture;
    QRect m_selection;
    QPoint m_anchor;
    bool m_dragging = false;
    double m_zoom = 1.0;
};
