#include "hosts/cli/ApplyCommand.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QPainter>
#include <cmath>

#include "cif/CIFPlugInLoader.h"
#include "hosts/cli/CatalogCommand.h"
#include "hosts/cli/CommandLine.h"
#include "hosts/cli/Commands.h"
#include "hosts/cli/Output.h"
#include "platform/image/CIAttributes.h"
#include "platform/image/CIColor.h"
#include "platform/image/CIVector.h"

namespace cifx {

namespace {

QString tr(const char* text) {
    return QCoreApplication::translate("cifx", text);
}

// Converts --set values into the editor's own kinds of values, which the
// plug-in turns into filter inputs as it does for its editor: numbers,
// QColor, QTransform, pictures, and vector components under "CIFVectors".
bool addSetting(const QVariantMap& attributes, const QString& assignment, QVariantMap& parameters,
                QString* error) {
    QString key, text;
    if (!splitAssignment(assignment, key, text, error)) return false;
    if (!attributes.contains(key)) {
        *error = tr("the effect has no input '%1'").arg(key);
        return false;
    }
    const QVariantMap attribute = attributes.value(key).toMap();
    const QString cls = attribute.value(cif::kCIAttributeClass).toString();
    if (cls == QLatin1String("CIImage")) {
        QString why;
        const cif::HostImage picture = cif::HostImage::load(text, &why);
        if (picture.isNull()) {
            *error = why;
            return false;
        }
        parameters.insert(key, QVariant::fromValue(picture));
        return true;
    }
    QVariant value;
    QString notice;
    if (!parseInputValue(attribute, text, value, error, &notice)) return false;
    if (!notice.isEmpty()) printErr(QStringLiteral("cifx: --set %1: %2\n").arg(assignment, notice));
    if (value.canConvert<cif::CIVector>() && cls == QLatin1String("CIVector")) {
        const cif::CIVector v = value.value<cif::CIVector>();
        QVariantMap components;
        for (size_t i = 0; i < v.count(); ++i)
            components.insert(QString::number(i), v.valueAtIndex(i));
        QVariantMap vectors = parameters.value(QStringLiteral("CIFVectors")).toMap();
        vectors.insert(key, components);
        parameters.insert(QStringLiteral("CIFVectors"), vectors);
        parameters.remove(key);
        return true;
    }
    if (cls == QLatin1String("CIColor")) {
        const cif::CIColor c = value.value<cif::CIColor>();
        parameters.insert(key, QColor::fromRgbF(float(c.red()), float(c.green()), float(c.blue()),
                                                float(c.alpha())));
        return true;
    }
    parameters.insert(key, value);
    return true;
}

bool parseBackground(const QString& text, QColor& out, QString* error) {
    const QStringList parts = QString(text).replace(u',', u' ').split(u' ', Qt::SkipEmptyParts);
    bool ok = parts.size() == 3;
    double rgb[3] = {};
    for (int i = 0; ok && i < 3; ++i) {
        rgb[i] = parts[i].toDouble(&ok);
        ok = ok && std::isfinite(rgb[i]) && rgb[i] >= 0 && rgb[i] <= 1;
    }
    if (!ok) {
        *error = tr("--background needs three numbers from 0 to 1, as r,g,b");
        return false;
    }
    out = QColor::fromRgbF(float(rgb[0]), float(rgb[1]), float(rgb[2]));
    return true;
}

// The picture with `selection` (origin bottom-left, in the picture's
// pixels) taken from the result: a host applying an effect to a selection.
cif::HostImage replaceSelection(const cif::HostImage& picture, const cif::HostImage& result,
                                const QRectF& selection) {
    QImage base = picture.rasterize(QSize(result.pixelsWide(), result.pixelsHigh()));
    const QImage effect = result.bitmap();
    if (base.isNull() || effect.isNull()) return {};
    const double sx = result.pixelsWide() / picture.size().width();
    const double sy = result.pixelsHigh() / picture.size().height();
    const QRectF rect(selection.x() * sx, (picture.size().height() - selection.bottom()) * sy,
                      selection.width() * sx, selection.height() * sy);
    QPainter painter(&base);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.drawImage(rect, effect, rect);
    painter.end();
    return cif::HostImage::fromQImage(base, picture.size());
}

}  // namespace

int runApply(const QStringList& args) {
    static constexpr OptionDef optionDefs[] = {kHelpOption,
                                               kVerboseOption,
                                               {"set", 0, true, true},
                                               {"selection", 0, true, false},
                                               {"background", 0, true, false},
                                               {"bundle", 0, true, false}};
    ParsedArguments parsed;
    int exitCode = kExitSuccess;
    if (!parseCommandArguments(args, optionDefs, parsed, exitCode)) return exitCode;
    if (parsed.positionals.size() != 3)
        return fail(kExitUsage, tr("apply needs an identifier, an input picture and an output "
                                   "file: cifx apply ID IN OUT"));
    const QString identifier = parsed.positionals[0];
    const QString inPath = parsed.positionals[1];
    const QString outPath = parsed.positionals[2];

    QString error;
    QRectF selection;
    if (parsed.has(QStringLiteral("selection")) &&
        !parseRect(parsed.value(QStringLiteral("selection")), selection, &error))
        return fail(kExitUsage, QStringLiteral("--selection: ") + error);
    QColor background;
    if (parsed.has(QStringLiteral("background")) &&
        !parseBackground(parsed.value(QStringLiteral("background")), background, &error))
        return fail(kExitUsage, error);

    const cif::CIFLoadedPlugIn plugin = loadPlugIn(parsed.value(QStringLiteral("bundle")), &error);
    if (!plugin) return fail(kExitInputUnreadable, error);
    const std::unique_ptr<cif::CIFPlugIn> main = plugin.factory()->createMain();
    if (identifier.startsWith(QLatin1String("GLIF_")))
        return fail(kExitUsage, tr("'%1' is a generator; use 'cifx generate'").arg(identifier));
    const QVariantMap attributes = main->CIFQueryAttributesForFilter(identifier);
    if (attributes.isEmpty())
        return fail(kExitUsage,
                    tr("unknown effect '%1'; 'cifx list' shows the catalog").arg(identifier));

    QVariantMap parameters;
    main->addDefaultParametersToDictionaryWithFilterName(parameters, identifier);
    for (const QString& assignment : parsed.all(QStringLiteral("set")))
        if (!addSetting(attributes, assignment, parameters, &error))
            return fail(kExitUsage, QStringLiteral("--set %1: ").arg(assignment) + error);

    const cif::HostImage picture = cif::HostImage::load(inPath, &error);
    if (picture.isNull()) return fail(kExitInputUnreadable, error);
    if (background.isValid()) main->CIFSetBackgroundColor(background);

    cif::HostImage result = main->CIFApplyFilterAttributesForImage(identifier, parameters, picture);
    if (result.isNull())
        return fail(kExitProcessingFailed, tr("'%1' gave no picture%2").arg(identifier, [] {
            const QString w = takeLastWarning();
            return w.isEmpty() ? QString() : QStringLiteral(": ") + w;
        }()));
    if (!selection.isNull()) {
        result = replaceSelection(picture, result, selection);
        if (result.isNull()) return fail(kExitProcessingFailed, tr("cannot apply the selection"));
    }
    if (!result.savePNG(outPath, &error)) return fail(kExitOutputNotWritable, error);
    printOut(tr("%1: %2 x %3 written to %4\n")
                 .arg(identifier)
                 .arg(result.pixelsWide())
                 .arg(result.pixelsHigh())
                 .arg(outPath));
    return kExitSuccess;
}

}  // namespace cifx
