#include "model/ClipSettings.h"

#include <gtest/gtest.h>

#include <cmath>

#include "core/Log.h"
#include "support/Plists.h"
#include "support/RefFile.h"

namespace ombrel {
namespace {

// A record with every stored field away from its default.
ClipSettingsPtr Unusual() {
    auto s = ClipSettings::Make();
    s->setGrainMultiplier(0.75f);
    s->setColorChangePercent(0.125);
    s->setScurveChangePercent(0.25);
    s->setKelvin(3200.0f);
    s->setSaturation(1.25);
    s->setLift(0.9f);
    s->setGamma(1.1f);
    s->setGain(1.2f);
    s->setBallInfo({{0.5f, 1.0f}, {0.25f, -2.0f}, {0.125f, 3.0f}});
    s->setExposure(-1.5f);
    s->setBlack(0.05f);
    s->setMid(0.45f);
    s->setWhite(0.95f);
    s->setGrainName("CP16");
    s->setGrainScale(2.0f);
    s->setStockName("5219");
    s->setBlurRadius(1.5f);
    s->setLastFrameShown(12);
    s->setIsDefault(true);
    s->setUseMetadata(false);
    s->setPopulated(true);
    s->setUserFrameIn(10);
    s->setUserFrameOut(90);
    s->setPresetNumber(3);
    s->setPresetID("0B1A5C9E-2E7F-4C6B-9D9A-6F0E3C1B2A47");
    s->setPresetName("Warm print");
    s->setSourceCameraChosen("EpicM");
    s->setDisplayMake("Maker");
    s->setDisplayModel("Model X");
    s->setDisplayPictureStyle("Neutral");
    return s;
}

TEST(ClipSettings, DefaultsAreTheNeutralLook) {
    ClipSettings s;
    EXPECT_EQ(s.grainMultiplier(), 1.0f);
    EXPECT_EQ(s.kelvin(), 5600.0f);
    EXPECT_EQ(s.lift(), 1.0f);
    EXPECT_EQ(s.mid(), 0.5f);
    EXPECT_EQ(s.grainName(), "CP35");
    EXPECT_EQ(s.stockName(), "5207");
    EXPECT_TRUE(s.useMetadata());
    EXPECT_FALSE(s.sourceCameraChosen().has_value());
    EXPECT_FALSE(s.snippets().has_value());
}

TEST(ClipSettings, PropertyListRoundTripThroughXmlKeepsEveryStoredField) {
    auto original = Unusual();
    PlistValue::DictT partial;
    partial["Handle"] = 0;
    partial["PullType"] = 1;
    partial["SnippetList"] = PlistValue::ArrayT{10, 20, 40, 30};
    original->setPartialClipDictionary(PlistValue(partial));

    const PlistValue dict = original->propertyList();
    // Stored types: floats and doubles as reals, counters as integers, flags as booleans.
    EXPECT_TRUE(test::MatchesRef("model/clip-settings.plist", dict.ToXml()));
    const PlistValue parsed = test::ParsePlist(dict.ToXml());
    ClipSettings loaded;
    loaded.LoadFromDictionary(parsed);
    EXPECT_TRUE(loaded.IsTheSameAs(*original));
    EXPECT_TRUE(original->IsTheSameAs(loaded));
    ASSERT_TRUE(loaded.snippets().has_value());
    EXPECT_EQ(*loaded.snippets(), (std::vector<int>{10, 20, 40, 30}));
    // The dictionary itself is not kept by loading; everything else comes back.
    EXPECT_TRUE(loaded.partialClipDictionary().isNull());
    PlistValue withoutPartial = parsed;
    withoutPartial.erase("partialClipDictionary");
    EXPECT_EQ(loaded.propertyList(), withoutPartial);
}

TEST(ClipSettings, SaturationKeepsOnlyFloatPrecisionThroughADictionary) {
    auto s = Unusual();
    s->setSaturation(1.0 / 3.0);
    ClipSettings loaded;
    loaded.LoadFromDictionary(test::ParsePlist(s->propertyList().ToXml()));
    EXPECT_NE(loaded.saturation(), 1.0 / 3.0);
    EXPECT_EQ(loaded.saturation(), static_cast<double>(1.0f / 3.0f));
}

TEST(ClipSettings, HandWrittenDictionaryWithKeysMissing) {
    LogCapture log;
    PlistValue d = test::ParsePlist(R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict>
  <key>kelvin</key><real>4300</real>
  <key>stockName</key><string>5205</string>
</dict></plist>)");
    ASSERT_TRUE(d.isDict());
    auto s = Unusual();
    s->LoadFromDictionary(d);
    EXPECT_EQ(s->kelvin(), 4300.0f);
    EXPECT_EQ(s->stockName(), "5205");
    // Missing numbers read as 0 or false, with two mended exceptions.
    EXPECT_EQ(s->colorChangePercent(), 0.0);
    EXPECT_EQ(s->scurveChangePercent(), 1.0);
    EXPECT_EQ(s->grainScale(), 1.0f);
    EXPECT_TRUE(log.Contains("Warning: grain scale of 0 found in project file."));
    EXPECT_EQ(s->lift(), 0.0f);
    EXPECT_FALSE(s->useMetadata());
    EXPECT_EQ(s->userFrameOut(), 0);
    // A missing grain name resets; other texts stay as they were.
    EXPECT_EQ(s->grainName(), "CP35");
    EXPECT_EQ(s->presetID(), "0B1A5C9E-2E7F-4C6B-9D9A-6F0E3C1B2A47");
    EXPECT_EQ(s->presetName(), "Warm print");
    EXPECT_EQ(s->sourceCameraChosen(), "EpicM");
    EXPECT_EQ(s->displayModel(), "Model X");
    // No partial clip dictionary clears the snippets.
    s->SetSnippets(std::vector<int>{1, 2});
    s->LoadFromDictionary(d);
    EXPECT_FALSE(s->snippets().has_value());
}

TEST(ClipSettings, EmptyTextsAreNotStoredAndLoadingLeavesThemUntouched) {
    ClipSettings blank;
    blank.setPresetID("");
    blank.setGrainName("");
    PlistValue d = blank.propertyList();
    EXPECT_FALSE(d.contains("presetID"));
    EXPECT_FALSE(d.contains("presetName"));
    EXPECT_FALSE(d.contains("grainName"));
    EXPECT_FALSE(d.contains("sourceCameraChosen"));
    EXPECT_FALSE(d.contains("partialClipDictionary"));
    auto s = Unusual();
    s->LoadFromDictionary(d);
    EXPECT_EQ(s->presetID(), "0B1A5C9E-2E7F-4C6B-9D9A-6F0E3C1B2A47");
}

TEST(ClipSettings, IsTheSameAsComparesExactlyIgnoresBlurAndNullTextsNeverMatch) {
    auto a = Unusual();
    auto b = Unusual();
    EXPECT_TRUE(a->IsTheSameAs(*b));
    b->setBlurRadius(9.0f);
    EXPECT_TRUE(a->IsTheSameAs(*b));
    b->setKelvin(std::nextafter(3200.0f, 4000.0f));
    EXPECT_FALSE(a->IsTheSameAs(*b));
    b->setKelvin(3200.0f);
    ColorBallInfo balls = b->ballInfo();
    balls.s[1] = std::nanf("");
    b->setBallInfo(balls);
    EXPECT_FALSE(a->IsTheSameAs(*b));
    EXPECT_FALSE(b->IsTheSameAs(*b));

    ClipSettings fresh1, fresh2;  // null camera texts
    EXPECT_FALSE(fresh1.IsTheSameAs(fresh2));
    EXPECT_FALSE(fresh1.IsTheSameAs(fresh1));
}

TEST(ClipSettings, CopySettingsFromCopiesTheLookButNotRenderStateAndMendsGrainName) {
    LogCapture log;
    auto source = Unusual();
    source->setGrainName("bogus");
    source->setTotalFrames(100.0f);
    source->setFramesRendered(50.0f);
    source->setErrorState(3);
    source->setAcquired(true);
    source->SetSnippets(std::vector<int>{1, 2});
    ClipSettings dest;
    dest.CopySettingsFrom(*source);
    EXPECT_TRUE(log.Contains("setting grain name to something invalid. Reverting to CP35"));
    EXPECT_EQ(source->grainName(), "CP35");
    EXPECT_EQ(dest.grainName(), "CP35");
    EXPECT_TRUE(dest.IsTheSameAs(*source));
    EXPECT_EQ(dest.blurRadius(), 1.5f);
    EXPECT_TRUE(dest.populated());
    EXPECT_FALSE(dest.isDefault());
    EXPECT_EQ(dest.totalFrames(), 0.0f);
    EXPECT_EQ(dest.framesRendered(), 0.0f);
    EXPECT_EQ(dest.errorState(), 0);
    EXPECT_FALSE(dest.acquired());
    EXPECT_FALSE(dest.snippets().has_value());
}

std::vector<int> Range(int a, int b, std::vector<int> out = {}) {
    for (int i = a; i <= b; ++i) out.push_back(i);
    return out;
}

TEST(ClipSettings, FrameFlagsAddFiveFramesOfHandleClampedToTheClip) {
    struct Row {
        const char* name;
        float totalFrames;
        std::vector<int> snippets, flagged;
    };
    const Row rows[] = {
        {"one snippet", 100, {10, 20}, Range(5, 25)},
        {"clamped at both ends", 100, {3, 2, 96, 98}, Range(91, 99, Range(0, 8))},
        {"reversed", 100, {20, 10}, Range(5, 25)},
        {"overlapping, odd last entry ignored", 100, {10, 20, 18, 30, 70}, Range(5, 35)},
        {"empty list", 100, {}, {}},
        {"one entry", 100, {40}, {}},
        {"no frame count", 0, {1, 2}, {}},
    };
    // One record for the rows of a 100-frame clip: each list replaces the flags of the last.
    ClipSettings clip, unknown;
    clip.setTotalFrames(100.0f);
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        ClipSettings& s = r.totalFrames > 0 ? clip : unknown;
        s.SetSnippets(r.snippets);
        s.CreateFrameFlags();
        std::vector<int> flagged;
        for (size_t i = 0; i < s.frameFlags().size(); ++i)
            if (s.frameFlags()[i]) flagged.push_back(static_cast<int>(i));
        EXPECT_EQ(flagged, r.flagged);
        EXPECT_EQ(s.flaggedFrameCount(), static_cast<int>(r.flagged.size()));
        EXPECT_EQ(s.frameFlags().size(), static_cast<size_t>(r.totalFrames));
    }
}

TEST(ClipSettingsDeathTest, GrainScaleMustBeAboveZero) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    ClipSettings s;
    EXPECT_DEATH(s.setGrainScale(0.0f), "grain scale must be above 0");
}

TEST(ColorBallData, ResetCopyAndCompare) {
    ColorBallInfo a{{1, 2}, {3, 4}, {5, 6}};
    ColorBallInfo b;
    EXPECT_FALSE(ColorBallData::IsSameDest(a, b));
    ColorBallData::CopyColorBallInfoDest(a, &b);
    EXPECT_TRUE(ColorBallData::IsSameDest(a, b));
    ColorBallData::ResetColorBallInfo(&b);
    EXPECT_TRUE(ColorBallData::IsSameDest(b, ColorBallInfo{}));
    b.m[0] = -0.0f;  // -0 equals +0
    EXPECT_TRUE(ColorBallData::IsSameDest(b, ColorBallInfo{}));
}

}  // namespace
}  // namespace ombrel
