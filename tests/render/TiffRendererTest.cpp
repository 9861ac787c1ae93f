#include "render/tiff/TiffRenderer.h"

#include <gtest/gtest.h>

#include <memory>

#include "TiffDpxRenderFixture.h"
#include "core/Log.h"

namespace ombrel {
namespace {

using test::HiddenFiles;
using test::ReadWithLibtiff;
using test::TestPatternConfig;
using test::TestPatternSource;
using test::TiffImage;

class TiffRendererTest : public test::SequenceRenderTest {
protected:
    void SetUp() override {
        SequenceRenderTest::SetUp();
        out_->setFormat(kFormatTiff);
    }

    // The file holds exactly the test pattern's frame f.
    static void ExpectFrame(const std::string& path, int frame, uint32_t w, uint32_t h) {
        TiffImage image;
        ASSERT_TRUE(ReadWithLibtiff(path, &image)) << path;
        ASSERT_EQ(image.width, w) << path;
        ASSERT_EQ(image.height, h) << path;
        EXPECT_EQ(image.pixels, TestPatternSource::FramePixels(frame, w, h)) << path << " is not frame " << frame;
    }
};

TEST_F(TiffRendererTest, CameraAndMovieClipsWriteNamedFramesThatReadBackExactly) {
    TestPatternConfig config;
    config.width = 40;
    config.height = 24;
    config.frames = 4;
    config.startTimecode = {1, 0, 0, 0};
    config.audioChannels = 2;
    test::ScopedTestPatternSources sources(config);
    auto r3d = Item("A001_C001_0101AB_001.R3D", 4);
    auto movie = Item("Scene 1.mov", 4);
    Run({r3d, movie});

    for (const auto& item : {r3d, movie}) {
        EXPECT_FALSE(item->errorState()) << item->errorMessage();
        EXPECT_EQ(item->framesRendered(), 4);
    }
    // Clip prefix, then the frame's place in timecode (01:00:00:00 at 24 is 86400); the
    // camera clip's sound beside its frames.
    EXPECT_EQ(FilesIn(Out("A001_C001_0101AB")),
              (std::vector<std::string>{"A001_C001_0101AB.086400.tiff", "A001_C001_0101AB.086401.tiff",
                                        "A001_C001_0101AB.086402.tiff", "A001_C001_0101AB.086403.tiff",
                                        "A001_C001_0101AB.au"}));
    EXPECT_EQ(FilesIn(Out("Scene 1")), (std::vector<std::string>{"Scene 1.086400.tiff", "Scene 1.086401.tiff",
                                                                 "Scene 1.086402.tiff", "Scene 1.086403.tiff"}));
    for (int f = 0; f < 4; ++f) {
        ExpectFrame(Out("A001_C001_0101AB/A001_C001_0101AB.08640" + std::to_string(f) + ".tiff"), f, 40, 24);
        ExpectFrame(Out("Scene 1/Scene 1.08640" + std::to_string(f) + ".tiff"), f, 40, 24);
    }
    EXPECT_TRUE(HiddenFiles(Out("A001_C001_0101AB")).empty());

    const auto info = test::RunCommand("oiiotool --info -v " + test::Quoted(Out("Scene 1/Scene 1.086402.tiff")));
    EXPECT_NE(info.output.find("40 x   24, 3 channel, uint16 tiff"), std::string::npos) << info.output;

    // Without the clip prefix, numbered by index, straight into the output folder.
    RenderManager::Instance().Reset();
    out_->setFilenames(1);
    out_->setTimecode(1);
    out_->setFolders(3);
    auto plain = Item("A002_C002_0101AB_001.R3D", 4);
    Run({plain});
    EXPECT_FALSE(plain->errorState()) << plain->errorMessage();
    for (int f = 0; f < 4; ++f) ExpectFrame(Out("00000" + std::to_string(f) + ".tiff"), f, 40, 24);
}

TEST_F(TiffRendererTest, AFrameInTwoSnippetsGoesIntoBothFoldersUnchanged) {
    TestPatternConfig config;
    config.width = 24;
    config.height = 16;
    config.frames = 12;
    test::ScopedTestPatternSources sources(config);
    out_->setEdlOptions(1);
    out_->setTimecode(1);
    auto clip = ClipSettings::Make();
    // 2..5, then 7 down to 4 (frames 4 and 5 are in both), then a one-frame snippet.
    clip->SetSnippets(std::vector<int>{2, 5, 7, 4, 9, 9});
    auto item = Item("A001_C001_0101AB_001.R3D", 12, clip);
    Run({item});
    EXPECT_FALSE(item->errorState()) << item->errorMessage();

    const std::string folder = Out("A001_C001_0101AB");
    const std::vector<std::string> fourFrames = {"A001_C001_0101AB.000000.tiff", "A001_C001_0101AB.000001.tiff",
                                                 "A001_C001_0101AB.000002.tiff", "A001_C001_0101AB.000003.tiff"};
    EXPECT_EQ(FilesIn(folder + "/S0001"), fourFrames);
    EXPECT_EQ(FilesIn(folder + "/S0002"), fourFrames);
    EXPECT_TRUE(std::filesystem::is_directory(folder + "/S0003"));
    EXPECT_TRUE(FilesIn(folder + "/S0003").empty());
    // Each snippet counts its files from its own first frame.
    for (int i = 0; i < 4; ++i) {
        ExpectFrame(folder + "/S0001/" + fourFrames[i], 2 + i, 24, 16);
        ExpectFrame(folder + "/S0002/" + fourFrames[i], 4 + i, 24, 16);
    }
}

TEST_F(TiffRendererTest, WriteFailuresEndTheClipKeepEarlierFramesAndTheRunGoesOn) {
    TestPatternConfig big;
    big.width = 64;
    big.height = 36;   // 13,830-byte files
    big.frames = 200;  // long enough that a loaded machine cannot finish before the disk fills
    big.decodeLatency = std::chrono::milliseconds(10);
    TestPatternConfig small;
    small.width = 8;
    small.height = 8;  // 590-byte files
    small.frames = 5;
    test::ScopedTestPatternSources sources({{ClipPath("A001_C001_0101AB_001.R3D"), big}}, small);
    auto failing = Item("A001_C001_0101AB_001.R3D", 200);
    auto next = Item("B001_C001_0101AB_001.R3D", 5);
    const std::string folder = Out("A001_C001_0101AB");

    // The disk fills up once two frames are on it: files above 4 KiB no longer fit.
    LogCapture log;
    std::unique_ptr<test::FileSizeLimit> full;
    Run({failing, next}, [&] {
        if (FilesIn(folder).size() < 2) return false;
        full = std::make_unique<test::FileSizeLimit>(4096);
        return true;
    });
    full.reset();

    ASSERT_TRUE(failing->errorState());
    EXPECT_NE(failing->errorMessage().find("was not written"), std::string::npos) << failing->errorMessage();
    EXPECT_NE(failing->errorMessage().find("File too large"), std::string::npos) << failing->errorMessage();
    EXPECT_TRUE(log.Contains("was not written")) << "the failure is in the log";
    const auto written = FilesIn(folder);
    ASSERT_GE(written.size(), 2u);
    EXPECT_LT(written.size(), 200u) << "the clip stopped at the failure";
    EXPECT_EQ(failing->framesRendered(), static_cast<int>(written.size())) << "the failed frame does not count";
    for (size_t i = 0; i < written.size(); ++i) ExpectFrame(folder + "/" + written[i], static_cast<int>(i), 64, 36);
    EXPECT_TRUE(HiddenFiles(folder).empty()) << "no half-written frame is left";

    EXPECT_FALSE(next->errorState()) << next->errorMessage();
    EXPECT_EQ(FilesIn(Out("B001_C001_0101AB")).size(), 5u);

    // A folder that refuses new files from the start.
    RenderManager::Instance().Reset();
    std::filesystem::create_directories(Out("C001_C001_0101AB"));
    test::UnwritableFolder locked(Out("C001_C001_0101AB"));
    if (!locked.works()) GTEST_SKIP() << "this process can write into any folder";
    auto refused = Item("C001_C001_0101AB_001.R3D", 5);
    auto after = Item("D001_C001_0101AB_001.R3D", 5);
    Run({refused, after});
    EXPECT_TRUE(refused->errorState());
    EXPECT_NE(refused->errorMessage().find("cannot create"), std::string::npos) << refused->errorMessage();
    EXPECT_EQ(refused->framesRendered(), 0);
    EXPECT_TRUE(FilesIn(Out("C001_C001_0101AB")).empty());
    EXPECT_FALSE(after->errorState()) << after->errorMessage();
    EXPECT_EQ(FilesIn(Out("D001_C001_0101AB")).size(), 5u);
}

TEST_F(TiffRendererTest, SizesTheFileCannotHoldAreRefusedWithAMessage) {
    TestPatternConfig wide;
    wide.width = 65536;
    wide.height = 2;
    wide.frames = 2;
    auto log = std::make_shared<test::TestPatternLog>();
    test::ScopedTestPatternSources sources(wide, log);
    auto item = Item("A001_C001_0101AB_001.R3D", 2);
    Run({item});
    EXPECT_TRUE(item->errorState());
    EXPECT_NE(item->errorMessage().find("65536 x 2"), std::string::npos) << item->errorMessage();
    EXPECT_NE(item->errorMessage().find("65535"), std::string::npos) << item->errorMessage();
    EXPECT_TRUE(FilesIn(Out("A001_C001_0101AB")).empty());

    // An asked size is refused before the clip is opened at it.
    RenderManager::Instance().Reset();
    const int opensBefore = log->opens;
    out_->setSize({70000.0f, 100.0f});
    auto asked = Item("A002_C001_0101AB_001.R3D", 2);
    Run({asked});
    EXPECT_TRUE(asked->errorState());
    EXPECT_NE(asked->errorMessage().find("70000 x 100"), std::string::npos) << asked->errorMessage();
    EXPECT_EQ(log->opens, opensBefore);
}

}  // namespace
}  // namespace ombrel
