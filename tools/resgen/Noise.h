#pragma once
// Deterministic noise for the generated pictures. Every value comes from an
// integer hash of the lattice point and a seed, never from the C library or
// std:: distributions, so a picture is the same on every build and machine.
// Lattice functions take a period: coordinates wrap at it, so a picture whose
// width is a whole number of periods tiles without a seam.

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace cif::resgen {

inline std::uint32_t hash3(std::int32_t x, std::int32_t y, std::uint32_t seed) {
    std::uint32_t h = seed * 0x9E3779B9u;
    h ^= std::uint32_t(x) * 0x85EBCA6Bu;
    h = (h << 13) | (h >> 19);
    h ^= std::uint32_t(y) * 0xC2B2AE35u;
    h ^= h >> 16;
    h *= 0x7FEB352Du;
    h ^= h >> 15;
    h *= 0x846CA68Bu;
    h ^= h >> 16;
    return h;
}

// A fraction in [0, 1) from a hash.
inline double unitFromHash(std::uint32_t h) {
    return double(h >> 8) / double(1u << 24);
}

// A small sequential generator (SplitMix32-like) for scattering shapes.
class Random {
public:
    explicit Random(std::uint32_t seed) : m_state(seed) {}
    double next() {
        m_state += 0x9E3779B9u;
        return unitFromHash(hash3(std::int32_t(m_state), 0x51ED27, 0x2545F491u));
    }
    double range(double lo, double hi) { return lo + (hi - lo) * next(); }

private:
    std::uint32_t m_state;
};

inline int wrapIndex(int i, int period) {
    const int m = i % period;
    return m < 0 ? m + period : m;
}

inline double smootherStep(double t) {
    return t * t * t * (t * (t * 6 - 15) + 10);
}

// Value noise in [0, 1] on a lattice of the given period (in lattice cells).
inline double valueNoise(double x, double y, int period, std::uint32_t seed) {
    const double fx = std::floor(x), fy = std::floor(y);
    const int ix = int(fx), iy = int(fy);
    const double tx = smootherStep(x - fx), ty = smootherStep(y - fy);
    const auto at = [&](int dx, int dy) {
        return unitFromHash(hash3(wrapIndex(ix + dx, period), wrapIndex(iy + dy, period), seed));
    };
    const double a = at(0, 0) + (at(1, 0) - at(0, 0)) * tx;
    const double b = at(0, 1) + (at(1, 1) - at(0, 1)) * tx;
    return a + (b - a) * ty;
}

// Fractal sum of value noise, normalised to [0, 1]. u, v in [0, 1) over one
// tile; the base lattice has `cells` cells across, doubled every octave.
inline double fbm(double u, double v, int cells, int octaves, std::uint32_t seed,
                  double gain = 0.5) {
    double sum = 0, norm = 0, amp = 1;
    int period = cells;
    for (int o = 0; o < octaves; ++o) {
        sum += amp * valueNoise(u * period, v * period, period, seed + std::uint32_t(o) * 101u);
        norm += amp;
        amp *= gain;
        period *= 2;
    }
    return sum / norm;
}

// Distance to the nearest of one random point per cell (cellular noise),
// wrapping at the period; in cell units.
inline double cellDistance(double x, double y, int period, std::uint32_t seed) {
    const int ix = int(std::floor(x)), iy = int(std::floor(y));
    double best = 4;
    for (int dy = -1; dy <= 1; ++dy)
        for (int dx = -1; dx <= 1; ++dx) {
            const int cx = ix + dx, cy = iy + dy;
            const std::uint32_t h = hash3(wrapIndex(cx, period), wrapIndex(cy, period), seed);
            const double px = cx + 0.15 + 0.7 * unitFromHash(h);
            const double py = cy + 0.15 + 0.7 * unitFromHash(hash3(int(h), 7, seed));
            best = std::min(best, std::hypot(x - px, y - py));
        }
    return best;
}

}  // namespace cif::resgen
