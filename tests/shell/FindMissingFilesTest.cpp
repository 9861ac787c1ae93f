#include <gtest/gtest.h>

#include <filesystem>

#include "FakeControls.h"
#include "library/FileParserHooks.h"
#include "model/SettingsManager.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

namespace fs = std::filesystem;

TEST(FindMissingFiles, EachGoneClipTakesItsDeepestMatchAndATieTheFirst) {
    test::TempDir dir;
    test::ControllerRig rig;
    GuiController& c = rig.controller;
    c.setAutosavePathProvider([&] { return dir / "autosave.xml"; });
    auto at = [&](const std::string& folder, const std::string& name) { return dir.path() + "/" + folder + "/" + name; };
    const std::string clip = "A001_C001_0101AB_001.R3D", other = "A001_C002_0101AB_001.R3D";
    // Two clips of one name in two folders, and one whose name is found twice at equal depth.
    for (const char* old : {"old/day1/cam", "old/day2/cam"}) c.shotList().AddPath(test::DemoClipCopy(dir / old, clip));
    c.shotList().AddPath(test::DemoClipCopy(dir / "old/x", other));
    c.shotList().AddPath(test::DemoClipCopy(dir / "kept", other));
    ClipSettings look;
    look.setExposure(1.5f);
    SettingsManager::Instance().PushSettingsForClip(look, at("old/day2/cam", clip));
    for (const char* found : {"new/b/day1/cam", "new/a/day2/cam", "new/a/day1/x", "new/p", "new/q"})
        fs::create_directories(dir / found);
    fs::rename(at("old/day1/cam", clip), at("new/b/day1/cam", clip));
    fs::rename(at("old/day2/cam", clip), at("new/a/day2/cam", clip));
    fs::copy_file(at("new/a/day2/cam", clip), at("new/a/day1/x", clip));
    fs::rename(at("old/x", other), at("new/p", other));
    fs::copy_file(at("new/p", other), at("new/q", other));

    std::string answer;
    std::vector<std::string> titles;
    SetFilePanels({[&](const std::string&, bool, bool, const std::string& title) {
                       titles.push_back(title);
                       return answer;
                   },
                   {}});
    // No folder chosen: nothing moves, the autosave still runs.
    c.FindMissingFiles();
    EXPECT_EQ(*c.shotList().GetPathAtIndex(0), at("old/day1/cam", clip));
    EXPECT_TRUE(fs::exists(dir / "autosave.xml"));
    answer = dir / "new";
    c.FindMissingFiles();
    SetFilePanels({});
    EXPECT_EQ(titles.back(), "Choose a directory to search for missing files");
    const std::vector<std::string> expected = {at("new/b/day1/cam", clip), at("new/a/day2/cam", clip),
                                               at("new/p", other), at("kept", other)};
    for (size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(*c.shotList().GetPathAtIndex(i), expected[i]) << i;
    // The look went with its clip.
    ASSERT_TRUE(SettingsManager::Instance().SettingsForClip(expected[1]));
    EXPECT_FLOAT_EQ(SettingsManager::Instance().SettingsForClip(expected[1])->exposure(), 1.5f);
}

}  // namespace
}  // namespace ombrel
