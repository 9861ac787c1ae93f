// The look setters on the CPU side: the tables, matrices and curves they build (what the draw
// makes of them is the GPU sweep's), and the stock and grain selection. No GL is needed.
#include <gtest/gtest.h>

#include <filesystem>
#include <iomanip>
#include <optional>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "datafile/Resource.h"
#include "look/AppState.h"
#include "look/LutManager.h"
#include "look/ShaderProcessor.h"
#include "look/balls/ColorBall2DLUT.h"
#include "look/exposure/ColorTempExposureModel.h"
#include "model/ColorBallInfo.h"
#include "support/RefFile.h"
#include "support/StockFiles.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

using Backend = ShaderProcessor::Backend;
using Table3 = std::array<float, kTableLength * 3>;

std::vector<float> LiftTable(float lift, float gamma, float gain) {
    ShaderProcessor sp(Backend::Cpu);
    sp.SetLiftGammaGain(lift, gamma, gain);
    return sp.CoreShaderInputsForRender().lift;
}

// Lift/gamma/gain (lift pivots on white; gamma 2 is exponent 0), the levels curve (black above
// white clips at the limit that wins) and the saturation matrix, sampled, one line a setting.
TEST(SetterTables, LiftGammaGainLevelsAndSaturationMatchTheReference) {
    std::ostringstream out;
    out << std::setprecision(7);
    for (const auto& [lift, gamma, gain] : {std::array<float, 3>{1, 1, 1},
                                            {1, 1, 0.5f},
                                            {1, 2, 1},
                                            {0.5f, 1, 1},
                                            {1, 1, 3},
                                            {0.9f, 1.2f, 1.1f},
                                            {1.6f, 0.7f, 0.9f}}) {
        out << "lift " << lift << " gamma " << gamma << " gain " << gain << ":";
        const auto t = LiftTable(lift, gamma, gain);
        for (size_t i : {0, 1, 512, 1024, 2048, 3000, 4095}) out << " " << t[i];
        out << "\n";
    }
    for (const auto& [black, mid, white] :
         {std::array<double, 3>{0, 0.5, 1}, {0.1, 0.45, 0.85}, {0.2, 0.7, 0.9}, {0.6, 0.5, 0.2}, {0.9, 0.5, 0.8}}) {
        ShaderProcessor sp(Backend::Cpu);
        sp.SetHistogramBMW(black, mid, white);
        const auto y = sp.CoreShaderInputsForRender().spline;
        for (size_t i = 1; i < y.size(); ++i) ASSERT_GE(y[i], y[i - 1]) << black << " " << white << ": " << i;
        out << "levels " << black << " " << mid << " " << white << ":";
        for (size_t i : {0, 408, 818, 1843, 2048, 2453, 2469, 2867, 3264, 3280, 3481, 3482, 3687, 4095})
            out << " " << y[i];
        out << "\n";
    }
    for (float s : {0.0f, 0.35f, 1.0f, 1.8f}) {
        float m[16];
        ShaderProcessor::SetMatrixForSat(m, s);
        out << "saturation " << s << ":";
        for (float v : m) out << " " << v;
        out << "\n";
    }
    EXPECT_TRUE(test::MatchesRef("look/setter-tables.txt", out.str()));
    // Lift is held just inside 0 and 2: beyond a limit is the limit, a little further in is not.
    for (const auto& [limit, beyond, inside] : {std::array<float, 3>{0, -3, 0.1f}, {2, 7.5f, 1.9f}}) {
        EXPECT_EQ(LiftTable(beyond, 1.2f, 1.1f), LiftTable(limit, 1.2f, 1.1f)) << limit;
        EXPECT_NE(LiftTable(inside, 1.2f, 1.1f), LiftTable(limit, 1.2f, 1.1f)) << limit;
    }
}

// What the bypass takes out is a row of the GPU sweep; what is set during it shows when it ends.
TEST(ShowOriginal, ChangesDuringTheBypassStayOutAndShowWhenItEnds) {
    ShaderProcessor sp(Backend::Cpu), wanted(Backend::Cpu);
    const auto neutral = wanted.CoreShaderInputsForRender();
    sp.SetBlendValue(0.7);
    sp.setShowOriginal(true);
    for (ShaderProcessor* p : {&sp, &wanted}) {
        p->SetLiftGammaGain(0.8f, 1.2f, 1.1f);
        p->SetHistogramBMW(0.2, 0.4, 0.7);
        p->SetBallInfo({{0.8f, 2.5f}, {0.5f, -1.0f}, {0.3f, 0.4f}});
    }
    const auto during = sp.CoreShaderInputsForRender();
    EXPECT_EQ(during.lift, neutral.lift);
    EXPECT_EQ(during.spline, neutral.spline);
    EXPECT_EQ(during.balls, neutral.balls);
    sp.setShowOriginal(false);
    const auto back = sp.CoreShaderInputsForRender(), want = wanted.CoreShaderInputsForRender();
    EXPECT_EQ(back.lift, want.lift);
    EXPECT_EQ(back.spline, want.spline);
    EXPECT_EQ(back.balls, want.balls);
    EXPECT_FLOAT_EQ(back.stockLUTAmount, 0.7f);
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

// The table is the model's for a third of the stops and the offset from 5600 K; a flat setting
// is taken as in force from the second call on, so a flat setting on a flat table touches nothing.
TEST(ExposureSetter, TheTableIsTheModelsForAThirdOfTheStopsAndTheOffsetFrom5600) {
    ShaderProcessor sp(Backend::Cpu);
    sp.SetExposureKelvin(1.5f, 3200.0f);
    EXPECT_EQ(sp.exposureTable(), ExposureModelTable(0.5f, -2400.0f));
    sp.SetExposureKelvin(0.0f, 5600.0f);
    EXPECT_EQ(sp.exposureTable(), ExposureModelTable(0.0f, 0.0f));
    sp.SetExposureKelvin(0.0f, 5600.0f);
    sp.EditTables([](ShaderProcessor::Tables& t) { t.exposureTexture.fill(0.25f); });
    sp.SetExposureKelvin(0.0f, 5600.0f);
    EXPECT_EQ(sp.exposureTable()[123], 0.25f) << "a flat setting on a flat table touches nothing";
    sp.SetExposureKelvin(0.0f, 5601.0f);
    EXPECT_EQ(sp.exposureTable(), ExposureModelTable(0.0f, 1.0f)) << "flat means both exactly";
    ShaderProcessor built(Backend::Cpu);
    ASSERT_TRUE(built.InitPipelineForViewportContext({{0, 0}, {16, 16}}, nullptr));
    EXPECT_EQ(built.exposureTable(), ExposureModelTable(0.0f, 0.0f)) << "a built pipeline starts flat";
}

TEST(ExposureSetupDeathTest, AShortTableIsABrokenInstallationNamedInTheLog) {
    test::TempDir dir;
    std::filesystem::create_directories(dir / "Resources");
    std::filesystem::copy_file(ResourcePath("Resources/5D_CV2logLUT.bin"), dir / "Resources/5D_CV2logLUT.bin");
    test::WriteWholeFile(dir / "Resources/5D_log2CVLUT.bin", std::string(393216, '\0'));
    EXPECT_DEATH(
        {
            test::ScopedDataRoot root(dir.path());
            ShaderProcessor(Backend::Cpu).SetExposureKelvin(1.0f, 5600.0f);
        },
        ">> ERROR: Unusable exposure table: .*5D_log2CVLUT.bin holds 393216 bytes, not 786432");
}

// A ball is {radius, angle}; the model takes each angle and its radius squared, shadows first.
TEST(BallSetter, EachBallGivesItsAngleAndItsRadiusSquaredInShadowMidHighOrder) {
    ShaderProcessor sp(Backend::Cpu);
    sp.SetBallInfo({{0.8f, 2.5f}, {0.5f, -1.0f}, {0.3f, 0.4f}});
    Table3 model{};
    colorBall2DLUT().getLUT(0.4f, 0.3f * 0.3f, -1.0f, 0.5f * 0.5f, 2.5f, 0.8f * 0.8f, kTableLength, 1.0f, model.data());
    EXPECT_EQ(sp.ballTable(), model);
}

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
        for (const auto& [profile, stock, value] : stocks) test::WriteStock(dir_.path(), profile, stock, value);
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

// The table of the chosen camera, else in R3D mode the source's, else the user default, else the
// source's; a missing table falls back to the 5207 of the side in use.
TEST_F(StockSelection, ChosenCameraThenSourceOrUserDefaultAndMissingTablesFallBackBySide) {
    struct Row {
        const char *name, *stock, *profile;
        std::optional<std::string> chosen, userDefault;
        bool r3dMode;  // also the R3D side of the fallback
        float loaded;
        bool blackAndWhite;
    };
    const auto none = std::nullopt;
    for (const Row& r :
         {Row{"chosen camera", "5213", "RedOne", "Chosen", none, true, 0.4f, false},
          Row{"R3D source", "5213", "RedOne", none, none, true, 0.3f, false},
          Row{"R3D mode ignores the user default", "5213", "RedOne", none, "Default", true, 0.3f, false},
          Row{"an empty choice takes the user default", "5213", "RedOne", "", "Default", false, 0.5f, false},
          Row{"no default: the source", "5213", "RedOne", none, none, false, 0.3f, false},
          Row{"a table of its own", "KodakTriX", "5D", none, none, false, 0.6f, true},
          Row{"movies fall back to the 5D 5207 table", "8553", "Nowhere", none, none, false, 0.1f, false},
          Row{"R3D clips fall back to the EpicM 5207 table", "IlfordFP4", "Nowhere", none, none, true, 0.2f, true},
          Row{"an unknown stock reads as colour stock 0", "NoSuchStock", "5D", none, none, true, 0.2f, false}}) {
        SCOPED_TRACE(r.name);
        ShaderProcessor::SetDefaultCameraReader([d = r.userDefault] { return d; });
        AppState::Instance().setState(r.r3dMode ? 0 : 1);
        ShaderProcessor sp(Backend::Cpu);
        sp.SetCurrentLUTSourceTypeChosenR3DMode(r.stock, r.profile, r.chosen, r.r3dMode);
        EXPECT_FLOAT_EQ(Loaded(sp), r.loaded);
        EXPECT_EQ(sp.isBlackAndWhite(), r.blackAndWhite);
    }
}

TEST(GrainSelection, ScanFollowsTheGrainWidthWithTheBoundariesInTheSmallerGauge) {
    struct Case {
        uint32_t width;
        double scale;
        const char* scan;  // "none": no map before the image size is known
    };
    for (const Case& c :
         {Case{2800, 1.0, "CP35"}, Case{2801, 1.0, "CP16"}, Case{1400, 2.0, "CP35"}, Case{5500, 1.0, "CP16"},
          Case{5501, 1.0, "CP8"}, Case{1920, 3.0, "CP8"}, Case{0, 2.43, "none"}}) {
        SCOPED_TRACE(testing::Message() << c.width << " x " << c.scale);
        ShaderProcessor sp(Backend::Cpu);
        sp.setImageWidth(c.width);
        sp.setImageHeight(1000);
        sp.ChangeGrainMapToStockScaleCurveOnly("5207", c.scale, false);
        EXPECT_EQ(sp.lastGrainScale(), c.scale);
        ASSERT_EQ(sp.grain() ? sp.grain()->grainName() : "none", c.scan);
        if (sp.grain()) { EXPECT_EQ(sp.grainSize()[0], sp.grain()->width()) << "grainSize is the map's real size"; }
    }
}

}  // namespace
}  // namespace ombrel
