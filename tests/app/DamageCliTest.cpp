#include <gtest/gtest.h>

#include "CliSupport.h"
#include "support/RefFile.h"

namespace ombrel {
namespace {

using clitest::Has;
using clitest::Ombrel;

TEST(DamageCli, ShowsTheLeadInOfABuiltInTreatment) {
    const test::ShellResult r = Ombrel("damage show leader --frames 0-30");
    ASSERT_EQ(r.status, 0) << r.output;
    ASSERT_TRUE(r.output.starts_with("path ")) << r.output;
    // The first line is where the build put the file.
    EXPECT_TRUE(test::MatchesRef("app/damage-show-leader.txt", r.output.substr(r.output.find('\n') + 1)));
    const test::ShellResult json = Ombrel("damage show worn-16mm --frames 3-4 --json");
    EXPECT_TRUE(Has(json, "\"borderPath\": \"") && Has(json, "border_16mm.tif\"")) << json.output;
    EXPECT_TRUE(Has(json, "{\"frame\": 4, \"variant\": 1,")) << json.output;
    EXPECT_TRUE(Has(json, "\"gunkTile\": \"obTile2\", \"gunkCell\": [1024, 0, 2047, 1024], \"gunkChannel\": 0}"));
}

TEST(DamageCli, RefusesWhatItCannotFind) {
    const test::ShellResult r = Ombrel("damage show no-such-treatment");
    EXPECT_EQ(r.status, 2);
    EXPECT_TRUE(Has(r, "built in: dusty, home-8mm, leader, worn-16mm")) << r.output;
    EXPECT_EQ(Ombrel("damage show leader --frames 9-3").status, 2);
    test::TempDir dir;
    test::WriteWholeFile(dir / "bad.plist", "not a property list");
    EXPECT_EQ(Ombrel("damage show " + dir / "bad.plist").status, 1);
}

TEST(DamageCli, CountsTheSpritesOfAnAtlas) {
    const test::ShellResult ours = Ombrel("damage atlas");
    ASSERT_EQ(ours.status, 0) << ours.output;
    EXPECT_TRUE(Has(ours, "Dirt V1_default.png\n"));
    for (const char* kind : {"dust Dust ", "dirt DIRT ", "pie pie ", "hair Hair ", "scratch Scratch ", "vertical vert "})
        EXPECT_TRUE(Has(ours, kind) && !Has(ours, std::string(kind) + "0\n")) << kind;
    test::TempDir dir;
    test::WriteWholeFile(dir / "a.plist",
                         "<plist version=\"1.0\"><dict><key>frames</key><dict><key>Dust1</key><dict><key>width</key>"
                         "<real>4</real></dict></dict></dict></plist>");
    const test::ShellResult mine = Ombrel(clitest::Quoted(dir / "a.plist").insert(0, "damage atlas "));
    EXPECT_TRUE(Has(mine, dir / "a.png\n") && Has(mine, "dust Dust 1\n")) << mine.output;
    EXPECT_TRUE(Has(mine, "WARNING: originalWidth/Height not found on the DirtFrameFrame.")) << mine.output;
}

}  // namespace
}  // namespace ombrel
