#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

#include "damage/AnimationSequence.h"
#include "damage/DamageFrame.h"
#include "damage/DamageRandom.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

using D = PlistValue::DictT;

AnimationSequence Curves() {
    AnimationSequence a;
    // Integers where reals are due: a treatment reads them as reals.
    a.LoadFromDictionary(D{{"leadIn", 10}, {"userFlashAmount", 2}, {"userSmearAmount", 1.0}, {"leakSize", 0.5},
                           {"gradients", D{{"exposure", 0.5}, {"smear", 0.25}, {"leakRamp", 0.5}, {"screenA", 1},
                                           {"screenB", 0.5}}},
                           {"linearDropoff", D{{"exposure", false}, {"smear", true}, {"leakRamp", false},
                                               {"screenA", false}}},
                           {"screenImages", D{{"A", D{{"startFrame", 3}, {"amount", 0.8}}},
                                              {"B", D{{"startFrame", 0}, {"amount", 1.0}}}}}});
    return a;
}

TEST(Treatment, CurvesOfTheLeadIn) {
    const AnimationSequence a = Curves();
    using F = std::function<double(int64_t)>;
    const struct { const char* what; F f; int64_t frame; double want; } cases[] = {
        {"geometric at 0 is the base", [&](int64_t n) { return a.ExposureForFrame(n); }, 0, 2.0},
        {"geometric, three halvings", [&](int64_t n) { return a.ExposureForFrame(n); }, 3, 0.25},
        {"geometric below frame 1", [&](int64_t n) { return a.ExposureForFrame(n); }, -2, 2.0},
        {"linear", [&](int64_t n) { return a.SmearForFrame(n); }, 2, 0.5},
        {"linear reaches 0", [&](int64_t n) { return a.SmearForFrame(n); }, 4, 0.0},
        {"linear never below 0", [&](int64_t n) { return a.SmearForFrame(n); }, 9, 0.0},
        {"leak size ramps from a fifth more", [&](int64_t n) { return a.LeakSizeForFrame(n); }, 0, 0.6},
        {"leak size ramp", [&](int64_t n) { return a.LeakSizeForFrame(n); }, 1, 0.55},
        {"leak size after the lead-in", [&](int64_t n) { return a.LeakSizeForFrame(n); }, 10, 0.5},
        {"overlay before its start", [&](int64_t n) { return a.ScreenAmountForScreen(0, n); }, 2, 0.0},
        {"overlay at its start", [&](int64_t n) { return a.ScreenAmountForScreen(0, n); }, 3, 0.8},
        {"g = 1 stays", [&](int64_t n) { return a.ScreenAmountForScreen(0, n); }, 9, 0.8},
        {"overlay at leadInLength", [&](int64_t n) { return a.ScreenAmountForScreen(0, n); }, 10, 0.0},
        {"key missing in linearDropoff", [&](int64_t n) { return a.ScreenAmountForScreen(1, n); }, 0, 0.0},
    };
    for (const auto& c : cases) EXPECT_DOUBLE_EQ(c.f(c.frame), c.want) << c.what;
}

TEST(Treatment, LeakFlickersWithinItsRangeAndRepeatsPerFrame) {
    AnimationSequence a;
    a.LoadFromDictionary(D{{"userLeakAmount", 0.3}, {"leakBounce", 0.5}});
    int zeros = 0, high = 0;
    for (int64_t f = 0; f < 1000; ++f) {
        DamageRandom r(42, f), again(42, f), other(43, f);
        const double v = a.LeakForFrame(f, r);
        ASSERT_GE(v, 0.0);
        ASSERT_LE(v, 0.3);
        zeros += v == 0.0;
        high += v > 0.25;
        ASSERT_EQ(v, a.LeakForFrame(f, again));
        if (f == 0) {
            EXPECT_NE(v, a.LeakForFrame(f, other));
        }
    }
    EXPECT_GT(zeros, 300);  // 2/5 of the draws fall below 0
    EXPECT_GT(high, 50);
}

TEST(Treatment, BorderPathFallsBackToOurImages) {
    test::TempDir root, empty, user;
    std::filesystem::create_directories(root / "Resources");
    for (const char* n : {"border_8mm.tif", "border_16mm.tif"}) test::WriteWholeFile(root / "Resources/" + n, "x");
    test::WriteWholeFile(user / "mine.tif", "x");
    // path: the gate's entry, 16mmGate for type 2, polaroid for 3.
    const struct { bool use; int type; std::string path; bool emptyRoot; std::string want; } cases[] = {
        {false, 2, user / "mine.tif", false, ""},
        {true, 2, user / "mine.tif", false, user / "mine.tif"},
        {true, 2, "/nowhere/border_16mm.tif", false, root / "Resources/border_16mm.tif"},
        {true, 3, "/nowhere/border_polaroid.tif", false, root / "Resources/border_8mm.tif"},
        {true, 7, "", false, root / "Resources/border_8mm.tif"},
        {true, 2, "/nowhere/border_16mm.tif", true, ""},
    };
    for (const auto& c : cases) {
        test::ScopedDataRoot data(c.emptyRoot ? empty.path() : root.path());
        AnimationSequence a;
        a.LoadFromDictionary(D{{"userUseBorder", c.use}, {"borderType", c.type},
                               {"borderImages", D{{"16mmGate", c.path}, {"polaroid", c.path}}}});
        EXPECT_EQ(a.borderPath(), c.want) << c.type << " " << c.path;
    }
}

TEST(Treatment, MissingFileAsksForNothing) {
    AnimationSequence a;
    EXPECT_FALSE(a.LoadAnimationNamed("no such treatment").ok());
    EXPECT_EQ(a.leadInLength(), 0);
    EXPECT_EQ(VariantForFrame(&a, 0).number(), 0);
    EXPECT_EQ(VariantForFrame(nullptr, 0).number(), 0);
}

TEST(Treatment, VariantsAroundTheEndOfTheLeadIn) {
    const struct { D extra; int atLastLeadIn, afterIt; } cases[] = {{{}, 2, 0}, {{{"userUseBorder", true}}, 2, 1}, {{{"userDirtAmount", 0.1}}, 2, 1},
                 {{{"userLeakAmount", 0.1}}, 2, 1}};
    for (const auto& c : cases) {
        D d = c.extra;
        d["leadIn"] = 24;
        AnimationSequence a;
        a.LoadFromDictionary(d);
        EXPECT_EQ(VariantForFrame(&a, 23).number(), c.atLastLeadIn);
        EXPECT_EQ(VariantForFrame(&a, 24).number(), c.afterIt);
    }
}

TEST(Treatment, GunkCellsTilesAndChannels) {
    using Cell = std::array<int32_t, 4>;
    const struct { int64_t frame; int tile, channel; Cell plain, bordered; } cases[] = {
        {0, 0, 0, {0, 0, 1024, 1024}, {0, 0, 1023, 1024}},
        {4, 0, 0, {1024, 0, 2048, 1024}, {1024, 0, 2047, 1024}},
        {31, 0, 3, {3072, 1024, 4096, 2048}, {3072, 1024, 4095, 2048}},
        {32, 1, 0, {0, 0, 1024, 1024}, {0, 0, 1023, 1024}},
        {127, 3, 3, {3072, 1024, 4096, 2048}, {3072, 1024, 4095, 2048}},
        {128, 0, 0, {0, 0, 1024, 1024}, {0, 0, 1023, 1024}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(GunkTileForFrame(c.frame), c.tile) << c.frame;
        EXPECT_EQ(GunkChannelForFrame(c.frame), c.channel) << c.frame;
        EXPECT_EQ(GunkCellForFrame(c.frame, false), c.plain) << c.frame;
        EXPECT_EQ(GunkCellForFrame(c.frame, true), c.bordered) << c.frame;
    }
    EXPECT_EQ(GunkTileName(GunkTileForFrame(100)), "obTile5");
}

}  // namespace
}  // namespace ombrel
