// Project files nested far deeper than a project: the structural check that names the line
// walks with a bound, and the file is refused naming itself and the depth.
#include <gtest/gtest.h>

#include <string>

#include "model/ProjectFile.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

struct DeepProjectRow {
    const char* name;
    const char* open;
    const char* close;
    int depth;
    bool readable;
};

class ProjectFileDepth : public ::testing::TestWithParam<DeepProjectRow> {};

TEST_P(ProjectFileDepth, RefusedNamingTheFileAndTheBound) {
    const DeepProjectRow& row = GetParam();
    test::TempDir dir;
    std::string text =
        "<?xml version=\"1.0\"?>\n<plist version=\"1.0\">\n<dict><key>Paths</key><array/>"
        "<key>deep</key>";
    for (int i = 0; i < row.depth; ++i) text += row.open;
    text += "<true/>";
    for (int i = 0; i < row.depth; ++i) text += row.close;
    text += "</dict>\n</plist>\n";
    const std::string path = dir / "deep.xml";
    test::WriteWholeFile(path, text);

    ProjectState state;
    const Status loaded = ProjectFile::LoadProjectAtPath(path, &state, SettingsManager::Migration::kReadOnly);
    const std::string error = loaded.message();
    EXPECT_EQ(loaded.ok(), row.readable) << error;
    if (!row.readable) {
        EXPECT_EQ(error.rfind(path + ", line 3: ", 0), 0u) << error;
        EXPECT_NE(error.find("nested deeper than 256 levels"), std::string::npos) << error;
    }
    EXPECT_EQ(test::ReadWholeFile(path), text);  // only read
}

INSTANTIATE_TEST_SUITE_P(Files, ProjectFileDepth,
                         ::testing::Values(DeepProjectRow{"Arrays255", "<array>", "</array>", 255, true},
                                           DeepProjectRow{"Arrays256", "<array>", "</array>", 256, false},
                                           DeepProjectRow{"Arrays50000", "<array>", "</array>", 50000, false},
                                           DeepProjectRow{"Dicts50000", "<dict><key>k</key>", "</dict>", 50000, false}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(ProjectFileClipFaults, AClipWhoseSettingsARenderMustNotTakeIsNamedWithWhy) {
    test::TempDir dir;
    PlistValue clips = PlistValue::MakeDict();
    PlistValue bad = PlistValue::MakeDict();
    bad.set("grainName", "CP99");
    PlistValue good = PlistValue::MakeDict();
    good.set("grainName", "CP16");
    clips.set("/clips/bad.R3D", bad);
    clips.set("/clips/good.R3D", good);
    PlistValue project = PlistValue::MakeDict();
    project.set("clips", clips);
    const std::string path = dir / "p.xml";
    ASSERT_TRUE(project.WriteToFile(path).ok());
    ProjectState state;
    ASSERT_TRUE(ProjectFile::LoadProjectAtPath(path, &state, SettingsManager::Migration::kReadOnly).ok());
    ASSERT_EQ(state.clipFaults.size(), 1u);
    EXPECT_NE(state.clipFaults["/clips/bad.R3D"].find("grainName \"CP99\""), std::string::npos);
}

}  // namespace
}  // namespace ombrel
