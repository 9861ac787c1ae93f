#include "model/LookRanges.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <numbers>

namespace ombrel {

const std::vector<LookRange>& LookRanges() {
    // Neutral lift, gamma and gain are 1, and the maths of lift and gamma take 0 to 2; the
    // exposure model spans six decades, about 10 stops each way; the colour temperature
    // model reaches its full gains at 1700 K and 12000 K; blends are 0 to 1; a ball's
    // strength is a fraction of the wheel's radius and its direction an angle in radians.
    static const std::vector<LookRange> ranges{
        {"grainMultiplier", "--grain", 0.0, 4.0},
        {"colorChangePercent", "--color-amount", 0.0, 1.0},
        {"scurveChangePercent", "--scurve-amount", 0.0, 1.0},
        {"kelvin", "--kelvin", 1000.0, 20000.0},
        {"saturation", "--saturation", 0.0, 4.0},
        {"lift", "--lift", 0.0, 2.0},
        {"gamma", "--gamma", 0.0, 2.0},
        {"gain", "--gain", 0.0, 4.0},
        {"exposure", "--exposure", -10.0, 10.0},
        {"black", "--levels", 0.0, 1.0},
        {"mid", "--levels", 0.0, 1.0},
        {"white", "--levels", 0.0, 1.0},
        // 0 is mended to 1 on load; the gauges span 0.69 to 5.53.
        {"grainScale", "--gauge", 0.0, 10.0},
        {"blurRadius", nullptr, 0.0, 10.0},
        {"ballInfo.h[0]", nullptr, 0.0, 1.0},
        {"ballInfo.h[1]", nullptr, -2.0 * std::numbers::pi, 2.0 * std::numbers::pi},
        {"ballInfo.m[0]", nullptr, 0.0, 1.0},
        {"ballInfo.m[1]", nullptr, -2.0 * std::numbers::pi, 2.0 * std::numbers::pi},
        {"ballInfo.s[0]", nullptr, 0.0, 1.0},
        {"ballInfo.s[1]", nullptr, -2.0 * std::numbers::pi, 2.0 * std::numbers::pi},
    };
    return ranges;
}

const LookRange* LookRangeForKey(std::string_view key) {
    for (const LookRange& r : LookRanges())
        if (key == r.key) return &r;
    return nullptr;
}

namespace {

std::string Num(double v) {
    char text[40];
    std::snprintf(text, sizeof text, "%g", v);
    return text;
}

}  // namespace

std::string LookValueFault(const LookRange& range, double value, std::string_view what) {
    if (!std::isfinite(value))
        return std::string(what) + " " + Num(value) + " is not a number; it takes " + Num(range.min) + " to " +
               Num(range.max);
    // Floats from a saved file are doubles here; a rounding of the bound is no fault.
    const double slack = 1e-6 * std::max(1.0, std::max(std::fabs(range.min), std::fabs(range.max)));
    if (value < range.min - slack || value > range.max + slack)
        return std::string(what) + " " + Num(value) + " is outside " + Num(range.min) + " to " + Num(range.max);
    return {};
}

const std::vector<std::string>& GrainScanNames() {
    static const std::vector<std::string> names{"CP35", "CP16", "CP8"};
    return names;
}

bool IsGrainScanName(std::string_view name) {
    for (const auto& n : GrainScanNames())
        if (name == n) return true;
    return false;
}

std::string InOutFault(int64_t in, int64_t out) {
    constexpr int64_t kMax = std::numeric_limits<int32_t>::max();
    if (in < 0 || in > kMax) return "in point " + std::to_string(in) + " is not a frame index";
    if (out < 0 || out > kMax) return "out point " + std::to_string(out) + " is not a frame index";
    if (out != 0 && out < in)
        return "out point " + std::to_string(out) + " is before in point " + std::to_string(in) +
               " (refused, not swapped)";
    return {};
}

std::string ClipDictionaryFault(const PlistValue& dict) {
    if (!dict.isDict()) return "the settings are not a dictionary";
    for (const LookRange& r : LookRanges()) {
        const PlistValue& v = dict[r.key];
        if (v.isNull()) continue;
        if (!v.isNumber()) return std::string(r.key) + " is not a number";
        if (std::string why = LookValueFault(r, v.asReal(), r.key); !why.empty()) return why;
    }
    if (dict.contains("black") && dict.contains("mid") && dict.contains("white")) {
        const double b = dict["black"].asReal(), m = dict["mid"].asReal(), w = dict["white"].asReal();
        if (!(b < w) || m < b || m > w)
            return "levels black " + Num(b) + ", mid " + Num(m) + ", white " + Num(w) +
                   " are out of order (black below mid below white)";
    }
    if (dict.contains("grainName")) {
        const std::string name = dict["grainName"].asString();
        if (name.rfind("CP", 0) == 0 && !IsGrainScanName(name))
            return "grainName \"" + name + "\" names no grain scan (CP35, CP16, CP8)";
    }
    for (const char* key : {"userFrameIn", "userFrameOut"}) {
        const PlistValue& v = dict[key];
        if (v.isNull()) continue;
        const double d = v.asReal();
        if (!v.isNumber() || !std::isfinite(d) || d != std::floor(d)) return std::string(key) + " is not a frame index";
    }
    const auto frame = [&](const char* key) {
        const double d = dict[key].asReal();
        // Beyond the 32-bit range either way is kept beyond it, not wrapped into it.
        return d > 4e9 ? int64_t{4000000000} : d < -4e9 ? int64_t{-4000000000} : dict[key].asInt();
    };
    if (std::string why = InOutFault(frame("userFrameIn"), frame("userFrameOut")); !why.empty())
        return (why.rfind("in point", 0) == 0 ? "userFrameIn: " : "userFrameOut: ") + why;
    return {};
}

}  // namespace ombrel
