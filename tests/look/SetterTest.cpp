// The look setters on the CPU side: tables, matrices, the levels curve, the bypass, stock
// and grain selection, and their reload flags. No GL is needed.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "datafile/DataFile.h"
#include "look/AppState.h"
#include "look/LutManager.h"
#include "look/ShaderProcessor.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

using Backend = ShaderProcessor::Backend;

std::vector<float> LiftTable(const ShaderProcessor& sp) { return sp.CoreShaderInputsForRender().lift; }
std::vector<float> LevelsTable(const ShaderProcessor& sp) { return sp.CoreShaderInputsForRender().spline; }

TEST(LiftGammaGain, NeutralIsTheRampAndGainGammaLiftShapeIt) {
    ShaderProcessor sp(Backend::Cpu);
    auto t = LiftTable(sp);
    ASSERT_EQ(t.size(), 4096u);
    for (size_t i = 0; i < t.size(); ++i) ASSERT_EQ(t[i], static_cast<float>(i / 4096.0)) << i;  // last at 4095/4096

    sp.SetLiftGammaGain(1.0f, 1.0f, 0.5f);
    t = LiftTable(sp);
    for (size_t i = 0; i < t.size(); i += 97) EXPECT_NEAR(t[i], 0.5 * i / 4096.0, 1e-7) << i;

    // Gamma 2 makes the exponent 0: everything above black goes to white.
    sp.SetLiftGammaGain(1.0f, 2.0f, 1.0f);
    t = LiftTable(sp);
    EXPECT_EQ(t[0], 0.0f);
    for (size_t i = 1; i < t.size(); i += 51) EXPECT_EQ(t[i], 1.0f) << i;

    // Lift pivots on white: lift 0.5 doubles the slope and clips the lower half to black.
    sp.SetLiftGammaGain(0.5f, 1.0f, 1.0f);
    t = LiftTable(sp);
    EXPECT_EQ(t[1000], 0.0f);
    EXPECT_NEAR(t[3072], 0.5, 1e-6);
    // A strong gain is limited to white.
    sp.SetLiftGammaGain(1.0f, 1.0f, 3.0f);
    t = LiftTable(sp);
    EXPECT_EQ(t[4095], 1.0f);
    EXPECT_NEAR(t[1000], 3.0 * 1000 / 4096.0, 1e-6);
}

// Lift is held just above 0 and just below 2: a value beyond a limit gives the limit's table,
// one just inside gives nearly that table, one further in another table.
TEST(LiftGammaGain, LiftIsLimitedToJustAboveZeroAndJustBelowTwo) {
    struct Row {
        const char* name;
        float limit, beyond, justInside, inside, gamma, gain;
        size_t probe;  // an entry that neither clips
    };
    for (const Row& r : {Row{"low", 0.0f, -3.0f, 0.00001f, 0.1f, 1.2f, 1.1f, 4000},
                         Row{"high", 2.0f, 7.5f, 1.99999f, 1.9f, 0.8f, 0.9f, 2000}}) {
        SCOPED_TRACE(r.name);
        ShaderProcessor a(Backend::Cpu), b(Backend::Cpu);
        a.SetLiftGammaGain(r.limit, r.gamma, r.gain);
        b.SetLiftGammaGain(r.beyond, r.gamma, r.gain);
        EXPECT_EQ(LiftTable(a), LiftTable(b));
        b.SetLiftGammaGain(r.justInside, r.gamma, r.gain);
        const auto at = LiftTable(a), near = LiftTable(b);
        for (size_t i = 0; i < at.size(); ++i) ASSERT_NEAR(at[i], near[i], 1e-6f) << i;
        b.SetLiftGammaGain(r.inside, r.gamma, r.gain);
        EXPECT_GT(std::abs(LiftTable(a)[r.probe] - LiftTable(b)[r.probe]), 0.01f);
    }
}

TEST(SaturationMatrix, KeepsGreyAndGoesFromLumaToIdentity) {
    for (float s : {0.0f, 0.35f, 1.0f, 1.8f}) {
        float m[16];
        ShaderProcessor::SetMatrixForSat(m, s);
        // Output channel j sums c_i * m[4i + j]: a grey stays the same grey.
        for (int j = 0; j < 3; ++j) EXPECT_NEAR(m[j] + m[4 + j] + m[8 + j], 1.0f, 1e-6) << s;
        EXPECT_EQ(m[15], 1.0f);
        EXPECT_EQ(m[3] + m[7] + m[11] + m[12] + m[13] + m[14], 0.0f);
    }
    float id[16], luma[16];
    ShaderProcessor::SetMatrixForSat(id, 1.0f);
    ShaderProcessor::SetMatrixForSat(luma, 0.0f);
    for (int i = 0; i < 16; ++i) EXPECT_EQ(id[i], (i % 5 == 0) ? 1.0f : 0.0f) << i;
    // Saturation 0: every output channel is the same luma of R, G and B.
    for (int j = 0; j < 3; ++j) {
        EXPECT_FLOAT_EQ(luma[j], 0.2126f);
        EXPECT_FLOAT_EQ(luma[4 + j], 0.7152f);
        EXPECT_FLOAT_EQ(luma[8 + j], 0.0722f);
    }
    ShaderProcessor sp(Backend::Cpu);
    EXPECT_EQ(sp.CoreShaderInputsForRender().saturation[15], 0.0f) << "the look's matrix starts at (1, 1, 1, 0)";
    sp.SetSaturation(0.5f);
    float half[16];
    ShaderProcessor::SetMatrixForSat(half, 0.5f);
    EXPECT_EQ(sp.CoreShaderInputsForRender().saturation[1], half[1]);
}

TEST(LevelsCurve, NormalLevelsRiseFromBlackToWhite) {
    ShaderProcessor sp(Backend::Cpu);
    for (auto levels : {std::array<double, 3>{0.0, 0.5, 1.0}, std::array<double, 3>{0.1, 0.45, 0.85},
                        std::array<double, 3>{0.2, 0.7, 0.9}}) {
        sp.SetHistogramBMW(levels[0], levels[1], levels[2]);
        const auto y = LevelsTable(sp);
        SCOPED_TRACE(testing::Message() << levels[0] << " " << levels[1] << " " << levels[2]);
        for (size_t i = 1; i < y.size(); ++i) ASSERT_GE(y[i], y[i - 1]) << i;
        const size_t black = static_cast<size_t>(levels[0] * 4096);
        const size_t white = static_cast<size_t>(levels[2] * 4096);
        if (black > 0) { EXPECT_EQ(y[black - 1], 0.0f); }
        EXPECT_GE(y[std::min<size_t>(white + 1, 4095)], 0.9999f);
        EXPECT_NEAR(y[static_cast<size_t>(levels[1] * 4096)], 0.5, 0.01) << "mid maps to mid grey";
    }
}

// Black above white: below half white is pushed up to black + 0.002; above half black and mid
// are pulled down below white, and nothing is left at the old black point.
TEST(LevelsCurve, BlackAboveWhiteClipsAtTheLimitThatWins) {
    struct Row {
        const char* name;
        double black, white;
        double lastBlack, firstWhite, stillWhite;
    };
    for (const Row& r : {Row{"white below half", 0.6, 0.2, 0.599, 0.603, 0.603},
                         Row{"white above half", 0.9, 0.8, 0.797, 0.801, 0.85}}) {
        SCOPED_TRACE(r.name);
        ShaderProcessor sp(Backend::Cpu);
        sp.SetHistogramBMW(r.black, 0.5, r.white);
        const auto y = LevelsTable(sp);
        EXPECT_EQ(y[static_cast<size_t>(r.lastBlack * 4096)], 0.0f);
        EXPECT_EQ(y[static_cast<size_t>(r.firstWhite * 4096)], 1.0f);
        EXPECT_EQ(y[static_cast<size_t>(r.stillWhite * 4096)], 1.0f);
    }
}

TEST(LevelsCurve, UnchangedLevelsDoNotRebuild) {
    ShaderProcessor sp(Backend::Cpu);
    sp.SetHistogramBMW(0.1, 0.5, 0.9);
    EXPECT_TRUE(sp.pushSplineTexture());
    sp.setPushSplineTexture(false);
    sp.SetHistogramBMW(0.1, 0.5, 0.9);
    EXPECT_FALSE(sp.pushSplineTexture());
    sp.SetHistogramBMW(0.1, 0.5, 0.91);
    EXPECT_TRUE(sp.pushSplineTexture());
}

TEST(ShowOriginal, BypassBuildsNeutralTablesKeepsTheCallersValuesAndBringsThemBack) {
    ShaderProcessor sp(Backend::Cpu), fresh(Backend::Cpu), wanted(Backend::Cpu);
    sp.SetBlendValue(0.7);
    sp.SetSBlendValue(0.4);
    sp.SetGrainValue(0.9);
    sp.SetSaturation(1.5f);
    sp.SetBlackAndWhite(true);
    sp.SetLiftGammaGain(0.5f, 1.4f, 1.2f);
    sp.SetHistogramBMW(0.1, 0.5, 0.9);
    sp.setShowOriginal(true);
    // Changes during the bypass are kept for later and do not show.
    sp.SetLiftGammaGain(0.8f, 1.2f, 1.1f);
    sp.SetHistogramBMW(0.2, 0.4, 0.7);
    const auto bypassed = sp.CoreShaderInputsForRender();
    const auto neutral = fresh.CoreShaderInputsForRender();
    EXPECT_EQ(bypassed.lift, neutral.lift);
    EXPECT_EQ(bypassed.spline, neutral.spline);
    EXPECT_EQ(bypassed.balls, neutral.balls);
    EXPECT_EQ(bypassed.stockLUTAmount, 0.0f);
    EXPECT_EQ(bypassed.sBlendAmount, 0.0f);
    EXPECT_EQ(bypassed.grainAmount, 0.0f);
    EXPECT_EQ(bypassed.saturation[15], 0.0f) << "the identity (1, 1, 1, 0)";
    EXPECT_EQ(bypassed.saturation[0], 1.0f);
    EXPECT_EQ(bypassed.blackandwhite[1], 0.0f) << "no black-and-white projection while bypassed";
    EXPECT_EQ(sp.histogramLocal(), (std::array<double, 3>{0.2, 0.4, 0.7}));
    EXPECT_EQ(sp.histogram(), (std::array<double, 3>{0.0, 0.5, 1.0}));

    sp.setShowOriginal(false);
    wanted.SetLiftGammaGain(0.8f, 1.2f, 1.1f);
    wanted.SetHistogramBMW(0.2, 0.4, 0.7);
    const auto back = sp.CoreShaderInputsForRender();
    EXPECT_EQ(back.lift, wanted.CoreShaderInputsForRender().lift);
    EXPECT_EQ(back.spline, wanted.CoreShaderInputsForRender().spline);
    EXPECT_FLOAT_EQ(back.stockLUTAmount, 0.7f);
    EXPECT_FLOAT_EQ(back.blackandwhite[1], 0.2126f);
}

TEST(BlurSwitch, NeedsBlurOnlyWithARadiusAndNoBypass) {
    ShaderProcessor sp(Backend::Cpu);
    EXPECT_FALSE(sp.NeedsBlur());
    sp.SetBlurAmount(0.5f);
    EXPECT_TRUE(sp.NeedsBlur());
    sp.setShowOriginal(true);
    EXPECT_FALSE(sp.NeedsBlur());
}

// Writes a stock table whose every entry is `value`, where the loader looks for it.
void WriteStock(const std::string& root, const std::string& profile, const std::string& stock, float value) {
    std::filesystem::create_directories(root + "/Profiles/" + profile);
    std::vector<float> table(kStockLutFloats, value);
    ASSERT_EQ(ScrambleDataToFile(root + "/Profiles/" + profile + "/" + profile + "_" + stock + ".tin", table.data(),
                                 kStockLutBytes, nullptr),
              0);
}

class StockSelection : public testing::Test {
protected:
    void SetUp() override {
        root_.emplace(dir_.path());
        // A stock change also picks the grain map, and no pipeline runs without its scans.
        std::filesystem::create_directories(dir_.path() + "/Resources");
        std::filesystem::copy_file(root_->previous() + "/Resources/CP35.bin", dir_.path() + "/Resources/CP35.bin");
        WriteStock(dir_.path(), "5D", "5207", 0.1f);
        WriteStock(dir_.path(), "EpicM", "5207", 0.2f);
        WriteStock(dir_.path(), "RedOne", "5213", 0.3f);
        WriteStock(dir_.path(), "Chosen", "5213", 0.4f);
        WriteStock(dir_.path(), "Default", "5213", 0.5f);
        WriteStock(dir_.path(), "5D", "KodakTriX", 0.6f);
    }
    void TearDown() override {
        root_.reset();
        ShaderProcessor::SetDefaultCameraReader(nullptr);
        AppState::Instance().setState(1);
    }
    static float Loaded(const ShaderProcessor& sp) { return sp.CoreShaderInputsForRender().stockLut[12345]; }

    test::TempDir dir_;
    std::optional<test::ScopedDataRoot> root_;
};

TEST_F(StockSelection, ChosenCameraThenR3DSourceThenUserDefaultThenSource) {
    struct Row {
        const char* name;
        std::optional<std::string> chosen;
        const char* userDefault;  // null: none set
        bool r3dMode;
        float loaded;
    };
    for (const Row& r :
         {Row{"chosen camera", "Chosen", nullptr, true, 0.4f}, Row{"R3D source", std::nullopt, nullptr, true, 0.3f},
          Row{"R3D mode ignores the user default", std::nullopt, "Default", true, 0.3f},
          Row{"an empty choice takes the user default", "", "Default", false, 0.5f},
          Row{"no default: the source", std::nullopt, nullptr, false, 0.3f}}) {
        SCOPED_TRACE(r.name);
        ShaderProcessor::SetDefaultCameraReader(
            r.userDefault ? std::function<std::optional<std::string>()>(
                                [d = std::string(r.userDefault)] { return std::optional<std::string>(d); })
                          : nullptr);
        ShaderProcessor sp(Backend::Cpu);
        sp.SetCurrentLUTSourceTypeChosenR3DMode("5213", "RedOne", r.chosen, r.r3dMode);
        EXPECT_FLOAT_EQ(Loaded(sp), r.loaded);
    }
}

TEST_F(StockSelection, MissingTablesFallBackBySideAndBlackAndWhiteFollowsTheStock) {
    ShaderProcessor sp(Backend::Cpu);
    sp.SetCurrentLUTSourceTypeChosenR3DMode("KodakTriX", "5D", std::nullopt, false);
    EXPECT_FLOAT_EQ(Loaded(sp), 0.6f);
    EXPECT_TRUE(sp.isBlackAndWhite());
    AppState::Instance().setState(1);
    sp.SetCurrentLUTSourceTypeChosenR3DMode("8553", "Nowhere", std::nullopt, true);
    EXPECT_FLOAT_EQ(Loaded(sp), 0.1f) << "movies fall back to the 5D 5207 table";
    EXPECT_FALSE(sp.isBlackAndWhite());
    AppState::Instance().setState(0);
    sp.SetCurrentLUTSourceTypeChosenR3DMode("IlfordFP4", "Nowhere", std::nullopt, true);
    EXPECT_FLOAT_EQ(Loaded(sp), 0.2f) << "R3D clips fall back to the EpicM 5207 table";
    EXPECT_TRUE(sp.isBlackAndWhite());
    sp.SetCurrentLUTSourceTypeChosenR3DMode("NoSuchStock", "5D", std::nullopt, true);
    EXPECT_FALSE(sp.isBlackAndWhite()) << "an unknown stock reads as colour stock 0";
}

TEST_F(StockSelection, NoStockOrProfileChangesNothing) {
    ShaderProcessor sp(Backend::Cpu);
    const float before = Loaded(sp);
    sp.SetCurrentLUTSourceTypeChosenR3DMode("", "5D", std::nullopt, false);
    sp.SetCurrentLUTSourceTypeChosenR3DMode("5207", "", std::nullopt, true);
    EXPECT_FALSE(sp.reloadLUT());
    EXPECT_FALSE(sp.reloadGrainCurve());
    EXPECT_EQ(Loaded(sp), before);
}

// A stock change swaps the grain curve, never the grain image.
TEST(GrainSelection, StockChangeReloadsTheCurveOnly) {
    ShaderProcessor sp(Backend::Cpu);
    sp.SetCurrentLUTSourceTypeChosenR3DMode("5213", "5D", std::nullopt, false);
    EXPECT_TRUE(sp.reloadLUT());
    EXPECT_TRUE(sp.reloadGrainCurve());
    EXPECT_FALSE(sp.reloadGrain());
    sp.ChangeGrainMapToStockScaleCurveOnly("5213", 1.0, false);
    EXPECT_TRUE(sp.reloadGrain());
}

TEST(GrainSelection, ScanFollowsTheGrainWidthWithTheBoundariesInTheSmallerGauge) {
    struct Case {
        uint32_t width;
        double scale;
        const char* scan;
    };
    for (const Case& c : {Case{2800, 1.0, "CP35"}, Case{2801, 1.0, "CP16"}, Case{1400, 2.0, "CP35"},
                          Case{5500, 1.0, "CP16"}, Case{5501, 1.0, "CP8"}, Case{1920, 3.0, "CP8"}}) {
        ShaderProcessor sp(Backend::Cpu);
        sp.setImageWidth(c.width);
        sp.setImageHeight(1000);
        sp.ChangeGrainMapToStockScaleCurveOnly("5207", c.scale, false);
        ASSERT_TRUE(sp.grain());
        EXPECT_EQ(sp.grain()->grainName(), c.scan) << c.width << " x " << c.scale;
        EXPECT_EQ(sp.lastGrainScale(), c.scale);
        const auto size = sp.grainSize();
        EXPECT_EQ(size[0], sp.grain()->width()) << "grainSize is the map's real size";
    }
}

TEST(GrainSelection, BeforeTheImageSizeIsKnownOnlyTheScaleIsRecorded) {
    ShaderProcessor sp(Backend::Cpu);
    sp.setImageWidth(0);
    sp.ChangeGrainMapToStockScaleCurveOnly("5207", 2.43, false);
    EXPECT_EQ(sp.lastGrainScale(), 2.43);
    EXPECT_FALSE(sp.grain());
    EXPECT_FALSE(sp.reloadGrain());
    EXPECT_FALSE(sp.reloadGrainCurve());
}

TEST(ProgramText, TheSwizzlesChosenPickTheARGBStages) {
    ShaderProcessor sp(Backend::Cpu);
    EXPECT_EQ(sp.GeneratedMain().find("ARGB"), std::string::npos);
    sp.setNeedsARGBSwizzleIn(true);
    sp.setNeedsARGBSwizzleOut(true);
    EXPECT_NE(sp.GeneratedMain().find("StartARGB()"), std::string::npos);
    EXPECT_NE(sp.GeneratedMain().find("FinishARGB(pixelValue)"), std::string::npos);
}

}  // namespace
}  // namespace ombrel
