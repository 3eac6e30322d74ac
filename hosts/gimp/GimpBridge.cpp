#include "GimpBridge.h"

#include <QGuiApplication>
#include <QImage>
#include <QRectF>
#include <cstdio>

#include "GimpPixels.h"
#include "LastValues.h"
#include "ParameterJson.h"

namespace {

// The plug-in logs why it could not do something with qWarning; the last
// such line completes the message GIMP shows.
QString g_lastWarning;
QtMessageHandler g_previousHandler = nullptr;

void recordWarning(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    if (type == QtWarningMsg || type == QtCriticalMsg) g_lastWarning = message;
    if (g_previousHandler) g_previousHandler(type, context, message);
}

QString takeLastWarning() {
    return std::exchange(g_lastWarning, QString());
}

QString withWarning(const QString& message) {
    const QString why = takeLastWarning();
    return why.isEmpty() ? message : message + QStringLiteral(" (") + why + u')';
}

// Keeps the run for Repeat Last; a settings file that cannot be written
// costs only that.
void remember(LastValues::Kind kind, const LastValues::Run& run) {
    QString why;
    if (!LastValues().write(kind, run, &why))
        std::fprintf(stderr, "cif-effects-gimp: %s\n", qUtf8Printable(why));
}

bool hasDisplay() {
    return QGuiApplication::platformName() != QLatin1String("offscreen") &&
           QGuiApplication::platformName() != QLatin1String("minimal");
}

// The picture's pixels at its own pixel size (vector pictures drawn there).
QImage pixelsOf(const cif::HostImage& picture) {
    return picture.rasterize(QSize(picture.pixelsWide(), picture.pixelsHigh()));
}

// The drawable's part of the selection, in the drawable's pixels; empty when
// the selection does not touch it.
QRect selectionBounds(gint32 drawable) {
    gint x = 0, y = 0, width = 0, height = 0;
    if (!gimp_drawable_mask_intersect(drawable, &x, &y, &width, &height)) return {};
    return QRect(x, y, width, height);
}

}  // namespace

GimpBridge::GimpBridge(const QString& bundlePath) {
    g_previousHandler = qInstallMessageHandler(recordWarning);
    const QString bundle = cif::findCIFBundle(bundlePath);
    if (bundle.isEmpty() && !bundlePath.isEmpty()) {
        m_loadError = QStringLiteral("there is no CIF Effects bundle at %1").arg(bundlePath);
        return;
    }
    m_plugIn = cif::CIFLoadedPlugIn::load(bundle, &m_loadError);
    if (m_plugIn) m_main = m_plugIn.factory()->createMain();
}

GimpBridge::~GimpBridge() {
    // Principal objects go before the bundle that made them.
    m_main.reset();
    qInstallMessageHandler(g_previousHandler);
}

QString GimpBridge::tr(const QString& key) const {
    return m_main ? m_main->localizedString(key) : key;
}

// ---- effects

GimpPDBStatusType GimpBridge::runEffect(GimpRunMode mode, gint32 image, gint32 drawable,
                                        const QString& identifier, const QString& json,
                                        QString* error) {
    if (!m_main) {
        *error = tr(QStringLiteral("The CIF Effects bundle cannot be loaded: %1")).arg(m_loadError);
        return GIMP_PDB_EXECUTION_ERROR;
    }
    if (!gimp_image_is_valid(image) || !gimp_item_is_drawable(drawable)) {
        *error = tr(QStringLiteral("CIF Effects needs an image and one of its layers."));
        return GIMP_PDB_CALLING_ERROR;
    }
    if (gimp_item_is_group(drawable)) {
        *error =
            tr(QStringLiteral("CIF Effects works on one layer; pick a layer inside the group."));
        return GIMP_PDB_EXECUTION_ERROR;
    }
    if (gimp_drawable_is_indexed(drawable)) {
        *error =
            tr(QStringLiteral("CIF Effects works on RGB and greyscale images; turn an indexed "
                              "image into RGB first (Image > Mode > RGB)."));
        return GIMP_PDB_EXECUTION_ERROR;
    }
    if (!GimpPixels::fitsLimits(gimp_drawable_width(drawable), gimp_drawable_height(drawable))) {
        *error =
            tr(QStringLiteral("The layer is too large for CIF Effects (at most 30000 pixels "
                              "a side and 256 megapixels)."));
        return GIMP_PDB_EXECUTION_ERROR;
    }
    LastValues::Run run{identifier, json};
    if (mode == GIMP_RUN_WITH_LAST_VALS) {
        if (!LastValues().read(LastValues::Kind::Effect, run)) {
            *error = tr(QStringLiteral("There is no CIF effect to repeat yet."));
            return GIMP_PDB_EXECUTION_ERROR;
        }
    } else if (mode == GIMP_RUN_INTERACTIVE) {
        run = {};
    }
    // A run made in the editor is repeated by opening the editor again.
    const GimpPDBStatusType status =
        mode != GIMP_RUN_NONINTERACTIVE && run.identifier.isEmpty()
            ? editEffect(image, drawable, error)
            : applyEffect(image, drawable, run.identifier, run.parameters, error);
    if (status == GIMP_PDB_SUCCESS) remember(LastValues::Kind::Effect, run);
    return status;
}

GimpPDBStatusType GimpBridge::applyEffect(gint32 image, gint32 drawable, const QString& identifier,
                                          const QString& json, QString* error) {
    if (identifier.startsWith(QLatin1String("GLIF_"))) {
        *error = tr(QStringLiteral("'%1' is a generator; use File > Create > CIF Generator."))
                     .arg(identifier);
        return GIMP_PDB_EXECUTION_ERROR;
    }
    m_main->CIFSetEffectsSet(0);
    if (identifier.isEmpty() || m_main->CIFQueryAttributesForFilter(identifier).isEmpty()) {
        takeLastWarning();
        *error = tr(QStringLiteral("Unknown effect '%1'.")).arg(identifier);
        return GIMP_PDB_EXECUTION_ERROR;
    }
    QVariantMap parameters;
    if (!ParameterJson::effectParameters(*m_main, identifier, json, parameters, error))
        return GIMP_PDB_EXECUTION_ERROR;

    const QRect area = selectionBounds(drawable);
    if (area.isEmpty()) return GIMP_PDB_SUCCESS;  // the selection misses this layer
    const QImage pixels = GimpPixels::readDrawable(drawable);
    if (pixels.isNull()) {
        *error = tr(QStringLiteral("The layer's pixels cannot be read."));
        return GIMP_PDB_EXECUTION_ERROR;
    }
    const cif::HostImage result = m_main->CIFApplyFilterAttributesForImage(
        identifier, parameters, cif::HostImage::fromQImage(pixels));
    if (result.isNull() || result.pixelsWide() != pixels.width() ||
        result.pixelsHigh() != pixels.height()) {
        *error = withWarning(tr(QStringLiteral("'%1' gave no picture.")).arg(identifier));
        return GIMP_PDB_EXECUTION_ERROR;
    }
    commitEffect(image, drawable, result);
    return GIMP_PDB_SUCCESS;
}

GimpPDBStatusType GimpBridge::editEffect(gint32 image, gint32 drawable, QString* error) {
    if (!hasDisplay()) {
        *error = tr(QStringLiteral("The CIF Effects editor needs a display."));
        return GIMP_PDB_EXECUTION_ERROR;
    }
    const QImage pixels = GimpPixels::readDrawable(drawable);
    if (pixels.isNull()) {
        *error = tr(QStringLiteral("The layer's pixels cannot be read."));
        return GIMP_PDB_EXECUTION_ERROR;
    }
    // The editor's rectangles are bottom-left based, GIMP's top-left based.
    const bool selected = !gimp_selection_is_empty(image);
    const QRect area = selectionBounds(drawable);
    const QRectF rect(area.x(), pixels.height() - area.y() - area.height(), area.width(),
                      area.height());
    m_main->CIFSetEffectsSet(0);
    if (!m_main->CIFShowDialogUseSelectionWithRect(cif::HostImage::fromQImage(pixels),
                                                   selected && !area.isEmpty(), rect))
        return GIMP_PDB_CANCEL;
    const cif::HostImage output = m_main->CIFOutputImage();
    if (output.isNull()) return GIMP_PDB_CANCEL;
    if (output.pixelsWide() == pixels.width() && output.pixelsHigh() == pixels.height()) {
        commitEffect(image, drawable, output);
    } else {
        // A crop or another change of size: the result becomes a layer of its own.
        Created created;
        gimp_image_undo_group_start(image);
        const bool made =
            commitGenerated(image, output, QStringLiteral("CIF Effects"), false, created, error);
        if (made) {
            gint x = 0, y = 0;
            gimp_drawable_offsets(drawable, &x, &y);
            gimp_layer_set_offsets(created.layer, x, y);
        }
        gimp_image_undo_group_end(image);
        if (!made) return GIMP_PDB_EXECUTION_ERROR;
    }
    gimp_displays_flush();
    return GIMP_PDB_SUCCESS;
}

void GimpBridge::commitEffect(gint32 image, gint32 drawable, const cif::HostImage& result) {
    const QImage pixels = pixelsOf(result);
    const QRect area = selectionBounds(drawable);
    gimp_image_undo_group_start(image);
    if (gimp_item_is_layer(drawable) && !gimp_drawable_has_alpha(drawable) &&
        GimpPixels::hasTransparency(pixels, area))
        gimp_layer_add_alpha(drawable);
    GimpPixels::writeDrawableArea(drawable, pixels, area);
    gimp_image_undo_group_end(image);
}

// ---- generators

GimpPDBStatusType GimpBridge::runGenerator(GimpRunMode mode, gint32 image,
                                           const QString& identifier, const QString& json,
                                           int width, int height, Created& created,
                                           QString* error) {
    if (!m_main) {
        *error = tr(QStringLiteral("The CIF Effects bundle cannot be loaded: %1")).arg(m_loadError);
        return GIMP_PDB_EXECUTION_ERROR;
    }
    if (gimp_image_is_valid(image)) {
        width = gimp_image_width(image);
        height = gimp_image_height(image);
    } else {
        image = -1;
    }
    if (mode == GIMP_RUN_INTERACTIVE && (width <= 0 || height <= 0)) {
        width = 1024;
        height = 768;
    }
    if (!GimpPixels::fitsLimits(width, height)) {
        *error =
            tr(QStringLiteral("A generated picture needs a size from 1 x 1 to 30000 x 30000 "
                              "pixels (256 megapixels at most)."));
        return GIMP_PDB_CALLING_ERROR;
    }
    m_main->CIFSetEffectsSet(1);
    LastValues::Run run{identifier, json};
    if (mode == GIMP_RUN_WITH_LAST_VALS) {
        if (!LastValues().read(LastValues::Kind::Generator, run)) {
            *error = tr(QStringLiteral("There is no CIF generator to repeat yet."));
            return GIMP_PDB_EXECUTION_ERROR;
        }
    } else if (mode == GIMP_RUN_INTERACTIVE) {
        run = {};
    }
    const GimpPDBStatusType status =
        mode != GIMP_RUN_NONINTERACTIVE && run.identifier.isEmpty()
            ? editGenerator(image, width, height, created, error)
            : generate(image, run.identifier, run.parameters, width, height, created, error);
    if (status == GIMP_PDB_SUCCESS) remember(LastValues::Kind::Generator, run);
    return status;
}

GimpPDBStatusType GimpBridge::generate(gint32 image, const QString& identifier, const QString& json,
                                       int width, int height, Created& created, QString* error) {
    if (!identifier.startsWith(QLatin1String("GLIF_")) ||
        !m_main->CIFDescriptorForFilterName(identifier) ||
        m_main->CIFQueryAttributesForFilter(identifier).isEmpty()) {
        takeLastWarning();
        *error = tr(QStringLiteral("Unknown generator '%1'.")).arg(identifier);
        return GIMP_PDB_EXECUTION_ERROR;
    }
    ParameterJson::GeneratorRun run;
    if (!ParameterJson::generatorParameters(*m_main, identifier, json, run, error))
        return GIMP_PDB_EXECUTION_ERROR;
    m_main->seedRandom(run.seed);
    const cif::HostImage picture =
        m_main->CIFGenerateLayerAttributesSize(identifier, run.parameters, QSizeF(width, height));
    if (picture.isNull()) {
        *error = withWarning(tr(QStringLiteral("'%1' gave no picture.")).arg(identifier));
        return GIMP_PDB_EXECUTION_ERROR;
    }
    const QString name = tr(m_main->CIFFilterNameForID(identifier));
    if (image >= 0) gimp_image_undo_group_start(image);
    const bool made =
        commitGenerated(image, picture, name.isEmpty() ? identifier : name, false, created, error);
    if (image >= 0) gimp_image_undo_group_end(image);
    return made ? GIMP_PDB_SUCCESS : GIMP_PDB_EXECUTION_ERROR;
}

GimpPDBStatusType GimpBridge::editGenerator(gint32 image, int width, int height, Created& created,
                                            QString* error) {
    if (!hasDisplay()) {
        *error = tr(QStringLiteral("The CIF Effects editor needs a display."));
        return GIMP_PDB_EXECUTION_ERROR;
    }
    if (!m_main->GLIFShowDialogWithRect(QVariant(), QRectF(0, 0, width, height)))
        return GIMP_PDB_CANCEL;
    const cif::HostImage picture = m_main->CIFOutputImage();
    if (picture.isNull()) return GIMP_PDB_CANCEL;
    if (image >= 0) gimp_image_undo_group_start(image);
    const bool made =
        commitGenerated(image, picture, tr(QStringLiteral("CIF Generator")), true, created, error);
    if (image >= 0) gimp_image_undo_group_end(image);
    if (!made) return GIMP_PDB_EXECUTION_ERROR;
    gimp_displays_flush();
    return GIMP_PDB_SUCCESS;
}

bool GimpBridge::commitGenerated(gint32 image, const cif::HostImage& picture, const QString& name,
                                 bool display, Created& created, QString* error) {
    const QImage pixels = pixelsOf(picture);
    if (pixels.isNull() || !GimpPixels::fitsLimits(pixels.width(), pixels.height())) {
        *error = withWarning(tr(QStringLiteral("The generated picture cannot be drawn.")));
        return false;
    }
    const bool newImage = image < 0;
    if (newImage) {
        image = gimp_image_new(pixels.width(), pixels.height(), GIMP_RGB);
        if (image < 0) {
            *error = tr(QStringLiteral("GIMP cannot make a new image."));
            return false;
        }
        gimp_image_undo_disable(image);
    }
    const gint32 layer = GimpPixels::addLayer(image, pixels, qUtf8Printable(name));
    if (layer < 0) {
        if (newImage) gimp_image_delete(image);
        *error = tr(QStringLiteral("GIMP cannot make a new layer."));
        return false;
    }
    if (newImage) {
        gimp_image_undo_enable(image);
        if (display) gimp_display_new(image);
    }
    created.image = image;
    created.layer = layer;
    return true;
}
