// The exposure table in the pipeline: what SetExposureKelvin hands the model, when it skips
// the rebuild, how a broken installation ends, and what the table does to a drawn frame.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "../LookTestSupport.h"
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
    std::string why;
    EXPECT_TRUE(LoadExposureTables(m, ResourcePath("Resources/5D_CV2logLUT.bin"),
                                   ResourcePath("Resources/5D_log2CVLUT.bin"), &why))
        << why;
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

TEST(ExposureSetupDeathTest, AMissingTableIsABrokenInstallationNamedInTheLog) {
    test::TempDir dir;
    const std::string good = test::ReadWholeFile(ResourcePath("Resources/5D_log2CVLUT.bin"));
    WriteExposureRoot(dir.path(), nullptr, &good);
    EXPECT_DEATH(ExposeWithDataRoot(dir.path()), "Missing resource \"Resources/5D_CV2logLUT.bin\"");
}

TEST(ExposureSetupDeathTest, AShortTableIsABrokenInstallationNamedInTheLog) {
    test::TempDir dir;
    const std::string cv = test::ReadWholeFile(ResourcePath("Resources/5D_CV2logLUT.bin"));
    const std::string log = test::ReadWholeFile(ResourcePath("Resources/5D_log2CVLUT.bin"));
    const std::string shortLog = log.substr(0, log.size() / 2);
    WriteExposureRoot(dir.path(), &cv, &shortLog);
    EXPECT_DEATH(ExposeWithDataRoot(dir.path()),
                 ">> ERROR: Unusable exposure table: .*5D_log2CVLUT.bin holds 393216 bytes, not 786432");
}

// ---------------------------------------------------------------- drawn frames

struct Means {
    double r = 0, g = 0, b = 0;
};
Means ChannelMeans(const std::vector<uint16_t>& rgb) {
    Means m;
    const size_t pixels = rgb.size() / 3;
    for (size_t i = 0; i < pixels; ++i) {
        m.r += rgb[3 * i] / 65535.0;
        m.g += rgb[3 * i + 1] / 65535.0;
        m.b += rgb[3 * i + 2] / 65535.0;
    }
    m.r /= double(pixels);
    m.g /= double(pixels);
    m.b /= double(pixels);
    return m;
}

TEST(ExposureDraw, StopsAndKelvinReachThePictureAsTheReferenceDrawsThem) {
    const auto frame = test::CubeFrame(67);
    OMBREL_PROCESSOR_OR_SKIP(sp, frame.width, frame.height, frame.width, frame.height);
    const auto neutral = test::DrawOnGpu(*sp, frame, frame.width, frame.height);
    double worstAgainstReference = 0;
    const Means n = ChannelMeans(neutral);
    struct Case {
        float stops, kelvin;
    };
    for (const Case c : {Case{1.0f, 5600.0f}, Case{-1.0f, 5600.0f}, Case{0.0f, 3200.0f}, Case{0.0f, 9000.0f},
                         Case{1.5f, 4000.0f}, Case{0.0f, 5600.0f}}) {
        SCOPED_TRACE(testing::Message() << c.stops << " stops at " << c.kelvin << " K");
        sp->SetExposureKelvin(c.stops, c.kelvin);
        const auto gpu = test::DrawOnGpu(*sp, frame, frame.width, frame.height);
        EXPECT_FALSE(sp->reloadExposure()) << "the draw uploaded the new table";
        const auto cpu = test::DrawOnCpu(*sp, frame, frame.width, frame.height);
        const auto d = test::Compare(gpu, cpu);
        EXPECT_LE(d.max1023, 2.0) << "sample " << d.worstIndex;
        worstAgainstReference = std::max(worstAgainstReference, d.max1023);
        EXPECT_LT(d.median1023, 0.5);
        const Means m = ChannelMeans(gpu);
        if (c.kelvin == 5600.0f && c.stops > 0) { EXPECT_GT(m.g, n.g + 0.05) << "brighter"; }
        if (c.kelvin == 5600.0f && c.stops < 0) { EXPECT_LT(m.g, n.g - 0.05) << "darker"; }
        if (c.kelvin < 5600.0f) { EXPECT_GT(m.b - m.r, n.b - n.r + 0.03) << "cooler"; }
        if (c.kelvin > 5600.0f) { EXPECT_GT(m.r - m.b, n.r - n.b + 0.03) << "warmer"; }
        if (c.kelvin == 5600.0f && c.stops == 0) {
            EXPECT_LE(test::Compare(gpu, neutral).max1023, 2.0) << "back to neutral";
        }
    }
    RecordProperty("worst_gpu_against_reference_1023", std::to_string(worstAgainstReference));
}

}  // namespace
}  // namespace ombrel
