// cif-effects-gimp: the CIF Effects plug-in for GIMP 2.10. GIMP starts it as
// a process of its own for every call, so a fault here never takes GIMP
// down. It installs two procedures:
//
//   plug-in-cif-effects    (Filters > CIF Effects...) applies a catalog
//                          effect to the active drawable;
//   plug-in-cif-generator  (File > Create > CIF Generator...) paints a new
//                          layer, or a new image, with a generator.
//
// The bundle is the one named by the file "bundle-path" beside this program
// (written by the install step), else the usual places (CIF_PLUGIN_PATH, the
// XDG data folders).

#include <QApplication>
#include <QFile>
#include <QGuiApplication>
#include <QString>
#include <memory>

#include <libgimp/gimp.h>

#include "GimpBridge.h"

namespace {

constexpr const char* kEffectProcedure = "plug-in-cif-effects";
constexpr const char* kGeneratorProcedure = "plug-in-cif-generator";

void query() {
    static const GimpParamDef effectArgs[] = {
        {GIMP_PDB_INT32, const_cast<gchar*>("run-mode"),
         const_cast<gchar*>("The run mode { RUN-INTERACTIVE (0), RUN-NONINTERACTIVE (1), "
                            "RUN-WITH-LAST-VALS (2) }")},
        {GIMP_PDB_IMAGE, const_cast<gchar*>("image"), const_cast<gchar*>("Input image")},
        {GIMP_PDB_DRAWABLE, const_cast<gchar*>("drawable"), const_cast<gchar*>("Input drawable")},
        {GIMP_PDB_STRING, const_cast<gchar*>("identifier"),
         const_cast<gchar*>("The effect's identifier, such as \"CIGaussianBlur\" (non-interactive "
                            "only)")},
        {GIMP_PDB_STRING, const_cast<gchar*>("parameters"),
         const_cast<gchar*>("The effect's parameters as a JSON object, such as "
                            "{\"inputRadius\": 4}; absent inputs keep their defaults")}};
    static const GimpParamDef generatorArgs[] = {
        {GIMP_PDB_INT32, const_cast<gchar*>("run-mode"),
         const_cast<gchar*>("The run mode { RUN-INTERACTIVE (0), RUN-NONINTERACTIVE (1), "
                            "RUN-WITH-LAST-VALS (2) }")},
        {GIMP_PDB_IMAGE, const_cast<gchar*>("image"),
         const_cast<gchar*>("The image that gets a new layer; -1 for a new image")},
        {GIMP_PDB_DRAWABLE, const_cast<gchar*>("drawable"), const_cast<gchar*>("Unused")},
        {GIMP_PDB_STRING, const_cast<gchar*>("identifier"),
         const_cast<gchar*>("The generator's identifier, such as \"GLIF_Plasma\" "
                            "(non-interactive only)")},
        {GIMP_PDB_STRING, const_cast<gchar*>("parameters"),
         const_cast<gchar*>("The generator's parameters as a JSON object; \"GLIFRandomSeed\" "
                            "seeds its random sequence")},
        {GIMP_PDB_INT32, const_cast<gchar*>("width"),
         const_cast<gchar*>("The width of a new image (when image is -1)")},
        {GIMP_PDB_INT32, const_cast<gchar*>("height"),
         const_cast<gchar*>("The height of a new image (when image is -1)")}};
    static const GimpParamDef generatorResults[] = {
        {GIMP_PDB_IMAGE, const_cast<gchar*>("new-image"),
         const_cast<gchar*>("The image holding the new layer")},
        {GIMP_PDB_LAYER, const_cast<gchar*>("new-layer"), const_cast<gchar*>("The new layer")}};

    gimp_install_procedure(
        kEffectProcedure, "Apply a CIF Effects filter",
        "Opens the CIF Effects editor on the active layer, or applies one effect of the catalog "
        "with the parameters given as JSON. The selection limits where the result lands.",
        "CIF Effects", "CIF Effects", "2026", "CIF _Effects...", "RGB*, GRAY*", GIMP_PLUGIN,
        G_N_ELEMENTS(effectArgs), 0, effectArgs, nullptr);
    gimp_plugin_menu_register(kEffectProcedure, "<Image>/Filters");

    gimp_install_procedure(
        kGeneratorProcedure, "Paint a picture with a CIF Effects generator",
        "Opens the CIF Effects generators, or runs one with the parameters given as JSON, and "
        "puts the picture into a new layer of the image (or a new image).",
        "CIF Effects", "CIF Effects", "2026", "CIF _Generator...", "", GIMP_PLUGIN,
        G_N_ELEMENTS(generatorArgs), G_N_ELEMENTS(generatorResults), generatorArgs,
        generatorResults);
    gimp_plugin_menu_register(kGeneratorProcedure, "<Image>/File/Create");
}

// The bundle path the install step wrote beside the program, or empty.
QString installedBundlePath() {
    QFile file(QCoreApplication::applicationDirPath() + QStringLiteral("/bundle-path"));
    if (!file.open(QIODevice::ReadOnly)) return {};
    return QString::fromUtf8(file.readLine(4096)).trimmed();
}

QString text(const GimpParam& param) {
    return param.data.d_string ? QString::fromUtf8(param.data.d_string) : QString();
}

void run(const gchar* name, gint nparams, const GimpParam* params, gint* nreturnVals,
         GimpParam** returnVals) {
    static GimpParam values[3];
    static QByteArray message;
    *returnVals = values;
    *nreturnVals = 1;
    values[0].type = GIMP_PDB_STATUS;
    values[0].data.d_status = GIMP_PDB_CALLING_ERROR;

    const QString procedure = QString::fromUtf8(name);
    const bool isEffect = procedure == QLatin1String(kEffectProcedure);
    if ((isEffect && nparams < 3) || (!isEffect && nparams < 1)) return;
    const auto mode = GimpRunMode(params[0].data.d_int32);

    gegl_init(nullptr, nullptr);
    // The editor needs a windowing system (Repeat Last may open it too);
    // scripted runs draw offscreen.
    static int argc = 1;
    static char programName[] = "cif-effects-gimp";
    static char* argv[] = {programName, nullptr};
    std::unique_ptr<QGuiApplication> app;
    const bool display =
        mode != GIMP_RUN_NONINTERACTIVE &&
        !(qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"));
    if (display) {
        // A display that cannot be reached falls back to offscreen, where the
        // editor refuses to open with a message, instead of ending the process.
        if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
            qputenv("QT_QPA_PLATFORM", qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
                                           ? "xcb;offscreen"
                                           : "wayland;xcb;offscreen");
        app = std::make_unique<QApplication>(argc, argv);
    } else {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        app = std::make_unique<QGuiApplication>(argc, argv);
    }
    QCoreApplication::setApplicationName(QStringLiteral("cif-effects-gimp"));

    QString error;
    GimpPDBStatusType status = GIMP_PDB_CALLING_ERROR;
    {
        GimpBridge bridge(installedBundlePath());
        if (isEffect) {
            status = bridge.runEffect(mode, params[1].data.d_image, params[2].data.d_drawable,
                                      nparams > 3 ? text(params[3]) : QString(),
                                      nparams > 4 ? text(params[4]) : QString(), &error);
        } else if (procedure == QLatin1String(kGeneratorProcedure)) {
            GimpBridge::Created created;
            status = bridge.runGenerator(mode, nparams > 1 ? params[1].data.d_image : -1,
                                         nparams > 3 ? text(params[3]) : QString(),
                                         nparams > 4 ? text(params[4]) : QString(),
                                         nparams > 5 ? params[5].data.d_int32 : 0,
                                         nparams > 6 ? params[6].data.d_int32 : 0, created, &error);
            if (status == GIMP_PDB_SUCCESS) {
                *nreturnVals = 3;
                values[1].type = GIMP_PDB_IMAGE;
                values[1].data.d_image = created.image;
                values[2].type = GIMP_PDB_LAYER;
                values[2].data.d_layer = created.layer;
            }
        }
    }
    values[0].data.d_status = status;
    if (status != GIMP_PDB_SUCCESS && !error.isEmpty()) {
        // GIMP shows the message of a failed call in its error console (or
        // as Script-Fu's error).
        message = error.toUtf8();
        *nreturnVals = 2;
        values[1].type = GIMP_PDB_STRING;
        values[1].data.d_string = message.data();
    }
    // The editor goes away with the application object, while the bundle's
    // code is still loaded.
    app.reset();
}

}  // namespace

const GimpPlugInInfo PLUG_IN_INFO = {nullptr, nullptr, query, run};

MAIN()
