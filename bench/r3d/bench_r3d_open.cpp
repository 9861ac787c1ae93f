// Opening a 10,000-frame R3D clip: header, index and first-frame metadata, with the footer's
// index and with the recovery scan, for both generations.
#include "core/Log.h"
#include "r3d/ClipLoader.h"
#include "r3d/MetadataMapper.h"
#include "r3d/R3DWriter.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>

namespace {

using namespace ombrel::r3d;

constexpr int kFrames = 10000;

std::string ScratchFolder() {
    static const std::string folder = [] {
        std::string base = std::filesystem::temp_directory_path().string() + "/ombrel-bench-r3d-XXXXXX";
        if (!::mkdtemp(base.data())) std::abort();
        std::atexit([] {
            std::error_code ec;
            std::filesystem::remove_all(ScratchFolder(), ec);
        });
        return base;
    }();
    return folder;
}

// Writes the clip once per kind: small pictures, a block of audio after every frame.
const std::string& ClipFor(int major, bool footer) {
    static std::map<std::pair<int, bool>, std::string> made;
    auto& path = made[{major, footer}];
    if (!path.empty()) return path;
    path = ScratchFolder() + "/bench_v" + std::to_string(major) + (footer ? "_footer" : "_scan") + ".R3D";
    R3DClipSpec spec;
    spec.major = uint8_t(major);
    spec.minor = major == 5 ? 2 : 0;
    spec.width = 32;
    spec.height = 18;
    spec.rateNumerator = 24000;
    spec.rateDenominator = 1001;
    spec.audioChannels = 2;
    spec.writeFooter = footer;
    spec.edgeTimecode = "01:00:00:00";
    spec.frameMetadata = {MetadataToken::String(kIdReelId, "A001"), MetadataToken::Float(kIdWhiteBalanceKelvin, 5600),
                          MetadataToken::U16(kIdIso, 800)};
    R3DWriter w;
    std::vector<uint16_t> picture(size_t(spec.width) * spec.height * 3, 1000);
    std::vector<int32_t> samples(2002 * 2, 0);
    if (!w.Create(path, spec, true)) std::abort();
    for (int f = 0; f < kFrames; ++f) {
        picture[0] = uint16_t(f);
        if (!w.AddVideoFrameRGB(picture.data()) || !w.AddAudioBlock(samples.data(), 2002)) std::abort();
    }
    if (!w.Finish()) std::abort();
    return path;
}

void OpenClip(benchmark::State& state) {
    const int major = int(state.range(0));
    const bool footer = state.range(1) != 0;
    const std::string& path = ClipFor(major, footer);
    ombrel::SetLogToStderr(false);
    for (auto _ : state) {
        ClipLoader clip;
        if (!clip.OpenClip(path).ok() || clip.VideoFrameCount() < kFrames - 1) state.SkipWithError("open failed");
        benchmark::DoNotOptimize(clip.Metadata().Items().size());
    }
    ombrel::SetLogToStderr(true);
    state.SetLabel(std::string(major == 5 ? "second generation" : "first generation") +
                   (footer ? ", index from the footer" : ", recovery scan"));
    state.counters["MB"] = double(std::filesystem::file_size(path)) / 1e6;
}

BENCHMARK(OpenClip)->ArgsProduct({{4, 5}, {1, 0}})->ArgNames({"major", "footer"})->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
