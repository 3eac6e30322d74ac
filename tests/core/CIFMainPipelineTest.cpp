// Applying effects to pictures: the finished picture, the preview, the
// instance cache and the generating-filter composite.

#include <gtest/gtest.h>

#include <QPainter>

#include "core/CIFBundle.h"
#include "core/CIFMain.h"
#include "platform/CIPlatform.h"
#include "platform/image/CIAttributes.h"
#include "platform/image/CIContext.h"

namespace cif {
namespace {

HostImage solid(int w, int h, QColor color) {
    QImage image(w, h, QImage::Format_RGBA8888);
    image.fill(color);
    return HostImage::fromQImage(image);
}

QColor pixelOf(const HostImage& picture, int x, int y) {
    return picture.bitmap().convertToFormat(QImage::Format_RGBA8888).pixelColor(x, y);
}

// A filter that takes a picture and never makes an output.
class NoOutput final : public CIFilter {
public:
    CIImage outputImage() const override { return {}; }
};

class PipelineTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        initializePlatform();
        CIFBundle::setPath(QStringLiteral(CIF_BINARY_DIR "/CIFEffects.plugin"));
        CIFilter::registerFilterNameConstructorClassAttributes(
            "CITestNoOutput", [](const QString&) { return std::make_unique<NoOutput>(); },
            {{kCIAttributeFilterDisplayName, "No Output"},
             {"inputImage", QVariantMap{{kCIAttributeClass, "CIImage"}}}},
            {"inputImage"});
    }
};

TEST_F(PipelineTest, AppliesAtTheWorkingSizeAndKeepsTheInstanceWhileParametersChange) {
    CIFMain main;
    const HostImage red = solid(6, 4, QColor(255, 0, 0));
    const QVariant swapRG = QVariant::fromValue(CIVector{0, 1, 0, 0});
    HostImage out =
        main.CIFApplyFilterAttributesForImage("CIColorMatrix", {{"inputRVector", swapRG}}, red);
    ASSERT_FALSE(out.isNull());
    EXPECT_EQ(out.pixelsWide(), 6);
    EXPECT_EQ(out.pixelsHigh(), 4);
    EXPECT_EQ(pixelOf(out, 2, 2), QColor(0, 0, 0));  // red now reads green, which is 0
    // Same picture, same filter: the configured instance is reused, so the
    // red row set before still applies.
    out = main.CIFApplyFilterAttributesForImage("CIColorMatrix", {}, red);
    EXPECT_EQ(pixelOf(out, 2, 2), QColor(0, 0, 0));
    // Another picture makes a new instance with its defaults.
    out =
        main.CIFApplyFilterAttributesForImage("CIColorMatrix", {}, solid(6, 4, QColor(255, 0, 0)));
    EXPECT_EQ(pixelOf(out, 2, 2), QColor(255, 0, 0));

    EXPECT_TRUE(main.CIFApplyFilterAttributesForImage("CINoSuchFilter", {}, red).isNull());
    EXPECT_TRUE(main.CIFOutputImageForFilterAttributesForImage("CINoSuchFilter", {}, red).isNull());
}

TEST_F(PipelineTest, VectorPicturesWorkAtFourTimesTheirSize) {
    CIFMain main;
    const HostImage drawing = HostImage::recordDrawing(
        QSizeF(100, 50), [](QPainter& p) { p.fillRect(QRectF(0, 0, 100, 50), Qt::blue); });
    const HostImage out = main.CIFApplyFilterAttributesForImage("CIColorInvert", {}, drawing);
    EXPECT_EQ(out.pixelsWide(), 400);
    EXPECT_EQ(out.pixelsHigh(), 200);
    EXPECT_EQ(pixelOf(out, 200, 100), QColor(255, 255, 0));
}

TEST_F(PipelineTest, GeneratingFiltersAreAddedOntoThePicture) {
    CIFMain main;
    const HostImage red = solid(5, 3, QColor(255, 0, 0));
    const QVariantMap blue{{"inputColor", QColor(0, 0, 255)}};
    const HostImage out =
        main.CIFApplyFilterAttributesForImage("CIConstantColorGenerator", blue, red);
    ASSERT_FALSE(out.isNull());
    EXPECT_EQ(out.pixelsWide(), 5);
    EXPECT_EQ(pixelOf(out, 1, 1), QColor(255, 0, 255));
    CIContext context;
    const CIImage preview =
        main.CIFOutputImageForFilterAttributesForImage("CIConstantColorGenerator", blue, red);
    EXPECT_EQ(preview.extent(), QRectF(0, 0, 5, 3));
}

TEST_F(PipelineTest, FitToPictureFiltersAreCentredByAspect) {
    CIFMain main;
    // Half as wide about the centre: extent (100, 0, 200, 200) of a 400 x 200
    // picture, drawn into the centred square (100, 0, 200, 200).
    const HostImage picture = solid(400, 200, QColor(0, 255, 0));
    const HostImage out = main.CIFApplyFilterAttributesForImage(
        "CIFAffineTransform2Filter",
        {{"inputAngle", 0.0}, {"inputSqueeze", 0.5}, {"inputSkew", 0.0}}, picture);
    ASSERT_FALSE(out.isNull());
    EXPECT_EQ(pixelOf(out, 50, 100).alpha(), 0);
    EXPECT_EQ(pixelOf(out, 200, 100), QColor(0, 255, 0));
    EXPECT_EQ(pixelOf(out, 350, 100).alpha(), 0);
}

TEST_F(PipelineTest, PreviewWithoutOutputIsTheBackdrop) {
    CIFMain main;
    const HostImage picture = solid(4, 4, QColor(255, 0, 0));
    CIContext context;
    const auto colourAt = [&](const CIImage& image) {
        const QImage pixels = context.createQImage(image, QRectF(0, 0, 4, 4));
        return pixels.convertToFormat(QImage::Format_RGBA8888).pixelColor(1, 1);
    };
    EXPECT_EQ(
        colourAt(main.CIFOutputImageForFilterAttributesForImage("CITestNoOutput", {}, picture)),
        QColor(255, 255, 255));
    main.CIFSetBackgroundColor(QColor(0, 0, 255, 10));
    EXPECT_EQ(
        colourAt(main.CIFOutputImageForFilterAttributesForImage("CITestNoOutput", {}, picture)),
        QColor(0, 0, 255));
    // A real effect comes composited over the backdrop.
    EXPECT_EQ(
        colourAt(main.CIFOutputImageForFilterAttributesForImage("CIColorInvert", {}, picture)),
        QColor(0, 255, 255));
    EXPECT_EQ(main.constantColorImage().isInfinite(), true);
}

// Users judge an effect by its preview: wherever the applied result is
// opaque, the preview must show the same pixels, for every catalog effect.
TEST_F(PipelineTest, PreviewAndResultAgreeForEveryCatalogEffect) {
    QImage pixels(48, 32, QImage::Format_RGBA8888);
    for (int y = 0; y < 32; ++y)
        for (int x = 0; x < 48; ++x)
            pixels.setPixelColor(x, y, QColor(x * 5, y * 7, (x * y) % 256));
    const HostImage picture = HostImage::fromQImage(pixels);
    CIFMain main;
    const QVariantMap storage = main.CIFImageStorage();
    CIContext context;
    int compared = 0;
    for (const QVariant& c : main.CIFAllFilterDescriptors())
        for (const QVariant& e : c.toMap().value("CIFFilterList").toList()) {
            const QVariantMap d = e.toMap();
            const QVariantList members =
                d.contains("DESC_LIST") ? d.value("DESC_LIST").toList() : QVariantList{e};
            for (const QVariant& m : members) {
                const QString id = m.toMap().value("CIFFilterIdentifier").toString();
                if (!CIFilter::isRegistered(id)) continue;
                QVariantMap parameters;
                main.addDefaultParametersToDictionaryWithFilterName(parameters, id);
                const QVariantMap attributes = main.CIFQueryAttributesForFilter(id);
                for (auto it = storage.cbegin(); it != storage.cend(); ++it)
                    if (attributes.contains(it.key())) parameters.insert(it.key(), it.value());
                const HostImage applied =
                    main.CIFApplyFilterAttributesForImage(id, parameters, picture);
                const CIImage preview =
                    main.CIFOutputImageForFilterAttributesForImage(id, parameters, picture);
                ASSERT_FALSE(applied.isNull()) << id.toStdString();
                ASSERT_FALSE(preview.isNull()) << id.toStdString();
                const QImage a = applied.bitmap().convertToFormat(QImage::Format_RGBA8888);
                const QImage p = context.createQImage(preview, QRectF(0, 0, 48, 32))
                                     .convertToFormat(QImage::Format_RGBA8888);
                ASSERT_EQ(a.size(), p.size()) << id.toStdString();
                int worst = 0;
                QString where;
                for (int y = 0; y < 32; ++y)
                    for (int x = 0; x < 48; ++x) {
                        const QColor ca = a.pixelColor(x, y);
                        if (ca.alpha() != 255) continue;
                        const QColor cp = p.pixelColor(x, y);
                        const int diff = std::max({std::abs(ca.red() - cp.red()),
                                                   std::abs(ca.green() - cp.green()),
                                                   std::abs(ca.blue() - cp.blue())});
                        if (diff > worst)
                            where = QStringLiteral("(%1, %2): %3 against %4")
                                        .arg(x)
                                        .arg(y)
                                        .arg(ca.name(), cp.name(QColor::HexArgb));
                        worst = std::max(worst, diff);
                    }
                EXPECT_LE(worst, 1) << id.toStdString() << " at " << where.toStdString();
                ++compared;
            }
        }
    EXPECT_GE(compared, 15);
}

}  // namespace
}  // namespace cif
