// The settings store as the main window and the render worker use it: stacks, presets
// on clips, registered paths, preset libraries on disk and the custom codec list.
#include "model/SettingsManager.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "ModelTestSupport.h"
#include "core/Paths.h"
#include "datafile/Resource.h"
#include "support/Plists.h"

namespace ombrel {
namespace {
using test::GiveCamera;
using test::SettingsStore;
using test::Swatch;

// What the store decided about a clip's top record: look, preset, frame and camera texts.
std::string Top(const std::string& clip) {
    const auto t = SettingsManager::Instance().SettingsForClip(clip);
    if (!t) return "none";
    return t->stockName() + " preset " + t->presetName() + "#" + std::to_string(t->presetNumber()) + " frame " +
           std::to_string(t->lastFrameShown()) + " camera " + t->sourceCameraChosen().value_or("-") + "/" +
           t->displayMake().value_or("-") + "/" + t->displayModel().value_or("-") + "/" +
           t->displayPictureStyle().value_or("-");
}

TEST_F(SettingsStore, StacksKeepTheLastFive) {
    const std::string clip = "/footage/A001_C002_0101AB_001.R3D", other = "/footage/B.mov";
    ClipSettings s;
    GiveCamera(s, "EpicM");
    for (int i = 1; i <= 6; ++i) {
        s.setExposure(static_cast<float>(i));
        sm.PushSettingsForClip(s, clip);
        sm.PushSettingsForClip(s, other);
    }
    sm.PushSettingsForClip(s, clip);  // identical to the top: skipped
    // Six different pushes from empty: the first falls off; reading the stack trims it to
    // four, so that a push makes five.
    std::vector<float> kept, popped;
    for (const auto& e : sm.GetStackForClip(clip)) kept.push_back(e->exposure());
    EXPECT_EQ(kept, (std::vector<float>{3, 4, 5, 6}));
    while (auto top = sm.PopSettingsForClip(other)) popped.push_back(top->exposure());
    EXPECT_EQ(popped, (std::vector<float>{6, 5, 4, 3, 2}));
    EXPECT_FALSE(sm.HasUndoForClip(other));
}

TEST_F(SettingsStore, PresetsOnClipsKeepTheClipsCameraAndFrame) {
    const std::string clip = "/footage/D.mov";
    ClipSettings current;
    GiveCamera(current, "5D");
    current.setLastFrameShown(42);
    sm.PushSettingsForClip(current, clip);

    auto preset = RenderPreset::Make();
    preset->Settings()->setStockName("5219");
    preset->Settings()->setIsDefault(true);
    GiveCamera(*preset->Settings(), "Other");
    preset->Settings()->setLastFrameShown(7);
    preset->setPresetName("Dusk");
    preset->setPresetNumber(4);
    sm.PushPresetForClip(*preset, clip);
    EXPECT_EQ(Top(clip), "5219 preset Dusk#4 frame 42 camera 5D/Make 5D/Model 5D/Style 5D");

    // Mapping notes the preset in place on a clip with settings (the look stays), and pushes
    // on one without.
    auto other = RenderPreset::Make();
    other->setPresetName("Noon");
    other->setPresetNumber(9);
    sm.MapPresetToPath(*other, clip);
    EXPECT_EQ(Top(clip), "5219 preset Noon#9 frame 42 camera 5D/Make 5D/Model 5D/Style 5D");
    sm.MapPresetToPath(*other, "/footage/F.mov");
    EXPECT_EQ(Top("/footage/F.mov"), "5207 preset Noon#9 frame 0 camera -/-/-/-");

    // The camera of a movie is set in place, on a default record when there is none.
    ClipSettings camera;
    GiveCamera(camera, "GH5");
    SettingsManager::PushCameraSourceForClip(camera, clip);
    EXPECT_EQ(Top(clip), "5219 preset Noon#9 frame 42 camera GH5/Make GH5/Model GH5/Style GH5");
    SettingsManager::PushCameraSourceForClip(camera, "/footage/G.mov");
    EXPECT_EQ(Top("/footage/G.mov"), "5207 preset #0 frame 0 camera GH5/Make GH5/Model GH5/Style GH5");
}

TEST_F(SettingsStore, ALibraryStartsFromTheTemplateAndAnExistingListIsLeftAlone) {
    ASSERT_TRUE(sm.CreateLibraryShell("Alpha"));
    const std::string list = SettingsManager::PresetLibraryPlistPathForName("Alpha");
    EXPECT_EQ(list, HomeFolder() + "/Documents/Ombrel/Data/.presets/Alpha/Alpha.plist");
    std::string templ;
    ASSERT_TRUE(FindResource("Resources/PresetTemplate.plist", &templ).ok());
    EXPECT_EQ(test::ReadPlist(list), test::ReadPlist(templ));
    test::WriteWholeFile(list, "kept");
    EXPECT_TRUE(sm.CreateLibraryShell("Alpha"));
    EXPECT_EQ(test::ReadWholeFile(list), "kept");
}

TEST_F(SettingsStore, PresetsAreAddedToTheCurrentLibraryAndDeletedWithTheirThumbnails) {
    sm.setCurrentPresetLibrary("Looks");
    ClipSettings look;
    look.setStockName("5213");
    EXPECT_EQ(SettingsManager::AddPresetWithSettings(look), nullptr);  // no list file to write to
    ASSERT_TRUE(sm.CreateLibraryShell("Looks"));
    sm.LoadFactoryPresets();
    auto first = SettingsManager::AddPresetWithSettings(look);
    look.setStockName("5219");
    auto second = SettingsManager::AddPresetWithSettings(look);
    ASSERT_TRUE(first && second);
    EXPECT_EQ(std::pair(first->presetNumber(), second->presetNumber()), std::pair(1u, 2u));
    EXPECT_EQ(sm.presetCounter(), 3u);
    const std::string listPath = SettingsManager::PresetLibraryPlistPathForName("Looks");

    // A clip uses the first preset; both of its thumbnails exist.
    sm.RegisterPath("/clip.mov");
    sm.MapPresetToPath(*first, "/clip.mov");
    first->setIcon(Swatch(10));
    ASSERT_TRUE(WriteImageAsTiff(*Swatch(10), first->IconPathLibrary("Looks")).ok());

    sm.LoadFactoryPresets();
    auto& bar = sm.factoryPresetList();
    ASSERT_EQ(bar.count(), 2u);
    EXPECT_EQ(bar.presetList()[0]->presetID(), first->presetID());
    bar.Delete({0, 7});  // the window's delete: the selection, then the lookup is reformed
    EXPECT_EQ(test::ReadPlist(listPath)["Presets"],
              PlistValue(PlistValue::DictT{{second->presetID(), second->PropertyList()}}));
    EXPECT_FALSE(std::filesystem::exists(first->IconPathLegacy()));
    EXPECT_FALSE(std::filesystem::exists(first->IconPathLibrary("Looks")));
    EXPECT_EQ(Top("/clip.mov"), "5213 preset #0 frame 0 camera -/-/-/-");
    EXPECT_EQ(sm.presetCounter(), 3u);  // the highest left is 2
}

TEST_F(SettingsStore, LoadingALibraryCountsOnAndFindsThumbnailsAtBothPaths) {
    ASSERT_TRUE(sm.CreateLibraryShell("My Presets"));
    std::vector<RenderPresetPtr> made;
    for (uint32_t number : {7u, 1u, 2u}) {
        made.push_back(RenderPreset::Make());
        made.back()->setPresetNumber(number);
    }
    made[0]->setIcon(Swatch(77));  // written at the legacy path, moved into the library
    ASSERT_TRUE(sm.AddPresetsToLibrary(made, "My Presets"));
    EXPECT_FALSE(sm.AddPresetsToLibrary(made, "Absent"));
    EXPECT_TRUE(std::filesystem::exists(made[0]->IconPathLibrary("My Presets")));
    EXPECT_FALSE(std::filesystem::exists(made[0]->IconPathLegacy()));
    ASSERT_TRUE(WriteImageAsTiff(*Swatch(11), made[1]->IconPathLegacy()).ok());

    sm.setCurrentPresetLibrary("");
    sm.LoadFactoryPresets();
    EXPECT_EQ(sm.currentPresetLibrary(), "My Presets");
    EXPECT_EQ(sm.presetCounter(), 8u);
    const auto& bar = sm.factoryPresetList().presetList();
    ASSERT_EQ(bar.size(), 3u);
    EXPECT_EQ((std::vector{bar[0]->presetNumber(), bar[1]->presetNumber(), bar[2]->presetNumber()}),
              (std::vector<uint32_t>{1, 2, 7}));
    ASSERT_NE(bar[2]->icon(), nullptr);
    EXPECT_EQ(bar[2]->icon()->pixel(0, 0)[0], 77);
    EXPECT_TRUE(std::filesystem::exists(made[0]->IconPathLegacy()));  // loading leaves a copy at the legacy path
    EXPECT_EQ(bar[0]->icon(), nullptr);                               // a library preset looks in the library only
}

TEST_F(SettingsStore, RenamedPresetsReachTheClipsStillOnThem) {
    ASSERT_TRUE(sm.CreateLibraryShell("My Presets"));
    sm.LoadFactoryPresets();
    ClipSettings look;
    look.setStockName("5213");
    auto preset = SettingsManager::AddPresetWithSettings(look);
    ASSERT_NE(preset, nullptr);
    for (const char* clip : {"/one.mov", "/two.mov"}) sm.RegisterPath(clip);
    sm.MapPresetToPath(*preset, "/one.mov");
    sm.MapPresetToPath(*preset, "/two.mov");
    sm.PushSettingsForClip(ClipSettings(), "/two.mov");  // the clip moved on from the preset

    preset->setPresetName("Renamed");
    sm.PresetRenamed(*preset);
    EXPECT_EQ(Top("/one.mov"), "5213 preset Renamed#1 frame 0 camera -/-/-/-");
    EXPECT_EQ(sm.GetStackForClip("/one.mov").size(), 2u);
    EXPECT_EQ(Top("/two.mov"), "5207 preset #0 frame 0 camera -/-/-/-");
}

TEST_F(SettingsStore, ANinthCustomCodecTakesTheSlotOfTheOldest) {
    for (int i = 0; i < 8; ++i) {
        const CustomCodec c = sm.AddCustomCodec("Codec " + std::to_string(i));
        EXPECT_EQ(std::pair(c.slot(), c.popupTag()), std::pair(i, 100 + i));
    }
    // Give them distinct ages, slot 5 the oldest, and read them back from the list file.
    PlistValue file = test::ReadPlist(SettingsManager::CustomCodecListPath());
    PlistValue aged = PlistValue::MakeArray();
    for (PlistValue e : file["codecList"].asArray()) {
        const int slot = static_cast<int>(e["slot"].asInt());
        e.set("dateCreated", slot == 5 ? 1000 : 2000 + slot);
        aged.append(e);
    }
    file.set("codecList", aged);
    ASSERT_TRUE(file.WriteToFile(SettingsManager::CustomCodecListPath()).ok());
    sm.LoadCustomCodecList();
    auto codecs = sm.customCodecs();
    EXPECT_EQ(std::pair(codecs.front().slot(), codecs.back().slot()), std::pair(7, 5));  // newest first

    const CustomCodec ninth = sm.AddCustomCodec("Ninth");
    EXPECT_EQ(std::pair(ninth.slot(), ninth.popupTag()), std::pair(5, 105));
    codecs = sm.customCodecs();
    EXPECT_EQ(codecs.front().name(), "Ninth");
    sm.LoadCustomCodecList();
    EXPECT_EQ(sm.customCodecs(), codecs) << "what was saved is what loads";
}

}  // namespace
}  // namespace ombrel
