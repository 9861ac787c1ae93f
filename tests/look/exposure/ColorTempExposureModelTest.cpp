// The exposure and colour temperature model: the gain curves, the table grids, the exposure
// shift in the log domain, and the conversion tables of the data root.
#include <gtest/gtest.h>

#include <cmath>
#include <iomanip>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "datafile/Resource.h"
#include "look/exposure/ColorTempExposureModel.h"
#include "support/RefFile.h"

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
        for (int i = 0; i <= 1000; ++i) {
            const float x = static_cast<float>(i) / 1000.0f, held = Model::gainCurve(x, k);
            ASSERT_NEAR(held, Model::softClip(x, k.gain, 0.08f), 2e-6f) << "gain " << k.gain << ", x " << x;
            if (x <= k.knee) { ASSERT_EQ(held, k.gain * x) << "below the knee the gain is plain, x " << x; }
        }
    }
    EXPECT_FLOAT_EQ(Model::softClip(0.9f, 1.8f, 0.0f), 0.9f * 1.8f) << "no headroom: plain gain";
}

// The curves, the gain model's mix towards its targets and the flat and shifted tables of the
// installed conversion tables, one line a value.
TEST(ExposureModelNumbers, CurvesGainModelAndInstalledTablesMatchTheReference) {
    std::ostringstream out;
    out << std::setprecision(9);
    for (const Model::SoftClipCurve& k : {Model::kCoolGreen, Model::kCoolBlue, Model::kWarmRed}) {
        for (float x : {0.25f, 0.5f, 0.6f, 0.7f, 0.8f, 0.9f, 0.95f, 1.0f}) {
            out << "softClip gain " << k.gain << " x " << x << " " << Model::softClip(x, k.gain, 0.08f) << "\n";
        }
    }
    for (float x : {0.0f, 0.25f, 0.5f, 1.0f}) out << "midWeight " << x << " " << Model::midWeight(x) << "\n";
    for (const auto& [offset, scale] : {std::pair{0.0f, 1.0f},
                                        {-3900.0f, 1.0f},
                                        {-1950.0f, 1.0f},
                                        {-3900.0f, 0.5f},
                                        {-7800.0f, 1.0f},
                                        {6400.0f, 1.0f},
                                        {3200.0f, 1.0f}}) {
        Model m;
        m.colorTempScale = scale;
        m.setExposureAndCT(0.25f, offset);
        out << "offset " << offset << " scale " << scale << " colorTempOffset " << m.colorTempOffset << "\n";
        for (float v : {0.1f, 0.45f, 0.85f, 0.97f, 1.0f}) {
            float r = v, g = v, b = v;
            m.applyGainModel(r, g, b);
            out << "  gain model " << v << " rgb " << r << " " << g << " " << b << "\n";
        }
    }
    Model m;
    LoadResourceTables(m);
    for (float stops : {-3.0f, -1.0f, 0.0f, 1.0f, 2.0f}) {
        for (float kelvin : {3200.0f, 5600.0f, 9000.0f}) {
            const auto t = Table(m, stops / 3.0f, kelvin - 5600.0f);
            out << "table " << stops << " stops " << kelvin << " K";
            for (size_t i : {0, 300, 900, 1300, 1700, 2500, 3500, 4095}) {
                out << " " << t[3 * i] << "," << t[3 * i + 1] << "," << t[3 * i + 2];
            }
            out << "\n";
        }
    }
    EXPECT_TRUE(test::MatchesRef("look/exposure-model.txt", out.str()));
    // The flat table is the round trip of the installed tables: the identity within a step.
    const auto flat = Table(m, 0.0f, 0.0f);
    for (size_t i = 0; i < flat.size(); ++i) ASSERT_NEAR(flat[i], (i / 3) / 4095.0, 1.0 / 4095.0) << i;
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
    for (int n : {0, 1, 100, 10922, 32767, 32768, 54613, 65534}) {
        EXPECT_EQ(entry(true, (static_cast<float>(n) + 0.98f) / 65535.0f), n) << "no rounding up above " << n;
        EXPECT_EQ(entry(false, static_cast<float>(-3.0 + (n + 0.5) * 6.0 / 65536.0)), n) << "log mid-step above " << n;
    }
    struct Row {
        const char* name;
        bool toLog;
        float value;
        int entry;
    };
    for (const Row& r :
         {Row{"code 1 is the last entry", true, 1.0f, 65535}, Row{"a code below 0", true, -0.5f, 0},
          Row{"a code above 1", true, 7.0f, 65535},
          Row{"a code that is no number", true, std::numeric_limits<float>::quiet_NaN(), 0},
          Row{"log 0 lies on entry 32768, not 32767.5", false, 0.0f, 32768}, Row{"below the table", false, -5.0f, 0},
          Row{"log 3 gives 65536, limited", false, 3.0f, 65535}}) {
        EXPECT_EQ(entry(r.toLog, r.value), r.entry) << r.name;
    }
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
    }
}

}  // namespace
}  // namespace ombrel
