#include "generators/GLIF_ColourBars.h"

#include <QPainter>
#include <QPainterPath>
#include <QTransform>
#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "generators/GLIFColorFunctions.h"

namespace cif {

namespace {

// Bars so thin that the diagonal needs more than this many cannot be meant.
constexpr int kMaxBars = 1'000'000;

}  // namespace

std::span<const GLIFInput<GLIF_ColourBars>> GLIF_ColourBars::inputTable() {
    using G = GLIF_ColourBars;
    static constexpr GLIFInput<G> table[] = {
        {"GLIFSize", GLIFKind::Integer, 1, 100, 64, &G::_nSize, 5},
        // Published as a float, read as a whole number of degrees.
        {"GLIFAngle", GLIFKind::Float, -180.0, 180.0, 17.0, &G::_fAngle, 17.0, kReadAsInteger},
        {"GLIFDiff", GLIFKind::Float, 0.0, 1.0, 0.0, &G::_difference, 1.0},
        {"GLIFWidthLine", GLIFKind::Float, 0.0, 10.0, 1.0, &G::_widthLine, 1.0},
        {"GLIFColorScheme", GLIFKind::Integer, 0, 20, 2},
        {"GLIFSchemeKeyColor", GLIFKind::Float, 0.0, 1.0, 0.33},
        {"GLIFUseBackgroundColor", GLIFKind::Boolean, 0, 1, 0},
        {"GLIFBackgroundColor", GLIFKind::Colour, 0, 0, 1},
    };
    return table;
}

HostImage GLIF_ColourBars::GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width,
                                                                int height,
                                                                const QVariantMap& attributes) {
    GLIFCoreObject::GLIFOutputImageWidthHeightAttributes(image, width, height, attributes);
    takeSizeFromImage(image, width, height);
    setInputDefaults();
    readInputs(attributes);
    return recordVectorImage(width, height);
}

void GLIF_ColourBars::drawRect(QPainter& painter, const QRectF& rect) {
    drawColourBars(painter, truncateToInt(rect.width()), truncateToInt(rect.height()), _nSize,
                   _iColorScheme, _fAngle, _difference, _widthLine, _schemeKeyColor);
}

void GLIF_ColourBars::drawColourBars(QPainter& painter, int w, int h, int size, int scheme,
                                     float angle, float difference, float widthLine, double key) {
    const float s = float(size);
    const float d = std::max(difference, 0.0f) * s;
    const float lo = std::max(s - d, 0.0f), hi = s + d;
    if (!(hi > 0.0f)) return;  // bars of no width would never reach across
    const float diag = std::sqrt(float(std::int64_t(w) * w + std::int64_t(h) * h));
    const float half = diag * -0.5f;
    QPen outline(_useBackColor && _backColor ? *_backColor : QColor(Qt::black));
    outline.setWidthF(widthLine);
    outline.setCapStyle(Qt::FlatCap);
    outline.setJoinStyle(Qt::MiterJoin);

    float x = 0.0f;
    for (int n = 0; diag > x && n < kMaxBars; ++n) {
        const int r = std::rand();
        const QColor colour = computeSchemeColor(randomFraction(), key, scheme);
        QTransform t;
        t.translate(w * 0.5, h * 0.5);
        t.rotate(-double(angle));
        const float next = x + lo + (hi - lo) * (float(r) * 4.656613e-10f);
        // Each rectangle reaches to the new right edge from x: the next bar overdraws all
        // but its own share, and only the last shows its whole length.
        QPainterPath path;
        path.addRect(QRectF(x + half, half - widthLine, next, diag + 2 * widthLine));
        path = t.map(path);
        painter.fillPath(path, colour);
        painter.strokePath(path, outline);
        x = next;
    }
}

}  // namespace cif
