// The GPU read-back against the CPU reference, over a sweep of looks: every table alone at
// full strength, the mixes at 0, 0.5 and 1, black-and-white stocks, the bypass, levels on
// and off, grain, blur, and the fits of the render pass.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "LookTestSupport.h"
#include "look/LutManager.h"

namespace ombrel {
namespace {

using test::Compare;
using test::CubeFrame;

constexpr double kMaxError1023 = 2.0;
constexpr double kMedianError1023 = 0.5;

// What a case must do to the picture, besides matching the reference.
enum class Effect { Changes, Neutral, SameAsExposureAlone };

struct LookCase {
    std::string name;
    std::function<void(ShaderProcessor&)> apply;
    Effect effect = Effect::Changes;
};

// Back to the neutral look between cases.
void Neutral(ShaderProcessor& sp) {
    sp.setShowOriginal(false);
    sp.EditTables([](ShaderProcessor::Tables& t) {
        FillIdentityStockTable(t.stockLut.data());
        for (int i = 0; i < kTableLength; ++i) {
            for (int k = 0; k < 3; ++k) {
                t.exposureTexture[static_cast<size_t>(3 * i + k)] = static_cast<float>(i) / 4095.0f;
                t.ballTexture[static_cast<size_t>(3 * i + k)] = static_cast<float>(i) / 4095.0f;
            }
        }
    });
    sp.SetLiftGammaGain(1, 1, 1);
    sp.SetSaturation(1);
    sp.SetHistogramBMW(0.0, 0.5, 1.0);
    sp.SetBlendValue(0);
    sp.SetSBlendValue(0);
    sp.SetGrainValue(0);
    sp.SetBlurAmount(0);
    sp.SetBlackAndWhite(false);
}

std::vector<LookCase> Sweep() {
    auto film = [](ShaderProcessor& sp) {
        sp.EditTables([](ShaderProcessor::Tables& t) { test::FillFilmLikeStockTable(t.stockLut); });
    };
    auto grain = [](ShaderProcessor& sp, double amount) {
        sp.SetGrainMap(test::NoisyGrainMap(37, 29, 7), false);
        sp.SetGrainValue(amount);
    };
    std::vector<LookCase> cases;
    cases.push_back({"neutral", [](ShaderProcessor&) {}, Effect::Neutral});
    cases.push_back({"exposure table alone", [](ShaderProcessor& sp) {
                         sp.EditTables([](ShaderProcessor::Tables& t) {
                             test::FillCurvedTable3(t.exposureTexture.data(), kTableLength, 4095);
                         });
                     }});
    cases.push_back({"balls table alone", [](ShaderProcessor& sp) {
                         sp.EditTables([](ShaderProcessor::Tables& t) {
                             test::FillCurvedTable3(t.ballTexture.data(), kTableLength, 4095);
                             std::reverse(t.ballTexture.begin(), t.ballTexture.end());
                             for (float& v : t.ballTexture) v = 1.0f - v;  // rising again, channels swapped
                         });
                     }});
    cases.push_back({"lift gamma gain alone", [](ShaderProcessor& sp) { sp.SetLiftGammaGain(0.6f, 1.4f, 1.25f); }});
    cases.push_back(
        {"lift gamma gain at their limits", [](ShaderProcessor& sp) { sp.SetLiftGammaGain(2.5f, 0.3f, 0.8f); }});
    cases.push_back({"saturation raised", [](ShaderProcessor& sp) { sp.SetSaturation(1.8f); }});
    cases.push_back({"saturation lowered", [](ShaderProcessor& sp) { sp.SetSaturation(0.2f); }});
    cases.push_back({"stock table full", [=](ShaderProcessor& sp) {
                         film(sp);
                         sp.SetBlendValue(1.0);
                     }});
    cases.push_back({"stock table half", [=](ShaderProcessor& sp) {
                         film(sp);
                         sp.SetBlendValue(0.5);
                     }});
    cases.push_back({"stock table loaded, mix 0", [=](ShaderProcessor& sp) { film(sp); }, Effect::Neutral});
    cases.push_back({"S-curve full", [](ShaderProcessor& sp) { sp.SetSBlendValue(1.0); }});
    cases.push_back({"S-curve half", [](ShaderProcessor& sp) { sp.SetSBlendValue(0.5); }});
    cases.push_back({"levels on", [](ShaderProcessor& sp) { sp.SetHistogramBMW(0.1, 0.45, 0.85); }});
    cases.push_back({"levels with black above white", [](ShaderProcessor& sp) { sp.SetHistogramBMW(0.9, 0.5, 0.8); }});
    cases.push_back({"grain full", [=](ShaderProcessor& sp) { grain(sp, 1.0); }});
    cases.push_back({"grain half", [=](ShaderProcessor& sp) { grain(sp, 0.5); }});
    cases.push_back({"grain image loaded, mix 0", [=](ShaderProcessor& sp) { grain(sp, 0.0); }, Effect::Neutral});
    cases.push_back({"black-and-white stock", [=](ShaderProcessor& sp) {
                         film(sp);
                         sp.SetBlendValue(1.0);
                         sp.SetCurrentLUTSourceTypeChosenR3DMode("KodakTriX", "5D", std::nullopt, false);
                     }});
    cases.push_back({"black-and-white stock with the S-curve", [=](ShaderProcessor& sp) {
                         sp.SetCurrentLUTSourceTypeChosenR3DMode("IlfordDelta400", "5D", std::nullopt, false);
                         sp.SetSBlendValue(1.0);
                     }});
    auto everything = [=](ShaderProcessor& sp) {
        sp.EditTables([](ShaderProcessor::Tables& t) {
            test::FillCurvedTable3(t.exposureTexture.data(), kTableLength, 4095);
            test::FillFilmLikeStockTable(t.stockLut);
        });
        sp.SetLiftGammaGain(0.9f, 1.1f, 1.05f);
        sp.SetSaturation(1.3f);
        sp.SetBlendValue(0.8);
        sp.SetSBlendValue(0.6);
        sp.SetHistogramBMW(0.05, 0.5, 0.95);
        grain(sp, 0.7);
    };
    cases.push_back({"everything at once", everything});
    // The bypass leaves exposure in the picture and takes out everything else.
    cases.push_back({"everything, shown original",
                     [=](ShaderProcessor& sp) {
                         everything(sp);
                         sp.setShowOriginal(true);
                     },
                     Effect::SameAsExposureAlone});
    cases.push_back({"blur", [](ShaderProcessor& sp) { sp.SetBlurAmount(1.0f); }});
    cases.push_back({"blur with the look, shown original", [=](ShaderProcessor& sp) {
                         everything(sp);
                         sp.SetBlurAmount(0.8f);
                         sp.setShowOriginal(true);
                     }});
    return cases;
}

TEST(GpuCpuCompare, EverySettingOfTheSweepMatchesTheReference) {
    const auto frame = CubeFrame(67);  // odd width: rows are not 4-byte multiples
    OMBREL_PROCESSOR_OR_SKIP(sp, frame.width, frame.height, frame.width, frame.height);
    std::vector<uint16_t> neutral, exposureAlone;
    for (const auto& c : Sweep()) {
        SCOPED_TRACE(c.name);
        Neutral(*sp);
        c.apply(*sp);
        const auto gpu = test::DrawOnGpu(*sp, frame, frame.width, frame.height);
        const auto cpu =
            test::DrawOnCpu(*sp, frame, frame.width, frame.height, 2, 0, 0, test::DriverHalfTargetRounding());
        const auto d = Compare(gpu, cpu);
        EXPECT_LE(d.max1023, kMaxError1023)
            << "sample " << d.worstIndex << ": gpu " << gpu[d.worstIndex] << ", cpu " << cpu[d.worstIndex];
        EXPECT_LT(d.median1023, kMedianError1023);
        if (c.name == "neutral") neutral = gpu;
        if (c.name == "exposure table alone") exposureAlone = gpu;
        switch (c.effect) {
            case Effect::Changes:
                EXPECT_GT(Compare(gpu, neutral).max1023, 20.0) << "the look left the picture alone";
                break;
            case Effect::Neutral: EXPECT_LE(Compare(gpu, neutral).max1023, kMaxError1023); break;
            case Effect::SameAsExposureAlone: EXPECT_LE(Compare(gpu, exposureAlone).max1023, kMaxError1023); break;
        }
    }
}

}  // namespace
}  // namespace ombrel
