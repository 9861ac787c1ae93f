#include "model/ClipSettings.h"

#include <gtest/gtest.h>

#include <cmath>

#include "core/Log.h"
#include "support/Plists.h"
#include "support/RefFile.h"

namespace ombrel {
namespace {

// Every stored field away from its default and from the others, as a file holds it: a field
// stored under another's key or loaded into another shows up against the reference.
PlistValue UnusualDict() { return test::ReadPlist(test::RefPath("model/clip-settings.plist")); }

ClipSettingsPtr Unusual() {
    auto s = ClipSettings::Make();
    s->LoadFromDictionary(UnusualDict());
    return s;
}

TEST(ClipSettings, DefaultsAreTheNeutralLook) {
    const ClipSettings s;
    EXPECT_TRUE(test::MatchesRef("model/clip-settings-default.plist", s.propertyList().ToXml()));
    EXPECT_FALSE(s.sourceCameraChosen().has_value());
    EXPECT_FALSE(s.snippets().has_value());
}

TEST(ClipSettings, PropertyListRoundTripThroughXmlKeepsEveryStoredField) {
    auto original = Unusual();
    // The dictionary itself is not kept by loading: it becomes the snippets.
    EXPECT_TRUE(original->partialClipDictionary().isNull());
    EXPECT_EQ(original->snippets(), (std::vector<int>{10, 20, 40, 30}));
    original->setPartialClipDictionary(UnusualDict()["partialClipDictionary"]);
    // Stored types: floats and doubles as reals, counters as integers, flags as booleans.
    EXPECT_TRUE(test::MatchesRef("model/clip-settings.plist", original->propertyList().ToXml()));
    ClipSettings loaded;
    loaded.LoadFromDictionary(test::ParsePlist(original->propertyList().ToXml()));
    EXPECT_TRUE(loaded.IsTheSameAs(*original));
    EXPECT_TRUE(original->IsTheSameAs(loaded));
}

TEST(ClipSettings, SaturationKeepsOnlyFloatPrecisionThroughADictionary) {
    auto s = Unusual();
    s->setSaturation(1.0 / 3.0);
    ClipSettings loaded;
    loaded.LoadFromDictionary(test::ParsePlist(s->propertyList().ToXml()));
    EXPECT_EQ(loaded.saturation(), static_cast<double>(1.0f / 3.0f));
}

TEST(ClipSettings, HandWrittenDictionaryWithKeysMissing) {
    LogCapture log;
    PlistValue d = test::ParsePlist(R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict>
  <key>kelvin</key><real>4300</real>
  <key>stockName</key><string>5205</string>
</dict></plist>)");
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
    EXPECT_EQ(s->presetName() + " " + s->presetID(), "Warm print 0B1A5C9E-2E7F-4C6B-9D9A-6F0E3C1B2A47");
    EXPECT_EQ(s->sourceCameraChosen().value_or("") + " " + s->displayModel().value_or(""), "EpicM Model X");
    // No partial clip dictionary clears the snippets.
    EXPECT_FALSE(s->snippets().has_value());
}

TEST(ClipSettings, EmptyTextsAreNotStoredAndLoadingLeavesThemUntouched) {
    ClipSettings blank;
    blank.setPresetID("");
    blank.setGrainName("");
    const PlistValue d = blank.propertyList();
    for (const char* key : {"presetID", "presetName", "grainName", "sourceCameraChosen", "partialClipDictionary"})
        EXPECT_FALSE(d.contains(key)) << key;
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
    ClipSettings dest;
    dest.CopySettingsFrom(*source);
    EXPECT_TRUE(log.Contains("setting grain name to something invalid. Reverting to CP35"));
    EXPECT_EQ(source->grainName() + " " + dest.grainName(), "CP35 CP35");
    // The stored look comes over whole but for the default mark and the snippets.
    PlistValue expected = source->propertyList();
    expected.set("isDefault", false);
    expected.erase("partialClipDictionary");
    EXPECT_EQ(dest.propertyList(), expected);
    EXPECT_FALSE(dest.snippets().has_value());
    EXPECT_EQ(dest.totalFrames() + dest.framesRendered(), 0.0f);
    EXPECT_EQ(dest.errorState(), 0);
    EXPECT_FALSE(dest.acquired());
}

std::vector<int> Range(int a, int b, std::vector<int> out = {}) {
    for (int i = a; i <= b; ++i) out.push_back(i);
    return out;
}

TEST(ClipSettings, FrameFlagsAddFiveFramesOfHandleClampedToTheClip) {
    const int lo = std::numeric_limits<int>::min(), hi = std::numeric_limits<int>::max();
    const struct {
        const char* name;
        float totalFrames;
        std::vector<int> snippets, flagged;
    } rows[] = {
        {"one snippet", 100, {10, 20}, Range(5, 25)},
        {"clamped at both ends", 100, {3, 2, 96, 98}, Range(91, 99, Range(0, 8))},
        {"reversed", 100, {20, 10}, Range(5, 25)},
        {"overlapping, odd last entry ignored", 100, {10, 20, 18, 30, 70}, Range(5, 35)},
        {"empty list", 100, {}, {}},
        {"one entry", 100, {40}, {}},
        {"no frame count", 0, {1, 2}, {}},
        // Ends of the scale flag without overflow.
        {"whole scale", 10, {lo, hi}, Range(0, 9)},
        {"both lowest", 10, {lo, lo}, {}},
        {"both highest", 10, {hi, hi}, {}},
        {"lowest to two", 10, {lo, 2}, Range(0, 7)},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.name);
        ClipSettings s;
        s.setTotalFrames(r.totalFrames);
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
