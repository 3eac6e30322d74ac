// cif-resgen: draws the pictures the plug-in bundle ships.
//
//   cif-resgen icons <folder>   one <name>.png for every icon name that the
//                               filter and generator catalogs use
//
// Run at build time on Qt's offscreen platform.

#include <QDir>
#include <QGuiApplication>
#include <QSet>
#include <QTextStream>

#include "core/CIFKeys.h"
#include "core/CIFMain.h"
#include "generators/GLIFClassRegistry.h"
#include "platform/CIPlatform.h"
#include "tools/resgen/IconPainter.h"

namespace {

void collectIcons(const QVariantList& descriptors, QSet<QString>& icons) {
    for (const QVariant& entry : descriptors) {
        const QVariantMap d = entry.toMap();
        if (d.contains(cif::CIFFilterIcon)) icons.insert(d.value(cif::CIFFilterIcon).toString());
        if (d.contains(cif::DESC_LIST)) collectIcons(d.value(cif::DESC_LIST).toList(), icons);
    }
}

int writeIcons(const QString& folder) {
    cif::initializePlatform();
    cif::registerGeneratorClasses();
    cif::CIFMain main;
    QSet<QString> icons;
    for (unsigned set : {0u, 1u}) {
        main.CIFSetEffectsSet(set);
        for (const QVariant& category : main.CIFAllFilterDescriptors())
            collectIcons(category.toMap().value(cif::CIFFilterList).toList(), icons);
    }
    if (!QDir().mkpath(folder)) {
        QTextStream(stderr) << "cif-resgen: cannot create " << folder << "\n";
        return 1;
    }
    for (const QString& name : icons) {
        const QString path = folder + u'/' + name + QStringLiteral(".png");
        if (!cif::resgen::paintIcon(name).save(path, "PNG")) {
            QTextStream(stderr) << "cif-resgen: cannot write " << path << "\n";
            return 1;
        }
    }
    QTextStream(stdout) << "cif-resgen: " << icons.size() << " icons in " << folder << "\n";
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    const QStringList args = app.arguments().mid(1);
    if (args.size() == 2 && args.at(0) == QLatin1String("icons")) return writeIcons(args.at(1));
    QTextStream(stderr) << "usage: cif-resgen icons <folder>\n";
    return 2;
}
