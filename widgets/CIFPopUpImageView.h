#pragma once
// The image well for picture-valued inputs. A press (or Space, Return, Down)
// opens the pop-up picker under the well's bottom-right corner; the well also
// takes dropped picture files and pictures, pasted pictures and a picture
// chosen in the "Select Image" open panel, and copies, cuts and deletes.
// Whenever its picture changes through the user it tells its delegate: as
// data when the delegate takes data (the file's own bytes when the picture
// came unchanged from a file, else the picture as PNG), otherwise as a
// picture. Pictures larger than maxSize (either side; 0 means no limit) are
// scaled down proportionally first. Alt-press-and-drag drags the picture out
// as PNG data; namesOfPromisedFilesDroppedAtDestination writes it as a file.
// Sizes in points. Main thread only.

#include <QByteArray>
#include <QList>
#include <QPointer>
#include <QSizeF>
#include <QStringList>
#include <QWidget>
#include <functional>

#include "platform/host/HostImage.h"
#include "widgets/CIFPopUpImageController.h"

namespace cif {

class CIFPopUpImageView;

// All optional; an empty function is an operation the delegate lacks.
struct CIFPopUpImageViewDelegate {
    // Preferred when present: the picture as encoded bytes.
    std::function<void(CIFPopUpImageView*, const QByteArray& data)>
        imageViewWithImagePickerDidChangeToImageData;
    std::function<void(CIFPopUpImageView*, const HostImage& image)>
        imageViewWithImagePickerDidChangeToImage;
    // Delete, and the second half of cut: the delegate decides what goes.
    std::function<void(CIFPopUpImageView*)> deleteInImageViewWithImagePicker;
    // The file name (without extension) of a dragged-out picture.
    std::function<QString(CIFPopUpImageView*)> fileNameForImageInImagePicker;
};

class CIFPopUpImageView : public QWidget {
    Q_OBJECT
public:
    explicit CIFPopUpImageView(QWidget* parent = nullptr);
    ~CIFPopUpImageView() override;

    void setDelegate(const CIFPopUpImageViewDelegate& delegate) { m_delegate = delegate; }
    const CIFPopUpImageViewDelegate& delegate() const { return m_delegate; }
    // The pop-up's heading; "Title" until set.
    void setTitle(const QString& title);
    QString title() const { return _title; }
    // "Gradient" wells stretch their picture across the well and their
    // thumbnails to squares; "Shading" wells show it on a dark disc.
    void setType(const QString& type);
    QString type() const { return _type; }
    void setMaxSize(QSizeF size) { _maxSize = size; }
    QSizeF maxSize() const { return _maxSize; }
    // Whether the open panel is modal to the well's window only.
    void setPresentPictureTakerAsSheet(bool on) { _presentPictureTakerAsSheet = on; }

    // The picture shown; setting it tells nobody.
    void setImage(const HostImage& image);
    HostImage image() const { return m_image; }
    // The latest picture chosen in the pop-up.
    HostImage activeRecentPicture() const { return _activeRecentPicture; }

    // names() lists the pictures on offer; imageForName(name) makes one.
    void setDataSourceWithNamesSelectorImageForNameSelector(
        std::function<QStringList()> names, std::function<HostImage(const QString&)> imageForName);
    // The count of names; 0 without a names operation.
    int imagesCount() const;
    // Every offered picture in name order, asked for once and cached.
    QList<HostImage> fullImages();
    // 30-point thumbnails of fullImages (drawn at twice the pixels for sharp
    // HiDPI display; vector pictures stay vector), cached.
    QList<HostImage> smallImages();
    // Forgets both caches (the data source changed).
    void reloadImages();

    bool exceedsMaxSize(const HostImage& image) const;
    // image, or when it exceeds maxSize image scaled with imageByScalingToSize
    // to maxSize (a side without a limit taking the proportional length).
    HostImage imageFittedToMaxSize(const HostImage& image) const;
    // Shows picture and delivers it to the delegate; fileBytes are the
    // picture's own file when it came unchanged from one (may be empty).
    void takeImage(const HostImage& picture, const QByteArray& fileBytes = {});

    // The open panel titled "Select Image" for picture files.
    void showPictureTaker();
    void showImagePicker() { showPictureTaker(); }
    void copy();
    void cut();
    void paste();
    void deleteImage();

    // Writes the picture as PNG into folder under the delegate's file name
    // (else the localised "Picture") made unique, never replacing a file, and
    // answers the written file's name; empty (and a message) on failure.
    QStringList namesOfPromisedFilesDroppedAtDestination(const QString& folder);

    // Opens the pop-up picker for this well (what a press does).
    void showPopUp();
    CIFPopUpImageController* popUpController() const { return m_popUp; }

    QSize sizeHint() const override { return {48, 48}; }

signals:
    // The well's action: a picture was chosen in the pop-up.
    void activated();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    friend class CIFPopUpImageController;
    void deliver(const HostImage& picture, const QByteArray& fileBytes);
    void openPanelChose(const QString& path);
    void startDragOut();

    CIFPopUpImageViewDelegate m_delegate;
    QString _title;
    HostImage _activeRecentPicture;
    bool _presentPictureTakerAsSheet = false;
    bool _hovered = false;
    QSizeF _maxSize;
    QList<HostImage> _smallImages;
    QList<HostImage> _fullImages;
    bool m_fullImagesBuilt = false;
    bool m_smallImagesBuilt = false;
    std::function<QStringList()> _dataSourceNamesSel;
    std::function<HostImage(const QString&)> _dataSourceImageForNameSel;
    QString _type;
    HostImage m_image;
    QPointer<CIFPopUpImageController> m_popUp;
};

}  // namespace cif
