#include "sources/AuFile.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

#include "support/FileFaults.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

using test::BigEndian32;
using test::HiddenFiles;
using test::Quoted;
using test::ReadWholeFile;
using test::RunCommand;
using test::TempDir;

TEST(AuFile, HeaderBytesAndBlocksAsTheDecoderGivesThem) {
    const auto h = AuHeader(48000, 2);
    const std::string bytes(h.begin(), h.end());
    ASSERT_EQ(bytes.size(), 28u);
    EXPECT_EQ(bytes.substr(0, 4), ".snd");
    const std::pair<size_t, uint32_t> fields[] = {{4, 28}, {8, 0xFFFFFFFF}, {12, 5}, {16, 48000}, {20, 2}, {24, 0}};
    for (auto [offset, value] : fields) EXPECT_EQ(BigEndian32(bytes, offset), value) << "at " << offset;

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
    EXPECT_EQ(writer.bytesWritten(), (4800u + 2400u) * 8);
    ASSERT_TRUE(writer.Finish().ok());

    const std::string file = ReadWholeFile(path);
    ASSERT_EQ(file.size(), 28 + (4800u + 2400u) * 8);
    EXPECT_EQ(file.substr(0, 28), bytes);
    EXPECT_EQ(file.substr(28, block.size()), std::string(block.begin(), block.end()));

    const auto probe = RunCommand(
        "ffprobe -v error -show_entries stream=codec_name,sample_rate,channels "
        "-count_packets -show_entries stream=nb_read_packets -of default=nw=1 " +
        Quoted(path));
    EXPECT_EQ(probe.status, 0) << probe.output;
    for (const char* want : {"codec_name=pcm_s32be", "sample_rate=48000", "channels=2"})
        EXPECT_NE(probe.output.find(want), std::string::npos) << want << "\n" << probe.output;
    const auto samples = RunCommand("ffprobe -v error -show_entries format=duration -of default=nw=1 " + Quoted(path));
    EXPECT_NE(samples.output.find("duration=0.15"), std::string::npos) << samples.output;  // 7200 / 48000
}

TEST(AuFile, AnUnfinishedOrFailedFileLeavesNothing) {
    TempDir dir;
    {
        AuFileWriter writer;
        ASSERT_TRUE(writer.Open(dir / "a.au", 48000, 1).ok());
        const uint8_t some[8] = {};
        ASSERT_TRUE(writer.Append(some, sizeof some).ok());
    }
    EXPECT_TRUE(std::filesystem::is_empty(dir.path()));

    AuFileWriter writer;
    Status s = writer.Open(dir / "missing/a.au", 48000, 1);
    EXPECT_FALSE(s.ok());
    EXPECT_NE(s.message().find("missing/a.au"), std::string::npos) << s.message();
    EXPECT_FALSE(writer.Append("x", 1).ok());

    // Running out of room part way drops the file.
    ASSERT_TRUE(writer.Open(dir / "b.au", 48000, 2).ok());
    const std::vector<uint8_t> big(1 << 20);
    {
        test::FileSizeLimit limit(65536);
        s = writer.Append(big.data(), big.size());
    }
    EXPECT_NE(s.message().find("cannot write"), std::string::npos) << s.message();
    EXPECT_FALSE(writer.Finish().ok());
    EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
    EXPECT_TRUE(HiddenFiles(dir.path()).empty());
}

}  // namespace
}  // namespace ombrel
