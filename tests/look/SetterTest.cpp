// The look setters on the CPU side: tables, matrices, the levels curve, the bypass, exposure
// and colour balls, stock and grain selection, and their reload flags. No GL is needed.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "datafile/DataFile.h"
#include "datafile/Resource.h"
#include "look/AppState.h"
#include "look/LutManager.h"
#include "look/ShaderProcessor.h"
#include "look/balls/ColorBall2DLUT.h"
#include "look/exposure/ColorTempExposureModel.h"
#include "model/ColorBallInfo.h"
#include "support/StockFiles.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

using Backend = ShaderProcessor::Backend;
using Table3 = std::array<float, kTableLength * 3>;

std::vector<float> LiftTable(const ShaderProcessor& sp) { return sp.CoreShaderInputsForRender().lift; }

TEST(LiftGammaGain, TheRampIsShapedByGainGammaAndALiftThatPivotsOnWhite) {
    struct Row {
        const char* name;
        float lift, gamma, gain;
        double (*expected)(double x);
    };
    const Row rows[] = {
        {"neutral: entry i at i / 4096", 1, 1, 1, [](double x) { return x; }},
        {"gain 0.5", 1, 1, 0.5f, [](double x) { return 0.5 * x; }},
        {"gamma 2: exponent 0, all above black is white", 1, 2, 1, [](double x) { return x > 0 ? 1.0 : 0.0; }},
        {"lift 0.5 doubles the slope", 0.5f, 1, 1, [](double x) { return std::max(0.0, 2 * x - 1); }},
        {"a strong gain is limited to white", 1, 1, 3, [](double x) { return std::min(1.0, 3 * x); }},
    };
    ShaderProcessor sp(Backend::Cpu);
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        sp.SetLiftGammaGain(r.lift, r.gamma, r.gain);
        const auto t = LiftTable(sp);
        ASSERT_EQ(t.size(), 4096u);
        for (size_t i = 0; i < t.size(); ++i) ASSERT_NEAR(t[i], r.expected(i / 4096.0), 1e-6) << i;
    }
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
        EXPECT_EQ(std::vector<float>({m[3], m[7], m[11], m[12], m[13], m[14], m[15]}),
                  std::vector<float>({0, 0, 0, 0, 0, 0, 1}));
    }
    float id[16], luma[16], half[16];
    ShaderProcessor::SetMatrixForSat(id, 1.0f);
    ShaderProcessor::SetMatrixForSat(luma, 0.0f);
    for (int i = 0; i < 16; ++i) EXPECT_EQ(id[i], (i % 5 == 0) ? 1.0f : 0.0f) << i;
    for (int j = 0; j < 3; ++j) {  // saturation 0: every output channel is the same luma
        EXPECT_FLOAT_EQ(luma[j], 0.2126f);
        EXPECT_FLOAT_EQ(luma[4 + j], 0.7152f);
        EXPECT_FLOAT_EQ(luma[8 + j], 0.0722f);
    }
    ShaderProcessor sp(Backend::Cpu);
    EXPECT_EQ(sp.CoreShaderInputsForRender().saturation[15], 0.0f) << "the look's matrix starts at (1, 1, 1, 0)";
    sp.SetSaturation(0.5f);
    ShaderProcessor::SetMatrixForSat(half, 0.5f);
    EXPECT_EQ(sp.CoreShaderInputsForRender().saturation[1], half[1]);
}

// Black above white: below half white is pushed up to black + 0.002; above half black and mid
// are pulled down below white, and nothing is left at the old black point.
TEST(LevelsCurve, RisesFromBlackToWhiteAndBlackAboveWhiteClipsAtTheLimitThatWins) {
    struct Probe {
        size_t entry;
        float level, tolerance;
    };
    struct Row {
        const char* name;
        double black, mid, white;
        std::vector<Probe> probes;
    };
    const Row rows[] = {
        {"neutral", 0.0, 0.5, 1.0, {{2048, 0.5f, 0.01f}, {4095, 1.0f, 1e-4f}}},
        {"levels on", 0.1, 0.45, 0.85, {{408, 0.0f, 0.0f}, {1843, 0.5f, 0.01f}, {3482, 1.0f, 1e-4f}}},
        {"narrow", 0.2, 0.7, 0.9, {{818, 0.0f, 0.0f}, {2867, 0.5f, 0.01f}, {3687, 1.0f, 1e-4f}}},
        {"black above white below half", 0.6, 0.5, 0.2, {{2453, 0.0f, 0.0f}, {2469, 1.0f, 0.0f}}},
        {"black above white above half", 0.9, 0.5, 0.8, {{3264, 0.0f, 0.0f}, {3280, 1.0f, 0.0f}, {3481, 1, 0}}},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        ShaderProcessor sp(Backend::Cpu);
        sp.SetHistogramBMW(r.black, r.mid, r.white);
        const auto y = sp.CoreShaderInputsForRender().spline;
        for (size_t i = 1; i < y.size(); ++i) ASSERT_GE(y[i], y[i - 1]) << i;
        for (const Probe& p : r.probes) EXPECT_NEAR(y[p.entry], p.level, p.tolerance) << "entry " << p.entry;
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

// The bypass leaves the exposure in the picture and takes out everything else.
TEST(ShowOriginal, BypassBuildsNeutralTablesKeepsTheCallersValuesAndBringsThemBack) {
    ShaderProcessor sp(Backend::Cpu), fresh(Backend::Cpu), wanted(Backend::Cpu);
    sp.SetExposureKelvin(1.0f, 4000.0f);
    const Table3 exposure = sp.exposureTable();
    sp.SetBlendValue(0.7);
    sp.SetSBlendValue(0.4);
    sp.SetGrainValue(0.9);
    sp.SetSaturation(1.5f);
    sp.SetBlackAndWhite(true);
    sp.SetLiftGammaGain(0.5f, 1.4f, 1.2f);
    sp.SetHistogramBMW(0.1, 0.5, 0.9);
    EXPECT_FALSE(sp.NeedsBlur()) << "no radius";
    sp.SetBlurAmount(0.5f);
    EXPECT_TRUE(sp.NeedsBlur());
    sp.setShowOriginal(true);
    EXPECT_FALSE(sp.NeedsBlur());
    // Changes during the bypass are kept for later and do not show.
    sp.SetLiftGammaGain(0.8f, 1.2f, 1.1f);
    sp.SetHistogramBMW(0.2, 0.4, 0.7);
    const auto bypassed = sp.CoreShaderInputsForRender();
    const auto neutral = fresh.CoreShaderInputsForRender();
    EXPECT_EQ(bypassed.exposure, std::vector<float>(exposure.begin(), exposure.end()));
    EXPECT_EQ(bypassed.lift, neutral.lift);
    EXPECT_EQ(bypassed.spline, neutral.spline);
    EXPECT_EQ(bypassed.balls, neutral.balls);
    EXPECT_EQ(bypassed.stockLUTAmount + bypassed.sBlendAmount + bypassed.grainAmount, 0.0f);
    EXPECT_EQ(bypassed.saturation, neutral.saturation) << "the identity (1, 1, 1, 0)";
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

// The table a model with the installed conversion tables makes for these model arguments.
Table3 ExposureModelTable(float exposureDecades, float colorTempOffset) {
    colorTempExposureModel m;
    const Status s =
        LoadExposureTables(m, ResourcePath("Resources/5D_CV2logLUT.bin"), ResourcePath("Resources/5D_log2CVLUT.bin"));
    EXPECT_TRUE(s.ok()) << s.message();
    Table3 t{};
    m.getGLTexture_RGB(exposureDecades, colorTempOffset, kTableLength, t.data());
    return t;
}

TEST(ExposureSetter, TheTableIsTheModelsForAThirdOfTheStopsAndTheOffsetFrom5600) {
    ShaderProcessor sp(Backend::Cpu);
    for (const auto& [stops, kelvin] : {std::pair{1.5f, 3200.0f}, {-2.0f, 9000.0f}, {0.7f, 5600.0f}, {0.0f, 4100.0f}}) {
        SCOPED_TRACE(testing::Message() << stops << " stops at " << kelvin << " K");
        sp.SetExposureKelvin(stops, kelvin);
        EXPECT_TRUE(sp.reloadExposure());
        const Table3 got = sp.exposureTable();
        EXPECT_EQ(got, ExposureModelTable(stops / 3.0f, kelvin - 5600.0f));
        if (stops != 0.0f) { EXPECT_NE(got, ExposureModelTable(stops, kelvin - 5600.0f)) << "stops are not decades"; }
        if (kelvin != 5600.0f) { EXPECT_NE(got, ExposureModelTable(stops / 3.0f, kelvin)) << "kelvin is an offset"; }
    }
    ShaderProcessor built(Backend::Cpu);
    ASSERT_TRUE(built.InitPipelineForViewportContext({{0, 0}, {16, 16}}, nullptr));
    EXPECT_EQ(built.exposureTable(), ExposureModelTable(0.0f, 0.0f)) << "a built pipeline starts flat";
}

TEST(ExposureSetter, TheFirstCallMakesTheModelAndAFlatSettingIsTakenAsInForceFromTheSecond) {
    ShaderProcessor sp(Backend::Cpu);
    const Table3 flat = ExposureModelTable(0.0f, 0.0f);
    EXPECT_FALSE(sp.lastExposureWasFlat());
    sp.SetExposureKelvin(0.0f, 5600.0f);
    EXPECT_EQ(sp.exposureTable(), flat);
    EXPECT_FALSE(sp.lastExposureWasFlat()) << "making the model clears the mark";
    sp.SetExposureKelvin(0.0f, 5600.0f);
    EXPECT_TRUE(sp.lastExposureWasFlat());
    // A flat setting on a flat table touches nothing: a table scribbled over stays so.
    sp.EditTables([](ShaderProcessor::Tables& t) { t.exposureTexture.fill(0.25f); });
    sp.SetExposureKelvin(0.0f, 5600.0f);
    EXPECT_EQ(sp.exposureTable()[123], 0.25f);
    sp.SetExposureKelvin(1.0f, 5600.0f);
    EXPECT_FALSE(sp.lastExposureWasFlat());
    sp.SetExposureKelvin(0.0f, 5600.0f);
    EXPECT_TRUE(sp.lastExposureWasFlat());
    EXPECT_EQ(sp.exposureTable(), flat) << "back to flat rebuilds once";
    // Flat means both exactly: a Kelvin off by one is a colour temperature.
    sp.SetExposureKelvin(0.0f, 5601.0f);
    EXPECT_FALSE(sp.lastExposureWasFlat());
    EXPECT_EQ(sp.exposureTable(), ExposureModelTable(0.0f, 1.0f));
}

TEST(ExposureSetupDeathTest, AMissingOrShortTableIsABrokenInstallationNamedInTheLog) {
    const std::string cv = test::ReadWholeFile(ResourcePath("Resources/5D_CV2logLUT.bin"));
    const std::string log = test::ReadWholeFile(ResourcePath("Resources/5D_log2CVLUT.bin"));
    struct Row {
        const char *name, *message;
        std::string cvToLog, logToCV;  // empty: not written
    };
    for (const Row& r :
         {Row{"missing", "Missing resource \"Resources/5D_CV2logLUT.bin\"", "", log},
          Row{"short", ">> ERROR: Unusable exposure table: .*5D_log2CVLUT.bin holds 393216 bytes, not 786432", cv,
              log.substr(0, log.size() / 2)}}) {
        SCOPED_TRACE(r.name);
        test::TempDir dir;
        std::filesystem::create_directories(dir / "Resources");
        if (!r.cvToLog.empty()) test::WriteWholeFile(dir / "Resources/5D_CV2logLUT.bin", r.cvToLog);
        test::WriteWholeFile(dir / "Resources/5D_log2CVLUT.bin", r.logToCV);
        EXPECT_DEATH(
            {
                test::ScopedDataRoot root(dir.path());
                ShaderProcessor(Backend::Cpu).SetExposureKelvin(1.0f, 5600.0f);
            },
            r.message);
    }
}

Table3 BallModelTable(float as, float ss, float am, float sm, float ah, float sh) {
    Table3 t{};
    colorBall2DLUT().getLUT(as, ss, am, sm, ah, sh, kTableLength, 1.0f, t.data());
    return t;
}

// A ball is {radius, angle}; the model takes each angle and its radius squared, shadows first.
TEST(BallSetter, EachBallGivesItsAngleAndItsRadiusSquaredInShadowMidHighOrder) {
    ShaderProcessor sp(Backend::Cpu);
    const Table3 identity = BallModelTable(0, 0, 0, 0, 0, 0);
    EXPECT_EQ(sp.ballTable(), identity) << "balls at the centre from the start";
    const ColorBallInfo info{{0.8f, 2.5f}, {0.5f, -1.0f}, {0.3f, 0.4f}};
    sp.SetBallInfo(info);
    EXPECT_TRUE(sp.reloadBalls());
    const Table3 got = sp.ballTable();
    EXPECT_EQ(got, BallModelTable(0.4f, 0.3f * 0.3f, -1.0f, 0.5f * 0.5f, 2.5f, 0.8f * 0.8f));
    EXPECT_NE(got, BallModelTable(0.4f, 0.3f, -1.0f, 0.5f, 2.5f, 0.8f)) << "the radius is squared";
    EXPECT_NE(got, BallModelTable(2.5f, 0.64f, -1.0f, 0.25f, 0.4f, 0.09f)) << "shadows first, highlights last";

    // The bypass builds centred balls and keeps the caller's until it ends.
    const ColorBallInfo during{{1.0f, -0.3f}, {0.0f, 0.0f}, {0.2f, 1.7f}};
    sp.setShowOriginal(true);
    EXPECT_EQ(sp.ballTable(), identity);
    EXPECT_TRUE(ColorBallData::IsSameDest(sp.ballInfoLocal(), info));
    sp.SetBallInfo(during);
    EXPECT_EQ(sp.ballTable(), identity) << "a change during the bypass stays out of the table";
    EXPECT_TRUE(ColorBallData::IsSameDest(sp.ballInfoLocal(), during));
    sp.setShowOriginal(false);
    EXPECT_EQ(sp.ballTable(), BallModelTable(1.7f, 0.2f * 0.2f, 0.0f, 0.0f, -0.3f, 1.0f));
    sp.SetBallInfo(info);
    EXPECT_EQ(sp.ballTable(), got);
}

using test::WriteStock;

class StockSelection : public testing::Test {
protected:
    void SetUp() override {
        root_.emplace(dir_.path());
        // A stock change also picks the grain map, and no pipeline runs without its scans.
        std::filesystem::create_directories(dir_ / "Resources");
        std::filesystem::copy_file(root_->previous() + "/Resources/CP35.bin", dir_ / "Resources/CP35.bin");
        const std::vector<std::tuple<const char*, const char*, float>> stocks{
            {"5D", "5207", 0.1f},     {"EpicM", "5207", 0.2f},   {"RedOne", "5213", 0.3f},
            {"Chosen", "5213", 0.4f}, {"Default", "5213", 0.5f}, {"5D", "KodakTriX", 0.6f}};
        for (const auto& [profile, stock, value] : stocks) WriteStock(dir_.path(), profile, stock, value);
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
    struct Row {
        const char *name, *stock, *profile;
        int appState;
        float loaded;  // < 0: whatever was loaded before
        bool blackAndWhite;
    };
    for (const Row& r : {Row{"a table of its own", "KodakTriX", "5D", 1, 0.6f, true},
                         Row{"movies fall back to the 5D 5207 table", "8553", "Nowhere", 1, 0.1f, false},
                         Row{"R3D clips fall back to the EpicM 5207 table", "IlfordFP4", "Nowhere", 0, 0.2f, true},
                         Row{"an unknown stock reads as colour stock 0", "NoSuchStock", "5D", 0, 0.2f, false}}) {
        SCOPED_TRACE(r.name);
        AppState::Instance().setState(r.appState);
        ShaderProcessor sp(Backend::Cpu);
        sp.SetCurrentLUTSourceTypeChosenR3DMode(r.stock, r.profile, std::nullopt, r.appState == 0);
        EXPECT_FLOAT_EQ(Loaded(sp), r.loaded);
        EXPECT_EQ(sp.isBlackAndWhite(), r.blackAndWhite);
    }
}

TEST_F(StockSelection, NoStockOrProfileChangesNothing) {
    ShaderProcessor sp(Backend::Cpu);
    const float before = Loaded(sp);
    sp.SetCurrentLUTSourceTypeChosenR3DMode("", "5D", std::nullopt, false);
    sp.SetCurrentLUTSourceTypeChosenR3DMode("5207", "", std::nullopt, true);
    EXPECT_FALSE(sp.reloadLUT() || sp.reloadGrainCurve());
    EXPECT_EQ(Loaded(sp), before);
}

// A stock change swaps the grain curve, never the grain image.
TEST(GrainSelection, StockChangeReloadsTheCurveOnly) {
    ShaderProcessor sp(Backend::Cpu);
    sp.SetCurrentLUTSourceTypeChosenR3DMode("5213", "5D", std::nullopt, false);
    EXPECT_TRUE(sp.reloadLUT() && sp.reloadGrainCurve());
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
        SCOPED_TRACE(testing::Message() << c.width << " x " << c.scale);
        ShaderProcessor sp(Backend::Cpu);
        sp.setImageWidth(c.width);
        sp.setImageHeight(1000);
        sp.ChangeGrainMapToStockScaleCurveOnly("5207", c.scale, false);
        ASSERT_TRUE(sp.grain());
        EXPECT_EQ(sp.grain()->grainName(), c.scan);
        EXPECT_EQ(sp.lastGrainScale(), c.scale);
        EXPECT_EQ(sp.grainSize()[0], sp.grain()->width()) << "grainSize is the map's real size";
    }
    // Before the image size is known only the scale is recorded.
    ShaderProcessor sp(Backend::Cpu);
    sp.setImageWidth(0);
    sp.ChangeGrainMapToStockScaleCurveOnly("5207", 2.43, false);
    EXPECT_EQ(sp.lastGrainScale(), 2.43);
    EXPECT_FALSE(sp.grain());
    EXPECT_FALSE(sp.reloadGrain() || sp.reloadGrainCurve());
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
