// cifx: the command-line host of the platform's filter engine. Headless: it
// runs on Qt's offscreen platform unless QT_QPA_PLATFORM says otherwise.

#include <QCoreApplication>
#include <QDir>
#include <QGuiApplication>
#include <QLocale>
#include <QTranslator>

#include "hosts/cli/ApplyCommand.h"
#include "hosts/cli/CatalogCommand.h"
#include "hosts/cli/Commands.h"
#include "hosts/cli/Gallery.h"
#include "hosts/cli/GenerateCommand.h"
#include "hosts/cli/KernelCommand.h"
#include "hosts/cli/Output.h"
#include "hosts/cli/Progress.h"
#include "platform/CIPlatform.h"

namespace {

// Translations are looked for beside the program, then in the installed
// share folder; English needs none.
void loadTranslations(QTranslator& translator) {
    const QString appDir = QCoreApplication::applicationDirPath();
    for (const QString& folder : {appDir + QStringLiteral("/translations"),
                                  appDir + QStringLiteral("/../share/cifx/translations")})
        if (translator.load(QLocale(), QStringLiteral("cifx"), QStringLiteral("_"), folder)) {
            QCoreApplication::installTranslator(&translator);
            return;
        }
}

int dispatch(const QStringList& args) {
    using namespace cifx;
    if (args.isEmpty())
        return fail(kExitUsage, QCoreApplication::translate(
                                    "cifx", "no command given; 'cifx --help' shows the usage"));
    const QString& command = args.first();
    const QStringList rest = args.mid(1);
    if (command == QLatin1String("--help") || command == QLatin1String("-h") ||
        command == QLatin1String("help")) {
        printOut(usageText());
        return kExitSuccess;
    }
    if (command == QLatin1String("--version")) {
        printOut(QStringLiteral("cifx %1\n").arg(QCoreApplication::applicationVersion()));
        return kExitSuccess;
    }
    if (command == QLatin1String("list")) return runList(rest);
    if (command == QLatin1String("apply")) return runApply(rest);
    if (command == QLatin1String("generate")) return runGenerate(rest);
    if (command == QLatin1String("filters")) return runFilters(rest);
    if (command == QLatin1String("attributes")) return runAttributes(rest);
    if (command == QLatin1String("render")) return runRender(rest);
    if (command == QLatin1String("gallery")) return runGallery(rest);
    if (command == QLatin1String("kernel")) return runKernel(rest);
    if (command.startsWith(u'-'))
        return fail(kExitUsage,
                    QCoreApplication::translate("cifx", "unknown option '%1'").arg(command));
    return fail(kExitUsage, QCoreApplication::translate(
                                "cifx", "unknown command '%1'; 'cifx --help' lists them")
                                .arg(command));
}

}  // namespace

int main(int argc, char** argv) {
    // First, so that a Ctrl-C during start-up already cancels cleanly.
    cifx::installInterruptHandler();
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    cifx::installMessageHandler(false);

    const QGuiApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("cifx"));
    QCoreApplication::setApplicationVersion(QStringLiteral(CIFX_VERSION));
    QTranslator translator;
    loadTranslations(translator);
    cif::initializePlatform();
    return dispatch(QCoreApplication::arguments().mid(1));
}
