#include <gtest/gtest.h>

#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QTimer>
#include <QVBoxLayout>

#include <filesystem>

#include "platform/prefs/Preferences.h"
#include "services/ui/CameraSheets.h"
#include "services/ui/MessageSheet.h"
#include "support/TempDir.h"
#include "support/OffscreenApp.h"

namespace ombrel::services {
namespace {

namespace fs = std::filesystem;

QApplication& App() { return test::OffscreenApp(); }

struct FakeClip : CameraClipPort {
    ClipSettingsPtr settings = std::make_shared<ClipSettings>();
    std::vector<bool> applied;
    ClipSettingsPtr clipSettings() override { return settings; }
    void ApplyCameraChoiceToAll(const ClipSettings&, bool toAll) override { applied.push_back(toAll); }
    void StockChanged() override {}
};

// The camera panels in a window, over our list with the "5D" pack installed and "LogFlat" not.
class Camera : public ::testing::Test {
protected:
    Camera() {
        fs::create_directories(dir_ / "Resources");
        fs::create_directories(dir_ / "Profiles/5D");
        fs::copy_file(OMBREL_CSOURCE, dir_ / "Resources/csource.plist");
        test::WriteWholeFile(dir_ / "Profiles/5D/5D_5207.tin", "table");
        platform::Preferences::SetSharedStore(std::make_shared<platform::MemoryPreferencesStore>());
        auto* layout = new QVBoxLayout(&panel_);
        layout->addWidget(sheets_.cameraDownloadTabView());
        sheets_.Wire(&c_, &change_);
        sheets_.setUrlOpener([this](const std::string& url) { opened_.push_back(url); });
        c_.setMainGuiController([this] { change_.DownloadFinished(); });
        c_.awakeFromNib();
    }
    template <typename T>
    T* Find(const char* name) {
        for (QWidget* top : {&window_, &panel_})
            if (T* w = top->findChild<T*>(name)) return w;
        ADD_FAILURE() << "no " << name;
        return nullptr;
    }
    void Choose(const char* popup, const char* title) {
        QComboBox* box = Find<QComboBox>(popup);
        box->setCurrentIndex(box->findText(title));
        emit box->activated(box->currentIndex());
    }
    void Click(const char* name) { Find<QPushButton>(name)->click(); }
    bool Shown(CameraSheet s) const { return sheets_.window(s)->isVisible(); }

    QApplication& app_ = App();
    test::TempDir dir_;
    test::ScopedDataRoot root_{dir_.path()};
    test::ScopedEnv server_{"OMBREL_SERVER_URL", ""};
    QWidget window_, panel_;
    QPushButton* button_ = new QPushButton("Change Camera...", &panel_);
    CameraSheets sheets_{&window_, &panel_, button_};
    SheetCameraController c_{&sheets_};
    DownloadManager downloads_;
    FakeClip clip_;
    CameraChange change_{&c_, &downloads_, &clip_};
    std::vector<std::string> opened_;
};

TEST_F(Camera, PopupsFollowTheControllerAndButtonsRunItsSteps) {
    window_.show();
    button_->click();
    EXPECT_TRUE(Shown(CameraSheet::kChooser));
    EXPECT_DOUBLE_EQ(sheets_.settingsAlpha(), 0.3);
    Choose("modelPopup", "Log camera");
    EXPECT_EQ(c_.displayModel(), "Log camera");
    EXPECT_EQ(sheets_.pictureStylePopup().itemTitles(), std::vector<std::string>{"Flat"});
    EXPECT_EQ(c_.selectedLut(), "LogFlat");
    // A missing pack: the download sheet with the sites of the list and the maker's page.
    Click("applyCameraButton");
    EXPECT_FALSE(Shown(CameraSheet::kChooser));
    ASSERT_TRUE(Shown(CameraSheet::kDownload));
    EXPECT_EQ(Find<QLabel>("downloadText")->text().toStdString(), CameraChange::kDownloadText);
    EXPECT_EQ(sheets_.downloadServerPopup().itemTitles(), (std::vector<std::string>{"USA", "Website"}));
    EXPECT_EQ(sheets_.progressBar()->value(), 0);
    // The maker's page without a server: the camera area says so under the button.
    Choose("downloadServerPopup", "Website");
    Click("downloadButton");
    EXPECT_FALSE(Shown(CameraSheet::kDownload));
    EXPECT_TRUE(opened_.empty());
    EXPECT_EQ(sheets_.cameraTab(), 1);
    EXPECT_NE(Find<QLabel>("cameraText")->text().indexOf("No server is configured"), -1);
    // The question is asked again of the restored camera, which the clip keeps.
    EXPECT_EQ(clip_.applied, std::vector<bool>{false});
    EXPECT_EQ(clip_.settings->sourceCameraChosen(), "5D");
    EXPECT_DOUBLE_EQ(sheets_.settingsAlpha(), 1.0);

    // An installed pack, to all clips through the matrix's second row.
    button_->click();
    Choose("modelPopup", "Video camera");
    Find<QAbstractButton>("selectionMatrixRow1")->click();
    Click("applyCameraButton");
    EXPECT_EQ(clip_.applied, (std::vector<bool>{false, true}));
    EXPECT_EQ(clip_.settings->displayModel(), "Video camera");
}

TEST_F(Camera, ProgressCancelAndTheCompletePanel) {
    window_.show();
    button_->click();
    Click("cancelChangeCameraButton");
    EXPECT_FALSE(Shown(CameraSheet::kChooser));
    EXPECT_DOUBLE_EQ(sheets_.settingsAlpha(), 1.0);
    sheets_.selectCameraTab(2);
    c_.setProgress(42.4);
    EXPECT_EQ(sheets_.progressBar()->value(), 42);
    c_.setComplete();
    EXPECT_EQ(sheets_.cameraTab(), 1);
    EXPECT_TRUE(Shown(CameraSheet::kComplete));
    Click("downloadContinueButton");
    EXPECT_FALSE(Shown(CameraSheet::kComplete));
    sheets_.selectCameraTab(2);
    Click("cancelButton");
    EXPECT_EQ(sheets_.cameraTab(), 1);
}

TEST(MessageSheets, TheUsageVersionAndErrorSheetsAnswerTheirControllers) {
    App();
    platform::Preferences::SetSharedStore(std::make_shared<platform::MemoryPreferencesStore>());
    auto prefs = platform::Preferences::Shared();
    QWidget window;
    window.show();
    MessageSheet usageSheet(&window, "usageStatsWindow", {{"a", "usage"}, {"b", "bugs"}, {"c", "updates"}},
                            {{"go", "Continue"}});
    UsageStatsController usage(&usageSheet);
    usageSheet.onButton(0, [&] { usage.ContinueClicked(); }, true);
    usage.awakeFromNib();
    usage.Show();
    ASSERT_TRUE(usageSheet.dialog()->isVisible());
    usageSheet.checkbox(0)->click();
    window.findChild<QPushButton*>("go")->click();
    EXPECT_FALSE(usageSheet.dialog()->isVisible());
    EXPECT_EQ(usage.menuStates(), (std::array<bool, 3>{true, false, true}));
    EXPECT_EQ(prefs.boolForKey("UsagePopupShown"), true);
    usage.Show();
    EXPECT_FALSE(usageSheet.dialog()->isVisible());

    MessageSheet versionSheet(&window, "userMessageWindow", {{"dontShowCheckbox", "x"}}, {{"done", "Done"}});
    UserMessageController message(&versionSheet);
    versionSheet.onButton(0, [&] { message.DoneClicked(); }, true);
    message.setVersion(2.5);
    message.SetMessageString("Better");
    message.Show();
    EXPECT_EQ(versionSheet.dialog()->findChild<QLabel*>("headingText")->text(), "OMBREL - NEW VERSION");
    versionSheet.checkbox(0)->click();
    versionSheet.dialog()->reject();  // Escape answers as Done
    EXPECT_FALSE(versionSheet.dialog()->isVisible());
    EXPECT_FLOAT_EQ(static_cast<float>(prefs.objectForKey("AlertVersion")->asReal()), 2.5f);

    // The error sheet waits for its answer.
    MessageSheet errorSheet(&window, "userErrorWindow", {}, {{"no", "Cancel"}, {"yes", "Continue"}});
    UserErrorController error(&errorSheet);
    errorSheet.onButton(0, [&] { error.CancelClicked(); }, true);
    errorSheet.onButton(1, [&] { error.ContinueClicked(); });
    errorSheet.setBlocking(true);
    for (const char* answer : {"no", "yes"}) {
        QTimer::singleShot(0, [&] { errorSheet.dialog()->findChild<QPushButton*>(answer)->click(); });
        error.Show();
        EXPECT_EQ(error.didCancel(), std::string(answer) == "no");
    }
}

}  // namespace
}  // namespace ombrel::services
