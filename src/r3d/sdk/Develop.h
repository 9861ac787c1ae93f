#pragma once

// How the decode layer develops a frame: our payload stores pictures in the plain extract's
// encoding (the BT.709 transfer over a 0.1% flare floor, Rec.709 primaries). Exposure, ISO and
// white balance act as gains on scene light; the result is encoded in the extract that the
// gamma curve names. These are the input encodings that the camera profiles of the stock
// tables expect (data/cameras): plain video, video with a knee, and a printing-density log.

#include <array>
#include <cstdint>
#include <vector>

namespace ombrel::R3DSDK {

// Scene light (0.18 for a grey card) of a code value 0..1 of the plain extract.
double PayloadCodeToLight(double code);
// The code value 0..1 of scene light in the extract of a gamma curve; unknown curves are
// taken as the plain one.
double LightToCode(int gammaCurve, double light);

// Gains for red, green and blue (green 1) that take a picture balanced for the light of
// `shotKelvin` to one balanced for `kelvin`: a higher Kelvin warms the picture. Values are
// held to 2000..15000 K.
std::array<double, 3> WhiteBalanceGains(double shotKelvin, double kelvin);

// One lookup table per channel from stored code to developed code.
struct DevelopTables {
    bool identity = true;  // nothing to do: the stored samples are the developed ones
    std::array<std::vector<uint16_t>, 3> table;
};
DevelopTables MakeDevelopTables(int gammaCurve, const std::array<double, 3>& gains);

}  // namespace ombrel::R3DSDK
