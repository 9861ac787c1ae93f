// Frames per second of a 1080p frame with film damage: upload, the core pass with the damage
// steps, the sprite pass and the 16-bit read-back, for each built-in treatment and for the plain
// look, on OpenGL (llvmpipe where there is no GPU) and through the CPU reference. Frames run on
// from 0, so the lead-in's program and its end are both in the figure.
//
//   bench_damage [benchmark flags]

#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "core/Log.h"
#include "damage/ShaderProcessorAnim.h"
#include "damage/Treatments.h"

namespace {

using ombrel::DrawParams;
using ombrel::ShaderProcessor;

constexpr int kWidth = 1920, kHeight = 1080;

std::vector<uint16_t> Picture() {
    std::vector<uint16_t> rgb(static_cast<size_t>(kWidth) * kHeight * 3);
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x) {
            const double u = double(x) / kWidth, v = double(y) / kHeight;
            const double c[3] = {0.2 + 0.6 * u, 0.15 + 0.6 * v, 0.5 + 0.3 * std::sin(12.0 * u * v)};
            for (int k = 0; k < 3; ++k)
                rgb[(static_cast<size_t>(y) * kWidth + x) * 3 + k] = static_cast<uint16_t>(std::lround(c[k] * 65535.0));
        }
    return rgb;
}

// The plain look when `treatment` is empty.
std::unique_ptr<ShaderProcessor> MakeProcessor(ShaderProcessor::Backend backend, const std::string& treatment,
                                               std::string* why) {
    std::unique_ptr<ShaderProcessor> sp;
    if (treatment.empty()) {
        sp = std::make_unique<ShaderProcessor>(backend);
    } else {
        auto anim = std::make_unique<ombrel::ShaderProcessorAnim>(backend);
        std::string path;
        if (ombrel::Status s = ombrel::FindTreatment(treatment, &path); !s.ok() || !(s = anim->LoadTreatment(path)).ok()) {
            *why = s.message();
            return nullptr;
        }
        anim->SetClipSeed(7);
        sp = std::move(anim);
    }
    if (backend == ShaderProcessor::Backend::OpenGL && !sp->renderContext()) {
        *why = sp->renderContextError();
        return nullptr;
    }
    sp->setUseRenderContext(true);
    sp->setImageWidth(kWidth);
    sp->setImageHeight(kHeight);
    sp->setOutputWidth(kWidth);
    sp->setOutputHeight(kHeight);
    sp->SetExposureKelvin(0.0f, 5600.0f);
    if (!sp->InitPipelineForViewportContext({{0, 0}, {float(kWidth), float(kHeight)}}, nullptr) ||
        !sp->FBOSetup(nullptr)) {
        *why = "the pipeline could not be built";
        return nullptr;
    }
    sp->SetBlendValue(0.85);
    sp->SetSBlendValue(0.5);
    return sp;
}

std::map<std::string, double>& Fps() {
    static std::map<std::string, double> fps;
    return fps;
}

void Draw(benchmark::State& state, ShaderProcessor::Backend backend, const std::string& treatment) {
    std::string why;
    auto sp = MakeProcessor(backend, treatment, &why);
    if (!sp) {
        state.SkipWithError(why.c_str());
        return;
    }
    const auto picture = Picture();
    std::vector<uint16_t> out(static_cast<size_t>(kWidth) * kHeight * 4);
    sp->setR3dRenderBuffer(reinterpret_cast<const uint8_t*>(picture.data()));
    int32_t frame = 0;
    auto draw = [&] {
        DrawParams p;
        p.name = sp->frameTexture();
        p.target = GL_TEXTURE_RECTANGLE;
        p.writeToDisk = true;
        p.writeToDiskData = out.data();
        p.baseSize = {float(kWidth), float(kHeight)};
        p.viewportRect = {{0, 0}, {float(kWidth), float(kHeight)}};
        p.aspectSize = {float(kWidth), float(kHeight)};
        p.animationFrame = frame++;
        sp->RenderUsingR3DRenderBuffer(&p);
    };
    draw();  // the first draw uploads every table
    int64_t frames = 0;
    const auto start = std::chrono::steady_clock::now();
    for (auto _ : state) {
        draw();
        benchmark::DoNotOptimize(out.data());
        ++frames;
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (frames > 0 && seconds > 0) {
        state.counters["fps"] = static_cast<double>(frames) / seconds;
        const bool gpu = backend == ShaderProcessor::Backend::OpenGL;
        Fps()[(treatment.empty() ? std::string("plain") : treatment) + (gpu ? " gpu" : " cpu")] = frames / seconds;
    }
}

std::vector<std::string> Treatments() {
    std::vector<std::string> t{""};
    for (const auto& name : ombrel::BuiltInTreatments()) t.push_back(name);
    return t;
}

}  // namespace

int main(int argc, char** argv) {
    ::setenv("OMBREL_DATA_DIR", OMBREL_BUILD_DATA_DIR, 0);
    ombrel::SetLogToSyslog(false);
    for (const std::string& t : Treatments()) {
        const std::string name = t.empty() ? "plain" : t;
        benchmark::RegisterBenchmark(("Gpu/" + name).c_str(),
                                     [t](benchmark::State& s) { Draw(s, ShaderProcessor::Backend::OpenGL, t); })
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime()
            ->Iterations(40);
        benchmark::RegisterBenchmark(("Cpu/" + name).c_str(),
                                     [t](benchmark::State& s) { Draw(s, ShaderProcessor::Backend::Cpu, t); })
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime()
            ->Iterations(4);
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();

    std::printf("\nFrames per second at 1920x1080, draw + 16-bit read-back (OpenGL / CPU reference):\n");
    for (const std::string& t : Treatments()) {
        const std::string name = t.empty() ? "plain" : t;
        const auto gpu = Fps().find(name + " gpu"), cpu = Fps().find(name + " cpu");
        std::printf("  %-10s %8.2f / %8.2f\n", name.c_str(), gpu != Fps().end() ? gpu->second : 0.0,
                    cpu != Fps().end() ? cpu->second : 0.0);
    }
    return 0;
}
