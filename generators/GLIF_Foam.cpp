#include "generators/GLIF_Foam.h"

#include <QPainter>
#include <array>
#include <cstdlib>
#include <vector>

#include "generators/GLIFColorFunctions.h"

namespace cif {

namespace {

// The working table holds this many bubbles; more are refused with a message and cut to it.
constexpr int kTableEntries = 5001;

}  // namespace

std::span<const GLIFInput<GLIF_Foam>> GLIF_Foam::inputTable() {
    using G = GLIF_Foam;
    static constexpr GLIFInput<G> table[] = {
        {"GLIFQuantity", GLIFKind::Integer, 20, 1000, 300, &G::_quantity, 300},
        {"GLIFSize", GLIFKind::Integer, 10, 100, 62, &G::_size, 62},
        {"GLIFQuality", GLIFKind::Integer, 1, 10, 2, &G::_quality, 2},
        {"GLIFIdFigure", GLIFKind::Integer, 0, 1, 0, &G::_idFigure, 0},
        {"GLIFColorScheme", GLIFKind::Integer, 0, 20, 4},
        {"GLIFSchemeKeyColor", GLIFKind::Float, 0.0, 1.0, 0.35},
        {"GLIFUseBackgroundColor", GLIFKind::Boolean, 0, 1, 1},
        {"GLIFBackgroundColor", GLIFKind::Colour, 0, 0, 0},
    };
    return table;
}

HostImage GLIF_Foam::GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width,
                                                          int height,
                                                          const QVariantMap& attributes) {
    GLIFCoreObject::GLIFOutputImageWidthHeightAttributes(image, width, height, attributes);
    takeSizeFromImage(image, width, height);
    setInputDefaults();
    readInputs(attributes);
    return foamGenerator(width, height, _quantity, _size, _quality, _idFigure, _schemeKeyColor,
                         _colorRangeMax);
}

HostImage GLIF_Foam::foamGenerator(int w, int h, int, int size, int quality, int figure, double,
                                   double) {
    return drawDirectImage(w, h, [&](QPainter& painter, const QRectF& rect) {
        drawBackgroundInRect(painter, rect);
        if (_quantity > kTableEntries - 1) {
            qWarning("GLIF_Foam: Error! Too many of spheres!");
            _quantity = kTableEntries;
        }
        // A step below 1 would never end and a size below 1 cannot be drawn from.
        if (size < 1 || quality < 1) return;
        const int count = std::max(_quantity, 0);
        std::vector<std::array<int, 3>> bubbles(size_t(count), {0, 0, 0});
        for (auto& [x, y, r] : bubbles) {
            x = std::rand() % w;
            y = std::rand() % h;
            r = std::rand() % size;
        }
        painter.setPen(Qt::NoPen);
        // Each step's shapes are one colour; they are painted one by one, which fills their
        // union as one path would, without building a path of thousands of outlines.
        for (int level = size; level > 0; level -= quality) {
            painter.setBrush(computeSchemeColor(1.0f - float(level) / float(size), _schemeKeyColor,
                                                _iColorScheme));
            for (auto& [x, y, r] : bubbles) {
                if (r <= 0) continue;
                // The stored radius shrinks for good; one that reaches 0 adds nothing.
                r -= quality;
                if (r <= 0) continue;
                const QRectF box(x - r, y - r, 2.0 * r, 2.0 * r);
                if (figure == 1)
                    painter.drawRect(box);
                else
                    painter.drawEllipse(box);
            }
        }
    });
}

}  // namespace cif
