#pragma once
// GimpBridge: the work of the plug-in's two GIMP procedures. It loads the
// CIF Effects bundle as any host does (include/cif only), turns a drawable
// into the plug-in's picture and back, and runs an effect or a generator in
// GIMP's three run modes:
//   interactive       the plug-in's editor, modally; on Set the result goes
//                     into the drawable (or a new layer), on Cancel nothing
//                     in the image changes;
//   non-interactive   the identifier and JSON parameters (ParameterJson), no
//                     window;
//   with last values  the last run, from LastValues: a scripted run again,
//                     or the editor again after a run made in it.
// Every failure answers GIMP_PDB_EXECUTION_ERROR (or CALLING_ERROR for bad
// arguments) with a message for GIMP's error console; nothing throws.
// A QGuiApplication (QApplication for interactive runs) must exist.

#include <QString>
#include <memory>

#include <libgimp/gimp.h>

#include "cif/CIFPlugIn.h"
#include "cif/CIFPlugInLoader.h"

class GimpBridge {
public:
    // Loads the bundle at `bundlePath` (empty: the usual places).
    explicit GimpBridge(const QString& bundlePath);
    ~GimpBridge();
    GimpBridge(const GimpBridge&) = delete;
    GimpBridge& operator=(const GimpBridge&) = delete;

    bool loaded() const { return m_main != nullptr; }
    const QString& loadError() const { return m_loadError; }
    // The key through the plug-in's strings table (the key itself without
    // a bundle).
    QString tr(const QString& key) const;

    // Applies an effect to the drawable within the selection's bounds.
    GimpPDBStatusType runEffect(GimpRunMode mode, gint32 image, gint32 drawable,
                                const QString& identifier, const QString& json, QString* error);

    struct Created {
        gint32 image = -1;
        gint32 layer = -1;
    };
    // Paints a new layer of `image` (of the image's size) or, when `image`
    // is not a valid image, a new image of width x height.
    GimpPDBStatusType runGenerator(GimpRunMode mode, gint32 image, const QString& identifier,
                                   const QString& json, int width, int height, Created& created,
                                   QString* error);

private:
    GimpPDBStatusType applyEffect(gint32 image, gint32 drawable, const QString& identifier,
                                  const QString& json, QString* error);
    GimpPDBStatusType editEffect(gint32 image, gint32 drawable, QString* error);
    GimpPDBStatusType generate(gint32 image, const QString& identifier, const QString& json,
                               int width, int height, Created& created, QString* error);
    GimpPDBStatusType editGenerator(gint32 image, int width, int height, Created& created,
                                    QString* error);
    // Writes the picture into the drawable within the selection's bounds as
    // one undo step, giving a layer without alpha one when the picture needs it.
    void commitEffect(gint32 image, gint32 drawable, const cif::HostImage& result);
    // Puts the picture into a new layer of `image`, or a new image when it is
    // not valid.
    bool commitGenerated(gint32 image, const cif::HostImage& picture, const QString& name,
                         bool display, Created& created, QString* error);

    cif::CIFLoadedPlugIn m_plugIn;
    std::unique_ptr<cif::CIFPlugIn> m_main;
    QString m_loadError;
};
