#include "ombrel-data/Camera.h"

#include <algorithm>
#include <cmath>

#include "ombrel-data/ParamFile.h"

namespace ombrel::filmdata {

// The BT.709 curve with the constants carried to the precision at which its two segments
// meet, so that encoding and decoding invert each other across the joint.
constexpr double kAlpha = 1.09929682680944;
constexpr double kBeta = 0.018053968510807;

double CameraEncoding::Oetf(double u) {
    if (u <= 0.0) return 0.0;
    return u < kBeta ? 4.5 * u : kAlpha * std::pow(u, 0.45) - (kAlpha - 1.0);
}

double CameraEncoding::OetfInverse(double v) {
    if (v <= 0.0) return 0.0;
    return v < 4.5 * kBeta ? v / 4.5 : std::pow((v + kAlpha - 1.0) / kAlpha, 1.0 / 0.45);
}

bool CameraEncoding::Load(const std::string& path, std::string* error) {
    ParamFile file;
    if (!file.Load(path, error)) return false;
    const std::string encoding = file.Text("encoding");
    const std::string primaries = file.Text("primaries", "rec709");
    if (primaries != "rec709") {
        if (error) *error = path + ": only rec709 primaries are supported, not \"" + primaries + "\"";
        return false;
    }
    if (encoding == "bt709" || encoding == "bt709-knee") {
        black_ = 0.0;
        if (!file.Optional("black", &black_, error)) return false;
        if (!(black_ >= 0.0 && black_ < 0.1)) {
            if (error) *error = path + ": \"black\" must lie in 0 .. 0.1";
            return false;
        }
        transfer_ = Transfer::Bt709;
        if (encoding == "bt709-knee") {
            transfer_ = Transfer::Bt709Knee;
            if (!file.Number("knee", &kneeCode_, error) || !file.Number("white", &whiteLight_, error)) return false;
            kneeLight_ = OetfInverse(kneeCode_);
            if (!(kneeCode_ > 0.1 && kneeCode_ < 1.0 && whiteLight_ > kneeLight_ + 0.01)) {
                if (error) *error = path + ": the knee must lie in 0.1 .. 1 and below white";
                return false;
            }
            // The log segment continues the curve's slope at the knee: find its bend a.
            const double span = whiteLight_ - kneeLight_;
            const double slope = kAlpha * 0.45 * std::pow(kneeLight_, -0.55);
            auto slopeAt = [&](double a) { return (1.0 - kneeCode_) * a / std::log1p(a * span); };
            if (slopeAt(1e-9) >= slope) {
                if (error) *error = path + ": the knee leaves too little room up to white";
                return false;
            }
            double lo = 1e-9, hi = 1e9;
            for (int i = 0; i < 200; ++i) {
                const double mid = std::sqrt(lo * hi);
                (slopeAt(mid) < slope ? lo : hi) = mid;
            }
            kneeA_ = std::sqrt(lo * hi);
            kneeLogSpan_ = std::log1p(kneeA_ * span);
        }
        return true;
    }
    if (encoding == "cineon") {
        double blackCode = 95.0, densityPerCode = 0.002, gamma = 0.6;
        whiteCode_ = 685.0;
        if (!file.Optional("white_code", &whiteCode_, error) || !file.Optional("black_code", &blackCode, error) ||
            !file.Optional("density_per_code", &densityPerCode, error) ||
            !file.Optional("negative_gamma", &gamma, error))
            return false;
        if (!(densityPerCode > 0.0 && gamma > 0.0 && whiteCode_ > blackCode)) {
            if (error) *error = path + ": bad log curve parameters";
            return false;
        }
        transfer_ = Transfer::Cineon;
        codesPerDecade_ = gamma / densityPerCode;
        cineonOffset_ = std::pow(10.0, (blackCode - whiteCode_) / codesPerDecade_);
        return true;
    }
    if (error) *error = path + ": unknown encoding \"" + encoding + "\" (bt709, bt709-knee or cineon)";
    return false;
}

double CameraEncoding::Decode(double code) const {
    switch (transfer_) {
        case Transfer::Bt709: return black_ + (1.0 - black_) * OetfInverse(code);
        case Transfer::Bt709Knee: {
            double u;
            if (code <= kneeCode_) {
                u = OetfInverse(code);
            } else {
                u = kneeLight_ + std::expm1((code - kneeCode_) / (1.0 - kneeCode_) * kneeLogSpan_) / kneeA_;
            }
            return black_ + (1.0 - black_) * u;
        }
        case Transfer::Cineon: {
            const double b = cineonOffset_;
            return (std::pow(10.0, (code * 1023.0 - whiteCode_) / codesPerDecade_) - b) / (1.0 - b);
        }
    }
    return 0.0;
}

double CameraEncoding::Encode(double light) const {
    double code = 0.0;
    switch (transfer_) {
        case Transfer::Bt709:
        case Transfer::Bt709Knee: {
            const double u = (light - black_) / (1.0 - black_);
            if (transfer_ == Transfer::Bt709 || u <= kneeLight_) {
                code = Oetf(u);
            } else {
                code = kneeCode_ + (1.0 - kneeCode_) * std::log1p(kneeA_ * (u - kneeLight_)) / kneeLogSpan_;
            }
            break;
        }
        case Transfer::Cineon: {
            const double b = cineonOffset_;
            const double t = std::max(light * (1.0 - b) + b, 1e-12);
            code = (whiteCode_ + codesPerDecade_ * std::log10(t)) / 1023.0;
            break;
        }
    }
    return std::clamp(code, 0.0, 1.0);
}

}  // namespace ombrel::filmdata
