#include <gtest/gtest.h>

#include <filesystem>

#include "platform/prefs/Preferences.h"
#include "services/CameraChange.h"
#include "support/TempDir.h"

namespace ombrel::services {
namespace {

namespace fs = std::filesystem;

// The camera panels as a test sees them: popups in memory and a log of what was shown.
struct FakePanel : CameraPanelPort {
    MemoryPopup make, model, style, site;
    int row = 0;
    bool defaultBox = false;
    int tab = 1;
    std::vector<std::string> log;
    std::vector<double> progress;

    Popup& makePopup() override { return make; }
    Popup& modelPopup() override { return model; }
    Popup& pictureStylePopup() override { return style; }
    Popup& downloadServerPopup() override { return site; }
    int selectionMatrixSelectedRow() const override { return row; }
    bool defaultCameraCheckState() const override { return defaultBox; }
    void setDownloadText(const std::string&) override { log.push_back("text"); }
    void setProgress(double p) override { progress.push_back(p); }
    void runSheet(CameraSheet s) override { log.push_back("run " + std::to_string(static_cast<int>(s))); }
    void endSheet(CameraSheet s) override { log.push_back("end " + std::to_string(static_cast<int>(s))); }
    void selectCameraTab(int i) override { tab = i; }
    int cameraTab() const override { return tab; }
    void setSettingsAlpha(double a) override { log.push_back("alpha " + std::to_string(a).substr(0, 3)); }
    void openURL(const std::string& url) override { log.push_back("open " + url); }
};

// A data root with our camera list and the "5D" pack installed.
struct CameraRoot {
    test::TempDir dir;
    test::ScopedDataRoot root{dir.path()};
    CameraRoot() {
        fs::create_directories(dir / "Resources/CSource_SA");
        fs::create_directories(dir / "Profiles/5D");
        fs::copy_file(OMBREL_CSOURCE, dir / "Resources/csource.plist");
        test::WriteWholeFile(dir / "Profiles/5D/5D_5207.tin", "table");
        platform::Preferences::SetSharedStore(std::make_shared<platform::MemoryPreferencesStore>());
    }
    // An update list with one make, whose "Std" style has no "Lookup".
    void Update(const std::string& name, const std::string& make = "Other") {
        PlistValue list = PlistValue::MakeDict();
        PlistValue m = PlistValue::MakeDict();
        m.set("name", make);
        m.set("child", "m");
        list.set("Manufacturer", PlistValue(PlistValue::ArrayT{m}));
        PlistValue model = PlistValue::MakeDict();
        model.set("name", "Cam");
        model.set("child", "s");
        list.set("m", PlistValue(PlistValue::ArrayT{model}));
        list.set("s", PlistValue(PlistValue::ArrayT{PlistValue("Log"), PlistValue("Std")}));
        list.set("Lookup", PlistValue(PlistValue::DictT{{"Other_Cam_Log", PlistValue("L")}}));
        list.set("Download", PlistValue(PlistValue::DictT{{"L", PlistValue("L.zip")}}));
        ASSERT_TRUE(list.WriteToFile(dir / ("Resources/CSource_SA/" + name)).ok());
    }
};

TEST(CSourcePlistPath, GreatestNameFirstElseOurs) {
    const struct {
        std::vector<std::string> files;
        std::string chosen;
    } cases[] = {
        {{}, "Resources/csource.plist"},
        {{"csource_10.plist", "csource_2.plist"}, "Resources/CSource_SA/csource_2.plist"},
        {{"csource.txt", "other.plist"}, "Resources/csource.plist"},
    };
    for (const auto& c : cases) {
        CameraRoot r;
        for (const auto& f : c.files) test::WriteWholeFile(r.dir / ("Resources/CSource_SA/" + f), "x");
        EXPECT_EQ(SourceCameraContoller::CSourcePlistPath(), r.dir / c.chosen);
    }
}

TEST(SourceCameraContoller, ListFillsPopupsAndFollowsChoices) {
    CameraRoot r;
    r.Update("csource_2.plist", "Updated");
    test::WriteWholeFile(r.dir / "Resources/CSource_SA/csource_3.plist", "<plist>broken");
    FakePanel p;
    SourceCameraContoller c(&p);
    ASSERT_TRUE(c.LoadList());
    // The broken update file gives way to ours, not to the next update.
    EXPECT_EQ(c.listPath(), r.dir / "Resources/csource.plist");
    EXPECT_EQ(p.make.itemTitles(), std::vector<std::string>{"Generic"});
    EXPECT_EQ(p.model.itemTitles(), (std::vector<std::string>{"Video camera", "Log camera"}));
    EXPECT_EQ(p.style.itemTitles(), std::vector<std::string>{"Standard"});
    EXPECT_EQ(c.selectedLut(), "5D");
    c.SetSelectionMakeModelPS("Generic", "Log camera", "Flat");
    EXPECT_EQ(c.selectedSource(), "Generic_Log camera_Flat");
    EXPECT_EQ(c.selectedLut(), "LogFlat");
    EXPECT_EQ(c.selectedLutURL(), "LogFlat.zip");
    EXPECT_EQ(c.displaySource(), "Generic Log camera");
    // An unknown title leaves the popup at what the make's refill selected.
    c.SetSelectionMakeModelPS("Generic", "No such", "Flat");
    EXPECT_EQ(c.selectedSource(), "Generic_Video camera_Standard");
    EXPECT_EQ(c.DownloadLocationForTitle("USA"), "packs/");
}

TEST(SourceCameraContoller, MissingLookupKeepsTheLastUrlAndRestoreKeepsTheNewUrl) {
    CameraRoot r;
    FakePanel p;
    SourceCameraContoller c(&p);
    c.SetSelectionMakeModelPS("Generic", "Log camera", "Flat");
    c.StoreSettings();
    c.SetSelectionMakeModelPS("Generic", "Video camera", "Standard");
    EXPECT_EQ(c.selectedLutURL(), "");  // "5D" has no "Download"
    c.RestoreSettings();
    EXPECT_EQ(c.displayModel(), "Log camera");
    EXPECT_EQ(c.selectedLut(), "LogFlat");
    EXPECT_EQ(c.selectedLutURL(), "");

    r.Update("csource_9.plist");
    SourceCameraContoller u(&p);
    u.SetSelectionMakeModelPS("Other", "Cam", "Log");
    u.SetSelectionMakeModelPS("Other", "Cam", "Std");
    EXPECT_EQ(u.selectedLut(), "");
    EXPECT_EQ(u.selectedLutURL(), "L.zip");
}

struct FakeClip : CameraClipPort {
    ClipSettingsPtr settings = std::make_shared<ClipSettings>();
    std::vector<std::string> log;
    ClipSettingsPtr clipSettings() override { return settings; }
    void ApplyCameraChoiceToAll(const ClipSettings& s, bool all) override {
        log.push_back(s.sourceCameraChosen().value_or("") + (all ? " all" : " one"));
    }
    void StockChanged() override { log.push_back("stock"); }
};

TEST(CameraChange, InstalledAppliesAMissingPackKeepsTheClipsCameraUntilAppliedAgain) {
    CameraRoot r;
    FakePanel p;
    p.defaultBox = true;
    SourceCameraContoller c(&p);
    DownloadManager d;
    FakeClip clip;
    CameraChange flow(&c, &d, &clip);
    c.awakeFromNib();
    flow.ChangeCameraClicked();
    flow.ApplyCameraChangeToAll(true);
    EXPECT_EQ(p.log, (std::vector<std::string>{"alpha 0.3", "run 0", "end 0", "alpha 1.0"}));
    flow.ChangeCameraClicked();
    c.SetSelectionMakeModelPS("Generic", "Log camera", "Flat");
    flow.ApplyCameraChange();
    EXPECT_TRUE(flow.awaitingDownloadSheet());
    // No server: the relative location fails with a message, and the apply goes on with the
    // restored camera.
    flow.LUTDownload();
    EXPECT_NE(c.lastError().find("no server is configured"), std::string::npos) << c.lastError();
    EXPECT_EQ(c.selectedLutURL(), "LogFlat.zip");
    EXPECT_EQ(clip.log, (std::vector<std::string>{"5D all", "stock", "5D one", "stock"}));
    EXPECT_EQ(platform::Preferences::Shared().stringForKey("DefaultCamera_DisplayModel"), "Video camera");
    EXPECT_EQ(p.tab, 1);
}

}  // namespace
}  // namespace ombrel::services
