// The exposure table in the pipeline: what SetExposureKelvin hands the model, when it skips
// the rebuild and how a broken installation ends (drawn frames: the GPU sweep).
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "datafile/Resource.h"
#include "look/ShaderProcessor.h"
#include "look/exposure/ColorTempExposureModel.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

using Backend = ShaderProcessor::Backend;
using Table3 = std::array<float, kTableLength * 3>;

// The table a model with the installed conversion tables makes for these model arguments.
Table3 ModelTable(float exposureDecades, float colorTempOffset) {
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
    const std::array<std::array<float, 2>, 4> settings{
        {{1.5f, 3200.0f}, {-2.0f, 9000.0f}, {0.7f, 5600.0f}, {0.0f, 4100.0f}}};
    for (const auto& [stops, kelvin] : settings) {
        SCOPED_TRACE(testing::Message() << stops << " stops at " << kelvin << " K");
        sp.SetExposureKelvin(stops, kelvin);
        EXPECT_TRUE(sp.reloadExposure());
        const Table3 got = sp.exposureTable();
        EXPECT_EQ(got, ModelTable(stops / 3.0f, kelvin - 5600.0f));
        if (stops != 0.0f) { EXPECT_NE(got, ModelTable(stops, kelvin - 5600.0f)) << "stops are not decades"; }
        if (kelvin != 5600.0f) { EXPECT_NE(got, ModelTable(stops / 3.0f, kelvin)) << "kelvin is an offset"; }
    }
}

TEST(ExposureSetter, TheFirstCallMakesTheModelAndAFlatSettingIsTakenAsInForceFromTheSecond) {
    ShaderProcessor sp(Backend::Cpu);
    const Table3 flat = ModelTable(0.0f, 0.0f);
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
    EXPECT_NE(sp.exposureTable(), flat);
    sp.SetExposureKelvin(0.0f, 5600.0f);
    EXPECT_TRUE(sp.lastExposureWasFlat());
    EXPECT_EQ(sp.exposureTable(), flat) << "back to flat rebuilds once";
    // Flat means both exactly: a Kelvin off by one is a colour temperature.
    sp.SetExposureKelvin(0.0f, 5601.0f);
    EXPECT_FALSE(sp.lastExposureWasFlat());
    EXPECT_EQ(sp.exposureTable(), ModelTable(0.0f, 1.0f));
}

TEST(ExposureSetter, TheBypassLeavesTheExposureInThePicture) {
    ShaderProcessor sp(Backend::Cpu);
    sp.SetExposureKelvin(1.0f, 4000.0f);
    const Table3 before = sp.exposureTable();
    sp.setShowOriginal(true);
    EXPECT_EQ(sp.exposureTable(), before);
    EXPECT_EQ(sp.CoreShaderInputsForRender().exposure, std::vector<float>(before.begin(), before.end()));
}

TEST(ExposureSetter, BuildingThePipelineStartsFromTheFlatModelTable) {
    ShaderProcessor sp(Backend::Cpu);
    ASSERT_TRUE(sp.InitPipelineForViewportContext({{0, 0}, {16, 16}}, nullptr));
    EXPECT_EQ(sp.exposureTable(), ModelTable(0.0f, 0.0f));
}

// A data root that holds the two conversion tables as given (an absent one is not written).
void WriteExposureRoot(const std::string& root, const std::string* cvToLog, const std::string* logToCV) {
    std::filesystem::create_directories(root + "/Resources");
    if (cvToLog) test::WriteWholeFile(root + "/Resources/5D_CV2logLUT.bin", *cvToLog);
    if (logToCV) test::WriteWholeFile(root + "/Resources/5D_log2CVLUT.bin", *logToCV);
}

void ExposeWithDataRoot(const std::string& root) {
    ::setenv("OMBREL_DATA_DIR", root.c_str(), 1);
    ShaderProcessor sp(Backend::Cpu);
    sp.SetExposureKelvin(1.0f, 5600.0f);
}

TEST(ExposureSetupDeathTest, AMissingOrShortTableIsABrokenInstallationNamedInTheLog) {
    const std::string cv = test::ReadWholeFile(ResourcePath("Resources/5D_CV2logLUT.bin"));
    const std::string log = test::ReadWholeFile(ResourcePath("Resources/5D_log2CVLUT.bin"));
    const std::string shortLog = log.substr(0, log.size() / 2);
    struct Row {
        const char* name;
        const std::string *cvToLog, *logToCV;
        const char* message;
    };
    for (const Row& r : {Row{"missing", nullptr, &log, "Missing resource \"Resources/5D_CV2logLUT.bin\""},
                         Row{"short", &cv, &shortLog,
                             ">> ERROR: Unusable exposure table: .*5D_log2CVLUT.bin holds 393216 bytes, not 786432"}}) {
        SCOPED_TRACE(r.name);
        test::TempDir dir;
        WriteExposureRoot(dir.path(), r.cvToLog, r.logToCV);
        EXPECT_DEATH(ExposeWithDataRoot(dir.path()), r.message);
    }
}

}  // namespace
}  // namespace ombrel
