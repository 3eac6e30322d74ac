#include "core/CIFEditorInterface.h"

namespace cif {

namespace {

CIFImageEditorProvider& provider() {
    static CIFImageEditorProvider p;
    return p;
}

}  // namespace

void setSharedImageEditorProvider(CIFImageEditorProvider p) {
    provider() = std::move(p);
}

CIFImageEditor* sharedImageEditor() {
    return provider() ? provider()() : nullptr;
}

}  // namespace cif
