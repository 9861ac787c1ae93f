// `scan`: the clips under a folder as the browser finds them, and the same from disk the second time.
#include <gtest/gtest.h>

#include <string>

#include "CliSupport.h"

namespace ombrel {
namespace {

using namespace clitest;

TEST(ScanCli, FindsTheBrowsersClipsWithRecordsAndThumbnailsThenReadsThemFromDisk) {
    test::TempDir dir;
    WriteClip(dir / "card/a/b/A001_C001_0101AB_001.R3D", sdktest::BasicClip(32, 16, 3));
    WriteClip(dir / "card/a/b/c/A001_C002_0101AB_001.R3D", sdktest::BasicClip());  // four folders down
    test::WriteWholeFile(dir / "card/junk.mov", std::string(1000001, '\0'));
    const std::string home = "HOME=" + Quoted(dir / "home") + " ";
    const std::string scan = home + OMBREL_CLI + " scan --json " + Quoted(dir / "card");

    const auto first = test::RunShell("(" + scan + " 2>/dev/null)");
    ASSERT_EQ(first.status, 0) << first.output;
    const std::string clip = "{\"path\": \"" + dir / "card/a/b/A001_C001_0101AB_001.R3D" +
                             "\", \"displayName\": \"A001_C001_0101AB\", \"kind\": \"r3d\", \"width\": 32, "
                             "\"height\": 16, \"fps\": 23.976024627685547, \"frameCount\": 3, \"timeScale\": 24000, "
                             "\"duration\": 3003, \"timecode\": \"11:22:33:12\", ";
    EXPECT_TRUE(Has(first, clip)) << first.output;
    EXPECT_TRUE(Has(first, "\"thumbnailPath\": \"" + dir / "home/Documents/Ombrel/Thumbnails/")) << first.output;
    EXPECT_TRUE(Has(first, "\"notPlayable\": true")) << first.output;  // the junk movie
    EXPECT_FALSE(Has(first, "A001_C002")) << first.output;
    EXPECT_EQ(Lines(first.output), 1u);

    // From the record files: the same answer, and no clip opened for its record (no log line).
    const auto second = test::RunShell(scan);
    EXPECT_EQ(second.output, first.output);
    EXPECT_TRUE(Has(test::RunShell(home + OMBREL_CLI + " scan --all-levels " + Quoted(dir / "card")), "A001_C002"));

    const auto missing = Ombrel("scan " + Quoted(dir / "nowhere"));
    EXPECT_EQ(missing.status, 1);
    EXPECT_TRUE(Has(missing, "no such folder")) << missing.output;
}

}  // namespace
}  // namespace ombrel
