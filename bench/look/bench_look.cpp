// Frames per second of one graded frame: upload of a 16-bit RGB frame, the render pass and
// the 16-bit read-back, on OpenGL (llvmpipe where there is no GPU), through the CPU reference,
// and through the fast CPU kernel on one core and on all; "ms_per_MP" is the time a megapixel.
//
//   bench_look [benchmark flags] [--write-graded=DIR]
//
// --write-graded writes the test picture and its graded versions (GPU and CPU) as 16-bit
// PPM files into DIR, to look at.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "core/Log.h"
#include "core/ThreadPool.h"
#include "look/LutManager.h"
#include "look/ShaderProcessor.h"

namespace {

using ombrel::DrawParams;
using ombrel::ShaderProcessor;

struct Size {
    int width, height;
};
const Size kSizes[] = {{1920, 1080}, {4096, 2160}};

// A test picture: hue across, brightness down, a grey ramp along the bottom.
std::vector<uint16_t> Picture(const Size& s) {
    std::vector<uint16_t> rgb(static_cast<size_t>(s.width) * static_cast<size_t>(s.height) * 3);
    for (int y = 0; y < s.height; ++y) {
        for (int x = 0; x < s.width; ++x) {
            const double h = 6.0 * x / s.width;
            const double v = 1.0 - static_cast<double>(y) / s.height;
            double c[3] = {std::clamp(std::abs(h - 3.0) - 1.0, 0.0, 1.0), std::clamp(2.0 - std::abs(h - 2.0), 0.0, 1.0),
                           std::clamp(2.0 - std::abs(h - 4.0), 0.0, 1.0)};
            const bool ramp = y > s.height * 7 / 8;
            for (int k = 0; k < 3; ++k) {
                const double value = ramp ? static_cast<double>(x) / (s.width - 1) : (0.25 + 0.75 * c[k]) * v;
                rgb[3 * (static_cast<size_t>(y) * static_cast<size_t>(s.width) + static_cast<size_t>(x)) +
                    static_cast<size_t>(k)] = static_cast<uint16_t>(std::lround(value * 65535.0));
            }
        }
    }
    return rgb;
}

// A look with every part of the pipeline at work.
void ApplyLook(ShaderProcessor& sp) {
    sp.EditTables([](ShaderProcessor::Tables& t) {
        for (int b = 0; b < 64; ++b) {
            for (int g = 0; g < 64; ++g) {
                for (int r = 0; r < 64; ++r) {
                    const double R = r / 63.0, G = g / 63.0, B = b / 63.0;
                    float* e = t.stockLut.data() + 3 * (r + 64 * g + 4096 * b);
                    e[0] = static_cast<float>(std::clamp(0.9 * std::pow(R, 0.9) + 0.08 * G, 0.0, 1.0));
                    e[1] = static_cast<float>(std::clamp(0.05 * R + 0.92 * G + 0.03 * B, 0.0, 1.0));
                    e[2] = static_cast<float>(std::clamp(0.1 * G + 0.8 * std::pow(B, 1.1) + 0.04, 0.0, 1.0));
                }
            }
        }
    });
    sp.SetLiftGammaGain(0.95f, 1.1f, 1.05f);
    sp.SetSaturation(1.15f);
    sp.SetBlendValue(0.85);
    sp.SetSBlendValue(0.7);
    sp.SetHistogramBMW(0.03, 0.5, 0.97);
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> noise(0.25f, 0.75f);
    std::vector<float> grain(512 * 512 * 3);
    for (float& g : grain) g = noise(rng);
    auto map = std::make_shared<ombrel::GrainMap>(512, 512, std::move(grain), "bench");
    std::array<float, ombrel::GrainLookup::kEntries * 3> curve{};
    for (int i = 0; i < ombrel::GrainLookup::kEntries; ++i) {
        const float level = i / 255.0f;
        for (int k = 0; k < 3; ++k)
            curve[static_cast<size_t>(3 * i + k)] = 0.08f * 4.0f * level * (1.0f - level) + 0.01f;
    }
    map->setGrainCurve(std::make_shared<ombrel::GrainLookup>(curve));
    sp.SetGrainMap(map, false);
    sp.SetGrainValue(0.6);
}

std::unique_ptr<ShaderProcessor> MakeProcessor(ShaderProcessor::Backend backend, const Size& s, std::string* why) {
    auto sp = std::make_unique<ShaderProcessor>(backend);
    if (backend == ShaderProcessor::Backend::OpenGL && !sp->renderContext()) {
        *why = sp->renderContextError();
        return nullptr;
    }
    sp->setUseRenderContext(true);
    sp->setImageWidth(static_cast<uint32_t>(s.width));
    sp->setImageHeight(static_cast<uint32_t>(s.height));
    sp->setOutputWidth(static_cast<uint32_t>(s.width));
    sp->setOutputHeight(static_cast<uint32_t>(s.height));
    sp->SetExposureKelvin(0.0f, 5600.0f);
    const ombrel::FloatRect rect{{0, 0}, {float(s.width), float(s.height)}};
    if (!sp->InitPipelineForViewportContext(rect, nullptr) || !sp->FBOSetup(nullptr)) {
        *why = "the pipeline could not be built";
        return nullptr;
    }
    ApplyLook(*sp);
    return sp;
}

DrawParams RenderParams(const ShaderProcessor& sp, const Size& s, std::vector<uint16_t>& out) {
    DrawParams p;
    p.name = sp.frameTexture();
    p.target = GL_TEXTURE_RECTANGLE;
    p.writeToDisk = true;
    p.writeToDiskData = out.data();
    p.baseSize = {float(s.width), float(s.height)};
    p.viewportRect = {{0, 0}, {float(s.width), float(s.height)}};
    p.fitMethod = 2;
    return p;
}

std::map<std::string, double>& Fps() {
    static std::map<std::string, double> fps;
    return fps;
}

void Draw(benchmark::State& state, ShaderProcessor::Backend backend, const char* what,
          ShaderProcessor::CpuKernel kernel = ShaderProcessor::CpuKernel::Reference) {
    const Size s = kSizes[state.range(0)];
    std::string why;
    auto sp = MakeProcessor(backend, s, &why);
    if (sp) sp->setCpuKernel(kernel);
    if (!sp) {
        state.SkipWithError(why.c_str());
        return;
    }
    const auto picture = Picture(s);
    std::vector<uint16_t> out(static_cast<size_t>(s.width) * static_cast<size_t>(s.height) * 4);
    sp->setR3dRenderBuffer(reinterpret_cast<const uint8_t*>(picture.data()));
    {
        DrawParams warm = RenderParams(*sp, s, out);
        sp->RenderUsingR3DRenderBuffer(&warm);  // first draw uploads every table
    }
    int64_t frames = 0;
    const auto start = std::chrono::steady_clock::now();
    for (auto _ : state) {
        DrawParams p = RenderParams(*sp, s, out);
        sp->RenderUsingR3DRenderBuffer(&p);
        benchmark::DoNotOptimize(out.data());
        ++frames;
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (frames > 0 && seconds > 0) {
        state.counters["fps"] = static_cast<double>(frames) / seconds;
        state.counters["ms_per_MP"] = seconds * 1000.0 / static_cast<double>(frames) /
                                      (static_cast<double>(s.width) * static_cast<double>(s.height) / 1e6);
        Fps()[std::string(what) + " " + std::to_string(s.width) + "x" + std::to_string(s.height)] = frames / seconds;
    }
}

void BM_GpuDrawReadBack(benchmark::State& state) { Draw(state, ShaderProcessor::Backend::OpenGL, "gpu"); }
void BM_CpuReference(benchmark::State& state) { Draw(state, ShaderProcessor::Backend::Cpu, "cpu"); }

void BM_CpuFastAllCores(benchmark::State& state) {
    Draw(state, ShaderProcessor::Backend::Cpu, "fast", ShaderProcessor::CpuKernel::Fast);
}
void BM_CpuFastOneCore(benchmark::State& state) {
    // A loop started inside another pool's loop runs on its caller alone.
    ombrel::ThreadPool one(0);
    one.ParallelFor(1, 1, [&](size_t, size_t) {
        Draw(state, ShaderProcessor::Backend::Cpu, "fast 1 core", ShaderProcessor::CpuKernel::Fast);
    });
}

void SizeArgs(benchmark::internal::Benchmark* b) {
    for (int i = 0; i < static_cast<int>(std::size(kSizes)); ++i) b->Arg(i);
}

BENCHMARK(BM_GpuDrawReadBack)->Apply(SizeArgs)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_CpuReference)->Apply(SizeArgs)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(BM_CpuFastOneCore)->Apply(SizeArgs)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_CpuFastAllCores)->Apply(SizeArgs)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

bool WritePpm16(const std::string& path, const Size& s, const uint16_t* rgb, bool bottomUp) {
    std::ofstream f(path, std::ios::binary);
    f << "P6\n" << s.width << " " << s.height << "\n65535\n";
    std::vector<uint8_t> row(static_cast<size_t>(s.width) * 6);
    for (int y = 0; y < s.height; ++y) {
        const int src = bottomUp ? y : y;  // row 0 of the read-back is the picture's top row
        const uint16_t* p = rgb + static_cast<size_t>(src) * static_cast<size_t>(s.width) * 3;
        for (size_t i = 0; i < static_cast<size_t>(s.width) * 3; ++i) {
            row[2 * i] = static_cast<uint8_t>(p[i] >> 8);
            row[2 * i + 1] = static_cast<uint8_t>(p[i] & 0xff);
        }
        f.write(reinterpret_cast<const char*>(row.data()), static_cast<std::streamsize>(row.size()));
    }
    return static_cast<bool>(f);
}

int WriteGraded(const std::string& dir) {
    const Size s{960, 540};
    const auto picture = Picture(s);
    WritePpm16(dir + "/look_source.ppm", s, picture.data(), false);
    for (auto backend : {ShaderProcessor::Backend::OpenGL, ShaderProcessor::Backend::Cpu}) {
        std::string why;
        auto sp = MakeProcessor(backend, s, &why);
        if (!sp) {
            std::fprintf(stderr, "%s\n", why.c_str());
            return 1;
        }
        std::vector<uint16_t> out(static_cast<size_t>(s.width) * static_cast<size_t>(s.height) * 4);
        sp->setR3dRenderBuffer(reinterpret_cast<const uint8_t*>(picture.data()));
        DrawParams p = RenderParams(*sp, s, out);
        sp->RenderUsingR3DRenderBuffer(&p);
        const char* name = backend == ShaderProcessor::Backend::OpenGL ? "gpu" : "cpu";
        WritePpm16(dir + "/look_graded_" + name + ".ppm", s, out.data(), true);
    }
    std::printf("wrote %s/look_source.ppm, look_graded_gpu.ppm, look_graded_cpu.ppm\n", dir.c_str());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    ::setenv("OMBREL_DATA_DIR", OMBREL_BUILD_DATA_DIR, 0);
    ombrel::SetLogToSyslog(false);
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], "--write-graded=", 15) == 0) return WriteGraded(argv[i] + 15);
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();

    std::printf("\nFrames per second, draw + 16-bit read-back (OpenGL / CPU reference):\n");
    for (const Size& s : kSizes) {
        const std::string size = std::to_string(s.width) + "x" + std::to_string(s.height);
        const auto gpu = Fps().find("gpu " + size);
        const auto cpu = Fps().find("cpu " + size);
        std::printf("  %-10s %8.2f / %8.2f", size.c_str(), gpu != Fps().end() ? gpu->second : 0.0,
                    cpu != Fps().end() ? cpu->second : 0.0);
        if (gpu != Fps().end() && cpu != Fps().end() && cpu->second > 0)
            std::printf("   ratio %.1f", gpu->second / cpu->second);
        std::printf("\n");
    }
    return 0;
}
