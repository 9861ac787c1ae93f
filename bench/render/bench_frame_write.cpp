// Packs and writes frames as TIFF and DPX files, and has OpenImageIO's oiiotool write the
// same frames in the same run. Prints frames per second of both and their ratio.
//
// Files go to a scratch folder under $TMPDIR (or /tmp); set OMBREL_BENCH_DIR to choose the disk.

#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "render/FrameFile.h"
#include "render/dpx/DpxFile.h"
#include "render/tiff/TiffFile.h"

namespace {

struct Size {
    int width, height;
};
const Size kSizes[] = {{1920, 1080}, {2048, 1080}, {4096, 2160}};

std::string ScratchFolder() {
    static const std::string folder = [] {
        const char* base = std::getenv("OMBREL_BENCH_DIR");
        std::string t =
            (base ? std::string(base) : std::filesystem::temp_directory_path().string()) + "/ombrel-bench-XXXXXX";
        if (!::mkdtemp(t.data())) {
            std::perror("mkdtemp");
            std::exit(1);
        }
        return t;
    }();
    return folder;
}

// A read-back frame as the format wants it, with room for 8 bytes a pixel.
std::vector<uint16_t> Frame(const Size& s, const ombrel::FrameFileFormat& format) {
    std::vector<uint16_t> samples(static_cast<size_t>(s.width) * s.height * 4);
    const size_t used = static_cast<size_t>(s.width) * s.height * (format.WantsRGBA() ? 4 : 3);
    for (size_t i = 0; i < used; ++i) samples[i] = static_cast<uint16_t>(i * 40503u);
    return samples;
}

ombrel::FrameClip Clip(const Size& s) {
    ombrel::FrameClip clip;
    clip.width = s.width;
    clip.height = s.height;
    clip.framesInClip = 1000;
    clip.fps = 24.0f;
    clip.startTimecode = {1, 0, 0, 0};
    clip.created = std::chrono::system_clock::now();
    return clip;
}

// Seconds per frame, by writer and size, for the closing table.
std::map<std::string, double>& Results() {
    static std::map<std::string, double> results;
    return results;
}

std::string Key(const char* what, const Size& s) {
    return std::string(what) + " " + std::to_string(s.width) + "x" + std::to_string(s.height);
}

void Record(benchmark::State& state, const char* what, const Size& s, double seconds, int64_t frames) {
    if (frames <= 0 || seconds <= 0) return;
    Results()[Key(what, s)] = seconds / static_cast<double>(frames);
    state.counters["fps"] = static_cast<double>(frames) / seconds;
}

// The read-back frame is copied in each time, since packing works in place.
template <typename Format>
void BM_Pack(benchmark::State& state) {
    const Size s = kSizes[state.range(0)];
    Format format;
    format.Begin(Clip(s));
    const auto frame = Frame(s, format);
    std::vector<uint16_t> buffer(frame.size());
    size_t bytes = 0;
    for (auto _ : state) {
        std::copy(frame.begin(), frame.end(), buffer.begin());
        bytes = format.PackInPlace(reinterpret_cast<uint8_t*>(buffer.data()));
        benchmark::DoNotOptimize(buffer.data());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes));
}

template <typename Format>
void BM_Write(benchmark::State& state) {
    const Size s = kSizes[state.range(0)];
    Format format;
    format.Begin(Clip(s));
    const auto frame = Frame(s, format);
    std::vector<uint16_t> buffer(frame.size());
    const std::string what = std::string(format.Name()) + " ours";
    int64_t n = 0, bytes = 0;
    const auto start = std::chrono::steady_clock::now();
    for (auto _ : state) {
        std::copy(frame.begin(), frame.end(), buffer.begin());
        auto* pixels = reinterpret_cast<uint8_t*>(buffer.data());
        const size_t packed = format.PackInPlace(pixels);
        const std::string path = ScratchFolder() + "/ours." + std::to_string(n % 8) + "." + format.Extension();
        const auto parts = format.PartsForFile(static_cast<int>(n), {1, 0, 0, static_cast<int>(n % 24)}, path);
        const std::span<const uint8_t> file[] = {parts.head, {pixels, packed}, parts.tail};
        ++n;
        bytes += static_cast<int64_t>(parts.head.size() + packed + parts.tail.size());
        if (!ombrel::WriteFrameFile(path, file, true).ok()) state.SkipWithError("write failed");
    }
    Record(state, what.c_str(), s, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), n);
    state.SetBytesProcessed(bytes);
}

double RunSeconds(const std::string& command) {
    const auto start = std::chrono::steady_clock::now();
    const int status = std::system((command + " >/dev/null 2>&1").c_str());
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return status == 0 ? seconds : -1.0;
}

// oiiotool reads the source once and writes it `outputs` times; a run that only reads it is
// taken off, so what remains is the writing of `outputs` frames.
void OiioWrite(benchmark::State& state, const char* what, const char* convert, const char* extension) {
    const Size s = kSizes[state.range(0)];
    const std::string source = ScratchFolder() + "/source.tif";
    const auto frame = Frame(s, ombrel::TiffFormat());
    if (ombrel::writeCompactTiffRGB(s.width, s.height, frame.data(), source, 6) != 0) {
        state.SkipWithError("cannot make the source frame");
        return;
    }
    constexpr int outputs = 8;
    std::string command = "oiiotool " + source + " " + convert;
    for (int i = 0; i < outputs; ++i)
        command += " -o " + ScratchFolder() + "/oiio." + std::to_string(i) + "." + extension;
    double total = 0;
    int64_t frames = 0;
    for (auto _ : state) {
        const double base = RunSeconds("oiiotool " + source);
        const double many = RunSeconds(command);
        if (base < 0 || many < 0) {
            state.SkipWithError("oiiotool failed");
            return;
        }
        const double seconds = std::max(many - base, 1e-6);
        state.SetIterationTime(seconds / outputs);
        total += seconds;
        frames += outputs;
    }
    Record(state, what, s, total, frames);
}

void BM_OiioTiffWrite(benchmark::State& state) { OiioWrite(state, "TIFF oiiotool", "-d uint16", "tif"); }
void BM_OiioDpxWrite(benchmark::State& state) { OiioWrite(state, "DPX oiiotool", "-d uint10", "dpx"); }

void SizeArgs(benchmark::internal::Benchmark* b) {
    for (int i = 0; i < static_cast<int>(std::size(kSizes)); ++i) b->Arg(i);
}

BENCHMARK(BM_Pack<ombrel::TiffFormat>)->Apply(SizeArgs)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Pack<ombrel::DpxFormat>)->Apply(SizeArgs)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Write<ombrel::TiffFormat>)->Apply(SizeArgs)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Write<ombrel::DpxFormat>)->Apply(SizeArgs)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_OiioTiffWrite)->Apply(SizeArgs)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(3);
BENCHMARK(BM_OiioDpxWrite)->Apply(SizeArgs)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(3);

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();

    std::printf("\nFrames per second written (ours / oiiotool):\n");
    for (const char* format : {"TIFF", "DPX"}) {
        for (const Size& s : kSizes) {
            const auto& r = Results();
            const auto ours = r.find(Key((std::string(format) + " ours").c_str(), s));
            const auto oiio = r.find(Key((std::string(format) + " oiiotool").c_str(), s));
            if (ours == r.end() || oiio == r.end()) continue;
            std::printf("  %-4s %4dx%-4d  %7.1f / %7.1f  ratio %.2f\n", format, s.width, s.height, 1.0 / ours->second,
                        1.0 / oiio->second, oiio->second / ours->second);
        }
    }
    std::error_code ec;
    std::filesystem::remove_all(ScratchFolder(), ec);
    return 0;
}
