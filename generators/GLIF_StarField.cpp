#include "generators/GLIF_StarField.h"

#include <QPainter>
#include <QPainterPath>
#include <cmath>
#include <cstdlib>

#include "generators/GLIFColorFunctions.h"
#include "generators/GLIFPaths.h"

namespace cif {

namespace {

// Rings per shape beyond this are finer than a pixel at any picture size.
constexpr int kMaxRings = 10000;
// A density from outside sizes the drawing loop; past this many shapes every
// picture is covered many times over.
constexpr long kMaxShapes = 100000;

}  // namespace

std::span<const GLIFInput<GLIF_StarField>> GLIF_StarField::inputTable() {
    using G = GLIF_StarField;
    static constexpr GLIFInput<G> table[] = {
        {"GLIFDensity", GLIFKind::Integer, 1, 1000, 160, &G::_density, 350},
        {"GLIFSize", GLIFKind::Integer, 1, 500, 139, &G::_nSize, 50},
        {"GLIFShapesType", GLIFKind::Integer, 0, 2, 0, &G::_shapesType, 0},
        {"GLIFCount", GLIFKind::Integer, 1, 16, 4, &G::_iCount, 1},
        {"GLIFColorScheme", GLIFKind::Integer, 0, 20, 0},
        {"GLIFSchemeKeyColor", GLIFKind::Float, 0.0, 1.0, 0.07},
        {"GLIFUseBackgroundColor", GLIFKind::Boolean, 0, 1, 0},
        {"GLIFBackgroundColor", GLIFKind::Colour, 0, 0, 1},
    };
    return table;
}

GLIF_StarField::GLIF_StarField() {
    setInputDefaults();
}

HostImage GLIF_StarField::GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width,
                                                               int height,
                                                               const QVariantMap& attributes) {
    GLIFCoreObject::GLIFOutputImageWidthHeightAttributes(image, width, height, attributes);
    takeSizeFromImage(image, width, height);
    readInputs(attributes);
    return recordVectorImage(width, height);
}

void GLIF_StarField::drawRect(QPainter& painter, const QRectF& rect) {
    GLIFCoreObject::drawRect(painter, rect);
    drawStarField(painter, truncateToInt(rect.width()), truncateToInt(rect.height()), _density,
                  _nSize, _shapesType, _schemeKeyColor, _iColorScheme, _iCount);
}

void drawStarField(QPainter& painter, int w, int h, int density, int size, int type, double key,
                   int scheme, int count) {
    const int z = size;
    // The remainders below divide by these; the published minimum of 1 keeps them positive.
    if (z < 1 || w + z < 1 || h + z < 1) return;
    const long shapes = std::min(std::labs(long(density)), kMaxShapes);
    const int rings = std::min(count, kMaxRings);
    painter.setPen(Qt::NoPen);
    for (long i = 0; i < shapes; ++i) {
        const int x = std::rand() % (w + z);
        const int y = std::rand() % (z + h);
        const int q = std::rand();
        const int c = std::rand();
        const int s = std::rand() % z + 1;
        const double bx = x - z, by = y - z;

        QPainterPath path;
        switch (type) {
            case 2:
                path = PathStar(bx, by, s, s, 3.0, count);
                break;
            case 3:
                path = PathPolygon(bx, by, 2.0 * s, 2.0 * s, 3.0, count);
                break;
            case 4:
                path = PathHaosPolygon(bx, by, 2.0 * s, 2.0 * s, 3.0, count);
                break;
            default:
                for (int k = 0; k < rings; ++k) {
                    const double d = double(k) * s / rings;
                    const QRectF square(bx + d / 2, by + d / 2, s - d, s - d);
                    if (type == 0)
                        path.addEllipse(square);
                    else
                        path.addRect(square);
                }
                break;
        }
        // Nested rings and squares alternate filled and empty; outlines fill whole.
        const bool nested = type < 2 || type > 4;
        path.setFillRule(nested ? Qt::OddEvenFill : Qt::WindingFill);

        painter.save();
        painter.translate(x, y);
        painter.rotate(q % 360);
        painter.translate(-x, -y);
        painter.fillPath(path, computeSchemeColor(float(c) * 4.656613e-10f, key, scheme));
        painter.restore();
    }
}

}  // namespace cif
