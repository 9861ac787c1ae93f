#include "ombrel-data/FilmModel.h"

#include <algorithm>
#include <cmath>

#include "ombrel-data/Camera.h"
#include "ombrel-data/Catalogue.h"
#include "ombrel-data/ParamFile.h"

namespace ombrel::filmdata {
namespace {

// The 1D chains are tabulated over log exposure relative to grey, -8 .. +4 decades, with
// grey (x = 0) on a node so that the balance holds exactly at grey.
constexpr double kXLow = -8.0;
constexpr double kXHigh = 4.0;
constexpr int kPerDecade = 512;
constexpr int kSamples = static_cast<int>((kXHigh - kXLow) * kPerDecade) + 1;
constexpr double kGrey = 0.18;
constexpr double kExposureFloor = 1e-6;

double Softplus(double z) { return z > 0.0 ? z + std::log1p(std::exp(-z)) : std::log1p(std::exp(z)); }

Rgb Multiply(const Mat3& m, const Rgb& v) {
    return {m[0] * v[0] + m[1] * v[1] + m[2] * v[2], m[3] * v[0] + m[4] * v[1] + m[5] * v[2],
            m[6] * v[0] + m[7] * v[1] + m[8] * v[2]};
}

Mat3 Multiply(const Mat3& a, const Mat3& b) {
    Mat3 r{};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            for (int k = 0; k < 3; ++k) r[3 * i + j] += a[3 * i + k] * b[3 * k + j];
    return r;
}

Mat3 Inverse(const Mat3& m) {
    const double det =
        m[0] * (m[4] * m[8] - m[5] * m[7]) - m[1] * (m[3] * m[8] - m[5] * m[6]) + m[2] * (m[3] * m[7] - m[4] * m[6]);
    const double s = 1.0 / det;
    return {(m[4] * m[8] - m[5] * m[7]) * s, (m[2] * m[7] - m[1] * m[8]) * s, (m[1] * m[5] - m[2] * m[4]) * s,
            (m[5] * m[6] - m[3] * m[8]) * s, (m[0] * m[8] - m[2] * m[6]) * s, (m[2] * m[3] - m[0] * m[5]) * s,
            (m[3] * m[7] - m[4] * m[6]) * s, (m[1] * m[6] - m[0] * m[7]) * s, (m[0] * m[4] - m[1] * m[3]) * s};
}

// RGB to XYZ from the primaries' and the white's chromaticities.
Mat3 RgbToXyz(const std::array<double, 8>& xy) {
    auto column = [](double x, double y) { return Rgb{x / y, 1.0, (1.0 - x - y) / y}; };
    const Rgb r = column(xy[0], xy[1]), g = column(xy[2], xy[3]), b = column(xy[4], xy[5]);
    const Mat3 p{r[0], g[0], b[0], r[1], g[1], b[1], r[2], g[2], b[2]};
    const Rgb s = Multiply(Inverse(p), column(xy[6], xy[7]));
    return {p[0] * s[0], p[1] * s[1], p[2] * s[2], p[3] * s[0], p[4] * s[1],
            p[5] * s[2], p[6] * s[0], p[7] * s[1], p[8] * s[2]};
}

// Finds v in [lo, hi] with f(v) = target for a monotone f (either direction).
template <typename F>
double Solve(F f, double target, double lo, double hi) {
    const bool rising = f(hi) > f(lo);
    for (int i = 0; i < 100; ++i) {
        const double mid = 0.5 * (lo + hi);
        const bool below = f(mid) < target;
        if (below == rising) {
            lo = mid;
        } else {
            hi = mid;
        }
    }
    return 0.5 * (lo + hi);
}

}  // namespace

double Rise(double lin, double softLow, double range, double softHigh) {
    const double toe = softLow > 0.0 ? softLow * Softplus(lin / softLow) : std::max(lin, 0.0);
    return softHigh > 0.0 ? range - softHigh * Softplus((range - toe) / softHigh) : std::min(toe, range);
}

Mat3 Rec709ToP3() {
    const Mat3 rec709 = RgbToXyz({0.64, 0.33, 0.30, 0.60, 0.15, 0.06, 0.3127, 0.3290});
    const Mat3 p3 = RgbToXyz({0.680, 0.320, 0.265, 0.690, 0.150, 0.060, 0.3127, 0.3290});
    return Multiply(Inverse(p3), rec709);
}

bool Viewing::Load(const std::string& path, std::string* error) {
    ParamFile file;
    if (!file.Load(path, error)) return false;
    if (!file.Number("display_exponent", &displayExponent, error) || !file.Number("mid_grey_out", &midGreyOut, error))
        return false;
    if (!file.Optional("status_m_black_code", &statusMBlackCode, error) ||
        !file.Optional("status_m_density_per_code", &statusMDensityPerCode, error))
        return false;
    if (!(displayExponent > 0.5 && midGreyOut > 0.05 && midGreyOut < 0.95 && statusMDensityPerCode > 0.0)) {
        if (error) *error = path + ": viewing parameters out of range";
        return false;
    }
    return true;
}

double StockModel::Curve::Eval(double x) const {
    const double at = (std::clamp(x, kXLow, kXHigh) - kXLow) * kPerDecade;
    const int i = std::min(static_cast<int>(at), kSamples - 2);
    const double f = at - i;
    return values[static_cast<size_t>(i)] * (1.0 - f) + values[static_cast<size_t>(i) + 1] * f;
}

StockModel::StockModel() = default;
StockModel::~StockModel() = default;
StockModel::StockModel(StockModel&&) noexcept = default;
StockModel& StockModel::operator=(StockModel&&) noexcept = default;

bool StockModel::Load(const Catalogue& catalogue, const StockEntry& entry, const Viewing& viewing, std::string* error) {
    return LoadFile(catalogue.StockModelPath(entry), viewing, error);
}

bool StockModel::LoadFile(const std::string& path, const Viewing& viewing, std::string* error) {
    if (!Parse(path, viewing, error)) return false;
    Tabulate();
    return true;
}

bool StockModel::ReadLayers(const ParamFile& file, bool needMid, std::array<Layer, 3>* layers, std::string* error) {
    Rgb dmin, dmax, gamma, softDmin, softDmax, mid{0.6, 0.6, 0.6};
    if (!file.Triple("dmin", &dmin, error) || !file.Triple("dmax", &dmax, error) ||
        !file.Triple("gamma", &gamma, error) || !file.Triple("soft_dmin", &softDmin, error) ||
        !file.Triple("soft_dmax", &softDmax, error))
        return false;
    if (needMid && !file.Triple("mid", &mid, error)) return false;
    for (int c = 0; c < 3; ++c) {
        if (!(dmax[c] > dmin[c] + 0.2 && gamma[c] > 0.05 && softDmin[c] >= 0.0 && softDmax[c] >= 0.0 && mid[c] > 0.0 &&
              mid[c] < dmax[c] - dmin[c])) {
            if (error) *error = file.path() + ": layer " + std::to_string(c) + " has densities out of range";
            return false;
        }
        (*layers)[static_cast<size_t>(c)] = {dmin[c], dmax[c], gamma[c], mid[c], softDmin[c], softDmax[c]};
    }
    return true;
}

bool StockModel::Parse(const std::string& path, const Viewing& viewing, std::string* error) {
    ParamFile file;
    if (!file.Load(path, error)) return false;
    viewing_ = viewing;
    exponent_ = viewing.displayExponent;
    const std::string dir = path.substr(0, path.find_last_of('/') + 1);
    const std::string kind = file.Text("kind");
    if (!file.Optional("speed", &speed_, error) || !file.Optional("grain_rms", &grainRms_, error) ||
        !file.OptionalTriple("grain_balance", &grainBalance_, error) ||
        !file.Optional("interimage", &interimage_, error) || !file.OptionalTriple("mid_tint", &midTint_, error) ||
        !file.Optional("flare", &flare_, error) || !file.Optional("print_grade", &printGrade_, error))
        return false;
    statusM_ = file.Text("status_m", "no") == "yes";
    if (!(speed_ > 0.0 && grainRms_ >= 0.0 && interimage_ > -0.9 && flare_ >= 0.0 && printGrade_ > 0.1)) {
        if (error) *error = path + ": speed, grain, interimage, flare or print grade out of range";
        return false;
    }
    if (file.Has("sensitivity")) {
        std::vector<double> m;
        if (!file.Numbers("sensitivity", 9, &m, error)) return false;
        std::copy(m.begin(), m.end(), sensitivity_.begin());
    }
    if (file.Has("weights")) {
        Rgb w;
        if (!file.Triple("weights", &w, error)) return false;
        sensitivity_ = {w[0], w[1], w[2], w[0], w[1], w[2], w[0], w[1], w[2]};
    }
    for (int row = 0; row < 3; ++row) {
        const double sum = sensitivity_[3 * row] + sensitivity_[3 * row + 1] + sensitivity_[3 * row + 2];
        if (std::abs(sum - 1.0) > 0.005) {
            if (error) *error = path + ": sensitivity row " + std::to_string(row) + " sums to " + std::to_string(sum);
            return false;
        }
    }

    auto loadPrint = [&]() {
        ParamFile print;
        if (!print.Load(dir + file.Text("print") + ".txt", error)) return false;
        return ReadLayers(print, false, &print_, error);
    };

    if (kind == "negative" || kind == "bw") {
        kind_ = kind == "bw" ? StockKind::BlackAndWhite : StockKind::Negative;
        if (kind_ == StockKind::BlackAndWhite && !file.Has("weights")) {
            if (error) *error = path + ": a black-and-white stock needs \"weights\"";
            return false;
        }
        return ReadLayers(file, true, &layers_, error) && loadPrint();
    }
    if (kind == "reversal" || kind == "instant") {
        kind_ = kind == "instant" ? StockKind::Instant : StockKind::Reversal;
        return ReadLayers(file, false, &layers_, error);
    }
    if (kind == "display") {
        kind_ = StockKind::Display;
        const std::string primaries = file.Text("primaries", "rec709");
        if (primaries == "p3") {
            primaries_ = Rec709ToP3();
            convertPrimaries_ = true;
        } else if (primaries != "rec709") {
            if (error) *error = path + ": primaries must be rec709 or p3";
            return false;
        }
        exponent_ = 2.4;
        if (!file.Optional("exponent", &exponent_, error)) return false;
        return ReadLayers(file, false, &layers_, error);
    }
    if (kind == "log") {
        const std::string curve = file.Text("curve");
        if (curve == "logc") {
            kind_ = StockKind::LogCamera;
            const char* keys[] = {"cut", "a", "b", "c", "d", "e", "f"};
            for (size_t i = 0; i < 7; ++i) {
                if (!file.Number(keys[i], &logc_[i], error)) return false;
            }
            return true;
        }
        if (curve == "negative") {
            kind_ = StockKind::LogNegative;
            if (!file.Optional("grey_code", &greyCode_, error)) return false;
            negative_ = std::make_unique<StockModel>();
            if (!negative_->LoadFile(dir + file.Text("negative"), viewing, error)) return false;
            if (negative_->kind() != StockKind::Negative) {
                if (error) *error = path + ": \"negative\" must name a colour negative";
                return false;
            }
            return true;
        }
        if (error) *error = path + ": a log look needs curve logc or curve negative";
        return false;
    }
    if (error) *error = path + ": unknown kind \"" + kind + "\"";
    return false;
}

Rgb StockModel::midTarget() const {
    Rgb target{};
    for (int c = 0; c < 3; ++c)
        target[static_cast<size_t>(c)] = viewing_.midGreyOut * (1.0 + midTint_[static_cast<size_t>(c)]);
    return target;
}

Rgb StockModel::Front(const Rgb& scene) const {
    const Rgb exposure = Multiply(sensitivity_, convertPrimaries_ ? Multiply(primaries_, scene) : scene);
    Rgb x{};
    for (size_t c = 0; c < 3; ++c) x[c] = std::log10(std::max(exposure[c], kExposureFloor) / kGrey);
    if (interimage_ != 0.0) {
        const double mean = (x[0] + x[1] + x[2]) / 3.0;
        for (double& v : x) v = mean + (1.0 + interimage_) * (v - mean);
    }
    return x;
}

double StockModel::NegativeDensity(int c, double x) const {
    const Layer& l = layers_[static_cast<size_t>(c)];
    return l.dmin + Rise(l.mid + l.gamma * x, l.softDmin, l.dmax - l.dmin, l.softDmax);
}

double StockModel::PositiveDensity(const std::array<Layer, 3>& layers, int c, double x, double balance) const {
    const Layer& l = layers[static_cast<size_t>(c)];
    return l.dmax - Rise(l.gamma * x + balance, l.softDmax, l.dmax - l.dmin, l.softDmin);
}

double StockModel::PrintDensity(int c, double x, double printerLight) const {
    const Layer& p = print_[static_cast<size_t>(c)];
    return p.dmin + Rise(printGrade_ * p.gamma * (printerLight - NegativeDensity(c, x)), p.softDmin, p.dmax - p.dmin,
                         p.softDmax);
}

double StockModel::Display(double light, double black) const {
    // The deepest light the stock gives becomes the monitor's black.
    if (black >= 1.0 - 1e-12) return 1.0;
    const double y = (light - black) / (1.0 - black);
    return std::pow(std::clamp(y, 0.0, 1.0), 1.0 / exponent_);
}

double StockModel::PrintOut(int c, double x, double printerLight) const {
    const double white = print_[static_cast<size_t>(c)].dmin;
    const double light = std::pow(10.0, -(PrintDensity(c, x, printerLight) - white));
    const double black = std::pow(10.0, -(PrintDensity(c, kXLow, printerLight) - white));
    return Display(light, black);
}

double StockModel::PositiveOut(int c, double x, double balance) const {
    const double density = PositiveDensity(layers_, c, x, balance);
    if (kind_ == StockKind::Instant) {
        // A reflection print keeps its base tint, and the light its surface reflects lifts
        // its blacks.
        double white = 1e9;
        for (const Layer& l : layers_) white = std::min(white, l.dmin);
        const double light = std::pow(10.0, -(density - white));
        const double black = std::pow(10.0, -(PositiveDensity(layers_, c, kXLow, balance) - white));
        const double y = black >= 1.0 - 1e-12 ? 1.0 : std::clamp((light - black) / (1.0 - black), 0.0, 1.0);
        return Display((y + flare_) / (1.0 + flare_), 0.0);
    }
    const double white = layers_[static_cast<size_t>(c)].dmin;
    const double light = std::pow(10.0, -(density - white));
    const double black = std::pow(10.0, -(PositiveDensity(layers_, c, kXLow, balance) - white));
    return Display(light, black);
}

void StockModel::Tabulate() {
    if (kind_ == StockKind::LogCamera || kind_ == StockKind::LogNegative) return;
    const Rgb target = midTarget();
    const bool printed = kind_ == StockKind::Negative || kind_ == StockKind::BlackAndWhite;
    for (int c = 0; c < 3; ++c) {
        const size_t ci = static_cast<size_t>(c);
        if (printed) {
            balance_[ci] = Solve([&](double p) { return PrintOut(c, 0.0, p); }, target[ci], -10.0, 15.0);
        } else {
            // Between grey at the stock's maximum density and grey past its base.
            const double range = layers_[ci].dmax - layers_[ci].dmin;
            balance_[ci] = Solve([&](double b) { return PositiveOut(c, 0.0, b); }, target[ci], -3.0, range + 3.0);
        }
        out_[ci].values.resize(kSamples);
        statusMOut_[ci].values.resize(kSamples);
        for (int i = 0; i < kSamples; ++i) {
            const double x = kXLow + static_cast<double>(i) / kPerDecade;
            const size_t ii = static_cast<size_t>(i);
            out_[ci].values[ii] =
                static_cast<float>(printed ? PrintOut(c, x, balance_[ci]) : PositiveOut(c, x, balance_[ci]));
            if (kind_ == StockKind::Negative) {
                const double above = NegativeDensity(c, x) - layers_[ci].dmin;
                const double code = (viewing_.statusMBlackCode + above / viewing_.statusMDensityPerCode) / 1023.0;
                statusMOut_[ci].values[ii] = static_cast<float>(std::clamp(code, 0.0, 1.0));
            }
        }
    }
}

Rgb StockModel::Render(const Rgb& scene) const {
    if (kind_ == StockKind::LogCamera) {
        const auto& [cut, a, b, c, d, e, f] = logc_;
        Rgb out{};
        for (size_t i = 0; i < 3; ++i) {
            const double t = scene[i];
            out[i] = std::clamp(t > cut ? c * std::log10(a * t + b) + d : e * t + f, 0.0, 1.0);
        }
        return out;
    }
    if (kind_ == StockKind::LogNegative) {
        Rgb out = negative_->RenderStatusM(scene);
        if (greyCode_ > 0.0) {
            // A scan timed so that grey reads the same in every channel.
            const Rgb grey = negative_->RenderStatusM({kGrey, kGrey, kGrey});
            for (size_t c = 0; c < 3; ++c) out[c] = std::clamp(out[c] - grey[c] + greyCode_ / 1023.0, 0.0, 1.0);
        }
        return out;
    }
    const Rgb x = Front(scene);
    return {out_[0].Eval(x[0]), out_[1].Eval(x[1]), out_[2].Eval(x[2])};
}

Rgb StockModel::RenderStatusM(const Rgb& scene) const {
    if (kind_ != StockKind::Negative) return Render(scene);
    const Rgb x = Front(scene);
    return {statusMOut_[0].Eval(x[0]), statusMOut_[1].Eval(x[1]), statusMOut_[2].Eval(x[2])};
}

std::vector<float> BuildStockTable(const CameraEncoding& camera, const StockModel& model, bool statusM) {
    std::array<double, kTableEdge> light{};
    for (int i = 0; i < kTableEdge; ++i) light[static_cast<size_t>(i)] = camera.Decode(i / 63.0);
    std::vector<float> table(kTableFloats);
    float* out = table.data();
    for (int k = 0; k < kTableEdge; ++k) {
        for (int j = 0; j < kTableEdge; ++j) {
            for (int i = 0; i < kTableEdge; ++i) {
                const Rgb scene{light[static_cast<size_t>(i)], light[static_cast<size_t>(j)],
                                light[static_cast<size_t>(k)]};
                const Rgb rgb = statusM ? model.RenderStatusM(scene) : model.Render(scene);
                *out++ = static_cast<float>(rgb[0]);
                *out++ = static_cast<float>(rgb[1]);
                *out++ = static_cast<float>(rgb[2]);
            }
        }
    }
    return table;
}

std::array<float, 3> LookupTable(const float* table, float r, float g, float b) {
    int i0[3];
    float f[3];
    const float in[3] = {r, g, b};
    for (int a = 0; a < 3; ++a) {
        const float p = std::clamp(in[a], 0.0f, 1.0f) * (kTableEdge - 1);
        i0[a] = std::min(static_cast<int>(p), kTableEdge - 2);
        f[a] = p - static_cast<float>(i0[a]);
    }
    std::array<float, 3> out{0, 0, 0};
    for (int corner = 0; corner < 8; ++corner) {
        float w = 1.0f;
        size_t index = 0;
        size_t stride = 1;
        for (int a = 0; a < 3; ++a) {
            const int bit = (corner >> a) & 1;
            w *= bit ? f[a] : 1.0f - f[a];
            index += static_cast<size_t>(i0[a] + bit) * stride;
            stride *= kTableEdge;
        }
        for (size_t c = 0; c < 3; ++c) out[c] += w * table[3 * index + c];
    }
    return out;
}

}  // namespace ombrel::filmdata
