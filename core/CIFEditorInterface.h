#pragma once
// What the principal object needs from a user interface: the shared editor
// that runs the modal effect and generator dialogs. The editor layer
// implements it; the plug-in's entry point installs the provider when the
// host loads the bundle. Without a provider there is no editor, and the
// dialog operations say so and answer false.

#include <QRectF>
#include <QVariant>
#include <functional>

#include "platform/host/HostImage.h"

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

}  // namespace cif
