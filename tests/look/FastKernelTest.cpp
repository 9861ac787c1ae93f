// The fast CPU kernel against the CPU reference over the sweep of looks, at odd sizes (widths
// that are no multiple of a vector, one-pixel rows and columns); 1080p in the slow suite.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "FastKernelSupport.h"
#include "core/ThreadPool.h"
#include "look/fast/LookKernel.h"

namespace ombrel::test {
namespace {

Frame16 Crop(const Frame16& f, int w, int h) {
    Frame16 out{w, h, {}};
    for (int y = 0; y < h; ++y) {
        const auto* row = f.rgb.data() + 3 * size_t(y % f.height) * size_t(f.width);
        out.rgb.insert(out.rgb.end(), row, row + 3 * std::min(w, f.width));
        out.rgb.resize(3 * size_t(y + 1) * size_t(w), 40000);
    }
    return out;
}

TEST(FastKernel, EveryCaseOfTheSweepMatchesTheReferenceAtOddSizes) {
    const auto cube = CubeFrame(67);
    ExpectSweepMatches({Crop(cube, 67, 32), Crop(cube, 13, 1), Crop(cube, 1, 3)}, Sweep());
}

TEST(FastKernel, OneCoreAndAllCoresGiveTheSameSamples) {
    auto sp = CpuProcessor(67, 32, ShaderProcessor::CpuKernel::Fast);
    for (const auto& c : Sweep())
        if (c.name == "everything at once") c.apply(*sp);
    const auto frame = CubeFrame(67);
    const auto all = Draw(*sp, frame, {3.0f, 4.0f});
    ThreadPool one(0);
    std::vector<uint16_t> single;
    one.ParallelFor(1, 1, [&](size_t, size_t) { single = Draw(*sp, frame, {3.0f, 4.0f}); });
    EXPECT_EQ(single, all);
}

// The check that debug builds run when the tables change: it passes for tables baked from the
// inputs it is given, and it tells tables baked from other looks.
TEST(FastKernel, CrossCheckPassesForItsOwnLookAndTellsAnother) {
    std::vector<cpu::CoreShaderInputs> looks;
    for (const auto& c : Sweep()) {
        auto sp = CpuProcessor(8, 8, ShaderProcessor::CpuKernel::Fast);
        c.apply(*sp);
        looks.push_back(sp->CoreShaderInputsForRender());
        fast::LookKernel kernel;
        kernel.Prepare(looks.back());
        EXPECT_TRUE(kernel.CrossCheck(looks.back()).ok()) << c.name << ": " << kernel.CrossCheck(looks.back()).message();
    }
    ASSERT_GE(looks.size(), 3u);
    int told = 0;
    for (size_t i = 1; i < looks.size(); ++i) {
        fast::LookKernel kernel;
        EXPECT_TRUE(kernel.Prepare(looks[i - 1]));
        EXPECT_FALSE(kernel.Prepare(looks[i - 1])) << "nothing changed, nothing rebaked";
        told += !kernel.CrossCheck(looks[i]).ok();
    }
    // Neighbouring cases of the sweep that differ visibly are told apart.
    EXPECT_GE(told, int(looks.size()) / 2);
}

TEST(ThreadPool, EveryIndexRunsOnceWhateverTheChunkAndTheThreads) {
    ThreadPool pool(3);
    for (size_t chunk : {1, 7, 1000}) {
        for (unsigned threads : {0u, 1u, 2u}) {
            std::vector<std::atomic<int>> hits(997);
            pool.ParallelFor(hits.size(), chunk, [&](size_t b, size_t e) {
                for (size_t i = b; i < e; ++i) ++hits[i];
                // A loop inside a loop runs on its caller.
                pool.ParallelFor(2, 1, [](size_t, size_t) {});
            }, threads);
            EXPECT_TRUE(std::all_of(hits.begin(), hits.end(), [](const auto& h) { return h == 1; }))
                << chunk << " " << threads;
        }
    }
}

}  // namespace
}  // namespace ombrel::test
