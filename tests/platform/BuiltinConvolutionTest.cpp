// Convolution and morphology built-ins against sums, maxima and minima
// computed directly in the test, on a random picture with translucent pixels
// and transparent surroundings; their extents; identical output for any tile
// size and thread count; and the vector spans against their scalar twins on
// every SIMD target.

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
#include "platform/builtins/convolution/ConvolutionSpans.h"
#include "platform/image/CIContext.h"
#include "platform/image/CIFilter.h"
#include "platform/image/CIImage.h"
#include "platform/image/Nodes.h"
#include "tests/support/SimdTargets.h"

namespace {

using namespace cif;
using engine::SourceNode;

class BuiltinConvolution : public ::testing::Test {
protected:
    static void SetUpTestSuite() { initializePlatform(); }
};

// A w x h picture of random premultiplied pixels at (x0, y0), kept as floats
// for the brute-force references; pixels outside read transparent.
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
    Picture p{-3, 5, w, h, {}};
    for (int i = 0; i < w * h; ++i) {
        const float a = i % 7 == 0 ? 0.0f : i % 3 == 0 ? 0.5f : 1.0f;
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

TEST_F(BuiltinConvolution, ConvolutionsEqualTheDirectSum) {
    const Picture pic = randomPicture(23, 17, 3);
    const QRectF pictureRect(pic.x0, pic.y0, pic.w, pic.h);
    std::mt19937 rng(11);
    std::uniform_real_distribution<double> weight(-1.0, 1.0);
    const struct {
        const char* name;
        int cols, rows;
        bool rgb;
    } kernels[] = {
        {"CIConvolution3X3", 3, 3, false},           {"CIConvolution5X5", 5, 5, false},
        {"CIConvolution7X7", 7, 7, false},           {"CIConvolution9Horizontal", 9, 1, false},
        {"CIConvolution9Vertical", 1, 9, false},     {"CIConvolutionRGB3X3", 3, 3, true},
        {"CIConvolutionRGB5X5", 5, 5, true},         {"CIConvolutionRGB7X7", 7, 7, true},
        {"CIConvolutionRGB9Horizontal", 9, 1, true}, {"CIConvolutionRGB9Vertical", 1, 9, true}};
    for (const auto& k : kernels) {
        for (double bias : {0.0, 0.25}) {
            std::vector<double> w(size_t(k.cols * k.rows));
            for (double& v : w)
                v = weight(rng);
            const CIImage out =
                apply(k.name, pic.image(),
                      {{"inputWeights", QVariant::fromValue(CIVector(w))}, {"inputBias", bias}});
            ASSERT_FALSE(out.isNull()) << k.name;
            const int rx = k.cols / 2, ry = k.rows / 2;
            // Colour-only kernels keep the coverage; others reach as far as
            // the kernel, or everywhere with a bias.
            if (k.rgb)
                EXPECT_EQ(out.extent(), pictureRect) << k.name;
            else if (bias == 0)
                EXPECT_EQ(out.extent(), pictureRect.adjusted(-rx, -ry, rx, ry)) << k.name;
            else
                EXPECT_TRUE(out.isInfinite()) << k.name;
            const QRectF rect = pictureRect.adjusted(-rx - 1, -ry - 1, rx + 1, ry + 1);
            const CIFloatBitmap got = render(out, rect);
            for (int y = 0; y < got.height; ++y)
                for (int x = 0; x < got.width; ++x) {
                    const int ix = int(rect.x()) + x, iy = int(rect.y()) + y;
                    const bool inside =
                        out.isInfinite() || out.extent().contains(QPointF(ix + 0.5, iy + 0.5));
                    for (int c = 0; c < 4; ++c) {
                        double want = 0;
                        for (int r = 0; r < k.rows; ++r)
                            for (int cc = 0; cc < k.cols; ++cc)
                                want += w[size_t(r * k.cols + cc)] *
                                        pic.at(ix + cc - rx, iy + ry - r, c);
                        if (k.rgb)
                            want = c == 3 ? pic.at(ix, iy, 3) : want + bias * pic.at(ix, iy, 3);
                        else
                            want += bias;
                        if (!inside) want = 0;
                        ASSERT_NEAR(got.at(x, y)[c], want, 2e-5)
                            << k.name << " bias " << bias << " at " << ix << "," << iy << " c" << c;
                    }
                }
        }
    }
    // Identity weights give the very picture back.
    const CIImage in = pic.image();
    EXPECT_EQ(apply("CIConvolution5X5", in).node(), in.node());
    EXPECT_EQ(apply("CIConvolutionRGB9Vertical", in).node(), in.node());
}

TEST_F(BuiltinConvolution, MorphologyEqualsTheBruteForceExtremes) {
    const Picture pic = randomPicture(19, 14, 5);
    const QRectF pictureRect(pic.x0, pic.y0, pic.w, pic.h);
    // Rectangles, odd and even sides: the window of x is
    // [x - (w - 1) / 2, x + w / 2].
    for (const auto& [w, h] : {std::pair{3, 5}, {4, 1}, {1, 6}, {21, 5}, {8, 9}})
        for (bool max : {true, false}) {
            const CIImage out =
                apply(max ? "CIMorphologyRectangleMaximum" : "CIMorphologyRectangleMinimum",
                      pic.image(), {{"inputWidth", w}, {"inputHeight", h}});
            const QRectF rect = pictureRect.adjusted(-w, -h, w, h);
            const CIFloatBitmap got = render(out, rect);
            for (int y = 0; y < got.height; ++y)
                for (int x = 0; x < got.width; ++x) {
                    const int ix = int(rect.x()) + x, iy = int(rect.y()) + y;
                    const bool inExtent = out.extent().contains(QPointF(ix + 0.5, iy + 0.5));
                    for (int c = 0; c < 4; ++c) {
                        float want = max ? -1.0f : 2.0f;
                        for (int dy = -(h - 1) / 2; dy <= h / 2; ++dy)
                            for (int dx = -(w - 1) / 2; dx <= w / 2; ++dx) {
                                const float v = pic.at(ix + dx, iy + dy, c);
                                want = max ? std::max(want, v) : std::min(want, v);
                            }
                        ASSERT_EQ(got.at(x, y)[c], inExtent ? want : 0.0f)
                            << w << "x" << h << (max ? " max" : " min") << " at " << ix << ","
                            << iy;
                    }
                }
        }
    // Discs: the pixels whose centres lie within the radius.
    for (double radius : {1.0, 2.5, 4.0})
        for (const char* name :
             {"CIMorphologyMaximum", "CIMorphologyMinimum", "CIMorphologyGradient"}) {
            const CIImage out = apply(name, pic.image(), {{"inputRadius", radius}});
            const int r = int(radius);
            const QRectF rect = pictureRect.adjusted(-r - 1, -r - 1, r + 1, r + 1);
            const CIFloatBitmap got = render(out, rect);
            for (int y = 0; y < got.height; ++y)
                for (int x = 0; x < got.width; ++x) {
                    const int ix = int(rect.x()) + x, iy = int(rect.y()) + y;
                    const bool inExtent = out.extent().contains(QPointF(ix + 0.5, iy + 0.5));
                    for (int c = 0; c < 4; ++c) {
                        float hi = -1.0f, lo = 2.0f;
                        for (int dy = -r; dy <= r; ++dy)
                            for (int dx = -r; dx <= r; ++dx)
                                if (dx * dx + dy * dy <= radius * radius) {
                                    hi = std::max(hi, pic.at(ix + dx, iy + dy, c));
                                    lo = std::min(lo, pic.at(ix + dx, iy + dy, c));
                                }
                        float want = name[12] == 'M' && name[13] == 'a' ? hi
                                     : name[12] == 'M'                  ? lo
                                     : c == 3                           ? hi
                                                                        : hi - lo;
                        if (!inExtent) want = 0.0f;
                        ASSERT_EQ(got.at(x, y)[c], want)
                            << name << " radius " << radius << " at " << ix << "," << iy;
                    }
                }
        }
}

TEST_F(BuiltinConvolution, GaborGradientsFollowARamp) {
    // Luminance rising 0.01 per pixel to the right, then the same upwards.
    for (bool vertical : {false, true}) {
        Picture ramp{0, 0, 20, 20, {}};
        for (int y = 0; y < 20; ++y)
            for (int x = 0; x < 20; ++x) {
                const float v = 0.01f * float(vertical ? y : x);
                ramp.px.insert(ramp.px.end(), {v, v, v, 1});
            }
        const CIImage out = apply("CIGaborGradients", ramp.image());
        EXPECT_EQ(out.extent(), QRectF(0, 0, 20, 20));
        const CIFloatBitmap got = render(out, QRectF(0, 0, 20, 20));
        const float* p = got.at(10, 10);
        EXPECT_NEAR(p[vertical ? 1 : 0], 0.01, 1e-5);
        EXPECT_NEAR(p[vertical ? 0 : 1], 0.0, 1e-6);
        EXPECT_EQ(p[3], 1.0f);
    }
}

TEST_F(BuiltinConvolution, OutputDoesNotDependOnTilesOrThreads) {
    // Wider than the blocks large buffers are split into.
    const Picture pic = randomPicture(290, 47, 9);
    const QVariant weights = QVariant::fromValue(CIVector(std::vector<double>(25, 0.04)));
    const CIImage recipes[] = {
        apply("CIConvolution5X5", pic.image(), {{"inputWeights", weights}}),
        apply("CIConvolutionRGB3X3", pic.image(),
              {{"inputWeights", QVariant::fromValue(CIVector({0, -1, 0, -1, 5, -1, 0, -1, 0}))}}),
        apply("CIMorphologyRectangleMaximum", pic.image(), {{"inputWidth", 21}}),
        apply("CIMorphologyRectangleMinimum", pic.image(), {{"inputHeight", 8}}),
        apply("CIMorphologyMaximum", pic.image(), {{"inputRadius", 6}}),
        apply("CIMorphologyGradient", pic.image()),
        apply("CIGaborGradients", pic.image()),
    };
    for (const CIImage& image : recipes) {
        ASSERT_FALSE(image.isNull());
        CIFloatBitmap reference;
        for (int tile : {1024, 16, 7})
            for (int threads : {1, 2}) {
                const CIFloatBitmap out = render(image, QRectF(-20, -5, 330, 70), tile, threads);
                if (reference.pixels.empty()) {
                    reference = out;
                    continue;
                }
                EXPECT_EQ(std::memcmp(out.pixels.data(), reference.pixels.data(),
                                      out.pixels.size() * sizeof(float)),
                          0)
                    << image.node()->kind() << ", tile " << tile << ", threads " << threads;
            }
    }
}

TEST(BuiltinConvolutionSpans, VectorSpansAgreeWithTheirScalarTwins) {
    std::mt19937 rng(17);
    std::uniform_real_distribution<float> value(-2.0f, 2.0f);
    std::vector<float> data(400);
    for (float& v : data)
        v = value(rng);
    // Equal values and NaNs, where max and min must still pick as the scalar code does.
    data[5] = data[9] = 0.5f;
    data[40] = std::numeric_limits<float>::quiet_NaN();
    data[77] = -std::numeric_limits<float>::infinity();
    float w[25];
    for (float& v : w)
        v = value(rng);
    cif::testing::forEachTarget([&] {
        for (int n = 0; n <= 70; ++n) {
            const float* src[25];
            for (int t = 0; t < 25; ++t)
                src[t] = data.data() + 3 * t;
            std::vector<float> a(size_t(n) + 1, 9.0f), b = a;
            builtins::convolveSpan(src, w, 25, a.data(), n);
            builtins::convolveSpanScalar(src, w, 25, b.data(), n);
            ASSERT_EQ(std::memcmp(a.data(), b.data(), a.size() * sizeof(float)), 0) << n;
            for (int shift : {4, 12, 36}) {
                std::vector<float> p(data.begin() + 30, data.begin() + 30 + n + shift), q = p;
                builtins::maxShiftSpan(p.data(), n, shift);
                builtins::maxShiftSpanScalar(q.data(), n, shift);
                ASSERT_EQ(std::memcmp(p.data(), q.data(), p.size() * sizeof(float)), 0) << n;
                builtins::minShiftSpan(p.data(), n, shift);
                builtins::minShiftSpanScalar(q.data(), n, shift);
                ASSERT_EQ(std::memcmp(p.data(), q.data(), p.size() * sizeof(float)), 0) << n;
            }
            std::vector<float> o(data.begin() + 100, data.begin() + 100 + n), o2 = o;
            builtins::maxOfTwoSpan(o.data(), data.data() + 1, data.data() + 35, n);
            builtins::maxOfTwoSpanScalar(o2.data(), data.data() + 1, data.data() + 35, n);
            builtins::minOfTwoSpan(o.data(), data.data() + 7, data.data() + 50, n);
            builtins::minOfTwoSpanScalar(o2.data(), data.data() + 7, data.data() + 50, n);
            ASSERT_TRUE(o.empty() ||
                        std::memcmp(o.data(), o2.data(), o.size() * sizeof(float)) == 0)
                << n;
        }
    });
}

}  // namespace
