// Project files on disk: what a save holds and a load gives back, the migration of the
// older kind, moved footage, the autosave, writes that fail, and files that cannot be read.
#include "model/ProjectFile.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cmath>
#include <csignal>
#include <cstdlib>
#include <filesystem>

#include "ModelTestSupport.h"
#include "core/Log.h"
#include "core/Paths.h"
#include "datafile/Resource.h"
#include "support/FileFaults.h"
#include "support/Plists.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {
namespace fs = std::filesystem;

using ProjectFiles = test::SettingsStore;
using test::GiveCamera;

// One file of the shot list's snippet dictionary, as the editorial readers store it.
PlistValue SnippetFile(const std::string& path, std::vector<double> ranges) {
    PlistValue f = PlistValue::MakeDict();
    f.set("sourcePath", path);
    f.set("name", LastPathComponent(path));
    f.set("reference", LastPathComponent(path));
    f.set("timecode", "01:00:00:00");
    f.set("timecodeFrame", 86400);
    f.set("duration", 240);
    f.set("baseFps", 24.0f);
    f.set("isNtsc", false);
    f.set("isNeeded", true);
    PlistValue list = PlistValue::MakeArray();
    for (double r : ranges) list.append(r);
    f.set("KVCSnippetList", list);
    return f;
}

std::vector<int> Ints(const PlistValue& array) {
    std::vector<int> out;
    for (const auto& v : array.asArray()) out.push_back(static_cast<int>(v.asInt()));
    return out;
}

std::string Python() {
    for (const char* candidate : {"/usr/bin/python3", "/usr/local/bin/python3", "/bin/python3"})
        if (::access(candidate, X_OK) == 0) return candidate;
    return {};
}

TEST_F(ProjectFiles, ASavedProjectLoadsToEqualRecords) {
    const std::vector<std::string> clips = {"/footage/A001_C001_0101AB_001.R3D", "/footage/interview.mov",
                                            "/footage/B002_C010_0202CD_001.R3D"};
    std::map<std::string, PlistValue> tops;
    for (size_t i = 0; i < clips.size(); ++i) {
        sm.RegisterPath(clips[i]);
        ClipSettings s;
        GiveCamera(s, "Cam" + std::to_string(i));
        s.setStockName(i == 1 ? "5219" : "5213");
        s.setGrainName("CP16");
        s.setLift(0.875f);
        s.setSaturation(1.25);
        s.setColorChangePercent(0.3);
        ColorBallInfo balls;
        balls.h[0] = 0.5f;
        balls.s[1] = -1.25f;
        s.setBallInfo(balls);
        s.setUserFrameIn(static_cast<int32_t>(10 * i));
        s.setUserFrameOut(static_cast<int32_t>(100 + i));
        s.setPresetID("GUID-" + std::to_string(i));
        s.setPresetName("Look " + std::to_string(i));
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
    state.outputSettings.setOutputSizeTag(4);
    state.outputSettings.setFolders(2);
    state.outputSettings.setOverwrite(1);
    state.outputSettings.setOutputDirectory("/renders/day 1");
    state.currentOpenFile = clips[1];
    state.snippetList = PlistValue::MakeDict();
    state.snippetList.set("interview.mov", SnippetFile(clips[1], {12, 40, 96, 80}));
    state.snippetList.set("A001_C001", SnippetFile(clips[0], {0, 5}));
    state.appVersion = "0.1.0";
    const std::string path = dir / "Day One.xml";
    Status s = ProjectFile::SaveProjectToPath(path, state);
    ASSERT_TRUE(s.ok()) << s.message();

    sm.ClearSettingsManager();
    sm.RegisterPath("/left/over.mov");
    ProjectState loaded;
    s = ProjectFile::LoadProjectAtPath(path, &loaded);
    ASSERT_TRUE(s.ok()) << s.message();
    EXPECT_TRUE(loaded.hasPaths);
    EXPECT_EQ(loaded.paths, clips);
    EXPECT_EQ(sm.registeredPaths(), clips);  // "Paths" replaced what was there
    for (const auto& clip : clips) {
        ASSERT_NE(sm.SettingsForClip(clip), nullptr) << clip;
        EXPECT_EQ(sm.SettingsForClip(clip)->propertyList(), tops[clip]) << clip;
        EXPECT_TRUE(sm.SettingsForClip(clip)->IsTheSameAs(*sm.SettingsForClip(clip)));
    }
    EXPECT_EQ(sm.GetStackForClip(clips[0]).size(), 1u);  // the undo history is not saved
    // A frame format stores codec 0, which loads as 5; the rest comes back as it was.
    PlistValue expectedOutput = state.outputSettings.propertyList();
    EXPECT_EQ(test::ReadPlist(path)["outputSettings"], expectedOutput);
    expectedOutput.set("qtCodec", 5);
    EXPECT_EQ(loaded.outputSettings.propertyList(), expectedOutput);
    EXPECT_EQ(loaded.currentOpenFile, clips[1]);
    EXPECT_EQ(loaded.snippetList, state.snippetList);
    EXPECT_EQ(loaded.libraryName, "Day One");

    // The ranges reach a clip's record as the render queue attaches them.
    ClipSettings queued;
    ProjectFile::SetSnippetsForSettingsAndPath(queued, loaded.snippetList, clips[1]);
    ASSERT_TRUE(queued.snippets().has_value());
    EXPECT_EQ(*queued.snippets(), (std::vector<int>{12, 40, 96, 80}));
    EXPECT_EQ(queued.partialClipDictionary()["PullType"].asInt(), 1);
    EXPECT_EQ(Ints(queued.partialClipDictionary()["SnippetList"]), (std::vector<int>{12, 40, 96, 80}));
    ProjectFile::SetSnippetsForSettingsAndPath(queued, loaded.snippetList, clips[2]);
    EXPECT_FALSE(queued.hasSnippets());
}

TEST_F(ProjectFiles, AnIndependentReaderTakesTheFile) {
    const std::string python = Python();
    if (python.empty()) GTEST_SKIP() << "python3 is not installed";
    ClipSettings s;
    GiveCamera(s, "Café <&> \"quoted\"");
    s.setPresetName("Ünïcode & more");
    const std::string clip = "/footage/with space & ampersand.mov";
    sm.RegisterPath(clip);
    sm.PushSettingsForClip(s, clip);
    ProjectState state;
    state.snippetList.set("x", SnippetFile(clip, {1, 2}));
    const std::string path = dir / "independent.xml";
    ASSERT_TRUE(ProjectFile::SaveProjectToPath(path, state).ok());
    const std::string script = dir / "check.py";
    test::WriteWholeFile(script,
                         "import plistlib, sys\n"
                         "p = plistlib.load(open(sys.argv[1], 'rb'))\n"
                         "c = p['clips'][sys.argv[2]]\n"
                         "assert p['Paths'] == [sys.argv[2]], p['Paths']\n"
                         "assert c['displayModel'] == 'Model Caf\\u00e9 <&> \"quoted\"', c['displayModel']\n"
                         "assert c['kelvin'] == 5600.0 and c['lift'] == 1.0\n"
                         "assert p['outputSettings']['qtCodec'] == 5\n"
                         "assert p['SnippetList']['x']['KVCSnippetList'] == [1.0, 2.0]\n");
    const std::string cmd = python + " '" + script + "' '" + path + "' '" + clip + "' 2>&1";
    EXPECT_EQ(std::system(cmd.c_str()), 0) << test::ReadWholeFile(path);
}

// Writes an old project: two presets in the file, a map from clips to them.
struct OldProject {
    RenderPresetPtr warm = RenderPreset::Make();
    RenderPresetPtr cold = RenderPreset::Make();
    PlistValue dict = PlistValue::MakeDict();
    const std::string clipA = "/footage/A.mov";
    const std::string clipB = "/footage/B.mov";

    OldProject() {
        warm->setPresetName("Warm");
        warm->setPresetNumber(3);
        warm->Settings()->setKelvin(4300.0f);
        cold->setPresetName("Cold");
        cold->setPresetNumber(9);
        PlistValue presets = PlistValue::MakeDict();
        presets.set(warm->presetID(), warm->PropertyList());
        presets.set(cold->presetID(), cold->PropertyList());
        dict.set("Presets", presets);
        PlistValue map = PlistValue::MakeDict();
        map.set(clipA, warm->presetID());
        map.set(clipB, "5F0E6D2B-0000-4000-8000-000000000000");  // a preset nobody has
        dict.set("presetMap", map);
        PlistValue clips = PlistValue::MakeDict();
        ClipSettings a, b;
        a.setExposure(1.0f);
        b.setExposure(-1.0f);
        clips.set(clipA, a.propertyList());
        clips.set(clipB, b.propertyList());
        dict.set("clips", clips);
        PlistValue paths = PlistValue::MakeArray();
        paths.append(clipA);
        paths.append(clipB);
        dict.set("Paths", paths);
    }
};

TEST_F(ProjectFiles, AnOldProjectMovesItsPresetsIntoALibraryOnce) {
    OldProject old;
    fs::create_directories(fs::path(old.warm->IconPathLegacy()).parent_path());
    ASSERT_TRUE(WriteImageAsTiff(Image(4, 4), old.warm->IconPathLegacy()).ok());
    const std::string path = dir / "Wedding.xml";
    ASSERT_TRUE(old.dict.WriteToFile(path).ok());
    const std::string original = test::ReadWholeFile(path);

    ProjectState state;
    ASSERT_TRUE(ProjectFile::LoadProjectAtPath(path, &state).ok());
    EXPECT_EQ(state.libraryName, "Wedding");
    // The library holds both presets and the thumbnail that stood at the legacy path.
    const PlistValue library = test::ReadPlist(SettingsManager::PresetLibraryPlistPathForName("Wedding"));
    EXPECT_EQ(library["Presets"].size(), 2u);
    EXPECT_EQ(library["Presets"][old.warm->presetID()]["presetName"].asString(), "Warm");
    EXPECT_TRUE(fs::exists(old.warm->IconPathLibrary("Wedding")));
    EXPECT_FALSE(fs::exists(old.warm->IconPathLegacy()));
    // A copy of the original beside it, and the file itself without "Presets".
    EXPECT_EQ(test::ReadWholeFile(path + ".backup"), original);
    const PlistValue rewritten = test::ReadPlist(path);
    EXPECT_FALSE(rewritten.contains("Presets"));
    EXPECT_TRUE(rewritten.contains("presetMap"));
    EXPECT_EQ(rewritten["clips"], old.dict["clips"]);
    // The map ties clip A to its preset; an unknown GUID leaves clip B as it was.
    auto a = sm.SettingsForClip(old.clipA);
    EXPECT_EQ(a->presetID(), old.warm->presetID());
    EXPECT_EQ(a->presetName(), "Warm");
    EXPECT_EQ(a->presetNumber(), 3);
    EXPECT_EQ(a->exposure(), 1.0f);  // mapped in place: the look stays the clip's
    EXPECT_EQ(sm.SettingsForClip(old.clipB)->presetID(), "");
    EXPECT_EQ(sm.presetCounter(), 10u);
    EXPECT_NE(sm.GetPresetWithGuid(old.cold->presetID()), nullptr);
    EXPECT_EQ(sm.presetList().count(), 0u);  // "Wedding" is not the library in use

    // Loading again finds nothing to migrate and leaves the backup alone.
    const std::string backup = test::ReadWholeFile(path + ".backup");
    const std::string libraryBytes = test::ReadWholeFile(SettingsManager::PresetLibraryPlistPathForName("Wedding"));
    const std::string rewrittenBytes = test::ReadWholeFile(path);
    sm.setCurrentPresetLibrary("Wedding");
    ASSERT_TRUE(ProjectFile::LoadProjectAtPath(path, &state).ok());
    EXPECT_EQ(test::ReadWholeFile(path + ".backup"), backup);
    EXPECT_EQ(test::ReadWholeFile(path), rewrittenBytes);
    EXPECT_EQ(test::ReadWholeFile(SettingsManager::PresetLibraryPlistPathForName("Wedding")), libraryBytes);
    EXPECT_EQ(sm.GetPresetWithGuid(old.warm->presetID()), nullptr);
    // With its library in use, the map finds the preset there.
    EXPECT_EQ(sm.SettingsForClip(old.clipA)->presetName(), "Warm");
    EXPECT_TRUE(sm.GetFactoryPresetWithGuid(old.warm->presetID())->isFactory());
}

TEST_F(ProjectFiles, AnOldAutosaveFillsMyPresetsAndAReaderLeavesFilesAlone) {
    OldProject old;
    const std::string autosave = dir / "temp_save.xml";
    ASSERT_TRUE(old.dict.WriteToFile(autosave).ok());
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
    const std::string path = dir / "Shared.xml";
    ASSERT_TRUE(old.dict.WriteToFile(path).ok());
    const std::string bytes = test::ReadWholeFile(path);
    ASSERT_TRUE(ProjectFile::LoadProjectAtPath(path, &state, SettingsManager::Migration::kReadOnly).ok());
    EXPECT_EQ(test::ReadWholeFile(path), bytes);
    EXPECT_FALSE(fs::exists(path + ".backup"));
    EXPECT_FALSE(fs::exists(SettingsManager::PresetLibraryPathForName("Shared")));
    EXPECT_EQ(sm.SettingsForClip(old.clipA)->presetName(), "Warm");
}

TEST_F(ProjectFiles, AProjectWithoutPathsKeepsTheClipsInMemory) {
    sm.RegisterPath("/kept.mov");
    ClipSettings kept;
    kept.setGamma(0.8f);
    sm.PushSettingsForClip(kept, "/kept.mov");
    PlistValue dict = PlistValue::MakeDict();
    PlistValue clips = PlistValue::MakeDict();
    ClipSettings incoming;
    incoming.setGamma(1.2f);
    clips.set("/kept.mov", incoming.propertyList());
    clips.set("/new.mov", incoming.propertyList());
    dict.set("clips", clips);
    const std::string path = dir / "nopaths.xml";
    ASSERT_TRUE(dict.WriteToFile(path).ok());
    ProjectState state;
    ASSERT_TRUE(ProjectFile::LoadProjectAtPath(path, &state).ok());
    EXPECT_FALSE(state.hasPaths);
    EXPECT_EQ(sm.registeredPaths(), (std::vector<std::string>{"/kept.mov"}));
    EXPECT_EQ(sm.GetStackForClip("/kept.mov").size(), 2u);
    EXPECT_EQ(sm.SettingsForClip("/kept.mov")->gamma(), 1.2f);
    EXPECT_EQ(sm.SettingsForClip("/new.mov")->gamma(), 1.2f);
}

TEST_F(ProjectFiles, StoredGrainScalesThatAreNotAboveZeroAreMendedNotFatal) {
    PlistValue clips = PlistValue::MakeDict();
    for (const auto& [clip, scale] :
         {std::pair<std::string, double>{"/neg.mov", -2.0}, {"/nan.mov", std::nan("")}, {"/fine.mov", 0.5}}) {
        PlistValue settings = PlistValue::MakeDict();
        settings.set("grainScale", scale);
        clips.set(clip, settings);
    }
    PlistValue broken = RenderPreset().PropertyList();
    PlistValue look = broken["theSettings"];
    look.set("grainScale", -1.0);
    broken.set("theSettings", look);
    PlistValue presets = PlistValue::MakeDict();
    presets.set(broken["presetID"].asString(), broken);
    PlistValue map = PlistValue::MakeDict();
    map.set("/fresh.mov", broken["presetID"]);
    PlistValue dict = PlistValue::MakeDict();
    dict.set("clips", clips);
    dict.set("Presets", presets);
    dict.set("presetMap", map);
    const std::string path = dir / "scales.xml";
    ASSERT_TRUE(dict.WriteToFile(path).ok());
    LogCapture log;
    ASSERT_TRUE(ProjectFile::LoadProjectAtPath(path, nullptr).ok());
    EXPECT_EQ(sm.SettingsForClip("/neg.mov")->grainScale(), 1.0f);
    EXPECT_EQ(sm.SettingsForClip("/nan.mov")->grainScale(), 1.0f);
    EXPECT_EQ(sm.SettingsForClip("/fine.mov")->grainScale(), 0.5f);
    EXPECT_EQ(sm.SettingsForClip("/fresh.mov")->grainScale(), 1.0f);  // pushed from the mended preset
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
    state.snippetList.set("A001", SnippetFile("/Volumes/Card%201/A001_C001_0101AB_001.R3D", {5, 9, 30, 31}));
    state.snippetList.set("A001 again", SnippetFile(oldPath, {50, 60}));
    state.snippetList.set("other", SnippetFile("/other.mov", {1, 2}));

    sm.ReplacePathWithPath(oldPath, newPath);
    EXPECT_EQ(ProjectFile::ReplacePathInSnippetList(state.snippetList, oldPath, newPath), 2);
    const std::string path = dir / "moved.xml";
    ASSERT_TRUE(ProjectFile::SaveProjectToPath(path, state).ok());
    const std::string text = test::ReadWholeFile(path);
    EXPECT_EQ(text.find("Volumes"), std::string::npos) << text;
    const PlistValue saved = test::ReadPlist(path);
    EXPECT_EQ(saved["clips"][newPath]["stockName"].asString(), "5219");
    EXPECT_EQ(saved["Paths"].at(1).asString(), newPath);
    EXPECT_EQ(saved["SnippetList"]["A001"]["name"].asString(), "A001_C001_0101AB_001.R3D");
    EXPECT_EQ(Ints(ProjectFile::SnippetsForPath(saved["SnippetList"], newPath)), (std::vector<int>{5, 9, 30, 31}));
    EXPECT_EQ(Ints(ProjectFile::SnippetsForPath(saved["SnippetList"], "/other.mov")), (std::vector<int>{1, 2}));
}

using test::FileSizeLimit;

TEST_F(ProjectFiles, AWriteThatRunsOutOfSpaceLeavesThePreviousProject) {
    const std::string path = dir / "project.xml";
    sm.RegisterPath("/first.mov");
    sm.PushSettingsForClip(ClipSettings(), "/first.mov");
    ProjectState state;
    ASSERT_TRUE(ProjectFile::SaveProjectToPath(path, state).ok());
    const std::string before = test::ReadWholeFile(path);

    for (int i = 0; i < 40; ++i) {
        const std::string clip = "/footage/clip" + std::to_string(i) + ".mov";
        sm.RegisterPath(clip);
        sm.PushSettingsForClip(ClipSettings(), clip);
    }
    Status s;
    LogCapture log;
    {
        FileSizeLimit limit(before.size() + 512);
        ASSERT_TRUE(limit.ok());
        s = ProjectFile::SaveProjectToPath(path, state);
    }
    EXPECT_FALSE(s.ok());
    EXPECT_NE(s.message().find(path), std::string::npos) << s.message();
    EXPECT_TRUE(log.Contains("Error writing to " + path));
    EXPECT_EQ(test::ReadWholeFile(path), before);
    EXPECT_TRUE(test::ReadPlist(path).isDict());
    size_t files = 0;
    for ([[maybe_unused]] const auto& entry : fs::directory_iterator(dir.path())) ++files;
    EXPECT_EQ(files, 1u);  // no partial file left beside it

    // A writer that fails outright is reported the same way, and the file stays.
    auto failing = [](const std::string&, std::string_view) { return IoError("No space left on device"); };
    EXPECT_EQ(ProjectFile::SaveProjectToPath(path, state, failing).message(), "No space left on device");
    EXPECT_EQ(test::ReadWholeFile(path), before);
    // And with room again, the bigger project is written whole.
    s = ProjectFile::SaveProjectToPath(path, state);
    ASSERT_TRUE(s.ok()) << s.message();
    EXPECT_EQ(test::ReadPlist(path)["Paths"].size(), 41u);
}

TEST_F(ProjectFiles, AFileThatCannotBeParsedIsRefusedByLineAndChangesNothing) {
    sm.RegisterPath("/open.mov");
    ClipSettings s;
    s.setExposure(2.0f);
    sm.PushSettingsForClip(s, "/open.mov");
    const std::string head =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
        "<plist version=\"1.0\">\n"
        "<dict>\n"
        "\t<key>Paths</key>\n"
        "\t<array/>\n";
    struct Case {
        std::string name, text, line;
    };
    const std::vector<Case> cases = {
        {"cut.xml", head + "\t<key>clips</key>\n\t<dict>\n\t\t<key>/a.m", "line 9"},
        {"tag.xml", head + "\t<key>clips</key>\n\t<dict>\n\t</array>\n</dict>\n</plist>\n", "line 9"},
        {"integer.xml", head + "\t<key>n</key>\n\t<integer>twelve</integer>\n</dict>\n</plist>\n", "line 8"},
        {"key.xml", head + "\t<key>lonely</key>\n</dict>\n</plist>\n", "line 7"},
        {"element.xml", head + "\t<key>x</key>\n\t<banana/>\n</dict>\n</plist>\n", "line 8"},
        {"empty.xml", "", "line 1"},
        {"text.xml", "Paths = (a, b)\n", "line 1"},
    };
    for (const auto& c : cases) {
        const std::string path = dir / c.name;
        test::WriteWholeFile(path, c.text);
        ProjectState state;
        state.libraryName = "untouched";
        const Status s = ProjectFile::LoadProjectAtPath(path, &state);
        const std::string& error = s.message();
        EXPECT_EQ(s.code(), Status::Code::kInvalid) << c.name;
        EXPECT_NE(error.find(path), std::string::npos) << error;
        EXPECT_NE(error.find(c.line + ":"), std::string::npos) << c.name << ": " << error;
        EXPECT_EQ(test::ReadWholeFile(path), c.text) << c.name;
        EXPECT_EQ(state.libraryName, "untouched");
        EXPECT_FALSE(fs::exists(path + ".backup"));
    }
    // A list whose top level is not a dictionary is no project either.
    PlistValue array = PlistValue::MakeArray();
    array.append("/a.mov");
    const std::string path = dir / "array.xml";
    ASSERT_TRUE(array.WriteToFile(path).ok());
    Status refused = ProjectFile::LoadProjectAtPath(path, nullptr);
    EXPECT_EQ(refused.code(), Status::Code::kInvalid);
    EXPECT_NE(refused.message().find("not a project file"), std::string::npos) << refused.message();
    refused = ProjectFile::LoadProjectAtPath(dir / "absent.xml", nullptr);
    EXPECT_EQ(refused.code(), Status::Code::kNotFound);
    EXPECT_NE(refused.message().find("absent.xml"), std::string::npos);
    // Nothing of the open project was cleared.
    EXPECT_EQ(sm.registeredPaths(), (std::vector<std::string>{"/open.mov"}));
    EXPECT_EQ(sm.SettingsForClip("/open.mov")->exposure(), 2.0f);
}

TEST_F(ProjectFiles, TheAutosaveStartsFromTheResourceAndCountsAsMyPresets) {
    std::string shipped;
    ASSERT_TRUE(FindResource("Resources/temp_save.xml", &shipped).ok()) << "the build's data root lacks temp_save.xml";
    const std::string path = ProjectFile::AutosavePath();
    EXPECT_EQ(path, HomeFolder() + "/Documents/Ombrel/Autosave/temp_save.xml");
    EXPECT_EQ(test::ReadWholeFile(path), test::ReadWholeFile(shipped));
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
