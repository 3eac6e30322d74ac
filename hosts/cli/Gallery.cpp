#include "hosts/cli/Gallery.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QFont>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>
#include <QSaveFile>
#include <QTransform>
#include <QUrl>
#include <cmath>
#include <functional>
#include <memory>
#include <vector>

#include "hosts/cli/CatalogCommand.h"
#include "hosts/cli/Commands.h"
#include "hosts/cli/Output.h"
#include "hosts/cli/Progress.h"
#include "platform/host/HostImage.h"
#include "platform/image/CIAttributes.h"
#include "platform/image/CIContext.h"
#include "platform/image/CIFilter.h"

namespace cifx {

namespace {

// The pictures every gallery entry draws from, as engine images.
struct Samples {
    cif::CIImage picture;   // the sample picture
    cif::CIImage backdrop;  // for image inputs other than inputImage
    QRectF rect;            // the sample's extent, for infinite outputs
};

// A transform about the sample's centre (engine coordinates).
QTransform aboutCentre(const QRectF& rect, const QTransform& t) {
    const QPointF c = rect.center();
    return QTransform::fromTranslate(-c.x(), -c.y()) * t * QTransform::fromTranslate(c.x(), c.y());
}

QRectF centredRect(const QRectF& rect, double fraction) {
    const double w = std::round(rect.width() * fraction), h = std::round(rect.height() * fraction);
    return {std::round(rect.center().x() - w / 2), std::round(rect.center().y() - h / 2), w, h};
}

QVariant vector(std::initializer_list<double> values) {
    return QVariant::fromValue(cif::CIVector(values));
}

// A reduction of the whole sample picture (its count input set where it has one).
cif::CIImage reduced(const char* name, const Samples& s, int count) {
    const std::unique_ptr<cif::CIFilter> f = cif::CIFilter::filterWithName(QLatin1String(name));
    if (!f) return {};
    f->setValueForKey(QVariant::fromValue(s.picture), cif::kCIInputImageKey);
    f->setValueForKey(vector({s.rect.x(), s.rect.y(), s.rect.width(), s.rect.height()}),
                      QStringLiteral("inputExtent"));
    if (f->inputKeys().contains(QStringLiteral("inputCount")))
        f->setValueForKey(count, QStringLiteral("inputCount"));
    return f->outputImage();
}

// The sample picture's eight most common colours, as a palette row.
cif::CIImage kMeansPalette(const Samples& s) {
    return reduced("CIKMeans", s, 8);
}

// Settings worth seeing beside the defaults. Entries for filters that are not
// registered are skipped, so the list may run ahead of the engine.
struct Variant {
    const char* filter;
    const char* id;       // file name suffix
    const char* caption;  // translated when shown
    std::function<void(cif::CIFilter&, const Samples&)> apply;
};

const std::vector<Variant>& variants() {
    static const std::vector<Variant> list = {
        {"CIAffineTransform", "rotate30",
         QT_TRANSLATE_NOOP("cifx", "rotated 30\u00b0 about the centre"),
         [](cif::CIFilter& f, const Samples& s) {
             f.setValueForKey(aboutCentre(s.rect, QTransform().rotate(30)),
                              QStringLiteral("inputTransform"));
         }},
        {"CICrop", "centre", QT_TRANSLATE_NOOP("cifx", "centred half-size rectangle"),
         [](cif::CIFilter& f, const Samples& s) {
             const QRectF r = centredRect(s.rect, 0.5);
             f.setValueForKey(vector({r.x(), r.y(), r.width(), r.height()}),
                              QStringLiteral("inputRectangle"));
         }},
        {"CIAffineClamp", "scaled-crop", QT_TRANSLATE_NOOP("cifx", "centred crop, scaled to half"),
         [](cif::CIFilter& f, const Samples& s) {
             f.setValueForKey(
                 QVariant::fromValue(s.picture.imageByCroppingToRect(centredRect(s.rect, 0.4))),
                 cif::kCIInputImageKey);
             f.setValueForKey(aboutCentre(s.rect, QTransform::fromScale(0.5, 0.5)),
                              QStringLiteral("inputTransform"));
         }},
        {"CIAffineTile", "scaled-crop", QT_TRANSLATE_NOOP("cifx", "centred crop, scaled to half"),
         [](cif::CIFilter& f, const Samples& s) {
             f.setValueForKey(
                 QVariant::fromValue(s.picture.imageByCroppingToRect(centredRect(s.rect, 0.4))),
                 cif::kCIInputImageKey);
             f.setValueForKey(aboutCentre(s.rect, QTransform::fromScale(0.5, 0.5)),
                              QStringLiteral("inputTransform"));
         }},
        {"CIColorMatrix", "swap",
         QT_TRANSLATE_NOOP("cifx",
                           "channels rotated: red from blue, green from red, blue from green"),
         [](cif::CIFilter& f, const Samples&) {
             f.setValueForKey(vector({0, 0, 1, 0}), QStringLiteral("inputRVector"));
             f.setValueForKey(vector({1, 0, 0, 0}), QStringLiteral("inputGVector"));
             f.setValueForKey(vector({0, 1, 0, 0}), QStringLiteral("inputBVector"));
         }},
        {"CIConvolution3X3", "emboss", QT_TRANSLATE_NOOP("cifx", "an emboss kernel, bias 0.5"),
         [](cif::CIFilter& f, const Samples&) {
             f.setValueForKey(vector({2, 0, 0, 0, -1, 0, 0, 0, -1}),
                              QStringLiteral("inputWeights"));
             f.setValueForKey(0.5, QStringLiteral("inputBias"));
         }},
        {"CIConvolutionRGB5X5", "sharpen", QT_TRANSLATE_NOOP("cifx", "a 5 x 5 sharpening kernel"),
         [](cif::CIFilter& f, const Samples&) {
             std::vector<double> w(25, -0.05);
             w[12] = 2.2;
             f.setValueForKey(QVariant::fromValue(cif::CIVector(w)),
                              QStringLiteral("inputWeights"));
         }},
        {"CIMorphologyMaximum", "radius4", QT_TRANSLATE_NOOP("cifx", "radius 4"),
         [](cif::CIFilter& f, const Samples&) {
             f.setValueForKey(4, QStringLiteral("inputRadius"));
         }},
        {"CIMorphologyMinimum", "radius4", QT_TRANSLATE_NOOP("cifx", "radius 4"),
         [](cif::CIFilter& f, const Samples&) {
             f.setValueForKey(4, QStringLiteral("inputRadius"));
         }},
        {"CIToneCurve", "s-curve", QT_TRANSLATE_NOOP("cifx", "an S-shaped curve"),
         [](cif::CIFilter& f, const Samples&) {
             f.setValueForKey(vector({0.25, 0.12}), QStringLiteral("inputPoint1"));
             f.setValueForKey(vector({0.75, 0.88}), QStringLiteral("inputPoint3"));
         }},
        {"CITemperatureAndTint", "warmer",
         QT_TRANSLATE_NOOP("cifx", "shot under 9000 K light, shown at 6500 K"),
         [](cif::CIFilter& f, const Samples&) {
             f.setValueForKey(vector({9000, 0}), QStringLiteral("inputNeutral"));
         }},
        {"CIVibrance", "full", QT_TRANSLATE_NOOP("cifx", "amount 1"),
         [](cif::CIFilter& f, const Samples&) {
             f.setValueForKey(1, QStringLiteral("inputAmount"));
         }},
        {"CIHighlightShadowAdjust", "lifted",
         QT_TRANSLATE_NOOP("cifx", "shadows lifted, highlights held back, radius 5"),
         [](cif::CIFilter& f, const Samples&) {
             f.setValueForKey(1, QStringLiteral("inputShadowAmount"));
             f.setValueForKey(0.4, QStringLiteral("inputHighlightAmount"));
             f.setValueForKey(5, QStringLiteral("inputRadius"));
         }},
        {"CIMix", "half", QT_TRANSLATE_NOOP("cifx", "half of each picture"),
         [](cif::CIFilter& f, const Samples&) {
             f.setValueForKey(0.5, QStringLiteral("inputAmount"));
         }},
        {"CIPalettize", "k-means", QT_TRANSLATE_NOOP("cifx", "the picture's eight k-means colours"),
         [](cif::CIFilter& f, const Samples& s) {
             f.setValueForKey(QVariant::fromValue(kMeansPalette(s)),
                              QStringLiteral("inputPaletteImage"));
         }},
        {"CIPaletteCentroid", "k-means",
         QT_TRANSLATE_NOOP("cifx", "the picture's eight k-means colours"),
         [](cif::CIFilter& f, const Samples& s) {
             f.setValueForKey(QVariant::fromValue(kMeansPalette(s)),
                              QStringLiteral("inputPaletteImage"));
         }},
        {"CIHistogramDisplayFilter", "picture",
         QT_TRANSLATE_NOOP("cifx", "the sample picture's 256-bin histogram"),
         [](cif::CIFilter& f, const Samples& s) {
             f.setValueForKey(QVariant::fromValue(reduced("CIAreaHistogram", s, 256)),
                              cif::kCIInputImageKey);
         }},
        {"CIKMeans", "picture", QT_TRANSLATE_NOOP("cifx", "over the whole sample picture"),
         [](cif::CIFilter& f, const Samples& s) {
             f.setValueForKey(vector({s.rect.x(), s.rect.y(), s.rect.width(), s.rect.height()}),
                              QStringLiteral("inputExtent"));
         }},
        {"CISourceOverCompositing", "shifted",
         QT_TRANSLATE_NOOP("cifx", "a shifted copy over the picture"),
         [](cif::CIFilter& f, const Samples& s) {
             f.setValueForKey(QVariant::fromValue(s.picture.imageByApplyingTransform(
                                  QTransform::fromTranslate(60, -40))),
                              cif::kCIInputImageKey);
             f.setValueForKey(QVariant::fromValue(s.picture),
                              QStringLiteral("inputBackgroundImage"));
         }},
        {"CIConstantColorGenerator", "translucent", QT_TRANSLATE_NOOP("cifx", "translucent blue"),
         [](cif::CIFilter& f, const Samples&) {
             f.setValueForKey(QVariant::fromValue(cif::CIColor(0.2, 0.4, 0.9, 0.5)),
                              QStringLiteral("inputColor"));
         }},
        {"CIVignette", "strong", QT_TRANSLATE_NOOP("cifx", "intensity 0.8"),
         [](cif::CIFilter& f, const Samples&) {
             f.setValueForKey(0.8, QStringLiteral("inputIntensity"));
         }},
        {"CIStraightenFilter", "turned", QT_TRANSLATE_NOOP("cifx", "turned by 0.3 radians"),
         [](cif::CIFilter& f, const Samples&) {
             f.setValueForKey(0.3, QStringLiteral("inputAngle"));
         }},
        {"CIPerspectiveRotate", "pitch-yaw", QT_TRANSLATE_NOOP("cifx", "pitch 0.3, yaw 0.2"),
         [](cif::CIFilter& f, const Samples&) {
             f.setValueForKey(0.3, QStringLiteral("inputPitch"));
             f.setValueForKey(0.2, QStringLiteral("inputYaw"));
         }},
        {"CIKeystoneCorrectionVertical", "trapezoid",
         QT_TRANSLATE_NOOP("cifx", "sides converging towards the top"),
         [](cif::CIFilter& f, const Samples& s) {
             const QRectF r = s.rect;
             const double in = r.width() / 8;
             f.setValueForKey(vector({r.left(), r.top()}), QStringLiteral("inputBottomLeft"));
             f.setValueForKey(vector({r.right(), r.top()}), QStringLiteral("inputBottomRight"));
             f.setValueForKey(vector({r.right() - in, r.bottom()}),
                              QStringLiteral("inputTopRight"));
             f.setValueForKey(vector({r.left() + in, r.bottom()}), QStringLiteral("inputTopLeft"));
         }},
        {"CIAccordionFoldTransition", "midway", QT_TRANSLATE_NOOP("cifx", "time 0.3, four folds"),
         [](cif::CIFilter& f, const Samples&) {
             f.setValueForKey(0.3, QStringLiteral("inputTime"));
             f.setValueForKey(4.0, QStringLiteral("inputNumberOfFolds"));
             f.setValueForKey(0.4, QStringLiteral("inputFoldShadowAmount"));
         }},
        {"CIPageCurlWithShadowTransition", "midway", QT_TRANSLATE_NOOP("cifx", "time 0.4"),
         [](cif::CIFilter& f, const Samples&) {
             f.setValueForKey(0.4, QStringLiteral("inputTime"));
             f.setValueForKey(0.5, QStringLiteral("inputAngle"));
         }},
    };
    return list;
}

// One cell of the page.
struct Cell {
    QString name;
    QString displayName;
    QString caption;
    QString file;   // PNG file name in OUTDIR, empty on failure
    QString error;  // why it failed
    QSize size;
};

// Image inputs: inputImage gets the sample, any other image input without a
// default gets the backdrop, so composites and transitions have two pictures.
void applyDefaults(cif::CIFilter& filter, const Samples& samples) {
    const QVariantMap attrs = filter.attributes();
    for (const QString& key : filter.inputKeys()) {
        const QVariantMap a = attrs.value(key).toMap();
        if (a.value(cif::kCIAttributeClass).toString() != cif::kCIClassImage ||
            filter.valueForKey(key).isValid())
            continue;
        filter.setValueForKey(
            QVariant::fromValue(key == cif::kCIInputImageKey ? samples.picture : samples.backdrop),
            key);
    }
}

bool isBounded(const QRectF& r) {
    constexpr double kLimit = 1e15;
    return std::isfinite(r.x()) && std::isfinite(r.y()) && std::isfinite(r.width()) &&
           std::isfinite(r.height()) && r.left() > -kLimit && r.top() > -kLimit &&
           r.right() < kLimit && r.bottom() < kLimit;
}

// Renders one entry into OUTDIR; failures become the cell's message. Answers
// false only when cancelled.
bool renderCell(cif::CIContext& context, const QDir& dir, const QString& name,
                const Variant* variant, const Samples& samples, Cell& cell) {
    cell.name = name;
    const QVariantMap classAttrs = cif::CIFilter::classAttributesForName(name);
    cell.displayName = classAttrs.value(cif::kCIAttributeFilterDisplayName).toString();
    cell.caption = variant ? QCoreApplication::translate("cifx", variant->caption)
                           : QCoreApplication::translate("cifx", "defaults");
    const std::unique_ptr<cif::CIFilter> filter = cif::CIFilter::filterWithName(name);
    if (!filter) {
        cell.error = QCoreApplication::translate("cifx", "the filter could not be made");
        return true;
    }
    applyDefaults(*filter, samples);
    if (variant) variant->apply(*filter, samples);
    takeLastWarning();
    const cif::CIImage output = filter->outputImage();
    if (output.isNull()) {
        const QString why = takeLastWarning();
        cell.error = QCoreApplication::translate("cifx", "no image was produced") +
                     (why.isEmpty() ? QString() : QStringLiteral(": ") + why);
        return true;
    }
    // Infinite outputs are shown over the sample's rectangle; very large
    // finite ones only around it, so one filter cannot take the memory of
    // a whole page.
    const QRectF extent = output.extent();
    const QRectF window = samples.rect.adjusted(-samples.rect.width(), -samples.rect.height(),
                                                samples.rect.width(), samples.rect.height());
    QRectF rect = isBounded(extent) ? extent : samples.rect;
    if (!window.contains(rect)) {
        rect = rect.intersected(window);
        cell.caption += QCoreApplication::translate("cifx", " (the part around the sample)");
    }
    if (rect.isEmpty()) {
        cell.error = QCoreApplication::translate("cifx", "the output is empty");
        return true;
    }
    const QImage pixels = context.createQImage(output, rect);
    if (interrupted() || context.wasCancelled()) return false;
    if (pixels.isNull()) {
        cell.error = context.lastError();
        return true;
    }
    const QString file =
        name + (variant ? u'-' + QLatin1String(variant->id) : QString()) + QStringLiteral(".png");
    QString error;
    if (!cif::HostImage::fromQImage(pixels).savePNG(dir.filePath(file), &error)) {
        cell.error = error;
        return true;
    }
    cell.file = file;
    cell.size = pixels.size();
    return true;
}

QString htmlCell(const Cell& cell) {
    const QString name = cell.name.toHtmlEscaped();
    QString html = QStringLiteral("<figure class=\"%1\" id=\"%2\">\n")
                       .arg(cell.error.isEmpty() ? "ok" : "failed", name);
    if (cell.error.isEmpty()) {
        const QString src = QString::fromUtf8(QUrl::toPercentEncoding(cell.file)).toHtmlEscaped();
        html += QStringLiteral(
                    "<div class=\"pic\"><a href=\"%1\"><img src=\"%1\" alt=\"%2\" "
                    "loading=\"lazy\"></a></div>\n")
                    .arg(src, name);
    } else {
        html +=
            QStringLiteral("<div class=\"pic error\">%1</div>\n").arg(cell.error.toHtmlEscaped());
    }
    html += QStringLiteral("<figcaption><code>%1</code><br>%2<br><small>%3")
                .arg(name, cell.displayName.toHtmlEscaped(), cell.caption.toHtmlEscaped());
    if (cell.size.isValid())
        html +=
            QStringLiteral(" \u00b7 %1 \u00d7 %2").arg(cell.size.width()).arg(cell.size.height());
    html += QStringLiteral("</small></figcaption>\n</figure>\n");
    return html;
}

QString htmlPage(const QList<Cell>& cells, int failures) {
    QString html =
        QStringLiteral(
            "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta "
            "charset=\"utf-8\">\n<title>%1</title>\n<style>\n"
            "body{font-family:sans-serif;margin:2em;background:#f3f3f3;color:#222}\n"
            ".grid{display:grid;grid-template-columns:repeat(auto-fill,minmax(280px,1fr));gap:16px}"
            "\n"
            "figure{margin:0;background:#fff;border-radius:6px;padding:10px;box-shadow:0 1px 3px "
            "rgba(0,0,0,.2)}\n"
            ".pic{height:200px;display:flex;align-items:center;justify-content:center;"
            "background:repeating-conic-gradient(#ddd 0 25%,#fff 0 50%) 0 0/16px 16px}\n"
            ".pic img{max-width:100%;max-height:200px}\n"
            ".pic.error{background:#fde8e8;color:#a00;padding:8px;overflow:auto}\n"
            "figcaption{margin-top:6px;font-size:14px}\n"
            "</style>\n</head>\n<body>\n<h1>%1</h1>\n<p>%2</p>\n<div class=\"grid\">\n")
            .arg(QCoreApplication::translate("cifx", "CIF Effects filter gallery").toHtmlEscaped(),
                 QCoreApplication::translate("cifx", "%1 pictures, %2 failed; made by cifx %3.")
                     .arg(cells.size())
                     .arg(failures)
                     .arg(QCoreApplication::applicationVersion())
                     .toHtmlEscaped());
    for (const Cell& cell : cells)
        html += htmlCell(cell);
    html += QStringLiteral("</div>\n</body>\n</html>\n");
    return html;
}

// Saves a plug-in's picture as the cell's file, or records why there is
// none, and adds the cell.
void finishCell(const QDir& dir, const QString& file, const cif::HostImage& picture, Cell& cell,
                QList<Cell>& cells, int& failures) {
    QString error;
    if (picture.isNull()) {
        const QString why = takeLastWarning();
        cell.error = QCoreApplication::translate("cifx", "no image was produced") +
                     (why.isEmpty() ? QString() : QStringLiteral(": ") + why);
    } else if (!picture.savePNG(dir.filePath(file), &error)) {
        cell.error = error;
    } else {
        cell.file = file;
        cell.size = QSize(picture.pixelsWide(), picture.pixelsHigh());
    }
    if (!cell.error.isEmpty()) ++failures;
    cells << cell;
}

// Every entry of the plug-in's effect catalog (group members included),
// applied to the sample through the plug-in as its editor applies it: the
// entry's default parameters and the first picture of each library for
// secondary picture inputs. Nothing when the bundle cannot be loaded.
void addCatalogCells(const QDir& dir, const QImage& sample, QList<Cell>& cells, int& failures) {
    QString error;
    const cif::CIFLoadedPlugIn plugin = loadPlugIn(QString(), &error);
    if (!plugin) {
        printErr(QCoreApplication::translate("cifx", "catalog entries left out: %1\n").arg(error));
        return;
    }
    const std::unique_ptr<cif::CIFPlugIn> main = plugin.factory()->createMain();
    const cif::HostImage picture = cif::HostImage::fromQImage(sample);
    const QVariantMap storage = main->CIFImageStorage();
    for (const QVariant& c : main->CIFAllFilterDescriptors()) {
        const QVariantMap category = c.toMap();
        QVariantList entries;
        for (const QVariant& e : category.value(QStringLiteral("CIFFilterList")).toList()) {
            const QVariantMap d = e.toMap();
            if (d.contains(QStringLiteral("DESC_LIST")))
                entries += d.value(QStringLiteral("DESC_LIST")).toList();
            else
                entries << e;
        }
        for (const QVariant& e : entries) {
            const QVariantMap d = e.toMap();
            const QString id = d.value(QStringLiteral("CIFFilterIdentifier")).toString();
            const QVariantMap attributes = main->CIFQueryAttributesForFilter(id);
            if (attributes.isEmpty()) continue;  // not a filter this build runs
            QVariantMap parameters;
            main->addDefaultParametersToDictionaryWithFilterName(parameters, id);
            for (auto it = storage.cbegin(); it != storage.cend(); ++it)
                if (attributes.contains(it.key()) && !parameters.contains(it.key()))
                    parameters.insert(it.key(), it.value());
            Cell cell;
            cell.name = id;
            cell.displayName =
                main->localizedString(d.value(QStringLiteral("CIFFilterName")).toString());
            cell.caption = QCoreApplication::translate("cifx", "catalog: %1")
                               .arg(main->localizedString(
                                   category.value(QStringLiteral("CIFCategoryName")).toString()));
            takeLastWarning();
            const cif::HostImage out =
                main->CIFApplyFilterAttributesForImage(id, parameters, picture);
            finishCell(dir, QStringLiteral("catalog-%1.png").arg(id), out, cell, cells, failures);
        }
    }

    // The generators this build has, at the sample's size with their
    // published defaults and two seeds. Brush generators stamp the library's first brush.
    main->CIFSetEffectsSet(1);
    const QStringList brushes = main->CIFBrushNames();
    const QVariant brush =
        brushes.isEmpty() ? QVariant() : QVariant::fromValue(main->CIFBrushWithName(brushes[0]));
    for (const QVariant& c : main->CIFAllFilterDescriptors())
        for (const QVariant& e : c.toMap().value(QStringLiteral("CIFFilterList")).toList()) {
            const QVariantMap d = e.toMap();
            const QString id = d.value(QStringLiteral("CIFFilterIdentifier")).toString();
            takeLastWarning();
            const QVariantMap descriptions = main->CIFQueryAttributesForFilter(id);
            takeLastWarning();
            if (descriptions.isEmpty()) continue;  // not in this build
            QVariantMap parameters;
            for (auto it = descriptions.cbegin(); it != descriptions.cend(); ++it)
                parameters.insert(it.key(),
                                  it.value().toMap().value(QStringLiteral("GLIFDefValue")));
            if (id == QLatin1String("GLIF_Dabs") && !brush.isNull())
                parameters.insert(QStringLiteral("GLIFBrush"), brush);
            // Two seeds show what the random numbers change.
            for (const int seed : {1, 2}) {
                main->seedRandom(unsigned(seed));
                // The seed rides along as the editor's does, so generators that keep their
                // field recompute it for the second seed instead of re-colouring the first.
                parameters.insert(QStringLiteral("GLIFRandomSeed"), seed);
                const cif::HostImage out =
                    main->CIFGenerateLayerAttributesSize(id, parameters, QSizeF(sample.size()));
                Cell cell;
                cell.name = id;
                cell.displayName = d.value(QStringLiteral("CIFFilterName")).toString();
                cell.caption = QCoreApplication::translate("cifx", "generator, seed %1").arg(seed);
                finishCell(dir, QStringLiteral("generator-%1-seed%2.png").arg(id).arg(seed), out,
                           cell, cells, failures);
            }
        }
}

}  // namespace

QImage makeSamplePicture() {
    QImage image(kGalleryWidth, kGalleryHeight, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    const QRectF r(0, 0, kGalleryWidth, kGalleryHeight);

    // A rounded card with a sky-to-sunset gradient; the corners stay clear.
    QLinearGradient sky(r.topLeft(), r.bottomRight());
    sky.setColorAt(0.0, QColor(30, 60, 160));
    sky.setColorAt(0.55, QColor(220, 90, 120));
    sky.setColorAt(1.0, QColor(250, 200, 80));
    p.setPen(Qt::NoPen);
    p.setBrush(sky);
    p.drawRoundedRect(r.adjusted(8, 8, -8, -8), 36, 36);

    // A glowing sun fading to transparent.
    QRadialGradient sun(QPointF(340, 100), 90);
    sun.setColorAt(0.0, QColor(255, 250, 200, 255));
    sun.setColorAt(0.5, QColor(255, 200, 60, 200));
    sun.setColorAt(1.0, QColor(255, 160, 0, 0));
    p.setBrush(sun);
    p.drawEllipse(QPointF(340, 100), 90, 90);

    // Hills, a star and a half-transparent green disc.
    QPainterPath hills(QPointF(8, 250));
    hills.cubicTo(120, 180, 220, 300, 330, 220);
    hills.cubicTo(400, 170, 450, 230, 472, 210);
    hills.lineTo(472, 280);
    hills.quadTo(472, 312, 440, 312);
    hills.lineTo(40, 312);
    hills.quadTo(8, 312, 8, 280);
    hills.closeSubpath();
    p.setBrush(QColor(20, 90, 50));
    p.drawPath(hills);

    QPolygonF star;
    for (int i = 0; i < 10; ++i) {
        const double angle = M_PI / 2 + i * M_PI / 5;
        const double radius = i % 2 == 0 ? 46 : 19;
        star << QPointF(110 + radius * std::cos(angle), 110 - radius * std::sin(angle));
    }
    p.setBrush(QColor(255, 230, 40));
    p.setPen(QPen(QColor(120, 60, 0), 3));
    p.drawPolygon(star);

    p.setPen(Qt::NoPen);
    p.setBrush(QColor(60, 220, 120, 130));
    p.drawEllipse(QPointF(230, 200), 70, 50);

    // Colour bars with stepped transparency along the bottom.
    for (int i = 0; i < 6; ++i)
        p.fillRect(QRectF(300 + i * 26, 262, 24, 34),
                   QColor::fromHsv(i * 60, 230, 255, 255 - i * 40));

    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(40);
    font.setBold(true);
    QPainterPath text;
    text.addText(QPointF(40, 215), font, QStringLiteral("CIF Effects"));
    p.setPen(QPen(QColor(0, 0, 0, 160), 4));
    p.setBrush(Qt::NoBrush);
    p.drawPath(text);
    p.setPen(Qt::NoPen);
    p.setBrush(Qt::white);
    p.drawPath(text);
    p.end();
    return image;
}

QImage makeBackdropPicture() {
    QImage image(kGalleryWidth, kGalleryHeight, QImage::Format_ARGB32_Premultiplied);
    QPainter p(&image);
    constexpr int kSquare = 40;
    for (int y = 0; y < kGalleryHeight; y += kSquare)
        for (int x = 0; x < kGalleryWidth; x += kSquare)
            p.fillRect(x, y, kSquare, kSquare,
                       ((x + y) / kSquare) % 2 == 0 ? QColor(235, 235, 225) : QColor(70, 80, 100));
    QLinearGradient tint(0, 0, kGalleryWidth, 0);
    tint.setColorAt(0, QColor(255, 0, 80, 90));
    tint.setColorAt(1, QColor(0, 160, 255, 90));
    p.fillRect(image.rect(), tint);
    p.end();
    return image;
}

int runGallery(const QStringList& args) {
    static constexpr OptionDef optionDefs[] = {kHelpOption, kVerboseOption};
    ParsedArguments parsed;
    int exitCode = kExitSuccess;
    if (!parseCommandArguments(args, optionDefs, parsed, exitCode)) return exitCode;
    if (parsed.positionals.size() != 1)
        return fail(kExitUsage,
                    QCoreApplication::translate("cifx", "'gallery' takes one output folder"));
    const QString outDir = parsed.positionals.first();
    if (!QDir().mkpath(outDir) || !QFileInfo(outDir).isWritable())
        return fail(
            kExitOutputNotWritable,
            QCoreApplication::translate("cifx", "cannot write into folder '%1'").arg(outDir));
    const QDir dir(QFileInfo(outDir).absoluteFilePath());

    const QImage sample = makeSamplePicture();
    const QImage backdrop = makeBackdropPicture();
    QList<Cell> cells;
    QString error;
    for (const auto& [file, picture, caption] :
         {std::tuple{QStringLiteral("sample.png"), sample,
                     QT_TRANSLATE_NOOP("cifx", "the sample picture")},
          std::tuple{QStringLiteral("backdrop.png"), backdrop,
                     QT_TRANSLATE_NOOP("cifx", "the second picture, for second image inputs")}}) {
        if (!cif::HostImage::fromQImage(picture).savePNG(dir.filePath(file), &error))
            return fail(kExitOutputNotWritable, error);
        cells << Cell{file, QString(), QCoreApplication::translate("cifx", caption),
                      file, QString(), picture.size()};
    }

    Samples samples;
    samples.picture = cif::CIImage::imageWithQImage(sample);
    samples.backdrop = cif::CIImage::imageWithQImage(backdrop);
    samples.rect = samples.picture.extent();

    // Every registered filter with its defaults, then its chosen variants.
    cif::CIContext context;
    int failures = 0;
    {
        const RenderMonitor monitor(context, QString(), false);
        for (const QString& name : cif::CIFilter::filterNamesInCategory(QString())) {
            std::vector<const Variant*> entries{nullptr};
            for (const Variant& v : variants())
                if (name == QLatin1String(v.filter)) entries.push_back(&v);
            for (const Variant* variant : entries) {
                Cell cell;
                if (interrupted() || !renderCell(context, dir, name, variant, samples, cell))
                    return fail(kExitCancelled, QCoreApplication::translate("cifx", "cancelled"));
                if (!cell.error.isEmpty()) ++failures;
                cells << cell;
            }
        }
    }

    addCatalogCells(dir, sample, cells, failures);

    const QString indexPath = dir.filePath(QStringLiteral("index.html"));
    QSaveFile index(indexPath);
    if (!index.open(QIODevice::WriteOnly) || index.write(htmlPage(cells, failures).toUtf8()) < 0 ||
        !index.commit())
        return fail(kExitOutputNotWritable,
                    QCoreApplication::translate("cifx", "cannot write '%1': %2")
                        .arg(indexPath, index.errorString()));
    printOut(QDir::toNativeSeparators(indexPath) + u'\n');
    return kExitSuccess;
}

}  // namespace cifx
