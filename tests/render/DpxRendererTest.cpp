#include "render/dpx/DpxRenderer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <regex>

#include "TiffDpxRenderFixture.h"
#include "core/Log.h"

namespace ombrel {
namespace {

using test::HiddenFiles;
using test::LittleEndian32;
using test::Quoted;
using test::ReadWholeFile;
using test::RunCommand;
using test::TestPatternConfig;
using test::TestPatternSource;

class DpxRendererTest : public test::SequenceRenderTest {
protected:
    void SetUp() override {
        SequenceRenderTest::SetUp();
        out_->setFormat(kFormatDpx);
    }

    // The words of the test pattern's frame f as the file must hold them.
    static std::string PackedFrame(int frame, uint32_t w, uint32_t h) {
        const auto rgb = TestPatternSource::FramePixels(frame, w, h);
        std::string words;
        for (size_t p = 0; p < rgb.size() / 3; ++p) {
            const uint32_t r = rgb[3 * p], g = rgb[3 * p + 1], b = rgb[3 * p + 2];
            const uint32_t word = (r >> 6) << 22 | (g >> 6) << 12 | (b >> 6) << 2;
            for (int i = 0; i < 4; ++i) words.push_back(static_cast<char>(word >> (8 * i)));
        }
        return words;
    }

    // OpenImageIO's reader sees every sample of frame f.
    static void ExpectSamplesThroughOiio(const std::string& path, int frame, uint32_t w, uint32_t h) {
        const auto dump = RunCommand("oiiotool --dumpdata " + Quoted(path));
        ASSERT_EQ(dump.status, 0) << dump.output;
        const std::regex pixel(R"(Pixel \((\d+), (\d+)\): \d+ \d+ \d+ \(([0-9.e-]+) ([0-9.e-]+) ([0-9.e-]+)\))");
        uint32_t seen = 0;
        for (auto it = std::sregex_iterator(dump.output.begin(), dump.output.end(), pixel);
             it != std::sregex_iterator(); ++it, ++seen) {
            const auto x = static_cast<uint32_t>(std::stoul((*it)[1])), y = static_cast<uint32_t>(std::stoul((*it)[2]));
            for (int c = 0; c < 3; ++c) {
                const long got = std::lround(std::stod((*it)[3 + c]) * 1023.0);
                ASSERT_EQ(got, TestPatternSource::SampleAt(frame, x, y, c, w, h) >> 6)
                    << path << " pixel " << x << "," << y << " channel " << c;
            }
        }
        EXPECT_EQ(seen, w * h) << dump.output;
    }
};

TEST_F(DpxRendererTest, HeadersAndSamplesOfCameraAndMovieClipsReadBack) {
    TestPatternConfig config;
    config.width = 16;
    config.height = 8;
    config.frames = 3;
    config.fps = 25.0f;
    config.startTimecode = {10, 0, 0, 0};
    test::ScopedTestPatternSources sources(config);
    auto r3d = Item("A001_C001_0101AB_001.R3D", 3);
    auto movie = Item("Scene.mov", 3);
    auto wide = Item("Größe.mov", 3);
    Run({r3d, movie, wide});
    for (const auto& item : {r3d, movie, wide}) EXPECT_FALSE(item->errorState()) << item->errorMessage();

    // 10:00:00:00 at 25 frames a second is frame 900000.
    EXPECT_EQ(FilesIn(Out("A001_C001_0101AB")),
              (std::vector<std::string>{"A001_C001_0101AB.900000.dpx", "A001_C001_0101AB.900001.dpx",
                                        "A001_C001_0101AB.900002.dpx"}));
    for (int f = 0; f < 3; ++f) {
        const std::string name = "A001_C001_0101AB.90000" + std::to_string(f) + ".dpx";
        const std::string path = Out("A001_C001_0101AB/" + name);
        const std::string file = ReadWholeFile(path);
        ASSERT_EQ(file.size(), 2080u + 16 * 8 * 4);
        EXPECT_EQ(file.substr(36, 24), std::string("10bit_planar_000000.DPX\0", 24));
        EXPECT_EQ(file.substr(2080), PackedFrame(f, 16, 8)) << name;

        const auto info = RunCommand("oiiotool --info -v " + Quoted(path));
        const std::string tc = "dpx:TimeCode: \"10:00:00:0" + std::to_string(f) + "\"";
        const std::vector<std::string> wanted = {"16 x    8, 3 channel, uint10 dpx",
                                                 "channel list: R, G, B",
                                                 tc,
                                                 "dpx:FramePosition: " + std::to_string(f),
                                                 "dpx:SourceImageFileName: \"" + name + "\"",
                                                 "dpx:SequenceLength: 3",
                                                 "dpx:FrameRate: 24",
                                                 "dpx:TemporalFrameRate: 25"};
        for (const std::string& want : wanted)
            EXPECT_NE(info.output.find(want), std::string::npos) << want << "\n" << info.output;
    }
    ExpectSamplesThroughOiio(Out("A001_C001_0101AB/A001_C001_0101AB.900001.dpx"), 1, 16, 8);
    ExpectSamplesThroughOiio(Out("Scene/Scene.900002.dpx"), 2, 16, 8);
    EXPECT_TRUE(HiddenFiles(Out("A001_C001_0101AB")).empty());

    // A name beyond ASCII keeps its folder and files; the header drops what ASCII cannot hold.
    const std::string widePath = Out("Größe/Größe.900002.dpx");
    ASSERT_TRUE(std::filesystem::exists(widePath));
    EXPECT_EQ(ReadWholeFile(widePath).substr(1432, 100), std::string("Gre.900002.dpx").append(86, '\0'));
    ExpectSamplesThroughOiio(widePath, 2, 16, 8);
}

TEST_F(DpxRendererTest, AFrameInTwoSnippetsIsPackedOnceAndNamedPerFile) {
    TestPatternConfig config;
    config.width = 12;
    config.height = 6;
    config.frames = 8;
    test::ScopedTestPatternSources sources(config);
    out_->setEdlOptions(1);
    out_->setTimecode(1);
    out_->setFilenames(1);
    auto clip = ClipSettings::Make();
    clip->SetSnippets(std::vector<int>{0, 3, 2, 5});
    auto item = Item("A001_C001_0101AB_001.R3D", 8, clip);
    Run({item});
    EXPECT_FALSE(item->errorState()) << item->errorMessage();

    // Frame 3 is the fourth file of the first snippet and the second of the other.
    const std::string a = ReadWholeFile(Out("A001_C001_0101AB/S0001/000003.dpx"));
    const std::string b = ReadWholeFile(Out("A001_C001_0101AB/S0002/000001.dpx"));
    ASSERT_EQ(a.size(), 2080u + 12 * 6 * 4);
    ASSERT_EQ(b.size(), a.size());
    EXPECT_EQ(a.substr(2080), PackedFrame(3, 12, 6));
    EXPECT_EQ(b.substr(2080), PackedFrame(3, 12, 6));
    EXPECT_EQ(a.substr(1432, 100), std::string("000003.dpx").append(90, '\0'));
    EXPECT_EQ(b.substr(1432, 100), std::string("000001.dpx").append(90, '\0'));
    EXPECT_EQ(LittleEndian32(a, 1712), 3u);
    EXPECT_EQ(LittleEndian32(b, 1712), 3u);
    EXPECT_EQ(FilesIn(Out("A001_C001_0101AB/S0001")).size(), 4u);
    EXPECT_EQ(FilesIn(Out("A001_C001_0101AB/S0002")).size(), 4u);
}

// The check box "overwrite" stores 0 when ticked, and the renderer may replace only then.
TEST_F(DpxRendererTest, OverwriteSettingDecidesEndToEndWhetherOutputIsReplaced) {
    TestPatternConfig config;
    config.width = 8;
    config.height = 4;
    config.frames = 3;
    test::ScopedTestPatternSources sources(config);
    auto first = Item("A001_C001_0101AB_001.R3D", 3);
    Run({first});
    ASSERT_FALSE(first->errorState()) << first->errorMessage();
    const std::string stale = Out("A001_C001_0101AB/A001_C001_0101AB.086401.dpx");
    test::WriteWholeFile(stale, "stale");
    const auto before = test::Listing(dir_ / "out");

    // Keep existing output (1): the queue refuses the clip, and so does the renderer itself.
    out_->setOverwrite(1);
    RenderManager::Instance().Reset();
    auto kept = Item("A001_C001_0101AB_001.R3D", 3);
    EXPECT_FALSE(RenderManager::Instance().AddItem(kept));
    EXPECT_TRUE(kept->errorState());
    {
        LogCapture log;
        auto again = Item("A001_C001_0101AB_001.R3D", 3);
        DpxRenderer renderer;
        ASSERT_TRUE(renderer.LoadSettingsForRenderManagerItem(again)) << again->errorMessage();
        EXPECT_FALSE(renderer.overwrite());
        renderer.RenderFrameSequenceStartingEnding(0, 2);
        const std::string line =
            "Part of sequence exists at " + Out("A001_C001_0101AB/A001_C001_0101AB.086400.dpx") + ".  Not rendering.";
        EXPECT_TRUE(log.Contains(line)) << line;
        EXPECT_EQ(again->errorMessage(), line);
        EXPECT_EQ(again->framesRendered(), 0);
    }
    EXPECT_EQ(test::Listing(dir_ / "out"), before) << "nothing in the folder changed";
    EXPECT_EQ(ReadWholeFile(stale), "stale");

    // Replace existing output (0): every frame is written anew.
    out_->setOverwrite(0);
    RenderManager::Instance().Reset();
    auto replaced = Item("A001_C001_0101AB_001.R3D", 3);
    Run({replaced});
    EXPECT_FALSE(replaced->errorState()) << replaced->errorMessage();
    EXPECT_EQ(ReadWholeFile(stale).substr(2080), PackedFrame(1, 8, 4));
    EXPECT_TRUE(HiddenFiles(Out("A001_C001_0101AB")).empty());
}

TEST_F(DpxRendererTest, AVanishedFolderEndsTheClipAndTheNextOneRenders) {
    TestPatternConfig slow;
    slow.width = 16;
    slow.height = 8;
    slow.frames = 40;
    slow.decodeLatency = std::chrono::milliseconds(10);
    TestPatternConfig quick = slow;
    quick.frames = 4;
    quick.decodeLatency = {};
    test::ScopedTestPatternSources sources({{ClipPath("A001_C001_0101AB_001.R3D"), slow}}, quick);
    auto vanishing = Item("A001_C001_0101AB_001.R3D", 40);
    auto next = Item("B001_C001_0101AB_001.R3D", 4);
    const std::string folder = Out("A001_C001_0101AB");
    Run({vanishing, next}, [&] {
        if (FilesIn(folder).size() < 2) return false;
        // Moved away in one step, so a file being written at that moment goes with it.
        std::filesystem::rename(folder, folder + ".gone");
        return true;
    });
    EXPECT_TRUE(vanishing->errorState());
    EXPECT_NE(vanishing->errorMessage().find("No such file or directory"), std::string::npos)
        << vanishing->errorMessage();
    EXPECT_LT(vanishing->framesRendered(), 40);
    EXPECT_FALSE(next->errorState()) << next->errorMessage();
    EXPECT_EQ(FilesIn(Out("B001_C001_0101AB")).size(), 4u);
}

TEST_F(DpxRendererTest, OnlySizesBeyondTheSizeFieldAreRefused) {
    TestPatternConfig wide;
    wide.width = 65536;  // too wide for TIFF, fine for DPX
    wide.height = 2;
    wide.frames = 1;
    auto log = std::make_shared<test::TestPatternLog>();
    test::ScopedTestPatternSources sources(wide, log);
    auto item = Item("A001_C001_0101AB_001.R3D", 1);
    Run({item});
    EXPECT_FALSE(item->errorState()) << item->errorMessage();
    EXPECT_EQ(ReadWholeFile(Out("A001_C001_0101AB/A001_C001_0101AB.086400.dpx")).size(), 2080u + 65536 * 2 * 4);

    RenderManager::Instance().Reset();
    const int opensBefore = log->opens;
    out_->setSize({70000.0f, 16000.0f});
    auto huge = Item("A002_C001_0101AB_001.R3D", 1);
    Run({huge});
    EXPECT_TRUE(huge->errorState());
    EXPECT_NE(huge->errorMessage().find("70000 x 16000"), std::string::npos) << huge->errorMessage();
    EXPECT_NE(huge->errorMessage().find("32-bit"), std::string::npos) << huge->errorMessage();
    EXPECT_EQ(log->opens, opensBefore);
}

}  // namespace
}  // namespace ombrel
