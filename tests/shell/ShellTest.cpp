#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLineEdit>
#include <QPushButton>
#include <QSlider>
#include <QTimer>

#include <cstdlib>
#include <fstream>

#include "shell/IniPreferencesStore.h"
#include "library/browse/ShotListDataSource.h"
#include "shell/MainWindow.h"
#include "shell/ShellControls.h"
#include "shell/logic/RenderPanel.h"
#include "support/TempDir.h"
#include "support/OffscreenApp.h"

namespace ombrel {
namespace {

QApplication& App() { return test::OffscreenApp(); }

TEST(IniPreferencesStore, ScalarsPlainAndContainersAsPropertyLists) {
    test::TempDir dir;
    const std::string path = dir / "Ombrel.conf";
    PlistValue settings = PlistValue::MakeDict();
    settings.set("version", 0.1);
    settings.set("destPath", "/r");
    {
        IniPreferencesStore store(path);
        ASSERT_TRUE(store.Write("debayerSetting", PlistValue(2)).ok());
        ASSERT_TRUE(store.Write("useRocket", PlistValue(false)).ok());
        ASSERT_TRUE(store.Write("presetGroupPopup", PlistValue("My Presets")).ok());
        ASSERT_TRUE(store.Write("GuiSettings", settings).ok());
        ASSERT_TRUE(store.Sync().ok());
    }
    const std::string text = test::ReadWholeFile(path);
    EXPECT_NE(text.find("debayerSetting=2"), std::string::npos) << text;
    EXPECT_NE(text.find("useRocket=false"), std::string::npos) << text;
    EXPECT_NE(text.find("<plist"), std::string::npos) << text;
    IniPreferencesStore again(path);
    EXPECT_EQ(again.Read("debayerSetting")->type(), PlistValue::Type::Integer);
    EXPECT_EQ(again.Read("useRocket")->asBool(true), false);
    EXPECT_EQ(again.Read("presetGroupPopup")->asString(), "My Presets");
    EXPECT_EQ(*again.Read("GuiSettings"), settings);
    EXPECT_FALSE(again.Read("absent"));
    EXPECT_EQ(IniPreferencesStore::FromText("1.0").type(), PlistValue::Type::Real);
}

// A clip whose file has gone shows a red "MISSING" banner across its cell; one that is there
// does not.
TEST(FilmStrip, AClipWhoseFileIsGoneIsMarkedMissing) {
    App();
    test::TempDir dir;
    const std::string here = dir / "here.mov";
    { std::ofstream(here) << "x"; }
    ShotListDataSource shots;
    ASSERT_TRUE(shots.AddPath(here));
    ASSERT_TRUE(shots.AddPath(dir / "gone.mov"));
    FilmStripView strip(&shots);
    strip.resize(400, 140);
    const QImage shot = strip.grab().toImage();
    auto redInBanner = [&](int index) {
        const QRect cell = strip.cellRect(index);
        const QColor c = shot.pixelColor(cell.left() + 12, cell.adjusted(6, 6, -6, -26).center().y());
        return c.red() > 150 && c.green() < 80 && c.blue() < 80;
    };
    EXPECT_FALSE(redInBanner(0));
    EXPECT_TRUE(redInBanner(1));
}

class ShellWindow : public ::testing::Test {
protected:
    void SetUp() override {
        App();
        window_ = std::make_unique<MainWindow>("0.1.0");
    }
    template <typename T>
    T* Find(const char* name) {
        return window_->findChild<T*>(name);
    }
    std::unique_ptr<MainWindow> window_;
};

TEST_F(ShellWindow, ControlsCarryTheirFieldNames) {
    for (const char* name : {"r3dViewGL", "mainTabView", "tab1button", "tab2button", "tab3button", "scrubSlider",
                             "zoomCheckbox", "playCheckbox", "useMetadataCheckbox", "filmStripCollection",
                             "histogramView", "reelText", "clipText", "textTimeOfDay", "textEdgecode",
                             "colorSpacePopup", "changeCameraButton", "shotListTable"})
        EXPECT_TRUE(Find<QObject>(name)) << name;
    for (const char* name : {"enableRocketMenuItem", "debayerQuarterMenuItem", "debayerHalfMenuItem",
                             "debayerFullMenuItem", "r3dSettingsMenuItemRC2RG", "r3dSettingsMenuItemRC3RG3",
                             "r3dSettingsMenuItemRC3RLF", "r3dSettingsMenuItemHeading"})
        EXPECT_TRUE(Find<QAction>(name)) << name;
}

TEST_F(ShellWindow, AControlMovedByTheProgramFiresNoEvent) {
    GuiModel* model = window_->controller().guiModel();
    Find<QSlider>("scrubSlider")->setRange(0, 40);
    Find<QSlider>("scrubSlider")->setValue(10);
    Find<QCheckBox>("zoomCheckbox")->setChecked(true);
    Find<QCheckBox>("disableFilmCheckbox")->setChecked(true);
    QApplication::processEvents();
    EXPECT_EQ(model->currentFrame(), 0);
    EXPECT_FALSE(model->zoom());
    EXPECT_FALSE(model->showOriginal());
    // The user's click does.
    Find<QCheckBox>("disableFilmCheckbox")->setChecked(false);
    Find<QCheckBox>("disableFilmCheckbox")->click();
    EXPECT_TRUE(model->showOriginal());
}

TEST_F(ShellWindow, TheRenderTabDrivesTheOutputRecord) {
    for (const char* name : {"outputFormatPopup", "outputSizePopup", "outputFitPopup", "outputFilenamePopup",
                             "outputEdlOptionsPopup", "outputFolderPopup", "outputTimecodePopup", "destinationPopup",
                             "outputOverwriteCheckbox", "browseButton", "outputFoldersBox", "outputFormatBox",
                             "outputDestinationBox", "renderButton", "progress", "renderTxtFrames", "renderTxtFPS",
                             "renderTxtElapsed", "renderTxtETA", "framesRenderedLabel", "renderTable", "sizeWindow",
                             "widthText", "heightText"})
        EXPECT_TRUE(Find<QObject>(name)) << name;
    auto pick = [this](const char* name, int tag) {
        auto* c = Find<QComboBox>(name);
        c->setCurrentIndex(c->findData(tag));
        emit c->activated(c->currentIndex());
    };
    OutputSettings& record = window_->controller().outputSettings();
    pick("outputFormatPopup", 20);
    EXPECT_EQ(record.format(), 20);
    EXPECT_FALSE(Find<QGroupBox>("outputFoldersBox")->isHidden());
    // The size panel is modal: the user types while it runs.
    QTimer::singleShot(0, [this] {
        Find<QLineEdit>("widthText")->setText("");
        Find<QLineEdit>("widthText")->setFocus();
        for (const char* text : {"3", "30", "300", "3000"}) {
            Find<QLineEdit>("widthText")->setText(text);
            emit Find<QLineEdit>("widthText")->textEdited(text);
        }
        Find<QPushButton>("sizeAcceptButton")->click();
    });
    pick("outputSizePopup", 99);
    EXPECT_EQ(Find<QComboBox>("outputSizePopup")->currentText().toStdString(), "Custom: 3000 x 1080");
    EXPECT_EQ(record.size(), (OutputSize{3000, 1080}));
    Find<QCheckBox>("outputOverwriteCheckbox")->click();
    EXPECT_EQ(record.overwrite(), Find<QCheckBox>("outputOverwriteCheckbox")->isChecked() ? 0 : 1);
}

}  // namespace
}  // namespace ombrel
