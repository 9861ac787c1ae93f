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

struct TableStates {
    std::function<void(ShaderProcessor&, bool)> set;  // state A (false) or B (true)
};

std::vector<TableStates> States() {
    return {
        {[](ShaderProcessor& sp, bool b) { sp.SetLiftGammaGain(1.0f, b ? 0.45f : 1.0f, 1.0f); }},
        {[](ShaderProcessor& sp, bool b) {
            b ? sp.SetHistogramBMW(0.15, 0.5, 0.8) : sp.SetHistogramBMW(0.0, 0.5, 1.0);
        }},
        {[](ShaderProcessor& sp, bool b) {
            sp.EditTables([b](ShaderProcessor::Tables& t) {
                if (b) {
                    test::FillFilmLikeStockTable(t.stockLut);
                } else {
                    FillIdentityStockTable(t.stockLut.data());
                }
            });
        }},
        {[](ShaderProcessor& sp, bool b) { sp.SetSaturation(b ? 0.4f : 1.0f); }},
    };
}

// The frame the GPU must give when each table is in the state of its bit in `combo`.
std::vector<uint16_t> Expected(const test::Frame16& frame, unsigned combo, bool half) {
    ShaderProcessor sp(ShaderProcessor::Backend::Cpu);
    sp.SetExposureKelvin(0.0f, 5600.0f);
    sp.SetBlendValue(1.0);
    const auto states = States();
    for (size_t i = 0; i < states.size(); ++i) states[i].set(sp, (combo >> i) & 1u);
    cpu::CoreShaderInputs inputs = sp.CoreShaderInputsForRender();
    if (half) cpu::RoundTablesToHalf(inputs);
    const cpu::Image image = cpu::ImageFromRgb16(frame.rgb.data(), frame.width, frame.height, half);
    cpu::Image target;
    target.width = frame.width;
    target.height = frame.height;
    target.rgba.assign(static_cast<size_t>(frame.width * frame.height * 4), 1.0f);
    cpu::DrawCoreQuad(
        inputs, image,
        cpu::RenderPassQuad(frame.width, frame.height, float(frame.width), float(frame.height), 2, 0, 0, true), target);
    std::vector<uint16_t> out(static_cast<size_t>(frame.width * frame.height * 3));
    cpu::ToUnsigned16(target, false, out.data());
    return out;
}

TEST(Concurrency, SettersOnOtherThreadsNeverTearATableTheDrawUploads) {
    const auto frame = test::CubeFrame(41);
    OMBREL_PROCESSOR_OR_SKIP(sp, frame.width, frame.height, frame.width, frame.height);
    sp->SetBlendValue(1.0);
    const auto states = States();
    const unsigned combos = 1u << states.size();
    std::vector<std::vector<uint16_t>> expected;
    for (unsigned c = 0; c < combos; ++c) expected.push_back(Expected(frame, c, sp->HalfFloatTextures()));

    for (const auto& state : states) state.set(*sp, false);  // whatever stock table the data root gave
    std::atomic<bool> stop{false};
    std::vector<std::thread> setters;
    for (size_t i = 0; i < states.size(); ++i) {
        setters.emplace_back([&, i] {
            bool b = false;
            while (!stop) {
                b = !b;
                states[i].set(*sp, b);
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
