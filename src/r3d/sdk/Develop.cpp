#include "r3d/sdk/Develop.h"

#include "r3d/sdk/R3DSDK.h"

#include <algorithm>
#include <cmath>

namespace ombrel::R3DSDK {

namespace {

// The BT.709 curve with its constants at the precision where the two pieces meet.
constexpr double kAlpha = 1.09929682680944;
constexpr double kBeta = 0.018053968510807;
constexpr double kBlack = 0.001;  // scene light at code 0 of the video extracts

double Oetf(double u) {
    if (u <= 0.0) return 0.0;
    return u < kBeta ? 4.5 * u : kAlpha * std::pow(u, 0.45) - (kAlpha - 1.0);
}

double OetfInverse(double v) {
    if (v <= 0.0) return 0.0;
    return v < 4.5 * kBeta ? v / 4.5 : std::pow((v + kAlpha - 1.0) / kAlpha, 1.0 / 0.45);
}

// The knee of the gamma-3 extract: BT.709 up to code 0.8, then a logarithmic roll-off that
// reaches code 1 at scene light 4.0 and continues the slope at the knee.
struct Knee {
    double code = 0.8;
    double white = 4.0;
    double light = 0.0;  // the curve's light at the knee (before the black floor)
    double a = 1.0;
    double logSpan = 1.0;

    Knee() {
        light = OetfInverse(code);
        const double span = white - light;
        const double slope = kAlpha * 0.45 * std::pow(light, -0.55);
        auto slopeAt = [&](double bend) { return (1.0 - code) * bend / std::log1p(bend * span); };
        double lo = 1e-9, hi = 1e9;
        for (int i = 0; i < 200; ++i) {
            const double mid = std::sqrt(lo * hi);
            (slopeAt(mid) < slope ? lo : hi) = mid;
        }
        a = std::sqrt(lo * hi);
        logSpan = std::log1p(a * span);
    }
};

const Knee& TheKnee() {
    static const Knee knee;
    return knee;
}

// The log-film extract: 10-bit printing density, reference white at 685, black at 95,
// 0.002 density per code and a negative gamma of 0.6.
constexpr double kWhiteCode = 685.0;
constexpr double kBlackCode = 95.0;
constexpr double kCodesPerDecade = 0.6 / 0.002;

// CIE 1931 chromaticity of a Planckian radiator (a cubic fit to the locus).
void PlanckXY(double t, double* x, double* y) {
    const double t2 = t * t, t3 = t2 * t;
    if (t <= 4000.0)
        *x = -0.2661239e9 / t3 - 0.2343589e6 / t2 + 0.8776956e3 / t + 0.179910;
    else
        *x = -3.0258469e9 / t3 + 2.1070379e6 / t2 + 0.2226347e3 / t + 0.240390;
    const double u = *x, u2 = u * u, u3 = u2 * u;
    if (t <= 2222.0)
        *y = -1.1063814 * u3 - 1.34811020 * u2 + 2.18555832 * u - 0.20219683;
    else if (t <= 4000.0)
        *y = -0.9549476 * u3 - 1.37418593 * u2 + 2.09137015 * u - 0.16748867;
    else
        *y = 3.0817580 * u3 - 5.87338670 * u2 + 3.75112997 * u - 0.37001483;
}

// Linear Rec.709 RGB of that light, scaled to green 1.
std::array<double, 3> LightColour(double kelvin) {
    double x = 0.0, y = 0.0;
    PlanckXY(std::clamp(kelvin, 2000.0, 15000.0), &x, &y);
    const double X = x / y, Y = 1.0, Z = (1.0 - x - y) / y;
    const double r = 3.2404542 * X - 1.5371385 * Y - 0.4985314 * Z;
    const double g = -0.9692660 * X + 1.8760108 * Y + 0.0415560 * Z;
    const double b = 0.0556434 * X - 0.2040259 * Y + 1.0572252 * Z;
    return {r / g, 1.0, std::max(b / g, 1e-4)};
}

}  // namespace

double PayloadCodeToLight(double code) { return kBlack + (1.0 - kBlack) * OetfInverse(code); }

double LightToCode(int gammaCurve, double light) {
    double code = 0.0;
    if (gammaCurve == kGammaREDlogFilm) {
        const double b = std::pow(10.0, (kBlackCode - kWhiteCode) / kCodesPerDecade);
        const double t = std::max(light * (1.0 - b) + b, 1e-12);
        code = (kWhiteCode + kCodesPerDecade * std::log10(t)) / 1023.0;
    } else {
        const double u = (light - kBlack) / (1.0 - kBlack);
        const Knee& knee = TheKnee();
        if (gammaCurve != kGammaREDgamma3 || u <= knee.light)
            code = Oetf(u);
        else
            code = knee.code + (1.0 - knee.code) * std::log1p(knee.a * (u - knee.light)) / knee.logSpan;
    }
    return std::clamp(code, 0.0, 1.0);
}

std::array<double, 3> WhiteBalanceGains(double shotKelvin, double kelvin) {
    const auto shot = LightColour(shotKelvin);
    const auto asked = LightColour(kelvin);
    return {shot[0] / asked[0], 1.0, shot[2] / asked[2]};
}

DevelopTables MakeDevelopTables(int gammaCurve, const std::array<double, 3>& gains) {
    DevelopTables t;
    const bool plainCurve = gammaCurve != kGammaREDlogFilm && gammaCurve != kGammaREDgamma3;
    t.identity = plainCurve && gains[0] == 1.0 && gains[1] == 1.0 && gains[2] == 1.0;
    if (t.identity) return t;
    for (auto& channel : t.table) channel.resize(65536);
    for (uint32_t v = 0; v < 65536; ++v) {
        const double light = PayloadCodeToLight(v / 65535.0);
        for (int c = 0; c < 3; ++c) {
            // Equal gains give equal tables; a gain of 1 on the plain curve keeps the sample.
            const double code =
                plainCurve && gains[size_t(c)] == 1.0 ? v / 65535.0 : LightToCode(gammaCurve, light * gains[size_t(c)]);
            t.table[size_t(c)][v] = uint16_t(std::lround(code * 65535.0));
        }
    }
    return t;
}

}  // namespace ombrel::R3DSDK
