// One output folder, one writer: two clips of one name in a run do not share a folder, and a
// render refuses frames that another render is writing into the same folder.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "CliSupport.h"
#include "core/FolderLock.h"

namespace ombrel {
namespace {

using namespace clitest;

TEST(OutputFolder, TwoClipsOfOneNameFromTwoCardsNeverShareAFolder) {
    test::TempDir dir;
    const std::string first = WriteClip(dir / "cardA/A001_C001_0101AB_001.R3D", sdktest::BasicClip(16, 8, 2));
    const std::string second = WriteClip(dir / "cardB/A001_C001_0101AB_001.R3D", sdktest::BasicClip(32, 16, 2));
    const auto r = Ombrel("render --cpu --out " + dir / "out " + first + " " + second);
    EXPECT_EQ(r.status, 1) << r.output;
    EXPECT_TRUE(Has(r, second + ": not rendered: its output folder " + dir / "out/A001_C001_0101AB is that of " +
                           first + " in this run"))
        << r.output;
    EXPECT_TRUE(Has(r, first + " -> ")) << r.output;
    // The first card's frames are what the folder holds: 16 x 8 frames, not 32 x 16 ones.
    const std::string folder = dir / "out/A001_C001_0101AB";
    const auto frames = DpxFrames(folder);
    ASSERT_EQ(frames.size(), 2u) << r.output;
    const auto small = std::filesystem::file_size(folder + "/" + frames[0]);
    const auto again = Ombrel("render --cpu --out " + dir / "alone " + second);
    ASSERT_EQ(again.status, 0) << again.output;
    EXPECT_LT(small, std::filesystem::file_size(dir / ("alone/A001_C001_0101AB/" + frames[0])));
}

TEST(OutputFolder, OneClipNamedTwiceIsRenderedOnce) {
    test::TempDir dir;
    const std::string clip = WriteClip(dir / "src/A001_C001_0101AB_001.R3D", sdktest::BasicClip(16, 8, 2));
    const auto r = Ombrel("render --cpu --out " + dir / "out " + clip + " " + clip);
    EXPECT_EQ(r.status, 0) << r.output;
    EXPECT_TRUE(Has(r, clip + ": named twice; rendered once")) << r.output;
}

struct LockCase {
    const char* name;
    int heldFirst, heldLast;  // frames another render holds; the run renders 0-2
    int status;
    size_t written;
};

const LockCase kLockCases[] = {
    {"SameFramesAreRefused", 0, 2, 1, 0},
    {"OverlappingFramesAreRefused", 2, 100, 1, 0},
    {"OtherFramesGoAhead", 3, 100, 0, 3},  // a render farm's chunks of one clip
};

class OutputFolderLock : public ::testing::TestWithParam<LockCase> {};

TEST_P(OutputFolderLock, ARenderRefusesFramesAnotherRenderIsWriting) {
    const LockCase& c = GetParam();
    test::TempDir dir;
    const std::string clip = WriteClip(dir / "src/A001_C001_0101AB_001.R3D", sdktest::BasicClip(16, 8, 3));
    const std::string folder = dir / "out/A001_C001_0101AB";
    std::filesystem::create_directories(folder);
    FolderLock other;  // this process stands for the other render
    std::string why;
    ASSERT_TRUE(other.TryLock(folder, c.heldFirst, c.heldLast, &why)) << why;
    const auto r = Ombrel("render --cpu --out " + dir / "out " + clip);
    EXPECT_EQ(r.status, c.status) << r.output;
    EXPECT_EQ(DpxFrames(folder).size(), c.written) << r.output;
    if (c.status != 0) {
        EXPECT_TRUE(
            Has(r, "another render is writing frames of 0-2 into " + folder + "; " + clip + " was not rendered"))
            << r.output;
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, OutputFolderLock, ::testing::ValuesIn(kLockCases),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace ombrel
