#include "widgets/CIFPopUpImageView.h"

#include <unistd.h>
#include <QApplication>
#include <QBuffer>
#include <QClipboard>
#include <QDir>
#include <QDrag>
#include <QDragEnterEvent>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QImageReader>
#include <QMimeData>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>
#include <QTemporaryFile>

#include <cerrno>

#include "core/CIFStringsTable.h"
#include "core/VNAdditional.h"
#include "widgets/CIFPopUpImageController.h"

namespace cif {

namespace {

constexpr double kThumbnailSide = 30;
constexpr int kReadLimit = 1 << 30;  // the largest picture file read, as HostImage::load

// The picture a drag or the pasteboard carries, and the file it came from.
struct Carried {
    HostImage picture;
    QString file;
};

Carried pictureFromMime(const QMimeData* mime) {
    if (!mime) return {};
    for (const QUrl& url : mime->urls()) {
        if (!url.isLocalFile()) continue;
        const QString path = url.toLocalFile();
        const HostImage picture = HostImage::load(path, nullptr);
        if (!picture.isNull()) return {picture, path};
        break;  // only the first file counts
    }
    if (mime->hasFormat(QStringLiteral("image/tiff")) ||
        mime->hasFormat(QStringLiteral("image/png"))) {
        const QByteArray bytes = mime->hasFormat(QStringLiteral("image/png"))
                                     ? mime->data(QStringLiteral("image/png"))
                                     : mime->data(QStringLiteral("image/tiff"));
        const QImage decoded = QImage::fromData(bytes);
        if (!decoded.isNull()) return {HostImage::fromQImage(decoded), {}};
    }
    if (mime->hasImage()) {
        const QImage image = qvariant_cast<QImage>(mime->imageData());
        if (!image.isNull()) return {HostImage::fromQImage(image), {}};
    }
    return {};
}

bool carriesPicture(const QMimeData* mime) {
    if (!mime) return false;
    if (mime->hasImage() || mime->hasFormat(QStringLiteral("image/png")) ||
        mime->hasFormat(QStringLiteral("image/tiff")))
        return true;
    const QList<QUrl> urls = mime->urls();
    return !urls.isEmpty() && urls.first().isLocalFile();
}

// The pixels per point thumbnails are drawn at: the sharpest screen's, at least 2.
double thumbnailDensity() {
    double density = 2;
    for (const QScreen* screen : QGuiApplication::screens())
        density = std::max(density, screen->devicePixelRatio());
    return density;
}

// The size a proportional scaling into target gives, without drawing.
QSizeF proportionalSize(QSizeF source, QSizeF target) {
    if (source.width() > source.height())
        target.setHeight(target.width() / source.width() * source.height());
    else if (source.width() < source.height())
        target.setWidth(target.height() / source.height() * source.width());
    return target;
}

}  // namespace

CIFPopUpImageView::CIFPopUpImageView(QWidget* parent)
    : QWidget(parent), _title(QStringLiteral("Title")) {
    setAcceptDrops(true);
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_Hover);
    setAccessibleName(CIFStringsTable::localizedString(_title));
}

CIFPopUpImageView::~CIFPopUpImageView() = default;

void CIFPopUpImageView::setTitle(const QString& title) {
    _title = title;
    setAccessibleName(CIFStringsTable::localizedString(title));
}

void CIFPopUpImageView::setType(const QString& type) {
    _type = type;
    m_smallImagesBuilt = false;
    _smallImages.clear();
    update();
}

void CIFPopUpImageView::setImage(const HostImage& image) {
    m_image = image;
    update();
}

void CIFPopUpImageView::setDataSourceWithNamesSelectorImageForNameSelector(
    std::function<QStringList()> names, std::function<HostImage(const QString&)> imageForName) {
    _dataSourceNamesSel = std::move(names);
    _dataSourceImageForNameSel = std::move(imageForName);
    reloadImages();
}

void CIFPopUpImageView::reloadImages() {
    _fullImages.clear();
    _smallImages.clear();
    m_fullImagesBuilt = m_smallImagesBuilt = false;
}

int CIFPopUpImageView::imagesCount() const {
    return _dataSourceNamesSel ? int(_dataSourceNamesSel().size()) : 0;
}

QList<HostImage> CIFPopUpImageView::fullImages() {
    if (m_fullImagesBuilt) return _fullImages;
    m_fullImagesBuilt = true;
    if (!_dataSourceNamesSel || !_dataSourceImageForNameSel) return _fullImages;
    for (const QString& name : _dataSourceNamesSel())
        _fullImages.append(_dataSourceImageForNameSel(name));
    return _fullImages;
}

QList<HostImage> CIFPopUpImageView::smallImages() {
    if (m_smallImagesBuilt) return _smallImages;
    const QList<HostImage> full = fullImages();
    m_smallImagesBuilt = true;
    const double density = thumbnailDensity();
    const bool gradient = _type == QLatin1String("Gradient");
    for (const HostImage& picture : full) {
        if (picture.isNull()) {
            _smallImages.append(picture);
            continue;
        }
        // Gradients fill the square; PDF and drawings stay vector and scale
        // losslessly; bitmaps become small bitmaps at the screens' density.
        QSizeF target(kThumbnailSide, kThumbnailSide);
        if (!gradient) target = proportionalSize(picture.size(), target);
        if (picture.isVector() && !gradient) {
            _smallImages.append(imageByScalingToSize(picture, target));
            continue;
        }
        const QSize pixels(std::max(1, qRound(target.width() * density)),
                           std::max(1, qRound(target.height() * density)));
        _smallImages.append(HostImage::fromQImage(picture.rasterize(pixels), target));
    }
    return _smallImages;
}

bool CIFPopUpImageView::exceedsMaxSize(const HostImage& image) const {
    const QSizeF size = image.size();
    return (_maxSize.width() > 0 && size.width() > _maxSize.width()) ||
           (_maxSize.height() > 0 && size.height() > _maxSize.height());
}

HostImage CIFPopUpImageView::imageFittedToMaxSize(const HostImage& image) const {
    if (!exceedsMaxSize(image)) return image;
    // A side without a limit (0) follows the limited one, so a height-only
    // limit still keeps the picture's proportions instead of collapsing it.
    const QSizeF source = image.size();
    double scale = 1;
    if (_maxSize.width() > 0) scale = std::min(scale, _maxSize.width() / source.width());
    if (_maxSize.height() > 0) scale = std::min(scale, _maxSize.height() / source.height());
    const QSizeF target = _maxSize.width() > 0 && _maxSize.height() > 0 ? _maxSize : source * scale;
    return imageByScalingToSize(image, target);
}

void CIFPopUpImageView::deliver(const HostImage& picture, const QByteArray& fileBytes) {
    if (m_delegate.imageViewWithImagePickerDidChangeToImageData) {
        m_delegate.imageViewWithImagePickerDidChangeToImageData(
            this, fileBytes.isEmpty() ? PNGRepresentation(picture) : fileBytes);
    } else if (m_delegate.imageViewWithImagePickerDidChangeToImage) {
        m_delegate.imageViewWithImagePickerDidChangeToImage(this, picture);
    }
}

void CIFPopUpImageView::takeImage(const HostImage& picture, const QByteArray& fileBytes) {
    setImage(picture);
    deliver(picture, fileBytes);
}

// ---- open panel

void CIFPopUpImageView::showPictureTaker() {
    QStringList patterns;
    for (const QByteArray& format : QImageReader::supportedImageFormats())
        patterns << QStringLiteral("*.") + QString::fromLatin1(format);
    patterns << QStringLiteral("*.pdf");
    const QString filter = CIFStringsTable::localizedString(QStringLiteral("Images")) +
                           QStringLiteral(" (") + patterns.join(u' ') + u')';
    auto* panel = new QFileDialog(_presentPictureTakerAsSheet ? window() : nullptr,
                                  CIFStringsTable::localizedString(QStringLiteral("Select Image")));
    panel->setObjectName(QStringLiteral("SelectImagePanel"));
    panel->setAttribute(Qt::WA_DeleteOnClose);
    panel->setFileMode(QFileDialog::ExistingFile);
    panel->setNameFilter(filter);
    panel->setOption(QFileDialog::DontUseNativeDialog);
    connect(panel, &QFileDialog::fileSelected, this,
            [this](const QString& path) { openPanelChose(path); });
    if (_presentPictureTakerAsSheet) {
        panel->setWindowModality(Qt::WindowModal);
        panel->open();
    } else {
        panel->exec();
    }
}

void CIFPopUpImageView::openPanelChose(const QString& path) {
    QString error;
    const HostImage picture = HostImage::load(path, &error);
    if (picture.isNull()) {
        qWarning("%s", qUtf8Printable(error));
        return;
    }
    if (exceedsMaxSize(picture)) {
        takeImage(imageFittedToMaxSize(picture));
        return;
    }
    QFile file(path);
    const QByteArray bytes =
        file.size() <= kReadLimit && file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    takeImage(picture, bytes);
}

// ---- pasteboard

void CIFPopUpImageView::copy() {
    if (m_image.isNull()) return;
    auto mime = std::make_unique<QMimeData>();
    mime->setData(QStringLiteral("image/tiff"), m_image.TIFFRepresentation());
    mime->setImageData(largestBitmapImageRep(m_image));
    QGuiApplication::clipboard()->setMimeData(mime.release());
}

void CIFPopUpImageView::cut() {
    copy();
    deleteImage();
}

void CIFPopUpImageView::deleteImage() {
    if (m_delegate.deleteInImageViewWithImagePicker)
        m_delegate.deleteInImageViewWithImagePicker(this);
}

void CIFPopUpImageView::paste() {
    const Carried carried = pictureFromMime(QGuiApplication::clipboard()->mimeData());
    if (carried.picture.isNull()) return;
    takeImage(imageFittedToMaxSize(carried.picture));
}

// ---- drag and drop

void CIFPopUpImageView::dragEnterEvent(QDragEnterEvent* event) {
    if (event->source() == this || !carriesPicture(event->mimeData())) {
        event->ignore();
        return;
    }
    event->acceptProposedAction();
}

void CIFPopUpImageView::dragMoveEvent(QDragMoveEvent* event) {
    if (event->source() == this || !carriesPicture(event->mimeData())) {
        event->ignore();
        return;
    }
    event->acceptProposedAction();
}

void CIFPopUpImageView::dropEvent(QDropEvent* event) {
    if (event->source() == this) {
        event->ignore();
        return;
    }
    const Carried carried = pictureFromMime(event->mimeData());
    if (carried.picture.isNull()) {
        event->ignore();
        return;
    }
    event->acceptProposedAction();
    if (exceedsMaxSize(carried.picture)) {
        takeImage(imageFittedToMaxSize(carried.picture));
        return;
    }
    if (m_delegate.imageViewWithImagePickerDidChangeToImageData && !carried.file.isEmpty()) {
        QFile file(carried.file);
        if (file.size() <= kReadLimit && file.open(QIODevice::ReadOnly)) {
            const QByteArray bytes = file.readAll();
            if (!bytes.isEmpty()) {
                takeImage(carried.picture, bytes);
                return;
            }
        }
    }
    takeImage(carried.picture);
}

QStringList CIFPopUpImageView::namesOfPromisedFilesDroppedAtDestination(const QString& folder) {
    if (m_image.isNull()) return {};
    QString name = m_delegate.fileNameForImageInImagePicker
                       ? m_delegate.fileNameForImageInImagePicker(this)
                       : QString();
    if (name.isEmpty()) name = CIFStringsTable::localizedString(QStringLiteral("Picture"));
    const QByteArray png = PNGRepresentation(m_image);
    const QString base = QDir(folder).filePath(name + QStringLiteral(".png"));
    if (png.isEmpty() || !QFileInfo(folder).isDir()) {
        qWarning("cannot write the picture into %s", qUtf8Printable(folder));
        return {};
    }
    // The bytes go to a temporary file beside the target and are then linked
    // under the free name: link() never replaces a file, so a name taken
    // meanwhile only moves us on to the next free one.
    QTemporaryFile temporary(QDir(folder).filePath(QStringLiteral(".cif-picture-XXXXXX")));
    if (!temporary.open() || temporary.write(png) != png.size() || !temporary.flush()) {
        qWarning("cannot write the picture into %s", qUtf8Printable(folder));
        return {};
    }
    temporary.close();
    const QByteArray from = QFile::encodeName(temporary.fileName());
    for (int attempt = 0; attempt < 100; ++attempt) {
        const QString target = uniquePathForPath(base);
        if (::link(from.constData(), QFile::encodeName(target).constData()) == 0)
            return {QFileInfo(target).fileName()};
        if (errno != EEXIST) break;
    }
    qWarning("cannot write the picture into %s", qUtf8Printable(folder));
    return {};
}

void CIFPopUpImageView::startDragOut() {
    if (m_image.isNull()) return;
    auto* drag = new QDrag(this);
    auto mime = std::make_unique<QMimeData>();
    mime->setData(QStringLiteral("image/png"), PNGRepresentation(m_image));
    drag->setMimeData(mime.release());
    const QSizeF side = proportionalSize(m_image.size(), QSizeF(48, 48));
    const qreal dpr = devicePixelRatioF();
    QImage icon = m_image.rasterize((side * dpr).toSize());
    icon.setDevicePixelRatio(dpr);
    drag->setPixmap(QPixmap::fromImage(icon));
    drag->exec(Qt::CopyAction);
}

// ---- pop-up and events

void CIFPopUpImageView::showPopUp() {
    if (m_popUp && m_popUp->window()) m_popUp->window()->close();
    // The well's bottom-right corner on the screen.
    const QPoint corner = mapToGlobal(QPoint(width(), height()));
    m_popUp = CIFPopUpImageController::showWindowFromPointImagePicker(corner, this);
}

void CIFPopUpImageView::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        QWidget::mousePressEvent(event);
        return;
    }
    if (event->modifiers().testFlag(Qt::AltModifier)) {
        startDragOut();
        return;
    }
    showPopUp();
}

void CIFPopUpImageView::mouseMoveEvent(QMouseEvent*) {
    // A press opens the pop-up; moving with the button down does nothing.
}

void CIFPopUpImageView::keyPressEvent(QKeyEvent* event) {
    if (event->matches(QKeySequence::Copy)) return copy();
    if (event->matches(QKeySequence::Cut)) return cut();
    if (event->matches(QKeySequence::Paste)) return paste();
    switch (event->key()) {
        case Qt::Key_Space:
        case Qt::Key_Return:
        case Qt::Key_Enter:
        case Qt::Key_Down:
            showPopUp();
            return;
        case Qt::Key_Delete:
        case Qt::Key_Backspace:
            deleteImage();
            return;
        default:
            QWidget::keyPressEvent(event);
    }
}

void CIFPopUpImageView::enterEvent(QEnterEvent* event) {
    _hovered = true;
    update();
    QWidget::enterEvent(event);
}

void CIFPopUpImageView::leaveEvent(QEvent* event) {
    _hovered = false;
    update();
    QWidget::leaveEvent(event);
}

void CIFPopUpImageView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF bounds = QRectF(rect()).adjusted(1.5, 1.5, -1.5, -1.5);
    QPainterPath bezel;
    bezel.addRoundedRect(bounds, 4, 4);
    const QPalette& pal = palette();
    painter.fillPath(bezel, _hovered ? pal.color(QPalette::Midlight) : pal.color(QPalette::Base));
    painter.setPen(QPen(pal.color(QPalette::Mid), 1));
    painter.drawPath(bezel);

    const QRectF inner = bounds.adjusted(4, 4, -4, -4);
    if (!m_image.isNull() && !inner.isEmpty()) {
        painter.save();
        painter.setClipPath(bezel);
        if (!isEnabled()) painter.setOpacity(0.5);
        if (_type == QLatin1String("Gradient")) {
            m_image.drawInRect(painter, inner);
        } else {
            if (_type == QLatin1String("Shading")) {
                painter.setBrush(QColor(40, 40, 40));
                painter.setPen(Qt::NoPen);
                painter.drawEllipse(inner);
            }
            // Fitted into the well, never enlarged.
            const QSizeF source = m_image.size();
            const double scale = std::min(
                1.0, std::min(inner.width() / source.width(), inner.height() / source.height()));
            const QSizeF size = source * scale;
            m_image.drawInRect(painter, QRectF(inner.center().x() - size.width() / 2,
                                               inner.center().y() - size.height() / 2, size.width(),
                                               size.height()));
        }
        painter.restore();
    }
    // The pop-up marker in the bottom-right corner.
    QPainterPath marker(QPointF(bounds.right() - 9, bounds.bottom() - 6));
    marker.lineTo(bounds.right() - 3, bounds.bottom() - 6);
    marker.lineTo(bounds.right() - 6, bounds.bottom() - 3);
    marker.closeSubpath();
    painter.fillPath(marker, pal.color(QPalette::Text));
    if (hasFocus()) {
        painter.setPen(QPen(pal.color(QPalette::Highlight), 2));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), 4, 4);
    }
}

}  // namespace cif
