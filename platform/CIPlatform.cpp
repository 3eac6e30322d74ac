#include "platform/CIPlatform.h"

#include <atomic>
#include <mutex>

#include "platform/builtins/Builtins.h"
#include "platform/host/HostImage.h"
#include "platform/image/CIColor.h"
#include "platform/image/CIImage.h"
#include "platform/image/CIPlugIn.h"
#include "platform/image/CIVector.h"
#include "platform/kernel/CISampler.h"
#include "platform/kernel/KernelFilterFile.h"

namespace cif {

void initializePlatform() {
    static std::once_flag once;
    std::call_once(once, [] {
        qRegisterMetaType<CIVector>("CIVector");
        qRegisterMetaType<CIColor>("CIColor");
        qRegisterMetaType<CIImage>("CIImage");
        qRegisterMetaType<HostImage>("HostImage");
        qRegisterMetaType<CISampler>("CISampler");
        registerBuiltinFilters();
        // Filter files: kernels described in JSON (KernelFilterFile.h).
        CIPlugIn::registerFileLoader(QStringLiteral("json"),
                                     [](const QString& path, QString* error) {
                                         return kernel::loadKernelFilterFile(path, error);
                                     });
    });
}

namespace {
std::atomic<double> g_appKitVersion{kAppKitVersionNumber};
}

double appKitVersionNumber() {
    return g_appKitVersion.load();
}

void setAppKitVersionNumber(double version) {
    g_appKitVersion.store(version);
}

}  // namespace cif
