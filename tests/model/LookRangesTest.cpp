// The look table shared by the command line and saved files, and what a saved clip's
// dictionary may hold before a render takes it.
#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "model/ClipSettings.h"
#include "model/Gauge.h"
#include "model/LookRanges.h"

namespace ombrel {
namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

PlistValue GoodLook() {
    ClipSettings look;
    look.setExposure(0.5f);
    return look.propertyList();
}

TEST(ClipDictionary, RefusesByKeyName) {
    const struct {
        const char* name;
        std::vector<std::pair<const char*, PlistValue>> set;
        const char* fault;  // text the refusal holds; empty for an acceptable dictionary
    } rows[] = {
        {"LiftNaN", {{"lift", kNan}}, "lift nan is not a number"},
        {"KelvinZero", {{"kelvin", 0.0}}, "kelvin 0 is outside 1000 to 20000"},
        {"BallStrength", {{"ballInfo.m[0]", 3.0}}, "ballInfo.m[0] 3 is outside 0 to 1"},
        {"SaturationText", {{"saturation", "lots"}}, "saturation is not a number"},
        {"GrainScaleNegative", {{"grainScale", -1.0}}, "grainScale -1"},
        {"GrainScaleZeroIsMendedOnLoad", {{"grainScale", 0.0}}, ""},
        {"WhiteBelowBlack", {{"white", 0.0}}, "out of order"},
        {"GrainNameCP99", {{"grainName", "CP99"}}, "grainName \"CP99\" names no grain scan"},
        {"GrainNameLeavingTheFolder", {{"grainName", "CP/../CP35"}}, "names no grain scan"},
        {"GrainNameNotCPIsMendedOnCopy", {{"grainName", "bogus"}}, ""},
        {"InPointBeyond32Bits", {{"userFrameIn", int64_t{1} << 40}}, "userFrameIn: in point 4000000000"},
        {"InPointReal", {{"userFrameIn", 2.5}}, "userFrameIn is not a frame index"},
        {"OutPointNegative", {{"userFrameOut", -1}}, "userFrameOut: out point -1"},
        {"OutBeforeIn",
         {{"userFrameIn", 4}, {"userFrameOut", 1}},
         "out point 1 is before in point 4 (refused, not swapped)"},
        {"ExposureAtItsBound", {{"exposure", 10.0}}, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        PlistValue dict = GoodLook();
        for (const auto& [key, value] : row.set) dict.set(key, value);
        const std::string why = ClipDictionaryFault(dict);
        if (*row.fault) {
            EXPECT_NE(why.find(row.fault), std::string::npos) << why;
        } else {
            EXPECT_EQ(why, "");
        }
    }
    // Missing keys are not checked.
    EXPECT_EQ(ClipDictionaryFault(PlistValue::DictT{{"stockName", "5213"}, {"grainScale", 1.0}}), "");
    EXPECT_EQ(ClipDictionaryFault(ClipSettings().propertyList()), "") << "every row holds its neutral value";
    EXPECT_EQ(InOutFault(4, 0), "");  // no out point: from 4 on
    EXPECT_EQ(InOutFault(4, 4), "");
}

TEST(LookRanges, TheMessageNamesWhatTheCallerCallsTheValue) {
    const LookRange* lift = LookRangeForKey("lift");
    ASSERT_NE(lift, nullptr);
    EXPECT_EQ(LookValueFault(*lift, kNan, lift->option), "--lift nan is not a number; it takes 0 to 2");
    EXPECT_EQ(LookValueFault(*lift, 2.5, lift->option), "--lift 2.5 is outside 0 to 2");
}

TEST(GrainScanNames, ALooseSpellingStandsForTheInstalledName) {
    const std::pair<const char*, const char*> rows[] = {
        // text, scan ("" when it names none)
        {"CP 16", "CP16"}, {"cp-16", "CP16"}, {"CP1.6", "CP16"}, {"CP99", ""}, {"Super 16", ""}, {"", ""}};
    for (const auto& [text, expected] : rows) {
        SCOPED_TRACE(text);
        const std::optional<std::string> scan = GrainScanForName(text);
        EXPECT_EQ(scan.value_or(""), expected);
        if (scan) { EXPECT_TRUE(IsGrainScanName(*scan)); }
    }
}

}  // namespace
}  // namespace ombrel
