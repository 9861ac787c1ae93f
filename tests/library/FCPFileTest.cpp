// The edit's file and range records: clamping and flags, the project file's form, names.
#include "library/FCPFile.h"

#include <gtest/gtest.h>

#include <numeric>
#include <string>
#include <vector>

namespace ombrel {
namespace {

struct SnippetCase {
    uint32_t in, out;
    uint32_t keptIn, keptOut;   // after the clamp to the length of 100
    int firstFlag, lastFlag;    // -1: no frame flagged
};

TEST(FCPFile, AddSnippetClampsToTheLengthAndFlagsTheFramesBetween) {
    const SnippetCase cases[] = {
        {10, 20, 10, 20, 10, 20},     // both ends flagged
        {10, 5, 10, 5, 5, 10},        // reverse
        {90, 120, 90, 100, 90, 99},   // out past the end: one past the last frame, flags stop at 99
        {150, 200, 100, 100, -1, -1}, // wholly past: nothing flagged
        {0, 0, 0, 0, 0, 0},
    };
    for (const auto& c : cases) {
        FCPFile file("/v/A001_C001_0101AB_001.R3D", 100, "ref");
        ASSERT_EQ(file.frameFlags().size(), 101u);
        file.AddSnippet(FCPSnippet("ignored", c.in, c.out));
        ASSERT_EQ(file.GetSnippets().size(), 1u);
        EXPECT_EQ(file.GetSnippets()[0].inPoint(), c.keptIn) << c.in << "-" << c.out;
        EXPECT_EQ(file.GetSnippets()[0].outPoint(), c.keptOut) << c.in << "-" << c.out;
        const auto& flags = file.frameFlags();
        const int count = std::accumulate(flags.begin(), flags.end(), 0);
        EXPECT_EQ(count, c.firstFlag < 0 ? 0 : c.lastFlag - c.firstFlag + 1) << c.in << "-" << c.out;
        if (c.firstFlag >= 0) {
            EXPECT_TRUE(flags[c.firstFlag] && flags[c.lastFlag]) << c.in << "-" << c.out;
        }
    }
    FCPFile bare;  // no flags at all: a range is kept and nothing is written
    bare.AddSnippet(FCPSnippet("", 3, 9));
    EXPECT_EQ(bare.GetSnippets()[0].inPoint(), 0u);
    EXPECT_TRUE(bare.frameFlags().empty());
}

TEST(FCPFile, ProjectFormRoundTripsThroughXmlWithoutFlags) {
    FCPFile file("file:///Volumes/Card%20A/A001_C002_0101AB_001.R3D", 240, "A001_C002_0101AB_001.R3D");
    file.setName("A001_C002_0101AB_001.R3D");
    file.setTimecode("01:00:00:00");
    file.setTimecodeFrame(86400);
    file.setBaseFps(24.0f);
    file.setIsNtsc(true);
    file.setIsNeeded(true);
    file.AddSnippet(FCPSnippet("", 10, 20));
    file.AddSnippet(FCPSnippet("", 50, 40));
    const PlistValue dict = file.KVCDictionary();
    EXPECT_EQ(dict["sourcePath"].asString(), "file:///Volumes/Card A/A001_C002_0101AB_001.R3D");
    EXPECT_EQ(dict["KVCSnippetList"].size(), 4u);
    EXPECT_EQ(dict["KVCSnippetList"].at(3).type(), PlistValue::Type::Real);

    PlistValue read;
    ASSERT_TRUE(PlistValue::FromXml(dict.ToXml(), &read).ok());
    FCPFile back;
    back.LoadFromKVCDictionary(read);
    EXPECT_EQ(back.KVCDictionary(), dict);
    EXPECT_EQ(back.frameFlags(), std::vector<uint8_t>(240, 0));

    // A record of plain init writes its numbers only; an odd number in the list is dropped.
    PlistValue plain = FCPFile().KVCDictionary();
    EXPECT_EQ(plain.asDict().size(), 6u);
    plain.set("KVCSnippetList", PlistValue(PlistValue::ArrayT{1.0, 2.0, 3.0}));
    back.LoadFromKVCDictionary(plain);
    EXPECT_EQ(back.GetSnippets().size(), 1u);
    EXPECT_FALSE(back.KVCDictionary().contains("name"));
    EXPECT_TRUE(back.frameFlags().empty());
}

TEST(FCPFile, NamesAndSummaryComeFromTheDecodedPath) {
    FCPFile file("/v/A001_C002_0101AB_001.R3D", 100, "r");
    file.setName("A001_C002_0101AB_001.R3D");
    file.setTimecode("01:00:00:00");
    file.setTimecodeFrame(86400);
    file.setBaseFps(24.0f);
    EXPECT_EQ(file.R3dPrefix().value_or("none"), "A001_C002_0101AB");
    EXPECT_EQ(file.shortName(), "A001_C002_0101AB_001");
    EXPECT_EQ(file.DumpSummary(), "File: A001_C002_0101AB_001.R3D Duration:100 FPS:24.000 Tc:01:00:00:00");
    file.AddSnippet(FCPSnippet("", 24, 48));
    EXPECT_EQ(file.DumpSummary(), "File: A001_C002_0101AB_001.R3D Duration:100 FPS:24.000 Tc:01:00:00:00 "
                                  "(24 to 48) = (01:00:01:00 - 01:00:02:00)");
    EXPECT_EQ(file.GetSnippets()[0].DumpSummary(), "IN:24\tOut:48");

    // Decoded when set and again when read: "%2541" is "%41" inside and "A" outside.
    file.setSourcePath("/v/short%2541.mov");
    EXPECT_EQ(file.sourcePath(), "/v/shortA.mov");
    EXPECT_EQ(file.KVCDictionary()["sourcePath"].asString(), "/v/short%41.mov");
    EXPECT_FALSE(file.R3dPrefix().has_value());
    EXPECT_EQ(PercentDecoded("100%zz%4"), "100%zz%4");
}

}  // namespace
}  // namespace ombrel
