// Reduction built-ins against sums, extremes and counts computed in the test
// over an area that reaches past the picture (where pixels are transparent),
// k-means on planted colour groups, the histogram's bars, and results that
// do not depend on tiles or threads.

#include <gtest/gtest.h>

#include <QRectF>
#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "platform/CIPlatform.h"
#include "platform/image/CIContext.h"
#include "platform/image/CIFilter.h"
#include "platform/image/CIImage.h"
#include "platform/image/Nodes.h"

namespace {

using namespace cif;
using engine::SourceNode;

class BuiltinReduction : public ::testing::Test {
protected:
    static void SetUpTestSuite() { initializePlatform(); }
};

struct Picture {
    int x0, y0, w, h;
    std::vector<float> px;
    CIImage image() const {
        auto owner = std::make_shared<std::vector<float>>(px);
        return CIImage::imageWithNode(
            std::make_shared<SourceNode>(owner, owner->data(), w, h, size_t(w) * 16,
                                         SourceNode::Format::FloatPremulBottomUp, x0, y0));
    }
    float at(int x, int y, int c) const {
        x -= x0;
        y -= y0;
        if (x < 0 || y < 0 || x >= w || y >= h) return 0.0f;
        return px[(size_t(y) * size_t(w) + size_t(x)) * 4 + size_t(c)];
    }
};

Picture randomPicture(int w, int h, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(0.0f, 1.0f);
    Picture p{2, -1, w, h, {}};
    for (int i = 0; i < w * h; ++i) {
        const float a = 0.2f + 0.8f * u(rng);
        for (int c = 0; c < 3; ++c)
            p.px.push_back(u(rng) * a);
        p.px.push_back(a);
    }
    return p;
}

CIFloatBitmap render(const CIImage& image, const QRectF& rect, int tile = 0, int threads = 0) {
    CIContext::Options options;
    options.workingSpace = engine::WorkingSpace::None;
    CIContext context(options);
    if (tile) context.setTileSize(tile);
    if (threads) context.setThreads(threads);
    CIFloatBitmap out;
    EXPECT_TRUE(context.renderToFloat(image, rect, out));
    return out;
}

CIImage apply(const char* name, const CIImage& input, const QVariantMap& values = {}) {
    auto f = CIFilter::filterWithName(QString::fromLatin1(name));
    if (!f) return {};
    f->setValueForKey(QVariant::fromValue(input), "inputImage");
    for (auto it = values.begin(); it != values.end(); ++it)
        f->setValueForKey(*it, it.key());
    return f->outputImage();
}

QVariant rect(double x, double y, double w, double h) {
    return QVariant::fromValue(CIVector({x, y, w, h}));
}

TEST_F(BuiltinReduction, ReductionsEqualSumsAndExtremesComputedDirectly) {
    const Picture pic = randomPicture(13, 9, 21);
    // The area reaches two columns left of the picture and one row above.
    const int ax = 0, ay = 1, aw = 12, ah = 8;
    const QVariantMap area{{"inputExtent", rect(ax, ay, aw, ah)}};
    double sum[4] = {}, lo[4], hi[4];
    std::vector<double> columns(size_t(aw) * 4), rows(size_t(ah) * 4);
    std::fill_n(lo, 4, 9.0);
    std::fill_n(hi, 4, -9.0);
    float maxAlpha[4] = {0, 0, 0, -1}, minAlpha[4] = {0, 0, 0, 2};
    for (int y = ay; y < ay + ah; ++y)
        for (int x = ax; x < ax + aw; ++x) {
            const float p[4] = {pic.at(x, y, 0), pic.at(x, y, 1), pic.at(x, y, 2), pic.at(x, y, 3)};
            for (int c = 0; c < 4; ++c) {
                sum[c] += p[c];
                lo[c] = std::min(lo[c], double(p[c]));
                hi[c] = std::max(hi[c], double(p[c]));
                columns[size_t(x - ax) * 4 + size_t(c)] += p[c] / double(ah);
                rows[size_t(y - ay) * 4 + size_t(c)] += p[c] / double(aw);
            }
            if (p[3] > maxAlpha[3]) std::copy_n(p, 4, maxAlpha);
            if (p[3] < minAlpha[3]) std::copy_n(p, 4, minAlpha);
        }
    const auto expectPixel = [](const float* got, const double* want, const char* what) {
        for (int c = 0; c < 4; ++c)
            EXPECT_NEAR(got[c], want[c], 1e-5) << what << ", channel " << c;
    };
    const double n = aw * ah;
    const double mean[4] = {sum[0] / n, sum[1] / n, sum[2] / n, sum[3] / n};
    const CIImage in = pic.image();
    CIImage out = apply("CIAreaAverage", in, area);
    EXPECT_EQ(out.extent(), QRectF(0, 0, 1, 1));
    expectPixel(render(out, QRectF(0, 0, 1, 1)).at(0, 0), mean, "average");
    expectPixel(render(apply("CIAreaMinimum", in, area), QRectF(0, 0, 1, 1)).at(0, 0), lo,
                "minimum");
    expectPixel(render(apply("CIAreaMaximum", in, area), QRectF(0, 0, 1, 1)).at(0, 0), hi,
                "maximum");
    const CIFloatBitmap minMax = render(apply("CIAreaMinMax", in, area), QRectF(0, 0, 2, 1));
    expectPixel(minMax.at(0, 0), lo, "min-max: left");
    expectPixel(minMax.at(1, 0), hi, "min-max: right");
    const double red[4] = {lo[0], hi[0], 0, 1};
    expectPixel(render(apply("CIAreaMinMaxRed", in, area), QRectF(0, 0, 1, 1)).at(0, 0), red,
                "min-max red");
    const double maxA[4] = {maxAlpha[0], maxAlpha[1], maxAlpha[2], maxAlpha[3]},
                 minA[4] = {minAlpha[0], minAlpha[1], minAlpha[2], minAlpha[3]};
    expectPixel(render(apply("CIAreaMaximumAlpha", in, area), QRectF(0, 0, 1, 1)).at(0, 0), maxA,
                "maximum alpha");
    expectPixel(render(apply("CIAreaMinimumAlpha", in, area), QRectF(0, 0, 1, 1)).at(0, 0), minA,
                "minimum alpha: the transparent outside");
    out = apply("CIColumnAverage", in, area);
    EXPECT_EQ(out.extent(), QRectF(0, 0, aw, 1));
    const CIFloatBitmap cols = render(out, QRectF(0, 0, aw, 1));
    for (int i = 0; i < aw; ++i)
        expectPixel(cols.at(i, 0), &columns[size_t(i) * 4], "column average");
    out = apply("CIRowAverage", in, area);
    EXPECT_EQ(out.extent(), QRectF(0, 0, 1, ah));
    const CIFloatBitmap rws = render(out, QRectF(0, 0, 1, ah));
    for (int i = 0; i < ah; ++i)
        expectPixel(rws.at(0, i), &rows[size_t(i) * 4], "row average");
    // Histogram: shares of the area's pixels per bin, summing to the scale.
    const int bins = 8;
    std::vector<double> want(size_t(bins) * 4, 0.0);
    for (int y = ay; y < ay + ah; ++y)
        for (int x = ax; x < ax + aw; ++x)
            for (int c = 0; c < 4; ++c) {
                const int b = std::min(int(pic.at(x, y, c) * bins), bins - 1);
                want[size_t(b) * 4 + size_t(c)] += 0.5 / n;
            }
    out = apply("CIAreaHistogram", in,
                {{"inputExtent", rect(ax, ay, aw, ah)}, {"inputCount", bins}, {"inputScale", 0.5}});
    EXPECT_EQ(out.extent(), QRectF(0, 0, bins, 1));
    const CIFloatBitmap hist = render(out, QRectF(0, 0, bins, 1));
    for (int b = 0; b < bins; ++b)
        expectPixel(hist.at(b, 0), &want[size_t(b) * 4], "histogram");
}

TEST_F(BuiltinReduction, KMeansFindsPlantedColoursAndTheirShares) {
    // Three colours: red on half of the area, green on a third, blue on the rest,
    // each with a little noise.
    Picture pic{0, 0, 24, 10, {}};
    std::mt19937 rng(4);
    std::uniform_real_distribution<float> noise(-0.02f, 0.02f);
    for (int y = 0; y < 10; ++y)
        for (int x = 0; x < 24; ++x) {
            const float base[3][3] = {{0.8f, 0.1f, 0.1f}, {0.1f, 0.7f, 0.2f}, {0.1f, 0.2f, 0.9f}};
            const int k = x < 12 ? 0 : x < 20 ? 1 : 2;
            for (int c = 0; c < 3; ++c)
                pic.px.push_back(base[k][c] + noise(rng));
            pic.px.push_back(1.0f);
        }
    for (bool perceptual : {false, true}) {
        const CIImage out = apply("CIKMeans", pic.image(),
                                  {{"inputExtent", rect(0, 0, 24, 10)},
                                   {"inputCount", 3},
                                   {"inputPerceptual", perceptual}});
        EXPECT_EQ(out.extent(), QRectF(0, 0, 3, 1));
        const CIFloatBitmap means = render(out, QRectF(0, 0, 3, 1));
        // Each planted colour is one mean, with its share as alpha.
        const float shares[3] = {0.5f, 1.0f / 3.0f, 1.0f / 6.0f};
        const float colours[3][3] = {{0.8f, 0.1f, 0.1f}, {0.1f, 0.7f, 0.2f}, {0.1f, 0.2f, 0.9f}};
        for (int k = 0; k < 3; ++k) {
            bool found = false;
            for (int m = 0; m < 3; ++m) {
                const float* p = means.at(m, 0);
                if (std::abs(p[3] - shares[k]) > 1e-4) continue;
                found = true;
                for (int c = 0; c < 3; ++c)
                    EXPECT_NEAR(p[c] / p[3], colours[k][c], 0.01) << "colour " << k;
            }
            EXPECT_TRUE(found) << "colour " << k << (perceptual ? ", perceptual" : "");
        }
    }
    // Seeds from a means image are where clustering starts: with no passes
    // they stay as given.
    std::vector<float> seeds = {0.5f, 0.5f, 0.5f, 1, 0.1f, 0.2f, 0.9f, 1};
    Picture seedPic{7, 7, 2, 1, seeds};
    const CIImage seeded = apply("CIKMeans", pic.image(),
                                 {{"inputExtent", rect(0, 0, 24, 10)},
                                  {"inputCount", 2},
                                  {"inputPasses", 0},
                                  {"inputMeans", QVariant::fromValue(seedPic.image())}});
    const CIFloatBitmap s = render(seeded, QRectF(0, 0, 2, 1));
    EXPECT_NEAR(s.at(0, 0)[0] / s.at(0, 0)[3], 0.5f, 1e-6);
    EXPECT_NEAR(s.at(1, 0)[2] / s.at(1, 0)[3], 0.9f, 1e-6);
    EXPECT_NEAR(s.at(1, 0)[3], 1.0f / 6.0f, 1e-6);
}

TEST_F(BuiltinReduction, HistogramDisplayDrawsBarsToScale) {
    // Red bins 0.25 and 0.5, green 0.5 in the first, nothing in blue.
    Picture hist{0, 0, 2, 1, {0.25f, 0.5f, 0, 1, 0.5f, 0, 0, 1}};
    const CIImage out = apply("CIHistogramDisplayFilter", hist.image(),
                              {{"inputHeight", 10}, {"inputHighLimit", 0.6}});
    EXPECT_EQ(out.extent(), QRectF(0, 0, 2, 10));
    const CIFloatBitmap px = render(out, QRectF(0, 0, 2, 10));
    const auto barHeight = [&](int x, int c) {
        int n = 0;
        for (int y = 0; y < 10; ++y)
            n += px.at(x, y)[c] == 1.0f;
        return n;
    };
    EXPECT_EQ(barHeight(0, 0), 5);
    EXPECT_EQ(barHeight(0, 1), 10);
    EXPECT_EQ(barHeight(0, 2), 0);
    // The second column lies beyond the high limit: lightened.
    EXPECT_EQ(barHeight(1, 0), 10);
    EXPECT_EQ(px.at(1, 9)[1], 0.5f);
}

TEST_F(BuiltinReduction, ResultsIgnoreTilingAndBadAreasAreRefused) {
    const Picture pic = randomPicture(70, 50, 8);
    const QVariantMap area{{"inputExtent", rect(-5, 3, 60, 40)}};
    for (const char* name :
         {"CIAreaHistogram", "CIColumnAverage", "CIRowAverage", "CIKMeans", "CIAreaAverage"}) {
        const CIImage out = apply(name, pic.image(), area);
        ASSERT_FALSE(out.isNull()) << name;
        const QRectF r = out.extent();
        CIFloatBitmap reference;
        for (int tile : {256, 7})
            for (int threads : {1, 2}) {
                const CIFloatBitmap px = render(out, r, tile, threads);
                if (reference.pixels.empty()) {
                    reference = px;
                    continue;
                }
                EXPECT_EQ(std::memcmp(px.pixels.data(), reference.pixels.data(),
                                      px.pixels.size() * sizeof(float)),
                          0)
                    << name << ", tile " << tile << ", threads " << threads;
            }
    }
    // An infinite picture with a huge area is refused; absurd numbers are harmless.
    const CIImage everywhere = CIImage::imageWithColor(CIColor(0.5, 0.5, 0.5));
    const double inf = std::numeric_limits<double>::infinity(),
                 nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(
        apply("CIAreaAverage", everywhere, {{"inputExtent", rect(0, 0, 1e6, 1e6)}}).isNull());
    for (const QVariant& bad : {rect(nan, 0, 10, 10), rect(0, 0, inf, -inf), rect(0, 0, -5, 3)}) {
        const CIImage out = apply("CIAreaMaximum", everywhere, {{"inputExtent", bad}});
        if (!out.isNull()) render(out, QRectF(0, 0, 1, 1));
    }
    const CIFloatBitmap grey =
        render(apply("CIAreaAverage", everywhere, {{"inputExtent", rect(0, 0, 100, 100)}}),
               QRectF(0, 0, 1, 1));
    EXPECT_NEAR(grey.at(0, 0)[0], 0.5, 1e-6);
}

}  // namespace
