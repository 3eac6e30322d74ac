#include "platform/CIPlatform.h"

#include <mutex>

#include "platform/builtins/Builtins.h"
#include "platform/host/HostImage.h"
#include "platform/image/CIColor.h"
#include "platform/image/CIImage.h"
#include "platform/image/CIVector.h"

namespace cif {

void initializePlatform() {
    static std::once_flag once;
    std::call_once(once, [] {
        qRegisterMetaType<CIVector>("CIVector");
        qRegisterMetaType<CIColor>("CIColor");
        qRegisterMetaType<CIImage>("CIImage");
        qRegisterMetaType<HostImage>("HostImage");
        registerBuiltinFilters();
    });
}

}  // namespace cif
