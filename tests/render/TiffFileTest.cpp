#include "render/tiff/TiffFile.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

#include "TiffDpxTestTools.h"
#include "render/tiff/FrameFile.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

using test::BigEndian16;
using test::BigEndian32;
using test::Quoted;
using test::ReadWholeFile;
using test::ReadWithLibtiff;
using test::RunCommand;
using test::TempDir;
using test::TiffImage;

// Samples that differ in both bytes, with the extremes in the first and last pixel.
std::vector<uint16_t> Pattern(int w, int h, int channels) {
    std::vector<uint16_t> s(static_cast<size_t>(w) * h * channels);
    for (size_t i = 0; i < s.size(); ++i) s[i] = static_cast<uint16_t>(i * 40503u + 0x1234u);
    s.front() = 0;
    s.back() = 0xFFFF;
    return s;
}

TEST(TiffFile, EveryHeaderAndDirectoryFieldStandsAtItsOffset) {
    TempDir dir;
    const int w = 7, h = 5;
    const uint32_t n = w * h * 6;
    const auto samples = Pattern(w, h, 3);
    ASSERT_EQ(writeCompactTiffRGB(w, h, samples.data(), dir / "f.tiff", 6), 0);
    const std::string file = ReadWholeFile(dir / "f.tiff");
    ASSERT_EQ(file.size(), n + 206);

    struct Field {
        size_t offset;
        int width;
        uint32_t value;
    };
    const Field header[] = {
        {0, 2, 0x4D4D},      {2, 2, 42},          {4, 4, n + 8},       {n + 8, 2, 14},
        {n + 178, 4, 0},     {n + 182, 2, 16},    {n + 184, 2, 16},    {n + 186, 2, 16},  // BitsPerSample
        {n + 188, 2, 0},     {n + 190, 2, 0},     {n + 192, 2, 0},                        // MinSampleValue
        {n + 194, 2, 65535}, {n + 196, 2, 65535}, {n + 198, 2, 65535},                    // MaxSampleValue
        {n + 200, 2, 1},     {n + 202, 2, 1},     {n + 204, 2, 1},                        // SampleFormat
    };
    for (const auto& f : header) {
        const uint32_t got = f.width == 2 ? BigEndian16(file, f.offset) : BigEndian32(file, f.offset);
        EXPECT_EQ(got, f.value) << "at offset " << f.offset;
    }

    struct Entry {
        uint16_t tag, type;
        uint32_t count, value;
    };
    const Entry entries[] = {
        {0x0100, 3, 1, w}, {0x0101, 3, 1, h},       {0x0102, 3, 3, n + 182}, {0x0103, 3, 1, 1},
        {0x0106, 3, 1, 2}, {0x0111, 4, 1, 8},       {0x0112, 3, 1, 1},       {0x0115, 3, 1, 3},
        {0x0116, 3, 1, h}, {0x0117, 4, 1, n},       {0x0118, 3, 3, n + 188}, {0x0119, 3, 3, n + 194},
        {0x011C, 3, 1, 1}, {0x0153, 3, 3, n + 200},
    };
    for (size_t i = 0; i < std::size(entries); ++i) {
        const size_t at = n + 10 + 12 * i;
        const Entry& e = entries[i];
        EXPECT_EQ(BigEndian16(file, at), e.tag) << "entry " << i;
        EXPECT_EQ(BigEndian16(file, at + 2), e.type) << "entry " << i;
        EXPECT_EQ(BigEndian32(file, at + 4), e.count) << "entry " << i;
        if (e.type == 3 && e.count == 1) {
            EXPECT_EQ(BigEndian16(file, at + 8), e.value) << "entry " << i;
            EXPECT_EQ(BigEndian16(file, at + 10), 0) << "entry " << i;
        } else {
            EXPECT_EQ(BigEndian32(file, at + 8), e.value) << "entry " << i;
        }
    }
    // Pixels row by row from the top, big-endian.
    for (size_t i = 0; i < samples.size(); ++i) ASSERT_EQ(BigEndian16(file, 8 + 2 * i), samples[i]) << i;

    ASSERT_EQ(writeCompactTiffRGB(1, 1, samples.data(), dir / "one.tiff", 6), 0);
    const std::string one = ReadWholeFile(dir / "one.tiff");
    EXPECT_EQ(one.size(), 212u);
    EXPECT_EQ(BigEndian32(one, 4), 14u);
    EXPECT_EQ(BigEndian16(one, 14), 14);
}

TEST(TiffFile, LibtiffReadsBackEverySampleAlsoUnderANonAsciiName) {
    TempDir dir;
    const int w = 67, h = 33;
    const auto samples = Pattern(w, h, 3);
    const auto before = samples;
    for (const std::string name : {"plain.tiff", "Bühne_日本_0001.tiff"}) {
        const std::string path = dir / name;
        ASSERT_EQ(writeCompactTiffRGB(w, h, samples.data(), path, 6), 0) << name;
        TiffImage image;
        ASSERT_TRUE(ReadWithLibtiff(path, &image)) << name;
        EXPECT_EQ(image.width, 67u);
        EXPECT_EQ(image.height, 33u);
        EXPECT_EQ(image.photometric, PHOTOMETRIC_RGB);
        EXPECT_EQ(image.planar, PLANARCONFIG_CONTIG);
        EXPECT_EQ(image.orientation, ORIENTATION_TOPLEFT);
        EXPECT_EQ(image.format, SAMPLEFORMAT_UINT);
        EXPECT_EQ(image.pixels, samples) << name;
    }
    // The caller's host-order samples are not swapped away.
    EXPECT_EQ(samples, before);
}

TEST(TiffFile, TiffinfoAndOiiotoolSeeSixteenBitRgb) {
    TempDir dir;
    const auto samples = Pattern(40, 30, 3);
    const std::string path = dir / "A001_C001.086412.tiff";
    ASSERT_EQ(writeCompactTiffRGB(40, 30, samples.data(), path, 6), 0);

    const auto info = RunCommand("tiffinfo " + Quoted(path));
    EXPECT_EQ(info.status, 0) << info.output;
    EXPECT_NE(info.output.find("Image Width: 40 Image Length: 30"), std::string::npos) << info.output;
    EXPECT_NE(info.output.find("Bits/Sample: 16"), std::string::npos) << info.output;
    EXPECT_NE(info.output.find("Samples/Pixel: 3"), std::string::npos) << info.output;
    EXPECT_NE(info.output.find("Photometric Interpretation: RGB color"), std::string::npos) << info.output;
    EXPECT_NE(info.output.find("Compression Scheme: None"), std::string::npos) << info.output;
    EXPECT_EQ(info.output.find("Warning"), std::string::npos) << info.output;

    const auto oiio = RunCommand("oiiotool --info -v " + Quoted(path));
    EXPECT_EQ(oiio.status, 0) << oiio.output;
    EXPECT_NE(oiio.output.find("40 x   30, 3 channel, uint16 tiff"), std::string::npos) << oiio.output;
    EXPECT_NE(oiio.output.find("channel list: R, G, B"), std::string::npos) << oiio.output;
}

TEST(TiffFile, SizesTheEntriesCannotHoldAreRefusedNotWrapped) {
    TempDir dir;
    EXPECT_EQ(TiffSizeProblem(65535, 1), "");
    EXPECT_EQ(TiffSizeProblem(1920, 1080), "");
    for (auto [w, h] : {std::pair{65536, 1}, {1, 65536}, {70000, 70000}}) {
        const std::string problem = TiffSizeProblem(w, h);
        EXPECT_NE(problem.find("65535"), std::string::npos) << w << "x" << h << ": " << problem;
    }
    EXPECT_NE(TiffSizeProblem(30000, 30000).find("32-bit"), std::string::npos);
    EXPECT_NE(TiffSizeProblem(0, 10), "");
    EXPECT_NE(TiffSizeProblem(10, -1), "");

    TiffFrameFile file;
    std::string error;
    EXPECT_FALSE(file.Reset(65536, 2, &error));
    EXPECT_NE(error.find("65536 x 2"), std::string::npos) << error;

    const uint16_t sample[3] = {1, 2, 3};
    EXPECT_EQ(writeCompactTiffRGB(65536, 1, sample, dir / "wide.tiff", 6), 1);
    EXPECT_EQ(writeCompactTiffRGB(1, 1, sample, dir / "eight.tiff", 8), 1);
    EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
}

TEST(TiffFile, HexDigitHelpersSpellTheFixedFields) {
    EXPECT_EQ(htoi("1A"), 0x1Au);
    EXPECT_EQ(htoi(" \t ff"), 0xFFu);
    EXPECT_EQ(htoi("0112zz"), 0x112u);
    EXPECT_EQ(htoi(""), 0u);
    uint8_t bytes[12] = {};
    uint8_t* out = bytes;
    WriteHexTag(out, "011200030000000100010000");
    EXPECT_EQ(out - bytes, 12);
    const uint8_t want[12] = {0x01, 0x12, 0x00, 0x03, 0, 0, 0, 1, 0, 1, 0, 0};
    EXPECT_TRUE(std::equal(bytes, bytes + 12, want));
    out = bytes;
    Write32(out, 0xA1B2C3D4u);
    Write16(out, 0xE5F6);
    const uint8_t numbers[6] = {0xA1, 0xB2, 0xC3, 0xD4, 0xE5, 0xF6};
    EXPECT_TRUE(std::equal(bytes, bytes + 6, numbers));
}

}  // namespace
}  // namespace ombrel
