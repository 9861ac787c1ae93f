#pragma once

// The input encoding of a camera profile: how the code values that reach the stock table
// (and the exposure tables) stand for scene light. Scene light is linear, 0.18 for a grey
// card at normal exposure, in Rec.709 primaries.

#include <array>
#include <string>

namespace ombrel::filmdata {

enum class Transfer { Bt709, Bt709Knee, Cineon };

class CameraEncoding {
public:
    bool Load(const std::string& path, std::string* error);

    // Code value (0..1) to scene light; the log curve gives slightly negative light below
    // its black code, as a real scan does.
    double Decode(double code) const;
    // Scene light to code value, limited to 0..1.
    double Encode(double light) const;

    Transfer transfer() const { return transfer_; }
    // Scene light at code 0 and at code 1.
    double blackLight() const { return Decode(0.0); }
    double whiteLight() const { return Decode(1.0); }

private:
    static double Oetf(double u);
    static double OetfInverse(double v);

    Transfer transfer_ = Transfer::Bt709;
    double black_ = 0.0;  // scene light at code 0 (bt709 kinds)
    // bt709-knee
    double kneeCode_ = 1.0, kneeLight_ = 1.0, whiteLight_ = 1.0, kneeA_ = 1.0, kneeLogSpan_ = 1.0;
    // cineon
    double whiteCode_ = 685.0, codesPerDecade_ = 300.0, cineonOffset_ = 0.0;
};

}  // namespace ombrel::filmdata
