#include <gtest/gtest.h>

#include <filesystem>

#include "model/SettingsManager.h"
#include "presets/PresetCell.h"
#include "presets/PresetLibrary.h"
#include "presets/PresetManagerGuiController.h"
#include "support/Plists.h"
#include "support/TempDir.h"

namespace ombrel::presets {
namespace {

namespace fs = std::filesystem;
using test::ReadPlist;

bool Has(const std::string& path) { return fs::exists(path); }
std::string Lib(const std::string& name) { return SettingsManager::PresetLibraryPathForName(name); }
std::string ListOf(const std::string& name) { return SettingsManager::PresetLibraryPlistPathForName(name); }

void WriteTiff(const std::string& path, uint8_t shade) {
    Image image(2, 2);
    std::fill(image.rgba.begin(), image.rgba.end(), shade);
    ASSERT_TRUE(WriteImageAsTiff(image, path).ok());
}

struct Recorder : PresetGroupsListener {
    int refreshed = 0;
    std::vector<std::string> renamed;
    void RefreshPresetGroups() override { ++refreshed; }
    void PresetRenamed(const RenderPreset& preset) override { renamed.push_back(preset.presetName()); }
};

// A fresh home and a data root holding the template, a two-look factory list and its thumbnails.
class PresetLibraryTest : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directories(data_ / "Resources/FactoryPresets");
        ASSERT_TRUE(SaveDictionaryToPlist(List({}), data_ / "Resources/PresetTemplate.plist"));
        ASSERT_TRUE(SaveDictionaryToPlist(List({Look(kFactoryPresetIDs[0], 1, "Warm"), Look(kFactoryPresetIDs[1], 2, "")}),
                                          data_ / "Resources/FactoryPresets.plist"));
        for (const char* id : kFactoryPresetIDs) WriteTiff(data_ / ("Resources/FactoryPresets/" + std::string(id) + ".tiff"), 9);
        SettingsManager::Instance().setCurrentPresetLibrary("Examples");
        ASSERT_TRUE(c.AwakeFromNib().ok());
        c.setMainGuiController(&main);
    }

    static PlistValue Look(const std::string& id, uint32_t number, const std::string& name) {
        RenderPreset p;
        p.setPresetID(id);
        p.setPresetNumber(number);
        p.setPresetName(name);
        return p.PropertyList();
    }
    static PlistValue List(const std::vector<PlistValue>& looks) {
        PlistValue presets = PlistValue::MakeDict();
        for (const auto& look : looks) presets.set(look["presetID"].asString(), look);
        PlistValue list = PlistValue::MakeDict();
        list.set("Presets", presets);
        return list;
    }
    // Library "A" with two presets and their thumbnails, shown in the sheet.
    void MakeA() {
        ASSERT_TRUE(c.CreateLibraryShell("A"));
        ASSERT_TRUE(SaveDictionaryToPlist(List({Look("P1", 1, "One"), Look("P2", 2, "Two")}), ListOf("A")));
        WriteTiff(Lib("A") + "/P1.tiff", 1);
        WriteTiff(Lib("A") + "/P2.tiff", 2);
        c.RefreshDropDownLists();
        c.libraryPopup().selectItemWithTitle("A");
        c.LibrarySelected();
    }
    static std::vector<std::string> Ids(const std::string& library) {
        std::vector<std::string> ids;
        const PlistValue list = ReadPlist(ListOf(library));
        for (const auto& [id, v] : list["Presets"].asDict()) ids.push_back(id);
        return ids;
    }

    test::TempDir home_, data_;
    test::ScopedEnv homeEnv_{"HOME", home_.path().c_str()};
    test::ScopedDataRoot root_{data_.path()};
    Recorder main;
    PresetManagerGuiController c;
};

TEST_F(PresetLibraryTest, FirstRunLayoutAndListing) {
    EXPECT_EQ(Ids("Examples"), (std::vector<std::string>{kFactoryPresetIDs[0], kFactoryPresetIDs[1]}));
    for (const char* id : kFactoryPresetIDs) EXPECT_TRUE(Has(Lib("Examples") + "/" + id + ".tiff")) << id;
    EXPECT_TRUE(Has(ListOf("Trash")));
    EXPECT_TRUE(ReadPlist(ListOf("My Presets"))["Presets"].asDict().empty());
    EXPECT_EQ(c.libraryPopup().titles(), (std::vector<std::string>{"Examples", "My Presets", "Trash"}));
    EXPECT_TRUE(c.libraryPopup().items()[2].separator);

    // Later runs mend "My Presets" and "Trash" only, and a folder without its own list is not listed.
    fs::remove_all(Lib("Examples"));
    fs::remove(ListOf("My Presets"));
    fs::create_directories(Lib("Loose"));
    SaveDictionaryToPlist(List({}), Lib("Loose") + "/Other.plist");
    ASSERT_TRUE(c.AwakeFromNib().ok());
    EXPECT_FALSE(Has(Lib("Examples")));
    EXPECT_TRUE(Has(ListOf("My Presets")));
    EXPECT_EQ(c.targetLibraryPopup().titles(), (std::vector<std::string>{"My Presets", "Trash"}));
}

TEST_F(PresetLibraryTest, MovesCopiesAndTheTrash) {
    MakeA();
    ASSERT_EQ(c.presetList().size(), 2u);
    // Target equal to source: nothing at all.
    c.targetLibraryPopup().selectItemWithTitle("A");
    c.SelectAllChecked(true);
    c.MoveClicked();
    EXPECT_EQ(Ids("A"), (std::vector<std::string>{"P1", "P2"}));

    // Copy: new ids, the thumbnail copied, the source kept.
    c.targetLibraryPopup().selectItemWithTitle("My Presets");
    c.targetActionPopup().selectItemWithTitle("Copy");
    c.SelectAllChecked(false);
    c.SetTicked(0, true);
    c.MoveClicked();
    const auto copied = Ids("My Presets");
    ASSERT_EQ(copied.size(), 1u);
    EXPECT_NE(copied[0], "P1");
    EXPECT_EQ(ReadPlist(ListOf("My Presets"))["Presets"][copied[0]]["presetName"].asString(), "One");
    EXPECT_TRUE(Has(Lib("My Presets") + "/" + copied[0] + ".tiff"));
    EXPECT_TRUE(Has(Lib("A") + "/P1.tiff"));
    EXPECT_EQ(c.libraryPopup().titleOfSelectedItem(), "My Presets");

    // Move: the id and its thumbnail leave the source; the sheet follows the target.
    c.libraryPopup().selectItemWithTitle("A");
    c.LibrarySelected();
    c.targetActionPopup().selectItemWithTitle("Move");
    c.SetTicked(1, true);
    c.MoveClicked();
    EXPECT_EQ(Ids("A"), (std::vector<std::string>{"P1"}));
    EXPECT_EQ(Ids("My Presets").size(), 2u);
    EXPECT_FALSE(Has(Lib("A") + "/P2.tiff"));
    EXPECT_TRUE(Has(Lib("My Presets") + "/P2.tiff"));

    // The trash button: into "Trash", the sheet stays; pressed in "Trash", gone for good.
    c.libraryPopup().selectItemWithTitle("A");
    c.LibrarySelected();
    c.TrashClicked(0);
    EXPECT_TRUE(Ids("A").empty());
    EXPECT_TRUE(c.presetList().empty());
    EXPECT_EQ(c.libraryPopup().titleOfSelectedItem(), "A");
    EXPECT_EQ(Ids("Trash"), (std::vector<std::string>{"P1"}));
    c.libraryPopup().selectItemWithTitle("Trash");
    c.LibrarySelected();
    c.TrashClicked(0);
    EXPECT_TRUE(Ids("Trash").empty());
    EXPECT_FALSE(Has(Lib("Trash") + "/P1.tiff"));
}

TEST_F(PresetLibraryTest, RenamingPresetsAndLibraries) {
    MakeA();
    c.SetPresetName(1, "Night");
    EXPECT_EQ(ReadPlist(ListOf("A"))["Presets"]["P2"]["presetName"].asString(), "Night");
    EXPECT_EQ(main.renamed, (std::vector<std::string>{"Night"}));

    c.RenameLibrary();
    c.ControlTextDidChange("Dusk");
    c.CreateLibrary();
    EXPECT_FALSE(Has(Lib("A")));
    EXPECT_TRUE(Has(ListOf("Dusk")));
    EXPECT_TRUE(Has(Lib("Dusk") + "/P1.tiff"));
    EXPECT_EQ(c.libraryPopup().titleOfSelectedItem(), "Dusk");
    EXPECT_EQ(c.targetLibraryPopup().indexOfItemWithTitle("A"), -1);
}

TEST_F(PresetLibraryTest, NamesWhileTyping) {
    struct Step {
        std::string typed, kept;
    };
    const Step steps[] = {{"Night 2", "Night 2"},
                          {"Fifteen letters", "Fifteen letters"},
                          {"Fifteen letters!", "Fifteen letters"},
                          {"Fifteen letterss", "Fifteen letters"},
                          {"Day-2", "Fifteen letters"},
                          {"Day 2", "Day 2"}};
    c.NewTargetLibrary();
    for (const auto& s : steps) EXPECT_EQ(c.ControlTextDidChange(s.typed), s.kept) << s.typed;
    EXPECT_EQ(c.libNameTemp(), "Day 2");
}

TEST_F(PresetLibraryTest, NewLibraryLandsAheadOfTheSeparator) {
    c.targetLibraryPopup().selectItemAtIndex(0);
    c.NewTargetLibrary();
    c.ControlTextDidChange("New");
    c.CreateLibrary();
    // Target list: count - 3 of [Examples, My Presets, -, Trash]; library list: count - 2.
    EXPECT_EQ(c.targetLibraryPopup().titles(), (std::vector<std::string>{"Examples", "New", "My Presets", "Trash"}));
    EXPECT_EQ(c.targetLibraryPopup().indexOfSelectedItem(), 1);
    EXPECT_EQ(c.lastTargetLibSelected(), 1);
    EXPECT_EQ(c.libraryPopup().indexOfItemWithTitle("New"), 2);
    EXPECT_TRUE(c.libraryPopup().items()[3].separator);
    EXPECT_TRUE(Has(ListOf("New")));
    EXPECT_GE(c.groupNamesPopup().indexOfItemWithTitle("New"), 0);
    c.CancelCreateLibrary();
    EXPECT_EQ(c.targetLibraryPopup().indexOfSelectedItem(), 1);
}

TEST_F(PresetLibraryTest, ExportThenImportTwice) {
    c.libraryPopup().selectItemWithTitle("Examples");
    std::string file;
    ASSERT_TRUE(c.WrapLibrary(home_ / "out.plist", &file).ok());
    EXPECT_EQ(file, home_ / "out.OBPreset");
    const PlistValue wrapped = ReadPlist(file);
    EXPECT_EQ(wrapped["Title"].asString(), "Examples");
    EXPECT_EQ(wrapped["Icons"].asDict().size(), 2u);

    std::string made1, made2;
    ASSERT_TRUE(c.UnWrapLibrary(file, &made1).ok());
    ASSERT_TRUE(c.UnWrapLibrary(file, &made2).ok());
    EXPECT_EQ(made1, "Examples_1");
    EXPECT_EQ(made2, "Examples_2");
    const PlistValue imported = ReadPlist(ListOf(made2));
    EXPECT_FALSE(imported.contains("Icons"));
    EXPECT_EQ(imported["Title"].asString(), "Examples");
    EXPECT_TRUE(Has(Lib(made2) + "/" + kFactoryPresetIDs[1] + ".tiff"));
    EXPECT_EQ(c.libraryPopup().titleOfSelectedItem(), made2);
    EXPECT_EQ(c.presetList().size(), 2u);

    // The two share ids (and the legacy thumbnails): a move out of one leaves the other whole.
    c.libraryPopup().selectItemWithTitle(made1);
    c.LibrarySelected();
    c.targetLibraryPopup().selectItemWithTitle("My Presets");
    c.SelectAllChecked(true);
    c.MoveClicked();
    EXPECT_TRUE(Has(Lib(made2) + "/" + kFactoryPresetIDs[0] + ".tiff"));
    c.libraryPopup().selectItemWithTitle(made2);
    ASSERT_TRUE(c.WrapLibrary(home_ / "again", &file).ok());
    EXPECT_EQ(ReadPlist(file)["Icons"].asDict().size(), 2u);

    // No "Title": nothing made.
    PlistValue untitled = wrapped;
    untitled.erase("Title");
    ASSERT_TRUE(SaveDictionaryToPlist(untitled, home_ / "untitled.OBPreset"));
    const auto before = c.targetLibraryPopup().titles();
    EXPECT_FALSE(c.UnWrapLibrary(home_ / "untitled.OBPreset").ok());
    EXPECT_FALSE(c.UnWrapLibrary(home_ / "missing.OBPreset").ok());
    EXPECT_EQ(c.targetLibraryPopup().titles(), before);
    EXPECT_EQ(ListedLibraryNames().size(), 4u);
}

TEST(PresetCellTest, LinesAndGauges) {
    ClipSettings look;
    look.setColorChangePercent(0.5);
    look.setScurveChangePercent(0.25);
    look.setGrainMultiplier(0.35f);
    look.setLift(1.1f);
    look.setGamma(0.9f);
    look.setSaturation(1.234);
    look.setBlack(0.02f);
    look.setWhite(0.97f);
    EXPECT_EQ(PresetCellLines(look),
              (std::vector<std::string>{"KD 5207 Vis3", "Color: 50%", "Curve: 25%", "Grain: 35%", "Size: Super 35",
                                        "Lift: 10 Gamma: -10 Gain: 0", "Saturation: 1.23", "Black: 2%", "Mid: 50%",
                                        "White: 97%"}));
    const std::pair<float, const char*> gauges[] = {
        {0.98f, "Size: 35mm Full Frame"}, {0.99f, "Size: Super 35"}, {1.98f, "Size: 35mm Academy"}, {1.99f, "Size: Super 16"}};
    for (const auto& [scale, line] : gauges) {
        look.setGrainScale(scale);
        EXPECT_EQ(PresetCellLines(look)[4], line) << scale;
    }
    RenderPreset p;
    p.setPresetNumber(4);
    EXPECT_EQ(PresetTitle(p), "Preset #4");
}

}  // namespace
}  // namespace ombrel::presets
