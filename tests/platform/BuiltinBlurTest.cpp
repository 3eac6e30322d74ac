// Blur and sharpen built-ins: the Gaussian against a direct convolution, the
// median against a sort, and the invariants every blur keeps (flat stays
// flat, channel totals, extents).

#include <gtest/gtest.h>

#include <QImage>
#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include "platform/CIPlatform.h"
#include "platform/builtins/blur/BlurPasses.h"
#include "platform/image/CIContext.h"
#include "platform/image/CIFilter.h"
#include "platform/image/CIImage.h"
#include "platform/image/ColorSpace.h"
#include "platform/image/Nodes.h"

namespace {

using cif::CIColor;
using cif::CIContext;
using cif::CIFloatBitmap;
using cif::CIImage;
using cif::CIVector;

uint32_t hash32(uint32_t v) {
    v ^= v >> 16;
    v *= 0x7feb352dU;
    v ^= v >> 15;
    v *= 0x846ca68bU;
    v ^= v >> 16;
    return v;
}

// Working-space floats, row 0 at the bottom, wrapped as an image at the origin.
struct FloatPicture {
    int w = 0, h = 0;
    std::shared_ptr<std::vector<float>> px;
    float* at(int x, int y) { return px->data() + (size_t(y) * size_t(w) + size_t(x)) * 4; }
    CIImage image() const {
        return CIImage::imageWithNode(std::make_shared<cif::engine::SourceNode>(
            px, px->data(), w, h, size_t(w) * 4 * sizeof(float),
            cif::engine::SourceNode::Format::FloatPremulBottomUp));
    }
};

// Noise on top of hard-edged shapes: a bright square on black (the hardest
// case for a blur approximation) and a translucent stripe.
FloatPicture testPicture(int w, int h, uint32_t seed) {
    FloatPicture p{w, h, std::make_shared<std::vector<float>>(size_t(w) * size_t(h) * 4)};
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            float* o = p.at(x, y);
            const bool square = x > w / 4 && x < w / 2 && y > h / 3 && y < 2 * h / 3;
            const bool stripe = (x + y) % 29 < 6;
            const float a = stripe ? 0.5f : 1.0f;
            for (int c = 0; c < 3; ++c) {
                const float noise =
                    float(hash32(uint32_t((y * w + x) * 3 + c) + seed) & 255) / 255.0f;
                const float v = square ? 1.0f : (x < w / 5 ? 0.0f : 0.3f * noise);
                o[c] = v * a;
            }
            o[3] = a;
        }
    return p;
}

CIImage applyFilter(const QString& name, const CIImage& input, const QVariantMap& values = {}) {
    auto filter = cif::CIFilter::filterWithName(name);
    if (!filter) return {};
    filter->setValueForKey(QVariant::fromValue(input), "inputImage");
    for (auto it = values.begin(); it != values.end(); ++it)
        filter->setValueForKey(*it, it.key());
    return filter->outputImage();
}

CIFloatBitmap renderFloat(const CIImage& image, const QRectF& rect, int tileSize = 64) {
    CIContext::Options options;
    options.workingSpace = cif::engine::WorkingSpace::None;
    options.tileSize = tileSize;
    CIContext context(options);
    CIFloatBitmap out;
    EXPECT_TRUE(context.renderToFloat(image, rect, out));
    return out;
}

uint8_t encode(float v) {
    return uint8_t(std::lround(
        std::clamp(cif::engine::linearToSrgb(std::clamp(v, 0.0f, 1.0f)), 0.0f, 1.0f) * 255.0f));
}

class BuiltinBlur : public ::testing::Test {
protected:
    static void SetUpTestSuite() { cif::initializePlatform(); }
};

// ---------------------------------------------------------------- Gaussian

TEST_F(BuiltinBlur, GaussianMatchesDirectConvolution) {
    // Errors are measured after encoding to 8-bit sRGB, as a user sees them;
    // near black the encoding magnifies linear errors up to 13 times.
    FloatPicture pic = testPicture(150, 110, 7);
    for (const double sigma : {1.0, 2.5, 3.2, 10.0, 24.0}) {
        SCOPED_TRACE(sigma);
        const int reach = int(std::ceil(4 * sigma));
        std::vector<double> g(size_t(2 * reach + 1));
        double total = 0;
        for (int i = -reach; i <= reach; ++i)
            total += g[size_t(i + reach)] = std::exp(-0.5 * i * i / (sigma * sigma));
        for (double& v : g)
            v /= total;
        const CIImage out = applyFilter("CIGaussianBlur", pic.image(), {{"inputRadius", sigma}});
        const QRectF rect(-20, -20, pic.w + 40, pic.h + 40);
        const CIFloatBitmap got = renderFloat(out, rect);
        // Separable direct convolution in double, over the same rectangle.
        const int W = pic.w + 40, H = pic.h + 40;
        auto src = [&](int x, int y, int c) -> double {
            return x < 0 || y < 0 || x >= pic.w || y >= pic.h ? 0.0 : pic.at(x, y)[c];
        };
        std::vector<double> rows(size_t(W) * size_t(pic.h) * 4);
        for (int y = 0; y < pic.h; ++y)
            for (int x = 0; x < W; ++x)
                for (int c = 0; c < 4; ++c) {
                    double s = 0;
                    for (int k = -reach; k <= reach; ++k)
                        s += g[size_t(k + reach)] * src(x - 20 + k, y, c);
                    rows[(size_t(y) * size_t(W) + size_t(x)) * 4 + size_t(c)] = s;
                }
        double sumErr = 0;
        int maxErr = 0, count = 0;
        for (int y = 0; y < H; ++y)
            for (int x = 0; x < W; ++x)
                for (int c = 0; c < 4; ++c) {
                    double s = 0;
                    for (int k = -reach; k <= reach; ++k) {
                        const int sy = y - 20 + k;
                        if (sy >= 0 && sy < pic.h)
                            s += g[size_t(k + reach)] *
                                 rows[(size_t(sy) * size_t(W) + size_t(x)) * 4 + size_t(c)];
                    }
                    const int e = std::abs(int(encode(float(s))) - int(encode(got.at(x, y)[c])));
                    sumErr += e;
                    maxErr = std::max(maxErr, e);
                    ++count;
                }
        // Measured: mean at most 0.01 of a level computed directly, 0.07
        // through the reduced resolution (sigma 10 and 24); largest error
        // one level either way.
        EXPECT_LT(sumErr / count, 0.1);
        EXPECT_LE(maxErr, 1);  // levels of 255
    }
}

TEST_F(BuiltinBlur, FlatStaysFlatAndTotalsAreKept) {
    const CIImage flat = CIImage::imageWithColor(CIColor(0.2, 0.5, 0.7, 0.8));
    FloatPicture pic = testPicture(70, 50, 3);
    struct Case {
        const char* name;
        QVariantMap values;
        bool blur;  // a true blur keeps channel totals and grows the extent
    };
    const Case cases[] = {
        {"CIGaussianBlur", {{"inputRadius", 2.0}}, true},
        {"CIGaussianBlur", {{"inputRadius", 7.5}}, true},
        {"CIGaussianBlur", {{"inputRadius", 30.0}}, true},
        {"CIBoxBlur", {{"inputRadius", 6.0}}, true},
        {"CIDiscBlur", {{"inputRadius", 5.0}}, true},
        {"CIMotionBlur", {{"inputRadius", 9.0}, {"inputAngle", 0.7}}, true},
        {"CIUnsharpMask", {{"inputRadius", 3.0}, {"inputIntensity", 0.8}}, false},
        {"CISharpenLuminance", {{"inputRadius", 2.0}, {"inputSharpness", 1.0}}, false},
        {"CIMedianFilter", {}, false},
        {"CINoiseReduction", {}, false},
    };
    for (const Case& cs : cases) {
        SCOPED_TRACE(cs.name);
        const CIFloatBitmap f =
            renderFloat(applyFilter(cs.name, flat, cs.values), QRectF(-30, -20, 40, 30));
        ASSERT_EQ(f.pixels.size(), size_t(40 * 30 * 4));
        // The recursive Gaussian ripples by under 2e-4 of the value (20 times
        // below an 8-bit level); everything else is flat to float rounding.
        for (int i = 0; i < 40 * 30; ++i)
            for (int c = 0; c < 4; ++c)
                ASSERT_NEAR(f.pixels[size_t(i) * 4 + size_t(c)], f.pixels[size_t(c)], 2e-4);
        if (!cs.blur) continue;
        const CIImage out = applyFilter(cs.name, pic.image(), cs.values);
        const QRectF e = out.extent();
        EXPECT_LT(e.left(), 0);
        EXPECT_GT(e.right(), pic.w);
        const CIFloatBitmap b = renderFloat(out, e);
        for (int c = 0; c < 4; ++c) {
            double before = 0, after = 0;
            for (int i = 0; i < pic.w * pic.h; ++i)
                before += (*pic.px)[size_t(i) * 4 + size_t(c)];
            for (size_t i = 0; i < b.pixels.size() / 4; ++i)
                after += b.pixels[i * 4 + size_t(c)];
            EXPECT_NEAR(after, before, 2e-3 * before) << "channel " << c;
        }
    }
}

TEST_F(BuiltinBlur, ExtentsGrowByTheReachAndZeroRadiusIsIdentity) {
    FloatPicture pic = testPicture(40, 30, 1);
    const CIImage in = pic.image();
    const QRectF g = applyFilter("CIGaussianBlur", in, {{"inputRadius", 10.0}}).extent();
    EXPECT_EQ(g, QRectF(-40, -40, 120, 110));
    EXPECT_EQ(applyFilter("CIBoxBlur", in, {{"inputRadius", 4.0}}).extent(),
              QRectF(-4, -4, 48, 38));
    EXPECT_EQ(applyFilter("CIUnsharpMask", in).extent(), in.extent());
    EXPECT_EQ(applyFilter("CIGaussianBlur", in, {{"inputRadius", 0.0}}).node(), in.node());
    EXPECT_EQ(applyFilter("CIUnsharpMask", in, {{"inputIntensity", 0.0}}).node(), in.node());
    // Absurd radii are clamped, not refused and not unbounded.
    const CIImage huge = applyFilter("CIGaussianBlur", in, {{"inputRadius", 1e12}});
    ASSERT_FALSE(huge.isNull());
    EXPECT_LT(huge.extent().width(), 10000);
    EXPECT_TRUE(applyFilter("CIGaussianBlur", CIImage()).isNull());
}

TEST_F(BuiltinBlur, BoxBlurIsTheExactMean) {
    FloatPicture pic = testPicture(30, 20, 5);
    const CIFloatBitmap b = renderFloat(
        applyFilter("CIBoxBlur", pic.image(), {{"inputRadius", 3.0}}), QRectF(0, 0, 30, 20), 16);
    for (const auto& [x, y] :
         {std::pair{10, 10}, std::pair{0, 0}, std::pair{29, 19}, std::pair{15, 3}})
        for (int c = 0; c < 4; ++c) {
            double s = 0;
            for (int dy = -3; dy <= 3; ++dy)
                for (int dx = -3; dx <= 3; ++dx) {
                    const int sx = x + dx, sy = y + dy;
                    if (sx >= 0 && sy >= 0 && sx < pic.w && sy < pic.h) s += pic.at(sx, sy)[c];
                }
            EXPECT_NEAR(b.at(x, y)[c], s / 49.0, 1e-5);
        }
}

TEST_F(BuiltinBlur, VectorPassesMatchPlainLoops) {
    // The vector passes against the plain definition of each kernel, in
    // double: down columns and along rows, on random values.
    namespace b = cif::builtins::blur;
    const b::Kernel1D kernels[] = {b::gaussianKernel(1.7), b::boxKernel(4), b::gaussianKernel(6.0)};
    for (const b::Kernel1D& k : kernels) {
        SCOPED_TRACE(int(k.kind));
        // The impulse response of the recursive kernel, found by running it.
        const int r = k.reach, outRows = 9, width = 64;
        std::vector<double> weights(size_t(2 * r + 1));
        for (int i = 0; i <= 2 * r; ++i) {
            if (k.kind == b::Kernel1D::Kind::Taps) weights[size_t(i)] = k.taps[size_t(i)];
            if (k.kind == b::Kernel1D::Kind::Box) weights[size_t(i)] = 1.0 / (2 * r + 1);
        }
        if (k.kind == b::Kernel1D::Kind::Recursive) {
            // Sum of the two sections' two-sided responses, term by term.
            for (int i = -r; i <= r; ++i) {
                double total = 0;
                for (const auto& sec : k.sections) {
                    // u[n] for n >= 0 from the forward recursion, v[m] = u[m] for m >= 1.
                    std::vector<double> u(size_t(r + 2));
                    u[0] = sec.b0;
                    u[1] = sec.a1 * u[0] + sec.b1;
                    for (size_t n = 2; n < u.size(); ++n)
                        u[n] = sec.a1 * u[n - 1] + sec.a2 * u[n - 2];
                    total += u[size_t(std::abs(i))];
                }
                weights[size_t(i + r)] = total;
            }
        }
        // Outputs from a negative position, so the passes' grids are met
        // on both sides of zero.
        const int first = -5;
        const b::PassSpan span = b::passInput(k, first, first + outRows);
        std::vector<float> in(size_t(span.length()) * width);
        for (size_t i = 0; i < in.size(); ++i)
            in[i] = float(hash32(uint32_t(i)) & 1023) / 1023.0f;
        auto inAt = [&](int pos, int i) {
            return in[size_t(pos - span.begin) * width + size_t(i)];
        };
        std::vector<float> out(size_t(outRows) * width);
        b::runPass(k, in.data(), size_t(width), span.begin, out.data(), size_t(width), first,
                   outRows, width);
        for (int j = 0; j < outRows; ++j)
            for (int i = 0; i < width; ++i) {
                double want = 0;
                for (int t = 0; t <= 2 * r; ++t)
                    want += weights[size_t(t)] * inAt(first + j - r + t, i);
                // The recursion carries float rounding along; the others sum once.
                ASSERT_NEAR(out[size_t(j) * width + size_t(i)], want,
                            k.kind == b::Kernel1D::Kind::Recursive ? 1e-4 : 2e-6)
                    << j << "," << i;
            }
        if (k.kind == b::Kernel1D::Kind::Recursive) continue;
        // Along a row of 13 pixels from position 3 (and the slack the pass
        // may read).
        const b::PassSpan rowSpan = b::passInput(k, 3, 16);
        std::vector<float> row(size_t(rowSpan.length() + b::kRowPassSlack) * 4, 0.0f), line(13 * 4);
        for (size_t i = 0; i < size_t(rowSpan.length()) * 4; ++i)
            row[i] = float(hash32(uint32_t(i) + 99) & 1023) / 1023.0f;
        b::runRowPass(k, row.data(), rowSpan.begin, line.data(), 3, 13);
        for (int x = 0; x < 13; ++x)
            for (int c = 0; c < 4; ++c) {
                double want = 0;
                for (int t = 0; t <= 2 * r; ++t)
                    want += weights[size_t(t)] *
                            row[size_t(x + 3 - r + t - rowSpan.begin) * 4 + size_t(c)];
                ASSERT_NEAR(line[size_t(x) * 4 + size_t(c)], want, 2e-6) << x;
            }
    }
}

TEST_F(BuiltinBlur, MedianIsTheMiddleOfNineSortedValues) {
    FloatPicture pic = testPicture(23, 17, 11);
    // Whole tiles, odd widths and tile edges inside the picture.
    for (const int tile : {5, 64}) {
        const CIFloatBitmap m = renderFloat(applyFilter("CIMedianFilter", pic.image()),
                                            QRectF(0, 0, pic.w, pic.h), tile);
        for (int y = 0; y < pic.h; ++y)
            for (int x = 0; x < pic.w; ++x)
                for (int c = 0; c < 4; ++c) {
                    std::vector<float> v;
                    for (int dy = -1; dy <= 1; ++dy)
                        for (int dx = -1; dx <= 1; ++dx) {
                            const int sx = x + dx, sy = y + dy;
                            v.push_back(sx < 0 || sy < 0 || sx >= pic.w || sy >= pic.h
                                            ? 0.0f
                                            : pic.at(sx, sy)[c]);
                        }
                    std::sort(v.begin(), v.end());
                    ASSERT_EQ(m.at(x, y)[c], v[4]) << x << "," << y << " channel " << c;
                }
    }
}

TEST_F(BuiltinBlur, NoiseReductionSmoothsNoiseButKeepsEdges) {
    // A step between two noisy flats: noise within the level is averaged,
    // the step itself is larger than the level and stays put.
    FloatPicture p{20, 10, std::make_shared<std::vector<float>>(size_t(200) * 4)};
    for (int y = 0; y < 10; ++y)
        for (int x = 0; x < 20; ++x) {
            const float v = (x < 10 ? 0.2f : 0.8f) + ((x + y) % 2 ? 0.005f : -0.005f);
            float* o = p.at(x, y);
            o[0] = o[1] = o[2] = v;
            o[3] = 1;
        }
    const CIFloatBitmap b =
        renderFloat(applyFilter("CINoiseReduction", p.image(),
                                {{"inputNoiseLevel", 0.05}, {"inputSharpness", 0.0}}),
                    QRectF(0, 0, 20, 10));
    // Inside a flat: five of the nine are +0.005, four -0.005.
    EXPECT_NEAR(b.at(4, 5)[0], 0.2f + 0.005f / 9, 1e-6);
    // Beside the step only the six pixels of the own side count; they cancel.
    EXPECT_NEAR(b.at(9, 5)[0], 0.2f, 1e-6);
    EXPECT_NEAR(b.at(10, 5)[0], 0.8f, 1e-6);
}

TEST_F(BuiltinBlur, MotionAndZoomBlurStreakAlongTheirDirection) {
    // One bright pixel: a horizontal motion blur spreads it along its row
    // only; a zoom blur towards a centre to the left streaks it leftwards.
    FloatPicture dot{41, 41, std::make_shared<std::vector<float>>(size_t(41 * 41) * 4)};
    std::fill_n(dot.at(20, 20), 4, 1.0f);
    const CIFloatBitmap m = renderFloat(
        applyFilter("CIMotionBlur", dot.image(), {{"inputRadius", 5.0}, {"inputAngle", 0.0}}),
        QRectF(0, 0, 41, 41));
    for (int dx = -5; dx <= 5; ++dx)
        EXPECT_NEAR(m.at(20 + dx, 20)[0], 1.0f / 11, 1e-6);
    EXPECT_EQ(m.at(20, 21)[0], 0.0f);
    EXPECT_EQ(m.at(26, 20)[0], 0.0f);
    const CIFloatBitmap z = renderFloat(
        applyFilter(
            "CIZoomBlur", dot.image(),
            {{"inputAmount", 50.0}, {"inputCenter", QVariant::fromValue(CIVector{0.5, 20.5})}}),
        QRectF(0, 0, 41, 41));
    EXPECT_GT(z.at(20, 20)[0], 0.0f);
    EXPECT_GT(z.at(30, 20)[0], 0.0f);  // pixels further out look back at the dot
    EXPECT_EQ(z.at(15, 20)[0], 0.0f);  // pixels nearer the centre do not
    EXPECT_EQ(z.at(30, 23)[0], 0.0f);
}

}  // namespace
