#include "TestClips.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <cstdlib>

namespace ombrel::r3d {
namespace {

int RunTool(const std::string& args) {
    const std::string command = std::string(R3D_MAKE) + " " + args + " >/dev/null 2>&1";
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(R3DMakeTool, WritesAClipTheReaderTakesWithExactAudioAndTimecode) {
    ombrel::test::TempDir dir;
    const std::string first = dir / "A002_C007_0203XY_001.R3D";
    ASSERT_EQ(RunTool("'" + first +
                      "' --size 64x36 --frames 30 --fps 29.97 --generation 4 --files 3 --no-footer "
                      "--timecode 10:59:59:25 --audio-channels 2 --reel B002"),
              0);
    ClipLoader clip;
    ASSERT_TRUE(clip.OpenClip(dir / "A002_C007_0203XY_002.R3D").ok());
    EXPECT_EQ(clip.ChunkCount(), 3u);
    // Without a footer the scan keeps every frame, since audio follows each one.
    EXPECT_EQ(clip.VideoFrameCount(), 30u);
    // 30 frames at 30000/1001 are exactly 48048 samples at 48 kHz.
    EXPECT_EQ(clip.Info().audioSampleFrames, 48048u);
    EXPECT_EQ(clip.Metadata().ItemAsString("reel_id"), "B002");
    EXPECT_EQ(clip.AbsoluteTimecode().CalculateNewTC(29), "11:00:00:24");
    EXPECT_FALSE(r3d::test::DecodeFrame(clip, 17).empty());

    EXPECT_EQ(RunTool("'" + first + "' --size 64x36 --frames 2"), 1) << "an existing clip is kept";
    EXPECT_EQ(RunTool("'" + (dir / "x.R3D") + "' --size 64by36"), 2);
    EXPECT_EQ(RunTool("'" + (dir / "x.R3D") + "' --files 2"), 1) << "several files need a numbered name";
}

}  // namespace
}  // namespace ombrel::r3d
