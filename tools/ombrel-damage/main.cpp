// ombrel-damage-data: the pictures of film damage under Resources/, made at build time.
//
//   ombrel-damage-data --out DIR art          "Dirt V1_default.png" and ".plist", flash_A/B.tif,
//                                             border_8mm/16mm/polaroid.tif
//   ombrel-damage-data --out DIR gunk --tile N   obTile<N>.bin, N from 2 to 5

#include <CLI/CLI.hpp>

#include <cstdio>

#include "core/AtomicFile.h"
#include "core/PlistValue.h"
#include "ombrel-damage/Art.h"

using namespace ombrel;
using namespace ombrel::damageart;

namespace {

bool Write(const std::string& path, std::string_view bytes) {
    AtomicFileWriter::Options options;
    options.sync = false;  // build output: made again if a crash spoils it
    const Status s = WriteFileAtomically(path, bytes, options);
    if (!s.ok()) std::fprintf(stderr, "ombrel-damage-data: %s\n", s.message().c_str());
    return s.ok();
}

std::string Rect(const Cell& c) {
    return "{{" + std::to_string(c.x) + "," + std::to_string(c.y) + "},{" + std::to_string(c.w) + "," +
           std::to_string(c.h) + "}}";
}

int MakeArt(const std::string& out) {
    Plane alpha(2048, 2048);
    std::vector<Cell> cells;
    DrawAtlas(&alpha, &cells);
    // The shapes live in alpha; the colour is white, which the draw ignores.
    std::vector<uint8_t> rgba(alpha.v.size() * 4, 255);
    for (size_t i = 0; i < alpha.v.size(); ++i)
        rgba[i * 4 + 3] = static_cast<uint8_t>(std::lround(255 * std::clamp(alpha.v[i], 0.0f, 1.0f)));
    std::string error;
    const std::string png = EncodePngRgba(alpha.width, alpha.height, rgba, &error);
    if (png.empty()) {
        std::fprintf(stderr, "ombrel-damage-data: %s\n", error.c_str());
        return 1;
    }
    PlistValue frames = PlistValue::MakeDict();
    for (const Cell& c : cells) {
        const std::string size = "{" + std::to_string(c.w) + "," + std::to_string(c.h) + "}";
        frames.set(c.name, PlistValue::DictT{{"frame", Rect(c)}, {"offset", "{0,0}"}, {"rotated", false},
                                             {"sourceSize", size}, {"sourceColorRect", Rect(c)}});
    }
    PlistValue plist(PlistValue::DictT{
        {"frames", frames},
        {"metadata", PlistValue::DictT{{"format", 2}, {"textureFileName", "Dirt V1_default.png"},
                                       {"size", "{2048,2048}"}}}});
    bool ok = Write(out + "/Dirt V1_default.png", png) && Write(out + "/Dirt V1_default.plist", plist.ToXml());
    constexpr int kFlashWidth = 1024, kFlashHeight = 576;
    for (int v = 0; v < 2; ++v)
        ok = ok && Write(out + (v ? "/flash_B.tif" : "/flash_A.tif"),
                         EncodeTiff(kFlashWidth, kFlashHeight, 3, DrawFlash(v, kFlashWidth, kFlashHeight)));
    const std::pair<Gate, const char*> gates[] = {
        {Gate::k8mm, "border_8mm.tif"}, {Gate::k16mm, "border_16mm.tif"}, {Gate::kPolaroid, "border_polaroid.tif"}};
    for (const auto& [gate, name] : gates) {
        int w = 0, h = 0;
        const std::vector<uint8_t> grey = DrawBorder(gate, &w, &h);
        ok = ok && Write(out + "/" + name, EncodeTiff(w, h, 1, grey));
    }
    return ok ? 0 : 1;
}

int MakeGunk(const std::string& out, int tile) {
    // 4 x 2 cells of 1024 pixels, a picture in each of the four channels: 32 pictures a tile.
    constexpr int kWidth = 4096, kCell = 1024;
    std::string bytes(static_cast<size_t>(kWidth) * 2048 * 4, '\0');
    for (int cell = 0; cell < 8; ++cell)
        for (int ch = 0; ch < 4; ++ch) {
            const std::vector<uint8_t> pic = DrawGunk((tile - 2) * 32 + cell * 4 + ch);
            const int x0 = (cell % 4) * kCell, y0 = (cell / 4) * kCell;
            for (int y = 0; y < kCell; ++y)
                for (int x = 0; x < kCell; ++x)
                    bytes[((static_cast<size_t>(y0 + y) * kWidth) + x0 + x) * 4 + ch] =
                        static_cast<char>(pic[static_cast<size_t>(y) * kCell + x]);
        }
    return Write(out + "/obTile" + std::to_string(tile) + ".bin", bytes) ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"The pictures of film damage"};
    std::string out;
    int tile = 2;
    app.add_option("--out", out, "Resources folder")->required();
    app.require_subcommand(1, 1);
    auto* art = app.add_subcommand("art", "sprite atlas, flashes and borders");
    auto* gunk = app.add_subcommand("gunk", "one gunk tile");
    gunk->add_option("--tile", tile, "2 to 5")->check(CLI::Range(2, 5));
    CLI11_PARSE(app, argc, argv);
    if (*art) return MakeArt(out);
    if (*gunk) return MakeGunk(out, tile);
    return 2;
}
