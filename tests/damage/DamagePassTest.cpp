#include <gtest/gtest.h>

#include <cmath>

#include "damage/Makers.h"
#include "damage/cpu/DamageCpu.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

TEST(DamagePass, AGunkTileOfTheWrongSizeIsRefused) {
    test::TempDir dir;
    test::WriteWholeFile(dir / "t.bin", std::string(4096 * 2048 * 4 - 1, '\0'));
    cpu::Texture8 tile;
    const Status s = LoadGunkTile(dir / "t.bin", &tile);
    EXPECT_FALSE(s.ok());
    EXPECT_NE(s.message().find("33554431 bytes, not 33554432"), std::string::npos) << s.message();
    EXPECT_TRUE(tile.empty());
}

TEST(DamagePass, SpritesMultiplyUnderTheirAlphaOnSixteenBitSteps) {
    // A 4 x 4 atlas, opaque in its left half; one sprite over the middle of an 8 x 8 target.
    cpu::Texture8 atlas{4, 4, 4, std::vector<uint8_t>(64, 0)};
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 2; ++x) atlas.data[(y * 4 + x) * 4 + 3] = 255;
    cpu::Image target{8, 8, std::vector<float>(8 * 8 * 4, 0.6f)};
    DirtSprite s;
    s.quad = {-0.5f, -0.5f, 0.5f, 0.5f, 0, 0, 4, 4};
    s.alpha = 0.5f;
    cpu::DrawDirtPass({s}, atlas, nullptr, target);
    const float plain = std::lround(0.6f * 65535.0f) / 65535.0f;
    const float half = std::lround(plain * 0.5f * 65535.0f) / 65535.0f;
    const struct { int x, y; float want; } cases[] = {
        {0, 0, plain}, {2, 2, half}, {3, 5, half}, {5, 2, plain}, {7, 7, plain},
    };
    for (const auto& c : cases) EXPECT_FLOAT_EQ(target.at(c.x, c.y)[0], c.want) << c.x << "," << c.y;
    // Turned half a turn the opaque half lands on the right.
    cpu::Image turned{8, 8, std::vector<float>(8 * 8 * 4, 0.6f)};
    s.rotation = 180.0f;
    cpu::DrawDirtPass({s}, atlas, nullptr, turned);
    EXPECT_FLOAT_EQ(turned.at(2, 3)[1], plain);
    EXPECT_FLOAT_EQ(turned.at(5, 3)[1], half);
}

TEST(DamagePass, BordersSitCentredAtTheFramesAspect) {
    test::TempDir dir;
    // A 6 x 2 grey TIFF, white but for its first column.
    std::string tiff("II*\0\x08\0\0\0", 8);
    const uint16_t entries[][2] = {{256, 6}, {257, 2}, {258, 8}, {259, 1}, {262, 1}, {273, 8 + 2 + 9 * 12 + 4},
                                   {277, 1}, {278, 2}, {279, 12}};
    tiff += std::string("\x09\0", 2);
    for (const auto& e : entries) {
        const uint16_t type = 3, zero = 0;
        const uint32_t count = 1;
        tiff.append(reinterpret_cast<const char*>(&e[0]), 2).append(reinterpret_cast<const char*>(&type), 2);
        tiff.append(reinterpret_cast<const char*>(&count), 4).append(reinterpret_cast<const char*>(&e[1]), 2);
        tiff.append(reinterpret_cast<const char*>(&zero), 2);
    }
    tiff += std::string(4, '\0') + std::string("\0\xff\xff\xff\xff\xff\0\xff\xff\xff\xff\xff", 12);
    test::WriteWholeFile(dir / "b.tif", tiff);
    BorderMaker m;
    ASSERT_TRUE(m.MakeBorderFromPathSizeForAspect(dir / "b.tif", 16, 9).ok());
    // 2 * 16 / 9 = 3 is narrower than the image: its own width, rounded up to 8.
    EXPECT_EQ(m.border().width, 8);
    EXPECT_EQ(m.borderData()[0], 0);
    EXPECT_EQ(m.borderData()[1], 0);
    EXPECT_EQ(m.borderData()[2], 255);
    EXPECT_EQ(m.borderData()[7], 0);
    ASSERT_TRUE(m.MakeBorderFromPathSizeForAspect(dir / "b.tif", 8, 1).ok());
    EXPECT_EQ(m.border().width, 16);  // 2 * 8 = 16 at 8:1, the image in columns 5 to 10
    EXPECT_EQ(m.borderData()[5], 0);
    EXPECT_EQ(m.borderData()[6], 255);
    EXPECT_EQ(m.borderData()[11], 0);
}

}  // namespace
}  // namespace ombrel
