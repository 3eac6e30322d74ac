// Applying an effect to a picture: the finished picture for the host, the
// live preview for the editor, and the additive compositing of generating
// filters over the picture.

#include <cmath>
#include <cstdlib>

#include "core/CIFMain.h"
#include "platform/image/CIAttributes.h"
#include "platform/image/CIContext.h"
#include "platform/image/Geometry.h"

namespace cif {

namespace {

// Vector pictures are rasterised at four times their size so filters work
// on enough pixels; bitmaps at their own pixel size.
QSizeF workingSize(const HostImage& picture) {
    if (picture.isVector()) return picture.size() * 4.0;
    return QSizeF(picture.pixelsWide(), picture.pixelsHigh());
}

QSize pixelSize(QSizeF size) {
    return QSize(int(std::ceil(size.width() - 1e-9)), int(std::ceil(size.height() - 1e-9)));
}

bool isFitToPicture(const QString& identifier) {
    return identifier == QLatin1String("CIKaleidoscope") ||
           identifier == QLatin1String("CIFAffineTransform2Filter");
}

// The picture drawn to fill (0, 0, size), as an engine image.
CIImage inputImageFor(const HostImage& picture, QSizeF size) {
    QString error;
    const QImage pixels = picture.rasterize(pixelSize(size), &error);
    if (pixels.isNull()) {
        qWarning("%s", qUtf8Printable(error));
        return {};
    }
    return CIImage::imageWithQImage(pixels);
}

// Renders with the software renderer: the same pixels on every machine.
CIContext& softwareContext() {
    static CIContext context =
        CIContext::contextWithOptions({{QStringLiteral("kCIContextUseSoftwareRenderer"), true}});
    return context;
}

// A new picture of `size` pixels with `source` (engine rectangle) of the
// image mapped onto `target` (engine rectangle, origin bottom-left). The
// mapping is part of the render, so the picture has exactly the pixels the
// preview shows for the same mapping.
HostImage drawnPicture(const CIImage& image, QSizeF size, const QRectF& target,
                       const QRectF& source) {
    const QSize pixels = pixelSize(size);
    if (pixels.isEmpty()) return {};
    if (image.isNull() || !(source.width() > 0 && source.height() > 0)) {
        QImage blank(pixels, QImage::Format_RGBA8888_Premultiplied);
        if (blank.isNull()) return {};
        blank.fill(Qt::transparent);
        return HostImage::fromQImage(blank, size);
    }
    const QTransform place =
        QTransform::fromTranslate(-source.x(), -source.y()) *
        QTransform::fromScale(target.width() / source.width(), target.height() / source.height()) *
        QTransform::fromTranslate(target.x(), target.y());
    const CIImage placed = place.isIdentity() ? image : image.imageByApplyingTransform(place);
    const QImage rendered =
        softwareContext().createQImage(placed, QRectF(QPointF(0, 0), QSizeF(pixels)));
    if (rendered.isNull()) {
        qWarning("%s", qUtf8Printable(softwareContext().lastError()));
        return {};
    }
    return HostImage::fromQImage(rendered, size);
}

// Hands one instance's cancellation flag and progress handler to the shared
// context for the length of one apply operation.
class RenderControlScope {
public:
    RenderControlScope(const std::atomic<bool>* cancel, const std::function<void(double)>& progress)
        : m_active(cancel || progress) {
        if (!m_active) return;
        softwareContext().setCancellationFlag(cancel);
        softwareContext().setProgressHandler(progress);
    }
    ~RenderControlScope() {
        if (!m_active) return;
        softwareContext().setCancellationFlag(nullptr);
        softwareContext().setProgressHandler({});
    }
    RenderControlScope(const RenderControlScope&) = delete;
    RenderControlScope& operator=(const RenderControlScope&) = delete;

private:
    bool m_active;
};

CIImage filtered(const char* name, const QVariantMap& inputs) {
    const auto filter = CIFilter::filterWithName(QString::fromLatin1(name));
    if (!filter) return {};
    filter->setDefaults();
    for (auto it = inputs.cbegin(); it != inputs.cend(); ++it)
        filter->setValueForKey(it.value(), it.key());
    return filter->outputImage();
}

}  // namespace

void CIFMain::setRenderControl(const std::atomic<bool>* cancel,
                               std::function<void(double)> progress) {
    m_renderCancel = cancel;
    m_renderProgress = std::move(progress);
}

// ---- the common preparation

CIImage CIFMain::prepareFilterOutput(const QString& identifier, const QVariantMap& parameters,
                                     const HostImage& image, CIImage* background) {
    const QSizeF size = workingSize(image);
    const bool cached = image.isSameObject(_currImage) && identifier == _currFilterName;
    if (!cached) {
        _CIFilterInstance.reset();
        _currImage = image;
        _currFilterName = identifier;
        m_workingImage = inputImageFor(image, size);
    }
    const bool madeInput = !cached;
    if (!cachedFilterInstance(identifier)) return {};
    CIFilter& filter = *_CIFilterInstance;
    const QStringList keys = filter.inputKeys();
    if (!keys.contains(kCIInputImageKey)) {
        // A generating filter draws over the picture.
        if (background) *background = m_workingImage;
    } else if (madeInput) {
        filter.setValueForKey(QVariant::fromValue(m_workingImage), kCIInputImageKey);
        if (keys.contains(QStringLiteral("inputBacksideImage")))
            filter.setValueForKey(QVariant::fromValue(m_workingImage),
                                  QStringLiteral("inputBacksideImage"));
    }
    const QVariantMap values = prepareAttributes(parameters);
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        if (keys.contains(it.key())) filter.setValueForKey(it.value(), it.key());
    return filter.outputImage();
}

// ---- the two apply operations

HostImage CIFMain::CIFApplyFilterAttributesForImage(const QString& identifier,
                                                    const QVariantMap& parameters,
                                                    const HostImage& image) {
    if (image.isNull()) return {};
    const RenderControlScope control(m_renderCancel, m_renderProgress);
    CIImage background;
    const CIImage output = prepareFilterOutput(identifier, parameters, image, &background);
    if (!_CIFilterInstance) return {};
    const QSizeF size = workingSize(image);
    if (!_CIFilterInstance->inputKeys().contains(kCIInputImageKey) && !output.isNull() &&
        !background.isNull())
        return performAdditionalCompositingWithBackground(output, background);

    const QRectF whole(QPointF(0, 0), size);
    if (output.isNull() || output.isInfinite()) return drawnPicture(output, size, whole, whole);
    const QRectF extent = output.extent();
    if (isFitToPicture(identifier) && extent.width() > 0 && extent.height() > 0) {
        // Aspect fit, centred.
        const double e = extent.width() / extent.height();
        const double r = size.width() / size.height();
        const QRectF target = r > e ? QRectF((size.width() - size.height() * e) * 0.5, 0,
                                             size.height() * e, size.height())
                                    : QRectF(0, (size.height() - size.width() / e) * 0.5,
                                             size.width(), size.width() / e);
        return drawnPicture(output, size, target, extent);
    }
    return drawnPicture(output, size, whole, whole);
}

CIImage CIFMain::CIFOutputImageForFilterAttributesForImage(const QString& identifier,
                                                           const QVariantMap& parameters,
                                                           const HostImage& image) {
    if (image.isNull()) return {};
    CIImage background;
    CIImage output = prepareFilterOutput(identifier, parameters, image, &background);
    if (!_CIFilterInstance) return {};
    if (_CIFilterInstance->inputKeys().contains(kCIInputImageKey)) {
        const QColor c = _backgroundColor.isValid() ? _backgroundColor : QColor(Qt::white);
        const CIImage backdrop =
            filtered("CIConstantColorGenerator",
                     {{QStringLiteral("inputColor"),
                       QVariant::fromValue(CIColor(c.redF(), c.greenF(), c.blueF(), 1.0))}});
        if (output.isNull()) return backdrop;
        if (isFitToPicture(identifier) && !output.isInfinite()) {
            const QRectF e = output.extent();
            const QSizeF picture = image.size();
            if (e.width() > 0 && e.height() > 0) {
                const double scale =
                    std::min(picture.width() / e.width(), picture.height() / e.height());
                const QTransform fit =
                    QTransform::fromTranslate(-e.center().x(), -e.center().y()) *
                    QTransform::fromScale(scale, scale) *
                    QTransform::fromTranslate(picture.width() * 0.5, picture.height() * 0.5);
                output = filtered("CIAffineTransform",
                                  {{kCIInputImageKey, QVariant::fromValue(output)},
                                   {QStringLiteral("inputTransform"), QVariant::fromValue(fit)}});
            }
        }
        return filtered("CISourceOverCompositing",
                        {{kCIInputImageKey, QVariant::fromValue(output)},
                         {QStringLiteral("inputBackgroundImage"), QVariant::fromValue(backdrop)}});
    }
    if (!output.isNull() && !background.isNull())
        return outputAdditionalCompositingWithBackground(output, background);
    return output;
}

// ---- additive compositing

HostImage CIFMain::performAdditionalCompositingWithBackground(const CIImage& image,
                                                              const CIImage& background) const {
    const CIImage sum =
        filtered("CIAdditionCompositing",
                 {{kCIInputImageKey, QVariant::fromValue(image)},
                  {QStringLiteral("inputBackgroundImage"), QVariant::fromValue(background)}});
    if (sum.isNull() || background.isInfinite()) return {};
    const QSizeF size = background.extent().size();
    const QRectF rect(QPointF(0, 0), size);
    return drawnPicture(sum, size, rect, rect);
}

CIImage CIFMain::outputAdditionalCompositingWithBackground(const CIImage& image,
                                                           const CIImage& background) const {
    const CIImage sum =
        filtered("CIAdditionCompositing",
                 {{kCIInputImageKey, QVariant::fromValue(image)},
                  {QStringLiteral("inputBackgroundImage"), QVariant::fromValue(background)}});
    if (sum.isNull() || background.isInfinite()) return {};
    const QRectF e = background.extent();
    return filtered("CICrop", {{kCIInputImageKey, QVariant::fromValue(sum)},
                               {QStringLiteral("inputRectangle"),
                                QVariant::fromValue(CIVector{0, 0, e.width(), e.height()})}});
}

// ---- generators

HostImage CIFMain::CIFGenerateLayerAttributesForImage(const QString& className,
                                                      const QVariantMap& attributes,
                                                      const HostImage& image) {
    GLIFCoreObject* generator = GLIFSmartInstanceFromName(className);
    if (!generator) return {};
    return generator->GLIFOutputImageWidthHeightAttributes(&image, 0, 0, attributes);
}

HostImage CIFMain::CIFGenerateLayerAttributesSize(const QString& className,
                                                  const QVariantMap& attributes,
                                                  const QSizeF& size) {
    GLIFCoreObject* generator = GLIFSmartInstanceFromName(className);
    if (!generator) return {};
    // The host's size may be anything a double holds; sizes no picture can
    // have become 0, which the generators refuse like any empty size.
    int width = 0, height = 0;
    if (!engine::floorToInt(size.width(), width) || !engine::floorToInt(size.height(), height))
        width = height = 0;
    return generator->GLIFOutputImageWidthHeightAttributes(nullptr, width, height, attributes);
}

// The generators draw from the process-wide rand() sequence.
void CIFMain::seedRandom(unsigned seed) {
    std::srand(seed);
}

CIImage CIFMain::constantColorImage() {
    if (_constColorImage.isNull()) {
        CIColor clear;
        CIColor::colorWithString(QStringLiteral("0.0 0.0 0.0 0.0"), clear);
        _constColorImage = filtered("CIConstantColorGenerator",
                                    {{QStringLiteral("inputColor"), QVariant::fromValue(clear)}});
    }
    return _constColorImage;
}

}  // namespace cif
