#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

#include "FakeControls.h"
#include "core/MainQueue.h"
#include "core/Paths.h"
#include "look/AppState.h"
#include "model/ProjectFile.h"
#include "model/SettingsManager.h"
#include "render/DefaultRenderers.h"
#include "render/RenderManager.h"
#include "sources/testing/TestPatternSource.h"
#include "support/Movies.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

namespace fs = std::filesystem;
using test::ControllerRig;

TEST(GuiControllerStart, FirstRunMakesVersionedDefaultsAndTheRenderFolder) {
    ControllerRig rig;
    GuiController& c = rig.controller;
    c.awakeFromNib();
    ASSERT_TRUE(c.defaultsDictionary());
    EXPECT_EQ((*c.defaultsDictionary())["version"].asReal(), 0.1);
    EXPECT_EQ(c.destList(), std::vector<std::string>{ExpandTilde("~/Documents/Ombrel/Render/")});
    EXPECT_TRUE(rig.controls.quarter.on);
    EXPECT_FALSE(rig.controls.heading.enabled);
    EXPECT_TRUE(rig.controls.rocket.on);
    EXPECT_TRUE(rig.controls.changeCameraButton.hidden);

    c.applicationDidFinishLaunching();
    EXPECT_EQ(rig.controls.window.title, "Ombrel\u2122 0.1.0");
    // The first key restores the autosave, which a first run copies from the resource.
    c.windowDidBecomeKey();
    EXPECT_TRUE(fs::exists(c.autosavePath()));
    EXPECT_EQ(rig.controls.window.title, "Ombrel 0.1.0 - temp_save.xml");
    EXPECT_EQ((*c.defaultsDictionary())["LastProjectFile"].asString(), c.autosavePath());
    // Only once.
    rig.controls.window.title.clear();
    c.windowDidBecomeKey();
    EXPECT_EQ(rig.controls.window.title, "");
    // The next start keeps what this one saved.
    c.SaveUserDefaults();
    ControllerRig again(rig.store);
    again.controller.awakeFromNib();
    EXPECT_EQ((*again.controller.defaultsDictionary())["LastProjectFile"].asString(), c.autosavePath());
}

TEST(GuiControllerStart, SettingsOfAnotherVersionAreDropped) {
    struct Case {
        const char* written;  // the version that wrote "GuiSettings"
        bool kept;
    };
    // "0.1.0" and "0.1.1" both read as 0.1.
    for (const Case& k : {Case{"0.1.1", true}, Case{"0.2", false}, Case{nullptr, false}}) {
        auto store = std::make_shared<platform::MemoryPreferencesStore>();
        PlistValue stored = PlistValue::MakeDict();
        if (k.written) stored.set("version", std::strtod(k.written, nullptr));
        PlistValue list = PlistValue::MakeArray();
        list.append("/elsewhere");
        stored.set("destList", list);
        ASSERT_TRUE(store->Write("GuiSettings", stored).ok());
        ControllerRig rig(store);
        rig.controller.awakeFromNib();
        EXPECT_EQ(rig.controller.destList().front() == "/elsewhere", k.kept) << (k.written ? k.written : "none");
        EXPECT_TRUE(rig.controller.defaultsDictionary()->contains("version"));
    }
}

class GuiControllerClips : public ::testing::Test {
protected:
    void SetUp() override {
        MainQueue::Instance().AdoptCurrentThread();
        for (int i = 0; i < 3; ++i)
            clips_.push_back(test::DemoClipCopy(dir_.path(), "A001_C00" + std::to_string(i + 1) + "_0101AB_001.R3D"));
        c().setAutosavePathProvider([this] { return dir_ / "autosave.xml"; });
        c().awakeFromNib();
    }
    void TearDown() override { c().guiCtrl()->WaitForPreviewLoop(); }
    GuiController& c() { return rig_.controller; }
    void Add(size_t n) {
        for (size_t i = 0; i < n; ++i) c().shotList().AddPath(clips_[i]);
    }
    std::string Open() const { return rig_.controller.guiModel()->filename().value_or(""); }

    test::TempDir dir_;
    ControllerRig rig_;
    std::vector<std::string> clips_;
};

TEST_F(GuiControllerClips, TabChanges) {
    struct Row {
        const char* name;
        size_t clips;
        int open;  // the clip in the viewer before the change, -1 for none
        int tag;
        int page, index, shown;  // afterwards; shown -1 for no clip
    };
    const Row rows[] = {
        {"browse", 2, 1, 1, 0, 1, 1},
        {"render keeps the clip", 2, 1, 3, 2, 1, 1},
        {"film, empty list: no clip and no failure", 0, -1, 2, 1, 0, -1},
        {"film, nothing open: the first opens", 2, -1, 2, 1, 0, 0},
        {"film, the open clip is found in the list", 3, 2, 2, 1, 2, 2},
        {"no such tab", 2, 1, 4, -1, 1, 1},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        ControllerRig rig;
        GuiController& g = rig.controller;
        g.setAutosavePathProvider([this] { return dir_ / "autosave.xml"; });
        g.awakeFromNib();
        for (size_t i = 0; i < r.clips; ++i) g.shotList().AddPath(clips_[i]);
        if (r.open >= 0) g.SelectFile(r.open);
        fs::remove(dir_ / "autosave.xml");
        rig.controls.mainTabView.index = -1;
        AppState::Instance().setTabId(0);
        g.TabChanged(r.tag);
        g.guiCtrl()->WaitForPreviewLoop();
        EXPECT_EQ(rig.controls.mainTabView.index, r.page);
        EXPECT_EQ(g.currentFileIndex(), r.index);
        EXPECT_EQ(g.guiModel()->filename().value_or(""), r.shown < 0 ? "" : clips_[r.shown]);
        if (r.page < 0) {
            EXPECT_EQ(AppState::Instance().tabId(), 0);
            EXPECT_FALSE(fs::exists(dir_ / "autosave.xml"));
            continue;
        }
        EXPECT_EQ(AppState::Instance().tabId(), r.tag);
        EXPECT_EQ(g.currentTabTag(), r.tag);
        if (r.tag == 2 && r.shown >= 0) {
            EXPECT_EQ(rig.controls.strip.selection, std::vector<size_t>{size_t(r.index)});
        }
        // Every change of tab autosaves the clip on show.
        PlistValue saved;
        ASSERT_TRUE(ProjectFile::ReadPropertyList(dir_ / "autosave.xml", &saved).ok());
        EXPECT_EQ(saved["CurrentOpenFile"].asString(""), r.shown < 0 ? "" : clips_[r.shown]);
    }
}

TEST_F(GuiControllerClips, OpeningTheSameClipTwiceChangesNothing) {
    Add(1);
    c().OpenFile(clips_[0]);
    c().guiCtrl()->WaitForPreviewLoop();
    const uint64_t decodes = c().guiCtrlRed()->decodes();
    rig_.controls.timer.pending.clear();
    c().OpenFile(clips_[0]);
    c().guiCtrl()->WaitForPreviewLoop();
    EXPECT_EQ(c().guiCtrlRed()->decodes(), decodes);
    EXPECT_TRUE(rig_.controls.timer.pending.empty());
}

TEST_F(GuiControllerClips, AnOpenRefusedWhileTheLockIsBusyCatchesUp) {
    Add(2);
    c().SelectFile(0);
    ASSERT_EQ(Open(), clips_[0]);
    std::atomic<bool> held{false}, release{false};
    std::thread other([&] {
        std::lock_guard lock(c().openFileLock());
        held = true;
        while (!release) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    });
    while (!held) std::this_thread::yield();
    c().SelectFile(1);
    EXPECT_EQ(Open(), clips_[0]);
    EXPECT_EQ(c().currentFileIndex(), 1);
    release = true;
    other.join();
    // The timer of the last open that finished repairs the viewer from the index.
    rig_.controls.timer.FireAll();
    EXPECT_EQ(Open(), clips_[1]);
    EXPECT_EQ(c().guiCtrlRed()->renderSource()->FilePath(), clips_[1]);
}

TEST_F(GuiControllerClips, EachSideSetsUpItsControls) {
    const std::string movie = dir_ / "clip.mov";
    ASSERT_TRUE(test::MakeMovie(test::TestPattern("24", 4) + test::kRawVideo, movie));
    c().shotList().AddPath(movie);
    Add(1);
    struct Row {
        std::string path;
        int state, timecodePage, cameraPage;
        bool cameraHidden;
    };
    for (const Row& r : {Row{clips_[0], 0, 0, 0, true}, Row{movie, 1, 1, 1, false}}) {
        rig_.controls.useMetadata.on = true;
        c().OpenFile(r.path);
        EXPECT_EQ(AppState::Instance().State(), r.state) << r.path;
        EXPECT_EQ(c().guiCtrl(), r.state == 0 ? static_cast<GuiControllerEventProtocol*>(c().guiCtrlRed())
                                              : c().guiCtrlQt());
        EXPECT_EQ(rig_.controls.timecodeTab.index, r.timecodePage);
        EXPECT_EQ(rig_.controls.cameraDownloadTabView.index, r.cameraPage);
        EXPECT_EQ(rig_.controls.changeCameraButton.hidden, r.cameraHidden);
        EXPECT_EQ(rig_.controls.play.hidden, r.state == 0);
        if (r.state == 1) {
            EXPECT_FALSE(rig_.controls.useMetadata.on || c().guiModel()->useMetadata());
        }
    }
}

TEST_F(GuiControllerClips, TheFilmStripTakesACameraForItsMovieClips) {
    const std::string first = dir_ / "a.mov", second = dir_ / "b.mov";
    ASSERT_TRUE(test::MakeMovie(test::TestPattern("24", 2) + test::kRawVideo, first));
    fs::copy_file(first, second);
    c().shotList().AddPath(first);
    Add(1);
    c().shotList().AddPath(second);
    ClipSettings camera;
    camera.setSourceCameraChosen("LogFlat");
    camera.setDisplayModel("Log camera");
    auto chosen = [](const std::string& path) {
        const ClipSettingsPtr s = SettingsManager::Instance().SettingsForClip(path);
        return s ? s->sourceCameraChosen().value_or("") : "";
    };
    rig_.controls.strip.selection = {0, 1};
    c().ApplyCameraChoiceToAll(camera, false);
    EXPECT_EQ(chosen(first), "LogFlat");
    EXPECT_EQ(chosen(clips_[0]), "");  // R3D clips take their camera from the file
    EXPECT_EQ(chosen(second), "");
    c().ApplyCameraChoiceToAll(camera, true);
    EXPECT_EQ(chosen(second), "LogFlat");
    EXPECT_EQ(SettingsManager::Instance().SettingsForClip(second)->displayModel(), "Log camera");
}

TEST_F(GuiControllerClips, WalkingTheShotList) {
    // Empty: nothing.
    c().NextFile();
    c().PrevFile();
    EXPECT_EQ(Open(), "");
    // One clip: the index stays.
    Add(1);
    c().NextFile();
    c().NextFile();
    EXPECT_EQ(c().currentFileIndex(), 0);
    EXPECT_EQ(Open(), clips_[0]);
    // Three: wrapping at both ends.
    c().shotList().AddPath(clips_[1]);
    c().shotList().AddPath(clips_[2]);
    c().PrevFile();
    EXPECT_EQ(c().currentFileIndex(), 2);
    EXPECT_EQ(Open(), clips_[2]);
    c().NextFile();
    EXPECT_EQ(c().currentFileIndex(), 0);
    // Several selected in the strip: a click on one opens nothing.
    rig_.controls.strip.selection = {0, 1};
    c().FileSelected(clips_[1]);
    c().ResetToCurrentFile();
    EXPECT_EQ(Open(), clips_[0]);
    // Out of range.
    rig_.controls.strip.selection = {0};
    c().SelectFile(3);
    EXPECT_EQ(Open(), clips_[0]);
}

TEST_F(GuiControllerClips, SavingAndLoadingAProject) {
    Add(2);
    c().SelectFile(1);
    c().guiModel()->setSaturation(0.5);
    c().guiCtrl()->WaitForPreviewLoop();
    const std::string project = dir_ / "p.xml";
    c().SaveProjectToPath(project);
    PlistValue saved;
    ASSERT_TRUE(ProjectFile::ReadPropertyList(project, &saved).ok());
    for (const char* key : {"outputSettings", "CurrentOpenFile", "SnippetList", "AppVersion", "Paths", "clips"})
        EXPECT_TRUE(saved.contains(key)) << key;
    EXPECT_EQ(saved["AppVersion"].asString(), "0.1.0");
    EXPECT_EQ(SettingsManager::Instance().SettingsForClip(clips_[1])->saturation(), 0.5);

    // Into a fresh window: the list, the settings and the clip on show come back.
    ControllerRig other;
    other.controller.awakeFromNib();
    other.controller.LoadProjectAtPath(project);
    EXPECT_EQ(other.controller.shotList().Count(), 2u);
    EXPECT_EQ(other.controller.guiModel()->filename(), clips_[1]);
    EXPECT_EQ(other.controller.guiModel()->saturation(), 0.5);
    EXPECT_EQ(other.controller.projectFilename(), project);
    other.controller.guiCtrl()->WaitForPreviewLoop();

    // A current file that is gone is skipped; the viewer stays as it was.
    saved.set("CurrentOpenFile", dir_ / "gone.R3D");
    ASSERT_TRUE(ProjectFile::WritePropertyList(saved, project).ok());
    ControllerRig third;
    third.controller.LoadProjectAtPath(project);
    EXPECT_FALSE(third.controller.guiModel()->filename());
    EXPECT_EQ(third.controller.shotList().Count(), 2u);
}

TEST_F(GuiControllerClips, SaveAsksForAPathOnceAndAddsTheExtension) {
    rig_.controls.modal.answers = {dir_ / "named"};
    c().SaveProject();
    EXPECT_EQ(c().projectFilename(), dir_ / "named.xml");
    EXPECT_TRUE(fs::exists(dir_ / "named.xml"));
    c().SaveProject();
    EXPECT_EQ(rig_.controls.modal.shown.size(), 1u);
    // A cancelled panel saves nothing.
    ControllerRig other;
    other.controller.SaveProject();
    EXPECT_EQ(other.controller.projectFilename(), "");
}

TEST_F(GuiControllerClips, QuittingDuringARunWaitsForTheWorkerThenAutosaves) {
    Add(1);
    c().SelectFile(0);
    RegisterDefaultRenderers();
    test::TestPatternConfig slow;
    slow.frames = 2000;
    slow.decodeLatency = std::chrono::milliseconds(2);
    test::ScopedTestPatternSources sources(slow);
    auto out = OutputSettings::Make();
    out->setOutputDirectory(dir_ / "out");
    auto clip = ClipSettings::Make();
    clip->setTotalFrames(2000);
    auto& rm = RenderManager::Instance();
    rm.Reset();
    ASSERT_TRUE(rm.AddItem(RenderManagerItem::Make(dir_ / "run.mov", 2000, clip, out)));
    rm.StartRender(nullptr);
    MainQueue::Instance().ServeFor(std::chrono::milliseconds(50));
    ASSERT_GT(rm.activeThreads(), 0);
    EXPECT_TRUE(c().applicationShouldTerminate());
    EXPECT_EQ(rm.activeThreads(), 0);
    PlistValue saved;
    ASSERT_TRUE(ProjectFile::ReadPropertyList(dir_ / "autosave.xml", &saved).ok());
    EXPECT_EQ(saved["CurrentOpenFile"].asString(), clips_[0]);
    rm.Reset();
}

TEST_F(GuiControllerClips, DecodeSettingsMenu) {
    c().DebayerChanged(2);
    EXPECT_EQ(rig_.controller.preferences().integerForKey("debayerSetting"), 2);
    EXPECT_TRUE(rig_.controls.half.on);
    EXPECT_FALSE(rig_.controls.quarter.on);
    rig_.controls.rocket.on = true;
    c().EnableRocketClicked();
    EXPECT_EQ(rig_.controller.preferences().boolForKey("useRocket"), false);
    EXPECT_FALSE(rig_.controls.rocket.on);
}

}  // namespace
}  // namespace ombrel
