// The file rules' front of the compact TIFF writer: the same file as the writer itself, and
// a failure that is answered, with its reason, never logged on the caller's behalf.
#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

#include "core/Log.h"
#include "library/FileParser.h"
#include "library/FileParserHooks.h"
#include "render/DefaultRenderers.h"
#include "render/tiff/TiffFile.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

std::vector<uint16_t> Samples(int w, int h) {
    std::vector<uint16_t> s(static_cast<size_t>(w) * h * 3);
    for (size_t i = 0; i < s.size(); ++i) s[i] = static_cast<uint16_t>(i * 2654435761u >> 7);
    return s;
}

class CompactTiffFront : public ::testing::Test {
protected:
    void SetUp() override { RegisterDefaultRenderers(); }
    void TearDown() override { RegisterCompactTiffWriter(); }
    test::TempDir dir_;
};

TEST_F(CompactTiffFront, WritesTheCompactWritersFileAndLeavesTheSamplesAlone) {
    const auto samples = Samples(7, 5);
    const auto before = samples;
    ASSERT_EQ(writeCompactTiffRGB(7, 5, samples.data(), dir_ / "direct.tiff", 6), 0);
    std::string error;
    ASSERT_EQ(
        FileParser::Write16BitTiffOfWidthHeightFromBufferToPath(7, 5, samples.data(), dir_ / "front.tiff", &error), 0)
        << error;
    EXPECT_EQ(test::ReadWholeFile(dir_ / "front.tiff"), test::ReadWholeFile(dir_ / "direct.tiff"));
    EXPECT_EQ(test::ReadWholeFile(dir_ / "front.tiff").size(), 7u * 5 * 6 + 206);
    EXPECT_EQ(samples, before);
}

TEST_F(CompactTiffFront, AFileThatCannotBeMadeIsAnsweredWithItsReasonAndNotLogged) {
    const auto samples = Samples(4, 4);
    struct Row {
        const char* name;
        int width, height;
        const uint16_t* samples;
        std::string path;
        const char* reason;
    };
    const Row rows[] = {
        {"folder missing", 4, 4, samples.data(), dir_ / "no/such/folder/f.tiff", "No such file or directory"},
        {"wider than the file can say", 65536, 1, samples.data(), dir_ / "wide.tiff", "65535"},
        {"no samples", 4, 4, nullptr, dir_ / "empty.tiff", "no samples"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        LogCapture log;
        std::string error;
        EXPECT_EQ(FileParser::Write16BitTiffOfWidthHeightFromBufferToPath(row.width, row.height, row.samples, row.path,
                                                                          &error),
                  1);
        EXPECT_NE(error.find(row.path), std::string::npos) << error;
        EXPECT_NE(error.find(row.reason), std::string::npos) << error;
        EXPECT_FALSE(std::filesystem::exists(row.path));
        EXPECT_EQ(log.Lines(), std::vector<std::string>{}) << "the writer spoke for its caller";
    }
}

TEST_F(CompactTiffFront, WithoutAWriterNothingIsWritten) {
    SetCompactTiffWriter(nullptr);
    const auto samples = Samples(2, 2);
    std::string error;
    EXPECT_EQ(FileParser::Write16BitTiffOfWidthHeightFromBufferToPath(2, 2, samples.data(), dir_ / "f.tiff", &error),
              1);
    EXPECT_NE(error.find("no TIFF writer"), std::string::npos) << error;
    EXPECT_FALSE(std::filesystem::exists(dir_ / "f.tiff"));
}

}  // namespace
}  // namespace ombrel
