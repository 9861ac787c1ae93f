#include <gtest/gtest.h>

#include <cmath>

#include "core/Log.h"
#include "damage/DamagePlanner.h"
#include "damage/DirtManager.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

using D = PlistValue::DictT;

TEST(Atlas, FormatsReadTheirOwnKeys) {
    const struct { int format; D entry; DirtRect rect; DirtPoint offset; DirtSize original; int rotated; } cases[] = {
        {0, D{{"x", 10}, {"y", 20.5}, {"width", 30}, {"height", 40}, {"offsetX", 1}, {"offsetY", -2},
              {"originalWidth", -100}, {"originalHeight", 50}},
         {10, 20.5, 30, 40}, {1, -2}, {100, 50}, 0},
        {1, D{{"frame", "{{1,2},{3,4}}"}, {"offset", "{5,6}"}, {"sourceSize", "{7,8}"}, {"rotated", true}},
         {1, 2, 3, 4}, {5, 6}, {7, 8}, 0},
        {2, D{{"frame", "{{1, 2}, {3, 4}}"}, {"offset", "{5,-6}"}, {"sourceSize", "{7,8}"}, {"rotated", true}},
         {1, 2, 3, 4}, {5, -6}, {7, 8}, 1},
        {3, D{{"spriteSize", "{3,4}"}, {"textureRect", "{{1,2},{99,99}}"}, {"spriteOffset", "{5,6}"},
              {"spriteSourceSize", "{7,8}"}, {"textureRotated", true}},
         {1, 2, 3, 4}, {5, 6}, {7, 8}, 1},
    };
    for (const auto& c : cases) {
        DirtManager m;
        m.AddDirtFramesWithDictionary(D{{"metadata", D{{"format", c.format}}}, {"frames", D{{"Dust1", c.entry}}}},
                                      "atlas.png");
        ASSERT_EQ(m.dirtFrames(kDirtDust).size(), 1u) << c.format;
        const DirtFrame& f = m.dirtFrames(kDirtDust).begin()->second;
        EXPECT_EQ(f.rect(), c.rect) << c.format;
        EXPECT_EQ(f.offset(), c.offset) << c.format;
        EXPECT_EQ(f.originalSize(), c.original) << c.format;
        EXPECT_EQ(f.rotated(), c.rotated) << c.format;
        EXPECT_EQ(f.textureFilename(), "atlas.png");
    }
    DirtManager unknown;
    unknown.AddDirtFramesWithDictionary(D{{"metadata", D{{"format", 4}}}, {"frames", D{{"Dust1", D{}}}}}, "a.png");
    EXPECT_TRUE(unknown.dirtFrames(kDirtDust).empty());
    EXPECT_EQ(DirtManager::RectFromString(""), (DirtRect{}));
    EXPECT_EQ(DirtManager::RectFromString("{{1.5, 2}}"), (DirtRect{1.5, 2, 0, 0}));
}

TEST(Atlas, PrefixesAreCaseSensitiveAndAZeroSizeWarns) {
    LogCapture log;
    D frames;
    for (const char* n : {"Dust1", "dust2", "DIRTY", "Hair_a", "pie3", "Scratch9", "vert1", "vertical", "Vert"})
        frames[n] = D{{"originalWidth", 4}, {"originalHeight", 4}};
    frames["pie4"] = D{{"originalWidth", 4}};
    test::TempDir dir;
    ASSERT_TRUE(PlistValue(D{{"frames", frames}}).WriteToFile(dir / "a.plist").ok());
    DirtManager m;
    ASSERT_TRUE(m.AddDirtFramesWithFile(dir / "a.plist").ok());
    EXPECT_EQ(m.textureFilename(), dir / "a.png");  // no metadata: format 0, the image by the description
    const size_t want[kDirtTypeCount] = {1, 1, 2, 1, 1, 2};
    for (int t = 0; t < kDirtTypeCount; ++t) EXPECT_EQ(m.dirtFrames(t).size(), want[t]) << t;
    EXPECT_EQ(log.Count(DirtManager::kOriginalSizeWarning), 1u);

    ASSERT_TRUE(PlistValue(D{{"metadata", D{{"textureFileName", "b.png"}}}, {"frames", frames}})
                    .WriteToFile(dir / "c.plist").ok());
    ASSERT_TRUE(m.AddDirtFramesWithFile(dir / "c.plist").ok());
    EXPECT_EQ(m.textureFilename(), dir / "b.png");
}

// One vertical line sprite, 1920 pixels tall, and a treatment of lines only.
DamagePlanner LinesOnly(int maxCount, int maxDuration) {
    DirtManager atlas;
    atlas.AddDirtFramesWithDictionary(
        D{{"frames", D{{"vert1", D{{"x", 8}, {"y", 4}, {"width", 6}, {"height", 1920}, {"originalWidth", 6},
                                   {"originalHeight", 1920}}}}}},
        "a.png");
    AnimationSequence a;
    a.LoadFromDictionary(D{{"dynamicDirt", D{{"vertical", D{{"maxCount", maxCount}, {"opacity", 0.5},
                                                              {"probability", 1.0}, {"maxDuration", maxDuration}}}}}});
    return DamagePlanner(a, atlas, 7);
}

TEST(Dirt, PinnedLinesHoldTheirPlaceAndTakeTheTriesFirst) {
    // A line that holds for 0 frames is drawn when made and once more as a pinned line, then goes.
    DamagePlanner brief = LinesOnly(2, 1);
    for (int64_t f = 0; f < 3; ++f) {
        const DamageFramePlan p = brief.PlanFrame(f, 1920, 1080);
        ASSERT_EQ(p.sprites.size(), 2u);
        EXPECT_NEAR(p.sprites[0].quad[0], p.sprites[1].quad[0], 2e-4);
        EXPECT_TRUE(brief.dirtManager().pinnedVerticals().empty());
    }
    // Long lines: frame 0 makes A (drawn twice) and B; frame 1 draws A and B pinned and makes C;
    // frame 2 has no try left over for a new line.
    DamagePlanner lasting = LinesOnly(3, 100000);
    const DamageFramePlan p0 = lasting.PlanFrame(0, 1920, 1080);
    const DamageFramePlan p1 = lasting.PlanFrame(1, 1920, 1080);
    const DamageFramePlan p2 = lasting.PlanFrame(2, 1920, 1080);
    ASSERT_EQ(p0.sprites.size(), 3u);
    ASSERT_EQ(p1.sprites.size(), 3u);
    ASSERT_EQ(p2.sprites.size(), 3u);
    EXPECT_EQ(lasting.dirtManager().pinnedVerticals().size(), 3u);
    EXPECT_NEAR(p1.sprites[0].quad[0], p0.sprites[0].quad[0], 2e-4);
    EXPECT_NEAR(p1.sprites[1].quad[0], p0.sprites[2].quad[0], 2e-4);
    for (int i = 0; i < 3; ++i) {
        const DirtSprite& s = p2.sprites[i];
        EXPECT_NEAR(s.quad[0], p1.sprites[i].quad[0], 2e-4);
        EXPECT_EQ(s.quad[1], -1.0f);
        EXPECT_EQ(s.quad[3], 1.0f);
        EXPECT_FLOAT_EQ(s.quad[7] - s.quad[5], 1080.0f);  // a window of 1080 atlas pixels
        EXPECT_GE(s.quad[5], 4.0f);
        EXPECT_LE(s.quad[7], 1924.0f);
        EXPECT_FLOAT_EQ(s.alpha, 0.5f);
    }
}

TEST(Dirt, ARangeReplaysTheFramesBeforeIt) {
    DamagePlanner whole = LinesOnly(3, 10);
    std::vector<DamageFramePlan> plans;
    for (int64_t f = 0; f < 12; ++f) plans.push_back(whole.PlanFrame(f, 1920, 1080));
    DamagePlanner range = LinesOnly(3, 10);
    for (int64_t f : {7, 8, 3, 11}) {
        const DamageFramePlan p = range.PlanFrame(f, 1920, 1080);
        ASSERT_EQ(p.sprites.size(), plans[f].sprites.size()) << f;
        for (size_t i = 0; i < p.sprites.size(); ++i) EXPECT_EQ(p.sprites[i].quad, plans[f].sprites[i].quad) << f;
        EXPECT_EQ(p.weaveX, plans[f].weaveX);
    }
}

}  // namespace
}  // namespace ombrel
