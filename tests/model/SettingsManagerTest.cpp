// The settings store as the main window and the render worker use it: stacks, presets
// on clips, registered paths, preset libraries on disk and the custom codec list.
#include "model/SettingsManager.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <thread>

#include "ModelTestSupport.h"
#include "core/Paths.h"
#include "datafile/Resource.h"
#include "support/Plists.h"

namespace ombrel {
namespace {
namespace fs = std::filesystem;
using test::Exists;
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

std::vector<float> Exposures(const std::vector<ClipSettingsPtr>& stack) {
    std::vector<float> out;
    for (const auto& s : stack) out.push_back(s->exposure());
    return out;
}

TEST_F(SettingsStore, StacksKeepTheLastFiveAndANullCameraTextNeverMatches) {
    const std::string clip = "/footage/A001_C002_0101AB_001.R3D", other = "/footage/B.mov";
    ClipSettings s;
    GiveCamera(s, "EpicM");
    for (int i = 1; i <= 6; ++i) {
        s.setExposure(static_cast<float>(i));
        sm.PushSettingsForClip(s, clip);
        sm.PushSettingsForClip(s, other);
    }
    sm.PushSettingsForClip(s, clip);  // identical to the top: skipped
    sm.PushSettingsForClip(s, "");    // no path: nothing
    EXPECT_EQ(sm.SettingsForClip(""), nullptr);
    EXPECT_NE(sm.SettingsForClip(clip).get(), &s);  // a copy
    // Six different pushes from empty: the first falls off; reading the stack trims it to
    // four, so that a push makes five.
    EXPECT_EQ(Exposures(sm.GetStackForClip(clip)), (std::vector<float>{3, 4, 5, 6}));
    std::vector<float> popped;
    while (auto top = sm.PopSettingsForClip(other)) popped.push_back(top->exposure());
    EXPECT_EQ(popped, (std::vector<float>{6, 5, 4, 3, 2}));
    EXPECT_FALSE(sm.HasUndoForClip(other));

    // A record without a display make differs even from its own copy.
    ClipSettings plain;
    sm.PushSettingsForClip(plain, "/footage/C.mov");
    sm.PushSettingsForClip(plain, "/footage/C.mov");
    EXPECT_EQ(sm.GetStackForClip("/footage/C.mov").size(), 2u);
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
    EXPECT_EQ(sm.SettingsForClip(clip)->presetID(), preset->presetID());
    EXPECT_FALSE(preset->Settings()->isDefault());  // the preset's own record is marked
    EXPECT_EQ(preset->Settings()->presetID(), preset->presetID());
    // From a preset the push does not compare: the same preset twice makes two records.
    sm.PushPresetForClip(*preset, clip);
    EXPECT_EQ(sm.GetStackForClip(clip).size(), 3u);
    // A clip without settings starts at frame 0 and takes the preset's camera texts.
    sm.PushSettingsFromPresetForClip(*preset->Settings(), "/footage/E.mov");
    EXPECT_EQ(Top("/footage/E.mov"), "5219 preset Dusk#4 frame 0 camera Other/Make Other/Model Other/Style Other");

    // Mapping notes the preset in place on a clip with settings (the look stays), and pushes
    // on one without.
    auto other = RenderPreset::Make();
    other->setPresetName("Noon");
    other->setPresetNumber(9);
    sm.MapPresetToPath(*other, clip);
    EXPECT_EQ(Top(clip), "5219 preset Noon#9 frame 42 camera 5D/Make 5D/Model 5D/Style 5D");
    sm.MapPresetToPath(*other, "/footage/F.mov");
    EXPECT_EQ(Top("/footage/F.mov"), "5207 preset Noon#9 frame 0 camera -/-/-/-");

    // The camera of a movie is set in place, on a default record when there is none; an R3D
    // clip takes it from its file.
    ClipSettings camera;
    GiveCamera(camera, "GH5");
    SettingsManager::PushCameraSourceForClip(camera, clip);
    EXPECT_EQ(sm.GetStackForClip(clip).size(), 3u);
    EXPECT_EQ(Top(clip), "5219 preset Noon#9 frame 42 camera GH5/Make GH5/Model GH5/Style GH5");
    SettingsManager::PushCameraSourceForClip(camera, "/footage/G.mov");
    EXPECT_EQ(Top("/footage/G.mov"), "5207 preset #0 frame 0 camera GH5/Make GH5/Model GH5/Style GH5");
    SettingsManager::PushCameraSourceForClip(camera, "/footage/A001_C003_0101AB_001.R3D");
    EXPECT_EQ(Top("/footage/A001_C003_0101AB_001.R3D"), "none");
}

TEST_F(SettingsStore, RegisteredPathsAndReplacingAMovedClip) {
    for (const char* p : {"/a.mov", "/b.mov", "/a.mov", "", "/c.mov"}) sm.RegisterPath(p);
    EXPECT_EQ(sm.registeredPaths(), (std::vector<std::string>{"/a.mov", "/b.mov", "/c.mov"}));
    ClipSettings s;
    s.setExposure(1.5f);
    sm.PushSettingsForClip(s, "/a.mov");
    sm.PushSettingsForClip(s, "/c.mov");

    sm.ReplacePathWithPath("/a.mov", "/moved/a.mov");
    EXPECT_EQ(sm.registeredPaths(), (std::vector<std::string>{"/b.mov", "/c.mov", "/moved/a.mov"}));
    EXPECT_EQ(sm.SettingsForClip("/a.mov"), nullptr);
    EXPECT_EQ(sm.SettingsForClip("/moved/a.mov")->exposure(), 1.5f);
    // Onto a path that is there already: still registered once.
    sm.ReplacePathWithPath("/c.mov", "/b.mov");
    EXPECT_EQ(sm.registeredPaths(), (std::vector<std::string>{"/b.mov", "/moved/a.mov"}));
    EXPECT_EQ(sm.SettingsForClip("/b.mov")->exposure(), 1.5f);

    sm.UnRegisterPath("/b.mov");
    EXPECT_EQ(sm.SettingsForClip("/b.mov"), nullptr);
    EXPECT_EQ(sm.registeredPaths(), (std::vector<std::string>{"/moved/a.mov"}));
    sm.RemoveAllClips();
    EXPECT_TRUE(sm.registeredPaths().empty());
    EXPECT_EQ(sm.SettingsForClip("/moved/a.mov"), nullptr);
}

TEST_F(SettingsStore, ALibraryStartsFromTheTemplateAndAnExistingListIsLeftAlone) {
    ASSERT_TRUE(sm.CreateLibraryShell("Alpha"));
    const std::string list = SettingsManager::PresetLibraryPlistPathForName("Alpha");
    EXPECT_EQ(list, HomeFolder() + "/Documents/Ombrel/Data/.presets/Alpha/Alpha.plist");
    std::string templ;
    ASSERT_TRUE(FindResource("Resources/PresetTemplate.plist", &templ).ok());
    EXPECT_EQ(test::ReadPlist(list), test::ReadPlist(templ));
    PlistValue kept = test::ReadPlist(list);
    PlistValue presets = kept["Presets"];
    presets.set("X", PlistValue::MakeDict());
    kept.set("Presets", presets);
    ASSERT_TRUE(kept.WriteToFile(list).ok());
    EXPECT_TRUE(sm.CreateLibraryShell("Alpha"));
    EXPECT_TRUE(test::ReadPlist(list)["Presets"].contains("X"));
}

TEST_F(SettingsStore, PresetsAreAddedToTheCurrentLibraryAndDeletedWithTheirThumbnails) {
    sm.setCurrentPresetLibrary("Looks");
    ClipSettings look;
    look.setStockName("5213");
    EXPECT_EQ(SettingsManager::AddPresetWithSettings(look), nullptr);  // no list file to write to

    ASSERT_TRUE(sm.CreateLibraryShell("Looks"));
    sm.LoadFactoryPresets();
    EXPECT_EQ(sm.presetCounter(), 1u);
    auto first = SettingsManager::AddPresetWithSettings(look);
    look.setStockName("5219");
    auto second = SettingsManager::AddPresetWithSettings(look);
    ASSERT_TRUE(first && second);
    EXPECT_EQ(std::pair(first->presetNumber(), second->presetNumber()), std::pair(1u, 2u));
    EXPECT_EQ(sm.presetCounter(), 3u);
    const std::string listPath = SettingsManager::PresetLibraryPlistPathForName("Looks");
    EXPECT_EQ(test::ReadPlist(listPath)["Presets"],
              PlistValue(PlistValue::DictT{{first->presetID(), first->PropertyList()},
                                           {second->presetID(), second->PropertyList()}}));
    EXPECT_EQ(sm.GetFactoryPresetWithGuid(first->presetID()), first);

    // A clip uses the first preset; both of its thumbnails exist.
    sm.RegisterPath("/clip.mov");
    sm.MapPresetToPath(*first, "/clip.mov");
    first->setIcon(Swatch(10));
    ASSERT_TRUE(WriteImageAsTiff(*Swatch(10), first->IconPathLibrary("Looks")).ok());
    ASSERT_TRUE(Exists(first->IconPathLegacy()));

    sm.LoadFactoryPresets();
    auto& bar = sm.factoryPresetList();
    ASSERT_EQ(bar.count(), 2u);
    EXPECT_EQ(bar.presetList()[0]->presetID(), first->presetID());
    bar.Delete({0, 7});  // the window's delete: the selection, then the lookup is reformed
    EXPECT_EQ(bar.count(), 1u);
    EXPECT_EQ(sm.GetFactoryPresetWithGuid(first->presetID()), nullptr);
    EXPECT_EQ(test::ReadPlist(listPath)["Presets"],
              PlistValue(PlistValue::DictT{{second->presetID(), second->PropertyList()}}));
    EXPECT_FALSE(Exists(first->IconPathLegacy()));
    EXPECT_FALSE(Exists(first->IconPathLibrary("Looks")));
    EXPECT_EQ(Top("/clip.mov"), "5213 preset #0 frame 0 camera -/-/-/-");
    EXPECT_EQ(sm.SettingsForClip("/clip.mov")->presetID(), "");
    EXPECT_EQ(sm.presetCounter(), 3u);  // the highest left is 2
}

TEST_F(SettingsStore, LoadingALibraryCountsOnAndFindsThumbnailsAtBothPaths) {
    ASSERT_TRUE(sm.CreateLibraryShell("My Presets"));
    const std::string listPath = SettingsManager::PresetLibraryPlistPathForName("My Presets");
    PlistValue list = test::ReadPlist(listPath);
    PlistValue presets = list["Presets"];
    std::vector<RenderPresetPtr> made;
    for (uint32_t number : {7u, 1u, 2u}) {
        made.push_back(RenderPreset::Make());
        made.back()->setPresetNumber(number);
        presets.set(made.back()->presetID(), made.back()->PropertyList());
    }
    list.set("Presets", presets);
    ASSERT_TRUE(list.WriteToFile(listPath).ok());
    // Number 7 has its thumbnail in the library, number 1 only at the legacy path.
    ASSERT_TRUE(WriteImageAsTiff(*Swatch(77), made[0]->IconPathLibrary("My Presets")).ok());
    fs::create_directories(fs::path(made[1]->IconPathLegacy()).parent_path());
    ASSERT_TRUE(WriteImageAsTiff(*Swatch(11), made[1]->IconPathLegacy()).ok());

    sm.setCurrentPresetLibrary("");
    sm.LoadFactoryPresets();
    EXPECT_EQ(sm.currentPresetLibrary(), "My Presets");
    EXPECT_EQ(sm.presetCounter(), 8u);
    const auto& bar = sm.factoryPresetList().presetList();
    ASSERT_EQ(bar.size(), 3u);
    EXPECT_EQ((std::vector{bar[0]->presetNumber(), bar[1]->presetNumber(), bar[2]->presetNumber()}),
              (std::vector<uint32_t>{1, 2, 7}));
    EXPECT_TRUE(bar[2]->isFactory());
    ASSERT_NE(bar[2]->icon(), nullptr);
    EXPECT_EQ(bar[2]->icon()->pixel(0, 0)[0], 77);
    EXPECT_TRUE(Exists(made[0]->IconPathLegacy()));  // loading leaves a copy at the legacy path
    EXPECT_EQ(bar[0]->icon(), nullptr);              // a library preset looks in the library only

    // A preset of the older kind reads its thumbnail from the legacy path, and moving it
    // into a library leaves it there only.
    RenderPreset legacy;
    legacy.LoadFromDictionary(made[1]->PropertyList());
    ASSERT_NE(legacy.icon(), nullptr);
    EXPECT_EQ(legacy.icon()->pixel(0, 0)[0], 11);
    sm.MoveThumbnailForPresetToLib(legacy, "My Presets");
    EXPECT_FALSE(Exists(legacy.IconPathLegacy()));
    EXPECT_TRUE(Exists(legacy.IconPathLibrary("My Presets")));
    sm.LoadFactoryPresets();
    EXPECT_NE(sm.factoryPresetList().presetList()[0]->icon(), nullptr);

    // Adding presets to another library moves their thumbnails with them.
    ASSERT_TRUE(sm.CreateLibraryShell("Night"));
    auto moved = RenderPreset::Make();
    moved->setIcon(Swatch(99));
    EXPECT_TRUE(sm.AddPresetsToLibrary({moved}, "Night"));
    EXPECT_TRUE(Exists(moved->IconPathLibrary("Night")));
    EXPECT_FALSE(Exists(moved->IconPathLegacy()));
    EXPECT_FALSE(sm.AddPresetsToLibrary({moved}, "Absent"));
}

class RecordingGui : public PresetLoadTarget {
public:
    void LoadPreset(const RenderPresetPtr& preset) override { loaded.push_back(preset); }
    std::vector<RenderPresetPtr> loaded;
};

TEST_F(SettingsStore, RenamedPresetsReachTheirClipsAndLoadsReachTheWindow) {
    ASSERT_TRUE(sm.CreateLibraryShell("My Presets"));
    sm.LoadFactoryPresets();
    ClipSettings look;
    look.setStockName("5213");
    auto preset = SettingsManager::AddPresetWithSettings(look);
    ASSERT_NE(preset, nullptr);
    for (const char* clip : {"/one.mov", "/two.mov", "/three.mov"}) sm.RegisterPath(clip);
    sm.MapPresetToPath(*preset, "/one.mov");
    sm.MapPresetToPath(*preset, "/two.mov");
    sm.PushSettingsForClip(ClipSettings(), "/two.mov");  // the clip moved on from the preset
    sm.PushSettingsForClip(ClipSettings(), "/three.mov");

    preset->setPresetName("Renamed");
    sm.PresetRenamed(*preset);
    EXPECT_EQ(Top("/one.mov"), "5213 preset Renamed#1 frame 0 camera -/-/-/-");
    EXPECT_EQ(sm.GetStackForClip("/one.mov").size(), 2u);
    EXPECT_EQ(Top("/two.mov"), "5207 preset #0 frame 0 camera -/-/-/-");
    EXPECT_EQ(sm.GetStackForClip("/three.mov").size(), 1u);

    RecordingGui gui;
    sm.setGui(&gui);
    sm.LoadFactoryPresetWithGuid(preset->presetID());
    sm.LoadFactoryPresetWithGuid("no such guid");
    sm.LoadPresetWithGuid(preset->presetID());  // not a preset of the project
    EXPECT_EQ(gui.loaded, std::vector<RenderPresetPtr>{preset});
    sm.setGui(nullptr);
}

TEST_F(SettingsStore, PresetBarsSortByNumberAndEmpty) {
    PresetDataSource bar;
    FactoryPresetDataSource factory;
    for (uint32_t n : {5u, 2u, 9u, 2u}) {
        auto p = RenderPreset::Make();
        p->setPresetNumber(n);
        bar.AddPreset(p);
        factory.AddPreset(p);
    }
    auto numbers = [](const PresetListModel& list) {
        std::vector<uint32_t> out;
        for (const auto& p : list.presetList()) out.push_back(p->presetNumber());
        return out;
    };
    EXPECT_EQ(numbers(bar), (std::vector<uint32_t>{5, 2, 9, 2}));  // as added until rearranged
    EXPECT_EQ(numbers(factory), (std::vector<uint32_t>{2, 2, 5, 9}));
    const std::string firstTwo = bar.presetList()[1]->presetID();
    bar.Rearrange();
    EXPECT_EQ(numbers(bar), (std::vector<uint32_t>{2, 2, 5, 9}));
    EXPECT_EQ(bar.presetList()[0]->presetID(), firstTwo);  // equal numbers keep their order
    EXPECT_TRUE(bar.ContainsPresetWithID(firstTwo));
    bar.DeleteAll();
    EXPECT_EQ(bar.count(), 0u);
    EXPECT_FALSE(bar.ContainsPresetWithID(firstTwo));
}

TEST_F(SettingsStore, ANinthCustomCodecTakesTheSlotOfTheOldest) {
    for (int i = 0; i < 8; ++i) {
        const CustomCodec c = sm.AddCustomCodec("Codec " + std::to_string(i));
        EXPECT_EQ(std::pair(c.slot(), c.popupTag()), std::pair(i, 100 + i));
        EXPECT_EQ(c.path(), DataFolder() + "/Codecs/cust_" + std::to_string(i) + ".dat");
    }
    // Give them distinct ages, slot 5 the oldest, and read them back from the list file.
    PlistValue file = test::ReadPlist(SettingsManager::CustomCodecListPath());
    ASSERT_EQ(file["codecList"].size(), 8u);
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
    ASSERT_EQ(codecs.size(), 8u);
    EXPECT_EQ(std::pair(codecs.front().slot(), codecs.back().slot()), std::pair(7, 5));  // newest first

    const CustomCodec ninth = sm.AddCustomCodec("Ninth");
    EXPECT_EQ(std::pair(ninth.slot(), ninth.popupTag()), std::pair(5, 105));
    codecs = sm.customCodecs();
    ASSERT_EQ(codecs.size(), 8u);
    EXPECT_EQ(codecs.front().name(), "Ninth");
    EXPECT_TRUE(std::none_of(codecs.begin(), codecs.end(), [](const CustomCodec& c) { return c.name() == "Codec 5"; }));
    // What was saved is what loads.
    sm.LoadCustomCodecList();
    EXPECT_EQ(sm.customCodecs(), codecs);
}

TEST_F(SettingsStore, TheRenderWorkerReadsTopsWhileTheMainThreadPushes) {
    const std::string clip = "/footage/worker.mov";
    ClipSettings s;
    GiveCamera(s, "5D");
    sm.PushSettingsForClip(s, clip);
    std::atomic<bool> stop{false};
    std::atomic<int> bad{0};
    std::thread worker([&] {
        while (!stop) {
            auto top = sm.SettingsForClip(clip);
            if (!top || top->exposure() < 0.0f || top->exposure() > 500.0f)
                ++bad;
            else
                top->setFramesRendered(top->exposure());
        }
    });
    for (int i = 0; i < 500; ++i) {
        s.setExposure(static_cast<float>(i));
        sm.PushSettingsForClip(s, clip);
        if (i % 7 == 0) sm.GetStackForClip(clip);
    }
    stop = true;
    worker.join();
    EXPECT_EQ(bad, 0);
    EXPECT_EQ(sm.SettingsForClip(clip)->exposure(), 499.0f);
    EXPECT_LE(sm.GetStackForClip(clip).size(), SettingsManager::kMaxStackDepth);
}

}  // namespace
}  // namespace ombrel
