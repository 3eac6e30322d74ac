#include "widgets/CCColorSliderCell.h"

#include <QColor>
#include <QFileInfo>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <QWidget>
#include <algorithm>
#include <cmath>

#include "core/CIFBundle.h"
#include "platform/host/HostImage.h"

namespace cif {

namespace {

// The ramp as gradient stops read from the middle row of the bundle's hue
// picture, so the ramp is painted at the device's resolution instead of
// stretching a small bitmap. Without the picture the stops are computed.
// Loaded once per process, on first draw.
const QGradientStops& hueStops() {
    static const QGradientStops stops = [] {
        QGradientStops out;
        const QString path = CIFBundle::path().isEmpty()
                                 ? QString()
                                 : CIFBundle::resourcePath(QStringLiteral("gradient_hue.tif"));
        const HostImage picture =
            QFileInfo::exists(path) ? HostImage::load(path, nullptr) : HostImage();
        const QImage row = picture.bitmap().convertToFormat(QImage::Format_ARGB32);
        if (!row.isNull() && row.width() > 1) {
            const int y = row.height() / 2;
            for (int x = 0; x < row.width(); ++x)
                out.append({double(x) / (row.width() - 1), QColor::fromRgba(row.pixel(x, y))});
            return out;
        }
        for (int i = 0; i <= 12; ++i)
            out.append({i / 12.0, QColor::fromHsvF(float(i % 12) / 12.0f, 1, 1)});
        return out;
    }();
    return stops;
}

// The triangle of a mark at m in top-down coordinates: apex (m + 5, h - 10)
// pointing up into the ramp, base on the bottom edge.
QPainterPath markPath(double m, double h) {
    QPainterPath path(QPointF(m + 5, h - 10));
    path.lineTo(m, h);
    path.lineTo(m + 10, h);
    path.lineTo(m + 5, h - 10);
    return path;
}

}  // namespace

void CCColorSliderCell::setInitialFrame(const QRectF& frame) {
    _gradientRect = QRectF(frame.x() + 5, frame.y() + 10, frame.width() - 10, frame.height() - 10);
    _dMark1Pos = 0;
    _dMark2Pos = _gradientRect.width();
    _positionDelta = _gradientRect.width();
}

void CCColorSliderCell::resizeToFrame(const QRectF& frame) {
    const double min = getRangeMinValue(), max = getRangeMaxValue();
    const bool firstIsMin = _dMark1Pos <= _dMark2Pos;
    _gradientRect = QRectF(frame.x() + 5, frame.y() + 10, frame.width() - 10, frame.height() - 10);
    _dMark1Pos = _gradientRect.width() * (firstIsMin ? min : max);
    _dMark2Pos = _gradientRect.width() * (firstIsMin ? max : min);
}

double CCColorSliderCell::getRangeMinValue() const {
    const double w = _gradientRect.width();
    return w > 0 ? std::min(_dMark1Pos, _dMark2Pos) / w : 0.0;
}

double CCColorSliderCell::getRangeMaxValue() const {
    const double w = _gradientRect.width();
    return w > 0 ? std::max(_dMark1Pos, _dMark2Pos) / w : 0.0;
}

void CCColorSliderCell::setRangeMinValue(double value) {
    _dMark1Pos = _gradientRect.width() * value;
}

void CCColorSliderCell::setRangeMaxValue(double value) {
    _dMark2Pos = _gradientRect.width() * value;
}

void CCColorSliderCell::setKeyColorSelectionMode(bool on) {
    _bKeyColorSelectionMode = on;
    validateValues();
}

void CCColorSliderCell::validateValues() {
    if (_bKeyColorSelectionMode) _dMark2Pos = _dMark1Pos;
    // NaN (from a NaN value) becomes 0 rather than surviving the clamp.
    const double w = std::max(0.0, _gradientRect.width());
    const auto clamp = [w](double m) { return std::isnan(m) ? 0.0 : std::clamp(m, 0.0, w); };
    _dMark1Pos = clamp(_dMark1Pos);
    _dMark2Pos = clamp(_dMark2Pos);
}

bool CCColorSliderCell::startTrackingAtInView(QPointF point, QWidget*) {
    const double x = point.x();
    _positionDelta = _dMark2Pos - _dMark1Pos;
    if (_dMark1Pos < x && x < _dMark1Pos + 10) {
        _trackingMarkNumber = 1;
        validateValues();
        return true;
    }
    if (_dMark2Pos < x && x < _dMark2Pos + 10) {
        _trackingMarkNumber = 2;
        validateValues();
        return true;
    }
    // The nearer mark jumps; the first case deliberately lacks the - 5 that
    // would centre the mark's apex on the pointer.
    const double d1 = std::abs(x - _dMark1Pos), d2 = std::abs(x - _dMark2Pos);
    if (d2 > d1)
        _dMark1Pos = x;
    else if (d1 > d2)
        _dMark2Pos = x - 5;
    else
        _dMark1Pos = x - 5;
    validateValues();
    return false;
}

bool CCColorSliderCell::continueTrackingAtInView(QPointF, QPointF currentPoint, QWidget* view) {
    const double x = currentPoint.x();
    const bool follow = m_mouseDownFlags.testFlag(Qt::ShiftModifier);
    if (_trackingMarkNumber == 1) {
        _dMark1Pos = x;
        if (follow) _dMark2Pos = x + _positionDelta;
    } else if (_trackingMarkNumber == 2) {
        _dMark2Pos = x;
        if (follow) _dMark1Pos = x - _positionDelta;
    }
    validateValues();
    if (view) view->update();
    return true;
}

void CCColorSliderCell::moveMark(int number, double position, bool together) {
    const double delta = _dMark2Pos - _dMark1Pos;
    if (number == 1) {
        _dMark1Pos = position;
        if (together) _dMark2Pos = position + delta;
    } else {
        _dMark2Pos = position;
        if (together) _dMark1Pos = position - delta;
    }
    validateValues();
}

void CCColorSliderCell::stopTrackingAtInViewMouseIsUp(QPointF, QPointF, QWidget*, bool) {
    _trackingMarkNumber = -1;
    validateValues();
}

void CCColorSliderCell::drawInteriorWithFrameInView(QPainter& painter, const QRectF& frame,
                                                    const QWidget* view, int keyboardMark) const {
    const bool keyMode = _bKeyColorSelectionMode;
    const bool enabled = !view || view->isEnabled();
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);

    // The ramp over the widget's top, leaving the bottom 10 points to the marks.
    const QRectF g(frame.x() + 5, frame.y(), frame.width() - 10, frame.height() - 10);
    if (g.width() > 0 && g.height() > 0) {
        QLinearGradient ramp(g.topLeft(), g.topRight());
        ramp.setStops(hueStops());
        painter.fillRect(g, ramp);
    }

    const double width = _gradientRect.width();
    const QColor disabled =
        view ? view->palette().color(QPalette::Disabled, QPalette::Text) : QColor(Qt::gray);
    const auto drawMark = [&](double m, int number) {
        const QPainterPath path = markPath(m, frame.y() + frame.height());
        if (enabled) {
            const double hue = width > 0 ? std::clamp(m / width, 0.0, 1.0) : 0.0;
            painter.fillPath(path, QColor::fromHsvF(float(hue), 1, 1, 1));
            painter.strokePath(path, QPen(Qt::black, 1));
        } else {
            painter.fillPath(path, disabled);
            painter.strokePath(path, QPen(disabled, 1));
        }
        if (number == keyboardMark && view) {
            QPen focus(view->palette().color(QPalette::Highlight), 1.5);
            painter.strokePath(path.translated(0, 0), focus);
            painter.drawLine(QPointF(m + 5, frame.y() + frame.height() - 12),
                             QPointF(m + 5, frame.y()));
        }
    };
    drawMark(_dMark1Pos, 1);
    if (!keyMode) drawMark(_dMark2Pos, 2);

    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(QColor::fromRgbF(0.4f, 0.4f, 0.4f, 0.8f), 2));
    painter.drawRect(QRectF(g.x(), g.y() + 1, g.width(), g.height() - 2));
    painter.restore();
}

}  // namespace cif
