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
#include "support/RefFile.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

using namespace test;
using Buffer = std::unique_ptr<uint8_t[]>;

std::string Bytes(const Buffer& p, size_t n) { return std::string(reinterpret_cast<const char*>(p.get()), n); }

std::string Random(std::mt19937& rng, size_t n) {
    std::string s(n, '\0');
    for (auto& c : s) c = static_cast<char>(rng() & 0xFF);
    return s;
}

std::string ShaderText() {
    std::string text;
    for (int i = 0; i < 200; ++i) text += "vec3 step" + std::to_string(i) + "(vec3 c) { return c * 2.0; }\n";
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
    const int rc = UnzipByteArray(in.data(), in.size(), out, length, nullptr);
    if (rc == 0) { EXPECT_EQ(out[length], 0); }
    if (rc == 0 && text) *text = Bytes(out, length);
    return rc;
}

// A container read back, whose NUL behind the data is checked; the same bytes come through
// GetUnscrambledData.
std::string Unscramble(const std::string& path) {
    Buffer bytes;
    size_t length = 0;
    EXPECT_EQ(UnscrambleDataFromFile(path, bytes, length, nullptr), 0);
    if (!bytes) return "(unread)";
    EXPECT_EQ(bytes[length], 0);
    const auto data = GetUnscrambledData(path);
    EXPECT_TRUE(data && std::string(data->begin(), data->end()) == Bytes(bytes, length)) << path;
    return Bytes(bytes, length);
}

TEST(Container, PayloadsReadBackWithTheTailAndEachWriteDrawsItsOwnTable) {
    TempDir dir;
    std::mt19937 rng(11);
    const std::pair<const char*, std::string> rows[] = {{"empty: a tail-only file", ""},
                                                        {"random with NULs", Random(rng, 5000) + std::string(3, '\0')}};
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

// Files of 429 bytes or fewer pass through; one byte more is one payload byte looked up in the
// table right behind it, which pins the reader without our writer.
TEST(CorruptInput, ShortFilesPassThroughAndDamagedStreamsNeverUnzip) {
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
    }
    // Cut streams never unzip; a broken check or size fails.
    const std::string gz = Zip(ShaderText());
    for (size_t cut = 0; cut < gz.size(); cut += (cut < 40 ? 1 : 7)) EXPECT_LT(Unzip(gz.substr(0, cut)), 0) << cut;
    std::string badCrc = gz, badSize = gz;
    badCrc[gz.size() - 8] ^= 0x01;
    badSize[gz.size() - 4] ^= 0x10;
    EXPECT_EQ(std::tuple(Unzip(badCrc), Unzip(badSize), Unzip(badCrc + std::string(429, 'x'))), std::tuple(-2, -2, -2));
}

// Ours is read by system gzip and theirs by ours, with a container's tail or a second member
// behind it ignored; text holding a NUL round-trips.
TEST(Gzip, OursAndSystemGzipReadEachOther) {
    TempDir dir;
    const std::string text = ShaderText();
    ASSERT_EQ(ZipBytesToFile(dir / "file.fs.gz", text.data(), text.size(), nullptr), 0);
    WriteWholeFile(dir / "core.fs", text);
    const auto shell =
        RunShell("cd " + Quoted(dir.path()) +
                 " && gzip -dc file.fs.gz > file.fs && gzip -k core.fs && echo more | gzip > other.txt.gz");
    ASSERT_EQ(shell.status, 0) << shell.output;
    EXPECT_EQ(ReadWholeFile(dir / "file.fs"), text);
    const std::string theirs = ReadWholeFile(dir / "core.fs.gz");
    const std::tuple<const char*, std::string, std::string> rows[] = {
        {"system gzip", theirs, text},
        {"a container tail behind", theirs + std::string(429, '\x5a'), text},
        {"a second member behind", theirs + ReadWholeFile(dir / "other.txt.gz"), text},
        {"ours, with a NUL", Zip(std::string("a\0b", 3)), std::string("a\0b", 3)}};
    for (const auto& [name, zipped, expected] : rows) {
        std::string got;
        EXPECT_EQ(Unzip(zipped, &got), 0) << name;
        EXPECT_EQ(got, expected) << name;
    }
}

// Every helper's failure: its code and text (the folder shown as @), the same code without a
// message buffer, outputs and old files left alone, a long path kept inside the buffer and no
// temporary left.
TEST(DataFile, FailuresGiveTheirCodesAndTextsAndLeaveOutputsAlone) {
    TempDir dir;
    std::filesystem::create_directory(dir / "folder");
    Buffer bytes(new uint8_t[1]{42});
    size_t length = 99;
    std::string text = "kept";
    const std::string absent = dir / "absent", folder = dir / "folder", longPath = dir / std::string(3000, 'x');
    // The size cap stands in for a full disk: a write small enough for the stream's buffer fails
    // at the flush, a larger one comes up short.
    WriteWholeFile(dir / "full.dat", "old contents");
    const auto fill = [&](size_t size, char* m) {
        FileSizeLimit cap(64);
        return WriteDataToFile(dir / "full.dat", std::string(size, 'z').data(), size, m);
    };
    const std::pair<const char*, std::function<int(char*)>> rows[] = {
        {"unscramble absent", [&](char* m) { return UnscrambleDataFromFile(absent, bytes, length, m); }},
        {"unscramble folder", [&](char* m) { return UnscrambleDataFromFile(folder, bytes, length, m); }},
        {"read bytes absent", [&](char* m) { return ReadBytesFromFile(absent, bytes, length, m); }},
        {"read bytes folder", [&](char* m) { return ReadBytesFromFile(folder, bytes, length, m); }},
        {"read bytes long path", [&](char* m) { return ReadBytesFromFile(longPath, bytes, length, m); }},
        {"read text absent", [&](char* m) { return ReadFile(absent, text, m); }},
        {"write into a missing folder", [&](char* m) { return WriteDataToFile(dir / "no/such/x", "a", 1, m); }},
        {"scramble over a folder", [&](char* m) { return ScrambleDataToFile(folder, "a", 1, m); }},
        {"write a full disk, flushing", [&](char* m) { return fill(1000, m); }},
        {"write a full disk, writing", [&](char* m) { return fill(1 << 20, m); }},
        {"zip into a missing folder", [&](char* m) { return ZipBytesToFile(dir / "missing/x.gz", "a", 1, m); }},
        {"unzip what is no gzip", [&](char* m) { return UnzipByteArray("void main() {}", 14, bytes, length, m); }},
        {"unzip nothing", [&](char* m) { return UnzipByteArray(nullptr, 0, bytes, length, m); }},
    };
    std::string out;
    for (const auto& [name, call] : rows) {
        SCOPED_TRACE(name);
        char message[kMessageBufferSize] = {};
        const int code = call(message);
        EXPECT_EQ(call(nullptr), code);
        EXPECT_LT(std::strlen(message), kMessageBufferSize);
        std::string said = message;
        for (size_t at; (at = said.find(dir.path())) != std::string::npos;) said.replace(at, dir.path().size(), "@");
        for (size_t at; (at = said.find('\n')) != std::string::npos;) said.replace(at, 1, "\\n");
        out += std::string(name) + ": " + std::to_string(code) + " " + said.substr(0, 60) + "\n";
    }
    EXPECT_TRUE(MatchesRef("datafile/failures.txt", out));
    EXPECT_EQ(std::tuple(length, bytes[0], text, ReadWholeFile(dir / "full.dat")),
              std::tuple(99u, 42, "kept", "old contents"));
    EXPECT_EQ(Listing(dir.path()).size(), 2u) << "no temporary should be left";
}

TEST(DataFile, PlainReadsKeepNulsTextStopsAtTheFirstAndWritesReplace) {
    TempDir dir;
    const std::string content("head\0middle\0tail", 16);
    WriteWholeFile(dir / "nul.bin", content);
    Buffer bytes;
    size_t length = 7;
    std::string text = "unchanged";
    ASSERT_EQ(ReadBytesFromFile(dir / "nul.bin", bytes, length, nullptr) + ReadFile(dir / "nul.bin", text, nullptr), 0);
    EXPECT_EQ(std::tuple(Bytes(bytes, length + 1), text), std::tuple(content + '\0', "head"));
    ASSERT_EQ(WriteDataToFile(dir / "nul.bin", "second!", 7, nullptr), 0);
    EXPECT_EQ(ReadWholeFile(dir / "nul.bin"), "second!");
    EXPECT_EQ(std::tuple(FileExists(dir / "nul.bin"), FileExists(dir / "absent"), FileExists("")),
              std::tuple(true, false, false));
}

TEST(Crc32, CheckValuesAgreeWithZlibAndChainThroughTheSeed) {
    EXPECT_EQ(std::tuple(crc32("123456789", 9), crc32(nullptr, 0)), std::tuple(0xCBF43926u, 0u));
    // The Castagnoli polynomial, reflected, has its own published check value.
    EXPECT_EQ(crc32WithSeedUsingPolynomial("123456789", 9, 0xFFFFFFFFu, 0x82F63B78u), 0xE3069283u);
    std::mt19937 rng(3);
    for (size_t size : {1u, 4096u, 100003u}) {
        const std::string data = Random(rng, size);
        const uint32_t ours = crc32(data.data(), size);
        EXPECT_EQ(ours, ::crc32(0L, reinterpret_cast<const Bytef*>(data.data()), static_cast<uInt>(size))) << size;
        // A running CRC carries on from the complement of the previous result.
        EXPECT_EQ(crc32WithSeed(data.data() + size / 2, size - size / 2, ~crc32(data.data(), size / 2)), ours) << size;
    }
}

// A resource is found under the data root; missing, or a folder where the file should be, is
// kNotFound naming the variable, and fatal where it is required. A missing container is logged,
// an unreadable one fatal.
TEST(ResourceDeathTest, FoundUnderTheDataRootOrExplainedWhenMissing) {
    TempDir root;
    ScopedDataRoot scoped(root.path());
    WriteWholeFile(root / "Resources/Shaders/core.fs", "scrambled");
    std::filesystem::create_directories(root / "Profiles/5D");
    std::string found;
    EXPECT_TRUE(FindResource("Resources/Shaders/core.fs", &found).ok());
    EXPECT_EQ(std::tuple(ResourcePath("Resources/Shaders/core.fs"), RequireResource("Resources/Shaders/core.fs")),
              std::tuple(found, root / "Resources/Shaders/core.fs"));
    EXPECT_EQ(FindResource("Profiles/5D", &found).code(), Status::Code::kNotFound);
    const Status missing = FindResource("Resources/Shaders/grain.fs", &found);
    EXPECT_NE(missing.message().find("OMBREL_DATA_DIR"), std::string::npos) << missing.message();
    EXPECT_DEATH(RequireResource("Resources/Exposure/table.dat"),
                 "Missing resource \"Resources/Exposure/table.dat\".*no readable file at " +
                     (root / "Resources/Exposure/table.dat"));
    LogCapture log;
    EXPECT_FALSE(GetUnscrambledData(root / "gone.tin").has_value());
    EXPECT_TRUE(log.Contains("Error: File doesn't exist at " + (root / "gone.tin")));
    EXPECT_DEATH(GetUnscrambledData(root / "Profiles"), "Failed to get unscramble at .*Profiles");
}

}  // namespace
}  // namespace ombrel
