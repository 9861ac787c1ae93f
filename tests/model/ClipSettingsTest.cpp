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
}

// Missing numbers read as 0 or false but for scurveChangePercent and grainScale (1); a missing
// grain name resets; other texts stay as they were; no partial clip dictionary clears the snippets;
// frame points beyond 32 bits are held at the ends, not wrapped.
TEST(ClipSettings, HandWrittenDictionaryWithKeysMissing) {
    LogCapture log;
    auto s = Unusual();
    s->LoadFromDictionary(PlistValue::DictT{{"kelvin", 4300.0},
                                            {"stockName", "5205"},
                                            {"userFrameIn", (int64_t{1} << 32) + 1},
                                            {"userFrameOut", -(int64_t{1} << 40)}});
    EXPECT_TRUE(test::MatchesRef("model/clip-settings-sparse.plist", s->propertyList().ToXml()));
    EXPECT_TRUE(log.Contains("Warning: grain scale of 0 found in project file."));
    EXPECT_FALSE(s->snippets().has_value());
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
    EXPECT_FALSE(b->IsTheSameAs(*b));
    ClipSettings fresh;  // null camera texts
    EXPECT_FALSE(fresh.IsTheSameAs(fresh));
}

TEST(ClipSettings, CopySettingsFromCopiesTheLookButNotRenderStateAndMendsGrainName) {
    LogCapture log;
    auto source = Unusual();
    source->setGrainName("bogus");
    source->setFramesRendered(50.0f);
    source->setErrorState(3);
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
    EXPECT_EQ(std::pair(dest.framesRendered(), dest.errorState()), std::pair(0.0f, 0));
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
        {"overlapping, odd last entry ignored", 100, {10, 20, 18, 30, 70}, Range(5, 35)},
        {"no frame count", 0, {1, 2}, {}},
        // Ends of the scale flag without overflow.
        {"whole scale", 10, {lo, hi}, Range(0, 9)},
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
    }
}

TEST(ClipSettingsDeathTest, GrainScaleMustBeAboveZero) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    ClipSettings s;
    EXPECT_DEATH(s.setGrainScale(0.0f), "grain scale must be above 0");
}

}  // namespace
}  // namespace ombrel
