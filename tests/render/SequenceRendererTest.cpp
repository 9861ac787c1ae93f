// The frame-sequence renderer over each frame-file format of the build, through the render
// queue on test pattern clips: naming, snippets, write failures, size refusals, overwriting,
// and what a sequence holds when a frame cannot be written or the user cancels.
#include "render/FrameSequenceRenderer.h"

#include <gtest/gtest.h>

#include <memory>

#include "render/FrameProcessor.h"
#include "render/dpx/DpxFile.h"
#include "render/tiff/TiffFile.h"
#include "support/FrameFiles.h"
#include "support/RefFile.h"
#include "support/RenderQueueFixture.h"

namespace ombrel {
namespace {

namespace fs = std::filesystem;
using test::HiddenFiles;
using test::ReadWholeFile;
using test::TestPatternConfig;
using test::TestPatternSource;

TestPatternConfig Pattern(uint32_t w, uint32_t h, int frames) {
    TestPatternConfig c;
    c.width = w;
    c.height = h;
    c.frames = frames;
    return c;
}

struct Size {
    float w, h;
};

// What differs between the formats in these tests.
struct TiffTraits {
    static constexpr int kFormat = kFormatTiff;
    static constexpr const char* kExt = "tiff";
    // An output size the format refuses, and why.
    static constexpr Size kRefusedAsk = {70000.0f, 100.0f};
    static constexpr const char* kRefusedWhy = "65535";

    // The file holds exactly the test pattern's frame f.
    static void ExpectFrame(const std::string& path, int frame, uint32_t w, uint32_t h) {
        test::TiffImage image;
        ASSERT_TRUE(test::ReadWithLibtiff(path, &image)) << path;
        ASSERT_EQ(image.width, w) << path;
        ASSERT_EQ(image.height, h) << path;
        EXPECT_EQ(image.pixels, TestPatternSource::FramePixels(frame, w, h)) << path << " is not frame " << frame;
    }
    static std::string Dump(const std::string& path) { return test::DumpTiff(ReadWholeFile(path)); }
};

struct DpxTraits {
    static constexpr int kFormat = kFormatDpx;
    static constexpr const char* kExt = "dpx";
    static constexpr Size kRefusedAsk = {70000.0f, 16000.0f};
    static constexpr const char* kRefusedWhy = "32-bit";

    static void ExpectFrame(const std::string& path, int frame, uint32_t w, uint32_t h) {
        const auto rgb = TestPatternSource::FramePixels(frame, w, h);
        std::string words;
        for (size_t p = 0; p < rgb.size() / 3; ++p) {
            const uint32_t word = (rgb[3 * p] >> 6u) << 22 | (rgb[3 * p + 1] >> 6u) << 12 | (rgb[3 * p + 2] >> 6u) << 2;
            for (int i = 0; i < 4; ++i) words.push_back(static_cast<char>(word >> (8 * i)));
        }
        const std::string file = ReadWholeFile(path);
        ASSERT_EQ(file.size(), kDpxHeaderBytes + words.size()) << path;
        EXPECT_TRUE(file.compare(kDpxHeaderBytes, std::string::npos, words) == 0) << path << " is not frame " << frame;
    }
    // Without the creation time, which is the time of the run.
    static std::string Dump(const std::string& path) { return test::DumpDpx(ReadWholeFile(path), false); }
};

template <typename Traits>
class SequenceRendererTest : public test::SequenceRenderTest {
protected:
    void SetUp() override {
        SequenceRenderTest::SetUp();
        out_->setFormat(Traits::kFormat);
    }
    void TearDown() override {
        SetRenderHooks({});
        SequenceRenderTest::TearDown();
    }
    static std::string Name(const std::string& stem) { return stem + "." + Traits::kExt; }
    static std::string Ref(const std::string& what) {
        return std::string("render/sequence-") + Traits::kExt + "-" + what + ".txt";
    }
    // Frame f of the clip "A001_C001_0101AB_001.R3D" that starts at 01:00:00:00, 24 a second.
    std::string FramePath(int frame) const {
        char name[32];
        std::snprintf(name, sizeof name, "A001_C001_0101AB.%06d", 86400 + frame);
        return Out("A001_C001_0101AB/" + Name(name));
    }
};

using Formats = ::testing::Types<TiffTraits, DpxTraits>;
class FormatNames {
public:
    template <typename T>
    static std::string GetName(int) {
        return T::kExt;
    }
};
TYPED_TEST_SUITE(SequenceRendererTest, Formats, FormatNames);

TYPED_TEST(SequenceRendererTest, CameraAndMovieClipsWriteNamedFramesThatReadBackExactly) {
    TestPatternConfig config = Pattern(16, 8, 3);
    config.fps = 25.0f;
    config.startTimecode = {10, 0, 0, 0};
    config.audioChannels = 2;
    test::ScopedTestPatternSources sources(config);
    auto r3d = this->Item("A001_C001_0101AB_001.R3D", 3);
    auto movie = this->Item("Scene 1.mov", 3);
    auto wide = this->Item("Größe.mov", 3);
    this->Run({r3d, movie, wide});
    for (const auto& item : {r3d, movie, wide})
        EXPECT_EQ(item->framesRendered(), 3) << item->filePath() << ": " << item->errorMessage();
    // Clip prefix, then the frame's place in timecode (10:00:00:00 at 25 is 900000); the camera
    // clip's sound beside its frames. A name beyond ASCII keeps its folder and files (and is
    // dropped from a DPX header: FrameFormatTest).
    const auto N = [](const std::string& stem) { return TestFixture::Name(stem); };
    EXPECT_EQ(this->FilesIn(this->Out("A001_C001_0101AB")),
              (std::vector<std::string>{N("A001_C001_0101AB.900000"), N("A001_C001_0101AB.900001"),
                                        N("A001_C001_0101AB.900002"), "A001_C001_0101AB.au"}));
    EXPECT_EQ(this->FilesIn(this->Out("Größe")),
              (std::vector<std::string>{N("Größe.900000"), N("Größe.900001"), N("Größe.900002")}));
    for (int f = 0; f < 3; ++f) {
        const std::string number = "90000" + std::to_string(f);
        TypeParam::ExpectFrame(this->Out("A001_C001_0101AB/" + N("A001_C001_0101AB." + number)), f, 16, 8);
        TypeParam::ExpectFrame(this->Out("Scene 1/" + N("Scene 1." + number)), f, 16, 8);
    }
    EXPECT_TRUE(test::MatchesRef(TestFixture::Ref("camera-frame-2"),
                                 TypeParam::Dump(this->Out("A001_C001_0101AB/" + N("A001_C001_0101AB.900002")))));
}

TYPED_TEST(SequenceRendererTest, AFrameInTwoSnippetsGoesIntoBothFoldersNamedPerFile) {
    test::ScopedTestPatternSources sources(Pattern(24, 16, 12));
    this->out_->setEdlOptions(1);
    this->out_->setTimecode(1);
    auto clip = ClipSettings::Make();
    clip->SetSnippets(std::vector<int>{2, 5, 7, 4, 9, 9});  // frames 4 and 5 in two; a one-frame snippet
    this->Run({this->Item("A001_C001_0101AB_001.R3D", 12, clip)});

    const std::string folder = this->Out("A001_C001_0101AB");
    std::vector<std::string> four;
    for (int i = 0; i < 4; ++i) four.push_back(TestFixture::Name("A001_C001_0101AB.00000" + std::to_string(i)));
    EXPECT_EQ(this->FilesIn(folder + "/S0001"), four);
    EXPECT_EQ(this->FilesIn(folder + "/S0002"), four);
    EXPECT_TRUE(fs::is_directory(folder + "/S0003") && this->FilesIn(folder + "/S0003").empty());
    // Each snippet counts its files from its own first frame.
    for (int i = 0; i < 4; ++i) {
        TypeParam::ExpectFrame(folder + "/S0001/" + four[i], 2 + i, 24, 16);
        TypeParam::ExpectFrame(folder + "/S0002/" + four[i], 4 + i, 24, 16);
    }
    // Frame 5 in both folders: the second file's own name in its header.
    EXPECT_TRUE(test::MatchesRef(TestFixture::Ref("snippet-frame-5"), TypeParam::Dump(folder + "/S0002/" + four[1])));
}

// Refused before the clip is opened at it (the sizes of each format: FrameFormatTest).
TYPED_TEST(SequenceRendererTest, SizesTheFileCannotHoldAreRefusedWithAMessage) {
    auto log = std::make_shared<test::TestPatternLog>();
    test::ScopedTestPatternSources sources(Pattern(8, 8, 1), log);
    const Size ask = TypeParam::kRefusedAsk;
    this->out_->setSize({ask.w, ask.h});
    auto asked = this->Item("A002_C001_0101AB_001.R3D", 1);
    this->Run({asked});
    const std::string size = std::to_string(static_cast<int>(ask.w)) + " x " + std::to_string(static_cast<int>(ask.h));
    for (const std::string& part : {size, std::string(TypeParam::kRefusedWhy)})
        EXPECT_NE(asked->errorMessage().find(part), std::string::npos) << asked->errorMessage();
    EXPECT_EQ(log->opens, 0);
}

// The check box "overwrite" stores 0 when ticked, and the renderer may replace only then. Kept
// output includes its sound: an ".au" already beside the frames is not extracted again.
TYPED_TEST(SequenceRendererTest, OverwriteDecidesEndToEnd_KeepsExistingAuWhenOutputIsKept_NotExtractedAgain) {
    TestPatternConfig config = Pattern(8, 4, 3);
    config.audioChannels = 2;
    auto log = std::make_shared<test::TestPatternLog>();
    test::ScopedTestPatternSources sources(config, log);
    // Frames straight into the output folder, beside the sound of an earlier run.
    this->out_->setFolders(3);
    const std::string au = this->Out("A001_C001_0101AB.au");
    fs::create_directories(this->Out(""));
    test::WriteWholeFile(au, "sound of an earlier run");
    this->out_->setOverwrite(1);
    auto first = this->Item("A001_C001_0101AB_001.R3D", 3);
    this->Run({first});
    ASSERT_FALSE(first->errorState()) << first->errorMessage();
    EXPECT_TRUE(log->audioPaths.empty());
    EXPECT_EQ(test::ReadWholeFile(au), "sound of an earlier run");
    const std::string stale = this->Out(TestFixture::Name("A001_C001_0101AB.086401"));
    test::WriteWholeFile(stale, "stale");
    const auto before = test::Listing(this->dir_ / "out");

    // Keep existing output (1) with frames there: refused (the queue's refusal: RenderManagerTest).
    RenderManager::Instance().Reset();
    auto kept = this->Item("A001_C001_0101AB_001.R3D", 3);
    this->Run({kept});
    EXPECT_NE(kept->errorMessage().find("Part of sequence exists"), std::string::npos) << kept->errorMessage();
    EXPECT_EQ(test::Listing(this->dir_ / "out"), before) << "nothing in the folder changed";

    // Replace existing output (0): every frame is written anew, and the sound.
    this->out_->setOverwrite(0);
    RenderManager::Instance().Reset();
    auto replaced = this->Item("A001_C001_0101AB_001.R3D", 3);
    this->Run({replaced});
    EXPECT_FALSE(replaced->errorState()) << replaced->errorMessage();
    TypeParam::ExpectFrame(stale, 1, 8, 4);
    EXPECT_EQ(log->audioPaths.size(), 1u);
    EXPECT_NE(test::ReadWholeFile(au), "sound of an earlier run");
    EXPECT_TRUE(HiddenFiles(this->Out("")).empty());
}

// ---- What a sequence holds when a frame cannot be written or the user cancels ------------

template <typename Traits>
class FrameWriteDecisions : public SequenceRendererTest<Traits> {};
TYPED_TEST_SUITE(FrameWriteDecisions, Formats, FormatNames);

TYPED_TEST(FrameWriteDecisions, KeepsFailingClipWhenFrameFileCannotBeCreated_NotSilentSkip) {
    const TestPatternConfig config = Pattern(24, 16, 8);
    test::ScopedTestPatternSources sources(config);
    constexpr int kBlocked = 3;
    // A folder stands where frame 3's file would go.
    const std::string blocked = this->FramePath(kBlocked);
    fs::create_directories(blocked);
    auto item = this->Item("A001_C001_0101AB_001.R3D", config.frames);
    auto next = this->Item("A001_C002_0101AB_001.R3D", 2);
    this->Run({item, next});

    ASSERT_TRUE(item->errorState()) << "the hole in the sequence went unreported";
    const std::string message = item->errorMessage();
    EXPECT_NE(message.find("Frame 3 "), std::string::npos) << message;
    EXPECT_NE(message.find(blocked), std::string::npos) << "the message names the frame's file: " << message;
    EXPECT_NE(message.find("Is a directory"), std::string::npos) << "and the reason: " << message;
    EXPECT_NE(message.find("was not written"), std::string::npos) << message;
    // What was written before the failure stays, complete, and the counters say so.
    for (int f = 0; f < kBlocked; ++f) TypeParam::ExpectFrame(this->FramePath(f), f, config.width, config.height);
    EXPECT_EQ(this->FilesIn(this->Out("A001_C001_0101AB")).size(), size_t{kBlocked}) << "nor past the hole, nor half";
    EXPECT_TRUE(fs::is_directory(blocked)) << "the obstacle itself is left alone";
    EXPECT_EQ(item->framesRendered(), kBlocked);
    EXPECT_EQ(item->settings()->framesRendered(), static_cast<float>(kBlocked));
    EXPECT_EQ(next->framesRendered(), 2) << "the run goes on";
}

TYPED_TEST(FrameWriteDecisions, KeepsFramesWrittenOnTheirOwnThread_ConsistentWhenCancelledBetweenDrawAndWrite) {
    // Frames big enough that a write is still going when the next is drawn.
    const TestPatternConfig config = Pattern(320, 180, 12);
    struct Row {
        const char* name;
        int cancelAfterDrawOf;
    };
    for (const Row& row : {Row{"cancelled after drawing the first frame", 0}, Row{"... a frame in the middle", 5}}) {
        SCOPED_TRACE(row.name);
        RenderManager::Instance().Reset();
        fs::remove_all(this->Out(""));
        auto log = std::make_shared<test::TestPatternLog>();
        test::ScopedTestPatternSources sources(config, log);
        RenderHooks hooks;
        hooks.makeFrameProcessor = [at = row.cancelAfterDrawOf] {
            return std::unique_ptr<FrameProcessor>(std::make_unique<test::CancellingProcessor>(at));
        };
        SetRenderHooks(hooks);
        auto later = this->Item("A001_C002_0101AB_001.R3D", config.frames);
        auto item = this->Item("A001_C001_0101AB_001.R3D", config.frames);
        std::vector<std::string> events;
        RenderManager::Instance().setUsageEventSink([&](const std::string& name, const std::string& data) {
            if (name == "COMPLETE") events.push_back(data.substr(0, data.find('\r')));
        });
        this->Run({item, later});

        // The frame drawn when the cancel came is dropped unwritten; every frame before it,
        // the one in the writer's hands included, is on disk whole and counted.
        const int done = row.cancelAfterDrawOf;
        for (int f = 0; f < done; ++f) TypeParam::ExpectFrame(this->FramePath(f), f, config.width, config.height);
        EXPECT_EQ(this->FilesIn(this->Out("A001_C001_0101AB")).size(), size_t(done)) << "nothing after it, nor half";
        EXPECT_EQ(item->framesRendered(), done);
        EXPECT_EQ(item->settings()->framesRendered(), static_cast<float>(done));
        EXPECT_EQ(item->errorMessage(), "") << "a cancel is not a failure";
        EXPECT_EQ(events, std::vector<std::string>{"CANCELLED:"});
        EXPECT_EQ(MainQueue::Instance().ServePending(), 0u) << "no hop left behind";
        EXPECT_EQ(later->framesRendered(), 0) << "the next clip never starts";
        // Every thread and source the clip started has ended.
        EXPECT_EQ(log->prefetchThreadsEntered, log->prefetchThreadsLeft);
        EXPECT_EQ(log->sourcesDestroyed, log->sourcesMade);
        EXPECT_LE(log->maxInFlight, log->bufferCount);
    }
}

}  // namespace
}  // namespace ombrel
