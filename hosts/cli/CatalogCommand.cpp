#include "hosts/cli/CatalogCommand.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "cif/CIFPlugInLoader.h"
#include "hosts/cli/Commands.h"
#include "hosts/cli/Output.h"

namespace cifx {

namespace {

// The bundle: the one named, else the search paths, else the one the build
// tree or the installation keeps beside this program.
QString locateBundle(const QString& named) {
    if (!named.isEmpty()) return cif::resolveCIFBundle(named);
    if (const QString found = cif::findCIFBundle(); !found.isEmpty()) return found;
    const QString appDir = QCoreApplication::applicationDirPath();
    for (const QString& candidate :
         {appDir + QStringLiteral("/../.."), appDir + QStringLiteral("/../lib/cif-effects")})
        if (const QString bundle = cif::resolveCIFBundle(candidate); !bundle.isEmpty())
            return bundle;
    return {};
}

}  // namespace

cif::CIFLoadedPlugIn loadPlugIn(const QString& bundle, QString* error) {
    return cif::CIFLoadedPlugIn::load(locateBundle(bundle), error);
}

namespace {

QString text(const QVariantMap& d, const char* key) {
    return d.value(QString::fromLatin1(key)).toString();
}

void printEntries(const cif::CIFPlugIn& main, const QVariantList& entries, int indent,
                  QString& out) {
    for (const QVariant& e : entries) {
        const QVariantMap d = e.toMap();
        const QString name = main.localizedString(text(d, "CIFFilterName"));
        const bool group = d.contains(QStringLiteral("DESC_LIST"));
        out += QString(indent, u' ') + name.leftJustified(32 - indent, u' ') + u' ' +
               text(d, "CIFFilterIdentifier") +
               (group ? QCoreApplication::translate("cifx", "  (group)") : QString()) + u'\n';
        if (group)
            printEntries(main, d.value(QStringLiteral("DESC_LIST")).toList(), indent + 2, out);
    }
}

QJsonArray jsonEntries(const cif::CIFPlugIn& main, const QVariantList& entries) {
    QJsonArray array;
    for (const QVariant& e : entries) {
        QVariantMap d = e.toMap();
        const QVariantList members = d.take(QStringLiteral("DESC_LIST")).toList();
        QJsonObject object = QJsonObject::fromVariantMap(d);
        object.insert(QStringLiteral("localizedName"),
                      main.localizedString(text(d, "CIFFilterName")));
        if (e.toMap().contains(QStringLiteral("DESC_LIST")))
            object.insert(QStringLiteral("DESC_LIST"), jsonEntries(main, members));
        array.append(object);
    }
    return array;
}

}  // namespace

int runList(const QStringList& args) {
    static constexpr OptionDef optionDefs[] = {kHelpOption,
                                               kVerboseOption,
                                               {"generators", 0, false, false},
                                               {"json", 0, false, false},
                                               {"lang", 0, true, false},
                                               {"bundle", 0, true, false}};
    ParsedArguments parsed;
    int exitCode = kExitSuccess;
    if (!parseCommandArguments(args, optionDefs, parsed, exitCode)) return exitCode;
    if (!parsed.positionals.isEmpty())
        return fail(kExitUsage, QCoreApplication::translate("cifx", "unexpected argument '%1'")
                                    .arg(parsed.positionals.first()));

    QString error;
    const cif::CIFLoadedPlugIn plugin = loadPlugIn(parsed.value(QStringLiteral("bundle")), &error);
    if (!plugin) return fail(kExitInputUnreadable, error);
    if (parsed.has(QStringLiteral("lang")))
        plugin.factory()->setLanguage(parsed.value(QStringLiteral("lang")));
    const std::unique_ptr<cif::CIFPlugIn> main = plugin.factory()->createMain();
    const bool generators = parsed.has(QStringLiteral("generators"));
    main->CIFSetEffectsSet(generators ? 1 : 0);
    const QVariantList categories = main->CIFAllFilterDescriptors();

    if (parsed.has(QStringLiteral("json"))) {
        QJsonArray array;
        for (const QVariant& c : categories) {
            const QVariantMap category = c.toMap();
            const QString name = text(category, "CIFCategoryName");
            array.append(QJsonObject{
                {QStringLiteral("CIFCategoryName"), name},
                {QStringLiteral("localizedName"), main->localizedString(name)},
                {QStringLiteral("CIFFilterList"),
                 jsonEntries(*main, category.value(QStringLiteral("CIFFilterList")).toList())}});
        }
        const QJsonObject root{{QStringLiteral("effectsSet"), generators ? 1 : 0},
                               {QStringLiteral("bundle"), plugin.bundlePath()},
                               {QStringLiteral("categories"), array}};
        printOut(QString::fromUtf8(QJsonDocument(root).toJson(QJsonDocument::Indented)));
        return kExitSuccess;
    }
    QString out;
    for (const QVariant& c : categories) {
        const QVariantMap category = c.toMap();
        out += main->localizedString(text(category, "CIFCategoryName")) + u'\n';
        printEntries(*main, category.value(QStringLiteral("CIFFilterList")).toList(), 2, out);
    }
    printOut(out);
    return kExitSuccess;
}

}  // namespace cifx
