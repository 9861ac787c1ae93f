#include "sources/AuFile.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

#include "support/FileFaults.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

using test::Quoted;
using test::ReadWholeFile;
using test::TempDir;

// The header is read back by an independent reader; the samples pass through untouched.
TEST(AuFile, HeaderBytesAndBlocksAsTheDecoderGivesThem) {
    TempDir dir;
    const std::string path = dir / "A001_C001.au";
    AuFileWriter writer;
    ASSERT_TRUE(writer.Open(path, 48000, 2).ok());
    EXPECT_FALSE(std::filesystem::exists(path)) << "not in place before it is finished";
    // Two blocks of 32-bit big-endian stereo samples, the second shorter.
    std::vector<uint8_t> block(4800 * 2 * 4);
    for (size_t i = 0; i < block.size(); ++i) block[i] = static_cast<uint8_t>(i * 13);
    ASSERT_TRUE(writer.Append(block.data(), block.size()).ok());
    ASSERT_TRUE(writer.Append(block.data(), 2400 * 2 * 4).ok());
    ASSERT_TRUE(writer.Finish().ok());
    const std::string file = ReadWholeFile(path);
    ASSERT_EQ(file.size(), 28 + (4800u + 2400u) * 8);
    EXPECT_EQ(file.substr(28, block.size()), std::string(block.begin(), block.end()));

    const auto probe = test::RunShell(
        "ffprobe -v error -show_entries stream=codec_name,sample_rate,channels:format=duration -of default=nw=1 " +
        Quoted(path));
    EXPECT_EQ(probe.status, 0) << probe.output;
    for (const char* want : {"codec_name=pcm_s32be", "sample_rate=48000", "channels=2", "duration=0.15"})
        EXPECT_NE(probe.output.find(want), std::string::npos) << want << "\n" << probe.output;
}

}  // namespace
}  // namespace ombrel
