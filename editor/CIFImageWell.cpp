#include "editor/CIFImageWell.h"

#include <QDragEnterEvent>
#include <QDropEvent>
#include <QMenu>
#include <QMimeData>
#include <QPainter>

namespace cif {

namespace {

// The first local file of a drop, if any.
QString droppedFile(const QMimeData* data) {
    if (!data || !data->hasUrls()) return {};
    for (const QUrl& url : data->urls())
        if (url.isLocalFile()) return url.toLocalFile();
    return {};
}

}  // namespace

CIFImageWell::CIFImageWell(QWidget* parent) : QToolButton(parent) {
    setAcceptDrops(true);
    setPopupMode(QToolButton::InstantPopup);
    setToolButtonStyle(Qt::ToolButtonIconOnly);
    auto* menu = new QMenu(this);
    setMenu(menu);
    connect(menu, &QMenu::aboutToShow, this, &CIFImageWell::fillMenu);
}

void CIFImageWell::setTitle(const QString& title) {
    setToolTip(title);
    menu()->setTitle(title);
}

void CIFImageWell::setImage(const HostImage& image) {
    m_image = image;
    const QSize side = size() - QSize(8, 8);
    if (image.isNull() || side.isEmpty()) {
        setIcon(QIcon());
        return;
    }
    // Drawn fitted into the well, on a white ground.
    const qreal dpr = devicePixelRatioF();
    QPixmap thumb(side * dpr);
    thumb.setDevicePixelRatio(dpr);
    thumb.fill(Qt::white);
    QPainter p(&thumb);
    p.setRenderHint(QPainter::SmoothPixmapTransform);
    const QSizeF fitted = image.size().scaled(QSizeF(side), Qt::KeepAspectRatio);
    image.drawInRect(p, QRectF(QPointF((side.width() - fitted.width()) / 2,
                                       (side.height() - fitted.height()) / 2),
                               fitted));
    p.end();
    setIcon(QIcon(thumb));
    setIconSize(side);
}

bool CIFImageWell::chooseName(const QString& name) {
    const HostImage picture = m_imageForName ? m_imageForName(name) : HostImage();
    if (picture.isNull()) return false;
    setImage(picture);
    emit imageChanged();
    return true;
}

void CIFImageWell::fillMenu() {
    QMenu* list = menu();
    list->clear();
    const QStringList names = m_names ? m_names() : QStringList();
    for (const QString& name : names)
        list->addAction(name, this, [this, name] { chooseName(name); });
}

void CIFImageWell::dragEnterEvent(QDragEnterEvent* event) {
    if (!droppedFile(event->mimeData()).isEmpty() || event->mimeData()->hasImage())
        event->acceptProposedAction();
}

void CIFImageWell::dropEvent(QDropEvent* event) {
    HostImage picture;
    const QMimeData* mime = event->mimeData();
    if (mime->hasImage()) {
        picture = HostImage::fromQImage(qvariant_cast<QImage>(mime->imageData()));
    } else if (const QString file = droppedFile(mime); !file.isEmpty()) {
        QString error;
        picture = HostImage::load(file, &error);
        if (picture.isNull()) qWarning("%s", qUtf8Printable(error));
    }
    if (picture.isNull()) return;
    event->acceptProposedAction();
    setImage(picture);
    emit imageChanged();
}

}  // namespace cif
