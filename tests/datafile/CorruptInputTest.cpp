// Broken and hostile inputs: every reader answers with a code or the documented pass-through.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "datafile/DataFile.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

using test::TempDir;
using test::WriteWholeFile;

std::string Bytes(const std::unique_ptr<uint8_t[]>& p, size_t n) {
    return std::string(reinterpret_cast<const char*>(p.get()), n);
}

std::string Random(std::mt19937& rng, size_t n) {
    std::string s(n, '\0');
    for (auto& c : s) c = static_cast<char>(rng() & 0xFF);
    return s;
}

std::string Text() {
    std::string t;
    for (int i = 0; i < 60; ++i) t += "float grain" + std::to_string(i) + " = texture2DRect(grain, xy).r;\n";
    return t;
}

std::string Zip(const std::string& text) {
    std::unique_ptr<uint8_t[]> out;
    size_t length = 0;
    EXPECT_EQ(ZipBytesToArray(text.data(), text.size(), out, length, nullptr), 0);
    return Bytes(out, length);
}

// Unzip result; on success the text it gave.
int Unzip(const std::string& in, std::string* text = nullptr) {
    std::unique_ptr<uint8_t[]> out;
    size_t length = 0;
    char message[kMessageBufferSize] = {};
    int rc = UnzipByteArray(in.data(), in.size(), out, length, message);
    if (rc == 0 && text) *text = Bytes(out, length);
    if (rc != 0) { EXPECT_TRUE(std::string(message).rfind("Failed to", 0) == 0) << message; }
    return rc;
}

TEST(CorruptInput, ShortFilesPassThroughAndLongerOnesYieldSomePayload) {
    TempDir dir;
    std::mt19937 rng(17);
    for (size_t size = 0; size <= 430; ++size) {
        const std::string content = Random(rng, size);
        const std::string path = dir / ("c" + std::to_string(size));
        WriteWholeFile(path, content);

        char message[kMessageBufferSize] = {};
        std::unique_ptr<uint8_t[]> bytes;
        size_t length = 0;
        ASSERT_EQ(UnscrambleDataFromFile(path, bytes, length, message), 0) << size << " " << message;
        ASSERT_EQ(length, size);
        const std::string got = Bytes(bytes, length);
        if (size < 430) {
            EXPECT_EQ(got, content) << size;
        } else {
            // One payload byte, looked up in the table that starts right behind it.
            EXPECT_EQ(static_cast<uint8_t>(got[0]),
                      static_cast<uint8_t>(content[1 + static_cast<uint8_t>(content[0])]));
            EXPECT_EQ(got.substr(1), content.substr(1));
        }
        auto data = GetUnscrambledData(path);
        ASSERT_TRUE(data.has_value());
        EXPECT_EQ(std::string(data->begin(), data->end()), got);

        EXPECT_LT(Unzip(got), 0) << size;
        ASSERT_EQ(ReadBytesFromFile(path, bytes, length, message), 0);
        EXPECT_EQ(Bytes(bytes, length), content);
    }
}

TEST(CorruptInput, TruncatedContainersAndStreamsNeverUnzip) {
    TempDir dir;
    const std::string text = Text();
    const std::string gz = Zip(text);
    ASSERT_FALSE(gz.empty());
    char message[kMessageBufferSize] = {};
    ASSERT_EQ(ScrambleDataToFile(dir / "full", gz.data(), gz.size(), message), 0) << message;
    const std::string container = test::ReadWholeFile(dir / "full");

    for (size_t cut = 0; cut < container.size(); cut += (cut < 40 ? 1 : 7)) {
        WriteWholeFile(dir / "cut", container.substr(0, cut));
        std::unique_ptr<uint8_t[]> bytes;
        size_t length = 0;
        ASSERT_EQ(UnscrambleDataFromFile(dir / "cut", bytes, length, message), 0) << cut;
        EXPECT_LT(Unzip(Bytes(bytes, length)), 0) << "container cut at " << cut;
    }
    for (size_t cut = 0; cut < gz.size(); ++cut) EXPECT_LT(Unzip(gz.substr(0, cut)), 0) << "stream cut at " << cut;
}

TEST(CorruptInput, BrokenChecksOrFlippedBitsFailOrStillGiveTheText) {
    const std::string text = Text();
    const std::string gz = Zip(text);
    ASSERT_GE(gz.size(), 18u);

    std::string badCrc = gz;
    badCrc[gz.size() - 8] ^= 0x01;
    EXPECT_EQ(Unzip(badCrc), -2);
    std::string badSize = gz;
    badSize[gz.size() - 4] ^= 0x10;
    EXPECT_EQ(Unzip(badSize), -2);
    EXPECT_EQ(Unzip(badCrc + std::string(429, 'x')), -2);

    // Flags, time and system fields may change without harm; anything else must be caught.
    for (size_t at = 0; at < gz.size(); ++at) {
        for (int bit : {0, 3, 7}) {
            std::string flipped = gz;
            flipped[at] = static_cast<char>(flipped[at] ^ (1 << bit));
            std::string got;
            int rc = Unzip(flipped + std::string(429, '\x5a'), &got);
            if (rc == 0) {
                EXPECT_EQ(got, text) << "byte " << at << " bit " << bit;
            } else {
                EXPECT_TRUE(rc == -2 || rc == -3) << rc;
            }
        }
    }
}

TEST(CorruptInput, RandomBytesBehindAGzipHeaderAreRefused) {
    std::mt19937 rng(23);
    for (int round = 0; round < 200; ++round) {
        const size_t size = 1 + rng() % 20000;
        std::string stream = std::string("\x1f\x8b\x08\x00\x00\x00\x00\x00\x00\x03", 10) + Random(rng, size);
        EXPECT_LT(Unzip(stream), 0) << round;
        EXPECT_LT(Unzip(Random(rng, size)), 0) << round;
    }
}

}  // namespace
}  // namespace ombrel
