#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "TiffDpxTestTools.h"
#include "render/tiff/FrameFile.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

using test::HiddenFiles;
using test::ReadWholeFile;
using test::TempDir;
using test::WriteWholeFile;

TEST(FrameFile, WritesWholeFilesAndReplacesOnlyWhenAllowed) {
    TempDir dir;
    const std::string path = dir / "A.000001.dpx";
    const std::string first(5000, 'a'), second(3000, 'b');
    std::string error;
    ASSERT_TRUE(WriteFrameFile(path, first.data(), first.size(), true, &error)) << error;
    EXPECT_EQ(ReadWholeFile(path), first);

    EXPECT_FALSE(WriteFrameFile(path, second.data(), second.size(), false, &error));
    EXPECT_NE(error.find(path), std::string::npos) << error;
    EXPECT_EQ(ReadWholeFile(path), first);

    ASSERT_TRUE(WriteFrameFile(path, second.data(), second.size(), true, &error)) << error;
    EXPECT_EQ(ReadWholeFile(path), second);
    EXPECT_TRUE(HiddenFiles(dir.path()).empty());

    const std::string wide = dir / "Ünïcødé_名前.dpx";
    ASSERT_TRUE(WriteFrameFile(wide, first.data(), first.size(), false, &error)) << error;
    EXPECT_EQ(ReadWholeFile(wide), first);
}

TEST(FrameFile, FailedWritesSayWhyAndLeaveNothingBehind) {
    TempDir dir;
    const std::string data(100000, 'x');
    std::string error;

    // A folder that is not there (or went away during a run).
    EXPECT_FALSE(WriteFrameFile(dir / "gone/A.000001.tiff", data.data(), data.size(), true, &error));
    EXPECT_NE(error.find("cannot create"), std::string::npos) << error;
    EXPECT_NE(error.find("gone/A.000001.tiff"), std::string::npos) << error;

    // A write that runs out of room part way: neither the name nor a temporary file remains,
    // and an earlier file of the same name keeps its bytes.
    const std::string path = dir / "A.000002.tiff";
    WriteWholeFile(path, "earlier");
    {
        test::FileSizeLimit limit(4096);
        EXPECT_FALSE(WriteFrameFile(path, data.data(), data.size(), true, &error));
    }
    EXPECT_NE(error.find("cannot write"), std::string::npos) << error;
    EXPECT_EQ(ReadWholeFile(path), "earlier");
    {
        test::FileSizeLimit limit(4096);
        EXPECT_FALSE(WriteFrameFile(dir / "A.000003.tiff", data.data(), data.size(), true, &error));
    }
    EXPECT_FALSE(std::filesystem::exists(dir / "A.000003.tiff"));
    EXPECT_TRUE(HiddenFiles(dir.path()).empty());

    std::filesystem::create_directory(dir / "locked");
    test::UnwritableFolder locked(dir / "locked");
    if (locked.works()) {
        EXPECT_FALSE(WriteFrameFile(dir / "locked/A.000001.tiff", data.data(), data.size(), true, &error));
        EXPECT_NE(error.find("cannot create"), std::string::npos) << error;
    }
}

}  // namespace
}  // namespace ombrel
