#include "platform/CIPlatform.h"

#include <hwy/targets.h>

#include <QByteArray>
#include <QDebug>
#include <QStringList>
#include <atomic>
#include <mutex>
#include <vector>

#include "platform/builtins/Builtins.h"
#include "platform/host/HostImage.h"
#include "platform/image/CIColor.h"
#include "platform/image/CIImage.h"
#include "platform/image/CIPlugIn.h"
#include "platform/image/CIVector.h"
#include "platform/kernel/CISampler.h"
#include "platform/kernel/KernelFilterFile.h"

namespace cif {

namespace {

// CIF_SIMD_TARGET names one Highway target ("AVX2", "SSE4", "EMU128", ...,
// any case) that every vectorised path then runs on, or "scalar" for the
// lowest one built (the portable baseline). Meant for comparing the targets'
// pixels on one machine; an unknown or unsupported name is reported and the
// normal choice stays.
void applySimdTargetFromEnvironment() {
    const QByteArray wanted = qgetenv("CIF_SIMD_TARGET").trimmed().toUpper();
    if (wanted.isEmpty()) return;
    const std::vector<int64_t> targets = hwy::SupportedAndGeneratedTargets();
    int64_t chosen = 0;
    for (const int64_t target : targets) {
        // Lower targets have higher bits; the last one seen for "SCALAR" is
        // the lowest built.
        if (wanted == "SCALAR" ? (chosen == 0 || target > chosen)
                               : wanted == QByteArray(hwy::TargetName(target)).toUpper())
            chosen = target;
    }
    if (chosen == 0) {
        QStringList names;
        for (const int64_t target : targets)
            names << QString::fromLatin1(hwy::TargetName(target));
        qWarning("CIF_SIMD_TARGET=%s is not a target this machine runs (%s); ignored",
                 wanted.constData(), qUtf8Printable(names.join(QStringLiteral(", "))));
        return;
    }
    hwy::SetSupportedTargetsForTest(chosen);
}

}  // namespace

void initializePlatform() {
    static std::once_flag once;
    std::call_once(once, [] {
        qRegisterMetaType<CIVector>("CIVector");
        qRegisterMetaType<CIColor>("CIColor");
        qRegisterMetaType<CIImage>("CIImage");
        qRegisterMetaType<HostImage>("HostImage");
        qRegisterMetaType<CISampler>("CISampler");
        applySimdTargetFromEnvironment();
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
