// The exposure and colour temperature model: the gain curves, the gain model, the two table
// grids, the exposure shift in the log domain, and the conversion tables of the data root.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
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
    std::vector<float> t;
    for (int n = 0; n < count; ++n) t.insert(t.end(), {f(n), f(n) + delta, f(n) + 2 * delta});
    return t;
}

// Tables that report which entry a conversion took: entry n of the code-to-log table is n
// itself, entry n of the log-to-code table is n / 65536 (exact in float, inside 0 .. 1).
float EntryNumber(int n) { return static_cast<float>(n); }
float EntryFraction(int n) { return static_cast<float>(n) / 65536.0f; }

void LoadResourceTables(Model& m) {
    const Status s =
        LoadExposureTables(m, ResourcePath("Resources/5D_CV2logLUT.bin"), ResourcePath("Resources/5D_log2CVLUT.bin"));
    ASSERT_TRUE(s.ok()) << s.message();
}

std::vector<float> Table(Model& m, float exposure, float colorTemp) {
    std::vector<float> t(3 * 4096);
    m.getGLTexture_RGB(exposure, colorTemp, 4096, t.data());
    return t;
}

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
            const float x = static_cast<float>(i) / 1000.0f, held = Model::gainCurve(x, k);
            EXPECT_NEAR(held, Model::softClip(x, k.gain, 0.08f), 2e-6f) << "x " << x;
            if (x <= k.knee) { EXPECT_EQ(held, k.gain * x) << "below the knee the gain is plain"; }
            // It rises to just past 0.95; the bend may overshoot 1.0 a hair before it lands there.
            if (x <= 0.95f) { EXPECT_GE(held, previous) << "the curve keeps rising, x " << x; }
            EXPECT_LE(held, 1.0005f) << x;
            previous = held;
        }
        EXPECT_NEAR(Model::gainCurve(1.0f, k), 1.0f, 2e-6f) << "the bend reaches 1.0 at x = 1";
        EXPECT_NEAR(Model::gainCurve(k.knee + 1e-6f, k), Model::gainCurve(k.knee, k), 1e-5f) << "no step at the knee";
    }
    struct Row {
        const char* name;
        float got, expected;
    };
    for (const Row& r :
         {Row{"no headroom: plain gain", Model::softClip(0.9f, 1.8f, 0.0f), 0.9f * 1.8f},
          Row{"negative headroom", Model::softClip(0.9f, 1.8f, -0.1f), 0.9f * 1.8f},
          Row{"below the knee 0.511", Model::softClip(0.5f, 1.8f, 0.08f), 0.5f * 1.8f},
          Row{"mid weight at 0.5", Model::midWeight(0.5f), 1.0f}, Row{"mid weight at 0", Model::midWeight(0.0f), 0.0f},
          Row{"mid weight at 1", Model::midWeight(1.0f), 0.0f},
          Row{"mid weight at 0.25", Model::midWeight(0.25f), 0.75f}}) {
        EXPECT_FLOAT_EQ(r.got, r.expected) << r.name;
    }
}

// Cool offsets mix towards (0.5 v, cool green, cool blue) at -3900, warm ones towards (warm red,
// v, 0.7 v) at 6400, linearly, and beyond the range they extrapolate.
TEST(ExposureModelGainModel, OffsetsMixLinearlyTowardsTheTargetGainsAndTheScaleMultipliesThem) {
    using F = float (*)(float);
    const F coolGreen = [](float v) { return Model::gainCurve(v, Model::kCoolGreen); };
    const F coolBlue = [](float v) { return Model::gainCurve(v, Model::kCoolBlue); };
    const F warmRed = [](float v) { return Model::gainCurve(v, Model::kWarmRed); };
    struct Row {
        const char* name;
        float offset, scale;
        float (*r)(float), (*g)(float), (*b)(float);
    };
    const F same = [](float v) { return v; };
    const Row rows[] = {
        {"no offset: no change", 0.0f, 1.0f, same, same, same},
        {"full cool", -3900.0f, 1.0f, [](float v) { return 0.5f * v; }, coolGreen, coolBlue},
        {"full warm", 6400.0f, 1.0f, warmRed, same, [](float v) { return 0.7f * v; }},
        {"half cool", -1950.0f, 1.0f, [](float v) { return 0.75f * v; },
         [](float v) { return 0.5f * v + 0.5f * Model::gainCurve(v, Model::kCoolGreen); },
         [](float v) { return 0.5f * v + 0.5f * Model::gainCurve(v, Model::kCoolBlue); }},
        {"full cool at scale 0.5", -3900.0f, 0.5f, [](float v) { return 0.75f * v; },
         [](float v) { return 0.5f * v + 0.5f * Model::gainCurve(v, Model::kCoolGreen); },
         [](float v) { return 0.5f * v + 0.5f * Model::gainCurve(v, Model::kCoolBlue); }},
        {"twice the cool range", -7800.0f, 1.0f, [](float) { return 0.0f; },
         [](float v) { return -v + 2.0f * Model::gainCurve(v, Model::kCoolGreen); },
         [](float v) { return -v + 2.0f * Model::gainCurve(v, Model::kCoolBlue); }},
        {"half warm", 3200.0f, 1.0f, [](float v) { return 0.5f * v + 0.5f * Model::gainCurve(v, Model::kWarmRed); },
         same, [](float v) { return 0.85f * v; }},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Model m;
        m.colorTempScale = row.scale;
        m.setExposureAndCT(0.25f, row.offset);
        EXPECT_EQ(m.exposureLog, 0.25f);
        EXPECT_EQ(m.colorTempOffset, row.offset * row.scale);
        for (float v : {0.0f, 0.1f, 0.4f, 0.45f, 0.6f, 0.85f, 0.97f, 1.0f}) {
            float r = v, g = v, b = v;
            m.applyGainModel(r, g, b);
            EXPECT_NEAR(r, row.r(v), 1e-6f) << v;
            EXPECT_NEAR(g, row.g(v), 1e-6f) << v;
            EXPECT_NEAR(b, row.b(v), 1e-6f) << v;
        }
    }
}

TEST(ExposureModelTables, InterleavedAndPlanarSettersGiveTheSameTablesAndUnusableOnesAreRefused) {
    Model a, b;
    const auto inter = Interleaved(kEntries, EntryFraction, 0.25f);
    ASSERT_EQ(a.setLogToCVLUT(kEntries, inter.data()) + a.setCVToLogLUT(kEntries, inter.data()), 2);
    std::vector<float> planes[3];
    for (size_t i = 0; i < inter.size(); ++i) planes[i % 3].push_back(inter[i]);
    const float *r = planes[0].data(), *g = planes[1].data(), *bl = planes[2].data();
    ASSERT_EQ(b.setLogToCVLUT(kEntries, r, g, bl) + b.setCVToLogLUT(kEntries, r, g, bl), 2);
    for (const Model* m : {&a, &b}) {
        EXPECT_EQ(m->logToCVEntries() + m->cvToLogEntries(), 2 * kEntries);
        EXPECT_EQ(m->logToIndexScale, 65536.0f / 6.0f) << "entries per unit of log";
        for (int c = 0; c < 3; ++c) {
            for (int n : {0, 1, 12345, 65535}) {
                EXPECT_EQ(m->logToCVTable(c)[n], EntryFraction(n) + 0.25f * float(c));
                EXPECT_EQ(m->cvToLogTable(c)[n], EntryFraction(n) + 0.25f * float(c));
            }
        }
    }
    // An unusable table leaves the tables and counts in force.
    Model m;
    const auto first = Interleaved(16, EntryNumber);
    ASSERT_EQ(m.setCVToLogLUT(16, first.data()) + m.setLogToCVLUT(16, first.data()), 2);
    const float scale = m.logToIndexScale;
    EXPECT_EQ(m.setCVToLogLUT(0, first.data()), 0) << "no entries";
    EXPECT_EQ(m.setCVToLogLUT(-3, first.data()), 0) << "a negative count";
    EXPECT_EQ(m.setLogToCVLUT(8, nullptr), 0) << "no table";
    EXPECT_EQ(m.setLogToCVLUT(8, first.data(), nullptr, first.data()), 0) << "a plane missing";
    EXPECT_EQ(m.cvToLogEntries() + m.logToCVEntries(), 32);
    EXPECT_EQ(m.logToIndexScale, scale);
    EXPECT_EQ(m.cvToLogTable(2)[15], 15.0f);
}

// Code values step by 1/65535 and take the entry below; log values step by 6/65536 from -3.
TEST(ExposureModelGrids, EachValueTakesTheEntryBelowItAndIsLimitedToTheTable) {
    Model m;
    const auto cv = Interleaved(kEntries, EntryNumber), lg = Interleaved(kEntries, EntryFraction);
    ASSERT_EQ(m.setCVToLogLUT(kEntries, cv.data()) + m.setLogToCVLUT(kEntries, lg.data()), 2);
    auto entry = [&](bool toLog, float v) {
        float r = v, g = v, b = v;
        toLog ? m.convertCVtoBoundedLog(r, g, b) : m.convertBoundedLogToCV(r, g, b);
        EXPECT_TRUE(r == g && g == b);
        return toLog ? static_cast<int>(r) : static_cast<int>(r * 65536.0f);
    };
    for (int n : {0, 1, 2, 100, 4095, 10922, 32767, 32768, 54613, 65000, 65534}) {
        EXPECT_EQ(entry(true, (static_cast<float>(n) + 0.5f) / 65535.0f), n) << "code mid-step above " << n;
        EXPECT_EQ(entry(true, (static_cast<float>(n) + 0.98f) / 65535.0f), n) << "no rounding up above " << n;
        EXPECT_EQ(entry(false, static_cast<float>(-3.0 + (n + 0.5) * 6.0 / 65536.0)), n) << "log mid-step above " << n;
    }
    struct Row {
        const char* name;
        bool toLog;
        float value;
        int entry;
    };
    for (const Row& r : {Row{"code 1 is the last entry", true, 1.0f, 65535}, Row{"code 0", true, 0.0f, 0},
                         Row{"a code below 0", true, -0.5f, 0}, Row{"a code above 1", true, 7.0f, 65535},
                         Row{"a code that is no number", true, std::numeric_limits<float>::quiet_NaN(), 0},
                         Row{"log 0 lies on entry 32768, not 32767.5", false, 0.0f, 32768},
                         Row{"log -3", false, -3.0f, 0}, Row{"below the table", false, -5.0f, 0},
                         Row{"log 3 gives 65536, limited", false, 3.0f, 65535}, Row{"log 40", false, 40.0f, 65535}}) {
        EXPECT_EQ(entry(r.toLog, r.value), r.entry) << r.name;
    }
    // Without tables a conversion only limits the value; what a table gives is limited to 0 .. 1.
    Model bare;
    float r = -0.2f, g = 0.3f, b = 1.7f;
    bare.convertCVtoBoundedLog(r, g, b);
    EXPECT_EQ(std::vector<float>({r, g, b}), std::vector<float>({0.0f, 0.3f, 1.0f}));
    const auto wild = Interleaved(kEntries, [](int n) { return static_cast<float>(n) / 20000.0f - 1.0f; });
    ASSERT_EQ(bare.setLogToCVLUT(kEntries, wild.data()), 1);
    r = -3.0f, g = 0.0f, b = 3.0f;
    bare.convertBoundedLogToCV(r, g, b);
    EXPECT_EQ(std::vector<float>({r, g, b}), std::vector<float>({0.0f, 32768.0f / 20000.0f - 1.0f, 1.0f}));
}

// Tables of an exact decade encoding: code v stands for log10 light -3 + 3v, so a shift of
// d decades moves the code by d / 3 until it clips.
float DecadeCodeToLog(int n) { return static_cast<float>(-3.0 + 3.0 * n / 65535.0); }
float DecadeLogToCode(int n) { return static_cast<float>(std::min(1.0, (n * 6.0 / 65536.0) / 3.0)); }

TEST(ExposureModelTable, TheExposureShiftsTheLogValueAndIsBoundedInLinearLight) {
    Model m;
    const auto cv = Interleaved(kEntries, DecadeCodeToLog), lg = Interleaved(kEntries, DecadeLogToCode);
    ASSERT_EQ(m.setCVToLogLUT(kEntries, cv.data()) + m.setLogToCVLUT(kEntries, lg.data()), 2);
    struct Row {
        const char* name;
        float decades;
        double (*expected)(double v);
    };
    // Far beyond the bounds of linear light every input lands on the table's ends.
    for (const Row& r : {Row{"flat", 0.0f, [](double v) { return v; }},
                         Row{"half a decade up", 0.5f, [](double v) { return std::min(1.0, v + 0.5 / 3.0); }},
                         Row{"one stop down", -1.0f / 3.0f, [](double v) { return std::max(0.0, v - 1.0 / 9.0); }},
                         Row{"far up", 50.0f, [](double) { return double(DecadeLogToCode(65535)); }},
                         Row{"far down", -50.0f, [](double) { return double(DecadeLogToCode(0)); }}}) {
        SCOPED_TRACE(r.name);
        const auto t = Table(m, r.decades, 0.0f);
        for (int i = 0; i < 4096; ++i) ASSERT_NEAR(t[3 * size_t(i)], r.expected(i / 4095.0), 2.5e-4) << i;
        EXPECT_EQ(m.exposureLog, r.decades) << "the model keeps the values of the last table";
    }
}

TEST(ExposureModelTable, EntriesAreTheGreyRampThroughConvertPixelAndGetLutScalesThem) {
    Model m;
    LoadResourceTables(m);
    const auto gl = Table(m, 0.2f, -1000.0f);
    EXPECT_EQ(m.colorTempOffset, -1000.0f);
    std::vector<float> planes(3 * 4096);
    m.getLUT(0.2f, -1000.0f, 4096, 2.0f, planes.data(), planes.data() + 4096, planes.data() + 8192);
    for (int i : {0, 1, 409, 2047, 2048, 3000, 4094, 4095}) {
        const float v = static_cast<float>(i) / 4095.0f;
        float p[3] = {v, v, v};
        m.convertPixel3D(p[0], p[1], p[2]);
        for (size_t c = 0; c < 3; ++c) {
            EXPECT_EQ(gl[3 * size_t(i) + c], p[c]) << i;
            EXPECT_EQ(planes[4096 * c + size_t(i)], 2.0f * p[c]) << i;
        }
    }
}

// The real conversion tables of the data root.
std::vector<float> ResourceTable(const std::string& name) {
    std::vector<float> values;
    const Status s = ReadLittleEndianFloats(ResourcePath("Resources/" + name), 3 * size_t{kEntries}, values);
    EXPECT_TRUE(s.ok()) << s.message();
    return values;
}

TEST(ExposureModelResources, TheInstalledTablesSpanTheirGridsAndAreInverse) {
    const auto cvToLog = ResourceTable("5D_CV2logLUT.bin"), logToCV = ResourceTable("5D_log2CVLUT.bin");
    ASSERT_EQ(cvToLog.size() + logToCV.size(), 6 * size_t{kEntries});
    EXPECT_FLOAT_EQ(cvToLog[0], -3.0f);
    EXPECT_NEAR(cvToLog[3 * 65535], 0.0f, 1e-6f);
    EXPECT_NEAR(logToCV[0], 0.0f, 1e-4f);
    EXPECT_FLOAT_EQ(logToCV[3 * 32768], 1.0f) << "log 0 is white";
    EXPECT_FLOAT_EQ(logToCV[3 * 65535], 1.0f);
    for (size_t i = 3; i < cvToLog.size(); i += 3) {
        ASSERT_GE(cvToLog[i], cvToLog[i - 3]) << i / 3;
        ASSERT_GE(logToCV[i], logToCV[i - 3]) << i / 3;
    }
    // Each undoes the other: code -> log on the 1/65535 grid, log -> code on the 6/65536 grid.
    for (int n = 0; n < kEntries; n += 97) {
        const float logValue = cvToLog[3 * static_cast<size_t>(n)];
        const int back = std::clamp(static_cast<int>(std::round((logValue + 3.0) * 65536.0 / 6.0)), 0, 65535);
        EXPECT_NEAR(logToCV[3 * static_cast<size_t>(back)], n / 65535.0, 2e-4) << n;
    }
    // So the flat table is the round trip: the identity within one step of the 4096-entry table.
    Model m;
    LoadResourceTables(m);
    const auto t = Table(m, 0.0f, 0.0f);
    EXPECT_EQ(t[0], 0.0f);
    for (size_t i = 0; i < t.size(); ++i) ASSERT_NEAR(t[i], (i / 3) / 4095.0, 1.0 / 4095.0) << i;
}

TEST(ExposureModelResources, StopsRiseMonotonicallyAndShiftLightByAThirdOfADecade) {
    Model m;
    LoadResourceTables(m);
    const auto cvToLog = ResourceTable("5D_CV2logLUT.bin");
    auto logOf = [&](float code) { return cvToLog[3 * static_cast<size_t>(code * 65535.0f)]; };
    std::vector<float> previous;
    for (float stops : {-3.0f, -1.0f, -0.5f, 0.0f, 0.5f, 1.0f, 2.0f}) {
        SCOPED_TRACE(stops);
        for (float kelvin : {3200.0f, 9000.0f, 5600.0f}) {
            SCOPED_TRACE(kelvin);
            const auto t = Table(m, stops / 3.0f, kelvin - 5600.0f);
            for (size_t i = 3; i < t.size(); ++i) ASSERT_GE(t[i], t[i - 3]) << i / 3;
            if (kelvin != 5600.0f) continue;
            for (size_t k = 0; k < t.size() && !previous.empty(); ++k) {
                ASSERT_GE(t[k], previous[k]) << "more exposure, never darker";
            }
            previous = t;
            // Mid greys that clip neither way move by stops / 3 decades of scene light.
            for (int i : {900, 1300, 1700}) {
                const float in = static_cast<float>(i) / 4095.0f, out = t[3 * static_cast<size_t>(i)];
                if (out > 0.002f && out < 0.998f) { EXPECT_NEAR(logOf(out) - logOf(in), stops / 3.0f, 2e-3f) << i; }
            }
        }
    }
}

TEST(ExposureModelResources, ReadingChecksSizeAndByteOrderAndABadFileReplacesNothing) {
    test::TempDir dir;
    // 1.0 and -2.5 as little-endian float32.
    test::WriteWholeFile(dir / "two.bin", std::string("\x00\x00\x80\x3f\x00\x00\x20\xc0", 8));
    std::vector<float> values;
    ASSERT_TRUE(ReadLittleEndianFloats(dir / "two.bin", 2, values).ok());
    EXPECT_EQ(values, (std::vector<float>{1.0f, -2.5f}));
    EXPECT_EQ(ReadLittleEndianFloats(dir / "two.bin", 3, values).message(), dir / "two.bin" + " holds 8 bytes, not 12");
    EXPECT_EQ(ReadLittleEndianFloats(dir / "none.bin", 2, values).message(), "cannot open " + dir / "none.bin");

    const std::string good = ResourcePath("Resources/5D_log2CVLUT.bin");
    const std::string bytes = test::ReadWholeFile(good);
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
