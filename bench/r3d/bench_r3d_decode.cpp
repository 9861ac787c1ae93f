// Decoding one frame of our image payload into a frame-sized block, as the render's prefetch
// thread does: 1080p and 4K, the test pattern of synthetic clips (smooth, packs tightly) and the
// same with sensor-like noise in the low bits (packs as camera footage does), on one thread and
// on as many as Clip::DecodeVideoFrame asks for.
#include "r3d/ImagePayload.h"
#include "r3d/TestPattern.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <map>
#include <random>
#include <tuple>
#include <vector>

namespace {

using namespace ombrel::r3d;

const std::vector<uint8_t>& Payload(uint32_t w, uint32_t h, bool noisy) {
    static std::map<std::tuple<uint32_t, uint32_t, bool>, std::vector<uint8_t>> made;
    auto& payload = made[{w, h, noisy}];
    if (!payload.empty()) return payload;
    std::vector<uint16_t> rgb;
    RenderTestPattern(w, h, 12, &rgb);
    if (noisy) {
        std::mt19937 rng(7);
        for (auto& s : rgb) s = uint16_t(s ^ (rng() & 0x3F));
    }
    if (!EncodeImagePayload(rgb.data(), w, h, 0, ImagePayloadOptions{}, &payload)) std::abort();
    return payload;
}

// Arguments: width, height, noisy, threads.
void BM_DecodeFrame(benchmark::State& state) {
    const auto w = uint32_t(state.range(0)), h = uint32_t(state.range(1));
    const auto& payload = Payload(w, h, state.range(2) != 0);
    std::vector<uint16_t> out(size_t(w) * h * 3);
    for (auto _ : state) {
        if (DecodeImagePayload(payload.data(), payload.size(), 1, out.data(), out.size() * 2, 0,
                               int(state.range(3))) != ImagePayloadStatus::kOk)
            state.SkipWithError("decode failed");
        benchmark::DoNotOptimize(out.data());
    }
    state.counters["MB_packed"] = double(payload.size()) / 1e6;
}
BENCHMARK(BM_DecodeFrame)
    ->ArgNames({"w", "h", "noisy", "threads"})
    ->ArgsProduct({{1920}, {1080}, {0, 1}, {1, 2}})
    ->ArgsProduct({{4096}, {2160}, {0, 1}, {1, 2}})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
