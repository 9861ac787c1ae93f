#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

#include "RenderPanelFakes.h"
#include "core/MainQueue.h"
#include "library/FileParserHooks.h"
#include "model/SettingsManager.h"
#include "render/DefaultRenderers.h"
#include "render/RenderManager.h"
#include "sources/testing/TestPatternSource.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

namespace fs = std::filesystem;

class RenderPanelTest : public ::testing::Test {
protected:
    void SetUp() override {
        rig_.controller.setAutosavePathProvider([this] { return dir_ / "autosave.xml"; });
        p().setControls(ui_.Ports());
        rig_.controller.awakeFromNib();
    }
    void TearDown() override {
        RenderManager::Instance().WaitUntilExit();
        RenderManager::Instance().Reset();
        SetFilePanels({});
    }
    RenderPanel& p() { return rig_.controller.renderPanel(); }
    OutputSettings& record() { return rig_.controller.outputSettings(); }
    void Choose(test::FakeMenu& menu, int tag) {
        menu.selectItemWithTag(tag);
        p().OutputSettingChanged(&menu);
    }
    // The size panel as the user fills it: typed width and height, then a button.
    void TypeSize(const std::string& w, const std::string& h, bool accept) {
        ui_.sizePanel.script = [=, this] {
            for (auto [field, text] : {std::pair{&ui_.width, w}, std::pair{&ui_.height, h}}) {
                p().customSizeController().controlTextDidBeginEditing(field);
                field->text = text;
                p().customSizeController().controlTextDidChange(field);
            }
            accept ? p().customSizeController().AcceptPressed() : p().customSizeController().CancelPressed();
        };
        Choose(ui_.size, 99);
    }

    test::TempDir dir_;
    test::ControllerRig rig_;
    test::RenderPanelFakes ui_;
};

TEST_F(RenderPanelTest, EachPopupRoundTripsThroughTheRecord) {
    struct Case {
        test::FakeMenu test::RenderPanelFakes::*menu;
        int tag;
        int (OutputSettings::*field)() const;
        int stored;
    };
    const Case cases[] = {{&test::RenderPanelFakes::format, 20, &OutputSettings::format, 20},
                          {&test::RenderPanelFakes::format, 21, &OutputSettings::qtCodec, 0},
                          {&test::RenderPanelFakes::format, 2, &OutputSettings::qtCodec, 2},
                          {&test::RenderPanelFakes::size, 7, &OutputSettings::outputSizeTag, 7},
                          {&test::RenderPanelFakes::size, 0, &OutputSettings::outputSizeTag, 0},
                          {&test::RenderPanelFakes::fit, 2, &OutputSettings::fitMethod, 2},
                          {&test::RenderPanelFakes::filenames, 1, &OutputSettings::filenames, 1},
                          {&test::RenderPanelFakes::edl, 2, &OutputSettings::edlOptions, 2},
                          {&test::RenderPanelFakes::folders, 2, &OutputSettings::folders, 2},
                          {&test::RenderPanelFakes::timecode, 1, &OutputSettings::timecode, 1},
                          {&test::RenderPanelFakes::colorSpace, 1, &OutputSettings::colorFormat, 1}};
    for (const Case& k : cases) {
        test::FakeMenu& menu = ui_.*k.menu;
        Choose(menu, k.tag);
        EXPECT_EQ((record().*k.field)(), k.stored) << k.tag;
        menu.selected = -1;
        p().UpdateGUIFromOutputSettings();
        EXPECT_EQ(menu.selectedTag(), k.tag);
    }
    // The box is the inverse of the field; a movie turns the frame options off.
    ui_.overwrite.on = false;
    Choose(ui_.format, 5);
    EXPECT_EQ(record().overwrite(), 1);
    EXPECT_TRUE(ui_.foldersBox.hidden);
    EXPECT_FALSE(ui_.timecode.enabled);
    EXPECT_EQ(record().codec(), 0x61766331u);  // avc1
    const auto stored = rig_.controller.preferences().objectForKey("GuiSettings");
    ASSERT_TRUE(stored);
    EXPECT_EQ((*stored)["outputSettings"]["qtCodec"].asInt(), 5);
}

TEST_F(RenderPanelTest, TheMovieSizeLimit) {
    struct Case {
        int format;
        int sizeTag;  // 101: the custom size below
        OutputSize custom;
        bool message;
    };
    const Case cases[] = {{5, 101, {2048, 1152}, false}, {5, 101, {2049, 1152}, true}, {5, 101, {2048, 1153}, true},
                          {20, 7, {}, false},            {5, 0, {}, false},            {5, 7, {}, true}};
    for (const Case& k : cases) {
        ui_.error.shown.clear();
        ui_.format.selectItemWithTag(k.format);
        if (k.sizeTag == 101) {
            ui_.size.items.emplace_back("custom", 101);
            SettingsManager::Instance().setCustomOutputSize(k.custom);
        }
        ui_.size.selectItemWithTag(k.sizeTag);
        p().RenderSequence();  // the shot list is empty
        EXPECT_EQ(ui_.error.shown.size(), k.message ? 1u : 0u) << k.format << " " << k.sizeTag;
        EXPECT_FALSE(p().renderingSequence());
    }
    // The message names the size; a cancel there leaves the record alone.
    EXPECT_NE(ui_.error.shown[0].find("Quicktime Size Limit: "), std::string::npos);
    EXPECT_NE(ui_.error.shown[0].find("selected 4096 x 2034.\n"), std::string::npos);
    ui_.error.cancel = true;
    p().RenderSequence();
    EXPECT_EQ(record().size(), (OutputSize{4096, 2034}));
    EXPECT_FALSE(p().renderingSequence());
    // Going on clamps the record only; the next look at it selects 2048 x 1152.
    ui_.error.cancel = false;
    p().RenderSequence();
    EXPECT_EQ(record().size(), (OutputSize{2048, 1152}));
    EXPECT_EQ(ui_.size.selectedTag(), 7);
    p().UpdateGUIFromOutputSettings();
    EXPECT_EQ(ui_.size.selectedTag(), 5);
}

TEST_F(RenderPanelTest, TheCustomSizePanel) {
    Choose(ui_.size, 4);
    // Refused texts go back to what the field held; the error panel only once.
    TypeSize("4097", "2305", true);
    EXPECT_EQ(ui_.sizePanel.errors, 1);
    EXPECT_EQ(record().size(), (OutputSize{1920, 1080}));
    TypeSize("12a", "0", true);
    EXPECT_EQ(record().size(), (OutputSize{1920, 1080}));
    TypeSize("4096", "2304", true);
    EXPECT_EQ(record().size(), (OutputSize{4096, 2304}));
    EXPECT_EQ(ui_.size.selectedTag(), 101);
    EXPECT_EQ(ui_.size.items.back().first, "Custom: 4096 x 2304");
    EXPECT_EQ(SettingsManager::Instance().customOutputSize(), (OutputSize{4096, 2304}));
    // A table size selects its own item; a cancel the tag before.
    TypeSize("1280", "720", true);
    EXPECT_EQ(ui_.size.selectedTag(), 3);
    TypeSize("999", "999", false);
    EXPECT_EQ(ui_.size.selectedTag(), 3);
    EXPECT_EQ(p().lastSizeTag(), 3);
    EXPECT_EQ(ui_.sizePanel.errors, 1);
}

TEST_F(RenderPanelTest, ACustomSizeSurvivesARestart) {
    TypeSize("3000", "1500", true);
    SettingsManager::Instance().setCustomOutputSize({});
    test::ControllerRig again(rig_.store);
    test::RenderPanelFakes ui;
    again.controller.renderPanel().setControls(ui.Ports());
    again.controller.awakeFromNib();
    EXPECT_EQ(ui.size.selectedTag(), 101);
    EXPECT_EQ(ui.size.items.back().first, "Custom: 3000 x 1500");
}

TEST_F(RenderPanelTest, DestinationFolders) {
    std::string answer;
    SetFilePanels({[&](const std::string&, bool, bool, const std::string&) { return answer; }, {}});
    const auto& list = rig_.controller.destList();
    const std::string first = list.front();
    for (int i = 0; i < 10; ++i) {
        answer = "/d" + std::to_string(i);
        p().BrowseDestClicked();
    }
    // Ten at most, newest first: the first folder went.
    EXPECT_EQ(list.size(), 10u);
    EXPECT_EQ(list.front(), "/d9");
    EXPECT_EQ(std::count(list.begin(), list.end(), first), 0);
    answer = "/d3";
    p().BrowseDestClicked();
    EXPECT_EQ(list.size(), 10u);
    EXPECT_EQ(list.front(), "/d3");
    EXPECT_EQ(ui_.dest.titleAtIndex(ui_.dest.selected), "/d3");
    answer.clear();
    p().BrowseDestClicked();
    EXPECT_EQ(list.front(), "/d3");
    ui_.dest.selectItemAtIndex(4);
    p().DestSelectionChanged();
    EXPECT_EQ((*rig_.controller.preferences().objectForKey("GuiSettings"))["destPath"].asString(), list[4]);
}

TEST_F(RenderPanelTest, NothingToRender) {
    const std::string gone = test::DemoClipCopy(dir_.path(), "A001_C009_0101AB_001.R3D");
    rig_.controller.shotList().AddPath(gone);
    fs::remove(gone);
    p().RenderSequence();
    EXPECT_FALSE(p().renderingSequence());
    EXPECT_EQ(ui_.render.text, "Render Clips");
    EXPECT_TRUE(ui_.tabs[0].enabled);
    EXPECT_TRUE(RenderManager::Instance().renderQueue().empty());
}

TEST_F(RenderPanelTest, ARunLeavesMissingClipsOutAndIsCancelledOnce) {
    RegisterDefaultRenderers();
    test::TestPatternConfig slow;
    slow.frames = 48;
    slow.decodeLatency = std::chrono::milliseconds(20);
    test::ScopedTestPatternSources sources(slow);
    for (const char* name : {"A001_C001_0101AB_001.R3D", "A001_C002_0101AB_001.R3D", "A001_C003_0101AB_001.R3D"})
        rig_.controller.shotList().AddPath(test::DemoClipCopy(dir_.path(), name));
    fs::remove(*rig_.controller.shotList().GetPathAtIndex(1));
    rig_.controller.mutableDestList() = {dir_ / "out"};
    p().UpdateGUIFromOutputSettings();
    Choose(ui_.format, 20);

    p().RenderSequence();
    ASSERT_TRUE(p().renderingSequence());
    EXPECT_EQ(RenderManager::Instance().renderQueue().size(), 2u);
    EXPECT_EQ(ui_.render.text, "Cancel");
    EXPECT_FALSE(ui_.tabs[1].enabled);
    EXPECT_DOUBLE_EQ(ui_.formatBox.alpha, 0.8);
    EXPECT_FALSE(rig_.controller.guiModel()->filename());
    MainQueue::Instance().ServeUntil([] { return RenderManager::Instance().framesRendered() > 0; },
                                     std::chrono::milliseconds(1));
    p().UpdateProgress();
    EXPECT_TRUE(std::regex_match(ui_.frames.text, std::regex("[1-9][0-9]* of 96"))) << ui_.frames.text;
    EXPECT_GT(ui_.progress.value, 0.0);

    p().RenderSequence();
    EXPECT_EQ(ui_.render.text, "Cancelling...");
    EXPECT_FALSE(ui_.render.enabled);
    EXPECT_TRUE(p().cancellingSequence());
    p().RenderSequence();  // the button is off; a scripted press changes nothing
    EXPECT_TRUE(p().cancellingSequence());
    RenderManager::Instance().WaitUntilExit();
    MainQueue::Instance().ServePending();
    EXPECT_FALSE(p().renderingSequence());
    EXPECT_EQ(ui_.render.text, "Render Clips");
    EXPECT_TRUE(ui_.render.enabled);
    EXPECT_TRUE(ui_.tabs[1].enabled);
}

}  // namespace
}  // namespace ombrel
