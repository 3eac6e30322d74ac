// cif-resgen: draws the pictures the plug-in bundle ships.
//
//   cif-resgen icons <folder> [<contact sheet.png>]
//       one <name>.png for every icon name that the filter and generator
//       catalogs use: the entry's filter applied to a sample picture, or a
//       symbol where the entry is not a registered filter
//   cif-resgen resources <Resources folder> [<contact sheet.png>]
//       the six picture libraries below SharedContent/, fish.png,
//       gradient_hue.tif, cursors/ and marks/; optionally a page showing them
//
// Run at build time on Qt's offscreen platform. Every picture comes from
// fixed seeds, so two runs write the same bytes.

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QGuiApplication>
#include <QHash>
#include <QTextStream>

#include "core/CIFKeys.h"
#include "core/CIFMain.h"
#include "generators/GLIFClassRegistry.h"
#include "platform/CIPlatform.h"
#include "platform/image/CIFilter.h"
#include "tools/resgen/ContactSheet.h"
#include "tools/resgen/IconPainter.h"
#include "tools/resgen/Library.h"

namespace {

// Icon name -> the identifier it stands for: the first entry using the icon
// whose identifier is a registered filter, else the first entry at all.
void collectIcons(const QVariantList& descriptors, QHash<QString, QString>& icons) {
    for (const QVariant& entry : descriptors) {
        const QVariantMap d = entry.toMap();
        if (d.contains(cif::CIFFilterIcon)) {
            const QString icon = d.value(cif::CIFFilterIcon).toString();
            const QString id = d.value(cif::CIFFilterIdentifier).toString();
            const auto it = icons.find(icon);
            if (it == icons.end())
                icons.insert(icon, id);
            else if (!cif::CIFilter::isRegistered(*it) && cif::CIFilter::isRegistered(id))
                *it = id;
        }
        if (d.contains(cif::DESC_LIST)) collectIcons(d.value(cif::DESC_LIST).toList(), icons);
    }
}

bool writeSheet(const QString& folder, const std::vector<cif::resgen::GeneratedPicture>& pictures,
                const QString& sheetPath) {
    if (sheetPath.isEmpty()) return true;
    const QImage sheet = cif::resgen::contactSheet(folder, pictures);
    if (QDir().mkpath(QFileInfo(sheetPath).absolutePath()) && sheet.save(sheetPath, "PNG"))
        return true;
    QTextStream(stderr) << "cif-resgen: cannot write " << sheetPath << "\n";
    return false;
}

int writeIcons(const QString& folder, const QString& sheetPath) {
    QElapsedTimer timer;
    timer.start();
    cif::initializePlatform();
    cif::registerGeneratorClasses();
    cif::CIFMain main;
    QHash<QString, QString> icons;
    for (unsigned set : {0u, 1u}) {
        main.CIFSetEffectsSet(set);
        for (const QVariant& category : main.CIFAllFilterDescriptors())
            collectIcons(category.toMap().value(cif::CIFFilterList).toList(), icons);
    }
    if (!QDir().mkpath(folder)) {
        QTextStream(stderr) << "cif-resgen: cannot create " << folder << "\n";
        return 1;
    }
    QStringList names = icons.keys();
    names.sort();
    cif::resgen::FilterIconPainter painter;
    int rendered = 0;
    std::vector<cif::resgen::GeneratedPicture> pictures;
    for (const QString& name : names) {
        QImage image = painter.filterIcon(icons.value(name));
        if (image.isNull())
            image = cif::resgen::paintIcon(name);
        else
            ++rendered;
        pictures.push_back({name + QStringLiteral(".png"), image});
    }
    QString error;
    if (!cif::resgen::writePictures(folder, pictures, &error) ||
        !cif::resgen::removeStrayFiles(folder, QString(), pictures, &error)) {
        QTextStream(stderr) << "cif-resgen: " << error << "\n";
        return 1;
    }
    QTextStream(stdout) << "cif-resgen: " << names.size() << " icons (" << rendered
                        << " show their filter) in " << folder << ", " << timer.elapsed()
                        << " ms\n";
    return writeSheet(folder, pictures, sheetPath) ? 0 : 1;
}

int writeResources(const QString& folder, const QString& sheetPath) {
    std::vector<cif::resgen::GeneratedPicture> pictures = cif::resgen::libraryPictures();
    const size_t libraryCount = pictures.size();
    for (auto& picture : cif::resgen::namedPictures())
        pictures.push_back(std::move(picture));
    QString error;
    bool ok = cif::resgen::writePictures(folder, pictures, &error);
    // Only the folders the generator owns are cleaned; Resources holds others.
    for (const QString& owned :
         {cif::resgen::kSharedContentFolder, QStringLiteral("cursors"), QStringLiteral("marks")})
        ok = ok && cif::resgen::removeStrayFiles(folder, owned, pictures, &error);
    if (!ok) {
        QTextStream(stderr) << "cif-resgen: " << error << "\n";
        return 1;
    }
    QTextStream(stdout) << "cif-resgen: " << libraryCount << " library pictures and "
                        << pictures.size() - libraryCount << " named pictures in " << folder
                        << "\n";
    return writeSheet(folder, pictures, sheetPath) ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    const QStringList args = app.arguments().mid(1);
    if ((args.size() == 2 || args.size() == 3) && args.at(0) == QLatin1String("icons"))
        return writeIcons(args.at(1), args.value(2));
    if ((args.size() == 2 || args.size() == 3) && args.at(0) == QLatin1String("resources"))
        return writeResources(args.at(1), args.value(2));
    QTextStream(stderr) << "usage: cif-resgen icons <folder> [<contact sheet.png>]\n"
                           "       cif-resgen resources <Resources folder> [<contact sheet.png>]\n";
    return 2;
}
