#include "ombrel-data/ContactSheet.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <map>

#include "ombrel-data/Generate.h"

namespace ombrel::filmdata {
namespace {

// A 5 x 7 bitmap font for the labels: rows top to bottom, '1' is ink.
const std::map<char, const char*>& Glyphs() {
    static const std::map<char, const char*> glyphs = {
        {'A', "01110100011000111111100011000110001"}, {'B', "11110100011000111110100011000111110"},
        {'C', "01110100011000010000100001000101110"}, {'D', "11110100011000110001100011000111110"},
        {'E', "11111100001000011110100001000011111"}, {'F', "11111100001000011110100001000010000"},
        {'G', "01110100011000010111100011000101111"}, {'H', "10001100011000111111100011000110001"},
        {'I', "01110001000010000100001000010001110"}, {'J', "00111000100001000010000101001001100"},
        {'K', "10001100101010011000101001001010001"}, {'L', "10000100001000010000100001000011111"},
        {'M', "10001110111010110101100011000110001"}, {'N', "10001100011100110101100111000110001"},
        {'O', "01110100011000110001100011000101110"}, {'P', "11110100011000111110100001000010000"},
        {'Q', "01110100011000110001101011001001101"}, {'R', "11110100011000111110101001001010001"},
        {'S', "01111100001000001110000010000111110"}, {'T', "11111001000010000100001000010000100"},
        {'U', "10001100011000110001100011000101110"}, {'V', "10001100011000110001100010101000100"},
        {'W', "10001100011000110101101011010101010"}, {'X', "10001100010101000100010101000110001"},
        {'Y', "10001100010101000100001000010000100"}, {'Z', "11111000010001000100010001000011111"},
        {'0', "01110100011001110101110011000101110"}, {'1', "00100011000010000100001000010001110"},
        {'2', "01110100010000100010001000100011111"}, {'3', "11111000100010000010000011000101110"},
        {'4', "00010001100101010010111110001000010"}, {'5', "11111100001111000001000011000101110"},
        {'6', "00110010001000011110100011000101110"}, {'7', "11111000010001000100010000100001000"},
        {'8', "01110100011000101110100011000101110"}, {'9', "01110100011000101111000010001001100"},
        {'-', "00000000000000011111000000000000000"}, {'.', "00000000000000000000000000110001100"},
        {'%', "11000110010001000100010001001100011"}, {'(', "00010001000100001000010000010000010"},
        {')', "01000001000001000010000100010001000"}, {'/', "00000000010001000100010001000000000"},
        {':', "00000011000110000000011000110000000"}, {' ', "00000000000000000000000000000000000"},
    };
    return glyphs;
}

using Rgbf = std::array<float, 3>;

class Canvas {
public:
    Canvas(int width, int height, Rgbf background) : width_(width), height_(height) {
        pixels_.resize(static_cast<size_t>(width) * static_cast<size_t>(height), background);
    }
    void Set(int x, int y, const Rgbf& c) {
        if (x >= 0 && y >= 0 && x < width_ && y < height_)
            pixels_[static_cast<size_t>(y) * static_cast<size_t>(width_) + static_cast<size_t>(x)] = c;
    }
    void Text(int x, int y, const std::string& text, int scale, const Rgbf& ink) {
        for (char raw : text) {
            const char ch = static_cast<char>(std::toupper(static_cast<unsigned char>(raw)));
            auto it = Glyphs().find(ch);
            const char* glyph = it == Glyphs().end() ? Glyphs().at(' ') : it->second;
            for (int row = 0; row < 7; ++row)
                for (int col = 0; col < 5; ++col)
                    if (glyph[row * 5 + col] == '1')
                        for (int dy = 0; dy < scale; ++dy)
                            for (int dx = 0; dx < scale; ++dx) Set(x + col * scale + dx, y + row * scale + dy, ink);
            x += 6 * scale;
        }
    }
    Image8 ToImage() const {
        Image8 image;
        image.width = width_;
        image.height = height_;
        image.rgb.resize(pixels_.size() * 3);
        for (size_t i = 0; i < pixels_.size(); ++i)
            for (size_t c = 0; c < 3; ++c)
                image.rgb[3 * i + c] =
                    static_cast<uint8_t>(std::lround(std::clamp(pixels_[i][c], 0.0f, 1.0f) * 255.0f));
        return image;
    }

private:
    int width_, height_;
    std::vector<Rgbf> pixels_;
};

double SrgbToLinear(double v) {
    v /= 255.0;
    return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
}

Rgb Reflectance(int r, int g, int b) { return {SrgbToLinear(r), SrgbToLinear(g), SrgbToLinear(b)}; }

// The classic 24-patch colour chart (published sRGB values) and six skin tones, as scene
// reflectances under the grey card's light.
const std::array<std::array<int, 3>, 24> kChart = {{
    {115, 82, 68},   {194, 150, 130}, {98, 122, 157},  {87, 108, 67},   {133, 128, 177}, {103, 189, 170},
    {214, 126, 44},  {80, 91, 166},   {193, 90, 99},   {94, 60, 108},   {157, 188, 64},  {224, 163, 46},
    {56, 61, 150},   {70, 148, 73},   {175, 54, 60},   {231, 199, 31},  {187, 86, 149},  {8, 133, 161},
    {243, 243, 242}, {200, 200, 200}, {160, 160, 160}, {122, 122, 121}, {85, 85, 85},    {52, 52, 52},
}};
const std::array<std::array<int, 3>, 6> kSkin = {{
    {236, 192, 164},
    {224, 172, 138},
    {198, 140, 105},
    {164, 110, 78},
    {124, 82, 58},
    {88, 58, 42},
}};

constexpr int kTileWidth = 334;
constexpr int kTileHeight = 214;
constexpr int kColumns = 4;
constexpr int kMargin = 12;
constexpr int kGrainPatch = 300;

// Scene light of the chart at (x, y) inside a tile's picture area (318 x 180), or false
// for the gaps between patches.
bool ChartLight(int x, int y, Rgb* light) {
    constexpr int patchW = 50, patchH = 26, gap = 3;
    if (y < 4 * (patchH + gap)) {
        const int col = x / (patchW + gap), row = y / (patchH + gap);
        if (col >= 6 || x % (patchW + gap) >= patchW || y % (patchH + gap) >= patchH) return false;
        const auto& c = kChart[static_cast<size_t>(row * 6 + col)];
        *light = Reflectance(c[0], c[1], c[2]);
        return true;
    }
    y -= 4 * (patchH + gap);
    if (y < 24) {
        const int col = x / (patchW + gap);
        if (col >= 6 || x % (patchW + gap) >= patchW || y >= 21) return false;
        const auto& c = kSkin[static_cast<size_t>(col)];
        *light = Reflectance(c[0], c[1], c[2]);
        return true;
    }
    y -= 24;
    if (y < 20) {
        // Eleven steps, one stop apart, from 6 stops under grey to 4 over.
        const int step = x * 11 / 318;
        if (y >= 18) return false;
        const double v = 0.18 * std::pow(2.0, step - 6);
        *light = {v, v, v};
        return true;
    }
    y -= 20;
    if (y < 16) {
        // A continuous ramp from 8 stops under grey to 5 over.
        const double v = 0.18 * std::pow(2.0, -8.0 + 13.0 * x / 317.0);
        *light = {v, v, v};
        return true;
    }
    return false;
}

// Bilinear sample of a scan channel on its torus, as texture values after the reader's
// range mapping.
float SampleScan(const GrainScan& scan, const RangeMapping& map, double x, double y, int c) {
    const int x0 = static_cast<int>(std::floor(x)), y0 = static_cast<int>(std::floor(y));
    const double fx = x - x0, fy = y - y0;
    auto at = [&](int xi, int yi) {
        xi = ((xi % scan.width) + scan.width) % scan.width;
        yi = ((yi % scan.height) + scan.height) % scan.height;
        const double b =
            scan.rgb[3 * (static_cast<size_t>(yi) * static_cast<size_t>(scan.width) + static_cast<size_t>(xi)) +
                     static_cast<size_t>(c)];
        return (b - map.lo) * map.k / 255.0;
    };
    return static_cast<float>((at(x0, y0) * (1 - fx) + at(x0 + 1, y0) * fx) * (1 - fy) +
                              (at(x0, y0 + 1) * (1 - fx) + at(x0 + 1, y0 + 1) * fx) * fy);
}

}  // namespace

bool BuildContactSheet(const DataSet& data, const std::string& profile, Image8* image, std::string* error) {
    CameraEncoding camera;
    if (!data.LoadCamera(profile, &camera, error)) return false;
    const auto& stocks = data.catalogue().stocks();

    // The chart as the camera records it.
    constexpr int pictureW = 318, pictureH = 180;
    std::vector<std::array<float, 3>> codes(static_cast<size_t>(pictureW) * pictureH);
    std::vector<bool> inside(codes.size(), false);
    for (int y = 0; y < pictureH; ++y)
        for (int x = 0; x < pictureW; ++x) {
            Rgb light;
            if (!ChartLight(x, y, &light)) continue;
            const size_t i = static_cast<size_t>(y) * pictureW + static_cast<size_t>(x);
            inside[i] = true;
            for (size_t c = 0; c < 3; ++c) codes[i][c] = static_cast<float>(camera.Encode(light[c]));
        }

    const int tiles = static_cast<int>(stocks.size()) + 1;
    const int rows = (tiles + kColumns - 1) / kColumns;
    const int width = 2 * kMargin + kColumns * kTileWidth;
    const int grainTop = kMargin + 28 + rows * kTileHeight + 8;
    const int height = grainTop + 26 + kGrainPatch + kMargin;
    const Rgbf background{0.13f, 0.13f, 0.13f};
    const Rgbf ink{0.85f, 0.85f, 0.85f};
    Canvas canvas(width, height, background);
    canvas.Text(kMargin, kMargin,
                "PROFILE " + profile + " - 18% GREY AT " +
                    std::to_string(static_cast<int>(std::lround(data.viewing().midGreyOut * 100))) + "%",
                2, ink);

    for (int t = 0; t < tiles; ++t) {
        const int left = kMargin + (t % kColumns) * kTileWidth;
        const int top = kMargin + 28 + (t / kColumns) * kTileHeight;
        std::vector<float> table;
        std::string label = "CAMERA (NO STOCK)";
        if (t > 0) {
            const StockEntry& entry = stocks[static_cast<size_t>(t - 1)];
            StockModel model;
            if (!model.Load(data.catalogue(), entry, data.viewing(), error)) return false;
            table = BuildStockTable(camera, model, false);
            label = entry.displayName == "-" ? entry.name : entry.displayName;
        }
        canvas.Text(left + 2, top + 4, label, 2, ink);
        for (int y = 0; y < pictureH; ++y)
            for (int x = 0; x < pictureW; ++x) {
                const size_t i = static_cast<size_t>(y) * pictureW + static_cast<size_t>(x);
                if (!inside[i]) continue;
                const auto& in = codes[i];
                const Rgbf out = table.empty() ? in : LookupTable(table.data(), in[0], in[1], in[2]);
                canvas.Set(left + 2 + x, top + 24 + y, out);
            }
    }

    // Mid grey with the grain of each gauge, as a 1920-wide frame gets it, with the first
    // stock's curve at grain amount 1.
    StockModel first;
    if (!first.Load(data.catalogue(), stocks.front(), data.viewing(), error)) return false;
    const auto curve = BuildGrainCurve(first, data.curveParams());
    const struct {
        const char* label;
        const char* scan;
        double scale;
        int divisor;
    } gauges[] = {{"35MM AT 100%", "CP35", 1.0, 1}, {"16MM AT 100%", "CP16", 2.43, 2}, {"8MM AT 100%", "CP8", 5.53, 4}};
    const float grey = static_cast<float>(data.viewing().midGreyOut);
    const int level = static_cast<int>(std::lround(grey * 255.0f));
    constexpr float kColorfulness = 0.6f;
    constexpr float kLuma[3] = {0.2126f, 0.7152f, 0.0722f};
    for (int g = 0; g < 3; ++g) {
        GrainParams params;
        if (!data.LoadGrain(gauges[g].scan, &params, error)) return false;
        const GrainScan scan = GenerateGrainScan(params);
        const RangeMapping map = ReaderRangeMapping(scan);
        const double mapWidth = std::floor(1920.0 * gauges[g].scale / gauges[g].divisor);
        const double step = scan.width / mapWidth;  // scan pixels per frame pixel
        const int left = kMargin + g * (kGrainPatch + 40);
        canvas.Text(left, grainTop, gauges[g].label, 2, ink);
        for (int y = 0; y < kGrainPatch; ++y)
            for (int x = 0; x < kGrainPatch; ++x) {
                float grain[3], mono = 0.0f;
                for (int c = 0; c < 3; ++c) {
                    grain[c] = SampleScan(scan, map, x * step, y * step, c) - 0.5f;
                    mono += kLuma[c] * grain[c];
                }
                Rgbf out;
                for (size_t c = 0; c < 3; ++c) {
                    const float mixed = mono + (grain[c] - mono) * kColorfulness;
                    out[c] = grey + mixed * curve[static_cast<size_t>(3 * level) + c];
                }
                canvas.Set(left + x, grainTop + 22 + y, out);
            }
    }
    *image = canvas.ToImage();
    return true;
}

}  // namespace ombrel::filmdata
