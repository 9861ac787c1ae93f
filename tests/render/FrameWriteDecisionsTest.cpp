// What a frame sequence holds when a frame cannot be written or the user cancels: the files
// on disk, the counters and the item's message agree, for every frame format.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>

#include "render/FrameProcessor.h"
#include "support/FrameFiles.h"
#include "support/RenderQueueFixture.h"

namespace ombrel {
namespace {

using test::HiddenFiles;
using test::ReadWholeFile;
using test::TestPatternConfig;
using test::TestPatternSource;

struct Format {
    const char* name;
    int code;
    const char* extension;
};
const Format kFormats[] = {{"TIFF", kFormatTiff, "tiff"}, {"DPX", kFormatDpx, "dpx"}};

// Frame f's file of the test pattern clip, checked against the pattern.
void ExpectFrameFile(const Format& format, const std::string& path, int frame, uint32_t w, uint32_t h) {
    const auto rgb = TestPatternSource::FramePixels(frame, w, h);
    if (format.code == kFormatTiff) {
        test::TiffImage image;
        ASSERT_TRUE(test::ReadWithLibtiff(path, &image)) << path;
        EXPECT_EQ(image.pixels, rgb) << path << " is not frame " << frame;
        return;
    }
    const std::string bytes = ReadWholeFile(path);
    ASSERT_EQ(bytes.size(), 2080u + size_t{w} * h * 4) << path;
    for (size_t p = 0; p < rgb.size() / 3; ++p) {
        const uint32_t word = (uint32_t{rgb[3 * p]} >> 6) << 22 | (uint32_t{rgb[3 * p + 1]} >> 6) << 12 |
                              (uint32_t{rgb[3 * p + 2]} >> 6) << 2;
        ASSERT_EQ(test::LittleEndian32(bytes, 2080 + 4 * p), word) << path << " is not frame " << frame;
    }
}

// The identity look stage that cancels the run once it has drawn one chosen frame.
class CancellingProcessor : public IdentityFrameProcessor {
public:
    explicit CancellingProcessor(int cancelAfterDrawOf) : cancelAt_(cancelAfterDrawOf) {}
    void SetGrainFrame(uint64_t seed, int64_t frame) override {
        IdentityFrameProcessor::SetGrainFrame(seed, frame);
        frame_ = frame;
    }
    bool RenderUsingR3DRenderBuffer(const FrameDrawParams& params) override {
        const bool drawn = IdentityFrameProcessor::RenderUsingR3DRenderBuffer(params);
        if (frame_ == cancelAt_) RenderManager::Instance().CancelRender("Cancelling at user's request");
        return drawn;
    }

private:
    int64_t cancelAt_;
    int64_t frame_ = -1;
};

class FrameWriteDecisions : public test::SequenceRenderTest {
protected:
    void TearDown() override {
        SetRenderHooks({});
        SequenceRenderTest::TearDown();
    }
    // "<folder>/A001_C001_0101AB.0864NN.<ext>": the clip starts at 01:00:00:00, 24 a second.
    std::string FramePath(const Format& format, int frame) const {
        char name[64];
        std::snprintf(name, sizeof name, "A001_C001_0101AB.%06d.%s", 86400 + frame, format.extension);
        return Out(std::string("A001_C001_0101AB/") + name);
    }
};

TEST_F(FrameWriteDecisions, KeepsFailingClipWhenFrameFileCannotBeCreated_NotSilentSkip) {
    TestPatternConfig config;
    config.width = 24;
    config.height = 16;
    config.frames = 8;
    test::ScopedTestPatternSources sources(config);
    constexpr int kBlocked = 3;
    for (const Format& format : kFormats) {
        SCOPED_TRACE(format.name);
        RenderManager::Instance().Reset();
        std::filesystem::remove_all(Out(""));
        out_->setFormat(format.code);
        // A folder stands where frame 3's file would go.
        const std::string blocked = FramePath(format, kBlocked);
        std::filesystem::create_directories(blocked);
        auto item = Item("A001_C001_0101AB_001.R3D", config.frames);
        Run({item});

        ASSERT_TRUE(item->errorState()) << "the hole in the sequence went unreported";
        const std::string message = item->errorMessage();
        EXPECT_NE(message.find("Frame 3 "), std::string::npos) << message;
        EXPECT_NE(message.find(blocked), std::string::npos) << "the message names the frame's file: " << message;
        EXPECT_NE(message.find("Is a directory"), std::string::npos) << "and the reason: " << message;
        // What was written before the failure stays, complete, and the counters say so.
        for (int f = 0; f < kBlocked; ++f)
            ExpectFrameFile(format, FramePath(format, f), f, config.width, config.height);
        for (int f = kBlocked + 1; f < config.frames; ++f)
            EXPECT_FALSE(std::filesystem::exists(FramePath(format, f))) << "the clip went on past the hole: " << f;
        EXPECT_TRUE(std::filesystem::is_directory(blocked)) << "the obstacle itself is left alone";
        EXPECT_EQ(item->framesRendered(), kBlocked);
        EXPECT_EQ(item->settings()->framesRendered(), static_cast<float>(kBlocked));
        EXPECT_TRUE(HiddenFiles(Out("A001_C001_0101AB")).empty()) << "no half-written frame is left";
    }
}

TEST_F(FrameWriteDecisions, KeepsFramesWrittenOnTheirOwnThread_ConsistentWhenCancelledBetweenDrawAndWrite) {
    TestPatternConfig config;
    config.width = 320;  // frames big enough that a write is still going when the next is drawn
    config.height = 180;
    config.frames = 12;
    test::ScopedTestPatternSources sources(config);
    struct Row {
        const char* name;
        int cancelAfterDrawOf;
    };
    for (const Format& format : kFormats) {
        for (const Row& row : {Row{"the first frame", 0}, Row{"a frame in the middle", 5}}) {
            SCOPED_TRACE(std::string(format.name) + ", cancelled after drawing " + row.name);
            RenderManager::Instance().Reset();
            std::filesystem::remove_all(Out(""));
            out_->setFormat(format.code);
            RenderHooks hooks;
            hooks.makeFrameProcessor = [at = row.cancelAfterDrawOf] {
                return std::unique_ptr<FrameProcessor>(std::make_unique<CancellingProcessor>(at));
            };
            SetRenderHooks(hooks);
            auto item = Item("A001_C001_0101AB_001.R3D", config.frames);
            Run({item});

            // The frame drawn when the cancel came is dropped unwritten; every frame before it,
            // the one in the writer's hands included, is on disk whole and counted.
            const int done = row.cancelAfterDrawOf;
            for (int f = 0; f < done; ++f)
                ExpectFrameFile(format, FramePath(format, f), f, config.width, config.height);
            for (int f = done; f < config.frames; ++f)
                EXPECT_FALSE(std::filesystem::exists(FramePath(format, f))) << "frame " << f << " after the cancel";
            EXPECT_TRUE(HiddenFiles(Out("A001_C001_0101AB")).empty()) << "no half-written frame is left";
            EXPECT_EQ(item->framesRendered(), done);
            EXPECT_EQ(item->settings()->framesRendered(), static_cast<float>(done));
            EXPECT_EQ(item->errorMessage(), "") << "a cancel is not a failure";
        }
    }
}

}  // namespace
}  // namespace ombrel
