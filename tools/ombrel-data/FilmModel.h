#pragma once

// The film model behind the stock tables: scene light through a stock's characteristic
// curves (and, for negatives, a print stock) to display code values.
//
// Front: each dye layer's exposure is a mix of scene R, G, B (the layers' spectral
// sensitivities, rows summing to 1 so that greys stay grey); in log exposure relative to
// 18% grey, colour differences grow by the interimage factor. Each layer then runs through
// its own 1D chain, which is tabulated once per stock:
//   negative  density of the negative -> print exposure through the lab's printer light ->
//             density of the print -> transmitted light -> display code
//   reversal  density of the slide -> transmitted light -> display code
//   bw        one layer from the stock's spectral weighting, printed as a negative
//   instant   a soft, short-range reflection print with a warm base and lifted blacks
//   display   a neutral filmic tone curve for a video monitor (Rec.709 or P3)
//   log       a log encoding: the camera log curve of the "logc" looks, or a negative's
//             densities as printing-density code values
// Printer lights (and a slide's balance) are solved so that 18% grey lands on the display
// mid grey of data/stocks/viewing.txt (times the stock's mid_tint).

#include <array>
#include <memory>
#include <string>
#include <vector>

namespace ombrel::filmdata {

class Catalogue;
struct StockEntry;
class CameraEncoding;

using Rgb = std::array<double, 3>;
using Mat3 = std::array<double, 9>;  // row major

struct Viewing {
    double displayExponent = 3.0;
    double midGreyOut = 0.45;
    double statusMBlackCode = 95.0;
    double statusMDensityPerCode = 0.002;
    bool Load(const std::string& path, std::string* error);
};

// A density curve that rises from 0 with slope 1 at lin >> 0, bending softly into 0 below
// (softness softLow) and into `range` above (softness softHigh). Monotone in lin.
double Rise(double lin, double softLow, double range, double softHigh);

enum class StockKind { Negative, Reversal, BlackAndWhite, Instant, Display, LogCamera, LogNegative };

class StockModel {
public:
    StockModel();
    ~StockModel();
    StockModel(StockModel&&) noexcept;
    StockModel& operator=(StockModel&&) noexcept;

    bool Load(const Catalogue& catalogue, const StockEntry& entry, const Viewing& viewing, std::string* error);
    // A stock file by path; files it names (print, negative) are looked up beside it.
    bool LoadFile(const std::string& path, const Viewing& viewing, std::string* error);

    // Scene light (Rec.709 primaries, 0.18 = grey card) to display code values in 0..1.
    Rgb Render(const Rgb& scene) const;
    // The Status M variant: the negative's densities above base as code values.
    Rgb RenderStatusM(const Rgb& scene) const;

    StockKind kind() const { return kind_; }
    bool hasStatusM() const { return statusM_; }
    bool isBlackAndWhite() const { return kind_ == StockKind::BlackAndWhite; }
    double speed() const { return speed_; }
    double grainRms() const { return grainRms_; }
    const Rgb& grainBalance() const { return grainBalance_; }
    // Where 18% grey should land (display mid grey times the tint), for the kinds that are
    // balanced; the log kinds answer their own encoding of grey.
    Rgb midTarget() const;

private:
    struct Layer {
        double dmin = 0, dmax = 3, gamma = 1, mid = 0.6, softDmin = 0.1, softDmax = 0.5;
    };
    struct Curve {
        std::vector<float> values;  // over the x grid
        double Eval(double x) const;
    };

    bool Parse(const std::string& path, const Viewing& viewing, std::string* error);
    bool ReadLayers(const class ParamFile& file, bool needMid, std::array<Layer, 3>* layers, std::string* error);
    Rgb Front(const Rgb& scene) const;  // log exposure per layer relative to grey, after interimage
    double NegativeDensity(int c, double x) const;
    double PositiveDensity(const std::array<Layer, 3>& layers, int c, double x, double balance) const;
    double PrintDensity(int c, double x, double printerLight) const;
    double PrintOut(int c, double x, double printerLight) const;
    double Display(double light, double black) const;
    double PositiveOut(int c, double x, double balance) const;
    void Tabulate();

    StockKind kind_ = StockKind::Negative;
    Viewing viewing_;
    double speed_ = 100;
    double grainRms_ = 7;
    Rgb grainBalance_{1, 1, 1};
    bool statusM_ = false;
    std::array<Layer, 3> layers_;
    std::array<Layer, 3> print_;
    Mat3 sensitivity_{1, 0, 0, 0, 1, 0, 0, 0, 1};
    Mat3 primaries_{1, 0, 0, 0, 1, 0, 0, 0, 1};
    bool convertPrimaries_ = false;
    double interimage_ = 0;
    Rgb midTint_{0, 0, 0};
    double flare_ = 0;
    double printGrade_ = 1.0;  // contrast of the print stock against its nominal (paper grade)
    double exponent_ = 3.0;
    std::array<double, 7> logc_{};          // cut a b c d e f
    std::unique_ptr<StockModel> negative_;  // of the LogNegative kind
    double greyCode_ = 0.0;                 // 10-bit code of grey in a timed scan; 0: untimed
    Rgb balance_{0, 0, 0};                  // printer lights, or a positive's balance
    std::array<Curve, 3> out_;
    std::array<Curve, 3> statusMOut_;
};

inline constexpr int kTableEdge = 64;
inline constexpr size_t kTableFloats = size_t{kTableEdge} * kTableEdge * kTableEdge * 3;

// The 64 x 64 x 64 table of a stock for a camera: entry (i, j, k) at float index
// 3 * (i + 64 j + 4096 k) is the stock's output for code values (i, j, k) / 63.
std::vector<float> BuildStockTable(const CameraEncoding& camera, const StockModel& model, bool statusM);

// Trilinear look-up of code values (each 0..1) in such a table, as the GPU's linear filter
// reads a 64-texel 3D texture at its texel centres.
std::array<float, 3> LookupTable(const float* table, float r, float g, float b);

// Linear-light conversion from Rec.709 to P3 primaries, both with a D65 white.
Mat3 Rec709ToP3();

}  // namespace ombrel::filmdata
