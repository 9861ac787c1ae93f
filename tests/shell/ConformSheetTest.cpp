#include <gtest/gtest.h>

#include <filesystem>

#include "RenderPanelFakes.h"
#include "core/MainQueue.h"
#include "editorial/EdlGuiController.h"
#include "shell/logic/ConformSheet.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

struct FakeRow : StageRowPort {
    std::string label, icon;
    void setLabel(const std::string& t) override { label = t; }
    void setIcon(const std::string& name) override { icon = name; }
};
struct FakeLog : LogViewPort {
    std::string text;
    void appendText(const std::string& t) override { text += t; }
    void setText(const std::string& t) override { text = t; }
};

TEST(ConformSheet, RunsAnEdlIntoTheShotListWithLogAndLabels) {
    test::TempDir dir;
    test::ControllerRig rig;
    rig.controller.setAutosavePathProvider([&] { return dir / "autosave.xml"; });
    // Two copies of the demo clip (01:00:00:00, 48 frames); the third edit has no footage.
    for (const char* name : {"A001_C001_0101AB_001.R3D", "A001_C002_0101AB_001.R3D"})
        test::DemoClipCopy(dir / "footage/day1", name);
    test::WriteWholeFile(dir / "cut.edl",
                         "TITLE: cut\n"
                         "001  A001_C001_0101AB V     C        01:00:00:10 01:00:00:20 00:00:00:00 00:00:00:10\n"
                         "002  A001_C002_0101AB V     C        01:00:00:05 01:00:00:25 00:00:00:10 00:00:01:06\n"
                         "003  A001_C009_0101AB V     C        01:00:00:00 01:00:00:05 00:00:01:06 00:00:01:11\n");
    FakeRow rows[4];
    FakeLog log;
    test::FakeText edlPath, sourcePath;
    test::FakeMenu type;
    type.items = {{"FCP XML", 0}, {"EDL", 1}, {"Avid Filmscribe", 3}, {"FCP-X XML", 4}};
    test::FakeCheckbox r3d, qt;
    test::FakeButton start;
    test::FakeControl close;
    ConformSheetControls c;
    for (int i = 0; i < 4; ++i) c.matchStage[i] = &rows[i];
    c.edlTextView = &log;
    c.edlPath = &edlPath;
    c.r3dSourcePath = &sourcePath;
    c.inputType = &type;
    c.R3dRadioCell = &r3d;
    c.QTRadioCell = &qt;
    c.startButton = &start;
    c.closeButton = &close;
    ConformSheet sheet(rig.controller);
    sheet.setControls(c);
    sheet.awakeFromNib();
    EXPECT_EQ(type.selectedTag(), 1);
    EXPECT_EQ(rows[1].label, "2. Scan File System");
    edlPath.text = dir / "cut.edl";
    sourcePath.text = dir / "footage";

    sheet.LoadEDL();
    EXPECT_FALSE(close.enabled);
    MainQueue::Instance().ServeUntil([&] { return sheet.conform().Finished(); });
    MainQueue::Instance().ServePending();
    const std::pair<std::string, std::string> expected[] = {{"1. Found 3 edits in 'cut.edl'.", "Done"},
                                                            {"2. Found 2 movie files.", "Done"},
                                                            {"3. Found 2 matching files... 1 failed matches.", "Alert"},
                                                            {"4. Shot List Loaded. ", "Done"}};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(rows[i].label, expected[i].first);
        EXPECT_EQ(rows[i].icon, expected[i].second);
    }
    EXPECT_NE(log.text.find("Opening EDL file 'cut.edl'"), std::string::npos) << log.text;
    EXPECT_NE(log.text.find("!! .Failed to match"), std::string::npos) << log.text;
    EXPECT_EQ(start.text, "LOAD EDL / XML FILE");
    EXPECT_TRUE(close.enabled);
    // The window's shot list holds the edit's clips, and a clip takes its ranges from it.
    ASSERT_EQ(rig.controller.shotList().Count(), 2u);
    ClipSettings settings;
    rig.controller.SetSnippetsForSettingsAndPath(settings, *rig.controller.shotList().GetPathAtIndex(1));
    EXPECT_EQ(settings.partialClipDictionary()["SnippetList"].asArray().size(), 2u);
    sheet.EDLDonePressed();
    EXPECT_EQ(rig.controller.preferences().stringForKey("EdlPath"), dir / "cut.edl");
}

}  // namespace
}  // namespace ombrel
