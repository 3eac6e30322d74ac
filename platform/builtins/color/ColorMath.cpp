#include "platform/builtins/color/ColorMath.h"

#include "platform/builtins/color/ColorSpans.h"

namespace cif::builtins::color {

float encodeSrgb(float v) {
    const float m = std::abs(v);
    const float e =
        m <= 1.0f ? engine::linearToSrgb(m) : 1.055f * std::pow(m, 1.0f / 2.4f) - 0.055f;
    return v < 0.0f ? -e : e;
}

float decodeSrgb(float v) {
    const float m = std::abs(v);
    const float d = m <= 1.0f ? engine::srgbToLinear(m) : std::pow((m + 0.055f) / 1.055f, 2.4f);
    return v < 0.0f ? -d : d;
}

namespace {

float labCurve(float t) {
    constexpr float kDelta = 6.0f / 29.0f;
    return t > kDelta * kDelta * kDelta ? std::cbrt(t) : t / (3 * kDelta * kDelta) + 4.0f / 29.0f;
}

}  // namespace

void linearToLab(const float rgb[3], float lab[3]) {
    // Linear sRGB to XYZ, divided by the D65 white.
    const float x = (0.4124564f * rgb[0] + 0.3575761f * rgb[1] + 0.1804375f * rgb[2]) / 0.95047f;
    const float y = 0.2126729f * rgb[0] + 0.7151522f * rgb[1] + 0.0721750f * rgb[2];
    const float z = (0.0193339f * rgb[0] + 0.1191920f * rgb[1] + 0.9503041f * rgb[2]) / 1.08883f;
    const float fx = labCurve(x), fy = labCurve(y), fz = labCurve(z);
    lab[0] = 116.0f * fy - 16.0f;
    lab[1] = 500.0f * (fx - fy);
    lab[2] = 200.0f * (fy - fz);
}

float deltaE94(const float lab1[3], const float lab2[3]) {
    const float dl = lab1[0] - lab2[0];
    const float c1 = std::hypot(lab1[1], lab1[2]), c2 = std::hypot(lab2[1], lab2[2]);
    const float dc = c1 - c2;
    const float da = lab1[1] - lab2[1], db = lab1[2] - lab2[2];
    const float dh2 = std::max(0.0f, da * da + db * db - dc * dc);
    const float sc = 1.0f + 0.045f * c1, sh = 1.0f + 0.015f * c1;
    return std::sqrt(dl * dl + (dc / sc) * (dc / sc) + dh2 / (sh * sh));
}

ToneCurve::ToneCurve(std::vector<std::pair<float, float>> points) {
    std::stable_sort(points.begin(), points.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    for (const auto& [x, y] : points) {
        if (!std::isfinite(x) || !std::isfinite(y)) continue;
        if (!m_x.empty() && !(x > m_x.back())) continue;
        m_x.push_back(x);
        m_y.push_back(y);
    }
    const size_t n = m_x.size();
    if (n < 2) {
        m_x.clear();
        m_y.clear();
        return;
    }
    m_identity = true;
    for (size_t i = 0; i < n; ++i)
        m_identity = m_identity && m_x[i] == m_y[i];
    // Secant slopes, then Fritsch-Carlson tangents: the average of the
    // neighbouring secants, zero at a local extremum, and limited so that no
    // segment overshoots its end values.
    std::vector<float> d(n - 1);
    for (size_t i = 0; i + 1 < n; ++i)
        d[i] = (m_y[i + 1] - m_y[i]) / (m_x[i + 1] - m_x[i]);
    m_slope.assign(n, 0.0f);
    m_slope[0] = d[0];
    m_slope[n - 1] = d[n - 2];
    for (size_t i = 1; i + 1 < n; ++i)
        m_slope[i] = d[i - 1] * d[i] <= 0.0f ? 0.0f : 0.5f * (d[i - 1] + d[i]);
    for (size_t i = 0; i + 1 < n; ++i) {
        if (d[i] == 0.0f) {
            m_slope[i] = m_slope[i + 1] = 0.0f;
            continue;
        }
        const float a = m_slope[i] / d[i], b = m_slope[i + 1] / d[i];
        const float s = a * a + b * b;
        if (s > 9.0f) {
            const float t = 3.0f / std::sqrt(s);
            m_slope[i] = t * a * d[i];
            m_slope[i + 1] = t * b * d[i];
        }
    }
}

float ToneCurve::operator()(float x) const {
    if (m_x.empty()) return x;
    if (!(x > m_x.front())) return x == x ? m_y.front() : x;  // NaN stays NaN
    if (x >= m_x.back()) return m_y.back();
    size_t i = 0;
    while (x >= m_x[i + 1])
        ++i;
    const float h = m_x[i + 1] - m_x[i];
    const float t = (x - m_x[i]) / h;
    const float t2 = t * t, t3 = t2 * t;
    const float h00 = 2 * t3 - 3 * t2 + 1, h10 = t3 - 2 * t2 + t, h01 = -2 * t3 + 3 * t2,
                h11 = t3 - t2;
    return h00 * m_y[i] + h10 * h * m_slope[i] + h01 * m_y[i + 1] + h11 * h * m_slope[i + 1];
}

namespace {

class LinearMatrixNode final : public engine::PointNode {
public:
    LinearMatrixNode(engine::NodePtr input, const std::array<double, 9>& m)
        : PointNode(std::move(input)) {
        for (int r = 0; r < 3; ++r)
            for (int c = 0; c < 3; ++c)
                m_matrix[4 * r + c] = finiteOr(m[size_t(3 * r + c)], 0.0);
        m_matrix[15] = 1.0f;
    }
    void applySpan(float* px, int n, int, int, const engine::RenderState&) const override {
        premulMatrixSpan(px, n, m_matrix);
    }
    const char* kind() const override { return "linear-matrix"; }

private:
    float m_matrix[16] = {};
};

}  // namespace

engine::NodePtr linearMatrixNode(engine::NodePtr input, const std::array<double, 9>& m) {
    return std::make_shared<LinearMatrixNode>(std::move(input), m);
}

}  // namespace cif::builtins::color
