// Project files on disk: what a save holds and a load gives back, the migration of the
// older kind, moved footage, the autosave, writes that fail, and files that cannot be read.
#include "model/ProjectFile.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "ModelTestSupport.h"
#include "core/Paths.h"
#include "datafile/Resource.h"
#include "support/Plists.h"
#include "support/RefFile.h"

namespace ombrel {
namespace {
namespace fs = std::filesystem;
using D = PlistValue::DictT;
using A = PlistValue::ArrayT;
using ProjectFiles = test::SettingsStore;
using test::ReadWholeFile;

// One file of the shot list's snippet dictionary, as the editorial readers store it.
PlistValue SnippetFile(const std::string& path, A ranges) {
    return D{{"sourcePath", path}, {"name", LastPathComponent(path)}, {"KVCSnippetList", ranges}};
}

std::vector<int> Ints(const PlistValue& array) {
    std::vector<int> out;
    for (const auto& v : array.asArray()) out.push_back(static_cast<int>(v.asInt()));
    return out;
}

std::string Write(const test::TempDir& dir, const std::string& name, const PlistValue& dict) {
    EXPECT_TRUE(dict.WriteToFile(dir / name).ok());
    return dir / name;
}

TEST_F(ProjectFiles, ASavedProjectLoadsToEqualRecords) {
    const std::vector<std::string> clips = {"/footage/A001_C001_0101AB_001.R3D", "/footage/with space & ampersand.mov",
                                            "/footage/B002_C010_0202CD_001.R3D"};
    std::map<std::string, PlistValue> tops;
    for (size_t i = 0; i < clips.size(); ++i) {
        sm.RegisterPath(clips[i]);
        ClipSettings s;
        test::GiveCamera(s, i == 1 ? "Café <&> \"quoted\"" : "Cam" + std::to_string(i));
        s.setStockName(i == 1 ? "5219" : "5213");
        s.setBallInfo({{0.5f, 0}, {0, -1.25f}, {0, 0}});
        // The first clip gets eight versions: only the top is saved.
        for (int v = 0; v < (i == 0 ? 8 : 1); ++v) {
            s.setExposure(0.25f * static_cast<float>(v));
            sm.PushSettingsForClip(s, clips[i]);
        }
        tops[clips[i]] = sm.SettingsForClip(clips[i])->propertyList();
    }
    EXPECT_EQ(sm.GetStackForClip(clips[0]).size(), 4u);

    ProjectState state;
    state.outputSettings.SelectFormatMenuTag(kFormatTiff);
    state.outputSettings.setOutputDirectory("/renders/day 1");
    state.currentOpenFile = clips[1];
    state.snippetList =
        D{{"interview", SnippetFile(clips[1], {12, 40, 96, 80})}, {"A001", SnippetFile(clips[0], {0, 5})}};
    state.appVersion = "0.1.0";
    const std::string path = dir / "Day One.xml";
    ASSERT_TRUE(ProjectFile::SaveProjectToPath(path, state).ok());
    EXPECT_TRUE(test::MatchesRef("model/project-day-one.xml", ReadWholeFile(path)));

    sm.ClearSettingsManager();
    sm.RegisterPath("/left/over.mov");
    ProjectState loaded;
    const Status s = ProjectFile::LoadProjectAtPath(path, &loaded);
    ASSERT_TRUE(s.ok()) << s.message();
    EXPECT_EQ(loaded.paths, clips);
    EXPECT_EQ(sm.registeredPaths(), clips);  // "Paths" replaced what was there
    for (const auto& clip : clips) EXPECT_EQ(sm.SettingsForClip(clip)->propertyList(), tops[clip]) << clip;
    EXPECT_EQ(sm.GetStackForClip(clips[0]).size(), 1u);  // the undo history is not saved
    // A frame format stores codec 0, which loads as 5; the rest comes back as it was.
    PlistValue expectedOutput = state.outputSettings.propertyList();
    expectedOutput.set("qtCodec", 5);
    EXPECT_EQ(loaded.outputSettings.propertyList(), expectedOutput);
    EXPECT_EQ(loaded.currentOpenFile, clips[1]);
    EXPECT_EQ(loaded.snippetList, state.snippetList);
    EXPECT_EQ(loaded.libraryName, "Day One");
}

// An old project: two presets in the file, a map from clips to them.
struct OldProject {
    RenderPresetPtr warm = RenderPreset::Make(), cold = RenderPreset::Make();
    const std::string clipA = "/footage/A.mov", clipB = "/footage/B.mov";
    PlistValue dict;

    OldProject() {
        warm->setPresetName("Warm");
        warm->setPresetNumber(3);
        warm->Settings()->setKelvin(4300.0f);
        cold->setPresetNumber(9);
        ClipSettings a, b;
        a.setExposure(1.0f);
        dict = D{{"Presets", D{{warm->presetID(), warm->PropertyList()}, {cold->presetID(), cold->PropertyList()}}},
                 // Clip B's preset is one nobody has.
                 {"presetMap", D{{clipA, warm->presetID()}, {clipB, "5F0E6D2B-0000-4000-8000-000000000000"}}},
                 {"clips", D{{clipA, a.propertyList()}, {clipB, b.propertyList()}}},
                 {"Paths", A{clipA, clipB}}};
    }
};

TEST_F(ProjectFiles, AnOldProjectMovesItsPresetsIntoALibraryOnce) {
    OldProject old;
    fs::create_directories(fs::path(old.warm->IconPathLegacy()).parent_path());
    ASSERT_TRUE(WriteImageAsTiff(Image(4, 4), old.warm->IconPathLegacy()).ok());
    const std::string path = Write(dir, "Wedding.xml", old.dict);
    const std::string original = ReadWholeFile(path);
    const std::string libraryPath = SettingsManager::PresetLibraryPlistPathForName("Wedding");

    ProjectState state;
    ASSERT_TRUE(ProjectFile::LoadProjectAtPath(path, &state).ok());
    EXPECT_EQ(state.libraryName, "Wedding");
    // The library holds both presets and the thumbnail that stood at the legacy path.
    EXPECT_EQ(test::ReadPlist(libraryPath)["Presets"], old.dict["Presets"]);
    EXPECT_TRUE(fs::exists(old.warm->IconPathLibrary("Wedding")));
    EXPECT_FALSE(fs::exists(old.warm->IconPathLegacy()));
    // A copy of the original beside it, and the file itself without "Presets".
    EXPECT_EQ(ReadWholeFile(path + ".backup"), original);
    PlistValue withoutPresets = old.dict;
    withoutPresets.erase("Presets");
    EXPECT_EQ(test::ReadPlist(path), withoutPresets);
    // The map ties clip A to its preset in place (the look stays the clip's); an unknown GUID
    // leaves clip B as it was.
    auto a = sm.SettingsForClip(old.clipA);
    EXPECT_EQ(a->presetID() + " " + a->presetName(), old.warm->presetID() + " Warm");
    EXPECT_EQ(a->presetNumber(), 3);
    EXPECT_EQ(a->exposure(), 1.0f);
    EXPECT_EQ(sm.SettingsForClip(old.clipB)->presetID(), "");
    EXPECT_EQ(sm.presetCounter(), 10u);
    EXPECT_EQ(sm.presetList().count(), 0u);  // "Wedding" is not the library in use

    // Loading again finds nothing to migrate and leaves every file alone.
    const std::string backup = ReadWholeFile(path + ".backup"), library = ReadWholeFile(libraryPath),
                      rewritten = ReadWholeFile(path);
    sm.setCurrentPresetLibrary("Wedding");
    ASSERT_TRUE(ProjectFile::LoadProjectAtPath(path, &state).ok());
    EXPECT_EQ(ReadWholeFile(path + ".backup") + ReadWholeFile(path) + ReadWholeFile(libraryPath),
              backup + rewritten + library);
    EXPECT_EQ(sm.GetPresetWithGuid(old.warm->presetID()), nullptr);
    // With its library in use, the map finds the preset there.
    EXPECT_EQ(sm.SettingsForClip(old.clipA)->presetName(), "Warm");
    EXPECT_TRUE(sm.GetFactoryPresetWithGuid(old.warm->presetID())->isFactory());
}

// A read-only load (the command line) maps presets but writes nothing anywhere.
TEST_F(ProjectFiles, AReadOnlyLoadOfAnOldProjectLeavesFilesAlone) {
    OldProject old;
    ProjectState state;
    const std::string path = Write(dir, "Shared.xml", old.dict);
    const std::string bytes = ReadWholeFile(path);
    ASSERT_TRUE(ProjectFile::LoadProjectAtPath(path, &state, SettingsManager::Migration::kReadOnly).ok());
    EXPECT_EQ(ReadWholeFile(path), bytes);
    EXPECT_FALSE(fs::exists(path + ".backup"));
    EXPECT_FALSE(fs::exists(SettingsManager::PresetLibraryPathForName("Shared")));
    EXPECT_EQ(sm.SettingsForClip(old.clipA)->presetName(), "Warm");
}

TEST_F(ProjectFiles, StoredGrainScalesThatAreNotAboveZeroAreMendedNotFatal) {
    const PlistValue dict = D{{"clips", D{{"/neg.mov", D{{"grainScale", -2.0}}},
                                          {"/nan.mov", D{{"grainScale", std::nan("")}}},
                                          {"/fine.mov", D{{"grainScale", 0.5}}}}}};
    ASSERT_TRUE(ProjectFile::LoadProjectAtPath(Write(dir, "scales.xml", dict), nullptr).ok());
    for (const auto& [clip, scale] :
         std::map<std::string, float>{{"/neg.mov", 1.0f}, {"/nan.mov", 1.0f}, {"/fine.mov", 0.5f}})
        EXPECT_EQ(sm.SettingsForClip(clip)->grainScale(), scale) << clip;
}

TEST_F(ProjectFiles, MovedFootageIsFollowedInTheStacksAndTheSnippetList) {
    const std::string oldPath = "/Volumes/Card 1/A001_C001_0101AB_001.R3D";
    const std::string newPath = "/mnt/raid/day1/A001_C001_0101AB_001.R3D";
    sm.RegisterPath(oldPath);
    ClipSettings s;
    s.setStockName("5219");
    sm.PushSettingsForClip(s, oldPath);
    ProjectState state;
    state.snippetList = D{{"A001", SnippetFile("/Volumes/Card%201/A001_C001_0101AB_001.R3D", {5, 9, 30, 31})},
                          {"A001 again", SnippetFile(oldPath, {50, 60})},
                          {"other", SnippetFile("/other.mov", {1, 2})}};
    sm.ReplacePathWithPath(oldPath, newPath);
    EXPECT_EQ(ProjectFile::ReplacePathInSnippetList(state.snippetList, oldPath, newPath), 2);
    const std::string path = dir / "moved.xml";
    ASSERT_TRUE(ProjectFile::SaveProjectToPath(path, state).ok());
    EXPECT_EQ(ReadWholeFile(path).find("Volumes"), std::string::npos) << ReadWholeFile(path);
    const PlistValue saved = test::ReadPlist(path);
    EXPECT_EQ(saved["clips"][newPath]["stockName"].asString(), "5219");
    EXPECT_EQ(saved["SnippetList"]["A001"]["name"].asString(), "A001_C001_0101AB_001.R3D");
    EXPECT_EQ(Ints(ProjectFile::SnippetsForPath(saved["SnippetList"], newPath)), (std::vector<int>{5, 9, 30, 31}));
}

TEST_F(ProjectFiles, TheAutosaveStartsFromTheResourceAndCountsAsMyPresets) {
    std::string shipped;
    ASSERT_TRUE(FindResource("Resources/temp_save.xml", &shipped).ok()) << "the build's data root lacks temp_save.xml";
    const std::string path = ProjectFile::AutosavePath();
    EXPECT_EQ(path, HomeFolder() + "/Documents/Ombrel/Autosave/temp_save.xml");
    EXPECT_EQ(ReadWholeFile(path), ReadWholeFile(shipped));
    EXPECT_EQ(ProjectFile::LibraryNameForProjectPath(path), "My Presets");
    sm.RegisterPath("/saved.mov");
    ProjectState state;
    ASSERT_TRUE(ProjectFile::SaveProjectToPath(path, state).ok());
    EXPECT_EQ(ProjectFile::AutosavePath(), path);  // an existing autosave is kept
    EXPECT_EQ(test::ReadPlist(path)["Paths"].at(0).asString(), "/saved.mov");
    EXPECT_EQ(ProjectFile::PathWithProjectExtension("/p/Reel 2"), "/p/Reel 2.xml");
}

}  // namespace
}  // namespace ombrel
