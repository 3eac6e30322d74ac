#include "hosts/cli/GenerateCommand.h"

#include <QColor>
#include <QCoreApplication>
#include <QFileInfo>
#include <QMarginsF>
#include <QPageLayout>
#include <QPageSize>
#include <QPainter>
#include <QPdfWriter>
#include <QPicture>
#include <QRegularExpression>
#include <QSaveFile>
#include <QSvgGenerator>
#include <cmath>

#include "hosts/cli/CatalogCommand.h"
#include "hosts/cli/CommandLine.h"
#include "hosts/cli/Commands.h"
#include "hosts/cli/Output.h"

namespace cifx {

namespace {

QString tr(const char* text) {
    return QCoreApplication::translate("cifx", text);
}

// The largest picture side a generator is asked for here.
constexpr int kMaxSide = 30000;

bool parseSize(const QString& text, int& width, int& height, QString* error) {
    static const QRegularExpression pattern(QStringLiteral("^(\\d{1,6})[xX](\\d{1,6})$"));
    const QRegularExpressionMatch m = pattern.match(text);
    if (m.hasMatch()) {
        width = m.captured(1).toInt();
        height = m.captured(2).toInt();
        if (width >= 1 && height >= 1 && width <= kMaxSide && height <= kMaxSide) return true;
    }
    *error = tr("the size must be WIDTHxHEIGHT, each from 1 to %1").arg(kMaxSide);
    return false;
}

// A --set value read by the kind of the parameter's published default:
// whole numbers, check boxes, continuous numbers or a colour.
bool parseParameter(const QVariantMap& description, const QString& text, QVariant& out,
                    QString* error, QString* notice) {
    const QVariant def = description.value(QStringLiteral("GLIFDefValue"));
    if (def.typeId() == QMetaType::QColor) {
        const QStringList parts = QString(text).replace(u',', u' ').split(u' ', Qt::SkipEmptyParts);
        QColor colour;
        if (parts.size() >= 3 && parts.size() <= 4) {
            double c[4] = {0, 0, 0, 1};
            bool ok = true;
            for (qsizetype i = 0; ok && i < parts.size(); ++i) {
                c[i] = parts[i].toDouble(&ok);
                ok = ok && c[i] >= 0 && c[i] <= 1;
            }
            if (ok) colour = QColor::fromRgbF(float(c[0]), float(c[1]), float(c[2]), float(c[3]));
        } else if (QColor::isValidColorName(text)) {
            colour = QColor::fromString(text);
        }
        if (!colour.isValid()) {
            *error = tr("'%1' is not a colour (\"r g b [a]\" from 0 to 1, or a name)").arg(text);
            return false;
        }
        out = colour;
        return true;
    }
    if (def.typeId() == QMetaType::Bool) {
        const QString t = text.toLower();
        if (t == QLatin1String("1") || t == QLatin1String("true") || t == QLatin1String("yes") ||
            t == QLatin1String("on"))
            out = true;
        else if (t == QLatin1String("0") || t == QLatin1String("false") ||
                 t == QLatin1String("no") || t == QLatin1String("off"))
            out = false;
        else {
            *error = tr("'%1' is not a yes/no value").arg(text);
            return false;
        }
        return true;
    }
    bool ok = false;
    const double v = text.toDouble(&ok);
    if (!ok || !std::isfinite(v)) {
        *error = tr("'%1' is not a number").arg(text);
        return false;
    }
    // Keep values inside the published range, as the editor's controls do.
    const double clamped =
        clampTypedNumber(v, description.value(QStringLiteral("GLIFMinValue")),
                         description.value(QStringLiteral("GLIFMaxValue")), notice);
    if (def.typeId() == QMetaType::Int) {
        if (clamped != std::floor(clamped)) {
            *error = tr("'%1' must be a whole number").arg(text);
            return false;
        }
        out = int(clamped);
    } else {
        out = clamped;
    }
    return true;
}

// The key under which brush generators take their brush; it is not a published parameter.
const QString kBrushKey = QStringLiteral("GLIFBrush");

// A brush by its name in the resource library, or else a picture file.
bool findBrush(const cif::CIFPlugIn& main, const QString& text, cif::HostImage& out,
               QString* error) {
    out = main.CIFBrushWithName(text);
    if (!out.isNull()) return true;
    if (QFileInfo::exists(text)) {
        out = cif::HostImage::load(text, error);
        return !out.isNull();
    }
    *error = tr("'%1' is neither a brush of the library nor a picture file").arg(text);
    return false;
}

enum class Format { Png, Pdf, Svg };

Format formatOf(const QString& path) {
    const QString suffix = QFileInfo(path).suffix().toLower();
    if (suffix == QLatin1String("pdf")) return Format::Pdf;
    if (suffix == QLatin1String("svg")) return Format::Svg;
    return Format::Png;
}

// Replays a vector picture into a PDF or SVG document of its size in points, written
// atomically to path. A PDF picture's own document is written as it is.
bool writeVector(const cif::HostImage& picture, Format format, const QString& path,
                 QString* error) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        *error = tr("cannot write %1: %2").arg(path, file.errorString());
        return false;
    }
    const QSizeF points = picture.size();
    // A recorded drawing replays scaled by its recording device's resolution over the
    // target's, so the documents take the recording resolution and are drawn in its units.
    const int dpi = QPicture().logicalDpiX();
    const QRectF whole(QPointF(0, 0), points * (dpi / 72.0));
    bool drawn = false;
    if (format == Format::Pdf && !picture.pdfData().isEmpty()) {
        drawn = file.write(picture.pdfData()) == picture.pdfData().size();
    } else if (format == Format::Pdf) {
        QPdfWriter writer(&file);
        writer.setCreator(QStringLiteral("CIF Effects"));
        writer.setResolution(dpi);
        writer.setPageLayout(
            QPageLayout(QPageSize(points, QPageSize::Point, QString(), QPageSize::ExactMatch),
                        QPageLayout::Portrait, QMarginsF()));
        QPainter painter;
        if (painter.begin(&writer)) {
            picture.drawInRect(painter, whole);
            drawn = painter.end();
        }
    } else {
        QSvgGenerator svg;
        svg.setOutputDevice(&file);
        svg.setSize(whole.size().toSize());
        svg.setViewBox(whole);
        svg.setResolution(dpi);
        svg.setTitle(QStringLiteral("CIF Effects"));
        QPainter painter;
        if (painter.begin(&svg)) {
            picture.drawInRect(painter, whole);
            drawn = painter.end();
        }
    }
    if (!drawn || !file.commit()) {
        *error = tr("cannot write %1").arg(path);
        return false;
    }
    return true;
}

}  // namespace

int runGenerate(const QStringList& args) {
    static constexpr OptionDef optionDefs[] = {kHelpOption,
                                               kVerboseOption,
                                               {"seed", 0, true, false},
                                               {"set", 0, true, true},
                                               {"bundle", 0, true, false}};
    ParsedArguments parsed;
    int exitCode = kExitSuccess;
    if (!parseCommandArguments(args, optionDefs, parsed, exitCode)) return exitCode;
    if (parsed.positionals.size() != 3)
        return fail(kExitUsage, tr("generate needs a generator, a size and an output file: "
                                   "cifx generate ID WIDTHxHEIGHT OUT"));
    const QString identifier = parsed.positionals[0];
    QString error;
    int width = 0, height = 0;
    if (!parseSize(parsed.positionals[1], width, height, &error)) return fail(kExitUsage, error);
    int seed = 0;
    if (parsed.has(QStringLiteral("seed")) &&
        !parseInteger(parsed.value(QStringLiteral("seed")), 0, 2147483647, seed, &error))
        return fail(kExitUsage, QStringLiteral("--seed: ") + error);

    const cif::CIFLoadedPlugIn plugin = loadPlugIn(parsed.value(QStringLiteral("bundle")), &error);
    if (!plugin) return fail(kExitInputUnreadable, error);
    const std::unique_ptr<cif::CIFPlugIn> main = plugin.factory()->createMain();
    main->CIFSetEffectsSet(1);
    if (!identifier.startsWith(QLatin1String("GLIF_")) ||
        !main->CIFDescriptorForFilterName(identifier))
        return fail(
            kExitUsage,
            tr("unknown generator '%1'; 'cifx list --generators' shows them").arg(identifier));
    takeLastWarning();
    const QVariantMap descriptions = main->CIFQueryAttributesForFilter(identifier);
    if (descriptions.isEmpty())
        return fail(kExitProcessingFailed,
                    tr("the generator '%1' is not available in this build").arg(identifier));

    // The editor starts a generator from its published defaults.
    QVariantMap parameters;
    for (auto it = descriptions.cbegin(); it != descriptions.cend(); ++it) {
        const QVariant def = it.value().toMap().value(QStringLiteral("GLIFDefValue"));
        if (def.isValid()) parameters.insert(it.key(), def);
    }
    for (const QString& assignment : parsed.all(QStringLiteral("set"))) {
        QString key, text;
        QVariant value;
        if (!splitAssignment(assignment, key, text, &error))
            return fail(kExitUsage, QStringLiteral("--set: ") + error);
        if (key == kBrushKey) {
            cif::HostImage brush;
            if (!findBrush(*main, text, brush, &error))
                return fail(kExitUsage, QStringLiteral("--set %1: ").arg(assignment) + error);
            parameters.insert(key, QVariant::fromValue(brush));
            continue;
        }
        if (!descriptions.contains(key))
            return fail(kExitUsage,
                        tr("--set %1: the generator has no parameter '%2'").arg(assignment, key));
        QString notice;
        if (!parseParameter(descriptions.value(key).toMap(), text, value, &error, &notice))
            return fail(kExitUsage, QStringLiteral("--set %1: ").arg(assignment) + error);
        if (!notice.isEmpty())
            printErr(QStringLiteral("cifx: --set %1: %2\n").arg(assignment, notice));
        parameters.insert(key, value);
    }

    // Brush generators stamp the library's first brush unless told otherwise.
    if (identifier == QLatin1String("GLIF_Dabs") && !parameters.contains(kBrushKey)) {
        const QStringList brushes = main->CIFBrushNames();
        if (!brushes.isEmpty())
            parameters.insert(kBrushKey, QVariant::fromValue(main->CIFBrushWithName(brushes[0])));
    }

    main->seedRandom(unsigned(seed));
    const cif::HostImage picture =
        main->CIFGenerateLayerAttributesSize(identifier, parameters, QSizeF(width, height));
    if (picture.isNull()) {
        const QString why = takeLastWarning();
        return fail(kExitProcessingFailed,
                    tr("'%1' gave no picture").arg(identifier) +
                        (why.isEmpty() ? QString() : QStringLiteral(": ") + why));
    }
    const QString& out = parsed.positionals[2];
    const Format format = formatOf(out);
    if (format == Format::Png) {
        if (!picture.savePNG(out, &error)) return fail(kExitOutputNotWritable, error);
    } else if (!picture.isVector()) {
        return fail(kExitUsage, tr("'%1' paints a bitmap; write it as a PNG file, not %2")
                                    .arg(identifier, QFileInfo(out).suffix().toUpper()));
    } else if (!writeVector(picture, format, out, &error)) {
        return fail(kExitOutputNotWritable, error);
    }
    printOut(tr("%1: %2 x %3, seed %4, written to %5\n")
                 .arg(identifier)
                 .arg(width)
                 .arg(height)
                 .arg(seed)
                 .arg(parsed.positionals[2]));
    return kExitSuccess;
}

}  // namespace cifx
