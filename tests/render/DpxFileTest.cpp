#include "render/dpx/DpxFile.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <regex>
#include <vector>

#include "TiffDpxTestTools.h"
#include "render/tiff/FrameFile.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

using test::LittleEndian16;
using test::LittleEndian32;
using test::Quoted;
using test::ReadWholeFile;
using test::RunCommand;
using test::TempDir;

std::string HeaderBytes(const DpxHeader& h) {
    return std::string(reinterpret_cast<const char*>(h.bytes), kDpxHeaderBytes);
}

// Runs a test body with the local time zone set to UTC, so the creation date is known.
class UtcZone {
public:
    UtcZone() {
        const char* tz = std::getenv("TZ");
        had_ = tz != nullptr;
        if (had_) old_ = tz;
        ::setenv("TZ", "UTC", 1);
        ::tzset();
    }
    ~UtcZone() {
        if (had_)
            ::setenv("TZ", old_.c_str(), 1);
        else
            ::unsetenv("TZ");
        ::tzset();
    }

private:
    bool had_ = false;
    std::string old_;
};

std::chrono::system_clock::time_point March4th2011() {
    return std::chrono::system_clock::from_time_t(1299242096);  // 2011-03-04 12:34:56 UTC
}

std::string Field(const std::string& text, size_t width) {
    std::string f = text;
    f.resize(width, '\0');
    return f;
}

TEST(DpxFile, EveryHeaderFieldStandsAtItsOffset) {
    UtcZone utc;
    DpxHeader header;
    std::memset(header.bytes, 0xAB, sizeof header.bytes);  // nothing of an old record survives
    DpxFile::InitHeaderWidthHeightFramesFPSFilenameTimecodeCreated(
        &header, 5, 3, 100, 25.0f, DpxFile::FirstFrameName(86), {1, 2, 3, 4}, March4th2011());
    const std::string h = HeaderBytes(header);
    const std::string stem = "10bit_planar_000086";

    enum Kind { U8, U16, U32, F32 };
    struct Number {
        size_t offset;
        Kind kind;
        double value;
    };
    const Number numbers[] = {
        {4, U32, 2080},
        {16, U32, 5 * 3 * 4 + 2080},
        {20, U32, 0},
        {24, U32, 1664},
        {28, U32, 256},
        {32, U32, 0xFFFFFFFF},
        {660, U32, 0xFFFFFFFF},
        {768, U16, 0},
        {770, U16, 1},
        {772, U32, 5},
        {776, U32, 3},
        {780, U32, 0},
        {784, U32, 0},
        {788, F32, 0.0},
        {792, U32, 1023},
        {796, F32, 1023.0},
        {800, U8, 50},
        {801, U8, 3},
        {802, U8, 1},
        {803, U8, 10},
        {804, U16, 1},
        {806, U16, 0},
        {808, U32, 2080},
        {812, U32, 0},
        {816, U32, 0},
        {1408, U32, 0},
        {1412, U32, 0},
        {1416, U32, 0},
        {1420, U32, 0},
        {1424, U32, 5},
        {1428, U32, 3},
        {1620, U32, 0},
        {1624, U32, 0},
        {1628, U32, 5},
        {1632, U32, 3},
        {1712, U32, 0},
        {1716, U32, 100},
        {1720, U32, 1},
        {1724, F32, 24.0},
        {1728, F32, 35.0},
        {1920, U32, 0x01020304},
        {1940, F32, 25.0},
    };
    for (const auto& n : numbers) {
        double got = 0;
        switch (n.kind) {
            case U8: got = static_cast<uint8_t>(h[n.offset]); break;
            case U16: got = LittleEndian16(h, n.offset); break;
            case U32: got = LittleEndian32(h, n.offset); break;
            case F32: got = std::bit_cast<float>(LittleEndian32(h, n.offset)); break;
        }
        EXPECT_EQ(got, n.value) << "at offset " << n.offset;
    }

    struct Text {
        size_t offset, width;
        std::string value;
    };
    const Text texts[] = {
        {0, 4, "XPDS"},
        {8, 8, "V2.0"},
        {36, 100, "10bit_planar_000086.DPX"},
        {136, 24, "2011-03-04 12:34:56 +000"},  // the date text cut to 24 characters, unterminated
        {160, 100, stem},
        {260, 200, stem},
        {460, 200, "Copyright..."},
        {1432, 100, stem},
        {1556, 32, stem},
        {1588, 32, "xxxxxxxx 32"},
        {1664, 16, "IDTTOOPPPPPPCCCC"},
        {1680, 32, "Ombrel"},
        {1732, 32, "Ombrel"},
        {1764, 100, stem},
    };
    for (const auto& t : texts) EXPECT_EQ(h.substr(t.offset, t.width), Field(t.value, t.width)) << "at " << t.offset;

    // Every byte that no row names is zero.
    std::vector<bool> named(kDpxHeaderBytes, false);
    for (const auto& n : numbers) {
        const size_t width = n.kind == U8 ? 1 : n.kind == U16 ? 2 : 4;
        for (size_t i = 0; i < width; ++i) named[n.offset + i] = true;
    }
    for (const auto& t : texts)
        for (size_t i = 0; i < t.width; ++i) named[t.offset + i] = true;
    for (size_t i = 0; i < kDpxHeaderBytes; ++i) {
        if (!named[i]) { EXPECT_EQ(h[i], '\0') << "stray byte at " << i; }
    }
}

TEST(DpxFile, PerFrameFieldsAreClearedWholeBeforeTheyAreWritten) {
    DpxHeader header;
    DpxFile::InitHeaderWidthHeightFramesFPSFilenameTimecodeCreated(&header, 4, 4, 10, 24.0f, DpxFile::FirstFrameName(0),
                                                                   {}, March4th2011());
    const std::string before = HeaderBytes(header);

    DpxFile::UpdateHeaderWithTimecodeForFramePath(&header, {23, 59, 59, 29}, 1234,
                                                  "/out/S0002/A_very_long_clip_name_for_a_test.001234.dpx");
    std::string h = HeaderBytes(header);
    EXPECT_EQ(h.substr(1432, 100), Field("A_very_long_clip_name_for_a_test.001234.dpx", 100));
    EXPECT_EQ(LittleEndian32(h, 1712), 1234u);
    EXPECT_EQ(LittleEndian32(h, 1920), 0x23595929u);

    DpxFile::UpdateHeaderWithTimecodeForFramePath(&header, {0, 0, 1, 2}, 7, "/out/B.7.dpx");
    h = HeaderBytes(header);
    EXPECT_EQ(h.substr(1432, 100), Field("B.7.dpx", 100));
    EXPECT_EQ(LittleEndian32(h, 1712), 7u);
    EXPECT_EQ(LittleEndian32(h, 1920), 0x00000102u);
    // Nothing outside the three fields moved.
    for (size_t i = 0; i < kDpxHeaderBytes; ++i) {
        const bool perFrame = (i >= 1432 && i < 1532) || (i >= 1712 && i < 1716) || (i >= 1920 && i < 1924);
        if (!perFrame) { ASSERT_EQ(h[i], before[i]) << "offset " << i; }
    }

    // Characters outside ASCII are dropped; a long name is cut and stays terminated.
    DpxFile::UpdateHeaderWithTimecodeForFramePath(&header, {}, 0, "/out/Bühne_日本.000001.dpx");
    EXPECT_EQ(HeaderBytes(header).substr(1432, 100), Field("Bhne_.000001.dpx", 100));
    DpxFile::UpdateHeaderWithTimecodeForFramePath(&header, {}, 0, "/out/" + std::string(150, 'n') + ".dpx");
    EXPECT_EQ(HeaderBytes(header).substr(1432, 100), Field(std::string(99, 'n'), 100));

    EXPECT_EQ(DpxFile::TimecodeBits({1, 2, 3, 4}), 0x01020304u);
    EXPECT_EQ(DpxFile::EndianSwap32(0x11223344u), 0x44332211u);
    EXPECT_EQ(DpxFile::EndianSwap16(0x1122), 0x2211);
}

TEST(DpxFile, SamplesPackToTheirTopTenBitsInLittleEndianWords) {
    struct Case {
        uint16_t r, g, b, a;
        uint32_t word;
    };
    const Case cases[] = {
        {0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFFFFFCu},
        {0, 0, 0, 0xFFFF, 0},  // alpha is dropped
        {0xFFFF, 0, 0, 0, 0xFFC00000u},
        {0, 0xFFFF, 0, 0, 0x003FF000u},
        {0, 0, 0xFFFF, 0, 0x00000FFCu},
        {0x003F, 0x003F, 0x003F, 0, 0},  // below one 10-bit step
        {0x8040, 0x4000, 0x0040, 0x1234, (0x201u << 22) | (0x100u << 12) | (0x001u << 2)},
    };
    std::vector<uint16_t> rgba;
    for (const auto& c : cases) rgba.insert(rgba.end(), {c.r, c.g, c.b, c.a});
    std::vector<uint8_t> packed(std::size(cases) * 4);
    ConvertBufferTo10Bit(rgba.data(), std::size(cases), packed.data());
    const std::string bytes(packed.begin(), packed.end());
    for (size_t i = 0; i < std::size(cases); ++i) EXPECT_EQ(LittleEndian32(bytes, 4 * i), cases[i].word) << i;

    // In place, from the front of the same buffer, gives the same words.
    ConvertBufferTo10Bit(rgba.data(), std::size(cases), rgba.data());
    EXPECT_EQ(std::memcmp(rgba.data(), packed.data(), packed.size()), 0);

    DpxFrameFile file;
    DpxHeader header{};
    ASSERT_TRUE(file.Reset(header, 1920, 1080));
    EXPECT_EQ(file.size(), 8296480u);
    std::string error;
    EXPECT_FALSE(file.Reset(header, 40000, 40000, &error));
    EXPECT_NE(error.find("40000 x 40000"), std::string::npos) << error;
    EXPECT_NE(DpxFile::SizeProblem(0, 1080), "");
}

// The readers of OpenImageIO see the size, depth, channel order, header fields and every sample.
TEST(DpxFile, OiiotoolReadsHeaderFieldsAndEverySample) {
    TempDir dir;
    const int w = 6, h = 4;
    std::vector<uint16_t> rgba(w * h * 4);
    for (size_t i = 0; i < rgba.size(); ++i) rgba[i] = static_cast<uint16_t>(i * 2731u + 17u);
    rgba[0] = 0xFFFF;

    DpxHeader header;
    DpxFile::InitHeaderWidthHeightFramesFPSFilenameTimecodeCreated(
        &header, w, h, 48, 25.0f, DpxFile::FirstFrameName(12), {10, 0, 0, 0}, std::chrono::system_clock::now());
    DpxFrameFile file;
    ASSERT_TRUE(file.Reset(header, w, h));
    file.SetPixels(rgba.data());
    const std::string path = dir / "A001_C001.086413.dpx";
    DpxFile::UpdateHeaderWithTimecodeForFramePath(file.header(), {10, 0, 0, 13}, 13, path);
    std::string error;
    ASSERT_TRUE(WriteFrameFile(path, file.data(), file.size(), true, &error)) << error;
    EXPECT_EQ(ReadWholeFile(path).size(), kDpxHeaderBytes + w * h * 4);

    const auto info = RunCommand("oiiotool --info -v " + Quoted(path));
    EXPECT_EQ(info.status, 0) << info.output;
    for (const char* want : {"6 x    4, 3 channel, uint10 dpx", "channel list: R, G, B", "dpx:FramePosition: 13",
                             "dpx:SequenceLength: 48", "dpx:TimeCode: \"10:00:00:13\"", "dpx:FrameRate: 24",
                             "dpx:TemporalFrameRate: 25", "dpx:SourceImageFileName: \"A001_C001.086413.dpx\"",
                             "dpx:Packing: \"Filled, method A\"", "dpx:ImageDescriptor: \"RGB\"", "Copyright..."})
        EXPECT_NE(info.output.find(want), std::string::npos) << want << "\n" << info.output;

    const auto dump = RunCommand("oiiotool --dumpdata " + Quoted(path));
    EXPECT_EQ(dump.status, 0) << dump.output;
    const std::regex pixel(R"(Pixel \((\d+), (\d+)\): \d+ \d+ \d+ \(([0-9.e-]+) ([0-9.e-]+) ([0-9.e-]+)\))");
    int seen = 0;
    for (auto it = std::sregex_iterator(dump.output.begin(), dump.output.end(), pixel); it != std::sregex_iterator();
         ++it, ++seen) {
        const int x = std::stoi((*it)[1]), y = std::stoi((*it)[2]);
        for (int c = 0; c < 3; ++c) {
            const long got = std::lround(std::stod((*it)[3 + c]) * 1023.0);
            EXPECT_EQ(got, rgba[(y * w + x) * 4 + c] >> 6) << "pixel " << x << "," << y << " channel " << c;
        }
    }
    EXPECT_EQ(seen, w * h) << dump.output;
}

}  // namespace
}  // namespace ombrel
