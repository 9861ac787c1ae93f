// The movie source on small movies made with the ffmpeg command line: what it answers of a
// movie, the stepping rules (a jump answers false once, then one step a frame), the five
// output slots, the end of the data, and its GL context handed from the worker to the
// prefetch thread.
#include <gtest/gtest.h>

#include <sstream>
#include <thread>
#include <vector>

#include "library/MetadataCache.h"
#include "model/ClipSettings.h"
#include "platform/movie/MovieReader.h"
#include "sources/QTRenderSource.h"
#include "support/Movies.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

// 24 frames of a long GOP with B-frames, made once per test process.
std::string LongGop() {
    static const test::TempDir dir;
    static const std::string path = dir / "gop.mov";
    static const bool made = test::MakeMovie(
        "-f lavfi -i testsrc=size=64x48:rate=24 -frames:v 24 -c:v libx264 -g 24 -bf 2 "
        "-x264-params b-adapt=0:scenecut=0 -pix_fmt yuv420p",
        path);
    return made ? path : "";
}

// Opened and set up as a render does it, the output at the movie's size.
std::unique_ptr<QTRenderSource> ForRender(const std::string& path, ShaderProcessor::Backend backend) {
    auto s = std::make_unique<QTRenderSource>(backend);
    s->SetFilePath(path);
    const OriginalSize size = s->GetOriginalSizeForPath(path);
    EXPECT_TRUE(s->SetOutputWidthHeightFit(int32_t(size.width), int32_t(size.height), 2));
    EXPECT_TRUE(s->OpenFileForOutputSize(path, true)) << s->lastError();
    EXPECT_TRUE(s->SetupDiskRendererSourceWithAlpha(*ClipSettings::Make(), "5D", false)) << s->lastError();
    return s;
}

std::vector<uint8_t> FrameBuffer(const RenderSource& s) {
    return std::vector<uint8_t>(size_t(s.OutputWidth()) * s.OutputHeight() * 8);
}

TEST(QTRenderSource, AStraightRunStepsWithoutASeekAndAJumpAnswersFalseOnce) {
    auto s = ForRender(LongGop(), ShaderProcessor::Backend::Cpu);
    std::vector<uint8_t> buffer = FrameBuffer(*s);
    struct Call {
        const char* name;
        int32_t frame;
        bool answer;
        int32_t nextExpected;
        int64_t seeks;
    } calls[] = {
        {"frame 0 without a seek", 0, true, 1, 0},
        {"frame 1 by a step", 1, true, 2, 0},
        {"frame 2 by a step", 2, true, 3, 0},
        {"a jump to 10 moves the movie", 10, false, 10, 0},
        {"then draws frame 10 after one seek", 10, true, 11, 1},
        {"frame 11 by a step", 11, true, 12, 1},
        {"back to 4 moves the movie", 4, false, 4, 1},
        {"then draws frame 4", 4, true, 5, 2},
    };
    std::vector<std::vector<uint8_t>> drawn;
    for (const Call& call : calls) {
        SCOPED_TRACE(call.name);
        EXPECT_EQ(s->GetNextFrameForRender(buffer.data(), call.frame), call.answer);
        EXPECT_EQ(s->nextExpectedFrame(), call.nextExpected);
        EXPECT_EQ(s->visualContext()->reader().seekCount(), call.seeks);
        if (call.answer) drawn.push_back(buffer);
    }
    // Frames 10 and 4 after the seeks are those a straight run draws.
    auto straight = ForRender(s->FilePath(), ShaderProcessor::Backend::Cpu);
    for (int32_t f = 0; f <= 11; ++f) {
        ASSERT_TRUE(straight->GetNextFrameForRender(buffer.data(), f)) << f;
        const int row = f == 2 ? 2 : f == 4 ? 5 : f == 10 ? 3 : -1;
        if (row >= 0) { EXPECT_TRUE(buffer == drawn[size_t(row)]) << "frame " << f; }
    }
    EXPECT_EQ(straight->visualContext()->reader().seekCount(), 0);
    EXPECT_FALSE(drawn[2] == drawn[3]);
}

TEST(QTRenderSource, AnswersOfAMovieSource) {
    test::TempDir dir;
    const std::string path = dir / "tc.mov";
    test::MakeMovie(
        "-f lavfi -i testsrc=size=64x48:rate=24000/1001 -f lavfi -i "
        "sine=frequency=440:sample_rate=48000 -frames:v 12 -c:v libx264 -pix_fmt yuv420p "
        "-c:a pcm_s16le -ac 2 -shortest -timecode 01:00:00:00",
        path);
    auto s = ForRender(path, ShaderProcessor::Backend::Cpu);
    const auto meta = MetadataCache::Instance().CacheGet(path);
    ASSERT_TRUE(meta);
    ASSERT_GT(meta->timecodeStartFrame(), 0) << "the movie must carry a timecode track";
    // Frames from the metadata, timecode 0 despite the track, no audio file, no raw buffers,
    // no decode but by prefetch.
    std::ostringstream facts;
    facts << s->FramesInClip() << " frames at " << s->FramesPerSecond() << ", " << s->Width() << "x" << s->Height()
          << ", " << s->TimecodeString() << ", " << s->MetadataKelvin() << " K, " << s->SourceType() << ", audio file "
          << s->ExtractAudio(dir / "x.au") << ", buffers "
          << bool(s->ImageRep() || s->RawBuffer() || s->ProcessedBuffer() || s->ResizeBuffer()) << ", decode "
          << s->DecodeFrame(0) << ", sound";
    for (const auto& track : s->GetAudioTracks()) facts << " " << track.sampleRate << " Hz " << track.channels << " ch";
    EXPECT_EQ(facts.str(),
              "12 frames at 23.976, 64x48, 00:00:00:00, 5600 K, 5D, audio file 0, buffers 0, decode 0, "
              "sound 48000 Hz 2 ch");
}

// Then a frame past the data fails, and so does every later one.
TEST(QTRenderSource, FiveSlotsAreFilledTakenAndFreedUntilAFramePastTheData) {
    auto s = ForRender(LongGop(), ShaderProcessor::Backend::Cpu);
    uint8_t* data = nullptr;
    EXPECT_EQ(s->RetrieveBufferForFrameOutputBuffer(0, &data), kFrameNotReady);
    for (int32_t f = 0; f < QTRenderSource::kSlotCount; ++f) EXPECT_TRUE(s->PreFectchFrame(f)) << f;
    EXPECT_FALSE(s->PreFectchFrame(5)) << "every slot is taken";
    EXPECT_EQ(s->RetrieveBufferForFrameOutputBuffer(7, &data), kFrameNotReady);
    EXPECT_FALSE(s->DiscardFrame(42));
    ASSERT_EQ(s->RetrieveBufferForFrameOutputBuffer(0, &data), kFrameReady);
    EXPECT_NE(data, nullptr);
    BitmapImage rep;
    ASSERT_EQ(s->RetrieveBufferForFrameBitmapRep(1, &rep), kFrameReady);
    EXPECT_EQ(rep.samplesPerPixel, 3);
    EXPECT_EQ(rep.bytesPerRow, size_t(64 * 6));
    EXPECT_NE(rep.data, data);
    EXPECT_TRUE(s->DiscardFrame(0));
    EXPECT_TRUE(s->PreFectchFrame(5)) << "a discarded slot is free again";
    EXPECT_EQ(s->RetrieveBufferForFrame(5), kFrameReady);
    for (int32_t f = 1; f <= 5; ++f) EXPECT_TRUE(s->DiscardFrame(f)) << f;
    EXPECT_TRUE(s->PreFectchFrame(24)) << "the slot is given up, not retried";
    EXPECT_EQ(s->RetrieveBufferForFrame(24), kFrameFailed);
    EXPECT_NE(s->lastError().find("no frame 24"), std::string::npos) << s->lastError();
    EXPECT_TRUE(s->PreFectchFrame(3));
    EXPECT_EQ(s->RetrieveBufferForFrame(3), kFrameFailed);
}

TEST(QTRenderSource, TheWorkerLetsGoOfTheContextAndThePrefetchThreadTakesIt) {
    auto s = ForRender(LongGop(), ShaderProcessor::Backend::OpenGL);
    const auto context = s->openGLContext();
    if (!context) GTEST_SKIP() << "no OpenGL here: " << s->lastError();
    EXPECT_FALSE(context->IsCurrent()) << "still held by the thread that set the source up";
    bool filled = false, heldThere = false;
    std::thread prefetch([&] {
        s->EnterPrefetchThread();
        heldThere = context->IsCurrent();
        filled = s->PreFectchFrame(0) && s->PreFectchFrame(1);
        s->LeavePrefetchThread();
    });
    prefetch.join();
    EXPECT_TRUE(heldThere);
    EXPECT_TRUE(filled);
    uint8_t* data = nullptr;
    ASSERT_EQ(s->RetrieveBufferForFrameOutputBuffer(1, &data), kFrameReady) << s->lastError();
    // A graded picture, not an empty slot.
    size_t nonZero = 0;
    for (size_t i = 0; i < size_t(64) * 48 * 6; ++i) nonZero += data[i] != 0;
    EXPECT_GT(nonZero, size_t(64) * 48);
}

}  // namespace
}  // namespace ombrel
