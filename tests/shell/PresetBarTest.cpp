#include <gtest/gtest.h>

#include <filesystem>

#include "FakeControls.h"
#include "look/LutManager.h"
#include "shell/logic/PresetBar.h"

namespace ombrel {
namespace {

namespace fs = std::filesystem;

class PresetBarTest : public ::testing::Test {
protected:
    void SetUp() override {
        c().filmPanel().setControls(panel_.Ports());
        c().setAutosavePathProvider([] { return std::string(); });
        c().awakeFromNib();
        SettingsManager::Instance().setCurrentPresetLibrary("");
        bar_.setControls(&groups_, &view_);
    }
    GuiController& c() { return rig_.controller; }
    GuiModel& m() { return *c().guiModel(); }
    void OpenClip(const std::string& path, const std::string& camera) {
        ClipSettings s;
        s.setSourceCameraChosen(camera);
        m().PushClipSettings(s);
        m().setFilename(path);
        m().setHasOpenFile(true);
    }
    struct CountingView : ListView {
        int reloads = 0;
        void ReloadData() override { ++reloads; }
    };

    test::ControllerRig rig_;
    test::FakePanel panel_;
    test::FakePopup groups_;
    CountingView view_;
    PresetBar bar_{rig_.controller};
};

TEST_F(PresetBarTest, ASaveNeedsAClipAndTiesThePresetToIt) {
    SettingsManager& settings = SettingsManager::Instance();
    EXPECT_EQ(bar_.SavePreset(), nullptr);
    EXPECT_EQ(settings.factoryPresetList().count(), 0u);

    OpenClip("/clips/a.mov", "CamA");
    m().setExposure(1.5);
    bar_.setThumbnailer([] { return std::make_shared<const Image>(PresetBar::kThumbWidth, PresetBar::kThumbHeight); });
    const RenderPresetPtr preset = bar_.SavePreset();
    ASSERT_NE(preset, nullptr);
    EXPECT_FLOAT_EQ(preset->Settings()->exposure(), 1.5f);
    EXPECT_EQ(preset->Settings()->grainName(), "CP35");
    EXPECT_EQ(preset->Settings()->sourceCameraChosen(), "CamA");
    EXPECT_EQ(settings.SettingsForClip("/clips/a.mov")->presetID(), preset->presetID());
    EXPECT_EQ(m().clipSettings()->presetID(), preset->presetID());
    EXPECT_EQ(view_.reloads, 1);
    // The library on disk holds it by name, its icon beside the list.
    EXPECT_TRUE(fs::exists(preset->IconPathLibrary(SettingsManager::kDefaultPresetLibrary)));
    EXPECT_FALSE(fs::exists(preset->IconPathLegacy()));
    settings.LoadFactoryPresets();
    const RenderPresetPtr stored = settings.GetFactoryPresetWithGuid(preset->presetID());
    ASSERT_NE(stored, nullptr);
    EXPECT_EQ(stored->presetName(), preset->presetName());

    bar_.DeletePresets({0});
    EXPECT_EQ(settings.GetFactoryPresetWithGuid(preset->presetID()), nullptr);
    EXPECT_EQ(m().clipSettings()->presetID(), "");
}

TEST_F(PresetBarTest, ALoadChangesTheLookKeepsTheCameraAndLastsUntilTheFirstChange) {
    OpenClip("/clips/b.mov", "CamA");
    auto preset = RenderPreset::Make();
    preset->setPresetName("Warm");
    preset->setPresetNumber(4);
    preset->Settings()->setExposure(2.0f);
    preset->Settings()->setStockName(LutManager::StockNameForTag(5));
    preset->Settings()->setGrainScale(2.0f);
    preset->Settings()->setSourceCameraChosen("CamB");
    bar_.LoadPreset(preset);

    EXPECT_EQ(m().exposure(), 2.0);
    EXPECT_EQ(m().stockName(), LutManager::StockNameForTag(5));
    EXPECT_EQ(panel_.stock.tag, 5);
    EXPECT_EQ(panel_.gauge.tag, 200);
    EXPECT_EQ(m().clipSettings()->sourceCameraChosen(), "CamA");
    SettingsManager& settings = SettingsManager::Instance();
    for (const ClipSettings* s : {m().clipSettings().get(), settings.SettingsForClip("/clips/b.mov").get()}) {
        EXPECT_EQ(s->presetID(), preset->presetID());
        EXPECT_EQ(s->presetNumber(), 4);
    }
    EXPECT_TRUE(settings.HasUndoForClip("/clips/b.mov"));

    preset->setPresetName("Warmer");
    bar_.PresetRenamed(*preset);
    EXPECT_EQ(m().clipSettings()->presetName(), "Warmer");

    panel_.sliders[static_cast<size_t>(FilmRow::Saturation)].value = 0.5;
    c().filmPanel().RowChanged(FilmRow::Saturation);
    EXPECT_EQ(settings.SettingsForClip("/clips/b.mov")->presetID(), "");
}

TEST_F(PresetBarTest, TheLibraryPopupFollowsThePreference) {
    SettingsManager& settings = SettingsManager::Instance();
    ASSERT_TRUE(settings.CreateLibraryShell("Alpha"));
    ASSERT_TRUE(settings.CreateLibraryShell("Beta"));
    ASSERT_TRUE(settings.CreateLibraryShell(SettingsManager::kTrashLibrary));
    c().preferences().setObject(PresetBar::kGroupPreference, PlistValue("Beta"));
    bar_.RefreshPresetGroups();
    ASSERT_EQ(groups_.items.size(), 3u);  // never the trash
    EXPECT_EQ(groups_.items[0].first, SettingsManager::kDefaultPresetLibrary);
    EXPECT_EQ(settings.currentPresetLibrary(), "Beta");
    EXPECT_EQ(groups_.selectedTitle(), "Beta");

    groups_.selectItemWithTag(1);
    bar_.PresetTabChanged();
    EXPECT_EQ(settings.currentPresetLibrary(), "Alpha");
    EXPECT_EQ(c().preferences().stringForKey(PresetBar::kGroupPreference), "Alpha");
    EXPECT_EQ(view_.reloads, 1);
    // A library already chosen stays chosen whatever the preference says.
    bar_.RefreshPresetGroups();
    EXPECT_EQ(groups_.selectedTitle(), "Alpha");
}

}  // namespace
}  // namespace ombrel
