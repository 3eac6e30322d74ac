// Absurd numbers in every input: every registered filter and every catalog
// entry, given NaN, infinities and numbers far beyond any range, must answer
// a picture or nothing, without crashing, hanging or allocating without bound.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <QColor>
#include <QImage>
#include <algorithm>
#include <cmath>
#include <limits>

#include "core/CIFBundle.h"
#include "core/CIFMain.h"
#include "generators/GLIFClassRegistry.h"
#include "platform/CIPlatform.h"
#include "platform/image/CIAttributes.h"
#include "platform/image/CIContext.h"

namespace cif {
namespace {

constexpr double kHostile[] = {std::numeric_limits<double>::quiet_NaN(),
                               std::numeric_limits<double>::infinity(),
                               -std::numeric_limits<double>::infinity(), 1e30, -1e30};

QImage noise(int w, int h) {
    QImage image(w, h, QImage::Format_RGBA8888);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            image.setPixelColor(x, y, QColor(x * 13 % 256, y * 29 % 256, (x * y) % 256, 255));
    return image;
}

bool isNumeric(const QString& cls) {
    return cls == kCIClassNumber || cls == kCIClassVector || cls == kCIClassColor ||
           cls == kCIClassTransform;
}

// The hostile value in the input's class: every component at once, or only
// the first (a NaN x beside a sensible y takes other paths than a NaN point).
QVariant hostileValue(const QString& cls, const QVariant& def, double v, bool firstOnly) {
    if (cls == kCIClassNumber) return v;
    if (cls == kCIClassColor) return QVariant::fromValue(CIColor(v, firstOnly ? 0.5 : v, 0.5, 1));
    if (cls == kCIClassTransform)
        return firstOnly ? QTransform(v, 0, 0, 1, 0, 0) : QTransform(v, v, v, v, v, v);
    std::vector<double> values = def.value<CIVector>().values();
    if (values.empty()) values = {0, 0};
    for (size_t i = 0; i < values.size(); ++i)
        if (!firstOnly || i == 0) values[i] = v;
    return QVariant::fromValue(CIVector(std::move(values)));
}

class HostileNumbers : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        initializePlatform();
        registerGeneratorClasses();
        CIFBundle::setPath(QStringLiteral(CIF_BINARY_DIR "/CIFEffects.plugin"));
#if !defined(__SANITIZE_ADDRESS__)
        // A filter that sizes an allocation from an absurd number fails here
        // instead of taking the machine's memory (sanitizers reserve far more
        // address space, so they go without the cap).
        const rlim_t cap = rlim_t(6) << 30;
        rlimit limit{cap, cap};
        setrlimit(RLIMIT_AS, &limit);
#endif
    }
};

TEST_F(HostileNumbers, EveryFilterInputTakesAbsurdNumbersCleanly) {
    CIFMain main;  // registers the plug-in's own filters too
    const CIImage picture = CIImage::imageWithQImage(noise(24, 16));
    CIContext context;
    context.setTileSize(16);
    int swept = 0;
    for (const QString& name : CIFilter::filterNamesInCategory({})) {
        const auto probe = CIFilter::filterWithName(name);
        ASSERT_TRUE(probe) << name.toStdString();
        const QVariantMap attributes = probe->attributes();
        for (const QString& key : probe->inputKeys()) {
            const QVariantMap a = attributes.value(key).toMap();
            const QString cls = a.value(kCIAttributeClass).toString();
            if (!isNumeric(cls)) continue;
            for (const double v : kHostile)
                for (const bool firstOnly : {false, true}) {
                    if (firstOnly && cls == kCIClassNumber) continue;
                    const auto filter = CIFilter::filterWithName(name);
                    for (const QString& other : filter->inputKeys())
                        if (attributes.value(other).toMap().value(kCIAttributeClass) ==
                            kCIClassImage)
                            filter->setValueForKey(QVariant::fromValue(picture), other);
                    filter->setValueForKey(
                        hostileValue(cls, a.value(kCIAttributeDefault), v, firstOnly), key);
                    const CIImage out = filter->outputImage();
                    SCOPED_TRACE(QStringLiteral("%1.%2 = %3").arg(name, key).arg(v).toStdString());
                    if (!out.isNull()) {
                        // A result is clean when every sample is a number a
                        // picture can hold.
                        CIFloatBitmap pixels;
                        if (context.renderToFloat(out, QRectF(-4, -4, 32, 24), pixels)) {
                            EXPECT_TRUE(std::all_of(pixels.pixels.begin(), pixels.pixels.end(),
                                                    [](float p) { return std::isfinite(p); }));
                        }
                    }
                    ++swept;
                }
        }
    }
    EXPECT_GT(swept, 500);
}

TEST_F(HostileNumbers, EveryCatalogEntryTakesAbsurdParameters) {
    const HostImage picture = HostImage::fromQImage(noise(24, 16));
    for (const unsigned set : {0u, 1u}) {
        CIFMain main;
        main.CIFSetEffectsSet(set);
        const QVariantMap storage = main.CIFImageStorage();
        QStringList identifiers;
        for (const QVariant& c : main.CIFAllFilterDescriptors())
            for (const QVariant& e : c.toMap().value("CIFFilterList").toList()) {
                const QVariantMap d = e.toMap();
                for (const QVariant& m :
                     d.contains("DESC_LIST") ? d.value("DESC_LIST").toList() : QVariantList{e})
                    identifiers << m.toMap().value("CIFFilterIdentifier").toString();
            }
        ASSERT_FALSE(identifiers.isEmpty());
        for (const QString& id : identifiers) {
            const bool generator = id.startsWith(QLatin1String("GLIF_"));
            if (!generator && !CIFilter::isRegistered(id)) continue;
            const QVariantMap attributes = main.CIFQueryAttributesForFilter(id);
            for (auto it = attributes.cbegin(); it != attributes.cend(); ++it) {
                const QVariantMap a = it.value().toMap();
                const QString cls = a.value(kCIAttributeClass).toString();
                const QVariant def = generator ? a.value("GLIFDefValue") : QVariant();
                const bool number = generator ? def.typeId() == QMetaType::Int ||
                                                    def.typeId() == QMetaType::Double ||
                                                    def.typeId() == QMetaType::Float
                                              : cls == kCIClassNumber || cls == kCIClassVector;
                if (!number) continue;
                for (const double v : kHostile) {
                    SCOPED_TRACE(
                        QStringLiteral("%1: %2 = %3").arg(id, it.key()).arg(v).toStdString());
                    QVariantMap parameters;
                    if (generator) {
                        parameters.insert(it.key(), v);
                        main.seedRandom(7);
                        const HostImage out =
                            main.CIFGenerateLayerAttributesSize(id, parameters, QSizeF(40, 30));
                        if (!out.isNull()) {
                            EXPECT_EQ(out.pixelsWide(), 40);
                        }
                        continue;
                    }
                    main.addDefaultParametersToDictionaryWithFilterName(parameters, id);
                    for (auto s = storage.cbegin(); s != storage.cend(); ++s)
                        if (attributes.contains(s.key())) parameters.insert(s.key(), s.value());
                    if (cls == kCIClassVector) {
                        // As the editor's controls write them: by component.
                        parameters.insert("CIFVectors",
                                          QVariantMap{{it.key(), QVariantMap{{"0", v}, {"1", v}}}});
                    } else {
                        parameters.insert(it.key(), v);
                    }
                    const HostImage out =
                        main.CIFApplyFilterAttributesForImage(id, parameters, picture);
                    if (!out.isNull()) {
                        EXPECT_EQ(out.pixelsWide(), 24);
                    }
                }
            }
        }
    }
}

}  // namespace
}  // namespace cif
