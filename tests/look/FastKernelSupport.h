#pragma once

// Draws through CPU processors of either kernel and their comparison, for the fast kernel's tests.

#include <memory>
#include <vector>

#include "LookTestSupport.h"

namespace ombrel::test {

// A CPU processor set up for a render of a w x h frame into an output of that size.
std::unique_ptr<ShaderProcessor> CpuProcessor(int w, int h, ShaderProcessor::CpuKernel kernel);
// One render draw of `frame` with the grain at `grainOffset`; the read-back, 3 samples a pixel.
std::vector<uint16_t> Draw(ShaderProcessor& sp, const Frame16& frame, std::array<float, 2> grainOffset);
// Fast against reference for every case, each case on every frame (the first frame's size sets
// the processors up).
void ExpectSweepMatches(const std::vector<Frame16>& frames, const std::vector<LookCase>& cases);

}  // namespace ombrel::test
