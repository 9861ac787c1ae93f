#include <gtest/gtest.h>

#include "FakeControls.h"
#include "look/LutManager.h"
#include "model/SettingsManager.h"

namespace ombrel {
namespace {

using test::ControllerRig;

class FilmPanelTest : public ::testing::Test {
protected:
    void SetUp() override {
        c().filmPanel().setControls(panel_.Ports());
        c().setAutosavePathProvider([] { return std::string(); });
        c().awakeFromNib();
    }
    GuiController& c() { return rig_.controller; }
    FilmPanel& p() { return c().filmPanel(); }
    GuiModel& m() { return *c().guiModel(); }
    test::FakeSlider& slider(FilmRow r) { return panel_.sliders[static_cast<size_t>(r)]; }
    test::FakeText& text(PanelText f) { return panel_.texts[static_cast<size_t>(f)]; }
    // Types `typed` into a field as a person would: the edit begins, then the text changes.
    void Type(PanelText f, const std::string& typed) {
        p().controlTextDidBeginEditing(f);
        text(f).text = typed;
        p().controlTextDidChange(f);
    }
    // The clip on show carries a preset.
    void WithPreset(const std::string& clip) {
        ClipSettings s;
        s.setPresetID("p-1");
        s.setPresetNumber(3);
        s.setPresetName("Warm");
        SettingsManager::Instance().PushSettingsForClip(s, clip);
        m().setFilename(clip);
    }
    std::string PresetOf(const std::string& clip) { return SettingsManager::Instance().SettingsForClip(clip)->presetID(); }

    ControllerRig rig_;
    test::FakePanel panel_;
};

TEST_F(FilmPanelTest, EachRowWritesTheModelOnceAndShowsItsText) {
    struct Row {
        FilmRow row;
        double value;
        const char* shown;
    };
    for (const Row& r : {Row{FilmRow::Exposure, 1.234, "1.23"}, Row{FilmRow::Kelvin, 3200.7, "3200"},
                         Row{FilmRow::Saturation, 0.5, "0.50"}, Row{FilmRow::ColorAmount, 0.456, "45"},
                         Row{FilmRow::SCurveAmount, 0.3, "30"}, Row{FilmRow::Grain, 0.25, "25"}}) {
        SCOPED_TRACE(SpecOf(r.row).slider);
        WithPreset("/clips/a.mov");
        slider(r.row).value = r.value;
        p().RowChanged(r.row);
        EXPECT_EQ(text(static_cast<PanelText>(r.row)).text, r.shown);
        EXPECT_EQ(PresetOf("/clips/a.mov"), "");
        // The same value again is no change: the preset set since stays.
        WithPreset("/clips/a.mov");
        p().RowChanged(r.row);
        EXPECT_EQ(PresetOf("/clips/a.mov"), "p-1");
        // A programmatic move shows the value and writes nothing back.
        p().ShowRow(r.row, SpecOf(r.row).min);
        EXPECT_EQ(slider(r.row).value, SpecOf(r.row).min);
    }
    EXPECT_DOUBLE_EQ(m().kelvin(), 3200.7);
    EXPECT_DOUBLE_EQ(m().clipSettings()->scurveChangePercent(), 0.3);
    // Lift, gamma and gain each by itself; the preset goes even when nothing moved.
    for (FilmRow r : {FilmRow::Lift, FilmRow::Gain}) slider(r).value = 1.0;
    slider(FilmRow::Gamma).value = 1.25;
    p().LiftGammaGainChanged();
    EXPECT_EQ(m().lift(), 1.0f);
    EXPECT_EQ(m().gamma(), 1.25f);
    p().BallWasReset(1);
    EXPECT_EQ(m().gamma(), 1.0f);
    EXPECT_EQ(slider(FilmRow::Gamma).value, 1.0);
}

TEST_F(FilmPanelTest, TypedEntry) {
    struct Case {
        PanelText field;
        const char* typed;
        double want;  // the model's value afterwards
        const char* kept;  // the field's text afterwards
    };
    const Case cases[] = {
        {PanelText::Exposure, "1.5", 1.5, "1.5"},
        {PanelText::Exposure, "9", 1.5, "9"},              // out of range: ignored, the text stays
        {PanelText::ColorAmount, "150", 1.0, "150"},       // a percentage clamps
        {PanelText::Saturation, "?!", 0.0, "?!"},          // unreadable reads as 0
        {PanelText::Black, "5", 0.05, "5"},                // the middle is at 0.30
        {PanelText::Black, "50", 0.29, "50"},              // crossing: pushed short of the middle
        {PanelText::Mid, "100", 0.99, "100"},              // the top is at 1.0
        {PanelText::White, "3", 1.0, "3"},                 // short and crossing: nothing yet
    };
    auto value = [&](PanelText f) {
        switch (f) {
            case PanelText::Exposure: return m().exposure();
            case PanelText::ColorAmount: return m().colorAmount();
            case PanelText::Saturation: return m().saturation();
            case PanelText::Black: return m().histogramBlack();
            case PanelText::Mid: return m().histogramMid();
            default: return m().histogramWhite();
        }
    };
    panel_.levels.p = {0.0, 0.30, 1.0};
    for (const Case& k : cases) {
        SCOPED_TRACE(k.typed);
        Type(k.field, k.typed);
        EXPECT_NEAR(value(k.field), k.want, 1e-6);
        EXPECT_EQ(text(k.field).text, k.kept);
        p().controlTextDidEndEditing(k.field);
        EXPECT_FALSE(p().textEditInProgress());
    }
    // Keys meant for the viewer are put back and act.
    text(PanelText::Kelvin).text = "5600";
    Type(PanelText::Kelvin, "56b00");
    EXPECT_EQ(text(PanelText::Kelvin).text, "5600");
    EXPECT_TRUE(m().showOriginal());
    Type(PanelText::Kelvin, "5z600");
    EXPECT_TRUE(rig_.controls.zoom.on);
    Type(PanelText::Kelvin, "5600 ");
    EXPECT_EQ(text(PanelText::Kelvin).text, "5600");
    EXPECT_DOUBLE_EQ(m().kelvin(), 5600.0);
}

TEST(LevelDrags, EndsCarryTheMiddleInProportion) {
    struct Case {
        LevelPositions from;
        LevelHandle handle;
        double d;
        LevelPositions want;
    };
    const Case cases[] = {
        {{0.2, 0.5, 0.8}, LevelHandle::Bottom, 0.2, {0.4, 0.6, 0.8}},   // r = 0.5 stays halfway
        {{0.2, 0.5, 0.8}, LevelHandle::Top, -0.2, {0.2, 0.4, 0.6}},
        {{0.2, 0.5, 0.8}, LevelHandle::Bottom, 0.9, {0.49, 0.645, 0.8}},  // stops short of the middle
        {{0.2, 0.5, 0.8}, LevelHandle::Top, 0.5, {0.2, 0.6, 1.0}},       // clamped at 1
        {{0.2, 0.5, 0.8}, LevelHandle::Mid, 0.9, {0.2, 0.79, 0.8}},
        {{0.2, 0.5, 0.8}, LevelHandle::Mid, -0.9, {0.2, 0.21, 0.8}},
        {{0.5, 0.5, 0.5}, LevelHandle::Bottom, -0.1, {0.4, 0.4, 0.5}},   // r is 0: the middle on the bottom
    };
    for (const Case& k : cases) {
        const LevelPositions got = DragLevel(k.from, k.handle, k.d);
        EXPECT_NEAR(got.bottom, k.want.bottom, 1e-9);
        EXPECT_NEAR(got.mid, k.want.mid, 1e-9);
        EXPECT_NEAR(got.top, k.want.top, 1e-9);
    }
    EXPECT_DOUBLE_EQ(LevelDragUnits(57.0, 200.0, 50.0), 1.0);
}

TEST_F(FilmPanelTest, StocksAndGauges) {
    ASSERT_FALSE(panel_.stock.items.empty());
    EXPECT_EQ(panel_.stock.items.front().second, 0);
    // A separator goes back to the model's stock and loads nothing.
    m().setStockName(LutManager::StockNameForTag(2));
    panel_.stock.tag = kSeparatorTag;
    p().StockChanged();
    EXPECT_EQ(panel_.stock.tag, 2);
    // A stock without a status-M form hides the format popup at tag 0.
    rig_.controls.colorSpace.tag = 1;
    panel_.stock.tag = 5;
    p().StockChanged();
    EXPECT_EQ(m().stockName(), LutManager::StockNameForTag(5));
    EXPECT_EQ(panel_.stockLabel.text, panel_.stock.selectedTitle());
    EXPECT_EQ(rig_.controls.colorSpace.tag, 0);
    EXPECT_TRUE(rig_.controls.colorSpace.hidden);
    // The walk wraps at both ends.
    panel_.stock.tag = 0;
    p().PreviousStock();
    EXPECT_EQ(panel_.stock.tag, LutManager::PreviousStockTagForTag(0));
    p().NextStock();
    EXPECT_EQ(panel_.stock.tag, 0);
    // Gauges: the tag is the scale x 100 and sets the softness.
    for (const auto& [tag, scale, blur] : {std::tuple{100, 1.0, 0.0}, std::tuple{200, 2.0, 0.55}}) {
        panel_.gauge.tag = tag;
        p().GrainSizeChanged();
        EXPECT_EQ(m().grainScale(), scale);
        EXPECT_NEAR(m().blurRadius(), blur, 1e-6);
    }
    m().setGrainScale(1.0);
    EXPECT_EQ(panel_.gauge.tag, 100);
}

TEST_F(FilmPanelTest, APresetStaysUntilTheFirstChangeAndBypassKeepsIt) {
    WithPreset("/clips/b.mov");
    c().ToggleBypass();
    EXPECT_EQ(PresetOf("/clips/b.mov"), "p-1");
    panel_.levels.p = {0.1, 0.5, 1.0};
    p().LevelsChanged();
    EXPECT_EQ(PresetOf("/clips/b.mov"), "");
    EXPECT_EQ(SettingsManager::Instance().SettingsForClip("/clips/b.mov")->presetNumber(), 0);
    EXPECT_EQ(m().clipSettings()->presetID(), "");
    EXPECT_NEAR(m().histogramBlack(), 0.1, 1e-6);
    EXPECT_EQ(text(PanelText::Black).text, "10");
}

}  // namespace
}  // namespace ombrel
