// The picture libraries: glass textures, brushes, shading materials, masks,
// gradients and backgrounds, computed pixel by pixel from fixed seeds.

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>
#include <algorithm>
#include <array>
#include <cmath>
#include <functional>

#include "tools/resgen/Noise.h"
#include "tools/resgen/Pictures.h"

namespace cif::resgen {

namespace {

constexpr double kPi = 3.14159265358979323846;

struct Rgb {
    double r, g, b;
};

Rgb mix(const Rgb& a, const Rgb& b, double t) {
    return {a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t};
}
Rgb scale(const Rgb& c, double s) {
    return {c.r * s, c.g * s, c.b * s};
}
Rgb add(const Rgb& a, const Rgb& b) {
    return {a.r + b.r, a.g + b.g, a.b + b.b};
}

double clamp01(double v) {
    return std::clamp(v, 0.0, 1.0);
}
int toByte(double v) {
    return int(std::lround(clamp01(v) * 255.0));
}
double smoothStep(double e0, double e1, double x) {
    const double t = clamp01((x - e0) / (e1 - e0));
    return t * t * (3 - 2 * t);
}

// A greyscale picture from f(x, y) over pixel centres; the values are stretched
// to the full range so every texture uses all grey levels.
QImage greyField(int w, int h, const std::function<double(double, double)>& f) {
    std::vector<double> v(size_t(w) * size_t(h));
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            v[size_t(y) * size_t(w) + size_t(x)] = f(x + 0.5, y + 0.5);
    const auto [lo, hi] = std::minmax_element(v.begin(), v.end());
    const double base = *lo, span = std::max(*hi - *lo, 1e-9);
    QImage image(w, h, QImage::Format_Grayscale8);
    for (int y = 0; y < h; ++y) {
        uchar* line = image.scanLine(y);
        for (int x = 0; x < w; ++x)
            line[x] = uchar(toByte((v[size_t(y) * size_t(w) + size_t(x)] - base) / span));
    }
    return image;
}

QImage greyPicture(int w, int h, const std::function<double(double, double)>& f) {
    QImage image(w, h, QImage::Format_Grayscale8);
    for (int y = 0; y < h; ++y) {
        uchar* line = image.scanLine(y);
        for (int x = 0; x < w; ++x)
            line[x] = uchar(toByte(f(x + 0.5, y + 0.5)));
    }
    return image;
}

QImage colourPicture(int w, int h, const std::function<Rgb(double, double)>& f) {
    QImage image(w, h, QImage::Format_RGB32);
    for (int y = 0; y < h; ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < w; ++x) {
            const Rgb c = f(x + 0.5, y + 0.5);
            line[x] = qRgb(toByte(c.r), toByte(c.g), toByte(c.b));
        }
    }
    return image;
}

// Black ink whose coverage is f(x, y), on a transparent ground.
QImage inkPicture(int w, int h, const std::function<double(double, double)>& f) {
    QImage image(w, h, QImage::Format_ARGB32);
    for (int y = 0; y < h; ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < w; ++x)
            line[x] = qRgba(0, 0, 0, toByte(f(x + 0.5, y + 0.5)));
    }
    return image;
}

// Shortest distance between two points of the unit torus.
double torusDistance(double u0, double v0, double u1, double v1) {
    double du = std::fabs(u0 - u1), dv = std::fabs(v0 - v1);
    du = std::min(du, 1 - du);
    dv = std::min(dv, 1 - dv);
    return std::hypot(du, dv);
}

constexpr int kTexture = 256;

}  // namespace

NamedImages glassTextures() {
    NamedImages out;
    const double n = kTexture;

    // Round drops of several sizes, domed, scattered with wrap-around.
    {
        struct Bubble {
            double u, v, r;
        };
        std::vector<Bubble> list;
        Random rnd(11);
        for (int i = 0; i < 70; ++i) {
            const double r = 0.015 + 0.085 * std::pow(rnd.next(), 2.5);
            list.push_back({rnd.next(), rnd.next(), r});
        }
        out.emplace_back(QStringLiteral("Bubbles"),
                         greyField(kTexture, kTexture, [&](double x, double y) {
                             const double u = x / n, v = y / n;
                             double height = 0.08 * fbm(u, v, 8, 3, 12);
                             for (const Bubble& b : list) {
                                 const double d = torusDistance(u, v, b.u, b.v) / b.r;
                                 if (d < 1) height = std::max(height, std::sqrt(1 - d * d));
                             }
                             return height;
                         }));
    }
    // Fine frost: cloudy noise with grain.
    out.emplace_back(QStringLiteral("Frosted"),
                     greyField(kTexture, kTexture, [&](double x, double y) {
                         const double u = x / n, v = y / n;
                         const double grain = unitFromHash(hash3(int(x), int(y), 21));
                         return 0.65 * fbm(u, v, 32, 4, 22, 0.6) + 0.35 * grain;
                     }));
    // Hammered glass: shallow dimples around scattered cell points.
    out.emplace_back(QStringLiteral("Hammered"),
                     greyField(kTexture, kTexture, [&](double x, double y) {
                         const double u = x / n, v = y / n;
                         const double d = cellDistance(u * 10, v * 10, 10, 31);
                         return d * d + 0.08 * fbm(u, v, 16, 3, 32);
                     }));
    // Reeded glass: vertical rounded flutes, slightly uneven.
    out.emplace_back(QStringLiteral("Reeded"),
                     greyField(kTexture, kTexture, [&](double x, double y) {
                         const double u = x / n, v = y / n;
                         const double phase = u * 16 + 0.15 * (fbm(u, v, 4, 2, 41) - 0.5);
                         const double s = std::fabs(std::sin(kPi * phase));
                         return std::sqrt(s) + 0.05 * fbm(u, v, 32, 2, 42);
                     }));
    // Ripples spreading from a few drops.
    {
        struct Drop {
            double u, v, freq, phase;
        };
        std::vector<Drop> drops;
        Random rnd(51);
        for (int i = 0; i < 5; ++i)
            drops.push_back({rnd.next(), rnd.next(), rnd.range(12, 20), rnd.range(0, 2 * kPi)});
        out.emplace_back(QStringLiteral("Ripples"),
                         greyField(kTexture, kTexture, [&](double x, double y) {
                             const double u = x / n, v = y / n;
                             double sum = 0;
                             for (const Drop& d : drops) {
                                 const double r = torusDistance(u, v, d.u, d.v);
                                 sum += std::sin(2 * kPi * d.freq * r + d.phase) * std::exp(-r * 5);
                             }
                             return sum;
                         }));
    }
    // Wavy horizontal bands bent by noise.
    out.emplace_back(QStringLiteral("Waves"),
                     greyField(kTexture, kTexture, [&](double x, double y) {
                         const double u = x / n, v = y / n;
                         const double warp = fbm(u, v, 3, 3, 61);
                         return 0.5 + 0.5 * std::sin(2 * kPi * (6 * v + 1.5 * warp));
                     }));
    return out;
}

NamedImages brushes() {
    constexpr int kSize = 128;
    constexpr double c = kSize / 2.0;
    NamedImages out;

    // Short bristle strokes across an ellipse, with uneven ink.
    {
        struct Bristle {
            double y, width, x0, x1, ink, wave;
        };
        std::vector<Bristle> list;
        Random rnd(71);
        for (int i = 0; i < 70; ++i) {
            const double t = rnd.range(-1, 1);
            const double half = 50 * std::sqrt(1 - t * t) * rnd.range(0.6, 1.0);
            const double shift = rnd.range(-8, 8);
            list.push_back({c + 40 * t, rnd.range(0.8, 2.6), c - half + shift, c + half + shift,
                            rnd.range(0.35, 0.9), rnd.range(0, 2 * kPi)});
        }
        out.emplace_back(
            QStringLiteral("Bristle"), inkPicture(kSize, kSize, [&](double x, double y) {
                double clear = 1;
                for (const Bristle& b : list) {
                    if (x < b.x0 || x > b.x1) continue;
                    const double by = b.y + 1.5 * std::sin(x * 0.06 + b.wave);
                    const double across = clamp01(b.width / 2 - std::fabs(y - by) + 0.5);
                    const double taper =
                        smoothStep(b.x0, b.x0 + 10, x) * smoothStep(b.x1, b.x1 - 14, x);
                    clear *= 1 - b.ink * across * taper;
                }
                return 1 - clear;
            }));
    }
    // A grainy disc, like chalk on rough paper.
    out.emplace_back(QStringLiteral("Chalk"), inkPicture(kSize, kSize, [&](double x, double y) {
                         const double r = std::hypot(x - c, y - c);
                         const double edge = smoothStep(56, 44, r);
                         const double grain = 0.6 * fbm(x / kSize, y / kSize, 24, 3, 81) +
                                              0.4 * unitFromHash(hash3(int(x), int(y), 82));
                         return edge * smoothStep(0.3, 0.6, grain);
                     }));
    // A hard round dab with an antialiased edge.
    out.emplace_back(QStringLiteral("Round"), inkPicture(kSize, kSize, [&](double x, double y) {
                         return clamp01(56 - std::hypot(x - c, y - c) + 0.5);
                     }));
    // A soft round dab: a Gaussian that reaches zero before the border.
    out.emplace_back(QStringLiteral("Soft Round"),
                     inkPicture(kSize, kSize, [&](double x, double y) {
                         const double r = std::hypot(x - c, y - c);
                         return std::exp(-r * r / (2 * 20.0 * 20.0)) * smoothStep(62, 48, r);
                     }));
    // A splash: a ragged blob with droplets thrown around it.
    {
        struct Drop {
            double x, y, r;
        };
        std::vector<Drop> drops;
        Random rnd(91);
        for (int i = 0; i < 46; ++i) {
            const double angle = rnd.range(0, 2 * kPi);
            const double dist = rnd.range(26, 58);
            const double r =
                std::max(0.8, 7.5 * std::pow(1 - (dist - 26) / 32, 1.5) * rnd.range(0.4, 1.0));
            drops.push_back({c + dist * std::cos(angle), c + dist * std::sin(angle), r});
        }
        out.emplace_back(
            QStringLiteral("Splatter"), inkPicture(kSize, kSize, [&](double x, double y) {
                const double angle = std::atan2(y - c, x - c);
                const double a = (angle + kPi) / (2 * kPi);
                const double ragged = 24 * (0.8 + 0.45 * valueNoise(a * 12, 0.5, 12, 92));
                double cover = clamp01(ragged - std::hypot(x - c, y - c) + 0.5);
                for (const Drop& d : drops)
                    cover = std::max(cover, clamp01(d.r - std::hypot(x - d.x, y - d.y) + 0.5));
                return cover;
            }));
    }
    return out;
}

namespace {

// A lit sphere filling the square: material(n, r) gives the colour for the
// unit surface normal n (x right, y up, z towards the viewer) and the
// reflected view direction r. The rim is antialiased against black.
QImage sphere(const std::function<Rgb(const std::array<double, 3>&, const std::array<double, 3>&,
                                      double, double)>& material) {
    const double half = kTexture / 2.0;
    return colourPicture(kTexture, kTexture, [&](double x, double y) {
        const double nx = (x - half) / (half - 1), ny = (half - y) / (half - 1);
        const double rr = nx * nx + ny * ny;
        const double cover = clamp01((1 - std::sqrt(rr)) * (half - 1) + 0.5);
        if (cover <= 0) return Rgb{0, 0, 0};
        const double nz = std::sqrt(std::max(0.0, 1 - std::min(rr, 1.0)));
        const std::array<double, 3> n{nx, ny, nz};
        // Reflection of the view direction (0, 0, 1) about n.
        const std::array<double, 3> r{2 * nz * nx, 2 * nz * ny, 2 * nz * nz - 1};
        return scale(material(n, r, x, y), cover);
    });
}

const std::array<double, 3> kLight = [] {
    const double x = -0.45, y = 0.6, z = 0.66;
    const double len = std::sqrt(x * x + y * y + z * z);
    return std::array<double, 3>{x / len, y / len, z / len};
}();

double dot(const std::array<double, 3>& a, const std::array<double, 3>& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

// A studio environment seen in a mirror: bright sky, a soft horizon, dark
// floor, and a window-like light in the upper left.
Rgb environment(const std::array<double, 3>& r) {
    const double up = r[1];
    Rgb sky = mix(Rgb{0.78, 0.84, 0.92}, Rgb{0.35, 0.48, 0.72}, smoothStep(0.0, 0.9, up));
    const Rgb floor = mix(Rgb{0.5, 0.45, 0.4}, Rgb{0.16, 0.15, 0.15}, smoothStep(0, -0.8, up));
    Rgb c = up > 0 ? sky : floor;
    c = mix(c, Rgb{0.95, 0.95, 0.95}, std::exp(-up * up * 900) * 0.6);  // bright horizon line
    const double window = dot(r, kLight);
    c = add(c, scale(Rgb{1, 1, 1}, smoothStep(0.9, 0.97, window) * 1.2));
    return c;
}

Rgb phong(const std::array<double, 3>& n, const std::array<double, 3>& r, const Rgb& albedo,
          double ambient, double specular, double shininess) {
    const double diffuse = std::max(0.0, dot(n, kLight));
    const double spec = std::pow(std::max(0.0, dot(r, kLight)), shininess) * specular;
    // A faint fill light from the lower right keeps the shadow side readable.
    const double fill = std::max(0.0, 0.5 * n[0] - 0.3 * n[1] + 0.3 * n[2]) * 0.25;
    return add(scale(albedo, ambient + diffuse * (1 - ambient) + fill), {spec, spec, spec});
}

}  // namespace

NamedImages shadingMaterials() {
    NamedImages out;
    out.emplace_back(QStringLiteral("Chrome"), sphere([](const auto&, const auto& r, double,
                                                         double) { return environment(r); }));
    const auto metal = [](const Rgb& tint) {
        return
            [tint](const std::array<double, 3>& n, const std::array<double, 3>& r, double, double) {
                const Rgb env = environment(r);
                const double lum = 0.3 * env.r + 0.55 * env.g + 0.15 * env.b;
                const double fresnel = std::pow(1 - std::max(0.0, n[2]), 3);
                const Rgb reflected = mix(scale(tint, lum * 1.15), env, 0.25 * fresnel);
                return add(scale(tint, 0.12 * std::max(0.0, dot(n, kLight))), reflected);
            };
    };
    out.emplace_back(QStringLiteral("Copper"), sphere(metal({0.95, 0.55, 0.38})));
    out.emplace_back(QStringLiteral("Gold"), sphere(metal({1.0, 0.78, 0.32})));
    out.emplace_back(QStringLiteral("Plastic"),
                     sphere([](const auto& n, const auto& r, double, double) {
                         return phong(n, r, {0.8, 0.12, 0.1}, 0.12, 0.9, 60);
                     }));
    out.emplace_back(
        QStringLiteral("Sand"), sphere([](const auto& n, const auto& r, double x, double y) {
            const double grain = unitFromHash(hash3(int(x), int(y), 101));
            const double ripple = fbm(x / kTexture, y / kTexture, 6, 3, 102);
            const Rgb albedo =
                mix(Rgb{0.78, 0.64, 0.42}, Rgb{0.93, 0.83, 0.62}, 0.55 * grain + 0.45 * ripple);
            return phong(n, r, albedo, 0.18, 0.08, 8);
        }));
    out.emplace_back(
        QStringLiteral("Stone"), sphere([](const auto& n, const auto& r, double x, double y) {
            const double u = x / kTexture, v = y / kTexture;
            const double blotch = fbm(u, v, 5, 5, 111);
            const double speck = unitFromHash(hash3(int(x), int(y), 112));
            Rgb albedo =
                mix(Rgb{0.36, 0.36, 0.38}, Rgb{0.66, 0.64, 0.6}, smoothStep(0.3, 0.75, blotch));
            if (speck > 0.94) albedo = scale(albedo, 0.6);
            return phong(n, r, albedo, 0.15, 0.15, 12);
        }));
    return out;
}

NamedImages masks() {
    constexpr int kSize = 256;
    constexpr double c = kSize / 2.0;
    NamedImages out;
    const auto painted = [](const std::function<void(QPainter&)>& draw) {
        QImage image(kSize, kSize, QImage::Format_RGB32);
        image.fill(Qt::black);
        QPainter p(&image);
        p.setRenderHint(QPainter::Antialiasing);
        p.setPen(Qt::NoPen);
        p.setBrush(Qt::white);
        draw(p);
        p.end();
        return image.convertToFormat(QImage::Format_Grayscale8);
    };
    const QString shapes = QStringLiteral("Images/Shapes/");
    const QString ramps = QStringLiteral("Images/Gradients/");

    out.emplace_back(shapes + QStringLiteral("Disc.png"),
                     painted([](QPainter& p) { p.drawEllipse(QPointF(c, c), 104, 104); }));
    out.emplace_back(shapes + QStringLiteral("Heart.png"), painted([](QPainter& p) {
                         QPainterPath path(QPointF(128, 222));
                         path.cubicTo(40, 160, 14, 110, 34, 70);
                         path.cubicTo(56, 28, 114, 30, 128, 78);
                         path.cubicTo(142, 30, 200, 28, 222, 70);
                         path.cubicTo(242, 110, 216, 160, 128, 222);
                         p.drawPath(path);
                     }));
    out.emplace_back(shapes + QStringLiteral("Rounded Square.png"), painted([](QPainter& p) {
                         p.drawRoundedRect(QRectF(28, 28, 200, 200), 36, 36);
                     }));
    out.emplace_back(shapes + QStringLiteral("Star.png"), painted([](QPainter& p) {
                         QPolygonF star;
                         for (int i = 0; i < 10; ++i) {
                             const double a = kPi / 2 + i * kPi / 5;
                             const double r = i % 2 == 0 ? 112 : 46;
                             star << QPointF(c + r * std::cos(a), c + 8 - r * std::sin(a));
                         }
                         p.drawPolygon(star);
                     }));
    out.emplace_back(ramps + QStringLiteral("Diamond.png"),
                     greyPicture(kSize, kSize, [](double x, double y) {
                         return 1 - (std::fabs(x - c) + std::fabs(y - c)) / c;
                     }));
    out.emplace_back(ramps + QStringLiteral("Linear.png"),
                     greyPicture(kSize, kSize, [](double x, double) { return x / kSize; }));
    out.emplace_back(ramps + QStringLiteral("Radial.png"),
                     greyPicture(kSize, kSize, [](double x, double y) {
                         return 1 - std::hypot(x - c, y - c) / c;
                     }));
    out.emplace_back(ramps + QStringLiteral("Vignette.png"),
                     greyPicture(kSize, kSize, [](double x, double y) {
                         const double dx = (x - c) / c, dy = (y - c) / c;
                         return smoothStep(1.15, 0.45, std::hypot(dx, dy));
                     }));
    return out;
}

NamedImages gradients() {
    constexpr int kWidth = 256, kHeight = 32;
    struct Stop {
        double at;
        Rgb colour;
    };
    const auto ramp = [](std::vector<Stop> stops) {
        return colourPicture(kWidth, kHeight, [stops](double x, double) {
            const double t = (x - 0.5) / (kWidth - 1);
            if (t <= stops.front().at) return stops.front().colour;
            for (size_t i = 1; i < stops.size(); ++i)
                if (t <= stops[i].at) {
                    const double f = (t - stops[i - 1].at) / (stops[i].at - stops[i - 1].at);
                    return mix(stops[i - 1].colour, stops[i].colour, f);
                }
            return stops.back().colour;
        });
    };
    const auto rgb = [](int r, int g, int b) { return Rgb{r / 255.0, g / 255.0, b / 255.0}; };
    NamedImages out;
    out.emplace_back(QStringLiteral("Fire.png"), ramp({{0, rgb(10, 0, 0)},
                                                       {0.35, rgb(170, 20, 0)},
                                                       {0.65, rgb(255, 140, 0)},
                                                       {0.9, rgb(255, 230, 90)},
                                                       {1, rgb(255, 255, 230)}}));
    out.emplace_back(QStringLiteral("Forest.png"), ramp({{0, rgb(20, 40, 20)},
                                                         {0.4, rgb(40, 110, 50)},
                                                         {0.75, rgb(150, 190, 70)},
                                                         {1, rgb(240, 230, 150)}}));
    out.emplace_back(QStringLiteral("Grey.png"),
                     ramp({{0, rgb(0, 0, 0)}, {1, rgb(255, 255, 255)}}));
    out.emplace_back(QStringLiteral("Ocean.png"), ramp({{0, rgb(5, 20, 60)},
                                                        {0.45, rgb(0, 90, 160)},
                                                        {0.8, rgb(60, 200, 210)},
                                                        {1, rgb(230, 250, 240)}}));
    out.emplace_back(QStringLiteral("Rainbow.png"), ramp({{0, rgb(230, 30, 40)},
                                                          {0.2, rgb(250, 150, 20)},
                                                          {0.38, rgb(250, 230, 40)},
                                                          {0.56, rgb(40, 190, 70)},
                                                          {0.76, rgb(30, 110, 230)},
                                                          {1, rgb(140, 50, 200)}}));
    out.emplace_back(QStringLiteral("Sunset.png"), ramp({{0, rgb(30, 20, 80)},
                                                         {0.35, rgb(150, 40, 120)},
                                                         {0.65, rgb(240, 100, 70)},
                                                         {1, rgb(255, 210, 110)}}));
    out.emplace_back(QStringLiteral("Metals/Gold.png"), ramp({{0, rgb(90, 60, 10)},
                                                              {0.3, rgb(200, 150, 50)},
                                                              {0.55, rgb(255, 235, 150)},
                                                              {0.8, rgb(190, 140, 40)},
                                                              {1, rgb(110, 75, 15)}}));
    out.emplace_back(QStringLiteral("Metals/Silver.png"), ramp({{0, rgb(70, 75, 85)},
                                                                {0.3, rgb(170, 175, 185)},
                                                                {0.55, rgb(250, 252, 255)},
                                                                {0.8, rgb(150, 155, 165)},
                                                                {1, rgb(80, 85, 95)}}));
    return out;
}

NamedImages backgrounds() {
    constexpr int kWidth = 512, kHeight = 384;
    NamedImages out;
    out.emplace_back(QStringLiteral("Checker.png"),
                     colourPicture(kWidth, kHeight, [](double x, double y) {
                         const bool dark = (int(x / 32) + int(y / 32)) % 2 == 1;
                         return dark ? Rgb{0.62, 0.64, 0.68} : Rgb{0.93, 0.93, 0.95};
                     }));
    out.emplace_back(
        QStringLiteral("Marble.png"), colourPicture(kWidth, kHeight, [](double x, double y) {
            const double u = x / kWidth, v = y / kWidth;
            const double turbulence = fbm(u, v, 4, 6, 201);
            const double vein = std::fabs(std::sin(2 * kPi * (2.2 * u + 1.2 * v) + 9 * turbulence));
            const double dark = std::pow(1 - vein, 6);
            const Rgb base = mix(Rgb{0.93, 0.92, 0.9}, Rgb{0.85, 0.86, 0.88}, fbm(u, v, 8, 3, 202));
            return mix(base, Rgb{0.35, 0.37, 0.42}, 0.8 * dark);
        }));
    out.emplace_back(QStringLiteral("Paper.png"),
                     colourPicture(kWidth, kHeight, [](double x, double y) {
                         const double u = x / kWidth, v = y / kWidth;
                         const double fibres = fbm(u * 0.5, v * 4, 32, 3, 211);
                         const double blotch = fbm(u, v, 6, 3, 212);
                         const double grain = unitFromHash(hash3(int(x), int(y), 213));
                         const double shade = 1 - 0.05 * blotch - 0.04 * fibres - 0.03 * grain;
                         return scale(Rgb{0.97, 0.95, 0.89}, shade);
                     }));
    out.emplace_back(QStringLiteral("Sky.png"),
                     colourPicture(kWidth, kHeight, [](double x, double y) {
                         const double u = x / kWidth, v = y / kWidth;
                         const double h = y / kHeight;
                         const Rgb sky = mix(Rgb{0.18, 0.4, 0.78}, Rgb{0.72, 0.85, 0.96}, h);
                         const double cloud = fbm(u * 0.7, v * 1.6, 4, 6, 221, 0.55);
                         const double amount = smoothStep(0.5, 0.72, cloud) * (1.1 - 0.6 * h);
                         const Rgb cloudColour =
                             mix(Rgb{1, 1, 1}, Rgb{0.7, 0.74, 0.82}, smoothStep(0.65, 0.85, cloud));
                         return mix(sky, cloudColour, clamp01(amount));
                     }));
    out.emplace_back(QStringLiteral("Wood.png"),
                     colourPicture(kWidth, kHeight, [](double x, double y) {
                         const double u = x / kWidth, v = y / kWidth;
                         const double warp = fbm(u, v, 3, 4, 231);
                         const double d = std::hypot((x + 900) * 0.35, y - 140) / 22 + 3 * warp;
                         const double ring = d - std::floor(d);
                         const double band = std::pow(smoothStep(0.0, 0.8, ring), 2.5);
                         const double streak = fbm(u * 8, v * 0.3, 8, 3, 232);
                         const Rgb light{0.78, 0.56, 0.33}, dark{0.48, 0.28, 0.13};
                         return scale(mix(light, dark, band * 0.85), 0.9 + 0.2 * streak);
                     }));
    // A small landscape drawn with paths: sky, sun, three ranges of hills.
    {
        QImage image(kWidth, kHeight, QImage::Format_RGB32);
        QPainter p(&image);
        p.setRenderHint(QPainter::Antialiasing);
        QLinearGradient sky(0, 0, 0, kHeight);
        sky.setColorAt(0, QColor(70, 120, 200));
        sky.setColorAt(0.6, QColor(250, 200, 150));
        sky.setColorAt(1, QColor(250, 220, 170));
        p.fillRect(image.rect(), sky);
        QRadialGradient glow(QPointF(350, 170), 80);
        glow.setColorAt(0, QColor(255, 250, 220));
        glow.setColorAt(0.35, QColor(255, 240, 190));
        glow.setColorAt(1, QColor(255, 220, 160, 0));
        p.setPen(Qt::NoPen);
        p.setBrush(glow);
        p.drawEllipse(QPointF(350, 170), 80, 80);
        const std::array<QColor, 3> ranges{QColor(120, 140, 170), QColor(70, 120, 90),
                                           QColor(40, 80, 50)};
        for (size_t i = 0; i < ranges.size(); ++i) {
            const double base = 210 + 55.0 * double(i);
            QPainterPath hills(QPointF(0, kHeight));
            for (int x = 0; x <= kWidth; x += 4) {
                const double hy =
                    base - 40 * fbm(x / 512.0, 0.3 * double(i), 3, 3, 240 + std::uint32_t(i));
                hills.lineTo(x, hy);
            }
            hills.lineTo(kWidth, kHeight);
            hills.closeSubpath();
            p.setBrush(ranges[i]);
            p.drawPath(hills);
        }
        p.end();
        out.emplace_back(QStringLiteral("Scenes/Hills.png"), image);
    }
    return out;
}

}  // namespace cif::resgen
