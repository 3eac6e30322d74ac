#pragma once
// What the principal object needs from a user interface: the shared editor
// that runs the modal effect and generator dialogs, and the builder of
// ready-made controls. The editor layer implements both; the plug-in's entry
// point installs them when the host loads the bundle. Without a provider
// there is no editor, and the dialog operations say so and answer false;
// without a builder there are no controls.

#include <QList>
#include <QRectF>
#include <QString>
#include <QVariant>
#include <functional>

#include "platform/host/HostImage.h"

class QWidget;

namespace cif {

class CIFImageEditor {
public:
    virtual ~CIFImageEditor() = default;
    // Runs the editor modally on the picture; 1 when the user accepted.
    virtual int startEditorUseSelectionWithRect(const HostImage& image, bool useSelection,
                                                const QRectF& rect) = 0;
    // Runs the generator dialog on a new picture of rect's size.
    virtual int startGeneratorWithRect(const QVariant& object, const QRectF& rect) = 0;
    virtual HostImage outputImage() const = 0;
    virtual bool isSelected() const = 0;
    virtual QRectF getSelectedRect() const = 0;
};

// The shared editor, or nullptr when none can be loaded.
using CIFImageEditorProvider = std::function<CIFImageEditor*()>;
void setSharedImageEditorProvider(CIFImageEditorProvider provider);
CIFImageEditor* sharedImageEditor();

class CIFMain;

// Builds the controls of CIFMain::CIFControlsForFilterNameViewFrame for the
// effect `name` inside `frame`; the widgets are unparented and their actions
// reach `main` (sendControlAction).
using CIFControlsBuilder =
    std::function<QList<QWidget*>(CIFMain& main, const QString& name, const QRectF& frame)>;
void setControlsBuilder(CIFControlsBuilder builder);
const CIFControlsBuilder& controlsBuilder();

}  // namespace cif
