// R3D clips through the real command line: a failing clip beside a good one, two clips of one
// name, a render split into ranges, stocks that differ, and the demo.
#include <gtest/gtest.h>

#include <string>

#include "CliSupport.h"

namespace ombrel {
namespace {

using namespace clitest;

// What oiiotool says of a file, its runs of spaces made one.
std::string OiioInfo(const std::string& path) {
    std::string text = test::RunShell("oiiotool --info " + Quoted(path)).output;
    text.erase(std::unique(text.begin(), text.end(), [](char a, char b) { return a == ' ' && b == ' '; }), text.end());
    return text;
}

TEST(R3DCli, AMakersFrameFailsItsClipWithTheReasonWhileTheGoodClipRenders) {
    test::TempDir dir;
    sdktest::SdkClip bad = sdktest::BasicClip(64, 32, 4);
    bad.makerFrames = {1};
    const std::string badPath = WriteClip(dir / "A001_C001_0101AB_001.R3D", bad);
    const std::string goodPath = WriteClip(dir / "A001_C002_0101AB_001.R3D", sdktest::BasicClip(64, 32, 4));
    const auto r = Ombrel("render --out " + dir / "out " + badPath + " " + goodPath);
    EXPECT_EQ(r.status, 1) << r.output;
    EXPECT_TRUE(Has(
        r, "Frame 1 of " + badPath + " could not be decoded: this frame's image data needs the camera maker's decoder"))
        << r.output;
    const std::string good = dir / "out/A001_C002_0101AB";
    const auto frames = DpxFrames(good);
    ASSERT_EQ(frames.size(), 4u) << r.output;
    EXPECT_EQ(frames.front(), "A001_C002_0101AB.982884.dpx");  // numbered from 11:22:33:12
    EXPECT_TRUE(std::filesystem::exists(good + "/A001_C002_0101AB.au"));
    EXPECT_TRUE(OiioInfo(good + "/" + frames.back()).find("64 x 32, 3 channel, uint10 dpx") != std::string::npos);
    // The failed clip's sound was extracted before its frames; its output ends at the bad frame.
    EXPECT_LE(DpxFrames(dir / "out/A001_C001_0101AB").size(), 1u);
}

TEST(R3DCli, TwoClipsOfOneNameFromTwoCardsNeverShareAFolder) {
    test::TempDir dir;
    const std::string first = WriteClip(dir / "cardA/A001_C001_0101AB_001.R3D", sdktest::BasicClip(16, 8, 2));
    const std::string second = WriteClip(dir / "cardB/A001_C001_0101AB_001.R3D", sdktest::BasicClip(32, 16, 2));
    const auto r = Ombrel("render --cpu --out " + dir / "out " + first + " " + second);
    EXPECT_EQ(r.status, 1) << r.output;
    EXPECT_TRUE(Has(r, second + ": not rendered: its output folder " + dir / "out/A001_C001_0101AB is that of " +
                           first + " in this run"))
        << r.output;
    EXPECT_TRUE(Has(r, first + " -> ")) << r.output;
    // The first card's frames are what the folder holds: 16 x 8 frames, not 32 x 16 ones.
    const auto frames = DpxFrames(dir / "out/A001_C001_0101AB");
    ASSERT_EQ(frames.size(), 2u) << r.output;
    ASSERT_EQ(Ombrel("render --cpu --out " + dir / "alone " + second).status, 0);
    EXPECT_LT(std::filesystem::file_size(dir / ("out/A001_C001_0101AB/" + frames[0])),
              std::filesystem::file_size(dir / ("alone/A001_C001_0101AB/" + frames[0])));
}

// The same stock, clip and frame give the same bytes, grain included, whether rendered alone or
// in a range; another stock gives other pictures.
TEST(R3DCli, ARenderSplitIntoTwoRangesWritesTheSamePicturesAsTheWholeAndTheStockTells) {
    test::TempDir dir;
    const std::string path = WriteClip(dir / "A001_C001_0101AB_001.R3D", sdktest::BasicClip(96, 48, 6));
    // 16mm: larger grain and the blur of the smaller gauges, both of which must split cleanly.
    for (const char* run :
         {"whole --stock 5207 --frames 0-5", "split --stock 5207 --frames 0-2", "split --stock 5207 --frames 3-5",
          "bw --stock KodakTriX --frames 0-0", "neg --stock 8543 --frames 0-0"})
        ASSERT_EQ(Ombrel("render --gauge 16mm --grain 1 --out " + dir / run + " " + path).status, 0) << run;
    const auto whole = DpxFrames(dir / "whole/A001_C001_0101AB");
    ASSERT_EQ(whole.size(), 6u);
    EXPECT_EQ(DpxFrames(dir / "split/A001_C001_0101AB"), whole);
    for (const auto& name : whole) {
        const std::string a = DpxImageData(dir / ("whole/A001_C001_0101AB/" + name));
        ASSERT_FALSE(a.empty());
        EXPECT_TRUE(a == DpxImageData(dir / ("split/A001_C001_0101AB/" + name))) << name;
    }
    const std::string first = DpxImageData(dir / ("whole/A001_C001_0101AB/" + whole[0]));
    for (const char* other : {"bw", "neg"}) {
        const std::string b = DpxImageData(dir / (std::string(other) + "/A001_C001_0101AB/" + whole[0]));
        ASSERT_EQ(b.size(), first.size()) << other;
        double sum = 0.0;
        for (size_t i = 0; i < b.size(); ++i) sum += std::abs(int(uint8_t(first[i])) - int(uint8_t(b[i])));
        EXPECT_GT(sum / double(b.size()), 2.0) << other << " differs measurably from 5207";
    }
}

// The fast CPU path (Super 35: no blur) keeps grain a function of the clip and the frame.
TEST(R3DCli, OnTheFastCpuPathASplitRenderWritesTheWholeRendersBytes) {
    test::TempDir dir;
    const std::string path = WriteClip(dir / "A001_C001_0101AB_001.R3D", sdktest::BasicClip(67, 31, 4));
    for (const char* run : {"whole --frames 0-3", "split --frames 0-1", "split --frames 2-3"})
        ASSERT_EQ(Ombrel("render --cpu --stock 5207 --gauge 'Super 35' --grain 1 --out " + dir / run + " " + path).status,
                  0)
            << run;
    const auto whole = DpxFrames(dir / "whole/A001_C001_0101AB");
    ASSERT_EQ(whole.size(), 4u);
    for (const auto& name : whole)
        EXPECT_TRUE(DpxImageData(dir / ("whole/A001_C001_0101AB/" + name)) ==
                    DpxImageData(dir / ("split/A001_C001_0101AB/" + name)))
            << name;
}

// Where OpenGL renders in software the render takes the CPU path by itself and says so once;
// --gl keeps OpenGL.
TEST(R3DCli, ASoftwareRendererSendsTheLookToTheCpuOnceSaidAndGlOverrides) {
    test::TempDir dir;
    const std::string a = WriteClip(dir / "A001_C001_0101AB_001.R3D", sdktest::BasicClip(32, 16, 2));
    const std::string b = WriteClip(dir / "A001_C002_0101AB_001.R3D", sdktest::BasicClip(32, 16, 2));
    const std::string said = "the look renders on the fast CPU path";
    const auto chosen = Ombrel("render --out " + dir / "auto " + a + " " + b);
    ASSERT_EQ(chosen.status, 0) << chosen.output;
    const auto gl = Ombrel("render --gl --out " + dir / "gl " + a);
    ASSERT_EQ(gl.status, 0) << gl.output;
    EXPECT_FALSE(Has(gl, said)) << gl.output;
    if (!Has(chosen, "renders in software")) GTEST_SKIP() << "OpenGL renders on hardware here";
    EXPECT_EQ(chosen.output.find(said), chosen.output.rfind(said)) << chosen.output;
    EXPECT_TRUE(Has(Ombrel("render --cpu --gl --out " + dir / "both " + a), "--cpu excludes --gl"));
}

TEST(R3DCli, TheDemoRendersItsClipAndWritesAPngOfTheFirstFrame) {
    test::TempDir dir;
    const std::string clip = WriteClip(dir / "A001_C001_0101AB_demo_001.R3D", sdktest::BasicClip(128, 64, 3));
    test::ScopedEnv demo("OMBREL_DEMO_CLIP", clip.c_str());
    const auto r = Ombrel("demo --out " + dir / "out");
    ASSERT_EQ(r.status, 0) << r.output;
    const std::string folder = dir / "out/A001_C001_0101AB_demo";
    EXPECT_TRUE(Has(r, "Graded DPX frames: " + folder)) << r.output;
    EXPECT_TRUE(Has(r, "To view:")) << r.output;
    EXPECT_EQ(DpxFrames(folder).size(), 3u);
    const std::string png = folder + "_first_frame.png";
    EXPECT_TRUE(Has(r, png)) << r.output;
    EXPECT_TRUE(OiioInfo(png).find("128 x 64, 3 channel, uint8 png") != std::string::npos) << OiioInfo(png);

    test::ScopedEnv none("OMBREL_DEMO_CLIP", (dir / "none_001.R3D").c_str());
    const auto missing = Ombrel("demo --out " + dir / "out2");
    EXPECT_EQ(missing.status, 1);
    EXPECT_TRUE(Has(missing, "the demo clip is not there")) << missing.output;
}

}  // namespace
}  // namespace ombrel
