// The bundle's entry point: the Qt plug-in root object that hosts load. It
// makes the platform layer ready, finds the bundle folder from the library's
// own location, and hands out principal objects.

#include <dlfcn.h>

#include <QDir>
#include <QFileInfo>
#include <QObject>
#include <mutex>

#include "cif/CIFPlugIn.h"
#include "core/CIFBundle.h"
#include "core/CIFEditorInterface.h"
#include "core/CIFMain.h"
#include "editor/CIFFilterControls.h"
#include "editor/CIFImageEditorController.h"
#include "generators/GLIFClassRegistry.h"
#include "platform/CIPlatform.h"

namespace cif {

namespace {

// The folder two levels above this library (CIFEffects.plugin/lib/x.so).
QString bundleOfThisLibrary() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<const void*>(&bundleOfThisLibrary), &info) == 0 || !info.dli_fname)
        return {};
    const QFileInfo library(QString::fromLocal8Bit(info.dli_fname));
    return QDir::cleanPath(library.absolutePath() + QStringLiteral("/.."));
}

}  // namespace

class CIFPlugInRoot final : public QObject, public CIFPlugInFactory {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID CIFPlugInFactory_iid FILE "Info.json")
    Q_INTERFACES(cif::CIFPlugInFactory)

public:
    CIFPlugInRoot() {
        static std::once_flag once;
        std::call_once(once, [] {
            initializePlatform();
            registerGeneratorClasses();
            CIFBundle::setPath(bundleOfThisLibrary());
            setControlsBuilder(&CIFFilterControls::controlsForFilterNameViewFrame);
            // The editor needs a widget application; without one (a
            // command-line host) there is no editor and the dialogs say so.
            setSharedImageEditorProvider(
                []() -> CIFImageEditor* { return CIFImageEditorController::sharedImageEditor(); });
        });
    }

    std::unique_ptr<CIFPlugIn> createMain() override { return std::make_unique<CIFMain>(); }
    void setLanguage(const QString& language) override { CIFBundle::setLanguage(language); }
    QString bundlePath() const override { return CIFBundle::path(); }
};

}  // namespace cif

#include "CIFPlugInEntry.moc"
