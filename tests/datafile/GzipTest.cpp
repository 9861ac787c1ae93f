#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <string>

#include "datafile/DataFile.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

using test::ReadWholeFile;
using test::TempDir;
using test::WriteWholeFile;

std::string Bytes(const std::unique_ptr<uint8_t[]>& p, size_t n) {
    return std::string(reinterpret_cast<const char*>(p.get()), n);
}

std::string ShaderText() {
    std::string text = "uniform sampler2DRect frame;\nuniform sampler3D stock;\n";
    for (int i = 0; i < 200; ++i)
        text += "vec3 step" + std::to_string(i) + "(vec3 c) { return c * " + std::to_string(i % 7) + ".0; }\n";
    return text + "void main() { gl_FragColor = vec4(1.0); }\n";
}

std::string Tail(unsigned seed) {
    std::mt19937 rng(seed);
    std::string tail(429, '\0');
    for (auto& c : tail) c = static_cast<char>(rng() & 0xFF);
    return tail;
}

int Shell(const std::string& command) { return std::system((command + " 2>&1").c_str()); }

TEST(Gzip, OursIsReadBySystemGzipAndCarriesTheDeflateHeader) {
    TempDir dir;
    const std::string text = ShaderText();
    char message[kMessageBufferSize] = {};
    std::unique_ptr<uint8_t[]> zipped;
    size_t zippedLength = 0;
    ASSERT_EQ(ZipBytesToArray(text.data(), text.size(), zipped, zippedLength, message), 0) << message;
    const std::string gz = Bytes(zipped, zippedLength);
    ASSERT_GE(gz.size(), 18u);
    EXPECT_EQ(gz.substr(0, 3), std::string("\x1f\x8b\x08", 3));
    EXPECT_LT(gz.size(), text.size() / 4) << "deflate should shrink repetitive text";

    WriteWholeFile(dir / "array.fs.gz", gz);
    ASSERT_EQ(Shell("gzip -t '" + (dir / "array.fs.gz") + "'"), 0);
    ASSERT_EQ(Shell("gzip -d '" + (dir / "array.fs.gz") + "'"), 0);
    EXPECT_EQ(ReadWholeFile(dir / "array.fs"), text);

    ASSERT_EQ(ZipBytesToFile(dir / "file.fs.gz", text.data(), text.size(), message), 0) << message;
    ASSERT_EQ(Shell("gzip -dc '" + (dir / "file.fs.gz") + "' > '" + (dir / "file.fs") + "'"), 0);
    EXPECT_EQ(ReadWholeFile(dir / "file.fs"), text);

    EXPECT_EQ(ZipBytesToFile(dir / "missing/x.gz", text.data(), text.size(), message), -3);
    EXPECT_EQ(std::string(message),
              "Could not open file " + (dir / "missing/x.gz") + "\n[" + std::to_string(ENOENT) + "]");
}

TEST(Gzip, SystemGzipStreamUnzipsWithAndWithoutTheContainerTail) {
    TempDir dir;
    const std::string text = ShaderText();
    WriteWholeFile(dir / "core.fs", text);
    ASSERT_EQ(Shell("gzip -6 -k '" + (dir / "core.fs") + "'"), 0);
    const std::string gz = ReadWholeFile(dir / "core.fs.gz");
    ASSERT_FALSE(gz.empty());

    for (const std::string& stream : {gz, gz + Tail(1), gz + std::string(429, '\0')}) {
        char message[kMessageBufferSize] = {};
        std::unique_ptr<uint8_t[]> out;
        size_t length = 0;
        ASSERT_EQ(UnzipByteArray(stream.data(), stream.size(), out, length, message), 0) << message;
        EXPECT_EQ(Bytes(out, length), text);
        EXPECT_EQ(out[length], 0);
    }

    // Only the first member counts: a second one behind it is ignored like the tail.
    WriteWholeFile(dir / "other.txt", "a second member");
    ASSERT_EQ(Shell("gzip -6 '" + (dir / "other.txt") + "'"), 0);
    const std::string two = gz + ReadWholeFile(dir / "other.txt.gz");
    char message[kMessageBufferSize] = {};
    std::unique_ptr<uint8_t[]> out;
    size_t length = 0;
    ASSERT_EQ(UnzipByteArray(two.data(), two.size(), out, length, message), 0) << message;
    EXPECT_EQ(Bytes(out, length), text);
}

TEST(Gzip, ShaderSourceRoadThroughTheContainerLeavesNoTailInTheText) {
    TempDir dir;
    for (const std::string& text : {ShaderText(), std::string(), std::string("a\0b", 3)}) {
        char message[kMessageBufferSize] = {};
        std::unique_ptr<uint8_t[]> zipped;
        size_t zippedLength = 0;
        ASSERT_EQ(ZipBytesToArray(text.data(), text.size(), zipped, zippedLength, message), 0) << message;
        ASSERT_EQ(ScrambleDataToFile(dir / "core.fs", zipped.get(), zippedLength, message), 0) << message;

        std::unique_ptr<uint8_t[]> container;
        size_t containerLength = 0;
        ASSERT_EQ(UnscrambleDataFromFile(dir / "core.fs", container, containerLength, message), 0) << message;
        ASSERT_EQ(containerLength, zippedLength + 429);

        std::unique_ptr<uint8_t[]> source;
        size_t sourceLength = 0;
        ASSERT_EQ(UnzipByteArray(container.get(), containerLength, source, sourceLength, message), 0) << message;
        EXPECT_EQ(Bytes(source, sourceLength), text);
        EXPECT_EQ(source[sourceLength], 0);
    }
}

TEST(Gzip, DataThatIsNotGzipGivesMinusTwoAndLeavesOutputsAlone) {
    char message[kMessageBufferSize] = {};
    std::unique_ptr<uint8_t[]> out(new uint8_t[1]{7});
    size_t length = 123;
    const std::string plain = "void main() {}\n";
    EXPECT_EQ(UnzipByteArray(plain.data(), plain.size(), out, length, message), -2);
    EXPECT_EQ(std::string(message), "Failed to load zipped data\n");
    EXPECT_EQ(length, 123u);
    EXPECT_EQ(out[0], 7);

    message[0] = 0;
    EXPECT_EQ(UnzipByteArray(nullptr, 0, out, length, message), -2);
    EXPECT_EQ(std::string(message), "Failed to load zipped data\n");
    EXPECT_EQ(UnzipByteArray(plain.data(), plain.size(), out, length, nullptr), -2);
}

}  // namespace
}  // namespace ombrel
