// Project files on disk: what a save holds and a load gives back, the migration of the
// older kind, moved footage, the autosave, writes that fail, and files that cannot be read.
#include "model/ProjectFile.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>

#include "ModelTestSupport.h"
#include "core/Log.h"
#include "core/Paths.h"
#include "datafile/Resource.h"
#include "support/FileFaults.h"
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
    return D{{"sourcePath", path},
             {"name", LastPathComponent(path)},
             {"reference", LastPathComponent(path)},
             {"timecode", "01:00:00:00"},
             {"timecodeFrame", 86400},
             {"duration", 240},
             {"baseFps", 24.0f},
             {"isNtsc", false},
             {"isNeeded", true},
             {"KVCSnippetList", ranges}};
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
        s.setUserFrameIn(static_cast<int32_t>(10 * i));
        s.setPresetID("GUID-" + std::to_string(i));
        // The first clip gets eight versions: only the top is saved.
        for (int v = 0; v < (i == 0 ? 8 : 1); ++v) {
            s.setExposure(0.25f * static_cast<float>(v));
            sm.PushSettingsForClip(s, clips[i]);
        }
        tops[clips[i]] = sm.SettingsForClip(clips[i])->propertyList();
    }
    EXPECT_EQ(sm.GetStackForClip(clips[0]).size(), 4u);
    EXPECT_EQ(sm.SettingsForClip(clips[0])->exposure(), 1.75f);

    ProjectState state;
    state.outputSettings.SelectFormatMenuTag(kFormatTiff);
    state.outputSettings.setSize({1920, 1080});
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
    EXPECT_TRUE(loaded.hasPaths);
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

    // The ranges reach a clip's record as the render queue attaches them.
    ClipSettings queued;
    ProjectFile::SetSnippetsForSettingsAndPath(queued, loaded.snippetList, clips[1]);
    EXPECT_EQ(queued.snippets(), (std::vector<int>{12, 40, 96, 80}));
    EXPECT_EQ(queued.partialClipDictionary()["PullType"].asInt(), 1);
    EXPECT_EQ(Ints(queued.partialClipDictionary()["SnippetList"]), (std::vector<int>{12, 40, 96, 80}));
    ProjectFile::SetSnippetsForSettingsAndPath(queued, loaded.snippetList, clips[2]);
    EXPECT_FALSE(queued.hasSnippets());
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
        cold->setPresetName("Cold");
        cold->setPresetNumber(9);
        ClipSettings a, b;
        a.setExposure(1.0f);
        b.setExposure(-1.0f);
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
    EXPECT_NE(sm.GetPresetWithGuid(old.cold->presetID()), nullptr);
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

TEST_F(ProjectFiles, AnOldAutosaveFillsMyPresetsAndAReaderLeavesFilesAlone) {
    OldProject old;
    const std::string autosave = Write(dir, "temp_save.xml", old.dict);
    ProjectState state;
    ASSERT_TRUE(ProjectFile::LoadProjectAtPath(autosave, &state).ok());
    EXPECT_EQ(state.libraryName, "My Presets");
    EXPECT_TRUE(test::ReadPlist(SettingsManager::PresetLibraryPlistPathForName("My Presets"))["Presets"].contains(
        old.cold->presetID()));
    ASSERT_EQ(sm.presetList().count(), 2u);  // the library in use: the project's bar shows them
    EXPECT_EQ(sm.presetList().presetList()[0]->presetName(), "Warm");
    EXPECT_TRUE(fs::exists(autosave + ".backup"));

    // A read-only load (the command line) maps presets but writes nothing anywhere.
    Reset();
    const std::string path = Write(dir, "Shared.xml", old.dict);
    const std::string bytes = ReadWholeFile(path);
    ASSERT_TRUE(ProjectFile::LoadProjectAtPath(path, &state, SettingsManager::Migration::kReadOnly).ok());
    EXPECT_EQ(ReadWholeFile(path), bytes);
    EXPECT_FALSE(fs::exists(path + ".backup"));
    EXPECT_FALSE(fs::exists(SettingsManager::PresetLibraryPathForName("Shared")));
    EXPECT_EQ(sm.SettingsForClip(old.clipA)->presetName(), "Warm");
}

TEST_F(ProjectFiles, AProjectWithoutPathsKeepsTheClipsInMemory) {
    sm.RegisterPath("/kept.mov");
    ClipSettings kept, incoming;
    kept.setGamma(0.8f);
    incoming.setGamma(1.2f);
    sm.PushSettingsForClip(kept, "/kept.mov");
    const PlistValue clips = D{{"/kept.mov", incoming.propertyList()}, {"/new.mov", incoming.propertyList()}};
    ProjectState state;
    ASSERT_TRUE(ProjectFile::LoadProjectAtPath(Write(dir, "nopaths.xml", D{{"clips", clips}}), &state).ok());
    EXPECT_FALSE(state.hasPaths);
    EXPECT_EQ(sm.registeredPaths(), (std::vector<std::string>{"/kept.mov"}));
    EXPECT_EQ(sm.GetStackForClip("/kept.mov").size(), 2u);
    EXPECT_EQ(sm.SettingsForClip("/kept.mov")->gamma(), 1.2f);
    EXPECT_EQ(sm.SettingsForClip("/new.mov")->gamma(), 1.2f);
}

TEST_F(ProjectFiles, StoredGrainScalesThatAreNotAboveZeroAreMendedNotFatal) {
    PlistValue broken = RenderPreset().PropertyList();
    PlistValue look = broken["theSettings"];
    look.set("grainScale", -1.0);
    broken.set("theSettings", look);
    const std::string id = broken["presetID"].asString();
    const PlistValue dict = D{{"clips", D{{"/neg.mov", D{{"grainScale", -2.0}}},
                                          {"/nan.mov", D{{"grainScale", std::nan("")}}},
                                          {"/fine.mov", D{{"grainScale", 0.5}}}}},
                              {"Presets", D{{id, broken}}},
                              {"presetMap", D{{"/fresh.mov", id}}}};
    LogCapture log;
    ASSERT_TRUE(ProjectFile::LoadProjectAtPath(Write(dir, "scales.xml", dict), nullptr).ok());
    // "/fresh.mov" is pushed from the mended preset.
    for (const auto& [clip, scale] : std::map<std::string, float>{
             {"/neg.mov", 1.0f}, {"/nan.mov", 1.0f}, {"/fine.mov", 0.5f}, {"/fresh.mov", 1.0f}})
        EXPECT_EQ(sm.SettingsForClip(clip)->grainScale(), scale) << clip;
    EXPECT_GE(log.Count("grain scale of"), 3u);
}

TEST_F(ProjectFiles, MovedFootageIsFollowedInTheStacksAndTheSnippetList) {
    const std::string oldPath = "/Volumes/Card 1/A001_C001_0101AB_001.R3D";
    const std::string newPath = "/mnt/raid/day1/A001_C001_0101AB_001.R3D";
    for (const auto& p : {oldPath, std::string("/other.mov")}) {
        sm.RegisterPath(p);
        ClipSettings s;
        s.setStockName("5219");
        sm.PushSettingsForClip(s, p);
    }
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
    EXPECT_EQ(saved["Paths"].at(1).asString(), newPath);
    EXPECT_EQ(saved["SnippetList"]["A001"]["name"].asString(), "A001_C001_0101AB_001.R3D");
    EXPECT_EQ(Ints(ProjectFile::SnippetsForPath(saved["SnippetList"], newPath)), (std::vector<int>{5, 9, 30, 31}));
    EXPECT_EQ(Ints(ProjectFile::SnippetsForPath(saved["SnippetList"], "/other.mov")), (std::vector<int>{1, 2}));
}

TEST_F(ProjectFiles, AWriteThatRunsOutOfSpaceLeavesThePreviousProject) {
    const std::string path = dir / "project.xml";
    sm.RegisterPath("/first.mov");
    ProjectState state;
    ASSERT_TRUE(ProjectFile::SaveProjectToPath(path, state).ok());
    const std::string before = ReadWholeFile(path);
    for (int i = 0; i < 40; ++i) sm.RegisterPath("/footage/clip" + std::to_string(i) + ".mov");
    Status s;
    LogCapture log;
    {
        test::FileSizeLimit limit(before.size() + 512);
        ASSERT_TRUE(limit.ok());
        s = ProjectFile::SaveProjectToPath(path, state);
    }
    EXPECT_NE(s.message().find(path), std::string::npos) << s.message();
    EXPECT_TRUE(log.Contains("Error writing to " + path));
    EXPECT_EQ(ReadWholeFile(path), before);
    EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 1);  // no partial file

    // A writer that fails outright is reported the same way, and the file stays.
    auto failing = [](const std::string&, std::string_view) { return IoError("No space left on device"); };
    EXPECT_EQ(ProjectFile::SaveProjectToPath(path, state, failing).message(), "No space left on device");
    EXPECT_EQ(ReadWholeFile(path), before);
    // And with room again, the bigger project is written whole.
    ASSERT_TRUE(ProjectFile::SaveProjectToPath(path, state).ok());
    EXPECT_EQ(test::ReadPlist(path)["Paths"].size(), 41u);
}

std::string Nested(const char* open, const char* close, int depth) {
    std::string text = "<key>deep</key>";
    for (int i = 0; i < depth; ++i) text += open;
    text += "<true/>";
    for (int i = 0; i < depth; ++i) text += close;
    return text + "</dict>\n</plist>\n";
}

TEST_F(ProjectFiles, AFileThatCannotBeParsedIsRefusedByLineAndChangesNothing) {
    sm.RegisterPath("/open.mov");
    ClipSettings s;
    s.setExposure(2.0f);
    sm.PushSettingsForClip(s, "/open.mov");
    const std::string head =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
        "<plist version=\"1.0\">\n<dict>\n\t<key>Paths</key>\n\t<array/>\n";
    // The structural check walks nesting with a bound and names the line where it gave up.
    const struct {
        const char *name, *why;
        std::string text;
    } rows[] = {
        {"Cut", "line 9:", head + "\t<key>clips</key>\n\t<dict>\n\t\t<key>/a.m"},
        {"WrongClosingTag", "line 9:", head + "\t<key>clips</key>\n\t<dict>\n\t</array>\n</dict>\n</plist>\n"},
        {"IntegerText", "line 8:", head + "\t<key>n</key>\n\t<integer>twelve</integer>\n</dict>\n</plist>\n"},
        {"KeyWithoutValue", "line 7:", head + "\t<key>lonely</key>\n</dict>\n</plist>\n"},
        {"UnknownElement", "line 8:", head + "\t<key>x</key>\n\t<banana/>\n</dict>\n</plist>\n"},
        {"Empty", "line 1:", ""},
        {"OldTextForm", "line 1:", "Paths = (a, b)\n"},
        {"Arrays256", "line 7: nested deeper than 256 levels", head + Nested("<array>", "</array>", 256)},
        {"TopLevelArray", "not a project file", "<plist><array><string>/a.mov</string></array></plist>"},
        {"Arrays255", "", head + Nested("<array>", "</array>", 255)},  // last: it replaces the open project
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string path = dir / (std::string(row.name) + ".xml");
        test::WriteWholeFile(path, row.text);
        ProjectState state;
        state.libraryName = "untouched";
        const Status loaded = ProjectFile::LoadProjectAtPath(path, &state, SettingsManager::Migration::kReadOnly);
        EXPECT_EQ(ReadWholeFile(path), row.text);
        if (!*row.why) {
            EXPECT_TRUE(loaded.ok()) << loaded.message();
            continue;
        }
        EXPECT_EQ(loaded.code(), Status::Code::kInvalid);
        EXPECT_EQ(loaded.message().rfind(path, 0), 0u) << loaded.message();
        EXPECT_NE(loaded.message().find(row.why), std::string::npos) << loaded.message();
        EXPECT_EQ(state.libraryName, "untouched");
        // Nothing of the open project was cleared.
        EXPECT_EQ(sm.registeredPaths(), (std::vector<std::string>{"/open.mov"}));
        EXPECT_EQ(sm.SettingsForClip("/open.mov")->exposure(), 2.0f);
    }
    const Status absent = ProjectFile::LoadProjectAtPath(dir / "absent.xml", nullptr);
    EXPECT_EQ(absent.code(), Status::Code::kNotFound);
    EXPECT_NE(absent.message().find("absent.xml"), std::string::npos);
}

TEST_F(ProjectFiles, AClipWhoseSettingsARenderMustNotTakeIsNamedWithWhy) {
    const PlistValue clips =
        D{{"/clips/bad.R3D", D{{"grainName", "CP99"}}}, {"/clips/good.R3D", D{{"grainName", "CP16"}}}};
    ProjectState state;
    ASSERT_TRUE(ProjectFile::LoadProjectAtPath(Write(dir, "p.xml", D{{"clips", clips}}), &state,
                                               SettingsManager::Migration::kReadOnly)
                    .ok());
    ASSERT_EQ(state.clipFaults.size(), 1u);
    EXPECT_NE(state.clipFaults["/clips/bad.R3D"].find("grainName \"CP99\""), std::string::npos);
}

TEST_F(ProjectFiles, TheAutosaveStartsFromTheResourceAndCountsAsMyPresets) {
    std::string shipped;
    ASSERT_TRUE(FindResource("Resources/temp_save.xml", &shipped).ok()) << "the build's data root lacks temp_save.xml";
    const std::string path = ProjectFile::AutosavePath();
    EXPECT_EQ(path, HomeFolder() + "/Documents/Ombrel/Autosave/temp_save.xml");
    EXPECT_EQ(ReadWholeFile(path), ReadWholeFile(shipped));
    EXPECT_EQ(ProjectFile::LibraryNameForProjectPath(path), "My Presets");
    sm.RegisterPath("/x.mov");
    ProjectState state;
    ASSERT_TRUE(ProjectFile::LoadProjectAtPath(path, &state).ok());
    EXPECT_TRUE(sm.registeredPaths().empty());  // a first run starts with an empty project

    sm.RegisterPath("/saved.mov");
    ASSERT_TRUE(ProjectFile::SaveProjectToPath(ProjectFile::AutosavePath(), state).ok());
    EXPECT_EQ(ProjectFile::AutosavePath(), path);  // an existing autosave is kept
    EXPECT_EQ(test::ReadPlist(path)["Paths"].at(0).asString(), "/saved.mov");

    EXPECT_EQ(ProjectFile::PathWithProjectExtension("/p/Reel 2"), "/p/Reel 2.xml");
    EXPECT_EQ(ProjectFile::PathWithProjectExtension("/p/Reel 2.plist"), "/p/Reel 2.plist");
    EXPECT_EQ(ProjectFile::LibraryNameForProjectPath("/p/Reel 2.xml"), "Reel 2");
}

}  // namespace
}  // namespace ombrel
