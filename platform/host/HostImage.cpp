#include "platform/host/HostImage.h"

#include "platform/host/BandedReplay.h"
#include "platform/host/ImageLimits.h"
#include "platform/host/TiffCodec.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QImageWriter>
#include <QPaintEngine>
#include <QPainter>
#include <QPicture>
#include <QSaveFile>
#include <QTransform>

#include <poppler-qt6.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <mutex>
#include <optional>

namespace cif {

struct HostImage::Data {
    Representation kind = Representation::None;
    QSizeF points;
    QImage image;                                 // Bitmap
    QPicture picture;                             // Drawing
    QByteArray pdfBytes;                          // Pdf
    std::unique_ptr<Poppler::Document> document;  // Pdf; outlives page
    std::unique_ptr<Poppler::Page> page;          // Pdf: the first page
    // Neither a poppler document nor a QPicture's replay (which moves a read position inside
    // the shared picture) may be used by two threads at once; copies of a picture share this.
    mutable std::mutex renderMutex;
    // Drawing: whether the recording may be replayed band by band, found on first use.
    mutable std::once_flag bandCheck;
    mutable bool bandSafe = false;
};

namespace {

bool isPositiveFinite(QSizeF size) {
    return std::isfinite(size.width()) && std::isfinite(size.height()) && size.width() > 0 &&
           size.height() > 0;
}

// A length in points rounded up to whole pixels. The small tolerance keeps sizes such as
// 612.0000000001 (from a PDF's decimal numbers) at 612.
int roundUpToPixels(double points) {
    if (!(points > 0)) return 0;
    if (points >= double(INT_MAX)) return INT_MAX;
    return std::max(1, int(std::ceil(points - 1e-6)));
}

QString displayName(const QString& path) {
    return QDir::toNativeSeparators(path);
}

void setError(QString* error, const QString& message) {
    if (error) *error = message;
}

QString cannotRead(const QString& path, const QString& why) {
    return QCoreApplication::translate("HostImage", "Cannot read the picture file %1: %2")
        .arg(displayName(path), why);
}

// Maps r from the picture's point space (where source lies) into target's space.
QRectF mapSourceToTarget(const QRectF& r, const QRectF& source, const QRectF& target) {
    const double sx = target.width() / source.width();
    const double sy = target.height() / source.height();
    return {target.x() + (r.x() - source.x()) * sx, target.y() + (r.y() - source.y()) * sy,
            r.width() * sx, r.height() * sy};
}

// The part of the painter's device that can show anything, in device pixels (empty when the
// clip hides everything), or nothing when the device is not a raster one: a recording or a
// printer has no fixed pixel grid, so nothing is culled there.
std::optional<QRectF> visibleDeviceRect(QPainter& painter) {
    const QPaintEngine* engine = painter.paintEngine();
    const QPaintDevice* device = painter.device();
    if (!engine || !device || engine->type() != QPaintEngine::Raster) return std::nullopt;
    QRectF visible(0, 0, device->width(), device->height());
    if (painter.hasClipping()) {
        visible &= painter.deviceTransform().mapRect(painter.clipBoundingRect());
    }
    return visible;
}

// Shrinks a render of width x height pixels until checkPictureSize accepts it; answers the
// factor to apply to the resolution (1 when it already fits).
double fitToLimits(double width, double height) {
    double factor = 1.0;
    if (width > kMaxPictureSide) factor = std::min(factor, kMaxPictureSide / width);
    if (height > kMaxPictureSide) factor = std::min(factor, kMaxPictureSide / height);
    const double area = width * height * factor * factor;
    if (area > double(kMaxPictureArea)) factor *= std::sqrt(double(kMaxPictureArea) / area);
    // A little under the exact factor so rounding the pixel rectangle outwards still fits.
    return factor < 1.0 ? factor * 0.999 : 1.0;
}

void drawBitmap(const QImage& image, QSizeF points, QPainter& painter, const QRectF& target,
                const QRectF& source) {
    const double toPixelsX = image.width() / points.width();
    const double toPixelsY = image.height() / points.height();
    const QRectF sourcePixels(source.x() * toPixelsX, source.y() * toPixelsY,
                              source.width() * toPixelsX, source.height() * toPixelsY);
    painter.save();
    painter.setRenderHint(QPainter::SmoothPixmapTransform);

    // QPainter's smooth scaling is bilinear, which aliases when it shrinks by more than half;
    // such draws are shrunk first with QImage's area-averaging scaler to the device size.
    const QTransform device = painter.deviceTransform();
    const double deviceWidth = std::abs(device.m11()) * target.width();
    const double deviceHeight = std::abs(device.m22()) * target.height();
    if (device.type() <= QTransform::TxScale && painter.paintEngine() &&
        painter.paintEngine()->type() == QPaintEngine::Raster &&
        (deviceWidth < 0.5 * sourcePixels.width() || deviceHeight < 0.5 * sourcePixels.height())) {
        const QRect aligned = sourcePixels.toAlignedRect() & image.rect();
        if (!aligned.isEmpty()) {
            const double scaleX = deviceWidth / sourcePixels.width();
            const double scaleY = deviceHeight / sourcePixels.height();
            const int width = std::max(1, int(std::lround(aligned.width() * scaleX)));
            const int height = std::max(1, int(std::lround(aligned.height() * scaleY)));
            // One axis may grow while the other shrinks; the intermediate must stay in limits.
            if (!checkPictureSize(width, height, nullptr)) {
                painter.drawImage(target, image, sourcePixels);
                painter.restore();
                return;
            }
            const QImage part = aligned == image.rect() ? image : image.copy(aligned);
            const QImage shrunk =
                part.scaled(width, height, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
            const QRectF alignedPoints(aligned.x() / toPixelsX, aligned.y() / toPixelsY,
                                       aligned.width() / toPixelsX, aligned.height() / toPixelsY);
            painter.setClipRect(target, Qt::IntersectClip);
            painter.drawImage(mapSourceToTarget(alignedPoints, source, target), shrunk);
        }
    } else {
        painter.drawImage(target, image, sourcePixels);
    }
    painter.restore();
}

void drawPicture(const QPicture& picture, std::mutex& mutex, QPainter& painter,
                 const QRectF& target, const QRectF& source) {
    painter.save();
    painter.setClipRect(target, Qt::IntersectClip);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing |
                           QPainter::SmoothPixmapTransform);
    painter.translate(target.topLeft());
    painter.scale(target.width() / source.width(), target.height() / source.height());
    painter.translate(-source.topLeft());
    {
        const std::lock_guard<std::mutex> lock(mutex);
        painter.drawPicture(QPointF(0, 0), picture);
    }
    painter.restore();
}

void drawPdfPage(const Poppler::Page& page, QSizeF points, std::mutex& mutex, QPainter& painter,
                 const QRectF& target, const QRectF& source) {
    // Device pixels per point along each axis of the page.
    const QTransform device = painter.deviceTransform();
    double scaleX = std::hypot(device.m11(), device.m12()) * target.width() / source.width();
    double scaleY = std::hypot(device.m21(), device.m22()) * target.height() / source.height();
    if (!(scaleX > 0) || !(scaleY > 0) || !std::isfinite(scaleX) || !std::isfinite(scaleY)) return;

    // The part of the page to render, in points. Under a plain scale on a raster device only
    // what lands inside the device (and its clip) is rendered, so zooming far into a page
    // costs what the screen shows, not what the whole page would take at that zoom.
    QRectF wanted = source & QRectF(QPointF(0, 0), points);
    const std::optional<QRectF> visible = visibleDeviceRect(painter);
    if (visible && device.type() <= QTransform::TxScale && device.m11() > 0 && device.m22() > 0) {
        const QRectF deviceTarget = device.mapRect(target);
        const QRectF shown = deviceTarget & *visible;
        if (shown.isEmpty()) return;
        const double pointsPerDeviceX = source.width() / deviceTarget.width();
        const double pointsPerDeviceY = source.height() / deviceTarget.height();
        wanted &= QRectF(source.x() + (shown.x() - deviceTarget.x()) * pointsPerDeviceX,
                         source.y() + (shown.y() - deviceTarget.y()) * pointsPerDeviceY,
                         shown.width() * pointsPerDeviceX, shown.height() * pointsPerDeviceY);
    }
    if (wanted.isEmpty()) return;

    const double factor = fitToLimits(wanted.width() * scaleX, wanted.height() * scaleY);
    scaleX *= factor;
    scaleY *= factor;
    // Whole pixels of the page rendered at that resolution, inside the page.
    const QRect pagePixels(0, 0, roundUpToPixels(points.width() * scaleX),
                           roundUpToPixels(points.height() * scaleY));
    const QRect pixels = QRectF(wanted.x() * scaleX, wanted.y() * scaleY, wanted.width() * scaleX,
                                wanted.height() * scaleY)
                             .toAlignedRect() &
                         pagePixels;
    if (pixels.isEmpty() || !checkPictureSize(pixels.width(), pixels.height(), nullptr)) return;

    QImage rendered;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        rendered = page.renderToImage(72.0 * scaleX, 72.0 * scaleY, pixels.x(), pixels.y(),
                                      pixels.width(), pixels.height());
    }
    if (rendered.isNull()) return;

    const QRectF renderedPoints(pixels.x() / scaleX, pixels.y() / scaleY, pixels.width() / scaleX,
                                pixels.height() / scaleY);
    painter.save();
    painter.setClipRect(target, Qt::IntersectClip);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(mapSourceToTarget(renderedPoints, source, target), rendered);
    painter.restore();
}

QByteArray encodePng(const QImage& image) {
    if (image.isNull()) return {};
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "png");
    if (!writer.write(image)) return {};
    return bytes;
}

bool hasPrefix(const QByteArray& head, const char* prefix, qsizetype length) {
    return head.size() >= length && std::equal(prefix, prefix + length, head.constData());
}

// The size a PNG or BMP header claims, read here because Qt's readers answer
// no size at all for the largest claims (libpng and Qt's BMP reader have
// limits of their own) and the refusal should still name it; an invalid size
// for other kinds or short headers.
QSize claimedSize(const QByteArray& head, bool png, bool bmp) {
    const auto byte = [&head](int i) { return quint32(uchar(head.at(i))); };
    if (png && head.size() >= 24 && head.mid(12, 4) == "IHDR") {
        const quint32 w = byte(16) << 24 | byte(17) << 16 | byte(18) << 8 | byte(19);
        const quint32 h = byte(20) << 24 | byte(21) << 16 | byte(22) << 8 | byte(23);
        return QSize(int(std::min<quint32>(w, INT_MAX)), int(std::min<quint32>(h, INT_MAX)));
    }
    if (bmp && head.size() >= 26 && byte(14) >= 40) {
        const qint32 w = qint32(byte(18) | byte(19) << 8 | byte(20) << 16 | byte(21) << 24);
        const qint32 h = qint32(byte(22) | byte(23) << 8 | byte(24) << 16 | byte(25) << 24);
        // Negative heights mark top-down rows.
        const qint64 height = h < 0 ? -qint64(h) : qint64(h);
        return QSize(w, int(std::min<qint64>(height, INT_MAX)));
    }
    return {};
}

bool qtReadsTiff() {
    static const bool reads = QImageReader::supportedImageFormats().contains("tiff");
    return reads;
}

// Qt's image readers refuse to allocate more than QImageReader::allocationLimit() megabytes
// (128 by default in Qt 6.4, counted at 32 bits a pixel or more), a process-wide setting that
// belongs to the host. Pictures that our own limits accept may exceed it: answers whether a
// picture of size at bytesPerPixel does.
bool exceedsReaderLimit(QSize size, int bytesPerPixel) {
    const qint64 limit = qint64(QImageReader::allocationLimit()) * 1024 * 1024;
    // A little margin for row padding and the image header.
    return limit > 0 && qint64(size.width()) * size.height() * bytesPerPixel > limit - 65536;
}

QString readerLimitMessage(QSize size, const QString& readerError) {
    return QCoreApplication::translate("HostImage",
                                       "%1 (decoding %2 x %3 pixels may need more than the %4 "
                                       "MB the host allows Qt's image reader)")
        .arg(readerError)
        .arg(size.width())
        .arg(size.height())
        .arg(QImageReader::allocationLimit());
}

// Applies an orientation as Qt's readers do: mirror and flip first, then a quarter turn
// clockwise, except for the 270-degree turn.
QImage applyOrientation(const QImage& image, QImageIOHandler::Transformations orientation) {
    if (orientation == QImageIOHandler::TransformationNone) return image;
    if (orientation == QImageIOHandler::TransformationRotate270) {
        return image.transformed(QTransform().rotate(270));
    }
    QImage result = image.mirrored(orientation & QImageIOHandler::TransformationMirror,
                                   orientation & QImageIOHandler::TransformationFlip);
    if (orientation & QImageIOHandler::TransformationRotate90) {
        result = result.transformed(QTransform().rotate(90));
    }
    return result;
}

// Reads a picture whose decoded size is over Qt's reader limit but within ours, in bands of
// rows that each stay under half of Qt's limit, into one image allocated here. Each band
// decodes the file again from its start, so this costs several decodes; it is only taken
// for pictures Qt would otherwise refuse, and only for readers that can clip (JPEG).
QImage readInBands(QIODevice& file, const QByteArray& format, QSize size, QString* why) {
    const qint64 bandBytes = qint64(QImageReader::allocationLimit()) * 1024 * 1024 / 2;
    const int bandRows =
        int(std::clamp<qint64>(bandBytes / (qint64(size.width()) * 4), 1, size.height()));
    QImage image;
    QImageIOHandler::Transformations orientation = QImageIOHandler::TransformationNone;
    for (int top = 0; top < size.height(); top += bandRows) {
        QImageReader reader;
        if (!file.seek(0)) {
            *why = file.errorString();
            return {};
        }
        reader.setDevice(&file);
        reader.setFormat(format);
        reader.setAutoTransform(false);
        reader.setClipRect(QRect(0, top, size.width(), std::min(bandRows, size.height() - top)));
        QImage band;
        if (!reader.read(&band) || band.width() != size.width()) {
            *why = reader.errorString();
            return {};
        }
        if (image.isNull()) {
            orientation = reader.transformation();
            image = QImage(size, band.format());
            if (image.isNull()) {
                *why = QCoreApplication::translate("HostImage",
                                                   "Not enough memory for a "
                                                   "picture of %1 x %2 pixels")
                           .arg(size.width())
                           .arg(size.height());
                return {};
            }
        }
        if (band.format() != image.format()) band.convertTo(image.format());
        const qsizetype rowBytes = std::min(band.bytesPerLine(), image.bytesPerLine());
        for (int y = 0; y < band.height() && top + y < size.height(); ++y) {
            std::memcpy(image.scanLine(top + y), band.constScanLine(y), size_t(rowBytes));
        }
    }
    return applyOrientation(image, orientation);
}

// Decodes the picture in device with Qt's readers. The size comes from the file's header;
// nothing is decoded or allocated before our limits have accepted it.
QImage readWithQt(QIODevice& device, QString* why) {
    QImageReader reader(&device);
    reader.setAutoTransform(true);
    const QSize size = reader.size();
    if (!size.isValid()) {
        *why = reader.errorString();
        return {};
    }
    if (!checkPictureSize(size.width(), size.height(), why)) return {};
    // Readers that can clip (JPEG, 8 bits a sample) read pictures over Qt's limit in bands.
    if (exceedsReaderLimit(size, 4) && reader.supportsOption(QImageIOHandler::ClipRect)) {
        return readInBands(device, reader.format(), size, why);
    }
    QImage image;
    if (!reader.read(&image) || image.isNull()) {
        // 16 bits a sample decode to 8 bytes a pixel.
        *why = exceedsReaderLimit(size, 8) ? readerLimitMessage(size, reader.errorString())
                                           : reader.errorString();
        return {};
    }
    return image;
}

}  // namespace

HostImage::HostImage() = default;

HostImage::HostImage(std::shared_ptr<const Data> data) : m_data(std::move(data)) {}

HostImage HostImage::fromQImage(const QImage& image, QSizeF sizeInPoints) {
    if (image.isNull()) return {};
    auto data = std::make_shared<Data>();
    data->kind = Representation::Bitmap;
    data->image = image;
    data->points = isPositiveFinite(sizeInPoints) ? sizeInPoints : QSizeF(image.size());
    return HostImage(std::move(data));
}

HostImage HostImage::fromDrawing(const QPicture& picture, QSizeF sizeInPoints) {
    if (!isPositiveFinite(sizeInPoints)) return {};
    auto data = std::make_shared<Data>();
    data->kind = Representation::Drawing;
    data->picture = picture;
    data->points = sizeInPoints;
    return HostImage(std::move(data));
}

HostImage HostImage::recordDrawing(QSizeF sizeInPoints,
                                   const std::function<void(QPainter&)>& draw) {
    if (!isPositiveFinite(sizeInPoints)) return {};
    QPicture picture;
    {
        QPainter painter(&picture);
        if (draw) draw(painter);
    }
    return fromDrawing(picture, sizeInPoints);
}

HostImage HostImage::fromPdfData(const QByteArray& data, QString* error) {
    const auto fail = [error](const char* message) {
        setError(error, QCoreApplication::translate("HostImage", message));
        return HostImage();
    };
    if (data.size() > kMaxPictureFileBytes) {
        return fail(QT_TRANSLATE_NOOP("HostImage", "The PDF document is larger than 1 GiB"));
    }
    auto document = Poppler::Document::loadFromData(data);
    if (!document) {
        return fail(
            QT_TRANSLATE_NOOP("HostImage", "The PDF data is damaged or not a PDF document"));
    }
    if (document->isLocked()) {
        return fail(QT_TRANSLATE_NOOP("HostImage", "The PDF document is protected by a password"));
    }
    if (document->numPages() < 1) {
        return fail(QT_TRANSLATE_NOOP("HostImage", "The PDF document has no pages"));
    }
    auto page = document->page(0);
    if (!page || !isPositiveFinite(page->pageSizeF())) {
        return fail(
            QT_TRANSLATE_NOOP("HostImage", "The first page of the PDF document is damaged"));
    }
    // A page is a picture of its size in points, at one pixel a point, and
    // keeps to the same limits as any other.
    const QSizeF pageSize = page->pageSizeF();
    if (QString why; !checkPictureSize(roundUpToPixels(pageSize.width()),
                                       roundUpToPixels(pageSize.height()), &why)) {
        setError(error, why);
        return {};
    }
    // Transparent where the page draws nothing, like any other vector picture.
    document->setRenderHint(Poppler::Document::Antialiasing);
    document->setRenderHint(Poppler::Document::TextAntialiasing);
    document->setRenderHint(Poppler::Document::IgnorePaperColor);

    auto result = std::make_shared<Data>();
    result->kind = Representation::Pdf;
    result->points = page->pageSizeF();
    result->pdfBytes = data;
    result->document = std::move(document);
    result->page = std::move(page);
    return HostImage(std::move(result));
}

HostImage HostImage::load(const QString& path, QString* error) {
    const QFileInfo info(path);
    if (info.isDir()) {
        setError(error,
                 cannotRead(path, QCoreApplication::translate("HostImage", "It is a folder")));
        return {};
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        setError(error, QCoreApplication::translate("HostImage",
                                                    "Cannot open the picture file "
                                                    "%1: %2")
                            .arg(displayName(path), file.errorString()));
        return {};
    }
    if (file.size() > kMaxPictureFileBytes) {
        setError(error, QCoreApplication::translate("HostImage",
                                                    "The picture file %1 is larger "
                                                    "than the limit of 1 GiB")
                            .arg(displayName(path)));
        return {};
    }
    if (file.size() == 0) {
        setError(error,
                 cannotRead(path, QCoreApplication::translate("HostImage", "The file is empty")));
        return {};
    }

    // The kind is recognised from the first bytes. Bitmap signatures go first because a PNG
    // or JPEG may well carry the text "%PDF-" in its metadata; a PDF header may follow up to
    // 1 KiB of other bytes.
    const QByteArray head = file.peek(1024);
    const bool png = hasPrefix(head, "\x89PNG", 4);
    const bool jpeg = hasPrefix(head, "\xFF\xD8\xFF", 3);
    const bool tiff = TiffCodec::hasTiffSignature(head);
    const bool gif = hasPrefix(head, "GIF8", 4);
    const bool bmp = hasPrefix(head, "BM", 2);
    const bool pdf = !png && !jpeg && !tiff && !gif && !bmp && head.contains("%PDF-");

    if (!pdf && !png && !jpeg && !tiff && !gif && !bmp) {
        setError(error,
                 cannotRead(path, QCoreApplication::translate("HostImage",
                                                              "It is not a PNG, JPEG, TIFF, GIF, "
                                                              "BMP or PDF file")));
        return {};
    }
    QString why;
    if (const QSize claimed = claimedSize(head, png, bmp);
        claimed.isValid() && !checkPictureSize(claimed.width(), claimed.height(), &why)) {
        setError(error, cannotRead(path, why));
        return {};
    }
    if (!pdf && !tiff) {
        const QImage image = readWithQt(file, &why);
        if (image.isNull()) setError(error, cannotRead(path, why));
        return fromQImage(image);
    }

    const QByteArray bytes = file.readAll();
    if (bytes.size() != file.size()) {
        setError(error, cannotRead(path, file.errorString()));
        return {};
    }
    if (pdf) {
        const HostImage picture = fromPdfData(bytes, &why);
        if (picture.isNull()) setError(error, cannotRead(path, why));
        return picture;
    }
    // Our codec reads the common kinds of TIFF exactly (Qt's plug-in premultiplies alpha on
    // the way in) and the same with or without the plug-in; the plug-in, where installed,
    // reads the kinds our codec does not.
    bool unsupportedVariant = false;
    QImage image = TiffCodec::decode(bytes, &why, &unsupportedVariant);
    if (image.isNull() && unsupportedVariant && qtReadsTiff()) {
        QBuffer buffer;
        buffer.setData(bytes);
        buffer.open(QIODevice::ReadOnly);
        image = readWithQt(buffer, &why);
    }
    if (image.isNull()) setError(error, cannotRead(path, why));
    return fromQImage(image);
}

QStringList HostImage::readableFileTypes() {
    return {QStringLiteral("png"), QStringLiteral("jpg"),  QStringLiteral("jpeg"),
            QStringLiteral("tif"), QStringLiteral("tiff"), QStringLiteral("gif"),
            QStringLiteral("bmp"), QStringLiteral("pdf")};
}

bool HostImage::isNull() const {
    return !m_data;
}

HostImage::Representation HostImage::bestRepresentation() const {
    return m_data ? m_data->kind : Representation::None;
}

bool HostImage::isVector() const {
    const Representation kind = bestRepresentation();
    return kind == Representation::Pdf || kind == Representation::Drawing;
}

QSizeF HostImage::size() const {
    return m_data ? m_data->points : QSizeF(0, 0);
}

int HostImage::pixelsWide() const {
    if (!m_data) return 0;
    if (m_data->kind == Representation::Bitmap) return m_data->image.width();
    return roundUpToPixels(m_data->points.width());
}

int HostImage::pixelsHigh() const {
    if (!m_data) return 0;
    if (m_data->kind == Representation::Bitmap) return m_data->image.height();
    return roundUpToPixels(m_data->points.height());
}

void HostImage::drawInRect(QPainter& painter, const QRectF& target, const QRectF& source) const {
    if (!m_data || !painter.isActive() || !target.isValid() || target.isEmpty()) return;
    const QRectF whole(QPointF(0, 0), m_data->points);
    const QRectF from = source.isEmpty() ? whole : source;
    if (!std::isfinite(from.x()) || !std::isfinite(from.y()) || !isPositiveFinite(from.size()) ||
        !std::isfinite(target.x()) || !std::isfinite(target.y()) ||
        !isPositiveFinite(target.size())) {
        return;
    }
    switch (m_data->kind) {
        case Representation::Bitmap:
            drawBitmap(m_data->image, m_data->points, painter, target, from);
            break;
        case Representation::Drawing:
            drawPicture(m_data->picture, m_data->renderMutex, painter, target, from);
            break;
        case Representation::Pdf:
            drawPdfPage(*m_data->page, m_data->points, m_data->renderMutex, painter, target, from);
            break;
        case Representation::None:
            break;
    }
}

QImage HostImage::rasterize(QSize pixelSize, QString* error) const {
    return rasterizeInBands(pixelSize, 0, error);
}

QImage HostImage::rasterizeInBands(QSize pixelSize, int bandRows, QString* error) const {
    if (!m_data) {
        setError(error, QCoreApplication::translate("HostImage", "The picture is empty"));
        return {};
    }
    if (!checkPictureSize(pixelSize.width(), pixelSize.height(), error)) return {};
    // A recording is replayed in the raster engine's native format, where a solid fill is a
    // plain fill of 32-bit pixels; filling an RGBA picture converts every span on the way in
    // and out (and hands large fills to a thread pool). The arithmetic is the same, and so
    // are the pixels. Bitmaps and PDF pages are drawn into RGBA directly.
    const bool native = m_data->kind == Representation::Drawing;
    QImage out(pixelSize, native ? QImage::Format_ARGB32_Premultiplied
                                 : QImage::Format_RGBA8888_Premultiplied);
    if (out.isNull()) {
        setError(error, QCoreApplication::translate("HostImage",
                                                    "Not enough memory for a "
                                                    "picture of %1 x %2 pixels")
                            .arg(pixelSize.width())
                            .arg(pixelSize.height()));
        return {};
    }
    out.fill(Qt::transparent);
    const QRectF target(QPointF(0, 0), QSizeF(pixelSize));
    const int rows = bandRows > 0 ? bandRows : BandedReplay::defaultBandRows(pixelSize);
    if (native && rows < pixelSize.height() && replaysInBands()) {
        // Replaying moves a read position inside the picture, so each band replays its own
        // copy of the recorded bytes.
        QByteArray bytes;
        {
            const std::lock_guard<std::mutex> lock(m_data->renderMutex);
            bytes = QByteArray(m_data->picture.data(), m_data->picture.size());
        }
        BandedReplay::run(out, rows, [&](QPainter& painter) {
            QPicture own;
            own.setData(bytes.constData(), uint(bytes.size()));
            std::mutex unshared;
            drawPicture(own, unshared, painter, target, QRectF(QPointF(0, 0), m_data->points));
        });
    } else {
        QPainter painter(&out);
        drawInRect(painter, target);
    }
    if (native) out.convertTo(QImage::Format_RGBA8888_Premultiplied);
    return out;
}

bool HostImage::replaysInBands() const {
    if (!m_data || m_data->kind != Representation::Drawing) return false;
    std::call_once(m_data->bandCheck, [this] {
        const std::lock_guard<std::mutex> lock(m_data->renderMutex);
        m_data->bandSafe = BandedReplay::isSafe(m_data->picture);
    });
    return m_data->bandSafe;
}

QImage HostImage::bitmap() const {
    return m_data && m_data->kind == Representation::Bitmap ? m_data->image : QImage();
}

QByteArray HostImage::pdfData() const {
    return m_data && m_data->kind == Representation::Pdf ? m_data->pdfBytes : QByteArray();
}

QImage HostImage::naturalBitmap(QString* error) const {
    if (m_data && m_data->kind == Representation::Bitmap) return m_data->image;
    return rasterize(QSize(pixelsWide(), pixelsHigh()), error);
}

QByteArray HostImage::TIFFRepresentation() const {
    return TiffCodec::encode(naturalBitmap(nullptr));
}

QByteArray HostImage::PNGRepresentation() const {
    return encodePng(naturalBitmap(nullptr));
}

bool HostImage::savePNG(const QString& path, QString* error) const {
    const auto fail = [&](const QString& why) {
        setError(error, QCoreApplication::translate("HostImage",
                                                    "Cannot save the picture to %1: "
                                                    "%2")
                            .arg(displayName(path), why));
        return false;
    };
    // Encoded in memory first, so nothing on disk is touched unless there is something to
    // write.
    QString why;
    const QImage image = naturalBitmap(&why);
    if (image.isNull()) return fail(why);
    const QByteArray bytes = encodePng(image);
    if (bytes.isEmpty()) {
        return fail(QCoreApplication::translate("HostImage", "The PNG encoder failed"));
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) return fail(file.errorString());
    if (file.write(bytes) != bytes.size()) {
        const QString writeError = file.errorString();
        file.cancelWriting();
        return fail(writeError);
    }
    if (!file.commit()) return fail(file.errorString());
    return true;
}

}  // namespace cif
