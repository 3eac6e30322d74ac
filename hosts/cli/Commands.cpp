#include "hosts/cli/Commands.h"

#include <unistd.h>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>
#include <cmath>
#include <memory>

#include "hosts/cli/KernelCommand.h"
#include "hosts/cli/Output.h"
#include "hosts/cli/Progress.h"
#include "hosts/cli/ValueFormat.h"
#include "platform/host/HostImage.h"
#include "platform/image/CIAttributes.h"
#include "platform/image/CIContext.h"
#include "platform/image/CIFilter.h"

namespace cifx {

namespace {

constexpr int kSchemaVersion = 1;
constexpr int kMaxThreads = 1024;
constexpr int kMinTileSize = 8;
constexpr int kMaxTileSize = 8192;
// Coordinates beyond this are treated as unbounded: no picture can reach them.
constexpr double kUnboundedCoordinate = 1e15;

QString jsonText(const QJsonObject& object) {
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Indented));
}

QString displayNameOf(const QVariantMap& classAttributes, const QString& name) {
    const QString display = classAttributes.value(cif::kCIAttributeFilterDisplayName).toString();
    return display.isEmpty() ? name : display;
}

// Rows of cells as left-aligned columns two spaces apart.
QString formatTable(const QList<QStringList>& rows) {
    QList<qsizetype> widths;
    for (const QStringList& row : rows)
        for (qsizetype c = 0; c < row.size(); ++c) {
            if (widths.size() <= c) widths << 0;
            widths[c] = std::max(widths[c], row[c].size());
        }
    QString out;
    for (const QStringList& row : rows) {
        QString line;
        for (qsizetype c = 0; c < row.size(); ++c) {
            line += row[c];
            if (c + 1 < row.size()) line += QString(widths[c] - row[c].size() + 2, u' ');
        }
        while (line.endsWith(u' '))
            line.chop(1);
        out += line + u'\n';
    }
    return out;
}

// Every category the platform names, and any a registered filter uses.
QStringList knownCategories() {
    QStringList categories{cif::kCICategoryDistortionEffect,
                           cif::kCICategoryGeometryAdjustment,
                           cif::kCICategoryCompositeOperation,
                           cif::kCICategoryHalftoneEffect,
                           cif::kCICategoryColorAdjustment,
                           cif::kCICategoryColorEffect,
                           cif::kCICategoryTransition,
                           cif::kCICategoryTileEffect,
                           cif::kCICategoryGenerator,
                           cif::kCICategoryReduction,
                           cif::kCICategoryGradient,
                           cif::kCICategoryStylize,
                           cif::kCICategorySharpen,
                           cif::kCICategoryBlur,
                           cif::kCICategoryVideo,
                           cif::kCICategoryStillImage,
                           cif::kCICategoryInterlaced,
                           cif::kCICategoryNonSquarePixels,
                           cif::kCICategoryHighDynamicRange,
                           cif::kCICategoryBuiltIn};
    for (const QString& name : cif::CIFilter::filterNamesInCategory(QString()))
        for (const QString& c : cif::CIFilter::classAttributesForName(name)
                                    .value(cif::kCIAttributeFilterCategories)
                                    .toStringList())
            if (!categories.contains(c)) categories << c;
    return categories;
}

bool isUnbounded(const QRectF& r) {
    return !std::isfinite(r.x()) || !std::isfinite(r.y()) || !std::isfinite(r.width()) ||
           !std::isfinite(r.height()) || r.left() < -kUnboundedCoordinate ||
           r.top() < -kUnboundedCoordinate || r.right() > kUnboundedCoordinate ||
           r.bottom() > kUnboundedCoordinate;
}

QString unknownFilterMessage(const QString& name) {
    return QCoreApplication::translate("cifx", "unknown filter '%1'; 'cifx filters' lists them")
        .arg(name);
}

// Checks before rendering that OUT can be written, so a long render is not
// wasted; the atomic save checks again.
bool checkOutputPath(const QString& path, QString* error) {
    const QFileInfo info(path);
    if (info.isDir()) {
        *error =
            QCoreApplication::translate("cifx", "cannot write '%1': it is a directory").arg(path);
        return false;
    }
    const QFileInfo dir(info.absolutePath());
    if (!dir.isDir()) {
        *error =
            QCoreApplication::translate("cifx", "cannot write '%1': folder '%2' does not exist")
                .arg(path, QDir::toNativeSeparators(dir.filePath()));
        return false;
    }
    if (!dir.isWritable() || (info.exists() && !info.isWritable())) {
        *error =
            QCoreApplication::translate("cifx", "cannot write '%1': permission denied").arg(path);
        return false;
    }
    return true;
}

struct Setting {
    QString key;
    QVariant value;     // parsed value, or invalid for an image
    QString imagePath;  // for image inputs
};

}  // namespace

QString usageText() {
    const QString commands = QCoreApplication::translate(
        "cifx",
        "Usage: cifx COMMAND [OPTIONS]\n"
        "       cifx --help | --version\n"
        "\n"
        "Applies the platform's image filters from the command line.\n"
        "\n"
        "Commands:\n"
        "  list [--generators] [--json] [--lang L] [--bundle PATH]\n"
        "      Print the plug-in's catalog as a host sees it: categories, entries with\n"
        "      their identifiers, groups with their members. --generators shows the\n"
        "      generator catalog; --lang chooses the language of the names (\"de\");\n"
        "      --bundle names the CIFEffects.plugin bundle (default: $CIF_PLUGIN_PATH,\n"
        "      the XDG data folders, then the bundle beside this program).\n"
        "  apply ID IN OUT [--set KEY=VALUE ...] [--selection X,Y,W,H] [--background R,G,B]\n"
        "      Apply the catalog effect ID to picture IN through the plug-in, starting from\n"
        "      the plug-in's default parameters, and write OUT as PNG. --selection limits\n"
        "      the effect to that rectangle (origin bottom-left); --background sets the\n"
        "      backdrop colour (0 to 1 each).\n"
        "  generate ID WIDTHxHEIGHT OUT [--seed N] [--set KEY=VALUE ...]\n"
        "      Paint a new picture with the plug-in's generator ID (see 'list\n"
        "      --generators'), starting from its published defaults, and write OUT as PNG.\n"
        "      The same seed and values give the same picture.\n"
        "  filters [--category C] [--json]\n"
        "      List the registered filters and their display names.\n"
        "  attributes NAME [--json]\n"
        "      Describe the inputs of filter NAME: class, type, default, range.\n"
        "  render NAME [IN] OUT [OPTIONS]\n"
        "      Apply filter NAME to picture IN (PNG, JPEG, TIFF, GIF, BMP or PDF), or run\n"
        "      generator NAME, and write the result to OUT as PNG.\n"
        "        --set KEY=VALUE        set an input (repeatable); the value is read by the\n"
        "                               input's class: number \"0.5\", vector \"[x y ...]\" or\n"
        "                               \"x,y\", colour \"r g b a\" (0 to 1) or \"#rrggbb\",\n"
        "                               transform \"m11 m12 m21 m22 tx ty\", image: a file\n"
        "        --rect X,Y,W,H         the rectangle to render, origin bottom-left, y up\n"
        "                               (default: the output's extent, or the input's when\n"
        "                               the output is infinite)\n"
        "        --progress             show progress even when stderr is not a terminal\n"
        "        --threads N            worker threads (default 0: all cores)\n"
        "        --tile N               tile size in pixels (default 256)\n"
        "        --no-color-management  compute on sRGB values instead of linear light\n"
        "  gallery OUTDIR\n"
        "      Render every registered filter on a sample picture into OUTDIR/index.html\n"
        "      and print the page's path.\n");
    const QString rest = QCoreApplication::translate("cifx",
                                                     "\n"
                                                     "Options of every command:\n"
                                                     "  -h, --help     show this text\n"
                                                     "  --verbose      show the engine's warnings\n"
                                                     "\n"
                                                     "Exit status:\n"
                                                     "  0    success\n"
                                                     "  1    processing failed\n"
                                                     "  2    usage error\n"
                                                     "  3    input unreadable\n"
                                                     "  4    output not writable\n"
                                                     "  130  cancelled (Ctrl-C)\n");
    return commands + kernelUsageText() + rest;
}

bool parseCommandArguments(const QStringList& args, std::span<const OptionDef> optionDefs,
                           ParsedArguments& out, int& exitCode) {
    QString error;
    if (!parseArguments(args, optionDefs, out, &error)) {
        exitCode = fail(kExitUsage, error);
        return false;
    }
    if (out.has(QLatin1String(kHelpOption.name))) {
        printOut(usageText());
        exitCode = kExitSuccess;
        return false;
    }
    if (out.has(QLatin1String(kVerboseOption.name))) installMessageHandler(true);
    return true;
}

// ---------------------------------------------------------------- filters

int runFilters(const QStringList& args) {
    static constexpr OptionDef optionDefs[] = {
        kHelpOption, kVerboseOption, {"category", 0, true, false}, {"json", 0, false, false}};
    ParsedArguments parsed;
    int exitCode = kExitSuccess;
    if (!parseCommandArguments(args, optionDefs, parsed, exitCode)) return exitCode;
    if (!parsed.positionals.isEmpty())
        return fail(kExitUsage, QCoreApplication::translate("cifx", "unexpected argument '%1'")
                                    .arg(parsed.positionals.first()));

    QString category = parsed.value(QStringLiteral("category"));
    if (parsed.has(QStringLiteral("category"))) {
        const QStringList known = knownCategories();
        // "Blur" is accepted for "CICategoryBlur".
        if (!known.contains(category) && known.contains(QStringLiteral("CICategory") + category))
            category.prepend(QStringLiteral("CICategory"));
        if (!known.contains(category))
            return fail(kExitUsage,
                        QCoreApplication::translate("cifx", "unknown category '%1'; known: %2")
                            .arg(category, known.join(QStringLiteral(", "))));
    }

    const QStringList names = cif::CIFilter::filterNamesInCategory(category);
    if (parsed.has(QStringLiteral("json"))) {
        QJsonArray filters;
        for (const QString& name : names) {
            const QVariantMap attrs = cif::CIFilter::classAttributesForName(name);
            filters.append(
                QJsonObject{{QStringLiteral("name"), name},
                            {QStringLiteral("displayName"), displayNameOf(attrs, name)},
                            {QStringLiteral("categories"),
                             QJsonArray::fromStringList(
                                 attrs.value(cif::kCIAttributeFilterCategories).toStringList())}});
        }
        printOut(jsonText(QJsonObject{{QStringLiteral("schema_version"), kSchemaVersion},
                                      {QStringLiteral("filters"), filters}}));
        return kExitSuccess;
    }
    QList<QStringList> rows;
    for (const QString& name : names)
        rows << QStringList{name, displayNameOf(cif::CIFilter::classAttributesForName(name), name)};
    printOut(formatTable(rows));
    return kExitSuccess;
}

// ---------------------------------------------------------------- attributes

int runAttributes(const QStringList& args) {
    static constexpr OptionDef optionDefs[] = {
        kHelpOption, kVerboseOption, {"json", 0, false, false}};
    ParsedArguments parsed;
    int exitCode = kExitSuccess;
    if (!parseCommandArguments(args, optionDefs, parsed, exitCode)) return exitCode;
    if (parsed.positionals.size() != 1)
        return fail(kExitUsage,
                    QCoreApplication::translate("cifx", "'attributes' takes one filter name"));
    const QString name = parsed.positionals.first();
    const std::unique_ptr<cif::CIFilter> filter = cif::CIFilter::filterWithName(name);
    if (!filter) return fail(kExitUsage, unknownFilterMessage(name));

    const QVariantMap attrs = filter->attributes();
    const QStringList inputKeys = filter->inputKeys();
    const QStringList categories = attrs.value(cif::kCIAttributeFilterCategories).toStringList();
    // The per-input fields in the order a reader wants them.
    const QString fields[] = {cif::kCIAttributeClass,       cif::kCIAttributeType,
                              cif::kCIAttributeDisplayName, cif::kCIAttributeDefault,
                              cif::kCIAttributeIdentity,    cif::kCIAttributeMin,
                              cif::kCIAttributeMax,         cif::kCIAttributeSliderMin,
                              cif::kCIAttributeSliderMax,   cif::kCIAttributeDescription};

    if (parsed.has(QStringLiteral("json"))) {
        QJsonArray inputs;
        for (const QString& key : inputKeys) {
            const QVariantMap a = attrs.value(key).toMap();
            QJsonObject input{{QStringLiteral("key"), key}};
            for (const QString& field : fields)
                if (a.contains(field)) input.insert(field, toJson(a.value(field)));
            // Fields this host does not know still travel.
            for (auto it = a.constBegin(); it != a.constEnd(); ++it)
                if (!input.contains(it.key())) input.insert(it.key(), toJson(it.value()));
            inputs.append(input);
        }
        QJsonObject other;
        for (auto it = attrs.constBegin(); it != attrs.constEnd(); ++it)
            if (!inputKeys.contains(it.key())) other.insert(it.key(), toJson(it.value()));
        printOut(jsonText(
            QJsonObject{{QStringLiteral("schema_version"), kSchemaVersion},
                        {QStringLiteral("name"), name},
                        {QStringLiteral("displayName"), displayNameOf(attrs, name)},
                        {QStringLiteral("categories"), QJsonArray::fromStringList(categories)},
                        {QStringLiteral("attributes"), other},
                        {QStringLiteral("inputs"), inputs}}));
        return kExitSuccess;
    }

    auto range = [](const QVariantMap& a, const QString& lo, const QString& hi) {
        if (!a.contains(lo) && !a.contains(hi)) return QString();
        return toText(a.value(lo)) + QStringLiteral("..") + toText(a.value(hi));
    };
    QString out = QStringLiteral("%1 (%2)\n").arg(name, displayNameOf(attrs, name));
    out += QCoreApplication::translate("cifx", "Categories: %1\n")
               .arg(categories.join(QStringLiteral(", ")));
    out += u'\n';
    QList<QStringList> rows;
    rows << QStringList{QCoreApplication::translate("cifx", "Input"),
                        QCoreApplication::translate("cifx", "Class"),
                        QCoreApplication::translate("cifx", "Type"),
                        QCoreApplication::translate("cifx", "Default"),
                        QCoreApplication::translate("cifx", "Range"),
                        QCoreApplication::translate("cifx", "Slider"),
                        QCoreApplication::translate("cifx", "Display name")};
    for (const QString& key : inputKeys) {
        const QVariantMap a = attrs.value(key).toMap();
        QString type = a.value(cif::kCIAttributeType).toString();
        type.remove(QStringLiteral("CIAttributeType"));
        rows << QStringList{key,
                            a.value(cif::kCIAttributeClass).toString(),
                            type,
                            toText(a.value(cif::kCIAttributeDefault)),
                            range(a, cif::kCIAttributeMin, cif::kCIAttributeMax),
                            range(a, cif::kCIAttributeSliderMin, cif::kCIAttributeSliderMax),
                            a.value(cif::kCIAttributeDisplayName).toString()};
    }
    printOut(out + formatTable(rows));
    return kExitSuccess;
}

// ---------------------------------------------------------------- render

int runRender(const QStringList& args) {
    static constexpr OptionDef optionDefs[] = {kHelpOption,
                                               kVerboseOption,
                                               {"set", 0, true, true},
                                               {"rect", 0, true, false},
                                               {"progress", 0, false, false},
                                               {"threads", 0, true, false},
                                               {"tile", 0, true, false},
                                               {"no-color-management", 0, false, false}};
    ParsedArguments parsed;
    int exitCode = kExitSuccess;
    if (!parseCommandArguments(args, optionDefs, parsed, exitCode)) return exitCode;
    const QStringList& pos = parsed.positionals;
    if (pos.size() < 2 || pos.size() > 3)
        return fail(kExitUsage,
                    QCoreApplication::translate("cifx",
                                                "'render' takes a filter name, an optional "
                                                "input picture and an output file"));
    const QString name = pos[0];
    const QString inputPath = pos.size() == 3 ? pos[1] : QString();
    const QString outputPath = pos.last();

    std::unique_ptr<cif::CIFilter> filter = cif::CIFilter::filterWithName(name);
    if (!filter) return fail(kExitUsage, unknownFilterMessage(name));
    const QStringList inputKeys = filter->inputKeys();
    const QVariantMap attrs = filter->attributes();

    // Every usage mistake is found before any file is read or written.
    QString error;
    cif::CIContext::Options options;
    if (parsed.has(QStringLiteral("threads")) &&
        !parseInteger(parsed.value(QStringLiteral("threads")), 0, kMaxThreads, options.threads,
                      &error))
        return fail(kExitUsage, QStringLiteral("--threads: ") + error);
    if (parsed.has(QStringLiteral("tile")) &&
        !parseInteger(parsed.value(QStringLiteral("tile")), kMinTileSize, kMaxTileSize,
                      options.tileSize, &error))
        return fail(kExitUsage, QStringLiteral("--tile: ") + error);
    if (parsed.has(QStringLiteral("no-color-management")))
        options.workingSpace = cif::engine::WorkingSpace::None;
    QRectF rect;
    const bool hasRect = parsed.has(QStringLiteral("rect"));
    if (hasRect && !parseRect(parsed.value(QStringLiteral("rect")), rect, &error))
        return fail(kExitUsage, QStringLiteral("--rect: ") + error);
    const bool takesImage = inputKeys.contains(cif::kCIInputImageKey);
    if (!inputPath.isEmpty() && !takesImage)
        return fail(kExitUsage,
                    QCoreApplication::translate("cifx", "%1 takes no input picture").arg(name));

    QList<Setting> settings;
    for (const QString& assignment : parsed.all(QStringLiteral("set"))) {
        Setting s;
        QString text;
        if (!splitAssignment(assignment, s.key, text, &error))
            return fail(kExitUsage, QStringLiteral("--set: ") + error);
        if (!inputKeys.contains(s.key))
            return fail(kExitUsage, QCoreApplication::translate(
                                        "cifx", "%1 has no input '%2'; its inputs are: %3")
                                        .arg(name, s.key, inputKeys.join(QStringLiteral(", "))));
        const QVariantMap a = attrs.value(s.key).toMap();
        if (a.value(cif::kCIAttributeClass).toString() == cif::kCIClassImage) {
            if (text.trimmed().isEmpty())
                return fail(kExitUsage,
                            QCoreApplication::translate("cifx", "--set %1: give a picture file")
                                .arg(s.key));
            s.imagePath = text;
        } else {
            QString notice;
            if (!parseInputValue(a, text, s.value, &error, &notice))
                return fail(kExitUsage, QStringLiteral("--set %1: ").arg(s.key) + error);
            if (!notice.isEmpty())
                printErr(QStringLiteral("cifx: --set %1: %2\n").arg(assignment, notice));
        }
        settings << s;
    }
    const bool imageGiven = !inputPath.isEmpty() ||
                            std::any_of(settings.cbegin(), settings.cend(), [](const Setting& s) {
                                return s.key == cif::kCIInputImageKey;
                            });
    if (takesImage && !imageGiven)
        return fail(kExitUsage, QCoreApplication::translate(
                                    "cifx", "%1 needs an input picture: cifx render %1 IN OUT")
                                    .arg(name));

    // Pictures are read next (exit 3), then the output is checked (exit 4).
    auto loadPicture = [&](const QString& path, cif::CIImage& out) {
        QString loadError;
        const cif::HostImage picture = cif::HostImage::load(path, &loadError);
        if (!picture.isNull()) out = cif::CIImage::imageWithHostImage(picture);
        if (out.isNull()) {
            fail(kExitInputUnreadable,
                 loadError.isEmpty()
                     ? QCoreApplication::translate("cifx", "cannot read picture '%1'").arg(path)
                     : loadError);
            return false;
        }
        return true;
    };
    cif::CIImage inputImage;
    if (!inputPath.isEmpty()) {
        if (!loadPicture(inputPath, inputImage)) return kExitInputUnreadable;
        filter->setValueForKey(QVariant::fromValue(inputImage), cif::kCIInputImageKey);
    }
    for (Setting& s : settings) {
        if (!s.imagePath.isEmpty()) {
            cif::CIImage picture;
            if (!loadPicture(s.imagePath, picture)) return kExitInputUnreadable;
            if (s.key == cif::kCIInputImageKey) inputImage = picture;
            s.value = QVariant::fromValue(picture);
        }
        takeLastWarning();
        filter->setValueForKey(s.value, s.key);
        // The filter logs and keeps its old value when it refuses one.
        if (!filter->valueForKey(s.key).isValid() || !takeLastWarning().isEmpty())
            return fail(kExitUsage,
                        QCoreApplication::translate("cifx", "--set %1: the value is not accepted")
                            .arg(s.key));
    }
    if (!checkOutputPath(outputPath, &error)) return fail(kExitOutputNotWritable, error);

    takeLastWarning();
    const cif::CIImage output = filter->outputImage();
    if (output.isNull()) {
        const QString why = takeLastWarning();
        return fail(
            kExitProcessingFailed,
            why.isEmpty()
                ? QCoreApplication::translate("cifx", "%1 produced no image").arg(name)
                : QCoreApplication::translate("cifx", "%1 produced no image: %2").arg(name, why));
    }
    if (!hasRect) {
        rect = output.extent();
        if (isUnbounded(rect)) {
            if (inputImage.isNull() || isUnbounded(inputImage.extent()))
                return fail(kExitUsage, QCoreApplication::translate(
                                            "cifx",
                                            "the output of %1 is infinite; give the rectangle to "
                                            "render with --rect x,y,width,height")
                                            .arg(name));
            rect = inputImage.extent();
        }
        if (rect.isEmpty())
            return fail(kExitProcessingFailed,
                        QCoreApplication::translate("cifx", "the output of %1 is empty").arg(name));
    }

    cif::CIContext context(options);
    QImage pixels;
    {
        const bool showProgress =
            parsed.has(QStringLiteral("progress")) || ::isatty(STDERR_FILENO) == 1;
        const RenderMonitor monitor(context, name, showProgress);
        if (!interrupted()) pixels = context.createQImage(output, rect);
    }
    if (interrupted() || context.wasCancelled())
        return fail(kExitCancelled,
                    QCoreApplication::translate("cifx", "cancelled; nothing was written"));
    if (pixels.isNull()) return fail(kExitProcessingFailed, context.lastError());
    if (!cif::HostImage::fromQImage(pixels).savePNG(outputPath, &error))
        return fail(kExitOutputNotWritable, error);
    // Encoding a large PNG takes seconds and cannot be stopped half-way; a
    // Ctrl-C during it still means "no output".
    if (interrupted()) {
        QFile::remove(outputPath);
        return fail(kExitCancelled,
                    QCoreApplication::translate("cifx", "cancelled; nothing was written"));
    }
    return kExitSuccess;
}

}  // namespace cifx
