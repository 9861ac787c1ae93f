// `ombrel conform` against the demo clip, its exits, and `ombrel render --conform`.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "CliSupport.h"

namespace ombrel {
namespace {

using clitest::Has;
using clitest::Ombrel;
using clitest::Quoted;

const std::string kCut =
    "TITLE: demo cut\n"
    "001  A001_C001_0101AB_demo V     C        01:00:00:10 01:00:00:20 00:00:00:00 00:00:00:10\n"
    "002  B002_C002_0101AB V     C        01:00:00:00 01:00:00:05 00:00:00:10 00:00:00:15\n"
    "003  A001_C001_0101AB_demo V     C        01:00:01:00 01:00:02:00 00:00:00:15 00:00:01:15\n";

TEST(ConformCli, AnEditAgainstTheDemoClipListsItsRanges) {
    test::TempDir dir;
    test::WriteWholeFile(dir / "cut.edl", kCut);
    const std::string demo = OMBREL_DEMO_CLIP;
    const std::string footage = std::filesystem::path(demo).parent_path().string();
    // Braces keep the system log on stderr out of what is read.
    const std::string args = "conform " + Quoted(dir / "cut.edl") + " --footage " + Quoted(footage);
    const auto text = test::RunShell("{ " + std::string(OMBREL_CLI) + " " + args + " 2>/dev/null; }");
    EXPECT_EQ(text.status, 0) << text.output;
    for (const char* line : {"[Done]   1. Found 3 edits in 'cut.edl'.", "[Alert]  3. Found 1 matching files... 1 failed",
                             "!! .Failed to match 002  B002_C002_0101AB", "  frames 10 to 20\n  frames 24 to 48\n"})
        EXPECT_TRUE(Has(text, line)) << line << "\n" << text.output;
    const auto json = test::RunShell("{ " + std::string(OMBREL_CLI) + " " + args + " --json 2>/dev/null; }");
    EXPECT_EQ(json.status, 0);
    EXPECT_EQ(json.output.front(), '{');
    EXPECT_TRUE(json.output.ends_with("}\n"));
    for (const std::string& field : std::initializer_list<std::string>
         {std::string("\"type\": \"edl\", \"mode\": \"r3d\", \"edits\": 3"), "\"failCount\": 1", "\"bestReelId\": \"B002_C002_0101AB\"",
          "{\"label\": \"4. Shot List Loaded. \", \"icon\": \"Done\"}", "\"snippets\": [[10, 20], [24, 48]]",
          "\"shotList\": [\"" + demo + "\"]"})
        EXPECT_TRUE(Has(json, field)) << field << "\n" << json.output;
}

TEST(ConformCli, ExitsTellHowTheRunEnded) {
    test::TempDir dir;
    test::WriteWholeFile(dir / "cut.edl", kCut);
    test::WriteWholeFile(dir / "empty.edl", "");
    test::WriteWholeFile(dir / "cut.xml", "<?xml version=\"1.0\"?>\n<!DOCTYPE xmeml>\n<xmeml version=\"5\"/>\n");
    std::filesystem::create_directories(dir / "nothing");
    const struct {
        std::string args;
        int status;
        const char* says;
    } cases[] = {
        {Quoted(dir / "cut.edl"), 0, "1. Found 3 edits in 'cut.edl'."},
        {Quoted(dir / "empty.edl"), 1, "ombrel conform: 1. No edits found in 'empty.edl'."},
        {Quoted(dir / "missing.edl"), 1, "1. Error reading 'missing.edl'. (cannot read"},
        {Quoted(dir / "cut.edl") + " --footage " + Quoted(dir / "nothing"), 1, "ombrel conform: 2. Found 0 movie files."},
        {Quoted(dir / "cut.xml"), 1, "ombrel conform: 1. No edits found in 'cut.xml'."},
        {Quoted(dir / "cut.edl") + " --type avi", 2, "--type wants edl, fcp, avid or fcpx"},
        {"", 2, "EDIT_FILE is required"},
    };
    for (const auto& c : cases) {
        const auto r = Ombrel("conform " + c.args);
        EXPECT_EQ(r.status, c.status) << c.args << "\n" << r.output;
        EXPECT_TRUE(Has(r, c.says)) << c.args << "\n" << r.output;
    }
}

// A clip of 48 frames used at 10-20 and 24-48: with handles of 5 the flagged frames are 5 to
// 47; without, each range goes to its own folder.
TEST(ConformCli, RenderingAnEditWritesJustItsFrames) {
    test::TempDir dir;
    sdktest::SdkClip clip = sdktest::BasicClip(32, 16, 48);
    clip.spec.rateNumerator = 24;
    clip.spec.rateDenominator = 1;
    clip.spec.absoluteTimecode = "01:00:00:00";
    clitest::WriteClip(dir / "footage/A001_C001_0101AB_001.R3D", clip);
    std::string cut = kCut;
    while (cut.find("_demo") != std::string::npos) cut.erase(cut.find("_demo"), 5);
    test::WriteWholeFile(dir / "cut.edl", cut);
    const std::string base = "render --cpu --conform " + Quoted(dir / "cut.edl") + " --footage " + Quoted(dir / "footage");
    const auto whole = Ombrel(base + " --out " + Quoted(dir / "seq"));
    ASSERT_EQ(whole.status, 0) << whole.output;
    const auto frames = clitest::DpxFrames(dir / "seq/A001_C001_0101AB");
    ASSERT_EQ(frames.size(), 43u);
    EXPECT_EQ(frames.front(), "A001_C001_0101AB.086405.dpx");
    const auto split = Ombrel(base + " --edl-options 1 --out " + Quoted(dir / "split"));
    ASSERT_EQ(split.status, 0) << split.output;
    EXPECT_EQ(clitest::DpxFrames(dir / "split/A001_C001_0101AB/S0001").size(), 11u);
    EXPECT_EQ(clitest::DpxFrames(dir / "split/A001_C001_0101AB/S0002").size(), 24u);
    const auto stopped = Ombrel("render --conform " + Quoted(dir / "cut.edl") + " --footage " + Quoted(dir / "seq"));
    EXPECT_EQ(stopped.status, 1);
    EXPECT_TRUE(Has(stopped, "2. Found 0 movie files.")) << stopped.output;
}

}  // namespace
}  // namespace ombrel
