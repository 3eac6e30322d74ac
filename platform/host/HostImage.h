#pragma once
// The host picture: what a host hands the plug-in and what the plug-in hands back. A picture
// has one representation, either a bitmap (a QImage) or a vector one (the first page of a
// PDF document, or a drawing recorded from QPainter calls into a QPicture), and a size in
// points. Pictures are top-down like QImage: (0, 0) is the top-left corner of the picture,
// y grows downwards, in points for sizes and source rectangles.
//
// HostImage is a value: copies are cheap and share one immutable representation, and a
// picture may be copied and drawn from several threads at once. It is a registered Qt
// meta-type, so it rides in a QVariant. Nothing here throws: failures answer a null picture,
// a null QImage, an empty QByteArray or false, with a translated message in *error where the
// function takes one (error may always be null).

#include <QByteArray>
#include <QImage>
#include <QMetaType>
#include <QRectF>
#include <QSize>
#include <QSizeF>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

class QPainter;
class QPicture;

namespace cif {

class HostImage {
public:
    enum class Representation { None, Bitmap, Pdf, Drawing };

    // The null picture: no representation, size (0, 0), draws nothing.
    HostImage();

    // A bitmap picture holding a copy of image (shared, not duplicated). Its size in points
    // is sizeInPoints when that is a valid non-empty size, otherwise the pixel size. A null
    // image gives the null picture.
    static HostImage fromQImage(const QImage& image, QSizeF sizeInPoints = {});

    // A vector picture replaying picture. The drawing's coordinates are points: the picture
    // covers (0, 0) to sizeInPoints of the recording. An empty, negative or non-finite
    // size gives the null picture.
    static HostImage fromDrawing(const QPicture& picture, QSizeF sizeInPoints);

    // Records draw(painter) into a QPicture and answers fromDrawing(recording, sizeInPoints).
    static HostImage recordDrawing(QSizeF sizeInPoints, const std::function<void(QPainter&)>& draw);

    // A vector picture of the first page of the PDF document in data; its size in points is
    // the page's (crop box) size. Damaged, password-protected or page-less data gives the
    // null picture and a message.
    static HostImage fromPdfData(const QByteArray& data, QString* error);

    // Reads a picture file: PNG, JPEG, TIFF, GIF or BMP as a bitmap (EXIF orientation applied,
    // size in points = pixel size), or PDF as a vector picture. The kind is recognised from
    // the content, not the file name. Files over 1 GiB and pictures over the limits of
    // checkPictureSize are refused before anything is decoded. Qt's readers also keep to the
    // host's QImageReader::allocationLimit() (128 MB by default): JPEG pictures over it are
    // read in bands, other kinds over it are refused. Missing, unreadable, damaged or
    // truncated files give the null picture and a message naming the file.
    static HostImage load(const QString& path, QString* error);

    // The file extensions (lower case, no dot) of the kinds load() reads.
    static QStringList readableFileTypes();

    bool isNull() const;
    // True when both are copies of one picture (not merely equal pixels);
    // never for null pictures.
    bool isSameObject(const HostImage& other) const { return m_data && m_data == other.m_data; }
    Representation bestRepresentation() const;
    bool isVector() const;  // Pdf or Drawing

    // Size in points; (0, 0) for the null picture.
    QSizeF size() const;
    // Natural pixel size: the bitmap's pixel size, or for a vector picture its size in points
    // rounded up to whole pixels. 0 for the null picture.
    int pixelsWide() const;
    int pixelsHigh() const;

    // Draws the part source (in the picture's points; an empty rectangle means the whole
    // picture) into target (in painter's logical coordinates), scaled smoothly, through the
    // painter's current transform and clip. A PDF page is rendered at the resolution the
    // painter's device needs (only the visible part when the transform is a plain scale),
    // a drawing is replayed under a scaling transform, a bitmap is drawn with smooth pixmap
    // transformation (downscaled with area averaging when shrunk by more than half). Drawing
    // never spills outside target. The null picture draws nothing.
    void drawInRect(QPainter& painter, const QRectF& target, const QRectF& source = QRectF()) const;

    // A new Format_RGBA8888_Premultiplied image of pixelSize, transparent, with the whole
    // picture drawn to fill it. Null image and a message when the size is refused by
    // checkPictureSize, the memory cannot be had, or the picture is null.
    QImage rasterize(QSize pixelSize, QString* error = nullptr) const;

    // rasterize(), with a recorded drawing replayed in parallel bands of bandRows rows (0: the
    // default band height, BandedReplay::defaultBandRows). The pixels are the same for every
    // band height; drawings whose pixels depend on the clip are replayed whole.
    QImage rasterizeInBands(QSize pixelSize, int bandRows, QString* error = nullptr) const;

    // The bitmap representation as it was given or decoded (any QImage format), or a null
    // image for vector and null pictures.
    QImage bitmap() const;

    // The PDF document's bytes, exactly as given or read, for a PDF picture; empty otherwise.
    QByteArray pdfData() const;

    // Encoded files of the picture at its natural pixel size (a vector picture rasterised at
    // its size in points). Empty on failure. TIFF is baseline, uncompressed, 8 bits a sample,
    // with unassociated alpha when the picture has alpha.
    QByteArray TIFFRepresentation() const;
    QByteArray PNGRepresentation() const;

    // Writes PNGRepresentation() to path atomically: the bytes go to a temporary file beside
    // path that replaces it only once complete. On failure nothing at path changes, no
    // temporary is left, and *error explains.
    bool savePNG(const QString& path, QString* error) const;

private:
    struct Data;
    explicit HostImage(std::shared_ptr<const Data> data);

    // Whether a recorded drawing may be replayed band by band (checked once per picture).
    bool replaysInBands() const;

    // The picture's natural pixel size, rasterised when it is a vector picture.
    QImage naturalBitmap(QString* error) const;

    std::shared_ptr<const Data> m_data;
};

}  // namespace cif

Q_DECLARE_METATYPE(cif::HostImage)
