#include "r3d/TestPattern.h"

#include <algorithm>
#include <cmath>

namespace ombrel::r3d {

namespace {

constexpr double kPi = 3.14159265358979323846;

struct Rgb {
    double r, g, b;
};

uint16_t To16(double v) { return static_cast<uint16_t>(std::lround(std::clamp(v, 0.0, 1.0) * 65535.0)); }

Rgb FromBytes(int r, int g, int b) { return {r / 255.0, g / 255.0, b / 255.0}; }

Rgb Hue(double h) {
    const double r = std::clamp(std::fabs(h * 6 - 3) - 1, 0.0, 1.0);
    const double g = std::clamp(2 - std::fabs(h * 6 - 2), 0.0, 1.0);
    const double b = std::clamp(2 - std::fabs(h * 6 - 4), 0.0, 1.0);
    return {r, g, b};
}

Rgb Background(double u, double v) {
    static const Rgb kBars[7] = {{0.75, 0.75, 0.75}, {0.75, 0.75, 0}, {0, 0.75, 0.75}, {0, 0.75, 0},
                                 {0.75, 0, 0.75},    {0.75, 0, 0},    {0, 0, 0.75}};
    if (v < 0.50) return kBars[std::min(6, int(u * 7))];
    if (v < 0.58) {
        const Rgb h = Hue(u);
        return {0.1 + 0.75 * h.r, 0.1 + 0.75 * h.g, 0.1 + 0.75 * h.b};
    }
    if (v < 0.68) return {u, u, u};
    // Chart patches on a dark surround: skin tones, sky, foliage, a warm accent and a highlight.
    static const Rgb kPatches[6] = {FromBytes(115, 82, 68), FromBytes(194, 150, 130), FromBytes(98, 122, 157),
                                    FromBytes(87, 108, 67), FromBytes(214, 126, 44),  {1.0, 1.0, 1.0}};
    const double pu = u * 6.0;
    const int i = std::min(5, int(pu));
    const double fu = pu - i;
    const double fv = (v - 0.68) / 0.32;
    if (fu > 0.08 && fu < 0.92 && fv > 0.12 && fv < 0.88) return kPatches[i];
    return {0.12, 0.12, 0.13};
}

}  // namespace

void RenderTestPattern(uint32_t width, uint32_t height, uint64_t frame, std::vector<uint16_t>* rgb) {
    rgb->resize(size_t(width) * height * 3);
    if (width == 0 || height == 0) return;
    const double t = double(frame);
    // The ball drifts on a slow Lissajous path.
    const double cx = width * (0.5 + 0.36 * std::sin(t * 2 * kPi / 96.0));
    const double cy = height * (0.45 + 0.30 * std::sin(t * 2 * kPi / 61.0 + 0.7));
    const double radius = std::max(2.0, 0.09 * height);
    const Rgb ball = {0.95, 0.55, 0.25};
    for (uint32_t y = 0; y < height; ++y) {
        const double v = (y + 0.5) / height;
        uint16_t* row = rgb->data() + size_t(y) * width * 3;
        for (uint32_t x = 0; x < width; ++x) {
            const double u = (x + 0.5) / width;
            Rgb c = Background(u, v);
            const double dx = x + 0.5 - cx, dy = y + 0.5 - cy;
            const double d = std::sqrt(dx * dx + dy * dy) / radius;
            if (d < 1.15) {
                // Soft edge, shading towards the rim and a specular spot up and left.
                const double a = std::clamp((1.15 - d) / 0.3, 0.0, 1.0);
                const double shade = 0.55 + 0.45 * std::sqrt(std::max(0.0, 1.0 - d * d));
                const double sx = dx / radius + 0.35, sy = dy / radius + 0.35;
                const double spec = std::exp(-(sx * sx + sy * sy) * 18.0);
                const Rgb b = {ball.r * shade + spec, ball.g * shade + spec, ball.b * shade + spec};
                c = {c.r + (b.r - c.r) * a, c.g + (b.g - c.g) * a, c.b + (b.b - c.b) * a};
            }
            row[3 * x] = To16(c.r);
            row[3 * x + 1] = To16(c.g);
            row[3 * x + 2] = To16(c.b);
        }
    }
}

void RenderToneBlock(uint64_t firstSampleFrame, uint32_t sampleFrames, int channels, uint32_t sampleRate,
                     std::vector<int32_t>* samples) {
    samples->assign(size_t(sampleFrames) * size_t(std::max(channels, 0)), 0);
    if (channels <= 0 || sampleRate == 0) return;
    const double amplitude = std::pow(10.0, -18.0 / 20.0) * 8388607.0;
    for (uint32_t i = 0; i < sampleFrames; ++i) {
        const double s = double(firstSampleFrame + i) / sampleRate;
        const auto a = static_cast<int32_t>(std::lround(amplitude * std::sin(2 * kPi * 1000.0 * s)));
        (*samples)[size_t(i) * channels] = a * 256;
        if (channels > 1) {
            const auto b = static_cast<int32_t>(std::lround(amplitude * std::sin(2 * kPi * 440.0 * s)));
            (*samples)[size_t(i) * channels + 1] = b * 256;
        }
    }
}

}  // namespace ombrel::r3d
