// Reduction built-ins: small pictures that summarise an area of the input
// (averages, extremes, histograms, colour clusters) and the drawing of a
// histogram.
//
// The area is the inputExtent rectangle, taken as the pixels it touches;
// pixels of it outside the input's extent count as transparent black, as a
// sampler reads them. Results are placed at the origin: 1 x 1 for single
// values, count x 1 or width x 1 for rows of them, 1 x height for row
// averages. Their values are data in the working space, so read them from a
// context without colour management to see the numbers themselves. Every
// result is computed once per render, whatever the tiling, by passes in
// bands of rows (AreaScan.h) in a fixed order.

#include <QtGlobal>
#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <vector>

#include "platform/builtins/BuiltinFilter.h"
#include "platform/builtins/color/ColorMath.h"
#include "platform/builtins/reduction/AreaScan.h"

namespace cif::builtins {

namespace {

using engine::IRect;
using engine::NodePtr;
using engine::PixelBuffer;
using engine::PooledBuffer;
using engine::Rect;
using engine::RenderState;
using reduction::scanRows;

// Widest row of results (column averages, histogram display).
constexpr int kMaxResultSide = 1 << 15;

// The area a reduction summarises.
struct Region {
    IRect pixels;   // the pixels of the inputExtent rectangle
    IRect scanned;  // those inside the input's extent: the ones rendered
    bool hasOutside() const { return scanned.area() < pixels.area(); }
};

// The region of the filter's inputExtent; false (with a warning) when it
// would need more than one whole-area pass may read.
bool regionOf(const CIFilter& f, const CIImage& in, const char* name, Region& out) {
    const CIVector v = f.vectorForKey(QStringLiteral("inputExtent"));
    double r[4];
    for (size_t i = 0; i < 4; ++i) {
        const double x = v.valueAtIndex(i);
        r[i] = std::isfinite(x) ? std::clamp(x, -1e9, 1e9) : 0.0;
    }
    const Rect rect{r[0], r[1], r[2], r[3]};
    out.pixels = rect.isEmpty() ? IRect{} : engine::coveringPixels(rect);
    out.scanned =
        rect.isEmpty()
            ? IRect{}
            : engine::coveringPixels(rect.intersected(in.node()->extent())).intersected(out.pixels);
    if (out.pixels.w > (1 << 30) || out.pixels.h > (1 << 30) ||
        out.scanned.area() > reduction::kMaxScanPixels) {
        qWarning("%s: the area is too large to reduce", name);
        return false;
    }
    return true;
}

// Computes the reduction's result pixels (premultiplied, row by row from the
// bottom) from its inputs; false when cancelled.
using Reduce = std::function<bool(const std::vector<NodePtr>& inputs, const RenderState& state,
                                  std::vector<float>& out)>;

// A small picture at `output` whose pixels all come from one computation over
// whole areas of the inputs (their regions of interest are fixed).
class ReductionNode final : public engine::Node {
public:
    ReductionNode(std::vector<NodePtr> inputs, std::vector<IRect> reads, const IRect& output,
                  Reduce reduce, const char* kind)
        : Node(std::move(inputs), output.toRect()),
          m_reads(std::move(reads)),
          m_output(output),
          m_reduce(std::move(reduce)),
          m_kind(kind) {}
    Rect regionOfInterest(size_t index, const Rect&) const override {
        return index < m_reads.size() ? m_reads[index].toRect() : Rect::empty();
    }
    void render(PixelBuffer& dst, const RenderState& state) const override {
        dst.fillTransparent();
        const IRect area = dst.rect().intersected(m_output);
        if (area.isEmpty()) return;
        std::vector<float> values;
        const bool ok = m_result.get(
            state, values, [&](std::vector<float>& out) { return m_reduce(inputs(), state, out); });
        if (!ok || values.size() != size_t(m_output.area()) * 4) return;
        for (int y = area.y; y < area.top(); ++y)
            std::copy_n(&values[(size_t(y - m_output.y) * size_t(m_output.w) +
                                 size_t(area.x - m_output.x)) *
                                4],
                        size_t(area.w) * 4, dst.at(area.x, y));
    }
    const char* kind() const override { return m_kind; }

private:
    std::vector<IRect> m_reads;
    IRect m_output;
    Reduce m_reduce;
    const char* m_kind;
    reduction::ScanResult m_result;
};

// One pass over the pixels of the region inside the input's extent, in scan
// order: rows from the bottom, left to right.
bool scanRegion(const engine::Node& node, const Region& region, const RenderState& state,
                const std::function<void(const float* px, int x, int y)>& perPixel) {
    return scanRows(node, region.scanned, state, [&](const float* p, int y) {
        for (int i = 0; i < region.scanned.w; ++i, p += 4)
            perPixel(p, region.scanned.x + i, y);
    });
}

CIImage reductionImage(const CIImage& in, const Region& region, const IRect& output, Reduce reduce,
                       const char* kind) {
    return CIImage::imageWithNode(std::make_shared<ReductionNode>(
        std::vector<NodePtr>{in.node()}, std::vector<IRect>{region.scanned}, output,
        std::move(reduce), kind));
}

// The common start of every area reduction: the input and its region.
bool start(const CIFilter& f, const char* name, CIImage& in, Region& region) {
    in = f.imageForKey(kCIInputImageKey);
    return !in.isNull() && regionOf(f, in, name, region);
}

// ---------------------------------------------------------------- averages

CIImage areaAverage(const CIFilter& f) {
    CIImage in;
    Region region;
    if (!start(f, "CIAreaAverage", in, region)) return {};
    return reductionImage(
        in, region, IRect{0, 0, 1, 1},
        [region](const std::vector<NodePtr>& inputs, const RenderState& state,
                 std::vector<float>& out) {
            double sum[4] = {0, 0, 0, 0};
            if (!scanRegion(*inputs[0], region, state, [&](const float* p, int, int) {
                    for (int c = 0; c < 4; ++c)
                        sum[c] += p[c];
                }))
                return false;
            const double n = double(region.pixels.area());
            out.assign(4, 0.0f);
            for (size_t c = 0; c < 4 && n > 0; ++c)
                out[c] = float(sum[c] / n);
            return true;
        },
        "area-average");
}

// One average per column (Columns) or per row of the region.
template <bool Columns>
CIImage lineAverage(const CIFilter& f) {
    CIImage in;
    Region region;
    if (!start(f, Columns ? "CIColumnAverage" : "CIRowAverage", in, region)) return {};
    const int lines = Columns ? region.pixels.w : region.pixels.h;
    if (lines <= 0) return CIImage::emptyImage();
    if (lines > kMaxResultSide) {
        qWarning("%s: the area is too large to reduce",
                 Columns ? "CIColumnAverage" : "CIRowAverage");
        return {};
    }
    const IRect output = Columns ? IRect{0, 0, lines, 1} : IRect{0, 0, 1, lines};
    return reductionImage(
        in, region, output,
        [region, lines](const std::vector<NodePtr>& inputs, const RenderState& state,
                        std::vector<float>& out) {
            std::vector<double> sums(size_t(lines) * 4, 0.0);
            if (!scanRegion(*inputs[0], region, state, [&](const float* p, int x, int y) {
                    double* s =
                        &sums[size_t(Columns ? x - region.pixels.x : y - region.pixels.y) * 4];
                    for (int c = 0; c < 4; ++c)
                        s[c] += p[c];
                }))
                return false;
            const double n = Columns ? region.pixels.h : region.pixels.w;
            out.resize(sums.size());
            for (size_t i = 0; i < sums.size(); ++i)
                out[i] = float(sums[i] / n);
            return true;
        },
        Columns ? "column-average" : "row-average");
}

// ---------------------------------------------------------------- extremes

// Per-channel minimum and maximum of the region (transparent black for an
// empty region).
bool extremes(const engine::Node& node, const Region& region, const RenderState& state, float lo[4],
              float hi[4]) {
    const float inf = std::numeric_limits<float>::infinity();
    std::fill_n(lo, 4, inf);
    std::fill_n(hi, 4, -inf);
    if (!scanRegion(node, region, state, [&](const float* p, int, int) {
            for (int c = 0; c < 4; ++c) {
                lo[c] = std::min(lo[c], p[c]);
                hi[c] = std::max(hi[c], p[c]);
            }
        }))
        return false;
    for (int c = 0; c < 4; ++c) {
        if (region.hasOutside()) {
            lo[c] = std::min(lo[c], 0.0f);
            hi[c] = std::max(hi[c], 0.0f);
        }
        if (lo[c] == inf) lo[c] = hi[c] = 0.0f;  // nothing at all
    }
    return true;
}

// Which extremes a filter answers.
enum class Extremes { Minimum, Maximum, MinMax, MinMaxRed };

template <Extremes E>
CIImage areaExtremes(const CIFilter& f) {
    static constexpr const char* kNames[] = {"CIAreaMinimum", "CIAreaMaximum", "CIAreaMinMax",
                                             "CIAreaMinMaxRed"};
    CIImage in;
    Region region;
    if (!start(f, kNames[int(E)], in, region)) return {};
    const IRect output{0, 0, E == Extremes::MinMax ? 2 : 1, 1};
    return reductionImage(
        in, region, output,
        [region](const std::vector<NodePtr>& inputs, const RenderState& state,
                 std::vector<float>& out) {
            float lo[4], hi[4];
            if (!extremes(*inputs[0], region, state, lo, hi)) return false;
            switch (E) {
                case Extremes::Minimum:
                    out.assign(lo, lo + 4);
                    break;
                case Extremes::Maximum:
                    out.assign(hi, hi + 4);
                    break;
                case Extremes::MinMax:
                    out.assign(lo, lo + 4);
                    out.insert(out.end(), hi, hi + 4);
                    break;
                case Extremes::MinMaxRed:
                    // The red channel's minimum in red and maximum in green.
                    out = {lo[0], hi[0], 0.0f, 1.0f};
                    break;
            }
            return true;
        },
        "area-extremes");
}

// The whole pixel with the largest (or smallest) alpha; of equal ones the
// first in scan order, the transparent outside last.
template <bool Max>
CIImage areaAlphaExtreme(const CIFilter& f) {
    CIImage in;
    Region region;
    if (!start(f, Max ? "CIAreaMaximumAlpha" : "CIAreaMinimumAlpha", in, region)) return {};
    return reductionImage(
        in, region, IRect{0, 0, 1, 1},
        [region](const std::vector<NodePtr>& inputs, const RenderState& state,
                 std::vector<float>& out) {
            bool found = false;
            float best[4] = {0, 0, 0, 0};
            const auto offer = [&](const float* p) {
                if (!found || (Max ? p[3] > best[3] : p[3] < best[3])) {
                    std::copy_n(p, 4, best);
                    found = true;
                }
            };
            if (!scanRegion(*inputs[0], region, state, [&](const float* p, int, int) { offer(p); }))
                return false;
            const float zero[4] = {0, 0, 0, 0};
            if (region.hasOutside()) offer(zero);
            out.assign(best, best + 4);
            return true;
        },
        Max ? "area-maximum-alpha" : "area-minimum-alpha");
}

// ---------------------------------------------------------------- histograms

// For each channel the share of the region's pixels whose value falls in
// each of `count` equal bins over [0, 1] (values beyond go to the end bins),
// times the scale: at scale 1 each channel's bins add up to 1.
CIImage areaHistogram(const CIFilter& f) {
    CIImage in;
    Region region;
    if (!start(f, "CIAreaHistogram", in, region)) return {};
    const double countValue = f.numberForKey(QStringLiteral("inputCount"));
    const int count =
        int(std::clamp(std::isfinite(countValue) ? std::round(countValue) : 64.0, 1.0, 2048.0));
    const double scaleValue = f.numberForKey(QStringLiteral("inputScale"));
    const double scale = std::isfinite(scaleValue) ? std::clamp(scaleValue, 0.0, 1e6) : 1.0;
    return reductionImage(
        in, region, IRect{0, 0, count, 1},
        [region, count, scale](const std::vector<NodePtr>& inputs, const RenderState& state,
                               std::vector<float>& out) {
            std::vector<double> bins(size_t(count) * 4, 0.0);
            const auto add = [&](const float* p) {
                for (int c = 0; c < 4; ++c) {
                    const float v = p[c] * float(count);
                    const int b = v > 0.0f ? std::min(int(v), count - 1) : 0;  // NaN to bin 0
                    bins[size_t(b) * 4 + size_t(c)] += 1;
                }
            };
            if (!scanRegion(*inputs[0], region, state, [&](const float* p, int, int) { add(p); }))
                return false;
            const double outside = double(region.pixels.area() - region.scanned.area());
            for (int c = 0; c < 4; ++c)
                bins[size_t(c)] += outside;
            const double n = double(region.pixels.area());
            out.resize(bins.size());
            for (size_t i = 0; i < bins.size(); ++i)
                out[i] = n > 0 ? float(bins[i] * scale / n) : 0.0f;
            return true;
        },
        "area-histogram");
}

// Draws a histogram row (as the area histogram makes it) as bars: one column
// per bin, `height` pixels high, each of red, green and blue a bar as tall as
// its value over the largest value of the three, added over black. The
// columns left of lowLimit (a fraction of the width) are drawn at half
// brightness, those right of highLimit half-way to white, marking the
// clipped ends of the range.
CIImage histogramDisplay(const CIFilter& f) {
    const CIImage in = f.imageForKey(kCIInputImageKey);
    if (in.isNull()) return {};
    const Rect e = in.node()->extent();
    if (e.isEmpty() || e.isUnbounded()) return {};
    const IRect pixels = engine::coveringPixels(e);
    const IRect row{pixels.x, pixels.y, std::min(pixels.w, 4096), 1};
    const auto number = [&](const char* key, double fallback, double lo, double hi) {
        const double v = f.numberForKey(QString::fromLatin1(key));
        return std::clamp(std::isfinite(v) ? v : fallback, lo, hi);
    };
    const int height = int(std::round(number("inputHeight", 100, 1, 200)));
    const double low = number("inputLowLimit", 0, 0, 1), high = number("inputHighLimit", 1, 0, 1);
    const int width = row.w;
    return CIImage::imageWithNode(std::make_shared<ReductionNode>(
        std::vector<NodePtr>{in.node()}, std::vector<IRect>{row}, IRect{0, 0, width, height},
        [row, width, height, low, high](const std::vector<NodePtr>& inputs,
                                        const RenderState& state, std::vector<float>& out) {
            PooledBuffer bins(row);
            engine::renderNode(*inputs[0], *bins, state);
            float top = 0.0f;
            for (int i = 0; i < width; ++i)
                for (int c = 0; c < 3; ++c)
                    top = std::max(top, bins->data()[4 * i + c]);
            out.assign(size_t(width) * size_t(height) * 4, 0.0f);
            for (int i = 0; i < width; ++i) {
                const float* b = bins->data() + 4 * i;
                const double at = (i + 0.5) / width;
                for (int j = 0; j < height; ++j) {
                    float* o = &out[(size_t(j) * size_t(width) + size_t(i)) * 4];
                    for (int c = 0; c < 3; ++c) {
                        const float bar = top > 0.0f ? b[c] / top * float(height) : 0.0f;
                        float v = float(j) + 0.5f < bar ? 1.0f : 0.0f;
                        if (at < low) v *= 0.5f;
                        if (at > high) v = 0.5f + 0.5f * v;
                        o[c] = v;
                    }
                    o[3] = 1.0f;
                }
            }
            return true;
        },
        "histogram-display"));
}

// ---------------------------------------------------------------- k-means

// The most samples clustered; larger regions are sampled on a regular grid.
constexpr int64_t kMaxSamples = 1 << 16;

// The `count` most common colours of the region by k-means (Lloyd's
// algorithm) on straight colours (sRGB-encoded when perceptual), each pixel
// weighted by its coverage. The seeds are the means image's pixels (its
// bottom row, as many as it has up to count), then the samples farthest
// from the seeds so far. Each pass assigns every sample to its nearest mean
// and moves each mean to the centre of its samples. The result, count x 1,
// holds each mean with its share of the region's coverage as alpha
// (premultiplied, so the colour is the straight value a palette reads).
CIImage kMeans(const CIFilter& f) {
    CIImage in;
    Region region;
    if (!start(f, "CIKMeans", in, region)) return {};
    const auto number = [&](const char* key, double fallback, double hi) {
        const double v = f.numberForKey(QString::fromLatin1(key));
        return int(std::clamp(std::isfinite(v) ? std::round(v) : fallback, 0.0, hi));
    };
    const int count = number("inputCount", 8, 128), passes = number("inputPasses", 5, 20);
    const bool perceptual = f.numberForKey(QStringLiteral("inputPerceptual")) != 0;
    if (count == 0) return CIImage::emptyImage();
    std::vector<NodePtr> nodes{in.node()};
    std::vector<IRect> reads{region.scanned};
    const CIImage seeds = f.imageForKey(QStringLiteral("inputMeans"));
    if (!seeds.isNull() && !seeds.node()->extent().isUnbounded() &&
        !seeds.node()->extent().isEmpty()) {
        const IRect p = engine::coveringPixels(seeds.node()->extent());
        nodes.push_back(seeds.node());
        reads.push_back(IRect{p.x, p.y, std::min(p.w, count), 1});
    }
    const auto reduce = [region, count, passes, perceptual, reads](
                            const std::vector<NodePtr>& inputs, const RenderState& state,
                            std::vector<float>& out) {
        const bool linear = state.space == engine::WorkingSpace::LinearSRGB;
        const auto toMeasure = [&](const float* p, float* m) {
            for (int c = 0; c < 3; ++c) {
                const float s = p[c] / p[3];
                m[c] = perceptual && linear ? color::encodeSrgb(s) : s;
            }
        };
        // Samples: straight colour and weight.
        const int64_t area = region.scanned.area();
        const int step =
            int(std::ceil(std::sqrt(double(std::max<int64_t>(area, 1)) / double(kMaxSamples))));
        std::vector<float> samples;
        double totalWeight = 0;
        if (!scanRegion(*inputs[0], region, state, [&](const float* p, int x, int y) {
                if ((x - region.scanned.x) % step || (y - region.scanned.y) % step) return;
                if (!(p[3] > 0.0f)) return;
                float m[3];
                toMeasure(p, m);
                samples.insert(samples.end(), {m[0], m[1], m[2], p[3]});
            }))
            return false;
        const size_t n = samples.size() / 4;
        for (size_t i = 0; i < n; ++i)
            totalWeight += samples[4 * i + 3];
        std::vector<float> means;
        if (inputs.size() > 1) {
            PooledBuffer seedPixels(reads[1]);
            engine::renderNode(*inputs[1], *seedPixels, state);
            for (int i = 0; i < reads[1].w; ++i) {
                const float* p = seedPixels->data() + 4 * i;
                float m[3] = {0, 0, 0};
                if (p[3] > 0.0f) toMeasure(p, m);
                means.insert(means.end(), m, m + 3);
            }
        }
        const auto distance = [](const float* a, const float* b) {
            const float d0 = a[0] - b[0], d1 = a[1] - b[1], d2 = a[2] - b[2];
            return d0 * d0 + d1 * d1 + d2 * d2;
        };
        if (means.empty() && n > 0) {
            double s[3] = {0, 0, 0};
            for (size_t i = 0; i < n; ++i)
                for (int c = 0; c < 3; ++c)
                    s[c] += double(samples[4 * i + size_t(c)]) * samples[4 * i + 3];
            for (int c = 0; c < 3; ++c)
                means.push_back(float(s[c] / totalWeight));
        }
        // Farthest-point seeding for the rest.
        std::vector<float> nearest(n, std::numeric_limits<float>::infinity());
        size_t known = 0;
        while (int(means.size() / 3) < count && n > 0) {
            for (; known < means.size() / 3; ++known)
                for (size_t i = 0; i < n; ++i)
                    nearest[i] = std::min(nearest[i], distance(&samples[4 * i], &means[3 * known]));
            size_t far = 0;
            for (size_t i = 1; i < n; ++i)
                if (nearest[i] > nearest[far]) far = i;
            means.insert(means.end(), &samples[4 * far], &samples[4 * far] + 3);
        }
        means.resize(size_t(count) * 3, 0.0f);
        std::vector<double> weights(size_t(count), 0.0);
        const auto closest = [&](const float* s) {
            int best = 0;
            float bestD = std::numeric_limits<float>::infinity();
            for (int k = 0; k < count; ++k) {
                const float d = distance(s, &means[size_t(3 * k)]);
                if (d < bestD) {
                    bestD = d;
                    best = k;
                }
            }
            return best;
        };
        for (int pass = 0; pass <= passes; ++pass) {
            if (state.cancelled()) return false;
            std::vector<double> sums(size_t(count) * 3, 0.0);
            std::fill(weights.begin(), weights.end(), 0.0);
            for (size_t i = 0; i < n; ++i) {
                const float* s = &samples[4 * i];
                const int k = closest(s);
                for (int c = 0; c < 3; ++c)
                    sums[size_t(3 * k + c)] += double(s[c]) * s[3];
                weights[size_t(k)] += s[3];
            }
            // The last round only counts the weights of the final means.
            if (pass == passes) break;
            for (int k = 0; k < count; ++k)
                if (weights[size_t(k)] > 0)
                    for (int c = 0; c < 3; ++c)
                        means[size_t(3 * k + c)] =
                            float(sums[size_t(3 * k + c)] / weights[size_t(k)]);
        }
        out.assign(size_t(count) * 4, 0.0f);
        for (int k = 0; k < count; ++k) {
            const float w = totalWeight > 0 ? float(weights[size_t(k)] / totalWeight) : 0.0f;
            for (int c = 0; c < 3; ++c) {
                const float m = means[size_t(3 * k + c)];
                out[size_t(4 * k + c)] = (perceptual && linear ? color::decodeSrgb(m) : m) * w;
            }
            out[size_t(4 * k + 3)] = w;
        }
        return true;
    };
    return CIImage::imageWithNode(std::make_shared<ReductionNode>(
        std::move(nodes), std::move(reads), IRect{0, 0, count, 1}, reduce, "k-means"));
}

}  // namespace

std::vector<BuiltinDef> reductionBuiltins() {
    return {
        {"CIAreaAverage", areaAverage},
        {"CIAreaMaximum", areaExtremes<Extremes::Maximum>},
        {"CIAreaMinimum", areaExtremes<Extremes::Minimum>},
        {"CIAreaMinMax", areaExtremes<Extremes::MinMax>},
        {"CIAreaMinMaxRed", areaExtremes<Extremes::MinMaxRed>},
        {"CIAreaMaximumAlpha", areaAlphaExtreme<true>},
        {"CIAreaMinimumAlpha", areaAlphaExtreme<false>},
        {"CIColumnAverage", lineAverage<true>},
        {"CIRowAverage", lineAverage<false>},
        {"CIAreaHistogram", areaHistogram},
        {"CIHistogramDisplayFilter", histogramDisplay},
        {"CIKMeans", kMeans},
    };
}

}  // namespace cif::builtins
