#pragma once

// Shared pieces of the look tests: a processor drawing headless on its own context, test
// frames that cover the colour cube, and the comparison of a GPU read-back with the CPU
// reference.

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "look/ShaderProcessor.h"
#include "look/cpu/CoreShaderCpu.h"

namespace ombrel::test {

// A packed 16-bit RGB frame, row 0 first.
struct Frame16 {
    int width = 0;
    int height = 0;
    std::vector<uint16_t> rgb;
};

// A frame of one colour.
Frame16 Uniform(int width, int height, double r, double g, double b);

// Ramps (grey and each primary), near-black and near-white ramps, and a 12 x 12 x 12 grid of
// the cube whose levels include both ends.
Frame16 CubeFrame(int width);

// A processor set up for a render of `image` into an output of `outW` x `outH`, as the
// render loop sets one up; null (and the reason) when no GL context can be had.
std::unique_ptr<ShaderProcessor> MakeRenderProcessor(int imageW, int imageH, int outW, int outH, std::string* why);
// The same for a processor of the caller's (a subclass, or one with switches set before the
// program is built); false (and the reason) when it cannot draw.
bool PrepareRenderProcessor(ShaderProcessor& sp, int imageW, int imageH, int outW, int outH, std::string* why);

// Draws `frame` through the processor's render pass and returns the read-back (3 samples a
// pixel, rows bottom-up as GL reads them).
std::vector<uint16_t> DrawOnGpu(ShaderProcessor& sp, const Frame16& frame, int outW, int outH, int fitMethod = 2,
                                float aspectW = 0, float aspectH = 0);

// Parameters of a draw of a w x h frame into a w x h viewport, reading back into `readBack`
// (a render) or nothing (a preview).
DrawParams FrameParams(const ShaderProcessor& sp, int w, int h, uint16_t* readBack = nullptr);

// What the CPU reference makes of the same draw, from the processor's state after it.
std::vector<uint16_t> DrawOnCpu(const ShaderProcessor& sp, const Frame16& frame, int outW, int outH, int fitMethod = 2,
                                float aspectW = 0, float aspectH = 0,
                                cpu::HalfRounding blurRounding = cpu::HalfRounding::Nearest);

// How this driver rounds what a pass renders into a 16-bit float target (the blur's
// intermediates): found once per process by blurring a point of light both ways on the CPU
// and keeping the rounding that the GPU matches.
cpu::HalfRounding DriverHalfTargetRounding();

// A case of the sweep of looks that the GPU and the fast CPU path are compared over: what it
// must do to the picture besides matching the reference, and how it sets a processor up.
enum class Effect { Changes, Neutral, SameAsExposureAlone };
struct LookCase {
    std::string name;
    std::function<void(ShaderProcessor&)> apply;
    Effect effect = Effect::Changes;
};
// Every table alone, exposure and colour balls through their setters, the mixes at 0 and 1,
// black-and-white stocks, the bypass, levels on and off, grain and blur.
std::vector<LookCase> Sweep();

struct Difference {
    double max1023 = 0;     // largest difference, in 10-bit code values
    double median1023 = 0;  // median over all samples
    size_t worstIndex = 0;
};
Difference Compare(const std::vector<uint16_t>& a, const std::vector<uint16_t>& b);

// A non-identity table for the sweep: a curve of its own in each channel.
void FillCurvedTable3(float* table, int n, int denominator);

}  // namespace ombrel::test

#define OMBREL_PROCESSOR_OR_SKIP(var, iw, ih, ow, oh)                          \
    std::string var##Why;                                                      \
    auto var = ::ombrel::test::MakeRenderProcessor(iw, ih, ow, oh, &var##Why); \
    if (!var) {                                                                \
        if (std::getenv("OMBREL_REQUIRE_GL")) FAIL() << var##Why;              \
        GTEST_SKIP() << var##Why;                                              \
    }
