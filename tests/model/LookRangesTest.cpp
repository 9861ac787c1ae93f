// The look table shared by the command line and saved files, and what a saved clip's
// dictionary may hold before a render takes it.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "model/ClipSettings.h"
#include "model/Gauge.h"
#include "model/LookRanges.h"

namespace ombrel {
namespace {

struct DictRow {
    const char* name;
    const char* key;
    PlistValue value;
    const char* fault;  // text the refusal holds; empty for an acceptable dictionary
};

class ClipDictionary : public ::testing::TestWithParam<DictRow> {};

PlistValue GoodLook() {
    ClipSettings look;
    look.setExposure(0.5f);
    return look.propertyList();
}

TEST_P(ClipDictionary, RefusesByKeyName) {
    const DictRow& row = GetParam();
    PlistValue dict = GoodLook();
    dict.set(row.key, row.value);
    const std::string why = ClipDictionaryFault(dict);
    if (std::string(row.fault).empty()) {
        EXPECT_EQ(why, "");
    } else {
        EXPECT_NE(why.find(row.fault), std::string::npos) << why;
    }
}

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

INSTANTIATE_TEST_SUITE_P(
    Values, ClipDictionary,
    ::testing::Values(
        DictRow{"LiftNaN", "lift", kNan, "lift nan is not a number"},
        DictRow{"GrainInf", "grainMultiplier", kInf, "grainMultiplier inf is not a number"},
        DictRow{"ExposureMinusInf", "exposure", -kInf, "exposure -inf is not a number"},
        DictRow{"LevelsMidNaN", "mid", kNan, "mid nan"},
        DictRow{"KelvinZero", "kelvin", 0.0, "kelvin 0 is outside 1000 to 20000"},
        DictRow{"GammaHuge", "gamma", 1e30, "gamma 1e+30 is outside 0 to 2"},
        DictRow{"BallStrength", "ballInfo.m[0]", 3.0, "ballInfo.m[0] 3 is outside 0 to 1"},
        DictRow{"SaturationText", "saturation", "lots", "saturation is not a number"},
        DictRow{"GrainScaleNegative", "grainScale", -1.0, "grainScale -1"},
        DictRow{"GrainScaleZeroIsMendedOnLoad", "grainScale", 0.0, ""},
        DictRow{"WhiteBelowBlack", "white", 0.0, "out of order"},
        DictRow{"GrainNameCP99", "grainName", "CP99", "grainName \"CP99\" names no grain scan"},
        DictRow{"GrainNameSpaced", "grainName", "CP 16", "grainName \"CP 16\""},
        DictRow{"GrainNameLeavingTheFolder", "grainName", "CP/../CP35", "names no grain scan"},
        DictRow{"GrainNameNotCPIsMendedOnCopy", "grainName", "bogus", ""},
        DictRow{"GrainNameCP16", "grainName", "CP16", ""},
        DictRow{"InPointSmallestInt", "userFrameIn", int64_t{-2147483648LL}, "userFrameIn: in point -2147483648"},
        DictRow{"InPointBeyond32Bits", "userFrameIn", int64_t{1} << 40, "userFrameIn: in point 4000000000"},
        DictRow{"InPointReal", "userFrameIn", 2.5, "userFrameIn is not a frame index"},
        DictRow{"InPointNaN", "userFrameIn", kNan, "userFrameIn is not a frame index"},
        DictRow{"OutPointNegative", "userFrameOut", -1, "userFrameOut: out point -1"},
        DictRow{"ExposureAtItsBound", "exposure", 10.0, ""}, DictRow{"KelvinTungsten", "kelvin", 3200.0, ""}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(ClipDictionary, AnOutPointBeforeTheInPointIsRefusedNotSwapped) {
    PlistValue dict = GoodLook();
    dict.set("userFrameIn", 4);
    dict.set("userFrameOut", 1);
    EXPECT_NE(ClipDictionaryFault(dict).find("out point 1 is before in point 4 (refused, not swapped)"),
              std::string::npos)
        << ClipDictionaryFault(dict);
    EXPECT_EQ(InOutFault(4, 0), "");  // no out point: from 4 on
    EXPECT_EQ(InOutFault(4, 4), "");
    EXPECT_EQ(InOutFault(1, 4), "");
}

TEST(ClipDictionary, MissingKeysAreNotChecked) {
    PlistValue partial = PlistValue::MakeDict();
    partial.set("stockName", "5213");
    partial.set("grainScale", 1.0);
    EXPECT_EQ(ClipDictionaryFault(partial), "");
}

TEST(LookRanges, EveryRowHoldsItsNeutralValue) {
    const ClipSettings neutral;
    const PlistValue d = neutral.propertyList();
    for (const LookRange& r : LookRanges()) {
        SCOPED_TRACE(r.key);
        EXPECT_LT(r.min, r.max);
        EXPECT_EQ(LookValueFault(r, d[r.key].asReal(), r.key), "");
    }
    EXPECT_EQ(ClipDictionaryFault(d), "");
}

TEST(LookRanges, TheMessageNamesWhatTheCallerCallsTheValue) {
    const LookRange* lift = LookRangeForKey("lift");
    ASSERT_NE(lift, nullptr);
    EXPECT_STREQ(lift->option, "--lift");
    EXPECT_EQ(LookValueFault(*lift, kNan, lift->option), "--lift nan is not a number; it takes 0 to 2");
    EXPECT_EQ(LookValueFault(*lift, 2.5, lift->option), "--lift 2.5 is outside 0 to 2");
    EXPECT_EQ(LookRangeForKey("nosuch"), nullptr);
}

struct ScanRow {
    const char* name;
    const char* text;
    const char* scan;  // empty when the text names no scan
};

class GrainScanNames : public ::testing::TestWithParam<ScanRow> {};

TEST_P(GrainScanNames, ALooseSpellingStandsForTheInstalledName) {
    const ScanRow& row = GetParam();
    const std::optional<std::string> scan = GrainScanForName(row.text);
    EXPECT_EQ(scan.value_or(""), row.scan);
    if (scan) {
        EXPECT_TRUE(IsGrainScanName(*scan));
    }
}

INSTANTIATE_TEST_SUITE_P(Texts, GrainScanNames,
                         ::testing::Values(ScanRow{"Spaced", "CP 16", "CP16"},
                                           ScanRow{"TrailingSpace", "CP16 ", "CP16"},
                                           ScanRow{"Dashed", "cp-16", "CP16"}, ScanRow{"Dotted", "CP1.6", "CP16"},
                                           ScanRow{"Lower", "cp8", "CP8"}, ScanRow{"Exact", "CP35", "CP35"},
                                           ScanRow{"Unknown", "CP99", ""}, ScanRow{"GaugeName", "Super 16", ""},
                                           ScanRow{"Bare", "CP", ""}, ScanRow{"Empty", "", ""}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(FramePointsOnLoad, ValuesBeyond32BitsAreHeldAtTheEndsNotWrapped) {
    PlistValue d = GoodLook();
    d.set("userFrameIn", (int64_t{1} << 32) + 1);  // wraps to 1
    d.set("userFrameOut", -(int64_t{1} << 40));
    ClipSettings s;
    s.LoadFromDictionary(d);
    EXPECT_EQ(s.userFrameIn(), std::numeric_limits<int32_t>::max());
    EXPECT_EQ(s.userFrameOut(), std::numeric_limits<int32_t>::min());
}

TEST(FramePointsOnLoad, SnippetsAtTheEndsOfTheScaleFlagWithoutOverflow) {
    struct Row {
        const char* name;
        std::vector<int> snippets;
        int flagged;
    };
    const int lo = std::numeric_limits<int>::min(), hi = std::numeric_limits<int>::max();
    for (const Row& row : {Row{"WholeScale", {lo, hi}, 10}, Row{"BothLowest", {lo, lo}, 0},
                           Row{"BothHighest", {hi, hi}, 0}, Row{"LowToTwo", {lo, 2}, 8}}) {
        SCOPED_TRACE(row.name);
        ClipSettings s;
        s.setTotalFrames(10.0f);
        s.SetSnippets(row.snippets);
        s.CreateFrameFlags();
        EXPECT_EQ(s.flaggedFrameCount(), row.flagged);
    }
}

}  // namespace
}  // namespace ombrel
