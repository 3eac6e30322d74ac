// The composite-operation built-ins against the textbook formulas: every
// operator runs over a grid of colour pairs (opaque, translucent and fully
// transparent, foreground along x and background along y) without colour
// management, and each result is compared with the formula evaluated here in
// double precision on straight colours. Also: extents, missing inputs.

#include <gtest/gtest.h>

#include <QRectF>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "platform/CIPlatform.h"
#include "platform/builtins/composite/CompositeSpans.h"
#include "platform/image/CIContext.h"
#include "platform/image/CIFilter.h"
#include "platform/image/CIImage.h"
#include "platform/image/Nodes.h"

namespace {

using namespace cif;
using engine::SourceNode;
using engine::WorkingSpace;

class BuiltinComposite : public ::testing::Test {
protected:
    static void SetUpTestSuite() { initializePlatform(); }
};

// ---------------------------------------------------------------- helpers

struct Straight {
    double r, g, b, a;
};

// An image of premultiplied working-space floats, row 0 at the bottom.
CIImage floatImage(int w, int h, std::vector<float> pixels, int x = 0, int y = 0) {
    auto owner = std::make_shared<std::vector<float>>(std::move(pixels));
    return CIImage::imageWithNode(
        std::make_shared<SourceNode>(owner, owner->data(), w, h, size_t(w) * 4 * sizeof(float),
                                     SourceNode::Format::FloatPremulBottomUp, x, y));
}

CIFloatBitmap renderExact(const CIImage& image, const QRectF& rect) {
    CIContext::Options options;
    options.workingSpace = WorkingSpace::None;
    CIContext context(options);
    CIFloatBitmap out;
    EXPECT_TRUE(context.renderToFloat(image, rect, out));
    return out;
}

CIImage apply(const char* name, const CIImage& fg, const CIImage& bg) {
    auto f = CIFilter::filterWithName(QString::fromLatin1(name));
    if (!f) return {};
    if (!fg.isNull()) f->setValueForKey(QVariant::fromValue(fg), "inputImage");
    if (!bg.isNull()) f->setValueForKey(QVariant::fromValue(bg), "inputBackgroundImage");
    return f->outputImage();
}

// Colours with every channel level that changes a branch of some blend mode
// (0, the quarter and half points, 1), at several coverages.
std::vector<Straight> palette() {
    const double colours[][3] = {{0, 0, 0},       {1, 1, 1},       {0.5, 0.5, 0.5},
                                 {0.25, 0.75, 1}, {0.9, 0.1, 0.4}, {0.2, 0.6, 0.05},
                                 {1, 0.5, 0},     {0.3, 0.3, 0.8}, {0.7, 0.95, 0.15}};
    const double alphas[] = {1.0, 0.6, 0.25, 0.0};
    std::vector<Straight> out;
    for (double a : alphas)
        for (const auto& c : colours)
            out.push_back({c[0], c[1], c[2], a});
    return out;
}

std::vector<float> premultiplied(const std::vector<Straight>& row) {
    std::vector<float> px;
    for (const Straight& s : row) {
        px.push_back(float(s.r * s.a));
        px.push_back(float(s.g * s.a));
        px.push_back(float(s.b * s.a));
        px.push_back(float(s.a));
    }
    return px;
}

// ---------------------------------------------------------------- textbook formulas

using Rgb = std::array<double, 3>;

// W3C compositing and blending, level 1: B(Cb, Cs) on one channel.
double separable(const std::string& mode, double cb, double cs) {
    if (mode == "Multiply") return cb * cs;
    if (mode == "Screen") return cb + cs - cb * cs;
    if (mode == "HardLight" || mode == "Overlay") {
        if (mode == "Overlay") std::swap(cb, cs);
        return cs <= 0.5 ? cb * 2 * cs : 1 - (1 - cb) * (1 - (2 * cs - 1));
    }
    if (mode == "Darken") return std::min(cb, cs);
    if (mode == "Lighten") return std::max(cb, cs);
    if (mode == "ColorDodge") return cb == 0 ? 0 : cs >= 1 ? 1 : std::min(1.0, cb / (1 - cs));
    if (mode == "ColorBurn") return cb == 1 ? 1 : cs <= 0 ? 0 : 1 - std::min(1.0, (1 - cb) / cs);
    if (mode == "SoftLight") {
        if (cs <= 0.5) return cb - (1 - 2 * cs) * cb * (1 - cb);
        const double d = cb <= 0.25 ? ((16 * cb - 12) * cb + 4) * cb : std::sqrt(cb);
        return cb + (2 * cs - 1) * (d - cb);
    }
    if (mode == "Difference") return std::abs(cb - cs);
    if (mode == "Exclusion") return cb + cs - 2 * cb * cs;
    // Photoshop's definitions for the rest, clamped to [0, 1].
    auto clamp01 = [](double v) { return std::clamp(v, 0.0, 1.0); };
    if (mode == "LinearDodge") return clamp01(cb + cs);
    if (mode == "LinearBurn") return clamp01(cb + cs - 1);
    if (mode == "LinearLight") return clamp01(cb + 2 * cs - 1);
    if (mode == "PinLight") return cs < 0.5 ? std::min(cb, 2 * cs) : std::max(cb, 2 * cs - 1);
    if (mode == "VividLight") {
        if (cs <= 0.5) return cs == 0 ? (cb == 1 ? 1 : 0) : clamp01(1 - (1 - cb) / (2 * cs));
        return cs == 1 ? (cb == 0 ? 0 : 1) : clamp01(cb / (2 * (1 - cs)));
    }
    if (mode == "Subtract") return std::max(cb - cs, 0.0);
    if (mode == "Divide") return cs == 0 ? (cb > 0 ? 1 : 0) : std::min(cb / cs, 1.0);
    ADD_FAILURE() << "no formula for " << mode;
    return 0;
}

double lum(const Rgb& c) {
    return 0.3 * c[0] + 0.59 * c[1] + 0.11 * c[2];
}
Rgb clipColor(Rgb c) {
    const double l = lum(c);
    const double n = std::min({c[0], c[1], c[2]}), x = std::max({c[0], c[1], c[2]});
    for (double& v : c) {
        if (n < 0) v = l + (v - l) * l / (l - n);
    }
    for (double& v : c) {
        if (x > 1) v = l + (v - l) * (1 - l) / (x - l);
    }
    return c;
}
Rgb setLum(const Rgb& c, double l) {
    const double d = l - lum(c);
    return clipColor({c[0] + d, c[1] + d, c[2] + d});
}
double sat(const Rgb& c) {
    return std::max({c[0], c[1], c[2]}) - std::min({c[0], c[1], c[2]});
}
// The W3C SetSat: the largest channel becomes s, the smallest 0, the middle
// one in proportion.
Rgb setSat(const Rgb& c, double s) {
    std::array<int, 3> order{0, 1, 2};
    std::sort(order.begin(), order.end(),
              [&](int i, int j) { return c[size_t(i)] < c[size_t(j)]; });
    const size_t lo = size_t(order[0]), mid = size_t(order[1]), hi = size_t(order[2]);
    Rgb out{};
    if (c[hi] > c[lo]) {
        out[mid] = (c[mid] - c[lo]) * s / (c[hi] - c[lo]);
        out[hi] = s;
    }
    return out;
}
Rgb nonSeparable(const std::string& mode, const Rgb& cb, const Rgb& cs) {
    if (mode == "Hue") return setLum(setSat(cs, sat(cb)), lum(cb));
    if (mode == "Saturation") return setLum(setSat(cb, sat(cs)), lum(cb));
    if (mode == "Color") return setLum(cs, lum(cb));
    return setLum(cb, lum(cs));  // Luminosity
}

// The expected premultiplied result of `name` for source s over backdrop b.
std::array<double, 4> expected(const std::string& name, const Straight& s, const Straight& b) {
    const double sp[4] = {s.r * s.a, s.g * s.a, s.b * s.a, s.a};
    const double bp[4] = {b.r * b.a, b.g * b.a, b.b * b.a, b.a};
    std::array<double, 4> out{};
    auto porterDuff = [&](double fs, double fb) {
        for (int c = 0; c < 4; ++c)
            out[size_t(c)] = sp[c] * fs + bp[c] * fb;
    };
    auto perChannel = [&](const std::function<double(double, double)>& op) {
        for (int c = 0; c < 4; ++c)
            out[size_t(c)] = op(sp[c], bp[c]);
    };
    if (name == "CISourceOverCompositing")
        porterDuff(1, 1 - s.a);
    else if (name == "CISourceInCompositing")
        porterDuff(b.a, 0);
    else if (name == "CISourceOutCompositing")
        porterDuff(1 - b.a, 0);
    else if (name == "CISourceAtopCompositing")
        porterDuff(b.a, 1 - s.a);
    else if (name == "CIAdditionCompositing") {
        // Colours add; coverage stops at full.
        perChannel([](double x, double y) { return x + y; });
        out[3] = std::min(out[3], 1.0);
    } else if (name == "CIMaximumCompositing")
        perChannel([](double x, double y) { return std::max(x, y); });
    else if (name == "CIMinimumCompositing")
        perChannel([](double x, double y) { return std::min(x, y); });
    else if (name == "CIMultiplyCompositing")
        perChannel([](double x, double y) { return x * y; });
    else {
        // A blend mode: "CI<Mode>BlendMode", composited source-over.
        const std::string mode = name.substr(2, name.size() - 2 - std::string("BlendMode").size());
        const Rgb cs{s.r, s.g, s.b}, cb{b.r, b.g, b.b};
        Rgb blended;
        if (mode == "Hue" || mode == "Saturation" || mode == "Color" || mode == "Luminosity")
            blended = nonSeparable(mode, cb, cs);
        else
            for (size_t c = 0; c < 3; ++c)
                blended[c] = separable(mode, cb[c], cs[c]);
        for (size_t c = 0; c < 3; ++c)
            out[c] = (1 - b.a) * sp[c] + (1 - s.a) * bp[c] + s.a * b.a * blended[c];
        out[3] = s.a + b.a - s.a * b.a;
    }
    return out;
}

QStringList compositeFilters() {
    return CIFilter::filterNamesInCategory("CICategoryCompositeOperation");
}

// ---------------------------------------------------------------- tests

TEST_F(BuiltinComposite, OperatorsMatchTheTextbookFormulasOnAGridOfColourPairs) {
    const std::vector<Straight> colours = palette();
    const int n = int(colours.size());
    // Foreground varies along x, background along y.
    std::vector<Straight> fgPixels, bgPixels;
    for (int y = 0; y < n; ++y)
        for (int x = 0; x < n; ++x) {
            fgPixels.push_back(colours[size_t(x)]);
            bgPixels.push_back(colours[size_t(y)]);
        }
    const CIImage fg = floatImage(n, n, premultiplied(fgPixels));
    const CIImage bg = floatImage(n, n, premultiplied(bgPixels));
    EXPECT_EQ(compositeFilters().size(), 30);
    for (const QString& qname : compositeFilters()) {
        const std::string name = qname.toStdString();
        const CIImage out = apply(name.c_str(), fg, bg);
        ASSERT_FALSE(out.isNull()) << name;
        const CIFloatBitmap px = renderExact(out, QRectF(0, 0, n, n));
        ASSERT_EQ(px.width, n);
        int failures = 0;
        for (int y = 0; y < n && failures < 3; ++y)
            for (int x = 0; x < n && failures < 3; ++x) {
                const Straight& s = colours[size_t(x)];
                const Straight& b = colours[size_t(y)];
                const std::array<double, 4> want = expected(name, s, b);
                for (int c = 0; c < 4; ++c) {
                    const double got = px.at(x, y)[c];
                    if (std::abs(got - want[size_t(c)]) > 2e-5) {
                        ADD_FAILURE() << name << " channel " << c << ": source (" << s.r << ", "
                                      << s.g << ", " << s.b << ", " << s.a << ") backdrop (" << b.r
                                      << ", " << b.g << ", " << b.b << ", " << b.a << ") gives "
                                      << got << ", want " << want[size_t(c)];
                        ++failures;
                        break;
                    }
                }
            }
    }
}

TEST_F(BuiltinComposite, ExtentsFollowWhereTheResultCanBeCovered) {
    // Two 4 x 4 squares overlapping in a 2 x 2 corner.
    const CIImage fg = floatImage(4, 4, std::vector<float>(64, 0.5f), 0, 0);
    const CIImage bg = floatImage(4, 4, std::vector<float>(64, 0.5f), 2, 2);
    const QRectF both(0, 0, 6, 6), overlap(2, 2, 2, 2), fgRect(0, 0, 4, 4), bgRect(2, 2, 4, 4);
    EXPECT_EQ(apply("CISourceInCompositing", fg, bg).extent(), overlap);
    EXPECT_EQ(apply("CISourceOutCompositing", fg, bg).extent(), fgRect);
    EXPECT_EQ(apply("CISourceAtopCompositing", fg, bg).extent(), bgRect);
    EXPECT_EQ(apply("CIMultiplyCompositing", fg, bg).extent(), overlap);
    EXPECT_EQ(apply("CIMaximumCompositing", fg, bg).extent(), both);
    EXPECT_EQ(apply("CIMultiplyBlendMode", fg, bg).extent(), both);
    EXPECT_EQ(apply("CIHueBlendMode", fg, bg).extent(), both);
    // Outside the overlap a blend mode shows whichever picture is there.
    const CIFloatBitmap px = renderExact(apply("CIDifferenceBlendMode", fg, bg), both);
    EXPECT_FLOAT_EQ(px.at(0, 0)[0], 0.5f);
    EXPECT_FLOAT_EQ(px.at(5, 5)[3], 0.5f);
}

TEST_F(BuiltinComposite, AMissingPictureGivesTheOther) {
    const CIImage pic = floatImage(2, 2, std::vector<float>(16, 0.25f));
    for (const char* name : {"CIMultiplyBlendMode", "CISourceAtopCompositing", "CIHueBlendMode"}) {
        EXPECT_EQ(apply(name, pic, {}).node(), pic.node()) << name;
        EXPECT_EQ(apply(name, {}, pic).node(), pic.node()) << name;
        EXPECT_TRUE(apply(name, {}, {}).isNull()) << name;
    }
}

// Random pixels, some fully transparent, at every tail length.
std::vector<float> randomPixels(std::mt19937& rng, int n) {
    std::uniform_real_distribution<float> value(-0.25f, 1.25f), alpha(0.0f, 1.0f);
    std::vector<float> px(size_t(n) * 4);
    for (size_t i = 0; i < px.size(); i += 4) {
        const float a = rng() % 5 == 0 ? 0.0f : alpha(rng);
        for (size_t c = 0; c < 3; ++c)
            px[i + c] = value(rng) * a;
        px[i + 3] = a;
    }
    return px;
}

// Equal values (+0 and -0 count as equal, as do two NaNs).
bool sameValues(const std::vector<float>& a, const std::vector<float>& b) {
    for (size_t i = 0; i < a.size(); ++i)
        if (!(a[i] == b[i] || (std::isnan(a[i]) && std::isnan(b[i])))) return false;
    return true;
}

TEST(BuiltinCompositeSpans, VectorOperatorsAgreeWithTheirScalarTwinsAtEveryLength) {
    using builtins::BlendOp;
    using builtins::LaneOp;
    std::mt19937 rng(11);
    for (LaneOp op : {LaneOp::Multiply, LaneOp::Screen, LaneOp::SourceIn, LaneOp::SourceOut,
                      LaneOp::SourceAtop, LaneOp::Maximum, LaneOp::Minimum, LaneOp::Product})
        for (int n = 0; n <= 21; ++n) {
            const std::vector<float> fg = randomPixels(rng, n);
            std::vector<float> bg = randomPixels(rng, n), want = bg;
            builtins::laneOpSpan(op, fg.data(), bg.data(), n);
            builtins::laneOpSpanScalar(op, fg.data(), want.data(), n);
            EXPECT_TRUE(sameValues(bg, want)) << "lane operator " << int(op) << ", length " << n;
        }
    for (int op = int(BlendOp::Overlay); op <= int(BlendOp::Luminosity); ++op)
        for (int n = 0; n <= 21; ++n) {
            const std::vector<float> fg = randomPixels(rng, n);
            std::vector<float> bg = randomPixels(rng, n), want = bg;
            builtins::blendSpan(BlendOp(op), fg.data(), bg.data(), n);
            builtins::blendSpanScalar(BlendOp(op), fg.data(), want.data(), n);
            EXPECT_TRUE(sameValues(bg, want)) << "blend mode " << op << ", length " << n;
        }
}

}  // namespace
