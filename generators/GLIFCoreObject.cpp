#include "generators/GLIFCoreObject.h"

#include "generators/GLIFColorFunctions.h"
#include "platform/host/ImageLimits.h"
#include "platform/image/CIColor.h"

#include <QBuffer>
#include <QMarginsF>
#include <QPageLayout>
#include <QPageSize>
#include <QPainter>
#include <QPdfWriter>
#include <QPicture>

#include <algorithm>
#include <cstring>
#include <new>

namespace cif {

namespace {

const QString kWidthKey = QStringLiteral("GLIFWidth");
const QString kHeightKey = QStringLiteral("GLIFHeight");

// The keys that only colour an already computed field; changing them alone never forces a
// recomputation.
const QStringList& colorKeys() {
    static const QStringList keys{
        QStringLiteral("GLIFBackgroundColor"), QStringLiteral("GLIFUseBackgroundColor"),
        QStringLiteral("GLIFColorRangeMin"),   QStringLiteral("GLIFColorRangeMax"),
        QStringLiteral("GLIFColorScheme"),     QStringLiteral("GLIFSchemeKeyColor")};
    return keys;
}

// Turns a painter whose y runs down a device of the given height into one in platform
// coordinates: origin at the bottom-left, y up. The one place where generators' drawing
// meets top-down devices.
void toPlatformCoordinates(QPainter& painter, double height) {
    painter.translate(0.0, height);
    painter.scale(1.0, -1.0);
}

bool isFloating(const QVariant& v) {
    const int type = v.userType();
    return type == QMetaType::Double || type == QMetaType::Float;
}

}  // namespace

GLIFCoreObject::GLIFCoreObject() = default;
GLIFCoreObject::~GLIFCoreObject() = default;

// ---- parameters

HostImage GLIFCoreObject::GLIFOutputImageWidthHeightAttributes(const HostImage*, int, int,
                                                               const QVariantMap& attributes) {
    readInt(attributes, QStringLiteral("GLIFColorScheme"), _iColorScheme);
    readDouble(attributes, QStringLiteral("GLIFSchemeKeyColor"), _schemeKeyColor);
    // The range falls back to the whole wheel rather than keeping an earlier call's value.
    _colorRangeMin = 0.0;
    _colorRangeMax = 1.0;
    readFloat(attributes, QStringLiteral("GLIFColorRangeMin"), _colorRangeMin);
    readFloat(attributes, QStringLiteral("GLIFColorRangeMax"), _colorRangeMax);
    readBool(attributes, QStringLiteral("GLIFUseBackgroundColor"), _useBackColor);
    readColor(attributes, QStringLiteral("GLIFBackgroundColor"), _backColor);
    return {};
}

void GLIFCoreObject::readInt(const QVariantMap& attributes, const QString& key, int& out) {
    const auto it = attributes.constFind(key);
    if (it == attributes.constEnd()) return;
    // QVariant rounds floating values to int; the platform's numbers truncate.
    out = isFloating(*it) ? truncateToInt(it->toDouble()) : it->toInt();
}

void GLIFCoreObject::readDouble(const QVariantMap& attributes, const QString& key, double& out) {
    const auto it = attributes.constFind(key);
    if (it != attributes.constEnd()) out = it->toDouble();
}

void GLIFCoreObject::readFloat(const QVariantMap& attributes, const QString& key, double& out) {
    const auto it = attributes.constFind(key);
    if (it != attributes.constEnd()) out = double(float(it->toDouble()));
}

void GLIFCoreObject::readBool(const QVariantMap& attributes, const QString& key, bool& out) {
    const auto it = attributes.constFind(key);
    if (it != attributes.constEnd()) out = it->toBool();
}

void GLIFCoreObject::readColor(const QVariantMap& attributes, const QString& key,
                               std::optional<QColor>& out) {
    const auto it = attributes.constFind(key);
    if (it == attributes.constEnd()) return;
    QColor color;
    if (it->userType() == QMetaType::QColor) {
        color = it->value<QColor>();
    } else if (it->metaType() == QMetaType::fromType<CIColor>()) {
        color = it->value<CIColor>().toQColor();
    } else if (it->userType() == QMetaType::QString) {
        color = QColor::fromString(it->toString());
    }
    out = color.isValid() ? std::optional<QColor>(color) : std::nullopt;
}

void GLIFCoreObject::takeSizeFromImage(const HostImage* image, int& width, int& height) {
    if (!image || image->isNull()) return;
    width = truncateToInt(image->size().width());
    height = truncateToInt(image->size().height());
}

QVariantMap GLIFCoreObject::describeInput(GLIFKind kind, double min, double max, double def,
                                          unsigned flags) {
    const auto describe = [](const QVariant& lo, const QVariant& hi, const QVariant& d) {
        return QVariantMap{{QStringLiteral("GLIFMinValue"), lo},
                           {QStringLiteral("GLIFMaxValue"), hi},
                           {QStringLiteral("GLIFDefValue"), d}};
    };
    switch (kind) {
        case GLIFKind::Integer:
            return describe(int(min), int(max),
                            (flags & kPublishDefaultAsFloat) ? QVariant(def) : QVariant(int(def)));
        case GLIFKind::Float:
            return describe(min, max, def);
        case GLIFKind::Boolean:
            return describe(false, true, def != 0.0);
        case GLIFKind::Colour:
            return {{QStringLiteral("GLIFDefValue"),
                     QVariant::fromValue(def == 0.0 ? QColor(Qt::black) : QColor(Qt::white))}};
    }
    return {};
}

bool GLIFCoreObject::readInput(const QVariantMap& attributes, const QString& key, GLIFKind kind,
                               unsigned flags, double& out) {
    if (!attributes.contains(key)) return false;
    switch (kind) {
        case GLIFKind::Integer: {
            int v = 0;
            readInt(attributes, key, v);
            out = v;
            return true;
        }
        case GLIFKind::Float:
            if (flags & kReadAsInteger) {
                int v = 0;
                readInt(attributes, key, v);
                out = v;
            } else {
                readFloat(attributes, key, out);
            }
            return true;
        case GLIFKind::Boolean: {
            bool v = false;
            readBool(attributes, key, v);
            out = v ? 1.0 : 0.0;
            return true;
        }
        case GLIFKind::Colour:
            return false;
    }
    return false;
}

// ---- previous attributes and change detection

std::uint32_t GLIFCoreObject::GLIFQueryPrefetchBufferSizeForSize(QSizeF size) const {
    // 32-bit float arithmetic, so large sizes lose their low bits exactly as the byte count
    // always has.
    const float bytes = float(size.width()) * float(size.height()) * 8.0f;
    if (!(bytes >= 0.0f)) return 0;
    if (bytes >= 4294967296.0f) return 4294967295u;
    return static_cast<std::uint32_t>(bytes);
}

double* GLIFCoreObject::GLIFPrefetchBuffer() {
    return _prefetchBuffer.get();
}

void GLIFCoreObject::GLIFWriteToPreAttrWidthHeight(const QVariantMap& attributes, int width,
                                                   int height) {
    _preAttr = attributes;
    _preAttr.insert(kWidthKey, width);
    _preAttr.insert(kHeightKey, height);
}

bool GLIFCoreObject::GLIFIsChangeAttributesNewWidthNewHeight(const QVariantMap& attributes,
                                                             int width, int height) {
    // An empty record (before the first computation) has no size and always recomputes.
    const auto w = _preAttr.constFind(kWidthKey);
    const auto h = _preAttr.constFind(kHeightKey);
    if (w == _preAttr.constEnd() || h == _preAttr.constEnd() || w->toInt() != width ||
        h->toInt() != height) {
        _bNeedUpdateCashe = true;
        return true;
    }
    QVariantMap current = attributes;
    QVariantMap previous = _preAttr;
    previous.remove(kWidthKey);
    previous.remove(kHeightKey);
    for (const QString& key : colorKeys()) {
        current.remove(key);
        previous.remove(key);
    }
    // QVariant compares numbers by value across kinds (1 equals 1.0), like the platform's
    // numbers do.
    _bNeedUpdateCashe = !(current == previous);
    return _bNeedUpdateCashe;
}

void GLIFCoreObject::GLIFUpdateCasheWidthHeight(const QVariantMap& attributes, int width,
                                                int height) {
    if (GLIFIsChangeAttributesNewWidthNewHeight(attributes, width, height))
        GLIFWriteToPreAttrWidthHeight(attributes, width, height);
}

// ---- prefetch buffer

bool GLIFCoreObject::allocatePrefetchBuffer(std::int64_t cells, PrefetchFill fill) {
    // A buffer of the same size whose contents are not promised is kept:
    // repeated runs at one size (the editor's previews) skip the allocation.
    if (fill == PrefetchFill::None && _prefetchBuffer && cells == m_prefetchCells) return true;
    releasePrefetchBuffer();
    if (cells <= 0 || cells > kMaxPictureArea) return false;
    const auto count = static_cast<std::size_t>(cells);
    try {
        switch (fill) {
            case PrefetchFill::None:
                _prefetchBuffer = std::make_unique_for_overwrite<double[]>(count);
                break;
            case PrefetchFill::Zero:
                _prefetchBuffer = std::make_unique<double[]>(count);
                break;
            case PrefetchFill::Bytes0x40:
                // A byte fill: the intended value (a million) does not fit a byte, so every
                // byte takes its low byte 0x40 and every cell reads 32.501960784313724.
                _prefetchBuffer = std::make_unique_for_overwrite<double[]>(count);
                std::memset(_prefetchBuffer.get(), 0x40, count * sizeof(double));
                break;
        }
    } catch (const std::bad_alloc&) {
        _prefetchBuffer.reset();
        return false;
    }
    m_prefetchCells = cells;
    return true;
}

void GLIFCoreObject::releasePrefetchBuffer() {
    _prefetchBuffer.reset();
    m_prefetchCells = 0;
}

// ---- drawing

void GLIFCoreObject::drawRect(QPainter& painter, const QRectF& rect) {
    drawBackgroundInRect(painter, rect);
}

void GLIFCoreObject::drawBackgroundInRect(QPainter& painter, const QRectF& rect) {
    if (!_useBackColor || !_backColor) return;
    painter.save();
    painter.fillRect(rect, *_backColor);
    painter.restore();
}

void GLIFCoreObject::drawImageUpright(QPainter& painter, const QRectF& rect, const QImage& image) {
    if (image.isNull() || rect.isEmpty()) return;
    painter.save();
    painter.translate(rect.x(), rect.y() + rect.height());
    painter.scale(1.0, -1.0);
    painter.drawImage(QRectF(0.0, 0.0, rect.width(), rect.height()), image);
    painter.restore();
}

void GLIFCoreObject::drawImageUpright(QPainter& painter, const QRectF& rect,
                                      const HostImage& image) {
    if (image.isNull() || rect.isEmpty()) return;
    painter.save();
    painter.translate(rect.x(), rect.y() + rect.height());
    painter.scale(1.0, -1.0);
    image.drawInRect(painter, QRectF(0.0, 0.0, rect.width(), rect.height()));
    painter.restore();
}

// ---- the three production forms

QString GLIFCoreObject::cantGenerateMessage() const {
    return className() + QStringLiteral(": can't generate");
}

void GLIFCoreObject::logCantGenerate() const {
    qWarning("%s", qUtf8Printable(cantGenerateMessage()));
}

HostImage GLIFCoreObject::recordVectorImage(int width, int height) {
    if (!checkPictureSize(width, height, nullptr)) {
        logCantGenerate();
        return {};
    }
    m_bounds = QRectF(0.0, 0.0, width, height);
    const QSizeF points(width, height);

    if (m_vectorOutput == VectorOutput::Pdf) {
        QByteArray bytes;
        {
            QBuffer buffer(&bytes);
            if (!buffer.open(QIODevice::WriteOnly)) {
                logCantGenerate();
                return {};
            }
            QPdfWriter writer(&buffer);
            writer.setCreator(QStringLiteral("CIF Effects"));
            // One device unit per point, on a page exactly the picture's size.
            writer.setResolution(72);
            writer.setPageLayout(
                QPageLayout(QPageSize(points, QPageSize::Point, QString(), QPageSize::ExactMatch),
                            QPageLayout::Portrait, QMarginsF()));
            QPainter painter;
            if (!painter.begin(&writer)) {
                logCantGenerate();
                return {};
            }
            painter.setRenderHint(QPainter::Antialiasing);
            toPlatformCoordinates(painter, height);
            drawRect(painter, m_bounds);
            if (!painter.end()) {
                logCantGenerate();
                return {};
            }
        }
        const HostImage picture = HostImage::fromPdfData(bytes, nullptr);
        if (picture.isNull()) logCantGenerate();
        return picture;
    }

    QPicture recording;
    QPainter painter;
    if (!painter.begin(&recording)) {
        logCantGenerate();
        return {};
    }
    painter.setRenderHint(QPainter::Antialiasing);
    toPlatformCoordinates(painter, height);
    drawRect(painter, m_bounds);
    painter.end();
    const HostImage picture = HostImage::fromDrawing(recording, points);
    if (picture.isNull()) logCantGenerate();
    return picture;
}

HostImage GLIFCoreObject::generateBitmapImage(int width, int height,
                                              const std::function<void(RGBABitmap&)>& compute) {
    if (!checkPictureSize(width, height, nullptr)) {
        logCantGenerate();
        return {};
    }
    QImage image(width, height, QImage::Format_RGBA8888);
    if (image.isNull()) {
        logCantGenerate();
        return {};
    }
    image.fill(0);
    RGBABitmap bitmap(std::move(image));
    if (compute) compute(bitmap);
    return HostImage::fromQImage(bitmap.image());
}

HostImage GLIFCoreObject::drawDirectImage(
    int width, int height, const std::function<void(QPainter&, const QRectF&)>& draw) {
    if (!checkPictureSize(width, height, nullptr)) {
        logCantGenerate();
        return {};
    }
    QImage image(width, height, QImage::Format_RGBA8888_Premultiplied);
    if (image.isNull()) {
        logCantGenerate();
        return {};
    }
    image.fill(Qt::transparent);
    {
        QPainter painter;
        if (!painter.begin(&image)) {
            logCantGenerate();
            return {};
        }
        painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
        toPlatformCoordinates(painter, height);
        if (draw) draw(painter, QRectF(0.0, 0.0, width, height));
    }
    return HostImage::fromQImage(image);
}

// ---- RGBABitmap

unsigned char* RGBABitmap::row(int y) {
    Q_ASSERT(y >= 0 && y < m_image.height());
    return m_image.scanLine(m_image.height() - 1 - y);
}

}  // namespace cif
