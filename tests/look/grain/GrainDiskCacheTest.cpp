// The disk cache of resized grain maps: what it gives back draws as what was stored, and a file
// that is damaged, stale or made for another size is refused, never read as grain.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include "look/grain/GrainDiskCache.h"
#include "look/grain/GrainMap.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

std::shared_ptr<BitmapRep> Noise(int w, int h) {
    auto rep = std::make_shared<BitmapRep>(BitmapRep::Rgba8(w, h));
    uint32_t s = 12345;
    for (auto& b : rep->data) b = static_cast<uint8_t>((s = s * 1664525u + 1013904223u) >> 24);
    return rep;
}

// Flips the bits of one byte, counted from the end when `at` is negative.
void Flip(const std::string& path, std::streamoff at) {
    std::fstream f(path, std::ios::in | std::ios::out | std::ios::binary);
    f.seekg(at, at < 0 ? std::ios::end : std::ios::beg);
    const char byte = static_cast<char>(f.get() ^ 0x5A);
    f.seekp(at, at < 0 ? std::ios::end : std::ios::beg);
    f.put(byte);
}

TEST(GrainDiskCache, GivesBackWhatWasStoredAndRefusesAnyOtherFile) {
    test::TempDir dir;
    const std::string scan = dir / "CPX.bin";
    std::ofstream(scan) << "a scan";
    const auto map = Noise(37, 11);
    const std::string file = GrainCachePath("CPX", 300, 200);
    struct Case {
        const char* what;
        std::function<void()> damage;
        int width = 300;
        bool loads = false;
    };
    const Case cases[] = {
        {"as stored", [] {}, 300, true},
        {"another size asked", [] {}, 301},
        {"a pixel changed", [&] { Flip(file, -5); }},
        {"cut short", [&] { std::filesystem::resize_file(file, std::filesystem::file_size(file) - 1); }},
        {"longer", [&] { std::ofstream(file, std::ios::app) << 'x'; }},
        {"not ours", [&] { Flip(file, 0); }},
        {"a broken header", [&] { Flip(file, 17); }},
        {"the scan changed", [&] { std::ofstream(scan, std::ios::app) << "!"; }},
        {"no file", [&] { std::filesystem::remove(file); }},
    };
    for (const Case& c : cases) {
        ASSERT_TRUE(StoreCachedGrain("CPX", 300, 200, scan, *map).ok()) << c.what;
        c.damage();
        BitmapRepPtr got;
        const Status s = LoadCachedGrain("CPX", c.width, 200, scan, &got);
        EXPECT_EQ(s.ok(), c.loads) << c.what << ": " << s.message();
        EXPECT_EQ(got != nullptr, c.loads) << c.what;
        if (got) {
            EXPECT_EQ(got->data, map->data) << c.what;
            EXPECT_EQ(std::tuple(got->width, got->height, got->bytesPerRow, got->samplesPerPixel),
                      std::tuple(37, 11, 37 * 4, 4));
        }
    }
}

// A map rebuilt from its resized bitmap is the map: the same texture, mean and levels.
TEST(GrainDiskCache, MapFromTheResizedBitmapEqualsTheMapItCameFrom) {
    const GrainMap made(Noise(150, 90), 100.0f, 60.0f);
    const auto again = GrainMap::FromResized(made.GetGrainBitmapRep());
    ASSERT_EQ(std::tuple(again->width(), again->height()), std::tuple(made.width(), made.height()));
    const size_t n = size_t(made.width()) * size_t(made.height()) * 3;
    EXPECT_TRUE(std::equal(made.GetTextureData(), made.GetTextureData() + n, again->GetTextureData()));
    EXPECT_EQ(made.grainMean(), again->grainMean());
    const BitmapRep& rep = *made.GetGrainBitmapRep();
    for (size_t i = 0; i < size_t(made.width()) * 3; ++i)
        ASSERT_EQ(again->textureLevels()[rep.data[i / 3 * 4 + i % 3]], made.GetTextureData()[i]) << i;
}

}  // namespace
}  // namespace ombrel
