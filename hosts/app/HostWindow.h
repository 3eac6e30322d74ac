#pragma once
// HostWindow: the demo host's main window. It loads the CIF Effects bundle
// as any host would (through include/cif only), opens a picture, lets the
// user select a rectangle, runs the effect editor on the picture or its
// selection and the generator dialog for a new picture, undoes the last
// accepted change and saves the result as PNG.

#include <QMainWindow>
#include <QString>
#include <QVector>
#include <memory>

#include "cif/CIFPlugIn.h"
#include "cif/CIFPlugInLoader.h"
#include "platform/host/HostImage.h"

class QAction;
class QLabel;
class QScrollArea;
class HostCanvas;

class HostWindow final : public QMainWindow {
    Q_OBJECT

public:
    // Loads the bundle at bundlePath (empty: the usual places); check
    // plugIn() and loadError() afterwards.
    explicit HostWindow(const QString& bundlePath, QWidget* parent = nullptr);
    ~HostWindow() override;

    cif::CIFPlugIn* plugIn() const { return m_main.get(); }
    QString loadError() const { return m_loadError; }
    QString bundlePath() const { return m_plugIn.bundlePath(); }
    HostCanvas* canvas() const { return m_canvas; }

    // Opens a picture file; false (with a message box unless quiet) when it
    // cannot be read.
    bool openPicture(const QString& path, bool quiet = false);
    void setPicture(const cif::HostImage& picture, const QString& name);
    // Runs the effect editor on the picture or the selection; true when the
    // user accepted and the picture changed.
    bool runEffects();
    // Runs the generator dialog; true when a new picture was accepted.
    bool runGenerator(QSize size);
    bool undo();
    bool savePng(const QString& path);
    int undoDepth() const { return int(m_history.size()); }

private:
    void buildMenus();
    void updateActions();
    void commit(const cif::HostImage& picture);

    cif::CIFLoadedPlugIn m_plugIn;
    std::unique_ptr<cif::CIFPlugIn> m_main;
    QString m_loadError;
    HostCanvas* m_canvas = nullptr;
    QScrollArea* m_scroll = nullptr;
    QLabel* m_status = nullptr;
    QAction* m_effects = nullptr;
    QAction* m_generator = nullptr;
    QAction* m_undo = nullptr;
    QAction* m_save = nullptr;
    QVector<cif::HostImage> m_history;  // pictures before each accepted change
    QString m_name;
};
