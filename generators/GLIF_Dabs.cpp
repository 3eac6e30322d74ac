#include "generators/GLIF_Dabs.h"

#include <QPainter>
#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "generators/GLIFColorFunctions.h"
#include "platform/host/ImageLimits.h"

namespace cif {

namespace {

// Stamps beyond this many cannot be told apart; the published maximum gives 800.
constexpr long kMaxStamps = 1'000'000;

}  // namespace

std::span<const GLIFInput<GLIF_Dabs>> GLIF_Dabs::inputTable() {
    using G = GLIF_Dabs;
    static constexpr GLIFInput<G> table[] = {
        {"GLIFCountDabs", GLIFKind::Integer, 1, 40, 15, &G::_countDabs, 10},
        {"GLIFLength", GLIFKind::Integer, 1, 200, 68, &G::_scale, 20},
        {"GLIFAngle", GLIFKind::Integer, -180, 180, 0, &G::_angle, 0},
        {"GLIFType", GLIFKind::Integer, 0, 360, 0, &G::_dabsType, 1},
        {"GLIFColorScheme", GLIFKind::Integer, 0, 20, 5},
        {"GLIFSchemeKeyColor", GLIFKind::Float, 0.0, 1.0, 0.6},
        {"GLIFUseBackgroundColor", GLIFKind::Boolean, 0, 1, 0},
        {"GLIFBackgroundColor", GLIFKind::Colour, 0, 0, 1},
    };
    return table;
}

HostImage GLIF_Dabs::GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width,
                                                          int height,
                                                          const QVariantMap& attributes) {
    GLIFCoreObject::GLIFOutputImageWidthHeightAttributes(image, width, height, attributes);
    takeSizeFromImage(image, width, height);
    setInputDefaults();
    _angleAmplitude = 20;
    readInputs(attributes);
    const QVariant brush = attributes.value(QStringLiteral("GLIFBrush"));
    if (brush.metaType() == QMetaType::fromType<HostImage>())
        _brush = brush.value<HostImage>();
    else if (brush.userType() == QMetaType::QImage)
        _brush = HostImage::fromQImage(brush.value<QImage>());
    else
        _brush = HostImage();
    HostImage picture = dabsGeneratorWidthHeight(width, height);
    _brush = HostImage();  // not kept beyond the call
    return picture;
}

HostImage GLIF_Dabs::dabsGeneratorWidthHeight(int w, int h) {
    if (_brush.isNull()) {
        qWarning("Can't loaded resource");
        return {};
    }
    return drawDirectImage(w, h, [&](QPainter& painter, const QRectF& rect) {
        drawBackgroundInRect(painter, rect);
        // The dab: the brush at the scale, as a premultiplied bitmap that tints in place.
        const double dabWidth = _brush.size().width() * _scale / 100.0;
        const double dabHeight = _brush.size().height() * _scale / 100.0;
        const int pixelsWide = std::max(1, int(std::ceil(dabWidth)));
        const int pixelsHigh = std::max(1, int(std::ceil(dabHeight)));
        if (!(dabWidth > 0.0) || !(dabHeight > 0.0) ||
            !checkPictureSize(pixelsWide, pixelsHigh, nullptr))
            return;
        QImage dab(pixelsWide, pixelsHigh, QImage::Format_RGBA8888_Premultiplied);
        if (dab.isNull()) return;
        dab.fill(Qt::transparent);
        {
            QPainter brushPainter(&dab);
            _brush.drawInRect(brushPainter, QRectF(0, 0, dabWidth, dabHeight));
        }
        // The spread margins take the scale a second time.
        const int sw = int(_scale * dabWidth / 100.0), sh = int(_scale * dabHeight / 100.0);
        const long stamps = std::min(long(_countDabs) * _countDabs / 2, kMaxStamps);
        const int amplitude = std::max(_angleAmplitude, 1);
        const QRectF target(-dabWidth / 2, -dabHeight / 2, dabWidth, dabHeight);
        for (long n = 0; n < stamps; ++n) {
            const int rx = std::rand(), ry = std::rand();
            {
                QPainter tint(&dab);
                tint.setCompositionMode(QPainter::CompositionMode_SourceAtop);
                tint.fillRect(dab.rect(),
                              computeSchemeColor(randomFraction(), _schemeKeyColor, _iColorScheme));
            }
            const int x = rx % (w + sw) - sw / 2;
            const int y = ry % (h + sh) - sh / 2;
            const int turn = _angle + std::rand() % amplitude - amplitude / 2;
            painter.save();
            painter.translate(x, y);
            painter.rotate(turn);
            drawImageUpright(painter, target, dab);
            painter.restore();
        }
    });
}

}  // namespace cif
