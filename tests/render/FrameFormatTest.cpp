// The frame-file formats on their own: every header field against reference dumps, the
// files through independent readers, size limits, packing, and the whole-file writer.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <vector>

#include "core/Log.h"
#include "library/FileParser.h"
#include "library/FileParserHooks.h"
#include "render/DefaultRenderers.h"
#include "render/FrameFile.h"
#include "render/dpx/DpxFile.h"
#include "render/tiff/TiffFile.h"
#include "support/FileFaults.h"
#include "support/FrameFiles.h"
#include "support/RefFile.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

using test::ReadWholeFile;
using test::TempDir;

// A read-back frame of samples that differ in both bytes, the extremes first and last.
std::vector<uint16_t> Pattern(int w, int h, bool rgba) {
    std::vector<uint16_t> s(static_cast<size_t>(w) * h * 4);
    const size_t used = static_cast<size_t>(w) * h * (rgba ? 4 : 3);
    for (size_t i = 0; i < used; ++i) s[i] = static_cast<uint16_t>(i * 40503u + 0x1234u);
    s.front() = 0xFFFF;
    s[used - 1] = 0;
    return s;
}

// The file a format makes of frame `frame` at `path`, as the sequence renderer puts it together.
std::string FileBytes(FrameFileFormat& format, const FrameClip& clip, int frame, const TimecodeValues& tc,
                      const std::string& path) {
    format.Begin(clip);
    auto pixels = Pattern(clip.width, clip.height, format.WantsRGBA());
    const size_t n = format.PackInPlace(reinterpret_cast<uint8_t*>(pixels.data()));
    const FrameFileParts parts = format.PartsForFile(frame, tc, path);
    std::string bytes(parts.head.begin(), parts.head.end());
    bytes.append(reinterpret_cast<const char*>(pixels.data()), n);
    bytes.append(parts.tail.begin(), parts.tail.end());
    return bytes;
}

FrameClip Clip(int w, int h) {
    FrameClip c;
    c.width = w;
    c.height = h;
    c.firstFrame = 86;
    c.framesInClip = 100;
    c.fps = 25.0f;
    c.startTimecode = {1, 2, 3, 4};
    c.created = std::chrono::system_clock::from_time_t(1299242096);  // 2011-03-04 12:34:56 UTC
    return c;
}

TEST(FrameFormat, EveryHeaderFieldMatchesItsReferenceDump) {
    test::ScopedEnv utc("TZ", "UTC");  // the creation date is local time
    ::tzset();
    struct Row {
        const char* ref;
        std::function<std::unique_ptr<FrameFileFormat>()> format;
        int w, h, frame;
        TimecodeValues tc;
        std::string path;
    };
    auto tiff = [] { return std::make_unique<TiffFormat>(); };
    auto dpx = [] { return std::make_unique<DpxFormat>(); };
    const Row rows[] = {
        {"tiff-7x5.txt", tiff, 7, 5, 86, {}, "/out/A.000086.tiff"},
        {"tiff-1x1.txt", tiff, 1, 1, 0, {}, "/out/A.000000.tiff"},  // 212 bytes, directory at 14
        {"dpx-5x3.txt", dpx, 5, 3, 1234, {23, 59, 59, 29}, "/out/S0002/A_clip.001234.dpx"},
        {"dpx-non-ascii.txt", dpx, 2, 2, 7, {0, 0, 1, 2}, "/out/Bühne_日本.000007.dpx"},    // dropped from the header
        {"dpx-long-name.txt", dpx, 2, 2, 7, {}, "/out/" + std::string(150, 'n') + ".dpx"},  // cut, terminated
    };
    for (const Row& r : rows) {
        auto format = r.format();
        const std::string bytes = FileBytes(*format, Clip(r.w, r.h), r.frame, r.tc, r.path);
        const std::string dump = bytes.starts_with("MM") ? test::DumpTiff(bytes) : test::DumpDpx(bytes);
        EXPECT_TRUE(test::MatchesRef(std::string("render/") + r.ref, dump)) << r.ref;
    }

    // The header as made for a clip, before any file's fields are set.
    DpxHeader header;
    std::memset(header.bytes, 0xAB, sizeof header.bytes);  // nothing of an old record survives
    DpxFile::InitHeaderWidthHeightFramesFPSFilenameTimecodeCreated(
        &header, 5, 3, 100, 25.0f, DpxFile::FirstFrameName(86), {1, 2, 3, 4}, Clip(5, 3).created);
    const std::string bytes(reinterpret_cast<const char*>(header.bytes), kDpxHeaderBytes);
    EXPECT_TRUE(test::MatchesRef("render/dpx-header-at-creation.txt", test::DumpDpx(bytes)));
}

// The reference dumps are read from the bytes by our own code: readers of other makers must
// agree on every sample and the fields they interpret.
TEST(FrameFormat, IndependentReadersSeeEverySampleAndTheFields) {
    TempDir dir;
    const FrameClip clip = Clip(40, 30);
    TiffFormat tiff;
    const std::string tiffPath = dir / "Bühne_日本_0001.tiff";
    test::WriteWholeFile(tiffPath, FileBytes(tiff, clip, 0, {}, tiffPath));
    test::TiffImage image;
    ASSERT_TRUE(test::ReadWithLibtiff(tiffPath, &image));
    EXPECT_EQ(std::vector<int>({image.photometric, image.planar, image.orientation, image.format}),
              std::vector<int>({PHOTOMETRIC_RGB, PLANARCONFIG_CONTIG, ORIENTATION_TOPLEFT, SAMPLEFORMAT_UINT}));
    auto want = Pattern(40, 30, false);
    want.resize(40 * 30 * 3);
    EXPECT_EQ(image.pixels, want);

    DpxFormat dpx;
    const std::string dpxPath = dir / "A001_C001.086413.dpx";
    test::WriteWholeFile(dpxPath, FileBytes(dpx, clip, 13, {10, 0, 0, 13}, dpxPath));
    const auto samples = test::ReadWithOiio(dpxPath, 40, 30);
    const auto rgba = Pattern(40, 30, true);
    ASSERT_EQ(samples.size(), 40u * 30u);
    for (size_t p = 0; p < samples.size(); ++p)
        for (size_t c = 0; c < 3; ++c) ASSERT_EQ(samples[p][c], rgba[4 * p + c] >> 6u) << "pixel " << p << " " << c;
    const auto out = test::RunShell("oiiotool --info -v " + test::Quoted(dpxPath));
    EXPECT_EQ(out.status, 0) << out.output;
    EXPECT_EQ(out.output.find("Warning"), std::string::npos) << out.output;
    for (const char* field : {"40 x   30, 3 channel, uint10 dpx", "dpx:FramePosition: 13", "dpx:SequenceLength: 100",
                              "dpx:TimeCode: \"10:00:00:13\"", "dpx:FrameRate: 24", "dpx:TemporalFrameRate: 25",
                              "dpx:SourceImageFileName: \"A001_C001.086413.dpx\"", "dpx:Packing: \"Filled, method A\""})
        EXPECT_NE(out.output.find(field), std::string::npos) << field << "\n" << out.output;
}

TEST(FrameFormat, SizesAFileCannotHoldAreRefusedNotWrapped) {
    const TiffFormat tiff;
    const DpxFormat dpx;
    struct Row {
        const char* name;
        const FrameFileFormat& format;
        int64_t w, h;
        const char* problem;  // a part of the message; empty when the size fits
    } rows[] = {
        {"tiff widest", tiff, 65535, 1, ""},
        {"tiff hd", tiff, 1920, 1080, ""},
        {"tiff too wide", tiff, 65536, 1, "65535"},
        {"tiff too tall", tiff, 1, 65536, "65535"},
        {"tiff offsets", tiff, 30000, 30000, "32-bit"},
        {"tiff empty", tiff, 0, 10, "at least 1"},
        {"tiff negative", tiff, 10, -1, "at least 1"},
        {"dpx wide", dpx, 65536, 2, ""},
        {"dpx size field", dpx, 40000, 40000, "32-bit"},
        {"dpx empty", dpx, 0, 1080, "at least 1"},
    };
    for (const Row& r : rows) {
        const std::string problem = r.format.SizeProblem(r.w, r.h);
        const std::string size = std::to_string(r.w) + " x " + std::to_string(r.h);
        EXPECT_EQ(problem.empty(), *r.problem == 0) << r.name << ": " << problem;
        EXPECT_TRUE(problem.empty() ||
                    (problem.find(r.problem) != std::string::npos && problem.find(size) != std::string::npos))
            << r.name << ": " << problem;
    }
    // The one-call writer refuses the same sizes, and any pixel size but 6, writing nothing.
    TempDir dir;
    const uint16_t sample[3] = {1, 2, 3};
    EXPECT_EQ(writeCompactTiffRGB(65536, 1, sample, dir / "wide.tiff", 6), 1);
    EXPECT_EQ(writeCompactTiffRGB(1, 1, sample, dir / "eight.tiff", 8), 1);
    EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
}

// The file rules' front of the compact TIFF writer: the same file as the writer itself, and
// a failure that is answered, with its reason, never logged on the caller's behalf.
class CompactTiffFront : public ::testing::Test {
protected:
    void SetUp() override { RegisterDefaultRenderers(); }
    void TearDown() override { RegisterCompactTiffWriter(); }
    TempDir dir_;
};

TEST_F(CompactTiffFront, WritesTheCompactWritersFileAndLeavesTheSamplesAlone) {
    const auto samples = Pattern(7, 5, false);
    auto copy = samples;
    std::string error;
    ASSERT_EQ(FileParser::Write16BitTiffOfWidthHeightFromBufferToPath(7, 5, copy.data(), dir_ / "front.tiff", &error),
              0)
        << error;
    EXPECT_EQ(copy, samples) << "the caller's samples stay in host order";
    TiffFormat format;
    EXPECT_EQ(ReadWholeFile(dir_ / "front.tiff"), FileBytes(format, Clip(7, 5), 0, {}, ""));
}

TEST_F(CompactTiffFront, AFileThatCannotBeMadeIsAnsweredWithItsReasonAndNotLogged) {
    const auto samples = Pattern(4, 4, false);
    struct Row {
        const char* name;
        const uint16_t* samples;
        std::string path;
        const char* reason;
    };
    const Row rows[] = {
        {"folder missing", samples.data(), dir_ / "no/such/folder/f.tiff", "No such file or directory"},
        {"no samples", nullptr, dir_ / "empty.tiff", "no samples"},
        {"no writer", samples.data(), dir_ / "f.tiff", "no TIFF writer"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        if (row.reason == std::string("no TIFF writer")) SetCompactTiffWriter(nullptr);
        LogCapture log;
        std::string error;
        EXPECT_EQ(FileParser::Write16BitTiffOfWidthHeightFromBufferToPath(4, 4, row.samples, row.path, &error), 1);
        EXPECT_TRUE(error.find(row.reason) != std::string::npos && !std::filesystem::exists(row.path)) << error;
        EXPECT_EQ(log.Lines(), std::vector<std::string>{}) << "the writer spoke for its caller";
    }
}

}  // namespace
}  // namespace ombrel
