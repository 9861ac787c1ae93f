#include "Looks.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "model/Gauge.h"

namespace ombrel::factory {

namespace {

std::string Trim(const std::string& s) {
    const auto b = s.find_first_not_of(" \t\r");
    if (b == std::string::npos) return {};
    return s.substr(b, s.find_last_not_of(" \t\r") - b + 1);
}

bool Numbers(const std::string& text, size_t count, std::vector<double>* out) {
    std::istringstream in(text);
    out->clear();
    for (double v = 0; in >> v;) out->push_back(v);
    return in.eof() && out->size() == count && std::all_of(out->begin(), out->end(), [](double v) {
        return std::isfinite(v);
    });
}

// Fills the preset's look from its block; the message names what is wrong.
bool Apply(RenderPreset& preset, const std::map<std::string, std::string>& keys, std::string* why) {
    static const std::set<std::string> kKnown = {"name", "stock",      "gauge", "color", "curve", "grain", "saturation",
                                                 "lift", "gamma",      "gain",  "levels", "balls"};
    for (const auto& [key, value] : keys)
        if (!kKnown.count(key)) return *why = "unknown key \"" + key + "\"", false;
    if (keys.size() != kKnown.size()) return *why = "a block needs every key", false;
    ClipSettings& s = *preset.Settings();
    preset.setPresetName(keys.at("name"));
    s.setStockName(keys.at("stock"));
    const auto tag = GaugeTagForName(keys.at("gauge"));
    if (!tag) return *why = "unknown gauge \"" + keys.at("gauge") + "\"", false;
    s.setGrainScale(static_cast<float>(*tag) / 100.0f);
    std::vector<double> v;
    const auto one = [&](const char* key, double* out) {
        if (!Numbers(keys.at(key), 1, &v)) return *why = std::string("\"") + key + "\" is not a number", false;
        *out = v[0];
        return true;
    };
    double color, curve, grain, sat, lift, gamma, gain;
    if (!one("color", &color) || !one("curve", &curve) || !one("grain", &grain) || !one("saturation", &sat) ||
        !one("lift", &lift) || !one("gamma", &gamma) || !one("gain", &gain))
        return false;
    s.setColorChangePercent(color);
    s.setScurveChangePercent(curve);
    s.setGrainMultiplier(static_cast<float>(grain));
    s.setSaturation(sat);
    s.setLift(static_cast<float>(lift));
    s.setGamma(static_cast<float>(gamma));
    s.setGain(static_cast<float>(gain));
    if (!Numbers(keys.at("levels"), 3, &v)) return *why = "\"levels\" needs three numbers", false;
    s.setBlack(static_cast<float>(v[0]));
    s.setMid(static_cast<float>(v[1]));
    s.setWhite(static_cast<float>(v[2]));
    if (!Numbers(keys.at("balls"), 6, &v)) return *why = "\"balls\" needs six numbers", false;
    constexpr double kRadians = M_PI / 180.0;
    ColorBallInfo balls;
    balls.h[0] = static_cast<float>(v[0]);
    balls.h[1] = static_cast<float>(v[1] * kRadians);
    balls.m[0] = static_cast<float>(v[2]);
    balls.m[1] = static_cast<float>(v[3] * kRadians);
    balls.s[0] = static_cast<float>(v[4]);
    balls.s[1] = static_cast<float>(v[5] * kRadians);
    s.setBallInfo(balls);
    s.setPopulated(true);
    return true;
}

}  // namespace

bool ReadLooks(const std::string& path, std::vector<RenderPresetPtr>* out, std::string* error) {
    std::ifstream in(path);
    if (!in) return *error = "cannot read " + path, false;
    out->clear();
    std::map<std::string, std::string> keys;
    RenderPresetPtr current;
    int lineNumber = 0, blockLine = 0;
    const auto finish = [&]() {
        if (!current) return true;
        std::string why;
        if (!Apply(*current, keys, &why)) return *error = path + ":" + std::to_string(blockLine) + ": " + why, false;
        out->push_back(current);
        return true;
    };
    for (std::string line; std::getline(in, line);) {
        ++lineNumber;
        line = Trim(line);
        if (line.empty() || line[0] == '#') continue;
        if (line.front() == '[' && line.back() == ']') {
            if (!finish()) return false;
            current = RenderPreset::Make();
            current->setPresetID(line.substr(1, line.size() - 2));
            current->setPresetNumber(static_cast<uint32_t>(out->size() + 1));
            keys.clear();
            blockLine = lineNumber;
            continue;
        }
        const auto eq = line.find('=');
        if (!current || eq == std::string::npos)
            return *error = path + ":" + std::to_string(lineNumber) + ": expected \"key = value\" in a block", false;
        keys[Trim(line.substr(0, eq))] = Trim(line.substr(eq + 1));
    }
    return finish();
}

}  // namespace ombrel::factory
