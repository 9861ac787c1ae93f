#include "ombrel-damage/Art.h"

#include <png.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace ombrel::damageart {
namespace {

constexpr double kPi = 3.14159265358979323846;

// SplitMix64: std:: distributions differ between libraries, these numbers do not.
struct Rng {
    uint64_t s;
    explicit Rng(uint64_t seed) : s(seed * 0x9e3779b97f4a7c15ull + 0x632be59bd9b4e019ull) {}
    uint64_t Next() {
        uint64_t x = (s += 0x9e3779b97f4a7c15ull);
        x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9ull;
        x = (x ^ (x >> 27)) * 0x94d049bb133111ebull;
        return x ^ (x >> 31);
    }
    double Unit() { return static_cast<double>(Next() >> 11) / 9007199254740992.0; }
    double Range(double a, double b) { return a + (b - a) * Unit(); }
    int Below(int n) { return static_cast<int>(Next() % static_cast<uint64_t>(n)); }
};

float Hash(int x, int y, uint32_t seed) {
    uint32_t h = static_cast<uint32_t>(x) * 0x8da6b343u ^ static_cast<uint32_t>(y) * 0xd8163841u ^ seed * 0xcb1ab31fu;
    h ^= h >> 13;
    h *= 0x5bd1e995u;
    h ^= h >> 15;
    return static_cast<float>(h & 0xffffff) / 16777216.0f;
}

float Fade(float t) { return t * t * (3 - 2 * t); }

float ValueNoise(float x, float y, uint32_t seed) {
    const int xi = static_cast<int>(std::floor(x)), yi = static_cast<int>(std::floor(y));
    const float fx = Fade(x - xi), fy = Fade(y - yi);
    const float a = Hash(xi, yi, seed), b = Hash(xi + 1, yi, seed);
    const float c = Hash(xi, yi + 1, seed), d = Hash(xi + 1, yi + 1, seed);
    return (a + (b - a) * fx) + ((c + (d - c) * fx) - (a + (b - a) * fx)) * fy;
}

// Noise of several octaves, 0 to 1 with most values near 0.5.
float Fbm(float x, float y, uint32_t seed, int octaves) {
    float sum = 0, amp = 0.5f, norm = 0;
    for (int o = 0; o < octaves; ++o) {
        sum += amp * ValueNoise(x, y, seed + 101u * o);
        norm += amp;
        x *= 2.03f;
        y *= 2.03f;
        amp *= 0.5f;
    }
    return sum / norm;
}

float Smooth(float e0, float e1, float x) {
    const float t = std::clamp((x - e0) / (e1 - e0), 0.0f, 1.0f);
    return t * t * (3 - 2 * t);
}

// A soft disc; `soft` is the width of its edge in pixels.
void Disc(Plane* p, double cx, double cy, double r, double soft, float a) {
    const int x0 = static_cast<int>(std::floor(cx - r - soft)), x1 = static_cast<int>(std::ceil(cx + r + soft));
    const int y0 = static_cast<int>(std::floor(cy - r - soft)), y1 = static_cast<int>(std::ceil(cy + r + soft));
    for (int y = y0; y <= y1; ++y)
        for (int x = x0; x <= x1; ++x) {
            const double d = std::hypot(x + 0.5 - cx, y + 0.5 - cy);
            p->Max(x, y, a * (1.0f - Smooth(static_cast<float>(r - soft / 2), static_cast<float>(r + soft / 2),
                                             static_cast<float>(d))));
        }
}

// An irregular blob: a radius that wanders with the angle, a density that wanders inside.
void Blob(Plane* p, double cx, double cy, double radius, double rough, float a, Rng& rng) {
    double amp[6], phase[6];
    for (int k = 0; k < 6; ++k) {
        amp[k] = rough * rng.Range(0.3, 1.0) / (k + 1);
        phase[k] = rng.Range(0, 2 * kPi);
    }
    const uint32_t seed = static_cast<uint32_t>(rng.Next());
    const double reach = radius * (1 + rough * 2.5) + 2;
    for (int y = static_cast<int>(cy - reach); y <= static_cast<int>(cy + reach); ++y)
        for (int x = static_cast<int>(cx - reach); x <= static_cast<int>(cx + reach); ++x) {
            const double dx = x + 0.5 - cx, dy = y + 0.5 - cy;
            const double th = std::atan2(dy, dx);
            double r = radius;
            for (int k = 0; k < 6; ++k) r += radius * amp[k] * std::sin((k + 2) * th + phase[k]);
            const float edge = 1.0f - Smooth(static_cast<float>(r - 0.8), static_cast<float>(r + 0.8),
                                             static_cast<float>(std::hypot(dx, dy)));
            const float density = 0.78f + 0.22f * Fbm(static_cast<float>(x) / 3.0f, static_cast<float>(y) / 3.0f, seed, 2);
            p->Max(x, y, a * edge * density);
        }
}

// A line whose width and strength vary along it, as a chain of soft discs.
template <typename At>
void Trail(Plane* p, int steps, At at) {
    for (int i = 0; i <= steps; ++i) {
        double x, y, w;
        float a;
        at(static_cast<double>(i) / steps, &x, &y, &w, &a);
        if (a > 0.003f) Disc(p, x, y, w / 2, std::max(0.9, w * 0.35), a);
    }
}

void DrawDust(Plane* p, const Cell& c, Rng& rng) {
    const double cx = c.x + c.w / 2.0, cy = c.y + c.h / 2.0, limit = c.w / 2.0 - 2;
    const double r = std::min(limit / 1.6, rng.Range(1.4, limit / 1.7));
    Blob(p, cx, cy, r, rng.Range(0.12, 0.3), static_cast<float>(rng.Range(0.75, 1.0)), rng);
    // Some specks carry a smaller one beside them.
    if (rng.Unit() < 0.4) {
        const double th = rng.Range(0, 2 * kPi);
        Disc(p, cx + std::cos(th) * r * 1.5, cy + std::sin(th) * r * 1.5, r * 0.35, 1.0, 0.8f);
    }
}

void DrawClump(Plane* p, const Cell& c, Rng& rng) {
    const double cx = c.x + c.w / 2.0, cy = c.y + c.h / 2.0, limit = c.w / 2.0 - 3;
    const int parts = 3 + rng.Below(5);
    for (int i = 0; i < parts; ++i) {
        const double th = rng.Range(0, 2 * kPi), d = rng.Range(0, limit * 0.35);
        const double r = rng.Range(limit * 0.15, limit * 0.38);
        Blob(p, cx + std::cos(th) * d, cy + std::sin(th) * d, r, rng.Range(0.15, 0.3),
             static_cast<float>(rng.Range(0.8, 1.0)), rng);
    }
    for (int i = 0, grit = 6 + rng.Below(14); i < grit; ++i) {
        const double th = rng.Range(0, 2 * kPi), d = rng.Range(limit * 0.4, limit * 0.85);
        Disc(p, cx + std::cos(th) * d, cy + std::sin(th) * d, rng.Range(0.5, 1.8), 1.0,
             static_cast<float>(rng.Range(0.5, 1.0)));
    }
}

// A chip out of the emulsion: a wedge with a rough arc and slightly ragged sides.
void DrawChip(Plane* p, const Cell& c, Rng& rng) {
    const double cx = c.x + c.w / 2.0, cy = c.y + c.h / 2.0, limit = c.w / 2.0 - 3;
    const double start = rng.Range(0, 2 * kPi), span = rng.Range(0.7, 1.9);
    const double radius = limit * rng.Range(0.8, 0.97);
    // The wedge's point sits off the centre so that the chip is centred in its cell.
    const double mid = start + span / 2;
    const double ox = cx - std::cos(mid) * radius * 0.45, oy = cy - std::sin(mid) * radius * 0.45;
    const uint32_t seed = static_cast<uint32_t>(rng.Next());
    const float a = static_cast<float>(rng.Range(0.85, 1.0));
    for (int y = c.y; y < c.y + c.h; ++y)
        for (int x = c.x; x < c.x + c.w; ++x) {
            const double dx = x + 0.5 - ox, dy = y + 0.5 - oy, d = std::hypot(dx, dy);
            double th = std::atan2(dy, dx) - start;
            while (th < 0) th += 2 * kPi;
            const float ragged = 3.0f * (Fbm(static_cast<float>(x) / 4, static_cast<float>(y) / 4, seed, 3) - 0.5f);
            const double r = radius * (0.88 + 0.12 * Fbm(static_cast<float>(th * 6), 0.5f, seed + 7, 3));
            const float inArc = 1.0f - Smooth(static_cast<float>(r - 1), static_cast<float>(r + 1),
                                              static_cast<float>(d + ragged));
            const double side = std::min(th, span - th) * d;  // distance to the nearer straight side
            const float inSides = Smooth(-1.0f, 1.0f, static_cast<float>(side + ragged));
            if (th <= span + 0.3 || th >= 2 * kPi - 0.3) p->Max(x, y, a * inArc * inSides);
        }
}

// A curled hair: a path of slowly changing curvature that turns back before it leaves its circle.
void DrawHair(Plane* p, const Cell& c, Rng& rng) {
    const double cx = c.x + c.w / 2.0, cy = c.y + c.h / 2.0, limit = c.w / 2.0 - 4;
    const int n = static_cast<int>(limit * rng.Range(2.2, 3.6));
    std::vector<double> xs(n + 1), ys(n + 1);
    double x = cx + rng.Range(-0.3, 0.3) * limit, y = cy + rng.Range(-0.3, 0.3) * limit;
    double dir = rng.Range(0, 2 * kPi), bend = rng.Range(-0.015, 0.015);
    const uint32_t seed = static_cast<uint32_t>(rng.Next());
    for (int i = 0; i <= n; ++i) {
        xs[i] = x;
        ys[i] = y;
        bend += (ValueNoise(i / 40.0f, 0.5f, seed) - 0.5f) * 0.006;
        bend = std::clamp(bend, -0.035, 0.035);
        const double out = std::hypot(x - cx, y - cy);
        if (out > limit * 0.8) {
            // Steer towards the centre.
            const double want = std::atan2(cy - y, cx - x);
            double turn = std::remainder(want - dir, 2 * kPi);
            dir += std::clamp(turn, -0.12, 0.12);
        }
        dir += bend;
        x += std::cos(dir);
        y += std::sin(dir);
    }
    const double width = rng.Range(1.3, 2.4);
    const float a = static_cast<float>(rng.Range(0.85, 1.0));
    Trail(p, n, [&](double t, double* px, double* py, double* w, float* pa) {
        const int i = std::min(n, static_cast<int>(t * n));
        *px = xs[i];
        *py = ys[i];
        *w = width * (0.45 + 0.55 * std::pow(std::sin(kPi * std::clamp(t, 0.0, 1.0)), 0.35));
        *pa = a;
    });
}

// A fine scratch: thin, nearly straight, fading in and out along its length.
void DrawScratch(Plane* p, const Cell& c, Rng& rng) {
    const double cx = c.x + c.w / 2.0, cy = c.y + c.h / 2.0, limit = c.w / 2.0 - 3;
    const double th = rng.Range(0, kPi), half = limit * rng.Range(0.7, 0.95), sag = rng.Range(-0.08, 0.08) * half;
    const uint32_t seed = static_cast<uint32_t>(rng.Next());
    const int lines = rng.Unit() < 0.35 ? 2 : 1;
    const double width = rng.Range(0.8, 1.3);
    for (int l = 0; l < lines; ++l) {
        const double off = l * rng.Range(2.5, 5.0);
        Trail(p, static_cast<int>(half * 4), [&](double t, double* px, double* py, double* w, float* pa) {
            const double s = (2 * t - 1) * half * (l ? 0.7 : 1.0);
            const double bow = sag * (1 - (s / half) * (s / half)) + off;
            *px = cx + std::cos(th) * s - std::sin(th) * bow;
            *py = cy + std::sin(th) * s + std::cos(th) * bow;
            *w = width;
            const float along = Fbm(static_cast<float>(t * 9), static_cast<float>(l), seed, 3);
            *pa = static_cast<float>(std::sin(kPi * t)) * Smooth(0.3f, 0.55f, along) * 0.95f;
        });
    }
}

// A long vertical line, as a running scratch leaves on the film: wandering a little sideways,
// stronger and weaker along its length, with gaps.
void DrawVertical(Plane* p, const Cell& c, Rng& rng) {
    const uint32_t seed = static_cast<uint32_t>(rng.Next());
    const double width = rng.Range(1.4, 3.2), mid = c.x + c.w / 2.0;
    const float strength = static_cast<float>(rng.Range(0.75, 1.0));
    for (int y = c.y; y < c.y + c.h; ++y) {
        const float t = static_cast<float>(y - c.y) / c.h;
        const double wander = 2.2 * (Fbm(static_cast<float>(y) / 500.0f, 1.5f, seed, 3) - 0.5) * 2;
        const float along = Smooth(0.22f, 0.45f, Fbm(static_cast<float>(y) / 90.0f, 7.5f, seed, 4)) *
                            Smooth(0.0f, 0.03f, t) * Smooth(1.0f, 0.97f, t);
        for (int x = c.x; x < c.x + c.w; ++x) {
            const double d = std::abs(x + 0.5 - mid - wander);
            const float across = 1.0f - Smooth(static_cast<float>(width / 2 - 0.7), static_cast<float>(width / 2 + 0.7),
                                               static_cast<float>(d));
            p->Max(x, y, strength * along * across);
        }
    }
}

struct Kind {
    const char* prefix;
    int count, minSize, maxSize;
    void (*draw)(Plane*, const Cell&, Rng&);
};

}  // namespace

void DrawAtlas(Plane* alpha, std::vector<Cell>* cells) {
    Rng rng(26);
    // Vertical lines stand in a strip on the left, each in a cell 12 pixels wide.
    for (int i = 0; i < 6; ++i) {
        Cell c{"vert" + std::string(i < 9 ? "0" : "") + std::to_string(i + 1), 2 + i * 14, 2, 12,
               1300 + rng.Below(740)};
        DrawVertical(alpha, c, rng);
        cells->push_back(c);
    }
    const Kind kinds[] = {{"Hair", 8, 160, 320, DrawHair},      {"Scratch", 8, 128, 288, DrawScratch},
                          {"DIRT", 10, 56, 112, DrawClump},     {"pie", 6, 48, 88, DrawChip},
                          {"Dust", 14, 20, 40, DrawDust}};
    // Shelves, largest kinds first; two pixels between cells so linear sampling stays inside.
    int x = 96, y = 2, shelf = 0;
    for (const Kind& k : kinds)
        for (int i = 0; i < k.count; ++i) {
            const int size = k.minSize + rng.Below(k.maxSize - k.minSize + 1);
            if (x + size > alpha->width - 2) {
                x = 96;
                y += shelf + 2;
                shelf = 0;
            }
            Cell c{std::string(k.prefix) + (i < 9 ? "0" : "") + std::to_string(i + 1), x, y, size, size};
            k.draw(alpha, c, rng);
            cells->push_back(c);
            x += size + 2;
            shelf = std::max(shelf, size);
        }
    // Nothing may reach past a cell's circle, or a rotated sprite would be cut at its quad.
    for (const Cell& c : *cells) {
        if (c.name.starts_with("vert")) continue;
        const double r = c.w / 2.0;
        for (int yy = c.y; yy < c.y + c.h; ++yy)
            for (int xx = c.x; xx < c.x + c.w; ++xx)
                if (std::hypot(xx + 0.5 - c.x - r, yy + 0.5 - c.y - r) > r - 0.5) alpha->at(xx, yy) = 0;
    }
}

std::vector<uint8_t> DrawFlash(int variant, int width, int height) {
    // The glow's colour by its strength: deep red at the fringe, orange, then a pale warm white.
    static const float kStops[2][5][3] = {
        {{0, 0, 0}, {110, 22, 4}, {232, 84, 14}, {255, 172, 66}, {255, 238, 200}},
        {{0, 0, 0}, {120, 14, 10}, {236, 62, 30}, {255, 150, 70}, {255, 228, 196}},
    };
    const auto& stops = kStops[variant ? 1 : 0];
    std::vector<uint8_t> rgb(static_cast<size_t>(width) * height * 3);
    const uint32_t seed = 900u + static_cast<uint32_t>(variant);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const float u = static_cast<float>(x) / width, v = static_cast<float>(y) / height;
            const float wobble = Fbm(u * 3, v * 3, seed, 4);
            float i = 0;
            if (variant == 0) {
                // Light struck through the roll's edge on the left, a hot spot low on it.
                i = std::exp(-u / (0.16f + 0.12f * wobble)) * (0.55f + 0.45f * Fbm(v * 5, 0.3f, seed + 3, 3));
                i += 0.6f * std::exp(-((u * u) / 0.01f + (v - 0.62f) * (v - 0.62f) / 0.05f));
            } else {
                // A flare from the top right corner, with a band along the top edge.
                const float d = std::hypot((1 - u) * 1.6f, v);
                i = std::exp(-d / (0.22f + 0.18f * wobble)) + 0.35f * std::exp(-v / 0.07f) * Fbm(u * 8, 2.0f, seed, 3);
            }
            i = std::clamp(i, 0.0f, 1.0f);
            const float at = i * 4;
            const int k = std::min(3, static_cast<int>(at));
            const float f = at - k;
            for (int ch = 0; ch < 3; ++ch)
                rgb[(static_cast<size_t>(y) * width + x) * 3 + ch] =
                    static_cast<uint8_t>(std::lround(stops[k][ch] + (stops[k + 1][ch] - stops[k][ch]) * f));
        }
    return rgb;
}

std::vector<uint8_t> DrawBorder(Gate gate, int* width, int* height) {
    struct Shape {
        int w, h, left, right, top, bottom;
        double radius, rough;
    };
    const Shape s = gate == Gate::k8mm    ? Shape{1440, 1080, 56, 56, 42, 42, 110, 5.0}
                    : gate == Gate::k16mm ? Shape{1480, 1080, 28, 28, 22, 22, 46, 2.5}
                                          : Shape{1080, 1080, 64, 64, 64, 196, 16, 1.6};
    *width = s.w;
    *height = s.h;
    std::vector<uint8_t> grey(static_cast<size_t>(s.w) * s.h);
    const double cx = (s.left + s.w - s.right) / 2.0, cy = (s.top + s.h - s.bottom) / 2.0;
    const double hx = (s.w - s.left - s.right) / 2.0 - s.radius, hy = (s.h - s.top - s.bottom) / 2.0 - s.radius;
    const uint32_t seed = 700u + static_cast<uint32_t>(gate);
    for (int y = 0; y < s.h; ++y)
        for (int x = 0; x < s.w; ++x) {
            const double qx = std::abs(x + 0.5 - cx) - hx, qy = std::abs(y + 0.5 - cy) - hy;
            const double d = std::hypot(std::max(qx, 0.0), std::max(qy, 0.0)) + std::min(std::max(qx, qy), 0.0) - s.radius;
            // The filed edges of a gate are rougher in the corners than along the sides.
            const double corner = (qx > 0 && qy > 0) ? 1.0 : 0.3;
            const double n = s.rough * corner * (Fbm(static_cast<float>(x) / 9, static_cast<float>(y) / 9, seed, 3) - 0.5) * 2;
            grey[static_cast<size_t>(y) * s.w + x] =
                static_cast<uint8_t>(std::lround(255 * std::clamp(0.5 - (d + n), 0.0, 1.0)));
        }
    return grey;
}

std::vector<uint8_t> DrawGunk(int index) {
    constexpr int kSize = 1024, kLow = 256;
    Rng rng(5000 + static_cast<uint64_t>(index));
    const uint32_t seed = static_cast<uint32_t>(rng.Next());
    // Mottle: uneven, low-frequency clouding of the base, at a quarter size and scaled up.
    const float cycles = static_cast<float>(rng.Range(3, 9)), threshold = static_cast<float>(rng.Range(0.5, 0.66));
    const float mottle = static_cast<float>(rng.Range(0.1, 0.5));
    std::vector<float> low(kLow * kLow);
    for (int y = 0; y < kLow; ++y)
        for (int x = 0; x < kLow; ++x)
            low[y * kLow + x] = mottle * Smooth(threshold, threshold + 0.22f,
                                                Fbm(x * cycles / kLow, y * cycles / kLow, seed, 4));
    Plane p(kSize, kSize);
    for (int y = 0; y < kSize; ++y)
        for (int x = 0; x < kSize; ++x) {
            const float fx = std::min(x / 4.0f, kLow - 1.001f), fy = std::min(y / 4.0f, kLow - 1.001f);
            const int ix = static_cast<int>(fx), iy = static_cast<int>(fy);
            const int jx = std::min(ix + 1, kLow - 1), jy = std::min(iy + 1, kLow - 1);
            const float ax = fx - ix, ay = fy - iy;
            const float top = low[iy * kLow + ix] * (1 - ax) + low[iy * kLow + jx] * ax;
            const float bottom = low[jy * kLow + ix] * (1 - ax) + low[jy * kLow + jx] * ax;
            p.at(x, y) = top * (1 - ay) + bottom * ay;
        }
    // Stains: dried drops, faint inside with a darker rim.
    for (int i = 0, n = rng.Below(5); i < n; ++i) {
        const double cx = rng.Range(0, kSize), cy = rng.Range(0, kSize), r = rng.Range(40, 240);
        const double rim = rng.Range(2.5, 8), inside = rng.Range(0.05, 0.18), edge = rng.Range(0.3, 0.6);
        const uint32_t s = static_cast<uint32_t>(rng.Next());
        for (int y = std::max(0, int(cy - r * 1.3)); y < std::min(kSize, int(cy + r * 1.3)); ++y)
            for (int x = std::max(0, int(cx - r * 1.3)); x < std::min(kSize, int(cx + r * 1.3)); ++x) {
                const double dx = x - cx, dy = y - cy;
                // The rim's wander follows the direction on a circle, so it closes without a seam.
                const double len = std::max(1e-9, std::hypot(dx, dy));
                const double rr = r * (0.85 + 0.3 * Fbm(static_cast<float>(dx / len * 2 + 10),
                                                         static_cast<float>(dy / len * 2 + 10), s, 3));
                const double d = len - rr;
                const double a = d < 0 ? inside + (edge - inside) * std::exp(-(d * d) / (2 * rim * rim))
                                       : edge * std::exp(-(d * d) / (rim * rim / 2));
                p.Max(x, y, static_cast<float>(a));
            }
    }
    // Grit: small specks, many or few.
    const int grit = rng.Unit() < 0.5 ? 20 + rng.Below(60) : 150 + rng.Below(350);
    for (int i = 0; i < grit; ++i)
        Disc(&p, rng.Range(0, kSize), rng.Range(0, kSize), rng.Range(0.6, 2.6), 1.0,
             static_cast<float>(rng.Range(0.35, 1.0)));
    std::vector<uint8_t> out(static_cast<size_t>(kSize) * kSize);
    for (size_t i = 0; i < out.size(); ++i) out[i] = static_cast<uint8_t>(std::lround(255 * std::clamp(p.v[i], 0.0f, 1.0f)));
    return out;
}

std::string EncodePngRgba(int width, int height, const std::vector<uint8_t>& rgba, std::string* error) {
    std::string out;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!info) {
        png_destroy_write_struct(&png, nullptr);
        *error = "libpng: out of memory";
        return {};
    }
    // libpng reports errors by longjmp: nothing with a destructor is made after this point.
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        *error = "libpng could not encode the picture";
        return {};
    }
    png_set_write_fn(
        png, &out,
        [](png_structp p, png_bytep data, png_size_t n) {
            static_cast<std::string*>(png_get_io_ptr(p))->append(reinterpret_cast<const char*>(data), n);
        },
        nullptr);
    png_set_IHDR(png, info, width, height, 8, PNG_COLOR_TYPE_RGBA, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (int y = 0; y < height; ++y)
        png_write_row(png, const_cast<png_bytep>(rgba.data() + static_cast<size_t>(y) * width * 4));
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return out;
}

std::string EncodeTiff(int width, int height, int channels, const std::vector<uint8_t>& pixels) {
    // Baseline TIFF, little-endian, one uncompressed strip: a header, one directory, the sample
    // sizes (three shorts do not fit in an entry), then the pixels.
    std::string out("II*\0", 4);
    auto u16 = [&](uint32_t v) { out.push_back(char(v & 0xff)), out.push_back(char((v >> 8) & 0xff)); };
    auto u32 = [&](uint32_t v) { u16(v & 0xffff), u16(v >> 16); };
    const uint32_t entries = 10, ifd = 8, extra = ifd + 2 + entries * 12 + 4;
    const uint32_t data = extra + 8, bytes = static_cast<uint32_t>(pixels.size());
    u32(ifd);
    u16(entries);
    auto entry = [&](uint32_t tag, uint32_t type, uint32_t count, uint32_t value) {
        u16(tag), u16(type), u32(count);
        if (type == 3 && count == 1) u16(value), u16(0);
        else u32(value);
    };
    entry(256, 4, 1, static_cast<uint32_t>(width));
    entry(257, 4, 1, static_cast<uint32_t>(height));
    if (channels == 1) entry(258, 3, 1, 8);
    else entry(258, 3, 3, extra);
    entry(259, 3, 1, 1);
    entry(262, 3, 1, channels == 1 ? 1 : 2);
    entry(273, 4, 1, data);
    entry(277, 3, 1, static_cast<uint32_t>(channels));
    entry(278, 4, 1, static_cast<uint32_t>(height));
    entry(279, 4, 1, bytes);
    entry(284, 3, 1, 1);
    u32(0);
    u16(8), u16(8), u16(8), u16(0);
    out.append(reinterpret_cast<const char*>(pixels.data()), pixels.size());
    return out;
}

}  // namespace ombrel::damageart
