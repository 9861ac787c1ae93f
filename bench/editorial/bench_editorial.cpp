// An edit decision list of 5,000 events read, then matched against 2,000 candidate R3D clips
// (the conform's stages 1 and 3 without the disk walk).
#include "core/Log.h"
#include "editorial/FCPEdl.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

namespace {

using namespace ombrel;

constexpr int kEvents = 5000;
constexpr int kCandidates = 2000;

std::string Name(int clip) {
    char name[40];
    std::snprintf(name, sizeof name, "A%03d_C%03d_0101AB", clip / 1000 + 1, clip % 1000);
    return name;
}

std::string Timecode(int frame) {
    char text[16];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d:%02d", frame / 86400, frame / 1440 % 60, frame / 24 % 60,
                  frame % 24);
    return text;
}

// Each event uses 12 frames of a clip, every fifth dissolves into the next; a few name no clip.
const std::string& EdlPath() {
    static const std::string path = [] {
        std::string text = "TITLE: bench\nFCM: NON-DROP FRAME\n\n";
        for (int e = 1; e <= kEvents; ++e) {
            const int clip = (e * 7919) % (kCandidates + 50);
            const int start = 86400 + (e % 50);
            char row[200];
            std::snprintf(row, sizeof row, "%03d  %s V     %s %s %s %s %s\n", e, Name(clip).c_str(),
                          e % 5 ? "C       " : "D    010", Timecode(start).c_str(), Timecode(start + 12).c_str(),
                          Timecode(e * 12).c_str(), Timecode(e * 12 + 12).c_str());
            text += row;
            if (e % 3 == 0) text += "* FROM CLIP NAME: " + Name(clip) + "_001.R3D\n";
        }
        const std::string file = std::filesystem::temp_directory_path().string() + "/ombrel-bench-edl.edl";
        FILE* out = std::fopen(file.c_str(), "w");
        if (!out || std::fwrite(text.data(), 1, text.size(), out) != text.size() || std::fclose(out) != 0) std::abort();
        std::atexit([] { std::remove((std::filesystem::temp_directory_path().string() + "/ombrel-bench-edl.edl").c_str()); });
        return file;
    }();
    return path;
}

FCPEdl::MetaList Candidates() {
    FCPEdl::MetaList list;
    for (int c = 0; c < kCandidates; ++c) {
        auto meta = std::make_shared<R3DFileMeta>();
        meta->setPath("/footage/day" + std::to_string(c % 10) + "/" + Name(c) + "_001.R3D");
        meta->setFps(24);
        meta->setFrameIn(86400);
        meta->setFrameOut(86400 + 100);
        meta->setEdgeFrameOut(100);
        meta->setFrameCount(100);
        list.push_back(meta);
    }
    return list;
}

void BM_ReadEdl(benchmark::State& state) {
    SetLogToStderr(false);
    SetLogToSyslog(false);
    for (auto _ : state) {
        FCPEdl edl;
        if (!edl.LoadFcpEdl(EdlPath())) std::abort();
        edl.TraverseTree();
        benchmark::DoNotOptimize(edl.ClipCount());
    }
}
BENCHMARK(BM_ReadEdl)->Unit(benchmark::kMillisecond);

void BM_MatchEdl(benchmark::State& state) {
    SetLogToStderr(false);
    SetLogToSyslog(false);
    const FCPEdl::MetaList candidates = Candidates();
    for (auto _ : state) {
        state.PauseTiming();
        FCPEdl edl;
        edl.setR3dMode(true);
        if (!edl.LoadFcpEdl(EdlPath())) std::abort();
        edl.TraverseTree();
        state.ResumeTiming();
        edl.MatchToFileList(candidates);
        state.counters["files"] = static_cast<double>(edl.Files().size());
    }
}
BENCHMARK(BM_MatchEdl)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
