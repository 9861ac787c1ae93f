// The exposure and colour temperature model: its constants, the gain curves, the two table
// grids, the exposure shift in the log domain, and the conversion tables of the data root.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "datafile/Resource.h"
#include "look/exposure/ColorTempExposureModel.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

using Model = colorTempExposureModel;
constexpr int kEntries = kExposureTableEntries;

// A table of `count` RGB triples whose entry n holds f(n) in all three channels, plus `delta`
// per channel so that the channels can be told apart.
std::vector<float> Interleaved(int count, float (*f)(int), float delta = 0.0f) {
    std::vector<float> t(static_cast<size_t>(count) * 3);
    for (int n = 0; n < count; ++n) {
        for (int c = 0; c < 3; ++c) t[3 * static_cast<size_t>(n) + static_cast<size_t>(c)] = f(n) + delta * float(c);
    }
    return t;
}

// Tables that report which entry a conversion took: entry n of the code-to-log table is n
// itself, entry n of the log-to-code table is n / 65536 (exact in float, inside 0 .. 1).
float EntryNumber(int n) { return static_cast<float>(n); }
float EntryFraction(int n) { return static_cast<float>(n) / 65536.0f; }

// The real conversion tables of the data root.
std::vector<float> ResourceTable(const std::string& name) {
    std::vector<float> values;
    const Status s = ReadLittleEndianFloats(ResourcePath("Resources/" + name), 3 * size_t{kEntries}, values);
    EXPECT_TRUE(s.ok()) << s.message();
    return values;
}

void LoadResourceTables(Model& m) {
    const Status s =
        LoadExposureTables(m, ResourcePath("Resources/5D_CV2logLUT.bin"), ResourcePath("Resources/5D_log2CVLUT.bin"));
    EXPECT_TRUE(s.ok()) << s.message();
}

std::vector<float> Table(Model& m, float exposure, float colorTemp) {
    std::vector<float> t(3 * 4096);
    m.getGLTexture_RGB(exposure, colorTemp, 4096, t.data());
    return t;
}

// ---------------------------------------------------------------- constants and gain curves

TEST(ExposureModelGainCurves, HeldConstantsAreTheGeneralSoftClipAtHeadroom008) {
    for (const Model::SoftClipCurve& k : {Model::kCoolGreen, Model::kCoolBlue, Model::kWarmRed}) {
        SCOPED_TRACE(k.gain);
        // The constants follow from the gain: knee 0.92 / g, scale p = g / a, factors q and
        // q - 1 with a = g - 1 + c, q = a / c, exponent 2.6 / q^1.4 + 1.
        const double g = k.gain, c = 0.08, a = g - 1 + c, q = a / c;
        EXPECT_NEAR(k.knee, 0.92 / g, 1e-6);
        EXPECT_NEAR(k.scale, g / a, 1e-5);
        EXPECT_NEAR(k.rise, q, 1e-5);
        EXPECT_NEAR(k.bend, q - 1, 1e-5);
        EXPECT_NEAR(k.exponent, 2.6 / std::pow(q, 1.4) + 1, 1e-5);
        float previous = -1.0f;
        for (int i = 0; i <= 1000; ++i) {
            const float x = static_cast<float>(i) / 1000.0f;
            const float held = Model::gainCurve(x, k);
            EXPECT_NEAR(held, Model::softClip(x, k.gain, 0.08f), 2e-6f) << "x " << x;
            if (x <= k.knee) { EXPECT_EQ(held, k.gain * x) << "below the knee the gain is plain"; }
            // It rises to just past 0.95; the bend may overshoot 1.0 a hair before it lands there.
            if (x <= 0.95f) { EXPECT_GE(held, previous) << "the curve keeps rising, x " << x; }
            EXPECT_LE(held, 1.0005f) << x;
            previous = held;
        }
        EXPECT_NEAR(Model::gainCurve(1.0f, k), 1.0f, 2e-6f) << "the bend reaches 1.0 at x = 1";
        // No step at the knee.
        EXPECT_NEAR(Model::gainCurve(k.knee + 1e-6f, k), Model::gainCurve(k.knee, k), 1e-5f);
    }
}

TEST(ExposureModelGainCurves, SoftClipWithoutHeadroomIsThePlainGainAndMidWeightIsAParabola) {
    EXPECT_EQ(Model::softClip(0.9f, 1.8f, 0.0f), 0.9f * 1.8f);
    EXPECT_EQ(Model::softClip(0.9f, 1.8f, -0.1f), 0.9f * 1.8f);
    EXPECT_EQ(Model::softClip(0.5f, 1.8f, 0.08f), 0.5f * 1.8f) << "0.5 is below the knee 0.511";
    EXPECT_EQ(Model::midWeight(0.5f), 1.0f);
    EXPECT_EQ(Model::midWeight(0.0f), 0.0f);
    EXPECT_EQ(Model::midWeight(1.0f), 0.0f);
    EXPECT_FLOAT_EQ(Model::midWeight(0.25f), 0.75f);
}

// ---------------------------------------------------------------- gain model

TEST(ExposureModelGainModel, NoOffsetTakesTheWarmBranchWithNoChangeAtAll) {
    Model m;
    m.setExposureAndCT(0.0f, 0.0f);
    for (float v : {0.0f, 0.013f, 0.5f, 0.71f, 0.99f, 1.0f}) {
        float r = v, g = v * 0.5f, b = 1.0f - v;
        m.applyGainModel(r, g, b);
        EXPECT_EQ(r, v);
        EXPECT_EQ(g, v * 0.5f);
        EXPECT_EQ(b, 1.0f - v);
    }
}

TEST(ExposureModelGainModel, FullCoolAndWarmOffsetsGiveTheTargetGains) {
    Model m;
    for (float v : {0.1f, 0.45f, 0.6f, 0.85f, 0.97f}) {
        SCOPED_TRACE(v);
        m.setExposureAndCT(0.0f, -3900.0f);
        float r = v, g = v, b = v;
        m.applyGainModel(r, g, b);
        EXPECT_FLOAT_EQ(r, 0.5f * v);
        EXPECT_FLOAT_EQ(g, Model::gainCurve(v, Model::kCoolGreen));
        EXPECT_FLOAT_EQ(b, Model::gainCurve(v, Model::kCoolBlue));
        EXPECT_GT(b, r) << "cooler than 5600 K turns blue";

        m.setExposureAndCT(0.0f, 6400.0f);
        r = g = b = v;
        m.applyGainModel(r, g, b);
        EXPECT_FLOAT_EQ(r, Model::gainCurve(v, Model::kWarmRed));
        EXPECT_FLOAT_EQ(g, v);
        EXPECT_FLOAT_EQ(b, 0.7f * v);
        EXPECT_GT(r, b) << "warmer than 5600 K turns red";
    }
}

TEST(ExposureModelGainModel, PartOffsetsMixLinearlyAndBeyondTheRangeExtrapolate) {
    Model m;
    const float v = 0.4f;
    const float coolBlue = Model::gainCurve(v, Model::kCoolBlue);
    m.setExposureAndCT(0.0f, -1950.0f);  // half the cool range
    float r = v, g = v, b = v;
    m.applyGainModel(r, g, b);
    EXPECT_FLOAT_EQ(r, 0.75f * v);
    EXPECT_FLOAT_EQ(b, 0.5f * v + 0.5f * coolBlue);
    m.setExposureAndCT(0.0f, -7800.0f);  // 1700 K further down: w = -1
    r = g = b = v;
    m.applyGainModel(r, g, b);
    EXPECT_FLOAT_EQ(r, -v + 2.0f * 0.5f * v);
    EXPECT_FLOAT_EQ(b, -v + 2.0f * coolBlue);
    m.setExposureAndCT(0.0f, 3200.0f);  // half the warm range
    r = g = b = v;
    m.applyGainModel(r, g, b);
    EXPECT_FLOAT_EQ(b, 0.85f * v);
}

TEST(ExposureModelGainModel, TheColourTemperatureScaleMultipliesTheOffset) {
    Model m;
    m.colorTempScale = 0.5f;
    m.setExposureAndCT(0.25f, -3900.0f);
    EXPECT_EQ(m.exposureLog, 0.25f);
    EXPECT_EQ(m.colorTempOffset, -1950.0f);
    float r = 0.4f, g = 0.4f, b = 0.4f;
    m.applyGainModel(r, g, b);
    EXPECT_FLOAT_EQ(r, 0.3f);
}

// ---------------------------------------------------------------- table setters and grids

TEST(ExposureModelTables, InterleavedAndPlanarSettersGiveTheSameTablesAndTheLogScale) {
    Model a, b;
    const auto inter = Interleaved(kEntries, EntryFraction, 0.25f);
    ASSERT_EQ(a.setLogToCVLUT(kEntries, inter.data()), 1);
    ASSERT_EQ(a.setCVToLogLUT(kEntries, inter.data()), 1);
    std::vector<float> planes[3];
    for (size_t c = 0; c < 3; ++c) {
        for (int n = 0; n < kEntries; ++n) planes[c].push_back(inter[3 * static_cast<size_t>(n) + c]);
    }
    ASSERT_EQ(b.setLogToCVLUT(kEntries, planes[0].data(), planes[1].data(), planes[2].data()), 1);
    ASSERT_EQ(b.setCVToLogLUT(kEntries, planes[0].data(), planes[1].data(), planes[2].data()), 1);
    for (const Model* m : {&a, &b}) {
        EXPECT_EQ(m->logToCVEntries(), kEntries);
        EXPECT_EQ(m->cvToLogEntries(), kEntries);
        EXPECT_EQ(m->logToIndexScale, 65536.0f / 6.0f) << "entries per unit of log";
        for (int c = 0; c < 3; ++c) {
            for (int n : {0, 1, 12345, 65535}) {
                EXPECT_EQ(m->logToCVTable(c)[n], EntryFraction(n) + 0.25f * float(c));
                EXPECT_EQ(m->cvToLogTable(c)[n], EntryFraction(n) + 0.25f * float(c));
            }
        }
    }
}

TEST(ExposureModelTables, AnUnusableTableLeavesTheTablesAndCountsInForce) {
    Model m;
    const auto first = Interleaved(16, EntryNumber);
    ASSERT_EQ(m.setCVToLogLUT(16, first.data()), 1);
    ASSERT_EQ(m.setLogToCVLUT(16, first.data()), 1);
    const float scale = m.logToIndexScale;
    EXPECT_EQ(m.setCVToLogLUT(0, first.data()), 0);
    EXPECT_EQ(m.setCVToLogLUT(-3, first.data()), 0);
    EXPECT_EQ(m.setLogToCVLUT(8, nullptr), 0);
    EXPECT_EQ(m.setLogToCVLUT(8, first.data(), nullptr, first.data()), 0);
    EXPECT_EQ(m.cvToLogEntries(), 16);
    EXPECT_EQ(m.logToCVEntries(), 16);
    EXPECT_EQ(m.logToIndexScale, scale);
    EXPECT_EQ(m.cvToLogTable(2)[15], 15.0f);
}

TEST(ExposureModelGrids, CodeValuesStepByOne65535thAndTakeTheEntryBelow) {
    Model m;
    const auto t = Interleaved(kEntries, EntryNumber);
    ASSERT_EQ(m.setCVToLogLUT(kEntries, t.data()), 1);
    auto entry = [&](float v) {
        float r = v, g = v, b = v;
        m.convertCVtoBoundedLog(r, g, b);
        EXPECT_EQ(r, g);
        EXPECT_EQ(g, b);
        return r;
    };
    for (int n : {0, 1, 2, 4095, 32767, 32768, 65000, 65534}) {
        EXPECT_EQ(entry((static_cast<float>(n) + 0.5f) / 65535.0f), static_cast<float>(n)) << "mid-step above " << n;
        EXPECT_EQ(entry((static_cast<float>(n) + 0.98f) / 65535.0f), static_cast<float>(n)) << "no rounding up";
    }
    EXPECT_EQ(entry(1.0f), 65535.0f) << "code 1 is the last entry, 65535 steps up";
    EXPECT_EQ(entry(0.0f), 0.0f);
    EXPECT_EQ(entry(-0.5f), 0.0f) << "limited to 0 .. 1 first";
    EXPECT_EQ(entry(7.0f), 65535.0f);
    EXPECT_EQ(entry(std::numeric_limits<float>::quiet_NaN()), 0.0f);
}

TEST(ExposureModelGrids, LogValuesStepBySix65536thsFromMinusThree) {
    Model m;
    const auto t = Interleaved(kEntries, EntryFraction);
    ASSERT_EQ(m.setLogToCVLUT(kEntries, t.data()), 1);
    auto entry = [&](float logValue) {
        float r = logValue, g = logValue, b = logValue;
        m.convertBoundedLogToCV(r, g, b);
        EXPECT_EQ(r, g);
        EXPECT_EQ(g, b);
        return static_cast<int>(r * 65536.0f);
    };
    for (int n : {0, 1, 100, 10922, 32767, 54613, 65534}) {
        const double mid = -3.0 + (n + 0.5) * 6.0 / 65536.0;
        EXPECT_EQ(entry(static_cast<float>(mid)), n) << "mid-step above " << n;
    }
    EXPECT_EQ(entry(0.0f), 32768) << "log 0 lies on entry 32768 of a 65536-step grid, not on 32767.5";
    EXPECT_EQ(entry(-3.0f), 0);
    EXPECT_EQ(entry(-5.0f), 0) << "below the table: first entry";
    EXPECT_EQ(entry(3.0f), 65535) << "log 3 gives index 65,536, limited to the last entry";
    EXPECT_EQ(entry(40.0f), 65535);
}

TEST(ExposureModelGrids, ConversionsWithoutTablesOnlyLimitTheValue) {
    Model m;
    EXPECT_EQ(m.cvToLogEntries() + m.logToCVEntries(), 0);
    float r = -0.2f, g = 0.3f, b = 1.7f;
    m.convertCVtoBoundedLog(r, g, b);
    EXPECT_EQ(r, 0.0f);
    EXPECT_EQ(g, 0.3f);
    EXPECT_EQ(b, 1.0f);
}

TEST(ExposureModelGrids, LogToCodeLimitsWhatTheTableGivesToZeroToOne) {
    Model m;
    const auto wild = Interleaved(kEntries, [](int n) { return static_cast<float>(n) / 20000.0f - 1.0f; });
    ASSERT_EQ(m.setLogToCVLUT(kEntries, wild.data()), 1);
    float r = -3.0f, g = 0.0f, b = 3.0f;
    m.convertBoundedLogToCV(r, g, b);
    EXPECT_EQ(r, 0.0f);
    EXPECT_FLOAT_EQ(g, 32768.0f / 20000.0f - 1.0f);
    EXPECT_EQ(b, 1.0f);
}

// ---------------------------------------------------------------- the whole table

// Tables of an exact decade encoding: code v stands for log10 light -3 + 3v, so a shift of
// d decades moves the code by d / 3 until it clips.
float DecadeCodeToLog(int n) { return static_cast<float>(-3.0 + 3.0 * n / 65535.0); }
float DecadeLogToCode(int n) { return static_cast<float>(std::min(1.0, (n * 6.0 / 65536.0) / 3.0)); }

TEST(ExposureModelTable, TheExposureShiftsTheLogValueAndIsBoundedInLinearLight) {
    Model m;
    const auto cv = Interleaved(kEntries, DecadeCodeToLog);
    const auto lg = Interleaved(kEntries, DecadeLogToCode);
    ASSERT_EQ(m.setCVToLogLUT(kEntries, cv.data()), 1);
    ASSERT_EQ(m.setLogToCVLUT(kEntries, lg.data()), 1);
    const auto flat = Table(m, 0.0f, 0.0f);
    const auto up = Table(m, 0.5f, 0.0f);            // half a decade
    const auto down = Table(m, -1.0f / 3.0f, 0.0f);  // one stop down
    for (int i = 0; i < 4096; ++i) {
        const double v = i / 4095.0;
        const size_t at = 3 * static_cast<size_t>(i);
        EXPECT_NEAR(flat[at], v, 2.5e-4) << i;
        EXPECT_NEAR(up[at], std::min(1.0, v + 0.5 / 3.0), 2.5e-4) << i;
        EXPECT_NEAR(down[at], std::max(0.0, v - 1.0 / 9.0), 2.5e-4) << i;
    }
    // Far beyond the bounds of linear light every input lands on the table's ends.
    const auto bright = Table(m, 50.0f, 0.0f);
    const auto dark = Table(m, -50.0f, 0.0f);
    for (int i = 0; i < 4096; ++i) {
        const size_t at = 3 * static_cast<size_t>(i);
        EXPECT_EQ(bright[at], lg[3 * 65535]) << i;
        EXPECT_EQ(dark[at], lg[0]) << i;
    }
    EXPECT_EQ(m.exposureLog, -50.0f) << "the model keeps the values of the last table";
}

TEST(ExposureModelTable, EntriesAreTheGreyRampThroughConvertPixelAndGetLutScalesThem) {
    Model m;
    LoadResourceTables(m);
    const auto gl = Table(m, 0.2f, -1000.0f);
    EXPECT_EQ(m.exposureLog, 0.2f);
    EXPECT_EQ(m.colorTempOffset, -1000.0f);
    std::vector<float> r(4096), g(4096), b(4096);
    m.getLUT(0.2f, -1000.0f, 4096, 2.0f, r.data(), g.data(), b.data());
    for (int i : {0, 1, 409, 2047, 2048, 3000, 4094, 4095}) {
        float pr = static_cast<float>(i) / 4095.0f, pg = pr, pb = pr;
        m.convertPixel3D(pr, pg, pb);
        const size_t at = 3 * static_cast<size_t>(i);
        EXPECT_EQ(gl[at], pr) << i;
        EXPECT_EQ(gl[at + 1], pg) << i;
        EXPECT_EQ(gl[at + 2], pb) << i;
        EXPECT_EQ(r[static_cast<size_t>(i)], 2.0f * pr);
        EXPECT_EQ(g[static_cast<size_t>(i)], 2.0f * pg);
        EXPECT_EQ(b[static_cast<size_t>(i)], 2.0f * pb);
    }
}

// ---------------------------------------------------------------- the installed tables

TEST(ExposureModelResources, TheInstalledTablesSpanTheirGridsAndAreInverse) {
    const auto cvToLog = ResourceTable("5D_CV2logLUT.bin");
    const auto logToCV = ResourceTable("5D_log2CVLUT.bin");
    ASSERT_EQ(cvToLog.size(), 3 * size_t{kEntries});
    ASSERT_EQ(logToCV.size(), 3 * size_t{kEntries});
    EXPECT_FLOAT_EQ(cvToLog[0], -3.0f);
    EXPECT_NEAR(cvToLog[3 * 65535], 0.0f, 1e-6f);
    EXPECT_NEAR(logToCV[0], 0.0f, 1e-4f);
    EXPECT_FLOAT_EQ(logToCV[3 * 32768], 1.0f) << "log 0 is white";
    EXPECT_FLOAT_EQ(logToCV[3 * 65535], 1.0f);
    for (int n = 1; n < kEntries; ++n) {
        EXPECT_GE(cvToLog[3 * static_cast<size_t>(n)], cvToLog[3 * static_cast<size_t>(n - 1)]) << n;
        ASSERT_GE(logToCV[3 * static_cast<size_t>(n)], logToCV[3 * static_cast<size_t>(n - 1)]) << n;
    }
    // Each undoes the other: code -> log on the 1/65535 grid, log -> code on the 6/65536 grid.
    for (int n = 0; n < kEntries; n += 97) {
        const float logValue = cvToLog[3 * static_cast<size_t>(n)];
        const int back = std::clamp(static_cast<int>(std::round((logValue + 3.0) * 65536.0 / 6.0)), 0, 65535);
        EXPECT_NEAR(logToCV[3 * static_cast<size_t>(back)], n / 65535.0, 2e-4) << n;
    }
}

TEST(ExposureModelResources, FlatTableIsTheRoundTripAndIdentityWithinATableStep) {
    Model m;
    LoadResourceTables(m);
    const auto t = Table(m, 0.0f, 0.0f);
    double worst = 0;
    for (int i = 0; i < 4096; ++i) {
        for (int c = 0; c < 3; ++c) {
            worst = std::max(worst, std::abs(t[3 * static_cast<size_t>(i) + static_cast<size_t>(c)] - i / 4095.0));
        }
    }
    RecordProperty("worst_code_difference", std::to_string(worst));
    EXPECT_LT(worst, 1.0 / 4095.0) << "within one step of the 4096-entry table";
    EXPECT_EQ(t[0], 0.0f);
}

TEST(ExposureModelResources, StopsRiseMonotonicallyAndShiftLightByAThirdOfADecade) {
    Model m;
    LoadResourceTables(m);
    const auto cvToLog = ResourceTable("5D_CV2logLUT.bin");
    auto logOf = [&](float code) { return cvToLog[3 * static_cast<size_t>(code * 65535.0f)]; };
    std::vector<float> previous;
    for (float stops : {-3.0f, -1.0f, -0.5f, 0.0f, 0.5f, 1.0f, 2.0f}) {
        SCOPED_TRACE(stops);
        for (float kelvin : {3200.0f, 5600.0f, 9000.0f}) {
            SCOPED_TRACE(kelvin);
            const auto t = Table(m, stops / 3.0f, kelvin - 5600.0f);
            for (size_t c = 0; c < 3; ++c) {
                for (int i = 1; i < 4096; ++i) {
                    ASSERT_GE(t[3 * static_cast<size_t>(i) + c], t[3 * static_cast<size_t>(i - 1) + c]) << i;
                }
            }
        }
        const auto t = Table(m, stops / 3.0f, 0.0f);
        if (!previous.empty()) {
            for (size_t k = 0; k < t.size(); ++k) ASSERT_GE(t[k], previous[k]) << "more exposure, never darker";
        }
        previous = t;
        // Mid greys that clip neither way move by stops / 3 decades of scene light.
        for (int i : {900, 1300, 1700}) {
            const float in = static_cast<float>(i) / 4095.0f;
            const float out = t[3 * static_cast<size_t>(i)];
            if (out <= 0.002f || out >= 0.998f) continue;
            EXPECT_NEAR(logOf(out) - logOf(in), stops / 3.0f, 2e-3f) << i;
        }
    }
}

TEST(ExposureModelResources, ReadingChecksSizeAndByteOrder) {
    test::TempDir dir;
    // 1.0 and -2.5 as little-endian float32.
    test::WriteWholeFile(dir / "two.bin", std::string("\x00\x00\x80\x3f\x00\x00\x20\xc0", 8));
    std::vector<float> values;
    ASSERT_TRUE(ReadLittleEndianFloats(dir / "two.bin", 2, values).ok());
    EXPECT_EQ(values, (std::vector<float>{1.0f, -2.5f}));
    EXPECT_EQ(ReadLittleEndianFloats(dir / "two.bin", 3, values).message(), dir / "two.bin" + " holds 8 bytes, not 12");
    EXPECT_EQ(ReadLittleEndianFloats(dir / "none.bin", 2, values).message(), "cannot open " + dir / "none.bin");
}

TEST(ExposureModelResources, AShortTableIsRefusedAndTheModelKeepsWhatItHad) {
    test::TempDir dir;
    const std::string good = ResourcePath("Resources/5D_log2CVLUT.bin");
    std::string bytes = test::ReadWholeFile(good);
    test::WriteWholeFile(dir / "short.bin", bytes.substr(0, bytes.size() - 4));
    Model m;
    LoadResourceTables(m);
    const float* before = m.cvToLogTable(0);
    Status s = LoadExposureTables(m, ResourcePath("Resources/5D_CV2logLUT.bin"), dir / "short.bin");
    EXPECT_NE(s.message().find("short.bin"), std::string::npos) << s.message();
    s = LoadExposureTables(m, dir / "missing.bin", good);
    EXPECT_NE(s.message().find("missing.bin"), std::string::npos) << s.message();
    EXPECT_EQ(m.cvToLogTable(0), before) << "a bad file replaces nothing";
    EXPECT_EQ(m.logToCVEntries(), kEntries);
}

}  // namespace
}  // namespace ombrel
