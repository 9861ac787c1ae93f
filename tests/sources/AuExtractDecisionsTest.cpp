// The ".au" beside a raw clip's frames: a header that holds the clip's true rate and channel
// count, and no file at all rather than one whose sound slips against the pictures.
#include <gtest/gtest.h>

#include <filesystem>

#include "core/Log.h"
#include "r3d/sdk/SdkClips.h"
#include "sources/AuFile.h"
#include "sources/R3DSource.h"
#include "support/FileFaults.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

using test::BigEndian32;

std::unique_ptr<R3DSource> Open(const std::string& path, const sdktest::SdkClip& c) {
    EXPECT_EQ(sdktest::WriteSdkClip(path, c), "") << path;
    auto s = std::make_unique<R3DSource>();
    s->SetFilePath(path);
    EXPECT_TRUE(s->SetOutputWidthHeightFit(int32_t(c.spec.width), int32_t(c.spec.height), 2));
    EXPECT_TRUE(s->OpenFileForOutputSizeWithAsyncBuffersUseRocketWillBlur(path, true, 4, false, false))
        << s->lastError();
    return s;
}

TEST(AuExtractDecisions, KeepsWholeRateAndChannelWordsInTheHeader_NotOnlyLow16BitsAndLowByte) {
    struct Row {
        const char* name;
        uint32_t rate, channels;
    };
    for (const Row& row : {Row{"48 kHz stereo, the same either way", 48000, 2}, Row{"96 kHz", 96000, 2},
                           Row{"192 kHz, eight channels", 192000, 8}, Row{"300 channels", 48000, 300}}) {
        SCOPED_TRACE(row.name);
        const auto h = AuHeader(row.rate, row.channels);
        const std::string bytes(h.begin(), h.end());
        EXPECT_EQ(BigEndian32(bytes, 16), row.rate);
        EXPECT_EQ(BigEndian32(bytes, 20), row.channels);
    }
    // And so in a file extracted from a 96 kHz clip, which a cut word would play at 30,464 Hz.
    test::TempDir dir;
    sdktest::SdkClip c = sdktest::BasicClip(16, 8, 2);
    c.spec.audioSampleRate = 96000;
    auto s = Open(dir / "A001_C001_0101AB_001.R3D", c);
    ASSERT_TRUE(s->ExtractAudio(dir / "a.au"));
    const std::string au = test::ReadWholeFile(dir / "a.au");
    ASSERT_GE(au.size(), kAuHeaderBytes);
    EXPECT_EQ(BigEndian32(au, 16), 96000u);
    EXPECT_EQ(BigEndian32(au, 20), 2u);
}

TEST(AuExtractDecisions, WritesNoAuWhenABlockCannotBeRead_NotWhateverSizeTheBlockReturned) {
    test::TempDir dir;
    sdktest::SdkClip c = sdktest::BasicClip(16, 8, 3);
    const std::string clip = dir / "A001_C001_0101AB_001.R3D";
    auto s = Open(clip, c);
    // The second audio block goes missing from the file after the clip was opened.
    const std::string bytes = test::ReadWholeFile(clip);
    const size_t first = bytes.find("REDA");
    ASSERT_NE(first, std::string::npos);
    const size_t second = bytes.find("REDA", first + 4);
    ASSERT_NE(second, std::string::npos);
    std::filesystem::resize_file(clip, second);

    const std::string au = dir / "out.au";
    test::WriteWholeFile(au, "an earlier extract");
    LogCapture log;
    EXPECT_FALSE(s->ExtractAudio(au));
    EXPECT_EQ(test::ReadWholeFile(au), "an earlier extract") << "the file on disk was replaced by a broken one";
    EXPECT_TRUE(log.Contains("Audio block 1 ")) << "the message names the block";
    EXPECT_TRUE(log.Contains(au)) << "and the file not written";
    EXPECT_TRUE(test::HiddenFiles(dir.path()).empty()) << "a temporary file was left behind";
}

}  // namespace
}  // namespace ombrel
