#pragma once

// Pictures of film damage drawn from fixed seeds: the same bytes on every build.

#include <cstdint>
#include <string>
#include <vector>

namespace ombrel::damageart {

// A single-channel picture of floats in 0 to 1, row 0 at the top.
struct Plane {
    int width = 0, height = 0;
    std::vector<float> v;
    Plane(int w, int h) : width(w), height(h), v(static_cast<size_t>(w) * h, 0.0f) {}
    float& at(int x, int y) { return v[static_cast<size_t>(y) * width + x]; }
    float get(int x, int y) const { return v[static_cast<size_t>(y) * width + x]; }
    // max(old, a) over a small area: shapes drawn over one another do not add up past 1.
    void Max(int x, int y, float a) {
        if (x >= 0 && y >= 0 && x < width && y < height && a > at(x, y)) at(x, y) = a;
    }
};

// A sprite's cell in the atlas and its name.
struct Cell {
    std::string name;
    int x = 0, y = 0, w = 0, h = 0;
};

// The atlas: alpha of every sprite in a 2048 x 2048 plane, and the cells.
void DrawAtlas(Plane* alpha, std::vector<Cell>* cells);
// A warm light-struck flare, RGB8, variant 0 or 1.
std::vector<uint8_t> DrawFlash(int variant, int width, int height);
// A film gate: white inside, black outside, rounded and slightly rough corners.
enum class Gate { k8mm, k16mm, kPolaroid };
std::vector<uint8_t> DrawBorder(Gate gate, int* width, int* height);
// One gunk picture of 1024 x 1024 (index 0 to 127): stains, mottle and grit; 0 is clean film.
std::vector<uint8_t> DrawGunk(int index);

// Encoders into memory.
std::string EncodePngRgba(int width, int height, const std::vector<uint8_t>& rgba, std::string* error);
std::string EncodeTiff(int width, int height, int channels, const std::vector<uint8_t>& pixels);

}  // namespace ombrel::damageart
