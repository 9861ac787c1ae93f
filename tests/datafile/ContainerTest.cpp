#include "datafile/DataFile.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <cstring>

#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "core/Log.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

using test::ReadWholeFile;
using test::TempDir;
using test::WriteWholeFile;

std::string Bytes(const std::unique_ptr<uint8_t[]>& p, size_t n) {
    return std::string(reinterpret_cast<const char*>(p.get()), n);
}

std::string RandomBytes(size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    std::string s(n, '\0');
    for (auto& c : s) c = static_cast<char>(rng() & 0xFF);
    return s;
}

TEST(Container, ZeroLengthPayloadIsATailOnlyFileThatReadsBackUnchanged) {
    TempDir dir;
    char message[kMessageBufferSize] = {};
    ASSERT_EQ(ScrambleDataToFile(dir / "empty.dat", nullptr, 0, message), 0) << message;
    const std::string file = ReadWholeFile(dir / "empty.dat");
    ASSERT_EQ(file.size(), 429u);

    std::unique_ptr<uint8_t[]> bytes;
    size_t length = 7;
    ASSERT_EQ(UnscrambleDataFromFile(dir / "empty.dat", bytes, length, message), 0) << message;
    EXPECT_EQ(length, 429u);
    EXPECT_EQ(Bytes(bytes, length), file);
    EXPECT_EQ(bytes[length], 0);
}

TEST(Container, LayoutHoldsTheInverseTableAndBoundedFiller) {
    TempDir dir;
    char message[kMessageBufferSize] = {};
    // Every byte value appears, so the stored payload exposes the whole forward table.
    std::string payload;
    for (int round = 0; round < 3; ++round)
        for (int v = 0; v < 256; ++v) payload.push_back(static_cast<char>(v));
    for (int file = 0; file < 12; ++file) {
        const std::string path = dir / ("f" + std::to_string(file));
        ASSERT_EQ(ScrambleDataToFile(path, payload.data(), payload.size(), message), 0) << message;
        const std::string stored = ReadWholeFile(path);
        ASSERT_EQ(stored.size(), payload.size() + 429);
        const size_t n = payload.size();
        std::vector<int> seen(256, 0);
        for (size_t k = 0; k < 256; ++k) {
            const auto inverse = static_cast<uint8_t>(stored[n + k]);
            ++seen[inverse];
            // The table entry for stored value k is the plain byte that was replaced by k.
            const auto forward = static_cast<uint8_t>(stored[inverse]);
            EXPECT_EQ(forward, k);
        }
        for (int count : seen) EXPECT_EQ(count, 1);
        for (size_t k = n + 256; k < stored.size(); ++k) EXPECT_LE(static_cast<uint8_t>(stored[k]), 172);
    }
}

TEST(Container, TwoWritesOfTheSameDataDifferAndBothReadBackWithTheirTails) {
    TempDir dir;
    char message[kMessageBufferSize] = {};
    const std::string payload = RandomBytes(5000, 11) + std::string("\0\0\xff", 3);
    ASSERT_EQ(ScrambleDataToFile(dir / "a", payload.data(), payload.size(), message), 0) << message;
    ASSERT_EQ(ScrambleDataToFile(dir / "b", payload.data(), payload.size(), message), 0) << message;
    const std::string a = ReadWholeFile(dir / "a");
    const std::string b = ReadWholeFile(dir / "b");
    EXPECT_NE(a, b);
    for (const auto& [name, stored] : {std::pair{"a", a}, std::pair{"b", b}}) {
        std::unique_ptr<uint8_t[]> bytes;
        size_t length = 0;
        ASSERT_EQ(UnscrambleDataFromFile(dir / name, bytes, length, message), 0) << message;
        ASSERT_EQ(length, payload.size() + 429);
        EXPECT_EQ(Bytes(bytes, payload.size()), payload);
        EXPECT_EQ(Bytes(bytes, length).substr(payload.size()), stored.substr(payload.size()));

        auto data = GetUnscrambledData(dir / name);
        ASSERT_TRUE(data.has_value());
        EXPECT_EQ(std::string(data->begin(), data->end()), Bytes(bytes, length));
    }
}

TEST(Container, HandMadeContainerReadsBack) {
    // Written here without our writer: an odd multiplier makes a bijection on bytes.
    TempDir dir;
    const std::string payload = "stock table \x01\x02\x00\xfe body" + RandomBytes(300, 5);
    uint8_t forward[256];
    uint8_t inverse[256];
    for (int k = 0; k < 256; ++k) forward[k] = static_cast<uint8_t>(k * 167 + 29);
    for (int k = 0; k < 256; ++k) inverse[forward[k]] = static_cast<uint8_t>(k);
    std::string file;
    for (char c : payload) file.push_back(static_cast<char>(forward[static_cast<uint8_t>(c)]));
    file.append(reinterpret_cast<const char*>(inverse), 256);
    for (int k = 0; k < 173; ++k) file.push_back(static_cast<char>((k * 31) % 173));
    WriteWholeFile(dir / "hand.tin", file);

    char message[kMessageBufferSize] = {};
    std::unique_ptr<uint8_t[]> bytes;
    size_t length = 0;
    ASSERT_EQ(UnscrambleDataFromFile(dir / "hand.tin", bytes, length, message), 0) << message;
    ASSERT_EQ(length, file.size());
    EXPECT_EQ(Bytes(bytes, payload.size()), payload);
    EXPECT_EQ(Bytes(bytes, length).substr(payload.size()), file.substr(payload.size()));

    auto data = GetUnscrambledData(dir / "hand.tin");
    ASSERT_TRUE(data.has_value());
    EXPECT_EQ(std::string(data->begin(), data->begin() + static_cast<long>(payload.size())), payload);
}

TEST(Container, UnscrambleFailuresNameThePathAndLeaveOutputsAlone) {
    TempDir dir;
    char message[kMessageBufferSize] = {};
    std::unique_ptr<uint8_t[]> bytes(new uint8_t[1]{42});
    size_t length = 99;
    EXPECT_EQ(UnscrambleDataFromFile(dir / "absent", bytes, length, message), -1);
    EXPECT_EQ(std::string(message), "Could not open file " + (dir / "absent") + "\n");
    std::filesystem::create_directory(dir / "folder");
    EXPECT_EQ(UnscrambleDataFromFile(dir / "folder", bytes, length, message), -2);
    EXPECT_EQ(std::string(message), "Truncated read from file " + (dir / "folder"));
    EXPECT_EQ(length, 99u);
    EXPECT_EQ(bytes[0], 42);
    // A null message buffer is allowed.
    EXPECT_EQ(UnscrambleDataFromFile(dir / "absent", bytes, length, nullptr), -1);
}

TEST(ReadBytes, EmbeddedNulsStayAndReadFileStopsAtTheFirst) {
    TempDir dir;
    const std::string content("head\0middle\0tail", 16);
    WriteWholeFile(dir / "nul.bin", content);
    char message[kMessageBufferSize] = {};
    std::unique_ptr<uint8_t[]> bytes;
    size_t length = 0;
    ASSERT_EQ(ReadBytesFromFile(dir / "nul.bin", bytes, length, message), 0) << message;
    EXPECT_EQ(Bytes(bytes, length), content);
    EXPECT_EQ(bytes[length], 0);

    std::string text = "unchanged";
    ASSERT_EQ(ReadFile(dir / "nul.bin", text, message), 0);
    EXPECT_EQ(text, "head");

    WriteWholeFile(dir / "zero", "");
    ASSERT_EQ(ReadBytesFromFile(dir / "zero", bytes, length, message), 0);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(bytes[0], 0);
}

TEST(ReadBytes, FailuresGiveTheirCodesAndExactTexts) {
    TempDir dir;
    char message[kMessageBufferSize] = {};
    std::unique_ptr<uint8_t[]> bytes;
    size_t length = 5;
    EXPECT_EQ(ReadBytesFromFile(dir / "absent", bytes, length, message), -1);
    EXPECT_EQ(std::string(message), "Could not open file " + (dir / "absent") + "\n[" + std::to_string(ENOENT) + "]");
    EXPECT_EQ(bytes, nullptr);
    EXPECT_EQ(length, 5u);

    std::string text = "kept";
    EXPECT_EQ(ReadFile(dir / "absent", text, message), -1);
    EXPECT_EQ(text, "kept");

    std::filesystem::create_directory(dir / "folder");
    EXPECT_EQ(ReadBytesFromFile(dir / "folder", bytes, length, message), -2);
    EXPECT_EQ(std::string(message), "Did not read complete file " + (dir / "folder") + "\n");

    // A long path does not run past the message buffer.
    const std::string longPath = dir / std::string(3000, 'x');
    EXPECT_EQ(ReadBytesFromFile(longPath, bytes, length, message), -1);
    EXPECT_LT(std::strlen(message), kMessageBufferSize);
}

TEST(WriteData, FailuresKeepWhatWasThereAndLeaveNoTemporaries) {
    TempDir dir;
    char message[kMessageBufferSize] = {};
    const std::string target = dir / "res.dat";
    ASSERT_EQ(WriteDataToFile(target, "first", 5, message), 0) << message;
    ASSERT_EQ(WriteDataToFile(target, "second!", 7, message), 0) << message;
    EXPECT_EQ(ReadWholeFile(target), "second!");

    EXPECT_EQ(WriteDataToFile(dir / "no/such/folder/x", "a", 1, message), -1);
    EXPECT_EQ(std::string(message),
              "Could not open file " + (dir / "no/such/folder/x") + "\n[" + std::to_string(ENOENT) + "]");

    std::filesystem::create_directory(dir / "folder");
    EXPECT_EQ(ScrambleDataToFile(dir / "folder", "abc", 3, message), -1);
    EXPECT_TRUE(std::filesystem::is_directory(dir / "folder"));

    size_t entries = 0;
    for (const auto& e : std::filesystem::directory_iterator(dir.path())) {
        (void)e;
        ++entries;
    }
    EXPECT_EQ(entries, 2u) << "only res.dat and folder/ should be left";
}

TEST(WriteDataDeathTest, AFullDiskGivesAFlushOrWriteCodeAndKeepsTheOldFile) {
    // The file-size limit stands in for a full disk; it runs in a child so the limit stays there.
    TempDir dir;
    const std::string target = dir / "res.dat";
    WriteWholeFile(target, "old contents");
    // The limit also cuts what the child may write to stderr, so it reports in a few bytes.
    auto attempt = [&](size_t size, int expected, const std::string& text) {
        ::signal(SIGXFSZ, SIG_IGN);
        rlimit limit{64, 64};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        std::string big(size, 'z');
        char message[kMessageBufferSize] = {};
        int rc = WriteDataToFile(target, big.data(), big.size(), message);
        bool kept = ReadWholeFile(target) == "old contents";
        bool said = std::string(message).rfind(text, 0) == 0;
        std::fprintf(stderr, "rc=%d kept=%d said=%d\n", rc, kept ? 1 : 0, said ? 1 : 0);
        std::_Exit(rc == expected && kept && said ? 0 : 1);
    };
    // Small enough to sit in the stream's buffer: the flush fails.
    EXPECT_EXIT(attempt(1000, -2, "Could not flush file " + target + "\n[" + std::to_string(EFBIG) + "]"),
                ::testing::ExitedWithCode(0), "rc=-2 kept=1 said=1");
    // Large enough to bypass the buffer: the write comes up short.
    EXPECT_EXIT(attempt(1 << 20, -4, "Failed to write zip file " + target), ::testing::ExitedWithCode(0),
                "rc=-4 kept=1 said=1");
}

TEST(GetUnscrambledDataDeathTest, MissingIsLoggedAndNullUnreadableIsFatal) {
    TempDir dir;
    {
        LogCapture log;
        EXPECT_FALSE(GetUnscrambledData(dir / "gone.tin").has_value());
        EXPECT_TRUE(log.Contains("Error: File doesn't exist at " + (dir / "gone.tin")));
    }
    std::filesystem::create_directory(dir / "Profiles");
    EXPECT_DEATH(GetUnscrambledData(dir / "Profiles"), "Failed to get unscramble at .*Profiles");
}

TEST(FileExists, TellsWhetherTheFileOpensForReading) {
    TempDir dir;
    WriteWholeFile(dir / "here", "x");
    EXPECT_TRUE(FileExists(dir / "here"));
    EXPECT_FALSE(FileExists(dir / "absent"));
    EXPECT_FALSE(FileExists(""));
}

}  // namespace
}  // namespace ombrel
