#include "core/CIFEditorInterface.h"

namespace cif {

namespace {

CIFImageEditorProvider& provider() {
    static CIFImageEditorProvider p;
    return p;
}

CIFControlsBuilder& builder() {
    static CIFControlsBuilder b;
    return b;
}

}  // namespace

void setSharedImageEditorProvider(CIFImageEditorProvider p) {
    provider() = std::move(p);
}

CIFImageEditor* sharedImageEditor() {
    return provider() ? provider()() : nullptr;
}

void setControlsBuilder(CIFControlsBuilder b) {
    builder() = std::move(b);
}

const CIFControlsBuilder& controlsBuilder() {
    return builder();
}

}  // namespace cif
