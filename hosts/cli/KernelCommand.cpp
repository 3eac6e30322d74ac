#include "hosts/cli/KernelCommand.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <memory>

#include "hosts/cli/Commands.h"
#include "hosts/cli/Output.h"
#include "platform/image/CIFilter.h"
#include "platform/kernel/CIKernel.h"
#include "platform/kernel/KernelFilterFile.h"

namespace cifx {

namespace {

// The options of 'render', which a kernel run hands on, plus --check.
constexpr OptionDef kOptionDefs[] = {kHelpOption,
                                     kVerboseOption,
                                     {"check", 0, false, false},
                                     {"set", 0, true, true},
                                     {"rect", 0, true, false},
                                     {"progress", 0, false, false},
                                     {"threads", 0, true, false},
                                     {"tile", 0, true, false},
                                     {"no-color-management", 0, false, false}};

bool isFilterFile(const QString& path) {
    return QFileInfo(path).suffix().compare(QLatin1String("json"), Qt::CaseInsensitive) == 0;
}

// Reads at most limit bytes of a file; false when it cannot be read or is
// larger.
bool readText(const QString& path, qint64 limit, QByteArray& out, int& exitCode) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        exitCode = fail(kExitInputUnreadable,
                        QCoreApplication::translate("cifx", "cannot read '%1'").arg(path));
        return false;
    }
    out = file.read(limit + 1);
    if (out.size() > limit) {
        exitCode = fail(kExitInputUnreadable,
                        QCoreApplication::translate("cifx", "'%1' is larger than %2 bytes")
                            .arg(path)
                            .arg(limit));
        return false;
    }
    return true;
}

QString signature(const cif::CIKernel& kernel) {
    static const char* const kTypes[] = {"float",   "vec2",    "vec3",    "vec4",
                                         "__color", "sampler", "__sample"};
    QStringList params;
    for (const cif::kernel::Parameter& p : kernel.program().parameters)
        params << QStringLiteral("%1 %2").arg(QLatin1String(kTypes[int(p.type)]),
                                              QString::fromStdString(p.name));
    return QStringLiteral("%1(%2)").arg(kernel.name(), params.join(QStringLiteral(", ")));
}

// A diagnostic located in FILE the way compilers print them:
// "FILE:line:column: message".
QString located(const QString& path, const QString& diagnostic) {
    const QLatin1String prefix("kernel:");
    return path + u':' +
           (diagnostic.startsWith(prefix) ? diagnostic.mid(prefix.size()) : diagnostic);
}

// --check: prints the kernels found, or one line per diagnostic.
int check(const QString& path) {
    QByteArray text;
    int exitCode = kExitSuccess;
    if (isFilterFile(path)) {
        if (!readText(path, 1 << 20, text, exitCode)) return exitCode;
        cif::kernel::KernelFilterDescription description;
        QString error;
        if (!cif::kernel::parseKernelFilter(text, description, &error)) {
            printOut(QStringLiteral("%1: %2\n").arg(path, error));
            return kExitProcessingFailed;
        }
        printOut(QCoreApplication::translate("cifx", "%1: filter %2, kernel %3\n")
                     .arg(path, description.name, signature(description.kernel)));
        return kExitSuccess;
    }
    if (!readText(path, qint64(cif::kernel::kMaxSourceBytes), text, exitCode)) return exitCode;
    QStringList diagnostics;
    const QList<cif::CIKernel> kernels =
        cif::CIKernel::kernelsWithString(QString::fromUtf8(text), &diagnostics);
    if (kernels.isEmpty()) {
        for (const QString& d : diagnostics)
            printOut(located(path, d) + u'\n');
        return kExitProcessingFailed;
    }
    for (const cif::CIKernel& k : kernels) {
        const QString line = k.kind() == cif::kernel::KernelKind::Color
                                 ? QCoreApplication::translate("cifx", "%1: color kernel %2\n")
                             : k.kind() == cif::kernel::KernelKind::Warp
                                 ? QCoreApplication::translate("cifx", "%1: warp kernel %2\n")
                                 : QCoreApplication::translate("cifx", "%1: kernel %2\n");
        printOut(line.arg(path, signature(k)));
    }
    return kExitSuccess;
}

// The index in args of the first positional argument, or -1.
qsizetype firstPositional(const QStringList& args) {
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString& a = args[i];
        if (a == QLatin1String("--")) return i + 1 < args.size() ? i + 1 : -1;
        if (!a.startsWith(u'-') || a == QLatin1String("-")) return i;
        if (a.contains(u'=')) continue;
        for (const OptionDef& def : kOptionDefs)
            if (def.takesValue && a == QLatin1String("--") + QLatin1String(def.name)) ++i;
    }
    return -1;
}

}  // namespace

QString kernelUsageText() {
    return QCoreApplication::translate(
        "cifx",
        "  kernel FILE [IN] OUT [OPTIONS]\n"
        "      Apply a filter file (FILE.json) or kernel source (any other suffix) to\n"
        "      picture IN and write OUT as PNG; takes the options of 'render'. For kernel\n"
        "      source, its first kernel runs with IN as its first sampler or __sample (a\n"
        "      warp kernel reads IN where it says), and --set binds the other parameters\n"
        "      by name (unset numbers are 0). A kernel without images is a generator:\n"
        "      give no IN and a --rect.\n"
        "  kernel --check FILE\n"
        "      Compile FILE and print its kernels, or its diagnostics (exit status 1).\n");
}

int runKernel(const QStringList& args) {
    ParsedArguments parsed;
    int exitCode = kExitSuccess;
    if (!parseCommandArguments(args, kOptionDefs, parsed, exitCode)) return exitCode;
    const QStringList& pos = parsed.positionals;
    if (parsed.has(QStringLiteral("check"))) {
        if (pos.size() != 1)
            return fail(kExitUsage,
                        QCoreApplication::translate(
                            "cifx", "'kernel --check' takes one kernel or filter file"));
        return check(pos.first());
    }
    if (pos.size() < 2 || pos.size() > 3)
        return fail(kExitUsage, QCoreApplication::translate(
                                    "cifx",
                                    "'kernel' takes a kernel or filter file, an optional input "
                                    "picture and an output file"));
    const QString path = pos.first();
    QByteArray text;
    QString name, error;
    if (isFilterFile(path)) {
        if (!readText(path, 1 << 20, text, exitCode)) return exitCode;
        if (!cif::kernel::loadKernelFilterFile(path, &error, &name))
            return fail(kExitProcessingFailed, QStringLiteral("%1: %2").arg(path, error));
    } else {
        if (!readText(path, qint64(cif::kernel::kMaxSourceBytes), text, exitCode)) return exitCode;
        QStringList diagnostics;
        const QList<cif::CIKernel> kernels =
            cif::CIKernel::kernelsWithString(QString::fromUtf8(text), &diagnostics);
        if (kernels.isEmpty())
            return fail(kExitProcessingFailed, located(path, diagnostics.value(0)));
        // The kernel runs as a filter of its own name, unless that name is
        // taken by another filter.
        name = kernels.first().name();
        if (cif::CIFilter::isRegistered(name)) name += QStringLiteral("_kernel");
        auto description = std::make_shared<cif::kernel::KernelFilterDescription>(
            cif::kernel::describeKernel(kernels.first(), name));
        if (!cif::kernel::registerKernelFilter(description, &error))
            return fail(kExitProcessingFailed, error);
    }
    // The rest is 'render' of the registered filter.
    const qsizetype at = firstPositional(args);
    if (at < 0)
        return fail(kExitUsage,
                    QCoreApplication::translate("cifx", "give a kernel or filter file"));
    QStringList renderArgs = args;
    renderArgs[at] = name;
    return runRender(renderArgs);
}

}  // namespace cifx
