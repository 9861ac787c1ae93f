// Setters on other threads while the render thread draws: every frame must show each table
// whole, in one of the states its setter put it in, never a table half old and half new.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <set>
#include <thread>
#include <vector>

#include "LookTestSupport.h"
#include "look/LutManager.h"

namespace ombrel {
namespace {

// Each setter puts its table in state A (false) or B (true).
using SetState = std::function<void(ShaderProcessor&, bool)>;
const std::vector<SetState> kStates{
    [](ShaderProcessor& sp, bool b) { sp.SetLiftGammaGain(1.0f, b ? 0.45f : 1.0f, 1.0f); },
    [](ShaderProcessor& sp, bool b) { sp.SetHistogramBMW(b ? 0.15 : 0.0, 0.5, b ? 0.8 : 1.0); },
    [](ShaderProcessor& sp, bool b) {
        sp.EditTables([b](ShaderProcessor::Tables& t) {
            b ? test::FillFilmLikeStockTable(t.stockLut) : FillIdentityStockTable(t.stockLut.data());
        });
    },
    [](ShaderProcessor& sp, bool b) { sp.SetSaturation(b ? 0.4f : 1.0f); },
};

TEST(Concurrency, SettersOnOtherThreadsNeverTearATableTheDrawUploads) {
    const auto frame = test::CubeFrame(41);
    OMBREL_PROCESSOR_OR_SKIP(sp, frame.width, frame.height, frame.width, frame.height);
    sp->SetBlendValue(1.0);
    const auto& states = kStates;
    const unsigned combos = 1u << states.size();
    std::vector<std::vector<uint16_t>> expected;  // the frame of each combination of states
    for (unsigned c = 0; c < combos; ++c) {
        for (size_t i = 0; i < states.size(); ++i) states[i](*sp, (c >> i) & 1u);
        expected.push_back(test::DrawOnCpu(*sp, frame, frame.width, frame.height));
    }
    for (const auto& state : states) state(*sp, false);
    std::atomic<bool> stop{false};
    std::vector<std::thread> setters;
    for (size_t i = 0; i < states.size(); ++i) {
        setters.emplace_back([&, i] {
            bool b = false;
            while (!stop) {
                b = !b;
                states[i](*sp, b);
                std::this_thread::sleep_for(std::chrono::microseconds(300 + 170 * i));
            }
        });
    }
    std::set<unsigned> seen;
    for (int draw = 0; draw < 60; ++draw) {
        const auto gpu = test::DrawOnGpu(*sp, frame, frame.width, frame.height);
        int match = -1;
        for (unsigned c = 0; c < combos && match < 0; ++c) {
            const auto d = test::Compare(gpu, expected[c]);
            if (d.max1023 <= 2.0 && d.median1023 < 0.5) match = static_cast<int>(c);
        }
        EXPECT_GE(match, 0) << "draw " << draw << " shows no whole state of the tables";
        if (match >= 0) seen.insert(static_cast<unsigned>(match));
    }
    stop = true;
    for (auto& t : setters) t.join();
    EXPECT_GE(seen.size(), 3u) << "the setters did not change the look between draws";
}

}  // namespace
}  // namespace ombrel
