// The scrambled container, the gzip helpers and the plain file readers and writers.
#include "datafile/DataFile.h"

#include <zlib.h>

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <functional>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "core/Log.h"
#include "datafile/Crc32.h"
#include "datafile/Resource.h"
#include "support/FileFaults.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

using test::ReadWholeFile;
using test::TempDir;
using test::WriteWholeFile;
using Buffer = std::unique_ptr<uint8_t[]>;

std::string Bytes(const Buffer& p, size_t n) { return std::string(reinterpret_cast<const char*>(p.get()), n); }

std::string Random(std::mt19937& rng, size_t n) {
    std::string s(n, '\0');
    for (auto& c : s) c = static_cast<char>(rng() & 0xFF);
    return s;
}

std::string ShaderText() {
    std::string text = "uniform sampler3D stock;\n";
    for (int i = 0; i < 200; ++i)
        text += "vec3 step" + std::to_string(i) + "(vec3 c) { return c * " + std::to_string(i % 7) + ".0; }\n";
    return text;
}

std::string Zip(const std::string& text) {
    Buffer out;
    size_t length = 0;
    EXPECT_EQ(ZipBytesToArray(text.data(), text.size(), out, length, nullptr), 0);
    return Bytes(out, length);
}

// The code of an unzip and, on success, its text, whose NUL behind it is checked.
int Unzip(const std::string& in, std::string* text = nullptr) {
    Buffer out;
    size_t length = 0;
    char message[kMessageBufferSize] = {};
    const int rc = UnzipByteArray(in.data(), in.size(), out, length, message);
    if (rc != 0) { EXPECT_EQ(std::string(message).rfind("Failed to", 0), 0u) << message; }
    if (rc == 0) { EXPECT_EQ(out[length], 0); }
    if (rc == 0 && text) *text = Bytes(out, length);
    return rc;
}

// A container read back, whose NUL behind the data is checked; the same bytes come through
// GetUnscrambledData.
std::string Unscramble(const std::string& path) {
    char message[kMessageBufferSize] = {};
    Buffer bytes;
    size_t length = 0;
    EXPECT_EQ(UnscrambleDataFromFile(path, bytes, length, message), 0) << message;
    if (!bytes) return "(unread)";
    EXPECT_EQ(bytes[length], 0);
    const auto data = GetUnscrambledData(path);
    EXPECT_TRUE(data && std::string(data->begin(), data->end()) == Bytes(bytes, length)) << path;
    return Bytes(bytes, length);
}

TEST(Container, PayloadsReadBackWithTheTailAndEachWriteDrawsItsOwnTable) {
    TempDir dir;
    std::mt19937 rng(11);
    std::string everyByte;
    for (int v = 0; v < 3 * 256; ++v) everyByte.push_back(static_cast<char>(v));
    const std::pair<const char*, std::string> rows[] = {
        {"empty: a tail-only file", ""},
        {"every byte value", everyByte},
        {"random with NULs", Random(rng, 5000) + std::string("\0\0\xff", 3)}};
    for (const auto& [row, payload] : rows) {
        SCOPED_TRACE(row);
        const size_t n = payload.size();
        std::string first;
        for (const char* name : {"a", "b"}) {
            ASSERT_EQ(ScrambleDataToFile(dir / name, payload.data(), n, nullptr), 0);
            const std::string stored = ReadWholeFile(dir / name);
            ASSERT_EQ(stored.size(), n + kContainerTailSize);
            EXPECT_EQ(Unscramble(dir / name), payload + stored.substr(n));
            std::vector<int> seen(256, 0);
            for (size_t k = 0; k < 256; ++k) ++seen[static_cast<uint8_t>(stored[n + k])];
            EXPECT_EQ(seen, std::vector<int>(256, 1)) << "the inverse table is no permutation";
            for (size_t k = n + 256; k < stored.size(); ++k) EXPECT_LE(static_cast<uint8_t>(stored[k]), 172);
            EXPECT_NE(stored, first);
            first = stored;
        }
    }
}

TEST(Container, HandMadeContainerReadsBack) {
    // Written without our writer: an odd multiplier makes a bijection on bytes.
    TempDir dir;
    std::mt19937 rng(5);
    const std::string payload = "stock table \x01\x02\x00\xfe body" + Random(rng, 300);
    uint8_t forward[256];
    std::string inverse(256, '\0');
    for (int k = 0; k < 256; ++k) forward[k] = static_cast<uint8_t>(k * 167 + 29);
    for (int k = 0; k < 256; ++k) inverse[forward[k]] = static_cast<char>(k);
    std::string file;
    for (char c : payload) file.push_back(static_cast<char>(forward[static_cast<uint8_t>(c)]));
    file += inverse;
    for (int k = 0; k < 173; ++k) file.push_back(static_cast<char>((k * 31) % 173));
    WriteWholeFile(dir / "hand.tin", file);
    EXPECT_EQ(Unscramble(dir / "hand.tin"), payload + file.substr(payload.size()));
}

// Files of 429 bytes or fewer pass through; one byte more is one payload byte looked up in the
// table right behind it. Random bytes never unzip.
TEST(CorruptInput, ShortFilesPassThroughAndLongerOnesYieldSomePayload) {
    TempDir dir;
    std::mt19937 rng(17);
    for (size_t size = 0; size <= 430; ++size) {
        SCOPED_TRACE(size);
        const std::string content = Random(rng, size);
        WriteWholeFile(dir / "c", content);
        const std::string got = Unscramble(dir / "c");
        std::string expected = content;
        if (size == 430) expected[0] = content[1 + static_cast<uint8_t>(content[0])];
        EXPECT_EQ(got, expected);
        EXPECT_LT(Unzip(got), 0);
    }
}

// Cut containers and streams never unzip; a broken check fails; a flipped bit fails or, in the
// flags, time and system fields, still gives the text; random bytes, behind a gzip header or not,
// are refused.
TEST(CorruptInput, DamagedStreamsNeverUnzipToAnythingElse) {
    TempDir dir;
    const std::string text = ShaderText();
    const std::string gz = Zip(text);
    ASSERT_EQ(ScrambleDataToFile(dir / "full", gz.data(), gz.size(), nullptr), 0);
    const std::string container = ReadWholeFile(dir / "full");
    for (size_t cut = 0; cut < container.size(); cut += (cut < 40 ? 1 : 7)) {
        WriteWholeFile(dir / "cut", container.substr(0, cut));
        EXPECT_LT(Unzip(Unscramble(dir / "cut")), 0) << "container cut at " << cut;
        if (cut < gz.size()) { EXPECT_LT(Unzip(gz.substr(0, cut)), 0) << "stream cut at " << cut; }
    }
    std::string badCrc = gz, badSize = gz;
    badCrc[gz.size() - 8] ^= 0x01;
    badSize[gz.size() - 4] ^= 0x10;
    EXPECT_EQ(std::tuple(Unzip(badCrc), Unzip(badSize), Unzip(badCrc + std::string(429, 'x'))), std::tuple(-2, -2, -2));
    for (size_t at = 0; at < gz.size(); ++at) {
        for (int bit : {0, 3, 7}) {
            std::string flipped = gz, got;
            flipped[at] = static_cast<char>(flipped[at] ^ (1 << bit));
            const int rc = Unzip(flipped + std::string(429, '\x5a'), &got);
            EXPECT_TRUE(rc == 0 ? got == text : rc == -2 || rc == -3) << "byte " << at << " bit " << bit << ": " << rc;
        }
    }
    std::mt19937 rng(23);
    for (int round = 0; round < 200; ++round) {
        const size_t size = 1 + rng() % 20000;
        EXPECT_LT(Unzip(std::string("\x1f\x8b\x08\x00\x00\x00\x00\x00\x00\x03", 10) + Random(rng, size)), 0) << round;
        EXPECT_LT(Unzip(Random(rng, size)), 0) << round;
    }
}

// Ours is read by system gzip and theirs by ours, with a container's tail or a second member
// behind it ignored.
TEST(Gzip, OursAndSystemGzipReadEachOther) {
    TempDir dir;
    const std::string text = ShaderText();
    const std::string gz = Zip(text);
    EXPECT_EQ(gz.substr(0, 3), std::string("\x1f\x8b\x08", 3));
    EXPECT_LT(gz.size(), text.size() / 4) << "deflate should shrink repetitive text";
    ASSERT_EQ(ZipBytesToFile(dir / "file.fs.gz", text.data(), text.size(), nullptr), 0);
    WriteWholeFile(dir / "core.fs", text);
    WriteWholeFile(dir / "other.txt", "a second member");
    const auto shell = test::RunShell("cd " + test::Quoted(dir.path()) +
                                      " && gzip -dc file.fs.gz > file.fs && gzip -6 -k core.fs && gzip -6 other.txt");
    ASSERT_EQ(shell.status, 0) << shell.output;
    EXPECT_EQ(ReadWholeFile(dir / "file.fs"), text);
    std::mt19937 rng(1);
    for (const std::string& tail :
         {std::string(), Random(rng, 429), std::string(429, '\0'), ReadWholeFile(dir / "other.txt.gz")}) {
        std::string got;
        EXPECT_EQ(Unzip(ReadWholeFile(dir / "core.fs.gz") + tail, &got), 0) << tail.size();
        EXPECT_EQ(got, text);
    }
    for (const std::string& small : {std::string(), std::string("a\0b", 3)}) {
        std::string got;
        EXPECT_EQ(Unzip(Zip(small), &got), 0);
        EXPECT_EQ(got, small);
    }
}

// Every helper's failure: its code and exact text (the path put in at @), outputs left alone,
// the same code without a message buffer, and no temporary file left behind.
TEST(DataFile, FailuresGiveTheirCodesAndTextsAndLeaveOutputsAlone) {
    TempDir dir;
    std::filesystem::create_directory(dir / "folder");
    using Call = std::function<int(const std::string&, Buffer&, size_t&, char*)>;
    const Call unscramble = UnscrambleDataFromFile, readBytes = ReadBytesFromFile;
    const Call readText = [](const std::string& p, Buffer&, size_t&, char* m) {
        std::string text = "kept";
        const int rc = ReadFile(p, text, m);
        return text == "kept" ? rc : 0;
    };
    const Call write = [](const std::string& p, Buffer&, size_t&, char* m) { return WriteDataToFile(p, "a", 1, m); };
    const Call scramble = [](const std::string& p, Buffer&, size_t&, char* m) {
        return ScrambleDataToFile(p, "a", 1, m);
    };
    const Call zip = [](const std::string& p, Buffer&, size_t&, char* m) { return ZipBytesToFile(p, "a", 1, m); };
    const Call unzip = [](const std::string& p, Buffer& b, size_t& n, char* m) {
        return UnzipByteArray(p.empty() ? nullptr : p.data(), p.size(), b, n, m);
    };
    const std::string noFile = "Could not open file @\n[" + std::to_string(ENOENT) + "]";
    const std::tuple<const char*, std::string, Call, int, std::string> rows[] = {
        {"unscramble absent", dir / "absent", unscramble, -1, "Could not open file @\n"},
        {"unscramble folder", dir / "folder", unscramble, -2, "Truncated read from file @"},
        {"read bytes absent", dir / "absent", readBytes, -1, noFile},
        {"read bytes folder", dir / "folder", readBytes, -2, "Did not read complete file @\n"},
        {"read text absent", dir / "absent", readText, -1, noFile},
        {"write into a missing folder", dir / "no/such/x", write, -1, noFile},
        {"scramble over a folder", dir / "folder", scramble, -1,
         "Could not open file @\n[" + std::to_string(EISDIR) + "]"},
        {"zip into a missing folder", dir / "missing/x.gz", zip, -3, noFile},
        {"unzip what is no gzip", "void main() {}\n", unzip, -2, "Failed to load zipped data\n"},
        {"unzip nothing", "", unzip, -2, "Failed to load zipped data\n"},
    };
    for (const auto& [name, path, call, code, text] : rows) {
        SCOPED_TRACE(name);
        char message[kMessageBufferSize] = {};
        Buffer bytes(new uint8_t[1]{42});
        size_t length = 99;
        EXPECT_EQ(call(path, bytes, length, message), code);
        std::string expected = text;
        if (const size_t at = expected.find('@'); at != std::string::npos) expected.replace(at, 1, path);
        EXPECT_EQ(std::string(message), expected);
        EXPECT_EQ(std::tuple(length, bytes[0]), std::tuple(99u, 42));
        EXPECT_EQ(call(path, bytes, length, nullptr), code);
    }
    EXPECT_TRUE(std::filesystem::is_directory(dir / "folder"));
    EXPECT_EQ(test::Listing(dir.path()).size(), 1u) << "only folder/ should be left";
    // A long path does not run past the message buffer.
    char message[kMessageBufferSize] = {};
    Buffer bytes;
    size_t length = 0;
    EXPECT_EQ(ReadBytesFromFile(dir / std::string(3000, 'x'), bytes, length, message), -1);
    EXPECT_LT(std::strlen(message), kMessageBufferSize);
}

TEST(DataFile, PlainReadsKeepNulsTextStopsAtTheFirstAndWritesReplace) {
    TempDir dir;
    for (const std::string& content : {std::string("head\0middle\0tail", 16), std::string()}) {
        WriteWholeFile(dir / "nul.bin", content);
        Buffer bytes;
        size_t length = 7;
        std::string text = "unchanged";
        ASSERT_EQ(ReadBytesFromFile(dir / "nul.bin", bytes, length, nullptr) + ReadFile(dir / "nul.bin", text, nullptr),
                  0);
        EXPECT_EQ(Bytes(bytes, length + 1), content + '\0');
        EXPECT_EQ(text, content.substr(0, 4));
    }
    ASSERT_EQ(
        WriteDataToFile(dir / "res.dat", "first", 5, nullptr) + WriteDataToFile(dir / "res.dat", "second!", 7, nullptr),
        0);
    EXPECT_EQ(ReadWholeFile(dir / "res.dat"), "second!");
    EXPECT_EQ(std::tuple(FileExists(dir / "res.dat"), FileExists(dir / "absent"), FileExists("")),
              std::tuple(true, false, false));
}

// The size cap stands in for a full disk, in a child so that it stays there; it also cuts what
// the child may write to stderr, so it reports in a few bytes. A write small enough for the
// stream's buffer fails at the flush, a larger one comes up short.
TEST(WriteDataDeathTest, AFullDiskGivesAFlushOrWriteCodeAndKeepsTheOldFile) {
    TempDir dir;
    const std::string target = dir / "res.dat";
    WriteWholeFile(target, "old contents");
    for (const auto& [size, code, text] :
         {std::tuple<size_t, int, std::string>{1000, -2,
                                               "Could not flush file " + target + "\n[" + std::to_string(EFBIG) + "]"},
          std::tuple<size_t, int, std::string>{1 << 20, -4, "Failed to write zip file " + target}}) {
        auto attempt = [&, size = size, code = code, text = text] {
            test::FileSizeLimit limit(64);
            const std::string big(size, 'z');
            char message[kMessageBufferSize] = {};
            const int rc = WriteDataToFile(target, big.data(), big.size(), message);
            const bool kept = ReadWholeFile(target) == "old contents";
            std::fprintf(stderr, "rc=%d kept=%d\n", rc, kept ? 1 : 0);
            std::_Exit(rc == code && kept && std::string(message).rfind(text, 0) == 0 ? 0 : 1);
        };
        EXPECT_EXIT(attempt(), ::testing::ExitedWithCode(0), "kept=1") << size;
    }
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

TEST(Crc32, CheckValuesAgreeWithZlibAndChainThroughTheSeed) {
    const char* check = "123456789";
    EXPECT_EQ(crc32(check, 9), 0xCBF43926u);
    EXPECT_EQ(crc32WithSeed(check, 9, 0xFFFFFFFFu), 0xCBF43926u);
    EXPECT_EQ(crc32UsingPolynomial(check, 9, 0xEDB88320u), 0xCBF43926u);
    // The Castagnoli polynomial, reflected, has its own published check value.
    EXPECT_EQ(crc32UsingPolynomial(check, 9, 0x82F63B78u), 0xE3069283u);
    EXPECT_EQ(crc32WithSeedUsingPolynomial(check, 9, 0xFFFFFFFFu, 0x82F63B78u), 0xE3069283u);
    EXPECT_EQ(crc32(nullptr, 0), 0u);
    uint32_t table[256] = {};
    EXPECT_EQ(generateCRC32Table(table, 0xEDB88320u), 256);
    EXPECT_EQ(std::tuple(table[0], table[1], table[255]), std::tuple(0u, 0x77073096u, 0x2D02EF8Du));
    std::mt19937 rng(3);
    for (size_t size : {1u, 2u, 7u, 255u, 256u, 4096u, 100003u}) {
        const std::string data = Random(rng, size);
        const uint32_t ours = crc32(data.data(), size);
        EXPECT_EQ(ours, ::crc32(0L, reinterpret_cast<const Bytef*>(data.data()), static_cast<uInt>(size))) << size;
        // A running CRC carries on from the complement of the previous result.
        EXPECT_EQ(crc32WithSeed(data.data() + size / 2, size - size / 2, ~crc32(data.data(), size / 2)), ours) << size;
    }
}

// Found under the data root; missing, or a folder where the file should be, is kNotFound with the
// text RequireResource logs before it stops the program.
TEST(ResourceDeathTest, FoundUnderTheDataRootOrExplainedWhenMissing) {
    TempDir root;
    test::ScopedDataRoot scoped(root.path());
    WriteWholeFile(root / "Resources/Shaders/core.fs", "scrambled");
    std::filesystem::create_directories(root / "Profiles/5D");
    std::string found;
    EXPECT_TRUE(FindResource("Resources/Shaders/core.fs", &found).ok());
    EXPECT_EQ(found, root / "Resources/Shaders/core.fs");
    EXPECT_EQ(ResourcePath("Resources/Shaders/core.fs"), found);
    EXPECT_EQ(RequireResource("Resources/Shaders/core.fs"), found);
    EXPECT_EQ(FindResource("Profiles/5D", &found).code(), Status::Code::kNotFound);
    const Status missing = FindResource("Resources/Shaders/grain.fs", &found);
    EXPECT_EQ(missing.code(), Status::Code::kNotFound);
    for (const std::string& part :
         {std::string("Missing resource \"Resources/Shaders/grain.fs\""), std::string("OMBREL_DATA_DIR"),
          "no readable file at " + (root / "Resources/Shaders/grain.fs")}) {
        EXPECT_NE(missing.message().find(part), std::string::npos) << missing.message();
    }
    EXPECT_DEATH(RequireResource("Resources/Exposure/table.dat"),
                 "Missing resource .*no readable file at " + (root / "Resources/Exposure/table.dat"));
}

}  // namespace
}  // namespace ombrel
