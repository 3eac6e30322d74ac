// cifx-host: a small image editor that loads the CIF Effects bundle as a
// host would, to try the effect editor and the generators on real pictures.
//
//   cifx-host [--bundle PATH] [PICTURE]
//
// Without a picture it opens the sample picture the bundle carries.

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>
#include <QMessageBox>

#include "HostWindow.h"

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("cifx-host"));
    QApplication::setDesktopFileName(QStringLiteral("cifx-host"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Try the CIF Effects editor on a picture."));
    parser.addHelpOption();
    const QCommandLineOption bundle(QStringLiteral("bundle"),
                                    QStringLiteral("The CIF Effects bundle to load."),
                                    QStringLiteral("PATH"));
    parser.addOption(bundle);
    parser.addPositionalArgument(QStringLiteral("picture"),
                                 QStringLiteral("A PNG, JPEG or TIFF picture to open."));
    parser.process(app);

    // A bundle beside the program's folder (the build tree) comes first.
    QString bundlePath = parser.value(bundle);
    if (bundlePath.isEmpty() && qEnvironmentVariableIsEmpty("CIF_PLUGIN_PATH")) {
        const QString beside = QDir::cleanPath(QCoreApplication::applicationDirPath() +
                                               QStringLiteral("/../../CIFEffects.plugin"));
        if (QFileInfo::exists(beside)) bundlePath = beside;
    }
    HostWindow window(bundlePath);
    if (!window.plugIn())
        QMessageBox::warning(&window, QStringLiteral("CIF Effects Host"), window.loadError());

    const QStringList args = parser.positionalArguments();
    const QString sample = window.bundlePath() +
                           QStringLiteral("/Resources/SharedContent/Backgrounds/Scenes/Hills.png");
    window.show();
    if (!args.isEmpty())
        window.openPicture(args.first());
    else if (QFileInfo::exists(sample))
        window.openPicture(sample, true);
    return app.exec();
}
