#pragma once
// GLIFCoreObject: the base of the procedural generators. Each generator class is registered
// by its class name (GLIFClassRegistry.h) so the catalog and the principal object make
// instances from the names they hold.
//
// The caller hands a generator a size and an attributes dictionary and receives a picture
// (GLIFOutputImageWidthHeightAttributes); the editor asks it for its parameter keys and their
// description. The base owns what every generator shares: the colour parameters, the record
// of the previous attributes that lets costly generators skip recomputing their per-pixel
// field when only colours changed, the prefetch buffer holding that field, and the
// background fill.
//
// Coordinates: a generator draws in the platform's coordinates, origin at the bottom-left
// of the picture, y upwards, in points (one point = one pixel of a bitmap output). The three
// production forms below set that up; the flip into the top-down pictures happens there and
// nowhere else.
//
// Generators run on the caller's thread, take no locks and share the process-wide rand()
// sequence, so two generations must not run at the same time.

#include <QColor>
#include <QImage>
#include <QRectF>
#include <QSizeF>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "generators/GLIFInput.h"
#include "platform/host/HostImage.h"

class QPainter;

namespace cif {

class RGBABitmap;

class GLIFCoreObject {
public:
    // How the vector form stores its recording.
    enum class VectorOutput {
        Drawing,  // a replayable QPainter recording (fast to draw at any scale)
        Pdf,      // a one-page PDF document (exportable as it is)
    };

    // How a newly allocated prefetch buffer is filled before the field is computed.
    enum class PrefetchFill {
        None,       // left as allocated; the generator writes every cell before reading it
        Zero,       // every cell 0.0
        Bytes0x40,  // every byte 0x40, so every cell holds 32.501960784313724
    };

    virtual ~GLIFCoreObject();
    GLIFCoreObject(const GLIFCoreObject&) = delete;
    GLIFCoreObject& operator=(const GLIFCoreObject&) = delete;

    // The name the class is registered under ("GLIF_Plasma").
    virtual QString className() const = 0;

    // The picture for width x height points with the given parameters, or the null picture.
    // The base version only reads the six shared keys ("GLIFColorScheme",
    // "GLIFSchemeKeyColor", "GLIFColorRangeMin", "GLIFColorRangeMax",
    // "GLIFUseBackgroundColor", "GLIFBackgroundColor") into the fields and answers the null
    // picture. A key that is absent leaves its field as it was, except the colour range,
    // which falls back to 0..1. Generators override this: they call the base version first,
    // take the size of image when one is given (takeSizeFromImage), read their own keys and
    // produce the picture with one of the three forms below.
    virtual HostImage GLIFOutputImageWidthHeightAttributes(const HostImage* image, int width,
                                                           int height,
                                                           const QVariantMap& attributes);

    // The generator's parameter keys in order, its output keys (always empty) and the
    // description of each parameter, keyed by parameter key: a map with "GLIFMinValue",
    // "GLIFMaxValue" and "GLIFDefValue" (see describeInput). The number's kind (int, double,
    // bool) tells the editor which control to build. Generators publish these from their
    // input table (GLIFGenerator.h).
    virtual QStringList GLIFQueryInputKeys() const { return {}; }
    virtual QStringList GLIFQueryOutputKeys() const { return {}; }
    virtual QVariantMap GLIFQueryAttributes() const { return {}; }

    // The bytes a prefetch buffer of one 64-bit float per point of size takes:
    // width x height x 8 computed in 32-bit float; a negative (or NaN) product gives 0 and
    // a product of 2^32 or more gives 4294967295.
    virtual std::uint32_t GLIFQueryPrefetchBufferSizeForSize(QSizeF size) const;

    // The per-pixel field of the last computation, or null. Owned by the generator; valid
    // until the next generation or the generator's destruction.
    virtual double* GLIFPrefetchBuffer();

    // Replaces the previous-attributes record by attributes plus "GLIFWidth" and
    // "GLIFHeight" (ints).
    virtual void GLIFWriteToPreAttrWidthHeight(const QVariantMap& attributes, int width,
                                               int height);

    // Whether attributes at width x height need the per-pixel field recomputed compared
    // with the previous-attributes record: a different size or a different value of any key
    // other than the six colour keys does; a change of colours alone does not. A record
    // without a size (the first generation) always does. The answer is also stored in
    // _bNeedUpdateCashe.
    virtual bool GLIFIsChangeAttributesNewWidthNewHeight(const QVariantMap& attributes, int width,
                                                         int height);

    // GLIFIsChangeAttributesNewWidthNewHeight, and when it answers true the record is
    // replaced by GLIFWriteToPreAttrWidthHeight.
    virtual void GLIFUpdateCasheWidthHeight(const QVariantMap& attributes, int width, int height);

    // Draws the generator into rect (platform coordinates, see above). The base draws the
    // background; generators call it first and then draw.
    virtual void drawRect(QPainter& painter, const QRectF& rect);

    // Fills rect with _backColor when _useBackColor is set and a colour is present;
    // otherwise leaves it untouched (transparent). The painter's state is restored.
    virtual void drawBackgroundInRect(QPainter& painter, const QRectF& rect);

    // Which representation the vector form produces (Drawing unless set).
    void setVectorOutput(VectorOutput output) { m_vectorOutput = output; }
    VectorOutput vectorOutput() const { return m_vectorOutput; }

protected:
    GLIFCoreObject();

    // ---- the three production forms. Each refuses sizes outside the plug-in's picture
    // limits (ImageLimits.h); a form that cannot produce its picture logs
    // cantGenerateMessage() and answers the null picture.

    // The vector form: sets bounds() to (0, 0, width, height) and records drawRect over it
    // into a vector picture of width x height points, a Drawing or a one-page PDF document
    // by vectorOutput(). The recording stays resolution-independent.
    HostImage recordVectorImage(int width, int height);

    // The bitmap form: a new width x height bitmap of 8-bit RGBA samples (straight alpha,
    // transparent black to start) is handed to compute, which writes its pixels; the result
    // is the bitmap as a picture. Call GLIFUpdateCasheWidthHeight before this and, when
    // _bNeedUpdateCashe is set, allocatePrefetchBuffer and recompute the field.
    HostImage generateBitmapImage(int width, int height,
                                  const std::function<void(RGBABitmap&)>& compute);

    // The direct form: a new transparent width x height image is handed to draw with a
    // painter already in platform coordinates (antialiased) and the rectangle
    // (0, 0, width, height); the result is that image as a bitmap picture. The background is
    // not drawn unless draw calls drawBackgroundInRect.
    HostImage drawDirectImage(int width, int height,
                              const std::function<void(QPainter&, const QRectF&)>& draw);

    // The message logged when a picture cannot be produced: "<className>: can't generate".
    virtual QString cantGenerateMessage() const;

    // The frame and bounds of the last vector recording.
    QRectF bounds() const { return m_bounds; }

    // ---- the prefetch buffer

    // Replaces the prefetch buffer by a new one of cells 64-bit floats filled as fill says.
    // Answers false, leaving no buffer, when cells is not positive, exceeds the plug-in's
    // largest picture area or cannot be allocated.
    bool allocatePrefetchBuffer(std::int64_t cells, PrefetchFill fill);
    // Number of cells of the current prefetch buffer (0 when there is none).
    std::int64_t prefetchBufferCells() const { return _prefetchBuffer ? m_prefetchCells : 0; }
    void releasePrefetchBuffer();

    // ---- helpers for generators

    // When image is given and not null, replaces width and height by its size in points
    // truncated to integers.
    static void takeSizeFromImage(const HostImage* image, int& width, int& height);

    // Reads attributes[key] into out when the key is present; absent keys leave out as it
    // was. Numbers of any kind convert (a floating value to int truncates, like the
    // platform's intValue); readFloat narrows to 32-bit float first. readColor accepts a
    // QColor, a CIColor or a colour name; anything else, or an invalid colour, gives none.
    static void readInt(const QVariantMap& attributes, const QString& key, int& out);
    static void readDouble(const QVariantMap& attributes, const QString& key, double& out);
    static void readFloat(const QVariantMap& attributes, const QString& key, double& out);
    static void readBool(const QVariantMap& attributes, const QString& key, bool& out);
    static void readColor(const QVariantMap& attributes, const QString& key,
                          std::optional<QColor>& out);

    // The description of one input: {"GLIFMinValue": min, "GLIFMaxValue": max,
    // "GLIFDefValue": def} with numbers of the input's kind (int, double, or bool with
    // minimum NO and maximum YES); for a colour only {"GLIFDefValue": colour}, black for a
    // published default of 0 and white otherwise. GLIFInputFlag bits adjust it.
    static QVariantMap describeInput(GLIFKind kind, double min, double max, double def,
                                     unsigned flags);
    // Reads attributes[key] by kind into out and answers true when the key is present and
    // is a number input: integers truncate (as does a float input read as an integer),
    // floats narrow to 32-bit float, booleans give 0 or 1. Colours are not read here.
    static bool readInput(const QVariantMap& attributes, const QString& key, GLIFKind kind,
                          unsigned flags, double& out);

    // Draws image upright (its top row at the top) into rect given in platform coordinates,
    // scaled to fill it; under the flipped painters of the three forms a plain drawImage
    // would show it upside down.
    static void drawImageUpright(QPainter& painter, const QRectF& rect, const QImage& image);
    static void drawImageUpright(QPainter& painter, const QRectF& rect, const HostImage& image);

    // ---- fields

    double _colorRangeMin = 0.0;  // lower end of the hue range, 0..1
    double _colorRangeMax = 0.0;  // upper end of the hue range, 0..1
    int _iColorScheme = 0;        // colour scheme number, 0..6 meaningful
    double _schemeKeyColor = 0.0;
    bool _useBackColor = false;
    std::optional<QColor> _backColor;  // absent: no background
    bool _bNeedUpdateCashe = false;    // the per-pixel field must be recomputed
    std::unique_ptr<double[]> _prefetchBuffer;
    QVariantMap _preAttr;  // attributes plus "GLIFWidth"/"GLIFHeight" of the last computation

private:
    void logCantGenerate() const;

    std::int64_t m_prefetchCells = 0;
    QRectF m_bounds;
    VectorOutput m_vectorOutput = VectorOutput::Drawing;
};

// A bitmap of 8-bit RGBA samples (R, G, B, A in memory, straight alpha) addressed in
// platform coordinates: row 0 is the bottom row. Made by GLIFCoreObject's bitmap form.
class RGBABitmap {
public:
    int width() const { return m_image.width(); }
    int height() const { return m_image.height(); }
    // The 4 x width bytes of row y (0 = bottom), y in 0..height-1.
    unsigned char* row(int y);
    // The 4 bytes of pixel (x, y), x in 0..width-1, y in 0..height-1 (0 = bottom).
    unsigned char* pixel(int x, int y) { return row(y) + 4 * x; }
    // The bitmap as a top-down image (no copy).
    const QImage& image() const { return m_image; }

private:
    friend class GLIFCoreObject;
    explicit RGBABitmap(QImage image) : m_image(std::move(image)) {}
    QImage m_image;
};

}  // namespace cif
