// The viewer's two speeds: how long an R3D frame change takes from the scrubber to a finished
// picture on the surface (decode on the preview thread, the look, the read-back), and how many
// frames a second a playing 1080p movie shows under the display link.
//
//   bench_shell [benchmark flags]        (needs ffmpeg for the movie)

#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#include "core/MainQueue.h"
#include "shell/logic/GuiController.h"

namespace {

using namespace ombrel;

struct NullSurface : PreviewSurface {
    std::atomic<uint64_t> presented{0};
    void Present(PreviewImagePtr) override { ++presented; }
};

std::string ScratchDir() {
    const auto dir = std::filesystem::temp_directory_path() / ("bench_shell_" + std::to_string(::getpid()));
    std::filesystem::create_directories(dir);
    return dir.string();
}

void BM_R3DFrameChangeToPicture(benchmark::State& state) {
    MainQueue::Instance().AdoptCurrentThread();
    R3DView view;
    if (!view.AwakeFromNib(1280, 720)) {
        state.SkipWithError(view.lastError().c_str());
        return;
    }
    NullSurface surface;
    view.setSurface(&surface);
    GuiController controller(platform::Preferences(std::make_shared<platform::MemoryPreferencesStore>()));
    controller.setAutosavePathProvider([] { return std::string(); });
    controller.setR3dViewGL(&view);
    controller.awakeFromNib();
    const std::string dir = ScratchDir();
    const std::string clip = dir + "/A001_C001_0101AB_001.R3D";
    std::filesystem::copy_file(OMBREL_DEMO_CLIP, clip, std::filesystem::copy_options::overwrite_existing);
    controller.OpenFile(clip);
    GuiController_RED* red = controller.guiCtrlRed();
    red->Tab2Opened();
    red->WaitForPreviewLoop();
    int32_t frame = 0;
    for (auto _ : state) {
        frame = (frame + 1) % controller.guiModel()->framesInCurrentClip();
        controller.guiModel()->setCurrentFrame(frame);
        red->FrameSliderChanged();
        red->WaitForPreviewLoop();
    }
    state.counters["decodes"] = static_cast<double>(red->decodes());
    std::filesystem::remove_all(dir);
}
BENCHMARK(BM_R3DFrameChangeToPicture)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_MoviePlayback1080p(benchmark::State& state) {
    MainQueue::Instance().AdoptCurrentThread();
    const std::string dir = ScratchDir();
    const std::string movie = dir + "/movie.mov";
    const std::string cmd = "ffmpeg -nostdin -hide_banner -loglevel error -y -f lavfi -i "
                            "testsrc2=size=1920x1080:rate=24 -frames:v 96 -c:v mpeg4 -q:v 3 '" +
                            movie + "' > /dev/null 2>&1";
    if (std::system(cmd.c_str()) != 0) {
        state.SkipWithError("ffmpeg could not make the movie");
        return;
    }
    R3DView view;
    if (!view.AwakeFromNib(1280, 720)) {
        state.SkipWithError(view.lastError().c_str());
        return;
    }
    NullSurface surface;
    view.setSurface(&surface);
    view.OpenMovieAtPath(movie);
    view.setHasOpenClip(true);
    std::atomic<uint64_t> shown{0};
    view.setPlaybackObserver([&](int32_t) { ++shown; });
    double seconds = 0;
    for (auto _ : state) {
        shown = 0;
        const auto start = std::chrono::steady_clock::now();
        view.StartPlayback();
        std::this_thread::sleep_for(std::chrono::seconds(3));
        view.StopPlayback();
        seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }
    // The movie's own rate is 24; a viewer that keeps up shows about that many.
    state.counters["frames_per_second"] = static_cast<double>(shown.load()) / seconds;
    std::filesystem::remove_all(dir);
}
BENCHMARK(BM_MoviePlayback1080p)->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
